// Row kernels of the BYTE statistics. Each has a plain reference version
// (`*_ref`), vector versions for x86-64 (`*_sse2`, the baseline instruction
// set, and `*_avx2`, compiled for AVX2 and used only when the processor has
// it), and the version the operators call, which picks the widest path once.
// Every path must give the reference's results, 32-bit wrap-around included.
#pragma once

#include <cstdint>

#include "pixsvc.h"

namespace kel::stats {

// Calls f(pointer, count) over the pixels of a BYTE image in raster order:
// once over all of them when the rows are packed (skip 0, or one row), else
// once per row. Long spans keep the vector kernels away from per-row
// overhead.
template <class F>
void for_each_span(const Image *img, F &&f) {
  if (img->dx < 1 || img->dy < 1) return;
  const auto *base = static_cast<const std::uint8_t *>(img->data);
  if (img->skip == 0 || img->dy == 1) {
    f(base, img->dx * img->dy);
    return;
  }
  for (int y = 0; y < img->dy; ++y)
    f(base + (img->dx + img->skip) * y, img->dx);
}

// Sum of n bytes, modulo 2^32.
std::uint32_t sum_row_ref(const std::uint8_t *p, int n);
std::uint32_t sum_row(const std::uint8_t *p, int n);

// Sum and sum of squares of n bytes, both modulo 2^32, added to *s and *q.
void sum_squares_row_ref(const std::uint8_t *p, int n, std::uint32_t *s, std::uint32_t *q);
void sum_squares_row(const std::uint8_t *p, int n, std::uint32_t *s, std::uint32_t *q);

// Number of non-zero bytes.
std::uint32_t count_nz_row_ref(const std::uint8_t *p, int n);
std::uint32_t count_nz_row(const std::uint8_t *p, int n);

// Largest and smallest byte of a row (n >= 1).
std::uint8_t max_row_ref(const std::uint8_t *p, int n);
std::uint8_t max_row(const std::uint8_t *p, int n);
std::uint8_t min_row_ref(const std::uint8_t *p, int n);
std::uint8_t min_row(const std::uint8_t *p, int n);

// Adds the row's values into a 256-bin histogram.
void hist_row_ref(const std::uint8_t *p, int n, std::uint32_t *hist);
// Adds the row into four interleaved sub-histograms (sub[4][256]), which
// breaks the store-to-load chain of runs of equal pixels; the caller sums
// the four at the end.
void hist_row4(const std::uint8_t *p, int n, std::uint32_t (*sub)[256]);

#if defined(__SSE2__)
std::uint32_t sum_row_sse2(const std::uint8_t *p, int n);
std::uint32_t sum_row_avx2(const std::uint8_t *p, int n);
void sum_squares_row_sse2(const std::uint8_t *p, int n, std::uint32_t *s, std::uint32_t *q);
void sum_squares_row_avx2(const std::uint8_t *p, int n, std::uint32_t *s, std::uint32_t *q);
std::uint32_t count_nz_row_sse2(const std::uint8_t *p, int n);
std::uint32_t count_nz_row_avx2(const std::uint8_t *p, int n);
std::uint8_t max_row_sse2(const std::uint8_t *p, int n);
std::uint8_t max_row_avx2(const std::uint8_t *p, int n);
std::uint8_t min_row_sse2(const std::uint8_t *p, int n);
std::uint8_t min_row_avx2(const std::uint8_t *p, int n);
#endif

// Whether the operators use the AVX2 kernels on this processor.
bool have_avx2();

}  // namespace kel::stats
