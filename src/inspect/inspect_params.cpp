// The inspection tool record: creation with its defaults, deletion, reset,
// the settings accessors and the learned state's getters.
#include <cmath>
#include <new>

#include "frame/call.hpp"
#include "inspect/inspect_record.hpp"

extern "C" {

KELKIT_API KelInspect *kel_vela_inspect_create(int *status) {
  if (status) *status = KEL_OK;
  KelInspect *tool = new (std::nothrow) KelInspect();
  if (!tool) {
    const int e = kel::fail("kel_vela_inspect_create", KEL_ERR_NO_MEMORY, "Out of memory");
    if (status) *status = e;
  }
  return tool;
}

KELKIT_API int kel_vela_inspect_delete(KelInspect *tool) {
  if (!tool)
    return kel::fail("kel_vela_inspect_delete", KEL_ERR_ARGUMENT, "Inspection tool is NULL");
  delete tool;
  return KEL_OK;
}

KELKIT_API int kel_vela_inspect_reset(KelInspect *tool) {
  if (!tool)
    return kel::fail("kel_vela_inspect_reset", KEL_ERR_ARGUMENT, "Inspection tool is NULL");
  tool->grid = kel::inspect::Grid{};
  tool->pixel_type = 0;
  tool->VectorCount = 0;
  tool->stats.clear();
  tool->stats.shrink_to_fit();
  tool->blocking.clear();
  return KEL_OK;
}

#define KEL_INSPECT_ACCESSORS(name)                                          \
  KELKIT_API int kel_vela_inspect_get_##name(const KelInspect *tool) {       \
    return tool ? tool->name : 0;                                            \
  }                                                                          \
  KELKIT_API void kel_vela_inspect_set_##name(KelInspect *tool, int value) { \
    if (tool) tool->name = value;                                            \
  }

KEL_INSPECT_ACCESSORS(m_nImgDx)
KEL_INSPECT_ACCESSORS(m_nImgDy)
KEL_INSPECT_ACCESSORS(m_nBoxDx)
KEL_INSPECT_ACCESSORS(m_nBoxDy)
KEL_INSPECT_ACCESSORS(m_nMaxBoxCountX)
KEL_INSPECT_ACCESSORS(m_nMaxBoxCountY)
KEL_INSPECT_ACCESSORS(nSensitivity)
KEL_INSPECT_ACCESSORS(nFeatureMode)
KEL_INSPECT_ACCESSORS(m_nLearnAllowToFail)
KEL_INSPECT_ACCESSORS(nBumpSize)
KEL_INSPECT_ACCESSORS(nMemLimit)
KEL_INSPECT_ACCESSORS(nImageTag)
KEL_INSPECT_ACCESSORS(nObjectTag)
KEL_INSPECT_ACCESSORS(bBlockingEnabled)

#undef KEL_INSPECT_ACCESSORS

KELKIT_API int kel_vela_inspect_get_nBoxCountX(const KelInspect *tool) {
  return tool ? tool->grid.count_x : 0;
}

KELKIT_API int kel_vela_inspect_get_nBoxCountY(const KelInspect *tool) {
  return tool ? tool->grid.count_y : 0;
}

KELKIT_API int kel_vela_inspect_get_nVectorSize(const KelInspect *tool) {
  return tool ? tool->grid.vector_size : 0;
}

KELKIT_API int kel_vela_inspect_get_VectorCount(const KelInspect *tool) {
  return tool ? tool->VectorCount : 0;
}

KELKIT_API int kel_vela_inspect_get_box_model(const KelInspect *tool, int bx, int by, int feature,
                                              double *mean, double *spread) {
  const char *fn = "kel_vela_inspect_get_box_model";
  if (mean) *mean = 0.0;
  if (spread) *spread = 0.0;
  if (int e = kel::need_pointer(fn, tool, "Inspection tool is NULL")) return e;
  const kel::inspect::Grid &g = tool->grid;
  if (tool->VectorCount < 1) return kel::fail(fn, KEL_ERR_NO_MODEL, "Nothing learned");
  if (bx < 0 || by < 0 || bx >= g.count_x || by >= g.count_y)
    return kel::fail(fn, KEL_ERR_ARGUMENT, "Box outside the grid");
  int f = -1;
  for (int i = 0, k = 0; i < 4; ++i) {
    const int bit = kel::inspect::kFeatureBits[i];
    if (g.mode & bit) {
      if (bit == feature) f = k;
      ++k;
    }
  }
  if (f < 0) return kel::fail(fn, KEL_ERR_ARGUMENT, "Feature not learned");
  const std::size_t at = 2 * ((static_cast<std::size_t>(by) * g.count_x + bx) * g.vector_size + f);
  if (mean) *mean = tool->stats[at];
  if (spread && tool->VectorCount >= 2)
    *spread = std::sqrt(tool->stats[at + 1] / (tool->VectorCount - 1));
  return KEL_OK;
}

}  // extern "C"
