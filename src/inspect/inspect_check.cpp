// Recognition of the inspection tool: the deviating boxes of an image,
// joined into groups of touching boxes, and the results record with its
// accessors.
#include <algorithm>
#include <new>
#include <numeric>
#include <vector>

#include "frame/call.hpp"
#include "inspect/inspect_record.hpp"

namespace {

// Joins boxes that touch (also diagonally) into groups; fills each box's
// group index and returns the groups ordered by worst deviation, largest
// first (ties keep the raster order of their first box).
std::vector<KelInspectGroup> group_boxes(const kel::inspect::Grid &g,
                                         std::vector<KelInspectBox> &boxes) {
  std::vector<int> at(static_cast<std::size_t>(g.boxes()), -1);
  for (std::size_t i = 0; i < boxes.size(); ++i)
    at[static_cast<std::size_t>(boxes[i].box_y) * g.count_x + boxes[i].box_x] = static_cast<int>(i);

  std::vector<KelInspectGroup> groups;
  std::vector<int> stack;
  for (std::size_t seed = 0; seed < boxes.size(); ++seed) {
    if (boxes[seed].group >= 0) continue;
    const int id = static_cast<int>(groups.size());
    KelInspectGroup grp{};
    int x1 = 0, y1 = 0;
    grp.x = boxes[seed].x;
    grp.y = boxes[seed].y;
    boxes[seed].group = id;
    stack.assign(1, static_cast<int>(seed));
    while (!stack.empty()) {
      KelInspectBox &b = boxes[static_cast<std::size_t>(stack.back())];
      stack.pop_back();
      ++grp.box_count;
      grp.x = std::min(grp.x, b.x);
      grp.y = std::min(grp.y, b.y);
      x1 = std::max(x1, b.x + b.dx);
      y1 = std::max(y1, b.y + b.dy);
      if (b.deviation > grp.worst_deviation) {
        grp.worst_deviation = b.deviation;
        grp.worst_box_x = b.box_x;
        grp.worst_box_y = b.box_y;
        grp.worst_feature = b.feature;
      }
      for (int ny = std::max(b.box_y - 1, 0); ny <= std::min(b.box_y + 1, g.count_y - 1); ++ny) {
        for (int nx = std::max(b.box_x - 1, 0); nx <= std::min(b.box_x + 1, g.count_x - 1); ++nx) {
          const int j = at[static_cast<std::size_t>(ny) * g.count_x + nx];
          if (j >= 0 && boxes[static_cast<std::size_t>(j)].group < 0) {
            boxes[static_cast<std::size_t>(j)].group = id;
            stack.push_back(j);
          }
        }
      }
    }
    grp.dx = x1 - grp.x;
    grp.dy = y1 - grp.y;
    groups.push_back(grp);
  }

  std::vector<int> order(groups.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(), [&](int a, int b) {
    return groups[static_cast<std::size_t>(a)].worst_deviation >
           groups[static_cast<std::size_t>(b)].worst_deviation;
  });
  std::vector<int> rank(groups.size());
  std::vector<KelInspectGroup> sorted;
  sorted.reserve(groups.size());
  for (std::size_t r = 0; r < order.size(); ++r) {
    rank[static_cast<std::size_t>(order[r])] = static_cast<int>(r);
    sorted.push_back(groups[static_cast<std::size_t>(order[r])]);
  }
  for (KelInspectBox &b : boxes)
    b.group = rank[static_cast<std::size_t>(b.group)];
  return sorted;
}

}  // namespace

extern "C" {

KELKIT_API KelInspectResults *kel_vela_inspect_create_results(int *status) {
  if (status) *status = KEL_OK;
  KelInspectResults *r = new (std::nothrow) KelInspectResults();
  if (!r) {
    const int e = kel::fail("kel_vela_inspect_create_results", KEL_ERR_NO_MEMORY, "Out of memory");
    if (status) *status = e;
  }
  return r;
}

KELKIT_API int kel_vela_inspect_delete_results(KelInspectResults *results) {
  if (!results)
    return kel::fail("kel_vela_inspect_delete_results", KEL_ERR_ARGUMENT, "Results is NULL");
  delete results;
  return KEL_OK;
}

KELKIT_API int kel_vela_inspect_check(const KelInspect *tool, const Image *img,
                                      KelInspectResults *results) {
  if (results) {
    results->boxes.clear();
    results->groups.clear();
  }
  return kel::guarded("kel_vela_inspect_check", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, tool, "Inspection tool is NULL")) return e;
    if (int e = kel::need_image(fn, img)) return e;
    if (int e = kel::need_pointer(fn, results, "Results is NULL")) return e;
    if (tool->VectorCount < 2)
      return kel::fail(fn, KEL_ERR_NO_MODEL, "Fewer than two images learned");
    if (!kel::inspect::settings_match_grid(*tool))
      return kel::fail(fn, KEL_ERR_RANGE, "Settings changed since learning: reset first");
    if (img->dx != tool->grid.img_dx || img->dy != tool->grid.img_dy)
      return kel::fail(fn, KEL_ERR_SIZE, "Image size differs from the learned size");
    if (img->type != tool->pixel_type)
      return kel::fail(fn, KEL_ERR_TYPE_MISMATCH, "Pixel type differs from the learned images");
    std::vector<double> features;
    kel::inspect::box_features(img, tool->grid, features);
    std::vector<KelInspectBox> boxes = kel::inspect::deviating_boxes(*tool, features);
    std::vector<KelInspectGroup> groups = group_boxes(tool->grid, boxes);
    results->boxes = std::move(boxes);
    results->groups = std::move(groups);
    return KEL_OK;
  });
}

KELKIT_API int kel_vela_inspect_result_box_count(const KelInspectResults *results) {
  return results ? static_cast<int>(results->boxes.size()) : 0;
}

KELKIT_API int kel_vela_inspect_result_group_count(const KelInspectResults *results) {
  return results ? static_cast<int>(results->groups.size()) : 0;
}

KELKIT_API int kel_vela_inspect_result_group(const KelInspectResults *results, int index,
                                             KelInspectGroup *group) {
  const char *fn = "kel_vela_inspect_result_group";
  if (int e = kel::need_pointer(fn, results, "Results is NULL")) return e;
  if (int e = kel::need_pointer(fn, group, "Group is NULL")) return e;
  if (index < 0 || static_cast<std::size_t>(index) >= results->groups.size())
    return kel::fail(fn, KEL_ERR_ARGUMENT, "Group index");
  *group = results->groups[static_cast<std::size_t>(index)];
  return KEL_OK;
}

KELKIT_API int kel_vela_inspect_result_box(const KelInspectResults *results, int index,
                                           KelInspectBox *box) {
  const char *fn = "kel_vela_inspect_result_box";
  if (int e = kel::need_pointer(fn, results, "Results is NULL")) return e;
  if (int e = kel::need_pointer(fn, box, "Box is NULL")) return e;
  if (index < 0 || static_cast<std::size_t>(index) >= results->boxes.size())
    return kel::fail(fn, KEL_ERR_ARGUMENT, "Box index");
  *box = results->boxes[static_cast<std::size_t>(index)];
  return KEL_OK;
}

}  // extern "C"
