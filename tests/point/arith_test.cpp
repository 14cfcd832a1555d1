// Arithmetic operators: exact values with saturation at both ends, every type
// pair of the mixed operators against an independent reference, views with
// skip, unequal sizes (only the common area changes), in-place use, the
// processor-switch branch of kel_add and every failure report.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <random>

#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

class Arith : public ::testing::Test {
 protected:
  void SetUp() override {
    kel_set_use_mmx(0);
    kt::clear_report();
  }
  void TearDown() override { kel_set_use_mmx(0); }
};

// Stores a value into a pixel of `type` as the library documents it: FLOAT
// takes the single-precision value; BYTE and WORD truncate toward zero,
// clamp, and store 0 for NaN.
double store(double v, unsigned type) {
  if (type == FLOAT) return static_cast<float>(v);
  double hi = type == BYTE ? 255 : 65535;
  if (std::isnan(v) || v <= 0) return 0;
  return v >= hi ? hi : std::trunc(v);
}

// Runs op(a, b) on a random source and a random destination view of another
// size, and checks every destination pixel: the reference inside the common
// area, the old value outside it, and the master's margin.
void check_pair(unsigned ta, unsigned tb, const std::function<int(const Image *, Image *)> &op,
                const std::function<double(double, double)> &ref, std::uint32_t seed) {
  SCOPED_TRACE(testing::Message() << "types " << ta << "," << tb << " seed " << seed);
  kt::TestImage a = kt::random_image(ta, 13, 4, seed, seed % 2);
  kt::TestImage b = kt::random_image(tb, 11, 6, seed + 100, true);
  if (seed % 3 == 0) {  // zero divisors and equal pixels
    kt::set(b, 0, 0, 0);
    kt::set(b, 1, 0, kt::get(a, 1, 0));
    kt::set(a, 2, 0, 0);
    kt::set(b, 2, 0, 0);
  }
  std::vector<double> before = kt::pixels(b);
  ASSERT_EQ(op(a, b), 0);
  for (int y = 0; y < 6; ++y)
    for (int x = 0; x < 11; ++x) {
      double old = before[y * 11 + x];
      double want = y < 4 ? store(ref(kt::get(a, x, y), old), tb) : old;
      double got = kt::get(b, x, y);
      if (std::isnan(want))
        EXPECT_TRUE(std::isnan(got)) << x << "," << y;
      else
        EXPECT_EQ(got, want) << x << "," << y << " a " << kt::get(a, x, y) << " b " << old;
    }
  EXPECT_TRUE(kt::margin_intact(b));
}

// The operation in single precision when either type is FLOAT, exactly
// otherwise (integer results of BYTE and WORD pixels are exact in double).
std::function<double(double, double)> in_types(unsigned ta, unsigned tb,
                                               std::function<double(double, double)> exact,
                                               std::function<float(float, float)> single) {
  if (ta == FLOAT || tb == FLOAT)
    return [single](double a, double b) { return single(float(a), float(b)); };
  return exact;
}

TEST_F(Arith, MixedOperatorsOnEveryTypePair) {
  const unsigned types[] = {BYTE, WORD, FLOAT};
  std::uint32_t seed = 1;
  for (unsigned ta : types)
    for (unsigned tb : types)
      for (int rep = 0; rep < 3; ++rep, ++seed) {
        check_pair(ta, tb, kel_subtract,
                   in_types(
                       ta, tb, [](double a, double b) { return a - b; },
                       [](float a, float b) { return a - b; }),
                   seed);
        check_pair(ta, tb, kel_subtract_absolute,
                   in_types(
                       ta, tb, [](double a, double b) { return std::fabs(a - b); },
                       [](float a, float b) { return std::fabs(a - b); }),
                   seed);
        check_pair(ta, tb, kel_multiply,
                   in_types(
                       ta, tb, [](double a, double b) { return a * b; },
                       [](float a, float b) { return a * b; }),
                   seed);
        // 0/0 is NaN and x/0 infinite: stored as 0 and the maximum.
        check_pair(ta, tb, kel_divide,
                   in_types(
                       ta, tb, [](double a, double b) { return a / b; },
                       [](float a, float b) { return a / b; }),
                   seed);
        for (float w : {1.0f, 0.3f, -2.0f})
          check_pair(
              ta, tb, [w](const Image *a, Image *b) { return kel_add2(a, b, w); },
              [w](double a, double b) { return float(a) * w + float(b); }, seed);
      }
  EXPECT_NO_REPORT();
}

TEST_F(Arith, MixedOperatorsExactValues) {
  // Saturation at both ends and truncation toward zero.
  kt::TestImage a = kt::image(BYTE, 4, 1, {200, 10, 7, 0});
  kt::TestImage b = kt::image(BYTE, 4, 1, {100, 20, 2, 0});
  ASSERT_EQ(kel_multiply(a, b), 0);
  EXPECT_EQ(kt::pixels(b), (std::vector<double>{255, 200, 14, 0}));
  kt::TestImage c = kt::image(BYTE, 4, 1, {3, 20, 2, 0});
  ASSERT_EQ(kel_divide(a, c), 0);
  EXPECT_EQ(kt::pixels(c), (std::vector<double>{66, 0, 3, 0}));
  kt::TestImage d = kt::image(BYTE, 4, 1, {100, 20, 2, 9});
  ASSERT_EQ(kel_subtract(a, d), 0);
  EXPECT_EQ(kt::pixels(d), (std::vector<double>{100, 0, 5, 0}));

  // Zero divisors: maximum for a positive dividend, 0 for 0; FLOAT keeps IEEE.
  kt::TestImage wa = kt::image(WORD, 2, 1, {7, 0});
  kt::TestImage wb = kt::image(WORD, 2, 1, {0, 0});
  ASSERT_EQ(kel_divide(wa, wb), 0);
  EXPECT_EQ(kt::pixels(wb), (std::vector<double>{65535, 0}));
  kt::TestImage fa = kt::image(FLOAT, 3, 1, {1, -1, 0});
  kt::TestImage fb = kt::image(FLOAT, 3, 1, {0, 0, 0});
  ASSERT_EQ(kel_divide(fa, fb), 0);
  EXPECT_EQ(kt::get(fb, 0, 0), kInf);
  EXPECT_EQ(kt::get(fb, 1, 0), -kInf);
  EXPECT_TRUE(std::isnan(kt::get(fb, 2, 0)));
  kt::TestImage bb = kt::image(BYTE, 3, 1, {0, 0, 0});
  ASSERT_EQ(kel_divide(fa, bb), 0);  // +inf, -inf, NaN into BYTE
  EXPECT_EQ(kt::pixels(bb), (std::vector<double>{255, 0, 0}));

  // Single precision: 0.1f * 3 + 0.2f is not 0.5 exactly.
  kt::TestImage f1 = kt::image(FLOAT, 1, 1, {0.1});
  kt::TestImage f2 = kt::image(FLOAT, 1, 1, {0.2});
  ASSERT_EQ(kel_add2(f1, f2, 3.0f), 0);
  EXPECT_EQ(kt::get(f2, 0, 0), double(0.1f * 3.0f + 0.2f));
  // FLOAT source into WORD destination: truncated, clamped.
  kt::TestImage fs = kt::image(FLOAT, 3, 1, {2.9, -5.5, 1e9});
  kt::TestImage wd = kt::image(WORD, 3, 1, {10, 10, 10});
  ASSERT_EQ(kel_subtract(fs, wd), 0);
  EXPECT_EQ(kt::pixels(wd), (std::vector<double>{0, 0, 65535}));

  // In place: a is b.
  kt::TestImage w = kt::view(WORD, 3, 1, {300, 1000, 2});
  ASSERT_EQ(kel_multiply(w, w), 0);
  EXPECT_EQ(kt::pixels(w), (std::vector<double>{65535, 65535, 4}));
  ASSERT_EQ(kel_subtract_absolute(w, w), 0);
  EXPECT_EQ(kt::pixels(w), (std::vector<double>{0, 0, 0}));
  EXPECT_TRUE(kt::margin_intact(w));
}

TEST_F(Arith, BytePairOperators) {
  struct Op {
    const char *name;
    std::function<int(const Image *, Image *)> call;
    std::function<int(int, int)> ref;
  };
  const std::vector<Op> ops = {
      {"add", kel_add, [](int a, int b) { return std::min(255, a + b); }},
      {"add_byte", [](const Image *a, Image *b) { return kel_add_byte(a, b, 0); },
       [](int a, int b) { return std::min(255, a + b); }},
      {"average", [](const Image *a, Image *b) { return kel_add_byte(a, b, 7); },
       [](int a, int b) { return (a + b) / 2; }},
      {"max", kel_max2imgs, [](int a, int b) { return std::max(a, b); }},
      {"min", kel_min2imgs, [](int a, int b) { return std::min(a, b); }},
      {"sub0", [](const Image *a, Image *b) { return kel_sub(a, b, b, 0); },
       [](int a, int b) { return std::max(0, a - b); }},
      {"sub2", [](const Image *a, Image *b) { return kel_sub(a, b, b, 2); },
       [](int a, int b) { return std::max(0, a - b); }},
      {"sub1", [](const Image *a, Image *b) { return kel_sub(a, b, b, 1); },
       [](int a, int b) { return std::abs(a - b); }},
  };
  for (const Op &op : ops) {
    // Extremes first: saturation at both ends.
    kt::TestImage a = kt::image(BYTE, 5, 1, {255, 0, 200, 3, 128});
    kt::TestImage b = kt::image(BYTE, 5, 1, {255, 0, 100, 4, 127});
    std::vector<double> want;
    for (int x = 0; x < 5; ++x)
      want.push_back(op.ref(int(kt::get(a, x, 0)), int(kt::get(b, x, 0))));
    ASSERT_EQ(op.call(a, b), 0) << op.name;
    EXPECT_EQ(kt::pixels(b), want) << op.name;
    // Odd widths (vector body and tail), views, unequal sizes; the widths
    // stay at or below 24 so the processor switch would not matter.
    for (std::uint32_t seed = 0; seed < 6; ++seed)
      check_pair(
          BYTE, BYTE, op.call, [&](double x, double y) { return op.ref(int(x), int(y)); }, seed);
    // In place.
    kt::TestImage c = kt::view(BYTE, 3, 2, {10, 200, 0, 128, 1, 255});
    std::vector<double> in = kt::pixels(c), out;
    for (double v : in)
      out.push_back(op.ref(int(v), int(v)));
    ASSERT_EQ(op.call(c, c), 0) << op.name;
    EXPECT_EQ(kt::pixels(c), out) << op.name;
  }
  // Wide rows take the vector path: compare with a pixel-wise reference.
  kt::TestImage a = kt::random_image(BYTE, 301, 3, 1, true);
  kt::TestImage b = kt::random_image(BYTE, 299, 4, 2, true);
  for (const Op &op : ops) {
    kt::TestImage d = kt::random_image(BYTE, 299, 4, 2, true);
    ASSERT_EQ(op.call(a, d), 0);
    for (int y = 0; y < 4; ++y)
      for (int x = 0; x < 299; ++x)
        ASSERT_EQ(kt::get(d, x, y),
                  y < 3 ? op.ref(int(kt::get(a, x, y)), int(kt::get(b, x, y))) : kt::get(b, x, y))
            << op.name << " " << x << "," << y;
  }
  // Packed images of one size are processed as one run over all rows.
  kt::TestImage pa = kt::random_image(BYTE, 37, 5, 3), pb = kt::random_image(BYTE, 37, 5, 4);
  for (const Op &op : ops) {
    kt::TestImage d = kt::random_image(BYTE, 37, 5, 4);
    ASSERT_EQ(op.call(pa, d), 0);
    for (int y = 0; y < 5; ++y)
      for (int x = 0; x < 37; ++x)
        ASSERT_EQ(kt::get(d, x, y), op.ref(int(kt::get(pa, x, y)), int(kt::get(pb, x, y))))
            << op.name << " " << x << "," << y;
  }
  EXPECT_NO_REPORT();
}

TEST_F(Arith, SubWithThreeImages) {
  kt::TestImage a = kt::image(BYTE, 4, 2, {9, 0, 255, 5, 1, 2, 3, 4});
  kt::TestImage b = kt::view(BYTE, 5, 3, {3, 7, 0, 5, 99, 4, 3, 2, 1, 99});
  kt::TestImage c = kt::view(BYTE, 3, 3);
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 3; ++x)
      kt::set(c, x, y, 50);
  ASSERT_EQ(kel_sub(a, b, c, 1), 0);  // common area 3 x 2
  EXPECT_EQ(kt::pixels(c), (std::vector<double>{6, 7, 255, 3, 1, 1, 50, 50, 50}));
  ASSERT_EQ(kel_sub(a, b, c, 0), 0);
  EXPECT_EQ(kt::pixels(c), (std::vector<double>{6, 0, 255, 0, 0, 1, 50, 50, 50}));
  EXPECT_EQ(kt::get(b, 3, 0), 5);  // sources untouched
  // c aliasing a.
  ASSERT_EQ(kel_sub(a, b, a, 0), 0);
  EXPECT_EQ(kt::pixels(a), (std::vector<double>{6, 0, 255, 0, 0, 0, 1, 3}));
  // a is b: the whole of c is cleared, beyond the common area too.
  kt::TestImage small = kt::image(BYTE, 1, 1, {9});
  ASSERT_EQ(kel_sub(small, small, c, 0), 0);
  EXPECT_EQ(kt::pixels(c), std::vector<double>(9, 0));
  EXPECT_TRUE(kt::margin_intact(c));
  EXPECT_NO_REPORT();
}

TEST_F(Arith, AddSwitchBranchAtWidth24) {
  if (!kel_cpu_has_mmx()) GTEST_SKIP() << "processor without MMX";
  kt::TestImage a24 = kt::image(BYTE, 24, 2), b24 = kt::image(BYTE, 30, 1);
  kt::TestImage a25 = kt::image(BYTE, 25, 1), b25 = kt::image(BYTE, 30, 2);
  for (auto *img : {a24.get(), b24.get(), a25.get(), b25.get()})
    for (int x = 0; x < img->dx; ++x)
      kt::set(img, x, 0, 100);
  kel_set_use_mmx(1);
  ASSERT_EQ(kel_add(a24, b24), 0);  // common width 24: computes
  EXPECT_EQ(kt::get(b24, 23, 0), 200);
  EXPECT_EQ(kt::get(b24, 24, 0), 100);
  ASSERT_EQ(kel_add(a25, b25), 0);  // common width 25: the branch, nothing done
  EXPECT_EQ(kt::get(b25, 0, 0), 100);
  kel_add_byte(a25, b25, 0);  // kel_add_byte has no branch
  EXPECT_EQ(kt::get(b25, 0, 0), 200);
  kel_set_use_mmx(0);
  ASSERT_EQ(kel_add(a25, b25), 0);
  EXPECT_EQ(kt::get(b25, 0, 0), 255);
}

TEST_F(Arith, ConstantOperators) {
  const std::vector<double> bytes = {0, 1, 7, 100, 254, 255};
  auto byte_img = [&] { return kt::view(BYTE, 3, 2, bytes); };
  auto run = [](kt::TestImage img, const std::function<int(Image *)> &op) {
    EXPECT_EQ(op(img), 0);
    EXPECT_TRUE(kt::margin_intact(img));
    return kt::pixels(img);
  };
  using V = std::vector<double>;
  // The constant of an integer addition is truncated first.
  EXPECT_EQ(run(byte_img(), [](Image *i) { return kel_add_const(i, 0.7f); }), bytes);
  EXPECT_EQ(run(byte_img(), [](Image *i) { return kel_add_const(i, -0.5f); }), bytes);
  EXPECT_EQ(run(byte_img(), [](Image *i) { return kel_add_const(i, 1.9f); }),
            (V{1, 2, 8, 101, 255, 255}));
  EXPECT_EQ(run(byte_img(), [](Image *i) { return kel_add_const(i, -7.9f); }),
            (V{0, 0, 0, 93, 247, 248}));
  EXPECT_EQ(run(byte_img(), [](Image *i) { return kel_add_const(i, 1e9f); }), V(6, 255));
  EXPECT_EQ(run(byte_img(), [](Image *i) { return kel_subtract_const(i, 100.99f); }),
            (V{0, 0, 0, 0, 154, 155}));
  EXPECT_EQ(run(byte_img(), [](Image *i) { return kel_subtract_const(i, -300); }), V(6, 255));
  // Products in single precision, then truncated: 10 * 0.7f rounds to 7.
  EXPECT_EQ(run(byte_img(), [](Image *i) { return kel_multiply_const(i, 0.5f); }),
            (V{0, 0, 3, 50, 127, 127}));
  EXPECT_EQ(run(byte_img(), [](Image *i) { return kel_multiply_const(i, -1.0f); }), V(6, 0));
  EXPECT_EQ(run(byte_img(), [](Image *i) { return kel_multiply_const(i, 2.0f); }),
            (V{0, 2, 14, 200, 255, 255}));
  EXPECT_EQ(run(kt::image(BYTE, 1, 1, {10}), [](Image *i) { return kel_multiply_const(i, 0.7f); }),
            V{7});
  EXPECT_EQ(run(byte_img(), [](Image *i) { return kel_divide_const(i, 2.0f); }),
            (V{0, 0, 3, 50, 127, 127}));
  EXPECT_EQ(run(byte_img(), [](Image *i) { return kel_muladd_const(i, 2.0f, -1.5f); }),
            (V{0, 0, 12, 198, 255, 255}));
  EXPECT_EQ(run(byte_img(), [](Image *i) { return kel_addmul_const(i, -1.0f, 3.0f); }),
            (V{0, 0, 18, 255, 255, 255}));

  const V words = {0, 5, 1000, 65530};
  auto word_img = [&] { return kt::view(WORD, 2, 2, words); };
  EXPECT_EQ(run(word_img(), [](Image *i) { return kel_add_const(i, 10.99f); }),
            (V{10, 15, 1010, 65535}));
  EXPECT_EQ(run(word_img(), [](Image *i) { return kel_add_const(i, -0.99f); }), words);
  EXPECT_EQ(run(word_img(), [](Image *i) { return kel_subtract_const(i, 6.0f); }),
            (V{0, 0, 994, 65524}));
  EXPECT_EQ(run(word_img(), [](Image *i) { return kel_multiply_const(i, 1.5f); }),
            (V{0, 7, 1500, 65535}));
  EXPECT_EQ(run(word_img(), [](Image *i) { return kel_divide_const(i, -1.0f); }), V(4, 0));
  EXPECT_EQ(run(word_img(), [](Image *i) { return kel_muladd_const(i, 0.5f, 0.5f); }),
            (V{0, 3, 500, 32765}));
  EXPECT_EQ(run(word_img(), [](Image *i) { return kel_addmul_const(i, 1.0f, 0.25f); }),
            (V{0, 1, 250, 16382}));

  const V floats = {-1.5, 0, 0.1, 3};
  auto float_img = [&] { return kt::view(FLOAT, 4, 1, floats); };
  auto f = [](float v) { return double(v); };
  EXPECT_EQ(run(float_img(), [](Image *i) { return kel_add_const(i, 0.7f); }),
            (V{f(-1.5f + 0.7f), f(0.0f + 0.7f), f(0.1f + 0.7f), f(3.0f + 0.7f)}));
  EXPECT_EQ(run(float_img(), [](Image *i) { return kel_subtract_const(i, 0.5f); }),
            (V{-2, -0.5, f(0.1f - 0.5f), 2.5}));
  EXPECT_EQ(run(float_img(), [](Image *i) { return kel_multiply_const(i, -3.0f); }),
            (V{4.5, f(-0.0f), f(0.1f * -3.0f), -9}));
  EXPECT_EQ(run(float_img(), [](Image *i) { return kel_divide_const(i, 3.0f); }),
            (V{-0.5, 0, f(0.1f / 3.0f), 1}));
  EXPECT_EQ(run(float_img(), [](Image *i) { return kel_muladd_const(i, 2.0f, 0.1f); }),
            (V{f(-1.5f * 2.0f + 0.1f), f(0.0f * 2.0f + 0.1f), f(0.1f * 2.0f + 0.1f),
               f(3.0f * 2.0f + 0.1f)}));
  EXPECT_EQ(run(float_img(), [](Image *i) { return kel_addmul_const(i, 0.1f, 2.0f); }),
            (V{f((-1.5f + 0.1f) * 2.0f), f((0.0f + 0.1f) * 2.0f), f((0.1f + 0.1f) * 2.0f),
               f((3.0f + 0.1f) * 2.0f)}));

  // Fills.
  EXPECT_EQ(run(byte_img(), [](Image *i) { return kel_constant(i, 42); }), V(6, 42));
  EXPECT_EQ(run(word_img(), [](Image *i) { return kel_constant2(i, 70000.0f); }), V(4, 65535));
  EXPECT_EQ(run(word_img(), [](Image *i) { return kel_constant2(i, 2.9f); }), V(4, 2));
  EXPECT_EQ(run(byte_img(), [](Image *i) { return kel_constant2(i, -3.0f); }), V(6, 0));
  EXPECT_EQ(run(byte_img(), [](Image *i) { return kel_constant2(i, NAN); }), V(6, 0));
  EXPECT_EQ(run(float_img(), [](Image *i) { return kel_constant2(i, -2.25f); }), V(4, -2.25));
  EXPECT_NO_REPORT();
}

TEST_F(Arith, ByteConstantsMatchPixelwiseReference) {
  // Every level, odd widths and a view: the table and vector paths agree
  // with a per-pixel computation.
  kt::TestImage img = kt::view(BYTE, 37, 7);
  auto reset = [&] {
    for (int i = 0; i < 37 * 7; ++i)
      kt::set(img, i % 37, i / 37, i % 256);
  };
  for (float c : {-300.0f, -255.0f, -17.5f, 0.0f, 3.99f, 254.0f, 400.0f}) {
    reset();
    ASSERT_EQ(kel_add_const(img, c), 0);
    for (int i = 0; i < 37 * 7; ++i)
      ASSERT_EQ(kt::get(img, i % 37, i / 37), store(i % 256 + std::trunc(c), BYTE)) << c;
    reset();
    ASSERT_EQ(kel_muladd_const(img, c / 100, 1.25f), 0);
    for (int i = 0; i < 37 * 7; ++i)
      ASSERT_EQ(kt::get(img, i % 37, i / 37), store(float(i % 256) * (c / 100) + 1.25f, BYTE));
  }
  EXPECT_TRUE(kt::margin_intact(img));
}

TEST_F(Arith, FloatTransforms) {
  using V = std::vector<double>;
  auto img = [] { return kt::view(FLOAT, 2, 2, {-2, 0, 0.5, 9}); };
  auto run = [](kt::TestImage i, int (*op)(Image *)) {
    EXPECT_EQ(op(i), 0);
    EXPECT_TRUE(kt::margin_intact(i));
    return kt::pixels(i);
  };
  auto f = [](double v) { return double(float(v)); };
  EXPECT_EQ(run(img(), kel_negate), (V{2, -0.0, -0.5, -9}));
  EXPECT_EQ(run(img(), kel_absolute), (V{2, 0, 0.5, 9}));
  EXPECT_EQ(run(img(), kel_square), (V{4, 0, 0.25, 81}));
  EXPECT_EQ(run(img(), kel_exp), (V{f(std::exp(-2.0)), 1, f(std::exp(0.5)), f(std::exp(9.0))}));
  V ln = run(img(), kel_ln);
  EXPECT_TRUE(std::isnan(ln[0]));
  EXPECT_EQ(ln[1], -kInf);
  EXPECT_EQ(ln[2], f(std::log(0.5)));
  EXPECT_EQ(ln[3], f(std::log(9.0)));
  V ln1 = run(img(), kel_ln_add1);
  EXPECT_TRUE(std::isnan(ln1[0]));
  EXPECT_EQ(ln1[1], 0);
  EXPECT_EQ(ln1[3], f(std::log(10.0)));
  V lg = run(img(), kel_log10);
  EXPECT_EQ(lg[1], -kInf);
  EXPECT_EQ(lg[2], f(std::log10(0.5)));
  V lg1 = run(img(), kel_log10_add1);
  EXPECT_EQ(lg1[3], 1);
  EXPECT_EQ(lg1[2], f(std::log10(1.5)));
  V sq = run(img(), kel_sqrt);
  EXPECT_TRUE(std::isnan(sq[0]));
  EXPECT_EQ(sq[3], 3);
  EXPECT_EQ(sq[2], f(std::sqrt(0.5)));
  // Unsigned pixels are their own absolute value.
  kt::TestImage w = kt::image(WORD, 2, 1, {65535, 3});
  EXPECT_EQ(kel_absolute(w), 0);
  EXPECT_EQ(kt::pixels(w), (V{65535, 3}));
  EXPECT_NO_REPORT();
}

TEST_F(Arith, Stretches) {
  using V = std::vector<double>;
  kt::TestImage b = kt::view(BYTE, 3, 2, {10, 20, 30, 10, 17, 30});
  ASSERT_EQ(kel_scale(b, 255, 0), 0);  // swapped to 0..255
  EXPECT_EQ(kt::pixels(b), (V{0, 127, 255, 0, 89, 255}));
  EXPECT_TRUE(kt::margin_intact(b));
  // Minimum to low and maximum to high exactly, whatever the factor.
  kt::TestImage c = kt::image(BYTE, 3, 1, {0, 100, 254});
  ASSERT_EQ(kel_scale(c, 1, 255), 0);
  EXPECT_EQ(kt::pixels(c), (V{1, 101, 255}));
  kt::TestImage flat = kt::image(BYTE, 2, 1, {9, 9});
  ASSERT_EQ(kel_scale(flat, 0, 255), 0);
  EXPECT_EQ(kt::pixels(flat), (V{9, 9}));

  kt::TestImage f = kt::view(FLOAT, 3, 1, {1, 2, 3});
  ASSERT_EQ(kel_scale2(f, 0.0f, 1.0f), 0);
  EXPECT_EQ(kt::pixels(f), (V{0, 0.5, 1}));
  ASSERT_EQ(kel_scale2(f, 10.0f, -10.0f), 0);  // inverted
  EXPECT_EQ(kt::pixels(f), (V{10, 0, -10}));
  kt::TestImage w = kt::image(WORD, 3, 1, {100, 200, 300});
  ASSERT_EQ(kel_scale2(w, 0.0f, 65535.0f), 0);
  EXPECT_EQ(kt::pixels(w), (V{0, 32767, 65535}));
  kt::TestImage bb = kt::image(BYTE, 2, 2, {50, 60, 70, 60});
  ASSERT_EQ(kel_scale2(bb, 100.0f, 0.0f), 0);
  EXPECT_EQ(kt::pixels(bb), (V{100, 50, 0, 50}));
  kt::TestImage wf = kt::image(WORD, 2, 1, {7, 7});
  ASSERT_EQ(kel_scale2(wf, 3.9f, 5.0f), 0);  // flat: set to low
  EXPECT_EQ(kt::pixels(wf), (V{3, 3}));
  EXPECT_NO_REPORT();
}

TEST_F(Arith, EmptyAreas) {
  kt::TestImage e = kt::image(BYTE, 0, 3), b = kt::image(BYTE, 2, 2, {1, 2});
  kt::TestImage f = kt::image(FLOAT, 3, 0);
  // kel_subtract, kel_multiply and kel_divide do nothing and report nothing.
  EXPECT_EQ(kel_subtract(e, b), 0);
  EXPECT_EQ(kel_multiply(f, b), 0);
  EXPECT_EQ(kel_divide(b, f), 0);
  EXPECT_EQ(kt::pixels(b), (std::vector<double>{1, 2, 0, 0}));
  EXPECT_NO_REPORT();
  // 1 by 1 is a valid area.
  kt::TestImage one = kt::image(BYTE, 1, 1, {250}), two = kt::image(BYTE, 1, 1, {9});
  EXPECT_EQ(kel_add(one, two), 0);
  EXPECT_EQ(kt::get(two, 0, 0), 255);
}

TEST_F(Arith, FailureReports) {
  kt::TestImage b = kt::image(BYTE, 4, 4), w = kt::image(WORD, 4, 4), f = kt::image(FLOAT, 4, 4);
  kt::TestImage empty = kt::image(BYTE, 0, 4), fempty = kt::image(FLOAT, 4, 0);
  kt::TestImage b2 = kt::image(BYTE, 4, 4);
  Image odd = *b2.get();
  odd.type = 3;
  for (int i = 0; i < 16; ++i)
    kt::set(b2, i % 4, i / 4, 7);
  struct Case {
    const char *fn;
    int code;
    std::function<int()> call;
  };
  const std::vector<Case> cases = {
      {"kel_add", 1, [&] { return kel_add(nullptr, b2); }},
      {"kel_add", 17, [&] { return kel_add(empty, w); }},  // sizes before types
      {"kel_add", 13, [&] { return kel_add(w, b2); }},
      {"kel_add_byte", 1, [&] { return kel_add_byte(b, nullptr, 1); }},
      {"kel_add_byte", 13, [&] { return kel_add_byte(b, w, 1); }},
      {"kel_add_byte", 17, [&] { return kel_add_byte(empty, b2, 1); }},
      {"kel_sub", 1, [&] { return kel_sub(b, b2, nullptr, 0); }},
      {"kel_sub", 13, [&] { return kel_sub(b, b, w, 0); }},
      {"kel_sub", 17, [&] { return kel_sub(empty, b, b2, 0); }},
      {"kel_max2imgs", 13, [&] { return kel_max2imgs(f, b2); }},
      {"kel_max2imgs", 17, [&] { return kel_max2imgs(b, empty); }},
      {"kel_min2imgs", 1, [&] { return kel_min2imgs(nullptr, nullptr); }},
      {"kel_min2imgs", 13, [&] { return kel_min2imgs(b, w); }},
      {"kel_subtract", 1, [&] { return kel_subtract(b, nullptr); }},
      {"kel_subtract", 6, [&] { return kel_subtract(b, &odd); }},
      {"kel_subtract", 6, [&] { return kel_subtract(&odd, w); }},
      {"kel_multiply", 6, [&] { return kel_multiply(b, &odd); }},
      {"kel_divide", 1, [&] { return kel_divide(nullptr, w); }},
      {"kel_subtract_absolute", 1, [&] { return kel_subtract_absolute(nullptr, w); }},
      {"kel_subtract_absolute", 6, [&] { return kel_subtract_absolute(&odd, w); }},
      {"kel_subtract_absolute", 17, [&] { return kel_subtract_absolute(fempty, w); }},
      {"kel_add2", 6, [&] { return kel_add2(w, &odd, 1.0f); }},
      {"kel_add2", 17, [&] { return kel_add2(w, empty, 1.0f); }},
      {"kel_copy", 1, [&] { return kel_copy(nullptr, w); }},
      {"kel_copy", 13, [&] { return kel_copy(b, w); }},
      {"kel_add_const", 1, [&] { return kel_add_const(nullptr, 1); }},
      {"kel_add_const", 6, [&] { return kel_add_const(&odd, 1); }},
      {"kel_add_const", 17, [&] { return kel_add_const(empty, 1); }},
      {"kel_subtract_const", 6, [&] { return kel_subtract_const(&odd, 1); }},
      {"kel_multiply_const", 6, [&] { return kel_multiply_const(&odd, 1); }},
      {"kel_divide_const", 10, [&] { return kel_divide_const(b2, 0.0f); }},
      {"kel_divide_const", 10, [&] { return kel_divide_const(fempty, -0.0f); }},
      {"kel_divide_const", 6, [&] { return kel_divide_const(&odd, 0.0f); }},
      {"kel_muladd_const", 17, [&] { return kel_muladd_const(fempty, 1, 1); }},
      {"kel_addmul_const", 1, [&] { return kel_addmul_const(nullptr, 1, 1); }},
      {"kel_constant", 13, [&] { return kel_constant(w, 1); }},
      {"kel_constant", 1, [&] { return kel_constant(nullptr, 1); }},
      {"kel_constant2", 1, [&] { return kel_constant2(nullptr, 1); }},
      {"kel_constant2", 6, [&] { return kel_constant2(&odd, 1); }},
      {"kel_negate", 12, [&] { return kel_negate(b2); }},
      {"kel_negate", 1, [&] { return kel_negate(nullptr); }},
      {"kel_absolute", 6, [&] { return kel_absolute(&odd); }},
      {"kel_exp", 12, [&] { return kel_exp(w); }},
      {"kel_ln", 12, [&] { return kel_ln(b2); }},
      {"kel_ln_add1", 12, [&] { return kel_ln_add1(b2); }},
      {"kel_log10", 12, [&] { return kel_log10(b2); }},
      {"kel_log10_add1", 17, [&] { return kel_log10_add1(fempty); }},
      {"kel_square", 12, [&] { return kel_square(w); }},
      {"kel_sqrt", 1, [&] { return kel_sqrt(nullptr); }},
      {"kel_scale", 13, [&] { return kel_scale(w, 0, 255); }},
      {"kel_scale", 17, [&] { return kel_scale(empty, 0, 255); }},
      {"kel_scale2", 6, [&] { return kel_scale2(&odd, 0, 1); }},
      {"kel_scale2", 1, [&] { return kel_scale2(nullptr, 0, 1); }},
  };
  for (const Case &c : cases) {
    kt::clear_report();
    EXPECT_EQ(c.call(), c.code) << c.fn;
    EXPECT_REPORT(c.fn, c.code);
    // Nothing written by a failing call.
    for (int i = 0; i < 16; ++i)
      ASSERT_EQ(kt::get(b2, i % 4, i / 4), 7) << c.fn;
  }
  kt::clear_report();
  EXPECT_EQ(kel_negate(b2), 12);
  EXPECT_STREQ(im_last_message(), "Try kel_invert");
  EXPECT_EQ(kel_divide_const(b2, 0.0f), 10);
  EXPECT_STREQ(im_last_message(), "Divisor = 0!");
}

}  // namespace
