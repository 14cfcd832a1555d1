// The named 3x3 filters: thin entry points that pass a kernel of the
// constant table to one of the two convolution engines, which check and
// report under their own names.
#include "filter/kernel_table.hpp"
#include "frame/call.hpp"
#include "kelkit/filter.h"

namespace {

using namespace kel::filter;

int one(const Image *src, Image *dst, KernelEntry e, int mode) {
  return kel_convolve_3x3(src, dst, kernel_table[e], mode);
}

int two(const Image *src, Image *dst, KernelEntry e1, KernelEntry e2, int mode) {
  return kel_convolve_3x3sum(src, dst, kernel_table[e1], kernel_table[e2], mode);
}

}  // namespace

extern "C" {

KELKIT_API int kel_kirsch(const Image *src, Image *dst, int direction, int mode) {
  // Directions 0..7 are the compass kernels; 8 reaches the Laplace kernel
  // that follows them in the table.
  if (direction < 0 || direction > 8) return kel::fail("kel_kirsch", KEL_ERR_ARGUMENT);
  return one(src, dst, static_cast<KernelEntry>(kKirsch0 + direction), mode);
}

KELKIT_API int kel_laplace(const Image *src, Image *dst, int mode) {
  return one(src, dst, kLaplace, mode);
}
KELKIT_API int kel_prewittx(const Image *src, Image *dst, int mode) {
  return one(src, dst, kPrewittX, mode);
}
KELKIT_API int kel_prewitty(const Image *src, Image *dst, int mode) {
  return one(src, dst, kPrewittY, mode);
}
KELKIT_API int kel_sobelx(const Image *src, Image *dst, int mode) {
  return one(src, dst, kSobelX, mode);
}
KELKIT_API int kel_sobely(const Image *src, Image *dst, int mode) {
  return one(src, dst, kSobelY, mode);
}
KELKIT_API int kel_sharpen(const Image *src, Image *dst, int mode) {
  return one(src, dst, kSharpen, mode);
}
KELKIT_API int kel_sobelxy(const Image *src, Image *dst, int mode) {
  return two(src, dst, kSobelX, kSobelY, mode);
}
KELKIT_API int kel_prewittxy(const Image *src, Image *dst, int mode) {
  return two(src, dst, kPrewittX, kPrewittY, mode);
}

}  // extern "C"
