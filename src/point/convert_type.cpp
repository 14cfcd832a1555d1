// Conversion of any pixel type into a BYTE or WORD destination: kel_byte,
// kel_word.
#include <cstdint>
#include <cstring>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "kelkit/convert.h"
#include "point/convert_store.hpp"

namespace {

using kel::point::round_store;

template <class S, class D>
void convert(const Image *src, Image *dst, kel::Area area) {
  if constexpr (std::is_same_v<S, D>) {
    if (src == dst) return;
    for (int y = 0; y < area.dy; ++y)
      std::memmove(kel::row<D>(dst, y), kel::row<const S>(src, y), sizeof(D) * area.dx);
  } else {
    // Integer sources clamp (nothing to round); FLOAT rounds to nearest.
    kel::point::map_rows<S, D>(src, dst, area,
                               [](S v) { return round_store<D>(static_cast<double>(v)); });
  }
}

// The shared body of kel_byte and kel_word: D is the destination type.
template <class D>
int convert_into(const char *name, const Image *src, Image *dst, const char *type_message) {
  return kel::guarded(name, [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, src, dst)) return e;
    if (dst->type != kel::type_code_v<D>) return kel::fail(fn, KEL_ERR_TYPE, type_message);
    if (!kel::point::known_type(src->type))
      return kel::fail(fn, KEL_ERR_TYPE, "Input must be BYTE, WORD or FLOAT");
    kel::Area area = kel::common_area(src, dst);
    if (int e = kel::need_area(fn, area)) return e;
    return kel::with_pixel_type(src->type, int{KEL_ERR_TYPE}, [&]<class S>() {
      convert<S, D>(src, dst, area);
      return int{KEL_OK};
    });
  });
}

}  // namespace

extern "C" {

KELKIT_API int kel_byte(const Image *src, Image *dst) {
  return convert_into<std::uint8_t>("kel_byte", src, dst, "Output must be BYTE");
}

KELKIT_API int kel_word(const Image *src, Image *dst) {
  return convert_into<std::uint16_t>("kel_word", src, dst, "Output must be WORD");
}

}  // extern "C"
