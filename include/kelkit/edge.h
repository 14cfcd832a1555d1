/*
 * kelkit/edge.h - edge and caliper tools: edges along one-row profiles,
 * calipers, straight edge lines fitted across an image, and edge-enhancement
 * filters.
 *
 * The step operator. All tools share one four-tap gradient: at position i of
 * a profile p (pixel values as signed integers)
 *     g(i)  = p[i+2] + p[i+3] - p[i] - p[i+1]     centred at i + 1.5
 * (the next two pixels minus the previous two), and, for searches that walk
 * towards smaller indices,
 *     gb(i) = p[i-3] + p[i-2] - p[i-1] - p[i]     centred at i - 1.5.
 * A positive value is a dark-to-bright step in the direction of the walk.
 * Positions are in pixel-index coordinates: pixel i lies at i, so a step
 * between pixels 9 and 10 is at 9.5.
 *
 * The profile tools read row 0 of a BYTE image (a caliper line already
 * sampled into a one-row image, or any image or view: further rows are
 * ignored). Failures are reported through im_error under the name given with
 * each function.
 */
#ifndef KELKIT_EDGE_H
#define KELKIT_EDGE_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A fitted edge line. theta is the angle in radians of the line's direction
 * (cos(theta), sin(theta)), in (-pi/2, pi/2], and distance its signed
 * distance from the image origin along the unit normal
 * (-sin(theta), cos(theta)): every point (x, y) of the line satisfies
 *     -x * sin(theta) + y * cos(theta) = distance
 * (the convention of kel_linear_regression). With y growing downwards, a
 * horizontal line y = c has theta = 0 and distance = c, a vertical line
 * x = c has theta = pi/2 and distance = -c, and a line falling to the right
 * has a positive theta. p1, p2 and p3 are points of the line at the start,
 * the middle and the end of the image (see kel_edge_find_image). */
typedef struct EdgeResults {
  double theta;
  double distance;
  double p1x, p1y;
  double p2x, p2y;
  double p3x, p3y;
} EdgeResults;

/* ---- profiles ---------------------------------------------------------- */

/* Finds one edge along row 0 of `profile` and returns its strength (the
 * signed step value at the edge), with its sub-pixel position in *position.
 *
 *   start      index to search from; -1 means dx - 1
 *   direction  1 searches forward (increasing index), anything else backward
 *              (forward uses g, backward gb)
 *   threshold  1000 selects strongest-edge mode, any other value first-edge
 *              mode
 *
 * First-edge mode finds the first index whose step value passes the
 * threshold: value > threshold when threshold >= 1 (dark to bright along the
 * walk), value < threshold when threshold <= 0 (bright to dark). It then
 * climbs to the peak, moving on while the values grow more extreme and
 * tolerating one sample that does not; two such samples in a row, or the end
 * of the profile, end the climb. Forward steps are tried from start to
 * dx - 4, backward steps from start down to 3.
 * Strongest mode returns the largest positive step value over the same range
 * (forward: the leftmost on ties; backward: the rightmost, met first).
 *
 * Sub-pixel position of the peak k: forward k + 1.5 + (g(k+1) - g(k-1)) /
 * g(k), taken as k + 1.5 at k = 0 and k = dx - 4; backward k - 1.5 +
 * (gb(k+1) - gb(k-1)) / gb(k), taken as k - 1.5 at k = 3 and k = start. The
 * divisor is the peak value itself.
 *
 * Nothing found: strength 0 with position 1.5 (forward first-edge, also when
 * dx - start < 5), -1.5 (backward, also when dx < 5 or start < 3), 0.0
 * (forward strongest with no positive step) or 1.5 (forward strongest with
 * fewer than 4 pixels from start to the end).
 *
 * Processor switch: while kel_use_mmx() is 1, the forward strongest-edge
 * search does not run and returns 0 with position 0.0 (a start fewer than 4
 * pixels from the end still gives 1.5); call kel_set_use_mmx(0) to have it
 * compute.
 *
 * Failures (strength 0, *position 0.0): 1 null image, 10 null position,
 * 13 not BYTE, 17 a profile with no row, 10 "start out of range" when a
 * search would begin outside the profile (forward from below 0, backward from
 * dx or beyond). */
KELKIT_API int kel_edge_find_array(const Image *profile, int start, int direction, int threshold,
                                   double *position);

/* Inner caliper: from `start` (-2 means dx / 2, -1 means dx - 1) a forward
 * search gives *position1 and a backward search *position2, both with
 * `threshold` as in kel_edge_find_array (1000: strongest edges). A bright bar
 * around start is measured with a threshold <= 0, a dark bar with one >= 1.
 * *width = |position1 - position2|. Returns the smaller of the two strengths.
 * Failures of the searches (13 not BYTE, 10 start out of range) are reported
 * under "kel_edge_find_array", once per search. Null image: 1; null output:
 * 10; after a null argument everything is 0. */
KELKIT_API int kel_caliper_id_array(const Image *profile, int threshold, int start, double *width,
                                    double *position1, double *position2);

/* Outer caliper: a forward search from 0 gives *position1, a backward search
 * from dx - 1 gives *position2; width and result as kel_caliper_id_array. */
KELKIT_API int kel_caliper_od_array(const Image *profile, int threshold, double *width,
                                    double *position1, double *position2);

/* Lists the rising and falling edges along row 0 of a BYTE profile.
 *
 * A walk over i = 0 .. dx - 4 enters a rising edge when g(i) > threshold and
 * a falling edge when g(i) < -threshold, and follows it while the values grow
 * more extreme. The edge ends at the first index i whose value does not
 * (g(i) <= best for rising, >= best for falling): if fewer than max_rising
 * (max_falling) edges are stored, i (the index just after the peak) is
 * appended to rising[] (falling[]) and `step` further indices are skipped.
 * An edge still open at the end of the profile is not stored. A profile
 * narrower than 5 pixels has no edges.
 *
 *   step           indices skipped after a stored edge; below 0 counts as 0
 *   *n_rising      number of rising edges stored (at most max_rising)
 *   *n_falling     number of falling edges stored (at most max_falling)
 *   rising[], falling[]  room for max_rising and max_falling entries; may be
 *                  null when the corresponding maximum is below 1
 *
 * Returns 0, or 1 null image, 10 null count or array, 13 not BYTE, 17 a
 * profile with no row. After a failure both counts are 0 (when their
 * pointers are not null). */
KELKIT_API int kel_edge_count_array(const Image *profile, int step, int threshold, int max_rising,
                                    int max_falling, unsigned int *n_rising,
                                    unsigned int *n_falling, unsigned int *rising,
                                    unsigned int *falling);

/* Lists rising and falling edges with sub-pixel positions, in single
 * precision. step < 0 counts as 0 and threshold < 1 as 1.
 *
 * Each stretch of g(i) >= threshold is a rising edge, each stretch of
 * g(i) <= -threshold a falling edge, located at the stretch's extreme (its
 * first index i when several samples share the extreme value):
 *   - several samples share it (count c >= 2): i + 1.5 + (c - 1) * 0.5
 *     (two equal samples at 5 and 6 give 7.0);
 *   - a single extreme inside the profile: the vertex of the parabola through
 *     g(i-1), g(i), g(i+1), i.e. i + 1.5 + (g(i-1) - g(i+1)) /
 *     (2 * (g(i-1) - 2 g(i) + g(i+1)));
 *   - a single extreme at the first or last step index: i + 1.5.
 * A rising stretch that runs to the end of the profile counts; a falling one
 * does not. Edges are stored in order of position while fewer than
 * max_rising (max_falling) are stored, and `step` indices are skipped after
 * each stored edge. A profile of 4 pixels or fewer has no edges.
 *
 * Returns 0, or (all reported under "kel_edge_count_array") 1 null image,
 * 10 null count or array, 13 not BYTE, 17 no row, 4 out of memory. */
KELKIT_API int kel_edge_count_array_float(const Image *profile, int step, int threshold,
                                          int max_rising, int max_falling, unsigned int *n_rising,
                                          unsigned int *n_falling, float *rising, float *falling);

/* ---- straight edge lines ---------------------------------------------- */

/* Fits a straight edge line across a BYTE image or view.
 *
 *   vertical   0: a horizontal line, searched down each column; non-zero: a
 *              vertical line, searched along each row
 *   threshold  a column (row) contributes where its strongest step value
 *              exceeds threshold
 *   polarity   non-zero: dark above (left of) bright; 0: bright above (left
 *              of) dark
 *   coords     coordinate mode of p1, p2, p3: 1 image coordinates; bit 0
 *              clear adds a view's x0 and y0 (master coordinates); bit 1 set
 *              then replaces each y by H - y (H the master's dy for a view
 *              with bit 0 clear, else the image's dy)
 *
 * Horizontal line: in each column the step values g(r) over rows
 * r = 0 .. dy - 7 are searched for the largest one above threshold (the
 * topmost on ties); a column whose best lies at r = 0, or that has none,
 * contributes nothing. Its edge row is r + 1.5 + (g(r+1) - g(r-1)) / g(r).
 * With at least 4 contributing columns the line y = a + b x is fitted by
 * ordinary least squares, and
 *     p1 = (0, a), p2 = (dx/2, a + b dx/2), p3 = (dx, a + b dx)
 * (dx/2 in integer division); theta and distance are those of the line
 * through (0, a) and (dx - 1, a + b (dx - 1)) as kel_linear_regression
 * gives them: theta = atan(b) and distance = a cos(theta). The vertical
 * line is the same with rows and columns exchanged: x = a + b y,
 *     p1 = (a, 0), p2 = (a + b dy/2, dy/2), p3 = (a + b dy, dy),
 * theta = pi/2 - atan(b) for b >= 0 and -pi/2 - atan(b) for b < 0, and
 * distance = -a sin(theta).
 * With fewer than 4 contributing columns (rows) every field is 0 and the
 * coordinate mode is not applied. theta and distance are always in the
 * image's own coordinates.
 *
 * Returns 0, or 1 null image, 10 null results, 13 not BYTE (reported under
 * "kel_edge_find_image"), and 17 when the image has fewer than 8 rows
 * (reported under "kel_find_hline") or, for the vertical line, fewer than 8
 * columns (under "kel_find_vline"). The record is zeroed before any check
 * that can fail after it is known to be non-null. */
KELKIT_API int kel_edge_find_image(const Image *img, int vertical, int threshold, int polarity,
                                   unsigned int coords, EdgeResults *results);

/* A new results record with every field 0, or null (code 4 reported under
 * "kel_edge_create_results"). Free it with kel_edge_delete_results. */
KELKIT_API EdgeResults *kel_edge_create_results(void);

/* Frees a record made by kel_edge_create_results. Null: code 10. */
KELKIT_API int kel_edge_delete_results(EdgeResults *results);

/* Fields of a results record. A null record reports code 10 under the
 * accessor's name and gives 0.0. */
KELKIT_API double kel_edge_get_theta(const EdgeResults *results);
KELKIT_API double kel_edge_get_distance(const EdgeResults *results);
KELKIT_API double kel_edge_get_p1x(const EdgeResults *results);
KELKIT_API double kel_edge_get_p1y(const EdgeResults *results);
KELKIT_API double kel_edge_get_p2x(const EdgeResults *results);
KELKIT_API double kel_edge_get_p2y(const EdgeResults *results);
KELKIT_API double kel_edge_get_p3x(const EdgeResults *results);
KELKIT_API double kel_edge_get_p3y(const EdgeResults *results);

/* ---- edge-enhancement filters ------------------------------------------ */

/* Horizontal edges, in place: each pixel of the written band becomes the
 * difference of two horizontal box sums taken separation + 1 rows apart, top
 * minus bottom.
 *
 * With S_r[j] the sum of the `size` pixels j .. j + size - 1 of row r, for
 * j = 0 .. dx - e(size) - 1 and k = 0 .. dy - e(separation + 2) - 1 (e(n) is
 * n rounded down to even), the pixel at row k + (separation + 2) / 2, column
 * j + size / 2 becomes
 *     d = S_k[j] - S_{k + separation + 1}[j]
 *     d = d << shift (shift >= 0) or d >> -shift (arithmetic, shift < 0)
 *     d = d + offset
 *     mode 2: -d; mode 3: |d|; any other mode: d
 * clamped to 0..255. The arithmetic is exact (no wrap-around, whatever the
 * shift). Pixels outside the band keep their values.
 *
 * Checks in this order: 1 null image; 13 not BYTE; 7 "Area too small!" when
 * dx < size or dy < separation + 2; 10 "separation < 0"; 10 "size < 1";
 * 4 out of memory. */
KELKIT_API int kel_horizontal_edge_byte(Image *img, int separation, int size, int shift, int offset,
                                        int mode);

/* Vertical edges, in place: the same with rows and columns exchanged, except
 * the sign. S[j] is the sum of the `size` pixels of column j in rows
 * r .. r + size - 1, for r = 0 .. dy - e(size) - 1 and j = 0 .. dx -
 * e(separation + 2) - 1; the pixel at row r + size / 2, column
 * j + (separation + 2) / 2 takes d = S[j + separation + 1] - S[j] (right
 * minus left), then shift, offset, mode and clamp as above. Checks: 1, 13,
 * 7 "Area too small!" when dx < separation + 2 or dy < size, 10
 * "separation < 0", 10 "size < 1", 4. */
KELKIT_API int kel_vertical_edge_byte(Image *img, int separation, int size, int shift, int offset,
                                      int mode);

/* The same filters for BYTE, WORD and FLOAT images. BYTE results are those of
 * the _byte forms. WORD results are computed exactly in integers as above and
 * clamped to 0..65535. FLOAT results are d * 2^shift + offset in double
 * precision (a negative shift divides, without rounding), then mode 2 or 3,
 * stored as float without clamping.
 * Checks in this order: 1 null image; 7 "Area too small!"; 6 type not BYTE,
 * WORD or FLOAT; 10 "separation < 0"; 10 "size < 1"; 4 out of memory. */
KELKIT_API int kel_horizontal_edge(Image *img, int separation, int size, int shift, int offset,
                                   int mode);
KELKIT_API int kel_vertical_edge(Image *img, int separation, int size, int shift, int offset,
                                 int mode);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_EDGE_H */
