// Blob boundary tracing: exact point lists of small drawn blobs, the
// capacity rules, the batch tracers and their failure reports.
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "kelkit.h"
#include "measure/blob/blob_support.hpp"
#include "support/test_images.hpp"

namespace {

using kt::blob::art;
using kt::blob::points;
using kt::blob::results;
using kt::blob::white_params;
using Points = std::vector<std::pair<int, int>>;

class BlobPerimeter : public ::testing::Test {
 protected:
  void SetUp() override { kt::clear_report(); }
};

// The blobs of a drawn image, in image coordinates.
kt::blob::Results find(const Image *img, unsigned connected = 8) {
  auto p = white_params(connected);
  auto r = results();
  EXPECT_EQ(kel_blob_find(const_cast<Image *>(img), p.get(), r.get(), 1), 0);
  return r;
}

Points trace(const Image *img, const BlobRecord *blob, unsigned char value = 255,
             unsigned capacity = 64) {
  kt::blob::Set set(kel_create_perim_struct(capacity));
  PerimeterPointSet *raw = set.release();
  EXPECT_EQ(kel_blob_find_perimeter_points(const_cast<Image *>(img), blob, value, &raw), 0);
  set.reset(raw);
  return raw ? points(raw) : Points{};
}

TEST_F(BlobPerimeter, TracesClockwiseWithoutRepeatingTheStart) {
  for (bool as_view : {false, true}) {
    kt::TestImage dot = art({"...", ".#.", "..."}, as_view);
    auto r = find(dot);
    EXPECT_EQ(trace(dot, r->blobs[0]), (Points{{1, 1}}));

    kt::TestImage square = art({"....", ".##.", ".##.", "...."}, as_view);
    r = find(square);
    EXPECT_EQ(trace(square, r->blobs[0]), (Points{{1, 1}, {2, 1}, {2, 2}, {1, 2}}));

    kt::TestImage bar = art({"###"}, as_view);
    r = find(bar);
    EXPECT_EQ(trace(bar, r->blobs[0]), (Points{{0, 0}, {1, 0}, {2, 0}, {1, 0}}));

    // The U: down the right arm, along the bottom, up the left arm, then
    // back along the inside of the bottom and the right arm.
    kt::TestImage u = art({"..#", "#.#", "###"}, as_view);
    r = find(u);
    EXPECT_EQ(trace(u, r->blobs[0]),
              (Points{{2, 0}, {2, 1}, {2, 2}, {1, 2}, {0, 2}, {0, 1}, {1, 2}, {2, 1}}));

    // Only the outer boundary of a ring; a diagonal step crosses a corner.
    kt::TestImage ring = art({"####.", "#..#.", "####.", "....#"}, as_view);
    r = find(ring);
    EXPECT_EQ(trace(ring, r->blobs[0]), (Points{{0, 0},
                                                {1, 0},
                                                {2, 0},
                                                {3, 0},
                                                {3, 1},
                                                {3, 2},
                                                {4, 3},
                                                {3, 2},
                                                {2, 2},
                                                {1, 2},
                                                {0, 2},
                                                {0, 1}}));
  }
}

TEST_F(BlobPerimeter, SetCapacityRules) {
  kt::TestImage square = art({"##", "##"});
  auto r = find(square);
  BlobRecord blob = *r->blobs[0];
  ASSERT_EQ(blob.perim, 8u);
  EXPECT_EQ(trace(square, &blob, 0), (Points{{0, 0}}));  // not the blob's value

  // Too small for the perimeter: replaced by a set of capacity perim.
  PerimeterPointSet *set = kel_create_perim_struct(2);
  ASSERT_EQ(kel_blob_find_perimeter_points(square, &blob, 255, &set), 0);
  kt::blob::Set owner(set);
  EXPECT_EQ(set->capacity, 8u);
  EXPECT_EQ(set->count, 4u);

  // A null set is made.
  PerimeterPointSet *made = nullptr;
  ASSERT_EQ(kel_blob_find_perimeter_points(square, &blob, 255, &made), 0);
  kt::blob::Set made_owner(made);
  ASSERT_TRUE(made);
  EXPECT_EQ(made->capacity, 8u);
  EXPECT_EQ(points(made), (Points{{0, 0}, {1, 0}, {1, 1}, {0, 1}}));

  // A set that fills up stops the trace and leaves its last point uncounted.
  blob.perim = 0;
  kt::blob::Set small(kel_create_perim_struct(3));
  PerimeterPointSet *raw = small.get();
  ASSERT_EQ(kel_blob_find_perimeter_points(square, &blob, 255, &raw), 0);
  EXPECT_EQ(raw, small.get());
  EXPECT_EQ(points(raw), (Points{{0, 0}, {1, 0}}));
  EXPECT_EQ(raw->x[2], 1);
  EXPECT_EQ(raw->y[2], 1);

  // A set of no points holds nothing.
  kt::blob::Set none(kel_create_perim_struct(0));
  raw = none.get();
  ASSERT_EQ(kel_blob_find_perimeter_points(square, &blob, 255, &raw), 0);
  EXPECT_EQ(raw->count, 0u);

  // A box reaching past the image is cut to it.
  blob.xmax = blob.ymax = 1000;
  kt::blob::Set big(kel_create_perim_struct(16));
  raw = big.get();
  ASSERT_EQ(kel_blob_find_perimeter_points(square, &blob, 255, &raw), 0);
  EXPECT_EQ(points(raw), (Points{{0, 0}, {1, 0}, {1, 1}, {0, 1}}));
  EXPECT_NO_REPORT();
}

TEST_F(BlobPerimeter, SingleTraceFailures) {
  kt::TestImage square = art({"##", "##"});
  kt::TestImage words = kt::image(WORD, 2, 2);
  auto r = find(square);
  kt::blob::Set set(kel_create_perim_struct(16));
  PerimeterPointSet *raw = set.get();
  const struct {
    Image *image;
    const BlobRecord *blob;
    PerimeterPointSet **set;
    int code;
  } cases[] = {{nullptr, r->blobs[0], &raw, 10},
               {square, nullptr, &raw, 10},
               {square, r->blobs[0], nullptr, 10},
               {words, r->blobs[0], &raw, 13}};
  for (const auto &c : cases) {
    kt::clear_report();
    EXPECT_EQ(kel_blob_find_perimeter_points(c.image, c.blob, 255, c.set), c.code);
    EXPECT_REPORT("kel_blob_find_perimeter_points", c.code);
  }
}

TEST_F(BlobPerimeter, TracesEveryBlobOfAResult) {
  // Three blobs: a dot, a column and the U (after compaction).
  kt::TestImage img = art({"..#...#", "#.#...#", "###.#.#"}, true);
  auto r = find(img);
  ASSERT_EQ(kel_blob_get_num_found(r.get()), 3u);
  const std::vector<Points> expected = {
      {{4, 2}},
      {{6, 0}, {6, 1}, {6, 2}, {6, 1}},
      {{2, 0}, {2, 1}, {2, 2}, {1, 2}, {0, 2}, {0, 1}, {1, 2}, {2, 1}},
  };

  // Fixed table of two sets: only the first two blobs.
  kt::blob::Perims fixed(kel_blob_perimeter_create_results(2, 4, 0, nullptr));
  ASSERT_EQ(kel_blob_results_find_perimeter_points(img, r.get(), 255, fixed.get()), 0);
  EXPECT_EQ(fixed->count, 2u);
  EXPECT_EQ(fixed->capacity, 2u);
  EXPECT_EQ(points(fixed->sets[0]), expected[0]);
  EXPECT_EQ(points(fixed->sets[1]), expected[1]);

  // A growable table is remade with one set per blob.
  kt::blob::Perims grows(kel_blob_perimeter_create_results(1, 4, 1, nullptr));
  ASSERT_EQ(kel_blob_results_find_perimeter_points(img, r.get(), 255, grows.get()), 0);
  EXPECT_EQ(grows->capacity, 3u);
  ASSERT_EQ(grows->count, 3u);
  for (unsigned i = 0; i < 3; ++i)
    EXPECT_EQ(points(grows->sets[i]), expected[i]) << i;

  const char *fn = "kel_blob_results_find_perimeter_points";
  EXPECT_EQ(kel_blob_results_find_perimeter_points(nullptr, r.get(), 255, grows.get()), 10);
  EXPECT_REPORT(fn, 10);
  kt::clear_report();
  EXPECT_EQ(kel_blob_results_find_perimeter_points(img, nullptr, 255, grows.get()), 10);
  EXPECT_REPORT(fn, 10);
  kt::clear_report();
  EXPECT_EQ(kel_blob_results_find_perimeter_points(img, r.get(), 255, nullptr), 10);
  EXPECT_REPORT(fn, 10);
}

TEST_F(BlobPerimeter, FindsAndTracesInOneCall) {
  // Black blobs on a view: points come in master coordinates (view at 3, 2).
  kt::TestImage img = art({"..#...#", "#.#...#", "###.#.#"}, true, 0);
  kt::blob::Perims perims(kel_blob_perimeter_create_results(1, 2, 1, nullptr));
  ASSERT_EQ(kel_image_blob_find_perimeter_points(img, perims.get(), 0, 2), 0);
  ASSERT_EQ(perims->count, 2u);  // the dot is below the least area
  EXPECT_EQ(points(perims->sets[0]),
            (Points{{5, 2}, {5, 3}, {5, 4}, {4, 4}, {3, 4}, {3, 3}, {4, 4}, {5, 3}}));
  EXPECT_EQ(points(perims->sets[1]), (Points{{9, 2}, {9, 3}, {9, 4}, {9, 3}}));
  EXPECT_NO_REPORT();

  const char *fn = "kel_image_blob_find_perimeter_points";
  EXPECT_EQ(kel_image_blob_find_perimeter_points(img, nullptr, 0, 0), 10);
  EXPECT_REPORT(fn, 10);
  EXPECT_EQ(kel_image_blob_find_perimeter_points(nullptr, perims.get(), 0, 0), 1);
  EXPECT_REPORT("kel_blob_find", 1);
  kt::TestImage stray = art({"#.\x80"});
  EXPECT_EQ(kel_image_blob_find_perimeter_points(stray, perims.get(), 255, 0), 100);
  EXPECT_REPORT("kel_blob_find", 100);
}

}  // namespace
