// kelkit filter NAME IN OUT: the named 3x3 operators, erosion and dilation,
// and the filters of any size: mean, Gaussian, unsharp masking, median and
// rank, gradient magnitude, grey morphology with a structuring element, and
// the binary thinning and reconstruction operators.
#include <charconv>
#include <functional>
#include <map>
#include <set>
#include <vector>

#include "command.hpp"

namespace {

const char *kUsage =
    "filter NAME IN OUT [--mode clamp|abs|wrap] [--direction 0..8] [--size N|WxH] [--sigma S] "
    "[--amount A] [--threshold T] [--rank R] [--se rect:WxH|line:LEN,ANGLE|disk:R] "
    "[--op sobel|prewitt|roberts|diff]";

using Filter = int (*)(const Image *, Image *, int);

const std::map<std::string, Filter> &named_filters() {
  static const std::map<std::string, Filter> all = {
      {"laplace", kel_laplace}, {"sobelx", kel_sobelx},       {"sobely", kel_sobely},
      {"sobelxy", kel_sobelxy}, {"prewittx", kel_prewittx},   {"prewitty", kel_prewitty},
      {"sharpen", kel_sharpen}, {"prewittxy", kel_prewittxy},
  };
  return all;
}

[[noreturn]] void refuse(const std::string &message) {
  throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, message};
}

int parse_mode(const std::string &mode) {
  if (mode == "clamp") return KEL_MODE_CLAMP;
  if (mode == "abs") return KEL_MODE_ABS;
  if (mode == "wrap") return KEL_MODE_WRAP;
  refuse("--mode must be clamp, abs or wrap");
}

// A whole number filling all of `text`, or a refusal naming `what`.
int whole(const std::string &text, const std::string &what) {
  int v = 0;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
  if (ec != std::errc() || end != text.data() + text.size() || text.empty())
    refuse(what + " needs a whole number, got \"" + text + "\"");
  return v;
}

// "N" (a square) or "WxH".
std::pair<int, int> parse_size(const std::string &text) {
  if (auto x = text.find('x'); x != std::string::npos)
    return {whole(text.substr(0, x), "--size"), whole(text.substr(x + 1), "--size")};
  const int n = whole(text, "--size");
  return {n, n};
}

// A structuring element: rect:WxH, line:LENGTH,ANGLE or disk:RADIUS.
struct Element {
  std::string kind;
  int a = 3, b = 3;
  std::string text;
};

Element parse_element(const std::string &text) {
  Element e;
  e.text = text;
  const auto colon = text.find(':');
  e.kind = text.substr(0, colon);
  const std::string rest = colon == std::string::npos ? "" : text.substr(colon + 1);
  if (e.kind == "rect") {
    const auto x = rest.find('x');
    if (x == std::string::npos) refuse("--se rect needs WxH, as rect:15x9");
    e.a = whole(rest.substr(0, x), "--se rect");
    e.b = whole(rest.substr(x + 1), "--se rect");
  } else if (e.kind == "line") {
    const auto comma = rest.find(',');
    if (comma == std::string::npos) refuse("--se line needs LENGTH,ANGLE, as line:21,45");
    e.a = whole(rest.substr(0, comma), "--se line");
    e.b = whole(rest.substr(comma + 1), "--se line");
  } else if (e.kind == "disk") {
    e.a = whole(rest, "--se disk");
    if (e.a < 0 || 2 * e.a + 1 > KEL_SURF_MAX)
      refuse("--se disk radius must be 0.." + std::to_string((KEL_SURF_MAX - 1) / 2));
  } else {
    refuse("--se must be rect:WxH, line:LENGTH,ANGLE or disk:RADIUS");
  }
  return e;
}

// Applies morphology operation `op` with the element; returns the status.
int morphology(const Image *src, Image *dst, int op, const Element &e) {
  if (e.kind == "rect") return kel_morph_rect(src, dst, op, e.a, e.b);
  if (e.kind == "line") return kel_morph_line(src, dst, op, e.a, e.b);
  const int n = 2 * e.a + 1;
  std::vector<unsigned char> mask(static_cast<std::size_t>(n) * n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i)
      mask[j * n + i] = (i - e.a) * (i - e.a) + (j - e.a) * (j - e.a) <= e.a * e.a;
  return kel_morph_surf(src, dst, op, mask.data(), nullptr, n, n);
}

const std::map<std::string, int> kMorphology = {{"open", KEL_MORPH_OPEN},
                                                {"close", KEL_MORPH_CLOSE},
                                                {"tophat", KEL_MORPH_TOPHAT},
                                                {"bothat", KEL_MORPH_BOTHAT},
                                                {"morph-gradient", KEL_MORPH_GRADIENT}};

const std::map<std::string, int> kGradientPairs = {{"sobel", KEL_GRAD_SOBEL_X},
                                                   {"prewitt", KEL_GRAD_PREWITT_X},
                                                   {"roberts", KEL_GRAD_ROBERTS_A},
                                                   {"diff", KEL_GRAD_DIFF_X}};

// One filter run: the options it reads and what it does.
struct Run {
  std::set<std::string> options;
  std::function<int()> call;
};

Run plan(const std::string &name, const tool::Args &args, const Image *src, Image *dst,
         tool::Output &out) {
  auto size = [&] {
    if (!args.flag("size")) refuse("filter " + name + " needs --size N or --size WxH");
    auto s = parse_size(args.option("size"));
    out.text("size", std::to_string(s.first) + "x" + std::to_string(s.second));
    return s;
  };
  auto sigma = [&] {
    if (!args.flag("sigma")) refuse("filter " + name + " needs --sigma");
    const double s = args.number("sigma", 1.0);
    out.number("sigma", s);
    return s;
  };
  auto element = [&](bool required) {
    if (!args.flag("se")) {
      if (required) refuse("filter " + name + " needs --se rect:WxH, line:LENGTH,ANGLE or disk:R");
      return parse_element("rect:3x3");
    }
    Element e = parse_element(args.option("se"));
    out.text("element", e.text);
    return e;
  };
  const int mode = parse_mode(args.option("mode", "abs"));
  if (name == "erode" || name == "dilate") {
    const int op = name == "erode" ? KEL_MORPH_ERODE : KEL_MORPH_DILATE;
    // Without an element: the 3x3 BYTE operators.
    if (!args.flag("se"))
      return {{},
              [=] { return op == KEL_MORPH_ERODE ? kel_erode(src, dst) : kel_dilate(src, dst); }};
    const Element e = element(true);
    return {{"se"}, [=] { return morphology(src, dst, op, e); }};
  }
  if (auto it = kMorphology.find(name); it != kMorphology.end()) {
    const Element e = element(false);
    return {{"se"}, [=, op = it->second] { return morphology(src, dst, op, e); }};
  }
  if (name == "kirsch") {
    const int direction = static_cast<int>(args.number("direction", 0));
    return {{"direction", "mode"}, [=] { return kel_kirsch(src, dst, direction, mode); }};
  }
  if (auto it = named_filters().find(name); it != named_filters().end())
    return {{"mode"}, [=, f = it->second] { return f(src, dst, mode); }};
  if (name == "mean") {
    auto [w, h] = size();
    return {{"size"}, [=] { return kel_box_filter2(src, dst, w, h); }};
  }
  if (name == "median") {
    auto [w, h] = size();
    return {{"size"}, [=] { return kel_median_rect(src, dst, w, h); }};
  }
  if (name == "rank") {
    auto [w, h] = size();
    if (!args.flag("rank")) refuse("filter rank needs --rank R");
    const int r = whole(args.option("rank"), "--rank");
    out.integer("rank", r);
    return {{"size", "rank"}, [=] { return kel_rank_rect(src, dst, w, h, r); }};
  }
  if (name == "gauss") {
    const double s = sigma();
    return {{"sigma"}, [=] { return kel_gauss2(src, dst, s); }};
  }
  if (name == "unsharp") {
    const double s = sigma(), amount = args.number("amount", 1.0),
                 t = args.number("threshold", 0.0);
    out.number("amount", amount);
    out.number("threshold", t);
    return {{"sigma", "amount", "threshold"}, [=] { return kel_unsharp2(src, dst, s, amount, t); }};
  }
  if (name == "magnitude") {
    const std::string op = args.option("op", "sobel");
    auto it = kGradientPairs.find(op);
    if (it == kGradientPairs.end()) refuse("--op must be sobel, prewitt, roberts or diff");
    out.text("operator", op);
    return {{"op"}, [=, g = it->second] { return kel_gradient_polar2(src, dst, nullptr, g); }};
  }
  if (name == "thin") return {{}, [=] { return kel_thin(src, dst); }};
  if (name == "fill-holes") return {{}, [=] { return kel_fill_holes(src, dst); }};
  if (name == "clear-border") return {{}, [=] { return kel_clear_border(src, dst); }};
  refuse("unknown filter \"" + name +
         "\" (laplace, sobelx, sobely, sobelxy, prewittx, prewitty, prewittxy, sharpen, kirsch, "
         "erode, dilate, open, close, tophat, bothat, morph-gradient, mean, gauss, unsharp, "
         "median, rank, magnitude, thin, fill-holes, clear-border)");
}

int run_filter(const tool::Args &args, tool::Output &out) {
  const std::string &name = tool::positional(args, 0, kUsage);
  tool::ImagePtr src = tool::load_image(tool::positional(args, 1, kUsage));
  const std::string &target = tool::positional(args, 2, kUsage);
  tool::ImagePtr dst = tool::new_image(src->type, src->dx, src->dy);
  out.text("filter", name);
  Run run = plan(name, args, src.get(), dst.get(), out);
  // An option the filter does not read is refused rather than ignored.
  for (const char *option :
       {"mode", "direction", "size", "sigma", "amount", "threshold", "rank", "se", "op"})
    if (args.flag(option) && !run.options.count(option))
      refuse("--" + std::string(option) + " does not apply to filter " + name);
  im_clear_report();
  unsigned start = im_get_msec_count();
  const int status = run.call();
  unsigned elapsed = im_get_msec_count() - start;
  tool::check(status, ("kel_" + name).c_str());
  tool::save_image(target, dst.get());
  int x, y;
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

const tool::Register reg(
    {"filter",
     "NAME IN OUT [--mode M] [--direction D] [--size N|WxH] [--sigma S] [--amount A] "
     "[--threshold T] [--rank R] [--se rect:WxH|line:LEN,ANGLE|disk:R] [--op OP]",
     "neighbourhood filter (3x3 kernels, kirsch, mean, gauss, unsharp, median, rank, "
     "magnitude, erode, dilate, open, close, tophat, bothat, morph-gradient, thin, "
     "fill-holes, clear-border)",
     run_filter});

}  // namespace
