// Frame averaging: integer means, the common area, the 16-bit wrap of sums
// and of the divisor, and the unreported and reported failures.
#include <gtest/gtest.h>

#include <vector>

#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

class Average : public ::testing::Test {
 protected:
  void SetUp() override { kt::clear_report(); }
  void TearDown() override {
    if (acc) kel_imgavg_delete(acc);
  }
  KelImgAvg *acc = nullptr;
};

TEST_F(Average, IntegerMeanOfFrames) {
  acc = kel_imgavg_create(3, 2);
  ASSERT_TRUE(acc);
  EXPECT_EQ(acc->count, 0u);
  for (int v : {1, 2, 2}) {
    kt::TestImage img = kt::view(BYTE, 3, 2, std::vector<double>(6, v));
    ASSERT_EQ(kel_imgavg_accum(img, acc), 0);
  }
  kt::TestImage out = kt::view(BYTE, 3, 2);
  ASSERT_EQ(kel_imgavg_result(acc, out), 0);
  EXPECT_EQ(kt::pixels(out), std::vector<double>(6, 1));  // 5 / 3 truncated
  EXPECT_TRUE(kt::margin_intact(out));

  // Results can be taken while accumulating: the accumulator is unchanged.
  kt::TestImage img = kt::image(BYTE, 3, 2, {250, 7, 0, 255, 255, 9});
  ASSERT_EQ(kel_imgavg_accum(img, acc), 0);
  ASSERT_EQ(kel_imgavg_result(acc, out), 0);
  ASSERT_EQ(kel_imgavg_result(acc, out), 0);
  EXPECT_EQ(kt::pixels(out), (std::vector<double>{63, 3, 1, 65, 65, 3}));
  EXPECT_EQ(acc->count, 4u);
  EXPECT_NO_REPORT();
}

TEST_F(Average, ZeroDivisorGivesZeroImage) {
  acc = kel_imgavg_create(2, 2);
  // Before any accumulation the whole image becomes 0, even beyond the
  // accumulator's size.
  kt::TestImage out = kt::view(BYTE, 4, 3, std::vector<double>(12, 9));
  ASSERT_EQ(kel_imgavg_result(acc, out), 0);
  EXPECT_EQ(kt::pixels(out), std::vector<double>(12, 0));
  EXPECT_TRUE(kt::margin_intact(out));

  // After 65536 images the divisor's low 16 bits are 0 again.
  kt::TestImage one = kt::image(BYTE, 2, 2, {1, 1, 1, 1});
  for (int k = 0; k < 65536; ++k)
    ASSERT_EQ(kel_imgavg_accum(one, acc), 0);
  EXPECT_EQ(acc->count, 65536u);
  kt::TestImage out2 = kt::image(BYTE, 2, 2, {5, 5, 5, 5});
  ASSERT_EQ(kel_imgavg_result(acc, out2), 0);
  EXPECT_EQ(kt::pixels(out2), std::vector<double>(4, 0));
  // One more: the sums wrapped to 0 as well, plus this image's 1.
  ASSERT_EQ(kel_imgavg_accum(one, acc), 0);
  ASSERT_EQ(kel_imgavg_result(acc, out2), 0);
  EXPECT_EQ(kt::pixels(out2), std::vector<double>(4, 1));
  EXPECT_NO_REPORT();
}

TEST_F(Average, SumsWrapAt16Bits) {
  acc = kel_imgavg_create(1, 1);
  kt::TestImage white = kt::image(BYTE, 1, 1, {255});
  for (int k = 0; k < 257; ++k)
    kel_imgavg_accum(white, acc);
  kt::TestImage out = kt::image(BYTE, 1, 1);
  kel_imgavg_result(acc, out);
  EXPECT_EQ(kt::get(out, 0, 0), 255);  // 65535 / 257
  kel_imgavg_accum(white, acc);        // 258 * 255 wraps to 254
  EXPECT_EQ(acc->sums[0][0], 254);
  kel_imgavg_result(acc, out);
  EXPECT_EQ(kt::get(out, 0, 0), 0);  // 254 / 258
}

TEST_F(Average, CommonAreaWithAccumulator) {
  acc = kel_imgavg_create(3, 2);
  // A larger image contributes only its top-left 3 x 2 pixels.
  kt::TestImage big = kt::image(BYTE, 5, 4);
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 5; ++x)
      kt::set(big, x, y, 10 * y + x);
  ASSERT_EQ(kel_imgavg_accum(big, acc), 0);
  // A smaller one adds to its area only, but counts.
  kt::TestImage small = kt::view(BYTE, 2, 1, {100, 200});
  ASSERT_EQ(kel_imgavg_accum(small, acc), 0);
  EXPECT_EQ(acc->count, 2u);
  const unsigned short expected[2][3] = {{100, 201, 2}, {10, 11, 12}};
  for (int y = 0; y < 2; ++y)
    for (int x = 0; x < 3; ++x)
      EXPECT_EQ(acc->sums[y][x], expected[y][x]) << x << "," << y;
  // An empty image still counts.
  kt::TestImage empty = kt::image(BYTE, 0, 5);
  ASSERT_EQ(kel_imgavg_accum(empty, acc), 0);
  EXPECT_EQ(acc->count, 3u);

  // Results: only the common area is written.
  kt::TestImage out = kt::image(BYTE, 4, 3, std::vector<double>(12, 77));
  ASSERT_EQ(kel_imgavg_result(acc, out), 0);
  EXPECT_EQ(kt::pixels(out), (std::vector<double>{33, 67, 0, 77, 3, 3, 4, 77, 77, 77, 77, 77}));
  kt::TestImage tiny = kt::image(BYTE, 1, 1);
  ASSERT_EQ(kel_imgavg_result(acc, tiny), 0);
  EXPECT_EQ(kt::get(tiny, 0, 0), 33);
  EXPECT_NO_REPORT();
}

TEST_F(Average, Failures) {
  EXPECT_EQ(kel_imgavg_create(0, 5), nullptr);
  EXPECT_EQ(kel_imgavg_create(5, -1), nullptr);
  EXPECT_EQ(kel_imgavg_delete(nullptr), 1);
  acc = kel_imgavg_create(2, 2);
  kt::TestImage b = kt::image(BYTE, 2, 2), w = kt::image(WORD, 2, 2, {5, 5, 5, 5});
  EXPECT_EQ(kel_imgavg_accum(nullptr, acc), 1);
  EXPECT_EQ(kel_imgavg_accum(b, nullptr), 1);
  EXPECT_EQ(kel_imgavg_result(nullptr, b), 1);
  EXPECT_EQ(kel_imgavg_result(acc, nullptr), 1);
  EXPECT_NO_REPORT();  // null arguments are not reported
  EXPECT_EQ(kel_imgavg_accum(w, acc), 13);
  EXPECT_REPORT("kel_imgavg_accum", 13);
  EXPECT_EQ(acc->count, 0u);
  EXPECT_EQ(kel_imgavg_result(acc, w), 13);
  EXPECT_REPORT("kel_imgavg_result", 13);
  EXPECT_EQ(kt::pixels(w), std::vector<double>(4, 5));
}

}  // namespace
