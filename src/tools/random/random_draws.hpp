// The generator's step and its draws, shared by the deviate functions and
// the noise images.
#pragma once

#include <cstdint>

#include "kelkit/random.h"

namespace kel::tools {

inline constexpr std::uint32_t kRandMul = 1103515245u;
inline constexpr std::uint32_t kRandAdd = 12345u;

// One step of the linear congruential generator (arithmetic modulo 2^32).
inline std::uint32_t next_state(std::uint32_t state) {
  return state * kRandMul + kRandAdd;
}

// The draw r = state >> 16 of a state, mapped onto -1 .. 1 in single
// precision (3.0518044e-5 is 2 / 65535 as a float).
inline float unit_of(std::uint32_t state) {
  return static_cast<float>(state >> 16) * 3.0518044e-5f - 1.0f;
}

// One standard normal value from the generator (polar method with the kept
// spare value).
float gauss_draw(KelRandGen &gen);

// Writes the next `count` values that gauss_draw would return into out[],
// leaving the generator as those calls would. The pairs are drawn in
// batches and their factors computed side by side, which lets the processor
// overlap the logarithms and square roots; the values are the same.
void gauss_fill(KelRandGen &gen, float *out, long count);

}  // namespace kel::tools
