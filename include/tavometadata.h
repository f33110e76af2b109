/*
** tavometadata.h: the tags of a document (TAVOAUDIO_ metadata members), and
** their neighbours in the same family: level guides, the check of what a
** save format keeps, and the ringtone export.
**
** The tags belong to the metadata object of the document's signal
** (audiometadata.h). Three kinds of operation change them:
** - Single-field setters make the object on demand, take no lock and record
**   no undo step. Outside a metadata edition each success sends
**   TAVOAUDIO_METADATA_CHANGED (arg1: the metadata object); inside one it
**   only counts the change. A failed first setter removes the object it
**   made, so the signal is left without metadata as before.
** - A metadata edition (Begin/End) gathers setter calls into one undo step;
**   an edition in which nothing changed leaves no step.
** - Whole-object operations (replace, combine, remove, clear artwork, and
**   the artwork setter outside an edition) are undo steps of their own.
**   They are refused while an edition is open and on a document that does
**   not record undo, which is a document without the editable flag
**   (TAVOAUDIO_IsEditable): undo steps are recorded under edit access,
**   which such a document refuses. They take the document's edit access
**   (waiting) and send TAVOAUDIO_METADATA_CHANGED after releasing it.
** TAVOAUDIO_METADATA_REPLACED goes out whenever the signal's metadata object
** is replaced or removed (replace, remove, and undo or redo of any metadata
** step): the signal library reports it and the document relays it.
** TAVOAUDIO_REWRITE_ON_SAVE_METADATA is the question TAVOAUDIO_SaveEx asks
** when tags could not be rewritten inside the existing file.
**
** Every function answers 0, false or null for a null or dead handle and
** sets the document's last error when it refuses a live one.
** Threads: UI thread, like every change of a document.
*/
#ifndef TAVOMETADATA_H
#define TAVOMETADATA_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "audiometadata.h"
#include "tavo_export.h"
#include "tavotypes.h"

TAVO_EXTERN_C_BEGIN

/* Field indices of TAVOAUDIO_SetMetaDataI: the fields the file formats
** share, in a fixed order (the artwork is not a text field). */
#define TAVOAUDIO_METADATA_INDEX_TITLE 0
#define TAVOAUDIO_METADATA_INDEX_ARTIST 1
#define TAVOAUDIO_METADATA_INDEX_ALBUM 2
#define TAVOAUDIO_METADATA_INDEX_ALBUMARTIST 3
#define TAVOAUDIO_METADATA_INDEX_COMPOSER 4
#define TAVOAUDIO_METADATA_INDEX_GENRE 5
#define TAVOAUDIO_METADATA_INDEX_COMMENT 6
#define TAVOAUDIO_METADATA_INDEX_DATE 7
#define TAVOAUDIO_METADATA_INDEX_RELEASEDATE 8
#define TAVOAUDIO_METADATA_INDEX_TRACKNUMBER 9
#define TAVOAUDIO_METADATA_INDEX_TRACKTOTAL 10
#define TAVOAUDIO_METADATA_INDEX_DISCNUMBER 11
#define TAVOAUDIO_METADATA_INDEX_DISCTOTAL 12
#define TAVOAUDIO_METADATA_INDEX_BPM 13
#define TAVOAUDIO_METADATA_INDEX_COUNT 14

/* Bits of TAVOAUDIO_CheckSaveFormatCompability's *losses: what a file
** written in the format would not keep of the document. */
#define TAVOAUDIO_FORMAT_LOSES_UNWRITABLE 0x1u /* the format cannot be written at all */
#define TAVOAUDIO_FORMAT_LOSES_TAGS 0x2u       /* text tags */
#define TAVOAUDIO_FORMAT_LOSES_ARTWORK 0x4u
#define TAVOAUDIO_FORMAT_LOSES_REGIONS 0x8u    /* regions of the audio's own track */
#define TAVOAUDIO_FORMAT_LOSES_MARKERS 0x10u
#define TAVOAUDIO_FORMAT_LOSES_LOOPS 0x20u
#define TAVOAUDIO_FORMAT_LOSES_CHANNELS 0x40u  /* channels beyond what the format holds */
#define TAVOAUDIO_FORMAT_LOSES_PRECISION 0x80u /* lossy coding, or fewer bits than the samples have */

/* Flag of TAVOAUDIO_SetLevelGuidesValueEx: the value is in dB of full scale. */
#define TAVOAUDIO_LEVELGUIDES_DECIBELS 0x1u

/* Flag of TAVOAUDIO_ExportAsIphoneRingtoneEx: start at the signal's first
** frame even when the document has a selection. */
#define TAVOAUDIO_RINGTONE_FROM_START 0x1u

/* The longest ringtone, in seconds. */
#define TAVOAUDIO_RINGTONE_MAX_SECONDS 30

/* ---- single-field setters --------------------------------------------------- */

/* Sets the text field `field` to `value` (null or "" removes it), making the
** signal's metadata object when it has none. Returns 1, or 0 for a document
** without signal, a malformed field name or value, or a read-only signal
** (last error set; the tags unchanged). No lock, no undo step of its own. */
TAVO_API int32_t TAVOAUDIO_SetMetaData(TAVOAUDIO audio, const char *field, const char *value);

/* Sets `field` to the decimal text of `value`; results as TAVOAUDIO_SetMetaData. */
TAVO_API int32_t TAVOAUDIO_SetIntegerMetaData(TAVOAUDIO audio, const char *field, int64_t value);

/* Sets `field` to `size` raw bytes copied from `data` (size 0 removes it);
** results as TAVOAUDIO_SetMetaData. */
TAVO_API int32_t TAVOAUDIO_SetBinaryMetaData(TAVOAUDIO audio, const char *field, const void *data, int64_t size);

/* Sets the field with index `index` (TAVOAUDIO_METADATA_INDEX_) to the text
** `value`; 0 for an index outside 0 .. TAVOAUDIO_METADATA_INDEX_COUNT - 1,
** otherwise results as TAVOAUDIO_SetMetaData. */
TAVO_API int32_t TAVOAUDIO_SetMetaDataI(TAVOAUDIO audio, int32_t index, const char *value);

/* The named text fields (TITLE, ARTIST, ALBUMARTIST, ALBUM, COMPOSER, GENRE,
** COMMENT, RELEASEDATE); results as TAVOAUDIO_SetMetaData. */
TAVO_API int32_t TAVOAUDIO_SetTitle(TAVOAUDIO audio, const char *value);
TAVO_API int32_t TAVOAUDIO_SetArtist(TAVOAUDIO audio, const char *value);
TAVO_API int32_t TAVOAUDIO_SetAlbumArtist(TAVOAUDIO audio, const char *value);
TAVO_API int32_t TAVOAUDIO_SetAlbumName(TAVOAUDIO audio, const char *value);
TAVO_API int32_t TAVOAUDIO_SetComposer(TAVOAUDIO audio, const char *value);
TAVO_API int32_t TAVOAUDIO_SetGenre(TAVOAUDIO audio, const char *value);
TAVO_API int32_t TAVOAUDIO_SetComments(TAVOAUDIO audio, const char *value);
TAVO_API int32_t TAVOAUDIO_SetReleaseDate(TAVOAUDIO audio, const char *value);

/* The numbered fields (TRACKNUMBER, TRACKTOTAL, DISCNUMBER, DISCTOTAL, and
** DATE for the year), stored as the decimal text of `value`; results as
** TAVOAUDIO_SetMetaData. */
TAVO_API int32_t TAVOAUDIO_SetTrackNum(TAVOAUDIO audio, uint32_t value);
TAVO_API int32_t TAVOAUDIO_SetTotalAlbumTracks(TAVOAUDIO audio, uint32_t value);
TAVO_API int32_t TAVOAUDIO_SetDiscNum(TAVOAUDIO audio, uint32_t value);
TAVO_API int32_t TAVOAUDIO_SetTotalAlbumDiscs(TAVOAUDIO audio, uint32_t value);
TAVO_API int32_t TAVOAUDIO_SetYear(TAVOAUDIO audio, uint32_t value);

/* Sets the artwork to `size` bytes of an image (copied; `mimeType` null
** takes the type from the image's first bytes). Inside an edition it is one
** more counted change. Outside one it is an undo step of its own, "Change
** Artwork", refused like the whole-object operations. Returns 1, or 0 (last
** error set, nothing changed). */
TAVO_API int32_t TAVOAUDIO_SetArtwork(TAVOAUDIO audio, const void *image, int64_t size, const char *mimeType);

/* ---- getters ------------------------------------------------------------------ */

/* The numbered fields read as numbers; 0 when absent, not a number, or the
** document has no signal or metadata. */
TAVO_API int32_t TAVOAUDIO_GetTrackNum(TAVOAUDIO audio);
TAVO_API int32_t TAVOAUDIO_GetTotalAlbumTracks(TAVOAUDIO audio);
TAVO_API int32_t TAVOAUDIO_GetDiscNum(TAVOAUDIO audio);
TAVO_API int32_t TAVOAUDIO_GetTotalAlbumDiscs(TAVOAUDIO audio);
TAVO_API int32_t TAVOAUDIO_GetYear(TAVOAUDIO audio);

/* The signal's metadata object, borrowed: valid until the tags are replaced
** or removed or the signal changes. Null when there is none. */
TAVO_API AUDIOMETADATA TAVOAUDIO_MetaData(TAVOAUDIO audio);

/* The same object with a reference added; the caller releases it with
** AUDIOMETADATA_Destroy. Null when there is none. */
TAVO_API AUDIOMETADATA TAVOAUDIO_MetaDataRef(TAVOAUDIO audio);

/* Copies the text of `field` into `buffer` (terminated, cut to size - 1
** bytes). Returns the text's full length, -1 when the field is absent or
** not text, the document has no metadata, or an argument is null. */
TAVO_API int64_t TAVOAUDIO_CopyMetaData(TAVOAUDIO audio, const char *field, char *buffer, int32_t size);

/* Whether the signal has at least one text field (the artwork not counted). */
TAVO_API bool TAVOAUDIO_HasMetatags(TAVOAUDIO audio);

/* Whether the signal has an artwork. */
TAVO_API bool TAVOAUDIO_HasArtwork(TAVOAUDIO audio);

/* Whether the tags changed since the file was last loaded or saved. */
TAVO_API bool TAVOAUDIO_HasMetadataChanges(TAVOAUDIO audio);

/* Declares the tags saved (a host that wrote them to the file itself). The
** signal keeps one saved mark for every kind of change, so this is only
** possible while the tags are the only unsaved change: 0 (last error set)
** when audio or regions are unsaved too, 1 otherwise. Takes the write lock
** (waiting). */
TAVO_API int32_t TAVOAUDIO_ResetMetadataChanges(TAVOAUDIO audio);

/* ---- metadata edition ----------------------------------------------------------- */

/* Opens an edition: records the present tags in an undo step labelled
** `label` (null: "Change Metadata"); the setters called until
** TAVOAUDIO_EndMetadataEdition count their changes instead of sending
** events. 0 when the document has no signal, an edition is already open, or
** the step cannot be made. Inside an open undo group the edition records
** into the group. */
TAVO_API int32_t TAVOAUDIO_BeginMetadataEdition(TAVOAUDIO audio, const char *label);

/* Closes the edition: pushes its undo step when at least one change was
** counted (then sends TAVOAUDIO_METADATA_CHANGED once), drops it otherwise.
** Returns 1, or 0 when no edition is open or the step could not be pushed
** (the changes then stay, without an undo step). */
TAVO_API int32_t TAVOAUDIO_EndMetadataEdition(TAVOAUDIO audio);

/* ---- whole-object operations ------------------------------------------------- */

/* Gives the signal a copy of `metadata` (the caller keeps its object; null
** removes the tags), as one undo step `label` (null: "Change Metadata").
** Returns 1, or 0 (nothing changed, last error set) while an edition is
** open, on a document that does not record undo, or on library failure. */
TAVO_API int32_t TAVOAUDIO_ReplaceMetaData(TAVOAUDIO audio, AUDIOMETADATA metadata, const char *label);

/* Copies every single-value field of `metadata` whose value differs from the
** document's into the document's tags, as one undo step `label` (null:
** "Change Metadata"). Fields the source lacks are kept; the artwork is not
** copied. Copying nothing leaves no step and returns 1. 0 as for
** TAVOAUDIO_ReplaceMetaData, and for a null source. */
TAVO_API int32_t TAVOAUDIO_CombineMetaData(TAVOAUDIO audio, AUDIOMETADATA metadata, const char *label);

/* Removes the signal's metadata as one undo step `label` (null: "Remove
** Metadata"). A signal without metadata: 1, no step. 0 as for
** TAVOAUDIO_ReplaceMetaData. */
TAVO_API int32_t TAVOAUDIO_RemoveAllMetadata(TAVOAUDIO audio, const char *label);

/* Removes the artwork as one undo step "Clear Artwork". No artwork: 1, no
** step. 0 as for TAVOAUDIO_ReplaceMetaData. */
TAVO_API int32_t TAVOAUDIO_ClearArtwork(TAVOAUDIO audio);

/* ---- level guides, save formats, ringtones ------------------------------------ */

/* Sets the level of the level guides for every view: a fraction of full
** scale, 0 < value <= 1, or with TAVOAUDIO_LEVELGUIDES_DECIBELS dB of full
** scale (value <= 0). Stored in the setting
** "libtavo.tavocanvas.levelguides.value"; the document is asked to redraw.
** 0 (last error set) for a value out of range. */
TAVO_API int32_t TAVOAUDIO_SetLevelGuidesValueEx(TAVOAUDIO audio, double value, uint32_t flags);

/* Whether saving the document in `format` (a format text, "AUTO" and
** "FROM_FORMAT" meaning the signal's own file format) keeps everything it
** holds: its tags, artwork, regions, markers and loops of the audio's own
** track, its channels and its sample precision. Returns 1 when nothing would
** be lost, 0 otherwise; `losses`, when not null, gets the
** TAVOAUDIO_FORMAT_LOSES_ bits (0 when nothing is lost). 0 and losses
** untouched for a null format or a document without signal. */
TAVO_API int32_t TAVOAUDIO_CheckSaveFormatCompability(TAVOAUDIO audio, const char *format, uint32_t *losses);

/* Writes a ringtone made of the document's audio to `fileName`: at most
** TAVOAUDIO_RINGTONE_MAX_SECONDS seconds from the start of the active (else
** first) selection, or from the first frame without one or with
** TAVOAUDIO_RINGTONE_FROM_START; faded in from silence and out to silence
** over min(1 s, a quarter of its length) each; titled "Ringtone", other tags
** kept. `format` null takes the format of the name's extension. The file is
** written under a temporary name and renamed, so a failure leaves no partial
** file; the document is not changed. Returns 1, or 0 (last error set). */
TAVO_API int32_t TAVOAUDIO_ExportAsIphoneRingtoneEx(TAVOAUDIO audio, const char *fileName, const char *format,
                                                    uint32_t flags);

TAVO_EXTERN_C_END

#endif
