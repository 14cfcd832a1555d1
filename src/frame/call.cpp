// Failure and warning reports under an operator's exported name.
#include "frame/call.hpp"

namespace kel {

int fail(const char *fn, int code, const char *message) {
  return message ? im_error(fn, code, "%s", message) : im_error(fn, code, nullptr);
}

int warn(const char *fn, int code, const char *message) {
  return message ? im_warn(fn, code, "%s", message) : im_warn(fn, code, nullptr);
}

const char *type_message(unsigned type) {
  switch (type) {
    case BYTE:
      return "Images must be BYTE";
    case WORD:
      return "Images must be WORD";
    case FLOAT:
      return "Images must be FLOAT";
    default:
      return "Wrong pixel type";
  }
}

}  // namespace kel
