// Internals of the vela search around its record: the strategy operations
// of each algorithm, the training work area (angle table and turned copies),
// the inner rectangle that every copy is compared over, and the edge image.
#pragma once

#include <vector>

#include "kelkit/vela.h"
#include "locate/search/search_model.hpp"

namespace kel::locate {

inline constexpr int kVelaDefaultAngles = 9;
inline constexpr int kVelaPositionSize = 80;
inline constexpr int kVelaResultsSize = 24;

// ---- strategy operations ----------------------------------------------------

// One scanned angle around one match: the best whole-pixel top-left corner
// of the compared rectangle, its cost, and the sub-pixel estimate of that
// corner with the interpolated cost at the fitted peak.
struct AngleHit {
  bool searched = false;
  int left = 0, top = 0;
  int cost = kEmptyCost;
  double fx = 0.0, fy = 0.0;  // sub-pixel top-left corner
  double fitted = 0.0;        // interpolated cost at (fx, fy)
};

// Everything a neighbour search needs to know about the scan.
struct ScanContext {
  const Area8 *scene = nullptr;
  const std::vector<const Image *> *models = nullptr;  // compared rectangle per angle
  CandidateStore store;
  ScanSettings settings;   // whole-pixel scans (sub_pixel off): results are corners
  bool sub_pixel = false;  // refine each hit to sub-pixel
};

// Role 1: the angle indices (of `count`) that the coarse pass scans over the
// whole scene, in order.
struct VelaPlanOp {
  std::vector<int> (*angles)(int count, int stride);
};

// Role 2: searches angle `index` near a match whose best whole-pixel corner
// is (left, top); fills `hit`.
struct VelaNeighbourOp {
  void (*search)(const ScanContext &ctx, int index, int left, int top, AngleHit &hit);
};

// Role 3: the fractional angle offset (in table steps, within +-limit) of
// the cost minimum from the fitted costs of the searched angles around
// `centre` (entries not searched have searched == false); 0 when the costs
// do not allow a fit.
struct VelaFitOp {
  double (*offset)(const std::vector<AngleHit> &hits, int centre, double limit);
  int reach;  // how many angles either side of the best the fit wants searched
};

// The best whole-pixel corner (left, top) of `model` in the scene refined:
// the full dissimilarities (in double) of the 3 x 3 corners around it are
// fitted with the correlation search's quadric; the fitted corner (with the
// bias correction b * sin(2 pi f) per axis) and the quadric's value there go
// into the hit. On the border of the valid range the hit keeps the whole
// pixel and its cost. Without `sub_pixel` only the cost is measured.
AngleHit refine_at(const Image *model, const Area8 &scene, int left, int top, double bias_x,
                   double bias_y, bool sub_pixel);

// The full dissimilarity in double of `model` with its corner at (x, y).
double exact_cost(const Image *model, const Area8 &scene, int x, int y);

// Installs the three operations of algorithm `alg` (0..2) into the record.
void install_alg(KelVelaParams *p, int alg);

inline const VelaPlanOp &plan_of(const KelVelaParams *p) {
  return *static_cast<const VelaPlanOp *>(p->alg_ops[0]);
}
inline const VelaNeighbourOp &neighbour_of(const KelVelaParams *p) {
  return *static_cast<const VelaNeighbourOp *>(p->alg_ops[1]);
}
inline const VelaFitOp &fit_of(const KelVelaParams *p) {
  return *static_cast<const VelaFitOp *>(p->alg_ops[2]);
}

// ---- training work area -----------------------------------------------------

// The largest rectangle centred on a dx by dy model whose pixels, turned by
// any angle up to `max_angle` degrees about the model's centre, come from
// inside the model. dx - w and dy - h are even, so the centres coincide.
struct InnerRect {
  int x = 0, y = 0, w = 0, h = 0;
};
InnerRect inner_rect(int dx, int dy, int max_angle);

// The half-range a of the angle table (angle_count, 9 when it is 0).
inline int angle_range(const KelVelaParams *p) {
  return p->angle_count > 0 ? p->angle_count : kVelaDefaultAngles;
}

// The number of turned copies held (the array ends with a null pointer).
int rotation_count(const KelVelaParams *p);

// Frees the turned copies and the angle table.
void free_rotations(KelVelaParams *p);

// Drops everything derived from the model: turned copies, angle table, edge
// model.
void drop_derived(KelVelaParams *p);

// Builds the angle table and the turned copies when they are missing or do
// not match the angle range.
// Throws std::bad_alloc.
void ensure_rotations(KelVelaParams *p);

// Makes the edge model when it is missing. Throws std::bad_alloc.
void ensure_geo_model(KelVelaParams *p);

// Mean and sample variance of a BYTE image's grey values.
void grey_stats(const Image *img, double *mean, double *variance);

// The edge image kernel of kel_vela_search_create_geo_image over w by h.
void geo_image(const Image *src, Image *dst, int w, int h, int threshold, int scale);

// The feature scale of the record's edge images.
int geo_scale(const KelVelaParams *p);

// Reallocates the candidate store to n entries. Throws std::bad_alloc (the
// record keeps its old store).
void resize_candidates(KelVelaParams *p, int n);

// ---- poses -----------------------------------------------------------------

// The stored model turned by `angle` about its centre and moved by (fx, fy)
// pixels, sampled over the inner rectangle `r` (a BYTE image of r.w by r.h):
// compared with the scene at corner (left, top) it shows the pose whose
// centre is (left + (r.w - 1) / 2 + fx, top + (r.h - 1) / 2 + fy).
// Throws std::bad_alloc.
ImagePtr pose_model(const Image *model, const InnerRect &r, double angle, double fx, double fy);

}  // namespace kel::locate
