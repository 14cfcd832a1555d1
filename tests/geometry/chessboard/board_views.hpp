// Simulated views of a chessboard for the corner finder and calibration
// tests: a camera (intrinsics, distortion) looking at the board centre from
// a given tilt, roll and distance.
#pragma once

#include <cmath>
#include <vector>

#include "kelkit.h"

namespace board {

struct Camera {
  double f = 800, cx = 319.5, cy = 239.5;
  double dist[4] = {0, 0, 0, 0};
};

struct Pose {
  double tilt_x, tilt_y, roll;  // degrees
  double distance;              // world units from the board centre
};

// A camera xfm seeing a board of cols x rows inner corners of side
// `square`, its centre on the optical axis, turned by the pose.
inline KelXfm *view(const Camera &cam, const Pose &pose, int cols, int rows, double square,
                    double shift_x = 0, double shift_y = 0) {
  const double d = 3.14159265358979323846 / 180;
  double ax = pose.tilt_x * d, ay = pose.tilt_y * d, az = pose.roll * d;
  double rx[9] = {1, 0, 0, 0, std::cos(ax), -std::sin(ax), 0, std::sin(ax), std::cos(ax)};
  double ry[9] = {std::cos(ay), 0, std::sin(ay), 0, 1, 0, -std::sin(ay), 0, std::cos(ay)};
  double rz[9] = {std::cos(az), -std::sin(az), 0, std::sin(az), std::cos(az), 0, 0, 0, 1};
  auto mul = [](const double *a, const double *b, double *o) {
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j)
        o[i * 3 + j] = a[i * 3] * b[j] + a[i * 3 + 1] * b[3 + j] + a[i * 3 + 2] * b[6 + j];
  };
  double t1[9], r[9];
  mul(ry, rx, t1);
  mul(rz, t1, r);
  const double c[3] = {(cols - 1) * square / 2, (rows - 1) * square / 2, 0};
  double t[3];
  for (int i = 0; i < 3; ++i)
    t[i] = -(r[i * 3] * c[0] + r[i * 3 + 1] * c[1]);
  t[0] += shift_x;
  t[1] += shift_y;
  t[2] += pose.distance;
  const double plane[9] = {r[0], r[1], t[0], r[3], r[4], t[1], r[6], r[7], t[2]};
  const double k[5] = {cam.f, cam.f, 0, cam.cx, cam.cy};
  KelXfm *xfm = kel_xfm_create(nullptr);
  kel_xfm_set_camera(xfm, k, cam.dist, plane);
  return xfm;
}

// The true image positions of the inner corners, row by row.
inline void corners(const KelXfm *xfm, int cols, int rows, double square, std::vector<double> &x,
                    std::vector<double> &y) {
  x.assign(std::size_t(cols) * rows, 0);
  y.assign(x.size(), 0);
  for (int j = 0; j < rows; ++j)
    for (int i = 0; i < cols; ++i)
      kel_xfm_world_to_pixel(xfm, i * square, j * square, &x[j * cols + i], &y[j * cols + i]);
}

}  // namespace board
