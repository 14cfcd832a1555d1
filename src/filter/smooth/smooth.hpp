// Smoothing kernels shared by the smoothing operators and the tool's tests.
#pragma once

#include <vector>

#include "frame/call.hpp"

namespace kel::nb {

// Mean of the kx by ky window around each pixel (edge pixels replicated);
// `src` must not share pixels with `dst`.
template <class T>
void box_filter(const Image *src, Image *dst, Area a, int kx, int ky);

// The normalised Gaussian taps for `sigma`: 2r + 1 weights with
// r = max(1, ceil(3 sigma)), summing to 1.
std::vector<float> gauss_taps(double sigma);

}  // namespace kel::nb
