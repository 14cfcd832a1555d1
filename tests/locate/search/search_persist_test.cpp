// The correlation search's persisted forms: the text file with its companion
// image (content line by line, the companion's name, round trip, failures)
// and the memory image read back byte by byte at its layout's offsets,
// including the deliberately asymmetric model block and the untrained record.
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "kelkit.h"
#include "locate/search/search_records.hpp"
#include "locate/search/search_texture.hpp"

namespace {

namespace fs = std::filesystem;

using lt::dbl;
using lt::read_text;
using lt::word;
using Params = lt::SearchParams;

void put_word(std::vector<std::uint8_t> &b, std::size_t off, std::uint32_t v) {
  for (int i = 0; i < 4; ++i)
    b[off + i] = static_cast<std::uint8_t>(v >> (8 * i));
}

bool same_pixels(const Image *a, const Image *b) {
  if (a->dx != b->dx || a->dy != b->dy) return false;
  for (int y = 0; y < a->dy; ++y)
    for (int x = 0; x < a->dx; ++x)
      if (kt::get(a, x, y) != kt::get(b, x, y)) return false;
  return true;
}

class SearchPersist : public ::testing::Test {
 protected:
  void SetUp() override {
    kt::clear_report();
    // ctest runs tests in parallel processes: each gets its own folder.
    dir = fs::path(KELKIT_TEST_TMP_DIR) / ("search_persist_" + std::to_string(getpid()));
    fs::remove_all(dir);
    fs::create_directories(dir);
  }
  // A record trained on a model of mw by mh (frame included) cut from a
  // smooth scene.
  Params trained(int mw, int mh) {
    Params p(kel_search_create_params());
    model = st::cut(scene, 30, 20, mw, mh);
    EXPECT_EQ(kel_search_train(scene, model, p.get()), 0);
    return p;
  }
  fs::path dir;
  st::Texture tex = st::make_texture(120, 100, 2.0, 3);
  kt::TestImage scene = st::scene(tex, 120, 100);
  kt::TestImage model;
};

TEST_F(SearchPersist, TextFileAndImageRoundTrip) {
  Params p = trained(26, 26);
  p->scan_step_x = 5;
  p->scan_pattern_y = 11;
  p->auto_step = 0;
  p->early_term = 97;
  p->suspicious = 80;
  p->auto_retry = 0;
  p->sub_pixel = 0;
  p->num_to_find = 3;
  p->subpix_bias_x = 0.0123456;
  p->subpix_bias_y = -0.5;
  const fs::path prm = dir / "part.prm";
  ASSERT_EQ(kel_search_save_params(p.get(), prm.c_str(), nullptr), 0);
  EXPECT_NO_REPORT();
  char expected[1024];
  std::snprintf(expected, sizeof expected,
                "5\n8\n8\n11\n0\n97\n80\n0\n0\n%d\n%d\n%d\n%d\n%f\n%f\n%s\n", p->trained_step_x,
                p->trained_step_y, p->trained_pattern_x, p->trained_pattern_y, 0.0123456, -0.5,
                (dir / "part.bmp").c_str());
  EXPECT_EQ(read_text(prm), expected);
  ASSERT_TRUE(fs::exists(dir / "part.bmp"));

  Params q(kel_search_create_params());
  ASSERT_EQ(kel_search_load_params(q.get(), prm.c_str()), 0);
  EXPECT_NO_REPORT();
  for (auto f :
       {&KelSearchParams::scan_step_x, &KelSearchParams::scan_step_y,
        &KelSearchParams::scan_pattern_x, &KelSearchParams::scan_pattern_y,
        &KelSearchParams::auto_step, &KelSearchParams::early_term, &KelSearchParams::suspicious,
        &KelSearchParams::auto_retry, &KelSearchParams::sub_pixel, &KelSearchParams::trained_step_x,
        &KelSearchParams::trained_step_y, &KelSearchParams::trained_pattern_x,
        &KelSearchParams::trained_pattern_y})
    EXPECT_EQ(q.get()->*f, p.get()->*f);
  EXPECT_EQ(q->num_to_find, 1);           // not saved
  EXPECT_EQ(q->subpix_bias_x, 0.012346);  // six decimals
  EXPECT_EQ(q->subpix_bias_y, -0.5);
  ASSERT_NE(q->model, nullptr);
  EXPECT_TRUE(same_pixels(q->model, p->model));
  // The loader normalises with the stored (unframed) model.
  EXPECT_GT(q->score_scale, 0.0);
  EXPECT_EQ(q->score_offset, 0.0);
  q->auto_step = 1;
  double x, y, score;
  ASSERT_EQ(kel_search(scene, q.get(), 0, &x, &y, &score), 0);
  EXPECT_EQ(score, 100.0);
  EXPECT_EQ(x, 31 + 12);
  EXPECT_EQ(y, 21 + 12);

  // Loading replaces the model.
  Params r = trained(20, 16);
  ASSERT_EQ(kel_search_load_params(r.get(), prm.c_str()), 0);
  EXPECT_TRUE(same_pixels(r->model, p->model));
}

TEST_F(SearchPersist, CompanionImageNames) {
  Params p = trained(12, 10);
  // An explicit name wins; an empty one does not count.
  const fs::path other = dir / "other.bmp";
  ASSERT_EQ(kel_search_save_params(p.get(), (dir / "a.prm").c_str(), other.c_str()), 0);
  EXPECT_TRUE(fs::exists(other));
  EXPECT_FALSE(fs::exists(dir / "a.bmp"));
  EXPECT_NE(read_text(dir / "a.prm").find(other.string() + "\n"), std::string::npos);
  ASSERT_EQ(kel_search_save_params(p.get(), (dir / "b.x.prm").c_str(), ""), 0);
  EXPECT_TRUE(fs::exists(dir / "b.x.bmp"));
  // No dot: the whole path plus ".bmp"; a dot only in a directory name cuts
  // there.
  ASSERT_EQ(kel_search_save_params(p.get(), (dir / "plain").c_str(), nullptr), 0);
  EXPECT_TRUE(fs::exists(dir / "plain.bmp"));
  fs::create_directories(dir / "dir.v2");
  ASSERT_EQ(kel_search_save_params(p.get(), (dir / "dir.v2" / "part").c_str(), nullptr), 0);
  EXPECT_TRUE(fs::exists(dir / "dir.bmp"));
  EXPECT_TRUE(fs::exists(dir / "dir.v2" / "part"));
  EXPECT_NO_REPORT();
}

TEST_F(SearchPersist, TextFileFailures) {
  Params p = trained(12, 10);
  const fs::path prm = dir / "p.prm";
  // Files that cannot be opened: 9 without a report.
  EXPECT_EQ(kel_search_save_params(p.get(), (dir / "none" / "p.prm").c_str(), nullptr), 9);
  EXPECT_EQ(kel_search_load_params(p.get(), (dir / "missing.prm").c_str()), 9);
  EXPECT_NO_REPORT();
  EXPECT_EQ(kel_search_save_params(nullptr, prm.c_str(), nullptr), KEL_ERR_ARGUMENT);
  EXPECT_REPORT("kel_search_save_params", KEL_ERR_ARGUMENT);
  EXPECT_EQ(kel_search_save_params(p.get(), nullptr, nullptr), KEL_ERR_ARGUMENT);
  EXPECT_EQ(kel_search_load_params(nullptr, prm.c_str()), KEL_ERR_ARGUMENT);
  EXPECT_REPORT("kel_search_load_params", KEL_ERR_ARGUMENT);

  // A malformed file changes nothing.
  std::ofstream(dir / "bad.prm") << "8\n8\nx\n";
  Image *before = p->model;
  EXPECT_EQ(kel_search_load_params(p.get(), (dir / "bad.prm").c_str()), 9);
  EXPECT_REPORT("kel_search_load_params", 9);
  EXPECT_EQ(p->model, before);

  // A missing model image: the fields are loaded, the model is gone.
  ASSERT_EQ(kel_search_save_params(p.get(), prm.c_str(), nullptr), 0);
  fs::remove(dir / "p.bmp");
  p->scan_step_x = 77;
  EXPECT_EQ(kel_search_load_params(p.get(), prm.c_str()), 9);
  EXPECT_REPORT("kel_search_load_params", 9);
  EXPECT_EQ(p->scan_step_x, 8);
  EXPECT_EQ(p->model, nullptr);

  // A 16-bit image cannot be read into the BYTE model: the code of the image
  // reader, and the record holds a model of the file's size.
  kt::TestImage wide = kt::image(WORD, 7, 5);
  ASSERT_EQ(im_file_write((dir / "p.pgm").c_str(), wide, 0), 0);
  ASSERT_EQ(kel_search_save_params(trained(12, 10).get(), prm.c_str(), (dir / "x.bmp").c_str()), 0);
  std::string text = read_text(prm);
  text.replace(text.find((dir / "x.bmp").string()), (dir / "x.bmp").string().size(),
               (dir / "p.pgm").string());
  std::ofstream(prm) << text;
  int code = kel_search_load_params(p.get(), prm.c_str());
  EXPECT_EQ(code, KEL_ERR_TYPE_MISMATCH);
  EXPECT_REPORT("kel_search_load_params", code);
  ASSERT_NE(p->model, nullptr);
  EXPECT_EQ(p->model->dx, 7);

  // Saving an untrained record: the text file is written, the image writer
  // refuses the missing model.
  Params u(kel_search_create_params());
  EXPECT_EQ(kel_search_save_params(u.get(), (dir / "u.prm").c_str(), nullptr), KEL_ERR_NULL_IMAGE);
  EXPECT_REPORT("kel_search_save_params", KEL_ERR_NULL_IMAGE);
  EXPECT_TRUE(fs::exists(dir / "u.prm"));
}

TEST_F(SearchPersist, MemoryImageLayout) {
  Params p = trained(26, 26);  // a 24 x 24 model
  p->reserved = 0x01020304;
  p->early_term = 95;
  p->subpix_bias_x = 0.125;
  p->subpix_bias_y = -0.0625;
  int size = -1;
  ASSERT_EQ(kel_search_params_mem_size(p.get(), &size), 0);
  ASSERT_EQ(size, 24 * 24 + 485);
  std::vector<std::uint8_t> b(size + 16, 0xAB);
  ASSERT_EQ(kel_search_save_params_to_mem(p.get(), b.data(), size), 0);
  EXPECT_NO_REPORT();
  EXPECT_EQ(b[0], 0x34);  // little-endian magic
  EXPECT_EQ(b[3], 0xDE);
  EXPECT_EQ(word(b, 0), 0xDEAF1234u);
  EXPECT_EQ(word(b, 4), 1u);
  EXPECT_EQ(word(b, 8), 464u);
  const int settings[] = {8, 8, 8, 8, 1, 95, 90, 1, 0x01020304};
  for (int i = 0; i < 9; ++i)
    EXPECT_EQ(word(b, 12 + 4 * i), std::uint32_t(settings[i])) << i;
  EXPECT_EQ(word(b, 56), std::uint32_t(p->trained_step_x));
  EXPECT_EQ(word(b, 60), std::uint32_t(p->trained_step_y));
  EXPECT_EQ(word(b, 64), std::uint32_t(p->trained_pattern_x));
  EXPECT_EQ(word(b, 68), std::uint32_t(p->trained_pattern_y));
  EXPECT_EQ(dbl(b, 164), 0.125);
  EXPECT_EQ(dbl(b, 172), -0.0625);
  EXPECT_EQ(word(b, 476), 24u);
  // The gaps and the height slot are not written.
  for (auto [from, to] :
       {std::pair{48, 56}, std::pair{72, 164}, std::pair{180, 476}, std::pair{480, 484}})
    for (int i = from; i < to; ++i)
      ASSERT_EQ(b[i], 0xAB) << i;
  for (int y = 0; y < 24; ++y)
    for (int x = 0; x < 24; ++x)
      ASSERT_EQ(b[484 + 24 * y + x], kt::get(p->model, x, y));
  for (std::size_t i = 484 + 576; i < b.size(); ++i)
    ASSERT_EQ(b[i], 0xAB) << i;

  // The reader takes the height from the slot: with it filled in, a square
  // model comes back whole, with every written field.
  Params q(kel_search_create_params());
  EXPECT_EQ(kel_search_load_params_from_mem(q.get(), b.data()), KEL_ERR_ARGUMENT);  // slot < 1
  EXPECT_REPORT("kel_search_load_params_from_mem", KEL_ERR_ARGUMENT);
  EXPECT_EQ(q->model, nullptr);
  put_word(b, 480, 24);
  ASSERT_EQ(kel_search_load_params_from_mem(q.get(), b.data()), 0);
  EXPECT_TRUE(same_pixels(q->model, p->model));
  EXPECT_EQ(q->reserved, 0x01020304);
  EXPECT_EQ(q->early_term, 95);
  EXPECT_EQ(q->trained_step_x, p->trained_step_x);
  EXPECT_EQ(q->trained_pattern_y, p->trained_pattern_y);
  EXPECT_EQ(q->subpix_bias_y, -0.0625);
  EXPECT_EQ(q->sub_pixel, 1);  // not in the block
  // Normalised with the stored model: 100 / its sample variance.
  double sum = 0, squares = 0;
  for (int y = 0; y < 24; ++y)
    for (int x = 0; x < 24; ++x) {
      double v = kt::get(q->model, x, y);
      sum += v, squares += v * v;
    }
  EXPECT_NEAR(q->score_scale, 100.0 / ((576 * squares - sum * sum) / 576 / 575), 1e-12);

  // Failures leave the record as it was.
  Image *kept = q->model;
  std::vector<std::uint8_t> bad = b;
  bad[0] ^= 1;
  EXPECT_EQ(kel_search_load_params_from_mem(q.get(), bad.data()), KEL_ERR_ARGUMENT);
  bad = b;
  put_word(bad, 476, 0);
  EXPECT_EQ(kel_search_load_params_from_mem(q.get(), bad.data()), KEL_ERR_ARGUMENT);
  bad = b;
  put_word(bad, 8, 100);
  EXPECT_EQ(kel_search_load_params_from_mem(q.get(), bad.data()), KEL_ERR_ARGUMENT);
  EXPECT_EQ(q->model, kept);
  EXPECT_EQ(kel_search_load_params_from_mem(nullptr, b.data()), KEL_ERR_ARGUMENT);
  EXPECT_EQ(kel_search_load_params_from_mem(q.get(), nullptr), KEL_ERR_ARGUMENT);
  EXPECT_REPORT("kel_search_load_params_from_mem", KEL_ERR_ARGUMENT);

  // The size check, and a negative size that skips it.
  EXPECT_EQ(kel_search_save_params_to_mem(p.get(), b.data(), size - 1), KEL_ERR_ARGUMENT);
  EXPECT_REPORT("kel_search_save_params_to_mem", KEL_ERR_ARGUMENT);
  EXPECT_EQ(kel_search_save_params_to_mem(p.get(), b.data(), -1), 0);
  EXPECT_EQ(kel_search_save_params_to_mem(nullptr, b.data(), size), KEL_ERR_ARGUMENT);
  EXPECT_EQ(kel_search_save_params_to_mem(p.get(), nullptr, size), KEL_ERR_ARGUMENT);
  EXPECT_EQ(kel_search_params_mem_size(nullptr, &size), KEL_ERR_ARGUMENT);
  EXPECT_EQ(size, 0);
  EXPECT_REPORT("kel_search_params_mem_size", KEL_ERR_ARGUMENT);
}

TEST_F(SearchPersist, MemoryImageOfNonSquareAndUntrainedRecords) {
  // Wide model, 30 x 20: the size word holds the height and rows step by it,
  // so each row overwrites the tail of the one before. Read back with the
  // slot at 20, the model is its left 20 columns.
  Params wide = trained(32, 22);
  int size = 0;
  ASSERT_EQ(kel_search_params_mem_size(wide.get(), &size), 0);
  EXPECT_EQ(size, 30 * 20 + 485);
  std::vector<std::uint8_t> b(size, 0xAB);
  ASSERT_EQ(kel_search_save_params_to_mem(wide.get(), b.data(), size), 0);
  EXPECT_EQ(word(b, 476), 20u);
  for (int y = 0; y < 20; ++y)
    for (int x = 0; x < (y == 19 ? 30 : 20); ++x)
      ASSERT_EQ(b[484 + 20 * y + x], kt::get(wide->model, x, y)) << x << "," << y;
  for (std::size_t i = 484 + 19 * 20 + 30; i < b.size(); ++i)
    ASSERT_EQ(b[i], 0xAB);
  put_word(b, 480, 20);
  Params q(kel_search_create_params());
  ASSERT_EQ(kel_search_load_params_from_mem(q.get(), b.data()), 0);
  ASSERT_EQ(q->model->dx, 20);
  ASSERT_EQ(q->model->dy, 20);
  for (int y = 0; y < 20; ++y)
    for (int x = 0; x < 20; ++x)
      ASSERT_EQ(kt::get(q->model, x, y), kt::get(wide->model, x, y));

  // Tall model, 20 x 30: rows at a stride of 30 reach 484 + 29 * 30 + 20,
  // beyond dx * dy + 485, so that size is refused and the longer one taken.
  Params tall = trained(22, 32);
  ASSERT_EQ(kel_search_params_mem_size(tall.get(), &size), 0);
  EXPECT_EQ(size, 20 * 30 + 485);
  const int extent = 484 + 29 * 30 + 20;
  std::vector<std::uint8_t> t(extent, 0xAB);
  EXPECT_EQ(kel_search_save_params_to_mem(tall.get(), t.data(), size), KEL_ERR_ARGUMENT);
  ASSERT_EQ(kel_search_save_params_to_mem(tall.get(), t.data(), extent), 0);
  EXPECT_EQ(word(t, 476), 30u);
  for (int y = 0; y < 30; ++y)
    for (int x = 0; x < 20; ++x)
      ASSERT_EQ(t[484 + 30 * y + x], kt::get(tall->model, x, y));

  // Untrained: no size, but the block is written with any non-negative size
  // and a zero size word.
  Params u(kel_search_create_params());
  size = 5;
  EXPECT_EQ(kel_search_params_mem_size(u.get(), &size), KEL_ERR_ARGUMENT);
  EXPECT_EQ(size, 0);
  EXPECT_REPORT("kel_search_params_mem_size", KEL_ERR_ARGUMENT);
  kt::clear_report();
  u->reserved = 9;
  std::vector<std::uint8_t> e(600, 0xAB);
  ASSERT_EQ(kel_search_save_params_to_mem(u.get(), e.data(), 0), 0);
  EXPECT_NO_REPORT();
  EXPECT_EQ(word(e, 0), 0xDEAF1234u);
  EXPECT_EQ(word(e, 44), 9u);
  EXPECT_EQ(word(e, 56), 8u);
  EXPECT_EQ(word(e, 476), 0u);
  for (std::size_t i = 480; i < e.size(); ++i)
    ASSERT_EQ(e[i], 0xAB) << i;
  ASSERT_EQ(kel_search_save_params_to_mem(u.get(), e.data(), -7), 0);
  // Such a block has no model to load.
  EXPECT_EQ(kel_search_load_params_from_mem(u.get(), e.data()), KEL_ERR_ARGUMENT);
}

}  // namespace
