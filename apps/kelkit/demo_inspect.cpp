// The inspection step of the demo: the learning inspection tool learns
// several clean boards and checks the scene, whose board carries a scratch.
#include <algorithm>
#include <memory>

#include "demo_steps.hpp"

namespace demo {

namespace {

constexpr int kCleanBoards = 5;

struct ToolDeleter {
  void operator()(KelInspect *t) const { kel_vela_inspect_delete(t); }
};
struct ResultsDeleter {
  void operator()(KelInspectResults *r) const { kel_vela_inspect_delete_results(r); }
};

}  // namespace

void step_inspection(Image *scene, const Truth &truth, unsigned seed, Pen &pen, Image *defects,
                     Report &report) {
  int status = 0;
  im_clear_report();
  std::unique_ptr<KelInspect, ToolDeleter> tool(kel_vela_inspect_create(&status));
  if (!tool) tool::fail_from_last_report("kel_vela_inspect_create", status);
  std::unique_ptr<KelInspectResults, ResultsDeleter> results(
      kel_vela_inspect_create_results(&status));
  if (!results) tool::fail_from_last_report("kel_vela_inspect_create_results", status);

  // Clean boards: the same layout without the scratch, each with its own
  // noise.
  const std::vector<float> clean = render_clean(truth, false);
  double learn_ms = 0;
  for (int k = 1; k <= kCleanBoards; ++k) {
    tool::ImagePtr board = add_noise(clean, seed + 7919u * unsigned(k));
    long long t0 = now_ns();
    tool::check(kel_vela_inspect_learn(tool.get(), board.get(), nullptr), "kel_vela_inspect_learn");
    learn_ms += elapsed_ms(t0);
  }
  long long t0 = now_ns();
  tool::check(kel_vela_inspect_check(tool.get(), scene, results.get()), "kel_vela_inspect_check");
  double check_ms = elapsed_ms(t0);

  const Point defect = truth.defect();
  const int groups = kel_vela_inspect_result_group_count(results.get());
  const int boxes = kel_vela_inspect_result_box_count(results.get());
  Pen marks(defects);
  Detail d{"defect groups",
           {},
           {"x", "y", "dx", "dy", "boxes", "worst deviation", "holds defect", "true x", "true y"}};
  int hit = -1;
  double worst = 0;
  for (int i = 0; i < groups; ++i) {
    KelInspectGroup g{};
    tool::check(kel_vela_inspect_result_group(results.get(), i, &g),
                "kel_vela_inspect_result_group");
    bool holds =
        defect.x >= g.x && defect.x < g.x + g.dx && defect.y >= g.y && defect.y < g.y + g.dy;
    if (holds && hit < 0) hit = i;
    worst = std::max(worst, g.worst_deviation);
    pen.box(g.x - 3, g.y - 3, g.x + g.dx + 2, g.y + g.dy + 2);
    marks.box(g.x - 3, g.y - 3, g.x + g.dx + 2, g.y + g.dy + 2);
    marks.label(g.x, g.y + g.dy + 6, std::to_string(i + 1).c_str());
    d.rows.push_back({{"x", std::to_string(g.x)},
                      {"y", std::to_string(g.y)},
                      {"dx", std::to_string(g.dx)},
                      {"dy", std::to_string(g.dy)},
                      {"boxes", std::to_string(g.box_count)},
                      {"worst deviation", fixed(g.worst_deviation, 2)},
                      {"holds defect", holds ? "1" : "0"},
                      {"true x", fixed(defect.x, 3)},
                      {"true y", fixed(defect.y, 3)}});
  }
  // The deviating boxes themselves, thin, on the defect image.
  for (int i = 0; i < boxes; ++i) {
    KelInspectBox b{};
    if (kel_vela_inspect_result_box(results.get(), i, &b) == 0)
      marks.cross(b.x + b.dx / 2.0, b.y + b.dy / 2.0, 3);
  }
  StepRow r;
  r.step = "board check (inspection)";
  r.found = std::to_string(groups) + (groups == 1 ? " defect group" : " defect groups");
  r.figures = std::to_string(boxes) + " boxes deviate, worst " + fixed(worst, 1) + ", learned " +
              std::to_string(kCleanBoards) + " boards in " + fixed(learn_ms, 1) + " ms";
  r.expected = "1 scratch at " + fixed(defect.x, 1) + "," + fixed(defect.y, 1);
  r.error = hit < 0 ? "scratch missed" : "scratch in group " + std::to_string(hit + 1);
  r.ms = check_ms;
  r.passed = hit >= 0 && groups == 1;
  report.steps.push_back(r);
  report.details.push_back(std::move(d));
}

}  // namespace demo
