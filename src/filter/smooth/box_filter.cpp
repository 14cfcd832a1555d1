// Mean (box) filter of any size: running column sums down the image and a
// running sum across each row, so the cost per pixel does not depend on the
// window. BYTE and WORD sums are exact integers and the mean is rounded
// half up by an exact multiply-high division; FLOAT sums are doubles.
#include <cstdint>
#include <vector>

#include "filter/plane/neighbourhood.hpp"
#include "filter/plane/row_kernels.hpp"
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

// Column sums: 16 bits hold 255 rows of BYTE pixels; row sums need 32.
template <class T>
using ColumnSum =
    std::conditional_t<std::is_same_v<T, float>, double,
                       std::conditional_t<sizeof(T) == 1, std::uint16_t, std::uint32_t>>;
template <class T>
using RowSum = std::conditional_t<std::is_same_v<T, float>, double, std::uint32_t>;

// Running sums of k columns across a row: sums[x] = col[x] + .. +
// col[x + k - 1]. The differences between neighbouring sums are formed over
// the whole row at once; the sums then follow as four interleaved prefix
// sums over four stretches of the row, each started from its own full sum,
// so that the additions do not wait for each other.
template <class C, class S>
void running_sums(const C *col, int w, int k, S *sums, S *diff) {
  if constexpr (std::is_same_v<C, std::uint16_t>)
    rows::sum_steps_u16(col, w, k, diff);
  else if constexpr (std::is_same_v<C, std::uint32_t>)
    rows::sum_steps_u32(col, w, k, diff);
  else
    for (int x = 1; x < w; ++x)
      diff[x] = static_cast<S>(col[x + k - 1]) - static_cast<S>(col[x - 1]);
  constexpr int kRuns = 4;
  const int len = (w + kRuns - 1) / kRuns;
  S s[kRuns];
  for (int r = 0; r < kRuns; ++r) {
    const int start = std::min(w - 1, r * len);
    s[r] = 0;
    for (int i = 0; i < k; ++i)
      s[r] += col[start + i];
  }
  // Stretch r covers r * len .. r * len + len - 1; the last may be shorter.
  const int last = w - (kRuns - 1) * len;  // length of the last stretch
  S *o0 = sums, *o1 = sums + len, *o2 = sums + 2 * len, *o3 = sums + 3 * len;
  const S *d0 = diff, *d1 = diff + len, *d2 = diff + 2 * len, *d3 = diff + 3 * len;
  S s0 = s[0], s1 = s[1], s2 = s[2], s3 = s[3];
  if (last > 0) {
    o0[0] = s0, o1[0] = s1, o2[0] = s2, o3[0] = s3;
    for (int i = 1; i < last; ++i) {
      o0[i] = s0 += d0[i];
      o1[i] = s1 += d1[i];
      o2[i] = s2 += d2[i];
      o3[i] = s3 += d3[i];
    }
    for (int i = std::max(last, 1); i < len; ++i) {
      o0[i] = s0 += d0[i];
      o1[i] = s1 += d1[i];
      o2[i] = s2 += d2[i];
    }
  } else {
    // Fewer than four stretches of `len` fill the row: one plain pass.
    sums[0] = s0;
    for (int x = 1; x < w; ++x)
      sums[x] = s0 += diff[x];
  }
}

}  // namespace

template <class T>
void box_filter(const Image *src, Image *dst, Area a, int kx, int ky) {
  using C = ColumnSum<T>;
  using S = RowSum<T>;
  const Span sx = span_of(kx), sy = span_of(ky);
  const int w = a.dx, h = a.dy;
  std::vector<C> col(static_cast<std::size_t>(w) + kx - 1, C(0));
  std::vector<S> sums(w), diff(w);
  C *mid = col.data() + sx.before;
  // The sums of the first window's rows, then each step down adds the row
  // that enters and removes the row that leaves.
  for (int j = -sy.before; j <= sy.after; ++j) {
    const T *p = row<const T>(src, std::clamp(j, 0, h - 1));
    for (int x = 0; x < w; ++x)
      mid[x] = static_cast<C>(mid[x] + p[x]);
  }
  const std::uint32_t n = static_cast<std::uint32_t>(kx) * static_cast<std::uint32_t>(ky);
  const Divider divide(n);
  // Means of integer sums below 2^24 take the vector division.
  const bool small =
      !std::is_same_v<T, float> && (static_cast<double>(top_of<T>()) + 1) * n < 16777216.0;
  for (int y = 0; y < h; ++y) {
    if (y > 0) {
      const T *in = row<const T>(src, std::min(y + sy.after, h - 1));
      const T *out = row<const T>(src, std::max(y - 1 - sy.before, 0));
      if constexpr (std::is_same_v<T, std::uint8_t>)
        rows::slide_column_u8(mid, in, out, w);
      else if constexpr (std::is_same_v<T, std::uint16_t>)
        rows::slide_column_u16(mid, in, out, w);
      else
        for (int x = 0; x < w; ++x)
          mid[x] += static_cast<double>(in[x]) - out[x];
    }
    for (int i = 0; i < sx.before; ++i)
      col[i] = mid[0];
    for (int i = 0; i < sx.after; ++i)
      mid[w + i] = mid[w - 1];
    running_sums(col.data(), w, kx, sums.data(), diff.data());
    T *out = row<T>(dst, y);
    if constexpr (std::is_same_v<T, float>) {
      for (int x = 0; x < w; ++x)
        out[x] = static_cast<float>(sums[x] / n);
    } else if (small) {
      if constexpr (sizeof(T) == 1)
        rows::divide_u8(sums.data(), w, n, out);
      else
        rows::divide_u16(sums.data(), w, n, out);
    } else {
      for (int x = 0; x < w; ++x)
        out[x] = static_cast<T>(divide(std::uint64_t(sums[x]) + n / 2));
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
