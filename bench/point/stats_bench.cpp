// Whole-image measures beside their OpenCV equivalents.
#include <opencv2/imgproc.hpp>

#include "bench_support.hpp"

namespace {

using kb::as_mat;
using kb::random_bytes;

// Texture with runs of zeros, so that counting non-zero pixels is not trivial.
kb::ImagePtr sparse_bytes(int size) {
  kb::ImagePtr img = random_bytes(size, size, 3);
  auto *p = static_cast<std::uint8_t *>(img->data);
  for (std::size_t i = 0; i < std::size_t(size) * size; ++i)
    if (p[i] < 128) p[i] = 0;
  return img;
}

const bool registered = [] {
  kb::register_sizes("sum", "kel", [](benchmark::State &st, int n) {
    auto img = random_bytes(n, n);
    for (auto _ : st) benchmark::DoNotOptimize(kel_sum(img.get()));
  });
  kb::register_sizes("sum", "cv", [](benchmark::State &st, int n) {
    auto img = random_bytes(n, n);
    cv::Mat m = as_mat(img.get());
    for (auto _ : st) benchmark::DoNotOptimize(cv::sum(m));
  });

  kb::register_sizes("hist", "kel", [](benchmark::State &st, int n) {
    auto img = random_bytes(n, n);
    unsigned hist[256];
    for (auto _ : st) {
      kel_hist(img.get(), hist);
      benchmark::DoNotOptimize(hist);
    }
  });
  kb::register_sizes("hist", "cv", [](benchmark::State &st, int n) {
    auto img = random_bytes(n, n);
    cv::Mat m = as_mat(img.get()), hist;
    int channels[] = {0}, bins[] = {256};
    float range[] = {0, 256};
    const float *ranges[] = {range};
    for (auto _ : st) {
      cv::calcHist(&m, 1, channels, cv::Mat(), hist, 1, bins, ranges);
      benchmark::DoNotOptimize(hist.data);
    }
  });

  kb::register_sizes("variance", "kel", [](benchmark::State &st, int n) {
    auto img = random_bytes(n, n);
    for (auto _ : st) benchmark::DoNotOptimize(kel_variance(img.get()));
  });
  kb::register_sizes("variance", "cv", [](benchmark::State &st, int n) {
    auto img = random_bytes(n, n);
    cv::Mat m = as_mat(img.get());
    cv::Scalar mean, dev;
    for (auto _ : st) {
      cv::meanStdDev(m, mean, dev);
      benchmark::DoNotOptimize(dev);
    }
  });

  kb::register_sizes("max", "kel", [](benchmark::State &st, int n) {
    auto img = random_bytes(n, n);
    static_cast<std::uint8_t *>(img->data)[0] = 0;  // keep the scan going
    for (std::size_t i = 0; i < std::size_t(n) * n; ++i)
      static_cast<std::uint8_t *>(img->data)[i] &= 0x7f;  // no early 255
    int x, y;
    for (auto _ : st) benchmark::DoNotOptimize(kel_max(img.get(), &x, &y));
  });
  kb::register_sizes("max", "cv", [](benchmark::State &st, int n) {
    auto img = random_bytes(n, n);
    for (std::size_t i = 0; i < std::size_t(n) * n; ++i)
      static_cast<std::uint8_t *>(img->data)[i] &= 0x7f;
    cv::Mat m = as_mat(img.get());
    double lo, hi;
    cv::Point plo, phi;
    for (auto _ : st) {
      cv::minMaxLoc(m, &lo, &hi, &plo, &phi);
      benchmark::DoNotOptimize(phi);
    }
  });

  kb::register_sizes("count_nz", "kel", [](benchmark::State &st, int n) {
    auto img = sparse_bytes(n);
    for (auto _ : st) benchmark::DoNotOptimize(kel_count_nz(img.get()));
  });
  kb::register_sizes("count_nz", "cv", [](benchmark::State &st, int n) {
    auto img = sparse_bytes(n);
    cv::Mat m = as_mat(img.get());
    for (auto _ : st) benchmark::DoNotOptimize(cv::countNonZero(m));
  });
  return true;
}();

}  // namespace
