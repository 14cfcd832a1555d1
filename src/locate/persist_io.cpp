// Little-endian block access, model pixel blocks and the text file helpers
// of the search records' persisted forms.
#include "locate/persist_io.hpp"

#include <bit>
#include <cstring>
#include <new>

#include "frame/pixels.hpp"

namespace kel::locate {

namespace {

constexpr int kNameLength = 255;

}  // namespace

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

void put_double(std::uint8_t *b, std::int64_t off, double d) {
  std::uint64_t v = std::bit_cast<std::uint64_t>(d);
  put32(b, off, static_cast<std::uint32_t>(v));
  put32(b, off + 4, static_cast<std::uint32_t>(v >> 32));
}

double get_double(const std::uint8_t *b, std::int64_t off) {
  return std::bit_cast<double>(std::uint64_t{get32(b, off)} | std::uint64_t{get32(b, off + 4)}
                                                                  << 32);
}

void put_rows(std::uint8_t *dst, const Image *m, std::int64_t stride) {
  for (int r = 0; r < m->dy; ++r)
    std::memcpy(dst + r * stride, row<const std::uint8_t>(m, r), static_cast<std::size_t>(m->dx));
}

ImagePtr get_rows(const std::uint8_t *src, int width, int height) {
  ImagePtr model = make_image(BYTE, width, height);
  if (!model) throw std::bad_alloc();
  for (int r = 0; r < height; ++r)
    std::memcpy(row<std::uint8_t>(model.get(), r), src + std::int64_t{r} * width,
                static_cast<std::size_t>(width));
  return model;
}

std::string companion_name(const char *path) {
  std::string name(path);
  std::size_t dot = name.rfind('.');
  if (dot != std::string::npos) name.erase(dot);
  return name + ".bmp";
}

void TextReader::get_name(std::string &name) {
  char line[kNameLength + 1] = {};
  ok_ = ok_ && std::fgets(line, sizeof line, f_.get()) != nullptr;
  for (char &c : line)
    if (c == '\n' || c == '\r') c = '\0';
  name = line;
}

int write_model_image(const char *fn, const std::string &name, const Image *model) {
  if (int e = im_file_write(name.c_str(), model, 0))
    return fail(fn, e, "Cannot write the model image");
  return KEL_OK;
}

int read_model_image(const char *fn, const std::string &name, Image **model) {
  if (*model) im_delete(*model);
  *model = nullptr;
  int dx = 0, dy = 0;
  if (im_file_get_size(name.c_str(), 0, &dx, &dy, nullptr, nullptr) != 0)
    return fail(fn, kFileFailure, "Cannot size the model image");
  ImagePtr image = make_image(BYTE, dx, dy);
  if (!image) throw std::bad_alloc();
  *model = image.release();
  if (int e = im_file_read(name.c_str(), *model, 0))
    return fail(fn, e, "Cannot read the model image");
  return KEL_OK;
}

}  // namespace kel::locate
