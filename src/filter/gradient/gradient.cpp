// Gradient operators on every pixel type: Sobel, Prewitt, Roberts, Kirsch
// (eight compass directions and their maximum), Laplace with four and eight
// neighbours, first and second differences; and gradient magnitude and
// direction images. BYTE and WORD sources are filtered in exact integer
// arithmetic (float holds every sum of these small kernels exactly), FLOAT
// sources in float.
#include <cmath>
#include <numbers>
#include <vector>

#include "filter/convolve/convolve_engine.hpp"
#include "filter/kernel_table.hpp"
#include "kelkit/convolve.h"

namespace {

namespace nb = kel::nb;
using kel::Area;

struct Named {
  int kx, ky;
  int w[9];
};

// The single kernels, in the order of enum KelGradient. Every x gradient
// takes right minus left and every y gradient bottom minus top.
const Named kNamed[] = {
    {3, 3, {-1, 0, 1, -2, 0, 2, -1, 0, 1}},  // Sobel x
    {3, 3, {-1, -2, -1, 0, 0, 0, 1, 2, 1}},  // Sobel y
    {3, 3, {-1, 0, 1, -1, 0, 1, -1, 0, 1}},  // Prewitt x
    {3, 3, {-1, -1, -1, 0, 0, 0, 1, 1, 1}},  // Prewitt y
    {2, 2, {1, 0, 0, -1}},                   // Roberts a: p(x, y) - p(x+1, y+1)
    {2, 2, {0, 1, -1, 0}},                   // Roberts b: p(x+1, y) - p(x, y+1)
    {3, 3, {0, 1, 0, 1, -4, 1, 0, 1, 0}},    // Laplace, 4 neighbours
    {3, 3, {1, 1, 1, 1, -8, 1, 1, 1, 1}},    // Laplace, 8 neighbours
    {2, 1, {-1, 1}},                         // first difference in x
    {1, 2, {-1, 1}},                         // first difference in y
    {3, 1, {1, -2, 1}},                      // second difference in x
    {1, 3, {1, -2, 1}},                      // second difference in y
};
constexpr int kNamedCount = sizeof(kNamed) / sizeof(kNamed[0]);
static_assert(kNamedCount == KEL_GRAD_KIRSCH_0);

// The kernels of one gradient operation (one, two for a pair, eight for
// the Kirsch maximum).
struct Kernels {
  std::vector<std::vector<float>> w;
  int kx = 3, ky = 3;
};

Kernels kernels_of(int op) {
  Kernels k;
  auto add_named = [&](int i) {
    k.kx = kNamed[i].kx;
    k.ky = kNamed[i].ky;
    k.w.emplace_back(kNamed[i].w, kNamed[i].w + k.kx * k.ky);
  };
  auto add_kirsch = [&](int d) {
    const KelKernel3x3 &t = kel::filter::kernel_table[kel::filter::kKirsch0 + d];
    k.w.push_back({float(t.k0), float(t.k1), float(t.k2), float(t.k3), float(t.k4), float(t.k5),
                   float(t.k6), float(t.k7), float(t.k8)});
  };
  if (op >= 0 && op < kNamedCount)
    add_named(op);
  else if (op >= KEL_GRAD_KIRSCH_0 && op <= KEL_GRAD_KIRSCH_7)
    add_kirsch(op - KEL_GRAD_KIRSCH_0);
  else if (op == KEL_GRAD_KIRSCH_MAX)
    for (int d = 0; d < 8; ++d)
      add_kirsch(d);
  return k;
}

// The x and y members of the pair that `op` names, or none.
Kernels pair_of(int op) {
  int x = -1;
  if (op == KEL_GRAD_SOBEL_X || op == KEL_GRAD_SOBEL_Y) x = KEL_GRAD_SOBEL_X;
  if (op == KEL_GRAD_PREWITT_X || op == KEL_GRAD_PREWITT_Y) x = KEL_GRAD_PREWITT_X;
  if (op == KEL_GRAD_ROBERTS_A || op == KEL_GRAD_ROBERTS_B) x = KEL_GRAD_ROBERTS_A;
  if (op == KEL_GRAD_DIFF_X || op == KEL_GRAD_DIFF_Y) x = KEL_GRAD_DIFF_X;
  Kernels k;
  if (x < 0) return k;
  k = kernels_of(x);
  Kernels y = kernels_of(x + 1);
  // The first differences differ in shape: both become 2 x 2 kernels with
  // the anchor at the top left.
  if (x == KEL_GRAD_DIFF_X) {
    k.w = {{-1, 1, 0, 0}, {-1, 0, 1, 0}};
    k.kx = k.ky = 2;
    return k;
  }
  k.w.push_back(y.w[0]);
  return k;
}

// Calls out(y, responses) for every row: the responses of all kernels at
// each pixel of row y, in arithmetic float (exact for integer sources).
template <class S, class Out>
void respond(const Image *src, Area a, const Kernels &k, Out &&out) {
  const nb::Span sx = nb::span_of(k.kx), sy = nb::span_of(k.ky);
  nb::RowRing<float> ring(a.dx + k.kx - 1, a.dy, k.ky);
  auto fill = [&](float *r, int y) { nb::pad_row<S, float>(src, y, a.dx, sx, r); };
  std::vector<std::vector<float>> acc(k.w.size(), std::vector<float>(a.dx));
  std::vector<const float *> res(k.w.size());
  for (int y = 0; y < a.dy; ++y) {
    for (std::size_t i = 0; i < k.w.size(); ++i) {
      nb::accumulate(
          nb::Kernel<float>{k.w[i].data(), k.kx, k.ky}, a.dx,
          [&](int j) { return ring.get(y - sy.before + j, fill); }, acc[i].data());
      res[i] = acc[i].data();
    }
    out(y, res.data());
  }
}

template <class S, class D>
void gradient(const Image *src, Image *dst, Area a, const Kernels &k, nb::Mode m) {
  respond<S>(src, a, k, [&](int y, const float *const *r) {
    D *o = kel::row<D>(dst, y);
    for (int x = 0; x < a.dx; ++x) {
      float v = r[0][x];
      for (std::size_t i = 1; i < k.w.size(); ++i)
        v = std::max(v, r[i][x]);
      if constexpr (std::is_same_v<S, float>)
        o[x] = nb::store_real<D>(v, m);
      else
        o[x] = nb::store_int<D>(static_cast<std::int64_t>(v), m);
    }
  });
}

// A direction in degrees, 0 <= deg < 360, coded for a pixel type.
template <class D>
D direction_code(double deg) {
  if constexpr (std::is_same_v<D, float>) {
    return static_cast<float>(deg);
  } else {
    const double levels = std::is_same_v<D, std::uint8_t> ? 256.0 : 36000.0;
    const long v = std::lround(deg * levels / 360.0);
    return static_cast<D>(v % static_cast<long>(levels));
  }
}

template <class S, class M, class D>
void polar(const Image *src, Image *mag, Image *dir, Area a, const Kernels &k) {
  respond<S>(src, a, k, [&](int y, const float *const *r) {
    M *mo = mag ? kel::row<M>(mag, y) : nullptr;
    D *dout = dir ? kel::row<D>(dir, y) : nullptr;
    for (int x = 0; x < a.dx; ++x) {
      const double gx = r[0][x], gy = r[1][x];
      if (mo) mo[x] = nb::saturate<M>(std::sqrt(gx * gx + gy * gy));
      if (dout) {
        // Counter-clockwise from the x axis with y pointing up.
        double deg = (gx == 0 && gy == 0) ? 0.0 : std::atan2(-gy, gx) * (180.0 / std::numbers::pi);
        if (deg < 0) deg += 360.0;
        if (deg >= 360.0) deg -= 360.0;
        dout[x] = direction_code<D>(deg);
      }
    }
  });
}

int check_types(const char *fn, const Image *src, const Image *dst) {
  if (!nb::supported_type(src->type) || !nb::supported_type(dst->type))
    return kel::fail(fn, KEL_ERR_TYPE, "Unsupported pixel type");
  if (dst->type != src->type && dst->type != FLOAT)
    return kel::fail(fn, KEL_ERR_TYPE_MISMATCH, "Destination must have the source's type or FLOAT");
  return KEL_OK;
}

}  // namespace

extern "C" {

KELKIT_API int kel_gradient2(const Image *src, Image *dst, int op, int mode) {
  return kel::guarded("kel_gradient2", [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, src, dst)) return e;
    if (op < 0 || op > KEL_GRAD_KIRSCH_MAX) return nb::unknown_operation(fn);
    if (int e = check_types(fn, src, dst)) return e;
    const Kernels k = kernels_of(op);
    Area a = kel::common_area(src, dst);
    if (int e = nb::need_window(fn, a, k.kx, k.ky)) return e;
    nb::Source s(src, dst, a, true);
    nb::with_source_and_destination(src->type, dst->type, [&]<class S, class D>() {
      gradient<S, D>(s.get(), dst, a, k, nb::mode_of(mode));
    });
    return KEL_OK;
  });
}

KELKIT_API int kel_gradient_polar2(const Image *src, Image *magnitude, Image *direction, int op) {
  return kel::guarded("kel_gradient_polar2", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, src)) return e;
    if (!magnitude && !direction) return kel::need_image(fn, magnitude);
    const Kernels k = pair_of(op);
    if (k.w.size() != 2) return nb::unknown_operation(fn);
    if (magnitude)
      if (int e = check_types(fn, src, magnitude)) return e;
    if (direction && !nb::supported_type(direction->type))
      return kel::fail(fn, KEL_ERR_TYPE, "Unsupported pixel type");
    Area a = kel::area_of(src);
    if (magnitude) a = kel::common_area(src, magnitude);
    if (direction) a = {std::min(a.dx, direction->dx), std::min(a.dy, direction->dy)};
    if (int e = nb::need_window(fn, a, k.kx, k.ky)) return e;
    // A copy of the source when either output shares its pixels.
    const Image *target = magnitude && nb::share_pixels(src, magnitude)
                              ? magnitude
                              : (direction ? direction : magnitude);
    nb::Source s(src, target, a);
    const unsigned mtype = magnitude ? magnitude->type : unsigned(FLOAT);
    const unsigned dtype = direction ? direction->type : unsigned(FLOAT);
    kel::with_pixel_type(src->type, 0, [&]<class S>() {
      return kel::with_pixel_type(mtype == src->type ? src->type : unsigned(FLOAT), 0,
                                  [&]<class M>() {
                                    return kel::with_pixel_type(dtype, 0, [&]<class D>() {
                                      polar<S, M, D>(s.get(), magnitude, direction, a, k);
                                      return 0;
                                    });
                                  });
    });
    return KEL_OK;
  });
}

}  // extern "C"
