// Regression tests for hostile arguments: a start of INT_MIN is reported as
// out of range (it once overflowed into "nothing found"), and the logic
// operators report two null images (the same-image shortcut once ran first).
#include <gtest/gtest.h>

#include <climits>

#include "kelkit.h"
#include "support/test_images.hpp"

TEST(HostileArguments, StartOfIntMinIsOutOfRange) {
  kt::TestImage profile = kt::image(BYTE, 20, 1, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 200, 200, 200});
  double pos = 7, w = 0, p1 = 0, p2 = 0;
  kt::clear_report();
  EXPECT_EQ(kel_edge_find_array(profile, INT_MIN, 1, 50, &pos), 0);
  EXPECT_REPORT("kel_edge_find_array", KEL_ERR_ARGUMENT);
  kt::clear_report();
  EXPECT_EQ(kel_edge_find_array(profile, INT_MIN, 1, 1000, &pos), 0);
  EXPECT_REPORT("kel_edge_find_array", KEL_ERR_ARGUMENT);
  kt::clear_report();
  EXPECT_EQ(kel_caliper_id_array(profile, 50, INT_MIN, &w, &p1, &p2), 0);
  EXPECT_REPORT("kel_edge_find_array", KEL_ERR_ARGUMENT);
}

TEST(HostileArguments, LogicReportsTwoNullImages) {
  kt::clear_report();
  EXPECT_EQ(kel_and(nullptr, nullptr), KEL_ERR_NULL_IMAGE);
  EXPECT_REPORT("kel_and", KEL_ERR_NULL_IMAGE);
  kt::clear_report();
  EXPECT_EQ(kel_or(nullptr, nullptr), KEL_ERR_NULL_IMAGE);
  EXPECT_REPORT("kel_or", KEL_ERR_NULL_IMAGE);
  kt::clear_report();
  EXPECT_EQ(kel_xor(nullptr, nullptr), KEL_ERR_NULL_IMAGE);
  EXPECT_EQ(im_last_code(), KEL_ERR_NULL_IMAGE);
}
