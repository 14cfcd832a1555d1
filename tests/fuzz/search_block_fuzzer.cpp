// Fuzz target for the memory images of the two correlation-based searches
// (kel_search_load_params_from_mem2, kel_vela_search_load_params_from_mem2).
// The first byte picks the search (even: correlation, odd: trainable); the
// rest is the block, given with its exact length, so any read past it is a
// sanitizer report. A block that loads is then used: the search runs on a
// fixed textured scene and must succeed. A refused block must give code 10
// or 4 under the loader's name and leave the record as it was.
//
// Without libFuzzer, main() replays the corpus (files named "valid_*" must
// load); `search_block_fuzzer --seeds DIR` writes those seeds from records
// trained here.
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz_support.hpp"
#include "kelkit.h"

namespace {

void require(bool ok, const char *what) {
  fuzz::require("search_block_fuzzer", ok, what);
}

// A smooth texture of 96 x 72 and a 24 x 20 model cut from it.
struct Scene {
  Image *scene = im_create(BYTE, 96, 72);
  Image *model = im_create(BYTE, 24, 20);
  Scene() {
    for (int y = 0; y < 72; ++y)
      for (int x = 0; x < 96; ++x)
        static_cast<std::uint8_t *>(scene->rows[y])[x] =
            static_cast<std::uint8_t>(128 + 60 * __builtin_sin(x * 0.21 + y * 0.05) +
                                      50 * __builtin_cos(y * 0.17 - x * 0.07));
    for (int y = 0; y < 20; ++y)
      std::memcpy(model->rows[y], static_cast<std::uint8_t *>(scene->rows[y + 30]) + 40, 24);
  }
  ~Scene() {
    im_delete(model);
    im_delete(scene);
  }
};

const Scene &scene() {
  static const Scene s;
  return s;
}

int load_and_use(const std::uint8_t *data, std::size_t size) {
  if (size < 1 || size > (1u << 24)) return -1;
  kel_set_use_mmx(0);
  const bool vela = data[0] & 1;
  std::vector<std::uint8_t> block(data + 1, data + size);  // exactly the given bytes
  const int n = static_cast<int>(block.size());
  const void *b = n ? block.data() : data;
  im_clear_report();
  if (!vela) {
    KelSearchParams *p = kel_search_create_params();
    const int steps = p->scan_step_x;
    int status = kel_search_load_params_from_mem2(p, b, n);
    if (status != 0) {
      require(status == KEL_ERR_ARGUMENT || status == KEL_ERR_NO_MEMORY, "unexpected status");
      require(std::strcmp(im_last_function(), "kel_search_load_params_from_mem2") == 0,
              "failure not reported under the loader");
      require(p->model == nullptr && p->scan_step_x == steps, "a refused block changed the record");
    } else {
      double x, y, score;
      require(kel_search(scene().scene, p, 1, &x, &y, &score) == 0 || im_last_code() != 0,
              "search failed without a report");
    }
    kel_search_delete_params(p);
    return status;
  }
  KelVelaParams *p = kel_vela_search_create_params();
  int status = kel_vela_search_load_params_from_mem2(p, b, n);
  if (status != 0) {
    require(status == KEL_ERR_ARGUMENT || status == KEL_ERR_NO_MEMORY, "unexpected status");
    require(p->model == nullptr, "a refused block changed the record");
  } else {
    KelVelaResults *r = kel_vela_search_create_results(2);
    require(kel_vela_search_find(scene().scene, p, 1, r) == 0 || im_last_code() != 0,
            "find failed without a report");
    kel_vela_search_delete_results(r);
  }
  kel_vela_search_delete_params(p);
  return status;
}

// Valid blocks from records trained on the scene.
void write_seeds(const std::string &dir) {
  KelSearchParams *s = kel_search_create_params();
  kel_search_train(scene().scene, scene().model, s);
  int size = 0;
  kel_search_params_mem_size(s, &size);
  std::vector<std::uint8_t> a(size + 1, 0);
  kel_search_save_params_to_mem(s, a.data() + 1, size);
  // The reader takes the model's width and height from the two words at
  // H + 12 and H + 16; the writer leaves the second unset.
  const std::int32_t dims[2] = {s->model->dx, s->model->dy};
  std::memcpy(a.data() + 1 + 464 + 12, dims, 8);
  fuzz::write_file(dir + "/valid_correlation", a.data(), a.size());
  kel_search_delete_params(s);

  KelVelaParams *v = kel_vela_search_create_params();
  kel_vela_search_train(scene().scene, scene().model, v);
  kel_vela_search_params_mem_size(v, &size);
  std::vector<std::uint8_t> c(size + 1, 0);
  c[0] = 1;
  kel_vela_search_save_params_to_mem(v, c.data() + 1, size);
  fuzz::write_file(dir + "/valid_trainable", c.data(), c.size());
  kel_vela_search_delete_params(v);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  load_and_use(data, size);
  return 0;
}

#ifndef KELKIT_LIBFUZZER
int main(int argc, char **argv) {
  if (argc == 3 && std::string(argv[1]) == "--seeds") {
    write_seeds(argv[2]);
    return 0;
  }
  return fuzz::replay_corpus(
      "search_block_fuzzer", argc, argv, [](const std::filesystem::path &file) {
        std::vector<std::uint8_t> bytes = fuzz::read_file(file.string());
        int status = load_and_use(bytes.data(), bytes.size());
        return file.filename().string().rfind("valid_", 0) != 0 || status == 0;
      });
}
#endif
