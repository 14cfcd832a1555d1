// kelkit pattern: writes a test pattern image.
#include <cmath>
#include <stdexcept>
#include <string>

#include "command.hpp"

namespace {

constexpr const char *kUsage =
    "pattern NAME OUT [--width W] [--height H] [--type byte|word] [--low L] [--high H] "
    "[pattern options]";

int run_pattern(const tool::Args &args, tool::Output &out) {
  const std::string &name = tool::positional(args, 0, kUsage);
  const std::string &path = tool::positional(args, 1, kUsage);
  if (args.positional().size() > 2)
    throw std::runtime_error(std::string("usage: kelkit ") + kUsage);
  const double w = args.number("width", 512), h = args.number("height", 512);
  if (!(w >= 1 && w <= 32768 && h >= 1 && h <= 32768 && w == std::floor(w) && h == std::floor(h)))
    throw std::runtime_error("--width and --height must be whole numbers from 1 to 32768");
  const std::string type = args.option("type", "byte");
  if (type != "byte" && type != "word")
    throw std::runtime_error("--type must be byte or word (image files hold 8 or 16 bits)");
  const unsigned code = type == "byte" ? BYTE : WORD;
  const double top = code == BYTE ? 255 : 65535;
  const double low = args.number("low", 0), high = args.number("high", top);
  tool::ImagePtr img = tool::new_image(code, static_cast<int>(w), static_cast<int>(h));
  Image *im = img.get();
  const double cx = (w - 1) / 2, cy = (h - 1) / 2;
  if (name == "checkerboard") {
    tool::check(kel_pattern_checkerboard(im, args.number("square", 32), args.number("x0", cx),
                                         args.number("y0", cy), args.number("angle", 0), low, high),
                "kel_pattern_checkerboard");
  } else if (name == "gaussian") {
    tool::check(kel_pattern_gaussian(im, args.number("cx", cx), args.number("cy", cy),
                                     args.number("sigma", std::min(w, h) / 6), low, high),
                "kel_pattern_gaussian");
  } else if (name == "wedge") {
    tool::check(kel_pattern_wedge(im, args.number("angle", 0), low, high), "kel_pattern_wedge");
  } else if (name == "bars") {
    tool::check(
        kel_pattern_bar_chart(im, args.number("start", 32), args.number("end", 2), low, high),
        "kel_pattern_bar_chart");
  } else if (name == "grid") {
    tool::check(kel_pattern_grid(im, args.number("spacing", 32), args.number("line", 2),
                                 args.number("x0", 0), args.number("y0", 0), low, high),
                "kel_pattern_grid");
  } else if (name == "wave") {
    tool::check(kel_pattern_wave(im, args.number("period", 32), args.number("angle", 0),
                                 args.number("phase", 0), low, high),
                "kel_pattern_wave");
  } else {
    throw std::runtime_error("unknown pattern \"" + name +
                             "\" (checkerboard, gaussian, wedge, bars, grid, wave)");
  }
  tool::save_image(path, im);
  out.text("pattern", name);
  out.text("file", path);
  out.integer("width", im->dx);
  out.integer("height", im->dy);
  out.text("type", tool::type_name(code));
  return 0;
}

const tool::Register pattern_reg(
    {"pattern", "NAME OUT [--width W] [--height H] [--type byte|word] [--low L] [--high H]",
     "writes a test pattern: checkerboard (--square --x0 --y0 --angle), gaussian (--cx --cy "
     "--sigma), wedge (--angle), bars (--start --end periods), grid (--spacing --line --x0 --y0), "
     "wave (--period --angle --phase)",
     run_pattern});

}  // namespace
