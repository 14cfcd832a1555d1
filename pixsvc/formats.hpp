// Image file formats: the decoded form shared by the readers, and one reader
// and one writer per format. Readers parse a whole file held in memory, so
// every header field can be checked against the bytes actually present
// before anything is allocated; writers build the whole file in memory and
// file_io.cpp stores it.
//
// Every function reports its failure through im_error under `fn`, the
// exported function that called it, and returns the code (0 on success).
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "internal.hpp"

namespace pixsvc {

// What a file's header says: its size and its sample depth (8 or 16).
struct FileHeader {
  int dx = 0;
  int dy = 0;
  int bits = 0;
};

// A decoded grey image with packed rows: `bytes` holds dx * dy samples when
// bits is 8, `words` (host order) when bits is 16.
struct Raster {
  FileHeader head;
  std::vector<std::uint8_t> bytes;
  std::vector<std::uint16_t> words;
};

using Bytes = std::span<const std::uint8_t>;

// Largest width times height a file may claim. Images address pixels with
// 32-bit signed offsets, so no file may describe more pixels than that.
constexpr std::int64_t kMaxFilePixels = kMaxPixels;

// Readers: fill out.head from the header; when `header_only` is false, also
// decode the pixels into out.bytes or out.words. Malformed, truncated or
// unsupported files give IM_ERR_FILE_FORMAT.
int read_bmp(const char *fn, Bytes file, Raster &out, bool header_only);
int read_pgm(const char *fn, Bytes file, Raster &out, bool header_only);
int read_png(const char *fn, Bytes file, Raster &out, bool header_only);

// Writers: encode `img` (BYTE or WORD, as each format allows, at least 1 by
// 1; the caller has checked both) into `out`.
int write_bmp(const char *fn, const Image *img, std::vector<std::uint8_t> &out);
int write_pgm(const char *fn, const Image *img, std::vector<std::uint8_t> &out);
int write_png(const char *fn, const Image *img, std::vector<std::uint8_t> &out);

// Grey value of a colour: integer luma with weights 77, 150 and 29 (out of
// 256) and rounding. A grey colour (r == g == b) maps to itself.
constexpr std::uint8_t luma(unsigned r, unsigned g, unsigned b) {
  return static_cast<std::uint8_t>((77 * r + 150 * g + 29 * b + 128) >> 8);
}

// Checks a claimed size: both sides at least 1 and at most kMaxFilePixels
// pixels in all. Reports under `fn` naming the format.
int check_dimensions(const char *fn, const char *format, std::int64_t dx, std::int64_t dy);

}  // namespace pixsvc
