// Growing a grid of chessboard corners from a seed candidate: each found
// corner predicts its four neighbours one step along the local grid
// directions, and the candidate nearest a prediction (within a third of a
// step) becomes that neighbour.
#include <algorithm>
#include <cmath>
#include <deque>
#include <map>
#include <utility>

#include "geometry/chessboard/chessboard.hpp"

namespace kel::chessboard {

namespace {

struct Node {
  int candidate;
  Point u, v;  // steps to (i + 1, j) and (i, j + 1)
};

double dist2(Point a, Point b) {
  return (a.x - b.x) * (a.x - b.x) + (a.y - b.y) * (a.y - b.y);
}

int nearest(const std::vector<Point> &c, Point q, double limit) {
  int best = -1;
  double bd = limit * limit;
  for (std::size_t k = 0; k < c.size(); ++k) {
    double d = dist2(c[k], q);
    if (d < bd) bd = d, best = int(k);
  }
  return best;
}

// Grows from `seed`; the grid (as a map from (i, j)) or an empty map on a
// conflict.
std::map<std::pair<int, int>, Node> grow(const std::vector<Point> &c, int seed, Point u, Point v,
                                         std::size_t most) {
  std::map<std::pair<int, int>, Node> grid;
  std::vector<char> used(c.size(), 0);
  std::deque<std::pair<int, int>> queue;
  grid[{0, 0}] = Node{seed, u, v};
  used[seed] = 1;
  queue.push_back({0, 0});
  while (!queue.empty()) {
    auto [i, j] = queue.front();
    queue.pop_front();
    const Node n = grid[{i, j}];
    const Point p = c[n.candidate];
    const struct {
      int di, dj;
      Point step;
    } dirs[4] = {{1, 0, n.u}, {-1, 0, {-n.u.x, -n.u.y}}, {0, 1, n.v}, {0, -1, {-n.v.x, -n.v.y}}};
    for (const auto &d : dirs) {
      std::pair<int, int> key{i + d.di, j + d.dj};
      if (grid.count(key)) continue;
      double len = std::hypot(d.step.x, d.step.y);
      int k = nearest(c, {p.x + d.step.x, p.y + d.step.y}, len / 3);
      if (k < 0) continue;
      if (used[k]) return {};
      // The angle of the step must stay close to the prediction.
      Point q = c[k], s{q.x - p.x, q.y - p.y};
      Node m = n;
      if (d.di == 1) m.u = s;
      if (d.di == -1) m.u = {-s.x, -s.y};
      if (d.dj == 1) m.v = s;
      if (d.dj == -1) m.v = {-s.x, -s.y};
      m.candidate = k;
      used[k] = 1;
      grid[key] = m;
      if (grid.size() > most) return {};
      queue.push_back(key);
    }
  }
  return grid;
}

}  // namespace

bool grow_grid(const std::vector<Point> &c, int cols, int rows, std::vector<Point> &out) {
  const std::size_t want = std::size_t(cols) * rows;
  if (c.size() < want) return false;
  const int seeds = std::min<int>(int(c.size()), 30);
  for (int seed = 0; seed < seeds; ++seed) {
    // Initial steps: the nearest other candidate, and the nearest one in a
    // clearly different direction.
    std::vector<std::pair<double, int>> byd;
    for (std::size_t k = 0; k < c.size(); ++k)
      if (int(k) != seed) byd.push_back({dist2(c[k], c[seed]), int(k)});
    std::partial_sort(byd.begin(), byd.begin() + std::min<std::size_t>(6, byd.size()), byd.end());
    if (byd.size() < 2) return false;
    Point p = c[seed], u{c[byd[0].second].x - p.x, c[byd[0].second].y - p.y}, v{0, 0};
    bool have_v = false;
    for (std::size_t k = 1; k < std::min<std::size_t>(6, byd.size()) && !have_v; ++k) {
      Point w{c[byd[k].second].x - p.x, c[byd[k].second].y - p.y};
      double cosine = (u.x * w.x + u.y * w.y) / (std::hypot(u.x, u.y) * std::hypot(w.x, w.y));
      if (std::fabs(cosine) < 0.5) v = w, have_v = true;
    }
    if (!have_v) continue;
    auto grid = grow(c, seed, u, v, want);
    if (grid.size() != want) continue;
    int i0 = 1 << 30, i1 = -(1 << 30), j0 = i0, j1 = i1;
    for (const auto &[key, node] : grid) {
      i0 = std::min(i0, key.first), i1 = std::max(i1, key.first);
      j0 = std::min(j0, key.second), j1 = std::max(j1, key.second);
    }
    const int gw = i1 - i0 + 1, gh = j1 - j0 + 1;
    if (!((gw == cols && gh == rows) || (gw == rows && gh == cols))) continue;
    // The eight symmetries of the index grid: keep those of the requested
    // shape whose axes are not mirrored, and take the one with corner 0
    // nearest the image's top-left.
    auto at = [&](int i, int j) { return c[grid.at({i + i0, j + j0}).candidate]; };
    double best = 1e300;
    for (int t = 0; t < 8; ++t) {
      const bool swap = t & 4;
      const int w = swap ? gh : gw, h = swap ? gw : gh;
      if (w != cols || h != rows) continue;
      auto src = [&](int i, int j) {
        if (t & 1) i = w - 1 - i;
        if (t & 2) j = h - 1 - j;
        return swap ? at(j, i) : at(i, j);
      };
      Point o = src(0, 0), a = src(1, 0), b = src(0, 1);
      double cross = (a.x - o.x) * (b.y - o.y) - (a.y - o.y) * (b.x - o.x);
      if (cross <= 0) continue;
      double d = std::hypot(o.x, o.y);
      if (d < best) {
        best = d;
        out.resize(want);
        for (int j = 0; j < rows; ++j)
          for (int i = 0; i < cols; ++i)
            out[std::size_t(j) * cols + i] = src(i, j);
      }
    }
    if (best < 1e300) return true;
  }
  return false;
}

}  // namespace kel::chessboard
