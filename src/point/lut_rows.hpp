// Application of a 256-entry BYTE table to an image, with the row kernels
// behind it. Each kernel has a plain reference (`*_ref`) and the version the
// operators use; both must give identical results.
#pragma once

#include <cstdint>

#include "pixsvc.h"

namespace kel::lut {

// A table that is one value below a step and another from it on:
// table[v] = v < step ? low : high. `step` 0 means every entry is `high`.
struct Step {
  int step = 0;
  std::uint8_t low = 0;
  std::uint8_t high = 0;
};

// True when the table has the form of a Step (which is then filled in).
bool as_step(const std::uint8_t *table, Step *s);

// p[x] = table[p[x]] for x < n. map_row_words is the portable fast path
// (eight lookups per 64-bit word); map_row_wide the path for processors with
// byte permutes over 64-byte registers (false when the processor or the
// compiler lacks them); map_row takes the fastest available.
void map_row_ref(std::uint8_t *p, int n, const std::uint8_t *table);
void map_row_words(std::uint8_t *p, int n, const std::uint8_t *table);
bool map_row_wide(std::uint8_t *p, int n, const std::uint8_t *table);
void map_row(std::uint8_t *p, int n, const std::uint8_t *table);

// p[x] = p[x] < s.step ? s.low : s.high for x < n. step_row_wide is the
// path over 64-byte registers (false when not available), step_row_sse2
// the baseline path; step_row takes the fastest available.
void step_row_ref(std::uint8_t *p, int n, Step s);
bool step_row_wide(std::uint8_t *p, int n, Step s);
void step_row_sse2(std::uint8_t *p, int n, Step s);
void step_row(std::uint8_t *p, int n, Step s);

// Maps every pixel of a BYTE image (dx by dy, rows through the pitch)
// through the table; a two-level table takes the step kernel.
void apply(const Image *img, const std::uint8_t *table);

}  // namespace kel::lut
