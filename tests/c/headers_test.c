/* Compiles the public headers as C99 and makes a few calls through them. */
#include "kelkit.h"
#include "pixsvc.h"

int main(void) {
  Image *img = im_create(BYTE, 4, 3);
  unsigned int hist[256];
  int status;
  if (!img) return 1;
  kel_set_use_mmx(0);
  ((unsigned char *)img->data)[5] = 9;
  status = kel_hist(img, hist);
  if (status != KEL_OK || hist[9] != 1 || hist[0] != 11) return 2;
  if (kel_sum(img) != 9) return 3;
  im_delete(img);
  return 0;
}
