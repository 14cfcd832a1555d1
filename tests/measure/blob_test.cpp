// Blob finding: record defaults, exact measures of small drawn objects, the
// merge and compaction order, limits, coordinate modes, sorting, and every
// failure report.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "kelkit.h"
#include "measure/blob_support.hpp"
#include "support/test_images.hpp"

namespace {

using kt::blob::art;
using kt::blob::results;
using kt::blob::white_params;

class Blob : public ::testing::Test {
 protected:
  void SetUp() override { kt::clear_report(); }
};

struct Box {
  unsigned xmin, ymin, xmax, ymax;
  bool operator==(const Box &) const = default;
};

Box box(const BlobResults *r, int i) {
  return {kel_blob_get_xmin(r, i), kel_blob_get_ymin(r, i), kel_blob_get_xmax(r, i),
          kel_blob_get_ymax(r, i)};
}

std::ostream &operator<<(std::ostream &os, const Box &b) {
  return os << "(" << b.xmin << "," << b.ymin << ")-(" << b.xmax << "," << b.ymax << ")";
}

TEST_F(Blob, RecordsStartWithTheirDefaults) {
  unsigned status = 99;
  kt::blob::Params p(kel_blob_create_params(&status));
  ASSERT_TRUE(p);
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(p->size, 52u);
  EXPECT_EQ(sizeof(BlobParams), 52u);
  EXPECT_EQ(kel_blob_get_blob_color(p.get()), 0);
  EXPECT_EQ(kel_blob_get_connected(p.get()), 8u);
  EXPECT_EQ(kel_blob_get_min_area(p.get()), KEL_BLOB_UNSET);
  EXPECT_EQ(kel_blob_get_max_area(p.get()), KEL_BLOB_UNSET);
  EXPECT_EQ(kel_blob_get_min_width(p.get()), KEL_BLOB_UNSET);
  EXPECT_EQ(kel_blob_get_max_width(p.get()), KEL_BLOB_UNSET);
  EXPECT_EQ(kel_blob_get_min_height(p.get()), KEL_BLOB_UNSET);
  EXPECT_EQ(kel_blob_get_max_height(p.get()), KEL_BLOB_UNSET);
  EXPECT_EQ(p->reserved, 2u);

  // Each setter writes its own field only.
  kel_blob_set_blob_color(p.get(), 255);
  kel_blob_set_connected(p.get(), 4);
  kel_blob_set_min_area(p.get(), 1);
  kel_blob_set_max_area(p.get(), 2);
  kel_blob_set_min_width(p.get(), 3);
  kel_blob_set_max_width(p.get(), 4);
  kel_blob_set_min_height(p.get(), 5);
  kel_blob_set_max_height(p.get(), 6);
  EXPECT_EQ(p->blob_color, 255);
  EXPECT_EQ(p->connected, 4u);
  EXPECT_EQ(p->min_area, 1u);
  EXPECT_EQ(p->max_area, 2u);
  EXPECT_EQ(p->min_width, 3u);
  EXPECT_EQ(p->max_width, 4u);
  EXPECT_EQ(p->min_height, 5u);
  EXPECT_EQ(p->max_height, 6u);

  kt::blob::Results r(kel_blob_create_results(7, 0, &status));
  ASSERT_TRUE(r);
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(r->size, 120u);
  EXPECT_EQ(r->num_found, 0u);
  EXPECT_EQ(r->capacity, 7u);
  EXPECT_EQ(r->growable, 0u);
  EXPECT_EQ(r->run_capacity, 1024u);
  ASSERT_TRUE(r->runs_a && r->runs_b);
  EXPECT_EQ(sizeof(BlobRecord), 80u);
  EXPECT_EQ(sizeof(BlobRun), 16u);
  for (unsigned i = 0; i < r->capacity; ++i) {
    ASSERT_TRUE(r->blobs[i]);
    EXPECT_EQ(r->blobs[i]->size, 80u);
  }
  // A table of no slots is valid and grows when allowed to.
  kt::blob::Results empty(kel_blob_create_results(0, 1, nullptr));
  ASSERT_TRUE(empty);
  EXPECT_EQ(empty->capacity, 0u);

  kt::blob::Perims perims(kel_blob_perimeter_create_results(3, 9, 1, &status));
  ASSERT_TRUE(perims);
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(perims->count, 0u);
  EXPECT_EQ(perims->capacity, 3u);
  EXPECT_EQ(perims->growable, 1u);
  EXPECT_EQ(perims->point_capacity, 9u);
  for (unsigned i = 0; i < 3; ++i) {
    ASSERT_TRUE(perims->sets[i]);
    EXPECT_EQ(perims->sets[i]->capacity, 9u);
    EXPECT_EQ(perims->sets[i]->count, 0u);
  }

  // Deleting null records is allowed; null records read as 0.
  kel_blob_delete_params(nullptr);
  kel_blob_delete_results(nullptr);
  kel_blob_perimeter_delete_results(nullptr);
  kel_delete_perim_struct(nullptr);
  EXPECT_EQ(kel_blob_get_num_found(nullptr), 0u);
  EXPECT_EQ(kel_blob_get_min_area(nullptr), 0u);
  EXPECT_EQ(kel_blob_get_area(nullptr, 0), 0u);
  EXPECT_EQ(kel_blob_get_area(r.get(), 7), 0u);  // outside the slot table
  EXPECT_EQ(kel_blob_get_area(r.get(), -1), 0u);
  EXPECT_NO_REPORT();
}

TEST_F(Blob, EmptyImagesFindNothing) {
  auto p = white_params();
  auto r = results();
  kt::TestImage none = kt::image(BYTE, 5, 0);
  r->num_found = 3;  // left over from an earlier find
  EXPECT_EQ(kel_blob_find(none, p.get(), r.get(), 1), 0);
  EXPECT_EQ(kel_blob_get_num_found(r.get()), 0u);
  kt::TestImage blank = art({".......", "......."}, true);
  EXPECT_EQ(kel_blob_find(blank, p.get(), r.get(), 0), 0);
  EXPECT_EQ(kel_blob_get_num_found(r.get()), 0u);
  // The scratch values of the parameters follow the blob colour.
  EXPECT_EQ(p->object_byte, 255);
  EXPECT_EQ(p->background_byte, 0);
  EXPECT_EQ(p->object_word, 0xFFFFFFFFu);
  EXPECT_EQ(p->background_word, 0u);
  EXPECT_NO_REPORT();
}

TEST_F(Blob, OnePixelBlob) {
  for (bool black : {false, true}) {
    auto p = white_params();
    if (black) kel_blob_set_blob_color(p.get(), 7);  // any value but 255: black blobs
    auto r = results();
    kt::TestImage img = art({"....", "..#.", "...."}, false, black ? 0 : 255);
    ASSERT_EQ(kel_blob_find(img, p.get(), r.get(), 1), 0);
    ASSERT_EQ(kel_blob_get_num_found(r.get()), 1u);
    EXPECT_EQ(kel_blob_get_area(r.get(), 0), 1u);
    EXPECT_EQ(kel_blob_get_perim(r.get(), 0), 4u);
    EXPECT_EQ(kel_blob_get_width(r.get(), 0), 1u);
    EXPECT_EQ(kel_blob_get_height(r.get(), 0), 1u);
    EXPECT_EQ(box(r.get(), 0), (Box{2, 1, 2, 1}));
    EXPECT_EQ(kel_blob_get_xfirst(r.get(), 0), 2u);
    EXPECT_EQ(kel_blob_get_yfirst(r.get(), 0), 1u);
    EXPECT_EQ(kel_blob_get_xcent(r.get(), 0), 2.0);
    EXPECT_EQ(kel_blob_get_ycent(r.get(), 0), 1.0);
    EXPECT_EQ(p->object_word, black ? 0u : 0xFFFFFFFFu);
  }
}

TEST_F(Blob, CornerContactJoinsOnlyUnderEightConnectivity) {
  // Each pair touches at a corner, once leaning each way.
  kt::TestImage img = art({"#....#", ".#..#.", "......"});
  auto r = results();
  auto p8 = white_params(8);
  ASSERT_EQ(kel_blob_find(img, p8.get(), r.get(), 1), 0);
  ASSERT_EQ(kel_blob_get_num_found(r.get()), 2u);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(kel_blob_get_area(r.get(), i), 2u);
    EXPECT_EQ(kel_blob_get_perim(r.get(), i), 8u);  // no shared edge
    EXPECT_EQ(kel_blob_get_width(r.get(), i), 2u);
    EXPECT_EQ(kel_blob_get_height(r.get(), i), 2u);
  }
  EXPECT_EQ(box(r.get(), 0), (Box{0, 0, 1, 1}));
  EXPECT_EQ(box(r.get(), 1), (Box{4, 0, 5, 1}));
  EXPECT_EQ(kel_blob_get_xfirst(r.get(), 1), 5u);
  EXPECT_EQ(kel_blob_get_xcent(r.get(), 1), 4.5);

  auto p4 = white_params(4);
  ASSERT_EQ(kel_blob_find(img, p4.get(), r.get(), 1), 0);
  ASSERT_EQ(kel_blob_get_num_found(r.get()), 4u);
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(kel_blob_get_area(r.get(), i), 1u);
    EXPECT_EQ(kel_blob_get_perim(r.get(), i), 4u);
  }
  EXPECT_EQ(kel_blob_get_xfirst(r.get(), 2), 1u);  // creation order: row 0, then row 1
  EXPECT_EQ(kel_blob_get_xfirst(r.get(), 3), 4u);
}

TEST_F(Blob, RingCountsItsHoleAndInnerEdges) {
  kt::TestImage img = art({".......", ".#####.", ".#...#.", ".#####.", "......."});
  auto r = results();
  for (unsigned connected : {4u, 8u}) {
    auto p = white_params(connected);
    ASSERT_EQ(kel_blob_find(img, p.get(), r.get(), 1), 0);
    ASSERT_EQ(kel_blob_get_num_found(r.get()), 1u);
    EXPECT_EQ(r->blobs[0]->holes, 1u);
    EXPECT_EQ(kel_blob_get_area(r.get(), 0), 12u);
    EXPECT_EQ(kel_blob_get_perim(r.get(), 0), 16u + 8u);  // outer 16, inner 8
    EXPECT_EQ(box(r.get(), 0), (Box{1, 1, 5, 3}));
    EXPECT_EQ(kel_blob_get_xcent(r.get(), 0), 3.0);
    EXPECT_EQ(kel_blob_get_ycent(r.get(), 0), 2.0);
  }
}

TEST_F(Blob, MergedArmLeavesItsSlotToTheLastBlob) {
  // Slots in creation order: 0 the right arm (2,0), 1 the column (6,0),
  // 2 the left arm (0,1), 3 the dot (4,2). At row 2 the left arm's run comes
  // first, so its blob (slot 2) survives and slot 0 is merged away; the dot,
  // last in the table, moves into slot 0.
  for (bool as_view : {false, true}) {
    kt::TestImage img = art({"..#...#", "#.#...#", "###.#.#"}, as_view);
    auto p = white_params(8);
    auto r = results(4, 0);
    ASSERT_EQ(kel_blob_find(img, p.get(), r.get(), 1), 0);
    ASSERT_EQ(kel_blob_get_num_found(r.get()), 3u);
    EXPECT_EQ(box(r.get(), 0), (Box{4, 2, 4, 2}));  // the dot
    EXPECT_EQ(box(r.get(), 1), (Box{6, 0, 6, 2}));  // the column
    EXPECT_EQ(kel_blob_get_area(r.get(), 1), 3u);
    EXPECT_EQ(kel_blob_get_perim(r.get(), 1), 8u);
    // The U: its first pixel came from the merged arm.
    EXPECT_EQ(box(r.get(), 2), (Box{0, 0, 2, 2}));
    EXPECT_EQ(kel_blob_get_xfirst(r.get(), 2), 2u);
    EXPECT_EQ(kel_blob_get_yfirst(r.get(), 2), 0u);
    EXPECT_EQ(kel_blob_get_area(r.get(), 2), 6u);
    EXPECT_EQ(kel_blob_get_perim(r.get(), 2), 14u);
    EXPECT_EQ(kel_blob_get_xcent(r.get(), 2), 7.0 / 6);
    EXPECT_EQ(kel_blob_get_ycent(r.get(), 2), 8.0 / 6);
    // The record of the merged arm is marked and sits behind the kept ones.
    EXPECT_TRUE(r->blobs[3]->deleted);
    EXPECT_EQ(r->blobs[3]->xfirst, 2u);
    EXPECT_EQ(r->blobs[2]->holes, 0u);
  }
}

TEST_F(Blob, LimitsDropBlobsOutsideThem) {
  // Row 0: a blob 5000 wide; row 2: widths 5 and 4; rows 4-9: a column.
  std::vector<std::string> rows(10, std::string(5000, '.'));
  rows[0] = std::string(5000, '#');
  rows[2].replace(0, 5, "#####");
  rows[2].replace(10, 4, "####");
  for (int y = 4; y < 10; ++y)
    rows[y][20] = '#';
  kt::TestImage img = art(rows);
  auto r = results(2, 1);
  auto found = [&](const BlobParams *p) {
    EXPECT_EQ(kel_blob_find(img, const_cast<BlobParams *>(p), r.get(), 1), 0);
    std::vector<unsigned> widths;
    for (unsigned i = 0; i < kel_blob_get_num_found(r.get()); ++i)
      widths.push_back(kel_blob_get_width(r.get(), i));
    return widths;
  };
  auto p = white_params();
  EXPECT_EQ(found(p.get()), (std::vector<unsigned>{5000, 5, 4, 1}));
  EXPECT_GE(r->run_capacity, 2501u);  // widened to the widest row

  // Only a minimum width: the unset maximum still stands at 4096.
  kel_blob_set_min_width(p.get(), 5);
  EXPECT_EQ(found(p.get()), (std::vector<unsigned>{5}));
  kel_blob_set_min_width(p.get(), KEL_BLOB_UNSET);
  kel_blob_set_max_width(p.get(), 4);
  EXPECT_EQ(found(p.get()), (std::vector<unsigned>{1, 4}));  // the column fills the first hole
  // Widths compare as signed values: a maximum of 0xFFFFFFFE is -2.
  kel_blob_set_max_width(p.get(), 0xFFFFFFFEu);
  EXPECT_EQ(found(p.get()), (std::vector<unsigned>{}));
  kel_blob_set_max_width(p.get(), KEL_BLOB_UNSET);

  kel_blob_set_min_height(p.get(), 2);
  EXPECT_EQ(found(p.get()), (std::vector<unsigned>{1}));
  kel_blob_set_min_height(p.get(), KEL_BLOB_UNSET);
  kel_blob_set_max_height(p.get(), 1);
  EXPECT_EQ(found(p.get()), (std::vector<unsigned>{5000, 5, 4}));
  kel_blob_set_max_height(p.get(), KEL_BLOB_UNSET);

  // Areas compare unsigned; an unset maximum is 2000000000.
  kel_blob_set_min_area(p.get(), 5);
  EXPECT_EQ(found(p.get()), (std::vector<unsigned>{5000, 5, 1}));
  kel_blob_set_max_area(p.get(), 0xFFFFFFFEu);
  EXPECT_EQ(found(p.get()), (std::vector<unsigned>{5000, 5, 1}));
  kel_blob_set_max_area(p.get(), 5);
  EXPECT_EQ(found(p.get()), (std::vector<unsigned>{5}));
  kel_blob_set_min_area(p.get(), KEL_BLOB_UNSET);
  EXPECT_EQ(found(p.get()), (std::vector<unsigned>{4, 5}));
  EXPECT_NO_REPORT();
}

TEST_F(Blob, CoordinateModesOnViewAndMaster) {
  // A 2 by 3 blob at (1, 1) of a 5 by 6 image; the view lies at (3, 2) of a
  // master 11 rows high.
  const std::vector<std::string> rows = {".....", ".##..", ".##..", ".##..", ".....", "....."};
  struct Expected {
    unsigned xmin, xmax, ymin, ymax, xfirst, yfirst;
    double xcent, ycent;
  };
  // Image: x 1..2, y 1..3, centre (1.5, 2). Master: x 4..5, y 3..5.
  const Expected view_modes[4] = {
      {4, 5, 3, 5, 4, 3, 4.5, 4},            // 0: master
      {1, 2, 1, 3, 1, 1, 1.5, 2},            // 1: image
      {4, 5, 11 - 3, 11 - 5, 4, 8, 4.5, 7},  // 2: master, y up in the master's 11 rows
      {1, 2, 6 - 1, 6 - 3, 1, 5, 1.5, 4},    // 3: image, y up in its own 6 rows
  };
  const Expected master_modes[4] = {
      {1, 2, 1, 3, 1, 1, 1.5, 2},
      {1, 2, 1, 3, 1, 1, 1.5, 2},
      {1, 2, 5, 3, 1, 5, 1.5, 4},
      {1, 2, 5, 3, 1, 5, 1.5, 4},
  };
  for (bool as_view : {false, true}) {
    kt::TestImage img = art(rows, as_view);
    auto p = white_params();
    auto r = results();
    for (unsigned coords = 0; coords < 4; ++coords) {
      SCOPED_TRACE(testing::Message() << "view " << as_view << " coords " << coords);
      const Expected &e = as_view ? view_modes[coords] : master_modes[coords];
      ASSERT_EQ(kel_blob_find(img, p.get(), r.get(), coords), 0);
      ASSERT_EQ(kel_blob_get_num_found(r.get()), 1u);
      EXPECT_EQ(box(r.get(), 0), (Box{e.xmin, e.ymin, e.xmax, e.ymax}));
      EXPECT_EQ(kel_blob_get_xfirst(r.get(), 0), e.xfirst);
      EXPECT_EQ(kel_blob_get_yfirst(r.get(), 0), e.yfirst);
      EXPECT_EQ(kel_blob_get_xcent(r.get(), 0), e.xcent);
      EXPECT_EQ(kel_blob_get_ycent(r.get(), 0), e.ycent);
      EXPECT_EQ(kel_blob_get_width(r.get(), 0), 2u);
      EXPECT_EQ(kel_blob_get_height(r.get(), 0), 3u);
    }
  }
  // Rows 10..20 of a master 100 high, y up: 90 and 80 (H - y, not H - 1 - y).
  kt::TestImage tall = kt::image(BYTE, 3, 100);
  for (int y = 10; y <= 20; ++y)
    kt::set(tall, 1, y, 255);
  auto p = white_params();
  auto r = results();
  ASSERT_EQ(kel_blob_find(tall, p.get(), r.get(), 2), 0);
  EXPECT_EQ(kel_blob_get_ymin(r.get(), 0), 90u);
  EXPECT_EQ(kel_blob_get_ymax(r.get(), 0), 80u);
}

std::vector<unsigned> xfirsts(const BlobResults *r) {
  std::vector<unsigned> v;
  for (unsigned i = 0; i < kel_blob_get_num_found(r); ++i)
    v.push_back(kel_blob_get_xfirst(r, i));
  return v;
}

TEST_F(Blob, SortOrdersTiesTheSameWay) {
  // Areas 2, 1, 2, 1, 2 at x = 0, 3, 5, 8, 10.
  kt::TestImage img = art({"##.#.##.#.##"});
  auto p = white_params();
  auto r = results();
  ASSERT_EQ(kel_blob_find(img, p.get(), r.get(), 1), 0);
  ASSERT_EQ(kel_blob_sort(r.get(), KEL_BLOB_SORT_AREA, 0), 0);
  EXPECT_EQ(xfirsts(r.get()), (std::vector<unsigned>{8, 3, 10, 5, 0}));
  ASSERT_EQ(kel_blob_find(img, p.get(), r.get(), 1), 0);
  ASSERT_EQ(kel_blob_sort(r.get(), KEL_BLOB_SORT_AREA, 1), 0);
  EXPECT_EQ(xfirsts(r.get()), (std::vector<unsigned>{10, 5, 0, 8, 3}));
  // All equal: the heap only rotates the first blob to the back.
  ASSERT_EQ(kel_blob_find(img, p.get(), r.get(), 1), 0);
  ASSERT_EQ(kel_blob_sort(r.get(), KEL_BLOB_SORT_HEIGHT, 0), 0);
  EXPECT_EQ(xfirsts(r.get()), (std::vector<unsigned>{3, 5, 8, 10, 0}));
  ASSERT_EQ(kel_blob_sort(r.get(), KEL_BLOB_SORT_XCENT, 1), 0);
  EXPECT_EQ(xfirsts(r.get()), (std::vector<unsigned>{10, 8, 5, 3, 0}));
  ASSERT_EQ(kel_blob_sort(r.get(), KEL_BLOB_SORT_XY_DIFF, 0), 0);
  EXPECT_EQ(xfirsts(r.get()), (std::vector<unsigned>{0, 3, 5, 8, 10}));
  ASSERT_EQ(kel_blob_sort(r.get(), KEL_BLOB_SORT_WIDTH, 1), 0);  // widths 2, 1, 2, 1, 2
  EXPECT_EQ(xfirsts(r.get()), (std::vector<unsigned>{10, 5, 0, 8, 3}));
  EXPECT_NO_REPORT();
}

TEST_F(Blob, SortByRowsAndColumnsFollowsTheGrid) {
  // Two rows of three 3 by 5 blocks, each row ragged by one pixel, so that
  // raster order differs from reading order. Mean height 5, half 2: ymin
  // that differ by 1 share a row.
  std::vector<std::string> rows(14, std::string(20, '.'));
  auto square = [&](int x, int y) {
    for (int j = 0; j < 5; ++j)
      rows[y + j].replace(x, 3, "###");
  };
  square(0, 1);   // top row, left, one lower
  square(6, 0);   // top row, middle
  square(12, 1);  // top row, right
  square(1, 8);   // bottom row
  square(7, 9);
  square(13, 8);
  kt::TestImage img = art(rows);
  auto p = white_params();
  auto r = results();
  ASSERT_EQ(kel_blob_find(img, p.get(), r.get(), 1), 0);
  ASSERT_EQ(kel_blob_get_num_found(r.get()), 6u);
  EXPECT_EQ(xfirsts(r.get()), (std::vector<unsigned>{6, 0, 12, 1, 13, 7}));
  ASSERT_EQ(kel_blob_sort(r.get(), KEL_BLOB_SORT_ROWS, 0), 0);
  EXPECT_EQ(xfirsts(r.get()), (std::vector<unsigned>{0, 6, 12, 1, 7, 13}));
  ASSERT_EQ(kel_blob_sort(r.get(), KEL_BLOB_SORT_ROWS, 1), 0);
  EXPECT_EQ(xfirsts(r.get()), (std::vector<unsigned>{13, 7, 1, 12, 6, 0}));
  // Columns: mean width 3, half 1, so only equal xmin share a column; every
  // square has its own xmin and the order is by xcent.
  ASSERT_EQ(kel_blob_sort(r.get(), KEL_BLOB_SORT_COLUMNS, 0), 0);
  EXPECT_EQ(xfirsts(r.get()), (std::vector<unsigned>{0, 1, 6, 7, 12, 13}));
  ASSERT_EQ(kel_blob_sort(r.get(), KEL_BLOB_SORT_YCENT, 0), 0);
  for (unsigned i = 1; i < 6; ++i)
    EXPECT_LE(kel_blob_get_ycent(r.get(), i - 1), kel_blob_get_ycent(r.get(), i));
  ASSERT_EQ(kel_blob_sort(r.get(), KEL_BLOB_SORT_XY_SUM, 1), 0);
  for (unsigned i = 1; i < 6; ++i)
    EXPECT_GE(kel_blob_get_xcent(r.get(), i - 1) + kel_blob_get_ycent(r.get(), i - 1),
              kel_blob_get_xcent(r.get(), i) + kel_blob_get_ycent(r.get(), i));
}

TEST_F(Blob, RefusedSortsChangeNothingAndReportNothing) {
  kt::TestImage img = art({"#.##.#"});
  auto p = white_params();
  auto r = results();
  ASSERT_EQ(kel_blob_find(img, p.get(), r.get(), 1), 0);
  const std::vector<unsigned> before = xfirsts(r.get());
  kt::clear_report();
  EXPECT_EQ(kel_blob_sort(nullptr, 0, 0), KEL_ERR_ARGUMENT);
  EXPECT_EQ(kel_blob_sort(r.get(), 10, 0), KEL_ERR_ARGUMENT);
  EXPECT_EQ(kel_blob_sort(r.get(), 0, 2), KEL_ERR_ARGUMENT);
  EXPECT_EQ(xfirsts(r.get()), before);
  kt::TestImage one = art({"..#.."});
  ASSERT_EQ(kel_blob_find(one, p.get(), r.get(), 1), 0);
  BlobRecord *only = r->blobs[0];
  EXPECT_EQ(kel_blob_sort(r.get(), 0, 0), KEL_ERR_ARGUMENT);
  EXPECT_EQ(r->blobs[0], only);
  EXPECT_NO_REPORT();
}

TEST_F(Blob, TableGrowsByAFifthOrFailsWhenFixed) {
  // Thirteen separate dots.
  kt::TestImage img = art({"#.#.#.#.#.#.#.#.#.#.#.#.#"});
  auto p = white_params();
  auto grown = results(10, 1);
  ASSERT_EQ(kel_blob_find(img, p.get(), grown.get(), 1), 0);
  EXPECT_EQ(kel_blob_get_num_found(grown.get()), 13u);
  EXPECT_EQ(grown->capacity, 14u);  // 10, 12, 14
  auto from_zero = results(0, 1);
  ASSERT_EQ(kel_blob_find(img, p.get(), from_zero.get(), 1), 0);
  EXPECT_EQ(from_zero->capacity, 14u);  // 0, 1, 2, ... 10 one at a time, then 12, 14
  EXPECT_EQ(kel_blob_get_xfirst(from_zero.get(), 12), 24u);

  auto fixed = results(12, 0);
  kt::clear_report();
  EXPECT_EQ(kel_blob_find(img, p.get(), fixed.get(), 1), KEL_ERR_BLOB_FULL);
  EXPECT_REPORT("kel_blob_find", 101);
  EXPECT_EQ(fixed->capacity, 12u);
  auto exact = results(13, 0);
  EXPECT_EQ(kel_blob_find(img, p.get(), exact.get(), 1), 0);
}

TEST_F(Blob, FindFailures) {
  auto p = white_params();
  auto r = results();
  kt::TestImage img = art({"#.#", "..."});
  EXPECT_EQ(kel_blob_find(nullptr, p.get(), r.get(), 1), KEL_ERR_NULL_IMAGE);
  EXPECT_REPORT("kel_blob_find", 1);
  EXPECT_EQ(kel_blob_find(img, nullptr, r.get(), 1), KEL_ERR_ARGUMENT);
  EXPECT_REPORT("kel_blob_find", 10);
  EXPECT_EQ(kel_blob_find(img, p.get(), nullptr, 1), KEL_ERR_ARGUMENT);
  EXPECT_REPORT("kel_blob_find", 10);
  kt::TestImage words = kt::image(WORD, 3, 2);
  EXPECT_EQ(kel_blob_find(words, p.get(), r.get(), 1), KEL_ERR_TYPE_MISMATCH);
  EXPECT_REPORT("kel_blob_find", 13);

  // A 128 anywhere stops the find: in a background stretch, inside a run,
  // at the end of a row, in the word-skipped middle of a long row.
  const std::vector<std::vector<std::string>> strays = {
      {"....\x80....", "........"},
      {"..###\x80##.", "........"},
      {"........", ".......\x80"},
      {"...................\x80.....................", std::string(41, '.')},
      {std::string(20, '#') + "\x80" + std::string(20, '#'), std::string(41, '.')},
  };
  for (const auto &rows : strays)
    for (bool as_view : {false, true}) {
      kt::TestImage bad = art(rows, as_view);
      kt::clear_report();
      EXPECT_EQ(kel_blob_find(bad, p.get(), r.get(), 1), KEL_ERR_BLOB_SEARCH);
      EXPECT_REPORT("kel_blob_find", 100);
    }
  // With black blobs, 255 is background and 0 the object; 128 is neither.
  kel_blob_set_blob_color(p.get(), 0);
  kt::TestImage bad = art({"..\x80.."}, false, 0);
  EXPECT_EQ(kel_blob_find(bad, p.get(), r.get(), 1), KEL_ERR_BLOB_SEARCH);
}

}  // namespace
