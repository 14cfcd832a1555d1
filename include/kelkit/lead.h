/*
 * kelkit/lead.h - lead analysis: inspection of a row of component leads
 * (the pins of a chip or connector) inside a rectangle at any angle.
 *
 * The rectangle. Its centre is (cx, cy); it is `length` pixels along the
 * row of leads, in the direction u = (cos a, -sin a) for the angle a in
 * degrees (counter-clockwise on screen, rows growing downwards), and `width`
 * pixels across it, in the direction v = (sin a, cos a). The leads grow from
 * the component body at the rectangle's edge v = 0 towards larger v; at
 * angle 0 the body lies above the rectangle and the leads point down.
 * Positions along the row (u) are measured from the rectangle's start edge,
 * lengths (v) from its body edge.
 *
 * The analysis.
 *   1. Root profile: the mean, across the band v = 15 % .. 35 % of the
 *      nominal lead length (of the width when no nominal length is set), of
 *      lines sampled along u one pixel apart (bilinear).
 *   2. Leads are found in the root profile with the edge tools: the profile
 *      is made a one-row BYTE image and its rising and falling edges listed
 *      (kel_edge_count_array, threshold `edge_threshold`, the contrast
 *      between lead and background needed); each edge is then placed at the
 *      sub-pixel point where the profile crosses the level half-way between
 *      the background and lead levels on either side. A lead is an edge
 *      into the lead's polarity followed by an edge out of it.
 *   3. Length: along v through each lead's root centre, the mean over
 *      strips one pixel apart covering a third of the lead's width; the
 *      first crossing from the lead level to the background level beyond
 *      the root band is the tip, and length is the tip's v (the width of the
 *      rectangle when the lead reaches its far edge).
 *   4. Tip centre: the same edge search in a tip band, v = 60 % .. 80 % of
 *      the nominal length (of the median measured length when none is set),
 *      in a window of one pitch around each lead (a view moved and resized
 *      along the band's profile).
 *   5. Pitch and grid: each lead gets a grid index round((root - first
 *      root) / pitch) with the nominal pitch (the median spacing when none
 *      is set); a least-squares line through (index, root centre), refitted
 *      without leads whose residual exceeds the offset tolerance, gives the
 *      pitch and the expected position of every index. Indices with no lead
 *      between the first and the last are missing leads.
 *   6. Flags per lead: KEL_LEAD_OFFSET when the tip centre lies further than
 *      offset_tolerance from its grid position (a bent or offset lead),
 *      KEL_LEAD_WIDTH when |width - nominal_width| > width_tolerance,
 *      KEL_LEAD_LENGTH when |length - nominal_length| > length_tolerance
 *      (each test only when its nominal value and tolerance are above 0).
 *      The result's flags are the union of the leads' flags, plus
 *      KEL_LEAD_MISSING when leads are missing inside the row or the count
 *      found (with the missing ones) is below nominal_count.
 *
 * Processor switch: while kel_use_mmx() is 1 and the rectangle is at least
 * 8 pixels long, kel_lead_analyze takes its processor branch, which does not
 * compute: it returns 0 at once and leaves the result record as it was. Call
 * kel_set_use_mmx(0) to have it analyse.
 *
 * Images: BYTE, WORD or FLOAT, whole images or views; the rectangle may
 * reach outside the image (samples there repeat the nearest edge pixel).
 */
#ifndef KELKIT_LEAD_H
#define KELKIT_LEAD_H

#include "kelkit/base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Polarity of the leads against their background. */
#define KEL_LEAD_BRIGHT 1 /* leads brighter than the background */
#define KEL_LEAD_DARK 0   /* leads darker than the background */

/* Flags of a lead and of a result. */
#define KEL_LEAD_OFFSET 1u  /* tip centre off its grid position: bent or offset */
#define KEL_LEAD_WIDTH 2u   /* width out of tolerance */
#define KEL_LEAD_LENGTH 4u  /* length out of tolerance */
#define KEL_LEAD_MISSING 8u /* (result only) a lead is missing */

/* Parameters of kel_lead_analyze; made with defaults by
 * kel_lead_create_params, read and written with the accessors below. */
typedef struct KelLeadParams {
  double cx, cy;           /* rectangle centre; 0, 0 */
  double length;           /* along the row; 100 */
  double width;            /* across the row, from the body edge; 40 */
  double angle;            /* degrees, counter-clockwise on screen; 0 */
  int polarity;            /* KEL_LEAD_BRIGHT or KEL_LEAD_DARK; KEL_LEAD_BRIGHT */
  int edge_threshold;      /* lead-to-background contrast needed, grey levels 1..255; 30 */
  int nominal_count;       /* expected leads; 0 = not checked */
  double nominal_pitch;    /* expected centre spacing; 0 = median spacing */
  double nominal_width;    /* expected width; 0 = not checked */
  double nominal_length;   /* expected length; 0 = not checked */
  double width_tolerance;  /* 1 */
  double length_tolerance; /* 2 */
  double offset_tolerance; /* 1 */
} KelLeadParams;

/* One lead found. */
typedef struct KelLead {
  double root;   /* centre in the root band, along u */
  double tip;    /* centre in the tip band, along u */
  double x, y;   /* image coordinates of the tip-band centre */
  double width;  /* width in the root band */
  double length; /* tip position along v */
  double gap;    /* space to the next lead in the root band; 0 for the last */
  double offset; /* tip centre minus its grid position */
  unsigned int flags;
} KelLead;

/* Results of kel_lead_analyze. */
typedef struct KelLeadResults {
  int count;          /* leads found */
  int capacity;       /* room in leads[] and missing[] */
  KelLead *leads;     /* in order along u */
  int missing_count;  /* leads missing inside the row, plus the shortfall against
                         nominal_count */
  double *missing;    /* u positions of the missing leads inside the row */
  double pitch;       /* fitted centre spacing; 0 with fewer than 2 leads */
  double grid_origin; /* fitted position of the first lead's grid index */
  unsigned int flags; /* union of the leads' flags, plus KEL_LEAD_MISSING */
} KelLeadResults;

/* A parameter record with defaults; *status (may be null) gets 0, or 4
 * (reported) with a null result. */
KELKIT_API KelLeadParams *kel_lead_create_params(unsigned int *status);
KELKIT_API void kel_lead_delete_params(KelLeadParams *params);

/* A result record with room for `capacity` leads (1..100000; 10 otherwise);
 * *status (may be null) gets 0, 10 or 4, reported, with a null result. */
KELKIT_API KelLeadResults *kel_lead_create_results(int capacity, unsigned int *status);
KELKIT_API void kel_lead_delete_results(KelLeadResults *results);

/* Settings (no checks; kel_lead_analyze checks them). */
KELKIT_API void kel_lead_set_rect(KelLeadParams *p, double cx, double cy, double length,
                                  double width, double angle);
KELKIT_API void kel_lead_set_polarity(KelLeadParams *p, int polarity);
KELKIT_API void kel_lead_set_edge_threshold(KelLeadParams *p, int threshold);
KELKIT_API void kel_lead_set_nominal(KelLeadParams *p, int count, double pitch, double width,
                                     double length);
KELKIT_API void kel_lead_set_tolerances(KelLeadParams *p, double width, double length,
                                        double offset);
KELKIT_API int kel_lead_get_polarity(const KelLeadParams *p);
KELKIT_API int kel_lead_get_edge_threshold(const KelLeadParams *p);

/* Result accessors (no checks; index 0 .. count - 1). */
KELKIT_API int kel_lead_get_count(const KelLeadResults *r);
KELKIT_API double kel_lead_get_pitch(const KelLeadResults *r);
KELKIT_API unsigned int kel_lead_get_flags(const KelLeadResults *r);
KELKIT_API int kel_lead_get_missing_count(const KelLeadResults *r);
KELKIT_API const KelLead *kel_lead_get_lead(const KelLeadResults *r, int index);

/* Analyses the lead row. Statuses, in order: 1 null image; 10 null
 * parameters or results ("Parameters are NULL", "Results are NULL"); 6 an
 * unsupported pixel type; 10 a bad setting (the message names it: length
 * and width 8..65536, finite centre and angle, polarity 0 or 1, threshold
 * 1..255, tolerances and nominal values not negative); 17 an empty image;
 * 17 "Results array" when more leads are found than the record holds (the
 * first `capacity` are kept); 4 out of memory. Finding no lead is not a
 * failure: count 0, and KEL_LEAD_MISSING when nominal_count is above 0. */
KELKIT_API int kel_lead_analyze(const Image *img, const KelLeadParams *params,
                                KelLeadResults *results);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_LEAD_H */
