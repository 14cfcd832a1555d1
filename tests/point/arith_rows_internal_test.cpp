// The vector BYTE row kernels of the arithmetic and logic operators (the
// chosen path, SSE2, and AVX2 where the processor has it) equal the plain
// loops on every width from 0 to 150, at every alignment, in place, and on
// data that saturates at both ends.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "point/arith_kernels.hpp"
#include "point/stats_rows.hpp"

namespace p = kel::point;

namespace {

const p::ByteOp kOps[] = {p::ByteOp::add,    p::ByteOp::sub,     p::ByteOp::absdiff,
                          p::ByteOp::max,    p::ByteOp::min,     p::ByteOp::bit_and,
                          p::ByteOp::bit_or, p::ByteOp::bit_xor, p::ByteOp::mean};

std::vector<std::uint8_t> random_bytes(std::mt19937 &gen, int pattern) {
  std::vector<std::uint8_t> v(160);
  for (auto &b : v) {
    b = static_cast<std::uint8_t>(gen());
    if (pattern == 1) b = b < 128 ? 0 : 255;  // extremes only
  }
  return v;
}

using RowFn = void (*)(p::ByteOp, const std::uint8_t *, const std::uint8_t *, std::uint8_t *, int);
using AddKFn = void (*)(std::uint8_t *, int, int);

std::vector<RowFn> row_paths() {
  std::vector<RowFn> paths = {p::byte_row};
#if defined(__SSE2__)
  paths.push_back(p::byte_row_sse2);
  if (kel::stats::have_avx2()) paths.push_back(p::byte_row_avx2);
#endif
  return paths;
}

std::vector<AddKFn> add_k_paths() {
  std::vector<AddKFn> paths = {p::byte_add_k_row};
#if defined(__SSE2__)
  paths.push_back(p::byte_add_k_row_sse2);
  if (kel::stats::have_avx2()) paths.push_back(p::byte_add_k_row_avx2);
#endif
  return paths;
}

TEST(ArithRowKernels, VectorPathsEqualPlainLoops) {
  std::mt19937 gen(5);
  for (int pattern = 0; pattern < 2; ++pattern) {
    auto a = random_bytes(gen, pattern), b = random_bytes(gen, pattern);
    for (p::ByteOp op : kOps) {
      for (int offset = 0; offset < 4; ++offset) {
        for (int n = 0; n <= 150; ++n) {
          const std::uint8_t *pa = a.data() + offset, *pb = b.data() + 3 - offset;
          std::vector<std::uint8_t> ref(n + 1, 0xAB);
          p::byte_row_ref(op, pa, pb, ref.data(), n);
          for (RowFn path : row_paths()) {
            std::vector<std::uint8_t> fast(n + 1, 0xAB);
            path(op, pa, pb, fast.data(), n);
            ASSERT_EQ(fast, ref) << "op " << int(op) << " n " << n;  // last byte untouched too
            // In place into the second operand.
            std::vector<std::uint8_t> inplace(pb, pb + n);
            path(op, pa, inplace.data(), inplace.data(), n);
            ASSERT_TRUE(std::equal(inplace.begin(), inplace.end(), ref.begin()));
          }
        }
      }
    }
  }
}

TEST(ArithRowKernels, SaturatingConstantEqualsPlainLoop) {
  std::mt19937 gen(9);
  auto src = random_bytes(gen, 0);
  for (int k : {-1000, -256, -255, -254, -7, -1, 0, 1, 9, 200, 254, 255, 256, 1000}) {
    for (int n : {0, 1, 15, 16, 17, 31, 33, 63, 100, 137}) {
      std::vector<std::uint8_t> ref(src.begin(), src.begin() + n);
      p::byte_add_k_row_ref(ref.data(), n, k);
      for (AddKFn path : add_k_paths()) {
        std::vector<std::uint8_t> fast(src.begin(), src.begin() + n);
        path(fast.data(), n, k);
        ASSERT_EQ(fast, ref) << "k " << k << " n " << n;
      }
    }
  }
}

TEST(ArithRowKernels, SaturateTruncatesAndClamps) {
  EXPECT_EQ(p::saturate<std::uint8_t>(254.99f), 254);
  EXPECT_EQ(p::saturate<std::uint8_t>(255.0f), 255);
  EXPECT_EQ(p::saturate<std::uint8_t>(1e30f), 255);
  EXPECT_EQ(p::saturate<std::uint8_t>(-0.99f), 0);
  EXPECT_EQ(p::saturate<std::uint8_t>(std::numeric_limits<float>::quiet_NaN()), 0);
  EXPECT_EQ(p::saturate<std::uint8_t>(-std::numeric_limits<float>::infinity()), 0);
  EXPECT_EQ(p::saturate<std::uint16_t>(65535.5f), 65535);
  EXPECT_EQ(p::saturate<std::uint16_t>(std::int64_t{70000}), 65535);
  EXPECT_EQ(p::saturate<std::uint16_t>(std::int64_t{-1}), 0);
  EXPECT_EQ(p::saturate<float>(std::int64_t{-3}), -3.0f);
}

}  // namespace
