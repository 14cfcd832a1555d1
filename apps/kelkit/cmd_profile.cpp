// kelkit caliper and kelkit edges: measurements along a line given by two
// points. The image is sampled along the line (bilinear, one sample per
// pixel of length), and the profile's positions are mapped back to image
// coordinates.
#include <cmath>
#include <cstdio>
#include <vector>

#include "command.hpp"

namespace {

struct Line {
  double x0, y0, x1, y1;
  int samples;
  double length() const { return std::hypot(x1 - x0, y1 - y0); }
  // Image position of profile position t (0 .. samples - 1).
  double x_at(double t) const { return samples > 1 ? x0 + (x1 - x0) * t / (samples - 1) : x0; }
  double y_at(double t) const { return samples > 1 ? y0 + (y1 - y0) * t / (samples - 1) : y0; }
};

double coordinate(const tool::Args &args, std::size_t index, const char *usage) {
  const std::string &w = tool::positional(args, index, usage);
  char *end = nullptr;
  double v = std::strtod(w.c_str(), &end);
  if (end == w.c_str() || *end != '\0')
    throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, "\"" + w + "\" is not a number"};
  return v;
}

// Samples the line into a one-row BYTE profile.
tool::ImagePtr profile_along(const Image *img, Line &line) {
  line.samples = static_cast<int>(std::floor(line.length())) + 1;
  if (line.samples < 5)
    throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, "the line must be at least 4 pixels long"};
  std::vector<float> values(line.samples);
  im_clear_report();
  tool::check(
      im_get_line_from_img(img, line.x0, line.y0, line.x1, line.y1, line.samples, values.data()),
      "im_get_line_from_img");
  tool::ImagePtr profile = tool::new_image(BYTE, line.samples, 1);
  auto *p = static_cast<unsigned char *>(profile->data);
  for (int i = 0; i < line.samples; ++i) {
    float v = values[i] + 0.5f;
    p[i] = static_cast<unsigned char>(v < 0 ? 0 : v > 255 ? 255 : v);
  }
  return profile;
}

std::string fixed(double v) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.3f", v);
  return buf;
}

Line read_line(const tool::Args &args, const char *usage) {
  return Line{coordinate(args, 1, usage), coordinate(args, 2, usage), coordinate(args, 3, usage),
              coordinate(args, 4, usage), 0};
}

int run_caliper(const tool::Args &args, tool::Output &out) {
  const char *usage = "caliper IMAGE X0 Y0 X1 Y1 [--inner] [--threshold T] [--dark]";
  tool::ImagePtr img = tool::load_image(tool::positional(args, 0, usage));
  if (img->type != BYTE)
    throw tool::Failure{"kelkit", KEL_ERR_TYPE_MISMATCH, "caliper takes 8-bit images"};
  Line line = read_line(args, usage);
  tool::ImagePtr profile = profile_along(img.get(), line);
  // Outer caliper: edges found from both ends inwards. Inner caliper: from the
  // middle outwards; a bright bar needs a threshold <= 0, a dark one >= 1.
  bool inner = args.flag("inner");
  int threshold =
      static_cast<int>(args.number("threshold", inner ? (args.flag("dark") ? 30 : -30) : 30));
  double width = 0, p1 = 0, p2 = 0;
  im_clear_report();
  int strength = inner ? kel_caliper_id_array(profile.get(), threshold, -2, &width, &p1, &p2)
                       : kel_caliper_od_array(profile.get(), threshold, &width, &p1, &p2);
  if (im_last_code())
    tool::fail_from_last_report(inner ? "kel_caliper_id_array" : "kel_caliper_od_array", 0);
  // Profile samples are one pixel of length apart, so widths are in pixels
  // of the image.
  double scale = line.samples > 1 ? line.length() / (line.samples - 1) : 1.0;
  out.text("caliper", inner ? "inner" : "outer");
  out.integer("samples", line.samples);
  out.integer("strength", strength);
  out.number("width", width * scale);
  out.number("edge 1 x", line.x_at(p1));
  out.number("edge 1 y", line.y_at(p1));
  out.number("edge 2 x", line.x_at(p2));
  out.number("edge 2 y", line.y_at(p2));
  return 0;
}

int run_edges(const tool::Args &args, tool::Output &out) {
  const char *usage = "edges IMAGE X0 Y0 X1 Y1 [--threshold T] [--step S]";
  tool::ImagePtr img = tool::load_image(tool::positional(args, 0, usage));
  if (img->type != BYTE)
    throw tool::Failure{"kelkit", KEL_ERR_TYPE_MISMATCH, "edges takes 8-bit images"};
  Line line = read_line(args, usage);
  tool::ImagePtr profile = profile_along(img.get(), line);
  int threshold = static_cast<int>(args.number("threshold", 20));
  int step = static_cast<int>(args.number("step", 2));
  const int max_edges = 256;
  std::vector<float> rising(max_edges), falling(max_edges);
  unsigned n_rising = 0, n_falling = 0;
  im_clear_report();
  tool::check(kel_edge_count_array_float(profile.get(), step, threshold, max_edges, max_edges,
                                         &n_rising, &n_falling, rising.data(), falling.data()),
              "kel_edge_count_array_float");
  std::vector<std::vector<std::pair<std::string, std::string>>> rows;
  std::size_t r = 0, f = 0;
  // Merge the two lists in profile order.
  while (r < n_rising || f < n_falling) {
    bool take_rising = f >= n_falling || (r < n_rising && rising[r] <= falling[f]);
    double t = take_rising ? rising[r++] : falling[f++];
    rows.push_back({{"polarity", take_rising ? "rising" : "falling"},
                    {"position", fixed(t)},
                    {"x", fixed(line.x_at(t))},
                    {"y", fixed(line.y_at(t))}});
  }
  out.integer("samples", line.samples);
  out.integer("rising", n_rising);
  out.integer("falling", n_falling);
  out.records("edge list", rows, {"position", "x", "y"});
  return 0;
}

const tool::Register caliper_reg({"caliper", "IMAGE X0 Y0 X1 Y1 [--inner] [--threshold T] [--dark]",
                                  "width between two edges along a line", run_caliper});
const tool::Register edges_reg({"edges", "IMAGE X0 Y0 X1 Y1 [--threshold T] [--step S]",
                                "rising and falling edges along a line, sub-pixel", run_edges});

}  // namespace
