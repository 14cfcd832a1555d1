// Clusters of angles on the circle, for the rotation votes of a candidate.
#pragma once

#include <memory>
#include <vector>

namespace kel::locate {

class CAngleCluster {
 public:
  virtual ~CAngleCluster() = default;
  // Adds an angle (0..2pi); an angle more than `tolerance` from the mean is
  // unwrapped by a full turn towards it first.
  void add(double angle, double tolerance);
  // Circular distance from the mean at most `tolerance`.
  bool contains(double angle, double tolerance) const;

  double dSum = 0.0;
  double dMean = 0.0;  // 0..2pi
  int nCount = 0;
};

class CAngleClusterFinder {
 public:
  explicit CAngleClusterFinder(double tolerance) : dTolerance(tolerance) {}
  virtual ~CAngleClusterFinder() = default;

  // Puts the angle into the first cluster (in creation order) that contains
  // it, or into a new one.
  void add(double angle);
  // The cluster with the most angles, the earliest on ties; null when empty.
  const CAngleCluster *best() const;
  // Largest count first; equal counts keep their order.
  void sortByCount();
  void clear();

  int nCapacity = 0;
  int nCount = 0;
  std::vector<std::unique_ptr<CAngleCluster>> clusters;
  double dTolerance = 0.0;
};

}  // namespace kel::locate
