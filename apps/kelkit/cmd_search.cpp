// kelkit search train / search find: the correlation search on image files.
#include <memory>
#include <vector>

#include "command.hpp"

namespace {

const char *kUsage =
    "search train SCENE X Y WIDTH HEIGHT PARAMS | search find PARAMS SCENE [--count N]";

struct ParamsDeleter {
  void operator()(KelSearchParams *p) const { kel_search_delete_params(p); }
};
using ParamsPtr = std::unique_ptr<KelSearchParams, ParamsDeleter>;

ParamsPtr new_params() {
  im_clear_report();
  ParamsPtr p(kel_search_create_params());
  if (!p) tool::fail_from_last_report("kel_search_create_params", KEL_ERR_NO_MEMORY);
  return p;
}

int train(const tool::Args &args, tool::Output &out) {
  tool::ImagePtr scene = tool::load_image(tool::positional(args, 1, kUsage));
  int x = tool::positional_int(args, 2, kUsage), y = tool::positional_int(args, 3, kUsage);
  int w = tool::positional_int(args, 4, kUsage), h = tool::positional_int(args, 5, kUsage);
  const std::string &path = tool::positional(args, 6, kUsage);
  im_clear_report();
  tool::ImagePtr model(im_rroi(scene.get(), x, y, w, h));
  if (!model) tool::fail_from_last_report("im_rroi", KEL_ERR_ARGUMENT);
  ParamsPtr params = new_params();
  unsigned start = im_get_msec_count();
  tool::check(kel_search_train(scene.get(), model.get(), params.get()), "kel_search_train");
  unsigned elapsed = im_get_msec_count() - start;
  tool::check(kel_search_save_params(params.get(), path.c_str(), nullptr),
              "kel_search_save_params");
  out.text("params", path);
  out.integer("model width", w);
  out.integer("model height", h);
  out.integer("scan step x", kel_search_get_scan_step_x(params.get()));
  out.integer("scan step y", kel_search_get_scan_step_y(params.get()));
  out.integer("milliseconds", elapsed);
  return 0;
}

int find(const tool::Args &args, tool::Output &out) {
  const std::string &path = tool::positional(args, 1, kUsage);
  tool::ImagePtr scene = tool::load_image(tool::positional(args, 2, kUsage));
  int wanted = static_cast<int>(args.number("count", 1));
  if (wanted < 1 || wanted > 1000)
    throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, "--count must be 1..1000"};
  ParamsPtr params = new_params();
  im_clear_report();
  tool::check(kel_search_load_params(params.get(), path.c_str()), "kel_search_load_params");
  kel_search_set_num_to_find(params.get(), wanted);
  std::vector<double> xs(wanted), ys(wanted);
  std::vector<int> scores(wanted);
  int found = 0;
  unsigned start = im_get_msec_count();
  tool::check(
      kel_search_multi(scene.get(), params.get(), 1, &found, xs.data(), ys.data(), scores.data()),
      "kel_search");
  unsigned elapsed = im_get_msec_count() - start;
  std::vector<std::vector<std::pair<std::string, std::string>>> rows;
  for (int i = 0; i < found && i < wanted; ++i) {
    char bx[32], by[32];
    std::snprintf(bx, sizeof bx, "%.3f", xs[i]);
    std::snprintf(by, sizeof by, "%.3f", ys[i]);
    rows.push_back({{"x", bx}, {"y", by}, {"score", std::to_string(scores[i])}});
  }
  out.integer("found", found);
  out.integer("milliseconds", elapsed);
  out.records("matches", rows, {"x", "y", "score"});
  return 0;
}

int run_search(const tool::Args &args, tool::Output &out) {
  const std::string &verb = tool::positional(args, 0, kUsage);
  if (verb == "train") return train(args, out);
  if (verb == "find") return find(args, out);
  throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, std::string("usage: kelkit ") + kUsage};
}

const tool::Register reg({"search", "train SCENE X Y W H PARAMS | find PARAMS SCENE [--count N]",
                          "correlation search: train a model cut from a scene, find it in scenes",
                          run_search});

}  // namespace
