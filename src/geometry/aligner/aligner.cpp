// The two-point aligner: kel_aligner_create, _delete, _train, _set_rect,
// the scale mode, _compute, _get_result and the point maps.
#include "geometry/aligner/aligner_record.hpp"

#include <cmath>
#include <new>
#include <numbers>

#include "frame/call.hpp"

namespace kel::aligner {

int need_computed(const char *fn, const KelAligner *al) {
  if (int e = kel::need_pointer(fn, al, "aligner is NULL")) return e;
  return al->computed ? KEL_OK : kel::fail(fn, KEL_ERR_NOT_COMPUTED, "aligner not yet computed");
}

void KelAlignerMap::to_scene(double x, double y, double &sx, double &sy) const {
  double u = x - mx, v = y - my;
  sx = a * u - b * v + cx;
  sy = b * u + a * v + cy;
}

void KelAlignerMap::to_model(double x, double y, double &mx_, double &my_) const {
  double u = x - cx, v = y - cy, d = a * a + b * b;
  mx_ = (a * u + b * v) / d + mx;
  my_ = (-b * u + a * v) / d + my;
}

}  // namespace kel::aligner

namespace {

bool finite4(double a, double b, double c, double d) {
  return std::isfinite(a) && std::isfinite(b) && std::isfinite(c) && std::isfinite(d);
}

}  // namespace

extern "C" {

KELKIT_API KelAligner *kel_aligner_create(int *status) {
  if (status) *status = KEL_OK;
  KelAligner *al = new (std::nothrow) KelAligner;
  if (!al) {
    int code = kel::fail("kel_aligner_create", KEL_ERR_NO_MEMORY, "Out of memory");
    if (status) *status = code;
  }
  return al;
}

KELKIT_API void kel_aligner_delete(KelAligner *aligner) {
  delete aligner;
}

KELKIT_API int kel_aligner_train(KelAligner *aligner, double x1, double y1, double x2, double y2) {
  return kel::guarded("kel_aligner_train", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, aligner, "aligner is NULL")) return e;
    if (!finite4(x1, y1, x2, y2)) return kel::fail(fn, KEL_ERR_ARGUMENT, "Not finite");
    if (x1 == x2 && y1 == y2) return kel::fail(fn, KEL_ERR_ARGUMENT, "Model points coincide");
    aligner->model[0] = x1, aligner->model[1] = y1, aligner->model[2] = x2, aligner->model[3] = y2;
    aligner->trained = true;
    aligner->computed = false;
    return KEL_OK;
  });
}

KELKIT_API int kel_aligner_set_rect(KelAligner *aligner, int x, int y, int dx, int dy) {
  return kel::guarded("kel_aligner_set_rect", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, aligner, "aligner is NULL")) return e;
    if (dx < 1 || dy < 1) return kel::fail(fn, KEL_ERR_ARGUMENT, "Rectangle size below 1");
    aligner->rect[0] = x, aligner->rect[1] = y, aligner->rect[2] = dx, aligner->rect[3] = dy;
    aligner->has_rect = true;
    return KEL_OK;
  });
}

KELKIT_API void kel_aligner_set_scale_mode(KelAligner *aligner, int on) {
  if (!aligner) return;
  aligner->scale_mode = on != 0;
  aligner->computed = false;
}

KELKIT_API int kel_aligner_get_scale_mode(const KelAligner *aligner) {
  return aligner && aligner->scale_mode ? 1 : 0;
}

KELKIT_API int kel_aligner_compute(KelAligner *aligner, double x1, double y1, double x2,
                                   double y2) {
  return kel::guarded("kel_aligner_compute", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, aligner, "aligner is NULL")) return e;
    if (!aligner->trained) return kel::fail(fn, KEL_ERR_ARGUMENT, "Must initialize");
    if (!finite4(x1, y1, x2, y2)) return kel::fail(fn, KEL_ERR_ARGUMENT, "Not finite");
    if (x1 == x2 && y1 == y2) return kel::fail(fn, KEL_ERR_ARGUMENT, "Scene points coincide");
    const double *m = aligner->model;
    double mu = m[2] - m[0], mv = m[3] - m[1], su = x2 - x1, sv = y2 - y1;
    double angle = std::atan2(mu * sv - mv * su, mu * su + mv * sv);
    double scale = aligner->scale_mode ? std::hypot(su, sv) / std::hypot(mu, mv) : 1.0;
    kel::aligner::KelAlignerMap &map = aligner->map;
    map.a = scale * std::cos(angle);
    map.b = scale * std::sin(angle);
    map.mx = (m[0] + m[2]) / 2, map.my = (m[1] + m[3]) / 2;
    map.cx = (x1 + x2) / 2, map.cy = (y1 + y2) / 2;
    aligner->angle = angle * 180 / std::numbers::pi;
    if (aligner->angle <= -180) aligner->angle += 360;
    aligner->scale = scale;
    aligner->computed = true;
    return KEL_OK;
  });
}

KELKIT_API int kel_aligner_get_result(const KelAligner *aligner, double *angle, double *scale,
                                      double *shift_x, double *shift_y) {
  return kel::guarded("kel_aligner_get_result", [&](const char *fn) -> int {
    if (int e = kel::aligner::need_computed(fn, aligner)) return e;
    double sx, sy;
    aligner->map.to_scene(0, 0, sx, sy);
    if (angle) *angle = aligner->angle;
    if (scale) *scale = aligner->scale;
    if (shift_x) *shift_x = sx;
    if (shift_y) *shift_y = sy;
    return KEL_OK;
  });
}

KELKIT_API int kel_aligner_model_to_scene(const KelAligner *aligner, double x, double y, double *sx,
                                          double *sy) {
  return kel::guarded("kel_aligner_model_to_scene", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, aligner, "aligner is NULL")) return e;
    if (!sx || !sy) return kel::fail(fn, KEL_ERR_ARGUMENT, "pointer is NULL");
    if (int e = kel::aligner::need_computed(fn, aligner)) return e;
    aligner->map.to_scene(x, y, *sx, *sy);
    return KEL_OK;
  });
}

KELKIT_API int kel_aligner_scene_to_model(const KelAligner *aligner, double x, double y, double *mx,
                                          double *my) {
  return kel::guarded("kel_aligner_scene_to_model", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, aligner, "aligner is NULL")) return e;
    if (!mx || !my) return kel::fail(fn, KEL_ERR_ARGUMENT, "pointer is NULL");
    if (int e = kel::aligner::need_computed(fn, aligner)) return e;
    aligner->map.to_model(x, y, *mx, *my);
    return KEL_OK;
  });
}

}  // extern "C"
