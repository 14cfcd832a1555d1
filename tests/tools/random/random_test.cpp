// Random generator and noise images: exact sequences against a plain
// reference generator, the integer distributions' limits and wrap-around,
// state handling and failure reports.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <set>

#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

struct GenDeleter {
  void operator()(KelRandGen *g) const { kel_rand_delete(g); }
};
using Gen = std::unique_ptr<KelRandGen, GenDeleter>;

Gen make_gen(unsigned seed) {
  Gen g(kel_rand_create());
  kel_rand_seed(g.get(), seed);
  return g;
}

// The generator written out independently.
struct Ref {
  std::uint32_t state = 1;
  bool has_spare = false;
  float spare = 0;
  std::uint32_t draw() {
    state = state * 1103515245u + 12345u;
    return state >> 16;
  }
  float unit() { return float(draw()) * 3.0518044e-5f - 1.0f; }
  float gauss() {
    if (has_spare) {
      has_spare = false;
      return spare;
    }
    float u1, u2, s;
    do {
      u1 = unit(), u2 = unit();
      s = u1 * u1 + u2 * u2;
    } while (s >= 1.0f);
    float f = float(std::sqrt(-2.0 * std::log(double(s)) / s));
    spare = u1 * f, has_spare = true;
    return u2 * f;
  }
};

bool same_bits(float a, float b) {
  return std::memcmp(&a, &b, 4) == 0;
}

class Random : public ::testing::Test {
 protected:
  void SetUp() override { kt::clear_report(); }
};

TEST_F(Random, GeneratorSequence) {
  Gen g(kel_rand_create());
  ASSERT_TRUE(g);
  EXPECT_EQ(g->state, 1u);
  EXPECT_EQ(g->has_spare, 0);
  float first = kel_uniform_dev(g.get());
  EXPECT_EQ(g->state, 1103527590u);  // 1 * 1103515245 + 12345; r = 16838
  EXPECT_EQ(g->state >> 16, 16838u);
  EXPECT_TRUE(same_bits(first, 16838 * 3.0518044e-5f - 1.0f));
  EXPECT_NEAR(first, -0.48614, 1e-5);

  Ref ref;
  ref.unit();
  for (int k = 0; k < 1000; ++k)
    ASSERT_TRUE(same_bits(kel_uniform_dev(g.get()), ref.unit())) << k;
  EXPECT_NO_REPORT();
}

TEST_F(Random, GaussianPairsAndSpare) {
  Gen g = make_gen(12345);
  Ref ref;
  ref.state = 12345;
  for (int k = 0; k < 1001; ++k) {
    ASSERT_TRUE(same_bits(kel_gauss_dev(g.get()), ref.gauss())) << k;
    ASSERT_EQ(g->state, ref.state) << k;
    ASSERT_EQ(g->has_spare != 0, ref.has_spare) << k;
  }
  // The kept value comes back without a draw; seeding drops it.
  ASSERT_TRUE(g->has_spare);
  std::uint32_t state = g->state;
  EXPECT_TRUE(same_bits(kel_gauss_dev(g.get()), g->spare));
  EXPECT_EQ(g->state, state);
  kel_gauss_dev(g.get());
  ASSERT_TRUE(g->has_spare);
  ASSERT_EQ(kel_rand_seed(g.get(), 99), 0);
  EXPECT_EQ(g->state, 99u);
  EXPECT_EQ(g->has_spare, 0);
  // A standard normal: mean 0 and deviation 1 over many values.
  double sum = 0, squares = 0;
  for (int k = 0; k < 200000; ++k) {
    double v = kel_gauss_dev(g.get());
    sum += v, squares += v * v;
  }
  EXPECT_NEAR(sum / 200000, 0.0, 0.01);
  EXPECT_NEAR(std::sqrt(squares / 200000), 1.0, 0.01);

  EXPECT_NO_REPORT();
}

// Uniform noise as defined, pixel by pixel in raster order.
template <class F>
void expect_pixels(const Image *img, F expected) {
  for (int y = 0; y < img->dy; ++y)
    for (int x = 0; x < img->dx; ++x) {
      double want = expected();
      ASSERT_EQ(kt::get(img, x, y), want) << x << "," << y;
    }
}

TEST_F(Random, UniformNoiseExactValues) {
  // Widths on both sides of the blocked fill, as views and not.
  for (int dx : {1, 7, 8, 9, 17, 40})
    for (bool as_view : {false, true}) {
      SCOPED_TRACE(testing::Message() << "dx " << dx << (as_view ? " view" : ""));
      const int dy = 3;
      Gen g = make_gen(dx * 31 + as_view);
      g->has_spare = 1, g->spare = 0.5f;  // the kept Gaussian value is left alone
      Ref ref;
      ref.state = g->state;

      kt::TestImage b = as_view ? kt::view(BYTE, dx, dy) : kt::image(BYTE, dx, dy);
      ASSERT_EQ(kel_uniform_noise(b, 10, 20, g.get()), 0);
      expect_pixels(b, [&] {
        return double(std::uint8_t(int(float(ref.draw()) * (11.0f * 1.5259022e-5f) + 9.5f)));
      });
      EXPECT_EQ(g->state, ref.state);

      kt::TestImage w = as_view ? kt::view(WORD, dx, dy) : kt::image(WORD, dx, dy);
      ASSERT_EQ(kel_uniform_noise(w, 1000, 70000, g.get()), 0);
      expect_pixels(w, [&] {
        return double(std::uint16_t(int(float(ref.draw()) * (64536.0f * 1.5259022e-5f) + 999.5f)));
      });

      kt::TestImage f = as_view ? kt::view(FLOAT, dx, dy) : kt::image(FLOAT, dx, dy);
      ASSERT_EQ(kel_uniform_noise(f, -3, 5, g.get()), 0);
      expect_pixels(f, [&] { return double(float(ref.draw()) * (8.0f * 1.5259022e-5f) + -3.0f); });
      EXPECT_EQ(g->state, ref.state);
      EXPECT_EQ(g->has_spare, 1);
      EXPECT_EQ(g->spare, 0.5f);
      if (as_view) {
        EXPECT_TRUE(kt::margin_intact(b) && kt::margin_intact(w) && kt::margin_intact(f));
      }
    }
  EXPECT_NO_REPORT();
}

TEST_F(Random, UniformNoiseRangeAndLimits) {
  // Limits beyond the type act as the type's range.
  kt::TestImage a = kt::image(BYTE, 64, 64), b = kt::image(BYTE, 64, 64);
  Gen g = make_gen(7);
  ASSERT_EQ(kel_uniform_noise(a, -10, 300, g.get()), 0);
  kel_rand_seed(g.get(), 7);
  ASSERT_EQ(kel_uniform_noise(b, 0, 255, g.get()), 0);
  EXPECT_EQ(kt::pixels(a), kt::pixels(b));
  // A fixed seed reproduces the image; the generator moves on otherwise.
  kel_rand_seed(g.get(), 7);
  kel_uniform_noise(b, -10, 300, g.get());
  EXPECT_EQ(kt::pixels(a), kt::pixels(b));
  kel_uniform_noise(b, -10, 300, g.get());
  EXPECT_NE(kt::pixels(a), kt::pixels(b));

  // The spread over lo - 0.5 .. hi + 0.5: with lo = 5, hi = 7 the value 4
  // occurs, and 4 and 7 about half as often as 5 and 6.
  kt::TestImage c = kt::image(BYTE, 256, 256);
  kel_uniform_noise(c, 5, 7, g.get());
  int counts[256] = {};
  for (double v : kt::pixels(c))
    ++counts[int(v)];
  EXPECT_EQ(counts[4] + counts[5] + counts[6] + counts[7], 65536);
  EXPECT_NEAR(counts[4] / double(counts[5]), 0.5, 0.05);
  EXPECT_NEAR(counts[7] / double(counts[6]), 0.5, 0.05);
  // With lo = 0, 0 comes out one and a half times as often.
  kel_uniform_noise(c, 0, 3, g.get());
  std::fill(counts, counts + 256, 0);
  for (double v : kt::pixels(c))
    ++counts[int(v)];
  EXPECT_EQ(counts[0] + counts[1] + counts[2] + counts[3], 65536);
  EXPECT_NEAR(counts[0] / double(counts[1]), 1.5, 0.1);
  EXPECT_NEAR(counts[3] / double(counts[2]), 0.5, 0.05);

  // A low limit above the high one still fills by the formula: 299.5 down
  // to 255.5, stored modulo 256.
  Ref ref;
  ref.state = g->state;
  kt::TestImage d = kt::image(BYTE, 13, 3);  // vector blocks and the tail
  kel_uniform_noise(d, 300, 400, g.get());
  expect_pixels(d, [&] {
    return double(std::uint8_t(int(float(ref.draw()) * (-44.0f * 1.5259022e-5f) + 299.5f)));
  });
  // The same in WORD, where the values pass 65535 and wrap.
  kt::TestImage e = kt::image(WORD, 13, 3);
  kel_uniform_noise(e, 70000, 80000, g.get());
  expect_pixels(e, [&] {
    return double(std::uint16_t(int(float(ref.draw()) * (-4464.0f * 1.5259022e-5f) + 69999.5f)));
  });
  // Values beyond the integer range store the low bits of -2^31, that is 0.
  kel_uniform_noise(d, 1e20f, 2e20f, g.get());
  EXPECT_EQ(kt::pixels(d), std::vector<double>(39, 0));
  EXPECT_NO_REPORT();
}

TEST_F(Random, GaussNoiseWrapsAround) {
  // Mean 250, deviation 20: values above 255 wrap to small ones.
  kt::TestImage b = kt::view(BYTE, 33, 21);
  Gen g = make_gen(4);
  Ref ref;
  ref.state = 4;
  ASSERT_EQ(kel_gauss_noise(b, 20, 250, g.get()), 0);
  int wrapped = 0;
  for (int y = 0; y < 21; ++y)
    for (int x = 0; x < 33; ++x) {
      int v = int(ref.gauss() * 20.0f + 250.0f);
      ASSERT_EQ(kt::get(b, x, y), v & 0xff) << x << "," << y;
      wrapped += v > 255;
    }
  EXPECT_GT(wrapped, 100);  // about 40% of the pixels
  EXPECT_TRUE(kt::margin_intact(b));
  // The odd pixel count leaves the pair's second value kept.
  EXPECT_EQ(g->has_spare, 1);
  EXPECT_EQ(g->state, ref.state);

  // WORD below 0 wraps to the top of the range; FLOAT is plain.
  kt::TestImage w = kt::image(WORD, 9, 9), f = kt::image(FLOAT, 9, 9);
  ASSERT_EQ(kel_gauss_noise(w, 10, 0, g.get()), 0);
  std::set<double> words;
  expect_pixels(w, [&] {
    int v = int(ref.gauss() * 10.0f + 0.0f);
    return double(v & 0xffff);
  });
  for (double v : kt::pixels(w))
    words.insert(v);
  EXPECT_GT(*words.rbegin(), 65500);
  ASSERT_EQ(kel_gauss_noise(f, 2, -1, g.get()), 0);
  expect_pixels(f, [&] { return double(ref.gauss() * 2.0f + -1.0f); });
  EXPECT_NO_REPORT();
}

TEST_F(Random, FailureReports) {
  Gen g = make_gen(1);
  kt::TestImage img = kt::image(BYTE, 4, 4, {1, 2, 3});
  EXPECT_EQ(kel_rand_seed(nullptr, 3), 10);
  EXPECT_REPORT("kel_rand_seed", 10);
  EXPECT_STREQ(im_last_message(), "RandGen == NULL");
  EXPECT_EQ(kel_rand_delete(nullptr), 10);
  EXPECT_REPORT("kel_rand_delete", 10);
  EXPECT_STREQ(im_last_message(), "RandGen == NULL");
  for (const char *fn : {"kel_uniform_noise", "kel_gauss_noise"}) {
    bool uniform = fn[4] == 'u';
    auto call = [&](Image *i, KelRandGen *r) {
      return uniform ? kel_uniform_noise(i, 0, 9, r) : kel_gauss_noise(i, 1, 0, r);
    };
    kt::clear_report();
    EXPECT_EQ(call(nullptr, g.get()), 1);
    EXPECT_REPORT(fn, 1);
    EXPECT_EQ(call(img, nullptr), 1);
    EXPECT_REPORT(fn, 1);
    EXPECT_STREQ(im_last_message(), "RandGen == NULL");
    img->type = 3;  // no such pixel type: nothing written, generator unchanged
    EXPECT_EQ(call(img, g.get()), 6);
    EXPECT_REPORT(fn, 6);
    img->type = BYTE;
    EXPECT_EQ(g->state, 1u);
    EXPECT_EQ(kt::get(img, 0, 0), 1);
  }
}

}  // namespace
