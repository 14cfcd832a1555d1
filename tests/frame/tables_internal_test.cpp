// The library-level angle and magnitude tables: built once, with the values
// their definitions give.
#include <gtest/gtest.h>

#include <cmath>

#include "frame/angle_tables.hpp"
#include "frame/library.hpp"
#include "kelkit.h"

namespace t = kel::tables;

namespace {

TEST(AngleTables, InitializeBuildsEachTableOnce) {
  kel_initialize();
  kel_initialize();
  EXPECT_EQ(t::half_circle_builds(), 1);
  EXPECT_EQ(t::full_circle_builds(), 1);
  t::direction();
  t::magnitude();
  EXPECT_EQ(t::half_circle_builds(), 1);
  EXPECT_EQ(t::full_circle_builds(), 1);
  EXPECT_EQ(kel::process_attaches(), 1);
}

TEST(AngleTables, HalfCircleValues) {
  auto dir = [](int x, int y) { return t::direction()[x + 255][y + 255]; };
  EXPECT_EQ(dir(0, 0), 180);   // atan2(0, 0) = 0
  EXPECT_EQ(dir(1, 0), 180);   // 0 degrees
  EXPECT_EQ(dir(0, 1), 270);   // 90 degrees
  EXPECT_EQ(dir(-1, 0), 360);  // 180 degrees
  // -90 degrees: the single-precision angle of -pi/2 lies just beyond -90
  // degrees, so the entry is 89, not 90.
  EXPECT_EQ(dir(0, -1), 89);
  EXPECT_EQ(dir(255, -1), 179);  // just below 0 degrees: floor, not truncation
  EXPECT_EQ(dir(-255, -1), 0);   // just above -180 degrees
  int lo = 1000, hi = -1;
  for (int x = -255; x <= 255; ++x)
    for (int y = -255; y <= 255; ++y) {
      lo = std::min<int>(lo, dir(x, y));
      hi = std::max<int>(hi, dir(x, y));
    }
  EXPECT_EQ(lo, 0);
  EXPECT_EQ(hi, 360);

  const std::int32_t *cls = t::direction_class();
  EXPECT_EQ(cls[0], 0);
  EXPECT_EQ(cls[22], 0);
  EXPECT_EQ(cls[23], 1);
  EXPECT_EQ(cls[67], 1);
  EXPECT_EQ(cls[68], 2);
  EXPECT_EQ(cls[112], 2);
  EXPECT_EQ(cls[113], 3);
  EXPECT_EQ(cls[157], 3);
  EXPECT_EQ(cls[158], 0);
  EXPECT_EQ(cls[202], 0);
  EXPECT_EQ(cls[203], 1);
  EXPECT_EQ(cls[248], 2);
  EXPECT_EQ(cls[293], 3);
  EXPECT_EQ(cls[337], 3);
  EXPECT_EQ(cls[338], 0);
  EXPECT_EQ(cls[360], 0);

  const std::int32_t *m = t::magnitude_1_4();
  EXPECT_EQ(m[255], 0);
  EXPECT_EQ(m[255 + 7], 5);
  EXPECT_EQ(m[255 - 255], 182);  // 255 / 1.4 = 182.14
  for (int v = -255; v <= 255; ++v)
    EXPECT_EQ(m[v + 255], static_cast<int>(std::abs(v) / 1.4));
}

TEST(AngleTables, FullCircleValues) {
  auto dir = [](int x, int y) { return t::full_direction()[x + 255][y + 255]; };
  EXPECT_EQ(dir(1, 0), 0);
  EXPECT_EQ(dir(0, 1), 90);
  EXPECT_EQ(dir(-1, 0), 180);
  EXPECT_EQ(dir(0, -1), 269);  // single-precision -pi/2, as above
  EXPECT_EQ(dir(255, -1), 359);
  EXPECT_EQ(dir(1, 1), 45);
  auto mag = [](int x, int y) { return t::magnitude()[x + 255][y + 255]; };
  EXPECT_EQ(mag(0, 0), 0);
  EXPECT_EQ(mag(3, 4), 3);          // 5 * 0.7 = 3.5
  EXPECT_EQ(mag(-255, -255), 252);  // 360.62 * 0.7 = 252.4
  EXPECT_EQ(mag(10, 0), 7);
  EXPECT_EQ(t::full_direction_class()[45], 1);
}

}  // namespace
