/*
** tavotracks.h: annotation tracks of a document and track templates
** (the track members of TAVOAUDIO_).
**
** An annotation track is a custom track of the document's signal: a lane of
** regions of its own with a label, a file type, a font size, a number of
** text lines, two "use as default" flags, and optionally a link to another
** track whose properties it follows. Tracks are named by a unique id text.
** Track indices of this header count the annotation tracks that are not
** deleted, in track order, from 0 (the signal's own region track is not
** one of them).
**
** Rules of the track operations:
** - Every change that is saved with the document (add, delete, link,
**   unlink, rename, the default flags, font size, lines, file type) is one
**   undo step; undoing and redoing it restores the tracks and their regions
**   exactly. A value set to what it already is succeeds without a step.
** - They need an editable document whose signal is writable; they wait for
**   the document's write access.
** - A read-only track refuses every change of its properties, its deletion
**   and edits of its regions; its read-only flag itself can always be
**   cleared. Visibility is view state and can always change.
** - A hidden track can still be renamed, linked and changed, but its regions
**   are not editable (TAVOAUDIO_EditableCustomTrack).
** - The master track cannot be deleted while it is the master.
** - Deleting a track unlinks the tracks that followed it (undone with it).
** After a change the document sends TAVOAUDIO_CUSTOM_TRACKS_CHANGED (arg1:
** the track's id, or null when several changed) and notifies the regions
** change bit. Failures store a message as the document's last error.
**
** Track templates are JSON files ("format": "tavoaudio_track_template",
** "version": 1, "name", "description", "metadata", "tracks"); each template
** function reports why it failed into an optional error buffer (written
** with "%s" when `errorSize` >= 1) and returns 0.
**
** Threads: UI thread. Null or closed documents get 0, false or -1.
*/
#ifndef TAVOTRACKS_H
#define TAVOTRACKS_H

#include <stdbool.h>
#include <stdint.h>

#include "tavo_export.h"
#include "tavotypes.h"

TAVO_EXTERN_C_BEGIN

/* Flags of TAVOAUDIO_AddCustomTrackEx. */
#define TAVOTRACK_FLAG_TEMPORARY 0x1u   /* never saved as a sidecar file */
#define TAVOTRACK_FLAG_READ_ONLY 0x2u   /* refuses edits until the flag is cleared */
#define TAVOTRACK_FLAG_HIDDEN 0x4u      /* made hidden */

/* Longest master-track id kept by a document, terminator included. */
#define TAVOTRACK_MASTER_ID_SIZE 256

/* What TAVOAUDIO_GetTrackTemplateInfoJSON reads from a template. */
typedef struct TAVOTRACKTEMPLATEINFO {
    char name[256];
    char description[512];
    char author[256];       /* "metadata" / "author", "" when none */
    int32_t trackCount;
    uint32_t hasLinks;      /* 1 when any track entry has "linked_to" */
} TAVOTRACKTEMPLATEINFO;

/* How an annotation track is drawn, from the document's per-channel track
** configuration (colours are packed 32-bit values). */
typedef struct TAVOTRACKLOOK {
    uint32_t regionColor;
    uint32_t regionSelectedColor;
    uint32_t regionBorderColor;
    uint32_t regionTextColor;
    uint32_t fontColor;
    int32_t minHeight;      /* pixels */
    uint32_t drawOptions;   /* TAVODEFINES_DecodeCustomTrackDrawOption bits */
    int32_t slot;           /* the configuration entry used, 0-based */
} TAVOTRACKLOOK;

/* ---- track operations (each one undo step) ------------------------------ */

/* Adds an annotation track `uniqId` (null or "": a fresh "track_%d") with
** `label` (null: the id), linked to `linkedTo` (null or "": none; otherwise
** an existing track) and TAVOTRACK_FLAG_ bits; the undo step is labelled
** `undoLabel` (null: "Add Track"). The new track is the last one. An id of
** a deleted track brings that track back, empty (undo gives its regions
** back). 1 on success, 0 for an id in use, a bad link or a read-only signal. */
TAVO_API int32_t TAVOAUDIO_AddCustomTrackEx(TAVOAUDIO audio, const char *uniqId, const char *label,
                                            const char *linkedTo, uint32_t flags, const char *undoLabel);

/* Deletes the track (undo step "Delete Track"); its regions are kept for
** undo. A track holding regions first sends
** TAVOAUDIO_CONFIRM_DELETE_TRACK_WITH_REGIONS (arg1: the id, arg2: the
** region count as an integer in the pointer); a 0 answer refuses. 0 for a
** read-only or master track, an unknown id, or a refusal. */
TAVO_API int32_t TAVOAUDIO_RemoveCustomTrackEx(TAVOAUDIO audio, const char *uniqId);

/* Links the track to `linkedTo` (undo step "Link Track"). 0 for its own id,
** an unknown target or a link that would close a cycle. */
TAVO_API int32_t TAVOAUDIO_LinkCustomTrack(TAVOAUDIO audio, const char *uniqId, const char *linkedTo);

/* Removes the track's link (undo step "Unlink Track"). 0 when
** TAVOAUDIO_CanUnlinkCustomTrack says no. */
TAVO_API int32_t TAVOAUDIO_UnlinkCustomTrack(TAVOAUDIO audio, const char *uniqId);

/* Whether UnlinkCustomTrack would work: the track exists, is linked, is not
** read-only, and the document may be edited. */
TAVO_API bool TAVOAUDIO_CanUnlinkCustomTrack(TAVOAUDIO audio, const char *uniqId);

/* Adds the annotation track of audio channel `channel` (0-based): id
** "channel_%02d_track", label "Channel %d", both counting channels from 1;
** drawn with the document's track configuration of that channel (undo step
** "Add Track"). 1 without a step when it exists; 0 for a channel the signal
** lacks. */
TAVO_API int32_t TAVOAUDIO_CreateChannelAnnotationTrack(TAVOAUDIO audio, int32_t channel);

/* Adds the missing channel tracks of every channel of the signal as one undo
** step "Create Channels Annotation Tracks". 1 on success (also when all
** existed, then without a step); 0 adds none. */
TAVO_API int32_t TAVOAUDIO_CreateChannelsExtraTracks(TAVOAUDIO audio);

/* Renames the track (undo step "Rename Track"); hidden tracks too. 0 for a
** null or empty label or a read-only track. */
TAVO_API int32_t TAVOAUDIO_SetTrackLabelEx(TAVOAUDIO audio, const char *uniqId, const char *label);

/* Sets whether the track's properties are the global default (taking it
** clears it on every other track) and whether they are the default of the
** tracks linked to it. Undo step "Use Linked Properties" each. */
TAVO_API int32_t TAVOAUDIO_SetTrackAsGlobalDefault(TAVOAUDIO audio, const char *uniqId, bool use);
TAVO_API int32_t TAVOAUDIO_SetTrackUseAsLinkedDefault(TAVOAUDIO audio, const char *uniqId, bool use);

/* Font size in points (> 0, finite; undo step "Set Track Font Size"), number
** of text lines (>= 1; "Set Track Number of Lines"), file type
** (AUDIOCUSTOMTRACK_FILE_NONE .. _LABELS; "Set Track Format"). 0 for values
** out of range or a read-only track. */
TAVO_API int32_t TAVOAUDIO_SetTrackFontSize(TAVOAUDIO audio, const char *uniqId, float size);
TAVO_API int32_t TAVOAUDIO_SetTrackNumberOfLines(TAVOAUDIO audio, const char *uniqId, int32_t lines);
TAVO_API int32_t TAVOAUDIO_SetCustomTrackFileType(TAVOAUDIO audio, const char *uniqId, int32_t fileType);

/* ---- queries ------------------------------------------------------------ */
/* Read access is waited for. False, 0 or -1 for an unknown id. */

/* Number of annotation tracks that are not deleted. */
TAVO_API int32_t TAVOAUDIO_CountCustomTracks(TAVOAUDIO audio);

/* Whether an annotation track `uniqId` exists (not deleted). */
TAVO_API bool TAVOAUDIO_ContainsCustomTrack(TAVOAUDIO audio, const char *uniqId);

/* The index of the track (0 .. CountCustomTracks - 1), -1 when absent. */
TAVO_API int32_t TAVOAUDIO_FindCustomTrackIndex(TAVOAUDIO audio, const char *uniqId);

/* Copies the id of track `index` into `buffer` ("%s", cut to `size`). False
** for an index out of range, a null buffer or size < 1. */
TAVO_API bool TAVOAUDIO_GetCustomTrackUniqId(TAVOAUDIO audio, int32_t index, char *buffer, int32_t size);

/* The id of channel `channel`'s track (0-based channel of the signal),
** whether or not the track exists. False for a channel the signal lacks. */
TAVO_API bool TAVOAUDIO_GetChannelTrackUniqId(TAVOAUDIO audio, int32_t channel, char *buffer, int32_t size);

/* VisibleCustomTrack: the track's own visibility flag. IsCustomTrackVisible:
** whether it is shown, i.e. it and every track up its chain of links are
** visible. */
TAVO_API bool TAVOAUDIO_VisibleCustomTrack(TAVOAUDIO audio, const char *uniqId);
TAVO_API bool TAVOAUDIO_IsCustomTrackVisible(TAVOAUDIO audio, const char *uniqId);

/* What the user may do: rename (not read-only), remove (not read-only, not
** the master), edit the regions (not read-only and visible). All need an
** editable document with a writable signal. */
TAVO_API bool TAVOAUDIO_CanRenameCustomTrack(TAVOAUDIO audio, const char *uniqId);
TAVO_API bool TAVOAUDIO_CanRemoveCustomTrack(TAVOAUDIO audio, const char *uniqId);
TAVO_API bool TAVOAUDIO_EditableCustomTrack(TAVOAUDIO audio, const char *uniqId);

/* Whether the track is linked to a region file of its own. */
TAVO_API bool TAVOAUDIO_ExternalCustomTrack(TAVOAUDIO audio, const char *uniqId);

/* Shows or hides the track (view state, no undo step). Sends
** TAVOAUDIO_TRACK_VISIBILITY_WILL_CHANGE (arg1: the id, arg2: 1 to show, 0
** to hide, as an integer in the pointer) first; hiding closes the focus and
** the label editor of a region of the track. True when already so. */
TAVO_API bool TAVOAUDIO_ShowCustomTrack(TAVOAUDIO audio, const char *uniqId);
TAVO_API bool TAVOAUDIO_HideCustomTrack(TAVOAUDIO audio, const char *uniqId);

/* Copies the track's label / the id of the track it is linked to ("" when
** it is not linked) into `buffer` ("%s", cut to `size`). False for an
** unknown id, a null buffer or size < 1. */
TAVO_API bool TAVOAUDIO_GetTrackLabel(TAVOAUDIO audio, const char *uniqId, char *buffer, int32_t size);
TAVO_API bool TAVOAUDIO_GetTrackLinkedTo(TAVOAUDIO audio, const char *uniqId, char *buffer, int32_t size);

/* The track's properties; font size 0 and lines 0 for an unknown id. */
TAVO_API bool TAVOAUDIO_GetTrackUseAsGlobalDefault(TAVOAUDIO audio, const char *uniqId);
TAVO_API bool TAVOAUDIO_GetTrackUseAsLinkedDefault(TAVOAUDIO audio, const char *uniqId);
TAVO_API float TAVOAUDIO_GetTrackFontSize(TAVOAUDIO audio, const char *uniqId);
TAVO_API int32_t TAVOAUDIO_GetTrackNumberOfLines(TAVOAUDIO audio, const char *uniqId);

/* Temporary and read-only flags (view state, no undo step; the setters work
** on a read-only track too and on documents that are not editable). */
TAVO_API bool TAVOAUDIO_CustomTrackIsTemporary(TAVOAUDIO audio, const char *uniqId);
TAVO_API bool TAVOAUDIO_SetCustomTrackTemporary(TAVOAUDIO audio, const char *uniqId, bool temporary);
TAVO_API bool TAVOAUDIO_CustomTrackReadOnly(TAVOAUDIO audio, const char *uniqId);
TAVO_API bool TAVOAUDIO_SetCustomTrackReadOnly(TAVOAUDIO audio, const char *uniqId, bool readOnly);

/* Fills `look` for the track: a channel track, or a track linked (up its
** chain) to one, uses the configuration entry of that channel (the entry
** whose audio channel it is, else the entry of the same number); any other
** track the entry of its index. False for an unknown id or a null `look`. */
TAVO_API bool TAVOAUDIO_GetCustomTrackLook(TAVOAUDIO audio, const char *uniqId, TAVOTRACKLOOK *look);

/* ---- master track ------------------------------------------------------- */

/* The master track's id into `buffer` ("%s", cut to `size`); false when no
** existing track is the master (a master that was deleted counts as none). */
TAVO_API bool TAVOAUDIO_GetMasterTrackUniqId(TAVOAUDIO audio, char *buffer, int32_t size);

/* Makes `uniqId` (an existing track, id shorter than
** TAVOTRACK_MASTER_ID_SIZE) the master; null or "" clears it. No undo step. */
TAVO_API bool TAVOAUDIO_SetMasterTrackUniqId(TAVOAUDIO audio, const char *uniqId);

/* Whether `uniqId` names the master track. */
TAVO_API bool TAVOAUDIO_IsMasterTrackUniqId(TAVOAUDIO audio, const char *uniqId);

/* ---- track templates ---------------------------------------------------- */

/* Reads and checks the template file. 1 when valid. */
TAVO_API int32_t TAVOAUDIO_ValidateTrackTemplateJSON(const char *fileName, char *error, int32_t errorSize);

/* Writes the "name" of a valid template into `name` ("%s", cut to
** `nameSize`). 0 for an invalid template, a null `name` or nameSize < 1. */
TAVO_API int32_t TAVOAUDIO_GetTrackTemplateNameJSON(const char *fileName, char *name, int32_t nameSize, char *error,
                                                    int32_t errorSize);

/* Zeroes `info`, then fills it from a valid template. 0 for an invalid one
** or a null `info`. */
TAVO_API int32_t TAVOAUDIO_GetTrackTemplateInfoJSON(const char *fileName, TAVOTRACKTEMPLATEINFO *info, char *error,
                                                    int32_t errorSize);

/* Adds the template's tracks, in template order, as one undo step "Add
** Tracks from Template". Each template id becomes "<id>_<n>" with the
** smallest n >= 1 that no track of the document (deleted ones included)
** uses, and links are resolved to those ids. Label, file type, font size,
** number of lines and the default flag are taken; values the track cannot
** take (an unknown file type, a size <= 0, lines < 1) leave its default.
** All or nothing: on failure no track is added. */
TAVO_API int32_t TAVOAUDIO_ApplyTrackTemplateJSON(TAVOAUDIO audio, const char *fileName, char *error,
                                                  int32_t errorSize);

/* Writes the document's annotation tracks as a template: name (null: "Track
** Template"), description (null: "Track Description"), metadata with
** "created_with" and `author` (when not null or ""). Tracks come in track
** order, except that a track linked to a later one follows it, so that
** every link points backwards; "default": true marks the global default.
** The file is replaced whole or not at all. Read access is waited for. */
TAVO_API int32_t TAVOAUDIO_SaveTrackTemplateJSON(TAVOAUDIO audio, const char *fileName, const char *name,
                                                 const char *description, const char *author, char *error,
                                                 int32_t errorSize);

TAVO_EXTERN_C_END

#endif
