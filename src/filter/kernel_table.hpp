// The library's constant table of 3x3 kernels used by the named filters.
#pragma once

#include "kelkit/filter.h"

namespace kel::filter {

// Entries of the table. The eight Kirsch kernels lie consecutively and are
// followed at once by the Laplace kernel, so that Kirsch direction 8 is the
// Laplace kernel.
enum KernelEntry {
  kKirsch0 = 0,
  kLaplace = 8,
  kPrewittX,
  kPrewittY,
  kSharpen,
  kSobelX,
  kSobelY,
  kKernelCount
};

extern const KelKernel3x3 kernel_table[kKernelCount];

}  // namespace kel::filter
