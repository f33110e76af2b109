/*
** tavocurves.h: the fade-curve catalogue of libtavo (TAVOCURVES_).
**
** Fades, crossfades and level ramps name their gain curve by a small
** number, the curve type = shape x 4 + movement. Shapes 0..13 (Linear,
** Quadratic, Cubic, Quartic, Quintic, Sinusoidal, Exponential, Circular,
** Elastic, Back, Bounce, Curve, SineCurve, CosineCurve) and movements 0..3
** (accelerating, decelerating, accelerating then decelerating, decelerating
** then accelerating) give the evaluated types 1..52; type 0 is the plain
** linear ramp.
**
** The catalogue owns one easing object per type, made by
** TAVOCURVES_Initialize and destroyed by TAVOCURVES_Finalize, and installs
** itself as the curve provider of libfound (blcurves.h), so that
** BLCURVES_GetByName and BLCURVES_FromText resolve names through it.
** Initialisation and finalisation belong to library start and stop; the
** other functions are thread-safe between them.
*/
#ifndef TAVOCURVES_H
#define TAVOCURVES_H

#include <stdbool.h>
#include <stdint.h>

#include "blcurves.h"
#include "tavo_export.h"

TAVO_EXTERN_C_BEGIN

/* Highest evaluated curve type: shape 13, movement 0. */
#define TAVOCURVES_MAX_TYPE 52

/* ---- start and stop ------------------------------------------------------ */

/* Makes the 53 easing objects (types 0..52) and installs the catalogue as
** libfound's curve provider. A second call while initialised keeps the
** existing objects, so records already filled stay valid. Returns true. */
TAVO_API bool TAVOCURVES_Initialize(void);

/* Removes the provider (names then resolve to the linear ramp) and
** destroys the easing objects; records filled before must not be evaluated
** afterwards. Returns true, also when not initialised. */
TAVO_API bool TAVOCURVES_Finalize(void);

/* ---- composing a type ---------------------------------------------------- */

/* (movement AND 3) OR shape x 4. */
TAVO_API uint32_t TAVOCURVES_GetCurveType(uint32_t shape, uint32_t movement);
/* The shape of a type: type shifted right by 2. */
TAVO_API uint32_t TAVOCURVES_GetCurveShape(uint32_t type);
/* The movement of a type: type AND 3. */
TAVO_API uint32_t TAVOCURVES_GetCurveMovement(uint32_t type);

/* ---- equal-gain companions ----------------------------------------------- */

/* The movement of the companion curve: accelerating and decelerating swap,
** the two-phase movements stay. 0 for a movement above 3. */
TAVO_API uint32_t TAVOCURVES_GetEqualGainMovement(uint32_t movement);
/* The same shape with the companion movement: quadratic accelerating (4)
** gives quadratic decelerating (5). */
TAVO_API uint32_t TAVOCURVES_GetEqualGainCurveType(uint32_t type);

/* ---- names ----------------------------------------------------------------- */

/* The full and the short name of a shape ("Sinusoidal", "Sine"); a shape
** outside 1..13 gives "Linear". Static text, never null. Two shapes share
** the short name "Sine" (5 and 12). */
TAVO_API const char *TAVOCURVES_GetCurveShapeName(uint32_t shape);
TAVO_API const char *TAVOCURVES_GetCurveShapeShortName(uint32_t shape);

/* The full and the short name of a movement; outside 1..3 gives
** "Accelerating" and "Accel". The full names of movements 2 and 3 are
** stored, and returned, as "Accelerating then Decelarating" and
** "Decelarating then Accelerating": settings written so must keep reading. */
TAVO_API const char *TAVOCURVES_GetCurveMovementName(uint32_t movement);
TAVO_API const char *TAVOCURVES_GetCurveMovementShortName(uint32_t movement);

/* The shape whose full name matches `text`, case-insensitively (the first
** of 0..13 that matches); 0 for null, empty or unknown text. */
TAVO_API uint32_t TAVOCURVES_GetCurveShapeFromName(const char *text);

/* The movement whose full name matches `text`, case-insensitively; the
** correctly spelt "Accelerating then Decelerating" (2) and "Decelerating
** then Accelerating" (3) are accepted too. 0 for null, empty or unknown. */
TAVO_API uint32_t TAVOCURVES_GetCurveMovementFromName(const char *text);

/* ---- curve records --------------------------------------------------------- */

/* Fills `record` for `type` and returns it (null for null). A type below 1
** keeps its number with no easing object and no value function (linear); a
** type above 52 becomes type 0 (linear); otherwise the record gets the
** type, the catalogue's easing object of it and its value function. */
TAVO_API BLCURVE *TAVOCURVES_Get(BLCURVE *record, int32_t type);

/* The record's type; 0 for a null record. */
TAVO_API int32_t TAVOCURVES_GetType(const BLCURVE *record);

/* True when `a` and `b` are the same record, or both are present with the
** same type and the same easing object; one null and one not are unequal. */
TAVO_API bool TAVOCURVE_EqualCurves(const BLCURVE *a, const BLCURVE *b);

TAVO_EXTERN_C_END

#endif
