// Scenes for the vela search tests: a smooth texture seen through a turned
// and moved model pose.
#pragma once

#include <algorithm>
#include <cmath>
#include <numbers>

#include "locate/search/search_texture.hpp"

namespace vt {

// A dx by dy BYTE scene in which the texture point (cx, cy) appears at
// (px, py), the texture turned by `angle` degrees (counter-clockwise as
// seen) about it.
inline kt::TestImage posed_scene(const st::Texture &t, int dx, int dy, double cx, double cy,
                                 double px, double py, double angle, bool as_view = false) {
  kt::TestImage img = as_view ? kt::view(BYTE, dx, dy) : kt::image(BYTE, dx, dy);
  const double a = angle * std::numbers::pi / 180.0, c = std::cos(a), s = std::sin(a);
  for (int y = 0; y < dy; ++y)
    for (int x = 0; x < dx; ++x) {
      const double u = x - px, v = y - py;
      const double val = st::bilinear(t, cx + c * u - s * v, cy + s * u + c * v);
      kt::set(img, x, y, std::clamp(std::floor(val + 0.5), 0.0, 255.0));
    }
  return img;
}

}  // namespace vt
