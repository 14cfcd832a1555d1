// Chessboard corners and camera calibration beside OpenCV, on the same ten
// rendered 640 x 480 views of a 9 x 6 board seen by a simulated camera
// (focal length 812 px, barrel distortion), blur 1 px, noise 2 grey levels,
// light falling by 30 % across the image.
//   chessboard_find/<impl>/10: all ten views; kelkit's kel_chessboard_find
//     against findChessboardCorners + cornerSubPix (11 x 11 window, 0.001 px
//     or 30 iterations).
//   camera_calibrate/<impl>/10: calibration from each finder's own corners;
//     kel_calibrate_camera against calibrateCamera (k1, k2, p1, p2, no k3).
//   memcpy: the ten images' bytes copied once.
//   chessboard_find_hard/<impl>/10: the same views with blur 2.5 px, noise 6
//     grey levels and light falling by 70 %.
// Counters: boards found, corner RMS error against the truth (px), the
// calibration's reprojection RMS (px) and focal length error (%).
#include <opencv2/calib3d.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <cstring>
#include <vector>

#include "bench_support.hpp"

namespace {

constexpr int kCols = 9, kRows = 6, kViews = 10, kW = 640, kH = 480;
constexpr double kSquare = 10, kFocal = 812;

struct Board {
  kb::ImagePtr img;
  std::vector<double> x, y;  // true corners, row by row
};

KelXfm *camera_view(double tilt_x, double tilt_y, double roll, double distance) {
  const double d = 3.14159265358979323846 / 180;
  double ax = tilt_x * d, ay = tilt_y * d, az = roll * d;
  double cx = std::cos(ax), sx = std::sin(ax), cy = std::cos(ay), sy = std::sin(ay);
  double cz = std::cos(az), sz = std::sin(az);
  // R = Rz Ry Rx
  double r[9] = {cz * cy,
                 cz * sy * sx - sz * cx,
                 cz * sy * cx + sz * sx,
                 sz * cy,
                 sz * sy * sx + cz * cx,
                 sz * sy * cx - cz * sx,
                 -sy,
                 cy * sx,
                 cy * cx};
  const double c0 = (kCols - 1) * kSquare / 2, c1 = (kRows - 1) * kSquare / 2;
  double t[3] = {-(r[0] * c0 + r[1] * c1), -(r[3] * c0 + r[4] * c1),
                 -(r[6] * c0 + r[7] * c1) + distance};
  const double plane[9] = {r[0], r[1], t[0], r[3], r[4], t[1], r[6], r[7], t[2]};
  const double k[5] = {kFocal, kFocal, 0, 322.3, 236.8}, dist[4] = {-0.21, 0.06, 0.0012, -0.0009};
  KelXfm *xfm = kel_xfm_create(nullptr);
  kel_xfm_set_camera(xfm, k, dist, plane);
  return xfm;
}

struct Look {
  double blur, noise, shading;
};

std::vector<Board> render_views(Look look) {
  const double poses[kViews][4] = {{0, 0, 5, 270},       {25, 0, -10, 260}, {-25, 5, 20, 280},
                                   {0, 28, 90, 270},     {5, -30, 45, 260}, {30, 20, 170, 300},
                                   {-20, -25, -60, 290}, {15, -15, 0, 240}, {-30, 15, 120, 300},
                                   {20, 30, -150, 280}};
  std::vector<Board> out;
  for (int v = 0; v < kViews; ++v) {
    KelXfm *xfm = camera_view(poses[v][0], poses[v][1], poses[v][2], poses[v][3]);
    Board b{kb::ImagePtr(im_create(BYTE, kW, kH)), {}, {}};
    kel_chessboard_render(b.img.get(), xfm, kCols, kRows, kSquare, look.blur, look.noise,
                          look.shading, v + 1);
    for (int j = 0; j < kRows; ++j)
      for (int i = 0; i < kCols; ++i) {
        double u, w;
        kel_xfm_world_to_pixel(xfm, i * kSquare, j * kSquare, &u, &w);
        b.x.push_back(u);
        b.y.push_back(w);
      }
    kel_xfm_delete(xfm);
    out.push_back(std::move(b));
  }
  return out;
}

// The standard views (blur 1, noise 2, light falling by 30 %) and hard ones
// (blur 2.5, noise 6, light falling by 70 %).
const std::vector<Board> &boards(bool hard = false) {
  static const std::vector<Board> standard = render_views({1.0, 2, 0.3});
  static const std::vector<Board> harsh = render_views({2.5, 6, 0.7});
  return hard ? harsh : standard;
}

// RMS distance to the truth, matching the found order to the truth's or
// its reverse (either end of the grid may come first).
double corner_error(const Board &b, const std::vector<double> &x, const std::vector<double> &y) {
  double best = 1e30;
  for (int reversed = 0; reversed < 2; ++reversed) {
    double sum = 0;
    for (std::size_t k = 0; k < x.size(); ++k) {
      std::size_t t = reversed ? x.size() - 1 - k : k;
      sum += std::pow(x[k] - b.x[t], 2) + std::pow(y[k] - b.y[t], 2);
    }
    best = std::min(best, std::sqrt(sum / x.size()));
  }
  return best;
}

struct Found {
  std::vector<std::vector<double>> x, y;  // per found board
  double corner_rms = 0;
};

Found find_kel(bool hard = false) {
  Found f;
  double sum = 0;
  for (const Board &b : boards(hard)) {
    std::vector<double> x(kCols * kRows), y(kCols * kRows);
    if (kel_chessboard_find(b.img.get(), kCols, kRows, x.data(), y.data()) != 0) continue;
    double e = corner_error(b, x, y);
    sum += e * e;
    f.x.push_back(x);
    f.y.push_back(y);
  }
  f.corner_rms = f.x.empty() ? 0 : std::sqrt(sum / f.x.size());
  return f;
}

Found find_cv(bool hard = false) {
  Found f;
  double sum = 0;
  for (const Board &b : boards(hard)) {
    cv::Mat m = kb::as_mat(b.img.get());
    std::vector<cv::Point2f> corners;
    if (!cv::findChessboardCorners(m, cv::Size(kCols, kRows), corners,
                                   cv::CALIB_CB_ADAPTIVE_THRESH | cv::CALIB_CB_NORMALIZE_IMAGE))
      continue;
    cv::cornerSubPix(m, corners, cv::Size(5, 5), cv::Size(-1, -1),
                     cv::TermCriteria(cv::TermCriteria::EPS | cv::TermCriteria::COUNT, 30, 0.001));
    std::vector<double> x, y;
    for (const cv::Point2f &p : corners)
      x.push_back(p.x), y.push_back(p.y);
    double e = corner_error(b, x, y);
    sum += e * e;
    f.x.push_back(x);
    f.y.push_back(y);
  }
  f.corner_rms = f.x.empty() ? 0 : std::sqrt(sum / f.x.size());
  return f;
}

struct Calibrated {
  double rms = 0, focal = 0;
};

Calibrated calibrate_kel(const Found &f) {
  std::vector<int> counts;
  std::vector<double> px, py, wx, wy;
  for (std::size_t v = 0; v < f.x.size(); ++v) {
    counts.push_back(kCols * kRows);
    px.insert(px.end(), f.x[v].begin(), f.x[v].end());
    py.insert(py.end(), f.y[v].begin(), f.y[v].end());
    for (int j = 0; j < kRows; ++j)
      for (int i = 0; i < kCols; ++i)
        wx.push_back(i * kSquare), wy.push_back(j * kSquare);
  }
  KelXfm *xfm = kel_xfm_create(nullptr);
  Calibrated c;
  if (kel_calibrate_camera(int(counts.size()), counts.data(), px.data(), py.data(), wx.data(),
                           wy.data(), 0, xfm, nullptr) == 0) {
    double k[5];
    kel_xfm_get_camera(xfm, k, nullptr, nullptr);
    c.rms = kel_xfm_get_rms(xfm);
    c.focal = k[0];
  }
  kel_xfm_delete(xfm);
  return c;
}

Calibrated calibrate_cv(const Found &f) {
  std::vector<std::vector<cv::Point3f>> object;
  std::vector<std::vector<cv::Point2f>> image;
  for (std::size_t v = 0; v < f.x.size(); ++v) {
    std::vector<cv::Point3f> o;
    std::vector<cv::Point2f> p;
    for (int j = 0; j < kRows; ++j)
      for (int i = 0; i < kCols; ++i) {
        o.emplace_back(float(i * kSquare), float(j * kSquare), 0.f);
        p.emplace_back(float(f.x[v][j * kCols + i]), float(f.y[v][j * kCols + i]));
      }
    object.push_back(o);
    image.push_back(p);
  }
  cv::Mat k, d;
  std::vector<cv::Mat> rv, tv;
  Calibrated c;
  c.rms = cv::calibrateCamera(object, image, cv::Size(kW, kH), k, d, rv, tv, cv::CALIB_FIX_K3);
  c.focal = k.at<double>(0, 0);
  return c;
}

void set_find_counters(benchmark::State &st, const Found &f) {
  st.counters["found"] = double(f.x.size());
  st.counters["corner_rms_px"] = f.corner_rms;
}

void set_calibration_counters(benchmark::State &st, const Calibrated &c) {
  st.counters["reproj_rms_px"] = c.rms;
  st.counters["focal_err_pct"] = 100 * std::fabs(c.focal / kFocal - 1);
}

template <class Fn>
void add(const char *name, const char *impl, Fn fn) {
  benchmark::RegisterBenchmark((std::string(name) + "/" + impl + "/10").c_str(), fn)
      ->Unit(benchmark::kMillisecond)
      ->UseRealTime();
}

const bool registered = [] {
  add("chessboard_find", "kel", [](benchmark::State &st) {
    Found f;
    for (auto _ : st)
      f = find_kel();
    set_find_counters(st, f);
  });
  add("chessboard_find", "cv", [](benchmark::State &st) {
    cv::setNumThreads(1);
    Found f;
    for (auto _ : st)
      f = find_cv();
    set_find_counters(st, f);
  });
  add("chessboard_find_hard", "kel", [](benchmark::State &st) {
    Found f;
    for (auto _ : st)
      f = find_kel(true);
    set_find_counters(st, f);
  });
  add("chessboard_find_hard", "cv", [](benchmark::State &st) {
    cv::setNumThreads(1);
    Found f;
    for (auto _ : st)
      f = find_cv(true);
    set_find_counters(st, f);
  });
  add("chessboard_find", "memcpy", [](benchmark::State &st) {
    std::vector<unsigned char> to(std::size_t(kW) * kH);
    for (auto _ : st)
      for (const Board &b : boards()) {
        std::memcpy(to.data(), b.img->data, to.size());
        benchmark::ClobberMemory();
      }
  });
  add("camera_calibrate", "kel", [](benchmark::State &st) {
    const Found f = find_kel();
    Calibrated c;
    for (auto _ : st)
      c = calibrate_kel(f);
    set_calibration_counters(st, c);
  });
  add("camera_calibrate", "cv", [](benchmark::State &st) {
    cv::setNumThreads(1);
    const Found f = find_cv();
    Calibrated c;
    for (auto _ : st)
      c = calibrate_cv(f);
    set_calibration_counters(st, c);
  });
  return true;
}();

}  // namespace
