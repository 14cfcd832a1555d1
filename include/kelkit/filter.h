/*
 * kelkit/filter.h - neighbourhood filters: integer 3x3 convolution, the named
 * edge and sharpening kernels built on it, and 3x3 grey erosion and dilation.
 * The filters of any size and pixel type are in kelkit/convolve.h
 * (convolution, smoothing, gradients), kelkit/rank.h (rank and median) and
 * kelkit/morphology.h (grey and binary morphology).
 *
 * Common rules of every operator here:
 *   - Source and destination are BYTE images or views of any sizes; the
 *     operator works on their common top-left area, w = the smaller dx and
 *     h = the smaller dy. Pixels outside that area are neither read nor
 *     written, so a larger source or destination is fine.
 *   - The source and the destination must be different records (code 106)
 *     and must not share pixels: two overlapping views of one master give
 *     unspecified results (nothing outside the destination's area is ever
 *     written). To filter in place, filter into a temporary and copy back.
 *   - Border: rows 1 .. h - 2 and columns 1 .. w - 2 are computed from their
 *     full 3x3 neighbourhood. Column 0 and column w - 1 of each computed row
 *     then repeat columns 1 and w - 2, and finally row 0 repeats row 1 and
 *     row h - 1 repeats row h - 2, so every border pixel (corners included)
 *     repeats its nearest computed pixel.
 *   - Checks, in this order, each reported through im_error under the
 *     operator's (or engine's) own name with no message, before any pixel is
 *     written: 1 a null image; 106 source and destination are the same
 *     record; 13 an image that is not BYTE; 17 a common area narrower or
 *     lower than 3 pixels. No memory is allocated.
 */
#ifndef KELKIT_FILTER_H
#define KELKIT_FILTER_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * A 3x3 integer kernel: k0 k1 k2 weigh the row above the centre (left to
 * right), k3 k4 k5 the centre row (k4 the centre pixel), k6 k7 k8 the row
 * below. The weighted sum is formed in signed 32-bit arithmetic (it wraps
 * around for huge weights) and then shifted right arithmetically by `shift`,
 * which rounds toward minus infinity (-3 >> 1 = -2). A negative shift counts
 * as 0; a shift above 31 acts as 31 (the result is then 0 or -1).
 */
typedef struct KelKernel3x3 {
  int k0, k1, k2;
  int k3, k4, k5;
  int k6, k7, k8;
  int shift;
} KelKernel3x3;

/*
 * Output modes (the `mode` argument of every convolution): how a result r is
 * stored in a BYTE pixel.
 *   KEL_MODE_ABS   (1)  |r| limited to 255
 *   KEL_MODE_WRAP  (2)  the low 8 bits of r, unlimited (negative and large
 *                       results wrap around)
 *   KEL_MODE_CLAMP (0)  r limited to 0..255; any value other than 1 and 2
 *                       selects this mode too
 */
enum KelFilterMode { KEL_MODE_CLAMP = 0, KEL_MODE_ABS = 1, KEL_MODE_WRAP = 2 };

/*
 * Convolves the BYTE source with `kernel` into the BYTE destination (see the
 * common rules above for the area, borders and checks; reports are made under
 * "kel_convolve_3x3"). Each computed pixel is the shifted weighted sum of its
 * 3x3 neighbourhood, stored by `mode`.
 *
 * Processor switch: while kel_use_mmx() is 1, this operator (and every named
 * kernel below that uses it) returns 0 after its checks without computing
 * and leaves the destination as it was. Call kel_set_use_mmx(0) first to
 * compute.
 *
 * Returns 0, 1, 106, 13 or 17.
 */
KELKIT_API int kel_convolve_3x3(const Image *src, Image *dst, KelKernel3x3 kernel, int mode);

/*
 * Applies two kernels to the same neighbourhood and combines their shifted
 * results r1 and r2: mode 1 stores |r1| + |r2| limited to 255, mode 2 the
 * low 8 bits of r1 + r2, any other mode r1 + r2 limited to 0..255 (the
 * combination itself never overflows). Area, borders and checks as above,
 * reported under "kel_convolve_3x3sum". This operator has no
 * processor-switch branch: it always computes.
 *
 * Returns 0, 1, 106, 13 or 17.
 */
KELKIT_API int kel_convolve_3x3sum(const Image *src, Image *dst, KelKernel3x3 kernel1,
                                   KelKernel3x3 kernel2, int mode);

/*
 * Named kernels: each passes a constant kernel (shift 0) to
 * kel_convolve_3x3, whose reports, codes and processor-switch branch they
 * share (a failure of kel_sobelx is reported as "kel_convolve_3x3").
 *
 *   kel_kirsch     compass kernel `direction` 0..7, each 5 5 5 over three
 *                  -3 rows turned by 45 degrees per step (0: bright above,
 *                  2: bright left, 4: bright below, 6: bright right);
 *                  direction 8 is the Laplace kernel. Any other direction
 *                  returns 10, reported under "kel_kirsch" with no message,
 *                  and writes nothing.
 *   kel_laplace    0 1 0 / 1 -4 1 / 0 1 0
 *   kel_prewittx   1 0 -1 / 1 0 -1 / 1 0 -1      (left minus right)
 *   kel_prewitty   1 1 1 / 0 0 0 / -1 -1 -1      (top minus bottom)
 *   kel_sobelx     -1 0 1 / -2 0 2 / -1 0 1      (right minus left)
 *   kel_sobely     -1 -2 -1 / 0 0 0 / 1 2 1      (bottom minus top)
 *   kel_sharpen    0 -1 0 / -1 5 -1 / 0 -1 0
 *
 * Note the opposite signs of the Prewitt and Sobel pairs; in mode 1 (absolute
 * value) they give the same magnitudes.
 */
KELKIT_API int kel_kirsch(const Image *src, Image *dst, int direction, int mode);
KELKIT_API int kel_laplace(const Image *src, Image *dst, int mode);
KELKIT_API int kel_prewittx(const Image *src, Image *dst, int mode);
KELKIT_API int kel_prewitty(const Image *src, Image *dst, int mode);
KELKIT_API int kel_sobelx(const Image *src, Image *dst, int mode);
KELKIT_API int kel_sobely(const Image *src, Image *dst, int mode);
KELKIT_API int kel_sharpen(const Image *src, Image *dst, int mode);

/*
 * Gradient pairs through kel_convolve_3x3sum (so they compute whatever the
 * processor switch says, and report under "kel_convolve_3x3sum"):
 * kel_sobelxy combines Sobel x and Sobel y, kel_prewittxy Prewitt x and
 * Prewitt y. Mode 1 gives the gradient magnitude |gx| + |gy| limited to 255.
 */
KELKIT_API int kel_sobelxy(const Image *src, Image *dst, int mode);
KELKIT_API int kel_prewittxy(const Image *src, Image *dst, int mode);

/*
 * 3x3 grey erosion (kel_erode: each computed pixel becomes the minimum of its
 * 3x3 neighbourhood) and dilation (kel_dilate: the maximum), BYTE only. Area,
 * borders and checks follow the common rules above, reported under
 * "kel_erode" or "kel_dilate"; the type is checked before the size. The
 * destination's row 0 serves as the working row while the operator runs and
 * is overwritten with row 1 at the end. A uniform image comes back unchanged.
 *
 * Processor switch: while kel_use_mmx() is 1 and the common width is above
 * 8, these return 0 after their checks without computing and leave the
 * destination as it was; narrower images are always computed.
 *
 * Returns 0, 1, 106, 13 or 17.
 */
KELKIT_API int kel_erode(const Image *src, Image *dst);
KELKIT_API int kel_dilate(const Image *src, Image *dst);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_FILTER_H */
