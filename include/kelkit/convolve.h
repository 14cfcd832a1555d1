/*
 * kelkit/convolve.h - neighbourhood filters of any size and pixel type:
 * convolution with caller kernels (full, separable and line kernels),
 * smoothing (mean, Gaussian, unsharp masking, running average) and gradient
 * operators with magnitude and direction images.
 *
 * Common rules of every operator here:
 *   - The operator works on the common top-left area of its images
 *     (w = the smaller dx, h = the smaller dy); images may be views, and
 *     nothing outside the destination's area is written.
 *   - Border: every output pixel is computed; a neighbour outside the area
 *     takes the value of the nearest pixel inside it (edge pixels are
 *     replicated, x and y clamped separately).
 *   - In place: the destination may be the source, or a view sharing its
 *     pixels; the operator then reads a copy of the source's area.
 *   - A kernel of k pixels along one axis has its anchor at index (k - 1) / 2
 *     (the centre of an odd kernel; for k = 2 the first pixel).
 *   - Output modes (KelFilterMode of kelkit/filter.h) say how a result r is
 *     stored: clamp to the pixel type's range (0..255, 0..65535), the
 *     absolute value limited to the maximum, or the low 8 or 16 bits (wrap).
 *     A FLOAT destination takes r itself (|r| in abs mode). Real results are
 *     rounded half away from zero before an integer pixel takes them.
 *   - Checks, in this order, each reported through im_error under the
 *     operator's own name: 1 a null image; 10 a null weight array; 8 an
 *     unknown operation selector; 6 a pixel type the operator does not take,
 *     13 images whose types do not match as the operator requires; 10 a
 *     kernel size or parameter out of range; 7 ("Area too small!") an area
 *     smaller than the kernel (or empty); 4 memory could not be obtained.
 */
#ifndef KELKIT_CONVOLVE_H
#define KELKIT_CONVOLVE_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Largest side of a mean filter, and largest Gaussian sigma. */
#define KEL_BOX_MAX 255
#define KEL_SIGMA_MAX 30.0

/*
 * Convolution with a kernel of kx by ky integer weights (raster order, odd
 * sizes 1..11 each, so 1 x N and N x 1 line kernels up to 11 taps too) on
 * BYTE or WORD images of one type. The weighted sum is exact (64-bit), then
 * shifted right arithmetically by `shift` (rounding toward minus infinity;
 * negative counts as 0, above 31 as 31) and stored by `mode`.
 * Returns 0, 1, 10 (null weights, bad size), 13 (types differ), 6 (FLOAT),
 * 7 or 4.
 */
KELKIT_API int kel_convolve(const Image *src, Image *dst, const int *weights, int kx, int ky,
                            int shift, int mode);

/*
 * Convolution with kx by ky float weights (odd sizes 1..11) on any pixel
 * type. The destination has the source's type, or is FLOAT (then the
 * unrounded sums are stored, from a BYTE or WORD source too). Sums are formed
 * in float. Returns 0, 1, 10, 6, 13, 7 or 4.
 */
KELKIT_API int kel_convolve2(const Image *src, Image *dst, const float *weights, int kx, int ky,
                             int mode);

/*
 * Separable convolution: the row kernel (nrow taps across) and then the
 * column kernel (ncol taps down), odd lengths 1..31 each; the result equals
 * the full convolution with the outer product of the two. Integer form on
 * BYTE or WORD with one shift after both passes; float form on every type
 * with the destination rules of kel_convolve2. Returns as kel_convolve and
 * kel_convolve2 (10 also when either weight array is null).
 */
KELKIT_API int kel_convolve_sep(const Image *src, Image *dst, const int *row_weights, int nrow,
                                const int *col_weights, int ncol, int shift, int mode);
KELKIT_API int kel_convolve_sep2(const Image *src, Image *dst, const float *row_weights, int nrow,
                                 const float *col_weights, int ncol, int mode);

/*
 * Line kernels of n taps (odd, 1..31): across each row (vertical = 0) or
 * down each column (vertical != 0). Integer and float forms as above.
 */
KELKIT_API int kel_convolve_line(const Image *src, Image *dst, const int *weights, int n,
                                 int vertical, int shift, int mode);
KELKIT_API int kel_convolve_line2(const Image *src, Image *dst, const float *weights, int n,
                                  int vertical, int mode);

/*
 * Mean (box) filter: each pixel becomes the mean of the kx by ky window
 * around it (sides 1..KEL_BOX_MAX; an even side has its extra pixel after
 * the anchor). BYTE and WORD means are exact and rounded half up; FLOAT
 * means come from double sums. The cost per pixel does not depend on the
 * window. Any pixel type, source and destination of one type.
 * Returns 0, 1, 13, 6, 10, 7 or 4.
 */
KELKIT_API int kel_box_filter2(const Image *src, Image *dst, int kx, int ky);

/*
 * Gaussian smoothing with standard deviation `sigma` (0 < sigma <=
 * KEL_SIGMA_MAX): a separable pair of 2r + 1 normalised float taps,
 * r = max(1, ceil(3 sigma)). On BYTE the result lies within one grey level
 * of the exact Gaussian. Any pixel type, one type for both images. The area
 * only needs one pixel. Returns 0, 1, 13, 6, 10, 7 or 4.
 */
KELKIT_API int kel_gauss2(const Image *src, Image *dst, double sigma);

/*
 * Unsharp masking: with b the Gaussian of `sigma` and d = src - b, each
 * pixel becomes src + amount * d where |d| > threshold, and stays src
 * elsewhere (rounded and clamped to the pixel type). `amount` must be
 * finite and `threshold` at least 0 (else 10). Any pixel type, one type for
 * both images. Returns as kel_gauss2.
 */
KELKIT_API int kel_unsharp2(const Image *src, Image *dst, double sigma, double amount,
                            double threshold);

/*
 * Recursive (exponential) average of a running image sequence: for each
 * pixel of the common area, average += weight * (frame - average). Call it
 * once per frame; start from a copy of the first frame. The average has the
 * frame's type (rounded and clamped) or is FLOAT. A weight outside 0..1 is
 * limited to it (NaN counts as 0) with a code 10 warning (im_warn,
 * "Weight limited to 0..1") and the operator goes on.
 * Returns 0, 1, 6, 13, 17 (empty area) or 4.
 */
KELKIT_API int kel_running_average2(const Image *frame, Image *average, double weight);

/*
 * Gradient operators (`op` of kel_gradient2). Every x gradient is right minus
 * left and every y gradient bottom minus top (the BYTE 3x3 kel_prewittx and
 * kel_prewitty of kelkit/filter.h keep their own opposite signs).
 */
enum KelGradient {
  KEL_GRAD_SOBEL_X = 0,   /* -1 0 1 / -2 0 2 / -1 0 1 */
  KEL_GRAD_SOBEL_Y = 1,   /* -1 -2 -1 / 0 0 0 / 1 2 1 */
  KEL_GRAD_PREWITT_X = 2, /* -1 0 1 / -1 0 1 / -1 0 1 */
  KEL_GRAD_PREWITT_Y = 3, /* -1 -1 -1 / 0 0 0 / 1 1 1 */
  KEL_GRAD_ROBERTS_A = 4, /* p(x, y) - p(x + 1, y + 1) */
  KEL_GRAD_ROBERTS_B = 5, /* p(x + 1, y) - p(x, y + 1) */
  KEL_GRAD_LAPLACE_4 = 6, /* 0 1 0 / 1 -4 1 / 0 1 0 */
  KEL_GRAD_LAPLACE_8 = 7, /* 1 1 1 / 1 -8 1 / 1 1 1 */
  KEL_GRAD_DIFF_X = 8,    /* p(x + 1, y) - p(x, y) */
  KEL_GRAD_DIFF_Y = 9,    /* p(x, y + 1) - p(x, y) */
  KEL_GRAD_DIFF2_X = 10,  /* p(x - 1, y) - 2 p(x, y) + p(x + 1, y) */
  KEL_GRAD_DIFF2_Y = 11,  /* p(x, y - 1) - 2 p(x, y) + p(x, y + 1) */
  KEL_GRAD_KIRSCH_0 = 12, /* Kirsch compass kernels 0..7 of kel_kirsch */
  KEL_GRAD_KIRSCH_7 = 19,
  KEL_GRAD_KIRSCH_MAX = 20 /* the largest of the eight Kirsch responses */
};

/*
 * Applies gradient operator `op` (KelGradient) to any pixel type. The
 * destination has the source's type or is FLOAT; the response is stored by
 * `mode` (a FLOAT destination keeps its sign unless mode is abs). BYTE and
 * WORD responses are exact integers. Returns 0, 1, 8 (unknown op), 6, 13, 7
 * or 4.
 */
KELKIT_API int kel_gradient2(const Image *src, Image *dst, int op, int mode);

/*
 * Gradient magnitude sqrt(gx^2 + gy^2) and direction of a pair of
 * operators: `op` names either member of the Sobel, Prewitt, Roberts
 * (gx = a, gy = b) or first-difference pair (then both differences are
 * taken at the top-left pixel of a 2 x 2 window); any other op gives 8.
 * `magnitude` (the source's type or FLOAT, rounded and clamped) or
 * `direction` may be null, not both (1). The direction is the angle of
 * (gx, -gy), counter-clockwise from the x axis with y pointing up, in
 * 0 <= deg < 360 (0 where the gradient is 0), stored as degrees in a FLOAT
 * image, as round(deg * 256 / 360) mod 256 in BYTE and as round(deg * 100)
 * mod 36000 in WORD. Returns 0, 1, 8, 6, 13, 7 or 4.
 */
KELKIT_API int kel_gradient_polar2(const Image *src, Image *magnitude, Image *direction, int op);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_CONVOLVE_H */
