// Ownership of temporary images: a guard calls im_delete on every path out
// of an operator, error paths included.
#pragma once

#include <memory>

#include "pixsvc.h"

namespace kel {

struct ImageDeleter {
  void operator()(Image *img) const noexcept {
    if (img) im_delete(img);
  }
};

using ImagePtr = std::unique_ptr<Image, ImageDeleter>;

// A new master image; null when the image services could not make it (the
// caller reports code 4 under its own name).
inline ImagePtr make_image(unsigned type, int dx, int dy) {
  return ImagePtr(im_create(type, dx, dy));
}

// A view over a rectangle of `img`; null on failure.
inline ImagePtr make_view(Image *img, int x, int y, int dx, int dy) {
  return ImagePtr(im_rroi(img, x, y, dx, dy));
}

// Copies of an image: same type and size, pixels zeroed (dup) or copied.
inline ImagePtr dup_image(const Image *img) {
  return ImagePtr(im_dup(img));
}
inline ImagePtr duplicate_image(const Image *img) {
  return ImagePtr(im_duplicate(img));
}

}  // namespace kel
