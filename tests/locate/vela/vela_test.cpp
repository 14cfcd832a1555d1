// The vela search through its public interface: the record, its presets and
// accessors, training with the turned copies, finding turned and moved
// models to sub-pixel position and fractional angle, the measures of a
// match, and every failure with its code and reporting name.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <vector>

#include "kelkit.h"
#include "locate/search/search_records.hpp"
#include "locate/vela/vela_scene.hpp"

namespace {

using Params = lt::VelaParams;
using Results = lt::VelaResults;

class Vela : public ::testing::Test {
 protected:
  void SetUp() override { kt::clear_report(); }
  // A 40 x 40 model cut at (70, 50) of a 180 x 140 scene of smooth texture;
  // its centre is the texture point (89.5, 69.5).
  static constexpr int kW = 180, kH = 140, kMX = 70, kMY = 50, kM = 40;
  static constexpr double kCX = kMX + (kM - 1) / 2.0, kCY = kMY + (kM - 1) / 2.0;
  st::Texture tex = st::make_texture(kW, kH, 2.0, 7);
  kt::TestImage scene = st::scene(tex, kW, kH);
  kt::TestImage model = st::cut(scene, kMX, kMY, kM, kM);

  Params trained(int preset = -1) {
    Params p(kel_vela_search_create_params());
    EXPECT_NE(p, nullptr);
    if (preset >= 0) kel_vela_search_default_params(p.get(), preset);
    EXPECT_EQ(kel_vela_search_train(scene, model, p.get()), 0);
    EXPECT_NO_REPORT();
    return p;
  }
};

TEST(VelaRecord, DefaultsAndAccessors) {
  Params p(kel_vela_search_create_params());
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->scan_step_x, 8);
  EXPECT_EQ(p->scan_pattern_y, 8);
  EXPECT_EQ(p->auto_step, 1);
  EXPECT_EQ(p->early_term, 100);
  EXPECT_EQ(p->suspicious, 60);
  EXPECT_EQ(p->auto_retry, 1);
  EXPECT_EQ(p->sub_pixel, 0);
  EXPECT_EQ(p->sub_pixel_grid[0], 1);
  EXPECT_EQ(p->sub_pixel_grid[1], 1);
  EXPECT_EQ(p->trained_step_y, 8);
  EXPECT_EQ(p->model, nullptr);
  EXPECT_EQ(p->geo_model, nullptr);
  EXPECT_EQ(p->retry_count, 6);
  const int step_x[] = {-20, 0, -20, 0, -50, -50}, pattern_y[] = {0, -30, -30, -70, 0, -70};
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(p->retry_step_x_pct[i], step_x[i]);
    EXPECT_EQ(p->retry_pattern_y_pct[i], pattern_y[i]);
  }
  EXPECT_EQ(p->revisits, 20);
  EXPECT_EQ(p->num_to_find, 1);
  EXPECT_EQ(p->alg, 0);
  EXPECT_EQ(p->use_geom, 0);
  EXPECT_EQ(p->cont_rev, 0);
  EXPECT_EQ(p->reject, 20.0);
  EXPECT_EQ(p->involved_tol, 20);
  EXPECT_EQ(p->alg_max, 2);
  EXPECT_EQ(p->linear_scale[1], 1.0);
  EXPECT_EQ(p->linear_offset[1], 0.0);
  EXPECT_EQ(p->hifeature, 0);
  EXPECT_EQ(p->edge_str, 20);
  EXPECT_EQ(p->angle_count, 0);
  EXPECT_EQ(p->angles, nullptr);
  EXPECT_EQ(p->coarse_angle_step, 2);
  EXPECT_EQ(p->extscore_setting, 0);
  EXPECT_EQ(p->filter_size, 16);
  for (const void *op : p->alg_ops)
    EXPECT_NE(op, nullptr);

  // Plain pairs store without checks; null records read 0.
  kel_vela_search_set_scan_step_x(p.get(), -3);
  kel_vela_search_set_edge_str(p.get(), 1000);
  kel_vela_search_set_reject(p.get(), 55.5);
  kel_vela_search_set_num_to_find(p.get(), 0);
  EXPECT_EQ(kel_vela_search_get_scan_step_x(p.get()), -3);
  EXPECT_EQ(kel_vela_search_get_edge_str(p.get()), 1000);
  EXPECT_EQ(kel_vela_search_get_reject(p.get()), 55.5);
  EXPECT_EQ(kel_vela_search_get_num_to_find(p.get()), 0);
  EXPECT_EQ(kel_vela_search_get_filter_size(nullptr), 0);
  kel_vela_search_set_sub_pixel_grid(p.get(), 1, 7);
  kel_vela_search_set_sub_pixel_grid(p.get(), 2, 9);  // ignored
  EXPECT_EQ(kel_vela_search_get_sub_pixel_grid(p.get(), 0), 1);
  EXPECT_EQ(kel_vela_search_get_sub_pixel_grid(p.get(), 1), 7);
  EXPECT_EQ(kel_vela_search_get_sub_pixel_grid(p.get(), -1), 0);

  // The extended score setter returns the previous value.
  EXPECT_EQ(kel_vela_search_set_extscore_setting(p.get(), 2), 0);
  EXPECT_EQ(kel_vela_search_set_extscore_setting(p.get(), 2), 2);
  EXPECT_EQ(kel_vela_search_set_extscore_setting(p.get(), 3), 2);
  EXPECT_EQ(kel_vela_search_get_extscore_setting(p.get()), 3);
}

TEST(VelaRecord, RevisitsGrowOrShrinkOnlyToOne) {
  Params p(kel_vela_search_create_params());
  double *store = p->candidate_value;
  kel_vela_search_set_revisits(p.get(), 12);  // smaller: nothing changes
  EXPECT_EQ(kel_vela_search_get_revisits(p.get()), 20);
  EXPECT_EQ(p->candidate_value, store);
  kel_vela_search_set_revisits(p.get(), 20);  // equal: nothing changes
  EXPECT_EQ(p->candidate_value, store);
  kel_vela_search_set_revisits(p.get(), 35);
  EXPECT_EQ(kel_vela_search_get_revisits(p.get()), 35);
  p->candidate_x[34] = p->candidate_y[34] = 1;  // the arrays hold 35 entries
  p->candidate_value[34] = 1;
  kel_vela_search_set_revisits(p.get(), 2);
  EXPECT_EQ(kel_vela_search_get_revisits(p.get()), 35);
  kel_vela_search_set_revisits(p.get(), -5);  // raised to 1: shrinks to 1
  EXPECT_EQ(kel_vela_search_get_revisits(p.get()), 1);
  kel_vela_search_set_revisits(p.get(), 1);  // 1 always reallocates
  EXPECT_EQ(kel_vela_search_get_revisits(p.get()), 1);
  kel_vela_search_set_revisits(p.get(), 3);
  EXPECT_EQ(kel_vela_search_get_revisits(p.get()), 3);
  kel_vela_search_set_revisits(nullptr, 3);
}

TEST(VelaRecord, PresetBits) {
  struct Case {
    int flags;
    int suspicious, sub_pixel, grid;
    double reject;
    int use_geom, auto_retry, cont_rev, hifeature, extscore;
  } cases[] = {
      {0, 60, 0, 1, 20.0, 0, 1, 0, 0, 0},     {1, 60, 0, 1, 20.0, 1, 0, 0, 0, 0},
      {2, 60, 2, 1, 20.0, 0, 1, 0, 0, 0},     {4, 60, 3, 1, 20.0, 0, 1, 0, 1, 0},
      {2 | 4, 60, 3, 1, 20.0, 0, 1, 0, 1, 0}, {8, 60, 0, 1, 20.0, 1, 0, 1, 0, 0},
      {16, 40, 2, 4, 0.0, 0, 1, 0, 0, 0},     {16 | 4, 40, 3, 4, 0.0, 0, 1, 0, 1, 0},
      {32, 60, 0, 1, 20.0, 0, 1, 0, 0, 1},    {64, 60, 0, 1, 20.0, 0, 1, 0, 0, 2},
      {96, 60, 0, 1, 20.0, 0, 1, 0, 0, 3},    {127, 40, 3, 4, 0.0, 1, 0, 1, 1, 3},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.flags);
    Params p(kel_vela_search_create_params());
    p->auto_step = 0;
    p->alg = 2;
    ASSERT_EQ(kel_vela_search_default_params(p.get(), c.flags), 0);
    EXPECT_EQ(p->auto_step, 1);
    EXPECT_EQ(p->suspicious, c.suspicious);
    EXPECT_EQ(p->sub_pixel, c.sub_pixel);
    EXPECT_EQ(p->sub_pixel_grid[0], c.grid);
    EXPECT_EQ(p->sub_pixel_grid[1], c.grid);
    EXPECT_EQ(p->reject, c.reject);
    EXPECT_EQ(p->use_geom, c.use_geom);
    EXPECT_EQ(p->auto_retry, c.auto_retry);
    EXPECT_EQ(p->cont_rev, c.cont_rev);
    EXPECT_EQ(p->hifeature, c.hifeature);
    EXPECT_EQ(p->extscore_setting, c.extscore);
    EXPECT_EQ(p->alg, 0);
  }
  // cont_rev and hifeature are only ever set by a preset, never cleared.
  Params p(kel_vela_search_create_params());
  p->cont_rev = p->hifeature = 1;
  kel_vela_search_default_params(p.get(), 0);
  EXPECT_EQ(p->cont_rev, 1);
  EXPECT_EQ(p->hifeature, 1);
}

TEST(VelaRecord, AlgorithmsAndTheirOperations) {
  Params p(kel_vela_search_create_params());
  const void *ops0[3] = {p->alg_ops[0], p->alg_ops[1], p->alg_ops[2]};
  ASSERT_EQ(kel_vela_search_set_alg(p.get(), 2), 0);
  EXPECT_EQ(kel_vela_search_get_alg(p.get()), 2);
  const void *ops2[3] = {p->alg_ops[0], p->alg_ops[1], p->alg_ops[2]};
  EXPECT_NE(ops2[1], ops0[1]);
  EXPECT_NE(ops2[2], ops0[2]);
  for (int bad : {-1, 3, 1000}) {
    kt::clear_report();
    EXPECT_EQ(kel_vela_search_set_alg(p.get(), bad), 107);
    EXPECT_REPORT("kel_vela_search_set_alg", 107);
    EXPECT_EQ(p->alg, 2);
    EXPECT_EQ(p->alg_ops[1], ops2[1]);
  }
  // The preset sets alg to 0 but keeps the installed operations.
  kel_vela_search_default_params(p.get(), 0);
  EXPECT_EQ(p->alg, 0);
  EXPECT_EQ(p->alg_ops[1], ops2[1]);
  ASSERT_EQ(kel_vela_search_set_alg(p.get(), 0), 0);
  EXPECT_EQ(p->alg_ops[1], ops0[1]);
  kt::clear_report();
  EXPECT_EQ(kel_vela_search_set_alg(nullptr, 0), 10);
}

TEST(VelaRecord, ResultsRecords) {
  Results r(kel_vela_search_create_results(3));
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(r->size, 24);
  EXPECT_EQ(r->num_allocated, 3);
  EXPECT_EQ(kel_vela_search_get_num_positions(r.get()), 3);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(r->positions[i].size, 80);
    EXPECT_EQ(kel_vela_search_get_score(r.get(), i), 0.0);
  }
  r->positions[2] = {80, 1.5, 2.5, -3, 90, 80, 70, 1.25, 60};
  EXPECT_EQ(kel_vela_search_get_x_coord(r.get(), 2), 1.5);
  EXPECT_EQ(kel_vela_search_get_y_coord(r.get(), 2), 2.5);
  EXPECT_EQ(kel_vela_search_get_angle(r.get(), 2), -3);
  EXPECT_EQ(kel_vela_search_get_quality(r.get(), 2), 90);
  EXPECT_EQ(kel_vela_search_get_conform(r.get(), 2), 80);
  EXPECT_EQ(kel_vela_search_get_geoquality(r.get(), 2), 70);
  EXPECT_EQ(kel_vela_search_get_conratio(r.get(), 2), 1.25);
  EXPECT_EQ(kel_vela_search_get_score(r.get(), 2), 60);
  Results empty(kel_vela_search_create_results(0));
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(kel_vela_search_get_num_positions(empty.get()), 0);

  kt::clear_report();
  EXPECT_EQ(kel_vela_search_create_results(-1), nullptr);
  EXPECT_REPORT("kel_vela_search_create_results", 10);
  kt::clear_report();
  EXPECT_EQ(kel_vela_search_delete_results(nullptr), 10);
  EXPECT_REPORT("kel_vela_search_delete_results", 10);
  kt::clear_report();
  EXPECT_EQ(kel_vela_search_delete_params(nullptr), 10);
  EXPECT_REPORT("kel_vela_search_delete_params", 10);
  kt::clear_report();
  EXPECT_EQ(kel_vela_search_default_params(nullptr, 0), 10);
  EXPECT_REPORT("kel_vela_search_default_params", 10);
}

TEST_F(Vela, TrainingBuildsTheAngleTableAndTurnedCopies) {
  Params p = trained();
  ASSERT_NE(p->model, nullptr);
  EXPECT_EQ(kt::pixels(p->model), kt::pixels(model));
  double s = 0, q = 0;
  for (double v : kt::pixels(model))
    s += v, q += v * v;
  EXPECT_NEAR(p->model_mean, s / 1600, 1e-9);
  EXPECT_NEAR(p->model_variance, (q - s * s / 1600) / 1599, 1e-6);
  EXPECT_EQ(p->angle_count, 9);
  ASSERT_NE(p->angles, nullptr);
  ASSERT_NE(p->rotated, nullptr);
  for (int i = 0; i < 19; ++i) {
    EXPECT_EQ(p->angles[i], i - 9);
    ASSERT_NE(p->rotated[i], nullptr);
    // Each copy is the model turned by kel_rotate.
    kt::TestImage ref = kt::image(BYTE, kM, kM);
    ASSERT_EQ(kel_rotate(model, ref, i - 9), 0);
    EXPECT_EQ(kt::pixels(p->rotated[i]), kt::pixels(ref));
  }
  EXPECT_EQ(p->rotated[19], nullptr);
  EXPECT_GE(p->trained_step_x, 3);
  EXPECT_EQ(p->geo_model, nullptr);

  // Retraining replaces everything; use_geom makes the edge model.
  p->use_geom = 1;
  kt::TestImage other = st::cut(scene, 20, 30, 30, 24);
  ASSERT_EQ(kel_vela_search_train(scene, other, p.get()), 0);
  EXPECT_EQ(kt::pixels(p->model), kt::pixels(other));
  ASSERT_NE(p->geo_model, nullptr);
  kt::TestImage edges = kt::image(BYTE, 30, 24);
  ASSERT_EQ(kel_vela_search_create_geo_image(p.get(), other, edges), 0);
  EXPECT_EQ(kt::pixels(p->geo_model), kt::pixels(edges));
}

TEST_F(Vela, TrainingFailures) {
  Params p(kel_vela_search_create_params());
  kt::TestImage word = kt::image(WORD, 50, 50), big = kt::image(BYTE, kW + 1, 10);
  kt::TestImage tiny = kt::image(BYTE, 4, 40);  // inner rectangle narrower than 4
  struct Case {
    const Image *scene, *model;
    KelVelaParams *p;
    int code;
  } cases[] = {
      {nullptr, model, p.get(), 1}, {scene, nullptr, p.get(), 1}, {scene, model, nullptr, 10},
      {word, model, p.get(), 13},   {scene, word, p.get(), 13},   {scene, big, p.get(), 104},
      {scene, tiny, p.get(), 7},
  };
  for (const Case &c : cases) {
    kt::clear_report();
    EXPECT_EQ(kel_vela_search_train(c.scene, c.model, c.p), c.code);
    EXPECT_REPORT("kel_vela_search_train", c.code);
    EXPECT_EQ(p->model, nullptr);
  }
  kt::clear_report();
  kel_vela_search_train(scene, big, p.get());
  EXPECT_STREQ(im_last_message(), "Pattern too big");
}

TEST_F(Vela, FindsTurnedAndMovedModels) {
  // The sweep of the accuracy goal: every half degree, fractional shifts.
  Params p = trained(16);
  Results r(kel_vela_search_create_results(1));
  double worst_angle = 0, worst_pos = 0;
  int k = 0;
  for (double angle = -9; angle <= 9.001; angle += 0.5, ++k) {
    const double px = 80.3 + 0.37 * (k % 7), py = 60.6 + 0.29 * (k % 5);
    kt::TestImage s = vt::posed_scene(tex, 160, 120, kCX, kCY, px, py, angle);
    ASSERT_EQ(kel_vela_search_find(s, p.get(), 1, r.get()), 0);
    ASSERT_EQ(r->num_positions, 1) << angle;
    const KelVelaPosition &m = r->positions[0];
    worst_angle = std::max(worst_angle, std::abs(m.angle - angle));
    worst_pos = std::max(worst_pos, std::hypot(m.x_coord - px, m.y_coord - py));
    EXPECT_NEAR(m.angle, angle, 0.3) << angle;
    EXPECT_NEAR(m.x_coord, px, 0.5) << angle;
    EXPECT_NEAR(m.y_coord, py, 0.5) << angle;
    EXPECT_GT(m.quality, 90) << angle;
  }
  std::printf("largest errors: angle %.3f degrees, position %.3f pixels\n", worst_angle, worst_pos);
}

TEST_F(Vela, ModesAndAlgorithms) {
  // Each sub-pixel mode and algorithm on a few poses: whole pixels in mode
  // 0, sub-pixel positions from mode 1 on.
  struct Case {
    int sub_pixel, alg;
    double angle_tol, pos_tol;
  } cases[] = {{0, 0, 0.3, 0.75}, {1, 0, 0.3, 0.3}, {3, 0, 0.3, 0.3},
               {1, 1, 0.3, 0.3},  {1, 2, 0.3, 0.3}, {2, 2, 0.3, 0.3}};
  const double poses[][3] = {{-7.3, 70.4, 58.8}, {0.6, 83.7, 61.2}, {8.8, 77.1, 64.5}};
  Params p = trained();
  Results r(kel_vela_search_create_results(1));
  for (const Case &c : cases)
    for (const auto &pose : poses) {
      SCOPED_TRACE(testing::Message()
                   << "mode " << c.sub_pixel << " alg " << c.alg << " angle " << pose[0]);
      p->sub_pixel = c.sub_pixel;
      p->sub_pixel_grid[0] = p->sub_pixel_grid[1] = 4;
      ASSERT_EQ(kel_vela_search_set_alg(p.get(), c.alg), 0);
      kt::TestImage s = vt::posed_scene(tex, 150, 120, kCX, kCY, pose[1], pose[2], pose[0]);
      ASSERT_EQ(kel_vela_search_find(s, p.get(), 1, r.get()), 0);
      ASSERT_EQ(r->num_positions, 1);
      EXPECT_NEAR(r->positions[0].angle, pose[0], c.angle_tol);
      EXPECT_NEAR(r->positions[0].x_coord, pose[1], c.pos_tol);
      EXPECT_NEAR(r->positions[0].y_coord, pose[2], c.pos_tol);
      if (c.sub_pixel == 0) {
        // Whole pixels plus the half pixel of the even model size.
        EXPECT_EQ(r->positions[0].x_coord - std::floor(r->positions[0].x_coord), 0.5);
      }
    }
}

TEST_F(Vela, MeasuresOfAMatch) {
  Params p = trained();
  p->sub_pixel = 1;
  p->use_geom = 1;
  Results r(kel_vela_search_create_results(1));
  // The training scene itself: an exact match.
  ASSERT_EQ(kel_vela_search_find(scene, p.get(), 1, r.get()), 0);
  ASSERT_EQ(r->num_positions, 1);
  KelVelaPosition m = r->positions[0];
  EXPECT_EQ(m.size, 80);
  EXPECT_NEAR(m.x_coord, kCX, 0.05);
  EXPECT_NEAR(m.y_coord, kCY, 0.05);
  EXPECT_NEAR(m.angle, 0.0, 0.1);
  EXPECT_GE(m.quality, 99);
  EXPECT_GE(m.conform, 99);
  EXPECT_NEAR(m.conratio, 1.0, 0.02);
  EXPECT_GE(m.geoquality, 90);
  EXPECT_EQ(m.score, m.quality);

  // Half the contrast plus an offset: the correlation ignores the offset,
  // conratio sees the contrast, conform sees the differences.
  kt::TestImage dim = kt::image(BYTE, kW, kH);
  for (int y = 0; y < kH; ++y)
    for (int x = 0; x < kW; ++x)
      kt::set(dim, x, y, std::floor(kt::get(scene, x, y) / 2 + 60));
  p->extscore_setting = 1;
  ASSERT_EQ(kel_vela_search_find(dim, p.get(), 1, r.get()), 0);
  ASSERT_EQ(r->num_positions, 1);
  m = r->positions[0];
  EXPECT_NEAR(m.conratio, 0.5, 0.03);
  EXPECT_LT(m.conform, 90);
  EXPECT_NEAR(m.score, m.quality * m.conform / 100, 1e-9);

  // The linear correction of the quality, and the combined scores.
  p->linear_scale[0] = 0.5;
  p->linear_offset[0] = 10;
  p->extscore_setting = 2;
  ASSERT_EQ(kel_vela_search_find(scene, p.get(), 1, r.get()), 0);
  m = r->positions[0];
  EXPECT_EQ(m.quality, 60);
  EXPECT_NEAR(m.score, (m.quality + m.geoquality) / 2, 1e-9);
  p->extscore_setting = 3;
  ASSERT_EQ(kel_vela_search_find(scene, p.get(), 1, r.get()), 0);
  EXPECT_NEAR(
      r->positions[0].score,
      (r->positions[0].quality + r->positions[0].geoquality) / 2 * r->positions[0].conform / 100,
      1e-9);
  p->extscore_setting = 7;  // unknown: score 0, rejected by reject 20
  ASSERT_EQ(kel_vela_search_find(scene, p.get(), 1, r.get()), 0);
  EXPECT_EQ(r->num_positions, 0);
  p->reject = 0;
  ASSERT_EQ(kel_vela_search_find(scene, p.get(), 1, r.get()), 0);
  EXPECT_EQ(r->num_positions, 1);
}

TEST_F(Vela, SeveralMatchesViewsAndCoordinates) {
  // Two instances at different angles in one scene, found best first.
  kt::TestImage s = kt::view(BYTE, 240, 120);
  kt::TestImage a = vt::posed_scene(tex, 120, 120, kCX, kCY, 60.2, 58.7, -4.4);
  kt::TestImage b = vt::posed_scene(tex, 120, 120, kCX, kCY, 55.6, 62.1, 6.2);
  for (int y = 0; y < 120; ++y)
    for (int x = 0; x < 120; ++x) {
      kt::set(s, x, y, kt::get(a, x, y));
      kt::set(s, 120 + x, y, kt::get(b, x, y));
    }
  Params p = trained();
  p->sub_pixel = 1;
  p->num_to_find = 3;
  p->reject = 50;
  Results r(kel_vela_search_create_results(3));
  ASSERT_EQ(kel_vela_search_find(s, p.get(), 1, r.get()), 0);
  ASSERT_EQ(r->num_positions, 2);
  std::vector<std::array<double, 3>> got;
  for (int i = 0; i < 2; ++i)
    got.push_back({r->positions[i].x_coord, r->positions[i].y_coord, r->positions[i].angle});
  EXPECT_GE(r->positions[0].score, r->positions[1].score);
  std::sort(got.begin(), got.end());
  EXPECT_NEAR(got[0][0], 60.2, 0.5);
  EXPECT_NEAR(got[0][1], 58.7, 0.5);
  EXPECT_NEAR(got[0][2], -4.4, 0.3);
  EXPECT_NEAR(got[1][0], 175.6, 0.5);
  EXPECT_NEAR(got[1][1], 62.1, 0.5);
  EXPECT_NEAR(got[1][2], 6.2, 0.3);

  // Coordinates: the view lies at (3, 2) of a master 125 rows high.
  p->num_to_find = 1;
  double x1 = 0, y1 = 0;
  ASSERT_EQ(kel_vela_search_find(s, p.get(), 1, r.get()), 0);
  x1 = r->positions[0].x_coord, y1 = r->positions[0].y_coord;
  ASSERT_EQ(kel_vela_search_find(s, p.get(), 0, r.get()), 0);
  EXPECT_DOUBLE_EQ(r->positions[0].x_coord, x1 + 3);
  EXPECT_DOUBLE_EQ(r->positions[0].y_coord, y1 + 2);
  ASSERT_EQ(kel_vela_search_find(s, p.get(), 2, r.get()), 0);
  EXPECT_DOUBLE_EQ(r->positions[0].y_coord, 125 - (y1 + 2));
  ASSERT_EQ(kel_vela_search_find(s, p.get(), 3, r.get()), 0);
  EXPECT_DOUBLE_EQ(r->positions[0].x_coord, x1);
  EXPECT_DOUBLE_EQ(r->positions[0].y_coord, 120 - y1);

  // The results record limits the count; num_to_find 0 finds nothing.
  p->num_to_find = 5;
  Results one(kel_vela_search_create_results(1));
  ASSERT_EQ(kel_vela_search_find(s, p.get(), 1, one.get()), 0);
  EXPECT_EQ(one->num_positions, 1);
  p->num_to_find = 0;
  ASSERT_EQ(kel_vela_search_find(s, p.get(), 1, one.get()), 0);
  EXPECT_EQ(one->num_positions, 0);
}

TEST_F(Vela, FindFailures) {
  Params untrained(kel_vela_search_create_params());
  Params p = trained();
  Results r(kel_vela_search_create_results(2));
  kt::TestImage word = kt::image(WORD, 100, 100), small = kt::image(BYTE, 39, 80);
  struct Case {
    Image *img;
    KelVelaParams *p;
    KelVelaResults *r;
    int code;
  } cases[] = {
      {nullptr, p.get(), r.get(), 1},         {scene, nullptr, r.get(), 10},
      {scene, p.get(), nullptr, 10},          {word, p.get(), r.get(), 13},
      {scene, untrained.get(), r.get(), 103}, {small, p.get(), r.get(), 104},
  };
  for (const Case &c : cases) {
    kt::clear_report();
    r->num_positions = 2;
    EXPECT_EQ(kel_vela_search_find(c.img, c.p, 0, c.r), c.code);
    EXPECT_REPORT("kel_vela_search_find", c.code);
    if (c.r && c.p) {
      EXPECT_EQ(r->num_positions, 0);
    }
  }
}

TEST(VelaGeoImage, EdgesAtTheFeatureScale) {
  Params p(kel_vela_search_create_params());
  // A vertical step from 10 to 90 between columns 5 and 6 of a 12 x 3 view.
  kt::TestImage src = kt::view(BYTE, 12, 3), dst = kt::view(BYTE, 12, 3);
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 12; ++x)
      kt::set(src, x, y, x < 6 ? 10 : 90);
  // Scale 16 / 8 = 2: |gx| = 80 within two columns of the step, magnitude 40.
  p->edge_str = 40;
  ASSERT_EQ(kel_vela_search_create_geo_image(p.get(), src, dst), 0);
  for (int x = 0; x < 12; ++x)
    EXPECT_EQ(kt::get(dst, x, 1), (x >= 4 && x <= 7) ? 255 : 0) << x;
  EXPECT_TRUE(kt::margin_intact(dst));
  p->edge_str = 41;
  ASSERT_EQ(kel_vela_search_create_geo_image(p.get(), src, dst), 0);
  EXPECT_EQ(kt::get(dst, 5, 1), 0);
  // Fine features: scale 1.
  p->edge_str = 40;
  p->hifeature = 1;
  ASSERT_EQ(kel_vela_search_create_geo_image(p.get(), src, dst), 0);
  for (int x = 0; x < 12; ++x)
    EXPECT_EQ(kt::get(dst, x, 0), (x == 5 || x == 6) ? 255 : 0) << x;

  kt::TestImage w = kt::image(WORD, 4, 4), e = kt::image(BYTE, 0, 3);
  struct Case {
    const KelVelaParams *p;
    const Image *src;
    Image *dst;
    int code;
  } cases[] = {{p.get(), nullptr, dst, 1}, {p.get(), src, nullptr, 1}, {nullptr, src, dst, 10},
               {p.get(), src, src, 106},   {p.get(), w, dst, 13},      {p.get(), e, dst, 17}};
  for (const Case &c : cases) {
    kt::clear_report();
    EXPECT_EQ(kel_vela_search_create_geo_image(c.p, c.src, c.dst), c.code);
    EXPECT_REPORT("kel_vela_search_create_geo_image", c.code);
  }
}

}  // namespace
