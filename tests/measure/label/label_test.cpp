// Labeling: exact records of drawn objects, label cycling, connectivity, the
// border bits with their neighbour-range rule, record lookup and deletion,
// the slot measures, sort and histogram, every failure report, a cross-check
// against a flood fill written here, and one huge winding object.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <deque>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "kelkit.h"
#include "measure/label/label_support.hpp"
#include "support/test_images.hpp"

namespace {

using kt::label::art;
using kt::label::List;
using kt::label::summaries;
using kt::label::Summary;
using Ss = std::vector<Summary>;

class Label : public ::testing::Test {
 protected:
  void SetUp() override { kt::clear_report(); }
};

List label(Image *img, int object, int connectivity, int first, int last,
           unsigned *count = nullptr) {
  return List(kel_label(img, object, connectivity, first, last, count));
}

TEST_F(Label, NoObjectGivesNullAndCountZero) {
  kt::TestImage img = art({"....", "3..1", "...."});
  unsigned count = 99;
  EXPECT_EQ(kel_label(img, 255, 8, 1, 10, &count), nullptr);
  EXPECT_EQ(count, 0u);
  // Values outside 0..255 match no pixel, not even by their low byte (257).
  count = 99;
  EXPECT_EQ(kel_label(img, 257, 4, 20, 30, &count), nullptr);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(kt::get(img, 3, 1), 1);
  kt::TestImage empty = kt::image(BYTE, 0, 3);
  count = 99;
  EXPECT_EQ(kel_label(empty, 255, 8, 1, 10, &count), nullptr);
  EXPECT_EQ(count, 0u);
  EXPECT_NO_REPORT();
  EXPECT_EQ(kel_label_count(nullptr), 0u);
}

TEST_F(Label, LabelsCycleThroughTheRange) {
  kt::TestImage img = art({"#.#.#", ".....", "##..."});
  unsigned count = 0;
  List list = label(img, 255, 8, 1, 2, &count);
  ASSERT_EQ(count, 4u);
  EXPECT_EQ(kel_label_count(list.get()), 4u);
  EXPECT_EQ(summaries(list.get()), (Ss{{1, 0, 0, 0, 0, 0, 0, 1, 10},
                                       {2, 2, 0, 2, 0, 2, 0, 1, 8},
                                       {1, 4, 0, 4, 0, 4, 0, 1, 9},
                                       {2, 0, 2, 0, 2, 1, 2, 2, 6}}));
  EXPECT_EQ(kt::pixels(img), (std::vector<double>{1, 0, 2, 0, 1, 0, 0, 0, 0, 0, 2, 2, 0, 0, 0}));
  // The list is linked both ways and fresh records are clear.
  EXPECT_EQ(list->prev, nullptr);
  for (LabelRecord *r = list.get(); r->next; r = r->next)
    EXPECT_EQ(r->next->prev, r);
  for (LabelRecord *r = list.get(); r; r = r->next) {
    for (int i = 1; i < 10; ++i)
      EXPECT_EQ(r->measure[i], 0.0f);
    EXPECT_EQ(r->mark, 0u);
    EXPECT_EQ(r->uflag, 0u);
    EXPECT_EQ(r->reserved, nullptr);
  }

  // A range of one value, and first above last: every object gets first.
  for (auto [first, last] : {std::pair{5, 5}, std::pair{7, 3}}) {
    kt::TestImage again = art({"#.#.#"});
    List l = label(again, 255, 4, first, last);
    for (const Summary &s : summaries(l.get()))
      EXPECT_EQ(s.labelval, unsigned(first));
    EXPECT_EQ(kt::pixels(again),
              (std::vector<double>{double(first), 0, double(first), 0, double(first)}));
  }
  // Labels that wrap at 255.
  kt::TestImage wrap = art({"#.#.#"}, 9);
  List l = label(wrap, 9, 8, 254, 255);
  EXPECT_EQ(kt::pixels(wrap), (std::vector<double>{254, 0, 255, 0, 254}));
  EXPECT_NO_REPORT();
}

TEST_F(Label, CornerContactJoinsOnlyUnderEightConnectivity) {
  for (bool as_view : {false, true}) {
    kt::TestImage a = art({"#..", ".#.", "..."}, 255, as_view);
    // The second pixel's run ends in column dx - 2: the right bit too.
    EXPECT_EQ(summaries(label(a, 255, 8, 1, 9).get()), (Ss{{1, 0, 0, 0, 0, 1, 1, 2, 11}}));
    kt::TestImage b = art({"#..", ".#.", "..."}, 255, as_view);
    EXPECT_EQ(summaries(label(b, 255, 4, 1, 9).get()),
              (Ss{{1, 0, 0, 0, 0, 0, 0, 1, 10}, {2, 1, 1, 1, 1, 1, 1, 1, 0}}));
    // The other diagonal: the seed is the upper pixel, the box reaches left.
    kt::TestImage c = art({".#", "#."}, 255, as_view);
    EXPECT_EQ(summaries(label(c, 255, 8, 1, 9).get()), (Ss{{1, 1, 0, 0, 0, 1, 1, 2, 15}}));
    kt::TestImage d = art({".#", "#."}, 255, as_view);
    EXPECT_EQ(summaries(label(d, 255, 0, 1, 9).get()),
              (Ss{{1, 1, 0, 1, 0, 1, 0, 1, 9}, {2, 0, 1, 0, 1, 0, 1, 1, 6}}));
    if (as_view) {
      EXPECT_TRUE(kt::margin_intact(d));
    }
  }
}

TEST_F(Label, ObjectFillingTheImageTouchesEveryBorder) {
  // Object value 77 is also the value of the view's margin, which must stay.
  for (bool as_view : {false, true}) {
    kt::TestImage img = art({"#####", "#####", "#####", "#####"}, 77, as_view);
    EXPECT_EQ(summaries(label(img, 77, 4, 3, 9).get()), (Ss{{3, 0, 0, 0, 0, 4, 3, 20, 15}}));
    EXPECT_EQ(kt::pixels(img), std::vector<double>(20, 3));
    if (as_view) {
      EXPECT_TRUE(kt::margin_intact(img));
    }
  }
  kt::TestImage one = art({"#"});
  EXPECT_EQ(summaries(label(one, 255, 8, 1, 1).get()), (Ss{{1, 0, 0, 0, 0, 0, 0, 1, 15}}));
  // A U shape: the fill has to come back up the right arm.
  kt::TestImage u = art({"#...#", "#...#", "#####"});
  EXPECT_EQ(summaries(label(u, 255, 4, 1, 1).get()), (Ss{{1, 0, 0, 0, 0, 4, 2, 9, 15}}));
}

TEST_F(Label, SideBitsFollowTheNeighbourRange) {
  // Under 8-connectivity a run starting in column 1 counts as touching the
  // left border and one ending in column dx - 2 the right border; the box
  // still covers the run only.
  const std::vector<std::string> inner = {"......", ".####.", "......"};
  kt::TestImage a = art(inner);
  EXPECT_EQ(summaries(label(a, 255, 8, 1, 9).get()), (Ss{{1, 1, 1, 1, 1, 4, 1, 4, 3}}));
  kt::TestImage b = art(inner);
  EXPECT_EQ(summaries(label(b, 255, 4, 1, 9).get()), (Ss{{1, 1, 1, 1, 1, 4, 1, 4, 0}}));
  kt::TestImage c = art({"......", "..##..", "......"});
  EXPECT_EQ(summaries(label(c, 255, 8, 1, 9).get()), (Ss{{1, 2, 1, 2, 1, 3, 1, 2, 0}}));
  // Top and bottom come from the rows of the runs.
  kt::TestImage d = art({"#.....", "......", "....#."});
  EXPECT_EQ(summaries(label(d, 255, 4, 1, 9).get()),
            (Ss{{1, 0, 0, 0, 0, 0, 0, 1, 10}, {2, 4, 2, 4, 2, 4, 2, 1, 4}}));
  kt::TestImage e = art({"#.....", "......", "....#."});
  EXPECT_EQ(summaries(label(e, 255, 8, 1, 9).get()),
            (Ss{{1, 0, 0, 0, 0, 0, 0, 1, 10}, {2, 4, 2, 4, 2, 4, 2, 1, 5}}));
}

TEST_F(Label, FailuresReportTheirCodeAndMessage) {
  struct Case {
    int object, first, last;
    const char *message;
  };
  const Case cases[] = {
      {255, 0, 10, "Label values not in 1..255"},
      {255, 1, 256, "Label values not in 1..255"},
      {255, 256, 10, "Label values not in 1..255"},
      {0, 0, 10, "Label values not in 1..255"},
      {0, 1, 10, "Object value is 0"},
      {5, 1, 10, "Object value in label range"},
      {1, 1, 10, "Object value in label range"},
      {10, 1, 10, "Object value in label range"},
      {9, 9, 3, "Object value in label range"},
  };
  kt::TestImage img = art({"#5", ".9"});
  const std::vector<double> before = kt::pixels(img);
  for (const Case &c : cases) {
    kt::clear_report();
    unsigned count = 7;
    EXPECT_EQ(kel_label(img, c.object, 8, c.first, c.last, &count), nullptr) << c.message;
    EXPECT_EQ(count, 0u);
    EXPECT_REPORT("kel_label", 10);
    EXPECT_STREQ(im_last_message(), c.message);
  }
  EXPECT_EQ(kt::pixels(img), before);

  unsigned count = 7;
  EXPECT_EQ(kel_label(nullptr, 255, 8, 1, 10, &count), nullptr);
  EXPECT_EQ(count, 0u);
  EXPECT_REPORT("kel_label", 1);
  // The type comes before the label values.
  kt::TestImage word = kt::image(WORD, 3, 3);
  EXPECT_EQ(kel_label(word, 0, 8, 0, 300, &count), nullptr);
  EXPECT_REPORT("kel_label", 13);

  // A value outside the range in use is fine: 5 with first 9 above last 3.
  kt::clear_report();
  kt::TestImage five = art({"#."}, 5);
  EXPECT_EQ(summaries(label(five, 5, 8, 9, 3).get()), (Ss{{9, 0, 0, 0, 0, 0, 0, 1, 15}}));
  EXPECT_NO_REPORT();
}

TEST_F(Label, RecordsAreFoundReadAndDeleted) {
  kt::TestImage img = art({"#.#.##"});
  List list = label(img, 255, 8, 1, 2);
  LabelRecord *a = list.get(), *b = a->next, *c = b->next;
  ASSERT_EQ(kel_label_count(a), 3u);

  EXPECT_EQ(kel_label_find(a, 0, 0, 1), a);
  EXPECT_EQ(kel_label_find(a, 5, 0, 1), c);
  EXPECT_EQ(kel_label_find(a, 2, 0, 1), nullptr);  // b's box, but b has label 2
  EXPECT_EQ(kel_label_find(a, 2, 0, 2), b);
  EXPECT_EQ(kel_label_find(a, -1, 0, 1), nullptr);
  EXPECT_EQ(kel_label_find(a, 0, 1, 1), nullptr);
  EXPECT_EQ(kel_label_find(nullptr, 0, 0, 1), nullptr);

  EXPECT_EQ(kel_label_get_labelval(c), 1u);
  EXPECT_EQ(kel_label_get_xstart(c), 4u);
  EXPECT_EQ(kel_label_get_ystart(c), 0u);
  EXPECT_EQ(kel_label_get_bxmin(c), 4u);
  EXPECT_EQ(kel_label_get_bymin(c), 0u);
  EXPECT_EQ(kel_label_get_bxmax(c), 5u);
  EXPECT_EQ(kel_label_get_bymax(c), 0u);
  EXPECT_EQ(kel_label_get_touches(c), 13u);
  kel_label_set_mark(c, 41);
  kel_label_set_uflag(c, 42);
  EXPECT_EQ(kel_label_get_mark(c), 41u);
  EXPECT_EQ(kel_label_get_uflag(c), 42u);
  EXPECT_EQ(kel_label_get_measure(c, 0), 2.0f);
  c->measure[9] = 6.5f;
  EXPECT_EQ(kel_label_get_measure(c, 9), 6.5f);
  float touches_bits;
  std::memcpy(&touches_bits, &c->touches, sizeof touches_bits);
  EXPECT_EQ(kel_label_get_measure(c, 10), touches_bits);
  EXPECT_EQ(kel_label_get_measure(c, 11), 0.0f);
  EXPECT_EQ(kel_label_get_measure(c, -1), 0.0f);
  EXPECT_EQ(kel_label_get_measure(nullptr, 0), 0.0f);
  EXPECT_EQ(kel_label_get_touches(nullptr), 0u);
  kel_label_set_mark(nullptr, 1);
  EXPECT_NO_REPORT();

  // Deleting the middle keeps the head; deleting the head gives the next.
  EXPECT_EQ(kel_label_delete(a, b), a);
  EXPECT_EQ(a->next, c);
  EXPECT_EQ(c->prev, a);
  LabelRecord *head = kel_label_delete(list.release(), a);
  EXPECT_EQ(head, c);
  EXPECT_EQ(c->prev, nullptr);
  EXPECT_EQ(kel_label_delete(head, c), nullptr);  // the last one
  EXPECT_NO_REPORT();

  kt::TestImage more = art({"#.#.#"});
  List three = label(more, 255, 8, 1, 9);
  EXPECT_EQ(kel_label_delete(nullptr, three.get()), nullptr);
  EXPECT_REPORT("kel_label_delete", 18);
  kt::clear_report();
  EXPECT_EQ(kel_label_delete(three.get(), nullptr), nullptr);
  EXPECT_REPORT("kel_label_delete", 18);
  EXPECT_EQ(kel_label_count(three.get()), 3u);

  // Deleting from the second record on keeps the first, now alone.
  kel_label_delete_list(three->next);
  EXPECT_EQ(three->next, nullptr);
  EXPECT_EQ(kel_label_count(three.get()), 1u);

  // A ring is counted, measured and freed once.
  kt::TestImage ring_img = art({"#.#.##"});
  LabelRecord *ring = kel_label(ring_img, 255, 8, 1, 9, nullptr);
  LabelRecord *tail = static_cast<LabelRecord *>(ll_tail(ring));
  tail->next = ring;
  ring->prev = tail;
  EXPECT_EQ(kel_label_count(ring), 3u);
  EXPECT_EQ(kel_label_measure_sum(ring, 0), 4.0f);
  EXPECT_EQ(kel_label_find(tail, 0, 0, 1), ring);
  kel_label_delete_list(ring);
}

TEST_F(Label, MeasuresOverASlot) {
  kt::TestImage img = art({"###.#.###.##"});
  List list = label(img, 255, 4, 1, 9);
  ASSERT_EQ(kel_label_count(list.get()), 4u);  // areas 3, 1, 3, 2
  EXPECT_EQ(kel_label_measure_max(list.get(), 0), 3.0f);
  EXPECT_EQ(kel_label_measure_min(list.get(), 0), 1.0f);
  EXPECT_EQ(kel_label_measure_sum(list.get(), 0), 9.0f);
  float lo = -1, hi = -1;
  EXPECT_EQ(kel_label_measure_range(list.get(), 0, &lo, &hi), 9.0f);
  EXPECT_EQ(lo, 1.0f);
  EXPECT_EQ(hi, 3.0f);
  EXPECT_EQ(kel_label_measure_range(list.get(), 0, nullptr, nullptr), 9.0f);
  EXPECT_EQ(kel_label_measure_max(list.get(), 4), 0.0f);
  EXPECT_NO_REPORT();

  // Failures: the list first, then the index.
  auto expect_fail = [](const char *fn, int code, const char *message) {
    EXPECT_REPORT(fn, code);
    if (message) {
      EXPECT_STREQ(im_last_message(), message);
    }
    kt::clear_report();
  };
  EXPECT_EQ(kel_label_measure_max(nullptr, 11), 0.0f);
  expect_fail("kel_label_measure_max", 18, nullptr);
  EXPECT_EQ(kel_label_measure_min(nullptr, 0), 0.0f);
  expect_fail("kel_label_measure_min", 18, nullptr);
  EXPECT_EQ(kel_label_measure_sum(nullptr, 0), 0.0f);
  expect_fail("kel_label_measure_sum", 18, nullptr);
  lo = hi = 5;
  EXPECT_EQ(kel_label_measure_range(nullptr, 0, &lo, &hi), 0.0f);
  EXPECT_EQ(lo, 0.0f);
  EXPECT_EQ(hi, 0.0f);
  expect_fail("kel_label_measure_range", 18, nullptr);
  EXPECT_EQ(kel_label_measure_max(list.get(), 11), 0.0f);
  expect_fail("kel_label_measure_max", 10, "Measure index");
  EXPECT_EQ(kel_label_measure_min(list.get(), -1), 0.0f);
  expect_fail("kel_label_measure_min", 10, "Measure index");
  EXPECT_EQ(kel_label_measure_sum(list.get(), 11), 0.0f);
  expect_fail("kel_label_measure_sum", 10, "Measure index");
  EXPECT_EQ(kel_label_measure_range(list.get(), 11, &lo, &hi), 0.0f);
  expect_fail("kel_label_measure_range", 10, "Measure index");
  EXPECT_EQ(kel_label_measure_sort(nullptr, 0, 1), nullptr);
  expect_fail("kel_label_measure_sort", 18, nullptr);
  EXPECT_EQ(kel_label_measure_sort(list.get(), 11, 1), list.get());
  expect_fail("kel_label_measure_sort", 10, "Measure index");
}

std::vector<unsigned> seeds_x(const LabelRecord *head) {
  std::vector<unsigned> xs;
  for (const LabelRecord *r = head; r; r = r->next) {
    if (r->next) {
      EXPECT_EQ(r->next->prev, r);
    }
    xs.push_back(r->xstart);
  }
  return xs;
}

TEST_F(Label, SortIsStableInBothOrders) {
  // Areas 3, 1, 3, 2 at seeds x = 0, 4, 6, 10.
  kt::TestImage img = art({"###.#.###.##"});
  LabelRecord *head = kel_label(img, 255, 4, 1, 9, nullptr);
  head = kel_label_measure_sort(head, 0, 1);
  EXPECT_EQ(head->prev, nullptr);
  EXPECT_EQ(seeds_x(head), (std::vector<unsigned>{4, 10, 0, 6}));
  head = kel_label_measure_sort(head, 0, 0);
  EXPECT_EQ(seeds_x(head), (std::vector<unsigned>{0, 6, 10, 4}));
  head = kel_label_measure_sort(head, 0, -1);  // any order but 1 descends
  EXPECT_EQ(seeds_x(head), (std::vector<unsigned>{0, 6, 10, 4}));

  // A NaN stays where it is and nothing passes it.
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float values[4] = {2, nan, 1, 0};  // at seeds 0, 6, 10, 4
  int i = 0;
  for (LabelRecord *r = head; r; r = r->next)
    r->measure[1] = values[i++];
  head = kel_label_measure_sort(head, 1, 1);
  EXPECT_EQ(seeds_x(head), (std::vector<unsigned>{0, 6, 4, 10}));

  // Sorting a ring keeps it a ring.
  LabelRecord *tail = static_cast<LabelRecord *>(ll_tail(head));
  tail->next = head;
  head->prev = tail;
  head = kel_label_measure_sort(head, 0, 1);
  EXPECT_EQ(head->xstart, 4u);
  EXPECT_EQ(head->prev->xstart, 6u);
  EXPECT_EQ(head->prev->next, head);
  EXPECT_EQ(kel_label_count(head), 4u);
  kel_label_delete_list(head);
  EXPECT_NO_REPORT();
}

TEST_F(Label, HistogramOfASlot) {
  kt::TestImage img = art({"###.#.###.##"});
  List list = label(img, 255, 4, 1, 9);  // areas 3, 1, 3, 2
  kt::TestImage hist = kt::image(FLOAT, 5, 2, std::vector<double>(10, 9.0));
  ASSERT_EQ(kel_label_measure_histogram(list.get(), hist, 0, 1, 3, 3), 0);
  EXPECT_EQ(kt::pixels(hist), (std::vector<double>{1, 1, 2, 0, 0, 9, 9, 9, 9, 9}));
  // Values outside min..max are not counted; max lands in the last bin.
  ASSERT_EQ(kel_label_measure_histogram(list.get(), hist, 0, 2, 3, 2), 0);
  EXPECT_EQ(kt::pixels(hist), (std::vector<double>{1, 2, 0, 0, 0, 9, 9, 9, 9, 9}));
  // Single-precision scale: (3 - 1) * (4 / 2.5) = 3.2 -> bin 3.
  ASSERT_EQ(kel_label_measure_histogram(list.get(), hist, 0, 1, 3.5f, 5), 0);
  EXPECT_EQ(kt::pixels(hist), (std::vector<double>{1, 1, 0, 2, 0, 9, 9, 9, 9, 9}));
  // No width: everything equal to min goes to bin 0.
  ASSERT_EQ(kel_label_measure_histogram(list.get(), hist, 0, 3, 3, 1), 0);
  EXPECT_EQ(kt::pixels(hist), (std::vector<double>{2, 0, 0, 0, 0, 9, 9, 9, 9, 9}));
  // A view as the histogram.
  kt::TestImage view = kt::view(FLOAT, 4, 1);
  ASSERT_EQ(kel_label_measure_histogram(list.get(), view, 0, 0, 3, 4), 0);
  EXPECT_EQ(kt::pixels(view), (std::vector<double>{0, 1, 1, 2}));
  EXPECT_TRUE(kt::margin_intact(view));
  EXPECT_NO_REPORT();

  kt::TestImage bytes = kt::image(BYTE, 5, 1);
  struct Case {
    const LabelRecord *list;
    Image *hist;
    int index, nbins, code;
    const char *message;
  };
  const Case cases[] = {
      {list.get(), nullptr, 0, 3, 1, nullptr},
      {nullptr, bytes, 0, 3, 12, "histogram array"},  // the type comes before the list
      {nullptr, hist, 0, 3, 1, nullptr},
      {list.get(), hist, 0, 6, 17, nullptr},
      {list.get(), hist, 0, 0, 10, "Bin count"},
      {list.get(), hist, 11, 3, 10, "Measure index"},
  };
  for (const Case &c : cases) {
    kt::clear_report();
    EXPECT_EQ(kel_label_measure_histogram(c.list, c.hist, c.index, 0, 3, c.nbins), c.code);
    EXPECT_REPORT("kel_label_measure_histogram", c.code);
    if (c.message) {
      EXPECT_STREQ(im_last_message(), c.message);
    }
  }
  kt::TestImage no_rows = kt::image(FLOAT, 5, 0);
  EXPECT_EQ(kel_label_measure_histogram(list.get(), no_rows, 0, 0, 3, 3), 17);
}

// ---- cross-check against a flood fill -------------------------------------

struct Reference {
  std::vector<Summary> objects;
  std::vector<int> owner;  // object index per pixel, -1 for background
};

// A breadth-first flood fill over the pixel neighbours. Border bits come
// from the maximal runs of each object: top and bottom from their rows,
// left and right from their ends, widened by one column under
// 8-connectivity.
Reference flood_fill(const std::vector<std::uint8_t> &px, int dx, int dy, std::uint8_t object,
                     bool eight, int first, int last) {
  Reference ref;
  ref.owner.assign(px.size(), -1);
  int current = first;
  for (int sy = 0; sy < dy; ++sy)
    for (int sx = 0; sx < dx; ++sx) {
      if (px[sy * dx + sx] != object || ref.owner[sy * dx + sx] >= 0) continue;
      const int id = static_cast<int>(ref.objects.size());
      Summary s{unsigned(current), unsigned(sx), unsigned(sy),
                unsigned(sx),      unsigned(sy), unsigned(sx),
                unsigned(sy),      0.0f,         0};
      std::deque<std::pair<int, int>> queue{{sx, sy}};
      ref.owner[sy * dx + sx] = id;
      unsigned area = 0;
      while (!queue.empty()) {
        auto [x, y] = queue.front();
        queue.pop_front();
        ++area;
        s.bxmin = std::min(s.bxmin, unsigned(x));
        s.bxmax = std::max(s.bxmax, unsigned(x));
        s.bymin = std::min(s.bymin, unsigned(y));
        s.bymax = std::max(s.bymax, unsigned(y));
        if (x == 0 || px[y * dx + x - 1] != object) {  // x starts a run
          int end = x;
          while (end + 1 < dx && px[y * dx + end + 1] == object)
            ++end;
          if (y == 0) s.touches |= 8;
          if (y == dy - 1) s.touches |= 4;
          if (x == 0 || (eight && x == 1)) s.touches |= 2;
          if (end == dx - 1 || (eight && end == dx - 2)) s.touches |= 1;
        }
        for (int ny = y - 1; ny <= y + 1; ++ny)
          for (int nx = x - 1; nx <= x + 1; ++nx) {
            if (nx < 0 || ny < 0 || nx >= dx || ny >= dy) continue;
            if (!eight && nx != x && ny != y) continue;
            const int i = ny * dx + nx;
            if (px[i] == object && ref.owner[i] < 0) {
              ref.owner[i] = id;
              queue.push_back({nx, ny});
            }
          }
      }
      s.area = static_cast<float>(area);
      ref.objects.push_back(s);
      current = current + 1 > last ? first : current + 1;
    }
  return ref;
}

TEST_F(Label, MatchesAFloodFillOnRandomImages) {
  std::mt19937 gen(20240611);
  for (int iter = 0; iter < 400; ++iter) {
    const int dx = 1 + gen() % 30, dy = 1 + gen() % 30;
    const bool eight = gen() % 2, as_view = gen() % 3 == 0;
    const int first = 1 + gen() % 255, last = 1 + gen() % 255;
    int object;
    do
      object = 1 + gen() % 255;
    while (first <= last ? (first <= object && object <= last) : object == first);
    const unsigned density = 25 + gen() % 50;
    // Background of 0, of a label value and of other values.
    const std::uint8_t others[3] = {0, std::uint8_t(first), std::uint8_t(object ^ 1)};
    std::vector<double> values(std::size_t(dx) * dy);
    for (double &v : values)
      v = gen() % 100 < density ? object : others[gen() % 3];
    kt::TestImage img = as_view ? kt::view(BYTE, dx, dy, values) : kt::image(BYTE, dx, dy, values);
    std::vector<std::uint8_t> px(values.begin(), values.end());
    const Reference ref = flood_fill(px, dx, dy, std::uint8_t(object), eight, first, last);

    unsigned count = 0;
    List list = label(img, object, eight ? 8 : 4, first, last, &count);
    SCOPED_TRACE(testing::Message() << "iteration " << iter << ", " << dx << "x" << dy);
    ASSERT_EQ(count, ref.objects.size());
    ASSERT_EQ(summaries(list.get()), ref.objects);
    const std::vector<double> after = kt::pixels(img);
    for (std::size_t i = 0; i < px.size(); ++i) {
      const double want = ref.owner[i] < 0 ? px[i] : ref.objects[ref.owner[i]].labelval;
      ASSERT_EQ(after[i], want) << "pixel " << i;
    }
    if (as_view) {
      ASSERT_TRUE(kt::margin_intact(img));
    }
  }
  EXPECT_NO_REPORT();
}

// ---- a huge winding object ------------------------------------------------

TEST_F(Label, SerpentineObjectNeedsNoDeepRecursion) {
  // Full-height columns at every even x, joined alternately at the top and
  // at the bottom: one object whose runs are single pixels, chained
  // n * n / 2 deep.
  const int n = 4096;
  kt::TestImage img = kt::image(BYTE, n, n);
  auto *data = static_cast<std::uint8_t *>(img->data);
  for (int y = 0; y < n; ++y)
    for (int x = 0; x < n; x += 2)
      data[std::size_t(y) * n + x] = 200;
  for (int x = 1; x < n; x += 2)
    data[x % 4 == 1 ? x : std::size_t(n - 1) * n + x] = 200;

  unsigned count = 0;
  List list = label(img, 200, 4, 3, 3, &count);
  ASSERT_EQ(count, 1u);
  const float area = float(n / 2) * n + n / 2;
  EXPECT_EQ(summaries(list.get()),
            (Ss{{3, 0, 0, 0, 0, unsigned(n - 1), unsigned(n - 1), area, 15}}));
  std::size_t labelled = 0, left = 0;
  for (std::size_t i = 0; i < std::size_t(n) * n; ++i) {
    labelled += data[i] == 3;
    left += data[i] == 200;
  }
  EXPECT_EQ(labelled, std::size_t(area));
  EXPECT_EQ(left, 0u);
}

}  // namespace
