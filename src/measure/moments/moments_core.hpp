// Accumulation of raw moments and the derived measures, shared by the image,
// blob and label forms.
#pragma once

#include "kelkit/moments.h"

namespace kel::moments {

// Adds a mass w at (x, y) to the raw moments m00..m03.
inline void add_point(KelMoments &m, double x, double y, double w) {
  double wx = w * x, wy = w * y;
  m.m00 += w;
  m.m10 += wx;
  m.m01 += wy;
  m.m20 += wx * x;
  m.m11 += wx * y;
  m.m02 += wy * y;
  m.m30 += wx * x * x;
  m.m21 += wx * x * y;
  m.m12 += wx * y * y;
  m.m03 += wy * y * y;
}

// Central and normalised moments, Hu invariants, centroid and ellipse from
// the raw moments. False (and every field zeroed) when m00 is 0.
bool complete(KelMoments &m);

}  // namespace kel::moments
