// kelkit label IMAGE: threshold, connected-component labeling, areas and
// perimeters, optionally the labelled image.
#include <cstdio>
#include <memory>

#include "command.hpp"
#include "threshold_level.hpp"

namespace {

int run_label(const tool::Args &args, tool::Output &out) {
  const char *usage =
      "label IMAGE [--t T|otsu|isodata|melt|adaptive] [--dark] [--connect 4|8] [--out LABELLED] "
      "[--sort area|perim]";
  tool::ImagePtr img = tool::load_image(tool::positional(args, 0, usage));
  if (img->type != BYTE)
    throw tool::Failure{"kelkit", KEL_ERR_TYPE_MISMATCH, "label takes 8-bit images"};
  int connect = static_cast<int>(args.number("connect", 8));
  if (connect != 4 && connect != 8)
    throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, "--connect must be 4 or 8"};
  bool dark = args.flag("dark");
  im_clear_report();
  // Objects become 255, background 0; labels then run 1..254 and cycle.
  std::string rule;
  const int level = tool::binarise(args, img.get(), dark, &rule);
  if (level >= 0)
    out.integer("threshold", level);
  else
    out.text("threshold", rule);
  unsigned count = 0;
  unsigned start = im_get_msec_count();
  LabelRecord *raw = kel_label(img.get(), 255, connect, 1, 254, &count);
  if (!raw && im_last_code()) tool::fail_from_last_report("kel_label", 0);
  std::unique_ptr<LabelRecord, void (*)(LabelRecord *)> list(raw, kel_label_delete_list);
  if (list)
    tool::check(kel_label_perimeter_list(img.get(), list.get(), 1), "kel_label_perimeter_list");
  if (im_last_code() && !im_last_is_warning())
    tool::fail_from_last_report("kel_label_perimeter_list", 0);
  std::string key = args.option("sort", "");
  if (list && !key.empty()) {
    if (key != "area" && key != "perim")
      throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, "--sort must be area or perim"};
    list.release();
    raw = kel_label_measure_sort(raw, key == "area" ? 0 : 1, 0);  // largest first
    list.reset(raw);
  }
  unsigned elapsed = im_get_msec_count() - start;
  if (args.flag("out")) tool::save_image(args.option("out"), img.get());

  std::vector<std::vector<std::pair<std::string, std::string>>> rows;
  for (const LabelRecord *r = list.get(); r; r = r->next) {
    char perim[32];
    std::snprintf(perim, sizeof perim, "%.2f", kel_label_get_measure(r, 1));
    rows.push_back({{"label", std::to_string(kel_label_get_labelval(r))},
                    {"area", std::to_string(static_cast<long long>(kel_label_get_measure(r, 0)))},
                    {"perimeter", perim},
                    {"xmin", std::to_string(kel_label_get_bxmin(r))},
                    {"ymin", std::to_string(kel_label_get_bymin(r))},
                    {"xmax", std::to_string(kel_label_get_bxmax(r))},
                    {"ymax", std::to_string(kel_label_get_bymax(r))},
                    {"touches", std::to_string(kel_label_get_touches(r))}});
  }
  out.integer("objects", count);
  out.text("connectivity", connect == 8 ? "8" : "4");
  out.integer("milliseconds", elapsed);
  out.records("object list", rows,
              {"label", "area", "perimeter", "xmin", "ymin", "xmax", "ymax", "touches"});
  return 0;
}

const tool::Register reg({"label",
                          "IMAGE [--t T|otsu|isodata|melt|adaptive] [--dark] [--connect 4|8] "
                          "[--out LABELLED] [--sort area|perim]",
                          "connected-component labeling with area, perimeter and box per object",
                          run_label});

}  // namespace
