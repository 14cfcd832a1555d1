// The 2-D transform of a real/imaginary FLOAT image pair: every row, then
// every column, each a line transform.
//
// Rows and columns are worked on in blocks of lines (16 rows, 32 columns),
// copied into an interleaved work buffer in bit-reversed order, transformed
// together and copied back. A block of columns is 32 adjacent floats of
// every row, so the column pass reads whole cache lines instead of one float
// per row, and the buffer of a block stays in the second-level cache.
#include <algorithm>
#include <bit>
#include <cstring>
#include <vector>

#include "frame/call.hpp"
#include "frame/pixels.hpp"
#include "kelkit/fft.h"
#include "tools/fft/fft_lines.hpp"
#include "tools/fft/fft_stages.hpp"

namespace {

using kel::row;
using kel::tools::LinePlan;

// Lines per block: 16 rows, or 32 columns (two cache lines of every row).
// The line counts are powers of two, so blocks tile them.
constexpr int kRowBlock = 16;
constexpr int kColumnBlock = 32;

// Rows y0 .. y0 + B - 1 of both images through the work buffer: element i of
// row b goes to [rev[i] * B + b] (the bit-reversal permutation is its own
// inverse), so the stages find element rev[i] at i. Each read follows a row.
// One image plane of the row block into the buffer (element i of row b to
// [rev[i] * B + b]), and back (buffer [i * B + b] to element i of row b).
// Blocks of 4 x 4 are moved as vectors and transposed in registers; the
// scatter goes in tiles of 16 elements so that the tile's buffer rows stay
// in the first-level cache while each image row receives whole cache lines.
template <int B>
void gather_rows(const float *const *src, const std::uint32_t *rev, int n, float *w) {
  using kel::tools::stages::load;
  using kel::tools::stages::store;
  using kel::tools::stages::v4f;
  int i = 0;
  if constexpr (B % 4 == 0)
    for (; i + 4 <= n; i += 4)
      for (int b = 0; b < B; b += 4) {
        v4f x0, x1, x2, x3;
        load(x0, src[b] + i), load(x1, src[b + 1] + i);
        load(x2, src[b + 2] + i), load(x3, src[b + 3] + i);
        kel::tools::stages::transpose4(x0, x1, x2, x3);
        store(w + rev[i] * B + b, x0), store(w + rev[i + 1] * B + b, x1);
        store(w + rev[i + 2] * B + b, x2), store(w + rev[i + 3] * B + b, x3);
      }
  for (; i < n; ++i)
    for (int b = 0; b < B; ++b)
      w[rev[i] * B + b] = src[b][i];
}

template <int B>
void scatter_rows(const float *w, int n, float *const *dst) {
  using kel::tools::stages::load;
  using kel::tools::stages::store;
  using kel::tools::stages::v4f;
  constexpr int kTile = 16;
  int i0 = 0;
  if constexpr (B % 4 == 0)
    for (; i0 + kTile <= n; i0 += kTile)
      for (int b = 0; b < B; b += 4)
        for (int i = i0; i < i0 + kTile; i += 4) {
          v4f x0, x1, x2, x3;
          load(x0, w + i * B + b), load(x1, w + (i + 1) * B + b);
          load(x2, w + (i + 2) * B + b), load(x3, w + (i + 3) * B + b);
          kel::tools::stages::transpose4(x0, x1, x2, x3);
          store(dst[b] + i, x0), store(dst[b + 1] + i, x1);
          store(dst[b + 2] + i, x2), store(dst[b + 3] + i, x3);
        }
  for (int b = 0; b < B; ++b)
    for (int i = i0; i < n; ++i)
      dst[b][i] = w[i * B + b];
}

// Rows y0 .. y0 + B - 1 of both images through the work buffer, so that the
// stages find element rev[i] of each row at i (the bit-reversal permutation
// is its own inverse).
template <int B>
void row_block(Image *re, Image *im, int y0, const LinePlan &plan, float *wr, float *wi) {
  float *r[B], *i[B];
  for (int b = 0; b < B; ++b) {
    r[b] = row<float>(re, y0 + b);
    i[b] = row<float>(im, y0 + b);
  }
  gather_rows<B>(r, plan.rev.data(), plan.n, wr);
  gather_rows<B>(i, plan.rev.data(), plan.n, wi);
  kel::tools::run_stages(wr, wi, B, plan);
  scatter_rows<B>(wr, plan.n, r);
  scatter_rows<B>(wi, plan.n, i);
}

// Columns x0 .. x0 + B - 1 likewise: element i of column b is pixel
// (x0 + b, i), and row i of the image lands in buffer row rev[i].
template <int B>
void column_block(Image *re, Image *im, int x0, const LinePlan &plan, float *wr, float *wi) {
  const int n = plan.n;
  for (int i = 0; i < n; ++i) {
    const std::size_t to = static_cast<std::size_t>(plan.rev[i]) * B;
    std::memcpy(wr + to, row<const float>(re, i) + x0, B * sizeof(float));
    std::memcpy(wi + to, row<const float>(im, i) + x0, B * sizeof(float));
  }
  kel::tools::run_stages(wr, wi, B, plan);
  for (int i = 0; i < n; ++i) {
    std::memcpy(row<float>(re, i) + x0, wr + static_cast<std::size_t>(i) * B, B * sizeof(float));
    std::memcpy(row<float>(im, i) + x0, wi + static_cast<std::size_t>(i) * B, B * sizeof(float));
  }
}

template <class F>
void with_block(int block, F &&f) {
  switch (block) {
    case 1:
      return f.template operator()<1>();
    case 2:
      return f.template operator()<2>();
    case 4:
      return f.template operator()<4>();
    case 8:
      return f.template operator()<8>();
    case 16:
      return f.template operator()<16>();
    default:
      return f.template operator()<32>();
  }
}

int check(const char *fn, const Image *re, const Image *im, const kel_fft_coeff *coeff) {
  if (int e = kel::need_pointer(fn, coeff, "Coeff struct == NULL")) return e;
  if (int e = kel::need_images(fn, re, im)) return e;
  if (re->type != FLOAT || im->type != FLOAT) return kel::fail(fn, KEL_ERR_NEED_TYPE);
  if (re->dx != im->dx || re->dy != im->dy)
    return kel::fail(fn, KEL_ERR_ARGUMENT, "Real and imaginary Images must be same size");
  if (re->dx != coeff->nSizeX || re->dy != coeff->nSizeY)
    return kel::fail(fn, KEL_ERR_ARGUMENT, "Image size doesn't match Coeff. size");
  return KEL_OK;
}

}  // namespace

extern "C" {

KELKIT_API int kel_fft_2d(Image *re, Image *im, const kel_fft_coeff *coeff) {
  return kel::guarded("kel_fft_2d", [&](const char *fn) -> int {
    if (int e = check(fn, re, im, coeff)) return e;
    const int nx = re->dx, ny = re->dy;
    if (nx < 1 || ny < 1) return KEL_OK;  // only an altered record gets here
    const LinePlan px = kel::tools::make_plan(nx, coeff->nLog2X, coeff->afCosX, coeff->afSinX);
    const LinePlan py = kel::tools::make_plan(ny, coeff->nLog2Y, coeff->afCosY, coeff->afSinY);
    const int row_lines = std::bit_floor(static_cast<unsigned>(std::min(ny, kRowBlock)));
    const int column_lines = std::min(nx, kColumnBlock);
    std::vector<float> work(2 * std::max(static_cast<std::size_t>(nx) * row_lines,
                                         static_cast<std::size_t>(ny) * column_lines));
    float *wr = work.data(), *wi = wr + work.size() / 2;

    // A record that asks for more stages than fit stops in the first line.
    if (px.overrun) {
      kel::tools::transform_line(row<float>(re, 0), 1, row<float>(im, 0), 1, px, wr);
      return kel::fail(fn, kel::tools::kPairOverrun, "Horizontal pass");
    }
    int y0 = 0;
    with_block(row_lines, [&]<int B>() {
      for (; y0 + B <= ny; y0 += B)
        row_block<B>(re, im, y0, px, wr, wi);
    });
    for (; y0 < ny; ++y0)  // rows left over when the height is not a power of two
      row_block<1>(re, im, y0, px, wr, wi);
    if (py.overrun) {
      kel::tools::transform_line(row<float>(re, 0), kel::pitch(re), row<float>(im, 0),
                                 kel::pitch(im), py, wr);
      return kel::fail(fn, kel::tools::kPairOverrun, "Vertical pass");
    }
    with_block(column_lines, [&]<int B>() {
      for (int x0 = 0; x0 < nx; x0 += B)
        column_block<B>(re, im, x0, py, wr, wi);
    });
    return KEL_OK;
  });
}

}  // extern "C"
