// Forward and inverse transforms of whole images for the sub-pixel tools.
#include "tools/subpixel/spectrum.hpp"

#include <memory>

#include "frame/pixels.hpp"
#include "kelkit/fft.h"

namespace kel::subpixel {

namespace {

struct CoeffDeleter {
  void operator()(kel_fft_coeff *c) const noexcept { kel_fft_delete_coeff(c); }
};

bool transform(Spectrum &s, int direction) {
  std::unique_ptr<kel_fft_coeff, CoeffDeleter> c(
      kel_fft_create_coeff(s.re->dx, s.re->dy, direction));
  return c && kel_fft_2d(s.re.get(), s.im.get(), c.get()) == KEL_OK;
}

}  // namespace

bool fft_size(int n) {
  return n >= 2 && n <= 8192 && (n & (n - 1)) == 0;
}

bool forward(const Image *img, const double *window, Spectrum &s) {
  s.re = make_image(FLOAT, img->dx, img->dy);
  s.im = make_image(FLOAT, img->dx, img->dy);
  if (!s.re || !s.im) return false;
  with_pixel_type(img->type, 0, [&]<class T>() {
    for (int y = 0; y < img->dy; ++y) {
      const T *in = row<T>(img, y);
      float *out = row<float>(s.re.get(), y);
      for (int x = 0; x < img->dx; ++x) {
        double v = in[x];
        if (window) v *= window[static_cast<std::size_t>(y) * img->dx + x];
        out[x] = static_cast<float>(v);
      }
    }
    return 0;
  });
  return transform(s, 1);
}

bool inverse(Spectrum &s) {
  if (!transform(s, 0)) return false;
  const float scale = 1.0f / (static_cast<float>(s.re->dx) * s.re->dy);
  for (int y = 0; y < s.re->dy; ++y) {
    float *re = row<float>(s.re.get(), y), *im = row<float>(s.im.get(), y);
    for (int x = 0; x < s.re->dx; ++x) {
      re[x] *= scale;
      im[x] *= scale;
    }
  }
  return true;
}

}  // namespace kel::subpixel
