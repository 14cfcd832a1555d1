// Synthetic scenes for the 360 search: an asymmetric part (a bar with a
// round end, a notched corner and an off-centre hole) drawn anti-aliased at
// any pose on a noisy background.
#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

#include "pixsvc.h"

namespace v360 {

struct Placement {
  double x, y, angle;  // part centre in pixels, rotation in radians
};

// Part coordinates: the bar spans u in -40..40, v in -22..22.
inline bool inside_part(double u, double v) {
  bool body =
      (std::fabs(u) <= 40 && std::fabs(v) <= 22) || ((u - 40) * (u - 40) + v * v <= 22 * 22);
  bool notch = u >= -40 && u <= -24 && v >= 6;
  bool hole = (u + 8) * (u + 8) + (v + 6) * (v + 6) <= 8 * 8;
  return body && !notch && !hole;
}

// Draws a scene of w by h: background 60 with uniform noise of +-`noise`,
// each part at 190 blended over it (4 x 4 supersampling).
inline Image *draw_scene(int w, int h, const std::vector<Placement> &parts, int noise,
                         std::uint32_t seed = 1) {
  Image *img = im_create(BYTE, w, h);
  std::uint32_t state = seed * 2654435761u + 12345u;
  for (int y = 0; y < h; ++y) {
    auto *row = static_cast<std::uint8_t *>(img->rows[y]);
    for (int x = 0; x < w; ++x) {
      double cover = 0.0;
      for (const Placement &p : parts) {
        if (std::fabs(x - p.x) > 66 || std::fabs(y - p.y) > 66) continue;
        double c = std::cos(p.angle), s = std::sin(p.angle);
        int hits = 0;
        for (int j = 0; j < 4; ++j)
          for (int i = 0; i < 4; ++i) {
            double px = x - 0.5 + (i + 0.5) / 4 - p.x, py = y - 0.5 + (j + 0.5) / 4 - p.y;
            hits += inside_part(px * c + py * s, -px * s + py * c);
          }
        cover += hits / 16.0;
      }
      state = state * 1664525u + 1013904223u;
      double n = noise ? static_cast<double>(state >> 24) / 255.0 * 2 * noise - noise : 0.0;
      double v = 60 + 130 * std::fmin(cover, 1.0) + n;
      row[x] = static_cast<std::uint8_t>(std::fmax(0.0, std::fmin(255.0, v + 0.5)));
    }
  }
  return img;
}

// The model image: the part at angle 0 centred at (59.5, 59.5) of a 120 x 120
// image, so that the centre of the trained region is the part's centre.
inline Image *draw_model() {
  return draw_scene(120, 120, {{59.5, 59.5, 0.0}}, 0);
}

}  // namespace v360
