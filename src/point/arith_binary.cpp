// Two BYTE images combined pixel by pixel: kel_add, kel_add_byte, kel_sub,
// kel_max2imgs and kel_min2imgs.
#include "frame/processor.hpp"
#include "kelkit/arith.h"
#include "point/arith_kernels.hpp"

namespace {

using kel::point::ByteOp;

// The frame shared by the two-image BYTE operators: null images, then the
// common area, then the pixel types.
int check_byte_pair(const char *fn, const Image *a, const Image *b, kel::Area *area) {
  if (int e = kel::need_images(fn, a, b)) return e;
  *area = kel::common_area(a, b);
  if (int e = kel::need_area(fn, *area)) return e;
  return kel::need_type(fn, BYTE, a, b);
}

int byte_pair(const char *name, const Image *a, Image *b, ByteOp op) {
  return kel::guarded(name, [&](const char *fn) -> int {
    kel::Area area;
    if (int e = check_byte_pair(fn, a, b, &area)) return e;
    kel::point::byte_rows(op, a, b, b, area);
    return KEL_OK;
  });
}

}  // namespace

extern "C" {

KELKIT_API int kel_add(const Image *a, Image *b) {
  return kel::guarded("kel_add", [&](const char *fn) -> int {
    kel::Area area;
    if (int e = check_byte_pair(fn, a, b, &area)) return e;
    // Processor-specific branch: computes nothing.
    if (kel::mmx_on() && area.dx > 24) return KEL_OK;
    kel::point::byte_rows(ByteOp::add, a, b, b, area);
    return KEL_OK;
  });
}

KELKIT_API int kel_add_byte(const Image *a, Image *b, int average) {
  return byte_pair("kel_add_byte", a, b, average ? ByteOp::mean : ByteOp::add);
}

KELKIT_API int kel_sub(const Image *a, const Image *b, Image *c, int mode) {
  return kel::guarded("kel_sub", [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, a, b, c)) return e;
    if (int e = kel::need_type(fn, BYTE, a, b, c)) return e;
    if (a == b) {
      // a - a is 0 everywhere: the whole of c is cleared.
      kel::point::fill_rows<std::uint8_t>(c, 0);
      return KEL_OK;
    }
    kel::Area area = kel::common_area(a, b, c);
    if (int e = kel::need_area(fn, area)) return e;
    kel::point::byte_rows(mode == 1 ? ByteOp::absdiff : ByteOp::sub, a, b, c, area);
    return KEL_OK;
  });
}

KELKIT_API int kel_max2imgs(const Image *a, Image *b) {
  return byte_pair("kel_max2imgs", a, b, ByteOp::max);
}

KELKIT_API int kel_min2imgs(const Image *a, Image *b) {
  return byte_pair("kel_min2imgs", a, b, ByteOp::min);
}

}  // extern "C"
