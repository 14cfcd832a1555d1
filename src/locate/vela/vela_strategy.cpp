// The vela search's building blocks: the sub-pixel refinement of one angle,
// models resampled at a pose, and the three strategy operations of each
// algorithm (coarse angle pass, neighbour search, angle fit).
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>
#include <numbers>

#include "frame/pixels.hpp"
#include "locate/vela/vela_record.hpp"

namespace kel::locate {

namespace {

// ---- role 1: the coarse angle pass -------------------------------------------

std::vector<int> every_stride(int count, int stride) {
  std::vector<int> out;
  stride = std::max(stride, 1);
  for (int i = 0; i < count; i += stride)
    out.push_back(i);
  // The last angle belongs to the pass, so the ends of the table are covered.
  if (out.back() != count - 1) out.push_back(count - 1);
  return out;
}

std::vector<int> every_angle(int count, int) {
  return every_stride(count, 1);
}

// ---- role 2: neighbour searches ----------------------------------------------

// A coarse-to-fine scan of a window of two coarse steps (and four pixels)
// around the match.
void local_scan(const ScanContext &ctx, int index, int left, int top, AngleHit &hit) {
  const Image *m = (*ctx.models)[index];
  const Area8 &scene = *ctx.scene;
  const int max_x = scene.dx - m->dx, max_y = scene.dy - m->dy;
  // Reaches formed in 64 bits: steps from a record may be as large as an
  // int holds.
  const long long rx = 2LL * std::max(ctx.settings.step_x, 1) + 4;
  const long long ry = 2LL * std::max(ctx.settings.step_y, 1) + 4;
  const int x0 = static_cast<int>(std::max<long long>(left - rx, 0));
  const int x1 = static_cast<int>(std::min<long long>(left + rx, max_x));
  const int y0 = static_cast<int>(std::max<long long>(top - ry, 0));
  const int y1 = static_cast<int>(std::min<long long>(top + ry, max_y));
  Area8 window = shifted(scene, x0, y0);
  window.dx = x1 - x0 + m->dx;
  window.dy = y1 - y0 + m->dy;
  Match best;
  if (single_scan(m, window, ctx.store, ctx.settings, &best, 1) == kEmptyCost) return;
  hit = refine_at(m, scene, x0 + static_cast<int>(best.x) - m->dx / 2,
                  y0 + static_cast<int>(best.y) - m->dy / 2, ctx.settings.bias_x,
                  ctx.settings.bias_y, ctx.sub_pixel);
}

// Every corner within three pixels of the match, with the full dissimilarity.
void exhaustive(const ScanContext &ctx, int index, int left, int top, AngleHit &hit) {
  const Image *m = (*ctx.models)[index];
  const Area8 &scene = *ctx.scene;
  const int max_x = scene.dx - m->dx, max_y = scene.dy - m->dy;
  const Sampler full(m, scene.pitch);
  int bx = left, by = top, bc = kEmptyCost;
  for (int y = std::max(top - 3, 0); y <= std::min(top + 3, max_y); ++y)
    for (int x = std::max(left - 3, 0); x <= std::min(left + 3, max_x); ++x) {
      int c = full.cost(scene.at(x, y));
      if (c < bc) bx = x, by = y, bc = c;
    }
  if (bc == kEmptyCost) return;
  hit = refine_at(m, scene, bx, by, ctx.settings.bias_x, ctx.settings.bias_y, ctx.sub_pixel);
}

void no_search(const ScanContext &, int, int, int, AngleHit &) {}

// ---- role 3: angle fits ------------------------------------------------------

// The vertex of the parabola through the fitted costs of the best angle and
// its two neighbours; 0 when a neighbour is missing or the costs are not
// convex.
double parabola3(const std::vector<AngleHit> &h, int best, double limit) {
  const int n = static_cast<int>(h.size());
  if (best < 1 || best > n - 2 || !h[best - 1].searched || !h[best + 1].searched) return 0.0;
  const double cm = h[best - 1].fitted, c0 = h[best].fitted, cp = h[best + 1].fitted;
  const double den = cm - 2 * c0 + cp;
  if (!(den > 0)) return 0.0;
  return std::clamp((cm - cp) / (2 * den), -limit, limit);
}

// The least-squares parabola over the searched angles within two of the
// best; falls back to parabola3 with fewer than two on either side.
double parabola5(const std::vector<AngleHit> &h, int best, double limit) {
  const int n = static_cast<int>(h.size());
  double s[5] = {}, t[3] = {};  // sums of k^0..k^4 and of c * k^0..k^2
  int left = 0, right = 0;
  for (int k = -2; k <= 2; ++k) {
    const int i = best + k;
    if (i < 0 || i >= n || !h[i].searched) continue;
    left += k<0, right += k> 0;
    double p = 1;
    for (int e = 0; e < 5; ++e, p *= k)
      s[e] += p;
    t[0] += h[i].fitted;
    t[1] += h[i].fitted * k;
    t[2] += h[i].fitted * k * k;
  }
  if (left < 2 || right < 2) return parabola3(h, best, limit);
  // Normal equations of c = q0 + q1 k + q2 k^2 (symmetric points: s1 = s3 = 0).
  const double q2 = (s[0] * t[2] - s[2] * t[0]) / (s[0] * s[4] - s[2] * s[2]);
  const double q1 = t[1] / s[2];
  if (!(q2 > 0)) return parabola3(h, best, limit);
  return std::clamp(-q1 / (2 * q2), -limit, limit);
}

// The strategy tables, one per role, indexed by algorithm.
const VelaPlanOp kPlans[] = {{every_stride}, {every_angle}, {every_stride}};
const VelaNeighbourOp kNeighbours[] = {{local_scan}, {no_search}, {exhaustive}};
const VelaFitOp kFits[] = {{parabola3, 1}, {parabola3, 1}, {parabola5, 2}};

}  // namespace

void install_alg(KelVelaParams *p, int alg) {
  p->alg_ops[0] = &kPlans[alg];
  p->alg_ops[1] = &kNeighbours[alg];
  p->alg_ops[2] = &kFits[alg];
}

double exact_cost(const Image *model, const Area8 &scene, int x, int y) {
  const Area8 m = area8_of(model);
  DiffSums s = block_sums(scene.at(x, y), scene.pitch, m.origin, m.pitch, m.dx, m.dy);
  return dissimilarity(s, double(m.dx) * m.dy);
}

AngleHit refine_at(const Image *model, const Area8 &scene, int left, int top, double bias_x,
                   double bias_y, bool sub_pixel) {
  AngleHit hit;
  hit.searched = true;
  hit.left = left;
  hit.top = top;
  const double c0 = exact_cost(model, scene, left, top);
  hit.cost = clamp_cost(c0);
  hit.fx = left;
  hit.fy = top;
  hit.fitted = c0;
  const int max_x = scene.dx - model->dx, max_y = scene.dy - model->dy;
  if (!sub_pixel || left < 1 || left > max_x - 1 || top < 1 || top > max_y - 1) return hit;
  double f[9];
  for (int i = 0; i < 9; ++i)
    f[i] = -exact_cost(model, scene, left + i % 3 - 1, top + i / 3 - 1);
  const PeakOffset o = fit_peak(f);
  // The quadric's value at the peak (y upward in the fit).
  const double b = (f[2] - f[0] + f[6] - f[8]) / 4.0;
  const double a = (f[0] - 2 * f[1] + f[2] + f[3] - 2 * f[4] + f[5] + f[6] - 2 * f[7] + f[8]) / 6.0;
  const double d = (f[2] + f[5] + f[8] - f[0] - f[3] - f[6]) / 6.0;
  const double e = (f[0] + f[1] + f[2] - f[6] - f[7] - f[8]) / 6.0;
  const double c = (f[0] + f[1] + f[2] - 2 * (f[3] + f[4] + f[5]) + f[6] + f[7] + f[8]) / 6.0;
  const double g = (5 * f[4] + 2 * (f[1] + f[3] + f[5] + f[7]) - (f[0] + f[2] + f[6] + f[8])) / 9.0;
  const double x = o.fx, y = -o.fy;
  hit.fitted = -(a * x * x + b * x * y + c * y * y + d * x + e * y + g);
  hit.fx = left + o.fx + bias_x * std::sin(2 * std::numbers::pi * o.fx);
  hit.fy = top + o.fy + bias_y * std::sin(2 * std::numbers::pi * o.fy);
  return hit;
}

ImagePtr pose_model(const Image *model, const InnerRect &r, double angle, double fx, double fy) {
  ImagePtr out = make_image(BYTE, r.w, r.h);
  if (!out) throw std::bad_alloc();
  const double t = angle * std::numbers::pi / 180.0;
  const double cs = std::cos(t), sn = std::sin(t);
  const double cx = (model->dx - 1) / 2.0, cy = (model->dy - 1) / 2.0;
  const double ox = (r.w - 1) / 2.0 + fx, oy = (r.h - 1) / 2.0 + fy;
  for (int v = 0; v < r.h; ++v) {
    std::uint8_t *o = row<std::uint8_t>(out.get(), v);
    const double dv = v - oy;
    for (int u = 0; u < r.w; ++u) {
      const double du = u - ox;
      double val = im_get_interpolated_pixel(model, cx + cs * du - sn * dv, cy + sn * du + cs * dv);
      o[u] = static_cast<std::uint8_t>(std::clamp(std::floor(val + 0.5), 0.0, 255.0));
    }
  }
  return out;
}

}  // namespace kel::locate
