#include "demo_steps.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>

namespace demo {

std::string fixed(double v, int decimals) {
  char buf[48];
  if (std::fabs(v) < 0.5 * std::pow(10.0, -decimals)) v = 0;  // no "-0.0"
  std::snprintf(buf, sizeof buf, "%.*f", decimals, v);
  return buf;
}

long long now_ns() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

double elapsed_ms(long long start_ns) {
  return (now_ns() - start_ns) / 1e6;
}

namespace {

// The framed fiducial model: 55 pixels square, the mark on its centre pixel.
constexpr int kFiducialModel = 55;
// Grey levels between board and parts, and between holes and board, with
// room for the lighting and the noise on both sides.
constexpr unsigned char kPartThreshold = 152;
constexpr unsigned char kHoleThreshold = 58;

struct SearchDeleter {
  void operator()(KelSearchParams *p) const { kel_search_delete_params(p); }
};
struct BlobParamsDeleter {
  void operator()(BlobParams *p) const { kel_blob_delete_params(p); }
};
struct BlobResultsDeleter {
  void operator()(BlobResults *r) const { kel_blob_delete_results(r); }
};

// Index of the truth point nearest to (x, y), and its distance.
std::pair<int, double> nearest(const std::vector<Point> &truth, double x, double y) {
  int best = -1;
  double dist = 1e300;
  for (std::size_t i = 0; i < truth.size(); ++i) {
    double d = std::hypot(x - truth[i].x, y - truth[i].y);
    if (d < dist) dist = d, best = int(i);
  }
  return {best, dist};
}

// Finds the blobs of the binary image `binary` (white objects) within the
// area limits.
std::unique_ptr<BlobResults, BlobResultsDeleter> find_blobs(Image *binary, unsigned min_area,
                                                            unsigned max_area) {
  unsigned status = 0;
  im_clear_report();
  std::unique_ptr<BlobParams, BlobParamsDeleter> params(kel_blob_create_params(&status));
  if (!params) tool::fail_from_last_report("kel_blob_create_params", int(status));
  std::unique_ptr<BlobResults, BlobResultsDeleter> results(kel_blob_create_results(64, 1, &status));
  if (!results) tool::fail_from_last_report("kel_blob_create_results", int(status));
  kel_blob_set_blob_color(params.get(), 255);
  kel_blob_set_min_area(params.get(), min_area);
  kel_blob_set_max_area(params.get(), max_area);
  tool::check(kel_blob_find(binary, params.get(), results.get(), KEL_BLOB_COORDS_IMAGE),
              "kel_blob_find");
  kel_blob_sort(results.get(), KEL_BLOB_SORT_ROWS, 0);
  return results;
}

// One group of blobs (parts or holes): a detail record per blob with its
// box, area, centroid and the distance to the nearest true centroid.
struct BlobSummary {
  int count = 0;
  double worst = 0;
  unsigned min_area = 0, max_area = 0;
  std::vector<Record> rows;
};

BlobSummary summarise(const BlobResults *r, const std::vector<Point> &truth, Pen &pen) {
  BlobSummary s;
  s.count = int(kel_blob_get_num_found(r));
  for (int i = 0; i < s.count; ++i) {
    double x = kel_blob_get_xcent(r, i), y = kel_blob_get_ycent(r, i);
    unsigned area = kel_blob_get_area(r, i);
    auto [k, d] = nearest(truth, x, y);
    s.worst = std::max(s.worst, d);
    s.min_area = i ? std::min(s.min_area, area) : area;
    s.max_area = std::max(s.max_area, area);
    unsigned x0 = kel_blob_get_xmin(r, i), y0 = kel_blob_get_ymin(r, i);
    unsigned x1 = kel_blob_get_xmax(r, i), y1 = kel_blob_get_ymax(r, i);
    pen.box(x0 - 2.0, y0 - 2.0, x1 + 2.0, y1 + 2.0);
    s.rows.push_back({{"x", fixed(x, 3)},
                      {"y", fixed(y, 3)},
                      {"area", std::to_string(area)},
                      {"xmin", std::to_string(x0)},
                      {"ymin", std::to_string(y0)},
                      {"xmax", std::to_string(x1)},
                      {"ymax", std::to_string(y1)},
                      {"true x", k < 0 ? "null" : fixed(truth[k].x, 3)},
                      {"true y", k < 0 ? "null" : fixed(truth[k].y, 3)},
                      {"error", k < 0 ? "null" : fixed(d, 3)}});
  }
  return s;
}

const std::vector<std::string> kBlobNumbers = {"x",    "y",    "area",   "xmin",   "ymin",
                                               "xmax", "ymax", "true x", "true y", "error"};

}  // namespace

void step_fiducials(Image *scene, const Truth &truth, Pen &pen, Report &report) {
  const int wanted = int(truth.fiducials.size());
  // Learn from a clean rendering: the framed model cut from the middle of a
  // larger image, which training also searches to choose its steps.
  const int size = 2 * kFiducialModel + 1, centre = size / 2;
  tool::ImagePtr train_scene = render_fiducial_model(size, centre);
  im_clear_report();
  tool::ImagePtr model(im_rroi(train_scene.get(), centre - kFiducialModel / 2,
                               centre - kFiducialModel / 2, kFiducialModel, kFiducialModel));
  if (!model) tool::fail_from_last_report("im_rroi", KEL_ERR_ARGUMENT);
  std::unique_ptr<KelSearchParams, SearchDeleter> params(kel_search_create_params());
  if (!params) tool::fail_from_last_report("kel_search_create_params", KEL_ERR_NO_MEMORY);
  long long t0 = now_ns();
  tool::check(kel_search_train(train_scene.get(), model.get(), params.get()), "kel_search_train");
  double train_ms = elapsed_ms(t0);
  // Training picks its coarse steps on the clean image, where the mark
  // stands out at any phase; under noise and uneven light those steps skip
  // past two of the three marks. A 4-pixel grid sampling every fourth
  // pixel finds all of them at every seed tried, with margin.
  kel_search_set_auto_step(params.get(), 0);
  kel_search_set_scan_step_x(params.get(), 4);
  kel_search_set_scan_step_y(params.get(), 4);
  kel_search_set_scan_pattern_x(params.get(), 4);
  kel_search_set_scan_pattern_y(params.get(), 4);
  model.reset();  // the record keeps its own copy

  // With one match asked, the search keeps only its best coarse candidate,
  // so ask for every mark at once.
  kel_search_set_num_to_find(params.get(), wanted);
  std::vector<double> xs(wanted), ys(wanted);
  std::vector<int> scores(wanted);
  int found = 0;
  t0 = now_ns();
  tool::check(kel_search_multi(scene, params.get(), 1, &found, xs.data(), ys.data(), scores.data()),
              "kel_search");
  double ms = elapsed_ms(t0);

  Detail d{"fiducials", {}, {"x", "y", "score", "true x", "true y", "error"}};
  double worst = 0;
  int lowest = 100;
  std::vector<bool> matched(truth.fiducials.size());
  for (int i = 0; i < found && i < wanted; ++i) {
    auto [k, dist] = nearest(truth.fiducials, xs[i], ys[i]);
    if (k >= 0) matched[k] = true;
    worst = std::max(worst, dist);
    lowest = std::min(lowest, scores[i]);
    pen.cross(xs[i], ys[i], 30);
    pen.label(xs[i] + 6, ys[i] + 24, std::to_string(i + 1).c_str());
    d.rows.push_back({{"x", fixed(xs[i], 3)},
                      {"y", fixed(ys[i], 3)},
                      {"score", std::to_string(scores[i])},
                      {"true x", fixed(truth.fiducials[k].x, 3)},
                      {"true y", fixed(truth.fiducials[k].y, 3)},
                      {"error", fixed(dist, 3)}});
  }
  bool all =
      found == wanted && std::all_of(matched.begin(), matched.end(), [](bool b) { return b; });
  StepRow row;
  row.step = "fiducials (correlation search)";
  row.found = std::to_string(found) + " marks";
  row.figures = "lowest score " + std::to_string(found ? lowest : 0) + ", trained in " +
                fixed(train_ms, 1) + " ms";
  row.expected = std::to_string(wanted) + " marks";
  row.error = "max " + fixed(worst, 3) + " px";
  row.ms = ms;
  row.passed = all && worst <= kPositionTolerance;
  report.steps.push_back(row);
  report.details.push_back(std::move(d));
}

void step_blobs(Image *scene, const Truth &truth, Pen &pen, Report &report) {
  std::vector<Point> centroids;
  for (std::size_t i = 0; i < truth.parts.size(); ++i)
    centroids.push_back(truth.part_centroid(int(i)));

  im_clear_report();
  tool::ImagePtr parts(im_duplicate(scene)), holes(im_duplicate(scene));
  if (!parts || !holes) tool::fail_from_last_report("im_duplicate", KEL_ERR_NO_MEMORY);
  long long t0 = now_ns();
  // Parts: bright bodies, large enough to leave the fiducial rings out.
  tool::check(kel_threshold(parts.get(), kPartThreshold, 0, 255), "kel_threshold");
  auto part_blobs = find_blobs(parts.get(), 2000, 20000);
  double part_ms = elapsed_ms(t0);
  t0 = now_ns();
  // Holes: dark and small; the dark conveyor around the board is one huge
  // blob, left out by the area limit.
  tool::check(kel_threshold(holes.get(), kHoleThreshold, 255, 0), "kel_threshold");
  auto hole_blobs = find_blobs(holes.get(), 60, 400);
  double hole_ms = elapsed_ms(t0);

  BlobSummary p = summarise(part_blobs.get(), centroids, pen);
  BlobSummary h = summarise(hole_blobs.get(), truth.holes, pen);
  int want_parts = int(truth.parts.size()), want_holes = int(truth.holes.size());

  StepRow pr;
  pr.step = "parts (threshold + blobs)";
  pr.found = std::to_string(p.count) + " parts";
  pr.figures = "area " + std::to_string(p.min_area) + ".." + std::to_string(p.max_area) + " px";
  pr.expected = std::to_string(want_parts) + " parts";
  pr.error = "centroids max " + fixed(p.worst, 3) + " px";
  pr.ms = part_ms;
  pr.passed = p.count == want_parts && p.worst <= kPositionTolerance;
  StepRow hr;
  hr.step = "holes (threshold + blobs)";
  hr.found = std::to_string(h.count) + " holes";
  hr.figures = "area " + std::to_string(h.min_area) + ".." + std::to_string(h.max_area) + " px";
  hr.expected = std::to_string(want_holes) + " holes";
  hr.error = "centres max " + fixed(h.worst, 3) + " px";
  hr.ms = hole_ms;
  hr.passed = h.count == want_holes && h.worst <= kPositionTolerance;
  report.steps.push_back(pr);
  report.steps.push_back(hr);
  report.details.push_back({"parts", std::move(p.rows), kBlobNumbers});
  report.details.push_back({"holes", std::move(h.rows), kBlobNumbers});
}

void step_caliper(Image *scene, const Truth &truth, Pen &pen, Report &report) {
  // A horizontal line across the part, 20 pixels beyond each side, sampled
  // once per pixel into a one-row profile.
  const Part &part = truth.parts[truth.caliper_part];
  const double y = truth.caliper_y;
  const double x0 = std::floor(part.centre.x - truth.caliper_width / 2 - 20);
  const int count = int(truth.caliper_width) + 41;
  const double x1 = x0 + count - 1;
  long long t0 = now_ns();
  std::vector<float> samples(count);
  tool::check(im_get_line_from_img(scene, x0, y, x1, y, count, samples.data()),
              "im_get_line_from_img");
  tool::ImagePtr profile = tool::new_image(BYTE, count, 1);
  auto *row = static_cast<unsigned char *>(profile->rows[0]);
  for (int i = 0; i < count; ++i)
    row[i] = static_cast<unsigned char>(std::clamp(std::lround(samples[i]), 0L, 255L));
  // Strongest edges from both ends: dark to bright walking inwards.
  double width = 0, p1 = 0, p2 = 0;
  im_clear_report();
  int strength = kel_caliper_od_array(profile.get(), 1000, &width, &p1, &p2);
  if (im_last_code()) tool::fail_from_last_report("kel_caliper_od_array", im_last_code());
  double ms = elapsed_ms(t0);

  double err = width - truth.caliper_width;
  pen.line(x0, y, x1, y);
  pen.cross(x0 + p1, y, 10);
  pen.cross(x0 + p2, y, 10);
  StepRow r;
  r.step = "width (caliper)";
  r.found = fixed(width, 3) + " px";
  r.figures = "edges at x " + fixed(x0 + p1, 2) + " and " + fixed(x0 + p2, 2) + ", strength " +
              std::to_string(strength);
  r.expected = fixed(truth.caliper_width, 3) + " px";
  r.error = (err >= 0 ? "+" : "") + fixed(err, 3) + " px";
  r.ms = ms;
  r.passed = std::fabs(err) <= kWidthTolerance;
  report.steps.push_back(r);
  double left = part.centre.x - truth.caliper_width / 2;
  report.details.push_back(
      {"caliper",
       {{{"y", fixed(y, 1)},
         {"x1", fixed(x0 + p1, 3)},
         {"x2", fixed(x0 + p2, 3)},
         {"width", fixed(width, 3)},
         {"true x1", fixed(left, 3)},
         {"true x2", fixed(left + truth.caliper_width, 3)},
         {"true width", fixed(truth.caliper_width, 3)},
         {"error", fixed(err, 3)},
         {"strength", std::to_string(strength)}}},
       {"y", "x1", "x2", "width", "true x1", "true x2", "true width", "error", "strength"}});
}

}  // namespace demo
