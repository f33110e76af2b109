// regionfiles.cpp: reading, importing and saving region files, and the
// warning before a save that would drop regions.
//
// Reading and importing differ in one thing: a read links the track to the
// file (its changes go back to that file on save), an import copies the
// regions into the document and forgets the file. Both are one undo step, so
// that the steps recorded before (which hold copies of the region tracks)
// stay consistent with the signal.

#include <vector>

#include "audioformat.h"
#include "audioregion.h"
#include "frame/lifecycle_p.h"
#include "regions/regions_p.h"
#include "tavoaudio.h"
#include "tavonotify.h"
#include "tavoregions.h"
#include "tavoundo.h"
#include "view/state_p.h"

namespace {

constexpr uint32_t kErrorSignalLibrary = 12;   // the catch-all code of a failed libaudiosig call

// Reads `fileName` into the document's signal with `flags` as one undo step
// "Import Regions". Tracks the read adds are recorded as created, the others
// as they were. Call with no lock held.
int32_t readFile(TavoDocument *doc, const char *fileName, const char *format, uint32_t flags, bool linked)
{
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    if (signal == nullptr) return 0;
    {
        RegionEditAccess access(doc);
        if (!access) return 0;
        TAVOUNDOSCRIPT script = TAVOUNDO_CreateUndoScript(doc, "Import Regions", doc->state);
        if (script == nullptr || !TAVOUNDO_AddRevertAllTracks(script, signal)) {
            if (script != nullptr) TAVOUNDO_DestroyUndoScript(doc, script);
            return 0;
        }
        const int32_t before = AUDIOSIGNAL_NumRegionTracks(signal);
        if (!AUDIOSIGNAL_ReadRegionsEx(signal, fileName, format, flags)) {
            // The library reads the whole file before changing anything.
            TAVOUNDO_DestroyUndoScript(doc, script);
            doc->lastError = kErrorSignalLibrary;
            return 0;
        }
        bool recorded = true;
        const int32_t after = AUDIOSIGNAL_NumRegionTracks(signal);
        for (int32_t i = before; i < after && recorded; ++i) {
            recorded = TAVOUNDO_AddRevertCreateTrack(script,
                                                     AUDIOREGIONTRACK_GetUniqId(AUDIOSIGNAL_GetRegionTrack(signal, i)));
        }
        if (!recorded) {
            _TAVOREGIONS_Rollback(doc, script);
            return 0;
        }
        TAVOUNDO_PushUndoScript(doc, script);
        if (linked) doc->state->fileFlags |= TAVOSTATE_FILE_REGIONS_LOADED;
    }
    _TAVOREGIONS_After(doc, false, nullptr);
    return 1;
}

int32_t countTrack0(AUDIOSIGNAL signal, uint32_t option)
{
    return AUDIOSIGNAL_CountRegions(signal, 0, option);
}

}  // namespace

TAVO_API int32_t TAVOAUDIO_ReadRegions(TAVOAUDIO audio, const char *fileName, const char *format)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr || fileName == nullptr || fileName[0] == '\0') return 0;
    const char *formatText = format != nullptr ? format : "AUTO";
    // The host may decline to load the file (0), as when a document opens
    // with a pending region file.
    if (_TAVOAUDIO_Send(doc, TAVOEVENT_LOAD_EXTERNAL_REGION_FILE, const_cast<char *>(fileName),
                        const_cast<char *>(formatText), nullptr) == 0)
        return 0;
    return readFile(doc, fileName, formatText, AUDIOSIGNAL_REGIONS_EXTERNAL, true);
}

TAVO_API int32_t TAVOAUDIO_ImportRegions(TAVOAUDIO audio, const char *fileName, const char *format)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr || fileName == nullptr || fileName[0] == '\0') return 0;
    return readFile(doc, fileName, format != nullptr ? format : "AUTO", 0, false);
}

TAVO_API int32_t TAVOAUDIO_SaveExternalRegions(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr) return 0;
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    if (signal == nullptr) return 0;
    bool saved = false;
    {
        // Writing marks the tracks unchanged: that is a change of the signal.
        TavoDocWriteLock lock(doc);
        if (!lock) return 0;
        uint32_t error = 0;
        // Sidecars (annotation tracks and their list) belong next to the
        // document's own file; without one there is nowhere to put them.
        if ((doc->state->fileFlags & TAVOSTATE_FILE_OWN) != 0) {
            saved = _TAVOAUDIO_SaveRegionFiles(doc, signal, doc->fileName, &error);
        } else {
            saved = AUDIOSIGNAL_SaveExternalRegions(signal, &error);
        }
        if (!saved) {
            const uint32_t code = _TranslateAudioSignalError(error);
            doc->lastError = code != 0 ? code : kErrorSignalLibrary;
        }
    }
    if (!saved) {
        _TAVOAUDIO_Send(doc, TAVOAUDIO_SAVE_EXTERNAL_REGION_FAIL, nullptr, nullptr, nullptr);
        return 0;
    }
    return 1;
}

TAVO_API int32_t TAVOAUDIO_CheckSaveIgnoringRegions(TAVOAUDIO audio, const char *format)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return 0;
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    if (signal == nullptr) return 0;
    const char *formatText = format != nullptr ? format : doc->fileFormat;
    bool loses = false;
    {
        TavoDocReadLock lock(doc);
        if (!lock) return 0;
        // Only track 0 goes into the audio file; annotation tracks are kept
        // in region files of their own whatever the format.
        const int32_t regions = countTrack0(signal, AUDIOREGION_SEARCH_HIDDEN | AUDIOREGION_SEARCH_NO_MARKERS);
        const int32_t markers = countTrack0(signal, AUDIOREGION_SEARCH_HIDDEN | AUDIOREGION_SEARCH_MARKERS_ONLY);
        loses = (regions > 0 && !AUDIOSIGNAL_FormatSupportRegion(signal, formatText, AUDIOSIGNAL_SUPPORT_REGIONS)) ||
                (markers > 0 && !AUDIOSIGNAL_FormatSupportRegion(signal, formatText, AUDIOSIGNAL_SUPPORT_MARKERS));
    }
    if (!loses) return 1;
    return _TAVOAUDIO_Send(doc, TAVOEVENT_SAVE_IGNORING_REGIONS, const_cast<char *>(formatText), nullptr, nullptr) == 0
               ? 0
               : 1;
}
