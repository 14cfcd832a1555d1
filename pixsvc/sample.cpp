// Sub-pixel sampling: bilinear interpolation and line profiles.
#include <algorithm>
#include <cmath>

#include "internal.hpp"

using namespace pixsvc;

namespace {

double value_at(const Image *img, int x, int y) {
  const unsigned char *p = pixel_address(img, x, y);
  switch (img->type) {
    case BYTE:
      return *p;
    case WORD:
      return *reinterpret_cast<const unsigned short *>(p);
    default:
      return *reinterpret_cast<const float *>(p);
  }
}

double bilinear(const Image *img, double x, double y) {
  if (!img || img->dx < 1 || img->dy < 1 || !valid_type(img->type)) return 0.0;
  if (std::isnan(x) || std::isnan(y)) return 0.0;
  x = std::clamp(x, 0.0, static_cast<double>(img->dx - 1));
  y = std::clamp(y, 0.0, static_cast<double>(img->dy - 1));
  int ix = static_cast<int>(x), iy = static_cast<int>(y);
  double fx = x - ix, fy = y - iy;
  // The right or lower neighbour is only read when its weight is non-zero, so
  // a position on the last column or row never reads past the image.
  int jx = fx > 0.0 ? ix + 1 : ix, jy = fy > 0.0 ? iy + 1 : iy;
  double top = value_at(img, ix, iy) * (1.0 - fx) + value_at(img, jx, iy) * fx;
  double bottom = value_at(img, ix, jy) * (1.0 - fx) + value_at(img, jx, jy) * fx;
  return top * (1.0 - fy) + bottom * fy;
}

}  // namespace

extern "C" {

double im_get_interpolated_pixel(const Image *img, double x, double y) {
  return bilinear(img, x, y);
}

int im_get_line_from_img(const Image *img, double x0, double y0, double x1, double y1, int count,
                         float *buf) {
  if (!img) return im_error("im_get_line_from_img", IM_ERR_NULL_IMAGE, "Image is NULL");
  if (count < 1 || !buf)
    return im_error("im_get_line_from_img", IM_ERR_ARGUMENT, "Bad sample buffer");
  if (!valid_type(img->type))
    return im_error("im_get_line_from_img", IM_ERR_TYPE, "Bad pixel type");
  double steps = count > 1 ? count - 1 : 1;
  for (int i = 0; i < count; ++i) {
    double t = i / steps;
    buf[i] = static_cast<float>(bilinear(img, x0 + (x1 - x0) * t, y0 + (y1 - y0) * t));
  }
  return IM_OK;
}

}  // extern "C"
