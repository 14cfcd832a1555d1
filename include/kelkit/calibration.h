/*
 * kelkit/calibration.h - camera-to-world transforms: an affine or lens-
 * distorted pixel-to-world transform (kel_xfm_*), a plane-to-plane
 * homography (kel_perspective_xfm_*), chessboard corner finding and
 * rendering, and camera calibration from chessboard views.
 *
 * Pixel coordinates put (0, 0) at the centre of the top-left pixel, x to the
 * right and y downwards. World coordinates are points (X, Y) of a plane in
 * the caller's unit (millimetres, say).
 *
 * The camera model of an xfm maps a world point to a pixel in three steps:
 *   ideal (x, y)   = plane homography applied to (X, Y)  (3 x 3, row-major,
 *                    x = (h0 X + h1 Y + h2) / w, y = (h3 X + h4 Y + h5) / w,
 *                    w = h6 X + h7 Y + h8, which must be > 0)
 *   distorted      xd = x (1 + k1 r^2 + k2 r^4) + 2 p1 x y + p2 (r^2 + 2 x^2)
 *                  yd = y (1 + k1 r^2 + k2 r^4) + p1 (r^2 + 2 y^2) + 2 p2 x y,
 *                    r^2 = x^2 + y^2
 *   pixel          u = fx xd + skew yd + cx, v = fy yd + cy
 * The intrinsics are given as {fx, fy, skew, cx, cy} and the distortion as
 * {k1, k2, p1, p2}. The reverse map inverts the distortion by Newton's
 * method.
 */
#ifndef KELKIT_CALIBRATION_H
#define KELKIT_CALIBRATION_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- camera-to-world transform -------------------------------------- */

typedef struct KelXfm KelXfm;

enum KelXfmKind {
  KEL_XFM_NONE = 0,       /* not computed */
  KEL_XFM_AFFINE = 1,     /* affine map from point pairs */
  KEL_XFM_DISTORTION = 2, /* affine map with lens distortion from point pairs */
  KEL_XFM_CAMERA = 3      /* full camera model (set, or from a calibration) */
};

/* A new transform, not yet computed. *status (optional) receives 0, or 4
 * when memory could not be obtained (then null is returned and the failure
 * is reported under "kel_xfm_create"). */
KELKIT_API KelXfm *kel_xfm_create(int *status);
/* Frees the transform; null is ignored. */
KELKIT_API void kel_xfm_delete(KelXfm *xfm);

/* Computes an affine map from n >= 3 point pairs: pixel (px[i], py[i]) and
 * world (wx[i], wy[i]), by least squares on the pixel residuals. The
 * residuals (kel_xfm_get_rms, kel_xfm_get_max_residual) are the distances in
 * pixels between each pixel and its world point mapped into the image.
 * Returns 0; 10 null transform ("xfm is NULL") or array ("pointer is
 * NULL"), n < 3 ("n < 3"), a value that is not finite; 16 the world points
 * are collinear or the map is singular ("Singular map"). The transform is
 * unchanged after a failure. */
KELKIT_API int kel_xfm_compute_affine(KelXfm *xfm, int n, const double *px, const double *py,
                                      const double *wx, const double *wy);

/* Computes an affine map with radial (k1, k2) and tangential (p1, p2) lens
 * distortion from n >= 6 point pairs by a Levenberg-Marquardt fit of the
 * pixel residuals. The distortion is centred on the pixel (cx, cy) (the
 * optical centre, usually the image centre) and normalised by the pixels'
 * root-mean-square distance from it, which become fx = fy of the model.
 * Returns 0; 10 null transform or array, n < 6 ("n < 6"), a value that is
 * not finite; 16 a singular map; 14 the fit did not converge to a usable
 * model ("No fit"). The transform is unchanged after a failure. */
KELKIT_API int kel_xfm_compute_distortion(KelXfm *xfm, int n, const double *px, const double *py,
                                          const double *wx, const double *wy, double cx, double cy);

/* Sets the full camera model (intrinsics[5], distortion[4] or null for none,
 * plane[9]); the transform becomes KEL_XFM_CAMERA with no residuals.
 * Returns 0; 10 null pointer, a value that is not finite, fx or fy 0, or a
 * singular plane matrix ("Bad camera model"). */
KELKIT_API int kel_xfm_set_camera(KelXfm *xfm, const double *intrinsics, const double *distortion,
                                  const double *plane);

/* Reads the camera model (any of the three arrays may be null). An affine
 * transform reads as unit intrinsics, no distortion and its affine plane
 * matrix. Returns 0; 10 null transform; 10 not computed ("Must
 * initialize"). */
KELKIT_API int kel_xfm_get_camera(const KelXfm *xfm, double *intrinsics, double *distortion,
                                  double *plane);

/* Maps a pixel to the world plane, and a world point to a pixel.
 * Returns 0; 10 null pointer; 10 not computed ("Must initialize"); 10 a
 * point without an image ("Point outside the model": beyond the region
 * where the distortion can be inverted, at infinity, or behind the
 * camera). */
KELKIT_API int kel_xfm_pixel_to_world(const KelXfm *xfm, double px, double py, double *wx,
                                      double *wy);
KELKIT_API int kel_xfm_world_to_pixel(const KelXfm *xfm, double wx, double wy, double *px,
                                      double *py);

/* Rectifies `src` onto the world plane through the full model (the lens
 * distortion removed): dst pixel (i, j) shows the world point
 * (x0 + i / scale, y0 + j / scale), scale being dst pixels per world unit,
 * read from src by bilinear interpolation (im_get_interpolated_pixel).
 * Pixels whose world point has no image, or falls outside src's pixel
 * centres, are set to 0. BYTE and WORD values are rounded. src and dst must
 * be different images of one pixel type (BYTE, WORD or FLOAT); either may
 * be a view.
 * Returns 0; 1 null image; 10 null xfm ("xfm is NULL"), not computed
 * ("Must initialize"), or an origin or scale that is not finite and > 0;
 * 106 dst is src or overlaps it; 13 different types; 6 unsupported type; 17
 * an empty image. */
KELKIT_API int kel_xfm_rectify(const KelXfm *xfm, const Image *src, Image *dst, double x0,
                               double y0, double scale);

/* Accessors: the kind (KEL_XFM_*, 0 for null), the root-mean-square and the
 * largest pixel residual of the last fit, and the number of point pairs it
 * used (0 for a set camera). They check nothing else. */
KELKIT_API int kel_xfm_get_kind(const KelXfm *xfm);
KELKIT_API double kel_xfm_get_rms(const KelXfm *xfm);
KELKIT_API double kel_xfm_get_max_residual(const KelXfm *xfm);
KELKIT_API int kel_xfm_get_point_count(const KelXfm *xfm);

/* Saves a computed transform as a text file ("kelkit-xfm 1" followed by
 * keyed lines of numbers written exactly), and loads one. The loader reads
 * at most 64 KiB, accepts only the keys in their order with finite values,
 * a known kind, non-zero focal lengths and an invertible plane matrix, and
 * leaves the transform unchanged when it refuses.
 * Returns 0; 10 null pointer; 10 not computed (save, "Must initialize");
 * 112 the file cannot be opened or written ("Cannot open file", "Cannot
 * write file") or is not a valid transform file ("Bad xfm file"). */
KELKIT_API int kel_xfm_save(const KelXfm *xfm, const char *path);
KELKIT_API int kel_xfm_load(KelXfm *xfm, const char *path);

/* ---- plane-to-plane homography ---------------------------------------- */

typedef struct KelPerspectiveXfm KelPerspectiveXfm;

/* A new homography, not yet computed; *status (optional) as kel_xfm_create,
 * reported under "kel_perspective_xfm_create". */
KELKIT_API KelPerspectiveXfm *kel_perspective_xfm_create(int *status);
KELKIT_API void kel_perspective_xfm_delete(KelPerspectiveXfm *xfm);

/* Computes the homography that maps world (wx[i], wy[i]) to pixel (px[i],
 * py[i]) from n >= 4 pairs: a linear estimate on normalised coordinates,
 * then a Levenberg-Marquardt refinement of the pixel distances. The world
 * points fix which side of the horizon (the world line h6 X + h7 Y + h8 = 0)
 * is seen; points of the other side are refused by the maps and left out
 * of rectified images.
 * Returns 0; 10 null pointer ("xfm is NULL", "pointer is NULL"), n < 4 ("n
 * < 4"), a value that is not finite; 16 degenerate points (three of four on
 * a line, all on a line: "Singular map"; world points on both sides of the
 * horizon). Unchanged after a failure. */
KELKIT_API int kel_perspective_xfm_compute(KelPerspectiveXfm *xfm, int n, const double *px,
                                           const double *py, const double *wx, const double *wy);

/* Maps pixel to world and back. Returns 0; 10 null pointer; 10 not
 * computed ("Must initialize"); 10 a point on or beyond the horizon ("Point
 * outside the model"). */
KELKIT_API int kel_perspective_xfm_pixel_to_world(const KelPerspectiveXfm *xfm, double px,
                                                  double py, double *wx, double *wy);
KELKIT_API int kel_perspective_xfm_world_to_pixel(const KelPerspectiveXfm *xfm, double wx,
                                                  double wy, double *px, double *py);

/* The world-to-pixel matrix, row-major, h[8] = 1. Returns 0; 10 null
 * pointer; 10 not computed. */
KELKIT_API int kel_perspective_xfm_get_matrix(const KelPerspectiveXfm *xfm, double *h);
/* Residuals of the last fit in pixels and the number of pairs; 0 for null
 * or not computed. */
KELKIT_API double kel_perspective_xfm_get_rms(const KelPerspectiveXfm *xfm);
KELKIT_API double kel_perspective_xfm_get_max_residual(const KelPerspectiveXfm *xfm);
KELKIT_API int kel_perspective_xfm_get_point_count(const KelPerspectiveXfm *xfm);

/* Rectifies `src` onto the world plane: dst pixel (i, j) shows the world
 * point (x0 + i / scale, y0 + j / scale), scale being dst pixels per world
 * unit, read from src by bilinear interpolation (im_get_interpolated_pixel).
 * Pixels whose world point falls outside src's pixel centres, or on or
 * beyond the horizon, are set to 0. BYTE and WORD values are rounded. src
 * and dst must be different images of one pixel type (BYTE, WORD or
 * FLOAT); either may be a view.
 * Returns 0; 1 null image; 10 null xfm, not computed, or a scale that is
 * not finite and > 0; 106 dst is src or overlaps it; 13 different types; 6
 * unsupported type; 17 an empty image. */
KELKIT_API int kel_perspective_xfm_rectify(const KelPerspectiveXfm *xfm, const Image *src,
                                           Image *dst, double x0, double y0, double scale);

/* Saves ("kelkit-perspective-xfm 1", the matrix, the seen side and the
 * residuals) and loads, with the same checks and codes as kel_xfm_save and
 * kel_xfm_load ("Bad xfm file" for an invalid file). */
KELKIT_API int kel_perspective_xfm_save(const KelPerspectiveXfm *xfm, const char *path);
KELKIT_API int kel_perspective_xfm_load(KelPerspectiveXfm *xfm, const char *path);

/* ---- chessboards and camera calibration -------------------------------- */

/* Finds the cols x rows inner corners of a chessboard (corners where four
 * squares meet) in a grey image, at any rotation and under perspective,
 * moderate blur, noise and uneven light, to sub-pixel precision. Corners
 * are returned row by row: corner (i, j), i < cols along a row and j < rows,
 * at index j * cols + i, so that world point (i * square, j * square)
 * belongs to it; the grid runs with i to the right of j as seen in the
 * image (the world axes are not mirrored), and corner 0 is the one of the
 * four grid ends nearest the image's top-left. A square board (cols ==
 * rows) may come out turned by a quarter. Needs squares of about 8 pixels
 * or more. BYTE, WORD or FLOAT; the image may be a view.
 * Returns 0; 1 null image; 10 null x or y, cols or rows < 2; 6 unsupported
 * type; 7 image smaller than 16 x 16 ("Area too small!"); 14 no board of
 * that size found ("Chessboard not found"). x and y are untouched after a
 * failure. */
KELKIT_API int kel_chessboard_find(const Image *img, int cols, int rows, double *x, double *y);

/* Renders a chessboard of (cols + 1) x (rows + 1) squares of side `square`
 * (world units), whose inner corner (i, j) lies at world (i * square,
 * j * square), as seen through `camera`: dark squares 40, light squares
 * 215, a light margin one square wide around the board and a background
 * of 110 beyond it. Each pixel takes the exact mean over its area, then a
 * Gaussian blur of standard deviation `blur` pixels (0 for none), uneven
 * light (brightness falling linearly by `shading`, 0..0.9, from the left
 * edge to the right) and Gaussian noise of standard deviation `noise` grey
 * levels from the seed are applied; results are rounded into 0..255. BYTE
 * only; dst may be a view.
 * Returns 0; 1 null image; 10 null or uncomputed camera, cols or rows < 2,
 * square, blur, noise or shading out of range; 6 not BYTE; 17 empty image. */
KELKIT_API int kel_chessboard_render(Image *dst, const KelXfm *camera, int cols, int rows,
                                     double square, double blur, double noise, double shading,
                                     unsigned seed);

/* Calibrates a camera from `views` >= 2 views of a planar target: view v
 * holds counts[v] >= 6 points, stored one view after another in px, py
 * (pixels) and wx, wy (world points on the target plane). A closed-form
 * estimate from the views' homographies (zero skew; when strong distortion
 * defeats it, focal lengths alone about the pixels' centre, or a start at
 * the pixels' spread) is refined together with the radial and tangential
 * distortion and every view's pose by Levenberg-Marquardt on the pixel
 * residuals. xfm becomes KEL_XFM_CAMERA, mapping
 * between pixels and the target plane of view `plane_view`; its residuals
 * are those of all points. view_rms (optional, `views` values) receives
 * each view's root-mean-square residual.
 * Returns 0; 10 null pointer, views < 2, a count < 6, plane_view out of
 * range, a value that is not finite; 14 no camera fits the views (for
 * instance views that all face the camera squarely, which cannot tell the
 * focal length from the distance: "Calibration failed"). xfm is
 * unchanged after a failure. */
KELKIT_API int kel_calibrate_camera(int views, const int *counts, const double *px,
                                    const double *py, const double *wx, const double *wy,
                                    int plane_view, KelXfm *xfm, double *view_rms);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_CALIBRATION_H */
