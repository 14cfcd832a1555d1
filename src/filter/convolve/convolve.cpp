// Convolution with caller kernels: integer weights with a shift (BYTE,
// WORD), float weights (every pixel type, FLOAT destination allowed),
// separable pairs and line kernels.
#include <algorithm>

#include "filter/convolve/convolve_engine.hpp"
#include "kelkit/convolve.h"

namespace {

using kel::Area;
namespace nb = kel::nb;

constexpr int kMaxSide = 11;  // largest side of a full kernel
constexpr int kMaxTaps = 31;  // longest row, column or line kernel

bool odd_in(int k, int lo, int hi) {
  return k >= lo && k <= hi && k % 2 == 1;
}

int effective_shift(int shift) {
  return std::clamp(shift, 0, 31);
}

// The checks every convolution shares, in order: null images, null
// weights, pixel types, kernel sizes, area. `real` selects the float-weight
// rules (every type, FLOAT destination allowed).
int check(const char *fn, const Image *src, const Image *dst, const void *w1, const void *w2,
          bool real, bool sizes_ok, int kx, int ky, Area &a) {
  if (int e = kel::need_images(fn, src, dst)) return e;
  if (!w1 || !w2) return kel::fail(fn, KEL_ERR_ARGUMENT, "weights is NULL");
  if (real) {
    if (!nb::supported_type(src->type) || !nb::supported_type(dst->type))
      return kel::fail(fn, KEL_ERR_TYPE, "Unsupported pixel type");
    if (dst->type != src->type && dst->type != FLOAT)
      return kel::fail(fn, KEL_ERR_TYPE_MISMATCH,
                       "Destination must have the source's type or FLOAT");
  } else if (int e = nb::need_one_type(fn, src, dst, true)) {
    return e;
  }
  if (!sizes_ok) return nb::bad_kernel(fn);
  a = kel::common_area(src, dst);
  return nb::need_window(fn, a, kx, ky);
}

// Runs an integer-weight body for BYTE or WORD.
template <class Body>
int run_int(const Image *src, Body &&body) {
  if (src->type == BYTE)
    body.template operator()<std::uint8_t>();
  else
    body.template operator()<std::uint16_t>();
  return KEL_OK;
}

int convolve(const char *fn, const Image *src, Image *dst, const int *w, int kx, int ky, int shift,
             int mode) {
  Area a;
  if (int e = check(fn, src, dst, w, w, false, odd_in(kx, 1, kMaxSide) && odd_in(ky, 1, kMaxSide),
                    kx, ky, a))
    return e;
  nb::Source s(src, dst, a, true);
  return run_int(src, [&]<class T>() {
    nb::convolve_int<T>(s.get(), dst, a, {w, kx, ky}, effective_shift(shift), nb::mode_of(mode));
  });
}

int convolve2(const char *fn, const Image *src, Image *dst, const float *w, int kx, int ky,
              int mode) {
  Area a;
  if (int e = check(fn, src, dst, w, w, true, odd_in(kx, 1, kMaxSide) && odd_in(ky, 1, kMaxSide),
                    kx, ky, a))
    return e;
  nb::Source s(src, dst, a, true);
  nb::with_source_and_destination(src->type, dst->type, [&]<class S, class D>() {
    nb::convolve_real<S, D>(s.get(), dst, a, {w, kx, ky}, nb::mode_of(mode));
  });
  return KEL_OK;
}

int convolve_sep(const char *fn, const Image *src, Image *dst, const int *rw, int nr, const int *cw,
                 int nc, int shift, int mode) {
  Area a;
  if (int e = check(fn, src, dst, rw, cw, false, odd_in(nr, 1, kMaxTaps) && odd_in(nc, 1, kMaxTaps),
                    nr, nc, a))
    return e;
  nb::Source s(src, dst, a, true);
  return run_int(src, [&]<class T>() {
    nb::convolve_sep_int<T>(s.get(), dst, a, {rw, nr, 1}, {cw, 1, nc}, effective_shift(shift),
                            nb::mode_of(mode));
  });
}

int convolve_sep2(const char *fn, const Image *src, Image *dst, const float *rw, int nr,
                  const float *cw, int nc, int mode) {
  Area a;
  if (int e = check(fn, src, dst, rw, cw, true, odd_in(nr, 1, kMaxTaps) && odd_in(nc, 1, kMaxTaps),
                    nr, nc, a))
    return e;
  nb::Source s(src, dst, a, true);
  nb::with_source_and_destination(src->type, dst->type, [&]<class S, class D>() {
    nb::convolve_sep_real<S, D>(s.get(), dst, a, {rw, nr, 1}, {cw, 1, nc}, nb::mode_of(mode));
  });
  return KEL_OK;
}

}  // namespace

extern "C" {

KELKIT_API int kel_convolve(const Image *src, Image *dst, const int *weights, int kx, int ky,
                            int shift, int mode) {
  return kel::guarded("kel_convolve", [&](const char *fn) {
    return convolve(fn, src, dst, weights, kx, ky, shift, mode);
  });
}

KELKIT_API int kel_convolve2(const Image *src, Image *dst, const float *weights, int kx, int ky,
                             int mode) {
  return kel::guarded("kel_convolve2", [&](const char *fn) {
    return convolve2(fn, src, dst, weights, kx, ky, mode);
  });
}

KELKIT_API int kel_convolve_sep(const Image *src, Image *dst, const int *row_weights, int nrow,
                                const int *col_weights, int ncol, int shift, int mode) {
  return kel::guarded("kel_convolve_sep", [&](const char *fn) {
    return convolve_sep(fn, src, dst, row_weights, nrow, col_weights, ncol, shift, mode);
  });
}

KELKIT_API int kel_convolve_sep2(const Image *src, Image *dst, const float *row_weights, int nrow,
                                 const float *col_weights, int ncol, int mode) {
  return kel::guarded("kel_convolve_sep2", [&](const char *fn) {
    return convolve_sep2(fn, src, dst, row_weights, nrow, col_weights, ncol, mode);
  });
}

KELKIT_API int kel_convolve_line(const Image *src, Image *dst, const int *weights, int n,
                                 int vertical, int shift, int mode) {
  static const int one = 1;
  return kel::guarded("kel_convolve_line", [&](const char *fn) {
    return vertical ? convolve_sep(fn, src, dst, &one, 1, weights, n, shift, mode)
                    : convolve_sep(fn, src, dst, weights, n, &one, 1, shift, mode);
  });
}

KELKIT_API int kel_convolve_line2(const Image *src, Image *dst, const float *weights, int n,
                                  int vertical, int mode) {
  static const float one = 1.0f;
  return kel::guarded("kel_convolve_line2", [&](const char *fn) {
    return vertical ? convolve_sep2(fn, src, dst, &one, 1, weights, n, mode)
                    : convolve_sep2(fn, src, dst, weights, n, &one, 1, mode);
  });
}

}  // extern "C"
