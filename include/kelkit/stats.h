/*
 * kelkit/stats.h - whole-image measures: counts, extremes, sums, means,
 * variances and histograms.
 *
 * The measures read the full dx by dy of an image or view, in raster order
 * (rows from the top, each row from the left), and never write pixels. Most
 * of them return the measure itself: after a failure they report through
 * im_error under their own name and return 0 (or 0.0); read the code with
 * im_last_code(). kel_hist and kel_multi_count return a status.
 *
 * Sums of BYTE images are unsigned 32-bit integers and wrap around, exactly
 * as a 32-bit accumulator does. A null image reports code 1; a null result
 * pointer reports code 10.
 *
 * Processor switch: while kel_use_mmx() is 1, kel_sum (and so kel_average)
 * returns 0 and kel_variance returns 0.0 for images 8 or more pixels wide,
 * without computing. Call kel_set_use_mmx(0) to always compute.
 */
#ifndef KELKIT_STATS_H
#define KELKIT_STATS_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Number of non-zero pixels of a BYTE, WORD or FLOAT image (a FLOAT pixel
 * counts unless it equals 0.0, so -0.0 does not count and NaN does). Any
 * other pixel type gives 0. */
KELKIT_API unsigned int kel_count_nz(const Image *img);

/* Number of pixels equal to `value`. BYTE only (13). */
KELKIT_API unsigned int kel_count(const Image *img, unsigned char value);

/* Largest (kel_max) or smallest (kel_min) pixel value of a BYTE image; *x and
 * *y receive its first position in raster order. Non-BYTE: code 13, returns
 * 0 with *x = *y = 0. An empty image returns the pixel at `data` at (0, 0). */
KELKIT_API unsigned char kel_max(const Image *img, int *x, int *y);
KELKIT_API unsigned char kel_min(const Image *img, int *x, int *y);

/* Extremes of a BYTE image into *min and *max; returns the sum of all pixels
 * (unsigned 32-bit, wrapping). An image with no rows sets both extremes to the
 * pixel at `data` and returns 0. Non-BYTE: code 13, both set to 0. */
KELKIT_API unsigned int kel_range(const Image *img, unsigned char *min, unsigned char *max);

/* Sum of all pixels of a BYTE image, unsigned 32-bit, wrapping. BYTE only
 * (13). Processor switch: see above. */
KELKIT_API unsigned int kel_sum(const Image *img);

/* kel_sum divided by dx * dy, in double. BYTE only (13); an empty image
 * reports 17; both return 0.0. */
KELKIT_API double kel_average(const Image *img);

/* Sample variance (divisor n - 1) of a BYTE image; 0.0 for fewer than two
 * pixels. The sum of squares is kept in 32 bits; when it wraps so far that the
 * result turns negative, the variance is recomputed with a double sum of
 * squares. BYTE only (13). Processor switch: see above. */
KELKIT_API double kel_variance(const Image *img);

/* The 256-bin histogram of a BYTE image: hist[v] = number of pixels of value
 * v. Returns a status: 1 null image, 10 null array, 13 not BYTE. */
KELKIT_API int kel_hist(const Image *img, unsigned int hist[256]);

/* Largest (kel_max2) or smallest (kel_min2) value of a BYTE, WORD or FLOAT
 * image as a float; *x, *y receive its first position in raster order. Other
 * pixel types set *x = *y = 0 and return 0.0 without a report. An image with
 * no rows returns the pixel at `data` with *x = *y = 0. */
KELKIT_API float kel_max2(const Image *img, int *x, int *y);
KELKIT_API float kel_min2(const Image *img, int *x, int *y);

/* Sum of all pixels as a float, accumulated in single precision in raster
 * order (so large images lose precision exactly as such a sum does). BYTE,
 * WORD or FLOAT; other types return 0.0 without a report. */
KELKIT_API float kel_sum2(const Image *img);

/* As kel_sum2, and the extremes as floats into *min and *max. An image with no
 * rows sets both to the pixel at `data` and returns 0.0; other pixel types
 * return 0.0 and leave both untouched. */
KELKIT_API float kel_range2(const Image *img, float *min, float *max);

/* kel_sum2 divided by dx * dy in single precision; 0.0 for an empty image. */
KELKIT_API float kel_mean(const Image *img);

/* Counts pixels in k value bands of a BYTE image: counts[i] = number of pixels
 * with low[i] <= value <= high[i] (0 when high[i] < low[i]). k < 1 writes
 * nothing and returns 0. Returns a status: 1 null image, 10 null array, 13
 * not BYTE. */
KELKIT_API int kel_multi_count(const Image *img, int k, unsigned int *counts,
                               const unsigned char *low, const unsigned char *high);

/* Sample variance (divisor n - 1) of a BYTE, WORD or FLOAT image, computed
 * exactly for BYTE and WORD (64-bit integer sums) and with a two-pass double
 * sum for FLOAT; 0.0 for fewer than two pixels. Not affected by the processor
 * switch. Other pixel types report 6 and return 0.0. */
KELKIT_API double kel_variance2(const Image *img);

/* Histogram of integer values low .. high: hist[i] counts the pixels of value
 * low + i (a FLOAT pixel v counts in the bin of floor(v)). BYTE, WORD or
 * FLOAT (6 otherwise). The `size` bins of hist are zeroed first. When the
 * range holds more bins than `size`, the first `size` bins are filled, the
 * warning "Truncating histogram" (code 17) is reported and 17 is returned.
 * Returns 1 null image, 10 null hist, size < 1 or high < low. */
KELKIT_API int kel_histogram(const Image *img, unsigned int *hist, int size, int low, int high);

/* Extremes of row y of a BYTE, WORD or FLOAT image: *min and *max receive the
 * values and *xmin and *xmax their first columns (any of the four may be null).
 * Returns 1 null image, 10 y outside the image, 17 empty row, 6 bad type. */
KELKIT_API int kel_line_minmax(const Image *img, int y, float *min, int *xmin, float *max,
                               int *xmax);

/* Histogram equalisation of a BYTE image into a BYTE destination over their
 * common area: each level v maps to
 *   round((cdf(v) - cdf_min) * 255 / (n - cdf_min)),
 * where cdf is the cumulative histogram of the source's common area and
 * cdf_min its first non-zero value. A constant image is copied unchanged.
 * In-place use is allowed. Returns 1 null image, 17 empty area, 13 not
 * BYTE. */
KELKIT_API int kel_histogram_equalize(const Image *src, Image *dst);

/* kel_histogram_equalize of an image onto itself. */
KELKIT_API int kel_equalize(Image *img);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_STATS_H */
