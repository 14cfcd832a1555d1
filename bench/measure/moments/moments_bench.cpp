// Projections and moments beside cv::reduce and cv::moments.
#include <opencv2/imgproc.hpp>

#include <vector>

#include "bench_support.hpp"

namespace {

using kb::as_mat;
using kb::random_bytes;

const bool registered = [] {
  kb::register_sizes("project_columns", "kel", [](benchmark::State &st, int n) {
    auto img = random_bytes(n, n);
    std::vector<double> out(n);
    for (auto _ : st) {
      kel_projection(img.get(), KEL_PROJECT_COLUMNS, KEL_PROJECT_SUM, out.data(), n);
      benchmark::DoNotOptimize(out.data());
    }
  });
  kb::register_sizes("project_columns", "cv", [](benchmark::State &st, int n) {
    auto img = random_bytes(n, n);
    cv::Mat m = as_mat(img.get()), out;
    for (auto _ : st) {
      cv::reduce(m, out, 0, cv::REDUCE_SUM, CV_64F);
      benchmark::DoNotOptimize(out.data);
    }
  });
  kb::register_sizes("project_rows", "kel", [](benchmark::State &st, int n) {
    auto img = random_bytes(n, n);
    std::vector<double> out(n);
    for (auto _ : st) {
      kel_projection(img.get(), KEL_PROJECT_ROWS, KEL_PROJECT_SUM, out.data(), n);
      benchmark::DoNotOptimize(out.data());
    }
  });
  kb::register_sizes("project_rows", "cv", [](benchmark::State &st, int n) {
    auto img = random_bytes(n, n);
    cv::Mat m = as_mat(img.get()), out;
    for (auto _ : st) {
      cv::reduce(m, out, 1, cv::REDUCE_SUM, CV_64F);
      benchmark::DoNotOptimize(out.data);
    }
  });
  kb::register_sizes("moments", "kel", [](benchmark::State &st, int n) {
    auto img = random_bytes(n, n);
    KelMoments m;
    for (auto _ : st) {
      kel_moments(img.get(), KEL_MOMENTS_GREY, &m);
      benchmark::DoNotOptimize(m);
    }
  });
  kb::register_sizes("moments", "cv", [](benchmark::State &st, int n) {
    auto img = random_bytes(n, n);
    cv::Mat m = as_mat(img.get());
    for (auto _ : st)
      benchmark::DoNotOptimize(cv::moments(m));
  });
  for (const char *name : {"project_columns", "project_rows", "moments"})
    kb::register_memcpy(name);
  return true;
}();

}  // namespace
