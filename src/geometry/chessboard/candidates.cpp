// Saddle-point candidates of the chessboard finder: local maxima of the
// negative Hessian determinant of the smoothed image, kept when a ring of
// samples around them changes side of its mean exactly four times (four
// alternating sectors) with enough contrast.
#include <algorithm>
#include <cmath>

#include "geometry/chessboard/chessboard.hpp"

namespace kel::chessboard {

namespace {

constexpr int kRing = 24;
constexpr double kRadius = 4.0, kWideRadius = 7.0;

// Unit ring offsets.
struct Ring {
  double dx[kRing], dy[kRing];
  Ring() {
    for (int k = 0; k < kRing; ++k) {
      double a = 2 * 3.14159265358979323846 * k / kRing;
      dx[k] = std::cos(a);
      dy[k] = std::sin(a);
    }
  }
};

// True when the ring of `radius` around (x, y) holds four alternating
// sectors; the contrast of the ring goes to `contrast`.
bool four_sectors(const Plane &img, double x, double y, double radius, double &contrast) {
  static const Ring ring;
  double v[kRing], mean = 0, lo = 1e30, hi = -1e30;
  for (int k = 0; k < kRing; ++k) {
    v[k] = img.sample(x + radius * ring.dx[k], y + radius * ring.dy[k]);
    mean += v[k] / kRing;
    lo = std::min(lo, v[k]);
    hi = std::max(hi, v[k]);
  }
  contrast = hi - lo;
  int changes = 0;
  for (int k = 0; k < kRing; ++k)
    changes += (v[k] > mean) != (v[(k + 1) % kRing] > mean);
  if (changes != 4) return false;
  // Opposite samples of an X junction are alike; across it they differ.
  double same = 0, across = 0;
  for (int k = 0; k < kRing / 2; ++k)
    same += std::fabs(v[k] - v[k + kRing / 2]);
  for (int k = 0; k < kRing; ++k)
    across += std::fabs(v[k] - mean);
  return same < 0.5 * across;
}

struct Scored {
  Point p;
  float score;
};

// Share of the typical saddle contrast a candidate must reach.
constexpr double kContrastShare = 0.12;

// The median ring contrast of the `expected` strongest saddles.
double reference_contrast(const std::vector<Scored> &found, const std::vector<double> &contrasts,
                          int expected) {
  std::vector<std::size_t> order(found.size());
  for (std::size_t i = 0; i < order.size(); ++i)
    order[i] = i;
  std::sort(order.begin(), order.end(),
            [&](std::size_t a, std::size_t b) { return found[a].score > found[b].score; });
  std::vector<double> strong;
  for (std::size_t k = 0; k < order.size() && k < std::size_t(expected); ++k)
    strong.push_back(contrasts[order[k]]);
  if (strong.empty()) return 0;
  std::nth_element(strong.begin(), strong.begin() + strong.size() / 2, strong.end());
  return strong[strong.size() / 2];
}

}  // namespace

std::vector<Point> saddle_candidates(const Plane &img, int expected, int limit) {
  const Plane &s = img;
  Plane resp(img.w, img.h);
  float top = 0;
  const int w = img.w;
  for (int y = 1; y < img.h - 1; ++y) {
    const float *up = &s.v[std::size_t(y - 1) * w], *mid = up + w, *down = mid + w;
    float *out = &resp.v[std::size_t(y) * w];
    for (int x = 1; x < w - 1; ++x) {
      float sxx = mid[x + 1] - 2 * mid[x] + mid[x - 1];
      float syy = down[x] - 2 * mid[x] + up[x];
      float sxy = (down[x + 1] - up[x + 1] - down[x - 1] + up[x - 1]) * 0.25f;
      out[x] = std::max(sxy * sxy - sxx * syy, 0.0f);
    }
  }
  // A separate pass keeps the loop above free of a reduction, so it can be
  // vectorised.
  for (float r : resp.v)
    top = std::max(top, r);
  std::vector<Scored> found;
  if (!(top > 0)) return {};
  const float floor = top * 1e-3f;  // a corner at a tenth of the best contrast scores 1e-2
  const int border = int(kRadius) + 2, nms = 3;
  std::vector<double> contrasts, retry_contrasts;
  std::vector<Scored> retry;
  for (int y = border; y < img.h - border; ++y)
    for (int x = border; x < img.w - border; ++x) {
      float r = resp.at(x, y);
      if (r <= floor || r < resp.at(x - 1, y) || r < resp.at(x + 1, y) || r < resp.at(x, y - 1) ||
          r < resp.at(x, y + 1))
        continue;
      bool peak = true;
      for (int j = -nms; j <= nms && peak; ++j)
        for (int i = -nms; i <= nms && peak; ++i) {
          float o = resp.at(x + i, y + j);
          if (o > r || (o == r && (j < 0 || (j == 0 && i < 0)))) peak = false;
        }
      if (!peak) continue;
      // Sub-pixel position of the response peak (parabola per axis) for the
      // ring test; the corner refinement fixes the final position.
      double dx = 0, dy = 0, cxx = resp.at(x + 1, y) - 2.0 * r + resp.at(x - 1, y),
             cyy = resp.at(x, y + 1) - 2.0 * r + resp.at(x, y - 1);
      if (cxx < 0) dx = std::clamp(-0.5 * (resp.at(x + 1, y) - resp.at(x - 1, y)) / cxx, -1., 1.);
      if (cyy < 0) dy = std::clamp(-0.5 * (resp.at(x, y + 1) - resp.at(x, y - 1)) / cyy, -1., 1.);
      double contrast;
      bool saddle = four_sectors(s, x + dx, y + dy, kRadius, contrast);
      if (saddle) {
        found.push_back({{x + dx, y + dy}, r});
        contrasts.push_back(contrast);
      } else {
        retry.push_back({{x + dx, y + dy}, r});
        retry_contrasts.push_back(contrast);
      }
    }
  // Heavy blur or a peak moved by noise can spoil the small ring's
  // symmetry: peaks of a contrast like the saddles' get a second chance
  // with a wider ring.
  const double first_reference = reference_contrast(found, contrasts, expected);
  for (std::size_t k = 0; k < retry.size(); ++k) {
    double contrast;
    if (retry_contrasts[k] >= kContrastShare * first_reference &&
        four_sectors(s, retry[k].p.x, retry[k].p.y, kWideRadius, contrast)) {
      found.push_back(retry[k]);
      contrasts.push_back(contrast);
    }
  }
  // Weak saddles in noise or texture: far below the contrast of the
  // strongest saddles (the board's corners, dimmed by uneven light at
  // most to a fraction).
  const double reference = reference_contrast(found, contrasts, expected);
  std::vector<std::size_t> order(found.size());
  for (std::size_t i = 0; i < order.size(); ++i)
    order[i] = i;
  std::sort(order.begin(), order.end(),
            [&](std::size_t a, std::size_t b) { return found[a].score > found[b].score; });
  std::vector<Scored> kept;
  for (std::size_t k : order)
    if (contrasts[k] >= kContrastShare * reference) kept.push_back(found[k]);
  found.swap(kept);
  if (int(found.size()) > limit) found.resize(limit);
  std::vector<Point> out;
  for (const Scored &f : found)
    out.push_back(f.p);
  return out;
}

}  // namespace kel::chessboard
