// The three ways of the rank filters: sorting networks applied to whole rows
// (small windows, every pixel type), sliding histograms with coarse and fine
// levels (BYTE, any window, constant cost per pixel), and a sliding
// two-level histogram (WORD, large windows).
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "frame/call.hpp"

namespace kel::nb {

// Windows of up to this many members take the sorting network.
constexpr int kNetworkMembers = 49;

// The comparators that select rank `rank` of a kx by ky window whose
// columns arrive sorted (wire j * kx + i the j-th smallest of column i).
std::vector<std::pair<int, int>> selection_network(int kx, int ky, int rank);

// Sorts n wires: the comparators of Batcher's odd-even merge sort.
std::vector<std::pair<int, int>> sorting_network(int n);

// The value of rank `rank` (0 = smallest) of the kx by ky window around each
// pixel. `src` must not share pixels with `dst`, except that the network of
// a window neither 3 nor 5 rows high may write over its own source rows.
template <class T>
void rank_by_network(const Image *src, Image *dst, Area a, int kx, int ky, int rank);
void rank_by_histogram(const Image *src, Image *dst, Area a, int kx, int ky, int rank);
void rank_by_word_histogram(const Image *src, Image *dst, Area a, int kx, int ky, int rank);

}  // namespace kel::nb
