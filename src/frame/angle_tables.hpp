// Library-level angle and magnitude tables for the edge and contour tools.
//
// First set (half-circle directions): direction(x, y) for x, y in -255..255
// is floor(atan2(y, x) in degrees) + 180, in 0..360; a class per degree (0 to
// 3, the four edge orientations); and |v| / 1.4 for v in -255..255.
// Second set (full circle): direction(x, y) in 0..359 (atan2 in degrees, plus
// 360 below the x axis), its class table, and the gradient magnitude
// sqrt(x*x + y*y) * 0.7 for x, y in -255..255.
// Every table is built once, by kel_initialize or by its first user, and
// lives until the library unloads.
#pragma once

#include <cstdint>

namespace kel::tables {

// Half-circle set. direction()[x + 255][y + 255]; 512 rows of 512 entries.
const std::uint16_t *const *direction();
const std::int32_t *direction_class();  // 361 entries, by degree
const std::int32_t *magnitude_1_4();    // 511 entries, v + 255

// Full-circle set. full_direction()[x + 255][y + 255]; 512 rows of 512.
const std::uint16_t *const *full_direction();
const std::int32_t *full_direction_class();  // 361 entries
const std::uint16_t *const *magnitude();     // magnitude()[x + 255][y + 255]; 511 x 511

// Builders; each does nothing when its set exists.
void build_half_circle();
void build_full_circle();
// Frees both sets (at the last unload).
void release();
// How many times each builder has really built its set (for tests).
int half_circle_builds();
int full_circle_builds();

}  // namespace kel::tables
