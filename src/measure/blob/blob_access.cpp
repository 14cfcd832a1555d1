// Accessors of the blob parameter and result records. They check nothing
// but a null record and, for results, an index outside the slot table, both
// of which read as 0.
#include "measure/blob/blob_internal.hpp"

namespace {

const BlobRecord *slot(const BlobResults *r, int index) {
  if (!r || index < 0 || static_cast<unsigned>(index) >= r->capacity) return nullptr;
  return r->blobs[index];
}

}  // namespace

#define KEL_BLOB_PARAM(type, field)                                      \
  KELKIT_API type kel_blob_get_##field(const BlobParams *params) {       \
    return params ? params->field : static_cast<type>(0);                \
  }                                                                      \
  KELKIT_API void kel_blob_set_##field(BlobParams *params, type value) { \
    if (params) params->field = value;                                   \
  }

#define KEL_BLOB_RESULT(type, field)                                            \
  KELKIT_API type kel_blob_get_##field(const BlobResults *results, int index) { \
    const BlobRecord *b = slot(results, index);                                 \
    return b ? b->field : static_cast<type>(0);                                 \
  }

extern "C" {

KEL_BLOB_PARAM(unsigned char, blob_color)
KEL_BLOB_PARAM(unsigned int, connected)
KEL_BLOB_PARAM(unsigned int, min_area)
KEL_BLOB_PARAM(unsigned int, max_area)
KEL_BLOB_PARAM(unsigned int, min_width)
KEL_BLOB_PARAM(unsigned int, max_width)
KEL_BLOB_PARAM(unsigned int, min_height)
KEL_BLOB_PARAM(unsigned int, max_height)

KEL_BLOB_RESULT(unsigned int, xmin)
KEL_BLOB_RESULT(unsigned int, xmax)
KEL_BLOB_RESULT(unsigned int, ymin)
KEL_BLOB_RESULT(unsigned int, ymax)
KEL_BLOB_RESULT(unsigned int, perim)
KEL_BLOB_RESULT(unsigned int, area)
KEL_BLOB_RESULT(unsigned int, xfirst)
KEL_BLOB_RESULT(unsigned int, yfirst)
KEL_BLOB_RESULT(unsigned int, width)
KEL_BLOB_RESULT(unsigned int, height)
KEL_BLOB_RESULT(double, xcent)
KEL_BLOB_RESULT(double, ycent)

KELKIT_API unsigned int kel_blob_get_num_found(const BlobResults *results) {
  return results ? results->num_found : 0u;
}

}  // extern "C"
