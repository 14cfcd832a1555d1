// BYTE row kernels of the arithmetic and logic operators: the plain loops and
// the SSE2 paths (part of the x86-64 baseline), which process 16 pixels at a
// time and finish the row with the plain loop.
#include <algorithm>
#include <cstdlib>

#include "point/arith_kernels.hpp"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace kel::point {

namespace {

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

template <ByteOp Op>
void row_ref(const std::uint8_t *a, const std::uint8_t *b, std::uint8_t *d, int n) {
  for (int x = 0; x < n; ++x)
    d[x] = byte_scalar<Op>(a[x], b[x]);
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

template <ByteOp Op>
void row_fast(const std::uint8_t *a, const std::uint8_t *b, std::uint8_t *d, int n) {
  int x = 0;
  for (; x + 32 <= n; x += 32) {
    __m128i a0 = _mm_loadu_si128(reinterpret_cast<const __m128i *>(a + x));
    __m128i a1 = _mm_loadu_si128(reinterpret_cast<const __m128i *>(a + x + 16));
    __m128i b0 = _mm_loadu_si128(reinterpret_cast<const __m128i *>(b + x));
    __m128i b1 = _mm_loadu_si128(reinterpret_cast<const __m128i *>(b + x + 16));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(d + x), byte_vector<Op>(a0, b0));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(d + x + 16), byte_vector<Op>(a1, b1));
  }
  for (; x + 16 <= n; x += 16) {
    __m128i a0 = _mm_loadu_si128(reinterpret_cast<const __m128i *>(a + x));
    __m128i b0 = _mm_loadu_si128(reinterpret_cast<const __m128i *>(b + x));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(d + x), byte_vector<Op>(a0, b0));
  }
  row_ref<Op>(a + x, b + x, d + x, n - x);
}
#else
template <ByteOp Op>
void row_fast(const std::uint8_t *a, const std::uint8_t *b, std::uint8_t *d, int n) {
  row_ref<Op>(a, b, d, n);
}
#endif

using RowFn = void (*)(const std::uint8_t *, const std::uint8_t *, std::uint8_t *, int);

template <template <ByteOp> class Pick>
RowFn pick(ByteOp op) {
  switch (op) {
    case ByteOp::add:
      return Pick<ByteOp::add>::fn;
    case ByteOp::sub:
      return Pick<ByteOp::sub>::fn;
    case ByteOp::absdiff:
      return Pick<ByteOp::absdiff>::fn;
    case ByteOp::max:
      return Pick<ByteOp::max>::fn;
    case ByteOp::min:
      return Pick<ByteOp::min>::fn;
    case ByteOp::bit_and:
      return Pick<ByteOp::bit_and>::fn;
    case ByteOp::bit_or:
      return Pick<ByteOp::bit_or>::fn;
    case ByteOp::bit_xor:
      return Pick<ByteOp::bit_xor>::fn;
    case ByteOp::mean:
      return Pick<ByteOp::mean>::fn;
  }
  return Pick<ByteOp::add>::fn;
}

template <ByteOp Op>
struct RefRow {
  static constexpr RowFn fn = row_ref<Op>;
};
template <ByteOp Op>
struct FastRow {
  static constexpr RowFn fn = row_fast<Op>;
};

}  // namespace

void byte_row_ref(ByteOp op, const std::uint8_t *a, const std::uint8_t *b, std::uint8_t *d, int n) {
  pick<RefRow>(op)(a, b, d, n);
}

void byte_row(ByteOp op, const std::uint8_t *a, const std::uint8_t *b, std::uint8_t *d, int n) {
  pick<FastRow>(op)(a, b, d, n);
}

void byte_rows(ByteOp op, const Image *a, const Image *b, Image *d, Area area) {
  RowFn fn = pick<FastRow>(op);
  for (int y = 0; y < area.dy; ++y)
    fn(row<const std::uint8_t>(a, y), row<const std::uint8_t>(b, y), row<std::uint8_t>(d, y),
       area.dx);
}

void byte_add_k_row_ref(std::uint8_t *p, int n, int k) {
  for (int x = 0; x < n; ++x)
    p[x] = static_cast<std::uint8_t>(std::clamp(p[x] + k, 0, 255));
}

void byte_add_k_row(std::uint8_t *p, int n, int k) {
  int x = 0;
#if defined(__SSE2__)
  // Saturating add of k, or saturating subtract of -k; |k| >= 255 saturates
  // every pixel, which a splat of 255 does as well.
  const bool up = k >= 0;
  const __m128i kv = _mm_set1_epi8(static_cast<char>(std::min(up ? k : -k, 255)));
  if (up) {
    for (; x + 16 <= n; x += 16) {
      __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p + x));
      _mm_storeu_si128(reinterpret_cast<__m128i *>(p + x), _mm_adds_epu8(v, kv));
    }
  } else {
    for (; x + 16 <= n; x += 16) {
      __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p + x));
      _mm_storeu_si128(reinterpret_cast<__m128i *>(p + x), _mm_subs_epu8(v, kv));
    }
  }
#endif
  byte_add_k_row_ref(p + x, n - x, k);
}

void byte_lut_row(std::uint8_t *p, int n, const std::uint8_t *table) {
  int x = 0;
  for (; x + 4 <= n; x += 4) {
    std::uint8_t v0 = table[p[x]], v1 = table[p[x + 1]], v2 = table[p[x + 2]], v3 = table[p[x + 3]];
    p[x] = v0;
    p[x + 1] = v1;
    p[x + 2] = v2;
    p[x + 3] = v3;
  }
  for (; x < n; ++x)
    p[x] = table[p[x]];
}

void byte_lut_rows(Image *img, const std::uint8_t *table) {
  for (int y = 0; y < img->dy; ++y)
    byte_lut_row(row<std::uint8_t>(img, y), img->dx, table);
}

}  // namespace kel::point
