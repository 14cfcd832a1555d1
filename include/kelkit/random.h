/*
 * kelkit/random.h - a small reproducible random generator, and images filled
 * with uniform or Gaussian noise from it.
 *
 * The generator is a linear congruential one: every draw advances
 *     state = state * 1103515245 + 12345   (mod 2^32)
 * and uses r = state >> 16, a value in 0 .. 65535. The whole sequence follows
 * from the seed, so noise images made after the same kel_rand_seed are equal.
 * A generator belongs to its caller; do not share one between threads
 * without locking.
 */
#ifndef KELKIT_RANDOM_H
#define KELKIT_RANDOM_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Generator record.
 *   state      the generator's state; 1 after kel_rand_create
 *   has_spare  non-zero when `spare` holds the second value of the last
 *              Gaussian pair, returned by the next kel_gauss_dev
 *   spare      that kept value
 */
typedef struct KelRandGen {
  unsigned int state;
  int has_spare;
  float spare;
} KelRandGen;

/* A new generator with state 1 and no kept value. Null after reporting code 4
 * under "kel_rand_create" when memory is short. Free it with
 * kel_rand_delete. */
KELKIT_API KelRandGen *kel_rand_create(void);

/* Sets the state to `seed` and drops any kept Gaussian value. Returns 0, or 10
 * "RandGen == NULL". */
KELKIT_API int kel_rand_seed(KelRandGen *gen, unsigned int seed);

/* Frees the generator. Returns 0, or 10 "RandGen == NULL". */
KELKIT_API int kel_rand_delete(KelRandGen *gen);

/* One draw, as a float in -1.0 .. 1.0: r * 3.0518044e-5 - 1.0 (the factor is
 * 2 / 65535 in single precision). A new generator's first value uses
 * r = 16838. The generator must not be null (not checked). */
KELKIT_API float kel_uniform_dev(KelRandGen *gen);

/* A standard normal value (polar method, single precision). Values come in
 * pairs: one call draws two uniform values u1, u2 (each as kel_uniform_dev)
 * until s = u1^2 + u2^2 is below 1, returns u2 * f with
 * f = sqrt(-2 ln s / s), and keeps u1 * f for the next call, which returns it
 * without drawing. The generator must not be null (not checked). */
KELKIT_API float kel_gauss_dev(KelRandGen *gen);

/* Overwrites every pixel of `img` with uniform noise, one draw per pixel in
 * raster order (rows from the top, each row from the left):
 *   BYTE   lo = max(low, 0), hi = min(high, 255), and each pixel is
 *          trunc(r * ((hi - lo + 1) / 65535) + lo - 0.5), of which the low 8
 *          bits are stored. So low -10 and high 300 act as 0 and 255.
 *   WORD   the same with hi = min(high, 65535); the low 16 bits are stored.
 *   FLOAT  r * ((high - low) / 65535) + low, no limits.
 * The integer forms spread the draws over lo - 0.5 .. hi + 0.5 and truncate
 * toward zero: hi comes out half as often as an inner value; with lo above 0
 * the value lo - 1 can occur (half as often); with lo = 0, 0 comes out one
 * and a half times as often as an inner value. A value beyond the 32-bit
 * integer range (or NaN) counts as -2^31 before its low bits are stored.
 * Arithmetic is single precision.
 * The generator's state advances by one step per pixel; its kept Gaussian
 * value is left alone. Statuses, in this order: 1 a null image; 1 "RandGen
 * == NULL"; 6 another pixel type (nothing written, generator unchanged). */
KELKIT_API int kel_uniform_noise(Image *img, float low, float high, KelRandGen *gen);

/* Overwrites every pixel of `img` with Gaussian noise, one kel_gauss_dev
 * value g per pixel in raster order (so the pairs alternate between returned
 * and kept values):
 *   BYTE, WORD  trunc(g * deviation + mean), of which the low 8 or 16 bits
 *               are stored, with no limiting: values below 0 or above the
 *               type's maximum wrap around (mean 250 with deviation 20 gives
 *               small values where the sum exceeds 255).
 *   FLOAT       g * deviation + mean.
 * Out-of-range values are treated as in kel_uniform_noise. Statuses, in this
 * order: 1 a null image; 1 "RandGen == NULL"; 6 another pixel type (nothing
 * written, generator unchanged). */
KELKIT_API int kel_gauss_noise(Image *img, float deviation, float mean, KelRandGen *gen);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_RANDOM_H */
