// Single edge along a profile: kel_edge_find_array and the search it shares
// with the calipers.
#include "measure/edge/edge_profile.hpp"

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "frame/processor.hpp"
#include "kelkit/edge.h"

namespace kel::edge {
namespace {

constexpr double kNoneForward = 1.5;
constexpr double kNoneBackward = -1.5;

struct Profile {
  const std::uint8_t *p;
  int dx;
  int start;
};

// Sub-pixel position of a forward peak at k: the neighbours' difference over
// the peak value. The first and last step index have no neighbour on one
// side and stay at the operator's centre.
double forward_position(const Profile &pr, int k) {
  if (k == 0 || k == pr.dx - 4) return k + 1.5;
  int num = step_forward(pr.p, k + 1) - step_forward(pr.p, k - 1);
  return k + 1.5 + double(num) / step_forward(pr.p, k);
}

// The same walking backward; index 3 and the start have no neighbour on one
// side.
double backward_position(const Profile &pr, int k) {
  if (k == 0 || k == pr.start || k == 3) return k - 1.5;
  int num = step_backward(pr.p, k + 1) - step_backward(pr.p, k - 1);
  return k - 1.5 + double(num) / step_backward(pr.p, k);
}

// A threshold of 1 or more looks for values above it, one of 0 or less for
// values below it; "more extreme" follows the same sign.
struct Polarity {
  int threshold;
  bool rising() const { return threshold >= 1; }
  bool passes(int v) const { return rising() ? v > threshold : v < threshold; }
  bool beyond(int v, int best) const { return rising() ? v > best : v < best; }
};

// First edge walking with `step` (+1 or -1) from start over [lo, hi]: the
// first passing value, then the climb to its peak, which tolerates one
// sample that is not more extreme and stops at the second in a row.
template <class Step>
int first_edge(const Profile &pr, int lo, int hi, int dir, Polarity pol, Step g, int *peak) {
  int i = pr.start;
  while (i >= lo && i <= hi && !pol.passes(g(i)))
    i += dir;
  if (i < lo || i > hi) return 0;
  int k = i, best = g(i), misses = 0;
  for (int j = i + dir; j >= lo && j <= hi && misses < 2; j += dir) {
    int v = g(j);
    if (pol.beyond(v, best)) {
      best = v;
      k = j;
      misses = 0;
    } else {
      ++misses;
    }
  }
  *peak = k;
  return best;
}

// Largest positive value walking from start over [lo, hi]; the first met
// wins ties. 0 when no value is positive.
template <class Step>
int strongest_edge(const Profile &pr, int lo, int hi, int dir, Step g, int *peak) {
  int best = 0;
  for (int i = pr.start; i >= lo && i <= hi; i += dir) {
    int v = g(i);
    if (v > best) {
      best = v;
      *peak = i;
    }
  }
  return best;
}

int out_of_range(const char *fn, double *position) {
  fail(fn, KEL_ERR_ARGUMENT, "start out of range");
  *position = 0.0;
  return 0;
}

int search_forward(const char *fn, const Profile &pr, int threshold, double *position) {
  auto g = [&](int i) { return step_forward(pr.p, i); };
  int peak = 0;
  if (threshold == kStrongest) {
    *position = kNoneForward;
    if (static_cast<long long>(pr.dx) - pr.start < 4) return 0;
    if (pr.start < 0) return out_of_range(fn, position);
    *position = 0.0;
    // The processor-specific branch of this mode searches nothing.
    if (mmx_on()) return 0;
    int best = strongest_edge(pr, pr.start, pr.dx - 4, +1, g, &peak);
    if (best != 0) *position = forward_position(pr, peak);
    return best;
  }
  *position = kNoneForward;
  if (static_cast<long long>(pr.dx) - pr.start < 5 || pr.start >= pr.dx - 3) return 0;
  if (pr.start < 0) return out_of_range(fn, position);
  int best = first_edge(pr, pr.start, pr.dx - 4, +1, Polarity{threshold}, g, &peak);
  if (best != 0) *position = forward_position(pr, peak);
  return best;
}

int search_backward(const char *fn, const Profile &pr, int threshold, double *position) {
  auto g = [&](int i) { return step_backward(pr.p, i); };
  int peak = 0;
  *position = kNoneBackward;
  if (threshold != kStrongest && (pr.dx < 5 || pr.start < 3)) return 0;
  if (pr.start > pr.dx - 1 && pr.start >= 3) return out_of_range(fn, position);
  int best = threshold == kStrongest
                 ? strongest_edge(pr, 3, pr.start, -1, g, &peak)
                 : first_edge(pr, 3, pr.start, -1, Polarity{threshold}, g, &peak);
  if (best != 0) *position = backward_position(pr, peak);
  return best;
}

}  // namespace

int find_edge(const char *fn, const Image *profile, int start, int direction, int threshold,
              double *position) {
  *position = 0.0;
  if (need_type(fn, BYTE, profile)) return 0;
  if (profile->dy < 1 && profile->dx > 0) {
    fail(fn, KEL_ERR_EMPTY, "Profile has no row");
    return 0;
  }
  Profile pr{row<const std::uint8_t>(profile, 0), profile->dx,
             start == -1 ? profile->dx - 1 : start};
  return direction == 1 ? search_forward(fn, pr, threshold, position)
                        : search_backward(fn, pr, threshold, position);
}

}  // namespace kel::edge

extern "C" KELKIT_API int kel_edge_find_array(const Image *profile, int start, int direction,
                                              int threshold, double *position) {
  return kel::guarded_value<int>("kel_edge_find_array", 0, [&](const char *fn) -> int {
    if (position) *position = 0.0;
    if (kel::need_image(fn, profile) || kel::need_pointer(fn, position, "position is NULL"))
      return 0;
    return kel::edge::find_edge(fn, profile, start, direction, threshold, position);
  });
}
