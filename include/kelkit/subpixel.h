/*
 * kelkit/subpixel.h - shifting an image by a fraction of a pixel, and
 * measuring the sub-pixel shift between two images by phase correlation.
 *
 * Failures are reported through im_error under the function's name: 1 null
 * image, 10 null output or bad argument (the message names it), 13 images of
 * different pixel types, 5 images of different sizes, 6 an unsupported pixel
 * type, 8 an unknown method ("Unknown operation"), 17 an empty image, 4 out
 * of memory.
 */
#ifndef KELKIT_SUBPIXEL_H
#define KELKIT_SUBPIXEL_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Interpolation of kel_subpixel_shift. */
#define KEL_SUBPIXEL_BILINEAR 0
#define KEL_SUBPIXEL_BICUBIC 1 /* cubic convolution, a = -0.5 (4 x 4 taps) */
#define KEL_SUBPIXEL_FFT 2     /* exact band-limited shift; sizes powers of two */

/* dst(x, y) = src(x - dx, y - dy): the content moves by (+dx, +dy).
 * Bilinear and bicubic read positions outside the image from the nearest
 * edge pixel (edge replicated). The FFT method multiplies the spectrum by
 * the phase ramp exp(-2 pi i u dx / W) exp(-2 pi i v dy / H) (u, v the
 * signed frequencies; at an axis's Nyquist frequency its factor by its real
 * part) and treats the image as
 * periodic; width and height must be powers of two (10 otherwise), up to
 * 8192. src and dst: same pixel type (13) and size (5), BYTE, WORD or
 * FLOAT; dst may be src. Integer results are rounded half up and clamped to
 * the type's range. |dx| and |dy| at most 1e6 and finite (10). */
KELKIT_API int kel_subpixel_shift(const Image *src, Image *dst, double dx, double dy, int method);

/* Window of kel_subpixel_phase_correlate. */
#define KEL_WINDOW_NONE 0 /* for periodic content */
#define KEL_WINDOW_HANN 1 /* for ordinary images: suppresses the border */

/* The shift (dx, dy) with moved(x, y) ~ ref(x - dx, y - dy), by phase
 * correlation: the normalised cross-power spectrum is transformed back and
 * its peak refined to sub-pixel precision from the peak and its larger
 * neighbour on each axis (exact for a pure band-limited shift). Results lie
 * in [-W/2, W/2) and [-H/2, H/2). *response (may be null) receives the peak
 * height, 1 for a perfect match and near 0 for unrelated images. Sizes
 * powers of two, 2 to 8192 (10), equal (5); BYTE, WORD or FLOAT, both of one
 * type (13). */
KELKIT_API int kel_subpixel_phase_correlate(const Image *ref, const Image *moved, int window,
                                            double *dx, double *dy, double *response);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_SUBPIXEL_H */
