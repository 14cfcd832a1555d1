// Value mapping into the same or another pixel type: kel_clip,
// kel_shift_bits, kel_gain_offset, kel_normalize.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "kelkit/convert.h"
#include "point/arith_kernels.hpp"
#include "point/convert_store.hpp"
#include "point/lut_rows.hpp"

namespace {

using kel::point::round_store;

template <class T>
void clip_rows(Image *img, float low, float high) {
  // Integer bounds are converted as every constant is: clamped, truncated.
  const T lo = kel::point::saturate<T>(low);
  const T hi = kel::point::saturate<T>(high);
  if constexpr (sizeof(T) == 1) {
    std::uint8_t table[256];
    for (int v = 0; v < 256; ++v)
      table[v] = static_cast<std::uint8_t>(std::clamp<int>(v, lo, hi));
    kel::lut::apply(img, table);
  } else {
    // std::clamp returns a NaN pixel unchanged: both comparisons are false.
    kel::point::unary_rows<T>(img, [=](T p) { return std::clamp(p, lo, hi); });
  }
}

bool integer_type(const Image *img) {
  return img->type == BYTE || img->type == WORD;
}

bool finite(float v) {
  return std::isfinite(v);
}

// Smallest and largest finite value of the area of src; false when it holds
// no finite value.
template <class S>
bool finite_range(const Image *src, kel::Area area, double *lo, double *hi) {
  double mn = std::numeric_limits<double>::infinity(), mx = -mn;
  for (int y = 0; y < area.dy; ++y) {
    const S *p = kel::row<const S>(src, y);
    for (int x = 0; x < area.dx; ++x) {
      const double v = p[x];
      if (!std::isfinite(v)) continue;
      mn = std::min(mn, v);
      mx = std::max(mx, v);
    }
  }
  *lo = mn, *hi = mx;
  return mn <= mx;
}

// Mean and population standard deviation of the finite values of the area of
// src, in two passes; sd 0 when there is no spread or no finite value.
template <class S>
void finite_moments(const Image *src, kel::Area area, double *mean, double *sd) {
  double sum = 0.0;
  double n = 0.0;
  for (int y = 0; y < area.dy; ++y) {
    const S *p = kel::row<const S>(src, y);
    for (int x = 0; x < area.dx; ++x)
      if (std::isfinite(static_cast<double>(p[x]))) sum += p[x], n += 1.0;
  }
  *mean = n > 0.0 ? sum / n : 0.0;
  double squares = 0.0;
  for (int y = 0; y < area.dy; ++y) {
    const S *p = kel::row<const S>(src, y);
    for (int x = 0; x < area.dx; ++x) {
      const double d = static_cast<double>(p[x]) - *mean;
      if (std::isfinite(d)) squares += d * d;
    }
  }
  *sd = n > 0.0 ? std::sqrt(squares / n) : 0.0;
}

template <class S, class D>
void normalize_range(const Image *src, Image *dst, kel::Area area, double low, double high) {
  double m, big;
  if (!finite_range<S>(src, area, &m, &big) || big == m) {
    const D flat = round_store<D>(low);
    kel::point::map_rows<S, D>(src, dst, area, [=](S) { return flat; });
    return;
  }
  // t runs from 0 at m to 1 at the maximum, so both ends land exactly.
  const double span = big - m, out = high - low;
  kel::point::map_rows<S, D>(src, dst, area, [=](S p) {
    return round_store<D>(low + (static_cast<double>(p) - m) / span * out);
  });
}

template <class S>
void normalize_standard(const Image *src, Image *dst, kel::Area area) {
  double mean, sd;
  finite_moments<S>(src, area, &mean, &sd);
  kel::point::map_rows<S, float>(src, dst, area, [=](S p) {
    const double v = static_cast<double>(p);
    if (!std::isfinite(v)) return static_cast<float>(v);
    return sd > 0.0 ? static_cast<float>((v - mean) / sd) : 0.0f;
  });
}

}  // namespace

extern "C" {

KELKIT_API int kel_clip(Image *img, float low, float high) {
  return kel::guarded("kel_clip", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, img)) return e;
    if (!kel::point::known_type(img->type))
      return kel::fail(fn, KEL_ERR_TYPE, "Image must be BYTE, WORD or FLOAT");
    if (std::isnan(low) || std::isnan(high)) return kel::fail(fn, KEL_ERR_ARGUMENT, "Bound is NaN");
    if (low > high) return kel::fail(fn, KEL_ERR_ARGUMENT, "low > high");
    if (int e = kel::need_area(fn, kel::area_of(img))) return e;
    return kel::with_pixel_type(img->type, int{KEL_ERR_TYPE}, [&]<class T>() {
      clip_rows<T>(img, low, high);
      return int{KEL_OK};
    });
  });
}

KELKIT_API int kel_shift_bits(const Image *src, Image *dst, int n) {
  return kel::guarded("kel_shift_bits", [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, src, dst)) return e;
    if (!integer_type(src) || !integer_type(dst))
      return kel::fail(fn, KEL_ERR_TYPE, "Images must be BYTE or WORD");
    if (n < -16 || n > 16) return kel::fail(fn, KEL_ERR_ARGUMENT, "Shift out of range");
    const kel::Area area = kel::common_area(src, dst);
    if (int e = kel::need_area(fn, area)) return e;
    return kel::point::with_type_pair(src->type, dst->type, [&]<class S, class D>() {
      if constexpr (std::is_integral_v<S> && std::is_integral_v<D>) {
        constexpr std::uint32_t top = std::numeric_limits<D>::max();
        // At most 16 bits shifted left by at most 16: fits in 32.
        kel::point::map_rows<S, D>(src, dst, area, [=](S p) {
          const std::uint32_t v = n >= 0 ? std::uint32_t{p} << n : std::uint32_t{p} >> -n;
          return static_cast<D>(std::min(v, top));
        });
      }
      return int{KEL_OK};
    });
  });
}

KELKIT_API int kel_gain_offset(const Image *src, Image *dst, float gain, float offset) {
  return kel::guarded("kel_gain_offset", [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, src, dst)) return e;
    if (!kel::point::known_type(src->type) || !kel::point::known_type(dst->type))
      return kel::fail(fn, KEL_ERR_TYPE, "Images must be BYTE, WORD or FLOAT");
    if (!finite(gain) || !finite(offset))
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Gain and offset must be finite");
    const kel::Area area = kel::common_area(src, dst);
    if (int e = kel::need_area(fn, area)) return e;
    const double g = gain, o = offset;
    return kel::point::with_type_pair(src->type, dst->type, [&]<class S, class D>() {
      kel::point::map_rows<S, D>(
          src, dst, area, [=](S p) { return round_store<D>(static_cast<double>(p) * g + o); });
      return int{KEL_OK};
    });
  });
}

KELKIT_API int kel_normalize(const Image *src, Image *dst, int mode, float low, float high) {
  return kel::guarded("kel_normalize", [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, src, dst)) return e;
    if (mode != KEL_NORMALIZE_RANGE && mode != KEL_NORMALIZE_STANDARD)
      return kel::fail(fn, KEL_ERR_OPERATION, "Unknown operation");
    if (!kel::point::known_type(src->type) || !kel::point::known_type(dst->type))
      return kel::fail(fn, KEL_ERR_TYPE, "Images must be BYTE, WORD or FLOAT");
    if (mode == KEL_NORMALIZE_STANDARD && dst->type != FLOAT)
      return kel::fail(fn, KEL_ERR_NEED_TYPE, "Output must be FLOAT");
    if (mode == KEL_NORMALIZE_RANGE && (!finite(low) || !finite(high)))
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Bounds must be finite");
    const kel::Area area = kel::common_area(src, dst);
    if (int e = kel::need_area(fn, area)) return e;
    if (mode == KEL_NORMALIZE_STANDARD)
      return kel::with_pixel_type(src->type, int{KEL_ERR_TYPE}, [&]<class S>() {
        normalize_standard<S>(src, dst, area);
        return int{KEL_OK};
      });
    return kel::point::with_type_pair(src->type, dst->type, [&]<class S, class D>() {
      normalize_range<S, D>(src, dst, area, low, high);
      return int{KEL_OK};
    });
  });
}

}  // extern "C"
