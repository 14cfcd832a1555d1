/*
 * kelkit/vela360.h - the rotation-invariant (360) search: a model of edge
 * contours trained from a BYTE image, described point by point in an
 * R-table, and found at any rotation in BYTE scenes by voting.
 *
 * Calling order: kel_vela_360_create_params, then kel_vela_360_train or
 * kel_vela_360_load_params, then any number of kel_vela_360_search calls with
 * a result record from kel_vela_360_create_results, then the two delete
 * functions. One parameter record serves one search at a time: the search
 * keeps its work objects (vote grid, angle lists, scene contours, work image)
 * in the record.
 *
 * Angles are radians with y negated before atan2 (image rows grow
 * downwards), so on screen a positive angle turns counter-clockwise for
 * directions. A pose (x, y, angle) maps a model point (u, v), taken relative
 * to the model reference point, to the scene point
 *     (x + u cos(angle) - v sin(angle), y + u sin(angle) + v cos(angle)),
 * that is, a positive angle turns the part clockwise on screen.
 *
 * Contours are traced with the contour set of kelkit/contour.h (edge level
 * nEdgeLevel, lengths nMinEdgeSize .. nMaxEdgeSize), smoothed once and given
 * their directions.
 */
#ifndef KELKIT_VELA360_H
#define KELKIT_VELA360_H

#include "kelkit/base.h"
#include "kelkit/contour.h"

#ifdef __cplusplus
extern "C" {
#endif

/* One R-table entry: a model point seen from the reference point. */
typedef struct kel_vela_360_entry {
  double dAlpha;         /* angle reference -> point, minus the chord angle */
  double dDirOffset;     /* chord angle minus the point's direction */
  double dRadius;        /* distance reference -> point */
  double dChordAngle;    /* the local chord angle */
  const int *pAttribute; /* the point's attribute in the model contour set */
} kel_vela_360_entry;

/* One bin: nCount entries used of nCapacity. */
typedef struct kel_vela_360_bin {
  int nCount;
  int nCapacity;
  kel_vela_360_entry *pEntries;
} kel_vela_360_bin;

/* The R-table: nBins bins indexed by the local shape of a contour point. */
typedef struct kel_vela_360_rtable {
  int nBins;
  kel_vela_360_bin *pBins;
} kel_vela_360_rtable;

/*
 * The parameter record. Defaults in brackets; the field order is part of the
 * interface. Settings marked "kept" are stored and persisted but have no
 * effect on training or search.
 */
typedef struct kel_vela_360_params {
  int nVersion;                  /* format version written to the parameter file (4097) */
  double dRefCenterX;            /* user reference centre in model pixels (0); set by training */
  double dRefCenterY;            /* (0) */
  double dRefAngle;              /* user reference angle, added to reported angles (0) */
  int nEdgeLevel;                /* contour edge level (25) */
  int nMinEdgeSize;              /* shortest contour kept, in points (20) */
  int nMaxEdgeSize;              /* longest contour kept (10000) */
  int nChordSpan;                /* chord span k of the point description (15) */
  double dAux1;                  /* kept (1.0) */
  int nModelRefX;                /* model reference point, R-table origin (10) */
  int nModelRefY;                /* (10) */
  Image *pModelImage;            /* trained model image, owned (null) */
  kel_vela_360_rtable *pRTable;  /* owned (null) */
  int nUsrSceneOptimizeLeve;     /* kept (9) */
  int nUsrPatternOptimizeLevel;  /* kept (2) */
  int nCurvatureFilter;          /* kept (0) */
  Image *pWorkImage;             /* copy of the last search window, owned (null) */
  void *pWorkObject1;            /* vote grid of the search, owned (null) */
  void *pWorkObject2;            /* angle lists of the search, owned (null) */
  int nPatternsToFind;           /* instances sought (1) */
  double dMinScore;              /* lowest reported score, 0..100 (30) */
  double dEarlyTerminationScore; /* a candidate scoring this much may end the search (90) */
  double dAngleStep;             /* angle cluster tolerance (1.5 degrees) */
  KelContourSet *pModelContours; /* model contours, owned (null) */
  KelContourSet *pSceneContours; /* contours of the last search window, owned (null) */
  int nMinCandidates;            /* fewest vote peaks examined (25) */
  int nAux2;                     /* peaks examined per sought instance (5) */
  int nAux3;                     /* kept (1) */
  int nAux4;                     /* grouping radius of vote peaks (5) */
  int nAux5;                     /* edge search distance and border margin of the score (5) */
  int nWorkX;                    /* last search window: x, y, dx, dy (work values, not persisted) */
  int nWorkY;
  int nWorkDx;
  int nWorkDy;
  int bCentroidReference;     /* loading puts the reference point on the contour centroid (1) */
  double dAngleTolerance;     /* largest edge direction difference of a match (30 degrees) */
  int nAux6;                  /* most vote peaks per candidate (5) */
  int nRTableMode;            /* R-table indexing mode 0, 1 or 2 (2) */
  int nProximityExclusionRad; /* radius within which a second instance is excluded (10) */
  int nReversedPolarity;      /* 1: edges of reversed polarity match too (0); not persisted */
  int nAux7;                  /* kept (0) */
  int *anAuxTable;            /* 64 kept values (all 0) */
  int nAux8;                  /* kept (3); not persisted */
  int nManualOptimize;        /* kept (0) */
  double dPatternMinAngle;    /* smallest rotation searched (-pi) */
  double dPatternMaxAngle;    /* largest rotation searched (+pi) */
} kel_vela_360_params;

/* The result record: nFound results of at most nCapacity, in arrays of
 * nCapacity doubles. */
typedef struct kel_vela_360_results {
  int nFound;
  int nCapacity;
  double *pX; /* user reference centre in scene pixels */
  double *pY;
  double *pAngle; /* rotation plus dRefAngle, radians */
  double *pScale; /* size of the found instance relative to the model (about 1) */
  double *pScore; /* 0..100 */
} kel_vela_360_results;

/* ---- records ----------------------------------------------------------- */

/* A new parameter record with the defaults above; null (code 4 reported
 * under "kel_vela_360_create_params") when memory fails. */
KELKIT_API kel_vela_360_params *kel_vela_360_create_params(void);

/* Deletes the record with its model image, work image, work objects, contour
 * sets, R-table and auxiliary table. Null is allowed. */
KELKIT_API void kel_vela_360_delete_params(kel_vela_360_params *p);

/* A result record for n results (n < 0 counts as 0); null (code 4 reported
 * under "kel_vela_360_create_results") when memory fails. */
KELKIT_API kel_vela_360_results *kel_vela_360_create_results(int n);

/* Frees the arrays and the record. Null is allowed. */
KELKIT_API void kel_vela_360_delete_results(kel_vela_360_results *r);

/* ---- accessors (no checks) ---------------------------------------------- */

KELKIT_API void kel_vela_360_set_nPatternsToFind(kel_vela_360_params *p, int v);
KELKIT_API int kel_vela_360_get_nPatternsToFind(const kel_vela_360_params *p);
KELKIT_API void kel_vela_360_set_dRefCenterX(kel_vela_360_params *p, double v);
KELKIT_API double kel_vela_360_get_dRefCenterX(const kel_vela_360_params *p);
KELKIT_API void kel_vela_360_set_dRefCenterY(kel_vela_360_params *p, double v);
KELKIT_API double kel_vela_360_get_dRefCenterY(const kel_vela_360_params *p);
KELKIT_API void kel_vela_360_set_dRefAngle(kel_vela_360_params *p, double v);
KELKIT_API double kel_vela_360_get_dRefAngle(const kel_vela_360_params *p);
KELKIT_API void kel_vela_360_set_nEdgeLevel(kel_vela_360_params *p, int v);
KELKIT_API int kel_vela_360_get_nEdgeLevel(const kel_vela_360_params *p);
KELKIT_API void kel_vela_360_set_nMinEdgeSize(kel_vela_360_params *p, int v);
KELKIT_API int kel_vela_360_get_nMinEdgeSize(const kel_vela_360_params *p);
KELKIT_API void kel_vela_360_set_nMaxEdgeSize(kel_vela_360_params *p, int v);
KELKIT_API int kel_vela_360_get_nMaxEdgeSize(const kel_vela_360_params *p);
KELKIT_API void kel_vela_360_set_nUsrPatternOptimizeLevel(kel_vela_360_params *p, int v);
KELKIT_API int kel_vela_360_get_nUsrPatternOptimizeLevel(const kel_vela_360_params *p);
KELKIT_API void kel_vela_360_set_nUsrSceneOptimizeLeve(kel_vela_360_params *p, int v);
KELKIT_API int kel_vela_360_get_nUsrSceneOptimizeLeve(const kel_vela_360_params *p);
KELKIT_API void kel_vela_360_set_nCurvatureFilter(kel_vela_360_params *p, int v);
KELKIT_API int kel_vela_360_get_nCurvatureFilter(const kel_vela_360_params *p);
KELKIT_API void kel_vela_360_set_dMinScore(kel_vela_360_params *p, double v);
KELKIT_API double kel_vela_360_get_dMinScore(const kel_vela_360_params *p);
KELKIT_API void kel_vela_360_set_dEarlyTerminationScore(kel_vela_360_params *p, double v);
KELKIT_API double kel_vela_360_get_dEarlyTerminationScore(const kel_vela_360_params *p);
KELKIT_API void kel_vela_360_set_nMinCandidates(kel_vela_360_params *p, int v);
KELKIT_API int kel_vela_360_get_nMinCandidates(const kel_vela_360_params *p);
KELKIT_API void kel_vela_360_set_nProximityExclusionRad(kel_vela_360_params *p, int v);
KELKIT_API int kel_vela_360_get_nProximityExclusionRad(const kel_vela_360_params *p);
KELKIT_API void kel_vela_360_set_nReversedPolarity(kel_vela_360_params *p, int v);
KELKIT_API int kel_vela_360_get_nReversedPolarity(const kel_vela_360_params *p);
KELKIT_API void kel_vela_360_set_nManualOptimize(kel_vela_360_params *p, int v);
KELKIT_API int kel_vela_360_get_nManualOptimize(const kel_vela_360_params *p);
KELKIT_API void kel_vela_360_set_pattern_min_angle(kel_vela_360_params *p, double v);
KELKIT_API double kel_vela_360_get_pattern_min_angle(const kel_vela_360_params *p);
KELKIT_API void kel_vela_360_set_pattern_max_angle(kel_vela_360_params *p, double v);
KELKIT_API double kel_vela_360_get_pattern_max_angle(const kel_vela_360_params *p);

/* Result accessors: nFound, and element `index` of each array (no bounds
 * check). */
KELKIT_API int kel_vela_360_get_found(const kel_vela_360_results *r);
KELKIT_API double kel_vela_360_get_x(const kel_vela_360_results *r, int index);
KELKIT_API double kel_vela_360_get_y(const kel_vela_360_results *r, int index);
KELKIT_API double kel_vela_360_get_angle(const kel_vela_360_results *r, int index);
KELKIT_API double kel_vela_360_get_scale(const kel_vela_360_results *r, int index);
KELKIT_API double kel_vela_360_get_score(const kel_vela_360_results *r, int index);

/* ---- model ------------------------------------------------------------- */

/*
 * Rebuilds pRTable from pModelContours and returns it (null when there are
 * no model contours or memory fails). Bins: 2 * nChordSpan + 20 in mode 0,
 * 4096 in modes 1 and 2. For each contour of n >= 2k + 1 points (k =
 * nChordSpan), every point i (all of a closed contour, all but the first and
 * last k of an open one) is described by its neighbours f = i + k and
 * b = i - k, taken modulo n - 2: the chord angle c from b to f, the deviation
 * e of the direction from i to f against c, and d = |f - i|. Points with
 * |e| > pi/2 are skipped. The bin is
 *   mode 0: round(d sin e) + k + 10;
 *   mode 1: (trunc(10 |dir[f] - dir[b]|) << 6) | trunc(|d sin e|);
 *   mode 2: (round(|d2 sin e2|) << 6) | round(|d sin e|), with d2, e2 the
 *           same measures for the half chord from i - k/2 to i + k/2;
 * and an index outside the table ends the contour. Full bins double.
 */
KELKIT_API kel_vela_360_rtable *kel_vela_360_build_rtable(kel_vela_360_params *p);

/*
 * Trains the model on the region (x, y, dx, dy) of `model` (BYTE): copies
 * the region into pModelImage, traces its contours into pModelContours
 * (region coordinates), puts the reference point (nModelRefX, nModelRefY) on
 * the centroid of the contour points (rounded down), sets the user reference
 * centre to the region's centre ((dx - 1) / 2, (dy - 1) / 2) and the
 * reference angle to 0, and builds the R-table. Training retunes one
 * setting: when the longest model contour has fewer than 2 * nChordSpan + 1
 * points, nChordSpan is lowered to (longest - 1) / 2 (at least 2) so that
 * every contour long enough to trace contributes.
 * Returns 0; 10 null record; 1 null image; 13 not BYTE; 108 region outside
 * the image; 7 region smaller than 3 by 3; 14 no contour found (the record
 * keeps its previous model); 4 out of memory. Reported under
 * "kel_vela_360_train".
 */
KELKIT_API int kel_vela_360_train(const Image *model, int x, int y, int dx, int dy,
                                  kel_vela_360_params *p);

/*
 * Finds up to nPatternsToFind instances of the model in the window (x, y,
 * dx, dy) of the BYTE scene `image` (x, y below 0 count as 0; dx or dy of 0
 * or less mean the image's full width or height) and fills `results` with
 * their user reference centres (scene coordinates), angles, scales and
 * scores, best first. Returns 0; 1 null image, 10 null record or results,
 * 13 scene not BYTE, all reported under "kel_vela_360_search"; 108 window
 * beyond the image and 103 no trained model, returned without a report; 17
 * results capacity below nPatternsToFind (reported); 4 out of memory.
 * In R-table mode 1 a nChordSpan above 50 is lowered to 50 (the record keeps
 * it). See the notes in the implementation overview of the search for the
 * scoring.
 */
KELKIT_API int kel_vela_360_search(const Image *image, int x, int y, int dx, int dy,
                                   kel_vela_360_params *p, kel_vela_360_results *results);

/*
 * Paints the model contour points at the pose (x, y, angle) given as the
 * search reports it (user reference centre and angle) into the BYTE image,
 * each point at its rounded position with `value`; points outside the image
 * are skipped. Returns 0; 1 null image; 10 null record; 13 not BYTE; 103 no
 * model contours. Reported under "kel_vela_360_paint_model_coverage".
 */
KELKIT_API int kel_vela_360_paint_model_coverage(const kel_vela_360_params *p, Image *image,
                                                 double x, double y, double angle, int value);

/* ---- parameter file ----------------------------------------------------- */

/*
 * Writes the record as a text file of 97 lines: the model image name, the
 * version, then the settings one per line in a fixed order (integers "%d",
 * doubles "%f"), the 64 auxiliary values and the two rotation limits. The
 * model image goes to `image_name` when it is neither null nor empty, else
 * beside the file with the extension ".bmp"; the model contours go beside
 * it with the extension ".trc" (a failure there is ignored).
 * nReversedPolarity and nAux8 are not written. Returns 0 or 112 (file or
 * image cannot be written, or no model image); nothing is reported.
 */
KELKIT_API int kel_vela_360_save_params(kel_vela_360_params *p, const char *path,
                                        const char *image_name);

/*
 * Reads a file written by kel_vela_360_save_params. A file of version below
 * 4097 sets the rotation limits to -pi and +pi; the version itself is not
 * stored. The stored image name is used only when it holds a forward slash;
 * otherwise the image is read from beside the file (extension ".bmp"). The
 * contours are read from beside the file (".trc"); when bCentroidReference
 * is set the reference point moves to their centroid; then the R-table is
 * rebuilt. nReversedPolarity and nAux8 keep their values. Returns 0, 111
 * (null record) or 112 (file missing or malformed, a chord span outside
 * 0..100000, image unreadable);
 * nothing is reported.
 */
KELKIT_API int kel_vela_360_load_params(kel_vela_360_params *p, const char *path);

#ifdef __cplusplus
}
#endif

#endif /* KELKIT_VELA360_H */
