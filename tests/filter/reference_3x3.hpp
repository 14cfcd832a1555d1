// Plain references of the 3x3 filters for the tests: every output pixel
// computed directly from its neighbourhood, and the border rule applied as a
// separate step.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "pixsvc.h"
#include "support/test_images.hpp"

namespace ft {

// The expected w by h result: inner(x, y) for the inner pixels, the border
// repeating the nearest computed pixel.
inline std::vector<int> reference_3x3(int w, int h, const std::function<int(int, int)> &inner) {
  std::vector<int> out(static_cast<std::size_t>(w) * h, -1);
  auto at = [&](int x, int y) -> int & { return out[static_cast<std::size_t>(y) * w + x]; };
  for (int y = 1; y < h - 1; ++y) {
    for (int x = 1; x < w - 1; ++x)
      at(x, y) = inner(x, y);
    at(0, y) = at(1, y);
    at(w - 1, y) = at(w - 2, y);
  }
  for (int x = 0; x < w; ++x) {
    at(x, 0) = at(x, 1);
    at(x, h - 1) = at(x, h - 2);
  }
  return out;
}

// Number of pixels of the top-left w by h area of `img` that differ from
// `expected`; the first difference is printed.
inline int count_differences(const Image *img, int w, int h, const std::vector<int> &expected) {
  int diff = 0;
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      int got = static_cast<int>(kt::get(img, x, y));
      int want = expected[static_cast<std::size_t>(y) * w + x];
      if (got != want && diff++ == 0)
        ADD_FAILURE() << "first difference at (" << x << ", " << y << "): " << got << " instead of "
                      << want;
    }
  return diff;
}

// All pixels of an image and of its master, to prove that nothing was
// written.
inline std::vector<double> snapshot(const kt::TestImage &t) {
  return kt::pixels(t.master() ? t.master() : t.get());
}

}  // namespace ft
