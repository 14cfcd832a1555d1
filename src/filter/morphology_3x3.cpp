// 3x3 grey erosion and dilation, computed separably: the minimum (maximum)
// down each column of three rows into a working row, which is the
// destination's row 0, then across each three columns of it. Row 0 is
// overwritten by the border rule at the end, so no trace of the working row
// remains; it is also why the source and the destination must differ.
#include <cstdint>

#include "filter/filter_frame.hpp"
#include "filter/filter_rows.hpp"
#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "frame/processor.hpp"
#include "kelkit/filter.h"

namespace {

using kel::row;
namespace kf = kel::filter;

template <bool Max>
int morphology_3x3(const char *fn, const Image *src, Image *dst) {
  kel::Area a;
  if (int e = kf::check_3x3(fn, src, dst, a)) return e;
  // The processor-specific branch computes nothing: the destination stays
  // as it was.
  if (kel::mmx_on() && a.dx > 8) return KEL_OK;
  std::uint8_t *scratch = row<std::uint8_t>(dst, 0);
  for (int y = 1; y < a.dy - 1; ++y) {
    std::uint8_t *out = row<std::uint8_t>(dst, y);
    kf::extreme3_down<Max>(kf::rows_around(src, y), a.dx, scratch);
    kf::extreme3_across<Max>(scratch, a.dx, out);
    kf::repeat_edge_columns(out, a.dx);
  }
  kf::repeat_edge_rows(dst, a.dx, a.dy);
  return KEL_OK;
}

}  // namespace

extern "C" {

KELKIT_API int kel_erode(const Image *src, Image *dst) {
  return kel::guarded("kel_erode",
                      [&](const char *fn) { return morphology_3x3<false>(fn, src, dst); });
}

KELKIT_API int kel_dilate(const Image *src, Image *dst) {
  return kel::guarded("kel_dilate",
                      [&](const char *fn) { return morphology_3x3<true>(fn, src, dst); });
}

}  // extern "C"
