// The inspection file: the tool's settings, blocking regions and learned
// state kept in a keyed storage file. Loading checks the whole file against
// itself before the tool is touched.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "frame/call.hpp"
#include "inspect/inspect_record.hpp"
#include "inspect/storage.hpp"

namespace {

using kel::inspect::CKelStorage;
using kel::inspect::Grid;
using Bytes = std::vector<std::uint8_t>;

constexpr std::int32_t kLearnVersion = 1;
constexpr std::size_t kRegionBytes = 7 * 4;
constexpr std::size_t kFeatureBytes = 2 * 8;

void put32(Bytes &b, std::uint32_t v) {
  for (int i = 0; i < 4; ++i)
    b.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
}

void put_double(Bytes &b, double d) {
  std::uint64_t bits;
  std::memcpy(&bits, &d, 8);
  for (int i = 0; i < 8; ++i)
    b.push_back(static_cast<std::uint8_t>(bits >> (8 * i)));
}

std::uint32_t get32(const std::uint8_t *p) {
  return std::uint32_t{p[0]} | std::uint32_t{p[1]} << 8 | std::uint32_t{p[2]} << 16 |
         std::uint32_t{p[3]} << 24;
}

double get_double(const std::uint8_t *p) {
  std::uint64_t bits = 0;
  for (int i = 0; i < 8; ++i)
    bits |= std::uint64_t{p[i]} << (8 * i);
  double d;
  std::memcpy(&d, &bits, 8);
  return d;
}

// The seven stored values of a region: its fields in the order first,
// second, fourth, third, fifth, sixth, seventh.
Bytes region_bytes(const std::vector<KelInspectRegion> &list) {
  Bytes b;
  b.reserve(list.size() * kRegionBytes);
  for (const KelInspectRegion &r : list)
    for (int v : {r.x, r.y, r.dy, r.dx, r.coverage, r.enabled, r.tag})
      put32(b, static_cast<std::uint32_t>(v));
  return b;
}

KelInspectRegion region_from(const std::uint8_t *p) {
  auto at = [p](int i) { return static_cast<int>(get32(p + 4 * i)); };
  return {at(0), at(1), at(3), at(2), at(4), at(5), at(6)};
}

// A setting read back into its field.
struct IntKey {
  const char *key;
  int KelInspect::*field;
};

// Writes the keys in their fixed order; returns the storage status.
int save_file(const KelInspect &t, const char *path) {
  CKelStorage s;
  if (int e = s.OpenForWrite(path)) return e;
  const auto rects = static_cast<std::int32_t>(t.rects.size());
  const auto circles = static_cast<std::int32_t>(t.circles.size());
  const std::pair<const char *, std::int32_t> head[] = {
      {"LearnVersion", kLearnVersion},
      {"m_nMaxBoxCountX", t.m_nMaxBoxCountX},
      {"m_nMaxBoxCountY", t.m_nMaxBoxCountY},
      {"m_nImgDx", t.m_nImgDx},
      {"m_nImgDy", t.m_nImgDy},
      {"m_nBoxDx", t.m_nBoxDx},
      {"m_nBoxDy", t.m_nBoxDy},
      {"nVectorSize", t.grid.vector_size},
      {"nBoxCountX", t.grid.count_x},
      {"nBoxCountY", t.grid.count_y},
      {"nImageTag", t.nImageTag},
      {"nObjectTag", t.nObjectTag},
      {"nSensitivity", t.nSensitivity},
      {"m_nLearnAllowToFail", t.m_nLearnAllowToFail},
      {"nFeatureMode", t.nFeatureMode},
      {"nMemLimit", t.nMemLimit},
      {"nBumpSize", t.nBumpSize},
      {"VectorCount", t.VectorCount},
      {"bBlockingEnabled", t.bBlockingEnabled},
      {"bBlockingRectCount", rects}};
  for (const auto &[key, value] : head)
    if (int e = s.WriteInt(key, value)) return e;

  auto raw = [&s](const char *mark, const Bytes &b) {
    if (int e = s.MarkKey(mark)) return e;
    return b.empty() ? 0 : s.WriteRaw(b.data(), static_cast<std::uint32_t>(b.size()));
  };
  if (int e = raw("Blocking", region_bytes(t.rects))) return e;
  if (int e = s.WriteInt("bBlockingCircleRectCount", circles)) return e;
  if (int e = raw("CircularBlocking", region_bytes(t.circles))) return e;

  Bytes vectors;
  vectors.reserve(4 + t.stats.size() * 8);
  put32(vectors, t.pixel_type);
  for (double d : t.stats)
    put_double(vectors, d);
  if (int e = raw("Vectors", vectors)) return e;
  if (int e = raw("BlockingBlocks", Bytes(t.blocking.begin(), t.blocking.end()))) return e;
  return s.CloseWrite();
}

const char *save_message(int storage_status) {
  return storage_status == kel::inspect::kStorageCannotCreate ? "Cannot create the file"
                                                              : "Cannot write the file";
}

// Outcome of reading a file: 0, or the code and message to report.
struct LoadError {
  int code = 0;
  const char *message = nullptr;
};

LoadError damaged(const char *message = "Damaged inspection file") {
  return {KEL_ERR_FILE, message};
}

// Reads `count` records of `size` bytes after the marked key; refuses counts
// the rest of the file cannot hold before allocating.
bool read_section(CKelStorage &s, const char *mark, std::int64_t count, std::size_t size,
                  Bytes &out) {
  out.clear();
  if (count < 0) return false;
  if (count == 0) return true;
  if (s.SeekKey(mark) != 0) return false;
  if (count > s.Remaining() / static_cast<std::int64_t>(size)) return false;
  out.resize(static_cast<std::size_t>(count) * size);
  return s.ReadRaw(out.data(), static_cast<std::uint32_t>(out.size())) == 0;
}

LoadError load_file(const char *path, KelInspect &t) {
  CKelStorage s;
  switch (s.OpenForRead(path)) {
    case kel::inspect::kStorageOk:
      break;
    case kel::inspect::kStorageCannotOpen:
      return damaged("Cannot open the file");
    case kel::inspect::kStorageBadMagic:
      return damaged("Not an inspection file");
    default:
      return damaged();
  }
  std::int32_t version = 0, vector_size = 0, count_x = 0, count_y = 0, rects = 0, circles = 0;
  const IntKey settings[] = {{"m_nMaxBoxCountX", &KelInspect::m_nMaxBoxCountX},
                             {"m_nMaxBoxCountY", &KelInspect::m_nMaxBoxCountY},
                             {"m_nImgDx", &KelInspect::m_nImgDx},
                             {"m_nImgDy", &KelInspect::m_nImgDy},
                             {"m_nBoxDx", &KelInspect::m_nBoxDx},
                             {"m_nBoxDy", &KelInspect::m_nBoxDy},
                             {"nImageTag", &KelInspect::nImageTag},
                             {"nObjectTag", &KelInspect::nObjectTag},
                             {"nSensitivity", &KelInspect::nSensitivity},
                             {"m_nLearnAllowToFail", &KelInspect::m_nLearnAllowToFail},
                             {"nFeatureMode", &KelInspect::nFeatureMode},
                             {"nMemLimit", &KelInspect::nMemLimit},
                             {"nBumpSize", &KelInspect::nBumpSize},
                             {"VectorCount", &KelInspect::VectorCount},
                             {"bBlockingEnabled", &KelInspect::bBlockingEnabled}};
  // Missing keys read as 0; a key that is present must read.
  auto read = [&s](const char *key, std::int32_t *v) {
    const int e = s.ReadInt(key, v, 0);
    return e == kel::inspect::kStorageOk || e == kel::inspect::kStorageKeyNotFound;
  };
  if (!read("LearnVersion", &version) || version != kLearnVersion)
    return damaged("Unknown inspection file version");
  for (const IntKey &k : settings)
    if (!read(k.key, &(t.*k.field))) return damaged();
  if (!read("nVectorSize", &vector_size) || !read("nBoxCountX", &count_x) ||
      !read("nBoxCountY", &count_y) || !read("bBlockingRectCount", &rects) ||
      !read("bBlockingCircleRectCount", &circles))
    return damaged();

  // Blocking regions.
  Bytes raw;
  if (!read_section(s, "Blocking", rects, kRegionBytes, raw)) return damaged();
  for (std::size_t i = 0; i < raw.size(); i += kRegionBytes)
    t.rects.push_back(region_from(&raw[i]));
  if (!read_section(s, "CircularBlocking", circles, kRegionBytes, raw)) return damaged();
  for (std::size_t i = 0; i < raw.size(); i += kRegionBytes)
    t.circles.push_back(region_from(&raw[i]));
  for (const auto *list : {&t.rects, &t.circles})
    for (const KelInspectRegion &r : *list)
      if (!kel::inspect::region_valid(r)) return damaged();

  // Learned state: the grid must be the one the settings describe.
  if (t.VectorCount < 0) return damaged();
  std::uint8_t type_word[4];
  if (s.SeekKey("Vectors") != 0 || s.ReadRaw(type_word, 4) != 0) return damaged();
  t.pixel_type = get32(type_word);
  if (t.VectorCount == 0) {
    if (vector_size || count_x || count_y || t.pixel_type) return damaged();
    return {};
  }
  if (t.pixel_type != BYTE && t.pixel_type != WORD && t.pixel_type != FLOAT) return damaged();
  const kel::inspect::GridPlan plan = kel::inspect::plan_grid(t, t.m_nImgDx, t.m_nImgDy);
  if (plan.code || plan.grid.count_x != count_x || plan.grid.count_y != count_y ||
      plan.grid.vector_size != vector_size)
    return damaged();
  const Grid &g = plan.grid;
  if (!kel::inspect::within_memory_limit(t, g)) return {KEL_ERR_NO_MEMORY, "Memory limit exceeded"};
  const std::int64_t features = static_cast<std::int64_t>(g.boxes()) * g.vector_size;
  if (features > s.Remaining() / static_cast<std::int64_t>(kFeatureBytes)) return damaged();
  raw.resize(static_cast<std::size_t>(features) * kFeatureBytes);
  if (s.ReadRaw(raw.data(), static_cast<std::uint32_t>(raw.size())) != 0) return damaged();
  t.stats.resize(static_cast<std::size_t>(features) * 2);
  for (std::size_t i = 0; i < t.stats.size(); ++i) {
    t.stats[i] = get_double(&raw[i * 8]);
    if (!std::isfinite(t.stats[i]) || (i % 2 == 1 && t.stats[i] < 0)) return damaged();
  }
  t.grid = g;
  t.blocking = kel::inspect::blocking_mask(t, g);
  if (!read_section(s, "BlockingBlocks", g.boxes(), 1, raw) ||
      !std::equal(raw.begin(), raw.end(), t.blocking.begin()))
    return damaged();
  return {};
}

}  // namespace

extern "C" {

KELKIT_API int kel_vela_inspect_save(const KelInspect *tool, const char *path) {
  return kel::guarded("kel_vela_inspect_save", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, tool, "Inspection tool is NULL")) return e;
    if (int e = kel::need_pointer(fn, path, "File name is NULL")) return e;
    if (tool->VectorCount > 0) {
      // The file holds one set of settings: they must still describe the
      // learned grid, or the file would not load.
      const kel::inspect::GridPlan plan =
          kel::inspect::plan_grid(*tool, tool->m_nImgDx, tool->m_nImgDy);
      if (!kel::inspect::settings_match_grid(*tool) || plan.code ||
          plan.grid.count_x != tool->grid.count_x || plan.grid.count_y != tool->grid.count_y ||
          !kel::inspect::within_memory_limit(*tool, tool->grid))
        return kel::fail(fn, KEL_ERR_RANGE, "Settings changed since learning");
    }
    if (int e = save_file(*tool, path)) return kel::fail(fn, KEL_ERR_FILE, save_message(e));
    return KEL_OK;
  });
}

KELKIT_API int kel_vela_inspect_load(KelInspect *tool, const char *path) {
  return kel::guarded("kel_vela_inspect_load", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, tool, "Inspection tool is NULL")) return e;
    if (int e = kel::need_pointer(fn, path, "File name is NULL")) return e;
    KelInspect loaded;
    const LoadError err = load_file(path, loaded);
    if (err.code) return kel::fail(fn, err.code, err.message);
    *tool = std::move(loaded);
    return KEL_OK;
  });
}

}  // extern "C"
