// Pieces of the chessboard corner finder and renderer: a float image
// plane, Gaussian smoothing, bilinear sampling, and the stages of the
// finder (saddle candidates, grid growth, sub-pixel refinement).
#pragma once

#include <vector>

#include "pixsvc.h"

namespace kel::chessboard {

struct Plane {
  int w = 0, h = 0;
  std::vector<float> v;
  Plane() = default;
  Plane(int w_, int h_) : w(w_), h(h_), v(std::size_t(w_) * h_, 0.0f) {}
  float &at(int x, int y) { return v[std::size_t(y) * w + x]; }
  float at(int x, int y) const { return v[std::size_t(y) * w + x]; }
  // Bilinear value, positions clamped to the plane.
  double sample(double x, double y) const;
};

// The pixels of a BYTE, WORD or FLOAT image (view or master).
Plane plane_of(const Image *img);

// Separable Gaussian blur with standard deviation sigma, borders replicated.
Plane gaussian(const Plane &src, double sigma);

struct Point {
  double x = 0, y = 0;
};

// Saddle points of the smoothed image (where four alternating sectors
// meet), the
// strongest first, at most `limit`; `expected` saddles of the pattern
// set the contrast that the others must approach.
std::vector<Point> saddle_candidates(const Plane &smoothed, int expected, int limit);

// Orders candidates into a cols x rows grid (row by row, corner 0 nearest
// the image's top-left, not mirrored). False when no such grid is found.
bool grow_grid(const std::vector<Point> &candidates, int cols, int rows, std::vector<Point> &grid);

// Moves each grid corner to the point where the gradients of the smoothed
// image around it are perpendicular to the lines from it (the crossing of
// the edges).
void refine_corners(const Plane &smoothed, int cols, int rows, std::vector<Point> &grid);

// The smoothing both stages work on.
constexpr double kSmoothing = 1.5;

}  // namespace kel::chessboard
