// kel_rgb_pack: three BYTE colour planes packed into one FLOAT image.
#include <cstdint>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "kelkit/convert.h"

extern "C" {

KELKIT_API int kel_rgb_pack(const Image *red, const Image *green, const Image *blue, Image *out) {
  return kel::guarded("kel_rgb_pack", [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, red, green, blue, out)) return e;
    if (red->type != BYTE || green->type != BYTE || blue->type != BYTE)
      return kel::fail(fn, KEL_ERR_TYPE, "Input Images must be BYTE");
    if (out->type != FLOAT) return kel::fail(fn, KEL_ERR_TYPE, "Output must be FLOAT");
    if (red->dx != green->dx || red->dx != blue->dx || red->dy != green->dy || red->dy != blue->dy)
      return kel::fail(fn, KEL_ERR_SIZE, "Input Images must be the same size");
    if (out->dx < red->dx || out->dy < red->dy)
      return kel::fail(fn, KEL_ERR_SIZE, "Output must as large or larger than inputs");
    if (int e = kel::need_area(fn, kel::area_of(red))) return e;
    for (int y = 0; y < red->dy; ++y) {
      const std::uint8_t *r = kel::row<const std::uint8_t>(red, y);
      const std::uint8_t *g = kel::row<const std::uint8_t>(green, y);
      const std::uint8_t *b = kel::row<const std::uint8_t>(blue, y);
      float *q = kel::row<float>(out, y);
      // At most 24 bits: every packed colour is an exact float.
      for (int x = 0; x < red->dx; ++x)
        q[x] = static_cast<float>(std::int32_t{r[x]} << 16 | std::int32_t{g[x]} << 8 | b[x]);
    }
    return KEL_OK;
  });
}

}  // extern "C"
