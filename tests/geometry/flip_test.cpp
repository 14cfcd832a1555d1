// kel_hflip: the mirror on every pixel type, into views and in place on odd
// and even widths, the common area of unequal images, the processor-switch
// branch at its width, and every failure.
#include <gtest/gtest.h>

#include <vector>

#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

class Flip : public ::testing::Test {
 protected:
  void SetUp() override {
    kel_set_use_mmx(0);
    kt::clear_report();
  }
  void TearDown() override { kel_set_use_mmx(0); }
};

TEST_F(Flip, MirrorsEachTypeIntoViewsAndInPlace) {
  for (unsigned type : {BYTE, WORD, FLOAT}) {
    for (int dx : {1, 2, 7, 8, 33}) {
      SCOPED_TRACE(testing::Message() << "type " << type << " width " << dx);
      kt::TestImage src = kt::random_image(type, dx, 3, dx, true);
      const std::vector<double> before = kt::pixels(src);
      kt::TestImage dst = kt::view(type, dx, 3);
      ASSERT_EQ(kel_hflip(src, dst), 0);
      for (int y = 0; y < 3; ++y)
        for (int x = 0; x < dx; ++x)
          ASSERT_EQ(kt::get(dst, x, y), kt::get(src, dx - 1 - x, y));
      EXPECT_EQ(kt::pixels(src), before);
      EXPECT_TRUE(kt::margin_intact(dst));
      // In place gives the same mirror; twice gives the image back.
      ASSERT_EQ(kel_hflip(src, src), 0);
      EXPECT_EQ(kt::pixels(src), kt::pixels(dst));
      EXPECT_TRUE(kt::margin_intact(src));
      ASSERT_EQ(kel_hflip(src, src), 0);
      EXPECT_EQ(kt::pixels(src), before);
    }
  }
  EXPECT_NO_REPORT();
}

TEST_F(Flip, MirrorsTheCommonArea) {
  // A 4-wide common area of a 5 x 2 source and a 4 x 3 destination: the
  // source's last column is not read, the destination's last row not written.
  kt::TestImage src = kt::image(WORD, 5, 2, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
  kt::TestImage dst = kt::image(WORD, 4, 3, std::vector<double>(12, 99));
  ASSERT_EQ(kel_hflip(src, dst), 0);
  EXPECT_EQ(kt::pixels(dst), (std::vector<double>{4, 3, 2, 1, 9, 8, 7, 6, 99, 99, 99, 99}));
  kt::TestImage wide = kt::image(FLOAT, 6, 1, std::vector<double>(6, -1));
  ASSERT_EQ(kel_hflip(dst, wide), 13);  // types must match
  kt::TestImage wide_word = kt::image(WORD, 6, 1, std::vector<double>(6, 0));
  kt::clear_report();
  ASSERT_EQ(kel_hflip(dst, wide_word), 0);
  EXPECT_EQ(kt::pixels(wide_word), (std::vector<double>{1, 2, 3, 4, 0, 0}));
  EXPECT_NO_REPORT();
}

TEST_F(Flip, ProcessorSwitchLeavesWideByteImages) {
  if (!kel_cpu_has_mmx()) GTEST_SKIP() << "processor without MMX";
  kel_set_use_mmx(1);
  // BYTE 8 wide (common width): returns 0 with the destination unchanged.
  kt::TestImage src8 = kt::random_image(BYTE, 8, 2, 1);
  kt::TestImage dst8 = kt::image(BYTE, 9, 2, std::vector<double>(18, 5));
  ASSERT_EQ(kel_hflip(src8, dst8), 0);
  EXPECT_EQ(kt::pixels(dst8), std::vector<double>(18, 5));
  // 7 wide computes.
  kt::TestImage src7 = kt::image(BYTE, 7, 1, {1, 2, 3, 4, 5, 6, 7});
  ASSERT_EQ(kel_hflip(src7, src7), 0);
  EXPECT_EQ(kt::pixels(src7), (std::vector<double>{7, 6, 5, 4, 3, 2, 1}));
  // WORD and FLOAT always compute.
  for (unsigned type : {WORD, FLOAT}) {
    kt::TestImage img = kt::image(type, 9, 1, {1, 2, 3, 4, 5, 6, 7, 8, 9});
    ASSERT_EQ(kel_hflip(img, img), 0);
    EXPECT_EQ(kt::pixels(img), (std::vector<double>{9, 8, 7, 6, 5, 4, 3, 2, 1}));
  }
  // Switched off, the 8-wide image is mirrored.
  kel_set_use_mmx(0);
  ASSERT_EQ(kel_hflip(src8, dst8), 0);
  EXPECT_EQ(kt::get(dst8, 0, 1), kt::get(src8, 7, 1));
  EXPECT_EQ(kt::get(dst8, 8, 1), 5);
  EXPECT_NO_REPORT();
}

TEST_F(Flip, Failures) {
  kt::TestImage b = kt::image(BYTE, 6, 4, std::vector<double>(24, 3)), w = kt::image(WORD, 6, 4);
  kt::TestImage empty = kt::image(BYTE, 0, 4);
  Image odd = *b.get();
  odd.type = 3;
  odd.next = nullptr;
  // Overlapping views of one master (and a view with its master).
  kt::TestImage left(nullptr, im_rroi(b, 0, 0, 4, 4)), right(nullptr, im_rroi(b, 2, 0, 4, 4));
  kt::TestImage apart(nullptr, im_rroi(b, 4, 0, 2, 4));
  auto expect = [](int got, int code) {
    EXPECT_EQ(got, code);
    EXPECT_REPORT("kel_hflip", code);
    kt::clear_report();
  };
  expect(kel_hflip(nullptr, b), 1);
  expect(kel_hflip(b, nullptr), 1);
  expect(kel_hflip(left, right), 106);
  expect(kel_hflip(b, left), 106);
  expect(kel_hflip(b, w), 13);
  expect(kel_hflip(&odd, &odd), 6);
  expect(kel_hflip(b, empty), 17);
  EXPECT_EQ(kt::pixels(b), std::vector<double>(24, 3));
  // Views that do not overlap work.
  kt::set(left, 0, 0, 1);
  kt::set(left, 1, 0, 2);
  ASSERT_EQ(kel_hflip(left, apart), 0);
  EXPECT_EQ(kt::get(apart, 0, 0), 2);
  EXPECT_EQ(kt::get(apart, 1, 0), 1);
}

}  // namespace
