#include "test_images.hpp"

#include <random>

namespace kt {

double get(const Image *img, int x, int y) {
  const unsigned char *p =
      static_cast<const unsigned char *>(img->data) + ((img->dx + img->skip) * y + x) * img->type;
  switch (img->type) {
    case BYTE:
      return *p;
    case WORD:
      return *reinterpret_cast<const std::uint16_t *>(p);
    default:
      return *reinterpret_cast<const float *>(p);
  }
}

void set(Image *img, int x, int y, double v) {
  unsigned char *p =
      static_cast<unsigned char *>(img->data) + ((img->dx + img->skip) * y + x) * img->type;
  switch (img->type) {
    case BYTE:
      *p = static_cast<std::uint8_t>(v);
      break;
    case WORD:
      *reinterpret_cast<std::uint16_t *>(p) = static_cast<std::uint16_t>(v);
      break;
    default:
      *reinterpret_cast<float *>(p) = static_cast<float>(v);
  }
}

static void fill(Image *img, const std::vector<double> &values) {
  std::size_t i = 0;
  for (int y = 0; y < img->dy; ++y)
    for (int x = 0; x < img->dx && i < values.size(); ++x)
      set(img, x, y, values[i++]);
}

TestImage image(unsigned type, int dx, int dy, const std::vector<double> &values) {
  Image *m = im_create(type, dx, dy);
  if (!m) ADD_FAILURE() << "im_create failed";
  TestImage t(m, nullptr);
  if (m) fill(m, values);
  return t;
}

TestImage view(unsigned type, int dx, int dy, const std::vector<double> &values) {
  Image *m = im_create(type, dx + 7, dy + 5);
  if (!m) {
    ADD_FAILURE() << "im_create failed";
    return {};
  }
  for (int y = 0; y < m->dy; ++y)
    for (int x = 0; x < m->dx; ++x)
      set(m, x, y, kSentinel);
  Image *v = im_rroi(m, 3, 2, dx, dy);
  if (!v) ADD_FAILURE() << "im_rroi failed";
  TestImage t(m, v);
  if (v) {
    for (int y = 0; y < dy; ++y)
      for (int x = 0; x < dx; ++x)
        set(v, x, y, 0);
    fill(v, values);
  }
  return t;
}

TestImage random_image(unsigned type, int dx, int dy, std::uint32_t seed, bool as_view) {
  std::mt19937 gen(seed);
  std::vector<double> values(static_cast<std::size_t>(dx) * dy);
  for (double &v : values) {
    if (type == BYTE)
      v = gen() % 256;
    else if (type == WORD)
      v = gen() % 65536;
    else
      v = std::uniform_real_distribution<float>(-1000.f, 1000.f)(gen);
  }
  return as_view ? view(type, dx, dy, values) : image(type, dx, dy, values);
}

std::vector<double> pixels(const Image *img) {
  std::vector<double> out;
  for (int y = 0; y < img->dy; ++y)
    for (int x = 0; x < img->dx; ++x)
      out.push_back(get(img, x, y));
  return out;
}

bool margin_intact(const TestImage &t) {
  if (!t.is_view()) return true;
  const Image *m = t.master();
  const Image *v = t.get();
  for (int y = 0; y < m->dy; ++y)
    for (int x = 0; x < m->dx; ++x) {
      bool inside = x >= v->x0 && x < v->x0 + v->dx && y >= v->y0 && y < v->y0 + v->dy;
      if (!inside && get(m, x, y) != kSentinel) return false;
    }
  return true;
}

}  // namespace kt
