// Sub-pixel refinement of chessboard corners. Around a corner at p, every
// image gradient g at a pixel q of a window is perpendicular to q - p
// (along the edges the gradient crosses the line through p; in the flat
// squares it vanishes), so p solves sum w g g^T (q - p) = 0 in the least-
// squares sense, with weights w falling smoothly to 0 around p. The window adapts to the
// local square size; the solve is iterated as p moves.
#include <algorithm>
#include <cmath>

#include "geometry/chessboard/chessboard.hpp"

namespace kel::chessboard {

namespace {

// Sobel gradients (scaled by 1/8), zero at the border.
void gradients(const Plane &img, Plane &gx, Plane &gy) {
  gx = Plane(img.w, img.h);
  gy = Plane(img.w, img.h);
  for (int y = 1; y < img.h - 1; ++y)
    for (int x = 1; x < img.w - 1; ++x) {
      gx.at(x, y) = float((img.at(x + 1, y - 1) + 2.0 * img.at(x + 1, y) + img.at(x + 1, y + 1) -
                           img.at(x - 1, y - 1) - 2.0 * img.at(x - 1, y) - img.at(x - 1, y + 1)) /
                          8);
      gy.at(x, y) = float((img.at(x - 1, y + 1) + 2.0 * img.at(x, y + 1) + img.at(x + 1, y + 1) -
                           img.at(x - 1, y - 1) - 2.0 * img.at(x, y - 1) - img.at(x + 1, y - 1)) /
                          8);
    }
}

// Window weight at offset (dx, dy) from the corner: a smooth bump that
// falls to zero at `radius`, so the window is symmetric about the corner
// wherever it lies between pixel centres.
double weight(double dx, double dy, double radius) {
  double t = (dx * dx + dy * dy) / (radius * radius);
  return t < 1 ? (1 - t) * (1 - t) : 0.0;
}

// Distance to the nearest grid neighbour of corner (i, j).
double local_step(const std::vector<Point> &g, int cols, int rows, int i, int j) {
  double best = 1e30;
  const Point p = g[std::size_t(j) * cols + i];
  const int di[4] = {1, -1, 0, 0}, dj[4] = {0, 0, 1, -1};
  for (int k = 0; k < 4; ++k) {
    int a = i + di[k], b = j + dj[k];
    if (a < 0 || b < 0 || a >= cols || b >= rows) continue;
    const Point q = g[std::size_t(b) * cols + a];
    best = std::min(best, std::hypot(q.x - p.x, q.y - p.y));
  }
  return best;
}

}  // namespace

void refine_corners(const Plane &img, int cols, int rows, std::vector<Point> &grid) {
  // Smoothing widens sharp edges so that their sampled gradients keep the
  // same centroid wherever the edge falls between pixel centres; it keeps
  // the point symmetry of a corner, so it moves no corner.
  Plane gx, gy;
  gradients(gaussian(img, 1.5), gx, gy);
  for (int j = 0; j < rows; ++j)
    for (int i = 0; i < cols; ++i) {
      Point &p = grid[std::size_t(j) * cols + i];
      const double step = local_step(grid, cols, rows, i, j);
      const int half = std::clamp(int(std::lround(0.6 * step)), 3, 16);
      Point cur = p;
      for (int it = 0; it < 30; ++it) {
        const int x0 = int(std::lround(cur.x)), y0 = int(std::lround(cur.y));
        const int xa = std::max(1, x0 - half - 1), xb = std::min(img.w - 2, x0 + half + 1);
        const int ya = std::max(1, y0 - half - 1), yb = std::min(img.h - 2, y0 + half + 1);
        // Uneven light adds a nearly constant gradient everywhere; the
        // corner's own gradients average to zero around it (opposite
        // points have opposite gradients), so the window's mean gradient is
        // that of the light, and is taken off.
        double sw = 0, mu = 0, mv = 0;
        for (int y = ya; y <= yb; ++y)
          for (int x = xa; x <= xb; ++x) {
            double dx = x - cur.x, dy = y - cur.y;
            double w = weight(dx, dy, half);
            sw += w, mu += w * gx.at(x, y), mv += w * gy.at(x, y);
          }
        if (!(sw > 0)) break;
        mu /= sw, mv /= sw;
        double a = 0, b = 0, c = 0, bx = 0, by = 0;
        for (int y = ya; y <= yb; ++y)
          for (int x = xa; x <= xb; ++x) {
            double dx = x - cur.x, dy = y - cur.y;
            double w = weight(dx, dy, half);
            double u = gx.at(x, y) - mu, v = gy.at(x, y) - mv;
            double guu = w * u * u, guv = w * u * v, gvv = w * v * v;
            a += guu, b += guv, c += gvv;
            bx += guu * x + guv * y;
            by += guv * x + gvv * y;
          }
        double det = a * c - b * b;
        if (!(det > 1e-12 * (a + c) * (a + c))) break;
        Point next{(c * bx - b * by) / det, (a * by - b * bx) / det};
        // A corner does not wander off: stay within the window.
        if (std::hypot(next.x - p.x, next.y - p.y) > half) break;
        double move = std::hypot(next.x - cur.x, next.y - cur.y);
        cur = next;
        if (move < 1e-4) break;
      }
      p = cur;
    }
}

}  // namespace kel::chessboard
