// --t T | otsu | isodata | melt | adaptive [--size S] [--offset C].
#include "threshold_level.hpp"

#include <cmath>
#include <cstdlib>

namespace tool {

namespace {

// The level kel_threshold takes (pixels >= level are bright) from a rule
// that puts pixels above t in the bright class.
int level_above(double t) {
  return static_cast<int>(std::floor(t)) + 1;
}

}  // namespace

int binarise(const Args &args, Image *img, bool dark, std::string *rule) {
  const std::string t = args.option("t", "128");
  int level = -1;
  *rule = t;
  if (t == "otsu" || t == "isodata") {
    double found = 0;
    check(t == "otsu" ? kel_threshold_otsu(img, &found) : kel_threshold_isodata(img, &found),
          t == "otsu" ? "kel_threshold_otsu" : "kel_threshold_isodata");
    level = level_above(found);
  } else if (t == "melt") {
    int found = 0;
    check(kel_threshold_melt(img, 10000, &found), "kel_threshold_melt");
    level = level_above(found);
  } else if (t == "adaptive") {
    const double size = args.number("size", 31), offset = args.number("offset", 5);
    if (size < 3 || size > 1023 || size != std::floor(size) || static_cast<int>(size) % 2 == 0)
      throw Failure{"kelkit", KEL_ERR_ARGUMENT, "--size must be an odd number from 3 to 1023"};
    ImagePtr out = new_image(BYTE, img->dx, img->dy);
    // Bright objects stand above the mean of their surroundings by more
    // than the offset; dark ones are the complement of "above the mean less
    // the offset".
    check(kel_threshold_adaptive(img, out.get(), KEL_ADAPTIVE_MEAN, static_cast<int>(size),
                                 dark ? offset : -offset),
          "kel_threshold_adaptive");
    if (dark) check(kel_invert(out.get()), "kel_invert");
    check(im_copy(out.get(), img), "im_copy");
    return -1;
  } else {
    char *end = nullptr;
    double v = std::strtod(t.c_str(), &end);
    if (t.empty() || *end != '\0' || !(v >= 1 && v <= 255) || v != std::floor(v))
      throw Failure{"kelkit", KEL_ERR_ARGUMENT,
                    "--t must be a level 1..255, otsu, isodata, melt or adaptive"};
    level = static_cast<int>(v);
  }
  if (level > 255)
    throw Failure{"kelkit", KEL_ERR_NOT_FOUND, "the " + t + " level leaves no bright pixel"};
  check(kel_threshold(img, static_cast<unsigned char>(level), dark ? 255 : 0, dark ? 0 : 255),
        "kel_threshold");
  return level;
}

}  // namespace tool
