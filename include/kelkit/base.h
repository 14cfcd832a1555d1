/*
 * kelkit/base.h - the export macro and the status codes shared by every
 * kelkit function.
 *
 * Every operator returns a status code: 0 for success, otherwise one of the
 * codes below. The same code, the name of the exported function that failed
 * and a short message are also reported through the image services
 * (im_error), where the host reads them with im_last_code(),
 * im_last_function() and im_last_message(), or receives them in a handler
 * installed with im_set_report_handler().
 */
#ifndef KELKIT_BASE_H
#define KELKIT_BASE_H

#include "pixsvc.h"

#if defined(KELKIT_BUILDING)
#define KELKIT_API __attribute__((visibility("default")))
#else
#define KELKIT_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

enum KelStatus {
  KEL_OK = 0,
  KEL_ERR_NULL_IMAGE = 1,     /* a required image argument is null */
  KEL_ERR_NO_MEMORY = 4,      /* memory could not be obtained */
  KEL_ERR_SIZE = 5,           /* image sizes do not satisfy the operator */
  KEL_ERR_TYPE = 6,           /* pixel type not supported by this operator */
  KEL_ERR_AREA_SMALL = 7,     /* area too small for the neighbourhood ("Area too small!") */
  KEL_ERR_OPERATION = 8,      /* unknown operation selector */
  KEL_ERR_ARGUMENT = 10,      /* null handle or result pointer, argument out of range */
  KEL_ERR_NEED_TYPE = 12,     /* the operator needs another pixel type */
  KEL_ERR_TYPE_MISMATCH = 13, /* the images are not all of the one type the operator takes */
  KEL_ERR_NOT_FOUND = 14,     /* an analysis found nothing usable */
  KEL_ERR_SINGULAR = 16,      /* a transformation matrix is singular */
  KEL_ERR_EMPTY = 17,         /* empty image or common area, or a results array too small */
  KEL_ERR_NULL_LABELS = 18,   /* null label set */
  KEL_ERR_COPY = 19,          /* a copy between images failed */
  KEL_ERR_NOT_OWNER = 25,     /* in-place conversion impossible: memory not owned */
  KEL_ERR_NOT_COMPUTED = 27,  /* aligner not yet computed */
  KEL_ERR_BLOB_SEARCH = 100,  /* blob search failed in its internal stage */
  KEL_ERR_NO_MODEL = 103,     /* no trained model */
  KEL_ERR_MODEL_LARGE = 104,  /* model larger than the image */
  KEL_ERR_SAME_IMAGE = 106,   /* destination is the source and the operator cannot work in place */
  KEL_ERR_RANGE = 107,        /* value out of range */
  KEL_ERR_WINDOW = 108,       /* search window outside the image */
  KEL_ERR_NULL_RECORD = 111,  /* 360 search parameter file: null record */
  KEL_ERR_FILE = 112          /* 360 search parameter file: file failure */
};

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_BASE_H */
