// Row kernels of the table mapping: the plain references, an unrolled
// general lookup, and an SSE2 select for two-level (threshold) tables.
#include "point/lut_rows.hpp"

#include <cstring>

#include "frame/pixels.hpp"

#if defined(__SSE2__)
#include <emmintrin.h>
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

void map_row(std::uint8_t *p, int n, const std::uint8_t *table) {
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

void step_row_ref(std::uint8_t *p, int n, Step s) {
  for (int x = 0; x < n; ++x)
    p[x] = p[x] < s.step ? s.low : s.high;
}

void step_row(std::uint8_t *p, int n, Step s) {
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
