/*
 * kelkit/label.h - connected-component labeling and per-label measures.
 *
 * kel_label finds every connected object of one pixel value in a BYTE image,
 * repaints each object in place with a label value (1..255, cycling through
 * a chosen range) and returns one LabelRecord per object, in raster order of
 * the objects' first pixels, as a doubly linked list. The list then serves
 * the measures: ten float slots per record (slot 0 is the area), the
 * list-wide maximum, minimum, sum and range of a slot, a stable sort by a
 * slot, a histogram of a slot into a FLOAT image, and a perimeter length
 * traced on the labelled image with process-wide step metrics.
 *
 * LabelRecord begins with the two links of ll_node (kelkit/list.h), so the
 * ll_* functions apply to label lists. Records come from the heap and are
 * freed with kel_label_delete, kel_label_delete_list, ll_delete or
 * ll_delete_list.
 *
 * Coordinates in a record are relative to the image that was labelled (for
 * a view: to the view, not its master), x along a row and y down the rows.
 * The labelled image and the list belong together: the perimeter trace and
 * kel_label_find use the label value, the bounding box and the first pixel of
 * a record on the repainted image.
 *
 * Every walk over a list starts at the given head and follows `next` until it
 * meets null or comes back to the head, so a ring is walked once.
 *
 * Measure slots: index 0..9 addresses measure[index]. The perimeter
 * operations also accept index 10, which addresses the word that holds
 * `touches`: the perimeter is then stored there as the bit pattern of a
 * float, replacing the border bits. The other measure functions read index
 * 10 the same way (the touches word taken as a float), so a perimeter stored
 * in slot 10 can be measured, sorted and counted like any other slot. An index
 * outside 0..10 reports code 10 ("Measure index").
 *
 * State: the step metrics (kel_label_set_metrics) are the only process-wide
 * setting; they are read by every perimeter trace. Labeling and tracing keep
 * their working state in the call, so different images and lists may be
 * labelled and traced in different threads, provided no thread changes the
 * metrics meanwhile. A list must not be changed by two threads at once.
 */
#ifndef KELKIT_LABEL_H
#define KELKIT_LABEL_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Border bits of LabelRecord.touches. */
#define KEL_LABEL_TOUCHES_TOP 8u
#define KEL_LABEL_TOUCHES_BOTTOM 4u
#define KEL_LABEL_TOUCHES_LEFT 2u
#define KEL_LABEL_TOUCHES_RIGHT 1u

/* Number of float measure slots of a record, and the extra index (10) of the
 * perimeter operations that addresses the touches word. */
#define KEL_LABEL_MEASURES 10
#define KEL_LABEL_TOUCHES_SLOT 10

/* One labelled object. All coordinates are inclusive and relative to the
 * labelled image. */
typedef struct LabelRecord {
  struct LabelRecord *prev;  /* previous record; null at the head */
  struct LabelRecord *next;  /* next record; null at the tail */
  unsigned int labelval;     /* label value painted into the object's pixels */
  unsigned int xstart;       /* the object's first pixel in raster order */
  unsigned int ystart;       /*   (where its fill started) */
  unsigned int bxmin, bymin; /* bounding box, top left */
  unsigned int bxmax, bymax; /* bounding box, bottom right */
  float measure[10];         /* measure slots; slot 0 = area in pixels, the
                                others 0 until a measure writes them */
  unsigned int touches;      /* KEL_LABEL_TOUCHES_* bits of the borders reached */
  unsigned int mark;         /* free for the caller; 0 at creation */
  void *reserved;            /* null at creation; not used by kelkit */
  unsigned int uflag;        /* free for the caller; 0 at creation */
} LabelRecord;

/* Labels the connected objects of value `object_value` in a BYTE image, in
 * place, and returns the head of a new list with one record per object (null
 * when there is none or on failure).
 *   image         BYTE image or view, repainted in place: every object pixel
 *                 takes its object's label value; other pixels are untouched
 *   object_value  pixel value of the objects (1..255; values outside 0..255
 *                 match no pixel)
 *   connectivity  8: 8-connectivity; any other value: 4-connectivity
 *   first_label, last_label
 *                 range of label values: the first object (in raster order of
 *                 first pixels) gets first_label, each next object the next
 *                 value, back to first_label after last_label. With
 *                 first_label > last_label every object gets first_label.
 *   count         out, optional (may be null): number of records, 0 on failure
 * Records: labelval, xstart/ystart (first pixel in raster order), the
 * inclusive bounding box, measure[0] = area, the other slots 0, touches.
 * Touches is set run by run (a run is a maximal horizontal stretch of object
 * pixels): top (8) for a run in row 0, bottom (4) for one in row dy - 1,
 * left (2) for a run starting in column 0 and right (1) for one ending in
 * column dx - 1. Under 8-connectivity left is also set for a run starting in
 * column 1 and right for one ending in column dx - 2 (the run's diagonal
 * neighbourhood reaches the border).
 * Statuses (through im_error, the function returning null):
 *   1  null image
 *   13 image not BYTE
 *   10 "Label values not in 1..255": first_label outside 1..255, or
 *      last_label > 255
 *   10 "Object value is 0"
 *   10 "Object value in label range": object_value among the label values in
 *      use (first_label..last_label, or first_label alone when first_label >
 *      last_label)
 *   4  out of memory; the records made so far are freed, and the objects
 *      already labelled keep their new values.
 * An empty image (dx or dy below 1) holds no object: null, count 0, no
 * report. The fill keeps its work list on the heap: any object, however
 * winding, labels without deep recursion. */
KELKIT_API LabelRecord *kel_label(Image *image, int object_value, int connectivity, int first_label,
                                  int last_label, unsigned int *count);

/* Number of records of the list; 0 for null. */
KELKIT_API unsigned int kel_label_count(const LabelRecord *list);

/* The first record of the list with label value `labelval` whose bounding
 * box holds (x, y); null when there is none or the list is null. No report. */
KELKIT_API LabelRecord *kel_label_find(const LabelRecord *list, int x, int y,
                                       unsigned int labelval);

/* Unlinks and frees `record` and returns the head of what is left: `head`
 * itself when the record had a previous record, otherwise (the record was the
 * head) its next record, whose prev is cleared, or null when the list is now
 * empty. A null head or record reports code 18 and returns null (nothing is
 * freed). */
KELKIT_API LabelRecord *kel_label_delete(LabelRecord *head, LabelRecord *record);

/* Frees `head` and every record after it. A record before head, if any, is
 * detached first (its next becomes null) and kept. Null does nothing. */
KELKIT_API void kel_label_delete_list(LabelRecord *head);

/* Fields of a record; 0 for a null record (no report). */
KELKIT_API unsigned int kel_label_get_labelval(const LabelRecord *record);
KELKIT_API unsigned int kel_label_get_xstart(const LabelRecord *record);
KELKIT_API unsigned int kel_label_get_ystart(const LabelRecord *record);
KELKIT_API unsigned int kel_label_get_bxmin(const LabelRecord *record);
KELKIT_API unsigned int kel_label_get_bymin(const LabelRecord *record);
KELKIT_API unsigned int kel_label_get_bxmax(const LabelRecord *record);
KELKIT_API unsigned int kel_label_get_bymax(const LabelRecord *record);
KELKIT_API unsigned int kel_label_get_touches(const LabelRecord *record);
KELKIT_API unsigned int kel_label_get_mark(const LabelRecord *record);
KELKIT_API unsigned int kel_label_get_uflag(const LabelRecord *record);

/* Store the caller's mark or flag; a null record is ignored. */
KELKIT_API void kel_label_set_mark(LabelRecord *record, unsigned int value);
KELKIT_API void kel_label_set_uflag(LabelRecord *record, unsigned int value);

/* measure[index] of a record (index 10: the touches word taken as a float).
 * 0.0 for a null record or an index outside 0..10 (no report). */
KELKIT_API float kel_label_get_measure(const LabelRecord *record, int index);

/* Largest, smallest and sum of measure[index] over the list, in single
 * precision, in list order (a NaN never replaces a value as the maximum or
 * minimum, but one in the first record is kept). Null list: code 18;
 * index outside 0..10: code 10 "Measure index"; both return 0.0. */
KELKIT_API float kel_label_measure_max(const LabelRecord *list, int index);
KELKIT_API float kel_label_measure_min(const LabelRecord *list, int index);
KELKIT_API float kel_label_measure_sum(const LabelRecord *list, int index);

/* Sum of measure[index] over the list; *min and *max (each optional) receive
 * the smallest and largest value. Failures as kel_label_measure_sum, with
 * *min and *max set to 0.0. */
KELKIT_API float kel_label_measure_range(const LabelRecord *list, int index, float *min,
                                         float *max);

/* Stable sort of the list in place on measure[index]: ascending for order 1,
 * descending for any other order; records with equal values keep their
 * order. Returns the new head. The result is that of an insertion sort in
 * which each record moves towards the head while the value before it is
 * larger (ascending) or smaller (descending): a NaN value never moves and no
 * record passes it. Null list: code 18, returns null. Index outside 0..10:
 * code 10 "Measure index", the list is returned unchanged. Out of memory:
 * code 4, the list is returned unchanged. */
KELKIT_API LabelRecord *kel_label_measure_sort(LabelRecord *list, int index, int order);

/* Histogram of measure[index] over the list into the first row of a FLOAT
 * image. The first dx cells of that row are set to 0.0; then each record with
 * min <= measure[index] <= max adds 1.0 to cell
 * trunc((measure[index] - min) * (nbins - 1) / (max - min)), in single
 * precision; so min falls into cell 0 and max into cell nbins - 1. When max
 * equals min, every counted value goes to cell 0.
 * Statuses: 1 null histogram image; 12 "histogram array" when it is not
 * FLOAT; 1 null list; 17 when the histogram is narrower than nbins or has no
 * row; 10 "Bin count" when nbins < 1; 10 "Measure index" for an index
 * outside 0..10. */
KELKIT_API int kel_label_measure_histogram(const LabelRecord *list, Image *histogram, int index,
                                           float min, float max, int nbins);

/* Step lengths of the perimeter trace, for every list of the process:
 * horizontal mx, vertical my, diagonal sqrt(mx * mx + my * my) (single
 * precision). Defaults 1.0, 1.0 and 1.41421354. Both must be > 0, else code
 * 10 "Metric <= 0" and nothing changes. Not to be called while a perimeter
 * trace runs in another thread. */
KELKIT_API int kel_label_set_metrics(float mx, float my);

/* The current horizontal and vertical step lengths into *mx and *my (each
 * optional). Returns 0. */
KELKIT_API int kel_label_get_metrics(float *mx, float *my);

/* Perimeter of one labelled object into measure[index] (0..9, or 10 for the
 * touches word, see above). The outer boundary is traced clockwise from the
 * record's first pixel (xstart, ystart) through 8-neighbours that lie inside
 * the record's bounding box (cut to the image) and hold its label value, and
 * the step lengths are summed: mx for a horizontal step, my for a vertical
 * one, the diagonal length for a diagonal one. The trace ends when it first
 * comes back to the first pixel; for an object that branches there, only the
 * branch reached first is traced.
 *   labelled  the BYTE image repainted by kel_label
 * Statuses: 1 null image; 18 null record; 10 "Measure index" for an index
 * outside 0..10; 13 image not BYTE; 14 "Perimeter search" when the trace
 * cannot close (the image does not hold the labelled object the record
 * describes), measure[index] unchanged. A single-pixel object (no
 * qualifying neighbour) gets perimeter 1.0 and a warning (code 17, "Single
 * pixel object", through im_warn); the result is then 0. */
KELKIT_API int kel_label_perimeter(Image *labelled, LabelRecord *record, int index);

/* kel_label_perimeter on every record of the list. Statuses, reported under
 * "kel_label_perimeter_list": 1 null image; 18 null list; 10 "Measure index"
 * for an index above 10; 13 image not BYTE. Otherwise every record is traced
 * (failures are reported under "kel_label_perimeter", among them code 10 for
 * a negative index) and the first failure's code is returned, or 0. */
KELKIT_API int kel_label_perimeter_list(Image *labelled, LabelRecord *list, int index);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_LABEL_H */
