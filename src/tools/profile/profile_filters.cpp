// Smoothing and derivatives of profiles.
#include <cmath>
#include <vector>

#include "kelkit/profile.h"
#include "tools/profile/profile_checks.hpp"

namespace {

// dst = src convolved with a symmetric kernel of weights w[0..r] (w[k] for
// offsets +-k), ends replicated. Works from a copy, so dst may be src.
void convolve_symmetric(const double *src, double *dst, int n, const std::vector<double> &w) {
  std::vector<double> in(src, src + n);
  const long r = static_cast<long>(w.size()) - 1;
  for (long i = 0; i < n; ++i) {
    double s = w[0] * in[i];
    for (long k = 1; k <= r; ++k)
      s += w[k] *
           (kel::sample_clamped(in.data(), n, i - k) + kel::sample_clamped(in.data(), n, i + k));
    dst[i] = s;
  }
}

}  // namespace

extern "C" {

KELKIT_API int ar_smooth_box(const double *src, double *dst, int n, int width) {
  return kel::guarded("ar_smooth_box", [&](const char *fn) -> int {
    if (int e = kel::need_arrays(fn, src, dst)) return e;
    if (int e = kel::need_length(fn, n, 1)) return e;
    if (width < 1 || width % 2 == 0 || width / 2 > n)
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Width must be odd, 1 to 2n+1");
    std::vector<double> w(width / 2 + 1, 1.0 / width);
    convolve_symmetric(src, dst, n, w);
    return KEL_OK;
  });
}

KELKIT_API int ar_smooth_gauss(const double *src, double *dst, int n, double sigma) {
  return kel::guarded("ar_smooth_gauss", [&](const char *fn) -> int {
    if (int e = kel::need_arrays(fn, src, dst)) return e;
    if (int e = kel::need_length(fn, n, 1)) return e;
    if (!(sigma > 0) || !std::isfinite(sigma) || sigma > 1e6)
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Sigma out of range");
    if (sigma < 0.1) {
      std::vector<double> in(src, src + n);
      std::copy(in.begin(), in.end(), dst);
      return KEL_OK;
    }
    long r = static_cast<long>(std::ceil(3 * sigma));
    if (r > 2L * n) r = 2L * n;
    std::vector<double> w(r + 1);
    double total = 0;
    for (long k = 0; k <= r; ++k) {
      w[k] = std::exp(-double(k) * k / (2 * sigma * sigma));
      total += k ? 2 * w[k] : w[k];
    }
    for (double &v : w)
      v /= total;
    convolve_symmetric(src, dst, n, w);
    return KEL_OK;
  });
}

KELKIT_API int ar_derivative(const double *src, double *dst, int n) {
  return kel::guarded("ar_derivative", [&](const char *fn) -> int {
    if (int e = kel::need_arrays(fn, src, dst)) return e;
    if (int e = kel::need_length(fn, n, 2)) return e;
    std::vector<double> p(src, src + n);
    dst[0] = p[1] - p[0];
    dst[n - 1] = p[n - 1] - p[n - 2];
    for (int i = 1; i + 1 < n; ++i)
      dst[i] = 0.5 * (p[i + 1] - p[i - 1]);
    return KEL_OK;
  });
}

KELKIT_API int ar_second_derivative(const double *src, double *dst, int n) {
  return kel::guarded("ar_second_derivative", [&](const char *fn) -> int {
    if (int e = kel::need_arrays(fn, src, dst)) return e;
    if (int e = kel::need_length(fn, n, 3)) return e;
    std::vector<double> p(src, src + n);
    for (int i = 1; i + 1 < n; ++i)
      dst[i] = p[i - 1] - 2 * p[i] + p[i + 1];
    dst[0] = dst[1];
    dst[n - 1] = dst[n - 2];
    return KEL_OK;
  });
}

}  // extern "C"
