// The aligned rectangle copy: kel_aligner_copy_rect.
#include <cmath>
#include <type_traits>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "geometry/aligner/aligner_record.hpp"

namespace {

template <class T>
void copy_rows(const KelAligner *al, const Image *scene, Image *dst) {
  const int *r = al->rect;
  const double xmax = scene->dx - 1, ymax = scene->dy - 1;
  for (int j = 0; j < r[3]; ++j) {
    T *row = kel::row<T>(dst, j);
    for (int i = 0; i < r[2]; ++i) {
      double sx, sy, value = 0;
      al->map.to_scene(r[0] + i, r[1] + j, sx, sy);
      if (sx >= 0 && sy >= 0 && sx <= xmax && sy <= ymax)
        value = im_get_interpolated_pixel(scene, sx, sy);
      if constexpr (std::is_same_v<T, float>)
        row[i] = static_cast<float>(value);
      else
        row[i] = static_cast<T>(std::floor(value + 0.5));
    }
  }
}

}  // namespace

extern "C" KELKIT_API int kel_aligner_copy_rect(const KelAligner *aligner, const Image *scene,
                                                Image *dst) {
  return kel::guarded("kel_aligner_copy_rect", [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, scene, dst)) return e;
    if (int e = kel::need_pointer(fn, aligner, "aligner is NULL")) return e;
    if (!aligner->has_rect) return kel::fail(fn, KEL_ERR_ARGUMENT, "No rectangle");
    if (int e = kel::aligner::need_computed(fn, aligner)) return e;
    if (im_same_image(scene, dst))
      return kel::fail(fn, KEL_ERR_SAME_IMAGE, "Destination must differ from source");
    if (int e = kel::need_same_type(fn, scene, dst)) return e;
    if (scene->type != BYTE && scene->type != WORD && scene->type != FLOAT)
      return kel::fail(fn, KEL_ERR_TYPE, "Unsupported pixel type");
    if (scene->dx < 1 || scene->dy < 1) return kel::fail(fn, KEL_ERR_EMPTY, "Empty area");
    const int dx = aligner->rect[2], dy = aligner->rect[3];
    if (dst->master) {
      if (dst->dx != dx || dst->dy != dy) {
        if (int e = im_resize_rroi(dst, dx, dy)) return e;
      }
    } else if (dst->dx < dx || dst->dy < dy) {
      return kel::fail(fn, KEL_ERR_SIZE, "Output too small");
    }
    switch (dst->type) {
      case BYTE:
        copy_rows<unsigned char>(aligner, scene, dst);
        break;
      case WORD:
        copy_rows<unsigned short>(aligner, scene, dst);
        break;
      default:
        copy_rows<float>(aligner, scene, dst);
        break;
    }
    return KEL_OK;
  });
}
