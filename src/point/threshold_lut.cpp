// The lookup table and the threshold family built on it: kel_lut,
// kel_threshold, kel_threshold_up, kel_threshold_down, kel_threshold_band,
// kel_dynthreshold.
#include <cstdint>
#include <cstring>

#include "frame/call.hpp"
#include "frame/processor.hpp"
#include "kelkit/stats.h"
#include "kelkit/threshold.h"
#include "point/lut_rows.hpp"

namespace {

// The checks every member shares, in order: null image, BYTE, not empty.
int need_byte_image(const char *fn, const Image *img) {
  if (int e = kel::need_image(fn, img)) return e;
  if (int e = kel::need_type(fn, BYTE, img)) return e;
  return kel::need_area(fn, kel::area_of(img));
}

// table[v] = v < t ? below : from.
void fill_step(std::uint8_t *table, int t, std::uint8_t below, std::uint8_t from) {
  std::memset(table, below, t);
  std::memset(table + t, from, 256 - t);
}

// Applies a table built by `build` (which fills 256 entries) after the
// shared checks; the table lives on the stack of the call.
template <class Build>
int map_with(const char *fn, Image *img, Build &&build) {
  return kel::guarded(fn, [&](const char *name) -> int {
    if (int e = need_byte_image(name, img)) return e;
    std::uint8_t table[256];
    build(table);
    kel::lut::apply(img, table);
    return KEL_OK;
  });
}

}  // namespace

extern "C" {

KELKIT_API int kel_lut(Image *img, const unsigned char table[256]) {
  return kel::guarded("kel_lut", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, img)) return e;
    if (int e = kel::need_pointer(fn, table, "table is NULL")) return e;
    if (int e = kel::need_type(fn, BYTE, img)) return e;
    if (int e = kel::need_area(fn, kel::area_of(img))) return e;
    kel::lut::apply(img, table);
    return KEL_OK;
  });
}

KELKIT_API int kel_threshold(Image *img, unsigned char t, unsigned char low, unsigned char high) {
  return kel::guarded("kel_threshold", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, img)) return e;
    // The switch is consulted (and so initialised) before the type check.
    bool mmx = kel::mmx_on();
    if (int e = need_byte_image(fn, img)) return e;
    // Processor-specific branch for black-and-white results: computes nothing.
    if (mmx && ((low == 0 && high == 255) || (low == 255 && high == 0))) return KEL_OK;
    std::uint8_t table[256];
    fill_step(table, t, low, high);
    kel::lut::apply(img, table);
    return KEL_OK;
  });
}

// Reports under its historical misspelled name, which callers match on.
KELKIT_API int kel_threshold_up(Image *img, unsigned char t, unsigned char value) {
  return map_with("kel_trhesold_up", img, [&](std::uint8_t *table) {
    for (int v = 0; v < 256; ++v)
      table[v] = v < t ? static_cast<std::uint8_t>(v) : value;
  });
}

KELKIT_API int kel_threshold_down(Image *img, unsigned char t, unsigned char value) {
  return map_with("kel_threshold_down", img, [&](std::uint8_t *table) {
    for (int v = 0; v < 256; ++v)
      table[v] = v < t ? value : static_cast<std::uint8_t>(v);
  });
}

KELKIT_API int kel_threshold_band(Image *img, unsigned char lo, unsigned char hi,
                                  unsigned char below, unsigned char inside, unsigned char above) {
  return map_with("kel_threshold_band", img, [&](std::uint8_t *table) {
    if (hi > lo) {
      // Both bounds belong to the outer classes.
      std::memset(table, below, lo + 1);
      std::memset(table + lo + 1, inside, hi - lo - 1);
      std::memset(table + hi, above, 256 - hi);
    } else {
      std::memset(table, 0, 256);
    }
  });
}

KELKIT_API int kel_dynthreshold(Image *img, unsigned int count) {
  return map_with("kel_dynthreshold", img, [&](std::uint8_t *table) {
    unsigned hist[256];
    kel_hist(img, hist);  // cannot fail: the image is a non-null BYTE image
    // The threshold is the first level, from 255 down to 1, at which the
    // pixels at or above it reach the count.
    int t = 0;
    std::uint32_t total = 0;
    for (int v = 255; v >= 1; --v) {
      total += hist[v];
      if (total >= count) {
        t = v;
        break;
      }
    }
    fill_step(table, t, 0, 255);
  });
}

}  // extern "C"
