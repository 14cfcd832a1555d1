// The frame shared by the 3x3 filters: their argument checks and the border
// rule that repeats the nearest computed pixels.
#pragma once

#include <cstdint>
#include <cstring>

#include "filter/filter_rows.hpp"
#include "frame/call.hpp"
#include "frame/pixels.hpp"

namespace kel::filter {

// Checks of a 3x3 filter from `src` into `dst`, reported under `fn` (the
// conditions after the null test carry no message); the first failure wins.
// On success `area` holds the common area, at least 3 by 3.
inline int check_3x3(const char *fn, const Image *src, const Image *dst, Area &area) {
  if (int e = need_images(fn, src, dst)) return e;
  area = common_area(src, dst);
  if (src == dst) return fail(fn, KEL_ERR_SAME_IMAGE);
  if (src->type != BYTE || dst->type != BYTE) return fail(fn, KEL_ERR_TYPE_MISMATCH);
  if (area.dx < 3 || area.dy < 3) return fail(fn, KEL_ERR_EMPTY);
  return KEL_OK;
}

// The source rows around row y (1 .. h - 2).
inline Rows rows_around(const Image *src, int y) {
  return {row<const std::uint8_t>(src, y - 1), row<const std::uint8_t>(src, y),
          row<const std::uint8_t>(src, y + 1)};
}

// After a row is computed: its first and last pixels repeat their neighbours.
inline void repeat_edge_columns(std::uint8_t *out, int w) {
  out[0] = out[1];
  out[w - 1] = out[w - 2];
}

// After all rows: row 0 repeats row 1 and row h - 1 repeats row h - 2.
inline void repeat_edge_rows(Image *dst, int w, int h) {
  std::memcpy(row<std::uint8_t>(dst, 0), row<const std::uint8_t>(dst, 1), w);
  std::memcpy(row<std::uint8_t>(dst, h - 1), row<const std::uint8_t>(dst, h - 2), w);
}

}  // namespace kel::filter
