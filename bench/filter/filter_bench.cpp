// 3x3 filters beside their OpenCV equivalents (bench_main runs both
// single-threaded, with kelkit's processor switch off).
#include <opencv2/imgproc.hpp>

#include "bench_support.hpp"

namespace {

using kb::as_mat;
using kb::random_bytes;

// A kernel with every weight non-zero, so that neither side can skip taps.
const KelKernel3x3 kKernel = {1, -2, 1, 2, 4, -2, -1, 2, 1, 0};

cv::Mat cv_kernel() {
  return (cv::Mat_<float>(3, 3) << 1, -2, 1, 2, 4, -2, -1, 2, 1);
}

template <class Op>
void kel_case(benchmark::State &st, int n, Op op) {
  auto src = random_bytes(n, n), dst = random_bytes(n, n, 2);
  for (auto _ : st) {
    op(src.get(), dst.get());
    benchmark::DoNotOptimize(dst->data);
    benchmark::ClobberMemory();
  }
}

template <class Op>
void cv_case(benchmark::State &st, int n, Op op) {
  auto src = random_bytes(n, n), dst = random_bytes(n, n, 2);
  cv::Mat s = as_mat(src.get()), d = as_mat(dst.get());
  for (auto _ : st) {
    op(s, d);
    benchmark::DoNotOptimize(d.data);
    benchmark::ClobberMemory();
  }
}

const bool registered = [] {
  kb::register_sizes("convolve_3x3", "kel", [](benchmark::State &st, int n) {
    kel_case(st, n, [](Image *s, Image *d) { kel_convolve_3x3(s, d, kKernel, 0); });
  });
  kb::register_sizes("convolve_3x3", "cv", [](benchmark::State &st, int n) {
    cv::Mat k = cv_kernel();
    cv_case(st, n, [&](cv::Mat &s, cv::Mat &d) {
      cv::filter2D(s, d, CV_8U, k, cv::Point(-1, -1), 0, cv::BORDER_REPLICATE);
    });
  });

  kb::register_sizes("sobelxy", "kel", [](benchmark::State &st, int n) {
    kel_case(st, n, [](Image *s, Image *d) { kel_sobelxy(s, d, 1); });
  });
  kb::register_sizes("sobelxy", "cv", [](benchmark::State &st, int n) {
    cv::Mat gx, gy, ax, ay;
    cv_case(st, n, [&](cv::Mat &s, cv::Mat &d) {
      cv::Sobel(s, gx, CV_16S, 1, 0, 3, 1, 0, cv::BORDER_REPLICATE);
      cv::Sobel(s, gy, CV_16S, 0, 1, 3, 1, 0, cv::BORDER_REPLICATE);
      cv::convertScaleAbs(gx, ax);
      cv::convertScaleAbs(gy, ay);
      cv::add(ax, ay, d);  // saturating
    });
  });

  kb::register_sizes("erode", "kel", [](benchmark::State &st, int n) {
    kel_case(st, n, [](Image *s, Image *d) { kel_erode(s, d); });
  });
  kb::register_sizes("erode", "cv", [](benchmark::State &st, int n) {
    cv::Mat rect = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(3, 3));
    cv_case(st, n, [&](cv::Mat &s, cv::Mat &d) {
      cv::erode(s, d, rect, cv::Point(-1, -1), 1, cv::BORDER_REPLICATE);
    });
  });

  kb::register_sizes("dilate", "kel", [](benchmark::State &st, int n) {
    kel_case(st, n, [](Image *s, Image *d) { kel_dilate(s, d); });
  });
  kb::register_sizes("dilate", "cv", [](benchmark::State &st, int n) {
    cv::Mat rect = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(3, 3));
    cv_case(st, n, [&](cv::Mat &s, cv::Mat &d) {
      cv::dilate(s, d, rect, cv::Point(-1, -1), 1, cv::BORDER_REPLICATE);
    });
  });
  return true;
}();

}  // namespace
