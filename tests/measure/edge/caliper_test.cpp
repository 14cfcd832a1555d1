// Calipers and edge lists along a profile: inner and outer widths, the
// three-state walk of kel_edge_count_array, the marks and sub-pixel rules of
// kel_edge_count_array_float, and their failure reports.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

constexpr int kStrongest = 1000;

class Caliper : public ::testing::Test {
 protected:
  void SetUp() override {
    kel_set_use_mmx(0);
    kt::clear_report();
  }
};

// A 40-pixel dark profile (20) with a bright bar (200) over pixels lo .. hi.
std::vector<double> bar(int lo, int hi, int n = 40) {
  std::vector<double> v(n, 20.0);
  for (int i = lo; i <= hi; ++i)
    v[i] = 200;
  return v;
}

struct Widths {
  int strength;
  double width, p1, p2;
};

Widths inner(const Image *p, int threshold, int start) {
  Widths w{0, -1, -1, -1};
  w.strength = kel_caliper_id_array(p, threshold, start, &w.width, &w.p1, &w.p2);
  return w;
}

Widths outer(const Image *p, int threshold) {
  Widths w{0, -1, -1, -1};
  w.strength = kel_caliper_od_array(p, threshold, &w.width, &w.p1, &w.p2);
  return w;
}

TEST_F(Caliper, InnerAndOuterWidthOfABar) {
  for (bool as_view : {false, true}) {
    kt::TestImage p =
        as_view ? kt::view(BYTE, 40, 1, bar(15, 24)) : kt::image(BYTE, 40, 1, bar(15, 24));
    // From the centre (start -2 = 20) both ways the bar ends bright to dark:
    // peaks of -360 at 23 (forward) and 16 (backward).
    Widths w = inner(p, -50, -2);
    EXPECT_EQ(w.strength, -360);
    EXPECT_EQ(w.p1, 24.5);
    EXPECT_EQ(w.p2, 14.5);
    EXPECT_EQ(w.width, 10.0);
    // From the ends inwards the bar starts dark to bright.
    w = outer(p, 50);
    EXPECT_EQ(w.strength, 360);
    EXPECT_EQ(w.p1, 14.5);
    EXPECT_EQ(w.p2, 24.5);
    EXPECT_EQ(w.width, 10.0);
    w = outer(p, kStrongest);
    EXPECT_EQ(w.strength, 360);
    EXPECT_EQ(w.width, 10.0);
    // Inner strongest mode looks for dark to bright along each walk: from the
    // bar's centre there is none, so the forward search ends at 0.0 and the
    // backward one at -1.5.
    w = inner(p, kStrongest, 20);
    EXPECT_EQ(w.strength, 0);
    EXPECT_EQ(w.p1, 0.0);
    EXPECT_EQ(w.p2, -1.5);
    EXPECT_EQ(w.width, 1.5);
  }
  EXPECT_NO_REPORT();
}

TEST_F(Caliper, SmallerStrengthAndStarts) {
  // A weaker right edge (200 down to 110): the result is the smaller signed
  // strength, i.e. the stronger of two negative edges here.
  std::vector<double> v = bar(15, 24);
  for (int i = 25; i < 40; ++i)
    v[i] = 110;
  kt::TestImage p = kt::image(BYTE, 40, 1, v);
  Widths w = inner(p, -50, 20);
  EXPECT_EQ(w.strength, -360);
  EXPECT_EQ(w.width, 10.0);
  w = outer(p, 50);
  EXPECT_EQ(w.strength, 180);  // the right edge seen from the end is 2 x 90
  // Start -1 is the last pixel: nothing forward (1.5); walking back, the
  // bar's right end is dark to bright, so a threshold of 50 finds it.
  w = inner(p, 50, -1);
  EXPECT_EQ(w.p1, 1.5);
  EXPECT_EQ(w.p2, 24.5);
  EXPECT_EQ(w.width, 23.0);
  EXPECT_EQ(w.strength, 0);
  EXPECT_NO_REPORT();
}

TEST_F(Caliper, FailureReports) {
  kt::TestImage p = kt::image(BYTE, 40, 1, bar(15, 24));
  double width = 7, p1 = 7, p2 = 7;
  EXPECT_EQ(kel_caliper_id_array(nullptr, 50, -2, &width, &p1, &p2), 0);
  EXPECT_REPORT("kel_caliper_id_array", 1);
  EXPECT_EQ(width, 0.0);
  EXPECT_EQ(kel_caliper_od_array(p, 50, &width, nullptr, &p2), 0);
  EXPECT_REPORT("kel_caliper_od_array", 10);

  // The searches report a wrong type under the single-edge function, once
  // each, and leave zeros.
  kt::TestImage word = kt::image(WORD, 40, 1, bar(15, 24));
  int reports = 0;
  im_report_handler old = im_set_report_handler(
      [](int, const char *fn, int code, const char *, void *user) {
        if (std::string(fn) == "kel_edge_find_array" && code == 13) ++*static_cast<int *>(user);
      },
      &reports);
  width = p1 = p2 = 7;
  EXPECT_EQ(kel_caliper_od_array(word, 50, &width, &p1, &p2), 0);
  EXPECT_EQ(kel_caliper_id_array(word, 50, -2, &width, &p1, &p2), 0);
  im_set_report_handler(old, nullptr);
  EXPECT_EQ(reports, 4);
  EXPECT_REPORT("kel_edge_find_array", 13);
  EXPECT_EQ(width, 0.0);
  EXPECT_EQ(p1, 0.0);
  EXPECT_EQ(p2, 0.0);
}

// ---- edge lists ---------------------------------------------------------

struct Counted {
  int status;
  unsigned nr, nf;
  std::vector<unsigned> rising, falling;
};

Counted count(const Image *p, int step, int threshold, int max_r = 8, int max_f = 8) {
  Counted c{0, 99, 99, std::vector<unsigned>(8, 0), std::vector<unsigned>(8, 0)};
  c.status = kel_edge_count_array(p, step, threshold, max_r, max_f, &c.nr, &c.nf, c.rising.data(),
                                  c.falling.data());
  c.rising.resize(c.nr < 8 ? c.nr : 8);
  c.falling.resize(c.nf < 8 ? c.nf : 8);
  return c;
}

struct CountedF {
  int status;
  unsigned nr, nf;
  std::vector<float> rising, falling;
};

CountedF count_f(const Image *p, int step, int threshold, int max_r = 8, int max_f = 8) {
  CountedF c{0, 99, 99, std::vector<float>(8, 0), std::vector<float>(8, 0)};
  c.status = kel_edge_count_array_float(p, step, threshold, max_r, max_f, &c.nr, &c.nf,
                                        c.rising.data(), c.falling.data());
  c.rising.resize(c.nr < 8 ? c.nr : 8);
  c.falling.resize(c.nf < 8 ? c.nf : 8);
  return c;
}

using U = std::vector<unsigned>;
using F = std::vector<float>;

TEST_F(Caliper, EdgeCountWalk) {
  // Two bars: rising peaks at 3 and 23, falling peaks at 13 and 33; each
  // edge is stored at the index after its peak.
  std::vector<double> v = bar(5, 14, 46);
  for (int i = 25; i <= 34; ++i)
    v[i] = 200;
  kt::TestImage p = kt::view(BYTE, 46, 1, v);
  Counted c = count(p, 0, 50);
  EXPECT_EQ(c.status, 0);
  EXPECT_EQ(c.rising, (U{4, 24}));
  EXPECT_EQ(c.falling, (U{14, 34}));
  // max_rising 1 keeps the first; the second rising edge is walked but not
  // stored.
  c = count(p, 0, 50, 1, 0);
  EXPECT_EQ(c.rising, (U{4}));
  EXPECT_EQ(c.nf, 0u);
  // A step of 10 after each rising edge (stored at 4 and 24) jumps past the
  // falling edge that follows it.
  c = count(p, 10, 50);
  EXPECT_EQ(c.rising, (U{4, 24}));
  EXPECT_EQ(c.nf, 0u);
  // A step of 9 lands on the falling edge's last value, which enters the edge
  // anew, so it ends one index later (15); skipping after it then passes the
  // second rising edge.
  c = count(p, 9, 50);
  EXPECT_EQ(c.rising, (U{4}));
  EXPECT_EQ(c.falling, (U{15, 34}));
  // A negative step counts as 0.
  c = count(p, -3, 50);
  EXPECT_EQ(c.rising, (U{4, 24}));
  // Above every value: nothing.
  c = count(p, 0, 360);
  EXPECT_EQ(c.nr, 0u);
  EXPECT_EQ(c.nf, 0u);
  // An edge still rising at the end of the profile is not stored.
  kt::TestImage end = kt::image(BYTE, 10, 1, {0, 0, 0, 0, 0, 0, 0, 0, 100, 100});
  c = count(end, 0, 50);
  EXPECT_EQ(c.nr, 0u);
  // Under 5 pixels there are no edges.
  kt::TestImage tiny = kt::image(BYTE, 4, 1, {0, 0, 200, 200});
  c = count(tiny, 0, 10);
  EXPECT_EQ(c.nr, 0u);
  EXPECT_EQ(c.nf, 0u);
  EXPECT_NO_REPORT();
}

TEST_F(Caliper, EdgeCountFloatPositions) {
  // A ramp whose step values are 50 150 200 200 150 50 from index 3: a
  // two-sample plateau at 5 and 6, stored at 5 + 1.5 + 0.5.
  kt::TestImage ramp =
      kt::image(BYTE, 16, 1, {0, 0, 0, 0, 0, 0, 50, 100, 150, 200, 200, 200, 200, 200, 200, 200});
  CountedF c = count_f(ramp, 0, 30);
  EXPECT_EQ(c.status, 0);
  EXPECT_EQ(c.rising, (F{7.0f}));
  EXPECT_EQ(c.nf, 0u);

  // The bar: single peaks, parabola vertex exactly at the centre.
  kt::TestImage p = kt::image(BYTE, 40, 1, bar(15, 24));
  c = count_f(p, 0, 50);
  EXPECT_EQ(c.rising, (F{14.5f}));
  EXPECT_EQ(c.falling, (F{24.5f}));
  // An uneven peak: 50 at pixel 14 gives g(12..14) = 210 330 150, so the
  // vertex lies at 14.5 + (210 - 150) / (2 (210 - 660 + 150)), in floats.
  std::vector<double> v = bar(15, 24);
  v[14] = 50;
  kt::TestImage q = kt::image(BYTE, 40, 1, v);
  c = count_f(q, 0, 50);
  ASSERT_EQ(c.nr, 1u);
  EXPECT_EQ(c.rising[0], 14.5f + float(210 - 150) / (2.0f * float(210 - 660 + 150)));
  EXPECT_NEAR(c.rising[0], 14.4, 1e-6);

  // A rising stretch that runs to the end is marked (at the last index:
  // 6 + 1.5), a falling one is not.
  kt::TestImage up = kt::image(BYTE, 10, 1, {0, 0, 0, 0, 0, 0, 0, 0, 100, 100});
  kt::TestImage down = kt::image(BYTE, 10, 1, {100, 100, 100, 100, 100, 100, 100, 100, 0, 0});
  c = count_f(up, 0, 50);
  EXPECT_EQ(c.rising, (F{7.5f}));
  c = count_f(down, 0, 50);
  EXPECT_EQ(c.nf, 0u);
  EXPECT_EQ(c.nr, 0u);
  // A single extreme at index 0 stays at 1.5.
  kt::TestImage first = kt::image(BYTE, 10, 1, {100, 100, 0, 0, 0, 0, 0, 0, 0, 0});
  c = count_f(first, 0, 50);
  EXPECT_EQ(c.falling, (F{1.5f}));

  // Two bars: limits, step, and threshold below 1 counting as 1.
  std::vector<double> two = bar(5, 14, 46);
  for (int i = 25; i <= 34; ++i)
    two[i] = 200;
  kt::TestImage t = kt::image(BYTE, 46, 1, two);
  c = count_f(t, 0, 50);
  EXPECT_EQ(c.rising, (F{4.5f, 24.5f}));
  EXPECT_EQ(c.falling, (F{14.5f, 34.5f}));
  c = count_f(t, 0, 50, 1, 1);
  EXPECT_EQ(c.rising, (F{4.5f}));
  EXPECT_EQ(c.falling, (F{14.5f}));
  c = count_f(t, 10, 50);  // each rising mark skips the falling mark after it
  EXPECT_EQ(c.rising, (F{4.5f, 24.5f}));
  EXPECT_EQ(c.nf, 0u);
  c = count_f(t, 9, 50);
  EXPECT_EQ(c.falling, (F{14.5f, 34.5f}));
  c = count_f(t, -5, -5);
  EXPECT_EQ(c.nr, 2u);
  EXPECT_EQ(c.nf, 2u);
  // Four pixels: nothing.
  kt::TestImage tiny = kt::image(BYTE, 4, 1, {0, 0, 200, 200});
  c = count_f(tiny, 0, 10);
  EXPECT_EQ(c.nr, 0u);
  EXPECT_NO_REPORT();
}

TEST_F(Caliper, EdgeCountFailureReports) {
  kt::TestImage p = kt::image(BYTE, 40, 1, bar(15, 24));
  kt::TestImage word = kt::image(WORD, 40, 1, bar(15, 24));
  unsigned nr = 9, nf = 9, r[4];
  float fr[4];
  for (bool as_float : {false, true}) {
    auto call = [&](const Image *img, unsigned *a, unsigned *b, int max_r) {
      return as_float ? kel_edge_count_array_float(img, 0, 50, max_r, 4, a, b, nullptr, fr)
                      : kel_edge_count_array(img, 0, 50, max_r, 4, a, b, nullptr, r);
    };
    kt::clear_report();
    EXPECT_EQ(call(nullptr, &nr, &nf, 0), 1);
    EXPECT_REPORT("kel_edge_count_array", 1);
    EXPECT_EQ(nr, 0u);
    EXPECT_EQ(call(p, &nr, nullptr, 0), 10);
    EXPECT_REPORT("kel_edge_count_array", 10);
    EXPECT_EQ(call(p, &nr, &nf, 2), 10);  // room asked for, no array
    nr = nf = 9;
    EXPECT_EQ(call(word, &nr, &nf, 0), 13);
    EXPECT_REPORT("kel_edge_count_array", 13);
    EXPECT_EQ(nr, 0u);
    EXPECT_EQ(nf, 0u);
    // No rising array is needed when none may be stored.
    kt::clear_report();
    EXPECT_EQ(call(p, &nr, &nf, 0), 0);
    EXPECT_EQ(nr, 0u);
    EXPECT_EQ(nf, 1u);
    EXPECT_NO_REPORT();
  }
}

}  // namespace
