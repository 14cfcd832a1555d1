// Rank and median filters against a plain sort of each window: the sorting
// networks (every type, small windows), the BYTE sliding histograms (9x9 to
// 31x31 and long thin windows) and the WORD histogram, every rank of a
// small window, in-place use, views and every failure.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "filter/window_reference.hpp"
#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

std::vector<double> plain_rank(const Image *s, int w, int h, int kx, int ky, int rank) {
  return wr::compute(w, h, [&](int x, int y) {
    std::vector<double> v;
    for (int j = -(ky - 1) / 2; j <= ky / 2; ++j)
      for (int i = -(kx - 1) / 2; i <= kx / 2; ++i)
        v.push_back(wr::at(s, w, h, x + i, y + j));
    std::nth_element(v.begin(), v.begin() + rank, v.end());
    return v[rank];
  });
}

TEST(Rank, MedianEqualsThePlainSortOnEveryPathAndType) {
  struct Case {
    unsigned type;
    int kx, ky;
  };
  const Case cases[] = {{BYTE, 3, 3},   {BYTE, 5, 5},   {BYTE, 7, 7},  {BYTE, 9, 9},
                        {BYTE, 15, 15}, {BYTE, 31, 31}, {BYTE, 51, 3}, {BYTE, 4, 20},
                        {WORD, 3, 3},   {WORD, 6, 5},   {WORD, 9, 9},  {WORD, 31, 17},
                        {FLOAT, 3, 3},  {FLOAT, 5, 5},  {FLOAT, 1, 25}};
  for (const Case &c : cases) {
    // A narrow value range makes ties common, as in real images.
    kt::TestImage src = kt::random_image(c.type, 67, 41, c.kx * 100 + c.ky, true);
    if (c.type == BYTE && c.kx == 15)
      for (int y = 0; y < 41; ++y)
        for (int x = 0; x < 67; ++x)
          kt::set(src, x, y, 100 + int(kt::get(src, x, y)) % 7);
    kt::TestImage dst = kt::view(c.type, 67, 41);
    ASSERT_EQ(kel_median_rect(src, dst, c.kx, c.ky), 0);
    const auto expect = plain_rank(src, 67, 41, c.kx, c.ky, (c.kx * c.ky - 1) / 2);
    EXPECT_EQ(wr::differences(dst, 67, 41, expect), 0) << c.kx << "x" << c.ky << " type " << c.type;
    EXPECT_TRUE(kt::margin_intact(dst));
    ASSERT_EQ(kel_median_rect(src, src, c.kx, c.ky), 0);  // in place
    EXPECT_EQ(wr::differences(src, 67, 41, expect), 0);
  }
}

TEST(Rank, EveryRankOfSmallAndLargeWindows) {
  for (unsigned type : {unsigned(BYTE), unsigned(WORD)}) {
    kt::TestImage src = kt::random_image(type, 23, 19, 11, true), dst = kt::image(type, 23, 19);
    for (int rank = 0; rank < 9; ++rank) {
      ASSERT_EQ(kel_rank_rect(src, dst, 3, 3, rank), 0);
      EXPECT_EQ(wr::differences(dst, 23, 19, plain_rank(src, 23, 19, 3, 3, rank)), 0) << rank;
    }
    for (int rank : {0, 17, 40, 80}) {
      ASSERT_EQ(kel_rank_rect(src, dst, 9, 9, rank), 0);
      EXPECT_EQ(wr::differences(dst, 23, 19, plain_rank(src, 23, 19, 9, 9, rank)), 0) << rank;
    }
  }
}

TEST(Rank, EveryFailureIsReportedUnderItsName) {
  kt::TestImage b = kt::image(BYTE, 12, 12), b2 = kt::image(BYTE, 12, 12),
                wd = kt::image(WORD, 12, 12);
  kt::TestImage f = kt::image(FLOAT, 12, 12), f2 = kt::image(FLOAT, 12, 12);
  const std::vector<wr::Failure> cases = {
      {"null", [&] { return kel_median_rect(b, nullptr, 3, 3); }, 1, "kel_median_rect"},
      {"types", [&] { return kel_median_rect(b, wd, 3, 3); }, 13, "kel_median_rect"},
      {"size", [&] { return kel_median_rect(b, b2, 0, 3); }, 10, "kel_median_rect"},
      {"too big", [&] { return kel_median_rect(b, b2, 256, 3); }, 10, "kel_median_rect"},
      {"float 7x7", [&] { return kel_median_rect(f, f2, 7, 7); }, 10, "kel_median_rect"},
      {"area", [&] { return kel_median_rect(b, b2, 13, 3); }, 7, "kel_median_rect"},
      {"rank low", [&] { return kel_rank_rect(b, b2, 3, 3, -1); }, 10, "kel_rank_rect"},
      {"rank high", [&] { return kel_rank_rect(b, b2, 3, 3, 9); }, 10, "kel_rank_rect"},
  };
  wr::check_failures(cases);
}

}  // namespace
