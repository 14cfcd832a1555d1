// Fuzz target for the image-file readers. Each input is stored under every
// supported extension and loaded; a file that loads is written back as PGM
// (its own depth) and must read back identical.
//
// Built with libFuzzer (KELKIT_LIBFUZZER) it is a normal fuzz target. Built
// without it, main() replays the files and directories named on the command
// line; a corpus file whose own extension is supported must also load, so
// the replay doubles as a test of the corpus.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "pixsvc.h"

namespace {

const char *const kExtensions[] = {"bmp", "pgm", "png"};

std::string temp_name(const char *ext) {
  return std::string(KELKIT_FUZZ_TMP_DIR) + "/fuzz_input_" + std::to_string(getpid()) + "." + ext;
}

bool write_file(const std::string &path, const std::uint8_t *data, std::size_t size) {
  std::remove(path.c_str());
  std::FILE *f = std::fopen(path.c_str(), "wb");
  if (!f) return false;
  bool ok = std::fwrite(data, 1, size, f) == size;
  return std::fclose(f) == 0 && ok;
}

// Stops the run on a result the library must never give.
void require(bool ok, const char *what) {
  if (ok) return;
  std::fprintf(stderr, "image_file_fuzzer: %s (%d from %s: %s)\n", what, im_last_code(),
               im_last_function(), im_last_message());
  __builtin_trap();
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
  require(im_file_get_size(path.c_str(), 0, &dx, &dy, &bits, nullptr) == IM_OK &&
              dx == img->dx && dy == img->dy && bits == static_cast<int>(img->type) * 8,
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
    const std::string path = temp_name(ext);
    if (!write_file(path, data, size)) return 0;
    load_and_check(path);
    std::remove(path.c_str());
  }
  return 0;
}

#ifndef KELKIT_LIBFUZZER
namespace {

int replay(const std::filesystem::path &file, int &failures) {
  std::ifstream in(file, std::ios::binary);
  std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                                  std::istreambuf_iterator<char>());
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  std::string ext = file.extension().string();
  for (char &c : ext)
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  for (const char *known : kExtensions) {
    if (ext == std::string(".") + known && load_and_check(file.string()) != IM_OK) {
      std::fprintf(stderr, "%s: does not load: %s\n", file.c_str(), im_last_message());
      ++failures;
    }
  }
  return 1;
}

}  // namespace

int main(int argc, char **argv) {
  int runs = 0, failures = 0;
  for (int i = 1; i < argc; ++i) {
    std::filesystem::path p(argv[i]);
    if (std::filesystem::is_directory(p)) {
      for (const auto &entry : std::filesystem::directory_iterator(p))
        if (entry.is_regular_file()) runs += replay(entry.path(), failures);
    } else {
      runs += replay(p, failures);
    }
  }
  std::printf("image_file_fuzzer: %d inputs replayed, %d corpus files failed to load\n", runs,
              failures);
  return runs > 0 && failures == 0 ? 0 : 1;
}
#endif
