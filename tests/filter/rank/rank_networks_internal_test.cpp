// The comparator networks of the rank filters: the fixed median tables equal
// the derived networks, and the derived networks select the right rank of
// every 0-1 window with sorted columns and of random windows, which proves
// them by the 0-1 principle for the first and cross-checks them for the
// second.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "filter/plane/median_networks.hpp"
#include "filter/rank/rank_paths.hpp"

namespace {

using Net = std::vector<std::pair<int, int>>;

void apply(const Net &net, std::vector<int> &v) {
  for (auto [p, q] : net)
    if (v[q] < v[p]) std::swap(v[p], v[q]);
}

TEST(RankNetworks, FixedMedianTablesAreTheDerivedNetworks) {
  EXPECT_EQ(Net(kel::nb::kMedian3x3.begin(), kel::nb::kMedian3x3.end()),
            kel::nb::selection_network(3, 3, 4));
  EXPECT_EQ(Net(kel::nb::kMedian5x5.begin(), kel::nb::kMedian5x5.end()),
            kel::nb::selection_network(5, 5, 12));
}

TEST(RankNetworks, ColumnSortThenSelectionGivesTheRank) {
  std::mt19937 gen(5);
  struct Case {
    int kx, ky, rank;
  };
  for (Case c : {Case{3, 3, 4}, Case{5, 5, 12}, Case{3, 5, 0}, Case{4, 3, 7}, Case{7, 7, 24},
                 Case{2, 6, 11}}) {
    const int n = c.kx * c.ky;
    const Net columns = kel::nb::sorting_network(c.ky),
              select = kel::nb::selection_network(c.kx, c.ky, c.rank);
    for (int trial = 0; trial < 2000; ++trial) {
      std::vector<int> v(n);
      for (int &x : v)
        x = static_cast<int>(gen() % 6);  // many ties
      std::vector<int> sorted = v;
      std::nth_element(sorted.begin(), sorted.begin() + c.rank, sorted.end());
      // Sort each column (wires j * kx + i), then select.
      for (int i = 0; i < c.kx; ++i) {
        std::vector<int> col(c.ky);
        for (int j = 0; j < c.ky; ++j)
          col[j] = v[j * c.kx + i];
        apply(columns, col);
        for (int j = 0; j < c.ky; ++j)
          v[j * c.kx + i] = col[j];
      }
      apply(select, v);
      ASSERT_EQ(v[c.rank], sorted[c.rank]) << c.kx << "x" << c.ky << " rank " << c.rank;
    }
  }
}

}  // namespace
