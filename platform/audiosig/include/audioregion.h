/*
** audioregion.h: regions, markers and loops of a signal, the region tracks
** that hold them, annotation (custom) tracks and region files of libaudiosig
** (AUDIOREGION_, AUDIOREGIONTRACK_, AUDIOCUSTOMTRACK_, AUDIOSIGNAL_).
**
** A region is an interval [begin, end] in seconds with a label, a comment,
** a channel (-1: all) and flags. A marker is a region of zero length; a
** loop and a pregap are intervals of their own kind. Regions live in region
** tracks: track 0 is the signal's own, the tracks after it belong to
** annotation tracks (custom tracks) and are named by a unique id. Within a
** track regions are ordered by begin, then end, then creation.
**
** Deleting a region marks it deleted: it stays in the signal, is skipped by
** searches and files, and can be undeleted. Only undoing a creation, or
** AUDIOREGION_DeleteEx, takes a region out for good. A child region lies
** inside its parent on the same track; an only child cannot be deleted.
**
** Ownership: region and track handles are counted references owned by the
** signal. Handles returned by the signal are borrowed: they stay valid while
** the region (track) is in the signal. A caller that keeps one across other
** changes takes a reference (AUDIOREGION_GetReference) and releases it with
** AUDIOREGION_Dispose; a handle whose region left the signal answers as a
** detached region (track index -1). Copies (AUDIOREGION_Copy,
** AUDIOREGIONTRACK_Copy) belong to the caller.
**
** Changes of regions advance the signal's content stamp, leave the regions
** change kind pending (AUDIOSIGNAL_HasChangesEx(signal, 4)) and notify the
** parent (AUDIO_NOTIFY_REGION_CHANGED). Flag setters on a region handle
** (lock, hide, select, text/label hide, changed) are view state: they notify
** nobody. A read-only signal refuses every region change.
**
** Threads: regions and tracks of one signal are changed from one thread at
** a time and are not read while they change; the engine orders both with
** its document lock. This library adds no lock of its own around them.
** Null handles are taken harmlessly: false, 0, -1 or null.
*/
#ifndef AUDIOREGION_H
#define AUDIOREGION_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "audiosig_export.h"
#include "audiosignal.h"

AUDIO_EXTERN_C_BEGIN

typedef struct AudioRegionObject *AUDIOREGION;
typedef struct AudioRegionTrackObject *AUDIOREGIONTRACK;
typedef struct AudioCustomTrackObject *AUDIOCUSTOMTRACK;

/* Kinds of AUDIOREGION_GetKind. */
#define AUDIOREGION_KIND_REGION 0
#define AUDIOREGION_KIND_LOOP 1
#define AUDIOREGION_KIND_MARKER 2
#define AUDIOREGION_KIND_PREGAP 3

/* Bits of the region search option (the last argument of every search):
** by default a search sees regions that are neither hidden nor deleted, of
** any kind, at any level. */
#define AUDIOREGION_SEARCH_HIDDEN 0x1        /* also hidden regions */
#define AUDIOREGION_SEARCH_DELETED 0x2       /* also deleted regions */
#define AUDIOREGION_SEARCH_MARKERS_ONLY 0x4  /* only markers */
#define AUDIOREGION_SEARCH_NO_MARKERS 0x8    /* no markers */
#define AUDIOREGION_SEARCH_TOP_LEVEL 0x10    /* only regions without a parent */
#define AUDIOREGION_SEARCH_SELECTED 0x20     /* only selected regions */

/* Flags of AUDIOSIGNAL_CreateRegionsOnTrack; other bits are the caller's
** and ignored. */
#define AUDIOSIGNAL_CREATE_SELECTED 0x1    /* the new regions are selected */
#define AUDIOSIGNAL_CREATE_TEMPORARY 0x2   /* temporary: never written to a file */
#define AUDIOSIGNAL_CREATE_PER_CHANNEL 0x4 /* one region per active channel */
#define AUDIOSIGNAL_CREATE_READ_ONLY 0x8   /* the new regions refuse changes */

/* Flags of AUDIOSIGNAL_DeleteRegion and AUDIOSIGNAL_RemoveCustomTrack. */
#define AUDIOSIGNAL_DELETE_FOR_GOOD 0x20   /* take it out of the signal (undo of a creation) */

/* Flags of AUDIOSIGNAL_ReplaceRegionEx. */
#define AUDIOSIGNAL_REPLACE_NO_NOTIFY 0x1  /* record no change (the caller notifies once) */

/* Values of AUDIOSIGNAL_FormatSupportRegion's `what`. */
#define AUDIOSIGNAL_SUPPORT_REGIONS 0x200
#define AUDIOSIGNAL_SUPPORT_MARKERS 0x400

/* File types of annotation tracks. */
#define AUDIOCUSTOMTRACK_FILE_NONE 0
#define AUDIOCUSTOMTRACK_FILE_SRT 1
#define AUDIOCUSTOMTRACK_FILE_WEBVTT 2
#define AUDIOCUSTOMTRACK_FILE_LABELS 3

/* Flags of AUDIOSIGNAL_ReadRegionsEx and AUDIOSIGNAL_SaveRegionsEx. */
#define AUDIOSIGNAL_REGIONS_REPLACE 0x1  /* reading: the file's regions replace the track's */
#define AUDIOSIGNAL_REGIONS_EXTERNAL 0x8 /* the track becomes linked to the file (as "linked=1") */

/* The unique id of the signal's own region track (track 0). */
#define AUDIOREGIONTRACK_MAIN_ID "main"

/* ---- region handles ---------------------------------------------------- */

/* Adds a reference and returns the same handle (null for null). */
AUDIO_API AUDIOREGION AUDIOREGION_GetReference(AUDIOREGION region);

/* Drops one reference; the last one frees the region. False for null. */
AUDIO_API bool AUDIOREGION_Dispose(AUDIOREGION region);

/* A detached copy (one reference for the caller) with the same identity
** and contents, for undo: AUDIOSIGNAL_ReplaceRegion puts it back. */
AUDIO_API AUDIOREGION AUDIOREGION_Copy(AUDIOREGION region);

/* The region's identity: kept by copies and duplicates of the signal, new
** for every created or pasted region. 0 for null. */
AUDIO_API uint64_t AUDIOREGION_GetUniqId(AUDIOREGION region);

/* 0 when both are the same region (same identity) with equal contents;
** otherwise the sign orders them by begin, end, identity, then contents.
** Null sorts before any region. */
AUDIO_API int32_t AUDIOREGION_Compare(AUDIOREGION a, AUDIOREGION b);

/* ---- region kind, place and texts -------------------------------------- */

/* AUDIOREGION_KIND_...; -1 for null. A region of zero length is a marker. */
AUDIO_API int32_t AUDIOREGION_GetKind(AUDIOREGION region);
AUDIO_API bool AUDIOREGION_IsRegion(AUDIOREGION region);
AUDIO_API bool AUDIOREGION_IsLoop(AUDIOREGION region);
AUDIO_API bool AUDIOREGION_IsMarker(AUDIOREGION region);
AUDIO_API bool AUDIOREGION_IsPregap(AUDIOREGION region);

/* Begin, end and duration in seconds (0 for null). */
AUDIO_API double AUDIOREGION_GetBegin(AUDIOREGION region);
AUDIO_API double AUDIOREGION_GetEnd(AUDIOREGION region);
AUDIO_API double AUDIOREGION_GetDuration(AUDIOREGION region);

/* The index of the region's track in its signal; -1 when detached. */
AUDIO_API int32_t AUDIOREGION_GetTrackIndex(AUDIOREGION region);

/* Label and comment ("" when none, null for null); valid until they change. */
AUDIO_API const char *AUDIOREGION_GetLabel(AUDIOREGION region);
AUDIO_API const char *AUDIOREGION_GetComment(AUDIOREGION region);

/* The channel the region marks, -1 for all channels (and for null). */
AUDIO_API int32_t AUDIOREGION_GetChannel(AUDIOREGION region);

/* ---- region flags (view state: no change is recorded) ------------------ */

/* A locked region refuses moves, resizes and merges until unlocked. Lock
** and Unlock are false for null or when the region already is so. */
AUDIO_API bool AUDIOREGION_IsLocked(AUDIOREGION region);
AUDIO_API bool AUDIOREGION_Lock(AUDIOREGION region);
AUDIO_API bool AUDIOREGION_Unlock(AUDIOREGION region);

/* Hidden regions are skipped by searches without AUDIOREGION_SEARCH_HIDDEN. */
AUDIO_API bool AUDIOREGION_IsHidden(AUDIOREGION region);
AUDIO_API bool AUDIOREGION_Hide(AUDIOREGION region);
AUDIO_API bool AUDIOREGION_Unhide(AUDIOREGION region);

AUDIO_API bool AUDIOREGION_IsSelected(AUDIOREGION region);
AUDIO_API bool AUDIOREGION_SetSelected(AUDIOREGION region, bool selected);

/* A read-only region refuses every change but these flags. */
AUDIO_API bool AUDIOREGION_IsReadOnly(AUDIOREGION region);
AUDIO_API bool AUDIOREGION_SetReadOnly(AUDIOREGION region, bool readOnly);

/* Display flags: hide the region's text (comment) or its label. */
AUDIO_API bool AUDIOREGION_IsTextHide(AUDIOREGION region);
AUDIO_API bool AUDIOREGION_SetTextHide(AUDIOREGION region, bool hide);
AUDIO_API bool AUDIOREGION_IsLabelHide(AUDIOREGION region);
AUDIO_API bool AUDIOREGION_SetLabelHide(AUDIOREGION region, bool hide);

/* Set by every change of the region through the signal; cleared by the
** caller (e.g. after showing the change). */
AUDIO_API bool AUDIOREGION_HasChanges(AUDIOREGION region);
AUDIO_API bool AUDIOREGION_SetChanged(AUDIOREGION region, bool changed);

/* Temporary regions are never written to a file. */
AUDIO_API bool AUDIOREGION_IsTemporary(AUDIOREGION region);

/* ---- deletion and structure -------------------------------------------- */

AUDIO_API bool AUDIOREGION_IsDeleted(AUDIOREGION region);

/* False for a child whose parent has no other child that is not deleted
** (a parent keeps at least one child), for a read-only or deleted region
** and for null. */
AUDIO_API bool AUDIOREGION_CanDelete(AUDIOREGION region);

/* Takes the region out of its signal for good (its children with it) and
** records a change of the regions; the handle stays valid for its holders,
** detached. `flags`: AUDIOSIGNAL_REPLACE_NO_NOTIFY. False when detached. */
AUDIO_API bool AUDIOREGION_DeleteEx(AUDIOREGION region, uint32_t flags);

/* The parent (borrowed; null for a top-level region), the number of
** children that are not deleted, and child i of them (borrowed) in order. */
AUDIO_API AUDIOREGION AUDIOREGION_GetParent(AUDIOREGION region);
AUDIO_API int32_t AUDIOREGION_NumChildren(AUDIOREGION region);
AUDIO_API AUDIOREGION AUDIOREGION_GetChild(AUDIOREGION region, int32_t index);

/* A child's duration as a share of its parent's (0..1), as last set by
** AUDIOSIGNAL_AdjustRegionChildShares or the child's creation; 1 for a
** top-level region, 0 for null. */
AUDIO_API double AUDIOREGION_GetChildShare(AUDIOREGION region);

/* ---- region tracks ----------------------------------------------------- */

/* Tracks count deleted annotation tracks too, so indices stay put; 0 for a
** null signal, at least 1 (track 0) otherwise. */
AUDIO_API int32_t AUDIOSIGNAL_NumRegionTracks(AUDIOSIGNAL signal);

/* Track `index` (borrowed), null out of range. */
AUDIO_API AUDIOREGIONTRACK AUDIOSIGNAL_GetRegionTrack(AUDIOSIGNAL signal, int32_t index);

/* The index of the track with unique id `uniqId` (deleted ones included);
** null or "" names track 0. -1 when none has it. */
AUDIO_API int32_t AUDIOSIGNAL_FindRegionTrackIndex(AUDIOSIGNAL signal, const char *uniqId);

/* Sets a track's label without asking anybody: the call the parent makes
** when it accepts a rename (see AUDIOSIGNAL_RenameRegionTrack). Records a
** change. False for a bad index, a null label or a read-only signal. */
AUDIO_API bool AUDIOSIGNAL_SetRegionTrackLabel(AUDIOSIGNAL signal, int32_t index, const char *label);

/* Renames a track as the user asks: the parent is called with kind 111 and
** the track's unique id and the new label (both texts); an answer of false
** refuses the rename and the old label stays. Otherwise the label is set
** (unless the parent already did). False when refused or on bad arguments. */
AUDIO_API bool AUDIOSIGNAL_RenameRegionTrack(AUDIOSIGNAL signal, int32_t index, const char *label);

/* A track's unique id and label (texts of the track, valid until changed;
** null for null). */
AUDIO_API const char *AUDIOREGIONTRACK_GetUniqId(AUDIOREGIONTRACK track);
AUDIO_API const char *AUDIOREGIONTRACK_GetLabel(AUDIOREGIONTRACK track);

/* Regions of the track that are not deleted. */
AUDIO_API int32_t AUDIOREGIONTRACK_NumRegions(AUDIOREGIONTRACK track);

AUDIO_API bool AUDIOREGIONTRACK_IsDeleted(AUDIOREGIONTRACK track);

/* An external track is linked to a region file (AUDIOSIGNAL_ReadRegionsEx
** or AUDIOSIGNAL_SaveRegionsEx with "linked=1" or AUDIOSIGNAL_REGIONS_EXTERNAL):
** its file name ("" when not external) and whether its regions changed since
** the file was read or written. */
AUDIO_API bool AUDIOREGIONTRACK_IsExternal(AUDIOREGIONTRACK track);
AUDIO_API const char *AUDIOREGIONTRACK_GetExternalFile(AUDIOREGIONTRACK track);
AUDIO_API bool AUDIOREGIONTRACK_HasExternalChanges(AUDIOREGIONTRACK track);

/* A detached copy of the track (label, flags, annotation properties and
** copies of all its regions, deleted ones included), one reference for the
** caller, for undo: AUDIOSIGNAL_RestoreRegionTrack puts it back. */
AUDIO_API AUDIOREGIONTRACK AUDIOREGIONTRACK_Copy(AUDIOREGIONTRACK track);

/* Drops a reference to a track (a copy, or a track the caller referenced). */
AUDIO_API bool AUDIOREGIONTRACK_Dispose(AUDIOREGIONTRACK track);

/* Puts a track back from a copy: the signal's track with the copy's unique
** id takes the copy's label, flags and properties; its regions become those
** of the copy (regions that still exist keep their handles). A track that
** is no longer in the signal is put back at its old index. Records a change. */
AUDIO_API bool AUDIOSIGNAL_RestoreRegionTrack(AUDIOSIGNAL signal, AUDIOREGIONTRACK copy);

/* ---- annotation (custom) tracks ---------------------------------------- */

/* Adds an annotation track with its region track (the last index). A null
** or empty id gets a fresh one ("track_%d"); an id in use by a track that is
** not deleted is refused (null); the id of a deleted track revives it,
** empty. `linkedTo` may be null; otherwise it must name another annotation
** track. Returns the track (borrowed). Records a change. */
AUDIO_API AUDIOCUSTOMTRACK AUDIOSIGNAL_AddCustomTrack(AUDIOSIGNAL signal, const char *uniqId, const char *label,
                                                      const char *linkedTo);

/* The annotation track of channel `channel` (0-based): id
** "channel_%02d_track" and label "Channel %d", both with the channel
** number counted from 1. Made when absent. Null for a channel the signal
** lacks. */
AUDIO_API AUDIOCUSTOMTRACK AUDIOSIGNAL_CreateChannelTrack(AUDIOSIGNAL signal, int32_t channel);

/* Writes the id of channel `channel`'s track into `buffer`. False when it
** does not fit or for a negative channel. */
AUDIO_API bool AUDIOSIGNAL_ChannelTrackUniqId(int32_t channel, char *buffer, size_t size);

/* Marks the annotation track `uniqId` deleted (its regions kept, so undo
** can restore it), or with AUDIOSIGNAL_DELETE_FOR_GOOD takes it out (undo
** of its creation; the later tracks move down one index). Records a change. */
AUDIO_API bool AUDIOSIGNAL_RemoveCustomTrack(AUDIOSIGNAL signal, const char *uniqId, uint32_t flags);

/* Whether an annotation track with this id exists and is not deleted. */
AUDIO_API bool AUDIOSIGNAL_ContainsTrackUniqId(AUDIOSIGNAL signal, const char *uniqId);

/* Annotation tracks that are not deleted, in track order, and track i of
** them (borrowed); the track with id `uniqId` (borrowed, null when absent
** or deleted). */
AUDIO_API int32_t AUDIOSIGNAL_NumCustomTracks(AUDIOSIGNAL signal);
AUDIO_API AUDIOCUSTOMTRACK AUDIOSIGNAL_GetCustomTrack(AUDIOSIGNAL signal, int32_t index);
AUDIO_API AUDIOCUSTOMTRACK AUDIOSIGNAL_FindCustomTrack(AUDIOSIGNAL signal, const char *uniqId);

/* The region track of an annotation track (the same object; borrowed). */
AUDIO_API AUDIOREGIONTRACK AUDIOCUSTOMTRACK_RegionTrack(AUDIOCUSTOMTRACK track);

AUDIO_API const char *AUDIOCUSTOMTRACK_GetUniqId(AUDIOCUSTOMTRACK track);
AUDIO_API const char *AUDIOCUSTOMTRACK_GetLabel(AUDIOCUSTOMTRACK track);

/* The id of the track this one follows ("" when none). Linking refuses the
** track's own id, an id no annotation track has, and links that would make
** a cycle; "" or null unlinks. Records a change. */
AUDIO_API const char *AUDIOCUSTOMTRACK_GetLinkedTo(AUDIOCUSTOMTRACK track);
AUDIO_API bool AUDIOCUSTOMTRACK_SetLinkedTo(AUDIOCUSTOMTRACK track, const char *uniqId);

/* The file type (AUDIOCUSTOMTRACK_FILE_...) and its name: "NONE", "SRT",
** "WEBVTT", "LABELS" (static text; "NONE" for unknown types). FromString
** takes those names in any case and gives -1 for others. */
AUDIO_API int32_t AUDIOCUSTOMTRACK_GetFileType(AUDIOCUSTOMTRACK track);
AUDIO_API bool AUDIOCUSTOMTRACK_SetFileType(AUDIOCUSTOMTRACK track, int32_t type);
AUDIO_API const char *AUDIOCUSTOMTRACK_FileTypeToString(int32_t type);
AUDIO_API int32_t AUDIOCUSTOMTRACK_FileTypeFromString(const char *name);

/* Display properties kept with the track (recorded as changes): font size
** in points (> 0, finite), number of text lines (>= 1), and whether the
** track's properties serve as the global default and as the default of the
** tracks linked to it. */
AUDIO_API float AUDIOCUSTOMTRACK_GetFontSize(AUDIOCUSTOMTRACK track);
AUDIO_API bool AUDIOCUSTOMTRACK_SetFontSize(AUDIOCUSTOMTRACK track, float size);
AUDIO_API int32_t AUDIOCUSTOMTRACK_GetNumberOfLines(AUDIOCUSTOMTRACK track);
AUDIO_API bool AUDIOCUSTOMTRACK_SetNumberOfLines(AUDIOCUSTOMTRACK track, int32_t lines);
AUDIO_API bool AUDIOCUSTOMTRACK_GetUseAsGlobalDefault(AUDIOCUSTOMTRACK track);
AUDIO_API bool AUDIOCUSTOMTRACK_SetUseAsGlobalDefault(AUDIOCUSTOMTRACK track, bool use);
AUDIO_API bool AUDIOCUSTOMTRACK_GetUseAsLinkedDefault(AUDIOCUSTOMTRACK track);
AUDIO_API bool AUDIOCUSTOMTRACK_SetUseAsLinkedDefault(AUDIOCUSTOMTRACK track, bool use);

/* Visibility (view state). mode 0: the track's own flag; mode 1: also
** every track it is linked to, up the chain, is visible. */
AUDIO_API bool AUDIOCUSTOMTRACK_IsVisibleEx(AUDIOCUSTOMTRACK track, int32_t mode);
AUDIO_API bool AUDIOCUSTOMTRACK_SetVisible(AUDIOCUSTOMTRACK track, bool visible);

/* A temporary track is never saved as a sidecar; a read-only one is not to
** be edited by the user (the engine enforces it). View state. */
AUDIO_API bool AUDIOCUSTOMTRACK_IsTemporary(AUDIOCUSTOMTRACK track);
AUDIO_API bool AUDIOCUSTOMTRACK_SetTemporary(AUDIOCUSTOMTRACK track, bool temporary);
AUDIO_API bool AUDIOCUSTOMTRACK_IsReadOnly(AUDIOCUSTOMTRACK track);
AUDIO_API bool AUDIOCUSTOMTRACK_SetReadOnly(AUDIOCUSTOMTRACK track, bool readOnly);

/* ---- creating, deleting, replacing ------------------------------------- */

/* Creates a region from `begin` to `end` seconds (equal: a marker) on track
** `trackIndex` with label `text1` and comment `text2` (null: ""). `kind`:
** "undef" (or null) and "region" follow the times; "default" too, and an
** empty label becomes "Region %d" / "Marker %d" (the count on the track);
** "loop" and "pregap" make those kinds (never of zero length). `flags`:
** AUDIOSIGNAL_CREATE_... With PER_CHANNEL one region per active channel,
** else one for all channels. The created regions (borrowed) go to `out`, at
** most `maxOut`. Returns how many were created; 0 on failure (nothing made:
** bad times, unknown kind, bad or deleted track, read-only signal). */
AUDIO_API int32_t AUDIOSIGNAL_CreateRegionsOnTrack(AUDIOSIGNAL signal, uint32_t flags, double begin, double end,
                                                   const char *kind, const char *text1, const char *text2,
                                                   int32_t trackIndex, AUDIOREGION *out, int32_t maxOut);

/* Creates a child of `parent` within the parent's span, on its track.
** Null when the times leave the parent or the parent is read-only,
** deleted or detached. Returns the child (borrowed). */
AUDIO_API AUDIOREGION AUDIOSIGNAL_AddChildRegion(AUDIOSIGNAL signal, AUDIOREGION parent, double begin, double end,
                                                 const char *label);

/* Marks a region deleted and unselected (its children with it). Refused
** when AUDIOREGION_CanDelete refuses, unless AUDIOSIGNAL_DELETE_FOR_GOOD,
** which takes the region out of the signal whatever it is. False for a
** region of another signal. */
AUDIO_API bool AUDIOSIGNAL_DeleteRegion(AUDIOSIGNAL signal, AUDIOREGION region, uint32_t flags);

/* Undeletes a deleted region and the children deleted with it. False when
** it is not deleted or not the signal's. */
AUDIO_API bool AUDIOSIGNAL_UndeleteRegion(AUDIOSIGNAL signal, AUDIOREGION region);

/* Gives `region` the contents of `copy` (AUDIOREGION_Copy of it): bounds,
** texts, flags, parent and track (by the copy's track index when the copy
** was made). A region that left the signal is put back. The copy stays the
** caller's. ReplaceRegion records a change; ReplaceRegionEx with
** AUDIOSIGNAL_REPLACE_NO_NOTIFY does not. False for identities that differ. */
AUDIO_API bool AUDIOSIGNAL_ReplaceRegion(AUDIOSIGNAL signal, AUDIOREGION region, AUDIOREGION copy);
AUDIO_API bool AUDIOSIGNAL_ReplaceRegionEx(AUDIOSIGNAL signal, AUDIOREGION region, AUDIOREGION copy,
                                           uint32_t flags);

/* ---- changing a region ------------------------------------------------- */

/* Each records a change and refuses (false) a read-only or deleted region,
** a region of another signal and a read-only signal. */
AUDIO_API bool AUDIOSIGNAL_ChangeRegionLabel(AUDIOSIGNAL signal, AUDIOREGION region, const char *label);
AUDIO_API bool AUDIOSIGNAL_ChangeRegionComment(AUDIOSIGNAL signal, AUDIOREGION region, const char *comment);

/* `channel` -1 (all) or one of the signal's channels. */
AUDIO_API bool AUDIOSIGNAL_ChangeRegionChannel(AUDIOSIGNAL signal, AUDIOREGION region, int32_t channel);

/* Moves a top-level region (with its children) to another track that is
** not deleted. Refused for a locked region. */
AUDIO_API bool AUDIOSIGNAL_ChangeRegionTrackIndex(AUDIOSIGNAL signal, AUDIOREGION region, int32_t trackIndex);

/* New bounds in seconds (0 <= begin <= end; a loop or pregap needs
** begin < end). Children are kept inside: they are clipped to the new
** bounds. Refused for a locked region. */
AUDIO_API bool AUDIOSIGNAL_SetRegionBounds(AUDIOSIGNAL signal, AUDIOREGION region, double begin, double end);

/* A region (not a marker, loop or pregap) becomes a loop, and back. */
AUDIO_API bool AUDIOSIGNAL_ConvertRegionToLoop(AUDIOSIGNAL signal, AUDIOREGION region);
AUDIO_API bool AUDIOSIGNAL_ConvertLoopToRegion(AUDIOSIGNAL signal, AUDIOREGION region);

/* Replaces a region (or loop) by two markers at its begin and end: the
** first takes its label and comment, the second is labelled "%s (end)".
** The region is marked deleted. The markers (borrowed) go to the outputs
** (either may be null). */
AUDIO_API bool AUDIOSIGNAL_ConvertRegionToMarkers(AUDIOSIGNAL signal, AUDIOREGION region, AUDIOREGION *first,
                                                  AUDIOREGION *second);

/* Replaces two markers of one track by the region between them, labelled
** `label` (null: the first marker's label); the markers are marked deleted.
** Returns the region (borrowed), null when they are not two markers of one
** track. */
AUDIO_API AUDIOREGION AUDIOSIGNAL_ConvertMarkersToRegion(AUDIOSIGNAL signal, AUDIOREGION a, AUDIOREGION b,
                                                         const char *label);

/* ---- merging and children ---------------------------------------------- */

/* Whether the selected top-level regions of a track can be merged: at
** least 2 of them, none locked or read-only. */
AUDIO_API bool AUDIOSIGNAL_CanMergeSelectedRegions(AUDIOSIGNAL signal, int32_t trackIndex);

/* Merges them: the first (in order) spans from the smallest begin to the
** largest end, its label and comment become the non-empty ones of all
** joined by " " and "\n", it takes their children; the others are marked
** deleted. False (nothing changed) when CanMergeSelectedRegions refuses. */
AUDIO_API bool AUDIOSIGNAL_MergeRegions(AUDIOSIGNAL signal, int32_t trackIndex);

/* Brings every child inside its parent (clipping it) and sets each child's
** share of its parent's duration. Records no change: the callers (undo)
** notify once at the end. */
AUDIO_API bool AUDIOSIGNAL_AdjustRegionChildShares(AUDIOSIGNAL signal);

/* ---- counting, listing, selecting -------------------------------------- */

/* Regions of a track (-1: all tracks) that the search option lets through. */
AUDIO_API int32_t AUDIOSIGNAL_CountRegions(AUDIOSIGNAL signal, int32_t trackIndex, uint32_t option);

/* Writes up to `max` of them (borrowed) in order into `out`; returns how
** many were written. */
AUDIO_API int32_t AUDIOSIGNAL_GetRegions(AUDIOSIGNAL signal, int32_t trackIndex, uint32_t option,
                                         AUDIOREGION *out, int32_t max);

/* The same for regions that touch [begin, end] seconds (drawing). */
AUDIO_API int32_t AUDIOSIGNAL_GetRegionsInRange(AUDIOSIGNAL signal, int32_t trackIndex, double begin, double end,
                                                uint32_t option, AUDIOREGION *out, int32_t max);

/* Selected regions (not deleted; hidden ones included) of a track, -1 for
** all tracks (in track order, then region order). */
AUDIO_API int32_t AUDIOSIGNAL_CountSelectedRegionsOfTrack(AUDIOSIGNAL signal, int32_t trackIndex);
AUDIO_API int32_t AUDIOSIGNAL_GetSelectedRegions(AUDIOSIGNAL signal, int32_t trackIndex, AUDIOREGION *out,
                                                 int32_t max);

/* Unselects every region of a track (-1: all). */
AUDIO_API bool AUDIOSIGNAL_UnselectAllRegions(AUDIOSIGNAL signal, int32_t trackIndex);

/* ---- searching --------------------------------------------------------- */

/* All results are borrowed; null when there is none. */

/* First and last region of a track that the option lets through. */
AUDIO_API AUDIOREGION AUDIOSIGNAL_FindFirstRegion(AUDIOSIGNAL signal, int32_t trackIndex, uint32_t option);
AUDIO_API AUDIOREGION AUDIOSIGNAL_FindLastRegion(AUDIOSIGNAL signal, int32_t trackIndex, uint32_t option);

/* The region after / before `region` on its own track. */
AUDIO_API AUDIOREGION AUDIOSIGNAL_FindNextOnTrackRegion(AUDIOSIGNAL signal, AUDIOREGION region, uint32_t option);
AUDIO_API AUDIOREGION AUDIOSIGNAL_FindPrevOnTrackRegion(AUDIOSIGNAL signal, AUDIOREGION region, uint32_t option);

/* The same over all tracks, ordered by begin, end, track index, creation. */
AUDIO_API AUDIOREGION AUDIOSIGNAL_FindNextRegion(AUDIOSIGNAL signal, AUDIOREGION region, uint32_t option);
AUDIO_API AUDIOREGION AUDIOSIGNAL_FindPrevRegion(AUDIOSIGNAL signal, AUDIOREGION region, uint32_t option);

/* The same on the region's track, skipping child regions. */
AUDIO_API AUDIOREGION AUDIOSIGNAL_FindNextTopLevelRegion(AUDIOSIGNAL signal, AUDIOREGION region, uint32_t option);
AUDIO_API AUDIOREGION AUDIOSIGNAL_FindPrevTopLevelRegion(AUDIOSIGNAL signal, AUDIOREGION region, uint32_t option);

/* The region (not a marker) under `seconds` (begin <= seconds < end) on a
** track (-1: any); the shortest when several cover it, so a child wins over
** its parent. */
AUDIO_API AUDIOREGION AUDIOSIGNAL_FindRegionOverPosition(AUDIOSIGNAL signal, int32_t trackIndex, double seconds,
                                                         uint32_t option);

/* The first marker strictly after / the last strictly before `seconds`
** on a track (-1: any). */
AUDIO_API AUDIOREGION AUDIOSIGNAL_FindNextMarkerFromPosition(AUDIOSIGNAL signal, int32_t trackIndex,
                                                             double seconds, uint32_t option);
AUDIO_API AUDIOREGION AUDIOSIGNAL_FindPrevMarkerFromPosition(AUDIOSIGNAL signal, int32_t trackIndex,
                                                             double seconds, uint32_t option);

/* Whether the region lies on an external track. */
AUDIO_API bool AUDIOSIGNAL_IsRegionExternal(AUDIOSIGNAL signal, AUDIOREGION region);

/* ---- files ------------------------------------------------------------- */

/* Whether a file of format `format` (a format text; "AUTO" or null: the
** signal's own) keeps regions (what = AUDIOSIGNAL_SUPPORT_REGIONS) or
** markers (AUDIOSIGNAL_SUPPORT_MARKERS), from the capability bits of the
** format table. Of the audio formats, WAV files keep them (cue, labels and
** smpl loops of track 0). False for unknown formats. */
AUDIO_API bool AUDIOSIGNAL_FormatSupportRegion(AUDIOSIGNAL signal, const char *format, uint32_t what);

/* Reads a region file into a track. `format`: "SRT", "WEBVTT" ("VTT"),
** "LABELS" ("TXT": begin TAB end TAB label a line, seconds with a dot) or
** "AUTO" (by extension: .srt, .vtt, .txt/.labels); parameters "track=<id>"
** (the annotation track, made when absent) and "linked=1" (as flag
** AUDIOSIGNAL_REGIONS_EXTERNAL). Without a track: track 0, or with
** AUDIOSIGNAL_REGIONS_EXTERNAL a new annotation track named after the file.
** The whole file is read first: malformed contents give false and change
** nothing. Records a change (an external track starts unchanged). */
AUDIO_API bool AUDIOSIGNAL_ReadRegionsEx(AUDIOSIGNAL signal, const char *name, const char *format, uint32_t flags);

/* Writes the regions (not deleted, not temporary) of track `trackIndex`
** (the "track=" parameter wins) to `name` in `format` (as for reading;
** "AUTO" by extension). Written beside and renamed over the target, so a
** failure leaves any old file. With "linked=1" or
** AUDIOSIGNAL_REGIONS_EXTERNAL the track becomes external, unchanged.
** False with AUDIO_ERROR_ bits in *error (may be null). */
AUDIO_API bool AUDIOSIGNAL_SaveRegionsEx(AUDIOSIGNAL signal, const char *name, const char *format,
                                         int32_t trackIndex, uint32_t flags, uint32_t *error);

/* Writes every external track that changed back to its file. True when all
** writes succeeded (or none was needed). */
AUDIO_API bool AUDIOSIGNAL_SaveExternalRegions(AUDIOSIGNAL signal, uint32_t *error);

/* Saves the annotation tracks (not temporary, not deleted) as sidecars of
** the audio file `audioName`: "<audioName without its extension>.<track
** id>.<extension>", the extension of the track's file type (a track of type
** NONE is written as SRT and keeps type NONE), each with the format
** "<TYPE>[track=%s,linked=1]" (an existing sidecar is kept as "%s.bkp"
** first). When all were written, the sidecars of deleted tracks and those of
** a track in a format it no longer has are retired (renamed to "%s.bkp");
** when any failed, that is logged and none is retired. False when any
** failed. */
AUDIO_API bool AUDIOSIGNAL_SaveSrtSidecars(AUDIOSIGNAL signal, const char *audioName);

/* The same with a choice: `link` false writes them as copies (format
** "SRT[track=%s,linked=0]"), leaving the tracks bound to the files they had,
** for a copy of the audio saved under another name. */
AUDIO_API bool AUDIOSIGNAL_SaveSrtSidecarsEx(AUDIOSIGNAL signal, const char *audioName, bool link);

/* The extension of a sidecar of an annotation track of file type `type`,
** without the dot: "srt" (SRT and NONE), "vtt" (WEBVTT), "labels.txt"
** (LABELS); null for an unknown type. */
AUDIO_API const char *AUDIOCUSTOMTRACK_FileTypeExtension(int32_t type);

AUDIO_EXTERN_C_END

#endif
