// Label records: counting, lookup, deletion and the field accessors.
#include <cstdlib>

#include "frame/call.hpp"
#include "measure/label/label_internal.hpp"

extern "C" {

KELKIT_API unsigned int kel_label_count(const LabelRecord *list) {
  unsigned n = 0;
  kel::label::for_each(list, [&](const LabelRecord &) { ++n; });
  return n;
}

KELKIT_API LabelRecord *kel_label_find(const LabelRecord *list, int x, int y,
                                       unsigned int labelval) {
  const LabelRecord *found = nullptr;
  // Negative coordinates lie in no box (box coordinates are unsigned).
  if (x < 0 || y < 0) return nullptr;
  const auto ux = static_cast<unsigned>(x), uy = static_cast<unsigned>(y);
  kel::label::for_each(list, [&](const LabelRecord &r) {
    if (!found && r.labelval == labelval && r.bxmin <= ux && ux <= r.bxmax && r.bymin <= uy &&
        uy <= r.bymax)
      found = &r;
  });
  return const_cast<LabelRecord *>(found);
}

KELKIT_API LabelRecord *kel_label_delete(LabelRecord *head, LabelRecord *record) {
  return kel::guarded_value<LabelRecord *>(
      "kel_label_delete", nullptr, [&](const char *fn) -> LabelRecord * {
        if (kel::label::need_list(fn, head) || kel::label::need_list(fn, record)) return nullptr;
        LabelRecord *prev = record->prev, *next = record->next;
        if (prev) prev->next = next;
        if (next) next->prev = prev;
        std::free(record);
        if (prev) return head;
        return next;  // the record was the head: its successor takes over
      });
}

KELKIT_API void kel_label_delete_list(LabelRecord *head) {
  if (!head) return;
  if (head->prev) {
    head->prev->next = nullptr;  // also ends a ring before head
    head->prev = nullptr;
  }
  while (head) {
    LabelRecord *next = head->next;
    std::free(head);
    head = next;
  }
}

#define KEL_LABEL_GETTER(field)                                              \
  KELKIT_API unsigned int kel_label_get_##field(const LabelRecord *record) { \
    return record ? record->field : 0u;                                      \
  }

KEL_LABEL_GETTER(labelval)
KEL_LABEL_GETTER(xstart)
KEL_LABEL_GETTER(ystart)
KEL_LABEL_GETTER(bxmin)
KEL_LABEL_GETTER(bymin)
KEL_LABEL_GETTER(bxmax)
KEL_LABEL_GETTER(bymax)
KEL_LABEL_GETTER(touches)
KEL_LABEL_GETTER(mark)
KEL_LABEL_GETTER(uflag)

#undef KEL_LABEL_GETTER

KELKIT_API void kel_label_set_mark(LabelRecord *record, unsigned int value) {
  if (record) record->mark = value;
}

KELKIT_API void kel_label_set_uflag(LabelRecord *record, unsigned int value) {
  if (record) record->uflag = value;
}

KELKIT_API float kel_label_get_measure(const LabelRecord *record, int index) {
  if (!record || index < 0 || index > KEL_LABEL_TOUCHES_SLOT) return 0.0f;
  return kel::label::read_slot(*record, index);
}

}  // extern "C"
