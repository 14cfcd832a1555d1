// CEdgeImg: the grid of owned edge records.
#include "measure/edge/edge_image.hpp"

#include <cstddef>
#include <new>

namespace kel {

CEdgeImg::~CEdgeImg() {
  release();
}

void CEdgeImg::release() {
  clear();
  delete[] cells;
  cells = nullptr;
  width = height = cell_count = 0;
}

int CEdgeImg::resize(std::uint32_t w, std::uint32_t h) {
  if (w == width && h == height) return 0;
  release();
  std::uint64_t n = std::uint64_t(w) * h;
  if (n > 0xFFFFFFFFu) return 1;
  cells = new (std::nothrow) EdgePoint *[std::size_t(n)]();
  if (!cells) return 1;
  width = w;
  height = h;
  cell_count = std::uint32_t(n);
  return 0;
}

void CEdgeImg::clear() {
  for (std::uint32_t i = 0; cells && i < cell_count; ++i) {
    delete cells[i];
    cells[i] = nullptr;
  }
  count = 0;
}

EdgePoint *CEdgeImg::at(int x, int y) const {
  if (x < 0 || y < 0 || std::uint32_t(x) >= width || std::uint32_t(y) >= height) return nullptr;
  return cells[std::size_t(y) * width + std::size_t(x)];
}

int CEdgeImg::put(int x, int y, const EdgePoint &point) {
  if (x < 0 || y < 0 || std::uint32_t(x) >= width || std::uint32_t(y) >= height) return -1;
  EdgePoint *&cell = cells[std::size_t(y) * width + std::size_t(x)];
  if (!cell) {
    cell = new (std::nothrow) EdgePoint;
    if (!cell) return 1;
    ++count;
  }
  *cell = point;
  return 0;
}

}  // namespace kel
