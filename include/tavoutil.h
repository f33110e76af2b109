/*
** tavoutil.h: coordinates and time texts of libtavo (TAVOUTIL_ and the
** TAVOAUDIO_ pixel, frame and time conversions).
**
** The TAVOUTIL_ functions are pure: they read only their arguments and may
** be called from any thread. The TAVOAUDIO_ conversions read the document's
** view state without locking; call them from the UI thread, as the zoom
** operations that change the view are.
**
** Text functions write with a bounded formatted print into the caller's
** buffer (always terminated) and return the length of the text; they return
** 0 and write nothing for a null buffer, a size below 1 or invalid
** arguments (a rate, tempo or frame rate that is not positive).
*/
#ifndef TAVOUTIL_H
#define TAVOUTIL_H

#include <stdbool.h>
#include <stdint.h>

#include "tavotypes.h"

TAVO_EXTERN_C_BEGIN

/* ---- rectangles ------------------------------------------------------------ */

/* Fills all six fields: right = left + width - 1, bottom = top + height - 1.
** Returns the rectangle, or null when it is null. */
TAVO_API TAVORECT *TAVOUTIL_DefineRect(TAVORECT *rect, int32_t left, int32_t top, int32_t width, int32_t height);

/* Recomputes the redundant fields. Mode 2: width and height from the corners
** (true when both are >= 1); mode 4: right and bottom from left, top, width
** and height; mode 1: left and top from right, bottom, width and height.
** False for a null rectangle or any other mode (nothing changes then). */
TAVO_API bool TAVOUTIL_EvalDimensions(TAVORECT *rect, int32_t mode);

/* True when the rectangle exists and width >= 1 and height >= 1. */
TAVO_API bool TAVOUTIL_IsRectValid(const TAVORECT *rect);

/* left <= x < left + width and top <= y < top + height; false for null. */
TAVO_API bool TAVOUTIL_IsInsideRect(const TAVORECT *rect, int32_t x, int32_t y);

/* The test of TAVOUTIL_IsInsideRect widened by margins: left - mx <= x <
** left + width + 2 * mx and top - my <= y < top + height + 2 * my. The far
** sides grow by twice the margin on purpose (hit testing relies on it). */
TAVO_API bool TAVOUTIL_IsInsideRectEx(const TAVORECT *rect, int32_t x, int32_t y, int32_t mx, int32_t my);

/* Bands and corners of a rectangle, for the hit tests of the controller:
** the point lies inside the rectangle and within `size` pixels of its top
** edge / its top-left corner (both axes) / its top-right corner / its bottom
** edge. False for null or a size below 1. */
TAVO_API bool TAVOUTIL_IsInsideRectTop(const TAVORECT *rect, int32_t x, int32_t y, int32_t size);
TAVO_API bool TAVOUTIL_IsInsideRectTopLeft(const TAVORECT *rect, int32_t x, int32_t y, int32_t size);
TAVO_API bool TAVOUTIL_IsInsideRectTopRight(const TAVORECT *rect, int32_t x, int32_t y, int32_t size);
TAVO_API bool TAVOUTIL_IsInsideRectBottom(const TAVORECT *rect, int32_t x, int32_t y, int32_t size);

/* True when the point lies in the ellipse inscribed in the rectangle (its
** border included). False for null or an invalid rectangle. */
TAVO_API bool TAVOUTIL_IsInsideEllipse(const TAVORECT *rect, int32_t x, int32_t y);

/* Which borders of the rectangle the point is over, within mx pixels
** horizontally of a vertical border and my vertically of a horizontal one
** (the border's extent widened by the other margin): bits 1 left, 2 right,
** 4 top, 8 bottom; 0 when none or for null. */
TAVO_API int32_t TAVOUTIL_IsOverRectBorderEx(const TAVORECT *rect, int32_t x, int32_t y, int32_t mx, int32_t my);

/* True when the point lies within `tolerance` pixels (Euclidean) of the
** polyline through `points`; a single point is a polyline of one point.
** False for null points, a count below 1 or a negative tolerance. */
TAVO_API bool TAVOUTIL_IsOverCurve(const TAVOPOINT *points, int32_t count, int32_t x, int32_t y, int32_t tolerance);

/* True when left, top, width and height are equal; false when either is null. */
TAVO_API bool TAVOUTIL_CompareRect(const TAVORECT *a, const TAVORECT *b);

/* result := rect with left/top moved by (dl, dt) and right/bottom by
** (dr, db), width and height recomputed. result may be rect. Returns result,
** or null when either pointer is null. */
TAVO_API TAVORECT *TAVOUTIL_AdjustedRect(TAVORECT *result, const TAVORECT *rect, int32_t dl, int32_t dt, int32_t dr,
                                         int32_t db);
/* TAVOUTIL_AdjustedRect in place. */
TAVO_API TAVORECT *TAVOUTIL_AdjustRect(TAVORECT *rect, int32_t dl, int32_t dt, int32_t dr, int32_t db);

/* One size or edge changes, keeping the corners consistent: a new width or
** height keeps left/top; a new left/top keeps right/bottom; a new
** right/bottom keeps left/top. Null for a null rectangle. */
TAVO_API TAVORECT *TAVOUTIL_ChangeRectWidth(TAVORECT *rect, int32_t width);
TAVO_API TAVORECT *TAVOUTIL_ChangeRectHeight(TAVORECT *rect, int32_t height);
TAVO_API TAVORECT *TAVOUTIL_ChangeRectLeft(TAVORECT *rect, int32_t left);
TAVO_API TAVORECT *TAVOUTIL_ChangeRectRight(TAVORECT *rect, int32_t right);
TAVO_API TAVORECT *TAVOUTIL_ChangeRectTop(TAVORECT *rect, int32_t top);
TAVO_API TAVORECT *TAVOUTIL_ChangeRectBottom(TAVORECT *rect, int32_t bottom);

/* Shift the whole rectangle (size kept) so that the named edge lies at the
** given coordinate. Null for a null rectangle. */
TAVO_API TAVORECT *TAVOUTIL_MoveRectLeft(TAVORECT *rect, int32_t left);
TAVO_API TAVORECT *TAVOUTIL_MoveRectRight(TAVORECT *rect, int32_t right);
TAVO_API TAVORECT *TAVOUTIL_MoveRectTop(TAVORECT *rect, int32_t top);
TAVO_API TAVORECT *TAVOUTIL_MoveRectBottom(TAVORECT *rect, int32_t bottom);

/* result := the overlap of a and b, or the empty rectangle (all zero with
** right = bottom = -1) when they do not overlap or either is null. The
** misspelt name is the interface name. Returns result (null for a null
** result). */
TAVO_API TAVORECT *TAVOUTIL_InterectionRect(TAVORECT *result, const TAVORECT *a, const TAVORECT *b);

/* Width of the horizontal overlap of a and b (0 when none or for null). */
TAVO_API int32_t TAVOUTIL_IntersectionWidth(const TAVORECT *a, const TAVORECT *b);

/* result := the smallest rectangle holding a and b; an invalid or null one
** of the two is left out (the empty rectangle when both are). Returns result
** (null for a null result). */
TAVO_API TAVORECT *TAVOUTIL_ComposeRect(TAVORECT *result, const TAVORECT *a, const TAVORECT *b);

/* (left + width / 2, top + height / 2), division towards zero; a null
** rectangle gives (134217728, 134217728), a point no canvas holds. */
TAVO_API TAVOPOINT TAVOUTIL_RectCenter(const TAVORECT *rect);

/* Writes "{ l:%d, t:%d, r:%d, b:%d, w:%d, h:%d}\n" to the standard output;
** nothing for null. */
TAVO_API void TAVOUTIL_PrintRect(const TAVORECT *rect);

/* ---- points ---------------------------------------------------------------- */

/* Fills a point; returns it (null for null). */
TAVO_API TAVOPOINT *TAVOUTIL_DefinePoint(TAVOPOINT *point, int32_t x, int32_t y);
/* True when the point exists and both coordinates are >= 0. */
TAVO_API bool TAVOUTIL_IsPointValid(const TAVOPOINT *point);

/* ---- floating-point rectangles ---------------------------------------------- */

/* The float twins of DefineRect, EvalDimensions, AdjustedRect and AdjustRect,
** under the same rules (right = left + width - 1). */
TAVO_API TAVORECTF *TAVOUTIL_DefineRectF(TAVORECTF *rect, double left, double top, double width, double height);
TAVO_API bool TAVOUTIL_EvalDimensionsF(TAVORECTF *rect, int32_t mode);
TAVO_API TAVORECTF *TAVOUTIL_AdjustedRectF(TAVORECTF *result, const TAVORECTF *rect, double dl, double dt, double dr,
                                           double db);
TAVO_API TAVORECTF *TAVOUTIL_AdjustRectF(TAVORECTF *rect, double dl, double dt, double dr, double db);
/* result := rect with every field converted. Null when either is null. */
TAVO_API TAVORECTF *TAVOUTIL_ConvertRectToFloat(TAVORECTF *result, const TAVORECT *rect);

/* ---- ranges ------------------------------------------------------------------ */

/* 0.0 when v <= lo, 1.0 when v >= hi, else (v - lo) / (hi - lo). */
TAVO_API double TAVOUTIL_PositionOnRange(double v, double lo, double hi);
/* hi when p >= 1.0, lo when p <= 0.0, else lo + (hi - lo) * p. */
TAVO_API double TAVOUTIL_RangeOnPosition(double p, double lo, double hi);

/* ---- time texts -------------------------------------------------------------- */

/* Splits |ms| into hours, minutes (0..59), seconds (0..59) and milliseconds
** (0..999); null outputs are skipped. Always true. */
TAVO_API bool TAVOUTIL_DecomposeMsTime(int64_t ms, int32_t *hours, int32_t *minutes, int32_t *seconds,
                                       int32_t *milliseconds);

/* Clock text of |ms|, laid out by the reference length (normally the length
** of the signal) so that all the texts of a document line up: a reference of
** an hour or more "HH:MM:SS.mmm", of a minute or more "MM:SS.mmm" (hours
** dropped), of a second or more "S.mmm", below a second "0.mmm". */
TAVO_API int32_t TAVOUTIL_MsTimeToBuffer(int64_t ms, int64_t referenceMs, char *buffer, int32_t size);

/* TAVOUTIL_MsTimeToBuffer of frames at `rate` frames per second (both
** values rounded to the nearest millisecond). */
TAVO_API int32_t TAVOUTIL_SamplesToTimeString(int64_t frames, int64_t reference, double rate, char *buffer,
                                              int32_t size);

/* Seconds with milliseconds, "S.mmm" (a negative time gets a leading '-').
** The reference is not used: this text has one layout. */
TAVO_API int32_t TAVOUTIL_SamplesToSecondString(int64_t frames, int64_t reference, double rate, char *buffer,
                                                int32_t size);

/* Musical position "bar.beat.subdivision", counted from 1. When frames differ
** from the reference, trailing zero parts are left out ("3", "3.2"); when
** they are equal the full text is written. */
TAVO_API int32_t TAVOUTIL_SamplesToBeatsString(int64_t frames, int64_t reference, double rate,
                                               const TAVOBEATSCONFIG *beats, char *buffer, int32_t size);

/* A length in beats, "bars.beats.subdivisions" counted from 0. */
TAVO_API int32_t TAVOUTIL_SamplesToDurationBeatsString(int64_t frames, int64_t reference, double rate,
                                                       const TAVOBEATSCONFIG *beats, char *buffer, int32_t size);

/* SMPTE time code "HH:MM:SS:FF" of |frames| at `fps` video frames per second
** (non-drop). The code has one fixed layout, so the reference is not used. */
TAVO_API int32_t TAVOUTIL_SamplesToSmpteString(int64_t frames, int64_t reference, double rate, int32_t fps,
                                               char *buffer, int32_t size);

/* Parses a clock text "[[H:]M:]S[.fff]" into its parts, splitting `text` in
** place. Fields are read from the right; the fraction is scaled by its digit
** count (".5" is 500 ms); overflows carry upwards ("90" is 1 min 30 s).
** Outputs start at 0; null outputs are skipped. False for a null text. */
TAVO_API bool TAVOUTIL_DecomposeStringTime(char *text, int32_t *hours, int32_t *minutes, int32_t *seconds,
                                           int32_t *milliseconds);

/* Milliseconds of a clock text (the text is not changed). Unlike
** TAVOUTIL_DecomposeStringTime, a lone whole field of 60 or more wraps
** modulo 60 ("90" gives 30000) and inner fields wrap as clock fields; the
** leading field of a text with ':' is taken whole. -1 for a null text. */
TAVO_API int64_t TAVOUTIL_TimeStringToMs(const char *text);

/* TAVOUTIL_TimeStringToMs converted to frames at `rate` (rounded to the
** nearest frame). -1 for a null text or a rate that is not positive. */
TAVO_API int64_t TAVOUTIL_TimeStringToSample(const char *text, double rate);

/* ---- document conversions ------------------------------------------------------ */

/* Frames per pixel of a drawing area: area 0 is the main audio area showing
** the view, area 1 the navigator showing the limited range. The width comes
** from the renderer when the document has one, else from the width set with
** TAVOAUDIO_SetAreaWidth. 1.0 for a null document, an invalid area, a width
** below 2 or an empty range. */
TAVO_API double TAVOAUDIO_GetSamplesPerPixel(TAVOAUDIO audio, int32_t area);

/* The frame under pixel x of an area (capped at the end of its range); 0 for
** a null document, an invalid area or an empty range. */
TAVO_API int64_t TAVOAUDIO_PixelToSample(TAVOAUDIO audio, int32_t area, int32_t x);

/* The pixel of a frame in an area; negative left of the area and monotonic
** across 0. 0 for a null document or an invalid area. */
TAVO_API int32_t TAVOAUDIO_SampleToPixel(TAVOAUDIO audio, int32_t area, int64_t frame);

/* The width in pixels of area 0 or 1 that the conversions use while the
** document has no renderer (the host sets it when its view is resized).
** False for a null document, an invalid area or a negative width. */
TAVO_API bool TAVOAUDIO_SetAreaWidth(TAVOAUDIO audio, int32_t area, int32_t width);
/* The width of the area as the conversions see it; 0 for a null document or
** an invalid area. */
TAVO_API int32_t TAVOAUDIO_GetAreaWidth(TAVOAUDIO audio, int32_t area);

/* Seconds of a frame and the frame nearest to a time, through the signal's
** format. 0 for a null document or a document without signal. */
TAVO_API double TAVOAUDIO_SampleToTime(TAVOAUDIO audio, int64_t frame);
TAVO_API int64_t TAVOAUDIO_TimeToSample(TAVOAUDIO audio, double seconds);

TAVO_EXTERN_C_END

#endif
