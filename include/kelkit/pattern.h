/*
 * kelkit/pattern.h - test patterns with exact, documented formulas, for
 * ground truth in tests, demonstrations and camera set-up.
 *
 * Every pattern fills a whole image or view of any pixel type with values
 * between `low` and `high`: v = low + (high - low) * f(x, y), where f lies in
 * 0..1 and pixel (x, y) is the unit square centred on (x, y). Geometric
 * patterns are anti-aliased: f is the covered fraction of the pixel, taken as
 * the mean over a 16 x 16 grid of sub-samples at (x - 15/32 + i/16,
 * y - 15/32 + j/16). BYTE and WORD values are rounded half up and clamped to
 * the type's range; FLOAT values are stored as computed (in double, then
 * rounded to float).
 *
 * Failures are reported through im_error under the function's name: 1 null
 * image, 10 a bad argument (the message names it; sizes and periods must be
 * positive and finite, levels finite), 6 an unsupported pixel type, 17 an
 * empty image.
 */
#ifndef KELKIT_PATTERN_H
#define KELKIT_PATTERN_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Checkerboard of squares of side `square` turned by `angle` degrees
 * (counter-clockwise on screen) about (x0, y0), where four squares meet; f
 * is 1 on the square whose corner is at (x0, y0) and that lies towards
 * larger u and v, with u = (x - x0) cos a - (y - y0) sin a and v = (x - x0)
 * sin a + (y - y0) cos a: f = 1 where floor(u / square) + floor(v / square)
 * is even. */
KELKIT_API int kel_pattern_checkerboard(Image *img, double square, double x0, double y0,
                                        double angle, double low, double high);

/* Gaussian spot: f = exp(-((x - cx)^2 + (y - cy)^2) / (2 sigma^2)) at the
 * pixel centre (not anti-aliased). */
KELKIT_API int kel_pattern_gaussian(Image *img, double cx, double cy, double sigma, double low,
                                    double high);

/* Wedge (linear ramp) rising along the direction `angle` (degrees,
 * counter-clockwise on screen): with d(x, y) = x cos a - y sin a and dmin,
 * dmax its extremes over the image's pixel centres, f = (d - dmin) / (dmax -
 * dmin) (0 for a one-pixel image). */
KELKIT_API int kel_pattern_wedge(Image *img, double angle, double low, double high);

/* Bar chart: vertical bars of rising frequency from left to right. The
 * spatial frequency grows linearly from 1 / period_start at x = -0.5 to
 * 1 / period_end at x = dx - 0.5; f = 1 inside a bar, where the phase
 * 2 pi (x' / period_start + (1 / period_end - 1 / period_start) x'^2 / (2
 * dx)), x' = x + 0.5, has a positive sine (anti-aliased along x). */
KELKIT_API int kel_pattern_bar_chart(Image *img, double period_start, double period_end, double low,
                                     double high);

/* Grid of lines `line_width` wide every `spacing` pixels in x and y, the
 * first lines centred on x = x0 and y = y0; f = 1 on a line (anti-aliased).
 * line_width < spacing. */
KELKIT_API int kel_pattern_grid(Image *img, double spacing, double line_width, double x0, double y0,
                                double low, double high);

/* Wave: f = 0.5 + 0.5 cos(2 pi (x cos a - y sin a) / period + phase) at the
 * pixel centre, a plane wave travelling along `angle` degrees
 * (counter-clockwise on screen); `phase` in radians. */
KELKIT_API int kel_pattern_wave(Image *img, double period, double angle, double phase, double low,
                                double high);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_PATTERN_H */
