// Row kernels of the conversion to FLOAT. Integers below 2^24 convert to
// float exactly, so every path gives identical values.
#include "point/convert_rows.hpp"

#include "frame/pixels.hpp"
#include "point/cpu_features.hpp"

#if defined(KEL_POINT_WIDE)
#include <immintrin.h>
#endif

namespace kel::convert {

void to_float_row_ref(const std::uint8_t *p, float *out, int n) {
  for (int x = 0; x < n; ++x)
    out[x] = byte_to_float[p[x]];
}

void to_float_row_ref(const std::uint16_t *p, float *out, int n) {
  for (int x = 0; x < n; ++x)
    out[x] = static_cast<float>(p[x]);
}

#if defined(KEL_POINT_WIDE)
namespace {

// Sixteen pixels per step: widen to 32-bit integers, convert, store.
__attribute__((target("avx512f,avx512bw"))) void bytes_avx512(const std::uint8_t *p, float *out,
                                                              int n) {
  int x = 0;
  for (; x + 16 <= n; x += 16) {
    __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p + x));
    _mm512_storeu_ps(out + x, _mm512_cvtepi32_ps(_mm512_cvtepu8_epi32(v)));
  }
  for (; x < n; ++x)
    out[x] = static_cast<float>(p[x]);
}

__attribute__((target("avx512f,avx512bw"))) void words_avx512(const std::uint16_t *p, float *out,
                                                              int n) {
  int x = 0;
  for (; x + 16 <= n; x += 16) {
    __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p + x));
    _mm512_storeu_ps(out + x, _mm512_cvtepi32_ps(_mm512_cvtepu16_epi32(v)));
  }
  for (; x < n; ++x)
    out[x] = static_cast<float>(p[x]);
}

}  // namespace
#endif

bool to_float_row_wide(const std::uint8_t *p, float *out, int n) {
#if defined(KEL_POINT_WIDE)
  if (kel::point::has_avx512bw()) {
    bytes_avx512(p, out, n);
    return true;
  }
#endif
  (void)p, (void)out, (void)n;
  return false;
}

bool to_float_row_wide(const std::uint16_t *p, float *out, int n) {
#if defined(KEL_POINT_WIDE)
  if (kel::point::has_avx512bw()) {
    words_avx512(p, out, n);
    return true;
  }
#endif
  (void)p, (void)out, (void)n;
  return false;
}

// Without the wide path the plain loop is used; the compiler vectorises the
// WORD cast, and the BYTE cast equals the table value.
void to_float_row(const std::uint8_t *p, float *out, int n) {
  if (to_float_row_wide(p, out, n)) return;
  for (int x = 0; x < n; ++x)
    out[x] = static_cast<float>(p[x]);
}

void to_float_row(const std::uint16_t *p, float *out, int n) {
  if (!to_float_row_wide(p, out, n)) to_float_row_ref(p, out, n);
}

}  // namespace kel::convert
