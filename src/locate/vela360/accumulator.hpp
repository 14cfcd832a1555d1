// The vote grid and the per-cell angle lists of the 360 search.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace kel::locate {

// A grid of unsigned 16-bit vote counters (they wrap silently), row-major.
class CAccumulator {
 public:
  CAccumulator(int width, int height);
  virtual ~CAccumulator() = default;

  void resize(int width, int height);  // reallocates and zeroes
  void clear();
  // Zeroes the square x-r..x+r, y-r..y+r clipped to the grid.
  void clearSquare(int x, int y, int r);
  // Adds `weight` to the square x +- nRadius, y +- nRadius; the caller keeps
  // the square inside the grid.
  void vote(int x, int y, int weight);
  // The 3x3 kernel: 3 at (x, y), 1 at its eight neighbours.
  void voteKernel(int x, int y);

  struct Peak {
    int x = 0;
    int y = 0;
    int value = 0;
  };
  // The largest counter, the first in row-major order on ties.
  Peak findMax() const;
  // Up to n strongest cells, highest first, ties in row-major order (see the
  // implementation for the threshold rule).
  std::vector<Peak> findPeaks(int n) const;
  // Writes the counters scaled by 255 / max as a BYTE image; returns the
  // image services' status (4 when the image cannot be made).
  int writeImage(const char *path) const;

  std::uint16_t at(int x, int y) const { return cells[static_cast<std::size_t>(y) * nWidth + x]; }

  int nRadius = 1;
  int nWidth = 0;
  int nHeight = 0;
  std::vector<std::uint16_t> cells;
};

// Lists of angles per grid cell. A cell holds the index of its list (0: no
// list); the table has 1000 lists, of which list 0 is never used, so at most
// 999 cells hold angles between two clears. Once every list is taken, angles
// for further cells are dropped (add returns false): the search claims lists
// for the cells it will read before it records any angle.
class CAngleAccumulator {
 public:
  static constexpr int kLists = 1000;
  static constexpr int kBlockValues = 60;

  CAngleAccumulator(int width, int height);
  virtual ~CAngleAccumulator();
  CAngleAccumulator(const CAngleAccumulator &) = delete;
  CAngleAccumulator &operator=(const CAngleAccumulator &) = delete;

  // Appends the angle (radians, normalised into 0..2pi, kept in units of
  // 1/10000 radian) to the cell's list, claiming a list when the cell has
  // none. False when the cell is outside the grid or no list is left.
  bool add(int x, int y, double angle);
  // Gives the cell a list when it has none; false when none is left.
  bool claim(int x, int y);
  bool hasList(int x, int y) const;
  // Calls f(angle) for every angle of the cell, in the order added.
  template <class F>
  void forEach(int x, int y, F &&f) const {
    if (x < 0 || y < 0 || x >= nWidth || y >= nHeight) return;
    int list = grid[static_cast<std::size_t>(y) * nWidth + x];
    if (list == 0) return;
    int left = lists[list].count;
    for (const Block *b = lists[list].first; b && left > 0; b = b->next) {
      int n = left < kBlockValues ? left : kBlockValues;
      for (int i = 0; i < n; ++i)
        f(b->values[i] / 10000.0);
      left -= n;
    }
  }
  int count(int x, int y) const;
  // Returns every used list's blocks to the pool and empties the grid.
  void clear();

  struct Block {
    std::uint16_t values[kBlockValues];
    Block *next = nullptr;
  };
  struct List {
    int count = 0;
    Block *first = nullptr;
    Block *last = nullptr;
  };

  int nWidth = 0;
  int nHeight = 0;
  List lists[kLists];
  std::vector<std::int32_t> grid;
  int nNextList = 1;
  Block *pool = nullptr;  // free blocks, linked through next

 private:
  Block *takeBlock();
  std::vector<std::unique_ptr<Block>> owned_;
};

}  // namespace kel::locate
