// Camera calibration from views of a planar target: kel_calibrate_camera.
// A closed-form estimate of the intrinsics from the views' homographies
// (each homography gives two constraints on the image of the absolute
// conic; skew is held at zero), poses from the homographies, then a
// Levenberg-Marquardt refinement of intrinsics, distortion and every pose
// on the pixel residuals.
#include <cmath>
#include <vector>

#include "frame/call.hpp"
#include "geometry/calibration/rotation.hpp"
#include "geometry/calibration/solve.hpp"
#include "geometry/calibration/xfm_record.hpp"

namespace {

using kel::calib::CameraModel;

constexpr int kIntrinsics = 8;  // fx, fy, cx, cy, k1, k2, p1, p2

struct Views {
  int count;
  std::vector<int> start, size;
  const double *px, *py, *wx, *wy;
};

// Row v_ij of the closed-form system for the homography columns i and j.
void conic_row(const double *h, int i, int j, double *row) {
  const double hi[3] = {h[i], h[3 + i], h[6 + i]}, hj[3] = {h[j], h[3 + j], h[6 + j]};
  row[0] = hi[0] * hj[0];
  row[1] = hi[0] * hj[1] + hi[1] * hj[0];
  row[2] = hi[1] * hj[1];
  row[3] = hi[2] * hj[0] + hi[0] * hj[2];
  row[4] = hi[2] * hj[1] + hi[1] * hj[2];
  row[5] = hi[2] * hj[2];
}

// Intrinsics (fx, fy, cx, cy) from normalised homographies; false when the
// views do not determine them.
bool closed_form(const std::vector<std::vector<double>> &hs, double *k, bool &degenerate) {
  std::vector<double> rows;
  for (const auto &h : hs) {
    double v12[6], v11[6], v22[6];
    conic_row(h.data(), 0, 1, v12);
    conic_row(h.data(), 0, 0, v11);
    conic_row(h.data(), 1, 1, v22);
    rows.insert(rows.end(), v12, v12 + 6);
    for (int c = 0; c < 6; ++c)
      rows.push_back(v11[c] - v22[c]);
  }
  // Zero skew, weighted to hold.
  const double skew_row[6] = {0, 1e3, 0, 0, 0, 0};
  rows.insert(rows.end(), skew_row, skew_row + 6);
  std::vector<double> ata(36, 0.0), values, vectors;
  for (std::size_t r = 0; r < rows.size() / 6; ++r)
    for (int i = 0; i < 6; ++i)
      for (int j = 0; j < 6; ++j)
        ata[i * 6 + j] += rows[r * 6 + i] * rows[r * 6 + j];
  kel::calib::sym_eigen(6, ata, values, vectors);
  // Views that do not tell the focal lengths apart from the distance (all
  // parallel to the target, say) leave a second near-null direction.
  degenerate = !(values[1] > 1e-6 * values[4]);
  if (degenerate) return false;
  std::vector<double> b(6);
  for (int i = 0; i < 6; ++i)
    b[i] = vectors[i * 6];
  if (b[0] < 0)
    for (double &v : b)
      v = -v;
  const double b11 = b[0], b12 = b[1], b22 = b[2], b13 = b[3], b23 = b[4], b33 = b[5];
  const double d = b11 * b22 - b12 * b12;
  if (!(b11 > 0) || !(d > 0)) return false;
  const double v0 = (b12 * b13 - b11 * b23) / d;
  const double lambda = b33 - (b13 * b13 + v0 * (b12 * b13 - b11 * b23)) / b11;
  if (!(lambda / b11 > 0)) return false;
  const double alpha = std::sqrt(lambda / b11), beta = std::sqrt(lambda * b11 / d);
  const double u0 = -b13 * alpha * alpha / lambda;
  k[0] = alpha, k[1] = beta, k[2] = u0, k[3] = v0;
  return std::isfinite(alpha) && std::isfinite(beta) && std::isfinite(u0) && std::isfinite(v0);
}

// Focal lengths alone, with the principal point taken at the centre of the
// pixels (the origin of the normalised coordinates): a fallback for views
// that leave the full closed form unsolvable (few views, strong lens
// distortion). The refinement then frees the principal point.
bool closed_form_centred(const std::vector<std::vector<double>> &hs, double *k) {
  std::vector<double> rows;
  for (const auto &h : hs) {
    const double *m = h.data();
    // Columns 1 and 2; with B = diag(b11, b22, b33) the constraints are
    // h1^T B h2 = 0 and h1^T B h1 = h2^T B h2.
    rows.insert(rows.end(), {m[0] * m[1], m[3] * m[4], m[6] * m[7]});
    rows.insert(rows.end(),
                {m[0] * m[0] - m[1] * m[1], m[3] * m[3] - m[4] * m[4], m[6] * m[6] - m[7] * m[7]});
  }
  std::vector<double> ata(9, 0.0), values, vectors;
  for (std::size_t r = 0; r < rows.size() / 3; ++r)
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j)
        ata[i * 3 + j] += rows[r * 3 + i] * rows[r * 3 + j];
  kel::calib::sym_eigen(3, ata, values, vectors);
  if (!(values[1] > 1e-6 * values[2])) return false;
  double b11 = vectors[0], b22 = vectors[3], b33 = vectors[6];
  if (b33 < 0) b11 = -b11, b22 = -b22, b33 = -b33;
  if (!(b11 > 0) || !(b22 > 0) || !(b33 > 0)) return false;
  k[0] = std::sqrt(b33 / b11), k[1] = std::sqrt(b33 / b22), k[2] = 0, k[3] = 0;
  return std::isfinite(k[0]) && std::isfinite(k[1]);
}

// Pose (rotation vector, translation) of a view from its homography.
bool pose_from(const double *h, const double *k, double *pose) {
  double kinv[9] = {1 / k[0], 0, -k[2] / k[0], 0, 1 / k[1], -k[3] / k[1], 0, 0, 1}, a[9];
  kel::calib::mul3(kinv, h, a);
  double n1 = std::sqrt(a[0] * a[0] + a[3] * a[3] + a[6] * a[6]);
  double n2 = std::sqrt(a[1] * a[1] + a[4] * a[4] + a[7] * a[7]);
  if (!(n1 > 0) || !(n2 > 0)) return false;
  double s = 2 / (n1 + n2);
  if (a[8] * s < 0) s = -s;  // the target lies in front of the camera
  double r1[3] = {a[0] * s, a[3] * s, a[6] * s}, r2[3] = {a[1] * s, a[4] * s, a[7] * s};
  double r3[3] = {r1[1] * r2[2] - r1[2] * r2[1], r1[2] * r2[0] - r1[0] * r2[2],
                  r1[0] * r2[1] - r1[1] * r2[0]};
  const double m[9] = {r1[0], r2[0], r3[0], r1[1], r2[1], r3[1], r1[2], r2[2], r3[2]};
  double r[9];
  kel::calib::nearest_rotation(m, r);
  kel::calib::rotation_vector(r, pose);
  pose[3] = a[2] * s, pose[4] = a[5] * s, pose[5] = a[8] * s;
  return pose[5] > 0;
}

CameraModel model_of(const double *p, const double *pose) {
  CameraModel m;
  m.fx = p[0], m.fy = p[1], m.cx = p[2], m.cy = p[3];
  m.k1 = p[4], m.k2 = p[5], m.p1 = p[6], m.p2 = p[7];
  double r[9];
  kel::calib::rotation_matrix(pose, r);
  const double plane[9] = {r[0], r[1], pose[3], r[3], r[4], pose[4], r[6], r[7], pose[5]};
  std::copy(plane, plane + 9, m.plane);
  return m;
}

// Residuals of view v into r (2 per point).
bool view_residuals(const Views &vs, int v, const double *p, double *r) {
  CameraModel m = model_of(p, p + kIntrinsics + 6 * v);
  for (int k = 0; k < vs.size[v]; ++k) {
    int i = vs.start[v] + k;
    double u, w;
    if (!m.world_to_pixel(vs.wx[i], vs.wy[i], u, w)) return false;
    r[2 * k] = u - vs.px[i];
    r[2 * k + 1] = w - vs.py[i];
  }
  return true;
}

}  // namespace

extern "C" KELKIT_API int kel_calibrate_camera(int views, const int *counts, const double *px,
                                               const double *py, const double *wx, const double *wy,
                                               int plane_view, KelXfm *xfm, double *view_rms) {
  return kel::guarded("kel_calibrate_camera", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, xfm, "xfm is NULL")) return e;
    if (!counts || !px || !py || !wx || !wy)
      return kel::fail(fn, KEL_ERR_ARGUMENT, "pointer is NULL");
    if (views < 2 || views > 10000) return kel::fail(fn, KEL_ERR_ARGUMENT, "views < 2");
    if (plane_view < 0 || plane_view >= views)
      return kel::fail(fn, KEL_ERR_ARGUMENT, "plane_view out of range");
    Views vs{views, {}, {}, px, py, wx, wy};
    long long total = 0;
    for (int v = 0; v < views; ++v) {
      if (counts[v] < 6 || counts[v] > 1000000) return kel::fail(fn, KEL_ERR_ARGUMENT, "count < 6");
      vs.start.push_back(int(total));
      vs.size.push_back(counts[v]);
      total += counts[v];
    }
    if (total > 10000000) return kel::fail(fn, KEL_ERR_ARGUMENT, "Too many points");
    const int n = int(total);
    if (!kel::calib::finite_arrays(n, {px, py, wx, wy}))
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Not finite");
    // Homographies on pixel coordinates normalised by a similarity, which
    // keeps the closed form well conditioned.
    double mx = 0, my = 0, spread = 0;
    for (int i = 0; i < n; ++i)
      mx += px[i] / n, my += py[i] / n;
    for (int i = 0; i < n; ++i)
      spread = std::max(spread, std::hypot(px[i] - mx, py[i] - my));
    if (!(spread > 0)) return kel::fail(fn, KEL_ERR_NOT_FOUND, "Calibration failed");
    const double norm[9] = {1 / spread, 0, -mx / spread, 0, 1 / spread, -my / spread, 0, 0, 1};
    std::vector<std::vector<double>> hs(views, std::vector<double>(9));
    std::vector<std::vector<double>> raw(views, std::vector<double>(9));
    for (int v = 0; v < views; ++v) {
      int s = vs.start[v];
      if (!kel::calib::fit_homography(counts[v], wx + s, wy + s, px + s, py + s, raw[v].data()))
        return kel::fail(fn, KEL_ERR_NOT_FOUND, "Calibration failed");
      kel::calib::mul3(norm, raw[v].data(), hs[v].data());
    }
    double kn[4];
    bool degenerate = false;
    const bool solved = closed_form(hs, kn, degenerate);
    if (degenerate) return kel::fail(fn, KEL_ERR_NOT_FOUND, "Calibration failed");
    if (!solved && !closed_form_centred(hs, kn)) {
      // Strong distortion can bend the homographies too far for either
      // closed form: start from a focal length of the pixels' spread and
      // the principal point at their centre, which the refinement moves.
      kn[0] = kn[1] = 1, kn[2] = kn[3] = 0;
    }
    // Back to pixels: K = N^-1 K'.
    const double k[4] = {kn[0] * spread, kn[1] * spread, kn[2] * spread + mx, kn[3] * spread + my};
    const int np = kIntrinsics + 6 * views;
    std::vector<double> p(np, 0.0);
    p[0] = k[0], p[1] = k[1], p[2] = k[2], p[3] = k[3];
    for (int v = 0; v < views; ++v)
      if (!pose_from(raw[v].data(), k, &p[kIntrinsics + 6 * v]))
        return kel::fail(fn, KEL_ERR_NOT_FOUND, "Calibration failed");
    kel::calib::LeastSquares ls;
    ls.params = np;
    ls.residuals = 2 * n;
    ls.eval = [&](const double *q, double *r) {
      for (int v = 0; v < views; ++v)
        if (!view_residuals(vs, v, q, r + 2 * vs.start[v])) return false;
      return true;
    };
    // Each pose moves only its own view's residuals: its columns come from
    // that view alone.
    ls.jacobian = [&](const double *q, double *jac) {
      std::fill(jac, jac + std::size_t(2) * n * np, 0.0);
      std::vector<double> t(q, q + np), plus, minus;
      for (int v = 0; v < views; ++v) {
        const int rows = 2 * vs.size[v];
        plus.resize(rows);
        minus.resize(rows);
        auto column = [&](int c) {
          const double h = 1e-6 * std::max(1.0, std::fabs(q[c]));
          t[c] = q[c] + h;
          bool ok = view_residuals(vs, v, t.data(), plus.data());
          t[c] = q[c] - h;
          ok = ok && view_residuals(vs, v, t.data(), minus.data());
          t[c] = q[c];
          for (int i = 0; i < rows; ++i)
            jac[std::size_t(2 * vs.start[v] + i) * np + c] = (plus[i] - minus[i]) / (2 * h);
          return ok;
        };
        for (int c = 0; c < kIntrinsics; ++c)
          if (!column(c)) return false;
        for (int c = 0; c < 6; ++c)
          if (!column(kIntrinsics + 6 * v + c)) return false;
      }
      return true;
    };
    kel::calib::LmReport rep = kel::calib::levenberg_marquardt(ls, p, 100);
    if (!rep.ok) return kel::fail(fn, KEL_ERR_NOT_FOUND, "Calibration failed");
    std::vector<double> r(2 * n);
    if (!ls.eval(p.data(), r.data())) return kel::fail(fn, KEL_ERR_NOT_FOUND, "Calibration failed");
    KelXfm result;
    result.kind = KEL_XFM_CAMERA;
    result.model = model_of(p.data(), &p[kIntrinsics + 6 * plane_view]);
    if (!result.model.valid()) return kel::fail(fn, KEL_ERR_NOT_FOUND, "Calibration failed");
    double sum = 0;
    std::vector<double> per_view(views, 0.0);
    for (int v = 0; v < views; ++v) {
      double s = 0;
      for (int i = 0; i < vs.size[v]; ++i) {
        const double *e = &r[2 * (vs.start[v] + i)];
        double d2 = e[0] * e[0] + e[1] * e[1];
        s += d2;
        result.max_residual = std::max(result.max_residual, std::sqrt(d2));
      }
      sum += s;
      per_view[v] = std::sqrt(s / vs.size[v]);
    }
    result.rms = std::sqrt(sum / n);
    result.points = n;
    if (!std::isfinite(result.rms)) return kel::fail(fn, KEL_ERR_NOT_FOUND, "Calibration failed");
    *xfm = result;
    if (view_rms) std::copy(per_view.begin(), per_view.end(), view_rms);
    return KEL_OK;
  });
}
