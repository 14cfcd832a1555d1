/*
 * kelkit/geometry.h - line geometry, image rotation and mirroring.
 */
#ifndef KELKIT_GEOMETRY_H
#define KELKIT_GEOMETRY_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Fits a straight line to n points (x[i], y[i]) by least squares on the
 * perpendicular distances (the line through the points' centroid along their
 * principal direction), so vertical lines fit as well as horizontal ones.
 * With two distinct points it is the line through both.
 *
 * The line is returned as its direction and its signed distance from the
 * origin (0, 0):
 *   *theta     the angle in radians of the line's direction
 *              (cos(*theta), sin(*theta)), measured from the x axis towards
 *              the y axis, in (-pi/2, pi/2]; a direction found outside that
 *              range is brought into it by adding or subtracting pi, which
 *              negates *distance each time
 *   *distance  the distance of the line from the origin measured along the
 *              unit normal n = (-sin(*theta), cos(*theta)), so that every
 *              point (x, y) of the line satisfies
 *                  -x * sin(*theta) + y * cos(*theta) = *distance
 * In image coordinates (y growing downwards): a horizontal line y = c gives
 * theta = 0 and distance = c; a vertical line x = c gives theta = pi/2 and
 * distance = -c; a line that falls to the right (y grows with x) has a
 * positive theta, one that rises to the right a negative theta. y = x + 1
 * gives theta = pi/4, distance = 1/sqrt(2); y = 2 - x gives theta = -pi/4,
 * distance = sqrt(2). The order of the points does not matter. Axis-parallel
 * lines get exact results (theta exactly 0 or pi/2). When the points scatter
 * equally in every direction (e.g. the corners of a square) the horizontal
 * line through their centroid is returned.
 *
 * Returns 0, or 10 when a pointer is null ("pointer is NULL"), n < 2
 * ("n < 2") or all points coincide ("Points coincide"); after a failure
 * *theta and *distance (when not null) are 0. */
KELKIT_API int kel_linear_regression(int n, const double *x, const double *y, double *theta,
                                     double *distance);

/* Rotates `src` about its centre by `angle` degrees into `dst`, which may
 * have any size. A positive angle turns the content counter-clockwise as the
 * image is seen (rows growing downwards). The centre of src,
 * ((dx - 1) / 2, (dy - 1) / 2), lands on the centre of dst, and each
 * destination pixel takes the source point turned onto it, read by bilinear
 * interpolation (im_get_interpolated_pixel). Destination pixels whose source
 * point lies outside the source's pixel centres (beyond 0 .. dx - 1 or
 * 0 .. dy - 1) are filled with 0. BYTE and WORD results are rounded to the
 * nearest value; FLOAT results are stored as computed. Quarter turns use
 * exact cosines, so 90, 180 and 270 degrees move pixels without
 * interpolation (90 degrees of a square image: dst(u, v) = src(dx - 1 - v, u)).
 *
 * src and dst must be different images that share no pixels, of one pixel
 * type (BYTE, WORD or FLOAT); either may be a view.
 * Returns 0; 1 null image; 106 dst is src or overlaps it; 13 different pixel
 * types; 6 unsupported type; 17 an empty image; 10 an angle that is not
 * finite. */
KELKIT_API int kel_rotate(const Image *src, Image *dst, double angle);

/* Mirrors an image left to right: dst(x, y) = src(w - 1 - x, y) for x < w and
 * y < h, with w and h the common width and height of src and dst (a larger
 * image's pixels outside that area are neither read nor written). dst may be
 * src itself (the mirror is done in place); a different image that shares
 * pixels with src is refused. BYTE, WORD or FLOAT, one type for both; either
 * may be a view.
 * Processor switch: while kel_use_mmx() is 1, BYTE images with a common
 * width of 8 or more return 0 at once and leave dst as it was; narrower BYTE
 * images and WORD and FLOAT images are mirrored. Call kel_set_use_mmx(0) to
 * always compute.
 * Returns 0; 1 null image; 106 dst is another image overlapping src; 13
 * different pixel types; 6 unsupported type; 17 empty common area. */
KELKIT_API int kel_hflip(const Image *src, Image *dst);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_GEOMETRY_H */
