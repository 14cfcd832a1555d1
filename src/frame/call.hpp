// The call frame shared by every exported operator: failure reports under the
// exported name, argument checks that chain with early return, and the
// boundary that keeps exceptions from crossing into C.
//
//   int kel_example(Image *src, Image *dst) {
//     return kel::guarded("kel_example", [&](const char *fn) -> int {
//       if (int e = kel::need_images(fn, src, dst)) return e;
//       kel::Area a = kel::common_area(src, dst);
//       if (int e = kel::need_area(fn, a)) return e;
//       ...
//       return KEL_OK;
//     });
//   }
#pragma once

#include <algorithm>
#include <new>
#include <stdexcept>

#include "kelkit/base.h"
#include "pixsvc.h"

namespace kel {

// Reports a failure of `fn` through the image services and returns `code`.
// `message` may be null.
int fail(const char *fn, int code, const char *message = nullptr);

// Reports a warning of `fn` and returns what im_warn returns (`code`).
int warn(const char *fn, int code, const char *message = nullptr);

// Runs body(fn) and returns its status. An allocation failure (or any other
// exception, which the library's own code never throws on purpose) becomes
// code 4 reported under `fn`; nothing escapes.
template <class Body>
int guarded(const char *fn, Body &&body) noexcept {
  try {
    return body(fn);
  } catch (const std::bad_alloc &) {
    return fail(fn, KEL_ERR_NO_MEMORY, "Out of memory");
  } catch (const std::length_error &) {
    return fail(fn, KEL_ERR_NO_MEMORY, "Out of memory");
  } catch (...) {
    return fail(fn, KEL_ERR_NO_MEMORY, "Internal failure");
  }
}

// As guarded, for functions that return a measure (or a record) instead of a
// status: after a failure the function returns `on_failure`.
template <class T, class Body>
T guarded_value(const char *fn, T on_failure, Body &&body) noexcept {
  try {
    return body(fn);
  } catch (const std::bad_alloc &) {
    fail(fn, KEL_ERR_NO_MEMORY, "Out of memory");
  } catch (const std::length_error &) {
    fail(fn, KEL_ERR_NO_MEMORY, "Out of memory");
  } catch (...) {
    fail(fn, KEL_ERR_NO_MEMORY, "Internal failure");
  }
  return on_failure;
}

// ---- argument checks: each returns 0 or the reported code ---------------

inline int need_image(const char *fn, const Image *img) {
  return img ? KEL_OK : fail(fn, KEL_ERR_NULL_IMAGE, "Image is NULL");
}

template <class... Images>
int need_images(const char *fn, const Images *...imgs) {
  int e = KEL_OK;
  ((e = e ? e : need_image(fn, imgs)), ...);
  return e;
}

// A required handle or result pointer (code 10).
inline int need_pointer(const char *fn, const void *p, const char *message = "pointer is NULL") {
  return p ? KEL_OK : fail(fn, KEL_ERR_ARGUMENT, message);
}

// The common top-left area of several images: smallest width and height.
struct Area {
  int dx = 0;
  int dy = 0;
  bool empty() const { return dx < 1 || dy < 1; }
};

inline Area area_of(const Image *img) {
  return {img->dx, img->dy};
}

template <class... Images>
Area common_area(const Image *first, const Images *...rest) {
  Area a = area_of(first);
  ((a.dx = std::min(a.dx, rest->dx), a.dy = std::min(a.dy, rest->dy)), ...);
  return a;
}

// Code 17 when the area holds no pixel.
inline int need_area(const char *fn, Area a, const char *message = "Empty area") {
  return a.empty() ? fail(fn, KEL_ERR_EMPTY, message) : KEL_OK;
}

// Code 106 when the destination is the source.
inline int need_distinct(const char *fn, const Image *src, const Image *dst) {
  return src == dst ? fail(fn, KEL_ERR_SAME_IMAGE, "Destination must differ from source") : KEL_OK;
}

const char *type_message(unsigned type);

// Code 13 unless every image has pixel type `type`.
template <class... Images>
int need_type(const char *fn, unsigned type, const Images *...imgs) {
  bool ok = ((imgs->type == type) && ...);
  return ok ? KEL_OK : fail(fn, KEL_ERR_TYPE_MISMATCH, type_message(type));
}

// Code 13 unless all images share one pixel type.
template <class... Images>
int need_same_type(const char *fn, const Image *first, const Images *...rest) {
  bool ok = ((rest->type == first->type) && ...);
  return ok ? KEL_OK : fail(fn, KEL_ERR_TYPE_MISMATCH, "Images must have the same pixel type");
}

// Code 6 unless the image's pixel type is BYTE, WORD or FLOAT.
inline int need_pixel_type(const char *fn, const Image *img) {
  return img->type == BYTE || img->type == WORD || img->type == FLOAT
             ? KEL_OK
             : fail(fn, KEL_ERR_TYPE, "Unsupported pixel type");
}

}  // namespace kel
