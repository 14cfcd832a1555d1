// Image services other than files: records and their chain of views, copies,
// sampling, images over caller memory, and the reports.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "pixsvc.h"
#include "support/test_images.hpp"

namespace {

class Images : public ::testing::Test {
 protected:
  void SetUp() override { kt::clear_report(); }
};

// Every record reached from `master` through `next`, master excluded.
std::vector<Image *> chain(Image *master) {
  std::vector<Image *> out;
  for (Image *p = master->next; p; p = p->next)
    out.push_back(p);
  return out;
}

// rows[y] matches data and the pitch for every row.
bool rows_consistent(const Image *img) {
  for (int y = 0; y < img->dy; ++y)
    if (img->rows[y] != static_cast<char *>(img->data) +
                            static_cast<std::ptrdiff_t>(img->dx + img->skip) * y * img->type)
      return false;
  return true;
}

TEST_F(Images, CreateGivesZeroedPackedMastersAndRefusesBadArguments) {
  for (unsigned type : {BYTE, WORD, FLOAT}) {
    kt::TestImage img(im_create(type, 5, 3), nullptr);
    ASSERT_NE(img.get(), nullptr);
    EXPECT_EQ(img->type, type);
    EXPECT_EQ(img->skip, 0);
    EXPECT_EQ(img->master, nullptr);
    EXPECT_EQ(img->external, 0);
    EXPECT_EQ(img->next, nullptr);
    EXPECT_TRUE(rows_consistent(img));
    EXPECT_EQ(kt::pixels(img), std::vector<double>(15, 0));
  }
  // Empty images exist and still address one pixel.
  kt::TestImage empty(im_create(BYTE, 0, 4), nullptr);
  ASSERT_NE(empty.get(), nullptr);
  EXPECT_NE(empty->data, nullptr);
  EXPECT_NE(empty->rows, nullptr);

  EXPECT_EQ(im_create(3, 2, 2), nullptr);
  EXPECT_REPORT("im_create", IM_ERR_TYPE);
  EXPECT_EQ(im_create(BYTE, -1, 2), nullptr);
  EXPECT_REPORT("im_create", IM_ERR_ARGUMENT);
  EXPECT_EQ(im_create(BYTE, 65536, 65536), nullptr);  // 2^32 pixels
  EXPECT_REPORT("im_create", IM_ERR_ARGUMENT);
  EXPECT_EQ(im_delete(nullptr), IM_ERR_NULL_IMAGE);
  EXPECT_REPORT("im_delete", IM_ERR_NULL_IMAGE);

  // im_dup zeroes, im_duplicate copies (from a view, into a packed master).
  kt::TestImage v = kt::view(WORD, 3, 2, {1, 2, 3, 4, 5, 60000});
  kt::TestImage dup(im_dup(v), nullptr), copy(im_duplicate(v), nullptr);
  ASSERT_TRUE(dup.get() && copy.get());
  EXPECT_EQ(dup->type, unsigned(WORD));
  EXPECT_EQ(kt::pixels(dup), std::vector<double>(6, 0));
  EXPECT_EQ(copy->skip, 0);
  EXPECT_EQ(kt::pixels(copy), (std::vector<double>{1, 2, 3, 4, 5, 60000}));
  EXPECT_EQ(im_duplicate(nullptr), nullptr);
  EXPECT_REPORT("im_duplicate", IM_ERR_NULL_IMAGE);
}

TEST_F(Images, ViewsOfViewsShareTheMasterAndItsPitch) {
  kt::TestImage m = kt::image(BYTE, 10, 8);
  Image *v = im_rroi(m, 2, 3, 5, 4);
  ASSERT_NE(v, nullptr);
  EXPECT_EQ(v->master, m.get());
  EXPECT_EQ(v->external, 1);
  EXPECT_EQ(v->skip, 5);
  EXPECT_EQ(v->data, static_cast<char *>(m->data) + 3 * 10 + 2);
  EXPECT_TRUE(rows_consistent(v));
  // Coordinates of a view of a view are relative to the parent view.
  Image *vv = im_rroi(v, 1, 2, 4, 2);
  ASSERT_NE(vv, nullptr);
  EXPECT_EQ(vv->master, m.get());
  EXPECT_EQ(im_rroi_master(vv), m.get());
  EXPECT_EQ(im_rroi_master(m), m.get());
  EXPECT_EQ(vv->x0, 3);
  EXPECT_EQ(vv->y0, 5);
  EXPECT_EQ(vv->skip, 6);
  kt::set(vv, 3, 1, 99);
  EXPECT_EQ(kt::get(m, 6, 6), 99);
  EXPECT_EQ(kt::get(v, 4, 3), 99);

  // Rectangles reaching outside the master are refused.
  EXPECT_EQ(im_rroi(v, 4, 0, 5, 1), nullptr);  // x 6 + 5 > 10
  EXPECT_REPORT("im_rroi", IM_ERR_ARGUMENT);
  EXPECT_EQ(im_rroi(m, 10, 0, 0, 1), nullptr);  // origin past the edge
  EXPECT_EQ(im_rroi(m, -1, 0, 1, 1), nullptr);
  EXPECT_EQ(im_rroi(m, 0, 0, 10, 9), nullptr);
  EXPECT_EQ(im_rroi(nullptr, 0, 0, 1, 1), nullptr);
  EXPECT_REPORT("im_rroi", IM_ERR_NULL_IMAGE);
  Image *whole = im_rroi(m, 0, 0, 10, 8);
  ASSERT_NE(whole, nullptr);

  // Moving and resizing: refused rectangles leave the view exactly as it was.
  Image before = *v;
  kt::clear_report();
  EXPECT_EQ(im_move_rroi(v, 6, 0), IM_ERR_ARGUMENT);
  EXPECT_REPORT("im_move_rroi", IM_ERR_ARGUMENT);
  EXPECT_EQ(im_move_rroi(v, 0, -1), IM_ERR_ARGUMENT);
  EXPECT_EQ(im_resize_rroi(v, 9, 1), IM_ERR_ARGUMENT);
  EXPECT_REPORT("im_resize_rroi", IM_ERR_ARGUMENT);
  EXPECT_EQ(im_resize_rroi(v, 1, -1), IM_ERR_ARGUMENT);
  EXPECT_EQ(std::memcmp(&before, v, sizeof before), 0);
  EXPECT_EQ(im_move_rroi(m, 0, 0), IM_ERR_ARGUMENT);  // a master is not a view
  EXPECT_EQ(im_resize_rroi(nullptr, 1, 1), IM_ERR_NULL_IMAGE);

  EXPECT_EQ(im_move_rroi(v, 5, 4), IM_OK);
  EXPECT_EQ(v->x0 * 10 + v->y0, 54);
  EXPECT_EQ(v->data, static_cast<char *>(m->data) + 4 * 10 + 5);
  EXPECT_EQ(im_resize_rroi(v, 2, 1), IM_OK);
  EXPECT_EQ(v->skip, 8);
  EXPECT_TRUE(rows_consistent(v));

  // The chain lists every live view once; a master with views is not deleted.
  auto views = chain(m.master());
  EXPECT_EQ(views.size(), 3u);
  for (Image *p : {v, vv, whole})
    EXPECT_EQ(std::count(views.begin(), views.end(), p), 1);
  EXPECT_EQ(im_delete(m), IM_ERR_ARGUMENT);
  EXPECT_REPORT("im_delete", IM_ERR_ARGUMENT);
  EXPECT_EQ(im_delete(vv), IM_OK);
  views = chain(m.master());
  EXPECT_EQ(views, (std::vector<Image *>{whole, v}));
  EXPECT_EQ(im_delete(v), IM_OK);
  EXPECT_EQ(im_delete(whole), IM_OK);
  EXPECT_EQ(m->next, nullptr);
}

TEST_F(Images, UpdateRowsFollowsReplacedPixelMemory) {
  // What an in-place conversion does: new memory, type and pitch on the
  // master, then one call refreshes the master and every view.
  kt::TestImage m = kt::image(BYTE, 6, 4);
  Image *v = im_rroi(m, 1, 2, 3, 2);
  Image *vv = im_rroi(v, 1, 1, 2, 1);
  ASSERT_TRUE(v && vv);
  auto *wide = static_cast<float *>(std::calloc(8 * 4, sizeof(float)));
  std::free(m->data);
  m->data = wide;
  m->type = FLOAT;
  m->skip = 2;
  ASSERT_EQ(im_update_rows(m), IM_OK);
  EXPECT_TRUE(rows_consistent(m));
  for (Image *p : {v, vv}) {
    EXPECT_EQ(p->type, unsigned(FLOAT));
    EXPECT_TRUE(rows_consistent(p));
  }
  EXPECT_EQ(v->skip, 5);
  EXPECT_EQ(v->data, wide + 2 * 8 + 1);
  EXPECT_EQ(vv->data, wide + 3 * 8 + 2);
  kt::set(vv, 1, 0, 2.5);
  EXPECT_EQ(wide[3 * 8 + 3], 2.5f);
  EXPECT_EQ(im_update_rows(nullptr), IM_ERR_NULL_IMAGE);
  im_delete(vv);
  im_delete(v);
}

TEST_F(Images, CopyTouchesOnlyTheCommonAreaAndClips) {
  kt::TestImage src = kt::view(WORD, 3, 2, {1, 2, 3, 4, 5, 6});
  kt::TestImage dst = kt::view(WORD, 4, 4);
  ASSERT_EQ(im_copy(src, dst), IM_OK);
  EXPECT_EQ(kt::pixels(dst), (std::vector<double>{1, 2, 3, 0, 4, 5, 6, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_TRUE(kt::margin_intact(dst));
  kt::TestImage bytes = kt::image(BYTE, 3, 2);
  EXPECT_EQ(im_copy(src, bytes), IM_ERR_TYPE_MISMATCH);
  EXPECT_REPORT("im_copy", IM_ERR_TYPE_MISMATCH);
  EXPECT_EQ(im_copy(nullptr, bytes), IM_ERR_NULL_IMAGE);
  EXPECT_EQ(im_copy2(src, bytes, 0, 0), IM_ERR_TYPE_MISMATCH);
  EXPECT_REPORT("im_copy2", IM_ERR_TYPE_MISMATCH);

  // im_copy2 places src's top-left pixel at (x, y), clipped on every side.
  kt::TestImage d2 = kt::view(WORD, 4, 3);
  ASSERT_EQ(im_copy2(src, d2, -1, 2), IM_OK);
  EXPECT_EQ(kt::pixels(d2), (std::vector<double>{0, 0, 0, 0, 0, 0, 0, 0, 2, 3, 0, 0}));
  ASSERT_EQ(im_copy2(src, d2, 2, -1), IM_OK);
  EXPECT_EQ(kt::pixels(d2), (std::vector<double>{0, 0, 4, 5, 0, 0, 0, 0, 2, 3, 0, 0}));
  ASSERT_EQ(im_copy2(src, d2, 4, 0), IM_OK);  // entirely outside: nothing
  ASSERT_EQ(im_copy2(src, d2, -3, 0), IM_OK);
  EXPECT_EQ(kt::pixels(d2), (std::vector<double>{0, 0, 4, 5, 0, 0, 0, 0, 2, 3, 0, 0}));
  EXPECT_TRUE(kt::margin_intact(d2));

  // Overlapping views of one master, shifted down-right and up-left.
  for (int shift : {1, -1}) {
    kt::TestImage m = kt::image(BYTE, 5, 5);
    for (int i = 0; i < 25; ++i)
      kt::set(m, i % 5, i / 5, i);
    Image *a = im_rroi(m, 1, 1, 3, 3);
    Image *b = im_rroi(m, 1 + shift, 1 + shift, 3, 3);
    std::vector<double> expect = kt::pixels(a);
    ASSERT_EQ(im_copy(a, b), IM_OK);
    EXPECT_EQ(kt::pixels(b), expect) << shift;
    im_delete(a);
    im_delete(b);
  }
}

TEST_F(Images, SameImageMeansOverlappingStorage) {
  kt::TestImage m = kt::image(BYTE, 8, 4), other = kt::image(BYTE, 8, 4);
  Image *left = im_rroi(m, 0, 0, 4, 4);
  Image *right = im_rroi(m, 4, 0, 4, 4);  // byte spans interleave, pixels do not
  Image *middle = im_rroi(m, 3, 1, 2, 2);
  EXPECT_TRUE(im_same_image(m, m));
  EXPECT_TRUE(im_same_image(m, right));
  EXPECT_TRUE(im_same_image(left, middle));
  EXPECT_TRUE(im_same_image(middle, right));
  EXPECT_FALSE(im_same_image(left, right));
  EXPECT_FALSE(im_same_image(m, other));
  EXPECT_FALSE(im_same_image(m, nullptr));
  // An external image over another image's rows shares its storage.
  kt::TestImage over(im_create_external(BYTE, 2, 2, 8, m->rows[2]), nullptr);
  EXPECT_TRUE(im_same_image(over, m));
  EXPECT_FALSE(im_same_image(over, other));
  for (Image *v : {left, right, middle})
    im_delete(v);
}

TEST_F(Images, BilinearSamplingIsExactAndClampsAtTheBorder) {
  for (unsigned type : {BYTE, WORD, FLOAT}) {
    kt::TestImage img = kt::view(type, 3, 2, {0, 10, 20, 40, 50, 100});
    auto at = [&](double x, double y) { return im_get_interpolated_pixel(img, x, y); };
    EXPECT_EQ(at(1, 1), 50);
    EXPECT_EQ(at(0.5, 0), 5);
    EXPECT_EQ(at(0, 0.25), 10);
    EXPECT_EQ(at(0.5, 0.5), 25);     // (0 + 10 + 40 + 50) / 4
    EXPECT_EQ(at(1.75, 0.5), 52.5);  // rows give 17.5 and 87.5
    // Clamped to the image: the border value continues outwards.
    EXPECT_EQ(at(-5, -5), 0);
    EXPECT_EQ(at(2, 1), 100);
    EXPECT_EQ(at(7.5, 0), 20);
    EXPECT_EQ(at(1.5, 9), 75);
    EXPECT_EQ(at(INFINITY, -INFINITY), 20);
    EXPECT_EQ(at(NAN, 0), 0);
  }
  kt::TestImage empty = kt::image(BYTE, 0, 3);
  EXPECT_EQ(im_get_interpolated_pixel(empty, 0, 0), 0);
  EXPECT_EQ(im_get_interpolated_pixel(nullptr, 0, 0), 0);
}

TEST_F(Images, LineSamplesBothEndsEvenly) {
  kt::TestImage img = kt::view(BYTE, 3, 2, {0, 10, 20, 40, 50, 100});
  float buf[5] = {-1, -1, -1, -1, -1};
  ASSERT_EQ(im_get_line_from_img(img, 0, 0, 2, 1, 5, buf), IM_OK);
  // Positions (0, 0), (0.5, 0.25), (1, 0.5), (1.5, 0.75), (2, 1).
  const float want[5] = {0, 15, 30, 60, 100};
  for (int i = 0; i < 5; ++i)
    EXPECT_EQ(buf[i], want[i]) << i;
  ASSERT_EQ(im_get_line_from_img(img, 1, 1, 2, 0, 1, buf), IM_OK);
  EXPECT_EQ(buf[0], 50);
  EXPECT_EQ(buf[1], 15);  // only `count` samples written
  EXPECT_EQ(im_get_line_from_img(img, 0, 0, 1, 1, 0, buf), IM_ERR_ARGUMENT);
  EXPECT_REPORT("im_get_line_from_img", IM_ERR_ARGUMENT);
  EXPECT_EQ(im_get_line_from_img(img, 0, 0, 1, 1, 2, nullptr), IM_ERR_ARGUMENT);
  EXPECT_EQ(im_get_line_from_img(nullptr, 0, 0, 1, 1, 2, buf), IM_ERR_NULL_IMAGE);
  EXPECT_REPORT("im_get_line_from_img", IM_ERR_NULL_IMAGE);
}

TEST_F(Images, ExternalImagesUseCallerMemoryWithItsPitch) {
  std::vector<std::uint16_t> buffer(6 * 3, 7);
  kt::TestImage ext(im_create_external(WORD, 4, 3, 6, buffer.data()), nullptr);
  ASSERT_NE(ext.get(), nullptr);
  EXPECT_EQ(ext->external, 1);
  EXPECT_EQ(ext->skip, 2);
  EXPECT_EQ(ext->data, buffer.data());
  EXPECT_TRUE(rows_consistent(ext));
  kt::set(ext, 3, 2, 1234);
  EXPECT_EQ(buffer[2 * 6 + 3], 1234);
  EXPECT_EQ(buffer[2 * 6 + 4], 7);  // the pitch's spare pixels are untouched
  Image *v = im_rroi(ext, 1, 1, 3, 2);
  ASSERT_NE(v, nullptr);
  EXPECT_EQ(kt::get(v, 2, 1), 1234);
  im_delete(v);

  // im_create_hw, then memory attached (and replaced) with im_set_pix_hw.
  kt::TestImage hw(im_create_hw(BYTE, 2, 2, 3), nullptr);
  ASSERT_NE(hw.get(), nullptr);
  std::uint8_t first[6] = {1, 2, 0, 3, 4, 0}, second[6] = {5, 6, 0, 7, 8, 0};
  ASSERT_EQ(im_set_pix_hw(hw, first), IM_OK);
  EXPECT_EQ(kt::pixels(hw), (std::vector<double>{1, 2, 3, 4}));
  ASSERT_EQ(im_set_pix_hw(hw, second), IM_OK);
  EXPECT_EQ(kt::pixels(hw), (std::vector<double>{5, 6, 7, 8}));
  EXPECT_EQ(hw->rows[1], second + 3);

  kt::TestImage owning = kt::image(BYTE, 2, 2);
  EXPECT_EQ(im_set_pix_hw(owning, first), IM_ERR_ARGUMENT);
  EXPECT_REPORT("im_set_pix_hw", IM_ERR_ARGUMENT);
  EXPECT_EQ(im_set_pix_hw(hw, nullptr), IM_ERR_ARGUMENT);
  EXPECT_EQ(im_set_pix_hw(nullptr, first), IM_ERR_NULL_IMAGE);
  EXPECT_EQ(im_create_hw(BYTE, 4, 2, 3), nullptr);  // pitch below width
  EXPECT_REPORT("im_create_hw", IM_ERR_ARGUMENT);
  EXPECT_EQ(im_create_hw(7, 4, 2, 4), nullptr);
  EXPECT_REPORT("im_create_hw", IM_ERR_TYPE);
  EXPECT_EQ(im_create_external(BYTE, 2, 2, 2, nullptr), nullptr);
  EXPECT_REPORT("im_create_external", IM_ERR_ARGUMENT);
  // Deleting the records leaves the caller's memory alone (checked by the
  // sanitizer build: freeing a stack or vector buffer would be reported).
}

struct Seen {
  int count = 0, warning = -1, code = 0;
  std::string func, message;
};

void remember(int is_warning, const char *func, int code, const char *message, void *user) {
  auto *s = static_cast<Seen *>(user);
  ++s->count;
  s->warning = is_warning;
  s->code = code;
  s->func = func;
  s->message = message;
}

TEST_F(Images, ReportsAreKeptPerThreadAndReachTheHandler) {
  EXPECT_EQ(im_last_code(), 0);
  EXPECT_STREQ(im_last_function(), "");
  EXPECT_EQ(im_error("kel_thing", 17, "bad %s %d", "size", 3), 17);
  EXPECT_REPORT("kel_thing", 17);
  EXPECT_STREQ(im_last_message(), "bad size 3");
  EXPECT_EQ(im_last_is_warning(), 0);

  // Another thread's reports stay in that thread.
  int other_code = -1;
  std::thread t([&] {
    other_code = im_last_code();
    im_warn("kel_other", 5, nullptr);
  });
  t.join();
  EXPECT_EQ(other_code, 0);
  EXPECT_REPORT("kel_thing", 17);

  Seen seen;
  EXPECT_EQ(im_set_report_handler(remember, &seen), nullptr);
  EXPECT_EQ(im_warn("kel_warned", 2, "%d%%", 50), 2);
  EXPECT_EQ(seen.count, 1);
  EXPECT_EQ(seen.warning, 1);
  EXPECT_EQ(seen.func, "kel_warned");
  EXPECT_EQ(seen.code, 2);
  EXPECT_EQ(seen.message, "50%");
  EXPECT_EQ(im_last_is_warning(), 1);
  im_create(BYTE, -1, 1);  // reports from the library reach it too
  EXPECT_EQ(seen.count, 2);
  EXPECT_EQ(seen.func, "im_create");
  std::thread([] { im_error("kel_thread", 9, nullptr); }).join();
  EXPECT_EQ(seen.count, 3);
  EXPECT_EQ(seen.message, "");
  EXPECT_EQ(im_set_report_handler(nullptr, nullptr), &remember);
  im_error("kel_after", 1, nullptr);
  EXPECT_EQ(seen.count, 3);

  // Long names and messages are cut, not overrun.
  std::string long_text(2000, 'x');
  im_error(long_text.c_str(), 3, "%s", long_text.c_str());
  EXPECT_LT(std::string(im_last_function()).size(), long_text.size());
  EXPECT_LT(std::string(im_last_message()).size(), long_text.size());
  im_clear_report();
  EXPECT_EQ(im_last_code(), 0);
  EXPECT_STREQ(im_last_message(), "");
}

TEST_F(Images, ClockIsMonotonicAndMmxMatchesTheProcessor) {
  unsigned a = im_get_msec_count();
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  unsigned b = im_get_msec_count();
  EXPECT_GE(b - a, 19u);
  EXPECT_LT(b - a, 5000u);
#if defined(__x86_64__) || defined(__i386__)
  EXPECT_EQ(im_cpu_has_mmx(), __builtin_cpu_supports("mmx") ? 1 : 0);
#else
  EXPECT_EQ(im_cpu_has_mmx(), 0);
#endif
}

}  // namespace
