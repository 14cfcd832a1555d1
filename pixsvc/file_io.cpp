// Image files: the format chosen by the name's extension, the whole file
// read into memory and parsed there, and the decoded grey pixels stored into
// the destination image row by row through its pitch.
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "formats.hpp"

namespace pixsvc {

int check_dimensions(const char *fn, const char *format, std::int64_t dx, std::int64_t dy) {
  if (dx < 1 || dy < 1 || dx > kMaxFilePixels || dy > kMaxFilePixels || dx * dy > kMaxFilePixels)
    return im_error(fn, IM_ERR_FILE_FORMAT, "%s: bad image size %lld x %lld", format,
                    static_cast<long long>(dx), static_cast<long long>(dy));
  return IM_OK;
}

}  // namespace pixsvc

using namespace pixsvc;

namespace {

struct Codec {
  const char *extension;  // lower case, without the dot
  int (*read)(const char *, Bytes, Raster &, bool);
  int (*write)(const char *, const Image *, std::vector<std::uint8_t> &);
  bool writes_word;  // whether WORD images can be written
};

constexpr Codec kCodecs[] = {
    {"bmp", read_bmp, write_bmp, false},
    {"pgm", read_pgm, write_pgm, true},
    {"png", read_png, write_png, true},
};

// No supported file is larger than this: 2^31 pixels of 24-bit colour with
// row padding, plus headers. Anything larger is refused before it is read.
constexpr std::uint64_t kMaxFileBytes = 8ull << 30;

// The codec for the extension of `name` (after its last dot, which must come
// after its last slash), compared without regard to case.
const Codec *codec_for(const char *fn, const char *name) {
  const char *slash = std::strrchr(name, '/');
  const char *dot = std::strrchr(name, '.');
  if (dot && (!slash || dot > slash)) {
    char ext[8] = "";
    std::size_t n = std::strlen(dot + 1);
    if (n < sizeof ext) {
      for (std::size_t i = 0; i < n; ++i) {
        char c = dot[1 + i];
        ext[i] = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
      }
      for (const Codec &c : kCodecs)
        if (std::strcmp(ext, c.extension) == 0) return &c;
    }
  }
  im_error(fn, IM_ERR_FILE_FORMAT, "Unknown file extension in \"%s\" (bmp, pgm or png)", name);
  return nullptr;
}

struct FileCloser {
  void operator()(std::FILE *f) const { std::fclose(f); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

int load_bytes(const char *fn, const char *name, std::vector<std::uint8_t> &out) {
  // Only regular files: opening a FIFO with no writer would block, and a
  // device could stream without end.
  struct stat st;
  if (::stat(name, &st) != 0)
    return im_error(fn, IM_ERR_FILE_OPEN, "Cannot open \"%s\": %s", name, std::strerror(errno));
  if (!S_ISREG(st.st_mode))
    return im_error(fn, IM_ERR_FILE_OPEN, "Cannot open \"%s\": not a regular file", name);
  FilePtr f(std::fopen(name, "rb"));
  if (!f)
    return im_error(fn, IM_ERR_FILE_OPEN, "Cannot open \"%s\": %s", name, std::strerror(errno));
  // Read in blocks rather than trusting a size from seeking (the file may
  // change while it is read).
  constexpr std::size_t kBlock = 1 << 16;
  out.clear();
  for (;;) {
    std::size_t at = out.size();
    if (at > kMaxFileBytes)
      return im_error(fn, IM_ERR_FILE_FORMAT, "\"%s\" is too large for an image file", name);
    out.resize(at + kBlock);
    std::size_t got = std::fread(out.data() + at, 1, kBlock, f.get());
    out.resize(at + got);
    if (got < kBlock) break;
  }
  if (std::ferror(f.get()))
    return im_error(fn, IM_ERR_FILE_OPEN, "Cannot read \"%s\": %s", name, std::strerror(errno));
  return IM_OK;
}

int save_bytes(const char *fn, const char *name, const std::vector<std::uint8_t> &bytes) {
  FilePtr f(std::fopen(name, "wb"));
  if (!f)
    return im_error(fn, IM_ERR_FILE_OPEN, "Cannot create \"%s\": %s", name, std::strerror(errno));
  bool ok = std::fwrite(bytes.data(), 1, bytes.size(), f.get()) == bytes.size();
  // Buffered data reaches the file at close; a full disk shows up there.
  ok = std::fclose(f.release()) == 0 && ok;
  if (!ok)
    return im_error(fn, IM_ERR_FILE_WRITE, "Writing \"%s\" failed: %s", name, std::strerror(errno));
  return IM_OK;
}

// A file held in memory with the codec its name selects.
struct LoadedFile {
  const Codec *codec = nullptr;
  std::vector<std::uint8_t> bytes;

  int parse(const char *fn, Raster &out, bool header_only) const {
    return codec->read(fn, Bytes(bytes.data(), bytes.size()), out, header_only);
  }
};

int load(const char *fn, const char *name, LoadedFile &file) {
  file.codec = codec_for(fn, name);
  if (!file.codec) return IM_ERR_FILE_FORMAT;
  return load_bytes(fn, name, file.bytes);
}

template <class S, class D>
void store_rows(const S *src, Image *dst) {
  for (int y = 0; y < dst->dy; ++y) {
    D *row = reinterpret_cast<D *>(pixel_address(dst, 0, y));
    for (int x = 0; x < dst->dx; ++x)
      row[x] = static_cast<D>(*src++);
  }
}

// Stores decoded pixels into `dst`, whose size equals the file's and whose
// type fits its depth (checked by the caller).
template <class S>
void store(const S *src, Image *dst) {
  if (dst->type == FLOAT)
    store_rows<S, float>(src, dst);
  else if (sizeof(S) == 1)
    store_rows<S, std::uint8_t>(src, dst);
  else
    store_rows<S, std::uint16_t>(src, dst);
}

// Checks that `img` can receive a file of this header.
int check_destination(const char *fn, const FileHeader &h, const Image *img) {
  if (img->dx != h.dx || img->dy != h.dy)
    return im_error(fn, IM_ERR_SIZE, "Image is %d x %d but the file holds %d x %d", img->dx,
                    img->dy, h.dx, h.dy);
  const unsigned fits = h.bits == 8 ? BYTE : WORD;
  if (img->type != fits && img->type != FLOAT)
    return im_error(fn, IM_ERR_TYPE_MISMATCH,
                    "A %d-bit file reads into a %s or FLOAT image, not pixel type %u", h.bits,
                    h.bits == 8 ? "BYTE" : "WORD", img->type);
  return IM_OK;
}

// Decodes the pixels of `file` into `img` (checked by check_destination).
int decode_into(const char *fn, const LoadedFile &file, Image *img) {
  Raster r;
  if (int e = file.parse(fn, r, false)) return e;
  if (r.head.bits == 8)
    store(r.bytes.data(), img);
  else
    store(r.words.data(), img);
  return IM_OK;
}

// Runs body() and turns an allocation failure into code 4 reported under
// `fn`; no exception leaves the library.
template <class Body>
int guarded(const char *fn, Body &&body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc &) {
    return im_error(fn, IM_ERR_NO_MEMORY, "Out of memory");
  } catch (...) {
    return im_error(fn, IM_ERR_NO_MEMORY, "Internal failure");
  }
}

struct ImageDeleter {
  void operator()(Image *img) const { im_delete(img); }
};

}  // namespace

extern "C" {

int im_file_get_size(const char *name, int, int *dx, int *dy, int *bits, int *reserved) {
  const char *fn = "im_file_get_size";
  if (dx) *dx = 0;
  if (dy) *dy = 0;
  if (bits) *bits = 0;
  if (reserved) *reserved = 0;
  return guarded(fn, [&]() -> int {
    if (!name) return im_error(fn, IM_ERR_ARGUMENT, "File name is NULL");
    if (!dx || !dy) return im_error(fn, IM_ERR_ARGUMENT, "Width or height address is NULL");
    LoadedFile file;
    Raster r;
    if (int e = load(fn, name, file)) return e;
    if (int e = file.parse(fn, r, true)) return e;
    *dx = r.head.dx;
    *dy = r.head.dy;
    if (bits) *bits = r.head.bits;
    return IM_OK;
  });
}

int im_file_read(const char *name, Image *img, int) {
  const char *fn = "im_file_read";
  return guarded(fn, [&]() -> int {
    if (!name) return im_error(fn, IM_ERR_ARGUMENT, "File name is NULL");
    if (!img) return im_error(fn, IM_ERR_NULL_IMAGE, "Image is NULL");
    if (!valid_type(img->type))
      return im_error(fn, IM_ERR_TYPE, "Pixel type %u not supported", img->type);
    LoadedFile file;
    Raster head;
    if (int e = load(fn, name, file)) return e;
    if (int e = file.parse(fn, head, true)) return e;
    if (int e = check_destination(fn, head.head, img)) return e;
    return decode_into(fn, file, img);
  });
}

Image *im_file_load(const char *name, int *status) {
  const char *fn = "im_file_load";
  Image *result = nullptr;
  int code = guarded(fn, [&]() -> int {
    if (!name) return im_error(fn, IM_ERR_ARGUMENT, "File name is NULL");
    LoadedFile file;
    Raster head;
    if (int e = load(fn, name, file)) return e;
    if (int e = file.parse(fn, head, true)) return e;
    std::unique_ptr<Image, ImageDeleter> img(
        im_create(head.head.bits == 8 ? BYTE : WORD, head.head.dx, head.head.dy));
    if (!img) return im_error(fn, IM_ERR_NO_MEMORY, "Out of memory");
    if (int e = decode_into(fn, file, img.get())) return e;
    result = img.release();
    return IM_OK;
  });
  if (status) *status = code;
  return result;
}

int im_file_write(const char *name, const Image *img, int) {
  const char *fn = "im_file_write";
  return guarded(fn, [&]() -> int {
    if (!name) return im_error(fn, IM_ERR_ARGUMENT, "File name is NULL");
    if (!img) return im_error(fn, IM_ERR_NULL_IMAGE, "Image is NULL");
    if (img->type != BYTE && img->type != WORD)
      return im_error(fn, IM_ERR_TYPE, "Pixel type %u cannot be written (BYTE or WORD)", img->type);
    const Codec *codec = codec_for(fn, name);
    if (!codec) return IM_ERR_FILE_FORMAT;
    if (img->type == WORD && !codec->writes_word)
      return im_error(fn, IM_ERR_TYPE, "WORD images cannot be written as %s (BYTE only)",
                      codec->extension);
    if (img->dx < 1 || img->dy < 1)
      return im_error(fn, IM_ERR_SIZE, "Image of %d x %d pixels cannot be written", img->dx,
                      img->dy);
    std::vector<std::uint8_t> bytes;
    if (int e = codec->write(fn, img, bytes)) return e;
    return save_bytes(fn, name, bytes);
  });
}

}  // extern "C"
