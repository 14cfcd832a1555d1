// kelkit filter NAME IN OUT: the named 3x3 operators, erosion and dilation.
#include <cstring>
#include <map>

#include "command.hpp"

namespace {

const char *kUsage = "filter NAME IN OUT [--mode clamp|abs|wrap] [--direction 0..8]";

using Filter = int (*)(const Image *, Image *, int);

const std::map<std::string, Filter> &named_filters() {
  static const std::map<std::string, Filter> all = {
      {"laplace", kel_laplace}, {"sobelx", kel_sobelx},       {"sobely", kel_sobely},
      {"sobelxy", kel_sobelxy}, {"prewittx", kel_prewittx},   {"prewitty", kel_prewitty},
      {"sharpen", kel_sharpen}, {"prewittxy", kel_prewittxy},
  };
  return all;
}

int parse_mode(const std::string &mode) {
  if (mode == "clamp") return KEL_MODE_CLAMP;
  if (mode == "abs") return KEL_MODE_ABS;
  if (mode == "wrap") return KEL_MODE_WRAP;
  throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, "--mode must be clamp, abs or wrap"};
}

int run_filter(const tool::Args &args, tool::Output &out) {
  const std::string &name = tool::positional(args, 0, kUsage);
  tool::ImagePtr src = tool::load_image(tool::positional(args, 1, kUsage));
  const std::string &target = tool::positional(args, 2, kUsage);
  tool::ImagePtr dst = tool::new_image(src->type, src->dx, src->dy);
  int mode = parse_mode(args.option("mode", "abs"));
  im_clear_report();
  unsigned start = im_get_msec_count();
  int status;
  if (name == "erode") {
    status = kel_erode(src.get(), dst.get());
  } else if (name == "dilate") {
    status = kel_dilate(src.get(), dst.get());
  } else if (name == "kirsch") {
    status = kel_kirsch(src.get(), dst.get(), static_cast<int>(args.number("direction", 0)), mode);
  } else if (auto it = named_filters().find(name); it != named_filters().end()) {
    status = it->second(src.get(), dst.get(), mode);
  } else {
    throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT,
                        "unknown filter \"" + name +
                            "\" (laplace, sobelx, sobely, sobelxy, prewittx, prewitty, prewittxy, "
                            "sharpen, kirsch, erode, dilate)"};
  }
  unsigned elapsed = im_get_msec_count() - start;
  tool::check(status, ("kel_" + name).c_str());
  tool::save_image(target, dst.get());
  int x, y;
  out.text("filter", name);
  out.text("output", target);
  out.integer("width", dst->dx);
  out.integer("height", dst->dy);
  out.number("output mean", kel_mean(dst.get()));
  out.number("output max", kel_max2(dst.get(), &x, &y));
  out.integer("output max x", x);
  out.integer("output max y", y);
  out.integer("milliseconds", elapsed);
  return 0;
}

const tool::Register reg({"filter", "NAME IN OUT [--mode clamp|abs|wrap] [--direction D]",
                          "3x3 filter (laplace, sobel*, prewitt*, sharpen, kirsch, erode, dilate)",
                          run_filter});

}  // namespace
