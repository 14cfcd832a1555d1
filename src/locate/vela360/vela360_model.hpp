// Internals shared by the 360 search's model side (R-table, training,
// parameter file) and its search: the description of one contour point, and
// the owned parts of the parameter record.
#pragma once

#include <cstdint>

#include "kelkit/vela360.h"
#include "measure/contour/contour_set.hpp"

namespace kel::locate {

constexpr double kPi = 3.141592653589793;
constexpr double kTwoPi = 6.283185307179586;

// Largest chord span a model can use: a contour needs 2 k + 1 points to be
// described, and no table is built for a larger span.
constexpr int kMaxChordSpan = 100000;

// The shape of point i of a contour for the R-table: the chord angle, the
// reversed chord angle, the deviation e and the bin index (-1 when the point
// is skipped, -2 when the index ends the contour).
struct PointShape {
  double chord = 0.0;      // from the backward to the forward neighbour
  double reverse = 0.0;    // from the forward to the backward neighbour
  double deviation = 0.0;  // e = chord angle - angle to the forward point, unfolded
  int bin = -1;
};

// Describes point i of the contour (x, y, v the contour's arrays, n its
// point count) with span k, for a table of `bins` bins in `mode`.
PointShape describe_point(const double *x, const double *y, const double *v, int n, int i, int k,
                          int mode, int bins);

// The bin count of a mode (0 for an unknown mode).
int rtable_bins(int mode, int span);

// The first and one past the last point index described in a contour.
inline int first_described(const kel::measure::Contour &c, int k) {
  return c.closed ? 0 : k;
}
inline int end_described(const kel::measure::Contour &c, int k) {
  return c.closed ? c.count : c.count - k;
}

// Frees an R-table and everything it holds (null allowed).
void free_rtable(kel_vela_360_rtable *t);

// Deletes the search's work objects held by the record.
void release_work_objects(kel_vela_360_params *p);

// Angle normalised into [0, 2pi).
double normalise_angle(double a);

}  // namespace kel::locate

namespace kel::locate {

// Traces, smooths and gives directions to the contours of a whole BYTE image
// with the record's contour settings (nEdgeLevel, nMinEdgeSize,
// nMaxEdgeSize, one smoothing pass).
void trace_for_search(const kel_vela_360_params &p, const Image *img, KelContourSet &set);

}  // namespace kel::locate
