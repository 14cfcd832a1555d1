// The R-table of the 360 search: the description of a contour point by its
// chord, and the table of model points indexed by that description.
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

#include "frame/call.hpp"
#include "locate/vela360/vela360_model.hpp"

namespace kel::locate {

double normalise_angle(double a) {
  a = std::fmod(a, kTwoPi);
  if (a < 0.0) a += kTwoPi;
  return a >= kTwoPi ? 0.0 : a;
}

namespace {

// Index j taken modulo m (m >= 1), never negative.
int wrap(int j, int m) {
  int r = j % m;
  return r < 0 ? r + m : r;
}

// Round half away from zero.
long round_half_away(double v) {
  return std::lround(v);
}

}  // namespace

int rtable_bins(int mode, int span) {
  if (span < 0 || span > kMaxChordSpan) return 0;
  if (mode == 0) return 2 * span + 20;
  if (mode == 1 || mode == 2) return 4096;
  return 0;
}

PointShape describe_point(const double *x, const double *y, const double *v, int n, int i, int k,
                          int mode, int bins) {
  PointShape s;
  int m = n - 2;  // neighbours are taken modulo n - 2
  if (m < 1) return s;
  int f = wrap(i + k, m), b = wrap(i - k, m);
  s.chord = std::atan2(-(y[f] - y[b]), x[f] - x[b]);
  s.reverse = std::atan2(-(y[b] - y[f]), x[b] - x[f]);
  double dx = x[f] - x[i], dy = y[f] - y[i];
  // e is the plain difference of the two angles (not folded): points whose
  // angles lie on either side of the +-pi seam have |e| above pi/2 and are
  // skipped.
  s.deviation = s.chord - std::atan2(-dy, dx);
  if (std::fabs(s.deviation) > kPi / 2) return s;
  double d = std::hypot(dx, dy);
  double across = d * std::sin(s.deviation);
  long index = -1;
  if (mode == 0) {
    index = round_half_away(across) + k + 10;
  } else if (mode == 1) {
    long curve = static_cast<long>(std::fabs(v[f] - v[b]) * 10.0);
    index = (curve << 6) | static_cast<long>(std::fabs(across));
  } else if (mode == 2) {
    int h = k / 2;
    int fh = wrap(i + h, m), bh = wrap(i - h, m);
    double c2 = std::atan2(-(y[fh] - y[bh]), x[fh] - x[bh]);
    double hx = x[fh] - x[i], hy = y[fh] - y[i];
    double e2 = c2 - std::atan2(-hy, hx);
    double d2 = std::hypot(hx, hy);
    long fine = std::lround(std::fabs(d2 * std::sin(e2)));
    index = (fine << 6) | std::lround(std::fabs(across));
    if (index > 4095) {
      s.bin = -2;
      return s;
    }
  }
  s.bin = (index < 0 || index >= bins) ? -2 : static_cast<int>(index);
  return s;
}

void free_rtable(kel_vela_360_rtable *t) {
  if (!t) return;
  for (int i = 0; t->pBins && i < t->nBins; ++i)
    std::free(t->pBins[i].pEntries);
  std::free(t->pBins);
  std::free(t);
}

namespace {

kel_vela_360_rtable *new_rtable(int bins) {
  auto *t = static_cast<kel_vela_360_rtable *>(std::calloc(1, sizeof(kel_vela_360_rtable)));
  if (!t) return nullptr;
  t->pBins = static_cast<kel_vela_360_bin *>(
      std::calloc(static_cast<std::size_t>(bins), sizeof(kel_vela_360_bin)));
  if (!t->pBins) {
    std::free(t);
    return nullptr;
  }
  t->nBins = bins;
  for (int i = 0; i < bins; ++i) {
    kel_vela_360_bin &b = t->pBins[i];
    b.nCapacity = 1;
    b.pEntries = static_cast<kel_vela_360_entry *>(std::calloc(1, sizeof(kel_vela_360_entry)));
    if (!b.pEntries) {
      free_rtable(t);
      return nullptr;
    }
  }
  return t;
}

// Appends an entry; a bin whose next entry would fill it doubles first.
bool append(kel_vela_360_bin &b, const kel_vela_360_entry &e) {
  if (b.nCount + 1 >= b.nCapacity) {
    int capacity = b.nCapacity * 2;
    auto *grown = static_cast<kel_vela_360_entry *>(
        std::malloc(static_cast<std::size_t>(capacity) * sizeof(kel_vela_360_entry)));
    if (!grown) return false;
    std::memcpy(grown, b.pEntries, static_cast<std::size_t>(b.nCount) * sizeof(kel_vela_360_entry));
    std::free(b.pEntries);
    b.pEntries = grown;
    b.nCapacity = capacity;
  }
  b.pEntries[b.nCount++] = e;
  return true;
}

bool add_contour(kel_vela_360_rtable *t, const KelContourSet &set, const kel::measure::Contour &c,
                 const kel_vela_360_params *p) {
  const int k = p->nChordSpan, n = c.count;
  if (k < 0 || n < 2 * k + 1) return true;
  const double *x = set.x.data() + c.start, *y = set.y.data() + c.start;
  const double *v = set.direction.data() + c.start;
  const std::int32_t *attr = set.attribute.data() + c.start;
  for (int i = first_described(c, k); i < end_described(c, k); ++i) {
    PointShape s = describe_point(x, y, v, n, i, k, p->nRTableMode, t->nBins);
    if (s.bin == -1) continue;
    if (s.bin < 0) break;
    double a = std::atan2(-(y[i] - p->nModelRefY), x[i] - p->nModelRefX);
    double r = std::hypot(x[i] - p->nModelRefX, y[i] - p->nModelRefY);
    kel_vela_360_entry e{a - s.chord, s.chord - v[i], r, s.chord, attr + i};
    if (!append(t->pBins[s.bin], e)) return false;
  }
  return true;
}

}  // namespace

}  // namespace kel::locate

extern "C" KELKIT_API kel_vela_360_rtable *kel_vela_360_build_rtable(kel_vela_360_params *p) {
  using namespace kel::locate;
  if (!p) return nullptr;
  free_rtable(p->pRTable);
  p->pRTable = nullptr;
  if (!p->pModelContours) return nullptr;
  int bins = rtable_bins(p->nRTableMode, p->nChordSpan);
  if (bins <= 0) return nullptr;
  kel_vela_360_rtable *t = new_rtable(bins);
  if (!t) {
    kel::fail("kel_vela_360_build_rtable", KEL_ERR_NO_MEMORY, "Out of memory");
    return nullptr;
  }
  for (const kel::measure::Contour &c : p->pModelContours->contours) {
    if (!add_contour(t, *p->pModelContours, c, p)) {
      free_rtable(t);
      kel::fail("kel_vela_360_build_rtable", KEL_ERR_NO_MEMORY, "Out of memory");
      return nullptr;
    }
  }
  p->pRTable = t;
  return t;
}
