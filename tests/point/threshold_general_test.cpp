// Thresholds of any pixel type, kel_threshold2 and kel_threshold_band2:
// exact classes at and around the bounds on each type, class values
// truncated and clamped, NaN pixels and bounds, agreement with the BYTE
// operators on every level, views, and every failure report.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

class ThresholdGeneral : public ::testing::Test {
 protected:
  void SetUp() override {
    kel_set_use_mmx(0);
    kt::clear_report();
  }
  void TearDown() override { kel_set_use_mmx(0); }
};

std::vector<double> all_levels() {
  std::vector<double> v(256);
  for (int i = 0; i < 256; ++i)
    v[i] = i;
  return v;
}

TEST_F(ThresholdGeneral, TwoClassesOnEachType) {
  // WORD: compared exactly with t (10 < 10.5 <= 11); values truncated and
  // clamped to the type.
  kt::TestImage w = kt::view(WORD, 5, 1, {0, 10, 11, 40000, 65535});
  ASSERT_EQ(kel_threshold2(w, 10.5f, 7.9f, 70000.0f), 0);
  EXPECT_EQ(kt::pixels(w), (std::vector<double>{7, 7, 65535, 65535, 65535}));
  EXPECT_TRUE(kt::margin_intact(w));
  // FLOAT: t itself is in the high class; NaN pixels in the low one.
  kt::TestImage f = kt::view(FLOAT, 5, 1, {-1, 0.25, 0.5, 1e30, kNaN});
  ASSERT_EQ(kel_threshold2(f, 0.5f, -2.5f, 3.25f), 0);
  EXPECT_EQ(kt::pixels(f), (std::vector<double>{-2.5, -2.5, 3.25, 3.25, -2.5}));
  EXPECT_TRUE(kt::margin_intact(f));
  // BYTE: negative value stores 0, NaN value stores 0; a NaN threshold puts
  // every pixel in the low class.
  kt::TestImage b = kt::image(BYTE, 4, 1, {0, 99, 100, 255});
  ASSERT_EQ(kel_threshold2(b, 100.0f, -4.0f, NAN), 0);
  EXPECT_EQ(kt::pixels(b), (std::vector<double>{0, 0, 0, 0}));
  kt::TestImage n = kt::image(WORD, 2, 1, {0, 65535});
  ASSERT_EQ(kel_threshold2(n, NAN, 1, 2), 0);
  EXPECT_EQ(kt::pixels(n), (std::vector<double>{1, 1}));
  EXPECT_NO_REPORT();
}

TEST_F(ThresholdGeneral, BandOnEachType) {
  // Both bounds belong to the outer classes.
  kt::TestImage w = kt::view(WORD, 6, 1, {0, 1000, 1001, 1999, 2000, 65535});
  ASSERT_EQ(kel_threshold_band2(w, 1000, 2000, 1, 2, 3), 0);
  EXPECT_EQ(kt::pixels(w), (std::vector<double>{1, 1, 2, 2, 3, 3}));
  EXPECT_TRUE(kt::margin_intact(w));
  kt::TestImage f = kt::image(FLOAT, 6, 1, {-0.5, -0.25, 0, 0.75, 0.5, kNaN});
  ASSERT_EQ(kel_threshold_band2(f, -0.25f, 0.5f, -1, 0.5f, 1e20f), 0);
  EXPECT_EQ(kt::pixels(f), (std::vector<double>{-1, -1, 0.5, 1e20f, 1e20f, -1}));
  // Unusable bounds (hi <= lo, or NaN) set every pixel to 0.
  for (auto [lo, hi] :
       {std::pair{5.0f, 5.0f}, std::pair{6.0f, 5.0f}, std::pair{NAN, 5.0f}, std::pair{1.0f, NAN}}) {
    kt::TestImage v = kt::view(FLOAT, 3, 2, {1, 2, 3, 4, 5, 6});
    ASSERT_EQ(kel_threshold_band2(v, lo, hi, 7, 8, 9), 0);
    EXPECT_EQ(kt::pixels(v), std::vector<double>(6, 0));
    EXPECT_TRUE(kt::margin_intact(v));
  }
  // Class values clamp to WORD.
  kt::TestImage c = kt::image(WORD, 3, 1, {0, 5, 10});
  ASSERT_EQ(kel_threshold_band2(c, 1, 9, -1, 1e9f, 65535.9f), 0);
  EXPECT_EQ(kt::pixels(c), (std::vector<double>{0, 65535, 65535}));
  EXPECT_NO_REPORT();
}

TEST_F(ThresholdGeneral, ByteMatchesTheByteOperatorsOnEveryLevel) {
  for (int t : {0, 1, 128, 255}) {
    kt::TestImage a = kt::view(BYTE, 16, 16, all_levels());
    kt::TestImage b = kt::image(BYTE, 16, 16, all_levels());
    ASSERT_EQ(kel_threshold2(a, float(t), 30, 220), 0);
    ASSERT_EQ(kel_threshold(b, t, 30, 220), 0);
    EXPECT_EQ(kt::pixels(a), kt::pixels(b)) << t;
    EXPECT_TRUE(kt::margin_intact(a));
  }
  // Fractional threshold on BYTE: p >= 10.5 means p >= 11.
  kt::TestImage frac = kt::image(BYTE, 16, 16, all_levels());
  ASSERT_EQ(kel_threshold2(frac, 10.5f, 0, 1), 0);
  EXPECT_EQ(kt::get(frac, 10, 0), 0);
  EXPECT_EQ(kt::get(frac, 11, 0), 1);
  for (auto [lo, hi] : {std::pair{50, 51}, std::pair{0, 255}, std::pair{20, 200}, std::pair{9, 9},
                        std::pair{200, 20}}) {
    kt::TestImage a = kt::view(BYTE, 16, 16, all_levels());
    kt::TestImage b = kt::image(BYTE, 16, 16, all_levels());
    ASSERT_EQ(kel_threshold_band2(a, float(lo), float(hi), 10, 128, 250), 0);
    ASSERT_EQ(kel_threshold_band(b, lo, hi, 10, 128, 250), 0);
    EXPECT_EQ(kt::pixels(a), kt::pixels(b)) << lo << " " << hi;
  }
  EXPECT_NO_REPORT();
}

TEST_F(ThresholdGeneral, NoProcessorSwitch) {
  if (!kel_cpu_has_mmx()) GTEST_SKIP() << "processor without MMX";
  kel_set_use_mmx(1);
  // The pair (0, 255) that kel_threshold leaves undone is computed here.
  kt::TestImage b = kt::image(BYTE, 40, 2, std::vector<double>(80, 200));
  ASSERT_EQ(kel_threshold2(b, 100, 0, 255), 0);
  EXPECT_EQ(kt::pixels(b), std::vector<double>(80, 255));
}

TEST_F(ThresholdGeneral, Failures) {
  kt::TestImage b = kt::image(BYTE, 2, 2, {1, 2, 3, 4});
  Image odd = *b.get();
  odd.type = 3;
  odd.next = nullptr;
  kt::TestImage empty = kt::image(WORD, 0, 4);
  auto expect = [](int got, const char *fn, int code) {
    EXPECT_EQ(got, code);
    EXPECT_REPORT(fn, code);
    kt::clear_report();
  };
  expect(kel_threshold2(nullptr, 1, 0, 1), "kel_threshold2", 1);
  expect(kel_threshold2(&odd, 1, 0, 1), "kel_threshold2", 6);
  expect(kel_threshold2(empty, 1, 0, 1), "kel_threshold2", 17);
  expect(kel_threshold_band2(nullptr, 1, 2, 0, 1, 2), "kel_threshold_band2", 1);
  expect(kel_threshold_band2(&odd, 1, 2, 0, 1, 2), "kel_threshold_band2", 6);
  expect(kel_threshold_band2(empty, 1, 2, 0, 1, 2), "kel_threshold_band2", 17);
  EXPECT_EQ(kt::pixels(b), (std::vector<double>{1, 2, 3, 4}));
}

}  // namespace
