// The dissimilarity kernels: sums of the differences and of their squares
// over the whole model or over its sampled runs. The vectorised paths (SSE2,
// part of the x86-64 baseline) reorder 32-bit modular additions, which is
// exact, so they give the sums of the plain loops bit for bit.
#include <algorithm>
#include <cstring>

#include "frame/pixels.hpp"
#include "locate/search/search_model.hpp"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace kel::locate {

Area8 area8_of(const Image *img) {
  return {row<const std::uint8_t>(img, 0), static_cast<std::ptrdiff_t>(pitch(img)), img->dx,
          img->dy};
}

Area8 shifted(const Area8 &a, int ox, int oy) {
  return {a.at(ox, oy), a.pitch, a.dx - ox, a.dy - oy};
}

DiffSums block_sums_ref(const std::uint8_t *scene, std::ptrdiff_t scene_pitch,
                        const std::uint8_t *model, std::ptrdiff_t model_pitch, int w, int h) {
  DiffSums s;
  for (int y = 0; y < h; ++y) {
    const std::uint8_t *a = scene + scene_pitch * y;
    const std::uint8_t *b = model + model_pitch * y;
    for (int x = 0; x < w; ++x) {
      std::uint32_t d = static_cast<std::uint32_t>(a[x]) - b[x];
      s.sum += d;
      s.squares += d * d;
    }
  }
  return s;
}

namespace {

std::uint32_t load4(const std::uint8_t *p) {
  std::uint32_t v;
  std::memcpy(&v, p, 4);
  return v;
}

#if defined(__SSE2__)

// Adds the squared differences of 16 byte pairs to four 32-bit lanes; each
// lane receives at most 4 * 255^2 per call, and the lanes wrap modulo 2^32.
inline __m128i add_squares(__m128i acc, __m128i a, __m128i b) {
  const __m128i zero = _mm_setzero_si128();
  __m128i lo = _mm_sub_epi16(_mm_unpacklo_epi8(a, zero), _mm_unpacklo_epi8(b, zero));
  __m128i hi = _mm_sub_epi16(_mm_unpackhi_epi8(a, zero), _mm_unpackhi_epi8(b, zero));
  acc = _mm_add_epi32(acc, _mm_madd_epi16(lo, lo));
  return _mm_add_epi32(acc, _mm_madd_epi16(hi, hi));
}

inline std::uint32_t lanes32(__m128i v) {
  alignas(16) std::uint32_t l[4];
  _mm_store_si128(reinterpret_cast<__m128i *>(l), v);
  return l[0] + l[1] + l[2] + l[3];
}

inline std::uint64_t lanes64(__m128i v) {
  alignas(16) std::uint64_t l[2];
  _mm_store_si128(reinterpret_cast<__m128i *>(l), v);
  return l[0] + l[1];
}

#endif

}  // namespace

DiffSums block_sums(const std::uint8_t *scene, std::ptrdiff_t scene_pitch,
                    const std::uint8_t *model, std::ptrdiff_t model_pitch, int w, int h) {
#if defined(__SSE2__)
  if (w < 8) return block_sums_ref(scene, scene_pitch, model, model_pitch, w, h);
  const __m128i zero = _mm_setzero_si128();
  __m128i scene_sum = zero, model_sum = zero, squares = zero;
  DiffSums tail;
  for (int y = 0; y < h; ++y) {
    const std::uint8_t *a = scene + scene_pitch * y;
    const std::uint8_t *b = model + model_pitch * y;
    int x = 0;
    for (; x + 16 <= w; x += 16) {
      __m128i va = _mm_loadu_si128(reinterpret_cast<const __m128i *>(a + x));
      __m128i vb = _mm_loadu_si128(reinterpret_cast<const __m128i *>(b + x));
      scene_sum = _mm_add_epi64(scene_sum, _mm_sad_epu8(va, zero));
      model_sum = _mm_add_epi64(model_sum, _mm_sad_epu8(vb, zero));
      squares = add_squares(squares, va, vb);
    }
    if (x + 8 <= w) {
      __m128i va = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(a + x));
      __m128i vb = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(b + x));
      scene_sum = _mm_add_epi64(scene_sum, _mm_sad_epu8(va, zero));
      model_sum = _mm_add_epi64(model_sum, _mm_sad_epu8(vb, zero));
      squares = add_squares(squares, va, vb);
      x += 8;
    }
    for (; x < w; ++x) {
      std::uint32_t d = static_cast<std::uint32_t>(a[x]) - b[x];
      tail.sum += d;
      tail.squares += d * d;
    }
  }
  DiffSums s;
  s.sum = static_cast<std::uint32_t>(lanes64(scene_sum) - lanes64(model_sum)) + tail.sum;
  s.squares = lanes32(squares) + tail.squares;
  return s;
#else
  return block_sums_ref(scene, scene_pitch, model, model_pitch, w, h);
#endif
}

Sampler::Sampler(const Image *model, int px, int py, std::ptrdiff_t scene_pitch)
    : model_(area8_of(model)), scene_pitch_(scene_pitch), full_(px <= 4 && py == 1) {
  const int w = model_.dx, h = model_.dy;
  if (full_) {
    count_ = w * h;
    return;
  }
  const int spacing = std::max(px, 4);
  const int base = (w % 4) / 2;
  py = std::max(py, 1);
  // Rows and columns step in 64 bits: intervals from a record may be as
  // large as an int holds.
  for (long long r = 0; r < h; r += py) {
    long long start = (r % 2 == 0) ? base : spacing / 2 + base;
    for (long long c = start; c + 4 <= w; c += spacing) {
      offsets_.push_back(scene_pitch * r + c);
      const std::uint8_t *m = model_.at(int(c), int(r));
      values_.insert(values_.end(), m, m + 4);
    }
  }
  for (std::uint8_t v : values_)
    model_sum_ += v;
  count_ = static_cast<int>(values_.size());
}

int Sampler::cost(const std::uint8_t *at) const {
  if (full_)
    return clamp_cost(dissimilarity(
        block_sums(at, scene_pitch_, model_.origin, model_.pitch, model_.dx, model_.dy), count_));
  if (count_ <= 1) return 0;
  const std::size_t runs = offsets_.size();
  const std::uint8_t *m = values_.data();
  std::size_t k = 0;
  DiffSums s;
  std::uint32_t scene_sum = 0;
#if defined(__SSE2__)
  const __m128i zero = _mm_setzero_si128();
  __m128i sums = zero, squares = zero;
  for (; k + 4 <= runs; k += 4) {
    __m128i va = _mm_setr_epi32(static_cast<int>(load4(at + offsets_[k])),
                                static_cast<int>(load4(at + offsets_[k + 1])),
                                static_cast<int>(load4(at + offsets_[k + 2])),
                                static_cast<int>(load4(at + offsets_[k + 3])));
    __m128i vb = _mm_loadu_si128(reinterpret_cast<const __m128i *>(m + 4 * k));
    sums = _mm_add_epi64(sums, _mm_sad_epu8(va, zero));
    squares = add_squares(squares, va, vb);
  }
  scene_sum = static_cast<std::uint32_t>(lanes64(sums));
  s.squares = lanes32(squares);
#endif
  for (; k < runs; ++k) {
    const std::uint8_t *a = at + offsets_[k];
    for (int i = 0; i < 4; ++i) {
      std::uint32_t d = static_cast<std::uint32_t>(a[i]) - m[4 * k + i];
      scene_sum += a[i];
      s.squares += d * d;
    }
  }
  s.sum = scene_sum - model_sum_;
  return clamp_cost(dissimilarity(s, count_));
}

int Sampler::cost_ref(const std::uint8_t *at) const {
  if (full_)
    return clamp_cost(dissimilarity(
        block_sums_ref(at, scene_pitch_, model_.origin, model_.pitch, model_.dx, model_.dy),
        count_));
  if (count_ <= 1) return 0;
  DiffSums s;
  for (std::size_t k = 0; k < offsets_.size(); ++k)
    for (int i = 0; i < 4; ++i) {
      std::uint32_t d = static_cast<std::uint32_t>(at[offsets_[k] + i]) - values_[4 * k + i];
      s.sum += d;
      s.squares += d * d;
    }
  return clamp_cost(dissimilarity(s, count_));
}

}  // namespace kel::locate
