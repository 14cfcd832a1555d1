// kel_label: raster scan for object pixels and the run-by-run fill that
// repaints each object with its label and measures it.
//
// The fill works on whole runs (maximal horizontal stretches of object
// pixels). A run is painted, its neighbour range is taken (the run itself
// under 4-connectivity, one column wider on each side under 8-connectivity)
// and every stretch of object pixels inside that range in the rows above and
// below is put on a work list kept on the heap. The runs an object consists
// of do not depend on the order in which they are reached, so neither do the
// area, the box or the border bits.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "measure/label/label_internal.hpp"

namespace kel::label {

namespace {

struct Seed {
  int x;
  int y;
};

class Filler {
 public:
  Filler(Image *image, std::uint8_t object, bool eight)
      : image_(image), object_(object), eight_(eight) {}

  // Paints the object that holds (x, y) with `label` and records its area,
  // box and border bits in `rec`, whose seed and box are (x, y).
  void fill(LabelRecord &rec, int x, int y, std::uint8_t label) {
    const int dx = image_->dx, last_row = image_->dy - 1;
    std::uint64_t area = 0;
    std::uint32_t touches = 0;
    int xmin = x, xmax = x, ymin = y, ymax = y;
    stack_.clear();
    stack_.push_back({x, y});
    while (!stack_.empty()) {
      const Seed s = stack_.back();
      stack_.pop_back();
      std::uint8_t *p = row<std::uint8_t>(image_, s.y);
      if (p[s.x] != object_) continue;  // painted since it was put on the list
      int left = s.x;                   // becomes the first column left of the run
      while (left >= 0 && p[left] == object_)
        p[left--] = label;
      int right = s.x + 1;  // becomes the first column right of the run
      while (right < dx && p[right] == object_)
        p[right++] = label;
      area += static_cast<std::uint64_t>(right - left - 1);

      ymin = std::min(ymin, s.y);
      ymax = std::max(ymax, s.y);
      if (s.y <= 0) touches |= KEL_LABEL_TOUCHES_TOP;
      if (s.y >= last_row) touches |= KEL_LABEL_TOUCHES_BOTTOM;
      xmin = std::min(xmin, left + 1);
      xmax = std::max(xmax, right - 1);

      // Neighbour range. The border bits follow the range, not the run, so
      // under 8-connectivity a run starting in column 1 or ending in column
      // dx - 2 also counts as touching the side.
      const int a = eight_ ? std::max(left, 0) : left + 1;
      const int b = eight_ ? std::min(right, dx - 1) : right - 1;
      if (a <= 0) touches |= KEL_LABEL_TOUCHES_LEFT;
      if (b >= dx - 1) touches |= KEL_LABEL_TOUCHES_RIGHT;

      if (s.y + 1 <= last_row) push_stretches(s.y + 1, a, b);
      if (s.y - 1 >= 0) push_stretches(s.y - 1, a, b);
    }
    rec.bxmin = static_cast<std::uint32_t>(xmin);
    rec.bxmax = static_cast<std::uint32_t>(xmax);
    rec.bymin = static_cast<std::uint32_t>(ymin);
    rec.bymax = static_cast<std::uint32_t>(ymax);
    rec.touches = touches;
    rec.measure[0] = static_cast<float>(area);
  }

 private:
  // Puts the first pixel of every stretch of object pixels within columns
  // a..b of row y on the work list; the rest of a stretch belongs to the
  // same run.
  void push_stretches(int y, int a, int b) {
    const std::uint8_t *p = row<const std::uint8_t>(image_, y);
    for (int c = a; c <= b; ++c) {
      if (p[c] != object_) continue;
      stack_.push_back({c, y});
      while (c < b && p[c + 1] == object_)
        ++c;
    }
  }

  Image *image_;
  std::uint8_t object_;
  bool eight_;
  std::vector<Seed> stack_;
};

// Owns the records made so far; frees them unless released.
class ListBuilder {
 public:
  ListBuilder() = default;
  ListBuilder(const ListBuilder &) = delete;
  ListBuilder &operator=(const ListBuilder &) = delete;
  ~ListBuilder() {
    while (head_) {
      LabelRecord *next = head_->next;
      std::free(head_);
      head_ = next;
    }
  }

  // A zeroed record appended at the tail; null when memory is short.
  LabelRecord *append() {
    auto *r = static_cast<LabelRecord *>(std::calloc(1, sizeof(LabelRecord)));
    if (!r) return nullptr;
    r->prev = tail_;
    (tail_ ? tail_->next : head_) = r;
    tail_ = r;
    ++count_;
    return r;
  }

  unsigned count() const { return count_; }
  LabelRecord *release() {
    tail_ = nullptr;
    count_ = 0;
    return std::exchange(head_, nullptr);
  }

 private:
  LabelRecord *head_ = nullptr;
  LabelRecord *tail_ = nullptr;
  unsigned count_ = 0;
};

// Code 10 for a label range or object value that labeling cannot use. The
// label values in use are first..last, or first alone when first > last;
// an object value among them would leave painted pixels looking unlabelled.
int check_values(const char *fn, int object_value, int first, int last) {
  if (first < 1 || first > 255 || last > 255)
    return fail(fn, KEL_ERR_ARGUMENT, "Label values not in 1..255");
  if (object_value == 0) return fail(fn, KEL_ERR_ARGUMENT, "Object value is 0");
  const bool in_range =
      first <= last ? first <= object_value && object_value <= last : object_value == first;
  if (in_range) return fail(fn, KEL_ERR_ARGUMENT, "Object value in label range");
  return KEL_OK;
}

LabelRecord *label(const char *fn, Image *image, int object_value, int connectivity, int first,
                   int last, unsigned *count) {
  if (need_image(fn, image) || need_type(fn, BYTE, image) ||
      check_values(fn, object_value, first, last))
    return nullptr;
  if (object_value < 0 || object_value > 255 || image->dx < 1 || image->dy < 1)
    return nullptr;  // no pixel can hold the value, or there is no pixel

  const auto object = static_cast<std::uint8_t>(object_value);
  Filler filler(image, object, connectivity == 8);
  ListBuilder list;
  int current = first;
  const int dx = image->dx;
  for (int y = 0; y < image->dy; ++y) {
    std::uint8_t *p = row<std::uint8_t>(image, y);
    for (int x = 0; x < dx; ++x) {
      const void *hit = std::memchr(p + x, object, static_cast<std::size_t>(dx - x));
      if (!hit) break;
      x = static_cast<int>(static_cast<const std::uint8_t *>(hit) - p);
      LabelRecord *rec = list.append();
      if (!rec) {
        fail(fn, KEL_ERR_NO_MEMORY, "Out of memory");
        return nullptr;
      }
      rec->labelval = static_cast<std::uint32_t>(current);
      rec->xstart = static_cast<std::uint32_t>(x);
      rec->ystart = static_cast<std::uint32_t>(y);
      filler.fill(*rec, x, y, static_cast<std::uint8_t>(current));
      current = current + 1 > last ? first : current + 1;
    }
  }
  if (count) *count = list.count();
  return list.release();
}

}  // namespace

}  // namespace kel::label

extern "C" {

KELKIT_API LabelRecord *kel_label(Image *image, int object_value, int connectivity, int first_label,
                                  int last_label, unsigned int *count) {
  if (count) *count = 0;
  return kel::guarded_value<LabelRecord *>(
      "kel_label", nullptr, [&](const char *fn) -> LabelRecord * {
        return kel::label::label(fn, image, object_value, connectivity, first_label, last_label,
                                 count);
      });
}

}  // extern "C"
