// Fits of the camera-to-world transform from point pairs:
// kel_xfm_compute_affine and kel_xfm_compute_distortion.
#include <cmath>
#include <vector>

#include "frame/call.hpp"
#include "geometry/calibration/solve.hpp"
#include "geometry/calibration/xfm_record.hpp"

namespace {

using kel::calib::CameraModel;

// Least-squares affine map world -> pixel: pixel = a * (X, Y, 1). False for
// collinear world points or a singular map.
bool fit_affine(int n, const double *px, const double *py, const double *wx, const double *wy,
                double *a) {
  double mx = 0, my = 0, mu = 0, mv = 0;
  for (int i = 0; i < n; ++i)
    mx += wx[i], my += wy[i], mu += px[i], mv += py[i];
  mx /= n, my /= n, mu /= n, mv /= n;
  double sxx = 0, sxy = 0, syy = 0, sxu = 0, syu = 0, sxv = 0, syv = 0;
  for (int i = 0; i < n; ++i) {
    double x = wx[i] - mx, y = wy[i] - my, u = px[i] - mu, v = py[i] - mv;
    sxx += x * x, sxy += x * y, syy += y * y;
    sxu += x * u, syu += y * u, sxv += x * v, syv += y * v;
  }
  double det = sxx * syy - sxy * sxy;
  if (!(det > 1e-12 * (sxx + syy) * (sxx + syy))) return false;
  a[0] = (syy * sxu - sxy * syu) / det;
  a[1] = (sxx * syu - sxy * sxu) / det;
  a[3] = (syy * sxv - sxy * syv) / det;
  a[4] = (sxx * syv - sxy * sxv) / det;
  a[2] = mu - a[0] * mx - a[1] * my;
  a[5] = mv - a[3] * mx - a[4] * my;
  a[6] = a[7] = 0;
  a[8] = 1;
  double scale = std::fabs(a[0]) + std::fabs(a[1]) + std::fabs(a[3]) + std::fabs(a[4]);
  return std::fabs(a[0] * a[4] - a[1] * a[3]) > 1e-12 * scale * scale;
}

int check_pairs(const char *fn, KelXfm *xfm, int n, int minimum, const char *too_few,
                const double *px, const double *py, const double *wx, const double *wy) {
  if (int e = kel::need_pointer(fn, xfm, "xfm is NULL")) return e;
  if (!px || !py || !wx || !wy) return kel::fail(fn, KEL_ERR_ARGUMENT, "pointer is NULL");
  if (n < minimum) return kel::fail(fn, KEL_ERR_ARGUMENT, too_few);
  if (!kel::calib::finite_arrays(n, {px, py, wx, wy}))
    return kel::fail(fn, KEL_ERR_ARGUMENT, "Not finite");
  return KEL_OK;
}

}  // namespace

extern "C" KELKIT_API int kel_xfm_compute_affine(KelXfm *xfm, int n, const double *px,
                                                 const double *py, const double *wx,
                                                 const double *wy) {
  return kel::guarded("kel_xfm_compute_affine", [&](const char *fn) -> int {
    if (int e = check_pairs(fn, xfm, n, 3, "n < 3", px, py, wx, wy)) return e;
    CameraModel m;
    if (!fit_affine(n, px, py, wx, wy, m.plane))
      return kel::fail(fn, KEL_ERR_SINGULAR, "Singular map");
    double rms, largest;
    if (!kel::calib::residuals(m, n, px, py, wx, wy, rms, largest))
      return kel::fail(fn, KEL_ERR_SINGULAR, "Singular map");
    *xfm = KelXfm{KEL_XFM_AFFINE, m, rms, largest, n};
    return KEL_OK;
  });
}

extern "C" KELKIT_API int kel_xfm_compute_distortion(KelXfm *xfm, int n, const double *px,
                                                     const double *py, const double *wx,
                                                     const double *wy, double cx, double cy) {
  return kel::guarded("kel_xfm_compute_distortion", [&](const char *fn) -> int {
    if (int e = check_pairs(fn, xfm, n, 6, "n < 6", px, py, wx, wy)) return e;
    if (!std::isfinite(cx) || !std::isfinite(cy))
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Not finite");
    double a[9];
    if (!fit_affine(n, px, py, wx, wy, a)) return kel::fail(fn, KEL_ERR_SINGULAR, "Singular map");
    double s = 0;
    for (int i = 0; i < n; ++i)
      s += (px[i] - cx) * (px[i] - cx) + (py[i] - cy) * (py[i] - cy);
    s = std::sqrt(s / n);
    if (!(s > 0)) return kel::fail(fn, KEL_ERR_SINGULAR, "Singular map");
    CameraModel m;
    m.fx = m.fy = s;
    m.cx = cx;
    m.cy = cy;
    // Parameters: the affine rows in normalised coordinates, k1, k2, p1, p2.
    std::vector<double> p = {
        a[0] / s, a[1] / s, (a[2] - cx) / s, a[3] / s, a[4] / s, (a[5] - cy) / s, 0, 0, 0, 0};
    auto model_of = [&m](const double *q) {
      CameraModel t = m;
      const double plane[9] = {q[0], q[1], q[2], q[3], q[4], q[5], 0, 0, 1};
      std::copy(plane, plane + 9, t.plane);
      t.k1 = q[6], t.k2 = q[7], t.p1 = q[8], t.p2 = q[9];
      return t;
    };
    kel::calib::LeastSquares ls;
    ls.params = 10;
    ls.residuals = 2 * n;
    ls.eval = [&](const double *q, double *r) {
      CameraModel t = model_of(q);
      for (int i = 0; i < n; ++i) {
        double u, v;
        if (!t.world_to_pixel(wx[i], wy[i], u, v)) return false;
        r[2 * i] = u - px[i];
        r[2 * i + 1] = v - py[i];
      }
      return true;
    };
    kel::calib::levenberg_marquardt(ls, p);
    m = model_of(p.data());
    double rms, largest;
    if (!m.valid() || !kel::calib::residuals(m, n, px, py, wx, wy, rms, largest) ||
        !std::isfinite(rms))
      return kel::fail(fn, KEL_ERR_NOT_FOUND, "No fit");
    *xfm = KelXfm{KEL_XFM_DISTORTION, m, rms, largest, n};
    return KEL_OK;
  });
}
