// Rank and median filters over rectangles.
#include "kelkit/rank.h"
#include "filter/plane/neighbourhood.hpp"
#include "filter/rank/rank_paths.hpp"

namespace {

namespace nb = kel::nb;

// Checks in order: null images, types, window and rank, area.
int rank_filter(const char *fn, const Image *src, Image *dst, int kx, int ky, int rank,
                bool median) {
  if (int e = kel::need_images(fn, src, dst)) return e;
  if (int e = nb::need_one_type(fn, src, dst)) return e;
  if (kx < 1 || ky < 1 || kx > KEL_RANK_MAX || ky > KEL_RANK_MAX) return nb::bad_kernel(fn);
  const int n = kx * ky;
  if (src->type == FLOAT && n > KEL_RANK_FLOAT_MEMBERS)
    return nb::bad_kernel(fn, "FLOAT windows hold at most 25 pixels");
  if (median) rank = (n - 1) / 2;
  if (rank < 0 || rank >= n) return kel::fail(fn, KEL_ERR_ARGUMENT, "Rank out of range");
  const kel::Area a = kel::common_area(src, dst);
  if (int e = nb::need_window(fn, a, kx, ky)) return e;
  // The networks over a ring of rows stream; the networks of windows 3 or 5
  // rows high read the source rows around each row directly, and the
  // histograms re-read the rows that leave the window: those need the
  // source intact.
  nb::Source s(src, dst, a, n <= nb::kNetworkMembers && ky != 3 && ky != 5);
  if (n > nb::kNetworkMembers && src->type == BYTE)
    nb::rank_by_histogram(s.get(), dst, a, kx, ky, rank);
  else if (n > nb::kNetworkMembers)
    nb::rank_by_word_histogram(s.get(), dst, a, kx, ky, rank);
  else
    kel::with_pixel_type(src->type, 0, [&]<class T>() {
      nb::rank_by_network<T>(s.get(), dst, a, kx, ky, rank);
      return 0;
    });
  return KEL_OK;
}

}  // namespace

extern "C" {

KELKIT_API int kel_rank_rect(const Image *src, Image *dst, int kx, int ky, int rank) {
  return kel::guarded("kel_rank_rect", [&](const char *fn) {
    return rank_filter(fn, src, dst, kx, ky, rank, false);
  });
}

KELKIT_API int kel_median_rect(const Image *src, Image *dst, int kx, int ky) {
  return kel::guarded("kel_median_rect",
                      [&](const char *fn) { return rank_filter(fn, src, dst, kx, ky, 0, true); });
}

}  // extern "C"
