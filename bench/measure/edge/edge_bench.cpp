// Edge-enhancement filter beside OpenCV: kel_horizontal_edge_byte with a box
// of 5 pixels and rows 3 apart (separation 2), against a 5 x 1 box filter
// into 16 bits, a difference of rows 3 apart and a saturating conversion
// with the same offset.
#include <opencv2/imgproc.hpp>

#include "bench_support.hpp"

namespace {

using kb::as_mat;
using kb::random_bytes;

constexpr int kSeparation = 2, kSize = 5, kShift = 0, kOffset = 128;

const bool registered = [] {
  kb::register_sizes("edge_horizontal", "kel", [](benchmark::State &st, int n) {
    auto img = random_bytes(n, n);
    // In place: the work does not depend on the pixel values, so repeating
    // it on its own output measures the same thing each time.
    for (auto _ : st) {
      kel_horizontal_edge_byte(img.get(), kSeparation, kSize, kShift, kOffset, 0);
      benchmark::ClobberMemory();
    }
  });
  kb::register_sizes("edge_horizontal", "cv", [](benchmark::State &st, int n) {
    auto img = random_bytes(n, n);
    cv::Mat src = as_mat(img.get()), sums, diff, dst(n, n, CV_8UC1, cv::Scalar(0));
    const int gap = kSeparation + 1;
    for (auto _ : st) {
      cv::boxFilter(src, sums, CV_16S, cv::Size(kSize, 1), cv::Point(-1, -1), false,
                    cv::BORDER_REPLICATE);
      cv::subtract(sums.rowRange(0, n - gap), sums.rowRange(gap, n), diff, cv::noArray(), CV_16S);
      cv::Mat band = dst.rowRange(gap / 2 + 1, gap / 2 + 1 + n - gap);
      diff.convertTo(band, CV_8U, 1 << kShift, kOffset);
      benchmark::ClobberMemory();
    }
  });
  return true;
}();

}  // namespace
