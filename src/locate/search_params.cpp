// The correlation search record: creation with its defaults, deletion, the
// accessors and the candidate store.
#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <new>

#include "frame/call.hpp"
#include "kelkit/search.h"
#include "locate/search_record.hpp"

namespace {

constexpr int kRetryRows = 6;
constexpr int kRetryStepX[kRetryRows] = {-20, 0, -20, 0, -50, -50};
constexpr int kRetryStepY[kRetryRows] = {0, -20, -20, -50, 0, -50};
constexpr int kRetryPatternX[kRetryRows] = {-30, 0, -30, 0, -70, -70};
constexpr int kRetryPatternY[kRetryRows] = {0, -30, -30, -70, 0, -70};
constexpr int kMinCandidates = 20;

int *int_array(int n) {
  return static_cast<int *>(std::calloc(static_cast<std::size_t>(n), sizeof(int)));
}

int *copy_table(const int (&values)[kRetryRows]) {
  int *a = int_array(kRetryRows);
  if (a) std::copy(values, values + kRetryRows, a);
  return a;
}

void free_arrays(KelSearchParams *p) {
  std::free(p->retry_step_x_pct);
  std::free(p->retry_step_y_pct);
  std::free(p->retry_pattern_x_pct);
  std::free(p->retry_pattern_y_pct);
  std::free(p->candidate_x);
  std::free(p->candidate_y);
  std::free(p->candidate_cost);
}

}  // namespace

namespace kel::locate {

void set_score_constants(KelSearchParams *p, const Image *model) {
  ScoreScale s = score_constants(model);
  p->score_scale = s.scale;
  p->score_offset = s.offset;
}

void fit_candidate_store(KelSearchParams *p) {
  std::int64_t wanted = std::max<std::int64_t>(kMinCandidates, 5 * std::int64_t{p->num_to_find});
  if (wanted > INT_MAX / static_cast<std::int64_t>(sizeof(int))) throw std::bad_alloc();
  int n = static_cast<int>(wanted);
  if (n == p->candidate_capacity && p->candidate_x && p->candidate_y && p->candidate_cost) return;
  int *x = int_array(n), *y = int_array(n), *cost = int_array(n);
  if (!x || !y || !cost) {
    std::free(x);
    std::free(y);
    std::free(cost);
    throw std::bad_alloc();
  }
  std::free(p->candidate_x);
  std::free(p->candidate_y);
  std::free(p->candidate_cost);
  p->candidate_x = x;
  p->candidate_y = y;
  p->candidate_cost = cost;
  p->candidate_capacity = n;
}

}  // namespace kel::locate

extern "C" {

KELKIT_API KelSearchParams *kel_search_create_params(void) {
  const char *fn = "kel_search_create_params";
  auto *p = static_cast<KelSearchParams *>(std::calloc(1, sizeof(KelSearchParams)));
  if (!p) {
    kel::fail(fn, KEL_ERR_NO_MEMORY, "Out of memory");
    return nullptr;
  }
  p->scan_step_x = p->scan_step_y = 8;
  p->scan_pattern_x = p->scan_pattern_y = 8;
  p->auto_step = 1;
  p->early_term = 100;
  p->suspicious = 90;
  p->auto_retry = 1;
  p->trained_step_x = p->trained_step_y = 8;
  p->trained_pattern_x = p->trained_pattern_y = 8;
  p->model = nullptr;
  p->retry_count = kRetryRows;
  p->retry_step_x_pct = copy_table(kRetryStepX);
  p->retry_step_y_pct = copy_table(kRetryStepY);
  p->retry_pattern_x_pct = copy_table(kRetryPatternX);
  p->retry_pattern_y_pct = copy_table(kRetryPatternY);
  p->candidate_capacity = kMinCandidates;
  p->candidate_y = int_array(kMinCandidates);
  p->candidate_x = int_array(kMinCandidates);
  p->candidate_cost = int_array(kMinCandidates);
  p->num_to_find = 1;
  p->work_rows = nullptr;
  p->work_dy = p->work_dx = 0;
  p->sub_pixel = 1;
  p->score_scale = -1.0;
  p->score_offset = -1.0;
  if (!p->retry_step_x_pct || !p->retry_step_y_pct || !p->retry_pattern_x_pct ||
      !p->retry_pattern_y_pct || !p->candidate_x || !p->candidate_y || !p->candidate_cost) {
    free_arrays(p);
    std::free(p);
    kel::fail(fn, KEL_ERR_NO_MEMORY, "Out of memory");
    return nullptr;
  }
  return p;
}

KELKIT_API int kel_search_delete_params(KelSearchParams *params) {
  if (!params) return kel::fail("kel_search_delete_params", KEL_ERR_ARGUMENT, "Params is NULL");
  if (params->model) im_delete(params->model);
  free_arrays(params);
  std::free(params);
  return KEL_OK;
}

#define KEL_SEARCH_ACCESSORS(field)                                            \
  KELKIT_API int kel_search_get_##field(const KelSearchParams *params) {       \
    return params ? params->field : 0;                                         \
  }                                                                            \
  KELKIT_API void kel_search_set_##field(KelSearchParams *params, int value) { \
    if (params) params->field = value;                                         \
  }

KEL_SEARCH_ACCESSORS(scan_step_x)
KEL_SEARCH_ACCESSORS(scan_step_y)
KEL_SEARCH_ACCESSORS(scan_pattern_x)
KEL_SEARCH_ACCESSORS(scan_pattern_y)
KEL_SEARCH_ACCESSORS(auto_step)
KEL_SEARCH_ACCESSORS(early_term)
KEL_SEARCH_ACCESSORS(suspicious)
KEL_SEARCH_ACCESSORS(auto_retry)
KEL_SEARCH_ACCESSORS(sub_pixel)
KEL_SEARCH_ACCESSORS(num_to_find)

#undef KEL_SEARCH_ACCESSORS

}  // extern "C"
