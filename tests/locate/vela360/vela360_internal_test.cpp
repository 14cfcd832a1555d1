// The 360 search's work classes: vote grid peaks with ties, the angle lists
// and their bound, angle clusters across 0 and 2 pi.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "locate/vela360/accumulator.hpp"
#include "locate/vela360/angle_cluster.hpp"

namespace {

using kel::locate::CAccumulator;
using kel::locate::CAngleAccumulator;
using kel::locate::CAngleClusterFinder;

constexpr double kTwoPi = 6.283185307179586;

TEST(Vela360Accumulator, VotesSquaresAndClears) {
  CAccumulator acc(6, 5);
  EXPECT_EQ(acc.nRadius, 1);
  acc.voteKernel(2, 2);
  acc.vote(3, 2, 4);
  EXPECT_EQ(acc.at(2, 2), 3 + 4);
  EXPECT_EQ(acc.at(1, 1), 1);
  EXPECT_EQ(acc.at(4, 3), 4);
  EXPECT_EQ(acc.at(0, 0), 0);
  CAccumulator::Peak m = acc.findMax();
  EXPECT_EQ(m.value, 7);
  EXPECT_EQ(m.x, 2);
  EXPECT_EQ(m.y, 2);
  acc.clearSquare(5, 4, 1);  // clipped to the grid
  EXPECT_EQ(acc.at(4, 3), 0);
  EXPECT_EQ(acc.at(3, 3), 5);
  acc.vote(1, 1, 65535);  // counters wrap
  EXPECT_EQ(acc.at(1, 1), 0);
  acc.clear();
  EXPECT_EQ(acc.findMax().value, 0);
}

// Ties at the threshold are cut at the requested number in row-major order.
TEST(Vela360Accumulator, PeaksWithTies) {
  CAccumulator acc(5, 4);
  acc.cells[acc.nWidth * 3 + 4] = 9;  // (4, 3)
  acc.cells[acc.nWidth * 0 + 3] = 5;  // (3, 0)
  acc.cells[acc.nWidth * 1 + 0] = 5;  // (0, 1)
  acc.cells[acc.nWidth * 2 + 2] = 5;  // (2, 2)
  acc.cells[acc.nWidth * 2 + 3] = 2;
  std::vector<CAccumulator::Peak> p = acc.findPeaks(3);
  ASSERT_EQ(p.size(), 3u);
  EXPECT_EQ(p[0].value, 9);
  EXPECT_EQ(p[1].x, 3);
  EXPECT_EQ(p[1].y, 0);
  EXPECT_EQ(p[2].x, 0);
  EXPECT_EQ(p[2].y, 1);
  // More asked than non-zero cells: threshold 1, every voted cell.
  p = acc.findPeaks(10);
  ASSERT_EQ(p.size(), 5u);
  EXPECT_EQ(p[4].value, 2);
  EXPECT_TRUE(CAccumulator(3, 3).findPeaks(4).empty());
  EXPECT_TRUE(acc.findPeaks(0).empty());
}

TEST(Vela360AngleLists, StoresBlocksAndBoundsTheLists) {
  CAngleAccumulator lists(40, 30);
  EXPECT_EQ(lists.nNextList, 1);
  for (int i = 0; i < 130; ++i)
    ASSERT_TRUE(lists.add(3, 4, 0.001 * i - 0.05));
  EXPECT_EQ(lists.count(3, 4), 130);
  std::vector<double> got;
  lists.forEach(3, 4, [&](double a) { got.push_back(a); });
  ASSERT_EQ(got.size(), 130u);
  EXPECT_NEAR(got[0], kTwoPi - 0.05, 1e-4);  // negative angles wrap into 0..2pi
  EXPECT_NEAR(got[129], 0.079, 1e-4);
  // 999 lists, then further cells are dropped while known cells still grow.
  int taken = 1;
  for (int y = 0; y < 30 && taken < 999; ++y)
    for (int x = 0; x < 40 && taken < 999; ++x)
      if (!(x == 3 && y == 4)) taken += lists.add(x, y, 1.0) ? 1 : 0;
  EXPECT_EQ(lists.nNextList, 1000);
  EXPECT_FALSE(lists.add(39, 29, 1.0));
  EXPECT_FALSE(lists.claim(39, 29));
  EXPECT_TRUE(lists.add(3, 4, 2.0));
  EXPECT_FALSE(lists.add(40, 0, 1.0));
  lists.clear();
  EXPECT_EQ(lists.nNextList, 1);
  EXPECT_EQ(lists.count(3, 4), 0);
  EXPECT_TRUE(lists.add(39, 29, 1.5));
  lists.forEach(39, 29, [](double a) { EXPECT_NEAR(a, 1.5, 1e-4); });
}

TEST(Vela360Clusters, WrapAcrossZeroAndKeepCreationOrderOnTies) {
  const double tol = 0.026179938779914945;
  CAngleClusterFinder f(tol);
  f.add(0.005);
  f.add(kTwoPi - 0.005);  // joins the first cluster across 2 pi
  f.add(-0.01);           // normalised to 2 pi - 0.01
  ASSERT_EQ(f.nCount, 1);
  EXPECT_EQ(f.clusters[0]->nCount, 3);
  EXPECT_NEAR(f.clusters[0]->dMean, (0.005 - 0.005 - 0.01) / 3, 1e-12);
  f.add(3.0);
  f.add(3.01);
  f.add(3.0 + kTwoPi);
  f.add(1.0);
  f.add(1.0);
  f.add(1.0);
  ASSERT_EQ(f.nCount, 3);
  EXPECT_EQ(f.nCapacity, 20);
  // Counts 3, 3, 3: the earliest wins and sorting keeps the order.
  EXPECT_EQ(f.best(), f.clusters[0].get());
  f.add(1.0);
  EXPECT_EQ(f.best(), f.clusters[2].get());
  f.sortByCount();
  EXPECT_NEAR(f.clusters[0]->dMean, 1.0, 1e-12);
  EXPECT_NEAR(f.clusters[1]->dMean, (0.005 - 0.005 - 0.01) / 3, 1e-12);
  EXPECT_NEAR(f.clusters[2]->dMean, 3.005 + (3.0 - 3.005) / 3, 1e-9);
  for (int i = 0; i < 30; ++i)
    f.add(0.1 * i + 4.0);
  EXPECT_EQ(f.nCapacity, 20 * ((f.nCount + 19) / 20));
  f.clear();
  EXPECT_EQ(f.best(), nullptr);
}

}  // namespace
