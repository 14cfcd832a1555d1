// Fuzz target for the crawler file reader (kel_load_crawler). Every input is
// stored as a crawler file and loaded; a file that loads must be written back
// byte for byte identical (the format has exactly one encoding of a crawler),
// and a file that does not load must be refused with code 112 under
// "kel_load_crawler" and leave the crawler unchanged.
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
#include "kelkit/crawler.h"

namespace {

using fuzz::read_file;
using fuzz::write_file;

std::string temp_name(const char *what) {
  return fuzz::temp_name("crawler", what);
}

void require(bool ok, const char *what) {
  fuzz::require("crawler_file_fuzzer", ok, what);
}

// Loads the bytes; returns the status after checking the contract above.
int load_and_check(const std::uint8_t *data, std::size_t size) {
  const std::string path = temp_name(".crw");
  if (!write_file(path, data, size)) return -1;
  KelCrawler *c = kel_crawler_create(nullptr);
  require(c != nullptr, "create failed");
  require(kel_crawler_set_edge_level(c, 77) == 0, "setting failed");
  im_clear_report();
  int status = kel_load_crawler(c, path.c_str());
  if (status != 0) {
    require(status == KEL_ERR_FILE || status == KEL_ERR_NO_MEMORY, "unexpected status");
    require(im_last_code() == status && std::strcmp(im_last_function(), "kel_load_crawler") == 0,
            "failure not reported under kel_load_crawler");
    require(kel_crawler_get_point_count(c) == 0 && kel_crawler_get_edge_level(c) == 77 &&
                kel_crawler_get_stop(c) == KEL_CRAWL_NONE,
            "a refused file changed the crawler");
  } else {
    int points = kel_crawler_get_point_count(c);
    int stop = kel_crawler_get_stop(c);
    require((points == 0) == (stop == KEL_CRAWL_NONE), "points and stop reason disagree");
    require(kel_crawler_get_closed(c) == (stop == KEL_CRAWL_CLOSED ? 1 : 0), "closed flag");
    for (int i = 0; i < points; ++i) {
      int strength = -1;
      require(kel_crawler_get_point(c, i, nullptr, nullptr, nullptr, &strength) == 0,
              "point read-out");
      require(strength >= 0, "negative strength");
    }
    require(kel_crawler_get_edge_level(c) >= 1 && kel_crawler_get_step(c) >= 0.1,
            "setting out of range");
    const std::string copy = temp_name("_copy.crw");
    require(kel_save_crawler(c, copy.c_str()) == 0, "write back failed");
    std::vector<std::uint8_t> back = read_file(copy);
    require(back.size() == size && (size == 0 || std::memcmp(back.data(), data, size) == 0),
            "write back differs");
    std::remove(copy.c_str());
  }
  kel_crawler_delete(c);
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
      "crawler_file_fuzzer", argc, argv, [](const std::filesystem::path &file) {
        std::vector<std::uint8_t> bytes = read_file(file.string());
        int status = load_and_check(bytes.data(), bytes.size());
        return file.filename().string().rfind("valid_", 0) != 0 || status == 0;
      });
}
#endif
