// Table mapping, threshold and conversion to FLOAT beside their OpenCV
// equivalents, with a memory copy of the same bytes as the floor.
#include <cstdlib>
#include <cstring>
#include <vector>

#include <opencv2/imgproc.hpp>

#include "bench_support.hpp"

namespace {

using kb::as_mat;
using kb::random_bytes;

std::vector<unsigned char> random_table() {
  std::mt19937 gen(11);
  std::vector<unsigned char> t(256);
  for (auto &v : t)
    v = static_cast<unsigned char>(gen());
  return t;
}

// Copies n bytes between two buffers made once.
void copy_bytes(benchmark::State &st, std::size_t n) {
  std::vector<unsigned char> src(n, 1), dst(n);
  for (auto _ : st) {
    std::memcpy(dst.data(), src.data(), n);
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
}

const bool registered = [] {
  // Binarisation in place; the switch is off, so kel_threshold computes.
  kb::register_sizes("threshold", "kel", [](benchmark::State &st, int n) {
    auto img = random_bytes(n, n);
    for (auto _ : st) {
      kel_threshold(img.get(), 128, 0, 255);
      benchmark::ClobberMemory();
    }
  });
  kb::register_sizes("threshold", "cv", [](benchmark::State &st, int n) {
    auto img = random_bytes(n, n);
    cv::Mat m = as_mat(img.get());
    for (auto _ : st) {
      cv::threshold(m, m, 127, 255, cv::THRESH_BINARY);  // p > 127, as p >= 128
      benchmark::ClobberMemory();
    }
  });
  kb::register_sizes("threshold", "memcpy",
                     [](benchmark::State &st, int n) { copy_bytes(st, std::size_t(n) * n); });

  // A random table, in place.
  kb::register_sizes("lut", "kel", [](benchmark::State &st, int n) {
    auto img = random_bytes(n, n);
    auto table = random_table();
    for (auto _ : st) {
      kel_lut(img.get(), table.data());
      benchmark::ClobberMemory();
    }
  });
  kb::register_sizes("lut", "cv", [](benchmark::State &st, int n) {
    auto img = random_bytes(n, n);
    auto table = random_table();
    cv::Mat m = as_mat(img.get()), lut(1, 256, CV_8UC1, table.data());
    for (auto _ : st) {
      cv::LUT(m, lut, m);
      benchmark::ClobberMemory();
    }
  });
  kb::register_sizes("lut", "memcpy",
                     [](benchmark::State &st, int n) { copy_bytes(st, std::size_t(n) * n); });

  // Conversion to FLOAT into new memory. kel_float replaces the image's
  // memory, so each iteration converts a fresh copy, made (and the converted
  // one freed) outside the timing; OpenCV converts into a new matrix, freed
  // outside the timing likewise, and the copy floor writes the same 4 bytes
  // per pixel into a new buffer. One pause per iteration in each.
  kb::register_sizes("float", "kel", [](benchmark::State &st, int n) {
    auto img = random_bytes(n, n);
    kb::ImagePtr copy(im_duplicate(img.get()));
    for (auto _ : st) {
      kel_float(copy.get());
      benchmark::DoNotOptimize(copy->data);
      st.PauseTiming();
      copy.reset(im_duplicate(img.get()));
      st.ResumeTiming();
    }
  });
  kb::register_sizes("float", "cv", [](benchmark::State &st, int n) {
    auto img = random_bytes(n, n);
    cv::Mat m = as_mat(img.get());
    for (auto _ : st) {
      cv::Mat out;
      m.convertTo(out, CV_32F);
      benchmark::DoNotOptimize(out.data);
      st.PauseTiming();
      out.release();
      st.ResumeTiming();
    }
  });
  kb::register_sizes("float", "memcpy", [](benchmark::State &st, int n) {
    std::size_t bytes = std::size_t(n) * n * sizeof(float);
    std::vector<unsigned char> src(bytes, 1);
    for (auto _ : st) {
      void *out = std::malloc(bytes);
      std::memcpy(out, src.data(), bytes);
      benchmark::DoNotOptimize(out);
      st.PauseTiming();
      std::free(out);
      st.ResumeTiming();
    }
  });
  return true;
}();

}  // namespace
