// Table mapping and the threshold family: exact tables on every level, odd
// widths and views against a plain reference, the processor-switch branch of
// kel_threshold, kel_binary on each type, and every failure report.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <random>
#include <vector>

#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

class Threshold : public ::testing::Test {
 protected:
  void SetUp() override {
    kel_set_use_mmx(0);
    kt::clear_report();
  }
  void TearDown() override { kel_set_use_mmx(0); }
};

// A BYTE image holding every level 0..255 once (16 by 16), as a view when
// asked, so a whole table can be read back from one call.
kt::TestImage all_levels(bool as_view) {
  std::vector<double> v(256);
  for (int i = 0; i < 256; ++i)
    v[i] = i;
  return as_view ? kt::view(BYTE, 16, 16, v) : kt::image(BYTE, 16, 16, v);
}

// The table an operator applied, read back from an all-levels image.
std::vector<int> applied(const std::function<int(Image *)> &op, bool as_view = false) {
  kt::TestImage img = all_levels(as_view);
  EXPECT_EQ(op(img), 0);
  EXPECT_TRUE(kt::margin_intact(img));
  std::vector<int> out;
  for (double p : kt::pixels(img))
    out.push_back(static_cast<int>(p));
  return out;
}

std::vector<int> table_of(const std::function<int(int)> &f) {
  std::vector<int> t(256);
  for (int v = 0; v < 256; ++v)
    t[v] = f(v);
  return t;
}

TEST_F(Threshold, LutMatchesPlainLookupOnOddWidthsAndViews) {
  std::mt19937 gen(7);
  unsigned char random_table[256], step_table[256];
  for (int v = 0; v < 256; ++v) {
    random_table[v] = static_cast<unsigned char>(gen());
    step_table[v] = v < 77 ? 9 : 201;  // two-level tables take their own path
  }
  for (const unsigned char *table : {random_table, step_table})
    for (int dx : {1, 7, 8, 15, 16, 17, 31, 33, 67}) {
      for (bool as_view : {false, true}) {
        kt::TestImage img = kt::random_image(BYTE, dx, 3, 100 + dx, as_view);
        std::vector<double> want = kt::pixels(img);
        for (double &p : want)
          p = table[static_cast<int>(p)];
        ASSERT_EQ(kel_lut(img, table), 0);
        EXPECT_EQ(kt::pixels(img), want) << "dx " << dx << (as_view ? " view" : "");
        EXPECT_TRUE(kt::margin_intact(img));
      }
    }
  std::vector<int> want(random_table, random_table + 256);
  EXPECT_EQ(applied([&](Image *i) { return kel_lut(i, random_table); }, true), want);
  // Constant table: every pixel the one value.
  unsigned char flat[256];
  std::fill(flat, flat + 256, 42);
  EXPECT_EQ(applied([&](Image *i) { return kel_lut(i, flat); }), std::vector<int>(256, 42));
}

TEST_F(Threshold, ThresholdTables) {
  EXPECT_EQ(applied([](Image *i) { return kel_threshold(i, 100, 3, 250); }),
            table_of([](int v) { return v < 100 ? 3 : 250; }));
  EXPECT_EQ(applied([](Image *i) { return kel_threshold(i, 0, 10, 20); }),
            std::vector<int>(256, 20));
  EXPECT_EQ(applied([](Image *i) { return kel_threshold(i, 255, 0, 255); }, true),
            table_of([](int v) { return v < 255 ? 0 : 255; }));
  EXPECT_EQ(applied([](Image *i) { return kel_threshold(i, 1, 255, 0); }),
            table_of([](int v) { return v < 1 ? 255 : 0; }));

  EXPECT_EQ(applied([](Image *i) { return kel_threshold_up(i, 200, 7); }),
            table_of([](int v) { return v < 200 ? v : 7; }));
  EXPECT_EQ(applied([](Image *i) { return kel_threshold_up(i, 0, 9); }, true),
            std::vector<int>(256, 9));
  EXPECT_EQ(applied([](Image *i) { return kel_threshold_down(i, 50, 255); }),
            table_of([](int v) { return v < 50 ? 255 : v; }));
  EXPECT_EQ(applied([](Image *i) { return kel_threshold_down(i, 0, 1); }, true),
            table_of([](int v) { return v; }));

  EXPECT_EQ(applied([](Image *i) { return kel_threshold_band(i, 10, 20, 1, 2, 3); }),
            table_of([](int v) { return v <= 10  ? 1
                                        : v < 20 ? 2
                                                 : 3; }));
  // Adjacent bounds leave the inside class empty.
  EXPECT_EQ(applied([](Image *i) { return kel_threshold_band(i, 50, 51, 0, 128, 255); }, true),
            table_of([](int v) { return v <= 50 ? 0 : 255; }));
  EXPECT_EQ(applied([](Image *i) { return kel_threshold_band(i, 0, 255, 4, 5, 6); }),
            table_of([](int v) { return v == 0    ? 4
                                        : v < 255 ? 5
                                                  : 6; }));
  // Unusable bounds: everything 0, level 255 included.
  EXPECT_EQ(applied([](Image *i) { return kel_threshold_band(i, 60, 60, 9, 9, 9); }),
            std::vector<int>(256, 0));
  EXPECT_EQ(applied([](Image *i) { return kel_threshold_band(i, 200, 100, 9, 9, 9); }),
            std::vector<int>(256, 0));
}

TEST_F(Threshold, ProcessorSwitchBranchOfThreshold) {
  if (!kel_cpu_has_mmx()) GTEST_SKIP() << "processor without MMX";
  kel_set_use_mmx(1);
  std::vector<int> identity = table_of([](int v) { return v; });
  // Black-and-white pairs take the branch: nothing computed.
  EXPECT_EQ(applied([](Image *i) { return kel_threshold(i, 100, 0, 255); }), identity);
  EXPECT_EQ(applied([](Image *i) { return kel_threshold(i, 100, 255, 0); }, true), identity);
  // Any other pair computes, and so does every other member.
  EXPECT_EQ(applied([](Image *i) { return kel_threshold(i, 100, 0, 254); }),
            table_of([](int v) { return v < 100 ? 0 : 254; }));
  EXPECT_EQ(applied([](Image *i) { return kel_threshold(i, 100, 1, 255); }),
            table_of([](int v) { return v < 100 ? 1 : 255; }));
  EXPECT_EQ(applied([](Image *i) { return kel_dynthreshold(i, 56); }),
            table_of([](int v) { return v < 200 ? 0 : 255; }));
  // The type is still checked while the switch is on.
  kt::TestImage w = kt::image(WORD, 4, 4);
  EXPECT_EQ(kel_threshold(w, 100, 0, 255), 13);
  EXPECT_REPORT("kel_threshold", 13);
  kel_set_use_mmx(0);
  EXPECT_EQ(applied([](Image *i) { return kel_threshold(i, 100, 0, 255); }),
            table_of([](int v) { return v < 100 ? 0 : 255; }));
}

TEST_F(Threshold, DynamicThresholdKeepsTheBrightestPixels) {
  // One pixel per level: the 56 brightest are 200..255.
  EXPECT_EQ(applied([](Image *i) { return kel_dynthreshold(i, 56); }),
            table_of([](int v) { return v < 200 ? 0 : 255; }));
  // More pixels than the image holds: t = 0, everything 255.
  EXPECT_EQ(applied([](Image *i) { return kel_dynthreshold(i, 1000); }, true),
            std::vector<int>(256, 255));
  // 255 pixels are reached at level 1; 256 never (level 0 is not counted),
  // which gives t = 0.
  EXPECT_EQ(applied([](Image *i) { return kel_dynthreshold(i, 255); }),
            table_of([](int v) { return v < 1 ? 0 : 255; }));
  EXPECT_EQ(applied([](Image *i) { return kel_dynthreshold(i, 256); }), std::vector<int>(256, 255));
  // Count 0 is reached at 255 at once.
  EXPECT_EQ(applied([](Image *i) { return kel_dynthreshold(i, 0); }),
            table_of([](int v) { return v < 255 ? 0 : 255; }));
  // Ties at the threshold all become 255.
  kt::TestImage img = kt::image(BYTE, 5, 2, {10, 90, 90, 90, 30, 200, 0, 90, 5, 6});
  ASSERT_EQ(kel_dynthreshold(img, 2), 0);
  EXPECT_EQ(kt::pixels(img), (std::vector<double>{0, 255, 255, 255, 0, 255, 0, 255, 0, 0}));
}

TEST_F(Threshold, BinaryOnEachType) {
  kt::TestImage b = kt::view(BYTE, 5, 1, {0, 1, 100, 101, 255});
  ASSERT_EQ(kel_binary(b, 100.9f), 0);  // truncated to 100
  EXPECT_EQ(kt::pixels(b), (std::vector<double>{0, 0, 0, 1, 1}));
  EXPECT_TRUE(kt::margin_intact(b));
  b = kt::image(BYTE, 5, 1, {0, 1, 100, 101, 255});
  ASSERT_EQ(kel_binary(b, 300.0f), 0);  // clamped to 255
  EXPECT_EQ(kt::pixels(b), std::vector<double>(5, 0));
  b = kt::image(BYTE, 5, 1, {0, 1, 100, 101, 255});
  ASSERT_EQ(kel_binary(b, -5.0f), 0);  // clamped to 0
  EXPECT_EQ(kt::pixels(b), (std::vector<double>{0, 1, 1, 1, 1}));
  b = kt::image(BYTE, 5, 1, {0, 1, 100, 101, 255});
  ASSERT_EQ(kel_binary(b, std::numeric_limits<float>::quiet_NaN()), 0);
  EXPECT_EQ(kt::pixels(b), std::vector<double>(5, 0));

  kt::TestImage w = kt::view(WORD, 5, 1, {0, 1000, 1001, 65534, 65535});
  ASSERT_EQ(kel_binary(w, 1000.99f), 0);
  EXPECT_EQ(kt::pixels(w), (std::vector<double>{0, 0, 1, 1, 1}));
  EXPECT_TRUE(kt::margin_intact(w));
  w = kt::image(WORD, 5, 1, {0, 1000, 1001, 65534, 65535});
  ASSERT_EQ(kel_binary(w, 70000.0f), 0);
  EXPECT_EQ(kt::pixels(w), std::vector<double>(5, 0));
  w = kt::image(WORD, 5, 1, {0, 1000, 1001, 65534, 65535});
  ASSERT_EQ(kel_binary(w, 65534.5f), 0);
  EXPECT_EQ(kt::pixels(w), (std::vector<double>{0, 0, 0, 0, 1}));

  const float nan = std::numeric_limits<float>::quiet_NaN();
  kt::TestImage f = kt::view(FLOAT, 6, 1, {-1, 0.5, 0.50001, 7, nan, -0.0});
  ASSERT_EQ(kel_binary(f, 0.5f), 0);  // no truncation for FLOAT
  EXPECT_EQ(kt::pixels(f), (std::vector<double>{0, 0, 1, 1, 0, 0}));
  EXPECT_TRUE(kt::margin_intact(f));
  f = kt::image(FLOAT, 3, 1, {-3, -1.5, 0});
  ASSERT_EQ(kel_binary(f, -2.0f), 0);
  EXPECT_EQ(kt::pixels(f), (std::vector<double>{0, 1, 1}));
}

TEST_F(Threshold, FailuresAreReportedUnderTheExportedName) {
  kt::TestImage w = kt::image(WORD, 3, 3, {1, 2, 3});
  kt::TestImage empty = kt::image(BYTE, 0, 4);
  kt::TestImage b = kt::image(BYTE, 2, 2, {1, 2, 3, 4});
  unsigned char table[256] = {};
  struct Case {
    const char *name;
    std::function<int(Image *)> op;
  };
  const std::vector<Case> cases = {
      {"kel_lut", [&](Image *i) { return kel_lut(i, table); }},
      {"kel_threshold", [](Image *i) { return kel_threshold(i, 9, 1, 2); }},
      {"kel_trhesold_up", [](Image *i) { return kel_threshold_up(i, 9, 1); }},
      {"kel_threshold_down", [](Image *i) { return kel_threshold_down(i, 9, 1); }},
      {"kel_threshold_band", [](Image *i) { return kel_threshold_band(i, 1, 9, 1, 2, 3); }},
      {"kel_dynthreshold", [](Image *i) { return kel_dynthreshold(i, 9); }},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    kt::clear_report();
    EXPECT_EQ(c.op(nullptr), 1);
    EXPECT_REPORT(c.name, 1);
    kt::clear_report();
    EXPECT_EQ(c.op(w), 13);
    EXPECT_REPORT(c.name, 13);
    EXPECT_EQ(kt::pixels(w), (std::vector<double>{1, 2, 3, 0, 0, 0, 0, 0, 0}));
    kt::clear_report();
    EXPECT_EQ(c.op(empty), 17);
    EXPECT_REPORT(c.name, 17);
  }
  kt::clear_report();
  EXPECT_EQ(kel_lut(b, nullptr), 10);
  EXPECT_REPORT("kel_lut", 10);
  EXPECT_EQ(kt::pixels(b), (std::vector<double>{1, 2, 3, 4}));

  kt::clear_report();
  EXPECT_EQ(kel_binary(nullptr, 1.0f), 1);
  EXPECT_REPORT("kel_binary", 1);
  Image odd = *b.get();  // a record with a pixel type no operator takes
  odd.type = 3;
  kt::clear_report();
  EXPECT_EQ(kel_binary(&odd, 1.0f), 6);
  EXPECT_REPORT("kel_binary", 6);
  EXPECT_EQ(kt::pixels(b), (std::vector<double>{1, 2, 3, 4}));
  kt::clear_report();
  EXPECT_EQ(kel_binary(empty, 1.0f), 17);
  EXPECT_REPORT("kel_binary", 17);
  // A 1 by 1 image is a valid input.
  kt::TestImage one = kt::image(BYTE, 1, 1, {50});
  kt::clear_report();
  EXPECT_EQ(kel_threshold(one, 50, 1, 2), 0);
  EXPECT_NO_REPORT();
  EXPECT_EQ(kt::get(one, 0, 0), 2);
}

}  // namespace
