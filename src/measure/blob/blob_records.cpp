// The blob records: parameters, results with their slot table and run
// buffers, point lists and tables of point lists. They are plain C records
// that the caller frees through the matching delete function, so they live
// in malloc memory.
#include <algorithm>
#include <cstdlib>

#include "frame/call.hpp"
#include "measure/blob/blob_internal.hpp"

static_assert(sizeof(BlobParams) == kel::blob::kParamsSize);
static_assert(sizeof(BlobRecord) == kel::blob::kRecordSize);
static_assert(sizeof(BlobRun) == 16);

namespace kel::blob {

namespace {

// calloc that never asks for zero bytes, so that a zero-length array is a
// valid pointer rather than a null that looks like a failure.
template <class T>
T *alloc_array(std::size_t n) {
  return static_cast<T *>(std::calloc(std::max<std::size_t>(n, 1), sizeof(T)));
}

void free_slots(BlobRecord **slots, unsigned n) {
  if (!slots) return;
  for (unsigned i = 0; i < n; ++i)
    std::free(slots[i]);
  std::free(slots);
}

void free_sets(PerimeterPointSet **sets, unsigned n) {
  if (!sets) return;
  for (unsigned i = 0; i < n; ++i)
    kel_delete_perim_struct(sets[i]);
  std::free(sets);
}

// A table of n point lists of `points` points each; null when memory is
// short (nothing is kept).
PerimeterPointSet **new_sets(unsigned n, unsigned points) {
  PerimeterPointSet **sets = alloc_array<PerimeterPointSet *>(n);
  if (!sets) return nullptr;
  for (unsigned i = 0; i < n; ++i) {
    sets[i] = kel_create_perim_struct(points);
    if (!sets[i]) {
      free_sets(sets, i);
      return nullptr;
    }
  }
  return sets;
}

// Stores a creation status where the caller asked for it.
void set_status(unsigned *status, int code) {
  if (status) *status = static_cast<unsigned>(code);
}

}  // namespace

BlobRecord *new_record() {
  BlobRecord *b = alloc_array<BlobRecord>(1);
  if (b) b->size = kRecordSize;
  return b;
}

bool grow_slots(BlobResults *r) {
  unsigned cap = r->capacity;
  double wanted = static_cast<double>(cap) * 1.2;
  unsigned next = wanted >= 4294967295.0 ? 0xFFFFFFFFu : static_cast<unsigned>(wanted);
  if (next <= cap) next = cap + 1;
  if (next <= cap) return false;  // the table cannot be counted any larger
  auto *table = static_cast<BlobRecord **>(std::realloc(r->blobs, sizeof(BlobRecord *) * next));
  if (!table) return false;
  r->blobs = table;
  for (; r->capacity < next; ++r->capacity) {
    BlobRecord *b = new_record();
    if (!b) return false;
    table[r->capacity] = b;
  }
  return true;
}

bool reserve_runs(BlobResults *r, unsigned runs) {
  if (r->run_capacity >= runs && r->runs_a && r->runs_b) return true;
  BlobRun *a = alloc_array<BlobRun>(runs);
  BlobRun *b = alloc_array<BlobRun>(runs);
  if (!a || !b) {
    std::free(a);
    std::free(b);
    return false;
  }
  std::free(r->runs_a);
  std::free(r->runs_b);
  r->runs_a = a;
  r->runs_b = b;
  r->run_capacity = runs;
  return true;
}

}  // namespace kel::blob

using kel::blob::alloc_array;

extern "C" {

KELKIT_API BlobParams *kel_blob_create_params(unsigned int *status) {
  auto *p = alloc_array<BlobParams>(1);
  if (!p) {
    kel::blob::set_status(status, KEL_ERR_NO_MEMORY);
    kel::fail("kel_blob_create_params", KEL_ERR_NO_MEMORY, "Out of memory");
    return nullptr;
  }
  p->size = kel::blob::kParamsSize;
  p->blob_color = 0;
  p->connected = 8;
  p->min_area = p->max_area = KEL_BLOB_UNSET;
  p->min_width = p->max_width = KEL_BLOB_UNSET;
  p->min_height = p->max_height = KEL_BLOB_UNSET;
  p->reserved = 2;
  kel::blob::set_status(status, KEL_OK);
  return p;
}

KELKIT_API void kel_blob_delete_params(BlobParams *params) {
  std::free(params);
}

KELKIT_API BlobResults *kel_blob_create_results(unsigned int max_blobs, unsigned int growable,
                                                unsigned int *status) {
  auto *r = alloc_array<BlobResults>(1);
  bool ok = r != nullptr;
  if (ok) {
    r->size = kel::blob::kResultsSize;
    r->growable = growable;
    r->blobs = alloc_array<BlobRecord *>(max_blobs);
    ok = r->blobs != nullptr;
    for (; ok && r->capacity < max_blobs; ++r->capacity) {
      r->blobs[r->capacity] = kel::blob::new_record();
      ok = r->blobs[r->capacity] != nullptr;
    }
    ok = ok && kel::blob::reserve_runs(r, kel::blob::kInitialRuns);
  }
  if (!ok) {
    kel_blob_delete_results(r);
    kel::blob::set_status(status, KEL_ERR_NO_MEMORY);
    kel::fail("kel_blob_create_results", KEL_ERR_NO_MEMORY, "Out of memory");
    return nullptr;
  }
  kel::blob::set_status(status, KEL_OK);
  return r;
}

KELKIT_API void kel_blob_delete_results(BlobResults *results) {
  if (!results) return;
  kel::blob::free_slots(results->blobs, results->capacity);
  std::free(results->runs_a);
  std::free(results->runs_b);
  std::free(results);
}

KELKIT_API PerimeterPointSet *kel_create_perim_struct(unsigned int capacity) {
  auto *s = alloc_array<PerimeterPointSet>(1);
  if (!s) return nullptr;
  s->x = alloc_array<int>(capacity);
  s->y = alloc_array<int>(capacity);
  if (!s->x || !s->y) {
    kel_delete_perim_struct(s);
    return nullptr;
  }
  s->capacity = capacity;
  return s;
}

KELKIT_API void kel_delete_perim_struct(PerimeterPointSet *set) {
  if (!set) return;
  std::free(set->x);
  std::free(set->y);
  std::free(set);
}

KELKIT_API PerimeterResults *kel_blob_perimeter_create_results(unsigned int max_sets,
                                                               unsigned int points_per_set,
                                                               unsigned int growable,
                                                               unsigned int *status) {
  auto *r = alloc_array<PerimeterResults>(1);
  PerimeterPointSet **sets = r ? kel::blob::new_sets(max_sets, points_per_set) : nullptr;
  if (!sets) {
    std::free(r);
    kel::blob::set_status(status, KEL_ERR_NO_MEMORY);
    kel::fail("kel_blob_perimeter_create_results", KEL_ERR_NO_MEMORY, "Out of memory");
    return nullptr;
  }
  r->capacity = max_sets;
  r->growable = growable;
  r->sets = sets;
  r->point_capacity = points_per_set;
  kel::blob::set_status(status, KEL_OK);
  return r;
}

KELKIT_API void kel_blob_perimeter_delete_results(PerimeterResults *perims) {
  if (!perims) return;
  kel::blob::free_sets(perims->sets, perims->capacity);
  std::free(perims);
}

}  // extern "C"

namespace kel::blob {

// Remakes a table of point lists with `n` lists of its initial point
// capacity; false (the old table kept) when memory is short.
bool remake_sets(PerimeterResults *perims, unsigned n) {
  PerimeterPointSet **sets = new_sets(n, perims->point_capacity);
  if (!sets) return false;
  free_sets(perims->sets, perims->capacity);
  perims->sets = sets;
  perims->capacity = n;
  return true;
}

}  // namespace kel::blob
