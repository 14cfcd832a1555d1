// Line geometry and robust shape fits: exact constructions and relations,
// and fits that recover known lines, circles and ellipses from noisy points
// with a fifth of them replaced by outliers.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

constexpr double kPi = std::numbers::pi;

TEST(Lines, ConstructionsAndRelations) {
  KelLine a, b;
  ASSERT_EQ(kel_line_from_points(0, 1, 1, 2, &a), 0);  // y = x + 1
  EXPECT_DOUBLE_EQ(a.theta, kPi / 4);
  EXPECT_DOUBLE_EQ(a.distance, 1 / std::sqrt(2.0));
  ASSERT_EQ(kel_line_from_points(5, 7, 5, -2, &b), 0);  // x = 5, exact
  EXPECT_EQ(b.theta, kPi / 2);
  EXPECT_EQ(b.distance, -5.0);
  KelLine c;
  ASSERT_EQ(kel_line_from_point_angle(0, 1, 5 * kPi / 4, &c), 0);  // same as a
  EXPECT_NEAR(c.theta, a.theta, 1e-15);
  EXPECT_NEAR(c.distance, a.distance, 1e-15);
  double x, y, d, fx, fy, angle;
  ASSERT_EQ(kel_line_intersection(&a, &b, &x, &y), 0);
  EXPECT_NEAR(x, 5, 1e-12);
  EXPECT_NEAR(y, 6, 1e-12);
  ASSERT_EQ(kel_line_point_distance(&a, 1, 0, &d), 0);  // below-right of y = x + 1
  EXPECT_NEAR(d, -std::sqrt(2.0), 1e-12);
  ASSERT_EQ(kel_line_foot(&a, 1, 0, &fx, &fy), 0);
  EXPECT_NEAR(fx, 0, 1e-12);
  EXPECT_NEAR(fy, 1, 1e-12);
  ASSERT_EQ(kel_line_angle(&a, &b, &angle), 0);
  EXPECT_NEAR(angle, kPi / 4, 1e-15);
  ASSERT_EQ(kel_line_angle(&b, &a, &angle), 0);
  EXPECT_NEAR(angle, -kPi / 4, 1e-15);
  // Segments: crossing, parallel apart, touching at an end, point to segment.
  struct Seg {
    double v[8], expected;
  } segs[] = {{{0, 0, 2, 2, 0, 2, 2, 0}, 0},
              {{0, 0, 4, 0, 1, 3, 3, 3}, 3},
              {{0, 0, 4, 0, 4, 0, 6, 5}, 0},
              {{0, 0, 4, 0, 6, 3, 6, 3}, std::hypot(2, 3)},
              {{0, 0, 0, 4, 3, 5, 3, 9}, std::hypot(3, 1)}};
  for (const Seg &s : segs) {
    ASSERT_EQ(
        kel_segment_distance(s.v[0], s.v[1], s.v[2], s.v[3], s.v[4], s.v[5], s.v[6], s.v[7], &d),
        0);
    EXPECT_NEAR(d, s.expected, 1e-12);
  }
}

TEST(Lines, Failures) {
  KelLine l{0, 1}, parallel{0, 3};
  KelCircle circle;
  KelEllipse ellipse;
  double x[5] = {0, 1, 2, 3, 4}, y[5] = {1, 1, 1, 1, 1}, v;
  const double same[5] = {2, 2, 2, 2, 2};
  struct Case {
    int status, code;
    const char *fn;
  } cases[] = {
      {kel_line_from_points(1, 1, 1, 1, &l), 10, "kel_line_from_points"},
      {kel_line_from_points(0, 0, 1, 1, nullptr), 10, "kel_line_from_points"},
      {kel_line_from_point_angle(0, 0, NAN, &l), 10, "kel_line_from_point_angle"},
      {kel_line_intersection(&l, &parallel, &v, &v), 16, "kel_line_intersection"},
      {kel_line_intersection(&l, nullptr, &v, &v), 10, "kel_line_intersection"},
      {kel_line_point_distance(nullptr, 0, 0, &v), 10, "kel_line_point_distance"},
      {kel_line_foot(&l, 0, 0, &v, nullptr), 10, "kel_line_foot"},
      {kel_line_angle(&l, &l, nullptr), 10, "kel_line_angle"},
      {kel_segment_distance(0, 0, 1, 1, 2, 2, 3, 3, nullptr), 10, "kel_segment_distance"},
      {kel_line_fit_robust(1, x, y, &l, nullptr), 10, "kel_line_fit_robust"},
      {kel_line_fit_robust(5, same, same, &l, nullptr), 14, "kel_line_fit_robust"},
      {kel_circle_fit(2, x, y, &circle, nullptr), 10, "kel_circle_fit"},
      {kel_circle_fit(5, x, y, &circle, nullptr), 14, "kel_circle_fit"},
      {kel_ellipse_fit(4, x, y, &ellipse, nullptr), 10, "kel_ellipse_fit"},
      {kel_ellipse_fit(5, x, y, nullptr, nullptr), 10, "kel_ellipse_fit"},
      {kel_ellipse_fit(5, x, y, &ellipse, nullptr), 14, "kel_ellipse_fit"},
  };
  // Each case ran in the initialiser above; the last report is the last
  // case's, so check codes for all and the reporting name for the last.
  for (const Case &c : cases)
    EXPECT_EQ(c.status, c.code) << c.fn;
  EXPECT_REPORT("kel_ellipse_fit", 14);
  kt::clear_report();
  EXPECT_EQ(kel_line_intersection(&l, &parallel, &v, &v), 16);
  EXPECT_REPORT("kel_line_intersection", 16);
}

// n points on a shape plus noise, then every fifth replaced by an outlier
// scattered over the shape's surroundings.
template <class OnShape>
void sample(int n, double noise, OnShape on_shape, std::vector<double> &x, std::vector<double> &y) {
  std::mt19937 gen(7);
  std::normal_distribution<double> g(0, noise);
  std::uniform_real_distribution<double> u(-60, 60);
  x.resize(n);
  y.resize(n);
  for (int i = 0; i < n; ++i) {
    on_shape(i, x[i], y[i]);
    x[i] += g(gen);
    y[i] += g(gen);
    if (i % 5 == 2) x[i] = u(gen), y[i] = u(gen);
  }
}

TEST(Lines, RobustFitsIgnoreOutliers) {
  for (double noise : {0.0, 0.05}) {
    const double tol = noise == 0 ? 1e-9 : 0.05;
    std::vector<double> x, y;
    // Line through (3, -4) at 1.1 rad.
    sample(
        100, noise,
        [](int i, double &px, double &py) {
          px = 3 + (i - 50) * 0.5 * std::cos(1.1);
          py = -4 + (i - 50) * 0.5 * std::sin(1.1);
        },
        x, y);
    KelLine line;
    int kept = 0;
    ASSERT_EQ(kel_line_fit_robust(100, x.data(), y.data(), &line, &kept), 0);
    EXPECT_NEAR(line.theta, 1.1, tol / 10);
    EXPECT_NEAR(line.distance, -3 * std::sin(1.1) - 4 * std::cos(1.1), tol);
    EXPECT_GE(kept, noise == 0 ? 80 : 75);
    EXPECT_LE(kept, 82);
    // Circle centre (10, -5), radius 25.
    sample(
        100, noise,
        [](int i, double &px, double &py) {
          px = 10 + 25 * std::cos(i * 0.0628);
          py = -5 + 25 * std::sin(i * 0.0628);
        },
        x, y);
    KelCircle circle;
    ASSERT_EQ(kel_circle_fit(100, x.data(), y.data(), &circle, &kept), 0);
    EXPECT_NEAR(circle.cx, 10, tol);
    EXPECT_NEAR(circle.cy, -5, tol);
    EXPECT_NEAR(circle.r, 25, tol);
    // Ellipse centre (-3, 4), semi-axes 30 and 12, turned 0.4 rad, sampled
    // over three quarters of its length.
    sample(
        120, noise,
        [](int i, double &px, double &py) {
          double t = i * 0.04, c = std::cos(0.4), s = std::sin(0.4);
          double u = 30 * std::cos(t), v = 12 * std::sin(t);
          px = -3 + u * c - v * s;
          py = 4 + u * s + v * c;
        },
        x, y);
    KelEllipse e;
    ASSERT_EQ(kel_ellipse_fit(120, x.data(), y.data(), &e, &kept), 0);
    EXPECT_NEAR(e.cx, -3, 2 * tol);
    EXPECT_NEAR(e.cy, 4, 2 * tol);
    EXPECT_NEAR(e.a, 30, 2 * tol);
    EXPECT_NEAR(e.b, 12, 2 * tol);
    EXPECT_NEAR(e.angle, 0.4, tol / 5);
    EXPECT_GE(kept, 90);
  }
}

}  // namespace
