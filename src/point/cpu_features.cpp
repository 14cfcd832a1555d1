// Run-time instruction-set checks, answered once per process.
#include "point/cpu_features.hpp"

namespace kel::point {

bool has_avx512bw() {
#if defined(KEL_POINT_WIDE)
  static const bool yes = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw");
  return yes;
#else
  return false;
#endif
}

bool has_avx512vbmi() {
#if defined(KEL_POINT_WIDE)
  static const bool yes = has_avx512bw() && __builtin_cpu_supports("avx512vbmi");
  return yes;
#else
  return false;
#endif
}

}  // namespace kel::point
