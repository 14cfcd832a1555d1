// The plane-to-plane homography: kel_perspective_xfm_create, _delete,
// _compute, the point maps, accessors and kel_perspective_xfm_rectify.
#include <algorithm>
#include <cmath>
#include <new>

#include "frame/call.hpp"
#include "geometry/calibration/rectify.hpp"
#include "geometry/calibration/solve.hpp"
#include "geometry/calibration/xfm_record.hpp"

bool KelPerspectiveXfm::to_pixel(double X, double Y, double &u, double &v) const {
  return (h[6] * X + h[7] * Y + h[8]) * side > 0 && kel::calib::apply_homography(h, X, Y, u, v);
}

bool KelPerspectiveXfm::to_world(double u, double v, double &X, double &Y) const {
  // The world point's own w is 1 / (inverse row 3 . (u, v, 1)).
  return (inverse[6] * u + inverse[7] * v + inverse[8]) * side > 0 &&
         kel::calib::apply_homography(inverse, u, v, X, Y);
}

namespace {

int need_computed(const char *fn, const KelPerspectiveXfm *xfm) {
  if (int e = kel::need_pointer(fn, xfm, "xfm is NULL")) return e;
  return xfm->computed ? KEL_OK : kel::fail(fn, KEL_ERR_ARGUMENT, "Must initialize");
}

}  // namespace

extern "C" {

KELKIT_API KelPerspectiveXfm *kel_perspective_xfm_create(int *status) {
  if (status) *status = KEL_OK;
  KelPerspectiveXfm *xfm = new (std::nothrow) KelPerspectiveXfm;
  if (!xfm) {
    int code = kel::fail("kel_perspective_xfm_create", KEL_ERR_NO_MEMORY, "Out of memory");
    if (status) *status = code;
  }
  return xfm;
}

KELKIT_API void kel_perspective_xfm_delete(KelPerspectiveXfm *xfm) {
  delete xfm;
}

KELKIT_API int kel_perspective_xfm_compute(KelPerspectiveXfm *xfm, int n, const double *px,
                                           const double *py, const double *wx, const double *wy) {
  return kel::guarded("kel_perspective_xfm_compute", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, xfm, "xfm is NULL")) return e;
    if (!px || !py || !wx || !wy) return kel::fail(fn, KEL_ERR_ARGUMENT, "pointer is NULL");
    if (n < 4) return kel::fail(fn, KEL_ERR_ARGUMENT, "n < 4");
    if (!kel::calib::finite_arrays(n, {px, py, wx, wy}))
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Not finite");
    KelPerspectiveXfm r;
    if (!kel::calib::fit_homography(n, wx, wy, px, py, r.h) || !kel::calib::invert3(r.h, r.inverse))
      return kel::fail(fn, KEL_ERR_SINGULAR, "Singular map");
    r.side = r.h[6] * wx[0] + r.h[7] * wy[0] + r.h[8] > 0 ? 1 : -1;
    double sum = 0;
    for (int i = 0; i < n; ++i) {
      double u, v;
      if (!r.to_pixel(wx[i], wy[i], u, v))
        return kel::fail(fn, KEL_ERR_SINGULAR, "Points on both sides of the horizon");
      double d = std::hypot(u - px[i], v - py[i]);
      sum += d * d;
      r.max_residual = std::max(r.max_residual, d);
    }
    r.rms = std::sqrt(sum / n);
    r.points = n;
    r.computed = true;
    *xfm = r;
    return KEL_OK;
  });
}

KELKIT_API int kel_perspective_xfm_pixel_to_world(const KelPerspectiveXfm *xfm, double px,
                                                  double py, double *wx, double *wy) {
  return kel::guarded("kel_perspective_xfm_pixel_to_world", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, xfm, "xfm is NULL")) return e;
    if (!wx || !wy) return kel::fail(fn, KEL_ERR_ARGUMENT, "pointer is NULL");
    *wx = *wy = 0;
    if (int e = need_computed(fn, xfm)) return e;
    if (!xfm->to_world(px, py, *wx, *wy)) {
      *wx = *wy = 0;
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Point outside the model");
    }
    return KEL_OK;
  });
}

KELKIT_API int kel_perspective_xfm_world_to_pixel(const KelPerspectiveXfm *xfm, double wx,
                                                  double wy, double *px, double *py) {
  return kel::guarded("kel_perspective_xfm_world_to_pixel", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, xfm, "xfm is NULL")) return e;
    if (!px || !py) return kel::fail(fn, KEL_ERR_ARGUMENT, "pointer is NULL");
    *px = *py = 0;
    if (int e = need_computed(fn, xfm)) return e;
    if (!xfm->to_pixel(wx, wy, *px, *py)) {
      *px = *py = 0;
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Point outside the model");
    }
    return KEL_OK;
  });
}

KELKIT_API int kel_perspective_xfm_get_matrix(const KelPerspectiveXfm *xfm, double *h) {
  return kel::guarded("kel_perspective_xfm_get_matrix", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, xfm, "xfm is NULL")) return e;
    if (int e = kel::need_pointer(fn, h)) return e;
    if (int e = need_computed(fn, xfm)) return e;
    std::copy(xfm->h, xfm->h + 9, h);
    return KEL_OK;
  });
}

KELKIT_API double kel_perspective_xfm_get_rms(const KelPerspectiveXfm *xfm) {
  return xfm && xfm->computed ? xfm->rms : 0.0;
}
KELKIT_API double kel_perspective_xfm_get_max_residual(const KelPerspectiveXfm *xfm) {
  return xfm && xfm->computed ? xfm->max_residual : 0.0;
}
KELKIT_API int kel_perspective_xfm_get_point_count(const KelPerspectiveXfm *xfm) {
  return xfm && xfm->computed ? xfm->points : 0;
}

KELKIT_API int kel_perspective_xfm_rectify(const KelPerspectiveXfm *xfm, const Image *src,
                                           Image *dst, double x0, double y0, double scale) {
  return kel::guarded("kel_perspective_xfm_rectify", [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, src, dst)) return e;
    if (int e = need_computed(fn, xfm)) return e;
    auto to_pixel = [xfm](double X, double Y, double &u, double &v) {
      return xfm->to_pixel(X, Y, u, v);
    };
    return kel::calib::rectify(fn, to_pixel, src, dst, x0, y0, scale);
  });
}

}  // extern "C"
