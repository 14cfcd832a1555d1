// Rectification onto a world plane, shared by kel_xfm_rectify and
// kel_perspective_xfm_rectify: dst pixel (i, j) shows world point
// (x0 + i / scale, y0 + j / scale), read from src where the transform maps
// it.
#pragma once

#include <cmath>
#include <type_traits>

#include "frame/call.hpp"
#include "frame/pixels.hpp"

namespace kel::calib {

// to_pixel(X, Y, u, v) returns false for world points without an image.
template <class T, class ToPixel>
void rectify_rows(const ToPixel &to_pixel, const Image *src, Image *dst, double x0, double y0,
                  double scale) {
  const double xmax = src->dx - 1, ymax = src->dy - 1;
  for (int j = 0; j < dst->dy; ++j) {
    T *row = kel::row<T>(dst, j);
    for (int i = 0; i < dst->dx; ++i) {
      double u, v, value = 0;
      if (to_pixel(x0 + i / scale, y0 + j / scale, u, v) && u >= 0 && v >= 0 && u <= xmax &&
          v <= ymax)
        value = im_get_interpolated_pixel(src, u, v);
      if constexpr (std::is_same_v<T, float>)
        row[i] = static_cast<float>(value);
      else
        row[i] = static_cast<T>(std::floor(value + 0.5));
    }
  }
}

// The checks after the transform's own (origin and scale, distinct images,
// one supported type, non-empty), then the work. Returns the status.
template <class ToPixel>
int rectify(const char *fn, const ToPixel &to_pixel, const Image *src, Image *dst, double x0,
            double y0, double scale) {
  if (!std::isfinite(x0) || !std::isfinite(y0) || !std::isfinite(scale) || !(scale > 0))
    return fail(fn, KEL_ERR_ARGUMENT, "Bad scale or origin");
  if (im_same_image(src, dst))
    return fail(fn, KEL_ERR_SAME_IMAGE, "Destination must differ from source");
  if (int e = need_same_type(fn, src, dst)) return e;
  if (src->type != BYTE && src->type != WORD && src->type != FLOAT)
    return fail(fn, KEL_ERR_TYPE, "Unsupported pixel type");
  if (src->dx < 1 || src->dy < 1 || dst->dx < 1 || dst->dy < 1)
    return fail(fn, KEL_ERR_EMPTY, "Empty area");
  switch (dst->type) {
    case BYTE:
      rectify_rows<unsigned char>(to_pixel, src, dst, x0, y0, scale);
      break;
    case WORD:
      rectify_rows<unsigned short>(to_pixel, src, dst, x0, y0, scale);
      break;
    default:
      rectify_rows<float>(to_pixel, src, dst, x0, y0, scale);
      break;
  }
  return KEL_OK;
}

}  // namespace kel::calib
