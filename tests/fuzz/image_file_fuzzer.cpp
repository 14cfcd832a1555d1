// Fuzz target for the image-file readers. Each input is stored under every
// supported extension and loaded; a file that loads is written back as PGM
// (its own depth) and must read back identical.
//
// Built with libFuzzer (KELKIT_LIBFUZZER) it is a normal fuzz target. Built
// without it, main() replays the files and directories named on the command
// line; a corpus file whose own extension is supported must also load, so
// the replay doubles as a test of the corpus.
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "fuzz_support.hpp"
#include "pixsvc.h"

namespace {

const char *const kExtensions[] = {"bmp", "pgm", "png"};

std::string temp_name(const std::string &what) {
  return fuzz::temp_name("image", what);
}
using fuzz::write_file;
void require(bool ok, const char *what) {
  fuzz::require("image_file_fuzzer", ok, what);
}

bool same_pixels(const Image *a, const Image *b) {
  if (a->dx != b->dx || a->dy != b->dy || a->type != b->type) return false;
  for (int y = 0; y < a->dy; ++y)
    if (std::memcmp(a->rows[y], b->rows[y], static_cast<std::size_t>(a->dx) * a->type) != 0)
      return false;
  return true;
}

// Loads `path`; returns the status. Checks the report and, for small images,
// the PGM round trip.
int load_and_check(const std::string &path) {
  int status = -1;
  Image *img = im_file_load(path.c_str(), &status);
  if (!img) {
    require(status == IM_ERR_FILE_FORMAT || status == IM_ERR_NO_MEMORY, "unexpected status");
    require(im_last_code() == status && std::strcmp(im_last_function(), "im_file_load") == 0,
            "failure not reported under im_file_load");
    return status;
  }
  require(status == IM_OK && img->dx > 0 && img->dy > 0, "bad image loaded");
  int dx = 0, dy = 0, bits = 0;
  require(im_file_get_size(path.c_str(), 0, &dx, &dy, &bits, nullptr) == IM_OK && dx == img->dx &&
              dy == img->dy && bits == static_cast<int>(img->type) * 8,
          "im_file_get_size disagrees with im_file_load");
  if (static_cast<long long>(img->dx) * img->dy <= 1 << 16) {
    const std::string copy = temp_name("copy.pgm");
    require(im_file_write(copy.c_str(), img, 0) == IM_OK, "write back failed");
    int again_status = -1;
    Image *again = im_file_load(copy.c_str(), &again_status);
    require(again && same_pixels(img, again), "PGM round trip differs");
    im_delete(again);
    std::remove(copy.c_str());
  }
  im_delete(img);
  return IM_OK;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  for (const char *ext : kExtensions) {
    const std::string path = temp_name(std::string("input.") + ext);
    if (!write_file(path, data, size)) return 0;
    load_and_check(path);
    std::remove(path.c_str());
  }
  return 0;
}

#ifndef KELKIT_LIBFUZZER
int main(int argc, char **argv) {
  // Every corpus file is fuzzed; one with a known extension must also load.
  return fuzz::replay_corpus(
      "image_file_fuzzer", argc, argv, [](const std::filesystem::path &file) {
        std::vector<std::uint8_t> bytes = fuzz::read_file(file.string());
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        std::string ext = file.extension().string();
        for (char &c : ext)
          c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        for (const char *known : kExtensions)
          if (ext == std::string(".") + known && load_and_check(file.string()) != IM_OK)
            return false;
        return true;
      });
}
#endif
