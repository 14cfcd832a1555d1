// Memory images from outside: the length-taking loaders never read past the
// given size (every truncation of a valid block is refused, under the
// sanitizers too), and a header or model size word pointing far outside the
// block is refused by both forms before anything is read through it (it once
// crashed the loader).
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <vector>

#include "kelkit.h"
#include "locate/search/search_texture.hpp"
#include "support/test_images.hpp"

namespace {

using Load2 = std::function<int(const void *, int)>;
using Load = std::function<int(const void *)>;

void check_bounds(const std::vector<std::uint8_t> &block, int header_offset, const Load &load,
                  const Load2 &load2) {
  const int size = static_cast<int>(block.size());
  // Exact size: loads; every shorter copy (in a buffer of exactly that size,
  // so an over-read is a sanitizer report) is refused with 10.
  {
    std::vector<std::uint8_t> exact(block);
    EXPECT_EQ(load2(exact.data(), size), 0);
  }
  for (int n = 0; n < size; n += (n < 600 ? 1 : 97)) {
    std::vector<std::uint8_t> cut(block.begin(), block.begin() + n);
    EXPECT_EQ(load2(n ? cut.data() : block.data(), n), KEL_ERR_ARGUMENT) << n;
  }
  EXPECT_EQ(load2(block.data(), -1), KEL_ERR_ARGUMENT);
  // A header-size word of 0x40000000 in an otherwise valid block.
  std::vector<std::uint8_t> bad(block);
  const std::uint32_t huge = 0x40000000u;
  std::memcpy(bad.data() + header_offset, &huge, 4);
  EXPECT_EQ(load(bad.data()), KEL_ERR_ARGUMENT);
  EXPECT_EQ(load2(bad.data(), size), KEL_ERR_ARGUMENT);
}

TEST(MemoryImageBounds, CorrelationSearchBlock) {
  st::Texture tex = st::make_texture(120, 100, 2.0, 3);
  kt::TestImage scene = st::scene(tex, 120, 100);
  kt::TestImage model = st::cut(scene, 30, 20, 26, 22);
  KelSearchParams *p = kel_search_create_params();
  ASSERT_EQ(kel_search_train(scene, model, p), 0);
  int size = 0;
  ASSERT_EQ(kel_search_params_mem_size(p, &size), 0);
  std::vector<std::uint8_t> block(size);
  ASSERT_EQ(kel_search_save_params_to_mem(p, block.data(), size), 0);
  // The reader takes the width from the word the writer leaves holding the
  // height, and the height from the word after it, which the writer leaves
  // alone: set both so the block describes its own model.
  const std::int32_t dims[2] = {p->model->dx, p->model->dy};
  std::memcpy(block.data() + 464 + 12, dims, 8);
  KelSearchParams *q = kel_search_create_params();
  check_bounds(
      block, 8, [&](const void *b) { return kel_search_load_params_from_mem(q, b); },
      [&](const void *b, int n) { return kel_search_load_params_from_mem2(q, b, n); });
  kel_search_delete_params(q);
  kel_search_delete_params(p);
}

TEST(MemoryImageBounds, TrainableSearchBlock) {
  st::Texture tex = st::make_texture(120, 100, 2.0, 5);
  kt::TestImage scene = st::scene(tex, 120, 100);
  kt::TestImage model = st::cut(scene, 40, 30, 24, 20);
  KelVelaParams *p = kel_vela_search_create_params();
  ASSERT_EQ(kel_vela_search_train(scene, model, p), 0);
  int size = 0;
  ASSERT_EQ(kel_vela_search_params_mem_size(p, &size), 0);
  std::vector<std::uint8_t> block(size);
  ASSERT_EQ(kel_vela_search_save_params_to_mem(p, block.data(), size), 0);
  KelVelaParams *q = kel_vela_search_create_params();
  check_bounds(
      block, 8, [&](const void *b) { return kel_vela_search_load_params_from_mem(q, b); },
      [&](const void *b, int n) { return kel_vela_search_load_params_from_mem2(q, b, n); });
  kel_vela_search_delete_params(q);
  kel_vela_search_delete_params(p);
}

}  // namespace
