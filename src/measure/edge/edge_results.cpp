// The edge-line results record: creation, deletion and field accessors.
#include <new>

#include "frame/call.hpp"
#include "kelkit/edge.h"

namespace {

double field(const char *fn, const EdgeResults *r, double EdgeResults::*member) {
  if (!r) {
    kel::fail(fn, KEL_ERR_ARGUMENT, "results is NULL");
    return 0.0;
  }
  return r->*member;
}

}  // namespace

extern "C" KELKIT_API EdgeResults *kel_edge_create_results(void) {
  EdgeResults *r = new (std::nothrow) EdgeResults{};
  if (!r) kel::fail("kel_edge_create_results", KEL_ERR_NO_MEMORY, "Out of memory");
  return r;
}

extern "C" KELKIT_API int kel_edge_delete_results(EdgeResults *results) {
  if (!results) return kel::fail("kel_edge_delete_results", KEL_ERR_ARGUMENT, "results is NULL");
  delete results;
  return KEL_OK;
}

#define KEL_EDGE_GETTER(name)                                                    \
  extern "C" KELKIT_API double kel_edge_get_##name(const EdgeResults *results) { \
    return field("kel_edge_get_" #name, results, &EdgeResults::name);            \
  }

KEL_EDGE_GETTER(theta)
KEL_EDGE_GETTER(distance)
KEL_EDGE_GETTER(p1x)
KEL_EDGE_GETTER(p1y)
KEL_EDGE_GETTER(p2x)
KEL_EDGE_GETTER(p2y)
KEL_EDGE_GETTER(p3x)
KEL_EDGE_GETTER(p3y)
