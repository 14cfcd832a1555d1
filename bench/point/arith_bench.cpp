// Arithmetic and logic operators beside their OpenCV equivalents and a
// memcpy of one image's bytes (the floor any pixel-wise pass pays).
#include <cstring>

#include <opencv2/core.hpp>

#include "bench_support.hpp"

namespace {

using kb::as_mat;
using kb::random_bytes;

// Registers "<name>/kel", "<name>/cv" and "<name>/memcpy" for a two-image
// operator: kel(a, b) and cv(ma, mb) both leave their result in b.
template <class Kel, class Cv>
void two_images(const std::string &name, Kel kel, Cv cv) {
  kb::register_sizes(name, "kel", [kel](benchmark::State &st, int n) {
    auto a = random_bytes(n, n, 1), b = random_bytes(n, n, 2);
    for (auto _ : st) {
      kel(a.get(), b.get());
      benchmark::ClobberMemory();
    }
  });
  kb::register_sizes(name, "cv", [cv](benchmark::State &st, int n) {
    auto a = random_bytes(n, n, 1), b = random_bytes(n, n, 2);
    cv::Mat ma = as_mat(a.get()), mb = as_mat(b.get());
    for (auto _ : st) {
      cv(ma, mb);
      benchmark::ClobberMemory();
    }
  });
  kb::register_sizes(name, "memcpy", [](benchmark::State &st, int n) {
    auto a = random_bytes(n, n, 1), b = random_bytes(n, n, 2);
    for (auto _ : st) {
      std::memcpy(b->data, a->data, std::size_t(n) * n);
      benchmark::ClobberMemory();
    }
  });
}

const bool registered = [] {
  two_images(
      "add", [](Image *a, Image *b) { kel_add(a, b); },
      [](cv::Mat &a, cv::Mat &b) { cv::add(a, b, b); });
  two_images(
      "subtract", [](Image *a, Image *b) { kel_subtract(a, b); },
      [](cv::Mat &a, cv::Mat &b) { cv::subtract(a, b, b); });
  two_images(
      "sub_abs", [](Image *a, Image *b) { kel_sub(a, b, b, 1); },
      [](cv::Mat &a, cv::Mat &b) { cv::absdiff(a, b, b); });
  two_images(
      "max2imgs", [](Image *a, Image *b) { kel_max2imgs(a, b); },
      [](cv::Mat &a, cv::Mat &b) { cv::max(a, b, b); });
  two_images(
      "and", [](Image *a, Image *b) { kel_and(a, b); },
      [](cv::Mat &a, cv::Mat &b) { cv::bitwise_and(a, b, b); });
  // One image and a constant, in place (the speed does not depend on the
  // pixel values, so saturated pixels after many rounds change nothing).
  two_images(
      "add_const", [](Image *, Image *b) { kel_add_const(b, 3.0f); },
      [](cv::Mat &, cv::Mat &b) { cv::add(b, cv::Scalar(3), b); });
  return true;
}();

}  // namespace
