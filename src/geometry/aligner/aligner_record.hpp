// The record behind KelAligner.
#pragma once

#include "kelkit/aligner.h"

namespace kel::aligner {

// scene = [a -b; b a] (model - (mx, my)) + (cx, cy)
struct KelAlignerMap {
  double a = 1, b = 0, mx = 0, my = 0, cx = 0, cy = 0;
  void to_scene(double x, double y, double &sx, double &sy) const;
  void to_model(double x, double y, double &mx, double &my) const;
};

}  // namespace kel::aligner

struct KelAligner {
  bool trained = false, computed = false, has_rect = false, scale_mode = false;
  double model[4] = {0, 0, 0, 0};
  int rect[4] = {0, 0, 0, 0};
  kel::aligner::KelAlignerMap map;
  double angle = 0, scale = 1;
};

namespace kel::aligner {

// Code 10 for a null aligner, 27 when not computed; reported under fn.
int need_computed(const char *fn, const KelAligner *al);

}  // namespace kel::aligner
