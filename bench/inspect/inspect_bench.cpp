// The learning inspection tool: learning and recognition of one image with
// 16 by 16 boxes, and per-box mean and deviation with OpenCV's meanStdDev
// over the same boxes as a reference point.
#include <opencv2/core.hpp>

#include "bench_support.hpp"

namespace {

using kb::random_bytes;

constexpr int kBox = 16;

struct ToolDeleter {
  void operator()(KelInspect *t) const { kel_vela_inspect_delete(t); }
};
using ToolPtr = std::unique_ptr<KelInspect, ToolDeleter>;

// A tool over n by n images that has learned two random images.
ToolPtr learned_tool(int n) {
  ToolPtr tool(kel_vela_inspect_create(nullptr));
  kel_vela_inspect_set_m_nBoxDx(tool.get(), kBox);
  kel_vela_inspect_set_m_nBoxDy(tool.get(), kBox);
  kel_vela_inspect_set_m_nMaxBoxCountX(tool.get(), n / kBox);
  kel_vela_inspect_set_m_nMaxBoxCountY(tool.get(), n / kBox);
  for (std::uint32_t seed : {1u, 2u}) {
    auto img = random_bytes(n, n, seed);
    kel_vela_inspect_learn(tool.get(), img.get(), nullptr);
  }
  return tool;
}

const bool registered = [] {
  kb::register_sizes("inspect_learn", "kel", [](benchmark::State &st, int n) {
    ToolPtr tool = learned_tool(n);
    auto img = random_bytes(n, n, 3);
    for (auto _ : st) {
      kel_vela_inspect_learn(tool.get(), img.get(), nullptr);
      benchmark::ClobberMemory();
    }
  });
  kb::register_sizes("inspect_check", "kel", [](benchmark::State &st, int n) {
    ToolPtr tool = learned_tool(n);
    auto img = random_bytes(n, n, 3);
    KelInspectResults *res = kel_vela_inspect_create_results(nullptr);
    for (auto _ : st) {
      kel_vela_inspect_check(tool.get(), img.get(), res);
      benchmark::DoNotOptimize(kel_vela_inspect_result_box_count(res));
    }
    kel_vela_inspect_delete_results(res);
  });
  // Reference point: per-box mean and standard deviation only.
  kb::register_sizes("inspect_check", "cv", [](benchmark::State &st, int n) {
    auto img = random_bytes(n, n, 3);
    cv::Mat m = kb::as_mat(img.get());
    std::vector<double> out(static_cast<std::size_t>(n / kBox) * (n / kBox) * 2);
    for (auto _ : st) {
      std::size_t k = 0;
      for (int y = 0; y < n; y += kBox) {
        for (int x = 0; x < n; x += kBox) {
          cv::Scalar mean, dev;
          cv::meanStdDev(m(cv::Rect(x, y, kBox, kBox)), mean, dev);
          out[k++] = mean[0];
          out[k++] = dev[0];
        }
      }
      benchmark::DoNotOptimize(out.data());
    }
  });
  return true;
}();

}  // namespace
