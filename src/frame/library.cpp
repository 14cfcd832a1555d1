// Library load and unload: the attach counter, and release of the angle
// tables at the last unload.
#include "frame/library.hpp"
#include "frame/angle_tables.hpp"

namespace {
int process_attach_count = 0;
}

namespace kel {
int process_attaches() {
  return process_attach_count;
}
}  // namespace kel

__attribute__((constructor)) static void kelkit_process_attach() {
  ++process_attach_count;
}

__attribute__((destructor)) static void kelkit_process_detach() {
  if (process_attach_count-- == 1) kel::tables::release();
}
