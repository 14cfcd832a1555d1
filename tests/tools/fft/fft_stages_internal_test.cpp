// The butterfly paths of the line transform: the AVX2 path and the
// multi-line generic path give, line for line, the bits of the single-line
// generic path.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "kelkit/fft.h"
#include "tools/fft/fft_lines.hpp"

namespace {

using kel::tools::LinePlan;

TEST(FftStages, EveryPathGivesTheSameBits) {
  std::mt19937 gen(5);
  std::uniform_real_distribution<float> dist(-100.0f, 100.0f);
  for (int n : {2, 4, 8, 32, 256, 2048})
    for (int lines : {2, 4, 8, 16, 32}) {
      SCOPED_TRACE(testing::Message() << "n " << n << " lines " << lines);
      kel_fft_coeff *c = kel_fft_create_coeff(n, 1, n % 3);
      ASSERT_TRUE(c);
      LinePlan plan = kel::tools::make_plan(n, c->nLog2X, c->afCosX, c->afSinX);
      const std::size_t size = std::size_t(n) * lines;
      std::vector<float> re(size), im(size);
      for (float &v : re)
        v = dist(gen);
      for (float &v : im)
        v = dist(gen);

      // Each line alone through the single-line path.
      std::vector<float> one_re(size), one_im(size);
      for (int b = 0; b < lines; ++b) {
        std::vector<float> r(n), i(n);
        for (int k = 0; k < n; ++k)
          r[k] = re[k * lines + b], i[k] = im[k * lines + b];
        kel::tools::run_stages_generic(r.data(), i.data(), 1, n, plan.stages, plan.twr.data(),
                                       plan.twi.data());
        for (int k = 0; k < n; ++k)
          one_re[k * lines + b] = r[k], one_im[k * lines + b] = i[k];
      }
      std::vector<float> g_re = re, g_im = im;
      kel::tools::run_stages_generic(g_re.data(), g_im.data(), lines, n, plan.stages,
                                     plan.twr.data(), plan.twi.data());
      EXPECT_EQ(std::memcmp(g_re.data(), one_re.data(), size * 4), 0);
      EXPECT_EQ(std::memcmp(g_im.data(), one_im.data(), size * 4), 0);
      if (kel::tools::have_avx2_stages() && lines >= 8) {
        std::vector<float> a_re = re, a_im = im;
        kel::tools::run_stages_avx2(a_re.data(), a_im.data(), lines, n, plan.stages,
                                    plan.twr.data(), plan.twi.data());
        EXPECT_EQ(std::memcmp(a_re.data(), one_re.data(), size * 4), 0);
        EXPECT_EQ(std::memcmp(a_im.data(), one_im.data(), size * 4), 0);
      }
      kel_fft_delete_coeff(c);
    }
}

}  // namespace
