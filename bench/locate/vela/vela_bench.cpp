// The vela search beside a loop of cv::matchTemplate (TM_CCOEFF_NORMED) and
// cv::minMaxLoc over the same turned models (the 19 copies of the angle
// table, each over its compared rectangle), on a smooth textured 640 x 480
// scene holding the 64 x 64 model turned by 3.4 degrees and moved by a
// fraction of a pixel. Cases "vela_<model>_in_<scene width>"; the training
// case has no peer.
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <string>
#include <vector>

#include "bench_support.hpp"
#include "locate/locate_bench_support.hpp"

namespace {

using kb::as_mat;

constexpr double kAngle = 3.4, kShiftX = 0.3, kShiftY = -0.4;

struct Case {
  int model, width, height;
  std::string name() const {
    return "vela_" + std::to_string(model) + "_in_" + std::to_string(width);
  }
};

// The training scene, the model cut from it, the turned and moved scene to
// search, and a trained record.
struct Setup {
  kb::ImagePtr train_scene, scene, model;
  KelVelaParams *params = nullptr;
  int mx = 0, my = 0;
  double cx = 0, cy = 0;  // where the model's centre lies in `scene`
  explicit Setup(const Case &c, bool train = true) {
    train_scene = kb::smooth_texture(c.width, c.height, 11);
    mx = c.width * 3 / 5, my = c.height / 3;
    model = kb::cut_model(train_scene.get(), mx, my, c.model);
    const double ox = mx + (c.model - 1) / 2.0, oy = my + (c.model - 1) / 2.0;
    cv::Mat rot = cv::getRotationMatrix2D(cv::Point2f(float(ox), float(oy)), kAngle, 1.0);
    rot.at<double>(0, 2) += kShiftX;
    rot.at<double>(1, 2) += kShiftY;
    scene.reset(im_create(BYTE, c.width, c.height));
    cv::Mat out = as_mat(scene.get());
    cv::warpAffine(as_mat(train_scene.get()), out, rot, out.size(), cv::INTER_LINEAR,
                   cv::BORDER_REFLECT);
    cx = ox + kShiftX, cy = oy + kShiftY;
    params = kel_vela_search_create_params();
    if (train) kel_vela_search_train(train_scene.get(), model.get(), params);
  }
  ~Setup() { kel_vela_search_delete_params(params); }
  Setup(const Setup &) = delete;
  Setup &operator=(const Setup &) = delete;
};

// The compared rectangle of each turned copy, as OpenCV matrices: the
// largest centred square whose pixels stay inside the model at +-a degrees
// (56 x 56 of 64 x 64 for a = 9, see kel_vela_search_train).
std::vector<cv::Mat> turned_models(const KelVelaParams *p, int *inner) {
  const int dx = p->model->dx, a = p->angle_count;
  const double t = a * 3.14159265358979323846 / 180.0;
  *inner = static_cast<int>(std::floor((dx - 1) / (std::cos(t) + std::sin(t)) + 1e-9)) + 1;
  if ((dx - *inner) % 2) --*inner;
  const int off = (dx - *inner) / 2;
  std::vector<cv::Mat> out;
  for (int i = 0; p->rotated[i]; ++i)
    out.push_back(as_mat(p->rotated[i])(cv::Rect(off, off, *inner, *inner)).clone());
  return out;
}

const bool registered = [] {
  const Case cases[] = {{64, 640, 480}};
  for (const Case &c : cases) {
    for (int mode : {1, 2}) {
      benchmark::RegisterBenchmark(
          (c.name() + "_subpix" + std::to_string(mode) + "/kel/0").c_str(),
          [c, mode](benchmark::State &st) {
            Setup s(c);
            s.params->sub_pixel = mode;
            s.params->sub_pixel_grid[0] = s.params->sub_pixel_grid[1] = 4;
            KelVelaResults *r = kel_vela_search_create_results(1);
            for (auto _ : st) {
              kel_vela_search_find(s.scene.get(), s.params, 0, r);
              benchmark::DoNotOptimize(r->positions[0].x_coord);
            }
            const KelVelaPosition &m = r->positions[0];
            if (r->num_positions != 1 || std::abs(m.x_coord - s.cx) > 0.5 ||
                std::abs(m.y_coord - s.cy) > 0.5 || std::abs(m.angle - kAngle) > 0.3)
              st.SkipWithError("kel_vela_search_find missed the model");
            st.counters["angle"] = m.angle;
            st.counters["dx"] = m.x_coord - s.cx;
            st.counters["dy"] = m.y_coord - s.cy;
            st.counters["score"] = m.score;
            kel_vela_search_delete_results(r);
          })
          ->Unit(benchmark::kMillisecond)
          ->UseRealTime();
    }

    benchmark::RegisterBenchmark(
        (c.name() + "/cv/0").c_str(),
        [c](benchmark::State &st) {
          Setup s(c);
          int inner = 0;
          std::vector<cv::Mat> models = turned_models(s.params, &inner);
          cv::Mat scene = as_mat(s.scene.get()), result;
          double best = -2;
          int best_angle = 0;
          cv::Point best_at;
          for (auto _ : st) {
            best = -2;
            for (std::size_t i = 0; i < models.size(); ++i) {
              double lo, hi;
              cv::Point plo, phi;
              cv::matchTemplate(scene, models[i], result, cv::TM_CCOEFF_NORMED);
              cv::minMaxLoc(result, &lo, &hi, &plo, &phi);
              if (hi > best) best = hi, best_angle = int(i), best_at = phi;
            }
            benchmark::DoNotOptimize(best_at);
          }
          const double x = best_at.x + (inner - 1) / 2.0, y = best_at.y + (inner - 1) / 2.0;
          const double angle = s.params->angles[best_angle];
          if (std::abs(x - s.cx) > 1 || std::abs(y - s.cy) > 1 || std::abs(angle - kAngle) > 1)
            st.SkipWithError("matchTemplate missed the model");
          st.counters["angle"] = angle;
          st.counters["dx"] = x - s.cx;
          st.counters["dy"] = y - s.cy;
          st.counters["score"] = 100 * best;
        })
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();

    benchmark::RegisterBenchmark(
        ("vela_train_" + std::to_string(c.model) + "_in_" + std::to_string(c.width) + "/kel/0")
            .c_str(),
        [c](benchmark::State &st) {
          Setup s(c, false);
          for (auto _ : st)
            benchmark::DoNotOptimize(
                kel_vela_search_train(s.train_scene.get(), s.model.get(), s.params));
          st.counters["step_x"] = s.params->trained_step_x;
          st.counters["pattern_x"] = s.params->trained_pattern_x;
        })
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
  }
  return true;
}();

}  // namespace
