// The box grid, the feature vectors of the boxes of an image, and the
// comparison of a feature set with the learned means and spreads.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "frame/pixels.hpp"
#include "inspect/inspect_record.hpp"

namespace kel::inspect {

int vector_size(int mode) {
  return std::popcount(static_cast<unsigned>(mode) & 15u);
}

GridPlan plan_grid(const KelInspect &tool, int img_dx, int img_dy) {
  GridPlan plan;
  auto refuse = [&plan](const char *message) {
    plan.code = KEL_ERR_RANGE;
    plan.message = message;
    return plan;
  };
  if (tool.m_nBoxDx < 1 || tool.m_nBoxDy < 1) return refuse("Box size below 1");
  if (vector_size(tool.nFeatureMode) == 0) return refuse("Feature mode selects no feature");
  if (img_dx < 1 || img_dy < 1 || img_dx > kMaxImageSide || img_dy > kMaxImageSide)
    return refuse("Image size out of range");
  if (tool.m_nBoxDx > img_dx || tool.m_nBoxDy > img_dy) return refuse("Box larger than the image");
  Grid &g = plan.grid;
  g.img_dx = img_dx;
  g.img_dy = img_dy;
  g.box_dx = tool.m_nBoxDx;
  g.box_dy = tool.m_nBoxDy;
  g.count_x = (img_dx + g.box_dx - 1) / g.box_dx;
  g.count_y = (img_dy + g.box_dy - 1) / g.box_dy;
  g.mode = tool.nFeatureMode & 15;
  g.vector_size = vector_size(g.mode);
  if (g.count_x > tool.m_nMaxBoxCountX || g.count_y > tool.m_nMaxBoxCountY)
    return refuse("More boxes than the maximum box counts");
  if (static_cast<std::int64_t>(g.count_x) * g.count_y > kMaxBoxes) return refuse("Too many boxes");
  return plan;
}

bool settings_match_grid(const KelInspect &tool) {
  const Grid &g = tool.grid;
  return tool.m_nImgDx == g.img_dx && tool.m_nImgDy == g.img_dy && tool.m_nBoxDx == g.box_dx &&
         tool.m_nBoxDy == g.box_dy && (tool.nFeatureMode & 15) == g.mode;
}

bool within_memory_limit(const KelInspect &tool, const Grid &grid) {
  if (tool.nMemLimit <= 0) return true;
  const std::uint64_t bytes =
      static_cast<std::uint64_t>(grid.boxes()) * (grid.vector_size * 2 * sizeof(double) + 1);
  return bytes <= static_cast<std::uint64_t>(tool.nMemLimit) * 1024;
}

namespace {

// Feature vector of one box. Integer pixels are summed exactly; FLOAT boxes
// take a second pass for the deviation.
template <class T>
void features_of_box(const Image *img, int x0, int y0, int w, int h, int mode, double *out) {
  constexpr bool is_float = std::is_floating_point_v<T>;
  using Acc = std::conditional_t<is_float, double, std::int64_t>;
  Acc sum = 0, grad = 0;
  std::uint64_t squares = 0;
  T lo = *kel::pixel<const T>(img, x0, y0), hi = lo;
  const T *prev = nullptr;
  for (int y = y0; y < y0 + h; ++y) {
    const T *p = kel::row<const T>(img, y) + x0;
    for (int x = 0; x < w; ++x) {
      const T v = p[x];
      sum += v;
      if constexpr (!is_float) squares += static_cast<std::uint64_t>(v) * v;
      lo = std::min(lo, v);
      hi = std::max(hi, v);
      if (x > 0) {
        const Acc d = static_cast<Acc>(v) - static_cast<Acc>(p[x - 1]);
        grad += d * d;
      }
      if (prev) {
        const Acc d = static_cast<Acc>(v) - static_cast<Acc>(prev[x]);
        grad += d * d;
      }
    }
    prev = p;
  }
  const double n = static_cast<double>(w) * h;
  const double mean = static_cast<double>(sum) / n;
  double variance;
  if constexpr (is_float) {
    double dev = 0.0;
    for (int y = y0; y < y0 + h; ++y) {
      const T *p = kel::row<const T>(img, y) + x0;
      for (int x = 0; x < w; ++x)
        dev += (p[x] - mean) * (p[x] - mean);
    }
    variance = dev / n;
  } else {
    const auto count = static_cast<unsigned __int128>(static_cast<std::uint64_t>(w) * h);
    const auto s = static_cast<unsigned __int128>(static_cast<std::uint64_t>(sum));
    variance = static_cast<double>(count * squares - s * s) / n / n;
  }
  const double pairs = static_cast<double>(w - 1) * h + static_cast<double>(w) * (h - 1);
  int f = 0;
  if (mode & KEL_INSPECT_MEAN) out[f++] = mean;
  if (mode & KEL_INSPECT_DEVIATION) out[f++] = std::sqrt(variance);
  if (mode & KEL_INSPECT_GRADIENT)
    out[f++] = pairs > 0 ? std::sqrt(static_cast<double>(grad) / pairs) : 0.0;
  if (mode & KEL_INSPECT_RANGE) out[f++] = static_cast<double>(hi) - static_cast<double>(lo);
}

}  // namespace

void box_features(const Image *img, const Grid &grid, std::vector<double> &out) {
  out.assign(static_cast<std::size_t>(grid.boxes()) * grid.vector_size, 0.0);
  kel::with_pixel_type(img->type, 0, [&]<class T>() {
    double *o = out.data();
    for (int by = 0; by < grid.count_y; ++by)
      for (int bx = 0; bx < grid.count_x; ++bx, o += grid.vector_size)
        features_of_box<T>(img, grid.box_x(bx), grid.box_y(by), grid.box_w(bx), grid.box_h(by),
                           grid.mode, o);
    return 0;
  });
}

std::vector<KelInspectBox> deviating_boxes(const KelInspect &tool,
                                           const std::vector<double> &features) {
  const Grid &g = tool.grid;
  const int s = std::clamp(tool.nSensitivity, 1, 100);
  const double k = 1.0 + 9.0 * (100 - s) / 99.0;
  const double floor = std::max(static_cast<double>(tool.nBumpSize), 1e-6);
  const double n = tool.VectorCount;
  int bits[4], nbits = 0;
  for (int bit : kFeatureBits)
    if (g.mode & bit) bits[nbits++] = bit;

  std::vector<KelInspectBox> found;
  const bool blocking = tool.bBlockingEnabled != 0;
  for (int by = 0, b = 0; by < g.count_y; ++by) {
    for (int bx = 0; bx < g.count_x; ++bx, ++b) {
      if (blocking && tool.blocking[b]) continue;
      double worst = 0.0;
      int worst_feature = bits[0];
      for (int f = 0; f < g.vector_size; ++f) {
        const std::size_t at = static_cast<std::size_t>(b) * g.vector_size + f;
        const double mean = tool.stats[2 * at], m2 = tool.stats[2 * at + 1];
        const double spread = n >= 2 ? std::sqrt(m2 / (n - 1)) : 0.0;
        const double allowed = std::max(k * spread, floor);
        double dev = std::fabs(features[at] - mean) / allowed;
        if (std::isnan(dev)) dev = std::numeric_limits<double>::infinity();
        if (dev > worst) {
          worst = dev;
          worst_feature = bits[f];
        }
      }
      if (worst > 1.0) {
        KelInspectBox box{};
        box.box_x = bx;
        box.box_y = by;
        box.x = g.box_x(bx);
        box.y = g.box_y(by);
        box.dx = g.box_w(bx);
        box.dy = g.box_h(by);
        box.deviation = worst;
        box.feature = worst_feature;
        box.group = -1;
        found.push_back(box);
      }
    }
  }
  return found;
}

}  // namespace kel::inspect
