// Resampling, arithmetic between profiles, and conversion between a profile
// and an image row.
#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>
#include <vector>

#include "frame/pixels.hpp"
#include "frame/round_store.hpp"
#include "kelkit/profile.h"
#include "tools/profile/profile_checks.hpp"

extern "C" {

KELKIT_API int ar_resample(const double *src, int n, double *dst, int m) {
  return kel::guarded("ar_resample", [&](const char *fn) -> int {
    if (int e = kel::need_arrays(fn, src, dst)) return e;
    if (src == dst) return kel::fail(fn, KEL_ERR_SAME_IMAGE, "Destination must differ from source");
    if (int e = kel::need_length(fn, n, 1)) return e;
    if (int e = kel::need_length(fn, m, 1)) return e;
    for (int j = 0; j < m; ++j) {
      double x = m > 1 ? double(j) * (n - 1) / (m - 1) : 0.0;
      int i = static_cast<int>(std::floor(x));
      if (i >= n - 1) {
        dst[j] = src[n - 1];
        continue;
      }
      double f = x - i;
      dst[j] = src[i] + (src[i + 1] - src[i]) * f;
    }
    return KEL_OK;
  });
}

KELKIT_API int ar_combine(const double *a, const double *b, double *dst, int n, int operation) {
  return kel::guarded("ar_combine", [&](const char *fn) -> int {
    if (int e = kel::need_arrays(fn, a, b, dst)) return e;
    if (int e = kel::need_length(fn, n, 1)) return e;
    if (operation < KEL_AR_ADD || operation > KEL_AR_ABSDIFF)
      return kel::fail(fn, KEL_ERR_OPERATION, "Unknown operation");
    for (int i = 0; i < n; ++i) {
      double x = a[i], y = b[i], r = 0;
      switch (operation) {
        case KEL_AR_ADD:
          r = x + y;
          break;
        case KEL_AR_SUBTRACT:
          r = x - y;
          break;
        case KEL_AR_MULTIPLY:
          r = x * y;
          break;
        case KEL_AR_DIVIDE:
          r = y != 0 ? x / y : 0.0;
          break;
        case KEL_AR_MIN:
          r = std::min(x, y);
          break;
        case KEL_AR_MAX:
          r = std::max(x, y);
          break;
        default:
          r = std::fabs(x - y);
          break;
      }
      dst[i] = r;
    }
    return KEL_OK;
  });
}

KELKIT_API int ar_scale(const double *src, double *dst, int n, double gain, double offset) {
  return kel::guarded("ar_scale", [&](const char *fn) -> int {
    if (int e = kel::need_arrays(fn, src, dst)) return e;
    if (int e = kel::need_length(fn, n, 1)) return e;
    for (int i = 0; i < n; ++i)
      dst[i] = src[i] * gain + offset;
    return KEL_OK;
  });
}

KELKIT_API int ar_from_image(const Image *img, int y, double *dst, int n) {
  return kel::guarded("ar_from_image", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, img)) return e;
    if (int e = kel::need_array(fn, dst)) return e;
    if (y < 0 || y >= img->dy) return kel::fail(fn, KEL_ERR_ARGUMENT, "Row out of range");
    if (int e = kel::need_length(fn, n, img->dx)) return e;
    if (int e = kel::need_pixel_type(fn, img)) return e;
    return kel::with_pixel_type(img->type, int{KEL_ERR_TYPE}, [&]<class T>() {
      const T *r = kel::row<T>(img, y);
      for (int x = 0; x < img->dx; ++x)
        dst[x] = r[x];
      return KEL_OK;
    });
  });
}

KELKIT_API int ar_to_image(const double *src, int n, Image *img, int y) {
  return kel::guarded("ar_to_image", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, img)) return e;
    if (int e = kel::need_array(fn, src)) return e;
    if (y < 0 || y >= img->dy) return kel::fail(fn, KEL_ERR_ARGUMENT, "Row out of range");
    if (n != img->dx) return kel::fail(fn, KEL_ERR_SIZE, "Sizes differ");
    if (int e = kel::need_pixel_type(fn, img)) return e;
    return kel::with_pixel_type(img->type, int{KEL_ERR_TYPE}, [&]<class T>() {
      T *r = kel::row<T>(img, y);
      for (int x = 0; x < n; ++x)
        r[x] = kel::round_to_pixel<T>(src[x]);
      return KEL_OK;
    });
  });
}

}  // extern "C"
