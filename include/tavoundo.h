/*
** tavoundo.h: undo scripts and the document's undo history (TAVOUNDO_, the
** undo members of TAVOAUDIO_, TAVOtranslate).
**
** An undo script is one step the user can take back: a label (stored
** translated), a frozen copy of the view state as it was before the step and
** a list of inverse operations, run newest first. Each script owns a memory
** pool of its own ("UNDO SCRIPT Memory"). A script belongs to whoever made
** it until TAVOUNDO_PushUndoScript takes it; the document's stack then owns
** it. Undoing a step builds the matching redo step from the inverses.
**
** Threads: UI thread. The TAVOUNDO_ functions that take a document do no
** locking of their own: call them with the document's write (edit) access
** held, as every edit operation does. The TAVOAUDIO_ functions of this
** header take the document's locks themselves and send their events with no
** lock held.
*/
#ifndef TAVOUNDO_H
#define TAVOUNDO_H

#include <stdbool.h>
#include <stdint.h>

#include "audioregion.h"
#include "audiosignal.h"
#include "tavo_export.h"
#include "tavotypes.h"

TAVO_EXTERN_C_BEGIN

/* Longest label, terminator included. */
#define TAVOUNDO_LABEL_SIZE 256

/* Flag of TAVOAUDIO_UndoEx: take the step back without building a redo step. */
#define TAVOUNDO_FLAG_NO_REDO 0x100u

/* What TAVOAUDIO_CreateUndoEx records besides the view state. */
#define TAVOUNDO_RECORD_AUDIO 0x1u      /* the samples (block lists) */
#define TAVOUNDO_RECORD_REGIONS 0x2u    /* every region of every track */
#define TAVOUNDO_RECORD_METADATA 0x4u   /* the metadata */
#define TAVOUNDO_RECORD_TRACKS 0x8u     /* every region track (labels, flags, regions) */

/* One sample written back by a samples operation: 16 bytes of position
** (channel, frame) and the 8-byte value as AUDIOSIGNAL_GetSample reads it. */
typedef struct TAVOUNDOSAMPLE {
    int64_t channel;
    int64_t frame;
    double value;
} TAVOUNDOSAMPLE;

/* ---- translation ----------------------------------------------------------- */

/* Looks `text` up in the host's Qt translation catalogues (context "QObject")
** and writes the translation, or `text` itself when there is none, into
** `buffer` (terminated, cut to size - 1 bytes). Returns the number of bytes
** written without the terminator; 0 for a null text or buffer or size < 1.
** Any thread. */
TAVO_API int32_t TAVOtranslate(const char *text, char *buffer, int32_t size);

/* ---- scripts --------------------------------------------------------------- */

/* The document's pending group when one is open (every step of a group lands
** in it). Otherwise a new script labelled with the translated `label` (null:
** "Undefined") holding a frozen copy of `state`; for a document with a signal
** it starts with an operation that puts back the signal's time records. A
** null document gives a script without operations. Null without a state. The
** caller owns the new script until it pushes it. */
TAVO_API TAVOUNDOSCRIPT TAVOUNDO_CreateUndoScript(TAVOAUDIO audio, const char *label, TAVOSTATE state);

/* Replaces the script's label with at most 255 bytes of `label` (not
** translated). False for a null script or label. */
TAVO_API bool TAVOUNDO_ChangeUndoLabel(TAVOUNDOSCRIPT script, const char *label);

/* The script's label (the script's text, valid while it lives); null for null. */
TAVO_API const char *TAVOUNDO_GetUndoLabel(TAVOUNDOSCRIPT script);

/* Number of operations of the script; 0 for null. */
TAVO_API uint32_t TAVOUNDO_CountOperations(TAVOUNDOSCRIPT script);

/* Releases what the operations hold (signals, states, copies) and the
** script's pool. A script the document's stack holds, or its pending group,
** must not be destroyed this way. False for a null script. */
TAVO_API bool TAVOUNDO_DestroyUndoScript(TAVOAUDIO audio, TAVOUNDOSCRIPT script);

/* Runs the operations from the newest to the oldest on the document (does
** not touch the view state). False when the document has no signal or an
** operation failed (the later ones still run). Call with write access held. */
TAVO_API bool TAVOUNDO_ExecuteUndoScript(TAVOAUDIO audio, TAVOUNDOSCRIPT script);

/* Pushes the script onto the document's undo stack (made at the first push,
** capacity "libtavo.editoptions.undo_stack_size" clamped to 4..512, default
** 128; a full stack drops its oldest step) after destroying every redo step,
** and sends TAVOAUDIO_UNDOSTACKCHANGED. A script without operations is
** destroyed and false returned. The pending group itself: true, nothing done.
** On success the stack owns the script. */
TAVO_API bool TAVOUNDO_PushUndoScript(TAVOAUDIO audio, TAVOUNDOSCRIPT script);

/* Takes the newest undo step off the stack (the caller owns it) and sends
** TAVOAUDIO_UNDOSTACKCHANGED. Null when there is none. */
TAVO_API TAVOUNDOSCRIPT TAVOUNDO_PopUndoScript(TAVOAUDIO audio);

/* The newest undo step, still owned by the stack; null when none. */
TAVO_API TAVOUNDOSCRIPT TAVOUNDO_NextUndoScript(TAVOAUDIO audio);

/* Number of undo and redo steps held; 0 without a stack. */
TAVO_API int32_t TAVOUNDO_CountUndoScripts(TAVOAUDIO audio);
TAVO_API int32_t TAVOUNDO_CountRedoScripts(TAVOAUDIO audio);

/* The capacity of the document's stack, 0 while it has none. */
TAVO_API int32_t TAVOUNDO_StackCapacity(TAVOAUDIO audio);

/* Bytes held by all undo and redo steps (their pools and the signals only
** they keep alive). 0 without a stack. */
TAVO_API uint64_t TAVOUNDO_SizeInMemory(TAVOAUDIO audio);

/* Drops what the steps can rebuild (read caches of the signals they hold).
** False without a stack. */
TAVO_API bool TAVOUNDO_FreeMemory(TAVOAUDIO audio);

/* Destroys every step, the pending group and the stack. True also when
** there was none; false for a null document. */
TAVO_API bool TAVOUNDO_DestroyStack(TAVOAUDIO audio);

/* ---- operations ------------------------------------------------------------ */
/* Each adds one operation in front of the script's list and returns false
** (adding nothing) for a null script or a null required argument. Handles
** given are referenced or copied: the caller keeps its own. */

/* A step that only restores the view state. */
TAVO_API bool TAVOUNDO_AddNoAction(TAVOUNDOSCRIPT script);

/* Saves the signal's samples (block lists, no sample copied); running it
** puts them back. */
TAVO_API bool TAVOUNDO_AddRevertAudioBlocks(TAVOUNDOSCRIPT script, AUDIOSIGNAL signal);

/* Keeps a copy of `region`; running it gives the region the copy's contents
** again (AUDIOSIGNAL_ReplaceRegionEx with `flags`). */
TAVO_API bool TAVOUNDO_AddRevertRegion(TAVOUNDOSCRIPT script, AUDIOREGION region, uint32_t flags);

/* Running it takes the created region(s) out of the signal for good. */
TAVO_API bool TAVOUNDO_AddRevertCreateRegion(TAVOUNDOSCRIPT script, AUDIOREGION region);
TAVO_API bool TAVOUNDO_AddRevertCreateRegions(TAVOUNDOSCRIPT script, const AUDIOREGION *regions, int32_t count);

/* Copies of every region (of every track, or of track `trackIndex`);
** running it replaces the regions that differ, puts back the missing ones
** and deletes the extra ones. */
TAVO_API bool TAVOUNDO_AddRevertAllRegions(TAVOUNDOSCRIPT script, AUDIOSIGNAL signal);
TAVO_API bool TAVOUNDO_AddRevertAllTrackRegions(TAVOUNDOSCRIPT script, AUDIOSIGNAL signal, int32_t trackIndex);

/* Keeps a reference to the whole `signal`; running it makes it the
** document's signal again (the replaced one is destroyed). */
TAVO_API bool TAVOUNDO_ReplaceSignal(TAVOUNDOSCRIPT script, AUDIOSIGNAL signal);

/* Running it sets the rate back to `rate` (TAVOAUDIO_SetSampleRateEx
** semantics, without recording). False for a rate below 1. */
TAVO_API bool TAVOUNDO_AddSetSampleRate(TAVOUNDOSCRIPT script, uint32_t rate);

/* Running it swaps channels 0 and 1. */
TAVO_API bool TAVOUNDO_AddSwapChannels(TAVOUNDOSCRIPT script);

/* A duplicate of the signal's metadata (none when it has none); running it
** replaces the metadata by it (or removes it). */
TAVO_API bool TAVOUNDO_AddRevertMetaData(TAVOUNDOSCRIPT script, AUDIOSIGNAL signal);

/* A copy of region track `index` (label, flags, regions); running it puts
** the track back. AddRevertTracks takes `count` indices, AddRevertAllTracks
** every track, AddRevertAllLinkedTracks every annotation track linked to
** another (each one operation per track). */
TAVO_API bool TAVOUNDO_AddRevertTrack(TAVOUNDOSCRIPT script, AUDIOSIGNAL signal, int32_t index);
TAVO_API bool TAVOUNDO_AddRevertTracks(TAVOUNDOSCRIPT script, AUDIOSIGNAL signal, const int32_t *indices,
                                       int32_t count);
TAVO_API bool TAVOUNDO_AddRevertAllTracks(TAVOUNDOSCRIPT script, AUDIOSIGNAL signal);
TAVO_API bool TAVOUNDO_AddRevertAllLinkedTracks(TAVOUNDOSCRIPT script, AUDIOSIGNAL signal);

/* Running it takes back the creation of the annotation track `uniqId`. */
TAVO_API bool TAVOUNDO_AddRevertCreateTrack(TAVOUNDOSCRIPT script, const char *uniqId);

/* Running it sets the document's timecode back to `timecode`. */
TAVO_API bool TAVOUNDO_AddRevertTimecode(TAVOUNDOSCRIPT script, int64_t timecode);

/* Copies `count` samples; running it writes each back. False for count 0. */
TAVO_API bool TAVOUNDO_AddRevertSamples(TAVOUNDOSCRIPT script, uint32_t count, const TAVOUNDOSAMPLE *samples);

/* ---- document level -------------------------------------------------------- */

/* Takes back the newest step: waits for the playback pipe, asks the host
** (TAVOAUDIO_PASTSAVED_UNDO, a 0 answer cancels) when the step goes back
** past the saved version, runs the step under write access, restores channel
** mask, view state and zoom, builds a redo step (unless
** TAVOUNDO_FLAG_NO_REDO), then sends TAVOAUDIO_UNDOSTACKCHANGED,
** TAVOAUDIO_WASUNDONE, the change notification and TAVOAUDIO_WAS_CHANGED.
** False without a step, on a veto or for a null document. */
TAVO_API bool TAVOAUDIO_UndoEx(TAVOAUDIO audio, uint32_t flags);

/* Does the newest undone step again, building its undo step; the same
** events as TAVOAUDIO_UndoEx. False without a redo step. */
TAVO_API bool TAVOAUDIO_Redo(TAVOAUDIO audio);

/* Copy the newest undo / redo label into `buffer` ("%s", cut to `size`).
** Read access is tried once: false when busy, without a stack or a step.
** True with a null buffer or size 0 (nothing written). */
TAVO_API bool TAVOAUDIO_NextUndoLabel(TAVOAUDIO audio, char *buffer, int32_t size);
TAVO_API bool TAVOAUDIO_NextRedoLabel(TAVOAUDIO audio, char *buffer, int32_t size);

/* Relabels the newest undo step (at most 255 bytes) under write access and
** sends TAVOAUDIO_UNDOSTACKCHANGED. False without a step. */
TAVO_API bool TAVOAUDIO_SetNextUndoLabel(TAVOAUDIO audio, const char *label);

/* Records the current view and selections as a step (label null:
** "Undefined"). Only for an editable document. */
TAVO_API bool TAVOAUDIO_CreateUndo(TAVOAUDIO audio, const char *label);

/* As TAVOAUDIO_CreateUndo, recording also what `what` names
** (TAVOUNDO_RECORD_ bits). */
TAVO_API bool TAVOAUDIO_CreateUndoEx(TAVOAUDIO audio, const char *label, uint32_t what);

/* As TAVOAUDIO_CreateUndo, recording also the whole signal (a duplicate
** sharing its samples), so that any later change of it can be taken back. */
TAVO_API bool TAVOAUDIO_CreateSignalUndo(TAVOAUDIO audio, const char *label);

/* Opens a group: until it is pushed or cancelled, every step made on the
** document lands in one script labelled `label` (null: "Undefined"). False
** when a group is already open. */
TAVO_API bool TAVOAUDIO_BeginUndoableOperation(TAVOAUDIO audio, const char *label);

/* Closes the group and pushes it as one step; notifies. False when no group
** is open or the group recorded nothing. */
TAVO_API bool TAVOAUDIO_PushUndoableOperation(TAVOAUDIO audio);

/* Closes the group and takes back everything it recorded. False when no
** group is open or running it failed. */
TAVO_API bool TAVOAUDIO_CancelUndoableOperation(TAVOAUDIO audio);

/* A group is open. */
TAVO_API bool TAVOAUDIO_HasUndoableOperation(TAVOAUDIO audio);

/* A copy of the document's view state, owned by the caller (destroy it with
** TAVOSTATE_Destroy, or give it to TAVOAUDIO_RestoreState). Null for null. */
TAVO_API TAVOSTATE TAVOAUDIO_SaveState(TAVOAUDIO audio);

/* Assigns `copy` to the document's view state and destroys the copy. True
** only when both succeed. */
TAVO_API bool TAVOAUDIO_RestoreState(TAVOAUDIO audio, TAVOSTATE copy);

/* Destroys the document's undo history (write access taken, waiting). */
TAVO_API bool TAVOAUDIO_DestroyUndoStack(TAVOAUDIO audio);

/* Whether undoing past the saved version asks the host first: true unless
** the setting "libtavo.editoptions.confirm_undo_past_saved" is false.
** False for a null document. */
TAVO_API bool TAVOAUDIO_UndoCheckPastSaved(TAVOAUDIO audio);

/* ---- rate and timecode ----------------------------------------------------- */

/* Relabels the signal's sample rate without resampling; the selections keep
** their frames. flags bit 0: record an undo step "Change Sample Rate" and
** notify. False for a rate below 1, a null document, no signal, a busy or
** read-only document. Takes edit access. */
TAVO_API bool TAVOAUDIO_SetSampleRateEx(TAVOAUDIO audio, int32_t rate, uint32_t flags);

/* The document's timecode: the frame count of the signal's start from
** midnight, kept in the signal's metadata (integer field "TIMECODE"), so it
** is saved and undone with it. Get: 0 when none was set, -1 for a null
** document or one without signal. Set records an undo step "Change Timecode"
** and notifies; false for a negative value or a read-only signal. */
TAVO_API int64_t TAVOAUDIO_GetTimecode(TAVOAUDIO audio);
TAVO_API bool TAVOAUDIO_SetTimecode(TAVOAUDIO audio, int64_t timecode);

TAVO_EXTERN_C_END

#endif
