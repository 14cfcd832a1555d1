// Least-squares line fit in normal form: the two-point case in every
// orientation, the range of theta, noisy points against a known line, and
// the failure reports.
#include <gtest/gtest.h>

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

TEST(LineRegression, TwoPointsInEveryOrientation) {
  kt::clear_report();
  // Horizontal y = 3: normal straight down the y axis.
  Line l = fit({0, 10}, {3, 3});
  EXPECT_EQ(l.status, 0);
  EXPECT_DOUBLE_EQ(l.theta, kPi / 2);
  EXPECT_NEAR(l.distance, 3, 1e-12);
  // Given right to left it is the same line.
  l = fit({10, 0}, {3, 3});
  EXPECT_DOUBLE_EQ(l.theta, kPi / 2);
  EXPECT_NEAR(l.distance, 3, 1e-12);
  // Vertical x = -4: theta 0, distance -4.
  l = fit({-4, -4}, {1, 7});
  EXPECT_NEAR(l.theta, 0, 1e-15);
  EXPECT_NEAR(l.distance, -4, 1e-12);
  // y = x + 1: normal at -45 degrees, distance -1/sqrt(2).
  l = fit({0, 1}, {1, 2});
  EXPECT_NEAR(l.theta, -kPi / 4, 1e-12);
  EXPECT_NEAR(l.distance, -1 / std::sqrt(2.0), 1e-12);
  // y = -x + 2: normal at +45 degrees, distance sqrt(2).
  l = fit({0, 2}, {2, 0});
  EXPECT_NEAR(l.theta, kPi / 4, 1e-12);
  EXPECT_NEAR(l.distance, std::sqrt(2.0), 1e-12);
  // Every direction around the circle: theta stays in (-pi/2, pi/2] and both
  // points satisfy x cos(theta) + y sin(theta) = distance.
  for (int deg = 0; deg < 360; deg += 7) {
    double a = deg * kPi / 180;
    std::vector<double> x = {2.5, 2.5 + 9 * std::cos(a)}, y = {-1.5, -1.5 + 9 * std::sin(a)};
    l = fit(x, y);
    ASSERT_EQ(l.status, 0);
    EXPECT_GT(l.theta, -kPi / 2) << deg;
    EXPECT_LE(l.theta, kPi / 2) << deg;
    for (int i = 0; i < 2; ++i)
      EXPECT_NEAR(x[i] * std::cos(l.theta) + y[i] * std::sin(l.theta), l.distance, 1e-12) << deg;
  }
  EXPECT_NO_REPORT();
}

TEST(LineRegression, ManyPointsMinimisePerpendicularDistances) {
  // Points on x cos(t) + y sin(t) = d with noise across the line only, and a
  // steep line where a fit of y on x would fail.
  std::mt19937 gen(5);
  std::normal_distribution<double> noise(0.0, 0.05);
  for (double t : {-1.2, -0.3, 0.0, 0.7, 1.5, kPi / 2}) {
    const double d = 12.5;
    std::vector<double> x, y;
    for (int i = 0; i < 200; ++i) {
      double s = -50 + 0.5 * i, e = noise(gen);
      // Foot of the normal plus s along the line plus e across it.
      x.push_back((d + e) * std::cos(t) - s * std::sin(t));
      y.push_back((d + e) * std::sin(t) + s * std::cos(t));
    }
    Line l = fit(x, y);
    ASSERT_EQ(l.status, 0);
    EXPECT_NEAR(l.theta, t, 2e-3) << t;
    EXPECT_NEAR(l.distance, d, 0.02) << t;
  }
  // Symmetric points: the least-squares line is the axis of symmetry.
  Line l = fit({0, 0, 4, 4}, {0, 2, 0, 2});
  EXPECT_NEAR(l.theta, kPi / 2, 1e-12);
  EXPECT_NEAR(l.distance, 1, 1e-12);
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
