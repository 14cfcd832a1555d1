// The rotation-invariant search step of the demo.
#include <algorithm>
#include <cmath>
#include <memory>

#include "demo_steps.hpp"

namespace demo {

namespace {

constexpr double kPi = 3.14159265358979323846;

struct ParamsDeleter {
  void operator()(kel_vela_360_params *p) const { kel_vela_360_delete_params(p); }
};
struct ResultsDeleter {
  void operator()(kel_vela_360_results *r) const { kel_vela_360_delete_results(r); }
};

// a - b in degrees, folded into -180 .. 180.
double angle_difference(double a, double b) {
  double d = std::fmod(a - b, 360.0);
  if (d > 180) d -= 360;
  if (d <= -180) d += 360;
  return d;
}

}  // namespace

void step_rotated_part(Image *scene, const Truth &truth, Pen &pen, Report &report) {
  // Learn the part, unturned, from a clean rendering; the reference centre
  // of the model is the centre of that image, which is the part's centre.
  tool::ImagePtr model = render_part_model(160, 120);
  im_clear_report();
  std::unique_ptr<kel_vela_360_params, ParamsDeleter> params(kel_vela_360_create_params());
  if (!params) tool::fail_from_last_report("kel_vela_360_create_params", KEL_ERR_NO_MEMORY);
  long long t0 = now_ns();
  tool::check(kel_vela_360_train(model.get(), 0, 0, model->dx, model->dy, params.get()),
              "kel_vela_360_train");
  double train_ms = elapsed_ms(t0);

  // Every part matches the model, so ask for all of them and pick the
  // turned one out by its angle.
  const int wanted = int(truth.parts.size());
  kel_vela_360_set_nPatternsToFind(params.get(), wanted);
  std::unique_ptr<kel_vela_360_results, ResultsDeleter> results(
      kel_vela_360_create_results(wanted));
  if (!results) tool::fail_from_last_report("kel_vela_360_create_results", KEL_ERR_NO_MEMORY);
  t0 = now_ns();
  tool::check(kel_vela_360_search(scene, 0, 0, 0, 0, params.get(), results.get()),
              "kel_vela_360_search");
  double ms = elapsed_ms(t0);

  std::vector<Point> centres;
  for (const Part &p : truth.parts)
    centres.push_back(p.centre);
  Detail d{"rotated search",
           {},
           {"x", "y", "angle", "score", "true x", "true y", "true angle", "error", "angle error"}};
  const int found = kel_vela_360_get_found(results.get());
  double worst = 0, worst_angle = 0, turned_angle = 0, turned_score = 0;
  double turned_err = 1e9, turned_angle_err = 1e9;
  std::vector<bool> matched(truth.parts.size());
  for (int i = 0; i < found; ++i) {
    double x = kel_vela_360_get_x(results.get(), i), y = kel_vela_360_get_y(results.get(), i);
    double angle = kel_vela_360_get_angle(results.get(), i) * 180 / kPi;
    double score = kel_vela_360_get_score(results.get(), i);
    int k = -1;
    double dist = 1e300;
    for (std::size_t j = 0; j < centres.size(); ++j) {
      double dj = std::hypot(x - centres[j].x, y - centres[j].y);
      if (dj < dist) dist = dj, k = int(j);
    }
    double angle_err = angle_difference(angle, truth.parts[k].angle_deg);
    matched[k] = true;
    worst = std::max(worst, dist);
    worst_angle = std::max(worst_angle, std::fabs(angle_err));
    if (k == truth.rotated_part) {
      turned_angle = angle, turned_score = score;
      turned_err = dist, turned_angle_err = angle_err;
    }
    pen.turned_box(x, y, kPartWidth + 8, kPartHeight + 8, angle);
    pen.label(x - 16, y + kPartHeight / 2 + 10, fixed(angle, 1).c_str());
    d.rows.push_back({{"x", fixed(x, 3)},
                      {"y", fixed(y, 3)},
                      {"angle", fixed(angle, 3)},
                      {"score", fixed(score, 1)},
                      {"true x", fixed(truth.parts[k].centre.x, 3)},
                      {"true y", fixed(truth.parts[k].centre.y, 3)},
                      {"true angle", fixed(truth.parts[k].angle_deg, 3)},
                      {"error", fixed(dist, 3)},
                      {"angle error", fixed(angle_err, 3)}});
  }
  const Part &turned = truth.parts[truth.rotated_part];
  bool all =
      found == wanted && std::all_of(matched.begin(), matched.end(), [](bool b) { return b; });
  StepRow r;
  r.step = "turned part (360 search)";
  r.found = matched[truth.rotated_part]
                ? fixed(turned_angle, 2) + " deg, " + std::to_string(found) + " parts"
                : "not found, " + std::to_string(found) + " parts";
  r.figures = "score " + fixed(turned_score, 1) + ", trained in " + fixed(train_ms, 1) + " ms";
  r.expected = fixed(turned.angle_deg, 2) + " deg at " + fixed(turned.centre.x, 1) + "," +
               fixed(turned.centre.y, 1);
  r.error = matched[truth.rotated_part]
                ? fixed(turned_angle_err, 2) + " deg, " + fixed(turned_err, 2) + " px"
                : "-";
  r.ms = ms;
  r.passed = all && worst <= kPositionTolerance && worst_angle <= kAngleTolerance;
  report.steps.push_back(r);
  report.details.push_back(std::move(d));
}

}  // namespace demo
