// Centred spectra: phase and magnitude images of a transformed pair, and the
// half-size shift that moves frequency 0 to the image centre.
#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "kelkit/fft.h"

namespace {

using kel::row;

// Writes value(re, im) of every pixel (x, y) into `out` at
// ((x + dx/2) mod dx, (y + dy/2) mod dy).
template <class Value>
void write_centred(const Image *re, const Image *im, Image *out, Value value) {
  const int dx = out->dx, dy = out->dy, sx = dx / 2, sy = dy / 2;
  auto put_row = [&](const float *r, const float *i, int y) {
    float *d = row<float>(out, (y + sy) % dy);
    for (int x = 0; x < dx - sx; ++x)
      d[x + sx] = value(r[x], i[x]);
    for (int x = dx - sx; x < dx; ++x)
      d[x + sx - dx] = value(r[x], i[x]);
  };
  if (!im_same_image(out, re) && !im_same_image(out, im)) {
    for (int y = 0; y < dy; ++y)
      put_row(row<const float>(re, y), row<const float>(im, y), y);
    return;
  }
  // The output overlaps an input: pixels move, so read from copies.
  const std::size_t n = static_cast<std::size_t>(dx);
  std::vector<float> r(n * dy), i(n * dy);
  for (int y = 0; y < dy; ++y) {
    std::copy_n(row<const float>(re, y), n, r.data() + y * n);
    std::copy_n(row<const float>(im, y), n, i.data() + y * n);
  }
  for (int y = 0; y < dy; ++y)
    put_row(r.data() + y * n, i.data() + y * n, y);
}

template <class Value>
int spectrum(const char *fn, const Image *re, const Image *im, Image *out, const char *size_message,
             Value value) {
  if (int e = kel::need_images(fn, re, im, out)) return e;
  if (re->type != FLOAT || im->type != FLOAT || out->type != FLOAT)
    return kel::fail(fn, KEL_ERR_NEED_TYPE);
  if (re->dx != im->dx || re->dy != im->dy || out->dx != re->dx || out->dy != re->dy)
    return kel::fail(fn, KEL_ERR_ARGUMENT, size_message);
  if (re->dx < 1 || re->dy < 1) return KEL_OK;
  write_centred(re, im, out, value);
  return KEL_OK;
}

// In-place cyclic shift: pixel (x, y) moves to ((x + dx/2) mod dx,
// (y + dy/2) mod dy). Each row is rotated; then the rows are moved along the
// cycles of the row shift through one row of work space.
template <class T>
void centre_pixels(Image *img) {
  const int dx = img->dx, dy = img->dy, sx = dx / 2, sy = dy / 2;
  if (sx > 0)
    for (int y = 0; y < dy; ++y) {
      T *r = row<T>(img, y);
      std::rotate(r, r + (dx - sx), r + dx);
    }
  if (sy == 0) return;
  std::vector<T> kept(static_cast<std::size_t>(dx));
  const int cycles = std::gcd(dy, sy);
  for (int start = 0; start < cycles; ++start) {
    std::copy(row<T>(img, start), row<T>(img, start) + dx, kept.begin());
    int to = start;
    for (;;) {
      const int from = (to - sy + dy) % dy;  // new row `to` is old row `from`
      if (from == start) break;
      std::copy(row<T>(img, from), row<T>(img, from) + dx, row<T>(img, to));
      to = from;
    }
    std::copy(kept.begin(), kept.end(), row<T>(img, to));
  }
}

}  // namespace

extern "C" {

KELKIT_API int kel_fft_phase(const Image *re, const Image *im, Image *phase) {
  return kel::guarded("kel_fft_phase", [&](const char *fn) -> int {
    return spectrum(
        fn, re, im, phase, "All images must have the same dimensions",
        [](float r, float i) { return static_cast<float>(std::atan2(static_cast<double>(i), r)); });
  });
}

KELKIT_API int kel_fft_power(const Image *re, const Image *im, Image *power) {
  return kel::guarded("kel_fft_power", [&](const char *fn) -> int {
    return spectrum(fn, re, im, power, "Images & power spectrum must have the same dimensions",
                    [](float r, float i) {
                      const double dr = r, di = i;
                      return static_cast<float>(std::sqrt(dr * dr + di * di));
                    });
  });
}

KELKIT_API int kel_fft_center(Image *img) {
  return kel::guarded("kel_fft_center", [&](const char *fn) -> int {
    if (!img || (img->type != BYTE && img->type != WORD && img->type != FLOAT))
      return kel::fail(fn, KEL_ERR_TYPE);
    if (img->dx < 1 || img->dy < 1) return KEL_OK;
    return kel::with_pixel_type(img->type, KEL_ERR_TYPE, [&]<class T>() {
      centre_pixels<T>(img);
      return KEL_OK;
    });
  });
}

}  // extern "C"
