// Regression tests for steps and intervals of any size in a record (as a
// damaged parameter file or memory image gives them): the searches once
// overflowed and crashed on these values; now they run and report the place
// they find, and the sub-pixel grid of the trainable search is bounded.
#include <gtest/gtest.h>

#include <climits>

#include "kelkit.h"
#include "locate/search/search_texture.hpp"
#include "support/test_images.hpp"

namespace {

struct Scene {
  st::Texture tex = st::make_texture(120, 100, 2.0, 3);
  kt::TestImage image = st::scene(tex, 120, 100);
  kt::TestImage model = st::cut(image, 30, 20, 26, 22);
};

TEST(HostileSteps, CorrelationSearchRunsWithHugeStepsAndIntervals) {
  Scene s;
  KelSearchParams *p = kel_search_create_params();
  ASSERT_EQ(kel_search_train(s.image, s.model, p), 0);
  struct Case {
    int KelSearchParams::*field;
    int auto_step;
  } cases[] = {{&KelSearchParams::scan_pattern_x, 0}, {&KelSearchParams::scan_step_x, 0},
               {&KelSearchParams::scan_step_y, 0},    {&KelSearchParams::trained_step_x, 1},
               {&KelSearchParams::trained_step_y, 1}, {&KelSearchParams::trained_pattern_y, 1}};
  for (const Case &c : cases)
    for (int v : {INT_MAX, 1363821385, INT_MIN}) {
      KelSearchParams *q = kel_search_create_params();
      ASSERT_EQ(kel_search_train(s.image, s.model, q), 0);
      q->auto_step = c.auto_step;
      q->*c.field = v;
      double x = -1, y = -1, score = -1;
      EXPECT_EQ(kel_search(s.image, q, 1, &x, &y, &score), 0) << v;
      EXPECT_GE(x, 0);
      kel_search_delete_params(q);
    }
  // Retry tables that push the steps beyond the int range.
  p->auto_step = 0;
  p->scan_step_x = INT_MAX;
  p->suspicious = 101;
  for (int i = 0; i < p->retry_count; ++i)
    p->retry_step_x_pct[i] = 900;
  double x, y, score;
  EXPECT_EQ(kel_search(s.image, p, 1, &x, &y, &score), 0);
  kel_search_delete_params(p);
}

TEST(HostileSteps, TrainableSearchRunsWithHugeStepsAndGrid) {
  Scene s;
  KelVelaParams *p = kel_vela_search_create_params();
  ASSERT_EQ(kel_vela_search_train(s.image, s.model, p), 0);
  KelVelaResults *r = kel_vela_search_create_results(1);
  p->trained_step_y = 1178554272;
  EXPECT_EQ(kel_vela_search_find(s.image, p, 1, r), 0);
  p->trained_step_y = 8;
  p->trained_step_x = INT_MAX;
  EXPECT_EQ(kel_vela_search_find(s.image, p, 1, r), 0);
  p->trained_step_x = 8;
  // Sub-pixel mode 3 with a grid of 218,103,809 divisions: bounded work.
  p->sub_pixel = 3;
  p->sub_pixel_grid[0] = p->sub_pixel_grid[1] = 218103809;
  EXPECT_EQ(kel_vela_search_find(s.image, p, 1, r), 0);
  kel_vela_search_delete_results(r);
  kel_vela_search_delete_params(p);
}

}  // namespace
