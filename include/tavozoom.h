/*
** tavozoom.h: the view of a document (TAVOAUDIO_ zoom, scroll, limits,
** vertical and spectral ranges, zoom-back history, cursor, channel mask,
** draw properties, tempo).
**
** Positions are sample frames (signed 64-bit); vertical ranges are sample
** amplitudes within [-32768, 32768]; spectral ranges are Hz within
** [0, rate / 2]. Every function answers 0, false or -1 (positions) for a
** null or closed document and for a document without signal.
**
** Zoom flags (TAVOAUDIO_ZoomEx2 and the operations passing them on):
** TAVOAUDIO_ZOOM_NO_HISTORY (2) do not save the current view in the
** zoom-back history; TAVOAUDIO_ZOOM_KEEP_LOCK (4) refuse a change of length
** while the zoom is locked; TAVOAUDIO_ZOOM_CENTER_FOCUS (8) draw the focus
** of a factor zoom towards the centre; TAVOAUDIO_ZOOM_FORCE_HISTORY (16)
** save in the history even within the save interval. The `notify` words:
** bit 0 set = call TAVOSTATE_NotifyChanges after the change.
**
** Vetoable changes send a "BEFORE" event first (TAVOAUDIO_BEFORE_HORZ_ZOOM_
** CHANGE ...); a handler answering 0 cancels and the call returns 0 with the
** view, the history and the lock untouched.
**
** Threads: UI thread. Zoom operations take only the document's signal
** mutex (to read the signal); the caller serialises them with drawing.
** Event handlers run synchronously inside the call.
*/
#ifndef TAVOZOOM_H
#define TAVOZOOM_H

#include <stdbool.h>
#include <stdint.h>

#include "tavotypes.h"

TAVO_EXTERN_C_BEGIN

#define TAVOAUDIO_ZOOM_NO_HISTORY 0x2u
#define TAVOAUDIO_ZOOM_KEEP_LOCK 0x4u
#define TAVOAUDIO_ZOOM_CENTER_FOCUS 0x8u
#define TAVOAUDIO_ZOOM_FORCE_HISTORY 0x10u

/* ---- view ------------------------------------------------------------------- */

/* The visible interval [begin, end) in frames, its length and its centre;
** -1 (length 0) for a null document. */
TAVO_API int64_t TAVOAUDIO_ViewBegin(TAVOAUDIO audio);
TAVO_API int64_t TAVOAUDIO_ViewEnd(TAVOAUDIO audio);
TAVO_API int64_t TAVOAUDIO_ViewLength(TAVOAUDIO audio);
TAVO_API int64_t TAVOAUDIO_ViewCenter(TAVOAUDIO audio);

/* ---- horizontal zoom -------------------------------------------------------- */

/* The one primitive that changes the horizontal view: shows [begin, end]
** (either order; end < 0 means the limited end) clamped to the zoom limits.
** 1 when the view changed (or an unchanged view shorter than 4 frames was
** asked for); 0 for an empty request, an unchanged view, a veto, or a locked
** zoom with TAVOAUDIO_ZOOM_KEEP_LOCK. Sends TAVOAUDIO_BEFORE_HORZ_ZOOM_CHANGE
** and TAVOAUDIO_HORZ_ZOOM_CHANGE with pointers to begin and end in seconds. */
TAVO_API int32_t TAVOAUDIO_ZoomEx2(TAVOAUDIO audio, int64_t begin, int64_t end, uint32_t flags, uint32_t notify);

/* Factor zoom around `focus` of the view [viewBegin, viewEnd]: a factor > 0
** divides the length by (1 + factor), a factor <= 0 multiplies it by
** (1 - factor). A focus within 1 % of the view length of the cursor snaps to
** it. Every step changes the view by at least one frame on each side.
** Notifies (notify word 15). Result of TAVOAUDIO_ZoomEx2. */
TAVO_API int32_t TAVOAUDIO_ZoomByFactorEx2(TAVOAUDIO audio, int64_t focus, int64_t viewBegin, int64_t viewEnd,
                                           double factor, uint32_t flags);
/* TAVOAUDIO_ZoomByFactorEx2 on the current view. */
TAVO_API int32_t TAVOAUDIO_ZoomByFactorEx1(TAVOAUDIO audio, int64_t focus, double factor, uint32_t flags);
/* TAVOAUDIO_ZoomByFactorEx1 with flags 0. */
TAVO_API int32_t TAVOAUDIO_ZoomByFactorEx(TAVOAUDIO audio, int64_t focus, double factor);
/* TAVOAUDIO_ZoomByFactorEx around TAVOAUDIO_ZoomFocusPosition. */
TAVO_API int32_t TAVOAUDIO_ZoomByFactor(TAVOAUDIO audio, double factor);

/* Factor +0.2 / -0.2 around the zoom focus (flags 0): zoom in divides the
** length by 1.2, zoom out multiplies it by 1.2. */
TAVO_API int32_t TAVOAUDIO_ZoomIn(TAVOAUDIO audio);
TAVO_API int32_t TAVOAUDIO_ZoomOut(TAVOAUDIO audio);

/* The position zooming keeps in place: the cursor when the document is left
** with no selection (cursor-only) and the cursor is in view; else the begin
** or end of the active selection when its active border is 1 or 2; else
** `fallback`. With bit 0 of `flags` the selection border is not looked at.
** -1 for a null document. */
TAVO_API int64_t TAVOAUDIO_ZoomFocusPositionEx(TAVOAUDIO audio, int64_t fallback, uint32_t flags);
/* TAVOAUDIO_ZoomFocusPositionEx with the view centre as fallback. */
TAVO_API int64_t TAVOAUDIO_ZoomFocusPosition(TAVOAUDIO audio);

/* Zooms to `selection` (seconds), or with null to the span from the first
** selection's begin to the last one's end; the view before is then saved in
** the history (forced). 0 when there is no selection or the zoom failed. */
TAVO_API int32_t TAVOAUDIO_ZoomSelectionEx(TAVOAUDIO audio, const TAVOSELECTION *selection);
TAVO_API int32_t TAVOAUDIO_ZoomSelection(TAVOAUDIO audio);

/* Zooms to [limited begin, limited end], forcing a history entry. */
TAVO_API int32_t TAVOAUDIO_ZoomResetEx(TAVOAUDIO audio, uint32_t notify);
TAVO_API int32_t TAVOAUDIO_ZoomReset(TAVOAUDIO audio);

/* Horizontal, vertical and spectral reset, notifying once at the end when
** notify bit 0 is set. 1 only when all three succeeded. */
TAVO_API int32_t TAVOAUDIO_ZoomFullResetEx(TAVOAUDIO audio, uint32_t notify);
TAVO_API int32_t TAVOAUDIO_ZoomFullReset(TAVOAUDIO audio);

/* Views allow zooming in while >= 5 frames long, zooming out while >= 4
** frames long and not showing the whole limited range. */
TAVO_API bool TAVOAUDIO_CanZoomIn(TAVOAUDIO audio);
TAVO_API bool TAVOAUDIO_CanZoomOut(TAVOAUDIO audio);

/* Horizontally zoomed: the view is not the whole limited range. */
TAVO_API bool TAVOAUDIO_HasZoomEx(TAVOAUDIO audio);
/* Vertically zoomed: the range differs from the full [-32768, 32768]. */
TAVO_API bool TAVOAUDIO_HasVerticalZoom(TAVOAUDIO audio);
/* Spectrally zoomed: the range differs from [0, rate / 2]. */
TAVO_API bool TAVOAUDIO_HasSpectralZoom(TAVOAUDIO audio);
/* A full reset would change something (any of the three above). */
TAVO_API bool TAVOAUDIO_CanResetZoom(TAVOAUDIO audio);

/* Moves the view by `offset` frames, keeping its length and staying inside
** the zoom limits; writes the shifted view. False for null outputs. */
TAVO_API bool TAVOAUDIO_ZoomOffsetView(TAVOAUDIO audio, int64_t offset, int64_t *begin, int64_t *end);
/* Scrolls: TAVOAUDIO_ZoomOffsetView applied with TAVOAUDIO_ZoomEx2 (flags 0,
** notify 15). */
TAVO_API int32_t TAVOAUDIO_ZoomOffset(TAVOAUDIO audio, int64_t offset);

/* ---- zoom-back history ------------------------------------------------------ */

/* Saves the current view in the history (64 entries, oldest dropped).
** Within the save interval after the last save nothing is pushed; a view of
** the same length as the top entry replaces it (a scroll). True when saved
** or skipped by the interval. */
TAVO_API bool TAVOAUDIO_SaveZoomBack(TAVOAUDIO audio);
/* Zooms to the top entry without saving the return, then pops it. 0 when the
** history is empty or the zoom failed. */
TAVO_API int32_t TAVOAUDIO_ZoomBackEx(TAVOAUDIO audio, uint32_t notify);
TAVO_API int32_t TAVOAUDIO_ZoomBack(TAVOAUDIO audio);
/* Pops one entry; true also when empty. */
TAVO_API bool TAVOAUDIO_ClearZoomBack(TAVOAUDIO audio);
/* The history is not empty / its top entry differs from the current view. */
TAVO_API bool TAVOAUDIO_HasZoomBack(TAVOAUDIO audio);
TAVO_API bool TAVOAUDIO_CanZoomBack(TAVOAUDIO audio);

/* ---- lock and limits -------------------------------------------------------- */

/* Locking keeps the current view length for later horizontal zooms (and
** notifies); unlocking clears it. */
TAVO_API bool TAVOAUDIO_ZoomLock(TAVOAUDIO audio);
TAVO_API bool TAVOAUDIO_ZoomUnlock(TAVOAUDIO audio);
TAVO_API bool TAVOAUDIO_IsZoomLocked(TAVOAUDIO audio);

/* Sets the zoom limits (either order; end < 1 takes the pair as given, so
** (-1, -1) removes them) and shows the whole limited range without a history
** entry. Vetoable (TAVOAUDIO_BEFORE_HORZ_ZOOM_LIMIT_CHANGE); then sends
** TAVOAUDIO_HORZ_ZOOM_LIMIT_CHANGED with the effective limits in seconds.
** Result: that of the zoom. */
TAVO_API int32_t TAVOAUDIO_SetZoomLimitsEx(TAVOAUDIO audio, int64_t begin, int64_t end, uint32_t notify);
TAVO_API int32_t TAVOAUDIO_SetZoomLimits(TAVOAUDIO audio, int64_t begin, int64_t end);
TAVO_API int32_t TAVOAUDIO_ResetZoomLimitsEx(TAVOAUDIO audio, uint32_t notify);
TAVO_API int32_t TAVOAUDIO_ResetZoomLimits(TAVOAUDIO audio);
/* Limits to the current view / to the span of the selections (0 without). */
TAVO_API int32_t TAVOAUDIO_SetZoomLimitsToView(TAVOAUDIO audio);
TAVO_API int32_t TAVOAUDIO_SetZoomLimitsToSelection(TAVOAUDIO audio);
/* Limit begin > 0, or the effective limit end differs from the frame count. */
TAVO_API bool TAVOAUDIO_HasZoomLimit(TAVOAUDIO audio);

/* The effective limits: limit begin (0 when unset), limit end (the frame
** count when unset) and their difference; -1 for a null document. */
TAVO_API int64_t TAVOAUDIO_LimitedBegin(TAVOAUDIO audio);
TAVO_API int64_t TAVOAUDIO_LimitedEnd(TAVOAUDIO audio);
TAVO_API int64_t TAVOAUDIO_LimitedLength(TAVOAUDIO audio);

/* ---- vertical and spectral ranges ------------------------------------------- */

/* Shows the amplitudes [min(a, b), max(a, b)] clipped to +-32768. 1 also when
** either bound equals the stored one (only a change of both bounds is
** applied); 0 for an empty range or a veto. */
TAVO_API int32_t TAVOAUDIO_ZoomVerticalEx(TAVOAUDIO audio, float a, float b, uint32_t notify);
/* Zoom by a factor around the middle of the range / around `center`: the
** half-range is divided by (1 + factor) for factor > 0 and multiplied by
** (1 - factor) for factor <= 0, as the horizontal zoom does. */
TAVO_API int32_t TAVOAUDIO_ZoomVerticalFactor(TAVOAUDIO audio, float factor);
TAVO_API int32_t TAVOAUDIO_ZoomVerticalFactorAround(TAVOAUDIO audio, float factor, float center);
/* Factor +0.2 / -0.2 around the middle. */
TAVO_API int32_t TAVOAUDIO_ZoomVerticalIn(TAVOAUDIO audio);
TAVO_API int32_t TAVOAUDIO_ZoomVerticalOut(TAVOAUDIO audio);
/* The full range [-32768, 32768]. */
TAVO_API int32_t TAVOAUDIO_ZoomVerticalResetEx(TAVOAUDIO audio, uint32_t notify);
/* A symmetric range of +-32768 * "libtavo.zoom.normalized_factor" (0.9),
** so that full-scale audio fills that share of the height. Notifies. */
TAVO_API int32_t TAVOAUDIO_ZoomVerticalNormalized(TAVOAUDIO audio);
/* Moves the vertical range by `delta` amplitude units, keeping its height and
** staying inside +-32768. */
TAVO_API int32_t TAVOAUDIO_ScrollVertical(TAVOAUDIO audio, float delta);

/* Shows the frequencies [min(a, b), max(a, b)] clipped to [0, rate / 2].
** 1 when unchanged; a range narrower than 5 Hz is refused (0; with notify
** bit 0 the display is still redrawn); 0 for a veto. */
TAVO_API int32_t TAVOAUDIO_ZoomSpectralEx(TAVOAUDIO audio, float a, float b, uint32_t notify);
/* Factor zoom of the spectral range around its middle / around `center`
** (arithmetic as the vertical factor zoom). */
TAVO_API int32_t TAVOAUDIO_ZoomSpectralFactor(TAVOAUDIO audio, float factor);
TAVO_API int32_t TAVOAUDIO_ZoomSpectralFactorAround(TAVOAUDIO audio, float factor, float center);
/* [0, rate / 2]. */
TAVO_API int32_t TAVOAUDIO_ZoomSpectralResetEx(TAVOAUDIO audio, uint32_t notify);
/* Moves the spectral range by `delta` Hz, keeping its width and staying
** inside [0, rate / 2]. */
TAVO_API int32_t TAVOAUDIO_ScrollSpectral(TAVOAUDIO audio, float delta);

/* The stored ranges; 0 for a null document. */
TAVO_API double TAVOAUDIO_VerticalMax(TAVOAUDIO audio);
TAVO_API double TAVOAUDIO_VerticalMin(TAVOAUDIO audio);
TAVO_API double TAVOAUDIO_VerticalSpectralMax(TAVOAUDIO audio);
TAVO_API double TAVOAUDIO_VerticalSpectralMin(TAVOAUDIO audio);

/* ---- keeping positions visible ---------------------------------------------- */

/* Scrolls so that `position` lies inside the view by a margin (the
** renderer's scale step, or 5 % of the view length without a renderer).
** 1 when it already does; else the result of the scroll. */
TAVO_API int32_t TAVOAUDIO_ScrollToKeepCursorVisible(TAVOAUDIO audio, int64_t position);
/* The cursor lies inside the view. */
TAVO_API bool TAVOAUDIO_IsCursorVisible(TAVOAUDIO audio);
/* The view begin that makes [position, position + length] visible with the
** least scroll (margin as above), within the zoom limits. The view is not
** changed. -1 for a null document. */
TAVO_API int64_t TAVOAUDIO_BeginViewToKeepPositionVisible(TAVOAUDIO audio, int64_t position, int64_t length);
/* The view begin that centres `position`, within the zoom limits. */
TAVO_API int64_t TAVOAUDIO_BeginViewToKeepPositionCentered(TAVOAUDIO audio, int64_t position);

/* ---- scroll-zoom mode --------------------------------------------------------- */

/* The mode of wheel zooming, from "libtavo.draw.scroll_zoom.mode" (0 mouse,
** 1 cursor, 2 cursor_centered, 3 center); -1 for a null document. */
TAVO_API int32_t TAVOAUDIO_ScrollZoomMode(TAVOAUDIO audio);
/* Stores the mode's name in the setting (process-wide). False for null. */
TAVO_API bool TAVOAUDIO_SetScrollZoomMode(TAVOAUDIO audio, int32_t mode);

/* ---- cursor ------------------------------------------------------------------- */

/* The edit cursor in frames; -1 for a null document. */
TAVO_API int64_t TAVOAUDIO_GetCursorPosition(TAVOAUDIO audio);
/* Moves the cursor to `position` clamped to [0, frame count], sends
** TAVOAUDIO_CURSOR_SET_POSITION with a pointer to the time in seconds, and
** notifies (change bits 0) when notify bit 0 is set. False without signal. */
TAVO_API bool TAVOAUDIO_SetCursorPositionEx2(TAVOAUDIO audio, int64_t position, uint32_t notify);
TAVO_API bool TAVOAUDIO_SetCursorPosition(TAVOAUDIO audio, int64_t position);
/* TAVOAUDIO_SetCursorPositionEx2, then TAVOAUDIO_CURSOR_CHANGE_POSITION with
** a pointer to the time in seconds: a move the host's transport follows. */
TAVO_API bool TAVOAUDIO_ChangeCursorPositionEx(TAVOAUDIO audio, int64_t position, uint32_t notify);

/* ---- channels, draw properties, tempo ------------------------------------------ */

/* The channels edits and displays work on (bit i = channel i), set on the
** signal and kept in the view state. A mask without any of the signal's
** channels is refused. GetChannelMask gives 0 for a null document. */
TAVO_API bool TAVOAUDIO_SetChannelMask(TAVOAUDIO audio, uint64_t mask);
TAVO_API uint64_t TAVOAUDIO_GetChannelMask(TAVOAUDIO audio);

/* Display properties 0..15 of the view: 1 horizontal scale kind, 2 vertical
** scale kind, 3 spectral scale kind (TAVOCONFIG_ scale codes), the others
** free for the renderer. Setting a new value redraws (change bits 0). False
** / -1 for a null document or a property outside 0..15. */
TAVO_API bool TAVOAUDIO_SetDrawProperty(TAVOAUDIO audio, int32_t property, int32_t value);
TAVO_API int32_t TAVOAUDIO_GetDrawProperty(TAVOAUDIO audio, int32_t property);

/* The document's tempo (beats per minute of its metadata, at least 15); 0
** for a null document. SetTempo refuses values that are not positive and
** raises those below 15 to 15. */
TAVO_API double TAVOAUDIO_GetTempo(TAVOAUDIO audio);
TAVO_API bool TAVOAUDIO_SetTempo(TAVOAUDIO audio, double bpm);

TAVO_EXTERN_C_END

#endif
