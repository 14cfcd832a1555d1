/* First steps with kelkit: make an image, measure it, read an error.
 *
 *   first_steps
 *
 * Prints the brightest pixel and the mean of a small synthetic image, then
 * provokes a failure and prints how it was reported. */
#include <stdio.h>

#include "kelkit.h"

int main(void) {
  Image *img;
  int x, y, status;
  unsigned char brightest;
  unsigned int hist[256];

  kel_set_use_mmx(0); /* always compute (see the README) */

  img = im_create(BYTE, 64, 48);
  if (!img) return 1;
  /* A bright square on a dark background; rows are reached through `rows`. */
  for (y = 10; y < 20; ++y)
    for (x = 30; x < 40; ++x)
      ((unsigned char *)img->rows[y])[x] = 200;
  ((unsigned char *)img->rows[15])[33] = 250;

  brightest = kel_max(img, &x, &y);
  printf("brightest %u at (%d, %d), mean %.3f\n", brightest, x, y, kel_average(img));

  status = kel_hist(img, hist);
  printf("kel_hist -> %d: %u dark pixels, %u bright pixels\n", status, hist[0], hist[200]);

  /* A failure: kel_hist wants a BYTE image. */
  {
    Image *w = im_create(WORD, 8, 8);
    status = kel_hist(w, hist);
    printf("kel_hist on WORD -> %d, reported by %s: %s\n", status, im_last_function(),
           im_last_message());
    im_delete(w);
  }
  im_delete(img);
  return brightest == 250 && x == 33 && y == 15 ? 0 : 1;
}
