// Run-time checks for the wider instruction sets that some point kernels
// use. The library is built for the baseline x86-64 instruction set; a
// kernel compiled for a wider set is called only when the processor (and the
// operating system) supports it, and always gives the plain loop's results.
#pragma once

#if defined(__x86_64__) && defined(__GNUC__)
#define KEL_POINT_WIDE 1
#endif

namespace kel::point {

// AVX-512 foundation and byte/word instructions.
bool has_avx512bw();
// As has_avx512bw, plus the byte permutes (VBMI).
bool has_avx512vbmi();

}  // namespace kel::point
