// Splitting a WORD image into its bytes and joining two BYTE images into a
// WORD image: kel_word_to_bytes, kel_bytes_to_word.
#include <algorithm>
#include <cstdint>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "kelkit/convert.h"

namespace {

using kel::row;

// The common area of the non-null images among `imgs`.
kel::Area common_of(std::initializer_list<const Image *> imgs) {
  kel::Area a{0, 0};
  bool first = true;
  for (const Image *img : imgs) {
    if (!img) continue;
    if (first) {
      a = kel::area_of(img);
      first = false;
    } else {
      a.dx = std::min(a.dx, img->dx);
      a.dy = std::min(a.dy, img->dy);
    }
  }
  return a;
}

}  // namespace

extern "C" {

KELKIT_API int kel_word_to_bytes(const Image *word, Image *low, Image *high) {
  return kel::guarded("kel_word_to_bytes", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, word)) return e;
    if (word->type != WORD) return kel::fail(fn, KEL_ERR_TYPE, "Input must be WORD");
    for (const Image *out : {low, high})
      if (out && out->type != BYTE) return kel::fail(fn, KEL_ERR_TYPE, "Output must be BYTE");
    if (!low && !high) return KEL_OK;
    kel::Area a = common_of({word, low, high});
    if (int e = kel::need_area(fn, a)) return e;
    for (int y = 0; y < a.dy; ++y) {
      const std::uint16_t *w = row<const std::uint16_t>(word, y);
      if (low) {
        std::uint8_t *l = row<std::uint8_t>(low, y);
        for (int x = 0; x < a.dx; ++x)
          l[x] = static_cast<std::uint8_t>(w[x] & 0xff);
      }
      if (high) {
        std::uint8_t *h = row<std::uint8_t>(high, y);
        for (int x = 0; x < a.dx; ++x)
          h[x] = static_cast<std::uint8_t>(w[x] >> 8);
      }
    }
    return KEL_OK;
  });
}

KELKIT_API int kel_bytes_to_word(const Image *low, const Image *high, Image *out) {
  return kel::guarded("kel_bytes_to_word", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, out)) return e;
    if (!low && !high) return kel::fail(fn, KEL_ERR_NULL_IMAGE, "No input image");
    if (out->type != WORD) return kel::fail(fn, KEL_ERR_TYPE, "Output must be WORD");
    for (const Image *in : {low, high})
      if (in && in->type != BYTE) return kel::fail(fn, KEL_ERR_TYPE, "Input must be BYTE");
    kel::Area a = common_of({out, low, high});
    if (int e = kel::need_area(fn, a)) return e;
    for (int y = 0; y < a.dy; ++y) {
      std::uint16_t *w = row<std::uint16_t>(out, y);
      const std::uint8_t *l = low ? row<const std::uint8_t>(low, y) : nullptr;
      const std::uint8_t *h = high ? row<const std::uint8_t>(high, y) : nullptr;
      if (l && h) {
        for (int x = 0; x < a.dx; ++x)
          w[x] = static_cast<std::uint16_t>(h[x] << 8 | l[x]);
      } else if (l) {
        for (int x = 0; x < a.dx; ++x)
          w[x] = l[x];
      } else {
        for (int x = 0; x < a.dx; ++x)
          w[x] = static_cast<std::uint16_t>(h[x] << 8);
      }
    }
    return KEL_OK;
  });
}

}  // extern "C"
