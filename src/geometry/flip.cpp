// kel_hflip: the horizontal mirror of an image, in place or into another.
#include <algorithm>
#include <cstdint>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "frame/processor.hpp"
#include "kelkit/geometry.h"

namespace {

// BYTE images at least this wide take the processor-specific branch.
constexpr int kSwitchWidth = 8;

template <class T>
void hflip_rows(const Image *src, Image *dst, kel::Area area) {
  for (int y = 0; y < area.dy; ++y) {
    const T *s = kel::row<const T>(src, y);
    T *d = kel::row<T>(dst, y);
    if (src == dst)
      std::reverse(d, d + area.dx);
    else
      std::reverse_copy(s, s + area.dx, d);
  }
}

}  // namespace

extern "C" {

KELKIT_API int kel_hflip(const Image *src, Image *dst) {
  return kel::guarded("kel_hflip", [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, src, dst)) return e;
    if (src != dst && im_same_image(src, dst))
      return kel::fail(fn, KEL_ERR_SAME_IMAGE, "Destination overlaps the source");
    if (int e = kel::need_same_type(fn, src, dst)) return e;
    if (src->type != BYTE && src->type != WORD && src->type != FLOAT)
      return kel::fail(fn, KEL_ERR_TYPE, "Unsupported pixel type");
    const kel::Area area = kel::common_area(src, dst);
    if (int e = kel::need_area(fn, area)) return e;
    // Processor-specific branch of the BYTE path: computes nothing.
    if (src->type == BYTE && area.dx >= kSwitchWidth && kel::mmx_on()) return KEL_OK;
    return kel::with_pixel_type(src->type, int{KEL_ERR_TYPE}, [&]<class T>() {
      hflip_rows<T>(src, dst, area);
      return int{KEL_OK};
    });
  });
}

}  // extern "C"
