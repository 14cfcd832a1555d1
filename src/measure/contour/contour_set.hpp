// The contour set behind the opaque KelContourSet handle: settings, the
// per-point arrays and the list of contours. The rotation-invariant search
// reads the arrays directly.
#pragma once

#include <cstdint>
#include <vector>

#include "kelkit/contour.h"
#include "pixsvc.h"

namespace kel::measure {

struct Contour {
  std::int32_t start = 0;   // index of the first point in the arrays
  std::int32_t count = 0;   // number of points
  std::int32_t closed = 0;  // 1 when the last point joins the first
};

}  // namespace kel::measure

struct KelContourSet {
  KelContourSet() = default;
  KelContourSet(const KelContourSet &) = default;
  KelContourSet &operator=(const KelContourSet &) = default;
  KelContourSet(KelContourSet &&) = default;
  KelContourSet &operator=(KelContourSet &&) = default;
  virtual ~KelContourSet() = default;

  int edge_level = 25;
  int min_length = 20;
  int max_length = 10000;
  int smoothing = 1;

  std::vector<double> x;
  std::vector<double> y;
  std::vector<double> direction;
  std::vector<std::int32_t> attribute;
  std::vector<kel::measure::Contour> contours;

  void clear() {
    x.clear();
    y.clear();
    direction.clear();
    attribute.clear();
    contours.clear();
  }
  int point_count() const { return static_cast<int>(x.size()); }
};

namespace kel::measure {

// Traces the region (x0, y0, dx, dy) of a BYTE image, which the caller has
// checked, into `set` (replacing its contents). Coordinates are relative to
// the image.
void trace_contours(KelContourSet &set, const Image *img, int x0, int y0, int dx, int dy);

// The smoothing and direction steps.
void smooth_contours(KelContourSet &set);
void contour_directions(KelContourSet &set);

// The ".trc" encoding: serialise, and parse with every bound checked (false
// leaves `set` unchanged).
std::vector<std::uint8_t> encode_contours(const KelContourSet &set);
bool decode_contours(const std::uint8_t *data, std::size_t size, KelContourSet &set);

}  // namespace kel::measure
