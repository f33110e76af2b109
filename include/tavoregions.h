/*
** tavoregions.h: the document's region, marker and loop edits (TAVOAUDIO_):
** creating, relabelling, converting, moving, merging, deleting, locking and
** hiding regions, and reading, importing and saving region files.
**
** Regions belong to the document's signal (audioregion.h); the handles taken
** and returned here are the signal's, borrowed: valid while the region is in
** the signal (a deleted region stays in it and can be undeleted). Positions
** are sample frames of the document; the signal keeps seconds.
**
** Rules shared by every edit:
** - A region on an annotation track that is read-only is never changed
**   (moves between tracks check both tracks).
** - Asking for the value a region already has returns 1 with no undo step
**   and no event.
** - Each edit is one undo step, labelled as its function says, that puts
**   back exactly the regions (and region tracks) as they were.
** - The edits wait for the document's write lock (they do not give up like
**   the selection changes) and raise its edit level while they run; the
**   document's "editable" option does not govern regions.
** - Events go out after the lock is released, except the conversion events,
**   which are asked before anything changes. A region on a track linked to a
**   region file sends TAVOAUDIO_EXTERNAL_REGION_CHANGED after its change.
**   Every change ends with TAVOSTATE_NotifyChanges(audio, 0, 0x2000).
**
** Failure: 0 (or null) for a null or closed document, a null region, a
** refused or failed change; the document is then as it was.
** Threads: UI thread.
*/
#ifndef TAVOREGIONS_H
#define TAVOREGIONS_H

#include <stdbool.h>
#include <stdint.h>

#include "audioregion.h"
#include "tavo_export.h"
#include "tavotypes.h"

TAVO_EXTERN_C_BEGIN

/* Flags of TAVOAUDIO_CreateRegionEx2. The low four bits go to the signal
** library unchanged (AUDIOSIGNAL_CREATE_...). */
#define TAVOREGION_CREATE_SELECTED 0x1u      /* the new region is selected */
#define TAVOREGION_CREATE_TEMPORARY 0x2u     /* never written to a file (set for temporary tracks) */
#define TAVOREGION_CREATE_PER_CHANNEL 0x4u   /* one region per active channel */
#define TAVOREGION_CREATE_READ_ONLY 0x8u     /* the new region refuses changes */
#define TAVOREGION_CREATE_ON_READ_ONLY 0x10u /* also on a read-only annotation track */
#define TAVOREGION_CREATE_NO_UNDO 0x40u      /* record no undo step */
#define TAVOREGION_CREATE_JOIN_UNDO 0x80u    /* join the newest undo step (new step when none) */

/* Flag of TAVOAUDIO_DeleteRegionEx / TAVOAUDIO_UndeleteRegionEx: no undo
** step and no read-only track check (for the engine's own bookkeeping). */
#define TAVOREGION_DELETE_NO_UNDO 0x10u

/* Answer of a TAVOAUDIO_REGION_LOCKED / TAVOAUDIO_REGION_UNLOCKED handler
** that refuses the change. Any answer other than 0 and 1 refuses; 0 and 1
** (1 is also what a document without handlers answers) accept it. */
#define TAVOREGION_LOCK_REFUSED 2

/* Code of the last error set when some selected regions could not be
** deleted (TAVOAUDIO_GetLastErrorMessage gives the text). */
#define TAVOREGION_ERROR_NOT_DELETED 21u

/* ---- creating ---------------------------------------------------------------- */

/* Creates a region from frame `begin` to frame `end` (equal: a marker) on the
** track `trackUniqId` (null or "": the document's own track 0). `kind`: null
** or "undef" keeps the label as given (may be empty); "default" names an
** unlabelled region "Region %d" / marker "Marker %d"; "region", "loop",
** "pregap" as the signal library knows them. `text1` is the label, `text2`
** the comment. `flags`: TAVOREGION_CREATE_. `label`: the undo label (null:
** "Add Region"). Needs 0 <= begin <= end <= length. When the file format
** cannot keep it, TAVOAUDIO_FORMAT_DONT_SUPPORT_REGIONS (or _MARKERS) asks
** the host first: 0 refuses, otherwise the file can no longer be saved in its
** format (read-only format flag). Returns the first created region
** (borrowed) or null. */
TAVO_API AUDIOREGION TAVOAUDIO_CreateRegionEx2(TAVOAUDIO audio, const char *trackUniqId, int64_t begin, int64_t end,
                                               const char *kind, const char *text1, const char *text2, uint32_t flags,
                                               const char *label);

/* A region of track 0 from `begin` to `end` frames labelled `label` (null or
** "": "Region %d"), kind "default", undo step "Add Region". The region
** (borrowed) or null. */
TAVO_API AUDIOREGION TAVOAUDIO_AddRegion(TAVOAUDIO audio, int64_t begin, int64_t end, const char *label);

/* A marker of track 0 at the cursor / at frame `frame` / at `seconds`,
** labelled `label` (null or "": "Marker %d"), undo step "Add Marker". The
** marker (borrowed) or null (also outside the signal). */
TAVO_API AUDIOREGION TAVOAUDIO_AddMarker(TAVOAUDIO audio, const char *label);
TAVO_API AUDIOREGION TAVOAUDIO_AddMarkerToSample(TAVOAUDIO audio, int64_t frame, const char *label);
TAVO_API AUDIOREGION TAVOAUDIO_AddMarkerToPosition(TAVOAUDIO audio, double seconds, const char *label);

/* A loop of track 0 from `begin` to `end` frames (begin < end). CreateLoopEx
** labels it `label` and records "Add Region"; AddLoop leaves it unlabelled
** and records "Add Loop". The loop (borrowed) or null. */
TAVO_API AUDIOREGION TAVOAUDIO_CreateLoopEx(TAVOAUDIO audio, int64_t begin, int64_t end, const char *label);
TAVO_API AUDIOREGION TAVOAUDIO_AddLoop(TAVOAUDIO audio, int64_t begin, int64_t end);

/* ---- texts, channel, track --------------------------------------------------- */

/* Sets the label ("Change Region Label") / the comment ("Change Region
** Comment", then TAVOAUDIO_CHANGE_REGION_COMMENT with the region and the new
** text). Null text means "". 1 on success or when the text is the same. */
TAVO_API int32_t TAVOAUDIO_SetRegionLabel(TAVOAUDIO audio, AUDIOREGION region, const char *label);
TAVO_API int32_t TAVOAUDIO_SetRegionComment(TAVOAUDIO audio, AUDIOREGION region, const char *comment);

/* Sets the channel the region marks (-1: all), "Change Region Channel". */
TAVO_API int32_t TAVOAUDIO_SetRegionChannel(TAVOAUDIO audio, AUDIOREGION region, int32_t channel);

/* Moves a top-level region (with its children) to track index `trackIndex`;
** undo label `label` (null: "Change Region Track"). Both tracks must be
** writable; the same track is a no-op (1). */
TAVO_API int32_t TAVOAUDIO_SetRegionTrackIndexEx(TAVOAUDIO audio, AUDIOREGION region, int32_t trackIndex,
                                                 const char *label);

/* ---- conversions ------------------------------------------------------------- */

/* A region (not a marker, loop or pregap) of track 0 becomes a loop ("Convert
** Region to Loop"); a loop becomes a region ("Convert Loop to Region"). The
** host is asked first (TAVOAUDIO_CONVERT_REGION_TO_LOOP /
** TAVOAUDIO_CONVERT_LOOP_TO_REGION with the region): a 0 answer cancels. */
TAVO_API int32_t TAVOAUDIO_ConvertToLoop(TAVOAUDIO audio, AUDIOREGION region);
TAVO_API int32_t TAVOAUDIO_ConvertToRegion(TAVOAUDIO audio, AUDIOREGION loop);

/* Replaces a region or loop by a marker at its begin (its label) and one at
** its end ("%s (end)"), "Convert to Markers"; the host is asked first
** (TAVOAUDIO_CONVERT_TO_MARKERS, 0 cancels). */
TAVO_API int32_t TAVOAUDIO_ConvertToMarkers(TAVOAUDIO audio, AUDIOREGION region);

/* Replaces two markers of one track by the region between them labelled
** `label` (null: the first marker's label; when that is empty too:
** "Region 1"), "Convert Markers to Regions"; the host is asked first
** (TAVOAUDIO_CONVERT_MARKERS_TO_REGIONS with both markers, 0 cancels). */
TAVO_API int32_t TAVOAUDIO_ConvertMarkersToRegionEx(TAVOAUDIO audio, AUDIOREGION markerA, AUDIOREGION markerB,
                                                    const char *label);

/* ---- merging ----------------------------------------------------------------- */

/* Whether some track (track 0, or a visible writable annotation track) has
** selected regions that can be merged. Takes the read lock. */
TAVO_API int32_t TAVOAUDIO_CanMergeSelectedRegions(TAVOAUDIO audio);

/* Merges the selected top-level regions of each such track into one ("Merge
** Regions"). 1 with no selected region at all; 0 when nothing could be
** merged or a merge failed, and then no undo step stays and the regions are
** as they were. */
TAVO_API int32_t TAVOAUDIO_MergeSelectedRegions(TAVOAUDIO audio);

/* ---- deleting ---------------------------------------------------------------- */

/* Marks one region deleted ("Delete Region") / undeletes it ("Undelete
** Region"). `flags`: TAVOREGION_DELETE_NO_UNDO. A focus or highlight on the
** region is dropped. Delete: 0 for a region that cannot be deleted (an only
** child, read-only). Undelete: 1 with nothing done for a region that is not
** deleted (without the flag). */
TAVO_API int32_t TAVOAUDIO_DeleteRegionEx(TAVOAUDIO audio, AUDIOREGION region, uint32_t flags);
TAVO_API int32_t TAVOAUDIO_UndeleteRegionEx(TAVOAUDIO audio, AUDIOREGION region, uint32_t flags);

/* Deletes, as one step "Delete Regions", the selected regions of all tracks
** / of the track `trackUniqId` (null: track 0) / the `count` regions given.
** Regions of read-only, hidden or deleted annotation tracks are kept. The
** next region after the last one deleted (or else the previous one before the
** first) becomes the selected, focused region; without one the focus is
** dropped. When some region cannot be deleted (an only child) the others are
** deleted anyway, the last error becomes TAVOREGION_ERROR_NOT_DELETED and 0
** is returned. 1 when nothing is selected. */
TAVO_API int32_t TAVOAUDIO_DelSelectedRegions(TAVOAUDIO audio);
TAVO_API int32_t TAVOAUDIO_DelSelectedRegionsOfTrack(TAVOAUDIO audio, const char *trackUniqId);
TAVO_API int32_t TAVOAUDIO_DeleteRegions(TAVOAUDIO audio, const AUDIOREGION *regions, int32_t count);

/* ---- moving and resizing ----------------------------------------------------- */
/* Positions are clamped into [0, length of the signal]; a region keeps
** begin < end (a marker stays of zero length); a locked region, or one on a
** read-only track, is refused (0). Moving a region moves its children with
** it; changing a border clips its children. A target equal to the present
** bounds is a no-op (1). */

/* Moves every selected region by `offset` frames ("Move Region"). The offset
** is clamped once for all of them, so they keep their distances. 0 when any
** of them is locked or on a read-only track. */
TAVO_API int32_t TAVOAUDIO_OffsetRegions(TAVOAUDIO audio, int64_t offset);

/* Moves the whole region so that it begins at `frame` ("Move Region Begin");
** `frame` is clamped so that the region stays inside the signal. */
TAVO_API int32_t TAVOAUDIO_MoveRegionBegin(TAVOAUDIO audio, AUDIOREGION region, int64_t frame);

/* Moves one border of the region (of the focused region for the OnFocus
** forms; 0 without one): begin into [0, end - 1], end into [begin + 1,
** length] ("Change Region Begin" / "Change Region End"). A marker is moved
** to the frame instead. */
TAVO_API int32_t TAVOAUDIO_ChangeRegionBegin(TAVOAUDIO audio, AUDIOREGION region, int64_t frame);
TAVO_API int32_t TAVOAUDIO_ChangeOnFocusRegionBegin(TAVOAUDIO audio, int64_t frame);
TAVO_API int32_t TAVOAUDIO_ChangeRegionEnd(TAVOAUDIO audio, AUDIOREGION region, int64_t frame);
TAVO_API int32_t TAVOAUDIO_ChangeOnFocusRegionEnd(TAVOAUDIO audio, int64_t frame);

/* Gives the region both borders ("Resize Region"), each clamped into
** [0, length]. 0 when begin > end, when a region would become of zero length,
** and for a marker unless begin == end (it is then moved). */
TAVO_API int32_t TAVOAUDIO_ResizeRegion(TAVOAUDIO audio, AUDIOREGION region, int64_t begin, int64_t end);

/* Moves a marker to `frame` (clamped), "Move Marker". 0 for a region that is
** not a marker. */
TAVO_API int32_t TAVOAUDIO_MoveMarker(TAVOAUDIO audio, AUDIOREGION marker, int64_t frame);

/* Moves ("Move Regions") the selected top-level regions of the other tracks,
** with their children, / copies ("Copy Regions") every selected region of
** the other tracks, each as a top-level region, to the track `trackUniqId`
** (null or "": track 0). The target and, for a move, every source track must
** be writable, and no moved region may be locked or read-only. Copies keep
** bounds, kind, texts and channel. 1 with nothing to do. */
TAVO_API int32_t TAVOAUDIO_MoveSelectedRegionsToTrack(TAVOAUDIO audio, const char *trackUniqId);
TAVO_API int32_t TAVOAUDIO_CopySelectedRegionsToTrack(TAVOAUDIO audio, const char *trackUniqId);

/* ---- state of a region (no undo step) ------------------------------------------ */

/* Locks / unlocks a region, then tells the host (TAVOAUDIO_REGION_LOCKED /
** TAVOAUDIO_REGION_UNLOCKED with the region); an answer other than 0 and 1
** (TAVOREGION_LOCK_REFUSED) takes the change back and gives 0. 0 for a
** region that already is so. */
TAVO_API int32_t TAVOAUDIO_LockRegion(TAVOAUDIO audio, AUDIOREGION region);
TAVO_API int32_t TAVOAUDIO_UnlockRegion(TAVOAUDIO audio, AUDIOREGION region);

/* Hides / shows a region and drops the region focus. 1 at once when it
** already is so. */
TAVO_API int32_t TAVOAUDIO_HideRegion(TAVOAUDIO audio, AUDIOREGION region);
TAVO_API int32_t TAVOAUDIO_UnhideRegion(TAVOAUDIO audio, AUDIOREGION region);

/* Display and bookkeeping flags of a region: hide its comment text, hide its
** label, mark it changed, make it read-only. The region's answer (1/0). */
TAVO_API int32_t TAVOAUDIO_SetRegionTextHide(TAVOAUDIO audio, AUDIOREGION region, bool hide);
TAVO_API int32_t TAVOAUDIO_SetRegionLabelHide(TAVOAUDIO audio, AUDIOREGION region, bool hide);
TAVO_API int32_t TAVOAUDIO_SetRegionChanged(TAVOAUDIO audio, AUDIOREGION region, bool changed);
TAVO_API int32_t TAVOAUDIO_SetRegionReadOnly(TAVOAUDIO audio, AUDIOREGION region, bool readOnly);

/* ---- region files ------------------------------------------------------------ */

/* Reads the region file `fileName` ("SRT", "WEBVTT", "LABELS" or "AUTO" by
** extension; null: "AUTO"; parameters as the signal library takes them) as a
** track linked to that file: its changes are written back to it by
** TAVOAUDIO_SaveExternalRegions. TAVOEVENT_LOAD_EXTERNAL_REGION_FILE (file
** name, format) asks the host first; 0 refuses. One undo step "Import
** Regions". 0 when refused or the file cannot be read (nothing changes). */
TAVO_API int32_t TAVOAUDIO_ReadRegions(TAVOAUDIO audio, const char *fileName, const char *format);

/* Copies the regions of a region file into the document (track 0, or the
** track named by a "track=" parameter, made when absent) without linking the
** file, as one undo step "Import Regions". 0 when the file cannot be read. */
TAVO_API int32_t TAVOAUDIO_ImportRegions(TAVOAUDIO audio, const char *fileName, const char *format);

/* Writes every changed linked track back to its file and, for a document with
** a file of its own, the annotation tracks kept as SRT sidecars of it. On
** failure sends TAVOAUDIO_SAVE_EXTERNAL_REGION_FAIL, sets the last error and
** returns 0; the old files stay. 1 also when nothing needed writing. */
TAVO_API int32_t TAVOAUDIO_SaveExternalRegions(TAVOAUDIO audio);

/* Whether writing the document in `format` (null: its own format) would drop
** regions or markers of track 0 that the format cannot keep. When it would,
** sends TAVOEVENT_SAVE_IGNORING_REGIONS (arg1: the format text) and returns
** the host's answer: 0 means "do not save". 1 when nothing would be lost. */
TAVO_API int32_t TAVOAUDIO_CheckSaveIgnoringRegions(TAVOAUDIO audio, const char *format);

/* ---- detecting DTMF key presses ---------------------------------------------- */

/* Makes one region "DTMF: <key>" per telephone key press (0-9 * # A-D) found
** in frames [begin, end) (end < 0: to the end) of the active channels mixed,
** on the track `trackUniqId` (null: track 0), as one undo step `label` (null:
** "Detect DTMF"). `flags`: TAVOREGION_CREATE_ SELECTED, TEMPORARY, READ_ONLY,
** ON_READ_ONLY, NO_UNDO. Reports progress in the operation record; cancelling
** it makes nothing. Regions made, 0 for none, -1 (last error; nothing made)
** when refused or cancelled. UI thread (cancel from any). */
TAVO_API int32_t TAVOAUDIO_DetectDtmfEx(TAVOAUDIO audio, int64_t begin, int64_t end, const char *trackUniqId,
                                        uint32_t flags, const char *label);

TAVO_EXTERN_C_END

#endif
