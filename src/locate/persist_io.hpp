// Pieces shared by the persisted forms of the correlation and vela search
// records: little-endian words of the memory images, their model pixel
// blocks, and the text parameter files with their companion model images.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include "frame/regular_file.hpp"

#include "frame/call.hpp"
#include "frame/image_guard.hpp"

namespace kel::locate {

// ---- memory images ----------------------------------------------------------

// 32-bit words and IEEE doubles (as two words, low first) at byte offset
// `off` of a block, little-endian whatever the host.
void put32(std::uint8_t *b, std::int64_t off, std::uint32_t v);
std::uint32_t get32(const std::uint8_t *b, std::int64_t off);
void put_double(std::uint8_t *b, std::int64_t off, double d);
double get_double(const std::uint8_t *b, std::int64_t off);

// A trained model that a memory image can hold: present and not empty.
inline bool has_valid_model(const Image *model) {
  return model && model->dx >= 1 && model->dy >= 1;
}

// Writes the rows of the BYTE image `m` to `dst`, row r at r * stride.
void put_rows(std::uint8_t *dst, const Image *m, std::int64_t stride);

// A new width by height BYTE image read from packed rows at `src`.
// Throws std::bad_alloc.
ImagePtr get_rows(const std::uint8_t *src, int width, int height);

// The body of a memory image's size query, reported under `name`: `*size`
// becomes `required(p)` for a record with a valid model. Checks the record,
// then `size`; a record without a model and a size beyond int are argument
// errors. `*size` is 0 on every failure.
template <class Params, class Required>
int mem_size_query(const char *name, const Params *p, int *size, Required &&required) {
  return guarded(name, [&](const char *fn) -> int {
    if (size) *size = 0;
    if (int e = need_pointer(fn, p, "Params is NULL")) return e;
    if (int e = need_pointer(fn, size, "Size pointer is NULL")) return e;
    if (!has_valid_model(p->model)) return fail(fn, KEL_ERR_ARGUMENT, "No trained model");
    const std::int64_t n = required(p);
    if (n > INT32_MAX) return fail(fn, KEL_ERR_ARGUMENT, "Model too large");
    *size = static_cast<int>(n);
    return KEL_OK;
  });
}

// ---- text parameter files ---------------------------------------------------

// The status of a parameter file that cannot be opened, written or read.
inline constexpr int kFileFailure = 9;

// What a memory image may describe: a header (pixel offset) of at most 1 MiB
// and a model of at most 32768 pixels a side and 2^26 pixels in all. A block
// describing more is refused before anything is read past its fixed fields.
inline constexpr std::int64_t kMaxBlockHeader = 1 << 20;
inline constexpr int kMaxModelSide = 32768;
inline constexpr std::int64_t kMaxModelPixels = std::int64_t{1} << 26;

inline bool model_size_ok(int width, int height) {
  return width >= 1 && height >= 1 && width <= kMaxModelSide && height <= kMaxModelSide &&
         std::int64_t{width} * height <= kMaxModelPixels;
}

// True when `size` (negative: unknown, the block is trusted) holds `end`
// bytes.
inline bool within(std::int64_t size, std::int64_t end) {
  return size < 0 || end <= size;
}

// The model image's default name: the path without everything from its last
// dot (anywhere in the path), plus ".bmp".
std::string companion_name(const char *path);

struct FileCloser {
  void operator()(std::FILE *f) const noexcept { std::fclose(f); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

// Writes a parameter file one value a line, replacing the file at `path`.
// A failed write is remembered; every later write is then skipped and
// close() reports it.
class TextWriter {
 public:
  explicit TextWriter(const char *path) : f_(std::fopen(path, "w")) {}
  bool is_open() const { return f_ != nullptr; }
  void put(int v) { ok_ = ok_ && std::fprintf(f_.get(), "%d\n", v) > 0; }
  void put(double v) { ok_ = ok_ && std::fprintf(f_.get(), "%f\n", v) > 0; }
  void put(const std::string &s) { ok_ = ok_ && std::fprintf(f_.get(), "%s\n", s.c_str()) > 0; }
  // Closes the file; true when every write and the close succeeded.
  bool close() { return ok_ = std::fclose(f_.release()) == 0 && ok_; }

 private:
  File f_;
  bool ok_ = true;
};

// Reads the parameter file at `path` one value a line. After the first
// value that does not parse nothing more is read and ok() stays false.
class TextReader {
 public:
  explicit TextReader(const char *path)
      : f_(kel::regular_file(path) ? std::fopen(path, "r") : nullptr) {}
  bool is_open() const { return f_ != nullptr; }
  void get(int &v) { ok_ = ok_ && std::fscanf(f_.get(), "%d\n", &v) == 1; }
  void get(double &v) { ok_ = ok_ && std::fscanf(f_.get(), "%lf\n", &v) == 1; }
  // A name line of up to 255 characters; the line end is dropped and the
  // name ends at a carriage return.
  void get_name(std::string &name);
  // An integer as the last item of the file: no line end is looked for.
  void get_last(int &v) { ok_ = ok_ && std::fscanf(f_.get(), "%d", &v) == 1; }
  bool ok() const { return ok_; }

 private:
  File f_;
  bool ok_ = true;
};

// Writes `model` as the companion image `name`; reports a failure under `fn`
// with the image services' code.
int write_model_image(const char *fn, const std::string &name, const Image *model);

// Replaces `*model` with the BYTE image read from `name`: the old model is
// deleted first, then the file is sized and read. Reports a failure under
// `fn` (code 9 when the file cannot be sized, the image services' code when
// it cannot be read). Throws std::bad_alloc.
int read_model_image(const char *fn, const std::string &name, Image **model);

}  // namespace kel::locate
