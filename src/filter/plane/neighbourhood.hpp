// Shared pieces of the neighbourhood filters of any size and pixel type: the
// window spans, the checks, the border rule (edge pixels replicated), a ring
// of padded source rows, a stable copy of the source for in-place calls, and
// the storing of results into each pixel type.
#pragma once

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>
#include <vector>

#include "filter/filter_rows.hpp"
#include "filter/plane/row_kernels.hpp"
#include "frame/call.hpp"
#include "frame/image_guard.hpp"
#include "frame/pixels.hpp"

namespace kel::nb {

using filter::Mode;
using filter::mode_of;

// Extent of a window of k pixels around its anchor: `before` pixels before it
// and `after` after it. An even size has its extra pixel after the anchor.
struct Span {
  int before = 0;
  int after = 0;
  int size() const { return before + after + 1; }
  Span reflected() const { return {after, before}; }
};

inline Span span_of(int k) {
  return {(k - 1) / 2, k / 2};
}

// ---- checks (each returns 0 or the reported code) ----------------------

inline int area_too_small(const char *fn) {
  return fail(fn, KEL_ERR_AREA_SMALL, "Area too small!");
}

// Code 7 when the area is smaller than a kx by ky window (an empty area is
// smaller than every window).
inline int need_window(const char *fn, Area a, int kx, int ky) {
  return a.dx < kx || a.dy < ky || a.empty() ? area_too_small(fn) : KEL_OK;
}

inline bool supported_type(unsigned type) {
  return type == BYTE || type == WORD || type == FLOAT;
}

// Source and destination of one pixel type that the operator takes: 13 when
// the types differ, 6 when the common type is not taken. `byte_word_only`
// refuses FLOAT.
inline int need_one_type(const char *fn, const Image *src, const Image *dst,
                         bool byte_word_only = false) {
  if (src->type != dst->type)
    return fail(fn, KEL_ERR_TYPE_MISMATCH, "Images must have the same pixel type");
  if (!supported_type(src->type) || (byte_word_only && src->type == FLOAT))
    return fail(fn, KEL_ERR_TYPE,
                byte_word_only ? "BYTE or WORD images only" : "Unsupported pixel type");
  return KEL_OK;
}

inline int bad_kernel(const char *fn, const char *message = "Kernel size") {
  return fail(fn, KEL_ERR_ARGUMENT, message);
}

inline int unknown_operation(const char *fn) {
  return fail(fn, KEL_ERR_OPERATION, "Unknown operation");
}

// ---- in-place use --------------------------------------------------------

// Whether the pixel memory spans of two images overlap.
inline bool share_pixels(const Image *a, const Image *b) {
  auto lo = [](const Image *i) { return static_cast<const char *>(i->data); };
  auto hi = [&](const Image *i) {
    return lo(i) + (static_cast<std::size_t>(pitch(i)) * (i->dy - 1) + i->dx) * i->type;
  };
  return lo(a) < hi(b) && lo(b) < hi(a);
}

// Address of row y as bytes, for any pixel type.
inline char *byte_row(const Image *img, int y) {
  return static_cast<char *>(img->data) + static_cast<std::size_t>(pitch(img)) * y * img->type;
}

// The source as an operator reads it: `src` itself, or a copy of its area
// when the destination shares its pixels, so that every operator of the
// family can run in place. An engine that reads each source row before it
// writes the destination rows that could hold it (`streams` true) needs no
// copy when the destination is the source itself, row for row.
class Source {
 public:
  Source(const Image *src, const Image *dst, Area a, bool streams = false) : img_(src) {
    if (src != dst && !share_pixels(src, dst)) return;
    if (streams && src->data == dst->data && pitch(src) == pitch(dst) && src->type == dst->type)
      return;
    copy_ = make_image(src->type, a.dx, a.dy);
    if (!copy_) throw std::bad_alloc();
    const std::size_t bytes = static_cast<std::size_t>(a.dx) * src->type;
    for (int y = 0; y < a.dy; ++y)
      std::memcpy(byte_row(copy_.get(), y), byte_row(src, y), bytes);
    img_ = copy_.get();
  }
  const Image *get() const { return img_; }

 private:
  const Image *img_;
  ImagePtr copy_;
};

// ---- padded rows -----------------------------------------------------------

// A ring of `count` rows of the source's area, each converted to A and
// padded by `pad.before` columns on the left and `pad.after` on the right
// that repeat the edge pixels. get(sy) takes any row index and reads row
// clamp(sy, 0, h - 1): the border rule of the family. Element i of a row is
// column i - pad.before. Rows are made by `fill(out, y)`, which writes the
// padded row of source row y; the default converts and pads.
template <class A>
class RowRing {
 public:
  RowRing(int width, int height, int count)
      : width_(width),
        height_(height),
        count_(count),
        buf_(static_cast<std::size_t>(width) * count),
        tag_(count, INT_MIN) {}

  // Forgets every row (for the next stripe of columns).
  void clear() { std::fill(tag_.begin(), tag_.end(), INT_MIN); }

  template <class Fill>
  const A *get(int sy, Fill &&fill) {
    int slot = ((sy % count_) + count_) % count_;
    A *r = buf_.data() + static_cast<std::size_t>(slot) * width_;
    if (tag_[slot] != sy) {
      fill(r, std::clamp(sy, 0, height_ - 1));
      tag_[slot] = sy;
    }
    return r;
  }

 private:
  int width_, height_, count_;
  std::vector<A> buf_;
  std::vector<int> tag_;
};

// out[x] = in[x] converted, for x < w.
template <class T, class A>
inline void convert_row(const T *in, int w, A *out) {
  if constexpr (std::is_same_v<A, float> && std::is_same_v<T, std::uint8_t>)
    rows::widen_u8(in, w, out);
  else if constexpr (std::is_same_v<A, float> && std::is_same_v<T, std::uint16_t>)
    rows::widen_u16(in, w, out);
  else
    for (int x = 0; x < w; ++x)
      out[x] = static_cast<A>(in[x]);
}

// Writes row y of `src` (area width w) converted to A and padded by `pad`.
template <class T, class A>
inline void pad_row(const Image *src, int y, int w, Span pad, A *out) {
  const T *p = row<const T>(src, y);
  const A first = static_cast<A>(p[0]), last = static_cast<A>(p[w - 1]);
  for (int i = 0; i < pad.before; ++i)
    out[i] = first;
  A *mid = out + pad.before;
  convert_row(p, w, mid);
  for (int i = 0; i < pad.after; ++i)
    mid[w + i] = last;
}

// ---- storing results ---------------------------------------------------------

template <class T>
constexpr std::int64_t top_of() {
  return static_cast<std::int64_t>(std::numeric_limits<T>::max());
}

// An integer result into a pixel by mode: clamp to the type's range, the
// absolute value limited to the maximum, or the low bits (wrap). A FLOAT
// pixel takes the value (its absolute value in abs mode).
template <class T>
inline T store_int(std::int64_t r, Mode m) {
  if constexpr (std::is_same_v<T, float>) {
    return static_cast<float>(m == Mode::abs ? std::llabs(r) : r);
  } else {
    switch (m) {
      case Mode::abs:
        return static_cast<T>(std::min<std::int64_t>(std::llabs(r), top_of<T>()));
      case Mode::wrap:
        return static_cast<T>(static_cast<std::uint64_t>(r));
      default:
        return static_cast<T>(std::clamp<std::int64_t>(r, 0, top_of<T>()));
    }
  }
}

// A real result into a pixel by mode. Integer pixels take the value rounded
// half away from zero (after the absolute value in abs mode), then clamped
// or wrapped; NaN counts as 0.
template <class T>
inline T store_real(double v, Mode m) {
  if constexpr (std::is_same_v<T, float>) {
    return static_cast<float>(m == Mode::abs ? std::fabs(v) : v);
  } else {
    if (!(v == v)) v = 0;
    if (m == Mode::abs) v = std::fabs(v);
    v = std::clamp(v, -9.0e18, 9.0e18);
    double r = v < 0 ? -std::floor(-v + 0.5) : std::floor(v + 0.5);
    return store_int<T>(static_cast<std::int64_t>(r), m);
  }
}

// The plain rounding of a real value into a pixel (clamp mode).
template <class T>
inline T saturate(double v) {
  return store_real<T>(v, Mode::clamp);
}

// Calls f.template operator()<S, D>() for a source of any pixel type and a
// destination of the same type or FLOAT; returns false for other pairs.
template <class F>
bool with_source_and_destination(unsigned s, unsigned d, F &&f) {
  if (d != s && d != FLOAT) return false;
  return with_pixel_type(s, false, [&]<class S>() {
    if (d == FLOAT)
      f.template operator()<S, float>();
    else
      f.template operator()<S, S>();
    return true;
  });
}

}  // namespace kel::nb
