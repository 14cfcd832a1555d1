// List-wide measures over one slot of the label records: maximum, minimum,
// sum and range, the stable sort, and the histogram into a FLOAT image.
#include <algorithm>
#include <cmath>
#include <vector>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "measure/label/label_internal.hpp"

namespace kel::label {

namespace {

enum class Reduce { max, min, sum };

// Maximum, minimum or sum of a slot in single precision, in list order.
template <Reduce R>
float reduce(const char *fn, const LabelRecord *list, int index) {
  if (need_list(fn, list) || need_index(fn, index)) return 0.0f;
  float acc = R == Reduce::sum ? 0.0f : read_slot(*list, index);
  for_each(list, [&](const LabelRecord &r) {
    const float v = read_slot(r, index);
    if constexpr (R == Reduce::max) {
      if (v > acc) acc = v;
    } else if constexpr (R == Reduce::min) {
      if (v < acc) acc = v;
    } else {
      acc += v;
    }
  });
  return acc;
}

float range(const char *fn, const LabelRecord *list, int index, float *min, float *max) {
  if (min) *min = 0.0f;
  if (max) *max = 0.0f;
  if (need_list(fn, list) || need_index(fn, index)) return 0.0f;
  float lo = read_slot(*list, index), hi = lo, sum = 0.0f;
  for_each(list, [&](const LabelRecord &r) {
    const float v = read_slot(r, index);
    if (v < lo) lo = v;
    if (v > hi) hi = v;
    sum += v;
  });
  if (min) *min = lo;
  if (max) *max = hi;
  return sum;
}

// Stable sort on a slot. The result equals that of the insertion rule: a
// record moves towards the head while the value before it is larger
// (ascending) or smaller (descending). A NaN compares false both ways, so it
// never moves and nothing passes it: the stretches between NaNs are sorted
// on their own.
LabelRecord *sort(LabelRecord *head, int index, bool ascending) {
  std::vector<LabelRecord *> records;
  for_each(head, [&](LabelRecord &r) { records.push_back(&r); });
  LabelRecord *last = records.back();
  const bool ring = last->next == head;
  LabelRecord *before = ring ? nullptr : head->prev;

  auto precedes = [&](const LabelRecord *a, const LabelRecord *b) {
    const float va = read_slot(*a, index), vb = read_slot(*b, index);
    return ascending ? va < vb : va > vb;
  };
  auto begin = records.begin();
  while (begin != records.end()) {
    auto end = std::find_if(begin, records.end(),
                            [&](const LabelRecord *r) { return std::isnan(read_slot(*r, index)); });
    std::stable_sort(begin, end, precedes);
    begin = end == records.end() ? end : end + 1;
  }

  const std::size_t n = records.size();
  for (std::size_t i = 0; i < n; ++i) {
    records[i]->prev = i > 0 ? records[i - 1] : (ring ? records[n - 1] : before);
    records[i]->next = i + 1 < n ? records[i + 1] : (ring ? records[0] : nullptr);
  }
  if (before) before->next = records[0];
  return records[0];
}

int histogram(const char *fn, const LabelRecord *list, Image *hist, int index, float min, float max,
              int nbins) {
  if (int e = need_image(fn, hist)) return e;
  if (hist->type != FLOAT) return fail(fn, KEL_ERR_NEED_TYPE, "histogram array");
  if (!list) return fail(fn, KEL_ERR_NULL_IMAGE, "Label list is NULL");
  if (hist->dx < nbins || hist->dy < 1)
    return fail(fn, KEL_ERR_EMPTY, "Histogram narrower than the bin count");
  if (nbins < 1) return fail(fn, KEL_ERR_ARGUMENT, "Bin count");
  if (int e = need_index(fn, index)) return e;

  float *cells = row<float>(hist, 0);
  std::fill(cells, cells + hist->dx, 0.0f);
  const float top = static_cast<float>(nbins - 1);
  const float scale = top / (max - min);
  for_each(list, [&](const LabelRecord &r) {
    const float v = read_slot(r, index);
    if (!(min <= v && v <= max)) return;
    const float t = (v - min) * scale;
    // t is a number in 0..nbins - 1 except for a zero or infinite width
    // (NaN: the value is min) and rounding with very many bins.
    const int cell = t >= 0.0f ? static_cast<int>(std::min(t, top)) : 0;
    cells[cell] += 1.0f;
  });
  return KEL_OK;
}

}  // namespace

}  // namespace kel::label

extern "C" {

KELKIT_API float kel_label_measure_max(const LabelRecord *list, int index) {
  return kel::guarded_value("kel_label_measure_max", 0.0f, [&](const char *fn) {
    return kel::label::reduce<kel::label::Reduce::max>(fn, list, index);
  });
}

KELKIT_API float kel_label_measure_min(const LabelRecord *list, int index) {
  return kel::guarded_value("kel_label_measure_min", 0.0f, [&](const char *fn) {
    return kel::label::reduce<kel::label::Reduce::min>(fn, list, index);
  });
}

KELKIT_API float kel_label_measure_sum(const LabelRecord *list, int index) {
  return kel::guarded_value("kel_label_measure_sum", 0.0f, [&](const char *fn) {
    return kel::label::reduce<kel::label::Reduce::sum>(fn, list, index);
  });
}

KELKIT_API float kel_label_measure_range(const LabelRecord *list, int index, float *min,
                                         float *max) {
  return kel::guarded_value("kel_label_measure_range", 0.0f, [&](const char *fn) {
    return kel::label::range(fn, list, index, min, max);
  });
}

KELKIT_API LabelRecord *kel_label_measure_sort(LabelRecord *list, int index, int order) {
  // On a failure after the checks (out of memory) the list is as it was.
  return kel::guarded_value("kel_label_measure_sort", list, [&](const char *fn) -> LabelRecord * {
    if (kel::label::need_list(fn, list)) return nullptr;
    if (kel::label::need_index(fn, index)) return list;
    return kel::label::sort(list, index, order == 1);
  });
}

KELKIT_API int kel_label_measure_histogram(const LabelRecord *list, Image *histogram, int index,
                                           float min, float max, int nbins) {
  return kel::guarded("kel_label_measure_histogram", [&](const char *fn) {
    return kel::label::histogram(fn, list, histogram, index, min, max, nbins);
  });
}

}  // extern "C"
