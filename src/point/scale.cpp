// Linear stretches: kel_scale (BYTE, exact integer mapping through a table)
// and kel_scale2 (any type, through the range, a fill or a multiply-add).
#include <cstdint>
#include <utility>

#include "kelkit/arith.h"
#include "point/arith_kernels.hpp"
#include "point/stats_rows.hpp"

namespace {

using kel::point::saturate;

// Extremes of the image's dx by dy (at least one pixel).
template <class T>
std::pair<T, T> extremes(const Image *img) {
  T lo = *kel::row<const T>(img, 0), hi = lo;
  for (int y = 0; y < img->dy; ++y) {
    const T *p = kel::row<const T>(img, y);
    for (int x = 0; x < img->dx; ++x) {
      if (p[x] < lo) lo = p[x];
      if (p[x] > hi) hi = p[x];
    }
  }
  return {lo, hi};
}

template <>
std::pair<std::uint8_t, std::uint8_t> extremes<std::uint8_t>(const Image *img) {
  std::uint8_t lo = 255, hi = 0;
  for (int y = 0; y < img->dy; ++y) {
    const std::uint8_t *p = kel::row<const std::uint8_t>(img, y);
    lo = std::min(lo, kel::stats::min_row(p, img->dx));
    hi = std::max(hi, kel::stats::max_row(p, img->dx));
  }
  return {lo, hi};
}

}  // namespace

extern "C" {

KELKIT_API int kel_scale(Image *img, unsigned char low, unsigned char high) {
  return kel::guarded("kel_scale", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, img)) return e;
    if (int e = kel::need_type(fn, BYTE, img)) return e;
    if (int e = kel::need_area(fn, kel::area_of(img), "Empty image")) return e;
    if (low > high) std::swap(low, high);
    auto [m, M] = extremes<std::uint8_t>(img);
    if (M == m) return KEL_OK;
    // Entry i = low + (i - m) * (high - low) / (M - m), truncated: the exact
    // value of the linear map, so m gives low and M gives high. Levels
    // outside m..M do not occur in the image.
    std::uint8_t table[256];
    for (int i = 0; i < 256; ++i) {
      int v = i < m ? 0 : i > M ? M - m : i - m;
      table[i] = static_cast<std::uint8_t>(low + v * (high - low) / (M - m));
    }
    kel::point::byte_lut_rows(img, table);
    return KEL_OK;
  });
}

KELKIT_API int kel_scale2(Image *img, float low, float high) {
  return kel::guarded("kel_scale2", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, img)) return e;
    if (!kel::point::known_type(img->type))
      return kel::fail(fn, KEL_ERR_TYPE, "Image must be BYTE, WORD or FLOAT");
    if (int e = kel::need_area(fn, kel::area_of(img), "Empty image")) return e;
    return kel::with_pixel_type(img->type, KEL_ERR_TYPE, [&]<class T>() {
      auto [lo, hi] = extremes<T>(img);
      const float min = static_cast<float>(lo), max = static_cast<float>(hi);
      if (max == min) {
        kel::point::fill_rows<T>(img, saturate<T>(low));
        return KEL_OK;
      }
      const float f = (high - low) / (max - min);
      const float offset = low - min * f;
      if constexpr (std::is_same_v<T, std::uint8_t>) {
        std::uint8_t table[256];
        kel::point::build_byte_table(table, [f, offset](float p) { return p * f + offset; });
        kel::point::byte_lut_rows(img, table);
      } else {
        kel::point::unary_rows<T>(
            img, [f, offset](T p) { return saturate<T>(static_cast<float>(p) * f + offset); });
      }
      return KEL_OK;
    });
  });
}

}  // extern "C"
