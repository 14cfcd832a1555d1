// Rank filters of large windows by sliding histograms.
//
// BYTE: one histogram per column of the window's height, with 16 coarse and
// 256 fine bins, moved down one row per output row; the window's histogram
// slides across the row by adding the entering column and removing the
// leaving one at the coarse level only, and brings a fine segment up to date
// only when the search needs it. The cost per pixel does not grow with the
// window.
//
// WORD: a window histogram of 256 coarse and 65536 fine bins, slid across
// each row by the entering and leaving columns (cost proportional to the
// window's height).
#include <algorithm>
#include <array>
#include <cstring>

#include "filter/plane/neighbourhood.hpp"
#include "filter/rank/rank_paths.hpp"

namespace kel::nb {

void rank_by_histogram(const Image *src, Image *dst, Area a, int kx, int ky, int rank) {
  using Count = std::uint16_t;  // at most 255 x 255 members
  const int w = a.dx, h = a.dy;
  const Span sx = span_of(kx), sy = span_of(ky);
  std::vector<Count> fine(static_cast<std::size_t>(w) * 256, 0),
      coarse(static_cast<std::size_t>(w) * 16, 0);
  auto column_add = [&](int y, int delta) {
    const std::uint8_t *p = row<const std::uint8_t>(src, std::clamp(y, 0, h - 1));
    for (int x = 0; x < w; ++x) {
      fine[static_cast<std::size_t>(x) * 256 + p[x]] += static_cast<Count>(delta);
      coarse[static_cast<std::size_t>(x) * 16 + (p[x] >> 4)] += static_cast<Count>(delta);
    }
  };
  auto col = [&](int x) { return std::clamp(x, 0, w - 1); };
  for (int j = -sy.before; j <= sy.after; ++j)
    column_add(j, 1);

  std::array<Count, 16> hc;
  std::array<Count, 256> hf;
  std::array<int, 16> updated;  // column at which each fine segment is current
  for (int y = 0; y < h; ++y) {
    if (y > 0) {
      column_add(y - 1 - sy.before, -1);
      column_add(y + sy.after, 1);
    }
    hc.fill(0);
    for (int i = -sx.before; i <= sx.after; ++i)
      for (int b = 0; b < 16; ++b)
        hc[b] += coarse[static_cast<std::size_t>(col(i)) * 16 + b];
    updated.fill(INT_MIN / 2);
    std::uint8_t *out = row<std::uint8_t>(dst, y);
    for (int x = 0; x < w; ++x) {
      if (x > 0) {
        const Count *in = &coarse[static_cast<std::size_t>(col(x + sx.after)) * 16];
        const Count *gone = &coarse[static_cast<std::size_t>(col(x - 1 - sx.before)) * 16];
        for (int b = 0; b < 16; ++b)
          hc[b] = static_cast<Count>(hc[b] + in[b] - gone[b]);
      }
      int b = 0, below = 0;
      while (below + hc[b] <= rank)
        below += hc[b++];
      Count *seg = &hf[b * 16];
      if (x - updated[b] > kx) {
        std::fill(seg, seg + 16, Count(0));
        for (int i = x - sx.before; i <= x + sx.after; ++i) {
          const Count *f = &fine[static_cast<std::size_t>(col(i)) * 256 + b * 16];
          for (int v = 0; v < 16; ++v)
            seg[v] += f[v];
        }
      } else {
        for (int c = updated[b] + 1; c <= x; ++c) {
          const Count *in = &fine[static_cast<std::size_t>(col(c + sx.after)) * 256 + b * 16];
          const Count *gone =
              &fine[static_cast<std::size_t>(col(c - 1 - sx.before)) * 256 + b * 16];
          for (int v = 0; v < 16; ++v)
            seg[v] = static_cast<Count>(seg[v] + in[v] - gone[v]);
        }
      }
      updated[b] = x;
      int v = 0;
      while (below + seg[v] <= rank)
        below += seg[v++];
      out[x] = static_cast<std::uint8_t>(b * 16 + v);
    }
  }
}

void rank_by_word_histogram(const Image *src, Image *dst, Area a, int kx, int ky, int rank) {
  const int w = a.dx, h = a.dy;
  const Span sx = span_of(kx), sy = span_of(ky);
  std::vector<std::uint32_t> fine(65536), coarse(256);
  std::vector<const std::uint16_t *> rows(ky);
  for (int y = 0; y < h; ++y) {
    for (int j = 0; j < ky; ++j)
      rows[j] = row<const std::uint16_t>(src, std::clamp(y - sy.before + j, 0, h - 1));
    auto column = [&](int x, int delta) {
      const int c = std::clamp(x, 0, w - 1);
      for (int j = 0; j < ky; ++j) {
        const std::uint16_t v = rows[j][c];
        fine[v] += delta;
        coarse[v >> 8] += delta;
      }
    };
    std::fill(fine.begin(), fine.end(), 0u);
    std::fill(coarse.begin(), coarse.end(), 0u);
    for (int i = -sx.before; i <= sx.after; ++i)
      column(i, 1);
    std::uint16_t *out = row<std::uint16_t>(dst, y);
    for (int x = 0; x < w; ++x) {
      if (x > 0) {
        column(x - 1 - sx.before, -1);
        column(x + sx.after, 1);
      }
      int b = 0;
      std::uint32_t below = 0;
      while (below + coarse[b] <= static_cast<std::uint32_t>(rank))
        below += coarse[b++];
      int v = b * 256;
      while (below + fine[v] <= static_cast<std::uint32_t>(rank))
        below += fine[v++];
      out[x] = static_cast<std::uint16_t>(v);
    }
  }
}

}  // namespace kel::nb
