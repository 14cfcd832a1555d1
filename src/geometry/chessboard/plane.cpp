// Float image planes for the chessboard finder and renderer.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "frame/pixels.hpp"
#include "geometry/chessboard/chessboard.hpp"

namespace kel::chessboard {

double Plane::sample(double x, double y) const {
  x = std::clamp(x, 0.0, double(w - 1));
  y = std::clamp(y, 0.0, double(h - 1));
  int x0 = std::min(int(x), w - 2 < 0 ? 0 : w - 2), y0 = std::min(int(y), h - 2 < 0 ? 0 : h - 2);
  int x1 = std::min(x0 + 1, w - 1), y1 = std::min(y0 + 1, h - 1);
  double fx = x - x0, fy = y - y0;
  return (1 - fy) * ((1 - fx) * at(x0, y0) + fx * at(x1, y0)) +
         fy * ((1 - fx) * at(x0, y1) + fx * at(x1, y1));
}

Plane plane_of(const Image *img) {
  Plane p(img->dx, img->dy);
  kel::with_pixel_type<int>(img->type, 0, [&]<class T>() {
    for (int y = 0; y < img->dy; ++y) {
      const T *row = kel::row<T>(img, y);
      for (int x = 0; x < img->dx; ++x)
        p.at(x, y) = float(row[x]);
    }
    return 0;
  });
  return p;
}

Plane gaussian(const Plane &src, double sigma) {
  const int r = std::max(1, int(std::ceil(3 * sigma)));
  std::vector<float> k(2 * r + 1);
  double sum = 0;
  for (int i = -r; i <= r; ++i)
    sum += std::exp(-0.5 * i * i / (sigma * sigma));
  for (int i = -r; i <= r; ++i)
    k[i + r] = float(std::exp(-0.5 * i * i / (sigma * sigma)) / sum);
  const int w = src.w, h = src.h;
  Plane tmp(w, h), out(w, h);
  // Rows: the interior tap by tap over the whole row (so the loop runs
  // along x), the ends with replicated borders.
  for (int y = 0; y < h; ++y) {
    const float *in = &src.v[std::size_t(y) * w];
    float *o = &tmp.v[std::size_t(y) * w];
    const int inner_end = w - r;
    if (inner_end > r)
      for (int i = 0; i <= 2 * r; ++i) {
        const float c = k[i];
        const float *shifted = in + i - r;
        for (int x = r; x < inner_end; ++x)
          o[x] += c * shifted[x];
      }
    for (int x = 0; x < w; ++x) {
      if (x >= r && x < inner_end) continue;
      float acc = 0;
      for (int i = -r; i <= r; ++i)
        acc += k[i + r] * in[std::clamp(x + i, 0, w - 1)];
      o[x] = acc;
    }
  }
  // Columns: whole rows at a time.
  for (int y = 0; y < h; ++y) {
    float *o = &out.v[std::size_t(y) * w];
    for (int i = -r; i <= r; ++i) {
      const float *in = &tmp.v[std::size_t(std::clamp(y + i, 0, h - 1)) * w];
      const float c = k[i + r];
      for (int x = 0; x < w; ++x)
        o[x] += c * in[x];
    }
  }
  return out;
}

}  // namespace kel::chessboard
