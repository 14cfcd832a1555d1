// Storing a computed value into a pixel with rounding to the nearest integer,
// the rule of the conversions into a destination (kel_byte, kel_word, the
// colour planes, gain and offset, normalisation), and the row driver they
// share.
#pragma once

#include <cmath>
#include <limits>
#include <type_traits>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "point/arith_kernels.hpp"

namespace kel::point {

// An integer pixel takes v rounded to the nearest integer, halves away from
// zero, clamped to 0 and the type's maximum; NaN stores 0. A FLOAT pixel
// takes v rounded to single precision.
template <class T>
inline T round_store(double v) {
  if constexpr (std::is_floating_point_v<T>) {
    return static_cast<T>(v);
  } else {
    constexpr double top = std::numeric_limits<T>::max();
    if (!(v > 0.0)) return T(0);  // negative, zero or NaN
    double r = std::round(v);
    return r >= top ? std::numeric_limits<T>::max() : static_cast<T>(r);
  }
}

// Calls f.template operator()<S, D>() for the pixel types of src and dst and
// returns its status (6 for a type other than BYTE, WORD or FLOAT).
template <class F>
int with_type_pair(unsigned src, unsigned dst, F &&f) {
  return with_pixel_type(src, int{KEL_ERR_TYPE}, [&]<class S>() {
    return with_pixel_type(dst, int{KEL_ERR_TYPE},
                           [&]<class D>() -> int { return f.template operator()<S, D>(); });
  });
}

// d = f(s) over the area, pixel by pixel, rows of each image through its own
// pitch. src may be dst.
template <class S, class D, class F>
void map_rows(const Image *src, Image *dst, Area area, F f) {
  for (int y = 0; y < area.dy; ++y) {
    const S *s = row<const S>(src, y);
    D *d = row<D>(dst, y);
    for (int x = 0; x < area.dx; ++x)
      d[x] = f(s[x]);
  }
}

}  // namespace kel::point
