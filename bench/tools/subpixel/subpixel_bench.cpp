// Phase correlation beside cv::phaseCorrelate, on FLOAT images with a
// fractional shift between them, 256 and 1024 pixels square.
#include <opencv2/imgproc.hpp>

#include <string>

#include "bench_support.hpp"

namespace {

struct Pair {
  kb::ImagePtr a, b;
};

Pair shifted_pair(int n) {
  kb::ImagePtr bytes = kb::random_bytes(n, n, 9);
  Pair p{kb::ImagePtr(im_create(FLOAT, n, n)), kb::ImagePtr(im_create(FLOAT, n, n))};
  kel_float(bytes.get());
  im_copy(bytes.get(), p.a.get());
  kel_subpixel_shift(p.a.get(), p.b.get(), 3.3, -1.6, KEL_SUBPIXEL_FFT);
  return p;
}

const bool registered = [] {
  for (int n : {256, 1024}) {
    const std::string size = std::to_string(n);
    benchmark::RegisterBenchmark(("phase_correlate/kel/" + size).c_str(),
                                 [n](benchmark::State &st) {
                                   Pair p = shifted_pair(n);
                                   double dx, dy;
                                   for (auto _ : st) {
                                     kel_subpixel_phase_correlate(
                                         p.a.get(), p.b.get(), KEL_WINDOW_NONE, &dx, &dy, nullptr);
                                     benchmark::DoNotOptimize(dx);
                                   }
                                 })
        ->Unit(benchmark::kMicrosecond)
        ->UseRealTime();
    benchmark::RegisterBenchmark(("phase_correlate/cv/" + size).c_str(),
                                 [n](benchmark::State &st) {
                                   Pair p = shifted_pair(n);
                                   cv::Mat a = kb::as_mat(p.a.get()), b = kb::as_mat(p.b.get());
                                   for (auto _ : st)
                                     benchmark::DoNotOptimize(cv::phaseCorrelate(a, b));
                                 })
        ->Unit(benchmark::kMicrosecond)
        ->UseRealTime();
  }
  return true;
}();

}  // namespace
