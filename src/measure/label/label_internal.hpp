// Internals shared by the label sources: list walks, measure slot access and
// the process-wide step metrics.
#pragma once

#include <cstring>

#include "frame/call.hpp"
#include "kelkit/label.h"

namespace kel::label {

// Calls f(record) for every record from `head` along next, stopping at null
// or when next comes back to head (a ring is walked once). f may not unlink
// the record it is given.
template <class Record, class F>
void for_each(Record *head, F &&f) {
  for (Record *r = head; r;) {
    Record *next = r->next;
    f(*r);
    r = next == head ? nullptr : next;
  }
}

// Code 10 "Measure index" unless 0 <= index <= 10.
inline int need_index(const char *fn, int index) {
  return index >= 0 && index <= KEL_LABEL_TOUCHES_SLOT
             ? KEL_OK
             : fail(fn, KEL_ERR_ARGUMENT, "Measure index");
}

// Code 18 for a null list or record.
inline int need_list(const char *fn, const void *list) {
  return list ? KEL_OK : fail(fn, KEL_ERR_NULL_LABELS, "Label list is NULL");
}

// measure[index] for index 0..9; index 10 is the touches word read as the
// bit pattern of a float. The index must be valid.
inline float read_slot(const LabelRecord &r, int index) {
  if (index < KEL_LABEL_MEASURES) return r.measure[index];
  float v;
  std::memcpy(&v, &r.touches, sizeof v);
  return v;
}

inline void write_slot(LabelRecord &r, int index, float v) {
  if (index < KEL_LABEL_MEASURES)
    r.measure[index] = v;
  else
    std::memcpy(&r.touches, &v, sizeof v);
}

// The step lengths of the perimeter trace, as one consistent snapshot.
struct Metrics {
  float mx;
  float my;
  float diagonal;
};

Metrics metrics();

}  // namespace kel::label
