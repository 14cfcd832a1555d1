// Camera model mapping and the homography estimate.
#include "geometry/calibration/camera_model.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "geometry/calibration/solve.hpp"

namespace kel::calib {

double CameraModel::fold_radius2() const {
  // d(r (1 + k1 r^2 + k2 r^4)) / dr = 1 + 3 k1 s + 5 k2 s^2 with s = r^2.
  const double inf = std::numeric_limits<double>::infinity();
  if (k2 == 0) return k1 < 0 ? -1 / (3 * k1) : inf;
  double disc = 9 * k1 * k1 - 20 * k2;
  if (disc < 0) return inf;
  double root = std::sqrt(disc), best = inf;
  for (double s : {(-3 * k1 - root) / (10 * k2), (-3 * k1 + root) / (10 * k2)})
    if (s > 0) best = std::min(best, s);
  return best;
}

void distort(const CameraModel &m, double x, double y, double &xd, double &yd) {
  double r2 = x * x + y * y, radial = 1 + r2 * (m.k1 + r2 * m.k2);
  xd = x * radial + 2 * m.p1 * x * y + m.p2 * (r2 + 2 * x * x);
  yd = y * radial + m.p1 * (r2 + 2 * y * y) + 2 * m.p2 * x * y;
}

bool undistort(const CameraModel &m, double xd, double yd, double &x, double &y) {
  x = xd;
  y = yd;
  if (!m.distorted()) return true;
  const double fold = m.fold_radius2();
  for (int it = 0; it < 50; ++it) {
    double fx, fy;
    distort(m, x, y, fx, fy);
    double ex = fx - xd, ey = fy - yd;
    if (std::fabs(ex) + std::fabs(ey) <= 1e-15 * (1 + std::fabs(xd) + std::fabs(yd)))
      return x * x + y * y < fold;
    double r2 = x * x + y * y, radial = 1 + r2 * (m.k1 + r2 * m.k2);
    double dradial = 2 * m.k1 + 4 * m.k2 * r2;  // d radial / d(r2)
    double j00 = radial + x * dradial * x + 2 * m.p1 * y + m.p2 * 6 * x;
    double j01 = x * dradial * y + 2 * m.p1 * x + m.p2 * 2 * y;
    double j10 = y * dradial * x + m.p1 * 2 * x + 2 * m.p2 * y;
    double j11 = radial + y * dradial * y + m.p1 * 6 * y + 2 * m.p2 * x;
    double det = j00 * j11 - j01 * j10;
    if (!(std::fabs(det) > 1e-12)) return false;
    x -= (j11 * ex - j01 * ey) / det;
    y -= (-j10 * ex + j00 * ey) / det;
    if (!std::isfinite(x) || !std::isfinite(y)) return false;
  }
  double fx, fy;
  distort(m, x, y, fx, fy);
  return std::hypot(fx - xd, fy - yd) <= 1e-9 * (1 + std::hypot(xd, yd)) && x * x + y * y < fold;
}

bool apply_homography(const double *h, double x, double y, double &u, double &v) {
  double w = h[6] * x + h[7] * y + h[8];
  if (!(std::fabs(w) > 1e-300)) return false;
  u = (h[0] * x + h[1] * y + h[2]) / w;
  v = (h[3] * x + h[4] * y + h[5]) / w;
  return std::isfinite(u) && std::isfinite(v);
}

bool CameraModel::world_to_pixel(double X, double Y, double &u, double &v) const {
  double w = plane[6] * X + plane[7] * Y + plane[8];
  if (!(w > 1e-300)) return false;  // at infinity or behind the camera
  double x = (plane[0] * X + plane[1] * Y + plane[2]) / w;
  double y = (plane[3] * X + plane[4] * Y + plane[5]) / w;
  if (distorted() && !(x * x + y * y < fold_radius2())) return false;
  double xd, yd;
  distort(*this, x, y, xd, yd);
  u = fx * xd + skew * yd + cx;
  v = fy * yd + cy;
  return std::isfinite(u) && std::isfinite(v);
}

bool CameraModel::pixel_to_world(double u, double v, double &X, double &Y) const {
  double yd = (v - cy) / fy, xd = (u - cx - skew * yd) / fx, x, y, inv[9];
  if (!undistort(*this, xd, yd, x, y) || !invert3(plane, inv)) return false;
  // Points behind the camera have no world position on the plane.
  if (!(inv[6] * x + inv[7] * y + inv[8] > 0)) return false;
  return apply_homography(inv, x, y, X, Y);
}

bool CameraModel::valid() const {
  const double values[] = {fx, fy, skew, cx, cy, k1, k2, p1, p2};
  for (double v : values)
    if (!std::isfinite(v)) return false;
  for (double v : plane)
    if (!std::isfinite(v)) return false;
  double inv[9];
  return fx != 0 && fy != 0 && invert3(plane, inv);
}

namespace {

// Similarity that moves the points' centroid to the origin and their mean
// distance from it to sqrt(2).
bool normaliser(int n, const double *x, const double *y, double *t) {
  double mx = 0, my = 0;
  for (int i = 0; i < n; ++i)
    mx += x[i], my += y[i];
  mx /= n;
  my /= n;
  double d = 0;
  for (int i = 0; i < n; ++i)
    d += std::hypot(x[i] - mx, y[i] - my);
  d /= n;
  if (!(d > 0) || !std::isfinite(d)) return false;
  double s = std::sqrt(2.0) / d;
  const double m[9] = {s, 0, -s * mx, 0, s, -s * my, 0, 0, 1};
  std::copy(m, m + 9, t);
  return true;
}

}  // namespace

bool fit_homography(int n, const double *sx, const double *sy, const double *dx, const double *dy,
                    double *h) {
  if (n < 4) return false;
  double ts[9], td[9], td_inv[9];
  if (!normaliser(n, sx, sy, ts) || !normaliser(n, dx, dy, td) || !invert3(td, td_inv))
    return false;
  std::vector<double> rows;
  rows.reserve(std::size_t(n) * 18);
  for (int i = 0; i < n; ++i) {
    double x = ts[0] * sx[i] + ts[2], y = ts[4] * sy[i] + ts[5];
    double u = td[0] * dx[i] + td[2], v = td[4] * dy[i] + td[5];
    rows.insert(rows.end(), {x, y, 1, 0, 0, 0, -u * x, -u * y, -u});
    rows.insert(rows.end(), {0, 0, 0, x, y, 1, -v * x, -v * y, -v});
  }
  std::vector<double> hn = null_vector(9, rows);
  double tmp[9];
  mul3(td_inv, hn.data(), tmp);
  mul3(tmp, ts, h);
  if (!(std::fabs(h[8]) > 1e-300)) return false;
  for (int i = 0; i < 9; ++i)
    h[i] /= h[8];
  // A degenerate configuration (three or more points on a line among four)
  // leaves a singular matrix.
  double scale = 0;
  for (int i = 0; i < 9; ++i)
    scale = std::max(scale, std::fabs(h[i]));
  if (!(std::fabs(det3(h)) > 1e-12 * scale * scale * scale)) return false;
  // Refinement of the destination-plane distances over the eight free
  // entries.
  LeastSquares ls;
  ls.params = 8;
  ls.residuals = 2 * n;
  ls.eval = [&](const double *p, double *r) {
    const double m[9] = {p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7], 1};
    for (int i = 0; i < n; ++i) {
      double u, v;
      if (!apply_homography(m, sx[i], sy[i], u, v)) return false;
      r[2 * i] = u - dx[i];
      r[2 * i + 1] = v - dy[i];
    }
    return true;
  };
  ls.jacobian = [&](const double *p, double *jac) {
    for (int i = 0; i < n; ++i) {
      double x = sx[i], y = sy[i], w = p[6] * x + p[7] * y + 1;
      double u = (p[0] * x + p[1] * y + p[2]) / w, v = (p[3] * x + p[4] * y + p[5]) / w;
      double *ru = &jac[std::size_t(2 * i) * 8], *rv = ru + 8;
      const double a[8] = {x / w, y / w, 1 / w, 0, 0, 0, -u * x / w, -u * y / w};
      const double b[8] = {0, 0, 0, x / w, y / w, 1 / w, -v * x / w, -v * y / w};
      std::copy(a, a + 8, ru);
      std::copy(b, b + 8, rv);
    }
    return true;
  };
  std::vector<double> p(h, h + 8);
  LmReport rep = levenberg_marquardt(ls, p);
  if (rep.ok) std::copy(p.begin(), p.end(), h);
  h[8] = 1;
  for (int i = 0; i < 9; ++i)
    if (!std::isfinite(h[i])) return false;
  return true;
}

}  // namespace kel::calib
