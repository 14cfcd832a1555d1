// The vela search's memory image: a flat little-endian block with a fixed
// header and the model pixels at offset H = 188.
#include <algorithm>
#include <cstdint>

#include "frame/call.hpp"
#include "kelkit/vela.h"
#include "locate/persist_io.hpp"
#include "locate/vela/vela_record.hpp"

namespace {

using namespace kel::locate;

constexpr std::uint32_t kMagic = 0xDEAFBEEFu;
constexpr std::uint32_t kVersion = 2;
constexpr int kHeaderSize = 188;  // H, the offset of the pixels
constexpr int kSizeExtra = 192;   // required size less the pixels

using P = KelVelaParams;

// Int fields at their offsets.
struct IntAt {
  int off;
  int P::*field;
};
const IntAt kInts[] = {
    {40, &P::scan_step_x},       {44, &P::scan_step_y},
    {48, &P::scan_pattern_x},    {52, &P::scan_pattern_y},
    {56, &P::auto_step},         {60, &P::early_term},
    {64, &P::suspicious},        {68, &P::auto_retry},
    {72, &P::sub_pixel},         {84, &P::trained_step_x},
    {88, &P::trained_step_y},    {92, &P::trained_pattern_x},
    {96, &P::trained_pattern_y}, {120, &P::num_to_find},
    {124, &P::use_geom},         {128, &P::cont_rev},
    {132, &P::edge_str},         {136, &P::filter_size},
    {152, &P::involved_tol},     {156, &P::extscore_setting},
    {160, &P::hifeature},        {184, &P::alg},
};
// Double fields at their offsets (the linear tables' first entries apart).
struct DoubleAt {
  int off;
  double P::*field;
};
const DoubleAt kDoubles[] = {
    {104, &P::subpix_bias_x}, {112, &P::subpix_bias_y},  {144, &P::reject},
    {168, &P::model_mean},    {176, &P::model_variance},
};
constexpr int kOffMagic = 0, kOffVersion = 4, kOffHeader = 8, kOffWidth = 12, kOffHeight = 16;
constexpr int kOffScale = 24, kOffOffset = 32, kOffGrid = 76, kOffAlg = 184;

bool has_valid_model(const KelVelaParams *p) {
  return kel::locate::has_valid_model(p->model);
}

std::int64_t required_size(const KelVelaParams *p) {
  return std::int64_t{p->model->dx} * p->model->dy + kSizeExtra;
}

}  // namespace

extern "C" {

KELKIT_API int kel_vela_search_params_mem_size(const KelVelaParams *p, int *size) {
  return kel::locate::mem_size_query("kel_vela_search_params_mem_size", p, size, required_size);
}

KELKIT_API int kel_vela_search_save_params_to_mem(const KelVelaParams *p, void *buffer, int size) {
  return kel::guarded("kel_vela_search_save_params_to_mem", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, p, "Params is NULL")) return e;
    if (int e = kel::need_pointer(fn, buffer, "Buffer is NULL")) return e;
    if (!has_valid_model(p)) return kel::fail(fn, KEL_ERR_ARGUMENT, "No valid model");
    if (size >= 0 && size < required_size(p))
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Buffer too small");
    auto *b = static_cast<std::uint8_t *>(buffer);
    const Image *m = p->model;
    put32(b, kOffMagic, kMagic);
    put32(b, kOffVersion, kVersion);
    put32(b, kOffHeader, kHeaderSize);
    put32(b, kOffWidth, static_cast<std::uint32_t>(m->dx));
    put32(b, kOffHeight, static_cast<std::uint32_t>(m->dy));
    put_double(b, kOffScale, p->linear_scale[0]);
    put_double(b, kOffOffset, p->linear_offset[0]);
    put32(b, kOffGrid, static_cast<std::uint32_t>(p->sub_pixel_grid[0]));
    put32(b, kOffGrid + 4, static_cast<std::uint32_t>(p->sub_pixel_grid[1]));
    for (const IntAt &f : kInts)
      put32(b, f.off, static_cast<std::uint32_t>(p->*f.field));
    for (const DoubleAt &f : kDoubles)
      put_double(b, f.off, p->*f.field);
    put_rows(b + kHeaderSize, m, m->dx);
    return KEL_OK;
  });
}

}  // extern "C"

namespace {

// The end of the block's fixed fields: the furthest field read besides the
// pixels.
std::int64_t fixed_end() {
  std::int64_t end = std::max(kOffAlg + 4, kOffGrid + 8);
  for (const IntAt &f : kInts)
    end = std::max<std::int64_t>(end, f.off + 4);
  for (const DoubleAt &f : kDoubles)
    end = std::max<std::int64_t>(end, f.off + 8);
  return end;
}

// Reads a block of `size` bytes (negative: trusted, unknown) into p; every
// offset and size is checked against the layout and the limits first, and p
// changes only on success.
int load_block(const char *fn, KelVelaParams *p, const void *buffer, std::int64_t size) {
  if (int e = kel::need_pointer(fn, p, "Params is NULL")) return e;
  if (int e = kel::need_pointer(fn, buffer, "Buffer is NULL")) return e;
  const auto *b = static_cast<const std::uint8_t *>(buffer);
  if (!within(size, fixed_end())) return kel::fail(fn, KEL_ERR_ARGUMENT, "Block too small");
  if (get32(b, kOffMagic) != kMagic) return kel::fail(fn, KEL_ERR_ARGUMENT, "Not a vela block");
  const std::int64_t h = static_cast<std::int32_t>(get32(b, kOffHeader));
  if (h < kHeaderSize || h > kMaxBlockHeader)
    return kel::fail(fn, KEL_ERR_ARGUMENT, "Bad pixel offset");
  const int width = static_cast<std::int32_t>(get32(b, kOffWidth));
  const int height = static_cast<std::int32_t>(get32(b, kOffHeight));
  if (!model_size_ok(width, height) || !within(size, h + std::int64_t{width} * height))
    return kel::fail(fn, KEL_ERR_ARGUMENT, "Bad model size");
  const int alg = static_cast<std::int32_t>(get32(b, kOffAlg));
  if (alg < 0 || alg > p->alg_max || alg > 2)
    return kel::fail(fn, KEL_ERR_ARGUMENT, "Algorithm out of range");
  kel::ImagePtr model = get_rows(b + h, width, height);

  p->linear_scale[0] = get_double(b, kOffScale);
  p->linear_offset[0] = get_double(b, kOffOffset);
  p->sub_pixel_grid[0] = static_cast<std::int32_t>(get32(b, kOffGrid));
  p->sub_pixel_grid[1] = static_cast<std::int32_t>(get32(b, kOffGrid + 4));
  for (const IntAt &f : kInts)
    p->*f.field = static_cast<std::int32_t>(get32(b, f.off));
  for (const DoubleAt &f : kDoubles)
    p->*f.field = get_double(b, f.off);
  kel::locate::install_alg(p, alg);
  kel::locate::drop_derived(p);
  if (p->model) im_delete(p->model);
  p->model = model.release();
  return KEL_OK;
}

}  // namespace

extern "C" {

KELKIT_API int kel_vela_search_load_params_from_mem(KelVelaParams *p, const void *buffer) {
  return kel::guarded("kel_vela_search_load_params_from_mem",
                      [&](const char *fn) { return load_block(fn, p, buffer, -1); });
}

KELKIT_API int kel_vela_search_load_params_from_mem2(KelVelaParams *p, const void *buffer,
                                                     int size) {
  return kel::guarded("kel_vela_search_load_params_from_mem2", [&](const char *fn) -> int {
    if (size < 0) return kel::fail(fn, KEL_ERR_ARGUMENT, "Size must not be negative");
    return load_block(fn, p, buffer, size);
  });
}

}  // extern "C"
