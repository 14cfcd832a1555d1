// The correlation search's memory image: a flat little-endian block with a
// fixed header and the model pixels. The model block is written and read
// asymmetrically (see kelkit/search.h); both sides are kept exactly so.
#include <bit>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <new>

#include "frame/call.hpp"
#include "frame/image_guard.hpp"
#include "frame/pixels.hpp"
#include "kelkit/search.h"
#include "locate/search_record.hpp"

namespace {

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

void put32(std::uint8_t *b, std::int64_t off, std::uint32_t v) {
  for (int i = 0; i < 4; ++i)
    b[off + i] = static_cast<std::uint8_t>(v >> (8 * i));
}
std::uint32_t get32(const std::uint8_t *b, std::int64_t off) {
  std::uint32_t v = 0;
  for (int i = 0; i < 4; ++i)
    v |= std::uint32_t{b[off + i]} << (8 * i);
  return v;
}
void put_double(std::uint8_t *b, int off, double d) {
  std::uint64_t v = std::bit_cast<std::uint64_t>(d);
  put32(b, off, static_cast<std::uint32_t>(v));
  put32(b, off + 4, static_cast<std::uint32_t>(v >> 32));
}
double get_double(const std::uint8_t *b, int off) {
  return std::bit_cast<double>(std::uint64_t{get32(b, off)} | std::uint64_t{get32(b, off + 4)}
                                                                  << 32);
}

bool has_valid_model(const KelSearchParams *p) {
  return p->model && p->model->dx >= 1 && p->model->dy >= 1;
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
  return kel::guarded("kel_search_params_mem_size", [&](const char *fn) -> int {
    if (size) *size = 0;
    if (int e = kel::need_pointer(fn, p, "Params is NULL")) return e;
    if (int e = kel::need_pointer(fn, size, "Size pointer is NULL")) return e;
    if (!has_valid_model(p)) return kel::fail(fn, KEL_ERR_ARGUMENT, "No trained model");
    std::int64_t n = required_size(p);
    if (n > INT32_MAX) return kel::fail(fn, KEL_ERR_ARGUMENT, "Model too large");
    *size = static_cast<int>(n);
    return KEL_OK;
  });
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
    for (int r = 0; r < m->dy; ++r)
      std::memcpy(b + kHeaderSize + kRelPixels + r * stride, kel::row<const std::uint8_t>(m, r),
                  static_cast<std::size_t>(m->dx));
    return KEL_OK;
  });
}

KELKIT_API int kel_search_load_params_from_mem(KelSearchParams *p, const void *buffer) {
  return kel::guarded("kel_search_load_params_from_mem", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, p, "Params is NULL")) return e;
    if (int e = kel::need_pointer(fn, buffer, "Buffer is NULL")) return e;
    const auto *b = static_cast<const std::uint8_t *>(buffer);
    if (get32(b, kOffMagic) != kMagic) return kel::fail(fn, KEL_ERR_ARGUMENT, "Not a search block");
    const std::int64_t h = static_cast<std::int32_t>(get32(b, kOffHeader));
    if (h < kMinHeaderSize) return kel::fail(fn, KEL_ERR_ARGUMENT, "Bad header size");
    const int width = static_cast<std::int32_t>(get32(b, h + kRelSize));
    const int height = static_cast<std::int32_t>(get32(b, h + kRelHeight));
    if (width < 1 || height < 1) return kel::fail(fn, KEL_ERR_ARGUMENT, "Bad model size");
    kel::ImagePtr model = kel::make_image(BYTE, width, height);
    if (!model) throw std::bad_alloc();
    for (int r = 0; r < height; ++r)
      std::memcpy(kel::row<std::uint8_t>(model.get(), r),
                  b + h + kRelPixels + std::int64_t{r} * width, static_cast<std::size_t>(width));

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
  });
}

}  // extern "C"
