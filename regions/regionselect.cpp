// regionselect.cpp: the document's focused, current and edited region, the
// region selection and the highlight.
//
// All of it is view state: the region flags (selected) and the state's
// counted references change without an undo step. Changes take the
// selection write access (4 tries, 1 ms apart: a click must not hang behind
// a long edit), release it before any event goes out, and notify the
// regions-changed bit last, so a handler sees the final state.

#include <cstdint>
#include <cstring>
#include <functional>
#include <vector>

#include "audioregion.h"
#include "audiosignal.h"
#include "frame/document_p.h"
#include "regions/regionquery_p.h"
#include "tavoaudio.h"
#include "tavonotify.h"
#include "tavoregionview.h"
#include "tavostate.h"
#include "tavoutil.h"
#include "view/selection_p.h"
#include "view/state_p.h"

namespace {

// One event owed to the host once the lock is released. `held` is a
// reference the event keeps alive (the region that lost the focus may have
// no other holder); it is disposed of after sending.
struct PendingEvent {
    int32_t kind;
    AUDIOREGION region;
    void *arg2;
    AUDIOREGION held;
};

class EventQueue {
public:
    EventQueue() = default;
    EventQueue(const EventQueue &) = delete;
    EventQueue &operator=(const EventQueue &) = delete;
    ~EventQueue()
    {
        for (const PendingEvent &event : m_events)
            if (event.held != nullptr) AUDIOREGION_Dispose(event.held);
    }
    void add(int32_t kind, AUDIOREGION region, void *arg2 = nullptr, AUDIOREGION held = nullptr)
    {
        m_events.push_back({kind, region, arg2, held});
    }
    // Keeps a reference alive until the queue is done, without an event.
    void hold(AUDIOREGION held)
    {
        if (held != nullptr) m_events.push_back({0, nullptr, nullptr, held});
    }
    // Sends in order; stops when a handler closed the document.
    void send(TAVOAUDIO audio)
    {
        for (const PendingEvent &event : m_events) {
            if (event.kind == 0) continue;
            TavoDocument *doc = _TAVOAUDIO_Validate(audio);
            if (doc == nullptr) return;
            _TAVOAUDIO_Send(doc, event.kind, event.region, event.arg2, nullptr);
        }
    }

private:
    std::vector<PendingEvent> m_events;
};

void *modeArg(int32_t mode)
{
    return reinterpret_cast<void *>(static_cast<intptr_t>(mode));
}

// Moves the focus to `region` (null: none) and queues the events: the old
// holder loses the focus before the new one gets it, so a host that tracks
// "the focused region" never sees two at once. Call with the write lock held.
// Returns whether the focus moved.
bool moveFocus(TavoState *state, AUDIOSIGNAL signal, AUDIOREGION region, EventQueue &events)
{
    AUDIOREGION current = _TAVOREGIONVIEW_Resolve(signal, &state->focusRegion);
    if (current == region) return false;
    AUDIOREGION old = _TAVOREGIONVIEW_Exchange(&state->focusRegion, region);
    if (old != nullptr)
        events.add(AUDIOREGION_IsMarker(old) ? TAVOAUDIO_MARKER_LOST_FOCUS : TAVOAUDIO_REGION_LOST_FOCUS, old,
                   nullptr, old);
    if (region != nullptr)
        events.add(AUDIOREGION_IsMarker(region) ? TAVOAUDIO_MARKER_GET_FOCUS : TAVOAUDIO_REGION_GET_FOCUS, region);
    return true;
}

// A region the user may select: live in the document's signal and shown.
bool selectable(AUDIOSIGNAL signal, AUDIOREGION region)
{
    return _TAVOREGIONVIEW_IsLive(signal, region) && !AUDIOREGION_IsHidden(region);
}

// A track index usable by the "OfTrack" operations: -1 or an existing track.
bool validTrack(AUDIOSIGNAL signal, int32_t trackIndex)
{
    return trackIndex == -1 || (trackIndex >= 0 && trackIndex < AUDIOSIGNAL_NumRegionTracks(signal));
}

// Selects `region` and queues its event when it was not selected yet.
bool selectOne(AUDIOREGION region, int32_t mode, EventQueue &events)
{
    if (AUDIOREGION_IsSelected(region)) return false;
    AUDIOREGION_SetSelected(region, true);
    events.add(TAVOAUDIO_REGION_SELECTED, region, modeArg(mode));
    return true;
}

// Stores one of the plain region references (current, edit) and tells
// whether it changed; the old reference goes to `events` to be disposed of
// after the events.
bool exchangeReference(AUDIOSIGNAL signal, AUDIOREGION *slot, AUDIOREGION region, EventQueue &events,
                       AUDIOREGION *previous)
{
    AUDIOREGION current = _TAVOREGIONVIEW_Resolve(signal, slot);
    if (previous != nullptr) *previous = current;
    if (current == region) return false;
    events.hold(_TAVOREGIONVIEW_Exchange(slot, region));
    return true;
}

// Clears the highlight: text, reference and range. Call with the write lock held.
void clearHighlight(TavoState *state, EventQueue &events)
{
    state->regionsHighlight[0] = '\0';
    events.hold(_TAVOREGIONVIEW_Exchange(&state->highlightRegion, nullptr));
    state->highlightBegin = state->highlightEnd = -1;
}

// The regions the highlight text matches, in search order.
std::vector<AUDIOREGION> highlightMatches(AUDIOSIGNAL signal, const TavoState *state, const char *text)
{
    std::vector<AUDIOREGION> matches;
    if (text == nullptr || text[0] == '\0') return matches;
    const uint32_t option = _TAVOREGIONVIEW_SearchOption(state);
    const int32_t count = AUDIOSIGNAL_CountRegions(signal, -1, option);
    if (count < 1) return matches;
    std::vector<AUDIOREGION> all(static_cast<size_t>(count));
    const int32_t got = AUDIOSIGNAL_GetRegions(signal, -1, option, all.data(), count);
    for (int32_t i = 0; i < got; ++i)
        if (_TAVOREGIONVIEW_LabelContains(AUDIOREGION_GetLabel(all[static_cast<size_t>(i)]), text))
            matches.push_back(all[static_cast<size_t>(i)]);
    return matches;
}

// The live region a reference slot of the view state names (the slot is
// dropped when its region left), null when none or the lock is busy.
AUDIOREGION resolveSlot(TAVOAUDIO audio, AUDIOREGION TavoState::*slot)
{
    TavoDocument *doc = _TAVOREGIONVIEW_Document(audio);
    if (doc == nullptr) return nullptr;
    SelectionRead access(audio);
    if (!access) return nullptr;
    return _TAVOREGIONVIEW_Resolve(_TAVOAUDIO_Signal(doc), &(doc->state->*slot));
}

}  // namespace

// ---- shared helpers ----------------------------------------------------------------

TavoDocument *_TAVOREGIONVIEW_Document(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr || _TAVOAUDIO_Signal(doc) == nullptr) return nullptr;
    return doc;
}

uint32_t _TAVOREGIONVIEW_SearchOption(const TavoState *state)
{
    return state != nullptr ? (state->regionSearchOption & TAVOREGION_SEARCH_ALL_BITS) : 0u;
}

bool _TAVOREGIONVIEW_InSignal(AUDIOSIGNAL signal, AUDIOREGION region)
{
    if (signal == nullptr || region == nullptr) return false;
    const int32_t track = AUDIOREGION_GetTrackIndex(region);
    if (track < 0) return false;
    // The library has no "owner of this handle" query; a region is the
    // signal's when its track there lists the very same handle.
    constexpr uint32_t everything = AUDIOREGION_SEARCH_HIDDEN | AUDIOREGION_SEARCH_DELETED;
    const int32_t count = AUDIOSIGNAL_CountRegions(signal, track, everything);
    if (count < 1) return false;
    std::vector<AUDIOREGION> regions(static_cast<size_t>(count));
    const int32_t got = AUDIOSIGNAL_GetRegions(signal, track, everything, regions.data(), count);
    for (int32_t i = 0; i < got; ++i)
        if (regions[static_cast<size_t>(i)] == region) return true;
    return false;
}

bool _TAVOREGIONVIEW_IsLive(AUDIOSIGNAL signal, AUDIOREGION region)
{
    return _TAVOREGIONVIEW_InSignal(signal, region) && !AUDIOREGION_IsDeleted(region);
}

AUDIOREGION _TAVOREGIONVIEW_Resolve(AUDIOSIGNAL signal, AUDIOREGION *slot)
{
    AUDIOREGION held = *slot;
    if (held == nullptr) return nullptr;
    AUDIOREGION live = nullptr;
    const int32_t track = AUDIOREGION_GetTrackIndex(held);
    if (track >= 0) {
        if (_TAVOREGIONVIEW_InSignal(signal, held)) {
            live = held;
        } else {
            // Edits swap in a copy of the signal whose regions are new
            // handles with the old identities: follow the identity.
            constexpr uint32_t everything = AUDIOREGION_SEARCH_HIDDEN | AUDIOREGION_SEARCH_DELETED;
            const uint64_t id = AUDIOREGION_GetUniqId(held);
            const int32_t count = AUDIOSIGNAL_CountRegions(signal, -1, everything);
            std::vector<AUDIOREGION> regions(static_cast<size_t>(count > 0 ? count : 0));
            const int32_t got = count > 0 ? AUDIOSIGNAL_GetRegions(signal, -1, everything, regions.data(), count) : 0;
            for (int32_t i = 0; i < got && live == nullptr; ++i)
                if (AUDIOREGION_GetUniqId(regions[static_cast<size_t>(i)]) == id) live = regions[static_cast<size_t>(i)];
        }
    }
    if (live != nullptr && AUDIOREGION_IsDeleted(live)) live = nullptr;
    if (live != held) {
        *slot = live != nullptr ? AUDIOREGION_GetReference(live) : nullptr;
        AUDIOREGION_Dispose(held);
    }
    return live;
}

AUDIOREGION _TAVOREGIONVIEW_Exchange(AUDIOREGION *slot, AUDIOREGION region)
{
    AUDIOREGION old = *slot;
    *slot = region != nullptr ? AUDIOREGION_GetReference(region) : nullptr;
    return old;
}

bool _TAVOREGIONVIEW_LabelContains(const char *label, const char *text)
{
    if (label == nullptr || text == nullptr || text[0] == '\0') return false;
    auto lower = [](char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; };
    const size_t n = std::strlen(text);
    for (const char *p = label; *p != '\0'; ++p) {
        size_t k = 0;
        while (k < n && p[k] != '\0' && lower(p[k]) == lower(text[k])) ++k;
        if (k == n) return true;
    }
    return false;
}

void _TAVOREGIONVIEW_Notify(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return;
    // Inside an outer selection write access of this thread, the change
    // joins the one notification that access sends when it ends.
    if (doc->selectionWriteDepth > 0 && ReadWriteLock_HasWriteLock(doc->rwlock)) {
        doc->pendingBits |= TAVOREGIONVIEW_CHANGED;
        doc->pendingNotify = true;
        return;
    }
    TAVOSTATE_NotifyChanges(audio, 0, TAVOREGIONVIEW_CHANGED);
}

namespace {

// Changes one of the state's region references to `region` (null: none)
// under selection write access. `change` says whether anything changed and
// queues the events, which go out, followed by the view notification, after
// the access ends. 0 for a refused access or a region not in the signal.
int32_t changeReference(TAVOAUDIO audio, AUDIOREGION region,
                        const std::function<bool(TavoDocument *, AUDIOSIGNAL, EventQueue &)> &change)
{
    TavoDocument *doc = _TAVOREGIONVIEW_Document(audio);
    if (doc == nullptr) return 0;
    EventQueue events;
    {
        SelectionWrite access(audio);
        if (!access) return 0;
        AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
        if (region != nullptr && !_TAVOREGIONVIEW_IsLive(signal, region)) return 0;
        if (!change(doc, signal, events)) return 1;
    }
    events.send(audio);
    _TAVOREGIONVIEW_Notify(audio);
    return 1;
}

}  // namespace

// ---- focused, current and edited region ----------------------------------------------

TAVO_API AUDIOREGION TAVOAUDIO_GetRegionOnFocus(TAVOAUDIO audio)
{
    return resolveSlot(audio, &TavoState::focusRegion);
}

TAVO_API AUDIOREGION TAVOAUDIO_ReferenceRegionOnFocus(TAVOAUDIO audio)
{
    return AUDIOREGION_GetReference(TAVOAUDIO_GetRegionOnFocus(audio));
}

TAVO_API int32_t TAVOAUDIO_SetFocusOnRegion(TAVOAUDIO audio, AUDIOREGION region)
{
    return changeReference(audio, region, [region](TavoDocument *doc, AUDIOSIGNAL signal, EventQueue &events) {
        return moveFocus(doc->state, signal, region, events);
    });
}

TAVO_API AUDIOREGION TAVOAUDIO_GetCurrentRegion(TAVOAUDIO audio)
{
    return resolveSlot(audio, &TavoState::currentRegion);
}

TAVO_API AUDIOREGION TAVOAUDIO_ReferenceCurrentRegion(TAVOAUDIO audio)
{
    return AUDIOREGION_GetReference(TAVOAUDIO_GetCurrentRegion(audio));
}

TAVO_API int32_t TAVOAUDIO_SetCurrentRegion(TAVOAUDIO audio, AUDIOREGION region)
{
    return changeReference(audio, region, [region](TavoDocument *doc, AUDIOSIGNAL signal, EventQueue &events) {
        // The previous region's reference is held by the queue until its
        // event is out.
        AUDIOREGION previous = nullptr;
        if (!exchangeReference(signal, &doc->state->currentRegion, region, events, &previous)) return false;
        events.add(TAVOAUDIO_REGION_CHANGE_CURRENT, region, previous);
        return true;
    });
}

TAVO_API AUDIOREGION TAVOAUDIO_GetRegionOnEdit(TAVOAUDIO audio)
{
    return resolveSlot(audio, &TavoState::editRegion);
}

TAVO_API int32_t TAVOAUDIO_SetEditingRegion(TAVOAUDIO audio, AUDIOREGION region)
{
    return changeReference(audio, region, [region](TavoDocument *doc, AUDIOSIGNAL signal, EventQueue &events) {
        return exchangeReference(signal, &doc->state->editRegion, region, events, nullptr);
    });
}

TAVO_API bool TAVOAUDIO_IsEditingRegion(TAVOAUDIO audio)
{
    return TAVOAUDIO_GetRegionOnEdit(audio) != nullptr;
}

// Discarding is the host's business (its in-place editor holds the typed
// text), so the event only informs; its answer is not asked for.
TAVO_API int32_t TAVOAUDIO_CloseRegionEditor(TAVOAUDIO audio, bool discard)
{
    TavoDocument *doc = _TAVOREGIONVIEW_Document(audio);
    if (doc == nullptr) return 0;
    EventQueue events;
    {
        SelectionWrite access(audio);
        if (!access) return 0;
        AUDIOREGION region = _TAVOREGIONVIEW_Resolve(_TAVOAUDIO_Signal(doc), &doc->state->editRegion);
        if (region == nullptr) return 0;
        AUDIOREGION old = _TAVOREGIONVIEW_Exchange(&doc->state->editRegion, nullptr);
        if (discard) events.add(TAVOAUDIO_DISCARD_REGION_ON_EDIT, region, nullptr, old);
        else events.hold(old);
    }
    events.send(audio);
    _TAVOREGIONVIEW_Notify(audio);
    return 1;
}

TAVO_API bool TAVOAUDIO_SetRegionEditLabelMode(TAVOAUDIO audio, bool enabled)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr) return false;
    doc->state->regionEditLabelMode = enabled;
    return true;
}

TAVO_API bool TAVOAUDIO_GetRegionEditLabelMode(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    return doc != nullptr && doc->state != nullptr && doc->state->regionEditLabelMode;
}

TAVO_API bool TAVOAUDIO_SetRegionSearchOption(TAVOAUDIO audio, uint32_t option)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr) return false;
    if ((option & ~TAVOREGION_SEARCH_ALL_BITS) != 0) return false;
    doc->state->regionSearchOption = static_cast<uint8_t>(option);
    return true;
}

TAVO_API int32_t TAVOAUDIO_GetRegionSearchOption(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr) return -1;
    return static_cast<int32_t>(_TAVOREGIONVIEW_SearchOption(doc->state));
}

// ---- region selection ------------------------------------------------------------------

TAVO_API int32_t TAVOAUDIO_UnselectRegion(TAVOAUDIO audio, AUDIOREGION region)
{
    TavoDocument *doc = _TAVOREGIONVIEW_Document(audio);
    if (doc == nullptr || region == nullptr) return 0;
    {
        SelectionWrite access(audio);
        if (!access) return 0;
        if (!_TAVOREGIONVIEW_InSignal(_TAVOAUDIO_Signal(doc), region)) return 0;
        if (!AUDIOREGION_IsSelected(region)) return 1;
        AUDIOREGION_SetSelected(region, false);
    }
    _TAVOREGIONVIEW_Notify(audio);
    return 1;
}

TAVO_API int32_t TAVOAUDIO_UnselectAllRegionsOfTrack(TAVOAUDIO audio, int32_t trackIndex)
{
    TavoDocument *doc = _TAVOREGIONVIEW_Document(audio);
    if (doc == nullptr) return 0;
    {
        SelectionWrite access(audio);
        if (!access) return 0;
        AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
        if (!validTrack(signal, trackIndex)) return 0;
        if (AUDIOSIGNAL_CountSelectedRegionsOfTrack(signal, trackIndex) == 0) return 1;
        if (!AUDIOSIGNAL_UnselectAllRegions(signal, trackIndex)) return 0;
    }
    _TAVOREGIONVIEW_Notify(audio);
    return 1;
}

TAVO_API int32_t TAVOAUDIO_UnselectAllRegions(TAVOAUDIO audio)
{
    return TAVOAUDIO_UnselectAllRegionsOfTrack(audio, -1);
}

TAVO_API int32_t TAVOAUDIO_SelectRegionEx(TAVOAUDIO audio, AUDIOREGION region, int32_t mode)
{
    TavoDocument *doc = _TAVOREGIONVIEW_Document(audio);
    if (doc == nullptr || region == nullptr) return 0;
    if (mode < TAVOREGION_SELECT_REMOVE || mode > TAVOREGION_SELECT_TOGGLE) return 0;
    if (mode == TAVOREGION_SELECT_REMOVE) return TAVOAUDIO_UnselectRegion(audio, region);
    EventQueue events;
    {
        SelectionWrite access(audio);
        if (!access) return 0;
        AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
        if (!selectable(signal, region)) return 0;
        switch (mode) {
        case TAVOREGION_SELECT_ONLY:
            // The others go first so that the region's own flag, set
            // afterwards, is the only one left on.
            AUDIOSIGNAL_UnselectAllRegions(signal, -1);
            moveFocus(doc->state, signal, region, events);
            selectOne(region, mode, events);
            break;
        case TAVOREGION_SELECT_ADD:
            selectOne(region, mode, events);
            break;
        default:   // toggle
            if (AUDIOREGION_IsSelected(region)) AUDIOREGION_SetSelected(region, false);
            else selectOne(region, mode, events);
            break;
        }
    }
    events.send(audio);
    _TAVOREGIONVIEW_Notify(audio);
    return 1;
}

TAVO_API int32_t TAVOAUDIO_SelectRegions(TAVOAUDIO audio, const AUDIOREGION *regions, int32_t count, bool add)
{
    TavoDocument *doc = _TAVOREGIONVIEW_Document(audio);
    if (doc == nullptr || regions == nullptr || count < 1) return 0;
    EventQueue events;
    int32_t selected = 0;
    {
        SelectionWrite access(audio);
        if (!access) return 0;
        AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
        // All or nothing: check every region before changing any flag.
        for (int32_t i = 0; i < count; ++i)
            if (!selectable(signal, regions[i])) return 0;
        // Regions that stay selected keep their flag (and get no event).
        if (!add) {
            std::vector<AUDIOREGION> keep(regions, regions + count);
            const int32_t n = AUDIOSIGNAL_CountSelectedRegionsOfTrack(signal, -1);
            std::vector<AUDIOREGION> current(static_cast<size_t>(n > 0 ? n : 0));
            const int32_t got = n > 0 ? AUDIOSIGNAL_GetSelectedRegions(signal, -1, current.data(), n) : 0;
            for (int32_t i = 0; i < got; ++i) {
                AUDIOREGION r = current[static_cast<size_t>(i)];
                bool listed = false;
                for (AUDIOREGION k : keep) listed = listed || k == r;
                if (!listed) AUDIOREGION_SetSelected(r, false);
            }
        }
        for (int32_t i = 0; i < count; ++i) selectOne(regions[i], add ? TAVOREGION_SELECT_ADD : TAVOREGION_SELECT_ONLY, events);
        for (int32_t i = 0; i < count; ++i) {
            bool duplicate = false;
            for (int32_t j = 0; j < i; ++j) duplicate = duplicate || regions[j] == regions[i];
            if (!duplicate) ++selected;
        }
    }
    events.send(audio);
    _TAVOREGIONVIEW_Notify(audio);
    return selected;
}

namespace {

// Selects from the focused region towards the first (`forward` false) or
// the last region of its track.
int32_t selectFromFocus(TAVOAUDIO audio, bool forward)
{
    TavoDocument *doc = _TAVOREGIONVIEW_Document(audio);
    if (doc == nullptr) return 0;
    EventQueue events;
    {
        SelectionWrite access(audio);
        if (!access) return 0;
        AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
        AUDIOREGION focus = _TAVOREGIONVIEW_Resolve(signal, &doc->state->focusRegion);
        if (focus == nullptr) return 0;
        const uint32_t option = _TAVOREGIONVIEW_SearchOption(doc->state);
        // The focused region itself is selected even when the option would
        // skip it (it has the focus, so the user sees it).
        selectOne(focus, TAVOREGION_SELECT_ADD, events);
        for (AUDIOREGION r = forward ? AUDIOSIGNAL_FindNextOnTrackRegion(signal, focus, option)
                                     : AUDIOSIGNAL_FindPrevOnTrackRegion(signal, focus, option);
             r != nullptr; r = forward ? AUDIOSIGNAL_FindNextOnTrackRegion(signal, r, option)
                                       : AUDIOSIGNAL_FindPrevOnTrackRegion(signal, r, option)) {
            if (!AUDIOREGION_IsDeleted(r)) selectOne(r, TAVOREGION_SELECT_ADD, events);
        }
    }
    events.send(audio);
    _TAVOREGIONVIEW_Notify(audio);
    return 1;
}

}  // namespace

TAVO_API int32_t TAVOAUDIO_SelectToFirstRegion(TAVOAUDIO audio)
{
    return selectFromFocus(audio, false);
}

TAVO_API int32_t TAVOAUDIO_SelectToLastRegion(TAVOAUDIO audio)
{
    return selectFromFocus(audio, true);
}

TAVO_API int32_t TAVOAUDIO_SelectAllRegionsEx(TAVOAUDIO audio, int32_t trackIndex)
{
    TavoDocument *doc = _TAVOREGIONVIEW_Document(audio);
    if (doc == nullptr) return 0;
    EventQueue events;
    int32_t selected = 0;
    {
        SelectionWrite access(audio);
        if (!access) return 0;
        AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
        if (!validTrack(signal, trackIndex)) return 0;
        // Deleted regions are never selected, whatever the option shows.
        const uint32_t option = _TAVOREGIONVIEW_SearchOption(doc->state) & ~AUDIOREGION_SEARCH_DELETED;
        const int32_t count = AUDIOSIGNAL_CountRegions(signal, trackIndex, option);
        std::vector<AUDIOREGION> regions(static_cast<size_t>(count > 0 ? count : 0));
        const int32_t got = count > 0 ? AUDIOSIGNAL_GetRegions(signal, trackIndex, option, regions.data(), count) : 0;
        for (int32_t i = 0; i < got; ++i)
            if (selectOne(regions[static_cast<size_t>(i)], TAVOREGION_SELECT_ADD, events)) ++selected;
    }
    if (selected == 0) return 0;
    events.send(audio);
    _TAVOREGIONVIEW_Notify(audio);
    return selected;
}

// ---- highlight ---------------------------------------------------------------------------

TAVO_API int32_t TAVOAUDIO_SetRegionsHighlight(TAVOAUDIO audio, const char *text)
{
    TavoDocument *doc = _TAVOREGIONVIEW_Document(audio);
    if (doc == nullptr) return 0;
    if (text != nullptr && std::strlen(text) >= TAVOREGION_HIGHLIGHT_SIZE) return 0;
    EventQueue events;   // only holds the replaced reference
    int32_t matched = 0;
    {
        SelectionWrite access(audio);
        if (!access) return 0;
        TavoState *state = doc->state;
        clearHighlight(state, events);
        if (text != nullptr && text[0] != '\0') {
            AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
            std::memcpy(state->regionsHighlight, text, std::strlen(text) + 1);
            const std::vector<AUDIOREGION> matches = highlightMatches(signal, state, text);
            matched = static_cast<int32_t>(matches.size());
            if (matched > 0) {
                AUDIOREGION first = matches.front();
                state->highlightRegion = AUDIOREGION_GetReference(first);
                const AUDIO_FORMAT *format = AUDIOSIGNAL_GetFormatRef(signal);
                state->highlightBegin = AUDIO_Time2Sample(format, AUDIOREGION_GetBegin(first));
                state->highlightEnd = AUDIO_Time2Sample(format, AUDIOREGION_GetEnd(first));
            }
        }
    }
    _TAVOREGIONVIEW_Notify(audio);
    return matched;
}

TAVO_API const char *TAVOAUDIO_RegionsHighlightString(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr || doc->state->regionsHighlight[0] == '\0') return nullptr;
    return doc->state->regionsHighlight;
}

TAVO_API int32_t TAVOAUDIO_RegionsClearHighlight(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOREGIONVIEW_Document(audio);
    if (doc == nullptr) return 0;
    EventQueue events;
    {
        SelectionWrite access(audio);
        if (!access) return 0;
        TavoState *state = doc->state;
        if (state->regionsHighlight[0] == '\0' && state->highlightRegion == nullptr && state->highlightBegin < 0)
            return 1;
        clearHighlight(state, events);
    }
    _TAVOREGIONVIEW_Notify(audio);
    return 1;
}

TAVO_API int32_t TAVOAUDIO_GetRegionsHighlight(TAVOAUDIO audio, AUDIOREGION *out, int32_t max)
{
    TavoDocument *doc = _TAVOREGIONVIEW_Document(audio);
    if (doc == nullptr) return 0;
    SelectionRead access(audio);
    if (!access) return 0;
    const std::vector<AUDIOREGION> matches =
        highlightMatches(_TAVOAUDIO_Signal(doc), doc->state, doc->state->regionsHighlight);
    if (out != nullptr)
        for (size_t i = 0; i < matches.size() && static_cast<int64_t>(i) < max; ++i) out[i] = matches[i];
    return static_cast<int32_t>(matches.size());
}

TAVO_API AUDIOREGION TAVOAUDIO_GetHighlightRegion(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOREGIONVIEW_Document(audio);
    if (doc == nullptr) return nullptr;
    SelectionRead access(audio);
    if (!access) return nullptr;
    TavoState *state = doc->state;
    const bool held = state->highlightRegion != nullptr;
    AUDIOREGION region = _TAVOREGIONVIEW_Resolve(_TAVOAUDIO_Signal(doc), &state->highlightRegion);
    // The range is the region's span; it goes with the region.
    if (held && region == nullptr) state->highlightBegin = state->highlightEnd = -1;
    return region;
}
