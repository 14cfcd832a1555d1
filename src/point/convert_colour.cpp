// Colour planes: kel_rgb_unpack (the inverse of kel_rgb_pack), and the
// conversions between red/green/blue and hue/intensity/saturation planes,
// kel_rgb_to_his and kel_his_to_rgb.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <vector>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "kelkit/convert.h"
#include "point/convert_store.hpp"

namespace {

using kel::row;
using kel::point::round_store;

constexpr double kDegree = std::numbers::pi / 180.0;
// BYTE hue levels per degree: 256 levels round the circle.
constexpr double kHueLevels = 256.0 / 360.0;

// The 24-bit colour a packed FLOAT pixel holds: truncated, clamped, NaN 0.
std::uint32_t packed_colour(float v) {
  if (!(v > 0.0f)) return 0;
  if (v >= 16777215.0f) return 16777215u;
  return static_cast<std::uint32_t>(v);
}

// Hue in degrees [0, 360), intensity 0..255 and saturation 0..1 of one colour.
void to_his(int r, int g, int b, double *h, double *i, double *s) {
  const int sum = r + g + b;
  const int lo = std::min({r, g, b});
  *i = sum / 3.0;
  *s = sum == 0 ? 0.0 : 1.0 - 3.0 * lo / sum;
  if (lo == std::max({r, g, b})) {  // grey: no hue, no saturation
    *h = 0.0;
    *s = 0.0;
    return;
  }
  const double num = 0.5 * ((r - g) + (r - b));
  const double den = std::sqrt(double(r - g) * (r - g) + double(r - b) * (g - b));
  const double theta = std::acos(std::clamp(num / den, -1.0, 1.0)) / kDegree;
  double hue = b <= g ? theta : 360.0 - theta;
  *h = hue >= 360.0 ? 0.0 : hue;
}

// Red, green and blue (unrounded) of hue h in degrees, intensity i and
// saturation s, each already brought into its range.
void to_rgb(double h, double i, double s, double *r, double *g, double *b) {
  const int sector = h < 120.0 ? 0 : h < 240.0 ? 1 : 2;
  const double a = h - 120.0 * sector;
  const double low = i * (1.0 - s);
  const double next = i * (1.0 + s * std::cos(a * kDegree) / std::cos((60.0 - a) * kDegree));
  const double third = 3.0 * i - low - next;
  double *order[3][3] = {{b, r, g}, {r, g, b}, {g, b, r}};  // low, next, third
  *order[sector][0] = low;
  *order[sector][1] = next;
  *order[sector][2] = third;
}

// ---- planes as rows of doubles ------------------------------------------

// What a plane holds, for its BYTE scaling.
enum class Plane { hue, intensity, saturation };

void store_row(Image *img, int y, Plane plane, const double *v, int n) {
  if (img->type == FLOAT) {
    float *p = row<float>(img, y);
    for (int x = 0; x < n; ++x) {
      float f = static_cast<float>(v[x]);
      // A hue just below 360 may round up to 360 in single precision.
      p[x] = plane == Plane::hue && f >= 360.0f ? 0.0f : f;
    }
    return;
  }
  std::uint8_t *p = row<std::uint8_t>(img, y);
  for (int x = 0; x < n; ++x) {
    switch (plane) {
      case Plane::hue:
        p[x] = static_cast<std::uint8_t>(static_cast<int>(std::round(v[x] * kHueLevels)) & 255);
        break;
      case Plane::intensity:
        p[x] = round_store<std::uint8_t>(v[x]);
        break;
      case Plane::saturation:
        p[x] = round_store<std::uint8_t>(v[x] * 255.0);
        break;
    }
  }
}

// Reads a row of a BYTE or FLOAT plane into its natural range: hue in
// degrees [0, 360), intensity >= 0, saturation 0..1.
void load_row(const Image *img, int y, Plane plane, double *v, int n) {
  for (int x = 0; x < n; ++x) {
    double u = img->type == FLOAT ? static_cast<double>(row<const float>(img, y)[x])
                                  : static_cast<double>(row<const std::uint8_t>(img, y)[x]);
    const bool scaled = img->type != FLOAT;
    switch (plane) {
      case Plane::hue:
        u = scaled ? u / kHueLevels : std::fmod(u, 360.0);
        if (u < 0.0) u += 360.0;
        if (!(u >= 0.0 && u < 360.0)) u = 0.0;  // NaN, infinite, or -tiny + 360
        break;
      case Plane::intensity:
        u = u > 0.0 ? u : 0.0;
        break;
      case Plane::saturation:
        u = scaled ? u / 255.0 : u > 1.0 ? 1.0 : u > 0.0 ? u : 0.0;
        break;
    }
    v[x] = u;
  }
}

bool byte_or_float(const Image *img) {
  return img->type == BYTE || img->type == FLOAT;
}

}  // namespace

extern "C" {

KELKIT_API int kel_rgb_unpack(const Image *packed, Image *red, Image *green, Image *blue) {
  return kel::guarded("kel_rgb_unpack", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, packed)) return e;
    if (!red && !green && !blue) return kel::fail(fn, KEL_ERR_NULL_IMAGE, "No output image");
    if (packed->type != FLOAT) return kel::fail(fn, KEL_ERR_TYPE, "Input must be FLOAT");
    const Image *first = nullptr;
    for (const Image *out : {red, green, blue}) {
      if (!out) continue;
      if (out->type != BYTE) return kel::fail(fn, KEL_ERR_TYPE, "Output must be BYTE");
      if (!first) first = out;
    }
    for (const Image *out : {red, green, blue})
      if (out && (out->dx != first->dx || out->dy != first->dy))
        return kel::fail(fn, KEL_ERR_SIZE, "Output Images must be the same size");
    if (packed->dx < first->dx || packed->dy < first->dy)
      return kel::fail(fn, KEL_ERR_SIZE, "Input must be as large or larger than outputs");
    const kel::Area area = kel::area_of(first);
    if (int e = kel::need_area(fn, area)) return e;
    Image *planes[3] = {red, green, blue};
    for (int y = 0; y < area.dy; ++y) {
      const float *src = row<const float>(packed, y);
      for (int c = 0; c < 3; ++c) {
        if (!planes[c]) continue;
        std::uint8_t *d = row<std::uint8_t>(planes[c], y);
        const int shift = 16 - 8 * c;
        for (int x = 0; x < area.dx; ++x)
          d[x] = static_cast<std::uint8_t>(packed_colour(src[x]) >> shift & 255);
      }
    }
    return KEL_OK;
  });
}

KELKIT_API int kel_rgb_to_his(const Image *red, const Image *green, const Image *blue, Image *hue,
                              Image *intensity, Image *saturation) {
  return kel::guarded("kel_rgb_to_his", [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, red, green, blue, hue, intensity, saturation)) return e;
    if (red->type != BYTE || green->type != BYTE || blue->type != BYTE)
      return kel::fail(fn, KEL_ERR_TYPE, "Input must be BYTE");
    if (!byte_or_float(hue) || !byte_or_float(intensity) || !byte_or_float(saturation))
      return kel::fail(fn, KEL_ERR_TYPE, "Output must be BYTE or FLOAT");
    const kel::Area area = kel::common_area(red, green, blue, hue, intensity, saturation);
    if (int e = kel::need_area(fn, area)) return e;
    // A whole row is read before any of it is written, so outputs may be
    // inputs.
    std::vector<double> buf(3 * static_cast<std::size_t>(area.dx));
    double *h = buf.data(), *i = h + area.dx, *s = i + area.dx;
    for (int y = 0; y < area.dy; ++y) {
      const std::uint8_t *r = row<const std::uint8_t>(red, y);
      const std::uint8_t *g = row<const std::uint8_t>(green, y);
      const std::uint8_t *b = row<const std::uint8_t>(blue, y);
      for (int x = 0; x < area.dx; ++x)
        to_his(r[x], g[x], b[x], &h[x], &i[x], &s[x]);
      store_row(hue, y, Plane::hue, h, area.dx);
      store_row(intensity, y, Plane::intensity, i, area.dx);
      store_row(saturation, y, Plane::saturation, s, area.dx);
    }
    return KEL_OK;
  });
}

KELKIT_API int kel_his_to_rgb(const Image *hue, const Image *intensity, const Image *saturation,
                              Image *red, Image *green, Image *blue) {
  return kel::guarded("kel_his_to_rgb", [&](const char *fn) -> int {
    if (int e = kel::need_images(fn, hue, intensity, saturation, red, green, blue)) return e;
    if (!byte_or_float(hue) || !byte_or_float(intensity) || !byte_or_float(saturation))
      return kel::fail(fn, KEL_ERR_TYPE, "Input must be BYTE or FLOAT");
    if (red->type != BYTE || green->type != BYTE || blue->type != BYTE)
      return kel::fail(fn, KEL_ERR_TYPE, "Output must be BYTE");
    const kel::Area area = kel::common_area(hue, intensity, saturation, red, green, blue);
    if (int e = kel::need_area(fn, area)) return e;
    std::vector<double> buf(3 * static_cast<std::size_t>(area.dx));
    double *h = buf.data(), *i = h + area.dx, *s = i + area.dx;
    for (int y = 0; y < area.dy; ++y) {
      load_row(hue, y, Plane::hue, h, area.dx);
      load_row(intensity, y, Plane::intensity, i, area.dx);
      load_row(saturation, y, Plane::saturation, s, area.dx);
      std::uint8_t *r = row<std::uint8_t>(red, y);
      std::uint8_t *g = row<std::uint8_t>(green, y);
      std::uint8_t *b = row<std::uint8_t>(blue, y);
      for (int x = 0; x < area.dx; ++x) {
        double rv, gv, bv;
        to_rgb(h[x], i[x], s[x], &rv, &gv, &bv);
        r[x] = round_store<std::uint8_t>(rv);
        g[x] = round_store<std::uint8_t>(gv);
        b[x] = round_store<std::uint8_t>(bv);
      }
    }
    return KEL_OK;
  });
}

}  // extern "C"
