// The single coarse-to-fine scan: coarse grid into a store of the best
// candidates, a local grid search around each, selection, refinement by
// halving steps, an exhaustive +-3 pixel stage and the quadratic peak fit.
#include <algorithm>
#include <cmath>
#include <deque>
#include <numbers>
#include <utility>

#include "locate/search/search_model.hpp"

namespace kel::locate {

namespace {

// A position and its cost; cost kEmptyCost when nothing was evaluated.
struct Best {
  int x = 0, y = 0;
  int cost = kEmptyCost;
};

// The samplers a scan needs, built once per interval pair (a deque keeps
// references to earlier ones valid).
class Samplers {
 public:
  Samplers(const Image *model, std::ptrdiff_t pitch) : model_(model), pitch_(pitch) {}
  const Sampler &get(int px, int py) {
    for (auto &e : cache_)
      if (e.first.first == px && e.first.second == py) return e.second;
    cache_.emplace_back(std::make_pair(px, py), Sampler(model_, px, py, pitch_));
    return cache_.back().second;
  }

 private:
  const Image *model_;
  std::ptrdiff_t pitch_;
  std::deque<std::pair<std::pair<int, int>, Sampler>> cache_;
};

// Searches the rectangle [x0, x1] x [y0, y1] on a grid of (tx, ty), rows of
// even y starting half a step (tx / 2) in; the first lowest cost wins. Stops
// at the first cost below `threshold` (0 disables the early stop, costs are
// never negative).
Best grid_search(const Area8 &scene, const Sampler &s, int x0, int x1, int y0, int y1, int tx,
                 int ty, int threshold) {
  // Positions step in 64 bits: steps from a record may be as large as an
  // int holds, and x + tx must not wrap.
  Best b;
  for (long long y = y0; y <= y1; y += ty) {
    for (long long x = (y % 2 == 0) ? x0 + tx / 2 : x0; x <= x1; x += tx) {
      int c = s.cost(scene.at(int(x), int(y)));
      if (c < b.cost) b = {int(x), int(y), c};
      if (c < threshold) return b;
    }
  }
  return b;
}

// p + offset held to 0 .. max, formed in 64 bits.
int around(int p, long long offset, int max) {
  return static_cast<int>(std::clamp<long long>(p + offset, 0, max));
}

// Inserts (x, y, c) after every stored entry of lower or equal cost,
// dropping the last entry.
void insert_candidate(const CandidateStore &st, int x, int y, int c) {
  int pos = st.capacity - 1;
  while (pos > 0 && st.cost[pos - 1] > c) {
    st.cost[pos] = st.cost[pos - 1];
    st.x[pos] = st.x[pos - 1];
    st.y[pos] = st.y[pos - 1];
    --pos;
  }
  st.cost[pos] = c;
  st.x[pos] = x;
  st.y[pos] = y;
}

// Exchange sort by ascending cost, swapping only on a strict decrease.
void sort_store(const CandidateStore &st) {
  for (int i = 0; i + 1 < st.capacity; ++i)
    for (int j = 0; j + 1 < st.capacity - i; ++j)
      if (st.cost[j + 1] < st.cost[j]) {
        std::swap(st.cost[j], st.cost[j + 1]);
        std::swap(st.x[j], st.x[j + 1]);
        std::swap(st.y[j], st.y[j + 1]);
      }
}

}  // namespace

PeakOffset fit_peak(const double f[9]) {
  // Least-squares quadric f = a x^2 + b x y + c y^2 + d x + e y + g over the
  // 3 x 3 grid, y positive upward (f[0..2] is the row y = +1).
  const double b = (f[2] - f[0] + f[6] - f[8]) / 4.0;
  const double a = (f[0] - 2 * f[1] + f[2] + f[3] - 2 * f[4] + f[5] + f[6] - 2 * f[7] + f[8]) / 6.0;
  const double d = (f[2] + f[5] + f[8] - f[0] - f[3] - f[6]) / 6.0;
  const double e = (f[0] + f[1] + f[2] - f[6] - f[7] - f[8]) / 6.0;
  const double c = (f[0] + f[1] + f[2] - 2 * (f[3] + f[4] + f[5]) + f[6] + f[7] + f[8]) / 6.0;
  const double det = 4 * a * c - b * b;
  if (det != 0.0) {
    // The stationary point: 2a x + b y = -d, b x + 2c y = -e.
    double ox = (b * e - 2 * c * d) / det;
    double oy_up = (b * d - 2 * a * e) / det;
    if (ox >= -1.0 && ox <= 1.0 && oy_up >= -1.0 && oy_up <= 1.0) return {ox, -oy_up};
  }
  int best = 0;
  for (int i = 1; i < 9; ++i)
    if (f[i] > f[best]) best = i;
  return {static_cast<double>(best % 3 - 1), static_cast<double>(best / 3 - 1)};
}

void remove_near_duplicates(Match *r, int n, int model_dx, int model_dy) {
  const int lim_x = (model_dx * 60) / 100, lim_y = (model_dy * 60) / 100;
  auto rounded = [](double v) { return static_cast<int>(std::trunc(v + 0.5)); };
  for (int i = 0; i < n; ++i)
    for (int j = i + 1; j < n; ++j) {
      if (r[i].cost == kEmptyCost || r[j].cost == kEmptyCost) continue;
      if (std::abs(rounded(r[i].x) - rounded(r[j].x)) < lim_x &&
          std::abs(rounded(r[i].y) - rounded(r[j].y)) < lim_y) {
        // The higher cost goes; on equal costs the earlier one.
        r[i].cost < r[j].cost ? (r[j] = Match{}) : (r[i] = Match{});
      }
    }
  for (int i = 0; i + 1 < n; ++i)
    for (int j = 0; j + 1 < n - i; ++j)
      if (r[j + 1].cost < r[j].cost) std::swap(r[j], r[j + 1]);
}

int single_scan(const Image *model, const Area8 &scene, const CandidateStore &st,
                const ScanSettings &set, Match *results, int count) {
  for (int k = 0; k < count; ++k)
    results[k] = Match{};
  for (int i = 0; i < st.capacity; ++i) {
    st.cost[i] = kEmptyCost;
    st.x[i] = st.y[i] = 0;
  }
  const int sx = std::max(set.step_x, 1), sy = std::max(set.step_y, 1);
  const int px = std::max(set.pattern_x, 1), py = std::max(set.pattern_y, 1);
  const int w = model->dx, h = model->dy;
  const int max_x = scene.dx - w, max_y = scene.dy - h;
  if (max_x < 0 || max_y < 0 || st.capacity < 1 || count < 1) return kEmptyCost;
  const int threshold = set.threshold;
  Samplers samplers(model, scene.pitch);
  const Sampler &coarse = samplers.get(px, py);

  // 1. Coarse stage on the staggered grid.
  {
    const long long x0 = set.mode ? sx / 2 : 0, y0 = set.mode ? sy / 2 : 0;
    bool stop = false;
    for (long long y = y0; y <= max_y && !stop; y += sy)
      for (long long x = (y % 2 == 0) ? x0 + sx / 2 : x0; x <= max_x; x += sx) {
        int c = coarse.cost(scene.at(int(x), int(y)));
        if (c < st.cost[st.capacity - 1]) insert_candidate(st, int(x), int(y), c);
        if (c < threshold) {
          stop = true;
          break;
        }
      }
  }

  // 2. Candidate stage: a grid search of +-2 steps around each candidate.
  int best = -1;
  for (int i = 0; i < st.capacity && st.cost[i] != kEmptyCost; ++i) {
    Best b = grid_search(scene, coarse, around(st.x[i], -2LL * sx, max_x),
                         around(st.x[i], 2LL * sx, max_x), around(st.y[i], -2LL * sy, max_y),
                         around(st.y[i], 2LL * sy, max_y), sx, sy, threshold);
    if (b.cost != kEmptyCost) {
      st.x[i] = b.x;
      st.y[i] = b.y;
      st.cost[i] = b.cost;
    }
    if (best < 0 || st.cost[i] < st.cost[best]) best = i;
  }
  if (best < 0) return kEmptyCost;

  // 3. Selection of the candidates to refine.
  std::vector<Best> start(count);
  if (count == 1) {
    start[0] = {st.x[best], st.y[best], st.cost[best]};
  } else {
    const int lim_x = (w * 60) / 100, lim_y = (h * 60) / 100;
    for (int i = 0; i < st.capacity; ++i)
      for (int j = i + 1; j < st.capacity; ++j) {
        if (st.cost[i] == kEmptyCost || st.cost[j] == kEmptyCost) continue;
        if (std::abs(st.x[i] - st.x[j]) < lim_x && std::abs(st.y[i] - st.y[j]) < lim_y)
          st.cost[st.cost[i] < st.cost[j] ? j : i] = kEmptyCost;
      }
    sort_store(st);
    for (int k = 0; k < count && k < st.capacity; ++k)
      start[k] = {st.x[k], st.y[k], st.cost[k]};
  }

  const Sampler &full = samplers.get(1, 1);
  for (int k = 0; k < count; ++k) {
    if (start[k].cost == kEmptyCost) continue;
    int cx = start[k].x, cy = start[k].y;

    // 4. Refinement by halving steps and intervals.
    int tx = std::max(sx / 2, 1), ty = std::max(sy / 2, 1);
    int qx = std::max(px / 2, 1), qy = std::max(py / 2, 1);
    while (tx >= 3 || ty >= 3) {
      Best b = grid_search(scene, samplers.get(qx, qy), around(cx, -2LL * tx, max_x),
                           around(cx, 2LL * tx, max_x), around(cy, -2LL * ty, max_y),
                           around(cy, 2LL * ty, max_y), tx, ty, 0);
      if (b.cost != kEmptyCost) cx = b.x, cy = b.y;
      tx = std::max(tx / 2, 1);
      ty = std::max(ty / 2, 1);
      qx = std::max(qx / 2, 1);
      qy = std::max(qy / 2, 1);
    }

    // 5. Exhaustive stage, +-3 pixels, full dissimilarity.
    Best b;
    for (int y = std::max(cy - 3, 0); y <= std::min(cy + 3, max_y); ++y)
      for (int x = std::max(cx - 3, 0); x <= std::min(cx + 3, max_x); ++x) {
        int c = full.cost(scene.at(x, y));
        if (c < b.cost) b = {x, y, c};
      }

    // 6. and 7. The model's centre, refined by the peak fit.
    Match &m = results[k];
    m.cost = b.cost;
    m.x = b.x + w / 2;
    m.y = b.y + h / 2;
    if (set.sub_pixel && b.x >= 1 && b.x <= max_x - 1 && b.y >= 1 && b.y <= max_y - 1) {
      double f[9];
      for (int i = 0; i < 9; ++i)
        f[i] = -static_cast<double>(full.cost(scene.at(b.x + i % 3 - 1, b.y + i / 3 - 1)));
      PeakOffset o = fit_peak(f);
      m.x += o.fx + set.bias_x * std::sin(2 * std::numbers::pi * o.fx);
      m.y += o.fy + set.bias_y * std::sin(2 * std::numbers::pi * o.fy);
    }
  }

  // 8. Final near-duplicate removal and order.
  if (count >= 2) remove_near_duplicates(results, count, w, h);
  return results[0].cost;
}

}  // namespace kel::locate
