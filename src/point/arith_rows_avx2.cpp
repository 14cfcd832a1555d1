// AVX2 versions of the BYTE arithmetic and logic row kernels. Compiled for
// AVX2 by function attribute and called only on processors that have it;
// each ends with the SSE2 kernel on the last, shorter stretch, so results
// equal the plain loops exactly.
#include <algorithm>
#include <cstdlib>

#include "point/arith_kernels.hpp"
#include "point/arith_vector.hpp"

#if defined(__SSE2__)

#define KEL_AVX2 __attribute__((target("avx2")))

namespace kel::point {

namespace {

template <ByteOp Op>
KEL_AVX2 inline __m256i byte_vector256(__m256i a, __m256i b) {
  if constexpr (Op == ByteOp::add) return _mm256_adds_epu8(a, b);
  if constexpr (Op == ByteOp::sub) return _mm256_subs_epu8(a, b);
  if constexpr (Op == ByteOp::absdiff)
    return _mm256_or_si256(_mm256_subs_epu8(a, b), _mm256_subs_epu8(b, a));
  if constexpr (Op == ByteOp::max) return _mm256_max_epu8(a, b);
  if constexpr (Op == ByteOp::min) return _mm256_min_epu8(a, b);
  if constexpr (Op == ByteOp::bit_and) return _mm256_and_si256(a, b);
  if constexpr (Op == ByteOp::bit_or) return _mm256_or_si256(a, b);
  if constexpr (Op == ByteOp::bit_xor) return _mm256_xor_si256(a, b);
  if constexpr (Op == ByteOp::mean) {
    __m256i half =
        _mm256_and_si256(_mm256_srli_epi16(_mm256_xor_si256(a, b), 1), _mm256_set1_epi8(0x7f));
    return _mm256_add_epi8(_mm256_and_si256(a, b), half);
  }
}

KEL_AVX2 inline __m256i load32(const std::uint8_t *p) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
}
KEL_AVX2 inline void store32(std::uint8_t *p, __m256i v) {
  _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), v);
}

// 64 bytes per step, both operands loaded before any store, so d may equal
// a or b.
template <ByteOp Op>
KEL_AVX2 int row_avx2(const std::uint8_t *a, const std::uint8_t *b, std::uint8_t *d, int n) {
  int x = 0;
  for (; x + 64 <= n; x += 64) {
    __m256i a0 = load32(a + x), a1 = load32(a + x + 32);
    __m256i b0 = load32(b + x), b1 = load32(b + x + 32);
    store32(d + x, byte_vector256<Op>(a0, b0));
    store32(d + x + 32, byte_vector256<Op>(a1, b1));
  }
  for (; x + 32 <= n; x += 32)
    store32(d + x, byte_vector256<Op>(load32(a + x), load32(b + x)));
  return x;
}

}  // namespace

void byte_row_avx2(ByteOp op, const std::uint8_t *a, const std::uint8_t *b, std::uint8_t *d,
                   int n) {
  int done = 0;
  switch (op) {
    case ByteOp::add:
      done = row_avx2<ByteOp::add>(a, b, d, n);
      break;
    case ByteOp::sub:
      done = row_avx2<ByteOp::sub>(a, b, d, n);
      break;
    case ByteOp::absdiff:
      done = row_avx2<ByteOp::absdiff>(a, b, d, n);
      break;
    case ByteOp::max:
      done = row_avx2<ByteOp::max>(a, b, d, n);
      break;
    case ByteOp::min:
      done = row_avx2<ByteOp::min>(a, b, d, n);
      break;
    case ByteOp::bit_and:
      done = row_avx2<ByteOp::bit_and>(a, b, d, n);
      break;
    case ByteOp::bit_or:
      done = row_avx2<ByteOp::bit_or>(a, b, d, n);
      break;
    case ByteOp::bit_xor:
      done = row_avx2<ByteOp::bit_xor>(a, b, d, n);
      break;
    case ByteOp::mean:
      done = row_avx2<ByteOp::mean>(a, b, d, n);
      break;
  }
  byte_row_sse2(op, a + done, b + done, d + done, n - done);
}

KEL_AVX2 void byte_add_k_row_avx2(std::uint8_t *p, int n, int k) {
  int x = 0;
  const __m256i kv = _mm256_set1_epi8(static_cast<char>(std::min(std::abs(k), 255)));
  if (k >= 0) {
    for (; x + 32 <= n; x += 32)
      store32(p + x, _mm256_adds_epu8(load32(p + x), kv));
  } else {
    for (; x + 32 <= n; x += 32)
      store32(p + x, _mm256_subs_epu8(load32(p + x), kv));
  }
  byte_add_k_row_sse2(p + x, n - x, k);
}

}  // namespace kel::point

#endif  // __SSE2__
