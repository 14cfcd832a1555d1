// FFT: coefficient tables, the transforms against a plain line-by-line
// reference (bit for bit), round trips, known spectra, centring and every
// failure report.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <random>
#include <vector>

#include "kelkit.h"
#include "support/test_images.hpp"

namespace {

struct CoeffDeleter {
  void operator()(kel_fft_coeff *c) const { kel_fft_delete_coeff(c); }
};
using Coeff = std::unique_ptr<kel_fft_coeff, CoeffDeleter>;

Coeff make_coeff(int nx, int ny, int direction) {
  return Coeff(kel_fft_create_coeff(nx, ny, direction));
}

// Tables by the rotation recurrence, written out independently.
void reference_tables(int n, int direction, std::vector<float> &c, std::vector<float> &s) {
  c.assign(n / 2, 0), s.assign(n / 2, 0);
  if (n < 2) return;
  double a = 2 * M_PI / n, cs = std::cos(a), sn = direction ? -std::sin(a) : std::sin(a);
  c[0] = 1, s[0] = 0;
  for (int k = 1; k < n / 2; ++k) {
    c[k] = float(cs * c[k - 1] - sn * s[k - 1]);
    s[k] = float(cs * s[k - 1] + sn * c[k - 1]);
  }
}

// The line transform exactly as defined: bit-reversal walk, then stages with
// k outer and p inner, the product skipped for k = 0.
void reference_line(float *re, float *im, int d, int n, const float *c, const float *s) {
  int j = 0;
  for (int i = 0; i < n - 1; ++i) {
    if (i < j) std::swap(re[i * d], re[j * d]), std::swap(im[i * d], im[j * d]);
    int m = n / 2;
    while (m >= 1 && m <= j)
      j -= m, m /= 2;
    j += m;
  }
  for (int h = 1; h < n; h *= 2) {
    int step = n / (2 * h);
    for (int k = 0; k < h; ++k)
      for (int p = k; p < n; p += 2 * h) {
        int q = p + h;
        float tr = re[q * d], ti = im[q * d];
        if (k) {
          tr = c[k * step] * re[q * d] - s[k * step] * im[q * d];
          ti = s[k * step] * re[q * d] + c[k * step] * im[q * d];
        }
        re[q * d] = re[p * d] - tr, im[q * d] = im[p * d] - ti;
        re[p * d] = re[p * d] + tr, im[p * d] = im[p * d] + ti;
      }
  }
}

// Packed copies of an image pair, transformed by the reference.
struct Planes {
  int dx, dy;
  std::vector<float> re, im;
};

Planes planes_of(const Image *re, const Image *im) {
  Planes p{re->dx, re->dy, {}, {}};
  for (int y = 0; y < p.dy; ++y)
    for (int x = 0; x < p.dx; ++x)
      p.re.push_back(float(kt::get(re, x, y))), p.im.push_back(float(kt::get(im, x, y)));
  return p;
}

void reference_2d(Planes &p, int direction) {
  std::vector<float> cx, sx, cy, sy;
  reference_tables(p.dx, direction, cx, sx);
  reference_tables(p.dy, direction, cy, sy);
  for (int y = 0; y < p.dy; ++y)
    reference_line(&p.re[y * p.dx], &p.im[y * p.dx], 1, p.dx, cx.data(), sx.data());
  for (int x = 0; x < p.dx; ++x)
    reference_line(&p.re[x], &p.im[x], p.dx, p.dy, cy.data(), sy.data());
}

// Number of pixels that differ from the planes in any bit.
int mismatches(const Planes &p, const Image *re, const Image *im) {
  int bad = 0;
  for (int y = 0; y < p.dy; ++y)
    for (int x = 0; x < p.dx; ++x) {
      float r = float(kt::get(re, x, y)), i = float(kt::get(im, x, y));
      bad += std::memcmp(&r, &p.re[y * p.dx + x], 4) != 0 ||
             std::memcmp(&i, &p.im[y * p.dx + x], 4) != 0;
    }
  return bad;
}

class Fft : public ::testing::Test {
 protected:
  void SetUp() override { kt::clear_report(); }
};

TEST_F(Fft, CoefficientRecord) {
  Coeff c = make_coeff(16, 1, 5);  // any non-zero direction is 1
  ASSERT_TRUE(c);
  EXPECT_EQ(c->nDirection, 1);
  EXPECT_EQ(c->nSizeX, 16);
  EXPECT_EQ(c->nSizeY, 1);
  EXPECT_EQ(c->nLog2X, 4);
  EXPECT_EQ(c->nLog2Y, 0);
  EXPECT_EQ(c->afCosY, nullptr);  // a size of 1 has no tables
  EXPECT_EQ(c->afSinY, nullptr);
  std::vector<float> rc, rs;
  reference_tables(16, 1, rc, rs);
  for (int k = 0; k < 8; ++k) {
    EXPECT_EQ(c->afCosX[k], rc[k]) << k;
    EXPECT_EQ(c->afSinX[k], rs[k]) << k;
  }
  EXPECT_LT(c->afSinX[4], -0.999f);  // direction 1: -sin(pi / 2)
  ASSERT_EQ(kel_fft_reverse_coeff(c.get()), 0);
  EXPECT_EQ(c->nDirection, 0);
  for (int k = 0; k < 8; ++k)
    EXPECT_EQ(c->afSinX[k], -rs[k]) << k;
  c->nDirection = 7;  // anything but 1 reverses to 1
  kel_fft_reverse_coeff(c.get());
  EXPECT_EQ(c->nDirection, 1);

  Coeff one = make_coeff(1, 1, 0);
  ASSERT_TRUE(one);
  EXPECT_EQ(one->nLog2X, 0);
  EXPECT_EQ(one->afCosX, nullptr);
  EXPECT_EQ(kel_fft_delete_coeff(nullptr), 0);
  EXPECT_NO_REPORT();
}

TEST_F(Fft, CreateRefusesBadSizes) {
  struct Case {
    int nx, ny, code;
    const char *message;
  } cases[] = {{6, 8, 10, "X size must be power of 2"},
               {8, 6, 10, "Y size must be power of 2"},
               {0, 8, 17, "x or y size == 0"},
               {8, -4, 17, "x or y size == 0"},
               {3, 0, 17, "x or y size == 0"},  // sizes below 1 are tested first
               {0x7fffffff, 1, 10, "X size must be power of 2"}};
  for (const Case &k : cases) {
    kt::clear_report();
    EXPECT_EQ(kel_fft_create_coeff(k.nx, k.ny, 0), nullptr);
    EXPECT_REPORT("kel_fft_create_coeff", k.code);
    EXPECT_STREQ(im_last_message(), k.message);
  }
}

TEST_F(Fft, TransformsMatchReferenceBitForBit) {
  const int sizes[][2] = {{1, 1},   {2, 1},    {1, 8},   {4, 2}, {8, 32},
                          {64, 16}, {32, 128}, {256, 4}, {2, 64}};
  for (int direction : {0, 1})
    for (auto [dx, dy] : sizes)
      for (bool as_view : {false, true}) {
        SCOPED_TRACE(testing::Message()
                     << dx << "x" << dy << " dir " << direction << (as_view ? " view" : ""));
        kt::TestImage re = kt::random_image(FLOAT, dx, dy, dx * 7 + dy, as_view);
        kt::TestImage im = kt::random_image(FLOAT, dx, dy, dx + dy * 11, as_view);
        Planes expected = planes_of(re, im);
        reference_2d(expected, direction);
        Coeff c = make_coeff(dx, dy, direction);
        ASSERT_EQ(kel_fft_2d(re, im, c.get()), 0);
        EXPECT_EQ(mismatches(expected, re, im), 0);
        if (as_view) {
          EXPECT_TRUE(kt::margin_intact(re) && kt::margin_intact(im));
        }

        // kel_fft_1d: the first row only.
        kt::TestImage r1 = kt::random_image(FLOAT, dx, dy, 3, as_view);
        kt::TestImage i1 = kt::random_image(FLOAT, dx, dy, 4, as_view);
        Planes row = planes_of(r1, i1);
        std::vector<float> cx, sx;
        reference_tables(dx, direction, cx, sx);
        reference_line(row.re.data(), row.im.data(), 1, dx, cx.data(), sx.data());
        ASSERT_EQ(kel_fft_1d(r1, i1, c.get()), 0);
        EXPECT_EQ(mismatches(row, r1, i1), 0);
      }
  EXPECT_NO_REPORT();
}

TEST_F(Fft, ForwardThenReversedGivesNTimesInput) {
  kt::TestImage re = kt::random_image(FLOAT, 64, 32, 1, true);
  kt::TestImage im = kt::random_image(FLOAT, 64, 32, 2);
  std::vector<double> r0 = kt::pixels(re), i0 = kt::pixels(im);
  Coeff c = make_coeff(64, 32, 0);
  ASSERT_EQ(kel_fft_2d(re, im, c.get()), 0);
  ASSERT_EQ(kel_fft_reverse_coeff(c.get()), 0);
  ASSERT_EQ(kel_fft_2d(re, im, c.get()), 0);
  std::vector<double> r1 = kt::pixels(re), i1 = kt::pixels(im);
  for (std::size_t k = 0; k < r0.size(); ++k) {
    // Inputs are up to 1000 in size; float sums over 2048 terms.
    ASSERT_NEAR(r1[k] / 2048, r0[k], 1e-3) << k;
    ASSERT_NEAR(i1[k] / 2048, i0[k], 1e-3) << k;
  }

  // 1-D, on the first row of a taller pair: other rows untouched.
  kt::TestImage a = kt::random_image(FLOAT, 128, 3, 5), b = kt::random_image(FLOAT, 128, 3, 6);
  std::vector<double> a0 = kt::pixels(a), b0 = kt::pixels(b);
  Coeff c1 = make_coeff(128, 1, 1);
  ASSERT_EQ(kel_fft_1d(a, b, c1.get()), 0);
  kel_fft_reverse_coeff(c1.get());
  ASSERT_EQ(kel_fft_1d(a, b, c1.get()), 0);
  std::vector<double> a1 = kt::pixels(a), b1 = kt::pixels(b);
  for (std::size_t k = 0; k < a0.size(); ++k) {
    double gain = k < 128 ? 128 : 1;
    ASSERT_NEAR(a1[k] / gain, a0[k], 5e-4) << k;
    ASSERT_NEAR(b1[k] / gain, b0[k], 5e-4) << k;
  }
  EXPECT_NO_REPORT();
}

TEST_F(Fft, CosineLandsInItsBins) {
  // 1-D: cos(2 pi 3 x / 16) has half its energy in bins 3 and 13.
  kt::TestImage re = kt::image(FLOAT, 16, 1), im = kt::image(FLOAT, 16, 1);
  for (int x = 0; x < 16; ++x)
    kt::set(re, x, 0, std::cos(2 * M_PI * 3 * x / 16));
  Coeff c = make_coeff(16, 1, 1);
  ASSERT_EQ(kel_fft_1d(re, im, c.get()), 0);
  for (int x = 0; x < 16; ++x) {
    double expected = (x == 3 || x == 13) ? 8 : 0;
    EXPECT_NEAR(kt::get(re, x, 0), expected, 1e-5) << x;
    EXPECT_NEAR(kt::get(im, x, 0), 0, 1e-5) << x;
  }

  // 2-D: a plane wave of frequency (2, 5) on 16 x 8 lands in (2, 5) and its
  // mirror (14, 3), each with half of 128; the centred magnitude moves them
  // by half the size.
  kt::TestImage r2 = kt::image(FLOAT, 16, 8), i2 = kt::image(FLOAT, 16, 8);
  for (int y = 0; y < 8; ++y)
    for (int x = 0; x < 16; ++x)
      kt::set(r2, x, y, std::cos(2 * M_PI * (2.0 * x / 16 + 5.0 * y / 8)));
  Coeff c2 = make_coeff(16, 8, 0);
  ASSERT_EQ(kel_fft_2d(r2, i2, c2.get()), 0);
  kt::TestImage mag = kt::image(FLOAT, 16, 8);
  ASSERT_EQ(kel_fft_power(r2, i2, mag), 0);
  for (int y = 0; y < 8; ++y)
    for (int x = 0; x < 16; ++x) {
      bool peak = (x == 2 && y == 5) || (x == 14 && y == 3);
      EXPECT_NEAR(kt::get(r2, x, y), peak ? 64 : 0, 1e-4) << x << "," << y;
      EXPECT_NEAR(kt::get(mag, (x + 8) % 16, (y + 4) % 8), peak ? 64 : 0, 1e-4);
    }
  EXPECT_NO_REPORT();
}

TEST_F(Fft, CentredSpectra) {
  // A constant image has only frequency 0, which lands at the centre.
  kt::TestImage re = kt::image(FLOAT, 8, 4), im = kt::image(FLOAT, 8, 4);
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 8; ++x)
      kt::set(re, x, y, 2);
  Coeff c = make_coeff(8, 4, 0);
  ASSERT_EQ(kel_fft_2d(re, im, c.get()), 0);
  kt::TestImage mag = kt::view(FLOAT, 8, 4), phase = kt::image(FLOAT, 8, 4);
  ASSERT_EQ(kel_fft_power(re, im, mag), 0);
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 8; ++x)
      EXPECT_EQ(kt::get(mag, x, y), (x == 4 && y == 2) ? 64 : 0);
  EXPECT_TRUE(kt::margin_intact(mag));

  // Phase and magnitude of known values, each moved by half the size.
  const std::vector<double> r = {3, -1, 0, 2, 0, -4}, i = {4, 0, -2, 2, 0, -3};
  kt::TestImage a = kt::image(FLOAT, 3, 2, r), b = kt::image(FLOAT, 3, 2, i);
  kt::TestImage p = kt::image(FLOAT, 3, 2), m = kt::image(FLOAT, 3, 2);
  ASSERT_EQ(kel_fft_phase(a, b, p), 0);
  ASSERT_EQ(kel_fft_power(a, b, m), 0);
  for (int y = 0; y < 2; ++y)
    for (int x = 0; x < 3; ++x) {
      int xs = (x + 1) % 3, ys = (y + 1) % 2;
      EXPECT_FLOAT_EQ(kt::get(p, xs, ys), std::atan2(i[y * 3 + x], r[y * 3 + x]));
      EXPECT_FLOAT_EQ(kt::get(m, xs, ys), std::hypot(i[y * 3 + x], r[y * 3 + x]));
    }
  // The output may be an input.
  ASSERT_EQ(kel_fft_power(a, b, a), 0);
  EXPECT_EQ(kt::pixels(a), kt::pixels(m));
  kt::TestImage a2 = kt::image(FLOAT, 3, 2, r);
  ASSERT_EQ(kel_fft_phase(a2, b, b), 0);
  EXPECT_EQ(kt::pixels(b), kt::pixels(p));
  EXPECT_NO_REPORT();
}

TEST_F(Fft, CenterShiftsByHalfTheSize) {
  // Odd sizes: (x, y) goes to ((x + 1) mod 3, (y + 2) mod 5).
  std::vector<double> v(15);
  for (int k = 0; k < 15; ++k)
    v[k] = k;
  for (unsigned type : {BYTE, WORD, FLOAT}) {
    kt::TestImage img = kt::view(type, 3, 5, v);
    ASSERT_EQ(kel_fft_center(img), 0);
    for (int y = 0; y < 5; ++y)
      for (int x = 0; x < 3; ++x)
        EXPECT_EQ(kt::get(img, (x + 1) % 3, (y + 2) % 5), y * 3 + x) << type;
    EXPECT_TRUE(kt::margin_intact(img));
  }
  // Even sizes: the diagonal quadrants swap, and twice restores the image.
  kt::TestImage img = kt::random_image(FLOAT, 6, 4, 9, true);
  std::vector<double> before = kt::pixels(img);
  ASSERT_EQ(kel_fft_center(img), 0);
  EXPECT_EQ(kt::get(img, 3, 2), before[0]);
  EXPECT_EQ(kt::get(img, 0, 0), before[2 * 6 + 3]);
  EXPECT_EQ(kt::get(img, 5, 0), before[2 * 6 + 2]);
  ASSERT_EQ(kel_fft_center(img), 0);
  EXPECT_EQ(kt::pixels(img), before);
  kt::TestImage empty = kt::image(FLOAT, 0, 3);
  EXPECT_EQ(kel_fft_center(empty), 0);
  EXPECT_NO_REPORT();
}

TEST_F(Fft, FailureReports) {
  Coeff c = make_coeff(8, 4, 0);
  kt::TestImage f = kt::image(FLOAT, 8, 4), g = kt::image(FLOAT, 8, 4);
  kt::TestImage b = kt::image(BYTE, 8, 4), narrow = kt::image(FLOAT, 4, 4);
  kt::TestImage low = kt::image(FLOAT, 8, 2), wide = kt::image(FLOAT, 16, 4);
  kel_fft_coeff *k = c.get();
  struct Case {
    const char *fn;
    int code;
    const char *message;  // "" for a report without a message
    std::function<int()> call;
  } cases[] = {
      {"kel_fft_reverse_coeff", 10, "Coeff struct == NULL",
       [] { return kel_fft_reverse_coeff(nullptr); }},
      {"kel_fft_1d", 10, "Coeff struct == NULL", [&] { return kel_fft_1d(f, g, nullptr); }},
      {"kel_fft_1d", 1, nullptr, [&] { return kel_fft_1d(nullptr, g, k); }},
      {"kel_fft_1d", 12, "", [&] { return kel_fft_1d(f, b, k); }},
      {"kel_fft_1d", 10, "Real and imaginary Arrays must be same length",
       [&] { return kel_fft_1d(f, narrow, k); }},
      {"kel_fft_1d", 10, "Array X size doesn't match Coeff. size",
       [&] { return kel_fft_1d(wide, wide, k); }},
      {"kel_fft_2d", 10, "Coeff struct == NULL", [&] { return kel_fft_2d(f, g, nullptr); }},
      {"kel_fft_2d", 1, nullptr, [&] { return kel_fft_2d(f, nullptr, k); }},
      {"kel_fft_2d", 12, "", [&] { return kel_fft_2d(b, g, k); }},
      {"kel_fft_2d", 10, "Real and imaginary Images must be same size",
       [&] { return kel_fft_2d(f, low, k); }},
      {"kel_fft_2d", 10, "Image size doesn't match Coeff. size",
       [&] { return kel_fft_2d(low, low, k); }},
      {"kel_fft_phase", 1, nullptr, [&] { return kel_fft_phase(f, g, nullptr); }},
      {"kel_fft_phase", 12, "", [&] { return kel_fft_phase(f, g, b); }},
      {"kel_fft_phase", 10, "All images must have the same dimensions",
       [&] { return kel_fft_phase(f, low, g); }},
      {"kel_fft_power", 1, nullptr, [&] { return kel_fft_power(nullptr, g, f); }},
      {"kel_fft_power", 12, "", [&] { return kel_fft_power(b, g, f); }},
      {"kel_fft_power", 10, "Images & power spectrum must have the same dimensions",
       [&] { return kel_fft_power(f, g, narrow); }},
      {"kel_fft_center", 6, "", [] { return kel_fft_center(nullptr); }},
  };
  for (const Case &t : cases) {
    SCOPED_TRACE(t.message ? t.message : t.fn);
    kt::clear_report();
    EXPECT_EQ(t.call(), t.code);
    EXPECT_REPORT(t.fn, t.code);
    if (t.message) {
      EXPECT_STREQ(im_last_message(), t.message);
    }
  }
  // A wrong pixel type comes before the size checks, and nothing is written.
  kt::clear_report();
  kt::TestImage r = kt::random_image(FLOAT, 8, 2, 1);
  std::vector<double> before = kt::pixels(r);
  EXPECT_EQ(kel_fft_2d(r, b, k), 12);
  EXPECT_EQ(kt::pixels(r), before);
  b->type = 3;
  EXPECT_EQ(kel_fft_center(b), 6);
  b->type = BYTE;
}

TEST_F(Fft, StageOverrunStopsThePass) {
  // A record whose logarithm exceeds its size stops with code 24 once the
  // stages that fit are done: in the first row, or in the first column after
  // a complete row pass.
  kt::TestImage re = kt::random_image(FLOAT, 8, 4, 1), im = kt::random_image(FLOAT, 8, 4, 2);
  Planes expected = planes_of(re, im);
  Coeff c = make_coeff(8, 4, 0);
  c->nLog2X = 4;
  EXPECT_EQ(kel_fft_2d(re, im, c.get()), 24);
  EXPECT_REPORT("kel_fft_2d", 24);
  EXPECT_STREQ(im_last_message(), "Horizontal pass");
  std::vector<float> cx, sx;
  reference_tables(8, 0, cx, sx);
  reference_line(expected.re.data(), expected.im.data(), 1, 8, cx.data(), sx.data());
  EXPECT_EQ(mismatches(expected, re, im), 0);  // rows 1 to 3 untouched

  c->nLog2X = 3;
  c->nLog2Y = 3;
  kt::TestImage r2 = kt::random_image(FLOAT, 8, 4, 3), i2 = kt::random_image(FLOAT, 8, 4, 4);
  Planes rows = planes_of(r2, i2);
  EXPECT_EQ(kel_fft_2d(r2, i2, c.get()), 24);
  EXPECT_REPORT("kel_fft_2d", 24);
  EXPECT_STREQ(im_last_message(), "Vertical pass");
  std::vector<float> cy, sy;
  reference_tables(4, 0, cy, sy);
  for (int y = 0; y < 4; ++y)
    reference_line(&rows.re[y * 8], &rows.im[y * 8], 1, 8, cx.data(), sx.data());
  reference_line(rows.re.data(), rows.im.data(), 8, 4, cy.data(), sy.data());
  EXPECT_EQ(mismatches(rows, r2, i2), 0);

  c->nLog2X = 5;
  kt::clear_report();
  EXPECT_EQ(kel_fft_1d(re, im, c.get()), 24);
  EXPECT_REPORT("kel_fft_1d", 24);

  // A size that is not a power of two: pairs would reach past the line, so
  // that axis stops at once; the rows of a 6-high pair are still done.
  c->nLog2X = 3;
  c->nSizeY = 6;
  kt::TestImage r3 = kt::random_image(FLOAT, 8, 6, 5), i3 = kt::random_image(FLOAT, 8, 6, 6);
  Planes six = planes_of(r3, i3);
  EXPECT_EQ(kel_fft_2d(r3, i3, c.get()), 24);
  EXPECT_STREQ(im_last_message(), "Vertical pass");
  for (int y = 0; y < 6; ++y)
    reference_line(&six.re[y * 8], &six.im[y * 8], 1, 8, cx.data(), sx.data());
  EXPECT_EQ(mismatches(six, r3, i3), 0);
  c->nSizeX = 6;
  kt::TestImage r4 = kt::random_image(FLOAT, 6, 6, 7), i4 = kt::random_image(FLOAT, 6, 6, 8);
  std::vector<double> before = kt::pixels(r4);
  EXPECT_EQ(kel_fft_2d(r4, i4, c.get()), 24);
  EXPECT_STREQ(im_last_message(), "Horizontal pass");
  EXPECT_EQ(kt::pixels(r4), before);
  EXPECT_EQ(kel_fft_1d(r4, i4, c.get()), 24);
}

}  // namespace
