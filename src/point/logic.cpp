// Bitwise logic: kel_and, kel_or, kel_xor with their second forms (WORD
// images and the type mismatch report), the constant forms, kel_not and
// kel_invert.
#include <cstdint>

#include "frame/processor.hpp"
#include "kelkit/arith.h"
#include "point/arith_kernels.hpp"

namespace {

using kel::point::ByteOp;

struct Logic {
  const char *name;    // the exported name
  const char *second;  // the name of the second form
  ByteOp op;
};

constexpr Logic kAnd{"kel_and", "kel_and2", ByteOp::bit_and};
constexpr Logic kOr{"kel_or", "kel_or2", ByteOp::bit_or};
constexpr Logic kXor{"kel_xor", "kel_xor2", ByteOp::bit_xor};

template <class T>
T apply(ByteOp op, T a, T b) {
  switch (op) {
    case ByteOp::bit_and:
      return static_cast<T>(a & b);
    case ByteOp::bit_or:
      return static_cast<T>(a | b);
    default:
      return static_cast<T>(a ^ b);
  }
}

template <ByteOp Op>
void word_rows(const Image *a, Image *b, kel::Area area) {
  for (int y = 0; y < area.dy; ++y) {
    const std::uint16_t *pa = kel::row<const std::uint16_t>(a, y);
    std::uint16_t *pb = kel::row<std::uint16_t>(b, y);
    for (int x = 0; x < area.dx; ++x)
      pb[x] = apply<std::uint16_t>(Op, pa[x], pb[x]);
  }
}

// The second form: images of differing types (refused with 5) and WORD
// images, reported under its own name.
int second_form(const Logic &l, const Image *a, Image *b) {
  return kel::guarded(l.second, [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, a, b)) return e;
    if (a->type != b->type) return kel::fail(fn, KEL_ERR_SIZE, "Images must have the same type");
    if (a->type != WORD) return kel::fail(fn, KEL_ERR_TYPE, "Images must be BYTE or WORD");
    kel::Area area = kel::common_area(a, b);
    if (int e = kel::need_area(fn, area)) return e;
    switch (l.op) {
      case ByteOp::bit_and:
        word_rows<ByteOp::bit_and>(a, b, area);
        break;
      case ByteOp::bit_or:
        word_rows<ByteOp::bit_or>(a, b, area);
        break;
      default:
        word_rows<ByteOp::bit_xor>(a, b, area);
    }
    return KEL_OK;
  });
}

int logic(const Logic &l, const Image *a, Image *b) {
  // One image with itself: nothing is done (null images are reported first).
  if (a == b && a) return KEL_OK;
  // kel_xor leaves null images to its second form, which reports them.
  if (l.op == ByteOp::bit_xor && (!a || !b)) return second_form(l, a, b);
  return kel::guarded(l.name, [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, a, b)) return e;
    if (a->type != b->type || a->type == WORD) return second_form(l, a, b);
    if (a->type != BYTE) return kel::fail(fn, KEL_ERR_TYPE, "Images must be BYTE or WORD");
    kel::Area area = kel::common_area(a, b);
    if (int e = kel::need_area(fn, area)) return e;
    // Processor-specific branch: computes nothing.
    if (kel::mmx_on() && area.dx > 24) return KEL_OK;
    kel::point::byte_rows(l.op, a, b, b, area);
    return KEL_OK;
  });
}

// The frame of the one-image BYTE/WORD operators.
int check_byte_word(const char *fn, const Image *img) {
  if (int e = kel::need_image(fn, img)) return e;
  if (img->type != BYTE && img->type != WORD)
    return kel::fail(fn, KEL_ERR_TYPE, "Image must be BYTE or WORD");
  return kel::need_area(fn, kel::area_of(img), "Empty image");
}

// p = p op c; a BYTE image takes the low 8 bits of c.
int logic_const(const char *name, Image *img, unsigned short c, ByteOp op) {
  return kel::guarded(name, [&](const char *fn) -> int {
    if (int e = check_byte_word(fn, img)) return e;
    if (img->type == BYTE) {
      const auto k = static_cast<std::uint8_t>(c & 0xff);
      kel::point::unary_rows<std::uint8_t>(img, [&](std::uint8_t p) { return apply(op, p, k); });
    } else {
      const auto k = static_cast<std::uint16_t>(c);
      kel::point::unary_rows<std::uint16_t>(img, [&](std::uint16_t p) { return apply(op, p, k); });
    }
    return KEL_OK;
  });
}

// Address of the first byte of row y, from the record's own pitch and pixel
// size, whatever the pixel type.
std::uint8_t *row_bytes(const Image *img, int y) {
  return static_cast<std::uint8_t *>(img->data) +
         static_cast<std::ptrdiff_t>(kel::pitch(img)) * y * img->type;
}

}  // namespace

extern "C" {

KELKIT_API int kel_and(const Image *a, Image *b) {
  return logic(kAnd, a, b);
}

KELKIT_API int kel_or(const Image *a, Image *b) {
  return logic(kOr, a, b);
}

KELKIT_API int kel_xor(const Image *a, Image *b) {
  return logic(kXor, a, b);
}

KELKIT_API int kel_and_const(Image *img, unsigned short c) {
  return logic_const("kel_and_const", img, c, ByteOp::bit_and);
}

KELKIT_API int kel_or_const(Image *img, unsigned short c) {
  return logic_const("kel_or_const", img, c, ByteOp::bit_or);
}

KELKIT_API int kel_xor_const(Image *img, unsigned short c) {
  return logic_const("kel_xor_const", img, c, ByteOp::bit_xor);
}

KELKIT_API int kel_not(Image *img) {
  return kel::guarded("kel_not", [&](const char *fn) -> int {
    if (int e = check_byte_word(fn, img)) return e;
    if (img->type == BYTE)
      kel::point::unary_rows<std::uint8_t>(img, [](std::uint8_t p) -> std::uint8_t { return ~p; });
    else
      kel::point::unary_rows<std::uint16_t>(img,
                                            [](std::uint16_t p) -> std::uint16_t { return ~p; });
    return KEL_OK;
  });
}

KELKIT_API int kel_invert(Image *img) {
  return kel::guarded("kel_invert", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, img)) return e;
    if (int e = kel::need_area(fn, kel::area_of(img), "Empty image")) return e;
    if (img->type == WORD) {
      kel::point::unary_rows<std::uint16_t>(
          img, [](std::uint16_t p) -> std::uint16_t { return 65535 - p; });
      return KEL_OK;
    }
    // BYTE path, also taken by every other pixel type.
    if (kel::mmx_on() && img->dx > 7) return KEL_OK;  // processor-specific branch
    for (int y = 0; y < img->dy; ++y) {
      std::uint8_t *p = row_bytes(img, y);
      for (int x = 0; x < img->dx; ++x)
        p[x] = static_cast<std::uint8_t>(255 - p[x]);
    }
    return KEL_OK;
  });
}

}  // extern "C"
