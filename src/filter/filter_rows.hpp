// Row kernels of the 3x3 filters. Each has a plain reference version
// (`*_ref`) and the version the operators use, which takes a vectorised path
// on x86-64 (SSE2, part of the baseline instruction set) where it can and
// must give identical results.
//
// A row kernel computes destination columns 1 .. w - 2 of one row from the
// three source rows above, at and below it; the operators do the borders.
#pragma once

#include <cstdint>

#include "kelkit/filter.h"

namespace kel::filter {

// How a result is stored in a BYTE pixel.
enum class Mode { clamp, abs, wrap };

inline Mode mode_of(int mode) {
  return mode == KEL_MODE_ABS ? Mode::abs : mode == KEL_MODE_WRAP ? Mode::wrap : Mode::clamp;
}

// A kernel ready for use: the nine weights in raster order and the effective
// right shift (0 .. 31).
struct Taps {
  int k[9];
  int shift;
};

Taps taps_of(const KelKernel3x3 &kernel);

// Three source rows of one destination row.
struct Rows {
  const std::uint8_t *above;
  const std::uint8_t *centre;
  const std::uint8_t *below;
};

// One kernel: out[x] for x = 1 .. w - 2 (w >= 3).
void convolve_row_ref(Rows src, int w, const Taps &t, Mode mode, std::uint8_t *out);
void convolve_row(Rows src, int w, const Taps &t, Mode mode, std::uint8_t *out);

// Two kernels combined: out[x] for x = 1 .. w - 2 (w >= 3).
void convolve_sum_row_ref(Rows src, int w, const Taps &t1, const Taps &t2, Mode mode,
                          std::uint8_t *out);
void convolve_sum_row(Rows src, int w, const Taps &t1, const Taps &t2, Mode mode,
                      std::uint8_t *out);

// Vertical pass of erosion (Max = false) or dilation (Max = true):
// out[x] = min (max) of the three rows at x, for x = 0 .. w - 1.
template <bool Max>
void extreme3_down_ref(Rows src, int w, std::uint8_t *out);
template <bool Max>
void extreme3_down(Rows src, int w, std::uint8_t *out);

// Horizontal pass: out[x] = min (max) of in[x - 1], in[x], in[x + 1], for
// x = 1 .. w - 2 (w >= 3). `in` and `out` must not overlap.
template <bool Max>
void extreme3_across_ref(const std::uint8_t *in, int w, std::uint8_t *out);
template <bool Max>
void extreme3_across(const std::uint8_t *in, int w, std::uint8_t *out);

}  // namespace kel::filter
