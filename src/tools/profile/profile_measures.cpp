// Measures of profiles: statistics, sub-pixel extremes, peaks and valleys,
// level crossings.
#include <algorithm>
#include <cmath>
#include <vector>

#include "kelkit/profile.h"
#include "tools/profile/profile_checks.hpp"

namespace {

// Index of the largest (sign 1) or smallest (sign -1) value, first on ties,
// and its parabola-refined position and value.
void extreme(const double *a, int n, double sign, double *position, double *value) {
  int best = 0;
  for (int i = 1; i < n; ++i)
    if (sign * a[i] > sign * a[best]) best = i;
  double v = a[best], off = 0;
  if (best > 0 && best + 1 < n) off = kel::parabola_vertex(a[best - 1], a[best], a[best + 1], &v);
  if (position) *position = best + off;
  if (value) *value = v;
}

struct Peak {
  double position;
  double value;
};

// Peaks of sign * a (sign -1 finds valleys), see ar_peaks.
std::vector<Peak> find_peaks(const double *a, int n, double sign, double prominence,
                             int min_distance) {
  auto v = [&](long i) { return sign * a[i]; };
  std::vector<Peak> found;
  for (long i = 0; i < n;) {
    long j = i;  // plateau i..j
    while (j + 1 < n && v(j + 1) == v(i))
      ++j;
    bool left_lower = i == 0 || v(i - 1) < v(i);
    bool right_lower = j == n - 1 || v(j + 1) < v(j);
    bool inner = i > 0 || j < n - 1;
    if (left_lower && right_lower && inner && !(i == 0 && j == n - 1)) {
      // Prominence: lowest point on each side before a higher sample.
      // A side that the profile's end cuts off does not bound the peak.
      double lmin = v(i), rmin = v(j);
      for (long k = i - 1; k >= 0 && v(k) <= v(i); --k)
        lmin = std::min(lmin, v(k));
      for (long k = j + 1; k < n && v(k) <= v(i); ++k)
        rmin = std::min(rmin, v(k));
      double base = i == 0 ? rmin : (j == n - 1 ? lmin : std::max(lmin, rmin));
      double prom = v(i) - base;
      if (prom >= prominence && prom > 0) {
        long m = (i + j) / 2;
        double pos = (i + j) / 2.0, val = a[m];
        if (i == j && i > 0 && i + 1 < n)
          pos = i + kel::parabola_vertex(a[i - 1], a[i], a[i + 1], nullptr);
        found.push_back({pos, val});
      }
    }
    i = j + 1;
  }
  if (min_distance > 0 && found.size() > 1) {
    std::vector<Peak> by_strength = found;
    std::stable_sort(by_strength.begin(), by_strength.end(),
                     [&](const Peak &p, const Peak &q) { return sign * p.value > sign * q.value; });
    std::vector<Peak> kept;
    for (const Peak &p : by_strength) {
      bool near = std::any_of(kept.begin(), kept.end(), [&](const Peak &q) {
        return std::fabs(p.position - q.position) < min_distance;
      });
      if (!near) kept.push_back(p);
    }
    std::sort(kept.begin(), kept.end(),
              [](const Peak &p, const Peak &q) { return p.position < q.position; });
    found = kept;
  }
  return found;
}

int peaks_call(const char *fn, const double *a, int n, double sign, double prominence,
               int min_distance, double *positions, double *values, int max_count, int *count) {
  if (count) *count = 0;
  if (int e = kel::need_arrays(fn, a, count)) return e;
  if (max_count > 0)
    if (int e = kel::need_arrays(fn, positions, values)) return e;
  if (int e = kel::need_length(fn, n, 1)) return e;
  if (!(prominence >= 0) || min_distance < 0)
    return kel::fail(fn, KEL_ERR_ARGUMENT, "Prominence and distance must not be negative");
  std::vector<Peak> found = find_peaks(a, n, sign, prominence, min_distance);
  int k = 0;
  for (; k < max_count && k < static_cast<int>(found.size()); ++k) {
    positions[k] = found[k].position;
    values[k] = found[k].value;
  }
  *count = k;
  return KEL_OK;
}

}  // namespace

extern "C" {

KELKIT_API int ar_stats(const double *a, int n, double *mean, double *stddev, double *min,
                        double *max) {
  return kel::guarded("ar_stats", [&](const char *fn) -> int {
    if (int e = kel::need_array(fn, a)) return e;
    if (int e = kel::need_length(fn, n, 1)) return e;
    double s = 0, lo = a[0], hi = a[0];
    for (int i = 0; i < n; ++i) {
      s += a[i];
      lo = std::min(lo, a[i]);
      hi = std::max(hi, a[i]);
    }
    double m = s / n, q = 0;
    for (int i = 0; i < n; ++i)
      q += (a[i] - m) * (a[i] - m);
    if (mean) *mean = m;
    if (stddev) *stddev = std::sqrt(q / n);
    if (min) *min = lo;
    if (max) *max = hi;
    return KEL_OK;
  });
}

KELKIT_API int ar_max(const double *a, int n, double *position, double *value) {
  return kel::guarded("ar_max", [&](const char *fn) -> int {
    if (int e = kel::need_array(fn, a)) return e;
    if (int e = kel::need_length(fn, n, 1)) return e;
    extreme(a, n, 1.0, position, value);
    return KEL_OK;
  });
}

KELKIT_API int ar_min(const double *a, int n, double *position, double *value) {
  return kel::guarded("ar_min", [&](const char *fn) -> int {
    if (int e = kel::need_array(fn, a)) return e;
    if (int e = kel::need_length(fn, n, 1)) return e;
    extreme(a, n, -1.0, position, value);
    return KEL_OK;
  });
}

KELKIT_API int ar_peaks(const double *a, int n, double prominence, int min_distance,
                        double *positions, double *values, int max_count, int *count) {
  return kel::guarded("ar_peaks", [&](const char *fn) {
    return peaks_call(fn, a, n, 1.0, prominence, min_distance, positions, values, max_count, count);
  });
}

KELKIT_API int ar_valleys(const double *a, int n, double prominence, int min_distance,
                          double *positions, double *values, int max_count, int *count) {
  return kel::guarded("ar_valleys", [&](const char *fn) {
    return peaks_call(fn, a, n, -1.0, prominence, min_distance, positions, values, max_count,
                      count);
  });
}

KELKIT_API int ar_crossings(const double *a, int n, double level, int directions, double *positions,
                            int *directions_out, int max_count, int *count) {
  return kel::guarded("ar_crossings", [&](const char *fn) -> int {
    if (count) *count = 0;
    if (int e = kel::need_arrays(fn, a, count)) return e;
    if (max_count > 0)
      if (int e = kel::need_array(fn, positions)) return e;
    if (int e = kel::need_length(fn, n, 1)) return e;
    if (directions < KEL_AR_RISING || directions > KEL_AR_BOTH)
      return kel::fail(fn, KEL_ERR_OPERATION, "Unknown operation");
    int k = 0;
    for (int i = 0; i + 1 < n && k < max_count; ++i) {
      bool up = a[i] < level && a[i + 1] >= level;
      bool down = a[i] >= level && a[i + 1] < level;
      int dir = up ? KEL_AR_RISING : down ? KEL_AR_FALLING : 0;
      if (!(dir & directions)) continue;
      positions[k] = i + (level - a[i]) / (a[i + 1] - a[i]);
      if (directions_out) directions_out[k] = dir;
      ++k;
    }
    *count = k;
    return KEL_OK;
  });
}

}  // extern "C"
