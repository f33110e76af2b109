/*
** metadata_p.h: helpers shared by the metadata setters, the metadata
** edition and the whole-object metadata operations.
**
** The document's edition fields (metadataEditionOpen, ...Changes, ...Script)
** are read and written on the UI thread only; the whole-object operations
** change them with the write lock held so that a reader under the lock
** never sees an edition half opened.
*/
#ifndef TAVO_METADATA_P_H
#define TAVO_METADATA_P_H

#include <stdint.h>

#include <functional>

#include "audiometadata.h"
#include "audiosignal.h"
#include "frame/document_p.h"

/* Stores the library error code for `audioError` (AUDIO_ERROR_ bits) as the
** document's last error and returns 0, the failure result of the family. */
int32_t _TAVOMETADATA_Fail(struct TavoDocument *doc, uint32_t audioError);

/* Runs `set` on the signal's metadata object, making the object first when
** the signal has none; when `set` then fails, the object just made is
** removed again so that the signal is left as it was. On failure the last
** error is set (read-only signal, else invalid argument). No lock taken, no
** event sent. */
bool _TAVOMETADATA_Apply(struct TavoDocument *doc, AUDIOSIGNAL signal, const std::function<bool(AUDIOMETADATA)> &set);

/* After a successful setter: inside an open edition counts the change,
** otherwise sends TAVOAUDIO_METADATA_CHANGED with the signal's metadata
** object. Call with no lock held unless an edition is open. */
void _TAVOMETADATA_NoteChange(struct TavoDocument *doc, AUDIOSIGNAL signal);

/* The common refusals of the whole-object operations: null when the
** document is dead, has no signal, has an edition open or does not record
** undo (not editable); the last error is set for a live document. */
struct TavoDocument *_TAVOMETADATA_GuardWhole(TAVOAUDIO audio, AUDIOSIGNAL *signal);

#endif
