// Row kernels of the table mapping: the plain references, an unrolled
// general lookup, a lookup through 64-byte permutes on processors that have
// them (chosen at run time, so the library still runs anywhere), and an SSE2
// select for two-level (threshold) tables. Every path gives the results of
// the plain loop.
#include "point/lut_rows.hpp"

#include <cstring>

#include "frame/pixels.hpp"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#include "point/cpu_features.hpp"
#if defined(KEL_POINT_WIDE)
#include <immintrin.h>
#endif

namespace kel::lut {

bool as_step(const std::uint8_t *table, Step *s) {
  int v = 1;
  while (v < 256 && table[v] == table[0])
    ++v;
  if (v == 256) {
    *s = {0, table[0], table[0]};
    return true;
  }
  for (int w = v + 1; w < 256; ++w)
    if (table[w] != table[v]) return false;
  *s = {v, table[0], table[v]};
  return true;
}

void map_row_ref(std::uint8_t *p, int n, const std::uint8_t *table) {
  for (int x = 0; x < n; ++x)
    p[x] = table[p[x]];
}

void map_row_words(std::uint8_t *p, int n, const std::uint8_t *table) {
  // Eight lookups per step, read and written as one 64-bit word: the loads
  // from the table are independent, and the row is touched once per word.
  int x = 0;
  for (; x + 8 <= n; x += 8) {
    std::uint64_t in, out;
    std::memcpy(&in, p + x, 8);
    out = std::uint64_t{table[in & 0xff]} | std::uint64_t{table[(in >> 8) & 0xff]} << 8 |
          std::uint64_t{table[(in >> 16) & 0xff]} << 16 |
          std::uint64_t{table[(in >> 24) & 0xff]} << 24 |
          std::uint64_t{table[(in >> 32) & 0xff]} << 32 |
          std::uint64_t{table[(in >> 40) & 0xff]} << 40 |
          std::uint64_t{table[(in >> 48) & 0xff]} << 48 | std::uint64_t{table[in >> 56]} << 56;
    std::memcpy(p + x, &out, 8);
  }
  for (; x < n; ++x)
    p[x] = table[p[x]];
}

#if defined(KEL_POINT_WIDE)
namespace {

// 64 lookups per step: two two-register byte permutes cover entries 0..127
// and 128..255 by the low seven bits of each pixel, and bit 7 picks one.
__attribute__((target("avx512f,avx512bw,avx512vbmi"))) void map_row_vbmi(
    std::uint8_t *p, int n, const std::uint8_t *table) {
  const __m512i t0 = _mm512_loadu_si512(table), t1 = _mm512_loadu_si512(table + 64);
  const __m512i t2 = _mm512_loadu_si512(table + 128), t3 = _mm512_loadu_si512(table + 192);
  int x = 0;
  for (; x + 64 <= n; x += 64) {
    __m512i v = _mm512_loadu_si512(p + x);
    __m512i lo = _mm512_permutex2var_epi8(t0, v, t1);
    __m512i hi = _mm512_permutex2var_epi8(t2, v, t3);
    _mm512_storeu_si512(p + x, _mm512_mask_blend_epi8(_mm512_movepi8_mask(v), lo, hi));
  }
  for (; x < n; ++x)
    p[x] = table[p[x]];
}

// Two-level select, 64 pixels per step.
__attribute__((target("avx512f,avx512bw"))) void step_row_avx512(std::uint8_t *p, int n, Step s) {
  const __m512i step = _mm512_set1_epi8(static_cast<char>(s.step));
  const __m512i low = _mm512_set1_epi8(static_cast<char>(s.low));
  const __m512i high = _mm512_set1_epi8(static_cast<char>(s.high));
  int x = 0;
  for (; x + 64 <= n; x += 64) {
    __m512i v = _mm512_loadu_si512(p + x);
    _mm512_storeu_si512(p + x, _mm512_mask_blend_epi8(_mm512_cmpge_epu8_mask(v, step), low, high));
  }
  for (; x < n; ++x)
    p[x] = p[x] < s.step ? s.low : s.high;
}

}  // namespace
#endif

bool map_row_wide(std::uint8_t *p, int n, const std::uint8_t *table) {
#if defined(KEL_POINT_WIDE)
  if (kel::point::has_avx512vbmi()) {
    map_row_vbmi(p, n, table);
    return true;
  }
#endif
  (void)p, (void)n, (void)table;
  return false;
}

void map_row(std::uint8_t *p, int n, const std::uint8_t *table) {
  if (!map_row_wide(p, n, table)) map_row_words(p, n, table);
}

void step_row_ref(std::uint8_t *p, int n, Step s) {
  for (int x = 0; x < n; ++x)
    p[x] = p[x] < s.step ? s.low : s.high;
}

bool step_row_wide(std::uint8_t *p, int n, Step s) {
#if defined(KEL_POINT_WIDE)
  if (kel::point::has_avx512bw()) {
    step_row_avx512(p, n, s);
    return true;
  }
#endif
  (void)p, (void)n, (void)s;
  return false;
}

void step_row_sse2(std::uint8_t *p, int n, Step s) {
  int x = 0;
#if defined(__SSE2__)
  if (s.step > 0) {
    // p >= step exactly where max(p, step) == p (unsigned bytes).
    const __m128i step = _mm_set1_epi8(static_cast<char>(s.step));
    const __m128i low = _mm_set1_epi8(static_cast<char>(s.low));
    const __m128i high = _mm_set1_epi8(static_cast<char>(s.high));
    for (; x + 16 <= n; x += 16) {
      __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p + x));
      __m128i ge = _mm_cmpeq_epi8(_mm_max_epu8(v, step), v);
      __m128i r = _mm_or_si128(_mm_and_si128(ge, high), _mm_andnot_si128(ge, low));
      _mm_storeu_si128(reinterpret_cast<__m128i *>(p + x), r);
    }
  }
#endif
  for (; x < n; ++x)
    p[x] = p[x] < s.step ? s.low : s.high;
}

void step_row(std::uint8_t *p, int n, Step s) {
  if (!step_row_wide(p, n, s)) step_row_sse2(p, n, s);
}

void apply(const Image *img, const std::uint8_t *table) {
  if (img->dx < 1) return;
  Step s;
  bool step = as_step(table, &s);
  for (int y = 0; y < img->dy; ++y) {
    std::uint8_t *p = row<std::uint8_t>(img, y);
    if (step)
      step_row(p, img->dx, s);
    else
      map_row(p, img->dx, table);
  }
}

}  // namespace kel::lut
