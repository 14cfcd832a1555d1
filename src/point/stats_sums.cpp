// Sums, means and the variance.
#include <algorithm>
#include <cstdint>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "frame/processor.hpp"
#include "kelkit/stats.h"
#include "point/stats_rows.hpp"

namespace {

using kel::row;

// Sum of a BYTE image modulo 2^32, with the processor-switch branch: while
// the switch is on, images 8 or more pixels wide give the fast sum cell.
std::uint32_t byte_sum(const Image *img) {
  if (kel::mmx_on() && img->dx >= 8) return kel::last_fast_sum();
  std::uint32_t s = 0;
  if (img->dx > 0)
    for (int y = 0; y < img->dy; ++y)
      s += kel::stats::sum_row(row<const std::uint8_t>(img, y), img->dx);
  return s;
}

double variance_formula(double s, double q, double n) {
  return (q * n - s * s) / n / (n - 1);
}

// Sum (modulo 2^32) and exact sum of squares of a BYTE image. The squares
// are gathered by the row kernel in chunks of 16384 pixels, whose sum of
// squares (at most 16384 * 255^2) cannot wrap, so every chunk is exact; the
// 32-bit accumulator of the plain formula is the low half of the total.
struct Sums {
  std::uint32_t s = 0;
  std::uint64_t q = 0;
};

Sums byte_sums(const Image *img) {
  Sums r;
  kel::stats::for_each_span(img, [&](const std::uint8_t *p, int count) {
    for (int start = 0; start < count; start += 16384) {
      std::uint32_t chunk_squares = 0;
      kel::stats::sum_squares_row(p + start, std::min(count - start, 16384), &r.s, &chunk_squares);
      r.q += chunk_squares;
    }
  });
  return r;
}

// The exact routine: 32-bit sum, sum of squares in double.
double exact_variance(const Sums &sums, double n) {
  return variance_formula(sums.s, static_cast<double>(sums.q), n);
}

// Sum in single precision in raster order: one float accumulator, each
// pixel converted to float and added in turn.
template <class T>
float raster_float_sum(const Image *img) {
  float sum = 0.0f;
  for (int y = 0; y < img->dy; ++y) {
    const T *p = row<const T>(img, y);
    for (int x = 0; x < img->dx; ++x) {
      if constexpr (sizeof(T) == 1)
        sum += kel::byte_to_float[p[x]];
      else
        sum += static_cast<float>(p[x]);
    }
  }
  return sum;
}

float float_sum(const Image *img) {
  return kel::with_pixel_type(img->type, 0.0f, [&]<class T>() { return raster_float_sum<T>(img); });
}

}  // namespace

extern "C" {

KELKIT_API unsigned int kel_sum(const Image *img) {
  return kel::guarded_value<unsigned>("kel_sum", 0u, [&](const char *fn) -> unsigned {
    if (kel::need_image(fn, img) || kel::need_type(fn, BYTE, img)) return 0u;
    return byte_sum(img);
  });
}

KELKIT_API double kel_average(const Image *img) {
  return kel::guarded_value<double>("kel_average", 0.0, [&](const char *fn) -> double {
    if (kel::need_image(fn, img) || kel::need_type(fn, BYTE, img) ||
        kel::need_area(fn, kel::area_of(img)))
      return 0.0;
    return byte_sum(img) / (static_cast<double>(img->dx) * img->dy);
  });
}

KELKIT_API double kel_variance(const Image *img) {
  return kel::guarded_value<double>("kel_variance", 0.0, [&](const char *fn) -> double {
    if (kel::need_image(fn, img) || kel::need_type(fn, BYTE, img)) return 0.0;
    double n = static_cast<double>(img->dx) * img->dy;
    if (kel::mmx_on() && img->dx >= 8) {
      double v = kel::last_fast_variance();
      return v < 0.0 ? exact_variance(byte_sums(img), n) : v;
    }
    // One pass gives both the exact sum of squares and its 32-bit wrapped
    // value, which the formula uses first.
    Sums sums = byte_sums(img);
    if (!(n > 1.5)) return 0.0;
    double v = variance_formula(sums.s, static_cast<std::uint32_t>(sums.q), n);
    // A negative result means the 32-bit sum of squares wrapped.
    return v < 0.0 ? exact_variance(sums, n) : v;
  });
}

KELKIT_API float kel_sum2(const Image *img) {
  return kel::guarded_value<float>("kel_sum2", 0.0f, [&](const char *fn) -> float {
    if (kel::need_image(fn, img)) return 0.0f;
    return float_sum(img);
  });
}

KELKIT_API float kel_mean(const Image *img) {
  return kel::guarded_value<float>("kel_mean", 0.0f, [&](const char *fn) -> float {
    if (kel::need_image(fn, img)) return 0.0f;
    if (img->dx <= 0 || img->dy <= 0) return 0.0f;
    return float_sum(img) / static_cast<float>(img->dx * img->dy);
  });
}

}  // extern "C"
