// Row kernels of the 3x3 convolutions: the plain references and the SSE2
// paths.
//
// The reference forms each weighted sum in 32-bit arithmetic that wraps
// around as signed 32-bit integers do. The SSE2 path works in 16-bit lanes,
// eight pixels per instruction, and is taken only for kernels whose absolute
// weights add up to at most 128: then every partial sum lies within
// +-128 * 255 = +-32640, so the 16-bit lanes hold the exact 32-bit value and
// the shift and the storing modes give identical results.
#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "filter/filter_rows.hpp"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace kel::filter {

Taps taps_of(const KelKernel3x3 &k) {
  return {{k.k0, k.k1, k.k2, k.k3, k.k4, k.k5, k.k6, k.k7, k.k8}, std::clamp(k.shift, 0, 31)};
}

namespace {

// The shifted weighted sum at column x, wrapping as signed 32-bit arithmetic.
inline std::int32_t weighted(Rows s, int x, const Taps &t) {
  const std::uint8_t *r[3] = {s.above + x - 1, s.centre + x - 1, s.below + x - 1};
  std::uint32_t sum = 0;
  for (int j = 0; j < 3; ++j)
    for (int i = 0; i < 3; ++i)
      sum += static_cast<std::uint32_t>(t.k[3 * j + i]) * r[j][i];
  return static_cast<std::int32_t>(sum) >> t.shift;
}

inline std::uint8_t limit(std::int64_t v) {
  return static_cast<std::uint8_t>(std::clamp<std::int64_t>(v, 0, 255));
}

inline std::int64_t magnitude(std::int32_t r) {
  return std::abs(static_cast<std::int64_t>(r));
}

inline std::uint8_t store_one(std::int32_t r, Mode mode) {
  switch (mode) {
    case Mode::abs:
      return limit(magnitude(r));
    case Mode::wrap:
      return static_cast<std::uint8_t>(r);
    default:
      return limit(r);
  }
}

inline std::uint8_t store_two(std::int32_t r1, std::int32_t r2, Mode mode) {
  switch (mode) {
    case Mode::abs:
      return limit(magnitude(r1) + magnitude(r2));
    case Mode::wrap:
      return static_cast<std::uint8_t>(static_cast<std::uint32_t>(r1) +
                                       static_cast<std::uint32_t>(r2));
    default:
      return limit(static_cast<std::int64_t>(r1) + r2);
  }
}

// Whether the 16-bit lanes hold every partial sum of this kernel exactly.
[[maybe_unused]] bool fits_16_bits(const Taps &t) {
  std::int64_t total = 0;
  for (int w : t.k)
    total += std::abs(static_cast<std::int64_t>(w));
  return total <= 128;
}

}  // namespace

void convolve_row_ref(Rows src, int w, const Taps &t, Mode mode, std::uint8_t *out) {
  for (int x = 1; x < w - 1; ++x)
    out[x] = store_one(weighted(src, x, t), mode);
}

void convolve_sum_row_ref(Rows src, int w, const Taps &t1, const Taps &t2, Mode mode,
                          std::uint8_t *out) {
  for (int x = 1; x < w - 1; ++x)
    out[x] = store_two(weighted(src, x, t1), weighted(src, x, t2), mode);
}

#if defined(__SSE2__)

namespace {

inline __m128i load16(const std::uint8_t *p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
}

inline void store16(std::uint8_t *p, __m128i v) {
  _mm_storeu_si128(reinterpret_cast<__m128i *>(p), v);
}

// A kernel in vector form: each weight broadcast to eight 16-bit lanes.
struct VectorTaps {
  explicit VectorTaps(const Taps &t) : taps(t), shift(_mm_cvtsi32_si128(t.shift)) {
    for (int i = 0; i < 9; ++i)
      weight[i] = _mm_set1_epi16(static_cast<short>(t.k[i]));
  }
  const Taps &taps;
  __m128i weight[9];
  __m128i shift;
};

// Sixteen results, columns x .. x + 15, as two vectors of eight 16-bit lanes.
struct Pair {
  __m128i lo, hi;
};

// The shifted weighted sums of columns x .. x + 15 (reads x - 1 .. x + 16).
// Zero weights cost nothing and weights of +-1 need no multiplication; the
// branches depend on the kernel only, so they are perfectly predicted.
inline Pair weighted16(Rows s, int x, const VectorTaps &v) {
  const __m128i zero = _mm_setzero_si128();
  const std::uint8_t *r[3] = {s.above + x - 1, s.centre + x - 1, s.below + x - 1};
  __m128i lo = zero, hi = zero;
  for (int j = 0; j < 3; ++j)
    for (int i = 0; i < 3; ++i) {
      int k = v.taps.k[3 * j + i];
      if (k == 0) continue;
      __m128i p = load16(r[j] + i);
      __m128i pl = _mm_unpacklo_epi8(p, zero), ph = _mm_unpackhi_epi8(p, zero);
      if (k == 1) {
        lo = _mm_add_epi16(lo, pl);
        hi = _mm_add_epi16(hi, ph);
      } else if (k == -1) {
        lo = _mm_sub_epi16(lo, pl);
        hi = _mm_sub_epi16(hi, ph);
      } else {
        lo = _mm_add_epi16(lo, _mm_mullo_epi16(pl, v.weight[3 * j + i]));
        hi = _mm_add_epi16(hi, _mm_mullo_epi16(ph, v.weight[3 * j + i]));
      }
    }
  // Counts above 15 fill with the sign, as the 32-bit shift does for sums
  // below 2^15 in magnitude.
  return {_mm_sra_epi16(lo, v.shift), _mm_sra_epi16(hi, v.shift)};
}

inline __m128i abs16(__m128i v) {
  return _mm_max_epi16(v, _mm_sub_epi16(_mm_setzero_si128(), v));
}

inline __m128i low_byte16(__m128i v) {
  return _mm_and_si128(v, _mm_set1_epi16(0xff));
}

// packus limits each signed 16-bit lane to 0..255.
template <Mode M>
inline __m128i pack_one(Pair r) {
  if constexpr (M == Mode::abs) return _mm_packus_epi16(abs16(r.lo), abs16(r.hi));
  if constexpr (M == Mode::wrap) return _mm_packus_epi16(low_byte16(r.lo), low_byte16(r.hi));
  return _mm_packus_epi16(r.lo, r.hi);
}

// The saturating sums keep their sign and stay at or beyond 255 in
// magnitude whenever the exact sum does, so limiting them afterwards gives
// the exact limited result.
template <Mode M>
inline __m128i pack_two(Pair a, Pair b) {
  if constexpr (M == Mode::abs)
    return _mm_packus_epi16(_mm_adds_epi16(abs16(a.lo), abs16(b.lo)),
                            _mm_adds_epi16(abs16(a.hi), abs16(b.hi)));
  if constexpr (M == Mode::wrap)
    return _mm_packus_epi16(low_byte16(_mm_add_epi16(a.lo, b.lo)),
                            low_byte16(_mm_add_epi16(a.hi, b.hi)));
  return _mm_packus_epi16(_mm_adds_epi16(a.lo, b.lo), _mm_adds_epi16(a.hi, b.hi));
}

// Runs block(x) for blocks of 16 columns covering 1 .. w - 2 (w >= 18); the
// last block overlaps its predecessor and rewrites the same values.
template <class Block>
inline void for_blocks(int w, Block block) {
  int x = 1;
  for (; x + 17 <= w; x += 16)
    block(x);
  if (x < w - 1) block(w - 17);
}

template <Mode M>
void convolve_row_sse2(Rows src, int w, const Taps &t, std::uint8_t *out) {
  const VectorTaps v(t);
  for_blocks(w, [&](int x) { store16(out + x, pack_one<M>(weighted16(src, x, v))); });
}

template <Mode M>
void convolve_sum_row_sse2(Rows src, int w, const Taps &t1, const Taps &t2, std::uint8_t *out) {
  const VectorTaps v1(t1), v2(t2);
  for_blocks(w, [&](int x) {
    store16(out + x, pack_two<M>(weighted16(src, x, v1), weighted16(src, x, v2)));
  });
}

}  // namespace

void convolve_row(Rows src, int w, const Taps &t, Mode mode, std::uint8_t *out) {
  if (w < 18 || !fits_16_bits(t)) return convolve_row_ref(src, w, t, mode, out);
  switch (mode) {
    case Mode::abs:
      return convolve_row_sse2<Mode::abs>(src, w, t, out);
    case Mode::wrap:
      return convolve_row_sse2<Mode::wrap>(src, w, t, out);
    default:
      return convolve_row_sse2<Mode::clamp>(src, w, t, out);
  }
}

void convolve_sum_row(Rows src, int w, const Taps &t1, const Taps &t2, Mode mode,
                      std::uint8_t *out) {
  if (w < 18 || !fits_16_bits(t1) || !fits_16_bits(t2))
    return convolve_sum_row_ref(src, w, t1, t2, mode, out);
  switch (mode) {
    case Mode::abs:
      return convolve_sum_row_sse2<Mode::abs>(src, w, t1, t2, out);
    case Mode::wrap:
      return convolve_sum_row_sse2<Mode::wrap>(src, w, t1, t2, out);
    default:
      return convolve_sum_row_sse2<Mode::clamp>(src, w, t1, t2, out);
  }
}

#else  // no vector path on this processor: the references are the kernels

void convolve_row(Rows src, int w, const Taps &t, Mode mode, std::uint8_t *out) {
  convolve_row_ref(src, w, t, mode, out);
}

void convolve_sum_row(Rows src, int w, const Taps &t1, const Taps &t2, Mode mode,
                      std::uint8_t *out) {
  convolve_sum_row_ref(src, w, t1, t2, mode, out);
}

#endif

}  // namespace kel::filter
