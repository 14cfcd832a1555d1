// The records behind KelXfm and KelPerspectiveXfm.
#pragma once

#include "geometry/calibration/camera_model.hpp"
#include "kelkit/calibration.h"

struct KelXfm {
  int kind = KEL_XFM_NONE;
  kel::calib::CameraModel model;
  double rms = 0, max_residual = 0;
  int points = 0;
};

struct KelPerspectiveXfm {
  bool computed = false;
  double h[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};  // world -> pixel
  double inverse[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  // The side of the horizon the world plane lies on: the sign of
  // h6 X + h7 Y + h8 for its points (points of the other side map to
  // pixels too, through the horizon, but are not seen).
  int side = 1;
  double rms = 0, max_residual = 0;
  int points = 0;

  // World to pixel and back for points on the seen side; false otherwise.
  bool to_pixel(double X, double Y, double &u, double &v) const;
  bool to_world(double u, double v, double &X, double &Y) const;
};

namespace kel::calib {

// Pixel residuals of the pairs under `model`: root-mean-square and largest.
// False when a world point has no image.
bool residuals(const CameraModel &model, int n, const double *px, const double *py,
               const double *wx, const double *wy, double &rms, double &largest);

bool finite_arrays(int n, std::initializer_list<const double *> arrays);

}  // namespace kel::calib
