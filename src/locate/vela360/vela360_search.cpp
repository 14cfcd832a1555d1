// The 360 search: scene contours, voting through the R-table into a vote
// grid and per-cell angle lists, candidates from the vote peaks scored by
// their angle clusters, fine matching, the user reference and proximity
// exclusion.
//
// Voting runs twice over the same votes: the first pass fills the vote grid,
// from whose peaks the candidates are formed; angle lists are then claimed
// for the 3x3 cells around each candidate's peak positions (within the
// accumulator's 999 lists, first candidates first) and the second pass
// records the rotations of the votes that land in those cells. Rotations
// are folded into (-pi, pi] before the limits dPatternMinAngle ..
// dPatternMaxAngle are applied, and a vote is kept only when the 3x3 kernel
// fits in the grid (reference point at 5 .. size - 2). A result whose refined
// reference point falls in the 5-pixel top-left margin is dropped too, and
// the results are ordered by their final scores.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "frame/call.hpp"
#include "frame/image_guard.hpp"
#include "frame/pixels.hpp"
#include "locate/vela360/accumulator.hpp"
#include "locate/vela360/angle_cluster.hpp"
#include "locate/vela360/vela360_model.hpp"
#include "locate/vela360/vela360_score.hpp"

namespace kel::locate {

void release_work_objects(kel_vela_360_params *p) {
  delete static_cast<CAccumulator *>(p->pWorkObject1);
  delete static_cast<CAngleAccumulator *>(p->pWorkObject2);
  p->pWorkObject1 = nullptr;
  p->pWorkObject2 = nullptr;
  delete p->pSceneContours;
  p->pSceneContours = nullptr;
  if (p->pWorkImage) im_delete(p->pWorkImage);
  p->pWorkImage = nullptr;
}

namespace {

constexpr double kOffsetLimit = 0.3490657;  // 20 degrees
constexpr int kMinBorder = 5;               // votes nearer the top or left edge are dropped

double fold(double a) {
  a = std::remainder(a, kTwoPi);
  return a <= -kPi ? a + kTwoPi : a;
}

double circular(double a, double b) {
  double d = std::fmod(std::fabs(a - b), kTwoPi);
  return d > kPi ? kTwoPi - d : d;
}

// An R-table entry prepared for voting.
struct Prepared {
  double rc, rs;  // dRadius * cos(dAlpha), dRadius * sin(dAlpha)
  double dir_offset;
  double chord;
  const int *attribute;
};

struct Candidate {
  double x = 0.0, y = 0.0, angle = 0.0, second = 0.0, score = 0.0;
};

struct Group {
  std::vector<CAccumulator::Peak> positions;
};

// Calls f(x, y, rotation) for every accepted vote of the scene.
template <class F>
void for_each_vote(const kel_vela_360_params &p, const KelContourSet &scene,
                   const std::vector<std::vector<Prepared>> &table, int w, int h, F &&f) {
  const int k = p.nChordSpan, bins = p.pRTable->nBins;
  const int passes = p.nReversedPolarity ? 2 : 1;
  for (const kel::measure::Contour &c : scene.contours) {
    if (k < 0 || c.count < 2 * k + 1) continue;
    const double *x = scene.x.data() + c.start, *y = scene.y.data() + c.start;
    const double *v = scene.direction.data() + c.start;
    for (int i = first_described(c, k); i < end_described(c, k); ++i) {
      PointShape s = describe_point(x, y, v, c.count, i, k, p.nRTableMode, bins);
      if (s.bin == -1) continue;
      if (s.bin < 0) break;
      const double cc = std::cos(s.chord), sc = std::sin(s.chord);
      for (const Prepared &e : table[static_cast<std::size_t>(s.bin)]) {
        if (*e.attribute != 0) continue;
        for (int pass = 0; pass < passes; ++pass) {
          double own = s.chord - (v[i] + pass * kPi);
          bool reverse = circular(own, e.dir_offset) > kOffsetLimit;
          double t = reverse ? s.reverse : s.chord;
          double ct = reverse ? -cc : cc, st = reverse ? -sc : sc;
          double rotation = fold(e.chord - t);
          // theta = t + alpha: the reference lies at -r (cos theta, -sin theta).
          double rx = x[i] - (e.rc * ct - e.rs * st);
          double ry = y[i] + (e.rs * ct + e.rc * st);
          if (!(rx >= kMinBorder && ry >= kMinBorder && rx < w - 1 && ry < h - 1)) continue;
          if (rotation < p.dPatternMinAngle || rotation > p.dPatternMaxAngle) continue;
          f(static_cast<int>(rx), static_cast<int>(ry), rotation);
        }
      }
    }
  }
}

std::vector<std::vector<Prepared>> prepare_table(const kel_vela_360_rtable &t) {
  std::vector<std::vector<Prepared>> out(static_cast<std::size_t>(t.nBins));
  for (int b = 0; b < t.nBins; ++b) {
    const kel_vela_360_bin &bin = t.pBins[b];
    auto &dst = out[static_cast<std::size_t>(b)];
    dst.reserve(static_cast<std::size_t>(bin.nCount));
    for (int i = 0; i < bin.nCount; ++i) {
      const kel_vela_360_entry &e = bin.pEntries[i];
      dst.push_back({e.dRadius * std::cos(e.dAlpha), e.dRadius * std::sin(e.dAlpha), e.dDirOffset,
                     e.dChordAngle, e.pAttribute});
    }
  }
  return out;
}

bool near(double ax, double ay, double bx, double by, int radius) {
  return std::fabs(ax - bx) < radius && std::fabs(ay - by) < radius;
}

// Makes or clears the work objects for a window of w by h.
void prepare_work(kel_vela_360_params *p, int w, int h) {
  bool same = p->pWorkObject1 && p->pWorkObject2 && p->pSceneContours && p->pWorkImage &&
              p->nWorkDx == w && p->nWorkDy == h;
  if (same) {
    static_cast<CAccumulator *>(p->pWorkObject1)->clear();
    static_cast<CAngleAccumulator *>(p->pWorkObject2)->clear();
    p->pSceneContours->clear();
    return;
  }
  release_work_objects(p);
  p->pWorkObject1 = new CAccumulator(w, h);
  p->pWorkObject2 = new CAngleAccumulator(w, h);
  p->pSceneContours = new KelContourSet();
  p->pWorkImage = im_create(BYTE, w, h);
  if (!p->pWorkImage) throw std::bad_alloc();
}

std::vector<Group> group_peaks(const std::vector<CAccumulator::Peak> &peaks, int radius,
                               std::size_t most, std::size_t per_group) {
  std::vector<Group> groups;
  for (const CAccumulator::Peak &peak : peaks) {
    Group *home = nullptr;
    for (Group &g : groups) {
      const CAccumulator::Peak &lead = g.positions.front();
      if (std::abs(lead.x - peak.x) <= radius && std::abs(lead.y - peak.y) <= radius) {
        home = &g;
        break;
      }
    }
    if (home) {
      if (home->positions.size() < per_group) home->positions.push_back(peak);
    } else if (groups.size() < most) {
      groups.push_back(Group{{peak}});
    }
  }
  return groups;
}

constexpr int kNeighbourX[9] = {-1, 0, 1, -1, 0, 1, -1, 0, 1};
constexpr int kNeighbourY[9] = {-1, -1, -1, 0, 0, 0, 1, 1, 1};

// Scores the angle clusters of one candidate; returns the best pose's score.
double score_group(const kel_vela_360_params &p, const CAngleAccumulator &angles,
                   const CEdgeImg &edges, const Group &g, Candidate &out) {
  double best = -1.0;
  for (const CAccumulator::Peak &pos : g.positions) {
    CAngleClusterFinder finder(p.dAngleStep);
    for (int n = 0; n < 9; ++n)
      angles.forEach(pos.x + kNeighbourX[n], pos.y + kNeighbourY[n],
                     [&](double a) { finder.add(a); });
    finder.sortByCount();
    for (const auto &cluster : finder.clusters) {
      Pose pose{double(pos.x), double(pos.y), cluster->dMean};
      double s = model_score(p, edges, pose, 10);
      if (s > best) {
        best = s;
        out.x = pos.x;
        out.y = pos.y;
        out.angle = cluster->dMean;
      }
    }
  }
  if (best < 0.0) {
    out.x = g.positions.front().x;
    out.y = g.positions.front().y;
    out.angle = 0.0;
    best = 0.0;
  }
  out.score = best;
  out.second = model_score(p, edges, Pose{out.x, out.y, out.angle}, 0);
  return best;
}

}  // namespace

}  // namespace kel::locate

extern "C" KELKIT_API int kel_vela_360_search(const Image *image, int x, int y, int dx, int dy,
                                              kel_vela_360_params *p,
                                              kel_vela_360_results *results) {
  using namespace kel::locate;
  return kel::guarded("kel_vela_360_search", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, image)) return e;
    if (int e = kel::need_pointer(fn, p, "Parameter record is NULL")) return e;
    if (int e = kel::need_pointer(fn, results, "Result record is NULL")) return e;
    if (int e = kel::need_type(fn, BYTE, image)) return e;
    x = std::max(x, 0);
    y = std::max(y, 0);
    if (dx <= 0) dx = image->dx;
    if (dy <= 0) dy = image->dy;
    if (x > image->dx - dx || y > image->dy - dy) return KEL_ERR_WINDOW;
    if (!p->pModelImage || !p->pRTable || !p->pModelContours) return KEL_ERR_NO_MODEL;
    if (results->nCapacity < p->nPatternsToFind)
      return kel::fail(fn, KEL_ERR_EMPTY, "Result record too small");
    if (dx < 3 || dy < 3) return kel::fail(fn, KEL_ERR_AREA_SMALL, "Area too small!");
    if (p->nRTableMode == 1 && p->nChordSpan > 50) {
      p->nChordSpan = 50;
      if (!kel_vela_360_build_rtable(p)) throw std::bad_alloc();
    }

    prepare_work(p, dx, dy);
    p->nWorkX = x;
    p->nWorkY = y;
    p->nWorkDx = dx;
    p->nWorkDy = dy;
    for (int row = 0; row < dy; ++row)
      std::memcpy(kel::row<std::uint8_t>(p->pWorkImage, row),
                  kel::row<std::uint8_t>(image, y + row) + x, static_cast<std::size_t>(dx));
    KelContourSet &scene = *p->pSceneContours;
    trace_for_search(*p, p->pWorkImage, scene);

    kel::CEdgeImg edges;
    if (edges.resize(static_cast<std::uint32_t>(dx), static_cast<std::uint32_t>(dy)))
      throw std::bad_alloc();
    for (std::size_t i = 0; i < scene.x.size(); ++i)
      if (edges.put(static_cast<int>(scene.x[i]), static_cast<int>(scene.y[i]),
                    kel::EdgePoint{scene.x[i], scene.y[i], scene.direction[i]}) == 1)
        throw std::bad_alloc();

    auto &votes = *static_cast<CAccumulator *>(p->pWorkObject1);
    auto &angles = *static_cast<CAngleAccumulator *>(p->pWorkObject2);
    const auto table = prepare_table(*p->pRTable);
    for_each_vote(*p, scene, table, dx, dy,
                  [&](int vx, int vy, double) { votes.voteKernel(vx, vy); });

    // Candidates: K groups of up to P peak positions.
    // K as set, never raised: settings giving K = 0 examine no candidate.
    const long k_count =
        std::max<long>(0, std::max<long>(long{p->nAux2} * p->nPatternsToFind, p->nMinCandidates));
    const long per = std::max<long>(1, std::min<long>(long{p->nAux4} * p->nAux4, p->nAux6));
    const long f = k_count < 31 ? 10 : (k_count < 51 ? 20 : 30);
    const long cells = long{dx} * dy;
    long ask = std::min(f * k_count * per, cells);
    ask = std::min<long>(ask, 1 << 24);
    std::vector<Group> groups;
    if (ask > 0)
      groups = group_peaks(votes.findPeaks(static_cast<int>(ask)), p->nAux4,
                           static_cast<std::size_t>(k_count), static_cast<std::size_t>(per));
    for (const Group &g : groups)
      for (int n = 0; n < 9; ++n)
        angles.claim(g.positions.front().x + kNeighbourX[n],
                     g.positions.front().y + kNeighbourY[n]);
    for (const Group &g : groups)
      for (const auto &pos : g.positions)
        for (int n = 0; n < 9; ++n)
          angles.claim(pos.x + kNeighbourX[n], pos.y + kNeighbourY[n]);
    for_each_vote(*p, scene, table, dx, dy, [&](int vx, int vy, double rotation) {
      if (angles.hasList(vx, vy)) angles.add(vx, vy, rotation);
    });

    // Score the candidates in vote order, with early termination.
    std::vector<Candidate> examined;
    int strong = 0;
    const int radius = p->nProximityExclusionRad;
    for (const Group &g : groups) {
      Candidate c;
      score_group(*p, angles, edges, g, c);
      examined.push_back(c);
      if (c.score >= p->dEarlyTerminationScore) ++strong;
      if (c.score >= p->dEarlyTerminationScore && p->nPatternsToFind <= 1) break;
      if (p->nPatternsToFind > 1 && strong >= p->nPatternsToFind) {
        int isolated = 0;
        const std::size_t current = examined.size() - 1;
        for (std::size_t i = 0; i < current; ++i) {
          bool later = false;
          for (std::size_t l = i + 1; l <= current && !later; ++l)
            later = near(examined[i].x, examined[i].y, examined[l].x, examined[l].y, radius);
          if (!later) ++isolated;
        }
        if (isolated >= p->nPatternsToFind) break;
      }
    }
    for (std::size_t i = 0; i < examined.size(); ++i)
      for (std::size_t j = 0; j + 1 < examined.size() - i; ++j)
        if (examined[j + 1].score > examined[j].score) std::swap(examined[j], examined[j + 1]);

    // Results.
    results->nFound = 0;
    const std::size_t capacity = static_cast<std::size_t>(std::max(results->nCapacity, 0));
    for (double *a : {results->pX, results->pY, results->pAngle, results->pScale, results->pScore})
      std::fill(a, a + capacity, 0.0);
    if (!examined.empty() && capacity > 0) {
      results->pX[0] = examined[0].x + x;
      results->pY[0] = examined[0].y + y;
      results->pAngle[0] = examined[0].angle;
    }
    const double ox = p->nModelRefX - p->dRefCenterX, oy = p->nModelRefY - p->dRefCenterY;
    const double length = std::hypot(ox, oy), phi = std::atan2(oy, ox);
    std::vector<Pose> accepted;
    int found = 0;
    for (const Candidate &c : examined) {
      if (found >= p->nPatternsToFind || c.score < p->dMinScore) break;
      bool suppressed = false;
      for (const Pose &a : accepted)
        suppressed = suppressed || near(a.x, a.y, c.x, c.y, radius);
      if (suppressed) continue;
      Pose pose{c.x, c.y, c.angle};
      double scale = fine_match(*p, edges, pose);
      refine_angle(*p, edges, pose);
      // A refined reference point in the top-left margin is dropped like
      // its votes.
      bool blanked = pose.x < kMinBorder || pose.y < kMinBorder;
      for (const Pose &a : accepted)
        blanked = blanked || near(a.x, a.y, pose.x, pose.y, radius);
      if (blanked) continue;
      double score = model_score(*p, edges, pose, 0);
      if (score < p->dMinScore) score = 0.0;
      const double angle = pose.angle;
      std::size_t slot = static_cast<std::size_t>(found);
      results->pX[slot] = pose.x - length * std::cos(phi + angle) + x;
      results->pY[slot] = pose.y - length * std::sin(phi + angle) + y;
      results->pAngle[slot] = fold(angle) + p->dRefAngle;
      results->pScale[slot] = scale;
      results->pScore[slot] = score;
      accepted.push_back(pose);
      ++found;
    }
    results->nFound = found;
    // Refined scores can change the order: report the best first (stable).
    for (int i = 0; i < found; ++i)
      for (int j = 0; j + 1 < found - i; ++j)
        if (results->pScore[j + 1] > results->pScore[j])
          for (double *a :
               {results->pX, results->pY, results->pAngle, results->pScale, results->pScore})
            std::swap(a[j], a[j + 1]);
    return KEL_OK;
  });
}
