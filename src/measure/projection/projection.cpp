// Row and column projections of images and views, and projections along a
// rectangle at any angle.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <type_traits>
#include <vector>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "kelkit/moments.h"

namespace {

// Integer pixels sum exactly in integer accumulators (which also lets the
// compiler vectorise the loops); FLOAT pixels sum in double.
template <class T>
using Acc = std::conditional_t<
    std::is_same_v<T, float>, double,
    std::conditional_t<std::is_same_v<T, std::uint8_t>, std::uint32_t, std::uint64_t>>;

template <class T>
void project(const Image *img, bool rows, double *out) {
  const int dx = img->dx, dy = img->dy;
  if (rows) {
    for (int y = 0; y < dy; ++y) {
      const T *r = kel::row<T>(img, y);
      // A BYTE row sums in 32 bits in blocks of 2^24 pixels.
      std::uint64_t wide = 0;
      double fsum = 0;
      for (int x0 = 0; x0 < dx; x0 += 1 << 24) {
        const int x1 = std::min(dx, x0 + (1 << 24));
        Acc<T> s = 0;
        for (int x = x0; x < x1; ++x)
          s += r[x];
        if constexpr (std::is_same_v<T, float>)
          fsum += s;
        else
          wide += s;
      }
      out[y] = std::is_same_v<T, float> ? fsum : static_cast<double>(wide);
    }
    return;
  }
  // Columns: a BYTE column fits 32 bits for up to 2^24 rows, taken in blocks.
  std::vector<Acc<T>> acc(dx);
  for (int x = 0; x < dx; ++x)
    out[x] = 0;
  for (int y0 = 0; y0 < dy; y0 += 1 << 24) {
    const int y1 = std::min(dy, y0 + (1 << 24));
    std::fill(acc.begin(), acc.end(), Acc<T>(0));
    for (int y = y0; y < y1; ++y) {
      const T *r = kel::row<T>(img, y);
      Acc<T> *a = acc.data();
      for (int x = 0; x < dx; ++x)
        a[x] += r[x];
    }
    for (int x = 0; x < dx; ++x)
      out[x] += static_cast<double>(acc[x]);
  }
}

int need_mode(const char *fn, int mode) {
  return mode == KEL_PROJECT_SUM || mode == KEL_PROJECT_MEAN
             ? KEL_OK
             : kel::fail(fn, KEL_ERR_OPERATION, "Unknown operation");
}

}  // namespace

extern "C" {

KELKIT_API int kel_projection(const Image *img, int axis, int mode, double *out, int n) {
  return kel::guarded("kel_projection", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, img)) return e;
    if (int e = kel::need_pointer(fn, out, "Output is NULL")) return e;
    if (axis != KEL_PROJECT_COLUMNS && axis != KEL_PROJECT_ROWS)
      return kel::fail(fn, KEL_ERR_OPERATION, "Unknown operation");
    if (int e = need_mode(fn, mode)) return e;
    if (int e = kel::need_area(fn, kel::area_of(img))) return e;
    const bool rows = axis == KEL_PROJECT_ROWS;
    const int count = rows ? img->dy : img->dx;
    if (n < count) return kel::fail(fn, KEL_ERR_EMPTY, "Results array");
    bool typed = kel::with_pixel_type(img->type, false, [&]<class T>() {
      project<T>(img, rows, out);
      return true;
    });
    if (!typed) return kel::fail(fn, KEL_ERR_TYPE, "Unsupported pixel type");
    if (mode == KEL_PROJECT_MEAN) {
      const double across = rows ? img->dx : img->dy;
      for (int i = 0; i < count; ++i)
        out[i] /= across;
    }
    return KEL_OK;
  });
}

KELKIT_API int kel_projection_rect(const Image *img, double cx, double cy, int length, int width,
                                   double angle, int mode, double *out, int n) {
  return kel::guarded("kel_projection_rect", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, img)) return e;
    if (int e = kel::need_pointer(fn, out, "Output is NULL")) return e;
    if (int e = need_mode(fn, mode)) return e;
    if (length < 1 || length > 65536 || width < 1 || width > 65536)
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Length and width must be 1 to 65536");
    if (!std::isfinite(cx) || !std::isfinite(cy) || !std::isfinite(angle))
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Rectangle must be finite");
    if (int e = kel::need_area(fn, kel::area_of(img))) return e;
    if (n < length) return kel::fail(fn, KEL_ERR_EMPTY, "Results array");
    if (img->type != BYTE && img->type != WORD && img->type != FLOAT)
      return kel::fail(fn, KEL_ERR_TYPE, "Unsupported pixel type");
    // Axis u along the rectangle (counter-clockwise on screen), v across it.
    const double a = angle * std::numbers::pi / 180;
    const double ux = std::cos(a), uy = -std::sin(a), vx = -uy, vy = ux;
    const double sx = cx - ux * (length - 1) / 2.0 - vx * (width - 1) / 2.0;
    const double sy = cy - uy * (length - 1) / 2.0 - vy * (width - 1) / 2.0;
    std::vector<float> line(length);
    for (int i = 0; i < length; ++i)
      out[i] = 0;
    for (int j = 0; j < width; ++j) {
      const double x0 = sx + vx * j, y0 = sy + vy * j;
      im_get_line_from_img(img, x0, y0, x0 + ux * (length - 1), y0 + uy * (length - 1), length,
                           line.data());
      for (int i = 0; i < length; ++i)
        out[i] += line[i];
    }
    if (mode == KEL_PROJECT_MEAN)
      for (int i = 0; i < length; ++i)
        out[i] /= width;
    return KEL_OK;
  });
}

}  // extern "C"
