// Single edges along a profile (kel_edge_find_array): both modes and
// directions, the peak climb, the sub-pixel rule, the fixed results at the
// ends, the processor-switch branch, accuracy on blurred steps and every
// failure report.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <tuple>
#include <vector>

#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

constexpr int kStrongest = 1000;

class EdgeFind : public ::testing::Test {
 protected:
  void SetUp() override {
    kel_set_use_mmx(0);
    kt::clear_report();
  }
};

// A one-row BYTE profile, optionally as a view over a larger master.
kt::TestImage profile(const std::vector<double> &v, bool as_view = false) {
  int n = int(v.size());
  return as_view ? kt::view(BYTE, n, 1, v) : kt::image(BYTE, n, 1, v);
}

// 0 up to pixel `at` - 1, `high` from pixel `at` on.
std::vector<double> step_profile(int n, int at, double high) {
  std::vector<double> v(n, 0.0);
  for (int i = at; i < n; ++i)
    v[i] = high;
  return v;
}

struct Found {
  int strength;
  double position;
};

Found find(const Image *p, int start, int direction, int threshold) {
  Found f{0, -99.0};
  f.strength = kel_edge_find_array(p, start, direction, threshold, &f.position);
  return f;
}

TEST_F(EdgeFind, FourPixelProfileFindsNothing) {
  kt::TestImage p = profile({0, 0, 100, 100});
  for (int threshold : {50, -50, 0}) {
    Found fwd = find(p, 0, 1, threshold), back = find(p, -1, 0, threshold);
    EXPECT_EQ(fwd.strength, 0);
    EXPECT_EQ(fwd.position, 1.5);
    EXPECT_EQ(back.strength, 0);
    EXPECT_EQ(back.position, -1.5);
  }
  // Strongest mode needs only 4 pixels: g(0) = 200 at the fixed 1.5, and
  // backward gb(3) = -200 is no positive edge.
  Found fwd = find(p, 0, 1, kStrongest), back = find(p, -1, 0, kStrongest);
  EXPECT_EQ(fwd.strength, 200);
  EXPECT_EQ(fwd.position, 1.5);
  EXPECT_EQ(back.strength, 0);
  EXPECT_EQ(back.position, -1.5);
  EXPECT_EQ(find(p, 1, 1, kStrongest).position, 1.5);  // 3 pixels left
  EXPECT_NO_REPORT();
}

TEST_F(EdgeFind, StepBetweenNineAndTen) {
  for (bool as_view : {false, true}) {
    kt::TestImage up = profile(step_profile(20, 10, 100), as_view);
    // g(7) = 100, g(8) = 200, g(9) = 100: the peak at 8, centred at 9.5.
    Found f = find(up, 0, 1, 50);
    EXPECT_EQ(f.strength, 200);
    EXPECT_EQ(f.position, 9.5);
    f = find(up, 0, 1, kStrongest);
    EXPECT_EQ(f.strength, 200);
    EXPECT_EQ(f.position, 9.5);
    // Walking back from the end the step goes bright to dark: gb(11) = -200.
    f = find(up, -1, 0, -50);
    EXPECT_EQ(f.strength, -200);
    EXPECT_EQ(f.position, 9.5);
    // The wrong polarity finds nothing.
    f = find(up, 0, 1, -50);
    EXPECT_EQ(f.strength, 0);
    EXPECT_EQ(f.position, 1.5);
    f = find(up, -1, 0, kStrongest);
    EXPECT_EQ(f.strength, 0);
    EXPECT_EQ(f.position, -1.5);
    f = find(up, 0, 1, 201);  // threshold above the peak
    EXPECT_EQ(f.strength, 0);
    EXPECT_EQ(f.position, 1.5);

    kt::TestImage down = profile({100, 100, 100, 100, 100, 100, 100, 100, 100, 100,  //
                                  0,   0,   0,   0,   0,   0,   0,   0,   0,   0},
                                 as_view);
    f = find(down, 0, 1, 0);  // threshold 0 looks for values below 0
    EXPECT_EQ(f.strength, -200);
    EXPECT_EQ(f.position, 9.5);
    f = find(down, 19, 2, kStrongest);  // any direction but 1 is backward
    EXPECT_EQ(f.strength, 200);
    EXPECT_EQ(f.position, 9.5);
  }
  EXPECT_NO_REPORT();
}

TEST_F(EdgeFind, PeakClimbToleratesOneSample) {
  // g = 0 10 50 70 70 80 80 80 70 ...: from 50 the climb passes the repeated
  // 70 and stops after the two 80s that follow the peak at 5.
  kt::TestImage a = profile({0, 0, 0, 0, 10, 40, 40, 80, 80, 120, 120, 150, 150, 150, 150, 150});
  Found f = find(a, 0, 1, 20);
  EXPECT_EQ(f.strength, 80);
  EXPECT_DOUBLE_EQ(f.position, 6.5 + 10.0 / 80);
  // g = 0 10 60 130 130 80 90 130 140 ...: two samples in a row that are not
  // larger end the climb at 3 although 140 follows; strongest mode finds it.
  kt::TestImage b = profile({0, 0, 0, 0, 10, 50, 90, 100, 120, 160, 190, 230, 230, 230, 230, 230});
  f = find(b, 0, 1, 20);
  EXPECT_EQ(f.strength, 130);
  EXPECT_DOUBLE_EQ(f.position, 4.5 + 70.0 / 130);
  f = find(b, 0, 1, kStrongest);
  EXPECT_EQ(f.strength, 140);
  EXPECT_DOUBLE_EQ(f.position, 9.5 - 20.0 / 140);
  // Starting past the first edge finds the second.
  f = find(b, 6, 1, 20);
  EXPECT_EQ(f.strength, 140);
}

TEST_F(EdgeFind, SubPixelRuleDividesByThePeak) {
  // A half-bright pixel at 10: g(7..10) = 50 150 150 50, peak at 8 (the
  // first of the tie), so 9.5 + (150 - 50) / 150.
  std::vector<double> v = step_profile(20, 11, 100);
  v[10] = 50;
  kt::TestImage p = profile(v);
  Found f = find(p, 0, 1, 20);
  EXPECT_EQ(f.strength, 150);
  EXPECT_DOUBLE_EQ(f.position, 9.5 + 100.0 / 150);
  // Backward from the end: gb(12) = -150 is met first, gb(11) = -150 does not
  // beat it; 10.5 + (gb(13) - gb(11)) / gb(12) = 10.5 + (-50 + 150) / -150.
  f = find(p, -1, 0, -20);
  EXPECT_EQ(f.strength, -150);
  EXPECT_DOUBLE_EQ(f.position, 10.5 - 100.0 / 150);
}

TEST_F(EdgeFind, FixedPositionsAtTheEnds) {
  // Peak at k = 0 and at k = dx - 4 (forward): k + 1.5 without neighbours.
  kt::TestImage first = profile({0, 0, 100, 100, 100, 100, 100, 100, 100, 100});
  Found f = find(first, 0, 1, 50);
  EXPECT_EQ(f.strength, 200);
  EXPECT_EQ(f.position, 1.5);
  kt::TestImage last = profile(step_profile(10, 8, 100));
  f = find(last, 0, 1, 50);
  EXPECT_EQ(f.strength, 200);
  EXPECT_EQ(f.position, 7.5);
  f = find(last, 0, 1, kStrongest);
  EXPECT_EQ(f.position, 7.5);
  // Backward peaks at k = 3 and at k = start: k - 1.5.
  f = find(first, -1, 0, -50);
  EXPECT_EQ(f.strength, -200);
  EXPECT_EQ(f.position, 1.5);
  f = find(last, 9, 0, -50);  // gb(9) = -200 at the start itself
  EXPECT_EQ(f.strength, -200);
  EXPECT_EQ(f.position, 7.5);

  kt::TestImage p = profile(step_profile(20, 10, 100));
  // First-edge forward: dx - start < 5, or start >= dx - 3.
  EXPECT_EQ(find(p, 16, 1, 50).position, 1.5);
  EXPECT_EQ(find(p, 25, 1, 50).position, 1.5);
  // Backward: start < 3.
  EXPECT_EQ(find(p, 2, 0, -50).position, -1.5);
  EXPECT_EQ(find(p, -7, 0, kStrongest).position, -1.5);
  // Strongest forward: fewer than 4 pixels from start, or no positive value.
  EXPECT_EQ(find(p, 17, 1, kStrongest).position, 1.5);
  kt::TestImage flat = profile(std::vector<double>(12, 40.0));
  Found none = find(flat, 0, 1, kStrongest);
  EXPECT_EQ(none.strength, 0);
  EXPECT_EQ(none.position, 0.0);
  EXPECT_EQ(find(flat, -1, 0, kStrongest).position, -1.5);
  EXPECT_NO_REPORT();
}

TEST_F(EdgeFind, StrongestModeTies) {
  // Two equal steps of 200: forward keeps the leftmost, backward the rightmost.
  std::vector<double> v = {0,   0,   0,   0,   0,   0,   100, 100, 100, 100,  //
                           100, 100, 200, 200, 200, 200, 200, 200};
  kt::TestImage p = profile(v);
  Found f = find(p, 0, 1, kStrongest);
  EXPECT_EQ(f.strength, 200);
  EXPECT_EQ(f.position, 5.5);
  // Backward the same steps go bright to dark; the mirrored profile gives them
  // positive values.
  std::vector<double> m(v.rbegin(), v.rend());
  kt::TestImage q = profile(m);
  f = find(q, -1, 0, kStrongest);
  EXPECT_EQ(f.strength, 200);
  EXPECT_EQ(f.position, 11.5);
}

TEST_F(EdgeFind, ProcessorSwitchStopsTheForwardStrongestSearch) {
  kt::TestImage p = profile(step_profile(20, 10, 100));
  kel_set_use_mmx(1);
  Found fwd = find(p, 0, 1, kStrongest);
  Found first = find(p, 0, 1, 50);
  Found back = find(p, -1, 0, -50);
  Found short_profile = find(p, 17, 1, kStrongest);
  bool switched = kel_use_mmx() == 1;
  kel_set_use_mmx(0);
  if (switched) {
    EXPECT_EQ(fwd.strength, 0);
    EXPECT_EQ(fwd.position, 0.0);
  } else {
    EXPECT_EQ(fwd.strength, 200);
  }
  // The other modes compute either way.
  EXPECT_EQ(first.strength, 200);
  EXPECT_EQ(back.strength, -200);
  EXPECT_EQ(short_profile.position, 1.5);
}

TEST_F(EdgeFind, BlurredStepAtFractionalPositions) {
  // A step from 20 to 180 blurred by a Gaussian of sigma 1 pixel, centred at
  // e (pixel i holds 20 + 160 * Phi((i - e) / sigma), rounded). Dividing by
  // the peak instead of a curvature leaves an error of at most 0.043 pixel
  // over e = 10.0 .. 11.0, zero at the half pixel and antisymmetric about it;
  // the parabola of the counting tool stays within 0.03.
  double worst = 0, worst_parabola = 0;
  for (int s = 0; s <= 10; ++s) {
    double e = 10.0 + 0.1 * s;
    std::vector<double> v(24);
    for (int i = 0; i < 24; ++i)
      v[i] = std::floor(20 + 80 * (1 + std::erf((i - e) / std::sqrt(2.0))) + 0.5);
    kt::TestImage p = profile(v);
    Found first = find(p, 0, 1, 30), strongest = find(p, 0, 1, kStrongest);
    EXPECT_EQ(first.position, strongest.position) << e;
    worst = std::max(worst, std::fabs(first.position - e));
    // The same edge walked backward from the end of the mirrored profile.
    std::vector<double> m(v.rbegin(), v.rend());
    kt::TestImage q = profile(m);
    Found back = find(q, -1, 0, kStrongest);
    EXPECT_NEAR(back.position, 23 - first.position, 1e-12) << e;

    unsigned nr = 0, nf = 0;
    float rising[4], falling[4];
    ASSERT_EQ(kel_edge_count_array_float(p, 0, 30, 4, 4, &nr, &nf, rising, falling), 0);
    ASSERT_EQ(nr, 1u);
    worst_parabola = std::max(worst_parabola, std::fabs(rising[0] - e));
  }
  EXPECT_LT(worst, 0.044);
  EXPECT_GT(worst, 0.04);  // the bias is real: it is the rule's, not noise
  EXPECT_LT(worst_parabola, 0.03);
}

TEST_F(EdgeFind, FailureReports) {
  kt::TestImage p = profile(step_profile(20, 10, 100));
  double pos = 5;
  EXPECT_EQ(kel_edge_find_array(nullptr, 0, 1, 50, &pos), 0);
  EXPECT_REPORT("kel_edge_find_array", 1);
  EXPECT_EQ(pos, 0.0);
  EXPECT_EQ(kel_edge_find_array(p, 0, 1, 50, nullptr), 0);
  EXPECT_REPORT("kel_edge_find_array", 10);

  kt::TestImage word = kt::image(WORD, 20, 1, step_profile(20, 10, 100));
  pos = 5;
  kt::clear_report();
  EXPECT_EQ(kel_edge_find_array(word, 0, 1, 50, &pos), 0);
  EXPECT_REPORT("kel_edge_find_array", 13);
  EXPECT_EQ(pos, 0.0);

  // Searches that would begin outside the profile.
  const std::vector<std::tuple<int, int, int>> outside = {
      {-2, 1, 50}, {-2, 1, kStrongest}, {20, 0, -50}, {40, 0, kStrongest}};
  for (auto [start, direction, threshold] : outside) {
    kt::clear_report();
    pos = 5;
    EXPECT_EQ(kel_edge_find_array(p, start, direction, threshold, &pos), 0);
    EXPECT_REPORT("kel_edge_find_array", 10);
    EXPECT_STREQ(im_last_message(), "start out of range");
    EXPECT_EQ(pos, 0.0);
  }

  // A profile with no row at all.
  kt::TestImage empty = kt::image(BYTE, 20, 0);
  kt::clear_report();
  EXPECT_EQ(kel_edge_find_array(empty, 0, 1, 50, &pos), 0);
  EXPECT_REPORT("kel_edge_find_array", 17);
}

}  // namespace
