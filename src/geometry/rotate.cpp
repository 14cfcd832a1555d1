// Rotation of an image about its centre into a destination of any size,
// by bilinear interpolation through the image services.
#include <cmath>
#include <cstdint>
#include <numbers>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "kelkit/geometry.h"

namespace {

// Source positions this far outside the pixel centres still count as inside,
// so that exact quarter turns are not lost to rounding.
constexpr double kEdgeTolerance = 1e-6;

// Cosine and sine of an angle in degrees, exact for multiples of 90.
void cos_sin(double degrees, double *c, double *s) {
  double r = std::fmod(degrees, 360.0);
  if (r < 0) r += 360.0;
  if (r == 0.0) {
    *c = 1, *s = 0;
  } else if (r == 90.0) {
    *c = 0, *s = 1;
  } else if (r == 180.0) {
    *c = -1, *s = 0;
  } else if (r == 270.0) {
    *c = 0, *s = -1;
  } else {
    double a = degrees * std::numbers::pi / 180.0;
    *c = std::cos(a);
    *s = std::sin(a);
  }
}

template <class T>
T store(double v) {
  if constexpr (sizeof(T) == 4) {
    return static_cast<T>(v);
  } else {
    constexpr double hi = sizeof(T) == 1 ? 255.0 : 65535.0;
    v = std::floor(v + 0.5);
    return static_cast<T>(v < 0 ? 0.0 : v > hi ? hi : v);
  }
}

template <class T>
void rotate_kernel(const Image *src, Image *dst, double c, double s) {
  const double cxs = (src->dx - 1) / 2.0, cys = (src->dy - 1) / 2.0;
  const double cxd = (dst->dx - 1) / 2.0, cyd = (dst->dy - 1) / 2.0;
  const double max_x = src->dx - 1 + kEdgeTolerance, max_y = src->dy - 1 + kEdgeTolerance;
  for (int v = 0; v < dst->dy; ++v) {
    T *out = kel::row<T>(dst, v);
    const double dv = v - cyd;
    for (int u = 0; u < dst->dx; ++u) {
      const double du = u - cxd;
      // Destination pixel (u, v) shows the source point turned onto it.
      const double x = cxs + c * du - s * dv;
      const double y = cys + s * du + c * dv;
      if (x < -kEdgeTolerance || y < -kEdgeTolerance || x > max_x || y > max_y) {
        out[u] = T{0};
        continue;
      }
      out[u] = store<T>(im_get_interpolated_pixel(src, x, y));
    }
  }
}

}  // namespace

extern "C" {

KELKIT_API int kel_rotate(const Image *src, Image *dst, double angle) {
  return kel::guarded("kel_rotate", [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, src, dst)) return e;
    if (src == dst || im_same_image(src, dst))
      return kel::fail(fn, KEL_ERR_SAME_IMAGE, "Destination must differ from source");
    if (int e = kel::need_same_type(fn, src, dst)) return e;
    if (src->type != BYTE && src->type != WORD && src->type != FLOAT)
      return kel::fail(fn, KEL_ERR_TYPE, "Unsupported pixel type");
    if (src->dx < 1 || src->dy < 1 || dst->dx < 1 || dst->dy < 1)
      return kel::fail(fn, KEL_ERR_EMPTY, "Empty image");
    if (!std::isfinite(angle)) return kel::fail(fn, KEL_ERR_ARGUMENT, "Angle is not finite");
    double c, s;
    cos_sin(angle, &c, &s);
    return kel::with_pixel_type(src->type, int{KEL_ERR_TYPE}, [&]<class T>() {
      rotate_kernel<T>(src, dst, c, s);
      return int{KEL_OK};
    });
  });
}

}  // extern "C"
