// cursor.cpp: the edit cursor, the channel mask, the draw properties and
// the tempo of a document's view.

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "audiosignal.h"
#include "frame/document_p.h"
#include "tavonotify.h"
#include "tavostate.h"
#include "tavozoom.h"
#include "view/state_p.h"

namespace {

// The lowest tempo the document keeps (a slower tag is raised to it).
constexpr double kMinTempo = 15.0;

// Draw properties that live in named fields of the state, so that the
// renderer and the configuration read them by name.
constexpr int32_t kPropertyHorzScale = 1;
constexpr int32_t kPropertyVertScale = 2;
constexpr int32_t kPropertySpecScale = 3;
constexpr int32_t kPropertyCount = 16;

int32_t *propertySlot(TavoState *state, int32_t property)
{
    switch (property) {
    case kPropertyHorzScale: return &state->horzScaleKind;
    case kPropertyVertScale: return &state->vertScaleKind;
    case kPropertySpecScale: return &state->specScaleKind;
    default: return &state->drawProperty[property];
    }
}

}  // namespace

TAVO_API int64_t TAVOAUDIO_GetCursorPosition(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    return doc != nullptr && doc->state != nullptr ? doc->state->cursor : -1;
}

TAVO_API bool TAVOAUDIO_SetCursorPositionEx2(TAVOAUDIO audio, int64_t position, uint32_t notify)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr) return false;
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    if (signal == nullptr) return false;
    const int64_t frame = std::clamp<int64_t>(position, 0, AUDIOSIGNAL_NumFrames(signal));
    doc->state->cursor = frame;
    double seconds = AUDIO_Sample2Time(AUDIOSIGNAL_GetFormatRef(signal), frame);
    _TAVOAUDIO_Send(doc, TAVOAUDIO_CURSOR_SET_POSITION, &seconds, nullptr, nullptr);
    if (notify & 1u) TAVOSTATE_NotifyChanges(audio, 0, 0);
    return true;
}

TAVO_API bool TAVOAUDIO_SetCursorPosition(TAVOAUDIO audio, int64_t position)
{
    return TAVOAUDIO_SetCursorPositionEx2(audio, position, 15);
}

TAVO_API bool TAVOAUDIO_ChangeCursorPositionEx(TAVOAUDIO audio, int64_t position, uint32_t notify)
{
    if (!TAVOAUDIO_SetCursorPositionEx2(audio, position, notify)) return false;
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return true;   // closed by a handler
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    if (signal == nullptr || doc->state == nullptr) return true;
    double seconds = AUDIO_Sample2Time(AUDIOSIGNAL_GetFormatRef(signal), doc->state->cursor);
    _TAVOAUDIO_Send(doc, TAVOAUDIO_CURSOR_CHANGE_POSITION, &seconds, nullptr, nullptr);
    return true;
}

TAVO_API bool TAVOAUDIO_SetChannelMask(TAVOAUDIO audio, uint64_t mask)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr) return false;
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    if (signal == nullptr) return false;
    const uint64_t before = AUDIOSIGNAL_GetActiveChannelMask(signal);
    if (!AUDIOSIGNAL_SetActiveChannelMask(signal, mask)) return false;
    doc->state->channelMask = mask;
    if (AUDIOSIGNAL_GetActiveChannelMask(signal) != before) TAVOSTATE_NotifyChanges(audio, 0, 0);
    return true;
}

TAVO_API uint64_t TAVOAUDIO_GetChannelMask(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr) return 0;
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    // The signal's mask is the one edits obey; the state keeps a copy for
    // undo copies, which have no signal.
    return signal != nullptr ? AUDIOSIGNAL_GetActiveChannelMask(signal) : doc->state->channelMask;
}

TAVO_API bool TAVOAUDIO_SetDrawProperty(TAVOAUDIO audio, int32_t property, int32_t value)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr || property < 0 || property >= kPropertyCount) return false;
    int32_t *slot = propertySlot(doc->state, property);
    if (*slot == value) return true;
    *slot = value;
    TAVOSTATE_NotifyChanges(audio, 0, 0);
    return true;
}

TAVO_API int32_t TAVOAUDIO_GetDrawProperty(TAVOAUDIO audio, int32_t property)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr || property < 0 || property >= kPropertyCount) return -1;
    return *propertySlot(doc->state, property);
}

TAVO_API double TAVOAUDIO_GetTempo(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    return doc != nullptr && doc->state != nullptr ? doc->state->tempo : 0.0;
}

TAVO_API bool TAVOAUDIO_SetTempo(TAVOAUDIO audio, double bpm)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr || !(bpm > 0.0) || !std::isfinite(bpm)) return false;
    doc->state->tempo = std::max(bpm, kMinTempo);
    return true;
}
