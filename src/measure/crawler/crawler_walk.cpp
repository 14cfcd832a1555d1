// The contour follower's walk: the tracer's edge field over the region, the
// strongest edge pixel near the start point, one chain linked from it in the
// chosen direction, smoothed and resampled by arc length.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "measure/contour/contour_internal.hpp"
#include "measure/crawler/crawler_record.hpp"

namespace {

using kel::measure::tracer::EdgeField;

constexpr double kTwoPi = 6.283185307179586;

// The edge pixel to start from: the strongest among those within `radius`
// of (lx, ly) and the one containing it; ties to the nearer, then the first
// in row order. Returns false when there is none.
bool start_pixel(const EdgeField &f, double lx, double ly, double radius, int &bx, int &by) {
  const int px = static_cast<int>(std::floor(lx + 0.5)),
            py = static_cast<int>(std::floor(ly + 0.5));
  const int xa = std::max(1, static_cast<int>(std::floor(lx - radius)));
  const int xb = std::min(f.w - 2, static_cast<int>(std::ceil(lx + radius)));
  const int ya = std::max(1, static_cast<int>(std::floor(ly - radius)));
  const int yb = std::min(f.h - 2, static_cast<int>(std::ceil(ly + radius)));
  bool found = false;
  float best_mag = 0.0f;
  double best_d2 = 0.0;
  for (int y = ya; y <= yb; ++y) {
    for (int x = xa; x <= xb; ++x) {
      std::size_t i = f.at(x, y);
      if (f.state[i] != 1) continue;
      double d2 = (x - lx) * (x - lx) + (y - ly) * (y - ly);
      if (d2 > radius * radius && !(x == px && y == py)) continue;
      if (found && (f.mag[i] < best_mag || (f.mag[i] == best_mag && d2 >= best_d2))) continue;
      found = true;
      best_mag = f.mag[i];
      best_d2 = d2;
      bx = x;
      by = y;
    }
  }
  return found;
}

// Resamples the chain (positions, unit normals and strengths per chain
// point) every `step` of arc length into `out`, at most `limit` points.
void resample(const KelContourSet &line, const std::vector<float> &strength, bool closed,
              double step, std::size_t limit, KelContourSet &out) {
  const std::size_t n = line.x.size();
  const std::size_t segments = closed ? n : n - 1;
  double total = 0.0;
  for (std::size_t i = 0; i < segments; ++i) {
    std::size_t j = (i + 1) % n;
    total += std::hypot(line.x[j] - line.x[i], line.y[j] - line.y[i]);
  }
  const double end = closed ? total - 0.5 * step : total + 1e-9;
  auto put = [&](std::size_t a, std::size_t b, double t) {
    out.x.push_back(line.x[a] + t * (line.x[b] - line.x[a]));
    out.y.push_back(line.y[a] + t * (line.y[b] - line.y[a]));
    double nx = (1.0 - t) * std::cos(line.direction[a]) + t * std::cos(line.direction[b]);
    double ny = (1.0 - t) * std::sin(line.direction[a]) + t * std::sin(line.direction[b]);
    double d = (nx == 0.0 && ny == 0.0) ? line.direction[a] : std::atan2(ny, nx);
    if (d < 0.0) d += kTwoPi;
    if (d >= kTwoPi) d -= kTwoPi;
    out.direction.push_back(d);
    out.attribute.push_back(
        static_cast<std::int32_t>(std::lround((1.0 - t) * strength[a] + t * strength[b])));
  };
  put(0, 0, 0.0);
  double walked = 0.0;  // arc length at the start of segment i
  std::size_t k = 1;
  for (std::size_t i = 0; i < segments && out.x.size() < limit; ++i) {
    std::size_t j = (i + 1) % n;
    double len = std::hypot(line.x[j] - line.x[i], line.y[j] - line.y[i]);
    for (;;) {
      double s = static_cast<double>(k) * step;
      if (s > walked + len || s > end || out.x.size() >= limit) break;
      put(i, j, len > 0.0 ? (s - walked) / len : 0.0);
      ++k;
    }
    walked += len;
  }
}

}  // namespace

namespace kel::measure::crawl {

bool follow_edge(KelCrawler &c, const Image *img, int x0, int y0, int dx, int dy, double sx,
                 double sy) {
  EdgeField f;
  tracer::build_edge_field(f, img, x0, y0, dx, dy, static_cast<float>(c.edge_level));
  int bx = 0, by = 0;
  if (!start_pixel(f, sx - x0, sy - y0, c.search_radius, bx, by)) {
    c.clear_result();
    return false;
  }
  std::vector<std::size_t> chain(1, f.at(bx, by));
  f.state[chain[0]] = 2;
  tracer::follow(f, bx, by, c.direction, chain);
  // Pixels next to the region's outermost row or column have one neighbour
  // without a gradient, so their suppression and sub-pixel vertex are not
  // reliable: the walk ends before the first of them. Where the edge is two
  // pixels thick (exact diagonals) the chain may pass its start and go on
  // along the second row of pixels, so the walk closes at the first pixel
  // next to the start pixel once the chain has been more than 2 pixels away.
  bool border = false, back_at_start = false, left_start = false;
  for (std::size_t k = 1; k < chain.size(); ++k) {
    int x = static_cast<int>(chain[k] % f.w), y = static_cast<int>(chain[k] / f.w);
    if (x == 1 || y == 1 || x == f.w - 2 || y == f.h - 2) {
      chain.resize(k);
      border = true;
      break;
    }
    int away = std::max(std::abs(x - bx), std::abs(y - by));
    if (away > 2) {
      left_start = true;
    } else if (left_start && away <= 1) {
      chain.resize(k + 1);
      back_at_start = true;
      break;
    }
  }
  const bool closed = !border && (back_at_start || tracer::chain_closes(f, chain, bx, by));

  // The chain as a one-contour set, smoothed once, with the normals of the
  // smoothed chain turned to the bright side.
  KelContourSet line;
  line.smoothing = 1;
  std::vector<float> strength;
  for (std::size_t i : chain) {
    line.x.push_back(f.sx[i] + x0);
    line.y.push_back(f.sy[i] + y0);
    line.direction.push_back(tracer::gradient_direction(f, i));
    line.attribute.push_back(0);
    strength.push_back(f.mag[i]);
  }
  line.contours.push_back({0, static_cast<std::int32_t>(chain.size()), closed ? 1 : 0});
  smooth_contours(line);
  contour_directions(line);

  KelContourSet out;
  const std::size_t limit = static_cast<std::size_t>(c.max_length);
  resample(line, strength, closed, c.step, limit + 1, out);
  int stop = KEL_CRAWL_END;
  if (out.x.size() > limit) {
    out.x.resize(limit);
    out.y.resize(limit);
    out.direction.resize(limit);
    out.attribute.resize(limit);
    stop = KEL_CRAWL_MAX_LENGTH;
  } else if (closed) {
    stop = KEL_CRAWL_CLOSED;
  } else if (border) {
    stop = KEL_CRAWL_BORDER;
  }
  out.contours.push_back({0, static_cast<std::int32_t>(out.x.size()), stop == KEL_CRAWL_CLOSED});
  c.path = std::move(out);
  c.sync();
  c.start_x = sx;
  c.start_y = sy;
  c.stop = stop;
  return true;
}

}  // namespace kel::measure::crawl
