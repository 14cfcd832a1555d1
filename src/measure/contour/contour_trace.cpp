// Contour tracing: Sobel gradient, non-maximum suppression along the
// quantised gradient direction with a parabolic sub-pixel vertex, and
// linking of the edge pixels into oriented chains.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "frame/pixels.hpp"
#include "measure/contour/contour_internal.hpp"
#include "measure/contour/contour_set.hpp"

namespace {

constexpr double kTwoPi = 6.283185307179586;

using kel::measure::tracer::EdgeField;

void gradient(EdgeField &f, const Image *img, int x0, int y0) {
  for (int y = 1; y + 1 < f.h; ++y) {
    const std::uint8_t *a = kel::row<std::uint8_t>(img, y0 + y - 1) + x0;
    const std::uint8_t *b = kel::row<std::uint8_t>(img, y0 + y) + x0;
    const std::uint8_t *c = kel::row<std::uint8_t>(img, y0 + y + 1) + x0;
    for (int x = 1; x + 1 < f.w; ++x) {
      int gx = (a[x + 1] + 2 * b[x + 1] + c[x + 1]) - (a[x - 1] + 2 * b[x - 1] + c[x - 1]);
      int gy = (c[x - 1] + 2 * c[x] + c[x + 1]) - (a[x - 1] + 2 * a[x] + a[x + 1]);
      std::size_t i = f.at(x, y);
      f.gx[i] = gx * 0.25f;
      f.gy[i] = gy * 0.25f;
      f.mag[i] = std::sqrt(f.gx[i] * f.gx[i] + f.gy[i] * f.gy[i]);
    }
  }
}

// The neighbour step along the quantised gradient direction.
void gradient_step(float gx, float gy, int &sx, int &sy) {
  float ax = std::fabs(gx), ay = std::fabs(gy);
  if (ax > 2.4142135f * ay) {
    sx = 1;
    sy = 0;
  } else if (ay > 2.4142135f * ax) {
    sx = 0;
    sy = 1;
  } else {
    sx = 1;
    sy = (gx * gy > 0) ? 1 : -1;
  }
}

void suppress(EdgeField &f, float level) {
  for (int y = 1; y + 1 < f.h; ++y) {
    for (int x = 1; x + 1 < f.w; ++x) {
      std::size_t i = f.at(x, y);
      float m = f.mag[i];
      if (m < level || m <= 0.0f) continue;
      int sx, sy;
      gradient_step(f.gx[i], f.gy[i], sx, sy);
      float behind = f.mag[f.at(x - sx, y - sy)];
      float ahead = f.mag[f.at(x + sx, y + sy)];
      if (!(m > behind && m >= ahead)) continue;
      float denom = behind - 2.0f * m + ahead;
      float d = denom < 0.0f ? 0.5f * (behind - ahead) / denom : 0.0f;
      d = std::clamp(d, -0.5f, 0.5f);
      f.sx[i] = static_cast<float>(x) + d * sx;
      f.sy[i] = static_cast<float>(y) + d * sy;
      f.state[i] = 1;
    }
  }
}

// The unit tangent at an edge pixel in image coordinates: the gradient turned
// so that the bright side lies on the left on screen.
void tangent(const EdgeField &f, std::size_t i, double &tx, double &ty) {
  double gx = f.gx[i], gy = f.gy[i];
  double n = std::hypot(gx, gy);
  if (n <= 0.0) {
    tx = 1.0;
    ty = 0.0;
    return;
  }
  tx = gy / n;
  ty = -gx / n;
}

constexpr int kStepX[8] = {1, 1, 0, -1, -1, -1, 0, 1};
constexpr int kStepY[8] = {0, 1, 1, 1, 0, -1, -1, -1};

}  // namespace

namespace kel::measure::tracer {

// Follows unlinked edge pixels from (x, y) with the preferred heading `sign`
// (+1 along the tangent, -1 against it), appending pixel indices to `chain`.
void follow(EdgeField &f, int x, int y, int sign, std::vector<std::size_t> &chain) {
  double px = 0.0, py = 0.0;  // last step, normalised
  bool have_step = false;
  for (;;) {
    double tx, ty;
    tangent(f, f.at(x, y), tx, ty);
    tx *= sign;
    ty *= sign;
    if (have_step && tx * px + ty * py < 0.0) {
      tx = -tx;
      ty = -ty;
    }
    int best = -1;
    double best_value = -1e9;
    for (int k = 0; k < 8; ++k) {
      int nx = x + kStepX[k], ny = y + kStepY[k];
      if (nx < 1 || ny < 1 || nx + 1 >= f.w || ny + 1 >= f.h) continue;
      if (f.state[f.at(nx, ny)] != 1) continue;
      double len = (k & 1) ? 1.4142135623730951 : 1.0;
      double ux = kStepX[k] / len, uy = kStepY[k] / len;
      double along = ux * tx + uy * ty;
      if (along < -0.2) continue;
      double value = along + (have_step ? 0.5 * (ux * px + uy * py) : 0.0);
      if (value > best_value) {
        best_value = value;
        best = k;
      }
    }
    if (best < 0) return;
    double len = (best & 1) ? 1.4142135623730951 : 1.0;
    px = kStepX[best] / len;
    py = kStepY[best] / len;
    have_step = true;
    x += kStepX[best];
    y += kStepY[best];
    std::size_t i = f.at(x, y);
    f.state[i] = 2;
    chain.push_back(i);
  }
}

double gradient_direction(const EdgeField &f, std::size_t i) {
  double a = std::atan2(-static_cast<double>(f.gy[i]), static_cast<double>(f.gx[i]));
  return a < 0.0 ? a + kTwoPi : a;
}

void build_edge_field(EdgeField &f, const Image *img, int x0, int y0, int dx, int dy, float level) {
  f.w = dx;
  f.h = dy;
  std::size_t n = static_cast<std::size_t>(dx) * dy;
  f.gx.assign(n, 0.0f);
  f.gy.assign(n, 0.0f);
  f.mag.assign(n, 0.0f);
  f.sx.assign(n, 0.0f);
  f.sy.assign(n, 0.0f);
  f.state.assign(n, 0);
  gradient(f, img, x0, y0);
  suppress(f, level);
}

bool chain_closes(const EdgeField &f, const std::vector<std::size_t> &chain, int x, int y) {
  if (chain.size() < 4) return false;
  std::size_t last = chain.back();
  int lx = static_cast<int>(last % f.w), ly = static_cast<int>(last / f.w);
  return std::abs(lx - x) <= 1 && std::abs(ly - y) <= 1;
}

}  // namespace kel::measure::tracer

namespace kel::measure {

void trace_contours(KelContourSet &set, const Image *img, int x0, int y0, int dx, int dy) {
  using tracer::chain_closes;
  using tracer::follow;
  using tracer::gradient_direction;
  EdgeField f;
  tracer::build_edge_field(f, img, x0, y0, dx, dy, static_cast<float>(set.edge_level));

  KelContourSet out;
  out.edge_level = set.edge_level;
  out.min_length = set.min_length;
  out.max_length = set.max_length;
  out.smoothing = set.smoothing;
  std::vector<std::size_t> forward, backward;
  for (int y = 1; y + 1 < f.h; ++y) {
    for (int x = 1; x + 1 < f.w; ++x) {
      std::size_t seed = f.at(x, y);
      if (f.state[seed] != 1) continue;
      f.state[seed] = 2;
      forward.assign(1, seed);
      follow(f, x, y, 1, forward);
      bool closed = chain_closes(f, forward, x, y);
      backward.clear();
      if (!closed) follow(f, x, y, -1, backward);
      std::size_t count = forward.size() + backward.size();
      if (count < static_cast<std::size_t>(std::max(set.min_length, 1)) ||
          count > static_cast<std::size_t>(std::max(set.max_length, 0)))
        continue;
      Contour c;
      c.start = static_cast<std::int32_t>(out.x.size());
      c.count = static_cast<std::int32_t>(count);
      c.closed = closed ? 1 : 0;
      auto put = [&](std::size_t i) {
        out.x.push_back(f.sx[i] + x0);
        out.y.push_back(f.sy[i] + y0);
        out.direction.push_back(gradient_direction(f, i));
        out.attribute.push_back(0);
      };
      for (auto it = backward.rbegin(); it != backward.rend(); ++it)
        put(*it);
      for (std::size_t i : forward)
        put(i);
      out.contours.push_back(c);
    }
  }
  set = std::move(out);
}

}  // namespace kel::measure
