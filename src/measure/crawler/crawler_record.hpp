// The crawler behind the opaque KelCrawler handle: its settings and the
// result of its last walk. The result is kept as a contour set of at most one
// contour (the strengths in the attributes), so the crawler file can carry
// it in the contour file encoding.
#pragma once

#include <cstdint>
#include <vector>

#include "kelkit/crawler.h"
#include "measure/contour/contour_set.hpp"

namespace kel::measure::crawl {

// The setting ranges (the header documents them).
constexpr int kMinLevel = 1;
constexpr int kMaxLevel = 1000;
constexpr double kMinStep = 0.1;
constexpr double kMaxStep = 100.0;
constexpr int kMaxPoints = 1 << 24;
constexpr double kMaxRadius = 100.0;

inline bool level_ok(int v) {
  return v >= kMinLevel && v <= kMaxLevel;
}
inline bool step_ok(double v) {
  return v >= kMinStep && v <= kMaxStep;  // false for NaN
}
inline bool length_ok(int v) {
  return v >= 1 && v <= kMaxPoints;
}
inline bool direction_ok(int v) {
  return v == 1 || v == -1;
}
inline bool radius_ok(double v) {
  return v >= 0.0 && v <= kMaxRadius;
}

}  // namespace kel::measure::crawl

struct KelCrawler {
  KelCrawler() { sync(); }
  KelCrawler(const KelCrawler &) = default;
  KelCrawler &operator=(const KelCrawler &) = default;
  KelCrawler(KelCrawler &&) = default;
  KelCrawler &operator=(KelCrawler &&) = default;
  virtual ~KelCrawler() = default;

  int edge_level = 25;
  double step = 1.0;
  int max_length = 10000;
  int direction = 1;
  double search_radius = 5.0;

  double start_x = 0.0;  // start point of the last walk
  double start_y = 0.0;
  int stop = KEL_CRAWL_NONE;
  KelContourSet path;  // the result points; one contour when not empty

  // Keeps the result block's settings equal to the crawler's (the file
  // stores them in both places).
  void sync() {
    path.edge_level = edge_level;
    path.min_length = 1;
    path.max_length = max_length;
    path.smoothing = 1;
  }
  void clear_result() {
    path.clear();
    start_x = start_y = 0.0;
    stop = KEL_CRAWL_NONE;
  }
  int point_count() const { return path.point_count(); }
  bool closed() const { return stop == KEL_CRAWL_CLOSED; }
};

namespace kel::measure::crawl {

// Walks in the region (x0, y0, dx, dy) of a BYTE image, which the caller has
// checked, from the start point (inside the region). Returns false when no
// edge pixel lies near the start (the result is then empty).
bool follow_edge(KelCrawler &c, const Image *img, int x0, int y0, int dx, int dy, double sx,
                 double sy);

// The crawler file: serialise, and parse with every bound checked (false
// leaves `c` unchanged).
std::vector<std::uint8_t> encode_crawler(const KelCrawler &c);
bool decode_crawler(const std::uint8_t *data, std::size_t size, KelCrawler &c);

// The largest file decode_crawler can accept.
std::size_t largest_crawler_file();

}  // namespace kel::measure::crawl
