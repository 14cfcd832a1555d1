// Blob finding against an independent flood fill on random binary images of
// several sizes and densities, both connectivities, masters and views; the
// limits, the traces and the sort orders on the same images.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <tuple>
#include <vector>

#include "kelkit.h"
#include "measure/blob/blob_support.hpp"
#include "support/test_images.hpp"

namespace {

struct RefBlob {
  unsigned xmin, ymin, xmax, ymax, xfirst, yfirst, area = 0, perim = 0;
  double sumx = 0, sumy = 0;
};

// Labels the object pixels by flood fill and measures each component.
struct Reference {
  int dx, dy;
  std::vector<int> label;
  std::vector<RefBlob> blobs;

  Reference(const Image *img, std::uint8_t object, bool eight) : dx(img->dx), dy(img->dy) {
    label.assign(std::size_t(dx) * dy, -1);
    auto is_object = [&](int x, int y) {
      return x >= 0 && y >= 0 && x < dx && y < dy && kt::get(img, x, y) == object;
    };
    std::vector<std::pair<int, int>> stack;
    for (int y = 0; y < dy; ++y)
      for (int x = 0; x < dx; ++x) {
        if (!is_object(x, y) || label[y * dx + x] >= 0) continue;
        const int id = static_cast<int>(blobs.size());
        RefBlob b{unsigned(x), unsigned(y), unsigned(x), unsigned(y), unsigned(x), unsigned(y)};
        label[y * dx + x] = id;
        stack.assign(1, {x, y});
        while (!stack.empty()) {
          auto [px, py] = stack.back();
          stack.pop_back();
          b.xmin = std::min(b.xmin, unsigned(px));
          b.xmax = std::max(b.xmax, unsigned(px));
          b.ymin = std::min(b.ymin, unsigned(py));
          b.ymax = std::max(b.ymax, unsigned(py));
          ++b.area;
          b.sumx += px;
          b.sumy += py;
          for (int ny = py - 1; ny <= py + 1; ++ny)
            for (int nx = px - 1; nx <= px + 1; ++nx) {
              const bool edge = (nx == px) != (ny == py);
              if (edge && !is_object(nx, ny)) ++b.perim;  // an exposed pixel edge
              if (!(edge || (eight && nx != px && ny != py))) continue;
              if (is_object(nx, ny) && label[ny * dx + nx] < 0) {
                label[ny * dx + nx] = id;
                stack.emplace_back(nx, ny);
              }
            }
        }
        blobs.push_back(b);
      }
  }
};

// Random 0/255 image: isolated pixels at low density, clumps at high.
kt::TestImage random_binary(int dx, int dy, double density, std::uint32_t seed, bool as_view,
                            std::uint8_t object) {
  kt::TestImage img = as_view ? kt::view(BYTE, dx, dy) : kt::image(BYTE, dx, dy);
  std::mt19937 gen(seed);
  std::bernoulli_distribution on(density);
  for (int y = 0; y < dy; ++y)
    for (int x = 0; x < dx; ++x)
      kt::set(img, x, y, on(gen) ? object : 255 - object);
  return img;
}

struct Case {
  int dx, dy;
  double density;
  std::uint32_t seed;
  bool as_view, eight;
  std::uint8_t object;
};

std::vector<Case> cases() {
  std::vector<Case> v;
  std::mt19937 gen(2024);
  const double densities[] = {0.05, 0.3, 0.45, 0.6, 0.85};
  for (std::uint32_t seed = 0; seed < 60; ++seed) {
    int dx = 1 + gen() % 90, dy = 1 + gen() % 50;
    if (seed % 10 == 0) dx = 200 + gen() % 70;  // rows longer than many words
    v.push_back({dx, dy, densities[seed % 5], seed, (seed / 5) % 2 == 1, (seed / 2) % 2 == 0,
                 std::uint8_t(seed % 3 == 0 ? 0 : 255)});
  }
  return v;
}

std::tuple<unsigned, unsigned> first_pixel(const BlobResults *r, unsigned i) {
  return {kel_blob_get_yfirst(r, int(i)), kel_blob_get_xfirst(r, int(i))};
}

TEST(BlobRandom, MatchesFloodFill) {
  auto r = kt::blob::results(4, 1);
  for (const Case &c : cases()) {
    SCOPED_TRACE(testing::Message()
                 << c.dx << "x" << c.dy << " density " << c.density << " seed " << c.seed
                 << " view " << c.as_view << " eight " << c.eight << " object " << int(c.object));
    kt::TestImage img = random_binary(c.dx, c.dy, c.density, c.seed, c.as_view, c.object);
    auto p = kt::blob::white_params(c.eight ? 8 : 4);
    kel_blob_set_blob_color(p.get(), c.object);
    ASSERT_EQ(kel_blob_find(img, p.get(), r.get(), KEL_BLOB_COORDS_IMAGE), 0);
    Reference ref(img, c.object, c.eight);
    const unsigned n = kel_blob_get_num_found(r.get());
    ASSERT_EQ(n, ref.blobs.size());

    // Pair the blobs by their first pixels, unique to each blob.
    std::vector<unsigned> order(n);
    for (unsigned i = 0; i < n; ++i)
      order[i] = i;
    std::sort(order.begin(), order.end(), [&](unsigned a, unsigned b) {
      return first_pixel(r.get(), a) < first_pixel(r.get(), b);
    });
    for (unsigned k = 0; k < n; ++k) {
      const RefBlob &e = ref.blobs[k];  // the fill meets blobs in raster order
      const int i = int(order[k]);
      ASSERT_EQ(kel_blob_get_yfirst(r.get(), i), e.yfirst) << k;
      ASSERT_EQ(kel_blob_get_xfirst(r.get(), i), e.xfirst) << k;
      EXPECT_EQ(kel_blob_get_area(r.get(), i), e.area) << k;
      EXPECT_EQ(kel_blob_get_perim(r.get(), i), e.perim) << k;
      EXPECT_EQ(kel_blob_get_xmin(r.get(), i), e.xmin) << k;
      EXPECT_EQ(kel_blob_get_xmax(r.get(), i), e.xmax) << k;
      EXPECT_EQ(kel_blob_get_ymin(r.get(), i), e.ymin) << k;
      EXPECT_EQ(kel_blob_get_ymax(r.get(), i), e.ymax) << k;
      EXPECT_EQ(kel_blob_get_width(r.get(), i), e.xmax - e.xmin + 1) << k;
      EXPECT_EQ(kel_blob_get_height(r.get(), i), e.ymax - e.ymin + 1) << k;
      EXPECT_EQ(kel_blob_get_xcent(r.get(), i), e.sumx / e.area) << k;
      EXPECT_EQ(kel_blob_get_ycent(r.get(), i), e.sumy / e.area) << k;
    }
    EXPECT_TRUE(kt::margin_intact(img));
  }
}

TEST(BlobRandom, LimitsKeepExactlyTheBlobsInside) {
  auto r = kt::blob::results(0, 1);
  std::mt19937 gen(5);
  for (const Case &c : cases()) {
    kt::TestImage img = random_binary(c.dx, c.dy, c.density, c.seed, c.as_view, 255);
    Reference ref(img, 255, c.eight);
    auto p = kt::blob::white_params(c.eight ? 8 : 4);
    // Each limit set with probability one half.
    auto maybe = [&](unsigned v) { return gen() % 2 ? v : KEL_BLOB_UNSET; };
    const unsigned lim[6] = {maybe(gen() % 4),     maybe(1 + gen() % 8), maybe(gen() % 4),
                             maybe(1 + gen() % 8), maybe(gen() % 6),     maybe(2 + gen() % 30)};
    kel_blob_set_min_width(p.get(), lim[0]);
    kel_blob_set_max_width(p.get(), lim[1]);
    kel_blob_set_min_height(p.get(), lim[2]);
    kel_blob_set_max_height(p.get(), lim[3]);
    kel_blob_set_min_area(p.get(), lim[4]);
    kel_blob_set_max_area(p.get(), lim[5]);
    ASSERT_EQ(kel_blob_find(img, p.get(), r.get(), 1), 0);
    auto inside = [](unsigned v, unsigned lo, unsigned hi, unsigned unset_hi) {
      if (lo == KEL_BLOB_UNSET && hi == KEL_BLOB_UNSET) return true;
      return v >= (lo == KEL_BLOB_UNSET ? 0 : lo) && v <= (hi == KEL_BLOB_UNSET ? unset_hi : hi);
    };
    std::vector<std::tuple<unsigned, unsigned>> expected, got;
    for (const RefBlob &b : ref.blobs)
      if (inside(b.xmax - b.xmin + 1, lim[0], lim[1], 4096) &&
          inside(b.ymax - b.ymin + 1, lim[2], lim[3], 4096) &&
          inside(b.area, lim[4], lim[5], 2000000000))
        expected.emplace_back(b.yfirst, b.xfirst);
    for (unsigned i = 0; i < kel_blob_get_num_found(r.get()); ++i)
      got.push_back(first_pixel(r.get(), i));
    std::sort(got.begin(), got.end());
    EXPECT_EQ(got, expected) << "seed " << c.seed;
  }
}

TEST(BlobRandom, TracesWalkTheBoundaryOfTheirBlob) {
  auto r = kt::blob::results(8, 1);
  for (const Case &c : cases()) {
    kt::TestImage img = random_binary(c.dx, c.dy, c.density, c.seed, c.as_view, 255);
    Reference ref(img, 255, true);
    auto p = kt::blob::white_params(8);
    ASSERT_EQ(kel_blob_find(img, p.get(), r.get(), 1), 0);
    kt::blob::Perims perims(kel_blob_perimeter_create_results(0, 4, 1, nullptr));
    ASSERT_EQ(kel_blob_results_find_perimeter_points(img, r.get(), 255, perims.get()), 0);
    ASSERT_EQ(perims->count, kel_blob_get_num_found(r.get()));
    for (unsigned i = 0; i < perims->count; ++i) {
      const BlobRecord &b = *r->blobs[i];
      const PerimeterPointSet &s = *perims->sets[i];
      const int id = ref.label[b.yfirst * ref.dx + b.xfirst];
      ASSERT_GE(s.count, 1u);
      ASSERT_LE(s.count, b.perim);
      EXPECT_EQ(s.x[0], int(b.xfirst));
      EXPECT_EQ(s.y[0], int(b.yfirst));
      EXPECT_EQ(s.count == 1, b.area == 1);
      for (unsigned k = 0; k < s.count; ++k) {
        const int x = s.x[k], y = s.y[k];
        // A pixel of this blob with a 4-neighbour outside it.
        ASSERT_EQ(ref.label[y * ref.dx + x], id);
        auto outside = [&](int nx, int ny) {
          return nx < 0 || ny < 0 || nx >= ref.dx || ny >= ref.dy ||
                 ref.label[ny * ref.dx + nx] != id;
        };
        EXPECT_TRUE(outside(x - 1, y) || outside(x + 1, y) || outside(x, y - 1) ||
                    outside(x, y + 1));
        // Consecutive points (and the last and the first) are 8-neighbours.
        const unsigned next = (k + 1) % s.count;
        if (s.count > 1) {
          EXPECT_LE(std::abs(s.x[next] - x), 1);
          EXPECT_LE(std::abs(s.y[next] - y), 1);
          EXPECT_FALSE(s.x[next] == x && s.y[next] == y);
        }
      }
    }
  }
}

TEST(BlobRandom, SortsAreOrderedPermutations) {
  kt::TestImage img = random_binary(120, 90, 0.3, 77, true, 255);
  auto p = kt::blob::white_params(4);
  auto r = kt::blob::results(16, 1);
  ASSERT_EQ(kel_blob_find(img, p.get(), r.get(), 1), 0);
  const unsigned n = kel_blob_get_num_found(r.get());
  ASSERT_GT(n, 200u);
  std::vector<BlobRecord *> found(r->blobs, r->blobs + n);
  std::sort(found.begin(), found.end());
  auto value = [](const BlobRecord *b, unsigned key) -> double {
    switch (key) {
      case 0:
        return b->area;
      case 1:
        return b->xcent;
      case 2:
        return b->ycent;
      case 5:
        return b->xcent + b->ycent;
      case 6:
        return b->xcent - b->ycent;
      case 7:
        return b->height;
      case 8:
        return b->width;
      default:
        return b->perim;
    }
  };
  for (unsigned key : {0u, 1u, 2u, 5u, 6u, 7u, 8u, 9u})
    for (unsigned order : {0u, 1u}) {
      ASSERT_EQ(kel_blob_sort(r.get(), key, order), 0);
      for (unsigned i = 1; i < n; ++i) {
        double a = value(r->blobs[i - 1], key), b = value(r->blobs[i], key);
        ASSERT_TRUE(order ? a >= b : a <= b) << "key " << key << " order " << order << " at " << i;
      }
      std::vector<BlobRecord *> now(r->blobs, r->blobs + n);
      std::sort(now.begin(), now.end());
      ASSERT_EQ(now, found);
    }
}

}  // namespace
