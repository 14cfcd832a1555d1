// kel_float: in-place conversion of a BYTE or WORD image to FLOAT, which
// replaces the pixel memory and keeps the master's views consistent.
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "kelkit/convert.h"
#include "point/convert_rows.hpp"

namespace {

struct FreeDeleter {
  void operator()(float *p) const noexcept { std::free(p); }
};
using FloatBuffer = std::unique_ptr<float, FreeDeleter>;

// Converts the dx by dy pixels of `img` into `out`, whose rows are
// `out_pitch` floats apart: BYTE levels as 0.0 .. 255.0, WORD values exactly.
template <class T>
void convert_rows(const Image *img, float *out, int out_pitch) {
  if (img->dx < 1) return;
  for (int y = 0; y < img->dy; ++y)
    kel::convert::to_float_row(kel::row<const T>(img, y),
                               out + static_cast<std::ptrdiff_t>(out_pitch) * y, img->dx);
}

// Unlinks a view from its master's chain of records.
void leave_chain(Image *view) {
  for (Image *p = view->master; p; p = p->next)
    if (p->next == view) {
      p->next = view->next;
      break;
    }
  view->next = nullptr;
}

// rows[y] = data + (dx + skip) * y pixels, for the image's present type.
void point_rows_at_data(Image *img) {
  if (!img->rows) return;
  auto *base = static_cast<unsigned char *>(img->data);
  const std::ptrdiff_t pitch = static_cast<std::ptrdiff_t>(img->dx + img->skip) * img->type;
  for (int y = 0; y < img->dy; ++y)
    img->rows[y] = base + pitch * y;
}

}  // namespace

extern "C" {

KELKIT_API int kel_float(Image *img) {
  return kel::guarded("kel_float", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, img)) return e;
    if (img->type == FLOAT) return KEL_OK;
    const bool is_master = img->master == nullptr;
    if (is_master && img->external)
      return kel::fail(fn, KEL_ERR_NOT_OWNER, "Image does not own its pixel memory");

    // A master keeps its pitch; a view gets packed rows of its own. At least
    // one pixel, so that `data` of an empty image stays readable.
    const int out_pitch = is_master ? kel::pitch(img) : img->dx;
    std::size_t count = img->dx > 0 && img->dy > 0 ? static_cast<std::size_t>(out_pitch) *
                                                         static_cast<std::size_t>(img->dy)
                                                   : 0;
    FloatBuffer buf(static_cast<float *>(std::malloc((count ? count : 1) * sizeof(float))));
    if (!buf) return kel::fail(fn, KEL_ERR_NO_MEMORY, "Out of memory");
    switch (img->type) {
      case BYTE:
        convert_rows<std::uint8_t>(img, buf.get(), out_pitch);
        break;
      case WORD:
        convert_rows<std::uint16_t>(img, buf.get(), out_pitch);
        break;
      default:
        return kel::fail(fn, KEL_ERR_TYPE, "Image must be BYTE or WORD");
    }

    float *data = buf.release();
    if (is_master) {
      std::free(img->data);
      img->data = data;
      img->type = FLOAT;
      // Every view of this master follows at its own offset.
      for (Image *v = img->next; v; v = v->next) {
        if (v->master != img) continue;
        v->type = FLOAT;
        v->data = data + (static_cast<std::ptrdiff_t>(v->y0) * out_pitch + v->x0);
      }
    } else {
      // The view becomes a master of its own; its former master keeps its
      // pixels.
      leave_chain(img);
      img->type = FLOAT;
      img->x0 = img->y0 = 0;
      img->data = data;
      img->skip = 0;
      img->master = nullptr;
      img->external = 0;
    }
    // Keep every row address right for the new memory: the row arrays keep
    // their length (dy entries), so the entries are rewritten in place and
    // no other image service is needed.
    point_rows_at_data(img);
    if (is_master)
      for (Image *v = img->next; v; v = v->next)
        if (v->master == img) point_rows_at_data(v);
    return KEL_OK;
  });
}

}  // extern "C"
