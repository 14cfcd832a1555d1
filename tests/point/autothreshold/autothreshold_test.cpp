// Automatic thresholds on bimodal histograms with known valleys, the melting
// routine's two failures and its warning, the image forms of every type, and
// the adaptive threshold against a plain windowed reference.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "kelkit.h"
#include "support/failure_table.hpp"
#include "support/test_images.hpp"

namespace {

// Two equal Gaussian modes at 60 and 180 (sigma 15) with a ripple that gives
// the raw histogram many small local maxima; the valley is at 120.
std::vector<unsigned> bimodal() {
  std::vector<unsigned> h(256);
  for (int i = 0; i < 256; ++i)
    h[i] = static_cast<unsigned>(
        1000 * (std::exp(-(i - 60) * (i - 60) / 450.0) + std::exp(-(i - 180) * (i - 180) / 450.0)) +
        (i % 3 == 0 ? 6 : 0));
  return h;
}

TEST(AutoThreshold, HistogramRulesFindTheValley) {
  std::vector<unsigned> h = bimodal();
  int t = 0, rounds = 0;
  ASSERT_EQ(kel_threshold_otsu_hist(h.data(), 256, &t), 0);
  EXPECT_NEAR(t, 120, 1);
  ASSERT_EQ(kel_threshold_isodata_hist(h.data(), 256, &t), 0);
  EXPECT_NEAR(t, 120, 1);
  ASSERT_EQ(kel_threshold_melt_hist(h.data(), 256, 1000, &t, &rounds), 0);
  EXPECT_NEAR(t, 120, 1);
  EXPECT_GT(rounds, 0);
  // Unequal modes: the melted valley follows the true minimum of the
  // smoothed mixture, not the midpoint.
  std::vector<unsigned> skew(256);
  for (int i = 0; i < 256; ++i)
    skew[i] = static_cast<unsigned>(3000 * std::exp(-(i - 50) * (i - 50) / 200.0) +
                                    500 * std::exp(-(i - 200) * (i - 200) / 200.0));
  ASSERT_EQ(kel_threshold_melt_hist(skew.data(), 256, 1000, &t, nullptr), 0);
  EXPECT_GT(t, 125);
  EXPECT_LT(t, 175);

  // One mode: "Less than 2 peaks"; three spikes that melt into one plateau
  // in a single round: "Lost valley".
  std::vector<unsigned> one(256);
  for (int i = 0; i < 256; ++i)
    one[i] = static_cast<unsigned>(1000 * std::exp(-(i - 90) * (i - 90) / 300.0));
  im_clear_report();
  EXPECT_EQ(kel_threshold_melt_hist(one.data(), 256, 100, &t, nullptr), 14);
  EXPECT_STREQ(im_last_message(), "Less than 2 peaks");
  const unsigned spikes[7] = {0, 10, 0, 10, 0, 10, 0};
  EXPECT_EQ(kel_threshold_melt_hist(spikes, 7, 100, &t, nullptr), 14);
  EXPECT_STREQ(im_last_message(), "Lost valley");
  // Too few rounds: a warning, and the valley between the two highest peaks.
  const unsigned three[11] = {0, 9, 0, 0, 0, 7, 0, 0, 0, 8, 0};
  EXPECT_EQ(kel_threshold_melt_hist(three, 11, 1, &t, &rounds), 14);
  EXPECT_STREQ(im_last_message(), "Melting stopped");
  EXPECT_EQ(rounds, 1);
  EXPECT_EQ(t, 3);  // between the peaks at 1 and 9, the first lowest bin
}

TEST(AutoThreshold, ImageFormsOnEveryType) {
  // 2 x 128 pixels: half at 40, half at 200 (plus a few in between).
  for (unsigned type : {BYTE, WORD, FLOAT}) {
    const double unit = type == BYTE ? 1 : type == WORD ? 256 : 1 / 255.0;
    kt::TestImage img = kt::view(type, 64, 4);
    for (int y = 0; y < 4; ++y)
      for (int x = 0; x < 64; ++x)
        kt::set(img, x, y, (y < 2 ? 40 : 200) * unit + (x % 5) * unit);
    double t = 0;
    ASSERT_EQ(kel_threshold_otsu(img, &t), 0) << type;
    EXPECT_GE(t, 44 * unit);
    EXPECT_LT(t, 200 * unit);
    ASSERT_EQ(kel_threshold_isodata(img, &t), 0);
    EXPECT_GE(t, 44 * unit);
    EXPECT_LT(t, 200 * unit);
  }
  // The histogram laid out as one row of pixels, so the image form melts
  // the same counts.
  std::vector<unsigned> h = bimodal();
  int n = 0;
  for (unsigned c : h)
    n += static_cast<int>(c);
  kt::TestImage byte = kt::image(BYTE, n, 1);
  int x = 0;
  for (int v = 0; v < 256; ++v)
    for (unsigned k = 0; k < h[v]; ++k)
      kt::set(byte, x++, 0, v);
  int melted = 0;
  EXPECT_EQ(kel_threshold_melt(byte, 1000, &melted), 0);
  EXPECT_NEAR(melted, 120, 2);
}

TEST(AutoThreshold, AdaptiveMatchesPlainWindow) {
  for (unsigned type : {BYTE, WORD, FLOAT})
    for (int method : {KEL_ADAPTIVE_MEAN, KEL_ADAPTIVE_GAUSSIAN}) {
      const int w = 21, h = 13, size = method == KEL_ADAPTIVE_MEAN ? 7 : 5, r = size / 2;
      kt::TestImage src = kt::random_image(type, w, h, 3 + type, true);
      kt::TestImage dst = kt::view(BYTE, w, h);
      ASSERT_EQ(kel_threshold_adaptive(src, dst, method, size, 2.5), 0);
      double wt[8], total = 0;
      for (int k = 0; k <= r; ++k) {
        wt[k] =
            method == KEL_ADAPTIVE_MEAN ? 1 : std::exp(-k * k / (2 * (size / 6.0) * (size / 6.0)));
        total += k ? 2 * wt[k] : wt[k];
      }
      auto clampi = [](int i, int n) { return i < 0 ? 0 : i >= n ? n - 1 : i; };
      int mismatches = 0;
      for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
          double s = 0;
          for (int j = -r; j <= r; ++j)
            for (int i = -r; i <= r; ++i)
              s += wt[std::abs(i)] * wt[std::abs(j)] *
                   kt::get(src, clampi(x + i, w), clampi(y + j, h));
          double want = kt::get(src, x, y) > s / (total * total) - 2.5 ? 255 : 0;
          mismatches += kt::get(dst, x, y) != want;
        }
      EXPECT_EQ(mismatches, 0) << type << " " << method;
      EXPECT_TRUE(kt::margin_intact(dst));
    }
}

TEST(AutoThreshold, FailuresCarryCodeAndName) {
  std::vector<unsigned> zero(256, 0), h = bimodal();
  int t;
  double d;
  kt::TestImage img = kt::image(BYTE, 8, 8), word = kt::image(WORD, 8, 8),
                small = kt::image(BYTE, 4, 4);
  kt::expect_failures({
      {"kel_threshold_otsu_hist", 10, [&] { return kel_threshold_otsu_hist(nullptr, 256, &t); }},
      {"kel_threshold_otsu_hist", 10, [&] { return kel_threshold_otsu_hist(h.data(), 1, &t); }},
      {"kel_threshold_otsu_hist", 17,
       [&] { return kel_threshold_otsu_hist(zero.data(), 256, &t); }},
      {"kel_threshold_isodata_hist", 10,
       [&] { return kel_threshold_isodata_hist(h.data(), 256, nullptr); }},
      {"kel_threshold_otsu", 1, [&] { return kel_threshold_otsu(nullptr, &d); }},
      {"kel_threshold_isodata", 10, [&] { return kel_threshold_isodata(img, nullptr); }},
      {"kel_threshold_melt_hist", 10,
       [&] { return kel_threshold_melt_hist(h.data(), 256, 0, &t, nullptr); }},
      {"kel_threshold_melt", 13, [&] { return kel_threshold_melt(word, 10, &t); }},
      {"kel_threshold_melt", 14, [&] { return kel_threshold_melt(img, 10, &t); }},
      {"kel_threshold_adaptive", 106, [&] { return kel_threshold_adaptive(img, img, 0, 3, 0); }},
      {"kel_threshold_adaptive", 8, [&] { return kel_threshold_adaptive(img, small, 2, 3, 0); }},
      {"kel_threshold_adaptive", 10, [&] { return kel_threshold_adaptive(img, small, 0, 4, 0); }},
      {"kel_threshold_adaptive", 5, [&] { return kel_threshold_adaptive(img, small, 0, 3, 0); }},
      {"kel_threshold_adaptive", 13, [&] { return kel_threshold_adaptive(img, word, 0, 3, 0); }},
  });
}

}  // namespace
