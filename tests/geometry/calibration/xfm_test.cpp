// Camera-to-world transforms on synthetic ground truth: affine and lens-
// distortion fits, homographies from exact and noisy points, rectification,
// files written and read back, corrupt files, and every failure code.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

struct Pairs {
  std::vector<double> px, py, wx, wy;
  int n() const { return int(px.size()); }
};

// World points on an 11 x 9 grid (step 5) mapped through `truth`, with
// Gaussian pixel noise.
Pairs grid_through(const KelXfm *truth, double noise = 0) {
  Pairs p;
  std::mt19937 gen(3);
  std::normal_distribution<double> g(0, 1);
  for (int j = 0; j < 9; ++j)
    for (int i = 0; i < 11; ++i) {
      double u, v;
      EXPECT_EQ(kel_xfm_world_to_pixel(truth, i * 5.0, j * 5.0, &u, &v), 0);
      p.wx.push_back(i * 5.0);
      p.wy.push_back(j * 5.0);
      p.px.push_back(u + noise * g(gen));
      p.py.push_back(v + noise * g(gen));
    }
  return p;
}

struct XfmPtr {
  KelXfm *p = kel_xfm_create(nullptr);
  ~XfmPtr() { kel_xfm_delete(p); }
  operator KelXfm *() const { return p; }
};

std::string temp_file(const char *name) {
  return std::string(KELKIT_TEST_TMP_DIR) + "/xfm_" + std::to_string(getpid()) + "_" + name;
}

// Largest distance between the two transforms' world points over the grid's
// pixels.
double world_gap(const KelXfm *a, const KelXfm *b, const Pairs &p) {
  double worst = 0;
  for (int i = 0; i < p.n(); ++i) {
    double ax, ay, bx, by;
    EXPECT_EQ(kel_xfm_pixel_to_world(a, p.px[i], p.py[i], &ax, &ay), 0);
    EXPECT_EQ(kel_xfm_pixel_to_world(b, p.px[i], p.py[i], &bx, &by), 0);
    worst = std::max(worst, std::hypot(ax - bx, ay - by));
  }
  return worst;
}

TEST(Xfm, AffineAndDistortionFitsRecoverTheTruth) {
  XfmPtr truth, fit;
  const double k[5] = {1, 1, 0, 0, 0}, affine[9] = {4.1, 0.8, 50, -0.6, 3.9, 30, 0, 0, 1};
  ASSERT_EQ(kel_xfm_set_camera(truth, k, nullptr, affine), 0);
  Pairs p = grid_through(truth);
  ASSERT_EQ(kel_xfm_compute_affine(fit, p.n(), p.px.data(), p.py.data(), p.wx.data(), p.wy.data()),
            0);
  EXPECT_EQ(kel_xfm_get_kind(fit), KEL_XFM_AFFINE);
  EXPECT_LT(kel_xfm_get_rms(fit), 1e-10);
  EXPECT_EQ(kel_xfm_get_point_count(fit), 99);
  double plane[9];
  ASSERT_EQ(kel_xfm_get_camera(fit, nullptr, nullptr, plane), 0);
  for (int i = 0; i < 9; ++i)
    EXPECT_NEAR(plane[i], affine[i], 1e-10);
  EXPECT_LT(world_gap(truth, fit, p), 1e-10);

  // A lens with barrel distortion and a little tangential distortion around
  // (320, 240), focal length 800, seeing the grid in front of it.
  const double ki[5] = {800, 800, 0, 320, 240}, d[4] = {-0.25, 0.08, 0.001, -0.0015};
  const double lens_plane[9] = {0.012, 0.0007, -0.3, -0.0006, 0.0118, -0.25, 0, 0, 1};
  ASSERT_EQ(kel_xfm_set_camera(truth, ki, d, lens_plane), 0);
  for (double noise : {0.0, 0.05}) {
    p = grid_through(truth, noise);
    ASSERT_EQ(kel_xfm_compute_distortion(fit, p.n(), p.px.data(), p.py.data(), p.wx.data(),
                                         p.wy.data(), 320, 240),
              0);
    EXPECT_EQ(kel_xfm_get_kind(fit), KEL_XFM_DISTORTION);
    if (noise == 0) {
      EXPECT_LT(kel_xfm_get_rms(fit), 1e-6);
      EXPECT_LT(world_gap(truth, fit, p), 1e-6);
    } else {
      EXPECT_NEAR(kel_xfm_get_rms(fit), noise * std::sqrt(2.0), 0.02);
      EXPECT_LT(world_gap(truth, fit, p), 0.01);  // world units; a pixel is ~0.08
    }
    // The affine fit cannot follow the lens.
    XfmPtr flat;
    ASSERT_EQ(
        kel_xfm_compute_affine(flat, p.n(), p.px.data(), p.py.data(), p.wx.data(), p.wy.data()), 0);
    EXPECT_GT(kel_xfm_get_max_residual(flat), 3.0);
  }
  // Both ways round trip through the distortion.
  double wx, wy, u, v;
  ASSERT_EQ(kel_xfm_pixel_to_world(truth, 37.25, 455.5, &wx, &wy), 0);
  ASSERT_EQ(kel_xfm_world_to_pixel(truth, wx, wy, &u, &v), 0);
  EXPECT_NEAR(u, 37.25, 1e-9);
  EXPECT_NEAR(v, 455.5, 1e-9);
  // Strong barrel distortion (k1 = -0.3) folds back beyond an ideal radius
  // of 1/sqrt(0.9): points there, and pixels beyond the largest distorted
  // radius (0.703 f), have no image and are refused, not mapped wrongly.
  const double barrel[4] = {-0.3, 0, 0, 0}, unit[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  ASSERT_EQ(kel_xfm_set_camera(truth, ki, barrel, unit), 0);
  ASSERT_EQ(kel_xfm_world_to_pixel(truth, 1.0, 0, &u, &v), 0);
  EXPECT_NEAR(u, 320 + 800 * 0.7, 1e-9);
  ASSERT_EQ(kel_xfm_pixel_to_world(truth, u, v, &wx, &wy), 0);
  EXPECT_NEAR(wx, 1.0, 1e-9);
  kt::clear_report();
  EXPECT_EQ(kel_xfm_world_to_pixel(truth, 1.2, 0, &u, &v), 10);
  EXPECT_EQ(kel_xfm_pixel_to_world(truth, 320 + 600, 240, &wx, &wy), 10);
  EXPECT_REPORT("kel_xfm_pixel_to_world", 10);
  EXPECT_STREQ(im_last_message(), "Point outside the model");
}

TEST(Xfm, HomographyFromExactAndNoisyPoints) {
  const double h[9] = {3.2, 0.4, 100, -0.3, 2.9, 80, 0.0009, 0.0012, 1};
  auto map = [&h](double x, double y, double &u, double &v) {
    double w = h[6] * x + h[7] * y + h[8];
    u = (h[0] * x + h[1] * y + h[2]) / w;
    v = (h[3] * x + h[4] * y + h[5]) / w;
  };
  KelPerspectiveXfm *xfm = kel_perspective_xfm_create(nullptr);
  // Four exact points.
  std::vector<double> wx = {0, 100, 100, 0}, wy = {0, 0, 80, 80}, px(4), py(4);
  for (int i = 0; i < 4; ++i)
    map(wx[i], wy[i], px[i], py[i]);
  ASSERT_EQ(kel_perspective_xfm_compute(xfm, 4, px.data(), py.data(), wx.data(), wy.data()), 0);
  double m[9], u, v, x, y;
  ASSERT_EQ(kel_perspective_xfm_get_matrix(xfm, m), 0);
  for (int i = 0; i < 9; ++i)
    EXPECT_NEAR(m[i], h[i], 1e-9 * std::max(1.0, std::fabs(h[i])));
  for (double t : {0.0, 0.3, 0.77}) {
    double tu, tv;
    map(100 * t, 80 * (1 - t), tu, tv);
    ASSERT_EQ(kel_perspective_xfm_world_to_pixel(xfm, 100 * t, 80 * (1 - t), &u, &v), 0);
    EXPECT_LT(std::hypot(u - tu, v - tv), 1e-6);
    ASSERT_EQ(kel_perspective_xfm_pixel_to_world(xfm, tu, tv, &x, &y), 0);
    EXPECT_NEAR(x, 100 * t, 1e-7);
    EXPECT_NEAR(y, 80 * (1 - t), 1e-7);
  }
  // Beyond the horizon (0.0009 X + 0.0012 Y + 1 = 0) nothing is seen: the
  // world point is refused, and so is the pixel its formula gives.
  double bu, bv;
  map(-1200, 0, bu, bv);
  kt::clear_report();
  EXPECT_EQ(kel_perspective_xfm_world_to_pixel(xfm, -1200, 0, &u, &v), 10);
  EXPECT_EQ(kel_perspective_xfm_pixel_to_world(xfm, bu, bv, &x, &y), 10);
  EXPECT_REPORT("kel_perspective_xfm_pixel_to_world", 10);
  // Fifty points with 0.1 px noise: within 0.05 px RMS of the true images
  // (the mean over twenty draws, as one draw scatters around it).
  std::mt19937 gen(11);
  std::uniform_real_distribution<double> pos(0, 100);
  std::normal_distribution<double> noise(0, 0.1);
  double mean_rms = 0;
  for (int draw = 0; draw < 20; ++draw) {
    wx.clear(), wy.clear(), px.clear(), py.clear();
    for (int i = 0; i < 50; ++i) {
      wx.push_back(pos(gen));
      wy.push_back(pos(gen) * 0.8);
      map(wx.back(), wy.back(), u, v);
      px.push_back(u + noise(gen));
      py.push_back(v + noise(gen));
    }
    ASSERT_EQ(kel_perspective_xfm_compute(xfm, 50, px.data(), py.data(), wx.data(), wy.data()), 0);
    double sum = 0;
    for (int i = 0; i < 50; ++i) {
      double tu, tv;
      map(wx[i], wy[i], tu, tv);
      ASSERT_EQ(kel_perspective_xfm_world_to_pixel(xfm, wx[i], wy[i], &u, &v), 0);
      sum += (u - tu) * (u - tu) + (v - tv) * (v - tv);
    }
    mean_rms += std::sqrt(sum / 50) / 20;
    EXPECT_NEAR(kel_perspective_xfm_get_rms(xfm), 0.1 * std::sqrt(2.0), 0.04);
  }
  EXPECT_LT(mean_rms, 0.05);
  // Saved and loaded: the same map, exactly.
  const std::string file = temp_file("h.txt");
  ASSERT_EQ(kel_perspective_xfm_save(xfm, file.c_str()), 0);
  KelPerspectiveXfm *back = kel_perspective_xfm_create(nullptr);
  ASSERT_EQ(kel_perspective_xfm_load(back, file.c_str()), 0);
  double a[9], b[9];
  kel_perspective_xfm_get_matrix(xfm, a);
  kel_perspective_xfm_get_matrix(back, b);
  for (int i = 0; i < 9; ++i)
    EXPECT_EQ(a[i], b[i]);
  EXPECT_EQ(kel_perspective_xfm_get_rms(back), kel_perspective_xfm_get_rms(xfm));
  std::remove(file.c_str());
  kel_perspective_xfm_delete(back);
  kel_perspective_xfm_delete(xfm);
}

TEST(Xfm, RectifyReadsTheSourceThroughTheHomography) {
  // A FLOAT source holding a linear ramp is interpolated exactly, so each
  // rectified pixel must hold the ramp at its mapped position.
  kt::TestImage src = kt::image(FLOAT, 60, 50);
  for (int y = 0; y < 50; ++y)
    for (int x = 0; x < 60; ++x)
      kt::set(src, x, y, x + 2.0 * y);
  std::vector<double> wx = {0, 10, 10, 0}, wy = {0, 0, 8, 8}, px = {5, 50, 47, 8},
                      py = {4, 6, 45, 40};
  KelPerspectiveXfm *xfm = kel_perspective_xfm_create(nullptr);
  ASSERT_EQ(kel_perspective_xfm_compute(xfm, 4, px.data(), py.data(), wx.data(), wy.data()), 0);
  kt::TestImage dst = kt::view(FLOAT, 31, 27);
  ASSERT_EQ(kel_perspective_xfm_rectify(xfm, src, dst, -2, -2, 2.5), 0);
  int outside = 0;
  for (int j = 0; j < 27; ++j)
    for (int i = 0; i < 31; ++i) {
      double u, v;
      kel_perspective_xfm_world_to_pixel(xfm, -2 + i / 2.5, -2 + j / 2.5, &u, &v);
      bool in = u >= 0 && v >= 0 && u <= 59 && v <= 49;
      outside += !in;
      EXPECT_NEAR(kt::get(dst, i, j), in ? u + 2 * v : 0.0, 1e-3) << i << "," << j;
    }
  EXPECT_GT(outside, 0);
  EXPECT_TRUE(kt::margin_intact(dst));
  kel_perspective_xfm_delete(xfm);
}

TEST(Xfm, FilesRoundTripAndCorruptFilesFailCleanly) {
  XfmPtr cam, back;
  const double k[5] = {812.5, 809.25, 0, 321.5, 238.75}, d[4] = {-0.2, 0.05, 1e-3, -2e-3};
  const double plane[9] = {0.9, 0.1, -0.2, -0.1, 0.95, -0.1, 0.01, -0.02, 1.5};
  ASSERT_EQ(kel_xfm_set_camera(cam, k, d, plane), 0);
  const std::string file = temp_file("cam.txt");
  ASSERT_EQ(kel_xfm_save(cam, file.c_str()), 0);
  ASSERT_EQ(kel_xfm_load(back, file.c_str()), 0);
  double k2[5], d2[4], p2[9];
  ASSERT_EQ(kel_xfm_get_camera(back, k2, d2, p2), 0);
  for (int i = 0; i < 5; ++i)
    EXPECT_EQ(k2[i], k[i]);
  for (int i = 0; i < 4; ++i)
    EXPECT_EQ(d2[i], d[i]);
  for (int i = 0; i < 9; ++i)
    EXPECT_EQ(p2[i], plane[i]);
  EXPECT_EQ(kel_xfm_get_kind(back), KEL_XFM_CAMERA);

  const char *good_tail =
      "intrinsics 800 800 0 320 240\ndistortion 0 0 0 0\nplane 1 0 0 0 1 0 0 0 1\n"
      "residuals 0 0 0\n";
  const std::string bad[] = {
      "",
      "kelkit-xfm 2\nkind 3\n" + std::string(good_tail),
      "kelkit-xfm 1\nkind 4\n" + std::string(good_tail),
      "kelkit-xfm 1\nkind 3.5\n" + std::string(good_tail),
      "kelkit-xfm 1\nkind 3\nintrinsics 800 800 0 320\ndistortion 0 0 0 0\n"
      "plane 1 0 0 0 1 0 0 0 1\nresiduals 0 0 0\n",
      "kelkit-xfm 1\nkind 3\nintrinsics 0 800 0 320 240\ndistortion 0 0 0 0\n"
      "plane 1 0 0 0 1 0 0 0 1\nresiduals 0 0 0\n",
      "kelkit-xfm 1\nkind 3\nintrinsics 800 800 0 320 240\ndistortion nan 0 0 0\n"
      "plane 1 0 0 0 1 0 0 0 1\nresiduals 0 0 0\n",
      "kelkit-xfm 1\nkind 3\nintrinsics 800 800 0 320 240\ndistortion 0 0 0 0\n"
      "plane 1 2 0 2 4 0 0 0 0\nresiduals 0 0 0\n",
      "kelkit-xfm 1\nkind 1\n" + std::string(good_tail),  // affine with intrinsics
      "kelkit-xfm 1\nkind 3\n" + std::string(good_tail) + "extra 1\n",
      "kelkit-xfm 1\nkind 3\nintrinsics 800 800 0 320 240x\n",
      "kelkit-xfm 1\nkind 3\n" + std::string(good_tail).replace(0, 10, "intrinsic "),
      "kelkit-xfm 1\nkind 3\n" + std::string(good_tail) + std::string(70000, ' '),
  };
  for (const std::string &text : bad) {
    std::FILE *f = std::fopen(file.c_str(), "wb");
    std::fwrite(text.data(), 1, text.size(), f);
    std::fclose(f);
    kt::clear_report();
    EXPECT_EQ(kel_xfm_load(back, file.c_str()), KEL_ERR_FILE) << text;
    EXPECT_REPORT("kel_xfm_load", KEL_ERR_FILE);
    ASSERT_EQ(kel_xfm_get_camera(back, k2, nullptr, nullptr), 0);
    EXPECT_EQ(k2[0], k[0]);  // unchanged
  }
  std::remove(file.c_str());
  EXPECT_EQ(kel_xfm_load(back, file.c_str()), KEL_ERR_FILE);
  EXPECT_STREQ(im_last_message(), "Cannot open file");
}

TEST(Xfm, Failures) {
  XfmPtr none, ok;
  KelPerspectiveXfm *pnone = kel_perspective_xfm_create(nullptr);
  const double k[5] = {1, 1, 0, 0, 0}, flat[9] = {1, 2, 0, 2, 4, 0, 0, 0, 1};
  const double k3[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  const double line_x[4] = {0, 1, 2, 3}, line_y[4] = {0, 1, 2, 3}, v4[4] = {0, 1, 0, 1};
  double a, b, h[9];
  kt::TestImage img = kt::image(BYTE, 8, 8), other = kt::image(WORD, 8, 8);
  struct Case {
    int status, code;
    const char *fn;
  };
  auto run = [](int status, int code, const char *fn) {
    EXPECT_EQ(status, code) << fn;
    EXPECT_REPORT(fn, code);
    kt::clear_report();
  };
  run(kel_xfm_compute_affine(nullptr, 4, v4, v4, v4, v4), 10, "kel_xfm_compute_affine");
  run(kel_xfm_compute_affine(ok, 2, v4, v4, v4, v4), 10, "kel_xfm_compute_affine");
  run(kel_xfm_compute_affine(ok, 4, v4, v4, line_x, line_y), 16, "kel_xfm_compute_affine");
  run(kel_xfm_compute_affine(ok, 4, v4, nullptr, v4, v4), 10, "kel_xfm_compute_affine");
  run(kel_xfm_compute_distortion(ok, 5, v4, v4, v4, v4, 0, 0), 10, "kel_xfm_compute_distortion");
  run(kel_xfm_set_camera(ok, k, nullptr, flat), 10, "kel_xfm_set_camera");
  run(kel_xfm_get_camera(none, nullptr, nullptr, h), 10, "kel_xfm_get_camera");
  run(kel_xfm_pixel_to_world(none, 0, 0, &a, &b), 10, "kel_xfm_pixel_to_world");
  run(kel_xfm_world_to_pixel(nullptr, 0, 0, &a, &b), 10, "kel_xfm_world_to_pixel");
  run(kel_xfm_save(none, "x"), 10, "kel_xfm_save");
  run(kel_xfm_load(ok, nullptr), 10, "kel_xfm_load");
  run(kel_xfm_rectify(none, img, other, 0, 0, 1), 10, "kel_xfm_rectify");
  run(kel_xfm_rectify(none, nullptr, other, 0, 0, 1), 1, "kel_xfm_rectify");
  ASSERT_EQ(kel_xfm_set_camera(ok, k, nullptr, k3), 0);
  run(kel_xfm_rectify(ok, img, img, 0, 0, 1), 106, "kel_xfm_rectify");
  run(kel_xfm_rectify(ok, img, other, 0, 0, 1), 13, "kel_xfm_rectify");
  run(kel_perspective_xfm_compute(pnone, 3, v4, v4, v4, v4), 10, "kel_perspective_xfm_compute");
  run(kel_perspective_xfm_compute(pnone, 4, v4, v4, line_x, line_y), 16,
      "kel_perspective_xfm_compute");
  run(kel_perspective_xfm_pixel_to_world(pnone, 0, 0, &a, &b), 10,
      "kel_perspective_xfm_pixel_to_world");
  run(kel_perspective_xfm_get_matrix(pnone, h), 10, "kel_perspective_xfm_get_matrix");
  run(kel_perspective_xfm_rectify(pnone, img, other, 0, 0, 1), 10, "kel_perspective_xfm_rectify");
  run(kel_perspective_xfm_save(pnone, "x"), 10, "kel_perspective_xfm_save");
  const double sq_x[4] = {0, 1, 1, 0}, sq_y[4] = {0, 0, 1, 1};
  ASSERT_EQ(kel_perspective_xfm_compute(pnone, 4, sq_x, sq_y, sq_x, sq_y), 0);
  run(kel_perspective_xfm_rectify(pnone, nullptr, img, 0, 0, 1), 1, "kel_perspective_xfm_rectify");
  run(kel_perspective_xfm_rectify(pnone, img, img, 0, 0, 1), 106, "kel_perspective_xfm_rectify");
  run(kel_perspective_xfm_rectify(pnone, img, other, 0, 0, 1), 13, "kel_perspective_xfm_rectify");
  run(kel_perspective_xfm_rectify(pnone, img, other, 0, 0, 0), 10, "kel_perspective_xfm_rectify");
  kel_perspective_xfm_delete(pnone);
}

}  // namespace
