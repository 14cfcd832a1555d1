// Angle clusters on the circle.
#include "locate/vela360/angle_cluster.hpp"

#include <cmath>
#include <utility>

namespace kel::locate {

namespace {
constexpr double kPi = 3.141592653589793;
constexpr double kTwoPi = 6.283185307179586;
}  // namespace

void CAngleCluster::add(double angle, double tolerance) {
  if (nCount == 0) dMean = angle;
  if (std::fabs(dMean - angle) > tolerance) angle += dMean > kPi ? kTwoPi : -kTwoPi;
  dSum += angle;
  nCount += 1;
  dMean = dSum / nCount;
  while (dMean >= kTwoPi)
    dMean -= kTwoPi;
}

bool CAngleCluster::contains(double angle, double tolerance) const {
  double d = std::fabs(dMean - angle);
  while (d > kPi)
    d = kTwoPi - d;
  return d <= tolerance;
}

void CAngleClusterFinder::add(double angle) {
  while (angle >= kTwoPi)
    angle -= kTwoPi;
  while (angle < 0.0)
    angle += kTwoPi;
  for (int i = 0; i < nCount; ++i) {
    if (clusters[static_cast<std::size_t>(i)]->contains(angle, dTolerance)) {
      clusters[static_cast<std::size_t>(i)]->add(angle, dTolerance);
      return;
    }
  }
  if (nCount == nCapacity) {
    nCapacity += 20;
    clusters.reserve(static_cast<std::size_t>(nCapacity));
  }
  clusters.push_back(std::make_unique<CAngleCluster>());
  clusters.back()->add(angle, dTolerance);
  ++nCount;
}

const CAngleCluster *CAngleClusterFinder::best() const {
  const CAngleCluster *b = nullptr;
  for (const auto &c : clusters)
    if (!b || c->nCount > b->nCount) b = c.get();
  return b;
}

void CAngleClusterFinder::sortByCount() {
  for (int i = 0; i < nCount; ++i)
    for (int j = 0; j + 1 < nCount - i; ++j)
      if (clusters[static_cast<std::size_t>(j + 1)]->nCount >
          clusters[static_cast<std::size_t>(j)]->nCount)
        std::swap(clusters[static_cast<std::size_t>(j)], clusters[static_cast<std::size_t>(j + 1)]);
}

void CAngleClusterFinder::clear() {
  clusters.clear();
  nCount = 0;
  nCapacity = 0;
}

}  // namespace kel::locate
