// The vela search's find: coarse angle pass over the turned copies, merge of
// the matches, retry of a doubtful single match, neighbour angles and angle
// fit, sub-pixel position, and the measures of each match.
#include <algorithm>
#include <cmath>
#include <vector>

#include "frame/call.hpp"
#include "frame/image_guard.hpp"
#include "kelkit/vela.h"
#include "locate/vela/vela_measure.hpp"
#include "locate/vela/vela_record.hpp"

namespace {

using namespace kel::locate;

// A match of the coarse pass: angle index, corner and cost.
struct Coarse {
  int angle = 0;
  int left = 0, top = 0;
  int cost = kEmptyCost;
};

void convert_position(const Image *img, int coords, double *x, double *y) {
  const bool own = coords & 1, upside_down = coords & 2;
  const Image *master = img->master;
  if (!own && master) {
    *x += img->x0;
    *y += img->y0;
  }
  if (upside_down) *y = ((!own && master) ? master->dy : img->dy) - *y;
}

// Keeps the matches of lowest cost that lie apart by at least 60 % of the
// compared size in one direction; at most n.
std::vector<Coarse> merge(std::vector<Coarse> all, int n, int w, int h) {
  std::stable_sort(all.begin(), all.end(),
                   [](const Coarse &a, const Coarse &b) { return a.cost < b.cost; });
  const int lim_x = (w * 60) / 100, lim_y = (h * 60) / 100;
  std::vector<Coarse> kept;
  for (const Coarse &c : all) {
    if (static_cast<int>(kept.size()) == n) break;
    bool near = false;
    for (const Coarse &k : kept)
      near = near || (std::abs(k.left - c.left) < lim_x && std::abs(k.top - c.top) < lim_y);
    if (!near) kept.push_back(c);
  }
  return kept;
}

// A doubtful single match searched again at its angle: the grid shifted by
// half a step, then the rows of the retry tables; the first result below
// `suspicious` ends it, else the lowest cost wins.
void retry(const KelVelaParams *p, const ScanContext &ctx, int suspicious, Coarse &c) {
  const Image *m = (*ctx.models)[c.angle];
  ScanSettings s = ctx.settings;
  auto trial = [&](const ScanSettings &set) {
    Match r;
    int cost = single_scan(m, *ctx.scene, ctx.store, set, &r, 1);
    if (cost < c.cost) {
      c.cost = cost;
      c.left = static_cast<int>(r.x) - m->dx / 2;
      c.top = static_cast<int>(r.y) - m->dy / 2;
    }
    return cost < suspicious;
  };
  s.mode = 1;
  if (trial(s)) return;
  s.mode = 0;
  const int sx = ctx.settings.step_x, sy = ctx.settings.step_y;
  const int px = ctx.settings.pattern_x, py = ctx.settings.pattern_y;
  for (int i = 0; i < p->retry_count; ++i) {
    s.step_x = kel::locate::retry_value(sx, p->retry_step_x_pct[i]);
    s.step_y = kel::locate::retry_value(sy, p->retry_step_y_pct[i]);
    s.pattern_x = kel::locate::retry_value(px, p->retry_pattern_x_pct[i]);
    s.pattern_y = kel::locate::retry_value(py, p->retry_pattern_y_pct[i]);
    if (trial(s)) return;
  }
}

// Searches neighbouring angles of the match until its best angle has the
// fit's reach searched on each side; returns the best angle's index.
int climb(const KelVelaParams *p, const ScanContext &ctx, std::vector<AngleHit> &hits, int best) {
  const int n = static_cast<int>(hits.size());
  const VelaNeighbourOp &op = neighbour_of(p);
  const int reach = fit_of(p).reach;
  for (;;) {
    for (int d = 1; d <= reach; ++d)
      for (int j : {best - d, best + d})
        if (j >= 0 && j < n && !hits[j].searched)
          op.search(ctx, j, hits[best].left, hits[best].top, hits[j]);
    int next = best;
    for (int j = std::max(best - reach, 0); j <= std::min(best + reach, n - 1); ++j)
      if (hits[j].searched && hits[j].fitted < hits[next].fitted) next = j;
    if (next == best) return best;
    best = next;
  }
}

int find(const char *fn, Image *img, KelVelaParams *p, int coords, KelVelaResults *res) {
  if (int e = kel::need_image(fn, img)) return e;
  if (int e = kel::need_pointer(fn, p, "Params is NULL")) return e;
  if (int e = kel::need_pointer(fn, res, "Results is NULL")) return e;
  res->num_positions = 0;
  if (int e = kel::need_type(fn, BYTE, img)) return e;
  if (!p->model) return kel::fail(fn, KEL_ERR_NO_MODEL, "No trained model");
  if (p->model->dx > img->dx || p->model->dy > img->dy)
    return kel::fail(fn, KEL_ERR_MODEL_LARGE, "Model larger than the image");
  const int n = std::min(p->num_to_find, res->num_allocated);
  if (n < 1) return KEL_OK;

  ensure_rotations(p);
  if (p->use_geom) ensure_geo_model(p);
  const int count = rotation_count(p), a = (count - 1) / 2;
  const InnerRect in = inner_rect(p->model->dx, p->model->dy, a);
  std::vector<kel::ImagePtr> views;
  std::vector<const Image *> models;
  for (int i = 0; i < count; ++i) {
    views.push_back(kel::make_view(p->rotated[i], in.x, in.y, in.w, in.h));
    if (!views.back()) throw std::bad_alloc();
    models.push_back(views.back().get());
  }
  const ScoreScale scale = score_constants(models[a]);
  const int early = percent_to_internal(p->early_term, scale);
  const int suspicious = percent_to_internal(p->suspicious, scale);

  const Area8 scene = area8_of(img);
  std::vector<int> costs(p->revisits, kEmptyCost);
  ScanContext ctx;
  ctx.scene = &scene;
  ctx.models = &models;
  ctx.store = {p->candidate_x, p->candidate_y, costs.data(), p->revisits};
  ScanSettings &s = ctx.settings;
  s.mode = 0;
  if (p->auto_step) {
    s.step_x = p->trained_step_x, s.step_y = p->trained_step_y;
    s.pattern_x = p->trained_pattern_x, s.pattern_y = p->trained_pattern_y;
  } else {
    s.step_x = p->scan_step_x, s.step_y = p->scan_step_y;
    s.pattern_x = p->scan_pattern_x, s.pattern_y = p->scan_pattern_y;
  }
  s.sub_pixel = false;
  ctx.sub_pixel = p->sub_pixel >= 1 && p->sub_pixel <= 3;
  s.threshold = early;
  s.bias_x = p->subpix_bias_x;
  s.bias_y = p->subpix_bias_y;

  // 1. The coarse angle pass.
  std::vector<Coarse> found;
  std::vector<Match> matches(n);
  for (int idx : plan_of(p).angles(count, p->coarse_angle_step)) {
    const int best = single_scan(models[idx], scene, ctx.store, s, matches.data(), n);
    for (const Match &m : matches)
      if (m.cost != kEmptyCost)
        found.push_back(
            {idx, static_cast<int>(m.x) - in.w / 2, static_cast<int>(m.y) - in.h / 2, m.cost});
    if (best < early && !p->cont_rev) break;
  }
  std::vector<Coarse> kept = merge(found, n, in.w, in.h);
  if (n == 1 && p->auto_retry && !kept.empty() && kept[0].cost > suspicious)
    retry(p, ctx, suspicious, kept[0]);
  for (int i = 0; i < p->revisits; ++i)
    p->candidate_value[i] = costs[i];

  // 2. Per match: neighbour angles, angle fit, position and measures.
  const MeasureSetup ms = measure_setup(p, in, scale);
  std::vector<KelVelaPosition> out;
  for (const Coarse &c : kept) {
    std::vector<AngleHit> hits(count);
    // The other scanned angles' matches at this place count as searched.
    const int lim_x = (in.w * 60) / 100, lim_y = (in.h * 60) / 100;
    for (const Coarse &f : found)
      if (f.angle != c.angle && std::abs(f.left - c.left) < lim_x &&
          std::abs(f.top - c.top) < lim_y &&
          (!hits[f.angle].searched || f.cost < hits[f.angle].cost))
        hits[f.angle] =
            refine_at(models[f.angle], scene, f.left, f.top, s.bias_x, s.bias_y, ctx.sub_pixel);
    hits[c.angle] =
        refine_at(models[c.angle], scene, c.left, c.top, s.bias_x, s.bias_y, ctx.sub_pixel);
    const int best = climb(p, ctx, hits, c.angle);
    // The fit is centred on the best angle, or on its inner neighbour when
    // the best is an end of the table (the angle then stays inside it).
    int centre = best;
    double limit = 0.5;
    if (count >= 3 && (best == 0 || best == count - 1)) {
      centre = best == 0 ? 1 : count - 2;
      for (int j : {centre - 1, centre + 1})
        if (!hits[j].searched)
          neighbour_of(p).search(ctx, j, hits[best].left, hits[best].top, hits[j]);
      limit = 1.0;
    }
    const double at =
        std::clamp(centre + fit_of(p).offset(hits, centre, limit), 0.0, double(count - 1));
    // Position: the whole pixel of the best angle, or the sub-pixel corners
    // of the two searched angles around the fitted one, interpolated.
    const AngleHit &hb = hits[best];
    double x = hb.left, y = hb.top;
    if (ctx.sub_pixel) {
      x = hb.fx, y = hb.fy;
      const int i0 = std::max(std::min(static_cast<int>(at), count - 2), 0), i1 = i0 + 1;
      if (i1 < count && hits[i0].searched && hits[i1].searched) {
        const double f = at - i0;
        x = hits[i0].fx + f * (hits[i1].fx - hits[i0].fx);
        y = hits[i0].fy + f * (hits[i1].fy - hits[i0].fy);
      }
    }
    const double angle =
        p->angles[0] + at * (p->angles[count - 1] - p->angles[0]) / std::max(count - 1, 1);
    Pose pose{x + (in.w - 1) / 2.0, y + (in.h - 1) / 2.0, angle};
    if (p->sub_pixel == 2 || p->sub_pixel == 3) refine_on_grid(p, ms, scene, pose);
    KelVelaPosition r = measure(p, ms, img, scene, pose);
    if (r.score < p->reject) continue;
    convert_position(img, coords, &r.x_coord, &r.y_coord);
    out.push_back(r);
  }
  std::stable_sort(out.begin(), out.end(), [](const KelVelaPosition &u, const KelVelaPosition &v) {
    return u.score > v.score;
  });
  for (std::size_t i = 0; i < out.size(); ++i)
    res->positions[i] = out[i];
  res->num_positions = static_cast<int>(out.size());
  return KEL_OK;
}

}  // namespace

extern "C" {

KELKIT_API int kel_vela_search_find(Image *img, KelVelaParams *params, int coords,
                                    KelVelaResults *results) {
  return kel::guarded("kel_vela_search_find", [&](const char *fn) {
    int status = find(fn, img, params, coords, results);
    if (status != KEL_OK && results) results->num_positions = 0;
    return status;
  });
}

}  // extern "C"
