// Power sums of one BYTE row, sum p x^k for k = 0..3, computed exactly in
// integers: a plain loop (the reference) and an SSE2 path that must give the
// same integers.
#pragma once

#include <cstdint>

namespace kel::moments {

struct RowSums {
  std::int64_t s0 = 0, s1 = 0, s2 = 0;
  __int128 s3 = 0;
};

// Sums over n pixels of a row, with x the index; `binary` weighs every
// non-zero pixel 1.
RowSums byte_row_sums_plain(const std::uint8_t *p, int n, bool binary);
RowSums byte_row_sums(const std::uint8_t *p, int n, bool binary);

}  // namespace kel::moments
