// The 360 search records: creation with defaults, deletion of everything the
// parameter record owns, and the accessors.
#include <cstdlib>
#include <new>

#include "frame/call.hpp"
#include "locate/vela360/vela360_model.hpp"

extern "C" {

KELKIT_API kel_vela_360_params *kel_vela_360_create_params(void) {
  auto *p = static_cast<kel_vela_360_params *>(std::calloc(1, sizeof(kel_vela_360_params)));
  int *table = static_cast<int *>(std::calloc(64, sizeof(int)));
  if (!p || !table) {
    std::free(p);
    std::free(table);
    kel::fail("kel_vela_360_create_params", KEL_ERR_NO_MEMORY, "Out of memory");
    return nullptr;
  }
  p->nVersion = 4097;
  p->nEdgeLevel = 25;
  p->nMinEdgeSize = 20;
  p->nMaxEdgeSize = 10000;
  p->nChordSpan = 15;
  p->dAux1 = 1.0;
  p->nModelRefX = 10;
  p->nModelRefY = 10;
  p->nUsrSceneOptimizeLeve = 9;
  p->nUsrPatternOptimizeLevel = 2;
  p->nPatternsToFind = 1;
  p->dMinScore = 30.0;
  p->dEarlyTerminationScore = 90.0;
  p->dAngleStep = 0.026179938779914945;
  p->nMinCandidates = 25;
  p->nAux2 = 5;
  p->nAux3 = 1;
  p->nAux4 = 5;
  p->nAux5 = 5;
  p->bCentroidReference = 1;
  p->dAngleTolerance = 0.5235987755982988;
  p->nAux6 = 5;
  p->nRTableMode = 2;
  p->nProximityExclusionRad = 10;
  p->anAuxTable = table;
  p->nAux8 = 3;
  p->dPatternMinAngle = -kel::locate::kPi;
  p->dPatternMaxAngle = kel::locate::kPi;
  return p;
}

KELKIT_API void kel_vela_360_delete_params(kel_vela_360_params *p) {
  if (!p) return;
  if (p->pModelImage) im_delete(p->pModelImage);
  kel::locate::release_work_objects(p);
  delete p->pModelContours;
  kel::locate::free_rtable(p->pRTable);
  std::free(p->anAuxTable);
  std::free(p);
}

KELKIT_API kel_vela_360_results *kel_vela_360_create_results(int n) {
  if (n < 0) n = 0;
  auto *r = static_cast<kel_vela_360_results *>(std::calloc(1, sizeof(kel_vela_360_results)));
  std::size_t count = n > 0 ? static_cast<std::size_t>(n) : 1;
  double *arrays[5] = {};
  bool ok = r != nullptr;
  for (double *&a : arrays) {
    a = static_cast<double *>(std::calloc(count, sizeof(double)));
    ok = ok && a;
  }
  if (!ok) {
    for (double *a : arrays)
      std::free(a);
    std::free(r);
    kel::fail("kel_vela_360_create_results", KEL_ERR_NO_MEMORY, "Out of memory");
    return nullptr;
  }
  r->nCapacity = n;
  r->pX = arrays[0];
  r->pY = arrays[1];
  r->pAngle = arrays[2];
  r->pScale = arrays[3];
  r->pScore = arrays[4];
  return r;
}

KELKIT_API void kel_vela_360_delete_results(kel_vela_360_results *r) {
  if (!r) return;
  std::free(r->pX);
  std::free(r->pY);
  std::free(r->pAngle);
  std::free(r->pScale);
  std::free(r->pScore);
  std::free(r);
}

#define KEL_VELA360_ACCESSORS(type, field)                                   \
  KELKIT_API void kel_vela_360_set_##field(kel_vela_360_params *p, type v) { \
    p->field = v;                                                            \
  }                                                                          \
  KELKIT_API type kel_vela_360_get_##field(const kel_vela_360_params *p) {   \
    return p->field;                                                         \
  }

KEL_VELA360_ACCESSORS(int, nPatternsToFind)
KEL_VELA360_ACCESSORS(double, dRefCenterX)
KEL_VELA360_ACCESSORS(double, dRefCenterY)
KEL_VELA360_ACCESSORS(double, dRefAngle)
KEL_VELA360_ACCESSORS(int, nEdgeLevel)
KEL_VELA360_ACCESSORS(int, nMinEdgeSize)
KEL_VELA360_ACCESSORS(int, nMaxEdgeSize)
KEL_VELA360_ACCESSORS(int, nUsrPatternOptimizeLevel)
KEL_VELA360_ACCESSORS(int, nUsrSceneOptimizeLeve)
KEL_VELA360_ACCESSORS(int, nCurvatureFilter)
KEL_VELA360_ACCESSORS(double, dMinScore)
KEL_VELA360_ACCESSORS(double, dEarlyTerminationScore)
KEL_VELA360_ACCESSORS(int, nMinCandidates)
KEL_VELA360_ACCESSORS(int, nProximityExclusionRad)
KEL_VELA360_ACCESSORS(int, nReversedPolarity)
KEL_VELA360_ACCESSORS(int, nManualOptimize)

#undef KEL_VELA360_ACCESSORS

KELKIT_API void kel_vela_360_set_pattern_min_angle(kel_vela_360_params *p, double v) {
  p->dPatternMinAngle = v;
}
KELKIT_API double kel_vela_360_get_pattern_min_angle(const kel_vela_360_params *p) {
  return p->dPatternMinAngle;
}
KELKIT_API void kel_vela_360_set_pattern_max_angle(kel_vela_360_params *p, double v) {
  p->dPatternMaxAngle = v;
}
KELKIT_API double kel_vela_360_get_pattern_max_angle(const kel_vela_360_params *p) {
  return p->dPatternMaxAngle;
}

KELKIT_API int kel_vela_360_get_found(const kel_vela_360_results *r) {
  return r->nFound;
}
KELKIT_API double kel_vela_360_get_x(const kel_vela_360_results *r, int index) {
  return r->pX[index];
}
KELKIT_API double kel_vela_360_get_y(const kel_vela_360_results *r, int index) {
  return r->pY[index];
}
KELKIT_API double kel_vela_360_get_angle(const kel_vela_360_results *r, int index) {
  return r->pAngle[index];
}
KELKIT_API double kel_vela_360_get_scale(const kel_vela_360_results *r, int index) {
  return r->pScale[index];
}
KELKIT_API double kel_vela_360_get_score(const kel_vela_360_results *r, int index) {
  return r->pScore[index];
}

}  // extern "C"
