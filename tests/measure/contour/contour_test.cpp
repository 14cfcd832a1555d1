// The contour set: sub-pixel accuracy of traced contours on anti-aliased
// shapes, orientation and directions, the length limits, regions and views,
// the ".trc" round trip and its rejection of malformed files, and the
// failure codes.
#include <unistd.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "kelkit/contour.h"
#include "support/test_images.hpp"

namespace {

constexpr double kPi = 3.141592653589793;

struct SetDeleter {
  void operator()(KelContourSet *s) const { kel_ctd_delete(s); }
};
using Set = std::unique_ptr<KelContourSet, SetDeleter>;

Set make_set() {
  int status = -1;
  Set s(kel_ctd_create(&status));
  EXPECT_EQ(status, 0);
  return s;
}

// A disk of radius r at (cx, cy), value `inside` on `outside`, anti-aliased
// by 8 x 8 supersampling.
kt::TestImage disk(int w, int h, double cx, double cy, double r, int inside, int outside,
                   bool as_view = false) {
  kt::TestImage img = as_view ? kt::view(BYTE, w, h) : kt::image(BYTE, w, h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      int hits = 0;
      for (int j = 0; j < 8; ++j)
        for (int i = 0; i < 8; ++i) {
          double px = x - 0.5 + (i + 0.5) / 8, py = y - 0.5 + (j + 0.5) / 8;
          hits += (px - cx) * (px - cx) + (py - cy) * (py - cy) <= r * r;
        }
      kt::set(img, x, y, outside + (inside - outside) * hits / 64.0 + 0.5);
    }
  return img;
}

double signed_area(const KelContourSet *s, int contour) {
  int start = 0, count = 0, closed = 0;
  kel_ctd_get_contour(s, contour, &start, &count, &closed);
  const double *x = kel_ctd_x(s), *y = kel_ctd_y(s);
  double a = 0.0;
  for (int i = 0; i < count; ++i) {
    int j = start + (i + 1) % count, k = start + i;
    a += x[k] * y[j] - x[j] * y[k];
  }
  return a / 2.0;
}

TEST(ContourSet, DefaultsAndSettings) {
  Set s = make_set();
  EXPECT_EQ(kel_ctd_get_edge_level(s.get()), 25);
  EXPECT_EQ(kel_ctd_get_min_length(s.get()), 20);
  EXPECT_EQ(kel_ctd_get_max_length(s.get()), 10000);
  EXPECT_EQ(kel_ctd_get_smoothing(s.get()), 1);
  kel_ctd_set_edge_level(s.get(), 7);
  kel_ctd_set_min_length(s.get(), 3);
  kel_ctd_set_max_length(s.get(), 99);
  kel_ctd_set_smoothing(s.get(), 0);
  EXPECT_EQ(kel_ctd_get_edge_level(s.get()), 7);
  EXPECT_EQ(kel_ctd_get_min_length(s.get()), 3);
  EXPECT_EQ(kel_ctd_get_max_length(s.get()), 99);
  EXPECT_EQ(kel_ctd_get_smoothing(s.get()), 0);
  EXPECT_EQ(kel_ctd_get_point_count(s.get()), 0);
  EXPECT_EQ(kel_ctd_x(s.get()), nullptr);
  kel_ctd_delete(nullptr);
}

// A bright and a dark disk: one closed contour each, every point within 0.3
// pixel of the circle after the smoothing step, directions towards the
// bright side within 4 degrees, and opposite orientations.
TEST(ContourSet, TracesDisksToSubPixelAccuracyWithOrientedDirections) {
  for (int bright_inside = 0; bright_inside < 2; ++bright_inside) {
    const double cx = 40.3, cy = 37.6, r = 18.4;
    kt::TestImage img = disk(81, 77, cx, cy, r, bright_inside ? 200 : 40, bright_inside ? 40 : 200,
                             bright_inside == 1);
    Set s = make_set();
    ASSERT_EQ(kel_ctd_trace(s.get(), img, 0, 0, 81, 77), 0);
    ASSERT_EQ(kel_ctd_smooth(s.get()), 0);
    ASSERT_EQ(kel_ctd_compute_directions(s.get()), 0);
    ASSERT_EQ(kel_ctd_get_contour_count(s.get()), 1);
    int start = -1, count = 0, closed = 0;
    ASSERT_EQ(kel_ctd_get_contour(s.get(), 0, &start, &count, &closed), 0);
    EXPECT_EQ(start, 0);
    EXPECT_EQ(closed, 1);
    EXPECT_NEAR(count, 2 * kPi * r / 1.13, 0.2 * count);  // 8-connected chain length
    EXPECT_EQ(kel_ctd_get_point_count(s.get()), count);
    double worst_r = 0.0, worst_dir = 0.0;
    for (int i = 0; i < count; ++i) {
      double x, y, d;
      int attr = -1;
      ASSERT_EQ(kel_ctd_get_point(s.get(), i, &x, &y, &d, &attr), 0);
      EXPECT_EQ(attr, 0);
      worst_r = std::max(worst_r, std::fabs(std::hypot(x - cx, y - cy) - r));
      double outward = std::atan2(-(y - cy), x - cx);
      double expected = bright_inside ? outward + kPi : outward;
      double diff = std::fabs(std::remainder(d - expected, 2 * kPi));
      worst_dir = std::max(worst_dir, diff);
      EXPECT_GE(d, 0.0);
      EXPECT_LT(d, 2 * kPi);
    }
    EXPECT_LT(worst_r, 0.3);
    EXPECT_LT(worst_dir, 4.0 * kPi / 180);
    // Bright side on the right on screen: a bright disk runs one way round,
    // a dark disk the other.
    double area = signed_area(s.get(), 0);
    EXPECT_NEAR(std::fabs(area), kPi * r * r, 0.05 * kPi * r * r);
    EXPECT_EQ(area > 0, bright_inside == 1);
  }
}

// Regions: coordinates stay relative to the image, and an edge on the
// region's outermost row is not traced; lengths outside the limits drop.
TEST(ContourSet, RegionsAndLengthLimits) {
  kt::TestImage img = disk(100, 60, 30.0, 30.0, 10.0, 220, 20);
  Set s = make_set();
  ASSERT_EQ(kel_ctd_trace(s.get(), img, 10, 5, 45, 50), 0);
  ASSERT_EQ(kel_ctd_get_contour_count(s.get()), 1);
  double x, y;
  kel_ctd_get_point(s.get(), 0, &x, &y, nullptr, nullptr);
  EXPECT_NEAR(std::hypot(x - 30.0, y - 30.0), 10.0, 0.3);
  // A region that cuts the disk leaves open contours only.
  ASSERT_EQ(kel_ctd_trace(s.get(), img, 30, 0, 40, 60), 0);
  for (int c = 0; c < kel_ctd_get_contour_count(s.get()); ++c) {
    int closed = -1;
    kel_ctd_get_contour(s.get(), c, nullptr, nullptr, &closed);
    EXPECT_EQ(closed, 0);
  }
  const int full = [&] {
    kel_ctd_trace(s.get(), img, 0, 0, 100, 60);
    return kel_ctd_get_point_count(s.get());
  }();
  ASSERT_GT(full, 20);
  kel_ctd_set_min_length(s.get(), full + 1);
  ASSERT_EQ(kel_ctd_trace(s.get(), img, 0, 0, 100, 60), 0);
  EXPECT_EQ(kel_ctd_get_contour_count(s.get()), 0);
  kel_ctd_set_min_length(s.get(), full);
  kel_ctd_set_max_length(s.get(), full - 1);
  ASSERT_EQ(kel_ctd_trace(s.get(), img, 0, 0, 100, 60), 0);
  EXPECT_EQ(kel_ctd_get_contour_count(s.get()), 0);
  kel_ctd_set_max_length(s.get(), full);
  ASSERT_EQ(kel_ctd_trace(s.get(), img, 0, 0, 100, 60), 0);
  EXPECT_EQ(kel_ctd_get_contour_count(s.get()), 1);
  // An edge level above the step finds nothing.
  kel_ctd_set_edge_level(s.get(), 201);
  ASSERT_EQ(kel_ctd_trace(s.get(), img, 0, 0, 100, 60), 0);
  EXPECT_EQ(kel_ctd_get_point_count(s.get()), 0);
}

std::vector<std::uint8_t> read_bytes(const std::string &path) {
  std::ifstream f(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>()};
}

void write_bytes(const std::string &path, const std::vector<std::uint8_t> &b) {
  std::ofstream f(path, std::ios::binary | std::ios::trunc);
  f.write(reinterpret_cast<const char *>(b.data()), static_cast<std::streamsize>(b.size()));
}

TEST(ContourSet, FileRoundTripAndMalformedFiles) {
  kt::TestImage img = disk(60, 60, 25.5, 30.25, 12.0, 30, 210);
  Set s = make_set();
  kel_ctd_set_smoothing(s.get(), 2);
  ASSERT_EQ(kel_ctd_trace(s.get(), img, 0, 0, 60, 60), 0);
  kel_ctd_smooth(s.get());
  kel_ctd_compute_directions(s.get());
  ASSERT_EQ(kel_ctd_set_attribute(s.get(), 3, -17), 0);
  const std::string path =
      std::string(KELKIT_TEST_TMP_DIR) + "/contour_roundtrip_" + std::to_string(getpid()) + ".trc";
  ASSERT_EQ(kel_ctd_save(s.get(), path.c_str()), 0);
  const std::vector<std::uint8_t> bytes = read_bytes(path);
  const int n = kel_ctd_get_point_count(s.get());
  ASSERT_EQ(bytes.size(), 32u + 28u * n + 12u);
  EXPECT_EQ(bytes[0], 'K');
  EXPECT_EQ(bytes[3], 'C');
  EXPECT_EQ(bytes[4], 1);  // version

  Set back = make_set();
  ASSERT_EQ(kel_ctd_load(back.get(), path.c_str()), 0);
  EXPECT_EQ(kel_ctd_get_smoothing(back.get()), 2);
  ASSERT_EQ(kel_ctd_get_point_count(back.get()), n);
  for (int i = 0; i < n; ++i) {
    EXPECT_EQ(kel_ctd_x(back.get())[i], kel_ctd_x(s.get())[i]);
    EXPECT_EQ(kel_ctd_y(back.get())[i], kel_ctd_y(s.get())[i]);
    EXPECT_EQ(kel_ctd_direction(back.get())[i], kel_ctd_direction(s.get())[i]);
    EXPECT_EQ(kel_ctd_attribute(back.get())[i], kel_ctd_attribute(s.get())[i]);
  }
  int closed = 0, count = 0;
  kel_ctd_get_contour(back.get(), 0, nullptr, &count, &closed);
  EXPECT_EQ(count, n);
  EXPECT_EQ(closed, 1);

  // Each corruption is refused with 112 and leaves the set as it was.
  struct Corruption {
    const char *what;
    std::vector<std::uint8_t> bytes;
  };
  std::vector<Corruption> bad;
  bad.push_back({"truncated", {bytes.begin(), bytes.end() - 1}});
  bad.push_back({"trailing byte", bytes});
  bad.back().bytes.push_back(0);
  bad.push_back({"magic", bytes});
  bad.back().bytes[0] ^= 1;
  bad.push_back({"version 2", bytes});
  bad.back().bytes[4] = 2;
  bad.push_back({"huge point count", bytes});
  bad.back().bytes[27] = 0x80;
  std::size_t contour = 32 + 28u * n;
  bad.push_back({"contour past the points", bytes});
  bad.back().bytes[contour] = 1;  // start 1, count n
  bad.push_back({"empty contour", bytes});
  for (int k = 0; k < 4; ++k)
    bad.back().bytes[contour + 4 + k] = 0;
  bad.push_back({"closed flag 2", bytes});
  bad.back().bytes[contour + 8] = 2;
  bad.push_back({"NaN coordinate", bytes});
  for (int k = 0; k < 8; ++k)
    bad.back().bytes[32 + k] = k == 7 ? 0x7F : 0xFF;
  bad.push_back({"empty file", {}});
  const std::string broken =
      std::string(KELKIT_TEST_TMP_DIR) + "/contour_broken_" + std::to_string(getpid()) + ".trc";
  for (const Corruption &c : bad) {
    write_bytes(broken, c.bytes);
    kt::clear_report();
    EXPECT_EQ(kel_ctd_load(back.get(), broken.c_str()), KEL_ERR_FILE) << c.what;
    EXPECT_REPORT("kel_ctd_load", KEL_ERR_FILE);
    EXPECT_EQ(kel_ctd_get_point_count(back.get()), n) << c.what;
  }
  EXPECT_EQ(kel_ctd_load(back.get(), (broken + ".missing").c_str()), KEL_ERR_FILE);
  EXPECT_EQ(kel_ctd_save(s.get(), "/nonexistent-dir/x.trc"), KEL_ERR_FILE);
  std::remove(path.c_str());
  std::remove(broken.c_str());
}

TEST(ContourSet, FailureCodes) {
  kt::TestImage img = kt::image(BYTE, 20, 20);
  kt::TestImage word = kt::image(WORD, 20, 20);
  Set s = make_set();
  kt::clear_report();
  EXPECT_EQ(kel_ctd_trace(nullptr, img, 0, 0, 20, 20), KEL_ERR_ARGUMENT);
  EXPECT_REPORT("kel_ctd_trace", KEL_ERR_ARGUMENT);
  EXPECT_EQ(kel_ctd_trace(s.get(), nullptr, 0, 0, 20, 20), KEL_ERR_NULL_IMAGE);
  EXPECT_EQ(kel_ctd_trace(s.get(), word, 0, 0, 20, 20), KEL_ERR_TYPE_MISMATCH);
  EXPECT_REPORT("kel_ctd_trace", KEL_ERR_TYPE_MISMATCH);
  EXPECT_EQ(kel_ctd_trace(s.get(), img, 1, 0, 20, 20), KEL_ERR_WINDOW);
  EXPECT_EQ(kel_ctd_trace(s.get(), img, -1, 0, 5, 5), KEL_ERR_WINDOW);
  EXPECT_EQ(kel_ctd_trace(s.get(), img, 0, 18, 5, 3), KEL_ERR_WINDOW);
  EXPECT_EQ(kel_ctd_trace(s.get(), img, 0, 0, 2, 20), KEL_ERR_AREA_SMALL);
  EXPECT_REPORT("kel_ctd_trace", KEL_ERR_AREA_SMALL);
  EXPECT_EQ(kel_ctd_trace(s.get(), img, 17, 17, 3, 3), 0);
  EXPECT_EQ(kel_ctd_smooth(nullptr), KEL_ERR_ARGUMENT);
  EXPECT_EQ(kel_ctd_compute_directions(nullptr), KEL_ERR_ARGUMENT);
  EXPECT_EQ(kel_ctd_save(nullptr, "x.trc"), KEL_ERR_ARGUMENT);
  EXPECT_EQ(kel_ctd_save(s.get(), nullptr), KEL_ERR_ARGUMENT);
  EXPECT_EQ(kel_ctd_load(nullptr, "x.trc"), KEL_ERR_ARGUMENT);
  EXPECT_EQ(kel_ctd_load(s.get(), nullptr), KEL_ERR_ARGUMENT);
  int start = 5, count = 5, closed = 5;
  EXPECT_EQ(kel_ctd_get_contour(s.get(), 0, &start, &count, &closed), KEL_ERR_ARGUMENT);
  EXPECT_EQ(start + count + closed, 0);
  double x = 1.0;
  EXPECT_EQ(kel_ctd_get_point(s.get(), -1, &x, nullptr, nullptr, nullptr), KEL_ERR_ARGUMENT);
  EXPECT_EQ(x, 0.0);
  EXPECT_EQ(kel_ctd_set_attribute(s.get(), 0, 1), KEL_ERR_ARGUMENT);
  EXPECT_EQ(kel_ctd_get_point_count(nullptr), 0);
  EXPECT_EQ(kel_ctd_get_contour_count(nullptr), 0);
}

}  // namespace
