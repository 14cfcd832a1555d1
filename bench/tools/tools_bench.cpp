// FFT and noise images beside FFTW and OpenCV.
//
// The 2-D transforms run in place on a complex single-precision image, all
// single-threaded: kelkit on its real/imaginary image pair, FFTW on the same
// split layout (FFTW_MEASURE plan), OpenCV on an interleaved two-channel
// matrix. The input is restored outside the timed region before each run.
#include <fftw3.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "bench_support.hpp"

namespace {

constexpr int kFftSizes[] = {256, 1024, 4096};
constexpr int kNoiseSize = 4096;

template <class Fn>
void register_at(const std::string &name, const std::string &impl, int size, Fn fn) {
  benchmark::RegisterBenchmark((name + "/" + impl + "/" + std::to_string(size)).c_str(),
                               [fn, size](benchmark::State &state) { fn(state, size); })
      ->Unit(benchmark::kMicrosecond)
      ->UseRealTime();
}

std::vector<float> random_floats(std::size_t n, std::uint32_t seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
  std::vector<float> v(n);
  for (float &x : v)
    x = dist(gen);
  return v;
}

void fft_kel(benchmark::State &st, int n) {
  const std::size_t count = std::size_t(n) * n;
  const std::vector<float> r0 = random_floats(count, 1), i0 = random_floats(count, 2);
  kb::ImagePtr re(im_create(FLOAT, n, n)), im(im_create(FLOAT, n, n));
  kel_fft_coeff *coeff = kel_fft_create_coeff(n, n, 1);
  for (auto _ : st) {
    st.PauseTiming();
    std::memcpy(re->data, r0.data(), count * sizeof(float));
    std::memcpy(im->data, i0.data(), count * sizeof(float));
    st.ResumeTiming();
    kel_fft_2d(re.get(), im.get(), coeff);
    benchmark::ClobberMemory();
  }
  kel_fft_delete_coeff(coeff);
}

void fft_fftw(benchmark::State &st, int n) {
  const std::size_t count = std::size_t(n) * n;
  const std::vector<float> r0 = random_floats(count, 1), i0 = random_floats(count, 2);
  float *re = fftwf_alloc_real(count), *im = fftwf_alloc_real(count);
  fftwf_iodim dims[2] = {{n, n, n}, {n, 1, 1}};
  // Planning with FFTW_MEASURE overwrites the arrays, so it comes first.
  fftwf_plan plan = fftwf_plan_guru_split_dft(2, dims, 0, nullptr, re, im, re, im, FFTW_MEASURE);
  for (auto _ : st) {
    st.PauseTiming();
    std::memcpy(re, r0.data(), count * sizeof(float));
    std::memcpy(im, i0.data(), count * sizeof(float));
    st.ResumeTiming();
    fftwf_execute_split_dft(plan, re, im, re, im);
    benchmark::ClobberMemory();
  }
  fftwf_destroy_plan(plan);
  fftwf_free(re);
  fftwf_free(im);
}

// FFTW on its own interleaved layout, its fastest form.
void fft_fftw_interleaved(benchmark::State &st, int n) {
  const std::size_t count = std::size_t(n) * n;
  const std::vector<float> r0 = random_floats(count, 1), i0 = random_floats(count, 2);
  fftwf_complex *data = fftwf_alloc_complex(count);
  fftwf_plan plan = fftwf_plan_dft_2d(n, n, data, data, FFTW_FORWARD, FFTW_MEASURE);
  std::vector<float> source(2 * count);
  for (std::size_t k = 0; k < count; ++k)
    source[2 * k] = r0[k], source[2 * k + 1] = i0[k];
  for (auto _ : st) {
    st.PauseTiming();
    std::memcpy(data, source.data(), source.size() * sizeof(float));
    st.ResumeTiming();
    fftwf_execute(plan);
    benchmark::ClobberMemory();
  }
  fftwf_destroy_plan(plan);
  fftwf_free(data);
}

void fft_cv(benchmark::State &st, int n) {
  const std::size_t count = std::size_t(n) * n;
  const std::vector<float> r0 = random_floats(count, 1), i0 = random_floats(count, 2);
  cv::Mat source(n, n, CV_32FC2), m(n, n, CV_32FC2);
  auto *p = source.ptr<float>();
  for (std::size_t k = 0; k < count; ++k)
    p[2 * k] = r0[k], p[2 * k + 1] = i0[k];
  for (auto _ : st) {
    st.PauseTiming();
    source.copyTo(m);
    st.ResumeTiming();
    cv::dft(m, m);
    benchmark::ClobberMemory();
  }
}

const bool registered = [] {
  for (int n : kFftSizes) {
    register_at("fft_2d", "kel", n, fft_kel);
    register_at("fft_2d", "fftw", n, fft_fftw_interleaved);
    register_at("fft_2d_split", "fftw", n, fft_fftw);
    register_at("fft_2d", "cv", n, fft_cv);
  }

  register_at("uniform_noise", "kel", kNoiseSize, [](benchmark::State &st, int n) {
    kb::ImagePtr img(im_create(BYTE, n, n));
    KelRandGen *gen = kel_rand_create();
    for (auto _ : st) {
      kel_uniform_noise(img.get(), 0, 255, gen);
      benchmark::ClobberMemory();
    }
    kel_rand_delete(gen);
  });
  register_at("uniform_noise", "cv", kNoiseSize, [](benchmark::State &st, int n) {
    kb::ImagePtr img(im_create(BYTE, n, n));
    cv::Mat m = kb::as_mat(img.get());
    for (auto _ : st) {
      cv::randu(m, 0, 256);
      benchmark::ClobberMemory();
    }
  });

  register_at("gauss_noise", "kel", kNoiseSize, [](benchmark::State &st, int n) {
    kb::ImagePtr img(im_create(BYTE, n, n));
    KelRandGen *gen = kel_rand_create();
    for (auto _ : st) {
      kel_gauss_noise(img.get(), 20, 128, gen);
      benchmark::ClobberMemory();
    }
    kel_rand_delete(gen);
  });
  register_at("gauss_noise", "cv", kNoiseSize, [](benchmark::State &st, int n) {
    kb::ImagePtr img(im_create(BYTE, n, n));
    cv::Mat m = kb::as_mat(img.get());
    for (auto _ : st) {
      cv::randn(m, 128, 20);
      benchmark::ClobberMemory();
    }
  });
  return true;
}();

}  // namespace
