// Builders of the angle and magnitude tables. All conversions to integer
// truncate toward zero; the angles are computed in single precision and
// converted to degrees in double, so every entry is reproducible.
#include "frame/angle_tables.hpp"

#include <cmath>
#include <cstdlib>
#include <memory>
#include <numbers>
#include <vector>

#include "kelkit/frame.h"

namespace kel::tables {

namespace {

constexpr int kRange = 255;  // coordinates -255 .. 255
constexpr int kRows = 512;   // row pointers of a direction table
constexpr int kSide = 511;   // entries of the magnitude rows and 1.4 table

// A table of `rows` rows of `cols` unsigned 16-bit entries with its row
// pointer array.
struct Table16 {
  int cols;
  std::vector<std::uint16_t> cells;
  std::vector<const std::uint16_t *> row_ptrs;
  Table16(int rows, int columns)
      : cols(columns), cells(static_cast<std::size_t>(rows) * columns), row_ptrs(rows) {
    for (int r = 0; r < rows; ++r)
      row_ptrs[r] = cells.data() + static_cast<std::size_t>(r) * cols;
  }
  std::uint16_t &at(int r, int c) { return cells[static_cast<std::size_t>(r) * cols + c]; }
};

struct HalfCircle {
  Table16 direction{kRows, kRows};
  std::int32_t classes[361];
  std::int32_t div_1_4[kSide];
};

struct FullCircle {
  Table16 direction{kRows, kRows};
  std::int32_t classes[361];
  Table16 magnitude{kSide, kSide};
};

// Plain pointers, not smart ones: the tables are freed by the library's
// unload hook, and a static destructor running in an unspecified order
// around that hook must not free them a second time.
HalfCircle *half = nullptr;
FullCircle *full = nullptr;
int half_builds = 0;
int full_builds = 0;

// The four edge orientations by degree: 1 around 45 and 225, 2 around 90 and
// 270, 3 around 135 and 315, 0 around 0 and 180.
void fill_classes(std::int32_t *classes) {
  for (int d = 0; d <= 360; ++d) {
    int c = 0;
    if ((d >= 23 && d <= 67) || (d >= 203 && d <= 247))
      c = 1;
    else if ((d >= 68 && d <= 112) || (d >= 248 && d <= 292))
      c = 2;
    else if ((d >= 113 && d <= 157) || (d >= 293 && d <= 337))
      c = 3;
    classes[d] = c;
  }
}

double degrees(int x, int y) {
  float radians = std::atan2(static_cast<float>(y), static_cast<float>(x));
  return static_cast<double>(radians) * 180.0 / std::numbers::pi;
}

}  // namespace

void build_half_circle() {
  if (half) return;
  auto t = std::make_unique<HalfCircle>();
  for (int x = -kRange; x <= kRange; ++x)
    for (int y = -kRange; y <= kRange; ++y)
      t->direction.at(x + kRange, y + kRange) =
          static_cast<std::uint16_t>(static_cast<int>(degrees(x, y) + 180.0));
  fill_classes(t->classes);
  for (int v = -kRange; v <= kRange; ++v)
    t->div_1_4[v + kRange] = static_cast<std::int32_t>(std::abs(v) / 1.4);
  half = t.release();
  ++half_builds;
}

void build_full_circle() {
  if (full) return;
  auto t = std::make_unique<FullCircle>();
  for (int x = -kRange; x <= kRange; ++x) {
    for (int y = -kRange; y <= kRange; ++y) {
      double d = degrees(x, y);
      if (y < 0) d += 360.0;
      t->direction.at(x + kRange, y + kRange) = static_cast<std::uint16_t>(static_cast<int>(d));
      float length = std::sqrt(static_cast<float>(x * x + y * y));
      t->magnitude.at(x + kRange, y + kRange) = static_cast<std::uint16_t>(length * 0.7);
    }
  }
  fill_classes(t->classes);
  full = t.release();
  ++full_builds;
}

void release() {
  delete full;
  full = nullptr;
  delete half;
  half = nullptr;
}

const std::uint16_t *const *direction() {
  build_half_circle();
  return half->direction.row_ptrs.data();
}
const std::int32_t *direction_class() {
  build_half_circle();
  return half->classes;
}
const std::int32_t *magnitude_1_4() {
  build_half_circle();
  return half->div_1_4;
}
const std::uint16_t *const *full_direction() {
  build_full_circle();
  return full->direction.row_ptrs.data();
}
const std::int32_t *full_direction_class() {
  build_full_circle();
  return full->classes;
}
const std::uint16_t *const *magnitude() {
  build_full_circle();
  return full->magnitude.row_ptrs.data();
}

int half_circle_builds() {
  return half_builds;
}
int full_circle_builds() {
  return full_builds;
}

}  // namespace kel::tables

extern "C" KELKIT_API void kel_initialize(void) {
  // The full-circle set first, then the half-circle set.
  kel::tables::build_full_circle();
  kel::tables::build_half_circle();
}
