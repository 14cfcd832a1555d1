// Conversion into a destination and value mapping: kel_byte, kel_word,
// kel_clip, kel_shift_bits, kel_gain_offset, kel_normalize, and the colour
// planes kel_rgb_unpack, kel_rgb_to_his, kel_his_to_rgb. Exact values on each
// type with rounding and saturation, views, unequal sizes, in-place use,
// round trips and every failure report.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

class Levels : public ::testing::Test {
 protected:
  void SetUp() override {
    kel_set_use_mmx(0);
    kt::clear_report();
  }
};

// Expects `got` to be `code` reported under `fn` (with `message` when given).
void expect_failure(int got, const char *fn, int code, const char *message = nullptr) {
  EXPECT_EQ(got, code);
  EXPECT_REPORT(fn, code);
  if (message) {
    EXPECT_STREQ(im_last_message(), message);
  }
  kt::clear_report();
}

// A record with a pixel type no operator takes, sharing b's pixels.
Image odd_type(const kt::TestImage &b) {
  Image odd = *b.get();
  odd.type = 3;
  odd.next = nullptr;
  return odd;
}

TEST_F(Levels, ByteAndWordRoundSaturateAndCopy) {
  // FLOAT: nearest, halves away from zero, clamped, NaN 0.
  const std::vector<double> f = {-3, -0.5, 0.49, 0.5, 1.5, 2.5, 254.5, 255.4, 1e9, kNaN, 7, 300.5};
  kt::TestImage src = kt::image(FLOAT, 6, 2, f);
  kt::TestImage b = kt::view(BYTE, 6, 2);
  ASSERT_EQ(kel_byte(src, b), 0);
  EXPECT_EQ(kt::pixels(b), (std::vector<double>{0, 0, 0, 1, 2, 3, 255, 255, 255, 0, 7, 255}));
  EXPECT_TRUE(kt::margin_intact(b));
  kt::TestImage w = kt::view(WORD, 6, 2);
  ASSERT_EQ(kel_word(src, w), 0);
  EXPECT_EQ(kt::pixels(w), (std::vector<double>{0, 0, 0, 1, 2, 3, 255, 255, 65535, 0, 7, 301}));
  EXPECT_TRUE(kt::margin_intact(w));
  kt::TestImage top = kt::image(FLOAT, 3, 1, {65534.5, 65535.4, 65534.49});
  kt::TestImage w3 = kt::image(WORD, 3, 1);
  ASSERT_EQ(kel_word(top, w3), 0);
  EXPECT_EQ(kt::pixels(w3), (std::vector<double>{65535, 65535, 65534}));

  // WORD into BYTE clamps (no bit selection); BYTE into WORD is exact.
  kt::TestImage words = kt::view(WORD, 4, 1, {0, 255, 256, 65535});
  kt::TestImage b4 = kt::image(BYTE, 4, 1);
  ASSERT_EQ(kel_byte(words, b4), 0);
  EXPECT_EQ(kt::pixels(b4), (std::vector<double>{0, 255, 255, 255}));
  kt::TestImage bytes = kt::image(BYTE, 4, 1, {0, 1, 128, 255});
  ASSERT_EQ(kel_word(bytes, words), 0);
  EXPECT_EQ(kt::pixels(words), (std::vector<double>{0, 1, 128, 255}));

  // Same type: a copy, into another view or onto itself.
  kt::TestImage copy = kt::view(BYTE, 4, 1);
  ASSERT_EQ(kel_byte(bytes, copy), 0);
  EXPECT_EQ(kt::pixels(copy), kt::pixels(bytes));
  ASSERT_EQ(kel_byte(copy, copy), 0);
  ASSERT_EQ(kel_word(words, words), 0);
  EXPECT_EQ(kt::pixels(copy), (std::vector<double>{0, 1, 128, 255}));
  EXPECT_EQ(kt::pixels(words), (std::vector<double>{0, 1, 128, 255}));
  EXPECT_TRUE(kt::margin_intact(copy));
  EXPECT_NO_REPORT();
}

TEST_F(Levels, ByteAndWordTouchOnlyTheCommonArea) {
  kt::TestImage src = kt::image(FLOAT, 5, 2, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
  kt::TestImage dst = kt::image(BYTE, 3, 3, std::vector<double>(9, 99));
  ASSERT_EQ(kel_byte(src, dst), 0);
  EXPECT_EQ(kt::pixels(dst), (std::vector<double>{1, 2, 3, 6, 7, 8, 99, 99, 99}));
  kt::TestImage wdst = kt::image(WORD, 6, 1, std::vector<double>(6, 99));
  ASSERT_EQ(kel_word(src, wdst), 0);
  EXPECT_EQ(kt::pixels(wdst), (std::vector<double>{1, 2, 3, 4, 5, 99}));
}

TEST_F(Levels, ByteAndWordFailures) {
  kt::TestImage f = kt::image(FLOAT, 2, 2), b = kt::image(BYTE, 2, 2), w = kt::image(WORD, 2, 2);
  kt::TestImage empty = kt::image(BYTE, 0, 2);
  Image odd = odd_type(b);
  expect_failure(kel_byte(nullptr, b), "kel_byte", 1);
  expect_failure(kel_byte(f, nullptr), "kel_byte", 1);
  expect_failure(kel_byte(f, w), "kel_byte", 6, "Output must be BYTE");
  expect_failure(kel_byte(&odd, b), "kel_byte", 6);
  expect_failure(kel_byte(f, empty), "kel_byte", 17);
  expect_failure(kel_word(nullptr, w), "kel_word", 1);
  expect_failure(kel_word(f, b), "kel_word", 6, "Output must be WORD");
  expect_failure(kel_word(&odd, w), "kel_word", 6);
  expect_failure(kel_word(empty, w), "kel_word", 17);
}

TEST_F(Levels, ClipOnEachType) {
  kt::TestImage b = kt::view(BYTE, 5, 1, {0, 9, 10, 20, 255});
  ASSERT_EQ(kel_clip(b, 10.7f, 20.7f), 0);  // bounds truncated to 10 .. 20
  EXPECT_EQ(kt::pixels(b), (std::vector<double>{10, 10, 10, 20, 20}));
  EXPECT_TRUE(kt::margin_intact(b));
  ASSERT_EQ(kel_clip(b, -50.0f, 300.0f), 0);  // bounds clamp to the type
  EXPECT_EQ(kt::pixels(b), (std::vector<double>{10, 10, 10, 20, 20}));
  kt::TestImage w = kt::image(WORD, 4, 1, {0, 1000, 40000, 65535});
  ASSERT_EQ(kel_clip(w, 1000.0f, 1e9f), 0);
  EXPECT_EQ(kt::pixels(w), (std::vector<double>{1000, 1000, 40000, 65535}));
  ASSERT_EQ(kel_clip(w, 5.0f, 5.0f), 0);
  EXPECT_EQ(kt::pixels(w), (std::vector<double>(4, 5)));
  kt::TestImage f = kt::view(FLOAT, 6, 1, {-2, -0.5, 0.25, 1.5, kInf, kNaN});
  ASSERT_EQ(kel_clip(f, -0.5f, 1.0f), 0);
  std::vector<double> got = kt::pixels(f);
  EXPECT_EQ(std::vector<double>(got.begin(), got.end() - 1),
            (std::vector<double>{-0.5, -0.5, 0.25, 1.0, 1.0}));
  EXPECT_TRUE(std::isnan(got.back()));
  EXPECT_TRUE(kt::margin_intact(f));
  EXPECT_NO_REPORT();

  kt::TestImage empty = kt::image(FLOAT, 3, 0);
  Image odd = odd_type(b);
  expect_failure(kel_clip(nullptr, 0, 1), "kel_clip", 1);
  expect_failure(kel_clip(&odd, 0, 1), "kel_clip", 6);
  expect_failure(kel_clip(b, 2, 1), "kel_clip", 10, "low > high");
  expect_failure(kel_clip(b, NAN, 1), "kel_clip", 10);
  expect_failure(kel_clip(b, 0, NAN), "kel_clip", 10);
  expect_failure(kel_clip(empty, 0, 1), "kel_clip", 17);
  EXPECT_EQ(kt::pixels(b), (std::vector<double>{10, 10, 10, 20, 20}));
}

TEST_F(Levels, ShiftBitsSaturatesAcrossTypes) {
  // A 12-bit camera image shows its top 8 bits in BYTE.
  kt::TestImage cam = kt::view(WORD, 5, 1, {0, 15, 16, 4095, 65535});
  kt::TestImage b = kt::view(BYTE, 5, 1);
  ASSERT_EQ(kel_shift_bits(cam, b, -4), 0);
  EXPECT_EQ(kt::pixels(b), (std::vector<double>{0, 0, 1, 255, 255}));
  EXPECT_TRUE(kt::margin_intact(b));
  // Left shifts saturate instead of wrapping, in place.
  kt::TestImage bb = kt::image(BYTE, 4, 1, {0, 1, 127, 128});
  ASSERT_EQ(kel_shift_bits(bb, bb, 1), 0);
  EXPECT_EQ(kt::pixels(bb), (std::vector<double>{0, 2, 254, 255}));
  ASSERT_EQ(kel_shift_bits(bb, cam, 8), 0);  // BYTE into WORD high bytes
  EXPECT_EQ(kt::pixels(cam), (std::vector<double>{0, 512, 65024, 65280, 65535}));
  ASSERT_EQ(kel_shift_bits(cam, cam, 16), 0);
  EXPECT_EQ(kt::pixels(cam), (std::vector<double>{0, 65535, 65535, 65535, 65535}));
  ASSERT_EQ(kel_shift_bits(cam, cam, -16), 0);
  EXPECT_EQ(kt::pixels(cam), (std::vector<double>{0, 0, 0, 0, 0}));
  // n = 0 copies over the common area only.
  kt::TestImage big = kt::image(BYTE, 3, 2, {1, 2, 3, 4, 5, 6});
  kt::TestImage out = kt::image(WORD, 2, 3, std::vector<double>(6, 9));
  ASSERT_EQ(kel_shift_bits(big, out, 0), 0);
  EXPECT_EQ(kt::pixels(out), (std::vector<double>{1, 2, 4, 5, 9, 9}));
  EXPECT_NO_REPORT();

  kt::TestImage f = kt::image(FLOAT, 2, 2), empty = kt::image(WORD, 2, 0);
  expect_failure(kel_shift_bits(nullptr, b, 1), "kel_shift_bits", 1);
  expect_failure(kel_shift_bits(b, nullptr, 1), "kel_shift_bits", 1);
  expect_failure(kel_shift_bits(f, b, 1), "kel_shift_bits", 6);
  expect_failure(kel_shift_bits(b, f, 1), "kel_shift_bits", 6);
  expect_failure(kel_shift_bits(b, b, 17), "kel_shift_bits", 10, "Shift out of range");
  expect_failure(kel_shift_bits(b, b, -17), "kel_shift_bits", 10);
  expect_failure(kel_shift_bits(empty, b, 1), "kel_shift_bits", 17);
}

TEST_F(Levels, GainOffsetRoundsAndSaturates) {
  // 12-bit WORD into BYTE: 4095 * 255 / 4095 = 255, 2048 -> 127.53 -> 128.
  kt::TestImage cam = kt::view(WORD, 4, 1, {0, 2048, 4095, 65535});
  kt::TestImage b = kt::image(BYTE, 4, 1);
  ASSERT_EQ(kel_gain_offset(cam, b, 255.0f / 4095.0f, 0.0f), 0);
  EXPECT_EQ(kt::pixels(b), (std::vector<double>{0, 128, 255, 255}));
  // In place on BYTE: halves away from zero, clamped at both ends.
  kt::TestImage p = kt::view(BYTE, 5, 1, {0, 1, 2, 3, 200});
  ASSERT_EQ(kel_gain_offset(p, p, 1.5f, -2.0f), 0);
  EXPECT_EQ(kt::pixels(p), (std::vector<double>{0, 0, 1, 3, 255}));  // -2, -0.5, 1, 2.5, 298
  EXPECT_TRUE(kt::margin_intact(p));
  // Into FLOAT: plain values, no clamping; onto a larger destination.
  kt::TestImage f = kt::image(FLOAT, 5, 2, std::vector<double>(10, 7));
  ASSERT_EQ(kel_gain_offset(cam, f, -0.5f, 1.0f), 0);
  EXPECT_EQ(kt::pixels(f), (std::vector<double>{1, -1023, -2046.5, -32766.5, 7, 7, 7, 7, 7, 7}));
  kt::TestImage w = kt::image(WORD, 2, 1);
  ASSERT_EQ(kel_gain_offset(f, w, 1.0f, 70000.0f), 0);
  EXPECT_EQ(kt::pixels(w), (std::vector<double>{65535, 65535}));
  EXPECT_NO_REPORT();

  kt::TestImage empty = kt::image(BYTE, 0, 0);
  Image odd = odd_type(b);
  expect_failure(kel_gain_offset(nullptr, b, 1, 0), "kel_gain_offset", 1);
  expect_failure(kel_gain_offset(b, nullptr, 1, 0), "kel_gain_offset", 1);
  expect_failure(kel_gain_offset(&odd, b, 1, 0), "kel_gain_offset", 6);
  expect_failure(kel_gain_offset(b, &odd, 1, 0), "kel_gain_offset", 6);
  expect_failure(kel_gain_offset(b, b, INFINITY, 0), "kel_gain_offset", 10);
  expect_failure(kel_gain_offset(b, b, 1, NAN), "kel_gain_offset", 10);
  expect_failure(kel_gain_offset(b, empty, 1, 0), "kel_gain_offset", 17);
}

TEST_F(Levels, NormalizeRange) {
  // Minimum 10 -> 0, maximum 50 -> 255; 20 -> 63.75 -> 64, 30 -> 127.5 -> 128.
  kt::TestImage src = kt::view(BYTE, 5, 1, {10, 20, 30, 40, 50});
  kt::TestImage b = kt::image(BYTE, 5, 1);
  ASSERT_EQ(kel_normalize(src, b, KEL_NORMALIZE_RANGE, 0, 255), 0);
  EXPECT_EQ(kt::pixels(b), (std::vector<double>{0, 64, 128, 191, 255}));
  // Inverted range into FLOAT, exact at both ends.
  kt::TestImage f = kt::image(FLOAT, 5, 1);
  ASSERT_EQ(kel_normalize(src, f, KEL_NORMALIZE_RANGE, 1, -1), 0);
  EXPECT_EQ(kt::pixels(f), (std::vector<double>{1, 0.5, 0, -0.5, -1}));
  // FLOAT source: non-finite values are left out of the extremes; NaN stays
  // NaN in FLOAT and stores 0 in WORD; infinities saturate.
  kt::TestImage g = kt::image(FLOAT, 5, 1, {kNaN, -1, 3, kInf, 1});
  kt::TestImage w = kt::image(WORD, 5, 1);
  ASSERT_EQ(kel_normalize(g, w, KEL_NORMALIZE_RANGE, 100, 500), 0);
  EXPECT_EQ(kt::pixels(w), (std::vector<double>{0, 100, 500, 65535, 300}));
  ASSERT_EQ(kel_normalize(g, g, KEL_NORMALIZE_RANGE, 0, 1), 0);  // in place
  std::vector<double> got = kt::pixels(g);
  EXPECT_TRUE(std::isnan(got[0]));
  EXPECT_EQ(std::vector<double>(got.begin() + 1, got.end()),
            (std::vector<double>{0, 1, kInf, 0.5}));
  // A flat source, or one with no finite pixel, sets every pixel to low.
  kt::TestImage flat = kt::image(WORD, 3, 1, {7, 7, 7});
  ASSERT_EQ(kel_normalize(flat, b, KEL_NORMALIZE_RANGE, 12.5f, 200), 0);
  EXPECT_EQ(kt::pixels(b), (std::vector<double>{13, 13, 13, 191, 255}));  // common area
  kt::TestImage nan = kt::image(FLOAT, 2, 1, {kNaN, kInf});
  ASSERT_EQ(kel_normalize(nan, nan, KEL_NORMALIZE_RANGE, 4, 5), 0);
  EXPECT_EQ(kt::pixels(nan), (std::vector<double>{4, 4}));
  EXPECT_NO_REPORT();
}

TEST_F(Levels, NormalizeStandard) {
  // Mean 5, population deviation 2.
  kt::TestImage src = kt::view(WORD, 4, 2, {2, 4, 4, 4, 5, 5, 7, 9});
  kt::TestImage f = kt::view(FLOAT, 4, 2);
  ASSERT_EQ(kel_normalize(src, f, KEL_NORMALIZE_STANDARD, 0, 0), 0);
  EXPECT_EQ(kt::pixels(f), (std::vector<double>{-1.5, -0.5, -0.5, -0.5, 0, 0, 1, 2}));
  EXPECT_TRUE(kt::margin_intact(f));
  // Random FLOAT view in place: mean 0, variance 1; NaN and inf kept.
  kt::TestImage r = kt::random_image(FLOAT, 37, 5, 11, true);
  kt::set(r, 3, 1, kNaN);
  kt::set(r, 4, 1, -kInf);
  ASSERT_EQ(kel_normalize(r, r, KEL_NORMALIZE_STANDARD, 0, 0), 0);
  double sum = 0, squares = 0, n = 0;
  for (double v : kt::pixels(r))
    if (std::isfinite(v)) sum += v, squares += v * v, n += 1;
  EXPECT_EQ(n, 37 * 5 - 2);
  EXPECT_NEAR(sum / n, 0.0, 1e-6);
  EXPECT_NEAR(squares / n, 1.0, 1e-6);
  EXPECT_TRUE(std::isnan(kt::get(r, 3, 1)));
  EXPECT_EQ(kt::get(r, 4, 1), -kInf);
  EXPECT_TRUE(kt::margin_intact(r));
  // Flat: 0.0 everywhere.
  kt::TestImage flat = kt::image(BYTE, 3, 1, {9, 9, 9});
  ASSERT_EQ(kel_normalize(flat, f, KEL_NORMALIZE_STANDARD, 0, 0), 0);
  EXPECT_EQ(kt::get(f, 2, 0), 0.0);
  EXPECT_EQ(kt::get(f, 3, 0), -0.5);  // outside the common area
  EXPECT_NO_REPORT();

  kt::TestImage b = kt::image(BYTE, 2, 2), empty = kt::image(FLOAT, 0, 1);
  Image odd = odd_type(b);
  const char *fn = "kel_normalize";
  expect_failure(kel_normalize(nullptr, f, 0, 0, 1), fn, 1);
  expect_failure(kel_normalize(b, nullptr, 0, 0, 1), fn, 1);
  expect_failure(kel_normalize(b, f, 2, 0, 1), fn, 8, "Unknown operation");
  expect_failure(kel_normalize(&odd, f, 0, 0, 1), fn, 6);
  expect_failure(kel_normalize(b, &odd, 0, 0, 1), fn, 6);
  expect_failure(kel_normalize(b, b, KEL_NORMALIZE_STANDARD, 0, 1), fn, 12, "Output must be FLOAT");
  expect_failure(kel_normalize(b, b, KEL_NORMALIZE_RANGE, 0, INFINITY), fn, 10);
  expect_failure(kel_normalize(b, empty, KEL_NORMALIZE_RANGE, 0, 1), fn, 17);
}

// ---- colour planes --------------------------------------------------------

TEST_F(Levels, RgbUnpackInvertsPack) {
  kt::TestImage r = kt::random_image(BYTE, 9, 4, 1), g = kt::random_image(BYTE, 9, 4, 2, true);
  kt::TestImage b = kt::random_image(BYTE, 9, 4, 3);
  kt::TestImage packed = kt::view(FLOAT, 10, 5);
  ASSERT_EQ(kel_rgb_pack(r, g, b, packed), 0);
  kt::TestImage r2 = kt::view(BYTE, 9, 4), g2 = kt::image(BYTE, 9, 4), b2 = kt::image(BYTE, 9, 4);
  ASSERT_EQ(kel_rgb_unpack(packed, r2, g2, b2), 0);
  EXPECT_EQ(kt::pixels(r2), kt::pixels(r));
  EXPECT_EQ(kt::pixels(g2), kt::pixels(g));
  EXPECT_EQ(kt::pixels(b2), kt::pixels(b));
  EXPECT_TRUE(kt::margin_intact(r2));
  // Planes may be skipped; values outside the colour range clamp, fractions
  // truncate, NaN gives black.
  kt::TestImage odd = kt::image(FLOAT, 5, 1, {-5, 0x123456 + 0.9, 2e7, kNaN, 0x00ff01});
  kt::TestImage green = kt::image(BYTE, 5, 1), blue = kt::image(BYTE, 5, 1);
  ASSERT_EQ(kel_rgb_unpack(odd, nullptr, green, blue), 0);
  EXPECT_EQ(kt::pixels(green), (std::vector<double>{0, 0x34, 255, 0, 255}));
  EXPECT_EQ(kt::pixels(blue), (std::vector<double>{0, 0x56, 255, 0, 1}));
  EXPECT_NO_REPORT();

  kt::TestImage wide = kt::image(BYTE, 6, 1), w = kt::image(WORD, 5, 1);
  kt::TestImage empty = kt::image(BYTE, 0, 1);
  const char *fn = "kel_rgb_unpack";
  expect_failure(kel_rgb_unpack(nullptr, r2, g2, b2), fn, 1);
  expect_failure(kel_rgb_unpack(odd, nullptr, nullptr, nullptr), fn, 1);
  expect_failure(kel_rgb_unpack(w, green, nullptr, nullptr), fn, 6, "Input must be FLOAT");
  expect_failure(kel_rgb_unpack(odd, green, w, nullptr), fn, 6, "Output must be BYTE");
  expect_failure(kel_rgb_unpack(odd, green, wide, nullptr), fn, 5,
                 "Output Images must be the same size");
  expect_failure(kel_rgb_unpack(odd, wide, nullptr, nullptr), fn, 5,
                 "Input must be as large or larger than outputs");
  expect_failure(kel_rgb_unpack(odd, empty, nullptr, nullptr), fn, 17);
}

TEST_F(Levels, HisOfKnownColours) {
  // Red, yellow, green, cyan, blue, magenta, grey, black, and a dark orange.
  const std::vector<double> R = {255, 255, 0, 0, 0, 255, 90, 0, 200};
  const std::vector<double> G = {0, 255, 255, 255, 0, 0, 90, 0, 100};
  const std::vector<double> B = {0, 0, 0, 255, 255, 255, 90, 0, 0};
  kt::TestImage r = kt::image(BYTE, 9, 1, R), g = kt::view(BYTE, 9, 1, G);
  kt::TestImage b = kt::image(BYTE, 9, 1, B);
  kt::TestImage h = kt::image(FLOAT, 9, 1), i = kt::view(FLOAT, 9, 1), s = kt::image(FLOAT, 9, 1);
  ASSERT_EQ(kel_rgb_to_his(r, g, b, h, i, s), 0);
  const std::vector<double> hue = {0, 60, 120, 180, 240, 300, 0, 0, 30};
  const std::vector<double> inten = {85, 170, 85, 170, 85, 170, 90, 0, 100};
  const std::vector<double> sat = {1, 1, 1, 1, 1, 1, 0, 0, 1};  // a zero channel: 1
  for (int x = 0; x < 9; ++x) {
    EXPECT_NEAR(kt::get(h, x, 0), hue[x], 1e-4) << x;
    EXPECT_NEAR(kt::get(i, x, 0), inten[x], 1e-4) << x;
    EXPECT_NEAR(kt::get(s, x, 0), sat[x], 1e-6) << x;
  }
  // BYTE planes: hue * 256 / 360, saturation * 255, both rounded.
  kt::TestImage hb = kt::image(BYTE, 9, 1), ib = kt::image(BYTE, 9, 1), sb = kt::view(BYTE, 9, 1);
  ASSERT_EQ(kel_rgb_to_his(r, g, b, hb, ib, sb), 0);
  EXPECT_EQ(kt::pixels(hb), (std::vector<double>{0, 43, 85, 128, 171, 213, 0, 0, 21}));
  EXPECT_EQ(kt::pixels(ib), (std::vector<double>{85, 170, 85, 170, 85, 170, 90, 0, 100}));
  EXPECT_EQ(kt::pixels(sb), (std::vector<double>{255, 255, 255, 255, 255, 255, 0, 0, 255}));
  EXPECT_TRUE(kt::margin_intact(sb));
  // And back to the colours.
  kt::TestImage r2 = kt::image(BYTE, 9, 1), g2 = kt::view(BYTE, 9, 1), b2 = kt::image(BYTE, 9, 1);
  ASSERT_EQ(kel_his_to_rgb(h, i, s, r2, g2, b2), 0);
  EXPECT_EQ(kt::pixels(r2), R);
  EXPECT_EQ(kt::pixels(g2), G);
  EXPECT_EQ(kt::pixels(b2), B);
  EXPECT_TRUE(kt::margin_intact(g2));
  EXPECT_NO_REPORT();
}

TEST_F(Levels, HisRoundTripAndOddPlaneValues) {
  // Random colours on views of odd width: FLOAT planes give back every colour
  // exactly, BYTE planes within 4 levels; in place (planes over the inputs).
  kt::TestImage r = kt::random_image(BYTE, 61, 7, 4, true), g = kt::random_image(BYTE, 61, 7, 5);
  kt::TestImage b = kt::random_image(BYTE, 61, 7, 6, true);
  const std::vector<double> R = kt::pixels(r), G = kt::pixels(g), B = kt::pixels(b);
  kt::TestImage h = kt::image(FLOAT, 61, 7), i = kt::view(FLOAT, 61, 7),
                s = kt::image(FLOAT, 61, 7);
  ASSERT_EQ(kel_rgb_to_his(r, g, b, h, i, s), 0);
  ASSERT_EQ(kel_his_to_rgb(h, i, s, r, g, b), 0);
  EXPECT_EQ(kt::pixels(r), R);
  EXPECT_EQ(kt::pixels(g), G);
  EXPECT_EQ(kt::pixels(b), B);
  ASSERT_EQ(kel_rgb_to_his(r, g, b, r, g, b), 0);  // BYTE planes over the inputs
  ASSERT_EQ(kel_his_to_rgb(r, g, b, r, g, b), 0);
  for (auto [img, want] : {std::pair{&r, &R}, std::pair{&g, &G}, std::pair{&b, &B}}) {
    std::vector<double> got = kt::pixels(*img);
    for (std::size_t k = 0; k < got.size(); ++k)
      ASSERT_LE(std::abs(got[k] - (*want)[k]), 4) << k;
    EXPECT_TRUE(kt::margin_intact(*img));
  }
  // FLOAT planes out of range: hue modulo 360 (negative counts back), NaN hue
  // 0, saturation clamped to 0..1, intensity below 0 counted as 0. Only the
  // common area (3 wide) is written.
  kt::TestImage hf = kt::image(FLOAT, 4, 1, {-240, 600, kNaN, 0});
  kt::TestImage inf = kt::image(FLOAT, 3, 1, {85, 85, -3});
  kt::TestImage sf = kt::image(FLOAT, 3, 2, {1, 7, 1});
  kt::TestImage ro = kt::image(BYTE, 4, 1, {9, 9, 9, 9}), go = kt::image(BYTE, 4, 1);
  kt::TestImage bo = kt::image(BYTE, 4, 1);
  ASSERT_EQ(kel_his_to_rgb(hf, inf, sf, ro, go, bo), 0);
  EXPECT_EQ(kt::pixels(ro), (std::vector<double>{0, 0, 0, 9}));
  EXPECT_EQ(kt::pixels(go), (std::vector<double>{255, 0, 0, 0}));  // -240 is 120: green
  EXPECT_EQ(kt::pixels(bo), (std::vector<double>{0, 255, 0, 0}));  // 600 is 240: blue
  EXPECT_NO_REPORT();
}

TEST_F(Levels, HisFailures) {
  kt::TestImage b = kt::image(BYTE, 2, 2), f = kt::image(FLOAT, 2, 2), w = kt::image(WORD, 2, 2);
  kt::TestImage empty = kt::image(BYTE, 2, 0);
  const char *to = "kel_rgb_to_his", *from = "kel_his_to_rgb";
  expect_failure(kel_rgb_to_his(nullptr, b, b, f, f, f), to, 1);
  expect_failure(kel_rgb_to_his(b, b, b, f, f, nullptr), to, 1);
  expect_failure(kel_rgb_to_his(b, f, b, f, f, f), to, 6, "Input must be BYTE");
  expect_failure(kel_rgb_to_his(b, b, b, f, w, f), to, 6, "Output must be BYTE or FLOAT");
  expect_failure(kel_rgb_to_his(b, b, b, f, f, empty), to, 17);
  expect_failure(kel_his_to_rgb(f, f, nullptr, b, b, b), from, 1);
  expect_failure(kel_his_to_rgb(f, f, f, b, b, nullptr), from, 1);
  expect_failure(kel_his_to_rgb(f, w, f, b, b, b), from, 6, "Input must be BYTE or FLOAT");
  expect_failure(kel_his_to_rgb(f, f, f, b, f, b), from, 6, "Output must be BYTE");
  expect_failure(kel_his_to_rgb(empty, f, f, b, b, b), from, 17);
}

}  // namespace
