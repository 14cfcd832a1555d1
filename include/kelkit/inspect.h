/*
 * kelkit/inspect.h - the learning inspection tool: learns how good parts
 * vary, box by box, and reports the places where a new part differs.
 *
 * The inspected image area (m_nImgDx by m_nImgDy pixels) is divided into a
 * grid of boxes of m_nBoxDx by m_nBoxDy pixels: nBoxCountX = ceil(m_nImgDx /
 * m_nBoxDx) columns and nBoxCountY rows, the last column and row narrower
 * when the size is not a multiple of the box size, so every pixel belongs to
 * one box. Box (bx, by) covers columns bx * m_nBoxDx .. and rows
 * by * m_nBoxDy ...
 *
 * Features. Each box gives a feature vector of nVectorSize values, one per
 * bit set in nFeatureMode, in the order of the bits:
 *   KEL_INSPECT_MEAN       mean grey value
 *   KEL_INSPECT_DEVIATION  standard deviation of the grey values (divisor n)
 *   KEL_INSPECT_GRADIENT   gradient energy: the root mean square of the
 *                          differences between horizontally and vertically
 *                          neighbouring pixels inside the box (0 for a box
 *                          of one pixel)
 *   KEL_INSPECT_RANGE      largest minus smallest grey value
 * All four are in grey levels, so one tolerance floor serves them all.
 *
 * Learning. kel_vela_inspect_learn adds one good image: per box and feature
 * it keeps the running mean and the sum of squared deviations (updated with
 * Welford's method, which stays accurate over any number of images). The
 * learned spread of a feature is the sample standard deviation over the
 * learned images (divisor VectorCount - 1). Learning can continue at any
 * time, also after kel_vela_inspect_load.
 *
 * Recognition. kel_vela_inspect_check computes the feature vectors of a new
 * image. A feature deviates when
 *     |value - learned mean| > allowed,
 *     allowed = max(k * spread, nBumpSize, 1e-6),
 *     k = 1 + 9 * (100 - s) / 99, s = nSensitivity clamped to 1 .. 100,
 * so sensitivity 100 allows one spread, sensitivity 1 ten spreads, and
 * nBumpSize is the smallest change in grey levels that can ever count as a
 * defect (it keeps boxes that hardly varied during learning from reporting
 * noise). The deviation of a box is the largest |value - mean| / allowed of
 * its features; a box deviates when its deviation exceeds 1. Deviating boxes
 * that touch, also diagonally, form one group; the results hold every
 * deviating box and every group with its box count, bounding box and worst
 * deviation, groups ordered by worst deviation, largest first.
 *
 * Blocking regions. Rectangles and circles (ellipses when their two radii
 * differ) mark places that are not inspected, such as a label or a stamped
 * date. A region blocks a box when it covers at least `coverage` percent of
 * the box's pixels (any pixel when coverage is 0). Blocked boxes are still
 * learned, so regions can be added, changed or switched off
 * (bBlockingEnabled = 0) after learning without learning again; while
 * bBlockingEnabled is 1 they are left out of recognition.
 *
 * Settings are plain fields read and written by kel_vela_inspect_get_<name>
 * and kel_vela_inspect_set_<name>, named as they are stored in the
 * inspection file. Setters store the value unchecked; the next learn or
 * check validates. Once images have been learned, the grid settings
 * (m_nImgDx, m_nImgDy, m_nBoxDx, m_nBoxDy, nFeatureMode) are fixed: a
 * change makes learn and check fail with 107 until kel_vela_inspect_reset.
 *
 * Inspection file. kel_vela_inspect_save writes the settings, the blocking
 * regions and the learned state to a keyed storage file; the layout of its
 * marked sections:
 *   "Blocking", "CircularBlocking": per region seven 32-bit little-endian
 *       values, the fields of KelInspectRegion in the order x, y, dy, dx,
 *       coverage, enabled, tag.
 *   "Vectors": the learned pixel type (uint32: 0 before learning, else
 *       BYTE, WORD or FLOAT), then for each box in raster order (rows of
 *       boxes from the top, each from the left) and each of its nVectorSize
 *       features, the learned mean and the sum of squared deviations, each a
 *       64-bit little-endian IEEE double.
 *   "BlockingBlocks": one byte per box in raster order: bit 0 set when a
 *       rectangle blocks the box, bit 1 when a circle does (nothing before
 *       learning).
 *
 * One tool serves one call at a time; distinct tools are independent.
 */
#ifndef KELKIT_INSPECT_H
#define KELKIT_INSPECT_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Feature bits of nFeatureMode. */
enum {
  KEL_INSPECT_MEAN = 1,
  KEL_INSPECT_DEVIATION = 2,
  KEL_INSPECT_GRADIENT = 4,
  KEL_INSPECT_RANGE = 8
};

/* The tool: settings, blocking regions and learned state (opaque). */
typedef struct KelInspect KelInspect;

/* The results of one recognition (opaque); read through the accessors. */
typedef struct KelInspectResults KelInspectResults;

/*
 * A blocking region. For a rectangle, (x, y) is its top-left pixel and dx by
 * dy its size; for a circle, (x, y) is its centre and dx, dy its horizontal
 * and vertical radius (equal for a circle): pixel (px, py) lies inside when
 * ((px - x) / dx)^2 + ((py - y) / dy)^2 <= 1. The field order is part of
 * the interface and of the inspection file.
 */
typedef struct KelInspectRegion {
  int x;
  int y;
  int dx;       /* >= 1 */
  int dy;       /* >= 1 */
  int coverage; /* percent of a box's pixels the region must cover to block it, 0..100 */
  int enabled;  /* 0: kept, but blocks nothing */
  int tag;      /* the caller's number, kept unchanged */
} KelInspectRegion;

/* A connected group of deviating boxes. */
typedef struct KelInspectGroup {
  int box_count;          /* deviating boxes in the group */
  int x, y, dx, dy;       /* bounding rectangle of its boxes, in pixels */
  double worst_deviation; /* largest box deviation in the group (> 1) */
  int worst_box_x;        /* the box with that deviation (grid column and row) */
  int worst_box_y;
  int worst_feature; /* the feature bit that deviated most there */
} KelInspectGroup;

/* One deviating box. */
typedef struct KelInspectBox {
  int box_x, box_y; /* grid column and row */
  int x, y, dx, dy; /* its pixels */
  double deviation; /* largest |value - mean| / allowed of its features (> 1) */
  int feature;      /* the feature bit with that deviation */
  int group;        /* index of its group in the results */
} KelInspectBox;

/* ---- the tool ---------------------------------------------------------- */

/*
 * A new tool with the defaults: m_nImgDx = m_nImgDy = 0 (taken from the
 * first learned image), m_nBoxDx = m_nBoxDy = 16, m_nMaxBoxCountX =
 * m_nMaxBoxCountY = 256, nSensitivity = 50, nFeatureMode = 7 (mean,
 * deviation, gradient), m_nLearnAllowToFail = -1, nBumpSize = 4,
 * nMemLimit = 0, nImageTag = nObjectTag = 0, bBlockingEnabled = 1, no
 * regions, nothing learned. *status (optional) receives 0, or 4 when memory
 * is short (reported under this name; the result is then null).
 */
KELKIT_API KelInspect *kel_vela_inspect_create(int *status);

/* Deletes the tool. Returns 0; a null tool reports 10. */
KELKIT_API int kel_vela_inspect_delete(KelInspect *tool);

/* Forgets everything learned (VectorCount, the grid and the learned
 * vectors); settings and regions stay. Returns 0 or 10 (null tool). */
KELKIT_API int kel_vela_inspect_reset(KelInspect *tool);

/*
 * Settings. Getters return the value (0 for a null tool); setters store it
 * unchecked (ignored for a null tool).
 *   m_nImgDx, m_nImgDy    inspected image size; 0 takes the first learned
 *                         image's size. Learned and checked images must
 *                         have this size (5 otherwise).
 *   m_nBoxDx, m_nBoxDy    box size in pixels, 1 .. the image size (107)
 *   m_nMaxBoxCountX/Y     largest grid allowed; a larger grid fails with 107
 *   nSensitivity          1 (tolerant) .. 100 (strict); see above
 *   nFeatureMode          feature bits; at least one of the four (107)
 *   m_nLearnAllowToFail   -1 learns every image. Otherwise, once at least 5
 *                         images are learned, an image is first checked and
 *                         refused when more than this many boxes deviate, so
 *                         a bad part does not spoil what was learned.
 *   nBumpSize             smallest deviation in grey levels that counts
 *   nMemLimit             largest learned state in KiB (0: no limit); a
 *                         grid that needs more fails with 4
 *   nImageTag, nObjectTag the caller's numbers, kept and saved unchanged
 *   bBlockingEnabled      1: blocked boxes are left out of recognition
 */
KELKIT_API int kel_vela_inspect_get_m_nImgDx(const KelInspect *tool);
KELKIT_API void kel_vela_inspect_set_m_nImgDx(KelInspect *tool, int value);
KELKIT_API int kel_vela_inspect_get_m_nImgDy(const KelInspect *tool);
KELKIT_API void kel_vela_inspect_set_m_nImgDy(KelInspect *tool, int value);
KELKIT_API int kel_vela_inspect_get_m_nBoxDx(const KelInspect *tool);
KELKIT_API void kel_vela_inspect_set_m_nBoxDx(KelInspect *tool, int value);
KELKIT_API int kel_vela_inspect_get_m_nBoxDy(const KelInspect *tool);
KELKIT_API void kel_vela_inspect_set_m_nBoxDy(KelInspect *tool, int value);
KELKIT_API int kel_vela_inspect_get_m_nMaxBoxCountX(const KelInspect *tool);
KELKIT_API void kel_vela_inspect_set_m_nMaxBoxCountX(KelInspect *tool, int value);
KELKIT_API int kel_vela_inspect_get_m_nMaxBoxCountY(const KelInspect *tool);
KELKIT_API void kel_vela_inspect_set_m_nMaxBoxCountY(KelInspect *tool, int value);
KELKIT_API int kel_vela_inspect_get_nSensitivity(const KelInspect *tool);
KELKIT_API void kel_vela_inspect_set_nSensitivity(KelInspect *tool, int value);
KELKIT_API int kel_vela_inspect_get_nFeatureMode(const KelInspect *tool);
KELKIT_API void kel_vela_inspect_set_nFeatureMode(KelInspect *tool, int value);
KELKIT_API int kel_vela_inspect_get_m_nLearnAllowToFail(const KelInspect *tool);
KELKIT_API void kel_vela_inspect_set_m_nLearnAllowToFail(KelInspect *tool, int value);
KELKIT_API int kel_vela_inspect_get_nBumpSize(const KelInspect *tool);
KELKIT_API void kel_vela_inspect_set_nBumpSize(KelInspect *tool, int value);
KELKIT_API int kel_vela_inspect_get_nMemLimit(const KelInspect *tool);
KELKIT_API void kel_vela_inspect_set_nMemLimit(KelInspect *tool, int value);
KELKIT_API int kel_vela_inspect_get_nImageTag(const KelInspect *tool);
KELKIT_API void kel_vela_inspect_set_nImageTag(KelInspect *tool, int value);
KELKIT_API int kel_vela_inspect_get_nObjectTag(const KelInspect *tool);
KELKIT_API void kel_vela_inspect_set_nObjectTag(KelInspect *tool, int value);
KELKIT_API int kel_vela_inspect_get_bBlockingEnabled(const KelInspect *tool);
KELKIT_API void kel_vela_inspect_set_bBlockingEnabled(KelInspect *tool, int value);

/* Learned state (0 for a null tool): the grid and feature count fixed by
 * the first learned image (0 before), and the number of learned images. */
KELKIT_API int kel_vela_inspect_get_nBoxCountX(const KelInspect *tool);
KELKIT_API int kel_vela_inspect_get_nBoxCountY(const KelInspect *tool);
KELKIT_API int kel_vela_inspect_get_nVectorSize(const KelInspect *tool);
KELKIT_API int kel_vela_inspect_get_VectorCount(const KelInspect *tool);

/* The learned mean and spread (sample standard deviation; 0 with fewer than
 * two images) of feature `feature` (one KEL_INSPECT_* bit that nFeatureMode
 * holds) of box (bx, by). Either output may be null. Returns 10 null tool,
 * 103 nothing learned, 10 box outside the grid or feature not learned. */
KELKIT_API int kel_vela_inspect_get_box_model(const KelInspect *tool, int bx, int by, int feature,
                                              double *mean, double *spread);

/* ---- blocking regions -------------------------------------------------- */

/* Adds a rectangle (x, y, dx, dy) or a circle (centre x, y, radius) that
 * blocks any box it touches (coverage 0, enabled, tag 0). Returns 0, 10 null
 * tool, 107 a size or radius below 1. */
KELKIT_API int kel_vela_inspect_add_block_rect(KelInspect *tool, int x, int y, int dx, int dy);
KELKIT_API int kel_vela_inspect_add_block_circle(KelInspect *tool, int x, int y, int radius);

/* Number of rectangles (bBlockingRectCount) and circles
 * (bBlockingCircleRectCount); 0 for a null tool. */
KELKIT_API int kel_vela_inspect_get_bBlockingRectCount(const KelInspect *tool);
KELKIT_API int kel_vela_inspect_get_bBlockingCircleRectCount(const KelInspect *tool);

/* Reads or replaces region `index` of the rectangles (circular = 0) or the
 * circles (circular != 0). Returns 10 null tool or record, 10 index out of
 * range, 107 (set only) dx or dy below 1 or coverage outside 0..100. */
KELKIT_API int kel_vela_inspect_get_block_region(const KelInspect *tool, int circular, int index,
                                                 KelInspectRegion *region);
KELKIT_API int kel_vela_inspect_set_block_region(KelInspect *tool, int circular, int index,
                                                 const KelInspectRegion *region);

/* Removes region `index` (later regions move down by one), or every region.
 * Returns 10 null tool or index out of range. */
KELKIT_API int kel_vela_inspect_remove_block_region(KelInspect *tool, int circular, int index);
KELKIT_API int kel_vela_inspect_clear_blocking(KelInspect *tool);

/* *bits receives the blocking of box (bx, by): bit 0 a rectangle blocks it,
 * bit 1 a circle does (whether or not bBlockingEnabled is set). Returns 10
 * null tool or pointer, 103 nothing learned (no grid yet), 10 box outside
 * the grid. */
KELKIT_API int kel_vela_inspect_get_box_blocking(const KelInspect *tool, int bx, int by, int *bits);

/* ---- learning and recognition ----------------------------------------- */

/*
 * Learns one good image: BYTE, WORD or FLOAT (all learned and checked images
 * of a tool share one type), any view. The first image fixes the grid (and
 * m_nImgDx, m_nImgDy when they are 0). *accepted (optional) receives 1 when
 * the image was learned, 0 when m_nLearnAllowToFail refused it (the call
 * still returns 0).
 * Returns, in this order: 10 null tool, 1 null image, 17 empty image, 6 bad
 * pixel type, 13 type differs from the learned images, 107 box size below
 * 1, negative m_nImgDx or m_nImgDy, or no feature in nFeatureMode, 5 size
 * differs from m_nImgDx by m_nImgDy, 107 box larger than the image, an
 * image side above 65536 or a grid larger than m_nMaxBoxCountX by
 * m_nMaxBoxCountY (or than 2^24 boxes), 107 grid settings changed since
 * learning, 4 out of memory or over nMemLimit.
 */
KELKIT_API int kel_vela_inspect_learn(KelInspect *tool, const Image *img, int *accepted);

/* A new, empty results record; *status (optional) receives 0 or 4. */
KELKIT_API KelInspectResults *kel_vela_inspect_create_results(int *status);

/* Deletes a results record. Returns 0; null reports 10. */
KELKIT_API int kel_vela_inspect_delete_results(KelInspectResults *results);

/*
 * Inspects `img` (same size and pixel type as the learned images, any view)
 * and fills `results`, which is emptied first. Returns, in this order: 10
 * null tool, 1 null image, 10 null results, 103 fewer than two images
 * learned, 107 grid settings changed since learning, 5 size differs, 13
 * pixel type differs from the learned images, 4 out of memory.
 */
KELKIT_API int kel_vela_inspect_check(const KelInspect *tool, const Image *img,
                                      KelInspectResults *results);

/* Number of deviating boxes and of groups in the results (0 for null). */
KELKIT_API int kel_vela_inspect_result_box_count(const KelInspectResults *results);
KELKIT_API int kel_vela_inspect_result_group_count(const KelInspectResults *results);

/* Group `index` (0 = worst) or deviating box `index` (raster order of the
 * grid). Returns 0, or 10 for a null argument or an index out of range. */
KELKIT_API int kel_vela_inspect_result_group(const KelInspectResults *results, int index,
                                             KelInspectGroup *group);
KELKIT_API int kel_vela_inspect_result_box(const KelInspectResults *results, int index,
                                           KelInspectBox *box);

/* ---- persistence ------------------------------------------------------- */

/*
 * Saves the tool to the inspection file `path` (see the top of this header),
 * which recognises exactly as the tool does once loaded. Returns 10 null
 * tool or path, 107 the grid settings, maximum box counts or memory limit no
 * longer fit what was learned, 112 the file cannot be created or written.
 */
KELKIT_API int kel_vela_inspect_save(const KelInspect *tool, const char *path);

/*
 * Replaces the tool's settings, regions and learned state by those of the
 * inspection file `path`. The file is checked completely first: a file that
 * cannot be read, is not an inspection file, is cut short or holds values
 * that do not fit together fails with 112 and leaves the tool unchanged; a
 * learned state over nMemLimit fails with 4. Returns 10 null tool or path.
 */
KELKIT_API int kel_vela_inspect_load(KelInspect *tool, const char *path);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_INSPECT_H */
