// Edge-enhancement filters: the literal case of separation 0 and size 1,
// every type, shape and parameter against a plain reference (odd sizes,
// views, in place), exact saturation at extreme shifts and offsets, and the
// check order with every failure report.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <random>
#include <utility>
#include <vector>

#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

class EdgeFilter : public ::testing::Test {
 protected:
  void SetUp() override { kt::clear_report(); }
};

using Filter = int (*)(Image *, int, int, int, int, int);

struct Args {
  int separation, size, shift, offset, mode;
};

// What one output value becomes, computed in double (exact for the values
// used here): shift as multiplication or floor division, offset, mode, and
// the clamp of integer types.
double finish(double d, unsigned type, const Args &a) {
  double v = d * std::ldexp(1.0, a.shift);
  if (type != FLOAT && a.shift < 0) v = std::floor(v);
  v += a.offset;
  if (a.mode == 2) v = -v;
  if (a.mode == 3) v = std::fabs(v);
  if (type == BYTE) v = std::clamp(v, 0.0, 255.0);
  if (type == WORD) v = std::clamp(v, 0.0, 65535.0);
  if (type == FLOAT) v = double(float(v));
  return v;
}

// The expected image after the filter, from the original pixels.
std::vector<double> reference(const std::vector<double> &in, int dx, int dy, unsigned type,
                              bool vertical, const Args &a) {
  std::vector<double> out = in;
  auto at = [&](int x, int y) { return in[std::size_t(y) * dx + x]; };
  const int span = a.separation + 2, gap = a.separation + 1;
  if (!vertical) {
    for (int k = 0; k < dy - (span & ~1); ++k)
      for (int j = 0; j < dx - (a.size & ~1); ++j) {
        double top = 0, bottom = 0;
        for (int t = 0; t < a.size; ++t) {
          top += at(j + t, k);
          bottom += at(j + t, k + gap);
        }
        out[std::size_t(k + span / 2) * dx + j + a.size / 2] = finish(top - bottom, type, a);
      }
  } else {
    for (int r = 0; r < dy - (a.size & ~1); ++r)
      for (int j = 0; j < dx - (span & ~1); ++j) {
        double left = 0, right = 0;
        for (int t = 0; t < a.size; ++t) {
          left += at(j, r + t);
          right += at(j + gap, r + t);
        }
        out[std::size_t(r + a.size / 2) * dx + j + span / 2] = finish(right - left, type, a);
      }
  }
  return out;
}

TEST_F(EdgeFilter, SeparationZeroSizeOneIsARowDifference) {
  const std::vector<double> px = {10, 200, 30, 40,  //
                                  5,  100, 90, 40,  //
                                  0,  250, 95, 41,  //
                                  7,  7,   7,  7};
  kt::TestImage img = kt::image(BYTE, 4, 4, px);
  ASSERT_EQ(kel_horizontal_edge_byte(img, 0, 1, 0, 0, 0), 0);
  // Row k + 1 = row k - row k + 1, clamped; rows 0 and 3 keep their values.
  EXPECT_EQ(kt::pixels(img), (std::vector<double>{10, 200, 30, 40,  //
                                                  5, 100, 0, 0,     //
                                                  5, 0, 0, 0,       //
                                                  7, 7, 7, 7}));
  // Offset 128 keeps the sign visible; mode 2 negates, mode 3 folds.
  kt::TestImage b = kt::image(BYTE, 4, 4, px);
  ASSERT_EQ(kel_horizontal_edge_byte(b, 0, 1, 0, 128, 0), 0);
  EXPECT_EQ(kt::get(b, 2, 1), 128 + 30 - 90);
  EXPECT_EQ(kt::get(b, 1, 2), 0);  // 128 + 100 - 250 clamped
  kt::TestImage c = kt::image(BYTE, 4, 4, px);
  ASSERT_EQ(kel_horizontal_edge_byte(c, 0, 1, 0, 0, 3), 0);
  EXPECT_EQ(kt::get(c, 1, 2), 150);
  EXPECT_EQ(kt::get(c, 1, 1), 100);
  // The vertical filter subtracts left from right.
  kt::TestImage v = kt::image(BYTE, 4, 4, px);
  ASSERT_EQ(kel_vertical_edge_byte(v, 0, 1, 0, 0, 2), 0);
  EXPECT_EQ(kt::pixels(v), (std::vector<double>{10, 0, 170, 40,  //
                                                5, 0, 10, 40,    //
                                                0, 0, 155, 41,   //
                                                7, 0, 0, 7}));
  EXPECT_NO_REPORT();
}

TEST_F(EdgeFilter, MatchesReferenceOnEveryTypeAndShape) {
  std::mt19937 gen(11);
  const int shifts[] = {-40, -3, -1, 0, 1, 2, 3, 31, 40};
  const Filter filters[] = {kel_horizontal_edge_byte, kel_vertical_edge_byte, kel_horizontal_edge,
                            kel_vertical_edge};
  int checked = 0;
  for (int trial = 0; trial < 600; ++trial) {
    const int which = trial % 4;
    const bool vertical = which % 2 == 1;
    const unsigned type = which < 2 ? BYTE : (gen() % 3 == 0 ? BYTE : gen() % 2 ? WORD : FLOAT);
    const int dx = 1 + gen() % 23, dy = 1 + gen() % 15;
    Args a{int(gen() % 5), 1 + int(gen() % 6), shifts[gen() % 9], int(gen() % 400) - 100,
           int(gen() % 4)};
    if (trial % 50 == 0) a.offset = trial % 100 ? INT_MAX : INT_MIN;
    kt::TestImage img = kt::random_image(type, dx, dy, trial, trial % 3 == 0);
    if (trial % 7 == 0)  // flat areas give differences of exactly 0
      for (int y = 0; y < dy; ++y)
        for (int x = 0; x < dx / 2; ++x)
          kt::set(img, x, y, type == FLOAT ? 3.5 : 9);
    const std::vector<double> before = kt::pixels(img);
    kt::clear_report();
    int status = filters[which](img, a.separation, a.size, a.shift, a.offset, a.mode);
    const bool small =
        vertical ? (dx < a.separation + 2 || dy < a.size) : (dx < a.size || dy < a.separation + 2);
    SCOPED_TRACE(::testing::Message()
                 << "trial " << trial << " type " << type << " " << dx << "x" << dy << " sep "
                 << a.separation << " size " << a.size << " shift " << a.shift << " offset "
                 << a.offset << " mode " << a.mode);
    if (small) {
      EXPECT_EQ(status, 7);
      EXPECT_STREQ(im_last_message(), "Area too small!");
      EXPECT_EQ(kt::pixels(img), before);
      continue;
    }
    ASSERT_EQ(status, 0);
    const std::vector<double> expected = reference(before, dx, dy, type, vertical, a);
    const std::vector<double> got = kt::pixels(img);
    for (std::size_t i = 0; i < got.size(); ++i) {
      // The vertical FLOAT filter keeps running column sums, so its float
      // results may differ from a direct sum in the last bits.
      if (type == FLOAT && vertical)
        ASSERT_NEAR(got[i], expected[i], 1e-9 * std::fabs(expected[i]) + 1e-3) << i;
      else
        ASSERT_EQ(got[i], expected[i]) << i;
    }
    EXPECT_TRUE(kt::margin_intact(img));
    ++checked;
  }
  EXPECT_GT(checked, 300);
}

TEST_F(EdgeFilter, LargeBoxes) {
  // Box sums past 16 pixels run as running sums, past 257 BYTE pixels in
  // 32 bits; the shift keeps the BYTE results off the clamp.
  const std::vector<std::pair<unsigned, int>> boxes = {
      {BYTE, 20}, {BYTE, 300}, {WORD, 40}, {FLOAT, 30}};
  for (auto [type, size] : boxes) {
    for (bool vertical : {false, true}) {
      const int dx = vertical ? 9 : size + 13, dy = vertical ? size + 5 : 9;
      kt::TestImage img = kt::random_image(type, dx, dy, size, true);
      const std::vector<double> before = kt::pixels(img);
      const Args a{2, size, type == BYTE ? -6 : 0, 128, 0};
      Filter f = vertical ? kel_vertical_edge : kel_horizontal_edge;
      ASSERT_EQ(f(img, a.separation, a.size, a.shift, a.offset, a.mode), 0);
      const std::vector<double> expected = reference(before, dx, dy, type, vertical, a);
      const std::vector<double> got = kt::pixels(img);
      for (std::size_t i = 0; i < got.size(); ++i)
        ASSERT_NEAR(got[i], expected[i], type == FLOAT ? 1e-2 : 0.0) << type << " " << size;
      EXPECT_TRUE(kt::margin_intact(img));
    }
  }
}

TEST_F(EdgeFilter, CheckOrderAndFailureReports) {
  kt::TestImage byte = kt::image(BYTE, 8, 8);
  kt::TestImage word = kt::image(WORD, 8, 8);
  kt::TestImage tiny_word = kt::image(WORD, 2, 2);
  struct Case {
    const char *fn;
    Filter f;
    Image *img;
    int separation, size, code;
    const char *message;
  } cases[] = {
      {"kel_horizontal_edge_byte", kel_horizontal_edge_byte, nullptr, 0, 1, 1, nullptr},
      {"kel_horizontal_edge_byte", kel_horizontal_edge_byte, tiny_word, 0, 9, 13, nullptr},
      {"kel_horizontal_edge_byte", kel_horizontal_edge_byte, byte, 0, 9, 7, "Area too small!"},
      {"kel_horizontal_edge_byte", kel_horizontal_edge_byte, byte, 7, 1, 7, "Area too small!"},
      {"kel_horizontal_edge_byte", kel_horizontal_edge_byte, byte, -3, 0, 10, "separation < 0"},
      {"kel_horizontal_edge_byte", kel_horizontal_edge_byte, byte, 0, 0, 10, "size < 1"},
      {"kel_vertical_edge_byte", kel_vertical_edge_byte, nullptr, 0, 1, 1, nullptr},
      {"kel_vertical_edge_byte", kel_vertical_edge_byte, word, 0, 1, 13, nullptr},
      {"kel_vertical_edge_byte", kel_vertical_edge_byte, byte, 7, 1, 7, "Area too small!"},
      {"kel_vertical_edge_byte", kel_vertical_edge_byte, byte, 0, 9, 7, "Area too small!"},
      {"kel_vertical_edge_byte", kel_vertical_edge_byte, byte, -1, 1, 10, "separation < 0"},
      {"kel_vertical_edge_byte", kel_vertical_edge_byte, byte, 0, -4, 10, "size < 1"},
      // The typed forms test the size before the type.
      {"kel_horizontal_edge", kel_horizontal_edge, nullptr, 0, 1, 1, nullptr},
      {"kel_horizontal_edge", kel_horizontal_edge, tiny_word, 0, 9, 7, "Area too small!"},
      {"kel_horizontal_edge", kel_horizontal_edge, byte, -5, 1, 10, "separation < 0"},
      {"kel_horizontal_edge", kel_horizontal_edge, word, 0, 0, 10, "size < 1"},
      {"kel_vertical_edge", kel_vertical_edge, tiny_word, 1, 1, 7, "Area too small!"},
      {"kel_vertical_edge", kel_vertical_edge, word, -2, 1, 10, "separation < 0"},
      {"kel_vertical_edge", kel_vertical_edge, byte, 0, 0, 10, "size < 1"},
  };
  for (const Case &c : cases) {
    kt::clear_report();
    EXPECT_EQ(c.f(c.img, c.separation, c.size, 0, 0, 0), c.code) << c.fn << " " << c.code;
    EXPECT_REPORT(c.fn, c.code);
    if (c.message) {
      EXPECT_STREQ(im_last_message(), c.message) << c.fn;
    }
  }
  // A pixel type code outside BYTE, WORD and FLOAT: 6 from the typed forms,
  // after the size check.
  kt::TestImage other = kt::image(WORD, 8, 8);
  other->type = 3;
  for (Filter f : {kel_horizontal_edge, kel_vertical_edge}) {
    kt::clear_report();
    EXPECT_EQ(f(other, 0, 1, 0, 0, 0), 6);
    EXPECT_EQ(f(other, 0, 9, 0, 0, 0), 7);
  }
  EXPECT_EQ(kel_horizontal_edge_byte(other, 0, 9, 0, 0, 0), 13);
  other->type = WORD;
}

}  // namespace
