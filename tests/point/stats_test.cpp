// Whole-image measures: exact values on literals and views, the 32-bit wrap of
// sums, the variance fallback, the processor-switch branches and every
// failure report.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <random>

#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

class Stats : public ::testing::Test {
 protected:
  void SetUp() override {
    kel_set_use_mmx(0);
    kt::clear_report();
  }
};

// Plain references written here, independent of the library.
struct Ref {
  std::uint32_t sum = 0, squares = 0;
  double min = 1e300, max = -1e300;
  int min_x = 0, min_y = 0, max_x = 0, max_y = 0;
  std::uint32_t nz = 0;
  std::uint32_t hist[256] = {};
};

Ref reference(const Image *img) {
  Ref r;
  for (int y = 0; y < img->dy; ++y)
    for (int x = 0; x < img->dx; ++x) {
      double v = kt::get(img, x, y);
      std::uint32_t b = static_cast<std::uint32_t>(v);
      r.sum += b;
      r.squares += b * b;
      if (v > r.max) r.max = v, r.max_x = x, r.max_y = y;
      if (v < r.min) r.min = v, r.min_y = y, r.min_x = x;
      r.nz += v != 0;
      if (img->type == BYTE) ++r.hist[b];
    }
  return r;
}

TEST_F(Stats, ByteMeasuresOnLiteralAndView) {
  const std::vector<double> px = {3, 9, 1, 9,  //
                                  0, 2, 1, 7,  //
                                  9, 0, 0, 1};
  for (bool as_view : {false, true}) {
    kt::TestImage img = as_view ? kt::view(BYTE, 4, 3, px) : kt::image(BYTE, 4, 3, px);
    int x = -1, y = -1;
    EXPECT_EQ(kel_max(img, &x, &y), 9);
    EXPECT_EQ(x, 1);  // first of three 9s in raster order
    EXPECT_EQ(y, 0);
    EXPECT_EQ(kel_min(img, &x, &y), 0);
    EXPECT_EQ(x, 0);
    EXPECT_EQ(y, 1);
    unsigned char lo = 1, hi = 1;
    EXPECT_EQ(kel_range(img, &lo, &hi), 42u);
    EXPECT_EQ(lo, 0);
    EXPECT_EQ(hi, 9);
    EXPECT_EQ(kel_sum(img), 42u);
    EXPECT_DOUBLE_EQ(kel_average(img), 3.5);
    // Sample variance: sum of squares 308, n 12.
    EXPECT_DOUBLE_EQ(kel_variance(img), (308.0 * 12 - 42.0 * 42) / 12 / 11);
    EXPECT_EQ(kel_count_nz(img), 9u);
    EXPECT_EQ(kel_count(img, 9), 3u);
    unsigned hist[256];
    ASSERT_EQ(kel_hist(img, hist), 0);
    EXPECT_EQ(hist[0], 3u);
    EXPECT_EQ(hist[1], 3u);
    EXPECT_EQ(hist[9], 3u);
    unsigned counts[3] = {99, 99, 99};
    const unsigned char low[3] = {0, 2, 10}, high[3] = {1, 8, 9};
    ASSERT_EQ(kel_multi_count(img, 3, counts, low, high), 0);
    EXPECT_EQ(counts[0], 6u);
    EXPECT_EQ(counts[1], 3u);
    EXPECT_EQ(counts[2], 0u);  // high below low counts nothing
    EXPECT_FLOAT_EQ(kel_sum2(img), 42.0f);
    EXPECT_FLOAT_EQ(kel_mean(img), 3.5f);
    EXPECT_NO_REPORT();
  }
}

TEST_F(Stats, RandomViewsMatchReference) {
  // Odd widths cover the vector kernels' tails; views cover skip.
  std::mt19937 gen(7);
  for (int trial = 0; trial < 40; ++trial) {
    int dx = 1 + gen() % 70, dy = 1 + gen() % 9;
    kt::TestImage img = kt::random_image(BYTE, dx, dy, trial, trial % 2);
    if (trial % 3 == 0)  // long runs of one value
      for (int y = 0; y < dy; ++y)
        for (int x = 0; x < dx; ++x)
          if (x % 5) kt::set(img, x, y, 0);
    Ref r = reference(img);
    int x, y;
    EXPECT_EQ(kel_max(img, &x, &y), r.max);
    EXPECT_EQ(x, r.max_x);
    EXPECT_EQ(y, r.max_y);
    EXPECT_EQ(kel_min(img, &x, &y), r.min);
    EXPECT_EQ(x, r.min_x);
    EXPECT_EQ(y, r.min_y);
    EXPECT_EQ(kel_sum(img), r.sum);
    EXPECT_EQ(kel_count_nz(img), r.nz);
    unsigned hist[256];
    kel_hist(img, hist);
    for (int v = 0; v < 256; ++v)
      ASSERT_EQ(hist[v], r.hist[v]) << v;
    double n = double(dx) * dy;
    double expected = n > 1.5 ? (double(r.squares) * n - double(r.sum) * r.sum) / n / (n - 1) : 0;
    EXPECT_DOUBLE_EQ(kel_variance(img), expected);
    EXPECT_TRUE(kt::margin_intact(img));
  }
}

TEST_F(Stats, SumsWrapAt32BitsAndVarianceFallsBack) {
  // 8192 x 8192 pixels of 255: sum 255 * 2^26 wraps past 2^32; the sum of
  // squares wraps as well and the variance, truly 0, turns negative and is
  // recomputed exactly.
  kt::TestImage big = kt::image(BYTE, 8192, 8192);
  for (int y = 0; y < 8192; ++y)
    std::memset(static_cast<unsigned char *>(big->data) + std::size_t(y) * 8192, 255, 8192);
  std::uint64_t true_sum = 255ull * 8192 * 8192;
  EXPECT_EQ(kel_sum(big), static_cast<std::uint32_t>(true_sum));
  unsigned char lo, hi;
  EXPECT_EQ(kel_range(big, &lo, &hi), static_cast<std::uint32_t>(true_sum));
  // The wrapped sum gives a mean far from 255: 32-bit arithmetic, as documented.
  EXPECT_DOUBLE_EQ(kel_average(big), static_cast<std::uint32_t>(true_sum) / (8192.0 * 8192));

  // 3000 x 3000 with half the pixels 255 and half 0: squares overflow 32 bits.
  kt::TestImage half = kt::image(BYTE, 3000, 3000);
  for (int y = 0; y < 3000; ++y)
    for (int x = 0; x < 3000; x += 2)
      static_cast<unsigned char *>(half->data)[y * 3000 + x] = 255;
  double n = 9e6, s = 4.5e6 * 255;  // the sum (1147500000) fits in 32 bits
  double exact = (4.5e6 * 255 * 255 * n - s * s) / n / (n - 1);
  std::uint32_t wrapped_q =
      static_cast<std::uint32_t>(static_cast<std::uint64_t>(4.5e6) * 255 * 255);
  double wrapped = (wrapped_q * n - s * s) / n / (n - 1);
  ASSERT_LT(wrapped, 0.0);
  EXPECT_DOUBLE_EQ(kel_variance(half), exact);
}

TEST_F(Stats, FloatSumIsSinglePrecisionInRasterOrder) {
  kt::TestImage img = kt::image(BYTE, 4097, 4097);
  std::memset(img->data, 1, std::size_t(4097) * 4097);
  float expected = 0.0f;
  for (int i = 0; i < 4097 * 4097; ++i)
    expected += 1.0f;  // stalls at 2^24
  EXPECT_EQ(kel_sum2(img), expected);
  EXPECT_EQ(expected, 16777216.0f);
  float lo, hi;
  EXPECT_EQ(kel_range2(img, &lo, &hi), expected);
  EXPECT_EQ(kel_mean(img), expected / (4097.0f * 4097.0f));
}

TEST_F(Stats, GeneralTypes) {
  kt::TestImage w = kt::view(WORD, 3, 2, {500, 65535, 7, 65535, 0, 9});
  int x, y;
  EXPECT_EQ(kel_max2(w, &x, &y), 65535.0f);
  EXPECT_EQ(x, 1);
  EXPECT_EQ(y, 0);
  EXPECT_EQ(kel_min2(w, &x, &y), 0.0f);
  EXPECT_EQ(x, 1);
  EXPECT_EQ(y, 1);
  float lo = -1, hi = -1;
  EXPECT_EQ(kel_range2(w, &lo, &hi), 131586.0f);
  EXPECT_EQ(lo, 0.0f);
  EXPECT_EQ(hi, 65535.0f);
  EXPECT_EQ(kel_count_nz(w), 5u);

  kt::TestImage f = kt::image(FLOAT, 3, 1, {-0.0, NAN, -2.5});
  EXPECT_EQ(kel_count_nz(f), 2u);  // -0.0 is zero, NaN is not
  EXPECT_EQ(kel_min2(f, &x, &y), -2.5f);
  EXPECT_EQ(x, 2);

  // A FLOAT image with no rows: the value at data, position (0, 0).
  kt::TestImage norows = kt::image(FLOAT, 5, 0);
  *static_cast<float *>(norows->data) = 4.25f;
  x = y = 9;
  EXPECT_EQ(kel_max2(norows, &x, &y), 4.25f);
  EXPECT_EQ(x, 0);
  EXPECT_EQ(y, 0);
  EXPECT_EQ(kel_range2(norows, &lo, &hi), 0.0f);
  EXPECT_EQ(lo, 4.25f);
  EXPECT_EQ(hi, 4.25f);
  EXPECT_EQ(kel_mean(norows), 0.0f);

  // Unsupported type code: silent zero.
  Image fake = *f.get();
  fake.type = 3;
  x = y = 5;
  kt::clear_report();
  EXPECT_EQ(kel_max2(&fake, &x, &y), 0.0f);
  EXPECT_EQ(x, 0);
  EXPECT_EQ(y, 0);
  EXPECT_EQ(kel_sum2(&fake), 0.0f);
  EXPECT_EQ(kel_count_nz(&fake), 0u);
  lo = hi = 3;
  EXPECT_EQ(kel_range2(&fake, &lo, &hi), 0.0f);
  EXPECT_EQ(lo, 3.0f);  // untouched
  EXPECT_NO_REPORT();
}

TEST_F(Stats, SmallAndEmptyImages) {
  kt::TestImage one = kt::image(BYTE, 1, 1, {200});
  EXPECT_EQ(kel_variance(one), 0.0);
  EXPECT_EQ(kel_sum(one), 200u);
  EXPECT_EQ(kel_average(one), 200.0);

  kt::TestImage empty = kt::image(BYTE, 0, 4);
  kt::clear_report();
  EXPECT_EQ(kel_average(empty), 0.0);
  EXPECT_REPORT("kel_average", 17);
  kt::clear_report();
  EXPECT_EQ(kel_sum(empty), 0u);
  EXPECT_EQ(kel_variance(empty), 0.0);
  unsigned char lo = 9, hi = 9;
  EXPECT_EQ(kel_range(empty, &lo, &hi), 0u);
  EXPECT_EQ(lo, 0);  // the pixel at data
  unsigned counts[1] = {7};
  const unsigned char low[1] = {0}, high[1] = {255};
  EXPECT_EQ(kel_multi_count(empty, 1, counts, low, high), 0);
  EXPECT_EQ(counts[0], 0u);
  EXPECT_EQ(kel_multi_count(empty, 0, nullptr, nullptr, nullptr), 0);
  EXPECT_NO_REPORT();
}

TEST_F(Stats, ProcessorSwitchBranches) {
  if (!kel_cpu_has_mmx()) GTEST_SKIP() << "processor without MMX";
  kt::TestImage w8 = kt::image(BYTE, 8, 2, {5, 5, 5, 5, 5, 5, 5, 5, 1});
  kt::TestImage w7 = kt::image(BYTE, 7, 2, {5, 5, 5, 5, 5, 5, 5, 1});
  kel_set_use_mmx(1);
  EXPECT_EQ(kel_use_mmx(), 1);
  EXPECT_EQ(kel_sum(w8), 0u);  // the branch computes nothing
  EXPECT_EQ(kel_average(w8), 0.0);
  EXPECT_EQ(kel_variance(w8), 0.0);
  EXPECT_EQ(kel_sum(w7), 36u);  // narrower images still compute
  EXPECT_GT(kel_variance(w7), 0.0);
  kel_set_use_mmx(0);
  EXPECT_EQ(kel_sum(w8), 41u);
}

TEST_F(Stats, FailureReports) {
  kt::TestImage w = kt::image(WORD, 4, 4);
  int x = 3, y = 3;
  unsigned char lo = 3, hi = 3;
  unsigned hist[256];

  struct Case {
    const char *fn;
    int code;
    std::function<void()> call;
  };
  const std::vector<Case> cases = {
      {"kel_max", 13, [&] { EXPECT_EQ(kel_max(w, &x, &y), 0); }},
      {"kel_min", 13, [&] { EXPECT_EQ(kel_min(w, &x, &y), 0); }},
      {"kel_max", 1, [&] { EXPECT_EQ(kel_max(nullptr, &x, &y), 0); }},
      {"kel_max", 10, [&] { EXPECT_EQ(kel_max(w, nullptr, &y), 0); }},
      {"kel_range", 13, [&] { EXPECT_EQ(kel_range(w, &lo, &hi), 0u); }},
      {"kel_sum", 13, [&] { EXPECT_EQ(kel_sum(w), 0u); }},
      {"kel_sum", 1, [&] { EXPECT_EQ(kel_sum(nullptr), 0u); }},
      {"kel_average", 13, [&] { EXPECT_EQ(kel_average(w), 0.0); }},
      {"kel_variance", 13, [&] { EXPECT_EQ(kel_variance(w), 0.0); }},
      {"kel_count", 13, [&] { EXPECT_EQ(kel_count(w, 0), 0u); }},
      {"kel_count_nz", 1, [&] { EXPECT_EQ(kel_count_nz(nullptr), 0u); }},
      {"kel_hist", 13, [&] { EXPECT_EQ(kel_hist(w, hist), 13); }},
      {"kel_hist", 10, [&] { EXPECT_EQ(kel_hist(w, nullptr), 10); }},
      {"kel_hist", 1, [&] { EXPECT_EQ(kel_hist(nullptr, hist), 1); }},
      {"kel_multi_count", 13,
       [&] {
         unsigned c[1];
         const unsigned char l[1] = {0}, h[1] = {1};
         EXPECT_EQ(kel_multi_count(w, 1, c, l, h), 13);
       }},
      {"kel_multi_count", 10,
       [&] { EXPECT_EQ(kel_multi_count(w, 2, nullptr, nullptr, nullptr), 10); }},
      {"kel_max2", 1, [&] { EXPECT_EQ(kel_max2(nullptr, &x, &y), 0.0f); }},
      {"kel_sum2", 1, [&] { EXPECT_EQ(kel_sum2(nullptr), 0.0f); }},
      {"kel_mean", 1, [&] { EXPECT_EQ(kel_mean(nullptr), 0.0f); }},
  };
  for (const Case &c : cases) {
    kt::clear_report();
    c.call();
    EXPECT_REPORT(c.fn, c.code);
  }
  // Positions and extremes are cleared after a type failure.
  x = y = 5;
  kel_max(w, &x, &y);
  EXPECT_EQ(x, 0);
  EXPECT_EQ(y, 0);
  lo = hi = 5;
  kel_range(w, &lo, &hi);
  EXPECT_EQ(lo, 0);
  EXPECT_EQ(hi, 0);
}

}  // namespace

namespace {

TEST_F(Stats, GeneralVarianceIsExact) {
  // WORD: values 0 and 65535 alternate over 3001 x 1001 pixels; the exact
  // sample variance follows from the counts.
  kt::TestImage w = kt::image(WORD, 3001, 1001);
  std::uint64_t high = 0;
  for (int y = 0; y < 1001; ++y)
    for (int x = 0; x < 3001; ++x)
      if ((x + y) % 2) {
        kt::set(w, x, y, 65535);
        ++high;
      }
  double n = 3001.0 * 1001, s = 65535.0 * high, q = 65535.0 * 65535.0 * high;
  EXPECT_NEAR(kel_variance2(w), (q - s * s / n) / (n - 1), 1e-6);
  kt::TestImage b = kt::view(BYTE, 3, 2, {1, 2, 3, 4, 5, 6});
  EXPECT_DOUBLE_EQ(kel_variance2(b), 3.5);
  kt::TestImage f = kt::image(FLOAT, 4, 1, {-1.5, 0.5, 2.5, 4.5});
  EXPECT_DOUBLE_EQ(kel_variance2(f), 20.0 / 3.0);
  kt::TestImage one = kt::image(FLOAT, 1, 1, {3});
  EXPECT_EQ(kel_variance2(one), 0.0);
  Image fake = *one.get();
  fake.type = 3;
  kt::clear_report();
  EXPECT_EQ(kel_variance2(&fake), 0.0);
  EXPECT_REPORT("kel_variance2", 6);
}

TEST_F(Stats, RangedHistogramAndTruncation) {
  kt::TestImage w = kt::view(WORD, 4, 2, {1000, 1001, 1001, 1003, 999, 2000, 1002, 1001});
  unsigned hist[4] = {9, 9, 9, 9};
  ASSERT_EQ(kel_histogram(w, hist, 4, 1000, 1003), 0);
  EXPECT_EQ(hist[0], 1u);
  EXPECT_EQ(hist[1], 3u);
  EXPECT_EQ(hist[2], 1u);
  EXPECT_EQ(hist[3], 1u);
  // The range holds 5 bins but the array only 4: filled, warned, 17.
  kt::clear_report();
  EXPECT_EQ(kel_histogram(w, hist, 4, 999, 1003), 17);
  EXPECT_REPORT("kel_histogram", 17);
  EXPECT_TRUE(im_last_is_warning());
  EXPECT_STREQ(im_last_message(), "Truncating histogram");
  EXPECT_EQ(hist[0], 1u);  // 999
  EXPECT_EQ(hist[2], 3u);  // 1001
  kt::TestImage f = kt::image(FLOAT, 3, 1, {-0.5, 0.25, 1.75});
  unsigned fh[3];
  ASSERT_EQ(kel_histogram(f, fh, 3, -1, 1), 0);
  EXPECT_EQ(fh[0], 1u);  // floor(-0.5) = -1
  EXPECT_EQ(fh[1], 1u);
  EXPECT_EQ(fh[2], 1u);
  kt::clear_report();
  EXPECT_EQ(kel_histogram(w, hist, 4, 5, 4), 10);
  EXPECT_REPORT("kel_histogram", 10);
  EXPECT_EQ(kel_histogram(w, nullptr, 4, 0, 3), 10);
  EXPECT_EQ(kel_histogram(nullptr, hist, 4, 0, 3), 1);
  EXPECT_REPORT("kel_histogram", 1);
}

TEST_F(Stats, LineMinmaxAndEqualize) {
  kt::TestImage f = kt::view(FLOAT, 4, 2, {1, 2, 3, 4, 7, -2, 7, -2});
  float lo, hi;
  int xl, xh;
  ASSERT_EQ(kel_line_minmax(f, 1, &lo, &xl, &hi, &xh), 0);
  EXPECT_EQ(lo, -2.0f);
  EXPECT_EQ(xl, 1);
  EXPECT_EQ(hi, 7.0f);
  EXPECT_EQ(xh, 0);
  kt::clear_report();
  EXPECT_EQ(kel_line_minmax(f, 2, &lo, &xl, &hi, &xh), 10);
  EXPECT_REPORT("kel_line_minmax", 10);

  // Four levels, equally frequent: cdf 2, 4, 6, 8 of 8; cdf_min 2.
  kt::TestImage b = kt::view(BYTE, 4, 2, {10, 20, 30, 40, 40, 30, 20, 10});
  kt::TestImage out = kt::image(BYTE, 5, 2);
  kt::set(out, 4, 0, 99);
  ASSERT_EQ(kel_histogram_equalize(b, out), 0);
  EXPECT_EQ(kt::pixels(out), (std::vector<double>{0, 85, 170, 255, 99, 255, 170, 85, 0, 0}));
  ASSERT_EQ(kel_equalize(b), 0);  // in place
  EXPECT_EQ(kt::pixels(b), (std::vector<double>{0, 85, 170, 255, 255, 170, 85, 0}));
  EXPECT_TRUE(kt::margin_intact(b));
  kt::TestImage flat = kt::image(BYTE, 3, 3, std::vector<double>(9, 42));
  ASSERT_EQ(kel_equalize(flat), 0);
  EXPECT_EQ(kt::get(flat, 1, 1), 42);
  kt::clear_report();
  kt::TestImage w = kt::image(WORD, 3, 3);
  EXPECT_EQ(kel_histogram_equalize(b, w), 13);
  EXPECT_REPORT("kel_histogram_equalize", 13);
}

}  // namespace
