// Parameter and result records of the lead analysis, and their accessors.
#include <new>

#include "frame/call.hpp"
#include "kelkit/lead.h"

extern "C" {

KELKIT_API KelLeadParams *kel_lead_create_params(unsigned int *status) {
  if (status) *status = KEL_OK;
  auto *p = new (std::nothrow) KelLeadParams{};
  if (!p) {
    int e = kel::fail("kel_lead_create_params", KEL_ERR_NO_MEMORY, "Out of memory");
    if (status) *status = static_cast<unsigned>(e);
    return nullptr;
  }
  p->length = 100;
  p->width = 40;
  p->polarity = KEL_LEAD_BRIGHT;
  p->edge_threshold = 30;
  p->width_tolerance = 1;
  p->length_tolerance = 2;
  p->offset_tolerance = 1;
  return p;
}

KELKIT_API void kel_lead_delete_params(KelLeadParams *params) {
  delete params;
}

KELKIT_API KelLeadResults *kel_lead_create_results(int capacity, unsigned int *status) {
  const char *fn = "kel_lead_create_results";
  if (status) *status = KEL_OK;
  if (capacity < 1 || capacity > 100000) {
    int e = kel::fail(fn, KEL_ERR_ARGUMENT, "Capacity must be 1 to 100000");
    if (status) *status = static_cast<unsigned>(e);
    return nullptr;
  }
  auto *r = new (std::nothrow) KelLeadResults{};
  KelLead *leads = new (std::nothrow) KelLead[capacity]{};
  double *missing = new (std::nothrow) double[capacity]{};
  if (!r || !leads || !missing) {
    delete r;
    delete[] leads;
    delete[] missing;
    int e = kel::fail(fn, KEL_ERR_NO_MEMORY, "Out of memory");
    if (status) *status = static_cast<unsigned>(e);
    return nullptr;
  }
  r->capacity = capacity;
  r->leads = leads;
  r->missing = missing;
  return r;
}

KELKIT_API void kel_lead_delete_results(KelLeadResults *results) {
  if (!results) return;
  delete[] results->leads;
  delete[] results->missing;
  delete results;
}

KELKIT_API void kel_lead_set_rect(KelLeadParams *p, double cx, double cy, double length,
                                  double width, double angle) {
  p->cx = cx;
  p->cy = cy;
  p->length = length;
  p->width = width;
  p->angle = angle;
}

KELKIT_API void kel_lead_set_polarity(KelLeadParams *p, int polarity) {
  p->polarity = polarity;
}

KELKIT_API void kel_lead_set_edge_threshold(KelLeadParams *p, int threshold) {
  p->edge_threshold = threshold;
}

KELKIT_API void kel_lead_set_nominal(KelLeadParams *p, int count, double pitch, double width,
                                     double length) {
  p->nominal_count = count;
  p->nominal_pitch = pitch;
  p->nominal_width = width;
  p->nominal_length = length;
}

KELKIT_API void kel_lead_set_tolerances(KelLeadParams *p, double width, double length,
                                        double offset) {
  p->width_tolerance = width;
  p->length_tolerance = length;
  p->offset_tolerance = offset;
}

KELKIT_API int kel_lead_get_polarity(const KelLeadParams *p) {
  return p->polarity;
}

KELKIT_API int kel_lead_get_edge_threshold(const KelLeadParams *p) {
  return p->edge_threshold;
}

KELKIT_API int kel_lead_get_count(const KelLeadResults *r) {
  return r->count;
}

KELKIT_API double kel_lead_get_pitch(const KelLeadResults *r) {
  return r->pitch;
}

KELKIT_API unsigned int kel_lead_get_flags(const KelLeadResults *r) {
  return r->flags;
}

KELKIT_API int kel_lead_get_missing_count(const KelLeadResults *r) {
  return r->missing_count;
}

KELKIT_API const KelLead *kel_lead_get_lead(const KelLeadResults *r, int index) {
  return &r->leads[index];
}

}  // extern "C"
