// selection.cpp: selection records, the selection list of a view state and
// the document's selection operations.
//
// Selections are kept in seconds so that they survive a change of rate
// without resampling; every document function converts frames through the
// document's own conversions. The list is sorted by begin and disjoint.
// Changes take the document's write lock with a bounded number of tries
// (selection changes come from the UI and must not hang behind a long
// edit), queries try the read lock once.

#include <algorithm>
#include <cstdint>
#include <vector>

#include "audiosignal.h"
#include "blmem.h"
#include "blsettings.h"
#include "frame/document_p.h"
#include "tavoaudio.h"
#include "tavoconfig.h"
#include "tavonotify.h"
#include "tavoregionview.h"
#include "tavoselection.h"
#include "tavostate.h"
#include "tavoundo.h"
#include "tavoutil.h"
#include "tavozoom.h"
#include "view/selection_p.h"
#include "view/state_p.h"

namespace {

TAVOSELECTION noSelection()
{
    TAVOSELECTION record{};
    TAVOSELECTION_Define(&record, -1.0, -1.0);
    return record;
}

TAVOSELECTION copyOf(const TAVOSELECTION *node)
{
    TAVOSELECTION record = *node;
    record.next = nullptr;
    return record;
}

void freeNode(TAVOSTATE state, TAVOSELECTION *node)
{
    BLMEM_Delete(state->memory, node);
}

// Empties the list at once: the pool holds nothing but selection nodes.
void resetList(TAVOSTATE state)
{
    BLMEM_ResetMemSpace(state->memory);
    state->selections = nullptr;
}

// A document usable by the selection operations: live, with a state and a
// signal (the signal read under the document's signal mutex).
TavoDocument *selectionDocument(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr || _TAVOAUDIO_Signal(doc) == nullptr) return nullptr;
    return doc;
}

int64_t frameCount(TavoDocument *doc)
{
    return AUDIOSIGNAL_NumFrames(_TAVOAUDIO_Signal(doc));
}

TAVOSELECTION *firstContaining(TAVOSTATE state, double t, TAVOSELECTION **previous)
{
    TAVOSELECTION *before = nullptr;
    for (TAVOSELECTION *s = state->selections; s != nullptr; s = s->next) {
        if (s->begin <= t && t <= s->end) {
            if (previous != nullptr) *previous = before;
            return s;
        }
        before = s;
    }
    return nullptr;
}

}  // namespace

// ---- selection records -----------------------------------------------------------

TAVO_API TAVOSELECTION *TAVOSELECTION_CreateAudioSelection(BLMEM_DESCR memory, double begin, double end,
                                                           int32_t trackIndex, bool active)
{
    if (memory == nullptr) return nullptr;
    auto *node = static_cast<TAVOSELECTION *>(BLMEM_NewEx(memory, sizeof(TAVOSELECTION), 0));
    if (node == nullptr) return nullptr;
    node->begin = begin;
    node->end = end;
    node->trackIndex = trackIndex;
    node->active = active ? 1 : 0;
    return node;
}

TAVO_API bool TAVOSELECTION_Define(TAVOSELECTION *selection, double a, double b)
{
    if (selection == nullptr) return false;
    *selection = TAVOSELECTION{};
    selection->begin = std::min(a, b);
    selection->end = std::max(a, b);
    selection->trackIndex = -1;
    return true;
}

TAVO_API int64_t TAVOSELECTION_GetBegin(TAVOAUDIO audio, const TAVOSELECTION *selection)
{
    if (selection == nullptr || audio == nullptr) return -1;
    return TAVOAUDIO_TimeToSample(audio, selection->begin);
}

TAVO_API int64_t TAVOSELECTION_GetEnd(TAVOAUDIO audio, const TAVOSELECTION *selection)
{
    if (selection == nullptr || audio == nullptr) return -1;
    return TAVOAUDIO_TimeToSample(audio, selection->end);
}

TAVO_API int64_t TAVOSELECTION_GetDuration(TAVOAUDIO audio, const TAVOSELECTION *selection)
{
    if (selection == nullptr || audio == nullptr) return 0;
    // Each end is converted on its own, so that lengths add up to the
    // frames that the ends name (a difference in seconds may round apart).
    return TAVOAUDIO_TimeToSample(audio, selection->end) - TAVOAUDIO_TimeToSample(audio, selection->begin);
}

TAVO_API bool TAVOSELECTION_SetBegin(TAVOAUDIO audio, TAVOSELECTION *selection, int64_t frame)
{
    if (selection == nullptr || audio == nullptr) return false;
    selection->begin = TAVOAUDIO_SampleToTime(audio, frame);
    return true;
}

TAVO_API bool TAVOSELECTION_SetEnd(TAVOAUDIO audio, TAVOSELECTION *selection, int64_t frame)
{
    if (selection == nullptr || audio == nullptr) return false;
    selection->end = TAVOAUDIO_SampleToTime(audio, frame);
    return true;
}

TAVO_API double TAVOSELECTION_GetBeginTime(const TAVOSELECTION *selection)
{
    return selection != nullptr ? selection->begin : -1.0;
}

TAVO_API double TAVOSELECTION_GetEndTime(const TAVOSELECTION *selection)
{
    return selection != nullptr ? selection->end : -1.0;
}

TAVO_API double TAVOSELECTION_GetDurationTime(const TAVOSELECTION *selection)
{
    return selection != nullptr ? selection->end - selection->begin : 0.0;
}

TAVO_API bool TAVOSELECTION_SetBeginTime(TAVOSELECTION *selection, double seconds)
{
    if (selection == nullptr) return false;
    selection->begin = seconds;
    return true;
}

TAVO_API bool TAVOSELECTION_SetEndTime(TAVOSELECTION *selection, double seconds)
{
    if (selection == nullptr) return false;
    selection->end = seconds;
    return true;
}

TAVO_API bool TAVOSELECTION_Compare(const TAVOSELECTION *a, const TAVOSELECTION *b)
{
    if (a == b && a != nullptr) return true;
    if (a == nullptr || b == nullptr) return false;
    return a->begin == b->begin && a->end == b->end;
}

TAVO_API bool TAVOSELECTION_Overlap(const TAVOSELECTION *a, const TAVOSELECTION *b)
{
    if (a == b && a != nullptr) return true;
    if (a == nullptr || b == nullptr) return false;
    return std::min(a->end, b->end) > std::max(a->begin, b->begin);
}

TAVO_API bool TAVOSELECTION_SetActive(TAVOSELECTION *selection, bool active)
{
    if (selection == nullptr) return false;
    selection->active = active ? 1 : 0;
    return true;
}

TAVO_API bool TAVOSELECTION_IsActive(const TAVOSELECTION *selection)
{
    return selection != nullptr && selection->active != 0;
}

TAVO_API bool TAVOSELECTION_SetTrackIndex(TAVOSELECTION *selection, int32_t trackIndex)
{
    if (selection == nullptr) return false;
    selection->trackIndex = trackIndex;
    return true;
}

TAVO_API bool TAVOSELECTION_ClrTrackIndex(TAVOSELECTION *selection)
{
    return TAVOSELECTION_SetTrackIndex(selection, -1);
}

TAVO_API int32_t TAVOSELECTION_GetTrackIndex(const TAVOSELECTION *selection)
{
    return selection != nullptr ? selection->trackIndex : -1;
}

// ---- a state's selection list ------------------------------------------------------

TAVO_API int32_t TAVOSTATE_CountSelections(const TAVOSELECTION *list)
{
    int32_t count = 0;
    for (; list != nullptr; list = list->next) ++count;
    return count;
}

TAVO_API int64_t TAVOSTATE_SelectionsLength(TAVOAUDIO audio, const TAVOSELECTION *list)
{
    int64_t total = 0;
    for (; list != nullptr; list = list->next) total += TAVOSELECTION_GetDuration(audio, list);
    return total;
}

TAVO_API TAVOSELECTION *TAVOSTATE_GetSelections(TAVOSTATE state)
{
    return state != nullptr ? state->selections : nullptr;
}

TAVO_API bool TAVOSTATE_CheckSelection(TAVOSTATE state, const TAVOSELECTION *selection)
{
    if (state == nullptr || selection == nullptr) return false;
    for (const TAVOSELECTION *s = state->selections; s != nullptr; s = s->next) {
        if (s == selection) return true;
    }
    return false;
}

TAVO_API TAVOSELECTION *TAVOSTATE_GetActiveSelection(TAVOSTATE state)
{
    if (state == nullptr) return nullptr;
    for (TAVOSELECTION *s = state->selections; s != nullptr; s = s->next) {
        if (s->active != 0) return s;
    }
    return nullptr;
}

TAVO_API bool TAVOSTATE_SetActiveSelection(TAVOSTATE state, const TAVOSELECTION *selection)
{
    if (state == nullptr || state->frozen || state->selections == nullptr) return false;
    bool found = false;
    for (TAVOSELECTION *s = state->selections; s != nullptr; s = s->next) {
        s->active = s == selection ? 1 : 0;
        found = found || s == selection;
    }
    return found;
}

TAVO_API int32_t TAVOSTATE_GetActiveSelectionBorder(TAVOSTATE state)
{
    return TAVOSTATE_GetActiveSelection(state) != nullptr ? state->activeBorder : 0;
}

TAVO_API bool TAVOSTATE_SetActiveSelectionBorder(TAVOSTATE state, int32_t code)
{
    if (state == nullptr) return false;
    state->activeBorder = code;
    return true;
}

TAVO_API TAVOSELECTION *TAVOSTATE_GetCurrentSelection(TAVOSTATE state, double seconds)
{
    return state != nullptr ? firstContaining(state, seconds, nullptr) : nullptr;
}

TAVO_API TAVOSELECTION *TAVOSTATE_GetPrevSelection(TAVOSTATE state, double seconds)
{
    if (state == nullptr) return nullptr;
    TAVOSELECTION *previous = nullptr;
    return firstContaining(state, seconds, &previous) != nullptr ? previous : nullptr;
}

TAVO_API TAVOSELECTION *TAVOSTATE_GetNextSelection(TAVOSTATE state, double seconds)
{
    if (state == nullptr) return nullptr;
    TAVOSELECTION *current = firstContaining(state, seconds, nullptr);
    return current != nullptr ? current->next : nullptr;
}

TAVO_API TAVOSTATE TAVOSTATE_ClearSelectionEx(TAVOSTATE *reference, const TAVOSELECTION *removed)
{
    if (reference == nullptr || *reference == nullptr) return nullptr;
    TAVOSTATE state = *reference;
    if (state->frozen) return nullptr;
    if (removed == nullptr || TAVOSTATE_CountSelections(removed) >= TAVOSTATE_CountSelections(state->selections)) {
        resetList(state);
        return state;
    }
    // Keep the others, moved earlier by the removed time before each.
    std::vector<TAVOSELECTION> kept;
    double shift = 0.0;
    for (const TAVOSELECTION *s = state->selections; s != nullptr; s = s->next) {
        const TAVOSELECTION *match = nullptr;
        for (const TAVOSELECTION *r = removed; r != nullptr && match == nullptr; r = r->next) {
            if (r->begin == s->begin) match = r;
        }
        if (match != nullptr) {
            shift += match->end - match->begin;
            continue;
        }
        TAVOSELECTION moved{};
        moved.begin = s->begin - shift;
        moved.end = s->end - shift;
        moved.trackIndex = -1;
        kept.push_back(moved);
    }
    resetList(state);
    TAVOSELECTION **tail = &state->selections;
    for (const TAVOSELECTION &k : kept) {
        TAVOSELECTION *node = TAVOSELECTION_CreateAudioSelection(state->memory, k.begin, k.end, -1, false);
        if (node == nullptr) break;   // out of memory: the list ends early but stays sorted
        *tail = node;
        tail = &node->next;
    }
    return state;
}

TAVO_API int32_t TAVOSTATE_InvertSelection(TAVOSTATE state, double duration)
{
    if (state == nullptr || state->frozen) return 0;
    std::vector<std::pair<double, double>> gaps;
    const TAVOSELECTION *first = state->selections;
    if (first != nullptr && first->begin != 0.0) gaps.emplace_back(0.0, first->begin);
    const TAVOSELECTION *last = first;
    for (const TAVOSELECTION *s = first; s != nullptr; s = s->next) {
        if (s->next != nullptr) gaps.emplace_back(s->end, s->next->begin);
        last = s;
    }
    if (last == nullptr) {
        if (duration > 0.0) gaps.emplace_back(0.0, duration);
    } else if (duration > last->end) {
        gaps.emplace_back(last->end, duration);
    }
    resetList(state);
    TAVOSELECTION **tail = &state->selections;
    for (const auto &gap : gaps) {
        TAVOSELECTION *node = TAVOSELECTION_CreateAudioSelection(state->memory, gap.first, gap.second, -1, false);
        if (node == nullptr) return 0;
        *tail = node;
        tail = &node->next;
    }
    return 1;
}

TAVO_API int32_t TAVOSTATE_OffsetSelection(TAVOSTATE state, double offset, double from)
{
    if (state == nullptr || state->frozen) return 0;
    TAVOSELECTION *s = state->selections;
    // A selection that ends at the insertion point lies before it and stays.
    while (s != nullptr && from >= s->end) s = s->next;
    if (s == nullptr) return 1;
    // A selection that the insertion point cuts grows (or shrinks) at its end.
    if (s->begin < from && from < s->end) {
        s->end += offset;
    } else {
        s->begin += offset;
        s->end += offset;
    }
    for (s = s->next; s != nullptr; s = s->next) {
        s->begin += offset;
        s->end += offset;
    }
    return 1;
}

// ---- document: changing selections -----------------------------------------------------

TAVO_API int32_t TAVOAUDIO_AddSelectionEx(TAVOAUDIO audio, int64_t begin, int64_t end, int32_t trackIndex,
                                          uint32_t flags)
{
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr) return 0;
    SelectionWrite access(audio);
    if (!access) return 0;
    TAVOSTATE state = doc->state;
    TAVOSTATE_ResetRegionsState(state);

    const int64_t lo = TAVOAUDIO_LimitedBegin(audio);
    const int64_t hi = TAVOAUDIO_LimitedEnd(audio);
    int64_t newBegin, newEnd, cursor;
    if (end < begin) {
        newBegin = std::max(end, lo);
        newEnd = std::min(begin, hi);
        cursor = newBegin;   // the clamped second argument: where the drag ended
    } else {
        newBegin = std::max(begin, lo);
        newEnd = std::min(end, hi);
        cursor = newEnd;
    }
    // An empty interval, given or left by the limits (all of it outside
    // them), moves the cursor only.
    if (begin == end || newBegin >= newEnd) {
        state->cursor = begin == end ? begin : cursor;
        return 1;
    }
    double beginSec = TAVOAUDIO_SampleToTime(audio, newBegin);
    double endSec = TAVOAUDIO_SampleToTime(audio, newEnd);
    if (_TAVOAUDIO_Send(doc, TAVOAUDIO_BEFORE_SELECTION_ADD, &beginSec, &endSec, nullptr) == 0) return 0;

    state->cursor = cursor;
    state->cursorOnly = false;
    const bool active = (flags & TAVOSELECTION_FLAG_ACTIVE) != 0;
    // At most one selection is active: a new active one takes the mark.
    if (active) {
        for (TAVOSELECTION *s = state->selections; s != nullptr; s = s->next) s->active = 0;
    }
    TAVOSELECTION **link = &state->selections;
    while (*link != nullptr && (*link)->end < beginSec) link = &(*link)->next;
    TAVOSELECTION *s = *link;
    if (s == nullptr || endSec < s->begin) {
        TAVOSELECTION *node = TAVOSELECTION_CreateAudioSelection(state->memory, beginSec, endSec, trackIndex, active);
        if (node == nullptr) return 0;
        node->next = s;
        *link = node;
    } else {
        // Overlapping or touching: grow s and swallow the nodes it reaches.
        s->begin = std::min(s->begin, beginSec);
        s->end = std::max(s->end, endSec);
        s->active = active ? 1 : 0;
        while (s->next != nullptr && s->next->begin <= s->end) {
            TAVOSELECTION *t = s->next;
            s->end = std::max(s->end, t->end);
            s->next = t->next;
            freeNode(state, t);
        }
    }
    if (endSec - beginSec != 0.0) {
        _TAVOAUDIO_Send(doc, TAVOAUDIO_SELECTION_ADDED, &beginSec, &endSec,
                        reinterpret_cast<void *>(static_cast<uintptr_t>(flags)));
    }
    if ((flags & TAVOSELECTION_FLAG_NOTIFY) != 0) {
        access.record(state->gainToolEnabled ? TAVOAUDIO_CHANGES_ALL : TAVOSELECTION_BITS_LIST);
    }
    return 1;
}

TAVO_API int32_t TAVOAUDIO_DelSelection(TAVOAUDIO audio, int64_t begin, int64_t end)
{
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr) return 0;
    const int64_t loFrame = std::max<int64_t>(std::min(begin, end), 0);
    const int64_t hiFrame = std::min(std::max(begin, end), frameCount(doc));
    if (loFrame >= hiFrame) return 0;
    double lo = TAVOAUDIO_SampleToTime(audio, loFrame);
    double hi = TAVOAUDIO_SampleToTime(audio, hiFrame);
    if (lo == hi) return 0;

    SelectionWrite access(audio);
    if (!access) return 0;
    if (_TAVOAUDIO_Send(doc, TAVOAUDIO_BEFORE_SELECTION_DELETE, &lo, &hi, nullptr) == 0) return 0;
    TAVOSTATE state = doc->state;
    TAVOSELECTION **link = &state->selections;
    while (*link != nullptr && (*link)->begin <= hi) {
        TAVOSELECTION *s = *link;
        if (s->begin >= lo && s->end <= hi) {
            *link = s->next;
            freeNode(state, s);
            continue;
        }
        if (s->begin >= lo) {   // sticks out on the right
            s->begin = hi;
            break;
        }
        if (s->end <= lo) {     // lies before the cut
            link = &s->next;
            continue;
        }
        if (s->end <= hi) {     // sticks out on the left
            s->end = lo;
            link = &s->next;
            continue;
        }
        // Spans the cut: split; the right piece is a plain selection.
        TAVOSELECTION *right = TAVOSELECTION_CreateAudioSelection(state->memory, hi, s->end, -1, false);
        if (right == nullptr) return 0;
        right->next = s->next;
        s->next = right;
        s->end = lo;
        break;
    }
    if (state->selections == nullptr) {
        resetList(state);
        state->cursorOnly = true;
        TAVOSTATE_ResetRegionsState(state);
    }
    _TAVOAUDIO_Send(doc, TAVOAUDIO_SELECTION_DELETED, &lo, &hi, nullptr);
    // The list changed: owed a redraw once the outermost access ends.
    access.record(TAVOSELECTION_BITS_LIST);
    return 1;
}

TAVO_API int32_t TAVOAUDIO_InvertSelection(TAVOAUDIO audio)
{
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr || doc->state->selections == nullptr) return 0;
    SelectionWrite access(audio);
    if (!access) return 0;
    if (doc->state->selections == nullptr) return 0;
    if (_TAVOAUDIO_Send(doc, TAVOAUDIO_BEFORE_SELECTION_INVERT, nullptr, nullptr, nullptr) == 0) return 0;
    if (TAVOSTATE_InvertSelection(doc->state, TAVOAUDIO_SampleToTime(audio, frameCount(doc))) == 0) return 0;
    _TAVOAUDIO_Send(doc, TAVOAUDIO_SELECTION_INVERT, nullptr, nullptr, nullptr);
    access.record(TAVOSELECTION_BITS_LIST);
    return 1;
}

TAVO_API int32_t TAVOAUDIO_OffsetSelectionsFromPosition(TAVOAUDIO audio, int64_t offset, int64_t position)
{
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr) return 0;
    if (doc->state->selections == nullptr) return 1;
    // The offset is a length: convert it at the rate, not as a position
    // (a negative offset is no frame of the signal).
    const int32_t rate = AUDIOSIGNAL_SampleRate(_TAVOAUDIO_Signal(doc));
    if (rate < 1) return 0;
    return TAVOSTATE_OffsetSelection(doc->state, static_cast<double>(offset) / rate,
                                     TAVOAUDIO_SampleToTime(audio, position));
}

TAVO_API int32_t TAVOAUDIO_ClearSelectionEx2(TAVOAUDIO audio, const TAVOSELECTION *removed, uint32_t flags)
{
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr) return 0;
    if (doc->state->selections == nullptr) return 1;
    SelectionWrite access(audio);
    if (!access) return 0;
    TAVOSTATE state = doc->state;
    TAVOSTATE_ResetRegionsState(state);
    if (_TAVOAUDIO_Send(doc, TAVOAUDIO_BEFORE_SELECTION_CLEAR, nullptr, nullptr, nullptr) == 0) return 0;

    if (state->gainToolEnabled) {
        if (BLSETTINGS_GetBoolEx(nullptr, "libtavo.editoptions.apply_gain_on_clear_selections=[true]")) {
            // Applying the pending gain change to the selections is the
            // visual tools' work; the gain value stays pending for them.
        } else {
            state->gainChangeValue = 1.0;
            state->maxGainChangeValue = 2.0;
            double value = state->gainChangeValue;
            _TAVOAUDIO_Send(doc, TAVOAUDIO_GAIN_CHANGED, &value, nullptr, nullptr);
            access.record(TAVOAUDIO_CHANGES_ALL);
        }
    }
    // Inside an edit command (edit depth raised) the command's own undo step
    // already holds the selections as they were before it; a "Selection"
    // step on top would make the first undo restore only the selection.
    if ((flags & TAVOSELECTION_FLAG_UNDO) != 0 && (doc->flags & TAVOAUDIO_FLAG_EDITABLE) != 0 &&
        !TAVOAUDIO_IsEditing(audio) &&
        BLSETTINGS_GetBoolEx(nullptr, "libtavo.editoptions.create_undo_for_selection_operations=[true]")) {
        // The step carries no action: undoing it restores the selections
        // from the state copy taken here, before the clear.
        TAVOUNDOSCRIPT script = TAVOUNDO_CreateUndoScript(audio, "Selection", state);
        if (script != nullptr) {
            if (TAVOUNDO_AddNoAction(script)) {
                TAVOUNDO_PushUndoScript(audio, script);
            } else {
                TAVOUNDO_DestroyUndoScript(audio, script);
            }
        }
    }
    TAVOSTATE_ClearSelectionEx(&state, removed);
    if (state->selections != nullptr) state->cursorOnly = false;
    if ((flags & TAVOSELECTION_FLAG_NOTIFY) != 0) {
        _TAVOAUDIO_Send(doc, TAVOAUDIO_SELECTION_CLEAR, reinterpret_cast<void *>(static_cast<uintptr_t>(flags)),
                        nullptr, nullptr);
        access.record(0);
    }
    return 1;
}

TAVO_API int32_t TAVOAUDIO_SelectAudioEx(TAVOAUDIO audio, int64_t begin, int64_t end, int32_t trackIndex,
                                         uint32_t flags)
{
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr) return 0;
    // One access around both steps: other threads never see the list empty
    // in between, and the change is notified once.
    SelectionWrite access(audio);
    if (!access) return 0;
    if (TAVOAUDIO_ClearSelectionEx2(audio, nullptr, flags | 15u) == 0) return 0;
    if (begin == end) return TAVOAUDIO_SetCursorPositionEx2(audio, begin, 1) ? 1 : 0;
    return TAVOAUDIO_AddSelectionEx(audio, begin, end, trackIndex, flags);
}

TAVO_API int32_t TAVOAUDIO_SelectAll(TAVOAUDIO audio)
{
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr) return 0;
    // With a region in focus, "all" means the regions of its track, from
    // its first to its last region; otherwise the whole signal.
    AUDIOREGION focused = TAVOAUDIO_ReferenceRegionOnFocus(audio);
    if (focused != nullptr) {
        const int32_t track = TAVOAUDIO_GetRegionTrackIndex(audio, focused);
        AUDIOREGION_Dispose(focused);
        if (track >= 0) return TAVOAUDIO_SelectAllRegionsEx(audio, track) > 0 ? 1 : 0;
    }
    return TAVOAUDIO_SelectAudioEx(audio, 0, frameCount(doc), -1, 7);
}

TAVO_API int32_t TAVOAUDIO_SelectVisible(TAVOAUDIO audio)
{
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr) return 0;
    SelectionWrite access(audio);
    if (!access) return 0;
    if (TAVOAUDIO_ClearSelectionEx2(audio, nullptr, 15) == 0) return 0;
    const int64_t viewBegin = TAVOAUDIO_ViewBegin(audio);
    const int64_t viewEnd = TAVOAUDIO_ViewEnd(audio);
    if (viewBegin == viewEnd) return TAVOAUDIO_SetCursorPositionEx2(audio, viewBegin, 1) ? 1 : 0;
    return TAVOAUDIO_AddSelectionEx(audio, viewBegin, viewEnd, -1, 7);
}

namespace {

int32_t selectFromCursor(TAVOAUDIO audio, bool toStart)
{
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr) return 0;
    SelectionWrite access(audio);
    if (!access) return 0;
    const int64_t cursor = doc->state->cursor;
    if (TAVOAUDIO_ClearSelectionEx2(audio, nullptr, 15) == 0) return 0;
    // The far end comes second: the cursor follows it.
    return TAVOAUDIO_AddSelectionEx(audio, cursor, toStart ? 0 : frameCount(doc), -1, 7);
}

}  // namespace

TAVO_API int32_t TAVOAUDIO_SelectToStart(TAVOAUDIO audio)
{
    return selectFromCursor(audio, true);
}

TAVO_API int32_t TAVOAUDIO_SelectToEnd(TAVOAUDIO audio)
{
    return selectFromCursor(audio, false);
}

TAVO_API int32_t TAVOAUDIO_SetActiveSelection(TAVOAUDIO audio, const TAVOSELECTION *selection)
{
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr) return 0;
    {
        SelectionWrite access(audio);
        if (!access) return 0;
        if (selection != nullptr && TAVOSTATE_GetActiveSelection(doc->state) == selection) return 1;
        if (!TAVOSTATE_SetActiveSelection(doc->state, selection)) return 0;
        access.record(0);
    }
    return 1;
}

TAVO_API int32_t TAVOAUDIO_ActiveSelectionBorder(TAVOAUDIO audio)
{
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr) return 0;
    SelectionRead access(audio);
    if (!access) return 0;
    return TAVOSTATE_GetActiveSelectionBorder(doc->state);
}

TAVO_API int32_t TAVOAUDIO_SetActiveSelectionBorderEx(TAVOAUDIO audio, const TAVOSELECTION *selection,
                                                      int32_t code, bool *changed)
{
    if (changed != nullptr) *changed = false;
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr) return 0;
    SelectionWrite access(audio);
    if (!access) return 0;
    TAVOSTATE state = doc->state;
    const int32_t wanted = selection == nullptr ? 0 : code;
    if (selection != nullptr && TAVOSTATE_GetActiveSelection(state) != selection) return 1;
    if (state->activeBorder == wanted) return 1;
    state->activeBorder = wanted;
    if (changed != nullptr) *changed = true;
    access.record(0);
    return 1;
}

TAVO_API int32_t TAVOAUDIO_SetActiveSelectionBorder(TAVOAUDIO audio, const TAVOSELECTION *selection, int32_t code)
{
    return TAVOAUDIO_SetActiveSelectionBorderEx(audio, selection, code, nullptr);
}

TAVO_API int32_t TAVOAUDIO_ClrSelectionTrackIndex(TAVOAUDIO audio, const TAVOSELECTION *selection)
{
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr || selection == nullptr) return 0;
    if (!TAVOAUDIO_GetSelectionWriteAccess(audio)) return 0;
    TAVOSELECTION *match = nullptr;
    for (TAVOSELECTION *s = doc->state->selections; s != nullptr && match == nullptr; s = s->next) {
        if (TAVOSELECTION_Compare(s, selection)) match = s;
    }
    // Track 0 is the signal's own region track: a selection made on it keeps
    // its index; only annotation tracks (1 and up) are let go.
    const bool change = match != nullptr && match->trackIndex >= 1;
    if (change) match->trackIndex = -1;
    TAVOAUDIO_ReleaseSelectionWriteAccessEx(audio, change, TAVOAUDIO_CHANGES_ALL);
    return match != nullptr ? 1 : 0;
}

// ---- document: queries -------------------------------------------------------------

TAVO_API bool TAVOAUDIO_HasSelection(TAVOAUDIO audio)
{
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr) return false;
    SelectionRead access(audio);
    return access && doc->state->selections != nullptr;
}

TAVO_API int32_t TAVOAUDIO_CountSelections(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return 0;
    if (doc->state == nullptr) return -1;   // all bits: no view state
    SelectionRead access(audio);
    if (!access) return 0;
    return TAVOSTATE_CountSelections(doc->state->selections);
}

TAVO_API int64_t TAVOAUDIO_SelectionBegin(TAVOAUDIO audio)
{
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr) return -1;
    SelectionRead access(audio);
    if (!access || doc->state->selections == nullptr) return -1;
    return TAVOSELECTION_GetBegin(audio, doc->state->selections);
}

TAVO_API int64_t TAVOAUDIO_SelectionEnd(TAVOAUDIO audio)
{
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr) return -1;
    SelectionRead access(audio);
    if (!access || doc->state->selections == nullptr) return -1;
    const TAVOSELECTION *last = doc->state->selections;
    while (last->next != nullptr) last = last->next;
    return TAVOSELECTION_GetEnd(audio, last);
}

TAVO_API int64_t TAVOAUDIO_SelectionLength(TAVOAUDIO audio)
{
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr) return -1;
    SelectionRead access(audio);
    if (!access) return -1;
    // Nothing selected is 0 frames selected, so hosts can sum lengths.
    return TAVOSTATE_SelectionsLength(audio, doc->state->selections);
}

TAVO_API int64_t TAVOAUDIO_SelectionCursor(TAVOAUDIO audio)
{
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr) return -1;
    SelectionRead access(audio);
    if (!access || doc->state->selections == nullptr) return -1;
    return doc->state->cursor;
}

TAVO_API int64_t TAVOAUDIO_SelectionAnchor(TAVOAUDIO audio)
{
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr) return -1;
    SelectionRead access(audio);
    if (!access || doc->state->selections == nullptr) return -1;
    const TAVOSELECTION *first = doc->state->selections;
    const int64_t begin = TAVOSELECTION_GetBegin(audio, first);
    return begin == doc->state->cursor ? TAVOSELECTION_GetEnd(audio, first) : begin;
}

TAVO_API TAVOSELECTION TAVOAUDIO_Selection(TAVOAUDIO audio, int32_t index)
{
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr) return noSelection();
    SelectionRead access(audio);
    if (!access) return noSelection();
    const TAVOSELECTION *s = doc->state->selections;
    for (int32_t i = 1; i <= index && s != nullptr; ++i) s = s->next;
    if (s == nullptr) return noSelection();
    TAVOSELECTION record = copyOf(s);
    record.channels = ~AUDIOSIGNAL_GetActiveChannelMask(_TAVOAUDIO_Signal(doc));
    return record;
}

TAVO_API TAVOSELECTION TAVOAUDIO_FirstSelection(TAVOAUDIO audio)
{
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr) return noSelection();
    SelectionRead access(audio);
    if (!access || doc->state->selections == nullptr) return noSelection();
    return copyOf(doc->state->selections);
}

TAVO_API TAVOSELECTION TAVOAUDIO_LastSelection(TAVOAUDIO audio)
{
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr) return noSelection();
    SelectionRead access(audio);
    if (!access || doc->state->selections == nullptr) return noSelection();
    const TAVOSELECTION *last = doc->state->selections;
    while (last->next != nullptr) last = last->next;
    return copyOf(last);
}

TAVO_API TAVOSELECTION *TAVOAUDIO_ActiveSelection(TAVOAUDIO audio)
{
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr) return nullptr;
    SelectionRead access(audio);
    if (!access) return nullptr;
    // Slot 0 is the host's own toolbar slot (the default table fills 1 to
    // 21). While it holds the selection toolbar (kind 2), the selection that
    // toolbar works on is the one the state keeps apart from the list; it
    // counts only once it has a length.
    if (TAVOCONFIG_ToolbarKind(0) == 2) {
        TAVOSELECTION *apart = &doc->state->apartSelection;
        return apart->end > apart->begin ? apart : nullptr;
    }
    return TAVOSTATE_GetActiveSelection(doc->state);
}

TAVO_API TAVOSELECTION *TAVOAUDIO_ActiveSelectionEx(TAVOAUDIO audio, TAVOSELECTION *copy)
{
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr) return nullptr;
    SelectionRead access(audio);
    if (!access) return nullptr;
    TAVOSELECTION *active = TAVOSTATE_GetActiveSelection(doc->state);
    if (active != nullptr && copy != nullptr) *copy = copyOf(active);
    return active;
}

TAVO_API bool TAVOAUDIO_ActiveSelectionSnapshot(TAVOAUDIO audio, TAVOSELECTION *out)
{
    if (out == nullptr) return false;
    *out = noSelection();
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr) return false;
    SelectionRead access(audio);
    if (!access) return false;
    const TAVOSELECTION *active = TAVOSTATE_GetActiveSelection(doc->state);
    if (active == nullptr) return false;
    *out = copyOf(active);
    return true;
}

namespace {

TAVOSELECTION *queryAt(TAVOAUDIO audio, int64_t sample, int32_t which)
{
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr) return nullptr;
    SelectionRead access(audio);
    if (!access) return nullptr;
    const double t = TAVOAUDIO_SampleToTime(audio, sample);
    if (which < 0) return TAVOSTATE_GetPrevSelection(doc->state, t);
    if (which > 0) return TAVOSTATE_GetNextSelection(doc->state, t);
    return TAVOSTATE_GetCurrentSelection(doc->state, t);
}

}  // namespace

TAVO_API TAVOSELECTION *TAVOAUDIO_CurrentSelection(TAVOAUDIO audio, int64_t sample)
{
    return queryAt(audio, sample, 0);
}

TAVO_API TAVOSELECTION *TAVOAUDIO_PrevSelection(TAVOAUDIO audio, int64_t sample)
{
    return queryAt(audio, sample, -1);
}

TAVO_API TAVOSELECTION *TAVOAUDIO_NextSelection(TAVOAUDIO audio, int64_t sample)
{
    return queryAt(audio, sample, 1);
}

TAVO_API TAVOSELECTION *TAVOAUDIO_SelectionOverSample(TAVOAUDIO audio, int64_t sample)
{
    return queryAt(audio, sample, 0);
}

TAVO_API TAVOSELECTION *TAVOAUDIO_SelectionOverTime(TAVOAUDIO audio, double seconds)
{
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr) return nullptr;
    SelectionRead access(audio);
    if (!access) return nullptr;
    return TAVOSTATE_GetCurrentSelection(doc->state, seconds);
}

TAVO_API int64_t TAVOAUDIO_GetSelectionResizeBorder(TAVOAUDIO audio, int64_t sample)
{
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr) return -1;
    SelectionRead access(audio);
    if (!access) return doc->state->cursor;
    const TAVOSELECTION *only = doc->state->selections;
    if (only == nullptr || only->next != nullptr) return doc->state->cursor;
    const int64_t begin = TAVOSELECTION_GetBegin(audio, only);
    const int64_t end = TAVOSELECTION_GetEnd(audio, only);
    // Distances are compared as 32-bit frame counts, as the pointer
    // interaction measures them.
    const int32_t toBegin = std::abs(static_cast<int32_t>(sample - begin));
    const int32_t toEnd = std::abs(static_cast<int32_t>(sample - end));
    return toBegin < toEnd ? end : begin;
}

TAVO_API bool TAVOAUDIO_CheckSelection(TAVOAUDIO audio, const TAVOSELECTION *selection)
{
    TavoDocument *doc = selectionDocument(audio);
    if (doc == nullptr) return false;
    SelectionRead access(audio);
    return access && TAVOSTATE_CheckSelection(doc->state, selection);
}
