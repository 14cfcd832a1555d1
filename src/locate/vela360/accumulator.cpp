// The vote grid (peak finding by a counter histogram) and the pooled angle
// lists of the 360 search.
#include "locate/vela360/accumulator.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "frame/image_guard.hpp"
#include "frame/pixels.hpp"

namespace kel::locate {

CAccumulator::CAccumulator(int width, int height) {
  resize(width, height);
}

void CAccumulator::resize(int width, int height) {
  nWidth = std::max(width, 0);
  nHeight = std::max(height, 0);
  cells.assign(static_cast<std::size_t>(nWidth) * nHeight, 0);
}

void CAccumulator::clear() {
  std::fill(cells.begin(), cells.end(), 0);
}

void CAccumulator::clearSquare(int x, int y, int r) {
  int x0 = std::max(x - r, 0), x1 = std::min(x + r, nWidth - 1);
  int y0 = std::max(y - r, 0), y1 = std::min(y + r, nHeight - 1);
  for (int yy = y0; yy <= y1; ++yy)
    for (int xx = x0; xx <= x1; ++xx)
      cells[static_cast<std::size_t>(yy) * nWidth + xx] = 0;
}

void CAccumulator::vote(int x, int y, int weight) {
  for (int yy = y - nRadius; yy <= y + nRadius; ++yy) {
    std::uint16_t *row = cells.data() + static_cast<std::size_t>(yy) * nWidth;
    for (int xx = x - nRadius; xx <= x + nRadius; ++xx)
      row[xx] = static_cast<std::uint16_t>(row[xx] + weight);
  }
}

void CAccumulator::voteKernel(int x, int y) {
  std::uint16_t *c = cells.data() + static_cast<std::size_t>(y) * nWidth + x;
  for (int dy = -1; dy <= 1; ++dy) {
    std::uint16_t *r = c + dy * nWidth;
    r[-1] = static_cast<std::uint16_t>(r[-1] + 1);
    r[0] = static_cast<std::uint16_t>(r[0] + 1);
    r[1] = static_cast<std::uint16_t>(r[1] + 1);
  }
  *c = static_cast<std::uint16_t>(*c + 2);
}

CAccumulator::Peak CAccumulator::findMax() const {
  Peak best;
  best.value = -1;
  for (int y = 0; y < nHeight; ++y)
    for (int x = 0; x < nWidth; ++x)
      if (at(x, y) > best.value) best = {x, y, at(x, y)};
  if (best.value < 0) best = {};
  return best;
}

// Threshold: walking counter values from 65535 down to 1, the first value at
// which the number of cells at or above it exceeds n (1 when it never does);
// every cell at or above the threshold is collected, stably sorted by value,
// and the list is cut at n.
std::vector<CAccumulator::Peak> CAccumulator::findPeaks(int n) const {
  std::vector<Peak> peaks;
  if (n < 1) return peaks;
  std::vector<std::uint32_t> histogram(65536, 0);
  for (std::uint16_t v : cells)
    ++histogram[v];
  std::uint64_t sum = 0;
  int threshold = 1;
  for (int v = 65535; v >= 1; --v) {
    sum += histogram[v];
    if (sum > static_cast<std::uint64_t>(n)) {
      threshold = v;
      break;
    }
  }
  if (sum < 1) return peaks;
  for (int y = 0; y < nHeight; ++y)
    for (int x = 0; x < nWidth; ++x)
      if (at(x, y) >= threshold) peaks.push_back({x, y, at(x, y)});
  std::stable_sort(peaks.begin(), peaks.end(),
                   [](const Peak &a, const Peak &b) { return a.value > b.value; });
  if (peaks.size() > static_cast<std::size_t>(n)) peaks.resize(static_cast<std::size_t>(n));
  return peaks;
}

int CAccumulator::writeImage(const char *path) const {
  ImagePtr img = make_image(BYTE, nWidth, nHeight);
  if (!img) return 4;
  int max = findMax().value;
  double scale = max > 0 ? 255.0 / max : 0.0;
  for (int y = 0; y < nHeight; ++y) {
    std::uint8_t *row = kel::row<std::uint8_t>(img.get(), y);
    for (int x = 0; x < nWidth; ++x)
      row[x] = static_cast<std::uint8_t>(at(x, y) * scale);
  }
  return im_file_write(path, img.get(), 0);
}

CAngleAccumulator::CAngleAccumulator(int width, int height)
    : nWidth(std::max(width, 0)), nHeight(std::max(height, 0)) {
  grid.assign(static_cast<std::size_t>(nWidth) * nHeight, 0);
  owned_.reserve(kLists);
  for (int i = 0; i < kLists; ++i) {
    owned_.push_back(std::make_unique<Block>());
    owned_.back()->next = pool;
    pool = owned_.back().get();
  }
}

CAngleAccumulator::~CAngleAccumulator() = default;

CAngleAccumulator::Block *CAngleAccumulator::takeBlock() {
  if (!pool) {
    owned_.push_back(std::make_unique<Block>());
    pool = owned_.back().get();
  }
  Block *b = pool;
  pool = b->next;
  b->next = nullptr;
  return b;
}

bool CAngleAccumulator::claim(int x, int y) {
  if (x < 0 || y < 0 || x >= nWidth || y >= nHeight) return false;
  std::int32_t &cell = grid[static_cast<std::size_t>(y) * nWidth + x];
  if (cell != 0) return true;
  if (nNextList >= kLists) return false;
  cell = nNextList++;
  lists[cell] = List{};
  return true;
}

bool CAngleAccumulator::hasList(int x, int y) const {
  return x >= 0 && y >= 0 && x < nWidth && y < nHeight &&
         grid[static_cast<std::size_t>(y) * nWidth + x] != 0;
}

int CAngleAccumulator::count(int x, int y) const {
  if (!hasList(x, y)) return 0;
  return lists[grid[static_cast<std::size_t>(y) * nWidth + x]].count;
}

bool CAngleAccumulator::add(int x, int y, double angle) {
  if (!claim(x, y)) return false;
  List &l = lists[grid[static_cast<std::size_t>(y) * nWidth + x]];
  if (!l.last || l.count % kBlockValues == 0) {
    Block *b = takeBlock();
    if (l.last)
      l.last->next = b;
    else
      l.first = b;
    l.last = b;
  }
  double a = std::fmod(angle, 6.283185307179586);
  if (a < 0.0) a += 6.283185307179586;
  l.last->values[l.count % kBlockValues] = static_cast<std::uint16_t>(a * 10000.0);
  ++l.count;
  return true;
}

void CAngleAccumulator::clear() {
  for (int i = 1; i < nNextList; ++i) {
    List &l = lists[i];
    if (l.first) {
      l.last->next = pool;
      pool = l.first;
    }
    l = List{};
  }
  nNextList = 1;
  std::fill(grid.begin(), grid.end(), 0);
}

}  // namespace kel::locate
