/* Calipers: measure the width of a bright bar to a fraction of a pixel.
 *
 *   calipers
 *
 * Draws a bar 23.5 pixels wide with soft edges on a dark background, takes
 * one row as the profile and measures the bar with the outer caliper (edges
 * searched from both ends) and the inner caliper (edges searched from the
 * middle outwards). */
#include <stdio.h>

#include "kelkit.h"

int main(void) {
  Image *img = im_create(BYTE, 100, 1);
  double width = 0, left = 0, right = 0, inner_width = 0, p1 = 0, p2 = 0;
  int x, strength, inner_strength, ok;
  if (!img) return 1;
  kel_set_use_mmx(0);

  /* Bar from x = 38.25 to x = 61.75: pixels inside are 200, outside 30,
   * and each edge pixel is mixed by its covered fraction. */
  for (x = 0; x < 100; ++x) {
    double lo = x - 0.5 > 38.25 ? x - 0.5 : 38.25, hi = x + 0.5 < 61.75 ? x + 0.5 : 61.75;
    double cover = hi > lo ? hi - lo : 0.0;
    ((unsigned char *)img->data)[x] = (unsigned char)(30 + 170 * cover + 0.5);
  }

  strength = kel_caliper_od_array(img, 40, &width, &left, &right);
  printf("outer caliper: width %.2f between %.2f and %.2f (strength %d)\n", width, left, right,
         strength);
  inner_strength = kel_caliper_id_array(img, -40, -2, &inner_width, &p1, &p2);
  printf(
      "inner caliper: width %.2f between %.2f and %.2f (strength %d: negative for a bright bar)\n",
      inner_width, p1, p2, inner_strength);

  ok = strength > 0 && inner_strength != 0 && width > 22.5 && width < 24.5 && inner_width > 22.5 &&
       inner_width < 24.5;
  im_delete(img);
  return ok ? 0 : 1;
}
