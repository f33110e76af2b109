// regionnav.cpp: moving from region to region: next and previous on a track
// or across tracks, top-level regions, first and last of a track, the
// selected ones, markers around a position, lookups by position, label and
// index.
//
// Every search passes the view state's region search option, so a host that
// shows hidden regions (or only markers) navigates through what it shows.
// A region handed in must be a region of this document's signal: the
// signal's searches would otherwise walk another document's track.

#include <cstdint>
#include <cstring>
#include <vector>

#include "audioformat.h"
#include "audioregion.h"
#include "audiosignal.h"
#include "frame/document_p.h"
#include "regions/regionquery_p.h"
#include "tavoaudio.h"
#include "tavoregionview.h"
#include "view/selection_p.h"
#include "view/state_p.h"

namespace {

// Runs a search with the read lock of a usable document; `search` receives
// the signal and the state's search option.
template <typename Search>
AUDIOREGION withSearch(TAVOAUDIO audio, Search search)
{
    TavoDocument *doc = _TAVOREGIONVIEW_Document(audio);
    if (doc == nullptr) return nullptr;
    SelectionRead access(audio);
    if (!access) return nullptr;
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    if (signal == nullptr) return nullptr;
    return search(signal, _TAVOREGIONVIEW_SearchOption(doc->state));
}

// A step from `region`, refused for a region that is not the document's.
template <typename Step>
AUDIOREGION stepFrom(TAVOAUDIO audio, AUDIOREGION region, Step step)
{
    if (region == nullptr) return nullptr;
    return withSearch(audio, [&](AUDIOSIGNAL signal, uint32_t option) -> AUDIOREGION {
        if (!_TAVOREGIONVIEW_InSignal(signal, region)) return nullptr;
        return step(signal, option);
    });
}

// The track index of unique id `trackUniqId`, -1 for an unknown or deleted track.
int32_t trackIndexOf(AUDIOSIGNAL signal, const char *trackUniqId)
{
    const int32_t index = AUDIOSIGNAL_FindRegionTrackIndex(signal, trackUniqId);
    if (index < 0) return -1;
    AUDIOREGIONTRACK track = AUDIOSIGNAL_GetRegionTrack(signal, index);
    return track != nullptr && !AUDIOREGIONTRACK_IsDeleted(track) ? index : -1;
}

bool validTrack(AUDIOSIGNAL signal, int32_t trackIndex)
{
    return trackIndex == -1 || (trackIndex >= 0 && trackIndex < AUDIOSIGNAL_NumRegionTracks(signal));
}

double frameToSeconds(AUDIOSIGNAL signal, int64_t frame)
{
    return AUDIO_Sample2Time(AUDIOSIGNAL_GetFormatRef(signal), frame);
}

// The `index`-th region the option lets through over all tracks.
AUDIOREGION nthRegion(AUDIOSIGNAL signal, uint32_t option, int32_t index)
{
    if (index < 0) return nullptr;
    const int32_t count = AUDIOSIGNAL_CountRegions(signal, -1, option);
    if (index >= count) return nullptr;
    std::vector<AUDIOREGION> regions(static_cast<size_t>(count));
    const int32_t got = AUDIOSIGNAL_GetRegions(signal, -1, option, regions.data(), count);
    return index < got ? regions[static_cast<size_t>(index)] : nullptr;
}

}  // namespace

TAVO_API AUDIOREGION TAVOAUDIO_GetNextRegion(TAVOAUDIO audio, AUDIOREGION region)
{
    return stepFrom(audio, region, [&](AUDIOSIGNAL signal, uint32_t option) {
        return AUDIOSIGNAL_FindNextOnTrackRegion(signal, region, option);
    });
}

TAVO_API AUDIOREGION TAVOAUDIO_GetPrevRegion(TAVOAUDIO audio, AUDIOREGION region)
{
    return stepFrom(audio, region, [&](AUDIOSIGNAL signal, uint32_t option) {
        return AUDIOSIGNAL_FindPrevOnTrackRegion(signal, region, option);
    });
}

TAVO_API AUDIOREGION TAVOAUDIO_GetNextRegionEx(TAVOAUDIO audio, AUDIOREGION region, bool anyTrack)
{
    return stepFrom(audio, region, [&](AUDIOSIGNAL signal, uint32_t option) {
        return anyTrack ? AUDIOSIGNAL_FindNextRegion(signal, region, option)
                        : AUDIOSIGNAL_FindNextOnTrackRegion(signal, region, option);
    });
}

TAVO_API AUDIOREGION TAVOAUDIO_GetPrevRegionEx(TAVOAUDIO audio, AUDIOREGION region, bool anyTrack)
{
    return stepFrom(audio, region, [&](AUDIOSIGNAL signal, uint32_t option) {
        return anyTrack ? AUDIOSIGNAL_FindPrevRegion(signal, region, option)
                        : AUDIOSIGNAL_FindPrevOnTrackRegion(signal, region, option);
    });
}

TAVO_API AUDIOREGION TAVOAUDIO_GetNextTopLevelRegion(TAVOAUDIO audio, AUDIOREGION region)
{
    return stepFrom(audio, region, [&](AUDIOSIGNAL signal, uint32_t option) {
        return AUDIOSIGNAL_FindNextTopLevelRegion(signal, region, option);
    });
}

TAVO_API AUDIOREGION TAVOAUDIO_GetPrevTopLevelRegion(TAVOAUDIO audio, AUDIOREGION region)
{
    return stepFrom(audio, region, [&](AUDIOSIGNAL signal, uint32_t option) {
        return AUDIOSIGNAL_FindPrevTopLevelRegion(signal, region, option);
    });
}

TAVO_API AUDIOREGION TAVOAUDIO_GetFirstRegion(TAVOAUDIO audio, const char *trackUniqId)
{
    return withSearch(audio, [&](AUDIOSIGNAL signal, uint32_t option) -> AUDIOREGION {
        const int32_t index = trackIndexOf(signal, trackUniqId);
        return index >= 0 ? AUDIOSIGNAL_FindFirstRegion(signal, index, option) : nullptr;
    });
}

TAVO_API AUDIOREGION TAVOAUDIO_GetLastRegion(TAVOAUDIO audio, const char *trackUniqId)
{
    return withSearch(audio, [&](AUDIOSIGNAL signal, uint32_t option) -> AUDIOREGION {
        const int32_t index = trackIndexOf(signal, trackUniqId);
        return index >= 0 ? AUDIOSIGNAL_FindLastRegion(signal, index, option) : nullptr;
    });
}

TAVO_API AUDIOREGION TAVOAUDIO_GetFirstSelectedRegion(TAVOAUDIO audio)
{
    return withSearch(audio, [](AUDIOSIGNAL signal, uint32_t option) {
        return nthRegion(signal, option | AUDIOREGION_SEARCH_SELECTED, 0);
    });
}

TAVO_API AUDIOREGION TAVOAUDIO_GetLastSelectedRegion(TAVOAUDIO audio)
{
    return withSearch(audio, [](AUDIOSIGNAL signal, uint32_t option) {
        const uint32_t selected = option | AUDIOREGION_SEARCH_SELECTED;
        return nthRegion(signal, selected, AUDIOSIGNAL_CountRegions(signal, -1, selected) - 1);
    });
}

TAVO_API AUDIOREGION TAVOAUDIO_GetNextMarkerFromPosition(TAVOAUDIO audio, int64_t frame, int32_t trackIndex)
{
    return withSearch(audio, [&](AUDIOSIGNAL signal, uint32_t option) -> AUDIOREGION {
        if (!validTrack(signal, trackIndex)) return nullptr;
        return AUDIOSIGNAL_FindNextMarkerFromPosition(signal, trackIndex, frameToSeconds(signal, frame), option);
    });
}

TAVO_API AUDIOREGION TAVOAUDIO_GetPrevMarkerFromPosition(TAVOAUDIO audio, int64_t frame, int32_t trackIndex)
{
    return withSearch(audio, [&](AUDIOSIGNAL signal, uint32_t option) -> AUDIOREGION {
        if (!validTrack(signal, trackIndex)) return nullptr;
        return AUDIOSIGNAL_FindPrevMarkerFromPosition(signal, trackIndex, frameToSeconds(signal, frame), option);
    });
}

TAVO_API AUDIOREGION TAVOAUDIO_FindRegionOverPosition(TAVOAUDIO audio, int64_t frame, int32_t trackIndex)
{
    return withSearch(audio, [&](AUDIOSIGNAL signal, uint32_t option) -> AUDIOREGION {
        if (!validTrack(signal, trackIndex)) return nullptr;
        return AUDIOSIGNAL_FindRegionOverPosition(signal, trackIndex, frameToSeconds(signal, frame), option);
    });
}

TAVO_API AUDIOREGION TAVOAUDIO_FindRegion(TAVOAUDIO audio, const char *label)
{
    if (label == nullptr) return nullptr;
    return withSearch(audio, [&](AUDIOSIGNAL signal, uint32_t option) -> AUDIOREGION {
        const int32_t count = AUDIOSIGNAL_CountRegions(signal, -1, option);
        if (count < 1) return nullptr;
        std::vector<AUDIOREGION> regions(static_cast<size_t>(count));
        const int32_t got = AUDIOSIGNAL_GetRegions(signal, -1, option, regions.data(), count);
        for (int32_t i = 0; i < got; ++i) {
            const char *text = AUDIOREGION_GetLabel(regions[static_cast<size_t>(i)]);
            if (text != nullptr && std::strcmp(text, label) == 0) return regions[static_cast<size_t>(i)];
        }
        return nullptr;
    });
}

TAVO_API AUDIOREGION TAVOAUDIO_GetMarker(TAVOAUDIO audio, int32_t index)
{
    return withSearch(audio, [&](AUDIOSIGNAL signal, uint32_t option) -> AUDIOREGION {
        // An option that excludes markers leaves nothing to count.
        if ((option & AUDIOREGION_SEARCH_NO_MARKERS) != 0) return nullptr;
        return nthRegion(signal, option | AUDIOREGION_SEARCH_MARKERS_ONLY, index);
    });
}

TAVO_API AUDIOREGION TAVOAUDIO_GetRegion(TAVOAUDIO audio, int32_t index)
{
    return withSearch(audio, [&](AUDIOSIGNAL signal, uint32_t option) { return nthRegion(signal, option, index); });
}
