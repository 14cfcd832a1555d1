// Gradient operators on every pixel type against their kernels written out
// here (exact on BYTE and WORD), the Kirsch maximum, magnitude and direction
// images of known ramps, and every failure.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "filter/window_reference.hpp"
#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

struct Op {
  int op, kx, ky;
  std::vector<double> k;
};

const std::vector<Op> kOps = {
    {KEL_GRAD_SOBEL_X, 3, 3, {-1, 0, 1, -2, 0, 2, -1, 0, 1}},
    {KEL_GRAD_SOBEL_Y, 3, 3, {-1, -2, -1, 0, 0, 0, 1, 2, 1}},
    {KEL_GRAD_PREWITT_X, 3, 3, {-1, 0, 1, -1, 0, 1, -1, 0, 1}},
    {KEL_GRAD_PREWITT_Y, 3, 3, {-1, -1, -1, 0, 0, 0, 1, 1, 1}},
    {KEL_GRAD_ROBERTS_A, 2, 2, {1, 0, 0, -1}},
    {KEL_GRAD_ROBERTS_B, 2, 2, {0, 1, -1, 0}},
    {KEL_GRAD_LAPLACE_4, 3, 3, {0, 1, 0, 1, -4, 1, 0, 1, 0}},
    {KEL_GRAD_LAPLACE_8, 3, 3, {1, 1, 1, 1, -8, 1, 1, 1, 1}},
    {KEL_GRAD_DIFF_X, 2, 1, {-1, 1}},
    {KEL_GRAD_DIFF_Y, 1, 2, {-1, 1}},
    {KEL_GRAD_DIFF2_X, 3, 1, {1, -2, 1}},
    {KEL_GRAD_DIFF2_Y, 1, 3, {1, -2, 1}},
    {KEL_GRAD_KIRSCH_0, 3, 3, {5, 5, 5, -3, 0, -3, -3, -3, -3}},
    {KEL_GRAD_KIRSCH_0 + 5, 3, 3, {-3, -3, -3, -3, 0, 5, -3, 5, 5}},
};

double response(const Image *s, int w, int h, const Op &o, int x, int y) {
  double r = 0;
  for (int j = 0; j < o.ky; ++j)
    for (int i = 0; i < o.kx; ++i)
      r += o.k[j * o.kx + i] * wr::at(s, w, h, x + i - (o.kx - 1) / 2, y + j - (o.ky - 1) / 2);
  return r;
}

double stored(unsigned type, double r, int mode) {
  if (mode == KEL_MODE_ABS) r = std::fabs(r);
  if (type == FLOAT) return r;
  const long long top = type == BYTE ? 255 : 65535;
  if (mode == KEL_MODE_WRAP) return static_cast<double>(static_cast<long long>(r) & top);
  return std::clamp(r, 0.0, double(top));
}

TEST(Gradient, EveryOperatorEqualsItsKernelOnEveryType) {
  for (unsigned type : wr::kTypes)
    for (unsigned out : {type, unsigned(FLOAT)})
      for (const Op &o : kOps)
        for (int mode : {KEL_MODE_CLAMP, KEL_MODE_ABS, KEL_MODE_WRAP}) {
          if (type == FLOAT && mode == KEL_MODE_WRAP) continue;
          kt::TestImage src = kt::random_image(type, 23, 15, o.op + 3 * type, true);
          kt::TestImage dst = kt::view(out, 23, 15);
          ASSERT_EQ(kel_gradient2(src, dst, o.op, mode), 0);
          const auto expect = wr::compute(23, 15, [&](int x, int y) {
            const double r = response(src, 23, 15, o, x, y);
            return out == FLOAT && mode != KEL_MODE_ABS ? r : stored(out, r, mode);
          });
          EXPECT_EQ(wr::differences(dst, 23, 15, expect, type == FLOAT ? 0.01 : 0), 0)
              << "op " << o.op << " type " << type << " -> " << out << " mode " << mode;
        }
}

TEST(Gradient, KirschMaximumIsTheLargestOfEightDirections) {
  kt::TestImage src = kt::random_image(WORD, 17, 12, 5, true), dst = kt::view(FLOAT, 17, 12);
  ASSERT_EQ(kel_gradient2(src, dst, KEL_GRAD_KIRSCH_MAX, KEL_MODE_CLAMP), 0);
  kt::TestImage one = kt::image(FLOAT, 17, 12);
  std::vector<double> best(17 * 12, -1e300);
  for (int d = 0; d < 8; ++d) {
    ASSERT_EQ(kel_gradient2(src, one, KEL_GRAD_KIRSCH_0 + d, KEL_MODE_CLAMP), 0);
    const auto p = kt::pixels(one);
    for (std::size_t i = 0; i < p.size(); ++i)
      best[i] = std::max(best[i], p[i]);
  }
  EXPECT_EQ(wr::differences(dst, 17, 12, best), 0);
}

TEST(Gradient, MagnitudeAndDirectionOfRamps) {
  // A ramp rising to the right by 2 per pixel: Sobel gx = 16, gy = 0, so
  // magnitude 16 and direction 0; rising downwards, direction 270 degrees.
  struct Case {
    int dx, dy;
    double deg;
  };
  for (Case c : {Case{2, 0, 0}, Case{0, 2, 270}, Case{-2, 0, 180}, Case{0, -2, 90}}) {
    kt::TestImage src = kt::image(FLOAT, 9, 9);
    for (int y = 0; y < 9; ++y)
      for (int x = 0; x < 9; ++x)
        kt::set(src, x, y, 100 + c.dx * x + c.dy * y);
    kt::TestImage mag = kt::image(FLOAT, 9, 9), dir = kt::image(FLOAT, 9, 9),
                  dir8 = kt::image(BYTE, 9, 9);
    ASSERT_EQ(kel_gradient_polar2(src, mag, dir, KEL_GRAD_SOBEL_Y), 0);
    EXPECT_EQ(kt::get(mag, 4, 4), 16);
    EXPECT_NEAR(kt::get(dir, 4, 4), c.deg, 1e-4);
    ASSERT_EQ(kel_gradient_polar2(src, nullptr, dir8, KEL_GRAD_PREWITT_X), 0);
    EXPECT_EQ(kt::get(dir8, 4, 4), std::fmod(std::round(c.deg * 256 / 360), 256));
  }
  // Roberts on a BYTE step: gx = a, gy = b at the step's corner.
  kt::TestImage step =
      kt::image(BYTE, 4, 4, {0, 0, 0, 0, 0, 90, 90, 90, 0, 90, 90, 90, 0, 90, 90, 90});
  kt::TestImage mag = kt::image(BYTE, 4, 4);
  ASSERT_EQ(kel_gradient_polar2(step, mag, nullptr, KEL_GRAD_ROBERTS_A), 0);
  EXPECT_EQ(kt::get(mag, 0, 0), 90);                               // a = -90, b = 0
  EXPECT_EQ(kt::get(mag, 1, 0), std::round(90 * std::sqrt(2.0)));  // a = -90, b = 90
}

TEST(Gradient, EveryFailureIsReportedUnderItsName) {
  kt::TestImage b = kt::image(BYTE, 8, 8), b2 = kt::image(BYTE, 8, 8), wd = kt::image(WORD, 8, 8);
  kt::TestImage thin = kt::image(BYTE, 8, 2), narrow = kt::image(BYTE, 1, 8);
  const std::vector<wr::Failure> cases = {
      {"null", [&] { return kel_gradient2(nullptr, b, 0, 0); }, 1, "kel_gradient2"},
      {"op", [&] { return kel_gradient2(b, b2, KEL_GRAD_KIRSCH_MAX + 1, 0); }, 8, "kel_gradient2"},
      {"negative op", [&] { return kel_gradient2(b, wd, -1, 0); }, 8, "kel_gradient2"},
      {"types", [&] { return kel_gradient2(wd, b, 0, 0); }, 13, "kel_gradient2"},
      {"area", [&] { return kel_gradient2(b, thin, KEL_GRAD_SOBEL_Y, 0); }, 7, "kel_gradient2"},
      {"roberts area", [&] { return kel_gradient2(b, narrow, KEL_GRAD_ROBERTS_A, 0); }, 7,
       "kel_gradient2"},
      {"polar null", [&] { return kel_gradient_polar2(b, nullptr, nullptr, 0); }, 1,
       "kel_gradient_polar2"},
      {"polar op", [&] { return kel_gradient_polar2(b, b2, nullptr, KEL_GRAD_LAPLACE_4); }, 8,
       "kel_gradient_polar2"},
      {"polar types", [&] { return kel_gradient_polar2(wd, b2, nullptr, 0); }, 13,
       "kel_gradient_polar2"},
  };
  wr::check_failures(cases);
}

}  // namespace
