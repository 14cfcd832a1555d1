// Least-squares straight line through a set of points: kel_linear_regression.
#include <cmath>
#include <numbers>

#include "frame/call.hpp"
#include "geometry/line_fit.hpp"
#include "kelkit/geometry.h"

namespace kel::geometry {

void normalise(NormalLine &line) {
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

bool fit_line(int n, const double *x, const double *y, NormalLine &line) {
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
  // The principal direction of the scatter is the line's direction; its
  // normal is a quarter turn further, and the line passes the centroid.
  NormalLine fitted;
  fitted.theta = 0.5 * std::atan2(2 * sxy, sxx - syy) + std::numbers::pi / 2;
  normalise(fitted);
  fitted.distance = mx * std::cos(fitted.theta) + my * std::sin(fitted.theta);
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
    kel::geometry::NormalLine line;
    if (!kel::geometry::fit_line(n, x, y, line))
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Points coincide");
    *theta = line.theta;
    *distance = line.distance;
    return KEL_OK;
  });
}
