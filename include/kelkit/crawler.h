/*
 * kelkit/crawler.h - the contour follower: from a start point in a BYTE
 * image it walks along one edge contour in a chosen direction and returns
 * sub-pixel points spaced by a step length, their edge directions and
 * strengths, whether the contour closed and why the walk stopped. The
 * crawler record keeps its settings and the result of its last walk, and
 * can be saved to and loaded from a binary file.
 *
 * Edges. The follower finds edges exactly as the contour set does (see
 * kelkit/contour.h): the strength is the 3x3 Sobel response divided by 4 (a
 * clean step of height h has strength h), an edge pixel has a strength of at
 * least the edge level and is a maximum along its quantised gradient
 * direction, its sub-pixel position is the parabola vertex across the edge,
 * and the outermost row and column of the region never hold edge pixels.
 *
 * Start. The walk starts at the strongest edge pixel among those whose
 * centres lie within the search radius of the start point, and the pixel
 * containing the start point (ties go to the pixel nearer to the start point,
 * then to the first in row order). The start point therefore need not lie on
 * the edge: a point a few pixels beside it is enough.
 *
 * Walk. From the start pixel the follower links edge pixels through their
 * eight neighbours, preferring the one straight ahead along the edge.
 * Direction 1 walks with the bright side on the right as seen on screen (y
 * growing downwards; the orientation of the contour set's chains), direction
 * -1 with the bright side on the left. The walk ends where no unlinked edge
 * pixel continues the chain, or before a pixel next to the region's
 * outermost row or column (whose sub-pixel position is unreliable). It is
 * closed when, after the chain has been more than 2 pixels away from the
 * start pixel, it comes back next to it (the chain is cut there), or when it
 * ends next to the start pixel after at least 4 pixels. The chain's sub-pixel positions are then
 * smoothed once with the kernel 1/4 (1 2 1) (an open chain keeps its end
 * points, a closed one wraps around) and resampled by arc length: point k
 * lies k step lengths along the chain from the first point. An open walk
 * stops at the last whole step; a closed walk stops before the point that
 * would lie less than half a step before the first point again, so its last
 * point is between half a step and one and a half steps from its first. At
 * most the maximum length of points is produced.
 *
 * Point values. x and y are in pixels relative to the image given to
 * kel_crawler_follow (pixel (x, y) is centred at (x, y)). The direction is
 * the edge normal towards the bright side in radians, 0..2pi, counting
 * counter-clockwise on screen (y negated before atan2), taken from the chord
 * over four chain pixels and interpolated between chain pixels. The strength
 * is the edge strength interpolated between chain pixels, rounded.
 *
 * Accuracy. On anti-aliased synthetic shapes with a contrast of 100 or more
 * and no noise, every point of a circle of radius 10 to 40 pixels and of an
 * arc lies within 0.3 pixel of the true edge, every point on the sides of a
 * square (upright or turned, more than 2 pixels from a corner) within 0.25
 * pixel, and the directions are within 5 degrees of the true normal. The
 * smoothing rounds corners off.
 *
 * Stop reasons (kel_crawler_get_stop): KEL_CRAWL_NONE (no walk yet, or the
 * result was cleared), KEL_CRAWL_END (the edge ended or fell below the edge
 * level), KEL_CRAWL_CLOSED (the walk came back to its start; the only reason
 * for which kel_crawler_get_closed gives 1), KEL_CRAWL_MAX_LENGTH (the
 * maximum length was reached first), KEL_CRAWL_BORDER (the edge ran into the
 * pixels next to the region's outermost row or column).
 *
 * The crawler file, little-endian throughout:
 *     uint32 magic 0x5752434B ("KCRW"), uint32 version 1,
 *     int32 edge level, int32 maximum length, int32 direction,
 *     int32 stop reason,
 *     double step length, double search radius, double start x, start y,
 * followed to the end of the file by the result in the contour file
 * encoding of kelkit/contour.h (magic "KTRC", version 1) whose settings are
 * the crawler's edge level, minimum length 1, the crawler's maximum length
 * and smoothing 1, whose points are the result points with the strength as
 * attribute, and which holds no contour when there is no point and otherwise
 * one contour from point 0 over every point, closed exactly when the stop
 * reason is KEL_CRAWL_CLOSED. A file is accepted only when the settings are
 * within the ranges of the setters below, the start is finite, the stop
 * reason is one of the five, there are no points exactly when the reason is
 * KEL_CRAWL_NONE, every strength is at least 0, and the contour block passes
 * every check of the contour file. A refused file leaves the crawler
 * unchanged.
 *
 * Status codes: 10 null crawler, null path, null output or index out of
 * range; 107 a setting out of range or a start point that is not finite or
 * lies outside the region; 1 null image; 13 the image is not BYTE; 108 the
 * region is not inside the image; 7 the region is smaller than 3 by 3; 14 no
 * edge pixel near the start point; 112 a file that cannot be written, opened
 * or read, or whose content is malformed; 4 out of memory. Each failure is
 * reported under the exported name of the function.
 */
#ifndef KELKIT_CRAWLER_H
#define KELKIT_CRAWLER_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The crawler (opaque; the library owns its layout). */
typedef struct KelCrawler KelCrawler;

/* Why the last walk stopped. */
enum {
  KEL_CRAWL_NONE = 0,
  KEL_CRAWL_END = 1,
  KEL_CRAWL_CLOSED = 2,
  KEL_CRAWL_MAX_LENGTH = 3,
  KEL_CRAWL_BORDER = 4
};

/* Walking directions. */
enum { KEL_CRAWL_BRIGHT_RIGHT = 1, KEL_CRAWL_BRIGHT_LEFT = -1 };

/* ---- record ------------------------------------------------------------ */

/* A new crawler with the defaults: edge level 25, step length 1.0, maximum
 * length 10000 points, direction 1, search radius 5.0, and no result.
 * *status (may be null) receives 0 or 4; on failure the result is null and
 * code 4 is reported under "kel_crawler_create". */
KELKIT_API KelCrawler *kel_crawler_create(int *status);

/* Deletes the crawler and its result. Null is allowed. */
KELKIT_API void kel_crawler_delete(KelCrawler *crawler);

/* Empties the result (no points, stop reason KEL_CRAWL_NONE, start 0, 0);
 * the settings stay. Null is allowed. */
KELKIT_API void kel_crawler_clear(KelCrawler *crawler);

/* ---- settings ---------------------------------------------------------- */

/* Each setter returns 0, 10 (null crawler) or 107 (value outside its range;
 * the crawler is unchanged). Ranges: edge level 1 .. 1000; step length 0.1 ..
 * 100 pixels; maximum length 1 .. 16777216 points; direction 1 or -1; search
 * radius 0 .. 100 pixels. A setting takes effect at the next walk; the
 * result of the last walk stays. Getters return the setting, or 0 for a null
 * crawler. */
KELKIT_API int kel_crawler_set_edge_level(KelCrawler *crawler, int level);
KELKIT_API int kel_crawler_get_edge_level(const KelCrawler *crawler);
KELKIT_API int kel_crawler_set_step(KelCrawler *crawler, double step);
KELKIT_API double kel_crawler_get_step(const KelCrawler *crawler);
KELKIT_API int kel_crawler_set_max_length(KelCrawler *crawler, int points);
KELKIT_API int kel_crawler_get_max_length(const KelCrawler *crawler);
KELKIT_API int kel_crawler_set_direction(KelCrawler *crawler, int direction);
KELKIT_API int kel_crawler_get_direction(const KelCrawler *crawler);
KELKIT_API int kel_crawler_set_search_radius(KelCrawler *crawler, double radius);
KELKIT_API double kel_crawler_get_search_radius(const KelCrawler *crawler);

/* ---- walk -------------------------------------------------------------- */

/* Follows the edge nearest to (start_x, start_y) inside the region (x, y, dx,
 * dy) of `img` (BYTE) as described above and replaces the crawler's result.
 * All coordinates are relative to `img`. The cost is one gradient pass over
 * the region, so give a region around the part to follow. Returns 0 or, in
 * this order of checks, 10 (null crawler), 1, 13, 108, 7, 107 (start not
 * finite or outside the region), 14 (no edge pixel near the start; the
 * result is then empty), 4. Other failures leave the result as it was. */
KELKIT_API int kel_crawler_follow(KelCrawler *crawler, const Image *img, int x, int y, int dx,
                                  int dy, double start_x, double start_y);

/* ---- result ------------------------------------------------------------ */

/* Number of points of the last walk; 0 for a null crawler. */
KELKIT_API int kel_crawler_get_point_count(const KelCrawler *crawler);

/* 1 when the last walk closed, else 0 (also for a null crawler). */
KELKIT_API int kel_crawler_get_closed(const KelCrawler *crawler);

/* The stop reason of the last walk (KEL_CRAWL_*); KEL_CRAWL_NONE for null. */
KELKIT_API int kel_crawler_get_stop(const KelCrawler *crawler);

/* The start point given to the last walk (each output may be null). Returns
 * 0 or 10 (null crawler; the outputs are then 0). */
KELKIT_API int kel_crawler_get_start(const KelCrawler *crawler, double *x, double *y);

/* Point `index`: x, y, direction and strength (each output may be null).
 * Returns 0, or 10 for a null crawler or an index outside 0 .. count - 1
 * (the outputs are then 0). */
KELKIT_API int kel_crawler_get_point(const KelCrawler *crawler, int index, double *x, double *y,
                                     double *direction, int *strength);

/* The result arrays (point-count entries each), valid until the crawler's
 * result changes; null for a null crawler or an empty result. */
KELKIT_API const double *kel_crawler_x(const KelCrawler *crawler);
KELKIT_API const double *kel_crawler_y(const KelCrawler *crawler);
KELKIT_API const double *kel_crawler_direction(const KelCrawler *crawler);
KELKIT_API const int *kel_crawler_strength(const KelCrawler *crawler);

/* ---- file -------------------------------------------------------------- */

/* Writes the crawler's settings and result to `path` in the format above.
 * Returns 0, 10 (null crawler or path) or 112. */
KELKIT_API int kel_save_crawler(const KelCrawler *crawler, const char *path);

/* Reads a file written by kel_save_crawler into the crawler, replacing its
 * settings and result. A malformed file changes nothing. Returns 0, 10 (null
 * crawler or path), 112 or 4. */
KELKIT_API int kel_load_crawler(KelCrawler *crawler, const char *path);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_CRAWLER_H */
