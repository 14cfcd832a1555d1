// Shared pieces of the benchmarks: sizes, test images made once per size,
// and wrapping of kelkit images as OpenCV matrices over the same pixels.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>

#include <opencv2/core.hpp>

#include "kelkit.h"

namespace kb {

// The square sizes every case runs at.
inline constexpr int kSizes[] = {1024, 4096};

struct ImageDeleter {
  void operator()(Image *img) const { im_delete(img); }
};
using ImagePtr = std::unique_ptr<Image, ImageDeleter>;

// A BYTE image of random texture (values 0..255), reproducible by seed.
inline ImagePtr random_bytes(int dx, int dy, std::uint32_t seed = 1) {
  ImagePtr img(im_create(BYTE, dx, dy));
  std::mt19937 gen(seed);
  auto *p = static_cast<std::uint8_t *>(img->data);
  for (std::size_t i = 0; i < std::size_t(dx) * dy; ++i)
    p[i] = static_cast<std::uint8_t>(gen());
  return img;
}

// An OpenCV header over a kelkit image's pixels (no copy).
inline cv::Mat as_mat(const Image *img) {
  int cv_type = img->type == BYTE ? CV_8UC1 : img->type == WORD ? CV_16UC1 : CV_32FC1;
  return cv::Mat(img->dy, img->dx, cv_type, img->data,
                 static_cast<std::size_t>(img->dx + img->skip) * img->type);
}

// Registers `fn` under "<name>/<impl>/<size>" for every size.
template <class Fn>
void register_sizes(const std::string &name, const std::string &impl, Fn fn) {
  for (int size : kSizes) {
    benchmark::RegisterBenchmark((name + "/" + impl + "/" + std::to_string(size)).c_str(),
                                 [fn, size](benchmark::State &state) { fn(state, size); })
        ->Unit(benchmark::kMicrosecond)
        ->UseRealTime();
  }
}

// Registers "<name>/memcpy/<size>": a copy of the bytes of one n x n image
// of `bytes_per_pixel`, the distance to the memory limit.
inline void register_memcpy(const std::string &name, int bytes_per_pixel = 1) {
  register_sizes(name, "memcpy", [bytes_per_pixel](benchmark::State &st, int n) {
    const std::size_t bytes = std::size_t(n) * n * bytes_per_pixel;
    std::unique_ptr<std::uint8_t[]> a(new std::uint8_t[bytes]()), b(new std::uint8_t[bytes]());
    for (auto _ : st) {
      std::memcpy(b.get(), a.get(), bytes);
      benchmark::ClobberMemory();
    }
  });
}

}  // namespace kb
