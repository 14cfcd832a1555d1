// Binary PGM ("P5"): 8-bit samples for maxval up to 255, 16-bit big-endian
// samples for maxval 256 to 65535.
//
// Header: "P5", width, height and maxval as decimal numbers separated by
// white space (space, tab, CR, LF, VT, FF), with comments from '#' to the end
// of the line allowed wherever white space is; exactly one white-space
// character follows maxval, then the samples. Samples are read as stored, not
// rescaled to maxval. Bytes after the last sample are ignored.
#include <cstdio>
#include <cstring>

#include "formats.hpp"

namespace pixsvc {

namespace {

bool is_space(std::uint8_t c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

// Reads header fields from the file's bytes.
class HeaderParser {
 public:
  explicit HeaderParser(Bytes file) : file_(file) {}

  // Skips white space and comments, then reads an unsigned decimal number no
  // larger than `limit`. False when there is none, or it is too large.
  bool number(std::int64_t limit, std::int64_t &value) {
    skip_space_and_comments();
    if (pos_ >= file_.size() || file_[pos_] < '0' || file_[pos_] > '9') return false;
    value = 0;
    while (pos_ < file_.size() && file_[pos_] >= '0' && file_[pos_] <= '9') {
      value = value * 10 + (file_[pos_++] - '0');
      if (value > limit) return false;
    }
    return true;
  }

  // The single white-space character that ends the header.
  bool end_of_header() {
    if (pos_ >= file_.size() || !is_space(file_[pos_])) return false;
    ++pos_;
    return true;
  }

  std::size_t position() const { return pos_; }

 private:
  void skip_space_and_comments() {
    while (pos_ < file_.size()) {
      if (is_space(file_[pos_])) {
        ++pos_;
      } else if (file_[pos_] == '#') {
        while (pos_ < file_.size() && file_[pos_] != '\n' && file_[pos_] != '\r')
          ++pos_;
      } else {
        break;
      }
    }
  }

  Bytes file_;
  std::size_t pos_ = 2;  // after the magic number
};

}  // namespace

int read_pgm(const char *fn, Bytes file, Raster &out, bool header_only) {
  if (file.size() < 2 || file[0] != 'P' || file[1] != '5')
    return im_error(fn, IM_ERR_FILE_FORMAT, "Not a binary PGM file (no \"P5\" signature)");
  HeaderParser p(file);
  std::int64_t dx = 0, dy = 0, maxval = 0;
  // The limit only stops the parse before overflow; check_dimensions applies
  // the real bound.
  constexpr std::int64_t kFieldLimit = 0x7fffffff;
  if (!p.number(kFieldLimit, dx) || !p.number(kFieldLimit, dy))
    return im_error(fn, IM_ERR_FILE_FORMAT, "PGM header: bad or missing width or height");
  if (!p.number(65535, maxval) || maxval < 1)
    return im_error(fn, IM_ERR_FILE_FORMAT, "PGM header: maxval missing or outside 1..65535");
  if (!p.end_of_header())
    return im_error(fn, IM_ERR_FILE_FORMAT, "PGM header: no white space after maxval");
  if (int e = check_dimensions(fn, "PGM", dx, dy)) return e;

  const int sample_bytes = maxval > 255 ? 2 : 1;
  const std::uint64_t need = static_cast<std::uint64_t>(dx) * dy * sample_bytes;
  const std::uint64_t have = file.size() - p.position();
  if (have < need)
    return im_error(fn, IM_ERR_FILE_FORMAT, "PGM file truncated: %llu bytes of pixels, %llu needed",
                    static_cast<unsigned long long>(have), static_cast<unsigned long long>(need));
  out.head = {static_cast<int>(dx), static_cast<int>(dy), 8 * sample_bytes};
  if (header_only) return IM_OK;

  const std::uint8_t *src = file.data() + p.position();
  const std::size_t count = static_cast<std::size_t>(dx) * static_cast<std::size_t>(dy);
  if (sample_bytes == 1) {
    out.bytes.assign(src, src + count);
  } else {
    out.words.resize(count);
    for (std::size_t i = 0; i < count; ++i)
      out.words[i] = static_cast<std::uint16_t>(src[2 * i] << 8 | src[2 * i + 1]);
  }
  return IM_OK;
}

int write_pgm(const char *, const Image *img, std::vector<std::uint8_t> &out) {
  const bool wide = img->type == WORD;
  char header[64];
  int n =
      std::snprintf(header, sizeof header, "P5\n%d %d\n%d\n", img->dx, img->dy, wide ? 65535 : 255);
  const std::size_t row_bytes = static_cast<std::size_t>(img->dx) * (wide ? 2 : 1);
  out.resize(static_cast<std::size_t>(n) + row_bytes * static_cast<std::size_t>(img->dy));
  std::memcpy(out.data(), header, static_cast<std::size_t>(n));
  std::uint8_t *dst = out.data() + n;
  for (int y = 0; y < img->dy; ++y, dst += row_bytes) {
    const unsigned char *row = pixel_address(img, 0, y);
    if (!wide) {
      std::memcpy(dst, row, row_bytes);
      continue;
    }
    const auto *w = reinterpret_cast<const std::uint16_t *>(row);
    for (int x = 0; x < img->dx; ++x) {
      dst[2 * x] = static_cast<std::uint8_t>(w[x] >> 8);
      dst[2 * x + 1] = static_cast<std::uint8_t>(w[x] & 0xff);
    }
  }
  return IM_OK;
}

}  // namespace pixsvc
