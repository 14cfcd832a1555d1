// Bitwise logic: two-image forms on BYTE and WORD with their second-form
// reports, constant forms, kel_not, kel_invert (including other pixel types
// treated as BYTE), and the processor-switch branches at their widths.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>

#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

class Logic : public ::testing::Test {
 protected:
  void SetUp() override {
    kel_set_use_mmx(0);
    kt::clear_report();
  }
  void TearDown() override { kel_set_use_mmx(0); }
};

struct Op {
  const char *name;
  const char *second;
  int (*call)(const Image *, Image *);
  unsigned (*ref)(unsigned, unsigned);
};

const Op kOps[] = {
    {"kel_and", "kel_and2", kel_and, [](unsigned a, unsigned b) { return a & b; }},
    {"kel_or", "kel_or2", kel_or, [](unsigned a, unsigned b) { return a | b; }},
    {"kel_xor", "kel_xor2", kel_xor, [](unsigned a, unsigned b) { return a ^ b; }},
};

TEST_F(Logic, TwoImagesOnCommonAreaOfViews) {
  for (const Op &op : kOps) {
    for (unsigned type : {BYTE, WORD}) {
      SCOPED_TRACE(testing::Message() << op.name << " type " << type);
      // Odd widths at or below 24, and a wide pair for the vector path.
      for (int width : {7, 23, 101}) {
        kt::TestImage a = kt::random_image(type, width + 2, 3, width, width % 2);
        kt::TestImage b = kt::random_image(type, width, 4, width + 1, true);
        std::vector<double> before = kt::pixels(b);
        ASSERT_EQ(op.call(a, b), 0);
        for (int y = 0; y < 4; ++y)
          for (int x = 0; x < width; ++x) {
            unsigned old = unsigned(before[y * width + x]);
            unsigned want = y < 3 ? op.ref(unsigned(kt::get(a, x, y)), old) : old;
            ASSERT_EQ(kt::get(b, x, y), want) << x << "," << y;
          }
        EXPECT_TRUE(kt::margin_intact(b));
      }
    }
    // The same Image: returns at once, nothing changes (XOR does not clear).
    kt::TestImage s = kt::image(BYTE, 2, 1, {0x5a, 0xff});
    EXPECT_EQ(op.call(s, s), 0);
    EXPECT_EQ(kt::pixels(s), (std::vector<double>{0x5a, 0xff}));
  }
  EXPECT_NO_REPORT();
}

TEST_F(Logic, ConstantsNotAndInvert) {
  using V = std::vector<double>;
  auto bytes = [] { return kt::view(BYTE, 3, 1, {0x00, 0x0f, 0xf0}); };
  auto words = [] { return kt::view(WORD, 3, 1, {0x0000, 0x0ff0, 0xffff}); };
  auto run = [](kt::TestImage img, const std::function<int(Image *)> &op) {
    EXPECT_EQ(op(img), 0);
    EXPECT_TRUE(kt::margin_intact(img));
    return kt::pixels(img);
  };
  // A BYTE image takes the low 8 bits of the constant.
  EXPECT_EQ(run(bytes(), [](Image *i) { return kel_and_const(i, 0x1f3c); }), (V{0, 0x0c, 0x30}));
  EXPECT_EQ(run(bytes(), [](Image *i) { return kel_or_const(i, 0xff01); }), (V{1, 0x0f, 0xf1}));
  EXPECT_EQ(run(bytes(), [](Image *i) { return kel_xor_const(i, 0x01ff); }), (V{0xff, 0xf0, 0x0f}));
  EXPECT_EQ(run(words(), [](Image *i) { return kel_and_const(i, 0x1f3c); }),
            (V{0, 0x0f30, 0x1f3c}));
  EXPECT_EQ(run(words(), [](Image *i) { return kel_or_const(i, 0x8001); }),
            (V{0x8001, 0x8ff1, 0xffff}));
  EXPECT_EQ(run(words(), [](Image *i) { return kel_xor_const(i, 0xffff); }),
            (V{0xffff, 0xf00f, 0}));
  EXPECT_EQ(run(bytes(), kel_not), (V{0xff, 0xf0, 0x0f}));
  EXPECT_EQ(run(words(), kel_not), (V{0xffff, 0xf00f, 0}));
  EXPECT_EQ(run(bytes(), kel_invert), (V{255, 240, 15}));
  EXPECT_EQ(run(words(), kel_invert), (V{65535, 61455, 0}));

  // A FLOAT image is inverted as BYTE: the first dx bytes of each row.
  kt::TestImage f = kt::image(FLOAT, 2, 2);
  std::memset(f->data, 0x11, 16);
  ASSERT_EQ(kel_invert(f), 0);
  const auto *p = static_cast<const std::uint8_t *>(f->data);
  for (int row = 0; row < 2; ++row)
    for (int i = 0; i < 8; ++i)
      EXPECT_EQ(p[row * 8 + i], i < 2 ? 0xee : 0x11) << row << "," << i;
  EXPECT_NO_REPORT();
}

TEST_F(Logic, SwitchBranchesAtTheirWidths) {
  if (!kel_cpu_has_mmx()) GTEST_SKIP() << "processor without MMX";
  for (const Op &op : kOps) {
    SCOPED_TRACE(op.name);
    // Common width 24 computes, 25 takes the branch (a wider b does not count).
    kt::TestImage a24 = kt::image(BYTE, 24, 1), b24 = kt::image(BYTE, 40, 1);
    kt::TestImage a25 = kt::image(BYTE, 40, 1), b25 = kt::image(BYTE, 25, 1);
    for (auto *img : {a24.get(), a25.get()})
      for (int x = 0; x < img->dx; ++x)
        kt::set(img, x, 0, 0x0f);
    for (auto *img : {b24.get(), b25.get()})
      for (int x = 0; x < img->dx; ++x)
        kt::set(img, x, 0, 0x3c);
    kel_set_use_mmx(1);
    ASSERT_EQ(op.call(a24, b24), 0);
    EXPECT_EQ(kt::get(b24, 23, 0), op.ref(0x0f, 0x3c));
    ASSERT_EQ(op.call(a25, b25), 0);
    EXPECT_EQ(kt::get(b25, 0, 0), 0x3c);  // nothing done
    // WORD images go to the second form, which has no branch.
    kt::TestImage wa = kt::image(WORD, 30, 1), wb = kt::image(WORD, 30, 1);
    kt::set(wa, 0, 0, 0x0f0f);
    kt::set(wb, 0, 0, 0x3c3c);
    ASSERT_EQ(op.call(wa, wb), 0);
    EXPECT_EQ(kt::get(wb, 0, 0), op.ref(0x0f0f, 0x3c3c));
    kel_set_use_mmx(0);
    ASSERT_EQ(op.call(a25, b25), 0);
    EXPECT_EQ(kt::get(b25, 24, 0), op.ref(0x0f, 0x3c));
  }
  // kel_invert: BYTE wider than 7 takes the branch; WORD always computes.
  kt::TestImage i7 = kt::image(BYTE, 7, 1, {1}), i8 = kt::image(BYTE, 8, 1, {1});
  kt::TestImage w8 = kt::image(WORD, 8, 1, {1});
  kel_set_use_mmx(1);
  EXPECT_EQ(kel_invert(i7), 0);
  EXPECT_EQ(kel_invert(i8), 0);
  EXPECT_EQ(kel_invert(w8), 0);
  kel_set_use_mmx(0);
  EXPECT_EQ(kt::get(i7, 0, 0), 254);
  EXPECT_EQ(kt::get(i8, 0, 0), 1);
  EXPECT_EQ(kt::get(w8, 0, 0), 65534);
  EXPECT_EQ(kel_invert(i8), 0);
  EXPECT_EQ(kt::get(i8, 0, 0), 254);
}

TEST_F(Logic, FailureReports) {
  kt::TestImage b = kt::image(BYTE, 4, 4, {9}), w = kt::image(WORD, 4, 4, {9});
  kt::TestImage f = kt::image(FLOAT, 4, 4), f2 = kt::image(FLOAT, 4, 4);
  kt::TestImage empty = kt::image(BYTE, 4, 0), wempty = kt::image(WORD, 0, 4);
  struct Case {
    const char *fn;
    int code;
    std::function<int()> call;
  };
  const std::vector<Case> cases = {
      {"kel_and", 1, [&] { return kel_and(nullptr, b); }},
      {"kel_or", 1, [&] { return kel_or(b, nullptr); }},
      {"kel_xor2", 1, [&] { return kel_xor(nullptr, b); }},  // xor leaves nulls to its second form
      {"kel_xor2", 1, [&] { return kel_xor(b, nullptr); }},
      {"kel_and2", 5, [&] { return kel_and(b, w); }},
      {"kel_or2", 5, [&] { return kel_or(w, f); }},
      {"kel_xor2", 5, [&] { return kel_xor(f, b); }},
      {"kel_and", 6, [&] { return kel_and(f, f2); }},
      {"kel_xor", 6, [&] { return kel_xor(f, f2); }},
      {"kel_and", 17, [&] { return kel_and(empty, b); }},
      {"kel_or2", 17, [&] { return kel_or(wempty, w); }},
      {"kel_and_const", 1, [&] { return kel_and_const(nullptr, 1); }},
      {"kel_or_const", 6, [&] { return kel_or_const(f, 1); }},
      {"kel_xor_const", 17, [&] { return kel_xor_const(empty, 1); }},
      {"kel_not", 6, [&] { return kel_not(f); }},
      {"kel_not", 1, [&] { return kel_not(nullptr); }},
      {"kel_invert", 1, [&] { return kel_invert(nullptr); }},
      {"kel_invert", 17, [&] { return kel_invert(wempty); }},
  };
  for (const Case &c : cases) {
    kt::clear_report();
    EXPECT_EQ(c.call(), c.code) << c.fn;
    EXPECT_REPORT(c.fn, c.code);
    EXPECT_EQ(kt::get(b, 0, 0), 9) << c.fn;
    EXPECT_EQ(kt::get(w, 0, 0), 9) << c.fn;
  }
}

}  // namespace
