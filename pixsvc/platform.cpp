// Clock and processor queries.
#include <chrono>

#if defined(__i386__) || defined(__x86_64__)
#include <cpuid.h>
#endif

#include "internal.hpp"

extern "C" {

unsigned int im_get_msec_count(void) {
  using namespace std::chrono;
  auto ms = duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
  return static_cast<unsigned int>(ms);
}

int im_cpu_has_mmx(void) {
#if defined(__i386__) || defined(__x86_64__)
  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
  if (!__get_cpuid(1, &eax, &ebx, &ecx, &edx)) return 0;
  return (edx & bit_MMX) ? 1 : 0;
#else
  return 0;
#endif
}

}  // extern "C"
