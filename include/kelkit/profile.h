/*
 * kelkit/profile.h - operations on one-dimensional profiles (ar_*): arrays
 * of doubles such as a caliper line, a projection or a histogram.
 *
 * Positions are in index coordinates: sample i lies at i. Every operation
 * reads `n` values from its source and writes `n` values to its destination
 * unless stated otherwise; a destination may be the source (every operation
 * works from a copy where it needs one). Ends of a profile are handled by
 * replicating the end samples, so every output sample is defined.
 *
 * Failures are reported through im_error under the function's name:
 * 10 a null array or output pointer ("Array is NULL"), or an argument out of
 * range (the message names it); 17 a profile shorter than the operation
 * needs ("Profile too short"); 8 an unknown operation selector
 * ("Unknown operation"); 4 out of memory.
 */
#ifndef KELKIT_PROFILE_H
#define KELKIT_PROFILE_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- smoothing and derivatives ------------------------------------------ */

/* Mean over a window of `width` samples (odd, 1..n*2+1) centred on each
 * sample. 10 for an even or non-positive width. */
KELKIT_API int ar_smooth_box(const double *src, double *dst, int n, int width);

/* Gaussian smoothing: weights exp(-k^2 / (2 sigma^2)) for |k| <= ceil(3
 * sigma), normalised to sum 1. sigma > 0 and finite (10 otherwise); sigma
 * below 0.1 copies the profile. */
KELKIT_API int ar_smooth_gauss(const double *src, double *dst, int n, double sigma);

/* First derivative: (p[i+1] - p[i-1]) / 2 inside, one-sided differences
 * p[1] - p[0] and p[n-1] - p[n-2] at the ends. n >= 2 (17). */
KELKIT_API int ar_derivative(const double *src, double *dst, int n);

/* Second derivative: p[i-1] - 2 p[i] + p[i+1] inside, the neighbouring inner
 * value at each end. n >= 3 (17). */
KELKIT_API int ar_second_derivative(const double *src, double *dst, int n);

/* ---- measures ------------------------------------------------------------ */

/* Mean, standard deviation (population: divided by n), smallest and largest
 * value. Any output may be null. n >= 1 (17). */
KELKIT_API int ar_stats(const double *a, int n, double *mean, double *stddev, double *min,
                        double *max);

/* The largest (ar_max) or smallest (ar_min) value with its sub-pixel
 * position: the vertex of the parabola through the extreme sample and its
 * two neighbours (the sample itself at either end, the first of equal
 * extremes). *value is the parabola's value at the vertex. n >= 1 (17). */
KELKIT_API int ar_max(const double *a, int n, double *position, double *value);
KELKIT_API int ar_min(const double *a, int n, double *position, double *value);

/* Local maxima (ar_peaks) or minima (ar_valleys) that stand out from the
 * profile by at least `prominence` (the drop to the higher of the two
 * lowest points between the peak and a higher peak or the profile end), at
 * least `min_distance` samples apart (the stronger kept), in increasing
 * position. A plateau counts once, at its middle. Positions are sub-pixel
 * (parabola vertex), values are the samples. Up to max_count are written;
 * *count receives how many were written. prominence >= 0, min_distance >= 0
 * (10). */
KELKIT_API int ar_peaks(const double *a, int n, double prominence, int min_distance,
                        double *positions, double *values, int max_count, int *count);
KELKIT_API int ar_valleys(const double *a, int n, double prominence, int min_distance,
                          double *positions, double *values, int max_count, int *count);

/* Crossing directions of ar_crossings. */
#define KEL_AR_RISING 1
#define KEL_AR_FALLING 2
#define KEL_AR_BOTH 3

/* Positions where the profile crosses `level`, by linear interpolation
 * between the two samples on either side: rising crossings go from below
 * the level to at or above it, falling ones from at or above to below.
 * `directions` is KEL_AR_RISING, KEL_AR_FALLING or KEL_AR_BOTH (8 otherwise).
 * Up to max_count in increasing position; *count receives how many.
 * *directions_out (may be null) receives KEL_AR_RISING or KEL_AR_FALLING per
 * crossing. */
KELKIT_API int ar_crossings(const double *a, int n, double level, int directions, double *positions,
                            int *directions_out, int max_count, int *count);

/* ---- resampling, arithmetic and conversion -------------------------------- */

/* Linear resampling of n samples onto m samples spanning the same extent:
 * dst[j] is the source at position j (n - 1) / (m - 1) (the first sample
 * when m is 1). dst must not overlap src (106 "Destination must differ from
 * source" when it is src). n >= 1, m >= 1 (17). */
KELKIT_API int ar_resample(const double *src, int n, double *dst, int m);

/* Operations of ar_combine. */
enum KelArOperation {
  KEL_AR_ADD = 0,      /* a + b */
  KEL_AR_SUBTRACT = 1, /* a - b */
  KEL_AR_MULTIPLY = 2, /* a * b */
  KEL_AR_DIVIDE = 3,   /* a / b, 0 where b is 0 */
  KEL_AR_MIN = 4,
  KEL_AR_MAX = 5,
  KEL_AR_ABSDIFF = 6 /* |a - b| */
};

/* dst[i] = a[i] op b[i]. 8 for an unknown operation. */
KELKIT_API int ar_combine(const double *a, const double *b, double *dst, int n, int operation);

/* dst[i] = src[i] * gain + offset. */
KELKIT_API int ar_scale(const double *src, double *dst, int n, double gain, double offset);

/* Row `y` of an image of any pixel type into a profile of img->dx values;
 * n must be at least dx (17 "Profile too short"), and y inside the image
 * (10 "Row out of range"). Null image: 1. */
KELKIT_API int ar_from_image(const Image *img, int y, double *dst, int n);

/* A profile into row `y` of an image: n must equal img->dx (5 "Sizes
 * differ"); values are rounded half up and clamped to the pixel type's
 * range for BYTE and WORD, stored as float for FLOAT. Null image: 1. */
KELKIT_API int ar_to_image(const double *src, int n, Image *img, int y);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_PROFILE_H */
