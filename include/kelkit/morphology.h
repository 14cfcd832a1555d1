/*
 * kelkit/morphology.h - grey and binary morphology of any size and pixel
 * type: erosion, dilation and their compositions with 3x3 squares (the "2"
 * forms), rectangles (_rect), lines (_line), grey structuring elements with
 * heights (_surf) and binary rectangles (_bin_rect); hit-or-miss, thinning
 * and reconstruction of binary images.
 *
 * Common rules of every operator here:
 *   - The operator works on the common top-left area of its images; images
 *     may be views; nothing outside the destination's area is written.
 *   - Border: every output pixel is computed. Members of a structuring
 *     element that fall outside the area are left out (the element is cut at
 *     the border), which keeps opening and closing idempotent; for
 *     rectangles and for lines at 0 and 90 degrees this is the same as the
 *     other filters' rule of replicated edge pixels. A pixel whose element has
 *     no member inside the area becomes the type's largest value under
 *     erosion and its smallest under dilation (FLOAT: +-infinity).
 *     Hit-or-miss replicates edge pixels; thinning, which follows
 *     connectivity, counts pixels outside the area as background.
 *   - In place: the destination may be the source (or share its pixels).
 *   - Erosion takes the minimum over the structuring element placed at each
 *     pixel, dilation the maximum over the element reflected through its
 *     anchor, so opening (erosion, then dilation) and closing (dilation, then
 *     erosion) are idempotent. An element of k pixels along an axis has its
 *     anchor at index (k - 1) / 2.
 *   - The `op` argument (KelMorphOp) selects the operation; top hat is
 *     src - opening, bottom hat closing - src, gradient dilation - erosion
 *     (BYTE and WORD differences are limited at 0).
 *   - Checks, in this order, each reported through im_error under the
 *     operator's own name: 1 a null image; 10 a null pattern; 8 ("Unknown
 *     operation") an op outside KelMorphOp; 13 images of different types
 *     (or not BYTE, for the binary operators), 6 an unsupported type; 10 a
 *     structuring element out of range; 7 ("Area too small!") an area
 *     smaller than the element's bounding box; 17 an empty area for the
 *     operators without an element; 4 memory could not be obtained.
 */
#ifndef KELKIT_MORPHOLOGY_H
#define KELKIT_MORPHOLOGY_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Largest side of a rectangle or line, and of a grey element or pattern. */
#define KEL_MORPH_MAX 1023
#define KEL_SURF_MAX 63

enum KelMorphOp {
  KEL_MORPH_ERODE = 0,
  KEL_MORPH_DILATE = 1,
  KEL_MORPH_OPEN = 2,
  KEL_MORPH_CLOSE = 3,
  KEL_MORPH_TOPHAT = 4,
  KEL_MORPH_BOTHAT = 5,
  KEL_MORPH_GRADIENT = 6
};

/*
 * 3x3 square on any pixel type (source and destination of one type), with
 * the border rule above (unlike kel_erode and kel_dilate of kelkit/filter.h,
 * which are BYTE only and repeat computed pixels at the border).
 * Returns 0, 1, 8 (kel_morph2), 13, 6, 7 or 4.
 */
KELKIT_API int kel_erode2(const Image *src, Image *dst);
KELKIT_API int kel_dilate2(const Image *src, Image *dst);
KELKIT_API int kel_morph2(const Image *src, Image *dst, int op);

/*
 * Rectangle of kx by ky pixels (1..KEL_MORPH_MAX each) on any pixel type.
 * The cost per pixel hardly depends on the size (doubling across rows, the
 * van Herk / Gil-Werman scheme down columns). Returns 0, 1, 8, 13, 6, 10, 7
 * or 4.
 */
KELKIT_API int kel_erode_rect(const Image *src, Image *dst, int kx, int ky);
KELKIT_API int kel_dilate_rect(const Image *src, Image *dst, int kx, int ky);
KELKIT_API int kel_morph_rect(const Image *src, Image *dst, int op, int kx, int ky);

/*
 * Line of `length` pixels (1..KEL_MORPH_MAX) through the anchor at `angle`
 * 0 (horizontal), 45 (rising to the right), 90 (vertical) or 135 (falling to
 * the right) degrees; any other angle gives 10. Any pixel type. The area must
 * hold the line's bounding box. Returns 0, 1, 8, 13, 6, 10, 7 or 4.
 */
KELKIT_API int kel_erode_line(const Image *src, Image *dst, int length, int angle);
KELKIT_API int kel_dilate_line(const Image *src, Image *dst, int length, int angle);
KELKIT_API int kel_morph_line(const Image *src, Image *dst, int op, int length, int angle);

/*
 * Grey (non-flat) structuring element of kx by ky positions (1..KEL_SURF_MAX
 * each, raster order): `mask` marks the members (nonzero; null: every
 * position; at least one member), `heights` gives each position's height
 * (finite; null: flat). Erosion is min f(x + o) - h(o) and dilation
 * max f(x - o) + h(o) over the members o, rounded and clamped to the pixel
 * type. Any pixel type. Returns 0, 1, 8, 13, 6, 10, 7 or 4.
 */
KELKIT_API int kel_erode_surf(const Image *src, Image *dst, const unsigned char *mask,
                              const float *heights, int kx, int ky);
KELKIT_API int kel_dilate_surf(const Image *src, Image *dst, const unsigned char *mask,
                               const float *heights, int kx, int ky);
KELKIT_API int kel_morph_surf(const Image *src, Image *dst, int op, const unsigned char *mask,
                              const float *heights, int kx, int ky);

/*
 * Binary rectangle on two-valued BYTE images: a pixel is object when it is
 * not 0; the result holds 255 for object and 0 for background (so
 * KEL_MORPH_GRADIENT gives the objects' inner and outer boundary pixels).
 * Returns 0, 1, 8, 13, 10, 7 or 4.
 */
KELKIT_API int kel_erode_bin_rect(const Image *src, Image *dst, int kx, int ky);
KELKIT_API int kel_dilate_bin_rect(const Image *src, Image *dst, int kx, int ky);
KELKIT_API int kel_morph_bin_rect(const Image *src, Image *dst, int op, int kx, int ky);

/*
 * Hit-or-miss on a binary BYTE image: `pattern` holds kx by ky entries
 * (1..KEL_SURF_MAX each, raster order, anchored as above): 1 must be object,
 * 0 must be background, any other value does not matter; at least one entry
 * must be 0 or 1 (else 10). The result is 255 where the pattern fits, else 0.
 * Returns 0, 1, 10, 13, 7 or 4.
 */
KELKIT_API int kel_hit_or_miss(const Image *src, Image *dst, const signed char *pattern, int kx,
                               int ky);

/*
 * Thinning of a binary BYTE image to a skeleton one pixel wide that keeps
 * each object's 8-connectivity (two-pass parallel thinning repeated until
 * nothing changes; pixels outside the area count as background).
 * Returns 0, 1, 13, 17 or 4.
 */
KELKIT_API int kel_thin(const Image *src, Image *dst);

/*
 * Binary reconstruction: the 8-connected objects of `mask` that hold at
 * least one object pixel of `marker` (255), everything else 0. All three
 * images BYTE; dst may be either input. Returns 0, 1, 13, 17 or 4.
 */
KELKIT_API int kel_reconstruct(const Image *marker, const Image *mask, Image *dst);

/*
 * Reconstruction from the border: kel_fill_holes sets every background
 * pixel that is not 4-connected to the border (a hole of an 8-connected
 * object) to 255, objects stay 255; kel_clear_border removes the
 * 8-connected objects that touch the border. Returns 0, 1, 13, 17 or 4.
 */
KELKIT_API int kel_fill_holes(const Image *src, Image *dst);
KELKIT_API int kel_clear_border(const Image *src, Image *dst);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_MORPHOLOGY_H */
