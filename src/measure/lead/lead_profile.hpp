// Profiles and edges of the lead analysis: bands sampled across the
// inspection rectangle, and lead edges found with the edge tools and placed
// at sub-pixel half-level crossings.
#pragma once

#include <vector>

#include "pixsvc.h"

namespace kel::lead {

// The rectangle's frame: origin at its start and body corner, u along the
// row of leads, v across it towards the tips.
struct Frame {
  double ox, oy;
  double ux, uy;
  double vx, vy;
  double px(double u, double v) const { return ox + u * ux + v * vx; }
  double py(double u, double v) const { return oy + u * uy + v * vy; }
};

// Mean of `lines` lines along u (n samples one pixel apart, the first at
// u0), at v = v0, v0 + 1, ... (lines along v when `along_v`).
std::vector<double> band_profile(const Image *img, const Frame &f, double u0, int n, double v0,
                                 int lines, bool along_v);

// One sub-pixel edge: its position and whether it goes into the lead.
struct Edge {
  double position;
  bool into_lead;
};

// The edges of profile[first .. first + count), in increasing position:
// listed by the edge tools on a one-row BYTE copy of the profile (scaled
// when its range exceeds 255 levels) through a view moved and resized over
// that window, then placed where the profile crosses the half level.
// `bright` says leads are brighter than the background; `contrast` is the
// step needed, in the profile's levels. False when memory is short.
bool find_edges(const std::vector<double> &profile, int first, int count, bool bright,
                double contrast, std::vector<Edge> &out);

// A lead as a pair of edges: left and right edge positions.
struct Pair {
  double left, right;
  double centre() const { return 0.5 * (left + right); }
};

// Consecutive (into, out of) edge pairs.
std::vector<Pair> pair_edges(const std::vector<Edge> &edges);

}  // namespace kel::lead
