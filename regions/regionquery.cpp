// regionquery.cpp: what the document can tell about its regions: counts,
// lists, the regions inside the view, one region's kind, flags, texts and
// place, external region files and format support.
//
// Queries try the document's read lock once, like the selection queries: a
// menu or a paint asking while a long edit runs gets the failure value
// instead of waiting.

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

// Regions that count as the document's: not deleted, hidden ones included.
constexpr uint32_t kLiveRegions = AUDIOREGION_SEARCH_HIDDEN;

// Runs `work` with the read lock of a usable document; `refused` otherwise.
// `work` receives the document and its signal.
template <typename Result, typename Work>
Result withRead(TAVOAUDIO audio, Result refused, Work work)
{
    TavoDocument *doc = _TAVOREGIONVIEW_Document(audio);
    if (doc == nullptr) return refused;
    SelectionRead access(audio);
    if (!access) return refused;
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    if (signal == nullptr) return refused;
    return work(doc, signal);
}

// The same for a query about one region.
template <typename Result, typename Work>
Result withRegion(TAVOAUDIO audio, AUDIOREGION region, Result refused, Work work)
{
    if (region == nullptr) return refused;
    return withRead(audio, refused, [&](TavoDocument *, AUDIOSIGNAL signal) { return work(signal); });
}

// A track whose regions count: -1 (every track that is not deleted) or a
// track that is not deleted. A deleted annotation track keeps its regions
// only so that undo can bring it back; they are not the document's.
bool countedTrack(AUDIOSIGNAL signal, int32_t trackIndex)
{
    if (trackIndex == -1) return true;
    AUDIOREGIONTRACK track = trackIndex >= 0 ? AUDIOSIGNAL_GetRegionTrack(signal, trackIndex) : nullptr;
    return track != nullptr && !AUDIOREGIONTRACK_IsDeleted(track);
}

int32_t listInto(AUDIOSIGNAL signal, int32_t trackIndex, uint32_t option, AUDIOREGION *out, int32_t max)
{
    if (out == nullptr) return AUDIOSIGNAL_CountRegions(signal, trackIndex, option);
    return AUDIOSIGNAL_GetRegions(signal, trackIndex, option, out, max);
}

// Whether the regions of track `index` are drawn: track 0 always; an
// annotation track when it exists, is not deleted and is shown (with the
// tracks it is linked to).
bool trackShown(AUDIOSIGNAL signal, int32_t index)
{
    if (index == 0) return true;
    AUDIOREGIONTRACK track = AUDIOSIGNAL_GetRegionTrack(signal, index);
    if (track == nullptr || AUDIOREGIONTRACK_IsDeleted(track)) return false;
    AUDIOCUSTOMTRACK custom = AUDIOSIGNAL_FindCustomTrack(signal, AUDIOREGIONTRACK_GetUniqId(track));
    return custom != nullptr && AUDIOCUSTOMTRACK_IsVisibleEx(custom, 1);
}

// The regions drawn in the view, in track then region order. Hidden and
// deleted regions are never drawn, whatever the search option says; its
// kind and level bits narrow the list.
std::vector<AUDIOREGION> visibleRegions(TavoDocument *doc, AUDIOSIGNAL signal)
{
    std::vector<AUDIOREGION> shown;
    const TavoState *state = doc->state;
    const uint32_t option =
        _TAVOREGIONVIEW_SearchOption(state) & ~(AUDIOREGION_SEARCH_HIDDEN | AUDIOREGION_SEARCH_DELETED);
    const AUDIO_FORMAT *format = AUDIOSIGNAL_GetFormatRef(signal);
    const double begin = AUDIO_Sample2Time(format, state->viewBegin);
    const double end = AUDIO_Sample2Time(format, state->viewEnd);
    if (!(end >= begin)) return shown;
    const int32_t tracks = AUDIOSIGNAL_NumRegionTracks(signal);
    for (int32_t t = 0; t < tracks; ++t) {
        if (!trackShown(signal, t)) continue;
        const int32_t count = AUDIOSIGNAL_CountRegions(signal, t, option);
        if (count < 1) continue;
        std::vector<AUDIOREGION> regions(static_cast<size_t>(count));
        const int32_t got = AUDIOSIGNAL_GetRegionsInRange(signal, t, begin, end, option, regions.data(), count);
        shown.insert(shown.end(), regions.begin(), regions.begin() + got);
    }
    return shown;
}

// Whether any track that is not deleted passes `test`.
template <typename Test>
bool anyTrack(AUDIOSIGNAL signal, Test test)
{
    const int32_t tracks = AUDIOSIGNAL_NumRegionTracks(signal);
    for (int32_t t = 0; t < tracks; ++t) {
        AUDIOREGIONTRACK track = AUDIOSIGNAL_GetRegionTrack(signal, t);
        if (track != nullptr && !AUDIOREGIONTRACK_IsDeleted(track) && test(track)) return true;
    }
    return false;
}

bool formatSupports(TAVOAUDIO audio, uint32_t what)
{
    return withRead(audio, false, [&](TavoDocument *doc, AUDIOSIGNAL signal) {
        // A new document has no file format yet: the signal's own decides.
        const char *format = doc->fileFormat[0] != '\0' ? doc->fileFormat : "AUTO";
        return AUDIOSIGNAL_FormatSupportRegion(signal, format, what);
    });
}

}  // namespace

// ---- counting and listing -------------------------------------------------------------------

TAVO_API int32_t TAVOAUDIO_CountRegions(TAVOAUDIO audio)
{
    return withRead(audio, int32_t{0}, [](TavoDocument *, AUDIOSIGNAL signal) {
        return AUDIOSIGNAL_CountRegions(signal, -1, kLiveRegions);
    });
}

TAVO_API bool TAVOAUDIO_HasRegions(TAVOAUDIO audio)
{
    return TAVOAUDIO_CountRegions(audio) > 0;
}

TAVO_API int32_t TAVOAUDIO_CountRegionsOfTrack(TAVOAUDIO audio, int32_t trackIndex)
{
    return withRead(audio, int32_t{0}, [&](TavoDocument *, AUDIOSIGNAL signal) {
        if (!countedTrack(signal, trackIndex)) return int32_t{0};
        return AUDIOSIGNAL_CountRegions(signal, trackIndex, kLiveRegions);
    });
}

TAVO_API bool TAVOAUDIO_HasRegionsInTrack(TAVOAUDIO audio, int32_t trackIndex)
{
    return TAVOAUDIO_CountRegionsOfTrack(audio, trackIndex) > 0;
}

TAVO_API int32_t TAVOAUDIO_GetRegionsOfTrack(TAVOAUDIO audio, int32_t trackIndex, AUDIOREGION *out, int32_t max)
{
    if (out == nullptr || max < 1) return 0;
    return withRead(audio, int32_t{0}, [&](TavoDocument *, AUDIOSIGNAL signal) {
        if (!countedTrack(signal, trackIndex)) return int32_t{0};
        return listInto(signal, trackIndex, kLiveRegions, out, max);
    });
}

TAVO_API int32_t TAVOAUDIO_CountSelectedRegions(TAVOAUDIO audio)
{
    return withRead(audio, int32_t{0}, [](TavoDocument *, AUDIOSIGNAL signal) {
        return AUDIOSIGNAL_CountSelectedRegionsOfTrack(signal, -1);
    });
}

TAVO_API int32_t TAVOAUDIO_GetSelectedRegions(TAVOAUDIO audio, AUDIOREGION *out, int32_t max)
{
    if (out == nullptr || max < 1) return 0;
    return withRead(audio, int32_t{0}, [&](TavoDocument *, AUDIOSIGNAL signal) {
        return AUDIOSIGNAL_GetSelectedRegions(signal, -1, out, max);
    });
}

TAVO_API int32_t TAVOAUDIO_CountVisibleRegions(TAVOAUDIO audio)
{
    return withRead(audio, int32_t{0}, [](TavoDocument *doc, AUDIOSIGNAL signal) {
        return static_cast<int32_t>(visibleRegions(doc, signal).size());
    });
}

TAVO_API int32_t TAVOAUDIO_GetVisibleRegions(TAVOAUDIO audio, AUDIOREGION *out, int32_t max)
{
    if (out == nullptr || max < 1) return 0;
    return withRead(audio, int32_t{0}, [&](TavoDocument *doc, AUDIOSIGNAL signal) {
        const std::vector<AUDIOREGION> shown = visibleRegions(doc, signal);
        int32_t n = 0;
        for (; n < max && static_cast<size_t>(n) < shown.size(); ++n) out[n] = shown[static_cast<size_t>(n)];
        return n;
    });
}

// ---- one region --------------------------------------------------------------------------------

TAVO_API bool TAVOAUDIO_IsMarker(TAVOAUDIO audio, AUDIOREGION region)
{
    return withRegion(audio, region, false, [&](AUDIOSIGNAL) { return AUDIOREGION_IsMarker(region); });
}

TAVO_API bool TAVOAUDIO_IsPregap(TAVOAUDIO audio, AUDIOREGION region)
{
    return withRegion(audio, region, false, [&](AUDIOSIGNAL) { return AUDIOREGION_IsPregap(region); });
}

TAVO_API bool TAVOAUDIO_IsAudioLoop(TAVOAUDIO audio, AUDIOREGION region)
{
    return withRegion(audio, region, false, [&](AUDIOSIGNAL) { return AUDIOREGION_IsLoop(region); });
}

TAVO_API bool TAVOAUDIO_IsAudioRegion(TAVOAUDIO audio, AUDIOREGION region)
{
    return withRegion(audio, region, false, [&](AUDIOSIGNAL) { return AUDIOREGION_IsRegion(region); });
}

TAVO_API bool TAVOAUDIO_IsRegionVisible(TAVOAUDIO audio, AUDIOREGION region)
{
    if (region == nullptr) return false;
    return withRead(audio, false, [&](TavoDocument *doc, AUDIOSIGNAL signal) {
        for (AUDIOREGION shown : visibleRegions(doc, signal))
            if (shown == region) return true;
        return false;
    });
}

TAVO_API bool TAVOAUDIO_IsRegionSelected(TAVOAUDIO audio, AUDIOREGION region)
{
    return withRegion(audio, region, false, [&](AUDIOSIGNAL) { return AUDIOREGION_IsSelected(region); });
}

TAVO_API bool TAVOAUDIO_IsRegionDeleted(TAVOAUDIO audio, AUDIOREGION region)
{
    // A region taken out of the signal for good is as gone as a deleted one.
    return withRegion(audio, region, false, [&](AUDIOSIGNAL) {
        return AUDIOREGION_IsDeleted(region) || AUDIOREGION_GetTrackIndex(region) < 0;
    });
}

TAVO_API bool TAVOAUDIO_IsRegionTemporary(TAVOAUDIO audio, AUDIOREGION region)
{
    return withRegion(audio, region, false, [&](AUDIOSIGNAL) { return AUDIOREGION_IsTemporary(region); });
}

TAVO_API bool TAVOAUDIO_IsRegionReadOnly(TAVOAUDIO audio, AUDIOREGION region)
{
    return withRegion(audio, region, false, [&](AUDIOSIGNAL) { return AUDIOREGION_IsReadOnly(region); });
}

TAVO_API bool TAVOAUDIO_IsRegionTextHide(TAVOAUDIO audio, AUDIOREGION region)
{
    return withRegion(audio, region, false, [&](AUDIOSIGNAL) { return AUDIOREGION_IsTextHide(region); });
}

TAVO_API bool TAVOAUDIO_IsRegionLabelHide(TAVOAUDIO audio, AUDIOREGION region)
{
    return withRegion(audio, region, false, [&](AUDIOSIGNAL) { return AUDIOREGION_IsLabelHide(region); });
}

TAVO_API bool TAVOAUDIO_IsRegionActive(TAVOAUDIO audio, AUDIOREGION region)
{
    if (region == nullptr) return false;
    return withRead(audio, false, [&](TavoDocument *doc, AUDIOSIGNAL signal) {
        if (AUDIOREGION_IsDeleted(region) || AUDIOREGION_GetTrackIndex(region) < 0) return false;
        const AUDIO_FORMAT *format = AUDIOSIGNAL_GetFormatRef(signal);
        const int64_t begin = AUDIO_Time2Sample(format, AUDIOREGION_GetBegin(region));
        const int64_t end = AUDIO_Time2Sample(format, AUDIOREGION_GetEnd(region));
        const int64_t cursor = doc->state->cursor;
        // Compared in frames, so a marker is active exactly at its frame.
        return begin == end ? cursor == begin : (begin <= cursor && cursor < end);
    });
}

TAVO_API bool TAVOAUDIO_RegionHasLabel(TAVOAUDIO audio, AUDIOREGION region)
{
    return withRegion(audio, region, false, [&](AUDIOSIGNAL) {
        const char *label = AUDIOREGION_GetLabel(region);
        return label != nullptr && label[0] != '\0';
    });
}

TAVO_API bool TAVOAUDIO_RegionHasComment(TAVOAUDIO audio, AUDIOREGION region)
{
    return withRegion(audio, region, false, [&](AUDIOSIGNAL) {
        const char *comment = AUDIOREGION_GetComment(region);
        return comment != nullptr && comment[0] != '\0';
    });
}

TAVO_API bool TAVOAUDIO_RegionHasChanges(TAVOAUDIO audio, AUDIOREGION region)
{
    return withRegion(audio, region, false, [&](AUDIOSIGNAL) { return AUDIOREGION_HasChanges(region); });
}

TAVO_API const char *TAVOAUDIO_GetRegionComment(TAVOAUDIO audio, AUDIOREGION region)
{
    return withRegion(audio, region, static_cast<const char *>(nullptr),
                      [&](AUDIOSIGNAL) { return AUDIOREGION_GetComment(region); });
}

TAVO_API const char *TAVOAUDIO_GetRegionLabel(TAVOAUDIO audio, AUDIOREGION region)
{
    return withRegion(audio, region, static_cast<const char *>(nullptr),
                      [&](AUDIOSIGNAL) { return AUDIOREGION_GetLabel(region); });
}

TAVO_API int32_t TAVOAUDIO_GetRegionChannel(TAVOAUDIO audio, AUDIOREGION region)
{
    // -2 when refused: -1 already means "all channels".
    return withRegion(audio, region, int32_t{-2}, [&](AUDIOSIGNAL) { return AUDIOREGION_GetChannel(region); });
}

TAVO_API int32_t TAVOAUDIO_GetRegionTrackIndex(TAVOAUDIO audio, AUDIOREGION region)
{
    return withRegion(audio, region, int32_t{-1}, [&](AUDIOSIGNAL) { return AUDIOREGION_GetTrackIndex(region); });
}

TAVO_API int64_t TAVOAUDIO_GetRegionBeginSample(TAVOAUDIO audio, AUDIOREGION region)
{
    return withRegion(audio, region, int64_t{-1}, [&](AUDIOSIGNAL signal) {
        return AUDIO_Time2Sample(AUDIOSIGNAL_GetFormatRef(signal), AUDIOREGION_GetBegin(region));
    });
}

TAVO_API int64_t TAVOAUDIO_GetRegionEndSample(TAVOAUDIO audio, AUDIOREGION region)
{
    return withRegion(audio, region, int64_t{-1}, [&](AUDIOSIGNAL signal) {
        return AUDIO_Time2Sample(AUDIOSIGNAL_GetFormatRef(signal), AUDIOREGION_GetEnd(region));
    });
}

TAVO_API int64_t TAVOAUDIO_GetRegionNumSamples(TAVOAUDIO audio, AUDIOREGION region)
{
    // Both ends are converted first, so that the length agrees with them
    // (converting the duration alone could round the other way).
    return withRegion(audio, region, int64_t{0}, [&](AUDIOSIGNAL signal) {
        const AUDIO_FORMAT *format = AUDIOSIGNAL_GetFormatRef(signal);
        return AUDIO_Time2Sample(format, AUDIOREGION_GetEnd(region)) -
               AUDIO_Time2Sample(format, AUDIOREGION_GetBegin(region));
    });
}

TAVO_API double TAVOAUDIO_GetRegionBegin(TAVOAUDIO audio, AUDIOREGION region)
{
    return withRegion(audio, region, -1.0, [&](AUDIOSIGNAL) { return AUDIOREGION_GetBegin(region); });
}

TAVO_API double TAVOAUDIO_GetRegionEnd(TAVOAUDIO audio, AUDIOREGION region)
{
    return withRegion(audio, region, -1.0, [&](AUDIOSIGNAL) { return AUDIOREGION_GetEnd(region); });
}

TAVO_API double TAVOAUDIO_GetRegionDuration(TAVOAUDIO audio, AUDIOREGION region)
{
    return withRegion(audio, region, -1.0, [&](AUDIOSIGNAL) { return AUDIOREGION_GetDuration(region); });
}

// ---- the document's regions as a whole ---------------------------------------------------------

TAVO_API bool TAVOAUDIO_RegionsContainsString(TAVOAUDIO audio, const char *text)
{
    if (text == nullptr || text[0] == '\0') return false;
    return withRead(audio, false, [&](TavoDocument *doc, AUDIOSIGNAL signal) {
        const uint32_t option = _TAVOREGIONVIEW_SearchOption(doc->state);
        const int32_t count = AUDIOSIGNAL_CountRegions(signal, -1, option);
        if (count < 1) return false;
        std::vector<AUDIOREGION> regions(static_cast<size_t>(count));
        const int32_t got = AUDIOSIGNAL_GetRegions(signal, -1, option, regions.data(), count);
        for (int32_t i = 0; i < got; ++i)
            if (_TAVOREGIONVIEW_LabelContains(AUDIOREGION_GetLabel(regions[static_cast<size_t>(i)]), text)) return true;
        return false;
    });
}

TAVO_API bool TAVOAUDIO_HasExternalRegions(TAVOAUDIO audio)
{
    return withRead(audio, false, [](TavoDocument *, AUDIOSIGNAL signal) {
        return anyTrack(signal, [](AUDIOREGIONTRACK track) { return AUDIOREGIONTRACK_IsExternal(track); });
    });
}

TAVO_API bool TAVOAUDIO_HasExternalRegionsChanges(TAVOAUDIO audio)
{
    return withRead(audio, false, [](TavoDocument *, AUDIOSIGNAL signal) {
        return anyTrack(signal, [](AUDIOREGIONTRACK track) {
            return AUDIOREGIONTRACK_IsExternal(track) && AUDIOREGIONTRACK_HasExternalChanges(track);
        });
    });
}

TAVO_API bool TAVOAUDIO_FormatSupportRegions(TAVOAUDIO audio)
{
    return formatSupports(audio, AUDIOSIGNAL_SUPPORT_REGIONS);
}

TAVO_API bool TAVOAUDIO_FormatSupportMarkers(TAVOAUDIO audio)
{
    return formatSupports(audio, AUDIOSIGNAL_SUPPORT_MARKERS);
}

TAVO_API bool TAVOAUDIO_HasChannelsExtraTracks(TAVOAUDIO audio)
{
    return withRead(audio, false, [](TavoDocument *, AUDIOSIGNAL signal) {
        const int32_t channels = AUDIOSIGNAL_NumChannels(signal);
        for (int32_t c = 0; c < channels; ++c) {
            char id[64];
            if (AUDIOSIGNAL_ChannelTrackUniqId(c, id, sizeof id) && AUDIOSIGNAL_ContainsTrackUniqId(signal, id))
                return true;
        }
        return false;
    });
}
