// Helpers of the blob tests: images drawn as text, and records that free
// themselves.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kelkit.h"
#include "support/test_images.hpp"

namespace kt::blob {

// A BYTE image, or a view at (3, 2) of a larger master, from rows of text:
// '#' is an object pixel, '.' background, any other character its own code
// (for planting a stray value). `object` is 255 (white blobs) or 0.
inline TestImage art(const std::vector<std::string> &rows, bool as_view = false,
                     std::uint8_t object = 255) {
  const int dy = static_cast<int>(rows.size());
  const int dx = dy ? static_cast<int>(rows[0].size()) : 0;
  TestImage img = as_view ? view(BYTE, dx, dy) : image(BYTE, dx, dy);
  for (int y = 0; y < dy; ++y)
    for (int x = 0; x < dx; ++x) {
      char c = rows[y][x];
      set(img, x, y, c == '#' ? object : c == '.' ? 255 - object : static_cast<unsigned char>(c));
    }
  return img;
}

struct ParamsDeleter {
  void operator()(BlobParams *p) const { kel_blob_delete_params(p); }
};
struct ResultsDeleter {
  void operator()(BlobResults *r) const { kel_blob_delete_results(r); }
};
struct PerimsDeleter {
  void operator()(PerimeterResults *r) const { kel_blob_perimeter_delete_results(r); }
};
struct SetDeleter {
  void operator()(PerimeterPointSet *s) const { kel_delete_perim_struct(s); }
};
using Params = std::unique_ptr<BlobParams, ParamsDeleter>;
using Results = std::unique_ptr<BlobResults, ResultsDeleter>;
using Perims = std::unique_ptr<PerimeterResults, PerimsDeleter>;
using Set = std::unique_ptr<PerimeterPointSet, SetDeleter>;

// Parameters for white blobs with the given connectivity.
inline Params white_params(unsigned connected = 8) {
  unsigned status = 99;
  Params p(kel_blob_create_params(&status));
  EXPECT_EQ(status, 0u);
  kel_blob_set_blob_color(p.get(), 255);
  kel_blob_set_connected(p.get(), connected);
  return p;
}

inline Results results(unsigned slots = 16, unsigned growable = 1) {
  unsigned status = 99;
  Results r(kel_blob_create_results(slots, growable, &status));
  EXPECT_EQ(status, 0u);
  return r;
}

// The measures of one found blob, comparable in one expectation.
struct Measures {
  unsigned xmin, ymin, xmax, ymax, xfirst, yfirst, area, perim;
  double xcent, ycent;
  bool operator==(const Measures &) const = default;
};

inline std::ostream &operator<<(std::ostream &os, const Measures &m) {
  return os << "box (" << m.xmin << "," << m.ymin << ")-(" << m.xmax << "," << m.ymax << ") first ("
            << m.xfirst << "," << m.yfirst << ") area " << m.area << " perim " << m.perim
            << " centre (" << m.xcent << "," << m.ycent << ")";
}

// Every held blob, read through the accessors, in result order.
inline std::vector<Measures> measures(const BlobResults *r) {
  std::vector<Measures> v;
  for (int i = 0; i < static_cast<int>(kel_blob_get_num_found(r)); ++i)
    v.push_back({kel_blob_get_xmin(r, i), kel_blob_get_ymin(r, i), kel_blob_get_xmax(r, i),
                 kel_blob_get_ymax(r, i), kel_blob_get_xfirst(r, i), kel_blob_get_yfirst(r, i),
                 kel_blob_get_area(r, i), kel_blob_get_perim(r, i), kel_blob_get_xcent(r, i),
                 kel_blob_get_ycent(r, i)});
  return v;
}

// The first-pixel columns of the held blobs, in result order.
inline std::vector<unsigned> xfirsts(const BlobResults *r) {
  std::vector<unsigned> v;
  for (int i = 0; i < static_cast<int>(kel_blob_get_num_found(r)); ++i)
    v.push_back(kel_blob_get_xfirst(r, i));
  return v;
}

// The points of a set as (x, y) pairs.
inline std::vector<std::pair<int, int>> points(const PerimeterPointSet *s) {
  std::vector<std::pair<int, int>> v;
  for (unsigned i = 0; i < s->count; ++i)
    v.emplace_back(s->x[i], s->y[i]);
  return v;
}

}  // namespace kt::blob
