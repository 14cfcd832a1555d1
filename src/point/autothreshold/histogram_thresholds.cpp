// Thresholds from histograms: Otsu, iterative intermeans and threshold
// melting, on a caller's histogram or on an image's own.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "kelkit/autothreshold.h"
#include "kelkit/stats.h"

namespace {

int need_hist(const char *fn, const unsigned int *hist, int size, const int *threshold) {
  if (int e = kel::need_pointer(fn, hist, "Histogram is NULL")) return e;
  if (int e = kel::need_pointer(fn, threshold, "Output is NULL")) return e;
  if (size < 2 || size > 65536)
    return kel::fail(fn, KEL_ERR_ARGUMENT, "Histogram size must be 2 to 65536");
  for (int i = 0; i < size; ++i)
    if (hist[i]) return KEL_OK;
  return kel::fail(fn, KEL_ERR_EMPTY, "Empty histogram");
}

int otsu(const unsigned int *h, int size) {
  double total = 0, sum = 0;
  for (int i = 0; i < size; ++i) {
    total += h[i];
    sum += double(i) * h[i];
  }
  double w0 = 0, s0 = 0, best = -1;
  int t = 0;
  for (int i = 0; i < size; ++i) {
    w0 += h[i];
    s0 += double(i) * h[i];
    double w1 = total - w0;
    if (w0 == 0 || w1 == 0) continue;
    double d = s0 / w0 - (sum - s0) / w1;
    double between = w0 * w1 * d * d;
    if (between > best) {
      best = between;
      t = i;
    }
  }
  if (best < 0)  // every count in one bin
    for (int i = 0; i < size; ++i)
      if (h[i]) return i;
  return t;
}

int isodata(const unsigned int *h, int size) {
  double total = 0, sum = 0;
  for (int i = 0; i < size; ++i) {
    total += h[i];
    sum += double(i) * h[i];
  }
  int t = static_cast<int>(std::floor(sum / total));
  for (int round = 0; round < 1000; ++round) {
    double w0 = 0, s0 = 0;
    for (int i = 0; i <= t && i < size; ++i) {
      w0 += h[i];
      s0 += double(i) * h[i];
    }
    double w1 = total - w0;
    if (w0 == 0 || w1 == 0) break;
    int next = static_cast<int>(std::floor((s0 / w0 + (sum - s0) / w1) / 2));
    if (next == t) break;
    t = next;
  }
  return t;
}

// Local maxima of a histogram, a plateau counting once (at its middle).
std::vector<int> maxima(const std::vector<double> &h) {
  std::vector<int> out;
  const int n = static_cast<int>(h.size());
  for (int i = 0; i < n;) {
    int j = i;
    while (j + 1 < n && h[j + 1] == h[i])
      ++j;
    bool left = i == 0 || h[i - 1] < h[i];
    bool right = j == n - 1 || h[j + 1] < h[i];
    if (left && right && h[i] > 0) out.push_back((i + j) / 2);
    i = j + 1;
  }
  return out;
}

// The lowest bin between two maxima; when the lowest value runs over
// several neighbouring bins, the middle of the first such run.
int valley(const std::vector<double> &h, int a, int b) {
  if (a > b) std::swap(a, b);
  int first = a;
  for (int i = a; i <= b; ++i)
    if (h[i] < h[first]) first = i;
  int last = first;
  while (last + 1 <= b && h[last + 1] == h[first])
    ++last;
  return (first + last) / 2;
}

int melt(const char *fn, const unsigned int *hist, int size, int max_rounds, int *threshold,
         int *rounds) {
  std::vector<double> h(hist, hist + size), next(size);
  std::vector<int> peaks = maxima(h);
  if (peaks.size() < 2) return kel::fail(fn, KEL_ERR_NOT_FOUND, "Less than 2 peaks");
  int round = 0;
  while (peaks.size() > 2 && round < max_rounds) {
    for (int i = 0; i < size; ++i) {
      double l = h[i > 0 ? i - 1 : 0], r = h[i + 1 < size ? i + 1 : size - 1];
      next[i] = (l + 2 * h[i] + r) / 4;
    }
    h.swap(next);
    ++round;
    std::vector<int> now = maxima(h);
    if (now.size() < 2) {
      if (rounds) *rounds = round;
      return kel::fail(fn, KEL_ERR_NOT_FOUND, "Lost valley");
    }
    peaks = now;
  }
  if (rounds) *rounds = round;
  if (peaks.size() > 2) {
    std::stable_sort(peaks.begin(), peaks.end(), [&](int a, int b) { return h[a] > h[b]; });
    *threshold = valley(h, peaks[0], peaks[1]);
    return kel::warn(fn, KEL_ERR_NOT_FOUND, "Melting stopped");
  }
  *threshold = valley(h, peaks[0], peaks[1]);
  return KEL_OK;
}

// The histogram of an image and the map from a bin back to a pixel value:
// value = offset + (bin + 1) * scale for FLOAT, the bin itself otherwise.
struct ImageHistogram {
  std::vector<unsigned int> counts;
  double offset = 0, scale = 1;
  bool binned = false;
  double value(int bin) const { return binned ? offset + (bin + 1) * scale : bin; }
};

int image_histogram(const char *fn, const Image *img, const double *threshold,
                    ImageHistogram &out) {
  if (int e = kel::need_image(fn, img)) return e;
  if (int e = kel::need_pointer(fn, threshold, "Output is NULL")) return e;
  if (int e = kel::need_area(fn, kel::area_of(img))) return e;
  if (img->type == BYTE) {
    // The library's histogram of a BYTE image (its fastest path).
    out.counts.assign(256, 0);
    if (kel_hist(img, out.counts.data()) != KEL_OK)
      return kel::fail(fn, KEL_ERR_NO_MEMORY, "Histogram failed");
    return KEL_OK;
  }
  if (img->type == WORD) {
    out.counts.assign(img->type == BYTE ? 256 : 65536, 0);
    kel::with_pixel_type(img->type, 0, [&]<class T>() {
      if constexpr (!std::is_same_v<T, float>)
        for (int y = 0; y < img->dy; ++y) {
          const T *r = kel::row<T>(img, y);
          for (int x = 0; x < img->dx; ++x)
            ++out.counts[r[x]];
        }
      return 0;
    });
    return KEL_OK;
  }
  if (img->type != FLOAT) return kel::fail(fn, KEL_ERR_TYPE, "Unsupported pixel type");
  float lo = *kel::row<float>(img, 0), hi = lo;
  for (int y = 0; y < img->dy; ++y) {
    const float *r = kel::row<float>(img, y);
    for (int x = 0; x < img->dx; ++x)
      if (std::isfinite(r[x])) {
        lo = std::min(lo, r[x]);
        hi = std::max(hi, r[x]);
      }
  }
  if (!std::isfinite(lo) || !std::isfinite(hi))
    return kel::fail(fn, KEL_ERR_ARGUMENT, "No finite pixel");
  out.counts.assign(256, 0);
  out.binned = true;
  out.offset = lo;
  out.scale = (double(hi) - lo) / 256;
  for (int y = 0; y < img->dy; ++y) {
    const float *r = kel::row<float>(img, y);
    for (int x = 0; x < img->dx; ++x) {
      if (!std::isfinite(r[x])) continue;
      int b = out.scale > 0 ? static_cast<int>((r[x] - lo) / out.scale) : 0;
      ++out.counts[std::clamp(b, 0, 255)];
    }
  }
  return KEL_OK;
}

template <class Rule>
int image_threshold(const char *fn, const Image *img, double *threshold, Rule rule) {
  if (threshold) *threshold = 0;
  ImageHistogram h;
  if (int e = image_histogram(fn, img, threshold, h)) return e;
  if (h.binned && h.scale == 0) {
    *threshold = h.offset;
    return KEL_OK;
  }
  *threshold = h.value(rule(h.counts.data(), static_cast<int>(h.counts.size())));
  return KEL_OK;
}

}  // namespace

extern "C" {

KELKIT_API int kel_threshold_otsu_hist(const unsigned int *hist, int size, int *threshold) {
  if (threshold) *threshold = 0;
  return kel::guarded("kel_threshold_otsu_hist", [&](const char *fn) -> int {
    if (int e = need_hist(fn, hist, size, threshold)) return e;
    *threshold = otsu(hist, size);
    return KEL_OK;
  });
}

KELKIT_API int kel_threshold_otsu(const Image *img, double *threshold) {
  return kel::guarded("kel_threshold_otsu",
                      [&](const char *fn) { return image_threshold(fn, img, threshold, otsu); });
}

KELKIT_API int kel_threshold_isodata_hist(const unsigned int *hist, int size, int *threshold) {
  if (threshold) *threshold = 0;
  return kel::guarded("kel_threshold_isodata_hist", [&](const char *fn) -> int {
    if (int e = need_hist(fn, hist, size, threshold)) return e;
    *threshold = isodata(hist, size);
    return KEL_OK;
  });
}

KELKIT_API int kel_threshold_isodata(const Image *img, double *threshold) {
  return kel::guarded("kel_threshold_isodata",
                      [&](const char *fn) { return image_threshold(fn, img, threshold, isodata); });
}

KELKIT_API int kel_threshold_melt_hist(const unsigned int *hist, int size, int max_rounds,
                                       int *threshold, int *rounds) {
  if (threshold) *threshold = 0;
  if (rounds) *rounds = 0;
  return kel::guarded("kel_threshold_melt_hist", [&](const char *fn) -> int {
    if (int e = need_hist(fn, hist, size, threshold)) return e;
    if (max_rounds < 1 || max_rounds > 100000)
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Rounds must be 1 to 100000");
    return melt(fn, hist, size, max_rounds, threshold, rounds);
  });
}

KELKIT_API int kel_threshold_melt(const Image *img, int max_rounds, int *threshold) {
  if (threshold) *threshold = 0;
  return kel::guarded("kel_threshold_melt", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, img)) return e;
    if (int e = kel::need_pointer(fn, threshold, "Output is NULL")) return e;
    if (int e = kel::need_type(fn, BYTE, img)) return e;
    if (int e = kel::need_area(fn, kel::area_of(img))) return e;
    if (max_rounds < 1 || max_rounds > 100000)
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Rounds must be 1 to 100000");
    std::vector<unsigned int> h(256, 0);
    for (int y = 0; y < img->dy; ++y) {
      const std::uint8_t *r = kel::row<std::uint8_t>(img, y);
      for (int x = 0; x < img->dx; ++x)
        ++h[r[x]];
    }
    return melt(fn, h.data(), 256, max_rounds, threshold, nullptr);
  });
}

}  // extern "C"
