// notify.cpp: change notification of a document's view state.
//
// Every operation marks what it changed and, when the outermost operation
// leaves its lock, calls TAVOSTATE_NotifyChanges once; the host then
// repaints. Nothing is sent while an edit runs (the edit notifies when it
// ends) or while the document's notifications are suspended.

#include <cstdint>

#include "audiosignal.h"
#include "frame/document_p.h"
#include "tavoaudio.h"
#include "tavonotify.h"
#include "tavostate.h"
#include "view/state_p.h"

TAVO_API bool TAVOSTATE_NotifyChangesEx(TAVOAUDIO audio, int32_t flag, uint32_t bits, void *context)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr) return false;
    if (TAVOAUDIO_IsEditing(audio) || doc->notifySuspended > 0) return false;
    TavoState *state = doc->state;

    // The audio counts as changed when the signal differs from what was last
    // saved or loaded; the renderer then drops its display caches.
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    const uint64_t stamp = signal != nullptr ? AUDIOSIGNAL_GetTimeStamp(signal, AUDIOSIGNAL_STAMP_CONTENT) : 0;
    const bool audioChanged = signal != nullptr && stamp != doc->changeStamp;

    state->visualChange |= TAVOSTATE_VISUAL_REDRAW;
    if (audioChanged) state->visualChange |= TAVOSTATE_VISUAL_AUDIO_CHANGED;
    state->changeBits |= bits;

    // A repeated notification for the same signal content only needs a
    // repaint; the host's "changed" handling already ran for this stamp.
    if (state->notifiedStamp == stamp && flag == 0) {
        _TAVOAUDIO_Send(doc, TAVOAUDIO_NEEDREDRAW, context, nullptr, nullptr);
        return true;
    }
    state->notifiedStamp = stamp;
    _TAVOAUDIO_Send(doc, TAVOAUDIO_WAS_CHANGED, reinterpret_cast<void *>(static_cast<uintptr_t>(audioChanged ? 1 : 0)),
                    reinterpret_cast<void *>(static_cast<uintptr_t>(bits)), nullptr);
    // A handler of the change event may have closed the document.
    doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return true;
    _TAVOAUDIO_Send(doc, TAVOAUDIO_NEEDREDRAW, context, nullptr, nullptr);
    return true;
}

TAVO_API bool TAVOSTATE_NotifyChanges(TAVOAUDIO audio, int32_t flag, uint32_t bits)
{
    return TAVOSTATE_NotifyChangesEx(audio, flag, bits, nullptr);
}
