// Length-prefixed string copy and the version string.
#include <cstdint>
#include <cstring>

#include "kelkit/frame.h"

extern "C" {

KELKIT_API char *kel_strcpy(char *dst, const char *src) {
  std::size_t n = std::strlen(src);
  std::memcpy(dst, src, n + 1);
  std::int32_t length = static_cast<std::int32_t>(n);
  std::memcpy(dst - sizeof length, &length, sizeof length);
  return dst;
}

KELKIT_API const char *kel_version(void) {
  return KELKIT_VERSION_STRING;
}

}  // extern "C"
