// The smoothing and direction steps of the contour set.
#include <cmath>
#include <vector>

#include "measure/contour/contour_set.hpp"

namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kTwoPi = 6.283185307179586;

// Index j of a contour of n points: wrapped when closed, clamped when open.
int neighbour(int j, int n, bool closed) {
  if (closed) return ((j % n) + n) % n;
  return j < 0 ? 0 : (j >= n ? n - 1 : j);
}

double circular_distance(double a, double b) {
  double d = std::fmod(std::fabs(a - b), kTwoPi);
  return d > kPi ? kTwoPi - d : d;
}

}  // namespace

namespace kel::measure {

void smooth_contours(KelContourSet &set) {
  std::vector<double> bx, by;
  for (const Contour &c : set.contours) {
    int n = c.count;
    if (n < 3) continue;
    double *x = set.x.data() + c.start;
    double *y = set.y.data() + c.start;
    bool closed = c.closed != 0;
    for (int pass = 0; pass < set.smoothing; ++pass) {
      bx.assign(x, x + n);
      by.assign(y, y + n);
      for (int i = 0; i < n; ++i) {
        if (!closed && (i == 0 || i == n - 1)) continue;
        int a = neighbour(i - 1, n, closed), b = neighbour(i + 1, n, closed);
        x[i] = 0.25 * (bx[a] + 2.0 * bx[i] + bx[b]);
        y[i] = 0.25 * (by[a] + 2.0 * by[i] + by[b]);
      }
    }
  }
}

void contour_directions(KelContourSet &set) {
  for (const Contour &c : set.contours) {
    int n = c.count;
    if (n < 2) continue;
    const double *x = set.x.data() + c.start;
    const double *y = set.y.data() + c.start;
    double *dir = set.direction.data() + c.start;
    bool closed = c.closed != 0;
    for (int i = 0; i < n; ++i) {
      int a = neighbour(i - 2, n, closed), b = neighbour(i + 2, n, closed);
      double tx = x[b] - x[a], ty = y[b] - y[a];
      if (tx == 0.0 && ty == 0.0) continue;
      double t = std::atan2(-ty, tx);
      double left = t + kPi / 2, right = t - kPi / 2;
      double pick =
          circular_distance(left, dir[i]) <= circular_distance(right, dir[i]) ? left : right;
      pick = std::fmod(pick, kTwoPi);
      if (pick < 0.0) pick += kTwoPi;
      dir[i] = pick;
    }
  }
}

}  // namespace kel::measure
