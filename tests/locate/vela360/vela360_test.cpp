// The 360 search on synthetic scenes: accuracy at every rotation, several
// instances sorted by score, the top-left vote margin, reversed polarity, a
// model saved and loaded again, the work objects kept between searches,
// painting the model, and the failure codes of training and search.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "kelkit/vela360.h"
#include "locate/vela360/vela360_scene.hpp"
#include "support/test_images.hpp"

namespace {

constexpr double kPi = 3.141592653589793;

#if defined(__SANITIZE_ADDRESS__)
constexpr int kAngleStep = 21;  // the sanitizer build runs a third of the angles
#else
constexpr int kAngleStep = 7;
#endif

struct Fixture {
  kel_vela_360_params *p = nullptr;
  kel_vela_360_results *r = nullptr;
  explicit Fixture(int n = 3) {
    p = kel_vela_360_create_params();
    r = kel_vela_360_create_results(n);
    Image *m = v360::draw_model();
    EXPECT_EQ(kel_vela_360_train(m, 0, 0, 120, 120, p), 0);
    im_delete(m);
  }
  ~Fixture() {
    kel_vela_360_delete_params(p);
    kel_vela_360_delete_results(r);
  }
};

double angle_error_deg(double a, double b) {
  return std::fabs(std::remainder(a - b, 2 * kPi)) * 180 / kPi;
}

TEST(Vela360Search, TrainingFillsTheModel) {
  Fixture f;
  kel_vela_360_params *p = f.p;
  ASSERT_NE(p->pModelImage, nullptr);
  EXPECT_EQ(p->pModelImage->dx, 120);
  ASSERT_NE(p->pRTable, nullptr);
  EXPECT_EQ(p->pRTable->nBins, 4096);
  // The outline and the hole: two closed contours.
  EXPECT_EQ(kel_ctd_get_contour_count(p->pModelContours), 2);
  EXPECT_EQ(p->dRefCenterX, 59.5);
  EXPECT_EQ(p->dRefCenterY, 59.5);
  EXPECT_EQ(p->dRefAngle, 0.0);
  EXPECT_NEAR(p->nModelRefX, 60, 4);
  EXPECT_NEAR(p->nModelRefY, 58, 4);
  EXPECT_EQ(p->nChordSpan, 15);
}

// Every rotation from -180 to +180 degrees: found within 1 pixel and half a
// degree, with a scale near 1.
TEST(Vela360Search, FindsThePartAtEveryRotation) {
  Fixture f(1);
  double worst_pos = 0.0, worst_angle = 0.0;
  for (int deg = -180; deg <= 180; deg += kAngleStep) {
    const double a = deg * kPi / 180, cx = 101.3, cy = 88.7;
    Image *scene =
        v360::draw_scene(200, 180, {{cx, cy, a}}, 12, static_cast<std::uint32_t>(deg + 500));
    ASSERT_EQ(kel_vela_360_search(scene, 0, 0, 0, 0, f.p, f.r), 0);
    im_delete(scene);
    ASSERT_EQ(kel_vela_360_get_found(f.r), 1) << deg;
    worst_pos = std::fmax(
        worst_pos, std::hypot(kel_vela_360_get_x(f.r, 0) - cx, kel_vela_360_get_y(f.r, 0) - cy));
    worst_angle = std::fmax(worst_angle, angle_error_deg(kel_vela_360_get_angle(f.r, 0), a));
    EXPECT_NEAR(kel_vela_360_get_scale(f.r, 0), 1.0, 0.02) << deg;
    EXPECT_GE(kel_vela_360_get_score(f.r, 0), 50.0) << deg;
  }
  std::printf("largest errors over the rotations: %.3f px, %.3f degrees\n", worst_pos, worst_angle);
  EXPECT_LT(worst_pos, 1.0);
  EXPECT_LT(worst_angle, 0.5);
}

// Two and three instances: all found, best first, each matched to one part.
TEST(Vela360Search, FindsSeveralInstancesSortedByScore) {
  const std::vector<v360::Placement> parts = {
      {90.0, 85.0, 0.4}, {290.25, 100.5, -2.0}, {180.0, 220.75, 2.9}};
  for (int n = 2; n <= 3; ++n) {
    Fixture f(n);
    kel_vela_360_set_nPatternsToFind(f.p, n);
    std::vector<v360::Placement> placed(parts.begin(), parts.begin() + n);
    Image *scene = v360::draw_scene(380, 300, placed, 10, 7u + n);
    ASSERT_EQ(kel_vela_360_search(scene, 0, 0, 0, 0, f.p, f.r), 0);
    im_delete(scene);
    ASSERT_EQ(kel_vela_360_get_found(f.r), n);
    std::vector<bool> matched(placed.size(), false);
    for (int i = 0; i < n; ++i) {
      if (i > 0) {
        EXPECT_LE(kel_vela_360_get_score(f.r, i), kel_vela_360_get_score(f.r, i - 1));
      }
      for (std::size_t j = 0; j < placed.size(); ++j) {
        double d = std::hypot(kel_vela_360_get_x(f.r, i) - placed[j].x,
                              kel_vela_360_get_y(f.r, i) - placed[j].y);
        if (d < 1.0 && angle_error_deg(kel_vela_360_get_angle(f.r, i), placed[j].angle) < 0.5)
          matched[j] = true;
      }
    }
    for (std::size_t j = 0; j < placed.size(); ++j)
      EXPECT_TRUE(matched[j]) << n << " part " << j;
  }
}

// Votes for a reference point less than 5 pixels from the window's left or
// top edge are dropped: the part is found with its reference point 9 pixels
// in and not with it 3 pixels in.
TEST(Vela360Search, ReferencePointNearTheTopLeftEdgeIsNotFound) {
  Fixture f(1);
  const double cx = 150.0, cy = 120.0;
  Image *scene = v360::draw_scene(300, 240, {{cx, cy, 0.0}}, 8, 3);
  // The model reference point of the part in the scene (angle 0).
  const double rx = cx + (f.p->nModelRefX - 59.5), ry = cy + (f.p->nModelRefY - 59.5);
  for (int inset : {9, 3}) {
    for (int axis = 0; axis < 2; ++axis) {
      int wx = axis == 0 ? static_cast<int>(std::floor(rx)) - inset : 0;
      int wy = axis == 1 ? static_cast<int>(std::floor(ry)) - inset : 0;
      ASSERT_EQ(kel_vela_360_search(scene, wx, wy, 300 - wx, 240 - wy, f.p, f.r), 0);
      bool found = false;
      for (int i = 0; i < kel_vela_360_get_found(f.r); ++i)
        found = found ||
                std::hypot(kel_vela_360_get_x(f.r, i) - cx, kel_vela_360_get_y(f.r, i) - cy) < 1.0;
      EXPECT_EQ(found, inset == 9) << "inset " << inset << " axis " << axis;
    }
  }
  im_delete(scene);
}

// Inverted contrast matches only with reversed polarity.
TEST(Vela360Search, ReversedPolarity) {
  Fixture f(1);
  Image *scene = v360::draw_scene(200, 180, {{100.0, 90.0, 1.0}}, 6, 9);
  for (int y = 0; y < scene->dy; ++y)
    for (int x = 0; x < scene->dx; ++x)
      kt::set(scene, x, y, 255 - kt::get(scene, x, y));
  ASSERT_EQ(kel_vela_360_search(scene, 0, 0, 0, 0, f.p, f.r), 0);
  bool found = kel_vela_360_get_found(f.r) == 1 &&
               std::hypot(kel_vela_360_get_x(f.r, 0) - 100, kel_vela_360_get_y(f.r, 0) - 90) < 1;
  EXPECT_FALSE(found);
  kel_vela_360_set_nReversedPolarity(f.p, 1);
  ASSERT_EQ(kel_vela_360_search(scene, 0, 0, 0, 0, f.p, f.r), 0);
  ASSERT_EQ(kel_vela_360_get_found(f.r), 1);
  EXPECT_NEAR(kel_vela_360_get_x(f.r, 0), 100.0, 1.0);
  EXPECT_NEAR(kel_vela_360_get_y(f.r, 0), 90.0, 1.0);
  EXPECT_LT(angle_error_deg(kel_vela_360_get_angle(f.r, 0), 1.0), 0.5);
  im_delete(scene);
}

// A model saved and loaded again finds the rotated part in a window; the user
// reference angle is added to the result; the work objects stay while the
// window size stays.
TEST(Vela360Search, FindsAfterSaveAndLoadInAWindow) {
  Fixture f(1);
  const std::filesystem::path file = std::filesystem::path(KELKIT_TEST_TMP_DIR) / "v360_scene.txt";
  ASSERT_EQ(kel_vela_360_save_params(f.p, file.c_str(), nullptr), 0);
  kel_vela_360_params *q = kel_vela_360_create_params();
  ASSERT_EQ(kel_vela_360_load_params(q, file.c_str()), 0);
  kel_vela_360_set_dRefAngle(q, 0.25);
  const double a = -2.5, cx = 230.5, cy = 140.25;
  Image *scene = v360::draw_scene(320, 240, {{cx, cy, a}}, 12, 21);
  ASSERT_EQ(kel_vela_360_search(scene, 100, 40, 200, 190, q, f.r), 0);
  ASSERT_EQ(kel_vela_360_get_found(f.r), 1);
  EXPECT_NEAR(kel_vela_360_get_x(f.r, 0), cx, 1.0);
  EXPECT_NEAR(kel_vela_360_get_y(f.r, 0), cy, 1.0);
  EXPECT_LT(angle_error_deg(kel_vela_360_get_angle(f.r, 0), a + 0.25), 0.5);
  EXPECT_EQ(q->nWorkX * 1000 + q->nWorkY, 100040);
  EXPECT_EQ(q->nWorkDx * 1000 + q->nWorkDy, 200190);
  void *grid = q->pWorkObject1;
  ASSERT_NE(grid, nullptr);
  ASSERT_EQ(kel_vela_360_search(scene, 90, 30, 200, 190, q, f.r), 0);
  EXPECT_EQ(q->pWorkObject1, grid);
  EXPECT_NEAR(kel_vela_360_get_x(f.r, 0), cx, 1.0);
  ASSERT_EQ(kel_vela_360_search(scene, 90, 30, 210, 190, q, f.r), 0);
  EXPECT_EQ(q->nWorkDx, 210);
  EXPECT_NEAR(kel_vela_360_get_y(f.r, 0), cy, 1.0);
  im_delete(scene);
  kel_vela_360_delete_params(q);
  for (const char *ext : {".txt", ".bmp", ".trc"})
    std::filesystem::remove(std::filesystem::path(KELKIT_TEST_TMP_DIR) /
                            (std::string("v360_scene") + ext));
}

// Painting the model at the pose the search reports lands on the part's
// edges: every painted pixel lies within a pixel of an edge of the scene.
TEST(Vela360Search, PaintsTheModelAtAPose) {
  Fixture f(1);
  kt::TestImage canvas = kt::view(BYTE, 200, 180);
  for (int y = 0; y < 180; ++y)
    for (int x = 0; x < 200; ++x)
      kt::set(canvas, x, y, 0);
  ASSERT_EQ(kel_vela_360_paint_model_coverage(f.p, canvas, 100.0, 90.0, 0.7, 200), 0);
  EXPECT_TRUE(kt::margin_intact(canvas));
  int painted = 0, on_edge = 0;
  const double c = std::cos(-0.7), s = std::sin(-0.7);
  for (int y = 0; y < 180; ++y)
    for (int x = 0; x < 200; ++x) {
      if (kt::get(canvas, x, y) != 200) continue;
      ++painted;
      // Distance to the part outline, by sampling around the pixel.
      bool in = false, out = false;
      for (double dy = -1; dy <= 1; dy += 0.5)
        for (double dx = -1; dx <= 1; dx += 0.5) {
          double px = x + dx - 100.0, py = y + dy - 90.0;
          (v360::inside_part(px * c - py * s, px * s + py * c) ? in : out) = true;
        }
      on_edge += in && out;
    }
  EXPECT_GT(painted, 200);
  EXPECT_EQ(on_edge, painted);
  kt::clear_report();
  EXPECT_EQ(kel_vela_360_paint_model_coverage(f.p, nullptr, 0, 0, 0, 1), KEL_ERR_NULL_IMAGE);
  EXPECT_EQ(kel_vela_360_paint_model_coverage(nullptr, canvas, 0, 0, 0, 1), KEL_ERR_ARGUMENT);
  kel_vela_360_params *empty = kel_vela_360_create_params();
  EXPECT_EQ(kel_vela_360_paint_model_coverage(empty, canvas, 0, 0, 0, 1), KEL_ERR_NO_MODEL);
  EXPECT_REPORT("kel_vela_360_paint_model_coverage", KEL_ERR_NO_MODEL);
  kel_vela_360_delete_params(empty);
}

TEST(Vela360Search, FailureCodes) {
  Fixture f(1);
  kt::TestImage scene = kt::image(BYTE, 100, 80);
  kt::TestImage word = kt::image(WORD, 100, 80);
  kt::clear_report();
  EXPECT_EQ(kel_vela_360_search(nullptr, 0, 0, 0, 0, f.p, f.r), KEL_ERR_NULL_IMAGE);
  EXPECT_EQ(kel_vela_360_search(scene, 0, 0, 0, 0, nullptr, f.r), KEL_ERR_ARGUMENT);
  EXPECT_EQ(kel_vela_360_search(scene, 0, 0, 0, 0, f.p, nullptr), KEL_ERR_ARGUMENT);
  kt::clear_report();
  EXPECT_EQ(kel_vela_360_search(word, 0, 0, 0, 0, f.p, f.r), KEL_ERR_TYPE_MISMATCH);
  EXPECT_REPORT("kel_vela_360_search", KEL_ERR_TYPE_MISMATCH);
  // 108 and 103 are returned without a report.
  kt::clear_report();
  EXPECT_EQ(kel_vela_360_search(scene, 10, 0, 100, 80, f.p, f.r), KEL_ERR_WINDOW);
  EXPECT_EQ(kel_vela_360_search(scene, 0, 1, 0, 0, f.p, f.r), KEL_ERR_WINDOW);
  EXPECT_EQ(kel_vela_360_search(scene, -5, -5, 100, 80, f.p, f.r), 0);  // clamped to 0
  kel_vela_360_params *untrained = kel_vela_360_create_params();
  EXPECT_EQ(kel_vela_360_search(scene, 0, 0, 0, 0, untrained, f.r), KEL_ERR_NO_MODEL);
  EXPECT_NO_REPORT();
  kel_vela_360_set_nPatternsToFind(f.p, 2);
  EXPECT_EQ(kel_vela_360_search(scene, 0, 0, 0, 0, f.p, f.r), KEL_ERR_EMPTY);
  EXPECT_REPORT("kel_vela_360_search", KEL_ERR_EMPTY);
  kel_vela_360_set_nPatternsToFind(f.p, 1);
  // An empty scene: nothing found.
  EXPECT_EQ(kel_vela_360_search(scene, 0, 0, 0, 0, f.p, f.r), 0);
  EXPECT_EQ(kel_vela_360_get_found(f.r), 0);
  // Mode 1 lowers a span above 50, and the record keeps it.
  f.p->nRTableMode = 1;
  f.p->nChordSpan = 60;
  EXPECT_EQ(kel_vela_360_search(scene, 0, 0, 0, 0, f.p, f.r), 0);
  EXPECT_EQ(f.p->nChordSpan, 50);

  // Training.
  Image *model = v360::draw_model();
  kt::clear_report();
  EXPECT_EQ(kel_vela_360_train(model, 0, 0, 120, 120, nullptr), KEL_ERR_ARGUMENT);
  EXPECT_REPORT("kel_vela_360_train", KEL_ERR_ARGUMENT);
  EXPECT_EQ(kel_vela_360_train(nullptr, 0, 0, 120, 120, untrained), KEL_ERR_NULL_IMAGE);
  EXPECT_EQ(kel_vela_360_train(word, 0, 0, 10, 10, untrained), KEL_ERR_TYPE_MISMATCH);
  EXPECT_EQ(kel_vela_360_train(model, 1, 0, 120, 120, untrained), KEL_ERR_WINDOW);
  EXPECT_EQ(kel_vela_360_train(model, 0, 0, 2, 120, untrained), KEL_ERR_AREA_SMALL);
  EXPECT_EQ(kel_vela_360_train(scene, 0, 0, 100, 80, untrained), KEL_ERR_NOT_FOUND);
  EXPECT_REPORT("kel_vela_360_train", KEL_ERR_NOT_FOUND);
  EXPECT_EQ(untrained->pModelImage, nullptr);
  // A small model lowers the chord span so that its contour contributes.
  kel_vela_360_set_nMinEdgeSize(untrained, 5);
  Image *dot = v360::draw_scene(20, 20, {}, 0);
  for (int y = 7; y < 13; ++y)
    for (int x = 7; x < 13; ++x)
      kt::set(dot, x, y, 200);
  EXPECT_EQ(kel_vela_360_train(dot, 0, 0, 20, 20, untrained), 0);
  EXPECT_LT(untrained->nChordSpan, 15);
  EXPECT_GE(untrained->nChordSpan, 2);
  im_delete(dot);
  im_delete(model);
  kel_vela_360_delete_params(untrained);
}

}  // namespace
