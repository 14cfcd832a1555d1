// Straight-line fit in normal form, shared by kel_linear_regression and the
// edge-line finders.
#pragma once

namespace kel::geometry {

// A line x * cos(theta) + y * sin(theta) = distance, theta in (-pi/2, pi/2].
struct NormalLine {
  double theta = 0.0;
  double distance = 0.0;
};

// Least-squares fit on perpendicular distances over n >= 2 points. Returns
// false (and leaves `line` alone) when the points all coincide.
bool fit_line(int n, const double *x, const double *y, NormalLine &line);

// Brings theta into (-pi/2, pi/2] by steps of pi, negating distance at each.
void normalise(NormalLine &line);

}  // namespace kel::geometry
