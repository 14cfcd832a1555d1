// Least-median-of-squares model search shared by the robust line, circle
// and ellipse fits: minimal samples drawn by a fixed pseudo-random sequence
// (so a fit is reproducible), the candidate with the smallest median
// residual kept, and inliers chosen by a robust scale.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <vector>

namespace kel::lines {

// Indices of the points whose |residual| is within 2.5 robust standard
// deviations (estimated from the median residual, corrected for the
// sample size), or within `floor_scale` when the points fit exactly.
template <class Residual>
std::vector<int> select_inliers(int n, int sample_size, Residual residual, double floor_scale) {
  std::vector<double> r(n);
  for (int i = 0; i < n; ++i)
    r[i] = std::fabs(residual(i));
  std::vector<double> sorted = r;
  std::nth_element(sorted.begin(), sorted.begin() + n / 2, sorted.end());
  double med = sorted[n / 2];
  double sigma = 1.4826 * (1 + 5.0 / std::max(1, n - sample_size)) * med;
  double limit = std::max(2.5 * sigma, floor_scale);
  std::vector<int> keep;
  for (int i = 0; i < n; ++i)
    if (r[i] <= limit) keep.push_back(i);
  return keep;
}

// Runs the search: sample(indices) builds a candidate model from
// `sample_size` point indices (or nothing for a degenerate sample),
// residual(model, i) is point i's signed distance from the model. Returns
// the candidate with the smallest median squared residual.
template <class Model, class Sample, class Residual>
std::optional<Model> least_median(int n, int sample_size, Sample sample, Residual residual) {
  std::uint32_t state = 0x9e3779b9u;
  auto next = [&state](int bound) {
    state = state * 1664525u + 1013904223u;
    return int((std::uint64_t(state >> 8) * std::uint64_t(bound)) >> 24);
  };
  const int trials = n <= sample_size ? 1 : 400;
  std::optional<Model> best;
  double best_median = 0;
  std::vector<int> idx(sample_size);
  std::vector<double> r(n);
  for (int t = 0; t < trials; ++t) {
    if (n <= sample_size) {
      for (int k = 0; k < sample_size; ++k)
        idx[k] = k % n;
    } else {
      for (int k = 0; k < sample_size; ++k) {
        int pick;
        do
          pick = next(n);
        while (std::find(idx.begin(), idx.begin() + k, pick) != idx.begin() + k);
        idx[k] = pick;
      }
    }
    std::optional<Model> m = sample(idx);
    if (!m) continue;
    for (int i = 0; i < n; ++i) {
      double d = residual(*m, i);
      r[i] = d * d;
    }
    std::nth_element(r.begin(), r.begin() + n / 2, r.end());
    double med = r[n / 2];
    if (!std::isfinite(med)) continue;
    if (!best || med < best_median) {
      best = m;
      best_median = med;
    }
  }
  return best;
}

// A length scale of the points (largest extent of their bounding box), so
// that thresholds become relative.
inline double extent(int n, const double *x, const double *y) {
  auto [x0, x1] = std::minmax_element(x, x + n);
  auto [y0, y1] = std::minmax_element(y, y + n);
  return std::max(*x1 - *x0, *y1 - *y0);
}

inline bool all_finite(int n, const double *x, const double *y) {
  for (int i = 0; i < n; ++i)
    if (!std::isfinite(x[i]) || !std::isfinite(y[i])) return false;
  return true;
}

}  // namespace kel::lines
