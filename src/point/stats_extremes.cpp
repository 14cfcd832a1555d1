// Extreme values with their positions: kel_max, kel_min, kel_range and the
// general-type kel_max2, kel_min2, kel_range2.
#include <cstdint>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "kelkit/stats.h"
#include "point/stats_rows.hpp"

namespace {

using kel::row;

// The pixel at `data`, which the image services keep readable even for an
// empty image; 0 for an image over no memory.
template <class T>
T first_pixel(const Image *img) {
  return img->data ? *static_cast<const T *>(img->data) : T{};
}

// Largest (Max) or smallest BYTE value and its first position in raster
// order. Whole rows are reduced with the vector kernel; a row is searched
// for the position only when its extreme beats the best so far.
template <bool Max>
std::uint8_t byte_extreme(const Image *img, int *px, int *py) {
  std::uint8_t best = first_pixel<std::uint8_t>(img);
  int bx = 0, by = 0;
  const std::uint8_t bound = Max ? 255 : 0;
  int y = 0;  // row of the current span's first pixel
  kel::stats::for_each_span(img, [&](const std::uint8_t *p, int n) {
    if (best != bound) {
      std::uint8_t m = Max ? kel::stats::max_row(p, n) : kel::stats::min_row(p, n);
      if (Max ? m > best : m < best) {
        int i = 0;
        while (p[i] != m)
          ++i;
        best = m;
        bx = i % img->dx;
        by = y + i / img->dx;
      }
    }
    y += n / img->dx;
  });
  *px = bx;
  *py = by;
  return best;
}

template <bool Max>
std::uint8_t byte_extreme_entry(const char *name, const Image *img, int *x, int *y) {
  return kel::guarded_value<std::uint8_t>(name, 0, [&](const char *fn) -> std::uint8_t {
    if (kel::need_image(fn, img) || kel::need_pointer(fn, x) || kel::need_pointer(fn, y)) {
      if (x) *x = 0;
      if (y) *y = 0;
      return 0;
    }
    if (kel::need_type(fn, BYTE, img)) {
      *x = *y = 0;
      return 0;
    }
    return byte_extreme<Max>(img, x, y);
  });
}

// General-type extreme: first position in raster order of the strictly
// largest (or smallest) value, starting from pixel (0, 0).
template <bool Max, class T>
float general_extreme(const Image *img, int *px, int *py) {
  T best = first_pixel<T>(img);
  int bx = 0, by = 0;
  for (int y = 0; y < img->dy; ++y) {
    const T *p = row<const T>(img, y);
    for (int x = 0; x < img->dx; ++x) {
      if (Max ? p[x] > best : p[x] < best) {
        best = p[x];
        bx = x;
        by = y;
      }
    }
  }
  *px = bx;
  *py = by;
  return static_cast<float>(best);
}

template <bool Max>
float general_extreme_entry(const char *name, const Image *img, int *x, int *y) {
  return kel::guarded_value<float>(name, 0.0f, [&](const char *fn) -> float {
    if (kel::need_image(fn, img) || kel::need_pointer(fn, x) || kel::need_pointer(fn, y)) {
      if (x) *x = 0;
      if (y) *y = 0;
      return 0.0f;
    }
    *x = *y = 0;
    return kel::with_pixel_type(img->type, 0.0f,
                                [&]<class T>() { return general_extreme<Max, T>(img, x, y); });
  });
}

// Sum in single precision and extremes of a general-type image.
template <class T>
float general_range(const Image *img, float *lo, float *hi) {
  T mn = first_pixel<T>(img), mx = mn;
  float sum = 0.0f;
  for (int y = 0; y < img->dy; ++y) {
    const T *p = row<const T>(img, y);
    for (int x = 0; x < img->dx; ++x) {
      T v = p[x];
      if (v < mn) mn = v;
      if (v > mx) mx = v;
      sum += static_cast<float>(v);
    }
  }
  *lo = static_cast<float>(mn);
  *hi = static_cast<float>(mx);
  return sum;
}

}  // namespace

extern "C" {

KELKIT_API unsigned char kel_max(const Image *img, int *x, int *y) {
  return byte_extreme_entry<true>("kel_max", img, x, y);
}

KELKIT_API unsigned char kel_min(const Image *img, int *x, int *y) {
  return byte_extreme_entry<false>("kel_min", img, x, y);
}

KELKIT_API unsigned int kel_range(const Image *img, unsigned char *min, unsigned char *max) {
  return kel::guarded_value<unsigned>("kel_range", 0u, [&](const char *fn) -> unsigned {
    if (kel::need_image(fn, img) || kel::need_pointer(fn, min) || kel::need_pointer(fn, max)) {
      if (min) *min = 0;
      if (max) *max = 0;
      return 0u;
    }
    if (kel::need_type(fn, BYTE, img)) {
      *min = *max = 0;
      return 0u;
    }
    std::uint8_t lo = first_pixel<std::uint8_t>(img), hi = lo;
    std::uint32_t sum = 0;
    kel::stats::for_each_span(img, [&](const std::uint8_t *p, int n) {
      std::uint8_t a = kel::stats::min_row(p, n), b = kel::stats::max_row(p, n);
      if (a < lo) lo = a;
      if (b > hi) hi = b;
      sum += kel::stats::sum_row(p, n);
    });
    *min = lo;
    *max = hi;
    return sum;
  });
}

KELKIT_API float kel_max2(const Image *img, int *x, int *y) {
  return general_extreme_entry<true>("kel_max2", img, x, y);
}

KELKIT_API float kel_min2(const Image *img, int *x, int *y) {
  return general_extreme_entry<false>("kel_min2", img, x, y);
}

KELKIT_API float kel_range2(const Image *img, float *min, float *max) {
  return kel::guarded_value<float>("kel_range2", 0.0f, [&](const char *fn) -> float {
    if (kel::need_image(fn, img) || kel::need_pointer(fn, min) || kel::need_pointer(fn, max))
      return 0.0f;
    return kel::with_pixel_type(img->type, 0.0f,
                                [&]<class T>() { return general_range<T>(img, min, max); });
  });
}

}  // extern "C"
