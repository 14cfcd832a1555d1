// The vector row kernels of the statistics equal the plain references on
// every width from 0 to 300 and at every alignment, with random data, runs of
// zeros and saturated rows.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "point/stats_rows.hpp"

namespace s = kel::stats;

namespace {

TEST(StatsRowKernels, VectorPathsEqualReference) {
  std::mt19937 gen(11);
  std::vector<std::uint8_t> buf(400);
  for (int pattern = 0; pattern < 3; ++pattern) {
    for (auto &b : buf) {
      b = static_cast<std::uint8_t>(gen());
      if (pattern == 1 && b < 200) b = 0;
      if (pattern == 2) b = 255;
    }
    for (int offset = 0; offset < 4; ++offset) {
      for (int n = 0; n <= 300; ++n) {
        const std::uint8_t *p = buf.data() + offset;
        std::uint32_t ref = s::sum_row_ref(p, n);
        ASSERT_EQ(s::sum_row(p, n), ref) << n;
        ASSERT_EQ(s::count_nz_row(p, n), s::count_nz_row_ref(p, n)) << n;
        std::uint32_t rs = 3, rq = 0xfffffff0u, vs = 3, vq = 0xfffffff0u;  // wraps
        s::sum_squares_row_ref(p, n, &rs, &rq);
        s::sum_squares_row(p, n, &vs, &vq);
        ASSERT_EQ(vs, rs);
        ASSERT_EQ(vq, rq);
        if (n > 0) {
          ASSERT_EQ(s::max_row(p, n), s::max_row_ref(p, n)) << n;
          ASSERT_EQ(s::min_row(p, n), s::min_row_ref(p, n)) << n;
        }
#if defined(__SSE2__)
        ASSERT_EQ(s::sum_row_sse2(p, n), ref);
        ASSERT_EQ(s::count_nz_row_sse2(p, n), s::count_nz_row_ref(p, n));
        if (n > 0) {
          ASSERT_EQ(s::max_row_sse2(p, n), s::max_row_ref(p, n));
        }
        if (s::have_avx2()) {
          ASSERT_EQ(s::sum_row_avx2(p, n), ref);
          ASSERT_EQ(s::count_nz_row_avx2(p, n), s::count_nz_row_ref(p, n));
          if (n > 0) {
            ASSERT_EQ(s::min_row_avx2(p, n), s::min_row_ref(p, n));
          }
        }
#endif
        std::uint32_t hist_ref[256] = {}, sub[4][256] = {};
        s::hist_row_ref(p, n, hist_ref);
        s::hist_row4(p, n, sub);
        for (int v = 0; v < 256; ++v)
          ASSERT_EQ(sub[0][v] + sub[1][v] + sub[2][v] + sub[3][v], hist_ref[v]);
      }
    }
  }
}

}  // namespace
