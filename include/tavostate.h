/*
** tavostate.h: the view and selection state of a document (TAVOSTATE_).
**
** A document owns one state, made with it (TAVOSTATE_Create) and destroyed
** with it. Copies (TAVOSTATE_CreateCopy, TAVOSTATE_CreateUndoCopy) belong
** to the caller, who destroys them with TAVOSTATE_Destroy; they hold their
** own selection list and are tied to no document. An undo copy is frozen:
** the selection operations refuse it.
**
** The state has no lock: the document's locks guard it. Call from the UI
** thread, or with the document's write lock held when changing it.
*/
#ifndef TAVOSTATE_H
#define TAVOSTATE_H

#include <stdbool.h>
#include <stdint.h>

#include "tavotypes.h"

TAVO_EXTERN_C_BEGIN

/* Visual change word (bits the renderer reads and TAVOSTATE_ResetVisualChanges
** clears). */
#define TAVOSTATE_VISUAL_REDRAW 0x1u        /* something must be redrawn */
#define TAVOSTATE_VISUAL_AUDIO_CHANGED 0x2u /* the display caches are stale */

/* ---- lifecycle ---------------------------------------------------------------- */

/* A new state for `audio` (which may be null for a free-standing state):
** empty selection list, no limits, no history, full vertical range, and the
** display settings read from the "libtavo." keys (beats grid, SMPTE frame
** rate, power graph range, spectral dynamic range) and the current drawing
** configuration. Null when out of memory. Destroy with TAVOSTATE_Destroy. */
TAVO_API TAVOSTATE TAVOSTATE_Create(TAVOAUDIO audio);

/* Frees the state and its selection list. False for null. */
TAVO_API bool TAVOSTATE_Destroy(TAVOSTATE state);

/* A copy of every field with its own copy of the selection list, tied to no
** document, remembering the frame count of the source's signal. Null for a
** null state or when out of memory. The caller owns it. */
TAVO_API TAVOSTATE TAVOSTATE_CreateCopy(TAVOSTATE state);

/* TAVOSTATE_CreateCopy, frozen (selection changes are refused). */
TAVO_API TAVOSTATE TAVOSTATE_CreateUndoCopy(TAVOSTATE state);

/* True for a frozen (undo) copy. */
TAVO_API bool TAVOSTATE_IsFrozen(TAVOSTATE state);

/* Copies what an undo step restores from `from` into `to`: view, limits,
** zoom lock, vertical and spectral ranges, cursor, selections and their
** active border, the selecting band, highlight, gain tool, channel mask,
** draw properties and tempo. `to` keeps its document, pool, frozen mark,
** file-state flags, area widths, zoom-back history, stamps, change bits and
** display configuration. Mode 0 (the signal may be shorter than when `from`
** was taken) fits the view, limits and cursor into the frame count of `to`'s
** document; mode 1 copies them as they are. False for null states, `to`
** frozen, or a selection copy that ran out of memory (`to` unchanged). */
TAVO_API bool TAVOSTATE_AssignEx(TAVOSTATE from, TAVOSTATE to, int32_t mode);

/* Replaces `to`'s selection list by copies of `from`'s, allocated from
** `to`'s own pool. False for null states, `to` frozen, or out of memory
** (`to`'s list is then unchanged). */
TAVO_API bool TAVOSTATE_CopySelections(TAVOSTATE to, TAVOSTATE from);

/* Multiplies the begin and end of every selection by oldRate / newRate, so
** that selections keep their frames when the rate changes without
** resampling. 1 at once when the rates are equal; 0 for a null or frozen
** state or a rate that is not positive. */
TAVO_API int32_t TAVOSTATE_AdjustSampleRate(TAVOSTATE state, double oldRate, double newRate);

/* Scales the view by `timeFactor` (1.0 keeps it), then, when its end lies
** beyond `numFrames`, ends it there and moves its begin back to keep its
** length (not below 0). Used after an edit shrinks the signal. False for a
** null state, a negative frame count or a factor that is not positive. */
TAVO_API bool TAVOSTATE_AdjustViewEx(TAVOSTATE state, int64_t numFrames, double timeFactor);

/* Clears the region-related display state: the highlight range and the
** highlight region reference. False for null. */
TAVO_API bool TAVOSTATE_ResetRegionsState(TAVOSTATE state);

/* ---- change notification ------------------------------------------------------ */

/* Tells the host that the document changed: marks the visual change word
** (redraw; stale caches when the signal's stamp differs from the saved one),
** ORs `bits` into the change bits, then sends TAVOAUDIO_WAS_CHANGED (arg1:
** 1 when the audio differs from the saved version, else 0, as an integer in
** the pointer; arg2: the bits likewise) and TAVOAUDIO_NEEDREDRAW (arg1:
** `context`). When the state already notified for the present signal stamp
** and `flag` is 0, only TAVOAUDIO_NEEDREDRAW is sent. Silent (false) while
** the document is in an edit or its notifications are suspended, and for a
** null document; true when events were sent. */
TAVO_API bool TAVOSTATE_NotifyChangesEx(TAVOAUDIO audio, int32_t flag, uint32_t bits, void *context);
/* TAVOSTATE_NotifyChangesEx with a null context. */
TAVO_API bool TAVOSTATE_NotifyChanges(TAVOAUDIO audio, int32_t flag, uint32_t bits);

/* Clears the visual change word and the change bits (after drawing). */
TAVO_API bool TAVOSTATE_ResetVisualChanges(TAVOSTATE state);

/* The shown and notified stamps of the state and the document's change stamp
** become the signal's present stamp (the document counts as saved). False
** for a null document or one without signal. */
TAVO_API bool TAVOSTATE_ResetTimeStamps(TAVOAUDIO audio);

/* The visual change word and the accumulated change bits; 0 for null. */
TAVO_API uint32_t TAVOSTATE_VisualChanges(TAVOSTATE state);
TAVO_API uint32_t TAVOSTATE_ChangeBits(TAVOSTATE state);

/* ---- document access ------------------------------------------------------------ */

/* The document's state, borrowed: valid while the document lives. Null for a
** null or closed document. */
TAVO_API TAVOSTATE TAVOAUDIO_GetState(TAVOAUDIO audio);

TAVO_EXTERN_C_END

#endif
