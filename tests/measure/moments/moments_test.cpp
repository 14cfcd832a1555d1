// Projections and moments against plain references on every pixel type and
// on views; Hu invariants under rotation of a rendered shape; blob and label
// forms against the image form; failures.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "kelkit.h"
#include "support/failure_table.hpp"
#include "support/test_images.hpp"

namespace {

// An L with unequal arms (no mirror symmetry), anti-aliased by 16 x 16 sub-samples, turned
// by `deg` about (cx, cy): chiral, so every Hu invariant is well away from 0.
kt::TestImage shape(double deg, double cx, double cy) {
  kt::TestImage img = kt::image(FLOAT, 320, 320);
  const double a = deg * std::numbers::pi / 180, c = std::cos(a), s = std::sin(a);
  for (int y = 0; y < 320; ++y)
    for (int x = 0; x < 320; ++x) {
      int in = 0;
      for (int j = 0; j < 16; ++j)
        for (int i = 0; i < 16; ++i) {
          double px = x - 15.0 / 32 + i / 16.0 - cx, py = y - 15.0 / 32 + j / 16.0 - cy;
          // Back into the shape's frame, at half scale.
          double u = (px * c - py * s) / 2, v = (px * s + py * c) / 2;
          bool arm = u > -30 && u < 30 && v > -8 && v < 8;
          bool leg = u > 14 && u < 30 && v >= 8 && v < 40;
          in += arm || leg;
        }
      kt::set(img, x, y, in / 256.0);
    }
  return img;
}

TEST(Moments, ProjectionsMatchPlainSumsOnEveryType) {
  for (unsigned type : {BYTE, WORD, FLOAT}) {
    kt::TestImage img = kt::random_image(type, 13, 7, 5, true);
    std::vector<double> cols(13), rows(7), rect(13);
    ASSERT_EQ(kel_projection(img, KEL_PROJECT_COLUMNS, KEL_PROJECT_SUM, cols.data(), 13), 0);
    ASSERT_EQ(kel_projection(img, KEL_PROJECT_ROWS, KEL_PROJECT_MEAN, rows.data(), 7), 0);
    for (int x = 0; x < 13; ++x) {
      double s = 0;
      for (int y = 0; y < 7; ++y)
        s += kt::get(img, x, y);
      EXPECT_NEAR(cols[x], s, 1e-9 * (1 + std::fabs(s)));
    }
    for (int y = 0; y < 7; ++y) {
      double s = 0;
      for (int x = 0; x < 13; ++x)
        s += kt::get(img, x, y);
      EXPECT_NEAR(rows[y], s / 13, 1e-9 * (1 + std::fabs(s)));
    }
    // An upright rectangle on pixel centres samples pixels exactly: columns
    // 2..10 of rows 1..5 (centre (6, 3)).
    ASSERT_EQ(kel_projection_rect(img, 6, 3, 9, 5, 0, KEL_PROJECT_SUM, rect.data(), 13), 0);
    for (int i = 0; i < 9; ++i) {
      double s = 0;
      for (int y = 1; y <= 5; ++y)
        s += static_cast<float>(kt::get(img, 2 + i, y));
      EXPECT_NEAR(rect[i], s, 1e-3 * (1 + std::fabs(s))) << type;
    }
    EXPECT_TRUE(kt::margin_intact(img));
  }
}

TEST(Moments, RawCentralAndNormalisedMomentsMatchDirectSums) {
  for (unsigned type : {BYTE, WORD, FLOAT}) {
    kt::TestImage img = kt::random_image(type, 23, 17, 9, true);
    if (type == FLOAT)  // non-negative masses for a meaningful ellipse
      for (int y = 0; y < 17; ++y)
        for (int x = 0; x < 23; ++x)
          kt::set(img, x, y, std::fabs(kt::get(img, x, y)));
    KelMoments m;
    ASSERT_EQ(kel_moments(img, KEL_MOMENTS_GREY, &m), 0);
    double m00 = 0, m10 = 0, m01 = 0;
    for (int y = 0; y < 17; ++y)
      for (int x = 0; x < 23; ++x) {
        double w = kt::get(img, x, y);
        m00 += w, m10 += w * x, m01 += w * y;
      }
    const double xc = m10 / m00, yc = m01 / m00;
    auto mu = [&](int p, int q) {
      double s = 0;
      for (int y = 0; y < 17; ++y)
        for (int x = 0; x < 23; ++x)
          s += std::pow(x - xc, p) * std::pow(y - yc, q) * kt::get(img, x, y);
      return s;
    };
    auto near = [](double a, double b) { EXPECT_NEAR(a, b, 1e-8 * (1 + std::fabs(b))); };
    near(m.m00, m00);
    near(m.xc, xc);
    near(m.yc, yc);
    near(m.mu20, mu(2, 0));
    near(m.mu11, mu(1, 1));
    near(m.mu02, mu(0, 2));
    near(m.mu30, mu(3, 0));
    near(m.mu21, mu(2, 1));
    near(m.mu12, mu(1, 2));
    near(m.mu03, mu(0, 3));
    near(m.nu21, mu(2, 1) / std::pow(m00, 2.5));
  }
  // A horizontal bar 20 x 4: orientation 0, axes from the second moments;
  // turned to a vertical bar: 90 degrees.
  kt::TestImage bar = kt::image(BYTE, 30, 30);
  for (int y = 10; y < 14; ++y)
    for (int x = 5; x < 25; ++x)
      kt::set(bar, x, y, 1);
  KelMoments m;
  ASSERT_EQ(kel_moments(bar, KEL_MOMENTS_BINARY, &m), 0);
  EXPECT_NEAR(m.angle, 0, 1e-12);
  EXPECT_NEAR(m.major, 4 * std::sqrt((400 - 1) / 12.0), 1e-9);
  EXPECT_NEAR(m.minor, 4 * std::sqrt((16 - 1) / 12.0), 1e-9);
  // A bar rising to the right on screen turns counter-clockwise: +45.
  kt::TestImage diag = kt::image(BYTE, 20, 20);
  for (int i = 2; i < 18; ++i)
    kt::set(diag, i, 19 - i, 200);
  ASSERT_EQ(kel_moments(diag, KEL_MOMENTS_BINARY, &m), 0);
  EXPECT_NEAR(m.angle, 45, 1e-9);
}

TEST(Moments, HuInvariantsSurviveRotationAndObjectFormsAgree) {
  KelMoments a, b;
  ASSERT_EQ(kel_moments(shape(0, 160, 160), KEL_MOMENTS_GREY, &a), 0);
  ASSERT_EQ(kel_moments(shape(37, 152.3, 165.6), KEL_MOMENTS_GREY, &b), 0);
  for (int i = 0; i < 7; ++i)
    EXPECT_NEAR(b.hu[i], a.hu[i], 1e-3 * std::fabs(a.hu[i])) << i;
  EXPECT_NEAR(b.angle - a.angle, 37, 0.05);

  // One object in a BYTE image: blob and label forms give the image's own
  // binary moments, also through a view with master coordinates.
  kt::TestImage img = kt::view(BYTE, 40, 30);
  for (int y = 0; y < 30; ++y)
    for (int x = 0; x < 40; ++x)
      kt::set(img, x, y, 255);
  for (int y = 5; y < 20; ++y)
    for (int x = 8 + y / 3; x < 30 - (y % 4); ++x)
      kt::set(img, x, y, 0);
  KelMoments whole, blob, label;
  kt::TestImage inverted = kt::image(BYTE, 40, 30);
  for (int y = 0; y < 30; ++y)
    for (int x = 0; x < 40; ++x)
      kt::set(inverted, x, y, 255 - kt::get(img, x, y));
  ASSERT_EQ(kel_moments(inverted, KEL_MOMENTS_BINARY, &whole), 0);
  BlobParams *p = kel_blob_create_params(nullptr);
  BlobResults *r = kel_blob_create_results(10, 1, nullptr);
  ASSERT_EQ(kel_blob_find(img, p, r, KEL_BLOB_COORDS_MASTER | KEL_BLOB_COORDS_Y_UP), 0);
  ASSERT_EQ(kel_blob_get_num_found(r), 1u);
  ASSERT_EQ(kel_moments_blob(img, p, r, 0, KEL_BLOB_COORDS_MASTER | KEL_BLOB_COORDS_Y_UP, &blob),
            0);
  EXPECT_DOUBLE_EQ(blob.m00, whole.m00);
  EXPECT_NEAR(blob.mu21, whole.mu21, 1e-9 * std::fabs(whole.mu21));
  kel_blob_delete_results(r);
  kel_blob_delete_params(p);
  unsigned count = 0;
  LabelRecord *labels = kel_label(inverted, 255, 8, 7, 200, &count);
  ASSERT_EQ(count, 1u);
  ASSERT_EQ(kel_moments_label(inverted, labels, 8, &label), 0);
  EXPECT_DOUBLE_EQ(label.m00, whole.m00);
  EXPECT_NEAR(label.hu[3], whole.hu[3], 1e-12);
  kel_label_delete_list(labels);
}

TEST(Moments, FailuresCarryCodeAndName) {
  KelMoments m;
  double x, y, out[8];
  kt::TestImage img = kt::image(BYTE, 8, 8), word = kt::image(WORD, 8, 8);
  BlobParams *p = kel_blob_create_params(nullptr);
  BlobResults *r = kel_blob_create_results(2, 1, nullptr);
  kt::expect_failures({
      {"kel_projection", 1, [&] { return kel_projection(nullptr, 0, 0, out, 8); }},
      {"kel_projection", 8, [&] { return kel_projection(img, 2, 0, out, 8); }},
      {"kel_projection", 8, [&] { return kel_projection(img, 0, 2, out, 8); }},
      {"kel_projection", 17, [&] { return kel_projection(img, 0, 0, out, 7); }},
      {"kel_projection_rect", 10,
       [&] { return kel_projection_rect(img, 4, 4, 0, 3, 0, 0, out, 8); }},
      {"kel_projection_rect", 10,
       [&] { return kel_projection_rect(img, NAN, 4, 4, 3, 0, 0, out, 8); }},
      {"kel_projection_rect", 17,
       [&] { return kel_projection_rect(img, 4, 4, 9, 3, 0, 0, out, 8); }},
      {"kel_moments", 10, [&] { return kel_moments(img, 0, nullptr); }},
      {"kel_moments", 8, [&] { return kel_moments(img, 2, &m); }},
      {"kel_moments", 14, [&] { return kel_moments(img, KEL_MOMENTS_GREY, &m); }},
      {"kel_centroid", 14, [&] { return kel_centroid(img, &x, &y); }},
      {"kel_moments_blob", 13, [&] { return kel_moments_blob(word, p, r, 0, 1, &m); }},
      {"kel_moments_blob", 10, [&] { return kel_moments_blob(img, p, r, 0, 1, &m); }},
      {"kel_moments_label", 18, [&] { return kel_moments_label(img, nullptr, 8, &m); }},
      {"kel_moments_complete", 14,
       [&] {
         m = KelMoments{};
         return kel_moments_complete(&m);
       }},
  });
  kel_blob_delete_results(r);
  kel_blob_delete_params(p);
}

}  // namespace
