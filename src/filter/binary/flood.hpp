// Flood fill over the object (or background) pixels of a BYTE image, the
// core of reconstruction: seeds spread to 4- or 8-connected neighbours that
// belong to the set.
#pragma once

#include <cstdint>
#include <vector>

#include "frame/call.hpp"
#include "frame/pixels.hpp"

namespace kel::nb {

class Flood {
 public:
  // The set is the object pixels (nonzero) of `img`, or its background.
  Flood(const Image *img, Area a, bool objects)
      : w_(a.dx), h_(a.dy), state_(std::size_t(a.dx) * a.dy) {
    for (int y = 0; y < h_; ++y) {
      const std::uint8_t *p = row<const std::uint8_t>(img, y);
      for (int x = 0; x < w_; ++x)
        state_[index(x, y)] = (p[x] != 0) == objects ? kInSet : 0;
    }
  }

  // Marks (x, y) reached when it belongs to the set.
  void seed(int x, int y) {
    std::uint8_t &s = state_[index(x, y)];
    if (s == kInSet) {
      s = kInSet | kReached;
      queue_.push_back(index(x, y));
    }
  }

  void seed_border() {
    for (int x = 0; x < w_; ++x)
      seed(x, 0), seed(x, h_ - 1);
    for (int y = 0; y < h_; ++y)
      seed(0, y), seed(w_ - 1, y);
  }

  // Reaches every set pixel connected to a seed.
  void spread(int connectivity) {
    for (std::size_t head = 0; head < queue_.size(); ++head) {
      const int x = static_cast<int>(queue_[head] % w_), y = static_cast<int>(queue_[head] / w_);
      for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx) {
          if ((dx == 0 && dy == 0) || (connectivity == 4 && dx != 0 && dy != 0)) continue;
          const int nx = x + dx, ny = y + dy;
          if (nx >= 0 && ny >= 0 && nx < w_ && ny < h_) seed(nx, ny);
        }
    }
  }

  // dst = 255 where object(in_set, reached) holds, else 0.
  template <class Rule>
  void write(Image *dst, Rule object) const {
    for (int y = 0; y < h_; ++y) {
      std::uint8_t *out = row<std::uint8_t>(dst, y);
      for (int x = 0; x < w_; ++x) {
        const std::uint8_t s = state_[index(x, y)];
        out[x] = object((s & kInSet) != 0, (s & kReached) != 0) ? 255 : 0;
      }
    }
  }

 private:
  static constexpr std::uint8_t kInSet = 1, kReached = 2;
  std::size_t index(int x, int y) const { return std::size_t(y) * w_ + x; }
  int w_, h_;
  std::vector<std::uint8_t> state_;
  std::vector<std::size_t> queue_;
};

}  // namespace kel::nb
