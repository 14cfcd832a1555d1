// A computed value stored as a pixel: BYTE and WORD round half up and clamp
// to the type's range (NaN becomes 0); FLOAT takes the value as it is.
#pragma once

#include <cmath>
#include <limits>
#include <type_traits>

namespace kel {

template <class T>
T round_to_pixel(double v) {
  if constexpr (std::is_same_v<T, float>) {
    return static_cast<T>(v);
  } else {
    v = std::floor(v + 0.5);
    const double hi = std::numeric_limits<T>::max();
    if (!(v > 0)) return T(0);
    return static_cast<T>(v > hi ? hi : v);
  }
}

}  // namespace kel
