/* Correlation search: teach a fiducial mark, then find it in a shifted scene.
 *
 *   search
 *
 * Draws a scene with a cross-shaped fiducial, trains a search model on a
 * rectangle around it, draws a second scene with the mark moved by
 * (37.0, -21.0) pixels, and finds it there with its score. */
#include <stdio.h>

#include "kelkit.h"

/* A textured background with a bright cross centred at (cx, cy). */
static void draw_scene(Image *img, int cx, int cy) {
  int x, y;
  for (y = 0; y < img->dy; ++y) {
    unsigned char *row = (unsigned char *)img->rows[y];
    for (x = 0; x < img->dx; ++x) {
      int v = 60 + ((x * 7 + y * 13) % 23) + ((x / 9 + y / 7) % 2) * 20;
      if ((x - cx < 4 && cx - x < 4 && y - cy < 16 && cy - y < 16) ||
          (y - cy < 4 && cy - y < 4 && x - cx < 16 && cx - x < 16))
        v = 230;
      if (x - cx > 6 && x - cx < 12 && y - cy > 6 && y - cy < 12) v = 180; /* asymmetric dot */
      row[x] = (unsigned char)v;
    }
  }
}

int main(void) {
  Image *scene = im_create(BYTE, 320, 240), *moved = im_create(BYTE, 320, 240), *model;
  KelSearchParams *params = kel_search_create_params();
  double x = 0, y = 0, score = 0;
  int status, ok;
  if (!scene || !moved || !params) return 1;
  kel_set_use_mmx(0);

  draw_scene(scene, 100, 90);
  model = im_rroi(scene, 100 - 20, 90 - 20, 40, 40); /* the mark with a margin */
  status = kel_search_train(scene, model, params);
  if (status) {
    printf("kel_search_train failed: %s code %d\n", im_last_function(), im_last_code());
    return 1;
  }

  draw_scene(moved, 137, 69);
  status = kel_search(moved, params, 1, &x, &y, &score);
  printf("kel_search -> %d: model centre at (%.2f, %.2f), score %.0f\n", status, x, y, score);

  ok = status == 0 && score >= 90 && x > 136 && x < 138 && y > 68 && y < 70;
  im_delete(model);
  kel_search_delete_params(params);
  im_delete(moved);
  im_delete(scene);
  return ok ? 0 : 1;
}
