// Shared pieces of the arithmetic and logic operators: storing a computed
// value into a pixel (saturation), row drivers that walk the common area of
// one, two or three images, and the BYTE row kernels with their SSE2 paths.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "frame/call.hpp"
#include "frame/pixels.hpp"

namespace kel::point {

template <class T>
inline constexpr bool is_float_v = std::is_floating_point_v<T>;

// Stores a computed value into a pixel of type T. An integer pixel clamps at 0
// and at its maximum; a floating value is truncated toward zero first and NaN
// stores 0. A FLOAT pixel takes the value as it is.
template <class T, class V>
inline T saturate(V v) {
  if constexpr (is_float_v<T>) {
    return static_cast<T>(v);
  } else if constexpr (is_float_v<V>) {
    constexpr V hi = static_cast<V>(std::numeric_limits<T>::max());
    return v >= hi ? std::numeric_limits<T>::max() : v > V(0) ? static_cast<T>(v) : T(0);
  } else {
    constexpr V hi = static_cast<V>(std::numeric_limits<T>::max());
    return v <= V(0) ? T(0) : v >= hi ? std::numeric_limits<T>::max() : static_cast<T>(v);
  }
}

// The type a two-image operation computes in: single precision when either
// pixel type is FLOAT, otherwise a 64-bit integer (wide enough for WORD
// products and for the zero-divisor sentinel).
template <class Ta, class Tb>
using work_t = std::conditional_t<is_float_v<Ta> || is_float_v<Tb>, float, std::int64_t>;

// Calls f.template operator()<Ta, Tb>() for the pixel types of a and b.
// Both codes must already be known to be BYTE, WORD or FLOAT.
template <class F>
int with_pixel_types(unsigned ta, unsigned tb, F &&f) {
  return with_pixel_type(ta, KEL_ERR_TYPE, [&]<class Ta>() {
    return with_pixel_type(tb, KEL_ERR_TYPE,
                           [&]<class Tb>() { return f.template operator()<Ta, Tb>(); });
  });
}

inline bool known_type(unsigned type) {
  return type == BYTE || type == WORD || type == FLOAT;
}

// ---- row drivers ---------------------------------------------------------

// d = f(a, b) over the area, element by element, with rows of a, b and d
// taken through their own pitches. f receives the work-type values.
template <class Ta, class Tb, class F>
void mixed_rows(const Image *a, Image *b, Area area, F f) {
  using W = work_t<Ta, Tb>;
  for (int y = 0; y < area.dy; ++y) {
    const Ta *pa = row<const Ta>(a, y);
    Tb *pb = row<Tb>(b, y);
    for (int x = 0; x < area.dx; ++x)
      pb[x] = saturate<Tb>(f(static_cast<W>(pa[x]), static_cast<W>(pb[x])));
  }
}

// p = f(p) for every pixel of the image's dx by dy.
template <class T, class F>
void unary_rows(Image *img, F f) {
  for (int y = 0; y < img->dy; ++y) {
    T *p = row<T>(img, y);
    for (int x = 0; x < img->dx; ++x)
      p[x] = f(p[x]);
  }
}

// Every pixel of the image's dx by dy set to v.
template <class T>
void fill_rows(Image *img, T v) {
  for (int y = 0; y < img->dy; ++y)
    std::fill_n(row<T>(img, y), img->dx, v);
}

// ---- BYTE row kernels ----------------------------------------------------

// The two-operand BYTE operations that have a vector path.
enum class ByteOp {
  add,      // min(255, a + b)
  sub,      // max(0, a - b)
  absdiff,  // |a - b|
  max,
  min,
  bit_and,
  bit_or,
  bit_xor,
  mean,  // (a + b) >> 1
};

// d[x] = op(a[x], b[x]) for x < n. d may equal a or b. byte_row_ref is the
// plain loop; byte_row takes the widest vector path this processor runs
// (AVX2 when it has it, else SSE2, both ending on the shorter path) and
// gives the same bytes.
void byte_row_ref(ByteOp op, const std::uint8_t *a, const std::uint8_t *b, std::uint8_t *d, int n);
void byte_row(ByteOp op, const std::uint8_t *a, const std::uint8_t *b, std::uint8_t *d, int n);

// p[x] = clamp(p[x] + k, 0, 255) for an integer k.
void byte_add_k_row_ref(std::uint8_t *p, int n, int k);
void byte_add_k_row(std::uint8_t *p, int n, int k);

#if defined(__SSE2__)
// The individual vector paths, for the tests that compare them.
void byte_row_sse2(ByteOp op, const std::uint8_t *a, const std::uint8_t *b, std::uint8_t *d, int n);
void byte_row_avx2(ByteOp op, const std::uint8_t *a, const std::uint8_t *b, std::uint8_t *d, int n);
void byte_add_k_row_sse2(std::uint8_t *p, int n, int k);
void byte_add_k_row_avx2(std::uint8_t *p, int n, int k);
#endif

// p[x] = table[p[x]].
void byte_lut_row(std::uint8_t *p, int n, const std::uint8_t *table);

// op over the common area of a and b into d (which is a, b or a third image
// covering that area).
void byte_rows(ByteOp op, const Image *a, const Image *b, Image *d, Area area);

// Maps every pixel of a BYTE image through a 256-entry table.
void byte_lut_rows(Image *img, const std::uint8_t *table);

// The 256-entry table of f over the BYTE levels, each stored by saturate.
template <class F>
void build_byte_table(std::uint8_t *table, F f) {
  for (int i = 0; i < 256; ++i)
    table[i] = saturate<std::uint8_t>(f(static_cast<float>(i)));
}

}  // namespace kel::point
