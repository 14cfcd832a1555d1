// Windows bitmap (BMP).
//
// Read: uncompressed 8-bit palette images and 24-bit colour images, with the
// 12-byte (core) or 40-byte-and-longer information header, stored bottom-up
// (positive height) or top-down (negative height). Palette entries and
// colour pixels become grey through luma(); a grey palette maps each index to
// its own grey value. Rows are padded to a multiple of 4 bytes.
// Write: 8-bit bottom-up with a 256-entry grey palette (BYTE images only).
#include <cstring>

#include "formats.hpp"

namespace pixsvc {

namespace {

constexpr std::size_t kFileHeaderSize = 14;
constexpr std::uint32_t kCoreHeaderSize = 12;
constexpr std::uint32_t kInfoHeaderSize = 40;

std::uint32_t u16le(const std::uint8_t *p) {
  return static_cast<std::uint32_t>(p[0] | p[1] << 8);
}
std::uint32_t u32le(const std::uint8_t *p) {
  return static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 |
         static_cast<std::uint32_t>(p[2]) << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}
std::int32_t s32le(const std::uint8_t *p) {
  return static_cast<std::int32_t>(u32le(p));
}

void put16(std::uint8_t *p, std::uint32_t v) {
  p[0] = static_cast<std::uint8_t>(v);
  p[1] = static_cast<std::uint8_t>(v >> 8);
}
void put32(std::uint8_t *p, std::uint32_t v) {
  put16(p, v);
  put16(p + 2, v >> 16);
}

// Bytes in one stored row of `width` pixels of `bits` each, padded to 4.
std::uint64_t stored_row_bytes(std::int64_t width, int bits) {
  return (static_cast<std::uint64_t>(width) * bits + 31) / 32 * 4;
}

// The parsed headers.
struct BmpLayout {
  std::int64_t width = 0;
  std::int64_t height = 0;  // always positive here
  bool top_down = false;
  int bits = 0;                    // 8 or 24
  std::uint64_t pixel_offset = 0;  // start of the pixel rows in the file
  std::uint64_t row_bytes = 0;
  std::uint8_t grey[256] = {};  // palette as grey values (8-bit files)
  unsigned palette_size = 0;
};

int parse_layout(const char *fn, Bytes file, BmpLayout &L) {
  if (file.size() < kFileHeaderSize + 4 || file[0] != 'B' || file[1] != 'M')
    return im_error(fn, IM_ERR_FILE_FORMAT, "Not a BMP file (no \"BM\" signature)");
  const std::uint8_t *p = file.data();
  L.pixel_offset = u32le(p + 10);
  const std::uint32_t info_size = u32le(p + kFileHeaderSize);
  const bool core = info_size == kCoreHeaderSize;
  if (!core && info_size < kInfoHeaderSize)
    return im_error(fn, IM_ERR_FILE_FORMAT, "BMP: unknown information header of %u bytes",
                    info_size);
  if (file.size() - kFileHeaderSize < info_size)
    return im_error(fn, IM_ERR_FILE_FORMAT, "BMP file truncated in its header");

  const std::uint8_t *h = p + kFileHeaderSize;
  std::uint32_t planes, compression = 0, colours_used = 0;
  if (core) {
    L.width = u16le(h + 4);
    L.height = u16le(h + 6);
    planes = u16le(h + 8);
    L.bits = static_cast<int>(u16le(h + 10));
  } else {
    L.width = s32le(h + 4);
    L.height = s32le(h + 8);  // negative: rows stored top-down
    planes = u16le(h + 12);
    L.bits = static_cast<int>(u16le(h + 14));
    compression = u32le(h + 16);
    colours_used = u32le(h + 32);
  }
  if (L.height < 0) {
    L.top_down = true;
    L.height = -L.height;  // 64-bit, so INT32_MIN is safe
  }
  if (planes != 1)
    return im_error(fn, IM_ERR_FILE_FORMAT, "BMP: %u colour planes (1 expected)", planes);
  if (L.bits != 8 && L.bits != 24)
    return im_error(fn, IM_ERR_FILE_FORMAT, "BMP: %d bits per pixel not supported (8 or 24)",
                    L.bits);
  if (compression != 0)
    return im_error(fn, IM_ERR_FILE_FORMAT, "BMP: compression %u not supported", compression);
  if (int e = check_dimensions(fn, "BMP", L.width, L.height)) return e;

  L.row_bytes = stored_row_bytes(L.width, L.bits);
  const std::uint64_t need = L.row_bytes * static_cast<std::uint64_t>(L.height);
  if (L.pixel_offset < kFileHeaderSize + info_size || L.pixel_offset > file.size() ||
      file.size() - L.pixel_offset < need)
    return im_error(fn, IM_ERR_FILE_FORMAT,
                    "BMP file truncated or pixel offset %llu wrong: %llu bytes of pixels needed",
                    static_cast<unsigned long long>(L.pixel_offset),
                    static_cast<unsigned long long>(need));

  if (L.bits == 8) {
    // The palette follows the information header: 4 bytes an entry (3 in
    // the core form), blue, green, red. 0 colours used means all 256.
    if (colours_used > 256)
      return im_error(fn, IM_ERR_FILE_FORMAT, "BMP: palette of %u entries (at most 256)",
                      colours_used);
    L.palette_size = colours_used ? colours_used : 256;
    const unsigned entry = core ? 3 : 4;
    const std::uint64_t start = kFileHeaderSize + info_size;
    if (start + static_cast<std::uint64_t>(L.palette_size) * entry > L.pixel_offset)
      return im_error(fn, IM_ERR_FILE_FORMAT, "BMP: palette of %u entries overlaps the pixels",
                      L.palette_size);
    for (unsigned i = 0; i < L.palette_size; ++i) {
      const std::uint8_t *c = p + start + i * entry;
      L.grey[i] = luma(c[2], c[1], c[0]);
    }
  }
  return IM_OK;
}

}  // namespace

int read_bmp(const char *fn, Bytes file, Raster &out, bool header_only) {
  BmpLayout L;
  if (int e = parse_layout(fn, file, L)) return e;
  out.head = {static_cast<int>(L.width), static_cast<int>(L.height), 8};
  if (header_only) return IM_OK;

  const std::size_t w = static_cast<std::size_t>(L.width);
  out.bytes.resize(w * static_cast<std::size_t>(L.height));
  for (std::int64_t r = 0; r < L.height; ++r) {
    // Stored row r is image row r when top-down, else counted from the bottom.
    const std::int64_t y = L.top_down ? r : L.height - 1 - r;
    const std::uint8_t *src = file.data() + L.pixel_offset + r * L.row_bytes;
    std::uint8_t *dst = out.bytes.data() + static_cast<std::size_t>(y) * w;
    if (L.bits == 24) {
      for (std::size_t x = 0; x < w; ++x, src += 3)
        dst[x] = luma(src[2], src[1], src[0]);
      continue;
    }
    for (std::size_t x = 0; x < w; ++x) {
      if (src[x] >= L.palette_size)
        return im_error(fn, IM_ERR_FILE_FORMAT,
                        "BMP: pixel (%zu, %lld) uses colour %u beyond the palette of %u", x,
                        static_cast<long long>(y), src[x], L.palette_size);
      dst[x] = L.grey[src[x]];
    }
  }
  return IM_OK;
}

int write_bmp(const char *, const Image *img, std::vector<std::uint8_t> &out) {
  constexpr std::uint32_t kPaletteBytes = 256 * 4;
  constexpr std::uint32_t kOffset = kFileHeaderSize + kInfoHeaderSize + kPaletteBytes;
  const std::uint64_t row_bytes = stored_row_bytes(img->dx, 8);
  const std::uint64_t image_bytes = row_bytes * static_cast<std::uint64_t>(img->dy);
  const std::uint64_t file_bytes = kOffset + image_bytes;
  out.assign(static_cast<std::size_t>(file_bytes), 0);  // padding bytes stay 0

  std::uint8_t *p = out.data();
  p[0] = 'B';
  p[1] = 'M';
  // Sizes above 4 GiB do not fit the header's fields; readers use the
  // dimensions, so the low bits are stored.
  put32(p + 2, static_cast<std::uint32_t>(file_bytes));
  put32(p + 10, kOffset);
  std::uint8_t *h = p + kFileHeaderSize;
  put32(h, kInfoHeaderSize);
  put32(h + 4, static_cast<std::uint32_t>(img->dx));
  put32(h + 8, static_cast<std::uint32_t>(img->dy));
  put16(h + 12, 1);  // planes
  put16(h + 14, 8);  // bits per pixel
  put32(h + 20, static_cast<std::uint32_t>(image_bytes));
  put32(h + 24, 2835);  // 72 dots per inch, in dots per metre
  put32(h + 28, 2835);
  put32(h + 32, 256);  // colours used
  std::uint8_t *palette = h + kInfoHeaderSize;
  for (unsigned i = 0; i < 256; ++i) {
    palette[4 * i] = palette[4 * i + 1] = palette[4 * i + 2] = static_cast<std::uint8_t>(i);
  }
  for (int y = 0; y < img->dy; ++y) {
    std::uint8_t *dst = p + kOffset + static_cast<std::uint64_t>(img->dy - 1 - y) * row_bytes;
    std::memcpy(dst, pixel_address(img, 0, y), static_cast<std::size_t>(img->dx));
  }
  return IM_OK;
}

}  // namespace pixsvc
