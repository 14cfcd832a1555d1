// The dissimilarity formula, the model's score normalisation and the
// conversions between percent scores and the internal scale.
#include <climits>
#include <cstdint>

#include "frame/pixels.hpp"
#include "locate/search/search_model.hpp"

namespace kel::locate {

int truncate_to_int(double v) {
  if (!(v > -2147483649.0 && v < 2147483648.0)) return INT_MIN;
  return static_cast<int>(v);
}

double dissimilarity(const DiffSums &s, double n) {
  double sum = static_cast<std::int32_t>(s.sum);
  double squares = s.squares;
  return (n * squares - sum * sum) / n / (n - 1.0);
}

int clamp_cost(double d) {
  if (!(d > 0.0)) return 0;
  if (d > kMaxCost) return kMaxCost;
  return static_cast<int>(d);
}

ScoreScale score_constants(const Image *model) {
  // D(model, U) with U uniform 128: the differences are 128 - m. D(model,
  // model) has zero differences.
  DiffSums uniform;
  for (int y = 0; y < model->dy; ++y) {
    const std::uint8_t *m = row<const std::uint8_t>(model, y);
    for (int x = 0; x < model->dx; ++x) {
      std::uint32_t d = 128u - m[x];
      uniform.sum += d;
      uniform.squares += d * d;
    }
  }
  double n = static_cast<double>(model->dx) * model->dy;
  ScoreScale s;
  s.offset = dissimilarity(DiffSums{}, n);
  s.scale = 100.0 / (dissimilarity(uniform, n) + s.offset);
  return s;
}

int percent_to_internal(int percent, const ScoreScale &s) {
  return truncate_to_int((100.0 - percent) / s.scale + s.offset);
}

int internal_to_percent(int cost, const ScoreScale &s) {
  int p = truncate_to_int(100.0 - (cost - s.offset) * s.scale);
  if (p > 100) return 100;
  if (p < 1) return 0;
  return p;
}

}  // namespace kel::locate
