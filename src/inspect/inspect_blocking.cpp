// Blocking regions of the inspection tool: the rectangle and circle lists,
// their accessors, and the per-box blocking bits derived from them.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "frame/call.hpp"
#include "inspect/inspect_record.hpp"

namespace kel::inspect {

namespace {

using i64 = std::int64_t;
using i128 = __int128;

bool blocks(i64 covered, i64 area, int coverage) {
  return coverage <= 0 ? covered > 0 : covered * 100 >= static_cast<i64>(coverage) * area;
}

// Largest u >= 0 with u*u*d2 <= r (r >= 0, d2 > 0).
i64 half_width(i128 r, i128 d2) {
  i64 u = static_cast<i64>(std::sqrt(static_cast<long double>(r) / static_cast<long double>(d2)));
  while (static_cast<i128>(u + 1) * (u + 1) * d2 <= r)
    ++u;
  while (u > 0 && static_cast<i128>(u) * u * d2 > r)
    --u;
  return u;
}

void mark_rect(const KelInspectRegion &r, const Grid &g, std::vector<std::uint8_t> &mask) {
  const i64 x0 = std::max<i64>(r.x, 0), x1 = std::min<i64>(i64{r.x} + r.dx, g.img_dx);
  const i64 y0 = std::max<i64>(r.y, 0), y1 = std::min<i64>(i64{r.y} + r.dy, g.img_dy);
  if (x0 >= x1 || y0 >= y1) return;
  for (int by = static_cast<int>(y0 / g.box_dy); by <= (y1 - 1) / g.box_dy; ++by) {
    for (int bx = static_cast<int>(x0 / g.box_dx); bx <= (x1 - 1) / g.box_dx; ++bx) {
      const i64 bx0 = g.box_x(bx), bx1 = bx0 + g.box_w(bx);
      const i64 by0 = g.box_y(by), by1 = by0 + g.box_h(by);
      const i64 covered =
          (std::min(x1, bx1) - std::max(x0, bx0)) * (std::min(y1, by1) - std::max(y0, by0));
      if (blocks(covered, (bx1 - bx0) * (by1 - by0), r.coverage))
        mask[static_cast<std::size_t>(by) * g.count_x + bx] |= 1;
    }
  }
}

// Counts the circle's pixels per box row by row: each row of the ellipse is
// one run of columns, split among the boxes it crosses.
void mark_circle(const KelInspectRegion &c, const Grid &g, std::vector<std::uint8_t> &mask,
                 std::vector<i64> &counts) {
  const i64 rx = c.dx, ry = c.dy;
  const i64 y0 = std::max<i64>(c.y - ry, 0), y1 = std::min<i64>(c.y + ry, g.img_dy - 1);
  const i64 xl = std::max<i64>(c.x - rx, 0), xr = std::min<i64>(c.x + rx, g.img_dx - 1);
  if (y0 > y1 || xl > xr) return;
  const int bx_first = static_cast<int>(xl / g.box_dx), bx_last = static_cast<int>(xr / g.box_dx);
  const int by_first = static_cast<int>(y0 / g.box_dy), by_last = static_cast<int>(y1 / g.box_dy);
  for (i64 y = y0; y <= y1; ++y) {
    const i64 v = y - c.y;
    const i64 u = half_width(static_cast<i128>(rx) * rx * (static_cast<i128>(ry) * ry - v * v),
                             static_cast<i128>(ry) * ry);
    const i64 a = std::max<i64>(c.x - u, 0), b = std::min<i64>(c.x + u, g.img_dx - 1);
    if (a > b) continue;
    const std::size_t row = static_cast<std::size_t>(y / g.box_dy) * g.count_x;
    for (i64 bx = a / g.box_dx; bx <= b / g.box_dx; ++bx) {
      const i64 bx0 = g.box_x(static_cast<int>(bx)), bx1 = bx0 + g.box_w(static_cast<int>(bx)) - 1;
      counts[row + bx] += std::min(b, bx1) - std::max(a, bx0) + 1;
    }
  }
  for (int by = by_first; by <= by_last; ++by) {
    for (int bx = bx_first; bx <= bx_last; ++bx) {
      const std::size_t at = static_cast<std::size_t>(by) * g.count_x + bx;
      if (blocks(counts[at], i64{g.box_w(bx)} * g.box_h(by), c.coverage)) mask[at] |= 2;
      counts[at] = 0;
    }
  }
}

}  // namespace

bool region_valid(const KelInspectRegion &r) {
  return r.dx >= 1 && r.dy >= 1 && r.coverage >= 0 && r.coverage <= 100;
}

std::vector<std::uint8_t> blocking_mask(const KelInspect &tool, const Grid &grid) {
  std::vector<std::uint8_t> mask(static_cast<std::size_t>(grid.boxes()), 0);
  if (grid.empty()) return mask;
  for (const KelInspectRegion &r : tool.rects)
    if (r.enabled) mark_rect(r, grid, mask);
  std::vector<i64> counts;
  for (const KelInspectRegion &c : tool.circles) {
    if (!c.enabled) continue;
    if (counts.empty()) counts.assign(mask.size(), 0);
    mark_circle(c, grid, mask, counts);
  }
  return mask;
}

}  // namespace kel::inspect

namespace {

using kel::inspect::region_valid;

void refresh(KelInspect *tool) {
  if (!tool->grid.empty()) tool->blocking = kel::inspect::blocking_mask(*tool, tool->grid);
}

std::vector<KelInspectRegion> &list_of(KelInspect *tool, int circular) {
  return circular ? tool->circles : tool->rects;
}

int add_region(const char *fn, KelInspect *tool, int circular, KelInspectRegion r) {
  return kel::guarded(fn, [&](const char *f) -> int {
    if (int e = kel::need_pointer(f, tool, "Inspection tool is NULL")) return e;
    if (!region_valid(r)) return kel::fail(f, KEL_ERR_RANGE, "Region size below 1");
    list_of(tool, circular).push_back(r);
    refresh(tool);
    return KEL_OK;
  });
}

int need_index(const char *fn, const std::vector<KelInspectRegion> &list, int index) {
  return index >= 0 && static_cast<std::size_t>(index) < list.size()
             ? KEL_OK
             : kel::fail(fn, KEL_ERR_ARGUMENT, "Region index");
}

}  // namespace

extern "C" {

KELKIT_API int kel_vela_inspect_add_block_rect(KelInspect *tool, int x, int y, int dx, int dy) {
  return add_region("kel_vela_inspect_add_block_rect", tool, 0, {x, y, dx, dy, 0, 1, 0});
}

KELKIT_API int kel_vela_inspect_add_block_circle(KelInspect *tool, int x, int y, int radius) {
  return add_region("kel_vela_inspect_add_block_circle", tool, 1, {x, y, radius, radius, 0, 1, 0});
}

KELKIT_API int kel_vela_inspect_get_bBlockingRectCount(const KelInspect *tool) {
  return tool ? static_cast<int>(tool->rects.size()) : 0;
}

KELKIT_API int kel_vela_inspect_get_bBlockingCircleRectCount(const KelInspect *tool) {
  return tool ? static_cast<int>(tool->circles.size()) : 0;
}

KELKIT_API int kel_vela_inspect_get_block_region(const KelInspect *tool, int circular, int index,
                                                 KelInspectRegion *region) {
  const char *fn = "kel_vela_inspect_get_block_region";
  if (int e = kel::need_pointer(fn, tool, "Inspection tool is NULL")) return e;
  if (int e = kel::need_pointer(fn, region, "Region is NULL")) return e;
  const auto &list = circular ? tool->circles : tool->rects;
  if (int e = need_index(fn, list, index)) return e;
  *region = list[static_cast<std::size_t>(index)];
  return KEL_OK;
}

KELKIT_API int kel_vela_inspect_set_block_region(KelInspect *tool, int circular, int index,
                                                 const KelInspectRegion *region) {
  const char *fn = "kel_vela_inspect_set_block_region";
  return kel::guarded(fn, [&](const char *f) -> int {
    if (int e = kel::need_pointer(f, tool, "Inspection tool is NULL")) return e;
    if (int e = kel::need_pointer(f, region, "Region is NULL")) return e;
    auto &list = list_of(tool, circular);
    if (int e = need_index(f, list, index)) return e;
    if (!region_valid(*region)) return kel::fail(f, KEL_ERR_RANGE, "Region size or coverage");
    list[static_cast<std::size_t>(index)] = *region;
    refresh(tool);
    return KEL_OK;
  });
}

KELKIT_API int kel_vela_inspect_remove_block_region(KelInspect *tool, int circular, int index) {
  const char *fn = "kel_vela_inspect_remove_block_region";
  return kel::guarded(fn, [&](const char *f) -> int {
    if (int e = kel::need_pointer(f, tool, "Inspection tool is NULL")) return e;
    auto &list = list_of(tool, circular);
    if (int e = need_index(f, list, index)) return e;
    list.erase(list.begin() + index);
    refresh(tool);
    return KEL_OK;
  });
}

KELKIT_API int kel_vela_inspect_clear_blocking(KelInspect *tool) {
  const char *fn = "kel_vela_inspect_clear_blocking";
  if (int e = kel::need_pointer(fn, tool, "Inspection tool is NULL")) return e;
  tool->rects.clear();
  tool->circles.clear();
  std::fill(tool->blocking.begin(), tool->blocking.end(), 0);
  return KEL_OK;
}

KELKIT_API int kel_vela_inspect_get_box_blocking(const KelInspect *tool, int bx, int by,
                                                 int *bits) {
  const char *fn = "kel_vela_inspect_get_box_blocking";
  if (bits) *bits = 0;
  if (int e = kel::need_pointer(fn, tool, "Inspection tool is NULL")) return e;
  if (int e = kel::need_pointer(fn, bits)) return e;
  const kel::inspect::Grid &g = tool->grid;
  if (g.empty()) return kel::fail(fn, KEL_ERR_NO_MODEL, "Nothing learned");
  if (bx < 0 || by < 0 || bx >= g.count_x || by >= g.count_y)
    return kel::fail(fn, KEL_ERR_ARGUMENT, "Box outside the grid");
  *bits = tool->blocking[static_cast<std::size_t>(by) * g.count_x + bx];
  return KEL_OK;
}

}  // extern "C"
