// Mean (box) filter of any size: running column sums down the image and a
// running sum across each row, so the cost per pixel does not depend on the
// window. BYTE and WORD sums are exact integers and the mean is rounded
// half up by an exact multiply-high division; FLOAT sums are doubles.
#include <cstdint>
#include <vector>

#include "filter/plane/neighbourhood.hpp"
#include "filter/smooth/smooth.hpp"
#include "kelkit/convolve.h"

namespace kel::nb {

namespace {

// Exact division of 32-bit values by a fixed n >= 1: floor(t / n) as the
// high half of t * ceil(2^64 / n); the error stays below 2^-32, less than
// the distance 1/n of any non-integer quotient from the next integer.
class Divider {
 public:
  explicit Divider(std::uint32_t n) : n_(n), m_(n > 1 ? ~std::uint64_t(0) / n + 1 : 0) {}
  std::uint32_t operator()(std::uint64_t t) const {
    if (n_ == 1) return static_cast<std::uint32_t>(t);
    return static_cast<std::uint32_t>((static_cast<unsigned __int128>(t) * m_) >> 64);
  }

 private:
  std::uint32_t n_;
  std::uint64_t m_;
};

template <class T>
using Sum = std::conditional_t<std::is_same_v<T, float>, double, std::uint32_t>;

}  // namespace

template <class T>
void box_filter(const Image *src, Image *dst, Area a, int kx, int ky) {
  using S = Sum<T>;
  const Span sx = span_of(kx), sy = span_of(ky);
  const int w = a.dx, h = a.dy;
  std::vector<S> col(static_cast<std::size_t>(w) + kx - 1, S(0));
  S *mid = col.data() + sx.before;
  auto add_row = [&](int y, int sign) {
    const T *p = row<const T>(src, std::clamp(y, 0, h - 1));
    if (sign > 0)
      for (int x = 0; x < w; ++x)
        mid[x] += static_cast<S>(p[x]);
    else
      for (int x = 0; x < w; ++x)
        mid[x] -= static_cast<S>(p[x]);
  };
  for (int j = -sy.before; j <= sy.after; ++j)
    add_row(j, 1);
  const std::uint32_t n = static_cast<std::uint32_t>(kx) * static_cast<std::uint32_t>(ky);
  const Divider divide(n);
  for (int y = 0; y < h; ++y) {
    if (y > 0) {
      add_row(y + sy.after, 1);
      add_row(y - 1 - sy.before, -1);
    }
    for (int i = 0; i < sx.before; ++i)
      col[i] = mid[0];
    for (int i = 0; i < sx.after; ++i)
      mid[w + i] = mid[w - 1];
    S s = 0;
    for (int i = 0; i < kx - 1; ++i)
      s += col[i];
    T *out = row<T>(dst, y);
    for (int x = 0; x < w; ++x) {
      s += col[x + kx - 1];
      if constexpr (std::is_same_v<T, float>)
        out[x] = static_cast<float>(s / n);
      else
        out[x] = static_cast<T>(divide(std::uint64_t(s) + n / 2));
      s -= col[x];
    }
  }
}

template void box_filter<std::uint8_t>(const Image *, Image *, Area, int, int);
template void box_filter<std::uint16_t>(const Image *, Image *, Area, int, int);
template void box_filter<float>(const Image *, Image *, Area, int, int);

}  // namespace kel::nb

extern "C" KELKIT_API int kel_box_filter2(const Image *src, Image *dst, int kx, int ky) {
  return kel::guarded("kel_box_filter2", [&](const char *fn) -> int {
    namespace nb = kel::nb;
    if (int e = kel::need_images(fn, src, dst)) return e;
    if (int e = nb::need_one_type(fn, src, dst)) return e;
    if (kx < 1 || ky < 1 || kx > KEL_BOX_MAX || ky > KEL_BOX_MAX) return nb::bad_kernel(fn);
    kel::Area a = kel::common_area(src, dst);
    if (int e = nb::need_window(fn, a, kx, ky)) return e;
    nb::Source s(src, dst, a);
    kel::with_pixel_type(src->type, 0, [&]<class T>() {
      nb::box_filter<T>(s.get(), dst, a, kx, ky);
      return 0;
    });
    return KEL_OK;
  });
}
