// Fuzz target for the crawler file reader (kel_load_crawler). Every input is
// stored as a crawler file and loaded; a file that loads must be written back
// byte for byte identical (the format has exactly one encoding of a crawler),
// and a file that does not load must be refused with code 112 under
// "kel_load_crawler" and leave the crawler unchanged.
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

#include "kelkit/crawler.h"

namespace {

std::string temp_name(const char *what) {
  return std::string(KELKIT_FUZZ_TMP_DIR) + "/fuzz_crawler_" + std::to_string(getpid()) + what;
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
  std::fprintf(stderr, "crawler_file_fuzzer: %s (%d from %s: %s)\n", what, im_last_code(),
               im_last_function(), im_last_message());
  __builtin_trap();
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
  std::printf("crawler_file_fuzzer: %d inputs replayed, %d valid files failed to load\n", runs,
              failures);
  return runs > 0 && failures == 0 ? 0 : 1;
}
#endif
