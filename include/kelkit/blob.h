/*
 * kelkit/blob.h - binary blob analysis: finding, filtering, sorting and
 * perimeter tracing of connected groups of object pixels.
 *
 * A blob image is a BYTE image that holds only the values 0 and 255. The
 * finder scans it once from the top, row by row, as run-length segments,
 * joins touching runs into blobs, and measures each blob: bounding box,
 * area, perimeter, first pixel, centroid, width and height. Blobs outside the
 * limits on width, height and area are dropped. The survivors can be sorted
 * by one of ten keys and their outer boundaries traced as ordered lists of
 * 8-connected points.
 *
 * The caller owns three kinds of record, each made and freed by the library:
 * a parameter record (BlobParams), a result record (BlobResults) and a
 * perimeter result record (PerimeterResults, a table of PerimeterPointSet).
 * Nothing is kept between calls outside these records; two finds, sorts or
 * traces on different records may run in different threads at once.
 *
 * Typical use:
 *     unsigned int st;
 *     BlobParams *p = kel_blob_create_params(&st);
 *     BlobResults *r = kel_blob_create_results(100, 1, &st);
 *     kel_blob_set_blob_color(p, 255);     (white blobs on black)
 *     kel_blob_set_min_area(p, 20);
 *     if (kel_blob_find(img, p, r, KEL_BLOB_COORDS_IMAGE) == KEL_OK)
 *       for (int i = 0; i < (int)kel_blob_get_num_found(r); ++i)
 *         use(kel_blob_get_xcent(r, i), kel_blob_get_ycent(r, i));
 *     kel_blob_delete_results(r);
 *     kel_blob_delete_params(p);
 */
#ifndef KELKIT_BLOB_H
#define KELKIT_BLOB_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Status of kel_blob_find when a new blob needs a slot and the result
 * record's table is full and not growable. (Code 100, KEL_ERR_BLOB_SEARCH,
 * means a pixel was neither 0 nor 255.) */
#define KEL_ERR_BLOB_FULL 101

/* The value of a limit that is not set. */
#define KEL_BLOB_UNSET 0xFFFFFFFFu

/* Coordinate mode of kel_blob_find, two bits:
 *   bit 0 clear: coordinates of a view are given in its master (x0 and y0
 *                are added); bit 0 set: relative to the image itself.
 *   bit 1 set:   every y value is then replaced by H - y (y measured
 *                upwards), where H is the master's height for a view with
 *                bit 0 clear and the image's own height otherwise.
 * So 0 = master coordinates, 1 = image coordinates, 2 = master coordinates
 * with y up, 3 = image coordinates with y up. */
#define KEL_BLOB_COORDS_MASTER 0u
#define KEL_BLOB_COORDS_IMAGE 1u
#define KEL_BLOB_COORDS_Y_UP 2u

/* Sort keys of kel_blob_sort. */
enum KelBlobSortKey {
  KEL_BLOB_SORT_AREA = 0,
  KEL_BLOB_SORT_XCENT = 1,
  KEL_BLOB_SORT_YCENT = 2,
  KEL_BLOB_SORT_COLUMNS = 3, /* by column, then down each column */
  KEL_BLOB_SORT_ROWS = 4,    /* reading order: by row, then along each row */
  KEL_BLOB_SORT_XY_SUM = 5,  /* xcent + ycent */
  KEL_BLOB_SORT_XY_DIFF = 6, /* xcent - ycent */
  KEL_BLOB_SORT_HEIGHT = 7,
  KEL_BLOB_SORT_WIDTH = 8,
  KEL_BLOB_SORT_PERIM = 9
};

/* Parameters of kel_blob_find. Made with defaults by kel_blob_create_params;
 * read and written through the kel_blob_get_ and kel_blob_set_ accessors. */
typedef struct BlobParams {
  unsigned int size;             /* 52, the byte size of the record */
  unsigned char blob_color;      /* 255: white blobs on black; other: black (0) on white (255). 0 */
  unsigned int connected;        /* 8: 8-connectivity; any other value: 4-connectivity. 8 */
  unsigned int min_area;         /* smallest kept area in pixels; KEL_BLOB_UNSET */
  unsigned int max_area;         /* largest kept area; KEL_BLOB_UNSET */
  unsigned int min_width;        /* smallest kept bounding-box width; KEL_BLOB_UNSET */
  unsigned int max_width;        /* largest kept bounding-box width; KEL_BLOB_UNSET */
  unsigned int min_height;       /* smallest kept bounding-box height; KEL_BLOB_UNSET */
  unsigned int max_height;       /* largest kept bounding-box height; KEL_BLOB_UNSET */
  unsigned int reserved;         /* 2; not read by any blob operation */
  unsigned char background_byte; /* scratch of kel_blob_find: the background value */
  unsigned char object_byte;     /* scratch of kel_blob_find: the object value */
  unsigned int background_word;  /* the background value in all four bytes */
  unsigned int object_word;      /* the object value in all four bytes */
} BlobParams;

/* One blob. Coordinates follow the coordinate mode of the find. */
typedef struct BlobRecord {
  unsigned int size;                   /* 80 */
  unsigned int xmin, ymin, xmax, ymax; /* bounding box, inclusive */
  unsigned int perim;                  /* unit pixel edges not facing another pixel of the blob
                                          (edges on the image border count; so do the edges of holes) */
  unsigned int area;                   /* number of pixels */
  unsigned int width;                  /* xmax - xmin + 1 */
  unsigned int height;                 /* ymax - ymin + 1 (before a y-up flip) */
  unsigned int sumx;           /* sum of the column indices of all pixels (32-bit, wrapping) */
  unsigned int sumy;           /* sum of the row indices of all pixels (32-bit, wrapping) */
  unsigned int xfirst, yfirst; /* first pixel in raster order */
  double xcent, ycent;         /* centroid: sumx / area, sumy / area */
  unsigned int holes;          /* loops closed during the scan; a ring under 4-connectivity has 1 */
  unsigned int deleted;        /* nonzero once merged into another blob or rejected by a filter */
} BlobRecord;

/* One run of object pixels in a row: scan scratch of kel_blob_find. */
typedef struct BlobRun {
  unsigned int start;    /* first column */
  unsigned int end;      /* last column, inclusive */
  int blob;              /* slot of the blob that owns the run; -1 before linking */
  unsigned int reserved; /* unused; keeps a run 16 bytes */
} BlobRun;

/* Results of kel_blob_find. Made by kel_blob_create_results; read through
 * kel_blob_get_num_found and the per-blob accessors. */
typedef struct BlobResults {
  unsigned int size;         /* 120 */
  unsigned int num_found;    /* blobs held after the last find; 0 at creation */
  unsigned int capacity;     /* number of slots in `blobs` */
  unsigned int growable;     /* nonzero: the table grows when full; zero: full is an error */
  BlobRecord **blobs;        /* capacity slots, every one allocated */
  unsigned int run_capacity; /* runs in each run buffer; 1024 at creation */
  BlobRun *runs_a;           /* run buffers, used in turn for this row and the row above */
  BlobRun *runs_b;
} BlobResults;

/* An ordered list of boundary points. */
typedef struct PerimeterPointSet {
  int *x;                /* capacity columns */
  int *y;                /* capacity rows */
  unsigned int count;    /* points in the list */
  unsigned int capacity; /* room in x and y */
} PerimeterPointSet;

/* A table of point lists, one per traced blob. */
typedef struct PerimeterResults {
  unsigned int count;          /* sets filled by the last trace */
  unsigned int capacity;       /* sets in the table */
  unsigned int growable;       /* nonzero: the table is remade larger when too small */
  PerimeterPointSet **sets;    /* capacity sets, every one allocated */
  unsigned int point_capacity; /* initial point capacity of every set */
} PerimeterResults;

/* ---- records ----------------------------------------------------------- */

/* A parameter record with its defaults: black blobs, 8-connectivity, no
 * limits. *status (may be null) receives 0, or 4 when memory is short, which
 * is also reported; then the result is null. */
KELKIT_API BlobParams *kel_blob_create_params(unsigned int *status);

/* Frees a parameter record. Null is allowed. */
KELKIT_API void kel_blob_delete_params(BlobParams *params);

/* A result record of max_blobs slots, every slot allocated, and two run
 * buffers of 1024 runs. With growable nonzero the table grows by a fifth
 * (at least one slot) whenever a find needs more. *status (may be null)
 * receives 0, or 4 when memory is short, which is also reported; then
 * nothing is kept and the result is null. */
KELKIT_API BlobResults *kel_blob_create_results(unsigned int max_blobs, unsigned int growable,
                                                unsigned int *status);

/* Frees a result record with its slots and run buffers. Null is allowed. */
KELKIT_API void kel_blob_delete_results(BlobResults *results);

/* ---- finding ----------------------------------------------------------- */

/*
 * Finds the blobs of `image`, a BYTE image or view holding only 0 and 255,
 * into `results`, and returns a status.
 *   image   in: the blob image
 *   params  in: object colour, connectivity and limits; its four scratch
 *           fields are written
 *   results out: num_found and the first num_found slots
 *   coords  coordinate mode (KEL_BLOB_COORDS_*)
 *
 * Blobs come in the order in which their first runs were met (raster order),
 * except that a place left by a merged or rejected blob is filled with the
 * last kept blob behind it. Limits: a blob is dropped when its width lies
 * outside min_width..max_width (checked when either is set; an unset minimum
 * counts as 0, an unset maximum as 4096, so a wider blob is always dropped
 * while either width limit is set; signed comparison), the same for heights,
 * and when its area lies outside min_area..max_area (an unset minimum counts
 * as 0, an unset maximum as 2000000000). The run buffers and, for a growable
 * record, the slot table grow as needed and are kept for later finds.
 *
 * Statuses: 1 null image; 10 null params or results; 13 not BYTE; 4 out of
 * memory; 100 a pixel is neither 0 nor 255; 101 (KEL_ERR_BLOB_FULL) the
 * table is full and not growable. After a failure the record holds a partial
 * scan and must not be read. An image without rows finds nothing and
 * returns 0.
 */
KELKIT_API int kel_blob_find(Image *image, BlobParams *params, BlobResults *results,
                             unsigned int coords);

/* Number of blobs held after the last find (0 for a null record). */
KELKIT_API unsigned int kel_blob_get_num_found(const BlobResults *results);

/*
 * Sorts the held blobs by `key` (KelBlobSortKey), order 0 ascending or 1
 * descending, in place. The sort is a heap sort and is not stable: blobs with
 * equal keys come in an order that depends on their places before the sort,
 * the same on every run. COLUMNS compares two blobs by ycent when their xmin
 * differ by less than half the mean width of all held blobs, otherwise by
 * xcent; ROWS compares by xcent when their ymin differ by less than half the
 * mean height, otherwise by ycent (means and halves are truncated integers).
 *
 * Returns 10 without a report, changing nothing, for a null record, fewer
 * than 2 blobs, key > 9 or order > 1; otherwise 0.
 */
KELKIT_API int kel_blob_sort(BlobResults *results, unsigned int key, unsigned int order);

/* ---- parameter accessors ----------------------------------------------- */
/* Getters return the field (0 for a null record); setters store the value
 * without a check (nothing for a null record). */

KELKIT_API unsigned char kel_blob_get_blob_color(const BlobParams *params);
KELKIT_API void kel_blob_set_blob_color(BlobParams *params, unsigned char value);
KELKIT_API unsigned int kel_blob_get_connected(const BlobParams *params);
KELKIT_API void kel_blob_set_connected(BlobParams *params, unsigned int value);
KELKIT_API unsigned int kel_blob_get_min_area(const BlobParams *params);
KELKIT_API void kel_blob_set_min_area(BlobParams *params, unsigned int value);
KELKIT_API unsigned int kel_blob_get_max_area(const BlobParams *params);
KELKIT_API void kel_blob_set_max_area(BlobParams *params, unsigned int value);
KELKIT_API unsigned int kel_blob_get_min_width(const BlobParams *params);
KELKIT_API void kel_blob_set_min_width(BlobParams *params, unsigned int value);
KELKIT_API unsigned int kel_blob_get_max_width(const BlobParams *params);
KELKIT_API void kel_blob_set_max_width(BlobParams *params, unsigned int value);
KELKIT_API unsigned int kel_blob_get_min_height(const BlobParams *params);
KELKIT_API void kel_blob_set_min_height(BlobParams *params, unsigned int value);
KELKIT_API unsigned int kel_blob_get_max_height(const BlobParams *params);
KELKIT_API void kel_blob_set_max_height(BlobParams *params, unsigned int value);

/* ---- result accessors -------------------------------------------------- */
/* Field of blob `index` (0 .. num_found - 1; not checked against num_found).
 * An index outside the slot table or a null record gives 0 without a
 * report. */

KELKIT_API unsigned int kel_blob_get_xmin(const BlobResults *results, int index);
KELKIT_API unsigned int kel_blob_get_xmax(const BlobResults *results, int index);
KELKIT_API unsigned int kel_blob_get_ymin(const BlobResults *results, int index);
KELKIT_API unsigned int kel_blob_get_ymax(const BlobResults *results, int index);
KELKIT_API unsigned int kel_blob_get_perim(const BlobResults *results, int index);
KELKIT_API unsigned int kel_blob_get_area(const BlobResults *results, int index);
KELKIT_API unsigned int kel_blob_get_xfirst(const BlobResults *results, int index);
KELKIT_API unsigned int kel_blob_get_yfirst(const BlobResults *results, int index);
KELKIT_API unsigned int kel_blob_get_width(const BlobResults *results, int index);
KELKIT_API unsigned int kel_blob_get_height(const BlobResults *results, int index);
KELKIT_API double kel_blob_get_xcent(const BlobResults *results, int index);
KELKIT_API double kel_blob_get_ycent(const BlobResults *results, int index);

/* ---- perimeter tracing ------------------------------------------------- */

/* A point list with room for `capacity` points (count 0); null when memory
 * is short (nothing is reported). */
KELKIT_API PerimeterPointSet *kel_create_perim_struct(unsigned int capacity);

/* Frees a point list. Null is allowed. */
KELKIT_API void kel_delete_perim_struct(PerimeterPointSet *set);

/* A table of max_sets point lists of points_per_set points each. With
 * growable nonzero, kel_blob_results_find_perimeter_points remakes the table
 * with as many lists as there are blobs when it is too small. *status (may be
 * null) receives 0, or 4 when memory is short, which is also reported; then
 * the result is null. */
KELKIT_API PerimeterResults *kel_blob_perimeter_create_results(unsigned int max_sets,
                                                               unsigned int points_per_set,
                                                               unsigned int growable,
                                                               unsigned int *status);

/* Frees a table and all its point lists. Null is allowed. */
KELKIT_API void kel_blob_perimeter_delete_results(PerimeterResults *perims);

/*
 * Traces the outer boundary of one blob clockwise (y down), starting at its
 * first pixel, into *set.
 *   image  in: BYTE image whose coordinates the blob uses (find with coords
 *          1, or on a master)
 *   blob   in: the blob; the trace stays inside its bounding box
 *   value  the pixel value of the blob (255 or 0)
 *   set    in/out: the list to fill. When the blob's perim exceeds its
 *          capacity (or *set is null) it is freed and replaced by a list of
 *          capacity perim; if that fails *set is left null.
 *
 * Every boundary pixel occurs once per visit, and the list does not repeat
 * its start: a 2 by 2 square gives its 4 pixels. A one-pixel blob, or a
 * value that is not the blob's, gives 1 point. When a list would overflow,
 * the trace stops with count = capacity - 1. Neighbours outside the image are
 * never read.
 *
 * Statuses: 10 null image, blob or set; 13 not BYTE; 4 out of memory.
 */
KELKIT_API int kel_blob_find_perimeter_points(Image *image, const BlobRecord *blob,
                                              unsigned char value, PerimeterPointSet **set);

/*
 * Traces the first min(num_found, capacity) blobs of `results` into the lists
 * 0, 1, ... of `perims`, whose count becomes the number traced. When perims
 * is growable and holds fewer lists than there are blobs, it is first remade
 * with num_found lists of its initial point capacity (status 4 without a
 * report when that fails, the old table being kept).
 * Statuses: 10 any null argument; 13 not BYTE; 4 out of memory. Tracing
 * stops at the first failure, which is returned.
 */
KELKIT_API int kel_blob_results_find_perimeter_points(Image *image, const BlobResults *results,
                                                      unsigned char value,
                                                      PerimeterResults *perims);

/*
 * Finds and traces in one call: blobs of colour `value` (255 white, other
 * values black), 8-connected, of area at least min_area (0 for all), found
 * in master coordinates and traced into `perims`. On a view the boundary is
 * traced in the master, so the points are master coordinates as well.
 * Statuses: 10 null perims (reported here); otherwise the first failure of
 * kel_blob_create_params, kel_blob_create_results, kel_blob_find or
 * kel_blob_results_find_perimeter_points, reported under that name.
 */
KELKIT_API int kel_image_blob_find_perimeter_points(Image *image, PerimeterResults *perims,
                                                    unsigned char value, unsigned int min_area);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_BLOB_H */
