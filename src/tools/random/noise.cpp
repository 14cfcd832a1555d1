// Images filled with uniform or Gaussian noise from a caller's generator.
#include <algorithm>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "kelkit/random.h"
#include "tools/random/random_draws.hpp"

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
// mul[j] * s + add[j], so a block of pixels needs no chain of steps: the
// lanes are computed side by side, and only the step over the whole block
// (mul[kLanes - 1], add[kLanes - 1]) is chained.
constexpr int kLanes = 8;
struct Jumps {
  std::uint32_t mul[kLanes] = {}, add[kLanes] = {};
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

// Four lanes per vector: the width every x86-64 processor has.
typedef std::uint32_t v4u32 __attribute__((vector_size(16)));
typedef std::int32_t v4i32 __attribute__((vector_size(16)));
typedef float v4f32 __attribute__((vector_size(16)));
typedef std::uint16_t v4u16 __attribute__((vector_size(8)));
typedef std::uint8_t v4u8 __attribute__((vector_size(4)));

// Four values from four states, as r * factor + offset lane by lane.
inline v4f32 values_of(v4u32 states, float factor, float offset) {
  return __builtin_convertvector((v4i32)(states >> 16), v4f32) * factor + offset;
}

// The low 8 or 16 bits of truncate() of each lane: values outside the 32-bit
// range (and NaN) give -2^31, whose low bits are 0.
template <class T>
inline v4i32 low_bits(v4f32 v) {
  const v4i32 in_range = (v >= -2147483648.0f) & (v < 2147483648.0f);
  const v4i32 whole = __builtin_convertvector(in_range ? v : 0.0f, v4i32);
  return (in_range & whole) & (sizeof(T) == 1 ? 0xff : 0xffff);
}

// Eight pixels from the states of two vectors.
template <class T>
inline void store_eight(T *p, v4u32 lo, v4u32 hi, float factor, float offset) {
  const v4f32 a = values_of(lo, factor, offset), b = values_of(hi, factor, offset);
  if constexpr (std::is_same_v<T, float>) {
    __builtin_memcpy(p, &a, sizeof a);
    __builtin_memcpy(p + 4, &b, sizeof b);
  } else {
#if defined(__SSE2__)
    // Narrowed with the packing instructions; every lane is already within
    // the target type, so their saturation never acts (WORD lanes are moved
    // into the signed range and back around the 32-to-16 packing).
    __m128i x = (__m128i)low_bits<T>(a), y = (__m128i)low_bits<T>(b);
    if constexpr (sizeof(T) == 1) {
      const __m128i words = _mm_packs_epi32(x, y);
      const __m128i bytes = _mm_packus_epi16(words, words);
      _mm_storel_epi64(reinterpret_cast<__m128i *>(p), bytes);
    } else {
      const __m128i bias = _mm_set1_epi32(32768);
      const __m128i words = _mm_packs_epi32(_mm_sub_epi32(x, bias), _mm_sub_epi32(y, bias));
      _mm_storeu_si128(reinterpret_cast<__m128i *>(p),
                       _mm_xor_si128(words, _mm_set1_epi16(-32768)));
    }
#else
    const v4i32 x = low_bits<T>(a), y = low_bits<T>(b);
    for (int j = 0; j < 4; ++j)
      p[j] = static_cast<T>(x[j]), p[j + 4] = static_cast<T>(y[j]);
#endif
  }
}

// One row of uniform noise: pixel x takes the draw r of its step as
// r * factor + offset, stored as to_pixel does. Blocks of kLanes pixels are
// computed as vectors with the same operations per pixel.
template <class T>
void uniform_row(T *p, int n, std::uint32_t &state, float factor, float offset) {
  v4u32 mul_lo, mul_hi, add_lo, add_hi;
  __builtin_memcpy(&mul_lo, kJumps.mul, sizeof mul_lo);
  __builtin_memcpy(&mul_hi, kJumps.mul + 4, sizeof mul_hi);
  __builtin_memcpy(&add_lo, kJumps.add, sizeof add_lo);
  __builtin_memcpy(&add_hi, kJumps.add + 4, sizeof add_hi);
  int x = 0;
  for (; x + kLanes <= n; x += kLanes) {
    store_eight(p + x, mul_lo * state + add_lo, mul_hi * state + add_hi, factor, offset);
    state = kJumps.mul[kLanes - 1] * state + kJumps.add[kLanes - 1];
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
  if (img->dx < 1) return;
  std::vector<float> g(static_cast<std::size_t>(img->dx));
  for (int y = 0; y < img->dy; ++y) {
    kel::tools::gauss_fill(gen, g.data(), img->dx);
    T *p = row<T>(img, y);
    for (int x = 0; x < img->dx; ++x)
      p[x] = to_pixel<T>(g[x] * deviation + mean);
  }
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
