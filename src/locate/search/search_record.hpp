// Helpers of the exported correlation search around its record: the
// candidate store, the thresholds held on the internal scale while a
// training or search runs, and the normalisation.
#pragma once

#include "kelkit/search.h"
#include "locate/search/search_model.hpp"

namespace kel::locate {

// The record's normalisation constants.
inline ScoreScale scale_of(const KelSearchParams *p) {
  return {p->score_scale, p->score_offset};
}

// Recomputes score_scale and score_offset from `model`.
void set_score_constants(KelSearchParams *p, const Image *model);

// Makes candidate_capacity equal to max(20, 5 * num_to_find), reallocating
// the three candidate arrays when it changes. Throws std::bad_alloc (the
// record keeps its old store).
void fit_candidate_store(KelSearchParams *p);

inline CandidateStore store_of(const KelSearchParams *p) {
  return {p->candidate_x, p->candidate_y, p->candidate_cost, p->candidate_capacity};
}

// Holds early_term and suspicious on the internal scale for its lifetime and
// converts them back to percent on every way out.
class InternalThresholds {
 public:
  explicit InternalThresholds(KelSearchParams *p) : p_(p) {
    ScoreScale s = scale_of(p_);
    p_->early_term = percent_to_internal(p_->early_term, s);
    p_->suspicious = percent_to_internal(p_->suspicious, s);
  }
  ~InternalThresholds() {
    ScoreScale s = scale_of(p_);
    p_->early_term = internal_to_percent(p_->early_term, s);
    p_->suspicious = internal_to_percent(p_->suspicious, s);
  }
  InternalThresholds(const InternalThresholds &) = delete;
  InternalThresholds &operator=(const InternalThresholds &) = delete;

 private:
  KelSearchParams *p_;
};

}  // namespace kel::locate
