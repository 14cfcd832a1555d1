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

// p[x] = table[p[x]] for x < n.
void map_row_ref(std::uint8_t *p, int n, const std::uint8_t *table);
void map_row(std::uint8_t *p, int n, const std::uint8_t *table);

// p[x] = p[x] < s.step ? s.low : s.high for x < n.
void step_row_ref(std::uint8_t *p, int n, Step s);
void step_row(std::uint8_t *p, int n, Step s);

// Maps every pixel of a BYTE image (dx by dy, rows through the pitch)
// through the table; a two-level table takes the step kernel.
void apply(const Image *img, const std::uint8_t *table);

}  // namespace kel::lut
