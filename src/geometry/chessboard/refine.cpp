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

constexpr int kDrift = 3;

// Sobel gradients (scaled by 1/8) of the pixels x0..x1, y0..y1 (inside the
// border), row by row.
void gradients(const Plane &img, int x0, int y0, int x1, int y1, std::vector<float> &gx,
               std::vector<float> &gy) {
  const int n = (x1 - x0 + 1) * (y1 - y0 + 1);
  gx.resize(n);
  gy.resize(n);
  int k = 0;
  for (int y = y0; y <= y1; ++y) {
    const float *up = &img.v[std::size_t(y - 1) * img.w], *mid = up + img.w, *down = mid + img.w;
    for (int x = x0; x <= x1; ++x, ++k) {
      gx[k] =
          (up[x + 1] + 2 * mid[x + 1] + down[x + 1] - up[x - 1] - 2 * mid[x - 1] - down[x - 1]) *
          0.125f;
      gy[k] =
          (down[x - 1] + 2 * down[x] + down[x + 1] - up[x - 1] - 2 * up[x] - up[x + 1]) * 0.125f;
    }
  }
}

// Window weight at offset (dx, dy) from the corner: a bump that falls
// continuously to zero at `radius`, so the window is symmetric about the corner
// wherever it lies between pixel centres.
double weight(double dx, double dy, double radius) {
  double t = (dx * dx + dy * dy) / (radius * radius);
  return t < 1 ? (1 - t) : 0.0;
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
  // The image is smoothed: that widens sharp edges so that their sampled
  // gradients keep the same centroid wherever the edge falls between pixel
  // centres, and keeps the point symmetry of a corner, so it moves no
  // corner.
  std::vector<float> gx, gy;
  for (int j = 0; j < rows; ++j)
    for (int i = 0; i < cols; ++i) {
      Point &p = grid[std::size_t(j) * cols + i];
      const double step = local_step(grid, cols, rows, i, j);
      // The window stays inside the image, so that it stays symmetric.
      const double room = std::min({p.x, p.y, img.w - 1 - p.x, img.h - 1 - p.y}) - kDrift - 2;
      const int half = std::clamp(int(std::lround(std::min(0.7 * step, room))), 2, 16);
      // Gradients of the area the window can cover while the corner moves
      // at most kDrift pixels from its start.
      const int reach = half + kDrift + 2;
      const int bx0 = std::max(1, int(p.x) - reach), bx1 = std::min(img.w - 2, int(p.x) + reach);
      const int by0 = std::max(1, int(p.y) - reach), by1 = std::min(img.h - 2, int(p.y) + reach);
      if (bx0 > bx1 || by0 > by1) continue;
      gradients(img, bx0, by0, bx1, by1, gx, gy);
      const int bw = bx1 - bx0 + 1;
      auto at = [&](const std::vector<float> &g, int x, int y) {
        return g[std::size_t(y - by0) * bw + (x - bx0)];
      };
      Point cur = p;
      for (int it = 0; it < 30; ++it) {
        const int x0 = int(std::lround(cur.x)), y0 = int(std::lround(cur.y));
        const int xa = std::max(bx0, x0 - half - 1), xb = std::min(bx1, x0 + half + 1);
        const int ya = std::max(by0, y0 - half - 1), yb = std::min(by1, y0 + half + 1);
        // Uneven light adds a nearly constant gradient everywhere; the
        // corner's own gradients average to zero around it (opposite
        // points have opposite gradients), so the window's mean gradient m
        // is that of the light, and is taken off: the system uses g - m.
        // One pass gathers the sums that expand it, with d = q - cur:
        //   A   = sum w g g^T - (sum w) m m^T
        //   rhs = sum w g g^T d - (sum w g d^T) m - m tr(sum w g d^T)
        //         + m (m . sum w d)
        double s0 = 0, sgx = 0, sgy = 0, sdx = 0, sdy = 0, sxx = 0, sxy = 0, syy = 0;
        double rx = 0, ry = 0, gdxx = 0, gdxy = 0, gdyx = 0, gdyy = 0;
        for (int y = ya; y <= yb; ++y)
          for (int x = xa; x <= xb; ++x) {
            const double dx = x - cur.x, dy = y - cur.y, w = weight(dx, dy, half);
            if (w == 0) continue;
            const double u = at(gx, x, y), v = at(gy, x, y);
            const double wu = w * u, wv = w * v, guu = wu * u, guv = wu * v, gvv = wv * v;
            s0 += w, sgx += wu, sgy += wv, sdx += w * dx, sdy += w * dy;
            sxx += guu, sxy += guv, syy += gvv;
            rx += guu * dx + guv * dy;
            ry += guv * dx + gvv * dy;
            gdxx += wu * dx, gdxy += wu * dy, gdyx += wv * dx, gdyy += wv * dy;
          }
        if (!(s0 > 0)) break;
        const double mx = sgx / s0, my = sgy / s0, trace = gdxx + gdyy, md = mx * sdx + my * sdy;
        const double a = sxx - s0 * mx * mx, b = sxy - s0 * mx * my, c = syy - s0 * my * my;
        const double bx = rx - (gdxx * mx + gdxy * my) - mx * trace + mx * md;
        const double by = ry - (gdyx * mx + gdyy * my) - my * trace + my * md;
        double det = a * c - b * b;
        if (!(det > 1e-12 * (a + c) * (a + c))) break;
        Point next{cur.x + (c * bx - b * by) / det, cur.y + (a * by - b * bx) / det};
        // A candidate lies within a pixel or so of its corner; one that
        // wanders off is left where it was.
        if (std::hypot(next.x - p.x, next.y - p.y) > kDrift) break;
        double move = std::hypot(next.x - cur.x, next.y - cur.y);
        cur = next;
        if (move < 1e-3) break;
      }
      p = cur;
    }
}

}  // namespace kel::chessboard
