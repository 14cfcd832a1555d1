// Morphology of two-valued BYTE images: rectangles with every composition
// (the binary gradient among them), hit-or-miss, thinning to a one-pixel
// skeleton, and reconstruction with its two uses, filling holes and
// removing objects that touch the border. A pixel is object when it is not
// 0; results hold 255 for object and 0 for background.
#include <cstdint>
#include <vector>

#include "filter/binary/flood.hpp"
#include "filter/morphology/compose.hpp"
#include "kelkit/morphology.h"

namespace {

namespace nb = kel::nb;
using kel::Area;
using kel::row;
using Byte = std::uint8_t;

int need_bytes(const char *fn, const Image *a, const Image *b) {
  return a->type == BYTE && b->type == BYTE
             ? KEL_OK
             : kel::fail(fn, KEL_ERR_TYPE_MISMATCH, "BYTE images only");
}

// Object (255) or background (0) of every pixel of the area, as an image.
kel::ImagePtr binarised(const Image *src, Area a) {
  kel::ImagePtr b = kel::make_image(BYTE, a.dx, a.dy);
  if (!b) throw std::bad_alloc();
  for (int y = 0; y < a.dy; ++y) {
    const Byte *in = row<const Byte>(src, y);
    Byte *out = row<Byte>(b.get(), y);
    for (int x = 0; x < a.dx; ++x)
      out[x] = in[x] ? 255 : 0;
  }
  return b;
}

int morph_bin_rect(const char *fn, const Image *src, Image *dst, int op, int kx, int ky) {
  if (int e = kel::need_images(fn, src, dst)) return e;
  if (!nb::operation_ok(op)) return nb::unknown_operation(fn);
  if (int e = need_bytes(fn, src, dst)) return e;
  if (kx < 1 || ky < 1 || kx > KEL_MORPH_MAX || ky > KEL_MORPH_MAX)
    return nb::bad_kernel(fn, "Structuring element");
  const Area a = kel::common_area(src, dst);
  if (int e = nb::need_window(fn, a, kx, ky)) return e;
  kel::ImagePtr b = binarised(src, a);
  nb::compose(b.get(), dst, a, op, [&](const Image *s, Image *d, bool dilate) {
    nb::Span sx = nb::span_of(kx), sy = nb::span_of(ky);
    if (dilate)
      nb::extreme_rect<Byte, true>(s, d, a, sx.reflected(), sy.reflected());
    else
      nb::extreme_rect<Byte, false>(s, d, a, sx, sy);
  });
  return KEL_OK;
}

// Zhang-Suen thinning of the 0/1 plane `p` (with a frame of background one
// pixel wide) until no pixel changes.
void thin_plane(std::vector<Byte> &p, int w, int h) {
  const int pw = w + 2;
  std::vector<int> doomed;
  for (bool changed = true; changed;) {
    changed = false;
    for (int pass = 0; pass < 2; ++pass) {
      doomed.clear();
      for (int y = 1; y <= h; ++y)
        for (int x = 1; x <= w; ++x) {
          const int i = y * pw + x;
          if (!p[i]) continue;
          // Neighbours clockwise from north: P2 .. P9.
          const Byte n[8] = {p[i - pw], p[i - pw + 1], p[i + 1], p[i + pw + 1],
                             p[i + pw], p[i + pw - 1], p[i - 1], p[i - pw - 1]};
          int count = 0, rises = 0;
          for (int k = 0; k < 8; ++k) {
            count += n[k];
            rises += !n[k] && n[(k + 1) % 8];
          }
          if (count < 2 || count > 6 || rises != 1) continue;
          const bool keep = pass == 0 ? (n[0] && n[2] && n[4]) || (n[2] && n[4] && n[6])
                                      : (n[0] && n[2] && n[6]) || (n[0] && n[4] && n[6]);
          if (!keep) doomed.push_back(i);
        }
      for (int i : doomed)
        p[i] = 0;
      changed = changed || !doomed.empty();
    }
  }
}

}  // namespace

extern "C" {

KELKIT_API int kel_morph_bin_rect(const Image *src, Image *dst, int op, int kx, int ky) {
  return kel::guarded("kel_morph_bin_rect",
                      [&](const char *fn) { return morph_bin_rect(fn, src, dst, op, kx, ky); });
}
KELKIT_API int kel_erode_bin_rect(const Image *src, Image *dst, int kx, int ky) {
  return kel::guarded("kel_erode_bin_rect", [&](const char *fn) {
    return morph_bin_rect(fn, src, dst, KEL_MORPH_ERODE, kx, ky);
  });
}
KELKIT_API int kel_dilate_bin_rect(const Image *src, Image *dst, int kx, int ky) {
  return kel::guarded("kel_dilate_bin_rect", [&](const char *fn) {
    return morph_bin_rect(fn, src, dst, KEL_MORPH_DILATE, kx, ky);
  });
}

KELKIT_API int kel_hit_or_miss(const Image *src, Image *dst, const signed char *pattern, int kx,
                               int ky) {
  return kel::guarded("kel_hit_or_miss", [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, src, dst)) return e;
    if (!pattern) return kel::fail(fn, KEL_ERR_ARGUMENT, "pattern is NULL");
    if (int e = need_bytes(fn, src, dst)) return e;
    const bool sizes = kx >= 1 && ky >= 1 && kx <= KEL_SURF_MAX && ky <= KEL_SURF_MAX;
    if (!sizes ||
        std::none_of(pattern, pattern + kx * ky, [](signed char c) { return c == 0 || c == 1; }))
      return nb::bad_kernel(fn, "Pattern");
    const Area a = kel::common_area(src, dst);
    if (int e = nb::need_window(fn, a, kx, ky)) return e;
    nb::Source s(src, dst, a);
    const nb::Span sx = nb::span_of(kx), sy = nb::span_of(ky);
    nb::RowRing<Byte> ring(a.dx + kx - 1, a.dy, ky);
    auto fill = [&](Byte *r, int y) { nb::pad_row<Byte, Byte>(s.get(), y, a.dx, sx, r); };
    std::vector<Byte> match(a.dx);
    for (int y = 0; y < a.dy; ++y) {
      std::fill(match.begin(), match.end(), Byte(1));
      for (int j = 0; j < ky; ++j) {
        const Byte *r = ring.get(y - sy.before + j, fill);
        for (int i = 0; i < kx; ++i) {
          const signed char c = pattern[j * kx + i];
          if (c != 0 && c != 1) continue;
          const Byte *p = r + i;
          for (int x = 0; x < a.dx; ++x)
            match[x] &= (p[x] != 0) == (c == 1);
        }
      }
      Byte *out = row<Byte>(dst, y);
      for (int x = 0; x < a.dx; ++x)
        out[x] = match[x] ? 255 : 0;
    }
    return KEL_OK;
  });
}

KELKIT_API int kel_thin(const Image *src, Image *dst) {
  return kel::guarded("kel_thin", [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, src, dst)) return e;
    if (int e = need_bytes(fn, src, dst)) return e;
    const Area a = kel::common_area(src, dst);
    if (int e = kel::need_area(fn, a)) return e;
    const int pw = a.dx + 2;
    std::vector<Byte> p(static_cast<std::size_t>(pw) * (a.dy + 2), 0);
    for (int y = 0; y < a.dy; ++y) {
      const Byte *in = row<const Byte>(src, y);
      for (int x = 0; x < a.dx; ++x)
        p[(y + 1) * pw + x + 1] = in[x] != 0;
    }
    thin_plane(p, a.dx, a.dy);
    for (int y = 0; y < a.dy; ++y) {
      Byte *out = row<Byte>(dst, y);
      for (int x = 0; x < a.dx; ++x)
        out[x] = p[(y + 1) * pw + x + 1] ? 255 : 0;
    }
    return KEL_OK;
  });
}

KELKIT_API int kel_reconstruct(const Image *marker, const Image *mask, Image *dst) {
  return kel::guarded("kel_reconstruct", [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, marker, mask, dst)) return e;
    if (marker->type != BYTE || mask->type != BYTE || dst->type != BYTE)
      return kel::fail(fn, KEL_ERR_TYPE_MISMATCH, "BYTE images only");
    const Area a = kel::common_area(marker, mask, dst);
    if (int e = kel::need_area(fn, a)) return e;
    nb::Flood f(mask, a, true);
    for (int y = 0; y < a.dy; ++y) {
      const Byte *m = row<const Byte>(marker, y);
      for (int x = 0; x < a.dx; ++x)
        if (m[x]) f.seed(x, y);
    }
    f.spread(8);
    f.write(dst, [](bool in_set, bool reached) { return in_set && reached; });
    return KEL_OK;
  });
}

KELKIT_API int kel_fill_holes(const Image *src, Image *dst) {
  return kel::guarded("kel_fill_holes", [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, src, dst)) return e;
    if (int e = need_bytes(fn, src, dst)) return e;
    const Area a = kel::common_area(src, dst);
    if (int e = kel::need_area(fn, a)) return e;
    // Background reached from the border (4-connected, the complement of
    // 8-connected objects) stays background; every other pixel is object.
    nb::Flood f(src, a, false);
    f.seed_border();
    f.spread(4);
    f.write(dst, [](bool in_set, bool reached) { return !(in_set && reached); });
    return KEL_OK;
  });
}

KELKIT_API int kel_clear_border(const Image *src, Image *dst) {
  return kel::guarded("kel_clear_border", [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, src, dst)) return e;
    if (int e = need_bytes(fn, src, dst)) return e;
    const Area a = kel::common_area(src, dst);
    if (int e = kel::need_area(fn, a)) return e;
    nb::Flood f(src, a, true);
    f.seed_border();
    f.spread(8);
    f.write(dst, [](bool in_set, bool reached) { return in_set && !reached; });
    return KEL_OK;
  });
}

}  // extern "C"
