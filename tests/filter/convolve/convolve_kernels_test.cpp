// Convolution with caller kernels: integer kernels of odd sizes with shifts
// and the three output modes on BYTE and WORD (both the float and the
// 64-bit path), float kernels on every type, separable pairs and line
// kernels against the full kernel, in-place use, views and every failure.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "filter/window_reference.hpp"
#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

// Weighted sums of the kernel at every pixel (exact in double for these
// weights and pixels).
std::vector<double> sums(const Image *s, int w, int h, const std::vector<double> &k, int kx,
                         int ky) {
  return wr::compute(w, h, [&](int x, int y) {
    double r = 0;
    for (int j = 0; j < ky; ++j)
      for (int i = 0; i < kx; ++i)
        r += k[j * kx + i] * wr::at(s, w, h, x + i - (kx - 1) / 2, y + j - (ky - 1) / 2);
    return r;
  });
}

// An integer result r stored by mode into a pixel type.
double by_mode(unsigned type, long long r, int mode) {
  const long long top = type == BYTE ? 255 : 65535;
  if (mode == KEL_MODE_ABS) return static_cast<double>(std::min(std::llabs(r), top));
  if (mode == KEL_MODE_WRAP) return static_cast<double>(r & top);
  return static_cast<double>(std::clamp(r, 0LL, top));
}

std::vector<int> random_weights(int n, int lo, int hi, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_int_distribution<int> d(lo, hi);
  std::vector<int> w(n);
  for (int &v : w)
    v = d(gen);
  return w;
}

std::vector<double> shifted(const std::vector<double> &s, unsigned type, int shift, int mode) {
  std::vector<double> out;
  for (double v : s)
    out.push_back(by_mode(type, static_cast<long long>(v) >> shift, mode));
  return out;
}

TEST(ConvolveKernels, IntegerKernelsEqualThePlainSumExactly) {
  struct Case {
    unsigned type;
    int kx, ky, lo, hi, shift, mode;
  };
  // Small weights take the float path, huge ones the 64-bit path.
  const Case cases[] = {
      {BYTE, 3, 3, -4, 4, 2, KEL_MODE_CLAMP},
      {BYTE, 5, 7, -9, 9, 0, KEL_MODE_ABS},
      {BYTE, 11, 11, -3, 5, 4, KEL_MODE_WRAP},
      {WORD, 1, 7, -2, 3, 1, KEL_MODE_CLAMP},
      {WORD, 9, 3, -40000, 40000, 3, KEL_MODE_ABS},
      {BYTE, 3, 3, -100000, 100000, 12, KEL_MODE_WRAP},
      {WORD, 7, 1, -5, 5, -2, KEL_MODE_WRAP},
  };
  unsigned seed = 1;
  for (const Case &c : cases) {
    const std::vector<int> w = random_weights(c.kx * c.ky, c.lo, c.hi, seed++);
    kt::TestImage src = kt::random_image(c.type, 37, 23, seed++, true);
    kt::TestImage dst = kt::view(c.type, 37, 23);
    ASSERT_EQ(kel_convolve(src, dst, w.data(), c.kx, c.ky, c.shift, c.mode), 0);
    const auto expect = shifted(sums(src, 37, 23, {w.begin(), w.end()}, c.kx, c.ky), c.type,
                                std::max(c.shift, 0), c.mode);
    EXPECT_EQ(wr::differences(dst, 37, 23, expect), 0) << c.kx << "x" << c.ky << " type " << c.type;
    EXPECT_TRUE(kt::margin_intact(dst));
    // In place: the same result.
    ASSERT_EQ(kel_convolve(src, src, w.data(), c.kx, c.ky, c.shift, c.mode), 0);
    EXPECT_EQ(wr::differences(src, 37, 23, expect), 0);
  }
}

TEST(ConvolveKernels, FloatKernelsOnEveryTypeAndIntoFloat) {
  const std::vector<float> k = {0.5f, -1.25f, 2.0f, 0.125f, 1.0f,  -0.75f, 0.25f, 0.0f,
                                0.3f, -0.2f,  0.6f, 0.1f,   0.05f, -0.4f,  0.7f};
  for (unsigned type : wr::kTypes)
    for (unsigned out_type : {type, unsigned(FLOAT)}) {
      kt::TestImage src = kt::random_image(type, 29, 17, type, true);
      kt::TestImage dst = kt::view(out_type, 29, 17);
      for (int mode : {KEL_MODE_CLAMP, KEL_MODE_ABS}) {
        ASSERT_EQ(kel_convolve2(src, dst, k.data(), 5, 3, mode), 0);
        auto expect = sums(src, 29, 17, {k.begin(), k.end()}, 5, 3);
        for (double &v : expect)
          v = wr::stored(out_type, mode == KEL_MODE_ABS ? std::fabs(v) : v);
        // Float sums carry float's precision and may round an exact half the
        // other way.
        const double tol = out_type != FLOAT ? 1 : type == WORD ? 0.1 : 0.01;
        EXPECT_EQ(wr::differences(dst, 29, 17, expect, tol), 0) << type << " -> " << out_type;
      }
    }
}

TEST(ConvolveKernels, SeparablePairsAndLinesEqualTheFullKernel) {
  for (unsigned type : {unsigned(BYTE), unsigned(WORD)}) {
    const std::vector<int> rw = random_weights(31, -3, 3, 7), cw = random_weights(5, -2, 4, 8);
    std::vector<double> full;
    for (int c : cw)
      for (int r : rw)
        full.push_back(double(r) * c);
    kt::TestImage src = kt::random_image(type, 41, 13, 3, true);
    kt::TestImage dst = kt::view(type, 41, 13);
    ASSERT_EQ(kel_convolve_sep(src, dst, rw.data(), 31, cw.data(), 5, 3, KEL_MODE_ABS), 0);
    EXPECT_EQ(wr::differences(dst, 41, 13,
                              shifted(sums(src, 41, 13, full, 31, 5), type, 3, KEL_MODE_ABS)),
              0);
    // Line kernels: across rows and down columns.
    ASSERT_EQ(kel_convolve_line(src, dst, cw.data(), 5, 1, 0, KEL_MODE_WRAP), 0);
    EXPECT_EQ(wr::differences(
                  dst, 41, 13,
                  shifted(sums(src, 41, 13, {cw.begin(), cw.end()}, 1, 5), type, 0, KEL_MODE_WRAP)),
              0);
    ASSERT_EQ(kel_convolve_line(src, dst, rw.data(), 31, 0, 1, KEL_MODE_CLAMP), 0);
    EXPECT_EQ(wr::differences(dst, 41, 13,
                              shifted(sums(src, 41, 13, {rw.begin(), rw.end()}, 31, 1), type, 1,
                                      KEL_MODE_CLAMP)),
              0);
  }
  // Float pair on FLOAT and a float line into FLOAT from BYTE.
  const std::vector<float> r = {0.25f, 0.5f, 0.25f}, c = {-1.0f, 0.0f, 2.0f, 0.5f, 1.0f};
  std::vector<double> full;
  for (float cv : c)
    for (float rv : r)
      full.push_back(double(rv) * cv);
  kt::TestImage f = kt::random_image(FLOAT, 19, 11, 5, true), fd = kt::view(FLOAT, 19, 11);
  ASSERT_EQ(kel_convolve_sep2(f, fd, r.data(), 3, c.data(), 5, KEL_MODE_CLAMP), 0);
  EXPECT_EQ(wr::differences(fd, 19, 11, sums(f, 19, 11, full, 3, 5), 0.01), 0);
  kt::TestImage b = kt::random_image(BYTE, 19, 11, 6, true);
  ASSERT_EQ(kel_convolve_line2(b, fd, c.data(), 5, 0, KEL_MODE_CLAMP), 0);
  EXPECT_EQ(wr::differences(fd, 19, 11, sums(b, 19, 11, {c.begin(), c.end()}, 5, 1), 0.001), 0);
}

TEST(ConvolveKernels, WideImagesAreFilteredInStripesOfColumns) {
  // Tall kernels on wide images make the engines work stripe by stripe.
  const std::vector<int> k11 = random_weights(121, -2, 3, 12), k31 = random_weights(31, -3, 3, 13);
  kt::TestImage wide = kt::random_image(BYTE, 9001, 12, 14), out = kt::image(BYTE, 9001, 12);
  ASSERT_EQ(kel_convolve(wide, out, k11.data(), 11, 11, 5, KEL_MODE_ABS), 0);
  EXPECT_EQ(wr::differences(out, 9001, 12,
                            shifted(sums(wide, 9001, 12, {k11.begin(), k11.end()}, 11, 11), BYTE, 5,
                                    KEL_MODE_ABS)),
            0);
  kt::TestImage src = kt::random_image(WORD, 3301, 33, 15), dst = kt::image(WORD, 3301, 33);
  ASSERT_EQ(kel_convolve_line(src, dst, k31.data(), 31, 1, 2, KEL_MODE_CLAMP), 0);
  EXPECT_EQ(wr::differences(dst, 3301, 33,
                            shifted(sums(src, 3301, 33, {k31.begin(), k31.end()}, 1, 31), WORD, 2,
                                    KEL_MODE_CLAMP)),
            0);
}

TEST(ConvolveKernels, EveryFailureIsReportedUnderItsName) {
  kt::TestImage b = kt::image(BYTE, 12, 12), b2 = kt::image(BYTE, 12, 12),
                wd = kt::image(WORD, 12, 12);
  kt::TestImage f = kt::image(FLOAT, 12, 12), small = kt::image(BYTE, 4, 12);
  const int k[121] = {1};
  const float kf[121] = {1};
  const std::vector<wr::Failure> cases = {
      {"null source", [&] { return kel_convolve(nullptr, b, k, 3, 3, 0, 0); }, 1, "kel_convolve"},
      {"null weights", [&] { return kel_convolve(b, b2, nullptr, 3, 3, 0, 0); }, 10,
       "kel_convolve"},
      {"types differ", [&] { return kel_convolve(b, wd, k, 3, 3, 0, 0); }, 13, "kel_convolve"},
      {"float integer", [&] { return kel_convolve(f, f, k, 3, 3, 0, 0); }, 6, "kel_convolve"},
      {"even size", [&] { return kel_convolve(b, b2, k, 4, 3, 0, 0); }, 10, "kel_convolve"},
      {"13 wide", [&] { return kel_convolve(b, b2, k, 13, 1, 0, 0); }, 10, "kel_convolve"},
      {"area small", [&] { return kel_convolve(b, small, k, 5, 5, 0, 0); }, 7, "kel_convolve"},
      {"float to word", [&] { return kel_convolve2(b, wd, kf, 3, 3, 0); }, 13, "kel_convolve2"},
      {"null row", [&] { return kel_convolve_sep(b, b2, nullptr, 3, k, 3, 0, 0); }, 10,
       "kel_convolve_sep"},
      {"33 taps", [&] { return kel_convolve_sep2(b, b2, kf, 33, kf, 3, 0); }, 10,
       "kel_convolve_sep2"},
      {"line area", [&] { return kel_convolve_line(b, small, k, 5, 0, 0, 0); }, 7,
       "kel_convolve_line"},
      {"line null", [&] { return kel_convolve_line2(b, nullptr, kf, 5, 1, 0); }, 1,
       "kel_convolve_line2"},
  };
  wr::check_failures(cases);
}

}  // namespace
