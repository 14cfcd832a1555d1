// Views (regions of interest) over a master image's pixels.
#include "internal.hpp"

using namespace pixsvc;

namespace {

// A rectangle is acceptable when its origin lies inside the master (so that
// `data` always addresses a real pixel) and it does not reach past the
// master's right or bottom edge. An empty master admits only (0, 0).
bool fits_master(const Image *m, int x, int y, int dx, int dy) {
  if (dx < 0 || dy < 0 || x < 0 || y < 0) return false;
  bool origin_ok = (m->dx == 0 || m->dy == 0) ? (x == 0 && y == 0) : (x < m->dx && y < m->dy);
  return origin_ok && static_cast<long long>(x) + dx <= m->dx &&
         static_cast<long long>(y) + dy <= m->dy;
}

// Points a view at (x, y) of its master with size dx by dy.
bool place_view(Image *view, int x, int y, int dx, int dy) {
  const Image *m = view->master;
  Image saved = *view;
  view->x0 = x;
  view->y0 = y;
  view->dx = dx;
  view->dy = dy;
  view->type = m->type;
  view->skip = m->dx + m->skip - dx;
  view->data = pixel_address(m, x, y);
  if (!rebuild_rows(view)) {
    saved.rows = view->rows;
    *view = saved;
    return false;
  }
  return true;
}

}  // namespace

extern "C" {

Image *im_rroi(Image *img, int x, int y, int dx, int dy) {
  if (!img) {
    im_error("im_rroi", IM_ERR_NULL_IMAGE, "Image is NULL");
    return nullptr;
  }
  Image *m = img->master ? img->master : img;
  long long mx = static_cast<long long>(img->x0) + x, my = static_cast<long long>(img->y0) + y;
  if (mx > 0x7fffffff || my > 0x7fffffff ||
      !fits_master(m, static_cast<int>(mx), static_cast<int>(my), dx, dy)) {
    im_error("im_rroi", IM_ERR_ARGUMENT, "Rectangle (%d, %d, %d x %d) outside the master", x, y, dx,
             dy);
    return nullptr;
  }
  Image *view = new_record();
  if (!view) {
    im_error("im_rroi", IM_ERR_NO_MEMORY, "Out of memory");
    return nullptr;
  }
  view->master = m;
  view->external = 1;
  if (!place_view(view, static_cast<int>(mx), static_cast<int>(my), dx, dy)) {
    free_record(view);
    im_error("im_rroi", IM_ERR_NO_MEMORY, "Out of memory");
    return nullptr;
  }
  // Link the view right after its master.
  view->next = m->next;
  m->next = view;
  return view;
}

int im_move_rroi(Image *view, int x, int y) {
  if (!view) return im_error("im_move_rroi", IM_ERR_NULL_IMAGE, "Image is NULL");
  if (!view->master) return im_error("im_move_rroi", IM_ERR_ARGUMENT, "Image is not a view");
  if (!fits_master(view->master, x, y, view->dx, view->dy))
    return im_error("im_move_rroi", IM_ERR_ARGUMENT,
                    "Rectangle (%d, %d, %d x %d) outside the master", x, y, view->dx, view->dy);
  if (!place_view(view, x, y, view->dx, view->dy))
    return im_error("im_move_rroi", IM_ERR_NO_MEMORY, "Out of memory");
  return IM_OK;
}

int im_resize_rroi(Image *view, int dx, int dy) {
  if (!view) return im_error("im_resize_rroi", IM_ERR_NULL_IMAGE, "Image is NULL");
  if (!view->master) return im_error("im_resize_rroi", IM_ERR_ARGUMENT, "Image is not a view");
  if (!fits_master(view->master, view->x0, view->y0, dx, dy))
    return im_error("im_resize_rroi", IM_ERR_ARGUMENT,
                    "Rectangle (%d, %d, %d x %d) outside the master", view->x0, view->y0, dx, dy);
  if (!place_view(view, view->x0, view->y0, dx, dy))
    return im_error("im_resize_rroi", IM_ERR_NO_MEMORY, "Out of memory");
  return IM_OK;
}

Image *im_rroi_master(Image *img) {
  if (!img) return nullptr;
  return img->master ? img->master : img;
}

}  // extern "C"
