// Grey morphology of any size and type against a plain minimum and maximum
// over the element: rectangles (odd, even, 1-wide, large), lines at the four
// angles, grey elements with masks and heights, the 3x3 "2" forms; the
// compositions (idempotent opening and closing, top hat, bottom hat,
// gradient), in-place use and every failure.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "filter/window_reference.hpp"
#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

// Members of an element: offsets from the anchor and their heights.
struct Member {
  int dx, dy;
  double h;
};

std::vector<Member> rect(int kx, int ky) {
  std::vector<Member> m;
  for (int j = 0; j < ky; ++j)
    for (int i = 0; i < kx; ++i)
      m.push_back({i - (kx - 1) / 2, j - (ky - 1) / 2, 0});
  return m;
}

std::vector<Member> line(int n, int angle) {
  std::vector<Member> m;
  for (int t = -(n - 1) / 2; t <= n / 2; ++t)
    m.push_back({angle == 90 ? 0 : t, angle == 0 ? 0 : angle == 45 ? -t : t, 0});
  return m;
}

// Erosion min f(x + o) - h(o), dilation max f(x - o) + h(o) over the
// members inside the area, as stored.
std::vector<double> plain(const Image *s, int w, int h, const std::vector<Member> &se,
                          bool dilate) {
  return wr::compute(w, h, [&](int x, int y) {
    double v = dilate ? -1e300 : 1e300;
    for (const Member &m : se) {
      const int sx = dilate ? x - m.dx : x + m.dx, sy = dilate ? y - m.dy : y + m.dy;
      if (sx < 0 || sy < 0 || sx >= w || sy >= h) continue;
      v = dilate ? std::max(v, kt::get(s, sx, sy) + m.h) : std::min(v, kt::get(s, sx, sy) - m.h);
    }
    return s->type == FLOAT ? v : wr::stored(s->type, v);
  });
}

constexpr int W = 43, H = 31;

TEST(MorphologyShapes, RectanglesAndLinesEqualThePlainExtremes) {
  struct Case {
    int kx, ky;
  };
  for (unsigned type : wr::kTypes) {
    for (Case c : {Case{3, 3}, Case{15, 9}, Case{4, 6}, Case{1, 7}, Case{43, 2}, Case{31, 31}}) {
      kt::TestImage src = kt::random_image(type, W, H, c.kx + 50 * c.ky, true),
                    dst = kt::view(type, W, H);
      ASSERT_EQ(kel_erode_rect(src, dst, c.kx, c.ky), 0);
      EXPECT_EQ(wr::differences(dst, W, H, plain(src, W, H, rect(c.kx, c.ky), false)), 0)
          << c.kx << "x" << c.ky;
      ASSERT_EQ(kel_dilate_rect(src, dst, c.kx, c.ky), 0);
      EXPECT_EQ(wr::differences(dst, W, H, plain(src, W, H, rect(c.kx, c.ky), true)), 0)
          << c.kx << "x" << c.ky;
      EXPECT_TRUE(kt::margin_intact(dst));
    }
    for (int angle : {0, 45, 90, 135})
      for (int n : {2, 5, 12}) {
        kt::TestImage src = kt::random_image(type, W, H, angle + n, true),
                      dst = kt::view(type, W, H);
        ASSERT_EQ(kel_erode_line(src, dst, n, angle), 0);
        EXPECT_EQ(wr::differences(dst, W, H, plain(src, W, H, line(n, angle), false)), 0)
            << angle << " " << n;
        const auto dilated = plain(src, W, H, line(n, angle), true);
        ASSERT_EQ(kel_dilate_line(src, src, n, angle), 0);  // in place
        EXPECT_EQ(wr::differences(src, W, H, dilated), 0) << angle << " " << n;
      }
    kt::TestImage src = kt::random_image(type, W, H, 3), dst = kt::image(type, W, H);
    ASSERT_EQ(kel_erode2(src, dst), 0);
    EXPECT_EQ(wr::differences(dst, W, H, plain(src, W, H, rect(3, 3), false)), 0);
    ASSERT_EQ(kel_dilate2(src, dst), 0);
    EXPECT_EQ(wr::differences(dst, W, H, plain(src, W, H, rect(3, 3), true)), 0);
  }
}

TEST(MorphologyShapes, GreyElementsWithMaskAndHeights) {
  // A 4x3 element: a cross of members with heights, corners left out.
  const unsigned char mask[12] = {0, 1, 1, 0, 1, 1, 1, 1, 0, 1, 0, 0};
  const float heights[12] = {0, 3, -2, 0, 1, 0, 5, 2, 0, 7, 0, 0};
  std::vector<Member> se;
  for (int j = 0; j < 3; ++j)
    for (int i = 0; i < 4; ++i)
      if (mask[j * 4 + i]) se.push_back({i - 1, j - 1, heights[j * 4 + i]});
  for (unsigned type : wr::kTypes) {
    kt::TestImage src = kt::random_image(type, W, H, 8, true), dst = kt::view(type, W, H);
    ASSERT_EQ(kel_erode_surf(src, dst, mask, heights, 4, 3), 0);
    const double tol = type == FLOAT ? 1e-3 : 0;
    EXPECT_EQ(wr::differences(dst, W, H, plain(src, W, H, se, false), tol), 0) << type;
    ASSERT_EQ(kel_dilate_surf(src, dst, mask, heights, 4, 3), 0);
    EXPECT_EQ(wr::differences(dst, W, H, plain(src, W, H, se, true), tol), 0) << type;
    // Flat and full: the rectangle.
    ASSERT_EQ(kel_erode_surf(src, dst, nullptr, nullptr, 5, 3), 0);
    EXPECT_EQ(wr::differences(dst, W, H, plain(src, W, H, rect(5, 3), false)), 0);
  }
}

TEST(MorphologyShapes, CompositionsAreIdempotentAndConsistent) {
  const float heights[9] = {1, 2, 1, 2, 4, 2, 1, 2, 1};
  for (unsigned type : wr::kTypes) {
    kt::TestImage src = kt::random_image(type, W, H, 21, true);
    if (type == BYTE)  // away from the limits, so that heights never saturate
      for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x)
          kt::set(src, x, y, 20 + int(kt::get(src, x, y)) % 200);
    using Call = std::function<int(const Image *, Image *, int)>;
    const std::vector<Call> kinds = {
        [](const Image *s, Image *d, int op) { return kel_morph_rect(s, d, op, 7, 4); },
        [](const Image *s, Image *d, int op) { return kel_morph_line(s, d, op, 6, 45); },
        [&](const Image *s, Image *d, int op) {
          return kel_morph_surf(s, d, op, nullptr, type == WORD ? nullptr : heights, 3, 3);
        },
        [](const Image *s, Image *d, int op) { return kel_morph2(s, d, op); }};
    const double tol = type == FLOAT ? 1e-3 : 0;  // float differences against double ones
    for (const Call &call : kinds) {
      kt::TestImage er = kt::image(type, W, H), di = kt::image(type, W, H),
                    a = kt::image(type, W, H), b = kt::image(type, W, H),
                    hat = kt::view(type, W, H);
      ASSERT_EQ(call(src, er, KEL_MORPH_ERODE), 0);
      ASSERT_EQ(call(src, di, KEL_MORPH_DILATE), 0);
      for (int op : {KEL_MORPH_OPEN, KEL_MORPH_CLOSE}) {
        ASSERT_EQ(call(src, a, op), 0);
        ASSERT_EQ(call(a, b, op), 0);
        EXPECT_EQ(kt::pixels(a), kt::pixels(b))
            << "idempotent " << op << " kind " << (&call - kinds.data()) << " type " << type;
        ASSERT_EQ(call(op == KEL_MORPH_OPEN ? er : di, b,
                       op == KEL_MORPH_OPEN ? KEL_MORPH_DILATE : KEL_MORPH_ERODE),
                  0);
        EXPECT_EQ(kt::pixels(a), kt::pixels(b)) << "composition " << op;
        const int hat_op = op == KEL_MORPH_OPEN ? KEL_MORPH_TOPHAT : KEL_MORPH_BOTHAT;
        ASSERT_EQ(call(src, hat, hat_op), 0);
        const auto expect = wr::compute(W, H, [&](int x, int y) {
          const double s = kt::get(src, x, y), o = kt::get(a, x, y);
          return op == KEL_MORPH_OPEN ? s - o : o - s;
        });
        EXPECT_EQ(wr::differences(hat, W, H, expect, tol), 0)
            << "hat " << hat_op << " kind " << (&call - kinds.data()) << " type " << type;
      }
      for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x)
          kt::set(b, x, y, kt::get(src, x, y));
      ASSERT_EQ(call(b, b, KEL_MORPH_GRADIENT), 0);  // in place
      const auto grad =
          wr::compute(W, H, [&](int x, int y) { return kt::get(di, x, y) - kt::get(er, x, y); });
      EXPECT_EQ(wr::differences(b, W, H, grad, tol), 0);
    }
  }
}

TEST(MorphologyShapes, EveryFailureIsReportedUnderItsName) {
  kt::TestImage b = kt::image(BYTE, 12, 12), b2 = kt::image(BYTE, 12, 12),
                wd = kt::image(WORD, 12, 12);
  kt::TestImage small = kt::image(BYTE, 12, 2);
  const unsigned char none[4] = {0, 0, 0, 0};
  const float inf[1] = {INFINITY};
  const std::vector<wr::Failure> cases = {
      {"null", [&] { return kel_erode_rect(nullptr, b, 3, 3); }, 1, "kel_erode_rect"},
      {"op", [&] { return kel_morph_rect(b, b2, 7, 3, 3); }, 8, "kel_morph_rect"},
      {"op before types", [&] { return kel_morph2(b, wd, -1); }, 8, "kel_morph2"},
      {"types", [&] { return kel_dilate_rect(b, wd, 3, 3); }, 13, "kel_dilate_rect"},
      {"types before size", [&] { return kel_erode2(wd, small); }, 13, "kel_erode2"},
      {"rect size", [&] { return kel_erode_rect(b, b2, 0, 3); }, 10, "kel_erode_rect"},
      {"rect area", [&] { return kel_dilate_rect(b, small, 3, 3); }, 7, "kel_dilate_rect"},
      {"3x3 area", [&] { return kel_dilate2(b, small); }, 7, "kel_dilate2"},
      {"angle", [&] { return kel_erode_line(b, b2, 5, 30); }, 10, "kel_erode_line"},
      {"length", [&] { return kel_dilate_line(b, b2, 0, 0); }, 10, "kel_dilate_line"},
      {"line area", [&] { return kel_morph_line(b, small, 0, 5, 135); }, 7, "kel_morph_line"},
      {"empty mask", [&] { return kel_erode_surf(b, b2, none, nullptr, 2, 2); }, 10,
       "kel_erode_surf"},
      {"infinite height", [&] { return kel_dilate_surf(b, b2, nullptr, inf, 1, 1); }, 10,
       "kel_dilate_surf"},
      {"surf area", [&] { return kel_morph_surf(b, small, 1, nullptr, nullptr, 3, 3); }, 7,
       "kel_morph_surf"},
  };
  wr::check_failures(cases);
}

}  // namespace
