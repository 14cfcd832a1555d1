/*
 * kelkit/convert.h - conversion between pixel types: in-place conversion to
 * FLOAT, conversion into a BYTE or WORD destination, splitting a WORD image
 * into its bytes and joining them again, colour planes (packing, unpacking,
 * hue/intensity/saturation), and value mapping: clipping, bit shifts, gain
 * and offset, normalisation.
 *
 * Every operator returns a status code and reports a failure through
 * im_error under its own exported name. Every check precedes the first
 * write, so a failing call leaves its images as they were. Operators on
 * several images work on their common top-left area unless stated otherwise:
 * pixels of a larger image outside it are neither read nor written. Rows are
 * addressed through the pitch dx + skip, so any image may be a view.
 *
 * Rounding of computed values: kel_byte, kel_word, kel_his_to_rgb,
 * kel_rgb_to_his (BYTE planes), kel_gain_offset and kel_normalize store a
 * computed value into a BYTE or WORD pixel rounded to the nearest integer,
 * halves away from zero (2.5 -> 3), then clamped to 0..255 or 0..65535; NaN
 * stores 0. A FLOAT pixel takes the value rounded to single precision.
 *
 * In place: where a source and the destination may be the same Image, each
 * output pixel depends only on the source pixels at the same position. Two
 * different views that overlap with a shift are not supported as source and
 * destination.
 */
#ifndef KELKIT_CONVERT_H
#define KELKIT_CONVERT_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Converts a BYTE or WORD image to FLOAT in place, replacing its pixel
 * memory: BYTE levels become 0.0 to 255.0 and WORD values are converted
 * exactly. A FLOAT image returns 0 at once.
 *
 * Master image: the new memory (from malloc, rows packed) replaces the old,
 * which is freed; `type` becomes FLOAT and every view of the master (the
 * records along its `next` chain) follows: FLOAT type, `data` at its own
 * offset in the new memory, and `rows` rebuilt. Pointers obtained earlier
 * into the old pixels (data, rows) are no longer valid.
 * View: the view becomes a master of its own over new, packed FLOAT memory
 * (x0 = y0 = 0, skip 0, no master, owning its memory) and leaves its former
 * master's chain of views; the former master and its pixels are unchanged.
 * No other thread may use the image or its views during the call.
 *
 * Returns 0; 1 null image; 25 a master that does not own its pixel memory
 * (laid over external memory); 4 out of memory; 6 a pixel type other than
 * BYTE, WORD and FLOAT. */
KELKIT_API int kel_float(Image *img);

/* Splits a WORD image into its low bytes (w AND 255, into `low`) and high
 * bytes (w >> 8, into `high`) over the common area of the given images.
 * Either output may be null; with both null nothing is done and 0 returned.
 * Returns 0; 1 null input; 6 input not WORD ("Input must be WORD") or a given
 * output not BYTE ("Output must be BYTE"); 17 empty common area. */
KELKIT_API int kel_word_to_bytes(const Image *word, Image *low, Image *high);

/* Joins two BYTE images into a WORD image: out = (high << 8) OR low, over the
 * common area of the given images. Either input may be null: without `high`
 * the output is `low`, without `low` it is high << 8.
 * Returns 0; 1 null output or both inputs null; 6 output not WORD ("Output
 * must be WORD") or a given input not BYTE ("Input must be BYTE"); 17 empty
 * common area. */
KELKIT_API int kel_bytes_to_word(const Image *low, const Image *high, Image *out);

/* FLOAT images only, in place: every pixel below 0.0 (kel_clip_negative) or
 * above 0.0 (kel_clip_positive) becomes `value`. -0.0, +0.0 and NaN pixels
 * are left unchanged.
 * Returns 0; 1 null image; 12 not FLOAT; 17 empty image. */
KELKIT_API int kel_clip_negative(Image *img, float value);
KELKIT_API int kel_clip_positive(Image *img, float value);

/* Packs three BYTE colour planes into one FLOAT image: each output pixel
 * holds the 24-bit colour (r << 16) | (g << 8) | b as a float, which is exact
 * (0.0 to 16777215.0); read it back as (unsigned)value. The three inputs must
 * have one size; the output must be at least as wide and as high and
 * receives them in its top-left area (the rest is left as it was).
 * Returns 0; 1 any image null; 6 an input not BYTE or the output not FLOAT;
 * 5 inputs of differing sizes ("Input Images must be the same size") or an
 * output too small ("Output must as large or larger than inputs"); 17 empty
 * inputs. */
KELKIT_API int kel_rgb_pack(const Image *red, const Image *green, const Image *blue, Image *out);

/* Unpacks a FLOAT image made by kel_rgb_pack into BYTE colour planes: each
 * pixel v, converted to an integer c (truncated toward zero and clamped to
 * 0 .. 16777215, NaN giving 0), yields red = c >> 16, green = (c >> 8) AND
 * 255 and blue = c AND 255. Any one or two of the planes may be null to skip
 * them. The given planes must have one size; the packed image must be at
 * least as wide and as high, and its top-left area is read.
 * Returns 0; 1 packed image null or all three planes null; 6 packed image not
 * FLOAT or a plane not BYTE; 5 planes of differing sizes ("Output Images must
 * be the same size") or a packed image smaller than the planes ("Input must
 * be as large or larger than outputs"); 17 empty planes. */
KELKIT_API int kel_rgb_unpack(const Image *packed, Image *red, Image *green, Image *blue);

/* Hue, intensity and saturation of three BYTE colour planes, pixel by pixel
 * over the common area of all six images:
 *   I = (R + G + B) / 3                          (0 .. 255)
 *   S = 1 - min(R, G, B) / I, 0 when I = 0       (0 .. 1)
 *   H = the angle of the colour around the grey axis in degrees, measured
 *       from red (0) through green (120) and blue (240); 0 when S = 0.
 *       H = theta when B <= G, else 360 - theta, with
 *       theta = acos(((R - G) + (R - B)) / 2 / sqrt((R - G)^2 + (R - B)(G - B))).
 * Each output plane may be BYTE or FLOAT, chosen independently:
 *   FLOAT: hue in degrees [0, 360), intensity 0.0 .. 255.0, saturation
 *          0.0 .. 1.0, as computed (in double, stored as float). Any colour
 *          with a zero channel has saturation 1.
 *   BYTE:  hue H * 256 / 360 rounded, 256 wrapping to 0 (one level is 1.40625
 *          degrees), intensity I rounded, saturation S * 255 rounded.
 * An output may be the same Image as an input (each pixel is read before it
 * is written); two outputs should be different images.
 * Returns 0; 1 any image null; 6 an input not BYTE or an output neither BYTE
 * nor FLOAT; 17 empty common area. */
KELKIT_API int kel_rgb_to_his(const Image *red, const Image *green, const Image *blue, Image *hue,
                              Image *intensity, Image *saturation);

/* The inverse of kel_rgb_to_his: hue, intensity and saturation planes (each
 * BYTE or FLOAT, scaled as kel_rgb_to_his writes them) to three BYTE colour
 * planes, over the common area of all six images. A FLOAT hue is taken
 * modulo 360 (negative hues count back from 360, a NaN or infinite hue
 * counts as 0); a FLOAT saturation is clamped to 0 .. 1 and a FLOAT
 * intensity below 0 (or NaN) counts as 0. Within each 120-degree sector the
 * smallest channel is I * (1 - S), the next one round the circle
 * I * (1 + S * cos(h) / cos(60 - h)) (h the angle into the sector) and the
 * third 3 * I less the other two; the channels are rounded and clamped to
 * 0 .. 255. An output may be the same Image as an input.
 * Round trip: FLOAT planes give back every one of the 2^24 colours exactly;
 * BYTE planes (hue and saturation quantised) give each channel back within 4
 * levels, and greys exactly.
 * Returns 0; 1 any image null; 6 an input neither BYTE nor FLOAT or an
 * output not BYTE; 17 empty common area. */
KELKIT_API int kel_his_to_rgb(const Image *hue, const Image *intensity, const Image *saturation,
                              Image *red, Image *green, Image *blue);

/* ---- conversion into a destination ------------------------------------- */

/* Converts a BYTE, WORD or FLOAT image into a BYTE destination over their
 * common area: BYTE is copied, WORD values above 255 become 255 (to see the
 * high bits of a WORD image instead, use kel_shift_bits), FLOAT values are
 * rounded to the nearest integer (halves away from zero) and clamped to
 * 0 .. 255, NaN becoming 0. src may be dst.
 * Returns 0; 1 null image; 6 destination not BYTE ("Output must be BYTE") or
 * source not BYTE, WORD or FLOAT; 17 empty common area. */
KELKIT_API int kel_byte(const Image *src, Image *dst);

/* As kel_byte into a WORD destination: BYTE and WORD values are copied
 * exactly, FLOAT values rounded (halves away from zero) and clamped to
 * 0 .. 65535, NaN becoming 0. src may be dst.
 * Returns 0; 1 null image; 6 destination not WORD ("Output must be WORD") or
 * source not BYTE, WORD or FLOAT; 17 empty common area. */
KELKIT_API int kel_word(const Image *src, Image *dst);

/* ---- value mapping ----------------------------------------------------- */

/* Clamps every pixel of a BYTE, WORD or FLOAT image, in place, to
 * [low, high]: p < low becomes low and p > high becomes high.
 *   BYTE, WORD: both bounds are first clamped to the type's range and
 *               truncated toward zero (BYTE 10.7 .. 20.7 clips to 10 .. 20).
 *   FLOAT:      the bounds are used as given; NaN pixels are left as they are.
 * Returns 0; 1 null image; 6 other pixel type; 10 a NaN bound or
 * low > high ("low > high"); 17 empty image. */
KELKIT_API int kel_clip(Image *img, float low, float high);

/* Shifts integer pixels by n bits from src into dst over their common area:
 * n > 0 shifts left (p * 2^n), n < 0 shifts right (p / 2^-n, rounded down),
 * n = 0 copies. src and dst are each BYTE or WORD, in any combination, and
 * may be the same Image. A result above the destination's maximum saturates
 * to it (BYTE 200 << 1 = 255, never a wrapped value). For example a 12-bit
 * camera image held in WORD shows its top 8 bits in a BYTE image with
 * n = -4.
 * Returns 0; 1 null image; 6 an image not BYTE or WORD; 10 n outside
 * -16 .. 16 ("Shift out of range"); 17 empty common area. */
KELKIT_API int kel_shift_bits(const Image *src, Image *dst, int n);

/* dst = src * gain + offset over the common area, computed in double
 * precision and stored into dst with the rounding and clamping above (so an
 * integer destination saturates at 0 and at its maximum). src and dst are
 * each BYTE, WORD or FLOAT, in any combination, and may be the same Image.
 * Example: a 12-bit WORD image into BYTE with gain 255 / 4095.
 * Returns 0; 1 null image; 6 an image of another type; 10 gain or offset not
 * finite; 17 empty common area. */
KELKIT_API int kel_gain_offset(const Image *src, Image *dst, float gain, float offset);

/* Modes of kel_normalize. */
#define KEL_NORMALIZE_RANGE 0    /* minimum -> low, maximum -> high */
#define KEL_NORMALIZE_STANDARD 1 /* zero mean, unit variance (FLOAT output) */

/* Normalises src into dst over their common area (the statistics are taken
 * over that area of src). src and dst are each BYTE, WORD or FLOAT and may be
 * the same Image.
 *   KEL_NORMALIZE_RANGE: with m and M the smallest and largest finite source
 *     values, dst = low + (p - m) * (high - low) / (M - m), computed in double
 *     and stored with the rounding and clamping above, so m lands on low and
 *     M on high. low > high maps inverted. A flat source (M = m, or no
 *     finite pixel) sets every pixel to low. NaN pixels become NaN (FLOAT)
 *     or 0.
 *   KEL_NORMALIZE_STANDARD: dst = (p - mean) / sd, with the mean and the
 *     population standard deviation (divisor n) of the finite source values,
 *     so the result has mean 0 and variance 1; low and high are ignored and
 *     dst must be FLOAT. A flat source (no spread, or no finite pixel) gives
 *     0.0 for every finite pixel; NaN and infinite pixels keep their value.
 * Returns 0; 1 null image; 8 unknown mode ("Unknown operation"); 6 an image
 * of another type; 12 standard mode into a non-FLOAT destination ("Output
 * must be FLOAT"); 10 a bound not finite (range mode); 17 empty common
 * area. */
KELKIT_API int kel_normalize(const Image *src, Image *dst, int mode, float low, float high);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_CONVERT_H */
