// Pixel copies between images and the overlap test.
#include <algorithm>
#include <cstring>

#include "internal.hpp"

using namespace pixsvc;

namespace {

// Copies a w by h block row by row. Rows are moved with memmove, and the row
// order is chosen so that overlapping views of one master copy correctly.
void copy_block(const Image *src, int sx, int sy, Image *dst, int dx, int dy, int w, int h) {
  if (w <= 0 || h <= 0) return;
  std::size_t bytes = static_cast<std::size_t>(w) * src->type;
  bool backwards = pixel_address(dst, dx, dy) > pixel_address(src, sx, sy);
  for (int i = 0; i < h; ++i) {
    int r = backwards ? h - 1 - i : i;
    std::memmove(pixel_address(dst, dx, dy + r), pixel_address(src, sx, sy + r), bytes);
  }
}

// The byte range [first, last) that an image's pixels span.
void span_of(const Image *img, const unsigned char *&first, const unsigned char *&last) {
  first = static_cast<const unsigned char *>(img->data);
  last = first;
  if (img->dx > 0 && img->dy > 0) last = pixel_address(img, img->dx, img->dy - 1);
}

}  // namespace

extern "C" {

int im_copy(const Image *src, Image *dst) {
  if (!src || !dst) return im_error("im_copy", IM_ERR_NULL_IMAGE, "Image is NULL");
  if (src->type != dst->type)
    return im_error("im_copy", IM_ERR_TYPE_MISMATCH, "Images must have the same pixel type");
  copy_block(src, 0, 0, dst, 0, 0, std::min(src->dx, dst->dx), std::min(src->dy, dst->dy));
  return IM_OK;
}

int im_copy2(const Image *src, Image *dst, int x, int y) {
  if (!src || !dst) return im_error("im_copy2", IM_ERR_NULL_IMAGE, "Image is NULL");
  if (src->type != dst->type)
    return im_error("im_copy2", IM_ERR_TYPE_MISMATCH, "Images must have the same pixel type");
  // Clip the placed rectangle [x, x + src.dx) x [y, y + src.dy) to dst.
  long long x0 = std::max<long long>(x, 0), y0 = std::max<long long>(y, 0);
  long long x1 = std::min<long long>(static_cast<long long>(x) + src->dx, dst->dx);
  long long y1 = std::min<long long>(static_cast<long long>(y) + src->dy, dst->dy);
  if (x1 <= x0 || y1 <= y0) return IM_OK;
  copy_block(src, static_cast<int>(x0 - x), static_cast<int>(y0 - y), dst, static_cast<int>(x0),
             static_cast<int>(y0), static_cast<int>(x1 - x0), static_cast<int>(y1 - y0));
  return IM_OK;
}

int im_same_image(const Image *a, const Image *b) {
  if (!a || !b) return 0;
  if (a == b || a->data == b->data) return 1;
  const unsigned char *a0, *a1, *b0, *b1;
  span_of(a, a0, a1);
  span_of(b, b0, b1);
  if (a1 <= b0 || b1 <= a0) return 0;
  // The byte spans overlap. Images of different masters with overlapping
  // spans share memory; views of one master overlap only if their
  // rectangles do.
  if (root_of(a) != root_of(b)) return 1;
  return a->x0 < b->x0 + b->dx && b->x0 < a->x0 + a->dx && a->y0 < b->y0 + b->dy &&
         b->y0 < a->y0 + a->dy;
}

}  // extern "C"
