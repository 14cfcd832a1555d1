// One image combined with a constant, in place: kel_add_const,
// kel_subtract_const, kel_multiply_const, kel_divide_const, kel_muladd_const,
// kel_addmul_const, kel_constant and kel_constant2.
//
// BYTE images go through a 256-entry table built per call from the same
// single-precision expression a FLOAT image gets, so both agree; the integer
// additions take a saturating vector path that equals the table.
#include <cmath>
#include <cstdint>

#include "kelkit/arith.h"
#include "point/arith_kernels.hpp"

namespace {

using kel::point::saturate;

// The frame of the constant operators: null image, pixel type, an extra
// check of the operator's own, then the empty image.
template <class Extra>
int check_const(const char *fn, const Image *img, Extra extra) {
  if (int e = kel::need_image(fn, img)) return e;
  if (!kel::point::known_type(img->type))
    return kel::fail(fn, KEL_ERR_TYPE, "Image must be BYTE, WORD or FLOAT");
  if (int e = extra()) return e;
  return kel::need_area(fn, kel::area_of(img), "Empty image");
}

int check_const(const char *fn, const Image *img) {
  return check_const(fn, img, [] { return KEL_OK; });
}

// The constant of an integer addition: truncated toward zero (NaN counts as
// 0). Anything beyond +-65536 saturates every pixel anyway.
int integer_constant(float c) {
  if (!(c == c)) return 0;
  if (c > 65536.0f) return 65536;
  if (c < -65536.0f) return -65536;
  return static_cast<int>(c);
}

// p + c for FLOAT, p + k (k the truncated constant) clamped for BYTE and WORD.
int add_constant(const char *name, Image *img, float c, bool subtract) {
  return kel::guarded(name, [&](const char *fn) -> int {
    if (int e = check_const(fn, img)) return e;
    int k = integer_constant(c);
    if (subtract) k = -k;
    switch (img->type) {
      case BYTE:
        for (int y = 0; y < img->dy; ++y)
          kel::point::byte_add_k_row(kel::row<std::uint8_t>(img, y), img->dx, k);
        break;
      case WORD:
        kel::point::unary_rows<std::uint16_t>(
            img, [k](std::uint16_t p) { return saturate<std::uint16_t>(std::int64_t(p) + k); });
        break;
      default:
        if (subtract)
          kel::point::unary_rows<float>(img, [c](float p) { return p - c; });
        else
          kel::point::unary_rows<float>(img, [c](float p) { return p + c; });
    }
    return KEL_OK;
  });
}

// p = f(p) in single precision for every type; integer results are stored by
// saturate (truncated, clamped).
template <class F>
void apply_float(Image *img, F f) {
  switch (img->type) {
    case BYTE: {
      std::uint8_t table[256];
      kel::point::build_byte_table(table, f);
      kel::point::byte_lut_rows(img, table);
      break;
    }
    case WORD:
      kel::point::unary_rows<std::uint16_t>(
          img, [f](std::uint16_t p) { return saturate<std::uint16_t>(f(static_cast<float>(p))); });
      break;
    default:
      kel::point::unary_rows<float>(img, f);
  }
}

template <class F>
int float_constant(const char *name, Image *img, F f) {
  return kel::guarded(name, [&](const char *fn) -> int {
    if (int e = check_const(fn, img)) return e;
    apply_float(img, f);
    return KEL_OK;
  });
}

}  // namespace

extern "C" {

KELKIT_API int kel_add_const(Image *img, float c) {
  return add_constant("kel_add_const", img, c, false);
}

KELKIT_API int kel_subtract_const(Image *img, float c) {
  return add_constant("kel_subtract_const", img, c, true);
}

KELKIT_API int kel_multiply_const(Image *img, float c) {
  return float_constant("kel_multiply_const", img, [c](float p) { return p * c; });
}

KELKIT_API int kel_divide_const(Image *img, float c) {
  return kel::guarded("kel_divide_const", [&](const char *fn) -> int {
    auto divisor = [&] { return c == 0.0f ? kel::fail(fn, KEL_ERR_ARGUMENT, "Divisor = 0!") : 0; };
    if (int e = check_const(fn, img, divisor)) return e;
    apply_float(img, [c](float p) { return p / c; });
    return KEL_OK;
  });
}

KELKIT_API int kel_muladd_const(Image *img, float c, float d) {
  return float_constant("kel_muladd_const", img, [c, d](float p) { return p * c + d; });
}

KELKIT_API int kel_addmul_const(Image *img, float c, float d) {
  return float_constant("kel_addmul_const", img, [c, d](float p) { return (p + c) * d; });
}

KELKIT_API int kel_constant(Image *img, unsigned char value) {
  return kel::guarded("kel_constant", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, img)) return e;
    if (int e = kel::need_type(fn, BYTE, img)) return e;
    if (int e = kel::need_area(fn, kel::area_of(img), "Empty image")) return e;
    kel::point::fill_rows<std::uint8_t>(img, value);
    return KEL_OK;
  });
}

KELKIT_API int kel_constant2(Image *img, float value) {
  return kel::guarded("kel_constant2", [&](const char *fn) -> int {
    if (int e = check_const(fn, img)) return e;
    kel::with_pixel_type(img->type, 0, [&]<class T>() {
      kel::point::fill_rows<T>(img, saturate<T>(value));
      return 0;
    });
    return KEL_OK;
  });
}

}  // extern "C"
