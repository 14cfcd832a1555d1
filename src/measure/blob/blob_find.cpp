// kel_blob_find: one top-to-bottom pass over the rows as run-length
// segments. Each run of a row is linked with the touching runs of the row
// above; the first touching run gives it its blob, later ones close a loop
// (same blob) or merge another blob into it. Then the limits drop blobs, the
// table is compacted and the coordinates are converted.
#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <vector>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "measure/blob/blob_internal.hpp"

namespace kel::blob {

namespace {

// The two pixel values of a blob image, as bytes and replicated into words.
struct Values {
  std::uint8_t background;
  std::uint8_t object;
  std::uint64_t background8;
  std::uint64_t object8;
};

inline std::uint64_t load8(const std::uint8_t *p) {
  std::uint64_t w;
  std::memcpy(&w, p, sizeof w);
  return w;
}

// First position from x on (up to n) whose pixel differs from `v`, testing a
// word of eight pixels at a time and then single pixels.
inline int skip_value(const std::uint8_t *p, int x, int n, std::uint8_t v, std::uint64_t v8) {
  while (x + 8 <= n) {
    std::uint64_t diff = load8(p + x) ^ v8;
    if (diff) {
      if constexpr (std::endian::native == std::endian::little)
        return x + (std::countr_zero(diff) >> 3);
      break;
    }
    x += 8;
  }
  while (x < n && p[x] == v)
    ++x;
  return x;
}

// The runs of object pixels of one row of n pixels, left to right, into
// `runs` (room for n / 2 + 1). Returns their number, or -1 when a pixel is
// neither the background nor the object value.
int extract_runs(const std::uint8_t *p, int n, const Values &v, BlobRun *runs) {
  int count = 0;
  int x = 0;
  for (;;) {
    x = skip_value(p, x, n, v.background, v.background8);
    if (x >= n) return count;
    if (p[x] != v.object) return -1;
    int start = x;
    x = skip_value(p, x, n, v.object, v.object8);
    runs[count++] = {static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(x - 1), -1, 0};
  }
}

// Sum of the column indices cs .. ce, in 32-bit arithmetic.
inline std::uint32_t column_sum(std::uint32_t cs, std::uint32_t ce) {
  return ((ce + 1) * ce - (cs - 1) * cs) / 2;
}

// The scan state of one find. `parent` maps a merged blob to the blob it was
// merged into, so that runs still naming it reach the survivor.
class Scanner {
 public:
  Scanner(BlobResults *r, int allowance) : r_(r), allowance_(allowance) {
    parent_.reserve(r->capacity);
  }

  // Links the runs `cur` of row y with the runs `prev` of the row above.
  // Returns 0, 101 (table full) or 4 (out of memory).
  int link_row(BlobRun *prev, int np, BlobRun *cur, int nc, std::uint32_t y) {
    int ip = 0;
    for (int ic = 0; ic < nc; ++ic) {
      BlobRun &c = cur[ic];
      const int cs = static_cast<int>(c.start), ce = static_cast<int>(c.end);
      // Runs of the row above that end too far left touch neither this run
      // nor any later one.
      while (ip < np && static_cast<int>(prev[ip].end) - cs < allowance_)
        ++ip;
      int a = -1;
      for (int k = ip; k < np && ce - static_cast<int>(prev[k].start) >= allowance_; ++k) {
        BlobRun &p = prev[k];
        const int b = find(p.blob);
        p.blob = b;
        const int ps = static_cast<int>(p.start), pe = static_cast<int>(p.end);
        const auto o = static_cast<std::uint32_t>(
            std::min({std::min(ce - ps, pe - cs) + 1, pe - ps + 1, ce - cs + 1}));
        if (a < 0) {
          join(*r_->blobs[b], c, y, o);
          a = b;
        } else if (b == a) {
          BlobRecord &blob = *r_->blobs[a];
          blob.perim -= 2 * o;
          blob.holes += 1;
        } else {
          merge(*r_->blobs[a], *r_->blobs[b], o);
          parent_[b] = a;
        }
      }
      if (a < 0) {
        a = static_cast<int>(r_->num_found);
        if (int e = start_blob(c, y)) return e;
      }
      c.blob = a;
    }
    return KEL_OK;
  }

 private:
  int find(int b) {
    while (parent_[b] != b) {
      parent_[b] = parent_[parent_[b]];
      b = parent_[b];
    }
    return b;
  }

  static void add_run(BlobRecord &blob, const BlobRun &c, std::uint32_t y) {
    const std::uint32_t len = c.end - c.start + 1;
    blob.area += len;
    blob.sumy += len * y;
    blob.sumx += column_sum(c.start, c.end);
  }

  // Run c joins `blob` under a touching run of `o` shared columns.
  static void join(BlobRecord &blob, const BlobRun &c, std::uint32_t y, std::uint32_t o) {
    blob.xmin = std::min(blob.xmin, c.start);
    blob.xmax = std::max(blob.xmax, c.end);
    blob.ymax = y;
    add_run(blob, c, y);
    blob.perim += 2 * (c.end - c.start + 1 - o) + 2;
  }

  // Blob b is merged into blob a where two runs share `o` columns.
  static void merge(BlobRecord &a, BlobRecord &b, std::uint32_t o) {
    a.xmin = std::min(a.xmin, b.xmin);
    a.ymin = std::min(a.ymin, b.ymin);
    a.xmax = std::max(a.xmax, b.xmax);
    a.ymax = std::max(a.ymax, b.ymax);
    if (b.yfirst < a.yfirst || (b.yfirst == a.yfirst && b.xfirst < a.xfirst)) {
      a.xfirst = b.xfirst;
      a.yfirst = b.yfirst;
    }
    a.area += b.area;
    a.sumx += b.sumx;
    a.sumy += b.sumy;
    a.holes += b.holes;
    a.perim = a.perim + b.perim - 2 * o;
    b.deleted = 1;
  }

  // A run that touched nothing starts a blob in the next free slot.
  int start_blob(const BlobRun &c, std::uint32_t y) {
    if (r_->num_found >= r_->capacity) {
      if (!r_->growable) return KEL_ERR_BLOB_FULL;
      if (!grow_slots(r_)) return KEL_ERR_NO_MEMORY;
    }
    BlobRecord &blob = *r_->blobs[r_->num_found];
    blob.xmin = c.start;
    blob.xmax = c.end;
    blob.ymin = blob.ymax = y;
    blob.area = blob.sumx = blob.sumy = 0;
    add_run(blob, c, y);
    blob.perim = 2 * (c.end - c.start + 1) + 2;
    blob.xfirst = c.start;
    blob.yfirst = y;
    blob.holes = 0;
    blob.deleted = 0;
    parent_.push_back(static_cast<int>(r_->num_found));
    ++r_->num_found;
    return KEL_OK;
  }

  BlobResults *r_;
  int allowance_;
  std::vector<int> parent_;
};

// Marks the blobs outside [lo, hi] of `measure` as deleted.
template <class T, class Measure>
void reject_outside(BlobResults *r, T lo, T hi, Measure measure) {
  for (unsigned i = 0; i < r->num_found; ++i) {
    BlobRecord &b = *r->blobs[i];
    if (b.deleted) continue;
    T m = measure(b);
    if (m < lo || m > hi) b.deleted = 1;
  }
}

void apply_limits(const BlobParams *p, BlobResults *r) {
  // Width and height compare as signed values; an unset maximum is 4096.
  auto extent_limits = [&](unsigned min, unsigned max, auto measure) {
    if (min == KEL_BLOB_UNSET && max == KEL_BLOB_UNSET) return;
    std::int32_t lo = min == KEL_BLOB_UNSET ? 0 : static_cast<std::int32_t>(min);
    std::int32_t hi = max == KEL_BLOB_UNSET ? kUnsetMaxExtent : static_cast<std::int32_t>(max);
    reject_outside(r, lo, hi, measure);
  };
  extent_limits(p->min_width, p->max_width,
                [](const BlobRecord &b) { return static_cast<std::int32_t>(b.xmax - b.xmin + 1); });
  extent_limits(p->min_height, p->max_height,
                [](const BlobRecord &b) { return static_cast<std::int32_t>(b.ymax - b.ymin + 1); });
  if (p->min_area != KEL_BLOB_UNSET || p->max_area != KEL_BLOB_UNSET) {
    std::uint32_t lo = p->min_area == KEL_BLOB_UNSET ? 0 : p->min_area;
    std::uint32_t hi = p->max_area == KEL_BLOB_UNSET ? kUnsetMaxArea : p->max_area;
    reject_outside(r, lo, hi, [](const BlobRecord &b) { return b.area; });
  }
}

// Fills the places of deleted blobs with the last kept blobs of the table,
// then counts the kept blobs at its head.
void compact(BlobResults *r) {
  BlobRecord **s = r->blobs;
  if (r->num_found > 0) {
    unsigned i = 0, j = r->num_found - 1;
    while (i < j) {
      if (s[i]->deleted) {
        while (j > i && s[j]->deleted)
          --j;
        if (j == i) break;
        std::swap(s[i], s[j]);
      }
      ++i;
    }
  }
  unsigned kept = 0;
  while (kept < r->num_found && !s[kept]->deleted)
    ++kept;
  r->num_found = kept;
}

void finish(BlobResults *r) {
  for (unsigned i = 0; i < r->num_found; ++i) {
    BlobRecord &b = *r->blobs[i];
    b.xcent = static_cast<double>(b.sumx) / b.area;
    b.ycent = static_cast<double>(b.sumy) / b.area;
    b.width = b.xmax - b.xmin + 1;
    b.height = b.ymax - b.ymin + 1;
  }
}

void convert_coordinates(const Image *image, BlobResults *r, unsigned coords) {
  const bool to_master = !(coords & KEL_BLOB_COORDS_IMAGE) && image->master;
  const std::uint32_t ox = to_master ? static_cast<std::uint32_t>(image->x0) : 0;
  const std::uint32_t oy = to_master ? static_cast<std::uint32_t>(image->y0) : 0;
  const bool flip = coords & KEL_BLOB_COORDS_Y_UP;
  const std::uint32_t h = static_cast<std::uint32_t>(to_master ? image->master->dy : image->dy);
  for (unsigned i = 0; i < r->num_found; ++i) {
    BlobRecord &b = *r->blobs[i];
    if (to_master) {
      b.xmin += ox;
      b.xmax += ox;
      b.xfirst += ox;
      b.xcent += ox;
      b.ymin += oy;
      b.ymax += oy;
      b.yfirst += oy;
      b.ycent += oy;
    }
    if (flip) {
      b.ymin = h - b.ymin;
      b.ymax = h - b.ymax;
      b.yfirst = h - b.yfirst;
      b.ycent = static_cast<double>(h) - b.ycent;
    }
  }
}

int find_blobs(const char *fn, Image *image, BlobParams *params, BlobResults *r, unsigned coords) {
  const int dx = std::max(image->dx, 0);
  if (!reserve_runs(r, static_cast<unsigned>(dx / 2 + 1)))
    return fail(fn, KEL_ERR_NO_MEMORY, "Out of memory");

  Values v;
  v.object = params->blob_color == 255 ? 255 : 0;
  v.background = 255 - v.object;
  v.background8 = 0x0101010101010101ull * v.background;
  v.object8 = 0x0101010101010101ull * v.object;
  params->background_byte = v.background;
  params->object_byte = v.object;
  params->background_word = 0x01010101u * v.background;
  params->object_word = 0x01010101u * v.object;

  r->num_found = 0;
  Scanner scan(r, params->connected == 8 ? -1 : 0);
  BlobRun *prev = r->runs_b, *cur = r->runs_a;
  int np = 0;
  for (int y = 0; y < image->dy; ++y) {
    int nc = extract_runs(row<const std::uint8_t>(image, y), dx, v, cur);
    if (nc < 0) return fail(fn, KEL_ERR_BLOB_SEARCH, "Image must hold only 0 and 255");
    if (int e = scan.link_row(prev, np, cur, nc, static_cast<std::uint32_t>(y))) {
      return fail(fn, e,
                  e == KEL_ERR_BLOB_FULL ? "Blob table full (not growable)" : "Out of memory");
    }
    std::swap(prev, cur);
    np = nc;
  }

  apply_limits(params, r);
  compact(r);
  finish(r);
  convert_coordinates(image, r, coords);
  return KEL_OK;
}

}  // namespace

}  // namespace kel::blob

extern "C" {

KELKIT_API int kel_blob_find(Image *image, BlobParams *params, BlobResults *results,
                             unsigned int coords) {
  return kel::guarded("kel_blob_find", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, image)) return e;
    if (int e = kel::need_pointer(fn, params, "params is NULL")) return e;
    if (int e = kel::need_pointer(fn, results, "results is NULL")) return e;
    if (int e = kel::need_type(fn, BYTE, image)) return e;
    return kel::blob::find_blobs(fn, image, params, results, coords);
  });
}

}  // extern "C"
