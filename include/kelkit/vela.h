/*
 * kelkit/vela.h - the vela search: a trainable grey-level locator that finds
 * a model in a BYTE scene at angles from -9 to +9 degrees, to sub-pixel
 * position and fractional angle, with a correlation score, an optional edge
 * (geometric) score and further measures of each match.
 *
 * Calling order: kel_vela_search_create_params, settings through the
 * accessors or kel_vela_search_default_params, then kel_vela_search_train
 * (with a scene that holds the model, usually the image the model was cut
 * from) or one of the loaders, then any number of kel_vela_search_find calls
 * into a results record from kel_vela_search_create_results, then the two
 * delete calls. Settings may change between finds.
 *
 * Scores use the scale of the correlation search (kelkit/search.h): the
 * dissimilarity of model and scene region is the variance of their pixel
 * differences, and the score is 100 - 100 * dissimilarity / variance(model),
 * truncated and clamped to 0..100.
 *
 * Geometry. Angles are in degrees; a positive angle turns the model
 * counter-clockwise as the image is seen (rows growing downwards), exactly
 * as kel_rotate turns an image. A match at angle a and position (x, y) means
 * that the scene around (x, y) looks like the model turned by a about its
 * centre ((dx - 1) / 2, (dy - 1) / 2), with that centre placed at (x, y).
 * For an odd-sized model the centre is a pixel; for an even size it lies
 * between two pixels (a 64-pixel-wide model cut at column 100 of the scene
 * is found at x = 131.5).
 *
 * One record serves one training or find at a time: both write the record's
 * candidate store and its training work area. Distinct records are
 * independent.
 */
#ifndef KELKIT_VELA_H
#define KELKIT_VELA_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Preset bits of kel_vela_search_default_params. */
enum KelVelaPreset {
  KEL_VELA_PRESET_GEOM = 1,      /* edge score on */
  KEL_VELA_PRESET_SUBPIX = 2,    /* sub-pixel mode 2 */
  KEL_VELA_PRESET_FINE = 4,      /* sub-pixel mode 3 and fine edge features */
  KEL_VELA_PRESET_GEOM_REV = 8,  /* edge score on, revisit every coarse angle */
  KEL_VELA_PRESET_ACCURATE = 16, /* sub-pixel mode 2 on a grid of 4, suspicious 40, no rejection */
  KEL_VELA_PRESET_CONFORM = 32,  /* extended score 1 (or 3 with bit 64) */
  KEL_VELA_PRESET_GEOSCORE = 64  /* extended score 2 (or 3 with bit 32) */
};

/*
 * The vela record: settings, the trained model and what training derives
 * from it, and the working state of a find. The field order is part of the
 * interface; the first eight fields are those of KelSearchParams in the same
 * order and with the same meanings. Change settings through the accessors.
 */
typedef struct KelVelaParams {
  int scan_step_x;       /* coarse position spacing when auto_step is 0 (8) */
  int scan_step_y;       /* (8) */
  int scan_pattern_x;    /* sampling interval of the coarse stages when auto_step is 0 (8) */
  int scan_pattern_y;    /* (8) */
  int auto_step;         /* 1: use the trained steps and intervals instead (1) */
  int early_term;        /* percent: a score at or above it ends a scan's coarse stages early,
                            and ends the coarse angle pass unless cont_rev is set (100) */
  int suspicious;        /* percent: a single match below it is retried, see auto_retry (60) */
  int auto_retry;        /* 1: retry doubtful single matches with shifted and finer grids (1) */
  int sub_pixel;         /* sub-pixel mode 0..3, see kel_vela_search_find (0) */
  int sub_pixel_grid[2]; /* grid divisions per pixel in x and y of modes 2 and 3 (1, 1);
                            values are used within 1..64 */
  int trained_step_x;    /* coarse position spacing chosen by training (8) */
  int trained_step_y;
  int trained_pattern_x; /* sampling intervals chosen by training (8) */
  int trained_pattern_y;
  Image *model;          /* the trained model, BYTE, owned (null until trained) */
  Image *geo_model;      /* its edge image (kel_vela_search_create_geo_image), owned; made
                            by training or by the first find with use_geom set */
  int retry_count;       /* entries in each retry table (6) */
  int *retry_step_x_pct; /* percent changes of steps and intervals, one row per retry */
  int *retry_step_y_pct;
  int *retry_pattern_x_pct;
  int *retry_pattern_y_pct;
  int revisits;            /* candidates kept from a coarse scan and revisited (20) */
  double *candidate_value; /* candidate store of the last scan: dissimilarity, */
  int *candidate_x;        /* column and row of the model's top-left corner */
  int *candidate_y;
  double subpix_bias_x; /* sub-pixel correction measured by training */
  double subpix_bias_y;
  int num_to_find;        /* matches reported by kel_vela_search_find (1) */
  int alg;                /* selected algorithm 0..alg_max (0) */
  int use_geom;           /* 1: compute the edge score geoquality (0) */
  int cont_rev;           /* 1: visit every coarse angle even after an early hit (0) */
  double reject;          /* matches whose score is below it are not reported (20.0) */
  int involved_tol;       /* grey-level tolerance of the conform measure (20) */
  int alg_max;            /* highest alg value and entries of the linear tables (2) */
  double *linear_scale;   /* score corrections: entry 0 for quality, entry 1 for */
  double *linear_offset;  /* geoquality (1.0 and 0.0) */
  double model_mean;      /* mean grey value of the trained model */
  double model_variance;  /* sample variance of the trained model's grey values */
  int hifeature;          /* 1: edge features at the finest scale (0) */
  int edge_str;           /* edge strength threshold of the edge images (20) */
  int angle_count;        /* a: angles -a..+a in steps of 1 degree; 0 means 9 */
  double *angles;         /* the 2a + 1 angles of the trained copies (null until trained) */
  Image **rotated;        /* the model turned to each of those angles, owned; a null
                             pointer follows the last copy */
  int coarse_angle_step;  /* spacing of the angles of the coarse angle pass (2) */
  int extscore_setting;   /* which measures make up `score`, 0..3 (0) */
  int filter_size;        /* feature scale of the edge images, pixels (16) */
  const void *alg_ops[3]; /* the strategy operations installed by kel_vela_search_set_alg */
} KelVelaParams;

/* One found position. `size` always holds 80. */
typedef struct KelVelaPosition {
  int size;
  double x_coord; /* position of the model's centre in the scene (see the top of this file) */
  double y_coord;
  double angle;      /* degrees, -a..+a */
  double quality;    /* correlation score 0..100 at the found pose, after the linear correction
                        of entry 0: clamp(linear_scale[0] * raw + linear_offset[0], 0, 100) */
  double conform;    /* percent of model pixels whose difference to the scene, less the mean
                        difference, lies within +-involved_tol grey levels */
  double geoquality; /* with use_geom: percent of the model's edge pixels that meet a scene
                        edge pixel (within one pixel) at the found pose, corrected by entry 1
                        of the linear tables; 0 without use_geom */
  double conratio;   /* contrast ratio: standard deviation of the scene region over that of
                        the model (1 for an equal contrast) */
  double score;      /* the match's overall score 0..100, chosen by extscore_setting */
} KelVelaPosition;

/* The results record. `size` always holds 24. num_positions is n at
 * creation and the number of matches after a find. */
typedef struct KelVelaResults {
  int size;
  int num_positions;
  int num_allocated;
  KelVelaPosition *positions;
} KelVelaResults;

/* ---- record ------------------------------------------------------------ */

/* A new record with the defaults noted above, the retry tables of the
 * correlation search and algorithm 0 installed. Returns null after reporting
 * code 4 (everything freed) when memory is short. */
KELKIT_API KelVelaParams *kel_vela_search_create_params(void);

/* Frees the record with its model, edge model, rotated copies and arrays.
 * Returns 0; a null record reports code 10. */
KELKIT_API int kel_vela_search_delete_params(KelVelaParams *params);

/*
 * Applies a preset (bits of `flags`, KEL_VELA_PRESET_*), setting:
 *   auto_step 1;
 *   suspicious 40 with bit 16, else 60;
 *   sub_pixel 3 with bit 4, else 2 with bit 2 or bit 16, else 0;
 *   sub_pixel_grid[0] and [1] 4 with bit 16, else 1;
 *   reject 0.0 with bit 16, else 20.0;
 *   use_geom 1 with bit 1 or bit 8, else 0; auto_retry the opposite;
 *   cont_rev 1 with bit 8 (else unchanged); hifeature 1 with bit 4 (else
 *   unchanged);
 *   alg 0, without reinstalling the operations: the record keeps finding
 *   with the operations last installed by kel_vela_search_set_alg;
 *   extscore_setting 3 with bits 64 and 32, 2 with 64 alone, 1 with 32 alone,
 *   else 0.
 * Other fields are left alone. Returns 0; 10 for a null record.
 */
KELKIT_API int kel_vela_search_default_params(KelVelaParams *params, int flags);

/* A results record with n position records (n >= 0), each zero with its
 * size word set; num_positions = n. Returns null after reporting code 10 for
 * a negative n or code 4 when memory is short. */
KELKIT_API KelVelaResults *kel_vela_search_create_results(int n);

/* Frees a results record. Returns 0; 10 for null. */
KELKIT_API int kel_vela_search_delete_results(KelVelaResults *results);

/* The number of positions (0 for a null record). */
KELKIT_API int kel_vela_search_get_num_positions(const KelVelaResults *results);

/* The fields of position `index`. The index is not checked: it must be below
 * the record's num_allocated. A null record gives 0. */
KELKIT_API double kel_vela_search_get_x_coord(const KelVelaResults *results, int index);
KELKIT_API double kel_vela_search_get_y_coord(const KelVelaResults *results, int index);
KELKIT_API double kel_vela_search_get_angle(const KelVelaResults *results, int index);
KELKIT_API double kel_vela_search_get_quality(const KelVelaResults *results, int index);
KELKIT_API double kel_vela_search_get_conform(const KelVelaResults *results, int index);
KELKIT_API double kel_vela_search_get_geoquality(const KelVelaResults *results, int index);
KELKIT_API double kel_vela_search_get_conratio(const KelVelaResults *results, int index);
KELKIT_API double kel_vela_search_get_score(const KelVelaResults *results, int index);

/*
 * Selects algorithm `value` and installs its three strategy operations:
 *              coarse angle pass        neighbour angles           angle fit
 *   alg 0      every coarse_angle_step  local coarse-to-fine scan  parabola through the
 *              -th angle                around each match          best and its neighbours
 *   alg 1      every angle              (all scanned already)      parabola, as alg 0
 *   alg 2      every coarse_angle_step  exhaustive full-pixel      least-squares parabola
 *              -th angle                search around each match   over five angles
 * Alg 0 is the fastest; alg 1 scans the whole scene at all 2a + 1 angles;
 * alg 2 is the most robust against noise in the angle.
 * Returns 0; 107 (record unchanged) when value < 0 or value > alg_max;
 * 10 for a null record.
 */
KELKIT_API int kel_vela_search_set_alg(KelVelaParams *params, int value);
KELKIT_API int kel_vela_search_get_alg(const KelVelaParams *params);

/* The candidate store's size. The value is raised to at least 1; when it is
 * above the current `revisits`, or equals 1, the store is reallocated to
 * that size; a smaller value other than 1 changes nothing (the store only
 * grows, or shrinks to 1). A null record is ignored; a failed allocation is
 * reported as code 4 under "kel_vela_search_set_revisits" and changes
 * nothing. */
KELKIT_API void kel_vela_search_set_revisits(KelVelaParams *params, int value);
KELKIT_API int kel_vela_search_get_revisits(const KelVelaParams *params);

/* sub_pixel_grid[index] for index 0 (x) or 1 (y); the setter stores the
 * value unchecked. Any other index reads 0 and stores nothing. */
KELKIT_API int kel_vela_search_get_sub_pixel_grid(const KelVelaParams *params, int index);
KELKIT_API void kel_vela_search_set_sub_pixel_grid(KelVelaParams *params, int index, int value);

/* Stores extscore_setting and returns the previous value (0 for null). */
KELKIT_API int kel_vela_search_set_extscore_setting(KelVelaParams *params, int value);
KELKIT_API int kel_vela_search_get_extscore_setting(const KelVelaParams *params);

/* Plain accessors: a getter returns the field (0 for a null record), a
 * setter stores the value without any check. */
KELKIT_API int kel_vela_search_get_scan_step_x(const KelVelaParams *params);
KELKIT_API void kel_vela_search_set_scan_step_x(KelVelaParams *params, int value);
KELKIT_API int kel_vela_search_get_scan_step_y(const KelVelaParams *params);
KELKIT_API void kel_vela_search_set_scan_step_y(KelVelaParams *params, int value);
KELKIT_API int kel_vela_search_get_scan_pattern_x(const KelVelaParams *params);
KELKIT_API void kel_vela_search_set_scan_pattern_x(KelVelaParams *params, int value);
KELKIT_API int kel_vela_search_get_scan_pattern_y(const KelVelaParams *params);
KELKIT_API void kel_vela_search_set_scan_pattern_y(KelVelaParams *params, int value);
KELKIT_API int kel_vela_search_get_auto_step(const KelVelaParams *params);
KELKIT_API void kel_vela_search_set_auto_step(KelVelaParams *params, int value);
KELKIT_API int kel_vela_search_get_early_term(const KelVelaParams *params);
KELKIT_API void kel_vela_search_set_early_term(KelVelaParams *params, int value);
KELKIT_API int kel_vela_search_get_suspicious(const KelVelaParams *params);
KELKIT_API void kel_vela_search_set_suspicious(KelVelaParams *params, int value);
KELKIT_API int kel_vela_search_get_auto_retry(const KelVelaParams *params);
KELKIT_API void kel_vela_search_set_auto_retry(KelVelaParams *params, int value);
KELKIT_API int kel_vela_search_get_sub_pixel(const KelVelaParams *params);
KELKIT_API void kel_vela_search_set_sub_pixel(KelVelaParams *params, int value);
KELKIT_API int kel_vela_search_get_num_to_find(const KelVelaParams *params);
KELKIT_API void kel_vela_search_set_num_to_find(KelVelaParams *params, int value);
KELKIT_API int kel_vela_search_get_involved_tol(const KelVelaParams *params);
KELKIT_API void kel_vela_search_set_involved_tol(KelVelaParams *params, int value);
KELKIT_API int kel_vela_search_get_use_geom(const KelVelaParams *params);
KELKIT_API void kel_vela_search_set_use_geom(KelVelaParams *params, int value);
KELKIT_API int kel_vela_search_get_cont_rev(const KelVelaParams *params);
KELKIT_API void kel_vela_search_set_cont_rev(KelVelaParams *params, int value);
KELKIT_API int kel_vela_search_get_hifeature(const KelVelaParams *params);
KELKIT_API void kel_vela_search_set_hifeature(KelVelaParams *params, int value);
KELKIT_API int kel_vela_search_get_edge_str(const KelVelaParams *params);
KELKIT_API void kel_vela_search_set_edge_str(KelVelaParams *params, int value);
KELKIT_API int kel_vela_search_get_filter_size(const KelVelaParams *params);
KELKIT_API void kel_vela_search_set_filter_size(KelVelaParams *params, int value);
KELKIT_API double kel_vela_search_get_reject(const KelVelaParams *params);
KELKIT_API void kel_vela_search_set_reject(KelVelaParams *params, double value);

/* ---- training and find --------------------------------------------------- */

/*
 * The edge image of `src` as the vela search uses it: dst(x, y) = 255 where
 * the gradient magnitude (|gx| + |gy|) / 2, with gx = src(x + s, y) -
 * src(x - s, y) and gy = src(x, y + s) - src(x, y - s) (positions clamped to
 * the common area), reaches params->edge_str, else 0. The feature scale s is
 * filter_size / 8 (at least 1), or 1 when hifeature is set. src and dst are
 * BYTE images or views; the operator works on their common area. Returns 0;
 * 1 null image; 10 null params; 106 dst is src; 13 not BYTE; 17 empty area.
 */
KELKIT_API int kel_vela_search_create_geo_image(const KelVelaParams *params, const Image *src,
                                                Image *dst);

/*
 * Teaches `model` (BYTE) for scenes like `scene` (BYTE, holding the model at
 * a known place, usually the image it was cut from).
 *
 * Training stores a copy of the model, its mean grey value and variance,
 * the angle table -a..+a degrees in steps of 1 (a = angle_count, 9 when it
 * is 0; angle_count then holds a) and one copy of the model turned to each
 * angle with kel_rotate. Every copy is compared over the same inner
 * rectangle, the largest one centred on the model whose pixels come from
 * inside the model at every angle of the table (56 x 56 of a 64 x 64 model
 * for a = 9). Training then chooses the coarse position steps and sampling
 * intervals with which that inner part is found exactly in the scene, as
 * the correlation search's training does, and measures the sub-pixel bias
 * on the pixels around it. With use_geom set the edge model is made too.
 * The copies live until the record is retrained, reloaded or deleted.
 *
 * Returns 0; 1 null image; 10 null params; 13 scene or model not BYTE; 104
 * "Pattern too big" when the model is wider or taller than the scene; 7
 * "Area too small!" when the inner rectangle is narrower or lower than 4
 * pixels; 4 out of memory. After a failure the record keeps its old model.
 */
KELKIT_API int kel_vela_search_train(const Image *scene, const Image *model, KelVelaParams *params);

/*
 * Finds the trained model in `img` (BYTE; any view) at the angles of the
 * table and writes up to min(num_to_find, results->num_allocated) matches,
 * best score first, into `results`, with results->num_positions set to
 * their number.
 *
 * coords  two low bits, as kel_search: 0 master coordinates (a view's x0
 *         and y0 added); 1 coordinates of `img`; 2 master coordinates with y
 *         turned upside down (master dy - y, or img dy - y without a
 *         master); 3 y turned upside down against img's own dy.
 *
 * The find runs the correlation search's coarse-to-fine scan (steps and
 * intervals as auto_step says, early_term, revisits candidates) with the
 * turned copies: first at the coarse angles chosen by the algorithm (see
 * kel_vela_search_set_alg), stopping after the first angle whose match
 * scores at least early_term unless cont_rev is set; the matches of all
 * those angles are merged (matches closer than 60 % of the compared size in
 * both directions count once, the better one). Around each match the
 * neighbouring angles are searched until the best angle has a searched
 * neighbour on each side, and the angle is refined between them by the
 * algorithm's fit (at most half a degree away from the best table angle;
 * when the best is an end of the table the fit is centred on its inner
 * neighbour and the angle stays within -a..+a). A single match
 * whose score is below `suspicious` is searched again, when auto_retry is
 * set, at its angle with the grid shifted by half a step and with the rows
 * of the retry tables, and the best result is kept.
 *
 * Position, by sub_pixel:
 *   0  whole pixels at the best table angle (plus the half pixel of an even
 *      model size);
 *   1  the quadratic fit of the 3 x 3 dissimilarities around the best pixel
 *      (with the trained bias correction), at the best angle and its
 *      neighbour, interpolated to the refined angle;
 *   2  as 1, then the model is resampled at the refined angle and shifted
 *      in steps of 1 / sub_pixel_grid[0] and 1 / sub_pixel_grid[1] pixel
 *      within half a pixel of the estimate; a parabola through the best
 *      shift and its neighbours gives the position (a grid value of 1 or
 *      less leaves that axis as in mode 1);
 *   3  as 2, and the angle is refined once more by a parabola through the
 *      resampled model at the refined angle and a quarter degree either side.
 *   Other values count as 0.
 *
 * Measures of each match: see KelVelaPosition. `score` is, by
 * extscore_setting: 0 quality; 1 quality * conform / 100; 2 the mean of
 * quality and geoquality (quality alone without use_geom); 3 that mean
 * times conform / 100; any other value 0. Matches whose score is below
 * `reject` are dropped.
 *
 * Returns 0; 1 null image; 10 null params or results; 13 image not BYTE;
 * 103 the record holds no model; 104 the model is wider or taller than the
 * image; 4 out of memory. After a failure num_positions is 0 (when results
 * is not null). Failures are reported under "kel_vela_search_find".
 */
KELKIT_API int kel_vela_search_find(Image *img, KelVelaParams *params, int coords,
                                    KelVelaResults *results);

/* ---- persisted forms ---------------------------------------------------- */

/*
 * Writes the record as a text file at `path`, one value a line ("%d" for
 * ints, "%f" for doubles): scan_step_x, scan_step_y, scan_pattern_x,
 * scan_pattern_y, auto_step, early_term, suspicious, auto_retry, sub_pixel,
 * the four trained steps and intervals, subpix_bias_x, subpix_bias_y,
 * num_to_find, use_geom, cont_rev, edge_str, filter_size, reject,
 * involved_tol, sub_pixel_grid[0], sub_pixel_grid[1], extscore_setting,
 * hifeature, model_mean, model_variance, then linear_scale[i] and
 * linear_offset[i] for every i below alg_max, the model image's file name and
 * alg; and the model as an image file. The image name is `image_name` when
 * neither null nor empty, else `path` without everything from its last dot,
 * plus ".bmp". Returns 0; 10 null params or path, or no model; 9 the text
 * file cannot be created (no report) or written; otherwise the code of
 * im_file_write.
 */
KELKIT_API int kel_vela_search_save_params(const KelVelaParams *params, const char *path,
                                           const char *image_name);

/*
 * Reads a file written by kel_vela_search_save_params and the model image it
 * names. The rotated copies are dropped and remade by the next find. Returns
 * 0; 10 null params or path; 9 the text file cannot be opened (no report),
 * is malformed or names an alg above alg_max (fields then unchanged), or the
 * image file cannot be sized (fields loaded, no model); otherwise the code of
 * im_file_read (the record then holds a model of the file's size that was
 * not read).
 */
KELKIT_API int kel_vela_search_load_params(KelVelaParams *params, const char *path);

/*
 * The memory image, a flat little-endian block (byte offsets):
 *     0 magic 0xDEAFBEEF   4 version 2   8 H = 188, offset of the pixels
 *     12 model width       16 model height
 *     24 linear_scale[0]   32 linear_offset[0]   (doubles)
 *     40..72 scan_step_x, scan_step_y, scan_pattern_x, scan_pattern_y,
 *            auto_step, early_term, suspicious, auto_retry, sub_pixel
 *     76, 80 sub_pixel_grid[0], [1]
 *     84..96 trained_step_x, trained_step_y, trained_pattern_x,
 *            trained_pattern_y
 *     104, 112 subpix_bias_x, subpix_bias_y (doubles)
 *     120 num_to_find  124 use_geom  128 cont_rev  132 edge_str
 *     136 filter_size  144 reject (double)  152 involved_tol
 *     156 extscore_setting  160 hifeature
 *     168, 176 model_mean, model_variance (doubles)  184 alg
 *     H: the model's pixels, row after row, width bytes each.
 * Bytes 20..23, 100..103, 140..143 and 164..167 are not written. Only the
 * first entry of each linear table is kept (the text file keeps them all).
 */

/* *size = width * height + 192 (four bytes more than the block). Returns 0;
 * 10 (size 0) for a null record or size pointer or no valid model. */
KELKIT_API int kel_vela_search_params_mem_size(const KelVelaParams *params, int *size);

/* Writes the memory image. A non-negative `size` below the required size
 * gives 10; a negative size skips that check. Returns 0; 10 null record or
 * buffer, no valid model, buffer too small. */
KELKIT_API int kel_vela_search_save_params_to_mem(const KelVelaParams *params, void *buffer,
                                                  int size);

/* Reads a memory image back, field by field as the writer wrote it,
 * installs the operations of its alg and replaces the model (the rotated
 * copies are remade by the next find). This form trusts the buffer to hold
 * the whole block its words describe (it has no length to check against);
 * it still refuses a block describing a pixel offset above 1 MiB or a model
 * above 32768 pixels a side or 2^26 pixels, before reading through it. Use
 * kel_vela_search_load_params_from_mem2 for blocks from outside. Returns 0;
 * 10 null record or buffer, wrong magic, pixel offset below 188 or above the
 * limit, width or height below 1 or above the limits, or alg outside
 * 0..alg_max (nothing changed); 4 out of memory. */
KELKIT_API int kel_vela_search_load_params_from_mem(KelVelaParams *params, const void *buffer);

/* The same for a block of `size` bytes: nothing is read at or beyond
 * buffer + size. Also 10 for a negative size ("Size must not be negative")
 * and for a block too short for its fixed fields ("Block too small") or for
 * the pixels it describes ("Bad model size"). */
KELKIT_API int kel_vela_search_load_params_from_mem2(KelVelaParams *params, const void *buffer,
                                                     int size);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_VELA_H */
