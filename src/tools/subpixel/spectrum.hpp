// Complex images for the sub-pixel tools: an image's pixels into a FLOAT
// pair and the pair's forward and inverse transforms.
#pragma once

#include "frame/image_guard.hpp"

namespace kel::subpixel {

struct Spectrum {
  ImagePtr re, im;
};

// True when n is a power of two from 2 to 8192.
bool fft_size(int n);

// The pixels of img (times `window`, when given: w x h weights) as the real
// part of a new pair, transformed forward. False when memory is short.
bool forward(const Image *img, const double *window, Spectrum &s);

// The inverse transform of the pair, divided by the number of pixels.
bool inverse(Spectrum &s);

}  // namespace kel::subpixel
