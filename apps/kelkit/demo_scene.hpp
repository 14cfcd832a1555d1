// The synthetic inspection scene of `kelkit demo`: a circuit board under
// uneven light with fiducial marks, identical parts (one of them turned), a
// hole pattern and optionally a scratch, rendered with anti-aliased edges
// and sensor noise. The layout is known exactly, so every measurement of the
// demo can be compared with the truth.
#pragma once

#include <vector>

#include "command.hpp"

namespace demo {

// Sizes shared by the scene and the steps that measure it.
constexpr int kSceneWidth = 1024;
constexpr int kSceneHeight = 768;
constexpr double kBoardGrey = 112;  // bare board
constexpr double kPartGrey = 205;   // part body
constexpr double kFiducialGrey = 235;
constexpr double kHoleGrey = 18;
constexpr double kPartWidth = 110;  // part body, unturned
constexpr double kPartHeight = 64;
constexpr double kHoleRadius = 7;
constexpr double kNoiseDeviation = 4;

struct Point {
  double x, y;
};

struct Part {
  Point centre;
  double angle_deg;  // clockwise on screen (image rows grow downwards)
};

// Where everything is. Positions are pixel coordinates with pixel centres
// on whole numbers.
struct Truth {
  std::vector<Point> fiducials;  // centres of the ring marks
  std::vector<Part> parts;
  std::vector<Point> holes;
  int rotated_part = 0;  // index into parts of the turned part
  int caliper_part = 0;  // index of the unturned part the caliper crosses
  double caliper_y = 0;  // row of the caliper line (a whole number)
  double caliper_width = kPartWidth;
  Point scratch_from{}, scratch_to{};  // the defect, a dark line
  Point defect() const {
    return {(scratch_from.x + scratch_to.x) / 2, (scratch_from.y + scratch_to.y) / 2};
  }
  // Centroid of a part's body pixels: the rectangle without its pin-one mark.
  Point part_centroid(int index) const;
};

// The layout for `seed`: a fixed arrangement, shifted by sub-pixel amounts
// that follow from the seed so that no position falls on whole pixels.
Truth make_truth(unsigned seed);

// Noise-free grey levels of the board (lighting included) as floats,
// row-major kSceneWidth by kSceneHeight; with or without the scratch.
std::vector<float> render_clean(const Truth &truth, bool with_scratch);

// The clean levels plus Gaussian sensor noise drawn with `noise_seed`,
// rounded and clamped into a new BYTE image.
tool::ImagePtr add_noise(const std::vector<float> &clean, unsigned noise_seed);

// A clean image of one fiducial mark centred at (centre, centre) on bare
// board, `size` pixels square: the correlation search learns from it.
tool::ImagePtr render_fiducial_model(int size, double centre);

// A clean image of one unturned part centred in a `dx` by `dy` image on bare
// board: the rotation-invariant search learns from it.
tool::ImagePtr render_part_model(int dx, int dy);

}  // namespace demo
