// Least-squares straight line through a set of points: kel_linear_regression.
#include <cmath>
#include <numbers>

#include "frame/call.hpp"
#include "geometry/line_fit.hpp"
#include "kelkit/geometry.h"

namespace kel::geometry {

void normalise(DirectedLine &line) {
  constexpr double pi = std::numbers::pi;
  while (line.theta > pi / 2) {
    line.theta -= pi;
    line.distance = -line.distance;
  }
  while (line.theta <= -pi / 2) {
    line.theta += pi;
    line.distance = -line.distance;
  }
}

bool fit_line(int n, const double *x, const double *y, DirectedLine &line) {
  double mx = 0, my = 0;
  for (int i = 0; i < n; ++i) {
    mx += x[i];
    my += y[i];
  }
  mx /= n;
  my /= n;
  double sxx = 0, syy = 0, sxy = 0;
  for (int i = 0; i < n; ++i) {
    double u = x[i] - mx, v = y[i] - my;
    sxx += u * u;
    syy += v * v;
    sxy += u * v;
  }
  if (!(sxx + syy > 0)) return false;
  // The line runs through the centroid along the principal direction of the
  // scatter, at angle phi with cos(2 phi) = c2 and sin(2 phi) = s2. The unit
  // direction (c, s) comes from half-angle formulas, each taken on the side
  // where it is well conditioned, with c >= 0 so that phi lies in
  // (-pi/2, pi/2]; axis-parallel lines thus get exact components (a vertical
  // line has c = 0 exactly, s = 1) and an exact distance.
  // An isotropic scatter (r = 0) has no preferred direction; it gets the
  // horizontal one.
  const double r = std::hypot(sxx - syy, 2 * sxy);
  const double c2 = r > 0 ? (sxx - syy) / r : 1.0, s2 = r > 0 ? 2 * sxy / r : 0.0;
  double c, s;
  if (c2 >= 0) {
    c = std::sqrt((1 + c2) / 2);
    s = s2 / (2 * c);
  } else {
    s = std::sqrt((1 - c2) / 2);
    if (s2 < 0) s = -s;
    c = s2 / (2 * s);
  }
  DirectedLine fitted;
  fitted.theta = std::atan2(s, c);
  fitted.distance = -mx * s + my * c;
  normalise(fitted);
  line = fitted;
  return true;
}

}  // namespace kel::geometry

extern "C" KELKIT_API int kel_linear_regression(int n, const double *x, const double *y,
                                                double *theta, double *distance) {
  return kel::guarded("kel_linear_regression", [&](const char *fn) -> int {
    if (theta) *theta = 0.0;
    if (distance) *distance = 0.0;
    if (!x || !y || !theta || !distance) return kel::fail(fn, KEL_ERR_ARGUMENT, "pointer is NULL");
    if (n < 2) return kel::fail(fn, KEL_ERR_ARGUMENT, "n < 2");
    kel::geometry::DirectedLine line;
    if (!kel::geometry::fit_line(n, x, y, line))
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Points coincide");
    *theta = line.theta;
    *distance = line.distance;
    return KEL_OK;
  });
}
