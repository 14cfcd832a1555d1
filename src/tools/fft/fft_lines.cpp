// Plans and butterfly stages of the line transform.
#include "tools/fft/fft_lines.hpp"

#include "tools/fft/fft_stages.hpp"

namespace kel::tools {

LinePlan make_plan(int n, int log2, const float *cos_table, const float *sin_table) {
  LinePlan plan;
  if (n < 1) {  // only an altered record gets here; there is nothing to do
    plan.n = 0;
    return plan;
  }
  plan.n = n;
  if ((n & (n - 1)) != 0 || (n > 1 && (!cos_table || !sin_table))) {
    // An altered record: a length that is not a power of two (where pairs
    // would reach past the line) or missing tables. Nothing is transformed.
    plan.overrun = true;
    plan.rev.resize(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i)
      plan.rev[i] = static_cast<std::uint32_t>(i);
    return plan;
  }
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

// The generic path: plain floats for one or two lines, vectors of four
// otherwise (the baseline of every x86-64 processor, and plain code where
// the compiler has no such vectors).
void run_stages_generic(float *re, float *im, int lines, int n, int stages, const float *twr,
                        const float *twi) {
  using stages::v4f;
  switch (lines) {
    case 1:
      return stages::run<float, 1>(re, im, n, stages, twr, twi);
    case 2:
      return stages::run<float, 2>(re, im, n, stages, twr, twi);
    case 4:
      return stages::run<v4f, 4>(re, im, n, stages, twr, twi);
    case 8:
      return stages::run<v4f, 8>(re, im, n, stages, twr, twi);
    case 16:
      return stages::run<v4f, 16>(re, im, n, stages, twr, twi);
    default:
      return stages::run<v4f, 32>(re, im, n, stages, twr, twi);
  }
}

#if defined(__x86_64__) || defined(__i386__)
namespace {
// Static initialisers may run before the compiler's own processor probe, so
// it is run here explicitly first.
const bool use_avx2 = [] {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") != 0;
}();
}  // namespace

bool have_avx2_stages() {
  return use_avx2;
}
#else
bool have_avx2_stages() {
  return false;
}
void run_stages_avx2(float *re, float *im, int lines, int n, int stages, const float *twr,
                     const float *twi) {
  run_stages_generic(re, im, lines, n, stages, twr, twi);
}
#endif

void run_stages(float *re, float *im, int lines, const LinePlan &plan) {
  if (lines >= 8 && have_avx2_stages())
    run_stages_avx2(re, im, lines, plan.n, plan.stages, plan.twr.data(), plan.twi.data());
  else
    run_stages_generic(re, im, lines, plan.n, plan.stages, plan.twr.data(), plan.twi.data());
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
  stages::run<float, 1>(wr, wi, n, plan.stages, plan.twr.data(), plan.twi.data());
  for (int i = 0; i < n; ++i) {
    re[i * re_stride] = wr[i];
    im[i * im_stride] = wi[i];
  }
  return plan.overrun ? kPairOverrun : 0;
}

}  // namespace kel::tools
