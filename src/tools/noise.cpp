// Images filled with uniform or Gaussian noise from a caller's generator.
#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "kelkit/random.h"
#include "tools/random_draws.hpp"

namespace {

using kel::row;
using kel::tools::next_state;

// Truncation toward zero to a 32-bit integer, with the value the processor's
// conversion gives for anything outside the range (and NaN): -2^31.
inline std::int32_t truncate(float v) {
  if (v >= -2147483648.0f && v < 2147483648.0f) return static_cast<std::int32_t>(v);
  return std::numeric_limits<std::int32_t>::min();
}

// A value as a pixel: integer types keep the low bits of the truncated value.
template <class T>
inline T to_pixel(float v) {
  if constexpr (std::is_same_v<T, float>)
    return v;
  else
    return static_cast<T>(static_cast<std::uint32_t>(truncate(v)));
}

// The states of the next kLanes steps follow from the current state s as
// mul[j] * s + add[j]; a block of pixels then needs no chain of steps.
constexpr int kLanes = 8;
struct Jumps {
  std::array<std::uint32_t, kLanes> mul{}, add{};
  constexpr Jumps() {
    std::uint32_t m = 1, a = 0;
    for (int j = 0; j < kLanes; ++j) {
      m *= kel::tools::kRandMul;
      a = a * kel::tools::kRandMul + kel::tools::kRandAdd;
      mul[j] = m;
      add[j] = a;
    }
  }
};
constexpr Jumps kJumps;

// One row of uniform noise: pixel x takes draw r of its step as
// map(float(r)) = r * factor + offset.
template <class T>
void uniform_row(T *p, int n, std::uint32_t &state, float factor, float offset) {
  int x = 0;
  for (; x + kLanes <= n; x += kLanes) {
    std::uint32_t lanes[kLanes];
    for (int j = 0; j < kLanes; ++j)
      lanes[j] = kJumps.mul[j] * state + kJumps.add[j];
    for (int j = 0; j < kLanes; ++j)
      p[x + j] = to_pixel<T>(static_cast<float>(lanes[j] >> 16) * factor + offset);
    state = lanes[kLanes - 1];
  }
  for (; x < n; ++x) {
    state = next_state(state);
    p[x] = to_pixel<T>(static_cast<float>(state >> 16) * factor + offset);
  }
}

template <class T>
void uniform_image(Image *img, float low, float high, KelRandGen &gen) {
  // 1.5259022e-5 is 1 / 65535 as a float.
  float factor, offset;
  if constexpr (std::is_same_v<T, float>) {
    factor = (high - low) * 1.5259022e-5f;
    offset = low;
  } else {
    const float top = std::is_same_v<T, std::uint8_t> ? 255.0f : 65535.0f;
    const float lo = std::max(low, 0.0f), hi = std::min(high, top);
    factor = (hi - lo + 1.0f) * 1.5259022e-5f;
    offset = lo - 0.5f;
  }
  std::uint32_t state = gen.state;
  for (int y = 0; y < img->dy; ++y)
    uniform_row(row<T>(img, y), img->dx, state, factor, offset);
  gen.state = state;
}

template <class T>
void gauss_image(Image *img, float deviation, float mean, KelRandGen &gen) {
  KelRandGen g = gen;
  for (int y = 0; y < img->dy; ++y) {
    T *p = row<T>(img, y);
    for (int x = 0; x < img->dx; ++x)
      p[x] = to_pixel<T>(kel::tools::gauss_draw(g) * deviation + mean);
  }
  gen = g;
}

int check(const char *fn, const Image *img, const KelRandGen *gen) {
  if (int e = kel::need_image(fn, img)) return e;
  if (!gen) return kel::fail(fn, KEL_ERR_NULL_IMAGE, "RandGen == NULL");
  if (img->type != BYTE && img->type != WORD && img->type != FLOAT)
    return kel::fail(fn, KEL_ERR_TYPE, "Image must be BYTE, WORD or FLOAT");
  return KEL_OK;
}

}  // namespace

extern "C" {

KELKIT_API int kel_uniform_noise(Image *img, float low, float high, KelRandGen *gen) {
  return kel::guarded("kel_uniform_noise", [&](const char *fn) -> int {
    if (int e = check(fn, img, gen)) return e;
    return kel::with_pixel_type(img->type, int{KEL_ERR_TYPE}, [&]<class T>() {
      uniform_image<T>(img, low, high, *gen);
      return int{KEL_OK};
    });
  });
}

KELKIT_API int kel_gauss_noise(Image *img, float deviation, float mean, KelRandGen *gen) {
  return kel::guarded("kel_gauss_noise", [&](const char *fn) -> int {
    if (int e = check(fn, img, gen)) return e;
    return kel::with_pixel_type(img->type, int{KEL_ERR_TYPE}, [&]<class T>() {
      gauss_image<T>(img, deviation, mean, *gen);
      return int{KEL_OK};
    });
  });
}

}  // extern "C"
