// AVX2 versions of the BYTE statistics row kernels. Compiled for AVX2 by
// function attribute and called only on processors that have it; each ends
// with the SSE2 kernel on the last, shorter stretch, so results equal the
// reference exactly.
#include "point/stats_rows.hpp"

#if defined(__SSE2__)
#include <immintrin.h>

#include <algorithm>

#define KEL_AVX2 __attribute__((target("avx2")))

namespace kel::stats {

namespace {

KEL_AVX2 inline __m256i load32(const std::uint8_t *p) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
}

// The four 64-bit lanes' low 32 bits, added modulo 2^32.
KEL_AVX2 inline std::uint32_t low32_of_lanes64(__m256i v) {
  alignas(32) std::uint64_t lanes[4];
  _mm256_store_si256(reinterpret_cast<__m256i *>(lanes), v);
  return static_cast<std::uint32_t>(lanes[0] + lanes[1] + lanes[2] + lanes[3]);
}

KEL_AVX2 inline std::uint32_t sum32_of_lanes(__m256i v) {
  alignas(32) std::uint32_t lanes[8];
  _mm256_store_si256(reinterpret_cast<__m256i *>(lanes), v);
  std::uint32_t s = 0;
  for (std::uint32_t l : lanes)
    s += l;
  return s;
}

}  // namespace

KEL_AVX2 std::uint32_t sum_row_avx2(const std::uint8_t *p, int n) {
  const __m256i zero = _mm256_setzero_si256();
  __m256i acc0 = zero, acc1 = zero;
  int x = 0;
  for (; x + 64 <= n; x += 64) {
    acc0 = _mm256_add_epi64(acc0, _mm256_sad_epu8(load32(p + x), zero));
    acc1 = _mm256_add_epi64(acc1, _mm256_sad_epu8(load32(p + x + 32), zero));
  }
  std::uint32_t s = low32_of_lanes64(_mm256_add_epi64(acc0, acc1));
  return s + sum_row_sse2(p + x, n - x);
}

KEL_AVX2 void sum_squares_row_avx2(const std::uint8_t *p, int n, std::uint32_t *s,
                                   std::uint32_t *q) {
  const __m256i zero = _mm256_setzero_si256();
  __m256i sums = zero, squares = zero;
  int x = 0;
  for (; x + 32 <= n; x += 32) {
    __m256i v = load32(p + x);
    sums = _mm256_add_epi64(sums, _mm256_sad_epu8(v, zero));
    __m256i lo = _mm256_unpacklo_epi8(v, zero), hi = _mm256_unpackhi_epi8(v, zero);
    squares = _mm256_add_epi32(squares, _mm256_madd_epi16(lo, lo));
    squares = _mm256_add_epi32(squares, _mm256_madd_epi16(hi, hi));
  }
  *s += low32_of_lanes64(sums);
  *q += sum32_of_lanes(squares);
  sum_squares_row_sse2(p + x, n - x, s, q);
}

KEL_AVX2 std::uint32_t count_nz_row_avx2(const std::uint8_t *p, int n) {
  const __m256i zero = _mm256_setzero_si256();
  __m256i zeros = zero;
  int x = 0;
  // Four byte-counter registers, 128 bytes per step, flushed with psadbw
  // before any counter can pass 255.
  while (x + 128 <= n) {
    int steps = std::min((n - x) / 128, 255);
    __m256i c0 = zero, c1 = zero, c2 = zero, c3 = zero;
    for (int s = 0; s < steps; ++s, x += 128) {
      c0 = _mm256_sub_epi8(c0, _mm256_cmpeq_epi8(load32(p + x), zero));
      c1 = _mm256_sub_epi8(c1, _mm256_cmpeq_epi8(load32(p + x + 32), zero));
      c2 = _mm256_sub_epi8(c2, _mm256_cmpeq_epi8(load32(p + x + 64), zero));
      c3 = _mm256_sub_epi8(c3, _mm256_cmpeq_epi8(load32(p + x + 96), zero));
    }
    __m256i pairs = _mm256_add_epi64(_mm256_sad_epu8(c0, zero), _mm256_sad_epu8(c1, zero));
    pairs = _mm256_add_epi64(pairs, _mm256_sad_epu8(c2, zero));
    zeros = _mm256_add_epi64(zeros, _mm256_add_epi64(pairs, _mm256_sad_epu8(c3, zero)));
  }
  std::uint32_t nz = static_cast<std::uint32_t>(x) - low32_of_lanes64(zeros);
  return nz + count_nz_row_sse2(p + x, n - x);
}

namespace {

template <bool Max>
KEL_AVX2 std::uint8_t extreme_row_avx2(const std::uint8_t *p, int n) {
  if (n < 64) return Max ? max_row_sse2(p, n) : min_row_sse2(p, n);
  __m256i a = load32(p), b = load32(p + 32);
  int x = 64;
  for (; x + 64 <= n; x += 64) {
    a = Max ? _mm256_max_epu8(a, load32(p + x)) : _mm256_min_epu8(a, load32(p + x));
    b = Max ? _mm256_max_epu8(b, load32(p + x + 32)) : _mm256_min_epu8(b, load32(p + x + 32));
  }
  // Overlapping last blocks cover the tail.
  a = Max ? _mm256_max_epu8(a, load32(p + n - 64)) : _mm256_min_epu8(a, load32(p + n - 64));
  b = Max ? _mm256_max_epu8(b, load32(p + n - 32)) : _mm256_min_epu8(b, load32(p + n - 32));
  a = Max ? _mm256_max_epu8(a, b) : _mm256_min_epu8(a, b);
  alignas(32) std::uint8_t lanes[32];
  _mm256_store_si256(reinterpret_cast<__m256i *>(lanes), a);
  return Max ? max_row_ref(lanes, 32) : min_row_ref(lanes, 32);
}

}  // namespace

KEL_AVX2 std::uint8_t max_row_avx2(const std::uint8_t *p, int n) {
  return extreme_row_avx2<true>(p, n);
}
KEL_AVX2 std::uint8_t min_row_avx2(const std::uint8_t *p, int n) {
  return extreme_row_avx2<false>(p, n);
}

}  // namespace kel::stats

#endif
