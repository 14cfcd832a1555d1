// Robust circle fit: kel_circle_fit. Candidates are algebraic circles
// x^2 + y^2 + D x + E y + F = 0 (linear least squares); the final circle
// minimises the radial distances of the inliers.
#include <cmath>
#include <vector>

#include "frame/call.hpp"
#include "geometry/calibration/solve.hpp"
#include "geometry/lines/robust.hpp"
#include "kelkit/lines.h"

namespace {

struct Circle {
  double cx, cy, r;
};

// Algebraic circle through the points idx, coordinates taken relative to
// (ox, oy) for conditioning.
std::optional<Circle> algebraic(const std::vector<int> &idx, const double *x, const double *y,
                                double ox, double oy) {
  std::vector<double> a(9, 0.0), b(3, 0.0);
  for (int i : idx) {
    double u = x[i] - ox, v = y[i] - oy, row[3] = {u, v, 1.0}, rhs = -(u * u + v * v);
    for (int p = 0; p < 3; ++p) {
      b[p] += row[p] * rhs;
      for (int q = 0; q < 3; ++q)
        a[p * 3 + q] += row[p] * row[q];
    }
  }
  if (!kel::calib::solve(3, a, b)) return std::nullopt;
  double cx = -b[0] / 2, cy = -b[1] / 2, r2 = cx * cx + cy * cy - b[2];
  if (!(r2 > 0) || !std::isfinite(r2)) return std::nullopt;
  return Circle{cx + ox, cy + oy, std::sqrt(r2)};
}

double residual(const Circle &c, double x, double y) {
  return std::hypot(x - c.cx, y - c.cy) - c.r;
}

// Geometric refinement of the radial distances over the points `keep`.
Circle refine(const Circle &start, const std::vector<int> &keep, const double *x, const double *y) {
  kel::calib::LeastSquares ls;
  ls.params = 3;
  ls.residuals = int(keep.size());
  ls.eval = [&](const double *p, double *r) {
    for (std::size_t k = 0; k < keep.size(); ++k)
      r[k] = residual({p[0], p[1], p[2]}, x[keep[k]], y[keep[k]]);
    return true;
  };
  ls.jacobian = [&](const double *p, double *jac) {
    for (std::size_t k = 0; k < keep.size(); ++k) {
      double dx = x[keep[k]] - p[0], dy = y[keep[k]] - p[1], d = std::hypot(dx, dy);
      if (!(d > 0)) d = 1;
      jac[k * 3] = -dx / d;
      jac[k * 3 + 1] = -dy / d;
      jac[k * 3 + 2] = -1;
    }
    return true;
  };
  std::vector<double> p = {start.cx, start.cy, start.r};
  kel::calib::levenberg_marquardt(ls, p);
  return Circle{p[0], p[1], std::fabs(p[2])};
}

}  // namespace

extern "C" KELKIT_API int kel_circle_fit(int n, const double *x, const double *y, KelCircle *circle,
                                         int *inliers) {
  return kel::guarded("kel_circle_fit", [&](const char *fn) -> int {
    if (circle) *circle = KelCircle{0, 0, 0};
    if (inliers) *inliers = 0;
    if (!x || !y || !circle) return kel::fail(fn, KEL_ERR_ARGUMENT, "pointer is NULL");
    if (n < 3) return kel::fail(fn, KEL_ERR_ARGUMENT, "n < 3");
    if (!kel::lines::all_finite(n, x, y)) return kel::fail(fn, KEL_ERR_ARGUMENT, "Not finite");
    const double ox = x[0], oy = y[0];
    auto candidate = kel::lines::least_median<Circle>(
        n, 3, [&](const std::vector<int> &idx) { return algebraic(idx, x, y, ox, oy); },
        [&](const Circle &c, int i) { return residual(c, x[i], y[i]); });
    if (!candidate) return kel::fail(fn, KEL_ERR_NOT_FOUND, "No fit");
    Circle best = *candidate;
    const double floor_scale = 1e-9 * std::max(1.0, kel::lines::extent(n, x, y));
    std::vector<int> keep;
    for (int round = 0; round < 3; ++round) {
      keep = kel::lines::select_inliers(
          n, 3, [&](int i) { return residual(best, x[i], y[i]); }, floor_scale);
      if (keep.size() < 3) break;
      auto start = algebraic(keep, x, y, ox, oy);
      best = refine(start ? *start : best, keep, x, y);
    }
    if (!std::isfinite(best.cx) || !std::isfinite(best.cy) || !(best.r > 0))
      return kel::fail(fn, KEL_ERR_NOT_FOUND, "No fit");
    *circle = KelCircle{best.cx, best.cy, best.r};
    if (inliers) *inliers = int(keep.size());
    return KEL_OK;
  });
}
