// Model score and fine matching of the 360 search against the scene edge map.
//
// Score: each model point (attribute 0) moved by the pose and truncated to a
// pixel counts once. It matches when the scene edge at that pixel has the
// expected direction (within dAngleTolerance; also near pi - tolerance or
// more with reversed polarity), for a credit of 1. Otherwise pixels at
// distances s = 1 .. nAux5 along the expected direction, on both sides, and
// their neighbours across it are tried, nearest first; the first match
// earns 1 - s / (2 nAux5), so an edge a few pixels off still counts but
// less. Points within nAux5 pixels of the window border count but cannot
// match.
#include "locate/vela360/vela360_score.hpp"

#include <cmath>
#include <vector>

#include "locate/vela360/vela360_model.hpp"

namespace kel::locate {

namespace {

struct Moved {
  double x, y;       // sub-pixel position in the window
  double direction;  // expected edge direction, 0..2pi
};

bool direction_matches(const kel_vela_360_params &p, double expected, double found) {
  double d = std::fabs(expected - found);
  d = std::fmod(d, kTwoPi);
  if (d > kPi) d = kTwoPi - d;
  if (d < p.dAngleTolerance) return true;
  return p.nReversedPolarity != 0 && d > kPi - p.dAngleTolerance;
}

// The matching scene edge nearest to a moved point within `reach` steps;
// null when none. *steps receives the step count of the match.
const EdgePoint *find_edge(const kel_vela_360_params &p, const CEdgeImg &edges, int px, int py,
                           double direction, int reach, int *steps) {
  const EdgePoint *e = edges.at(px, py);
  if (e && direction_matches(p, direction, e->direction)) {
    *steps = 0;
    return e;
  }
  double ux = std::cos(direction), uy = -std::sin(direction);
  int ax = static_cast<int>(std::lround(-uy)), ay = static_cast<int>(std::lround(ux));
  for (int s = 1; s <= reach; ++s) {
    int qx[2] = {px + static_cast<int>(std::lround(s * ux)),
                 px - static_cast<int>(std::lround(s * ux))};
    int qy[2] = {py + static_cast<int>(std::lround(s * uy)),
                 py - static_cast<int>(std::lround(s * uy))};
    for (int side = 0; side < 2; ++side) {
      e = edges.at(qx[side], qy[side]);
      if (e && direction_matches(p, direction, e->direction)) {
        *steps = s;
        return e;
      }
    }
    for (int side = 0; side < 2; ++side)
      for (int across = -1; across <= 1; across += 2) {
        e = edges.at(qx[side] + across * ax, qy[side] + across * ay);
        if (e && direction_matches(p, direction, e->direction)) {
          *steps = s;
          return e;
        }
      }
  }
  return nullptr;
}

template <class F>
void for_each_moved(const kel_vela_360_params &p, const Pose &pose, int step, F &&f) {
  const KelContourSet &m = *p.pModelContours;
  double c = std::cos(pose.angle), s = std::sin(pose.angle);
  for (const kel::measure::Contour &contour : m.contours) {
    for (int j = 0; j < contour.count; j += step) {
      std::size_t i = static_cast<std::size_t>(contour.start + j);
      if (m.attribute[i] != 0) continue;
      double u = m.x[i] - p.nModelRefX, v = m.y[i] - p.nModelRefY;
      f(Moved{u * c - v * s + pose.x, u * s + v * c + pose.y,
              normalise_angle(m.direction[i] - pose.angle)});
    }
  }
}

}  // namespace

double model_score(const kel_vela_360_params &p, const CEdgeImg &edges, const Pose &pose,
                   int sampling) {
  if (!p.pModelContours) return 0.0;
  const int step = sampling >= 2 ? sampling : 1;
  const int margin = p.nAux5;
  const int w = static_cast<int>(edges.width), h = static_cast<int>(edges.height);
  double total = 0.0, matched = 0.0;
  const double fade = margin > 0 ? 0.5 / margin : 0.0;
  for_each_moved(p, pose, step, [&](const Moved &m) {
    total += 1.0;
    int px = static_cast<int>(m.x), py = static_cast<int>(m.y);
    if (px <= margin || py <= margin || px >= w - margin - 1 || py >= h - margin - 1) return;
    int steps = 0;
    if (find_edge(p, edges, px, py, m.direction, margin, &steps)) matched += 1.0 - steps * fade;
  });
  return total > 0.0 ? 100.0 * matched / total : 0.0;
}

namespace {

// One least-squares step: the point-to-line residuals of the matches within
// `reach`, solved for the unknowns selected (position and angle, or angle
// alone). Returns the number of matches used.
int solve_step(const kel_vela_360_params &p, const CEdgeImg &edges, Pose &pose, int reach,
               bool angle_only, double *scale) {
  double a[3][3] = {}, b[3] = {};
  double ss = 0.0, sr = 0.0;
  int used = 0;
  const int count = p.pModelContours->point_count();
  const int step = count > 3000 ? count / 3000 : 1;
  for_each_moved(p, pose, step, [&](const Moved &m) {
    int steps = 0;
    const EdgePoint *e = find_edge(p, edges, static_cast<int>(m.x), static_cast<int>(m.y),
                                   m.direction, reach, &steps);
    if (!e) return;
    double nx = std::cos(e->direction), ny = -std::sin(e->direction);
    double r = nx * (e->x - m.x) + ny * (e->y - m.y);
    double weight = std::fabs(r) <= 1.0 ? 1.0 : 1.0 / std::fabs(r);
    double rx = m.x - pose.x, ry = m.y - pose.y;
    double j[3] = {nx, ny, nx * -ry + ny * rx};
    for (int u = 0; u < 3; ++u) {
      b[u] += weight * j[u] * r;
      for (int v = 0; v < 3; ++v)
        a[u][v] += weight * j[u] * j[v];
    }
    double radial = nx * rx + ny * ry;
    ss += weight * radial * radial;
    sr += weight * radial * r;
    ++used;
  });
  if (scale) *scale = ss > 0.0 ? 1.0 + sr / ss : 1.0;
  if (used < 3) return used;
  if (angle_only) {
    if (a[2][2] > 0.0) pose.angle += b[2] / a[2][2];
    return used;
  }
  // Solve the 3x3 system by Cramer's rule.
  double det = a[0][0] * (a[1][1] * a[2][2] - a[1][2] * a[2][1]) -
               a[0][1] * (a[1][0] * a[2][2] - a[1][2] * a[2][0]) +
               a[0][2] * (a[1][0] * a[2][1] - a[1][1] * a[2][0]);
  if (std::fabs(det) < 1e-12) return used;
  double d[3];
  for (int k = 0; k < 3; ++k) {
    double m[3][3];
    for (int u = 0; u < 3; ++u)
      for (int v = 0; v < 3; ++v)
        m[u][v] = v == k ? b[u] : a[u][v];
    d[k] = (m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
            m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
            m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0])) /
           det;
  }
  // Keep each step modest so that one bad set of matches cannot throw the
  // pose far away.
  pose.x += std::fmax(-2.0, std::fmin(2.0, d[0]));
  pose.y += std::fmax(-2.0, std::fmin(2.0, d[1]));
  pose.angle += std::fmax(-0.05, std::fmin(0.05, d[2]));
  return used;
}

}  // namespace

double fine_match(const kel_vela_360_params &p, const CEdgeImg &edges, Pose &pose) {
  if (!p.pModelContours) return 1.0;
  const int wide = p.nAux5 > 2 ? p.nAux5 : 2;
  for (int iteration = 0; iteration < 10; ++iteration)
    solve_step(p, edges, pose, iteration < 3 ? wide : 2, false, nullptr);
  double scale = 1.0;
  solve_step(p, edges, pose, 2, false, &scale);
  return scale;
}

void refine_angle(const kel_vela_360_params &p, const CEdgeImg &edges, Pose &pose) {
  if (!p.pModelContours) return;
  for (int iteration = 0; iteration < 3; ++iteration)
    solve_step(p, edges, pose, 2, true, nullptr);
}

}  // namespace kel::locate
