/*
** dspbspline.h: cubic splines through tabulated points (DSPBSPLINE_).
**
** A spline is given by the knots (x[i], y[i]), x strictly increasing, and
** the second derivatives y2[i] that DSPBSPLINE_Estimate computes once; the
** curve is then evaluated as often as needed with the same three arrays.
** Between two knots the curve is the cubic with the knots' values and second
** derivatives, so curve, slope and curvature are continuous. Arithmetic is
** done in double; the arrays are float.
**
** All functions are pure (no shared state) and thread-safe. The caller owns
** every array.
*/
#ifndef DSPBSPLINE_H
#define DSPBSPLINE_H

#include <stdbool.h>
#include <stdint.h>

#include "dspcore_export.h"

DSPB_EXTERN_C_BEGIN

/* ---- estimation -------------------------------------------------------- */

/* Computes y2[0 .. count-1], the second derivatives of the cubic spline
** through the `count` knots whose second derivatives at the first and last
** knot are d2First and d2Last (0 and 0: the natural spline). False, with y2
** untouched, for null arrays, count < 2 or x not strictly increasing (NaN
** included). */
DSPB_API bool DSPBSPLINE_Estimate(const float *x, const float *y, int32_t count, float d2First,
                                  float d2Last, float *y2);

/* ---- evaluation -------------------------------------------------------- */

/* The spline's value at `at`. Outside [x[0], x[count-1]] the first or last
** cubic piece is continued (extrapolation, which grows fast far away).
** Interval search by bisection, O(log count). x and y2 must be those given
** to / returned by DSPBSPLINE_Estimate; they are not checked again. Returns
** 0 for null arrays or count < 2. */
DSPB_API float DSPBSPLINE_Interpolate(const float *x, const float *y, const float *y2,
                                      int32_t count, float at);

/* Evaluates the spline at at[0 .. atCount-1] into out[], each value equal to
** what DSPBSPLINE_Interpolate gives. Increasing `at` values are walked in
** one pass (O(count + atCount)); a value smaller than its predecessor
** costs one bisection. False, with out untouched, for null arrays,
** count < 2 or atCount <= 0. `at` and `out` may be the same array. */
DSPB_API bool DSPBSPLINE_InterpolateMany(const float *x, const float *y, const float *y2,
                                         int32_t count, const float *at, float *out,
                                         int32_t atCount);

DSPB_EXTERN_C_END

#endif
