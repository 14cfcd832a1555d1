// The 1-D transform of the first row of a real/imaginary FLOAT image pair.
#include <vector>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "kelkit/fft.h"
#include "tools/fft/fft_lines.hpp"

extern "C" {

KELKIT_API int kel_fft_1d(Image *re, Image *im, const kel_fft_coeff *coeff) {
  return kel::guarded("kel_fft_1d", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, coeff, "Coeff struct == NULL")) return e;
    if (int e = kel::need_images(fn, re, im)) return e;
    if (re->type != FLOAT || im->type != FLOAT) return kel::fail(fn, KEL_ERR_NEED_TYPE);
    if (re->dx != im->dx)
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Real and imaginary Arrays must be same length");
    if (re->dx != coeff->nSizeX)
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Array X size doesn't match Coeff. size");
    const int n = re->dx;
    if (n < 1 || re->dy < 1 || im->dy < 1) return KEL_OK;  // no row to transform
    const kel::tools::LinePlan plan =
        kel::tools::make_plan(n, coeff->nLog2X, coeff->afCosX, coeff->afSinX);
    std::vector<float> work(2 * static_cast<std::size_t>(n));
    if (int e = kel::tools::transform_line(kel::row<float>(re, 0), 1, kel::row<float>(im, 0), 1,
                                           plan, work.data()))
      return kel::fail(fn, e);
    return KEL_OK;
  });
}

}  // extern "C"
