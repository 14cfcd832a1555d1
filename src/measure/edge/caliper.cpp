// Calipers on a profile: the inner width around a start point and the outer
// width between the profile's ends, each from two single-edge searches.
#include <algorithm>
#include <cmath>

#include "frame/call.hpp"
#include "kelkit/edge.h"
#include "measure/edge/edge_profile.hpp"

namespace {

// The searches report under the single-edge function's name, as they are the
// same search.
constexpr const char *kSearchName = "kel_edge_find_array";

struct Outputs {
  double *width, *position1, *position2;
  void clear() const {
    for (double *p : {width, position1, position2})
      if (p) *p = 0.0;
  }
};

int check(const char *fn, const Image *profile, const Outputs &out) {
  out.clear();
  if (int e = kel::need_image(fn, profile)) return e;
  if (!out.width || !out.position1 || !out.position2)
    return kel::fail(fn, KEL_ERR_ARGUMENT, "pointer is NULL");
  return KEL_OK;
}

int measure(const Image *profile, int threshold, int start1, int start2, const Outputs &out) {
  int s1 = kel::edge::find_edge(kSearchName, profile, start1, 1, threshold, out.position1);
  int s2 = kel::edge::find_edge(kSearchName, profile, start2, -1, threshold, out.position2);
  *out.width = std::fabs(*out.position1 - *out.position2);
  return std::min(s1, s2);
}

}  // namespace

extern "C" KELKIT_API int kel_caliper_id_array(const Image *profile, int threshold, int start,
                                               double *width, double *position1,
                                               double *position2) {
  return kel::guarded_value<int>("kel_caliper_id_array", 0, [&](const char *fn) -> int {
    Outputs out{width, position1, position2};
    if (check(fn, profile, out)) return 0;
    if (start == -2) start = profile->dx / 2;
    if (start == -1) start = profile->dx - 1;
    return measure(profile, threshold, start, start, out);
  });
}

extern "C" KELKIT_API int kel_caliper_od_array(const Image *profile, int threshold, double *width,
                                               double *position1, double *position2) {
  return kel::guarded_value<int>("kel_caliper_od_array", 0, [&](const char *fn) -> int {
    Outputs out{width, position1, position2};
    if (check(fn, profile, out)) return 0;
    return measure(profile, threshold, 0, profile->dx - 1, out);
  });
}
