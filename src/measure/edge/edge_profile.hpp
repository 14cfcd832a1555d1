// The four-tap step operator shared by the edge tools, and the single-edge
// search on a one-row profile that kel_edge_find_array and the calipers run.
#pragma once

#include <cstdint>

#include "pixsvc.h"

namespace kel::edge {

// g(i): the next two pixels minus the previous two, centred at i + 1.5.
inline int step_forward(const std::uint8_t *p, int i) {
  return p[i + 2] + p[i + 3] - p[i] - p[i + 1];
}

// gb(i): the same seen walking towards smaller indices, centred at i - 1.5.
inline int step_backward(const std::uint8_t *p, int i) {
  return p[i - 3] + p[i - 2] - p[i - 1] - p[i];
}

// The threshold value that selects the strongest-edge mode.
inline constexpr int kStrongest = 1000;

// One edge search along row 0 of `profile`, with failures reported under
// `fn`. Returns the strength and sets *position; after a failure returns 0
// with *position 0.0. `profile` and `position` must not be null.
int find_edge(const char *fn, const Image *profile, int start, int direction, int threshold,
              double *position);

}  // namespace kel::edge
