// Helpers shared by the image-services sources.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pixsvc.h"

namespace pixsvc {

inline bool valid_type(unsigned type) {
  return type == BYTE || type == WORD || type == FLOAT;
}

// Largest number of pixels one image may hold: pixel offsets are computed in
// 32-bit signed arithmetic, so (dx + skip) * dy must stay below 2^31.
constexpr std::int64_t kMaxPixels = 0x7fffffff;

inline int pitch_of(const Image *img) {
  return img->dx + img->skip;
}

inline unsigned char *pixel_address(const Image *img, int x, int y) {
  return static_cast<unsigned char *>(img->data) +
         (static_cast<std::ptrdiff_t>(pitch_of(img)) * y + x) * img->type;
}

// The root master of a record (a master is its own root).
inline const Image *root_of(const Image *img) {
  return img->master ? img->master : img;
}

// Allocates a bare record (no pixels, no rows); null on failure.
Image *new_record();
// Frees the record and its rows array (not the pixels).
void free_record(Image *img);
// Rebuilds rows[] of one record from data, pitch and type; false when out of
// memory (the record keeps its old rows).
bool rebuild_rows(Image *img);

}  // namespace pixsvc
