// metadata.cpp: the single-field tag setters of a document and the tag
// queries.
//
// Setters take no lock and record no undo step: a host that wants one undo
// step for a dialog full of fields brackets its setter calls with a metadata
// edition (metadata_edition.cpp). Each setter makes the signal's metadata
// object on demand and removes it again when the very first tag fails, so a
// refused tag never leaves an empty object behind.

#include <cstdio>
#include <cstring>

#include "regions/metadata_p.h"

#include "audiofile.h"
#include "tavoaudio.h"
#include "tavometadata.h"
#include "tavonotify.h"

namespace {

// Room for the decimal text of a 32-bit number handed to the library's
// "...Str" setters.
constexpr size_t kNumberText = 32;

// The shared field names in the order of the TAVOAUDIO_METADATA_INDEX_
// constants of the public header.
constexpr const char *kIndexedFields[TAVOAUDIO_METADATA_INDEX_COUNT] = {
    AUDIOMETADATA_FIELD_TITLE,       AUDIOMETADATA_FIELD_ARTIST,      AUDIOMETADATA_FIELD_ALBUM,
    AUDIOMETADATA_FIELD_ALBUMARTIST, AUDIOMETADATA_FIELD_COMPOSER,    AUDIOMETADATA_FIELD_GENRE,
    AUDIOMETADATA_FIELD_COMMENT,     AUDIOMETADATA_FIELD_DATE,        AUDIOMETADATA_FIELD_RELEASEDATE,
    AUDIOMETADATA_FIELD_TRACKNUMBER, AUDIOMETADATA_FIELD_TRACKTOTAL,  AUDIOMETADATA_FIELD_DISCNUMBER,
    AUDIOMETADATA_FIELD_DISCTOTAL,   AUDIOMETADATA_FIELD_BPM,
};

// The shape of every single-field setter: validate, apply (object made on
// demand), then count or notify.
int32_t setField(TAVOAUDIO audio, const std::function<bool(AUDIOMETADATA)> &set)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return 0;
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    if (signal == nullptr) return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_EMPTY);
    if (!_TAVOMETADATA_Apply(doc, signal, set)) return 0;
    _TAVOMETADATA_NoteChange(doc, signal);
    return 1;
}

int32_t setText(TAVOAUDIO audio, bool (*setter)(AUDIOMETADATA, const char *), const char *value)
{
    return setField(audio, [setter, value](AUDIOMETADATA metadata) { return setter(metadata, value); });
}

// The numbered fields go through the library's text setters, which check
// the digits, so that a number is stored exactly as "%u" prints it.
int32_t setNumber(TAVOAUDIO audio, bool (*setter)(AUDIOMETADATA, const char *), uint32_t value)
{
    char text[kNumberText];
    std::snprintf(text, sizeof(text), "%u", value);
    return setField(audio, [setter, &text](AUDIOMETADATA metadata) { return setter(metadata, text); });
}

// The signal's metadata object (borrowed) or null; no lock: the object
// serialises its own calls, and the UI thread is the only one that replaces
// it.
AUDIOMETADATA currentMetadata(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return nullptr;
    return AUDIOSIGNAL_Metadata(_TAVOAUDIO_Signal(doc));
}

}  // namespace

// ---- shared helpers ---------------------------------------------------------------

int32_t _TAVOMETADATA_Fail(TavoDocument *doc, uint32_t audioError)
{
    const uint32_t code = _TranslateAudioSignalError(audioError);
    doc->lastError = code != 0 ? code : 12;
    return 0;
}

bool _TAVOMETADATA_Apply(TavoDocument *doc, AUDIOSIGNAL signal, const std::function<bool(AUDIOMETADATA)> &set)
{
    AUDIOMETADATA metadata = AUDIOSIGNAL_Metadata(signal);
    const bool made = metadata == nullptr;
    if (made) metadata = AUDIOSIGNAL_CreateMetadata(signal);
    if (metadata == nullptr) {
        _TAVOMETADATA_Fail(doc, AUDIOSIGNAL_IsReadOnly(signal) ? AUDIO_ERROR_READ_ONLY : AUDIO_ERROR_OUT_OF_MEMORY);
        return false;
    }
    if (set(metadata)) return true;
    // The library leaves the object unchanged on failure; only an object made
    // for this call has to go again.
    if (made) AUDIOSIGNAL_RemoveMetadata(signal);
    _TAVOMETADATA_Fail(doc, AUDIOSIGNAL_IsReadOnly(signal) ? AUDIO_ERROR_READ_ONLY : AUDIO_ERROR_INVALID_ARGUMENT);
    return false;
}

void _TAVOMETADATA_NoteChange(TavoDocument *doc, AUDIOSIGNAL signal)
{
    if (doc->metadataEditionOpen) {
        ++doc->metadataEditionChanges;
        return;
    }
    _TAVOAUDIO_Send(doc, TAVOAUDIO_METADATA_CHANGED, AUDIOSIGNAL_Metadata(signal), nullptr, nullptr);
}

extern "C" {

// ---- single-field setters ----------------------------------------------------------

TAVO_API int32_t TAVOAUDIO_SetMetaData(TAVOAUDIO audio, const char *field, const char *value)
{
    return setField(audio, [field, value](AUDIOMETADATA metadata) {
        return AUDIOMETADATA_SetMetaData(metadata, field, value);
    });
}

TAVO_API int32_t TAVOAUDIO_SetIntegerMetaData(TAVOAUDIO audio, const char *field, int64_t value)
{
    return setField(audio, [field, value](AUDIOMETADATA metadata) {
        return AUDIOMETADATA_SetIntegerMetaData(metadata, field, value);
    });
}

TAVO_API int32_t TAVOAUDIO_SetBinaryMetaData(TAVOAUDIO audio, const char *field, const void *data, int64_t size)
{
    return setField(audio, [field, data, size](AUDIOMETADATA metadata) {
        return AUDIOMETADATA_SetBinaryMetaData(metadata, field, data, size);
    });
}

// The index names one of the fields every file format shares, in a fixed
// order, rather than a position among the object's present fields: those
// positions move whenever a field is added or removed, so a host could not
// keep one across two calls.
TAVO_API int32_t TAVOAUDIO_SetMetaDataI(TAVOAUDIO audio, int32_t index, const char *value)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return 0;
    if (index < 0 || index >= TAVOAUDIO_METADATA_INDEX_COUNT) return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_INVALID_ARGUMENT);
    return TAVOAUDIO_SetMetaData(audio, kIndexedFields[index], value);
}

TAVO_API int32_t TAVOAUDIO_SetTitle(TAVOAUDIO audio, const char *value)
{
    return setText(audio, AUDIOMETADATA_SetTitle, value);
}

TAVO_API int32_t TAVOAUDIO_SetArtist(TAVOAUDIO audio, const char *value)
{
    return setText(audio, AUDIOMETADATA_SetArtist, value);
}

TAVO_API int32_t TAVOAUDIO_SetAlbumArtist(TAVOAUDIO audio, const char *value)
{
    return setText(audio, AUDIOMETADATA_SetAlbumArtist, value);
}

TAVO_API int32_t TAVOAUDIO_SetAlbumName(TAVOAUDIO audio, const char *value)
{
    return setText(audio, AUDIOMETADATA_SetAlbumName, value);
}

TAVO_API int32_t TAVOAUDIO_SetComposer(TAVOAUDIO audio, const char *value)
{
    return setText(audio, AUDIOMETADATA_SetComposer, value);
}

TAVO_API int32_t TAVOAUDIO_SetGenre(TAVOAUDIO audio, const char *value)
{
    return setText(audio, AUDIOMETADATA_SetGenre, value);
}

TAVO_API int32_t TAVOAUDIO_SetComments(TAVOAUDIO audio, const char *value)
{
    return setText(audio, AUDIOMETADATA_SetComments, value);
}

TAVO_API int32_t TAVOAUDIO_SetReleaseDate(TAVOAUDIO audio, const char *value)
{
    return setText(audio, AUDIOMETADATA_SetReleaseDate, value);
}

TAVO_API int32_t TAVOAUDIO_SetTrackNum(TAVOAUDIO audio, uint32_t value)
{
    return setNumber(audio, AUDIOMETADATA_SetTrackNumStr, value);
}

TAVO_API int32_t TAVOAUDIO_SetTotalAlbumTracks(TAVOAUDIO audio, uint32_t value)
{
    return setNumber(audio, AUDIOMETADATA_SetTotalAlbumTracksStr, value);
}

TAVO_API int32_t TAVOAUDIO_SetDiscNum(TAVOAUDIO audio, uint32_t value)
{
    return setNumber(audio, AUDIOMETADATA_SetDiscNumStr, value);
}

TAVO_API int32_t TAVOAUDIO_SetTotalAlbumDiscs(TAVOAUDIO audio, uint32_t value)
{
    return setNumber(audio, AUDIOMETADATA_SetTotalAlbumDiscsStr, value);
}

TAVO_API int32_t TAVOAUDIO_SetYear(TAVOAUDIO audio, uint32_t value)
{
    return setNumber(audio, AUDIOMETADATA_SetYearStr, value);
}

// ---- getters ----------------------------------------------------------------------

TAVO_API int32_t TAVOAUDIO_GetTrackNum(TAVOAUDIO audio)
{
    return AUDIOMETADATA_GetTrackNum(currentMetadata(audio));
}

TAVO_API int32_t TAVOAUDIO_GetTotalAlbumTracks(TAVOAUDIO audio)
{
    return AUDIOMETADATA_GetTotalAlbumTracks(currentMetadata(audio));
}

TAVO_API int32_t TAVOAUDIO_GetDiscNum(TAVOAUDIO audio)
{
    return AUDIOMETADATA_GetDiscNum(currentMetadata(audio));
}

TAVO_API int32_t TAVOAUDIO_GetTotalAlbumDiscs(TAVOAUDIO audio)
{
    return AUDIOMETADATA_GetTotalAlbumDiscs(currentMetadata(audio));
}

TAVO_API int32_t TAVOAUDIO_GetYear(TAVOAUDIO audio)
{
    return AUDIOMETADATA_GetYear(currentMetadata(audio));
}

TAVO_API AUDIOMETADATA TAVOAUDIO_MetaData(TAVOAUDIO audio)
{
    return currentMetadata(audio);
}

TAVO_API AUDIOMETADATA TAVOAUDIO_MetaDataRef(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return nullptr;
    return AUDIOSIGNAL_MetadataRef(_TAVOAUDIO_Signal(doc));
}

TAVO_API int64_t TAVOAUDIO_CopyMetaData(TAVOAUDIO audio, const char *field, char *buffer, int32_t size)
{
    if (field == nullptr || buffer == nullptr || size < 1) return -1;
    AUDIOMETADATA metadata = currentMetadata(audio);
    if (metadata == nullptr) return -1;
    return AUDIOMETADATA_CopyMetaData(metadata, field, buffer, static_cast<size_t>(size));
}

TAVO_API bool TAVOAUDIO_HasMetatags(TAVOAUDIO audio)
{
    AUDIOMETADATA metadata = currentMetadata(audio);
    // The artwork counts as one field of the object but is no tag.
    const int32_t artwork = AUDIOMETADATA_HasArtwork(metadata) ? 1 : 0;
    return AUDIOMETADATA_NumFields(metadata) > artwork;
}

TAVO_API bool TAVOAUDIO_HasArtwork(TAVOAUDIO audio)
{
    return AUDIOMETADATA_HasArtwork(currentMetadata(audio));
}

TAVO_API bool TAVOAUDIO_HasMetadataChanges(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    return AUDIOSIGNAL_HasChangesEx(_TAVOAUDIO_Signal(doc), AUDIOSIGNAL_CHANGE_METADATA);
}

TAVO_API int32_t TAVOAUDIO_ResetMetadataChanges(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return 0;
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    if (signal == nullptr) return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_EMPTY);
    TavoDocWriteLock lock(doc);
    if (!lock) return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_BUSY);
    if (!AUDIOSIGNAL_HasChangesEx(signal, AUDIOSIGNAL_CHANGE_METADATA)) return 1;
    // The signal has one saved mark for all kinds of change: marking it saved
    // while audio or regions are unsaved would hide those changes.
    if (AUDIOSIGNAL_HasChangesEx(signal, AUDIOSIGNAL_CHANGE_AUDIO | AUDIOSIGNAL_CHANGE_REGIONS))
        return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_BUSY);
    AUDIOSIGNAL_MarkSaved(signal, AUDIOSIGNAL_GetTimeStamp(signal, AUDIOSIGNAL_STAMP_FILE),
                          AUDIOSIGNAL_SizeInDisk(signal));
    return 1;
}

}  // extern "C"
