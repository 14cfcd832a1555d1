// Frame averaging: 16-bit wrapping sums of BYTE images and their integer
// mean.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "kelkit/average.h"

namespace {

using kel::row;

void free_sums(KelImgAvg *acc) {
  if (acc->sums)
    for (int y = 0; y < acc->dy; ++y)
      std::free(acc->sums[y]);
  std::free(acc->sums);
  std::free(acc);
}

}  // namespace

extern "C" {

KELKIT_API KelImgAvg *kel_imgavg_create(int dx, int dy) {
  if (dx < 1 || dy < 1) return nullptr;
  if (static_cast<long long>(dx) * dy > KEL_IMGAVG_MAX_PIXELS) return nullptr;
  auto *acc = static_cast<KelImgAvg *>(std::calloc(1, sizeof(KelImgAvg)));
  if (!acc) return nullptr;
  acc->dx = dx;
  acc->dy = dy;
  acc->sums = static_cast<unsigned short **>(std::calloc(dy, sizeof(unsigned short *)));
  if (!acc->sums) {
    free_sums(acc);
    return nullptr;
  }
  for (int y = 0; y < dy; ++y) {
    acc->sums[y] = static_cast<unsigned short *>(std::calloc(dx, sizeof(unsigned short)));
    if (!acc->sums[y]) {
      free_sums(acc);  // rows not yet made are null
      return nullptr;
    }
  }
  return acc;
}

KELKIT_API int kel_imgavg_delete(KelImgAvg *acc) {
  if (!acc) return KEL_ERR_NULL_IMAGE;
  free_sums(acc);
  return KEL_OK;
}

KELKIT_API int kel_imgavg_accum(const Image *img, KelImgAvg *acc) {
  if (!img || !acc) return KEL_ERR_NULL_IMAGE;
  const char *fn = "kel_imgavg_accum";
  if (int e = kel::need_type(fn, BYTE, img)) return e;
  const int dx = std::min(acc->dx, img->dx), dy = std::min(acc->dy, img->dy);
  for (int y = 0; y < dy; ++y) {
    const std::uint8_t *p = row<const std::uint8_t>(img, y);
    unsigned short *s = acc->sums[y];
    for (int x = 0; x < dx; ++x)
      s[x] = static_cast<unsigned short>(s[x] + p[x]);
  }
  ++acc->count;
  return KEL_OK;
}

KELKIT_API int kel_imgavg_result(const KelImgAvg *acc, Image *img) {
  if (!acc || !img) return KEL_ERR_NULL_IMAGE;
  const char *fn = "kel_imgavg_result";
  if (int e = kel::need_type(fn, BYTE, img)) return e;
  const unsigned c = acc->count & 0xFFFFu;
  if (c == 0) {
    for (int y = 0; y < img->dy; ++y)
      if (img->dx > 0) std::memset(row<std::uint8_t>(img, y), 0, img->dx);
    return KEL_OK;
  }
  const int dx = std::min(acc->dx, img->dx), dy = std::min(acc->dy, img->dy);
  for (int y = 0; y < dy; ++y) {
    const unsigned short *s = acc->sums[y];
    std::uint8_t *p = row<std::uint8_t>(img, y);
    for (int x = 0; x < dx; ++x)
      p[x] = static_cast<std::uint8_t>(s[x] / c);
  }
  return KEL_OK;
}

}  // extern "C"
