// kelkit convert and kelkit threshold: type conversion and binarisation of
// image files.
#include "command.hpp"
#include "threshold_level.hpp"

namespace {

unsigned parse_type(const std::string &name) {
  if (name == "byte") return BYTE;
  if (name == "word") return WORD;
  throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT,
                      "--type must be byte or word (files hold 8 or 16 bits)"};
}

int run_convert(const tool::Args &args, tool::Output &out) {
  const char *usage = "convert IN OUT [--type byte|word] [--stretch]";
  tool::ImagePtr src = tool::load_image(tool::positional(args, 0, usage));
  const std::string &target = tool::positional(args, 1, usage);
  unsigned type = args.flag("type") ? parse_type(args.option("type")) : src->type;
  tool::ImagePtr dst = tool::new_image(type, src->dx, src->dy);
  im_clear_report();
  // dst = src * 1 + 0: kel_add2 converts between pixel types, saturating to
  // the destination's range.
  tool::check(kel_add2(src.get(), dst.get(), 1.0f), "kel_add2");
  if (args.flag("stretch")) {
    if (type == BYTE)
      tool::check(kel_scale(dst.get(), 0, 255), "kel_scale");
    else
      tool::check(kel_scale2(dst.get(), 0.0f, 65535.0f), "kel_scale2");
  }
  tool::save_image(target, dst.get());
  out.text("output", target);
  out.text("type", tool::type_name(type));
  out.integer("width", dst->dx);
  out.integer("height", dst->dy);
  out.number("mean", kel_mean(dst.get()));
  return 0;
}

int run_threshold(const tool::Args &args, tool::Output &out) {
  const char *usage =
      "threshold IN OUT [--t T|otsu|isodata|melt|adaptive | --brightest N] [--low L] [--high H]";
  tool::ImagePtr img = tool::load_image(tool::positional(args, 0, usage));
  const std::string &target = tool::positional(args, 1, usage);
  if (img->type != BYTE)
    throw tool::Failure{"kelkit", KEL_ERR_TYPE_MISMATCH, "threshold takes 8-bit images"};
  im_clear_report();
  double t;
  long long set = -1;  // pixels made object, counted before any mapping
  if (args.flag("brightest")) {
    double count = args.number("brightest", 0);
    if (count < 0)
      throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, "--brightest must not be negative"};
    tool::check(kel_dynthreshold(img.get(), static_cast<unsigned>(count)), "kel_dynthreshold");
    t = -1;
  } else {
    double low = args.number("low", 0), high = args.number("high", 255);
    if (low < 0 || low > 255 || high < 0 || high > 255)
      throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, "--low and --high must lie in 0..255"};
    std::string rule;
    t = tool::binarise(args, img.get(), false, &rule);
    set = kel_count(img.get(), 255);
    if (args.flag("low") || args.flag("high")) {
      // Levels other than 0 and 255: binarised to 0/255 first, then mapped.
      unsigned char table[256];
      for (int v = 0; v < 256; ++v)
        table[v] = static_cast<unsigned char>(v ? high : low);
      tool::check(kel_lut(img.get(), table), "kel_lut");
    }
    if (t < 0) out.text("rule", rule);
  }
  tool::save_image(target, img.get());
  out.text("output", target);
  if (t >= 0) out.integer("threshold", static_cast<long long>(t));
  out.integer("pixels set", set >= 0 ? set : kel_count(img.get(), 255));
  out.integer("pixels", static_cast<long long>(img->dx) * img->dy);
  return 0;
}

const tool::Register convert_reg({"convert", "IN OUT [--type byte|word] [--stretch]",
                                  "convert between file formats and pixel types", run_convert});
const tool::Register threshold_reg({"threshold",
                                    "IN OUT [--t T|otsu|isodata|melt|adaptive [--size S] [--offset "
                                    "C] | --brightest N] [--low L] [--high H]",
                                    "binarise an 8-bit image (fixed level or N brightest pixels)",
                                    run_threshold});

}  // namespace
