// Local adaptive threshold against the mean or a Gaussian-weighted mean of a
// window around each pixel, with edge pixels replicated beyond the border.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "kelkit/autothreshold.h"

namespace {

inline int clamp_index(int i, int n) {
  return i < 0 ? 0 : (i >= n ? n - 1 : i);
}

// Window sums by running column sums: each output row adds the entering row
// and removes the leaving one, then slides along the row, so the cost per
// pixel does not depend on the window. Integer pixels sum exactly (32 bits
// hold any BYTE window up to 1023 x 1023). The column sums are padded with
// the edge columns' sums so the slide needs no bounds tests, and the test
// src > sum / area - offset is made as src * area > sum - offset * area.
template <class T>
void mean_threshold(const Image *src, Image *dst, int size, double offset) {
  using Acc = std::conditional_t<
      std::is_same_v<T, float>, double,
      std::conditional_t<std::is_same_v<T, std::uint8_t>, std::int32_t, std::int64_t>>;
  const int dx = src->dx, dy = src->dy, r = size / 2;
  const double area = double(size) * size, off = offset * area;
  std::vector<Acc> padded(dx + 2 * r + 1, 0), sums(dx);
  Acc *col = padded.data() + r;
  // floor(-off), held within the accumulator's range (beyond it the test
  // has the same outcome for every pixel).
  const double lim = std::is_same_v<Acc, std::int32_t> ? 2e9 : 9e18;
  const Acc bound = static_cast<Acc>(std::clamp(std::floor(-off), -lim, lim));
  for (int k = -r; k <= r; ++k) {
    const T *p = kel::row<T>(src, clamp_index(k, dy));
    for (int x = 0; x < dx; ++x)
      col[x] += p[x];
  }
  for (int y = 0; y < dy; ++y) {
    if (y > 0) {
      const T *in = kel::row<T>(src, clamp_index(y + r, dy));
      const T *out = kel::row<T>(src, clamp_index(y - r - 1, dy));
      for (int x = 0; x < dx; ++x)
        col[x] += Acc(in[x]) - Acc(out[x]);
    }
    for (int k = 1; k <= r; ++k) {
      col[-k] = col[0];
      col[dx - 1 + k] = col[dx - 1];
    }
    Acc s = 0;
    for (int k = -r; k <= r; ++k)
      s += col[k];
    for (int x = 0; x < dx; ++x) {
      sums[x] = s;
      s += col[x + r + 1] - col[x - r];
    }
    const T *p = kel::row<T>(src, y);
    std::uint8_t *o = kel::row<std::uint8_t>(dst, y);
    if constexpr (std::is_same_v<T, float>) {
      for (int x = 0; x < dx; ++x)
        o[x] = double(p[x]) * area > sums[x] - off ? 255 : 0;
    } else {
      // For integers d = src * area - sum, d > -off holds exactly when
      // d > floor(-off); the loop then stays in integers.
      const Acc a = static_cast<Acc>(area);
      for (int x = 0; x < dx; ++x)
        o[x] = Acc(p[x]) * a - sums[x] > bound ? 255 : 0;
    }
  }
}

// Gaussian-weighted mean by a separable filter in double precision.
template <class T>
void gaussian_threshold(const Image *src, Image *dst, int size, double offset) {
  const int dx = src->dx, dy = src->dy, r = size / 2;
  const double sigma = size / 6.0;
  std::vector<double> w(r + 1);
  double total = 0;
  for (int k = 0; k <= r; ++k) {
    w[k] = std::exp(-double(k) * k / (2 * sigma * sigma));
    total += k ? 2 * w[k] : w[k];
  }
  for (double &v : w)
    v /= total;
  std::vector<double> rows(static_cast<std::size_t>(dx) * dy);
  for (int y = 0; y < dy; ++y) {
    const T *p = kel::row<T>(src, y);
    double *o = &rows[static_cast<std::size_t>(y) * dx];
    for (int x = 0; x < dx; ++x) {
      double s = w[0] * p[x];
      for (int k = 1; k <= r; ++k)
        s += w[k] * (double(p[clamp_index(x - k, dx)]) + p[clamp_index(x + k, dx)]);
      o[x] = s;
    }
  }
  for (int y = 0; y < dy; ++y) {
    const T *p = kel::row<T>(src, y);
    std::uint8_t *o = kel::row<std::uint8_t>(dst, y);
    for (int x = 0; x < dx; ++x) {
      double s = w[0] * rows[static_cast<std::size_t>(y) * dx + x];
      for (int k = 1; k <= r; ++k)
        s += w[k] * (rows[static_cast<std::size_t>(clamp_index(y - k, dy)) * dx + x] +
                     rows[static_cast<std::size_t>(clamp_index(y + k, dy)) * dx + x]);
      o[x] = double(p[x]) > s - offset ? 255 : 0;
    }
  }
}

}  // namespace

extern "C" {

KELKIT_API int kel_threshold_adaptive(const Image *src, Image *dst, int method, int size,
                                      double offset) {
  return kel::guarded("kel_threshold_adaptive", [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, src, dst)) return e;
    if (int e = kel::need_distinct(fn, src, dst)) return e;
    if (method != KEL_ADAPTIVE_MEAN && method != KEL_ADAPTIVE_GAUSSIAN)
      return kel::fail(fn, KEL_ERR_OPERATION, "Unknown operation");
    if (size < 3 || size > 1023 || size % 2 == 0)
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Size must be odd, 3 to 1023");
    if (!std::isfinite(offset)) return kel::fail(fn, KEL_ERR_ARGUMENT, "Offset must be finite");
    if (src->dx != dst->dx || src->dy != dst->dy)
      return kel::fail(fn, KEL_ERR_SIZE, "Images must be the same size");
    if (int e = kel::need_area(fn, kel::area_of(src))) return e;
    if (int e = kel::need_type(fn, BYTE, dst)) return e;
    if (int e = kel::need_pixel_type(fn, src)) return e;
    return kel::with_pixel_type(src->type, int{KEL_ERR_TYPE}, [&]<class T>() {
      if (method == KEL_ADAPTIVE_MEAN)
        mean_threshold<T>(src, dst, size, offset);
      else
        gaussian_threshold<T>(src, dst, size, offset);
      return KEL_OK;
    });
  });
}

}  // extern "C"
