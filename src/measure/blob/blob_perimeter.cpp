// The blob boundary tracer and the two batch tracers. The tracer follows the
// outer boundary clockwise (y down) from the blob's first pixel, choosing at
// each step the first neighbour of the blob's value among seven directions
// that start two steps counter-clockwise of the current direction.
#include <algorithm>
#include <cstdint>
#include <memory>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "measure/blob/blob_internal.hpp"

namespace kel::blob {

namespace {

// Chain-code steps: 0 east, then clockwise with y growing downwards.
constexpr int kStepX[8] = {1, 1, 0, -1, -1, -1, 0, 1};
constexpr int kStepY[8] = {0, 1, 1, 1, 0, -1, -1, -1};

// The window a trace may visit: the blob's bounding box cut to the image, so
// that a record from another image never leads outside the pixels.
struct Window {
  std::int64_t x0, y0, x1, y1;
  bool contains(std::int64_t x, std::int64_t y) const {
    return x >= x0 && x <= x1 && y >= y0 && y <= y1;
  }
};

void follow(const Image *image, const BlobRecord &blob, std::uint8_t value,
            PerimeterPointSet &set) {
  const unsigned cap = set.capacity;
  set.count = 0;
  if (cap == 0) return;
  const Window w{std::max<std::int64_t>(blob.xmin, 0), std::max<std::int64_t>(blob.ymin, 0),
                 std::min<std::int64_t>(blob.xmax, image->dx - 1),
                 std::min<std::int64_t>(blob.ymax, image->dy - 1)};
  int x = static_cast<int>(blob.xfirst), y = static_cast<int>(blob.yfirst);
  set.x[0] = x;
  set.y[0] = y;
  unsigned n = 1;
  int d = 2;
  for (;;) {
    int next = -1;
    for (int i = 6; i <= 12 && next < 0; ++i) {  // (d + 5) mod 8 is never looked at
      const int dir = (d + i) & 7;
      const std::int64_t nx = std::int64_t{x} + kStepX[dir], ny = std::int64_t{y} + kStepY[dir];
      if (w.contains(nx, ny) &&
          *pixel<const std::uint8_t>(image, static_cast<int>(nx), static_cast<int>(ny)) == value)
        next = dir;
    }
    if (next < 0) {  // a lone pixel, or a value that is not the blob's
      set.count = 1;
      return;
    }
    d = next;
    x += kStepX[d];
    y += kStepY[d];
    if (n >= cap) {  // full: the last stored point is not counted
      set.count = cap - 1;
      return;
    }
    set.x[n] = x;
    set.y[n] = y;
    ++n;
    // Back at the start: the first two points repeat.
    if (n > 2 && x == set.x[1] && y == set.y[1] && set.x[n - 2] == set.x[0] &&
        set.y[n - 2] == set.y[0]) {
      set.count = n - 2;
      return;
    }
  }
}

}  // namespace

int trace(const Image *image, const BlobRecord &blob, std::uint8_t value, PerimeterPointSet **set) {
  if (!*set || blob.perim > (*set)->capacity) {
    kel_delete_perim_struct(*set);
    *set = kel_create_perim_struct(blob.perim);
    if (!*set) return KEL_ERR_NO_MEMORY;
  }
  follow(image, blob, value, **set);
  return KEL_OK;
}

namespace {

int trace_results(const char *fn, Image *image, const BlobResults *results, std::uint8_t value,
                  PerimeterResults *perims) {
  if (int e = need_pointer(fn, image, "image is NULL")) return e;
  if (int e = need_pointer(fn, results, "results is NULL")) return e;
  if (int e = need_pointer(fn, perims, "perimeter results are NULL")) return e;
  if (int e = need_type(fn, BYTE, image)) return e;
  if (perims->capacity < results->num_found && perims->growable &&
      !remake_sets(perims, results->num_found))
    return KEL_ERR_NO_MEMORY;
  const unsigned n = std::min(results->num_found, perims->capacity);
  perims->count = 0;
  for (unsigned i = 0; i < n; ++i) {
    if (trace(image, *results->blobs[i], value, &perims->sets[i]))
      return fail(fn, KEL_ERR_NO_MEMORY, "Out of memory");
    perims->count = i + 1;
  }
  return KEL_OK;
}

struct ParamsDeleter {
  void operator()(BlobParams *p) const noexcept { kel_blob_delete_params(p); }
};
struct ResultsDeleter {
  void operator()(BlobResults *r) const noexcept { kel_blob_delete_results(r); }
};

}  // namespace

}  // namespace kel::blob

extern "C" {

KELKIT_API int kel_blob_find_perimeter_points(Image *image, const BlobRecord *blob,
                                              unsigned char value, PerimeterPointSet **set) {
  return kel::guarded("kel_blob_find_perimeter_points", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, image, "image is NULL")) return e;
    if (int e = kel::need_pointer(fn, blob, "blob is NULL")) return e;
    if (int e = kel::need_pointer(fn, set, "set is NULL")) return e;
    if (int e = kel::need_type(fn, BYTE, image)) return e;
    if (kel::blob::trace(image, *blob, value, set))
      return kel::fail(fn, KEL_ERR_NO_MEMORY, "Out of memory");
    return KEL_OK;
  });
}

KELKIT_API int kel_blob_results_find_perimeter_points(Image *image, const BlobResults *results,
                                                      unsigned char value,
                                                      PerimeterResults *perims) {
  return kel::guarded("kel_blob_results_find_perimeter_points", [&](const char *fn) -> int {
    return kel::blob::trace_results(fn, image, results, value, perims);
  });
}

KELKIT_API int kel_image_blob_find_perimeter_points(Image *image, PerimeterResults *perims,
                                                    unsigned char value, unsigned int min_area) {
  return kel::guarded("kel_image_blob_find_perimeter_points", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, perims, "perimeter results are NULL")) return e;
    unsigned status = 0;
    std::unique_ptr<BlobParams, kel::blob::ParamsDeleter> params(kel_blob_create_params(&status));
    if (!params) return static_cast<int>(status);
    params->blob_color = value;
    params->connected = 8;
    params->min_area = min_area;
    std::unique_ptr<BlobResults, kel::blob::ResultsDeleter> results(
        kel_blob_create_results(50, 1, &status));
    if (!results) return static_cast<int>(status);
    if (int e = kel_blob_find(image, params.get(), results.get(), KEL_BLOB_COORDS_MASTER)) return e;
    // The blobs are in master coordinates, so a view is traced in its master.
    Image *plane = image->master ? image->master : image;
    return kel_blob_results_find_perimeter_points(plane, results.get(), value, perims);
  });
}

}  // extern "C"
