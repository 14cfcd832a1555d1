/* Writes a synthetic inspection image: a machined plate with a bore, two
 * fiducial marks, a slot, a gentle lighting gradient and sensor noise.
 *
 *   make_sample OUTPUT.png|.pgm|.bmp [WIDTH HEIGHT]
 */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>

#include "kelkit.h"

static unsigned lcg = 12345u;
static double noise(void) { /* uniform -1 .. 1, reproducible */
  lcg = lcg * 1103515245u + 12345u;
  return ((lcg >> 8) & 0xffff) / 32767.5 - 1.0;
}

int main(int argc, char **argv) {
  int w = 640, h = 480, x, y, status;
  Image *img;
  if (argc != 2 && argc != 4) {
    fprintf(stderr, "usage: make_sample OUTPUT [WIDTH HEIGHT]\n");
    return 2;
  }
  if (argc == 4) {
    w = atoi(argv[2]);
    h = atoi(argv[3]);
  }
  img = im_create(BYTE, w, h);
  if (!img) {
    fprintf(stderr, "make_sample: %s: %s\n", im_last_function(), im_last_message());
    return 1;
  }
  for (y = 0; y < h; ++y) {
    unsigned char *row = (unsigned char *)img->rows[y];
    for (x = 0; x < w; ++x) {
      double u = (double)x / w, v = (double)y / h, value = 40.0 + 30.0 * u; /* background */
      int on_plate = u > 0.15 && u < 0.85 && v > 0.15 && v < 0.85;
      double bx = u - 0.5, by = (v - 0.5) * h / w;
      if (on_plate) value = 170.0 + 25.0 * u - 15.0 * v;
      if (on_plate && bx * bx + by * by < 0.01) value = 25.0;                     /* bore */
      if (on_plate && u > 0.62 && u < 0.78 && v > 0.28 && v < 0.34) value = 30.0; /* slot */
      if ((fabs(u - 0.2) < 0.01 || fabs(v - 0.2) < 0.013) && fabs(u - 0.2) < 0.03 &&
          fabs(v - 0.2) < 0.04)
        value = 250.0; /* fiducial cross, top left */
      if ((fabs(u - 0.8) < 0.01 || fabs(v - 0.8) < 0.013) && fabs(u - 0.8) < 0.03 &&
          fabs(v - 0.8) < 0.04)
        value = 250.0; /* fiducial cross, bottom right */
      value += 4.0 * noise();
      row[x] = (unsigned char)(value < 0 ? 0 : value > 255 ? 255 : value);
    }
  }
  status = im_file_write(argv[1], img, 0);
  if (status)
    fprintf(stderr, "make_sample: %s failed with code %d: %s\n", im_last_function(), status,
            im_last_message());
  im_delete(img);
  return status ? 1 : 0;
}
