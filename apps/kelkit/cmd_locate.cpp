// kelkit rotsearch and kelkit search360: the trainable search with rotation
// and the rotation-invariant search on image files.
#include <cmath>
#include <cstdio>
#include <memory>
#include <numbers>
#include <vector>

#include "command.hpp"

namespace {

std::string fixed(double v, int digits = 3) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.*f", digits, v);
  return buf;
}

using Rows = std::vector<std::vector<std::pair<std::string, std::string>>>;

// ---- rotsearch ------------------------------------------------------------

const char *kRotUsage =
    "rotsearch train SCENE X Y W H PARAMS [--angles A] | rotsearch find PARAMS SCENE [--count N]";

struct VelaDeleter {
  void operator()(KelVelaParams *p) const { kel_vela_search_delete_params(p); }
  void operator()(KelVelaResults *r) const { kel_vela_search_delete_results(r); }
};

std::unique_ptr<KelVelaParams, VelaDeleter> new_vela_params() {
  im_clear_report();
  std::unique_ptr<KelVelaParams, VelaDeleter> p(kel_vela_search_create_params());
  if (!p) tool::fail_from_last_report("kel_vela_search_create_params", KEL_ERR_NO_MEMORY);
  return p;
}

int rot_train(const tool::Args &args, tool::Output &out) {
  tool::ImagePtr scene = tool::load_image(tool::positional(args, 1, kRotUsage));
  int x = tool::positional_int(args, 2, kRotUsage), y = tool::positional_int(args, 3, kRotUsage);
  int w = tool::positional_int(args, 4, kRotUsage), h = tool::positional_int(args, 5, kRotUsage);
  const std::string &path = tool::positional(args, 6, kRotUsage);
  im_clear_report();
  tool::ImagePtr model(im_rroi(scene.get(), x, y, w, h));
  if (!model) tool::fail_from_last_report("im_rroi", KEL_ERR_ARGUMENT);
  auto params = new_vela_params();
  params->angle_count = static_cast<int>(args.number("angles", 9));
  unsigned start = im_get_msec_count();
  tool::check(kel_vela_search_train(scene.get(), model.get(), params.get()),
              "kel_vela_search_train");
  unsigned elapsed = im_get_msec_count() - start;
  tool::check(kel_vela_search_save_params(params.get(), path.c_str(), nullptr),
              "kel_vela_search_save_params");
  out.text("params", path);
  out.integer("model width", w);
  out.integer("model height", h);
  out.integer("angles", params->angle_count);
  out.integer("milliseconds", elapsed);
  return 0;
}

int rot_find(const tool::Args &args, tool::Output &out) {
  const std::string &path = tool::positional(args, 1, kRotUsage);
  tool::ImagePtr scene = tool::load_image(tool::positional(args, 2, kRotUsage));
  int wanted = static_cast<int>(args.number("count", 1));
  if (wanted < 1 || wanted > 1000)
    throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, "--count must be 1..1000"};
  auto params = new_vela_params();
  im_clear_report();
  tool::check(kel_vela_search_load_params(params.get(), path.c_str()),
              "kel_vela_search_load_params");
  kel_vela_search_set_num_to_find(params.get(), wanted);
  std::unique_ptr<KelVelaResults, VelaDeleter> results(kel_vela_search_create_results(wanted));
  if (!results) tool::fail_from_last_report("kel_vela_search_create_results", KEL_ERR_NO_MEMORY);
  unsigned start = im_get_msec_count();
  tool::check(kel_vela_search_find(scene.get(), params.get(), 1, results.get()),
              "kel_vela_search_find");
  unsigned elapsed = im_get_msec_count() - start;
  Rows rows;
  for (int i = 0; i < results->num_positions; ++i) {
    const KelVelaPosition &p = results->positions[i];
    rows.push_back({{"x", fixed(p.x_coord)},
                    {"y", fixed(p.y_coord)},
                    {"angle", fixed(p.angle, 2)},
                    {"quality", fixed(p.quality, 1)},
                    {"conform", fixed(p.conform, 1)},
                    {"score", fixed(p.score, 1)}});
  }
  out.integer("found", results->num_positions);
  out.integer("milliseconds", elapsed);
  out.records("matches", rows, {"x", "y", "angle", "quality", "conform", "score"});
  return 0;
}

int run_rotsearch(const tool::Args &args, tool::Output &out) {
  const std::string &verb = tool::positional(args, 0, kRotUsage);
  if (verb == "train") return rot_train(args, out);
  if (verb == "find") return rot_find(args, out);
  throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, std::string("usage: kelkit ") + kRotUsage};
}

// ---- search360 ------------------------------------------------------------

const char *k360Usage =
    "search360 train IMAGE X Y W H PARAMS | search360 find PARAMS SCENE [--count N]";

struct V360Deleter {
  void operator()(kel_vela_360_params *p) const { kel_vela_360_delete_params(p); }
  void operator()(kel_vela_360_results *r) const { kel_vela_360_delete_results(r); }
};

std::unique_ptr<kel_vela_360_params, V360Deleter> new_360_params() {
  im_clear_report();
  std::unique_ptr<kel_vela_360_params, V360Deleter> p(kel_vela_360_create_params());
  if (!p) tool::fail_from_last_report("kel_vela_360_create_params", KEL_ERR_NO_MEMORY);
  return p;
}

int train360(const tool::Args &args, tool::Output &out) {
  tool::ImagePtr img = tool::load_image(tool::positional(args, 1, k360Usage));
  int x = tool::positional_int(args, 2, k360Usage), y = tool::positional_int(args, 3, k360Usage);
  int w = tool::positional_int(args, 4, k360Usage), h = tool::positional_int(args, 5, k360Usage);
  const std::string &path = tool::positional(args, 6, k360Usage);
  auto params = new_360_params();
  im_clear_report();
  unsigned start = im_get_msec_count();
  tool::check(kel_vela_360_train(img.get(), x, y, w, h, params.get()), "kel_vela_360_train");
  unsigned elapsed = im_get_msec_count() - start;
  int status = kel_vela_360_save_params(params.get(), path.c_str(), nullptr);
  if (status) throw tool::Failure{"kel_vela_360_save_params", status, "cannot write " + path};
  out.text("params", path);
  out.integer("model width", w);
  out.integer("model height", h);
  out.integer("milliseconds", elapsed);
  return 0;
}

int find360(const tool::Args &args, tool::Output &out) {
  const std::string &path = tool::positional(args, 1, k360Usage);
  tool::ImagePtr scene = tool::load_image(tool::positional(args, 2, k360Usage));
  int wanted = static_cast<int>(args.number("count", 1));
  if (wanted < 1 || wanted > 1000)
    throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, "--count must be 1..1000"};
  auto params = new_360_params();
  int status = kel_vela_360_load_params(params.get(), path.c_str());
  if (status) throw tool::Failure{"kel_vela_360_load_params", status, "cannot read " + path};
  kel_vela_360_set_nPatternsToFind(params.get(), wanted);
  if (args.flag("min-score"))
    kel_vela_360_set_dMinScore(params.get(), args.number("min-score", 30));
  std::unique_ptr<kel_vela_360_results, V360Deleter> results(kel_vela_360_create_results(wanted));
  if (!results) tool::fail_from_last_report("kel_vela_360_create_results", KEL_ERR_NO_MEMORY);
  im_clear_report();
  unsigned start = im_get_msec_count();
  status = kel_vela_360_search(scene.get(), 0, 0, 0, 0, params.get(), results.get());
  if (status == KEL_ERR_NO_MODEL || status == KEL_ERR_WINDOW)
    throw tool::Failure{
        "kel_vela_360_search", status,
        status == KEL_ERR_NO_MODEL ? "no trained model" : "window outside the image"};
  tool::check(status, "kel_vela_360_search");
  unsigned elapsed = im_get_msec_count() - start;
  Rows rows;
  for (int i = 0; i < results->nFound; ++i)
    rows.push_back({{"x", fixed(results->pX[i])},
                    {"y", fixed(results->pY[i])},
                    {"angle", fixed(results->pAngle[i] * 180.0 / std::numbers::pi, 2)},
                    {"scale", fixed(results->pScale[i])},
                    {"score", fixed(results->pScore[i], 1)}});
  out.integer("found", results->nFound);
  out.integer("milliseconds", elapsed);
  out.records("matches", rows, {"x", "y", "angle", "scale", "score"});
  return 0;
}

int run_search360(const tool::Args &args, tool::Output &out) {
  const std::string &verb = tool::positional(args, 0, k360Usage);
  if (verb == "train") return train360(args, out);
  if (verb == "find") return find360(args, out);
  throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, std::string("usage: kelkit ") + k360Usage};
}

const tool::Register rot_reg(
    {"rotsearch", "train SCENE X Y W H PARAMS [--angles A] | find PARAMS SCENE [--count N]",
     "trainable search with rotation (angles -A..+A degrees)", run_rotsearch});
const tool::Register v360_reg(
    {"search360", "train IMAGE X Y W H PARAMS | find PARAMS SCENE [--count N] [--min-score S]",
     "rotation-invariant contour search at any angle", run_search360});

}  // namespace
