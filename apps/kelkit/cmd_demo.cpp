// kelkit demo: makes an inspection scene with a known layout, runs the
// library's tools on it (correlation search, rotation-invariant search, blob
// analysis, caliper, learning inspection), writes annotated images and
// prints each step's findings beside the truth, with its time.
#include <cmath>
#include <filesystem>
#include <system_error>

#include "command.hpp"
#include "demo_scene.hpp"
#include "demo_steps.hpp"

namespace {

const char *kUsage = "demo [--out DIR] [--seed N]";

unsigned seed_from(const tool::Args &args) {
  double seed = args.number("seed", 1);
  if (seed < 0 || seed > 4294967295.0 || seed != std::floor(seed))
    throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, "--seed must be a whole number 0..4294967295"};
  return static_cast<unsigned>(seed);
}

demo::Record point_record(const std::string &what, demo::Point p, double angle, double size) {
  return {{"what", what},
          {"x", demo::fixed(p.x, 3)},
          {"y", demo::fixed(p.y, 3)},
          {"angle", demo::fixed(angle, 3)},
          {"size", demo::fixed(size, 3)}};
}

// The scene's ground truth as one list: every mark, part, hole, the caliper
// width (as the part's size) and the scratch.
std::vector<demo::Record> truth_records(const demo::Truth &t) {
  std::vector<demo::Record> rows;
  for (std::size_t i = 0; i < t.fiducials.size(); ++i)
    rows.push_back(point_record("fiducial", t.fiducials[i], 0, 34));
  for (std::size_t i = 0; i < t.parts.size(); ++i)
    rows.push_back(point_record(int(i) == t.rotated_part ? "part (turned)" : "part",
                                t.parts[i].centre, t.parts[i].angle_deg, demo::kPartWidth));
  for (const demo::Point &h : t.holes)
    rows.push_back(point_record("hole", h, 0, 2 * demo::kHoleRadius));
  const demo::Part &c = t.parts[t.caliper_part];
  rows.push_back(point_record("caliper line", {c.centre.x, t.caliper_y}, 0, t.caliper_width));
  demo::Point d = t.defect();
  rows.push_back(point_record(
      "scratch", d,
      std::atan2(t.scratch_to.y - t.scratch_from.y, t.scratch_to.x - t.scratch_from.x) * 180 /
          3.14159265358979323846,
      std::hypot(t.scratch_to.x - t.scratch_from.x, t.scratch_to.y - t.scratch_from.y)));
  return rows;
}

int run_demo(const tool::Args &args, tool::Output &out) {
  if (!args.positional().empty())
    throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, std::string("usage: kelkit ") + kUsage};
  const std::string dir = args.option("out", "demo-out");
  const unsigned seed = seed_from(args);
  std::error_code ec;
  std::filesystem::create_directories(dir, ec);
  if (ec || !std::filesystem::is_directory(dir))
    throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT,
                        "cannot create the output folder \"" + dir + "\": " + ec.message()};
  const long long start = demo::now_ns();

  // 1. The scene: one board with the scratch, noise drawn from the seed.
  demo::Report report;
  const demo::Truth truth = demo::make_truth(seed);
  long long t0 = demo::now_ns();
  tool::ImagePtr scene = demo::add_noise(demo::render_clean(truth, true), seed);
  {
    demo::StepRow r;
    r.step = "scene";
    r.found = std::to_string(scene->dx) + "x" + std::to_string(scene->dy) + " BYTE board";
    r.figures = std::to_string(truth.fiducials.size()) + " marks, " +
                std::to_string(truth.parts.size()) + " parts (one turned " +
                demo::fixed(truth.parts[truth.rotated_part].angle_deg, 0) + " deg), " +
                std::to_string(truth.holes.size()) + " holes, 1 scratch";
    r.expected = "noise sigma " + demo::fixed(demo::kNoiseDeviation, 0) + ", light 0.88..1.13";
    r.error = "-";
    r.ms = demo::elapsed_ms(t0);
    report.steps.push_back(r);
  }
  im_clear_report();
  tool::ImagePtr annotated(im_duplicate(scene.get())), defects(im_duplicate(scene.get()));
  if (!annotated || !defects) tool::fail_from_last_report("im_duplicate", KEL_ERR_NO_MEMORY);
  demo::Pen pen(annotated.get());

  demo::step_fiducials(scene.get(), truth, pen, report);
  demo::step_rotated_part(scene.get(), truth, pen, report);
  demo::step_blobs(scene.get(), truth, pen, report);
  demo::step_caliper(scene.get(), truth, pen, report);
  demo::step_inspection(scene.get(), truth, seed, pen, defects.get(), report);

  // Images.
  std::vector<demo::Record> images;
  const std::pair<const char *, const Image *> files[] = {{"scene.png", scene.get()},
                                                          {"annotated.png", annotated.get()},
                                                          {"defects.png", defects.get()}};
  for (const auto &[name, img] : files) {
    std::string path = (std::filesystem::path(dir) / name).string();
    tool::save_image(path, img);
    images.push_back({{"file", path}});
  }

  int passed = 0, checked = 0;
  std::vector<demo::Record> rows;
  for (const demo::StepRow &s : report.steps) {
    const bool is_scene = s.step == "scene";
    checked += !is_scene;
    passed += !is_scene && s.passed;
    std::string check = is_scene ? "-" : s.passed ? "ok" : "OUT";
    rows.push_back({{"step", s.step},
                    {"found", s.found},
                    {"figures", s.figures},
                    {"expected", s.expected},
                    {"error", s.error},
                    {"ms", demo::fixed(s.ms, 1)},
                    {"check", check}});
  }
  out.text("output folder", dir);
  out.integer("seed", seed);
  out.integer("steps checked", checked);
  out.integer("steps within tolerance", passed);
  out.number("total milliseconds", std::round(demo::elapsed_ms(start)));
  out.records("steps", rows, {"ms"});
  for (const demo::Detail &d : report.details)
    if (d.in_table || args.flag("json")) out.records(d.key, d.rows, d.numeric_keys);
  if (args.flag("json")) {
    out.records("truth", truth_records(truth), {"x", "y", "angle", "size"});
    out.records("images", images, {});
  } else {
    std::string names;
    for (const auto &img : images)
      names += (names.empty() ? "" : ", ") + img[0].second;
    out.text("images", names);
  }
  return 0;
}

const tool::Register reg({"demo", "[--out DIR] [--seed N]",
                          "make an inspection scene, run search, blobs, caliper and inspection "
                          "on it, write annotated images to DIR (demo-out)",
                          run_demo});

}  // namespace
