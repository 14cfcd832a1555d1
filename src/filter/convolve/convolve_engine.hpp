// The convolution engine of the family: one kernel or a separable pair, any
// size, every pixel type, the border rule of replicated edge pixels.
//
// A row of results is accumulated tap by tap over whole rows (a loop the
// compiler vectorises). Integer kernels accumulate in float when every
// partial sum is an integer below 2^24 in magnitude, which float holds
// exactly, and otherwise take the plain 64-bit path; both give the same
// result, which a test proves.
#pragma once

#include <cstdint>
#include <vector>

#include "filter/plane/neighbourhood.hpp"
#include "filter/plane/row_kernels.hpp"

namespace kel::nb {

// A kernel of kx by ky weights in raster order, anchored at
// (span_of(kx).before, span_of(ky).before).
template <class W>
struct Kernel {
  const W *w;
  int kx;
  int ky;
};

// Sum of the absolute weights.
template <class W>
double weight_mass(const W *w, int n) {
  double s = 0;
  for (int i = 0; i < n; ++i)
    s += std::fabs(static_cast<double>(w[i]));
  return s;
}

// Whether float accumulation is exact for integer weights of total mass
// `mass` (a product of masses for a separable pair) on pixels of type T.
template <class T>
bool float_is_exact(double mass) {
  return mass * static_cast<double>(top_of<T>()) < 16777216.0;
}

// acc[x] = sum over the kernel's taps of weight * row[x + i], for x in
// 0 .. w - 1, where rows(j) gives the padded row of kernel row j.
template <class A, class W, class Rows>
void accumulate(Kernel<W> k, int w, Rows &&rows, A *acc) {
  if constexpr (std::is_same_v<A, float> && std::is_same_v<W, float>) {
    for (int j = 0; j < k.ky; ++j)
      rows::taps(rows(j), k.w + j * k.kx, k.kx, w, acc, j > 0);
    return;
  }
  std::fill(acc, acc + w, A(0));
  for (int j = 0; j < k.ky; ++j) {
    const A *r = rows(j);
    for (int i = 0; i < k.kx; ++i) {
      const A c = static_cast<A>(k.w[j * k.kx + i]);
      if (c == A(0)) continue;
      const A *p = r + i;
      for (int x = 0; x < w; ++x)
        acc[x] += c * p[x];
    }
  }
}

// The stripes of columns an engine works through one after the other, so
// that its ring of `rows` rows of A stays in the processor's cache: the whole
// width when the ring is small or striping is not allowed (a destination
// that shares the source's rows is written while they are still read).
struct Stripes {
  int width;  // of every stripe but the last
  Stripes(int w, int rows, int halo, std::size_t item, bool allowed) : width(w) {
    const long budget = 384 * 1024 / static_cast<long>(item * rows) - halo;
    if (allowed && budget < w) width = std::max(128, static_cast<int>(budget) / 32 * 32);
  }
};

// Writes columns x0 .. x0 + len - 1 of row y of `src` (area width w)
// converted to A, padded by `pad` with columns clamped into the area.
template <class T, class A>
inline void pad_range(const Image *src, int y, int w, int x0, int len, Span pad, A *out) {
  if (x0 == 0 && len == w) return pad_row<T, A>(src, y, w, pad, out);
  const T *p = row<const T>(src, y);
  const int first = x0 - pad.before, n = len + pad.before + pad.after;
  // out[i] holds column first + i: those left of 0 and right of w - 1 repeat
  // the edge pixels; the rest convert straight.
  const int lo = std::clamp(-first, 0, n), hi = std::clamp(w - first, lo, n);
  for (int i = 0; i < lo; ++i)
    out[i] = static_cast<A>(p[0]);
  convert_row(p + first + lo, hi - lo, out + lo);
  for (int i = hi; i < n; ++i)
    out[i] = static_cast<A>(p[w - 1]);
}

// Calls out(y, x0, len, acc) with the accumulated values of columns
// x0 .. x0 + len - 1 of every destination row y of the area, stripe by
// stripe: the kernel applied to `src` (pixel type T) in arithmetic A.
template <class T, class A, class W, class Out>
void convolve_rows(const Image *src, Area a, Kernel<W> k, Out &&out, bool stripes = false) {
  const Span sx = span_of(k.kx), sy = span_of(k.ky);
  const Stripes st(a.dx, k.ky, k.kx - 1, sizeof(A), stripes);
  RowRing<A> ring(st.width + k.kx - 1, a.dy, k.ky);
  std::vector<A> acc(st.width);
  for (int x0 = 0; x0 < a.dx; x0 += st.width) {
    const int len = std::min(st.width, a.dx - x0);
    ring.clear();
    auto fill = [&](A *r, int y) { pad_range<T, A>(src, y, a.dx, x0, len, sx, r); };
    for (int y = 0; y < a.dy; ++y) {
      accumulate(
          k, len, [&](int j) { return ring.get(y - sy.before + j, fill); }, acc.data());
      out(y, x0, len, acc.data());
    }
  }
}

// Whether n weights read the same both ways; such a kernel is applied from
// its centre outwards, adding each pair of pixels before weighting them.
template <class W>
bool symmetric(const W *w, int n) {
  for (int i = 0; i < n / 2; ++i)
    if (w[i] != w[n - 1 - i]) return false;
  return n % 2 == 1;
}

// The separable pair: the row kernel (kx by 1) across each source row, then
// the column kernel (1 by ky) down the filtered rows; out as for
// convolve_rows.
template <class T, class A, class W, class Out>
void convolve_sep_rows(const Image *src, Area a, Kernel<W> rk, Kernel<W> ck, Out &&out,
                       bool stripes = false) {
  const Span sx = span_of(rk.kx), sy = span_of(ck.ky);
  const Stripes st(a.dx, ck.ky, 0, sizeof(A), stripes);
  std::vector<A> padded(st.width + rk.kx - 1);
  RowRing<A> ring(st.width, a.dy, ck.ky);
  constexpr bool real = std::is_same_v<A, float> && std::is_same_v<W, float>;
  const bool row_sym = real && symmetric(rk.w, rk.kx), col_sym = real && symmetric(ck.w, ck.ky);
  const std::vector<W> row_half(rk.w + rk.kx / 2, rk.w + rk.kx),
      col_half(ck.w + ck.ky / 2, ck.w + ck.ky);
  std::vector<A> acc(st.width);
  std::vector<const A *> col_rows(ck.ky);
  for (int x0 = 0; x0 < a.dx; x0 += st.width) {
    const int len = std::min(st.width, a.dx - x0);
    ring.clear();
    auto fill = [&](A *r, int y) {
      pad_range<T, A>(src, y, a.dx, x0, len, sx, padded.data());
      if constexpr (real)
        if (row_sym) return rows::taps_symmetric(padded.data(), row_half.data(), rk.kx / 2, len, r);
      accumulate(
          rk, len, [&](int) { return padded.data(); }, r);
    };
    for (int y = 0; y < a.dy; ++y) {
      if constexpr (real) {
        for (int j = 0; j < ck.ky; ++j)
          col_rows[j] = ring.get(y - sy.before + j, fill);
        if (col_sym)
          rows::column_symmetric(col_rows.data(), col_half.data(), ck.ky / 2, len, acc.data());
        else
          rows::column(col_rows.data(), ck.w, ck.ky, len, acc.data());
      } else {
        accumulate(
            ck, len, [&](int j) { return ring.get(y - sy.before + j, fill); }, acc.data());
      }
      out(y, x0, len, acc.data());
    }
  }
}

// Stores accumulated integer sums (exact in A) shifted right by `shift`.
template <class T, class A>
void store_shifted(const A *acc, int w, int shift, Mode m, T *out) {
  for (int x = 0; x < w; ++x)
    out[x] = store_int<T>(static_cast<std::int64_t>(acc[x]) >> shift, m);
}

template <class T, class A>
void store_rounded(const A *acc, int w, Mode m, T *out) {
  if constexpr (std::is_same_v<A, float> && std::is_same_v<T, float>) {
    if (m == Mode::abs)
      for (int x = 0; x < w; ++x)
        out[x] = std::fabs(acc[x]);
    else
      std::copy(acc, acc + w, out);
    return;
  }
  if constexpr (std::is_same_v<A, float> && !std::is_same_v<T, float>) {
    if (m != Mode::wrap) {
      if constexpr (sizeof(T) == 1)
        rows::store_u8(acc, w, m == Mode::abs, out);
      else
        rows::store_u16(acc, w, m == Mode::abs, out);
      return;
    }
  }
  for (int x = 0; x < w; ++x)
    out[x] = store_real<T>(static_cast<double>(acc[x]), m);
}

// Integer kernel on BYTE or WORD: exact float path when it holds, else the
// 64-bit reference path.
template <class T>
void convolve_int(const Image *src, Image *dst, Area a, Kernel<int> k, int shift, Mode m,
                  bool force_reference = false) {
  auto out = [&](int y, int x0, int len, const auto *acc) {
    store_shifted<T>(acc, len, shift, m, row<T>(dst, y) + x0);
  };
  const bool stripes = !share_pixels(src, dst);
  if (!force_reference && float_is_exact<T>(weight_mass(k.w, k.kx * k.ky)))
    convolve_rows<T, float>(src, a, k, out, stripes);
  else
    convolve_rows<T, std::int64_t>(src, a, k, out, stripes);
}

template <class T>
void convolve_sep_int(const Image *src, Image *dst, Area a, Kernel<int> rk, Kernel<int> ck,
                      int shift, Mode m, bool force_reference = false) {
  auto out = [&](int y, int x0, int len, const auto *acc) {
    store_shifted<T>(acc, len, shift, m, row<T>(dst, y) + x0);
  };
  const bool stripes = !share_pixels(src, dst);
  const double mass = weight_mass(rk.w, rk.kx) * weight_mass(ck.w, ck.ky);
  if (!force_reference && float_is_exact<T>(mass))
    convolve_sep_rows<T, float>(src, a, rk, ck, out, stripes);
  else
    convolve_sep_rows<T, std::int64_t>(src, a, rk, ck, out, stripes);
}

// Float kernel from a source of type S into a destination of type D.
template <class S, class D>
void convolve_real(const Image *src, Image *dst, Area a, Kernel<float> k, Mode m) {
  convolve_rows<S, float>(
      src, a, k,
      [&](int y, int x0, int len, const float *acc) {
        store_rounded<D>(acc, len, m, row<D>(dst, y) + x0);
      },
      !share_pixels(src, dst));
}

template <class S, class D>
void convolve_sep_real(const Image *src, Image *dst, Area a, Kernel<float> rk, Kernel<float> ck,
                       Mode m) {
  convolve_sep_rows<S, float>(
      src, a, rk, ck,
      [&](int y, int x0, int len, const float *acc) {
        store_rounded<D>(acc, len, m, row<D>(dst, y) + x0);
      },
      !share_pixels(src, dst));
}

}  // namespace kel::nb
