// Binary morphology: rectangles on two-valued images against the grey
// operators on 0/255, the binary gradient, hit-or-miss against a plain
// match, thinning of known shapes, reconstruction, hole filling, border
// clearing and every failure.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "filter/window_reference.hpp"
#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

// A binary image from rows of '#' (object, any non-zero value) and '.'.
kt::TestImage picture(const std::vector<std::string> &rows, double object = 1) {
  std::vector<double> v;
  for (const std::string &r : rows)
    for (char c : r)
      v.push_back(c == '#' ? object : 0);
  return kt::view(BYTE, int(rows[0].size()), int(rows.size()), v);
}

std::vector<std::string> drawing(const Image *img) {
  std::vector<std::string> rows(img->dy, std::string(img->dx, '.'));
  for (int y = 0; y < img->dy; ++y)
    for (int x = 0; x < img->dx; ++x) {
      if (kt::get(img, x, y) == 255) {
        rows[y][x] = '#';
      } else {
        EXPECT_EQ(kt::get(img, x, y), 0);
      }
    }
  return rows;
}

TEST(Binary, RectanglesEqualGreyMorphologyOfTheTwoLevels) {
  kt::TestImage src = kt::random_image(BYTE, 40, 30, 3, true), grey = kt::image(BYTE, 40, 30);
  for (int y = 0; y < 30; ++y)
    for (int x = 0; x < 40; ++x) {
      const bool on = kt::get(src, x, y) > 100;
      kt::set(src, x, y, on ? 7 : 0);  // any non-zero value is object
      kt::set(grey, x, y, on ? 255 : 0);
    }
  for (int op = KEL_MORPH_ERODE; op <= KEL_MORPH_GRADIENT; ++op) {
    kt::TestImage a = kt::view(BYTE, 40, 30), b = kt::image(BYTE, 40, 30);
    ASSERT_EQ(kel_morph_bin_rect(src, a, op, 5, 3), 0);
    ASSERT_EQ(kel_morph_rect(grey, b, op, 5, 3), 0);
    EXPECT_EQ(kt::pixels(a), kt::pixels(b)) << op;
  }
  // The gradient of a filled 3x3 square: its dilation (5x5) without its
  // erosion (the centre).
  kt::TestImage sq =
      picture({".......", ".......", "..###..", "..###..", "..###..", ".......", "......."});
  kt::TestImage ring = kt::image(BYTE, 7, 7);
  ASSERT_EQ(kel_morph_bin_rect(sq, ring, KEL_MORPH_GRADIENT, 3, 3), 0);
  EXPECT_EQ(drawing(ring), (std::vector<std::string>{".......", ".#####.", ".#####.", ".##.##.",
                                                     ".#####.", ".#####.", "......."}));
}

TEST(Binary, HitOrMissFindsItsPatternOnly) {
  // Isolated points: object with background in the 4 neighbours.
  const signed char pattern[9] = {-1, 0, -1, 0, 1, 0, -1, 0, -1};
  kt::TestImage src = picture({"#.....", "...#..", "......", ".##..#", "......"}, 200);
  kt::TestImage dst = kt::image(BYTE, 6, 5);
  ASSERT_EQ(kel_hit_or_miss(src, dst, pattern, 3, 3), 0);
  // (0, 0) and (5, 3) see themselves replicated beyond the border.
  EXPECT_EQ(drawing(dst),
            (std::vector<std::string>{"......", "...#..", "......", "......", "......"}));
}

TEST(Binary, ThinningLeavesOnePixelWideConnectedLines) {
  kt::TestImage src = picture({"...........", ".#########.", ".#########.", ".#########.",
                               ".#########.", "...........", "....###....", "....###....",
                               "....###....", "...........", "..........."});
  kt::TestImage dst = kt::image(BYTE, 11, 11), again = kt::image(BYTE, 11, 11);
  ASSERT_EQ(kel_thin(src, dst), 0);
  const auto skel = drawing(dst);
  int pixels = 0;
  for (int y = 0; y < 11; ++y)
    for (int x = 0; x < 11; ++x)
      if (skel[y][x] == '#') {
        ++pixels;
        EXPECT_GT(kt::get(src, x, y), 0) << "skeleton inside the object";
        // One pixel wide: no 2x2 block of skeleton pixels.
        if (x < 10 && y < 10) {
          EXPECT_FALSE(skel[y][x + 1] == '#' && skel[y + 1][x] == '#' && skel[y + 1][x + 1] == '#');
        }
      }
  EXPECT_GE(pixels, 5);
  EXPECT_EQ(skel[8], "...........");   // nothing outside the objects' rows
  ASSERT_EQ(kel_thin(dst, again), 0);  // a skeleton is its own skeleton
  EXPECT_EQ(kt::pixels(again), kt::pixels(dst));
}

TEST(Binary, ReconstructionFillsHolesAndClearsTheBorder) {
  kt::TestImage src =
      picture({"##......", "#..####.", "...#..#.", "...####.", "........", ".##....#"});
  kt::TestImage dst = kt::view(BYTE, 8, 6);
  ASSERT_EQ(kel_fill_holes(src, dst), 0);
  EXPECT_EQ(drawing(dst), (std::vector<std::string>{"##......", "#..####.", "...####.", "...####.",
                                                    "........", ".##....#"}));
  ASSERT_EQ(kel_clear_border(src, dst), 0);
  EXPECT_EQ(drawing(dst), (std::vector<std::string>{"........", "...####.", "...#..#.", "...####.",
                                                    "........", "........"}));
  kt::TestImage marker =
      picture({"........", "........", "........", "........", "........", "..#....."});
  ASSERT_EQ(kel_reconstruct(marker, src, marker), 0);  // into the marker itself
  EXPECT_EQ(drawing(marker), (std::vector<std::string>{"........", "........", "........",
                                                       "........", "........", ".##....."}));
}

TEST(Binary, EveryFailureIsReportedUnderItsName) {
  kt::TestImage b = kt::image(BYTE, 8, 8), b2 = kt::image(BYTE, 8, 8), wd = kt::image(WORD, 8, 8);
  kt::TestImage empty = kt::image(BYTE, 8, 0);
  const signed char dont_care[4] = {-1, 2, 3, -1}, p[9] = {1};
  const std::vector<wr::Failure> cases = {
      {"null", [&] { return kel_erode_bin_rect(nullptr, b, 3, 3); }, 1, "kel_erode_bin_rect"},
      {"op", [&] { return kel_morph_bin_rect(b, b2, 9, 3, 3); }, 8, "kel_morph_bin_rect"},
      {"word", [&] { return kel_dilate_bin_rect(wd, b, 3, 3); }, 13, "kel_dilate_bin_rect"},
      {"size", [&] { return kel_erode_bin_rect(b, b2, 3, 0); }, 10, "kel_erode_bin_rect"},
      {"area", [&] { return kel_erode_bin_rect(b, b2, 9, 3); }, 7, "kel_erode_bin_rect"},
      {"null pattern", [&] { return kel_hit_or_miss(b, b2, nullptr, 3, 3); }, 10,
       "kel_hit_or_miss"},
      {"pattern of don't cares", [&] { return kel_hit_or_miss(b, b2, dont_care, 2, 2); }, 10,
       "kel_hit_or_miss"},
      {"pattern area", [&] { return kel_hit_or_miss(b, b2, p, 9, 1); }, 7, "kel_hit_or_miss"},
      {"thin word", [&] { return kel_thin(b, wd); }, 13, "kel_thin"},
      {"thin empty", [&] { return kel_thin(b, empty); }, 17, "kel_thin"},
      {"reconstruct null", [&] { return kel_reconstruct(b, nullptr, b2); }, 1, "kel_reconstruct"},
      {"reconstruct word", [&] { return kel_reconstruct(b, wd, b2); }, 13, "kel_reconstruct"},
      {"fill empty", [&] { return kel_fill_holes(empty, b); }, 17, "kel_fill_holes"},
      {"clear word", [&] { return kel_clear_border(wd, b); }, 13, "kel_clear_border"},
  };
  wr::check_failures(cases);
}

}  // namespace
