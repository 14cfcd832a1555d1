// Pieces of the contour tracer and of the contour file shared with the
// contour follower: the edge field (Sobel gradient, non-maximum suppression
// with a parabolic sub-pixel vertex), the linking of edge pixels into a
// chain, and the little-endian byte coding of the files.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "pixsvc.h"

namespace kel::measure::tracer {

// Per-pixel gradient of a region and the edge pixels found in it. Indices
// and positions are relative to the region.
struct EdgeField {
  int w = 0;
  int h = 0;
  std::vector<float> gx, gy, mag;
  std::vector<float> sx, sy;        // sub-pixel position of edge pixels
  std::vector<std::uint8_t> state;  // 0 none, 1 edge pixel, 2 linked
  std::size_t at(int x, int y) const { return static_cast<std::size_t>(y) * w + x; }
};

// Fills `f` for the region (x0, y0, dx, dy) of a BYTE image, which the caller
// has checked: the gradient (Sobel / 4) and the edge pixels of strength at
// least `level` that are maxima along the quantised gradient direction.
void build_edge_field(EdgeField &f, const Image *img, int x0, int y0, int dx, int dy, float level);

// Follows unlinked edge pixels from (x, y) with the preferred heading `sign`
// (+1 with the bright side on the right on screen, -1 against it), marking
// them linked and appending their indices to `chain`.
void follow(EdgeField &f, int x, int y, int sign, std::vector<std::size_t> &chain);

// True when a chain of at least 4 pixels seeded at (x, y) ends next to it.
bool chain_closes(const EdgeField &f, const std::vector<std::size_t> &chain, int x, int y);

// The gradient direction of pixel i towards the bright side, radians in
// 0..2pi, counter-clockwise on screen.
double gradient_direction(const EdgeField &f, std::size_t i);

}  // namespace kel::measure::tracer

namespace kel::measure::bytes {

inline void put32(std::vector<std::uint8_t> &out, std::uint32_t v) {
  for (int i = 0; i < 4; ++i)
    out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
}

inline void put64(std::vector<std::uint8_t> &out, double d) {
  std::uint64_t v;
  std::memcpy(&v, &d, sizeof v);
  for (int i = 0; i < 8; ++i)
    out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
}

inline std::uint32_t get32(const std::uint8_t *p) {
  return std::uint32_t(p[0]) | std::uint32_t(p[1]) << 8 | std::uint32_t(p[2]) << 16 |
         std::uint32_t(p[3]) << 24;
}

inline double get64(const std::uint8_t *p) {
  std::uint64_t v = 0;
  for (int i = 7; i >= 0; --i)
    v = v << 8 | p[i];
  double d;
  std::memcpy(&d, &v, sizeof d);
  return d;
}

inline std::int32_t get_int(const std::uint8_t *p) {
  return static_cast<std::int32_t>(get32(p));
}

// Reads a whole file of at most `largest` bytes into `out`: 0, or 1 when it
// cannot be opened, 2 when it cannot be read or is larger.
int read_file(const char *path, std::size_t largest, std::vector<std::uint8_t> &out);

// Writes `data` to `path`: 0, or 1 when the file cannot be created, 2 when
// it cannot be written completely.
int write_file(const char *path, const std::vector<std::uint8_t> &data);

}  // namespace kel::measure::bytes
