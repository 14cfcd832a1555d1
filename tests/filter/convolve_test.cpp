// 3x3 convolutions and the named kernels: exact values on small literals,
// the output modes and the shift, the border rule, the common area, the
// processor switch, every failure report, and a cross-check of every
// operator against a plain reference on random images and views.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "filter/reference_3x3.hpp"
#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

class Convolve : public ::testing::Test {
 protected:
  void SetUp() override {
    kel_set_use_mmx(0);
    kt::clear_report();
  }
  void TearDown() override { kel_set_use_mmx(0); }
};

KelKernel3x3 kernel(std::vector<int> k, int shift = 0) {
  return {k[0], k[1], k[2], k[3], k[4], k[5], k[6], k[7], k[8], shift};
}

// The kernels of the named operators, written out independently.
const KelKernel3x3 kLaplace = kernel({0, 1, 0, 1, -4, 1, 0, 1, 0});
const KelKernel3x3 kPrewittX = kernel({1, 0, -1, 1, 0, -1, 1, 0, -1});
const KelKernel3x3 kPrewittY = kernel({1, 1, 1, 0, 0, 0, -1, -1, -1});
const KelKernel3x3 kSharpen = kernel({0, -1, 0, -1, 5, -1, 0, -1, 0});
const KelKernel3x3 kSobelX = kernel({-1, 0, 1, -2, 0, 2, -1, 0, 1});
const KelKernel3x3 kSobelY = kernel({-1, -2, -1, 0, 0, 0, 1, 2, 1});
const KelKernel3x3 kKirsch[8] = {
    kernel({5, 5, 5, -3, 0, -3, -3, -3, -3}), kernel({5, 5, -3, 5, 0, -3, -3, -3, -3}),
    kernel({5, -3, -3, 5, 0, -3, 5, -3, -3}), kernel({-3, -3, -3, 5, 0, -3, 5, 5, -3}),
    kernel({-3, -3, -3, -3, 0, -3, 5, 5, 5}), kernel({-3, -3, -3, -3, 0, 5, -3, 5, 5}),
    kernel({-3, -3, 5, -3, 0, 5, -3, -3, 5}), kernel({-3, 5, 5, -3, 0, 5, -3, -3, -3}),
};

// The weighted sum at (x, y) in wrapping 32-bit arithmetic, divided by
// 2^shift rounding toward minus infinity.
std::int64_t result_at(const Image *src, int x, int y, const KelKernel3x3 &k) {
  const int w[9] = {k.k0, k.k1, k.k2, k.k3, k.k4, k.k5, k.k6, k.k7, k.k8};
  std::uint32_t sum = 0;
  for (int j = 0; j < 3; ++j)
    for (int i = 0; i < 3; ++i)
      sum += static_cast<std::uint32_t>(w[3 * j + i]) *
             static_cast<std::uint32_t>(kt::get(src, x - 1 + i, y - 1 + j));
  std::int64_t r = static_cast<std::int32_t>(sum);
  std::int64_t d = std::int64_t{1} << std::clamp(k.shift, 0, 31);
  return (r - ((r % d) + d) % d) / d;
}

int stored(std::int64_t r, int mode) {
  if (mode == 1) return static_cast<int>(std::min<std::int64_t>(std::llabs(r), 255));
  if (mode == 2) return static_cast<int>(((r % 256) + 256) % 256);
  return static_cast<int>(std::clamp<std::int64_t>(r, 0, 255));
}

int stored_two(std::int64_t r1, std::int64_t r2, int mode) {
  if (mode == 1)
    return static_cast<int>(std::min<std::int64_t>(std::llabs(r1) + std::llabs(r2), 255));
  return stored(r1 + r2, mode);
}

std::vector<int> expect_one(const Image *src, int w, int h, const KelKernel3x3 &k, int mode) {
  return ft::reference_3x3(w, h,
                           [&](int x, int y) { return stored(result_at(src, x, y, k), mode); });
}

std::vector<int> expect_two(const Image *src, int w, int h, const KelKernel3x3 &k1,
                            const KelKernel3x3 &k2, int mode) {
  return ft::reference_3x3(w, h, [&](int x, int y) {
    return stored_two(result_at(src, x, y, k1), result_at(src, x, y, k2), mode);
  });
}

TEST_F(Convolve, ThreeByThreeAreaRepeatsTheOnlyComputedPixel) {
  kt::TestImage src = kt::image(BYTE, 3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9});
  kt::TestImage dst = kt::view(BYTE, 3, 3);
  // 1*1 + 2*2 + ... + 9*9 = 285; 285 >> 3 = 35.
  ASSERT_EQ(kel_convolve_3x3(src, dst, kernel({1, 2, 3, 4, 5, 6, 7, 8, 9}, 3), 0), 0);
  EXPECT_EQ(kt::pixels(dst), std::vector<double>(9, 35));
  // Two kernels: |285 >> 3| + |-5| = 40 in mode 1; 35 - 5 = 30 in mode 0.
  const KelKernel3x3 minus_centre = kernel({0, 0, 0, 0, -1, 0, 0, 0, 0});
  ASSERT_EQ(kel_convolve_3x3sum(src, dst, kernel({1, 2, 3, 4, 5, 6, 7, 8, 9}, 3), minus_centre, 1),
            0);
  EXPECT_EQ(kt::pixels(dst), std::vector<double>(9, 40));
  ASSERT_EQ(kel_convolve_3x3sum(src, dst, kernel({1, 2, 3, 4, 5, 6, 7, 8, 9}, 3), minus_centre, 0),
            0);
  EXPECT_EQ(kt::pixels(dst), std::vector<double>(9, 30));
  EXPECT_TRUE(kt::margin_intact(dst));
  EXPECT_NO_REPORT();
}

TEST_F(Convolve, WorksOnTheCommonAreaOnly) {
  // Source larger than the destination: only the destination's area is read.
  kt::TestImage big = kt::random_image(BYTE, 11, 9, 5);
  kt::TestImage small = kt::view(BYTE, 6, 4);
  ASSERT_EQ(kel_sharpen(big, small, 0), 0);
  EXPECT_EQ(ft::count_differences(small, 6, 4, expect_one(big, 6, 4, kSharpen, 0)), 0);
  EXPECT_TRUE(kt::margin_intact(small));

  // Destination larger than the source: pixels beyond the source stay.
  kt::TestImage src = kt::random_image(BYTE, 5, 6, 6, true);
  kt::TestImage dst = kt::image(BYTE, 9, 8, std::vector<double>(72, 200));
  ASSERT_EQ(kel_prewittxy(src, dst, 1), 0);
  EXPECT_EQ(ft::count_differences(dst, 5, 6, expect_two(src, 5, 6, kPrewittX, kPrewittY, 1)), 0);
  for (int y = 0; y < 8; ++y)
    for (int x = 0; x < 9; ++x)
      if (x >= 5 || y >= 6) {
        ASSERT_EQ(kt::get(dst, x, y), 200) << x << ", " << y;
      }
}

TEST_F(Convolve, LaplaceOfOneBrightPixelInEachMode) {
  kt::TestImage src = kt::image(BYTE, 7, 7);
  kt::set(src, 3, 3, 255);
  kt::TestImage dst = kt::view(BYTE, 7, 7);
  // The centre result is -1020: mode 2 keeps its low 8 bits (4), mode 0
  // limits it to 0, mode 1 takes |-1020| limited to 255; any other mode
  // limits like mode 0. The four direct neighbours see +255.
  const std::pair<int, int> centre_by_mode[] = {{2, 4}, {0, 0}, {1, 255}, {3, 0}, {-1, 0}};
  for (auto [mode, centre] : centre_by_mode) {
    ASSERT_EQ(kel_laplace(src, dst, mode), 0);
    for (int y = 0; y < 7; ++y)
      for (int x = 0; x < 7; ++x) {
        int d = std::abs(x - 3) + std::abs(y - 3);
        int want = d == 0 ? centre : d == 1 ? 255 : 0;
        ASSERT_EQ(kt::get(dst, x, y), want) << "mode " << mode << " at " << x << ", " << y;
      }
  }
  EXPECT_TRUE(kt::margin_intact(dst));
}

TEST_F(Convolve, ShiftRoundsTowardMinusInfinity) {
  kt::TestImage src = kt::image(BYTE, 3, 3, {0, 0, 0, 0, 3, 0, 0, 0, 0});
  kt::TestImage dst = kt::image(BYTE, 3, 3);
  auto centre = [&](int k4, int shift, int mode) {
    EXPECT_EQ(kel_convolve_3x3(src, dst, kernel({0, 0, 0, 0, k4, 0, 0, 0, 0}, shift), mode), 0);
    return static_cast<int>(kt::get(dst, 1, 1));
  };
  EXPECT_EQ(centre(-1, 1, 2), 254);  // -3 >> 1 = -2, not -1
  EXPECT_EQ(centre(-1, 1, 1), 2);
  EXPECT_EQ(centre(1, 1, 0), 1);      // 3 >> 1 = 1
  EXPECT_EQ(centre(-1, -3, 2), 253);  // a negative shift counts as 0
  EXPECT_EQ(centre(1, -3, 0), 3);
  EXPECT_EQ(centre(-1, 40, 2), 255);  // shifts above 31 act as 31: -1 ...
  EXPECT_EQ(centre(1, 40, 0), 0);     // ... or 0
  // Two kernels shift separately: (-3 >> 1) + (3 >> 1) = -2 + 1 = -1.
  ASSERT_EQ(kel_convolve_3x3sum(src, dst, kernel({0, 0, 0, 0, -1, 0, 0, 0, 0}, 1),
                                kernel({0, 0, 0, 0, 1, 0, 0, 0, 0}, 1), 2),
            0);
  EXPECT_EQ(kt::get(dst, 1, 1), 255);
  // The weighted sum wraps around as signed 32-bit arithmetic:
  // 3 * 0x40000000 = 0xC0000000, which is negative, >> 30 gives -1.
  ASSERT_EQ(kel_convolve_3x3(src, dst, kernel({0, 0, 0, 0, 0x40000000, 0, 0, 0, 0}, 30), 2), 0);
  EXPECT_EQ(kt::get(dst, 1, 1), 255);
}

TEST_F(Convolve, KirschDirections) {
  kt::TestImage src = kt::random_image(BYTE, 21, 6, 11, true);
  kt::TestImage a = kt::image(BYTE, 21, 6), b = kt::image(BYTE, 21, 6);
  for (int mode : {0, 1, 2}) {
    ASSERT_EQ(kel_kirsch(src, a, 8, mode), 0);
    ASSERT_EQ(kel_laplace(src, b, mode), 0);
    EXPECT_EQ(kt::pixels(a), kt::pixels(b)) << "mode " << mode;
  }
  // Direction 0 weighs the row above with 5: a bright top row gives 255.
  kt::TestImage top = kt::image(BYTE, 3, 3, {10, 10, 10, 0, 0, 0, 0, 0, 0});
  ASSERT_EQ(kel_kirsch(top, a, 0, 0), 0);
  EXPECT_EQ(kt::get(a, 1, 1), 150);
  ASSERT_EQ(kel_kirsch(top, a, 4, 1), 0);
  EXPECT_EQ(kt::get(a, 1, 1), 90);  // |-3 * 30|

  for (int direction : {9, -1}) {
    kt::TestImage dst = kt::view(BYTE, 21, 6, std::vector<double>(126, 9));
    auto before = ft::snapshot(dst);
    kt::clear_report();
    EXPECT_EQ(kel_kirsch(src, dst, direction, 0), 10);
    EXPECT_REPORT("kel_kirsch", 10);
    EXPECT_STREQ(im_last_message(), "");
    EXPECT_EQ(ft::snapshot(dst), before);
  }
}

TEST_F(Convolve, ProcessorSwitchLeavesOnlyTheOneKernelEngineIdle) {
  if (!kel_cpu_has_mmx()) GTEST_SKIP() << "no MMX: the switch cannot be set";
  kel_set_use_mmx(1);
  for (int w : {8, 9}) {
    kt::TestImage src = kt::random_image(BYTE, w, 5, w);
    kt::TestImage dst = kt::image(BYTE, w, 5, std::vector<double>(w * 5, 9));
    const auto before = kt::pixels(dst);
    EXPECT_EQ(kel_convolve_3x3(src, dst, kSharpen, 0), 0);
    EXPECT_EQ(kel_sobelx(src, dst, 1), 0);
    EXPECT_EQ(kel_kirsch(src, dst, 3, 1), 0);
    EXPECT_EQ(kt::pixels(dst), before) << "width " << w;
    EXPECT_EQ(kel_sobelxy(src, dst, 1), 0);
    EXPECT_EQ(ft::count_differences(dst, w, 5, expect_two(src, w, 5, kSobelX, kSobelY, 1)), 0);
    ASSERT_EQ(kel_prewittxy(src, dst, 0), 0);
    EXPECT_EQ(ft::count_differences(dst, w, 5, expect_two(src, w, 5, kPrewittX, kPrewittY, 0)), 0);
  }
  kel_set_use_mmx(0);
  kt::TestImage src = kt::random_image(BYTE, 9, 5, 1);
  kt::TestImage dst = kt::image(BYTE, 9, 5);
  ASSERT_EQ(kel_sobelx(src, dst, 1), 0);
  EXPECT_EQ(ft::count_differences(dst, 9, 5, expect_one(src, 9, 5, kSobelX, 1)), 0);
}

TEST_F(Convolve, FailuresReportUnderTheEngineAndWriteNothing) {
  kt::TestImage src = kt::random_image(BYTE, 6, 5, 2);
  kt::TestImage dst = kt::view(BYTE, 6, 5, std::vector<double>(30, 9));
  kt::TestImage word = kt::image(WORD, 6, 5), word_small = kt::image(WORD, 2, 2);
  kt::TestImage narrow = kt::image(BYTE, 2, 5), low = kt::image(BYTE, 6, 2);
  const auto before = ft::snapshot(dst);
  struct Case {
    const Image *src;
    Image *dst;
    int code;
  };
  const Case cases[] = {
      {nullptr, dst, 1}, {src, nullptr, 1}, {dst, dst, 106},
      {word, word, 106},  // same record comes before the type
      {word, dst, 13},   {src, word, 13},   {word_small, dst, 13},  // type comes before the size
      {narrow, dst, 17}, {src, low, 17},
  };
  for (const Case &c : cases) {
    kt::clear_report();
    EXPECT_EQ(kel_convolve_3x3(c.src, c.dst, kSharpen, 0), c.code);
    EXPECT_REPORT("kel_convolve_3x3", c.code);
    kt::clear_report();
    EXPECT_EQ(kel_sobelx(c.src, c.dst, 0), c.code);
    EXPECT_REPORT("kel_convolve_3x3", c.code);
    kt::clear_report();
    EXPECT_EQ(kel_kirsch(c.src, c.dst, 2, 0), c.code);
    EXPECT_REPORT("kel_convolve_3x3", c.code);
    kt::clear_report();
    EXPECT_EQ(kel_sobelxy(c.src, c.dst, 1), c.code);
    EXPECT_REPORT("kel_convolve_3x3sum", c.code);
    if (c.code != 1) {
      EXPECT_STREQ(im_last_message(), "");
    }
    kt::clear_report();
    EXPECT_EQ(kel_convolve_3x3sum(c.src, c.dst, kSobelX, kSobelY, 0), c.code);
    EXPECT_REPORT("kel_convolve_3x3sum", c.code);
  }
  EXPECT_EQ(ft::snapshot(dst), before);
}

// Every named operator and random kernels against the reference, on odd
// widths around the 16-pixel blocks of the vector path, views with skip and
// sources larger than the destination.
TEST_F(Convolve, EveryOperatorMatchesTheReference) {
  using One = int (*)(const Image *, Image *, int);
  struct Named {
    const char *name;
    One fn;
    KelKernel3x3 k;
  };
  const Named named[] = {
      {"laplace", kel_laplace, kLaplace},    {"prewittx", kel_prewittx, kPrewittX},
      {"prewitty", kel_prewitty, kPrewittY}, {"sobelx", kel_sobelx, kSobelX},
      {"sobely", kel_sobely, kSobelY},       {"sharpen", kel_sharpen, kSharpen}};
  std::mt19937 gen(17);
  auto random_kernel = [&](int trial) {
    int range = trial % 3 == 0 ? 14 : trial % 3 == 1 ? 300 : 0;
    std::vector<int> k(9);
    for (int &v : k)
      v = range ? static_cast<int>(gen() % (2 * range + 1)) - range : static_cast<int>(gen());
    return kernel(k, static_cast<int>(gen() % 12) - 2);
  };
  // Kernels at the edge of what 16-bit lanes hold (absolute weights adding
  // up to 128) and just beyond it.
  const KelKernel3x3 edges[] = {
      kernel({0, 0, 0, 0, -128, 0, 0, 0, 0}), kernel({-16, -16, -16, -16, 0, -16, -16, -16, -16}),
      kernel({64, 0, 0, 0, 0, 0, 0, 0, -64}, 15), kernel({0, 0, 0, 0, 129, 0, 0, 0, 0}, 1)};
  const int widths[] = {3, 4, 5, 7, 15, 16, 17, 18, 19, 23, 31, 33, 34, 35, 47, 63, 65, 67, 101};
  int trial = 0;
  for (int w : widths)
    for (bool as_view : {false, true}) {
      ++trial;
      int h = 3 + static_cast<int>(gen() % 7);
      int extra = trial % 3;  // a source larger than the destination
      kt::TestImage src = kt::random_image(BYTE, w + extra, h + extra, trial, as_view);
      if (trial % 4 == 0)  // bright and dark runs that reach the limits
        for (int y = 0; y < h; ++y)
          for (int x = 0; x < w; ++x)
            kt::set(src, x, y, (x / 3 + y) % 2 ? 255 : 0);
      kt::TestImage dst = as_view ? kt::view(BYTE, w, h) : kt::image(BYTE, w, h);
      for (int mode : {0, 1, 2}) {
        std::string where = "width " + std::to_string(w) + (as_view ? " view" : "") + " mode " +
                            std::to_string(mode);
        for (const Named &n : named) {
          ASSERT_EQ(n.fn(src, dst, mode), 0);
          EXPECT_EQ(ft::count_differences(dst, w, h, expect_one(src, w, h, n.k, mode)), 0)
              << n.name << ", " << where;
        }
        for (int d = 0; d < 8; ++d) {
          ASSERT_EQ(kel_kirsch(src, dst, d, mode), 0);
          EXPECT_EQ(ft::count_differences(dst, w, h, expect_one(src, w, h, kKirsch[d], mode)), 0)
              << "kirsch " << d << ", " << where;
        }
        ASSERT_EQ(kel_sobelxy(src, dst, mode), 0);
        EXPECT_EQ(ft::count_differences(dst, w, h, expect_two(src, w, h, kSobelX, kSobelY, mode)),
                  0)
            << "sobelxy, " << where;
        ASSERT_EQ(kel_prewittxy(src, dst, mode), 0);
        EXPECT_EQ(
            ft::count_differences(dst, w, h, expect_two(src, w, h, kPrewittX, kPrewittY, mode)), 0)
            << "prewittxy, " << where;
        KelKernel3x3 k1 = random_kernel(trial + mode), k2 = random_kernel(trial + mode + 1);
        ASSERT_EQ(kel_convolve_3x3(src, dst, k1, mode), 0);
        EXPECT_EQ(ft::count_differences(dst, w, h, expect_one(src, w, h, k1, mode)), 0)
            << "random kernel, " << where;
        ASSERT_EQ(kel_convolve_3x3sum(src, dst, k1, k2, mode), 0);
        EXPECT_EQ(ft::count_differences(dst, w, h, expect_two(src, w, h, k1, k2, mode)), 0)
            << "random kernels, " << where;
        for (const KelKernel3x3 &k : edges) {
          ASSERT_EQ(kel_convolve_3x3(src, dst, k, mode), 0);
          EXPECT_EQ(ft::count_differences(dst, w, h, expect_one(src, w, h, k, mode)), 0)
              << "edge kernel, " << where;
          ASSERT_EQ(kel_convolve_3x3sum(src, dst, k, edges[0], mode), 0);
          EXPECT_EQ(ft::count_differences(dst, w, h, expect_two(src, w, h, k, edges[0], mode)), 0)
              << "edge kernels, " << where;
        }
      }
      if (as_view) {
        EXPECT_TRUE(kt::margin_intact(dst));
      }
    }
}

}  // namespace
