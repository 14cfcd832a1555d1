// Grey morphology on every pixel type: 3x3 squares (the "2" forms),
// rectangles of any size, lines at 0, 45, 90 and 135 degrees and grey
// structuring elements with heights, each with erosion, dilation, opening,
// closing, top hat, bottom hat and gradient.
#include "kelkit/morphology.h"
#include "filter/morphology/compose.hpp"
#include "filter/morphology/extreme.hpp"

namespace {

namespace nb = kel::nb;
using kel::Area;

// Checks in order: null images, operation, pixel types, element, area.
int check(const char *fn, const Image *src, const Image *dst, int op, bool element_ok, int kx,
          int ky, Area &a) {
  if (int e = kel::need_images(fn, src, dst)) return e;
  if (!nb::operation_ok(op)) return nb::unknown_operation(fn);
  if (int e = nb::need_one_type(fn, src, dst)) return e;
  if (!element_ok) return nb::bad_kernel(fn, "Structuring element");
  a = kel::common_area(src, dst);
  return nb::need_window(fn, a, kx, ky);
}

nb::Extreme rect_filter(Area a, int kx, int ky) {
  return [=](const Image *s, Image *d, bool dilate) {
    nb::Span sx = nb::span_of(kx), sy = nb::span_of(ky);
    if (dilate) sx = sx.reflected(), sy = sy.reflected();
    kel::with_pixel_type(s->type, 0, [&]<class T>() {
      dilate ? nb::extreme_rect<T, true>(s, d, a, sx, sy)
             : nb::extreme_rect<T, false>(s, d, a, sx, sy);
      return 0;
    });
  };
}

int morph_rect(const char *fn, const Image *src, Image *dst, int op, int kx, int ky) {
  Area a;
  const bool ok = kx >= 1 && ky >= 1 && kx <= KEL_MORPH_MAX && ky <= KEL_MORPH_MAX;
  if (int e = check(fn, src, dst, op, ok, kx, ky, a)) return e;
  nb::compose(src, dst, a, op, rect_filter(a, kx, ky));
  return KEL_OK;
}

int morph_line(const char *fn, const Image *src, Image *dst, int op, int length, int angle) {
  const bool ok = length >= 1 && length <= KEL_MORPH_MAX &&
                  (angle == 0 || angle == 45 || angle == 90 || angle == 135);
  const int kx = angle == 90 ? 1 : length, ky = angle == 0 ? 1 : length;
  Area a;
  if (int e = check(fn, src, dst, op, ok, ok ? kx : 1, ok ? ky : 1, a)) return e;
  if (angle == 0 || angle == 90) {
    nb::compose(src, dst, a, op, rect_filter(a, kx, ky));
    return KEL_OK;
  }
  const int uy = angle == 45 ? -1 : 1;
  nb::compose(src, dst, a, op, [=](const Image *s, Image *d, bool dilate) {
    const nb::Span span = dilate ? nb::span_of(length).reflected() : nb::span_of(length);
    kel::with_pixel_type(s->type, 0, [&]<class T>() {
      dilate ? nb::extreme_diagonal<T, true>(s, d, a, span, uy)
             : nb::extreme_diagonal<T, false>(s, d, a, span, uy);
      return 0;
    });
  });
  return KEL_OK;
}

int morph_surf(const char *fn, const Image *src, Image *dst, int op, const unsigned char *mask,
               const float *heights, int kx, int ky) {
  bool ok = kx >= 1 && ky >= 1 && kx <= KEL_SURF_MAX && ky <= KEL_SURF_MAX;
  if (ok && mask) ok = std::any_of(mask, mask + kx * ky, [](unsigned char m) { return m != 0; });
  if (ok && heights)
    ok = std::all_of(heights, heights + kx * ky, [](float h) { return std::isfinite(h); });
  Area a;
  if (int e = check(fn, src, dst, op, ok, kx, ky, a)) return e;
  nb::compose(src, dst, a, op, [=](const Image *s, Image *d, bool dilate) {
    kel::with_pixel_type(s->type, 0, [&]<class T>() {
      dilate ? nb::extreme_surf<T, true>(s, d, a, mask, heights, kx, ky)
             : nb::extreme_surf<T, false>(s, d, a, mask, heights, kx, ky);
      return 0;
    });
  });
  return KEL_OK;
}

}  // namespace

extern "C" {

KELKIT_API int kel_morph2(const Image *src, Image *dst, int op) {
  return kel::guarded("kel_morph2",
                      [&](const char *fn) { return morph_rect(fn, src, dst, op, 3, 3); });
}
KELKIT_API int kel_erode2(const Image *src, Image *dst) {
  return kel::guarded("kel_erode2", [&](const char *fn) {
    return morph_rect(fn, src, dst, KEL_MORPH_ERODE, 3, 3);
  });
}
KELKIT_API int kel_dilate2(const Image *src, Image *dst) {
  return kel::guarded("kel_dilate2", [&](const char *fn) {
    return morph_rect(fn, src, dst, KEL_MORPH_DILATE, 3, 3);
  });
}

KELKIT_API int kel_morph_rect(const Image *src, Image *dst, int op, int kx, int ky) {
  return kel::guarded("kel_morph_rect",
                      [&](const char *fn) { return morph_rect(fn, src, dst, op, kx, ky); });
}
KELKIT_API int kel_erode_rect(const Image *src, Image *dst, int kx, int ky) {
  return kel::guarded("kel_erode_rect", [&](const char *fn) {
    return morph_rect(fn, src, dst, KEL_MORPH_ERODE, kx, ky);
  });
}
KELKIT_API int kel_dilate_rect(const Image *src, Image *dst, int kx, int ky) {
  return kel::guarded("kel_dilate_rect", [&](const char *fn) {
    return morph_rect(fn, src, dst, KEL_MORPH_DILATE, kx, ky);
  });
}

KELKIT_API int kel_morph_line(const Image *src, Image *dst, int op, int length, int angle) {
  return kel::guarded("kel_morph_line",
                      [&](const char *fn) { return morph_line(fn, src, dst, op, length, angle); });
}
KELKIT_API int kel_erode_line(const Image *src, Image *dst, int length, int angle) {
  return kel::guarded("kel_erode_line", [&](const char *fn) {
    return morph_line(fn, src, dst, KEL_MORPH_ERODE, length, angle);
  });
}
KELKIT_API int kel_dilate_line(const Image *src, Image *dst, int length, int angle) {
  return kel::guarded("kel_dilate_line", [&](const char *fn) {
    return morph_line(fn, src, dst, KEL_MORPH_DILATE, length, angle);
  });
}

KELKIT_API int kel_morph_surf(const Image *src, Image *dst, int op, const unsigned char *mask,
                              const float *heights, int kx, int ky) {
  return kel::guarded("kel_morph_surf", [&](const char *fn) {
    return morph_surf(fn, src, dst, op, mask, heights, kx, ky);
  });
}
KELKIT_API int kel_erode_surf(const Image *src, Image *dst, const unsigned char *mask,
                              const float *heights, int kx, int ky) {
  return kel::guarded("kel_erode_surf", [&](const char *fn) {
    return morph_surf(fn, src, dst, KEL_MORPH_ERODE, mask, heights, kx, ky);
  });
}
KELKIT_API int kel_dilate_surf(const Image *src, Image *dst, const unsigned char *mask,
                               const float *heights, int kx, int ky) {
  return kel::guarded("kel_dilate_surf", [&](const char *fn) {
    return morph_surf(fn, src, dst, KEL_MORPH_DILATE, mask, heights, kx, ky);
  });
}

}  // extern "C"
