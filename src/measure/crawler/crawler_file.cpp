// The crawler file: a little-endian header with the crawler's settings and
// the state of its last walk, followed by the result points in the contour
// file encoding. The parser checks every value before it changes the crawler.
#include <cmath>
#include <cstdint>
#include <vector>

#include "measure/contour/contour_internal.hpp"
#include "measure/crawler/crawler_record.hpp"

namespace {

using namespace kel::measure::bytes;

constexpr std::uint32_t kMagic = 0x5752434Bu;  // "KCRW"
constexpr std::uint32_t kVersion = 1;
constexpr std::size_t kHeaderBytes = 6 * 4 + 4 * 8;

}  // namespace

namespace kel::measure::crawl {

std::size_t largest_crawler_file() {
  // The contour block: its header, the most points and one contour.
  return kHeaderBytes + 32 + static_cast<std::size_t>(kMaxPoints) * 28 + 12;
}

std::vector<std::uint8_t> encode_crawler(const KelCrawler &c) {
  std::vector<std::uint8_t> out;
  put32(out, kMagic);
  put32(out, kVersion);
  put32(out, static_cast<std::uint32_t>(c.edge_level));
  put32(out, static_cast<std::uint32_t>(c.max_length));
  put32(out, static_cast<std::uint32_t>(c.direction));
  put32(out, static_cast<std::uint32_t>(c.stop));
  put64(out, c.step);
  put64(out, c.search_radius);
  put64(out, c.start_x);
  put64(out, c.start_y);
  std::vector<std::uint8_t> block = encode_contours(c.path);
  out.insert(out.end(), block.begin(), block.end());
  return out;
}

bool decode_crawler(const std::uint8_t *data, std::size_t size, KelCrawler &c) {
  if (!data || size < kHeaderBytes) return false;
  if (get32(data) != kMagic || get32(data + 4) != kVersion) return false;
  KelCrawler in;
  in.edge_level = get_int(data + 8);
  in.max_length = get_int(data + 12);
  in.direction = get_int(data + 16);
  in.stop = get_int(data + 20);
  in.step = get64(data + 24);
  in.search_radius = get64(data + 32);
  in.start_x = get64(data + 40);
  in.start_y = get64(data + 48);
  if (!level_ok(in.edge_level) || !length_ok(in.max_length) || !direction_ok(in.direction) ||
      !step_ok(in.step) || !radius_ok(in.search_radius))
    return false;
  if (in.stop < KEL_CRAWL_NONE || in.stop > KEL_CRAWL_BORDER) return false;
  if (!std::isfinite(in.start_x) || !std::isfinite(in.start_y)) return false;
  if (!decode_contours(data + kHeaderBytes, size - kHeaderBytes, in.path)) return false;
  const KelContourSet &p = in.path;
  if (p.edge_level != in.edge_level || p.min_length != 1 || p.max_length != in.max_length ||
      p.smoothing != 1)
    return false;
  const int n = p.point_count();
  if ((n == 0) != (in.stop == KEL_CRAWL_NONE)) return false;
  if (p.contours.size() != (n == 0 ? 0u : 1u)) return false;
  if (n > 0) {
    const Contour &only = p.contours[0];
    if (only.start != 0 || only.count != n || only.closed != (in.stop == KEL_CRAWL_CLOSED ? 1 : 0))
      return false;
  }
  for (std::int32_t s : p.attribute)
    if (s < 0) return false;
  c = std::move(in);
  return true;
}

}  // namespace kel::measure::crawl
