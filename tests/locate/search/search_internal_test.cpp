// White-box checks of the search internals: the vectorised sums against the
// plain loops and an independent reading of the sampling rule, the peak fit,
// the score conversions and the near-duplicate rule.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "locate/search/search_model.hpp"
#include "support/test_images.hpp"

namespace {

using namespace kel::locate;

// The sampled dissimilarity read straight from its definition.
int sampled_reference(const Image *model, const Image *scene, int sx, int sy, int px, int py) {
  std::uint32_t s = 0, q = 0, n = 0;
  auto add = [&](int c, int r) {
    std::uint32_t d =
        std::uint32_t(kt::get(scene, sx + c, sy + r)) - std::uint32_t(kt::get(model, c, r));
    s += d;
    q += d * d;
    ++n;
  };
  const int w = model->dx, h = model->dy;
  if (px <= 4 && py == 1) {
    for (int r = 0; r < h; ++r)
      for (int c = 0; c < w; ++c)
        add(c, r);
  } else {
    int spacing = std::max(px, 4);
    for (int r = 0; r < h; r += py)
      for (int c = (r % 2 ? spacing / 2 : 0) + (w % 4) / 2; c + 4 <= w; c += spacing)
        for (int i = 0; i < 4; ++i)
          add(c + i, r);
    if (n <= 1) return 0;
  }
  double dn = n, sum = std::int32_t(s);
  double d = (dn * q - sum * sum) / dn / (dn - 1);
  return d > 32767 ? 32767 : d > 0 ? int(d) : 0;
}

TEST(SearchInternals, SumsMatchPlainLoopsAndTheSamplingRule) {
  std::mt19937 gen(3);
  for (int trial = 0; trial < 60; ++trial) {
    int w = 1 + gen() % 40, h = 1 + gen() % 12;
    kt::TestImage model = kt::random_image(BYTE, w, h, trial, trial % 2);
    kt::TestImage scene = kt::random_image(BYTE, w + 9, h + 5, trial + 100, trial % 3 == 0);
    int px = 1 + gen() % 12, py = 1 + gen() % 5;
    Area8 a = area8_of(scene);
    Sampler s(model, px, py, a.pitch);
    EXPECT_EQ(s.full(), px <= 4 && py == 1);
    for (int y = 0; y <= 5; y += 5)
      for (int x = 0; x <= 9; x += 3) {
        int expected = sampled_reference(model, scene, x, y, px, py);
        ASSERT_EQ(s.cost(a.at(x, y)), expected) << w << "x" << h << " " << px << "," << py;
        ASSERT_EQ(s.cost_ref(a.at(x, y)), expected);
      }
    DiffSums f =
        block_sums(a.at(2, 1), a.pitch, area8_of(model).origin, area8_of(model).pitch, w, h);
    DiffSums r =
        block_sums_ref(a.at(2, 1), a.pitch, area8_of(model).origin, area8_of(model).pitch, w, h);
    EXPECT_EQ(f.sum, r.sum);
    EXPECT_EQ(f.squares, r.squares);
  }
  // Both sums wrap modulo 2^32: 300 x 300 differences of 255 give squares
  // beyond 32 bits, and the clamped cost follows the wrapped value.
  kt::TestImage bright = kt::image(BYTE, 300, 300, std::vector<double>(90000, 255));
  kt::TestImage dark = kt::image(BYTE, 300, 300);
  kt::set(dark, 7, 7, 3);
  Area8 b = area8_of(bright), d = area8_of(dark);
  DiffSums f = block_sums(b.origin, b.pitch, d.origin, d.pitch, 300, 300);
  DiffSums r = block_sums_ref(b.origin, b.pitch, d.origin, d.pitch, 300, 300);
  EXPECT_EQ(f.sum, r.sum);
  EXPECT_EQ(f.squares, r.squares);
  EXPECT_EQ(f.squares, std::uint32_t(89999ull * 65025 + 252 * 252));
  EXPECT_EQ(Sampler(dark, b.pitch).cost(b.origin), sampled_reference(dark, bright, 0, 0, 1, 1));
  // A run pattern that takes at most one pixel gives 0.
  kt::TestImage narrow = kt::random_image(BYTE, 3, 9, 1);
  EXPECT_EQ(Sampler(narrow, 8, 2, b.pitch).pixel_count(), 0);
  EXPECT_EQ(Sampler(narrow, 8, 2, b.pitch).cost(b.origin), 0);
}

TEST(SearchInternals, PeakFitRecoversQuadricPeaks) {
  // f = -(A (x - x0)^2 + B (x - x0)(y - y0) + C (y - y0)^2) with y downward.
  auto fit = [](double x0, double y0, double A, double B, double C) {
    double f[9];
    for (int i = 0; i < 9; ++i) {
      double x = i % 3 - 1 - x0, y = i / 3 - 1 - y0;
      f[i] = -(A * x * x + B * x * y + C * y * y);
    }
    return fit_peak(f);
  };
  for (auto [x0, y0] : {std::pair{0.3, -0.2}, std::pair{-0.45, 0.4}, std::pair{0.0, 0.0}}) {
    PeakOffset o = fit(x0, y0, 5, 1.5, 3);
    EXPECT_NEAR(o.fx, x0, 1e-12);
    EXPECT_NEAR(o.fy, y0, 1e-12);
  }
  // A flat neighbourhood (det 0) and a peak outside +-1 fall back to the
  // first strictly greatest neighbour.
  double flat[9] = {0, 0, 0, 0, 0, 0, 0, 0, 0};
  EXPECT_EQ(fit_peak(flat).fx, -1.0);
  EXPECT_EQ(fit_peak(flat).fy, -1.0);
  double ramp[9] = {1, 2, 3, 1, 2, 3, 1, 2, 3.5};
  PeakOffset o = fit_peak(ramp);
  EXPECT_EQ(o.fx, 1.0);
  EXPECT_EQ(o.fy, 1.0);
  PeakOffset far = fit(1.6, 0.0, 1, 0, 1);
  EXPECT_EQ(far.fx, 1.0);
  EXPECT_EQ(far.fy, 0.0);
}

TEST(SearchInternals, ScoreConversionsTruncateAndClamp) {
  EXPECT_EQ(truncate_to_int(-2.9), -2);
  EXPECT_EQ(truncate_to_int(2.9), 2);
  EXPECT_EQ(truncate_to_int(NAN), INT_MIN);
  EXPECT_EQ(truncate_to_int(1e10), INT_MIN);
  ScoreScale s{0.3, 0.0};
  EXPECT_EQ(percent_to_internal(90, s), 33);  // 10 / 0.3 = 33.3
  EXPECT_EQ(internal_to_percent(33, s), 90);  // 100 - 9.9 = 90.1
  EXPECT_EQ(internal_to_percent(34, s), 89);  // 89.8
  EXPECT_EQ(internal_to_percent(0, s), 100);
  EXPECT_EQ(internal_to_percent(-50, s), 100);  // above 100
  EXPECT_EQ(internal_to_percent(331, s), 0);    // 0.7 is below 1
  EXPECT_EQ(internal_to_percent(329, s), 1);    // 1.3
  EXPECT_EQ(internal_to_percent(2000, s), 0);
  EXPECT_EQ(percent_to_internal(100, s), 0);
  // Constant model: infinite scale; cost 0 converts through NaN to 0.
  kt::TestImage flat = kt::image(BYTE, 4, 4, std::vector<double>(16, 9));
  ScoreScale c = score_constants(flat);
  EXPECT_TRUE(std::isinf(c.scale));
  EXPECT_EQ(c.offset, 0.0);
  EXPECT_EQ(percent_to_internal(90, c), 0);
  EXPECT_EQ(internal_to_percent(0, c), 0);
  kt::TestImage two = kt::image(BYTE, 2, 1, {10, 20});
  EXPECT_DOUBLE_EQ(score_constants(two).scale, 100.0 / 50.0);
}

TEST(SearchInternals, NearDuplicatesKeepTheBetterOrTheLater) {
  // Model 10 x 10: closer than 6 in both directions is a duplicate.
  Match r[5] = {{10, 10, 40}, {15.4, 15.4, 40}, {30, 30, 20}, {35.6, 30, 10}, {50, 50, kEmptyCost}};
  remove_near_duplicates(r, 5, 10, 10);
  // (10,10) and (15.4,15.4): rounded 15 is within 5; equal costs drop the
  // earlier. (30,30) and (35.6,30): 36 is 6 away, so both stay.
  EXPECT_EQ(r[0].cost, 10);
  EXPECT_EQ(r[1].cost, 20);
  EXPECT_EQ(r[2].cost, 40);
  EXPECT_EQ(r[2].x, 15.4);
  EXPECT_EQ(r[3].cost, kEmptyCost);
  EXPECT_EQ(r[4].cost, kEmptyCost);
}

}  // namespace
