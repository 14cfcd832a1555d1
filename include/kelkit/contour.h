/*
 * kelkit/contour.h - the contour set: sub-pixel edge contours traced in a
 * BYTE image region, kept as per-point arrays and a list of contours, with a
 * binary contour file (".trc").
 *
 * Tracing. The region's gradient is the 3x3 Sobel response divided by 4
 * (so a clean step of height h between two flat areas has strength h). A
 * pixel is an edge pixel when its strength is at least the edge level and is
 * a maximum along the gradient: the gradient direction is quantised to
 * horizontal, vertical or one of the two diagonals, and the strength must
 * exceed the neighbour behind and be at least the neighbour ahead. Its
 * sub-pixel position is the vertex of the parabola through the three
 * strengths along that line. The outermost row and column of the region
 * never hold edge pixels. Edge pixels are linked through their eight
 * neighbours into chains that run with the brighter side on their right as
 * seen on screen (y growing downwards); a chain that ends next to its first
 * pixel is closed. Chains with
 * fewer points than the minimum length or more than the maximum length are
 * dropped.
 *
 * Point arrays. Point i has x[i], y[i] (pixels, relative to the image given
 * to kel_ctd_trace: pixel (x, y) is centred at (x, y)), direction[i] (the
 * edge normal towards the bright side in radians, 0..2pi, with y negated
 * before atan2 so that angles turn counter-clockwise on screen) and
 * attribute[i] (a 32-bit value for the caller, 0 after tracing). Contour c
 * holds the points start .. start + count - 1 of the arrays.
 *
 * Steps. kel_ctd_trace stores the raw gradient direction of each pixel;
 * kel_ctd_smooth then smooths the positions along each contour and
 * kel_ctd_compute_directions replaces the directions by the normal of the
 * smoothed contour, turned to the side of the raw gradient. Callers that want
 * smooth contours with precise directions call the three in this order.
 *
 * The contour file (".trc"), little-endian throughout:
 *     uint32 magic 0x4352544B ("KTRC"), uint32 version 1,
 *     int32 edge level, minimum length, maximum length, smoothing passes,
 *     uint32 point count P, uint32 contour count C,
 *     P points of { double x, double y, double direction, int32 attribute },
 *     C contours of { int32 start, int32 count, int32 closed }.
 * A file is accepted only when its size equals what the counts announce, the
 * counts are at most 2^24 (points) and 2^22 (contours), every coordinate lies
 * within 10^7 of the origin, every direction is finite, every contour has at least one point and lies within
 * the point arrays, and every closed flag is 0 or 1.
 *
 * Status codes: 10 null set, null path or bad argument; 1 null image; 13 the
 * image is not BYTE; 108 the region is not inside the image; 7 the region is
 * smaller than 3 by 3; 112 a file that cannot be written, opened or read, or
 * whose content is malformed (the set is then unchanged); 4 out of memory.
 */
#ifndef KELKIT_CONTOUR_H
#define KELKIT_CONTOUR_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The contour set (opaque; the library owns its layout). */
typedef struct KelContourSet KelContourSet;

/* ---- record ------------------------------------------------------------ */

/* A new, empty set with the defaults: edge level 25, minimum length 20,
 * maximum length 10000, smoothing passes 1. *status (may be null) receives 0
 * or 4; on failure the result is null and code 4 is reported under
 * "kel_ctd_create". */
KELKIT_API KelContourSet *kel_ctd_create(int *status);

/* Deletes the set and everything it holds. Null is allowed. */
KELKIT_API void kel_ctd_delete(KelContourSet *set);

/* Empties the point arrays and the contour list (the settings stay). */
KELKIT_API void kel_ctd_clear(KelContourSet *set);

/* Settings: no checks. The edge level is compared with the Sobel strength
 * described above; lengths count points; smoothing passes of 0 leave the
 * positions as traced. */
KELKIT_API void kel_ctd_set_edge_level(KelContourSet *set, int level);
KELKIT_API int kel_ctd_get_edge_level(const KelContourSet *set);
KELKIT_API void kel_ctd_set_min_length(KelContourSet *set, int length);
KELKIT_API int kel_ctd_get_min_length(const KelContourSet *set);
KELKIT_API void kel_ctd_set_max_length(KelContourSet *set, int length);
KELKIT_API int kel_ctd_get_max_length(const KelContourSet *set);
KELKIT_API void kel_ctd_set_smoothing(KelContourSet *set, int passes);
KELKIT_API int kel_ctd_get_smoothing(const KelContourSet *set);

/* ---- steps ------------------------------------------------------------- */

/* Replaces the set's contours by those traced in the region (x, y, dx, dy)
 * of `img` (BYTE) with the set's edge level and lengths. Coordinates are
 * relative to `img`, not to the region. Returns 0 or 10 (null set), 1, 13,
 * 108, 7, 4, checked in that order. */
KELKIT_API int kel_ctd_trace(KelContourSet *set, const Image *img, int x, int y, int dx, int dy);

/* Smooths every contour's positions with the kernel 1/4 (1 2 1), as many
 * passes as the smoothing setting; an open contour keeps its end points, a
 * closed one wraps around. Returns 0 or 10 (null set). */
KELKIT_API int kel_ctd_smooth(KelContourSet *set);

/* Sets each direction to the normal of the chord from the point two places
 * back to the point two places ahead (clamped at the ends of an open
 * contour), on the side nearer to the stored direction. Returns 0 or 10. */
KELKIT_API int kel_ctd_compute_directions(KelContourSet *set);

/* ---- read-out ---------------------------------------------------------- */

/* Number of points, or of contours; 0 for a null set. */
KELKIT_API int kel_ctd_get_point_count(const KelContourSet *set);
KELKIT_API int kel_ctd_get_contour_count(const KelContourSet *set);

/* Contour `index`: its first point, its point count and its closed flag
 * (each output may be null). Returns 0, or 10 for a null set or an index
 * outside 0 .. count - 1 (the outputs are then 0). */
KELKIT_API int kel_ctd_get_contour(const KelContourSet *set, int index, int *start, int *count,
                                   int *closed);

/* Point `index`: x, y, direction and attribute (each output may be null).
 * Returns 0, or 10 as kel_ctd_get_contour. */
KELKIT_API int kel_ctd_get_point(const KelContourSet *set, int index, double *x, double *y,
                                 double *direction, int *attribute);

/* Sets the attribute of point `index`. Returns 0 or 10. */
KELKIT_API int kel_ctd_set_attribute(KelContourSet *set, int index, int attribute);

/* The point arrays themselves (point-count entries each), valid until the
 * set changes; null for a null or empty set. */
KELKIT_API const double *kel_ctd_x(const KelContourSet *set);
KELKIT_API const double *kel_ctd_y(const KelContourSet *set);
KELKIT_API const double *kel_ctd_direction(const KelContourSet *set);
KELKIT_API const int *kel_ctd_attribute(const KelContourSet *set);

/* ---- file -------------------------------------------------------------- */

/* Writes the set (settings, points, contours) to `path` in the format above.
 * Returns 0, 10 (null set or path) or 112. */
KELKIT_API int kel_ctd_save(const KelContourSet *set, const char *path);

/* Reads a file written by kel_ctd_save into the set, replacing its settings,
 * points and contours. A malformed file changes nothing. Returns 0, 10 (null
 * set or path), 112 or 4. */
KELKIT_API int kel_ctd_load(KelContourSet *set, const char *path);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_CONTOUR_H */
