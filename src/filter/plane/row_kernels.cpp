// Row kernels of the neighbourhood filters in 32-byte vectors (two SSE2
// registers on the baseline, one AVX2 register where the processor has it).
// Loads and stores go through memcpy, so rows need no alignment, and every
// vector is loaded before its result is stored, which allows the in-place
// doubling passes.
#include "filter/plane/row_kernels.hpp"

#include "filter/plane/median_networks.hpp"

#include <cstring>

// The clones are chosen by an ifunc resolver while the library loads; under
// ThreadSanitizer that runs before the sanitizer's runtime and crashes, so a
// thread-sanitized build keeps the baseline kernels only.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_THREAD__)
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

// The value stored for one result, as the vector lanes compute it: limited
// to 0..top, then rounded half up (v + 0.5 is exact below 2^23).
KEL_INLINE std::int32_t rounded(float v, bool abs, float top) {
  if (abs) v = v < 0 ? -v : v;
  v = v > 0 ? v : 0.0f;
  v = v < top ? v : top;
  return static_cast<std::int32_t>(v + 0.5f);
}

template <class T>
KEL_INLINE void store_row(const float *acc, int w, bool abs, float top, T *out) {
  typedef T Wide __attribute__((vector_size(32)));
  typedef T Narrow __attribute__((vector_size(8 * sizeof(T))));
  int x = 0;
  for (; x + 8 <= w; x += 8) {
    f8 v = load<f8>(acc + x);
    if (abs) v = v < 0 ? -v : v;
    v = v > 0 ? v : 0.0f;
    v = v < top ? v : top;
    // The low byte (or half) of each 32-bit lane.
    const Wide b = reinterpret_cast<Wide>(__builtin_convertvector(v + 0.5f, i8));
    Narrow n;
    if constexpr (sizeof(T) == 1)
      n = __builtin_shufflevector(b, b, 0, 4, 8, 12, 16, 20, 24, 28);
    else
      n = __builtin_shufflevector(b, b, 0, 2, 4, 6, 8, 10, 12, 14);
    store(out + x, n);
  }
  for (; x < w; ++x)
    out[x] = static_cast<T>(rounded(acc[x], abs, top));
}

// The median of each k x k window from its k column-sorted padded rows, the
// network held in registers.
template <class T, int K, std::size_t C>
KEL_INLINE void median_rows(const T *const *sorted, const std::array<Comparator, C> &net, int w,
                            T *out) {
  typedef T V __attribute__((vector_size(32)));
  constexpr int lanes = 32 / sizeof(T), n = K * K;
  int x = 0;
  for (; x + lanes <= w; x += lanes) {
    V v[n];
    for (int j = 0; j < K; ++j)
      for (int i = 0; i < K; ++i)
        v[j * K + i] = load<V>(sorted[j] + x + i);
#pragma GCC unroll 128
    for (std::size_t c = 0; c < C; ++c) {
      const V s = v[net[c].first], t = v[net[c].second];
      v[net[c].first] = t < s ? t : s;
      v[net[c].second] = t < s ? s : t;
    }
    store(out + x, v[n / 2]);
  }
  for (; x < w; ++x) {
    T v[n];
    for (int j = 0; j < K; ++j)
      for (int i = 0; i < K; ++i)
        v[j * K + i] = sorted[j][x + i];
    for (const Comparator &c : net) {
      const T s = v[c.first], t = v[c.second];
      v[c.first] = t < s ? t : s;
      v[c.second] = t < s ? s : t;
    }
    out[x] = v[n / 2];
  }
}

}  // namespace

// out[x] = floor((t[x] + half) / n) for sums below 2^24: a float estimate of
// the quotient, off by at most one, corrected by the exact remainder.
template <class T>
KEL_INLINE void divide_row(const std::uint32_t *t, int w, std::uint32_t n, T *out) {
  typedef T Wide __attribute__((vector_size(32)));
  typedef T Narrow __attribute__((vector_size(8 * sizeof(T))));
  const std::int32_t half = static_cast<std::int32_t>(n / 2), nn = static_cast<std::int32_t>(n);
  const float inv = 1.0f / static_cast<float>(n);
  int x = 0;
  for (; x + 8 <= w; x += 8) {
    const i8 v = load<i8>(t + x) + half;
    i8 q = __builtin_convertvector(__builtin_convertvector(v, f8) * inv, i8);
    const i8 r = v - q * nn;
    q = q - (r >= nn) + (r < 0);  // true lanes are -1
    const Wide b = reinterpret_cast<Wide>(q);
    Narrow o;
    if constexpr (sizeof(T) == 1)
      o = __builtin_shufflevector(b, b, 0, 4, 8, 12, 16, 20, 24, 28);
    else
      o = __builtin_shufflevector(b, b, 0, 2, 4, 6, 8, 10, 12, 14);
    store(out + x, o);
  }
  for (; x < w; ++x) {
    const std::int32_t v = static_cast<std::int32_t>(t[x]) + half;
    std::int32_t q = static_cast<std::int32_t>(static_cast<float>(v) * inv);
    const std::int32_t r = v - q * nn;
    q += (r >= nn) - (r < 0);
    out[x] = static_cast<T>(q);
  }
}

KEL_CLONES void divide_u8(const std::uint32_t *t, int w, std::uint32_t n, std::uint8_t *out) {
  divide_row(t, w, n, out);
}
KEL_CLONES void divide_u16(const std::uint32_t *t, int w, std::uint32_t n, std::uint16_t *out) {
  divide_row(t, w, n, out);
}

// One row of the 3x3 extreme: the extreme of rows a, b, c down each column
// into tmp (w + 2 values, the edge columns repeated), then across each three
// columns of tmp.
template <bool Max, class T>
KEL_INLINE void extreme3x3_row(const T *a, const T *b, const T *c, int w, T *tmp, T *out) {
  extreme_row<Max>(a, b, w, tmp + 1);
  extreme_row<Max>(tmp + 1, c, w, tmp + 1);
  tmp[0] = tmp[1];
  tmp[w + 1] = tmp[w];
  extreme_row<Max>(tmp, tmp + 1, w, out);
  extreme_row<Max>(out, tmp + 2, w, out);
}

KEL_CLONES void min3x3_u8(const std::uint8_t *a, const std::uint8_t *b, const std::uint8_t *c,
                          int w, std::uint8_t *tmp, std::uint8_t *out) {
  extreme3x3_row<false>(a, b, c, w, tmp, out);
}
KEL_CLONES void max3x3_u8(const std::uint8_t *a, const std::uint8_t *b, const std::uint8_t *c,
                          int w, std::uint8_t *tmp, std::uint8_t *out) {
  extreme3x3_row<true>(a, b, c, w, tmp, out);
}
KEL_CLONES void min3x3_u16(const std::uint16_t *a, const std::uint16_t *b, const std::uint16_t *c,
                           int w, std::uint16_t *tmp, std::uint16_t *out) {
  extreme3x3_row<false>(a, b, c, w, tmp, out);
}
KEL_CLONES void max3x3_u16(const std::uint16_t *a, const std::uint16_t *b, const std::uint16_t *c,
                           int w, std::uint16_t *tmp, std::uint16_t *out) {
  extreme3x3_row<true>(a, b, c, w, tmp, out);
}
KEL_CLONES void min3x3_f32(const float *a, const float *b, const float *c, int w, float *tmp,
                           float *out) {
  extreme3x3_row<false>(a, b, c, w, tmp, out);
}
KEL_CLONES void max3x3_f32(const float *a, const float *b, const float *c, int w, float *tmp,
                           float *out) {
  extreme3x3_row<true>(a, b, c, w, tmp, out);
}

// Sorts each column of k rows into k output rows, the network in registers.
template <class T, int K, std::size_t C>
KEL_INLINE void sort_columns(const T *const *in, const std::array<Comparator, C> &net, int w,
                             T *const *out) {
  typedef T V __attribute__((vector_size(32)));
  constexpr int lanes = 32 / sizeof(T);
  int x = 0;
  for (; x + lanes <= w; x += lanes) {
    V v[K];
    for (int j = 0; j < K; ++j)
      v[j] = load<V>(in[j] + x);
#pragma GCC unroll 16
    for (std::size_t c = 0; c < C; ++c) {
      const V s = v[net[c].first], t = v[net[c].second];
      v[net[c].first] = t < s ? t : s;
      v[net[c].second] = t < s ? s : t;
    }
    for (int j = 0; j < K; ++j)
      store(out[j] + x, v[j]);
  }
  for (; x < w; ++x) {
    T v[K];
    for (int j = 0; j < K; ++j)
      v[j] = in[j][x];
    for (const Comparator &c : net) {
      const T s = v[c.first], t = v[c.second];
      v[c.first] = t < s ? t : s;
      v[c.second] = t < s ? s : t;
    }
    for (int j = 0; j < K; ++j)
      out[j][x] = v[j];
  }
}

KEL_CLONES void sort3_u8(const std::uint8_t *const *in, int w, std::uint8_t *const *out) {
  sort_columns<std::uint8_t, 3>(in, kSort3, w, out);
}
KEL_CLONES void sort3_u16(const std::uint16_t *const *in, int w, std::uint16_t *const *out) {
  sort_columns<std::uint16_t, 3>(in, kSort3, w, out);
}
KEL_CLONES void sort3_f32(const float *const *in, int w, float *const *out) {
  sort_columns<float, 3>(in, kSort3, w, out);
}
KEL_CLONES void sort5_u8(const std::uint8_t *const *in, int w, std::uint8_t *const *out) {
  sort_columns<std::uint8_t, 5>(in, kSort5, w, out);
}
KEL_CLONES void sort5_u16(const std::uint16_t *const *in, int w, std::uint16_t *const *out) {
  sort_columns<std::uint16_t, 5>(in, kSort5, w, out);
}
KEL_CLONES void sort5_f32(const float *const *in, int w, float *const *out) {
  sort_columns<float, 5>(in, kSort5, w, out);
}

KEL_CLONES void median3_u8(const std::uint8_t *const *sorted, int w, std::uint8_t *out) {
  median_rows<std::uint8_t, 3>(sorted, kMedian3x3, w, out);
}
KEL_CLONES void median3_u16(const std::uint16_t *const *sorted, int w, std::uint16_t *out) {
  median_rows<std::uint16_t, 3>(sorted, kMedian3x3, w, out);
}
KEL_CLONES void median3_f32(const float *const *sorted, int w, float *out) {
  median_rows<float, 3>(sorted, kMedian3x3, w, out);
}
KEL_CLONES void median5_u8(const std::uint8_t *const *sorted, int w, std::uint8_t *out) {
  median_rows<std::uint8_t, 5>(sorted, kMedian5x5, w, out);
}
KEL_CLONES void median5_u16(const std::uint16_t *const *sorted, int w, std::uint16_t *out) {
  median_rows<std::uint16_t, 5>(sorted, kMedian5x5, w, out);
}
KEL_CLONES void median5_f32(const float *const *sorted, int w, float *out) {
  median_rows<float, 5>(sorted, kMedian5x5, w, out);
}

// Blocks of n vectors of accumulators (8n results) per pass over the taps,
// so that the additions of one tap do not wait for each other; every result
// takes its taps in the same order whatever the block.
template <int N>
KEL_INLINE void taps_block(const float *r, const float *k, int taps, float *acc) {
  f8 a[N];
#pragma GCC unroll 8
  for (int n = 0; n < N; ++n)
    a[n] = load<f8>(acc + 8 * n);
  for (int i = 0; i < taps; ++i) {
    if (k[i] == 0.0f) continue;
    const f8 c = k[i] + f8{};
#pragma GCC unroll 8
    for (int n = 0; n < N; ++n)
      a[n] += c * load<f8>(r + i + 8 * n);
  }
#pragma GCC unroll 8
  for (int n = 0; n < N; ++n)
    store(acc + 8 * n, a[n]);
}

template <int N>
KEL_INLINE void column_block(const float *const *r, const float *c, int rows, int x, float *acc) {
  f8 a[N];
#pragma GCC unroll 8
  for (int n = 0; n < N; ++n)
    a[n] = f8{};
  for (int j = 0; j < rows; ++j) {
    if (c[j] == 0.0f) continue;
    const f8 cj = c[j] + f8{};
#pragma GCC unroll 8
    for (int n = 0; n < N; ++n)
      a[n] += cj * load<f8>(r[j] + x + 8 * n);
  }
#pragma GCC unroll 8
  for (int n = 0; n < N; ++n)
    store(acc + x + 8 * n, a[n]);
}

template <int N>
KEL_INLINE void symmetric_block(const float *mid, const float *k, int radius, float *acc) {
  const f8 c = k[0] + f8{};
  f8 a[N];
#pragma GCC unroll 8
  for (int n = 0; n < N; ++n)
    a[n] = c * load<f8>(mid + 8 * n);
  for (int i = 1; i <= radius; ++i) {
    const f8 ci = k[i] + f8{};
#pragma GCC unroll 8
    for (int n = 0; n < N; ++n)
      a[n] += ci * (load<f8>(mid - i + 8 * n) + load<f8>(mid + i + 8 * n));
  }
#pragma GCC unroll 8
  for (int n = 0; n < N; ++n)
    store(acc + 8 * n, a[n]);
}

template <int N>
KEL_INLINE void column_symmetric_block(const float *const *mid, const float *k, int radius, int x,
                                       float *acc) {
  const f8 c = k[0] + f8{};
  f8 a[N];
#pragma GCC unroll 8
  for (int n = 0; n < N; ++n)
    a[n] = c * load<f8>(mid[0] + x + 8 * n);
  for (int i = 1; i <= radius; ++i) {
    const f8 ci = k[i] + f8{};
    const float *lo = mid[-i] + x, *hi = mid[i] + x;
#pragma GCC unroll 8
    for (int n = 0; n < N; ++n)
      a[n] += ci * (load<f8>(lo + 8 * n) + load<f8>(hi + 8 * n));
  }
#pragma GCC unroll 8
  for (int n = 0; n < N; ++n)
    store(acc + x + 8 * n, a[n]);
}

KEL_CLONES void taps(const float *r, const float *k, int taps, int w, float *acc, bool add) {
  if (!add) std::memset(acc, 0, sizeof(float) * static_cast<std::size_t>(w));
  int x = 0;
  for (; x + 64 <= w; x += 64)
    taps_block<8>(r + x, k, taps, acc + x);
  for (; x + 8 <= w; x += 8)
    taps_block<1>(r + x, k, taps, acc + x);
  for (; x < w; ++x)
    for (int i = 0; i < taps; ++i)
      if (k[i] != 0.0f) acc[x] += k[i] * r[x + i];
}

KEL_CLONES void column(const float *const *r, const float *c, int n, int w, float *acc) {
  int x = 0;
  for (; x + 64 <= w; x += 64)
    column_block<8>(r, c, n, x, acc);
  for (; x + 8 <= w; x += 8)
    column_block<1>(r, c, n, x, acc);
  for (; x < w; ++x) {
    float a = 0;
    for (int j = 0; j < n; ++j)
      if (c[j] != 0.0f) a += c[j] * r[j][x];
    acc[x] = a;
  }
}

KEL_CLONES void taps_symmetric(const float *r, const float *k, int radius, int w, float *acc) {
  const float *mid = r + radius;
  int x = 0;
  for (; x + 64 <= w; x += 64)
    symmetric_block<8>(mid + x, k, radius, acc + x);
  for (; x + 8 <= w; x += 8)
    symmetric_block<1>(mid + x, k, radius, acc + x);
  for (; x < w; ++x) {
    float a = k[0] * mid[x];
    for (int i = 1; i <= radius; ++i)
      a += k[i] * (mid[x - i] + mid[x + i]);
    acc[x] = a;
  }
}

KEL_CLONES void column_symmetric(const float *const *r, const float *k, int radius, int w,
                                 float *acc) {
  const float *const *mid = r + radius;
  int x = 0;
  for (; x + 64 <= w; x += 64)
    column_symmetric_block<8>(mid, k, radius, x, acc);
  for (; x + 8 <= w; x += 8)
    column_symmetric_block<1>(mid, k, radius, x, acc);
  for (; x < w; ++x) {
    float a = k[0] * mid[0][x];
    for (int i = 1; i <= radius; ++i)
      a += k[i] * (mid[-i][x] + mid[i][x]);
    acc[x] = a;
  }
}

KEL_CLONES void widen_u8(const std::uint8_t *in, int w, float *out) {
  for (int x = 0; x < w; ++x)
    out[x] = static_cast<float>(in[x]);
}
KEL_CLONES void widen_u16(const std::uint16_t *in, int w, float *out) {
  for (int x = 0; x < w; ++x)
    out[x] = static_cast<float>(in[x]);
}

// The running column sums of the mean filter: col[x] += in[x] - out[x].
KEL_CLONES void slide_column_u8(std::uint16_t *col, const std::uint8_t *in, const std::uint8_t *out,
                                int w) {
  for (int x = 0; x < w; ++x)
    col[x] = static_cast<std::uint16_t>(col[x] + in[x] - out[x]);
}
KEL_CLONES void slide_column_u16(std::uint32_t *col, const std::uint16_t *in,
                                 const std::uint16_t *out, int w) {
  for (int x = 0; x < w; ++x)
    col[x] = col[x] + in[x] - out[x];
}

// diff[x] = col[x + k - 1] - col[x - 1] for 1 <= x < w (modulo 2^32).
KEL_CLONES void sum_steps_u16(const std::uint16_t *col, int w, int k, std::uint32_t *diff) {
  for (int x = 1; x < w; ++x)
    diff[x] = static_cast<std::uint32_t>(col[x + k - 1]) - static_cast<std::uint32_t>(col[x - 1]);
}
KEL_CLONES void sum_steps_u32(const std::uint32_t *col, int w, int k, std::uint32_t *diff) {
  for (int x = 1; x < w; ++x)
    diff[x] = col[x + k - 1] - col[x - 1];
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
