// The vela search's last stages: the grid refinement of a pose and the
// measures of a match (quality, conform, geoquality, conratio, score).
#pragma once

#include "kelkit/vela.h"
#include "locate/vela/vela_record.hpp"

namespace kel::locate {

// Largest sub-pixel grid setting the measurement uses per axis; larger
// settings (from a file or a setter) are taken as this.
inline constexpr int kMaxSubPixelGrid = 64;

// A match: the model's centre in the scanned image and its angle.
struct Pose {
  double x = 0.0, y = 0.0;
  double angle = 0.0;
};

struct MeasureSetup {
  InnerRect inner;    // the compared rectangle of the model
  ScoreScale scale;   // normalisation of the compared rectangle
  int max_angle = 0;  // the table's half-range a
};

inline MeasureSetup measure_setup(const KelVelaParams *p, const InnerRect &in,
                                  const ScoreScale &scale) {
  MeasureSetup m;
  m.inner = in;
  m.scale = scale;
  m.max_angle = angle_range(p);
  return m;
}

// Refines the pose on the grid of sub_pixel_grid (and, in mode 3, the angle
// by a quarter degree either side). Throws std::bad_alloc.
void refine_on_grid(const KelVelaParams *p, const MeasureSetup &ms, const Area8 &scene, Pose &pose);

// The position record of a pose (in the scanned image's coordinates).
// Throws std::bad_alloc.
KelVelaPosition measure(const KelVelaParams *p, const MeasureSetup &ms, Image *img,
                        const Area8 &scene, const Pose &pose);

}  // namespace kel::locate
