// Unchecked single-pixel and run access. Each function is one address
// computation and one access (or one block move); nothing calls into the
// image services.
#include <cstdint>
#include <cstring>

#include "frame/pixels.hpp"
#include "kelkit/pixel.h"

namespace {

// Address of pixel (x, y) for pixels of type T.
template <class T> inline T *at(const Image *img, int x, int y) {
  return kel::pixel<T>(img, x, y);
}

// Copies n pixels of type T between a row and a buffer.
template <class T> inline void copy_run(T *dst, const T *src, int n) {
  if (n > 0)
    std::memcpy(dst, src, static_cast<std::size_t>(n) * sizeof(T));
}

} // namespace

extern "C" {

KELKIT_API unsigned char kel_get_bpixel(const Image *img, int x, int y) {
  return *at<const std::uint8_t>(img, x, y);
}

KELKIT_API unsigned short kel_get_wpixel(const Image *img, int x, int y) {
  return *at<const std::uint16_t>(img, x, y);
}

KELKIT_API float kel_get_fpixel(const Image *img, int x, int y) {
  return *at<const float>(img, x, y);
}

KELKIT_API void kel_put_bpixel(Image *img, int x, int y, unsigned char value) {
  *at<std::uint8_t>(img, x, y) = value;
}

KELKIT_API void kel_put_wpixel(Image *img, int x, int y, unsigned short value) {
  *at<std::uint16_t>(img, x, y) = value;
}

KELKIT_API void kel_put_fpixel(Image *img, int x, int y, float value) {
  *at<float>(img, x, y) = value;
}

KELKIT_API void *kel_line_ptr(const Image *img, int x, int y) {
  // Any code other than BYTE and WORD addresses 4-byte pixels.
  int size = img->type == BYTE ? 1 : img->type == WORD ? 2 : 4;
  int offset = kel::pitch(img) * y + x;
  return static_cast<char *>(img->data) +
         static_cast<std::ptrdiff_t>(offset) * size;
}

KELKIT_API void kel_get_barray(const Image *img, int x, int y, int n,
                               unsigned char *buf) {
  copy_run(buf, at<const std::uint8_t>(img, x, y), n);
}

KELKIT_API void kel_put_barray(Image *img, int x, int y, int n,
                               const unsigned char *buf) {
  copy_run(at<std::uint8_t>(img, x, y), buf, n);
}

KELKIT_API void kel_get_fbarray(const Image *img, int x, int y, int n,
                                float *buf) {
  const std::uint8_t *p = at<const std::uint8_t>(img, x, y);
  for (int i = 0; i < n; ++i)
    buf[i] = kel::byte_to_float[p[i]];
}

KELKIT_API void kel_get_warray(const Image *img, int x, int y, int n,
                               unsigned short *buf) {
  copy_run(buf, at<const std::uint16_t>(img, x, y), n);
}

KELKIT_API void kel_put_warray(Image *img, int x, int y, int n,
                               const unsigned short *buf) {
  copy_run(at<std::uint16_t>(img, x, y), buf, n);
}

KELKIT_API void kel_get_fwarray(const Image *img, int x, int y, int n,
                                float *buf) {
  const std::uint16_t *p = at<const std::uint16_t>(img, x, y);
  for (int i = 0; i < n; ++i)
    buf[i] = static_cast<float>(p[i]);
}

KELKIT_API void kel_get_farray(const Image *img, int x, int y, int n,
                               float *buf) {
  copy_run(buf, at<const float>(img, x, y), n);
}

KELKIT_API void kel_put_farray(Image *img, int x, int y, int n,
                               const float *buf) {
  copy_run(at<float>(img, x, y), buf, n);
}

} // extern "C"
