// save.cpp: saving in place and under a name, reverting to the saved file,
// renaming, and the stamps that tell whether the file on disk changed under
// the document.
//
// Every operation here follows one pattern: validate, take the write lock,
// let the signal library do the file work, record stamps and names, release
// the lock, and only then notify.

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "audiofile.h"
#include "audioregion.h"
#include "bldebug.h"
#include "blio.h"
#include "blsettings.h"
#include "blstring.h"
#include "frame/document_p.h"
#include "frame/lifecycle_p.h"
#include "regions/track_sidecar_p.h"
#include "tavoaudio.h"
#include "tavonotify.h"
#include "tavoproc.h"
#include "tavoregions.h"
#include "tavostate.h"
#include "tavoundo.h"
#include "tavozoom.h"
#include "view/state_p.h"

namespace {

// The canonical form of a file name, or the name as given when it has none
// (a file that does not exist yet).
void canonicalName(const char *name, char *canonical, size_t size)
{
    if (!BLIO_ExtractCanonicalFileName(name, canonical, size)) std::snprintf(canonical, size, "%s", name);
}

// Room for a format name or its parameter text, and for the effective
// format written back.
constexpr size_t kFormatPart = 512;
constexpr size_t kEffectiveFormat = 648;

// The open flags a revert asks of the signal library, as an open does.
constexpr uint32_t kSignalOpenFlags = AUDIO_OPEN_READ_TAGS | AUDIO_OPEN_PROGRESS;

// The signal library's error bits as the document's last error; a failure
// that reports no bit is still a failure of the signal library (12).
void storeSignalError(TavoDocument *doc, uint32_t signalError)
{
    const uint32_t code = _TranslateAudioSignalError(signalError);
    doc->lastError = code != 0 ? code : 12;
}

// The format a file written with `text` really has, when the text converts
// with a "FMTCONV" parameter: the same text with the converted channel count
// and rate set as "nc" and "sr". False when there is no conversion (the
// text is then used as it stands).
bool effectiveFileFormat(const char *text, AUDIO_FORMAT current, char *out, size_t outSize)
{
    char name[kFormatPart];
    char params[kFormatPart];
    if (text == nullptr) return false;
    AUDIO_DecodeParameter(text, name, sizeof(name), params, sizeof(params));
    if (name[0] == '\0') return false;
    bool converts = false;
    AUDIO_FORMAT converted = current;
    for (const char *item = params; item != nullptr && item[0] != '\0';) {
        char key[kFormatPart];
        char value[kFormatPart];
        item = AUDIO_DecodeParameter(item, key, sizeof(key), value, sizeof(value));
        if (std::strcmp(key, "FMTCONV") != 0) continue;
        if (AUDIO_GetFormatFromString(value, &converted)) converts = true;
    }
    if (!converts) return false;
    BLSTRING_AddIntegerValueToString(params, sizeof(params), "nc", converted.numChannels);
    BLSTRING_AddIntegerValueToString(params, sizeof(params), "sr", converted.sampleRate);
    std::string result = name;
    if (params[0] != '\0') result = result + "[" + params + "]";
    const size_t size = outSize < kEffectiveFormat ? outSize : kEffectiveFormat;
    std::snprintf(out, size, "%s", result.c_str());
    return true;
}

// The save-as routine that saving in place ends in as well.
bool saveAs(TavoDocument *doc, const std::string &fileName, const std::string &format, uint32_t flags)
{
    TAVOAUDIO audio = doc;
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    if (signal == nullptr) {
        storeSignalError(doc, AUDIO_ERROR_EMPTY);
        return false;
    }
    // The host hears when the document's own regions or markers cannot go
    // into a file of this format, and may cancel ("FROM_FORMAT": the
    // document's own format).
    if (TAVOAUDIO_CheckSaveIgnoringRegions(audio, format == "FROM_FORMAT" ? nullptr : format.c_str()) == 0) {
        storeSignalError(doc, AUDIO_ERROR_CANCELLED);
        return false;
    }
    const bool copyOnly = (flags & TAVOAUDIO_SAVE_COPY) != 0;
    char stored[TAVOAUDIO_FORMAT_SIZE];
    if (!effectiveFileFormat(format.c_str(), AUDIOSIGNAL_GetFormat(signal), stored, sizeof(stored)))
        std::snprintf(stored, sizeof(stored), "%s", format.c_str());

    TAVOAUDIO_ProcessStartEx(audio, true, 0);
    bool regionFilesFailed = false;
    bool saved = false;
    {
        // The whole write runs under the write lock: the signal must not
        // change between the write and the stamps that say it was written.
        TavoDocWriteLock lock(doc);
        if (!lock) {
            doc->lastError = 12;
        } else {
            uint32_t error = 0;
            saved = AUDIOSIGNAL_SaveEx(signal, fileName.c_str(), format.c_str(),
                                       flags & (AUDIO_SAVE_KEEP_BACKUP | AUDIO_SAVE_COPY), &error);
            char canonical[TAVOAUDIO_NAME_SIZE];
            canonicalName(fileName.c_str(), canonical, sizeof(canonical));
            if (!saved) {
                storeSignalError(doc, error);
                BLDEBUG_Error("TAVOAUDIO_SaveAsEx: cannot write %s as %s", fileName.c_str(), format.c_str());
            } else if (copyOnly) {
                // A copy holds the annotation tracks too, in sidecars of its
                // own name; the document's external region files stay its own.
                regionFilesFailed = !AUDIOSIGNAL_SaveSrtSidecarsEx(signal, canonical, false) ||
                                    !_TAVOTRACKS_SaveTrackSidecar(doc, signal, canonical);
            } else {
                _TAVOAUDIO_StoreFileName(doc, canonical);
                _TAVOAUDIO_StoreFileFormat(doc, stored);
                TAVOSTATE_ResetTimeStamps(audio);
                doc->changeStamp = AUDIOSIGNAL_GetTimeStamp(signal, AUDIOSIGNAL_STAMP_CONTENT);
                doc->fileStamp = AUDIOSIGNAL_GetTimeStamp(signal, AUDIOSIGNAL_STAMP_FILE);
                const int64_t size = AUDIOSIGNAL_SizeInDisk(signal);
                doc->fileSize = size > 0 ? static_cast<uint64_t>(size) : 0;
                // The document is its file now: nothing to ask about on close,
                // and no longer a recovered copy.
                doc->state->fileFlags |= TAVOSTATE_FILE_OWN;
                doc->state->fileFlags &= ~(TAVOSTATE_FILE_ASK_ON_CLOSE | TAVOSTATE_FILE_RECOVERED |
                                           TAVOSTATE_FILE_RESET_LINK);
                regionFilesFailed = !_TAVOAUDIO_SaveRegionFiles(doc, signal, canonical, nullptr);
            }
        }
    }
    if (!TAVOAUDIO_IsValid(audio)) return saved;
    TAVOAUDIO_ProcessFinish(audio, !saved);
    if (!saved) return false;
    if (regionFilesFailed) _TAVOAUDIO_Send(doc, TAVOAUDIO_SAVE_EXTERNAL_REGION_FAIL, nullptr, nullptr, nullptr);
    if (copyOnly) return true;
    _TAVOAUDIO_SendFileNameChanged(doc);
    TAVOSTATE_NotifyChanges(audio, 0, TAVOAUDIO_CHANGES_ALL);
    return true;
}

void formatStamp(uint64_t stamp, char *buffer, size_t size)
{
    BLtime time;
    if (stamp == 0 || !BLUTILS_TimestampToBLtime(static_cast<int64_t>(stamp), &time)) {
        std::snprintf(buffer, size, "none");
        return;
    }
    std::snprintf(buffer, size, "%04d-%02d-%02d %02d:%02d:%02d.%03d", time.year, time.month, time.day, time.hour,
                  time.minute, time.second, time.millisecond);
}

} // namespace

bool _TAVOAUDIO_SaveRegionFiles(TavoDocument *doc, AUDIOSIGNAL signal, const char *audioName, uint32_t *error)
{
    // The sidecars first: writing them binds the tracks to the sidecars of
    // `audioName`, so that the external-region pass does not write them
    // again to the sidecars of a name the document had before (a save
    // under another name, a rename).
    const bool sidecars = AUDIOSIGNAL_SaveSrtSidecars(signal, audioName);
    uint32_t failure = 0;
    const bool external = AUDIOSIGNAL_SaveExternalRegions(signal, &failure);
    const bool tracks = _TAVOTRACKS_SaveTrackSidecar(doc, signal, audioName);
    if (error != nullptr) *error = failure == 0 && !(sidecars && tracks) ? AUDIO_ERROR_CANNOT_WRITE : failure;
    return external && sidecars && tracks;
}

TAVO_API bool TAVOAUDIO_SaveAsEx(TAVOAUDIO audio, const char *fileName, const char *format, uint32_t flags)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    if (fileName == nullptr || fileName[0] == '\0') {
        storeSignalError(doc, AUDIO_ERROR_INVALID_ARGUMENT);
        return false;
    }
    return saveAs(doc, fileName, format != nullptr ? format : "FROM_FORMAT", flags);
}

TAVO_API bool TAVOAUDIO_SaveEx(TAVOAUDIO audio, uint32_t flags)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    const uint32_t fileFlags = doc->state->fileFlags;
    // A document without a file of its own is saved under a name instead.
    if ((fileFlags & TAVOSTATE_FILE_OWN) == 0) return false;
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    if (signal == nullptr || (fileFlags & TAVOSTATE_FILE_READ_ONLY) != 0) return false;
    const bool forced = (fileFlags & TAVOSTATE_FILE_ASK_ON_CLOSE) != 0;
    const std::string fileName = doc->fileName;
    const std::string format = doc->fileFormat;

    if (!forced && !AUDIOSIGNAL_HasChangesEx(signal, AUDIOSIGNAL_CHANGE_AUDIO)) {
        if (AUDIOSIGNAL_HasChangesEx(signal, AUDIOSIGNAL_CHANGE_REGIONS)) {
            bool written = false;
            {
                TavoDocReadLock lock(doc);
                if (!lock) return false;
                written = _TAVOAUDIO_SaveRegionFiles(doc, signal, fileName.c_str(), nullptr);
            }
            if (!written) {
                // Rewriting the audio cannot make a region file writable, and
                // would only report the same failure again. The save stops
                // here with false: the audio file and its tags are as they
                // were, the document still counts as changed, and the next
                // save tries again.
                storeSignalError(doc, AUDIO_ERROR_CANNOT_WRITE);
                _TAVOAUDIO_Send(doc, TAVOAUDIO_SAVE_EXTERNAL_REGION_FAIL, nullptr, nullptr, nullptr);
                return false;
            }
        }

        if (AUDIOSIGNAL_HasChangesEx(signal, AUDIOSIGNAL_CHANGE_METADATA)) {
            bool updated = false;
            {
                TavoDocReadLock lock(doc);
                if (!lock) return false;
                TAVOAUDIO_ProcessStartEx(audio, true, 0);
                updated = AUDIOSIGNAL_UpdateMetadata(signal, fileName.c_str(), format.c_str());
            }
            if (updated) {
                if ((doc->flags & TAVOAUDIO_FLAG_EDITABLE) != 0 && TAVOAUDIO_GetEditAccessEx(audio, false)) {
                    TAVOSTATE_ResetTimeStamps(audio);
                    doc->fileStamp = AUDIOSIGNAL_GetTimeStamp(signal, AUDIOSIGNAL_STAMP_FILE);
                    const int64_t size = AUDIOSIGNAL_SizeInDisk(signal);
                    doc->fileSize = size > 0 ? static_cast<uint64_t>(size) : 0;
                    TAVOAUDIO_ReleaseEditAccess(audio);
                }
                TAVOAUDIO_ProcessFinish(audio, false);
            } else if (_TAVOAUDIO_Send(doc, TAVOAUDIO_REWRITE_ON_SAVE_METADATA, nullptr, nullptr, nullptr) == 0) {
                // The host declined a full rewrite.
                if (TAVOAUDIO_IsValid(audio)) TAVOAUDIO_ProcessFinish(audio, true);
                return false;
            } else {
                TAVOAUDIO_ProcessFinish(audio, false);
            }
        }

        if (!AUDIOSIGNAL_HasChangesEx(signal, AUDIOSIGNAL_CHANGE_AUDIO | AUDIOSIGNAL_CHANGE_METADATA |
                                                  AUDIOSIGNAL_CHANGE_REGIONS)) {
            // Everything reached the disk without a rewrite: the document
            // counts as saved.
            TavoDocWriteLock lock(doc);
            if (lock) TAVOSTATE_ResetTimeStamps(audio);
            return true;
        }
    }

    const bool keep = BLSETTINGS_GetBoolEx(nullptr, "libtavo.saveoptions.keeporiginalfile=[%d]", 0);
    return saveAs(doc, fileName, format, flags | (keep ? TAVOAUDIO_SAVE_KEEP_ORIGINAL : 0));
}

TAVO_API bool TAVOAUDIO_RevertToSaved(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    if ((doc->state->fileFlags & TAVOSTATE_FILE_OWN) == 0 || _TAVOAUDIO_Signal(doc) == nullptr) return false;
    const std::string fileName = doc->fileName;
    const std::string format = doc->fileFormat;

    // The file is read before the lock is taken: readers keep working on
    // the old signal until the new one is swapped in.
    uint32_t error = 0;
    AUDIOSIGNAL fresh = AUDIOSIGNAL_OpenEx(fileName.c_str(), format.c_str(), kSignalOpenFlags, doc,
                                           _TAVOAUDIO_SignalCallback, &error);
    if (fresh == nullptr) {
        storeSignalError(doc, error);
        return false;
    }
    AUDIOSIGNAL old = nullptr;
    {
        TavoDocWriteLock lock(doc);
        if (!lock) {
            AUDIOSIGNAL_Destroy(fresh);
            doc->lastError = 12;
            return false;
        }
        old = _TAVOAUDIO_AttachSignal(doc, fresh);
        // The annotation tracks come back from their sidecars as on open.
        _TAVOAUDIO_ReadSidecars(doc, fresh);
        if (!AUDIO_SupportFormat(1, doc->fileFormat)) AUDIOSIGNAL_SetReadOnly(fresh, true);
        // The undo steps describe edits of the signal just dropped.
        if (doc->undo != nullptr && TAVOUNDO_DestroyStack(audio)) doc->undo = nullptr;
        TAVOSTATE_ResetTimeStamps(audio);
        doc->changeStamp = AUDIOSIGNAL_GetTimeStamp(fresh, AUDIOSIGNAL_STAMP_CONTENT);
        doc->fileStamp = AUDIOSIGNAL_GetTimeStamp(fresh, AUDIOSIGNAL_STAMP_FILE);
        const int64_t size = AUDIOSIGNAL_SizeInDisk(fresh);
        doc->fileSize = size > 0 ? static_cast<uint64_t>(size) : 0;
        doc->state->fileFlags &= ~(TAVOSTATE_FILE_ASK_ON_CLOSE | TAVOSTATE_FILE_RECOVERED);
        TAVOAUDIO_SetZoomLimitsEx(audio, -1, -1, 0);
        TAVOAUDIO_ZoomResetEx(audio, 0);
        TAVOAUDIO_SetCursorPositionEx2(audio, 0, 0);
        TAVOSTATE_ResetRegionsState(doc->state);
    }
    if (old != nullptr) AUDIOSIGNAL_Destroy(old);
    TAVOSTATE_NotifyChanges(audio, 0, TAVOAUDIO_CHANGES_ALL);
    return true;
}

TAVO_API bool TAVOAUDIO_RenameEx(TAVOAUDIO audio, const char *newName, uint32_t flags)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    if (newName == nullptr || newName[0] == '\0') {
        storeSignalError(doc, AUDIO_ERROR_INVALID_ARGUMENT);
        return false;
    }
    char canonical[TAVOAUDIO_NAME_SIZE];
    canonicalName(newName, canonical, sizeof(canonical));
    const std::string oldName = doc->fileName;
    {
        TavoDocWriteLock lock(doc);
        if (!lock) return false;
        const bool onDisk = (doc->state->fileFlags & TAVOSTATE_FILE_OWN) != 0 &&
                            (flags & TAVOAUDIO_RENAME_NAME_ONLY) == 0;
        if (onDisk) {
            // Never over another file. Between this test and the rename
            // another program could create the target; rename(2) would then
            // replace it, which the host's own file dialogs guard against.
            if (BLIO_FileKind(canonical) != BLIO_FILEKIND_NONE) {
                storeSignalError(doc, AUDIO_ERROR_CANNOT_WRITE);
                return false;
            }
            if (std::rename(oldName.c_str(), canonical) != 0) {
                storeSignalError(doc, errno == ENOENT ? AUDIO_ERROR_FILE_NOT_FOUND : AUDIO_ERROR_CANNOT_WRITE);
                return false;
            }
        }
        // The sidecars follow the file, also when the host moved the audio
        // itself (it does not know them): left behind, they would be lost to
        // it on the next open. A sidecar that cannot move is logged; the next
        // save writes it again under the new name.
        if ((doc->state->fileFlags & TAVOSTATE_FILE_OWN) != 0) _TAVOAUDIO_MoveSidecars(oldName.c_str(), canonical);
        _TAVOAUDIO_StoreFileName(doc, canonical);
        AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
        if (signal != nullptr && onDisk) AUDIOSIGNAL_SetSignalLabel(signal, canonical);
        if (doc->displayName != nullptr) {
            BLMEM_Delete(doc->memory, doc->displayName);
            doc->displayName = nullptr;
        }
        char shown[TAVOAUDIO_NAME_SIZE];
        if (BLIO_ExtractFileName(canonical, shown, sizeof(shown)) && shown[0] != '\0')
            doc->displayName = BLSTRING_DuplicateString(doc->memory, shown);
    }
    _TAVOAUDIO_SendFileNameChanged(doc);
    char *oldText = const_cast<char *>(oldName.c_str());
    BLNOTIFY_SendEvent(nullptr, 0, TAVODATABASE_RENAME_AUDIO, doc, oldText, doc->fileName);
    BLNOTIFY_SendEvent(nullptr, 0, TAVODATABASE_RENAME_RECENT_FILENAME, doc, oldText, doc->fileName);
    return true;
}

TAVO_API bool TAVOAUDIO_FileChangedExternally(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || (doc->state->fileFlags & TAVOSTATE_FILE_OWN) == 0) return false;
    TavoDocReadLock lock(doc);
    if (!lock) return false;
    const int64_t size = BLIO_FileSizeOnDiskEx(doc->fileName);
    if (size < 0) return true;   // gone
    return _TAVOAUDIO_FileStamp(doc->fileName) != doc->fileStamp || static_cast<uint64_t>(size) != doc->fileSize;
}

TAVO_API bool TAVOAUDIO_AcceptExternalChange(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || (doc->state->fileFlags & TAVOSTATE_FILE_OWN) == 0) return false;
    TavoDocWriteLock lock(doc);
    if (!lock) return false;
    const int64_t size = BLIO_FileSizeOnDiskEx(doc->fileName);
    if (size < 0) return false;
    doc->fileStamp = _TAVOAUDIO_FileStamp(doc->fileName);
    doc->fileSize = static_cast<uint64_t>(size);
    return true;
}

TAVO_API bool TAVOAUDIO_GetExternalChangeStamps(TAVOAUDIO audio, char *buffer, int32_t size)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || buffer == nullptr || size < 1) return false;
    char loaded[64];
    char onDisk[64];
    char changed[32];
    formatStamp(doc->fileStamp, loaded, sizeof(loaded));
    formatStamp(_TAVOAUDIO_FileStamp(doc->fileName), onDisk, sizeof(onDisk));
    std::snprintf(changed, sizeof(changed), "%llu", static_cast<unsigned long long>(doc->changeStamp));
    std::snprintf(buffer, static_cast<size_t>(size), "AudioLoadStamp: %s / AudioFileStamp: %s / AudioChangeStamp: %s\n",
                  loaded, onDisk, changed);
    return true;
}
