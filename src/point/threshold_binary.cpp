// kel_binary: p > t becomes 1, any other pixel 0, on every pixel type.
#include <cmath>
#include <cstdint>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "kelkit/threshold.h"
#include "point/lut_rows.hpp"

namespace {

// The threshold an integer pixel of type T is compared with: clamped to the
// type's range, then truncated toward zero. NaN compares with nothing, so
// it becomes the range's top and no pixel exceeds it.
template <class T>
T integer_threshold(float t, T top) {
  if (std::isnan(t)) return top;
  if (t <= 0.0f) return 0;
  if (t >= static_cast<float>(top)) return top;
  return static_cast<T>(t);
}

template <class T>
void binarise(Image *img, float t) {
  if constexpr (sizeof(T) == 1) {
    // BYTE pixels map through a two-level table.
    std::uint8_t table[256];
    int tb = integer_threshold<std::uint8_t>(t, 255);
    for (int v = 0; v < 256; ++v)
      table[v] = v > tb ? 1 : 0;
    kel::lut::apply(img, table);
  } else {
    T th;
    if constexpr (sizeof(T) == 2)
      th = integer_threshold<std::uint16_t>(t, 65535);
    else
      th = t;
    for (int y = 0; y < img->dy; ++y) {
      T *p = kel::row<T>(img, y);
      for (int x = 0; x < img->dx; ++x)
        p[x] = p[x] > th ? T{1} : T{0};
    }
  }
}

}  // namespace

extern "C" {

KELKIT_API int kel_binary(Image *img, float t) {
  return kel::guarded("kel_binary", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, img)) return e;
    if (img->type != BYTE && img->type != WORD && img->type != FLOAT)
      return kel::fail(fn, KEL_ERR_TYPE, "Image must be BYTE, WORD or FLOAT");
    if (int e = kel::need_area(fn, kel::area_of(img))) return e;
    return kel::with_pixel_type(img->type, KEL_ERR_TYPE, [&]<class T>() {
      binarise<T>(img, t);
      return KEL_OK;
    });
  });
}

}  // extern "C"
