// CEdgeImg: a grid of owned edge records, one optional record per pixel,
// which the rotation-invariant search fills with the points of the scene's
// contours so that it can look up the edge at a pixel directly.
#pragma once

#include <cstdint>

namespace kel {

// One edge point: its sub-pixel position and its direction in radians.
struct EdgePoint {
  double x = 0.0;
  double y = 0.0;
  double direction = 0.0;
};

class CEdgeImg {
 public:
  CEdgeImg() = default;
  CEdgeImg(const CEdgeImg &) = delete;
  CEdgeImg &operator=(const CEdgeImg &) = delete;
  virtual ~CEdgeImg();

  // Makes the grid width by height, every cell empty. Does nothing when the
  // size is unchanged (the cells are kept). Returns 1 when the cell array
  // cannot be allocated (the grid is then 0 by 0), 0 otherwise.
  int resize(std::uint32_t width, std::uint32_t height);

  // Deletes every record and sets count to 0; the size is kept.
  void clear();

  // The record at (x, y), or null when the cell is empty or outside the grid.
  EdgePoint *at(int x, int y) const;

  // Enters a point at pixel (x, y): the record is created on first use (count
  // grows by one) and overwritten afterwards. Returns 0 when stored, 1 when
  // the record cannot be allocated, -1 when (x, y) lies outside the grid.
  int put(int x, int y, const EdgePoint &point);

  std::uint32_t count = 0;       // records created since the last clear
  std::uint32_t width = 0;       // grid width in pixels
  std::uint32_t height = 0;      // grid height in pixels
  std::uint32_t cell_count = 0;  // width * height
  EdgePoint **cells = nullptr;   // cell_count owned pointers, row by row

 private:
  void release();
};

}  // namespace kel
