// regionedit.cpp: the region edit pattern and the edits built on it: texts,
// channel, track, conversions, merging, deleting and undeleting, and the
// region states that record no undo step (lock, hide, display flags).

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "audioformat.h"
#include "audioregion.h"
#include "regions/regions_p.h"
#include "tavoaudio.h"
#include "tavonotify.h"
#include "tavoregions.h"
#include "tavoregionview.h"
#include "tavostate.h"
#include "tavoundo.h"
#include "view/state_p.h"

// ---- shared helpers -------------------------------------------------------------

RegionEditAccess::RegionEditAccess(TavoDocument *doc) : m_doc(doc)
{
    // Region edits wait for drawing and other readers (selection changes give
    // up instead): a lost label edit would surprise the user far more than a
    // short wait. The document's editable option is not asked: regions are
    // annotations, changed also on documents whose audio is not editable.
    m_held = TAVOAUDIO_GetEditAccessEx(doc, true);
}

void RegionEditAccess::release()
{
    if (m_held) TAVOAUDIO_ReleaseEditAccess(m_doc);
    m_held = false;
}

bool _TAVOREGIONS_TrackWritable(AUDIOSIGNAL signal, int32_t index)
{
    AUDIOREGIONTRACK track = AUDIOSIGNAL_GetRegionTrack(signal, index);
    if (track == nullptr) return false;
    const char *id = AUDIOREGIONTRACK_GetUniqId(track);
    if (index == 0 || id == nullptr || !AUDIOSIGNAL_ContainsTrackUniqId(signal, id)) return true;
    return !AUDIOCUSTOMTRACK_IsReadOnly(AUDIOSIGNAL_FindCustomTrack(signal, id));
}

bool _TAVOREGIONS_TrackOpenForSelection(AUDIOSIGNAL signal, int32_t index)
{
    AUDIOREGIONTRACK track = AUDIOSIGNAL_GetRegionTrack(signal, index);
    if (track == nullptr || AUDIOREGIONTRACK_IsDeleted(track)) return false;
    if (!_TAVOREGIONS_TrackWritable(signal, index)) return false;
    if (index == 0) return true;
    // What the user cannot see on an annotation track is not part of what
    // the selection commands act on.
    const char *id = AUDIOREGIONTRACK_GetUniqId(track);
    if (id == nullptr || !AUDIOSIGNAL_ContainsTrackUniqId(signal, id)) return false;
    return AUDIOCUSTOMTRACK_IsVisibleEx(AUDIOSIGNAL_FindCustomTrack(signal, id), 0);
}

int64_t _TAVOREGIONS_BeginFrame(AUDIOSIGNAL signal, AUDIOREGION region)
{
    return AUDIO_Time2Sample(AUDIOSIGNAL_GetFormatRef(signal), AUDIOREGION_GetBegin(region));
}

int64_t _TAVOREGIONS_EndFrame(AUDIOSIGNAL signal, AUDIOREGION region)
{
    return AUDIO_Time2Sample(AUDIOSIGNAL_GetFormatRef(signal), AUDIOREGION_GetEnd(region));
}

double _TAVOREGIONS_Seconds(AUDIOSIGNAL signal, int64_t frame)
{
    return AUDIO_Sample2Time(AUDIOSIGNAL_GetFormatRef(signal), frame);
}

namespace {

bool sameRegion(AUDIOREGION a, AUDIOREGION b)
{
    return a != nullptr && b != nullptr && (a == b || AUDIOREGION_GetUniqId(a) == AUDIOREGION_GetUniqId(b));
}

bool dropReference(AUDIOREGION &slot, AUDIOREGION region)
{
    if (!sameRegion(slot, region)) return false;
    AUDIOREGION_Dispose(slot);
    slot = nullptr;
    return true;
}

}  // namespace

void _TAVOREGIONS_DropFocus(TavoDocument *doc)
{
    if (doc->state->focusRegion == nullptr) return;
    AUDIOREGION_Dispose(doc->state->focusRegion);
    doc->state->focusRegion = nullptr;
}

bool _TAVOREGIONS_DropFocusIf(TavoDocument *doc, AUDIOREGION region)
{
    return dropReference(doc->state->focusRegion, region);
}

bool _TAVOREGIONS_DropHighlightIf(TavoDocument *doc, AUDIOREGION region)
{
    return dropReference(doc->state->highlightRegion, region);
}

void _TAVOREGIONS_After(TavoDocument *doc, bool external, AUDIOREGION region)
{
    if (external) _TAVOAUDIO_Send(doc, TAVOAUDIO_EXTERNAL_REGION_CHANGED, region, nullptr, nullptr);
    TAVOSTATE_NotifyChanges(doc, 0, TAVOREGIONS_CHANGE_BIT);
}

void _TAVOREGIONS_Rollback(TavoDocument *doc, TAVOUNDOSCRIPT script)
{
    if (script == nullptr) return;
    TAVOUNDO_ExecuteUndoScript(doc, script);
    TAVOUNDO_DestroyUndoScript(doc, script);
}

int32_t _TAVOREGIONS_Edit(TavoDocument *doc, std::initializer_list<AUDIOREGION> regions,
                          std::initializer_list<int32_t> tracks, const char *label,
                          const std::function<bool(AUDIOSIGNAL)> &change)
{
    bool changed = false;
    bool pushed = false;
    bool external = false;
    AUDIOREGION first = regions.size() > 0 ? *regions.begin() : nullptr;
    {
        // The recording reads the regions, so it runs under the lock as well.
        RegionEditAccess access(doc);
        if (!access) return 0;
        AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
        if (signal == nullptr) return 0;
        TAVOUNDOSCRIPT script = TAVOUNDO_CreateUndoScript(doc, label, doc->state);
        bool recorded = script != nullptr;
        for (int32_t track : tracks) {
            if (recorded && track >= 0) recorded = TAVOUNDO_AddRevertTrack(script, signal, track);
        }
        for (AUDIOREGION region : regions) {
            if (recorded) recorded = TAVOUNDO_AddRevertRegion(script, region, 0);
            external = external || AUDIOSIGNAL_IsRegionExternal(signal, region);
        }
        if (!recorded) {
            if (script != nullptr) TAVOUNDO_DestroyUndoScript(doc, script);
            return 0;
        }
        changed = change(signal);
        if (changed) {
            pushed = TAVOUNDO_PushUndoScript(doc, script);
        } else {
            TAVOUNDO_DestroyUndoScript(doc, script);
        }
        for (AUDIOREGION region : regions) external = external || AUDIOSIGNAL_IsRegionExternal(signal, region);
    }
    if (!changed) return 0;
    _TAVOREGIONS_After(doc, external, first);
    return pushed ? 1 : 0;
}

namespace {

// The live document with a signal and a view state, or null.
TavoDocument *editable(TAVOAUDIO audio, AUDIOSIGNAL &signal)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr) return nullptr;
    signal = _TAVOAUDIO_Signal(doc);
    return signal != nullptr ? doc : nullptr;
}

bool textEquals(const char *a, const char *b)
{
    return std::strcmp(a != nullptr ? a : "", b != nullptr ? b : "") == 0;
}

// The handler answers of the lock events: 0 and 1 accept (1 is also the
// answer of a document without handlers, so a host that does not listen can
// still lock regions); anything else refuses.
bool lockAccepted(int32_t answer)
{
    return answer == 0 || answer == 1;
}

// The regions of one track in the state's search order, deleted ones
// included, so a neighbour can be looked for after the deletions.
std::vector<AUDIOREGION> trackRegions(AUDIOSIGNAL signal, int32_t track)
{
    const uint32_t option = AUDIOREGION_SEARCH_DELETED;
    const int32_t count = AUDIOSIGNAL_CountRegions(signal, track, option);
    std::vector<AUDIOREGION> list(static_cast<size_t>(std::max(count, 0)));
    const int32_t got = count > 0 ? AUDIOSIGNAL_GetRegions(signal, track, option, list.data(), count) : 0;
    list.resize(static_cast<size_t>(std::max(got, 0)));
    return list;
}

// The first region after (forward) or before `anchor` in `list` that is not
// deleted and not hidden; null when none.
AUDIOREGION neighbourIn(const std::vector<AUDIOREGION> &list, AUDIOREGION anchor, bool forward)
{
    const auto it = std::find_if(list.begin(), list.end(), [&](AUDIOREGION r) { return sameRegion(r, anchor); });
    if (it == list.end()) return nullptr;
    const auto usable = [](AUDIOREGION r) { return !AUDIOREGION_IsDeleted(r) && !AUDIOREGION_IsHidden(r); };
    if (forward) {
        for (auto next = it + 1; next != list.end(); ++next) {
            if (usable(*next)) return *next;
        }
    } else {
        for (auto prev = it; prev != list.begin();) {
            --prev;
            if (usable(*prev)) return *prev;
        }
    }
    return nullptr;
}

const char *const kNotDeletedMessage = "One or more regions cannot be deleted because they have a parent and no siblings";

// Deletes `regions` (in track order) as one step "Delete Regions", keeping
// those of tracks closed to selection commands. See TAVOAUDIO_DelSelectedRegions.
int32_t deleteList(TavoDocument *doc, const std::vector<AUDIOREGION> &regions)
{
    if (regions.empty()) return 1;
    bool partial = false;
    bool external = false;
    int32_t deleted = 0;
    AUDIOREGION neighbour = nullptr;
    {
        RegionEditAccess access(doc);
        if (!access) return 0;
        AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
        if (signal == nullptr) return 0;
        const int32_t numTracks = AUDIOSIGNAL_NumRegionTracks(signal);
        std::vector<int32_t> open;
        for (int32_t i = 0; i < numTracks; ++i) {
            if (_TAVOREGIONS_TrackOpenForSelection(signal, i)) open.push_back(i);
        }
        const auto isOpen = [&](int32_t track) { return std::find(open.begin(), open.end(), track) != open.end(); };
        std::vector<AUDIOREGION> targets;
        for (AUDIOREGION region : regions) {
            if (region != nullptr && isOpen(AUDIOREGION_GetTrackIndex(region))) targets.push_back(region);
        }
        if (targets.empty()) return 1;

        TAVOUNDOSCRIPT script = TAVOUNDO_CreateUndoScript(doc, "Delete Regions", doc->state);
        if (script == nullptr || !TAVOUNDO_AddRevertTracks(script, signal, open.data(), static_cast<int32_t>(open.size()))) {
            if (script != nullptr) TAVOUNDO_DestroyUndoScript(doc, script);
            return 0;
        }
        // The neighbour to select afterwards: after the last deleted region on
        // its track, or else before the first one on its track.
        const std::vector<AUDIOREGION> lastTrack = trackRegions(signal, AUDIOREGION_GetTrackIndex(targets.back()));
        const std::vector<AUDIOREGION> firstTrack = trackRegions(signal, AUDIOREGION_GetTrackIndex(targets.front()));

        bool recorded = true;
        for (AUDIOREGION region : targets) {
            // A region deleted with its parent a moment ago is no failure.
            if (AUDIOREGION_IsDeleted(region)) continue;
            if (!AUDIOREGION_CanDelete(region)) {
                partial = true;
                continue;
            }
            _TAVOREGIONS_DropHighlightIf(doc, region);
            recorded = recorded && TAVOUNDO_AddRevertRegion(script, region, 0);
            const bool wasExternal = AUDIOSIGNAL_IsRegionExternal(signal, region);
            if (AUDIOSIGNAL_DeleteRegion(signal, region, 0)) {
                ++deleted;
                external = external || wasExternal;
            } else {
                partial = true;
            }
        }
        if (!recorded) {
            // Without a complete record the step could not be taken back.
            _TAVOREGIONS_Rollback(doc, script);
            return 0;
        }
        if (deleted == 0) {
            TAVOUNDO_DestroyUndoScript(doc, script);
        } else {
            TAVOUNDO_PushUndoScript(doc, script);
            neighbour = neighbourIn(lastTrack, targets.back(), true);
            if (neighbour == nullptr) neighbour = neighbourIn(firstTrack, targets.front(), false);
            if (neighbour == nullptr) _TAVOREGIONS_DropFocus(doc);
        }
    }
    // Selecting sends events of its own, so it runs without the lock.
    if (neighbour != nullptr) TAVOAUDIO_SelectRegionEx(doc, neighbour, TAVOREGION_SELECT_ONLY);
    if (partial) TAVOAUDIO_SetErrorMessage(doc, kNotDeletedMessage);
    if (deleted > 0) _TAVOREGIONS_After(doc, external, nullptr);
    return partial ? 0 : 1;
}

std::vector<AUDIOREGION> selectedRegions(AUDIOSIGNAL signal, int32_t track)
{
    const int32_t count = AUDIOSIGNAL_CountSelectedRegionsOfTrack(signal, track);
    std::vector<AUDIOREGION> list(static_cast<size_t>(std::max(count, 0)));
    const int32_t got = count > 0 ? AUDIOSIGNAL_GetSelectedRegions(signal, track, list.data(), count) : 0;
    list.resize(static_cast<size_t>(std::max(got, 0)));
    return list;
}

// Sets a view flag of a region under the write lock and notifies when the
// region took it.
int32_t setFlag(TAVOAUDIO audio, AUDIOREGION region, bool (*setter)(AUDIOREGION, bool), bool value)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = editable(audio, signal);
    if (doc == nullptr || region == nullptr) return 0;
    bool ok = false;
    {
        TavoDocWriteLock lock(doc);
        if (!lock) return 0;
        ok = setter(region, value);
    }
    if (ok) TAVOSTATE_NotifyChanges(doc, 0, TAVOREGIONS_CHANGE_BIT);
    return ok ? 1 : 0;
}

}  // namespace

// ---- texts, channel, track ---------------------------------------------------------

TAVO_API int32_t TAVOAUDIO_SetRegionLabel(TAVOAUDIO audio, AUDIOREGION region, const char *label)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = editable(audio, signal);
    if (doc == nullptr || region == nullptr) return 0;
    if (!_TAVOREGIONS_TrackWritable(signal, AUDIOREGION_GetTrackIndex(region))) return 0;
    if (textEquals(AUDIOREGION_GetLabel(region), label)) return 1;
    const char *text = label != nullptr ? label : "";
    return _TAVOREGIONS_Edit(doc, {region}, {AUDIOREGION_GetTrackIndex(region)}, "Change Region Label",
                             [&](AUDIOSIGNAL s) { return AUDIOSIGNAL_ChangeRegionLabel(s, region, text); });
}

TAVO_API int32_t TAVOAUDIO_SetRegionComment(TAVOAUDIO audio, AUDIOREGION region, const char *comment)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = editable(audio, signal);
    if (doc == nullptr || region == nullptr) return 0;
    if (!_TAVOREGIONS_TrackWritable(signal, AUDIOREGION_GetTrackIndex(region))) return 0;
    if (textEquals(AUDIOREGION_GetComment(region), comment)) return 1;
    const char *text = comment != nullptr ? comment : "";
    const int32_t result =
        _TAVOREGIONS_Edit(doc, {region}, {AUDIOREGION_GetTrackIndex(region)}, "Change Region Comment",
                          [&](AUDIOSIGNAL s) { return AUDIOSIGNAL_ChangeRegionComment(s, region, text); });
    // The comment event reports the change made; its answer is not asked.
    if (result == 1) {
        _TAVOAUDIO_Send(doc, TAVOAUDIO_CHANGE_REGION_COMMENT, region, const_cast<char *>(AUDIOREGION_GetComment(region)),
                        nullptr);
    }
    return result;
}

TAVO_API int32_t TAVOAUDIO_SetRegionChannel(TAVOAUDIO audio, AUDIOREGION region, int32_t channel)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = editable(audio, signal);
    if (doc == nullptr || region == nullptr) return 0;
    if (!_TAVOREGIONS_TrackWritable(signal, AUDIOREGION_GetTrackIndex(region))) return 0;
    if (AUDIOREGION_GetChannel(region) == channel) return 1;
    return _TAVOREGIONS_Edit(doc, {region}, {AUDIOREGION_GetTrackIndex(region)}, "Change Region Channel",
                             [&](AUDIOSIGNAL s) { return AUDIOSIGNAL_ChangeRegionChannel(s, region, channel); });
}

TAVO_API int32_t TAVOAUDIO_SetRegionTrackIndexEx(TAVOAUDIO audio, AUDIOREGION region, int32_t trackIndex,
                                                 const char *label)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = editable(audio, signal);
    if (doc == nullptr || region == nullptr) return 0;
    const int32_t from = AUDIOREGION_GetTrackIndex(region);
    if (!_TAVOREGIONS_TrackWritable(signal, from) || !_TAVOREGIONS_TrackWritable(signal, trackIndex)) return 0;
    if (from == trackIndex) return 1;
    return _TAVOREGIONS_Edit(doc, {region}, {from, trackIndex}, label != nullptr ? label : "Change Region Track",
                             [&](AUDIOSIGNAL s) { return AUDIOSIGNAL_ChangeRegionTrackIndex(s, region, trackIndex); });
}

// ---- conversions -------------------------------------------------------------------

TAVO_API int32_t TAVOAUDIO_ConvertToLoop(TAVOAUDIO audio, AUDIOREGION region)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = editable(audio, signal);
    if (doc == nullptr || region == nullptr) return 0;
    // Loops are a property of the audio file itself: only track 0 has them.
    if (AUDIOREGION_GetKind(region) != AUDIOREGION_KIND_REGION || AUDIOREGION_GetTrackIndex(region) != 0) return 0;
    if (AUDIOREGION_IsDeleted(region)) return 0;
    const int32_t answer = _TAVOAUDIO_Send(doc, TAVOAUDIO_CONVERT_REGION_TO_LOOP, region, nullptr, nullptr);
    if (answer == 0) return 0;
    return _TAVOREGIONS_Edit(doc, {region}, {0}, "Convert Region to Loop",
                             [&](AUDIOSIGNAL s) { return AUDIOSIGNAL_ConvertRegionToLoop(s, region); });
}

TAVO_API int32_t TAVOAUDIO_ConvertToRegion(TAVOAUDIO audio, AUDIOREGION loop)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = editable(audio, signal);
    if (doc == nullptr || loop == nullptr) return 0;
    if (AUDIOREGION_GetKind(loop) != AUDIOREGION_KIND_LOOP || AUDIOREGION_IsDeleted(loop)) return 0;
    if (!_TAVOREGIONS_TrackWritable(signal, AUDIOREGION_GetTrackIndex(loop))) return 0;
    const int32_t answer = _TAVOAUDIO_Send(doc, TAVOAUDIO_CONVERT_LOOP_TO_REGION, loop, nullptr, nullptr);
    if (answer == 0) return 0;
    return _TAVOREGIONS_Edit(doc, {loop}, {AUDIOREGION_GetTrackIndex(loop)}, "Convert Loop to Region",
                             [&](AUDIOSIGNAL s) { return AUDIOSIGNAL_ConvertLoopToRegion(s, loop); });
}

TAVO_API int32_t TAVOAUDIO_ConvertToMarkers(TAVOAUDIO audio, AUDIOREGION region)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = editable(audio, signal);
    if (doc == nullptr || region == nullptr) return 0;
    const int32_t kind = AUDIOREGION_GetKind(region);
    if ((kind != AUDIOREGION_KIND_REGION && kind != AUDIOREGION_KIND_LOOP) || AUDIOREGION_IsDeleted(region)) return 0;
    if (!_TAVOREGIONS_TrackWritable(signal, AUDIOREGION_GetTrackIndex(region))) return 0;
    // Like the other conversions, the host may refuse this one first.
    if (_TAVOAUDIO_Send(doc, TAVOAUDIO_CONVERT_TO_MARKERS, region, nullptr, nullptr) == 0) return 0;
    return _TAVOREGIONS_Edit(doc, {region}, {AUDIOREGION_GetTrackIndex(region)}, "Convert to Markers",
                             [&](AUDIOSIGNAL s) {
                                 return AUDIOSIGNAL_ConvertRegionToMarkers(s, region, nullptr, nullptr);
                             });
}

TAVO_API int32_t TAVOAUDIO_ConvertMarkersToRegionEx(TAVOAUDIO audio, AUDIOREGION markerA, AUDIOREGION markerB,
                                                    const char *label)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = editable(audio, signal);
    if (doc == nullptr || markerA == nullptr || markerB == nullptr || sameRegion(markerA, markerB)) return 0;
    if (!AUDIOREGION_IsMarker(markerA) || !AUDIOREGION_IsMarker(markerB)) return 0;
    if (AUDIOREGION_IsDeleted(markerA) || AUDIOREGION_IsDeleted(markerB)) return 0;
    const int32_t track = AUDIOREGION_GetTrackIndex(markerA);
    if (track != AUDIOREGION_GetTrackIndex(markerB) || !_TAVOREGIONS_TrackWritable(signal, track)) return 0;
    if (_TAVOAUDIO_Send(doc, TAVOAUDIO_CONVERT_MARKERS_TO_REGIONS, markerA, markerB, nullptr) == 0) return 0;
    // The region takes the label of the marker that comes first in time.
    AUDIOREGION first = AUDIOREGION_GetBegin(markerA) <= AUDIOREGION_GetBegin(markerB) ? markerA : markerB;
    std::string text = label != nullptr ? label : "";
    if (label == nullptr) {
        const char *own = AUDIOREGION_GetLabel(first);
        text = own != nullptr && own[0] != '\0' ? own : "Region 1";
    }
    return _TAVOREGIONS_Edit(doc, {markerA, markerB}, {track}, "Convert Markers to Regions", [&](AUDIOSIGNAL s) {
        return AUDIOSIGNAL_ConvertMarkersToRegion(s, markerA, markerB, text.c_str()) != nullptr;
    });
}

// ---- merging -----------------------------------------------------------------------

TAVO_API int32_t TAVOAUDIO_CanMergeSelectedRegions(TAVOAUDIO audio)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = editable(audio, signal);
    if (doc == nullptr) return 0;
    TavoDocReadLock lock(doc);
    if (!lock) return 0;
    const int32_t numTracks = AUDIOSIGNAL_NumRegionTracks(signal);
    for (int32_t i = 0; i < numTracks; ++i) {
        if (_TAVOREGIONS_TrackOpenForSelection(signal, i) && AUDIOSIGNAL_CanMergeSelectedRegions(signal, i)) return 1;
    }
    return 0;
}

TAVO_API int32_t TAVOAUDIO_MergeSelectedRegions(TAVOAUDIO audio)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = editable(audio, signal);
    if (doc == nullptr) return 0;
    if (AUDIOSIGNAL_CountSelectedRegionsOfTrack(signal, -1) < 1) return 1;
    int32_t merged = 0;
    bool failed = false;
    bool external = false;
    {
        RegionEditAccess access(doc);
        if (!access) return 0;
        TAVOUNDOSCRIPT script = TAVOUNDO_CreateUndoScript(doc, "Merge Regions", doc->state);
        if (script == nullptr || !TAVOUNDO_AddRevertAllRegions(script, signal)) {
            if (script != nullptr) TAVOUNDO_DestroyUndoScript(doc, script);
            return 0;
        }
        const int32_t numTracks = AUDIOSIGNAL_NumRegionTracks(signal);
        for (int32_t i = 0; i < numTracks && !failed; ++i) {
            if (!_TAVOREGIONS_TrackOpenForSelection(signal, i)) continue;
            if (AUDIOSIGNAL_CountSelectedRegionsOfTrack(signal, i) < 2) continue;
            if (AUDIOSIGNAL_MergeRegions(signal, i)) {
                ++merged;
                external = external || AUDIOREGIONTRACK_IsExternal(AUDIOSIGNAL_GetRegionTrack(signal, i));
            } else {
                failed = true;
            }
        }
        if (merged == 0 && !failed) {
            // Nothing changed: no step, and the redo history stays.
            TAVOUNDO_DestroyUndoScript(doc, script);
        } else if (failed) {
            // A failed merge leaves no trace: the tracks merged before it are
            // taken back at once, and no undo or redo step remains.
            _TAVOREGIONS_Rollback(doc, script);
        } else {
            TAVOUNDO_PushUndoScript(doc, script);
            _TAVOREGIONS_DropFocus(doc);
        }
    }
    if (merged > 0) _TAVOREGIONS_After(doc, external && !failed, nullptr);
    return merged > 0 && !failed ? 1 : 0;
}

// ---- deleting ----------------------------------------------------------------------

TAVO_API int32_t TAVOAUDIO_DeleteRegionEx(TAVOAUDIO audio, AUDIOREGION region, uint32_t flags)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = editable(audio, signal);
    if (doc == nullptr || region == nullptr || !AUDIOREGION_CanDelete(region)) return 0;
    const bool record = (flags & TAVOREGION_DELETE_NO_UNDO) == 0;
    const int32_t track = AUDIOREGION_GetTrackIndex(region);
    if (record && !_TAVOREGIONS_TrackWritable(signal, track)) return 0;
    bool deleted = false;
    bool external = false;
    {
        RegionEditAccess access(doc);
        if (!access) return 0;
        TAVOUNDOSCRIPT script = nullptr;
        if (record) {
            script = TAVOUNDO_CreateUndoScript(doc, "Delete Region", doc->state);
            if (script == nullptr || !TAVOUNDO_AddRevertTrack(script, signal, track)) {
                if (script != nullptr) TAVOUNDO_DestroyUndoScript(doc, script);
                return 0;
            }
        }
        _TAVOREGIONS_DropFocusIf(doc, region);
        _TAVOREGIONS_DropHighlightIf(doc, region);
        external = AUDIOSIGNAL_IsRegionExternal(signal, region);
        deleted = AUDIOSIGNAL_DeleteRegion(signal, region, flags & AUDIOSIGNAL_DELETE_FOR_GOOD);
        if (script != nullptr) {
            if (deleted) {
                TAVOUNDO_PushUndoScript(doc, script);
            } else {
                TAVOUNDO_DestroyUndoScript(doc, script);
            }
        }
    }
    if (!deleted) return 0;
    _TAVOREGIONS_After(doc, external, region);
    return 1;
}

TAVO_API int32_t TAVOAUDIO_UndeleteRegionEx(TAVOAUDIO audio, AUDIOREGION region, uint32_t flags)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = editable(audio, signal);
    if (doc == nullptr || region == nullptr) return 0;
    const bool record = (flags & TAVOREGION_DELETE_NO_UNDO) == 0;
    const int32_t track = AUDIOREGION_GetTrackIndex(region);
    if (record && !AUDIOREGION_IsDeleted(region)) return 1;
    if (record && !_TAVOREGIONS_TrackWritable(signal, track)) return 0;
    bool undeleted = false;
    bool external = false;
    {
        RegionEditAccess access(doc);
        if (!access) return 0;
        TAVOUNDOSCRIPT script = nullptr;
        if (record) {
            script = TAVOUNDO_CreateUndoScript(doc, "Undelete Region", doc->state);
            if (script == nullptr || !TAVOUNDO_AddRevertTrack(script, signal, track)) {
                if (script != nullptr) TAVOUNDO_DestroyUndoScript(doc, script);
                return 0;
            }
        }
        _TAVOREGIONS_DropFocusIf(doc, region);
        undeleted = AUDIOSIGNAL_UndeleteRegion(signal, region);
        external = AUDIOSIGNAL_IsRegionExternal(signal, region);
        if (script != nullptr) {
            if (undeleted) {
                TAVOUNDO_PushUndoScript(doc, script);
            } else {
                TAVOUNDO_DestroyUndoScript(doc, script);
            }
        }
    }
    if (!undeleted) return 0;
    _TAVOREGIONS_After(doc, external, region);
    return 1;
}

TAVO_API int32_t TAVOAUDIO_DelSelectedRegions(TAVOAUDIO audio)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = editable(audio, signal);
    if (doc == nullptr) return 0;
    return deleteList(doc, selectedRegions(signal, -1));
}

TAVO_API int32_t TAVOAUDIO_DelSelectedRegionsOfTrack(TAVOAUDIO audio, const char *trackUniqId)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = editable(audio, signal);
    if (doc == nullptr) return 0;
    const int32_t track = AUDIOSIGNAL_FindRegionTrackIndex(signal, trackUniqId);
    if (track < 0) return 0;
    return deleteList(doc, selectedRegions(signal, track));
}

TAVO_API int32_t TAVOAUDIO_DeleteRegions(TAVOAUDIO audio, const AUDIOREGION *regions, int32_t count)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = editable(audio, signal);
    if (doc == nullptr || count < 0 || (regions == nullptr && count > 0)) return 0;
    std::vector<AUDIOREGION> list(regions, regions + count);
    // In track order, then in the track's order, as the selection lists are:
    // parents come before their children and the neighbour rule holds.
    std::stable_sort(list.begin(), list.end(), [](AUDIOREGION a, AUDIOREGION b) {
        const int32_t ta = AUDIOREGION_GetTrackIndex(a);
        const int32_t tb = AUDIOREGION_GetTrackIndex(b);
        if (ta != tb) return ta < tb;
        return AUDIOREGION_Compare(a, b) < 0;
    });
    return deleteList(doc, list);
}

// ---- lock, hide, flags -------------------------------------------------------------

TAVO_API int32_t TAVOAUDIO_LockRegion(TAVOAUDIO audio, AUDIOREGION region)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = editable(audio, signal);
    if (doc == nullptr || region == nullptr || AUDIOREGION_IsLocked(region)) return 0;
    {
        TavoDocWriteLock lock(doc);
        if (!lock || !AUDIOREGION_Lock(region)) return 0;
    }
    if (!lockAccepted(_TAVOAUDIO_Send(doc, TAVOAUDIO_REGION_LOCKED, region, nullptr, nullptr))) {
        TavoDocWriteLock lock(doc);
        AUDIOREGION_Unlock(region);
        return 0;
    }
    TAVOSTATE_NotifyChanges(doc, 0, TAVOREGIONS_CHANGE_BIT);
    return 1;
}

TAVO_API int32_t TAVOAUDIO_UnlockRegion(TAVOAUDIO audio, AUDIOREGION region)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = editable(audio, signal);
    if (doc == nullptr || region == nullptr || !AUDIOREGION_IsLocked(region)) return 0;
    // The host is asked before: an unlock it refuses never happens.
    if (!lockAccepted(_TAVOAUDIO_Send(doc, TAVOAUDIO_REGION_UNLOCKED, region, nullptr, nullptr))) return 0;
    {
        TavoDocWriteLock lock(doc);
        if (!lock || !AUDIOREGION_Unlock(region)) return 0;
    }
    TAVOSTATE_NotifyChanges(doc, 0, TAVOREGIONS_CHANGE_BIT);
    return 1;
}

TAVO_API int32_t TAVOAUDIO_HideRegion(TAVOAUDIO audio, AUDIOREGION region)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = editable(audio, signal);
    if (doc == nullptr || region == nullptr) return 0;
    if (AUDIOREGION_IsHidden(region)) return 1;
    {
        TavoDocWriteLock lock(doc);
        if (!lock || !AUDIOREGION_Hide(region)) return 0;
    }
    TAVOAUDIO_SetFocusOnRegion(doc, nullptr);
    TAVOSTATE_NotifyChanges(doc, 0, TAVOREGIONS_CHANGE_BIT);
    return 1;
}

TAVO_API int32_t TAVOAUDIO_UnhideRegion(TAVOAUDIO audio, AUDIOREGION region)
{
    AUDIOSIGNAL signal = nullptr;
    TavoDocument *doc = editable(audio, signal);
    if (doc == nullptr || region == nullptr) return 0;
    if (!AUDIOREGION_IsHidden(region)) return 1;
    {
        TavoDocWriteLock lock(doc);
        if (!lock || !AUDIOREGION_Unhide(region)) return 0;
    }
    TAVOAUDIO_SetFocusOnRegion(doc, nullptr);
    TAVOSTATE_NotifyChanges(doc, 0, TAVOREGIONS_CHANGE_BIT);
    return 1;
}

TAVO_API int32_t TAVOAUDIO_SetRegionTextHide(TAVOAUDIO audio, AUDIOREGION region, bool hide)
{
    return setFlag(audio, region, AUDIOREGION_SetTextHide, hide);
}

TAVO_API int32_t TAVOAUDIO_SetRegionLabelHide(TAVOAUDIO audio, AUDIOREGION region, bool hide)
{
    return setFlag(audio, region, AUDIOREGION_SetLabelHide, hide);
}

TAVO_API int32_t TAVOAUDIO_SetRegionChanged(TAVOAUDIO audio, AUDIOREGION region, bool changed)
{
    return setFlag(audio, region, AUDIOREGION_SetChanged, changed);
}

TAVO_API int32_t TAVOAUDIO_SetRegionReadOnly(TAVOAUDIO audio, AUDIOREGION region, bool readOnly)
{
    return setFlag(audio, region, AUDIOREGION_SetReadOnly, readOnly);
}
