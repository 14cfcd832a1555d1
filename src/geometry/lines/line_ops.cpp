// Line constructions and relations: kel_line_from_points,
// kel_line_from_point_angle, kel_line_intersection, kel_line_point_distance,
// kel_line_foot, kel_line_angle, kel_segment_distance.
#include <algorithm>
#include <cmath>
#include <numbers>

#include "frame/call.hpp"
#include "geometry/line_fit.hpp"
#include "kelkit/lines.h"

namespace {

using kel::geometry::DirectedLine;

KelLine to_public(DirectedLine l) {
  kel::geometry::normalise(l);
  return KelLine{l.theta, l.distance};
}

// Distance from p to the segment a-b.
double point_segment(double px, double py, double ax, double ay, double bx, double by) {
  double dx = bx - ax, dy = by - ay, len2 = dx * dx + dy * dy;
  double t = len2 > 0 ? ((px - ax) * dx + (py - ay) * dy) / len2 : 0.0;
  t = std::clamp(t, 0.0, 1.0);
  return std::hypot(px - (ax + t * dx), py - (ay + t * dy));
}

// Sign of the turn a -> b -> c.
double orient(double ax, double ay, double bx, double by, double cx, double cy) {
  return (bx - ax) * (cy - ay) - (by - ay) * (cx - ax);
}

bool finite(std::initializer_list<double> values) {
  return std::all_of(values.begin(), values.end(), [](double v) { return std::isfinite(v); });
}

}  // namespace

extern "C" KELKIT_API int kel_line_from_points(double x0, double y0, double x1, double y1,
                                               KelLine *line) {
  return kel::guarded("kel_line_from_points", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, line)) return e;
    *line = KelLine{0, 0};
    if (!finite({x0, y0, x1, y1})) return kel::fail(fn, KEL_ERR_ARGUMENT, "Not finite");
    if (x0 == x1 && y0 == y1) return kel::fail(fn, KEL_ERR_ARGUMENT, "Points coincide");
    double len = std::hypot(x1 - x0, y1 - y0);
    double c = (x1 - x0) / len, s = (y1 - y0) / len;
    // Axis-parallel lines get exact angles.
    double theta = y0 == y1 ? 0.0 : x0 == x1 ? std::numbers::pi / 2 : std::atan2(s, c);
    if (x0 == x1) c = 0, s = 1;
    if (y0 == y1) c = 1, s = 0;
    *line = to_public({theta, -x0 * s + y0 * c});
    return KEL_OK;
  });
}

extern "C" KELKIT_API int kel_line_from_point_angle(double x, double y, double angle,
                                                    KelLine *line) {
  return kel::guarded("kel_line_from_point_angle", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, line)) return e;
    *line = KelLine{0, 0};
    if (!finite({x, y, angle})) return kel::fail(fn, KEL_ERR_ARGUMENT, "Not finite");
    double theta = std::remainder(angle, std::numbers::pi);  // in [-pi/2, pi/2]
    *line = to_public({theta, -x * std::sin(theta) + y * std::cos(theta)});
    return KEL_OK;
  });
}

extern "C" KELKIT_API int kel_line_intersection(const KelLine *a, const KelLine *b, double *x,
                                                double *y) {
  return kel::guarded("kel_line_intersection", [&](const char *fn) -> int {
    if (!a || !b || !x || !y) return kel::fail(fn, KEL_ERR_ARGUMENT, "pointer is NULL");
    *x = *y = 0;
    // -x sa + y ca = da and -x sb + y cb = db.
    double sa = std::sin(a->theta), ca = std::cos(a->theta);
    double sb = std::sin(b->theta), cb = std::cos(b->theta);
    double det = -sa * cb + ca * sb;  // sin(theta_b - theta_a)
    if (!(std::fabs(det) > 1e-12)) return kel::fail(fn, KEL_ERR_SINGULAR, "Lines are parallel");
    *x = (a->distance * cb - b->distance * ca) / det;
    *y = (-sa * b->distance + sb * a->distance) / det;
    return KEL_OK;
  });
}

extern "C" KELKIT_API int kel_line_point_distance(const KelLine *line, double x, double y,
                                                  double *distance) {
  return kel::guarded("kel_line_point_distance", [&](const char *fn) -> int {
    if (!line || !distance) return kel::fail(fn, KEL_ERR_ARGUMENT, "pointer is NULL");
    *distance = -x * std::sin(line->theta) + y * std::cos(line->theta) - line->distance;
    return KEL_OK;
  });
}

extern "C" KELKIT_API int kel_line_foot(const KelLine *line, double x, double y, double *fx,
                                        double *fy) {
  return kel::guarded("kel_line_foot", [&](const char *fn) -> int {
    if (!line || !fx || !fy) return kel::fail(fn, KEL_ERR_ARGUMENT, "pointer is NULL");
    double s = std::sin(line->theta), c = std::cos(line->theta);
    double d = -x * s + y * c - line->distance;
    *fx = x + d * s;
    *fy = y - d * c;
    return KEL_OK;
  });
}

extern "C" KELKIT_API int kel_line_angle(const KelLine *a, const KelLine *b, double *angle) {
  return kel::guarded("kel_line_angle", [&](const char *fn) -> int {
    if (!a || !b || !angle) return kel::fail(fn, KEL_ERR_ARGUMENT, "pointer is NULL");
    DirectedLine turn{b->theta - a->theta, 0};
    kel::geometry::normalise(turn);
    *angle = turn.theta;
    return KEL_OK;
  });
}

extern "C" KELKIT_API int kel_segment_distance(double ax0, double ay0, double ax1, double ay1,
                                               double bx0, double by0, double bx1, double by1,
                                               double *distance) {
  return kel::guarded("kel_segment_distance", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, distance)) return e;
    double o1 = orient(ax0, ay0, ax1, ay1, bx0, by0), o2 = orient(ax0, ay0, ax1, ay1, bx1, by1);
    double o3 = orient(bx0, by0, bx1, by1, ax0, ay0), o4 = orient(bx0, by0, bx1, by1, ax1, ay1);
    if (((o1 > 0 && o2 < 0) || (o1 < 0 && o2 > 0)) && ((o3 > 0 && o4 < 0) || (o3 < 0 && o4 > 0))) {
      *distance = 0;
      return KEL_OK;
    }
    *distance = std::min(
        {point_segment(ax0, ay0, bx0, by0, bx1, by1), point_segment(ax1, ay1, bx0, by0, bx1, by1),
         point_segment(bx0, by0, ax0, ay0, ax1, ay1), point_segment(bx1, by1, ax0, ay0, ax1, ay1)});
    return KEL_OK;
  });
}
