// The contour follower: sub-pixel accuracy along a circle, a square and open
// arcs, the walking direction, the start search, the stop reasons, the
// crawler file round trip and its rejection of malformed files, and the
// failure codes with their reporting names.
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "kelkit/crawler.h"
#include "support/test_images.hpp"

namespace {

constexpr double kPi = 3.141592653589793;

struct CrawlerDeleter {
  void operator()(KelCrawler *c) const { kel_crawler_delete(c); }
};
using Crawler = std::unique_ptr<KelCrawler, CrawlerDeleter>;

Crawler make_crawler() {
  int status = -1;
  Crawler c(kel_crawler_create(&status));
  EXPECT_EQ(status, 0);
  return c;
}

// A BYTE image whose pixel (x, y) is the mean of value(px, py) over 8 x 8
// samples of the pixel's square, rounded.
kt::TestImage paint(int w, int h, const std::function<double(double, double)> &value,
                    bool as_view = false) {
  kt::TestImage img = as_view ? kt::view(BYTE, w, h) : kt::image(BYTE, w, h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      double sum = 0.0;
      for (int j = 0; j < 8; ++j)
        for (int i = 0; i < 8; ++i)
          sum += value(x - 0.5 + (i + 0.5) / 8, y - 0.5 + (j + 0.5) / 8);
      kt::set(img, x, y, std::floor(sum / 64.0 + 0.5));
    }
  return img;
}

double angle_diff(double a, double b) {
  return std::fabs(std::remainder(a - b, 2 * kPi));
}

struct Walk {
  std::vector<double> x, y, dir;
  std::vector<int> strength;
};

Walk result(const KelCrawler *c) {
  Walk w;
  for (int i = 0; i < kel_crawler_get_point_count(c); ++i) {
    double x, y, d;
    int s;
    EXPECT_EQ(kel_crawler_get_point(c, i, &x, &y, &d, &s), 0);
    w.x.push_back(x);
    w.y.push_back(y);
    w.dir.push_back(d);
    w.strength.push_back(s);
  }
  return w;
}

// Twice the signed area of the closed polygon, in image coordinates.
double signed_area2(const Walk &w) {
  double a = 0.0;
  for (std::size_t i = 0; i < w.x.size(); ++i) {
    std::size_t j = (i + 1) % w.x.size();
    a += w.x[i] * w.y[j] - w.x[j] * w.y[i];
  }
  return a;
}

TEST(Crawler, DefaultsAndSettingRanges) {
  Crawler c = make_crawler();
  EXPECT_EQ(kel_crawler_get_edge_level(c.get()), 25);
  EXPECT_EQ(kel_crawler_get_step(c.get()), 1.0);
  EXPECT_EQ(kel_crawler_get_max_length(c.get()), 10000);
  EXPECT_EQ(kel_crawler_get_direction(c.get()), 1);
  EXPECT_EQ(kel_crawler_get_search_radius(c.get()), 5.0);
  EXPECT_EQ(kel_crawler_get_point_count(c.get()), 0);
  EXPECT_EQ(kel_crawler_get_stop(c.get()), KEL_CRAWL_NONE);
  EXPECT_EQ(kel_crawler_get_closed(c.get()), 0);
  EXPECT_EQ(kel_crawler_x(c.get()), nullptr);
  EXPECT_EQ(kel_crawler_strength(c.get()), nullptr);

  // The ends of each range are accepted, the values just outside refused
  // with 107 under the setter's name, leaving the setting as it was.
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  KelCrawler *p = c.get();
  EXPECT_EQ(kel_crawler_set_edge_level(p, 1), 0);
  EXPECT_EQ(kel_crawler_set_edge_level(p, 1000), 0);
  kt::clear_report();
  EXPECT_EQ(kel_crawler_set_edge_level(p, 0), KEL_ERR_RANGE);
  EXPECT_REPORT("kel_crawler_set_edge_level", KEL_ERR_RANGE);
  EXPECT_EQ(kel_crawler_set_edge_level(p, 1001), KEL_ERR_RANGE);
  EXPECT_EQ(kel_crawler_get_edge_level(p), 1000);
  EXPECT_EQ(kel_crawler_set_step(p, 0.1), 0);
  EXPECT_EQ(kel_crawler_set_step(p, 100.0), 0);
  EXPECT_EQ(kel_crawler_set_step(p, 0.0999), KEL_ERR_RANGE);
  EXPECT_REPORT("kel_crawler_set_step", KEL_ERR_RANGE);
  EXPECT_EQ(kel_crawler_set_step(p, nan), KEL_ERR_RANGE);
  EXPECT_EQ(kel_crawler_set_step(p, inf), KEL_ERR_RANGE);
  EXPECT_EQ(kel_crawler_get_step(p), 100.0);
  EXPECT_EQ(kel_crawler_set_max_length(p, 1), 0);
  EXPECT_EQ(kel_crawler_set_max_length(p, 1 << 24), 0);
  EXPECT_EQ(kel_crawler_set_max_length(p, (1 << 24) + 1), KEL_ERR_RANGE);
  EXPECT_EQ(kel_crawler_set_max_length(p, 0), KEL_ERR_RANGE);
  EXPECT_REPORT("kel_crawler_set_max_length", KEL_ERR_RANGE);
  EXPECT_EQ(kel_crawler_get_max_length(p), 1 << 24);
  EXPECT_EQ(kel_crawler_set_direction(p, -1), 0);
  EXPECT_EQ(kel_crawler_set_direction(p, 0), KEL_ERR_RANGE);
  EXPECT_REPORT("kel_crawler_set_direction", KEL_ERR_RANGE);
  EXPECT_EQ(kel_crawler_set_direction(p, 2), KEL_ERR_RANGE);
  EXPECT_EQ(kel_crawler_get_direction(p), -1);
  EXPECT_EQ(kel_crawler_set_search_radius(p, 0.0), 0);
  EXPECT_EQ(kel_crawler_set_search_radius(p, 100.0), 0);
  EXPECT_EQ(kel_crawler_set_search_radius(p, -0.01), KEL_ERR_RANGE);
  EXPECT_REPORT("kel_crawler_set_search_radius", KEL_ERR_RANGE);
  EXPECT_EQ(kel_crawler_set_search_radius(p, nan), KEL_ERR_RANGE);
  EXPECT_EQ(kel_crawler_get_search_radius(p), 100.0);

  kt::clear_report();
  EXPECT_EQ(kel_crawler_set_edge_level(nullptr, 5), KEL_ERR_ARGUMENT);
  EXPECT_REPORT("kel_crawler_set_edge_level", KEL_ERR_ARGUMENT);
  EXPECT_EQ(kel_crawler_set_step(nullptr, 1.0), KEL_ERR_ARGUMENT);
  EXPECT_REPORT("kel_crawler_set_step", KEL_ERR_ARGUMENT);
  EXPECT_EQ(kel_crawler_set_max_length(nullptr, 5), KEL_ERR_ARGUMENT);
  EXPECT_EQ(kel_crawler_set_direction(nullptr, 1), KEL_ERR_ARGUMENT);
  EXPECT_EQ(kel_crawler_set_search_radius(nullptr, 1.0), KEL_ERR_ARGUMENT);
  EXPECT_REPORT("kel_crawler_set_search_radius", KEL_ERR_ARGUMENT);
  EXPECT_EQ(kel_crawler_get_edge_level(nullptr), 0);
  EXPECT_EQ(kel_crawler_get_step(nullptr), 0.0);
  EXPECT_EQ(kel_crawler_get_max_length(nullptr), 0);
  EXPECT_EQ(kel_crawler_get_direction(nullptr), 0);
  EXPECT_EQ(kel_crawler_get_search_radius(nullptr), 0.0);
  EXPECT_EQ(kel_crawler_get_point_count(nullptr), 0);
  EXPECT_EQ(kel_crawler_get_closed(nullptr), 0);
  EXPECT_EQ(kel_crawler_get_stop(nullptr), KEL_CRAWL_NONE);
  EXPECT_EQ(kel_crawler_direction(nullptr), nullptr);
  kel_crawler_clear(nullptr);
  kel_crawler_delete(nullptr);
}

// Circles, bright and dark, in both directions and with three step lengths,
// started 3 pixels outside the edge: closed, every point within 0.3 pixel
// of the circle, directions within 5 degrees, points one step apart, the
// orientation set by the direction, and the strength the contrast.
TEST(Crawler, FollowsCirclesToSubPixelAccuracy) {
  const double cx = 40.3, cy = 37.6, r = 18.4;
  for (int bright_inside = 0; bright_inside < 2; ++bright_inside) {
    const int in = bright_inside ? 200 : 40, out = bright_inside ? 40 : 200;
    kt::TestImage img = paint(
        81, 77, [&](double x, double y) { return std::hypot(x - cx, y - cy) <= r ? in : out; },
        bright_inside == 1);
    for (int direction : {1, -1}) {
      for (double step : {0.5, 1.0, 2.5}) {
        SCOPED_TRACE(testing::Message() << "bright inside " << bright_inside << ", direction "
                                        << direction << ", step " << step);
        Crawler c = make_crawler();
        ASSERT_EQ(kel_crawler_set_direction(c.get(), direction), 0);
        ASSERT_EQ(kel_crawler_set_step(c.get(), step), 0);
        ASSERT_EQ(kel_crawler_follow(c.get(), img, 0, 0, 81, 77, cx, cy - r - 3.0), 0);
        EXPECT_EQ(kel_crawler_get_stop(c.get()), KEL_CRAWL_CLOSED);
        EXPECT_EQ(kel_crawler_get_closed(c.get()), 1);
        double sx = 0, sy = 0;
        kel_crawler_get_start(c.get(), &sx, &sy);
        EXPECT_EQ(sx, cx);
        EXPECT_EQ(sy, cy - r - 3.0);
        Walk w = result(c.get());
        const std::size_t n = w.x.size();
        // The circle is slightly shorter than the polygon of points.
        EXPECT_NEAR(static_cast<double>(n), 2 * kPi * r / step, 0.03 * n + 1.0);
        double worst_r = 0.0, worst_dir = 0.0, worst_gap = 0.0;
        for (std::size_t i = 0; i < n; ++i) {
          worst_r = std::max(worst_r, std::fabs(std::hypot(w.x[i] - cx, w.y[i] - cy) - r));
          double outward = std::atan2(-(w.y[i] - cy), w.x[i] - cx);
          worst_dir =
              std::max(worst_dir, angle_diff(w.dir[i], bright_inside ? outward + kPi : outward));
          EXPECT_GE(w.dir[i], 0.0);
          EXPECT_LT(w.dir[i], 2 * kPi);
          // Sobel / 4 gives the full contrast across a straight step and
          // a little less or more across an anti-aliased curved one.
          EXPECT_GE(w.strength[i], 110);
          EXPECT_LE(w.strength[i], 175);
          if (i + 1 < n)
            worst_gap = std::max(
                worst_gap, std::fabs(std::hypot(w.x[i + 1] - w.x[i], w.y[i + 1] - w.y[i]) - step));
        }
        EXPECT_LT(worst_r, 0.3);
        EXPECT_LT(worst_dir, 5.0 * kPi / 180);
        EXPECT_LT(worst_gap, 0.05 * step + 0.02);
        // The walk starts near the top of the circle and closes back on it.
        EXPECT_NEAR(w.x[0], cx, 4.5);
        EXPECT_NEAR(w.y[0], cy - r, 0.25);
        double close_gap = std::hypot(w.x[0] - w.x[n - 1], w.y[0] - w.y[n - 1]);
        EXPECT_GE(close_gap, 0.45 * step);
        EXPECT_LE(close_gap, 1.55 * step);
        // Bright side on the right on screen for direction 1.
        bool positive = signed_area2(w) > 0;
        EXPECT_EQ(positive, (bright_inside == 1) == (direction == 1));
      }
    }
  }
}

// A dark square on bright, upright and turned by 45 degrees (where the
// suppressed edge is two pixels thick and the chain passes its start):
// closed, the points on the sides (more than 2 pixels from a corner) within
// 0.25 pixel of the side, and about one point per pixel of perimeter.
TEST(Crawler, FollowsSquareSidesAndClosesOnDiagonals) {
  const double cx = 35.3, cy = 30.7, half = 15.0;
  for (double degrees : {0.0, 45.0}) {
    SCOPED_TRACE(degrees);
    const double t = degrees * kPi / 180, ct = std::cos(t), st = std::sin(t);
    auto side_distance = [&](double x, double y, bool &near_corner) {
      double u = std::fabs((x - cx) * ct + (y - cy) * st) - half;
      double v = std::fabs(-(x - cx) * st + (y - cy) * ct) - half;
      near_corner = u > -2.0 && v > -2.0;
      return std::fabs(u) < std::fabs(v) ? std::fabs(u) : std::fabs(v);
    };
    kt::TestImage img = paint(75, 70, [&](double x, double y) {
      double u = (x - cx) * ct + (y - cy) * st, v = -(x - cx) * st + (y - cy) * ct;
      return std::fabs(u) <= half && std::fabs(v) <= half ? 30 : 190;
    });
    Crawler c = make_crawler();
    ASSERT_EQ(kel_crawler_follow(c.get(), img, 3, 2, 70, 66, cx + 1.0, cy - half / ct + 1.0), 0);
    EXPECT_EQ(kel_crawler_get_stop(c.get()), KEL_CRAWL_CLOSED);
    Walk w = result(c.get());
    EXPECT_NEAR(static_cast<double>(w.x.size()), 8 * half, 6.0);
    int on_sides = 0;
    double worst = 0.0;
    for (std::size_t i = 0; i < w.x.size(); ++i) {
      bool near_corner = false;
      double d = side_distance(w.x[i], w.y[i], near_corner);
      if (near_corner) continue;
      ++on_sides;
      worst = std::max(worst, d);
    }
    EXPECT_GT(on_sides, 80);
    EXPECT_LT(worst, 0.25);
  }
}

// Open arcs: a circle cut by the region runs into the region's border in
// both directions from the same first point; a circle whose contrast fades
// below the edge level ends there. Also a straight edge: the direction of
// travel and the exact normal.
TEST(Crawler, FollowsOpenArcsAndStopsAtTheirEnds) {
  const double cx = 45.4, cy = 70.2, r = 40.3;
  kt::TestImage img =
      paint(90, 60, [&](double x, double y) { return std::hypot(x - cx, y - cy) <= r ? 210 : 50; });
  Walk both[2];
  for (int k = 0; k < 2; ++k) {
    Crawler c = make_crawler();
    ASSERT_EQ(kel_crawler_set_direction(c.get(), k == 0 ? 1 : -1), 0);
    ASSERT_EQ(kel_crawler_follow(c.get(), img, 0, 0, 90, 60, cx + 1.0, cy - r + 1.0), 0);
    EXPECT_EQ(kel_crawler_get_stop(c.get()), KEL_CRAWL_BORDER);
    EXPECT_EQ(kel_crawler_get_closed(c.get()), 0);
    both[k] = result(c.get());
    double worst = 0.0;
    for (std::size_t i = 0; i < both[k].x.size(); ++i)
      worst = std::max(worst, std::fabs(std::hypot(both[k].x[i] - cx, both[k].y[i] - cy) - r));
    EXPECT_LT(worst, 0.25);
  }
  // Bright inside, bright on the right: direction 1 runs clockwise on
  // screen, to the right across the top of the circle.
  EXPECT_EQ(both[0].x[0], both[1].x[0]);
  EXPECT_EQ(both[0].y[0], both[1].y[0]);
  // Together the two walks span the arc inside the region, whose ends lie
  // on row 57, before the rows next to the region's outermost ones (there x
  // = cx +- sqrt(r^2 - (cy - 57)^2)).
  double half = std::sqrt(r * r - (cy - 57.0) * (cy - 57.0));
  EXPECT_NEAR(both[0].x.back(), cx + half, 1.0);
  EXPECT_NEAR(both[0].y.back(), 57.0, 0.5);
  EXPECT_NEAR(both[1].x.back(), cx - half, 1.0);
  EXPECT_NEAR(both[1].y.back(), 57.0, 0.5);

  // The contrast of this circle falls from 160 at the top to 0 at the
  // bottom: the walk ends where the strength drops below the edge level.
  const double fx = 40.0, fy = 40.0, fr = 25.0;
  kt::TestImage fading = paint(80, 80, [&](double x, double y) {
    double contrast = 80.0 * (1.0 - (y - fy) / fr);
    return std::hypot(x - fx, y - fy) <= fr ? 40.0 + contrast : 40.0;
  });
  Crawler c = make_crawler();
  ASSERT_EQ(kel_crawler_set_edge_level(c.get(), 60), 0);
  ASSERT_EQ(kel_crawler_follow(c.get(), fading, 0, 0, 80, 80, fx, fy - fr), 0);
  EXPECT_EQ(kel_crawler_get_stop(c.get()), KEL_CRAWL_END);
  Walk w = result(c.get());
  ASSERT_GT(w.x.size(), 10u);
  EXPECT_GE(w.strength.back(), 60 - 3);
  EXPECT_GT(w.y.back(), fy - 3.0);  // it ran below the level near contrast 60
  EXPECT_LT(w.y.back(), fy + 8.0);
  for (std::size_t i = 0; i < w.x.size(); ++i) {
    if (w.strength[i] < 100) continue;
    EXPECT_LT(std::fabs(std::hypot(w.x[i] - fx, w.y[i] - fy) - fr), 0.25);
  }

  // A straight edge at x = 30.3 (as painted, 2 of the 8 sample columns of
  // pixel 30 are bright, so the parabola vertex is exactly 30.25), bright on
  // the right: direction 1 walks up
  // the screen, -1 down; the normal points along +x (angle 0).
  kt::TestImage step_img = paint(60, 40, [](double x, double) { return x >= 30.3 ? 220 : 60; });
  for (int direction : {1, -1}) {
    Crawler s = make_crawler();
    kel_crawler_set_direction(s.get(), direction);
    ASSERT_EQ(kel_crawler_follow(s.get(), step_img, 10, 0, 40, 40, 28.0, 20.0), 0);
    EXPECT_EQ(kel_crawler_get_stop(s.get()), KEL_CRAWL_BORDER);
    Walk e = result(s.get());
    // One point per pixel from row 20 to row 2 or 37, before the rows next
    // to the region's outermost ones.
    ASSERT_EQ(e.x.size(), direction == 1 ? 19u : 18u);
    EXPECT_EQ(e.y[0], 20.0);
    for (std::size_t i = 0; i < e.x.size(); ++i) {
      EXPECT_EQ(e.x[i], 30.25);
      EXPECT_NEAR(e.y[i], 20.0 - direction * static_cast<double>(i), 1e-9);
      EXPECT_LT(angle_diff(e.dir[i], 0.0), 1e-9);
      EXPECT_EQ(e.strength[i], 160);
    }
  }
}

// The start search takes the strongest edge within the radius, not the
// nearest; with a radius that reaches no edge the walk fails with 14 and the
// result is emptied. The maximum length cuts the walk to its first points.
TEST(Crawler, StartSearchAndMaximumLength) {
  // Steps at x = 20.5 (contrast 60) and x = 25.5 (contrast 150).
  kt::TestImage img =
      paint(50, 30, [](double x, double) { return x < 20.5 ? 40 : (x < 25.5 ? 100 : 250); });
  Crawler c = make_crawler();
  ASSERT_EQ(kel_crawler_follow(c.get(), img, 0, 0, 50, 30, 21.0, 15.0), 0);
  double x = 0;
  kel_crawler_get_point(c.get(), 0, &x, nullptr, nullptr, nullptr);
  EXPECT_NEAR(x, 25.5, 0.05);
  ASSERT_EQ(kel_crawler_set_search_radius(c.get(), 3.0), 0);
  ASSERT_EQ(kel_crawler_follow(c.get(), img, 0, 0, 50, 30, 21.0, 15.0), 0);
  kel_crawler_get_point(c.get(), 0, &x, nullptr, nullptr, nullptr);
  EXPECT_NEAR(x, 20.5, 0.05);
  // Radius 0: only the pixel containing the start point counts.
  ASSERT_EQ(kel_crawler_set_search_radius(c.get(), 0.0), 0);
  ASSERT_EQ(kel_crawler_follow(c.get(), img, 0, 0, 50, 30, 25.4, 15.0), 0);
  kt::clear_report();
  EXPECT_EQ(kel_crawler_follow(c.get(), img, 0, 0, 50, 30, 23.0, 15.0), KEL_ERR_NOT_FOUND);
  EXPECT_REPORT("kel_crawler_follow", KEL_ERR_NOT_FOUND);
  EXPECT_EQ(kel_crawler_get_point_count(c.get()), 0);
  EXPECT_EQ(kel_crawler_get_stop(c.get()), KEL_CRAWL_NONE);

  // Maximum length on a circle: the first points of the unlimited walk.
  kt::TestImage disk = paint(
      60, 60, [](double px, double py) { return std::hypot(px - 30, py - 30) <= 20 ? 200 : 20; });
  Crawler full = make_crawler();
  ASSERT_EQ(kel_crawler_follow(full.get(), disk, 0, 0, 60, 60, 30.0, 10.0), 0);
  const int n = kel_crawler_get_point_count(full.get());
  ASSERT_GT(n, 100);
  for (int limit : {1, 10, n - 1, n}) {
    Crawler cut = make_crawler();
    ASSERT_EQ(kel_crawler_set_max_length(cut.get(), limit), 0);
    ASSERT_EQ(kel_crawler_follow(cut.get(), disk, 0, 0, 60, 60, 30.0, 10.0), 0);
    ASSERT_EQ(kel_crawler_get_point_count(cut.get()), limit);
    EXPECT_EQ(kel_crawler_get_stop(cut.get()),
              limit == n ? KEL_CRAWL_CLOSED : KEL_CRAWL_MAX_LENGTH);
    EXPECT_EQ(kel_crawler_get_closed(cut.get()), limit == n ? 1 : 0);
    for (int i = 0; i < limit; ++i) {
      EXPECT_EQ(kel_crawler_x(cut.get())[i], kel_crawler_x(full.get())[i]);
      EXPECT_EQ(kel_crawler_direction(cut.get())[i], kel_crawler_direction(full.get())[i]);
    }
  }
  kel_crawler_clear(full.get());
  EXPECT_EQ(kel_crawler_get_point_count(full.get()), 0);
  EXPECT_EQ(kel_crawler_get_stop(full.get()), KEL_CRAWL_NONE);
  EXPECT_EQ(kel_crawler_get_max_length(full.get()), 10000);
}

std::vector<std::uint8_t> read_bytes(const std::string &path) {
  std::ifstream f(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>()};
}

void write_bytes(const std::string &path, const std::vector<std::uint8_t> &b) {
  std::ofstream f(path, std::ios::binary | std::ios::trunc);
  f.write(reinterpret_cast<const char *>(b.data()), static_cast<std::streamsize>(b.size()));
}

void put32(std::vector<std::uint8_t> &b, std::size_t at, std::uint32_t v) {
  for (int k = 0; k < 4; ++k)
    b[at + k] = static_cast<std::uint8_t>(v >> (8 * k));
}

TEST(Crawler, FileRoundTripAndMalformedFiles) {
  kt::TestImage img = paint(
      60, 60, [](double x, double y) { return std::hypot(x - 25.5, y - 30.25) <= 12 ? 30 : 210; });
  Crawler c = make_crawler();
  kel_crawler_set_edge_level(c.get(), 40);
  kel_crawler_set_step(c.get(), 0.75);
  kel_crawler_set_direction(c.get(), -1);
  kel_crawler_set_search_radius(c.get(), 7.5);
  kel_crawler_set_max_length(c.get(), 5000);
  ASSERT_EQ(kel_crawler_follow(c.get(), img, 2, 3, 55, 55, 25.5, 16.0), 0);
  const std::string path =
      std::string(KELKIT_TEST_TMP_DIR) + "/crawler_roundtrip_" + std::to_string(getpid()) + ".crw";
  ASSERT_EQ(kel_save_crawler(c.get(), path.c_str()), 0);
  const std::vector<std::uint8_t> bytes = read_bytes(path);
  const int n = kel_crawler_get_point_count(c.get());
  ASSERT_EQ(bytes.size(), 56u + 32u + 28u * n + 12u);
  EXPECT_EQ(bytes[0], 'K');
  EXPECT_EQ(bytes[1], 'C');
  EXPECT_EQ(bytes[2], 'R');
  EXPECT_EQ(bytes[3], 'W');
  EXPECT_EQ(bytes[4], 1);
  EXPECT_EQ(bytes[56], 'K');  // the contour block
  EXPECT_EQ(bytes[59], 'C');

  Crawler back = make_crawler();
  ASSERT_EQ(kel_load_crawler(back.get(), path.c_str()), 0);
  EXPECT_EQ(kel_crawler_get_edge_level(back.get()), 40);
  EXPECT_EQ(kel_crawler_get_step(back.get()), 0.75);
  EXPECT_EQ(kel_crawler_get_direction(back.get()), -1);
  EXPECT_EQ(kel_crawler_get_search_radius(back.get()), 7.5);
  EXPECT_EQ(kel_crawler_get_max_length(back.get()), 5000);
  EXPECT_EQ(kel_crawler_get_stop(back.get()), KEL_CRAWL_CLOSED);
  EXPECT_EQ(kel_crawler_get_closed(back.get()), 1);
  double sx = 0, sy = 0;
  kel_crawler_get_start(back.get(), &sx, &sy);
  EXPECT_EQ(sx, 25.5);
  EXPECT_EQ(sy, 16.0);
  ASSERT_EQ(kel_crawler_get_point_count(back.get()), n);
  for (int i = 0; i < n; ++i) {
    EXPECT_EQ(kel_crawler_x(back.get())[i], kel_crawler_x(c.get())[i]);
    EXPECT_EQ(kel_crawler_y(back.get())[i], kel_crawler_y(c.get())[i]);
    EXPECT_EQ(kel_crawler_direction(back.get())[i], kel_crawler_direction(c.get())[i]);
    EXPECT_EQ(kel_crawler_strength(back.get())[i], kel_crawler_strength(c.get())[i]);
  }
  // An empty crawler round-trips too, and a setting changed after the walk
  // is what the file keeps.
  Crawler empty = make_crawler();
  const std::string empty_path =
      std::string(KELKIT_TEST_TMP_DIR) + "/crawler_empty_" + std::to_string(getpid()) + ".crw";
  ASSERT_EQ(kel_save_crawler(empty.get(), empty_path.c_str()), 0);
  EXPECT_EQ(read_bytes(empty_path).size(), 56u + 32u);
  ASSERT_EQ(kel_load_crawler(back.get(), empty_path.c_str()), 0);
  EXPECT_EQ(kel_crawler_get_point_count(back.get()), 0);
  EXPECT_EQ(kel_crawler_get_edge_level(back.get()), 25);
  kel_crawler_set_edge_level(c.get(), 41);
  ASSERT_EQ(kel_save_crawler(c.get(), empty_path.c_str()), 0);
  ASSERT_EQ(kel_load_crawler(back.get(), empty_path.c_str()), 0);
  EXPECT_EQ(kel_crawler_get_edge_level(back.get()), 41);
  EXPECT_EQ(kel_crawler_get_point_count(back.get()), n);

  // Each corruption is refused with 112 and leaves the crawler as it was.
  struct Corruption {
    const char *what;
    std::vector<std::uint8_t> bytes;
  };
  std::vector<Corruption> bad;
  auto variant = [&](const char *what, std::size_t at, std::uint32_t v) {
    bad.push_back({what, bytes});
    put32(bad.back().bytes, at, v);
  };
  bad.push_back({"truncated", {bytes.begin(), bytes.end() - 1}});
  bad.push_back({"header only", {bytes.begin(), bytes.begin() + 56}});
  bad.push_back({"short header", {bytes.begin(), bytes.begin() + 55}});
  bad.push_back({"trailing byte", bytes});
  bad.back().bytes.push_back(0);
  bad.push_back({"empty file", {}});
  variant("magic", 0, 0x5752434Cu);
  variant("version 2", 4, 2);
  variant("edge level 0", 8, 0);
  variant("edge level 1001", 8, 1001);
  variant("maximum length 0", 12, 0);
  variant("direction 0", 16, 0);
  variant("stop reason 5", 20, 5);
  variant("stop reason none with points", 20, KEL_CRAWL_NONE);
  variant("stop reason end on a closed contour", 20, KEL_CRAWL_END);
  variant("step NaN", 28, 0x7FF80000u);
  variant("step 0", 28, 0);
  variant("radius -2", 36, 0xC0000000u);
  variant("start x infinite", 44, 0x7FF00000u);
  variant("start y NaN", 52, 0x7FF80000u);
  variant("block magic", 56, 0);
  variant("block edge level", 64, 39);
  variant("block minimum length", 68, 2);
  variant("block maximum length", 72, 4999);
  variant("block smoothing", 76, 0);
  variant("block with two contours", 84, 2);
  const std::size_t contour = 56 + 32 + 28u * n;
  variant("contour starts at 1", contour, 1);
  variant("contour count short", contour + 4, static_cast<std::uint32_t>(n - 1));
  variant("closed flag 0", contour + 8, 0);
  variant("negative strength", 56 + 32 + 24, 0xFFFFFFFFu);
  const std::string broken =
      std::string(KELKIT_TEST_TMP_DIR) + "/crawler_broken_" + std::to_string(getpid()) + ".crw";
  for (const Corruption &b : bad) {
    write_bytes(broken, b.bytes);
    kt::clear_report();
    EXPECT_EQ(kel_load_crawler(back.get(), broken.c_str()), KEL_ERR_FILE) << b.what;
    EXPECT_REPORT("kel_load_crawler", KEL_ERR_FILE);
    EXPECT_EQ(kel_crawler_get_point_count(back.get()), n) << b.what;
    EXPECT_EQ(kel_crawler_get_edge_level(back.get()), 41) << b.what;
    EXPECT_EQ(kel_crawler_get_stop(back.get()), KEL_CRAWL_CLOSED) << b.what;
  }
  EXPECT_EQ(kel_load_crawler(back.get(), (broken + ".missing").c_str()), KEL_ERR_FILE);
  EXPECT_REPORT("kel_load_crawler", KEL_ERR_FILE);
  kt::clear_report();
  EXPECT_EQ(kel_save_crawler(c.get(), "/nonexistent-dir/x.crw"), KEL_ERR_FILE);
  EXPECT_REPORT("kel_save_crawler", KEL_ERR_FILE);
  std::remove(path.c_str());
  std::remove(empty_path.c_str());
  std::remove(broken.c_str());
}

TEST(Crawler, FailureCodes) {
  kt::TestImage img = paint(20, 20, [](double x, double) { return x < 10.2 ? 0 : 200; });
  kt::TestImage flat = kt::image(BYTE, 20, 20);
  kt::TestImage word = kt::image(WORD, 20, 20);
  Crawler c = make_crawler();
  ASSERT_EQ(kel_crawler_follow(c.get(), img, 0, 0, 20, 20, 10.0, 10.0), 0);
  const int n = kel_crawler_get_point_count(c.get());
  ASSERT_GT(n, 5);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  struct Case {
    int code;
    std::function<int()> call;
  };
  const Case cases[] = {
      {KEL_ERR_ARGUMENT, [&] { return kel_crawler_follow(nullptr, img, 0, 0, 20, 20, 5, 5); }},
      {KEL_ERR_NULL_IMAGE,
       [&] { return kel_crawler_follow(c.get(), nullptr, 0, 0, 20, 20, 5, 5); }},
      {KEL_ERR_TYPE_MISMATCH,
       [&] { return kel_crawler_follow(c.get(), word, 0, 0, 20, 20, 5, 5); }},
      {KEL_ERR_WINDOW, [&] { return kel_crawler_follow(c.get(), img, 1, 0, 20, 20, 5, 5); }},
      {KEL_ERR_WINDOW, [&] { return kel_crawler_follow(c.get(), img, -1, 0, 5, 5, 1, 1); }},
      {KEL_ERR_WINDOW, [&] { return kel_crawler_follow(c.get(), img, 0, 18, 5, 3, 1, 19); }},
      {KEL_ERR_AREA_SMALL, [&] { return kel_crawler_follow(c.get(), img, 0, 0, 2, 20, 1, 5); }},
      {KEL_ERR_RANGE, [&] { return kel_crawler_follow(c.get(), img, 5, 5, 10, 10, 4.9, 8); }},
      {KEL_ERR_RANGE, [&] { return kel_crawler_follow(c.get(), img, 5, 5, 10, 10, 8, 14.1); }},
      {KEL_ERR_RANGE, [&] { return kel_crawler_follow(c.get(), img, 5, 5, 10, 10, nan, 8); }},
  };
  for (const Case &k : cases) {
    kt::clear_report();
    EXPECT_EQ(k.call(), k.code);
    EXPECT_REPORT("kel_crawler_follow", k.code);
    EXPECT_EQ(kel_crawler_get_point_count(c.get()), n);  // the result stays
  }
  // The corners of the region are valid start points.
  EXPECT_EQ(kel_crawler_follow(c.get(), img, 5, 5, 10, 10, 14.0, 5.0), 0);
  kt::clear_report();
  EXPECT_EQ(kel_crawler_follow(c.get(), flat, 0, 0, 20, 20, 10.0, 10.0), KEL_ERR_NOT_FOUND);
  EXPECT_REPORT("kel_crawler_follow", KEL_ERR_NOT_FOUND);
  EXPECT_EQ(kel_crawler_get_point_count(c.get()), 0);

  double x = 1.0, y = 1.0, d = 1.0;
  int s = 1;
  kt::clear_report();
  EXPECT_EQ(kel_crawler_get_point(c.get(), 0, &x, &y, &d, &s), KEL_ERR_ARGUMENT);
  EXPECT_REPORT("kel_crawler_get_point", KEL_ERR_ARGUMENT);
  EXPECT_EQ(x + y + d + s, 0.0);
  EXPECT_EQ(kel_crawler_get_point(nullptr, 0, &x, nullptr, nullptr, nullptr), KEL_ERR_ARGUMENT);
  x = y = 1.0;
  EXPECT_EQ(kel_crawler_get_start(nullptr, &x, &y), KEL_ERR_ARGUMENT);
  EXPECT_REPORT("kel_crawler_get_start", KEL_ERR_ARGUMENT);
  EXPECT_EQ(x + y, 0.0);
  EXPECT_EQ(kel_save_crawler(nullptr, "x.crw"), KEL_ERR_ARGUMENT);
  EXPECT_REPORT("kel_save_crawler", KEL_ERR_ARGUMENT);
  EXPECT_EQ(kel_save_crawler(c.get(), nullptr), KEL_ERR_ARGUMENT);
  EXPECT_EQ(kel_load_crawler(nullptr, "x.crw"), KEL_ERR_ARGUMENT);
  EXPECT_REPORT("kel_load_crawler", KEL_ERR_ARGUMENT);
  EXPECT_EQ(kel_load_crawler(c.get(), nullptr), KEL_ERR_ARGUMENT);
}

}  // namespace
