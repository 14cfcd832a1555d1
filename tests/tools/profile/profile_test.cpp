// Profile operations against plain references: smoothing with replicated
// ends, derivatives, sub-pixel extremes, peaks with prominence and distance,
// crossings, resampling, arithmetic, image rows of every type, failures.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "kelkit.h"
#include "support/failure_table.hpp"
#include "support/test_images.hpp"

namespace {

using V = std::vector<double>;

double at(const V &p, long i) {
  return p[i < 0 ? 0 : (i >= long(p.size()) ? p.size() - 1 : i)];
}

TEST(Profile, SmoothingAndDerivativesMatchPlainSums) {
  const V p = {3, 9, 4, 4, 10, 0, 7, 7, 1};
  const int n = static_cast<int>(p.size());
  for (int width : {1, 3, 5, 9}) {
    V out(n), ref(n);
    for (int i = 0; i < n; ++i) {
      for (int k = -width / 2; k <= width / 2; ++k)
        ref[i] += at(p, i + k);
      ref[i] /= width;
    }
    ASSERT_EQ(ar_smooth_box(p.data(), out.data(), n, width), 0);
    for (int i = 0; i < n; ++i)
      EXPECT_NEAR(out[i], ref[i], 1e-12) << width;
  }
  V in_place = p, g(n);
  ASSERT_EQ(ar_smooth_gauss(in_place.data(), in_place.data(), n, 1.0), 0);
  double w[4], total = 0;
  for (int k = 0; k <= 3; ++k)
    total += (k ? 2 : 1) * (w[k] = std::exp(-k * k / 2.0));
  for (int i = 0; i < n; ++i) {
    double s = w[0] * p[i];
    for (int k = 1; k <= 3; ++k)
      s += w[k] * (at(p, i - k) + at(p, i + k));
    EXPECT_NEAR(in_place[i], s / total, 1e-12);
  }
  ASSERT_EQ(ar_derivative(p.data(), g.data(), n), 0);
  EXPECT_EQ(g, (V{6, 0.5, -2.5, 3, -2, -1.5, 3.5, -3, -6}));
  ASSERT_EQ(ar_second_derivative(p.data(), g.data(), n), 0);
  EXPECT_EQ(g, (V{-11, -11, 5, 6, -16, 17, -7, -6, -6}));
}

TEST(Profile, ExtremesPeaksAndCrossingsAreSubPixel) {
  // A parabola sampled around 4.3 has its vertex found exactly.
  V p(10);
  for (int i = 0; i < 10; ++i)
    p[i] = 50 - (i - 4.3) * (i - 4.3);
  double pos, val;
  ASSERT_EQ(ar_max(p.data(), 10, &pos, &val), 0);
  EXPECT_NEAR(pos, 4.3, 1e-12);
  EXPECT_NEAR(val, 50, 1e-12);
  V q = {5, 5, 2, 5};  // minimum in the middle, maximum first of equals at the end
  ASSERT_EQ(ar_min(q.data(), 4, &pos, &val), 0);
  EXPECT_NEAR(pos, 2 - 0.0, 1e-12);
  ASSERT_EQ(ar_max(q.data(), 4, &pos, &val), 0);
  EXPECT_EQ(pos, 0);

  // Peaks and their prominences: 9 at 1 (9), 3 at 4 (3), the plateau 8 8 8
  // at 8 (7), 6 at the end (5); valleys 0 at 0, 2 and 6, and 1 at 10.
  const V r = {0, 9, 0, 2, 3, 2, 0, 8, 8, 8, 1, 6};
  double ps[8], vs[8];
  int count = 0;
  ASSERT_EQ(ar_peaks(r.data(), 12, 3.5, 0, ps, vs, 8, &count), 0);
  ASSERT_EQ(count, 3);
  EXPECT_DOUBLE_EQ(ps[0], 1.0);
  EXPECT_DOUBLE_EQ(ps[1], 8.0);
  EXPECT_DOUBLE_EQ(ps[2], 11.0);
  EXPECT_EQ(vs[2], 6);
  ASSERT_EQ(ar_peaks(r.data(), 12, 0, 4, ps, vs, 8, &count), 0);
  EXPECT_EQ(count, 2);  // 9 at 1 and the plateau at 8 win over 3 and 6
  ASSERT_EQ(ar_valleys(r.data(), 12, 5, 0, ps, vs, 8, &count), 0);
  ASSERT_EQ(count, 4);
  EXPECT_DOUBLE_EQ(ps[1], 2 + 7.0 / 22);  // parabola through 9, 0, 2
  EXPECT_DOUBLE_EQ(ps[3], 10 + 1.0 / 12);
  ASSERT_EQ(ar_valleys(r.data(), 12, 5.5, 0, ps, vs, 8, &count), 0);
  EXPECT_EQ(count, 3);

  const V s = {0, 10, 10, 0, 0, 20};
  int dirs[4];
  ASSERT_EQ(ar_crossings(s.data(), 6, 5, KEL_AR_BOTH, ps, dirs, 4, &count), 0);
  ASSERT_EQ(count, 3);
  EXPECT_DOUBLE_EQ(ps[0], 0.5);
  EXPECT_DOUBLE_EQ(ps[1], 2.5);
  EXPECT_DOUBLE_EQ(ps[2], 4.25);
  EXPECT_EQ(dirs[1], KEL_AR_FALLING);
  ASSERT_EQ(ar_crossings(s.data(), 6, 5, KEL_AR_FALLING, ps, nullptr, 4, &count), 0);
  EXPECT_EQ(count, 1);
}

TEST(Profile, ResampleCombineAndImageRows) {
  const V a = {0, 10, 20, 40};
  V out(7);
  ASSERT_EQ(ar_resample(a.data(), 4, out.data(), 7), 0);
  EXPECT_EQ(out, (V{0, 5, 10, 15, 20, 30, 40}));
  const V b = {2, -10, 0, 8};
  const V expected[] = {{2, 0, 20, 48}, {-2, 20, 20, 32}, {0, -100, 0, 320}, {0, -1, 0, 5},
                        {0, -10, 0, 8}, {2, 10, 20, 40},  {2, 20, 20, 32}};
  for (int op = KEL_AR_ADD; op <= KEL_AR_ABSDIFF; ++op) {
    V d(4);
    ASSERT_EQ(ar_combine(a.data(), b.data(), d.data(), 4, op), 0);
    EXPECT_EQ(d, expected[op]) << op;
  }
  // Rows of every type through a view: stored with rounding and clamping.
  const V values = {-3, 0.5, 1.49, 254.5, 70000, 2.25, 9};
  for (unsigned type : {BYTE, WORD, FLOAT}) {
    kt::TestImage img = kt::view(type, 7, 2);
    ASSERT_EQ(ar_to_image(values.data(), 7, img, 1), 0);
    V back(7);
    ASSERT_EQ(ar_from_image(img, 1, back.data(), 7), 0);
    V want = type == FLOAT  ? V{-3, 0.5, 1.49f, 254.5, 70000, 2.25, 9}
             : type == BYTE ? V{0, 1, 1, 255, 255, 2, 9}
                            : V{0, 1, 1, 255, 65535, 2, 9};
    for (int i = 0; i < 7; ++i)
      EXPECT_DOUBLE_EQ(back[i], want[i]) << type << " " << i;
    EXPECT_TRUE(kt::margin_intact(img));
  }
}

TEST(Profile, FailuresCarryCodeAndName) {
  V a(4, 1.0), d(4);
  int count;
  kt::TestImage img = kt::image(BYTE, 4, 1);
  kt::expect_failures({
      {"ar_smooth_box", 10, [&] { return ar_smooth_box(nullptr, d.data(), 4, 3); }},
      {"ar_smooth_box", 10, [&] { return ar_smooth_box(a.data(), d.data(), 4, 2); }},
      {"ar_smooth_box", 17, [&] { return ar_smooth_box(a.data(), d.data(), 0, 1); }},
      {"ar_smooth_gauss", 10, [&] { return ar_smooth_gauss(a.data(), d.data(), 4, NAN); }},
      {"ar_derivative", 17, [&] { return ar_derivative(a.data(), d.data(), 1); }},
      {"ar_second_derivative", 17, [&] { return ar_second_derivative(a.data(), d.data(), 2); }},
      {"ar_stats", 17, [&] { return ar_stats(a.data(), 0, nullptr, nullptr, nullptr, nullptr); }},
      {"ar_max", 10, [&] { return ar_max(nullptr, 4, nullptr, nullptr); }},
      {"ar_min", 17, [&] { return ar_min(a.data(), -1, nullptr, nullptr); }},
      {"ar_peaks", 10, [&] { return ar_peaks(a.data(), 4, -1, 0, d.data(), d.data(), 4, &count); }},
      {"ar_valleys", 10,
       [&] { return ar_valleys(a.data(), 4, 0, 0, d.data(), d.data(), 4, nullptr); }},
      {"ar_crossings", 8,
       [&] { return ar_crossings(a.data(), 4, 0, 4, d.data(), nullptr, 4, &count); }},
      {"ar_resample", 106, [&] { return ar_resample(a.data(), 4, a.data(), 4); }},
      {"ar_combine", 8, [&] { return ar_combine(a.data(), a.data(), d.data(), 4, 7); }},
      {"ar_scale", 10, [&] { return ar_scale(a.data(), nullptr, 4, 1, 0); }},
      {"ar_from_image", 1, [&] { return ar_from_image(nullptr, 0, d.data(), 4); }},
      {"ar_from_image", 10, [&] { return ar_from_image(img, 1, d.data(), 4); }},
      {"ar_from_image", 17, [&] { return ar_from_image(img, 0, d.data(), 3); }},
      {"ar_to_image", 5, [&] { return ar_to_image(a.data(), 3, img, 0); }},
  });
}

}  // namespace
