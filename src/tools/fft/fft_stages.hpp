// Butterfly stages of the line transform on B interleaved lines, written
// over a vector type V (float, or a vector of 4 or 8 floats) so that one
// source serves every instruction set: V holds consecutive lines of one
// element, and each vector operation is the same IEEE single-precision
// operation per line as the scalar code, so every path gives the same bits.
//
// Everything here is forced inline, so that it is compiled for the
// instruction set of the function that uses it (see fft_stages_avx2.cpp).
#pragma once

#define KEL_FFT_INLINE inline __attribute__((always_inline))

namespace kel::tools::stages {

typedef float v4f __attribute__((vector_size(16)));
typedef float v8f __attribute__((vector_size(32)));

template <class V>
KEL_FFT_INLINE void load(V &v, const float *p) {
  __builtin_memcpy(&v, p, sizeof(V));
}
template <class V>
KEL_FFT_INLINE void store(float *p, const V &v) {
  __builtin_memcpy(p, &v, sizeof(V));
}

// Transposes the 4 x 4 block held in a, b, c, d (one row each).
KEL_FFT_INLINE void transpose4(v4f &a, v4f &b, v4f &c, v4f &d) {
#if defined(__clang__)
#define KEL_SHUFFLE(x, y, i, j, k, l) __builtin_shufflevector(x, y, i, j, k, l)
#else
#define KEL_SHUFFLE(x, y, i, j, k, l) __builtin_shuffle(x, y, v4i{i, j, k, l})
#endif
  typedef int v4i __attribute__((vector_size(16)));
  const v4f t0 = KEL_SHUFFLE(a, b, 0, 4, 1, 5), t1 = KEL_SHUFFLE(a, b, 2, 6, 3, 7);
  const v4f t2 = KEL_SHUFFLE(c, d, 0, 4, 1, 5), t3 = KEL_SHUFFLE(c, d, 2, 6, 3, 7);
  a = KEL_SHUFFLE(t0, t2, 0, 1, 4, 5);
  b = KEL_SHUFFLE(t0, t2, 2, 3, 6, 7);
  c = KEL_SHUFFLE(t1, t3, 0, 1, 4, 5);
  d = KEL_SHUFFLE(t1, t3, 2, 3, 6, 7);
#undef KEL_SHUFFLE
}

// x[q] = x[p] - t and x[p] = x[p] + t, with t = (c + i s) x[q] when Mul and
// t = x[q] otherwise.
template <bool Mul, class V>
KEL_FFT_INLINE void butterfly(V &pr, V &pi, V &qr, V &qi, float c, float s) {
  V tr = qr, ti = qi;
  if constexpr (Mul) {
    tr = c * qr - s * qi;
    ti = s * qr + c * qi;
  }
  qr = pr - tr;
  qi = pi - ti;
  pr = pr + tr;
  pi = pi + ti;
}

// One stage of half-span h: pairs (p, p + h), twiddle k = p mod 2h.
template <class V, int B>
KEL_FFT_INLINE void radix2(float *re, float *im, int n, int h, const float *twr, const float *twi) {
  constexpr int L = sizeof(V) / sizeof(float);
  for (int base = 0; base < n; base += 2 * h)
    for (int k = 0; k < h; ++k) {
      float *pr = re + (base + k) * B, *pi = im + (base + k) * B;
      float *qr = pr + h * B, *qi = pi + h * B;
      for (int b = 0; b < B; b += L) {
        V ar, ai, br, bi;
        load(ar, pr + b), load(ai, pi + b), load(br, qr + b), load(bi, qi + b);
        if (k == 0)
          butterfly<false>(ar, ai, br, bi, 1.0f, 0.0f);
        else
          butterfly<true>(ar, ai, br, bi, twr[k], twi[k]);
        store(pr + b, ar), store(pi + b, ai), store(qr + b, br), store(qi + b, bi);
      }
    }
}

// Elements a, a + h, a + 2h, a + 3h through the stage of half-span h (pairs
// (a, a+h) and (a+2h, a+3h), both with twiddle k) and then the stage of
// half-span 2h (pairs (a, a+2h) with twiddle k and (a+h, a+3h) with twiddle
// k + h). First is true for k = 0, whose products are skipped.
template <class V, int B, bool First>
KEL_FFT_INLINE void quad(float *re, float *im, int a, int h, float c1, float s1, float c2, float s2,
                         float c3, float s3) {
  constexpr int L = sizeof(V) / sizeof(float);
  float *r0 = re + a * B, *i0 = im + a * B;
  float *r1 = r0 + h * B, *i1 = i0 + h * B;
  float *r2 = r1 + h * B, *i2 = i1 + h * B;
  float *r3 = r2 + h * B, *i3 = i2 + h * B;
  for (int b = 0; b < B; b += L) {
    V x0r, x0i, x1r, x1i, x2r, x2i, x3r, x3i;
    load(x0r, r0 + b), load(x0i, i0 + b), load(x1r, r1 + b), load(x1i, i1 + b);
    load(x2r, r2 + b), load(x2i, i2 + b), load(x3r, r3 + b), load(x3i, i3 + b);
    butterfly<!First>(x0r, x0i, x1r, x1i, c1, s1);
    butterfly<!First>(x2r, x2i, x3r, x3i, c1, s1);
    butterfly<!First>(x0r, x0i, x2r, x2i, c2, s2);
    butterfly<true>(x1r, x1i, x3r, x3i, c3, s3);
    store(r0 + b, x0r), store(i0 + b, x0i), store(r1 + b, x1r), store(i1 + b, x1i);
    store(r2 + b, x2r), store(i2 + b, x2i), store(r3 + b, x3r), store(i3 + b, x3i);
  }
}

// The stages of half-span h and 2h in one sweep through the lines.
template <class V, int B>
KEL_FFT_INLINE void radix4(float *re, float *im, int n, int h, const float *tw1r, const float *tw1i,
                           const float *tw2r, const float *tw2i) {
  for (int base = 0; base < n; base += 4 * h) {
    quad<V, B, true>(re, im, base, h, 1.0f, 0.0f, 1.0f, 0.0f, tw2r[h], tw2i[h]);
    for (int k = 1; k < h; ++k)
      quad<V, B, false>(re, im, base + k, h, tw1r[k], tw1i[k], tw2r[k], tw2i[k], tw2r[k + h],
                        tw2i[k + h]);
  }
}

// All `stages` stages on n elements of B lines; the twiddles of the stage of
// half-span h are at twr[h - 1 + k], twi[h - 1 + k].
template <class V, int B>
KEL_FFT_INLINE void run(float *re, float *im, int n, int stages, const float *twr,
                        const float *twi) {
  int s = 0;
  for (; s + 1 < stages; s += 2) {
    const int h = 1 << s;
    radix4<V, B>(re, im, n, h, twr + h - 1, twi + h - 1, twr + 2 * h - 1, twi + 2 * h - 1);
  }
  if (s < stages) {
    const int h = 1 << s;
    radix2<V, B>(re, im, n, h, twr + h - 1, twi + h - 1);
  }
}

}  // namespace kel::tools::stages
