// Every operator of the filters of any size run in place (destination = the
// source, a view with skip) gives what it gives into another image: the
// streaming engines, the ones that copy their source, and the compositions.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

struct Case {
  std::string name;
  unsigned type;
  std::function<int(const Image *, Image *)> op;
};

TEST(InPlace, EveryOperatorGivesTheSameResultInPlace) {
  const float k5[5] = {0.1f, -0.5f, 1.5f, 0.25f, 0.2f};
  const int k9[9] = {1, -2, 1, 3, 4, -2, 0, 2, 1};
  const signed char corner[4] = {1, 1, 0, 1};
  const std::vector<Case> cases = {
      {"convolve", BYTE,
       [&](const Image *s, Image *d) { return kel_convolve(s, d, k9, 3, 3, 1, 0); }},
      {"convolve2 float", FLOAT,
       [&](const Image *s, Image *d) { return kel_convolve2(s, d, k5, 5, 1, 0); }},
      {"sep2 word", WORD,
       [&](const Image *s, Image *d) { return kel_convolve_sep2(s, d, k5, 5, k5, 5, 1); }},
      {"gauss", BYTE, [](const Image *s, Image *d) { return kel_gauss2(s, d, 1.7); }},
      {"unsharp", WORD, [](const Image *s, Image *d) { return kel_unsharp2(s, d, 1.0, 0.7, 5); }},
      {"box", FLOAT, [](const Image *s, Image *d) { return kel_box_filter2(s, d, 5, 4); }},
      {"sobel", BYTE,
       [](const Image *s, Image *d) { return kel_gradient2(s, d, KEL_GRAD_SOBEL_X, 1); }},
      {"kirsch max", WORD,
       [](const Image *s, Image *d) { return kel_gradient2(s, d, KEL_GRAD_KIRSCH_MAX, 0); }},
      {"polar", FLOAT,
       [](const Image *s, Image *d) {
         return kel_gradient_polar2(s, d, nullptr, KEL_GRAD_SOBEL_X);
       }},
      {"median 3", BYTE, [](const Image *s, Image *d) { return kel_median_rect(s, d, 3, 3); }},
      {"median 5 float", FLOAT,
       [](const Image *s, Image *d) { return kel_median_rect(s, d, 5, 5); }},
      {"rank 4x2", WORD, [](const Image *s, Image *d) { return kel_rank_rect(s, d, 4, 2, 6); }},
      {"median 9", BYTE, [](const Image *s, Image *d) { return kel_median_rect(s, d, 9, 9); }},
      {"erode 3", WORD, [](const Image *s, Image *d) { return kel_erode2(s, d); }},
      {"close 15x9", BYTE,
       [](const Image *s, Image *d) { return kel_morph_rect(s, d, KEL_MORPH_CLOSE, 15, 9); }},
      {"tophat line", FLOAT,
       [](const Image *s, Image *d) { return kel_morph_line(s, d, KEL_MORPH_TOPHAT, 7, 135); }},
      {"bothat surf", BYTE,
       [](const Image *s, Image *d) {
         return kel_morph_surf(s, d, KEL_MORPH_BOTHAT, nullptr, nullptr, 3, 5);
       }},
      {"bin gradient", BYTE,
       [](const Image *s, Image *d) { return kel_morph_bin_rect(s, d, KEL_MORPH_GRADIENT, 3, 3); }},
      {"hit or miss", BYTE,
       [&](const Image *s, Image *d) { return kel_hit_or_miss(s, d, corner, 2, 2); }},
      {"thin", BYTE, [](const Image *s, Image *d) { return kel_thin(s, d); }},
      {"fill holes", BYTE, [](const Image *s, Image *d) { return kel_fill_holes(s, d); }},
  };
  for (const Case &c : cases) {
    kt::TestImage src = kt::random_image(c.type, 45, 33, 17, true), dst = kt::image(c.type, 45, 33);
    if (c.name == "thin" || c.name == "fill holes" || c.name == "hit or miss")
      for (int y = 0; y < 33; ++y)
        for (int x = 0; x < 45; ++x)
          kt::set(src, x, y, kt::get(src, x, y) > 90 ? 255 : 0);
    ASSERT_EQ(c.op(src, dst), 0) << c.name;
    ASSERT_EQ(c.op(src, src), 0) << c.name;
    EXPECT_EQ(kt::pixels(src), kt::pixels(dst)) << c.name;
    EXPECT_TRUE(kt::margin_intact(src)) << c.name;
  }
}

}  // namespace
