// kelkit stats IMAGE: size, type, extremes with positions, mean, variance and
// a histogram summary.
#include <cmath>
#include <vector>

#include "command.hpp"

namespace {

// The smallest value v such that at least `fraction` of the pixels are <= v.
int percentile(const std::vector<unsigned> &hist, double total, double fraction) {
  double need = fraction * total, seen = 0;
  for (std::size_t v = 0; v < hist.size(); ++v) {
    seen += hist[v];
    if (seen >= need && seen > 0) return static_cast<int>(v);
  }
  return static_cast<int>(hist.size()) - 1;
}

void histogram_summary(const Image *img, tool::Output &out) {
  std::vector<unsigned> hist(img->type == BYTE ? 256 : 65536);
  int rc = img->type == BYTE
               ? kel_hist(img, hist.data())
               : kel_histogram(img, hist.data(), static_cast<int>(hist.size()), 0, 65535);
  if (rc) tool::fail_from_last_report("kel_hist", rc);
  double total = static_cast<double>(img->dx) * img->dy;
  int levels = 0, mode = 0;
  for (std::size_t v = 0; v < hist.size(); ++v) {
    levels += hist[v] != 0;
    if (hist[v] > hist[mode]) mode = static_cast<int>(v);
  }
  out.integer("distinct levels", levels);
  out.integer("mode", mode);
  out.integer("mode count", hist[mode]);
  out.integer("percentile 5", percentile(hist, total, 0.05));
  out.integer("median", percentile(hist, total, 0.5));
  out.integer("percentile 95", percentile(hist, total, 0.95));
  if (img->type == BYTE) out.integer("zero pixels", hist[0]);
}

int run_stats(const tool::Args &args, tool::Output &out) {
  if (args.positional().size() != 1)
    throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, "usage: kelkit stats IMAGE"};
  tool::ImagePtr img = tool::load_image(args.positional()[0]);
  out.text("file", args.positional()[0]);
  out.integer("width", img->dx);
  out.integer("height", img->dy);
  out.text("type", tool::type_name(img->type));
  im_clear_report();
  int x = 0, y = 0;
  float lo = kel_min2(img.get(), &x, &y);
  out.number("min", lo);
  out.integer("min x", x);
  out.integer("min y", y);
  float hi = kel_max2(img.get(), &x, &y);
  out.number("max", hi);
  out.integer("max x", x);
  out.integer("max y", y);
  out.number("mean", kel_mean(img.get()));
  out.number("variance", kel_variance2(img.get()));
  out.number("std dev", std::sqrt(kel_variance2(img.get())));
  out.integer("non-zero pixels", kel_count_nz(img.get()));
  if (im_last_code()) tool::fail_from_last_report("kelkit stats", im_last_code());
  if (img->type != FLOAT) histogram_summary(img.get(), out);
  return 0;
}

const tool::Register reg({"stats", "IMAGE",
                          "size, type, extremes, mean, variance and histogram summary", run_stats});

}  // namespace
