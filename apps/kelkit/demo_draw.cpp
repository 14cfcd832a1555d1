#include "demo_draw.hpp"

#include <cmath>
#include <utility>
#include <vector>

namespace demo {

namespace {

constexpr double kPi = 3.14159265358979323846;

struct Segment {
  double x0, y0, x1, y1;
};

// Digits, '.', '-' and '+' in 3 by 5 pixels, one row of three bits per
// entry (bit 2 is the left column).
const unsigned char *glyph(char c) {
  static const unsigned char digits[10][5] = {
      {7, 5, 5, 5, 7}, {2, 6, 2, 2, 7}, {7, 1, 7, 4, 7}, {7, 1, 7, 1, 7}, {5, 5, 7, 1, 1},
      {7, 4, 7, 1, 7}, {7, 4, 7, 5, 7}, {7, 1, 1, 1, 1}, {7, 5, 7, 5, 7}, {7, 5, 7, 1, 7}};
  static const unsigned char dot[5] = {0, 0, 0, 0, 2}, minus[5] = {0, 0, 7, 0, 0},
                             plus[5] = {0, 2, 7, 2, 0};
  if (c >= '0' && c <= '9') return digits[c - '0'];
  if (c == '.') return dot;
  if (c == '-') return minus;
  if (c == '+') return plus;
  return nullptr;
}

}  // namespace

void Pen::dot(int x, int y, unsigned char v) {
  if (!img_ || x < 0 || y < 0 || x >= img_->dx || y >= img_->dy) return;
  static_cast<unsigned char *>(img_->rows[y])[x] = v;
}

// Pass 0 draws the black rim (a 3 by 3 block per point), pass 1 the white
// core; a shape draws all its rims before its cores.
void Pen::pixel_block(int x, int y, int pass) {
  if (pass == 1) {
    dot(x, y, 255);
    return;
  }
  for (int j = -1; j <= 1; ++j)
    for (int i = -1; i <= 1; ++i)
      dot(x + i, y + j, 0);
}

void Pen::plot(double x0, double y0, double x1, double y1, int pass) {
  int steps = int(std::ceil(std::max(std::fabs(x1 - x0), std::fabs(y1 - y0))));
  if (steps > 100000) return;  // nothing sensible to draw
  for (int i = 0; i <= steps; ++i) {
    double t = steps ? double(i) / steps : 0.0;
    pixel_block(int(std::lround(x0 + t * (x1 - x0))), int(std::lround(y0 + t * (y1 - y0))), pass);
  }
}

void Pen::line(double x0, double y0, double x1, double y1) {
  for (int pass = 0; pass < 2; ++pass)
    plot(x0, y0, x1, y1, pass);
}

void Pen::box(double x0, double y0, double x1, double y1) {
  std::vector<Segment> s = {{x0, y0, x1, y0}, {x1, y0, x1, y1}, {x1, y1, x0, y1}, {x0, y1, x0, y0}};
  for (int pass = 0; pass < 2; ++pass)
    for (const Segment &g : s)
      plot(g.x0, g.y0, g.x1, g.y1, pass);
}

void Pen::turned_box(double cx, double cy, double w, double h, double angle_deg) {
  double a = angle_deg * kPi / 180, ca = std::cos(a), sa = std::sin(a);
  auto at = [&](double u, double v) {
    return std::pair<double, double>{cx + u * ca - v * sa, cy + u * sa + v * ca};
  };
  auto [ax, ay] = at(-w / 2, -h / 2);
  auto [bx, by] = at(w / 2, -h / 2);
  auto [qx, qy] = at(w / 2, h / 2);
  auto [dx, dy] = at(-w / 2, h / 2);
  auto [tx, ty] = at(w / 2 + 12, 0);
  std::vector<Segment> s = {
      {ax, ay, bx, by}, {bx, by, qx, qy}, {qx, qy, dx, dy}, {dx, dy, ax, ay}, {cx, cy, tx, ty}};
  for (int pass = 0; pass < 2; ++pass)
    for (const Segment &g : s)
      plot(g.x0, g.y0, g.x1, g.y1, pass);
}

void Pen::cross(double x, double y, double half) {
  for (int pass = 0; pass < 2; ++pass) {
    plot(x - half, y, x + half, y, pass);
    plot(x, y - half, x, y + half, pass);
  }
}

void Pen::circle(double x, double y, double r) {
  int n = std::max(12, int(r * 2 * kPi / 2));
  for (int pass = 0; pass < 2; ++pass)
    for (int i = 0; i < n; ++i) {
      double a0 = 2 * kPi * i / n, a1 = 2 * kPi * (i + 1) / n;
      plot(x + r * std::cos(a0), y + r * std::sin(a0), x + r * std::cos(a1), y + r * std::sin(a1),
           pass);
    }
}

void Pen::label(double x, double y, const char *text) {
  int left = int(std::lround(x)), top = int(std::lround(y));
  for (int pass = 0; pass < 2; ++pass)
    for (int k = 0; text[k]; ++k) {
      const unsigned char *g = glyph(text[k]);
      if (!g) continue;
      for (int r = 0; r < 5; ++r)
        for (int c = 0; c < 3; ++c)
          if (g[r] & (4 >> c))
            for (int j = 0; j < 2; ++j)
              for (int i = 0; i < 2; ++i)
                pixel_block(left + k * 8 + c * 2 + i, top + r * 2 + j, pass);
    }
}

}  // namespace demo
