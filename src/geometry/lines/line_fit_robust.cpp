// Robust straight-line fit: kel_line_fit_robust.
#include <cmath>
#include <vector>

#include "frame/call.hpp"
#include "geometry/line_fit.hpp"
#include "geometry/lines/robust.hpp"
#include "kelkit/lines.h"

namespace {

using kel::geometry::DirectedLine;

double residual(const DirectedLine &l, double x, double y) {
  return -x * std::sin(l.theta) + y * std::cos(l.theta) - l.distance;
}

bool fit_subset(const std::vector<int> &keep, const double *x, const double *y,
                DirectedLine &line) {
  std::vector<double> sx, sy;
  for (int i : keep) {
    sx.push_back(x[i]);
    sy.push_back(y[i]);
  }
  return keep.size() >= 2 && kel::geometry::fit_line(int(keep.size()), sx.data(), sy.data(), line);
}

}  // namespace

extern "C" KELKIT_API int kel_line_fit_robust(int n, const double *x, const double *y,
                                              KelLine *line, int *inliers) {
  return kel::guarded("kel_line_fit_robust", [&](const char *fn) -> int {
    if (line) *line = KelLine{0, 0};
    if (inliers) *inliers = 0;
    if (!x || !y || !line) return kel::fail(fn, KEL_ERR_ARGUMENT, "pointer is NULL");
    if (n < 2) return kel::fail(fn, KEL_ERR_ARGUMENT, "n < 2");
    if (!kel::lines::all_finite(n, x, y)) return kel::fail(fn, KEL_ERR_ARGUMENT, "Not finite");
    auto candidate = kel::lines::least_median<DirectedLine>(
        n, 2,
        [&](const std::vector<int> &idx) -> std::optional<DirectedLine> {
          double px[2] = {x[idx[0]], x[idx[1]]}, py[2] = {y[idx[0]], y[idx[1]]};
          DirectedLine l;
          if (!kel::geometry::fit_line(2, px, py, l)) return std::nullopt;
          return l;
        },
        [&](const DirectedLine &l, int i) { return residual(l, x[i], y[i]); });
    if (!candidate) return kel::fail(fn, KEL_ERR_NOT_FOUND, "No fit");
    DirectedLine best = *candidate;
    const double floor_scale = 1e-9 * std::max(1.0, kel::lines::extent(n, x, y));
    std::vector<int> keep;
    for (int round = 0; round < 3; ++round) {
      keep = kel::lines::select_inliers(
          n, 2, [&](int i) { return residual(best, x[i], y[i]); }, floor_scale);
      DirectedLine refit;
      if (!fit_subset(keep, x, y, refit)) break;
      best = refit;
    }
    *line = KelLine{best.theta, best.distance};
    if (inliers) *inliers = int(keep.size());
    return KEL_OK;
  });
}
