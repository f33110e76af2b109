/*
** audiometadata.h: the tags of a signal (AUDIOMETADATA_, and the metadata
** calls of AUDIOSIGNAL_).
**
** A metadata object holds named fields and at most one artwork. Field
** names are ASCII (0x20 to 0x7d, no '='), compared without regard to case
** and kept in upper case, as Vorbis comments name them; the names below
** are the ones the file formats share. A field's value is a run of bytes:
** text fields hold UTF-8 without NUL, numbers are held as decimal text,
** binary fields hold any bytes. The artwork (image bytes and their MIME
** type) is the one mixed-data field, "ARTWORK": it holds two values, so
** the single-value calls (the setters, CopyMetaData, CopyBinaryMetaData)
** do not reach it; the artwork calls and CompareField do.
**
** Files: saving writes the text fields and the artwork into formats whose
** description has AUDIO_CAP_TAGS / AUDIO_CAP_ARTWORK (ID3v2 and RIFF INFO
** in WAV, ID3v2 in AIFF and MP3, Vorbis comments and pictures in FLAC, Ogg
** and Opus); binary values that are not UTF-8 text stay in memory only.
** Several values of one field in a file are read as one text joined by
** "; ".
**
** Ownership: AUDIOMETADATA_New and AUDIOMETADATA_DuplicateEx make an object
** with one reference that the caller releases with AUDIOMETADATA_Destroy.
** A signal owns its own object: a duplicated signal gets a copy, and
** AUDIOSIGNAL_ReplaceMetadata stores a copy of what it is given. Changing
** the object of a signal marks the signal's metadata as changed
** (AUDIOSIGNAL_CHANGE_METADATA) and advances its content stamp; a signal
** that is read-only refuses the change.
**
** Threads: every call may be made from any thread; one object's calls are
** serialised by the object. A null handle answers false, 0, -1 or null.
*/
#ifndef AUDIOMETADATA_H
#define AUDIOMETADATA_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "audiosig_export.h"
#include "audiosignal.h"

AUDIO_EXTERN_C_BEGIN

typedef struct AudioMetadataObject *AUDIOMETADATA;

/* Field names shared by the file formats (Vorbis comment names; ID3v2 and
** RIFF INFO frames are mapped onto them). */
#define AUDIOMETADATA_FIELD_TITLE "TITLE"
#define AUDIOMETADATA_FIELD_ARTIST "ARTIST"
#define AUDIOMETADATA_FIELD_ALBUM "ALBUM"
#define AUDIOMETADATA_FIELD_ALBUMARTIST "ALBUMARTIST"
#define AUDIOMETADATA_FIELD_COMPOSER "COMPOSER"
#define AUDIOMETADATA_FIELD_GENRE "GENRE"
#define AUDIOMETADATA_FIELD_COMMENT "COMMENT"
#define AUDIOMETADATA_FIELD_DATE "DATE"               /* the year, or a full date */
#define AUDIOMETADATA_FIELD_RELEASEDATE "RELEASEDATE"
#define AUDIOMETADATA_FIELD_TRACKNUMBER "TRACKNUMBER"
#define AUDIOMETADATA_FIELD_TRACKTOTAL "TRACKTOTAL"
#define AUDIOMETADATA_FIELD_DISCNUMBER "DISCNUMBER"
#define AUDIOMETADATA_FIELD_DISCTOTAL "DISCTOTAL"
#define AUDIOMETADATA_FIELD_BPM "BPM"
#define AUDIOMETADATA_FIELD_ARTWORK "ARTWORK"         /* the mixed-data field */

/* Flags of AUDIOMETADATA_DuplicateEx. */
#define AUDIOMETADATA_DUPLICATE_BINARY 0x1 /* copy binary fields and the artwork too */

/* ---- objects ----------------------------------------------------------- */

/* A new empty object (one reference; release with AUDIOMETADATA_Destroy).
** Null when out of memory. */
AUDIO_API AUDIOMETADATA AUDIOMETADATA_New(void);

/* A new object (one reference) with the text fields of `metadata`; with
** AUDIOMETADATA_DUPLICATE_BINARY also its binary fields and its artwork
** (shared, not copied: values are never changed in place). The copy
** belongs to no signal. Null for null or when out of memory. */
AUDIO_API AUDIOMETADATA AUDIOMETADATA_DuplicateEx(AUDIOMETADATA metadata, uint32_t flags);

/* Drops one reference; the last one frees the object. False for null. An
** object still held by a signal lives on until the signal lets it go. */
AUDIO_API bool AUDIOMETADATA_Destroy(AUDIOMETADATA metadata);

/* ---- fields by name ---------------------------------------------------- */

/* Sets a text field. A null or empty value removes the field. False (the
** object unchanged) for a malformed name, "ARTWORK", a value that is not
** UTF-8 or longer than 1 MiB, or a read-only owner. */
AUDIO_API bool AUDIOMETADATA_SetMetaData(AUDIOMETADATA metadata, const char *field, const char *value);

/* Sets a field to a whole number, kept as its decimal text. False as for
** AUDIOMETADATA_SetMetaData. */
AUDIO_API bool AUDIOMETADATA_SetIntegerMetaData(AUDIOMETADATA metadata, const char *field, int64_t value);

/* Sets a field to `size` raw bytes (copied). Size 0 removes the field.
** False for a malformed name, "ARTWORK", null data with a size, a size
** beyond 64 MiB, or a read-only owner. */
AUDIO_API bool AUDIOMETADATA_SetBinaryMetaData(AUDIOMETADATA metadata, const char *field, const void *data,
                                               int64_t size);

/* Copies a field's text into `buffer` (terminated, cut to `size` - 1 bytes
** at a character boundary). Returns the full length of the text, -1 when
** the field is absent, is not text (holds a NUL byte) or is "ARTWORK". */
AUDIO_API int64_t AUDIOMETADATA_CopyMetaData(AUDIOMETADATA metadata, const char *field, char *buffer,
                                             size_t size);

/* A field read as a whole number (leading digits, optional sign; "7/12"
** reads 7); `fallback` when absent or not a number. */
AUDIO_API int64_t AUDIOMETADATA_GetIntegerMetaData(AUDIOMETADATA metadata, const char *field, int64_t fallback);

/* Copies up to `size` bytes of a field's value into `buffer` (may be null
** with size 0 to learn the length). Returns the value's full length, -1
** when the field is absent or mixed-data. */
AUDIO_API int64_t AUDIOMETADATA_CopyBinaryMetaData(AUDIOMETADATA metadata, const char *field, void *buffer,
                                                   int64_t size);

/* ---- named text fields --------------------------------------------------- */

/* Each sets the field named beside it as AUDIOMETADATA_SetMetaData does
** (null or "" removes it). */
AUDIO_API bool AUDIOMETADATA_SetTitle(AUDIOMETADATA metadata, const char *text);       /* TITLE */
AUDIO_API bool AUDIOMETADATA_SetArtist(AUDIOMETADATA metadata, const char *text);      /* ARTIST */
AUDIO_API bool AUDIOMETADATA_SetAlbumArtist(AUDIOMETADATA metadata, const char *text); /* ALBUMARTIST */
AUDIO_API bool AUDIOMETADATA_SetAlbumName(AUDIOMETADATA metadata, const char *text);   /* ALBUM */
AUDIO_API bool AUDIOMETADATA_SetComposer(AUDIOMETADATA metadata, const char *text);    /* COMPOSER */
AUDIO_API bool AUDIOMETADATA_SetGenre(AUDIOMETADATA metadata, const char *text);       /* GENRE */
AUDIO_API bool AUDIOMETADATA_SetComments(AUDIOMETADATA metadata, const char *text);    /* COMMENT */
AUDIO_API bool AUDIOMETADATA_SetReleaseDate(AUDIOMETADATA metadata, const char *text); /* RELEASEDATE */

/* ---- numbers as text ----------------------------------------------------- */

/* Each sets its field from a decimal text of 1 to 10 digits that fits 32
** bits unsigned ("%u" of the number); null or "" removes the field. False
** for any other text. */
AUDIO_API bool AUDIOMETADATA_SetTrackNumStr(AUDIOMETADATA metadata, const char *number);         /* TRACKNUMBER */
AUDIO_API bool AUDIOMETADATA_SetTotalAlbumTracksStr(AUDIOMETADATA metadata, const char *number); /* TRACKTOTAL */
AUDIO_API bool AUDIOMETADATA_SetDiscNumStr(AUDIOMETADATA metadata, const char *number);          /* DISCNUMBER */
AUDIO_API bool AUDIOMETADATA_SetTotalAlbumDiscsStr(AUDIOMETADATA metadata, const char *number);  /* DISCTOTAL */
AUDIO_API bool AUDIOMETADATA_SetYearStr(AUDIOMETADATA metadata, const char *number);             /* DATE */

/* The numbers back; 0 when absent or not a number. The year is read from
** the start of DATE ("2021-05-04" gives 2021), else of RELEASEDATE. */
AUDIO_API int32_t AUDIOMETADATA_GetTrackNum(AUDIOMETADATA metadata);
AUDIO_API int32_t AUDIOMETADATA_GetTotalAlbumTracks(AUDIOMETADATA metadata);
AUDIO_API int32_t AUDIOMETADATA_GetDiscNum(AUDIOMETADATA metadata);
AUDIO_API int32_t AUDIOMETADATA_GetTotalAlbumDiscs(AUDIOMETADATA metadata);
AUDIO_API int32_t AUDIOMETADATA_GetYear(AUDIOMETADATA metadata);

/* Sets BPM to a tempo above 0 and at most 1000, kept with at most two
** decimals. False for any other value. */
AUDIO_API bool AUDIOMETADATA_SetBeatsPerMinute(AUDIOMETADATA metadata, double bpm);

/* The tempo in BPM; `fallback` for null, when absent, or when not a
** number above 0. */
AUDIO_API double AUDIOMETADATA_GetBeatsPerMinuteEx(AUDIOMETADATA metadata, double fallback);

/* ---- artwork ------------------------------------------------------------- */

/* Sets the artwork to `size` bytes of an image (copied). `mimeType` null
** takes the type from the image's first bytes (PNG, JPEG, GIF, BMP,
** WebP). False (unchanged) for no bytes, more than 16 MiB (the most a FLAC
** picture holds), an unknown type without `mimeType`, or a read-only owner. */
AUDIO_API bool AUDIOMETADATA_SetArtwork(AUDIOMETADATA metadata, const void *image, int64_t size,
                                        const char *mimeType);

/* Removes the artwork; true also when there was none. False for null or a
** read-only owner. */
AUDIO_API bool AUDIOMETADATA_ClearArtwork(AUDIOMETADATA metadata);

AUDIO_API bool AUDIOMETADATA_HasArtwork(AUDIOMETADATA metadata);

/* Copies up to `size` bytes of the image into `buffer` (null with size 0
** to learn the length). Returns the image's length, -1 when none. */
AUDIO_API int64_t AUDIOMETADATA_CopyArtwork(AUDIOMETADATA metadata, void *buffer, int64_t size);

/* Copies the image's MIME type into `buffer` (terminated). False when there
** is no artwork or the type does not fit. */
AUDIO_API bool AUDIOMETADATA_CopyArtworkMimeType(AUDIOMETADATA metadata, char *buffer, size_t size);

/* ---- the fields as a whole ----------------------------------------------- */

/* The number of fields, the artwork counted as one. 0 for null. */
AUDIO_API int32_t AUDIOMETADATA_NumFields(AUDIOMETADATA metadata);

/* The field names in alphabetical order, as a null-terminated array in one
** block from malloc that the caller releases with free(); *count (when not
** null) gets the number of names. Null for null or when out of memory. */
AUDIO_API char **AUDIOMETADATA_CopyFieldNames(AUDIOMETADATA metadata, int32_t *count);

/* Whether `field` holds more than one value and so cannot pass through the
** single-value calls: true for "ARTWORK" (image and MIME type). */
AUDIO_API bool AUDIOMETADATA_IsMixedDataField(AUDIOMETADATA metadata, const char *field);

/* True when `a` and `b` hold the same value for `field` (byte for byte;
** for "ARTWORK" image and MIME type), or both lack it. False for a null
** handle or a malformed name. */
AUDIO_API bool AUDIOMETADATA_CompareField(AUDIOMETADATA a, AUDIOMETADATA b, const char *field);

/* ---- the signal's metadata ----------------------------------------------- */

/* The signal's metadata object, borrowed: valid while the signal keeps it
** (until it is replaced or removed, or the signal freed). Null when the
** signal has none. */
AUDIO_API AUDIOMETADATA AUDIOSIGNAL_Metadata(AUDIOSIGNAL signal);

/* The same object with a reference added, which the caller releases with
** AUDIOMETADATA_Destroy; once the signal lets the object go, changing it
** no longer marks the signal. Null when the signal has none. */
AUDIO_API AUDIOMETADATA AUDIOSIGNAL_MetadataRef(AUDIOSIGNAL signal);

/* The signal's metadata object (borrowed), made empty first when it has
** none; an empty object is no change of the signal. Null for a read-only
** signal without metadata, or when out of memory. */
AUDIO_API AUDIOMETADATA AUDIOSIGNAL_CreateMetadata(AUDIOSIGNAL signal);

/* Gives the signal a copy of `metadata` (the caller keeps its object; null
** removes the signal's metadata), marks the metadata changed and sends
** AUDIO_NOTIFY_METADATA_REPLACED (the new object as second argument, or
** null) to the parent. False (nothing changed) for a read-only signal or
** when out of memory. */
AUDIO_API bool AUDIOSIGNAL_ReplaceMetadata(AUDIOSIGNAL signal, AUDIOMETADATA metadata);

/* Removes the signal's metadata. The metadata counts as changed when the
** removed object had fields; AUDIO_NOTIFY_METADATA_REPLACED (with null)
** goes out when there was an object. True also when there was none; false
** for null or a read-only signal. */
AUDIO_API bool AUDIOSIGNAL_RemoveMetadata(AUDIOSIGNAL signal);

AUDIO_EXTERN_C_END

#endif
