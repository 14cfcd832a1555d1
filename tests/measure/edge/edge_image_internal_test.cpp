// CEdgeImg: resizing keeps or drops the cells, records are created on first
// use and overwritten after, clear empties the grid.
#include <gtest/gtest.h>

#include "measure/edge/edge_image.hpp"

namespace {

TEST(EdgeImage, GridOfOwnedRecords) {
  kel::CEdgeImg grid;
  EXPECT_EQ(grid.cells, nullptr);
  EXPECT_EQ(grid.at(0, 0), nullptr);
  EXPECT_EQ(grid.put(0, 0, {1, 2, 3}), -1);  // no grid yet

  ASSERT_EQ(grid.resize(5, 3), 0);
  EXPECT_EQ(grid.width, 5u);
  EXPECT_EQ(grid.height, 3u);
  EXPECT_EQ(grid.cell_count, 15u);
  for (std::uint32_t i = 0; i < grid.cell_count; ++i)
    ASSERT_EQ(grid.cells[i], nullptr);

  EXPECT_EQ(grid.put(4, 2, {4.25, 2.75, 1.0}), 0);
  EXPECT_EQ(grid.count, 1u);
  EXPECT_EQ(grid.cells[2 * 5 + 4], grid.at(4, 2));
  EXPECT_EQ(grid.put(4, 2, {4.5, 2.5, -1.0}), 0);  // overwritten, not added
  EXPECT_EQ(grid.count, 1u);
  EXPECT_EQ(grid.at(4, 2)->x, 4.5);
  EXPECT_EQ(grid.at(4, 2)->direction, -1.0);
  EXPECT_EQ(grid.put(0, 0, {0, 0, 0}), 0);
  EXPECT_EQ(grid.count, 2u);
  EXPECT_EQ(grid.put(5, 0, {}), -1);
  EXPECT_EQ(grid.put(0, -1, {}), -1);
  EXPECT_EQ(grid.at(5, 0), nullptr);

  // The same size keeps every record.
  EXPECT_EQ(grid.resize(5, 3), 0);
  EXPECT_NE(grid.at(4, 2), nullptr);
  EXPECT_EQ(grid.count, 2u);

  grid.clear();
  EXPECT_EQ(grid.count, 0u);
  EXPECT_EQ(grid.at(4, 2), nullptr);
  EXPECT_EQ(grid.cell_count, 15u);

  // A new size starts empty.
  EXPECT_EQ(grid.put(1, 1, {}), 0);
  ASSERT_EQ(grid.resize(2, 4), 0);
  EXPECT_EQ(grid.cell_count, 8u);
  EXPECT_EQ(grid.at(1, 1), nullptr);
  EXPECT_EQ(grid.put(1, 3, {}), 0);
  // The destructor frees the remaining record (checked by the sanitizer).
}

}  // namespace
