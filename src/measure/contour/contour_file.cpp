// The ".trc" contour file: a little-endian binary encoding of the contour
// set, and a parser that checks every count and value against the bytes
// present before it changes the set.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <vector>
#include "frame/regular_file.hpp"

#include "measure/contour/contour_internal.hpp"
#include "measure/contour/contour_set.hpp"

namespace {

using namespace kel::measure::bytes;

constexpr std::uint32_t kMagic = 0x4352544Bu;  // "KTRC"
constexpr std::uint32_t kVersion = 1;
constexpr std::uint32_t kMaxPoints = 1u << 24;
constexpr std::uint32_t kMaxContours = 1u << 22;
constexpr std::size_t kHeaderBytes = 4 * 8;
constexpr std::size_t kPointBytes = 3 * 8 + 4;
constexpr std::size_t kContourBytes = 3 * 4;

}  // namespace

namespace kel::measure {

std::vector<std::uint8_t> encode_contours(const KelContourSet &set) {
  std::vector<std::uint8_t> out;
  std::size_t points = set.x.size(), contours = set.contours.size();
  out.reserve(kHeaderBytes + points * kPointBytes + contours * kContourBytes);
  put32(out, kMagic);
  put32(out, kVersion);
  put32(out, static_cast<std::uint32_t>(set.edge_level));
  put32(out, static_cast<std::uint32_t>(set.min_length));
  put32(out, static_cast<std::uint32_t>(set.max_length));
  put32(out, static_cast<std::uint32_t>(set.smoothing));
  put32(out, static_cast<std::uint32_t>(points));
  put32(out, static_cast<std::uint32_t>(contours));
  for (std::size_t i = 0; i < points; ++i) {
    put64(out, set.x[i]);
    put64(out, set.y[i]);
    put64(out, set.direction[i]);
    put32(out, static_cast<std::uint32_t>(set.attribute[i]));
  }
  for (const Contour &c : set.contours) {
    put32(out, static_cast<std::uint32_t>(c.start));
    put32(out, static_cast<std::uint32_t>(c.count));
    put32(out, static_cast<std::uint32_t>(c.closed));
  }
  return out;
}

bool decode_contours(const std::uint8_t *data, std::size_t size, KelContourSet &set) {
  if (!data || size < kHeaderBytes) return false;
  if (get32(data) != kMagic || get32(data + 4) != kVersion) return false;
  std::uint32_t points = get32(data + 24), contours = get32(data + 28);
  if (points > kMaxPoints || contours > kMaxContours) return false;
  if (size != kHeaderBytes + points * kPointBytes + contours * kContourBytes) return false;
  KelContourSet in;
  in.edge_level = get_int(data + 8);
  in.min_length = get_int(data + 12);
  in.max_length = get_int(data + 16);
  in.smoothing = get_int(data + 20);
  in.x.resize(points);
  in.y.resize(points);
  in.direction.resize(points);
  in.attribute.resize(points);
  const std::uint8_t *p = data + kHeaderBytes;
  for (std::uint32_t i = 0; i < points; ++i, p += kPointBytes) {
    in.x[i] = get64(p);
    in.y[i] = get64(p + 8);
    in.direction[i] = get64(p + 16);
    in.attribute[i] = get_int(p + 24);
    // Points lie in an image: finite, and within 10^7 pixels of its origin.
    if (!(std::fabs(in.x[i]) <= 1e7) || !(std::fabs(in.y[i]) <= 1e7) ||
        !std::isfinite(in.direction[i]))
      return false;
  }
  in.contours.resize(contours);
  for (std::uint32_t i = 0; i < contours; ++i, p += kContourBytes) {
    Contour &c = in.contours[i];
    c.start = get_int(p);
    c.count = get_int(p + 4);
    c.closed = get_int(p + 8);
    if (c.start < 0 || c.count < 1 || (c.closed != 0 && c.closed != 1)) return false;
    if (static_cast<std::uint64_t>(c.start) + static_cast<std::uint64_t>(c.count) > points)
      return false;
  }
  set = std::move(in);
  return true;
}

}  // namespace kel::measure

namespace kel::measure::bytes {

int read_file(const char *path, std::size_t largest, std::vector<std::uint8_t> &out) {
  std::FILE *f = kel::regular_file(path) ? std::fopen(path, "rb") : nullptr;
  if (!f) return 1;
  out.clear();
  std::uint8_t buffer[65536];
  std::size_t got;
  bool too_large = false;
  while ((got = std::fread(buffer, 1, sizeof buffer, f)) > 0) {
    if (out.size() + got > largest) {
      too_large = true;
      break;
    }
    out.insert(out.end(), buffer, buffer + got);
  }
  bool read_error = std::ferror(f) != 0;
  std::fclose(f);
  return too_large || read_error ? 2 : 0;
}

int write_file(const char *path, const std::vector<std::uint8_t> &data) {
  std::FILE *f = std::fopen(path, "wb");
  if (!f) return 1;
  bool ok = std::fwrite(data.data(), 1, data.size(), f) == data.size();
  ok = (std::fclose(f) == 0) && ok;
  return ok ? 0 : 2;
}

}  // namespace kel::measure::bytes
