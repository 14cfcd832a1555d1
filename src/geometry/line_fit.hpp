// Straight-line fit by direction and signed distance, shared by
// kel_linear_regression and the edge-line finders.
#pragma once

namespace kel::geometry {

// A line through the points (x, y) with -x * sin(theta) + y * cos(theta) =
// distance: theta is the angle of the line's direction (cos(theta),
// sin(theta)), in (-pi/2, pi/2], and distance the signed distance of the line
// from the origin along the unit normal (-sin(theta), cos(theta)).
struct DirectedLine {
  double theta = 0.0;
  double distance = 0.0;
};

// Least-squares fit on perpendicular distances over n >= 2 points. Returns
// false (and leaves `line` alone) when the points all coincide.
bool fit_line(int n, const double *x, const double *y, DirectedLine &line);

// Brings theta into (-pi/2, pi/2] by steps of pi, negating distance at each
// (a half turn reverses the normal).
void normalise(DirectedLine &line);

}  // namespace kel::geometry
