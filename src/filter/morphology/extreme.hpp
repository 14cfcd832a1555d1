// The extreme (minimum or maximum) filters behind erosion and dilation, for
// every pixel type:
//   - rectangles: across each row by doubling (log2 k passes over a row in
//     cache), then down the columns by the van Herk / Gil-Werman scheme
//     (three operations per pixel whatever the height), so the cost hardly
//     depends on the size;
//   - lines at 45 and 135 degrees: doubling along the diagonal over a padded
//     plane; lines at 0 and 90 degrees are rectangles;
//   - grey structuring elements with heights: a plain pass per member.
// Each takes the window as spans around the anchor: erosion uses the
// element's spans, dilation the reflected ones. Members outside the area are
// left out (the element is cut at the border), so opening and closing stay
// idempotent; for rectangles, which hold their anchor, this equals
// replicating the edge pixels. `src` and `dst` may be the same image.
#pragma once

#include <vector>

#include "filter/plane/neighbourhood.hpp"
#include "filter/plane/row_kernels.hpp"

namespace kel::nb {

// The minimum (Max = false) or maximum (Max = true) of two values.
template <bool Max, class T>
inline T ext(T a, T b) {
  if constexpr (Max)
    return a < b ? b : a;
  else
    return b < a ? b : a;
}

// The value that leaves an extreme unchanged: the largest for a minimum, the
// smallest for a maximum (infinite for FLOAT). Members of an element outside
// the area take it, which cuts the element at the border.
template <bool Max, class T>
constexpr T neutral() {
  if constexpr (std::is_same_v<T, float>)
    return Max ? -std::numeric_limits<float>::infinity() : std::numeric_limits<float>::infinity();
  else
    return Max ? std::numeric_limits<T>::min() : std::numeric_limits<T>::max();
}

// A padded plane of the area: `pad` columns and rows on every side hold
// neutral<Max>(), the inside holds the source converted to A.
template <bool Max, class T, class A>
std::vector<A> neutral_plane(const Image *src, Area a, Span px, Span py) {
  const int pw = a.dx + px.before + px.after, ph = a.dy + py.before + py.after;
  std::vector<A> m(static_cast<std::size_t>(pw) * ph, neutral<Max, A>());
  for (int y = 0; y < a.dy; ++y) {
    const T *p = row<const T>(src, y);
    A *out = m.data() + static_cast<std::size_t>(y + py.before) * pw + px.before;
    for (int x = 0; x < a.dx; ++x)
      out[x] = static_cast<A>(p[x]);
  }
  return m;
}

// out[i] = ext(a[i], b[i]) for i < n.
template <bool Max, class T>
inline void ext_rows(const T *a, const T *b, int n, T *out) {
  rows::extreme<Max>(a, b, n, out);
}

// Windows of up to this many rows take the direct extreme of their rows
// rather than the block scheme.
constexpr int kDirectRows = 3;

// Sliding extreme of `k` along a padded row of w + k - 1 values, in place:
// afterwards m[x] for x < w is the extreme of the window m[x .. x + k - 1].
template <bool Max, class T>
void slide_row(T *m, int w, int k) {
  const int len = w + k - 1;
  int s = 1;
  for (; 2 * s <= k; s *= 2)
    ext_rows<Max>(m, m + s, len - s, m);
  if (k > s) ext_rows<Max>(m, m + k - s, w, m);
}

// The 3x3 square straight from the source rows. In place, each source row
// is saved before its destination row replaces it, for the row below.
template <class T, bool Max>
void extreme_3x3(const Image *src, Image *dst, Area a) {
  const bool same_rows = src->data == dst->data && pitch(src) == pitch(dst);
  Source source(src, dst, a, true);
  const Image *in = source.get();
  const int w = a.dx, h = a.dy;
  std::vector<T> tmp(w + 2), saved(2 * static_cast<std::size_t>(w)), out_row(same_rows ? w : 0);
  const T *above = row<const T>(in, 0);
  for (int y = 0; y < h; ++y) {
    const T *at = row<const T>(in, y), *below = row<const T>(in, std::min(y + 1, h - 1));
    T *out = row<T>(dst, y);
    if (same_rows) {
      rows::extreme3x3<Max>(above, at, below, w, tmp.data(), out_row.data());
      T *keep = saved.data() + static_cast<std::size_t>(y % 2) * w;
      std::copy(at, at + w, keep);
      std::copy(out_row.begin(), out_row.end(), out);
      above = keep;
    } else {
      rows::extreme3x3<Max>(above, at, below, w, tmp.data(), out);
      above = at;
    }
  }
}

template <class T, bool Max>
void extreme_rect(const Image *src, Image *dst, Area a, Span sx, Span sy) {
  if (sx.before == 1 && sx.after == 1 && sy.before == 1 && sy.after == 1)
    return extreme_3x3<T, Max>(src, dst, a);
  // Destination row y is written once every source row up to y + sy.after
  // has entered the ring of 2k rows, which holds every row still needed.
  Source source(src, dst, a, true);
  const Image *in = source.get();
  const int w = a.dx, kx = sx.size(), k = sy.size();
  const int padded_rows = a.dy + k - 1, width = w + kx - 1;
  // Rows after the horizontal pass, by padded row index p (source row
  // clamp(p - sy.before)): a ring of 2k rows, each slot wide enough for the
  // padded row that the pass works on in place.
  std::vector<T> ring(static_cast<std::size_t>(width) * 2 * k);
  std::vector<int> tag(2 * k, -1);
  auto across = [&](int p) -> const T * {
    const int slot = p % (2 * k);
    T *r = ring.data() + static_cast<std::size_t>(slot) * width;
    if (tag[slot] != p) {
      pad_row<T, T>(in, std::clamp(p - sy.before, 0, a.dy - 1), w, sx, r);
      slide_row<Max>(r, w, kx);
      tag[slot] = p;
    }
    return r;
  };
  if (k <= kDirectRows) {
    // Short windows: the extreme of the k rows directly, all fetched before
    // the destination row (which may be a source row) is written.
    const T *r[kDirectRows];
    for (int y = 0; y < a.dy; ++y) {
      T *out = row<T>(dst, y);
      for (int j = 0; j < k; ++j)
        r[j] = across(y + j);
      if (k == 1) {
        std::copy(r[0], r[0] + w, out);
        continue;
      }
      ext_rows<Max>(r[0], r[1], w, out);
      for (int j = 2; j < k; ++j)
        ext_rows<Max>(out, r[j], w, out);
    }
    return;
  }
  // Blocks of k padded rows (van Herk / Gil-Werman): suffix extremes of the
  // current block and the running prefix extreme of the block that holds the
  // window's last row.
  std::vector<T> suffix(static_cast<std::size_t>(w) * k), prefix(w);
  for (int y = 0; y < a.dy; ++y) {
    if (y % k == 0) {
      const int last = std::min(y + k - 1, padded_rows - 1);
      const T *r = across(last);
      std::copy(r, r + w, suffix.data() + static_cast<std::size_t>(last - y) * w);
      for (int p = last - 1; p >= y; --p)
        ext_rows<Max>(across(p), suffix.data() + static_cast<std::size_t>(p + 1 - y) * w, w,
                      suffix.data() + static_cast<std::size_t>(p - y) * w);
    }
    const int q = y + k - 1;
    if (y == 0) {
      const T *r = across(0);
      std::copy(r, r + w, prefix.data());
      for (int p = 1; p <= q; ++p)
        ext_rows<Max>(prefix.data(), across(p), w, prefix.data());
    } else if (q % k == 0) {
      const T *r = across(q);
      std::copy(r, r + w, prefix.data());
    } else {
      ext_rows<Max>(prefix.data(), across(q), w, prefix.data());
    }
    ext_rows<Max>(suffix.data() + static_cast<std::size_t>(y % k) * w, prefix.data(), w,
                  row<T>(dst, y));
  }
}

// A line of n pixels through the anchor along (ux, uy) with uy = +-1 and
// ux = 1, `before` pixels before the anchor: 45 degrees is (1, -1), 135
// degrees (1, 1).
template <class T, bool Max>
void extreme_diagonal(const Image *src, Image *dst, Area a, Span s, int uy) {
  const Image *in = src;  // read whole into the plane before any write
  const int n = s.size(), r = std::max(s.before, s.after);
  const int pw = a.dx + 2 * r, ph = a.dy + 2 * r;
  std::vector<T> m = neutral_plane<Max, T, T>(in, a, {r, r}, {r, r});
  auto at = [&](int x, int y) { return m.data() + static_cast<std::size_t>(y) * pw + x; };
  // Doubling: m(X, Y) becomes the extreme of 2s pixels from (X, Y) along
  // the line; rows are visited so that the partner row is not yet updated.
  int step = 1;
  for (; 2 * step <= n; step *= 2) {
    for (int i = 0; i < ph; ++i) {
      const int y = uy < 0 ? ph - 1 - i : i, y2 = y + step * uy;
      if (y2 < 0 || y2 >= ph) continue;
      ext_rows<Max>(at(0, y), at(step, y2), pw - step, at(0, y));
    }
  }
  for (int y = 0; y < a.dy; ++y) {
    T *out = row<T>(dst, y);
    const int y0 = y + r - s.before * uy, x0 = r - s.before;
    const int y1 = y0 + (n - step) * uy;
    ext_rows<Max>(at(x0, y0), at(x0 + n - step, y1), a.dx, out);
  }
}

// A grey structuring element of kx by ky members (mask null: all; heights
// null: flat), anchored by (sx, sy) and given in its own orientation:
// erosion takes min f(x + o) - h(o), dilation max f(x - o) + h(o), results
// rounded and clamped to the pixel type.
template <class T, bool Max>
void extreme_surf(const Image *src, Image *dst, Area a, const unsigned char *mask,
                  const float *heights, int kx, int ky) {
  const Image *in = src;  // read whole into the plane before any write
  Span sx = span_of(kx), sy = span_of(ky);
  if (Max) sx = sx.reflected(), sy = sy.reflected();
  const std::vector<float> plane = neutral_plane<Max, T, float>(in, a, sx, sy);
  const int pw = a.dx + kx - 1;
  std::vector<float> acc(a.dx);
  const float start =
      Max ? -std::numeric_limits<float>::infinity() : std::numeric_limits<float>::infinity();
  for (int y = 0; y < a.dy; ++y) {
    std::fill(acc.begin(), acc.end(), start);
    for (int j = 0; j < ky; ++j) {
      const float *r = plane.data() + static_cast<std::size_t>(y + j) * pw;
      for (int i = 0; i < kx; ++i) {
        // Dilation reflects the element: its member (kx-1-i, ky-1-j).
        const int e = Max ? (ky - 1 - j) * kx + (kx - 1 - i) : j * kx + i;
        if (mask && !mask[e]) continue;
        const float hgt = heights ? (Max ? heights[e] : -heights[e]) : 0.0f;
        const float *p = r + i;
        for (int x = 0; x < a.dx; ++x)
          acc[x] = ext<Max>(acc[x], p[x] + hgt);
      }
    }
    T *out = row<T>(dst, y);
    for (int x = 0; x < a.dx; ++x)
      out[x] = saturate<T>(acc[x]);
  }
}

}  // namespace kel::nb
