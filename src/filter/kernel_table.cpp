// The constant kernel table. The signs are deliberate: Prewitt x takes left
// minus right while Sobel x takes right minus left, and Prewitt y takes top
// minus bottom while Sobel y takes bottom minus top.
#include "filter/kernel_table.hpp"

namespace kel::filter {

// clang-format off
const KelKernel3x3 kernel_table[kKernelCount] = {
    // Kirsch compass kernels, 45 degrees apart.
    { 5,  5,  5,  -3,  0, -3,  -3, -3, -3, 0},
    { 5,  5, -3,   5,  0, -3,  -3, -3, -3, 0},
    { 5, -3, -3,   5,  0, -3,   5, -3, -3, 0},
    {-3, -3, -3,   5,  0, -3,   5,  5, -3, 0},
    {-3, -3, -3,  -3,  0, -3,   5,  5,  5, 0},
    {-3, -3, -3,  -3,  0,  5,  -3,  5,  5, 0},
    {-3, -3,  5,  -3,  0,  5,  -3, -3,  5, 0},
    {-3,  5,  5,  -3,  0,  5,  -3, -3, -3, 0},
    // Laplace.
    { 0,  1,  0,   1, -4,  1,   0,  1,  0, 0},
    // Prewitt x, Prewitt y.
    { 1,  0, -1,   1,  0, -1,   1,  0, -1, 0},
    { 1,  1,  1,   0,  0,  0,  -1, -1, -1, 0},
    // Sharpen.
    { 0, -1,  0,  -1,  5, -1,   0, -1,  0, 0},
    // Sobel x, Sobel y.
    {-1,  0,  1,  -2,  0,  2,  -1,  0,  1, 0},
    {-1, -2, -1,   0,  0,  0,   1,  2,  1, 0},
};
// clang-format on

}  // namespace kel::filter
