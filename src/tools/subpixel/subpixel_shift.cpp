// Shifting an image by a fraction of a pixel: bilinear, bicubic, or exact
// through the spectrum.
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <type_traits>
#include <vector>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "frame/round_store.hpp"
#include "kelkit/subpixel.h"
#include "tools/subpixel/spectrum.hpp"

namespace {

// Cubic convolution weights for the four taps around a fraction t.
void cubic_weights(double t, double w[4]) {
  const double a = -0.5;
  auto near = [&](double x) { return ((a + 2) * x - (a + 3)) * x * x + 1; };
  auto far = [&](double x) { return ((a * x - 5 * a) * x + 8 * a) * x - 4 * a; };
  w[0] = far(1 + t);
  w[1] = near(t);
  w[2] = near(1 - t);
  w[3] = far(2 - t);
}

// Both interpolating shifts are separable with the same taps for every
// pixel (the shift is constant), so one tap set per axis serves the image.
template <class T>
void interpolate_shift(const Image *src, Image *dst, double dx, double dy, bool cubic) {
  const int w = src->dx, h = src->dy;
  std::vector<double> in(static_cast<std::size_t>(w) * h);
  for (int y = 0; y < h; ++y) {
    const T *r = kel::row<T>(src, y);
    for (int x = 0; x < w; ++x)
      in[static_cast<std::size_t>(y) * w + x] = r[x];
  }
  // Source position of output x is x - dx = x + base + t with t in [0, 1).
  const double fx = std::floor(-dx), fy = std::floor(-dy);
  const double tx = -dx - fx, ty = -dy - fy;
  double wx[4] = {0, 1 - tx, tx, 0}, wy[4] = {0, 1 - ty, ty, 0};
  if (cubic) {
    cubic_weights(tx, wx);
    cubic_weights(ty, wy);
  }
  auto clampi = [](long i, int n) { return static_cast<int>(i < 0 ? 0 : (i >= n ? n - 1 : i)); };
  std::vector<double> rows(static_cast<std::size_t>(w) * h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      double s = 0;
      for (int k = 0; k < 4; ++k)
        if (wx[k] != 0)
          s += wx[k] * in[static_cast<std::size_t>(y) * w + clampi(long(x + fx) + k - 1, w)];
      rows[static_cast<std::size_t>(y) * w + x] = s;
    }
  for (int y = 0; y < h; ++y) {
    T *out = kel::row<T>(dst, y);
    for (int x = 0; x < w; ++x) {
      double s = 0;
      for (int k = 0; k < 4; ++k)
        if (wy[k] != 0)
          s += wy[k] * rows[static_cast<std::size_t>(clampi(long(y + fy) + k - 1, h)) * w + x];
      out[x] = kel::round_to_pixel<T>(s);
    }
  }
}

// Signed frequency of index k of an n-point transform.
inline double frequency(int k, int n) {
  return k < n / 2 ? k : k - n;
}

bool spectral_shift(const Image *src, Image *dst, double dx, double dy) {
  kel::subpixel::Spectrum s;
  if (!kel::subpixel::forward(src, nullptr, s)) return false;
  const int w = src->dx, h = src->dy;
  const double two_pi = 2 * std::numbers::pi;
  // The ramp is the product of one factor per axis. At an axis's Nyquist
  // frequency its factor has no well-defined sign: its real part is kept,
  // so a real image stays real.
  auto factor = [&](int k, int n, double d, double *c, double *sn) {
    const double a = -two_pi * frequency(k, n) * d / n;
    *c = std::cos(a);
    *sn = (n > 1 && k == n / 2) ? 0.0 : std::sin(a);
  };
  for (int v = 0; v < h; ++v) {
    float *re = kel::row<float>(s.re.get(), v), *im = kel::row<float>(s.im.get(), v);
    double cy, sy;
    factor(v, h, dy, &cy, &sy);
    for (int u = 0; u < w; ++u) {
      double cx, sx;
      factor(u, w, dx, &cx, &sx);
      const double c = cx * cy - sx * sy, sn = cx * sy + sx * cy;
      const double r = re[u], i = im[u];
      re[u] = static_cast<float>(r * c - i * sn);
      im[u] = static_cast<float>(r * sn + i * c);
    }
  }
  if (!kel::subpixel::inverse(s)) return false;
  kel::with_pixel_type(dst->type, 0, [&]<class T>() {
    for (int y = 0; y < h; ++y) {
      const float *r = kel::row<float>(s.re.get(), y);
      T *out = kel::row<T>(dst, y);
      for (int x = 0; x < w; ++x)
        out[x] = kel::round_to_pixel<T>(r[x]);
    }
    return 0;
  });
  return true;
}

}  // namespace

extern "C" {

KELKIT_API int kel_subpixel_shift(const Image *src, Image *dst, double dx, double dy, int method) {
  return kel::guarded("kel_subpixel_shift", [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, src, dst)) return e;
    if (method < KEL_SUBPIXEL_BILINEAR || method > KEL_SUBPIXEL_FFT)
      return kel::fail(fn, KEL_ERR_OPERATION, "Unknown operation");
    if (!(std::fabs(dx) <= 1e6) || !(std::fabs(dy) <= 1e6))
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Shift must be finite, at most 1e6");
    if (int e = kel::need_pixel_type(fn, src)) return e;
    if (int e = kel::need_same_type(fn, src, dst)) return e;
    if (src->dx != dst->dx || src->dy != dst->dy)
      return kel::fail(fn, KEL_ERR_SIZE, "Images must be the same size");
    if (int e = kel::need_area(fn, kel::area_of(src))) return e;
    if (method == KEL_SUBPIXEL_FFT) {
      if (!kel::subpixel::fft_size(src->dx) || !kel::subpixel::fft_size(src->dy))
        return kel::fail(fn, KEL_ERR_ARGUMENT, "Sizes must be powers of 2, 2 to 8192");
      if (!spectral_shift(src, dst, dx, dy))
        return kel::fail(fn, KEL_ERR_NO_MEMORY, "Out of memory");
      return KEL_OK;
    }
    return kel::with_pixel_type(src->type, int{KEL_ERR_TYPE}, [&]<class T>() {
      interpolate_shift<T>(src, dst, dx, dy, method == KEL_SUBPIXEL_BICUBIC);
      return KEL_OK;
    });
  });
}

}  // extern "C"
