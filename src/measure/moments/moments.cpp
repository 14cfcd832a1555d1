// Moments and centroids of images, views, blobs and labels.
#include <algorithm>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "kelkit/moments.h"
#include "measure/moments/moment_rows.hpp"
#include "measure/moments/moments_core.hpp"

namespace {

int no_mass(const char *fn) {
  return kel::fail(fn, KEL_ERR_NOT_FOUND, "No mass");
}

// Raw moments of a whole image; each row is summed on its own and then
// added, which keeps the large sums of wide images accurate.
// BYTE rows are summed exactly in integers (moment_rows.hpp).
template <class T>
KelMoments image_moments(const Image *img, bool binary) {
  KelMoments m{};
  for (int y = 0; y < img->dy; ++y) {
    const T *r = kel::row<T>(img, y);
    double s0 = 0, s1 = 0, s2 = 0, s3 = 0;
    if constexpr (std::is_same_v<T, std::uint8_t>) {
      kel::moments::RowSums rs = kel::moments::byte_row_sums(r, img->dx, binary);
      s0 = double(rs.s0), s1 = double(rs.s1), s2 = double(rs.s2), s3 = double(rs.s3);
    } else {
      for (int x = 0; x < img->dx; ++x) {
        double w = binary ? (r[x] != 0 ? 1.0 : 0.0) : static_cast<double>(r[x]);
        double wx = w * x;
        s0 += w;
        s1 += wx;
        s2 += wx * x;
        s3 += wx * x * x;
      }
    }
    const double yy = y;
    m.m00 += s0;
    m.m10 += s1;
    m.m01 += s0 * yy;
    m.m20 += s2;
    m.m11 += s1 * yy;
    m.m02 += s0 * yy * yy;
    m.m30 += s3;
    m.m21 += s2 * yy;
    m.m12 += s1 * yy * yy;
    m.m03 += s0 * yy * yy * yy;
  }
  return m;
}

// Binary moments of the pixels equal to `value` connected to (x0, y0).
template <class T>
KelMoments object_moments(const Image *img, int x0, int y0, T value, bool eight) {
  KelMoments m{};
  const int dx = img->dx, dy = img->dy;
  std::vector<std::uint8_t> seen(static_cast<std::size_t>(dx) * dy, 0);
  std::vector<std::pair<int, int>> stack{{x0, y0}};
  seen[static_cast<std::size_t>(y0) * dx + x0] = 1;
  while (!stack.empty()) {
    auto [x, y] = stack.back();
    stack.pop_back();
    kel::moments::add_point(m, x, y, 1.0);
    for (int ny = y - 1; ny <= y + 1; ++ny)
      for (int nx = x - 1; nx <= x + 1; ++nx) {
        if (nx < 0 || ny < 0 || nx >= dx || ny >= dy || (nx == x && ny == y)) continue;
        if (!eight && nx != x && ny != y) continue;
        std::size_t k = static_cast<std::size_t>(ny) * dx + nx;
        if (seen[k] || *kel::pixel<T>(img, nx, ny) != value) continue;
        seen[k] = 1;
        stack.push_back({nx, ny});
      }
  }
  return m;
}

}  // namespace

extern "C" {

KELKIT_API int kel_moments(const Image *img, int weighting, KelMoments *m) {
  if (m) *m = KelMoments{};
  return kel::guarded("kel_moments", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, img)) return e;
    if (int e = kel::need_pointer(fn, m, "Output is NULL")) return e;
    if (weighting != KEL_MOMENTS_GREY && weighting != KEL_MOMENTS_BINARY)
      return kel::fail(fn, KEL_ERR_OPERATION, "Unknown operation");
    if (int e = kel::need_area(fn, kel::area_of(img))) return e;
    const bool binary = weighting == KEL_MOMENTS_BINARY;
    bool typed = kel::with_pixel_type(img->type, false, [&]<class T>() {
      *m = image_moments<T>(img, binary);
      return true;
    });
    if (!typed) return kel::fail(fn, KEL_ERR_TYPE, "Unsupported pixel type");
    return kel::moments::complete(*m) ? KEL_OK : no_mass(fn);
  });
}

KELKIT_API int kel_centroid(const Image *img, double *x, double *y) {
  if (x) *x = 0;
  if (y) *y = 0;
  return kel::guarded("kel_centroid", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, img)) return e;
    if (int e = kel::need_pointer(fn, x, "Output is NULL")) return e;
    if (int e = kel::need_pointer(fn, y, "Output is NULL")) return e;
    if (int e = kel::need_area(fn, kel::area_of(img))) return e;
    KelMoments m{};
    bool typed = kel::with_pixel_type(img->type, false, [&]<class T>() {
      m = image_moments<T>(img, false);
      return true;
    });
    if (!typed) return kel::fail(fn, KEL_ERR_TYPE, "Unsupported pixel type");
    if (!kel::moments::complete(m)) return no_mass(fn);
    *x = m.xc;
    *y = m.yc;
    return KEL_OK;
  });
}

KELKIT_API int kel_moments_blob(const Image *img, const BlobParams *params,
                                const BlobResults *results, int index, unsigned int coords,
                                KelMoments *m) {
  if (m) *m = KelMoments{};
  return kel::guarded("kel_moments_blob", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, img)) return e;
    if (int e = kel::need_pointer(fn, params, "Parameters are NULL")) return e;
    if (int e = kel::need_pointer(fn, results, "Results are NULL")) return e;
    if (int e = kel::need_pointer(fn, m, "Output is NULL")) return e;
    if (int e = kel::need_type(fn, BYTE, img)) return e;
    if (index < 0 || static_cast<unsigned>(index) >= results->num_found || !results->blobs)
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Measure index");
    // Undo the find's coordinate mode to reach the first pixel in the image.
    const BlobRecord &b = *results->blobs[index];
    const bool from_master = !(coords & KEL_BLOB_COORDS_IMAGE) && img->master;
    long h = from_master ? img->master->dy : img->dy;
    long x = b.xfirst, y = b.yfirst;
    if (coords & KEL_BLOB_COORDS_Y_UP) y = h - y;
    if (from_master) {
      x -= img->x0;
      y -= img->y0;
    }
    const std::uint8_t colour = params->blob_color == 255 ? 255 : 0;
    if (x < 0 || y < 0 || x >= img->dx || y >= img->dy ||
        *kel::pixel<std::uint8_t>(img, int(x), int(y)) != colour)
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Blob does not match the image");
    *m = object_moments<std::uint8_t>(img, int(x), int(y), colour, params->connected == 8);
    return kel::moments::complete(*m) ? KEL_OK : no_mass(fn);
  });
}

KELKIT_API int kel_moments_label(const Image *labels, const LabelRecord *label, int connectivity,
                                 KelMoments *m) {
  if (m) *m = KelMoments{};
  return kel::guarded("kel_moments_label", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, labels)) return e;
    if (!label) return kel::fail(fn, KEL_ERR_NULL_LABELS, "Label is NULL");
    if (int e = kel::need_pointer(fn, m, "Output is NULL")) return e;
    if (int e = kel::need_type(fn, BYTE, labels)) return e;
    if (connectivity != 4 && connectivity != 8)
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Connectivity must be 4 or 8");
    const long x = label->xstart, y = label->ystart;
    if (x >= labels->dx || y >= labels->dy || label->labelval > 255 ||
        *kel::pixel<std::uint8_t>(labels, int(x), int(y)) != label->labelval)
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Label does not match the image");
    *m = object_moments<std::uint8_t>(
        labels, int(x), int(y), static_cast<std::uint8_t>(label->labelval), connectivity == 8);
    return kel::moments::complete(*m) ? KEL_OK : no_mass(fn);
  });
}

KELKIT_API int kel_moments_complete(KelMoments *m) {
  return kel::guarded("kel_moments_complete", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, m, "Output is NULL")) return e;
    return kel::moments::complete(*m) ? KEL_OK : no_mass(fn);
  });
}

}  // extern "C"
