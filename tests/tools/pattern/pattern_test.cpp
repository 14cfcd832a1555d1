// Test patterns against their formulas: exact pixels where edges fall on
// pixel borders, exact half coverage where they cut pixels in two, closed
// formulas at pixel centres, every type through views, failures.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "kelkit.h"
#include "support/failure_table.hpp"
#include "support/test_images.hpp"

namespace {

TEST(Pattern, GeometricPatternsCoverPixelsExactly) {
  for (unsigned type : {BYTE, WORD, FLOAT}) {
    kt::TestImage img = kt::view(type, 24, 16);
    // Squares of 8 with corners on pixel borders: pure levels.
    ASSERT_EQ(kel_pattern_checkerboard(img, 8, -0.5, -0.5, 0, 10, 200), 0);
    for (int y = 0; y < 16; ++y)
      for (int x = 0; x < 24; ++x)
        EXPECT_EQ(kt::get(img, x, y), ((x / 8 + y / 8) % 2 == 0) ? 200 : 10) << type;
    EXPECT_TRUE(kt::margin_intact(img));
    // A corner on a pixel centre cuts that pixel into four quarters: half.
    ASSERT_EQ(kel_pattern_checkerboard(img, 8, 4, 4, 0, 0, 200), 0);
    EXPECT_EQ(kt::get(img, 4, 4), 100);
    EXPECT_EQ(kt::get(img, 6, 6), 200);
    EXPECT_EQ(kt::get(img, 2, 6), 0);
    // Constant frequency: a square wave of period 8, pixels 0..3 high.
    ASSERT_EQ(kel_pattern_bar_chart(img, 8, 8, 0, 100), 0);
    for (int x = 0; x < 24; ++x)
      EXPECT_EQ(kt::get(img, x, 5), (x % 8) < 4 ? 100 : 0) << x;
    // Lines 2 wide centred on the border after pixel 0 (and every 10).
    ASSERT_EQ(kel_pattern_grid(img, 10, 2, 0.5, 0.5, 5, 55), 0);
    for (int x = 0; x < 24; ++x) {
      bool line = x % 10 < 2;
      EXPECT_EQ(kt::get(img, x, 5), line ? 55 : 5) << x;
      EXPECT_EQ(kt::get(img, x, 1), 55);
    }
  }
  // Turned by 90 degrees the board is the same board mirrored (ends exact).
  kt::TestImage a = kt::image(BYTE, 16, 16), b = kt::image(BYTE, 16, 16);
  ASSERT_EQ(kel_pattern_checkerboard(a, 4, 7.5, 7.5, 0, 0, 255), 0);
  ASSERT_EQ(kel_pattern_checkerboard(b, 4, 7.5, 7.5, 90, 0, 255), 0);
  for (int y = 0; y < 16; ++y)
    for (int x = 0; x < 16; ++x)
      EXPECT_EQ(kt::get(a, x, y), 255 - kt::get(b, x, y));
}

TEST(Pattern, SmoothPatternsFollowTheirFormulas) {
  kt::TestImage img = kt::image(FLOAT, 20, 11);
  ASSERT_EQ(kel_pattern_gaussian(img, 7.25, 4.5, 3, 10, 90), 0);
  for (int y = 0; y < 11; y += 3)
    for (int x = 0; x < 20; x += 4) {
      double f = std::exp(-((x - 7.25) * (x - 7.25) + (y - 4.5) * (y - 4.5)) / 18);
      EXPECT_FLOAT_EQ(kt::get(img, x, y), 10 + 80 * f);
    }
  ASSERT_EQ(kel_pattern_wedge(img, 0, 0, 19), 0);
  EXPECT_FLOAT_EQ(kt::get(img, 13, 6), 13);
  ASSERT_EQ(kel_pattern_wedge(img, 90, 0, 100), 0);  // rising upwards
  EXPECT_FLOAT_EQ(kt::get(img, 3, 0), 100);
  EXPECT_FLOAT_EQ(kt::get(img, 3, 10), 0);
  ASSERT_EQ(kel_pattern_wave(img, 6, 30, 0.5, -1, 1), 0);
  const double a = std::numbers::pi / 6;
  for (int x = 0; x < 20; x += 3)
    EXPECT_FLOAT_EQ(kt::get(img, x, 7),
                    std::cos(2 * std::numbers::pi * (x * std::cos(a) - 7 * std::sin(a)) / 6 + 0.5));
  // Integer types round half up and clamp.
  kt::TestImage word = kt::image(WORD, 3, 1);
  ASSERT_EQ(kel_pattern_wedge(word, 0, -100, 70001), 0);
  EXPECT_EQ(kt::get(word, 0, 0), 0);
  EXPECT_EQ(kt::get(word, 1, 0), 34951);  // -100 + 70101 / 2 = 34950.5
  EXPECT_EQ(kt::get(word, 2, 0), 65535);
}

TEST(Pattern, FailuresCarryCodeAndName) {
  kt::TestImage img = kt::image(BYTE, 8, 8);
  kt::expect_failures({
      {"kel_pattern_checkerboard", 1,
       [&] { return kel_pattern_checkerboard(nullptr, 0, 0, 0, 0, 0, 1); }},
      {"kel_pattern_checkerboard", 10,
       [&] { return kel_pattern_checkerboard(img, 0, 0, 0, 0, 0, 1); }},
      {"kel_pattern_gaussian", 10, [&] { return kel_pattern_gaussian(img, 0, 0, -1, 0, 1); }},
      {"kel_pattern_wedge", 10, [&] { return kel_pattern_wedge(img, INFINITY, 0, 1); }},
      {"kel_pattern_wedge", 10, [&] { return kel_pattern_wedge(img, 0, NAN, 1); }},
      {"kel_pattern_bar_chart", 10, [&] { return kel_pattern_bar_chart(img, 4, 0, 0, 1); }},
      {"kel_pattern_grid", 10, [&] { return kel_pattern_grid(img, 4, 4, 0, 0, 0, 1); }},
      {"kel_pattern_wave", 1, [&] { return kel_pattern_wave(nullptr, 4, 0, 0, 0, 1); }},
  });
}

}  // namespace
