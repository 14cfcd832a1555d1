// Label test support: images drawn from text, an owning list handle, and
// records flattened into comparable values.
#pragma once

#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "kelkit.h"
#include "support/test_images.hpp"

namespace kt::label {

// Frees a whole label list.
struct ListDeleter {
  void operator()(LabelRecord *head) const noexcept { kel_label_delete_list(head); }
};
using List = std::unique_ptr<LabelRecord, ListDeleter>;

// A BYTE image from rows of text: '#' is `object`, '.' is 0, a digit d is
// the value d. As a view with skip when `as_view`.
inline kt::TestImage art(const std::vector<std::string> &rows, int object = 255,
                         bool as_view = false) {
  std::vector<double> px;
  for (const std::string &r : rows)
    for (char c : r)
      px.push_back(c == '#' ? object : c == '.' ? 0 : c - '0');
  const int dx = rows.empty() ? 0 : static_cast<int>(rows[0].size());
  const int dy = static_cast<int>(rows.size());
  return as_view ? kt::view(BYTE, dx, dy, px) : kt::image(BYTE, dx, dy, px);
}

// What labeling decides about an object, as one comparable value.
struct Summary {
  unsigned labelval, xstart, ystart, bxmin, bymin, bxmax, bymax;
  float area;
  unsigned touches;
  auto key() const {
    return std::tie(labelval, xstart, ystart, bxmin, bymin, bxmax, bymax, area, touches);
  }
  bool operator==(const Summary &o) const { return key() == o.key(); }
};

inline std::ostream &operator<<(std::ostream &os, const Summary &s) {
  return os << "{label " << s.labelval << ", seed (" << s.xstart << "," << s.ystart << "), box ("
            << s.bxmin << "," << s.bymin << ")-(" << s.bxmax << "," << s.bymax << "), area "
            << s.area << ", touches " << s.touches << "}";
}

inline std::vector<Summary> summaries(const LabelRecord *head) {
  std::vector<Summary> out;
  for (const LabelRecord *r = head; r; r = r->next)
    out.push_back({r->labelval, r->xstart, r->ystart, r->bxmin, r->bymin, r->bxmax, r->bymax,
                   r->measure[0], r->touches});
  return out;
}

}  // namespace kt::label
