// Row kernels of the BYTE statistics. Each has a plain reference version
// (`*_ref`) and the version the operators use, which takes a vectorised path
// on x86-64 (SSE2, part of the baseline instruction set) and must give
// identical results, 32-bit wrap-around included.
#pragma once

#include <cstdint>

namespace kel::stats {

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

}  // namespace kel::stats
