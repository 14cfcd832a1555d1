// The processor switch: has-MMX and use-MMX flags, set lazily from the image
// services' processor query on the first call that consults them.
#include "frame/processor.hpp"

#include "kelkit/frame.h"

namespace {

struct Switch {
  int initialised = 0;
  int has_mmx = 0;
  int use_mmx = 0;
};

Switch state;
const unsigned fast_sum_cell = 0;
const double fast_variance_cell = 0.0;

void ensure_initialised() {
  if (state.initialised) return;
  int answer = im_cpu_has_mmx() ? 1 : 0;
  state.has_mmx = answer;
  state.use_mmx = answer;
  state.initialised = 1;
}

}  // namespace

namespace kel {

bool mmx_on() {
  ensure_initialised();
  return state.use_mmx != 0;
}

unsigned last_fast_sum() {
  return fast_sum_cell;
}
double last_fast_variance() {
  return fast_variance_cell;
}

}  // namespace kel

extern "C" {

KELKIT_API int kel_use_mmx(void) {
  ensure_initialised();
  return state.use_mmx;
}

KELKIT_API int kel_cpu_has_mmx(void) {
  ensure_initialised();
  return state.has_mmx;
}

KELKIT_API void kel_set_use_mmx(int on) {
  ensure_initialised();
  state.use_mmx = (on && state.has_mmx) ? 1 : 0;
}

}  // extern "C"
