// Gaussian smoothing from a sigma (a separable pair of normalised float
// taps) and unsharp masking on top of it.
#include <cmath>
#include <vector>

#include "filter/convolve/convolve_engine.hpp"
#include "filter/smooth/smooth.hpp"
#include "kelkit/convolve.h"

namespace kel::nb {

std::vector<float> gauss_taps(double sigma) {
  const int r = std::max(1, static_cast<int>(std::ceil(3.0 * sigma)));
  std::vector<double> g(2 * r + 1);
  double total = 0;
  for (int i = -r; i <= r; ++i)
    total += g[i + r] = std::exp(-0.5 * i * i / (sigma * sigma));
  std::vector<float> taps(g.size());
  for (std::size_t i = 0; i < g.size(); ++i)
    taps[i] = static_cast<float>(g[i] / total);
  return taps;
}

}  // namespace kel::nb

namespace {

namespace nb = kel::nb;

bool sigma_ok(double sigma) {
  return sigma > 0 && sigma <= KEL_SIGMA_MAX;
}

// Checks shared by the two operators: null images, types, sigma, area.
int check(const char *fn, const Image *src, const Image *dst, double sigma, kel::Area &a) {
  if (int e = kel::need_images(fn, src, dst)) return e;
  if (int e = nb::need_one_type(fn, src, dst)) return e;
  if (!sigma_ok(sigma)) return kel::fail(fn, KEL_ERR_ARGUMENT, "Sigma out of range");
  a = kel::common_area(src, dst);
  return kel::need_area(fn, a);
}

}  // namespace

extern "C" {

KELKIT_API int kel_gauss2(const Image *src, Image *dst, double sigma) {
  return kel::guarded("kel_gauss2", [&](const char *fn) -> int {
    kel::Area a;
    if (int e = check(fn, src, dst, sigma, a)) return e;
    const std::vector<float> taps = nb::gauss_taps(sigma);
    const int n = static_cast<int>(taps.size());
    nb::Source s(src, dst, a, true);
    kel::with_pixel_type(src->type, 0, [&]<class T>() {
      nb::convolve_sep_real<T, T>(s.get(), dst, a, {taps.data(), n, 1}, {taps.data(), 1, n},
                                  nb::Mode::clamp);
      return 0;
    });
    return KEL_OK;
  });
}

KELKIT_API int kel_unsharp2(const Image *src, Image *dst, double sigma, double amount,
                            double threshold) {
  return kel::guarded("kel_unsharp2", [&](const char *fn) -> int {
    kel::Area a;
    if (int e = check(fn, src, dst, sigma, a)) return e;
    if (!std::isfinite(amount) || !(threshold >= 0))
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Amount or threshold out of range");
    const std::vector<float> taps = nb::gauss_taps(sigma);
    const int n = static_cast<int>(taps.size());
    nb::Source s(src, dst, a, true);
    kel::with_pixel_type(src->type, 0, [&]<class T>() {
      nb::convolve_sep_rows<T, float>(
          s.get(), a, nb::Kernel<float>{taps.data(), n, 1}, nb::Kernel<float>{taps.data(), 1, n},
          [&](int y, int x0, int len, const float *blur) {
            const T *in = kel::row<const T>(s.get(), y) + x0;
            T *out = kel::row<T>(dst, y) + x0;
            for (int x = 0; x < len; ++x) {
              const double v = static_cast<double>(in[x]), d = v - blur[x];
              out[x] = std::fabs(d) > threshold ? nb::saturate<T>(v + amount * d) : in[x];
            }
          },
          !nb::share_pixels(s.get(), dst));
      return 0;
    });
    return KEL_OK;
  });
}

}  // extern "C"
