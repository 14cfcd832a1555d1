// The FFT coefficient record: creation with the rotation-built tables,
// reversal of direction, deletion.
#include <cmath>
#include <memory>
#include <new>

#include "frame/call.hpp"
#include "kelkit/fft.h"

namespace {

struct TableDeleter {
  void operator()(float *p) const noexcept { delete[] p; }
};
using Table = std::unique_ptr<float[], TableDeleter>;

// Base-2 logarithm of n when n is a power of two (1 included), else -1.
int log2_of_power(int n) {
  if (n < 1 || (n & (n - 1)) != 0) return -1;
  int log2 = 0;
  while ((1 << log2) < n)
    ++log2;
  return log2;
}

// Fills cos[k] and sin[k], k < n/2, by rotating (1, 0) through 2 pi / n
// (its sine negated for direction 1). The step is in double; each table
// value is stored in single precision and the next one is computed from the
// stored values, so the tables carry the rounding of this recurrence.
void fill_tables(float *cos_table, float *sin_table, int n, int direction) {
  const double angle = 2.0 * 3.14159265358979323846 / n;
  const double c = std::cos(angle);
  const double s = direction ? -std::sin(angle) : std::sin(angle);
  cos_table[0] = 1.0f;
  sin_table[0] = 0.0f;
  for (int k = 1; k < n / 2; ++k) {
    cos_table[k] = static_cast<float>(c * cos_table[k - 1] - s * sin_table[k - 1]);
    sin_table[k] = static_cast<float>(c * sin_table[k - 1] + s * cos_table[k - 1]);
  }
}

// Makes the two tables of an axis of length n (none when n is 1). False
// when memory is short.
bool make_tables(int n, int direction, Table &cos_table, Table &sin_table) {
  if (n < 2) return true;
  cos_table.reset(new (std::nothrow) float[n / 2]);
  sin_table.reset(new (std::nothrow) float[n / 2]);
  if (!cos_table || !sin_table) return false;
  fill_tables(cos_table.get(), sin_table.get(), n, direction);
  return true;
}

void negate(float *table, int n) {
  if (!table) return;
  for (int k = 0; k < n / 2; ++k)
    table[k] = -table[k];
}

}  // namespace

extern "C" {

KELKIT_API kel_fft_coeff *kel_fft_create_coeff(int x_size, int y_size, int direction) {
  const char *fn = "kel_fft_create_coeff";
  if (x_size < 1 || y_size < 1) {
    kel::fail(fn, KEL_ERR_EMPTY, "x or y size == 0");
    return nullptr;
  }
  const int log2x = log2_of_power(x_size), log2y = log2_of_power(y_size);
  if (log2x < 0) {
    kel::fail(fn, KEL_ERR_ARGUMENT, "X size must be power of 2");
    return nullptr;
  }
  if (log2y < 0) {
    kel::fail(fn, KEL_ERR_ARGUMENT, "Y size must be power of 2");
    return nullptr;
  }
  const int dir = direction ? 1 : 0;
  Table cos_x, sin_x, cos_y, sin_y;
  std::unique_ptr<kel_fft_coeff> coeff(new (std::nothrow) kel_fft_coeff{});
  if (!coeff || !make_tables(x_size, dir, cos_x, sin_x) ||
      !make_tables(y_size, dir, cos_y, sin_y)) {
    kel::fail(fn, KEL_ERR_NO_MEMORY);
    return nullptr;
  }
  coeff->nDirection = dir;
  coeff->nSizeX = x_size;
  coeff->nSizeY = y_size;
  coeff->nLog2X = log2x;
  coeff->nLog2Y = log2y;
  coeff->afCosX = cos_x.release();
  coeff->afSinX = sin_x.release();
  coeff->afCosY = cos_y.release();
  coeff->afSinY = sin_y.release();
  return coeff.release();
}

KELKIT_API int kel_fft_reverse_coeff(kel_fft_coeff *coeff) {
  const char *fn = "kel_fft_reverse_coeff";
  if (int e = kel::need_pointer(fn, coeff, "Coeff struct == NULL")) return e;
  negate(coeff->afSinX, coeff->nSizeX);
  negate(coeff->afSinY, coeff->nSizeY);
  coeff->nDirection = coeff->nDirection == 1 ? 0 : 1;
  return KEL_OK;
}

KELKIT_API int kel_fft_delete_coeff(kel_fft_coeff *coeff) {
  if (!coeff) return KEL_OK;
  delete[] coeff->afCosX;
  delete[] coeff->afSinX;
  delete[] coeff->afCosY;
  delete[] coeff->afSinY;
  delete coeff;
  return KEL_OK;
}

}  // extern "C"
