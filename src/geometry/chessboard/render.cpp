// A chessboard seen through a camera model, for tests, demonstrations and
// benchmarks of the corner finder: kel_chessboard_render.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "geometry/calibration/xfm_record.hpp"
#include "geometry/chessboard/chessboard.hpp"

namespace {

constexpr double kDark = 40, kLight = 215, kBackground = 110;

// Grey value of world point (X, Y) of a board of cols x rows inner corners.
double board_value(double X, double Y, int cols, int rows, double square) {
  double i = std::floor(X / square), j = std::floor(Y / square);
  if (i < -1 || j < -1 || i > cols - 1 || j > rows - 1) {
    bool margin = i >= -2 && j >= -2 && i <= cols && j <= rows;
    return margin ? kLight : kBackground;
  }
  return (std::int64_t(i) + std::int64_t(j)) % 2 == 0 ? kDark : kLight;
}

struct Corner {
  double x, y;
};

double signed_area(const std::vector<Corner> &poly) {
  double a = 0;
  for (std::size_t k = 0; k < poly.size(); ++k) {
    const Corner &p = poly[k], &q = poly[(k + 1) % poly.size()];
    a += p.x * q.y - q.x * p.y;
  }
  return a / 2;
}

// Clips a polygon to the half-plane where sign * (coordinate - limit) <= 0
// of x (axis 0) or y (axis 1).
std::vector<Corner> clip(const std::vector<Corner> &poly, int axis, double limit, double sign) {
  std::vector<Corner> out;
  auto inside = [&](const Corner &p) { return sign * ((axis ? p.y : p.x) - limit) <= 0; };
  for (std::size_t k = 0; k < poly.size(); ++k) {
    const Corner &p = poly[k], &q = poly[(k + 1) % poly.size()];
    bool pin = inside(p), qin = inside(q);
    if (pin) out.push_back(p);
    if (pin != qin) {
      double pc = axis ? p.y : p.x, qc = axis ? q.y : q.x, t = (limit - pc) / (qc - pc);
      out.push_back({p.x + t * (q.x - p.x), p.y + t * (q.y - p.y)});
    }
  }
  return out;
}

// Mean grey value over a pixel whose corners lie at `quad` on the board
// plane: the pixel's area is split exactly among the squares it overlaps
// (the pixel's sides are straight on the plane to well within a
// thousandth of a pixel).
double pixel_value(const Corner *quad, int cols, int rows, double square) {
  double x0 = quad[0].x, x1 = x0, y0 = quad[0].y, y1 = y0;
  for (int k = 1; k < 4; ++k) {
    x0 = std::min(x0, quad[k].x), x1 = std::max(x1, quad[k].x);
    y0 = std::min(y0, quad[k].y), y1 = std::max(y1, quad[k].y);
  }
  const double i0 = std::floor(x0 / square), i1 = std::floor(x1 / square);
  const double j0 = std::floor(y0 / square), j1 = std::floor(y1 / square);
  const double centre_x = (x0 + x1) / 2, centre_y = (y0 + y1) / 2;
  if ((i0 == i1 && j0 == j1) || i1 - i0 > 8 || j1 - j0 > 8)
    return board_value(centre_x, centre_y, cols, rows, square);
  const std::vector<Corner> pixel(quad, quad + 4);
  const double total = signed_area(pixel);
  if (!(std::fabs(total) > 0)) return board_value(centre_x, centre_y, cols, rows, square);
  double sum = 0;
  for (double i = i0; i <= i1; ++i) {
    std::vector<Corner> column = clip(clip(pixel, 0, i * square, -1), 0, (i + 1) * square, 1);
    if (column.size() < 3) continue;
    for (double j = j0; j <= j1; ++j) {
      std::vector<Corner> cell = clip(clip(column, 1, j * square, -1), 1, (j + 1) * square, 1);
      if (cell.size() < 3) continue;
      sum += signed_area(cell) *
             board_value((i + 0.5) * square, (j + 0.5) * square, cols, rows, square);
    }
  }
  return sum / total;
}

// Box-Muller from a Mersenne twister: the same noise on every platform.
class Gauss {
 public:
  explicit Gauss(unsigned seed) : gen_(seed) {}
  double next() {
    double u1 = (double(gen_()) + 1.0) / 4294967297.0, u2 = double(gen_()) / 4294967296.0;
    return std::sqrt(-2 * std::log(u1)) * std::cos(2 * 3.14159265358979323846 * u2);
  }

 private:
  std::mt19937 gen_;
};

}  // namespace

extern "C" KELKIT_API int kel_chessboard_render(Image *dst, const KelXfm *camera, int cols,
                                                int rows, double square, double blur, double noise,
                                                double shading, unsigned seed) {
  return kel::guarded("kel_chessboard_render", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, dst)) return e;
    if (int e = kel::need_pointer(fn, camera, "xfm is NULL")) return e;
    if (camera->kind == KEL_XFM_NONE) return kel::fail(fn, KEL_ERR_ARGUMENT, "Must initialize");
    if (cols < 2 || rows < 2 || cols > 10000 || rows > 10000)
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Board size");
    if (!(square > 0) || !std::isfinite(square) || !(blur >= 0 && blur <= 20) ||
        !(noise >= 0 && noise <= 100) || !(shading >= 0 && shading <= 0.9))
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Value out of range");
    if (dst->type != BYTE) return kel::fail(fn, KEL_ERR_TYPE, "BYTE images only");
    if (dst->dx < 1 || dst->dy < 1) return kel::fail(fn, KEL_ERR_EMPTY, "Empty area");
    const int w = dst->dx, h = dst->dy;
    // World positions of the pixel-corner lattice; samples inside a pixel
    // interpolate between its four corners.
    const int lw = w + 1;
    std::vector<double> wx(std::size_t(lw) * (h + 1)), wy(wx.size());
    std::vector<char> valid(wx.size());
    for (int y = 0; y <= h; ++y)
      for (int x = 0; x <= w; ++x) {
        std::size_t k = std::size_t(y) * lw + x;
        valid[k] = camera->model.pixel_to_world(x - 0.5, y - 0.5, wx[k], wy[k]);
      }
    kel::chessboard::Plane img(w, h);
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        std::size_t k00 = std::size_t(y) * lw + x, k10 = k00 + 1, k01 = k00 + lw, k11 = k01 + 1;
        if (!valid[k00] || !valid[k10] || !valid[k01] || !valid[k11]) {
          img.at(x, y) = float(kBackground);
          continue;
        }
        const Corner quad[4] = {
            {wx[k00], wy[k00]}, {wx[k10], wy[k10]}, {wx[k11], wy[k11]}, {wx[k01], wy[k01]}};
        img.at(x, y) = float(pixel_value(quad, cols, rows, square));
      }
    if (blur > 0) img = kel::chessboard::gaussian(img, blur);
    Gauss gauss(seed);
    for (int y = 0; y < h; ++y) {
      std::uint8_t *row = kel::row<std::uint8_t>(dst, y);
      for (int x = 0; x < w; ++x) {
        double light = 1 - shading * (w > 1 ? double(x) / (w - 1) : 0.0);
        double v = img.at(x, y) * light + (noise > 0 ? noise * gauss.next() : 0.0);
        v = std::floor(v + 0.5);
        row[x] = std::uint8_t(v < 0 ? 0 : v > 255 ? 255 : v);
      }
    }
    return KEL_OK;
  });
}
