/*
 * pixsvc.h - image services for kelkit.
 *
 * The image-services library owns the Image record: it creates and deletes
 * images and views, copies pixels, reads and writes image files, samples
 * pixels at sub-pixel positions, and carries every error and warning report
 * that kelkit makes. Every function that can fail returns a status code
 * (0 = success) or a null record, and reports the failure through im_error
 * under its own name, exactly as kelkit's operators do.
 *
 * Pixel addressing: pixel (x, y) of an image lies at
 *     (char *)data + ((dx + skip) * y + x) * type
 * and rows[y] is the address of pixel (0, y). A view (region of interest)
 * shares the pixels of its master: writing through a view writes the master.
 *
 * The library keeps one chain of records per master through `next`: the
 * master first, then every live view of it. Functions that replace a master's
 * pixel memory walk that chain and refresh each record (im_update_rows).
 *
 * Thread safety: different images may be used from different threads at
 * once; one image (with its views) is used by one thread at a time. The last
 * error report is kept per thread.
 */
#ifndef PIXSVC_H
#define PIXSVC_H

#include <stddef.h>

#if defined(PIXSVC_BUILDING)
#define PIXSVC_API __attribute__((visibility("default")))
#else
#define PIXSVC_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Pixel type codes. The code is also the size of one pixel in bytes. They
 * are enumerators rather than macros so that they do not collide with members
 * of the same name in other libraries. */
enum {
  BYTE = 1 /* unsigned 8-bit */,
  WORD = 2 /* unsigned 16-bit */,
  FLOAT = 4 /* 32-bit float */
};

/* Status codes used by the image services (a subset of kelkit's table). */
#define IM_OK 0
#define IM_ERR_NULL_IMAGE 1
#define IM_ERR_NO_MEMORY 4
#define IM_ERR_SIZE 5
#define IM_ERR_TYPE 6
#define IM_ERR_ARGUMENT 10
#define IM_ERR_TYPE_MISMATCH 13
#define IM_ERR_FILE_OPEN 30   /* the file cannot be opened or created */
#define IM_ERR_FILE_FORMAT 31 /* unknown extension, or a malformed or truncated file */
#define IM_ERR_FILE_WRITE 32  /* writing the file failed */

/*
 * The image record. Field order is part of the interface.
 *   next      next record in the master's chain (master, then its views)
 *   type      BYTE, WORD or FLOAT
 *   x0, y0    origin of a view inside its master; 0 for a master
 *   dx, dy    width and height in pixels
 *   data      address of pixel (0, 0); always addresses at least one readable
 *             pixel for images made by this library, even when dx or dy is 0
 *   skip      pixels from the end of one row to the start of the next
 *   master    the master of a view; null for a master
 *   external  non-zero when the record does not own its pixel memory (views,
 *             and images laid over caller memory)
 *   rows      rows[y] = address of pixel (0, y), for y in 0 .. dy - 1
 */
typedef struct Image {
  struct Image *next;
  unsigned int type;
  int x0;
  int y0;
  int dx;
  int dy;
  void *data;
  int skip;
  struct Image *master;
  int external;
  void **rows;
} Image;

/* ---- creation and deletion ------------------------------------------- */

/* A new master image of `type` (BYTE, WORD or FLOAT) and size dx by dy
 * (either may be 0), with zeroed pixel memory obtained from malloc and packed
 * rows (skip 0). Returns null and reports code 6 (bad type), 10 (negative or
 * too large size) or 4 (out of memory). */
PIXSVC_API Image *im_create(unsigned int type, int dx, int dy);

/* Deletes an image or a view. A view is unlinked from its master's chain; a
 * master's pixel memory is freed unless it is external. A master that still
 * has live views is refused with code 10 and left intact: delete the views
 * first. Null: code 1. */
PIXSVC_API int im_delete(Image *img);

/* A new master of the same type and size as `img`, pixels zeroed (im_dup) or
 * copied from `img` (im_duplicate). Null on failure (code 1 or 4). */
PIXSVC_API Image *im_dup(const Image *img);
PIXSVC_API Image *im_duplicate(const Image *img);

/* ---- images over caller memory ---------------------------------------- */

/* A master record of `type` and size dx by dy over no pixel memory yet; rows
 * of `pitch` pixels (pitch >= dx). Attach memory with im_set_pix_hw before
 * use. The record never frees that memory (external = 1). */
PIXSVC_API Image *im_create_hw(unsigned int type, int dx, int dy, int pitch);

/* Lays an im_create_hw record over the caller's pixel memory (for example a
 * frame grabber's buffer), which must hold dy rows of the record's pitch.
 * Refuses views and owning images (code 10) and null memory (code 10). */
PIXSVC_API int im_set_pix_hw(Image *img, void *pixels);

/* Convenience: im_create_hw followed by im_set_pix_hw. */
PIXSVC_API Image *im_create_external(unsigned int type, int dx, int dy, int pitch, void *pixels);

/* ---- views ------------------------------------------------------------- */

/* A view over the rectangle at (x, y) of size dx by dy of `img` (a master or
 * a view; x and y are relative to `img`). The rectangle must lie inside the
 * master: origin inside it and x + dx, y + dy within its size; otherwise
 * code 10 and null. A view of a view has the same master as its parent. */
PIXSVC_API Image *im_rroi(Image *img, int x, int y, int dx, int dy);

/* Moves a view so that it starts at (x, y) of its master, size unchanged.
 * Refuses a master (code 10) and a rectangle outside the master (code 10),
 * leaving the view as it was. */
PIXSVC_API int im_move_rroi(Image *view, int x, int y);

/* Resizes a view to dx by dy, origin unchanged, with the same checks. */
PIXSVC_API int im_resize_rroi(Image *view, int dx, int dy);

/* The master of a view; a master is its own master. Null for null. */
PIXSVC_API Image *im_rroi_master(Image *img);

/* Recomputes `rows` (and a view's `data` and `skip`) from `data`, `dx`,
 * `skip` and `type`, for the record and, for a master, every view in its
 * chain. Call after replacing an image's pixel memory or type. */
PIXSVC_API int im_update_rows(Image *img);

/* ---- copying and comparison -------------------------------------------- */

/* Copies the common top-left area of src into dst. Differing pixel types:
 * code 13. Overlapping views of one master are handled (memmove order). */
PIXSVC_API int im_copy(const Image *src, Image *dst);

/* Copies src into dst with src's top-left pixel placed at (x, y) of dst,
 * clipped to dst. Differing types: code 13. */
PIXSVC_API int im_copy2(const Image *src, Image *dst, int x, int y);

/* Non-zero when a and b address overlapping pixel storage (the same image,
 * two overlapping views of one master, or a view and its master). */
PIXSVC_API int im_same_image(const Image *a, const Image *b);

/* ---- sampling ---------------------------------------------------------- */

/* Bilinear interpolation at (x, y). Positions are clamped to the image
 * (0 .. dx - 1, 0 .. dy - 1), so the result is defined up to and beyond the
 * border and never reads outside the image. An empty or null image gives 0. */
PIXSVC_API double im_get_interpolated_pixel(const Image *img, double x, double y);

/* Samples `count` values evenly along the segment from (x0, y0) to (x1, y1),
 * both ends included (one sample at (x0, y0) when count is 1), by bilinear
 * interpolation, into buf. count < 1 or null buf: code 10. */
PIXSVC_API int im_get_line_from_img(const Image *img, double x0, double y0, double x1, double y1,
                                    int count, float *buf);

/* ---- files ------------------------------------------------------------- */

/* Files are read only when they are regular files: a FIFO, device or folder
 * fails with IM_ERR_FILE_OPEN ("not a regular file") without being opened. */

/* Formats by extension (case-insensitive): ".bmp" (read: 8-bit palette and
 * 24-bit, colour read as grey; write: 8-bit grey with palette, BYTE only),
 * ".pgm" (binary P5, 8 and 16 bit) and ".png" (grey, 8 and 16 bit; colour and
 * palette images read as grey, alpha dropped, depths below 8 expanded). 8-bit
 * files are BYTE images, 16-bit files WORD images.
 *   - Colour becomes grey by (77 R + 150 G + 29 B + 128) >> 8 (PNG through the
 *     PNG library's conversion with the same weights, within 1 of it).
 *   - PGM samples are kept as stored, not rescaled to the file's maxval.
 *   - Every header field is checked against the bytes really present before
 *     pixel memory is allocated; a malformed, truncated or hostile file gives
 *     IM_ERR_FILE_FORMAT (31) and changes nothing. im_file_get_size reads the
 *     header only.
 *   - A file is encoded completely before it is created, so a failed write
 *     leaves an existing file as it was. */

/* Size and bit depth of a stored image. `flags`, `bits` and `reserved` may be
 * 0 / null. */
PIXSVC_API int im_file_get_size(const char *name, int flags, int *dx, int *dy, int *bits,
                                int *reserved);

/* Reads the file into `img`, whose size must equal the stored size (code 5).
 * An 8-bit file reads into BYTE or FLOAT, a 16-bit file into WORD or FLOAT
 * (code 13 otherwise). */
PIXSVC_API int im_file_read(const char *name, Image *img, int flags);

/* Creates an image of the stored size and type and reads the file into it.
 * Null on failure; the status goes to *status when it is not null. */
PIXSVC_API Image *im_file_load(const char *name, int *status);

/* Writes `img` (BYTE to any format, WORD to PGM and PNG). FLOAT: code 6. */
PIXSVC_API int im_file_write(const char *name, const Image *img, int flags);

/* ---- reports ----------------------------------------------------------- */

/* Records a failure of `func` with `code` and a printf-style message (may be
 * null) as this thread's last report, passes it to the installed handler,
 * and returns `code`. Nothing is printed unless the host's handler prints. */
PIXSVC_API int im_error(const char *func, int code, const char *fmt, ...)
    __attribute__((format(printf, 3, 4)));

/* As im_error, for a condition that does not stop the caller. */
PIXSVC_API int im_warn(const char *func, int code, const char *fmt, ...)
    __attribute__((format(printf, 3, 4)));

/* This thread's last report: its code (0 when none), the reporting function
 * ("" when none), the formatted message ("" when none), and whether it was
 * a warning. im_clear_report forgets it. */
PIXSVC_API int im_last_code(void);
PIXSVC_API const char *im_last_function(void);
PIXSVC_API const char *im_last_message(void);
PIXSVC_API int im_last_is_warning(void);
PIXSVC_API void im_clear_report(void);

/* A handler receives every report from every thread, on the reporting
 * thread. Passing null removes it. Returns the previous handler. */
typedef void (*im_report_handler)(int is_warning, const char *func, int code, const char *message,
                                  void *user);
PIXSVC_API im_report_handler im_set_report_handler(im_report_handler handler, void *user);

/* ---- platform ---------------------------------------------------------- */

/* Milliseconds from a monotonic clock (wraps after about 49 days). */
PIXSVC_API unsigned int im_get_msec_count(void);

/* Non-zero when the processor offers the MMX instruction set (CPUID on x86;
 * 0 on other processors). */
PIXSVC_API int im_cpu_has_mmx(void);

#ifdef __cplusplus
}
#endif

#endif /* PIXSVC_H */
