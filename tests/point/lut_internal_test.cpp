// The fast row kernels of the table mapping against the plain loops, on
// every length up to a few vector widths and on unaligned starts.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "point/lut_rows.hpp"

namespace {

using namespace kel::lut;

TEST(LutRows, FastPathsEqualThePlainLoop) {
  std::mt19937 gen(3);
  std::uint8_t table[256];
  for (auto &t : table)
    t = static_cast<std::uint8_t>(gen());
  std::vector<std::uint8_t> src(300);
  for (auto &v : src)
    v = static_cast<std::uint8_t>(gen());
  for (int start : {0, 1, 7}) {
    for (int n = 0; n <= 200; ++n) {
      std::vector<std::uint8_t> want(src), words(src), wide(src), best(src);
      map_row_ref(want.data() + start, n, table);
      map_row_words(words.data() + start, n, table);
      map_row(best.data() + start, n, table);
      ASSERT_EQ(words, want) << "words, n " << n << " start " << start;
      ASSERT_EQ(best, want) << "n " << n << " start " << start;
      if (map_row_wide(wide.data() + start, n, table)) {
        ASSERT_EQ(wide, want) << "wide, n " << n;
      }
    }
  }
}

TEST(LutRows, StepTablesAreRecognisedAndSelectExactly) {
  std::uint8_t table[256];
  Step s;
  for (int v = 0; v < 256; ++v)
    table[v] = v < 40 ? 3 : 250;
  ASSERT_TRUE(as_step(table, &s));
  EXPECT_EQ(s.step, 40);
  EXPECT_EQ(s.low, 3);
  EXPECT_EQ(s.high, 250);
  for (int v = 0; v < 256; ++v)
    table[v] = 9;
  ASSERT_TRUE(as_step(table, &s));
  EXPECT_EQ(s.step, 0);
  EXPECT_EQ(s.high, 9);
  table[255] = 10;
  ASSERT_TRUE(as_step(table, &s));
  EXPECT_EQ(s.step, 255);
  table[100] = 10;  // three runs: not a step
  EXPECT_FALSE(as_step(table, &s));
  for (int v = 0; v < 256; ++v)
    table[v] = static_cast<std::uint8_t>(v);
  EXPECT_FALSE(as_step(table, &s));

  std::vector<std::uint8_t> src(160);
  for (int v = 0; v < 100; ++v)
    src[v] = static_cast<std::uint8_t>(v * 37 + 5);
  for (Step st : {Step{0, 1, 2}, Step{1, 0, 255}, Step{128, 255, 0}, Step{255, 7, 8}})
    for (int n = 0; n <= 150; ++n) {
      std::vector<std::uint8_t> want(src), got(src), narrow(src), wide(src);
      step_row_ref(want.data() + 1, n, st);
      step_row(got.data() + 1, n, st);
      step_row_sse2(narrow.data() + 1, n, st);
      ASSERT_EQ(got, want) << "step " << st.step << " n " << n;
      ASSERT_EQ(narrow, want) << "sse2, step " << st.step << " n " << n;
      if (step_row_wide(wide.data() + 1, n, st)) {
        ASSERT_EQ(wide, want) << "wide, n " << n;
      }
    }
}

}  // namespace
