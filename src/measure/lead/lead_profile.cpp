// Band profiles and lead edges for the lead analysis.
#include "measure/lead/lead_profile.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "frame/image_guard.hpp"
#include "frame/pixels.hpp"
#include "kelkit/edge.h"

namespace kel::lead {

std::vector<double> band_profile(const Image *img, const Frame &f, double u0, int n, double v0,
                                 int lines, bool along_v) {
  std::vector<double> sum(n, 0.0);
  std::vector<float> line(n);
  for (int j = 0; j < lines; ++j) {
    double a0 = along_v ? u0 + j : u0, b0 = along_v ? v0 : v0 + j;
    // Start and end of the sampled segment in (u, v).
    double u1 = along_v ? a0 : a0 + (n - 1), v1 = along_v ? b0 + (n - 1) : b0;
    im_get_line_from_img(img, f.px(a0, b0), f.py(a0, b0), f.px(u1, v1), f.py(u1, v1), n,
                         line.data());
    for (int i = 0; i < n; ++i)
      sum[i] += line[i];
  }
  for (double &s : sum)
    s /= lines;
  return sum;
}

namespace {

// Sub-pixel half-level crossing near the edge the edge tools reported at
// about `near`, searched within `reach` samples on either side.
bool refine(const std::vector<double> &p, double near, int reach, bool rising, double *at) {
  const int n = static_cast<int>(p.size());
  int c = static_cast<int>(std::floor(near));
  int lo_i = std::max(0, c - reach), hi_i = std::min(n - 1, c + reach + 1);
  if (hi_i - lo_i < 2) return false;
  double before = p[lo_i], after = p[hi_i];
  for (int i = lo_i; i <= c && i < n; ++i)
    before = rising ? std::min(before, p[i]) : std::max(before, p[i]);
  for (int i = std::max(c, 0); i <= hi_i; ++i)
    after = rising ? std::max(after, p[i]) : std::min(after, p[i]);
  const double level = 0.5 * (before + after);
  double best = -1, dist = 1e300;
  for (int i = lo_i; i < hi_i; ++i) {
    bool cross = rising ? (p[i] < level && p[i + 1] >= level) : (p[i] > level && p[i + 1] <= level);
    if (!cross) continue;
    double x = i + (level - p[i]) / (p[i + 1] - p[i]);
    if (std::fabs(x - near) < dist) {
      dist = std::fabs(x - near);
      best = x;
    }
  }
  if (best < 0) return false;
  *at = best;
  return true;
}

}  // namespace

bool find_edges(const std::vector<double> &profile, int first, int count, bool bright,
                double contrast, std::vector<Edge> &out) {
  out.clear();
  const int n = static_cast<int>(profile.size());
  first = std::clamp(first, 0, n);
  count = std::clamp(count, 0, n - first);
  if (count < 5) return true;
  auto [lo, hi] = std::minmax_element(profile.begin(), profile.end());
  const double scale = *hi - *lo > 255 ? 255 / (*hi - *lo) : 1.0;
  ImagePtr strip = make_image(BYTE, n, 1);
  if (!strip) return false;
  auto *b = row<std::uint8_t>(strip.get(), 0);
  for (int i = 0; i < n; ++i)
    b[i] = static_cast<std::uint8_t>(
        std::clamp(std::floor((profile[i] - *lo) * scale + 0.5), 0.0, 255.0));
  // The window as a view of the strip: made over the first pixel, then
  // moved and resized onto the window.
  ImagePtr window = make_view(strip.get(), 0, 0, 1, 1);
  if (!window || im_move_rroi(window.get(), first, 0) != IM_OK ||
      im_resize_rroi(window.get(), count, 1) != IM_OK)
    return false;
  const int room = count / 2 + 1;
  std::vector<unsigned> rising(room), falling(room);
  unsigned nr = 0, nf = 0;
  const int threshold = std::max(1, static_cast<int>(std::lround(contrast * scale)));
  kel_edge_count_array(window.get(), 1, threshold, room, room, &nr, &nf, rising.data(),
                       falling.data());
  // Each listed index is the sample just after the step's peak, whose
  // centre lies half a pixel before it.
  std::vector<std::pair<double, bool>> listed;
  for (unsigned i = 0; i < nr; ++i)
    listed.push_back({first + rising[i] + 0.5, true});
  for (unsigned i = 0; i < nf; ++i)
    listed.push_back({first + falling[i] + 0.5, false});
  std::sort(listed.begin(), listed.end());
  for (std::size_t k = 0; k < listed.size(); ++k) {
    double prev = k ? listed[k - 1].first : -1e9,
           next = k + 1 < listed.size() ? listed[k + 1].first : 1e9;
    int reach = static_cast<int>(
        std::clamp(std::min(listed[k].first - prev, next - listed[k].first) / 2, 2.0, 8.0));
    double at;
    if (!refine(profile, listed[k].first, reach, listed[k].second, &at)) continue;
    out.push_back({at, listed[k].second == bright});
  }
  return true;
}

std::vector<Pair> pair_edges(const std::vector<Edge> &edges) {
  std::vector<Pair> leads;
  for (std::size_t k = 0; k + 1 < edges.size(); ++k)
    if (edges[k].into_lead && !edges[k + 1].into_lead) {
      leads.push_back({edges[k].position, edges[k + 1].position});
      ++k;
    }
  return leads;
}

}  // namespace kel::lead
