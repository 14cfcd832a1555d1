/*
 * kelkit/convert.h - conversion between pixel types: in-place conversion to
 * FLOAT, splitting a WORD image into its bytes and joining them again,
 * clipping of FLOAT images and packing three BYTE colour planes.
 *
 * Every operator returns a status code and reports a failure through
 * im_error under its own exported name. Every check precedes the first
 * write, so a failing call leaves its images as they were. Operators on
 * several images work on their common top-left area unless stated otherwise:
 * pixels of a larger image outside it are neither read nor written.
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

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_CONVERT_H */
