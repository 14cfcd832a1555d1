// The shared table of BYTE levels as floats.
#include "frame/pixels.hpp"

namespace kel {

const float byte_to_float[256] = {
#define KEL_ROW(b)                                                                          \
  b + 0.f, b + 1.f, b + 2.f, b + 3.f, b + 4.f, b + 5.f, b + 6.f, b + 7.f, b + 8.f, b + 9.f, \
      b + 10.f, b + 11.f, b + 12.f, b + 13.f, b + 14.f, b + 15.f
    KEL_ROW(0),   KEL_ROW(16),  KEL_ROW(32),  KEL_ROW(48),  KEL_ROW(64),  KEL_ROW(80),
    KEL_ROW(96),  KEL_ROW(112), KEL_ROW(128), KEL_ROW(144), KEL_ROW(160), KEL_ROW(176),
    KEL_ROW(192), KEL_ROW(208), KEL_ROW(224), KEL_ROW(240)
#undef KEL_ROW
};

}  // namespace kel
