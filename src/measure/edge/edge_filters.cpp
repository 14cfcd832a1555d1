// Edge-enhancement filters, in place: the difference of two box sums taken
// rows apart (horizontal edges) or columns apart (vertical edges), scaled by
// a shift, offset, optionally negated or folded, and clamped to the pixel
// range. kel_horizontal_edge_byte, kel_vertical_edge_byte and the typed
// kel_horizontal_edge, kel_vertical_edge.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <type_traits>
#include <vector>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "kelkit/edge.h"

namespace {

using kel::row;

struct Params {
  int separation, size, shift, offset, mode;
};

// n rounded down to even.
constexpr int even_floor(int n) {
  return n & ~1;
}

// Box sums need more range than the pixels: BYTE sums of up to 257 pixels fit
// 16 bits (the fast case), WORD sums are kept in 64 bits, FLOAT in double.
template <class T, bool Wide>
using sum_t =
    std::conditional_t<std::is_same_v<T, float>, double,
                       std::conditional_t<std::is_same_v<T, std::uint16_t>, std::int64_t,
                                          std::conditional_t<Wide, std::int32_t, std::uint16_t>>>;

// Sums of `size` consecutive pixels starting at j = 0 .. n - 1. Small sizes add
// whole shifted rows, which vectorises; larger ones keep a running sum.
template <class T, class Sum>
void box_sums(const T *p, int n, int size, Sum *s) {
  constexpr int kDirect = 16;
  if (n <= 0) return;
  if (size <= kDirect) {
    for (int j = 0; j < n; ++j)
      s[j] = Sum(p[j]);
    for (int t = 1; t < size; ++t)
      for (int j = 0; j < n; ++j)
        s[j] = Sum(s[j] + Sum(p[j + t]));
    return;
  }
  Sum acc = 0;
  for (int t = 0; t < size; ++t)
    acc = Sum(acc + Sum(p[t]));
  s[0] = acc;
  for (int j = 1; j < n; ++j) {
    acc = Sum(acc + Sum(p[j + size - 1]) - Sum(p[j - 1]));
    s[j] = acc;
  }
}

template <int Mode, class V>
inline V apply_mode(V v) {
  if constexpr (Mode == 2) return -v;
  if constexpr (Mode == 3) return v < 0 ? -v : v;
  return v;
}

// The output stage: dst[j] = clamp(mode(shift(a[j] - b[j]) + offset)).
template <class T, class Sum>
class Writer {
 public:
  explicit Writer(const Params &p) : p_(p) {
    if constexpr (std::is_same_v<T, float>) {
      scale_ = std::ldexp(1.0, std::clamp(p.shift, -1000, 1000));
    } else {
      left_ = p.shift > 0 ? p.shift : 0;
      right_ = p.shift < 0 ? std::min(-(long long)p.shift, 63LL) : 0;
      // The 32-bit loop is exact while the largest shifted difference plus
      // the offset stays within int.
      const long long bound = (long long)std::numeric_limits<T>::max() * p.size;
      const long long room = std::numeric_limits<int>::max() - std::llabs(p.offset);
      fast_ = left_ <= 30 && bound <= (room >> left_);
    }
  }

  void operator()(const Sum *a, const Sum *b, int n, T *dst) const {
    switch (p_.mode) {
      case 2:
        return run<2>(a, b, n, dst);
      case 3:
        return run<3>(a, b, n, dst);
      default:
        return run<0>(a, b, n, dst);
    }
  }

 private:
  template <int Mode>
  void run(const Sum *a, const Sum *b, int n, T *dst) const {
    if constexpr (std::is_same_v<T, float>) {
      for (int j = 0; j < n; ++j) {
        double v = (double(a[j]) - double(b[j])) * scale_ + p_.offset;
        dst[j] = float(apply_mode<Mode>(v));
      }
    } else if (fast_) {
      const int hi = std::numeric_limits<T>::max(), off = p_.offset;
      const unsigned left = unsigned(left_);
      const int right = int(std::min(right_, 31LL));  // int >> 31 is already 0 or -1
      for (int j = 0; j < n; ++j) {
        int v = int(a[j]) - int(b[j]);
        v = int(unsigned(v) << left) >> right;
        v = apply_mode<Mode>(v + off);
        dst[j] = T(v < 0 ? 0 : v > hi ? hi : v);
      }
    } else {
      for (int j = 0; j < n; ++j)
        dst[j] = T(exact<Mode>((long long)a[j] - (long long)b[j]));
    }
  }

  // 64-bit form for large shifts and sizes. A shifted value beyond 2^40
  // decides the clamp by its sign alone, so it is held there.
  template <int Mode>
  long long exact(long long v) const {
    constexpr long long big = 1LL << 40;
    if (left_ > 0) {
      const int l = std::min(left_, 40);
      v = v > (big >> l) ? big : v < -(big >> l) ? -big : v * (1LL << l);
    } else {
      v >>= right_;
    }
    v = apply_mode<Mode>(v + p_.offset);
    return std::clamp<long long>(v, 0, std::numeric_limits<T>::max());
  }

  Params p_;
  double scale_ = 1.0;
  int left_ = 0;
  long long right_ = 0;
  bool fast_ = false;
};

// Horizontal edges. A ring of separation + 2 row sums is filled top to
// bottom; once row k + separation + 1 is summed, row k + (separation + 2) / 2
// is written. That row was summed already and every row still to be read
// lies below it, so the update in place never reads a written pixel.
template <class T, class Sum>
void horizontal_kernel(Image *img, const Params &p) {
  const int span = p.separation + 2, gap = p.separation + 1;
  const int n = img->dx - even_floor(p.size);
  const int out_rows = img->dy - even_floor(span);
  if (n <= 0 || out_rows <= 0) return;
  std::vector<Sum> ring(std::size_t(span) * std::size_t(n));
  auto slot = [&](int r) { return ring.data() + std::size_t(r % span) * std::size_t(n); };
  const Writer<T, Sum> write(p);
  const int last = out_rows - 1 + gap;
  for (int t = 0; t <= last; ++t) {
    box_sums(row<const T>(img, t), n, p.size, slot(t));
    const int k = t - gap;
    if (k >= 0) write(slot(k), slot(t), n, row<T>(img, k + span / 2) + p.size / 2);
  }
}

// Vertical edges. Column sums over `size` rows move down one row at a time;
// a ring keeps the original values of those rows, because the row written at
// each step lies inside the window and is subtracted again later.
template <class T, class Sum>
void vertical_kernel(Image *img, const Params &p) {
  const int dx = img->dx, span = p.separation + 2, gap = p.separation + 1;
  const int out_rows = img->dy - even_floor(p.size);
  const int n = dx - even_floor(span);
  if (n <= 0 || out_rows <= 0) return;
  std::vector<T> ring(std::size_t(p.size) * std::size_t(dx));
  std::vector<Sum> col(std::size_t(dx), Sum(0));
  auto slot = [&](int r) { return ring.data() + std::size_t(r % p.size) * std::size_t(dx); };
  auto enter = [&](int r) {
    const T *src = row<const T>(img, r);
    T *keep = slot(r);
    for (int c = 0; c < dx; ++c) {
      keep[c] = src[c];
      col[c] = Sum(col[c] + Sum(src[c]));
    }
  };
  for (int r = 0; r < p.size; ++r)
    enter(r);
  const Writer<T, Sum> write(p);
  for (int r = 0; r < out_rows; ++r) {
    if (r > 0) {
      const T *old = slot(r - 1);
      for (int c = 0; c < dx; ++c)
        col[c] = Sum(col[c] - Sum(old[c]));
      enter(r + p.size - 1);
    }
    write(col.data() + gap, col.data(), n, row<T>(img, r + p.size / 2) + span / 2);
  }
}

// The checks and the dispatch shared by the four filters. The _byte forms
// check the type before the size (code 13), the typed forms after it (6).
int edge_filter(const char *fn, Image *img, const Params &p, bool vertical, bool byte_only) {
  if (int e = kel::need_image(fn, img)) return e;
  if (byte_only)
    if (int e = kel::need_type(fn, BYTE, img)) return e;
  const long long span = (long long)p.separation + 2;
  const bool small =
      vertical ? (img->dx < span || img->dy < p.size) : (img->dx < p.size || img->dy < span);
  if (small) return kel::fail(fn, KEL_ERR_AREA_SMALL, "Area too small!");
  if (!byte_only && img->type != BYTE && img->type != WORD && img->type != FLOAT)
    return kel::fail(fn, KEL_ERR_TYPE, "Images must be BYTE, WORD or FLOAT");
  if (span < 2) return kel::fail(fn, KEL_ERR_ARGUMENT, "separation < 0");
  if (p.size < 1) return kel::fail(fn, KEL_ERR_ARGUMENT, "size < 1");
  const bool wide = p.size > 257;
  return kel::with_pixel_type(img->type, int(KEL_ERR_TYPE), [&]<class T>() -> int {
    auto run = [&]<class Sum>() {
      if (vertical)
        vertical_kernel<T, Sum>(img, p);
      else
        horizontal_kernel<T, Sum>(img, p);
    };
    if (wide)
      run.template operator()<sum_t<T, true>>();
    else
      run.template operator()<sum_t<T, false>>();
    return KEL_OK;
  });
}

}  // namespace

extern "C" KELKIT_API int kel_horizontal_edge_byte(Image *img, int separation, int size, int shift,
                                                   int offset, int mode) {
  return kel::guarded("kel_horizontal_edge_byte", [&](const char *fn) {
    return edge_filter(fn, img, {separation, size, shift, offset, mode}, false, true);
  });
}

extern "C" KELKIT_API int kel_vertical_edge_byte(Image *img, int separation, int size, int shift,
                                                 int offset, int mode) {
  return kel::guarded("kel_vertical_edge_byte", [&](const char *fn) {
    return edge_filter(fn, img, {separation, size, shift, offset, mode}, true, true);
  });
}

extern "C" KELKIT_API int kel_horizontal_edge(Image *img, int separation, int size, int shift,
                                              int offset, int mode) {
  return kel::guarded("kel_horizontal_edge", [&](const char *fn) {
    return edge_filter(fn, img, {separation, size, shift, offset, mode}, false, false);
  });
}

extern "C" KELKIT_API int kel_vertical_edge(Image *img, int separation, int size, int shift,
                                            int offset, int mode) {
  return kel::guarded("kel_vertical_edge", [&](const char *fn) {
    return edge_filter(fn, img, {separation, size, shift, offset, mode}, true, false);
  });
}
