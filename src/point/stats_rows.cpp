// Row kernels of the BYTE statistics: the plain references and the SSE2
// paths. Modular 32-bit addition is associative, so reordering the sums in
// vector lanes gives exactly the wrapped result of the plain loop.
#include "point/stats_rows.hpp"

#include <algorithm>
#include <cstring>

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
  // Eight pixels per load; consecutive pixels go to different sub-tables so
  // that runs of one value do not wait on the previous increment.
  for (; x + 8 <= n; x += 8) {
    std::uint64_t v;
    std::memcpy(&v, p + x, 8);
    ++sub[0][v & 0xff];
    ++sub[1][(v >> 8) & 0xff];
    ++sub[2][(v >> 16) & 0xff];
    ++sub[3][(v >> 24) & 0xff];
    ++sub[0][(v >> 32) & 0xff];
    ++sub[1][(v >> 40) & 0xff];
    ++sub[2][(v >> 48) & 0xff];
    ++sub[3][v >> 56];
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

std::uint32_t sum_row_sse2(const std::uint8_t *p, int n) {
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

void sum_squares_row_sse2(const std::uint8_t *p, int n, std::uint32_t *s, std::uint32_t *q) {
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

std::uint32_t count_nz_row_sse2(const std::uint8_t *p, int n) {
  const __m128i zero = _mm_setzero_si128();
  __m128i zeros = zero;
  int x = 0;
  // Count the zero bytes: an equal byte compares as 0xff (-1), so
  // subtracting the comparison adds one per zero byte to a byte counter.
  // The byte counters are flushed into 64-bit lanes with psadbw before
  // they can overflow (255 blocks).
  while (x + 16 <= n) {
    int blocks = std::min((n - x) / 16, 255);
    __m128i counters = zero;
    for (int b = 0; b < blocks; ++b, x += 16)
      counters = _mm_sub_epi8(counters, _mm_cmpeq_epi8(load16(p + x), zero));
    zeros = _mm_add_epi64(zeros, _mm_sad_epu8(counters, zero));
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

std::uint8_t max_row_sse2(const std::uint8_t *p, int n) {
  return extreme_row<true>(p, n);
}
std::uint8_t min_row_sse2(const std::uint8_t *p, int n) {
  return extreme_row<false>(p, n);
}

// The kernels the operators call: the widest path this processor runs.
namespace {
// Static initialisers may run before the compiler's own processor probe, so
// it is run here explicitly first.
const bool use_avx2 = [] {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") != 0;
}();
}  // namespace

bool have_avx2() {
  return use_avx2;
}

std::uint32_t sum_row(const std::uint8_t *p, int n) {
  return use_avx2 ? sum_row_avx2(p, n) : sum_row_sse2(p, n);
}
void sum_squares_row(const std::uint8_t *p, int n, std::uint32_t *s, std::uint32_t *q) {
  use_avx2 ? sum_squares_row_avx2(p, n, s, q) : sum_squares_row_sse2(p, n, s, q);
}
std::uint32_t count_nz_row(const std::uint8_t *p, int n) {
  return use_avx2 ? count_nz_row_avx2(p, n) : count_nz_row_sse2(p, n);
}
std::uint8_t max_row(const std::uint8_t *p, int n) {
  return use_avx2 ? max_row_avx2(p, n) : max_row_sse2(p, n);
}
std::uint8_t min_row(const std::uint8_t *p, int n) {
  return use_avx2 ? min_row_avx2(p, n) : min_row_sse2(p, n);
}

#else  // no vector path on this processor: the references are the kernels

bool have_avx2() {
  return false;
}
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
