// Row kernels of the BYTE statistics: the plain references and the SSE2
// paths. Modular 32-bit addition is associative, so reordering the sums in
// vector lanes gives exactly the wrapped result of the plain loop.
#include "point/stats_rows.hpp"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace kel::stats {

std::uint32_t sum_row_ref(const std::uint8_t *p, int n) {
  std::uint32_t s = 0;
  for (int x = 0; x < n; ++x)
    s += p[x];
  return s;
}

void sum_squares_row_ref(const std::uint8_t *p, int n, std::uint32_t *s, std::uint32_t *q) {
  std::uint32_t sum = *s, squares = *q;
  for (int x = 0; x < n; ++x) {
    std::uint32_t v = p[x];
    sum += v;
    squares += v * v;
  }
  *s = sum;
  *q = squares;
}

std::uint32_t count_nz_row_ref(const std::uint8_t *p, int n) {
  std::uint32_t c = 0;
  for (int x = 0; x < n; ++x)
    c += p[x] != 0;
  return c;
}

std::uint8_t max_row_ref(const std::uint8_t *p, int n) {
  std::uint8_t m = p[0];
  for (int x = 1; x < n; ++x)
    if (p[x] > m) m = p[x];
  return m;
}

std::uint8_t min_row_ref(const std::uint8_t *p, int n) {
  std::uint8_t m = p[0];
  for (int x = 1; x < n; ++x)
    if (p[x] < m) m = p[x];
  return m;
}

void hist_row_ref(const std::uint8_t *p, int n, std::uint32_t *hist) {
  for (int x = 0; x < n; ++x)
    ++hist[p[x]];
}

void hist_row4(const std::uint8_t *p, int n, std::uint32_t (*sub)[256]) {
  int x = 0;
  for (; x + 4 <= n; x += 4) {
    ++sub[0][p[x]];
    ++sub[1][p[x + 1]];
    ++sub[2][p[x + 2]];
    ++sub[3][p[x + 3]];
  }
  for (; x < n; ++x)
    ++sub[0][p[x]];
}

#if defined(__SSE2__)

namespace {

inline __m128i load16(const std::uint8_t *p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
}

inline std::uint32_t low32_of_lanes64(__m128i v) {
  return static_cast<std::uint32_t>(_mm_cvtsi128_si32(v)) +
         static_cast<std::uint32_t>(_mm_cvtsi128_si32(_mm_srli_si128(v, 8)));
}

inline std::uint32_t sum32_of_lanes(__m128i v) {
  alignas(16) std::uint32_t lanes[4];
  _mm_store_si128(reinterpret_cast<__m128i *>(lanes), v);
  return lanes[0] + lanes[1] + lanes[2] + lanes[3];
}

}  // namespace

std::uint32_t sum_row(const std::uint8_t *p, int n) {
  const __m128i zero = _mm_setzero_si128();
  __m128i acc0 = zero, acc1 = zero;
  int x = 0;
  // psadbw against zero adds 8 bytes into each 64-bit lane.
  for (; x + 32 <= n; x += 32) {
    acc0 = _mm_add_epi64(acc0, _mm_sad_epu8(load16(p + x), zero));
    acc1 = _mm_add_epi64(acc1, _mm_sad_epu8(load16(p + x + 16), zero));
  }
  for (; x + 16 <= n; x += 16)
    acc0 = _mm_add_epi64(acc0, _mm_sad_epu8(load16(p + x), zero));
  std::uint32_t s = low32_of_lanes64(_mm_add_epi64(acc0, acc1));
  return s + sum_row_ref(p + x, n - x);
}

void sum_squares_row(const std::uint8_t *p, int n, std::uint32_t *s, std::uint32_t *q) {
  const __m128i zero = _mm_setzero_si128();
  __m128i sums = zero, squares = zero;
  int x = 0;
  for (; x + 16 <= n; x += 16) {
    __m128i v = load16(p + x);
    sums = _mm_add_epi64(sums, _mm_sad_epu8(v, zero));
    __m128i lo = _mm_unpacklo_epi8(v, zero), hi = _mm_unpackhi_epi8(v, zero);
    // Each madd lane holds at most 2 * 255^2, and 32-bit lane additions wrap
    // exactly as the scalar accumulator does.
    squares = _mm_add_epi32(squares, _mm_madd_epi16(lo, lo));
    squares = _mm_add_epi32(squares, _mm_madd_epi16(hi, hi));
  }
  *s += low32_of_lanes64(sums);
  *q += sum32_of_lanes(squares);
  sum_squares_row_ref(p + x, n - x, s, q);
}

std::uint32_t count_nz_row(const std::uint8_t *p, int n) {
  const __m128i zero = _mm_setzero_si128();
  __m128i zeros = zero;
  int x = 0;
  // Count the zero bytes: each equal byte is 0xff, turned into 1 by the
  // mask, and psadbw adds them up.
  const __m128i one = _mm_set1_epi8(1);
  for (; x + 16 <= n; x += 16) {
    __m128i eq = _mm_and_si128(_mm_cmpeq_epi8(load16(p + x), zero), one);
    zeros = _mm_add_epi64(zeros, _mm_sad_epu8(eq, zero));
  }
  std::uint32_t nz = static_cast<std::uint32_t>(x) - low32_of_lanes64(zeros);
  return nz + count_nz_row_ref(p + x, n - x);
}

namespace {

template <bool Max>
std::uint8_t extreme_row(const std::uint8_t *p, int n) {
  if (n < 16) return Max ? max_row_ref(p, n) : min_row_ref(p, n);
  __m128i acc = load16(p);
  int x = 16;
  for (; x + 16 <= n; x += 16)
    acc = Max ? _mm_max_epu8(acc, load16(p + x)) : _mm_min_epu8(acc, load16(p + x));
  // The last, possibly overlapping, block covers the tail.
  __m128i tail = load16(p + n - 16);
  acc = Max ? _mm_max_epu8(acc, tail) : _mm_min_epu8(acc, tail);
  alignas(16) std::uint8_t lanes[16];
  _mm_store_si128(reinterpret_cast<__m128i *>(lanes), acc);
  return Max ? max_row_ref(lanes, 16) : min_row_ref(lanes, 16);
}

}  // namespace

std::uint8_t max_row(const std::uint8_t *p, int n) {
  return extreme_row<true>(p, n);
}
std::uint8_t min_row(const std::uint8_t *p, int n) {
  return extreme_row<false>(p, n);
}

#else  // no vector path on this processor: the references are the kernels

std::uint32_t sum_row(const std::uint8_t *p, int n) {
  return sum_row_ref(p, n);
}
void sum_squares_row(const std::uint8_t *p, int n, std::uint32_t *s, std::uint32_t *q) {
  sum_squares_row_ref(p, n, s, q);
}
std::uint32_t count_nz_row(const std::uint8_t *p, int n) {
  return count_nz_row_ref(p, n);
}
std::uint8_t max_row(const std::uint8_t *p, int n) {
  return max_row_ref(p, n);
}
std::uint8_t min_row(const std::uint8_t *p, int n) {
  return min_row_ref(p, n);
}

#endif

}  // namespace kel::stats
