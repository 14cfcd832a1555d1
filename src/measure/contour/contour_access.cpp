// The contour set's exported functions: creation, settings, the tracing and
// smoothing steps, read-out and the contour file.
#include <cstdio>
#include <iterator>
#include <new>
#include <vector>

#include "frame/call.hpp"
#include "measure/contour/contour_internal.hpp"
#include "measure/contour/contour_set.hpp"

namespace {

bool valid_point(const KelContourSet *set, int index) {
  return set && index >= 0 && index < set->point_count();
}

}  // namespace

extern "C" {

KELKIT_API KelContourSet *kel_ctd_create(int *status) {
  if (status) *status = KEL_OK;
  KelContourSet *set = new (std::nothrow) KelContourSet();
  if (!set) {
    kel::fail("kel_ctd_create", KEL_ERR_NO_MEMORY, "Out of memory");
    if (status) *status = KEL_ERR_NO_MEMORY;
  }
  return set;
}

KELKIT_API void kel_ctd_delete(KelContourSet *set) {
  delete set;
}

KELKIT_API void kel_ctd_clear(KelContourSet *set) {
  if (set) set->clear();
}

KELKIT_API void kel_ctd_set_edge_level(KelContourSet *set, int level) {
  set->edge_level = level;
}
KELKIT_API int kel_ctd_get_edge_level(const KelContourSet *set) {
  return set->edge_level;
}
KELKIT_API void kel_ctd_set_min_length(KelContourSet *set, int length) {
  set->min_length = length;
}
KELKIT_API int kel_ctd_get_min_length(const KelContourSet *set) {
  return set->min_length;
}
KELKIT_API void kel_ctd_set_max_length(KelContourSet *set, int length) {
  set->max_length = length;
}
KELKIT_API int kel_ctd_get_max_length(const KelContourSet *set) {
  return set->max_length;
}
KELKIT_API void kel_ctd_set_smoothing(KelContourSet *set, int passes) {
  set->smoothing = passes;
}
KELKIT_API int kel_ctd_get_smoothing(const KelContourSet *set) {
  return set->smoothing;
}

KELKIT_API int kel_ctd_trace(KelContourSet *set, const Image *img, int x, int y, int dx, int dy) {
  return kel::guarded("kel_ctd_trace", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, set, "Contour set is NULL")) return e;
    if (int e = kel::need_image(fn, img)) return e;
    if (int e = kel::need_type(fn, BYTE, img)) return e;
    if (x < 0 || y < 0 || dx < 0 || dy < 0 || x > img->dx - dx || y > img->dy - dy)
      return kel::fail(fn, KEL_ERR_WINDOW, "Region outside the image");
    if (dx < 3 || dy < 3) return kel::fail(fn, KEL_ERR_AREA_SMALL, "Area too small!");
    kel::measure::trace_contours(*set, img, x, y, dx, dy);
    return KEL_OK;
  });
}

KELKIT_API int kel_ctd_smooth(KelContourSet *set) {
  if (!set) return kel::fail("kel_ctd_smooth", KEL_ERR_ARGUMENT, "Contour set is NULL");
  kel::measure::smooth_contours(*set);
  return KEL_OK;
}

KELKIT_API int kel_ctd_compute_directions(KelContourSet *set) {
  if (!set) return kel::fail("kel_ctd_compute_directions", KEL_ERR_ARGUMENT, "Contour set is NULL");
  kel::measure::contour_directions(*set);
  return KEL_OK;
}

KELKIT_API int kel_ctd_get_point_count(const KelContourSet *set) {
  return set ? set->point_count() : 0;
}

KELKIT_API int kel_ctd_get_contour_count(const KelContourSet *set) {
  return set ? static_cast<int>(set->contours.size()) : 0;
}

KELKIT_API int kel_ctd_get_contour(const KelContourSet *set, int index, int *start, int *count,
                                   int *closed) {
  if (start) *start = 0;
  if (count) *count = 0;
  if (closed) *closed = 0;
  if (!set || index < 0 || index >= static_cast<int>(set->contours.size()))
    return kel::fail("kel_ctd_get_contour", KEL_ERR_ARGUMENT, "No such contour");
  const kel::measure::Contour &c = set->contours[static_cast<std::size_t>(index)];
  if (start) *start = c.start;
  if (count) *count = c.count;
  if (closed) *closed = c.closed;
  return KEL_OK;
}

KELKIT_API int kel_ctd_get_point(const KelContourSet *set, int index, double *x, double *y,
                                 double *direction, int *attribute) {
  if (x) *x = 0.0;
  if (y) *y = 0.0;
  if (direction) *direction = 0.0;
  if (attribute) *attribute = 0;
  if (!valid_point(set, index))
    return kel::fail("kel_ctd_get_point", KEL_ERR_ARGUMENT, "No such point");
  std::size_t i = static_cast<std::size_t>(index);
  if (x) *x = set->x[i];
  if (y) *y = set->y[i];
  if (direction) *direction = set->direction[i];
  if (attribute) *attribute = set->attribute[i];
  return KEL_OK;
}

KELKIT_API int kel_ctd_set_attribute(KelContourSet *set, int index, int attribute) {
  if (!valid_point(set, index))
    return kel::fail("kel_ctd_set_attribute", KEL_ERR_ARGUMENT, "No such point");
  set->attribute[static_cast<std::size_t>(index)] = attribute;
  return KEL_OK;
}

KELKIT_API const double *kel_ctd_x(const KelContourSet *set) {
  return set && !set->x.empty() ? set->x.data() : nullptr;
}
KELKIT_API const double *kel_ctd_y(const KelContourSet *set) {
  return set && !set->y.empty() ? set->y.data() : nullptr;
}
KELKIT_API const double *kel_ctd_direction(const KelContourSet *set) {
  return set && !set->direction.empty() ? set->direction.data() : nullptr;
}
KELKIT_API const int *kel_ctd_attribute(const KelContourSet *set) {
  return set && !set->attribute.empty() ? set->attribute.data() : nullptr;
}

KELKIT_API int kel_ctd_save(const KelContourSet *set, const char *path) {
  return kel::guarded("kel_ctd_save", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, set, "Contour set is NULL")) return e;
    if (int e = kel::need_pointer(fn, path, "File name is NULL")) return e;
    std::vector<std::uint8_t> bytes = kel::measure::encode_contours(*set);
    switch (kel::measure::bytes::write_file(path, bytes)) {
      case 0:
        return KEL_OK;
      case 1:
        return kel::fail(fn, KEL_ERR_FILE, "Cannot create the contour file");
      default:
        return kel::fail(fn, KEL_ERR_FILE, "Cannot write the contour file");
    }
  });
}

KELKIT_API int kel_ctd_load(KelContourSet *set, const char *path) {
  return kel::guarded("kel_ctd_load", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, set, "Contour set is NULL")) return e;
    if (int e = kel::need_pointer(fn, path, "File name is NULL")) return e;
    // The largest well-formed file: the header, 2^24 points and 2^22 contours.
    constexpr std::size_t kLargest = 32 + (std::size_t{1} << 24) * 28 + (std::size_t{1} << 22) * 12;
    std::vector<std::uint8_t> bytes;
    int got = kel::measure::bytes::read_file(path, kLargest, bytes);
    if (got == 1) return kel::fail(fn, KEL_ERR_FILE, "Cannot open the contour file");
    if (got != 0 || !kel::measure::decode_contours(bytes.data(), bytes.size(), *set))
      return kel::fail(fn, KEL_ERR_FILE, "Malformed contour file");
    return KEL_OK;
  });
}

}  // extern "C"
