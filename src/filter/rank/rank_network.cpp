// Rank filters of small windows: Batcher's odd-even merge sort over the
// window's members, pruned to the comparators that reach the wanted rank,
// applied to blocks of a row at once (minimum and maximum over arrays, which
// the compiler vectorises).
#include <algorithm>

#include "filter/plane/neighbourhood.hpp"
#include "filter/plane/row_kernels.hpp"
#include "filter/rank/rank_paths.hpp"

namespace kel::nb {

std::vector<std::pair<int, int>> rank_network(int n, int rank) {
  int size = 1;
  while (size < n)
    size *= 2;
  std::vector<std::pair<int, int>> all;
  // Odd-even merge sort of `size` wires; wires at n and beyond hold +inf
  // and their comparators change nothing, so they are dropped.
  for (int p = 1; p < size; p *= 2)
    for (int k = p; k >= 1; k /= 2)
      for (int j = k % p; j + k < size; j += 2 * k)
        for (int i = 0; i < std::min(k, size - j - k); ++i)
          if ((i + j) / (2 * p) == (i + j + k) / (2 * p) && i + j + k < n)
            all.emplace_back(i + j, i + j + k);
  // Keep only comparators whose outputs reach wire `rank`.
  std::vector<bool> needed(n, false);
  needed[rank] = true;
  std::vector<std::pair<int, int>> kept;
  for (auto it = all.rbegin(); it != all.rend(); ++it)
    if (needed[it->first] || needed[it->second]) {
      needed[it->first] = needed[it->second] = true;
      kept.push_back(*it);
    }
  std::reverse(kept.begin(), kept.end());
  return kept;
}

template <class T>
void rank_by_network(const Image *src, Image *dst, Area a, int kx, int ky, int rank) {
  const int n = kx * ky;
  const auto network = rank_network(n, rank);
  const Span sx = span_of(kx), sy = span_of(ky);
  RowRing<T> ring(a.dx + kx - 1, a.dy, ky);
  auto fill = [&](T *r, int y) { pad_row<T, T>(src, y, a.dx, sx, r); };
  constexpr int kBlock = 256;
  std::vector<T> v(static_cast<std::size_t>(n) * kBlock);
  std::vector<const T *> rows(ky);
  for (int y = 0; y < a.dy; ++y) {
    for (int j = 0; j < ky; ++j)
      rows[j] = ring.get(y - sy.before + j, fill);
    T *out = row<T>(dst, y);
    for (int x0 = 0; x0 < a.dx; x0 += kBlock) {
      const int len = std::min(kBlock, a.dx - x0);
      for (int j = 0; j < ky; ++j)
        for (int i = 0; i < kx; ++i)
          std::copy(rows[j] + x0 + i, rows[j] + x0 + i + len, v.data() + (j * kx + i) * kBlock);
      for (auto [p, q] : network)
        rows::sort2(v.data() + p * kBlock, v.data() + q * kBlock, len);
      std::copy(v.data() + rank * kBlock, v.data() + rank * kBlock + len, out + x0);
    }
  }
}

template void rank_by_network<std::uint8_t>(const Image *, Image *, Area, int, int, int);
template void rank_by_network<std::uint16_t>(const Image *, Image *, Area, int, int, int);
template void rank_by_network<float>(const Image *, Image *, Area, int, int, int);

}  // namespace kel::nb
