// The SSE2 power sums of BYTE rows equal the plain loop's integers on every
// width around the 32-pixel blocks, unaligned starts, grey and binary.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "measure/moments/moment_rows.hpp"

TEST(MomentRows, FastPathEqualsPlainLoop) {
  std::mt19937 gen(3);
  std::vector<std::uint8_t> row(1200);
  for (auto &v : row)
    v = static_cast<std::uint8_t>(gen() % 3 ? gen() : 0);
  for (int n : {0, 1, 31, 32, 33, 95, 1000, 1199})
    for (int start : {0, 1})
      for (bool binary : {false, true}) {
        auto a = kel::moments::byte_row_sums(row.data() + start, n, binary);
        auto b = kel::moments::byte_row_sums_plain(row.data() + start, n, binary);
        EXPECT_EQ(a.s0, b.s0) << n;
        EXPECT_EQ(a.s1, b.s1) << n;
        EXPECT_EQ(a.s2, b.s2) << n;
        EXPECT_TRUE(a.s3 == b.s3) << n;
      }
  // Full-scale pixels on a wide row: exact third powers beyond 64 bits.
  std::vector<std::uint8_t> wide(65536, 255);
  auto w = kel::moments::byte_row_sums(wide.data(), 65536, false);
  __int128 want = 0;
  for (long x = 0; x < 65536; ++x)
    want += static_cast<__int128>(255) * x * x * x;
  EXPECT_TRUE(w.s3 == want);
}
