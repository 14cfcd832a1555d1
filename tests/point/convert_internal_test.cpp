// The row kernels of the conversion to FLOAT against the plain loop.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "point/convert_rows.hpp"

namespace {

using namespace kel::convert;

template <class T>
void check_paths(std::uint32_t seed) {
  std::mt19937 gen(seed);
  std::vector<T> src(120);
  for (auto &v : src)
    v = static_cast<T>(gen());
  src[3] = static_cast<T>(~T{0});  // the top level
  for (int start : {0, 1, 3})
    for (int n = 0; n <= 100; ++n) {
      std::vector<float> want(110, -1.f), best(110, -1.f), wide(110, -1.f);
      to_float_row_ref(src.data() + start, want.data(), n);
      to_float_row(src.data() + start, best.data(), n);
      ASSERT_EQ(best, want) << "n " << n << " start " << start;
      if (to_float_row_wide(src.data() + start, wide.data(), n)) {
        ASSERT_EQ(wide, want);
      }
    }
}

TEST(ConvertRows, FastPathsEqualThePlainLoop) {
  check_paths<std::uint8_t>(1);
  check_paths<std::uint16_t>(2);
}

}  // namespace
