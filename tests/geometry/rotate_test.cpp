// kel_rotate: quarter turns as exact transpositions and flips for every
// pixel type and for views, a 30 degree turn against an independent
// bilinear reference, the fill of pixels from outside, destinations of
// other sizes, and every failure.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

class Rotate : public ::testing::Test {
 protected:
  void SetUp() override { kt::clear_report(); }
};

TEST_F(Rotate, QuarterTurnsAreExactTranspositionsAndFlips) {
  for (unsigned type : {BYTE, WORD, FLOAT}) {
    SCOPED_TRACE(type);
    // A 9 x 6 source (odd and even sides) as a view; destinations as views.
    kt::TestImage src = kt::random_image(type, 9, 6, 11, true);
    kt::TestImage same = kt::view(type, 9, 6), half = kt::view(type, 9, 6);
    kt::TestImage quarter = kt::view(type, 6, 9), three = kt::view(type, 6, 9);
    ASSERT_EQ(kel_rotate(src, same, 0.0), 0);
    ASSERT_EQ(kel_rotate(src, half, 180.0), 0);
    ASSERT_EQ(kel_rotate(src, quarter, 90.0), 0);
    ASSERT_EQ(kel_rotate(src, three, -90.0), 0);
    EXPECT_NO_REPORT();
    for (int y = 0; y < 6; ++y)
      for (int x = 0; x < 9; ++x) {
        const double v = kt::get(src, x, y);
        EXPECT_EQ(kt::get(same, x, y), v);
        EXPECT_EQ(kt::get(half, 8 - x, 5 - y), v);
        // Counter-clockwise as seen: the right end of a row goes to the top.
        EXPECT_EQ(kt::get(quarter, y, 8 - x), v);
        EXPECT_EQ(kt::get(three, 5 - y, x), v);
      }
    EXPECT_TRUE(kt::margin_intact(same));
    EXPECT_TRUE(kt::margin_intact(quarter));
  }
  // A full turn and 450 degrees are the identity and the quarter turn.
  kt::TestImage src = kt::random_image(BYTE, 7, 7, 3);
  kt::TestImage full = kt::image(BYTE, 7, 7), q = kt::image(BYTE, 7, 7);
  ASSERT_EQ(kel_rotate(src, full, -360.0), 0);
  ASSERT_EQ(kel_rotate(src, q, 450.0), 0);
  EXPECT_EQ(kt::pixels(full), kt::pixels(src));
  for (int y = 0; y < 7; ++y)
    for (int x = 0; x < 7; ++x)
      EXPECT_EQ(kt::get(q, x, y), kt::get(src, 6 - y, x));
}

// Bilinear reference of the source point turned onto (u, v); NaN outside.
double reference(const Image *src, const Image *dst, double deg, int u, int v) {
  const double a = deg * std::numbers::pi / 180.0;
  const double du = u - (dst->dx - 1) / 2.0, dv = v - (dst->dy - 1) / 2.0;
  const double x = (src->dx - 1) / 2.0 + std::cos(a) * du - std::sin(a) * dv;
  const double y = (src->dy - 1) / 2.0 + std::sin(a) * du + std::cos(a) * dv;
  if (x < 0 || y < 0 || x > src->dx - 1 || y > src->dy - 1) return std::nan("");
  const int ix = std::min(int(x), src->dx - 2), iy = std::min(int(y), src->dy - 2);
  const double fx = x - ix, fy = y - iy;
  auto at = [&](int i, int j) { return kt::get(src, i, j); };
  return (1 - fy) * ((1 - fx) * at(ix, iy) + fx * at(ix + 1, iy)) +
         fy * ((1 - fx) * at(ix, iy + 1) + fx * at(ix + 1, iy + 1));
}

TEST_F(Rotate, ThirtyDegreesFollowsTheBilinearReferenceAndFillsOutsideWithZero) {
  for (unsigned type : {BYTE, WORD, FLOAT}) {
    SCOPED_TRACE(type);
    kt::TestImage src = kt::random_image(type, 21, 16, 5, true);
    // A larger destination: its corners see nothing of the source.
    kt::TestImage dst = kt::image(type, 27, 24);
    for (int y = 0; y < 24; ++y)
      for (int x = 0; x < 27; ++x)
        kt::set(dst, x, y, 9);
    ASSERT_EQ(kel_rotate(src, dst, 30.0), 0);
    int outside = 0;
    for (int v = 0; v < 24; ++v)
      for (int u = 0; u < 27; ++u) {
        const double ref = reference(src, dst, 30.0, u, v);
        if (std::isnan(ref)) {
          ++outside;
          EXPECT_EQ(kt::get(dst, u, v), 0.0);
        } else if (type == FLOAT) {
          EXPECT_NEAR(kt::get(dst, u, v), ref, 1e-3);
        } else {
          EXPECT_EQ(kt::get(dst, u, v), std::floor(ref + 0.5)) << u << "," << v;
        }
      }
    EXPECT_GT(outside, 100);
  }
}

TEST_F(Rotate, Failures) {
  kt::TestImage b = kt::image(BYTE, 8, 8), b2 = kt::image(BYTE, 8, 8);
  kt::TestImage w = kt::image(WORD, 8, 8), empty = kt::image(BYTE, 0, 4);
  struct Case {
    const Image *src;
    Image *dst;
    double angle;
    int code;
  } cases[] = {
      {nullptr, b, 1, 1},
      {b, nullptr, 1, 1},
      {b, b, 1, 106},
      {b, w, 1, 13},
      {empty, b2, 1, 17},
      {b, empty, 1, 17},
      {b, b2, std::nan(""), 10},
      {b, b2, INFINITY, 10},
  };
  for (const Case &c : cases) {
    kt::clear_report();
    EXPECT_EQ(kel_rotate(c.src, c.dst, c.angle), c.code);
    EXPECT_REPORT("kel_rotate", c.code);
  }
  // A view overlapping its master counts as the same image.
  Image *v = im_rroi(b, 1, 1, 4, 4);
  kt::clear_report();
  EXPECT_EQ(kel_rotate(b, v, 10), 106);
  im_delete(v);
}

}  // namespace
