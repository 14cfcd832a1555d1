// The per-pixel BYTE operations of the arithmetic and logic row kernels, as
// a scalar and as 16- and 32-byte vector expressions, shared by the SSE2 and
// AVX2 translation units.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "point/arith_kernels.hpp"

#if defined(__SSE2__)
#include <immintrin.h>
#endif

namespace kel::point {

template <ByteOp Op>
inline std::uint8_t byte_scalar(int a, int b) {
  if constexpr (Op == ByteOp::add) return static_cast<std::uint8_t>(std::min(255, a + b));
  if constexpr (Op == ByteOp::sub) return static_cast<std::uint8_t>(std::max(0, a - b));
  if constexpr (Op == ByteOp::absdiff) return static_cast<std::uint8_t>(std::abs(a - b));
  if constexpr (Op == ByteOp::max) return static_cast<std::uint8_t>(std::max(a, b));
  if constexpr (Op == ByteOp::min) return static_cast<std::uint8_t>(std::min(a, b));
  if constexpr (Op == ByteOp::bit_and) return static_cast<std::uint8_t>(a & b);
  if constexpr (Op == ByteOp::bit_or) return static_cast<std::uint8_t>(a | b);
  if constexpr (Op == ByteOp::bit_xor) return static_cast<std::uint8_t>(a ^ b);
  if constexpr (Op == ByteOp::mean) return static_cast<std::uint8_t>((a + b) >> 1);
}

#if defined(__SSE2__)
template <ByteOp Op>
inline __m128i byte_vector(__m128i a, __m128i b) {
  if constexpr (Op == ByteOp::add) return _mm_adds_epu8(a, b);
  if constexpr (Op == ByteOp::sub) return _mm_subs_epu8(a, b);
  if constexpr (Op == ByteOp::absdiff)
    return _mm_or_si128(_mm_subs_epu8(a, b), _mm_subs_epu8(b, a));
  if constexpr (Op == ByteOp::max) return _mm_max_epu8(a, b);
  if constexpr (Op == ByteOp::min) return _mm_min_epu8(a, b);
  if constexpr (Op == ByteOp::bit_and) return _mm_and_si128(a, b);
  if constexpr (Op == ByteOp::bit_or) return _mm_or_si128(a, b);
  if constexpr (Op == ByteOp::bit_xor) return _mm_xor_si128(a, b);
  if constexpr (Op == ByteOp::mean) {
    // (a + b) >> 1 without overflow: (a & b) + ((a ^ b) >> 1). The 16-bit
    // shift drags a bit across each byte boundary; the mask removes it.
    __m128i half = _mm_and_si128(_mm_srli_epi16(_mm_xor_si128(a, b), 1), _mm_set1_epi8(0x7f));
    return _mm_add_epi8(_mm_and_si128(a, b), half);
  }
}
#endif

}  // namespace kel::point
