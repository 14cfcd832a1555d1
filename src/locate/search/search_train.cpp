// Training of the correlation search: the unframed model, the choice of
// coarse steps and sampling intervals by shifted trials on the scene, and
// the measurement of the sub-pixel bias.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>
#include <numbers>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "kelkit/search.h"
#include "locate/params_common.hpp"
#include "locate/search/search_record.hpp"

namespace kel::locate {

namespace {

// The early-stop threshold of the trials, on the internal scale.
constexpr int kTrialThreshold = 10;
// Sampling intervals of the step trials.
constexpr int kTrialPattern = 5;
// Largest step or interval tried.
constexpr int kLargestStep = 19;
// Limit of the measured bias, in pixels.
constexpr double kBiasLimit = 0.25;

struct StepCandidate {
  int x = 0, y = 0;
  std::int64_t cost = 0;
};

// All odd pairs from the largest step (a third of the model, made odd,
// at most 19) down by 2 while above `floor`, cheapest scan first; equal
// costs keep the order of generation (larger x, then larger y first).
std::vector<StepCandidate> step_candidates(int w, int h, const Area8 &scene, int floor) {
  const int sx0 = std::min(((w + 2) / 3) | 1, kLargestStep);
  const int sy0 = std::min(((h + 2) / 3) | 1, kLargestStep);
  std::vector<StepCandidate> list;
  for (int sx = sx0; sx > floor; sx -= 2)
    for (int sy = sy0; sy > floor; sy -= 2)
      list.push_back({sx, sy, std::int64_t{scene.dy / sy} * (scene.dx / sx)});
  for (std::size_t i = 0; i + 1 < list.size(); ++i)
    for (std::size_t j = 0; j + 1 < list.size() - i; ++j)
      if (list[j + 1].cost < list[j].cost) std::swap(list[j], list[j + 1]);
  return list;
}

enum class Trial { pass, fail, stopped };

// Scans the scene from every grid phase (ox, oy) of the steps; passes when
// each scan finds the model exactly (cost 0).
Trial shifted_trials(const Image *model, const Area8 &scene, const CandidateStore &store, int sx,
                     int sy, int px, int py, const volatile int *run_flag) {
  ScanSettings s;
  s.mode = 0;
  s.step_x = sx;
  s.step_y = sy;
  s.pattern_x = px;
  s.pattern_y = py;
  s.sub_pixel = false;
  s.threshold = kTrialThreshold;
  for (int ox = 0; ox < sx; ox += std::max(sx / 2 - 1, 1))
    for (int oy = 0; oy < sy; oy += std::max(sy / 2 - 1, 1)) {
      if (run_flag && *run_flag == 0) return Trial::stopped;
      Match m;
      if (single_scan(model, shifted(scene, ox, oy), store, s, &m, 1) != 0) return Trial::fail;
    }
  return Trial::pass;
}

std::uint8_t to_byte(double v) {
  v = std::floor(v + 0.5);
  return static_cast<std::uint8_t>(std::clamp(v, 0.0, 255.0));
}

}  // namespace

ImagePtr unframed_copy(const Image *m) {
  const int ox = m->dx > 2 ? 1 : 0, oy = m->dy > 2 ? 1 : 0;
  ImagePtr copy = make_image(BYTE, m->dx - 2 * ox, m->dy - 2 * oy);
  if (!copy) return copy;
  for (int y = 0; y < copy->dy; ++y)
    std::copy_n(row<const std::uint8_t>(m, y + oy) + ox, copy->dx,
                row<std::uint8_t>(copy.get(), y));
  return copy;
}

void measure_bias(const Image *framed, const Image *model, const CandidateStore &store,
                  double *bias_x, double *bias_y) {
  *bias_x = *bias_y = 0.0;
  // The model must sit inside the framed copy with one pixel all round, so
  // that the 3 x 3 neighbourhood of its place is searchable.
  if (framed->dx != model->dx + 2 || framed->dy != model->dy + 2) return;
  ImagePtr work = make_image(BYTE, framed->dx, framed->dy);
  if (!work) throw std::bad_alloc();
  ScanSettings s;
  s.step_x = s.step_y = 1;
  s.pattern_x = s.pattern_y = 1;
  s.sub_pixel = true;
  s.threshold = 0;
  // Least squares of (t - f) = b * sin(2 pi f), per axis.
  double num_x = 0, den_x = 0, num_y = 0, den_y = 0;
  const double centre_x = 1 + model->dx / 2, centre_y = 1 + model->dy / 2;
  for (double q : {0.25, 0.125, 0.375})
    for (auto [sgx, sgy] :
         {std::pair{1, 1}, std::pair{-1, -1}, std::pair{1, -1}, std::pair{-1, 1}}) {
      const double tx = q * sgx, ty = q * sgy;
      for (int v = 0; v < work->dy; ++v) {
        std::uint8_t *w = row<std::uint8_t>(work.get(), v);
        for (int u = 0; u < work->dx; ++u)
          w[u] = to_byte(im_get_interpolated_pixel(framed, u - tx, v - ty));
      }
      Match m;
      if (single_scan(model, area8_of(work.get()), store, s, &m, 1) == kEmptyCost) continue;
      const double fx = m.x - centre_x, fy = m.y - centre_y;
      if (std::abs(fx) < 1.0) {
        double sn = std::sin(2 * std::numbers::pi * fx);
        num_x += (tx - fx) * sn;
        den_x += sn * sn;
      }
      if (std::abs(fy) < 1.0) {
        double sn = std::sin(2 * std::numbers::pi * fy);
        num_y += (ty - fy) * sn;
        den_y += sn * sn;
      }
    }
  if (den_x > 1e-9) *bias_x = std::clamp(num_x / den_x, -kBiasLimit, kBiasLimit);
  if (den_y > 1e-9) *bias_y = std::clamp(num_y / den_y, -kBiasLimit, kBiasLimit);
}

TrainedSteps train_steps(const Image *framed, const Image *model, const Area8 &scene,
                         const CandidateStore &store, const volatile int *run_flag) {
  TrainedSteps t;
  const int w = model->dx, h = model->dy;
  // Coarse steps, sampled at a fixed interval.
  for (const StepCandidate &c : step_candidates(w, h, scene, 2)) {
    Trial r = shifted_trials(model, scene, store, c.x, c.y, kTrialPattern, kTrialPattern, run_flag);
    if (r == Trial::stopped) return t.stopped = true, t;
    if (r == Trial::pass) {
      t.step_x = c.x;
      t.step_y = c.y;
      break;
    }
  }
  // Sampling intervals at those steps; the stored interval keeps a margin.
  for (const StepCandidate &c : step_candidates(w, h, scene, 1)) {
    Trial r = shifted_trials(model, scene, store, t.step_x, t.step_y, c.x, c.y, run_flag);
    if (r == Trial::stopped) return t.stopped = true, t;
    if (r == Trial::pass) {
      t.pattern_x = c.x < 11 ? c.x - 1 : c.x - 2;
      t.pattern_y = c.y < 11 ? c.y - 1 : c.y - 2;
      break;
    }
  }
  if (run_flag && *run_flag == 0) return t.stopped = true, t;
  measure_bias(framed, model, store, &t.bias_x, &t.bias_y);
  return t;
}

}  // namespace kel::locate

extern "C" {

KELKIT_API int kel_search_train(const Image *scene, const Image *model, KelSearchParams *p) {
  using namespace kel::locate;
  return kel::guarded("kel_search_train", [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, scene, model)) return e;
    if (int e = kel::need_type(fn, BYTE, scene, model)) return e;
    if (model->dx > scene->dx || model->dy > scene->dy)
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Model larger than the image");
    if (!p) return KEL_ERR_ARGUMENT;
    if (model->dx < 1 || model->dy < 1) return kel::fail(fn, KEL_ERR_EMPTY, "Empty model");
    set_score_constants(p, model);
    {
      InternalThresholds thresholds(p);
      volatile int *run_flag = &p->run_flag;
      *run_flag = 1;
      fit_candidate_store(p);
      kel::ImagePtr copy = unframed_copy(model);
      if (!copy) throw std::bad_alloc();
      // The old model lives until training ends: `model` may be it.
      kel::ImagePtr old(p->model);
      p->model = copy.release();
      p->work_rows = scene->rows;
      p->work_dy = scene->dy;
      p->work_dx = scene->dx;
      TrainedSteps t = train_steps(model, p->model, area8_of(scene), store_of(p), run_flag);
      store_trained(p, t);
    }
    if (*static_cast<volatile int *>(&p->run_flag) != 1)
      return kel::fail(fn, KEL_ERR_RANGE, "Training stopped");
    return KEL_OK;
  });
}

}  // extern "C"
