/*
 * kelkit/arith.h - pixel-by-pixel arithmetic and logic: two images combined
 * into one, an image combined with a constant, and one-image transforms.
 *
 * Common rules:
 *   - Argument order: the first image is a source and the last image argument
 *     is the destination. In the two-image operators the destination is also
 *     the second operand: kel_add(a, b) leaves a + b in b, kel_subtract(a, b)
 *     leaves a - b in b. The constant operators work on one image in place.
 *   - Area: the operators read and write only the common top-left area of
 *     their images (the smallest dx and the smallest dy, anchored at (0, 0) of
 *     each). Pixels of a larger image outside it are neither read nor written.
 *     Views work everywhere: rows are addressed with the pitch dx + skip.
 *   - In place: each output pixel depends only on the input pixels at the same
 *     position, so the destination may be the same Image as a source. (Two
 *     different views that overlap with a shift are not supported.)
 *   - BYTE results saturate to 0..255 and WORD results to 0..65535. A value
 *     computed in floating point is truncated toward zero before it is
 *     clamped; NaN stores 0. FLOAT results are plain single-precision
 *     arithmetic with no clamping (infinities and NaN stay as they are).
 *   - Failures: every check comes before the first write, so a failing call
 *     leaves every image untouched. Each failure is reported through
 *     im_error under the operator's name (exceptions named below) and its code
 *     is returned; success returns 0.
 *
 * Processor switch (see kelkit/frame.h): while kel_use_mmx() is 1, kel_add,
 * kel_and, kel_or and kel_xor on BYTE images with a common width above 24,
 * and kel_invert on BYTE images wider than 7, return 0 at once and leave the
 * destination as it was. Call kel_set_use_mmx(0) to always compute.
 */
#ifndef KELKIT_ARITH_H
#define KELKIT_ARITH_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- two BYTE images --------------------------------------------------- */

/* b = min(255, a + b). Checks in order: null image (1), empty common area
 * (17), either image not BYTE (13). Processor switch: a common width above
 * 24 returns 0 with b unchanged. */
KELKIT_API int kel_add(const Image *a, Image *b);

/* average != 0: b = (a + b) >> 1 (the mean, rounded down); average == 0:
 * b = min(255, a + b), without the processor switch. Checks: null (1), empty
 * common area (17), not BYTE (13). */
KELKIT_API int kel_add_byte(const Image *a, Image *b, int average);

/* Three-image difference of BYTE images into c over the common area of all
 * three: mode 1: c = |a - b|; any other mode: c = max(0, a - b). c may be a
 * or b. When a and b are the same Image, every pixel of c (its whole dx by
 * dy, as kel_constant(c, 0)) is set to 0. Checks: null (1), not all BYTE
 * (13), then, unless a is b, empty common area (17). */
KELKIT_API int kel_sub(const Image *a, const Image *b, Image *c, int mode);

/* b = max(a, b) / b = min(a, b). Checks: null (1), empty common area (17),
 * not both BYTE (13). */
KELKIT_API int kel_max2imgs(const Image *a, Image *b);
KELKIT_API int kel_min2imgs(const Image *a, Image *b);

/* ---- two images of any pixel types -------------------------------------
 *
 * In these operators a and b may have different pixel types; the
 * destination's type governs. The operation is done exactly in 64-bit
 * integers when both images are BYTE or WORD, and in single precision when
 * either is FLOAT (a BYTE or WORD pixel converted exactly to float),
 * then stored into b by the common rules: an integer destination clamps at 0
 * and at its maximum, a FLOAT destination takes the plain result. A source
 * type other than BYTE, WORD or FLOAT is reported as 6 as well. */

/* b = a - b. Checks: null (1), destination type (6), source type (6). An
 * empty common area returns 0 with nothing done. */
KELKIT_API int kel_subtract(const Image *a, Image *b);

/* b = a * b, clamped for an integer destination (BYTE 200 * BYTE 2 = 255).
 * Checks and empty area as kel_subtract. */
KELKIT_API int kel_multiply(const Image *a, Image *b);

/* b = a / b, truncated toward zero for an integer destination. A zero divisor
 * pixel stores, in an integer destination, the type's maximum (255 or 65535)
 * where a > 0 and 0 where a is 0 (or negative, or NaN), that is the clamped
 * value of the IEEE quotient; a FLOAT destination holds the IEEE result
 * (+inf, -inf or NaN). Checks and empty area as kel_subtract. */
KELKIT_API int kel_divide(const Image *a, Image *b);

/* b = |a - b|. Checks: null (1), destination type (6), source type (6),
 * empty common area (17). */
KELKIT_API int kel_subtract_absolute(const Image *a, Image *b);

/* Weighted accumulation: b = a * weight + b, computed in single precision
 * for every type pair and stored into b by the common rules (so
 * kel_add2(a, b, 1.0f) on BYTE images equals kel_add, and a negative weight
 * subtracts a scaled image). Checks: null (1), destination type (6), source
 * type (6), empty common area (17). */
KELKIT_API int kel_add2(const Image *a, Image *b, float weight);

/* Copies the common area of a into b: the image services' im_copy. Checks:
 * null (1), differing pixel types (13); then im_copy's status is returned. */
KELKIT_API int kel_copy(const Image *a, Image *b);

/* ---- logic on two images ------------------------------------------------
 *
 * b = a AND b, a OR b, a XOR b, on BYTE or WORD images of one type.
 *   - a and b the same Image: returns 0 at once and changes nothing (kel_xor
 *     too: it does not clear the image).
 *   - Null image: 1 under the operator's name, except kel_xor, which reports
 *     a null image under "kel_xor2".
 *   - Differing pixel types: 5 under "kel_and2", "kel_or2" or "kel_xor2"
 *     (the second form, which also does the WORD work).
 *   - Both of another type: 6. Empty common area: 17 (under the second form's
 *     name for WORD images).
 *   - Processor switch: BYTE images with a common width above 24 return 0
 *     with b unchanged. */
KELKIT_API int kel_and(const Image *a, Image *b);
KELKIT_API int kel_or(const Image *a, Image *b);
KELKIT_API int kel_xor(const Image *a, Image *b);

/* ---- one image and a constant -------------------------------------------
 *
 * In place on a BYTE, WORD or FLOAT image, over its full dx by dy. Checks:
 * null (1), pixel type (6), then empty image (17). FLOAT images get the
 * plain single-precision result. */

/* p + c and p - c. For BYTE and WORD images the constant is first truncated
 * toward zero (so 0.7 and -0.5 change nothing), then the integer result is
 * clamped: kel_add_const(BYTE, 300) makes every pixel 255. */
KELKIT_API int kel_add_const(Image *img, float c);
KELKIT_API int kel_subtract_const(Image *img, float c);

/* p * c, p / c, p * c + d and (p + c) * d. For BYTE and WORD images the
 * result is computed in single precision exactly as for a FLOAT image, then
 * truncated toward zero and clamped (BYTE 10 * 0.5 = 5, 3 * 0.5 = 1,
 * 100 * -1 = 0). kel_divide_const with c = 0 fails with 10 ("Divisor = 0!")
 * after the type check and before the empty-image check. */
KELKIT_API int kel_multiply_const(Image *img, float c);
KELKIT_API int kel_divide_const(Image *img, float c);
KELKIT_API int kel_muladd_const(Image *img, float c, float d);
KELKIT_API int kel_addmul_const(Image *img, float c, float d);

/* p AND c, p OR c, p XOR c, on BYTE or WORD images (6 otherwise); a BYTE
 * image uses the low 8 bits of c. */
KELKIT_API int kel_and_const(Image *img, unsigned short c);
KELKIT_API int kel_or_const(Image *img, unsigned short c);
KELKIT_API int kel_xor_const(Image *img, unsigned short c);

/* Every pixel of a BYTE image set to `value`. Not BYTE: 13. */
KELKIT_API int kel_constant(Image *img, unsigned char value);

/* Every pixel set to `value` converted to the image's type (truncated toward
 * zero and clamped for BYTE and WORD; NaN stores 0). */
KELKIT_API int kel_constant2(Image *img, float value);

/* ---- one-image transforms (in place, full dx by dy) ---------------------- */

/* Bitwise NOT of a BYTE or WORD image (6 otherwise). */
KELKIT_API int kel_not(Image *img);

/* 65535 - p for a WORD image; 255 - p for a BYTE image. Any pixel type other
 * than WORD is treated as BYTE: the first dx bytes of each row are inverted.
 * Checks: null (1), empty image (17). Processor switch: on the BYTE path an
 * image wider than 7 returns 0 with nothing changed. */
KELKIT_API int kel_invert(Image *img);

/* -p of a FLOAT image. Other types: 12 ("Try kel_invert"). */
KELKIT_API int kel_negate(Image *img);

/* |p|. BYTE and WORD pixels are already non-negative and stay as they are;
 * FLOAT takes the absolute value (-0.0 becomes 0.0). Other types: 6. */
KELKIT_API int kel_absolute(Image *img);

/* exp(p), ln(p), ln(p + 1), log10(p), log10(p + 1), p * p and sqrt(p) of a
 * FLOAT image, computed in double and stored as float (so ln(0) = -inf and
 * sqrt(-1) = NaN). Other types: 12. */
KELKIT_API int kel_exp(Image *img);
KELKIT_API int kel_ln(Image *img);
KELKIT_API int kel_ln_add1(Image *img);
KELKIT_API int kel_log10(Image *img);
KELKIT_API int kel_log10_add1(Image *img);
KELKIT_API int kel_square(Image *img);
KELKIT_API int kel_sqrt(Image *img);

/* ---- linear stretch ------------------------------------------------------ */

/* Stretches a BYTE image so that its minimum m becomes `low` and its maximum
 * M becomes `high` (swapped first when low > high): each pixel p becomes
 * low + (p - m) * (high - low) / (M - m), truncated toward zero and computed
 * exactly, so m maps to low and M to high. A flat image (M = m) is left as it
 * is. Checks: null (1), not BYTE (13), empty image (17). */
KELKIT_API int kel_scale(Image *img, unsigned char low, unsigned char high);

/* Stretches the range [min, max] of a BYTE, WORD or FLOAT image onto
 * low..high: with f = (high - low) / (max - min), the image becomes
 * kel_muladd_const(img, f, low - min * f) (single precision; an integer image
 * is truncated and clamped, so its maximum may land one level below high when
 * f is not exact). low greater than high stretches inverted. A flat image
 * (max = min) is set to low as by kel_constant2. Checks: null (1), pixel type
 * (6), empty image (17). */
KELKIT_API int kel_scale2(Image *img, float low, float high);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_ARITH_H */
