// Plans and butterfly stages of the line transform.
#include "tools/fft_lines.hpp"

namespace kel::tools {

LinePlan make_plan(int n, int log2, const float *cos_table, const float *sin_table) {
  LinePlan plan;
  if (n < 1) {  // only an altered record gets here; there is nothing to do
    plan.n = 0;
    return plan;
  }
  plan.n = n;
  // Stages run while the pair (p, p + h) stays inside the line.
  int fit = 0;
  while ((2LL << fit) <= n)
    ++fit;
  plan.stages = log2 < fit ? (log2 > 0 ? log2 : 0) : fit;
  plan.overrun = log2 > fit;

  // The bit-reversal walk: i counts up, j counts up with reversed bits; the
  // walk swaps i and j when i < j, which puts element rev[i] at i.
  plan.rev.resize(static_cast<std::size_t>(n));
  std::uint32_t j = 0;
  for (int i = 0; i < n - 1; ++i) {
    plan.rev[i] = j;
    std::uint32_t m = static_cast<std::uint32_t>(n) >> 1;
    while (m >= 1 && m <= j) {
      j -= m;
      m >>= 1;
    }
    j += m;
  }
  plan.rev[n - 1] = static_cast<std::uint32_t>(n - 1);

  // Twiddles stage by stage, gathered so that each stage reads them in order.
  std::size_t total = plan.stages > 0 ? (std::size_t{1} << plan.stages) - 1 : 0;
  plan.twr.assign(total, 0.0f);
  plan.twi.assign(total, 0.0f);
  for (int s = 0; s < plan.stages; ++s) {
    std::size_t h = std::size_t{1} << s;
    std::size_t step = static_cast<std::size_t>(n) / (2 * h);
    for (std::size_t k = 1; k < h; ++k) {
      plan.twr[h - 1 + k] = cos_table[k * step];
      plan.twi[h - 1 + k] = sin_table[k * step];
    }
  }
  return plan;
}

namespace {

// One stage of half-span h on B interleaved lines.
template <int B>
void radix2(float *__restrict re, float *__restrict im, int n, int h, const float *twr,
            const float *twi) {
  for (int base = 0; base < n; base += 2 * h) {
    {
      float *ar = re + base * B, *ai = im + base * B;
      float *br = re + (base + h) * B, *bi = im + (base + h) * B;
      for (int b = 0; b < B; ++b) {
        float tr = br[b], ti = bi[b];
        br[b] = ar[b] - tr;
        bi[b] = ai[b] - ti;
        ar[b] = ar[b] + tr;
        ai[b] = ai[b] + ti;
      }
    }
    for (int k = 1; k < h; ++k) {
      const float c = twr[k], s = twi[k];
      float *ar = re + (base + k) * B, *ai = im + (base + k) * B;
      float *br = re + (base + k + h) * B, *bi = im + (base + k + h) * B;
      for (int b = 0; b < B; ++b) {
        float xr = br[b], xi = bi[b];
        float tr = c * xr - s * xi;
        float ti = s * xr + c * xi;
        br[b] = ar[b] - tr;
        bi[b] = ai[b] - ti;
        ar[b] = ar[b] + tr;
        ai[b] = ai[b] + ti;
      }
    }
  }
}

// The butterfly of one pair, with the product by (c, s) when Mul.
template <bool Mul>
inline void butterfly(float &pr, float &pi, float &qr, float &qi, float c, float s) {
  float tr = qr, ti = qi;
  if constexpr (Mul) {
    tr = c * qr - s * qi;
    ti = s * qr + c * qi;
  }
  qr = pr - tr;
  qi = pi - ti;
  pr = pr + tr;
  pi = pi + ti;
}

// Elements a, a + h, a + 2h, a + 3h through the stage of half-span h (pairs
// (a, a+h) and (a+2h, a+3h), twiddle (c1, s1)) and then the stage of
// half-span 2h (pairs (a, a+2h) with (c2, s2) and (a+h, a+3h) with (c3, s3)).
// First is true for k = 0, where the products with index 0 are skipped.
template <int B, bool First>
inline void quad(float *__restrict re, float *__restrict im, int a, int h, float c1, float s1,
                 float c2, float s2, float c3, float s3) {
  float *r0 = re + a * B, *i0 = im + a * B;
  float *r1 = r0 + h * B, *i1 = i0 + h * B;
  float *r2 = r1 + h * B, *i2 = i1 + h * B;
  float *r3 = r2 + h * B, *i3 = i2 + h * B;
  for (int b = 0; b < B; ++b) {
    float x0r = r0[b], x0i = i0[b], x1r = r1[b], x1i = i1[b];
    float x2r = r2[b], x2i = i2[b], x3r = r3[b], x3i = i3[b];
    butterfly<!First>(x0r, x0i, x1r, x1i, c1, s1);
    butterfly<!First>(x2r, x2i, x3r, x3i, c1, s1);
    butterfly<!First>(x0r, x0i, x2r, x2i, c2, s2);
    butterfly<true>(x1r, x1i, x3r, x3i, c3, s3);
    r0[b] = x0r, i0[b] = x0i, r1[b] = x1r, i1[b] = x1i;
    r2[b] = x2r, i2[b] = x2i, r3[b] = x3r, i3[b] = x3i;
  }
}

// The stages of half-span h and 2h in one sweep.
template <int B>
void radix4(float *re, float *im, int n, int h, const float *tw1r, const float *tw1i,
            const float *tw2r, const float *tw2i) {
  for (int base = 0; base < n; base += 4 * h) {
    quad<B, true>(re, im, base, h, 1.0f, 0.0f, 1.0f, 0.0f, tw2r[h], tw2i[h]);
    for (int k = 1; k < h; ++k)
      quad<B, false>(re, im, base + k, h, tw1r[k], tw1i[k], tw2r[k], tw2i[k], tw2r[k + h],
                     tw2i[k + h]);
  }
}

template <int B>
void run_stages_of(float *re, float *im, const LinePlan &plan) {
  const float *twr = plan.twr.data(), *twi = plan.twi.data();
  int s = 0;
  for (; s + 1 < plan.stages; s += 2) {
    int h = 1 << s;
    radix4<B>(re, im, plan.n, h, twr + h - 1, twi + h - 1, twr + 2 * h - 1, twi + 2 * h - 1);
  }
  if (s < plan.stages) {
    int h = 1 << s;
    radix2<B>(re, im, plan.n, h, twr + h - 1, twi + h - 1);
  }
}

}  // namespace

void run_stages(float *re, float *im, int lines, const LinePlan &plan) {
  switch (lines) {
    case 1:
      return run_stages_of<1>(re, im, plan);
    case 2:
      return run_stages_of<2>(re, im, plan);
    case 4:
      return run_stages_of<4>(re, im, plan);
    case 8:
      return run_stages_of<8>(re, im, plan);
    default:
      return run_stages_of<kMaxBlock>(re, im, plan);
  }
}

int transform_line(float *re, std::ptrdiff_t re_stride, float *im, std::ptrdiff_t im_stride,
                   const LinePlan &plan, float *work) {
  const int n = plan.n;
  float *wr = work, *wi = work + n;
  for (int i = 0; i < n; ++i) {
    const std::ptrdiff_t from = plan.rev[i];
    wr[i] = re[from * re_stride];
    wi[i] = im[from * im_stride];
  }
  run_stages_of<1>(wr, wi, plan);
  for (int i = 0; i < n; ++i) {
    re[i * re_stride] = wr[i];
    im[i * im_stride] = wi[i];
  }
  return plan.overrun ? kPairOverrun : 0;
}

}  // namespace kel::tools
