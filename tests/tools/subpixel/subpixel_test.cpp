// Sub-pixel shifts against plain references and exact translations, phase
// correlation recovering fractional and integer shifts, failures.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "kelkit.h"
#include "support/failure_table.hpp"
#include "support/test_images.hpp"

namespace {

// Broadband content (every frequency present), as phase correlation needs.
kt::TestImage texture(int n) {
  kt::TestImage img = kt::random_image(FLOAT, n, n, 11);
  for (int y = 0; y < n; ++y)
    for (int x = 0; x < n; ++x)
      kt::set(img, x, y, 128 + kt::get(img, x, y) / 10);
  return img;
}

TEST(Subpixel, InterpolatingShiftsMatchReferences) {
  for (unsigned type : {BYTE, WORD, FLOAT}) {
    kt::TestImage src = kt::random_image(type, 11, 9, 4, true);
    if (type == FLOAT)
      for (int y = 0; y < 9; ++y)
        for (int x = 0; x < 11; ++x)
          kt::set(src, x, y, std::fabs(kt::get(src, x, y)));
    kt::TestImage dst = kt::view(type, 11, 9);
    // Bilinear equals the image services' sampler (positions clamped).
    ASSERT_EQ(kel_subpixel_shift(src, dst, 1.35, -0.6, KEL_SUBPIXEL_BILINEAR), 0);
    for (int y = 0; y < 9; ++y)
      for (int x = 0; x < 11; ++x) {
        double want = im_get_interpolated_pixel(src, x - 1.35, y + 0.6);
        EXPECT_NEAR(kt::get(dst, x, y), want, type == FLOAT ? 1e-3 : 0.5001) << x << "," << y;
      }
    // Whole-pixel shifts are exact translations with replicated edges, in
    // place too, for both interpolations.
    for (int method : {KEL_SUBPIXEL_BILINEAR, KEL_SUBPIXEL_BICUBIC}) {
      kt::TestImage orig = kt::random_image(type, 11, 9, 4, true);
      kt::TestImage copy = kt::random_image(type, 11, 9, 4, true);
      ASSERT_EQ(kel_subpixel_shift(copy, copy, -2, 3, method), 0);
      for (int y = 0; y < 9; ++y)
        for (int x = 0; x < 11; ++x)
          EXPECT_EQ(kt::get(copy, x, y), kt::get(orig, std::min(x + 2, 10), std::max(y - 3, 0)))
              << method;
      EXPECT_TRUE(kt::margin_intact(copy));
    }
  }
  // Bicubic interpolates a quadratic ramp's interior exactly.
  kt::TestImage ramp = kt::image(FLOAT, 16, 4), out = kt::image(FLOAT, 16, 4);
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 16; ++x)
      kt::set(ramp, x, y, 3 * x + 1);
  ASSERT_EQ(kel_subpixel_shift(ramp, out, 0.25, 0, KEL_SUBPIXEL_BICUBIC), 0);
  for (int x = 3; x < 14; ++x)
    EXPECT_NEAR(kt::get(out, x, 2), 3 * (x - 0.25) + 1, 1e-4);
}

TEST(Subpixel, PhaseCorrelationRecoversShifts) {
  kt::TestImage ref = texture(64), moved = kt::image(FLOAT, 64, 64);
  ASSERT_EQ(kel_subpixel_shift(ref, moved, 0.3, -0.7, KEL_SUBPIXEL_FFT), 0);
  double dx = 0, dy = 0, response = 0;
  ASSERT_EQ(kel_subpixel_phase_correlate(ref, moved, KEL_WINDOW_NONE, &dx, &dy, &response), 0);
  EXPECT_NEAR(dx, 0.3, 0.01);
  EXPECT_NEAR(dy, -0.7, 0.01);
  EXPECT_GT(response, 0.5);
  // An FFT shift by whole pixels is a circular translation.
  ASSERT_EQ(kel_subpixel_shift(ref, moved, 5, -3, KEL_SUBPIXEL_FFT), 0);
  for (int y = 0; y < 64; y += 7)
    for (int x = 0; x < 64; x += 5)
      EXPECT_NEAR(kt::get(moved, x, y), kt::get(ref, (x + 59) % 64, (y + 3) % 64), 1e-3);
  // Two windows of a larger, non-periodic BYTE scene, 6 right and 4 up of
  // each other, with the Hann window.
  kt::TestImage scene = kt::image(BYTE, 160, 160);
  ASSERT_EQ(kel_pattern_checkerboard(scene, 11, 3, 5, 20, 30, 220), 0);
  Image *a = im_rroi(scene, 40, 50, 64, 64), *b = im_rroi(scene, 34, 54, 64, 64);
  ASSERT_EQ(kel_subpixel_phase_correlate(a, b, KEL_WINDOW_HANN, &dx, &dy, nullptr), 0);
  EXPECT_NEAR(dx, 6, 0.05);
  EXPECT_NEAR(dy, -4, 0.05);
  im_delete(a);
  im_delete(b);
}

TEST(Subpixel, FailuresCarryCodeAndName) {
  kt::TestImage img = kt::image(BYTE, 16, 16), word = kt::image(WORD, 16, 16),
                odd = kt::image(BYTE, 12, 16);
  double dx, dy;
  kt::expect_failures({
      {"kel_subpixel_shift", 1, [&] { return kel_subpixel_shift(nullptr, img, 0, 0, 0); }},
      {"kel_subpixel_shift", 8, [&] { return kel_subpixel_shift(img, img, 0, 0, 3); }},
      {"kel_subpixel_shift", 10, [&] { return kel_subpixel_shift(img, img, NAN, 0, 0); }},
      {"kel_subpixel_shift", 13, [&] { return kel_subpixel_shift(img, word, 0, 0, 0); }},
      {"kel_subpixel_shift", 5, [&] { return kel_subpixel_shift(img, odd, 0, 0, 0); }},
      {"kel_subpixel_shift", 10,
       [&] { return kel_subpixel_shift(odd, odd, 0.5, 0, KEL_SUBPIXEL_FFT); }},
      {"kel_subpixel_phase_correlate", 10,
       [&] { return kel_subpixel_phase_correlate(img, img, 0, nullptr, &dy, nullptr); }},
      {"kel_subpixel_phase_correlate", 8,
       [&] { return kel_subpixel_phase_correlate(img, img, 2, &dx, &dy, nullptr); }},
      {"kel_subpixel_phase_correlate", 13,
       [&] { return kel_subpixel_phase_correlate(img, word, 0, &dx, &dy, nullptr); }},
      {"kel_subpixel_phase_correlate", 10,
       [&] { return kel_subpixel_phase_correlate(odd, odd, 0, &dx, &dy, nullptr); }},
  });
}

}  // namespace
