// Label perimeters: exact lengths of traced shapes under the default and
// changed step metrics, the bounding box as the limit of a trace, the
// single-pixel warning, a trace that cannot close, the list form, and every
// failure report.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "kelkit.h"
#include "measure/label/label_support.hpp"
#include "support/test_images.hpp"

namespace {

using kt::label::art;
using kt::label::List;

// The metrics are process-wide: every test starts from the defaults and
// leaves them there.
class LabelPerimeter : public ::testing::Test {
 protected:
  void SetUp() override {
    kt::clear_report();
    ASSERT_EQ(kel_label_set_metrics(1.0f, 1.0f), 0);
  }
  void TearDown() override { kel_label_set_metrics(1.0f, 1.0f); }
};

// Labels `rows` (4-connectivity, labels 1..9) and traces the first object
// into slot 1.
float perimeter_of(const std::vector<std::string> &rows, bool as_view = false) {
  kt::TestImage img = art(rows, 255, as_view);
  List list(kel_label(img, 255, 4, 1, 9, nullptr));
  if (!list) return -1;
  EXPECT_EQ(kel_label_perimeter(img, list.get(), 1), 0);
  return list->measure[1];
}

TEST_F(LabelPerimeter, ShapesUnderTheStepMetrics) {
  const std::vector<std::string> square = {".....", ".###.", ".###.", ".###.", "....."};
  const std::vector<std::string> diamond = {".#.", "###", ".#."};
  const std::vector<std::string> ell = {"#..", "#..", "###"};
  const std::vector<std::string> line = {"###"};

  float mx = 0, my = 0;
  EXPECT_EQ(kel_label_get_metrics(&mx, &my), 0);
  EXPECT_EQ(mx, 1.0f);
  EXPECT_EQ(my, 1.0f);
  const float diag = 1.41421354f;
  for (bool as_view : {false, true}) {
    EXPECT_EQ(perimeter_of(square, as_view), 8.0f);
    EXPECT_EQ(perimeter_of(diamond, as_view), diag + diag + diag + diag);
    // Down, down-right, then right along the foot, back, and up: the
    // steps in the order the trace sums them.
    EXPECT_EQ(perimeter_of(ell, as_view), 1.0f + diag + 1 + 1 + 1 + 1 + 1);
    // A line is walked there and back.
    EXPECT_EQ(perimeter_of(line, as_view), 4.0f);
  }

  ASSERT_EQ(kel_label_set_metrics(2.0f, 1.0f), 0);
  EXPECT_EQ(kel_label_get_metrics(&mx, nullptr), 0);
  EXPECT_EQ(mx, 2.0f);
  EXPECT_EQ(kel_label_get_metrics(nullptr, &my), 0);
  EXPECT_EQ(my, 1.0f);
  const float d5 = std::sqrt(5.0f);
  EXPECT_EQ(perimeter_of(square), 12.0f);
  EXPECT_EQ(perimeter_of(diamond), d5 + d5 + d5 + d5);
  EXPECT_EQ(perimeter_of(ell), 1.0f + d5 + 2 + 2 + 2 + 1 + 1);
  EXPECT_EQ(perimeter_of(line), 8.0f);
  EXPECT_NO_REPORT();

  // A bad metric changes nothing.
  for (auto [bx, by] :
       {std::pair{0.0f, 1.0f}, std::pair{1.0f, -1.0f}, std::pair{std::nanf(""), 1.0f}}) {
    kt::clear_report();
    EXPECT_EQ(kel_label_set_metrics(bx, by), 10);
    EXPECT_REPORT("kel_label_set_metrics", 10);
    EXPECT_STREQ(im_last_message(), "Metric <= 0");
  }
  EXPECT_EQ(perimeter_of(square), 12.0f);
  ASSERT_EQ(kel_label_set_metrics(1.0f, 1.0f), 0);
  EXPECT_EQ(perimeter_of(diamond), diag + diag + diag + diag);
}

TEST_F(LabelPerimeter, TraceStaysInsideTheBoundingBox) {
  // Two 4-connected squares with the same label touch at a corner; each
  // trace keeps to its own box.
  kt::TestImage img = art({"##..", "##..", "..##", "..##"});
  List list(kel_label(img, 255, 4, 1, 1, nullptr));
  ASSERT_EQ(kel_label_count(list.get()), 2u);
  ASSERT_EQ(kel_label_perimeter_list(img, list.get(), 3), 0);
  EXPECT_EQ(list->measure[3], 4.0f);
  EXPECT_EQ(list->next->measure[3], 4.0f);
  // Under 8-connectivity they are one object, traced across the corner.
  kt::TestImage one = art({"##..", "##..", "..##", "..##"});
  List joined(kel_label(one, 255, 8, 1, 1, nullptr));
  ASSERT_EQ(kel_label_perimeter(one, joined.get(), 3), 0);
  const float diag = 1.41421354f;
  EXPECT_EQ(joined->measure[3], 1.0f + 1 + diag + 1 + 1 + 1 + 1 + diag + 1 + 1);
  EXPECT_NO_REPORT();
}

TEST_F(LabelPerimeter, SinglePixelWarnsAndListGoesOn) {
  kt::TestImage img = art({"#...", "..##", "...."});
  List list(kel_label(img, 255, 8, 1, 9, nullptr));
  ASSERT_EQ(kel_label_count(list.get()), 2u);
  EXPECT_EQ(kel_label_perimeter(img, list.get(), 2), 0);
  EXPECT_EQ(list->measure[2], 1.0f);
  EXPECT_REPORT("kel_label_perimeter", 17);
  EXPECT_TRUE(im_last_is_warning());
  EXPECT_STREQ(im_last_message(), "Single pixel object");

  kt::clear_report();
  EXPECT_EQ(kel_label_perimeter_list(img, list.get(), 4), 0);
  EXPECT_EQ(list->measure[4], 1.0f);
  EXPECT_EQ(list->next->measure[4], 2.0f);
  EXPECT_TRUE(im_last_is_warning());

  // Index 10 stores the length in the touches word.
  EXPECT_EQ(kel_label_perimeter(img, list->next, 10), 0);
  const float two = 2.0f;
  unsigned bits;
  std::memcpy(&bits, &two, sizeof bits);
  EXPECT_EQ(kel_label_get_touches(list->next), bits);
  EXPECT_EQ(kel_label_get_measure(list->next, 10), 2.0f);
  EXPECT_EQ(kel_label_measure_max(list.get(), 10), 2.0f);
}

TEST_F(LabelPerimeter, FailuresReportTheirCodeAndMessage) {
  kt::TestImage img = art({".....", ".###.", ".###.", ".###.", "....."});
  List list(kel_label(img, 255, 4, 1, 9, nullptr));
  ASSERT_TRUE(list);
  kt::TestImage word = kt::image(WORD, 5, 5);
  struct Case {
    const char *fn;
    Image *image;
    LabelRecord *record;
    int index, code;
    const char *message;
  };
  const Case cases[] = {
      {"kel_label_perimeter", nullptr, nullptr, 11, 1, nullptr},
      {"kel_label_perimeter", img, nullptr, 11, 18, nullptr},
      {"kel_label_perimeter", img, list.get(), 11, 10, "Measure index"},
      {"kel_label_perimeter", img, list.get(), -1, 10, "Measure index"},
      {"kel_label_perimeter", word, list.get(), 0, 13, nullptr},
      {"kel_label_perimeter_list", nullptr, nullptr, 11, 1, nullptr},
      {"kel_label_perimeter_list", img, nullptr, 11, 18, nullptr},
      {"kel_label_perimeter_list", word, list.get(), 11, 10, "Measure index"},
      {"kel_label_perimeter_list", word, list.get(), 0, 13, nullptr},
  };
  for (const Case &c : cases) {
    kt::clear_report();
    const int got = std::string(c.fn) == "kel_label_perimeter_list"
                        ? kel_label_perimeter_list(c.image, c.record, c.index)
                        : kel_label_perimeter(c.image, c.record, c.index);
    EXPECT_EQ(got, c.code) << c.fn << " " << c.code;
    EXPECT_REPORT(c.fn, c.code);
    if (c.message) {
      EXPECT_STREQ(im_last_message(), c.message);
    }
  }
  // A negative index passes the list's checks and fails in each trace.
  kt::clear_report();
  EXPECT_EQ(kel_label_perimeter_list(img, list.get(), -1), 10);
  EXPECT_REPORT("kel_label_perimeter", 10);

  // The record no longer matches the image: its first pixel is gone, so the
  // trace circles the rest of the square without coming back.
  kt::set(img, 1, 1, 0);
  kt::clear_report();
  list->measure[5] = 7.0f;
  EXPECT_EQ(kel_label_perimeter(img, list.get(), 5), 14);
  EXPECT_REPORT("kel_label_perimeter", 14);
  EXPECT_STREQ(im_last_message(), "Perimeter search");
  EXPECT_EQ(list->measure[5], 7.0f);
  // Likewise through the list form, which returns the trace's code.
  kt::clear_report();
  EXPECT_EQ(kel_label_perimeter_list(img, list.get(), 5), 14);
  EXPECT_REPORT("kel_label_perimeter", 14);

  // A record from a larger image is cut to this one and never reads
  // outside it.
  LabelRecord far = *list;
  far.prev = far.next = nullptr;
  far.xstart = far.ystart = far.bxmin = far.bymin = 100;
  far.bxmax = far.bymax = 200;
  kt::clear_report();
  EXPECT_EQ(kel_label_perimeter(img, &far, 0), 0);
  EXPECT_EQ(far.measure[0], 1.0f);
  EXPECT_TRUE(im_last_is_warning());
}

}  // namespace
