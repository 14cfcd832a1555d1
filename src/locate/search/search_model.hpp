// Internals of the correlation search, shared by the exported correlation
// search and by any locator that builds on it (a trainable search with
// rotation keeps the same settings at the start of its own record).
//
// Nothing here knows KelSearchParams: the engine takes the model image, the
// scene as a pixel area, a caller-owned candidate store and plain settings,
// so that another record type can drive it with its own fields.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "frame/image_guard.hpp"
#include "pixsvc.h"

namespace kel::locate {

// Internal dissimilarity scale: D truncated and clamped to 0..kMaxCost;
// kEmptyCost marks an empty candidate or result slot.
inline constexpr int kMaxCost = 32767;
inline constexpr int kEmptyCost = 99999;

// ---- scores --------------------------------------------------------------

// Truncation toward zero of a double to int. Values that do not fit (and NaN)
// give INT_MIN, the processor's "integer indefinite", instead of undefined
// behaviour; the conversions below then clamp them like any other value.
int truncate_to_int(double v);

// The model's normalisation: scale = 100 / (D(model, uniform 128) +
// D(model, model)) and offset = D(model, model), with the double form of D.
struct ScoreScale {
  double scale = -1.0;
  double offset = -1.0;
};
ScoreScale score_constants(const Image *model);

// Percent score to internal dissimilarity and back (the latter clamped to
// 0..100, values below 1 becoming 0).
int percent_to_internal(int percent, const ScoreScale &s);
int internal_to_percent(int cost, const ScoreScale &s);

// ---- pixel areas ---------------------------------------------------------

// A BYTE area addressed by its top-left pixel and its row pitch in bytes.
struct Area8 {
  const std::uint8_t *origin = nullptr;
  std::ptrdiff_t pitch = 0;
  int dx = 0;
  int dy = 0;
  const std::uint8_t *at(int x, int y) const { return origin + pitch * y + x; }
};

// The area of a BYTE image or view.
Area8 area8_of(const Image *img);

// `a` seen from (ox, oy): the same pixels with that point as origin and the
// size reduced accordingly.
Area8 shifted(const Area8 &a, int ox, int oy);

// ---- dissimilarity -------------------------------------------------------

// Sum of the differences d = scene - model and sum of their squares, both
// modulo 2^32.
struct DiffSums {
  std::uint32_t sum = 0;
  std::uint32_t squares = 0;
};

// Sums over a w by h block: the plain reference and the vectorised form the
// search uses (identical results).
DiffSums block_sums_ref(const std::uint8_t *scene, std::ptrdiff_t scene_pitch,
                        const std::uint8_t *model, std::ptrdiff_t model_pitch, int w, int h);
DiffSums block_sums(const std::uint8_t *scene, std::ptrdiff_t scene_pitch,
                    const std::uint8_t *model, std::ptrdiff_t model_pitch, int w, int h);

// D = (n * squares - sum^2) / n / (n - 1) in double, the sum read as a signed
// 32-bit value. n = 1 gives NaN, as the formula does.
double dissimilarity(const DiffSums &s, double n);

// D truncated to the internal scale: negative (or NaN) gives 0, above kMaxCost
// gives kMaxCost.
int clamp_cost(double d);

// The dissimilarity of the model at scene positions, full or sampled with the
// pattern intervals (px, py): rows 0, py, 2py, ... of the model, runs of four
// pixels every max(px, 4) columns, odd rows offset by half a run spacing.
// px <= 4 with py == 1 is the full form. Built once per model, intervals and
// scene pitch; cost() is then cheap.
// A step or interval changed by pct percent for a retry, at least 3: formed
// in 64 bits and held to the int range, so record values of any size are safe
// (for ordinary values the same as v + v * pct / 100 in int).
inline int retry_value(int v, int pct) {
  const long long r = v + static_cast<long long>(v) * pct / 100;
  return static_cast<int>(r < 3 ? 3 : (r > 2147483647LL ? 2147483647LL : r));
}

class Sampler {
 public:
  Sampler(const Image *model, int px, int py, std::ptrdiff_t scene_pitch);
  Sampler(const Image *model, std::ptrdiff_t scene_pitch) : Sampler(model, 1, 1, scene_pitch) {}

  // Cost with the model's top-left pixel over `at`.
  int cost(const std::uint8_t *at) const;
  // The same through the plain loops.
  int cost_ref(const std::uint8_t *at) const;

  bool full() const { return full_; }
  int pixel_count() const { return count_; }

 private:
  Area8 model_;
  std::ptrdiff_t scene_pitch_;
  bool full_;
  std::uint32_t model_sum_ = 0;          // sum of the compared model pixels, modulo 2^32
  int count_ = 0;                        // number of compared pixels
  std::vector<std::ptrdiff_t> offsets_;  // sampled runs: scene offset of each run
  std::vector<std::uint8_t> values_;     // the model's pixels of each run, 4 per run
};

// ---- the scan ------------------------------------------------------------

// The caller's store of coarse candidates: `capacity` entries in each array.
struct CandidateStore {
  int *x = nullptr;
  int *y = nullptr;
  int *cost = nullptr;
  int capacity = 0;
};

// One result: position of the model's centre and its cost.
struct Match {
  double x = 0.0;
  double y = 0.0;
  int cost = kEmptyCost;
};

struct ScanSettings {
  int mode = 0;  // 0: grid from (0, 0); 1: grid shifted by half a step
  int step_x = 8, step_y = 8;
  int pattern_x = 8, pattern_y = 8;
  bool sub_pixel = true;
  int threshold = 0;  // a cost below it ends the coarse and candidate stages early
  double bias_x = 0.0, bias_y = 0.0;
};

// One coarse-to-fine scan of `scene` for `model`, writing `count` results
// (best first; empty slots hold kEmptyCost at position 0). Returns the best
// result's cost (kEmptyCost when nothing was found, e.g. the model does not
// fit). The store must hold at least one entry.
int single_scan(const Image *model, const Area8 &scene, const CandidateStore &store,
                const ScanSettings &settings, Match *results, int count);

// The quadratic peak fit of a 3 x 3 neighbourhood of values f[0..8] in rows
// from the top (larger is better). Offsets in pixels, x to the right and y
// downward, each -1..1; falls back to the best neighbour's whole offsets.
struct PeakOffset {
  double fx = 0.0;
  double fy = 0.0;
};
PeakOffset fit_peak(const double f[9]);

// Reports two results closer than 60 % of the model size in both directions
// once: the one of higher cost (the earlier on equal costs) becomes empty.
// Then sorts by ascending cost, stably.
void remove_near_duplicates(Match *results, int count, int model_dx, int model_dy);

// ---- training --------------------------------------------------------------

// A copy of `model` without its one-pixel frame (a dimension of 1 or 2 is
// kept whole). Null when memory is short.
ImagePtr unframed_copy(const Image *model);

struct TrainedSteps {
  int step_x = 2, step_y = 2;
  int pattern_x = 2, pattern_y = 2;
  double bias_x = 0.0, bias_y = 0.0;
  bool stopped = false;  // the run flag was found cleared
};

// Chooses the steps and intervals with which `model` (the unframed copy) is
// found exactly in `scene` at every grid phase, then measures the sub-pixel
// bias on `framed` (the model as given, frame included). `run_flag`, when
// not null, is read between trials; 0 stops training. Throws std::bad_alloc
// when memory is short.
TrainedSteps train_steps(const Image *framed, const Image *model, const Area8 &scene,
                         const CandidateStore &store, const volatile int *run_flag);

// The sub-pixel bias alone (see train_steps).
void measure_bias(const Image *framed, const Image *model, const CandidateStore &store,
                  double *bias_x, double *bias_y);

}  // namespace kel::locate
