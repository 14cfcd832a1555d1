/*
 * kelkit/moments.h - projections, centroids and moments of images, views,
 * blobs and labels.
 *
 * Coordinates are those of the image itself (a view's own top-left pixel is
 * (0, 0)); pixel (x, y) is a point mass at its centre (x, y). Every pixel
 * type is taken. Sums are formed in double precision.
 *
 * Failures are reported through im_error under the function's name: 1 null
 * image, 10 null output ("Output is NULL") or an argument out of range (the
 * message names it), 17 empty image or too small an output array ("Results
 * array"), 8 unknown selector ("Unknown operation"), 6 unsupported pixel
 * type, 4 out of memory.
 */
#ifndef KELKIT_MOMENTS_H
#define KELKIT_MOMENTS_H

#include "kelkit/base.h"
#include "kelkit/blob.h"
#include "kelkit/label.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- projections --------------------------------------------------------- */

/* Axes and modes of kel_projection. */
#define KEL_PROJECT_COLUMNS 0 /* one value per column (sum down each column): dx values */
#define KEL_PROJECT_ROWS 1    /* one value per row (sum along each row): dy values */
#define KEL_PROJECT_SUM 0
#define KEL_PROJECT_MEAN 1

/* Column or row sums (mode KEL_PROJECT_SUM) or means (KEL_PROJECT_MEAN) of
 * an image or view into out[], which has room for n values (17 "Results
 * array" when n is below dx for columns, dy for rows). 8 for an unknown axis
 * or mode. */
KELKIT_API int kel_projection(const Image *img, int axis, int mode, double *out, int n);

/* Projection along a rectangle at any angle: the rectangle has its centre at
 * (cx, cy), `length` along the direction `angle` (degrees, counter-clockwise
 * as seen on screen, so y grows downwards: angle 90 points up) and `width`
 * across it. `length` samples one pixel apart are taken along the
 * rectangle's axis, the first at its start; out[i] is the sum (or mean) of
 * the `width` samples one pixel apart across the rectangle at sample i, each
 * read by bilinear interpolation (positions outside the image are clamped to
 * it). length and width 1..65536 (10); n >= length (17). */
KELKIT_API int kel_projection_rect(const Image *img, double cx, double cy, int length, int width,
                                   double angle, int mode, double *out, int n);

/* ---- moments ------------------------------------------------------------- */

/* Moments of a distribution of mass over pixel centres. */
typedef struct KelMoments {
  /* raw moments m_pq = sum x^p y^q w */
  double m00, m10, m01, m20, m11, m02, m30, m21, m12, m03;
  /* central moments about the centroid */
  double mu20, mu11, mu02, mu30, mu21, mu12, mu03;
  /* normalised central moments nu_pq = mu_pq / m00^(1 + (p + q) / 2) */
  double nu20, nu11, nu02, nu30, nu21, nu12, nu03;
  double hu[7];        /* the seven moment invariants of translation, scale and rotation */
  double xc, yc;       /* centroid m10 / m00, m01 / m00 */
  double angle;        /* orientation of the major axis, degrees in (-90, 90], counter-clockwise as
                          seen on screen (y grows downwards) */
  double major;        /* full axis lengths of the ellipse with the same second moments: */
  double minor;        /*   4 sqrt(lambda) for the eigenvalues lambda of the covariance */
  double eccentricity; /* sqrt(1 - minor^2 / major^2); 0 for a circle */
} KelMoments;

/* Mass of each pixel in kel_moments. */
#define KEL_MOMENTS_GREY 0   /* the pixel value (negative FLOAT values count as given) */
#define KEL_MOMENTS_BINARY 1 /* 1 for every non-zero pixel, 0 otherwise */

/* Moments of an image or view, grey-weighted or binary. With no mass
 * (m00 == 0) every field is 0 and the call returns 14 ("No mass"). */
KELKIT_API int kel_moments(const Image *img, int weighting, KelMoments *m);

/* Grey-weighted centroid: *x = m10 / m00, *y = m01 / m00 (14 "No mass" when
 * the image sums to 0, with both set to 0). */
KELKIT_API int kel_centroid(const Image *img, double *x, double *y);

/* Binary moments of one blob of a kel_blob_find result: the pixels of the
 * blob's colour connected (with the find's connectivity) to its first pixel.
 * `img` is the image the blob was found in, `params` the find's parameter
 * record and `coords` the find's coordinate mode, so the blob's coordinates
 * map back to the image; the moments are in the image's own coordinates.
 * index out of range: 10 "Measure index". */
KELKIT_API int kel_moments_blob(const Image *img, const BlobParams *params,
                                const BlobResults *results, int index, unsigned int coords,
                                KelMoments *m);

/* Binary moments of one label of a kel_label result: the pixels of value
 * labelval connected (with `connectivity`, 4 or 8) to the record's first
 * pixel, in the labelled image `labels` (BYTE). A
 * null record: 18. */
KELKIT_API int kel_moments_label(const Image *labels, const LabelRecord *label, int connectivity,
                                 KelMoments *m);

/* Fills the derived fields (centroid, central and normalised moments, Hu
 * invariants, ellipse) of `m` from its raw moments m00..m03. 14 "No mass"
 * when m00 is 0. For hosts that accumulate raw moments themselves. */
KELKIT_API int kel_moments_complete(KelMoments *m);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_MOMENTS_H */
