// Blob finding: record defaults, exact measures of small drawn objects, the
// merge and compaction order, limits, coordinate modes, sorting, and every
// failure report.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kelkit.h"
#include "measure/blob/blob_support.hpp"
#include "support/test_images.hpp"

namespace {

using kt::blob::art;
using kt::blob::measures;
using kt::blob::results;
using kt::blob::white_params;
using kt::blob::xfirsts;
using M = kt::blob::Measures;
using Ms = std::vector<M>;
using U = std::vector<unsigned>;

class Blob : public ::testing::Test {
 protected:
  void SetUp() override { kt::clear_report(); }
};

TEST_F(Blob, RecordsStartWithTheirDefaults) {
  unsigned status = 99;
  kt::blob::Params p(kel_blob_create_params(&status));
  ASSERT_TRUE(p);
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(p->size, 52u);
  EXPECT_EQ(p->blob_color, 0);
  EXPECT_EQ(p->connected, 8u);
  EXPECT_EQ(p->reserved, 2u);
  for (unsigned limit :
       {p->min_area, p->max_area, p->min_width, p->max_width, p->min_height, p->max_height})
    EXPECT_EQ(limit, KEL_BLOB_UNSET);

  kt::blob::Results r(kel_blob_create_results(7, 0, &status));
  ASSERT_TRUE(r);
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(r->size, 120u);
  EXPECT_EQ(r->num_found, 0u);
  EXPECT_EQ(r->capacity, 7u);
  EXPECT_EQ(r->growable, 0u);
  EXPECT_EQ(r->run_capacity, 1024u);
  ASSERT_TRUE(r->runs_a && r->runs_b);
  for (unsigned i = 0; i < r->capacity; ++i)
    EXPECT_EQ(r->blobs[i]->size, 80u);

  kt::blob::Perims perims(kel_blob_perimeter_create_results(3, 9, 1, &status));
  ASSERT_TRUE(perims);
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(perims->count, 0u);
  EXPECT_EQ(perims->capacity, 3u);
  EXPECT_EQ(perims->point_capacity, 9u);
  for (unsigned i = 0; i < 3; ++i)
    EXPECT_EQ(perims->sets[i]->capacity, 9u);

  // Null records are allowed in deletes and read as 0, as do indexes
  // outside the slot table.
  kel_blob_delete_params(nullptr);
  kel_blob_delete_results(nullptr);
  kel_blob_perimeter_delete_results(nullptr);
  kel_delete_perim_struct(nullptr);
  EXPECT_EQ(kel_blob_get_num_found(nullptr), 0u);
  EXPECT_EQ(kel_blob_get_min_area(nullptr), 0u);
  EXPECT_EQ(kel_blob_get_area(nullptr, 0), 0u);
  EXPECT_EQ(kel_blob_get_area(r.get(), 7), 0u);
  EXPECT_EQ(kel_blob_get_area(r.get(), -1), 0u);
  EXPECT_NO_REPORT();
}

TEST_F(Blob, EmptyImageAndOnePixel) {
  auto p = white_params();
  auto r = results();
  kt::TestImage none = kt::image(BYTE, 5, 0);
  r->num_found = 3;  // left from an earlier find
  EXPECT_EQ(kel_blob_find(none, p.get(), r.get(), 1), 0);
  EXPECT_EQ(kel_blob_get_num_found(r.get()), 0u);
  EXPECT_EQ(kel_blob_find(art({".......", "......."}, true), p.get(), r.get(), 0), 0);
  EXPECT_EQ(kel_blob_get_num_found(r.get()), 0u);
  EXPECT_EQ(p->object_word, 0xFFFFFFFFu);
  EXPECT_EQ(p->background_word, 0u);

  // White blobs, then black ones (any colour but 255 means black).
  for (unsigned char colour : {255, 7}) {
    kel_blob_set_blob_color(p.get(), colour);
    kt::TestImage img = art({"....", "..#.", "...."}, false, colour == 255 ? 255 : 0);
    ASSERT_EQ(kel_blob_find(img, p.get(), r.get(), 1), 0);
    EXPECT_EQ(measures(r.get()), (Ms{{2, 1, 2, 1, 2, 1, 1, 4, 2.0, 1.0}}));
    EXPECT_EQ(kel_blob_get_width(r.get(), 0), 1u);
    EXPECT_EQ(kel_blob_get_height(r.get(), 0), 1u);
    EXPECT_EQ(p->object_byte, colour == 255 ? 255 : 0);
    EXPECT_EQ(p->background_byte, colour == 255 ? 0 : 255);
  }
  EXPECT_NO_REPORT();
}

TEST_F(Blob, CornerContactJoinsOnlyUnderEightConnectivity) {
  // Two pairs touching at a corner, one leaning each way.
  kt::TestImage img = art({"#....#", ".#..#.", "......"});
  auto r = results();
  ASSERT_EQ(kel_blob_find(img, white_params(8).get(), r.get(), 1), 0);
  EXPECT_EQ(measures(r.get()), (Ms{{0, 0, 1, 1, 0, 0, 2, 8, 0.5, 0.5},  // no shared edge
                                   {4, 0, 5, 1, 5, 0, 2, 8, 4.5, 0.5}}));
  ASSERT_EQ(kel_blob_find(img, white_params(4).get(), r.get(), 1), 0);
  EXPECT_EQ(measures(r.get()), (Ms{{0, 0, 0, 0, 0, 0, 1, 4, 0, 0},
                                   {5, 0, 5, 0, 5, 0, 1, 4, 5, 0},
                                   {1, 1, 1, 1, 1, 1, 1, 4, 1, 1},
                                   {4, 1, 4, 1, 4, 1, 1, 4, 4, 1}}));
}

TEST_F(Blob, RingCountsItsHoleAndInnerEdges) {
  kt::TestImage img = art({".......", ".#####.", ".#...#.", ".#####.", "......."});
  auto r = results();
  for (unsigned connected : {4u, 8u}) {
    ASSERT_EQ(kel_blob_find(img, white_params(connected).get(), r.get(), 1), 0);
    // Perimeter: 16 outer edges and 8 inner ones.
    EXPECT_EQ(measures(r.get()), (Ms{{1, 1, 5, 3, 1, 1, 12, 24, 3.0, 2.0}}));
    EXPECT_EQ(r->blobs[0]->holes, 1u);
  }
}

TEST_F(Blob, MergedArmLeavesItsSlotToTheLastBlob) {
  // Slots in creation order: 0 the right arm (2,0), 1 the column (6,0),
  // 2 the left arm (0,1), 3 the dot (4,2). At row 2 the left arm's run comes
  // first, so its blob (slot 2) survives and slot 0 is merged away; the dot,
  // last in the table, moves into slot 0. The U takes the first pixel of the
  // merged arm.
  for (bool as_view : {false, true}) {
    kt::TestImage img = art({"..#...#", "#.#...#", "###.#.#"}, as_view);
    auto r = results(4, 0);
    ASSERT_EQ(kel_blob_find(img, white_params(8).get(), r.get(), 1), 0);
    EXPECT_EQ(measures(r.get()), (Ms{{4, 2, 4, 2, 4, 2, 1, 4, 4, 2},
                                     {6, 0, 6, 2, 6, 0, 3, 8, 6, 1},
                                     {0, 0, 2, 2, 2, 0, 6, 14, 7.0 / 6, 8.0 / 6}}));
    EXPECT_TRUE(r->blobs[3]->deleted);
    EXPECT_EQ(r->blobs[3]->xfirst, 2u);
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
  auto p = white_params();
  auto widths = [&] {
    EXPECT_EQ(kel_blob_find(img, p.get(), r.get(), 1), 0);
    U v;
    for (int i = 0; i < int(kel_blob_get_num_found(r.get())); ++i)
      v.push_back(kel_blob_get_width(r.get(), i));
    return v;
  };
  EXPECT_EQ(widths(), (U{5000, 5, 4, 1}));
  EXPECT_EQ(r->run_capacity, 2501u);  // widened to the widest row

  // Only a minimum width: the unset maximum still stands at 4096.
  kel_blob_set_min_width(p.get(), 5);
  EXPECT_EQ(widths(), (U{5}));
  kel_blob_set_min_width(p.get(), KEL_BLOB_UNSET);
  kel_blob_set_max_width(p.get(), 4);
  EXPECT_EQ(widths(), (U{1, 4}));                // the column fills the first hole
  kel_blob_set_max_width(p.get(), 0xFFFFFFFEu);  // signed: -2
  EXPECT_EQ(widths(), (U{}));
  kel_blob_set_max_width(p.get(), KEL_BLOB_UNSET);

  kel_blob_set_min_height(p.get(), 2);
  EXPECT_EQ(widths(), (U{1}));
  kel_blob_set_min_height(p.get(), KEL_BLOB_UNSET);
  kel_blob_set_max_height(p.get(), 1);
  EXPECT_EQ(widths(), (U{5000, 5, 4}));
  kel_blob_set_max_height(p.get(), KEL_BLOB_UNSET);

  // Areas compare unsigned; an unset maximum is 2000000000.
  kel_blob_set_min_area(p.get(), 5);
  EXPECT_EQ(widths(), (U{5000, 5, 1}));
  kel_blob_set_max_area(p.get(), 0xFFFFFFFEu);
  EXPECT_EQ(widths(), (U{5000, 5, 1}));
  kel_blob_set_max_area(p.get(), 5);
  EXPECT_EQ(widths(), (U{5}));
  kel_blob_set_min_area(p.get(), KEL_BLOB_UNSET);
  EXPECT_EQ(widths(), (U{4, 5}));
  EXPECT_NO_REPORT();
}

TEST_F(Blob, CoordinateModesOnViewAndMaster) {
  // A 2 by 3 blob at (1, 1) of a 5 by 6 image; the view lies at (3, 2) of a
  // master 11 rows high. Flips are H - y, and ymin and ymax flip each alone.
  const std::vector<std::string> rows = {".....", ".##..", ".##..", ".##..", ".....", "....."};
  const M in_image{1, 1, 2, 3, 1, 1, 6, 10, 1.5, 2};
  const M flipped{1, 5, 2, 3, 1, 5, 6, 10, 1.5, 4};  // H = 6
  const M view_modes[4] = {{4, 3, 5, 5, 4, 3, 6, 10, 4.5, 4},
                           in_image,
                           {4, 8, 5, 6, 4, 8, 6, 10, 4.5, 7} /* H = 11 */,
                           flipped};
  const M master_modes[4] = {in_image, in_image, flipped, flipped};
  auto p = white_params();
  auto r = results();
  for (bool as_view : {false, true}) {
    kt::TestImage img = art(rows, as_view);
    for (unsigned coords = 0; coords < 4; ++coords) {
      ASSERT_EQ(kel_blob_find(img, p.get(), r.get(), coords), 0);
      EXPECT_EQ(measures(r.get()), (Ms{(as_view ? view_modes : master_modes)[coords]}))
          << "view " << as_view << " coords " << coords;
      EXPECT_EQ(kel_blob_get_width(r.get(), 0), 2u);
      EXPECT_EQ(kel_blob_get_height(r.get(), 0), 3u);
    }
  }
  // Rows 10..20 of a master 100 high, y up: 90 and 80.
  kt::TestImage tall = kt::image(BYTE, 3, 100);
  for (int y = 10; y <= 20; ++y)
    kt::set(tall, 1, y, 255);
  ASSERT_EQ(kel_blob_find(tall, p.get(), r.get(), 2), 0);
  EXPECT_EQ(kel_blob_get_ymin(r.get(), 0), 90u);
  EXPECT_EQ(kel_blob_get_ymax(r.get(), 0), 80u);
}

TEST_F(Blob, SortOrdersTiesTheSameWay) {
  // Areas 2, 1, 2, 1, 2 at x = 0, 3, 5, 8, 10; all one pixel high.
  kt::TestImage img = art({"##.#.##.#.##"});
  auto p = white_params();
  auto r = results();
  const std::pair<unsigned, U> cases[] = {
      {0, {8, 3, 10, 5, 0}},  // ascending area
      {1, {10, 5, 0, 8, 3}},  // descending area
  };
  for (const auto &[order, expected] : cases) {
    ASSERT_EQ(kel_blob_find(img, p.get(), r.get(), 1), 0);
    ASSERT_EQ(kel_blob_sort(r.get(), KEL_BLOB_SORT_AREA, order), 0);
    EXPECT_EQ(xfirsts(r.get()), expected) << order;
  }
  // All equal: the heap only rotates the first blob to the back.
  ASSERT_EQ(kel_blob_find(img, p.get(), r.get(), 1), 0);
  ASSERT_EQ(kel_blob_sort(r.get(), KEL_BLOB_SORT_HEIGHT, 0), 0);
  EXPECT_EQ(xfirsts(r.get()), (U{3, 5, 8, 10, 0}));
  ASSERT_EQ(kel_blob_sort(r.get(), KEL_BLOB_SORT_XY_DIFF, 1), 0);
  EXPECT_EQ(xfirsts(r.get()), (U{10, 8, 5, 3, 0}));

  // Refusals change nothing and report nothing.
  EXPECT_EQ(kel_blob_sort(nullptr, 0, 0), KEL_ERR_ARGUMENT);
  EXPECT_EQ(kel_blob_sort(r.get(), 10, 0), KEL_ERR_ARGUMENT);
  EXPECT_EQ(kel_blob_sort(r.get(), 0, 2), KEL_ERR_ARGUMENT);
  EXPECT_EQ(xfirsts(r.get()), (U{10, 8, 5, 3, 0}));
  ASSERT_EQ(kel_blob_find(art({"..#.."}), p.get(), r.get(), 1), 0);
  BlobRecord *only = r->blobs[0];
  EXPECT_EQ(kel_blob_sort(r.get(), 0, 0), KEL_ERR_ARGUMENT);
  EXPECT_EQ(r->blobs[0], only);
  EXPECT_NO_REPORT();
}

TEST_F(Blob, SortByRowsAndColumnsFollowsTheGrid) {
  // Two rows of three 3 by 5 blocks, each row ragged by one pixel, so that
  // raster order differs from reading order. Mean height 5, half 2: ymin
  // that differ by 1 share a row. Mean width 3, half 1: no two xmin share a
  // column, so columns go by xcent.
  std::vector<std::string> rows(14, std::string(20, '.'));
  for (auto [x, y] : {std::pair{0, 1}, {6, 0}, {12, 1}, {1, 8}, {7, 9}, {13, 8}})
    for (int j = 0; j < 5; ++j)
      rows[y + j].replace(x, 3, "###");
  kt::TestImage img = art(rows);
  auto r = results();
  ASSERT_EQ(kel_blob_find(img, white_params().get(), r.get(), 1), 0);
  EXPECT_EQ(xfirsts(r.get()), (U{6, 0, 12, 1, 13, 7}));
  ASSERT_EQ(kel_blob_sort(r.get(), KEL_BLOB_SORT_ROWS, 0), 0);
  EXPECT_EQ(xfirsts(r.get()), (U{0, 6, 12, 1, 7, 13}));
  ASSERT_EQ(kel_blob_sort(r.get(), KEL_BLOB_SORT_ROWS, 1), 0);
  EXPECT_EQ(xfirsts(r.get()), (U{13, 7, 1, 12, 6, 0}));
  ASSERT_EQ(kel_blob_sort(r.get(), KEL_BLOB_SORT_COLUMNS, 0), 0);
  EXPECT_EQ(xfirsts(r.get()), (U{0, 1, 6, 7, 12, 13}));
}

TEST_F(Blob, TableGrowsByAFifthOrFailsWhenFixed) {
  kt::TestImage img = art({"#.#.#.#.#.#.#.#.#.#.#.#.#"});  // 13 dots
  auto p = white_params();
  auto grown = results(10, 1);
  ASSERT_EQ(kel_blob_find(img, p.get(), grown.get(), 1), 0);
  EXPECT_EQ(kel_blob_get_num_found(grown.get()), 13u);
  EXPECT_EQ(grown->capacity, 14u);  // 10, 12, 14
  auto from_zero = results(0, 1);
  ASSERT_EQ(kel_blob_find(img, p.get(), from_zero.get(), 1), 0);
  EXPECT_EQ(from_zero->capacity, 14u);  // one at a time up to 10, then 12, 14
  EXPECT_EQ(kel_blob_get_xfirst(from_zero.get(), 12), 24u);

  auto fixed = results(12, 0);
  EXPECT_EQ(kel_blob_find(img, p.get(), fixed.get(), 1), KEL_ERR_BLOB_FULL);
  EXPECT_REPORT("kel_blob_find", 101);
  EXPECT_EQ(fixed->capacity, 12u);
  EXPECT_EQ(kel_blob_find(img, p.get(), results(13, 0).get(), 1), 0);
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
  EXPECT_EQ(kel_blob_find(kt::image(WORD, 3, 2), p.get(), r.get(), 1), KEL_ERR_TYPE_MISMATCH);
  EXPECT_REPORT("kel_blob_find", 13);

  // A 128 anywhere stops the find: in a background stretch, inside a run, at
  // the end of a row, in the word-skipped middle of long rows.
  const std::vector<std::vector<std::string>> strays = {
      {"....\x80....", "........"},
      {"..###\x80##.", "........"},
      {"........", ".......\x80"},
      {std::string(19, '.') + "\x80" + std::string(21, '.')},
      {std::string(20, '#') + "\x80" + std::string(20, '#')},
  };
  for (const auto &rows : strays)
    for (bool as_view : {false, true}) {
      kt::clear_report();
      EXPECT_EQ(kel_blob_find(art(rows, as_view), p.get(), r.get(), 1), KEL_ERR_BLOB_SEARCH);
      EXPECT_REPORT("kel_blob_find", 100);
    }
  kel_blob_set_blob_color(p.get(), 0);  // black blobs: 128 is still neither
  EXPECT_EQ(kel_blob_find(art({"..\x80.."}, false, 0), p.get(), r.get(), 1), KEL_ERR_BLOB_SEARCH);
}

}  // namespace
