// Rotation vectors and matrices for the camera calibration.
#include "geometry/calibration/rotation.hpp"

#include <algorithm>
#include <cmath>
#include <vector>

#include "geometry/calibration/solve.hpp"

namespace kel::calib {

void rotation_matrix(const double *rv, double *r) {
  double theta = std::sqrt(rv[0] * rv[0] + rv[1] * rv[1] + rv[2] * rv[2]);
  double a, b;  // sin(theta) / theta and (1 - cos(theta)) / theta^2
  if (theta < 1e-8) {
    a = 1 - theta * theta / 6;
    b = 0.5 - theta * theta / 24;
  } else {
    a = std::sin(theta) / theta;
    b = (1 - std::cos(theta)) / (theta * theta);
  }
  const double x = rv[0], y = rv[1], z = rv[2];
  r[0] = 1 - b * (y * y + z * z);
  r[1] = -a * z + b * x * y;
  r[2] = a * y + b * x * z;
  r[3] = a * z + b * x * y;
  r[4] = 1 - b * (x * x + z * z);
  r[5] = -a * x + b * y * z;
  r[6] = -a * y + b * x * z;
  r[7] = a * x + b * y * z;
  r[8] = 1 - b * (x * x + y * y);
}

void rotation_vector(const double *r, double *rv) {
  double c = std::clamp((r[0] + r[4] + r[8] - 1) / 2, -1.0, 1.0);
  double theta = std::acos(c);
  double sx = r[7] - r[5], sy = r[2] - r[6], sz = r[3] - r[1];  // 2 sin(theta) axis
  if (theta < 1e-8) {
    rv[0] = sx / 2, rv[1] = sy / 2, rv[2] = sz / 2;
    return;
  }
  if (std::fabs(std::sin(theta)) > 1e-4) {
    double f = theta / (2 * std::sin(theta));
    rv[0] = f * sx, rv[1] = f * sy, rv[2] = f * sz;
    return;
  }
  // Near a half turn: the axis from the diagonal of (R + I) / 2 = a a^T.
  double xx = std::sqrt(std::max(0.0, (r[0] + 1) / 2)),
         yy = std::sqrt(std::max(0.0, (r[4] + 1) / 2)),
         zz = std::sqrt(std::max(0.0, (r[8] + 1) / 2));
  if (xx >= yy && xx >= zz) {
    yy = (r[1] + r[3]) / (4 * xx), zz = (r[2] + r[6]) / (4 * xx);
  } else if (yy >= zz) {
    xx = (r[1] + r[3]) / (4 * yy), zz = (r[5] + r[7]) / (4 * yy);
  } else {
    xx = (r[2] + r[6]) / (4 * zz), yy = (r[5] + r[7]) / (4 * zz);
  }
  double n = std::sqrt(xx * xx + yy * yy + zz * zz);
  // Pick the sign that agrees with the skew part.
  double sign = (xx * sx + yy * sy + zz * sz) < 0 ? -1 : 1;
  rv[0] = sign * theta * xx / n, rv[1] = sign * theta * yy / n, rv[2] = sign * theta * zz / n;
}

void nearest_rotation(const double *m, double *r) {
  // R = M (M^T M)^(-1/2), from the eigen-decomposition of M^T M.
  std::vector<double> mtm(9, 0.0), values, vectors;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      for (int k = 0; k < 3; ++k)
        mtm[i * 3 + j] += m[k * 3 + i] * m[k * 3 + j];
  sym_eigen(3, mtm, values, vectors);
  double inv_sqrt[9] = {0};
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      for (int k = 0; k < 3; ++k)
        inv_sqrt[i * 3 + j] +=
            vectors[i * 3 + k] * vectors[j * 3 + k] / std::sqrt(std::max(values[k], 1e-300));
  mul3(m, inv_sqrt, r);
  if (det3(r) < 0)
    for (int i = 0; i < 9; ++i)
      r[i] = -r[i];
}

}  // namespace kel::calib
