// Owners of the search records for the tests, and readers of the persisted
// forms: a text file's whole content and little-endian words and doubles of
// a memory image.
#pragma once

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "kelkit.h"

namespace lt {

struct SearchParamsDeleter {
  void operator()(KelSearchParams *p) const { kel_search_delete_params(p); }
};
using SearchParams = std::unique_ptr<KelSearchParams, SearchParamsDeleter>;

struct VelaParamsDeleter {
  void operator()(KelVelaParams *p) const { kel_vela_search_delete_params(p); }
};
using VelaParams = std::unique_ptr<KelVelaParams, VelaParamsDeleter>;

struct VelaResultsDeleter {
  void operator()(KelVelaResults *r) const { kel_vela_search_delete_results(r); }
};
using VelaResults = std::unique_ptr<KelVelaResults, VelaResultsDeleter>;

inline std::string read_text(const std::filesystem::path &p) {
  std::ifstream f(p);
  std::stringstream s;
  s << f.rdbuf();
  return s.str();
}

// The little-endian word at byte `off`, unsigned and signed.
inline std::uint32_t word(const std::vector<std::uint8_t> &b, std::size_t off) {
  return std::uint32_t{b[off]} | std::uint32_t{b[off + 1]} << 8 | std::uint32_t{b[off + 2]} << 16 |
         std::uint32_t{b[off + 3]} << 24;
}
inline std::int32_t signed_word(const std::vector<std::uint8_t> &b, std::size_t off) {
  return static_cast<std::int32_t>(word(b, off));
}

// The little-endian double at byte `off` (two words, low first).
inline double dbl(const std::vector<std::uint8_t> &b, std::size_t off) {
  double d;
  std::uint64_t v = word(b, off) | std::uint64_t{word(b, off + 4)} << 32;
  std::memcpy(&d, &v, 8);
  return d;
}

}  // namespace lt
