// The correlation search's memory image: a flat little-endian block with a
// fixed header and the model pixels. The model block is written and read
// asymmetrically (see kelkit/search.h); both sides are kept exactly so.
#include <cstdint>
#include <iterator>

#include "frame/call.hpp"
#include "kelkit/search.h"
#include "locate/persist_io.hpp"
#include "locate/search/search_record.hpp"

namespace {

using namespace kel::locate;

constexpr std::uint32_t kMagic = 0xDEAF1234u;
constexpr std::uint32_t kVersion = 1;
constexpr int kHeaderSize = 464;  // H
constexpr int kMinHeaderSize = 168;
constexpr int kBlockExtra = 485;  // bytes besides the pixels

// Offsets of the fields.
constexpr int kOffMagic = 0, kOffVersion = 4, kOffHeader = 8;
constexpr int kOffSettings = 12;  // eight settings, then the reserved word at 44
constexpr int kOffTrained = 56;
constexpr int kOffBiasX = 164, kOffBiasY = 172;
// Relative to H: the size word, the height slot and the pixels.
constexpr int kRelSize = 12, kRelHeight = 16, kRelPixels = 20;

int KelSearchParams::*const kSettings[] = {
    &KelSearchParams::scan_step_x,    &KelSearchParams::scan_step_y,
    &KelSearchParams::scan_pattern_x, &KelSearchParams::scan_pattern_y,
    &KelSearchParams::auto_step,      &KelSearchParams::early_term,
    &KelSearchParams::suspicious,     &KelSearchParams::auto_retry,
    &KelSearchParams::reserved,
};
int KelSearchParams::*const kTrained[] = {
    &KelSearchParams::trained_step_x,
    &KelSearchParams::trained_step_y,
    &KelSearchParams::trained_pattern_x,
    &KelSearchParams::trained_pattern_y,
};

bool has_valid_model(const KelSearchParams *p) {
  return kel::locate::has_valid_model(p->model);
}

// dx * dy + 485 for a valid model, else 0.
std::int64_t required_size(const KelSearchParams *p) {
  if (!has_valid_model(p)) return 0;
  return std::int64_t{p->model->dx} * p->model->dy + kBlockExtra;
}

// How far the writer reaches: its rows step by the height, so a model taller
// than wide ends beyond the required size.
std::int64_t written_extent(const KelSearchParams *p) {
  if (!has_valid_model(p)) return kHeaderSize + kRelHeight;
  const std::int64_t w = p->model->dx, h = p->model->dy;
  return kHeaderSize + kRelPixels + (h - 1) * h + w;
}

}  // namespace

extern "C" {

KELKIT_API int kel_search_params_mem_size(const KelSearchParams *p, int *size) {
  return kel::locate::mem_size_query("kel_search_params_mem_size", p, size, required_size);
}

KELKIT_API int kel_search_save_params_to_mem(const KelSearchParams *p, void *buffer, int size) {
  return kel::guarded("kel_search_save_params_to_mem", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, p, "Params is NULL")) return e;
    if (int e = kel::need_pointer(fn, buffer, "Buffer is NULL")) return e;
    if (size >= 0 && has_valid_model(p) && (size < required_size(p) || size < written_extent(p)))
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Buffer too small");
    auto *b = static_cast<std::uint8_t *>(buffer);
    put32(b, kOffMagic, kMagic);
    put32(b, kOffVersion, kVersion);
    put32(b, kOffHeader, kHeaderSize);
    for (std::size_t i = 0; i < std::size(kSettings); ++i)
      put32(b, kOffSettings + 4 * i, static_cast<std::uint32_t>(p->*kSettings[i]));
    for (std::size_t i = 0; i < std::size(kTrained); ++i)
      put32(b, kOffTrained + 4 * i, static_cast<std::uint32_t>(p->*kTrained[i]));
    put_double(b, kOffBiasX, p->subpix_bias_x);
    put_double(b, kOffBiasY, p->subpix_bias_y);
    if (!has_valid_model(p)) {
      put32(b, kHeaderSize + kRelSize, 0);
      return KEL_OK;
    }
    const Image *m = p->model;
    // The width, then the height in the same word; rows step by that word.
    put32(b, kHeaderSize + kRelSize, static_cast<std::uint32_t>(m->dx));
    put32(b, kHeaderSize + kRelSize, static_cast<std::uint32_t>(m->dy));
    const std::int64_t stride = get32(b, kHeaderSize + kRelSize);
    put_rows(b + kHeaderSize + kRelPixels, m, stride);
    return KEL_OK;
  });
}

}  // extern "C"

namespace {

// Reads a block of `size` bytes (negative: trusted, unknown) into p; every
// offset and size the block gives is checked against the layout and the
// limits before anything is read through it, and p changes only on success.
int load_block(const char *fn, KelSearchParams *p, const void *buffer, std::int64_t size) {
  if (int e = kel::need_pointer(fn, p, "Params is NULL")) return e;
  if (int e = kel::need_pointer(fn, buffer, "Buffer is NULL")) return e;
  const auto *b = static_cast<const std::uint8_t *>(buffer);
  if (!within(size, kOffBiasY + 8)) return kel::fail(fn, KEL_ERR_ARGUMENT, "Block too small");
  if (get32(b, kOffMagic) != kMagic) return kel::fail(fn, KEL_ERR_ARGUMENT, "Not a search block");
  const std::int64_t h = static_cast<std::int32_t>(get32(b, kOffHeader));
  if (h < kMinHeaderSize || h > kMaxBlockHeader || !within(size, h + kRelPixels))
    return kel::fail(fn, KEL_ERR_ARGUMENT, "Bad header size");
  const int width = static_cast<std::int32_t>(get32(b, h + kRelSize));
  const int height = static_cast<std::int32_t>(get32(b, h + kRelHeight));
  if (!model_size_ok(width, height) || !within(size, h + kRelPixels + std::int64_t{width} * height))
    return kel::fail(fn, KEL_ERR_ARGUMENT, "Bad model size");
  kel::ImagePtr model = get_rows(b + h + kRelPixels, width, height);

  for (std::size_t i = 0; i < std::size(kSettings); ++i)
    p->*kSettings[i] = static_cast<std::int32_t>(get32(b, kOffSettings + 4 * i));
  for (std::size_t i = 0; i < std::size(kTrained); ++i)
    p->*kTrained[i] = static_cast<std::int32_t>(get32(b, kOffTrained + 4 * i));
  p->subpix_bias_x = get_double(b, kOffBiasX);
  p->subpix_bias_y = get_double(b, kOffBiasY);
  if (p->model) im_delete(p->model);
  p->model = model.release();
  kel::locate::set_score_constants(p, p->model);
  return KEL_OK;
}

}  // namespace

extern "C" {

KELKIT_API int kel_search_load_params_from_mem(KelSearchParams *p, const void *buffer) {
  return kel::guarded("kel_search_load_params_from_mem",
                      [&](const char *fn) { return load_block(fn, p, buffer, -1); });
}

KELKIT_API int kel_search_load_params_from_mem2(KelSearchParams *p, const void *buffer, int size) {
  return kel::guarded("kel_search_load_params_from_mem2", [&](const char *fn) -> int {
    if (size < 0) return kel::fail(fn, KEL_ERR_ARGUMENT, "Size must not be negative");
    return load_block(fn, p, buffer, size);
  });
}

}  // extern "C"
