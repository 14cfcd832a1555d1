// The model score of the 360 search at a pose and the fine matcher.
#pragma once

#include "kelkit/vela360.h"
#include "measure/edge/edge_image.hpp"

namespace kel::locate {

struct Pose {
  double x = 0.0;  // model reference point in window pixels
  double y = 0.0;
  double angle = 0.0;
};

// 100 x matches / counted points (see the implementation); `sampling` 0 or
// 1 visits every model point, s >= 2 every s-th.
double model_score(const kel_vela_360_params &p, const CEdgeImg &edges, const Pose &pose,
                   int sampling);

// Refines position and angle by least squares of the distances from the
// moved model points to the scene edges they match, and returns the scale
// that would fit those matches best (about 1.0).
double fine_match(const kel_vela_360_params &p, const CEdgeImg &edges, Pose &pose);

// Refines the angle alone, the position held.
void refine_angle(const kel_vela_360_params &p, const CEdgeImg &edges, Pose &pose);

}  // namespace kel::locate
