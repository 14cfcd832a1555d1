/*
 * kelkit/pixel.h - direct access to single pixels and to runs of pixels
 * along a row.
 *
 * These are the fast, unchecked path: none of them tests the image, its
 * pixel type or the coordinates, and none calls into the image services.
 * The caller passes an image of the type the function's letter names
 * (b: BYTE, w: WORD, f: FLOAT) and coordinates inside it; anything else
 * reads or writes wrong memory.
 *
 * Pixel (x, y) is element (dx + skip) * y + x of the pixel array that
 * begins at `data` (the offset is formed in 32-bit signed arithmetic), so
 * views with a non-zero skip are addressed correctly, and writing through a
 * view writes its master.
 *
 * Runs: the *_array functions copy n pixels from (x, y) to (x + n - 1, y).
 * A run does not wrap to the next row by itself; one that reaches past the
 * row's end continues into the row's skip pixels and the following row,
 * which the functions do not prevent. n <= 0 copies nothing (the buffer
 * may then be null).
 */
#ifndef KELKIT_PIXEL_H
#define KELKIT_PIXEL_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Value of the pixel at (x, y) of a BYTE, WORD or FLOAT image. */
KELKIT_API unsigned char kel_get_bpixel(const Image *img, int x, int y);
KELKIT_API unsigned short kel_get_wpixel(const Image *img, int x, int y);
KELKIT_API float kel_get_fpixel(const Image *img, int x, int y);

/* Stores `value` at (x, y) of a BYTE, WORD or FLOAT image. */
KELKIT_API void kel_put_bpixel(Image *img, int x, int y, unsigned char value);
KELKIT_API void kel_put_wpixel(Image *img, int x, int y, unsigned short value);
KELKIT_API void kel_put_fpixel(Image *img, int x, int y, float value);

/* Address of pixel (x, y), the offset scaled by the pixel size that `type`
 * names: 1 for BYTE, 2 for WORD, 4 for FLOAT and for any other code. */
KELKIT_API void *kel_line_ptr(const Image *img, int x, int y);

/* BYTE runs: copy n pixels from (x, y) into buf, or n bytes of buf into the
 * image from (x, y). */
KELKIT_API void kel_get_barray(const Image *img, int x, int y, int n, unsigned char *buf);
KELKIT_API void kel_put_barray(Image *img, int x, int y, int n, const unsigned char *buf);

/* Reads n BYTE pixels from (x, y) and stores each as a float, 0.0 to 255.0. */
KELKIT_API void kel_get_fbarray(const Image *img, int x, int y, int n, float *buf);

/* WORD runs: copy n pixels into buf, or n values of buf into the image. */
KELKIT_API void kel_get_warray(const Image *img, int x, int y, int n, unsigned short *buf);
KELKIT_API void kel_put_warray(Image *img, int x, int y, int n, const unsigned short *buf);

/* Reads n WORD pixels from (x, y) and stores each as a float (exact). */
KELKIT_API void kel_get_fwarray(const Image *img, int x, int y, int n, float *buf);

/* FLOAT runs: copy n pixels into buf, or n floats of buf into the image, each
 * as one block move. */
KELKIT_API void kel_get_farray(const Image *img, int x, int y, int n, float *buf);
KELKIT_API void kel_put_farray(Image *img, int x, int y, int n, const float *buf);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_PIXEL_H */
