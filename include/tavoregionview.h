/*
** tavoregionview.h: the document's view of its regions (TAVOAUDIO_): the
** focused, current and edited region, the region selection and highlight,
** queries and navigation.
**
** Regions, markers and loops belong to the document's signal (libaudiosig's
** AUDIOREGION_ family). Region handles returned here are borrowed: they stay
** valid while the region is in the signal. The view state keeps four counted
** references of its own (focused, current, edited and highlighted region);
** a reference whose region was deleted, or left the signal, is dropped the
** next time it is asked for, and the getter answers null.
**
** Tracks: "OfTrack" functions take a region-track index (0 = the document's
** own track, 1 and up the annotation tracks, -1 = every track that is not
** deleted); the first/last functions take a track's unique id (null or ""
** = track 0). Positions are sample frames; begin, end and duration queries
** with no "Sample" in their name answer seconds.
**
** The region search option: an 8-bit word of the view state passed to every
** search of the signal. 0 (the default) finds regions of any kind and level
** that are neither hidden nor deleted; TAVOREGION_SEARCH_ bits widen or
** narrow that.
**
** Threads: UI thread. Queries try the document's read lock once and give
** their failure value when it is busy. Selection, focus and highlight
** changes are view state: they record no undo step, try the write lock 4
** times, 1 ms apart, send their events after releasing it and end with a
** regions-changed notification (change bit 0x2000).
*/
#ifndef TAVOREGIONVIEW_H
#define TAVOREGIONVIEW_H

#include <stdbool.h>
#include <stdint.h>

#include "audioregion.h"
#include "tavo_export.h"
#include "tavotypes.h"

TAVO_EXTERN_C_BEGIN

/* Bits of the region search option (the same bits as libaudiosig's
** AUDIOREGION_SEARCH_). */
#define TAVOREGION_SEARCH_HIDDEN 0x01u       /* also hidden regions */
#define TAVOREGION_SEARCH_DELETED 0x02u      /* also deleted regions */
#define TAVOREGION_SEARCH_MARKERS_ONLY 0x04u /* only markers */
#define TAVOREGION_SEARCH_NO_MARKERS 0x08u   /* no markers */
#define TAVOREGION_SEARCH_TOP_LEVEL 0x10u    /* only regions without a parent */
#define TAVOREGION_SEARCH_SELECTED 0x20u     /* only selected regions */
#define TAVOREGION_SEARCH_ALL_BITS 0x3Fu

/* Modes of TAVOAUDIO_SelectRegionEx. */
#define TAVOREGION_SELECT_REMOVE 0   /* take the region out of the selection */
#define TAVOREGION_SELECT_ONLY 1     /* only this region selected, and it gets the focus */
#define TAVOREGION_SELECT_ADD 2      /* add it to the selection; focus unchanged */
#define TAVOREGION_SELECT_TOGGLE 3   /* add it when unselected, else take it out */

/* Longest highlight text kept, terminator included (longer texts are
** refused). */
#define TAVOREGION_HIGHLIGHT_SIZE 256

/* ---- focused, current and edited region -------------------------------------- */

/* The region with the keyboard focus (borrowed), null when none, when the
** focused region was deleted (the reference is then dropped) or for a null
** or dead document. */
TAVO_API AUDIOREGION TAVOAUDIO_GetRegionOnFocus(TAVOAUDIO audio);

/* The focused region with a new reference for the caller, who releases it
** with AUDIOREGION_Dispose; null as for TAVOAUDIO_GetRegionOnFocus. */
TAVO_API AUDIOREGION TAVOAUDIO_ReferenceRegionOnFocus(TAVOAUDIO audio);

/* Gives the focus to `region` (null takes it away). When the focus moves,
** the old holder gets TAVOAUDIO_REGION_LOST_FOCUS (a marker:
** TAVOAUDIO_MARKER_LOST_FOCUS), then the new one TAVOAUDIO_REGION_GET_FOCUS
** (TAVOAUDIO_MARKER_GET_FOCUS), each with the region as first argument.
** 1 on success (also when it already had the focus: no event); 0 for a null
** document, a region that is not a live region of the document or a busy lock. */
TAVO_API int32_t TAVOAUDIO_SetFocusOnRegion(TAVOAUDIO audio, AUDIOREGION region);

/* The document's current region (borrowed), null when none or deleted. */
TAVO_API AUDIOREGION TAVOAUDIO_GetCurrentRegion(TAVOAUDIO audio);

/* The current region with a new reference for the caller (AUDIOREGION_Dispose). */
TAVO_API AUDIOREGION TAVOAUDIO_ReferenceCurrentRegion(TAVOAUDIO audio);

/* Makes `region` the current region (null: none); when it changes,
** TAVOAUDIO_REGION_CHANGE_CURRENT goes out with the new region (may be null)
** and the previous one. 1 on success, 0 as for TAVOAUDIO_SetFocusOnRegion. */
TAVO_API int32_t TAVOAUDIO_SetCurrentRegion(TAVOAUDIO audio, AUDIOREGION region);

/* The region whose label editor is open (borrowed), null when none. */
TAVO_API AUDIOREGION TAVOAUDIO_GetRegionOnEdit(TAVOAUDIO audio);

/* Records that the host opened the label editor of `region` (null: none
** open; no event). 1 on success, 0 for a null document, a region that is
** not live in the document or a busy lock. */
TAVO_API int32_t TAVOAUDIO_SetEditingRegion(TAVOAUDIO audio, AUDIOREGION region);

/* Whether a region's label editor is open (false for a null document). */
TAVO_API bool TAVOAUDIO_IsEditingRegion(TAVOAUDIO audio);

/* Closes the open label editor. With `discard` the host is told to throw
** the typed text away: TAVOAUDIO_DISCARD_REGION_ON_EDIT with the region.
** Without it the editor closes silently (the host commits the text with
** TAVOAUDIO_SetRegionLabel). 1 when an editor was closed, 0 when none was
** open, for a null document or a busy lock. */
TAVO_API int32_t TAVOAUDIO_CloseRegionEditor(TAVOAUDIO audio, bool discard);

/* Whether the label editor opens by itself on new regions (view state).
** Set: false for a null document. Get: false for a null document. */
TAVO_API bool TAVOAUDIO_SetRegionEditLabelMode(TAVOAUDIO audio, bool enabled);
TAVO_API bool TAVOAUDIO_GetRegionEditLabelMode(TAVOAUDIO audio);

/* The region search option (TAVOREGION_SEARCH_ bits) passed to every
** search. Set: false for a null document or bits outside
** TAVOREGION_SEARCH_ALL_BITS (nothing changes). Get: -1 for a null document. */
TAVO_API bool TAVOAUDIO_SetRegionSearchOption(TAVOAUDIO audio, uint32_t option);
TAVO_API int32_t TAVOAUDIO_GetRegionSearchOption(TAVOAUDIO audio);

/* ---- region selection ---------------------------------------------------------- */

/* Takes one region out of the selection. 1 on success (also when it was not
** selected), 0 for a null document or region, a region of another
** document or a busy lock. */
TAVO_API int32_t TAVOAUDIO_UnselectRegion(TAVOAUDIO audio, AUDIOREGION region);

/* Unselects every region / every region of track `trackIndex` (-1: all).
** 1 on success, 0 for a null document, a bad track or a busy lock. */
TAVO_API int32_t TAVOAUDIO_UnselectAllRegions(TAVOAUDIO audio);
TAVO_API int32_t TAVOAUDIO_UnselectAllRegionsOfTrack(TAVOAUDIO audio, int32_t trackIndex);

/* Selects `region` as `mode` says (TAVOREGION_SELECT_). Events, in order:
** the focus events of TAVOAUDIO_SetFocusOnRegion (mode 1), then
** TAVOAUDIO_REGION_SELECTED with the region and the mode when the region
** ends up selected. 1 on success; 0 for a null document or region, an
** unknown mode, a region that is deleted, hidden or of another document,
** or a busy lock (nothing changes). */
TAVO_API int32_t TAVOAUDIO_SelectRegionEx(TAVOAUDIO audio, AUDIOREGION region, int32_t mode);

/* Selects `count` regions: without `add` they replace the selection, with
** it they join it; the focus stays. TAVOAUDIO_REGION_SELECTED goes out for
** each newly selected region. Returns how many of them are selected
** afterwards; 0 when refused (null arguments, count < 1, any region that is
** deleted, hidden or of another document, busy lock: nothing changes). */
TAVO_API int32_t TAVOAUDIO_SelectRegions(TAVOAUDIO audio, const AUDIOREGION *regions, int32_t count, bool add);

/* Extends the selection on the focused region's track from the focused
** region back to the track's first region / on to its last region (both
** included; regions the search option hides are skipped). Other selected
** regions stay selected. 1 on success, 0 without a focused region, for a
** null document or a busy lock. */
TAVO_API int32_t TAVOAUDIO_SelectToFirstRegion(TAVOAUDIO audio);
TAVO_API int32_t TAVOAUDIO_SelectToLastRegion(TAVOAUDIO audio);

/* Selects every region of track `trackIndex` (-1: every track) that the
** search option lets through, in addition to those already selected.
** Returns how many regions were selected by the call; 0 when none or
** refused. */
TAVO_API int32_t TAVOAUDIO_SelectAllRegionsEx(TAVOAUDIO audio, int32_t trackIndex);

/* ---- highlight ----------------------------------------------------------------- */

/* Highlights the regions whose label contains `text` (ASCII letters
** compared without case; the search option applies). The first of them
** becomes the highlight region and its span the state's highlight range.
** Null or "" clears the highlight. Returns how many regions match; 0 when
** none match or when refused (null document, text too long, busy lock). */
TAVO_API int32_t TAVOAUDIO_SetRegionsHighlight(TAVOAUDIO audio, const char *text);

/* The highlight text, null when there is none or for a null document;
** valid until the next highlight change. */
TAVO_API const char *TAVOAUDIO_RegionsHighlightString(TAVOAUDIO audio);

/* Clears the highlight text, region and range. 1 on success, 0 for a null
** document or a busy lock. */
TAVO_API int32_t TAVOAUDIO_RegionsClearHighlight(TAVOAUDIO audio);

/* The highlighted regions: those whose label contains the highlight text,
** in track then region order (borrowed), at most `max` into `out` (out may
** be null to count). Returns how many there are; 0 without a highlight or
** for a null document or busy lock. */
TAVO_API int32_t TAVOAUDIO_GetRegionsHighlight(TAVOAUDIO audio, AUDIOREGION *out, int32_t max);

/* The highlight region (borrowed): the first match of the highlight text,
** null when none or when it was deleted (the reference is then dropped). */
TAVO_API AUDIOREGION TAVOAUDIO_GetHighlightRegion(TAVOAUDIO audio);

/* ---- counting and listing -------------------------------------------------------- */

/* Regions that are not deleted, of every kind, hidden ones included, on
** the tracks that are not deleted. 0 for a null document or busy lock. */
TAVO_API int32_t TAVOAUDIO_CountRegions(TAVOAUDIO audio);
TAVO_API bool TAVOAUDIO_HasRegions(TAVOAUDIO audio);

/* The same for track `trackIndex` (-1: all; a deleted track has none);
** GetRegionsOfTrack writes up to `max` of them (borrowed, in order) into
** `out` and returns how many. */
TAVO_API int32_t TAVOAUDIO_CountRegionsOfTrack(TAVOAUDIO audio, int32_t trackIndex);
TAVO_API bool TAVOAUDIO_HasRegionsInTrack(TAVOAUDIO audio, int32_t trackIndex);
TAVO_API int32_t TAVOAUDIO_GetRegionsOfTrack(TAVOAUDIO audio, int32_t trackIndex, AUDIOREGION *out, int32_t max);

/* Selected regions (hidden ones included) of every track, in track then
** region order. 0 for a null document or busy lock. */
TAVO_API int32_t TAVOAUDIO_CountSelectedRegions(TAVOAUDIO audio);
TAVO_API int32_t TAVOAUDIO_GetSelectedRegions(TAVOAUDIO audio, AUDIOREGION *out, int32_t max);

/* Regions shown in the view: not hidden, not deleted, on track 0 or a
** visible annotation track, touching [view begin, view end] (the search
** option's kind and level bits apply). 0 for a null document or busy lock. */
TAVO_API int32_t TAVOAUDIO_CountVisibleRegions(TAVOAUDIO audio);
TAVO_API int32_t TAVOAUDIO_GetVisibleRegions(TAVOAUDIO audio, AUDIOREGION *out, int32_t max);

/* ---- one region ------------------------------------------------------------------ */

/* Kind and flags of a region; false for a null document or region or a
** busy lock. IsRegionVisible: among TAVOAUDIO_GetVisibleRegions.
** IsRegionActive: the cursor lies in it (begin <= cursor < end; a marker:
** at it). IsRegionTemporary: never written to a file. */
TAVO_API bool TAVOAUDIO_IsMarker(TAVOAUDIO audio, AUDIOREGION region);
TAVO_API bool TAVOAUDIO_IsPregap(TAVOAUDIO audio, AUDIOREGION region);
TAVO_API bool TAVOAUDIO_IsAudioLoop(TAVOAUDIO audio, AUDIOREGION region);
TAVO_API bool TAVOAUDIO_IsAudioRegion(TAVOAUDIO audio, AUDIOREGION region);
TAVO_API bool TAVOAUDIO_IsRegionVisible(TAVOAUDIO audio, AUDIOREGION region);
TAVO_API bool TAVOAUDIO_IsRegionSelected(TAVOAUDIO audio, AUDIOREGION region);
TAVO_API bool TAVOAUDIO_IsRegionDeleted(TAVOAUDIO audio, AUDIOREGION region);
TAVO_API bool TAVOAUDIO_IsRegionTemporary(TAVOAUDIO audio, AUDIOREGION region);
TAVO_API bool TAVOAUDIO_IsRegionReadOnly(TAVOAUDIO audio, AUDIOREGION region);
TAVO_API bool TAVOAUDIO_IsRegionTextHide(TAVOAUDIO audio, AUDIOREGION region);
TAVO_API bool TAVOAUDIO_IsRegionLabelHide(TAVOAUDIO audio, AUDIOREGION region);
TAVO_API bool TAVOAUDIO_IsRegionActive(TAVOAUDIO audio, AUDIOREGION region);

/* Whether the label / comment is not empty; whether the region changed
** since its changed flag was last cleared. False as above. */
TAVO_API bool TAVOAUDIO_RegionHasLabel(TAVOAUDIO audio, AUDIOREGION region);
TAVO_API bool TAVOAUDIO_RegionHasComment(TAVOAUDIO audio, AUDIOREGION region);
TAVO_API bool TAVOAUDIO_RegionHasChanges(TAVOAUDIO audio, AUDIOREGION region);

/* Label and comment (texts of the region, valid until they change; "" when
** empty); null for a null document or region or a busy lock. */
TAVO_API const char *TAVOAUDIO_GetRegionComment(TAVOAUDIO audio, AUDIOREGION region);
TAVO_API const char *TAVOAUDIO_GetRegionLabel(TAVOAUDIO audio, AUDIOREGION region);

/* The channel the region marks, -1 for all channels; -2 when refused. */
TAVO_API int32_t TAVOAUDIO_GetRegionChannel(TAVOAUDIO audio, AUDIOREGION region);

/* The region's track index; -1 for a region no longer in a signal and when
** refused. */
TAVO_API int32_t TAVOAUDIO_GetRegionTrackIndex(TAVOAUDIO audio, AUDIOREGION region);

/* Begin and end in frames of the document, and end - begin (0 for a
** marker); -1 (NumSamples: 0) when refused. */
TAVO_API int64_t TAVOAUDIO_GetRegionBeginSample(TAVOAUDIO audio, AUDIOREGION region);
TAVO_API int64_t TAVOAUDIO_GetRegionEndSample(TAVOAUDIO audio, AUDIOREGION region);
TAVO_API int64_t TAVOAUDIO_GetRegionNumSamples(TAVOAUDIO audio, AUDIOREGION region);

/* Begin, end and duration in seconds; -1.0 when refused. */
TAVO_API double TAVOAUDIO_GetRegionBegin(TAVOAUDIO audio, AUDIOREGION region);
TAVO_API double TAVOAUDIO_GetRegionEnd(TAVOAUDIO audio, AUDIOREGION region);
TAVO_API double TAVOAUDIO_GetRegionDuration(TAVOAUDIO audio, AUDIOREGION region);

/* ---- the document's regions as a whole ----------------------------------------- */

/* Whether any region the search option lets through has a label that
** contains `text` (compared as for the highlight). False for null or "". */
TAVO_API bool TAVOAUDIO_RegionsContainsString(TAVOAUDIO audio, const char *text);

/* Whether a track (not deleted) is linked to a region file, and whether any
** such track changed since its file was read or written. */
TAVO_API bool TAVOAUDIO_HasExternalRegions(TAVOAUDIO audio);
TAVO_API bool TAVOAUDIO_HasExternalRegionsChanges(TAVOAUDIO audio);

/* Whether the document's file format keeps regions / markers (the signal's
** own format for a document without one). False for a null document. */
TAVO_API bool TAVOAUDIO_FormatSupportRegions(TAVOAUDIO audio);
TAVO_API bool TAVOAUDIO_FormatSupportMarkers(TAVOAUDIO audio);

/* Whether any of the signal's channels has its own annotation track (the
** tracks made by AUDIOSIGNAL_CreateChannelTrack). */
TAVO_API bool TAVOAUDIO_HasChannelsExtraTracks(TAVOAUDIO audio);

/* ---- navigation ------------------------------------------------------------------ */

/* Every search passes the state's region search option and returns a
** borrowed handle, or null when there is none, for a null document or
** region, a region of another document or a busy lock. */

/* The region after / before `region` on its own track. */
TAVO_API AUDIOREGION TAVOAUDIO_GetNextRegion(TAVOAUDIO audio, AUDIOREGION region);
TAVO_API AUDIOREGION TAVOAUDIO_GetPrevRegion(TAVOAUDIO audio, AUDIOREGION region);

/* With `anyTrack`, over all tracks ordered by begin, end, track, creation;
** without it, as GetNextRegion / GetPrevRegion. */
TAVO_API AUDIOREGION TAVOAUDIO_GetNextRegionEx(TAVOAUDIO audio, AUDIOREGION region, bool anyTrack);
TAVO_API AUDIOREGION TAVOAUDIO_GetPrevRegionEx(TAVOAUDIO audio, AUDIOREGION region, bool anyTrack);

/* The next / previous region without a parent on the region's track. */
TAVO_API AUDIOREGION TAVOAUDIO_GetNextTopLevelRegion(TAVOAUDIO audio, AUDIOREGION region);
TAVO_API AUDIOREGION TAVOAUDIO_GetPrevTopLevelRegion(TAVOAUDIO audio, AUDIOREGION region);

/* First / last region of the track with unique id `trackUniqId` (null or
** "": track 0); null also for an unknown track. */
TAVO_API AUDIOREGION TAVOAUDIO_GetFirstRegion(TAVOAUDIO audio, const char *trackUniqId);
TAVO_API AUDIOREGION TAVOAUDIO_GetLastRegion(TAVOAUDIO audio, const char *trackUniqId);

/* First / last selected region in track then region order. */
TAVO_API AUDIOREGION TAVOAUDIO_GetFirstSelectedRegion(TAVOAUDIO audio);
TAVO_API AUDIOREGION TAVOAUDIO_GetLastSelectedRegion(TAVOAUDIO audio);

/* The first marker strictly after / last strictly before frame `frame` on
** track `trackIndex` (-1: any track). */
TAVO_API AUDIOREGION TAVOAUDIO_GetNextMarkerFromPosition(TAVOAUDIO audio, int64_t frame, int32_t trackIndex);
TAVO_API AUDIOREGION TAVOAUDIO_GetPrevMarkerFromPosition(TAVOAUDIO audio, int64_t frame, int32_t trackIndex);

/* The region (not a marker) that covers frame `frame` on track
** `trackIndex` (-1: any); the shortest when several do (a child before its
** parent). */
TAVO_API AUDIOREGION TAVOAUDIO_FindRegionOverPosition(TAVOAUDIO audio, int64_t frame, int32_t trackIndex);

/* The first region, in track then region order, whose label equals `label`
** exactly. Null for a null label. */
TAVO_API AUDIOREGION TAVOAUDIO_FindRegion(TAVOAUDIO audio, const char *label);

/* The `index`-th (0-based) marker / region of any kind, in track then
** region order, among those the search option lets through; null past the
** end or for a negative index. */
TAVO_API AUDIOREGION TAVOAUDIO_GetMarker(TAVOAUDIO audio, int32_t index);
TAVO_API AUDIOREGION TAVOAUDIO_GetRegion(TAVOAUDIO audio, int32_t index);

TAVO_EXTERN_C_END

#endif
