// Loaders open only regular files: a FIFO, a device or a folder named where a
// parameter, contour or storage file is expected would block or mislead the
// reader, so such paths are refused before they are opened.
#pragma once

#include <sys/stat.h>

namespace kel {

inline bool regular_file(const char *path) {
  struct stat st;
  return path && ::stat(path, &st) == 0 && S_ISREG(st.st_mode);
}

}  // namespace kel
