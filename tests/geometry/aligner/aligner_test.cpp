// The two-point aligner: exact alignments for a table of turns, shifts and
// scales; recovery of a known rotation and shift from two marks located in a
// rendered scene; the rectangle copy onto views and masters; failures.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

constexpr double kPi = std::numbers::pi;

struct AlignerPtr {
  KelAligner *p = kel_aligner_create(nullptr);
  ~AlignerPtr() { kel_aligner_delete(p); }
  operator KelAligner *() const { return p; }
};

// Model point (x, y) turned by `deg` about (ox, oy), scaled, then shifted.
void move(double x, double y, double deg, double scale, double ox, double oy, double tx, double ty,
          double &sx, double &sy) {
  double c = std::cos(deg * kPi / 180), s = std::sin(deg * kPi / 180);
  sx = ox + scale * (c * (x - ox) - s * (y - oy)) + tx;
  sy = oy + scale * (s * (x - ox) + c * (y - oy)) + ty;
}

TEST(Aligner, RecoversExactTurnsShiftsAndScales) {
  struct Case {
    double deg, scale, tx, ty;
    int scale_mode;
  } cases[] = {{0, 1, 0, 0, 0},    {30, 1, 5, -3, 0},   {-90, 1, 0.25, 0, 0},
               {180, 1, -7, 2, 0}, {135, 1.5, 3, 4, 1}, {-12.5, 0.8, 1, 1, 1}};
  AlignerPtr al;
  ASSERT_EQ(kel_aligner_train(al, 10, 20, 110, 45), 0);
  for (const Case &c : cases) {
    kel_aligner_set_scale_mode(al, c.scale_mode);
    double s1x, s1y, s2x, s2y;
    move(10, 20, c.deg, c.scale, 0, 0, c.tx, c.ty, s1x, s1y);
    move(110, 45, c.deg, c.scale, 0, 0, c.tx, c.ty, s2x, s2y);
    ASSERT_EQ(kel_aligner_compute(al, s1x, s1y, s2x, s2y), 0);
    double angle, scale, shx, shy, sx, sy, mx, my;
    ASSERT_EQ(kel_aligner_get_result(al, &angle, &scale, &shx, &shy), 0);
    EXPECT_NEAR(angle, c.deg, 1e-12) << c.deg;
    EXPECT_NEAR(scale, c.scale, 1e-12);
    EXPECT_NEAR(shx, c.tx, 1e-11);  // the model origin lands on the shift
    EXPECT_NEAR(shy, c.ty, 1e-11);
    ASSERT_EQ(kel_aligner_model_to_scene(al, 60, -5, &sx, &sy), 0);
    double ex, ey;
    move(60, -5, c.deg, c.scale, 0, 0, c.tx, c.ty, ex, ey);
    EXPECT_NEAR(sx, ex, 1e-11);
    EXPECT_NEAR(sy, ey, 1e-11);
    ASSERT_EQ(kel_aligner_scene_to_model(al, sx, sy, &mx, &my), 0);
    EXPECT_NEAR(mx, 60, 1e-11);
    EXPECT_NEAR(my, -5, 1e-11);
  }
  // Without scale a longer scene pair keeps scale 1 and the midpoints meet.
  kel_aligner_set_scale_mode(al, 0);
  ASSERT_EQ(kel_aligner_compute(al, 0, 0, 200, 0), 0);
  double scale, sx, sy;
  kel_aligner_get_result(al, nullptr, &scale, nullptr, nullptr);
  EXPECT_EQ(scale, 1.0);
  kel_aligner_model_to_scene(al, 60, 32.5, &sx, &sy);
  EXPECT_NEAR(sx, 100, 1e-12);
  EXPECT_NEAR(sy, 0, 1e-12);
}

// A FLOAT scene with two bright discs (radius 6) rendered with 16 x 16
// samples per pixel, and the centroid of the bright pixels around a guess.
kt::TestImage two_marks(double x1, double y1, double x2, double y2) {
  kt::TestImage img = kt::image(FLOAT, 200, 160);
  for (int y = 0; y < 160; ++y)
    for (int x = 0; x < 200; ++x) {
      int hits = 0;
      for (int j = 0; j < 16; ++j)
        for (int i = 0; i < 16; ++i) {
          double u = x - 0.5 + (i + 0.5) / 16, v = y - 0.5 + (j + 0.5) / 16;
          hits += std::hypot(u - x1, v - y1) < 6 || std::hypot(u - x2, v - y2) < 6;
        }
      kt::set(img, x, y, 200.0 * hits / 256);
    }
  return img;
}

void centroid(const Image *img, double gx, double gy, double &cx, double &cy) {
  double s = 0, sx = 0, sy = 0;
  for (int y = int(gy) - 10; y <= int(gy) + 10; ++y)
    for (int x = int(gx) - 10; x <= int(gx) + 10; ++x) {
      double v = kt::get(img, x, y);
      s += v, sx += v * x, sy += v * y;
    }
  cx = sx / s;
  cy = sy / s;
}

TEST(Aligner, RecoversAKnownRotationAndShiftFromLocatedMarks) {
  // Model marks at (40, 50) and (150, 70); the scene turns the model by
  // 17.3 degrees about (100, 80) and shifts it by (6.37, -4.81).
  const double deg = 17.3, tx = 6.37, ty = -4.81;
  double a[4];
  move(40, 50, deg, 1, 100, 80, tx, ty, a[0], a[1]);
  move(150, 70, deg, 1, 100, 80, tx, ty, a[2], a[3]);
  kt::TestImage scene = two_marks(a[0], a[1], a[2], a[3]);
  double f[4];
  centroid(scene, a[0], a[1], f[0], f[1]);
  centroid(scene, a[2], a[3], f[2], f[3]);
  AlignerPtr al;
  ASSERT_EQ(kel_aligner_train(al, 40, 50, 150, 70), 0);
  ASSERT_EQ(kel_aligner_compute(al, f[0], f[1], f[2], f[3]), 0);
  double angle, shx, shy, ex, ey;
  ASSERT_EQ(kel_aligner_get_result(al, &angle, nullptr, &shx, &shy), 0);
  move(0, 0, deg, 1, 100, 80, tx, ty, ex, ey);
  EXPECT_NEAR(angle, deg, 0.01);
  EXPECT_NEAR(shx, ex, 0.01);
  EXPECT_NEAR(shy, ey, 0.01);
}

TEST(Aligner, CopiesTheAlignedRectangleUpright) {
  // A linear ramp is interpolated exactly: each copied pixel holds the ramp
  // at the scene image of its model point.
  kt::TestImage scene = kt::image(FLOAT, 80, 60);
  for (int y = 0; y < 60; ++y)
    for (int x = 0; x < 80; ++x)
      kt::set(scene, x, y, 3.0 * x + y);
  AlignerPtr al;
  ASSERT_EQ(kel_aligner_train(al, 0, 0, 10, 0), 0);
  ASSERT_EQ(kel_aligner_set_rect(al, 2, 3, 13, 9), 0);
  ASSERT_EQ(kel_aligner_compute(al, 30, 20, 30 + 10 * std::cos(0.5), 20 + 10 * std::sin(0.5)), 0);
  // A 4 x 4 view at (3, 2) of a 40 x 30 master, resized to 13 x 9.
  Image *master = im_create(FLOAT, 40, 30);
  for (int i = 0; i < 40 * 30; ++i)
    kt::set(master, i % 40, i / 40, 77);
  kt::TestImage dst(master, im_rroi(master, 3, 2, 4, 4));
  ASSERT_EQ(kel_aligner_copy_rect(al, scene, dst), 0);
  ASSERT_EQ(dst->dx, 13);
  ASSERT_EQ(dst->dy, 9);
  for (int j = 0; j < 9; ++j)
    for (int i = 0; i < 13; ++i) {
      double sx, sy;
      kel_aligner_model_to_scene(al, 2 + i, 3 + j, &sx, &sy);
      EXPECT_NEAR(kt::get(dst, i, j), 3 * sx + sy, 1e-3);
    }
  EXPECT_EQ(kt::get(master, 16, 2), 77);
  EXPECT_EQ(kt::get(master, 3, 11), 77);
  // A BYTE master larger than the rectangle: the top-left part is written,
  // rounded, and points off the scene give 0.
  kt::TestImage bscene = kt::image(BYTE, 20, 20), bdst = kt::image(BYTE, 16, 12);
  for (int y = 0; y < 20; ++y)
    for (int x = 0; x < 20; ++x)
      kt::set(bscene, x, y, 10 * x + y);
  ASSERT_EQ(kel_aligner_compute(al, 5.5, 0.25, 15.5, 0.25), 0);
  for (int i = 0; i < 16 * 12; ++i)
    kt::set(bdst, i % 16, i / 16, 99);
  ASSERT_EQ(kel_aligner_copy_rect(al, bscene, bdst), 0);
  EXPECT_EQ(kt::get(bdst, 0, 0), 78);   // 10 * 7.5 + 3.25, rounded
  EXPECT_EQ(kt::get(bdst, 12, 0), 0);   // x = 19.5 is off the scene
  EXPECT_EQ(kt::get(bdst, 13, 0), 99);  // outside the rectangle
  EXPECT_EQ(kt::get(bdst, 0, 9), 99);
}

TEST(Aligner, Failures) {
  AlignerPtr fresh, taught;
  kel_aligner_train(taught, 0, 0, 1, 0);
  kel_aligner_set_rect(taught, 0, 0, 30, 30);
  kt::TestImage img = kt::image(BYTE, 10, 10), word = kt::image(WORD, 10, 10);
  kt::TestImage small = kt::image(BYTE, 29, 40), tiny_master = kt::image(BYTE, 20, 20);
  double v;
  auto run = [](int status, int code, const char *fn, const char *message = nullptr) {
    EXPECT_EQ(status, code) << fn;
    EXPECT_REPORT(fn, code);
    if (message) EXPECT_STREQ(im_last_message(), message);
    kt::clear_report();
  };
  run(kel_aligner_train(nullptr, 0, 0, 1, 1), 10, "kel_aligner_train", "aligner is NULL");
  run(kel_aligner_train(fresh, 1, 1, 1, 1), 10, "kel_aligner_train");
  run(kel_aligner_set_rect(fresh, 0, 0, 0, 5), 10, "kel_aligner_set_rect");
  run(kel_aligner_compute(fresh, 0, 0, 1, 1), 10, "kel_aligner_compute", "Must initialize");
  run(kel_aligner_compute(taught, 2, 2, 2, 2), 10, "kel_aligner_compute");
  run(kel_aligner_get_result(taught, &v, &v, &v, &v), 27, "kel_aligner_get_result",
      "aligner not yet computed");
  run(kel_aligner_get_result(nullptr, &v, &v, &v, &v), 10, "kel_aligner_get_result",
      "aligner is NULL");
  run(kel_aligner_model_to_scene(taught, 0, 0, &v, &v), 27, "kel_aligner_model_to_scene");
  run(kel_aligner_scene_to_model(taught, 0, 0, &v, nullptr), 10, "kel_aligner_scene_to_model");
  run(kel_aligner_copy_rect(taught, img, small), 27, "kel_aligner_copy_rect");
  run(kel_aligner_copy_rect(fresh, img, small), 10, "kel_aligner_copy_rect", "No rectangle");
  run(kel_aligner_copy_rect(nullptr, img, small), 10, "kel_aligner_copy_rect");
  run(kel_aligner_copy_rect(taught, nullptr, small), 1, "kel_aligner_copy_rect");
  ASSERT_EQ(kel_aligner_compute(taught, 0, 0, 0, 1), 0);
  run(kel_aligner_copy_rect(taught, img, img), 106, "kel_aligner_copy_rect");
  run(kel_aligner_copy_rect(taught, img, word), 13, "kel_aligner_copy_rect");
  run(kel_aligner_copy_rect(taught, img, small), 5, "kel_aligner_copy_rect");
  // A view whose master cannot hold the rectangle: im_resize_rroi's code.
  Image *too_small_view = im_rroi(tiny_master, 2, 2, 5, 5);
  EXPECT_EQ(kel_aligner_copy_rect(taught, img, too_small_view), 10);
  EXPECT_EQ(too_small_view->dx, 5);
  im_delete(too_small_view);
  EXPECT_EQ(kel_aligner_get_scale_mode(nullptr), 0);
}

}  // namespace
