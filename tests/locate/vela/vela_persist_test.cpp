// The vela search's persisted forms: the text file line by line with its
// companion image, the memory image read back at its layout's offsets,
// round trips through both, and their failures.
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "kelkit.h"
#include "locate/search/search_records.hpp"
#include "locate/vela/vela_scene.hpp"

namespace {

namespace fs = std::filesystem;

using lt::dbl;
using lt::read_text;
using lt::signed_word;
using lt::word;
using Params = lt::VelaParams;
using Results = lt::VelaResults;

class VelaPersist : public ::testing::Test {
 protected:
  void SetUp() override {
    kt::clear_report();
    // ctest runs tests in parallel processes: each gets its own folder.
    dir = fs::path(KELKIT_TEST_TMP_DIR) / ("vela_persist_" + std::to_string(getpid()));
    fs::remove_all(dir);
    fs::create_directories(dir);
  }
  // A record trained on a 30 x 26 model, every setting moved off its default.
  Params trained() {
    Params p(kel_vela_search_create_params());
    EXPECT_EQ(kel_vela_search_train(scene, model, p.get()), 0);
    p->scan_step_x = 5, p->scan_step_y = 6, p->scan_pattern_x = 7, p->scan_pattern_y = 9;
    p->auto_step = 0, p->early_term = 97, p->suspicious = 41, p->auto_retry = 0;
    p->sub_pixel = 3, p->sub_pixel_grid[0] = 4, p->sub_pixel_grid[1] = 2;
    p->subpix_bias_x = 0.125, p->subpix_bias_y = -0.0625;
    p->num_to_find = 4, p->use_geom = 1, p->cont_rev = 1, p->edge_str = 33;
    p->filter_size = 24, p->reject = 12.5, p->involved_tol = 17, p->extscore_setting = 3;
    p->hifeature = 1;
    p->linear_scale[0] = 0.75, p->linear_offset[0] = 2.5;
    p->linear_scale[1] = 1.5, p->linear_offset[1] = -4;
    EXPECT_EQ(kel_vela_search_set_alg(p.get(), 2), 0);
    return p;
  }
  fs::path dir;
  st::Texture tex = st::make_texture(120, 100, 2.0, 3);
  kt::TestImage scene = st::scene(tex, 120, 100);
  kt::TestImage model = st::cut(scene, 30, 20, 30, 26);
};

// Every persisted field of two records is equal.
void expect_same(const KelVelaParams *a, const KelVelaParams *b, bool all_linear) {
  using P = KelVelaParams;
  for (auto f : {&P::scan_step_x,       &P::scan_step_y,
                 &P::scan_pattern_x,    &P::scan_pattern_y,
                 &P::auto_step,         &P::early_term,
                 &P::suspicious,        &P::auto_retry,
                 &P::sub_pixel,         &P::trained_step_x,
                 &P::trained_step_y,    &P::trained_pattern_x,
                 &P::trained_pattern_y, &P::num_to_find,
                 &P::use_geom,          &P::cont_rev,
                 &P::edge_str,          &P::filter_size,
                 &P::involved_tol,      &P::extscore_setting,
                 &P::hifeature,         &P::alg})
    EXPECT_EQ(a->*f, b->*f);
  for (auto f : {&P::subpix_bias_x, &P::subpix_bias_y, &P::reject})
    EXPECT_EQ(a->*f, b->*f);
  EXPECT_NEAR(a->model_mean, b->model_mean, 1e-6);
  EXPECT_NEAR(a->model_variance, b->model_variance, 1e-6);
  EXPECT_EQ(a->sub_pixel_grid[0], b->sub_pixel_grid[0]);
  EXPECT_EQ(a->sub_pixel_grid[1], b->sub_pixel_grid[1]);
  EXPECT_EQ(a->linear_scale[0], b->linear_scale[0]);
  EXPECT_EQ(a->linear_offset[0], b->linear_offset[0]);
  if (all_linear) {
    EXPECT_EQ(a->linear_scale[1], b->linear_scale[1]);
    EXPECT_EQ(a->linear_offset[1], b->linear_offset[1]);
  }
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(a->alg_ops[i], b->alg_ops[i]);
  ASSERT_NE(b->model, nullptr);
  EXPECT_EQ(kt::pixels(a->model), kt::pixels(b->model));
}

TEST_F(VelaPersist, TextFileLinesAndRoundTrip) {
  Params p = trained();
  const fs::path prm = dir / "part.v1.prm";
  ASSERT_EQ(kel_vela_search_save_params(p.get(), prm.c_str(), nullptr), 0);
  EXPECT_NO_REPORT();
  char expected[2048];
  std::snprintf(expected, sizeof expected,
                "5\n6\n7\n9\n0\n97\n41\n0\n3\n%d\n%d\n%d\n%d\n0.125000\n-0.062500\n"
                "4\n1\n1\n33\n24\n12.500000\n17\n4\n2\n3\n1\n%f\n%f\n"
                "0.750000\n2.500000\n1.500000\n-4.000000\n%s\n2\n",
                p->trained_step_x, p->trained_step_y, p->trained_pattern_x, p->trained_pattern_y,
                p->model_mean, p->model_variance, (dir / "part.v1.bmp").c_str());
  EXPECT_EQ(read_text(prm), expected);
  ASSERT_TRUE(fs::exists(dir / "part.v1.bmp"));

  Params q(kel_vela_search_create_params());
  ASSERT_EQ(kel_vela_search_load_params(q.get(), prm.c_str()), 0);
  EXPECT_NO_REPORT();
  // Doubles pass through "%f": six decimals.
  p->model_mean = std::round(p->model_mean * 1e6) / 1e6;
  p->model_variance = std::round(p->model_variance * 1e6) / 1e6;
  expect_same(p.get(), q.get(), true);
  EXPECT_EQ(q->rotated, nullptr);  // remade by the next find

  // The loaded record finds the model like the trained one.
  q->num_to_find = 1;
  q->reject = 0;
  Results r(kel_vela_search_create_results(1));
  ASSERT_EQ(kel_vela_search_find(scene, q.get(), 1, r.get()), 0);
  ASSERT_EQ(r->num_positions, 1);
  EXPECT_NEAR(r->positions[0].x_coord, 30 + 14.5, 0.1);
  EXPECT_NEAR(r->positions[0].y_coord, 20 + 12.5, 0.1);
  EXPECT_EQ(q->angle_count, 9);
  EXPECT_NE(q->rotated, nullptr);

  // An explicit image name wins.
  ASSERT_EQ(
      kel_vela_search_save_params(p.get(), (dir / "b.prm").c_str(), (dir / "img.pgm").c_str()), 0);
  EXPECT_TRUE(fs::exists(dir / "img.pgm"));
}

TEST_F(VelaPersist, TextFileFailures) {
  Params p = trained();
  Params q(kel_vela_search_create_params());
  kt::clear_report();
  EXPECT_EQ(kel_vela_search_save_params(p.get(), (dir / "no/such/x.prm").c_str(), nullptr), 9);
  EXPECT_EQ(im_last_code(), 0);  // no report
  EXPECT_EQ(kel_vela_search_load_params(q.get(), (dir / "missing.prm").c_str()), 9);
  EXPECT_EQ(im_last_code(), 0);
  EXPECT_EQ(kel_vela_search_save_params(nullptr, "x", nullptr), 10);
  EXPECT_REPORT("kel_vela_search_save_params", 10);
  EXPECT_EQ(kel_vela_search_save_params(q.get(), (dir / "u.prm").c_str(), nullptr), 10);
  EXPECT_EQ(kel_vela_search_load_params(q.get(), nullptr), 10);
  EXPECT_REPORT("kel_vela_search_load_params", 10);

  // A truncated file and an alg out of range leave the record unchanged.
  const fs::path prm = dir / "t.prm";
  ASSERT_EQ(kel_vela_search_save_params(p.get(), prm.c_str(), nullptr), 0);
  std::string text = read_text(prm);
  std::ofstream(dir / "short.prm") << text.substr(0, text.size() / 2);
  EXPECT_EQ(kel_vela_search_load_params(q.get(), (dir / "short.prm").c_str()), 9);
  std::ofstream(dir / "alg.prm") << text.substr(0, text.size() - 2) << "3\n";
  EXPECT_EQ(kel_vela_search_load_params(q.get(), (dir / "alg.prm").c_str()), 9);
  EXPECT_EQ(q->scan_step_x, 8);
  EXPECT_EQ(q->model, nullptr);
  // A missing companion image: the fields are loaded, the model is not.
  fs::remove(dir / "t.bmp");
  kt::clear_report();
  EXPECT_EQ(kel_vela_search_load_params(q.get(), prm.c_str()), 9);
  EXPECT_REPORT("kel_vela_search_load_params", 9);
  EXPECT_EQ(q->scan_step_x, 5);
  EXPECT_EQ(q->model, nullptr);
}

TEST_F(VelaPersist, MemoryImageOffsetsAndRoundTrip) {
  Params p = trained();
  int size = 0;
  ASSERT_EQ(kel_vela_search_params_mem_size(p.get(), &size), 0);
  EXPECT_EQ(size, 30 * 26 + 192);
  std::vector<std::uint8_t> b(size, 0xA5);
  ASSERT_EQ(kel_vela_search_save_params_to_mem(p.get(), b.data(), size), 0);
  EXPECT_NO_REPORT();
  EXPECT_EQ(word(b, 0), 0xDEAFBEEFu);
  EXPECT_EQ(signed_word(b, 4), 2);
  EXPECT_EQ(signed_word(b, 8), 188);
  EXPECT_EQ(signed_word(b, 12), 30);
  EXPECT_EQ(signed_word(b, 16), 26);
  EXPECT_EQ(dbl(b, 24), 0.75);
  EXPECT_EQ(dbl(b, 32), 2.5);
  const int ints[] = {5, 6, 7, 9, 0, 97, 41, 0, 3, 4, 2};
  for (int i = 0; i < 11; ++i)
    EXPECT_EQ(signed_word(b, 40 + 4 * i), ints[i]) << i;
  EXPECT_EQ(signed_word(b, 84), p->trained_step_x);
  EXPECT_EQ(signed_word(b, 88), p->trained_step_y);
  EXPECT_EQ(signed_word(b, 92), p->trained_pattern_x);
  EXPECT_EQ(signed_word(b, 96), p->trained_pattern_y);
  EXPECT_EQ(dbl(b, 104), 0.125);
  EXPECT_EQ(dbl(b, 112), -0.0625);
  const int more[] = {4, 1, 1, 33, 24};
  for (int i = 0; i < 5; ++i)
    EXPECT_EQ(signed_word(b, 120 + 4 * i), more[i]) << i;
  EXPECT_EQ(dbl(b, 144), 12.5);
  EXPECT_EQ(signed_word(b, 152), 17);
  EXPECT_EQ(signed_word(b, 156), 3);
  EXPECT_EQ(signed_word(b, 160), 1);
  EXPECT_EQ(dbl(b, 168), p->model_mean);
  EXPECT_EQ(dbl(b, 176), p->model_variance);
  EXPECT_EQ(signed_word(b, 184), 2);
  for (int off : {20, 100, 140, 164})  // not written
    EXPECT_EQ(word(b, off), 0xA5A5A5A5u) << off;
  for (int y = 0; y < 26; ++y)
    for (int x = 0; x < 30; ++x)
      ASSERT_EQ(b[188 + y * 30 + x], kt::get(model, x, y));
  // The four bytes past the block are not written either.
  EXPECT_EQ(word(b, size - 4), 0xA5A5A5A5u);

  Params q(kel_vela_search_create_params());
  ASSERT_EQ(kel_vela_search_load_params_from_mem(q.get(), b.data()), 0);
  EXPECT_NO_REPORT();
  expect_same(p.get(), q.get(), false);
  // Only the first entry of each linear table travels.
  EXPECT_EQ(q->linear_scale[1], 1.0);
  EXPECT_EQ(q->linear_offset[1], 0.0);

  // A negative size skips the check; a too small one is refused.
  std::vector<std::uint8_t> c(size, 0xA5);
  EXPECT_EQ(kel_vela_search_save_params_to_mem(p.get(), c.data(), -1), 0);
  EXPECT_TRUE(std::equal(b.begin(), b.end() - 4, c.begin()));
  kt::clear_report();
  EXPECT_EQ(kel_vela_search_save_params_to_mem(p.get(), c.data(), size - 1), 10);
  EXPECT_REPORT("kel_vela_search_save_params_to_mem", 10);
}

TEST_F(VelaPersist, MemoryImageFailures) {
  Params p = trained();
  Params empty(kel_vela_search_create_params());
  int size = 7;
  kt::clear_report();
  EXPECT_EQ(kel_vela_search_params_mem_size(empty.get(), &size), 10);
  EXPECT_EQ(size, 0);
  EXPECT_REPORT("kel_vela_search_params_mem_size", 10);
  EXPECT_EQ(kel_vela_search_params_mem_size(nullptr, &size), 10);
  EXPECT_EQ(kel_vela_search_params_mem_size(p.get(), nullptr), 10);
  std::vector<std::uint8_t> b(30 * 26 + 192);
  EXPECT_EQ(kel_vela_search_save_params_to_mem(nullptr, b.data(), -1), 10);
  EXPECT_EQ(kel_vela_search_save_params_to_mem(p.get(), nullptr, -1), 10);
  EXPECT_EQ(kel_vela_search_save_params_to_mem(empty.get(), b.data(), -1), 10);
  ASSERT_EQ(kel_vela_search_save_params_to_mem(p.get(), b.data(), -1), 0);

  // Each bad header word is refused with 10 and leaves the record alone.
  auto refused = [&](std::size_t off, std::int32_t v) {
    std::vector<std::uint8_t> c = b;
    std::memcpy(&c[off], &v, 4);
    kt::clear_report();
    EXPECT_EQ(kel_vela_search_load_params_from_mem(empty.get(), c.data()), 10) << off;
    EXPECT_REPORT("kel_vela_search_load_params_from_mem", 10);
    EXPECT_EQ(empty->model, nullptr);
    EXPECT_EQ(empty->scan_step_x, 8);
  };
  refused(0, 0x12345678);  // magic
  refused(8, 187);         // pixel offset inside the header
  refused(12, 0);          // width
  refused(16, -3);         // height
  refused(184, 3);         // alg above alg_max
  refused(184, -1);
  EXPECT_EQ(kel_vela_search_load_params_from_mem(nullptr, b.data()), 10);
  EXPECT_EQ(kel_vela_search_load_params_from_mem(empty.get(), nullptr), 10);
}

}  // namespace
