/*
** tavoproc.h: long operations of a document and the process-wide registry
** of running operations (TAVOAUDIO_Process*, TAVOPROC_).
**
** Each document shows one long operation (saving, a format change, an
** effect of libaudiosig): running or not, progress 0..1 or -1 (unknown), a
** cancel request, a label, a state label and times. The host reads it and
** asks for cancellation; workers report progress and stop when a report
** answers false. The registry maps libaudiosig's operation identifiers to
** documents so that its notifications, sent from its own threads, reach
** the right document.
**
** Every function here is thread-safe. Events 1152 (started), 1153
** (finished), 1154 (cancelled) and 1155 (cancel requested) are sent with
** BLNOTIFY_SendEvent (the process-wide default handlers, source: the
** document, identifier: the operation's), with no lock held.
*/
#ifndef TAVOPROC_H
#define TAVOPROC_H

#include <stdbool.h>
#include <stdint.h>

#include "tavo_export.h"
#include "tavotypes.h"

TAVO_EXTERN_C_BEGIN

/* ---- the registry ------------------------------------------------------ */

/* Makes the registry and installs the default handler that follows
** libaudiosig's notifications; false when already made or out of memory.
** Called by library start (TAVO_Initialize). */
TAVO_API bool TAVOPROC_Initialize(void);

/* Removes the default handler and frees the registry; false when there was
** none. Called by library stop. */
TAVO_API bool TAVOPROC_Finalize(void);

/* The document registered for an operation identifier, or null. The
** handle may be closed meanwhile: check it with TAVOAUDIO_IsValid. */
TAVO_API TAVOAUDIO TAVOPROC_FindAudio(int64_t identifier);

/* Asks the document registered for `identifier` to cancel (see
** TAVOAUDIO_ProcessCancel); false when none is registered. */
TAVO_API bool TAVOPROC_CancelOperation(int64_t identifier);

/* Marks every operation of the document as belonging to a closed
** document; true (false for null). */
TAVO_API bool TAVOPROC_AudioClosed(TAVOAUDIO audio);

/* Forgets every operation of the document (called while it is torn down)
** and logs how many were dropped; true (false for null). The handle is
** only compared, never read. */
TAVO_API bool TAVOPROC_AudioDestroyed(TAVOAUDIO audio);

/* Logs the registered operations, each line starting "TAVOPROC [tag]". */
TAVO_API bool TAVOPROC_LogActiveOperations(const char *tag);

/* ---- starting and finishing -------------------------------------------- */

/* Starts the document's operation with identifier 0 (ProcessStartEx: the
** given libaudiosig identifier) and sends 1152. False for an invalid
** document or when a running operation has a cancel pending. A cancel asked
** by a handler of 1152 is dropped; `resetProgress` sets progress to -1. */
TAVO_API bool TAVOAUDIO_ProcessStart(TAVOAUDIO audio, bool resetProgress);
TAVO_API bool TAVOAUDIO_ProcessStartEx(TAVOAUDIO audio, bool resetProgress, int64_t identifier);

/* A start reported by libaudiosig: as ProcessStartEx without touching the
** progress. */
TAVO_API bool TAVOAUDIO_ProcessStarted(TAVOAUDIO audio, int64_t identifier);

/* Ends the running operation and sends 1153, or 1154 when `cancelled`.
** ProcessWasCanceled then stays true until the next start when the
** operation was cancelled. False for an invalid document. */
TAVO_API bool TAVOAUDIO_ProcessFinish(TAVOAUDIO audio, bool cancelled);
TAVO_API bool TAVOAUDIO_ProcessFinished(TAVOAUDIO audio, bool cancelled);

/* ---- progress and cancellation ----------------------------------------- */

/* Stores the progress (below 0: -1, unknown; above 1: 1). Returns false
** when a cancel was asked for, which it consumes: the worker must stop.
** False for an invalid document. Any thread. */
TAVO_API bool TAVOAUDIO_ProcessUpdateProgress(TAVOAUDIO audio, double value);
TAVO_API bool TAVOAUDIO_SetProcessProgress(TAVOAUDIO audio, double value);

/* The stored progress; 0 for an invalid document. */
TAVO_API double TAVOAUDIO_ProcessProgress(TAVOAUDIO audio);

/* Asks the running operation to stop at its next progress report; sends
** 1155 when libaudiosig runs it. False for an invalid document. */
TAVO_API bool TAVOAUDIO_ProcessCancel(TAVOAUDIO audio);

/* True while an operation runs or an edit access is held. */
TAVO_API bool TAVOAUDIO_ProcessInProgress(TAVOAUDIO audio);

/* True when the last operation was cancelled or a cancel is pending. */
TAVO_API bool TAVOAUDIO_ProcessWasCanceled(TAVOAUDIO audio);

/* ---- labels and times -------------------------------------------------- */

/* Replace the label (and the second, changing state label) shown with the
** operation; the text is copied, null clears it. Setting the label while
** no operation runs restarts the clock. False for an invalid document. */
TAVO_API bool TAVOAUDIO_SetProcessLabel(TAVOAUDIO audio, const char *label);
TAVO_API bool TAVOAUDIO_SetProcessStateLabel(TAVOAUDIO audio, const char *label);

/* Copy the label into `buffer` (cut to `size` bytes, terminated). False,
** with "" in the buffer when it has room, for an invalid document, a null
** buffer, size <= 0 or no label. */
TAVO_API bool TAVOAUDIO_ProcessLabel(TAVOAUDIO audio, char *buffer, int32_t size);
TAVO_API bool TAVOAUDIO_ProcessStateLabel(TAVOAUDIO audio, char *buffer, int32_t size);

/* Milliseconds since the outermost running operation started; -1 for an
** invalid document. */
TAVO_API int32_t TAVOAUDIO_ProcessTime(TAVOAUDIO audio);

/* Smoothed estimate of the milliseconds left; -1 while unknown (in the
** first half second, below 1% progress) and for an invalid document. */
TAVO_API int32_t TAVOAUDIO_ProcessRemainingTime(TAVOAUDIO audio);

/* Blocks until no playback or recording pipe uses the document's signal;
** returns the wait's answer, false when the document has no signal or
** cannot be read. Never call it from the thread that closes the pipe. */
TAVO_API bool TAVOAUDIO_WaitUntilPipeClose(TAVOAUDIO audio);

TAVO_EXTERN_C_END

#endif
