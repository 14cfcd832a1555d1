// Benchmark entry point: single-threaded peers, kelkit's processor switch
// off so that every operator computes.
#include <benchmark/benchmark.h>

#include <opencv2/core.hpp>

#include "kelkit.h"

int main(int argc, char **argv) {
  cv::setNumThreads(1);
  kel_set_use_mmx(0);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
