// Straight edge lines across an image: kel_edge_find_image, fitting a
// horizontal line from the strongest step in each column or a vertical line
// from the strongest step in each row.
#include <cstdint>
#include <vector>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "geometry/line_fit.hpp"
#include "kelkit/edge.h"

namespace {

using kel::row;

// Fewest columns (rows) with an edge that make a line.
constexpr int kMinPoints = 4;

// Edge samples: position along the line (column or row index) and the edge's
// sub-pixel position across it.
struct Samples {
  std::vector<double> along, across;
};

// Sub-pixel position of the peak at r from its neighbours, the divisor being
// the peak itself; a zero peak (only possible below a negative threshold)
// stays at the operator's centre.
double peak_position(int r, int before, int peak, int after) {
  return peak == 0 ? r + 1.5 : r + 1.5 + double(after - before) / peak;
}

// Horizontal line: the step values of all columns are formed row by row, so
// the image is read in raster order, and each column keeps its largest value
// above the threshold (the topmost on ties).
Samples column_edges(const Image *img, int threshold, int sign) {
  const int dx = img->dx, rows = img->dy - 6;
  auto g = [&](int x, int r) {
    return sign * (row<const std::uint8_t>(img, r + 2)[x] + row<const std::uint8_t>(img, r + 3)[x] -
                   row<const std::uint8_t>(img, r)[x] - row<const std::uint8_t>(img, r + 1)[x]);
  };
  std::vector<int> best(dx, threshold), at(dx, -1);
  for (int r = 0; r < rows; ++r) {
    const std::uint8_t *p0 = row<const std::uint8_t>(img, r),
                       *p1 = row<const std::uint8_t>(img, r + 1),
                       *p2 = row<const std::uint8_t>(img, r + 2),
                       *p3 = row<const std::uint8_t>(img, r + 3);
    for (int x = 0; x < dx; ++x) {
      int v = sign * (p2[x] + p3[x] - p0[x] - p1[x]);
      if (v > best[x]) {
        best[x] = v;
        at[x] = r;
      }
    }
  }
  Samples s;
  for (int x = 0; x < dx; ++x) {
    int r = at[x];
    if (r < 1) continue;
    s.along.push_back(x);
    s.across.push_back(peak_position(r, g(x, r - 1), best[x], g(x, r + 1)));
  }
  return s;
}

// Vertical line: the same along each row.
Samples row_edges(const Image *img, int threshold, int sign) {
  const int cols = img->dx - 6;
  Samples s;
  for (int y = 0; y < img->dy; ++y) {
    const std::uint8_t *p = row<const std::uint8_t>(img, y);
    auto g = [&](int c) { return sign * (p[c + 2] + p[c + 3] - p[c] - p[c + 1]); };
    int best = threshold, at = -1;
    for (int c = 0; c < cols; ++c) {
      int v = g(c);
      if (v > best) {
        best = v;
        at = c;
      }
    }
    if (at < 1) continue;
    s.along.push_back(y);
    s.across.push_back(peak_position(at, g(at - 1), best, g(at + 1)));
  }
  return s;
}

// Ordinary least squares across = a + b * along.
void fit(const Samples &s, double &a, double &b) {
  const double n = double(s.along.size());
  double mu = 0, mv = 0;
  for (std::size_t i = 0; i < s.along.size(); ++i) {
    mu += s.along[i];
    mv += s.across[i];
  }
  mu /= n;
  mv /= n;
  double suu = 0, suv = 0;
  for (std::size_t i = 0; i < s.along.size(); ++i) {
    suu += (s.along[i] - mu) * (s.along[i] - mu);
    suv += (s.along[i] - mu) * (s.across[i] - mv);
  }
  b = suv / suu;
  a = mv - b * mu;
}

// The line's three points, its direction and its signed distance. `length` is dx for a
// horizontal line and dy for a vertical one; points are (along, across) and
// are swapped into (x, y) for the vertical line.
void describe(double a, double b, int length, bool vertical, EdgeResults *r) {
  const int half = length / 2;
  double along[3] = {0.0, double(half), double(length)};
  double *px[3] = {&r->p1x, &r->p2x, &r->p3x}, *py[3] = {&r->p1y, &r->p2y, &r->p3y};
  for (int i = 0; i < 3; ++i) {
    double across = a + b * along[i];
    *px[i] = vertical ? across : along[i];
    *py[i] = vertical ? along[i] : across;
  }
  // Direction and distance of the line through its points at the first and
  // the last pixel index, in (x, y); the fit already brings theta into
  // (-pi/2, pi/2].
  double u[2] = {0.0, double(length - 1)}, v[2] = {a, a + b * (length - 1)};
  kel::geometry::DirectedLine line;
  if (vertical)
    kel::geometry::fit_line(2, v, u, line);
  else
    kel::geometry::fit_line(2, u, v, line);
  r->theta = line.theta;
  r->distance = line.distance;
}

// Coordinate mode of the measurement tools, applied to the three points.
void apply_coords(const Image *img, unsigned coords, EdgeResults *r) {
  const bool to_master = !(coords & 1u) && img->master;
  double *px[3] = {&r->p1x, &r->p2x, &r->p3x}, *py[3] = {&r->p1y, &r->p2y, &r->p3y};
  for (int i = 0; i < 3; ++i) {
    if (to_master) {
      *px[i] += img->x0;
      *py[i] += img->y0;
    }
    if (coords & 2u) *py[i] = (to_master ? img->master->dy : img->dy) - *py[i];
  }
}

}  // namespace

extern "C" KELKIT_API int kel_edge_find_image(const Image *img, int vertical, int threshold,
                                              int polarity, unsigned int coords,
                                              EdgeResults *results) {
  return kel::guarded("kel_edge_find_image", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, img)) return e;
    if (int e = kel::need_pointer(fn, results, "results is NULL")) return e;
    *results = EdgeResults{};
    if (int e = kel::need_type(fn, BYTE, img)) return e;
    const bool vert = vertical != 0;
    const int across = vert ? img->dx : img->dy;
    if (across - 6 < 2)
      return kel::fail(vert ? "kel_find_vline" : "kel_find_hline", KEL_ERR_EMPTY,
                       "Image too small for an edge line");
    const int sign = polarity == 0 ? -1 : 1;
    Samples s = vert ? row_edges(img, threshold, sign) : column_edges(img, threshold, sign);
    if (int(s.along.size()) < kMinPoints) return KEL_OK;
    double a = 0, b = 0;
    fit(s, a, b);
    describe(a, b, vert ? img->dy : img->dx, vert, results);
    apply_coords(img, coords, results);
    return KEL_OK;
  });
}
