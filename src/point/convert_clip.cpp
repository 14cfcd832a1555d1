// Clipping of FLOAT images: kel_clip_negative, kel_clip_positive.
#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "kelkit/convert.h"

namespace {

// Replaces every pixel for which `hit` holds with `value`.
template <class Hit>
int clip(const char *name, Image *img, float value, Hit hit) {
  return kel::guarded(name, [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, img)) return e;
    if (img->type != FLOAT) return kel::fail(fn, KEL_ERR_NEED_TYPE, "Image must be FLOAT");
    if (int e = kel::need_area(fn, kel::area_of(img))) return e;
    for (int y = 0; y < img->dy; ++y) {
      float *p = kel::row<float>(img, y);
      for (int x = 0; x < img->dx; ++x)
        p[x] = hit(p[x]) ? value : p[x];
    }
    return KEL_OK;
  });
}

}  // namespace

extern "C" {

// Ordered comparisons with 0.0 are false for -0.0, +0.0 and NaN, which are
// therefore left as they are.
KELKIT_API int kel_clip_negative(Image *img, float value) {
  return clip("kel_clip_negative", img, value, [](float p) { return p < 0.0f; });
}

KELKIT_API int kel_clip_positive(Image *img, float value) {
  return clip("kel_clip_positive", img, value, [](float p) { return p > 0.0f; });
}

}  // extern "C"
