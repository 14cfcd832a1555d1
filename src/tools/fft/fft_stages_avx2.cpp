// The butterfly stages compiled for AVX2 (eight lines per vector), chosen at
// run time on processors that have it. The operations are those of the
// generic path, lane by lane, so the results are the same bits.
#include "tools/fft/fft_lines.hpp"
#include "tools/fft/fft_stages.hpp"

namespace kel::tools {

#if defined(__x86_64__) || defined(__i386__)

__attribute__((target("avx2"))) void run_stages_avx2(float *re, float *im, int lines, int n,
                                                     int stages, const float *twr,
                                                     const float *twi) {
  switch (lines) {
    case 8:
      return stages::run<stages::v8f, 8>(re, im, n, stages, twr, twi);
    case 16:
      return stages::run<stages::v8f, 16>(re, im, n, stages, twr, twi);
    default:
      return stages::run<stages::v8f, 32>(re, im, n, stages, twr, twi);
  }
}

#endif

}  // namespace kel::tools
