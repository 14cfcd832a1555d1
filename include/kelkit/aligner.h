/*
 * kelkit/aligner.h - the two-point aligner: taught with two points of a
 * model (and optionally a rectangle of interest in model coordinates), it
 * computes the rotation, shift and optionally uniform scale that carry them
 * onto the two points found in a scene, maps points between model and
 * scene, and copies the aligned rectangle of the scene into an upright
 * image.
 *
 * The alignment maps a model point m to the scene point
 *     s = scale * R(angle) * (m - model midpoint) + scene midpoint,
 * R turning from the x axis towards the y axis (clockwise as seen, with y
 * growing downwards); the midpoints are those of the two point pairs.
 * Without scale the midpoints still coincide, which is the least-squares
 * fit when the scene distance differs from the model's.
 */
#ifndef KELKIT_ALIGNER_H
#define KELKIT_ALIGNER_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct KelAligner KelAligner;

/* A new aligner, neither taught nor computed. *status (optional) receives
 * 0, or 4 under "kel_aligner_create" with a null result. */
KELKIT_API KelAligner *kel_aligner_create(int *status);
/* Frees the aligner; null is ignored. */
KELKIT_API void kel_aligner_delete(KelAligner *aligner);

/* Teaches the two model points; forgets any computed alignment.
 * Returns 0; 10 null aligner ("aligner is NULL"), a value that is not
 * finite, or points that coincide ("Model points coincide"). */
KELKIT_API int kel_aligner_train(KelAligner *aligner, double x1, double y1, double x2, double y2);

/* The rectangle of interest, in model pixels: x, y its top-left pixel, dx
 * and dy its size (>= 1). Returns 0; 10 null aligner or a size below 1. */
KELKIT_API int kel_aligner_set_rect(KelAligner *aligner, int x, int y, int dx, int dy);

/* Whether compute also finds a uniform scale (non-zero) or keeps scale 1
 * (0, the default). Getter and setter check nothing else; the getter gives
 * 0 for null. Changing it forgets a computed alignment. */
KELKIT_API void kel_aligner_set_scale_mode(KelAligner *aligner, int on);
KELKIT_API int kel_aligner_get_scale_mode(const KelAligner *aligner);

/* Computes the alignment from the two scene points found for the model
 * points (in the same order).
 * Returns 0; 10 null aligner ("aligner is NULL"); 10 not taught ("Must
 * initialize"); 10 a value that is not finite or scene points that coincide
 * ("Scene points coincide"). */
KELKIT_API int kel_aligner_compute(KelAligner *aligner, double x1, double y1, double x2, double y2);

/* The computed alignment: rotation in degrees (-180, 180], scale, and the
 * scene position of the model origin (0, 0). Any output may be null.
 * Returns 0; 10 null aligner; 27 not computed ("aligner not yet
 * computed"). */
KELKIT_API int kel_aligner_get_result(const KelAligner *aligner, double *angle, double *scale,
                                      double *shift_x, double *shift_y);

/* Maps a model point into the scene, and a scene point into the model.
 * Returns 0; 10 null aligner or output; 27 not computed. */
KELKIT_API int kel_aligner_model_to_scene(const KelAligner *aligner, double x, double y, double *sx,
                                          double *sy);
KELKIT_API int kel_aligner_scene_to_model(const KelAligner *aligner, double x, double y, double *mx,
                                          double *my);

/* Copies the aligned rectangle of `scene` into `dst`, upright: dst pixel
 * (i, j) takes the scene at the image of model point (x + i, y + j), read by
 * bilinear interpolation (im_get_interpolated_pixel); positions outside the
 * scene's pixel centres give 0; BYTE and WORD values are rounded. A view
 * dst is first resized to the rectangle's size (im_resize_rroi, whose
 * status is returned unchanged when it fails, e.g. 10 when the master is
 * too small); a master dst must be at least that large and only its
 * top-left rectangle is written. scene and dst: one pixel type (BYTE, WORD
 * or FLOAT), different images.
 * Returns 0; 1 null image; 10 null aligner ("aligner is NULL"); 10 no
 * rectangle set ("No rectangle"); 27 not computed; 106 dst is the scene or
 * overlaps it; 13 different types; 6 unsupported type; 17 an empty scene; 5
 * a master dst smaller than the rectangle ("Output too small"). */
KELKIT_API int kel_aligner_copy_rect(const KelAligner *aligner, const Image *scene, Image *dst);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_ALIGNER_H */
