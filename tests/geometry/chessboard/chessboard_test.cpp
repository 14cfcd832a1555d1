// Chessboard corners on rendered boards: every corner found within 0.05 px
// of the truth under rotation, perspective, blur, noise, uneven light and
// lens distortion, in grid order; boards that are absent, too small or of
// another size are not found; failures.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "board_views.hpp"
#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

struct Look {
  board::Pose pose;
  double blur, noise, shading;
  const char *what;
};

// Renders the look (640 x 480) into `img` and returns the finder's status
// and, on success, the largest and RMS corner errors.
struct Found {
  int status;
  double worst, rms;
};

Found find_in(const Look &look, const board::Camera &cam, Image *img, int cols, int rows) {
  const double square = 10;
  KelXfm *xfm = board::view(cam, look.pose, cols, rows, square);
  kt::TestImage byte = kt::image(BYTE, img->dx, img->dy);
  EXPECT_EQ(
      kel_chessboard_render(byte, xfm, cols, rows, square, look.blur, look.noise, look.shading, 5),
      0);
  for (int y = 0; y < img->dy; ++y)
    for (int x = 0; x < img->dx; ++x)
      kt::set(img, x, y, kt::get(byte, x, y));
  std::vector<double> tx, ty, fx(cols * rows, -1), fy(cols * rows, -1);
  board::corners(xfm, cols, rows, square, tx, ty);
  kel_xfm_delete(xfm);
  Found f{kel_chessboard_find(img, cols, rows, fx.data(), fy.data()), 0, 0};
  if (f.status) return f;
  // The finder's corner 0 is the grid end nearest the top-left; map the
  // truth's order onto it (the board may be seen turned by a half turn).
  if (std::hypot(tx.back(), ty.back()) < std::hypot(tx[0], ty[0])) {
    std::reverse(tx.begin(), tx.end());
    std::reverse(ty.begin(), ty.end());
  }
  double sum = 0;
  for (int k = 0; k < cols * rows; ++k) {
    double d = std::hypot(fx[k] - tx[k], fy[k] - ty[k]);
    f.worst = std::max(f.worst, d);
    sum += d * d;
  }
  f.rms = std::sqrt(sum / (cols * rows));
  return f;
}

TEST(Chessboard, FindsCornersToHundredthsOfAPixel) {
  board::Camera cam;
  cam.dist[0] = -0.12;
  cam.dist[1] = 0.03;
  const Look clean[] = {
      {{0, 0, 0, 250}, 0.7, 0, 0, "frontal"},
      {{0, 0, 33, 260}, 1.0, 0, 0, "rolled"},
      {{35, -10, 120, 250}, 1.2, 0, 0.3, "tilted and turned"},
      {{-20, 40, -70, 260}, 1.5, 0, 0.6, "steep, blurred, uneven"},
  };
  const Look noisy[] = {
      {{0, 0, 33, 260}, 1.0, 2, 0, "rolled, noise 2"},
      {{35, -10, 120, 250}, 1.2, 2, 0.3, "tilted and turned, noise 2"},
      {{-20, 40, -70, 260}, 1.5, 3, 0.6, "steep, uneven, noise 3"},
      {{10, 25, 180, 300}, 2.0, 3, 0.2, "upside down, blur 2, noise 3"},
  };
  kt::TestImage img = kt::image(BYTE, 640, 480);
  for (const Look &look : clean) {
    Found f = find_in(look, cam, img, 9, 6);
    ASSERT_EQ(f.status, 0) << look.what;
    EXPECT_LT(f.worst, 0.02) << look.what;
  }
  for (const Look &look : noisy) {
    Found f = find_in(look, cam, img, 9, 6);
    ASSERT_EQ(f.status, 0) << look.what;
    EXPECT_LT(f.rms, 0.05) << look.what;
    EXPECT_LT(f.worst, 0.1) << look.what;
  }
  // Heavy blur and noise on dim light: the corner peaks move and the small
  // ring test alone refused some of them.
  for (const Look &look : {Look{{0, 28, 90, 270}, 2.5, 6, 0.7, "heavy blur, noise 6"},
                           Look{{-25, 5, 20, 280}, 3.0, 3, 0.5, "blur 3"}}) {
    Found f = find_in(look, cam, img, 9, 6);
    ASSERT_EQ(f.status, 0) << look.what;
    EXPECT_LT(f.rms, 0.1) << look.what;
  }
  // The same on a FLOAT view, and a square board (7 x 7) in a WORD view.
  kt::TestImage fview = kt::view(FLOAT, 640, 480), wview = kt::view(WORD, 640, 480);
  Found f = find_in(clean[2], cam, fview, 9, 6);
  EXPECT_EQ(f.status, 0);
  EXPECT_LT(f.worst, 0.02);
  EXPECT_TRUE(kt::margin_intact(fview));
  f = find_in({{20, 20, 10, 230}, 1.0, 1, 0.2, "square"}, cam, wview, 7, 7);
  EXPECT_EQ(f.status, 0);
  EXPECT_LT(f.worst, 0.05);
}

// The documented board: square (i, j) dark when i + j is even, for i, j from
// -1 to cols - 1 (rows - 1); a light margin one square wide; background.
double board_grey(int i, int j, int cols, int rows) {
  if (i >= -1 && j >= -1 && i <= cols - 1 && j <= rows - 1) return (i + j) % 2 == 0 ? 40 : 215;
  return i >= -2 && j >= -2 && i <= cols && j <= rows ? 215 : 110;
}

// Pieces [a, b) of the interval cut at multiples of `step` after `offset`,
// with the index of each piece.
std::vector<std::pair<double, int>> pieces(double a, double b, double offset, double step) {
  std::vector<std::pair<double, int>> out;
  while (a < b) {
    int k = int(std::floor((a - offset) / step));
    if (offset + (k + 1) * step <= a) ++k;  // a sits on a cut
    double end = std::min(b, offset + (k + 1) * step);
    out.push_back({end - a, k});
    a = end;
  }
  return out;
}

TEST(Chessboard, RendererGivesExactPixelAreas) {
  // Pixels are world units shifted by (10.3, 12.6): every pixel must hold
  // the exact mean of the board over its area, rounded.
  const double k[5] = {1, 1, 0, 0, 0}, plane[9] = {1, 0, 10.3, 0, 1, 12.6, 0, 0, 1};
  KelXfm *cam = kel_xfm_create(nullptr);
  ASSERT_EQ(kel_xfm_set_camera(cam, k, nullptr, plane), 0);
  kt::TestImage img = kt::view(BYTE, 41, 37);
  ASSERT_EQ(kel_chessboard_render(img, cam, 4, 3, 4.0, 0, 0, 0, 1), 0);
  EXPECT_TRUE(kt::margin_intact(img));
  for (int y = 0; y < 37; ++y)
    for (int x = 0; x < 41; ++x) {
      double mean = 0;
      for (auto [lx, i] : pieces(x - 0.5, x + 0.5, 10.3, 4.0))
        for (auto [ly, j] : pieces(y - 0.5, y + 0.5, 12.6, 4.0))
          mean += lx * ly * board_grey(i, j, 4, 3);
      EXPECT_NEAR(kt::get(img, x, y), mean, 0.5 + 1e-9) << x << "," << y;
    }
  kel_xfm_delete(cam);
}

TEST(Chessboard, RectifiedViewIsTheFlatBoard) {
  // A tilted view through a lens with distortion, rectified through the same
  // camera at 4 px per unit from (-15, -15): the board comes out flat, its
  // corners at (60 + 40 i, 60 + 40 j).
  board::Camera cam;
  cam.dist[0] = -0.2;
  KelXfm *xfm = board::view(cam, {25, -20, 30, 250}, 6, 4, 10);
  kt::TestImage scene = kt::image(BYTE, 640, 480), flat = kt::view(BYTE, 320, 240);
  ASSERT_EQ(kel_chessboard_render(scene, xfm, 6, 4, 10, 1.0, 0, 0, 1), 0);
  ASSERT_EQ(kel_xfm_rectify(xfm, scene, flat, -15, -15, 4), 0);
  EXPECT_TRUE(kt::margin_intact(flat));
  std::vector<double> x(24), y(24);
  ASSERT_EQ(kel_chessboard_find(flat, 6, 4, x.data(), y.data()), 0);
  for (int k = 0; k < 24; ++k) {
    EXPECT_NEAR(x[k], 60 + 40 * (k % 6), 0.1);
    EXPECT_NEAR(y[k], 60 + 40 * (k / 6), 0.1);
  }
  kel_xfm_delete(xfm);
}

TEST(Chessboard, GridOrderIsUnmirroredAndStartsTopLeft) {
  // Turned by 170 degrees, the truth's corner 0 lies bottom right: the
  // finder starts from the top-left end and keeps i to the right of j.
  board::Camera cam;
  KelXfm *xfm = board::view(cam, {10, -15, 170, 260}, 8, 5, 10);
  kt::TestImage img = kt::image(BYTE, 640, 480);
  ASSERT_EQ(kel_chessboard_render(img, xfm, 8, 5, 10, 1.0, 1, 0, 9), 0);
  std::vector<double> x(40), y(40);
  ASSERT_EQ(kel_chessboard_find(img, 8, 5, x.data(), y.data()), 0);
  double tx, ty;
  kel_xfm_world_to_pixel(xfm, 70, 40, &tx, &ty);  // truth's last corner
  EXPECT_LT(std::hypot(x[0] - tx, y[0] - ty), 0.05);
  for (int k = 0; k < 40; ++k)
    EXPECT_LE(std::hypot(x[0], y[0]), std::hypot(x[k], y[k]) + 1e-9);
  double cross = (x[1] - x[0]) * (y[8] - y[0]) - (y[1] - y[0]) * (x[8] - x[0]);
  EXPECT_GT(cross, 0);
  kel_xfm_delete(xfm);
}

TEST(Chessboard, AbsentOrMismatchedBoardsAreNotFound) {
  board::Camera cam;
  cam.cx = 159.5;
  cam.cy = 119.5;
  kt::TestImage img = kt::image(BYTE, 320, 240);
  std::vector<double> x(100, -7), y(100, -7);
  auto not_found = [&](int cols, int rows) {
    kt::clear_report();
    EXPECT_EQ(kel_chessboard_find(img, cols, rows, x.data(), y.data()), KEL_ERR_NOT_FOUND);
    EXPECT_REPORT("kel_chessboard_find", KEL_ERR_NOT_FOUND);
    EXPECT_EQ(x[0], -7);  // untouched
  };
  not_found(5, 4);  // blank image
  KelXfm *xfm = board::view(cam, {0, 0, 20, 500}, 6, 5, 10);
  ASSERT_EQ(kel_chessboard_render(img, xfm, 6, 5, 10, 1.0, 2, 0, 1), 0);
  not_found(5, 5);  // the board has more corners than asked for
  not_found(7, 5);  // and fewer
  ASSERT_EQ(kel_chessboard_find(img, 6, 5, x.data(), y.data()), 0);
  ASSERT_EQ(kel_chessboard_find(img, 5, 6, x.data(), y.data()), 0);  // seen the other way
  kel_xfm_delete(xfm);
}

TEST(Chessboard, Failures) {
  KelXfm *cam = kel_xfm_create(nullptr), *none = kel_xfm_create(nullptr);
  const double k[5] = {1, 1, 0, 0, 0}, plane[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  kel_xfm_set_camera(cam, k, nullptr, plane);
  kt::TestImage img = kt::image(BYTE, 40, 40), small = kt::image(BYTE, 15, 40),
                word = kt::image(WORD, 40, 40), empty = kt::image(BYTE, 0, 3);
  double x[16], y[16];
  auto run = [](int status, int code, const char *fn) {
    EXPECT_EQ(status, code) << fn;
    EXPECT_REPORT(fn, code);
    kt::clear_report();
  };
  run(kel_chessboard_find(nullptr, 4, 4, x, y), 1, "kel_chessboard_find");
  run(kel_chessboard_find(img, 4, 4, x, nullptr), 10, "kel_chessboard_find");
  run(kel_chessboard_find(img, 1, 4, x, y), 10, "kel_chessboard_find");
  run(kel_chessboard_find(small, 4, 4, x, y), 7, "kel_chessboard_find");
  run(kel_chessboard_render(nullptr, cam, 4, 4, 1, 0, 0, 0, 0), 1, "kel_chessboard_render");
  run(kel_chessboard_render(img, none, 4, 4, 1, 0, 0, 0, 0), 10, "kel_chessboard_render");
  run(kel_chessboard_render(img, nullptr, 4, 4, 1, 0, 0, 0, 0), 10, "kel_chessboard_render");
  run(kel_chessboard_render(img, cam, 4, 1, 1, 0, 0, 0, 0), 10, "kel_chessboard_render");
  run(kel_chessboard_render(img, cam, 4, 4, 0, 0, 0, 0, 0), 10, "kel_chessboard_render");
  run(kel_chessboard_render(img, cam, 4, 4, 1, -1, 0, 0, 0), 10, "kel_chessboard_render");
  run(kel_chessboard_render(img, cam, 4, 4, 1, 0, 0, 0.95, 0), 10, "kel_chessboard_render");
  run(kel_chessboard_render(word, cam, 4, 4, 1, 0, 0, 0, 0), 6, "kel_chessboard_render");
  run(kel_chessboard_render(empty, cam, 4, 4, 1, 0, 0, 0, 0), 17, "kel_chessboard_render");
  kel_xfm_delete(cam);
  kel_xfm_delete(none);
}

}  // namespace
