// The selection networks of the 3x3 and 5x5 medians for windows whose
// columns arrive sorted (wire j * k + i is the j-th smallest of column i):
// Batcher's odd-even merge sort pruned to the comparators that reach the
// median and can still exchange something. selection_network() of
// rank_network.cpp derives them; a test checks that the tables equal what it
// derives.
#pragma once

#include <array>
#include <utility>

namespace kel::nb {

using Comparator = std::pair<int, int>;

// Sorting networks of 3 and 5 wires (Batcher's, as sorting_network()
// derives them), for sorting columns.
inline constexpr std::array<Comparator, 3> kSort3 = {{{0, 1}, {0, 2}, {1, 2}}};
inline constexpr std::array<Comparator, 9> kSort5 = {
    {{0, 1}, {2, 3}, {0, 2}, {1, 3}, {1, 2}, {0, 4}, {2, 4}, {1, 2}, {3, 4}}};

inline constexpr std::array<Comparator, 19> kMedian3x3 = {{
    {0, 1}, {2, 3}, {4, 5}, {6, 7}, {0, 2}, {1, 3}, {4, 6}, {5, 7}, {1, 2}, {5, 6},
    {1, 5}, {2, 6}, {2, 4}, {3, 5}, {1, 2}, {3, 4}, {4, 8}, {2, 4}, {3, 4},
}};

inline constexpr std::array<Comparator, 96> kMedian5x5 = {{
    {0, 1},   {2, 3},   {4, 5},   {6, 7},   {8, 9},   {10, 11}, {12, 13}, {14, 15}, {16, 17},
    {18, 19}, {20, 21}, {22, 23}, {0, 2},   {1, 3},   {4, 6},   {5, 7},   {8, 10},  {9, 11},
    {12, 14}, {13, 15}, {16, 18}, {17, 19}, {20, 22}, {21, 23}, {1, 2},   {5, 6},   {9, 10},
    {13, 14}, {17, 18}, {21, 22}, {0, 4},   {1, 5},   {2, 6},   {3, 7},   {8, 12},  {9, 13},
    {10, 14}, {11, 15}, {16, 20}, {17, 21}, {18, 22}, {19, 23}, {2, 4},   {3, 5},   {10, 12},
    {11, 13}, {18, 20}, {19, 21}, {1, 2},   {3, 4},   {5, 6},   {9, 10},  {11, 12}, {13, 14},
    {17, 18}, {19, 20}, {21, 22}, {1, 9},   {2, 10},  {3, 11},  {4, 12},  {5, 13},  {6, 14},
    {4, 8},   {5, 9},   {6, 10},  {7, 11},  {20, 24}, {3, 5},   {6, 8},   {7, 9},   {10, 12},
    {11, 13}, {18, 20}, {22, 24}, {5, 6},   {7, 8},   {9, 10},  {11, 12}, {13, 14}, {17, 18},
    {19, 20}, {21, 22}, {8, 16},  {9, 17},  {10, 18}, {11, 19}, {12, 20}, {13, 21}, {6, 10},
    {7, 11},  {12, 16}, {13, 17}, {10, 12}, {11, 13}, {11, 12},
}};

}  // namespace kel::nb
