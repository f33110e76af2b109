// selecting.cpp: the selecting band, the rubber band that follows a drag
// across the waveform and is committed as a selection when the drag ends.
//
// The band is kept in seconds, like the selections; its moving end is the
// cursor. Moves and cancels may come from any thread (a host may drive the
// band from an input thread); their change notification always runs on the
// main thread, where the host's handlers expect it.

#include <algorithm>
#include <cstdint>

#include "audiosignal.h"
#include "blregister.h"
#include "blthread.h"
#include "frame/document_p.h"
#include "tavoaudio.h"
#include "tavonotify.h"
#include "tavoselection.h"
#include "tavostate.h"
#include "tavoutil.h"
#include "view/selection_p.h"
#include "view/state_p.h"

namespace {

TavoDocument *selectingDocument(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr || _TAVOAUDIO_Signal(doc) == nullptr) return nullptr;
    return doc;
}

// Runs on the main thread. The document may have been closed since the call
// was posted: the object registry knows whether it still lives.
void notifyBandOnMainThread(void *audio, void *, void *)
{
    if (!BLREGISTER_HasObject(audio) || !TAVOAUDIO_IsValid(static_cast<TAVOAUDIO>(audio))) return;
    TAVOSTATE_NotifyChanges(static_cast<TAVOAUDIO>(audio), 0, TAVOSELECTION_BITS_BAND);
}

// Notifies that the band moved, unless the document holds its notifications.
// Call with no lock of the document held.
void notifyBand(TavoDocument *doc)
{
    if (doc->notifySuspended > 0) return;
    if (BLTHREAD_IsMainThread()) {
        TAVOSTATE_NotifyChanges(doc, 0, TAVOSELECTION_BITS_BAND);
    } else {
        BLTHREAD_PostToMainThread3(notifyBandOnMainThread, doc, nullptr, nullptr);
    }
}

}  // namespace

TAVO_API int32_t TAVOAUDIO_UpdateSelecting(TAVOAUDIO audio, int64_t begin, int64_t end)
{
    TavoDocument *doc = selectingDocument(audio);
    if (doc == nullptr) return 0;
    {
        SelectionWrite access(audio);
        if (!access) return 0;
        TAVOSTATE state = doc->state;
        const int64_t frames = AUDIOSIGNAL_NumFrames(_TAVOAUDIO_Signal(doc));
        int64_t lo = std::max<int64_t>(std::min(begin, end), 0);
        int64_t hi = std::min(std::max(begin, end), frames);
        state->cursor = std::clamp<int64_t>(end, 0, frames);
        // The band snaps to the boundaries of an active visual cut tool; the
        // visual tools keep those boundaries and adjust the band themselves.
        state->selectingBegin = TAVOAUDIO_SampleToTime(audio, lo);
        state->selectingEnd = TAVOAUDIO_SampleToTime(audio, hi);
        state->cursorOnly = false;
        state->highlightBegin = state->highlightEnd = -1;
        _TAVOAUDIO_Send(doc, TAVOAUDIO_SELECTING_UPDATE, &lo, &hi, nullptr);
    }
    notifyBand(doc);
    return 1;
}

TAVO_API bool TAVOAUDIO_SetSelectingKind(TAVOAUDIO audio, uint32_t kind)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr) return false;
    doc->state->selectingKind = kind;
    return true;
}

TAVO_API bool TAVOAUDIO_SetSelectingTrackIndex(TAVOAUDIO audio, int32_t trackIndex)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr) return false;
    doc->state->selectingTrack = trackIndex;
    return true;
}

TAVO_API int32_t TAVOAUDIO_CommitSelectingEx(TAVOAUDIO audio, int32_t trackIndex)
{
    TavoDocument *doc = selectingDocument(audio);
    if (doc == nullptr) return 0;
    SelectionWrite access(audio);
    if (!access) return 0;
    TAVOSTATE state = doc->state;
    const int64_t b = TAVOAUDIO_TimeToSample(audio, state->selectingBegin);
    const int64_t e = TAVOAUDIO_TimeToSample(audio, state->selectingEnd);
    int32_t result = 1;
    if (b != e) {
        // Called from the fixed end to the cursor, so that the cursor stays
        // where the drag ended.
        const int64_t cursor = state->cursor;
        const int64_t anchor = cursor == b ? e : b;
        switch (state->selectingKind) {
        case TAVOSELECTING_REPLACE: result = TAVOAUDIO_SelectAudioEx(audio, anchor, cursor, trackIndex, 0); break;
        case TAVOSELECTING_ADD: result = TAVOAUDIO_AddSelectionEx(audio, anchor, cursor, trackIndex, 0); break;
        case TAVOSELECTING_SUBTRACT: result = TAVOAUDIO_DelSelection(audio, anchor, cursor); break;
        default: break;   // any other kind commits nothing
        }
    } else if (state->selections == nullptr) {
        state->cursorOnly = true;   // a click: the document shows the cursor only
    }
    const double at = TAVOAUDIO_SampleToTime(audio, state->cursor);
    state->selectingBegin = state->selectingEnd = at;
    state->selectingTrack = -1;
    TAVOSTATE_SetActiveSelection(state, state->selections);
    access.record(TAVOSELECTION_BITS_BAND);
    return result;
}

TAVO_API int32_t TAVOAUDIO_CancelSelecting(TAVOAUDIO audio)
{
    TavoDocument *doc = selectingDocument(audio);
    if (doc == nullptr) return 0;
    {
        SelectionWrite access(audio);
        if (!access) return 0;
        TAVOSTATE state = doc->state;
        const double at = TAVOAUDIO_SampleToTime(audio, state->cursor);
        state->selectingBegin = state->selectingEnd = at;
        state->selectingTrack = -1;
        state->selectingKind = TAVOSELECTING_REPLACE;
    }
    notifyBand(doc);
    return 1;
}

namespace {

bool bandFrames(TAVOAUDIO audio, int64_t &lo, int64_t &hi)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr) return false;
    const int64_t a = TAVOAUDIO_TimeToSample(audio, doc->state->selectingBegin);
    const int64_t b = TAVOAUDIO_TimeToSample(audio, doc->state->selectingEnd);
    lo = std::min(a, b);
    hi = std::max(a, b);
    return true;
}

}  // namespace

TAVO_API int64_t TAVOAUDIO_GetSelectingBegin(TAVOAUDIO audio)
{
    int64_t lo = -1, hi = -1;
    return bandFrames(audio, lo, hi) ? lo : -1;
}

TAVO_API int64_t TAVOAUDIO_GetSelectingEnd(TAVOAUDIO audio)
{
    int64_t lo = -1, hi = -1;
    return bandFrames(audio, lo, hi) ? hi : -1;
}

TAVO_API int64_t TAVOAUDIO_GetSelectingLength(TAVOAUDIO audio)
{
    int64_t lo = -1, hi = -1;
    return bandFrames(audio, lo, hi) ? hi - lo : -1;
}
