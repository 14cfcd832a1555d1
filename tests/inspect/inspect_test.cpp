// The learning inspection tool: exact features and learned statistics,
// blocking coverage, learning from noisy good parts and finding a scratch
// and a missing hole as single groups, blocking regions, refusal of bad
// learning images, save and load with the file's layout, damaged files, and
// every failure report.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "kelkit/inspect.h"
#include "support/test_images.hpp"

namespace {

using Bytes = std::vector<std::uint8_t>;

std::string tmp(const std::string &name) {
  return std::string(KELKIT_TEST_TMP_DIR) + "/inspect_test_" + std::to_string(getpid()) + "_" +
         name;
}

Bytes slurp(const std::string &path) {
  std::ifstream f(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
}

void save(const std::string &path, const Bytes &bytes) {
  std::remove(path.c_str());
  std::ofstream f(path, std::ios::binary);
  f.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

std::uint32_t u32_at(const Bytes &b, std::size_t at) {
  return b[at] | b[at + 1] << 8 | b[at + 2] << 16 | std::uint32_t{b[at + 3]} << 24;
}

// The directory of a storage file: key -> value position.
std::map<std::string, std::uint32_t> directory(const Bytes &b) {
  std::map<std::string, std::uint32_t> dir;
  std::size_t at = u32_at(b, 8);
  const std::uint32_t n = u32_at(b, at);
  at += 4;
  for (std::uint32_t i = 0; i < n; ++i) {
    const std::uint32_t len = u32_at(b, at);
    dir[std::string(b.begin() + at + 4, b.begin() + at + 4 + len)] = u32_at(b, at + 4 + len);
    at += 8 + len;
  }
  return dir;
}

struct Tool {
  KelInspect *p = kel_vela_inspect_create(nullptr);
  ~Tool() { kel_vela_inspect_delete(p); }
  operator KelInspect *() const { return p; }
};

struct Results {
  KelInspectResults *p = kel_vela_inspect_create_results(nullptr);
  ~Results() { kel_vela_inspect_delete_results(p); }
  operator KelInspectResults *() const { return p; }
};

// ---- a synthetic part ------------------------------------------------------

constexpr int kW = 160, kH = 120;

enum Defect { kNone = 0, kScratch = 1, kMissingHole = 2 };

// A bright plate on a dark background with four dark holes, under a global
// brightness change and per-pixel noise that vary from part to part.
std::vector<double> part(std::uint32_t seed, int defects = kNone) {
  std::mt19937 gen(seed);
  std::normal_distribution<double> noise(0.0, 5.0);
  std::uniform_real_distribution<double> light(-4.0, 4.0);
  const double offset = light(gen);
  const int holes[4][2] = {{40, 40}, {120, 40}, {40, 80}, {120, 80}};
  std::vector<double> v(kW * kH);
  for (int y = 0; y < kH; ++y) {
    for (int x = 0; x < kW; ++x) {
      double g = (x >= 16 && x < 144 && y >= 16 && y < 104) ? 200 : 40;
      for (int h = 0; h < 4; ++h) {
        if (h == 3 && (defects & kMissingHole)) continue;
        const int dx = x - holes[h][0], dy = y - holes[h][1];
        if (dx * dx + dy * dy <= 36) g = 30;
      }
      // A scratch from (36, 30) to (76, 60), two pixels wide.
      if ((defects & kScratch) && x >= 36 && x <= 76) {
        const double line_y = 30 + (x - 36) * 0.75;
        if (std::fabs(y - line_y) <= 1.0) g = 100;
      }
      v[y * kW + x] = std::clamp(g + offset + noise(gen), 0.0, 255.0);
    }
  }
  return v;
}

// A tool that learned 20 good parts (16 by 16 boxes).
void learn_parts(KelInspect *tool) {
  for (std::uint32_t seed = 1; seed <= 20; ++seed) {
    kt::TestImage img = kt::image(BYTE, kW, kH, part(seed));
    int accepted = -1;
    ASSERT_EQ(kel_vela_inspect_learn(tool, img, &accepted), 0);
    ASSERT_EQ(accepted, 1);
  }
}

std::vector<KelInspectGroup> groups_of(const KelInspectResults *r) {
  std::vector<KelInspectGroup> g(static_cast<std::size_t>(kel_vela_inspect_result_group_count(r)));
  for (std::size_t i = 0; i < g.size(); ++i)
    EXPECT_EQ(kel_vela_inspect_result_group(r, static_cast<int>(i), &g[i]), 0);
  return g;
}

// Inspects a part (as a view, so rows have a skip) and returns its groups.
std::vector<KelInspectGroup> inspect(const KelInspect *tool, std::uint32_t seed, int defects) {
  kt::TestImage img = kt::view(BYTE, kW, kH, part(seed, defects));
  Results r;
  kt::clear_report();
  EXPECT_EQ(kel_vela_inspect_check(tool, img, r), 0);
  EXPECT_NO_REPORT();
  return groups_of(r);
}

bool contains(const KelInspectGroup &g, int x0, int y0, int x1, int y1) {
  return g.x <= x0 && g.y <= y0 && g.x + g.dx > x1 && g.y + g.dy > y1;
}

// The checks every learned tool must pass, before and after a save and load.
void expect_finds_defects(const KelInspect *tool) {
  EXPECT_TRUE(inspect(tool, 100, kNone).empty());
  EXPECT_TRUE(inspect(tool, 101, kNone).empty());

  std::vector<KelInspectGroup> g = inspect(tool, 102, kScratch);
  ASSERT_EQ(g.size(), 1u);
  // The scratch covers x 36..76, y 29..61: the group spans exactly the
  // boxes it crosses.
  EXPECT_TRUE(contains(g[0], 36, 30, 76, 60));
  EXPECT_EQ(g[0].x, 32);
  EXPECT_EQ(g[0].y, 16);
  EXPECT_EQ(g[0].x + g[0].dx, 80);
  EXPECT_EQ(g[0].y + g[0].dy, 64);
  // Boxes (2, 1), (3, 2), (3, 3) and (4, 3); box (2, 2), where the scratch
  // runs over the edge of a hole, may change too little to count.
  EXPECT_GE(g[0].box_count, 4);
  EXPECT_LE(g[0].box_count, 5);
  EXPECT_GT(g[0].worst_deviation, 1.0);

  g = inspect(tool, 103, kMissingHole);
  ASSERT_EQ(g.size(), 1u);
  // The hole at (120, 80) with radius 6 lies in boxes (7, 4) and (7, 5).
  EXPECT_EQ(g[0].box_count, 2);
  EXPECT_EQ(g[0].x, 112);
  EXPECT_EQ(g[0].y, 64);
  EXPECT_EQ(g[0].dx, 16);
  EXPECT_EQ(g[0].dy, 32);
  EXPECT_EQ(g[0].worst_box_x, 7);
  EXPECT_EQ(g[0].worst_feature, KEL_INSPECT_DEVIATION);

  g = inspect(tool, 104, kScratch | kMissingHole);
  EXPECT_EQ(g.size(), 2u);
}

TEST(Inspect, FeaturesAndLearnedStatisticsAreExact) {
  Tool tool;
  kel_vela_inspect_set_m_nBoxDx(tool, 2);
  kel_vela_inspect_set_m_nBoxDy(tool, 2);
  kel_vela_inspect_set_nFeatureMode(tool, 15);
  // 5 by 2: two full boxes and a last column one pixel wide.
  kt::TestImage a = kt::view(BYTE, 5, 2, {1, 3, 0, 0, 10, 5, 7, 0, 0, 20});
  kt::TestImage b = kt::image(BYTE, 5, 2, {3, 5, 0, 0, 10, 7, 9, 0, 0, 20});
  ASSERT_EQ(kel_vela_inspect_learn(tool, a, nullptr), 0);
  EXPECT_EQ(kel_vela_inspect_get_m_nImgDx(tool), 5);  // taken from the image
  EXPECT_EQ(kel_vela_inspect_get_m_nImgDy(tool), 2);
  EXPECT_EQ(kel_vela_inspect_get_nBoxCountX(tool), 3);
  EXPECT_EQ(kel_vela_inspect_get_nBoxCountY(tool), 1);
  EXPECT_EQ(kel_vela_inspect_get_nVectorSize(tool), 4);
  double mean = -1, spread = -1;
  // Box (0, 0) holds 1 3 / 5 7.
  ASSERT_EQ(kel_vela_inspect_get_box_model(tool, 0, 0, KEL_INSPECT_MEAN, &mean, &spread), 0);
  EXPECT_EQ(mean, 4.0);
  EXPECT_EQ(spread, 0.0);
  ASSERT_EQ(kel_vela_inspect_get_box_model(tool, 0, 0, KEL_INSPECT_DEVIATION, &mean, nullptr), 0);
  EXPECT_DOUBLE_EQ(mean, std::sqrt(5.0));
  ASSERT_EQ(kel_vela_inspect_get_box_model(tool, 0, 0, KEL_INSPECT_GRADIENT, &mean, nullptr), 0);
  EXPECT_DOUBLE_EQ(mean, std::sqrt(10.0));  // differences 2, 2, 4, 4 over four pairs
  ASSERT_EQ(kel_vela_inspect_get_box_model(tool, 0, 0, KEL_INSPECT_RANGE, &mean, nullptr), 0);
  EXPECT_EQ(mean, 6.0);
  // The one-pixel-wide box (2, 0) holds 10 / 20: one vertical pair.
  ASSERT_EQ(kel_vela_inspect_get_box_model(tool, 2, 0, KEL_INSPECT_GRADIENT, &mean, nullptr), 0);
  EXPECT_EQ(mean, 10.0);
  ASSERT_EQ(kel_vela_inspect_get_box_model(tool, 2, 0, KEL_INSPECT_DEVIATION, &mean, nullptr), 0);
  EXPECT_EQ(mean, 5.0);

  // A second image two grey levels brighter in box 0: the spread of {4, 6}.
  ASSERT_EQ(kel_vela_inspect_learn(tool, b, nullptr), 0);
  EXPECT_EQ(kel_vela_inspect_get_VectorCount(tool), 2);
  ASSERT_EQ(kel_vela_inspect_get_box_model(tool, 0, 0, KEL_INSPECT_MEAN, &mean, &spread), 0);
  EXPECT_EQ(mean, 5.0);
  EXPECT_DOUBLE_EQ(spread, std::sqrt(2.0));
  ASSERT_EQ(kel_vela_inspect_get_box_model(tool, 0, 0, KEL_INSPECT_RANGE, &mean, &spread), 0);
  EXPECT_EQ(spread, 0.0);

  // Welford's update keeps a tiny spread on a large level exact enough:
  // FLOAT images alternating 1e6 and 1e6 + 1 give a spread near 0.5.
  Tool big;
  kel_vela_inspect_set_nFeatureMode(big, KEL_INSPECT_MEAN);
  for (int i = 0; i < 1000; ++i) {
    kt::TestImage f = kt::image(FLOAT, 16, 16, std::vector<double>(256, 1e6 + (i % 2)));
    ASSERT_EQ(kel_vela_inspect_learn(big, f, nullptr), 0);
  }
  ASSERT_EQ(kel_vela_inspect_get_box_model(big, 0, 0, KEL_INSPECT_MEAN, &mean, &spread), 0);
  EXPECT_NEAR(mean, 1e6 + 0.5, 1e-9);
  EXPECT_NEAR(spread, std::sqrt(250.0 / 999.0), 1e-9);
}

TEST(Inspect, BlockingBitsFollowCoverageAndShape) {
  Tool tool;
  kt::TestImage img = kt::image(BYTE, 64, 48);
  ASSERT_EQ(kel_vela_inspect_add_block_rect(tool, 8, 0, 8, 16), 0);  // half of box (0, 0)
  ASSERT_EQ(kel_vela_inspect_add_block_circle(tool, 40, 24, 3), 0);  // inside box (2, 1)
  ASSERT_EQ(kel_vela_inspect_learn(tool, img, nullptr), 0);
  auto bits = [&](int bx, int by) {
    int b = -1;
    EXPECT_EQ(kel_vela_inspect_get_box_blocking(tool, bx, by, &b), 0);
    return b;
  };
  EXPECT_EQ(bits(0, 0), 1);
  EXPECT_EQ(bits(1, 0), 0);
  EXPECT_EQ(bits(2, 1), 2);
  EXPECT_EQ(bits(2, 2), 0);
  KelInspectRegion r{};
  ASSERT_EQ(kel_vela_inspect_get_block_region(tool, 0, 0, &r), 0);
  EXPECT_EQ(r.x, 8);
  EXPECT_EQ(r.dx, 8);
  EXPECT_EQ(r.dy, 16);
  EXPECT_EQ(r.coverage, 0);
  EXPECT_EQ(r.enabled, 1);
  // The rectangle covers exactly 50 percent of box (0, 0).
  r.coverage = 51;
  ASSERT_EQ(kel_vela_inspect_set_block_region(tool, 0, 0, &r), 0);
  EXPECT_EQ(bits(0, 0), 0);
  r.coverage = 50;
  ASSERT_EQ(kel_vela_inspect_set_block_region(tool, 0, 0, &r), 0);
  EXPECT_EQ(bits(0, 0), 1);
  // A circle of radius 3 holds 29 pixels: 11 percent of a box.
  ASSERT_EQ(kel_vela_inspect_get_block_region(tool, 1, 0, &r), 0);
  r.coverage = 11;
  ASSERT_EQ(kel_vela_inspect_set_block_region(tool, 1, 0, &r), 0);
  EXPECT_EQ(bits(2, 1), 2);
  r.coverage = 12;
  ASSERT_EQ(kel_vela_inspect_set_block_region(tool, 1, 0, &r), 0);
  EXPECT_EQ(bits(2, 1), 0);
  // An ellipse across six boxes, a disabled region, and regions partly
  // outside the image.
  r = {32, 16, 2, 20, 0, 1, 7};
  ASSERT_EQ(kel_vela_inspect_set_block_region(tool, 1, 0, &r), 0);
  EXPECT_EQ(bits(1, 0), 2);
  EXPECT_EQ(bits(2, 0), 2);
  EXPECT_EQ(bits(1, 2), 2);
  EXPECT_EQ(bits(2, 1), 2);
  EXPECT_EQ(bits(3, 1), 0);
  r.enabled = 0;
  ASSERT_EQ(kel_vela_inspect_set_block_region(tool, 1, 0, &r), 0);
  EXPECT_EQ(bits(2, 1), 0);
  ASSERT_EQ(kel_vela_inspect_add_block_rect(tool, -100, 40, 1000, 1000), 0);
  ASSERT_EQ(kel_vela_inspect_add_block_circle(tool, 66, -3, 8), 0);
  EXPECT_EQ(bits(0, 2), 1);
  EXPECT_EQ(bits(3, 2), 1);
  EXPECT_EQ(bits(3, 0), 2);
  EXPECT_EQ(bits(3, 1), 0);
  EXPECT_EQ(kel_vela_inspect_get_bBlockingRectCount(tool), 2);
  EXPECT_EQ(kel_vela_inspect_get_bBlockingCircleRectCount(tool), 2);
  ASSERT_EQ(kel_vela_inspect_remove_block_region(tool, 0, 1), 0);
  EXPECT_EQ(bits(0, 2), 0);
  ASSERT_EQ(kel_vela_inspect_clear_blocking(tool), 0);
  EXPECT_EQ(bits(0, 0), 0);
  EXPECT_EQ(bits(3, 0), 0);
  EXPECT_EQ(kel_vela_inspect_get_bBlockingCircleRectCount(tool), 0);
}

TEST(Inspect, LearnsGoodPartsAndFindsDefectsAsGroups) {
  Tool tool;
  EXPECT_EQ(kel_vela_inspect_get_m_nBoxDx(tool), 16);
  EXPECT_EQ(kel_vela_inspect_get_nSensitivity(tool), 50);
  EXPECT_EQ(kel_vela_inspect_get_nFeatureMode(tool), 7);
  EXPECT_EQ(kel_vela_inspect_get_bBlockingEnabled(tool), 1);
  learn_parts(tool);
  EXPECT_EQ(kel_vela_inspect_get_VectorCount(tool), 20);
  EXPECT_EQ(kel_vela_inspect_get_nBoxCountX(tool), 10);
  EXPECT_EQ(kel_vela_inspect_get_nBoxCountY(tool), 8);  // the last row is 8 pixels high
  expect_finds_defects(tool);

  // The boxes of a result, in raster order, all in the one group.
  kt::TestImage img = kt::image(BYTE, kW, kH, part(105, kMissingHole));
  Results r;
  ASSERT_EQ(kel_vela_inspect_check(tool, img, r), 0);
  ASSERT_EQ(kel_vela_inspect_result_box_count(r), 2);
  KelInspectBox box{};
  ASSERT_EQ(kel_vela_inspect_result_box(r, 1, &box), 0);
  EXPECT_EQ(box.box_x, 7);
  EXPECT_EQ(box.box_y, 5);
  EXPECT_EQ(box.x, 112);
  EXPECT_EQ(box.y, 80);
  EXPECT_EQ(box.group, 0);
  EXPECT_GT(box.deviation, 1.0);

  // Blocking regions hide the defects: a rectangle over the scratch and a
  // circle over the hole; switching blocking off shows them again.
  ASSERT_EQ(kel_vela_inspect_add_block_rect(tool, 32, 26, 48, 38), 0);
  ASSERT_EQ(kel_vela_inspect_add_block_circle(tool, 120, 80, 7), 0);
  EXPECT_TRUE(inspect(tool, 106, kScratch | kMissingHole).empty());
  EXPECT_TRUE(inspect(tool, 107, kNone).empty());
  kel_vela_inspect_set_bBlockingEnabled(tool, 0);
  EXPECT_EQ(inspect(tool, 106, kScratch | kMissingHole).size(), 2u);
  kel_vela_inspect_set_bBlockingEnabled(tool, 1);

  // Sensitivity: at 1 the tolerance is ten spreads, yet a missing hole stays
  // far beyond it.
  kel_vela_inspect_set_nSensitivity(tool, 1);
  kel_vela_inspect_clear_blocking(tool);
  EXPECT_EQ(inspect(tool, 108, kMissingHole).size(), 1u);
}

TEST(Inspect, RefusesBadLearningImagesWhenAsked) {
  Tool tool;
  kel_vela_inspect_set_m_nLearnAllowToFail(tool, 0);
  learn_parts(tool);
  kt::TestImage bad = kt::image(BYTE, kW, kH, part(50, kScratch));
  int accepted = -1;
  ASSERT_EQ(kel_vela_inspect_learn(tool, bad, &accepted), 0);
  EXPECT_EQ(accepted, 0);
  EXPECT_EQ(kel_vela_inspect_get_VectorCount(tool), 20);
  kel_vela_inspect_set_m_nLearnAllowToFail(tool, 100);
  ASSERT_EQ(kel_vela_inspect_learn(tool, bad, &accepted), 0);
  EXPECT_EQ(accepted, 1);
  EXPECT_EQ(kel_vela_inspect_get_VectorCount(tool), 21);
}

TEST(Inspect, SaveAndLoadKeepTheLayoutAndTheResults) {
  Tool tool;
  learn_parts(tool);
  kel_vela_inspect_set_nImageTag(tool, 11);
  kel_vela_inspect_set_nObjectTag(tool, -12);
  ASSERT_EQ(kel_vela_inspect_add_block_rect(tool, 0, 0, 5, 6), 0);
  KelInspectRegion reg = {150, 112, 8, 7, 40, 1, 99};  // 56 of 128 pixels
  ASSERT_EQ(kel_vela_inspect_add_block_rect(tool, 1, 1, 1, 1), 0);
  ASSERT_EQ(kel_vela_inspect_set_block_region(tool, 0, 1, &reg), 0);
  ASSERT_EQ(kel_vela_inspect_add_block_circle(tool, 7, 7, 8), 0);
  const std::string path = tmp("tool.kvi");
  ASSERT_EQ(kel_vela_inspect_save(tool, path.c_str()), 0);

  // The keys in the order they were written, each value where it belongs.
  const Bytes b = slurp(path);
  const auto dir = directory(b);
  const char *order[] = {"LearnVersion",     "m_nMaxBoxCountX",
                         "m_nMaxBoxCountY",  "m_nImgDx",
                         "m_nImgDy",         "m_nBoxDx",
                         "m_nBoxDy",         "nVectorSize",
                         "nBoxCountX",       "nBoxCountY",
                         "nImageTag",        "nObjectTag",
                         "nSensitivity",     "m_nLearnAllowToFail",
                         "nFeatureMode",     "nMemLimit",
                         "nBumpSize",        "VectorCount",
                         "bBlockingEnabled", "bBlockingRectCount",
                         "Blocking",         "bBlockingCircleRectCount",
                         "CircularBlocking", "Vectors",
                         "BlockingBlocks"};
  ASSERT_EQ(dir.size(), std::size(order));
  const std::int32_t values[] = {1,  256, 256, kW, kH, 16, 16, 3,  10, 8,
                                 11, -12, 50,  -1, 7,  0,  4,  20, 1,  2};
  for (std::size_t i = 0; i < std::size(order); ++i) {
    ASSERT_TRUE(dir.count(order[i])) << order[i];
    EXPECT_EQ(dir.at(order[i]), 12 + 4 * std::min<std::size_t>(i, 20) + (i > 20 ? 2 * 28 : 0) +
                                    (i > 21 ? 4 : 0) + (i > 22 ? 28 : 0) +
                                    (i > 23 ? 4 + 80 * 3 * 16 : 0))
        << order[i];
    if (i < std::size(values)) {
      EXPECT_EQ(static_cast<std::int32_t>(u32_at(b, dir.at(order[i]))), values[i]) << order[i];
    }
  }
  // Regions: x, y, dy, dx, coverage, enabled, tag.
  const std::size_t rect = dir.at("Blocking") + 28;
  const std::uint32_t want_rect[] = {150, 112, 7, 8, 40, 1, 99};
  for (int k = 0; k < 7; ++k)
    EXPECT_EQ(u32_at(b, rect + 4 * k), want_rect[k]) << k;
  EXPECT_EQ(u32_at(b, dir.at("CircularBlocking")), 7u);
  EXPECT_EQ(u32_at(b, dir.at("bBlockingCircleRectCount")), 1u);
  EXPECT_EQ(u32_at(b, dir.at("Vectors")), static_cast<std::uint32_t>(BYTE));
  // Blocking bytes: box (0, 0) by both kinds, box (9, 7) by the rectangle.
  const std::size_t blocks = dir.at("BlockingBlocks");
  EXPECT_EQ(b[blocks], 3);
  EXPECT_EQ(b[blocks + 1], 0);
  EXPECT_EQ(b[blocks + 79], 1);
  EXPECT_EQ(u32_at(b, 8), blocks + 80);

  // A loaded tool gives the same results, to the last bit.
  Tool loaded;
  ASSERT_EQ(kel_vela_inspect_load(loaded, path.c_str()), 0);
  EXPECT_EQ(kel_vela_inspect_get_nObjectTag(loaded), -12);
  EXPECT_EQ(kel_vela_inspect_get_bBlockingRectCount(loaded), 2);
  ASSERT_EQ(kel_vela_inspect_get_block_region(loaded, 0, 1, &reg), 0);
  EXPECT_EQ(reg.coverage, 40);
  EXPECT_EQ(reg.tag, 99);
  kel_vela_inspect_clear_blocking(tool);
  kel_vela_inspect_clear_blocking(loaded);
  expect_finds_defects(loaded);
  for (int defects : {kNone, kScratch, kMissingHole}) {
    kt::TestImage img = kt::image(BYTE, kW, kH, part(200 + defects, defects));
    Results a, c;
    ASSERT_EQ(kel_vela_inspect_check(tool, img, a), 0);
    ASSERT_EQ(kel_vela_inspect_check(loaded, img, c), 0);
    ASSERT_EQ(kel_vela_inspect_result_box_count(a), kel_vela_inspect_result_box_count(c));
    for (int i = 0; i < kel_vela_inspect_result_box_count(a); ++i) {
      KelInspectBox ba{}, bc{};
      kel_vela_inspect_result_box(a, i, &ba);
      kel_vela_inspect_result_box(c, i, &bc);
      EXPECT_EQ(ba.deviation, bc.deviation);
      EXPECT_EQ(ba.box_x, bc.box_x);
    }
  }
  // Learning goes on after loading, exactly as in the original.
  kt::TestImage more = kt::image(BYTE, kW, kH, part(21));
  ASSERT_EQ(kel_vela_inspect_learn(tool, more, nullptr), 0);
  ASSERT_EQ(kel_vela_inspect_learn(loaded, more, nullptr), 0);
  double m1, s1, m2, s2;
  kel_vela_inspect_get_box_model(tool, 3, 3, KEL_INSPECT_DEVIATION, &m1, &s1);
  kel_vela_inspect_get_box_model(loaded, 3, 3, KEL_INSPECT_DEVIATION, &m2, &s2);
  EXPECT_EQ(m1, m2);
  EXPECT_EQ(s1, s2);

  // An unlearned tool saves and loads too.
  Tool fresh, back;
  kel_vela_inspect_set_nBumpSize(fresh, 9);
  ASSERT_EQ(kel_vela_inspect_save(fresh, path.c_str()), 0);
  ASSERT_EQ(kel_vela_inspect_load(back, path.c_str()), 0);
  EXPECT_EQ(kel_vela_inspect_get_nBumpSize(back), 9);
  EXPECT_EQ(kel_vela_inspect_get_VectorCount(back), 0);
  std::remove(path.c_str());
}

TEST(Inspect, DamagedFilesAreRefusedAndLeaveTheToolAlone) {
  Tool tool;
  kel_vela_inspect_set_m_nBoxDx(tool, 4);
  kel_vela_inspect_set_m_nBoxDy(tool, 4);
  kel_vela_inspect_add_block_circle(tool, 10, 10, 4);
  for (std::uint32_t seed = 0; seed < 3; ++seed) {
    kt::TestImage img = kt::random_image(BYTE, 24, 16, seed);
    ASSERT_EQ(kel_vela_inspect_learn(tool, img, nullptr), 0);
  }
  const std::string path = tmp("good.kvi"), bad = tmp("bad.kvi");
  ASSERT_EQ(kel_vela_inspect_save(tool, path.c_str()), 0);
  const Bytes good = slurp(path);

  Tool target;
  kel_vela_inspect_set_nSensitivity(target, 77);
  for (std::size_t len = 0; len < good.size(); ++len) {
    save(bad, Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(len)));
    kt::clear_report();
    ASSERT_EQ(kel_vela_inspect_load(target, bad.c_str()), KEL_ERR_FILE) << "length " << len;
    EXPECT_REPORT("kel_vela_inspect_load", KEL_ERR_FILE);
  }
  EXPECT_EQ(kel_vela_inspect_get_nSensitivity(target), 77);
  EXPECT_EQ(kel_vela_inspect_get_VectorCount(target), 0);
  int loaded = 0;
  for (std::size_t at = 0; at < good.size(); ++at) {
    for (std::uint8_t flip : {0xFF, 0x01, 0x40}) {
      Bytes b = good;
      b[at] ^= flip;
      save(bad, b);
      Tool t;
      const int status = kel_vela_inspect_load(t, bad.c_str());
      ASSERT_TRUE(status == 0 || status == KEL_ERR_FILE || status == KEL_ERR_NO_MEMORY)
          << "byte " << at << ": " << status;
      if (status == 0) {
        ++loaded;
        kt::TestImage img = kt::random_image(BYTE, 24, 16, 9);
        Results r;
        const int checked = kel_vela_inspect_check(t, img, r);
        EXPECT_TRUE(checked == 0 || checked == KEL_ERR_NO_MODEL || checked == KEL_ERR_RANGE ||
                    checked == KEL_ERR_SIZE || checked == KEL_ERR_TYPE_MISMATCH)
            << "byte " << at << ": " << checked;
      }
    }
  }
  EXPECT_GT(loaded, 0);  // settings and learned values may change and still load

  // A memory limit below the stored state (24 boxes of 49 bytes): 4.
  Bytes b = good;
  const std::size_t at = directory(good).at("nMemLimit");
  b[at] = 1;
  save(bad, b);
  kt::clear_report();
  EXPECT_EQ(kel_vela_inspect_load(target, bad.c_str()), KEL_ERR_NO_MEMORY);
  EXPECT_REPORT("kel_vela_inspect_load", KEL_ERR_NO_MEMORY);
  std::remove(bad.c_str());
  std::remove(path.c_str());
}

TEST(Inspect, EveryFailureIsReportedUnderItsName) {
  Tool tool;
  Results res;
  kt::TestImage img = kt::image(BYTE, 32, 32);
  kt::TestImage empty = kt::image(BYTE, 0, 4);
  kt::TestImage word = kt::image(WORD, 32, 32);
  kt::TestImage small = kt::image(BYTE, 16, 32);
  Image odd = *img.get();
  odd.type = 3;
  auto expect = [](int status, const char *fn, int code) {
    EXPECT_EQ(status, code) << fn;
    EXPECT_REPORT(fn, code);
    kt::clear_report();
  };
  const char *learn = "kel_vela_inspect_learn";
  expect(kel_vela_inspect_learn(nullptr, img, nullptr), learn, 10);
  expect(kel_vela_inspect_learn(tool, nullptr, nullptr), learn, 1);
  expect(kel_vela_inspect_learn(tool, empty, nullptr), learn, 17);
  expect(kel_vela_inspect_learn(tool, &odd, nullptr), learn, 6);
  kel_vela_inspect_set_m_nBoxDx(tool, 0);
  expect(kel_vela_inspect_learn(tool, img, nullptr), learn, 107);
  kel_vela_inspect_set_m_nBoxDx(tool, 64);
  expect(kel_vela_inspect_learn(tool, img, nullptr), learn, 107);  // box larger than the image
  kel_vela_inspect_set_m_nBoxDx(tool, 4);
  kel_vela_inspect_set_nFeatureMode(tool, 16);
  expect(kel_vela_inspect_learn(tool, img, nullptr), learn, 107);
  kel_vela_inspect_set_nFeatureMode(tool, 7);
  kel_vela_inspect_set_m_nMaxBoxCountX(tool, 7);
  expect(kel_vela_inspect_learn(tool, img, nullptr), learn, 107);
  kel_vela_inspect_set_m_nMaxBoxCountX(tool, 8);
  kel_vela_inspect_set_nMemLimit(tool, 1);  // 8 x 2 boxes x 49 bytes fit in 1 KiB
  kel_vela_inspect_set_m_nBoxDx(tool, 2);
  expect(kel_vela_inspect_learn(tool, img, nullptr), learn, 107);  // 16 columns > 8
  kel_vela_inspect_set_m_nMaxBoxCountX(tool, 16);
  expect(kel_vela_inspect_learn(tool, img, nullptr), learn, 4);  // 32 boxes x 49 bytes
  kel_vela_inspect_set_nMemLimit(tool, 0);
  kel_vela_inspect_set_m_nBoxDx(tool, 4);
  kel_vela_inspect_set_m_nImgDx(tool, 30);
  expect(kel_vela_inspect_learn(tool, img, nullptr), learn, 5);
  kel_vela_inspect_set_m_nImgDx(tool, 0);

  const char *check = "kel_vela_inspect_check";
  expect(kel_vela_inspect_check(nullptr, img, res), check, 10);
  expect(kel_vela_inspect_check(tool, nullptr, res), check, 1);
  expect(kel_vela_inspect_check(tool, img, nullptr), check, 10);
  expect(kel_vela_inspect_check(tool, img, res), check, 103);
  ASSERT_EQ(kel_vela_inspect_learn(tool, img, nullptr), 0);
  expect(kel_vela_inspect_check(tool, img, res), check, 103);  // one image has no spread
  expect(kel_vela_inspect_learn(tool, word, nullptr), learn, 13);
  expect(kel_vela_inspect_learn(tool, small, nullptr), learn, 5);
  ASSERT_EQ(kel_vela_inspect_learn(tool, img, nullptr), 0);
  expect(kel_vela_inspect_check(tool, small, res), check, 5);
  expect(kel_vela_inspect_check(tool, word, res), check, 13);
  kel_vela_inspect_set_m_nBoxDy(tool, 8);
  expect(kel_vela_inspect_check(tool, img, res), check, 107);
  expect(kel_vela_inspect_learn(tool, img, nullptr), learn, 107);
  expect(kel_vela_inspect_save(tool, tmp("x.kvi").c_str()), "kel_vela_inspect_save", 107);
  kel_vela_inspect_set_m_nBoxDy(tool, 16);
  ASSERT_EQ(kel_vela_inspect_check(tool, img, res), 0);
  EXPECT_EQ(kel_vela_inspect_result_group_count(res), 0);
  ASSERT_EQ(kel_vela_inspect_reset(tool), 0);
  EXPECT_EQ(kel_vela_inspect_get_VectorCount(tool), 0);
  EXPECT_EQ(kel_vela_inspect_get_nBoxCountX(tool), 0);
  kel_vela_inspect_set_m_nBoxDy(tool, 8);
  ASSERT_EQ(kel_vela_inspect_learn(tool, word, nullptr), 0);  // a new grid and type

  // Accessors and records.
  KelInspectGroup g;
  KelInspectBox box;
  KelInspectRegion r = {0, 0, 1, 1, 0, 1, 0};
  double mean;
  int bits;
  expect(kel_vela_inspect_result_group(nullptr, 0, &g), "kel_vela_inspect_result_group", 10);
  expect(kel_vela_inspect_result_group(res, 0, nullptr), "kel_vela_inspect_result_group", 10);
  expect(kel_vela_inspect_result_group(res, 0, &g), "kel_vela_inspect_result_group", 10);
  expect(kel_vela_inspect_result_box(res, -1, &box), "kel_vela_inspect_result_box", 10);
  expect(kel_vela_inspect_get_box_model(tool, 8, 0, 1, &mean, nullptr),
         "kel_vela_inspect_get_box_model", 10);
  expect(kel_vela_inspect_get_box_model(tool, 0, 0, KEL_INSPECT_RANGE, &mean, nullptr),
         "kel_vela_inspect_get_box_model", 10);
  expect(kel_vela_inspect_get_box_blocking(tool, 0, 4, &bits), "kel_vela_inspect_get_box_blocking",
         10);
  expect(kel_vela_inspect_add_block_rect(tool, 0, 0, 0, 5), "kel_vela_inspect_add_block_rect", 107);
  expect(kel_vela_inspect_add_block_circle(nullptr, 0, 0, 5), "kel_vela_inspect_add_block_circle",
         10);
  expect(kel_vela_inspect_add_block_circle(tool, 0, 0, 0), "kel_vela_inspect_add_block_circle",
         107);
  expect(kel_vela_inspect_set_block_region(tool, 1, 0, &r), "kel_vela_inspect_set_block_region",
         10);
  ASSERT_EQ(kel_vela_inspect_add_block_circle(tool, 0, 0, 2), 0);
  r.coverage = 101;
  expect(kel_vela_inspect_set_block_region(tool, 1, 0, &r), "kel_vela_inspect_set_block_region",
         107);
  expect(kel_vela_inspect_get_block_region(tool, 0, 0, &r), "kel_vela_inspect_get_block_region",
         10);
  expect(kel_vela_inspect_remove_block_region(tool, 1, 1), "kel_vela_inspect_remove_block_region",
         10);
  expect(kel_vela_inspect_reset(nullptr), "kel_vela_inspect_reset", 10);
  expect(kel_vela_inspect_delete(nullptr), "kel_vela_inspect_delete", 10);
  expect(kel_vela_inspect_delete_results(nullptr), "kel_vela_inspect_delete_results", 10);
  expect(kel_vela_inspect_save(nullptr, "x"), "kel_vela_inspect_save", 10);
  expect(kel_vela_inspect_save(tool, nullptr), "kel_vela_inspect_save", 10);
  expect(kel_vela_inspect_save(tool, (tmp("no-dir") + "/x.kvi").c_str()), "kel_vela_inspect_save",
         112);
  expect(kel_vela_inspect_load(nullptr, "x"), "kel_vela_inspect_load", 10);
  expect(kel_vela_inspect_load(tool, tmp("missing.kvi").c_str()), "kel_vela_inspect_load", 112);
  EXPECT_EQ(kel_vela_inspect_get_nSensitivity(nullptr), 0);
  kel_vela_inspect_set_nSensitivity(nullptr, 3);  // ignored
  int status = -1;
  KelInspect *t = kel_vela_inspect_create(&status);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(kel_vela_inspect_delete(t), 0);
}

}  // namespace
