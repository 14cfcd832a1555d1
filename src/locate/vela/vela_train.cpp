// Training of the vela search: the stored model and its grey statistics, the
// angle table with one turned copy of the model per angle, the inner
// rectangle they are compared over, the trained steps and bias, and the
// edge model.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <numbers>
#include <vector>

#include "frame/call.hpp"
#include "frame/image_guard.hpp"
#include "frame/pixels.hpp"
#include "kelkit/geometry.h"
#include "kelkit/vela.h"
#include "locate/params_common.hpp"
#include "locate/vela/vela_record.hpp"

namespace kel::locate {

namespace {

constexpr int kMinInner = 4;

// A BYTE copy of the w by h rectangle at (x, y) of `src`.
ImagePtr copy_rect(const Image *src, int x, int y, int w, int h) {
  ImagePtr out = make_image(BYTE, w, h);
  if (!out) throw std::bad_alloc();
  for (int r = 0; r < h; ++r)
    std::copy_n(row<const std::uint8_t>(src, y + r) + x, w, row<std::uint8_t>(out.get(), r));
  return out;
}

// The angle table and the turned copies of `model`, built aside so that a
// failure leaves the record as it was.
struct Rotations {
  std::vector<double> angles;
  std::vector<ImagePtr> copies;
};

Rotations make_rotations(const Image *model, int a) {
  Rotations r;
  for (int i = -a; i <= a; ++i) {
    ImagePtr copy(im_dup(model));
    if (!copy) throw std::bad_alloc();
    if (kel_rotate(model, copy.get(), i) != KEL_OK) throw std::bad_alloc();
    r.angles.push_back(i);
    r.copies.push_back(std::move(copy));
  }
  return r;
}

// Moves the table and the copies into the record's C arrays.
void install_rotations(KelVelaParams *p, Rotations &r, int a) {
  const std::size_t n = r.angles.size();
  auto *angles = static_cast<double *>(std::calloc(n, sizeof(double)));
  // One more entry than copies: the array ends with a null pointer.
  auto *copies = static_cast<Image **>(std::calloc(n + 1, sizeof(Image *)));
  if (!angles || !copies) {
    std::free(angles);
    std::free(copies);
    throw std::bad_alloc();
  }
  free_rotations(p);
  for (std::size_t i = 0; i < n; ++i) {
    angles[i] = r.angles[i];
    copies[i] = r.copies[i].release();
  }
  p->angles = angles;
  p->rotated = copies;
  p->angle_count = a;
}

}  // namespace

InnerRect inner_rect(int dx, int dy, int max_angle) {
  const double t = std::abs(max_angle) * std::numbers::pi / 180.0;
  const double c = std::abs(std::cos(t)), s = std::abs(std::sin(t));
  const double wm = dx - 1, hm = dy - 1;
  // Scale k of the centred rectangle whose corners, turned, stay inside.
  double k = 1.0;
  if (wm * c + hm * s > 0) k = std::min(k, wm / (wm * c + hm * s));
  if (wm * s + hm * c > 0) k = std::min(k, hm / (wm * s + hm * c));
  InnerRect r;
  r.w = static_cast<int>(std::floor(k * wm + 1e-9)) + 1;
  r.h = static_cast<int>(std::floor(k * hm + 1e-9)) + 1;
  if ((dx - r.w) % 2) --r.w;
  if ((dy - r.h) % 2) --r.h;
  r.x = (dx - r.w) / 2;
  r.y = (dy - r.h) / 2;
  return r;
}

void free_rotations(KelVelaParams *p) {
  if (p->rotated)
    for (Image **c = p->rotated; *c; ++c)
      im_delete(*c);
  std::free(p->rotated);
  std::free(p->angles);
  p->rotated = nullptr;
  p->angles = nullptr;
}

void drop_derived(KelVelaParams *p) {
  free_rotations(p);
  if (p->geo_model) im_delete(p->geo_model);
  p->geo_model = nullptr;
}

int rotation_count(const KelVelaParams *p) {
  int n = 0;
  if (p->rotated)
    while (p->rotated[n])
      ++n;
  return n;
}

void ensure_rotations(KelVelaParams *p) {
  const int a = angle_range(p);
  if (p->angles && rotation_count(p) == 2 * a + 1) return;
  Rotations r = make_rotations(p->model, a);
  install_rotations(p, r, a);
}

int geo_scale(const KelVelaParams *p) {
  return p->hifeature ? 1 : std::max(p->filter_size / 8, 1);
}

void geo_image(const Image *src, Image *dst, int w, int h, int threshold, int s) {
  for (int y = 0; y < h; ++y) {
    const std::uint8_t *mid = row<const std::uint8_t>(src, y);
    const std::uint8_t *up = row<const std::uint8_t>(src, std::max(y - s, 0));
    const std::uint8_t *down = row<const std::uint8_t>(src, std::min(y + s, h - 1));
    std::uint8_t *out = row<std::uint8_t>(dst, y);
    for (int x = 0; x < w; ++x) {
      const int gx = mid[std::min(x + s, w - 1)] - mid[std::max(x - s, 0)];
      const int gy = down[x] - up[x];
      out[x] = (std::abs(gx) + std::abs(gy)) >= 2.0 * threshold ? 255 : 0;
    }
  }
}

void ensure_geo_model(KelVelaParams *p) {
  if (p->geo_model || !p->model) return;
  ImagePtr g = make_image(BYTE, p->model->dx, p->model->dy);
  if (!g) throw std::bad_alloc();
  geo_image(p->model, g.get(), p->model->dx, p->model->dy, p->edge_str, geo_scale(p));
  p->geo_model = g.release();
}

void grey_stats(const Image *img, double *mean, double *variance) {
  double s = 0, q = 0;
  const double n = static_cast<double>(img->dx) * img->dy;
  for (int y = 0; y < img->dy; ++y) {
    const std::uint8_t *r = row<const std::uint8_t>(img, y);
    for (int x = 0; x < img->dx; ++x) {
      s += r[x];
      q += double(r[x]) * r[x];
    }
  }
  *mean = n > 0 ? s / n : 0.0;
  *variance = n > 1 ? std::max((q - s * s / n) / (n - 1), 0.0) : 0.0;
}

}  // namespace kel::locate

extern "C" {

KELKIT_API int kel_vela_search_create_geo_image(const KelVelaParams *p, const Image *src,
                                                Image *dst) {
  return kel::guarded("kel_vela_search_create_geo_image", [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, src, dst)) return e;
    if (int e = kel::need_pointer(fn, p, "Params is NULL")) return e;
    if (src == dst || im_same_image(src, dst))
      return kel::fail(fn, KEL_ERR_SAME_IMAGE, "Destination must differ from source");
    if (int e = kel::need_type(fn, BYTE, src, dst)) return e;
    kel::Area a = kel::common_area(src, dst);
    if (int e = kel::need_area(fn, a)) return e;
    kel::locate::geo_image(src, dst, a.dx, a.dy, p->edge_str, kel::locate::geo_scale(p));
    return KEL_OK;
  });
}

KELKIT_API int kel_vela_search_train(const Image *scene, const Image *model, KelVelaParams *p) {
  using namespace kel::locate;
  return kel::guarded("kel_vela_search_train", [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, scene, model)) return e;
    if (int e = kel::need_pointer(fn, p, "Params is NULL")) return e;
    if (int e = kel::need_type(fn, BYTE, scene, model)) return e;
    if (model->dx > scene->dx || model->dy > scene->dy)
      return kel::fail(fn, KEL_ERR_MODEL_LARGE, "Pattern too big");
    if (model->dx < 1 || model->dy < 1) return kel::fail(fn, KEL_ERR_EMPTY, "Empty model");
    const int a = angle_range(p);
    const InnerRect in = inner_rect(model->dx, model->dy, a);
    if (in.w < kMinInner || in.h < kMinInner)
      return kel::fail(fn, KEL_ERR_AREA_SMALL, "Area too small!");

    // Everything is built aside first; the record changes only at the end.
    kel::ImagePtr copy = copy_rect(model, 0, 0, model->dx, model->dy);
    double mean = 0, variance = 0;
    grey_stats(copy.get(), &mean, &variance);
    Rotations rot = make_rotations(copy.get(), a);
    // The 0 degree copy equals the model: its inner rectangle, and that
    // rectangle with a one-pixel frame for the bias measurement.
    const Image *straight = rot.copies[a].get();
    kel::ImagePtr inner = copy_rect(straight, in.x, in.y, in.w, in.h);
    kel::ImagePtr framed = in.x >= 1 && in.y >= 1
                               ? copy_rect(straight, in.x - 1, in.y - 1, in.w + 2, in.h + 2)
                               : copy_rect(straight, in.x, in.y, in.w, in.h);
    std::vector<int> costs(p->revisits, kEmptyCost);
    const CandidateStore store{p->candidate_x, p->candidate_y, costs.data(), p->revisits};
    TrainedSteps t = train_steps(framed.get(), inner.get(), area8_of(scene), store, nullptr);

    install_rotations(p, rot, a);
    if (p->geo_model) im_delete(p->geo_model);
    p->geo_model = nullptr;
    if (p->model) im_delete(p->model);
    p->model = copy.release();
    p->model_mean = mean;
    p->model_variance = variance;
    store_trained(p, t);
    for (int i = 0; i < p->revisits; ++i)
      p->candidate_value[i] = costs[i];
    if (p->use_geom) ensure_geo_model(p);
    return KEL_OK;
  });
}

}  // extern "C"
