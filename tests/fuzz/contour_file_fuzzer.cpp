// Fuzz target for the contour file reader (kel_ctd_load). Every input is
// stored as a ".trc" file and loaded; a file that loads must be written back
// byte for byte identical (the format has exactly one encoding of a set),
// and a file that does not load must be refused with code 112 under
// "kel_ctd_load" and leave the set unchanged.
//
// Built with libFuzzer (KELKIT_LIBFUZZER) it is a normal fuzz target. Built
// without it, main() replays the files and directories named on the command
// line; corpus files whose names start with "valid_" must load.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz_support.hpp"
#include "kelkit/contour.h"

namespace {

using fuzz::read_file;
using fuzz::write_file;

std::string temp_name(const char *what) {
  return fuzz::temp_name("contour", what);
}
void require(bool ok, const char *what) {
  fuzz::require("contour_file_fuzzer", ok, what);
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
int main(int argc, char **argv) {
  // Corpus files whose names start with "valid_" must load.
  return fuzz::replay_corpus(
      "contour_file_fuzzer", argc, argv, [](const std::filesystem::path &file) {
        std::vector<std::uint8_t> bytes = read_file(file.string());
        int status = load_and_check(bytes.data(), bytes.size());
        return file.filename().string().rfind("valid_", 0) != 0 || status == 0;
      });
}
#endif
