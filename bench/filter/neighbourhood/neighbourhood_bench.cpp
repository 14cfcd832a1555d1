// Neighbourhood filters of any size beside their OpenCV equivalents (one
// thread, replicated borders): convolutions, smoothing, median, erosion and
// dilation with rectangles and the top hat. BYTE images at 1024 and 4096,
// WORD and FLOAT at 1024; "memcpy_<type>" cases copy the same bytes once.
#include <cstring>
#include <string>
#include <vector>

#include <opencv2/imgproc.hpp>

#include "bench_support.hpp"

namespace {

struct Shape {
  unsigned type;
  int n;
  const char *suffix;  // appended to the case name
};
const Shape kShapes[] = {
    {BYTE, 1024, ""}, {BYTE, 4096, ""}, {WORD, 1024, "_word"}, {FLOAT, 1024, "_float"}};

kb::ImagePtr random_image(unsigned type, int n, std::uint32_t seed) {
  kb::ImagePtr b = kb::random_bytes(n, n, seed);
  if (type == BYTE) return b;
  kb::ImagePtr img(im_create(type, n, n));
  const auto *p = static_cast<const std::uint8_t *>(b->data);
  for (std::size_t i = 0; i < std::size_t(n) * n; ++i) {
    if (type == WORD)
      static_cast<std::uint16_t *>(img->data)[i] = static_cast<std::uint16_t>(p[i] * 257);
    else
      static_cast<float *>(img->data)[i] = p[i];
  }
  return img;
}

// Registers "<name><suffix>/kel/<n>" and "<name><suffix>/cv/<n>".
template <class Kel, class Cv>
void add(const std::string &name, const Shape &s, Kel kel, Cv cv) {
  const std::string base = name + s.suffix;
  const std::string size = "/" + std::to_string(s.n);
  benchmark::RegisterBenchmark((base + "/kel" + size).c_str(),
                               [s, kel](benchmark::State &st) {
                                 auto src = random_image(s.type, s.n, 1),
                                      dst = random_image(s.type, s.n, 2);
                                 for (auto _ : st) {
                                   kel(src.get(), dst.get());
                                   benchmark::DoNotOptimize(dst->data);
                                   benchmark::ClobberMemory();
                                 }
                               })
      ->Unit(benchmark::kMicrosecond)
      ->UseRealTime();
  benchmark::RegisterBenchmark((base + "/cv" + size).c_str(),
                               [s, cv](benchmark::State &st) {
                                 auto src = random_image(s.type, s.n, 1),
                                      dst = random_image(s.type, s.n, 2);
                                 cv::Mat m = kb::as_mat(src.get()), d = kb::as_mat(dst.get());
                                 for (auto _ : st) {
                                   cv(m, d);
                                   benchmark::DoNotOptimize(d.data);
                                   benchmark::ClobberMemory();
                                 }
                               })
      ->Unit(benchmark::kMicrosecond)
      ->UseRealTime();
}

std::vector<float> weights(int n) {
  std::vector<float> w(n);
  for (int i = 0; i < n; ++i)
    w[i] = static_cast<float>((i * 7) % 11 - 5) / 16.0f;
  return w;
}

std::vector<float> gauss_taps(double sigma) {
  const int r = std::max(1, static_cast<int>(std::ceil(3 * sigma)));
  cv::Mat g = cv::getGaussianKernel(2 * r + 1, sigma, CV_32F);
  return {g.begin<float>(), g.end<float>()};
}

const bool registered = [] {
  for (const Shape &s : kShapes) {
    const int depth = s.type == BYTE ? CV_8U : s.type == WORD ? CV_16U : CV_32F;
    for (int k : {5, 11}) {
      const std::vector<float> w = weights(k * k);
      add(
          "filter2d_" + std::to_string(k), s,
          [w, k](Image *a, Image *b) { kel_convolve2(a, b, w.data(), k, k, KEL_MODE_CLAMP); },
          [w, k, depth](cv::Mat &a, cv::Mat &b) {
            cv::Mat kern(k, k, CV_32F, const_cast<float *>(w.data()));
            cv::filter2D(a, b, depth, kern, cv::Point(-1, -1), 0, cv::BORDER_REPLICATE);
          });
    }
    const std::vector<float> r15 = weights(15), c15 = weights(16);
    add(
        "sepfilter_15", s,
        [r15, c15](Image *a, Image *b) {
          kel_convolve_sep2(a, b, r15.data(), 15, c15.data() + 1, 15, KEL_MODE_CLAMP);
        },
        [r15, c15, depth](cv::Mat &a, cv::Mat &b) {
          cv::Mat rk(1, 15, CV_32F, const_cast<float *>(r15.data())),
              ck(15, 1, CV_32F, const_cast<float *>(c15.data() + 1));
          cv::sepFilter2D(a, b, depth, rk, ck, cv::Point(-1, -1), 0, cv::BORDER_REPLICATE);
        });
    for (double sigma : {1.0, 5.0}) {
      const int ksize = static_cast<int>(gauss_taps(sigma).size());
      add(
          "gauss_s" + std::to_string(int(sigma)), s,
          [sigma](Image *a, Image *b) { kel_gauss2(a, b, sigma); },
          [sigma, ksize](cv::Mat &a, cv::Mat &b) {
            cv::GaussianBlur(a, b, cv::Size(ksize, ksize), sigma, sigma, cv::BORDER_REPLICATE);
          });
    }
    add(
        "blur_15", s, [](Image *a, Image *b) { kel_box_filter2(a, b, 15, 15); },
        [](cv::Mat &a, cv::Mat &b) {
          cv::blur(a, b, cv::Size(15, 15), cv::Point(-1, -1), cv::BORDER_REPLICATE);
        });
    for (int k : {3, 15, 51}) {
      const cv::Mat rect = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(k, k));
      add(
          "erode_" + std::to_string(k), s, [k](Image *a, Image *b) { kel_erode_rect(a, b, k, k); },
          [rect](cv::Mat &a, cv::Mat &b) {
            cv::erode(a, b, rect, cv::Point(-1, -1), 1, cv::BORDER_REPLICATE);
          });
      add(
          "dilate_" + std::to_string(k), s,
          [k](Image *a, Image *b) { kel_dilate_rect(a, b, k, k); },
          [rect](cv::Mat &a, cv::Mat &b) {
            cv::dilate(a, b, rect, cv::Point(-1, -1), 1, cv::BORDER_REPLICATE);
          });
    }
    const cv::Mat rect15 = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(15, 15));
    add(
        "tophat_15", s, [](Image *a, Image *b) { kel_morph_rect(a, b, KEL_MORPH_TOPHAT, 15, 15); },
        [rect15](cv::Mat &a, cv::Mat &b) {
          cv::morphologyEx(a, b, cv::MORPH_TOPHAT, rect15, cv::Point(-1, -1), 1,
                           cv::BORDER_REPLICATE);
        });
    if (s.type == BYTE)
      for (int k : {3, 5, 15})
        add(
            "median_" + std::to_string(k), s,
            [k](Image *a, Image *b) { kel_median_rect(a, b, k, k); },
            [k](cv::Mat &a, cv::Mat &b) { cv::medianBlur(a, b, k); });
    const std::string copy = std::string("memcpy") + (s.type == BYTE ? "_byte" : s.suffix);
    benchmark::RegisterBenchmark((copy + "/memcpy/" + std::to_string(s.n)).c_str(),
                                 [s](benchmark::State &st) {
                                   auto src = random_image(s.type, s.n, 1),
                                        dst = random_image(s.type, s.n, 2);
                                   const std::size_t bytes = std::size_t(s.n) * s.n * s.type;
                                   for (auto _ : st) {
                                     std::memcpy(dst->data, src->data, bytes);
                                     benchmark::DoNotOptimize(dst->data);
                                     benchmark::ClobberMemory();
                                   }
                                 })
        ->Unit(benchmark::kMicrosecond)
        ->UseRealTime();
  }
  return true;
}();

}  // namespace
