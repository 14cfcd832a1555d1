// Straight edge lines (kel_edge_find_image) and the results record: exact
// lines on literal images (horizontal, vertical, falling and rising, with
// theta the line's direction and distance along its normal), the column
// rules, the coordinate modes, tilted edges fitted within half a degree and
// half a pixel, and every failure.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

constexpr double kPi = std::numbers::pi;

class EdgeLines : public ::testing::Test {
 protected:
  void SetUp() override { kt::clear_report(); }
  void TearDown() override { kel_edge_delete_results(r); }
  EdgeResults *r = kel_edge_create_results();
};

// Rows above `edge_row` dark (20), the rest bright (200); as a view when asked.
kt::TestImage horizontal_step(int dx, int dy, int edge_row, bool as_view = false) {
  kt::TestImage img = as_view ? kt::view(BYTE, dx, dy) : kt::image(BYTE, dx, dy);
  for (int y = 0; y < dy; ++y)
    for (int x = 0; x < dx; ++x)
      kt::set(img, x, y, y < edge_row ? 20 : 200);
  return img;
}

std::vector<double> fields(const EdgeResults *r) {
  return {kel_edge_get_theta(r), kel_edge_get_distance(r), kel_edge_get_p1x(r),
          kel_edge_get_p1y(r),   kel_edge_get_p2x(r),      kel_edge_get_p2y(r),
          kel_edge_get_p3x(r),   kel_edge_get_p3y(r)};
}

const std::vector<double> kZero(8, 0.0);

TEST_F(EdgeLines, HorizontalAndVerticalSteps) {
  ASSERT_NE(r, nullptr);
  // The step between rows 9 and 10 peaks at r = 8 in every column: 9.5.
  kt::TestImage h = horizontal_step(40, 20, 10);
  ASSERT_EQ(kel_edge_find_image(h, 0, 50, 1, 1, r), 0);
  EXPECT_EQ(r->theta, 0.0);
  EXPECT_EQ(r->distance, 9.5);
  EXPECT_EQ(r->p1x, 0.0);
  EXPECT_DOUBLE_EQ(r->p1y, 9.5);
  EXPECT_EQ(r->p2x, 20.0);
  EXPECT_DOUBLE_EQ(r->p2y, 9.5);
  EXPECT_EQ(r->p3x, 40.0);
  EXPECT_DOUBLE_EQ(r->p3y, 9.5);
  EXPECT_EQ(fields(r),
            (std::vector<double>{r->theta, r->distance, 0, r->p1y, 20, r->p2y, 40, r->p3y}));
  // Polarity 0 looks for bright above dark: none here.
  ASSERT_EQ(kel_edge_find_image(h, 0, 50, 0, 1, r), 0);
  EXPECT_EQ(fields(r), kZero);
  // A threshold at the peak value admits nothing.
  ASSERT_EQ(kel_edge_find_image(h, 0, 360, 1, 1, r), 0);
  EXPECT_EQ(fields(r), kZero);

  // The transposed image, bright left of column 10, has a vertical line.
  kt::TestImage v = kt::image(BYTE, 20, 41);
  for (int y = 0; y < 41; ++y)
    for (int x = 0; x < 20; ++x)
      kt::set(v, x, y, x < 10 ? 200 : 20);
  // x = 9.5: theta pi/2 and distance -9.5, exact.
  ASSERT_EQ(kel_edge_find_image(v, 1, 50, 0, 1, r), 0);
  EXPECT_EQ(r->theta, kPi / 2);
  EXPECT_EQ(r->distance, -9.5);
  EXPECT_DOUBLE_EQ(r->p1x, 9.5);
  EXPECT_EQ(r->p1y, 0.0);
  EXPECT_DOUBLE_EQ(r->p2x, 9.5);
  EXPECT_EQ(r->p2y, 20.0);  // dy / 2 in integer division
  EXPECT_EQ(r->p3y, 41.0);
  EXPECT_NO_REPORT();
}

// Dark above bright, the step in column x lying between rows step(x) - 1
// and step(x), so that the column's edge row is step(x) - 0.5.
template <class Step>
kt::TestImage diagonal_step(int dx, int dy, Step step) {
  kt::TestImage img = kt::image(BYTE, dx, dy);
  for (int y = 0; y < dy; ++y)
    for (int x = 0; x < dx; ++x)
      kt::set(img, x, y, y < step(x) ? 20 : 200);
  return img;
}

// The transpose: dark left of bright, found as a vertical line.
kt::TestImage transposed(const kt::TestImage &img, int dx, int dy) {
  kt::TestImage t = kt::image(BYTE, dy, dx);
  for (int y = 0; y < dy; ++y)
    for (int x = 0; x < dx; ++x)
      kt::set(t, y, x, kt::get(img, x, y));
  return t;
}

TEST_F(EdgeLines, FallingAndRisingLines) {
  const double h = 1 / std::sqrt(2.0);
  // Falling to the right (y down): edge rows 5.5 + x, y = 5.5 + x, theta
  // pi/4, distance 5.5 cos(pi/4).
  kt::TestImage fall = diagonal_step(10, 24, [](int x) { return 6 + x; });
  ASSERT_EQ(kel_edge_find_image(fall, 0, 50, 1, 1, r), 0);
  EXPECT_DOUBLE_EQ(r->p1y, 5.5);
  EXPECT_DOUBLE_EQ(r->p3y, 15.5);
  EXPECT_DOUBLE_EQ(r->theta, kPi / 4);
  EXPECT_DOUBLE_EQ(r->distance, 5.5 * h);
  // Rising to the right: y = 14.5 - x, theta -pi/4, distance 14.5 cos(pi/4).
  kt::TestImage rise = diagonal_step(10, 24, [](int x) { return 15 - x; });
  ASSERT_EQ(kel_edge_find_image(rise, 0, 50, 1, 1, r), 0);
  EXPECT_DOUBLE_EQ(r->p1y, 14.5);
  EXPECT_DOUBLE_EQ(r->theta, -kPi / 4);
  EXPECT_DOUBLE_EQ(r->distance, 14.5 * h);
  // Transposed, as vertical lines: x = 5.5 + y still falls to the right
  // (theta pi/4) with distance -5.5 sin(pi/4); x = 14.5 - y rises (theta
  // -pi/4: the direction (-1, 1) is brought back by pi), distance
  // -14.5 sin(-pi/4).
  kt::TestImage tf = transposed(fall, 10, 24), tr = transposed(rise, 10, 24);
  ASSERT_EQ(kel_edge_find_image(tf, 1, 50, 1, 1, r), 0);
  EXPECT_DOUBLE_EQ(r->p1x, 5.5);
  EXPECT_DOUBLE_EQ(r->theta, kPi / 4);
  EXPECT_DOUBLE_EQ(r->distance, -5.5 * h);
  ASSERT_EQ(kel_edge_find_image(tr, 1, 50, 1, 1, r), 0);
  EXPECT_DOUBLE_EQ(r->p1x, 14.5);
  EXPECT_DOUBLE_EQ(r->theta, -kPi / 4);
  EXPECT_DOUBLE_EQ(r->distance, 14.5 * h);
  EXPECT_NO_REPORT();
}

TEST_F(EdgeLines, ColumnRules) {
  // Only three columns hold an edge: the all-zero record.
  kt::TestImage img = kt::image(BYTE, 30, 16);
  for (int x : {4, 11, 25})
    for (int y = 8; y < 16; ++y)
      kt::set(img, x, y, 200);
  ASSERT_EQ(kel_edge_find_image(img, 0, 50, 1, 0, r), 0);
  EXPECT_EQ(fields(r), kZero);
  // A fourth makes a line.
  for (int y = 8; y < 16; ++y)
    kt::set(img, 17, y, 200);
  ASSERT_EQ(kel_edge_find_image(img, 0, 50, 1, 0, r), 0);
  EXPECT_DOUBLE_EQ(r->p1y, 7.5);
  // A column whose strongest step is at r = 0 contributes nothing: with
  // that fourth column's edge moved to the top, three columns remain.
  for (int y = 0; y < 16; ++y)
    kt::set(img, 17, y, y < 2 ? 0 : 200);
  ASSERT_EQ(kel_edge_find_image(img, 0, 50, 1, 0, r), 0);
  EXPECT_EQ(fields(r), kZero);
  // Steps below row dy - 4 (r > dy - 7) are not searched.
  kt::TestImage low = horizontal_step(12, 8, 5);  // peak would be r = 3 > 1
  ASSERT_EQ(kel_edge_find_image(low, 0, 50, 1, 0, r), 0);
  EXPECT_EQ(fields(r), kZero);
  kt::TestImage fits = horizontal_step(12, 8, 3);  // peak at r = 1: searched
  ASSERT_EQ(kel_edge_find_image(fits, 0, 50, 1, 0, r), 0);
  EXPECT_DOUBLE_EQ(r->p1y, 2.5);
  // The topmost of equal peaks wins: two equal steps at rows 5 and 12.
  kt::TestImage two = kt::image(BYTE, 10, 20);
  for (int y = 0; y < 20; ++y)
    for (int x = 0; x < 10; ++x)
      kt::set(two, x, y, y < 5 ? 0 : y < 12 ? 100 : 200);
  ASSERT_EQ(kel_edge_find_image(two, 0, 50, 1, 0, r), 0);
  EXPECT_DOUBLE_EQ(r->p2y, 4.5);
}

TEST_F(EdgeLines, CoordinateModes) {
  // A view at (3, 2) of a 45 x 25 master (dy 20 + 5).
  kt::TestImage img = horizontal_step(40, 20, 10, true);
  struct Case {
    unsigned coords;
    double x0, y1;  // expected p1x and p1y
  } cases[] = {
      {1, 0.0, 9.5},          // image coordinates
      {0, 3.0, 11.5},         // master coordinates
      {2, 3.0, 25.0 - 11.5},  // master, y up within the master
      {3, 0.0, 20.0 - 9.5},   // image, y up within the view
  };
  for (const Case &c : cases) {
    ASSERT_EQ(kel_edge_find_image(img, 0, 50, 1, c.coords, r), 0);
    EXPECT_DOUBLE_EQ(r->p1x, c.x0) << c.coords;
    EXPECT_DOUBLE_EQ(r->p1y, c.y1) << c.coords;
    EXPECT_DOUBLE_EQ(r->p3x, c.x0 + 40) << c.coords;
    EXPECT_DOUBLE_EQ(r->p3y, c.y1) << c.coords;
    // theta and distance stay in the image's own frame.
    EXPECT_NEAR(r->distance, 9.5, 1e-12);
  }
  // On a master, bit 0 changes nothing and bit 1 flips within dy.
  kt::TestImage m = horizontal_step(40, 20, 10);
  ASSERT_EQ(kel_edge_find_image(m, 0, 50, 1, 2, r), 0);
  EXPECT_DOUBLE_EQ(r->p2y, 10.5);
  EXPECT_EQ(r->p2x, 20.0);
  EXPECT_TRUE(kt::margin_intact(img));
}

// Angle between two line directions, folded into [0, pi/2].
double angle_between(double a, double b) {
  double d = std::fmod(std::fabs(a - b), kPi);
  return std::min(d, kPi - d);
}

TEST_F(EdgeLines, TiltedEdgesWithinHalfADegreeAndHalfAPixel) {
  // Straight edges through (100, 60) of a 200 x 120 image at -20 .. +20
  // degrees, dark above and bright below, each pixel holding the share of its
  // area below the line (8 x 8 samples). Pixel (x, y) covers x +- 0.5,
  // y +- 0.5, matching the finder's pixel-index coordinates.
  const int dx = 200, dy = 120;
  for (int deg = -20; deg <= 20; deg += 5) {
    const double alpha = deg * kPi / 180, slope = std::tan(alpha);
    auto line_y = [&](double x) { return 60 + slope * (x - 100); };
    kt::TestImage img = kt::image(BYTE, dx, dy);
    for (int y = 0; y < dy; ++y)
      for (int x = 0; x < dx; ++x) {
        int below = 0;
        for (int sy = 0; sy < 8; ++sy)
          for (int sx = 0; sx < 8; ++sx)
            below += y - 0.5 + (sy + 0.5) / 8 > line_y(x - 0.5 + (sx + 0.5) / 8);
        kt::set(img, x, y, std::floor(30 + 170.0 * below / 64 + 0.5));
      }
    ASSERT_EQ(kel_edge_find_image(img, 0, 60, 1, 1, r), 0) << deg;
    // y = 60 + slope (x - 100) runs at alpha: positive (falling to the
    // right) for positive degrees.
    EXPECT_NEAR(r->theta, alpha, 0.5 * kPi / 180) << deg;
    if (deg != 0) {
      EXPECT_EQ(r->theta > 0, deg > 0) << deg;
    }
    // Distance of the true line along the record's normal.
    const double d = -100 * std::sin(r->theta) + 60 * std::cos(r->theta);
    EXPECT_NEAR(r->distance, d, 0.5) << deg;
    EXPECT_NEAR(r->p1y, line_y(0), 0.5) << deg;
    EXPECT_NEAR(r->p2y, line_y(100), 0.5) << deg;
    EXPECT_NEAR(r->p3y, line_y(200), 0.5) << deg;

    // The same edge found as a vertical line in the transposed image. Its
    // direction pi/2 - theta lies in range for theta >= 0, with distance -d;
    // for theta < 0 it passes pi/2 and is brought back to -pi/2 - theta,
    // which turns the distance back to d.
    kt::TestImage t = transposed(img, dx, dy);
    EdgeResults v{};
    ASSERT_EQ(kel_edge_find_image(t, 1, 60, 1, 1, &v), 0);
    EXPECT_NEAR(v.p1x, r->p1y, 1e-9);
    EXPECT_NEAR(v.p3x, r->p3y, 1e-9);
    EXPECT_LT(angle_between(v.theta, kPi / 2 - r->theta), 1e-9) << deg;
    if (r->theta >= 0) {
      EXPECT_NEAR(v.theta, kPi / 2 - r->theta, 1e-9) << deg;
      EXPECT_NEAR(v.distance, -r->distance, 1e-9) << deg;
    } else {
      EXPECT_NEAR(v.theta, -kPi / 2 - r->theta, 1e-9) << deg;
      EXPECT_NEAR(v.distance, r->distance, 1e-9) << deg;
    }
    EXPECT_GT(v.theta, -kPi / 2);
    EXPECT_LE(v.theta, kPi / 2);
  }
}

TEST_F(EdgeLines, RecordAndFailureReports) {
  ASSERT_NE(r, nullptr);
  *r = EdgeResults{1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(fields(r), (std::vector<double>{1, 2, 3, 4, 5, 6, 7, 8}));

  kt::TestImage img = horizontal_step(40, 20, 10);
  EXPECT_EQ(kel_edge_find_image(nullptr, 0, 50, 1, 1, r), 1);
  EXPECT_REPORT("kel_edge_find_image", 1);
  EXPECT_EQ(kel_edge_find_image(img, 0, 50, 1, 1, nullptr), 10);
  EXPECT_REPORT("kel_edge_find_image", 10);
  kt::TestImage word = kt::image(WORD, 40, 20);
  EXPECT_EQ(kel_edge_find_image(word, 0, 50, 1, 1, r), 13);
  EXPECT_REPORT("kel_edge_find_image", 13);
  EXPECT_EQ(fields(r), kZero);

  // Fewer than 8 rows (columns for the vertical line).
  kt::TestImage seven = horizontal_step(40, 7, 3);
  *r = EdgeResults{1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(kel_edge_find_image(seven, 0, 50, 1, 1, r), 17);
  EXPECT_REPORT("kel_find_hline", 17);
  EXPECT_EQ(fields(r), kZero);
  kt::TestImage narrow = kt::image(BYTE, 7, 40);
  EXPECT_EQ(kel_edge_find_image(narrow, 1, 50, 1, 1, r), 17);
  EXPECT_REPORT("kel_find_vline", 17);
  kt::clear_report();
  EXPECT_EQ(kel_edge_find_image(narrow, 0, 50, 1, 1, r), 0);  // 40 rows are enough
  EXPECT_NO_REPORT();

  EXPECT_EQ(kel_edge_delete_results(nullptr), 10);
  EXPECT_REPORT("kel_edge_delete_results", 10);
  EXPECT_EQ(kel_edge_get_p2y(nullptr), 0.0);
  EXPECT_REPORT("kel_edge_get_p2y", 10);
}

}  // namespace
