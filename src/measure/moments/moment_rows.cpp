// Power sums of BYTE rows. A row is taken in blocks of 32 pixels: inside a
// block the sums use the local index (at most 31, so 31^3 fits 16 bits and
// SSE2's multiply-add of 16-bit pairs can form them), and each block's four
// sums are moved to the block's place x0 by the binomial expansion
//   sum p (x0 + l)^k = sum_j C(k, j) x0^(k - j) sum p l^j,
// all in integers, so both paths give identical results.
#include "measure/moments/moment_rows.hpp"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace kel::moments {

namespace {

constexpr int kBlock = 32;

void add_block(RowSums &r, std::int64_t x0, std::int64_t l0, std::int64_t l1, std::int64_t l2,
               std::int64_t l3) {
  r.s0 += l0;
  r.s1 += l1 + x0 * l0;
  r.s2 += l2 + 2 * x0 * l1 + x0 * x0 * l0;
  r.s3 += static_cast<__int128>(l3) + static_cast<__int128>(3 * x0) * l2 +
          static_cast<__int128>(3 * x0 * x0) * l1 + static_cast<__int128>(x0 * x0) * x0 * l0;
}

void plain_block(RowSums &r, const std::uint8_t *p, int x0, int n, bool binary) {
  std::int64_t l0 = 0, l1 = 0, l2 = 0, l3 = 0;
  for (int l = 0; l < n; ++l) {
    std::int64_t w = binary ? (p[x0 + l] != 0) : p[x0 + l];
    l0 += w;
    l1 += w * l;
    l2 += w * l * l;
    l3 += w * l * l * l;
  }
  add_block(r, x0, l0, l1, l2, l3);
}

}  // namespace

RowSums byte_row_sums_plain(const std::uint8_t *p, int n, bool binary) {
  RowSums r;
  for (int x0 = 0; x0 < n; x0 += kBlock)
    plain_block(r, p, x0, n - x0 < kBlock ? n - x0 : kBlock, binary);
  return r;
}

#if defined(__SSE2__)

namespace {

struct Weights {
  __m128i w[4][4];  // [power 0..3][eight lanes starting at 0, 8, 16, 24]
  Weights() {
    for (int k = 0; k < 4; ++k)
      for (int j = 0; j < 4; ++j) {
        alignas(16) std::int16_t v[8];
        for (int i = 0; i < 8; ++i) {
          int l = 8 * j + i, m = 1;
          for (int e = 0; e < k; ++e)
            m *= l;
          v[i] = static_cast<std::int16_t>(m);
        }
        w[k][j] = _mm_load_si128(reinterpret_cast<const __m128i *>(v));
      }
  }
};

// The four lane totals of a0..a3, in one transposed reduction.
inline void lane_totals(__m128i a0, __m128i a1, __m128i a2, __m128i a3, std::int32_t out[4]) {
  __m128i t0 = _mm_unpacklo_epi32(a0, a1), t1 = _mm_unpackhi_epi32(a0, a1);
  __m128i t2 = _mm_unpacklo_epi32(a2, a3), t3 = _mm_unpackhi_epi32(a2, a3);
  __m128i s = _mm_add_epi32(_mm_add_epi32(_mm_unpacklo_epi64(t0, t2), _mm_unpackhi_epi64(t0, t2)),
                            _mm_add_epi32(_mm_unpacklo_epi64(t1, t3), _mm_unpackhi_epi64(t1, t3)));
  _mm_storeu_si128(reinterpret_cast<__m128i *>(out), s);
}

}  // namespace

RowSums byte_row_sums(const std::uint8_t *p, int n, bool binary) {
  static const Weights wt;
  RowSums r;
  const __m128i zero = _mm_setzero_si128(), one = _mm_set1_epi8(1);
  int x0 = 0;
  for (; x0 + kBlock <= n; x0 += kBlock) {
    __m128i a0 = zero, a1 = zero, a2 = zero, a3 = zero;
    for (int j = 0; j < 2; ++j) {
      __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p + x0 + 16 * j));
      if (binary) bytes = _mm_min_epu8(bytes, one);
      __m128i lo = _mm_unpacklo_epi8(bytes, zero), hi = _mm_unpackhi_epi8(bytes, zero);
      a0 = _mm_add_epi32(a0, _mm_madd_epi16(lo, wt.w[0][2 * j]));
      a0 = _mm_add_epi32(a0, _mm_madd_epi16(hi, wt.w[0][2 * j + 1]));
      a1 = _mm_add_epi32(a1, _mm_madd_epi16(lo, wt.w[1][2 * j]));
      a1 = _mm_add_epi32(a1, _mm_madd_epi16(hi, wt.w[1][2 * j + 1]));
      a2 = _mm_add_epi32(a2, _mm_madd_epi16(lo, wt.w[2][2 * j]));
      a2 = _mm_add_epi32(a2, _mm_madd_epi16(hi, wt.w[2][2 * j + 1]));
      a3 = _mm_add_epi32(a3, _mm_madd_epi16(lo, wt.w[3][2 * j]));
      a3 = _mm_add_epi32(a3, _mm_madd_epi16(hi, wt.w[3][2 * j + 1]));
    }
    std::int32_t l[4];
    lane_totals(a0, a1, a2, a3, l);
    add_block(r, x0, l[0], l[1], l[2], l[3]);
  }
  if (x0 < n) plain_block(r, p, x0, n - x0, binary);
  return r;
}

#else

RowSums byte_row_sums(const std::uint8_t *p, int n, bool binary) {
  return byte_row_sums_plain(p, n, binary);
}

#endif

}  // namespace kel::moments
