// Lead analysis on rendered lead rows at several angles with one lead
// missing and one bent: every lead found within 0.05 px, exactly those two
// faults flagged; the processor branch; failures.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "kelkit.h"
#include "support/failure_table.hpp"
#include "support/test_images.hpp"

namespace {

constexpr int kLeads = 11, kMissing = 4, kBent = 7;
constexpr double kPitch = 12, kFirst = 15, kWidth = 6, kLength = 35, kBend = 3;

double lead_centre(int k, double v) {
  return kFirst + k * kPitch + (k == kBent ? kBend * v / kLength : 0);
}

// A row of bright leads on a dark background in the rectangle centred at
// (100, 100), 150 long and 50 wide, turned by `deg`; anti-aliased by 8 x 8
// sub-samples.
kt::TestImage lead_row(double deg) {
  kt::TestImage img = kt::view(BYTE, 200, 200);
  const double a = deg * std::numbers::pi / 180, ux = std::cos(a), uy = -std::sin(a);
  const double ox = 100 - ux * 75 + uy * 25, oy = 100 - uy * 75 - ux * 25;
  for (int y = 0; y < 200; ++y)
    for (int x = 0; x < 200; ++x) {
      int in = 0;
      for (int j = 0; j < 8; ++j)
        for (int i = 0; i < 8; ++i) {
          double px = x - 7.0 / 16 + i / 8.0 - ox, py = y - 7.0 / 16 + j / 8.0 - oy;
          double u = px * ux + py * uy, v = -px * uy + py * ux;
          if (v < 0 || v >= kLength) continue;
          for (int k = 0; k < kLeads; ++k)
            if (k != kMissing && std::fabs(u - lead_centre(k, v)) < kWidth / 2) ++in;
        }
      kt::set(img, x, y, std::floor(40 + 160 * in / 64.0 + 0.5));
    }
  return img;
}

TEST(Lead, FindsEveryLeadAndFlagsTheMissingAndTheBentOne) {
  kel_set_use_mmx(0);
  KelLeadParams *p = kel_lead_create_params(nullptr);
  KelLeadResults *r = kel_lead_create_results(32, nullptr);
  kel_lead_set_nominal(p, kLeads, kPitch, kWidth, kLength);
  for (double deg : {0.0, 17.0, 90.0, -33.0}) {
    kt::TestImage img = lead_row(deg);
    kel_lead_set_rect(p, 100, 100, 150, 50, deg);
    ASSERT_EQ(kel_lead_analyze(img, p, r), 0) << deg;
    ASSERT_EQ(kel_lead_get_count(r), kLeads - 1) << deg;
    EXPECT_EQ(kel_lead_get_flags(r), KEL_LEAD_OFFSET | KEL_LEAD_MISSING) << deg;
    EXPECT_EQ(kel_lead_get_missing_count(r), 1);
    EXPECT_NEAR(r->missing[0], lead_centre(kMissing, 0), 0.1);
    EXPECT_NEAR(kel_lead_get_pitch(r), kPitch, 0.02);
    for (int i = 0; i < kel_lead_get_count(r); ++i) {
      const KelLead *l = kel_lead_get_lead(r, i);
      const int k = i < kMissing ? i : i + 1;
      // The root band spans 15..35 % of the length: a bent lead's mean
      // centre there is bent by about a quarter of its bend (its slanted
      // edges make that centre less sharply defined).
      EXPECT_NEAR(l->root, lead_centre(k, 0.25 * kLength), k == kBent ? 0.15 : 0.05)
          << deg << " lead " << k;
      EXPECT_NEAR(l->width, kWidth, 0.1);
      EXPECT_NEAR(l->length, kLength, 0.3);
      EXPECT_EQ(l->flags, k == kBent ? KEL_LEAD_OFFSET : 0u) << deg << " lead " << k;
      if (k == kBent) EXPECT_NEAR(l->tip, lead_centre(k, 0.7 * kLength), 0.1);
    }
    EXPECT_NEAR(kel_lead_get_lead(r, 0)->gap, kPitch - kWidth, 0.1);
  }
  // The processor branch returns at once and leaves the results alone.
  if (kel_cpu_has_mmx()) {
    r->count = -7;
    kel_set_use_mmx(1);
    EXPECT_EQ(kel_lead_analyze(lead_row(0), p, r), 0);
    EXPECT_EQ(r->count, -7);
    kel_set_use_mmx(0);
  }
  kel_lead_delete_results(r);
  kel_lead_delete_params(p);
}

TEST(Lead, FailuresCarryCodeAndName) {
  kel_set_use_mmx(0);
  kt::TestImage img = kt::image(BYTE, 64, 64);
  KelLeadParams *p = kel_lead_create_params(nullptr);
  KelLeadResults *r = kel_lead_create_results(2, nullptr);
  KelLeadParams bad = *p;
  auto with = [&](auto change) {
    bad = *p;
    change(bad);
    return kel_lead_analyze(img, &bad, r);
  };
  kt::expect_failures({
      {"kel_lead_analyze", 1, [&] { return kel_lead_analyze(nullptr, p, r); }},
      {"kel_lead_analyze", 10, [&] { return kel_lead_analyze(img, nullptr, r); }},
      {"kel_lead_analyze", 10, [&] { return kel_lead_analyze(img, p, nullptr); }},
      {"kel_lead_analyze", 10, [&] { return with([](KelLeadParams &b) { b.length = 4; }); }},
      {"kel_lead_analyze", 10, [&] { return with([](KelLeadParams &b) { b.angle = NAN; }); }},
      {"kel_lead_analyze", 10, [&] { return with([](KelLeadParams &b) { b.polarity = 2; }); }},
      {"kel_lead_analyze", 10,
       [&] { return with([](KelLeadParams &b) { b.edge_threshold = 0; }); }},
      {"kel_lead_analyze", 10,
       [&] { return with([](KelLeadParams &b) { b.offset_tolerance = -1; }); }},
      {"kel_lead_create_results", 10,
       [&] {
         unsigned s;
         kel_lead_create_results(0, &s);
         return int(s);
       }},
  });
  // More leads than the record holds: the first ones kept, code 17.
  kel_lead_set_rect(p, 100, 100, 150, 50, 0);
  EXPECT_EQ(kel_lead_analyze(lead_row(0), p, r), 17);
  EXPECT_EQ(r->count, 2);
  kel_lead_delete_results(r);
  kel_lead_delete_params(p);
}

}  // namespace
