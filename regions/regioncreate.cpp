// regioncreate.cpp: creating regions, markers and loops.
//
// Kind names: "undef" (the default of TAVOAUDIO_CreateRegionEx2) makes a
// region or a marker from the times and keeps the label exactly as given,
// which is what programmatic callers (importers, other engine modules) want.
// "default" is what the user's commands use (TAVOAUDIO_AddRegion and the
// marker commands): an empty label becomes "Region %d" / "Marker %d", so
// every region the user adds has a name to show.

#include <cmath>

#include "audioformat.h"
#include "audioregion.h"
#include "regions/regions_p.h"
#include "tavoaudio.h"
#include "tavonotify.h"
#include "tavoregions.h"
#include "tavoundo.h"
#include "view/state_p.h"

namespace {

// The signal library hands back at most this many regions per creation
// (one per channel with AUDIOSIGNAL_CREATE_PER_CHANNEL).
constexpr int32_t kMaxCreated = 24;

}  // namespace

TAVO_API AUDIOREGION TAVOAUDIO_CreateRegionEx2(TAVOAUDIO audio, const char *trackUniqId, int64_t begin, int64_t end,
                                               const char *kind, const char *text1, const char *text2, uint32_t flags,
                                               const char *label)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr) return nullptr;
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    if (signal == nullptr) return nullptr;
    if (begin < 0 || end < begin || end > AUDIOSIGNAL_NumFrames(signal)) return nullptr;
    const char *kindText = kind != nullptr && kind[0] != '\0' ? kind : "undef";

    AUDIOCUSTOMTRACK custom = nullptr;
    if (trackUniqId != nullptr && trackUniqId[0] != '\0' && AUDIOSIGNAL_ContainsTrackUniqId(signal, trackUniqId))
        custom = AUDIOSIGNAL_FindCustomTrack(signal, trackUniqId);
    if (custom != nullptr && AUDIOCUSTOMTRACK_IsReadOnly(custom) && (flags & TAVOREGION_CREATE_ON_READ_ONLY) == 0)
        return nullptr;
    const int32_t track = AUDIOSIGNAL_FindRegionTrackIndex(signal, trackUniqId);
    if (track < 0) return nullptr;

    // Format check, while the file can still be saved in its own format: a
    // host that accepts a region its format cannot keep accepts that the
    // document must be saved in another format.
    bool markReadOnly = false;
    if ((doc->state->fileFlags & TAVOSTATE_FILE_READ_ONLY) == 0) {
        const bool marker = begin == end;
        const bool externalTrack = AUDIOREGIONTRACK_IsExternal(AUDIOSIGNAL_GetRegionTrack(signal, track));
        int32_t event = 0;
        if (marker && !AUDIOSIGNAL_FormatSupportRegion(signal, doc->fileFormat, AUDIOSIGNAL_SUPPORT_MARKERS))
            event = TAVOAUDIO_FORMAT_DONT_SUPPORT_MARKERS;
        else if (!marker && !externalTrack &&
                 !AUDIOSIGNAL_FormatSupportRegion(signal, doc->fileFormat, AUDIOSIGNAL_SUPPORT_REGIONS))
            event = TAVOAUDIO_FORMAT_DONT_SUPPORT_REGIONS;
        if (event != 0) {
            if (_TAVOAUDIO_Send(doc, event, doc->fileFormat, nullptr, nullptr) == 0) return nullptr;
            markReadOnly = true;
        }
    }
    if (custom != nullptr && AUDIOCUSTOMTRACK_IsTemporary(custom)) flags |= TAVOREGION_CREATE_TEMPORARY;

    AUDIOREGION created[kMaxCreated] = {};
    int32_t count = 0;
    {
        RegionEditAccess access(doc);
        if (!access) return nullptr;
        TAVOUNDOSCRIPT script = nullptr;
        bool pushAtEnd = false;
        if ((flags & TAVOREGION_CREATE_NO_UNDO) == 0) {
            // Joining means the step being built: the host's open group when
            // there is one, else the newest step of the stack.
            if ((flags & TAVOREGION_CREATE_JOIN_UNDO) != 0)
                script = doc->pendingGroup != nullptr ? doc->pendingGroup : TAVOUNDO_NextUndoScript(doc);
            if (script == nullptr) {
                script = TAVOUNDO_CreateUndoScript(doc, label != nullptr ? label : "Add Region", doc->state);
                if (script == nullptr) return nullptr;
                pushAtEnd = true;
            }
            if (!TAVOUNDO_AddRevertAllLinkedTracks(script, signal)) {
                if (pushAtEnd) TAVOUNDO_DestroyUndoScript(doc, script);
                return nullptr;
            }
        }
        count = AUDIOSIGNAL_CreateRegionsOnTrack(signal, flags, _TAVOREGIONS_Seconds(signal, begin),
                                                 _TAVOREGIONS_Seconds(signal, end), kindText, text1, text2, track,
                                                 created, kMaxCreated);
        if (count < 1) {
            // A joined step keeps what it held; the copies just added put
            // back tracks that did not change.
            if (pushAtEnd) TAVOUNDO_DestroyUndoScript(doc, script);
            return nullptr;
        }
        if (script != nullptr) {
            if (!TAVOUNDO_AddRevertCreateRegions(script, created, count)) {
                for (int32_t i = 0; i < count; ++i)
                    AUDIOSIGNAL_DeleteRegion(signal, created[i], AUDIOSIGNAL_DELETE_FOR_GOOD);
                if (pushAtEnd) TAVOUNDO_DestroyUndoScript(doc, script);
                return nullptr;
            }
            if (pushAtEnd) TAVOUNDO_PushUndoScript(doc, script);
        }
        if (markReadOnly) doc->state->fileFlags |= TAVOSTATE_FILE_READ_ONLY;
    }
    _TAVOREGIONS_After(doc, AUDIOSIGNAL_IsRegionExternal(signal, created[0]), created[0]);
    return created[0];
}

TAVO_API AUDIOREGION TAVOAUDIO_AddRegion(TAVOAUDIO audio, int64_t begin, int64_t end, const char *label)
{
    return TAVOAUDIO_CreateRegionEx2(audio, nullptr, begin, end, "default", label, nullptr, 0, "Add Region");
}

TAVO_API AUDIOREGION TAVOAUDIO_AddMarkerToSample(TAVOAUDIO audio, int64_t frame, const char *label)
{
    return TAVOAUDIO_CreateRegionEx2(audio, nullptr, frame, frame, "default", label, nullptr, 0, "Add Marker");
}

TAVO_API AUDIOREGION TAVOAUDIO_AddMarker(TAVOAUDIO audio, const char *label)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr) return nullptr;
    return TAVOAUDIO_AddMarkerToSample(audio, doc->state->cursor, label);
}

TAVO_API AUDIOREGION TAVOAUDIO_AddMarkerToPosition(TAVOAUDIO audio, double seconds, const char *label)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || !std::isfinite(seconds) || seconds < 0) return nullptr;
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    if (signal == nullptr) return nullptr;
    return TAVOAUDIO_AddMarkerToSample(audio, AUDIO_Time2Sample(AUDIOSIGNAL_GetFormatRef(signal), seconds), label);
}

TAVO_API AUDIOREGION TAVOAUDIO_CreateLoopEx(TAVOAUDIO audio, int64_t begin, int64_t end, const char *label)
{
    // A loop of zero length would loop nothing.
    if (end <= begin) return nullptr;
    return TAVOAUDIO_CreateRegionEx2(audio, nullptr, begin, end, "loop", label, nullptr, 0, "Add Region");
}

TAVO_API AUDIOREGION TAVOAUDIO_AddLoop(TAVOAUDIO audio, int64_t begin, int64_t end)
{
    if (end <= begin) return nullptr;
    return TAVOAUDIO_CreateRegionEx2(audio, nullptr, begin, end, "loop", nullptr, nullptr, 0, "Add Loop");
}
