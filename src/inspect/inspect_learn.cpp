// Learning of the inspection tool: the first image fixes the grid, every
// accepted image updates the running mean and the sum of squared deviations
// of each feature of each box.
#include <vector>

#include "frame/call.hpp"
#include "inspect/inspect_record.hpp"

namespace {

using kel::inspect::Grid;

// Welford's update: stays accurate over any number of images, unlike a sum
// of squares.
void accumulate(KelInspect &tool, const std::vector<double> &features) {
  const double n = tool.VectorCount + 1;
  double *s = tool.stats.data();
  for (std::size_t i = 0; i < features.size(); ++i, s += 2) {
    const double delta = features[i] - s[0];
    s[0] += delta / n;
    s[1] += delta * (features[i] - s[0]);
  }
  ++tool.VectorCount;
}

}  // namespace

extern "C" KELKIT_API int kel_vela_inspect_learn(KelInspect *tool, const Image *img,
                                                 int *accepted) {
  if (accepted) *accepted = 0;
  return kel::guarded("kel_vela_inspect_learn", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, tool, "Inspection tool is NULL")) return e;
    if (int e = kel::need_image(fn, img)) return e;
    if (int e = kel::need_area(fn, kel::area_of(img))) return e;
    if (img->type != BYTE && img->type != WORD && img->type != FLOAT)
      return kel::fail(fn, KEL_ERR_TYPE, "Pixel type not supported");
    const bool learned = !tool->grid.empty();
    if (learned && img->type != tool->pixel_type)
      return kel::fail(fn, KEL_ERR_TYPE_MISMATCH, "Pixel type differs from the learned images");
    const int want_dx = tool->m_nImgDx > 0 ? tool->m_nImgDx : img->dx;
    const int want_dy = tool->m_nImgDy > 0 ? tool->m_nImgDy : img->dy;
    if (tool->m_nBoxDx < 1 || tool->m_nBoxDy < 1 ||
        kel::inspect::vector_size(tool->nFeatureMode) == 0 || tool->m_nImgDx < 0 ||
        tool->m_nImgDy < 0)
      return kel::fail(fn, KEL_ERR_RANGE, "Box size, image size or feature mode");
    if (img->dx != want_dx || img->dy != want_dy)
      return kel::fail(fn, KEL_ERR_SIZE, "Image size differs from the inspected size");
    const kel::inspect::GridPlan plan = kel::inspect::plan_grid(*tool, want_dx, want_dy);
    if (plan.code) return kel::fail(fn, plan.code, plan.message);
    if (learned && !kel::inspect::settings_match_grid(*tool))
      return kel::fail(fn, KEL_ERR_RANGE, "Settings changed since learning: reset first");
    const Grid &g = learned ? tool->grid : plan.grid;
    if (!learned && !kel::inspect::within_memory_limit(*tool, g))
      return kel::fail(fn, KEL_ERR_NO_MEMORY, "Memory limit exceeded");
    std::vector<double> features;
    kel::inspect::box_features(img, g, features);
    if (!learned) {
      // Everything is allocated before the tool changes, so a failure leaves
      // it as it was.
      std::vector<double> stats(static_cast<std::size_t>(g.boxes()) * g.vector_size * 2, 0.0);
      std::vector<std::uint8_t> blocking = kel::inspect::blocking_mask(*tool, g);
      tool->grid = g;
      tool->pixel_type = img->type;
      tool->VectorCount = 0;
      tool->stats = std::move(stats);
      tool->blocking = std::move(blocking);
      tool->m_nImgDx = g.img_dx;
      tool->m_nImgDy = g.img_dy;
    }
    if (tool->m_nLearnAllowToFail >= 0 &&
        tool->VectorCount >= kel::inspect::kMinLearnedForRefusal) {
      const auto deviating = kel::inspect::deviating_boxes(*tool, features);
      if (deviating.size() > static_cast<std::size_t>(tool->m_nLearnAllowToFail)) return KEL_OK;
    }
    accumulate(*tool, features);
    if (accepted) *accepted = 1;
    return KEL_OK;
  });
}
