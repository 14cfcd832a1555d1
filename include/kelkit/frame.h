/*
 * kelkit/frame.h - library set-up, the processor switch and small helpers.
 */
#ifndef KELKIT_FRAME_H
#define KELKIT_FRAME_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * The processor switch.
 *
 * On the first call of any of these three functions the library asks the
 * image services whether the processor has MMX and sets both the has-MMX and
 * the use-MMX flag to the answer. While the use-MMX flag is set, the operators
 * that own a processor-specific branch take it, and that branch computes
 * nothing: the operator returns success at once and leaves its output as it
 * was, and a measure returns 0. This is deliberate and affects, among others:
 *   kel_add, kel_and, kel_or, kel_xor   common width above 24
 *   kel_erode, kel_dilate               common width above 8
 *   kel_convolve_3x3                    always
 *   kel_sum (and kel_average), kel_variance   image width 8 or more
 * A host that wants every operator to compute calls kel_set_use_mmx(0) once
 * at start. The flags are process-wide and unsynchronised: make the first
 * call before using the library from several threads.
 */

/* The use-MMX flag, 0 or 1. */
KELKIT_API int kel_use_mmx(void);

/* The has-MMX flag, 0 or 1: whether the processor offers MMX. */
KELKIT_API int kel_cpu_has_mmx(void);

/* Sets the use-MMX flag to `on` (0 or non-zero) when the processor has MMX;
 * on a processor without MMX the flag stays 0. */
KELKIT_API void kel_set_use_mmx(int on);

/* Builds the library's angle and magnitude tables (used by the edge and
 * contour tools). Each table is built once; later calls do nothing. The
 * tables live until the library is unloaded. Call it once before using the
 * library from several threads. */
KELKIT_API void kel_initialize(void);

/* Copies the zero-terminated `src` into `dst` (terminator included) and
 * stores the string's length, without the terminator, as a 32-bit integer in
 * the four bytes just before `dst`. `dst` is the character part of a
 * length-prefixed buffer: the caller guarantees 4 bytes before it and room
 * for the string after it. Returns dst. */
KELKIT_API char *kel_strcpy(char *dst, const char *src);

/* The library version as "major.minor.patch". */
KELKIT_API const char *kel_version(void);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_FRAME_H */
