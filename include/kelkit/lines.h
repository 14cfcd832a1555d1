/*
 * kelkit/lines.h - line geometry and shape fits: lines from points or a
 * point and an angle, robust line fits, intersections, distances, feet of
 * perpendiculars, angles, segment distances, and robust circle and ellipse
 * fits.
 *
 * A line is held as in kel_linear_regression: the angle theta of its
 * direction (cos(theta), sin(theta)) in (-pi/2, pi/2] and its signed
 * distance from the origin along the unit normal (-sin(theta), cos(theta)),
 * so that every point (x, y) of the line satisfies
 *     -x * sin(theta) + y * cos(theta) = distance.
 * Coordinates are image coordinates (y grows downwards); angles are radians.
 */
#ifndef KELKIT_LINES_H
#define KELKIT_LINES_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct KelLine {
  double theta;    /* direction angle, radians, in (-pi/2, pi/2] */
  double distance; /* signed distance of the line from the origin */
} KelLine;

typedef struct KelCircle {
  double cx, cy; /* centre */
  double r;      /* radius */
} KelCircle;

typedef struct KelEllipse {
  double cx, cy; /* centre */
  double a, b;   /* semi-axes, a >= b > 0 */
  double angle;  /* direction of the a axis, radians, in (-pi/2, pi/2] */
} KelEllipse;

/* The line through (x0, y0) and (x1, y1).
 * Returns 0; 10 null line ("pointer is NULL"), coinciding points ("Points
 * coincide") or a coordinate that is not finite ("Not finite"). */
KELKIT_API int kel_line_from_points(double x0, double y0, double x1, double y1, KelLine *line);

/* The line through (x, y) whose direction makes `angle` radians with the x
 * axis (any value: it is brought into (-pi/2, pi/2]).
 * Returns 0; 10 null line or a value that is not finite. */
KELKIT_API int kel_line_from_point_angle(double x, double y, double angle, KelLine *line);

/* Fits a line to n points, ignoring outliers: a least-median-of-squares
 * search over pairs of points finds the dominant line, points within 2.5
 * robust standard deviations of it are kept, and the line is refitted to
 * them by least squares on perpendicular distances (as
 * kel_linear_regression), twice. Works with up to half the points being
 * outliers; the search is deterministic (the same points give the same
 * line). *inliers (optional) receives the number of points kept.
 * Returns 0; 10 null pointer ("pointer is NULL"), n < 2 ("n < 2"), a
 * coordinate that is not finite; 14 all points coincide ("No fit"). */
KELKIT_API int kel_line_fit_robust(int n, const double *x, const double *y, KelLine *line,
                                   int *inliers);

/* The point where two lines cross.
 * Returns 0; 10 null pointer; 16 the lines are parallel or the same line
 * ("Lines are parallel"). */
KELKIT_API int kel_line_intersection(const KelLine *a, const KelLine *b, double *x, double *y);

/* Signed perpendicular distance of (x, y) from the line: positive on the
 * side the normal (-sin(theta), cos(theta)) points to.
 * Returns 0; 10 null pointer. */
KELKIT_API int kel_line_point_distance(const KelLine *line, double x, double y, double *distance);

/* The foot of the perpendicular from (x, y) onto the line.
 * Returns 0; 10 null pointer. */
KELKIT_API int kel_line_foot(const KelLine *line, double x, double y, double *fx, double *fy);

/* The angle that turns line a's direction onto line b's, in (-pi/2, pi/2]
 * (lines have no sense, so a half turn is no turn).
 * Returns 0; 10 null pointer. */
KELKIT_API int kel_line_angle(const KelLine *a, const KelLine *b, double *angle);

/* The shortest distance between the segment (ax0, ay0)-(ax1, ay1) and the
 * segment (bx0, by0)-(bx1, by1): 0 when they touch or cross. A segment may
 * be a single point.
 * Returns 0; 10 null pointer. */
KELKIT_API int kel_segment_distance(double ax0, double ay0, double ax1, double ay1, double bx0,
                                    double by0, double bx1, double by1, double *distance);

/* Fits a circle to n >= 3 points, ignoring outliers: a least-median search
 * over algebraic circles through three points, then a geometric
 * least-squares refinement (radial distances) over the points within 2.5
 * robust standard deviations. *inliers (optional) receives their number.
 * Returns 0; 10 null pointer, n < 3 ("n < 3") or a coordinate that is not
 * finite; 14 no circle fits (collinear or coinciding points, "No fit"). */
KELKIT_API int kel_circle_fit(int n, const double *x, const double *y, KelCircle *circle,
                              int *inliers);

/* Fits an ellipse to n >= 5 points, ignoring outliers: a least-median
 * search over conics through five points, an algebraic fit to the points
 * within 2.5 robust standard deviations, then a refinement of the true
 * (orthogonal) point-to-ellipse distances. *inliers (optional) receives
 * the number of points kept.
 * Returns 0; 10 null pointer, n < 5 ("n < 5") or a coordinate that is not
 * finite; 14 no ellipse fits the points ("No fit"). */
KELKIT_API int kel_ellipse_fit(int n, const double *x, const double *y, KelEllipse *ellipse,
                               int *inliers);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_LINES_H */
