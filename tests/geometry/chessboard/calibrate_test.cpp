// Camera calibration of a simulated camera: from exact corner positions
// with noise, and end to end from rendered boards through the corner
// finder; measuring on the target plane through the result; failures.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "board_views.hpp"
#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

constexpr int kCols = 9, kRows = 6;
constexpr double kSquare = 10;

board::Camera simulated() {
  board::Camera cam;
  cam.f = 812;
  cam.cx = 322.3;
  cam.cy = 236.8;
  const double d[4] = {-0.21, 0.06, 0.0012, -0.0009};
  std::copy(d, d + 4, cam.dist);
  return cam;
}

const board::Pose kPoses[] = {
    {0, 0, 5, 270},      {25, 0, -10, 260},   {-25, 5, 20, 280},    {0, 28, 90, 270},
    {5, -30, 45, 260},   {30, 20, 170, 300},  {-20, -25, -60, 290}, {15, -15, 0, 240},
    {-30, 15, 120, 300}, {20, 30, -150, 280},
};

struct Data {
  std::vector<int> counts;
  std::vector<double> px, py, wx, wy;
  void add(const std::vector<double> &x, const std::vector<double> &y) {
    counts.push_back(int(x.size()));
    px.insert(px.end(), x.begin(), x.end());
    py.insert(py.end(), y.begin(), y.end());
    for (int j = 0; j < kRows; ++j)
      for (int i = 0; i < kCols; ++i)
        wx.push_back(i * kSquare), wy.push_back(j * kSquare);
  }
  int calibrate(KelXfm *xfm, double *view_rms, int plane_view = 0) const {
    return kel_calibrate_camera(int(counts.size()), counts.data(), px.data(), py.data(), wx.data(),
                                wy.data(), plane_view, xfm, view_rms);
  }
};

void expect_camera(const KelXfm *xfm, const board::Camera &cam, double f_tolerance) {
  double k[5], d[4];
  ASSERT_EQ(kel_xfm_get_camera(xfm, k, d, nullptr), 0);
  EXPECT_NEAR(k[0] / cam.f, 1, f_tolerance);
  EXPECT_NEAR(k[1] / cam.f, 1, f_tolerance);
  EXPECT_NEAR(k[3], cam.cx, 2.0);  // the principal point is less well determined
  EXPECT_NEAR(k[4], cam.cy, 2.0);
  EXPECT_NEAR(d[0], cam.dist[0], 0.01);
}

TEST(Calibration, RecoversTheCameraFromNoisyCorners) {
  const board::Camera cam = simulated();
  Data data;
  std::mt19937 gen(5);
  std::normal_distribution<double> noise(0, 0.05);
  for (const board::Pose &pose : kPoses) {
    KelXfm *view = board::view(cam, pose, kCols, kRows, kSquare);
    std::vector<double> x, y;
    board::corners(view, kCols, kRows, kSquare, x, y);
    for (std::size_t k = 0; k < x.size(); ++k)
      x[k] += noise(gen), y[k] += noise(gen);
    data.add(x, y);
    kel_xfm_delete(view);
  }
  KelXfm *xfm = kel_xfm_create(nullptr);
  std::vector<double> view_rms(10);
  ASSERT_EQ(data.calibrate(xfm, view_rms.data()), 0);
  expect_camera(xfm, cam, 0.002);
  EXPECT_NEAR(kel_xfm_get_rms(xfm), 0.05 * std::sqrt(2.0), 0.01);
  for (double r : view_rms)
    EXPECT_LT(r, 0.1);
  EXPECT_EQ(kel_xfm_get_point_count(xfm), 540);
  EXPECT_EQ(kel_xfm_get_kind(xfm), KEL_XFM_CAMERA);
  kel_xfm_delete(xfm);
}

TEST(Calibration, WideAngleLensFromThreeViews) {
  // A short focal length with strong barrel distortion seen in only three
  // views, boards off the optical axis: exact corners give the exact camera.
  board::Camera cam;
  cam.f = 500, cam.cx = 330, cam.cy = 230, cam.dist[0] = -0.45, cam.dist[1] = 0.1;
  const board::Pose poses[] = {{25, 0, -10, 160}, {0, 28, 90, 170}, {-20, -25, -60, 190}};
  Data data;
  for (int v = 0; v < 3; ++v) {
    KelXfm *view = board::view(cam, poses[v], kCols, kRows, kSquare, 30.0 * (v - 1), v ? 20 : -20);
    std::vector<double> x, y;
    board::corners(view, kCols, kRows, kSquare, x, y);
    data.add(x, y);
    kel_xfm_delete(view);
  }
  KelXfm *xfm = kel_xfm_create(nullptr);
  ASSERT_EQ(data.calibrate(xfm, nullptr), 0);
  double k[5], d[4];
  ASSERT_EQ(kel_xfm_get_camera(xfm, k, d, nullptr), 0);
  EXPECT_NEAR(k[0], 500, 1e-4);
  EXPECT_NEAR(k[3], 330, 1e-4);
  EXPECT_NEAR(d[0], -0.45, 1e-6);
  EXPECT_LT(kel_xfm_get_rms(xfm), 1e-6);
  kel_xfm_delete(xfm);
}

TEST(Calibration, EndToEndFromRenderedBoards) {
  const board::Camera cam = simulated();
  Data data;
  kt::TestImage img = kt::image(BYTE, 640, 480);
  unsigned seed = 1;
  for (const board::Pose &pose : kPoses) {
    KelXfm *view = board::view(cam, pose, kCols, kRows, kSquare);
    ASSERT_EQ(kel_chessboard_render(img, view, kCols, kRows, kSquare, 1.0, 2, 0.3, seed++), 0);
    std::vector<double> x(kCols * kRows), y(kCols * kRows);
    ASSERT_EQ(kel_chessboard_find(img, kCols, kRows, x.data(), y.data()), 0);
    data.add(x, y);
    kel_xfm_delete(view);
  }
  KelXfm *xfm = kel_xfm_create(nullptr);
  ASSERT_EQ(data.calibrate(xfm, nullptr, 3), 0);
  expect_camera(xfm, cam, 0.002);
  EXPECT_LT(kel_xfm_get_rms(xfm), 0.1);
  // Measuring on the plane of view 3: the corners found there, mapped back
  // to the plane, lie at their world positions (up to the grid's turn).
  const int s = 3 * kCols * kRows;
  double ax, ay, bx, by;
  ASSERT_EQ(kel_xfm_pixel_to_world(xfm, data.px[s], data.py[s], &ax, &ay), 0);
  ASSERT_EQ(kel_xfm_pixel_to_world(xfm, data.px[s + kCols * kRows - 1],
                                   data.py[s + kCols * kRows - 1], &bx, &by),
            0);
  EXPECT_NEAR(std::hypot(bx - ax, by - ay), std::hypot(80.0, 50.0), 0.02);
  kel_xfm_delete(xfm);
}

TEST(Calibration, Failures) {
  const board::Camera cam = simulated();
  Data data, parallel;
  for (int v = 0; v < 3; ++v) {
    KelXfm *view = board::view(cam, kPoses[v], kCols, kRows, kSquare);
    KelXfm *flat = board::view(cam, {0, 0, 30.0 * v, 250.0 + 30 * v}, kCols, kRows, kSquare);
    std::vector<double> x, y;
    board::corners(view, kCols, kRows, kSquare, x, y);
    data.add(x, y);
    board::corners(flat, kCols, kRows, kSquare, x, y);
    parallel.add(x, y);
    kel_xfm_delete(view);
    kel_xfm_delete(flat);
  }
  KelXfm *xfm = kel_xfm_create(nullptr);
  const int few[3] = {54, 5, 54};
  auto run = [](int status, int code) {
    EXPECT_EQ(status, code);
    EXPECT_REPORT("kel_calibrate_camera", code);
    kt::clear_report();
  };
  const double *p = data.px.data();
  run(kel_calibrate_camera(3, data.counts.data(), p, p, p, p, 0, nullptr, nullptr), 10);
  run(kel_calibrate_camera(3, nullptr, p, p, p, p, 0, xfm, nullptr), 10);
  run(kel_calibrate_camera(1, data.counts.data(), p, p, p, p, 0, xfm, nullptr), 10);
  run(kel_calibrate_camera(3, few, p, p, p, p, 0, xfm, nullptr), 10);
  run(kel_calibrate_camera(3, data.counts.data(), p, p, p, p, 3, xfm, nullptr), 10);
  run(parallel.calibrate(xfm, nullptr), KEL_ERR_NOT_FOUND);
  EXPECT_EQ(kel_xfm_get_kind(xfm), KEL_XFM_NONE);  // unchanged
  EXPECT_EQ(data.calibrate(xfm, nullptr), 0);      // three tilted views suffice
  kel_xfm_delete(xfm);
}

}  // namespace
