// The --t option of the binarising commands: a fixed level, or one found
// from the image (otsu, isodata, melt), or a local adaptive threshold.
#pragma once

#include <string>

#include "command.hpp"

namespace tool {

// Binarises a BYTE image in place as --t asks: objects 255 and background 0
// (objects dark in the image with `dark`). Returns the level used (pixels at
// or above it are bright objects), or -1 for the adaptive threshold, and
// names the rule in *rule. Throws a Failure for a value it cannot use.
int binarise(const Args &args, Image *img, bool dark, std::string *rule);

}  // namespace tool
