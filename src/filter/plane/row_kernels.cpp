// Row kernels of the neighbourhood filters in 32-byte vectors (two SSE2
// registers on the baseline, one AVX2 register where the processor has it).
// Loads and stores go through memcpy, so rows need no alignment, and every
// vector is loaded before its result is stored, which allows the in-place
// doubling passes.
#include "filter/plane/row_kernels.hpp"

#include <cstring>

#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#define KEL_CLONES __attribute__((target_clones("avx2", "default")))
#else
#define KEL_CLONES
#endif

// Vectors pass by value only between inlined helpers, so the ABI note on
// 32-byte vectors does not concern these functions.
#pragma GCC diagnostic ignored "-Wpsabi"

#define KEL_INLINE inline __attribute__((always_inline))

namespace kel::nb::rows {

namespace {

typedef float f8 __attribute__((vector_size(32)));
typedef std::int32_t i8 __attribute__((vector_size(32)));

template <class V, class T>
KEL_INLINE V load(const T *p) {
  V v;
  std::memcpy(&v, p, sizeof(V));
  return v;
}

template <class V, class T>
KEL_INLINE void store(T *p, V v) {
  std::memcpy(p, &v, sizeof(V));
}

// out = extreme of a and b, elementwise, as nb::ext does it.
template <bool Max, class T>
KEL_INLINE void extreme_row(const T *a, const T *b, int w, T *out) {
  typedef T V __attribute__((vector_size(32)));
  constexpr int n = 32 / sizeof(T);
  int x = 0;
  for (; x + n <= w; x += n) {
    const V va = load<V>(a + x), vb = load<V>(b + x);
    store(out + x, Max ? (va < vb ? vb : va) : (vb < va ? vb : va));
  }
  for (; x < w; ++x)
    out[x] = Max ? (a[x] < b[x] ? b[x] : a[x]) : (b[x] < a[x] ? b[x] : a[x]);
}

template <class T>
KEL_INLINE void sort2_row(T *lo, T *hi, int w) {
  typedef T V __attribute__((vector_size(32)));
  constexpr int n = 32 / sizeof(T);
  int x = 0;
  for (; x + n <= w; x += n) {
    const V s = load<V>(lo + x), t = load<V>(hi + x);
    store(lo + x, t < s ? t : s);
    store(hi + x, t < s ? s : t);
  }
  for (; x < w; ++x) {
    const T s = lo[x], t = hi[x];
    lo[x] = t < s ? t : s;
    hi[x] = t < s ? s : t;
  }
}

// The value stored for one result, as the vector lanes compute it.
KEL_INLINE std::int32_t rounded(float v, bool abs, float top) {
  if (abs) v = v < 0 ? -v : v;
  v = v > 0 ? v : 0.0f;
  v = v < top ? v : top;
  const std::int32_t t = static_cast<std::int32_t>(v);
  return t + (v - static_cast<float>(t) >= 0.5f);
}

template <class T>
KEL_INLINE void store_row(const float *acc, int w, bool abs, float top, T *out) {
  int x = 0;
  for (; x + 8 <= w; x += 8) {
    f8 v = load<f8>(acc + x);
    if (abs) v = v < 0 ? -v : v;
    v = v > 0 ? v : 0.0f;
    v = v < top ? v : top;
    const i8 t = __builtin_convertvector(v, i8);
    const i8 r = t - (v - __builtin_convertvector(t, f8) >= 0.5f);  // true lanes are -1
    typedef T N __attribute__((vector_size(8 * sizeof(T))));
    store(out + x, __builtin_convertvector(r, N));
  }
  for (; x < w; ++x)
    out[x] = static_cast<T>(rounded(acc[x], abs, top));
}

}  // namespace

KEL_CLONES void taps(const float *r, const float *k, int taps, int w, float *acc) {
  int x = 0;
  for (; x + 16 <= w; x += 16) {
    f8 a0 = load<f8>(acc + x), a1 = load<f8>(acc + x + 8);
    for (int i = 0; i < taps; ++i) {
      if (k[i] == 0.0f) continue;
      const f8 c = k[i] + f8{};
      a0 += c * load<f8>(r + x + i);
      a1 += c * load<f8>(r + x + i + 8);
    }
    store(acc + x, a0);
    store(acc + x + 8, a1);
  }
  for (; x < w; ++x)
    for (int i = 0; i < taps; ++i)
      if (k[i] != 0.0f) acc[x] += k[i] * r[x + i];
}

KEL_CLONES void column(const float *const *r, const float *c, int n, int w, float *acc) {
  int x = 0;
  for (; x + 16 <= w; x += 16) {
    f8 a0 = f8{}, a1 = f8{};
    for (int j = 0; j < n; ++j) {
      if (c[j] == 0.0f) continue;
      const f8 cj = c[j] + f8{};
      a0 += cj * load<f8>(r[j] + x);
      a1 += cj * load<f8>(r[j] + x + 8);
    }
    store(acc + x, a0);
    store(acc + x + 8, a1);
  }
  for (; x < w; ++x) {
    float a = 0;
    for (int j = 0; j < n; ++j)
      if (c[j] != 0.0f) a += c[j] * r[j][x];
    acc[x] = a;
  }
}

KEL_CLONES void store_u8(const float *acc, int w, bool abs, std::uint8_t *out) {
  store_row(acc, w, abs, 255.0f, out);
}
KEL_CLONES void store_u16(const float *acc, int w, bool abs, std::uint16_t *out) {
  store_row(acc, w, abs, 65535.0f, out);
}

KEL_CLONES void min_u8(const std::uint8_t *a, const std::uint8_t *b, int w, std::uint8_t *out) {
  extreme_row<false>(a, b, w, out);
}
KEL_CLONES void max_u8(const std::uint8_t *a, const std::uint8_t *b, int w, std::uint8_t *out) {
  extreme_row<true>(a, b, w, out);
}
KEL_CLONES void min_u16(const std::uint16_t *a, const std::uint16_t *b, int w, std::uint16_t *out) {
  extreme_row<false>(a, b, w, out);
}
KEL_CLONES void max_u16(const std::uint16_t *a, const std::uint16_t *b, int w, std::uint16_t *out) {
  extreme_row<true>(a, b, w, out);
}
KEL_CLONES void min_f32(const float *a, const float *b, int w, float *out) {
  extreme_row<false>(a, b, w, out);
}
KEL_CLONES void max_f32(const float *a, const float *b, int w, float *out) {
  extreme_row<true>(a, b, w, out);
}

KEL_CLONES void sort2_u8(std::uint8_t *lo, std::uint8_t *hi, int w) {
  sort2_row(lo, hi, w);
}
KEL_CLONES void sort2_u16(std::uint16_t *lo, std::uint16_t *hi, int w) {
  sort2_row(lo, hi, w);
}
KEL_CLONES void sort2_f32(float *lo, float *hi, int w) {
  sort2_row(lo, hi, w);
}

}  // namespace kel::nb::rows
