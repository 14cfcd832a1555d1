// The line transform behind kel_fft_1d and kel_fft_2d: an in-place radix-2
// transform of several lines at once.
//
// A line of N complex values is transformed by the bit-reversal permutation
// followed by log2 N butterfly stages of half-span h = 1, 2, 4, ... using the
// twiddle (cos[k * N / 2h], sin[k * N / 2h]) of the record's tables for the
// pairs (p, p + h) with p mod 2h = k; the product with the twiddle is skipped
// for k = 0. Every element sees exactly those operations in that order.
//
// For speed, B lines are worked on together in a buffer where element i of
// line b sits at [i * B + b] (separate real and imaginary buffers), so the
// innermost loop runs over the B lines and vectorises, and two stages are
// done per sweep through the buffer. Neither changes any result.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kel::tools {

// Internal status: the record asks for more stages than the length allows,
// so a pair index would reach N.
inline constexpr int kPairOverrun = 24;

// What the transform of one axis needs, derived from the record.
struct LinePlan {
  int n = 1;                       // line length
  int stages = 0;                  // stages that fit the length (2h <= n)
  bool overrun = false;            // the record asks for more stages than that
  std::vector<std::uint32_t> rev;  // rev[i]: the element that lands at i
  std::vector<float> twr, twi;     // twiddles of the stage of half-span h at [h - 1 + k]
};

// The plan of an axis of length n whose record gives log2 and the tables
// (null when n is 1). Throws std::bad_alloc.
LinePlan make_plan(int n, int log2, const float *cos_table, const float *sin_table);

// Runs every stage of the plan on `lines` lines stored interleaved in re and
// im (n * lines floats each), already in bit-reversed order. `lines` is 1,
// 2, 4, 8, 16 or 32. Takes the widest path this processor runs.
void run_stages(float *re, float *im, int lines, const LinePlan &plan);

// The paths behind run_stages, for tests that compare them: the generic one
// (any processor) and the AVX2 one (8 lines or more, only where
// have_avx2_stages() is true; elsewhere it is the generic one).
void run_stages_generic(float *re, float *im, int lines, int n, int stages, const float *twr,
                        const float *twi);
void run_stages_avx2(float *re, float *im, int lines, int n, int stages, const float *twr,
                     const float *twi);
bool have_avx2_stages();

// Transforms one line of plan.n elements at re[i * re_stride] and
// im[i * im_stride] in place, through `work` (2 * plan.n floats). Returns 0,
// or kPairOverrun after the stages that fit when the plan overruns.
int transform_line(float *re, std::ptrdiff_t re_stride, float *im, std::ptrdiff_t im_stride,
                   const LinePlan &plan, float *work);

}  // namespace kel::tools
