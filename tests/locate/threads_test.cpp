// The reentrant families from several threads at once: every thread runs
// point, blob, moment and search operations on its own images and records,
// and every result equals the one a serial run gives. Run under the tsan
// preset, this is also the data-race check.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "kelkit.h"
#include "locate/search/search_texture.hpp"
#include "support/test_images.hpp"

namespace {

struct Outcome {
  std::vector<double> sum_pixels;
  unsigned blobs = 0;
  double m00 = 0, hu0 = 0;
  double x = 0, y = 0, score = 0;
  bool operator==(const Outcome &o) const {
    return sum_pixels == o.sum_pixels && blobs == o.blobs && m00 == o.m00 && hu0 == o.hu0 &&
           x == o.x && y == o.y && score == o.score;
  }
};

Outcome run_once(std::uint32_t seed) {
  Outcome out;
  kt::TestImage a = kt::random_image(WORD, 37, 23, seed, true);
  kt::TestImage b = kt::random_image(WORD, 37, 23, seed + 1, true);
  EXPECT_EQ(kel_add2(a, b, 0.5f), 0);
  out.sum_pixels = kt::pixels(b);

  kt::TestImage bin = kt::image(BYTE, 64, 48);
  for (int y = 0; y < 48; ++y)
    for (int x = 0; x < 64; ++x)
      kt::set(bin, x, y, ((x / 7 + y / 5 + seed) % 3 == 0) ? 0 : 255);
  BlobParams *p = kel_blob_create_params(nullptr);
  BlobResults *r = kel_blob_create_results(8, 1, nullptr);
  EXPECT_EQ(kel_blob_find(bin, p, r, KEL_BLOB_COORDS_IMAGE), 0);
  out.blobs = kel_blob_get_num_found(r);
  kel_blob_delete_results(r);
  kel_blob_delete_params(p);

  KelMoments m;
  EXPECT_EQ(kel_moments(bin, KEL_MOMENTS_GREY, &m), 0);
  out.m00 = m.m00;
  out.hu0 = m.hu[0];

  st::Texture tex = st::make_texture(100, 80, 2.0, seed);
  kt::TestImage scene = st::scene(tex, 100, 80);
  kt::TestImage model = st::cut(scene, 30 + seed % 7, 20, 24, 20);
  KelSearchParams *sp = kel_search_create_params();
  EXPECT_EQ(kel_search_train(scene, model, sp), 0);
  EXPECT_EQ(kel_search(scene, sp, 1, &out.x, &out.y, &out.score), 0);
  kel_search_delete_params(sp);
  return out;
}

TEST(Threads, ReentrantFamiliesGiveSerialResults) {
  kel_initialize();
  kel_set_use_mmx(0);
  constexpr int kThreads = 4, kRounds = 3;
  std::vector<Outcome> serial;
  for (int t = 0; t < kThreads; ++t)
    serial.push_back(run_once(100 + t));
  std::vector<int> mismatches(kThreads, 0);
  std::vector<std::thread> pool;
  for (int t = 0; t < kThreads; ++t)
    pool.emplace_back([&, t] {
      for (int k = 0; k < kRounds; ++k)
        if (!(run_once(100 + t) == serial[t])) ++mismatches[t];
    });
  for (std::thread &th : pool)
    th.join();
  for (int t = 0; t < kThreads; ++t)
    EXPECT_EQ(mismatches[t], 0) << "thread " << t;
}

}  // namespace
