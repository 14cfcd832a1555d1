// Test support: images and views made from literals, pixel reads, and checks
// of the last report.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "pixsvc.h"

namespace kt {

// Owns a master image and, optionally, a view into it; converts to the view
// when there is one. Use it wherever a test needs an image.
class TestImage {
 public:
  TestImage() = default;
  TestImage(Image *master, Image *view) : master_(master), view_(view) {}
  TestImage(TestImage &&o) noexcept
      : master_(std::exchange(o.master_, nullptr)), view_(std::exchange(o.view_, nullptr)) {}
  TestImage &operator=(TestImage &&o) noexcept {
    reset();
    master_ = std::exchange(o.master_, nullptr);
    view_ = std::exchange(o.view_, nullptr);
    return *this;
  }
  TestImage(const TestImage &) = delete;
  TestImage &operator=(const TestImage &) = delete;
  ~TestImage() { reset(); }

  Image *get() const { return view_ ? view_ : master_; }
  operator Image *() const { return get(); }
  Image *operator->() const { return get(); }
  Image *master() const { return master_; }
  bool is_view() const { return view_ != nullptr; }

 private:
  void reset() {
    if (view_) im_delete(view_);
    if (master_) im_delete(master_);
    view_ = master_ = nullptr;
  }
  Image *master_ = nullptr;
  Image *view_ = nullptr;
};

// The value every pixel of a view's master outside the view holds.
constexpr double kSentinel = 77;

// A packed master image; `values` (raster order, may be shorter) fill it.
TestImage image(unsigned type, int dx, int dy, const std::vector<double> &values = {});

// A view of dx by dy at (3, 2) of a master 7 pixels wider and 5 taller (so
// skip is 7), holding `values`; every other master pixel holds kSentinel.
TestImage view(unsigned type, int dx, int dy, const std::vector<double> &values = {});

// Random pixels, reproducible from `seed`: BYTE 0..255, WORD 0..65535,
// FLOAT -1000..1000. As a view when `as_view`.
TestImage random_image(unsigned type, int dx, int dy, std::uint32_t seed, bool as_view = false);

// Pixel read and write as double, for any pixel type.
double get(const Image *img, int x, int y);
void set(Image *img, int x, int y, double v);

// All pixels in raster order.
std::vector<double> pixels(const Image *img);

// True when every master pixel outside the view still holds kSentinel.
bool margin_intact(const TestImage &t);

// Clears the last report before a call under test.
inline void clear_report() {
  im_clear_report();
}

}  // namespace kt

// Checks that the last report came from `fn` with `code`.
#define EXPECT_REPORT(fn, code)             \
  do {                                      \
    EXPECT_STREQ(im_last_function(), (fn)); \
    EXPECT_EQ(im_last_code(), (code));      \
  } while (0)

// Checks that nothing was reported since the last clear_report().
#define EXPECT_NO_REPORT() \
  EXPECT_EQ(im_last_code(), 0) << im_last_function() << ": " << im_last_message()
