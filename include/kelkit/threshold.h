/*
 * kelkit/threshold.h - value mapping of BYTE images through a 256-entry
 * table, the threshold family built on it, and binarisation and thresholds
 * of any pixel type.
 *
 * Every operator here works in place on the full dx by dy of its image or
 * view (writing through a view writes its master, and only the view's
 * rectangle), returns a status code and reports a failure through im_error
 * under its own exported name (kel_threshold_up reports as
 * "kel_trhesold_up"). Checks come in this order: a null image (1), the pixel
 * type (13, or 6 for kel_binary and the general-type thresholds), then an
 * empty image (17); every check precedes the first write, so a failing call
 * leaves the image as it was.
 *
 * The BYTE threshold operators build a 256-entry table for the call and apply
 * it exactly as kel_lut does.
 */
#ifndef KELKIT_THRESHOLD_H
#define KELKIT_THRESHOLD_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Maps every pixel p of a BYTE image to table[p].
 * Returns 0; 1 null image; 10 null table; 13 not BYTE; 17 empty image. */
KELKIT_API int kel_lut(Image *img, const unsigned char table[256]);

/* Two-level threshold of a BYTE image: p < t becomes `low`, p >= t becomes
 * `high` (t = 0 makes every pixel `high`).
 * Processor switch: while kel_use_mmx() is 1, the pairs (low, high) = (0, 255)
 * and (255, 0) return 0 at once and leave the image as it was; other pairs
 * compute. Call kel_set_use_mmx(0) to always compute.
 * Returns 0; 1 null image; 13 not BYTE (also while the switch is on); 17
 * empty image. */
KELKIT_API int kel_threshold(Image *img, unsigned char t, unsigned char low, unsigned char high);

/* p >= t becomes `value`; p < t is kept. BYTE only.
 * Failures are reported under the name "kel_trhesold_up".
 * Returns 0; 1 null image; 13 not BYTE; 17 empty image. */
KELKIT_API int kel_threshold_up(Image *img, unsigned char t, unsigned char value);

/* p < t becomes `value`; p >= t is kept. BYTE only.
 * Returns 0; 1 null image; 13 not BYTE; 17 empty image. */
KELKIT_API int kel_threshold_down(Image *img, unsigned char t, unsigned char value);

/* Three-class threshold of a BYTE image with both bounds in the outer
 * classes. When hi > lo: p <= lo becomes `below`, lo < p < hi becomes
 * `inside` and p >= hi becomes `above` (hi = lo + 1 leaves the inside class
 * empty). When hi <= lo the bounds are unusable and every pixel becomes 0.
 * Returns 0; 1 null image; 13 not BYTE; 17 empty image. */
KELKIT_API int kel_threshold_band(Image *img, unsigned char lo, unsigned char hi,
                                  unsigned char below, unsigned char inside, unsigned char above);

/* Binarises a BYTE image so that (at least) its `count` brightest pixels
 * become 255: the threshold t is the largest value from 255 down to 1 at
 * which the number of pixels >= t reaches `count`, or 0 when none does (then
 * every pixel becomes 255). Pixels below t become 0, the others 255. Ties at
 * t all become 255, so more than `count` pixels may be set; count 0 keeps
 * only the pixels of value 255.
 * Returns 0; 1 null image; 13 not BYTE; 17 empty image. */
KELKIT_API int kel_dynthreshold(Image *img, unsigned int count);

/* Binarises a BYTE, WORD or FLOAT image in place: p > t becomes 1, any other
 * pixel 0 (1.0 and 0.0 for FLOAT). For BYTE the threshold is first clamped to
 * 0..255 and for WORD to 0..65535, then truncated toward zero (so 300.0 on
 * BYTE sets every pixel to 0 and -5.0 turns every non-zero pixel into 1). A
 * NaN threshold sets every pixel to 0; a NaN FLOAT pixel becomes 0.0.
 * Returns 0; 1 null image; 6 other pixel type; 17 empty image. */
KELKIT_API int kel_binary(Image *img, float t);

/* ---- any pixel type ----------------------------------------------------
 *
 * kel_threshold2 and kel_threshold_band2 take BYTE, WORD and FLOAT images
 * (6 otherwise) and work in place. The bounds are compared with the pixel
 * values exactly as given (a WORD pixel 10 is below 10.5); the class values
 * are converted to the image's type as kel_constant2 does: truncated toward
 * zero and clamped for BYTE and WORD, NaN storing 0. A NaN pixel belongs to
 * the lowest class. Neither takes the processor switch. On BYTE images with
 * whole-number bounds and values they give exactly what kel_threshold and
 * kel_threshold_band give with the switch off.
 * Checks: null image (1), pixel type (6), empty image (17). */

/* p >= t becomes `high`, every other pixel (p < t, NaN) becomes `low`. */
KELKIT_API int kel_threshold2(Image *img, float t, float low, float high);

/* When hi > lo: p <= lo becomes `below`, lo < p < hi becomes `inside`, p >= hi
 * becomes `above`, and a NaN pixel becomes `below`. When hi <= lo (or either
 * bound is NaN) the bounds are unusable and every pixel becomes 0, as in
 * kel_threshold_band. */
KELKIT_API int kel_threshold_band2(Image *img, float lo, float hi, float below, float inside,
                                   float above);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_THRESHOLD_H */
