// The crawler's exported functions: the record, its settings, the walk, the
// read-out of the result and the crawler file.
#include <cmath>
#include <new>
#include <vector>

#include "frame/call.hpp"
#include "measure/contour/contour_internal.hpp"
#include "measure/crawler/crawler_record.hpp"

namespace {

namespace crawl = kel::measure::crawl;

// Checks a setting and stores it through `store`: 0, 10 or 107.
template <class Store>
int set_checked(const char *fn, KelCrawler *c, bool in_range, Store store) {
  if (!c) return kel::fail(fn, KEL_ERR_ARGUMENT, "Crawler is NULL");
  if (!in_range) return kel::fail(fn, KEL_ERR_RANGE, "Value out of range");
  store(*c);
  return KEL_OK;
}

}  // namespace

extern "C" {

KELKIT_API KelCrawler *kel_crawler_create(int *status) {
  if (status) *status = KEL_OK;
  KelCrawler *c = new (std::nothrow) KelCrawler();
  if (!c) {
    kel::fail("kel_crawler_create", KEL_ERR_NO_MEMORY, "Out of memory");
    if (status) *status = KEL_ERR_NO_MEMORY;
  }
  return c;
}

KELKIT_API void kel_crawler_delete(KelCrawler *crawler) {
  delete crawler;
}

KELKIT_API void kel_crawler_clear(KelCrawler *crawler) {
  if (crawler) crawler->clear_result();
}

KELKIT_API int kel_crawler_set_edge_level(KelCrawler *crawler, int level) {
  return set_checked("kel_crawler_set_edge_level", crawler, crawl::level_ok(level),
                     [&](KelCrawler &c) {
                       c.edge_level = level;
                       c.sync();
                     });
}
KELKIT_API int kel_crawler_get_edge_level(const KelCrawler *crawler) {
  return crawler ? crawler->edge_level : 0;
}

KELKIT_API int kel_crawler_set_step(KelCrawler *crawler, double step) {
  return set_checked("kel_crawler_set_step", crawler, crawl::step_ok(step),
                     [&](KelCrawler &c) { c.step = step; });
}
KELKIT_API double kel_crawler_get_step(const KelCrawler *crawler) {
  return crawler ? crawler->step : 0.0;
}

KELKIT_API int kel_crawler_set_max_length(KelCrawler *crawler, int points) {
  return set_checked("kel_crawler_set_max_length", crawler, crawl::length_ok(points),
                     [&](KelCrawler &c) {
                       c.max_length = points;
                       c.sync();
                     });
}
KELKIT_API int kel_crawler_get_max_length(const KelCrawler *crawler) {
  return crawler ? crawler->max_length : 0;
}

KELKIT_API int kel_crawler_set_direction(KelCrawler *crawler, int direction) {
  return set_checked("kel_crawler_set_direction", crawler, crawl::direction_ok(direction),
                     [&](KelCrawler &c) { c.direction = direction; });
}
KELKIT_API int kel_crawler_get_direction(const KelCrawler *crawler) {
  return crawler ? crawler->direction : 0;
}

KELKIT_API int kel_crawler_set_search_radius(KelCrawler *crawler, double radius) {
  return set_checked("kel_crawler_set_search_radius", crawler, crawl::radius_ok(radius),
                     [&](KelCrawler &c) { c.search_radius = radius; });
}
KELKIT_API double kel_crawler_get_search_radius(const KelCrawler *crawler) {
  return crawler ? crawler->search_radius : 0.0;
}

KELKIT_API int kel_crawler_follow(KelCrawler *crawler, const Image *img, int x, int y, int dx,
                                  int dy, double start_x, double start_y) {
  return kel::guarded("kel_crawler_follow", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, crawler, "Crawler is NULL")) return e;
    if (int e = kel::need_image(fn, img)) return e;
    if (int e = kel::need_type(fn, BYTE, img)) return e;
    if (x < 0 || y < 0 || dx < 0 || dy < 0 || x > img->dx - dx || y > img->dy - dy)
      return kel::fail(fn, KEL_ERR_WINDOW, "Region outside the image");
    if (dx < 3 || dy < 3) return kel::fail(fn, KEL_ERR_AREA_SMALL, "Area too small!");
    if (!(start_x >= x && start_x <= x + dx - 1 && start_y >= y && start_y <= y + dy - 1))
      return kel::fail(fn, KEL_ERR_RANGE, "Start point outside the region");
    if (!crawl::follow_edge(*crawler, img, x, y, dx, dy, start_x, start_y))
      return kel::fail(fn, KEL_ERR_NOT_FOUND, "No edge near the start point");
    return KEL_OK;
  });
}

KELKIT_API int kel_crawler_get_point_count(const KelCrawler *crawler) {
  return crawler ? crawler->point_count() : 0;
}

KELKIT_API int kel_crawler_get_closed(const KelCrawler *crawler) {
  return crawler && crawler->closed() ? 1 : 0;
}

KELKIT_API int kel_crawler_get_stop(const KelCrawler *crawler) {
  return crawler ? crawler->stop : KEL_CRAWL_NONE;
}

KELKIT_API int kel_crawler_get_start(const KelCrawler *crawler, double *x, double *y) {
  if (x) *x = 0.0;
  if (y) *y = 0.0;
  if (!crawler) return kel::fail("kel_crawler_get_start", KEL_ERR_ARGUMENT, "Crawler is NULL");
  if (x) *x = crawler->start_x;
  if (y) *y = crawler->start_y;
  return KEL_OK;
}

KELKIT_API int kel_crawler_get_point(const KelCrawler *crawler, int index, double *x, double *y,
                                     double *direction, int *strength) {
  if (x) *x = 0.0;
  if (y) *y = 0.0;
  if (direction) *direction = 0.0;
  if (strength) *strength = 0;
  if (!crawler) return kel::fail("kel_crawler_get_point", KEL_ERR_ARGUMENT, "Crawler is NULL");
  if (index < 0 || index >= crawler->point_count())
    return kel::fail("kel_crawler_get_point", KEL_ERR_ARGUMENT, "No such point");
  const KelContourSet &p = crawler->path;
  std::size_t i = static_cast<std::size_t>(index);
  if (x) *x = p.x[i];
  if (y) *y = p.y[i];
  if (direction) *direction = p.direction[i];
  if (strength) *strength = p.attribute[i];
  return KEL_OK;
}

KELKIT_API const double *kel_crawler_x(const KelCrawler *crawler) {
  return crawler && crawler->point_count() > 0 ? crawler->path.x.data() : nullptr;
}
KELKIT_API const double *kel_crawler_y(const KelCrawler *crawler) {
  return crawler && crawler->point_count() > 0 ? crawler->path.y.data() : nullptr;
}
KELKIT_API const double *kel_crawler_direction(const KelCrawler *crawler) {
  return crawler && crawler->point_count() > 0 ? crawler->path.direction.data() : nullptr;
}
KELKIT_API const int *kel_crawler_strength(const KelCrawler *crawler) {
  return crawler && crawler->point_count() > 0 ? crawler->path.attribute.data() : nullptr;
}

KELKIT_API int kel_save_crawler(const KelCrawler *crawler, const char *path) {
  return kel::guarded("kel_save_crawler", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, crawler, "Crawler is NULL")) return e;
    if (int e = kel::need_pointer(fn, path, "File name is NULL")) return e;
    switch (kel::measure::bytes::write_file(path, crawl::encode_crawler(*crawler))) {
      case 0:
        return KEL_OK;
      case 1:
        return kel::fail(fn, KEL_ERR_FILE, "Cannot create the crawler file");
      default:
        return kel::fail(fn, KEL_ERR_FILE, "Cannot write the crawler file");
    }
  });
}

KELKIT_API int kel_load_crawler(KelCrawler *crawler, const char *path) {
  return kel::guarded("kel_load_crawler", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, crawler, "Crawler is NULL")) return e;
    if (int e = kel::need_pointer(fn, path, "File name is NULL")) return e;
    std::vector<std::uint8_t> bytes;
    int got = kel::measure::bytes::read_file(path, crawl::largest_crawler_file(), bytes);
    if (got == 1) return kel::fail(fn, KEL_ERR_FILE, "Cannot open the crawler file");
    if (got != 0 || !crawl::decode_crawler(bytes.data(), bytes.size(), *crawler))
      return kel::fail(fn, KEL_ERR_FILE, "Malformed crawler file");
    return KEL_OK;
  });
}

}  // extern "C"
