// Typed access to pixels and rows, and dispatch of a runtime pixel type to
// one templated kernel.
//
// Rows are always reached through `data` and the pitch dx + skip, so views
// over a larger master (non-zero skip) work everywhere.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pixsvc.h"

namespace kel {

// The C++ type of each pixel type code, and back.
template <unsigned Code>
struct pixel_of;
template <>
struct pixel_of<BYTE> {
  using type = std::uint8_t;
};
template <>
struct pixel_of<WORD> {
  using type = std::uint16_t;
};
template <>
struct pixel_of<FLOAT> {
  using type = float;
};

template <class T>
constexpr unsigned type_code_v = sizeof(T) == 1   ? BYTE
                                 : sizeof(T) == 2 ? WORD
                                                  : FLOAT;

// Row pitch in pixels.
inline int pitch(const Image *img) {
  return img->dx + img->skip;
}

// Address of pixel (0, y). The offset is formed in 32-bit signed arithmetic
// as the image record defines it.
template <class T>
inline T *row(const Image *img, int y) {
  return static_cast<T *>(img->data) + pitch(img) * y;
}

// Address of pixel (x, y).
template <class T>
inline T *pixel(const Image *img, int x, int y) {
  return static_cast<T *>(img->data) + (pitch(img) * y + x);
}

// Calls f.template operator()<T>() with T the pixel type that `type` names and
// returns its result; returns `unsupported` for any other code.
template <class R, class F>
R with_pixel_type(unsigned type, R unsupported, F &&f) {
  switch (type) {
    case BYTE:
      return f.template operator()<std::uint8_t>();
    case WORD:
      return f.template operator()<std::uint16_t>();
    case FLOAT:
      return f.template operator()<float>();
    default:
      return unsupported;
  }
}

// The value of each BYTE level as a float, 0.0 to 255.0: used wherever a BYTE
// pixel meets a FLOAT one.
extern const float byte_to_float[256];

}  // namespace kel
