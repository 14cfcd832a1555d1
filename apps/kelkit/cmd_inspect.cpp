// kelkit inspect learn / inspect check: the learning inspection tool on image
// files, with its state in an inspection file.
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <vector>

#include "command.hpp"

namespace {

const char *kUsage =
    "inspect learn STATE IMAGE... [--box N] [--sensitivity S] [--block X,Y,W,H] | inspect check "
    "STATE IMAGE";

struct InspectDeleter {
  void operator()(KelInspect *t) const { kel_vela_inspect_delete(t); }
  void operator()(KelInspectResults *r) const { kel_vela_inspect_delete_results(r); }
};

std::unique_ptr<KelInspect, InspectDeleter> new_tool() {
  int status = 0;
  im_clear_report();
  std::unique_ptr<KelInspect, InspectDeleter> t(kel_vela_inspect_create(&status));
  if (!t)
    tool::fail_from_last_report("kel_vela_inspect_create", status ? status : KEL_ERR_NO_MEMORY);
  return t;
}

int learn(const tool::Args &args, tool::Output &out) {
  const std::string &state = tool::positional(args, 1, kUsage);
  if (args.positional().size() < 3)
    throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, std::string("usage: kelkit ") + kUsage};
  auto insp = new_tool();
  int box = static_cast<int>(args.number("box", 16));
  kel_vela_inspect_set_m_nBoxDx(insp.get(), box);
  kel_vela_inspect_set_m_nBoxDy(insp.get(), box);
  if (args.flag("sensitivity"))
    kel_vela_inspect_set_nSensitivity(insp.get(), static_cast<int>(args.number("sensitivity", 50)));
  if (args.flag("block")) {
    int x, y, w, h;
    if (std::sscanf(args.option("block").c_str(), "%d,%d,%d,%d", &x, &y, &w, &h) != 4)
      throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, "--block needs X,Y,W,H"};
    tool::check(kel_vela_inspect_add_block_rect(insp.get(), x, y, w, h),
                "kel_vela_inspect_add_block_rect");
    kel_vela_inspect_set_bBlockingEnabled(insp.get(), 1);
  }
  std::size_t n = args.positional().size() - 2;
  bool progress = isatty(STDERR_FILENO) != 0;
  int learned = 0;
  unsigned start = im_get_msec_count();
  for (std::size_t i = 0; i < n; ++i) {
    tool::ImagePtr img = tool::load_image(args.positional()[i + 2]);
    int accepted = 0;
    im_clear_report();
    tool::check(kel_vela_inspect_learn(insp.get(), img.get(), &accepted), "kel_vela_inspect_learn");
    learned += accepted;
    if (progress) std::fprintf(stderr, "\rlearning %zu/%zu", i + 1, n);
  }
  if (progress) std::fprintf(stderr, "\n");
  unsigned elapsed = im_get_msec_count() - start;
  tool::check(kel_vela_inspect_save(insp.get(), state.c_str()), "kel_vela_inspect_save");
  out.text("state", state);
  out.integer("images given", static_cast<long long>(n));
  out.integer("images learned", learned);
  out.integer("boxes x", kel_vela_inspect_get_nBoxCountX(insp.get()));
  out.integer("boxes y", kel_vela_inspect_get_nBoxCountY(insp.get()));
  out.integer("milliseconds", elapsed);
  return 0;
}

int check(const tool::Args &args, tool::Output &out) {
  const std::string &state = tool::positional(args, 1, kUsage);
  tool::ImagePtr img = tool::load_image(tool::positional(args, 2, kUsage));
  auto insp = new_tool();
  im_clear_report();
  tool::check(kel_vela_inspect_load(insp.get(), state.c_str()), "kel_vela_inspect_load");
  int status = 0;
  std::unique_ptr<KelInspectResults, InspectDeleter> results(
      kel_vela_inspect_create_results(&status));
  if (!results)
    tool::fail_from_last_report("kel_vela_inspect_create_results",
                                status ? status : KEL_ERR_NO_MEMORY);
  unsigned start = im_get_msec_count();
  tool::check(kel_vela_inspect_check(insp.get(), img.get(), results.get()),
              "kel_vela_inspect_check");
  unsigned elapsed = im_get_msec_count() - start;
  int groups = kel_vela_inspect_result_group_count(results.get());
  std::vector<std::vector<std::pair<std::string, std::string>>> rows;
  for (int i = 0; i < groups; ++i) {
    KelInspectGroup g{};
    tool::check(kel_vela_inspect_result_group(results.get(), i, &g),
                "kel_vela_inspect_result_group");
    char dev[32];
    std::snprintf(dev, sizeof dev, "%.2f", g.worst_deviation);
    rows.push_back({{"boxes", std::to_string(g.box_count)},
                    {"x", std::to_string(g.x)},
                    {"y", std::to_string(g.y)},
                    {"width", std::to_string(g.dx)},
                    {"height", std::to_string(g.dy)},
                    {"worst deviation", dev}});
  }
  out.text("verdict", groups ? "FAIL" : "PASS");
  out.integer("deviating boxes", kel_vela_inspect_result_box_count(results.get()));
  out.integer("groups", groups);
  out.integer("milliseconds", elapsed);
  out.records("defect groups", rows, {"boxes", "x", "y", "width", "height", "worst deviation"});
  return 0;
}

int run_inspect(const tool::Args &args, tool::Output &out) {
  const std::string &verb = tool::positional(args, 0, kUsage);
  if (verb == "learn") return learn(args, out);
  if (verb == "check") return check(args, out);
  throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, std::string("usage: kelkit ") + kUsage};
}

const tool::Register reg(
    {"inspect",
     "learn STATE IMAGE... [--box N] [--sensitivity S] [--block X,Y,W,H] | check STATE IMAGE",
     "learning inspection: learn good parts, report deviating box groups", run_inspect});

}  // namespace
