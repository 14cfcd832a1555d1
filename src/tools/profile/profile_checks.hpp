// Argument checks shared by the profile operations (ar_*).
#pragma once

#include "frame/call.hpp"

namespace kel {

inline int need_array(const char *fn, const void *a) {
  return a ? KEL_OK : fail(fn, KEL_ERR_ARGUMENT, "Array is NULL");
}

template <class... Arrays>
int need_arrays(const char *fn, const Arrays *...arrays) {
  int e = KEL_OK;
  ((e = e ? e : need_array(fn, arrays)), ...);
  return e;
}

inline int need_length(const char *fn, int n, int at_least) {
  return n >= at_least ? KEL_OK : fail(fn, KEL_ERR_EMPTY, "Profile too short");
}

// Sample i of a profile with the end samples replicated beyond either end.
inline double sample_clamped(const double *a, int n, long i) {
  return a[i < 0 ? 0 : (i >= n ? n - 1 : i)];
}

// Offset of the vertex of the parabola through (-1, l), (0, c), (1, r) and
// its value there; offset 0 when the three points are collinear.
inline double parabola_vertex(double l, double c, double r, double *value) {
  double den = l - 2 * c + r;
  double off = den != 0 ? 0.5 * (l - r) / den : 0.0;
  if (off > 0.5 || off < -0.5) off = 0.0;
  if (value) *value = c - 0.25 * (l - r) * off;
  return off;
}

}  // namespace kel
