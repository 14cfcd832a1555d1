// kel_lead_analyze: leads found in a root band, measured for length along
// each lead and for their tip centres in a tip band, then fitted to a
// regular grid to find missing, bent and out-of-tolerance leads.
#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "frame/call.hpp"
#include "frame/processor.hpp"
#include "kelkit/lead.h"
#include "measure/lead/lead_profile.hpp"

namespace {

using kel::lead::Edge;
using kel::lead::Frame;
using kel::lead::Pair;

bool finite_non_negative(double v) {
  return std::isfinite(v) && v >= 0;
}

int check_settings(const char *fn, const KelLeadParams &p) {
  auto bad = [&](const char *msg) { return kel::fail(fn, KEL_ERR_ARGUMENT, msg); };
  if (!(p.length >= 8 && p.length <= 65536) || !(p.width >= 8 && p.width <= 65536))
    return bad("Length and width must be 8 to 65536");
  if (!std::isfinite(p.cx) || !std::isfinite(p.cy) || !std::isfinite(p.angle))
    return bad("Centre and angle must be finite");
  if (p.polarity != KEL_LEAD_BRIGHT && p.polarity != KEL_LEAD_DARK)
    return bad("Polarity must be 0 or 1");
  if (p.edge_threshold < 1 || p.edge_threshold > 65535)
    return bad("Edge threshold must be 1 to 65535");
  if (p.nominal_count < 0 || p.nominal_count > 100000 || !finite_non_negative(p.nominal_pitch) ||
      !finite_non_negative(p.nominal_width) || !finite_non_negative(p.nominal_length) ||
      !finite_non_negative(p.width_tolerance) || !finite_non_negative(p.length_tolerance) ||
      !finite_non_negative(p.offset_tolerance))
    return bad("Nominal values and tolerances must not be negative");
  return KEL_OK;
}

Frame frame_of(const KelLeadParams &p) {
  const double a = p.angle * std::numbers::pi / 180;
  Frame f{};
  f.ux = std::cos(a);
  f.uy = -std::sin(a);
  f.vx = -f.uy;
  f.vy = f.ux;
  f.ox = p.cx - f.ux * p.length / 2 - f.vx * p.width / 2;
  f.oy = p.cy - f.uy * p.length / 2 - f.vy * p.width / 2;
  return f;
}

double median(std::vector<double> v) {
  if (v.empty()) return 0;
  std::sort(v.begin(), v.end());
  std::size_t m = v.size() / 2;
  return v.size() % 2 ? v[m] : 0.5 * (v[m - 1] + v[m]);
}

// Lead and background levels of a profile: the means inside and outside
// the leads.
void levels(const std::vector<double> &p, const std::vector<Pair> &leads, double *lead,
            double *background) {
  double s_in = 0, s_out = 0;
  int n_in = 0, n_out = 0;
  for (int i = 0; i < static_cast<int>(p.size()); ++i) {
    bool inside = std::any_of(leads.begin(), leads.end(),
                              [&](const Pair &l) { return i > l.left + 1 && i < l.right - 1; });
    bool near = std::any_of(leads.begin(), leads.end(),
                            [&](const Pair &l) { return i >= l.left - 2 && i <= l.right + 2; });
    if (inside) {
      s_in += p[i];
      ++n_in;
    } else if (!near) {
      s_out += p[i];
      ++n_out;
    }
  }
  *lead = n_in ? s_in / n_in : 0;
  *background = n_out ? s_out / n_out : 0;
}

// Tip of one lead: the first crossing of the half level beyond the root
// band, along a strip on the lead's axis.
double tip_of(const Image *img, const Frame &f, const Pair &lead, double width, double v_root,
              double lead_level, double background, bool bright) {
  const int n = static_cast<int>(std::floor(width)) + 1;
  const double w = lead.right - lead.left;
  const int strips = std::max(1, static_cast<int>(w / 3));
  std::vector<double> p =
      kel::lead::band_profile(img, f, lead.centre() - (strips - 1) / 2.0, n, 0, strips, true);
  const double level = 0.5 * (lead_level + background);
  for (int i = std::max(0, static_cast<int>(v_root)); i + 1 < n; ++i) {
    bool in_a = bright ? p[i] >= level : p[i] <= level;
    bool in_b = bright ? p[i + 1] >= level : p[i + 1] <= level;
    if (in_a && !in_b) return i + (level - p[i]) / (p[i + 1] - p[i]);
  }
  return width;
}

struct Grid {
  double origin = 0, pitch = 0;
};

// Least-squares line through (index, position), without the points flagged
// in `skip`.
Grid fit(const std::vector<int> &index, const std::vector<double> &pos,
         const std::vector<bool> &skip) {
  double n = 0, sk = 0, sp = 0, skk = 0, skp = 0;
  for (std::size_t i = 0; i < pos.size(); ++i) {
    if (skip[i]) continue;
    n += 1;
    sk += index[i];
    sp += pos[i];
    skk += double(index[i]) * index[i];
    skp += index[i] * pos[i];
  }
  Grid g;
  double den = n * skk - sk * sk;
  if (n >= 2 && den != 0) {
    g.pitch = (n * skp - sk * sp) / den;
    g.origin = (sp - g.pitch * sk) / n;
  } else if (n >= 1) {
    g.origin = sp / n - 0;
  }
  return g;
}

int analyze(const char *fn, const Image *img, const KelLeadParams &p, KelLeadResults &r) {
  const Frame f = frame_of(p);
  const bool bright = p.polarity == KEL_LEAD_BRIGHT;
  const int n = static_cast<int>(std::floor(p.length)) + 1;
  const double ref_length = p.nominal_length > 0 ? std::min(p.nominal_length, p.width) : p.width;

  // 1-2. Leads in the root band.
  const double v0 = 0.15 * ref_length, v1 = 0.35 * ref_length;
  const int root_lines = std::max(1, static_cast<int>(v1 - v0) + 1);
  std::vector<double> root = kel::lead::band_profile(img, f, 0, n, v0, root_lines, false);
  std::vector<Edge> edges;
  if (!kel::lead::find_edges(root, 0, n, bright, p.edge_threshold, edges))
    return kel::fail(fn, KEL_ERR_NO_MEMORY, "Out of memory");
  std::vector<Pair> leads = kel::lead::pair_edges(edges);
  double lead_level = 0, background = 0;
  levels(root, leads, &lead_level, &background);

  // 3. Lengths.
  std::vector<double> lengths;
  for (const Pair &l : leads)
    lengths.push_back(tip_of(img, f, l, p.width, 0.5 * (v0 + v1), lead_level, background, bright));

  // 5 (first half). Grid indices from the nominal or the median spacing.
  std::vector<double> spacing;
  for (std::size_t i = 1; i < leads.size(); ++i)
    spacing.push_back(leads[i].centre() - leads[i - 1].centre());
  double step = p.nominal_pitch > 0 ? p.nominal_pitch : median(spacing);
  std::vector<int> index(leads.size(), 0);
  std::vector<double> centres;
  for (std::size_t i = 0; i < leads.size(); ++i) {
    centres.push_back(leads[i].centre());
    if (step > 0) index[i] = static_cast<int>(std::lround((centres[i] - centres[0]) / step));
  }
  std::vector<bool> skip(leads.size(), false);
  Grid g = fit(index, centres, skip);
  if (p.offset_tolerance > 0 && leads.size() > 2) {
    for (std::size_t i = 0; i < leads.size(); ++i)
      skip[i] = std::fabs(centres[i] - (g.origin + g.pitch * index[i])) > p.offset_tolerance;
    if (std::count(skip.begin(), skip.end(), false) >= 2) g = fit(index, centres, skip);
  }

  // 4. Tip centres in the tip band, one pitch around each lead.
  const double tip_ref =
      p.nominal_length > 0 ? std::min(p.nominal_length, p.width) : median(lengths);
  const double t0 = 0.6 * tip_ref, t1 = 0.8 * tip_ref;
  const int tip_lines = std::max(1, static_cast<int>(t1 - t0) + 1);
  std::vector<double> tips = kel::lead::band_profile(img, f, 0, n, t0, tip_lines, false);
  const double reach = step > 0 ? step : 3 * (leads.empty() ? 1 : leads[0].right - leads[0].left);

  // 6. Results and flags.
  r.count = 0;
  r.missing_count = 0;
  r.flags = 0;
  r.pitch = leads.size() >= 2 ? g.pitch : 0;
  r.grid_origin = g.origin;
  bool overflow = false;
  for (std::size_t i = 0; i < leads.size(); ++i) {
    if (r.count == r.capacity) {
      overflow = true;
      break;
    }
    double tip = leads[i].centre();
    int first = static_cast<int>(std::floor(leads[i].centre() - 0.75 * reach));
    std::vector<Edge> tip_edges;
    if (!kel::lead::find_edges(tips, first, static_cast<int>(1.5 * reach) + 1, bright,
                               p.edge_threshold, tip_edges))
      return kel::fail(fn, KEL_ERR_NO_MEMORY, "Out of memory");
    double best = 1e300;
    for (const Pair &t : kel::lead::pair_edges(tip_edges))
      if (std::fabs(t.centre() - leads[i].centre()) < best) {
        best = std::fabs(t.centre() - leads[i].centre());
        tip = t.centre();
      }
    KelLead &out = r.leads[r.count++];
    out.root = leads[i].centre();
    out.tip = tip;
    out.x = f.px(tip, 0.5 * (t0 + t1));
    out.y = f.py(tip, 0.5 * (t0 + t1));
    out.width = leads[i].right - leads[i].left;
    out.length = lengths[i];
    out.gap = i + 1 < leads.size() ? leads[i + 1].left - leads[i].right : 0;
    out.offset = leads.size() >= 2 ? tip - (g.origin + g.pitch * index[i]) : 0;
    out.flags = 0;
    if (leads.size() >= 2 && p.offset_tolerance > 0 && std::fabs(out.offset) > p.offset_tolerance)
      out.flags |= KEL_LEAD_OFFSET;
    if (p.nominal_width > 0 && p.width_tolerance > 0 &&
        std::fabs(out.width - p.nominal_width) > p.width_tolerance)
      out.flags |= KEL_LEAD_WIDTH;
    if (p.nominal_length > 0 && p.length_tolerance > 0 &&
        std::fabs(out.length - p.nominal_length) > p.length_tolerance)
      out.flags |= KEL_LEAD_LENGTH;
    r.flags |= out.flags;
  }

  // Missing leads: grid indices between the first and last lead with none.
  int slots = leads.empty() ? 0 : index.back() + 1;
  if (!leads.empty() && step > 0) {
    std::vector<bool> taken(static_cast<std::size_t>(std::max(slots, 1)), false);
    for (int k : index)
      if (k >= 0 && k < slots) taken[k] = true;
    for (int k = 0; k < slots; ++k)
      if (!taken[k]) {
        if (r.missing_count < r.capacity) r.missing[r.missing_count] = g.origin + g.pitch * k;
        ++r.missing_count;
      }
  }
  if (p.nominal_count > slots) r.missing_count += p.nominal_count - std::max(slots, 0);
  if (r.missing_count > 0) r.flags |= KEL_LEAD_MISSING;
  if (overflow) return kel::fail(fn, KEL_ERR_EMPTY, "Results array");
  return KEL_OK;
}

}  // namespace

extern "C" {

KELKIT_API int kel_lead_analyze(const Image *img, const KelLeadParams *params,
                                KelLeadResults *results) {
  return kel::guarded("kel_lead_analyze", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, img)) return e;
    if (int e = kel::need_pointer(fn, params, "Parameters are NULL")) return e;
    if (int e = kel::need_pointer(fn, results, "Results are NULL")) return e;
    if (int e = kel::need_pixel_type(fn, img)) return e;
    if (int e = check_settings(fn, *params)) return e;
    if (int e = kel::need_area(fn, kel::area_of(img))) return e;
    // Processor branch: holds no computation.
    if (kel::mmx_on() && params->length >= 8) return KEL_OK;
    return analyze(fn, img, *params, *results);
  });
}

}  // extern "C"
