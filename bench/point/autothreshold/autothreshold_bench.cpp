// Otsu's threshold and the adaptive threshold beside cv::threshold with
// THRESH_OTSU and cv::adaptiveThreshold.
#include <opencv2/imgproc.hpp>

#include "bench_support.hpp"

namespace {

using kb::as_mat;
using kb::random_bytes;

const bool registered = [] {
  // Otsu: both find the level on the same texture and binarise it, kelkit
  // in place (the texture is restored outside the timed part), OpenCV into a
  // second image: two passes over the pixels each.
  kb::register_sizes("otsu", "kel", [](benchmark::State &st, int n) {
    auto pristine = random_bytes(n, n);
    kb::ImagePtr img(im_create(BYTE, n, n));
    for (auto _ : st) {
      st.PauseTiming();
      im_copy(pristine.get(), img.get());
      st.ResumeTiming();
      double t = 0;
      kel_threshold_otsu(img.get(), &t);
      kel_threshold(img.get(), static_cast<unsigned char>(t + 1), 0, 255);
      benchmark::DoNotOptimize(img->data);
    }
  });
  kb::register_sizes("otsu", "cv", [](benchmark::State &st, int n) {
    auto img = random_bytes(n, n);
    cv::Mat m = as_mat(img.get()), out;
    for (auto _ : st) {
      cv::threshold(m, out, 0, 255, cv::THRESH_BINARY | cv::THRESH_OTSU);
      benchmark::DoNotOptimize(out.data);
    }
  });
  kb::register_sizes("adaptive_mean_15", "kel", [](benchmark::State &st, int n) {
    auto img = random_bytes(n, n);
    kb::ImagePtr dst(im_create(BYTE, n, n));
    for (auto _ : st) {
      kel_threshold_adaptive(img.get(), dst.get(), KEL_ADAPTIVE_MEAN, 15, 5);
      benchmark::DoNotOptimize(dst->data);
    }
  });
  kb::register_sizes("adaptive_mean_15", "cv", [](benchmark::State &st, int n) {
    auto img = random_bytes(n, n);
    cv::Mat m = as_mat(img.get()), out;
    for (auto _ : st) {
      cv::adaptiveThreshold(m, out, 255, cv::ADAPTIVE_THRESH_MEAN_C, cv::THRESH_BINARY, 15, 5);
      benchmark::DoNotOptimize(out.data);
    }
  });
  for (const char *name : {"otsu", "adaptive_mean_15"})
    kb::register_memcpy(name);
  return true;
}();

}  // namespace
