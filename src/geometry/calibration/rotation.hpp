// Rotation vectors (axis times angle) and matrices, row-major 3 x 3.
#pragma once

namespace kel::calib {

void rotation_matrix(const double *rvec, double *r);
void rotation_vector(const double *r, double *rvec);
// The rotation nearest to m (polar decomposition).
void nearest_rotation(const double *m, double *r);

}  // namespace kel::calib
