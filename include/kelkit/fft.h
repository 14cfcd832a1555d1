/*
 * kelkit/fft.h - radix-2 fast Fourier transform of FLOAT image pairs, and
 * centred phase and magnitude spectra.
 *
 * A complex image is a pair of FLOAT images of equal size: one holds the real
 * parts, the other the imaginary parts. The transforms work in place on that
 * pair. Widths and heights must be powers of two (1 included); a coefficient
 * record prepared once for a size and direction carries the twiddle tables.
 *
 * Sign and scale: a record of direction 0 multiplies by exp(+2 pi i k n / N),
 * a record of direction 1 by exp(-2 pi i k n / N). No scaling is applied in
 * either direction: a transform followed by the transform with the reversed
 * record returns the input multiplied by N (by width times height in 2-D).
 * Divide by N yourself for a unit-gain inverse.
 *
 * Images may be views (rows with a non-zero skip); only their dx by dy pixels
 * are read and written.
 */
#ifndef KELKIT_FFT_H
#define KELKIT_FFT_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Coefficient record, made by kel_fft_create_coeff and freed by
 * kel_fft_delete_coeff. Treat it as read-only: the transforms rely on the
 * sizes, logarithms and tables agreeing.
 *   nDirection      0 or 1: the sign of the sine tables (0: +sin, 1: -sin)
 *   nSizeX, nSizeY  transform lengths along x and y (powers of two)
 *   nLog2X, nLog2Y  their base-2 logarithms
 *   afCosX, afSinX  nSizeX / 2 values each; null when nSizeX is 1
 *   afCosY, afSinY  nSizeY / 2 values each; null when nSizeY is 1
 * The tables hold cos and sin of 2 pi k / N, k = 0 .. N/2 - 1, built by
 * rotating (1, 0) step by step through the angle 2 pi / N, so their rounding
 * is that of the rotation.
 */
typedef struct kel_fft_coeff {
  int nDirection;
  int nSizeX;
  int nSizeY;
  int nLog2X;
  int nLog2Y;
  float *afCosX;
  float *afSinX;
  float *afCosY;
  float *afSinY;
} kel_fft_coeff;

/* A new coefficient record for transforms of x_size by y_size with the given
 * direction (0, or any non-zero value, which is stored as 1). Returns null
 * after reporting under "kel_fft_create_coeff":
 *   17 "x or y size == 0"            a size below 1
 *   10 "X size must be power of 2"   x_size not a power of two
 *   10 "Y size must be power of 2"   y_size not a power of two
 *    4                               out of memory
 * A size of 1 is accepted: that axis has no tables and is left unchanged. */
KELKIT_API kel_fft_coeff *kel_fft_create_coeff(int x_size, int y_size, int direction);

/* Turns the record into the one for the opposite direction: negates the sine
 * tables of both axes and switches nDirection (1 becomes 0, any other value
 * 1). Returns 0, or 10 "Coeff struct == NULL". */
KELKIT_API int kel_fft_reverse_coeff(kel_fft_coeff *coeff);

/* Frees the tables and the record. A null record is ignored. Returns 0. */
KELKIT_API int kel_fft_delete_coeff(kel_fft_coeff *coeff);

/* Transforms the first row of the pair (re, im) in place along x. Only row 0
 * is touched; images without rows are left alone. Statuses, in this order:
 *   10 "Coeff struct == NULL"
 *    1 a null image
 *   12 an image not FLOAT
 *   10 "Real and imaginary Arrays must be same length"   widths differ
 *   10 "Array X size doesn't match Coeff. size"          width != nSizeX
 *   24 the record's nLog2X exceeds log2 nSizeX (an altered record); the row
 *      then holds the stages done before the overrun. An altered nSizeX that
 *      is not a power of two also gives 24, with the row unchanged. */
KELKIT_API int kel_fft_1d(Image *re, Image *im, const kel_fft_coeff *coeff);

/* Transforms the pair (re, im) in place: every row along x, then every column
 * along y. Statuses, in this order:
 *   10 "Coeff struct == NULL"
 *    1 a null image
 *   12 an image not FLOAT
 *   10 "Real and imaginary Images must be same size"
 *   10 "Image size doesn't match Coeff. size"   dx != nSizeX or dy != nSizeY
 *    4 out of memory for the work buffers (images unchanged)
 *   24 "Horizontal pass" / "Vertical pass": a logarithm of the record
 *      exceeds its size (an altered record). The first row (or, after a
 *      complete row pass, the first column) then holds the stages done
 *      before the overrun; nothing else of that pass is changed. An altered
 *      size that is not a power of two gives the same code for its axis
 *      with nothing of that pass changed.
 * Results are those of the line transform applied row by row and then column
 * by column, bit for bit, however the work is blocked internally. */
KELKIT_API int kel_fft_2d(Image *re, Image *im, const kel_fft_coeff *coeff);

/* Centred phase spectrum: phase(x', y') = atan2(im, re) of pixel (x, y), with
 * x' = (x + dx/2) mod dx and y' = (y + dy/2) mod dy, so that frequency 0
 * lands at (dx/2, dy/2). Values in -pi .. pi. `phase` may be re or im, or
 * overlap them. Statuses: 1 a null image; 12 an image not FLOAT; 10 "All
 * images must have the same dimensions"; 4 out of memory. */
KELKIT_API int kel_fft_phase(const Image *re, const Image *im, Image *phase);

/* Centred magnitude spectrum: sqrt(re^2 + im^2) (the magnitude, not its
 * square), placed as in kel_fft_phase. `power` may be re or im, or overlap
 * them. Statuses: 1 a null image; 12 an image not FLOAT; 10 "Images & power
 * spectrum must have the same dimensions"; 4 out of memory. */
KELKIT_API int kel_fft_power(const Image *re, const Image *im, Image *power);

/* Moves frequency 0 to the centre in place: pixel (x, y) goes to
 * ((x + dx/2) mod dx, (y + dy/2) mod dy). For even sizes this swaps the
 * diagonal quadrants, and applying it twice restores the image; odd sizes are
 * shifted the same way (a cyclic shift by half the size, rounded down).
 * BYTE, WORD and FLOAT images. Statuses: 6 a null image or another pixel
 * type; 4 out of memory (one row of work space). */
KELKIT_API int kel_fft_center(Image *img);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_FFT_H */
