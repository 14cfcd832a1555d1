// Fuzz target for the contour file reader (kel_ctd_load). Every input is
// stored as a ".trc" file and loaded; a file that loads must be written back
// byte for byte identical (the format has exactly one encoding of a set),
// and a file that does not load must be refused with code 112 under
// "kel_ctd_load" and leave the set unchanged.
//
// Built with libFuzzer (KELKIT_LIBFUZZER) it is a normal fuzz target. Built
// without it, main() replays the files and directories named on the command
// line; corpus files whose names start with "valid_" must load.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "kelkit/contour.h"

namespace {

std::string temp_name(const char *what) {
  return std::string(KELKIT_FUZZ_TMP_DIR) + "/fuzz_contour_" + std::to_string(getpid()) + what;
}

bool write_file(const std::string &path, const std::uint8_t *data, std::size_t size) {
  std::FILE *f = std::fopen(path.c_str(), "wb");
  if (!f) return false;
  bool ok = size == 0 || std::fwrite(data, 1, size, f) == size;
  return std::fclose(f) == 0 && ok;
}

std::vector<std::uint8_t> read_file(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void require(bool ok, const char *what) {
  if (ok) return;
  std::fprintf(stderr, "contour_file_fuzzer: %s (%d from %s: %s)\n", what, im_last_code(),
               im_last_function(), im_last_message());
  __builtin_trap();
}

// Loads the bytes; returns the status after checking the contract above.
int load_and_check(const std::uint8_t *data, std::size_t size) {
  const std::string path = temp_name(".trc");
  if (!write_file(path, data, size)) return -1;
  KelContourSet *set = kel_ctd_create(nullptr);
  require(set != nullptr, "create failed");
  kel_ctd_set_edge_level(set, 77);
  im_clear_report();
  int status = kel_ctd_load(set, path.c_str());
  if (status != 0) {
    require(status == KEL_ERR_FILE || status == KEL_ERR_NO_MEMORY, "unexpected status");
    require(im_last_code() == status && std::strcmp(im_last_function(), "kel_ctd_load") == 0,
            "failure not reported under kel_ctd_load");
    require(kel_ctd_get_point_count(set) == 0 && kel_ctd_get_edge_level(set) == 77,
            "a refused file changed the set");
  } else {
    int points = kel_ctd_get_point_count(set);
    for (int c = 0; c < kel_ctd_get_contour_count(set); ++c) {
      int start = -1, count = -1;
      require(kel_ctd_get_contour(set, c, &start, &count, nullptr) == 0, "contour read-out");
      require(start >= 0 && count >= 1 && start + count <= points, "contour outside the points");
    }
    const std::string copy = temp_name("_copy.trc");
    require(kel_ctd_save(set, copy.c_str()) == 0, "write back failed");
    std::vector<std::uint8_t> back = read_file(copy);
    require(back.size() == size && (size == 0 || std::memcmp(back.data(), data, size) == 0),
            "write back differs");
    std::remove(copy.c_str());
  }
  kel_ctd_delete(set);
  std::remove(path.c_str());
  return status;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  load_and_check(data, size);
  return 0;
}

#ifndef KELKIT_LIBFUZZER
namespace {

void replay(const std::filesystem::path &file, int &runs, int &failures) {
  std::vector<std::uint8_t> bytes = read_file(file.string());
  int status = load_and_check(bytes.data(), bytes.size());
  ++runs;
  if (file.filename().string().rfind("valid_", 0) == 0 && status != 0) {
    std::fprintf(stderr, "%s: does not load: %s\n", file.c_str(), im_last_message());
    ++failures;
  }
}

}  // namespace

int main(int argc, char **argv) {
  int runs = 0, failures = 0;
  for (int i = 1; i < argc; ++i) {
    std::filesystem::path p(argv[i]);
    if (std::filesystem::is_directory(p)) {
      for (const auto &entry : std::filesystem::directory_iterator(p))
        if (entry.is_regular_file()) replay(entry.path(), runs, failures);
    } else {
      replay(p, runs, failures);
    }
  }
  std::printf("contour_file_fuzzer: %d inputs replayed, %d valid files failed to load\n", runs,
              failures);
  return runs > 0 && failures == 0 ? 0 : 1;
}
#endif
