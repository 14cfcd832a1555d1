/*
 * kelkit/search.h - the correlation search: a grey-level model taught from a
 * BYTE image and located in BYTE scenes, to sub-pixel precision, with a score
 * from 0 to 100.
 *
 * Calling order: kel_search_create_params, then kel_search_train (with a
 * scene that holds the model, usually the image the model was cut from) or
 * one of the loaders, then any number of kel_search / kel_search_multi
 * calls, then kel_search_delete_params. Settings may change between searches.
 *
 * Scores. The dissimilarity of a model and an equally sized image region is
 * the sample variance of the pixel differences d = region - model:
 *     D = (N * sum(d*d) - sum(d)^2) / (N * (N - 1)),
 * with both sums kept in 32-bit integers (they wrap for very large models)
 * and the division in double. The score is 100 - 100 * D / variance(model),
 * truncated and clamped to 0..100: 100 means that region and model differ
 * only by a constant brightness offset, 0 that the difference varies at
 * least as much as the model itself. Internally the search works on D
 * truncated to an integer and clamped to 0..32767; 99999 marks an empty slot.
 *
 * One record serves one search or training at a time: both write the
 * record's candidate store and working fields. Distinct records are
 * independent.
 */
#ifndef KELKIT_SEARCH_H
#define KELKIT_SEARCH_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * The search record: the caller's settings, the trained model and what
 * training derives from it, and the search's working state. Create it with
 * kel_search_create_params, change the settings through the accessors below
 * and release it with kel_search_delete_params. The field order is part of
 * the interface.
 */
typedef struct KelSearchParams {
  int scan_step_x;    /* coarse position spacing when auto_step is 0 (8) */
  int scan_step_y;    /* (8) */
  int scan_pattern_x; /* sampling interval of the coarse stages when auto_step is 0 (8) */
  int scan_pattern_y; /* (8) */
  int auto_step;      /* 1: use the trained steps and intervals instead (1) */
  int early_term;     /* percent: a score at or above it ends the coarse stages early (100) */
  int suspicious;     /* percent: a single match below it is doubtful and retried (90) */
  int auto_retry;     /* 1: retry doubtful single matches (1) */
  int reserved;       /* carried by the memory image only; no meaning */
  int trained_step_x; /* coarse position spacing chosen by training (8) */
  int trained_step_y;
  int trained_pattern_x; /* sampling intervals chosen by training (8) */
  int trained_pattern_y;
  Image *model;          /* the trained model, BYTE, owned by the record (null until trained) */
  int retry_count;       /* entries in each retry table (6) */
  int *retry_step_x_pct; /* percent changes of steps and intervals, one row per retry */
  int *retry_step_y_pct;
  int *retry_pattern_x_pct;
  int *retry_pattern_y_pct;
  int candidate_capacity; /* entries of the candidate store: max(20, 5 * num_to_find) */
  int *candidate_y;
  int *candidate_x;
  double subpix_bias_x; /* sub-pixel correction measured by training (see kel_search_train) */
  double subpix_bias_y;
  int run_flag;     /* set to 1 when training starts; clearing it stops training (107) */
  int num_to_find;  /* matches reported by kel_search_multi (1) */
  void **work_rows; /* the image last scanned: row addresses, height, width */
  int work_dy;
  int work_dx;
  int *candidate_cost; /* dissimilarities of the candidate store, ascending */
  int sub_pixel;       /* 1: refine positions to sub-pixel precision (1) */
  double score_scale;  /* 100 / variance(model); negative until computed */
  double score_offset; /* dissimilarity of the model with itself (0) */
} KelSearchParams;

/* ---- record ------------------------------------------------------------ */

/* A new record with the defaults noted above and the retry tables
 *     step x  -20   0 -20   0 -50 -50      pattern x  -30   0 -30   0 -70 -70
 *     step y    0 -20 -20 -50   0 -50      pattern y    0 -30 -30 -70   0 -70
 * Returns null after reporting code 4 when memory is short. */
KELKIT_API KelSearchParams *kel_search_create_params(void);

/* Deletes the record with its model and arrays. Returns 0; a null record
 * reports code 10. */
KELKIT_API int kel_search_delete_params(KelSearchParams *params);

/* Accessors. Getters return the field (0 for a null record); setters store
 * the value without any check (and ignore a null record). */
KELKIT_API int kel_search_get_scan_step_x(const KelSearchParams *params);
KELKIT_API void kel_search_set_scan_step_x(KelSearchParams *params, int value);
KELKIT_API int kel_search_get_scan_step_y(const KelSearchParams *params);
KELKIT_API void kel_search_set_scan_step_y(KelSearchParams *params, int value);
KELKIT_API int kel_search_get_scan_pattern_x(const KelSearchParams *params);
KELKIT_API void kel_search_set_scan_pattern_x(KelSearchParams *params, int value);
KELKIT_API int kel_search_get_scan_pattern_y(const KelSearchParams *params);
KELKIT_API void kel_search_set_scan_pattern_y(KelSearchParams *params, int value);
KELKIT_API int kel_search_get_auto_step(const KelSearchParams *params);
KELKIT_API void kel_search_set_auto_step(KelSearchParams *params, int value);
KELKIT_API int kel_search_get_early_term(const KelSearchParams *params);
KELKIT_API void kel_search_set_early_term(KelSearchParams *params, int value);
KELKIT_API int kel_search_get_suspicious(const KelSearchParams *params);
KELKIT_API void kel_search_set_suspicious(KelSearchParams *params, int value);
KELKIT_API int kel_search_get_auto_retry(const KelSearchParams *params);
KELKIT_API void kel_search_set_auto_retry(KelSearchParams *params, int value);
KELKIT_API int kel_search_get_sub_pixel(const KelSearchParams *params);
KELKIT_API void kel_search_set_sub_pixel(KelSearchParams *params, int value);
KELKIT_API int kel_search_get_num_to_find(const KelSearchParams *params);
KELKIT_API void kel_search_set_num_to_find(KelSearchParams *params, int value);

/* ---- training ---------------------------------------------------------- */

/*
 * Teaches `model` and chooses the scan steps for scenes like `scene`.
 *
 * scene  BYTE image that holds the model at a known place, normally the
 *        image the model was cut from (with its one-pixel frame).
 * model  BYTE image, no wider and no taller than the scene. The record keeps
 *        a copy without the model's one-pixel frame (a dimension of 1 or 2
 *        keeps all its pixels); the frame serves the bias measurement.
 *
 * Training computes the score normalisation from `model`, then tries coarse
 * position steps from the largest (up to 19, about a third of the model) down
 * and keeps the first for which the model is found exactly in the scene for
 * every grid phase; then, with those steps, the largest sampling intervals
 * that still find it (stored one or two below the interval that passed, as a
 * margin). Steps or intervals that never pass become 2.
 *
 * Sub-pixel bias. The quadratic fit of kel_search locks results towards whole
 * pixels: for a true fraction t the fitted offset f deviates by an amount
 * that vanishes at t = 0 and t = 0.5 and peaks near t = 0.25, very nearly
 * -b * sin(2 pi f). Training measures b per axis: the framed model is
 * resampled bilinearly at the twelve shifts (+-q, +-q) with q = 1/4, 1/8 and
 * 3/8 (the quarter first), each copy is searched with the trained model and
 * the fit, and b is the least-squares solution of
 *     t - f = b * sin(2 pi f)
 * over all shifts; a search then adds b * sin(2 pi f) to every fitted
 * offset. A model without a frame (dimension of 1 or 2), or one for which the
 * fit never gives a usable offset, gets b = 0. The bias is limited to
 * +-0.25 pixel.
 *
 * early_term and suspicious are converted to the internal scale and back
 * during training, so either may come back one lower (truncation).
 *
 * Returns 0; 1 null image; 13 scene or model not BYTE; 10 model larger than
 * the scene; 10 (without a report) null params; 4 out of memory; 107 when
 * run_flag was found cleared between two trials (training then stops, and
 * steps and intervals not yet decided are 2, the bias 0).
 */
KELKIT_API int kel_search_train(const Image *scene, const Image *model, KelSearchParams *params);

/* ---- search ------------------------------------------------------------ */

/*
 * Finds the trained model in `img` (BYTE; any view) and reports up to
 * num_to_find matches, best first.
 *
 * coords  two low bits: 0 master coordinates (a view's x0 and y0 added);
 *         1 coordinates of `img` itself; 2 master coordinates with y turned
 *         upside down (master dy - y, or img dy - y without a master); 3 y
 *         turned upside down against img's own dy. Higher bits are ignored.
 * count   optional (may be null). With it, num_to_find results are written
 *         and *count receives the number of matches found; without it, one.
 * x, y    positions of the model's centre (pixel centre = whole number);
 *         sub-pixel when sub_pixel is set, except for a match on the border
 *         of the valid range.
 * score   0..100; an empty slot holds score 0 and position 0.
 *
 * Matches closer than 60 % of the model size in both directions are reported
 * once (the better one). With one match asked and auto_retry set, a result
 * scoring below `suspicious` is searched again with the grid shifted by half
 * a step and with the six rows of the retry tables; the best result wins.
 *
 * Returns 0; 1 null image; 13 image not BYTE (the record is left unchanged);
 * 10 null params or result array; 103 the record holds no model; 104 model
 * wider or taller than the image (after 103 and 104 the arrays hold score 0
 * and position 0); 4 out of memory. Every failure is reported under the name
 * "kel_search".
 */
KELKIT_API int kel_search_multi(Image *img, KelSearchParams *params, int coords, int *count,
                                double *x, double *y, int *score);

/* kel_search_multi for one match: sets num_to_find to 1 (it stays 1) and
 * returns the match through *x, *y and *score. Codes as kel_search_multi. */
KELKIT_API int kel_search(Image *img, KelSearchParams *params, int coords, double *x, double *y,
                          double *score);

/* ---- persisted forms ---------------------------------------------------- */

/*
 * Writes the settings, the trained steps and the bias as a text file at
 * `path` (one value a line: the scan fields, auto_step, early_term,
 * suspicious, auto_retry, sub_pixel, the trained steps, the two biases and
 * the model image's file name) and the model as an image file. The image name
 * is `image_name` when it is neither null nor empty; otherwise `path` with
 * everything from its last dot removed, plus ".bmp" (the cut is made at the
 * last dot of the whole path, so "dir.v2/part" gives "dir.bmp").
 * num_to_find, the retry tables and the normalisation are not saved.
 * Returns 0; 10 null params or path; 9 the text file cannot be created (no
 * report); otherwise the code of im_file_write.
 */
KELKIT_API int kel_search_save_params(const KelSearchParams *params, const char *path,
                                      const char *image_name);

/*
 * Reads a file written by kel_search_save_params, then the model image it
 * names, and recomputes the normalisation. Returns 0; 10 null params or path;
 * 9 the text file cannot be opened (no report) or is malformed (fields then
 * unchanged) or the image file cannot be sized (the fields are then loaded
 * and the record has no model); otherwise the code of im_file_read (the
 * record then holds a model of the file's size that was not read).
 */
KELKIT_API int kel_search_load_params(KelSearchParams *params, const char *path);

/*
 * The memory image: a flat little-endian block of the settings, the trained
 * steps, the bias and the model pixels (byte offsets):
 *     0 magic 0xDEAF1234      4 version 1      8 header size H = 464
 *     12..40 scan_step_x, scan_step_y, scan_pattern_x, scan_pattern_y,
 *            auto_step, early_term, suspicious, auto_retry
 *     44 reserved word        56..68 the four trained steps and intervals
 *     164, 172 subpix_bias_x, subpix_bias_y (IEEE double)
 *     H + 12 model size word  H + 16 model height slot  H + 20 pixels
 * Bytes 48..55, 72..163 and 180..H+11 are not written. The writer stores the
 * model's height in the size word and writes each row of dx bytes at a
 * stride of that word; it never writes the height slot. The reader takes
 * the width from the size word and the height from the slot, and reads rows
 * at a stride of the width. A round trip therefore restores the model only
 * for a square model and a buffer that already holds the height in the slot;
 * both sides are kept so for compatibility with stored blocks. sub_pixel,
 * num_to_find and the retry tables are not part of the block.
 */

/* *size = dx * dy + 485 for the trained model. Returns 0; 10 (size 0) for a
 * null record or size pointer or a record without a valid model. */
KELKIT_API int kel_search_params_mem_size(const KelSearchParams *params, int *size);

/* Writes the memory image into `buffer`. When `size` is not negative it must
 * be at least the size from kel_search_params_mem_size, and for a model
 * taller than it is wide at least 484 + (dy - 1) * dy + dx (the writer's
 * stride reaches that far); else 10. A negative size skips the check. An
 * untrained record writes a model size word of 0 and no pixels, with any
 * non-negative size: the buffer must nevertheless hold the 480 header bytes.
 * Returns 0 or 10 (also for a null record or buffer). */
KELKIT_API int kel_search_save_params_to_mem(const KelSearchParams *params, void *buffer, int size);

/* Reads a memory image: every field the writer writes (the reserved word
 * included), then a model of the width at H + 12 and the height at H + 16,
 * and recomputes the normalisation. This form trusts the buffer to hold the
 * whole block its words describe (it has no length to check against); it
 * still refuses a header size above 1 MiB or a model above 32768 pixels a
 * side or 2^26 pixels, before reading through them. Use
 * kel_search_load_params_from_mem2 for blocks from outside. Returns 0; 10
 * null record or buffer, wrong magic, header size below 168 or above the
 * limit, or width or height below 1 or above the limits (nothing changed); 4
 * out of memory. */
KELKIT_API int kel_search_load_params_from_mem(KelSearchParams *params, const void *buffer);

/* The same for a block of `size` bytes: nothing is read at or beyond
 * buffer + size. Also 10 for a negative size ("Size must not be negative")
 * and for a block too short for its fixed fields ("Block too small"), its
 * model size words ("Bad header size") or the pixels they describe ("Bad
 * model size"). */
KELKIT_API int kel_search_load_params_from_mem2(KelSearchParams *params, const void *buffer,
                                                int size);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_SEARCH_H */
