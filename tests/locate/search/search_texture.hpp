// Smooth random textures for the search tests, and scenes made from them by
// resampling at fractional shifts.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "pixsvc.h"
#include "support/test_images.hpp"

namespace st {

// A float field of blurred noise: Gaussian blur of width `sigma` over
// uniform noise, stretched to about 20..235.
struct Texture {
  int dx = 0, dy = 0;
  std::vector<float> v;
  float at(int x, int y) const {
    x = std::clamp(x, 0, dx - 1);
    y = std::clamp(y, 0, dy - 1);
    return v[std::size_t(y) * dx + x];
  }
};

inline Texture make_texture(int dx, int dy, double sigma, std::uint32_t seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<float> u(0.0f, 1.0f);
  Texture t{dx, dy, std::vector<float>(std::size_t(dx) * dy)};
  for (float &f : t.v)
    f = u(gen);
  int r = static_cast<int>(std::ceil(3 * sigma));
  std::vector<double> k(2 * r + 1);
  for (int i = -r; i <= r; ++i)
    k[i + r] = std::exp(-i * i / (2 * sigma * sigma));
  std::vector<float> tmp(t.v.size());
  for (int y = 0; y < dy; ++y)
    for (int x = 0; x < dx; ++x) {
      double s = 0, w = 0;
      for (int i = -r; i <= r; ++i)
        if (x + i >= 0 && x + i < dx)
          s += k[i + r] * t.v[std::size_t(y) * dx + x + i], w += k[i + r];
      tmp[std::size_t(y) * dx + x] = static_cast<float>(s / w);
    }
  for (int y = 0; y < dy; ++y)
    for (int x = 0; x < dx; ++x) {
      double s = 0, w = 0;
      for (int i = -r; i <= r; ++i)
        if (y + i >= 0 && y + i < dy)
          s += k[i + r] * tmp[std::size_t(y + i) * dx + x], w += k[i + r];
      t.v[std::size_t(y) * dx + x] = static_cast<float>(s / w);
    }
  auto [lo, hi] = std::minmax_element(t.v.begin(), t.v.end());
  float a = *lo, b = *hi;
  for (float &f : t.v)
    f = 20.0f + 215.0f * (f - a) / (b - a);
  return t;
}

// Bilinear and cubic (Catmull-Rom) samples of the field.
inline double bilinear(const Texture &t, double x, double y) {
  int ix = static_cast<int>(std::floor(x)), iy = static_cast<int>(std::floor(y));
  double fx = x - ix, fy = y - iy;
  return (1 - fy) * ((1 - fx) * t.at(ix, iy) + fx * t.at(ix + 1, iy)) +
         fy * ((1 - fx) * t.at(ix, iy + 1) + fx * t.at(ix + 1, iy + 1));
}

inline double cubic_weight(double d) {
  d = std::abs(d);
  if (d < 1) return 1.5 * d * d * d - 2.5 * d * d + 1;
  if (d < 2) return -0.5 * d * d * d + 2.5 * d * d - 4 * d + 2;
  return 0;
}

inline double bicubic(const Texture &t, double x, double y) {
  int ix = static_cast<int>(std::floor(x)), iy = static_cast<int>(std::floor(y));
  double s = 0;
  for (int j = -1; j <= 2; ++j)
    for (int i = -1; i <= 2; ++i)
      s += cubic_weight(x - (ix + i)) * cubic_weight(y - (iy + j)) * t.at(ix + i, iy + j);
  return s;
}

// A BYTE scene of dx by dy whose pixel (x, y) is the field at (x - sx, y - sy):
// the texture moved by (sx, sy).
inline kt::TestImage scene(const Texture &t, int dx, int dy, double sx = 0, double sy = 0,
                           bool cubic = false, bool as_view = false) {
  kt::TestImage img = as_view ? kt::view(BYTE, dx, dy) : kt::image(BYTE, dx, dy);
  for (int y = 0; y < dy; ++y)
    for (int x = 0; x < dx; ++x) {
      double v = cubic ? bicubic(t, x - sx, y - sy) : bilinear(t, x - sx, y - sy);
      kt::set(img, x, y, std::clamp(std::floor(v + 0.5), 0.0, 255.0));
    }
  return img;
}

// A copy of the dx by dy rectangle at (x, y) of `src`.
inline kt::TestImage cut(const Image *src, int x, int y, int dx, int dy) {
  kt::TestImage m = kt::image(BYTE, dx, dy);
  for (int j = 0; j < dy; ++j)
    for (int i = 0; i < dx; ++i)
      kt::set(m, i, j, kt::get(src, x + i, y + j));
  return m;
}

}  // namespace st
