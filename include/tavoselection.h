/*
** tavoselection.h: selections (TAVOSELECTION_), the selection list of a view
** state (TAVOSTATE_) and the document's selection operations (TAVOAUDIO_).
**
** A selection stores begin and end in seconds; the document functions take
** and return sample frames and convert with TAVOAUDIO_SampleToTime /
** TAVOAUDIO_TimeToSample. A document's list is sorted by begin and pairwise
** disjoint; at most one selection is active.
**
** Ownership: list nodes belong to the view state; a node pointer handed out
** stays valid only until the next selection change of that document. Copies
** returned by value have next set to null.
**
** Threads: UI thread, except TAVOAUDIO_UpdateSelecting and
** TAVOAUDIO_CancelSelecting, which may be called from any thread (their
** change notification always runs on the main thread). Queries try the
** document's read lock once and give their failure value when it is busy;
** changes try the write lock 4 times, 1 ms apart, and give up (0).
*/
#ifndef TAVOSELECTION_H
#define TAVOSELECTION_H

#include <stdbool.h>
#include <stdint.h>

#include "blmem.h"
#include "tavo_export.h"
#include "tavotypes.h"

TAVO_EXTERN_C_BEGIN

/* Flags of TAVOAUDIO_AddSelectionEx, TAVOAUDIO_ClearSelectionEx2 and the
** replacing functions. */
#define TAVOSELECTION_FLAG_NOTIFY 0x1u    /* record the change and notify */
#define TAVOSELECTION_FLAG_SELECT_ALL 0x2u /* passed by the select-all family; no effect of its own */
#define TAVOSELECTION_FLAG_UNDO 0x4u      /* clear: push a "Selection" undo step */
#define TAVOSELECTION_FLAG_ACTIVE 0x8u    /* add: the new or grown selection becomes active */

/* Kinds of the selecting band's commit (TAVOAUDIO_SetSelectingKind). */
#define TAVOSELECTING_REPLACE 1u
#define TAVOSELECTING_ADD 2u
#define TAVOSELECTING_SUBTRACT 3u

/* ---- selection records ----------------------------------------------------- */

/* A node from `memory` with begin and end as given (not reordered), the
** track index and the active flag; next null, channels 0. Null for a null
** pool or when out of memory. */
TAVO_API TAVOSELECTION *TAVOSELECTION_CreateAudioSelection(BLMEM_DESCR memory, double begin, double end,
                                                           int32_t trackIndex, bool active);

/* Fills a caller's record: begin = min(a, b), end = max(a, b), not active,
** track -1, next null, channels 0. False for null. */
TAVO_API bool TAVOSELECTION_Define(TAVOSELECTION *selection, double a, double b);

/* Begin / end as frames of the document; -1 for a null record or document.
** Duration: TimeToSample(end) - TimeToSample(begin), 0 for null. */
TAVO_API int64_t TAVOSELECTION_GetBegin(TAVOAUDIO audio, const TAVOSELECTION *selection);
TAVO_API int64_t TAVOSELECTION_GetEnd(TAVOAUDIO audio, const TAVOSELECTION *selection);
TAVO_API int64_t TAVOSELECTION_GetDuration(TAVOAUDIO audio, const TAVOSELECTION *selection);

/* Store a frame of the document as seconds. False for null. */
TAVO_API bool TAVOSELECTION_SetBegin(TAVOAUDIO audio, TAVOSELECTION *selection, int64_t frame);
TAVO_API bool TAVOSELECTION_SetEnd(TAVOAUDIO audio, TAVOSELECTION *selection, int64_t frame);

/* The same in seconds, no conversion. Gets give -1.0 (duration 0.0) for null. */
TAVO_API double TAVOSELECTION_GetBeginTime(const TAVOSELECTION *selection);
TAVO_API double TAVOSELECTION_GetEndTime(const TAVOSELECTION *selection);
TAVO_API double TAVOSELECTION_GetDurationTime(const TAVOSELECTION *selection);
TAVO_API bool TAVOSELECTION_SetBeginTime(TAVOSELECTION *selection, double seconds);
TAVO_API bool TAVOSELECTION_SetEndTime(TAVOSELECTION *selection, double seconds);

/* Same record, or equal begins and ends. False when either is null. */
TAVO_API bool TAVOSELECTION_Compare(const TAVOSELECTION *a, const TAVOSELECTION *b);

/* Same record, or a strict overlap (touching selections do not overlap).
** False when either is null. */
TAVO_API bool TAVOSELECTION_Overlap(const TAVOSELECTION *a, const TAVOSELECTION *b);

/* The active flag and the track index (-1 = on the audio). Setters give
** false for null; GetTrackIndex gives -1 for null. */
TAVO_API bool TAVOSELECTION_SetActive(TAVOSELECTION *selection, bool active);
TAVO_API bool TAVOSELECTION_IsActive(const TAVOSELECTION *selection);
TAVO_API bool TAVOSELECTION_SetTrackIndex(TAVOSELECTION *selection, int32_t trackIndex);
TAVO_API bool TAVOSELECTION_ClrTrackIndex(TAVOSELECTION *selection);
TAVO_API int32_t TAVOSELECTION_GetTrackIndex(const TAVOSELECTION *selection);

/* ---- a state's selection list (no locking, no events) ---------------------- */

/* Number of nodes of a list (0 for null). */
TAVO_API int32_t TAVOSTATE_CountSelections(const TAVOSELECTION *list);

/* Total selected frames of a list: the sum of each node's frame length
** (each end converted on its own), not the span. 0 for null. */
TAVO_API int64_t TAVOSTATE_SelectionsLength(TAVOAUDIO audio, const TAVOSELECTION *list);

/* The state's list (borrowed), null when empty or for a null state. */
TAVO_API TAVOSELECTION *TAVOSTATE_GetSelections(TAVOSTATE state);

/* Whether `selection` is one of the list's nodes (identity, not value). */
TAVO_API bool TAVOSTATE_CheckSelection(TAVOSTATE state, const TAVOSELECTION *selection);

/* The first active node; null when none. */
TAVO_API TAVOSELECTION *TAVOSTATE_GetActiveSelection(TAVOSTATE state);

/* Makes `selection` the only active node (a record not in the list leaves
** none active). False on an empty list, a frozen state or null, and when
** `selection` is not a node of the list. */
TAVO_API bool TAVOSTATE_SetActiveSelection(TAVOSTATE state, const TAVOSELECTION *selection);

/* Border code of the active selection (0 none, 1 begin, 2 end); 0 when no
** node is active. Set stores the code. */
TAVO_API int32_t TAVOSTATE_GetActiveSelectionBorder(TAVOSTATE state);
TAVO_API bool TAVOSTATE_SetActiveSelectionBorder(TAVOSTATE state, int32_t code);

/* The first node with begin <= t <= end, and the nodes before and after it;
** null when no node contains t (or it is the first / the last). */
TAVO_API TAVOSELECTION *TAVOSTATE_GetCurrentSelection(TAVOSTATE state, double seconds);
TAVO_API TAVOSELECTION *TAVOSTATE_GetPrevSelection(TAVOSTATE state, double seconds);
TAVO_API TAVOSELECTION *TAVOSTATE_GetNextSelection(TAVOSTATE state, double seconds);

/* Empties the list of `*state` (removed null, or listing at least as many
** selections as the list holds), or takes the listed selections out and
** moves every later one earlier by the summed duration of those removed
** before it (what a cut of several selections leaves); the kept nodes
** become inactive, track -1. Returns `*state`; null for a frozen state or null. */
TAVO_API TAVOSTATE TAVOSTATE_ClearSelectionEx(TAVOSTATE *state, const TAVOSELECTION *removed);

/* Replaces the list by its gaps over [0, duration seconds]. 1 on success,
** 0 for a frozen or null state. */
TAVO_API int32_t TAVOSTATE_InvertSelection(TAVOSTATE state, double duration);

/* Shifts the selections after an insertion (offset > 0) or removal at
** `from` seconds: a selection containing `from` strictly grows or shrinks at
** its end, later ones move whole. No clamping. 0 for a frozen or null state. */
TAVO_API int32_t TAVOSTATE_OffsetSelection(TAVOSTATE state, double offset, double from);

/* ---- document: changing selections ----------------------------------------- */
/* Each returns 0 for a null document, one without signal or state, a write
** lock still busy after 4 tries, or a veto of the BEFORE event; the list is
** then unchanged. */

/* Adds [begin, end] (frames, either order), clamped to the zoom limits, and
** merges it with the selections it overlaps or touches. The cursor goes to
** the clamped `end`. begin = end only moves the cursor. Flags:
** TAVOSELECTION_FLAG_NOTIFY, TAVOSELECTION_FLAG_ACTIVE. 1 on success. */
TAVO_API int32_t TAVOAUDIO_AddSelectionEx(TAVOAUDIO audio, int64_t begin, int64_t end, int32_t trackIndex,
                                          uint32_t flags);

/* Subtracts [begin, end] (clamped to the signal) from every selection; 0
** when the clamped interval is empty. */
TAVO_API int32_t TAVOAUDIO_DelSelection(TAVOAUDIO audio, int64_t begin, int64_t end);

/* Replaces the selections by their complement over the signal; 0 without
** a selection. */
TAVO_API int32_t TAVOAUDIO_InvertSelection(TAVOAUDIO audio);

/* Moves the selections after `offset` frames were inserted (or removed, when
** negative) at `position`. Takes no lock and sends nothing: for edit
** operations that hold the document. 1 also without a selection. */
TAVO_API int32_t TAVOAUDIO_OffsetSelectionsFromPosition(TAVOAUDIO audio, int64_t offset, int64_t position);

/* Clears every selection (removed null) or the listed ones. Flags:
** TAVOSELECTION_FLAG_NOTIFY (send TAVOAUDIO_SELECTION_CLEAR and record the
** change), TAVOSELECTION_FLAG_UNDO (push a "Selection" undo step first). 1
** also when there was nothing to clear. */
TAVO_API int32_t TAVOAUDIO_ClearSelectionEx2(TAVOAUDIO audio, const TAVOSELECTION *removed, uint32_t flags);

/* Replaces the selections by [begin, end] (track index, flags as for
** AddSelectionEx); begin = end puts the cursor there instead. */
TAVO_API int32_t TAVOAUDIO_SelectAudioEx(TAVOAUDIO audio, int64_t begin, int64_t end, int32_t trackIndex,
                                         uint32_t flags);

/* Replace the selections by the whole signal, the visible stretch, or the
** stretch from the cursor to the start / to the end (the cursor then sits
** at the start / the end). While a region has the focus, SelectAll selects
** the regions of its track instead (TAVOAUDIO_SelectAllRegionsEx). */
TAVO_API int32_t TAVOAUDIO_SelectAll(TAVOAUDIO audio);
TAVO_API int32_t TAVOAUDIO_SelectVisible(TAVOAUDIO audio);
TAVO_API int32_t TAVOAUDIO_SelectToStart(TAVOAUDIO audio);
TAVO_API int32_t TAVOAUDIO_SelectToEnd(TAVOAUDIO audio);

/* Makes `selection` (a node of the list) the active one and notifies; 1
** without change when it already is. */
TAVO_API int32_t TAVOAUDIO_SetActiveSelection(TAVOAUDIO audio, const TAVOSELECTION *selection);

/* Border of the active selection. Setting with a null selection resets it
** to 0; a selection that is not the active one, or the code already held,
** changes nothing (*changed false, result 1). A real change notifies. */
TAVO_API int32_t TAVOAUDIO_ActiveSelectionBorder(TAVOAUDIO audio);
TAVO_API int32_t TAVOAUDIO_SetActiveSelectionBorder(TAVOAUDIO audio, const TAVOSELECTION *selection, int32_t code);
TAVO_API int32_t TAVOAUDIO_SetActiveSelectionBorderEx(TAVOAUDIO audio, const TAVOSELECTION *selection,
                                                      int32_t code, bool *changed);

/* Puts track index -1 on the node equal in begin and end to `selection`
** when its index is 1 or more (0 and -1 are kept). 1 when a node matched,
** 0 otherwise. */
TAVO_API int32_t TAVOAUDIO_ClrSelectionTrackIndex(TAVOAUDIO audio, const TAVOSELECTION *selection);

/* ---- document: queries ----------------------------------------------------- */

TAVO_API bool TAVOAUDIO_HasSelection(TAVOAUDIO audio);

/* Number of selections; -1 without a state, 0 when the read lock is busy. */
TAVO_API int32_t TAVOAUDIO_CountSelections(TAVOAUDIO audio);

/* Begin of the first / end of the last selection in frames, the total
** selected frames, the cursor (when there is a selection) and the fixed end
** of the first selection; -1 when none or the read lock is busy (the total
** is 0 when nothing is selected, -1 only for a busy lock or bad handle). */
TAVO_API int64_t TAVOAUDIO_SelectionBegin(TAVOAUDIO audio);
TAVO_API int64_t TAVOAUDIO_SelectionEnd(TAVOAUDIO audio);
TAVO_API int64_t TAVOAUDIO_SelectionLength(TAVOAUDIO audio);
TAVO_API int64_t TAVOAUDIO_SelectionCursor(TAVOAUDIO audio);
TAVO_API int64_t TAVOAUDIO_SelectionAnchor(TAVOAUDIO audio);

/* Copies of the selection at a 0-based index (index < 1: the first), of the
** first and of the last; past the end or on failure the record
** TAVOSELECTION_Define(-1, -1) builds. Selection() fills channels with the
** complement of the signal's active-channel mask. */
TAVO_API TAVOSELECTION TAVOAUDIO_Selection(TAVOAUDIO audio, int32_t index);
TAVO_API TAVOSELECTION TAVOAUDIO_FirstSelection(TAVOAUDIO audio);
TAVO_API TAVOSELECTION TAVOAUDIO_LastSelection(TAVOAUDIO audio);

/* The active selection (borrowed), null when none or the read lock is busy.
** While the toolbar of slot 0 has kind 2, the record the state keeps apart
** from the list is returned instead (when it has a length). */
TAVO_API TAVOSELECTION *TAVOAUDIO_ActiveSelection(TAVOAUDIO audio);

/* The active node of the list; when `copy` is not null it also receives a
** copy (next null). */
TAVO_API TAVOSELECTION *TAVOAUDIO_ActiveSelectionEx(TAVOAUDIO audio, TAVOSELECTION *copy);

/* Copies the active node into `out` (the Define(-1, -1) record when there is
** none); true when a copy was made. */
TAVO_API bool TAVOAUDIO_ActiveSelectionSnapshot(TAVOAUDIO audio, TAVOSELECTION *out);

/* The node containing the frame `sample`, the one before and the one after. */
TAVO_API TAVOSELECTION *TAVOAUDIO_CurrentSelection(TAVOAUDIO audio, int64_t sample);
TAVO_API TAVOSELECTION *TAVOAUDIO_PrevSelection(TAVOAUDIO audio, int64_t sample);
TAVO_API TAVOSELECTION *TAVOAUDIO_NextSelection(TAVOAUDIO audio, int64_t sample);

/* The first node with begin <= t <= end, under read access; null when none. */
TAVO_API TAVOSELECTION *TAVOAUDIO_SelectionOverSample(TAVOAUDIO audio, int64_t sample);
TAVO_API TAVOSELECTION *TAVOAUDIO_SelectionOverTime(TAVOAUDIO audio, double seconds);

/* With exactly one selection, its end farther from `sample` (frames);
** otherwise, and when the read lock is busy, the cursor. -1 for null. */
TAVO_API int64_t TAVOAUDIO_GetSelectionResizeBorder(TAVOAUDIO audio, int64_t sample);

/* Whether `selection` is a node of the document's list. */
TAVO_API bool TAVOAUDIO_CheckSelection(TAVOAUDIO audio, const TAVOSELECTION *selection);

/* ---- document: the selecting band ------------------------------------------ */

/* Moves the band to [begin, end] frames (clamped to the signal); the cursor
** follows `end`. Sends TAVOAUDIO_SELECTING_UPDATE. Any thread. */
TAVO_API int32_t TAVOAUDIO_UpdateSelecting(TAVOAUDIO audio, int64_t begin, int64_t end);

/* What a commit does (TAVOSELECTING_ kinds) and the band's annotation track. */
TAVO_API bool TAVOAUDIO_SetSelectingKind(TAVOAUDIO audio, uint32_t kind);
TAVO_API bool TAVOAUDIO_SetSelectingTrackIndex(TAVOAUDIO audio, int32_t trackIndex);

/* Commits the band as a replacement, an addition or a subtraction (from the
** fixed end to the cursor); a click without band leaves the cursor only.
** The band then collapses onto the cursor. Result: the operation's, 1 for a
** click. */
TAVO_API int32_t TAVOAUDIO_CommitSelectingEx(TAVOAUDIO audio, int32_t trackIndex);

/* Collapses the band onto the cursor (kind back to replace). Any thread. */
TAVO_API int32_t TAVOAUDIO_CancelSelecting(TAVOAUDIO audio);

/* The band's lower and upper frame and their difference; -1 for null. */
TAVO_API int64_t TAVOAUDIO_GetSelectingBegin(TAVOAUDIO audio);
TAVO_API int64_t TAVOAUDIO_GetSelectingEnd(TAVOAUDIO audio);
TAVO_API int64_t TAVOAUDIO_GetSelectingLength(TAVOAUDIO audio);

TAVO_EXTERN_C_END

#endif
