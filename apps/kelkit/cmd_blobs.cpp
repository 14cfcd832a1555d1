// kelkit blobs IMAGE: threshold, then blob analysis with limits and sorting.
#include <cstdio>
#include <map>
#include <memory>

#include "command.hpp"
#include "threshold_level.hpp"

namespace {

const std::map<std::string, unsigned> kSortKeys = {
    {"area", KEL_BLOB_SORT_AREA},       {"x", KEL_BLOB_SORT_XCENT},
    {"y", KEL_BLOB_SORT_YCENT},         {"columns", KEL_BLOB_SORT_COLUMNS},
    {"rows", KEL_BLOB_SORT_ROWS},       {"xy-sum", KEL_BLOB_SORT_XY_SUM},
    {"xy-diff", KEL_BLOB_SORT_XY_DIFF}, {"height", KEL_BLOB_SORT_HEIGHT},
    {"width", KEL_BLOB_SORT_WIDTH},     {"perim", KEL_BLOB_SORT_PERIM}};

std::string fixed(double v) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.2f", v);
  return buf;
}

unsigned limit(const tool::Args &args, const char *name) {
  double v = args.number(name, -1);
  if (v < 0) return KEL_BLOB_UNSET;
  return static_cast<unsigned>(v);
}

int run_blobs(const tool::Args &args, tool::Output &out) {
  const char *usage =
      "blobs IMAGE [--t T|otsu|isodata|melt|adaptive] [--dark] [--connect 4|8] [--min-area A] "
      "[--max-area A] ...";
  tool::ImagePtr img = tool::load_image(tool::positional(args, 0, usage));
  if (img->type != BYTE)
    throw tool::Failure{"kelkit", KEL_ERR_TYPE_MISMATCH, "blobs takes 8-bit images"};
  int connect = static_cast<int>(args.number("connect", 8));
  if (connect != 4 && connect != 8)
    throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, "--connect must be 4 or 8"};
  im_clear_report();
  // Objects become 255 and background 0: bright objects by default, dark
  // ones with --dark.
  bool dark = args.flag("dark");
  std::string rule;
  const int level = tool::binarise(args, img.get(), dark, &rule);
  if (level >= 0)
    out.integer("threshold", level);
  else
    out.text("threshold", rule);

  unsigned status = 0;
  std::unique_ptr<BlobParams, void (*)(BlobParams *)> params(kel_blob_create_params(&status),
                                                             kel_blob_delete_params);
  if (!params) tool::fail_from_last_report("kel_blob_create_params", static_cast<int>(status));
  std::unique_ptr<BlobResults, void (*)(BlobResults *)> results(
      kel_blob_create_results(256, 1, &status), kel_blob_delete_results);
  if (!results) tool::fail_from_last_report("kel_blob_create_results", static_cast<int>(status));
  kel_blob_set_blob_color(params.get(), 255);
  kel_blob_set_connected(params.get(), static_cast<unsigned>(connect));
  kel_blob_set_min_area(params.get(), limit(args, "min-area"));
  kel_blob_set_max_area(params.get(), limit(args, "max-area"));
  kel_blob_set_min_width(params.get(), limit(args, "min-width"));
  kel_blob_set_max_width(params.get(), limit(args, "max-width"));
  kel_blob_set_min_height(params.get(), limit(args, "min-height"));
  kel_blob_set_max_height(params.get(), limit(args, "max-height"));

  unsigned start = im_get_msec_count();
  tool::check(kel_blob_find(img.get(), params.get(), results.get(), KEL_BLOB_COORDS_IMAGE),
              "kel_blob_find");
  unsigned n = kel_blob_get_num_found(results.get());
  std::string key = args.option("sort", "area");
  auto it = kSortKeys.find(key);
  if (it == kSortKeys.end())
    throw tool::Failure{
        "kelkit", KEL_ERR_ARGUMENT,
        "--sort must be area, x, y, columns, rows, xy-sum, xy-diff, height, width or perim"};
  if (n > 1)
    tool::check(kel_blob_sort(results.get(), it->second, args.flag("ascending") ? 0 : 1),
                "kel_blob_sort");
  unsigned elapsed = im_get_msec_count() - start;

  std::vector<std::vector<std::pair<std::string, std::string>>> rows;
  for (unsigned i = 0; i < n; ++i) {
    const BlobResults *r = results.get();
    int k = static_cast<int>(i);
    rows.push_back({{"area", std::to_string(kel_blob_get_area(r, k))},
                    {"xcent", fixed(kel_blob_get_xcent(r, k))},
                    {"ycent", fixed(kel_blob_get_ycent(r, k))},
                    {"xmin", std::to_string(kel_blob_get_xmin(r, k))},
                    {"ymin", std::to_string(kel_blob_get_ymin(r, k))},
                    {"xmax", std::to_string(kel_blob_get_xmax(r, k))},
                    {"ymax", std::to_string(kel_blob_get_ymax(r, k))},
                    {"perim", std::to_string(kel_blob_get_perim(r, k))}});
  }
  out.integer("blobs", n);
  out.text("connectivity", connect == 8 ? "8" : "4");
  out.text("sort", key);
  out.integer("milliseconds", elapsed);
  out.records("blob list", rows,
              {"area", "xcent", "ycent", "xmin", "ymin", "xmax", "ymax", "perim"});
  return 0;
}

const tool::Register reg({"blobs",
                          "IMAGE [--t T|otsu|isodata|melt|adaptive] [--dark] [--connect 4|8] "
                          "[--min-area A] [--max-area A] "
                          "[--min-width W] [--max-width W] [--min-height H] [--max-height H] "
                          "[--sort KEY] [--ascending]",
                          "threshold and blob analysis: count, area, box, centroid, perimeter",
                          run_blobs});

}  // namespace
