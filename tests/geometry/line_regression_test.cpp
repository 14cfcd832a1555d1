// Least-squares line fit as direction angle and signed distance: exact
// results for horizontal, vertical, falling and rising lines, the
// normalisation at both ends of the range, every direction around the circle,
// noisy points against a known line, and the failure reports.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

constexpr double kPi = std::numbers::pi;

struct Line {
  int status;
  double theta, distance;
};

Line fit(const std::vector<double> &x, const std::vector<double> &y) {
  Line l{0, -9, -9};
  l.status = kel_linear_regression(int(x.size()), x.data(), y.data(), &l.theta, &l.distance);
  return l;
}

// Difference of two line angles folded into [0, pi/2].
double angle_between(double a, double b) {
  double d = std::fmod(std::fabs(a - b), kPi);
  return std::min(d, kPi - d);
}

TEST(LineRegression, TwoPointsExactLines) {
  kt::clear_report();
  // Horizontal y = 3, in either order: theta 0, distance 3, both exact.
  for (const Line &l : {fit({0, 10}, {3, 3}), fit({10, 0}, {3, 3})}) {
    EXPECT_EQ(l.status, 0);
    EXPECT_EQ(l.theta, 0.0);
    EXPECT_EQ(l.distance, 3.0);
  }
  // Vertical x = -4 and x = 5, either order: theta exactly pi/2 (the upper
  // end of the range, never -pi/2) and distance -c, exact.
  for (const Line &l : {fit({-4, -4}, {1, 7}), fit({-4, -4}, {7, 1})}) {
    EXPECT_EQ(l.theta, kPi / 2);
    EXPECT_EQ(l.distance, 4.0);
  }
  Line l = fit({5, 5}, {-2, 6});
  EXPECT_EQ(l.theta, kPi / 2);
  EXPECT_EQ(l.distance, -5.0);
  // Falling to the right (y grows with x, y down): y = x + 1 has theta pi/4
  // and distance 1/sqrt(2); y = 0.75 (x - 1) has theta atan(3/4) and
  // distance -0.6 (sin = 0.6, cos = 0.8).
  l = fit({0, 1}, {1, 2});
  EXPECT_DOUBLE_EQ(l.theta, kPi / 4);
  EXPECT_DOUBLE_EQ(l.distance, 1 / std::sqrt(2.0));
  l = fit({5, 1}, {3, 0});
  EXPECT_DOUBLE_EQ(l.theta, std::atan(0.75));
  EXPECT_DOUBLE_EQ(l.distance, -0.6);
  // Rising to the right: y = 2 - x has theta -pi/4 and distance sqrt(2);
  // the line through (0, 5) and (3, 1) has theta -atan(4/3), distance 3.
  l = fit({0, 2}, {2, 0});
  EXPECT_DOUBLE_EQ(l.theta, -kPi / 4);
  EXPECT_DOUBLE_EQ(l.distance, std::sqrt(2.0));
  l = fit({3, 0}, {1, 5});
  EXPECT_DOUBLE_EQ(l.theta, -std::atan(4.0 / 3));
  EXPECT_DOUBLE_EQ(l.distance, 3.0);
  // Near-vertical lines through (10, 0) on either side of pi/2: leaning
  // right stays just below pi/2 with distance about -10; leaning left the
  // direction passes pi/2, is brought back by pi to just above -pi/2, and
  // the distance turns to about +10.
  const double tilt = std::atan(1e-3), cos_tilt = 1 / std::sqrt(1 + 1e-6);
  l = fit({10, 11}, {0, 1000});
  EXPECT_NEAR(l.theta, kPi / 2 - tilt, 1e-14);
  EXPECT_NEAR(l.distance, -10 * cos_tilt, 1e-12);
  l = fit({10, 9}, {0, 1000});
  EXPECT_NEAR(l.theta, -kPi / 2 + tilt, 1e-14);
  EXPECT_NEAR(l.distance, 10 * cos_tilt, 1e-12);
  // Near-horizontal lines through (0, 10) around theta 0: no wrap there.
  l = fit({0, 1000}, {10, 11});
  EXPECT_NEAR(l.theta, tilt, 1e-14);
  EXPECT_NEAR(l.distance, 10 * cos_tilt, 1e-12);
  l = fit({0, 1000}, {10, 9});
  EXPECT_NEAR(l.theta, -tilt, 1e-14);
  EXPECT_NEAR(l.distance, 10 * cos_tilt, 1e-12);
  // Every direction around the circle from (2.5, -1.5): theta stays in
  // (-pi/2, pi/2], equals the direction modulo pi, and both points satisfy
  // -x sin(theta) + y cos(theta) = distance.
  for (int deg = 0; deg < 360; deg += 5) {
    double a = deg * kPi / 180;
    std::vector<double> x = {2.5, 2.5 + 9 * std::cos(a)}, y = {-1.5, -1.5 + 9 * std::sin(a)};
    l = fit(x, y);
    ASSERT_EQ(l.status, 0);
    EXPECT_GT(l.theta, -kPi / 2) << deg;
    EXPECT_LE(l.theta, kPi / 2) << deg;
    EXPECT_LT(angle_between(l.theta, a), 1e-12) << deg;
    for (int i = 0; i < 2; ++i)
      EXPECT_NEAR(-x[i] * std::sin(l.theta) + y[i] * std::cos(l.theta), l.distance, 1e-12) << deg;
  }
  EXPECT_NO_REPORT();
}

TEST(LineRegression, ManyPointsMinimisePerpendicularDistances) {
  // Points on the line of direction t at distance d with noise across the
  // line only, including steep lines where a fit of y on x would fail.
  std::mt19937 gen(5);
  std::normal_distribution<double> noise(0.0, 0.05);
  for (double t : {-1.5, -0.7, 0.0, 0.3, 1.2, kPi / 2}) {
    const double d = 12.5;
    std::vector<double> x, y;
    for (int i = 0; i < 200; ++i) {
      double s = -50 + 0.5 * i, e = noise(gen);
      // Foot of the normal (-sin t, cos t) plus s along the line plus e
      // across it.
      x.push_back(-(d + e) * std::sin(t) + s * std::cos(t));
      y.push_back((d + e) * std::cos(t) + s * std::sin(t));
    }
    Line l = fit(x, y);
    ASSERT_EQ(l.status, 0);
    EXPECT_LT(angle_between(l.theta, t), 2e-3) << t;
    // At t = pi/2 a fitted angle just past the end wraps and flips d.
    EXPECT_NEAR(std::fabs(l.distance), d, 0.02) << t;
    if (t < 1.55) {
      EXPECT_NEAR(l.theta, t, 2e-3) << t;
      EXPECT_NEAR(l.distance, d, 0.02) << t;
    }
  }
  // Symmetric points: the least-squares line is the axis of symmetry y = 1.
  Line l = fit({0, 0, 4, 4}, {0, 2, 0, 2});
  EXPECT_EQ(l.theta, 0.0);
  EXPECT_EQ(l.distance, 1.0);
  // Three points on y = 2 x - 1 and the vertical x = 7 with many points.
  l = fit({0, 1, 3}, {-1, 1, 5});
  EXPECT_NEAR(l.theta, std::atan(2.0), 1e-14);
  EXPECT_NEAR(l.distance, -1 / std::sqrt(5.0), 1e-14);
  l = fit({7, 7, 7, 7}, {0, 3, -2, 9});
  EXPECT_EQ(l.theta, kPi / 2);
  EXPECT_EQ(l.distance, -7.0);
  // The corners of a square scatter equally every way: the horizontal line
  // through their centre.
  l = fit({0, 0, 2, 2}, {0, 2, 0, 2});
  EXPECT_EQ(l.status, 0);
  EXPECT_EQ(l.theta, 0.0);
  EXPECT_EQ(l.distance, 1.0);
}

TEST(LineRegression, FailureReports) {
  double x[2] = {1, 1}, y[2] = {2, 2}, theta = 5, distance = 5;
  kt::clear_report();
  EXPECT_EQ(kel_linear_regression(2, x, y, &theta, &distance), 10);
  EXPECT_REPORT("kel_linear_regression", 10);
  EXPECT_STREQ(im_last_message(), "Points coincide");
  EXPECT_EQ(theta, 0.0);
  EXPECT_EQ(distance, 0.0);
  x[1] = 3;
  EXPECT_EQ(kel_linear_regression(1, x, y, &theta, &distance), 10);
  EXPECT_STREQ(im_last_message(), "n < 2");
  EXPECT_EQ(kel_linear_regression(2, nullptr, y, &theta, &distance), 10);
  EXPECT_STREQ(im_last_message(), "pointer is NULL");
  EXPECT_EQ(kel_linear_regression(2, x, y, &theta, nullptr), 10);
  EXPECT_EQ(kel_linear_regression(2, x, y, &theta, &distance), 0);
}

}  // namespace
