// General-type measures: exact variance, ranged histogram, row extremes and
// histogram equalisation.
#include <cmath>
#include <cstdint>
#include <vector>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "kelkit/stats.h"
#include "point/stats_rows.hpp"

namespace {

using kel::row;

template <class T>
double variance_of(const Image *img) {
  double n = static_cast<double>(img->dx) * img->dy;
  if (img->dx < 1 || img->dy < 1 || !(n > 1.5)) return 0.0;
  if constexpr (sizeof(T) < 4) {
    // Integer pixels: exact 64-bit sums, then n*q - s*s in 128 bits.
    std::uint64_t s = 0, q = 0;
    for (int y = 0; y < img->dy; ++y) {
      const T *p = row<const T>(img, y);
      for (int x = 0; x < img->dx; ++x) {
        s += p[x];
        q += static_cast<std::uint64_t>(p[x]) * p[x];
      }
    }
    unsigned __int128 count = static_cast<unsigned>(img->dx) * static_cast<std::uint64_t>(img->dy);
    unsigned __int128 num = count * q - static_cast<unsigned __int128>(s) * s;
    return static_cast<double>(num) / n / (n - 1);
  } else {
    double mean = 0.0;
    for (int y = 0; y < img->dy; ++y) {
      const T *p = row<const T>(img, y);
      for (int x = 0; x < img->dx; ++x)
        mean += p[x];
    }
    mean /= n;
    double dev = 0.0;
    for (int y = 0; y < img->dy; ++y) {
      const T *p = row<const T>(img, y);
      for (int x = 0; x < img->dx; ++x)
        dev += (p[x] - mean) * (p[x] - mean);
    }
    return dev / (n - 1);
  }
}

template <class T>
void ranged_histogram(const Image *img, unsigned *hist, int bins, int low) {
  for (int y = 0; y < img->dy; ++y) {
    const T *p = row<const T>(img, y);
    for (int x = 0; x < img->dx; ++x) {
      double bin;
      if constexpr (sizeof(T) == 4)
        bin = std::floor(p[x]) - low;
      else
        bin = static_cast<double>(p[x]) - low;
      if (bin >= 0 && bin < bins) ++hist[static_cast<int>(bin)];
    }
  }
}

template <class T>
void row_extremes(const T *p, int n, float *min, int *xmin, float *max, int *xmax) {
  int lo = 0, hi = 0;
  for (int x = 1; x < n; ++x) {
    if (p[x] < p[lo]) lo = x;
    if (p[x] > p[hi]) hi = x;
  }
  if (min) *min = static_cast<float>(p[lo]);
  if (xmin) *xmin = lo;
  if (max) *max = static_cast<float>(p[hi]);
  if (xmax) *xmax = hi;
}

}  // namespace

extern "C" {

KELKIT_API double kel_variance2(const Image *img) {
  return kel::guarded_value<double>("kel_variance2", 0.0, [&](const char *fn) -> double {
    if (kel::need_image(fn, img)) return 0.0;
    double v =
        kel::with_pixel_type(img->type, -1.0, [&]<class T>() { return variance_of<T>(img); });
    if (v < 0.0) {
      kel::fail(fn, KEL_ERR_TYPE, "Pixel type not supported");
      return 0.0;
    }
    return v;
  });
}

KELKIT_API int kel_histogram(const Image *img, unsigned int *hist, int size, int low, int high) {
  return kel::guarded("kel_histogram", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, img)) return e;
    if (int e = kel::need_pointer(fn, hist, "histogram is NULL")) return e;
    if (size < 1) return kel::fail(fn, KEL_ERR_ARGUMENT, "Histogram size");
    if (high < low) return kel::fail(fn, KEL_ERR_ARGUMENT, "Histogram range");
    if (img->type != BYTE && img->type != WORD && img->type != FLOAT)
      return kel::fail(fn, KEL_ERR_TYPE, "Pixel type not supported");
    std::int64_t range = static_cast<std::int64_t>(high) - low + 1;
    int bins = range > size ? size : static_cast<int>(range);
    for (int i = 0; i < size; ++i)
      hist[i] = 0;
    kel::with_pixel_type(img->type, 0, [&]<class T>() {
      ranged_histogram<T>(img, hist, bins, low);
      return 0;
    });
    if (range > size) return kel::warn(fn, KEL_ERR_EMPTY, "Truncating histogram");
    return KEL_OK;
  });
}

KELKIT_API int kel_line_minmax(const Image *img, int y, float *min, int *xmin, float *max,
                               int *xmax) {
  return kel::guarded("kel_line_minmax", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, img)) return e;
    if (y < 0 || y >= img->dy) return kel::fail(fn, KEL_ERR_ARGUMENT, "Row outside the image");
    if (img->dx < 1) return kel::fail(fn, KEL_ERR_EMPTY, "Empty row");
    return kel::with_pixel_type(img->type, kel::fail(fn, KEL_ERR_TYPE, "Pixel type not supported"),
                                [&]<class T>() {
                                  row_extremes(row<const T>(img, y), img->dx, min, xmin, max, xmax);
                                  return KEL_OK;
                                });
  });
}

KELKIT_API int kel_histogram_equalize(const Image *src, Image *dst) {
  return kel::guarded("kel_histogram_equalize", [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, src, static_cast<const Image *>(dst))) return e;
    kel::Area a = kel::common_area(src, dst);
    if (int e = kel::need_area(fn, a)) return e;
    if (int e = kel::need_type(fn, BYTE, src, static_cast<const Image *>(dst))) return e;
    std::uint32_t sub[4][256] = {};
    for (int y = 0; y < a.dy; ++y)
      kel::stats::hist_row4(row<const std::uint8_t>(src, y), a.dx, sub);
    std::uint64_t cdf[256], total = 0, first = 0;
    for (int v = 0; v < 256; ++v) {
      total += sub[0][v] + sub[1][v] + sub[2][v] + sub[3][v];
      cdf[v] = total;
      if (!first && total) first = total;
    }
    std::uint8_t lut[256];
    for (int v = 0; v < 256; ++v) {
      if (total == first)
        lut[v] = static_cast<std::uint8_t>(v);  // a single level: unchanged
      else if (cdf[v] < first)
        lut[v] = 0;
      else
        lut[v] = static_cast<std::uint8_t>(((cdf[v] - first) * 255 * 2 + (total - first)) /
                                           (2 * (total - first)));
    }
    for (int y = 0; y < a.dy; ++y) {
      const std::uint8_t *s = row<const std::uint8_t>(src, y);
      std::uint8_t *d = row<std::uint8_t>(dst, y);
      for (int x = 0; x < a.dx; ++x)
        d[x] = lut[s[x]];
    }
    return KEL_OK;
  });
}

KELKIT_API int kel_equalize(Image *img) {
  return kel::guarded("kel_equalize", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, img)) return e;
    if (int e = kel::need_area(fn, kel::area_of(img))) return e;
    if (int e = kel::need_type(fn, BYTE, static_cast<const Image *>(img))) return e;
    return kel_histogram_equalize(img, img);
  });
}

}  // extern "C"
