// Smoothing: the mean filter against a plain mean (exact rounding on BYTE
// and WORD) at odd, even and line sizes, Gaussian smoothing within one grey
// level of a double-precision reference, unsharp masking, the running
// average with its warning, and every failure.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "filter/window_reference.hpp"
#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

std::vector<double> plain_mean(const Image *s, int w, int h, int kx, int ky, unsigned type) {
  return wr::compute(w, h, [&](int x, int y) {
    double sum = 0;
    for (int j = -(ky - 1) / 2; j <= ky / 2; ++j)
      for (int i = -(kx - 1) / 2; i <= kx / 2; ++i)
        sum += wr::at(s, w, h, x + i, y + j);
    const double n = double(kx) * ky;
    return type == FLOAT ? sum / n : std::floor((sum + std::floor(n / 2)) / n);
  });
}

// The exact Gaussian of the operator's taps, in double.
std::vector<double> plain_gauss(const Image *s, int w, int h, double sigma) {
  const int r = std::max(1, int(std::ceil(3 * sigma)));
  std::vector<double> g;
  double total = 0;
  for (int i = -r; i <= r; ++i)
    total += g.emplace_back(std::exp(-0.5 * i * i / (sigma * sigma)));
  return wr::compute(w, h, [&](int x, int y) {
    double v = 0;
    for (int j = -r; j <= r; ++j)
      for (int i = -r; i <= r; ++i)
        v += g[i + r] * g[j + r] * wr::at(s, w, h, x + i, y + j);
    return v / (total * total);
  });
}

TEST(Smooth, MeanFilterEqualsThePlainMeanAtEverySize) {
  // 17x17 on WORD takes the exact 64-bit division, the others the vector one.
  const int sizes[][2] = {{1, 1}, {3, 3}, {15, 9}, {4, 6}, {37, 1}, {2, 29}, {17, 17}};
  for (unsigned type : wr::kTypes)
    for (auto [kx, ky] : sizes) {
      kt::TestImage src = kt::random_image(type, 37, 29, kx * 31 + ky, true);
      kt::TestImage dst = kt::view(type, 37, 29);
      ASSERT_EQ(kel_box_filter2(src, dst, kx, ky), 0);
      const auto expect = plain_mean(src, 37, 29, kx, ky, type);
      EXPECT_EQ(wr::differences(dst, 37, 29, expect, type == FLOAT ? 1e-3 : 0), 0)
          << kx << "x" << ky;
      EXPECT_TRUE(kt::margin_intact(dst));
      ASSERT_EQ(kel_box_filter2(src, src, kx, ky), 0);  // in place
      EXPECT_EQ(wr::differences(src, 37, 29, expect, type == FLOAT ? 1e-3 : 0), 0);
    }
}

TEST(Smooth, GaussWithinOneGreyLevelAndUnsharpMask) {
  for (double sigma : {0.3, 1.0, 2.5, 5.0}) {
    kt::TestImage src = kt::random_image(BYTE, 45, 33, 9, true), dst = kt::view(BYTE, 45, 33);
    ASSERT_EQ(kel_gauss2(src, dst, sigma), 0);
    auto expect = plain_gauss(src, 45, 33, sigma);
    for (double &v : expect)
      v = std::round(v);
    EXPECT_EQ(wr::differences(dst, 45, 33, expect, 1), 0) << sigma;
  }
  for (unsigned type : {unsigned(WORD), unsigned(FLOAT)}) {
    kt::TestImage src = kt::random_image(type, 20, 14, 4), dst = kt::image(type, 20, 14);
    ASSERT_EQ(kel_gauss2(src, dst, 1.5), 0);
    EXPECT_EQ(wr::differences(dst, 20, 14, plain_gauss(src, 20, 14, 1.5), 1), 0);
  }
  // Unsharp: src + amount * (src - blur) where the difference passes the
  // threshold; a threshold above every difference changes nothing.
  kt::TestImage src = kt::random_image(BYTE, 31, 21, 2, true), dst = kt::view(BYTE, 31, 21);
  ASSERT_EQ(kel_unsharp2(src, dst, 1.2, 0.8, 10), 0);
  const auto blur = plain_gauss(src, 31, 21, 1.2);
  const auto expect = wr::compute(31, 21, [&](int x, int y) {
    const double v = kt::get(src, x, y), d = v - blur[y * 31 + x];
    return std::fabs(d) > 10 ? wr::stored(BYTE, v + 0.8 * d) : v;
  });
  EXPECT_EQ(wr::differences(dst, 31, 21, expect, 1), 0);
  ASSERT_EQ(kel_unsharp2(src, dst, 1.2, 0.8, 300), 0);
  EXPECT_EQ(kt::pixels(dst), kt::pixels(src));
}

TEST(Smooth, RunningAverageBlendsAndLimitsItsWeight) {
  kt::TestImage frame = kt::image(BYTE, 3, 1, {200, 0, 101}),
                avg = kt::view(BYTE, 3, 1, {100, 100, 100});
  ASSERT_EQ(kel_running_average2(frame, avg, 0.25), 0);
  EXPECT_EQ(kt::pixels(avg), (std::vector<double>{125, 75, 100}));  // 100.25 rounds to 100
  kt::TestImage favg = kt::image(FLOAT, 3, 1, {10, 10, 10});
  ASSERT_EQ(kel_running_average2(frame, favg, 0.5), 0);
  EXPECT_EQ(kt::pixels(favg), (std::vector<double>{105, 5, 55.5}));
  // A weight above 1 is limited to 1 with a warning: the average becomes the frame.
  kt::clear_report();
  EXPECT_EQ(kel_running_average2(frame, avg, 2.0), 0);
  EXPECT_REPORT("kel_running_average2", 10);
  EXPECT_EQ(kt::pixels(avg), kt::pixels(frame));
}

TEST(Smooth, EveryFailureIsReportedUnderItsName) {
  kt::TestImage b = kt::image(BYTE, 8, 8), b2 = kt::image(BYTE, 8, 8), wd = kt::image(WORD, 8, 8);
  kt::TestImage f = kt::image(FLOAT, 8, 8), empty = kt::image(BYTE, 0, 8);
  const std::vector<wr::Failure> cases = {
      {"box null", [&] { return kel_box_filter2(b, nullptr, 3, 3); }, 1, "kel_box_filter2"},
      {"box types", [&] { return kel_box_filter2(b, wd, 3, 3); }, 13, "kel_box_filter2"},
      {"box size", [&] { return kel_box_filter2(b, b2, 0, 3); }, 10, "kel_box_filter2"},
      {"box too big", [&] { return kel_box_filter2(b, b2, 256, 3); }, 10, "kel_box_filter2"},
      {"box area", [&] { return kel_box_filter2(b, b2, 9, 3); }, 7, "kel_box_filter2"},
      {"gauss sigma", [&] { return kel_gauss2(b, b2, 0.0); }, 10, "kel_gauss2"},
      {"gauss nan", [&] { return kel_gauss2(b, b2, NAN); }, 10, "kel_gauss2"},
      {"gauss empty", [&] { return kel_gauss2(empty, b2, 1.0); }, 17, "kel_gauss2"},
      {"unsharp amount", [&] { return kel_unsharp2(b, b2, 1.0, INFINITY, 0); }, 10, "kel_unsharp2"},
      {"unsharp types", [&] { return kel_unsharp2(f, b2, 1.0, 1.0, 0); }, 13, "kel_unsharp2"},
      {"average types", [&] { return kel_running_average2(b, wd, 0.5); }, 13,
       "kel_running_average2"},
      {"average null", [&] { return kel_running_average2(nullptr, f, 0.5); }, 1,
       "kel_running_average2"},
  };
  wr::check_failures(cases);
}

}  // namespace
