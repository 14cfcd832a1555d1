// Type conversion: kel_float on masters with views, on views and on external
// memory; WORD/BYTE splitting and joining over the common area; the clips;
// colour packing; and every failure report.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

class Convert : public ::testing::Test {
 protected:
  void SetUp() override {
    kel_set_use_mmx(0);
    kt::clear_report();
  }
};

// rows[y] must address pixel (0, y) through data and the pitch.
void expect_rows_consistent(const Image *img) {
  for (int y = 0; y < img->dy; ++y)
    ASSERT_EQ(img->rows[y], static_cast<char *>(img->data) +
                                static_cast<std::ptrdiff_t>(img->dx + img->skip) * y * img->type)
        << "row " << y;
}

TEST_F(Convert, FloatOfMasterUpdatesItsViews) {
  for (unsigned type : {BYTE, WORD}) {
    SCOPED_TRACE(type);
    kt::TestImage m = kt::random_image(type, 9, 6, 5);
    const std::vector<double> before = kt::pixels(m);
    // Two views at their own offsets, one a view of the other.
    kt::TestImage v1(nullptr, im_rroi(m, 2, 1, 4, 3));
    kt::TestImage v2(nullptr, im_rroi(v1, 1, 2, 3, 1));
    ASSERT_TRUE(v1.get() && v2.get());
    kt::set(m, 8, 5, type == BYTE ? 255 : 65535);
    ASSERT_EQ(kel_float(m), 0);
    EXPECT_NO_REPORT();
    for (const Image *img : {m.get(), v1.get(), v2.get()}) {
      EXPECT_EQ(img->type, static_cast<unsigned>(FLOAT));
      expect_rows_consistent(img);
    }
    EXPECT_EQ(m->skip, 0);
    EXPECT_EQ(m->external, 0);
    std::vector<double> want = before;
    want.back() = type == BYTE ? 255 : 65535;
    EXPECT_EQ(kt::pixels(m), want);
    // The views read the new FLOAT pixels at their offsets.
    EXPECT_EQ(v1->data, static_cast<float *>(m->data) + 1 * 9 + 2);
    EXPECT_EQ(v2->data, static_cast<float *>(m->data) + 3 * 9 + 3);
    EXPECT_EQ(v1->skip, 5);
    for (int y = 0; y < 3; ++y)
      for (int x = 0; x < 4; ++x)
        EXPECT_EQ(kt::get(v1, x, y), want[(y + 1) * 9 + x + 2]);
    EXPECT_EQ(kt::pixels(v2), (std::vector<double>{want[30], want[31], want[32]}));
    // Writing through a view writes the converted master.
    kt::set(v2, 0, 0, -2.5);
    EXPECT_EQ(kt::get(m, 3, 3), -2.5);
    // A FLOAT image is left alone.
    void *data = m->data;
    EXPECT_EQ(kel_float(m), 0);
    EXPECT_EQ(m->data, data);
    EXPECT_EQ(kel_float(v1), 0);
    EXPECT_EQ(v1->master, m.get());
  }
}

TEST_F(Convert, FloatOfViewDetachesIt) {
  kt::TestImage v = kt::view(WORD, 4, 2, {0, 1, 65535, 300, 7, 8, 9, 10});
  Image *master = v.master();
  kt::TestImage sibling(nullptr, im_rroi(master, 0, 0, 2, 2));
  ASSERT_TRUE(sibling.get());
  const std::vector<double> master_before = kt::pixels(master);
  ASSERT_EQ(kel_float(v), 0);
  EXPECT_EQ(v->type, static_cast<unsigned>(FLOAT));
  EXPECT_EQ(v->master, nullptr);
  EXPECT_EQ(v->x0, 0);
  EXPECT_EQ(v->y0, 0);
  EXPECT_EQ(v->skip, 0);
  EXPECT_EQ(v->external, 0);
  EXPECT_EQ(v->next, nullptr);
  expect_rows_consistent(v);
  EXPECT_EQ(kt::pixels(v), (std::vector<double>{0, 1, 65535, 300, 7, 8, 9, 10}));
  // The former master and its other view are untouched and still chained.
  EXPECT_EQ(master->type, static_cast<unsigned>(WORD));
  EXPECT_EQ(kt::get(master, 3, 2), 0);
  EXPECT_EQ(kt::get(master, 5, 2), 65535);
  EXPECT_EQ(kt::pixels(master), master_before);
  EXPECT_EQ(sibling->master, master);
  bool chained = false;
  for (Image *p = master->next; p; p = p->next) {
    EXPECT_NE(p, v.get());
    chained |= p == sibling.get();
  }
  EXPECT_TRUE(chained);
  // The detached image is independent: writing it leaves the master alone.
  kt::set(v, 0, 0, 123.5);
  EXPECT_EQ(kt::pixels(master), master_before);

  // A BYTE view: levels as floats.
  kt::TestImage b = kt::view(BYTE, 3, 1, {0, 200, 255});
  ASSERT_EQ(kel_float(b), 0);
  EXPECT_EQ(kt::pixels(b), (std::vector<double>{0, 200, 255}));
  EXPECT_EQ(b.master()->type, static_cast<unsigned>(BYTE));
}

TEST_F(Convert, FloatOfRandomImagesOnOddWidths) {
  for (unsigned type : {BYTE, WORD})
    for (int dx : {1, 15, 16, 17, 33, 67})
      for (bool as_view : {false, true}) {
        kt::TestImage img = kt::random_image(type, dx, 3, 40 + dx, as_view);
        const std::vector<double> want = kt::pixels(img);
        ASSERT_EQ(kel_float(img), 0);
        EXPECT_EQ(kt::pixels(img), want) << "type " << type << " dx " << dx;
        expect_rows_consistent(img);
      }
}

TEST_F(Convert, FloatFailures) {
  // A master over external memory cannot have its memory replaced.
  std::uint8_t pixels[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  kt::TestImage ext(im_create_external(BYTE, 3, 3, 4, pixels), nullptr);
  ASSERT_TRUE(ext.get());
  EXPECT_EQ(kel_float(ext), 25);
  EXPECT_REPORT("kel_float", 25);
  EXPECT_EQ(ext->type, static_cast<unsigned>(BYTE));
  EXPECT_EQ(ext->data, pixels);
  // A view of it converts into memory of its own.
  kt::TestImage view(nullptr, im_rroi(ext, 1, 1, 2, 2));
  kt::clear_report();
  ASSERT_EQ(kel_float(view), 0);
  EXPECT_EQ(kt::pixels(view), (std::vector<double>{6, 7, 10, 11}));
  EXPECT_EQ(pixels[5], 6);

  kt::clear_report();
  EXPECT_EQ(kel_float(nullptr), 1);
  EXPECT_REPORT("kel_float", 1);
  kt::TestImage b = kt::image(BYTE, 2, 2, {1, 2, 3, 4});
  Image odd = *b.get();  // a record with a pixel type no operator takes
  odd.type = 3;
  odd.next = nullptr;
  kt::clear_report();
  EXPECT_EQ(kel_float(&odd), 6);
  EXPECT_REPORT("kel_float", 6);
  EXPECT_EQ(odd.data, b->data);
  EXPECT_EQ(odd.type, 3u);

  // An empty image converts its type.
  kt::TestImage empty = kt::image(WORD, 0, 3);
  EXPECT_EQ(kel_float(empty), 0);
  EXPECT_EQ(empty->type, static_cast<unsigned>(FLOAT));
}

TEST_F(Convert, WordSplitsIntoBytesAndJoinsBack) {
  kt::TestImage w = kt::view(WORD, 3, 2, {0x1234, 0xffff, 0x00ff, 0xff00, 1, 0x8001});
  kt::TestImage lo = kt::image(BYTE, 3, 2), hi = kt::view(BYTE, 3, 2);
  ASSERT_EQ(kel_word_to_bytes(w, lo, hi), 0);
  EXPECT_EQ(kt::pixels(lo), (std::vector<double>{0x34, 0xff, 0xff, 0x00, 1, 0x01}));
  EXPECT_EQ(kt::pixels(hi), (std::vector<double>{0x12, 0xff, 0x00, 0xff, 0, 0x80}));
  EXPECT_TRUE(kt::margin_intact(hi));
  // Either output alone.
  kt::TestImage hi_only = kt::image(BYTE, 3, 2);
  ASSERT_EQ(kel_word_to_bytes(w, nullptr, hi_only), 0);
  EXPECT_EQ(kt::pixels(hi_only), kt::pixels(hi));
  EXPECT_EQ(kel_word_to_bytes(w, nullptr, nullptr), 0);

  // Joining gives the words back; a missing half counts as 0.
  kt::TestImage out = kt::view(WORD, 3, 2);
  ASSERT_EQ(kel_bytes_to_word(lo, hi, out), 0);
  EXPECT_EQ(kt::pixels(out), kt::pixels(w));
  EXPECT_TRUE(kt::margin_intact(out));
  ASSERT_EQ(kel_bytes_to_word(lo, nullptr, out), 0);
  EXPECT_EQ(kt::pixels(out), kt::pixels(lo));
  ASSERT_EQ(kel_bytes_to_word(nullptr, hi, out), 0);
  EXPECT_EQ(kt::pixels(out), (std::vector<double>{0x1200, 0xff00, 0, 0xff00, 0, 0x8000}));

  // Unequal sizes: only the common top-left area is written.
  kt::TestImage small = kt::image(WORD, 2, 1, {0xabcd, 0x0102});
  kt::TestImage big_lo = kt::image(BYTE, 4, 3, std::vector<double>(12, 9));
  ASSERT_EQ(kel_word_to_bytes(small, big_lo, nullptr), 0);
  EXPECT_EQ(kt::pixels(big_lo), (std::vector<double>{0xcd, 0x02, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9}));
  kt::TestImage big_out = kt::image(WORD, 4, 3, std::vector<double>(12, 7));
  kt::TestImage narrow_hi = kt::image(BYTE, 1, 3, {1, 2, 3});
  ASSERT_EQ(kel_bytes_to_word(big_lo, narrow_hi, big_out), 0);
  EXPECT_EQ(kt::pixels(big_out),
            (std::vector<double>{0x01cd, 7, 7, 7, 0x0209, 7, 7, 7, 0x0309, 7, 7, 7}));
}

TEST_F(Convert, SplitAndJoinFailures) {
  kt::TestImage w = kt::image(WORD, 2, 2, {1, 2, 3, 4});
  kt::TestImage b = kt::image(BYTE, 2, 2, {5, 6, 7, 8});
  kt::TestImage f = kt::image(FLOAT, 2, 2);
  kt::TestImage empty = kt::image(BYTE, 2, 0);
  auto expect = [](int got, const char *fn, int code, const char *message) {
    EXPECT_EQ(got, code);
    EXPECT_REPORT(fn, code);
    if (message) {
      EXPECT_STREQ(im_last_message(), message);
    }
    kt::clear_report();
  };
  expect(kel_word_to_bytes(nullptr, b, b), "kel_word_to_bytes", 1, nullptr);
  expect(kel_word_to_bytes(b, b, nullptr), "kel_word_to_bytes", 6, "Input must be WORD");
  expect(kel_word_to_bytes(w, f, nullptr), "kel_word_to_bytes", 6, "Output must be BYTE");
  expect(kel_word_to_bytes(w, b, w), "kel_word_to_bytes", 6, "Output must be BYTE");
  expect(kel_word_to_bytes(w, empty, nullptr), "kel_word_to_bytes", 17, nullptr);
  expect(kel_bytes_to_word(b, b, nullptr), "kel_bytes_to_word", 1, nullptr);
  expect(kel_bytes_to_word(nullptr, nullptr, w), "kel_bytes_to_word", 1, nullptr);
  expect(kel_bytes_to_word(b, nullptr, b), "kel_bytes_to_word", 6, "Output must be WORD");
  expect(kel_bytes_to_word(w, b, w), "kel_bytes_to_word", 6, "Input must be BYTE");
  expect(kel_bytes_to_word(nullptr, f, w), "kel_bytes_to_word", 6, "Input must be BYTE");
  expect(kel_bytes_to_word(empty, b, w), "kel_bytes_to_word", 17, nullptr);
  // Nothing was written by any failing call.
  EXPECT_EQ(kt::pixels(w), (std::vector<double>{1, 2, 3, 4}));
  EXPECT_EQ(kt::pixels(b), (std::vector<double>{5, 6, 7, 8}));
}

TEST_F(Convert, ClipsLeaveZerosAndNaN) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const std::vector<double> px = {-3, -0.0, 0.0, 2.5, nan, -1e-30, 1e-30};
  kt::TestImage n = kt::view(FLOAT, 7, 1, px);
  ASSERT_EQ(kel_clip_negative(n, 9.5f), 0);
  std::vector<double> got = kt::pixels(n);
  EXPECT_EQ(got[0], 9.5);
  EXPECT_TRUE(got[1] == 0.0 && std::signbit(got[1]));
  EXPECT_TRUE(got[2] == 0.0 && !std::signbit(got[2]));
  EXPECT_EQ(got[3], 2.5);
  EXPECT_TRUE(std::isnan(got[4]));
  EXPECT_EQ(got[5], 9.5);
  EXPECT_EQ(got[6], static_cast<double>(1e-30f));
  EXPECT_TRUE(kt::margin_intact(n));

  kt::TestImage p = kt::image(FLOAT, 7, 1, px);
  ASSERT_EQ(kel_clip_positive(p, -1.0f), 0);
  got = kt::pixels(p);
  EXPECT_EQ(got[0], -3);
  EXPECT_TRUE(got[1] == 0.0 && std::signbit(got[1]));
  EXPECT_EQ(got[3], -1);
  EXPECT_TRUE(std::isnan(got[4]));
  EXPECT_EQ(got[5], static_cast<double>(-1e-30f));
  EXPECT_EQ(got[6], -1);

  kt::TestImage b = kt::image(BYTE, 2, 2);
  kt::TestImage empty = kt::image(FLOAT, 0, 0);
  for (auto [name, op] : {std::pair{"kel_clip_negative", &kel_clip_negative},
                          std::pair{"kel_clip_positive", &kel_clip_positive}}) {
    kt::clear_report();
    EXPECT_EQ(op(nullptr, 1.0f), 1);
    EXPECT_REPORT(name, 1);
    kt::clear_report();
    EXPECT_EQ(op(b, 1.0f), 12);
    EXPECT_REPORT(name, 12);
    kt::clear_report();
    EXPECT_EQ(op(empty, 1.0f), 17);
    EXPECT_REPORT(name, 17);
  }
}

TEST_F(Convert, RgbPackStoresTheColourAndChecksSizes) {
  kt::TestImage r = kt::image(BYTE, 2, 2, {255, 0, 1, 18});
  kt::TestImage g = kt::view(BYTE, 2, 2, {255, 0, 2, 52});
  kt::TestImage b = kt::image(BYTE, 2, 2, {255, 0, 3, 86});
  kt::TestImage out = kt::image(FLOAT, 3, 3, std::vector<double>(9, -1));
  ASSERT_EQ(kel_rgb_pack(r, g, b, out), 0);
  EXPECT_EQ(kt::pixels(out),
            (std::vector<double>{16777215, 0, -1, 0x010203, 0x123456, -1, -1, -1, -1}));
  kt::TestImage same = kt::view(FLOAT, 2, 2);
  ASSERT_EQ(kel_rgb_pack(r, g, b, same), 0);
  EXPECT_EQ(kt::get(same, 1, 1), 0x123456);
  EXPECT_TRUE(kt::margin_intact(same));

  kt::TestImage wide = kt::image(BYTE, 3, 2), tall = kt::image(BYTE, 2, 3);
  kt::TestImage small_out = kt::image(FLOAT, 2, 1), w = kt::image(WORD, 2, 2);
  kt::TestImage empty = kt::image(BYTE, 0, 0), empty_out = kt::image(FLOAT, 0, 0);
  auto expect = [](int got, int code, const char *message) {
    EXPECT_EQ(got, code);
    EXPECT_REPORT("kel_rgb_pack", code);
    if (message) {
      EXPECT_STREQ(im_last_message(), message);
    }
    kt::clear_report();
  };
  kt::clear_report();
  expect(kel_rgb_pack(nullptr, g, b, out), 1, nullptr);
  expect(kel_rgb_pack(r, nullptr, b, out), 1, nullptr);
  expect(kel_rgb_pack(r, g, nullptr, out), 1, nullptr);
  expect(kel_rgb_pack(r, g, b, nullptr), 1, nullptr);
  expect(kel_rgb_pack(r, w, b, out), 6, nullptr);
  expect(kel_rgb_pack(r, g, b, w), 6, nullptr);
  expect(kel_rgb_pack(r, g, wide, out), 5, "Input Images must be the same size");
  expect(kel_rgb_pack(tall, g, b, out), 5, "Input Images must be the same size");
  expect(kel_rgb_pack(r, g, b, small_out), 5, "Output must as large or larger than inputs");
  expect(kel_rgb_pack(empty, empty, empty, empty_out), 17, nullptr);
  EXPECT_EQ(kt::pixels(small_out), (std::vector<double>{0, 0}));
}

}  // namespace
