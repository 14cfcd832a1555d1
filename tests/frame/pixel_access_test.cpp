// Single-pixel and run access: addressing through data and the pitch on
// masters and views, every pixel type, and runs that stop where they should.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

TEST(PixelAccess, SinglePixelsOnMastersAndViews) {
  for (bool as_view : {false, true}) {
    kt::TestImage b = as_view ? kt::view(BYTE, 5, 4) : kt::image(BYTE, 5, 4);
    kt::TestImage w = as_view ? kt::view(WORD, 5, 4) : kt::image(WORD, 5, 4);
    kt::TestImage f = as_view ? kt::view(FLOAT, 5, 4) : kt::image(FLOAT, 5, 4);
    kel_put_bpixel(b, 4, 3, 255);
    kel_put_bpixel(b, 0, 1, 7);
    kel_put_wpixel(w, 4, 3, 65535);
    kel_put_wpixel(w, 2, 1, 258);
    kel_put_fpixel(f, 4, 3, -1.5f);
    kel_put_fpixel(f, 1, 2, 3.25e7f);
    // Written where an independent address computation finds them.
    EXPECT_EQ(kt::get(b, 4, 3), 255);
    EXPECT_EQ(kt::get(b, 0, 1), 7);
    EXPECT_EQ(kt::get(w, 4, 3), 65535);
    EXPECT_EQ(kt::get(w, 2, 1), 258);
    EXPECT_EQ(kt::get(f, 4, 3), -1.5);
    EXPECT_EQ(kt::get(f, 1, 2), 3.25e7);
    EXPECT_EQ(kel_get_bpixel(b, 4, 3), 255);
    EXPECT_EQ(kel_get_bpixel(b, 0, 1), 7);
    EXPECT_EQ(kel_get_bpixel(b, 1, 1), as_view ? 0 : 0);
    EXPECT_EQ(kel_get_wpixel(w, 2, 1), 258);
    EXPECT_EQ(kel_get_wpixel(w, 4, 3), 65535);
    EXPECT_EQ(kel_get_fpixel(f, 1, 2), 3.25e7f);
    EXPECT_EQ(kel_get_fpixel(f, 4, 3), -1.5f);
    if (as_view) {
      // A view writes its master at the view's offset, nowhere else.
      Image *m = b.master();
      EXPECT_EQ(kt::get(m, 3 + 4, 2 + 3), 255);
      kt::set(b, 0, 0, kt::kSentinel);
      kt::set(b, 1, 1, kt::kSentinel);
      EXPECT_EQ(kel_get_bpixel(b, 1, 1), kt::kSentinel);
      EXPECT_TRUE(kt::margin_intact(b));
      EXPECT_TRUE(kt::margin_intact(w));
      EXPECT_TRUE(kt::margin_intact(f));
    }
  }
}

TEST(PixelAccess, LinePointerScalesByType) {
  kt::TestImage f = kt::image(FLOAT, 12, 3);
  Image rec = *f.get();
  rec.dx = 10;
  rec.skip = 2;  // pitch 12
  char *base = static_cast<char *>(rec.data);
  EXPECT_EQ(kel_line_ptr(&rec, 1, 1), base + 52);
  EXPECT_EQ(kel_line_ptr(&rec, 0, 0), base);
  EXPECT_EQ(kel_line_ptr(&rec, 11, 2), base + (24 + 11) * 4);
  rec.type = WORD;
  EXPECT_EQ(kel_line_ptr(&rec, 1, 1), base + 26);
  rec.type = BYTE;
  EXPECT_EQ(kel_line_ptr(&rec, 1, 1), base + 13);
  rec.type = 3;  // any other code addresses 4-byte pixels
  EXPECT_EQ(kel_line_ptr(&rec, 1, 1), base + 52);

  kt::TestImage v = kt::view(WORD, 4, 3);
  EXPECT_EQ(kel_line_ptr(v, 2, 1), static_cast<char *>(v->data) + (11 + 2) * 2);
  EXPECT_EQ(kel_line_ptr(v, 2, 1), static_cast<char *>(v.master()->rows[3]) + 5 * 2);
}

TEST(PixelAccess, ByteRuns) {
  kt::TestImage v = kt::view(BYTE, 6, 3,
                             {1, 2, 3, 4, 5, 6,  //
                              10, 20, 30, 40, 50, 60});
  unsigned char buf[8];
  std::fill(buf, buf + 8, 99);
  kel_get_barray(v, 1, 1, 4, buf);
  EXPECT_EQ(std::vector<int>(buf, buf + 5), (std::vector<int>{20, 30, 40, 50, 99}));
  std::fill(buf, buf + 8, 99);
  kel_get_barray(v, 2, 0, 0, buf);  // n = 0 copies nothing
  EXPECT_EQ(buf[0], 99);
  kel_get_barray(v, 2, 0, -3, nullptr);  // negative count: nothing, no access

  const unsigned char in[3] = {200, 201, 202};
  kel_put_barray(v, 3, 2, 3, in);
  EXPECT_EQ(kt::pixels(v), (std::vector<double>{1, 2, 3, 4, 5, 6,        //
                                                10, 20, 30, 40, 50, 60,  //
                                                0, 0, 0, 200, 201, 202}));
  kel_put_barray(v, 0, 0, 0, nullptr);
  EXPECT_TRUE(kt::margin_intact(v));

  // BYTE levels as floats: every value exactly.
  kt::TestImage all = kt::image(BYTE, 256, 1);
  for (int x = 0; x < 256; ++x)
    kt::set(all, x, 0, x);
  std::vector<float> fb(257, -1.f);
  kel_get_fbarray(all, 0, 0, 256, fb.data());
  for (int x = 0; x < 256; ++x)
    ASSERT_EQ(fb[x], static_cast<float>(x));
  EXPECT_EQ(fb[256], -1.f);
  float one = 0;
  kel_get_fbarray(v, 3, 2, 1, &one);
  EXPECT_EQ(one, 200.0f);
}

TEST(PixelAccess, WordAndFloatRuns) {
  kt::TestImage w = kt::view(WORD, 5, 2,
                             {0, 1, 65535, 300, 4,  //
                              9, 8, 7, 6, 5});
  unsigned short wb[4] = {1, 1, 1, 1};
  kel_get_warray(w, 1, 0, 3, wb);
  EXPECT_EQ(std::vector<int>(wb, wb + 4), (std::vector<int>{1, 65535, 300, 1}));
  float fw[3] = {-1, -1, -1};
  kel_get_fwarray(w, 2, 0, 2, fw);
  EXPECT_EQ(fw[0], 65535.f);
  EXPECT_EQ(fw[1], 300.f);
  EXPECT_EQ(fw[2], -1.f);
  const unsigned short win[2] = {65534, 17};
  kel_put_warray(w, 3, 1, 2, win);
  EXPECT_EQ(kt::pixels(w), (std::vector<double>{0, 1, 65535, 300, 4, 9, 8, 7, 65534, 17}));
  EXPECT_TRUE(kt::margin_intact(w));

  kt::TestImage f = kt::view(FLOAT, 4, 2,
                             {0.5, -2, 1e-3, 7,  //
                              -0.0, 3, 4, 5});
  float fb[3] = {9, 9, 9};
  kel_get_farray(f, 0, 1, 2, fb);
  EXPECT_EQ(fb[0], 0.0f);
  EXPECT_TRUE(std::signbit(fb[0]));
  EXPECT_EQ(fb[1], 3.0f);
  EXPECT_EQ(fb[2], 9.0f);
  const float fin[4] = {1.25f, 2.5f, 3.75f, 5.0f};
  kel_put_farray(f, 0, 0, 4, fin);
  EXPECT_EQ(kt::pixels(f), (std::vector<double>{1.25, 2.5, 3.75, 5, -0.0, 3, 4, 5}));
  EXPECT_TRUE(kt::margin_intact(f));
}

}  // namespace
