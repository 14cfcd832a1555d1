// Counts and histograms: kel_count_nz, kel_count, kel_hist, kel_multi_count.
#include <cstdint>
#include <cstring>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "kelkit/stats.h"
#include "point/stats_rows.hpp"

namespace {

using kel::row;

template <class T>
std::uint32_t count_nonzero(const Image *img) {
  std::uint32_t c = 0;
  if constexpr (sizeof(T) == 1) {
    kel::stats::for_each_span(
        img, [&](const std::uint8_t *p, int n) { c += kel::stats::count_nz_row(p, n); });
  } else {
    // A FLOAT pixel counts unless it compares equal to 0.0: -0.0 does not
    // count, NaN does.
    for (int y = 0; y < img->dy; ++y) {
      const T *p = row<const T>(img, y);
      for (int x = 0; x < img->dx; ++x)
        c += !(p[x] == T{0});
    }
  }
  return c;
}

// The 256-bin histogram of a BYTE image, built on four sub-tables on the
// stack and summed at the end.
void byte_histogram(const Image *img, std::uint32_t *hist) {
  std::uint32_t sub[4][256];
  std::memset(sub, 0, sizeof sub);
  if (img->dx > 0)
    for (int y = 0; y < img->dy; ++y)
      kel::stats::hist_row4(row<const std::uint8_t>(img, y), img->dx, sub);
  for (int v = 0; v < 256; ++v)
    hist[v] = sub[0][v] + sub[1][v] + sub[2][v] + sub[3][v];
}

}  // namespace

extern "C" {

KELKIT_API unsigned int kel_count_nz(const Image *img) {
  return kel::guarded_value<unsigned>("kel_count_nz", 0u, [&](const char *fn) -> unsigned {
    if (kel::need_image(fn, img)) return 0u;
    return kel::with_pixel_type(img->type, 0u, [&]<class T>() { return count_nonzero<T>(img); });
  });
}

KELKIT_API unsigned int kel_count(const Image *img, unsigned char value) {
  return kel::guarded_value<unsigned>("kel_count", 0u, [&](const char *fn) -> unsigned {
    if (kel::need_image(fn, img) || kel::need_type(fn, BYTE, img)) return 0u;
    std::uint32_t c = 0;
    for (int y = 0; y < img->dy; ++y) {
      const std::uint8_t *p = row<const std::uint8_t>(img, y);
      for (int x = 0; x < img->dx; ++x)
        c += p[x] == value;
    }
    return c;
  });
}

KELKIT_API int kel_hist(const Image *img, unsigned int hist[256]) {
  return kel::guarded("kel_hist", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, img)) return e;
    if (int e = kel::need_pointer(fn, hist, "histogram is NULL")) return e;
    if (int e = kel::need_type(fn, BYTE, img)) return e;
    byte_histogram(img, hist);
    return KEL_OK;
  });
}

KELKIT_API int kel_multi_count(const Image *img, int k, unsigned int *counts,
                               const unsigned char *low, const unsigned char *high) {
  return kel::guarded("kel_multi_count", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, img)) return e;
    if (k < 1) return KEL_OK;
    if (int e = kel::need_pointer(fn, counts, "counts is NULL")) return e;
    if (int e = kel::need_pointer(fn, low, "low is NULL")) return e;
    if (int e = kel::need_pointer(fn, high, "high is NULL")) return e;
    if (int e = kel::need_type(fn, BYTE, img)) return e;
    std::uint32_t hist[256];
    byte_histogram(img, hist);
    for (int i = 0; i < k; ++i) {
      std::uint32_t c = 0;
      for (int v = low[i]; v <= high[i]; ++v)
        c += hist[v];
      counts[i] = c;
    }
    return KEL_OK;
  });
}

}  // extern "C"
