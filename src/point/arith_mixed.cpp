// Two images of any pixel types combined into the second: kel_subtract,
// kel_multiply, kel_divide, kel_subtract_absolute, kel_add2, and kel_copy.
// The destination's type governs; each type pair is one instantiation of the
// same row driver.
#include <cmath>
#include <cstdlib>
#include <limits>
#include <type_traits>

#include "kelkit/arith.h"
#include "point/arith_kernels.hpp"

namespace {

using kel::point::ByteOp;

// What a mixed operator does with an empty common area.
enum class Empty { ok, fail };

int check_mixed(const char *fn, const Image *a, const Image *b, Empty empty, kel::Area *area) {
  if (int e = kel::need_images(fn, a, b)) return e;
  if (!kel::point::known_type(b->type))
    return kel::fail(fn, KEL_ERR_TYPE, "Destination must be BYTE, WORD or FLOAT");
  if (!kel::point::known_type(a->type))
    return kel::fail(fn, KEL_ERR_TYPE, "Source must be BYTE, WORD or FLOAT");
  *area = kel::common_area(a, b);
  if (empty == Empty::fail) return kel::need_area(fn, *area);
  return KEL_OK;
}

// Runs f(x, y) over the common area for the images' type pair; `fast` is
// the BYTE row kernel that gives the same bytes for a BYTE pair, if any.
template <class F>
int mixed(const char *name, const Image *a, Image *b, Empty empty, F f,
          const ByteOp *fast = nullptr) {
  return kel::guarded(name, [&](const char *fn) -> int {
    kel::Area area;
    if (int e = check_mixed(fn, a, b, empty, &area)) return e;
    if (area.empty()) return KEL_OK;
    if (fast && a->type == BYTE && b->type == BYTE) {
      kel::point::byte_rows(*fast, a, b, b, area);
      return KEL_OK;
    }
    return kel::point::with_pixel_types(a->type, b->type, [&]<class Ta, class Tb>() {
      kel::point::mixed_rows<Ta, Tb>(a, b, area, f);
      return KEL_OK;
    });
  });
}

}  // namespace

extern "C" {

KELKIT_API int kel_subtract(const Image *a, Image *b) {
  static constexpr ByteOp fast = ByteOp::sub;
  return mixed(
      "kel_subtract", a, b, Empty::ok, [](auto x, auto y) { return x - y; }, &fast);
}

KELKIT_API int kel_subtract_absolute(const Image *a, Image *b) {
  static constexpr ByteOp fast = ByteOp::absdiff;
  return mixed(
      "kel_subtract_absolute", a, b, Empty::fail, [](auto x, auto y) { return std::abs(x - y); },
      &fast);
}

KELKIT_API int kel_multiply(const Image *a, Image *b) {
  return mixed("kel_multiply", a, b, Empty::ok, [](auto x, auto y) { return x * y; });
}

KELKIT_API int kel_divide(const Image *a, Image *b) {
  return mixed("kel_divide", a, b, Empty::ok, [](auto x, auto y) {
    using W = decltype(x);
    if constexpr (std::is_integral_v<W>) {
      // Integer pair: a zero divisor gives what the clamped IEEE quotient
      // gives, the maximum for a positive dividend and 0 for 0.
      if (y == 0) return x > 0 ? std::numeric_limits<W>::max() : W(0);
    }
    return x / y;
  });
}

KELKIT_API int kel_add2(const Image *a, Image *b, float weight) {
  return mixed("kel_add2", a, b, Empty::fail, [weight](auto x, auto y) {
    return static_cast<float>(x) * weight + static_cast<float>(y);
  });
}

KELKIT_API int kel_copy(const Image *a, Image *b) {
  return kel::guarded("kel_copy", [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, a, b)) return e;
    if (int e = kel::need_same_type(fn, a, b)) return e;
    return im_copy(a, b);
  });
}

}  // extern "C"
