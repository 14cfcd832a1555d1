// Creation and deletion of image records, and the chain of views in `next`.
#include <cstdlib>
#include <cstring>

#include "internal.hpp"

namespace pixsvc {

Image *new_record() {
  return static_cast<Image *>(std::calloc(1, sizeof(Image)));
}

void free_record(Image *img) {
  std::free(img->rows);
  std::free(img);
}

bool rebuild_rows(Image *img) {
  // At least one entry so that an empty image still has a valid array.
  std::size_t n = img->dy > 0 ? static_cast<std::size_t>(img->dy) : 1;
  void **rows = static_cast<void **>(std::realloc(img->rows, n * sizeof(void *)));
  if (!rows) return false;
  img->rows = rows;
  rows[0] = img->data;
  for (int y = 0; y < img->dy; ++y)
    rows[y] = pixel_address(img, 0, y);
  return true;
}

}  // namespace pixsvc

using namespace pixsvc;

extern "C" {

Image *im_create(unsigned int type, int dx, int dy) {
  if (!valid_type(type)) {
    im_error("im_create", IM_ERR_TYPE, "Pixel type %u not supported", type);
    return nullptr;
  }
  if (dx < 0 || dy < 0 || static_cast<std::int64_t>(dx) * dy > kMaxPixels) {
    im_error("im_create", IM_ERR_ARGUMENT, "Bad image size %d x %d", dx, dy);
    return nullptr;
  }
  Image *img = new_record();
  // One pixel at least, so that `data` of an empty image is still readable.
  std::size_t pixels = static_cast<std::size_t>(dx) * static_cast<std::size_t>(dy);
  void *data = img ? std::calloc(pixels ? pixels : 1, type) : nullptr;
  if (!data) {
    if (img) free_record(img);
    im_error("im_create", IM_ERR_NO_MEMORY, "Out of memory");
    return nullptr;
  }
  img->type = type;
  img->dx = dx;
  img->dy = dy;
  img->data = data;
  if (!rebuild_rows(img)) {
    std::free(data);
    free_record(img);
    im_error("im_create", IM_ERR_NO_MEMORY, "Out of memory");
    return nullptr;
  }
  return img;
}

int im_delete(Image *img) {
  if (!img) return im_error("im_delete", IM_ERR_NULL_IMAGE, "Image is NULL");
  if (img->master) {
    // Unlink the view from its master's chain.
    for (Image *p = img->master; p; p = p->next) {
      if (p->next == img) {
        p->next = img->next;
        break;
      }
    }
    free_record(img);
    return IM_OK;
  }
  if (img->next) return im_error("im_delete", IM_ERR_ARGUMENT, "Image still has views");
  if (!img->external) std::free(img->data);
  free_record(img);
  return IM_OK;
}

Image *im_dup(const Image *img) {
  if (!img) {
    im_error("im_dup", IM_ERR_NULL_IMAGE, "Image is NULL");
    return nullptr;
  }
  Image *copy = im_create(img->type, img->dx, img->dy);
  if (!copy) im_error("im_dup", IM_ERR_NO_MEMORY, "Out of memory");
  return copy;
}

Image *im_duplicate(const Image *img) {
  if (!img) {
    im_error("im_duplicate", IM_ERR_NULL_IMAGE, "Image is NULL");
    return nullptr;
  }
  Image *copy = im_create(img->type, img->dx, img->dy);
  if (!copy) {
    im_error("im_duplicate", IM_ERR_NO_MEMORY, "Out of memory");
    return nullptr;
  }
  im_copy(img, copy);
  return copy;
}

Image *im_create_hw(unsigned int type, int dx, int dy, int pitch) {
  if (!valid_type(type)) {
    im_error("im_create_hw", IM_ERR_TYPE, "Pixel type %u not supported", type);
    return nullptr;
  }
  if (dx < 0 || dy < 0 || pitch < dx || static_cast<std::int64_t>(pitch) * dy > kMaxPixels) {
    im_error("im_create_hw", IM_ERR_ARGUMENT, "Bad image size %d x %d, pitch %d", dx, dy, pitch);
    return nullptr;
  }
  Image *img = new_record();
  if (!img) {
    im_error("im_create_hw", IM_ERR_NO_MEMORY, "Out of memory");
    return nullptr;
  }
  img->type = type;
  img->dx = dx;
  img->dy = dy;
  img->skip = pitch - dx;
  img->external = 1;
  if (!rebuild_rows(img)) {
    free_record(img);
    im_error("im_create_hw", IM_ERR_NO_MEMORY, "Out of memory");
    return nullptr;
  }
  return img;
}

int im_set_pix_hw(Image *img, void *pixels) {
  if (!img) return im_error("im_set_pix_hw", IM_ERR_NULL_IMAGE, "Image is NULL");
  if (img->master || !img->external)
    return im_error("im_set_pix_hw", IM_ERR_ARGUMENT, "Not an external master image");
  if (img->next) return im_error("im_set_pix_hw", IM_ERR_ARGUMENT, "Image still has views");
  if (!pixels) return im_error("im_set_pix_hw", IM_ERR_ARGUMENT, "Pixel memory is NULL");
  img->data = pixels;
  if (!rebuild_rows(img)) return im_error("im_set_pix_hw", IM_ERR_NO_MEMORY, "Out of memory");
  return IM_OK;
}

Image *im_create_external(unsigned int type, int dx, int dy, int pitch, void *pixels) {
  if (!pixels) {
    im_error("im_create_external", IM_ERR_ARGUMENT, "Pixel memory is NULL");
    return nullptr;
  }
  Image *img = im_create_hw(type, dx, dy, pitch);
  if (img && im_set_pix_hw(img, pixels) != IM_OK) {
    im_delete(img);
    return nullptr;
  }
  return img;
}

int im_update_rows(Image *img) {
  if (!img) return im_error("im_update_rows", IM_ERR_NULL_IMAGE, "Image is NULL");
  if (img->master) {
    // A view follows its master's pixel memory, type and pitch.
    const Image *m = img->master;
    img->type = m->type;
    img->skip = m->dx + m->skip - img->dx;
    img->data = pixel_address(m, img->x0, img->y0);
    if (!rebuild_rows(img)) return im_error("im_update_rows", IM_ERR_NO_MEMORY, "Out of memory");
    return IM_OK;
  }
  if (!rebuild_rows(img)) return im_error("im_update_rows", IM_ERR_NO_MEMORY, "Out of memory");
  for (Image *v = img->next; v; v = v->next) {
    if (int e = im_update_rows(v)) return e;
  }
  return IM_OK;
}

}  // extern "C"
