/*
** lifecycle_p.h: helpers that the document's lifecycle files share
** (frame/document.cpp, frame/access.cpp, frame/open.cpp, frame/save.cpp).
**
** Lock order: rwlock, then signalMutex (see document_p.h). The guards here
** are the only way those files take the document's locks.
*/
#ifndef TAVO_LIFECYCLE_P_H
#define TAVO_LIFECYCLE_P_H

#include <stdint.h>

#include "frame/document_p.h"


/* A new record with its pool, dispatcher, locks and view state, editable,
** unnamed, without signal, not registered. Null when anything failed
** (nothing is left behind). */
struct TavoDocument *_TAVOAUDIO_CreateRecord(void);

/* Frees a record made by _TAVOAUDIO_CreateRecord that never went live
** (creation failed half-way). The signal, if any, is destroyed too. */
void _TAVOAUDIO_DiscardRecord(struct TavoDocument *doc);

/* Enters the document in the object registry under "LPTAVOAUDIO". */
bool _TAVOAUDIO_Register(struct TavoDocument *doc);

/* Stores `signal` as the document's signal under the signal mutex, with the
** document as its parent, and returns the previous signal detached (the
** caller owns it). */
AUDIOSIGNAL _TAVOAUDIO_AttachSignal(struct TavoDocument *doc, AUDIOSIGNAL signal);

/* Copies the file name into the inline buffer and sets the file kind,
** without sending any event; returns the new file kind. Call with the write
** lock held (or on a record no other thread knows yet). */
uint32_t _TAVOAUDIO_StoreFileName(struct TavoDocument *doc, const char *fileName);

/* Copies the format text and, with a signal attached, makes the signal and
** the read-only file-state flag follow the format's writability. Call with
** the write lock held. */
void _TAVOAUDIO_StoreFileFormat(struct TavoDocument *doc, const char *format);

/* Sends TAVOAUDIO_FILENAME_CHANGED with the current name and kind. Call with
** no document lock held. */
void _TAVOAUDIO_SendFileNameChanged(struct TavoDocument *doc);

/* The modification time of a file as a timestamp (ms since 1970), 0 when
** it cannot be examined. */
uint64_t _TAVOAUDIO_FileStamp(const char *path);

/* The file-state flags of the document's view state (0 without state). */
uint32_t _TAVOAUDIO_FileFlags(struct TavoDocument *doc);

/* Writes changed external region tracks and the annotation tracks kept as
** sidecars of `audioName`: their regions as SRT files, their own properties
** in the track list beside them. False when any write failed, with the
** signal library's error bits in *error (may be null). Call with read or
** write access held. */
bool _TAVOAUDIO_SaveRegionFiles(struct TavoDocument *doc, AUDIOSIGNAL signal, const char *audioName,
                                uint32_t *error);

/* Reads what is kept beside the audio file `doc->fileName`: the annotation
** tracks listed in its track sidecar, in their saved order, their regions
** from the region sidecars ("<name without extension>.<track id>.srt", or
** ".vtt" and ".labels.txt" for the other file types), then their
** properties, links and the master track. Call with the write lock held.
** Returns how many region sidecars were read. */
int32_t _TAVOAUDIO_ReadSidecars(struct TavoDocument *doc, AUDIOSIGNAL signal);

/* Renames the sidecars of `oldName` (region sidecars, the track sidecar and
** their backups) to the same names with the stem of `newName`, over any of
** that stem left behind by another file. False when one could not be moved
** (logged; the others are moved all the same). */
bool _TAVOAUDIO_MoveSidecars(const char *oldName, const char *newName);

#endif
