// Fuzz target for the calibration file loaders (kel_xfm_load and
// kel_perspective_xfm_load). Every input is stored as a file and given to
// both. A file that loads must give a usable transform (points map both
// ways or are refused with code 10) that saves and loads back to the same
// numbers; a file that does not load must be refused with code 112 under
// the loader's name and leave the record unchanged.
//
// Built with libFuzzer (KELKIT_LIBFUZZER) it is a normal fuzz target. Built
// without it, main() replays the files and directories named on the command
// line; corpus files whose names start with "valid_" must load with one of
// the two loaders.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz_support.hpp"
#include "kelkit/calibration.h"

namespace {

void require(bool ok, const char *what) {
  fuzz::require("calibration_file_fuzzer", ok, what);
}

void check_refusal(int status, const char *fn) {
  require(status == KEL_ERR_FILE || status == KEL_ERR_NO_MEMORY, "unexpected status");
  require(im_last_code() == status && std::strcmp(im_last_function(), fn) == 0,
          "failure not reported under the loader");
}

// A mapping call either works or refuses the point with code 10.
void check_map(int status) {
  require(status == 0 || status == KEL_ERR_ARGUMENT, "map failed with an unexpected code");
}

int load_xfm(const std::string &path) {
  KelXfm *xfm = kel_xfm_create(nullptr);
  require(xfm != nullptr, "create failed");
  im_clear_report();
  int status = kel_xfm_load(xfm, path.c_str());
  if (status != 0) {
    check_refusal(status, "kel_xfm_load");
    require(kel_xfm_get_kind(xfm) == KEL_XFM_NONE, "a refused file changed the transform");
  } else {
    double wx, wy, px, py, k[5], d[4], plane[9];
    check_map(kel_xfm_pixel_to_world(xfm, 100, 50, &wx, &wy));
    check_map(kel_xfm_world_to_pixel(xfm, 3, -4, &px, &py));
    require(kel_xfm_get_camera(xfm, k, d, plane) == 0, "camera read-out");
    const std::string copy = fuzz::temp_name("calibration", "copy.txt");
    require(kel_xfm_save(xfm, copy.c_str()) == 0, "write back failed");
    KelXfm *back = kel_xfm_create(nullptr);
    require(kel_xfm_load(back, copy.c_str()) == 0, "written file does not load");
    double k2[5], d2[4], plane2[9];
    kel_xfm_get_camera(back, k2, d2, plane2);
    require(std::memcmp(k, k2, sizeof k) == 0 && std::memcmp(d, d2, sizeof d) == 0 &&
                std::memcmp(plane, plane2, sizeof plane) == 0 &&
                kel_xfm_get_kind(back) == kel_xfm_get_kind(xfm),
            "round trip differs");
    kel_xfm_delete(back);
    std::remove(copy.c_str());
  }
  kel_xfm_delete(xfm);
  return status;
}

int load_perspective(const std::string &path) {
  KelPerspectiveXfm *xfm = kel_perspective_xfm_create(nullptr);
  require(xfm != nullptr, "create failed");
  im_clear_report();
  int status = kel_perspective_xfm_load(xfm, path.c_str());
  if (status != 0) {
    check_refusal(status, "kel_perspective_xfm_load");
    double h[9];
    require(kel_perspective_xfm_get_matrix(xfm, h) == KEL_ERR_ARGUMENT,
            "a refused file changed the transform");
  } else {
    double wx, wy, h[9], h2[9];
    check_map(kel_perspective_xfm_pixel_to_world(xfm, 100, 50, &wx, &wy));
    check_map(kel_perspective_xfm_world_to_pixel(xfm, 3, -4, &wx, &wy));
    require(kel_perspective_xfm_get_matrix(xfm, h) == 0, "matrix read-out");
    const std::string copy = fuzz::temp_name("calibration", "copy_h.txt");
    require(kel_perspective_xfm_save(xfm, copy.c_str()) == 0, "write back failed");
    KelPerspectiveXfm *back = kel_perspective_xfm_create(nullptr);
    require(kel_perspective_xfm_load(back, copy.c_str()) == 0, "written file does not load");
    kel_perspective_xfm_get_matrix(back, h2);
    require(std::memcmp(h, h2, sizeof h) == 0, "round trip differs");
    kel_perspective_xfm_delete(back);
    std::remove(copy.c_str());
  }
  kel_perspective_xfm_delete(xfm);
  return status;
}

// Returns true when one of the loaders accepted the bytes.
bool load_and_check(const std::uint8_t *data, std::size_t size) {
  const std::string path = fuzz::temp_name("calibration", "input.txt");
  if (!fuzz::write_file(path, data, size)) return false;
  bool loaded = load_xfm(path) == 0;
  loaded = load_perspective(path) == 0 || loaded;
  std::remove(path.c_str());
  return loaded;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  load_and_check(data, size);
  return 0;
}

#ifndef KELKIT_LIBFUZZER
int main(int argc, char **argv) {
  return fuzz::replay_corpus("calibration_file_fuzzer", argc, argv,
                             [](const std::filesystem::path &file) {
                               std::vector<std::uint8_t> bytes = fuzz::read_file(file.string());
                               bool loaded = load_and_check(bytes.data(), bytes.size());
                               return file.filename().string().rfind("valid_", 0) != 0 || loaded;
                             });
}
#endif
