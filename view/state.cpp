// state.cpp: lifecycle and copies of the view state (TAVOSTATE_).
//
// A state record is allocated on the heap, not from the document's pool:
// undo copies outlive nothing of the document but are owned by undo scripts
// with pools of their own, so every state, the document's included, is made
// and freed the same way. Its selection nodes come from the state's own pool.

#include <cmath>
#include <cstring>
#include <new>

#include "audiosignal.h"
#include "blmem.h"
#include "blsettings.h"
#include "frame/document_p.h"
#include "tavoconfig.h"
#include "tavostate.h"
#include "view/state_p.h"

namespace {

// The full amplitude range of the vertical display (16-bit sample values).
constexpr double kVerticalFull = 32768.0;

// The lowest tempo the document keeps (a slower tag is raised to it).
constexpr double kMinTempo = 15.0;

// The frame count of the state's document signal, or the remembered count
// for a free-standing state.
int64_t stateFrames(const TavoState *state)
{
    if (state->document != nullptr) {
        TavoDocument *doc = _TAVOAUDIO_Validate(state->document);
        if (doc != nullptr) {
            AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
            if (signal != nullptr) return AUDIOSIGNAL_NumFrames(signal);
        }
    }
    return state->numFrames;
}

// Copies the list `from` into fresh nodes of `pool`, in order. Null with
// nothing left allocated when a node cannot be made (an empty list gives
// null and ok = true).
TAVOSELECTION *copyList(BLMEM_DESCR pool, const TAVOSELECTION *from, bool *ok)
{
    TAVOSELECTION *head = nullptr;
    TAVOSELECTION **tail = &head;
    *ok = true;
    for (const TAVOSELECTION *s = from; s != nullptr; s = s->next) {
        auto *node = static_cast<TAVOSELECTION *>(BLMEM_NewEx(pool, sizeof(TAVOSELECTION), 0));
        if (node == nullptr) {
            for (TAVOSELECTION *n = head; n != nullptr;) {
                TAVOSELECTION *next = n->next;
                BLMEM_Delete(pool, n);
                n = next;
            }
            *ok = false;
            return nullptr;
        }
        *node = *s;
        node->next = nullptr;
        *tail = node;
        tail = &node->next;
    }
    return head;
}

// Frees every node of `state`'s list one by one (the pool may hold other
// lists' nodes only in the case of a half-built copy, so it is not reset).
void freeList(TavoState *state)
{
    for (TAVOSELECTION *n = state->selections; n != nullptr;) {
        TAVOSELECTION *next = n->next;
        BLMEM_Delete(state->memory, n);
        n = next;
    }
    state->selections = nullptr;
}

void readDisplaySettings(TavoState *state)
{
    // The beats grid of the time ruler; the fallbacks are those a document
    // made before these keys existed used.
    state->beats.bpm = BLSETTINGS_GetFloatEx(nullptr, "libtavo.tavocanvas.beatsconfig.bpm=[%f]", 60.0);
    state->beats.beatsPerBar =
        static_cast<int32_t>(BLSETTINGS_GetIntEx(nullptr, "libtavo.tavocanvas.beatsconfig.beats_per_bar=[%d]", 4));
    state->beats.note = static_cast<int32_t>(BLSETTINGS_GetIntEx(nullptr, "libtavo.tavocanvas.beatsconfig.note=[%d]", 4));
    state->beats.isAuto = BLSETTINGS_GetBoolEx(nullptr, "libtavo.tavocanvas.beatsconfig.is_auto=[%d]", 0);
    if (!(state->beats.bpm > 0.0)) state->beats.bpm = 60.0;
    if (state->beats.beatsPerBar < 1) state->beats.beatsPerBar = 4;
    if (state->beats.note < 1) state->beats.note = 4;
    // 30 frames per second is the common video rate of non-drop time code.
    state->smpteFps = static_cast<int32_t>(BLSETTINGS_GetIntEx(nullptr, "libtavo.tavocanvas.smpte_fps=[%d]", 30));
    if (state->smpteFps < 1) state->smpteFps = 30;
    // The power graph range, the spectrogram preset with its dynamic range
    // and the scale kinds are read by TAVOCONFIG_ApplyStateConfigurationEx,
    // which every document runs right after making its state.
}

TAVOSTATE makeCopy(TavoState *source, bool frozen)
{
    auto *copy = new (std::nothrow) TavoState;
    if (copy == nullptr) return nullptr;
    *copy = *source;
    copy->memory = BLMEM_CreateMemDescrEx("TAVOSTATE Selections", 0, 0);
    if (copy->memory == nullptr) {
        delete copy;
        return nullptr;
    }
    bool ok = false;
    copy->selections = copyList(copy->memory, source->selections, &ok);
    if (!ok) {
        BLMEM_DisposeMemDescr(copy->memory);
        delete copy;
        return nullptr;
    }
    // A copy remembers the length of the signal it was taken from, so that
    // restoring it can tell whether the signal has since become shorter.
    copy->numFrames = stateFrames(source);
    copy->document = nullptr;
    copy->frozen = frozen;
    // Region references are counted; only the live state holds them.
    copy->focusRegion = copy->currentRegion = copy->editRegion = copy->highlightRegion = nullptr;
    return copy;
}

}  // namespace

TAVO_API TAVOSTATE TAVOSTATE_Create(TAVOAUDIO audio)
{
    auto *state = new (std::nothrow) TavoState{};
    if (state == nullptr) return nullptr;
    state->memory = BLMEM_CreateMemDescrEx("TAVOSTATE Selections", 0, 0);
    if (state->memory == nullptr) {
        delete state;
        return nullptr;
    }
    state->document = audio;
    state->viewBegin = 0;
    state->viewEnd = 0;
    state->limitBegin = -1;
    state->limitEnd = -1;
    state->verticalMax = kVerticalFull;
    state->verticalMin = -kVerticalFull;
    state->spectralMin = 0.0;
    state->spectralMax = 0.0;   // set to half the rate by the first spectral reset
    state->zoomBackTop = -1;
    for (auto &entry : state->zoomBack) entry[0] = entry[1] = -1;
    state->channelMask = ~static_cast<uint64_t>(0);
    state->activeBorder = 0;
    state->selectingKind = 1;
    state->selectingTrack = -1;
    state->highlightBegin = -1;
    state->highlightEnd = -1;
    state->gainChangeValue = 1.0;
    state->maxGainChangeValue = 2.0;
    state->tempo = kMinTempo;
    state->apartSelection.begin = -1.0;   // no selection held apart yet
    state->apartSelection.end = -1.0;
    state->apartSelection.trackIndex = -1;
    readDisplaySettings(state);
    const TAVODRAWCONFIG *config = TAVOCONFIG_GetCurrentDrawConfig();
    if (config != nullptr) state->drawConfig = *config;
    return state;
}

TAVO_API bool TAVOSTATE_Destroy(TAVOSTATE state)
{
    if (state == nullptr) return false;
    const AUDIOREGION regions[] = {state->focusRegion, state->currentRegion, state->editRegion,
                                   state->highlightRegion};
    for (AUDIOREGION region : regions) {
        if (region != nullptr) AUDIOREGION_Dispose(region);
    }
    BLMEM_DisposeMemDescr(state->memory);   // frees every selection node
    delete state;
    return true;
}

TAVO_API TAVOSTATE TAVOSTATE_CreateCopy(TAVOSTATE state)
{
    if (state == nullptr) return nullptr;
    return makeCopy(state, false);
}

TAVO_API TAVOSTATE TAVOSTATE_CreateUndoCopy(TAVOSTATE state)
{
    if (state == nullptr) return nullptr;
    return makeCopy(state, true);
}

TAVO_API bool TAVOSTATE_IsFrozen(TAVOSTATE state)
{
    return state != nullptr && state->frozen;
}

TAVO_API bool TAVOSTATE_CopySelections(TAVOSTATE to, TAVOSTATE from)
{
    if (to == nullptr || from == nullptr || to->frozen) return false;
    if (to == from) return true;
    bool ok = false;
    TAVOSELECTION *list = copyList(to->memory, from->selections, &ok);
    if (!ok) return false;
    freeList(to);
    to->selections = list;
    return true;
}

// What an undo step restores is what the user sees as the document's
// content and place: view, limits, ranges, cursor, selections. What belongs
// to the window (area widths, the zoom-back navigation, the display
// configuration) and what tracks the live signal (stamps, change bits,
// file-state flags) stays with the target.
TAVO_API bool TAVOSTATE_AssignEx(TAVOSTATE from, TAVOSTATE to, int32_t mode)
{
    if (from == nullptr || to == nullptr || to->frozen) return false;
    if (from == to) return true;
    bool ok = false;
    TAVOSELECTION *list = copyList(to->memory, from->selections, &ok);
    if (!ok) return false;
    freeList(to);
    to->selections = list;

    to->viewBegin = from->viewBegin;
    to->viewEnd = from->viewEnd;
    to->zoomLockLength = from->zoomLockLength;
    to->limitBegin = from->limitBegin;
    to->limitEnd = from->limitEnd;
    to->verticalMax = from->verticalMax;
    to->verticalMin = from->verticalMin;
    to->spectralMin = from->spectralMin;
    to->spectralMax = from->spectralMax;
    to->channelMask = from->channelMask;
    std::memcpy(to->drawProperty, from->drawProperty, sizeof to->drawProperty);
    to->cursor = from->cursor;
    to->cursorOnly = from->cursorOnly;
    to->activeBorder = from->activeBorder;
    to->apartSelection = from->apartSelection;
    to->apartSelection.next = nullptr;
    to->selectingKind = from->selectingKind;
    to->selectingBegin = from->selectingBegin;
    to->selectingEnd = from->selectingEnd;
    to->selectingTrack = from->selectingTrack;
    to->highlightBegin = from->highlightBegin;
    to->highlightEnd = from->highlightEnd;
    to->gainToolEnabled = from->gainToolEnabled;
    to->gainChangeValue = from->gainChangeValue;
    to->maxGainChangeValue = from->maxGainChangeValue;
    to->tempo = from->tempo;
    to->horzScaleKind = from->horzScaleKind;
    to->vertScaleKind = from->vertScaleKind;
    to->specScaleKind = from->specScaleKind;

    const int64_t frames = stateFrames(to);
    if (mode == 0) {
        // The signal may have become shorter than when `from` was taken:
        // bring everything that points into it back inside.
        if (to->limitEnd > frames) to->limitEnd = frames;
        if (to->limitBegin >= 0 && to->limitEnd >= 0 && to->limitBegin > to->limitEnd) to->limitBegin = to->limitEnd;
        TAVOSTATE_AdjustViewEx(to, frames, 1.0);
        if (to->cursor > frames) to->cursor = frames;
        if (to->highlightEnd > frames) to->highlightBegin = to->highlightEnd = -1;
    }
    to->numFrames = frames;
    to->visualChange |= TAVOSTATE_VISUAL_REDRAW;
    return true;
}

TAVO_API int32_t TAVOSTATE_AdjustSampleRate(TAVOSTATE state, double oldRate, double newRate)
{
    if (state == nullptr || state->frozen) return 0;
    if (!(oldRate > 0.0) || !(newRate > 0.0)) return 0;
    if (oldRate == newRate) return 1;
    const double factor = oldRate / newRate;
    for (TAVOSELECTION *s = state->selections; s != nullptr; s = s->next) {
        s->begin *= factor;
        s->end *= factor;
    }
    state->selectingBegin *= factor;
    state->selectingEnd *= factor;
    return 1;
}

TAVO_API bool TAVOSTATE_AdjustViewEx(TAVOSTATE state, int64_t numFrames, double timeFactor)
{
    if (state == nullptr || numFrames < 0 || !(timeFactor > 0.0)) return false;
    if (timeFactor != 1.0) {
        state->viewBegin = static_cast<int64_t>(std::llround(static_cast<double>(state->viewBegin) * timeFactor));
        state->viewEnd = static_cast<int64_t>(std::llround(static_cast<double>(state->viewEnd) * timeFactor));
    }
    if (state->viewEnd > numFrames) {
        const int64_t length = state->viewEnd - state->viewBegin;
        state->viewEnd = numFrames;
        state->viewBegin = numFrames - length;
        if (state->viewBegin < 0) state->viewBegin = 0;
    }
    return true;
}

TAVO_API bool TAVOSTATE_ResetRegionsState(TAVOSTATE state)
{
    if (state == nullptr) return false;
    state->highlightBegin = -1;
    state->highlightEnd = -1;
    if (state->highlightRegion != nullptr) {
        AUDIOREGION_Dispose(state->highlightRegion);
        state->highlightRegion = nullptr;
    }
    return true;
}

TAVO_API bool TAVOSTATE_ResetVisualChanges(TAVOSTATE state)
{
    if (state == nullptr) return false;
    state->visualChange = 0;
    state->changeBits = 0;
    return true;
}

TAVO_API uint32_t TAVOSTATE_VisualChanges(TAVOSTATE state)
{
    return state != nullptr ? state->visualChange : 0;
}

TAVO_API uint32_t TAVOSTATE_ChangeBits(TAVOSTATE state)
{
    return state != nullptr ? state->changeBits : 0;
}

TAVO_API bool TAVOSTATE_ResetTimeStamps(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr) return false;
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    if (signal == nullptr) return false;
    const uint64_t stamp = AUDIOSIGNAL_GetTimeStamp(signal, AUDIOSIGNAL_STAMP_CONTENT);
    doc->state->shownStamp = stamp;
    doc->state->notifiedStamp = stamp;
    doc->changeStamp = stamp;
    return true;
}

TAVO_API TAVOSTATE TAVOAUDIO_GetState(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    return doc != nullptr ? doc->state : nullptr;
}
