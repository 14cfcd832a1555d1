// Test patterns: every pixel is low + (high - low) * f(x, y) with f from a
// closed formula, averaged over 16 x 16 sub-samples where the pattern has
// sharp edges.
#include <cmath>
#include <limits>
#include <numbers>
#include <type_traits>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "frame/round_store.hpp"
#include "kelkit/pattern.h"

namespace {

constexpr int kSub = 16;

// Fills img with low + (high - low) * f(x, y); f is given the pixel centre.
template <class F>
int fill(const char *fn, Image *img, double low, double high, F f) {
  if (int e = kel::need_image(fn, img)) return e;
  if (!std::isfinite(low) || !std::isfinite(high))
    return kel::fail(fn, KEL_ERR_ARGUMENT, "Levels must be finite");
  if (int e = kel::need_pixel_type(fn, img)) return e;
  if (int e = kel::need_area(fn, kel::area_of(img))) return e;
  return kel::with_pixel_type(img->type, int{KEL_ERR_TYPE}, [&]<class T>() {
    for (int y = 0; y < img->dy; ++y) {
      T *r = kel::row<T>(img, y);
      for (int x = 0; x < img->dx; ++x)
        r[x] = kel::round_to_pixel<T>(low + (high - low) * f(x, y));
    }
    return KEL_OK;
  });
}

// Mean of inside(px, py) over the 16 x 16 sub-samples of pixel (x, y).
template <class Inside>
double coverage(int x, int y, Inside inside) {
  int n = 0;
  for (int j = 0; j < kSub; ++j)
    for (int i = 0; i < kSub; ++i)
      n += inside(x - 15.0 / 32 + i / 16.0, y - 15.0 / 32 + j / 16.0) ? 1 : 0;
  return n / double(kSub * kSub);
}

bool positive_finite(double v) {
  return v > 0 && std::isfinite(v);
}

double radians(double deg) {
  return deg * std::numbers::pi / 180;
}

}  // namespace

extern "C" {

KELKIT_API int kel_pattern_checkerboard(Image *img, double square, double x0, double y0,
                                        double angle, double low, double high) {
  return kel::guarded("kel_pattern_checkerboard", [&](const char *fn) -> int {
    if (!positive_finite(square) || !std::isfinite(x0) || !std::isfinite(y0) ||
        !std::isfinite(angle))
      return img ? kel::fail(fn, KEL_ERR_ARGUMENT, "Square, origin and angle must be finite")
                 : kel::need_image(fn, img);
    const double c = std::cos(radians(angle)), s = std::sin(radians(angle));
    return fill(fn, img, low, high, [&](int x, int y) {
      return coverage(x, y, [&](double px, double py) {
        double u = (px - x0) * c - (py - y0) * s, v = (px - x0) * s + (py - y0) * c;
        return (static_cast<long long>(std::floor(u / square)) +
                static_cast<long long>(std::floor(v / square))) %
                   2 ==
               0;
      });
    });
  });
}

KELKIT_API int kel_pattern_gaussian(Image *img, double cx, double cy, double sigma, double low,
                                    double high) {
  return kel::guarded("kel_pattern_gaussian", [&](const char *fn) -> int {
    if (!positive_finite(sigma) || !std::isfinite(cx) || !std::isfinite(cy))
      return img ? kel::fail(fn, KEL_ERR_ARGUMENT, "Centre and sigma must be finite")
                 : kel::need_image(fn, img);
    return fill(fn, img, low, high, [&](int x, int y) {
      return std::exp(-((x - cx) * (x - cx) + (y - cy) * (y - cy)) / (2 * sigma * sigma));
    });
  });
}

KELKIT_API int kel_pattern_wedge(Image *img, double angle, double low, double high) {
  return kel::guarded("kel_pattern_wedge", [&](const char *fn) -> int {
    if (!std::isfinite(angle))
      return img ? kel::fail(fn, KEL_ERR_ARGUMENT, "Angle must be finite")
                 : kel::need_image(fn, img);
    if (!img) return kel::need_image(fn, img);
    const double c = std::cos(radians(angle)), s = -std::sin(radians(angle));
    const double w = img->dx - 1, h = img->dy - 1;
    const double dmin = std::min(0.0, c * w) + std::min(0.0, s * h);
    const double dmax = std::max(0.0, c * w) + std::max(0.0, s * h);
    return fill(fn, img, low, high, [&](int x, int y) {
      return dmax > dmin ? (x * c + y * s - dmin) / (dmax - dmin) : 0.0;
    });
  });
}

KELKIT_API int kel_pattern_bar_chart(Image *img, double period_start, double period_end, double low,
                                     double high) {
  return kel::guarded("kel_pattern_bar_chart", [&](const char *fn) -> int {
    if (!positive_finite(period_start) || !positive_finite(period_end))
      return img ? kel::fail(fn, KEL_ERR_ARGUMENT, "Periods must be positive")
                 : kel::need_image(fn, img);
    if (!img) return kel::need_image(fn, img);
    const double f0 = 1 / period_start, rate = (1 / period_end - f0) / (2.0 * std::max(1, img->dx));
    return fill(fn, img, low, high, [&](int x, int y) {
      return coverage(x, y, [&](double px, double) {
        double t = px + 0.5;
        return std::sin(2 * std::numbers::pi * (t * f0 + rate * t * t)) > 0;
      });
    });
  });
}

KELKIT_API int kel_pattern_grid(Image *img, double spacing, double line_width, double x0, double y0,
                                double low, double high) {
  return kel::guarded("kel_pattern_grid", [&](const char *fn) -> int {
    if (!positive_finite(spacing) || !positive_finite(line_width) || line_width >= spacing ||
        !std::isfinite(x0) || !std::isfinite(y0))
      return img ? kel::fail(fn, KEL_ERR_ARGUMENT, "Spacing and line width out of range")
                 : kel::need_image(fn, img);
    auto on_line = [&](double p, double origin) {
      double d = std::fmod(p - origin, spacing);
      if (d < 0) d += spacing;
      return d < line_width / 2 || spacing - d <= line_width / 2;
    };
    return fill(fn, img, low, high, [&](int x, int y) {
      return coverage(x, y,
                      [&](double px, double py) { return on_line(px, x0) || on_line(py, y0); });
    });
  });
}

KELKIT_API int kel_pattern_wave(Image *img, double period, double angle, double phase, double low,
                                double high) {
  return kel::guarded("kel_pattern_wave", [&](const char *fn) -> int {
    if (!positive_finite(period) || !std::isfinite(angle) || !std::isfinite(phase))
      return img ? kel::fail(fn, KEL_ERR_ARGUMENT, "Period, angle and phase must be finite")
                 : kel::need_image(fn, img);
    const double c = std::cos(radians(angle)), s = std::sin(radians(angle));
    return fill(fn, img, low, high, [&](int x, int y) {
      return 0.5 + 0.5 * std::cos(2 * std::numbers::pi * (x * c - y * s) / period + phase);
    });
  });
}

}  // extern "C"
