// Row kernels of the conversion to FLOAT: the plain loop and a path over
// 64-byte registers that gives the same (exact) values.
#pragma once

#include <cstdint>

namespace kel::convert {

// out[x] = float(p[x]) for x < n: a BYTE level v becomes 0.0 .. 255.0 (the
// value of the shared byte_to_float table), a WORD value converts exactly.
void to_float_row_ref(const std::uint8_t *p, float *out, int n);
void to_float_row_ref(const std::uint16_t *p, float *out, int n);
// The wide path; false (nothing written) when the processor lacks it.
bool to_float_row_wide(const std::uint8_t *p, float *out, int n);
bool to_float_row_wide(const std::uint16_t *p, float *out, int n);
// The fastest available.
void to_float_row(const std::uint8_t *p, float *out, int n);
void to_float_row(const std::uint16_t *p, float *out, int n);

}  // namespace kel::convert
