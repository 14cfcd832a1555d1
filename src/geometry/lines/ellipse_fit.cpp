// Robust ellipse fit: kel_ellipse_fit. Candidates are algebraic conics
// (unit-norm coefficient vector minimising the algebraic error, on
// normalised coordinates); the final ellipse minimises the orthogonal
// distances of the inliers.
#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "frame/call.hpp"
#include "geometry/calibration/solve.hpp"
#include "geometry/lines/robust.hpp"
#include "kelkit/lines.h"

namespace {

struct Ellipse {
  double cx, cy, a, b, angle;
};

// Root of the bisection of the closest-point equation for the ellipse
// (z0, z1 scaled coordinates, r0 = (e0 / e1)^2).
double closest_root(double r0, double z0, double z1, double g) {
  double n0 = r0 * z0, s0 = z1 - 1, s1 = g < 0 ? 0 : std::hypot(n0, z1) - 1, s = 0;
  for (int i = 0; i < 200; ++i) {
    s = (s0 + s1) / 2;
    if (s == s0 || s == s1) break;
    double ratio0 = n0 / (s + r0), ratio1 = z1 / (s + 1);
    g = ratio0 * ratio0 + ratio1 * ratio1 - 1;
    if (g > 0)
      s0 = s;
    else if (g < 0)
      s1 = s;
    else
      break;
  }
  return s;
}

// Closest point (x0, x1) to (y0, y1), y0, y1 >= 0, on the ellipse with
// semi-axes e0 >= e1 > 0 along the coordinate axes.
void closest_on_axes(double e0, double e1, double y0, double y1, double &x0, double &x1) {
  if (y1 > 0) {
    if (y0 > 0) {
      double z0 = y0 / e0, z1 = y1 / e1, g = z0 * z0 + z1 * z1 - 1;
      if (g == 0) {
        x0 = y0, x1 = y1;
        return;
      }
      double r0 = (e0 / e1) * (e0 / e1), s = closest_root(r0, z0, z1, g);
      x0 = r0 * y0 / (s + r0);
      x1 = y1 / (s + 1);
      return;
    }
    x0 = 0, x1 = e1;
    return;
  }
  double numer0 = e0 * y0, denom0 = e0 * e0 - e1 * e1;
  if (numer0 < denom0) {
    double xde0 = numer0 / denom0;
    x0 = e0 * xde0, x1 = e1 * std::sqrt(1 - xde0 * xde0);
    return;
  }
  x0 = e0, x1 = 0;
}

// Signed orthogonal distance of (x, y) from the ellipse (negative inside)
// and, when `grad` is given, its derivatives by (cx, cy, a, b, angle): the
// closest point stays the closest to first order, so each derivative is
// minus the outward normal times the motion of that point of the curve.
double residual(const Ellipse &e, double x, double y, double *grad = nullptr) {
  const double c = std::cos(e.angle), s = std::sin(e.angle), dx = x - e.cx, dy = y - e.cy;
  const double u = dx * c + dy * s, v = -dx * s + dy * c, a = e.a, b = e.b;
  double cu, cv;  // closest point in the ellipse's frame
  if (a >= b) {
    closest_on_axes(a, b, std::fabs(u), std::fabs(v), cu, cv);
  } else {
    closest_on_axes(b, a, std::fabs(v), std::fabs(u), cv, cu);
  }
  cu = std::copysign(cu, u);
  cv = std::copysign(cv, v);
  double nu = cu / (a * a), nv = cv / (b * b), len = std::hypot(nu, nv);
  nu /= len, nv /= len;
  const double d = nu * (u - cu) + nv * (v - cv);
  if (grad) {
    grad[0] = -(c * nu - s * nv);
    grad[1] = -(s * nu + c * nv);
    grad[2] = -nu * cu / a;
    grad[3] = -nv * cv / b;
    grad[4] = nu * cv - nv * cu;
  }
  return d;
}

// The ellipse of a conic A x^2 + B xy + C y^2 + D x + E y + F = 0 given in
// coordinates ((x - ox) / scale, (y - oy) / scale); nothing for other conics.
std::optional<Ellipse> from_conic(const std::vector<double> &q, double ox, double oy,
                                  double scale) {
  double A = q[0], B = q[1], C = q[2], D = q[3], E = q[4], F = q[5];
  double det = 4 * A * C - B * B;
  if (!(det > 0)) return std::nullopt;
  double x0 = (B * E - 2 * C * D) / det, y0 = (B * D - 2 * A * E) / det;
  double f0 = F + (D * x0 + E * y0) / 2;
  // Eigenvalues of [[A, B/2], [B/2, C]].
  double mean = (A + C) / 2, half = std::hypot((A - C) / 2, B / 2);
  double l1 = mean - half, l2 = mean + half;  // l1 <= l2: l1 along the long axis
  double a2 = -f0 / l1, b2 = -f0 / l2;
  if (!(a2 > 0) || !(b2 > 0) || !std::isfinite(a2) || !std::isfinite(b2)) return std::nullopt;
  // Eigenvector of l1: (B/2, l1 - A) or (l1 - C, B/2).
  double vx = B / 2, vy = l1 - A;
  if (std::hypot(vx, vy) < std::hypot(l1 - C, B / 2)) vx = l1 - C, vy = B / 2;
  double angle = (vx == 0 && vy == 0) ? 0.0 : std::atan2(vy, vx);
  angle = std::remainder(angle, std::numbers::pi);
  return Ellipse{x0 * scale + ox, y0 * scale + oy, std::sqrt(a2) * scale, std::sqrt(b2) * scale,
                 angle};
}

// A candidate of the search: the ellipse and its conic on normalised
// coordinates, whose first-order (Sampson) distance ranks candidates
// quickly.
struct Candidate {
  Ellipse e;
  std::vector<double> q;
};

std::vector<double> conic_through(const std::vector<int> &idx, const double *x, const double *y,
                                  double ox, double oy, double scale) {
  std::vector<double> rows;
  rows.reserve(idx.size() * 6);
  for (int i : idx) {
    double u = (x[i] - ox) / scale, v = (y[i] - oy) / scale;
    rows.insert(rows.end(), {u * u, u * v, v * v, u, v, 1.0});
  }
  return kel::calib::null_vector(6, rows);
}

double sampson(const std::vector<double> &q, double u, double v) {
  double value = q[0] * u * u + q[1] * u * v + q[2] * v * v + q[3] * u + q[4] * v + q[5];
  double gu = 2 * q[0] * u + q[1] * v + q[3], gv = q[1] * u + 2 * q[2] * v + q[4];
  return value / std::max(std::hypot(gu, gv), 1e-300);
}

std::optional<Ellipse> algebraic(const std::vector<int> &idx, const double *x, const double *y,
                                 double ox, double oy, double scale) {
  return from_conic(conic_through(idx, x, y, ox, oy, scale), ox, oy, scale);
}

Ellipse normalised(Ellipse e) {
  e.a = std::fabs(e.a);
  e.b = std::fabs(e.b);
  if (e.a < e.b) {
    std::swap(e.a, e.b);
    e.angle += std::numbers::pi / 2;
  }
  e.angle = std::remainder(e.angle, std::numbers::pi);
  if (e.angle <= -std::numbers::pi / 2) e.angle += std::numbers::pi;
  return e;
}

Ellipse refine(const Ellipse &start, const std::vector<int> &keep, const double *x,
               const double *y) {
  kel::calib::LeastSquares ls;
  ls.params = 5;
  ls.residuals = int(keep.size());
  ls.eval = [&](const double *p, double *r) {
    if (!(p[2] > 0) || !(p[3] > 0)) return false;
    Ellipse e{p[0], p[1], p[2], p[3], p[4]};
    for (std::size_t k = 0; k < keep.size(); ++k)
      r[k] = residual(e, x[keep[k]], y[keep[k]]);
    return true;
  };
  ls.jacobian = [&](const double *p, double *jac) {
    if (!(p[2] > 0) || !(p[3] > 0)) return false;
    Ellipse e{p[0], p[1], p[2], p[3], p[4]};
    for (std::size_t k = 0; k < keep.size(); ++k)
      residual(e, x[keep[k]], y[keep[k]], &jac[k * 5]);
    return true;
  };
  std::vector<double> p = {start.cx, start.cy, start.a, start.b, start.angle};
  kel::calib::levenberg_marquardt(ls, p);
  return normalised({p[0], p[1], p[2], p[3], p[4]});
}

}  // namespace

extern "C" KELKIT_API int kel_ellipse_fit(int n, const double *x, const double *y,
                                          KelEllipse *ellipse, int *inliers) {
  return kel::guarded("kel_ellipse_fit", [&](const char *fn) -> int {
    if (ellipse) *ellipse = KelEllipse{0, 0, 0, 0, 0};
    if (inliers) *inliers = 0;
    if (!x || !y || !ellipse) return kel::fail(fn, KEL_ERR_ARGUMENT, "pointer is NULL");
    if (n < 5) return kel::fail(fn, KEL_ERR_ARGUMENT, "n < 5");
    if (!kel::lines::all_finite(n, x, y)) return kel::fail(fn, KEL_ERR_ARGUMENT, "Not finite");
    double ox = 0, oy = 0;
    for (int i = 0; i < n; ++i)
      ox += x[i] / n, oy += y[i] / n;
    const double size = kel::lines::extent(n, x, y);
    if (!(size > 0)) return kel::fail(fn, KEL_ERR_NOT_FOUND, "No fit");
    const double scale = size / 2;
    auto candidate = kel::lines::least_median<Candidate>(
        n, 5,
        [&](const std::vector<int> &idx) -> std::optional<Candidate> {
          std::vector<double> q = conic_through(idx, x, y, ox, oy, scale);
          std::optional<Ellipse> e = from_conic(q, ox, oy, scale);
          if (!e) return std::nullopt;
          return Candidate{*e, q};
        },
        [&](const Candidate &c, int i) {
          return sampson(c.q, (x[i] - ox) / scale, (y[i] - oy) / scale) * scale;
        });
    if (!candidate) return kel::fail(fn, KEL_ERR_NOT_FOUND, "No fit");
    Ellipse best = normalised(candidate->e);
    std::vector<int> keep;
    for (int round = 0; round < 3; ++round) {
      keep = kel::lines::select_inliers(
          n, 5, [&](int i) { return residual(best, x[i], y[i]); }, 1e-9 * std::max(1.0, size));
      if (keep.size() < 5) break;
      auto start = algebraic(keep, x, y, ox, oy, scale);
      best = refine(start ? normalised(*start) : best, keep, x, y);
    }
    if (!std::isfinite(best.cx) || !std::isfinite(best.cy) || !(best.b > 0) ||
        !std::isfinite(best.a))
      return kel::fail(fn, KEL_ERR_NOT_FOUND, "No fit");
    *ellipse = KelEllipse{best.cx, best.cy, best.a, best.b, best.angle};
    if (inliers) *inliers = int(keep.size());
    return KEL_OK;
  });
}
