/*
 * kelkit/autothreshold.h - thresholds found automatically from an image's
 * histogram, and a local adaptive threshold.
 *
 * A threshold t splits the pixels into the class at or below t (background)
 * and the class above t (object), as kel_threshold2(img, t, 0, 255) and
 * kel_binary use it. Histogram forms take any histogram (counts of bins
 * 0 .. size - 1) and return a bin index; the image forms build the histogram
 * first: 256 bins for BYTE, 65536 for WORD, and for FLOAT 256 bins spanning
 * the image's minimum to maximum, the threshold then being the upper edge of
 * the chosen bin in pixel values.
 *
 * Failures are reported through im_error under the function's name: 1 null
 * image, 10 null histogram or output ("Output is NULL") or a bad argument,
 * 17 an empty image or a histogram with no count, 6 unsupported pixel type,
 * 14 no threshold in the histogram (see each function), 4 out of memory.
 */
#ifndef KELKIT_AUTOTHRESHOLD_H
#define KELKIT_AUTOTHRESHOLD_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Otsu's threshold: the t that maximises the between-class variance
 * w0 w1 (mean1 - mean0)^2 (the smallest such t on ties). A histogram whose
 * counts all sit in one bin gives that bin. size 2..65536 (10). */
KELKIT_API int kel_threshold_otsu_hist(const unsigned int *hist, int size, int *threshold);
KELKIT_API int kel_threshold_otsu(const Image *img, double *threshold);

/* Iterative intermeans (isodata): start at the mean, then t = the mean of
 * the two class means, rounded down, until t repeats (at most 1000 rounds).
 * A class left empty ends the iteration at the current t. */
KELKIT_API int kel_threshold_isodata_hist(const unsigned int *hist, int size, int *threshold);
KELKIT_API int kel_threshold_isodata(const Image *img, double *threshold);

/* Threshold melting: the histogram is smoothed ("melted") by repeated
 * three-bin averaging, [1 2 1] / 4 with the end bins replicated, until at
 * most two local maxima (plateaus count once) remain; the threshold is the
 * lowest bin of the melted histogram between the two maxima (the middle of
 * the first run of equal lowest bins). Counts are melted in double precision.
 *   - Fewer than two maxima in the histogram as given: code 14
 *     "Less than 2 peaks".
 *   - A melting step that goes from more than two maxima straight to fewer
 *     than two: code 14 "Lost valley".
 *   - Still more than two maxima after max_rounds rounds (1..100000, 10
 *     otherwise): a warning, code 14 "Melting stopped", and the valley
 *     between the two highest maxima is returned (status 14 from the
 *     warning, *threshold set).
 * *rounds (may be null) receives the number of melting rounds used. */
KELKIT_API int kel_threshold_melt_hist(const unsigned int *hist, int size, int max_rounds,
                                       int *threshold, int *rounds);
/* The same on the 256-bin histogram of a BYTE image (13 for another type). */
KELKIT_API int kel_threshold_melt(const Image *img, int max_rounds, int *threshold);

/* Local statistic of kel_threshold_adaptive. */
#define KEL_ADAPTIVE_MEAN 0     /* the mean of the size x size window */
#define KEL_ADAPTIVE_GAUSSIAN 1 /* a Gaussian-weighted mean, sigma = size / 6 */

/* Local adaptive threshold: dst(x, y) = 255 where src(x, y) > local(x, y) -
 * offset, else 0, with local the window statistic around (x, y), edge pixels
 * replicated beyond the border. For the mean the test is made exactly as
 * src * size^2 > window sum - offset * size^2 (in double, the window sum
 * exact for BYTE and WORD). src BYTE, WORD or FLOAT; dst BYTE of the
 * same size (5 "Images must be the same size"); size odd, 3..1023 (10).
 * dst may not be src (106). Works on views. The mean window's cost per
 * pixel does not depend on size. */
KELKIT_API int kel_threshold_adaptive(const Image *src, Image *dst, int method, int size,
                                      double offset);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_AUTOTHRESHOLD_H */
