/* Blob analysis: count and measure the parts on a tray.
 *
 *   blobs
 *
 * Draws six rectangular parts of different sizes, thresholds the image,
 * finds the blobs, drops those smaller than 150 pixels and lists the rest
 * from the largest down. */
#include <stdio.h>

#include "kelkit.h"

static void fill_rect(Image *img, int x0, int y0, int w, int h, unsigned char v) {
  int x, y;
  for (y = y0; y < y0 + h; ++y)
    for (x = x0; x < x0 + w; ++x)
      ((unsigned char *)img->rows[y])[x] = v;
}

int main(void) {
  Image *img = im_create(BYTE, 200, 120);
  unsigned int status = 0, n, i;
  BlobParams *params = kel_blob_create_params(&status);
  BlobResults *results = kel_blob_create_results(16, 1, &status);
  int ok;
  if (!img || !params || !results) return 1;
  kel_set_use_mmx(0);

  fill_rect(img, 0, 0, 200, 120, 40); /* tray */
  fill_rect(img, 10, 10, 30, 20, 200);
  fill_rect(img, 60, 10, 12, 12, 210); /* 144 pixels: filtered out */
  fill_rect(img, 100, 15, 40, 25, 190);
  fill_rect(img, 20, 60, 25, 25, 220);
  fill_rect(img, 80, 70, 50, 30, 205);
  fill_rect(img, 160, 60, 8, 8, 215); /* 64 pixels: filtered out */

  kel_threshold(img, 128, 0, 255); /* parts become 255 */
  kel_blob_set_blob_color(params, 255);
  kel_blob_set_min_area(params, 150);
  if (kel_blob_find(img, params, results, KEL_BLOB_COORDS_IMAGE) != 0) {
    printf("kel_blob_find failed: code %d, %s\n", im_last_code(), im_last_message());
    return 1;
  }
  n = kel_blob_get_num_found(results);
  kel_blob_sort(results, KEL_BLOB_SORT_AREA, 1);
  printf("%u parts of 150 pixels or more:\n", n);
  for (i = 0; i < n; ++i)
    printf("  area %5u  centre (%6.1f, %6.1f)  box %ux%u\n", kel_blob_get_area(results, (int)i),
           kel_blob_get_xcent(results, (int)i), kel_blob_get_ycent(results, (int)i),
           kel_blob_get_width(results, (int)i), kel_blob_get_height(results, (int)i));

  ok = n == 4 && kel_blob_get_area(results, 0) == 1500 && kel_blob_get_area(results, 3) == 600;
  kel_blob_delete_results(results);
  kel_blob_delete_params(params);
  im_delete(img);
  return ok ? 0 : 1;
}
