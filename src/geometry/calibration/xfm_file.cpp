// Text files of the calibration transforms: kel_xfm_save, kel_xfm_load,
// kel_perspective_xfm_save, kel_perspective_xfm_load.
#include <cmath>
#include <vector>

#include "frame/call.hpp"
#include "geometry/calibration/solve.hpp"
#include "geometry/calibration/text_file.hpp"
#include "geometry/calibration/xfm_record.hpp"

namespace {

constexpr std::size_t kFileLimit = 64 * 1024;
const char *const kXfmHeader = "kelkit-xfm 1";
const char *const kPerspectiveHeader = "kelkit-perspective-xfm 1";

// Reads and parses; returns 0 or the reported code.
int read_file(const char *fn, const char *path, const char *header,
              const std::vector<std::string> &keys, const std::vector<int> &counts,
              std::vector<double> &values) {
  std::string text;
  bool opened = false;
  if (!kel::calib::read_bounded(path, kFileLimit, text, opened))
    return kel::fail(fn, KEL_ERR_FILE, opened ? "Bad xfm file" : "Cannot open file");
  if (!kel::calib::parse_keyed(text, header, keys, counts, values))
    return kel::fail(fn, KEL_ERR_FILE, "Bad xfm file");
  return KEL_OK;
}

bool whole(double v, double lo, double hi) {
  return v == std::floor(v) && v >= lo && v <= hi;
}

}  // namespace

extern "C" {

KELKIT_API int kel_xfm_save(const KelXfm *xfm, const char *path) {
  return kel::guarded("kel_xfm_save", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, xfm, "xfm is NULL")) return e;
    if (int e = kel::need_pointer(fn, path)) return e;
    if (xfm->kind == KEL_XFM_NONE) return kel::fail(fn, KEL_ERR_ARGUMENT, "Must initialize");
    const kel::calib::CameraModel &m = xfm->model;
    bool ok = kel::calib::write_keyed(path, kXfmHeader,
                                      {"kind", "intrinsics", "distortion", "plane", "residuals"},
                                      {{double(xfm->kind)},
                                       {m.fx, m.fy, m.skew, m.cx, m.cy},
                                       {m.k1, m.k2, m.p1, m.p2},
                                       std::vector<double>(m.plane, m.plane + 9),
                                       {xfm->rms, xfm->max_residual, double(xfm->points)}});
    return ok ? KEL_OK : kel::fail(fn, KEL_ERR_FILE, "Cannot write file");
  });
}

KELKIT_API int kel_xfm_load(KelXfm *xfm, const char *path) {
  return kel::guarded("kel_xfm_load", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, xfm, "xfm is NULL")) return e;
    if (int e = kel::need_pointer(fn, path)) return e;
    std::vector<double> v;
    if (int e = read_file(fn, path, kXfmHeader,
                          {"kind", "intrinsics", "distortion", "plane", "residuals"},
                          {1, 5, 4, 9, 3}, v))
      return e;
    if (!whole(v[0], KEL_XFM_AFFINE, KEL_XFM_CAMERA))
      return kel::fail(fn, KEL_ERR_FILE, "Bad xfm file");
    KelXfm loaded;
    loaded.kind = int(v[0]);
    kel::calib::CameraModel &m = loaded.model;
    m.fx = v[1], m.fy = v[2], m.skew = v[3], m.cx = v[4], m.cy = v[5];
    m.k1 = v[6], m.k2 = v[7], m.p1 = v[8], m.p2 = v[9];
    std::copy(v.begin() + 10, v.begin() + 19, m.plane);
    loaded.rms = v[19];
    loaded.max_residual = v[20];
    bool ok = m.valid() && v[19] >= 0 && v[20] >= 0 && whole(v[21], 0, 1e9);
    if (ok && loaded.kind == KEL_XFM_AFFINE)
      ok = m.fx == 1 && m.fy == 1 && m.skew == 0 && m.cx == 0 && m.cy == 0 && !m.distorted() &&
           m.plane[6] == 0 && m.plane[7] == 0 && m.plane[8] == 1;
    if (!ok) return kel::fail(fn, KEL_ERR_FILE, "Bad xfm file");
    loaded.points = int(v[21]);
    *xfm = loaded;
    return KEL_OK;
  });
}

KELKIT_API int kel_perspective_xfm_save(const KelPerspectiveXfm *xfm, const char *path) {
  return kel::guarded("kel_perspective_xfm_save", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, xfm, "xfm is NULL")) return e;
    if (int e = kel::need_pointer(fn, path)) return e;
    if (!xfm->computed) return kel::fail(fn, KEL_ERR_ARGUMENT, "Must initialize");
    bool ok = kel::calib::write_keyed(path, kPerspectiveHeader, {"matrix", "side", "residuals"},
                                      {std::vector<double>(xfm->h, xfm->h + 9),
                                       {double(xfm->side)},
                                       {xfm->rms, xfm->max_residual, double(xfm->points)}});
    return ok ? KEL_OK : kel::fail(fn, KEL_ERR_FILE, "Cannot write file");
  });
}

KELKIT_API int kel_perspective_xfm_load(KelPerspectiveXfm *xfm, const char *path) {
  return kel::guarded("kel_perspective_xfm_load", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, xfm, "xfm is NULL")) return e;
    if (int e = kel::need_pointer(fn, path)) return e;
    std::vector<double> v;
    if (int e =
            read_file(fn, path, kPerspectiveHeader, {"matrix", "side", "residuals"}, {9, 1, 3}, v))
      return e;
    KelPerspectiveXfm loaded;
    std::copy(v.begin(), v.begin() + 9, loaded.h);
    bool ok = v[8] == 1 && kel::calib::invert3(loaded.h, loaded.inverse) &&
              (v[9] == 1 || v[9] == -1) && v[10] >= 0 && v[11] >= 0 && whole(v[12], 0, 1e9);
    for (double x : loaded.inverse)
      ok = ok && std::isfinite(x);
    if (!ok) return kel::fail(fn, KEL_ERR_FILE, "Bad xfm file");
    loaded.computed = true;
    loaded.side = int(v[9]);
    loaded.rms = v[10];
    loaded.max_residual = v[11];
    loaded.points = int(v[12]);
    *xfm = loaded;
    return KEL_OK;
  });
}

}  // extern "C"
