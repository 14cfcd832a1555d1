// Two rules of the 360 search that a tidier formula would break: the
// deviation e is not folded before the |e| > pi/2 test, and the candidate
// count K is not raised to 1.
#include <gtest/gtest.h>

#include "kelkit.h"
#include "locate/vela360/vela360_model.hpp"
#include "locate/vela360/vela360_scene.hpp"

// Chord angle just below +pi, angle to the forward point just above -pi: e is
// nearly 2 pi, so the point is skipped (folded, e would be small and vote).
TEST(Vela360Rules, DeviationAcrossTheSeamIsNotFolded) {
  const double x[5] = {10, 5, 0, 0, 0}, y[5] = {0.5, 0, 0.2, 0, 0}, v[5] = {};
  for (int mode : {0, 1, 2}) {
    kel::locate::PointShape s =
        kel::locate::describe_point(x, y, v, 5, 1, 1, mode, kel::locate::rtable_bins(mode, 1));
    EXPECT_GT(s.deviation, 6.0) << mode;
    EXPECT_EQ(s.bin, -1) << mode;
  }
}

TEST(Vela360Rules, NoCandidateWhenKIsZero) {
  kel_vela_360_params *p = kel_vela_360_create_params();
  kel_vela_360_results *r = kel_vela_360_create_results(1);
  Image *model = v360::draw_model();
  ASSERT_EQ(kel_vela_360_train(model, 0, 0, 120, 120, p), 0);
  Image *scene = v360::draw_scene(200, 180, {{101.3, 88.7, 0.5}}, 12);
  ASSERT_EQ(kel_vela_360_search(scene, 0, 0, 0, 0, p, r), 0);
  EXPECT_EQ(kel_vela_360_get_found(r), 1);
  p->nAux2 = 0;  // no accessor: the record's field
  kel_vela_360_set_nMinCandidates(p, 0);
  ASSERT_EQ(kel_vela_360_search(scene, 0, 0, 0, 0, p, r), 0);
  EXPECT_EQ(kel_vela_360_get_found(r), 0);
  im_delete(scene);
  im_delete(model);
  kel_vela_360_delete_results(r);
  kel_vela_360_delete_params(p);
}
