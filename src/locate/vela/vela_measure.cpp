// The grid refinement of a pose and the measures of a match.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <new>
#include <vector>

#include "frame/image_guard.hpp"
#include "frame/pixels.hpp"
#include "locate/vela/vela_measure.hpp"

namespace kel::locate {

namespace {

constexpr double kUnreachable = std::numeric_limits<double>::infinity();
// Angle step either side of the mode-3 angle refinement, degrees.
constexpr double kFineAngle = 0.25;

// The compared rectangle's corner of a pose and the remaining fraction.
struct Corner {
  int left = 0, top = 0;
  double fx = 0.0, fy = 0.0;
};

Corner corner_of(const MeasureSetup &ms, const Pose &pose) {
  double x = pose.x - (ms.inner.w - 1) / 2.0, y = pose.y - (ms.inner.h - 1) / 2.0;
  // A pose far outside any image (or not a number) becomes a corner that
  // is outside too, without an out-of-range conversion to int.
  if (!(std::fabs(x) < 1e9)) x = -1e9;
  if (!(std::fabs(y) < 1e9)) y = -1e9;
  Corner c;
  c.left = static_cast<int>(std::floor(x));
  c.top = static_cast<int>(std::floor(y));
  c.fx = x - c.left;
  c.fy = y - c.top;
  return c;
}

bool inside(const MeasureSetup &ms, const Area8 &scene, const Corner &c) {
  return c.left >= 0 && c.top >= 0 && c.left <= scene.dx - ms.inner.w &&
         c.top <= scene.dy - ms.inner.h;
}

// Dissimilarity of the model resampled at `pose` with the scene.
double pose_cost(const KelVelaParams *p, const MeasureSetup &ms, const Area8 &scene,
                 const Pose &pose) {
  const Corner c = corner_of(ms, pose);
  if (!inside(ms, scene, c)) return kUnreachable;
  ImagePtr m = pose_model(p->model, ms.inner, pose.angle, c.fx, c.fy);
  return exact_cost(m.get(), scene, c.left, c.top);
}

// Vertex offset of the parabola through three equally spaced values, in
// steps; 0 when they are not convex or not all reachable.
double vertex(double cm, double c0, double cp) {
  const double den = cm - 2 * c0 + cp;
  if (!(den > 0) || std::isinf(cm) || std::isinf(cp)) return 0.0;
  return std::clamp((cm - cp) / (2 * den), -0.5, 0.5);
}

double clamp100(double v) {
  return std::clamp(v, 0.0, 100.0);
}

}  // namespace

void refine_on_grid(const KelVelaParams *p, const MeasureSetup &ms, const Area8 &scene,
                    Pose &pose) {
  // The grid divides a pixel into at most kMaxSubPixelGrid steps per axis
  // (finer steps measure nothing more and would cost without bound).
  const int gx = std::clamp(p->sub_pixel_grid[0], 1, kMaxSubPixelGrid);
  const int gy = std::clamp(p->sub_pixel_grid[1], 1, kMaxSubPixelGrid);
  const int hx = gx > 1 ? gx / 2 : 0, hy = gy > 1 ? gy / 2 : 0;
  const int wx = 2 * hx + 1, wy = 2 * hy + 1;
  std::vector<double> cost(std::size_t(wx) * wy);
  int best = -1;
  for (int j = -hy; j <= hy; ++j)
    for (int i = -hx; i <= hx; ++i) {
      Pose q{pose.x + double(i) / gx, pose.y + double(j) / gy, pose.angle};
      const int k = (j + hy) * wx + (i + hx);
      cost[k] = pose_cost(p, ms, scene, q);
      if (best < 0 || cost[k] < cost[best]) best = k;
    }
  if (best >= 0 && !std::isinf(cost[best])) {
    const int bi = best % wx, bj = best / wx;
    double dx = 0, dy = 0;
    if (bi > 0 && bi < wx - 1) dx = vertex(cost[best - 1], cost[best], cost[best + 1]);
    if (bj > 0 && bj < wy - 1) dy = vertex(cost[best - wx], cost[best], cost[best + wx]);
    pose.x += (bi - hx + dx) / gx;
    pose.y += (bj - hy + dy) / gy;
  }
  if (p->sub_pixel != 3) return;
  const double c0 = pose_cost(p, ms, scene, pose);
  Pose lo = pose, hi = pose;
  lo.angle -= kFineAngle;
  hi.angle += kFineAngle;
  const double d = vertex(pose_cost(p, ms, scene, lo), c0, pose_cost(p, ms, scene, hi));
  pose.angle = std::clamp(pose.angle + d * kFineAngle, double(-ms.max_angle), double(ms.max_angle));
}

KelVelaPosition measure(const KelVelaParams *p, const MeasureSetup &ms, Image *img,
                        const Area8 &scene, const Pose &pose) {
  KelVelaPosition r{};
  r.size = kVelaPositionSize;
  r.x_coord = pose.x;
  r.y_coord = pose.y;
  r.angle = pose.angle;
  const int w = ms.inner.w, h = ms.inner.h;
  Corner c = corner_of(ms, pose);
  // A pose at the border of the valid range is measured at the nearest
  // corner inside it.
  if (!inside(ms, scene, c)) {
    c.left = std::clamp(c.left, 0, scene.dx - w);
    c.top = std::clamp(c.top, 0, scene.dy - h);
    c.fx = pose.x - (w - 1) / 2.0 - c.left;
    c.fy = pose.y - (h - 1) / 2.0 - c.top;
  }
  ImagePtr m = pose_model(p->model, ms.inner, pose.angle, c.fx, c.fy);

  // Correlation, contrast and conformity over the compared rectangle.
  const double n = double(w) * h;
  double sd = 0, sdd = 0, ss = 0, sss = 0, sm = 0, smm = 0;
  for (int v = 0; v < h; ++v) {
    const std::uint8_t *a = scene.at(c.left, c.top + v);
    const std::uint8_t *b = row<const std::uint8_t>(m.get(), v);
    for (int u = 0; u < w; ++u) {
      const double d = double(a[u]) - b[u];
      sd += d, sdd += d * d;
      ss += a[u], sss += double(a[u]) * a[u];
      sm += b[u], smm += double(b[u]) * b[u];
    }
  }
  const double dis = n > 1 ? (n * sdd - sd * sd) / n / (n - 1) : 0.0;
  const double raw = internal_to_percent(clamp_cost(dis), ms.scale);
  r.quality = clamp100(p->linear_scale[0] * raw + p->linear_offset[0]);
  const double mean_d = sd / n, tol = p->involved_tol;
  int involved = 0;
  for (int v = 0; v < h; ++v) {
    const std::uint8_t *a = scene.at(c.left, c.top + v);
    const std::uint8_t *b = row<const std::uint8_t>(m.get(), v);
    for (int u = 0; u < w; ++u)
      involved += std::abs(double(a[u]) - b[u] - mean_d) <= tol;
  }
  r.conform = 100.0 * involved / n;
  const double var_scene = std::max(sss - ss * ss / n, 0.0);
  const double var_model = std::max(smm - sm * sm / n, 0.0);
  r.conratio = var_model > 0 ? std::sqrt(var_scene / var_model) : 0.0;

  // Edge score: the model's edge pixels at the pose that meet a scene edge.
  if (p->use_geom && p->geo_model) {
    ImagePtr edges = pose_model(p->geo_model, ms.inner, pose.angle, c.fx, c.fy);
    ImagePtr view = make_view(img, c.left, c.top, w, h);
    ImagePtr found = make_image(BYTE, w, h);
    if (!view || !found) throw std::bad_alloc();
    geo_image(view.get(), found.get(), w, h, p->edge_str, geo_scale(p));
    int total = 0, met = 0;
    for (int v = 0; v < h; ++v) {
      const std::uint8_t *e = row<const std::uint8_t>(edges.get(), v);
      for (int u = 0; u < w; ++u) {
        if (e[u] < 128) continue;
        ++total;
        bool hit = false;
        for (int y = std::max(v - 1, 0); y <= std::min(v + 1, h - 1) && !hit; ++y) {
          const std::uint8_t *f = row<const std::uint8_t>(found.get(), y);
          for (int x = std::max(u - 1, 0); x <= std::min(u + 1, w - 1); ++x)
            hit = hit || f[x] == 255;
        }
        met += hit;
      }
    }
    const double geo = total ? 100.0 * met / total : 0.0;
    r.geoquality = p->alg_max > 1 ? clamp100(p->linear_scale[1] * geo + p->linear_offset[1]) : geo;
  }

  const double both = p->use_geom ? (r.quality + r.geoquality) / 2 : r.quality;
  switch (p->extscore_setting) {
    case 0:
      r.score = r.quality;
      break;
    case 1:
      r.score = r.quality * r.conform / 100.0;
      break;
    case 2:
      r.score = both;
      break;
    case 3:
      r.score = both * r.conform / 100.0;
      break;
    default:
      r.score = 0.0;
  }
  return r;
}

}  // namespace kel::locate
