/*
** tavoaudio.h: the audio document of libtavo (TAVOAUDIO_ lifecycle,
** properties, access, opening and saving; last error and memory).
**
** A TAVOAUDIO is one open sound: a libaudiosig signal with its view state,
** undo history, renderer, event dispatcher, file name and format, stamps and
** last error. The host makes documents with TAVOAUDIO_New,
** TAVOAUDIO_NewFromSignalEx or TAVOAUDIO_OpenEx and ends each with
** TAVOAUDIO_Close; documents still open when the base library finalises are
** closed through its object registry.
**
** Every function takes the document first and answers false, 0 or null for
** a null or closed handle. Failures store a code in the document's last
** error (TAVOAUDIO_GetLastError).
**
** Threads: documents belong to the host's UI thread. The access functions
** may be called from any thread; a thread that holds the write lock may take
** it again. Events are sent on the calling thread, after the document's
** locks are released.
*/
#ifndef TAVOAUDIO_H
#define TAVOAUDIO_H

#include <stdbool.h>
#include <stdint.h>

#include "audiosignal.h"
#include "tavo_export.h"
#include "tavotypes.h"

TAVO_EXTERN_C_BEGIN

/* Flags of TAVOAUDIO_SaveAsEx and TAVOAUDIO_SaveEx. */
#define TAVOAUDIO_SAVE_KEEP_ORIGINAL 0x20 /* the replaced file stays as "<name>.bak" */
#define TAVOAUDIO_SAVE_COPY 0x40          /* write the file; the document keeps its name and state */

/* Flags of TAVOAUDIO_RenameEx. */
#define TAVOAUDIO_RENAME_NAME_ONLY 0x1 /* the host moved the file already: rename the document only */

/* Flags of TAVOAUDIO_OpenEx and TAVOAUDIO_OpenLinkEx. */
#define TAVOAUDIO_OPEN_NO_RECENT 0x1 /* no TAVODATABASE_UPDATE_RECENT_FILENAME event */

/* ---- creation and closing ------------------------------------------------ */

/* A new document with an empty signal of `format` ("AUTO[sr=44100,nc=2]").
** It counts as unchanged and is named "empty" (the first of the process) or
** "untitled #N". Null for a malformed format. The caller closes it. UI thread. */
TAVO_API TAVOAUDIO TAVOAUDIO_New(const char *format);

/* A new document holding `signal`: a duplicate when `copy`, else the
** signal itself, which the document owns from then on. Null for a null
** signal or a failed duplicate or allocation; the caller then keeps its
** signal. `flags` go to AUDIOSIGNAL_DuplicateEx; bit 27 marks the document.
** The document counts as changed. UI thread. */
TAVO_API TAVOAUDIO TAVOAUDIO_NewFromSignalEx(AUDIOSIGNAL signal, bool copy, uint32_t flags);

/* Closes the document and frees everything it holds. When the host must be
** asked first (file-state flag 0x2), TAVOAUDIO_CLOSE_CHANGED_FILE goes out
** and only an answer of exactly 1 lets the close go on; otherwise false and
** the document stays open. True for a close that was already under way. */
TAVO_API bool TAVOAUDIO_Close(TAVOAUDIO audio);

/* Mode 0: TAVOAUDIO_Close. Mode 1: drops the audio of a document that has a
** file of its own and nothing to ask about, keeping it as a link to its
** file; it answers false even when it did so. Any other mode: false. */
TAVO_API bool TAVOAUDIO_CloseEx(TAVOAUDIO audio, int32_t mode);

/* ---- opening ------------------------------------------------------------- */

/* Opens a file ("AUTO" detects its format; a name forces one) into a new
** document that counts as unchanged. Null for null arguments or when the
** file cannot be opened (the half-made document is closed). UI thread. */
TAVO_API TAVOAUDIO TAVOAUDIO_OpenEx(const char *fileName, const char *format, uint32_t openFlags);

/* Reads the audio of a document that is a link (made by TAVOAUDIO_CloseEx
** mode 1 or a failed resolve). `parent` null: the document receives the
** signal's notifications. False for a document with audio or that is no
** link, or when the file cannot be read (last error set; it stays a link). */
TAVO_API bool TAVOAUDIO_OpenLinkEx(TAVOAUDIO audio, void *parent, uint32_t openFlags);

/* Makes an unresolved link of a document without audio name `fileName`
** (canonical form) in `format`. False when the document has audio, is no
** unresolved link or is not editable. */
TAVO_API bool TAVOAUDIO_Link(TAVOAUDIO audio, const char *fileName, const char *format);

/* Whether TAVOAUDIO_OpenEx would open the file (its header is checked).
** No document needed; on failure the library's error code goes to *error
** when `error` is not null. */
TAVO_API bool TAVOAUDIO_CanOpenEx(const char *fileName, const char *format, uint32_t *error);

/* The format and length in frames (either output may be null) of a file,
** from its header. False with the library's error code in *error. */
TAVO_API bool TAVOAUDIO_ProbeFileEx(const char *fileName, const char *format, AUDIO_FORMAT *formatOut,
                                    int64_t *framesOut, uint32_t *error);

/* ---- saving, reverting, renaming ---------------------------------------- */

/* Saves a document that has a file of its own back to it, rewriting only
** what changed (external region files, tags in place, or the whole file).
** False without a file of its own, without audio, for a read-only format,
** or when writing failed (the old file stays as it was). When only regions
** changed and their files cannot be written, false after one
** TAVOAUDIO_SAVE_EXTERNAL_REGION_FAIL, the audio file untouched and the
** document still changed. UI thread. */
TAVO_API bool TAVOAUDIO_SaveEx(TAVOAUDIO audio, uint32_t flags);

/* Writes the document to `fileName` in `format` (null: "FROM_FORMAT", the
** signal's own). The file is written beside the target and renamed over
** it, so a failure (false, last error set) leaves any old file as it was.
** On success the file becomes the document's own, unless TAVOAUDIO_SAVE_COPY. */
TAVO_API bool TAVOAUDIO_SaveAsEx(TAVOAUDIO audio, const char *fileName, const char *format, uint32_t flags);

/* Reads the document's file again and drops every unsaved change and the
** undo history. False for a document without a file of its own or when the
** file cannot be read (last error set; the document stays as it was). */
TAVO_API bool TAVOAUDIO_RevertToSaved(TAVOAUDIO audio);

/* Renames the document's file on disk to `newName` (never over an existing
** file) and the document with it; with TAVOAUDIO_RENAME_NAME_ONLY, or for a
** document without a file of its own, only the document's name changes.
** Sends TAVODATABASE_RENAME_AUDIO and TAVODATABASE_RENAME_RECENT_FILENAME. */
TAVO_API bool TAVOAUDIO_RenameEx(TAVOAUDIO audio, const char *newName, uint32_t flags);

/* ---- changes on disk by others -------------------------------------------- */

/* True when the document's file on disk is no longer the one it loaded or
** saved last (another modification time or size, or gone). False for a
** document without a file of its own. */
TAVO_API bool TAVOAUDIO_FileChangedExternally(TAVOAUDIO audio);

/* Takes the file as it is now on disk as the document's file (its time and
** size), after the host decided to keep the document's contents. */
TAVO_API bool TAVOAUDIO_AcceptExternalChange(TAVOAUDIO audio);

/* Writes "AudioLoadStamp: %s / AudioFileStamp: %s / AudioChangeStamp: %s\n"
** into `buffer` (terminated, cut to `size`): the file time at the last load
** or save, the file time on disk now (UTC), and the change stamp. False for
** a null buffer or a size below 1. */
TAVO_API bool TAVOAUDIO_GetExternalChangeStamps(TAVOAUDIO audio, char *buffer, int32_t size);

/* ---- properties ---------------------------------------------------------- */

/* True only for a live document whose state is valid. Any thread. */
TAVO_API bool TAVOAUDIO_IsValid(TAVOAUDIO audio);

/* A signal is attached and the document is not a link. */
TAVO_API bool TAVOAUDIO_IsOpen(TAVOAUDIO audio);
/* File-state flags: a link (0x10), an unresolved link (0x8), recovered (0x400). */
TAVO_API bool TAVOAUDIO_IsLink(TAVOAUDIO audio);
TAVO_API bool TAVOAUDIO_IsUnresolvedLink(TAVOAUDIO audio);
TAVO_API bool TAVOAUDIO_IsRecovered(TAVOAUDIO audio);
/* The document may be edited (its "editable" option). */
TAVO_API bool TAVOAUDIO_IsEditable(TAVOAUDIO audio);

/* The document's texts, owned by the document and valid until the next
** change of that text or the close: its file name (or "empty"/"untitled #N"),
** the name to show (the file-name part of the signal's label when opened),
** and its file-format text. Null for a dead handle. */
TAVO_API const char *TAVOAUDIO_GetFileName(TAVOAUDIO audio);
TAVO_API const char *TAVOAUDIO_GetDisplayName(TAVOAUDIO audio);
TAVO_API const char *TAVOAUDIO_GetFileFormatString(TAVOAUDIO audio);

/* Sets the document's file name (cut to 2047 bytes) and file kind, and sends
** TAVOAUDIO_FILENAME_CHANGED with the name and the kind. False for null. */
TAVO_API bool TAVOAUDIO_SetRealFileName(TAVOAUDIO audio, const char *fileName);

/* Sets the file-format text (cut to 4095 bytes); with a signal attached, a
** format that cannot be written makes the signal read-only (file-state
** flag 0x100) and a writable one clears that flag. False for null. */
TAVO_API bool TAVOAUDIO_SetFileFormat(TAVOAUDIO audio, const char *format);

/* Marks the document as changed (not matching its file) and notifies;
** ResetEx with bit 0x40 also marks it recovered. A link without audio is
** marked for the next resolve. False for a document without audio that is
** no link. */
TAVO_API bool TAVOAUDIO_Reset(TAVOAUDIO audio);
TAVO_API bool TAVOAUDIO_ResetEx(TAVOAUDIO audio, uint32_t flags);

/* ---- signal and stamps --------------------------------------------------- */

/* The document's signal, borrowed (valid while the document holds it; take
** a reference with AUDIOSIGNAL_GetReference to keep it). Null for none. */
TAVO_API AUDIOSIGNAL TAVOAUDIO_GetAudioSignal(TAVOAUDIO audio);

/* Attaches `signal` (document becomes its parent) and returns the signal it
** replaced, detached, now owned by the caller (null when there was none).
** Call with the write lock held when other threads use the document. */
TAVO_API AUDIOSIGNAL TAVOAUDIO_SetAudioSignal(TAVOAUDIO audio, AUDIOSIGNAL signal);

/* The signal stamp that counts as saved (0: the document counts as changed),
** and setting it. */
TAVO_API uint64_t TAVOAUDIO_ChangeStamp(TAVOAUDIO audio);
TAVO_API bool TAVOAUDIO_SetChangeStamp(TAVOAUDIO audio, uint64_t stamp);

/* True when the signal changed since the last load or save, or the host must
** be asked before closing (file-state flag 0x2). */
TAVO_API bool TAVOAUDIO_HasChanges(TAVOAUDIO audio);

/* ---- access -------------------------------------------------------------- */

/* Read lock: `tryOnly` fails at once when a writer holds it. Each success
** needs its release. HasReadAccess answers for the calling thread. */
TAVO_API bool TAVOAUDIO_GetReadAccessEx(TAVOAUDIO audio, bool tryOnly);
TAVO_API bool TAVOAUDIO_ReleaseReadAccess(TAVOAUDIO audio);
TAVO_API bool TAVOAUDIO_HasReadAccess(TAVOAUDIO audio);

/* Write lock (the holder may take it again). */
TAVO_API bool TAVOAUDIO_GetWriteAccessEx(TAVOAUDIO audio, bool tryOnly);
TAVO_API bool TAVOAUDIO_ReleaseWriteAccess(TAVOAUDIO audio);

/* Edit access: the write lock (waiting) plus one edit level. Refused
** (false, nothing locked) on a document that is not editable unless
** `force`. IsEditing: an edit access is held. */
TAVO_API bool TAVOAUDIO_GetEditAccessEx(TAVOAUDIO audio, bool force);
TAVO_API bool TAVOAUDIO_ReleaseEditAccess(TAVOAUDIO audio);
TAVO_API bool TAVOAUDIO_IsEditing(TAVOAUDIO audio);

/* Selection write access: the write lock, tried 4 times 1 ms apart (false
** when all fail); nests. Releasing with `notify` adds `changes` to the bits
** owed; the outermost release sends one TAVOSTATE_NotifyChanges with all of
** them, after the lock is released. Release without access: false. */
TAVO_API bool TAVOAUDIO_GetSelectionWriteAccess(TAVOAUDIO audio);
TAVO_API bool TAVOAUDIO_ReleaseSelectionWriteAccessEx(TAVOAUDIO audio, bool notify, uint32_t changes);

/* ---- last error ---------------------------------------------------------- */

/* The last error code (13 for a null handle); `clear` resets it, except a
** code of 21 (a message is set), which only GetLastErrorMessage clears. */
TAVO_API uint32_t TAVOAUDIO_GetLastError(TAVOAUDIO audio, bool clear);

/* The message of code 21, else null; `clear` resets code and message. The
** text is not the document's: whoever set it keeps it alive. */
TAVO_API const char *TAVOAUDIO_GetLastErrorMessage(TAVOAUDIO audio, bool clear);

/* Stores `text` (not copied: pass text of static lifetime) and code 21.
** False for a null handle or text. */
TAVO_API bool TAVOAUDIO_SetErrorMessage(TAVOAUDIO audio, const char *text);

/* ---- memory -------------------------------------------------------------- */

/* Bytes held by the document (signal, renderer, undo history, pool); 0 for
** a null handle or when another thread holds the write lock. Never waits. */
TAVO_API uint64_t TAVOAUDIO_SizeInMemory(TAVOAUDIO audio);

/* Drops caches that can be rebuilt. False for null or when the document is
** busy; true at once, freeing nothing, when the caller holds a read lock. */
TAVO_API bool TAVOAUDIO_FreeMemory(TAVOAUDIO audio);

TAVO_EXTERN_C_END

#endif
