// Sub-pixel shift between two images by phase correlation.
#include <cmath>
#include <numbers>
#include <vector>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "kelkit/subpixel.h"
#include "tools/subpixel/spectrum.hpp"

namespace {

std::vector<double> hann(int w, int h) {
  std::vector<double> out(static_cast<std::size_t>(w) * h);
  auto f = [](int k, int n) { return 0.5 - 0.5 * std::cos(2 * std::numbers::pi * k / n); };
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x)
      out[static_cast<std::size_t>(y) * w + x] = f(x, w) * f(y, h);
  return out;
}

// Offset of the true peak from sample 0 given the peak value c and its two
// neighbours: for a band-limited shift the correlation is a sampled sinc,
// whose peak lies at r / (r + c) towards the larger neighbour r.
double refine(double left, double c, double right) {
  if (right >= left) return right > 0 && c + right > 0 ? right / (c + right) : 0.0;
  return left > 0 && c + left > 0 ? -left / (c + left) : 0.0;
}

}  // namespace

extern "C" {

KELKIT_API int kel_subpixel_phase_correlate(const Image *ref, const Image *moved, int window,
                                            double *dx, double *dy, double *response) {
  if (dx) *dx = 0;
  if (dy) *dy = 0;
  if (response) *response = 0;
  return kel::guarded("kel_subpixel_phase_correlate", [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, ref, moved)) return e;
    if (int e = kel::need_pointer(fn, dx, "Output is NULL")) return e;
    if (int e = kel::need_pointer(fn, dy, "Output is NULL")) return e;
    if (window != KEL_WINDOW_NONE && window != KEL_WINDOW_HANN)
      return kel::fail(fn, KEL_ERR_OPERATION, "Unknown operation");
    if (int e = kel::need_pixel_type(fn, ref)) return e;
    if (int e = kel::need_same_type(fn, ref, moved)) return e;
    if (ref->dx != moved->dx || ref->dy != moved->dy)
      return kel::fail(fn, KEL_ERR_SIZE, "Images must be the same size");
    const int w = ref->dx, h = ref->dy;
    if (!kel::subpixel::fft_size(w) || !kel::subpixel::fft_size(h))
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Sizes must be powers of 2, 2 to 8192");
    std::vector<double> win;
    if (window == KEL_WINDOW_HANN) win = hann(w, h);
    kel::subpixel::Spectrum a, b;
    if (!kel::subpixel::forward(ref, win.empty() ? nullptr : win.data(), a) ||
        !kel::subpixel::forward(moved, win.empty() ? nullptr : win.data(), b))
      return kel::fail(fn, KEL_ERR_NO_MEMORY, "Out of memory");
    // Normalised cross-power spectrum B conj(A) / |B conj(A)| into b.
    for (int y = 0; y < h; ++y) {
      float *ar = kel::row<float>(a.re.get(), y), *ai = kel::row<float>(a.im.get(), y);
      float *br = kel::row<float>(b.re.get(), y), *bi = kel::row<float>(b.im.get(), y);
      for (int x = 0; x < w; ++x) {
        double re = double(br[x]) * ar[x] + double(bi[x]) * ai[x];
        double im = double(bi[x]) * ar[x] - double(br[x]) * ai[x];
        double mag = std::hypot(re, im);
        br[x] = mag > 1e-20 ? static_cast<float>(re / mag) : 0.0f;
        bi[x] = mag > 1e-20 ? static_cast<float>(im / mag) : 0.0f;
      }
    }
    if (!kel::subpixel::inverse(b)) return kel::fail(fn, KEL_ERR_NO_MEMORY, "Out of memory");
    const Image *r = b.re.get();
    int px = 0, py = 0;
    float best = *kel::pixel<float>(r, 0, 0);
    for (int y = 0; y < h; ++y) {
      const float *row = kel::row<float>(r, y);
      for (int x = 0; x < w; ++x)
        if (row[x] > best) {
          best = row[x];
          px = x;
          py = y;
        }
    }
    auto at = [&](int x, int y) { return double(*kel::pixel<float>(r, (x + w) % w, (y + h) % h)); };
    double sx = px + refine(at(px - 1, py), best, at(px + 1, py));
    double sy = py + refine(at(px, py - 1), best, at(px, py + 1));
    if (sx >= w / 2.0) sx -= w;
    if (sy >= h / 2.0) sy -= h;
    *dx = sx;
    *dy = sy;
    if (response) *response = best;
    return KEL_OK;
  });
}

}  // extern "C"
