// Erosion and dilation composed into opening, closing, top hat, bottom hat
// and the morphological gradient, for any extreme filter.
#pragma once

#include <functional>

#include "filter/morphology/extreme.hpp"
#include "kelkit/morphology.h"

namespace kel::nb {

// An extreme filter over the area: erosion (dilate false) or dilation of
// `src` into `dst`, which may be the same image.
using Extreme = std::function<void(const Image *src, Image *dst, bool dilate)>;

inline bool operation_ok(int op) {
  return op >= KEL_MORPH_ERODE && op <= KEL_MORPH_GRADIENT;
}

// dst = a - b over the area, limited at 0 for BYTE and WORD.
template <class T>
void difference(const Image *a, const Image *b, Image *dst, Area area) {
  for (int y = 0; y < area.dy; ++y) {
    const T *pa = row<const T>(a, y), *pb = row<const T>(b, y);
    T *out = row<T>(dst, y);
    for (int x = 0; x < area.dx; ++x) {
      if constexpr (std::is_same_v<T, float>)
        out[x] = pa[x] - pb[x];
      else
        out[x] = static_cast<T>(pa[x] > pb[x] ? pa[x] - pb[x] : 0);
    }
  }
}

// Applies morphology operation `op` (KelMorphOp, already checked) with the
// extreme filter `extreme`.
inline void compose(const Image *src, Image *dst, Area a, int op, const Extreme &extreme) {
  if (op == KEL_MORPH_ERODE || op == KEL_MORPH_DILATE)
    return extreme(src, dst, op == KEL_MORPH_DILATE);
  Source source(src, dst, a);
  const Image *in = source.get();
  if (op == KEL_MORPH_OPEN || op == KEL_MORPH_CLOSE) {
    extreme(in, dst, op == KEL_MORPH_CLOSE);
    extreme(dst, dst, op == KEL_MORPH_OPEN);
    return;
  }
  // The second image: the destination itself for the hats when it does not
  // share the source's pixels, else a temporary.
  ImagePtr tmp;
  Image *work = dst;
  if (op == KEL_MORPH_GRADIENT || in != src) {
    tmp = make_image(src->type, a.dx, a.dy);
    if (!tmp) throw std::bad_alloc();
    work = tmp.get();
  }
  const Image *first = in, *second = work;
  if (op == KEL_MORPH_GRADIENT) {
    extreme(in, work, false);
    extreme(in, dst, true);
    first = dst;
  } else {
    // Top hat: src - opening; bottom hat: closing - src.
    const bool top = op == KEL_MORPH_TOPHAT;
    extreme(in, work, !top);
    extreme(work, work, top);
    if (!top) std::swap(first, second);
  }
  with_pixel_type(src->type, 0, [&]<class T>() {
    difference<T>(first, second, dst, a);
    return 0;
  });
}

}  // namespace kel::nb
