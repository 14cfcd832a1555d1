// Rank filters of small windows: Batcher's odd-even merge sort over the
// window's members, pruned to the comparators that reach the wanted rank,
// applied to blocks of a row at once (minimum and maximum over arrays, which
// the compiler vectorises).
#include <algorithm>

#include "filter/plane/neighbourhood.hpp"
#include "filter/plane/row_kernels.hpp"
#include "filter/rank/rank_paths.hpp"

namespace kel::nb {

namespace {

using Network = std::vector<std::pair<int, int>>;

// Batcher's odd-even merge sort of n wires: the network for the next power
// of two, whose wires at n and beyond hold +inf, so their comparators change
// nothing and are dropped.
Network batcher(int n) {
  int size = 1;
  while (size < n)
    size *= 2;
  Network all;
  for (int p = 1; p < size; p *= 2)
    for (int k = p; k >= 1; k /= 2)
      for (int j = k % p; j + k < size; j += 2 * k)
        for (int i = 0; i < std::min(k, size - j - k); ++i)
          if ((i + j) / (2 * p) == (i + j + k) / (2 * p) && i + j + k < n)
            all.emplace_back(i + j, i + j + k);
  return all;
}

// Keeps only the comparators whose outputs reach wire `rank`.
Network reaching(const Network &net, int n, int rank) {
  std::vector<bool> needed(n, false);
  needed[rank] = true;
  Network kept;
  for (auto it = net.rbegin(); it != net.rend(); ++it)
    if (needed[it->first] || needed[it->second]) {
      needed[it->first] = needed[it->second] = true;
      kept.push_back(*it);
    }
  std::reverse(kept.begin(), kept.end());
  return kept;
}

// Drops the comparators that never exchange anything when each of the kx
// columns (wires j * kx + i for j < ky) arrives sorted. Every 0-1 input with
// sorted columns is tried, 64 at a time; a comparator that exchanges none of
// them is the identity on every input with sorted columns (comparator
// networks commute with thresholds).
Network without_idle(const Network &net, int kx, int ky) {
  const int n = kx * ky;
  std::size_t inputs = 1;
  for (int i = 0; i < kx; ++i)
    inputs *= static_cast<std::size_t>(ky + 1);
  const std::size_t words = (inputs + 63) / 64;
  std::vector<std::uint64_t> wire(static_cast<std::size_t>(n) * words, 0);
  for (std::size_t in = 0; in < inputs; ++in) {
    std::size_t code = in;
    for (int i = 0; i < kx; ++i) {
      const int ones = static_cast<int>(code % (ky + 1));  // the top `ones` of column i
      code /= ky + 1;
      for (int j = ky - ones; j < ky; ++j)
        wire[static_cast<std::size_t>(j * kx + i) * words + in / 64] |= std::uint64_t(1)
                                                                        << (in % 64);
    }
  }
  std::vector<bool> busy(net.size(), false);
  for (std::size_t c = 0; c < net.size(); ++c) {
    std::uint64_t *a = &wire[static_cast<std::size_t>(net[c].first) * words];
    std::uint64_t *b = &wire[static_cast<std::size_t>(net[c].second) * words];
    for (std::size_t q = 0; q < words; ++q) {
      busy[c] = busy[c] || (a[q] & ~b[q]) != 0;
      const std::uint64_t lo = a[q] & b[q], hi = a[q] | b[q];
      a[q] = lo;
      b[q] = hi;
    }
  }
  Network kept;
  for (std::size_t c = 0; c < net.size(); ++c)
    if (busy[c]) kept.push_back(net[c]);
  return kept;
}

// Windows whose sorted-column inputs are few enough to try them all.
bool column_pruning_fits(int kx, int ky) {
  double inputs = 1;
  for (int i = 0; i < kx; ++i)
    inputs *= ky + 1;
  return inputs <= 1 << 20;
}

}  // namespace

std::vector<std::pair<int, int>> sorting_network(int n) {
  return batcher(n);
}

std::vector<std::pair<int, int>> selection_network(int kx, int ky, int rank) {
  const int n = kx * ky;
  Network net = reaching(batcher(n), n, rank);
  return column_pruning_fits(kx, ky) ? reaching(without_idle(net, kx, ky), n, rank) : net;
}

// Each padded column of the window's rows is sorted first (once per row,
// shared by the kx windows that hold it); the selection network then needs
// only the comparators that can still exchange something.
template <class T>
void rank_by_network(const Image *src, Image *dst, Area a, int kx, int ky, int rank) {
  const int n = kx * ky;
  const Network column_net = batcher(ky);
  const Network net = selection_network(kx, ky, rank);
  // The square medians of 3 and 5 take their fixed networks in registers.
  const bool median3 = kx == 3 && ky == 3 && rank == 4, median5 = kx == 5 && ky == 5 && rank == 12;
  const Span sx = span_of(kx), sy = span_of(ky);
  const int width = a.dx + kx - 1;
  RowRing<T> ring(width, a.dy, ky);
  auto fill = [&](T *r, int y) { pad_row<T, T>(src, y, a.dx, sx, r); };
  constexpr int kBlock = 256, kMaxSorted = 5;
  std::vector<T> sorted(static_cast<std::size_t>(ky) * width);
  std::vector<T> v(static_cast<std::size_t>(n) * kBlock);
  for (int y = 0; y < a.dy; ++y) {
    if (ky == 3 || ky == 5) {
      // Columns of 3 or 5 rows sort straight from the source rows into the
      // middle of the padded rows; the padding repeats the edge columns.
      const T *in[kMaxSorted];
      T *sorted_rows[kMaxSorted];
      for (int j = 0; j < ky; ++j) {
        in[j] = row<const T>(src, std::clamp(y - sy.before + j, 0, a.dy - 1));
        sorted_rows[j] = sorted.data() + static_cast<std::size_t>(j) * width + sx.before;
      }
      ky == 3 ? rows::sort3(in, a.dx, sorted_rows) : rows::sort5(in, a.dx, sorted_rows);
      for (int j = 0; j < ky; ++j) {
        T *r = sorted_rows[j];
        std::fill(r - sx.before, r, r[0]);
        std::fill(r + a.dx, r + a.dx + sx.after, r[a.dx - 1]);
      }
    } else {
      for (int j = 0; j < ky; ++j) {
        const T *r = ring.get(y - sy.before + j, fill);
        std::copy(r, r + width, sorted.data() + static_cast<std::size_t>(j) * width);
      }
      for (auto [p, q] : column_net)
        rows::sort2(sorted.data() + static_cast<std::size_t>(p) * width,
                    sorted.data() + static_cast<std::size_t>(q) * width, width);
    }
    T *out = row<T>(dst, y);
    if (median3 || median5) {
      const T *rows_sorted[5];
      for (int j = 0; j < ky; ++j)
        rows_sorted[j] = sorted.data() + static_cast<std::size_t>(j) * width;
      median3 ? rows::median3(rows_sorted, a.dx, out) : rows::median5(rows_sorted, a.dx, out);
      continue;
    }
    for (int x0 = 0; x0 < a.dx; x0 += kBlock) {
      const int len = std::min(kBlock, a.dx - x0);
      // Wire j * kx + i: the j-th smallest of padded column x + i.
      for (int j = 0; j < ky; ++j)
        for (int i = 0; i < kx; ++i) {
          const T *col = sorted.data() + static_cast<std::size_t>(j) * width + x0 + i;
          std::copy(col, col + len, v.data() + (j * kx + i) * kBlock);
        }
      for (auto [p, q] : net)
        rows::sort2(v.data() + p * kBlock, v.data() + q * kBlock, len);
      std::copy(v.data() + rank * kBlock, v.data() + rank * kBlock + len, out + x0);
    }
  }
}

template void rank_by_network<std::uint8_t>(const Image *, Image *, Area, int, int, int);
template void rank_by_network<std::uint16_t>(const Image *, Image *, Area, int, int, int);
template void rank_by_network<float>(const Image *, Image *, Area, int, int, int);

}  // namespace kel::nb
