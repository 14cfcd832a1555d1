// Keyed text files of the calibration transforms.
#include "frame/regular_file.hpp"
#include "geometry/calibration/text_file.hpp"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace kel::calib {

bool read_bounded(const char *path, std::size_t limit, std::string &text, bool &opened) {
  std::FILE *f = kel::regular_file(path) ? std::fopen(path, "rb") : nullptr;
  opened = f != nullptr;
  if (!f) return false;
  text.clear();
  char buf[4096];
  std::size_t got;
  bool ok = true;
  while ((got = std::fread(buf, 1, sizeof buf, f)) > 0) {
    if (text.size() + got > limit) {
      ok = false;
      break;
    }
    text.append(buf, got);
  }
  if (std::ferror(f)) ok = false;
  std::fclose(f);
  return ok;
}

namespace {

// A number written by "%.17g" (or by hand): the whole word must parse, and
// the value must be finite.
bool parse_number(const std::string &word, double &v) {
  if (word.empty() || word.size() > 64) return false;
  char *end = nullptr;
  errno = 0;
  v = std::strtod(word.c_str(), &end);
  return end == word.c_str() + word.size() && std::isfinite(v) && errno != ERANGE;
}

std::vector<std::string> words_of(const std::string &line) {
  std::vector<std::string> words;
  std::istringstream in(line);
  std::string w;
  while (in >> w)
    words.push_back(w);
  return words;
}

}  // namespace

bool parse_keyed(const std::string &text, const std::string &header,
                 const std::vector<std::string> &keys, const std::vector<int> &counts,
                 std::vector<double> &values) {
  if (text.find('\0') != std::string::npos) return false;
  std::vector<std::vector<std::string>> lines;
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    std::vector<std::string> w = words_of(line);
    if (!w.empty()) lines.push_back(std::move(w));
  }
  if (lines.size() != keys.size() + 1) return false;
  std::vector<std::string> head = words_of(header);
  if (lines[0] != head) return false;
  std::vector<double> out;
  for (std::size_t k = 0; k < keys.size(); ++k) {
    const std::vector<std::string> &w = lines[k + 1];
    if (w.size() != std::size_t(counts[k]) + 1 || w[0] != keys[k]) return false;
    for (std::size_t i = 1; i < w.size(); ++i) {
      double v;
      if (!parse_number(w[i], v)) return false;
      out.push_back(v);
    }
  }
  values.insert(values.end(), out.begin(), out.end());
  return true;
}

bool write_keyed(const char *path, const std::string &header, const std::vector<std::string> &keys,
                 const std::vector<std::vector<double>> &values) {
  std::FILE *f = std::fopen(path, "wb");
  if (!f) return false;
  bool ok = std::fprintf(f, "%s\n", header.c_str()) > 0;
  for (std::size_t k = 0; k < keys.size() && ok; ++k) {
    ok = std::fprintf(f, "%s", keys[k].c_str()) > 0;
    for (double v : values[k])
      ok = ok && std::fprintf(f, " %.17g", v) > 0;
    ok = ok && std::fprintf(f, "\n") > 0;
  }
  return std::fclose(f) == 0 && ok;
}

}  // namespace kel::calib
