/*
 * kelkit/average.h - frame averaging for noise reduction.
 *
 * Create an accumulator of a given size, add any number of BYTE images to it,
 * and read the pixel-wise integer mean back as a BYTE image at any time. A
 * new average starts with a new accumulator.
 *
 * Limits of the tool, kept deliberately: the sums are unsigned 16-bit and wrap
 * around (more than 257 images of value 255 overflow them), and the mean is
 * divided by the low 16 bits of the image count only, so after 65536 images
 * the divisor is 0 and the result is all zeros.
 *
 * Images work on the common top-left area with the accumulator: width
 * min(acc->dx, img->dx), height min(acc->dy, img->dy). Images may be views.
 * One accumulator must not be updated from two threads at once.
 */
#ifndef KELKIT_AVERAGE_H
#define KELKIT_AVERAGE_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Accumulator record (read-only for callers).
 *   dx, dy  size, at least 1 each
 *   count   number of images accumulated so far; 0 at creation
 *   sums    dy rows of dx unsigned 16-bit sums, zero at creation
 */
typedef struct KelImgAvg {
  int dx;
  int dy;
  unsigned int count;
  unsigned short **sums;
} KelImgAvg;

/* Largest accumulator, in pixels (2 bytes of sums each): 2^28 pixels, 512 MiB. */
#define KEL_IMGAVG_MAX_PIXELS (1L << 28)

/* A new accumulator of dx by dy zero sums. Null, without a report, when dx or
 * dy is below 1, dx * dy exceeds KEL_IMGAVG_MAX_PIXELS (refused at once,
 * before any memory is asked for) or memory is short. */
KELKIT_API KelImgAvg *kel_imgavg_create(int dx, int dy);

/* Frees the accumulator. Returns 0, or 1 (not reported) for a null one. */
KELKIT_API int kel_imgavg_delete(KelImgAvg *acc);

/* Adds the common area of a BYTE image to the sums (each wrapping at 65536)
 * and counts the image, also when the common area is empty. Returns 0; 1 (not
 * reported) when `img` or `acc` is null; 13 when the image is not BYTE. */
KELKIT_API int kel_imgavg_accum(const Image *img, KelImgAvg *acc);

/* Writes the mean into the BYTE image `img`: with c the low 16 bits of the
 * count, each pixel of the common area becomes sum / c (integer division,
 * truncating), and pixels outside it keep their values. When c is 0 (nothing
 * accumulated yet, or a multiple of 65536 images) every pixel of the image is
 * set to 0. The accumulator is not changed. Returns 0; 1 (not reported) when
 * `acc` or `img` is null; 13 when the image is not BYTE. */
KELKIT_API int kel_imgavg_result(const KelImgAvg *acc, Image *img);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_AVERAGE_H */
