// The vela record: creation with its defaults, deletion, the presets, the
// algorithm selection, the candidate store and every accessor.
#include <algorithm>
#include <cstdlib>
#include <new>

#include "frame/call.hpp"
#include "kelkit/vela.h"
#include "locate/params_common.hpp"
#include "locate/vela/vela_record.hpp"

namespace {

constexpr int kDefaultRevisits = 20;
constexpr int kAlgMax = 2;

using kel::locate::array_of;

void free_arrays(KelVelaParams *p) {
  kel::locate::free_retry_tables(p);
  std::free(p->candidate_value);
  std::free(p->candidate_x);
  std::free(p->candidate_y);
  std::free(p->linear_scale);
  std::free(p->linear_offset);
}

}  // namespace

namespace kel::locate {

void resize_candidates(KelVelaParams *p, int n) {
  replace_arrays(n, p->candidate_value, p->candidate_x, p->candidate_y);
  p->revisits = n;
}

}  // namespace kel::locate

extern "C" {

KELKIT_API KelVelaParams *kel_vela_search_create_params(void) {
  const char *fn = "kel_vela_search_create_params";
  auto *p = static_cast<KelVelaParams *>(std::calloc(1, sizeof(KelVelaParams)));
  if (!p) {
    kel::fail(fn, KEL_ERR_NO_MEMORY, "Out of memory");
    return nullptr;
  }
  kel::locate::set_scan_defaults(p, 60);
  p->sub_pixel = 0;
  p->sub_pixel_grid[0] = p->sub_pixel_grid[1] = 1;
  p->revisits = kDefaultRevisits;
  p->candidate_value = array_of<double>(kDefaultRevisits);
  p->candidate_x = array_of<int>(kDefaultRevisits);
  p->candidate_y = array_of<int>(kDefaultRevisits);
  p->num_to_find = 1;
  p->alg = 0;
  p->use_geom = 0;
  p->cont_rev = 0;
  p->reject = 20.0;
  p->involved_tol = 20;
  p->alg_max = kAlgMax;
  p->linear_scale = array_of<double>(kAlgMax);
  p->linear_offset = array_of<double>(kAlgMax);
  p->hifeature = 0;
  p->edge_str = 20;
  p->angle_count = 0;
  p->coarse_angle_step = 2;
  p->extscore_setting = 0;
  p->filter_size = 16;
  if (!kel::locate::has_retry_tables(p) || !p->candidate_value || !p->candidate_x ||
      !p->candidate_y || !p->linear_scale || !p->linear_offset) {
    free_arrays(p);
    std::free(p);
    kel::fail(fn, KEL_ERR_NO_MEMORY, "Out of memory");
    return nullptr;
  }
  for (int i = 0; i < kAlgMax; ++i) {
    p->linear_scale[i] = 1.0;
    p->linear_offset[i] = 0.0;
  }
  kel::locate::install_alg(p, 0);
  return p;
}

KELKIT_API int kel_vela_search_delete_params(KelVelaParams *params) {
  if (!params)
    return kel::fail("kel_vela_search_delete_params", KEL_ERR_ARGUMENT, "Params is NULL");
  kel::locate::drop_derived(params);
  if (params->model) im_delete(params->model);
  free_arrays(params);
  std::free(params);
  return KEL_OK;
}

KELKIT_API int kel_vela_search_default_params(KelVelaParams *p, int flags) {
  if (!p) return kel::fail("kel_vela_search_default_params", KEL_ERR_ARGUMENT, "Params is NULL");
  const bool b1 = flags & 1, b2 = flags & 2, b4 = flags & 4, b8 = flags & 8, b16 = flags & 16,
             b32 = flags & 32, b64 = flags & 64;
  p->auto_step = 1;
  p->suspicious = b16 ? 40 : 60;
  p->sub_pixel = 0;
  if (b2 || b16) p->sub_pixel = 2;
  if (b4) p->sub_pixel = 3;
  p->sub_pixel_grid[0] = p->sub_pixel_grid[1] = b16 ? 4 : 1;
  p->reject = b16 ? 0.0 : 20.0;
  p->use_geom = (b1 || b8) ? 1 : 0;
  p->auto_retry = !p->use_geom;
  if (b8) p->cont_rev = 1;
  if (b4) p->hifeature = 1;
  p->alg = 0;
  p->extscore_setting = (b64 && b32) ? 3 : b64 ? 2 : b32 ? 1 : 0;
  return KEL_OK;
}

KELKIT_API int kel_vela_search_set_alg(KelVelaParams *p, int value) {
  const char *fn = "kel_vela_search_set_alg";
  if (!p) return kel::fail(fn, KEL_ERR_ARGUMENT, "Params is NULL");
  if (value < 0 || value > p->alg_max || value > kAlgMax)
    return kel::fail(fn, KEL_ERR_RANGE, "Algorithm out of range");
  p->alg = value;
  kel::locate::install_alg(p, value);
  return KEL_OK;
}

KELKIT_API int kel_vela_search_get_alg(const KelVelaParams *p) {
  return p ? p->alg : 0;
}

KELKIT_API void kel_vela_search_set_revisits(KelVelaParams *p, int value) {
  if (!p) return;
  kel::guarded("kel_vela_search_set_revisits", [&](const char *) -> int {
    value = std::max(value, 1);
    if (value > p->revisits || value == 1) kel::locate::resize_candidates(p, value);
    return KEL_OK;
  });
}

KELKIT_API int kel_vela_search_get_revisits(const KelVelaParams *p) {
  return p ? p->revisits : 0;
}

KELKIT_API int kel_vela_search_get_sub_pixel_grid(const KelVelaParams *p, int index) {
  return p && (index == 0 || index == 1) ? p->sub_pixel_grid[index] : 0;
}

KELKIT_API void kel_vela_search_set_sub_pixel_grid(KelVelaParams *p, int index, int value) {
  if (p && (index == 0 || index == 1)) p->sub_pixel_grid[index] = value;
}

KELKIT_API int kel_vela_search_set_extscore_setting(KelVelaParams *p, int value) {
  if (!p) return 0;
  int previous = p->extscore_setting;
  p->extscore_setting = value;
  return previous;
}

KELKIT_API int kel_vela_search_get_extscore_setting(const KelVelaParams *p) {
  return p ? p->extscore_setting : 0;
}

#define KEL_VELA_ACCESSORS(type, field)                                            \
  KELKIT_API type kel_vela_search_get_##field(const KelVelaParams *params) {       \
    return kel::locate::get_field(params, &KelVelaParams::field);                  \
  }                                                                                \
  KELKIT_API void kel_vela_search_set_##field(KelVelaParams *params, type value) { \
    kel::locate::set_field(params, &KelVelaParams::field, value);                  \
  }

KEL_VELA_ACCESSORS(int, scan_step_x)
KEL_VELA_ACCESSORS(int, scan_step_y)
KEL_VELA_ACCESSORS(int, scan_pattern_x)
KEL_VELA_ACCESSORS(int, scan_pattern_y)
KEL_VELA_ACCESSORS(int, auto_step)
KEL_VELA_ACCESSORS(int, early_term)
KEL_VELA_ACCESSORS(int, suspicious)
KEL_VELA_ACCESSORS(int, auto_retry)
KEL_VELA_ACCESSORS(int, sub_pixel)
KEL_VELA_ACCESSORS(int, num_to_find)
KEL_VELA_ACCESSORS(int, involved_tol)
KEL_VELA_ACCESSORS(int, use_geom)
KEL_VELA_ACCESSORS(int, cont_rev)
KEL_VELA_ACCESSORS(int, hifeature)
KEL_VELA_ACCESSORS(int, edge_str)
KEL_VELA_ACCESSORS(int, filter_size)
KEL_VELA_ACCESSORS(double, reject)

#undef KEL_VELA_ACCESSORS

// ---- results ----------------------------------------------------------------

KELKIT_API KelVelaResults *kel_vela_search_create_results(int n) {
  const char *fn = "kel_vela_search_create_results";
  if (n < 0) {
    kel::fail(fn, KEL_ERR_ARGUMENT, "Negative count");
    return nullptr;
  }
  auto *r = static_cast<KelVelaResults *>(std::calloc(1, sizeof(KelVelaResults)));
  auto *pos = array_of<KelVelaPosition>(n);
  if (!r || !pos) {
    std::free(r);
    std::free(pos);
    kel::fail(fn, KEL_ERR_NO_MEMORY, "Out of memory");
    return nullptr;
  }
  r->size = kel::locate::kVelaResultsSize;
  r->num_positions = n;
  r->num_allocated = n;
  r->positions = pos;
  for (int i = 0; i < n; ++i)
    pos[i].size = kel::locate::kVelaPositionSize;
  return r;
}

KELKIT_API int kel_vela_search_delete_results(KelVelaResults *r) {
  if (!r) return kel::fail("kel_vela_search_delete_results", KEL_ERR_ARGUMENT, "Results is NULL");
  std::free(r->positions);
  std::free(r);
  return KEL_OK;
}

KELKIT_API int kel_vela_search_get_num_positions(const KelVelaResults *r) {
  return r ? r->num_positions : 0;
}

#define KEL_VELA_POSITION(field)                                                      \
  KELKIT_API double kel_vela_search_get_##field(const KelVelaResults *r, int index) { \
    return r ? r->positions[index].field : 0.0;                                       \
  }

KEL_VELA_POSITION(x_coord)
KEL_VELA_POSITION(y_coord)
KEL_VELA_POSITION(angle)
KEL_VELA_POSITION(quality)
KEL_VELA_POSITION(conform)
KEL_VELA_POSITION(geoquality)
KEL_VELA_POSITION(conratio)
KEL_VELA_POSITION(score)

#undef KEL_VELA_POSITION

}  // extern "C"
