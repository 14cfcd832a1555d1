// PNG through libpng.
//
// Read: every PNG colour type becomes one grey channel. Grey images of 1, 2
// and 4 bits are expanded to 8 bits (values 0..2^bits-1 scaled to 0..255),
// palette images are expanded and colour images converted to grey with the
// same weights as luma() (libpng's fixed-point conversion, so results may
// differ from luma() by one), and alpha is dropped. 16-bit files stay 16-bit.
// Interlaced files are read. Write: 8-bit (BYTE) or 16-bit (WORD) grey.
//
// libpng reports errors by longjmp. Each libpng call sequence runs inside a
// small function that holds the setjmp and touches no C++ object with a
// destructor; the png structures are owned by a guard in the caller, so
// every path (error or not) destroys them.
#include <png.h>

#include <bit>
#include <csetjmp>
#include <cstdio>
#include <cstring>

#include "formats.hpp"

namespace pixsvc {

namespace {

// The largest expansion of deflate: 258 bytes from 2 bits. A file cannot
// decompress to more than this many times its own size.
constexpr std::uint64_t kMaxDeflateRatio = 1032;

// What the libpng callbacks share with the code that set them up.
struct Context {
  const std::uint8_t *data = nullptr;  // reading: the file
  std::size_t size = 0;
  std::size_t pos = 0;
  std::vector<std::uint8_t> *sink = nullptr;  // writing: the output
  char message[200] = "";                     // libpng's error text
};

[[noreturn]] void on_error(png_structp png, png_const_charp msg) {
  auto *ctx = static_cast<Context *>(png_get_error_ptr(png));
  std::snprintf(ctx->message, sizeof ctx->message, "%s", msg ? msg : "libpng error");
  png_longjmp(png, 1);
}

void on_warning(png_structp, png_const_charp) {
  // Warnings (a damaged ancillary chunk, for example) do not stop the read.
}

void on_read(png_structp png, png_bytep out, png_size_t n) {
  auto *ctx = static_cast<Context *>(png_get_io_ptr(png));
  if (n > ctx->size - ctx->pos) png_error(png, "file truncated");
  std::memcpy(out, ctx->data + ctx->pos, n);
  ctx->pos += n;
}

void on_write(png_structp png, png_bytep in, png_size_t n) {
  auto *ctx = static_cast<Context *>(png_get_io_ptr(png));
  // Appending may throw std::bad_alloc, which must not unwind through
  // libpng: it becomes a libpng error, raised outside the handler.
  bool failed = false;
  try {
    ctx->sink->insert(ctx->sink->end(), in, in + n);
  } catch (...) {
    failed = true;
  }
  if (failed) png_error(png, "out of memory");
}

void on_flush(png_structp) {}

// Owns the read structures.
struct ReadGuard {
  png_structp png = nullptr;
  png_infop info = nullptr;
  ~ReadGuard() { png_destroy_read_struct(&png, info ? &info : nullptr, nullptr); }
};

struct WriteGuard {
  png_structp png = nullptr;
  png_infop info = nullptr;
  ~WriteGuard() { png_destroy_write_struct(&png, info ? &info : nullptr); }
};

struct Ihdr {
  png_uint_32 width = 0, height = 0;
  int bit_depth = 0, colour_type = 0, interlace = 0, channels = 0;
};

// Reads the header and sets up the conversion to one grey channel. Returns
// false after a libpng error (its text is in the context).
bool read_header(png_structp png, png_infop info, Ihdr &h) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_read_info(png, info);
  png_get_IHDR(png, info, &h.width, &h.height, &h.bit_depth, &h.colour_type, &h.interlace, nullptr,
               nullptr);
  h.channels = png_get_channels(png, info);
  if (h.colour_type == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(png);
  if (h.colour_type == PNG_COLOR_TYPE_GRAY && h.bit_depth < 8) png_set_expand_gray_1_2_4_to_8(png);
  // Alpha, stored or made from a transparency chunk by the expansion above,
  // is dropped.
  png_set_strip_alpha(png);
  if (h.colour_type & PNG_COLOR_MASK_COLOR) {
    // Weights 77/256 and 150/256 in units of 1/100000, as luma() uses.
    png_set_rgb_to_gray_fixed(png, 1, 30078, 58594);
  }
  if (h.bit_depth == 16 && std::endian::native == std::endian::little) png_set_swap(png);
  if (h.interlace != PNG_INTERLACE_NONE) png_set_interlace_handling(png);
  png_read_update_info(png, info);
  return true;
}

// Decodes every row into `rows` and checks the rest of the file.
bool read_pixels(png_structp png, png_infop info, png_bytepp rows) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_read_image(png, rows);
  png_read_end(png, info);
  return true;
}

bool write_all(png_structp png, png_infop info, const Image *img) {
  if (setjmp(png_jmpbuf(png))) return false;
  const int bits = img->type == WORD ? 16 : 8;
  png_set_IHDR(png, info, static_cast<png_uint_32>(img->dx), static_cast<png_uint_32>(img->dy),
               bits, PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  if (bits == 16 && std::endian::native == std::endian::little) png_set_swap(png);
  // libpng does not change the rows it writes; the cast only drops const.
  for (int y = 0; y < img->dy; ++y)
    png_write_row(png, const_cast<png_bytep>(pixel_address(img, 0, y)));
  png_write_end(png, info);
  return true;
}

}  // namespace

int read_png(const char *fn, Bytes file, Raster &out, bool header_only) {
  if (file.size() < 8 || png_sig_cmp(file.data(), 0, 8) != 0)
    return im_error(fn, IM_ERR_FILE_FORMAT, "Not a PNG file (bad signature)");
  Context ctx;
  ctx.data = file.data();
  ctx.size = file.size();
  ReadGuard g;
  g.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &ctx, on_error, on_warning);
  if (g.png) g.info = png_create_info_struct(g.png);
  if (!g.png || !g.info) return im_error(fn, IM_ERR_NO_MEMORY, "Out of memory");
  png_set_read_fn(g.png, &ctx, on_read);

  Ihdr h;
  if (!read_header(g.png, g.info, h))
    return im_error(fn, IM_ERR_FILE_FORMAT, "PNG: %s", ctx.message);
  if (int e = check_dimensions(fn, "PNG", h.width, h.height)) return e;
  // The compressed rows (one filter byte each) must fit in what the file
  // could hold, before any pixel memory is allocated.
  const std::uint64_t raw_row =
      (static_cast<std::uint64_t>(h.width) * h.channels * h.bit_depth + 7) / 8;
  const std::uint64_t raw = (raw_row + 1) * h.height;
  if (raw / kMaxDeflateRatio > file.size())
    return im_error(fn, IM_ERR_FILE_FORMAT,
                    "PNG file truncated: %u x %u pixels cannot fit in %zu bytes", h.width, h.height,
                    file.size());
  const int bits = h.bit_depth == 16 ? 16 : 8;
  out.head = {static_cast<int>(h.width), static_cast<int>(h.height), bits};
  if (header_only) return IM_OK;

  if (png_get_rowbytes(g.png, g.info) != static_cast<std::size_t>(h.width) * (bits / 8))
    return im_error(fn, IM_ERR_FILE_FORMAT, "PNG: unexpected row layout after conversion");
  const std::size_t count = static_cast<std::size_t>(h.width) * h.height;
  std::vector<png_bytep> rows(h.height);
  if (bits == 8) {
    out.bytes.resize(count);
    for (png_uint_32 y = 0; y < h.height; ++y)
      rows[y] = out.bytes.data() + static_cast<std::size_t>(y) * h.width;
  } else {
    out.words.resize(count);
    for (png_uint_32 y = 0; y < h.height; ++y)
      rows[y] =
          reinterpret_cast<png_bytep>(out.words.data() + static_cast<std::size_t>(y) * h.width);
  }
  if (!read_pixels(g.png, g.info, rows.data()))
    return im_error(fn, IM_ERR_FILE_FORMAT, "PNG: %s", ctx.message);
  return IM_OK;
}

int write_png(const char *fn, const Image *img, std::vector<std::uint8_t> &out) {
  Context ctx;
  ctx.sink = &out;
  WriteGuard g;
  g.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &ctx, on_error, on_warning);
  if (g.png) g.info = png_create_info_struct(g.png);
  if (!g.png || !g.info) return im_error(fn, IM_ERR_NO_MEMORY, "Out of memory");
  png_set_write_fn(g.png, &ctx, on_write, on_flush);
  if (!write_all(g.png, g.info, img))
    return im_error(fn, IM_ERR_FILE_WRITE, "PNG encoding failed: %s", ctx.message);
  return IM_OK;
}

}  // namespace pixsvc
