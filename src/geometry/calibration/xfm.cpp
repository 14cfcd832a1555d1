// The camera-to-world transform record: kel_xfm_create, kel_xfm_delete,
// kel_xfm_set_camera, kel_xfm_get_camera, the point maps, accessors and
// kel_xfm_rectify.
#include <algorithm>
#include <cmath>
#include <new>

#include "frame/call.hpp"
#include "geometry/calibration/rectify.hpp"
#include "geometry/calibration/xfm_record.hpp"

namespace kel::calib {

bool residuals(const CameraModel &model, int n, const double *px, const double *py,
               const double *wx, const double *wy, double &rms, double &largest) {
  double sum = 0;
  largest = 0;
  for (int i = 0; i < n; ++i) {
    double u, v;
    if (!model.world_to_pixel(wx[i], wy[i], u, v)) return false;
    double d = std::hypot(u - px[i], v - py[i]);
    sum += d * d;
    largest = std::max(largest, d);
  }
  rms = n > 0 ? std::sqrt(sum / n) : 0;
  return true;
}

bool finite_arrays(int n, std::initializer_list<const double *> arrays) {
  for (const double *a : arrays)
    for (int i = 0; i < n; ++i)
      if (!std::isfinite(a[i])) return false;
  return true;
}

}  // namespace kel::calib

namespace {

int need_computed(const char *fn, const KelXfm *xfm) {
  if (int e = kel::need_pointer(fn, xfm, "xfm is NULL")) return e;
  return xfm->kind == KEL_XFM_NONE ? kel::fail(fn, KEL_ERR_ARGUMENT, "Must initialize") : KEL_OK;
}

}  // namespace

extern "C" {

KELKIT_API KelXfm *kel_xfm_create(int *status) {
  if (status) *status = KEL_OK;
  KelXfm *xfm = new (std::nothrow) KelXfm;
  if (!xfm) {
    int code = kel::fail("kel_xfm_create", KEL_ERR_NO_MEMORY, "Out of memory");
    if (status) *status = code;
  }
  return xfm;
}

KELKIT_API void kel_xfm_delete(KelXfm *xfm) {
  delete xfm;
}

KELKIT_API int kel_xfm_get_kind(const KelXfm *xfm) {
  return xfm ? xfm->kind : KEL_XFM_NONE;
}
KELKIT_API double kel_xfm_get_rms(const KelXfm *xfm) {
  return xfm ? xfm->rms : 0.0;
}
KELKIT_API double kel_xfm_get_max_residual(const KelXfm *xfm) {
  return xfm ? xfm->max_residual : 0.0;
}
KELKIT_API int kel_xfm_get_point_count(const KelXfm *xfm) {
  return xfm ? xfm->points : 0;
}

KELKIT_API int kel_xfm_set_camera(KelXfm *xfm, const double *intrinsics, const double *distortion,
                                  const double *plane) {
  return kel::guarded("kel_xfm_set_camera", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, xfm, "xfm is NULL")) return e;
    if (!intrinsics || !plane) return kel::fail(fn, KEL_ERR_ARGUMENT, "pointer is NULL");
    kel::calib::CameraModel m;
    m.fx = intrinsics[0], m.fy = intrinsics[1], m.skew = intrinsics[2];
    m.cx = intrinsics[3], m.cy = intrinsics[4];
    if (distortion)
      m.k1 = distortion[0], m.k2 = distortion[1], m.p1 = distortion[2], m.p2 = distortion[3];
    std::copy(plane, plane + 9, m.plane);
    if (!m.valid()) return kel::fail(fn, KEL_ERR_ARGUMENT, "Bad camera model");
    xfm->model = m;
    xfm->kind = KEL_XFM_CAMERA;
    xfm->rms = xfm->max_residual = 0;
    xfm->points = 0;
    return KEL_OK;
  });
}

KELKIT_API int kel_xfm_get_camera(const KelXfm *xfm, double *intrinsics, double *distortion,
                                  double *plane) {
  return kel::guarded("kel_xfm_get_camera", [&](const char *fn) -> int {
    if (int e = need_computed(fn, xfm)) return e;
    const kel::calib::CameraModel &m = xfm->model;
    if (intrinsics) {
      const double k[5] = {m.fx, m.fy, m.skew, m.cx, m.cy};
      std::copy(k, k + 5, intrinsics);
    }
    if (distortion) {
      const double d[4] = {m.k1, m.k2, m.p1, m.p2};
      std::copy(d, d + 4, distortion);
    }
    if (plane) std::copy(m.plane, m.plane + 9, plane);
    return KEL_OK;
  });
}

KELKIT_API int kel_xfm_pixel_to_world(const KelXfm *xfm, double px, double py, double *wx,
                                      double *wy) {
  return kel::guarded("kel_xfm_pixel_to_world", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, xfm, "xfm is NULL")) return e;
    if (!wx || !wy) return kel::fail(fn, KEL_ERR_ARGUMENT, "pointer is NULL");
    *wx = *wy = 0;
    if (int e = need_computed(fn, xfm)) return e;
    double x, y;
    if (!std::isfinite(px) || !std::isfinite(py) || !xfm->model.pixel_to_world(px, py, x, y))
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Point outside the model");
    *wx = x;
    *wy = y;
    return KEL_OK;
  });
}

KELKIT_API int kel_xfm_world_to_pixel(const KelXfm *xfm, double wx, double wy, double *px,
                                      double *py) {
  return kel::guarded("kel_xfm_world_to_pixel", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, xfm, "xfm is NULL")) return e;
    if (!px || !py) return kel::fail(fn, KEL_ERR_ARGUMENT, "pointer is NULL");
    *px = *py = 0;
    if (int e = need_computed(fn, xfm)) return e;
    double u, v;
    if (!std::isfinite(wx) || !std::isfinite(wy) || !xfm->model.world_to_pixel(wx, wy, u, v))
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Point outside the model");
    *px = u;
    *py = v;
    return KEL_OK;
  });
}

KELKIT_API int kel_xfm_rectify(const KelXfm *xfm, const Image *src, Image *dst, double x0,
                               double y0, double scale) {
  return kel::guarded("kel_xfm_rectify", [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, src, dst)) return e;
    if (int e = need_computed(fn, xfm)) return e;
    auto to_pixel = [xfm](double X, double Y, double &u, double &v) {
      return xfm->model.world_to_pixel(X, Y, u, v);
    };
    return kel::calib::rectify(fn, to_pixel, src, dst, x0, y0, scale);
  });
}

}  // extern "C"
