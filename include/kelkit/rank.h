/*
 * kelkit/rank.h - rank and median filters over rectangles.
 *
 * Rules as for kelkit/convolve.h: the common top-left area, views, the
 * border of replicated edge pixels (every output pixel is computed), in-place
 * use allowed.
 *
 * Ways of computing, all exact: windows of up to 49 pixels sort their
 * members with a sorting network over whole rows; larger BYTE windows slide
 * histograms (16 coarse and 256 fine bins per column) whose cost per pixel
 * does not grow with the window; larger WORD windows slide a two-level
 * window histogram (cost proportional to the window's height).
 */
#ifndef KELKIT_RANK_H
#define KELKIT_RANK_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Largest window side (BYTE and WORD), and most pixels of a FLOAT window. */
#define KEL_RANK_MAX 255
#define KEL_RANK_FLOAT_MEMBERS 25

/*
 * Each pixel becomes the value of rank `rank` (0 = the minimum, kx * ky - 1
 * = the maximum) among the kx by ky pixels of the window around it (sides
 * 1..KEL_RANK_MAX; the anchor at index (k - 1) / 2). BYTE and WORD take any
 * such window, FLOAT windows of up to KEL_RANK_FLOAT_MEMBERS pixels (5x5).
 * Source and destination of one type.
 * Checks in order, reported under the operator's name: 1 a null image; 13
 * types differ, 6 unsupported type; 10 a window side out of range, a FLOAT
 * window above 25 pixels or a rank outside 0..kx*ky-1; 7 ("Area too small!")
 * an area smaller than the window; 4 memory could not be obtained.
 */
KELKIT_API int kel_rank_rect(const Image *src, Image *dst, int kx, int ky, int rank);

/*
 * Median: kel_rank_rect with rank (kx * ky - 1) / 2 (the lower median of an
 * even count). Returns as kel_rank_rect.
 */
KELKIT_API int kel_median_rect(const Image *src, Image *dst, int kx, int ky);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_RANK_H */
