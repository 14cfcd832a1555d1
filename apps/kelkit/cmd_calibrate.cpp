// kelkit calibrate, kelkit measure and kelkit chessboard: camera calibration
// from chessboard images, measurements in world units through a calibration
// file, and rendered chessboard views to try them on.
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "command.hpp"

namespace {

struct XfmDeleter {
  void operator()(KelXfm *x) const { kel_xfm_delete(x); }
};
struct PerspectiveDeleter {
  void operator()(KelPerspectiveXfm *x) const { kel_perspective_xfm_delete(x); }
};

std::string fixed(double v, int digits = 4) {
  char buf[48];
  std::snprintf(buf, sizeof buf, "%.*f", digits, v);
  return buf;
}

double number_word(const std::string &w) {
  char *end = nullptr;
  double v = std::strtod(w.c_str(), &end);
  if (end == w.c_str() || *end != '\0' || !std::isfinite(v))
    throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, "\"" + w + "\" is not a number"};
  return v;
}

// A required whole-number option within [lo, hi].
int whole_option(const tool::Args &args, const char *name, int lo, int hi, const char *usage) {
  if (!args.flag(name))
    throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, std::string("usage: kelkit ") + usage};
  double v = args.number(name, 0);
  if (v != std::floor(v) || v < lo || v > hi)
    throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT,
                        std::string("--") + name + " must be a whole number from " +
                            std::to_string(lo) + " to " + std::to_string(hi)};
  return int(v);
}

double positive_option(const tool::Args &args, const char *name, const char *usage) {
  if (!args.flag(name))
    throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, std::string("usage: kelkit ") + usage};
  double v = args.number(name, 0);
  if (!(v > 0) || !std::isfinite(v))
    throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, std::string("--") + name + " must be > 0"};
  return v;
}

// ---- calibrate -----------------------------------------------------------

int run_calibrate(const tool::Args &args, tool::Output &out) {
  const char *usage =
      "calibrate IMAGE IMAGE... --cols C --rows R --square S --out FILE [--plane N]";
  const int cols = whole_option(args, "cols", 2, 1000, usage);
  const int rows = whole_option(args, "rows", 2, 1000, usage);
  const double square = positive_option(args, "square", usage);
  const std::string file = args.option("out");
  if (file.empty() || file == "1")
    throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, std::string("usage: kelkit ") + usage};
  const std::vector<std::string> &images = args.positional();
  if (images.size() < 2)
    throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, "calibrate needs two or more images"};
  const int corners = cols * rows;
  std::vector<int> counts, image_of_view;
  std::vector<double> px, py, wx, wy;
  std::vector<bool> found(images.size(), false);
  for (std::size_t i = 0; i < images.size(); ++i) {
    tool::ImagePtr img = tool::load_image(images[i]);
    std::vector<double> x(corners), y(corners);
    im_clear_report();
    int status = kel_chessboard_find(img.get(), cols, rows, x.data(), y.data());
    if (status == KEL_ERR_NOT_FOUND) continue;
    tool::check(status, "kel_chessboard_find");
    found[i] = true;
    image_of_view.push_back(int(i));
    counts.push_back(corners);
    px.insert(px.end(), x.begin(), x.end());
    py.insert(py.end(), y.begin(), y.end());
    for (int j = 0; j < rows; ++j)
      for (int c = 0; c < cols; ++c)
        wx.push_back(c * square), wy.push_back(j * square);
  }
  const int views = int(counts.size());
  if (views < 2)
    throw tool::Failure{"kelkit", KEL_ERR_NOT_FOUND,
                        "a " + std::to_string(cols) + " x " + std::to_string(rows) +
                            " chessboard was not found in two or more images (found in " +
                            std::to_string(views) + ")"};
  // The plane measured through the file: that of image N (default the
  // first image in which the board was found).
  int plane_view = 0;
  if (args.flag("plane")) {
    int image = whole_option(args, "plane", 0, int(images.size()) - 1, usage);
    plane_view = -1;
    for (int v = 0; v < views; ++v)
      if (image_of_view[v] == image) plane_view = v;
    if (plane_view < 0)
      throw tool::Failure{"kelkit", KEL_ERR_NOT_FOUND,
                          "--plane " + std::to_string(image) + ": no board found in that image"};
  }
  std::unique_ptr<KelXfm, XfmDeleter> xfm(kel_xfm_create(nullptr));
  if (!xfm) tool::fail_from_last_report("kel_xfm_create", KEL_ERR_NO_MEMORY);
  std::vector<double> view_rms(views);
  im_clear_report();
  tool::check(kel_calibrate_camera(views, counts.data(), px.data(), py.data(), wx.data(), wy.data(),
                                   plane_view, xfm.get(), view_rms.data()),
              "kel_calibrate_camera");
  im_clear_report();
  tool::check(kel_xfm_save(xfm.get(), file.c_str()), "kel_xfm_save");
  double k[5], d[4];
  tool::check(kel_xfm_get_camera(xfm.get(), k, d, nullptr), "kel_xfm_get_camera");
  out.text("calibration file", file);
  out.integer("images", long(images.size()));
  out.integer("boards found", views);
  out.text("plane of image", images[image_of_view[plane_view]]);
  out.number("rms residual px", kel_xfm_get_rms(xfm.get()));
  out.number("max residual px", kel_xfm_get_max_residual(xfm.get()));
  out.number("fx", k[0]);
  out.number("fy", k[1]);
  out.number("cx", k[3]);
  out.number("cy", k[4]);
  out.number("k1", d[0]);
  out.number("k2", d[1]);
  out.number("p1", d[2]);
  out.number("p2", d[3]);
  std::vector<std::vector<std::pair<std::string, std::string>>> table;
  int v = 0;
  for (std::size_t i = 0; i < images.size(); ++i) {
    if (found[i])
      table.push_back({{"image", images[i]}, {"board", "found"}, {"rms px", fixed(view_rms[v++])}});
    else
      table.push_back({{"image", images[i]}, {"board", "not found"}, {"rms px", "-"}});
  }
  out.records("residuals", table, {});
  return 0;
}

// ---- measure --------------------------------------------------------------

// A calibration file of either kind, mapping pixels to world points.
class WorldMap {
 public:
  explicit WorldMap(const std::string &file) {
    xfm_.reset(kel_xfm_create(nullptr));
    if (!xfm_) tool::fail_from_last_report("kel_xfm_create", KEL_ERR_NO_MEMORY);
    im_clear_report();
    if (kel_xfm_load(xfm_.get(), file.c_str()) == 0) return;
    xfm_.reset();
    perspective_.reset(kel_perspective_xfm_create(nullptr));
    if (!perspective_) tool::fail_from_last_report("kel_perspective_xfm_create", KEL_ERR_NO_MEMORY);
    im_clear_report();
    tool::check(kel_perspective_xfm_load(perspective_.get(), file.c_str()),
                "kel_perspective_xfm_load");
  }
  void to_world(double px, double py, double &wx, double &wy) const {
    im_clear_report();
    if (xfm_)
      tool::check(kel_xfm_pixel_to_world(xfm_.get(), px, py, &wx, &wy), "kel_xfm_pixel_to_world");
    else
      tool::check(kel_perspective_xfm_pixel_to_world(perspective_.get(), px, py, &wx, &wy),
                  "kel_perspective_xfm_pixel_to_world");
  }

 private:
  std::unique_ptr<KelXfm, XfmDeleter> xfm_;
  std::unique_ptr<KelPerspectiveXfm, PerspectiveDeleter> perspective_;
};

int run_measure(const tool::Args &args, tool::Output &out) {
  const char *usage = "measure CALIBRATION X0 Y0 X1 Y1 [--caliper IMAGE [--threshold T]]";
  WorldMap map(tool::positional(args, 0, usage));
  double x0 = number_word(tool::positional(args, 1, usage));
  double y0 = number_word(tool::positional(args, 2, usage));
  double x1 = number_word(tool::positional(args, 3, usage));
  double y1 = number_word(tool::positional(args, 4, usage));
  if (args.positional().size() > 5)
    throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, std::string("usage: kelkit ") + usage};
  double ax = x0, ay = y0, bx = x1, by = y1;
  if (args.flag("caliper")) {
    // An outer caliper along the line: the two outermost edges, sampled one
    // per pixel of length by bilinear interpolation.
    tool::ImagePtr img = tool::load_image(args.option("caliper"));
    if (img->type != BYTE)
      throw tool::Failure{"kelkit", KEL_ERR_TYPE_MISMATCH, "the caliper takes 8-bit images"};
    double length = std::hypot(x1 - x0, y1 - y0);
    int samples = int(std::floor(length)) + 1;
    if (samples < 5)
      throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, "the line must be at least 4 pixels long"};
    std::vector<float> values(samples);
    im_clear_report();
    tool::check(im_get_line_from_img(img.get(), x0, y0, x1, y1, samples, values.data()),
                "im_get_line_from_img");
    tool::ImagePtr profile = tool::new_image(BYTE, samples, 1);
    auto *p = static_cast<unsigned char *>(profile->data);
    for (int i = 0; i < samples; ++i) {
      float v = std::floor(values[i] + 0.5f);
      p[i] = static_cast<unsigned char>(v < 0 ? 0 : v > 255 ? 255 : v);
    }
    double threshold = args.number("threshold", 30);
    double width = 0, p1 = 0, p2 = 0;
    im_clear_report();
    int strength = kel_caliper_od_array(profile.get(), int(threshold), &width, &p1, &p2);
    if (im_last_code()) tool::fail_from_last_report("kel_caliper_od_array", 0);
    if (strength <= 0)
      throw tool::Failure{"kelkit", KEL_ERR_NOT_FOUND, "caliper edges not found along the line"};
    auto at = [&](double t, double &x, double &y) {
      x = x0 + (x1 - x0) * t / (samples - 1);
      y = y0 + (y1 - y0) * t / (samples - 1);
    };
    at(p1, ax, ay);
    at(p2, bx, by);
    out.text("measure", "caliper");
    out.integer("strength", strength);
  } else {
    out.text("measure", "points");
  }
  double wax, way, wbx, wby;
  map.to_world(ax, ay, wax, way);
  map.to_world(bx, by, wbx, wby);
  out.number("pixel 1 x", ax);
  out.number("pixel 1 y", ay);
  out.number("pixel 2 x", bx);
  out.number("pixel 2 y", by);
  out.number("world 1 x", wax);
  out.number("world 1 y", way);
  out.number("world 2 x", wbx);
  out.number("world 2 y", wby);
  out.number("pixel distance", std::hypot(bx - ax, by - ay));
  out.number("world distance", std::hypot(wbx - wax, wby - way));
  return 0;
}

// ---- chessboard -------------------------------------------------------------

int run_chessboard(const tool::Args &args, tool::Output &out) {
  const char *usage =
      "chessboard OUT --cols C --rows R --square S [--width W] [--height H] [--f F]"
      " [--k1 K] [--tilt-x A] [--tilt-y B] [--roll R] [--distance D] [--blur B]"
      " [--noise N] [--shading L] [--seed S]";
  const std::string file = tool::positional(args, 0, usage);
  const int cols = whole_option(args, "cols", 2, 1000, usage);
  const int rows = whole_option(args, "rows", 2, 1000, usage);
  const double square = positive_option(args, "square", usage);
  const int width = int(args.number("width", 640)), height = int(args.number("height", 480));
  if (width < 16 || height < 16 || width > 8192 || height > 8192)
    throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, "--width and --height must be 16 to 8192"};
  const double f = args.number("f", 800), k1 = args.number("k1", 0);
  const double deg = 3.14159265358979323846 / 180;
  const double ax = args.number("tilt-x", 0) * deg, ay = args.number("tilt-y", 0) * deg,
               az = args.number("roll", 0) * deg;
  const double distance = args.number("distance", f * square * (cols + 3) / (0.8 * width));
  // Camera looking at the board's centre: R = Rz Ry Rx.
  const double cx = std::cos(ax), sx = std::sin(ax), cy = std::cos(ay), sy = std::sin(ay);
  const double cz = std::cos(az), sz = std::sin(az);
  const double r[9] = {cz * cy,
                       cz * sy * sx - sz * cx,
                       cz * sy * cx + sz * sx,
                       sz * cy,
                       sz * sy * sx + cz * cx,
                       sz * sy * cx - cz * sx,
                       -sy,
                       cy * sx,
                       cy * cx};
  const double c0 = (cols - 1) * square / 2, c1 = (rows - 1) * square / 2;
  const double plane[9] = {r[0], r[1], -(r[0] * c0 + r[1] * c1),
                           r[3], r[4], -(r[3] * c0 + r[4] * c1),
                           r[6], r[7], -(r[6] * c0 + r[7] * c1) + distance};
  const double k[5] = {f, f, 0, (width - 1) / 2.0, (height - 1) / 2.0}, dist[4] = {k1, 0, 0, 0};
  std::unique_ptr<KelXfm, XfmDeleter> xfm(kel_xfm_create(nullptr));
  if (!xfm) tool::fail_from_last_report("kel_xfm_create", KEL_ERR_NO_MEMORY);
  im_clear_report();
  tool::check(kel_xfm_set_camera(xfm.get(), k, dist, plane), "kel_xfm_set_camera");
  tool::ImagePtr img = tool::new_image(BYTE, width, height);
  double seed = args.number("seed", 1);
  if (seed < 0 || seed > 4294967295.0 || seed != std::floor(seed))
    throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, "--seed must be a whole number >= 0"};
  im_clear_report();
  tool::check(
      kel_chessboard_render(img.get(), xfm.get(), cols, rows, square, args.number("blur", 1.0),
                            args.number("noise", 0), args.number("shading", 0), unsigned(seed)),
      "kel_chessboard_render");
  tool::save_image(file, img.get());
  double u, v;
  tool::check(kel_xfm_world_to_pixel(xfm.get(), 0, 0, &u, &v), "kel_xfm_world_to_pixel");
  out.text("image", file);
  out.integer("width", width);
  out.integer("height", height);
  out.number("focal length px", f);
  out.number("distance", distance);
  out.number("corner 0 x", u);
  out.number("corner 0 y", v);
  tool::check(kel_xfm_world_to_pixel(xfm.get(), (cols - 1) * square, (rows - 1) * square, &u, &v),
              "kel_xfm_world_to_pixel");
  out.number("last corner x", u);
  out.number("last corner y", v);
  return 0;
}

const tool::Register reg_calibrate({"calibrate",
                                    "IMAGE IMAGE... --cols C --rows R --square S --out FILE",
                                    "camera calibration from chessboard views (C x R inner "
                                    "corners, squares of side S) into a calibration file",
                                    run_calibrate});
const tool::Register reg_measure({"measure", "CALIBRATION X0 Y0 X1 Y1 [--caliper IMAGE]",
                                  "distance in world units between two pixels, or of the outer "
                                  "caliper width along the line in IMAGE",
                                  run_measure});
const tool::Register reg_chessboard({"chessboard", "OUT --cols C --rows R --square S",
                                     "render a chessboard view through a simulated camera "
                                     "(--tilt-x, --tilt-y, --roll, --distance, --f, --k1, "
                                     "--blur, --noise, --shading)",
                                     run_chessboard});

}  // namespace
