// The correlation search record: creation with its defaults, deletion, the
// accessors and the candidate store.
#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <new>

#include "frame/call.hpp"
#include "kelkit/search.h"
#include "locate/params_common.hpp"
#include "locate/search/search_record.hpp"

namespace {

constexpr int kMinCandidates = 20;

void free_arrays(KelSearchParams *p) {
  kel::locate::free_retry_tables(p);
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
  replace_arrays(n, p->candidate_x, p->candidate_y, p->candidate_cost);
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
  kel::locate::set_scan_defaults(p, 90);
  p->model = nullptr;
  p->candidate_capacity = kMinCandidates;
  p->candidate_y = kel::locate::array_of<int>(kMinCandidates);
  p->candidate_x = kel::locate::array_of<int>(kMinCandidates);
  p->candidate_cost = kel::locate::array_of<int>(kMinCandidates);
  p->num_to_find = 1;
  p->work_rows = nullptr;
  p->work_dy = p->work_dx = 0;
  p->sub_pixel = 1;
  p->score_scale = -1.0;
  p->score_offset = -1.0;
  if (!kel::locate::has_retry_tables(p) || !p->candidate_x || !p->candidate_y ||
      !p->candidate_cost) {
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
    return kel::locate::get_field(params, &KelSearchParams::field);            \
  }                                                                            \
  KELKIT_API void kel_search_set_##field(KelSearchParams *params, int value) { \
    kel::locate::set_field(params, &KelSearchParams::field, value);            \
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
