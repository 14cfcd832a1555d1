// The step metrics and the perimeter trace of labelled objects.
//
// The trace follows the outer boundary clockwise (y down) from the object's
// first pixel with the chain-code rule of the blob tracer: directions 0..7
// are E, SE, S, SW, W, NW, N, NE; the first direction is S; each step takes
// the first qualifying neighbour among seven directions starting two steps
// counter-clockwise of the current one, (d + 6) mod 8 onwards, so
// (d + 5) mod 8 is never looked at.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <mutex>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "measure/label/label_internal.hpp"

namespace kel::label {

namespace {

// The process-wide step lengths. The lock keeps a reader from seeing half
// of an update; the library still asks callers not to change the metrics
// while traces run.
std::mutex metrics_lock;
Metrics current_metrics{1.0f, 1.0f, 1.41421354f};

constexpr int kStepX[8] = {1, 1, 0, -1, -1, -1, 0, 1};
constexpr int kStepY[8] = {0, 1, 1, 1, 0, -1, -1, -1};

// The rectangle a trace may visit: the record's bounding box cut to the
// image, so a record that does not belong to the image never leads outside
// its pixels.
struct Window {
  std::int64_t x0, y0, x1, y1;
  bool contains(std::int64_t x, std::int64_t y) const {
    return x >= x0 && x <= x1 && y >= y0 && y <= y1;
  }
  std::uint64_t area() const {
    return x1 < x0 || y1 < y0
               ? 0
               : static_cast<std::uint64_t>(x1 - x0 + 1) * static_cast<std::uint64_t>(y1 - y0 + 1);
  }
};

int trace(const char *fn, const Image *image, LabelRecord &rec, int index) {
  const Metrics m = metrics();
  const Window w{rec.bxmin, rec.bymin, std::min<std::int64_t>(rec.bxmax, image->dx - 1),
                 std::min<std::int64_t>(rec.bymax, image->dy - 1)};
  const std::int64_t sx = rec.xstart, sy = rec.ystart;
  auto qualifies = [&](std::int64_t x, std::int64_t y) {
    return w.contains(x, y) && *pixel<const std::uint8_t>(image, static_cast<int>(x),
                                                          static_cast<int>(y)) == rec.labelval;
  };
  // A closed trace passes each (pixel, direction) state at most once, so a
  // longer one circles without reaching the first pixel.
  const std::uint64_t limit = 8 * w.area() + 8;
  std::int64_t x = sx, y = sy;
  int d = 2;
  float length = 0.0f;
  for (std::uint64_t steps = 0;; ++steps) {
    int next = -1;
    for (int i = 6; i <= 12 && next < 0; ++i) {
      const int dir = (d + i) & 7;
      if (qualifies(x + kStepX[dir], y + kStepY[dir])) next = dir;
    }
    if (next < 0) {
      if (steps > 0) return fail(fn, KEL_ERR_NOT_FOUND, "Perimeter search");
      warn(fn, KEL_ERR_EMPTY, "Single pixel object");
      write_slot(rec, index, 1.0f);
      return KEL_OK;
    }
    switch (next) {
      case 0:
      case 4:
        length += m.mx;
        break;
      case 2:
      case 6:
        length += m.my;
        break;
      case 1:
      case 3:
      case 5:
      case 7:
        length += m.diagonal;
        break;
      default:
        return fail(fn, KEL_ERR_NOT_FOUND, "Perimeter search");
    }
    d = next;
    x += kStepX[d];
    y += kStepY[d];
    if (x == sx && y == sy) break;
    if (steps >= limit) return fail(fn, KEL_ERR_NOT_FOUND, "Perimeter search");
  }
  write_slot(rec, index, length);
  return KEL_OK;
}

int perimeter(const char *fn, Image *image, LabelRecord *rec, int index) {
  if (int e = need_image(fn, image)) return e;
  if (!rec) return fail(fn, KEL_ERR_NULL_LABELS, "Label record is NULL");
  if (int e = need_index(fn, index)) return e;
  if (int e = need_type(fn, BYTE, image)) return e;
  return trace(fn, image, *rec, index);
}

int perimeter_list(const char *fn, Image *image, LabelRecord *list, int index) {
  if (int e = need_image(fn, image)) return e;
  if (int e = need_list(fn, list)) return e;
  if (index > KEL_LABEL_TOUCHES_SLOT) return fail(fn, KEL_ERR_ARGUMENT, "Measure index");
  if (int e = need_type(fn, BYTE, image)) return e;
  int first = KEL_OK;
  for_each(list, [&](LabelRecord &r) {
    const int e = kel_label_perimeter(image, &r, index);
    if (!first) first = e;
  });
  return first;
}

}  // namespace

Metrics metrics() {
  std::lock_guard<std::mutex> hold(metrics_lock);
  return current_metrics;
}

}  // namespace kel::label

extern "C" {

KELKIT_API int kel_label_set_metrics(float mx, float my) {
  return kel::guarded("kel_label_set_metrics", [&](const char *fn) -> int {
    if (!(mx > 0.0f && my > 0.0f)) return kel::fail(fn, KEL_ERR_ARGUMENT, "Metric <= 0");
    std::lock_guard<std::mutex> hold(kel::label::metrics_lock);
    kel::label::current_metrics = {mx, my, std::sqrt(mx * mx + my * my)};
    return KEL_OK;
  });
}

KELKIT_API int kel_label_get_metrics(float *mx, float *my) {
  const kel::label::Metrics m = kel::label::metrics();
  if (mx) *mx = m.mx;
  if (my) *my = m.my;
  return KEL_OK;
}

KELKIT_API int kel_label_perimeter(Image *labelled, LabelRecord *record, int index) {
  return kel::guarded("kel_label_perimeter", [&](const char *fn) {
    return kel::label::perimeter(fn, labelled, record, index);
  });
}

KELKIT_API int kel_label_perimeter_list(Image *labelled, LabelRecord *list, int index) {
  return kel::guarded("kel_label_perimeter_list", [&](const char *fn) {
    return kel::label::perimeter_list(fn, labelled, list, index);
  });
}

}  // extern "C"
