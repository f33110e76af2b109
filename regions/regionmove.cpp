// regionmove.cpp: moving and resizing regions and markers, and moving or
// copying the selected regions to another track.
//
// Clamping rules, shared by all of them: every border stays inside
// [0, length of the signal]; a region that is not a marker keeps
// begin < end (changing one border never collapses it into a marker); a
// marker stays of zero length (moving either of its borders moves it). A
// locked region and a region of a read-only track are refused, never
// clamped. A target that clamps to the present bounds is a no-op.

#include <algorithm>
#include <vector>

#include "audioregion.h"
#include "regions/regions_p.h"
#include "tavoaudio.h"
#include "tavoregions.h"
#include "tavoregionview.h"
#include "tavoundo.h"
#include "view/state_p.h"

namespace {

TavoDocument *editable(TAVOAUDIO audio, AUDIOSIGNAL &signal)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr) return nullptr;
    signal = _TAVOAUDIO_Signal(doc);
    return signal != nullptr ? doc : nullptr;
}

bool movable(AUDIOSIGNAL signal, AUDIOREGION region)
{
    return region != nullptr && !AUDIOREGION_IsDeleted(region) && !AUDIOREGION_IsLocked(region) &&
           !AUDIOREGION_IsReadOnly(region) && _TAVOREGIONS_TrackWritable(signal, AUDIOREGION_GetTrackIndex(region));
}

// Gives one region the bounds [begin, end] in frames as the step `label`.
int32_t setBounds(TavoDocument *doc, AUDIOSIGNAL signal, AUDIOREGION region, int64_t begin, int64_t end,
                  const char *label)
{
    if (begin == _TAVOREGIONS_BeginFrame(signal, region) && end == _TAVOREGIONS_EndFrame(signal, region)) return 1;
    return _TAVOREGIONS_Edit(doc, {region}, {AUDIOREGION_GetTrackIndex(region)}, label, [&](AUDIOSIGNAL s) {
        return AUDIOSIGNAL_SetRegionBounds(s, region, _TAVOREGIONS_Seconds(s, begin), _TAVOREGIONS_Seconds(s, end));
    });
}

// One region to move with its new bounds in frames.
struct Placement {
    AUDIOREGION region;
    int64_t begin;
    int64_t end;
};

bool contains(const std::vector<AUDIOREGION> &list, AUDIOREGION region)
{
    const uint64_t id = AUDIOREGION_GetUniqId(region);
    return std::any_of(list.begin(), list.end(), [&](AUDIOREGION r) { return AUDIOREGION_GetUniqId(r) == id; });
}

// `roots` and all their descendants, parents before children (the library
// clips children to their parent's bounds, so a parent must reach its new
// place before its children are put inside it).
std::vector<AUDIOREGION> withDescendants(const std::vector<AUDIOREGION> &roots)
{
    std::vector<AUDIOREGION> all(roots);
    for (size_t i = 0; i < all.size(); ++i) {
        const int32_t children = AUDIOREGION_NumChildren(all[i]);
        for (int32_t c = 0; c < children; ++c) {
            AUDIOREGION child = AUDIOREGION_GetChild(all[i], c);
            if (child != nullptr && !contains(all, child)) all.push_back(child);
        }
    }
    return all;
}

// Moves `roots` (with their children) by `offset` frames, clamped once for
// all so that they keep their distances, as the step `label`.
int32_t moveGroup(TavoDocument *doc, AUDIOSIGNAL signal, const std::vector<AUDIOREGION> &roots, int64_t offset,
                  const char *label)
{
    if (roots.empty()) return 1;
    const std::vector<AUDIOREGION> group = withDescendants(roots);
    for (AUDIOREGION region : group) {
        if (!movable(signal, region)) return 0;
    }
    const int64_t length = AUDIOSIGNAL_NumFrames(signal);
    int64_t minBegin = INT64_MAX;
    int64_t maxEnd = INT64_MIN;
    for (AUDIOREGION region : roots) {
        minBegin = std::min(minBegin, _TAVOREGIONS_BeginFrame(signal, region));
        maxEnd = std::max(maxEnd, _TAVOREGIONS_EndFrame(signal, region));
    }
    const int64_t applied = std::clamp(offset, -minBegin, std::max<int64_t>(length - maxEnd, -minBegin));
    if (applied == 0) return 1;
    std::vector<Placement> moves;
    std::vector<int32_t> tracks;
    for (AUDIOREGION region : group) {
        moves.push_back({region, _TAVOREGIONS_BeginFrame(signal, region) + applied,
                         _TAVOREGIONS_EndFrame(signal, region) + applied});
        const int32_t track = AUDIOREGION_GetTrackIndex(region);
        if (std::find(tracks.begin(), tracks.end(), track) == tracks.end()) tracks.push_back(track);
    }

    bool moved = true;
    {
        RegionEditAccess access(doc);
        if (!access) return 0;
        TAVOUNDOSCRIPT script = TAVOUNDO_CreateUndoScript(doc, label, doc->state);
        if (script == nullptr ||
            !TAVOUNDO_AddRevertTracks(script, signal, tracks.data(), static_cast<int32_t>(tracks.size()))) {
            if (script != nullptr) TAVOUNDO_DestroyUndoScript(doc, script);
            return 0;
        }
        for (const Placement &move : moves) {
            moved = moved && AUDIOSIGNAL_SetRegionBounds(signal, move.region, _TAVOREGIONS_Seconds(signal, move.begin),
                                                         _TAVOREGIONS_Seconds(signal, move.end));
        }
        if (moved) {
            TAVOUNDO_PushUndoScript(doc, script);
        } else {
            _TAVOREGIONS_Rollback(doc, script);
        }
    }
    if (!moved) return 0;
    bool external = false;
    for (AUDIOREGION region : roots) external = external || AUDIOSIGNAL_IsRegionExternal(signal, region);
    _TAVOREGIONS_After(doc, external, roots.front());
    return 1;
}

std::vector<AUDIOREGION> selected(AUDIOSIGNAL signal)
{
    const int32_t count = AUDIOSIGNAL_CountSelectedRegionsOfTrack(signal, -1);
    std::vector<AUDIOREGION> list(static_cast<size_t>(std::max(count, 0)));
    const int32_t got = count > 0 ? AUDIOSIGNAL_GetSelectedRegions(signal, -1, list.data(), count) : 0;
    list.resize(static_cast<size_t>(std::max(got, 0)));
    return list;
}

bool hasAncestorIn(const std::vector<AUDIOREGION> &list, AUDIOREGION region)
{
    for (AUDIOREGION parent = AUDIOREGION_GetParent(region); parent != nullptr; parent = AUDIOREGION_GetParent(parent)) {
        if (contains(list, parent)) return true;
    }
    return false;
}

// The name under which AUDIOSIGNAL_CreateRegionsOnTrack makes a region of
// the same kind as `region` ("undef" follows the times: regions and markers).
const char *kindName(AUDIOREGION region)
{
    switch (AUDIOREGION_GetKind(region)) {
    case AUDIOREGION_KIND_LOOP: return "loop";
    case AUDIOREGION_KIND_PREGAP: return "pregap";
    default: return "undef";
    }
}

// The target track of the move and copy commands, or -1.
int32_t targetTrack(AUDIOSIGNAL signal, const char *trackUniqId)
{
    const int32_t index = AUDIOSIGNAL_FindRegionTrackIndex(signal, trackUniqId);
    if (index < 0 || AUDIOREGIONTRACK_IsDeleted(AUDIOSIGNAL_GetRegionTrack(signal, index))) return -1;
    return _TAVOREGIONS_TrackWritable(signal, index) ? index : -1;
}

}  // namespace

TAVO_API int32_t TAVOAUDIO_OffsetRegions(TAVOAUDIO audio, int64_t offset)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = editable(audio, signal);
    if (doc == nullptr) return 0;
    const std::vector<AUDIOREGION> chosen = selected(signal);
    // A selected child of a selected parent moves with its parent.
    std::vector<AUDIOREGION> roots;
    for (AUDIOREGION region : chosen) {
        if (!hasAncestorIn(chosen, region)) roots.push_back(region);
    }
    return moveGroup(doc, signal, roots, offset, "Move Region");
}

TAVO_API int32_t TAVOAUDIO_MoveRegionBegin(TAVOAUDIO audio, AUDIOREGION region, int64_t frame)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = editable(audio, signal);
    if (doc == nullptr || !movable(signal, region)) return 0;
    return moveGroup(doc, signal, {region}, frame - _TAVOREGIONS_BeginFrame(signal, region), "Move Region Begin");
}

TAVO_API int32_t TAVOAUDIO_ChangeRegionBegin(TAVOAUDIO audio, AUDIOREGION region, int64_t frame)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = editable(audio, signal);
    if (doc == nullptr || !movable(signal, region)) return 0;
    const int64_t length = AUDIOSIGNAL_NumFrames(signal);
    if (AUDIOREGION_IsMarker(region)) {
        const int64_t at = std::clamp<int64_t>(frame, 0, length);
        return setBounds(doc, signal, region, at, at, "Change Region Begin");
    }
    const int64_t end = _TAVOREGIONS_EndFrame(signal, region);
    const int64_t begin = std::clamp<int64_t>(frame, 0, std::max<int64_t>(end - 1, 0));
    return setBounds(doc, signal, region, begin, end, "Change Region Begin");
}

TAVO_API int32_t TAVOAUDIO_ChangeOnFocusRegionBegin(TAVOAUDIO audio, int64_t frame)
{
    // The getter follows the focus across signal swaps (edits install a
    // working copy with handles of its own).
    AUDIOREGION focused = TAVOAUDIO_GetRegionOnFocus(audio);
    return focused != nullptr ? TAVOAUDIO_ChangeRegionBegin(audio, focused, frame) : 0;
}

TAVO_API int32_t TAVOAUDIO_ChangeRegionEnd(TAVOAUDIO audio, AUDIOREGION region, int64_t frame)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = editable(audio, signal);
    if (doc == nullptr || !movable(signal, region)) return 0;
    const int64_t length = AUDIOSIGNAL_NumFrames(signal);
    if (AUDIOREGION_IsMarker(region)) {
        const int64_t at = std::clamp<int64_t>(frame, 0, length);
        return setBounds(doc, signal, region, at, at, "Change Region End");
    }
    const int64_t begin = _TAVOREGIONS_BeginFrame(signal, region);
    const int64_t end = std::clamp<int64_t>(frame, std::min(begin + 1, length), length);
    return setBounds(doc, signal, region, begin, end, "Change Region End");
}

TAVO_API int32_t TAVOAUDIO_ChangeOnFocusRegionEnd(TAVOAUDIO audio, int64_t frame)
{
    // The getter follows the focus across signal swaps (edits install a
    // working copy with handles of its own).
    AUDIOREGION focused = TAVOAUDIO_GetRegionOnFocus(audio);
    return focused != nullptr ? TAVOAUDIO_ChangeRegionEnd(audio, focused, frame) : 0;
}

TAVO_API int32_t TAVOAUDIO_ResizeRegion(TAVOAUDIO audio, AUDIOREGION region, int64_t begin, int64_t end)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = editable(audio, signal);
    if (doc == nullptr || !movable(signal, region) || begin > end) return 0;
    const int64_t length = AUDIOSIGNAL_NumFrames(signal);
    const int64_t b = std::clamp<int64_t>(begin, 0, length);
    const int64_t e = std::clamp<int64_t>(end, 0, length);
    // A marker may only be moved; a region may not collapse into a marker.
    if (AUDIOREGION_IsMarker(region) != (b == e)) return 0;
    return setBounds(doc, signal, region, b, e, "Resize Region");
}

TAVO_API int32_t TAVOAUDIO_MoveMarker(TAVOAUDIO audio, AUDIOREGION marker, int64_t frame)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = editable(audio, signal);
    if (doc == nullptr || !movable(signal, marker) || !AUDIOREGION_IsMarker(marker)) return 0;
    const int64_t at = std::clamp<int64_t>(frame, 0, AUDIOSIGNAL_NumFrames(signal));
    return setBounds(doc, signal, marker, at, at, "Move Marker");
}

TAVO_API int32_t TAVOAUDIO_MoveSelectedRegionsToTrack(TAVOAUDIO audio, const char *trackUniqId)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = editable(audio, signal);
    if (doc == nullptr) return 0;
    const int32_t target = targetTrack(signal, trackUniqId);
    if (target < 0) return 0;
    // Children travel with their parent; only top-level regions move.
    std::vector<AUDIOREGION> moving;
    for (AUDIOREGION region : selected(signal)) {
        const int32_t track = AUDIOREGION_GetTrackIndex(region);
        if (track == target || AUDIOREGION_GetParent(region) != nullptr) continue;
        if (!movable(signal, region)) return 0;
        moving.push_back(region);
    }
    if (moving.empty()) return 1;
    bool moved = true;
    bool external = false;
    {
        RegionEditAccess access(doc);
        if (!access) return 0;
        // Each moved region (and child) is recorded on its own rather than
        // the tracks involved: track copies are taken one after the other when
        // the step is undone, and a region that changes track between two of
        // them would be missing from both copies of the redo step. A region
        // copy puts back the track with the rest.
        TAVOUNDOSCRIPT script = TAVOUNDO_CreateUndoScript(doc, "Move Regions", doc->state);
        bool recorded = script != nullptr;
        for (AUDIOREGION region : withDescendants(moving)) {
            if (recorded) recorded = TAVOUNDO_AddRevertRegion(script, region, 0);
        }
        if (!recorded) {
            if (script != nullptr) TAVOUNDO_DestroyUndoScript(doc, script);
            return 0;
        }
        for (AUDIOREGION region : moving) {
            external = external || AUDIOSIGNAL_IsRegionExternal(signal, region);
            moved = moved && AUDIOSIGNAL_ChangeRegionTrackIndex(signal, region, target);
        }
        external = external || AUDIOREGIONTRACK_IsExternal(AUDIOSIGNAL_GetRegionTrack(signal, target));
        if (moved) {
            TAVOUNDO_PushUndoScript(doc, script);
        } else {
            _TAVOREGIONS_Rollback(doc, script);
        }
    }
    if (!moved) return 0;
    _TAVOREGIONS_After(doc, external, nullptr);
    return 1;
}

TAVO_API int32_t TAVOAUDIO_CopySelectedRegionsToTrack(TAVOAUDIO audio, const char *trackUniqId)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = editable(audio, signal);
    if (doc == nullptr) return 0;
    const int32_t target = targetTrack(signal, trackUniqId);
    if (target < 0) return 0;
    std::vector<AUDIOREGION> sources;
    for (AUDIOREGION region : selected(signal)) {
        if (AUDIOREGION_GetTrackIndex(region) != target) sources.push_back(region);
    }
    if (sources.empty()) return 1;
    bool copied = true;
    {
        RegionEditAccess access(doc);
        if (!access) return 0;
        TAVOUNDOSCRIPT script = TAVOUNDO_CreateUndoScript(doc, "Copy Regions", doc->state);
        if (script == nullptr || !TAVOUNDO_AddRevertTrack(script, signal, target)) {
            if (script != nullptr) TAVOUNDO_DestroyUndoScript(doc, script);
            return 0;
        }
        std::vector<AUDIOREGION> created;
        for (AUDIOREGION region : sources) {
            AUDIOREGION copy = nullptr;
            const int32_t n = AUDIOSIGNAL_CreateRegionsOnTrack(
                signal, 0, AUDIOREGION_GetBegin(region), AUDIOREGION_GetEnd(region), kindName(region),
                AUDIOREGION_GetLabel(region), AUDIOREGION_GetComment(region), target, &copy, 1);
            if (n < 1 || copy == nullptr) {
                copied = false;
                break;
            }
            created.push_back(copy);
            const int32_t channel = AUDIOREGION_GetChannel(region);
            if (channel >= 0 && !AUDIOSIGNAL_ChangeRegionChannel(signal, copy, channel)) {
                copied = false;
                break;
            }
        }
        // The creations are recorded after them, so that taking the step
        // back removes them first and then restores the track.
        if (copied) copied = TAVOUNDO_AddRevertCreateRegions(script, created.data(), static_cast<int32_t>(created.size()));
        if (copied) {
            TAVOUNDO_PushUndoScript(doc, script);
        } else {
            for (AUDIOREGION region : created) AUDIOSIGNAL_DeleteRegion(signal, region, AUDIOSIGNAL_DELETE_FOR_GOOD);
            _TAVOREGIONS_Rollback(doc, script);
        }
    }
    if (!copied) return 0;
    _TAVOREGIONS_After(doc, AUDIOREGIONTRACK_IsExternal(AUDIOSIGNAL_GetRegionTrack(signal, target)), nullptr);
    return 1;
}
