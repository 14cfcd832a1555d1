// One-image transforms in place: kel_negate, kel_absolute and the FLOAT-only
// functions kel_exp, kel_ln, kel_ln_add1, kel_log10, kel_log10_add1,
// kel_square and kel_sqrt (computed in double, stored as float).
#include <cmath>

#include "kelkit/arith.h"
#include "point/arith_kernels.hpp"

namespace {

// The frame of the FLOAT-only transforms: null image, FLOAT (12), empty.
int check_float(const char *fn, const Image *img, const char *message) {
  if (int e = kel::need_image(fn, img)) return e;
  if (img->type != FLOAT) return kel::fail(fn, KEL_ERR_NEED_TYPE, message);
  return kel::need_area(fn, kel::area_of(img), "Empty image");
}

template <class F>
int float_transform(const char *name, Image *img, F f) {
  return kel::guarded(name, [&](const char *fn) -> int {
    if (int e = check_float(fn, img, "Image must be FLOAT")) return e;
    kel::point::unary_rows<float>(
        img, [f](float p) { return static_cast<float>(f(static_cast<double>(p))); });
    return KEL_OK;
  });
}

}  // namespace

extern "C" {

KELKIT_API int kel_negate(Image *img) {
  return kel::guarded("kel_negate", [&](const char *fn) -> int {
    if (int e = check_float(fn, img, "Try kel_invert")) return e;
    kel::point::unary_rows<float>(img, [](float p) { return -p; });
    return KEL_OK;
  });
}

KELKIT_API int kel_absolute(Image *img) {
  return kel::guarded("kel_absolute", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, img)) return e;
    if (!kel::point::known_type(img->type))
      return kel::fail(fn, KEL_ERR_TYPE, "Image must be BYTE, WORD or FLOAT");
    if (int e = kel::need_area(fn, kel::area_of(img), "Empty image")) return e;
    // Unsigned pixels are their own absolute value.
    if (img->type == FLOAT)
      kel::point::unary_rows<float>(img, [](float p) { return std::fabs(p); });
    return KEL_OK;
  });
}

KELKIT_API int kel_exp(Image *img) {
  return float_transform("kel_exp", img, [](double p) { return std::exp(p); });
}

KELKIT_API int kel_ln(Image *img) {
  return float_transform("kel_ln", img, [](double p) { return std::log(p); });
}

KELKIT_API int kel_ln_add1(Image *img) {
  return float_transform("kel_ln_add1", img, [](double p) { return std::log(p + 1.0); });
}

KELKIT_API int kel_log10(Image *img) {
  return float_transform("kel_log10", img, [](double p) { return std::log10(p); });
}

KELKIT_API int kel_log10_add1(Image *img) {
  return float_transform("kel_log10_add1", img, [](double p) { return std::log10(p + 1.0); });
}

KELKIT_API int kel_square(Image *img) {
  return float_transform("kel_square", img, [](double p) { return p * p; });
}

KELKIT_API int kel_sqrt(Image *img) {
  return float_transform("kel_sqrt", img, [](double p) { return std::sqrt(p); });
}

}  // extern "C"
