// Training of the 360 search and the painting of the model at a pose.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

#include "frame/call.hpp"
#include "frame/image_guard.hpp"
#include "frame/pixels.hpp"
#include "locate/vela360/vela360_model.hpp"

namespace kel::locate {

// Traces, smooths and gives directions to the contours of a whole BYTE image
// with the record's contour settings.
void trace_for_search(const kel_vela_360_params &p, const Image *img, KelContourSet &set) {
  set.edge_level = p.nEdgeLevel;
  set.min_length = p.nMinEdgeSize;
  set.max_length = p.nMaxEdgeSize;
  set.smoothing = 1;
  kel::measure::trace_contours(set, img, 0, 0, img->dx, img->dy);
  kel::measure::smooth_contours(set);
  kel::measure::contour_directions(set);
}

}  // namespace kel::locate

extern "C" {

KELKIT_API int kel_vela_360_train(const Image *model, int x, int y, int dx, int dy,
                                  kel_vela_360_params *p) {
  return kel::guarded("kel_vela_360_train", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, p, "Parameter record is NULL")) return e;
    if (int e = kel::need_image(fn, model)) return e;
    if (int e = kel::need_type(fn, BYTE, model)) return e;
    if (x < 0 || y < 0 || dx < 0 || dy < 0 || x > model->dx - dx || y > model->dy - dy)
      return kel::fail(fn, KEL_ERR_WINDOW, "Region outside the image");
    if (dx < 3 || dy < 3) return kel::fail(fn, KEL_ERR_AREA_SMALL, "Area too small!");
    kel::ImagePtr copy = kel::make_image(BYTE, dx, dy);
    if (!copy) throw std::bad_alloc();
    for (int row = 0; row < dy; ++row)
      std::memcpy(kel::row<std::uint8_t>(copy.get(), row),
                  kel::row<std::uint8_t>(model, y + row) + x, static_cast<std::size_t>(dx));
    auto contours = std::make_unique<KelContourSet>();
    kel::locate::trace_for_search(*p, copy.get(), *contours);
    if (contours->x.empty()) return kel::fail(fn, KEL_ERR_NOT_FOUND, "No contour in the model");

    int longest = 0;
    for (const auto &c : contours->contours)
      longest = std::max(longest, c.count);
    if (longest < 2 * p->nChordSpan + 1) p->nChordSpan = std::max(2, (longest - 1) / 2);

    double sx = 0.0, sy = 0.0;
    for (std::size_t i = 0; i < contours->x.size(); ++i) {
      sx += contours->x[i];
      sy += contours->y[i];
    }
    double n = static_cast<double>(contours->x.size());
    p->nModelRefX = static_cast<int>(std::floor(sx / n));
    p->nModelRefY = static_cast<int>(std::floor(sy / n));
    p->dRefCenterX = (dx - 1) / 2.0;
    p->dRefCenterY = (dy - 1) / 2.0;
    p->dRefAngle = 0.0;

    if (p->pModelImage) im_delete(p->pModelImage);
    p->pModelImage = copy.release();
    delete p->pModelContours;
    p->pModelContours = contours.release();
    if (!kel_vela_360_build_rtable(p)) throw std::bad_alloc();
    return KEL_OK;
  });
}

KELKIT_API int kel_vela_360_paint_model_coverage(const kel_vela_360_params *p, Image *image,
                                                 double x, double y, double angle, int value) {
  return kel::guarded("kel_vela_360_paint_model_coverage", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, image)) return e;
    if (int e = kel::need_pointer(fn, p, "Parameter record is NULL")) return e;
    if (int e = kel::need_type(fn, BYTE, image)) return e;
    if (!p->pModelContours) return kel::fail(fn, KEL_ERR_NO_MODEL, "No trained model");
    // The pose is given for the user reference centre: move it back to the
    // model reference point first.
    double theta = angle - p->dRefAngle;
    double c = std::cos(theta), s = std::sin(theta);
    double ox = p->nModelRefX - p->dRefCenterX, oy = p->nModelRefY - p->dRefCenterY;
    double cx = x + ox * c - oy * s, cy = y + ox * s + oy * c;
    const KelContourSet &m = *p->pModelContours;
    std::uint8_t v = static_cast<std::uint8_t>(std::clamp(value, 0, 255));
    for (std::size_t i = 0; i < m.x.size(); ++i) {
      double u = m.x[i] - p->nModelRefX, w = m.y[i] - p->nModelRefY;
      long px = std::lround(u * c - w * s + cx), py = std::lround(u * s + w * c + cy);
      if (px < 0 || py < 0 || px >= image->dx || py >= image->dy) continue;
      *kel::pixel<std::uint8_t>(image, static_cast<int>(px), static_cast<int>(py)) = v;
    }
    return KEL_OK;
  });
}

}  // extern "C"
