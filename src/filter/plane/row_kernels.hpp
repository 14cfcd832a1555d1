// Row kernels of the neighbourhood filters, each compiled for the baseline
// instruction set and for AVX2 and chosen once at load time by the
// processor (the same operations in the same order, so the results are
// identical on every processor; no fused multiply-add). Each has the plain
// loop it replaces in the engines as its reference, and the tests of the
// operators compare with references written in the tests.
#pragma once

#include <cstdint>

namespace kel::nb::rows {

// acc[x] += sum over i < taps of k[i] * r[x + i], for x < w, taps in order
// (zero weights skipped); acc starts at 0 unless `add`.
void taps(const float *r, const float *k, int taps, int w, float *acc, bool add);

// Symmetric kernels of 2 radius + 1 taps, given from the centre outwards
// (k[0] the centre, k[i] the pair at distance i): across a row,
// acc[x] = k[0] r[x + radius] + sum over i of k[i] (r[x + radius - i] +
// r[x + radius + i]); down rows r[0 .. 2 radius], the same with rows.
void taps_symmetric(const float *r, const float *k, int radius, int w, float *acc);
void column_symmetric(const float *const *r, const float *k, int radius, int w, float *acc);

// acc[x] = sum over j < n of c[j] * r[j][x], for x < w, rows in order (zero
// weights skipped; acc starts at 0).
void column(const float *const *r, const float *c, int n, int w, float *acc);

// Column sums of the mean filter moved down one row: col[x] += in[x] -
// out[x] (16-bit sums of BYTE rows, 32-bit sums of WORD rows).
void slide_column_u8(std::uint16_t *col, const std::uint8_t *in, const std::uint8_t *out, int w);
void slide_column_u16(std::uint32_t *col, const std::uint16_t *in, const std::uint16_t *out, int w);

// Steps between neighbouring window sums of k columns: diff[x] =
// col[x + k - 1] - col[x - 1] for 1 <= x < w, modulo 2^32.
void sum_steps_u16(const std::uint16_t *col, int w, int k, std::uint32_t *diff);
void sum_steps_u32(const std::uint32_t *col, int w, int k, std::uint32_t *diff);

// out[x] = in[x] as float.
void widen_u8(const std::uint8_t *in, int w, float *out);
void widen_u16(const std::uint16_t *in, int w, float *out);

// out[x] = v rounded half up into 0..top (top 255 or 65535), where
// v = acc[x] limited to 0..top (abs: |acc[x]| limited to top; NaN as 0).
void store_u8(const float *acc, int w, bool abs, std::uint8_t *out);
void store_u16(const float *acc, int w, bool abs, std::uint16_t *out);

// out[x] = min or max of a[x] and b[x]; out may be a, and b may lie ahead of
// a in the same row (b = a + s), as the doubling passes need.
void min_u8(const std::uint8_t *a, const std::uint8_t *b, int w, std::uint8_t *out);
void max_u8(const std::uint8_t *a, const std::uint8_t *b, int w, std::uint8_t *out);
void min_u16(const std::uint16_t *a, const std::uint16_t *b, int w, std::uint16_t *out);
void max_u16(const std::uint16_t *a, const std::uint16_t *b, int w, std::uint16_t *out);
void min_f32(const float *a, const float *b, int w, float *out);
void max_f32(const float *a, const float *b, int w, float *out);

// Compare-exchange of two rows: lo[x], hi[x] become their minimum and
// maximum.
void sort2_u8(std::uint8_t *lo, std::uint8_t *hi, int w);
void sort2_u16(std::uint16_t *lo, std::uint16_t *hi, int w);
void sort2_f32(float *lo, float *hi, int w);

// The median of each 3x3 (5x5) window, from the window's 3 (5) rows whose
// padded columns are already sorted (row j holds the j-th smallest of each
// column): out[x] for x < w from columns x .. x + k - 1.
void median3_u8(const std::uint8_t *const *sorted, int w, std::uint8_t *out);
void median3_u16(const std::uint16_t *const *sorted, int w, std::uint16_t *out);
void median3_f32(const float *const *sorted, int w, float *out);
void median5_u8(const std::uint8_t *const *sorted, int w, std::uint8_t *out);
void median5_u16(const std::uint16_t *const *sorted, int w, std::uint16_t *out);
void median5_f32(const float *const *sorted, int w, float *out);

// out[x] = floor((t[x] + n / 2) / n), the mean of n pixels rounded half
// up, for t[x] + n / 2 below 2^24.
void divide_u8(const std::uint32_t *t, int w, std::uint32_t n, std::uint8_t *out);
void divide_u16(const std::uint32_t *t, int w, std::uint32_t n, std::uint16_t *out);

// One row of the 3x3 minimum (maximum): out[x] for x < w from rows a, b, c
// (above, at and below), the edge columns repeated; tmp holds w + 2 values.
// out may not overlap a, b or c.
void min3x3_u8(const std::uint8_t *a, const std::uint8_t *b, const std::uint8_t *c, int w,
               std::uint8_t *tmp, std::uint8_t *out);
void max3x3_u8(const std::uint8_t *a, const std::uint8_t *b, const std::uint8_t *c, int w,
               std::uint8_t *tmp, std::uint8_t *out);
void min3x3_u16(const std::uint16_t *a, const std::uint16_t *b, const std::uint16_t *c, int w,
                std::uint16_t *tmp, std::uint16_t *out);
void max3x3_u16(const std::uint16_t *a, const std::uint16_t *b, const std::uint16_t *c, int w,
                std::uint16_t *tmp, std::uint16_t *out);
void min3x3_f32(const float *a, const float *b, const float *c, int w, float *tmp, float *out);
void max3x3_f32(const float *a, const float *b, const float *c, int w, float *tmp, float *out);

// Sorts each column of 3 (5) rows `in` into the rows `out` (out[j] the j-th
// smallest), for x < w.
void sort3_u8(const std::uint8_t *const *in, int w, std::uint8_t *const *out);
void sort3_u16(const std::uint16_t *const *in, int w, std::uint16_t *const *out);
void sort3_f32(const float *const *in, int w, float *const *out);
void sort5_u8(const std::uint8_t *const *in, int w, std::uint8_t *const *out);
void sort5_u16(const std::uint16_t *const *in, int w, std::uint16_t *const *out);
void sort5_f32(const float *const *in, int w, float *const *out);

// Typed forms for the templated engines.
template <bool Max>
inline void extreme(const std::uint8_t *a, const std::uint8_t *b, int w, std::uint8_t *out) {
  Max ? max_u8(a, b, w, out) : min_u8(a, b, w, out);
}
template <bool Max>
inline void extreme(const std::uint16_t *a, const std::uint16_t *b, int w, std::uint16_t *out) {
  Max ? max_u16(a, b, w, out) : min_u16(a, b, w, out);
}
template <bool Max>
inline void extreme(const float *a, const float *b, int w, float *out) {
  Max ? max_f32(a, b, w, out) : min_f32(a, b, w, out);
}
template <bool Max>
inline void extreme3x3(const std::uint8_t *a, const std::uint8_t *b, const std::uint8_t *c, int w,
                       std::uint8_t *tmp, std::uint8_t *out) {
  Max ? max3x3_u8(a, b, c, w, tmp, out) : min3x3_u8(a, b, c, w, tmp, out);
}
template <bool Max>
inline void extreme3x3(const std::uint16_t *a, const std::uint16_t *b, const std::uint16_t *c,
                       int w, std::uint16_t *tmp, std::uint16_t *out) {
  Max ? max3x3_u16(a, b, c, w, tmp, out) : min3x3_u16(a, b, c, w, tmp, out);
}
template <bool Max>
inline void extreme3x3(const float *a, const float *b, const float *c, int w, float *tmp,
                       float *out) {
  Max ? max3x3_f32(a, b, c, w, tmp, out) : min3x3_f32(a, b, c, w, tmp, out);
}
inline void sort2(std::uint8_t *lo, std::uint8_t *hi, int w) {
  sort2_u8(lo, hi, w);
}
inline void sort2(std::uint16_t *lo, std::uint16_t *hi, int w) {
  sort2_u16(lo, hi, w);
}
inline void sort2(float *lo, float *hi, int w) {
  sort2_f32(lo, hi, w);
}

inline void sort3(const std::uint8_t *const *in, int w, std::uint8_t *const *out) {
  sort3_u8(in, w, out);
}
inline void sort3(const std::uint16_t *const *in, int w, std::uint16_t *const *out) {
  sort3_u16(in, w, out);
}
inline void sort3(const float *const *in, int w, float *const *out) {
  sort3_f32(in, w, out);
}
inline void sort5(const std::uint8_t *const *in, int w, std::uint8_t *const *out) {
  sort5_u8(in, w, out);
}
inline void sort5(const std::uint16_t *const *in, int w, std::uint16_t *const *out) {
  sort5_u16(in, w, out);
}
inline void sort5(const float *const *in, int w, float *const *out) {
  sort5_f32(in, w, out);
}
inline void median3(const std::uint8_t *const *s, int w, std::uint8_t *out) {
  median3_u8(s, w, out);
}
inline void median3(const std::uint16_t *const *s, int w, std::uint16_t *out) {
  median3_u16(s, w, out);
}
inline void median3(const float *const *s, int w, float *out) {
  median3_f32(s, w, out);
}
inline void median5(const std::uint8_t *const *s, int w, std::uint8_t *out) {
  median5_u8(s, w, out);
}
inline void median5(const std::uint16_t *const *s, int w, std::uint16_t *out) {
  median5_u16(s, w, out);
}
inline void median5(const float *const *s, int w, float *out) {
  median5_f32(s, w, out);
}

}  // namespace kel::nb::rows
