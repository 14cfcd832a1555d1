// Internals shared by the blob sources: record allocation and growth, and the
// boundary tracer used by the three tracing entry points.
#pragma once

#include <cstdint>

#include "kelkit/blob.h"

namespace kel::blob {

// Values written into the size fields of the records.
inline constexpr unsigned kParamsSize = 52;
inline constexpr unsigned kResultsSize = 120;
inline constexpr unsigned kRecordSize = 80;
inline constexpr unsigned kInitialRuns = 1024;

// Limits that stand in for an unset maximum.
inline constexpr std::int32_t kUnsetMaxExtent = 4096;
inline constexpr std::uint32_t kUnsetMaxArea = 2000000000u;

// A zeroed blob record with its size field set; null when memory is short.
BlobRecord *new_record();

// Grows the slot table to trunc(capacity * 1.2) slots, or by one slot when
// that would not grow it, allocating every new slot. Returns false when
// memory is short; slots already added are then counted in capacity.
bool grow_slots(BlobResults *r);

// Makes both run buffers hold at least `runs` runs. Returns false when memory
// is short, leaving the old buffers in place.
bool reserve_runs(BlobResults *r, unsigned runs);

// Remakes a table of point lists with `n` lists of its initial point
// capacity. Returns false when memory is short, keeping the old table.
bool remake_sets(PerimeterResults *perims, unsigned n);

// Traces the outer boundary of `blob` in a BYTE image into *set (see
// kel_blob_find_perimeter_points). Returns 0 or 4 without a report; on 4,
// *set is null.
int trace(const Image *image, const BlobRecord &blob, std::uint8_t value, PerimeterPointSet **set);

}  // namespace kel::blob
