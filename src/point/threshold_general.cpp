// Thresholds of any pixel type: kel_threshold2, kel_threshold_band2.
#include <cstdint>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "kelkit/threshold.h"
#include "point/arith_kernels.hpp"
#include "point/lut_rows.hpp"

namespace {

// Maps every pixel through `cls`, which returns the class value (already of
// type T) of a pixel value. BYTE images go through a 256-entry table.
template <class T, class Class>
void classify(Image *img, Class cls) {
  if constexpr (sizeof(T) == 1) {
    std::uint8_t table[256];
    for (int v = 0; v < 256; ++v)
      table[v] = cls(static_cast<std::uint8_t>(v));
    kel::lut::apply(img, table);
  } else {
    kel::point::unary_rows<T>(img, cls);
  }
}

// The shared frame: checks, then `work.template operator()<T>()`.
template <class Work>
int threshold_any(const char *name, Image *img, Work &&work) {
  return kel::guarded(name, [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, img)) return e;
    if (!kel::point::known_type(img->type))
      return kel::fail(fn, KEL_ERR_TYPE, "Image must be BYTE, WORD or FLOAT");
    if (int e = kel::need_area(fn, kel::area_of(img))) return e;
    return kel::with_pixel_type(img->type, int{KEL_ERR_TYPE}, [&]<class T>() {
      work.template operator()<T>();
      return int{KEL_OK};
    });
  });
}

}  // namespace

extern "C" {

KELKIT_API int kel_threshold2(Image *img, float t, float low, float high) {
  return threshold_any("kel_threshold2", img, [&]<class T>() {
    const T lo = kel::point::saturate<T>(low), hi = kel::point::saturate<T>(high);
    // Compared in double, where every pixel value and t are exact; a NaN
    // pixel fails the comparison and takes the low class.
    const double th = t;
    classify<T>(img, [=](T p) { return static_cast<double>(p) >= th ? hi : lo; });
  });
}

KELKIT_API int kel_threshold_band2(Image *img, float lo, float hi, float below, float inside,
                                   float above) {
  return threshold_any("kel_threshold_band2", img, [&]<class T>() {
    // hi > lo is false for NaN bounds too: the unusable case.
    if (!(hi > lo)) {
      classify<T>(img, [](T) { return T(0); });
      return;
    }
    const T b = kel::point::saturate<T>(below), i = kel::point::saturate<T>(inside),
            a = kel::point::saturate<T>(above);
    const double l = lo, h = hi;
    classify<T>(img, [=](T p) {
      const double v = p;
      return v >= h ? a : v > l ? i : b;
    });
  });
}

}  // extern "C"
