// BYTE row kernels of the arithmetic and logic operators: the plain loops,
// the SSE2 paths (part of the x86-64 baseline), which process 16 pixels at a
// time and finish the row with the plain loop, and the choice of the widest
// path (the AVX2 versions live in arith_rows_avx2.cpp).
#include <algorithm>
#include <cstdlib>

#include "point/arith_kernels.hpp"
#include "point/arith_vector.hpp"
#include "point/stats_rows.hpp"

namespace kel::point {

namespace {

template <ByteOp Op>
void row_ref(const std::uint8_t *a, const std::uint8_t *b, std::uint8_t *d, int n) {
  for (int x = 0; x < n; ++x)
    d[x] = byte_scalar<Op>(a[x], b[x]);
}

#if defined(__SSE2__)
template <ByteOp Op>
void row_sse2(const std::uint8_t *a, const std::uint8_t *b, std::uint8_t *d, int n) {
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
#endif

using RowFn = void (*)(const std::uint8_t *, const std::uint8_t *, std::uint8_t *, int);

template <ByteOp Op>
struct RefRow {
  static constexpr RowFn fn = row_ref<Op>;
};
#if defined(__SSE2__)
template <ByteOp Op>
struct Sse2Row {
  static constexpr RowFn fn = row_sse2<Op>;
};
#endif

// The kernel for one operation, from the row family Pick.
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

// The widest path this processor runs.
void byte_row_best(ByteOp op, const std::uint8_t *a, const std::uint8_t *b, std::uint8_t *d,
                   int n) {
#if defined(__SSE2__)
  if (kel::stats::have_avx2())
    byte_row_avx2(op, a, b, d, n);
  else
    pick<Sse2Row>(op)(a, b, d, n);
#else
  pick<RefRow>(op)(a, b, d, n);
#endif
}

// True when the image's area rows follow each other without a gap, so the
// area is one run of bytes.
bool packed(const Image *img, Area area) {
  return img->skip == 0 && img->dx == area.dx;
}

}  // namespace

void byte_row_ref(ByteOp op, const std::uint8_t *a, const std::uint8_t *b, std::uint8_t *d, int n) {
  pick<RefRow>(op)(a, b, d, n);
}

#if defined(__SSE2__)
void byte_row_sse2(ByteOp op, const std::uint8_t *a, const std::uint8_t *b, std::uint8_t *d,
                   int n) {
  pick<Sse2Row>(op)(a, b, d, n);
}
#endif

void byte_row(ByteOp op, const std::uint8_t *a, const std::uint8_t *b, std::uint8_t *d, int n) {
  byte_row_best(op, a, b, d, n);
}

void byte_rows(ByteOp op, const Image *a, const Image *b, Image *d, Area area) {
  const std::int64_t total = std::int64_t(area.dx) * area.dy;
  if (packed(a, area) && packed(b, area) && packed(d, area) && total <= INT32_MAX) {
    byte_row_best(op, row<const std::uint8_t>(a, 0), row<const std::uint8_t>(b, 0),
                  row<std::uint8_t>(d, 0), static_cast<int>(total));
    return;
  }
  for (int y = 0; y < area.dy; ++y)
    byte_row_best(op, row<const std::uint8_t>(a, y), row<const std::uint8_t>(b, y),
                  row<std::uint8_t>(d, y), area.dx);
}

void byte_add_k_row_ref(std::uint8_t *p, int n, int k) {
  for (int x = 0; x < n; ++x)
    p[x] = static_cast<std::uint8_t>(std::clamp(p[x] + k, 0, 255));
}

#if defined(__SSE2__)
void byte_add_k_row_sse2(std::uint8_t *p, int n, int k) {
  // Saturating add of k, or saturating subtract of -k; |k| >= 255 saturates
  // every pixel, which a splat of 255 does as well.
  int x = 0;
  const __m128i kv = _mm_set1_epi8(static_cast<char>(std::min(std::abs(k), 255)));
  if (k >= 0) {
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
  byte_add_k_row_ref(p + x, n - x, k);
}
#endif

void byte_add_k_row(std::uint8_t *p, int n, int k) {
#if defined(__SSE2__)
  if (kel::stats::have_avx2())
    byte_add_k_row_avx2(p, n, k);
  else
    byte_add_k_row_sse2(p, n, k);
#else
  byte_add_k_row_ref(p, n, k);
#endif
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
