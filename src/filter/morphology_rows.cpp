// Row kernels of the 3x3 erosion and dilation: the plain references and the
// SSE2 paths (byte minimum and maximum, sixteen pixels per instruction).
// Minimum and maximum are exact, so both give identical results.
#include <algorithm>
#include <cstdint>

#include "filter/filter_rows.hpp"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace kel::filter {

namespace {

template <bool Max>
inline std::uint8_t pick(std::uint8_t a, std::uint8_t b) {
  return Max ? std::max(a, b) : std::min(a, b);
}

}  // namespace

template <bool Max>
void extreme3_down_ref(Rows src, int w, std::uint8_t *out) {
  for (int x = 0; x < w; ++x)
    out[x] = pick<Max>(pick<Max>(src.above[x], src.centre[x]), src.below[x]);
}

template <bool Max>
void extreme3_across_ref(const std::uint8_t *in, int w, std::uint8_t *out) {
  for (int x = 1; x < w - 1; ++x)
    out[x] = pick<Max>(pick<Max>(in[x - 1], in[x]), in[x + 1]);
}

#if defined(__SSE2__)

namespace {

inline __m128i load16(const std::uint8_t *p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
}

inline void store16(std::uint8_t *p, __m128i v) {
  _mm_storeu_si128(reinterpret_cast<__m128i *>(p), v);
}

template <bool Max>
inline __m128i pick16(__m128i a, __m128i b) {
  return Max ? _mm_max_epu8(a, b) : _mm_min_epu8(a, b);
}

}  // namespace

template <bool Max>
void extreme3_down(Rows src, int w, std::uint8_t *out) {
  if (w < 16) return extreme3_down_ref<Max>(src, w, out);
  auto block = [&](int x) {
    store16(out + x, pick16<Max>(pick16<Max>(load16(src.above + x), load16(src.centre + x)),
                                 load16(src.below + x)));
  };
  int x = 0;
  for (; x + 16 <= w; x += 16)
    block(x);
  // The last block overlaps its predecessor and rewrites the same values.
  if (x < w) block(w - 16);
}

template <bool Max>
void extreme3_across(const std::uint8_t *in, int w, std::uint8_t *out) {
  if (w < 18) return extreme3_across_ref<Max>(in, w, out);
  auto block = [&](int x) {
    store16(out + x,
            pick16<Max>(pick16<Max>(load16(in + x - 1), load16(in + x)), load16(in + x + 1)));
  };
  int x = 1;
  for (; x + 17 <= w; x += 16)
    block(x);
  if (x < w - 1) block(w - 17);
}

#else  // no vector path on this processor: the references are the kernels

template <bool Max>
void extreme3_down(Rows src, int w, std::uint8_t *out) {
  extreme3_down_ref<Max>(src, w, out);
}

template <bool Max>
void extreme3_across(const std::uint8_t *in, int w, std::uint8_t *out) {
  extreme3_across_ref<Max>(in, w, out);
}

#endif

template void extreme3_down_ref<false>(Rows, int, std::uint8_t *);
template void extreme3_down_ref<true>(Rows, int, std::uint8_t *);
template void extreme3_down<false>(Rows, int, std::uint8_t *);
template void extreme3_down<true>(Rows, int, std::uint8_t *);
template void extreme3_across_ref<false>(const std::uint8_t *, int, std::uint8_t *);
template void extreme3_across_ref<true>(const std::uint8_t *, int, std::uint8_t *);
template void extreme3_across<false>(const std::uint8_t *, int, std::uint8_t *);
template void extreme3_across<true>(const std::uint8_t *, int, std::uint8_t *);

}  // namespace kel::filter
