// Recursive (exponential) average of a running image sequence:
// average += weight * (frame - average), pixel by pixel.
#include <cmath>

#include "filter/plane/neighbourhood.hpp"
#include "kelkit/convolve.h"

namespace {

namespace nb = kel::nb;

template <class F, class A>
void blend(const Image *frame, Image *average, kel::Area a, double weight) {
  for (int y = 0; y < a.dy; ++y) {
    const F *in = kel::row<const F>(frame, y);
    A *avg = kel::row<A>(average, y);
    for (int x = 0; x < a.dx; ++x) {
      const double v = avg[x];
      avg[x] = nb::saturate<A>(v + weight * (static_cast<double>(in[x]) - v));
    }
  }
}

}  // namespace

extern "C" KELKIT_API int kel_running_average2(const Image *frame, Image *average, double weight) {
  return kel::guarded("kel_running_average2", [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, frame, average)) return e;
    if (!nb::supported_type(frame->type) || !nb::supported_type(average->type))
      return kel::fail(fn, KEL_ERR_TYPE, "Unsupported pixel type");
    if (average->type != frame->type && average->type != FLOAT)
      return kel::fail(fn, KEL_ERR_TYPE_MISMATCH, "Average must have the frame's type or FLOAT");
    kel::Area a = kel::common_area(frame, average);
    if (int e = kel::need_area(fn, a)) return e;
    if (!(weight >= 0 && weight <= 1)) {
      // A weight outside 0..1 is limited to it (NaN counts as 0) and the
      // operator goes on.
      kel::warn(fn, KEL_ERR_ARGUMENT, "Weight limited to 0..1");
      weight = weight > 1 ? 1.0 : 0.0;
    }
    nb::with_source_and_destination(frame->type, average->type, [&]<class F, class A>() {
      blend<F, A>(frame, average, a, weight);
    });
    return KEL_OK;
  });
}
