// Pieces shared by the fuzz targets: temporary files, the contract check
// that stops a run, and the corpus replay that stands in for libFuzzer in
// plain builds (each target then doubles as a test of its corpus).
#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "pixsvc.h"

namespace fuzz {

// A file name in the build's scratch folder, unique to this process.
inline std::string temp_name(const char *target, const std::string &what) {
  return std::string(KELKIT_FUZZ_TMP_DIR) + "/fuzz_" + target + "_" + std::to_string(getpid()) +
         "_" + what;
}

// Writes the bytes as a fresh file (removed first, so no old content stays).
inline bool write_file(const std::string &path, const std::uint8_t *data, std::size_t size) {
  std::remove(path.c_str());
  std::FILE *f = std::fopen(path.c_str(), "wb");
  if (!f) return false;
  bool ok = size == 0 || std::fwrite(data, 1, size, f) == size;
  return std::fclose(f) == 0 && ok;
}

inline std::vector<std::uint8_t> read_file(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Stops the run on a result the library must never give, with the last
// report for context.
inline void require(const char *target, bool ok, const char *what) {
  if (ok) return;
  std::fprintf(stderr, "%s: %s (%d from %s: %s)\n", target, what, im_last_code(),
               im_last_function(), im_last_message());
  __builtin_trap();
}

// Replays every regular file of the files and directories named on the
// command line through replay_one(path), which returns false for a corpus
// file that must load and does not. Prints a summary; the exit status is 0
// when at least one input ran and none failed.
template <class ReplayOne>
int replay_corpus(const char *target, int argc, char **argv, ReplayOne replay_one) {
  int runs = 0, failures = 0;
  auto run = [&](const std::filesystem::path &file) {
    ++runs;
    if (!replay_one(file)) {
      std::fprintf(stderr, "%s: does not load: %s\n", file.c_str(), im_last_message());
      ++failures;
    }
  };
  for (int i = 1; i < argc; ++i) {
    std::filesystem::path p(argv[i]);
    if (std::filesystem::is_directory(p)) {
      for (const auto &entry : std::filesystem::directory_iterator(p))
        if (entry.is_regular_file()) run(entry.path());
    } else {
      run(p);
    }
  }
  std::printf("%s: %d inputs replayed, %d corpus files failed to load\n", target, runs, failures);
  return runs > 0 && failures == 0 ? 0 : 1;
}

}  // namespace fuzz
