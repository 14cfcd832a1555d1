// The correlation search beside normalised cross-correlation by
// cv::matchTemplate (TM_CCOEFF_NORMED) and cv::minMaxLoc on the same smooth
// textured scenes and models. Cases "search_<model>_in_<scene width>"; the
// training cases have no peer.
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <string>
#include <vector>

#include "bench_support.hpp"
#include "locate/locate_bench_support.hpp"

namespace {

using kb::as_mat;

struct Case {
  int model, width, height;
  std::string name() const {
    return "search_" + std::to_string(model) + "_in_" + std::to_string(width);
  }
};

// The scene, the model cut from it at a fixed place and a trained record.
struct Setup {
  kb::ImagePtr scene, model;
  KelSearchParams *params = nullptr;
  int mx = 0, my = 0;
  explicit Setup(const Case &c, bool train = true) {
    scene = kb::smooth_texture(c.width, c.height, 11);
    mx = c.width * 3 / 5, my = c.height / 3;
    model = kb::cut_model(scene.get(), mx, my, c.model);
    params = kel_search_create_params();
    if (train) kel_search_train(scene.get(), model.get(), params);
  }
  ~Setup() { kel_search_delete_params(params); }
  Setup(const Setup &) = delete;
  Setup &operator=(const Setup &) = delete;
};

const bool registered = [] {
  const Case cases[] = {{64, 640, 480}, {128, 640, 480}, {64, 1024, 1024}, {128, 1024, 1024}};
  for (const Case &c : cases) {
    benchmark::RegisterBenchmark((c.name() + "/kel/0").c_str(),
                                 [c](benchmark::State &st) {
                                   Setup s(c);
                                   double x = 0, y = 0, score = 0;
                                   for (auto _ : st) {
                                     kel_search(s.scene.get(), s.params, 0, &x, &y, &score);
                                     benchmark::DoNotOptimize(x);
                                   }
                                   // The model's centre: its top-left corner plus half its size.
                                   double ex = s.mx + c.model / 2, ey = s.my + c.model / 2;
                                   if (std::abs(x - ex) > 1 || std::abs(y - ey) > 1 || score < 99)
                                     st.SkipWithError("kel_search missed the model");
                                   st.counters["score"] = score;
                                 })
        ->Unit(benchmark::kMicrosecond)
        ->UseRealTime();

    benchmark::RegisterBenchmark((c.name() + "/cv/0").c_str(),
                                 [c](benchmark::State &st) {
                                   Setup s(c, false);
                                   cv::Mat scene = as_mat(s.scene.get()),
                                           model = as_mat(s.model.get()), result;
                                   double lo, hi;
                                   cv::Point plo, phi;
                                   for (auto _ : st) {
                                     cv::matchTemplate(scene, model, result, cv::TM_CCOEFF_NORMED);
                                     cv::minMaxLoc(result, &lo, &hi, &plo, &phi);
                                     benchmark::DoNotOptimize(phi);
                                   }
                                   if (phi.x != s.mx || phi.y != s.my)
                                     st.SkipWithError("matchTemplate missed the model");
                                   st.counters["score"] = 100 * hi;
                                 })
        ->Unit(benchmark::kMicrosecond)
        ->UseRealTime();

    benchmark::RegisterBenchmark(
        ("search_train_" + std::to_string(c.model) + "_in_" + std::to_string(c.width) + "/kel/0")
            .c_str(),
        [c](benchmark::State &st) {
          Setup s(c, false);
          for (auto _ : st)
            benchmark::DoNotOptimize(kel_search_train(s.scene.get(), s.model.get(), s.params));
          st.counters["step_x"] = s.params->trained_step_x;
          st.counters["step_y"] = s.params->trained_step_y;
          st.counters["pattern_x"] = s.params->trained_pattern_x;
          st.counters["pattern_y"] = s.params->trained_pattern_y;
        })
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
  }
  return true;
}();

}  // namespace
