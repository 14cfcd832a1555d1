// The two 3x3 convolution engines: one kernel, and two kernels combined.
#include <cstdint>

#include "filter/filter_frame.hpp"
#include "filter/filter_rows.hpp"
#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "frame/processor.hpp"
#include "kelkit/filter.h"

namespace {

using kel::Area;
using kel::row;
namespace kf = kel::filter;

// Runs row_kernel(source rows, w, output row) for rows 1 .. h - 2, then
// applies the border rule.
template <class RowKernel>
void convolve_image(const Image *src, Image *dst, Area a, RowKernel row_kernel) {
  for (int y = 1; y < a.dy - 1; ++y) {
    std::uint8_t *out = row<std::uint8_t>(dst, y);
    row_kernel(kf::rows_around(src, y), a.dx, out);
    kf::repeat_edge_columns(out, a.dx);
  }
  kf::repeat_edge_rows(dst, a.dx, a.dy);
}

}  // namespace

extern "C" {

KELKIT_API int kel_convolve_3x3(const Image *src, Image *dst, KelKernel3x3 kernel, int mode) {
  return kel::guarded("kel_convolve_3x3", [&](const char *fn) -> int {
    Area a;
    if (int e = kf::check_3x3(fn, src, dst, a)) return e;
    // The processor-specific branch computes nothing: the destination stays
    // as it was.
    if (kel::mmx_on()) return KEL_OK;
    const kf::Taps t = kf::taps_of(kernel);
    const kf::Mode m = kf::mode_of(mode);
    convolve_image(src, dst, a, [&](kf::Rows s, int w, std::uint8_t *out) {
      kf::convolve_row(s, w, t, m, out);
    });
    return KEL_OK;
  });
}

KELKIT_API int kel_convolve_3x3sum(const Image *src, Image *dst, KelKernel3x3 kernel1,
                                   KelKernel3x3 kernel2, int mode) {
  return kel::guarded("kel_convolve_3x3sum", [&](const char *fn) -> int {
    Area a;
    if (int e = kf::check_3x3(fn, src, dst, a)) return e;
    const kf::Taps t1 = kf::taps_of(kernel1), t2 = kf::taps_of(kernel2);
    const kf::Mode m = kf::mode_of(mode);
    convolve_image(src, dst, a, [&](kf::Rows s, int w, std::uint8_t *out) {
      kf::convolve_sum_row(s, w, t1, t2, m, out);
    });
    return KEL_OK;
  });
}

}  // extern "C"
