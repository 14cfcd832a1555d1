// The learning inspection tool's records and the helpers its learning,
// recognition and persistence share.
#pragma once

#include <cstdint>
#include <vector>

#include "kelkit/inspect.h"

namespace kel::inspect {

// The largest inspected image side: keeps every grid and region computation
// within 32-bit sizes and bounded time, even for a hostile file.
inline constexpr int kMaxImageSide = 1 << 16;

// The largest grid, so that box counts and indices stay well inside int.
inline constexpr int kMaxBoxes = 1 << 24;

// Images learned before m_nLearnAllowToFail starts refusing images.
inline constexpr int kMinLearnedForRefusal = 5;

// The feature bits in vector order.
inline constexpr int kFeatureBits[] = {KEL_INSPECT_MEAN, KEL_INSPECT_DEVIATION,
                                       KEL_INSPECT_GRADIENT, KEL_INSPECT_RANGE};

// Number of features a feature mode selects.
int vector_size(int mode);

// The box grid a tool learns on. All zero before anything is learned.
struct Grid {
  int img_dx = 0, img_dy = 0;
  int box_dx = 0, box_dy = 0;
  int count_x = 0, count_y = 0;
  int mode = 0;
  int vector_size = 0;

  bool empty() const { return count_x == 0; }
  int boxes() const { return count_x * count_y; }
  // Pixel rectangle of box (bx, by).
  int box_x(int bx) const { return bx * box_dx; }
  int box_y(int by) const { return by * box_dy; }
  int box_w(int bx) const { return bx == count_x - 1 ? img_dx - bx * box_dx : box_dx; }
  int box_h(int by) const { return by == count_y - 1 ? img_dy - by * box_dy : box_dy; }
};

// Why a grid cannot be made from a tool's settings: 0 when it can.
struct GridPlan {
  int code = 0;
  const char *message = nullptr;
  Grid grid;
};

// The grid for the given image size and the tool's box settings: 107 for a
// box size below 1 or above the image, a mode without features, an image
// side beyond kMaxImageSide or a grid beyond the maximum box counts.
GridPlan plan_grid(const KelInspect &tool, int img_dx, int img_dy);

// True when the tool's grid settings still describe its learned grid.
bool settings_match_grid(const KelInspect &tool);

// Bytes of learned state a grid needs, and whether it fits nMemLimit.
bool within_memory_limit(const KelInspect &tool, const Grid &grid);

// Blocking bits per box (bit 0 rectangles, bit 1 circles) for the tool's
// regions, enabled ones only.
std::vector<std::uint8_t> blocking_mask(const KelInspect &tool, const Grid &grid);

// A region record that its add and set functions accept.
bool region_valid(const KelInspectRegion &r);

// Feature vectors of every box of `img` (size and grid already checked):
// out[box * vector_size + f], boxes in raster order.
void box_features(const Image *img, const Grid &grid, std::vector<double> &out);

// The deviating boxes of a feature set against the learned state, in raster
// order, with group = -1. Blocked boxes are skipped while blocking is on.
std::vector<KelInspectBox> deviating_boxes(const KelInspect &tool,
                                           const std::vector<double> &features);

}  // namespace kel::inspect

struct KelInspect {
  // Settings, in the order the inspection file stores them.
  int m_nMaxBoxCountX = 256;
  int m_nMaxBoxCountY = 256;
  int m_nImgDx = 0;
  int m_nImgDy = 0;
  int m_nBoxDx = 16;
  int m_nBoxDy = 16;
  int nImageTag = 0;
  int nObjectTag = 0;
  int nSensitivity = 50;
  int m_nLearnAllowToFail = -1;
  int nFeatureMode = KEL_INSPECT_MEAN | KEL_INSPECT_DEVIATION | KEL_INSPECT_GRADIENT;
  int nMemLimit = 0;
  int nBumpSize = 4;
  int bBlockingEnabled = 1;
  std::vector<KelInspectRegion> rects;
  std::vector<KelInspectRegion> circles;

  // Learned state.
  kel::inspect::Grid grid;
  unsigned pixel_type = 0;  // of the learned images; 0 before learning
  int VectorCount = 0;
  // Per box and feature: learned mean, then the sum of squared deviations.
  std::vector<double> stats;
  // Per box: blocking bits of the current regions (empty before learning).
  std::vector<std::uint8_t> blocking;
};

struct KelInspectResults {
  std::vector<KelInspectBox> boxes;
  std::vector<KelInspectGroup> groups;
};
