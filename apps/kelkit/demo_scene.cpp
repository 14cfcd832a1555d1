#include "demo_scene.hpp"

#include <algorithm>
#include <cmath>
#include <memory>

namespace demo {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kOutsideGrey = 28;  // the conveyor around the board
constexpr double kMarkGrey = 120;    // pin-one mark on a part
constexpr double kScratchGrey = 75;
constexpr double kScratchWidth = 3;
constexpr Point kMarkOffset{-40, -18};  // pin-one mark, part coordinates
constexpr double kMarkRadius = 6;

// A grey float canvas that shapes are painted into. Each shape is given by
// its signed distance function (negative inside, in pixels); a pixel takes
// the share 0.5 - distance (clamped to 0..1) of the shape's grey, which
// anti-aliases every edge so that its grey level crosses the midpoint
// exactly on the true outline.
class Canvas {
 public:
  Canvas(int dx, int dy, double grey) : dx_(dx), dy_(dy), px_(std::size_t(dx) * dy, float(grey)) {}

  template <class Distance>
  void paint(double x0, double y0, double x1, double y1, double grey, Distance distance) {
    int xa = std::max(0, int(std::floor(x0)) - 1), xb = std::min(dx_ - 1, int(std::ceil(x1)) + 1);
    int ya = std::max(0, int(std::floor(y0)) - 1), yb = std::min(dy_ - 1, int(std::ceil(y1)) + 1);
    for (int y = ya; y <= yb; ++y)
      for (int x = xa; x <= xb; ++x) {
        double share = std::clamp(0.5 - distance(double(x), double(y)), 0.0, 1.0);
        if (share <= 0) continue;
        float &p = px_[std::size_t(y) * dx_ + x];
        p = float(p + share * (grey - p));
      }
  }

  // A rectangle of size w by h centred at c, turned by angle_deg (clockwise
  // on screen).
  void rect(Point c, double w, double h, double angle_deg, double grey) {
    double a = angle_deg * kPi / 180, ca = std::cos(a), sa = std::sin(a);
    double reach = std::hypot(w, h) / 2;
    paint(c.x - reach, c.y - reach, c.x + reach, c.y + reach, grey, [&](double x, double y) {
      double u = (x - c.x) * ca + (y - c.y) * sa, v = -(x - c.x) * sa + (y - c.y) * ca;
      double qx = std::fabs(u) - w / 2, qy = std::fabs(v) - h / 2;
      double outside = std::hypot(std::max(qx, 0.0), std::max(qy, 0.0));
      return outside + std::min(std::max(qx, qy), 0.0);
    });
  }

  void disk(Point c, double r, double grey) {
    paint(c.x - r, c.y - r, c.x + r, c.y + r, grey,
          [&](double x, double y) { return std::hypot(x - c.x, y - c.y) - r; });
  }

  void ring(Point c, double r_in, double r_out, double grey) {
    paint(c.x - r_out, c.y - r_out, c.x + r_out, c.y + r_out, grey, [&](double x, double y) {
      double d = std::hypot(x - c.x, y - c.y);
      return std::max(d - r_out, r_in - d);
    });
  }

  // A straight stroke of width w between a and b with round ends.
  void stroke(Point a, Point b, double w, double grey) {
    double lx = b.x - a.x, ly = b.y - a.y, len2 = lx * lx + ly * ly;
    paint(std::min(a.x, b.x) - w, std::min(a.y, b.y) - w, std::max(a.x, b.x) + w,
          std::max(a.y, b.y) + w, grey, [&](double x, double y) {
            double t = std::clamp(((x - a.x) * lx + (y - a.y) * ly) / len2, 0.0, 1.0);
            return std::hypot(x - a.x - t * lx, y - a.y - t * ly) - w / 2;
          });
  }

  // The fiducial: a ring with a square inside towards the upper left and a
  // tab on the right, so that it matches itself at one place only.
  void fiducial(Point c) {
    ring(c, 12, 17, kFiducialGrey);
    rect({c.x - 4, c.y - 4}, 8, 8, 0, kFiducialGrey);
    rect({c.x + 21, c.y}, 8, 6, 0, kFiducialGrey);
  }

  // A part: a bright body with a darker pin-one mark near one corner, which
  // makes its orientation unique over the full turn.
  void part(const Part &p) {
    rect(p.centre, kPartWidth, kPartHeight, p.angle_deg, kPartGrey);
    double a = p.angle_deg * kPi / 180;
    Point m{p.centre.x + kMarkOffset.x * std::cos(a) - kMarkOffset.y * std::sin(a),
            p.centre.y + kMarkOffset.x * std::sin(a) + kMarkOffset.y * std::cos(a)};
    disk(m, kMarkRadius, kMarkGrey);
  }

  std::vector<float> &pixels() { return px_; }

 private:
  int dx_, dy_;
  std::vector<float> px_;
};

// Illumination: brighter to the right and in the middle rows, a gain of
// about 0.88 to 1.13 over the board.
double lighting(int x, int y) {
  return 0.88 + 0.2 * x / kSceneWidth + 0.05 * std::sin(kPi * y / kSceneHeight);
}

// Small reproducible jitter in -1.5 .. 1.5 pixels.
struct Jitter {
  unsigned state;
  double next() {
    state = state * 1664525u + 1013904223u;
    return (state >> 8) / double(1u << 24) * 3.0 - 1.5;
  }
  Point around(double x, double y) {
    double jx = next(), jy = next();
    return {x + jx, y + jy};
  }
};

tool::ImagePtr to_image(const std::vector<float> &px, int dx, int dy) {
  tool::ImagePtr img = tool::new_image(BYTE, dx, dy);
  for (int y = 0; y < dy; ++y) {
    auto *row = static_cast<unsigned char *>(img->rows[y]);
    for (int x = 0; x < dx; ++x)
      row[x] = static_cast<unsigned char>(
          std::clamp(std::lround(px[std::size_t(y) * dx + x]), 0L, 255L));
  }
  return img;
}

}  // namespace

Point Truth::part_centroid(int index) const {
  const Part &p = parts[index];
  double body = kPartWidth * kPartHeight, mark = kPi * kMarkRadius * kMarkRadius;
  double u = -mark * kMarkOffset.x / (body - mark), v = -mark * kMarkOffset.y / (body - mark);
  double a = p.angle_deg * kPi / 180;
  return {p.centre.x + u * std::cos(a) - v * std::sin(a),
          p.centre.y + u * std::sin(a) + v * std::cos(a)};
}

Truth make_truth(unsigned seed) {
  Jitter j{seed * 2654435761u + 17u};
  Truth t;
  t.fiducials = {j.around(96, 88), j.around(928, 92), j.around(100, 676)};
  const double layout[5][3] = {
      {330, 200, 0}, {560, 206, 0}, {790, 210, 0}, {420, 470, 23}, {700, 600, 0}};
  for (const auto &l : layout)
    t.parts.push_back({j.around(l[0], l[1]), l[2]});
  t.rotated_part = 3;
  t.caliper_part = 0;
  t.caliper_y = std::round(t.parts[0].centre.y) + 12;  // clear of the pin-one mark
  Point origin = j.around(600, 400);
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 5; ++c)
      t.holes.push_back({origin.x + 40 * c, origin.y + 40 * r});
  t.scratch_from = j.around(830, 590);
  t.scratch_to = j.around(885, 640);
  return t;
}

std::vector<float> render_clean(const Truth &truth, bool with_scratch) {
  Canvas c(kSceneWidth, kSceneHeight, kOutsideGrey);
  c.rect({511.5, 383.5}, 960, 720, 0, kBoardGrey);
  for (const Point &f : truth.fiducials)
    c.fiducial(f);
  for (const Part &p : truth.parts)
    c.part(p);
  for (const Point &h : truth.holes)
    c.disk(h, kHoleRadius, kHoleGrey);
  if (with_scratch) c.stroke(truth.scratch_from, truth.scratch_to, kScratchWidth, kScratchGrey);
  std::vector<float> &px = c.pixels();
  for (int y = 0; y < kSceneHeight; ++y)
    for (int x = 0; x < kSceneWidth; ++x)
      px[std::size_t(y) * kSceneWidth + x] *= float(lighting(x, y));
  return std::move(px);
}

tool::ImagePtr add_noise(const std::vector<float> &clean, unsigned noise_seed) {
  tool::ImagePtr noise = tool::new_image(FLOAT, kSceneWidth, kSceneHeight);
  im_clear_report();
  std::unique_ptr<KelRandGen, int (*)(KelRandGen *)> gen(kel_rand_create(), kel_rand_delete);
  if (!gen) tool::fail_from_last_report("kel_rand_create", KEL_ERR_NO_MEMORY);
  tool::check(kel_rand_seed(gen.get(), noise_seed), "kel_rand_seed");
  tool::check(kel_gauss_noise(noise.get(), float(kNoiseDeviation), 0.0f, gen.get()),
              "kel_gauss_noise");
  std::vector<float> px(clean);
  for (int y = 0; y < kSceneHeight; ++y) {
    const float *row = static_cast<const float *>(noise->rows[y]);
    for (int x = 0; x < kSceneWidth; ++x)
      px[std::size_t(y) * kSceneWidth + x] += row[x];
  }
  return to_image(px, kSceneWidth, kSceneHeight);
}

tool::ImagePtr render_fiducial_model(int size, double centre) {
  Canvas c(size, size, kBoardGrey);
  c.fiducial({centre, centre});
  return to_image(c.pixels(), size, size);
}

tool::ImagePtr render_part_model(int dx, int dy) {
  Canvas c(dx, dy, kBoardGrey);
  c.part({{(dx - 1) / 2.0, (dy - 1) / 2.0}, 0});
  return to_image(c.pixels(), dx, dy);
}

}  // namespace demo
