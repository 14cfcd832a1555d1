// kel_blob_sort: a heap sort of the blob pointers by one of ten keys. The
// heap layout and the sift steps are fixed (position 0 has the single child
// 1, position k >= 1 the children 2k and 2k + 1), so blobs with equal keys
// always come out in the same order.
#include <cmath>
#include <cstdint>
#include <utility>

#include "measure/blob/blob_internal.hpp"

namespace kel::blob {

namespace {

// "a goes after b" in ascending order, for one key.
class Greater {
 public:
  Greater(const BlobResults *r, unsigned key) : key_(key) {
    if (key == KEL_BLOB_SORT_COLUMNS || key == KEL_BLOB_SORT_ROWS) {
      std::uint64_t widths = 0, heights = 0;
      for (unsigned i = 0; i < r->num_found; ++i) {
        widths += r->blobs[i]->width;
        heights += r->blobs[i]->height;
      }
      half_width_ = static_cast<std::int64_t>(widths / r->num_found / 2);
      half_height_ = static_cast<std::int64_t>(heights / r->num_found / 2);
    }
  }

  bool operator()(const BlobRecord *a, const BlobRecord *b) const {
    switch (key_) {
      case KEL_BLOB_SORT_AREA:
        return a->area > b->area;
      case KEL_BLOB_SORT_XCENT:
        return a->xcent > b->xcent;
      case KEL_BLOB_SORT_YCENT:
        return a->ycent > b->ycent;
      case KEL_BLOB_SORT_COLUMNS:
        // Blobs of one column (close xmin) go down the column.
        if (distance(a->xmin, b->xmin) < half_width_) return a->ycent > b->ycent;
        return a->xcent > b->xcent;
      case KEL_BLOB_SORT_ROWS:
        // Blobs of one row (close ymin) go along the row.
        if (distance(a->ymin, b->ymin) < half_height_) return a->xcent > b->xcent;
        return a->ycent > b->ycent;
      case KEL_BLOB_SORT_XY_SUM:
        return a->xcent + a->ycent > b->xcent + b->ycent;
      case KEL_BLOB_SORT_XY_DIFF:
        return a->xcent - a->ycent > b->xcent - b->ycent;
      case KEL_BLOB_SORT_HEIGHT:
        return a->height > b->height;
      case KEL_BLOB_SORT_WIDTH:
        return a->width > b->width;
      default:
        return a->perim > b->perim;
    }
  }

 private:
  static std::int64_t distance(std::uint32_t a, std::uint32_t b) {
    return a > b ? std::int64_t{a} - b : std::int64_t{b} - a;
  }

  unsigned key_;
  std::int64_t half_width_ = 0;
  std::int64_t half_height_ = 0;
};

void heap_sort(BlobRecord **a, unsigned n, const Greater &greater, bool descending) {
  // before(i, j): a[i] belongs nearer the root than a[j].
  auto before = [&](unsigned i, unsigned j) {
    return descending ? greater(a[j], a[i]) : greater(a[i], a[j]);
  };
  for (unsigned k = 1; k < n; ++k)
    for (unsigned m = k; m > 0 && before(m, m / 2); m /= 2)
      std::swap(a[m], a[m / 2]);
  for (unsigned last = n - 1; last >= 1; --last) {
    std::swap(a[0], a[last]);
    // Sift down within 0 .. last - 1. At the root the first candidate is the
    // root itself, so only its single child 1 can replace it.
    unsigned node = 0, candidate = 0;
    while (candidate < last) {
      if (candidate + 1 < last && before(candidate + 1, candidate)) ++candidate;
      if (!before(candidate, node)) break;
      std::swap(a[candidate], a[node]);
      node = candidate;
      candidate = 2 * node;
    }
  }
}

}  // namespace

}  // namespace kel::blob

extern "C" {

KELKIT_API int kel_blob_sort(BlobResults *results, unsigned int key, unsigned int order) {
  // Refusals are returned without a report and change nothing.
  if (!results || results->num_found < 2 || key > 9 || order > 1) return KEL_ERR_ARGUMENT;
  kel::blob::Greater greater(results, key);
  kel::blob::heap_sort(results->blobs, results->num_found, greater, order == 1);
  return KEL_OK;
}

}  // extern "C"
