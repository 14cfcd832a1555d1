// Derived moment measures: central and normalised moments, the seven Hu
// invariants, centroid, orientation and the equivalent ellipse.
#include <cmath>
#include <numbers>

#include "measure/moments/moments_core.hpp"

namespace kel::moments {

bool complete(KelMoments &m) {
  if (m.m00 == 0 || !std::isfinite(m.m00)) {
    m = KelMoments{};
    return false;
  }
  const double x = m.m10 / m.m00, y = m.m01 / m.m00;
  m.xc = x;
  m.yc = y;
  // Central moments from the raw ones (exact algebraic identities).
  m.mu20 = m.m20 - x * m.m10;
  m.mu11 = m.m11 - x * m.m01;
  m.mu02 = m.m02 - y * m.m01;
  m.mu30 = m.m30 - 3 * x * m.m20 + 2 * x * x * m.m10;
  m.mu21 = m.m21 - 2 * x * m.m11 - y * m.m20 + 2 * x * x * m.m01;
  m.mu12 = m.m12 - 2 * y * m.m11 - x * m.m02 + 2 * y * y * m.m10;
  m.mu03 = m.m03 - 3 * y * m.m02 + 2 * y * y * m.m01;

  const double s2 = m.m00 * m.m00, s3 = s2 * std::sqrt(std::fabs(m.m00));
  m.nu20 = m.mu20 / s2;
  m.nu11 = m.mu11 / s2;
  m.nu02 = m.mu02 / s2;
  m.nu30 = m.mu30 / s3;
  m.nu21 = m.mu21 / s3;
  m.nu12 = m.mu12 / s3;
  m.nu03 = m.mu03 / s3;

  const double n20 = m.nu20, n02 = m.nu02, n11 = m.nu11;
  const double n30 = m.nu30, n21 = m.nu21, n12 = m.nu12, n03 = m.nu03;
  const double a = n30 + n12, b = n21 + n03;
  const double c = n30 - 3 * n12, d = 3 * n21 - n03;
  m.hu[0] = n20 + n02;
  m.hu[1] = (n20 - n02) * (n20 - n02) + 4 * n11 * n11;
  m.hu[2] = c * c + d * d;
  m.hu[3] = a * a + b * b;
  m.hu[4] = c * a * (a * a - 3 * b * b) + d * b * (3 * a * a - b * b);
  m.hu[5] = (n20 - n02) * (a * a - b * b) + 4 * n11 * a * b;
  m.hu[6] = d * a * (a * a - 3 * b * b) - c * b * (3 * a * a - b * b);

  // Covariance eigenvalues give the ellipse; the orientation is turned into
  // the counter-clockwise angle seen on screen (rows grow downwards).
  const double cxx = m.mu20 / m.m00, cyy = m.mu02 / m.m00, cxy = m.mu11 / m.m00;
  const double half = 0.5 * (cxx + cyy);
  const double root = std::sqrt(0.25 * (cxx - cyy) * (cxx - cyy) + cxy * cxy);
  const double l1 = half + root, l2 = std::max(0.0, half - root);
  m.major = 4 * std::sqrt(l1);
  m.minor = 4 * std::sqrt(l2);
  m.eccentricity = l1 > 0 ? std::sqrt(std::max(0.0, 1 - l2 / l1)) : 0.0;
  double deg = -0.5 * std::atan2(2 * cxy, cxx - cyy) * 180 / std::numbers::pi;
  if (deg <= -90) deg += 180;
  if (root == 0) deg = 0;
  m.angle = deg;
  return true;
}

}  // namespace kel::moments
