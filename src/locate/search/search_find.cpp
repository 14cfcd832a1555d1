// The correlation search with a trained record: one scan, the retries of a
// doubtful single match, the coordinate conversion and the scores.
#include <algorithm>
#include <vector>

#include "frame/call.hpp"
#include "kelkit/search.h"
#include "locate/search/search_record.hpp"

namespace {

using namespace kel::locate;

// Positions in the coordinates the flags ask for (two low bits).
void convert_position(const Image *img, int coords, double *x, double *y) {
  const bool own = coords & 1, upside_down = coords & 2;
  const Image *master = img->master;
  if (!own && master) {
    *x += img->x0;
    *y += img->y0;
  }
  if (upside_down) *y = ((!own && master) ? master->dy : img->dy) - *y;
}

// Runs the scans of one search into `kept`; returns nothing, the record's
// thresholds are on the internal scale meanwhile.
void run_search(KelSearchParams *p, const Area8 &scene, bool retry, std::vector<Match> &kept) {
  int sx, sy, px, py;
  if (p->auto_step) {
    sx = p->trained_step_x, sy = p->trained_step_y;
    px = p->trained_pattern_x, py = p->trained_pattern_y;
  } else {
    sx = p->scan_step_x, sy = p->scan_step_y;
    px = p->scan_pattern_x, py = p->scan_pattern_y;
  }
  ScanSettings s;
  s.mode = 0;
  s.step_x = sx, s.step_y = sy, s.pattern_x = px, s.pattern_y = py;
  s.sub_pixel = p->sub_pixel != 0;
  s.threshold = p->early_term;
  s.bias_x = p->subpix_bias_x;
  s.bias_y = p->subpix_bias_y;
  const CandidateStore store = store_of(p);
  const int count = static_cast<int>(kept.size());
  int best = single_scan(p->model, scene, store, s, kept.data(), count);
  if (!retry || best <= p->suspicious) return;

  // A doubtful single match: the grid shifted by half a step, then the rows
  // of the retry tables; the first result below `suspicious` ends it, else
  // the lowest cost wins (the earlier on a tie).
  std::vector<Match> trial(count);
  s.mode = 1;
  int c = single_scan(p->model, scene, store, s, trial.data(), count);
  if (c < p->suspicious) {
    kept.swap(trial);
    return;
  }
  if (c < best) kept.swap(trial), best = c;
  s.mode = 0;
  for (int i = 0; i < p->retry_count; ++i) {
    s.step_x = kel::locate::retry_value(sx, p->retry_step_x_pct[i]);
    s.step_y = kel::locate::retry_value(sy, p->retry_step_y_pct[i]);
    s.pattern_x = kel::locate::retry_value(px, p->retry_pattern_x_pct[i]);
    s.pattern_y = kel::locate::retry_value(py, p->retry_pattern_y_pct[i]);
    c = single_scan(p->model, scene, store, s, trial.data(), count);
    if (c < p->suspicious) {
      kept.swap(trial);
      return;
    }
    if (c < best) kept.swap(trial), best = c;
  }
}

int search(const char *fn, Image *img, KelSearchParams *p, int coords, int *count, double *x,
           double *y, int *score, bool single) {
  if (int e = kel::need_image(fn, img)) return e;
  if (int e = kel::need_type(fn, BYTE, img)) return e;
  if (int e = kel::need_pointer(fn, p, "Params is NULL")) return e;
  if (!x || !y || !score) return kel::fail(fn, KEL_ERR_ARGUMENT, "Result array is NULL");
  if (single) p->num_to_find = 1;
  if (p->score_scale < 0.0 && p->model) set_score_constants(p, p->model);

  const int n = count ? std::max(p->num_to_find, 0) : 1;
  std::vector<int> costs(n, kEmptyCost);
  std::fill_n(x, n, 0.0);
  std::fill_n(y, n, 0.0);
  std::fill_n(score, n, kEmptyCost);
  if (count) *count = 0;
  int status = KEL_OK;
  {
    InternalThresholds thresholds(p);
    if (!p->model) {
      status = KEL_ERR_NO_MODEL;
    } else if (p->model->dx > img->dx || p->model->dy > img->dy) {
      status = KEL_ERR_MODEL_LARGE;
    } else {
      fit_candidate_store(p);
      p->work_rows = img->rows;
      p->work_dy = img->dy;
      p->work_dx = img->dx;
      std::vector<Match> kept(std::max(p->num_to_find, 1));
      run_search(p, area8_of(img), n == 1 && p->auto_retry, kept);
      for (int i = 0; i < n; ++i) {
        costs[i] = kept[i].cost;
        if (costs[i] == kEmptyCost) continue;
        x[i] = kept[i].x;
        y[i] = kept[i].y;
        convert_position(img, coords, &x[i], &y[i]);
        if (count) ++*count;
      }
    }
  }
  for (int i = 0; i < n; ++i)
    score[i] = costs[i] == kEmptyCost ? 0 : internal_to_percent(costs[i], scale_of(p));
  if (status == KEL_ERR_NO_MODEL) return kel::fail(fn, status, "No trained model");
  if (status == KEL_ERR_MODEL_LARGE) return kel::fail(fn, status, "Model larger than the image");
  return KEL_OK;
}

}  // namespace

extern "C" {

KELKIT_API int kel_search_multi(Image *img, KelSearchParams *params, int coords, int *count,
                                double *x, double *y, int *score) {
  return kel::guarded("kel_search", [&](const char *fn) {
    return search(fn, img, params, coords, count, x, y, score, false);
  });
}

KELKIT_API int kel_search(Image *img, KelSearchParams *params, int coords, double *x, double *y,
                          double *score) {
  return kel::guarded("kel_search", [&](const char *fn) {
    int s = 0;
    int status = search(fn, img, params, coords, nullptr, x, y, score ? &s : nullptr, true);
    if (score && status != KEL_ERR_NULL_IMAGE && status != KEL_ERR_TYPE_MISMATCH &&
        status != KEL_ERR_ARGUMENT)
      *score = s;
    return status;
  });
}

}  // extern "C"
