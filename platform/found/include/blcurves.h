/*
** blcurves.h: gain curves of libfound (BLCURVES_).
**
** A curve record maps progress x in [0, 1] to a gain factor in [0, 1] for
** fades, crossfades and ramps. It names a curve type, an easing object that
** belongs to whoever provides curves (the engine's fade-curve catalogue),
** and the function that evaluates that object. A record with no value
** function is the plain linear ramp: value(x) = x.
**
** Curves asked for by name go through the provider that the catalogue
** installs; without a provider every name gives the linear ramp. Records
** are plain values, copied freely; they own nothing. Thread-safe.
*/
#ifndef BLCURVES_H
#define BLCURVES_H

#include <stdbool.h>
#include <stdint.h>

#include "found_export.h"

FOUND_EXTERN_C_BEGIN

/* Evaluates `easing` at progress x (already clamped to [0, 1]). */
typedef double (*BLCURVES_VALUE_FUNCTION)(const void *easing, double x);

typedef struct BLCURVE {
    int32_t type;                   /* 0 = linear */
    const void *easing;             /* the provider's object, or null */
    BLCURVES_VALUE_FUNCTION value;  /* null = linear */
} BLCURVE;

/* Fills `record` for a shape name and a movement name (either may be null)
** and returns it; returns null when it cannot. */
typedef BLCURVE *(*BLCURVES_PROVIDER)(BLCURVE *record, const char *shape, const char *movement,
                                      void *userData);

/* ---- records ----------------------------------------------------------- */

/* Fills `record` with the three values and returns it (null for null). */
FOUND_API BLCURVE *BLCURVES_Initialize(BLCURVE *record, int32_t type, const void *easing,
                                       BLCURVES_VALUE_FUNCTION value);

/* Fills `record` as the linear ramp (type 0) and returns it. */
FOUND_API BLCURVE *BLCURVES_Linear(BLCURVE *record);

/* ---- provider ---------------------------------------------------------- */

/* Installs the provider (null removes it). Returns the previous one. */
FOUND_API BLCURVES_PROVIDER BLCURVES_SetProvider(BLCURVES_PROVIDER provider, void *userData);

/* Fills `record` through the provider; the linear ramp when there is none
** or the provider fails. Null only for a null record. */
FOUND_API BLCURVE *BLCURVES_GetByName(BLCURVE *record, const char *shape, const char *movement);

/* The same for one text "Shape-Movement" ("Quadratic-Decelerating"); a text
** without '-' names a shape alone. */
FOUND_API BLCURVE *BLCURVES_FromText(BLCURVE *record, const char *text);

/* ---- evaluation -------------------------------------------------------- */

/* The curve's value at progress x, clamped to [0, 1] (NaN counts as 0). A
** null record is the linear ramp. */
FOUND_API double BLCURVES_Evaluate(const BLCURVE *record, double x);

/* Fills `count` gains for the progress steps 0, 1/(count-1), ..., 1 (one
** value at x = 0 when count is 1). False for a null output or count < 1. */
FOUND_API bool BLCURVES_EvaluateRamp(const BLCURVE *record, float *gains, int64_t count);

FOUND_EXTERN_C_END

#endif
