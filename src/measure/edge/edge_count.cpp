// All rising and falling edges along a profile: kel_edge_count_array (step
// indices) and kel_edge_count_array_float (sub-pixel positions).
#include <algorithm>
#include <cstdint>
#include <vector>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "kelkit/edge.h"
#include "measure/edge/edge_profile.hpp"

namespace {

using kel::edge::step_forward;

// Both functions report under this name.
constexpr const char *kName = "kel_edge_count_array";

template <class T>
struct Lists {
  int max_rising, max_falling;
  unsigned *n_rising, *n_falling;
  T *rising, *falling;
};

// Null image, null counts, a null array with room asked for, then the type.
// The counts are 0 after any failure.
template <class T>
int check(const char *fn, const Image *profile, const Lists<T> &out) {
  if (out.n_rising) *out.n_rising = 0;
  if (out.n_falling) *out.n_falling = 0;
  if (int e = kel::need_image(fn, profile)) return e;
  if (!out.n_rising || !out.n_falling || (out.max_rising > 0 && !out.rising) ||
      (out.max_falling > 0 && !out.falling))
    return kel::fail(fn, KEL_ERR_ARGUMENT, "pointer is NULL");
  if (int e = kel::need_type(fn, BYTE, profile)) return e;
  if (profile->dy < 1 && profile->dx > 0) return kel::fail(fn, KEL_ERR_EMPTY, "Profile has no row");
  return KEL_OK;
}

// The three-state walk: idle, in a rising edge, in a falling edge. An edge
// ends at the first value that is not more extreme than its best; that index
// is stored and `step` indices are skipped.
void count_edges(const std::uint8_t *p, int dx, int step, long long threshold,
                 const Lists<unsigned> &out) {
  unsigned nr = 0, nf = 0;
  int state = 0, best = 0;
  for (int i = 0; dx >= 5 && i <= dx - 4; ++i) {
    int g = step_forward(p, i);
    if (state == 0) {
      if (g > threshold) {
        state = 1;
        best = g;
      } else if (g < -threshold) {
        state = -1;
        best = g;
      }
    } else if (state == 1) {
      if (g <= best) {
        if (int(nr) < out.max_rising) {
          out.rising[nr++] = unsigned(i);
          i += step;
        }
        state = 0;
      } else {
        best = g;
      }
    } else {
      if (g >= best) {
        if (int(nf) < out.max_falling) {
          out.falling[nf++] = unsigned(i);
          i += step;
        }
        state = 0;
      } else {
        best = g;
      }
    }
  }
  *out.n_rising = nr;
  *out.n_falling = nf;
}

// Marks each stretch of values at or beyond the threshold at its extreme
// (first index reaching it) with the number of samples equal to it: positive
// for rising stretches, negative for falling ones. A rising stretch that
// reaches the end is marked; a falling one is left unmarked, because the end
// test looks at the rising state only.
void mark_stretches(const std::vector<int> &g, int threshold, std::vector<int> &marks) {
  const int n = int(g.size());
  bool in = false;
  int best = 0, at = 0, count = 0;
  for (int i = 0; i < n; ++i) {
    if (g[i] >= threshold) {
      if (!in || g[i] > best) {
        best = g[i];
        at = i;
        count = 1;
      } else if (g[i] == best) {
        ++count;
      }
      in = true;
    } else if (in) {
      marks[at] = count;
      in = false;
    }
  }
  if (in) marks[at] = count;

  in = false;
  for (int i = 0; i < n; ++i) {
    if (g[i] <= -threshold) {
      if (!in || g[i] < best) {
        best = g[i];
        at = i;
        count = 1;
      } else if (g[i] == best) {
        ++count;
      }
      in = true;
    } else if (in) {
      marks[at] = -count;
      in = false;
    }
  }
}

// Sub-pixel position of a mark at i with `count` equal extreme samples.
float mark_position(const std::vector<int> &g, int i, int count) {
  const int n = int(g.size());
  const float centre = float(i) + 1.5f;
  if (count >= 2) return centre + float(count - 1) * 0.5f;
  if (i < 1 || i >= n - 1) return centre;
  int gm = g[i - 1], g0 = g[i], gp = g[i + 1];
  return centre + float(gm - gp) / (2.0f * float(gm - 2 * g0 + gp));
}

}  // namespace

extern "C" KELKIT_API int kel_edge_count_array(const Image *profile, int step, int threshold,
                                               int max_rising, int max_falling,
                                               unsigned int *n_rising, unsigned int *n_falling,
                                               unsigned int *rising, unsigned int *falling) {
  return kel::guarded(kName, [&](const char *fn) -> int {
    Lists<unsigned> out{max_rising, max_falling, n_rising, n_falling, rising, falling};
    if (int e = check(fn, profile, out)) return e;
    // A negative step would walk back over stored edges forever; one beyond
    // the profile ends the walk just the same.
    step = std::clamp(step, 0, std::max(profile->dx, 0));
    count_edges(kel::row<const std::uint8_t>(profile, 0), profile->dx, step, threshold, out);
    return KEL_OK;
  });
}

extern "C" KELKIT_API int kel_edge_count_array_float(const Image *profile, int step, int threshold,
                                                     int max_rising, int max_falling,
                                                     unsigned int *n_rising,
                                                     unsigned int *n_falling, float *rising,
                                                     float *falling) {
  return kel::guarded(kName, [&](const char *fn) -> int {
    Lists<float> out{max_rising, max_falling, n_rising, n_falling, rising, falling};
    if (int e = check(fn, profile, out)) return e;
    const int dx = profile->dx;
    step = std::clamp(step, 0, std::max(dx, 0));
    if (threshold < 1) threshold = 1;
    const std::uint8_t *p = kel::row<const std::uint8_t>(profile, 0);
    std::vector<int> g(dx > 4 ? dx - 3 : 0), marks(g.size(), 0);
    for (int i = 0; i < int(g.size()); ++i)
      g[i] = step_forward(p, i);
    mark_stretches(g, threshold, marks);

    unsigned nr = 0, nf = 0;
    for (int i = 0; i < int(g.size()); ++i) {
      if (marks[i] > 0 && int(nr) < max_rising) {
        rising[nr++] = mark_position(g, i, marks[i]);
        i += step;
      } else if (marks[i] < 0 && int(nf) < max_falling) {
        falling[nf++] = mark_position(g, i, -marks[i]);
        i += step;
      }
    }
    *n_rising = nr;
    *n_falling = nf;
    return KEL_OK;
  });
}
