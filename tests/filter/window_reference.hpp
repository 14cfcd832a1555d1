// Plain references for the filters of any size: pixels read with the border
// rule of replicated edge pixels, a result computed pixel by pixel, and a
// comparison that prints the first difference.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

#include "kelkit.h"
#include "support/test_images.hpp"

namespace wr {

// Pixel (x, y) of the w by h area, coordinates clamped into it.
inline double at(const Image *img, int w, int h, int x, int y) {
  return kt::get(img, std::clamp(x, 0, w - 1), std::clamp(y, 0, h - 1));
}

// The w by h result of f(x, y).
inline std::vector<double> compute(int w, int h, const std::function<double(int, int)> &f) {
  std::vector<double> out;
  out.reserve(static_cast<std::size_t>(w) * h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x)
      out.push_back(f(x, y));
  return out;
}

// Pixels of the top-left w by h area of `img` further than `tolerance` from
// `expected`; the first one is printed.
inline int differences(const Image *img, int w, int h, const std::vector<double> &expected,
                       double tolerance = 0) {
  int diff = 0;
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const double got = kt::get(img, x, y), want = expected[static_cast<std::size_t>(y) * w + x];
      if (!(std::fabs(got - want) <= tolerance) && diff++ == 0)
        ADD_FAILURE() << "first difference at (" << x << ", " << y << "): " << got << " instead of "
                      << want;
    }
  return diff;
}

// The pixel value of a real result: rounded half away from zero and clamped
// to the type's range (FLOAT: unchanged).
inline double stored(unsigned type, double v) {
  if (type == FLOAT) return static_cast<float>(v);
  const double top = type == BYTE ? 255 : 65535;
  return std::clamp(std::round(v), 0.0, top);
}

// One failure case: a call, the expected code and the reporting name.
struct Failure {
  const char *what;
  std::function<int()> call;
  int code;
  const char *fn;
};

inline void check_failures(const std::vector<Failure> &cases) {
  for (const Failure &c : cases) {
    kt::clear_report();
    EXPECT_EQ(c.call(), c.code) << c.what;
    EXPECT_STREQ(im_last_function(), c.fn) << c.what;
    EXPECT_EQ(im_last_code(), c.code) << c.what;
  }
}

constexpr unsigned kTypes[] = {BYTE, WORD, FLOAT};

}  // namespace wr
