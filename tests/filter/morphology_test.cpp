// 3x3 grey erosion and dilation: exact values on literals, the border rule,
// the common area, the processor switch at widths 8 and 9, every failure
// report, and a cross-check against a plain 3x3 minimum and maximum on random
// images and views.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "filter/reference_3x3.hpp"
#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

class Morphology : public ::testing::Test {
 protected:
  void SetUp() override {
    kel_set_use_mmx(0);
    kt::clear_report();
  }
  void TearDown() override { kel_set_use_mmx(0); }
};

using Op = int (*)(const Image *, Image *);

struct Named {
  const char *name;
  Op fn;
  bool max;
};
const Named kOps[] = {{"kel_erode", kel_erode, false}, {"kel_dilate", kel_dilate, true}};

std::vector<int> expect(const Image *src, int w, int h, bool max) {
  return ft::reference_3x3(w, h, [&](int x, int y) {
    int v = max ? 0 : 255;
    for (int j = -1; j <= 1; ++j)
      for (int i = -1; i <= 1; ++i) {
        int p = static_cast<int>(kt::get(src, x + i, y + j));
        v = max ? std::max(v, p) : std::min(v, p);
      }
    return v;
  });
}

TEST_F(Morphology, ThreeByThreeAreaBecomesNineCopiesOfTheExtreme) {
  kt::TestImage src = kt::view(BYTE, 3, 3, {40, 7, 90, 12, 50, 61, 200, 33, 8});
  for (const Named &op : kOps) {
    kt::TestImage dst = kt::view(BYTE, 3, 3);
    ASSERT_EQ(op.fn(src, dst), 0);
    EXPECT_EQ(kt::pixels(dst), std::vector<double>(9, op.max ? 200 : 7)) << op.name;
    EXPECT_TRUE(kt::margin_intact(dst));
  }
  EXPECT_NO_REPORT();
}

TEST_F(Morphology, UniformImageAndCommonArea) {
  kt::TestImage src = kt::image(BYTE, 12, 10, std::vector<double>(120, 123));
  for (const Named &op : kOps) {
    // The destination is larger: only the common area changes.
    kt::TestImage dst = kt::image(BYTE, 20, 13, std::vector<double>(260, 5));
    ASSERT_EQ(op.fn(src, dst), 0);
    for (int y = 0; y < 13; ++y)
      for (int x = 0; x < 20; ++x)
        ASSERT_EQ(kt::get(dst, x, y), x < 12 && y < 10 ? 123 : 5)
            << op.name << " " << x << ", " << y;
  }
  // The source is larger: only the destination's area is read.
  kt::TestImage big = kt::random_image(BYTE, 30, 9, 4);
  for (const Named &op : kOps) {
    kt::TestImage dst = kt::view(BYTE, 19, 5);
    ASSERT_EQ(op.fn(big, dst), 0);
    EXPECT_EQ(ft::count_differences(dst, 19, 5, expect(big, 19, 5, op.max)), 0) << op.name;
    EXPECT_TRUE(kt::margin_intact(dst));
  }
}

TEST_F(Morphology, OneBrightPixelGrowsOrVanishes) {
  kt::TestImage src = kt::image(BYTE, 7, 6);
  kt::set(src, 3, 2, 255);
  kt::TestImage dst = kt::image(BYTE, 7, 6);
  ASSERT_EQ(kel_dilate(src, dst), 0);
  for (int y = 0; y < 6; ++y)
    for (int x = 0; x < 7; ++x) {
      // A 3x3 square at rows 1..3; row 0 repeats row 1.
      bool inside = x >= 2 && x <= 4 && y <= 3;
      ASSERT_EQ(kt::get(dst, x, y), inside ? 255 : 0) << x << ", " << y;
    }
  ASSERT_EQ(kel_erode(src, dst), 0);
  EXPECT_EQ(kt::pixels(dst), std::vector<double>(42, 0));
}

TEST_F(Morphology, ProcessorSwitchIdlesAboveWidthEight) {
  if (!kel_cpu_has_mmx()) GTEST_SKIP() << "no MMX: the switch cannot be set";
  kel_set_use_mmx(1);
  for (const Named &op : kOps) {
    kt::TestImage src9 = kt::random_image(BYTE, 9, 6, 3);
    kt::TestImage dst9 = kt::image(BYTE, 9, 6, std::vector<double>(54, 9));
    EXPECT_EQ(op.fn(src9, dst9), 0);
    EXPECT_EQ(kt::pixels(dst9), std::vector<double>(54, 9)) << op.name;

    // Width 8 computes, and so does a wide image whose common area with a
    // narrow one is 8 wide.
    kt::TestImage src8 = kt::random_image(BYTE, 8, 6, 8);
    kt::TestImage dst8 = kt::view(BYTE, 8, 6);
    ASSERT_EQ(op.fn(src8, dst8), 0);
    EXPECT_EQ(ft::count_differences(dst8, 8, 6, expect(src8, 8, 6, op.max)), 0) << op.name;
    ASSERT_EQ(op.fn(src9, dst8), 0);
    EXPECT_EQ(ft::count_differences(dst8, 8, 6, expect(src9, 8, 6, op.max)), 0) << op.name;
  }
  kel_set_use_mmx(0);
  kt::TestImage src = kt::random_image(BYTE, 9, 6, 3);
  kt::TestImage dst = kt::image(BYTE, 9, 6);
  ASSERT_EQ(kel_erode(src, dst), 0);
  EXPECT_EQ(ft::count_differences(dst, 9, 6, expect(src, 9, 6, false)), 0);
}

TEST_F(Morphology, FailuresReportUnderTheirNameAndWriteNothing) {
  kt::TestImage src = kt::random_image(BYTE, 6, 5, 2);
  kt::TestImage dst = kt::view(BYTE, 6, 5, std::vector<double>(30, 9));
  kt::TestImage word = kt::image(WORD, 6, 5), word_low = kt::image(WORD, 6, 2);
  kt::TestImage low = kt::image(BYTE, 6, 2), narrow = kt::image(BYTE, 2, 5);
  const auto before = ft::snapshot(dst);
  struct Case {
    const Image *src;
    Image *dst;
    int code;
  };
  const Case cases[] = {
      {nullptr, dst, 1}, {src, nullptr, 1}, {dst, dst, 106},
      {word, word, 106},  // same record comes before the type
      {word, dst, 13},   {src, word, 13},   {word_low, dst, 13},  // type comes before the size
      {low, dst, 17},    {src, narrow, 17},
  };
  for (const Named &op : kOps)
    for (const Case &c : cases) {
      kt::clear_report();
      EXPECT_EQ(op.fn(c.src, c.dst), c.code) << op.name;
      EXPECT_REPORT(op.name, c.code);
      if (c.code != 1) {
        EXPECT_STREQ(im_last_message(), "");
      }
    }
  EXPECT_EQ(ft::snapshot(dst), before);
}

// The separable vector path against the plain 3x3 extreme, on widths around
// its 16-pixel blocks, views with skip and sources larger than the
// destination.
TEST_F(Morphology, MatchesTheReference) {
  std::mt19937 gen(23);
  const int widths[] = {3, 4, 5, 8, 9, 15, 16, 17, 18, 19, 31, 32, 33, 34, 49, 65, 67, 131};
  int trial = 0;
  for (int w : widths)
    for (bool as_view : {false, true}) {
      ++trial;
      int h = 3 + static_cast<int>(gen() % 8);
      int extra = trial % 3;
      kt::TestImage src = kt::random_image(BYTE, w + extra, h + extra, trial, as_view);
      if (trial % 3 == 0)  // sparse bright spots on dark
        for (int y = 0; y < h; ++y)
          for (int x = 0; x < w; ++x)
            if (gen() % 7) kt::set(src, x, y, gen() % 4);
      for (const Named &op : kOps) {
        kt::TestImage dst = as_view ? kt::view(BYTE, w, h) : kt::image(BYTE, w, h);
        ASSERT_EQ(op.fn(src, dst), 0);
        EXPECT_EQ(ft::count_differences(dst, w, h, expect(src, w, h, op.max)), 0)
            << op.name << " width " << w << (as_view ? " view" : "");
        if (as_view) {
          EXPECT_TRUE(kt::margin_intact(dst));
        }
      }
    }
}

}  // namespace
