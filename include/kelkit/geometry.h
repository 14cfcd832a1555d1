/*
 * kelkit/geometry.h - line geometry.
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
 * The line is returned in normal form,
 *     x * cos(*theta) + y * sin(*theta) = *distance,
 * where *theta is the angle of the line's normal in radians, in (-pi/2, pi/2],
 * and *distance the signed distance of the line from the origin (0, 0),
 * measured along that normal. A horizontal line y = c gives theta = pi/2 and
 * distance c; a vertical line x = c gives theta = 0 and distance c. A line
 * whose normal points down and left (a line that rises to the right in image
 * coordinates, y down) has a negative theta.
 *
 * Returns 0, or 10 when a pointer is null ("pointer is NULL"), n < 2
 * ("n < 2") or all points coincide ("Points coincide"); after a failure
 * *theta and *distance (when not null) are 0. */
KELKIT_API int kel_linear_regression(int n, const double *x, const double *y, double *theta,
                                     double *distance);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_GEOMETRY_H */
