// What the correlation and vela search records share: both begin with the
// same scan settings, and both hold the trained steps, the retry tables and
// a candidate store of three parallel arrays. The helpers here take either
// record type.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <new>
#include <type_traits>

#include "locate/search/search_model.hpp"

namespace kel::locate {

// ---- retry tables -----------------------------------------------------------

inline constexpr int kRetryRows = 6;
inline constexpr int kRetryStepX[kRetryRows] = {-20, 0, -20, 0, -50, -50};
inline constexpr int kRetryStepY[kRetryRows] = {0, -20, -20, -50, 0, -50};
inline constexpr int kRetryPatternX[kRetryRows] = {-30, 0, -30, 0, -70, -70};
inline constexpr int kRetryPatternY[kRetryRows] = {0, -30, -30, -70, 0, -70};

// A zeroed array of max(n, 1) entries from calloc; null when out of memory.
template <class T>
T *array_of(int n) {
  return static_cast<T *>(std::calloc(static_cast<std::size_t>(std::max(n, 1)), sizeof(T)));
}

// A calloc'd copy of one retry table; null when out of memory.
inline int *copy_table(const int (&values)[kRetryRows]) {
  int *a = array_of<int>(kRetryRows);
  if (a) std::copy(values, values + kRetryRows, a);
  return a;
}

// ---- defaults ---------------------------------------------------------------

// The defaults both records share: scan steps and sampling intervals of 8
// (given and trained), auto_step, early_term 100, auto_retry, the given
// `suspicious` percent, and the four retry tables (null where allocation
// failed: check with has_retry_tables).
template <class Params>
void set_scan_defaults(Params *p, int suspicious) {
  p->scan_step_x = p->scan_step_y = 8;
  p->scan_pattern_x = p->scan_pattern_y = 8;
  p->auto_step = 1;
  p->early_term = 100;
  p->suspicious = suspicious;
  p->auto_retry = 1;
  p->trained_step_x = p->trained_step_y = 8;
  p->trained_pattern_x = p->trained_pattern_y = 8;
  p->retry_count = kRetryRows;
  p->retry_step_x_pct = copy_table(kRetryStepX);
  p->retry_step_y_pct = copy_table(kRetryStepY);
  p->retry_pattern_x_pct = copy_table(kRetryPatternX);
  p->retry_pattern_y_pct = copy_table(kRetryPatternY);
}

template <class Params>
bool has_retry_tables(const Params *p) {
  return p->retry_step_x_pct && p->retry_step_y_pct && p->retry_pattern_x_pct &&
         p->retry_pattern_y_pct;
}

template <class Params>
void free_retry_tables(Params *p) {
  std::free(p->retry_step_x_pct);
  std::free(p->retry_step_y_pct);
  std::free(p->retry_pattern_x_pct);
  std::free(p->retry_pattern_y_pct);
}

// ---- candidate store --------------------------------------------------------

// Replaces three parallel arrays with zeroed ones of n entries, all or
// nothing: when any allocation fails the old arrays stay and std::bad_alloc
// is thrown.
template <class A, class B, class C>
void replace_arrays(int n, A *&a, B *&b, C *&c) {
  A *na = array_of<A>(n);
  B *nb = array_of<B>(n);
  C *nc = array_of<C>(n);
  if (!na || !nb || !nc) {
    std::free(na);
    std::free(nb);
    std::free(nc);
    throw std::bad_alloc();
  }
  std::free(a);
  std::free(b);
  std::free(c);
  a = na;
  b = nb;
  c = nc;
}

// ---- training ---------------------------------------------------------------

// Stores the steps, sampling intervals and sub-pixel bias chosen by training.
template <class Params>
void store_trained(Params *p, const TrainedSteps &t) {
  p->trained_step_x = t.step_x;
  p->trained_step_y = t.step_y;
  p->trained_pattern_x = t.pattern_x;
  p->trained_pattern_y = t.pattern_y;
  p->subpix_bias_x = t.bias_x;
  p->subpix_bias_y = t.bias_y;
}

// ---- accessors --------------------------------------------------------------

// The bodies of the plain accessor pairs: a null record reads as a zero
// value and ignores writes; values are stored without checks.
template <class Params, class T>
T get_field(const Params *p, T Params::*field) {
  return p ? p->*field : T{};
}

template <class Params, class T>
void set_field(Params *p, T Params::*field, std::type_identity_t<T> value) {
  if (p) p->*field = value;
}

}  // namespace kel::locate
