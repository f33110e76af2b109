/*
** transform.cpp: the selection-effect pattern and the sample transforms that
** use it (silence, invert, smooth, reverse), effect texts, and the helpers
** shared with the trims and format changes (transform_p.h).
**
** Every command here computes its result on a working copy under read
** access, so drawing and playback go on while it runs, and installs it with
** _TAVOEDIT_Commit: one short write-locked step that pushes the undo script
** (a reference to the old signal) and swaps the copy in.
*/
#include "edit/transform_p.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "audioops.h"
#include "edit/edit_p.h"
#include "frame/document_p.h"
#include "tavoaudio.h"
#include "tavoedit.h"
#include "tavoselection.h"
#include "tavostate.h"
#include "view/state_p.h"

#include "blsettings.h"

// ---- shared helpers ------------------------------------------------------------

TavoDocument *_TAVOEDIT_TransformTarget(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || _TAVOAUDIO_Signal(doc) == nullptr || doc->state == nullptr) return nullptr;
    // A visual tool shows a preview of an edit over the current signal;
    // changing the signal under it would leave the preview pointing at audio
    // that is no longer there.
    if (_TAVOEDIT_VisualToolActive(doc)) return nullptr;
    return doc;
}

std::vector<TavoFrameRange> _TAVOEDIT_SelectionRanges(TAVOAUDIO audio, const TAVOSELECTION *list)
{
    std::vector<TavoFrameRange> ranges;
    for (const TAVOSELECTION *s = list; s != nullptr; s = s->next)
        ranges.emplace_back(TAVOSELECTION_GetBegin(audio, s), TAVOSELECTION_GetEnd(audio, s));
    return ranges;
}

uint32_t _TAVOEDIT_ClearOptions(double *smoothSeconds)
{
    // The same rule as the clear command: without smoothing the duration is
    // passed all the same and the library ignores it.
    *smoothSeconds = 0.004;
    if (!BLSETTINGS_GetBoolEx(nullptr, "libtavo.editoptions.smoothboundaries=[%d]", 1)) return 0;
    const double seconds = BLSETTINGS_GetFloatEx(nullptr, "libtavo.editoptions.smoothduration=[%f]", 0.004);
    if (std::isfinite(seconds) && seconds >= 0.0) *smoothSeconds = seconds;
    return AUDIOSIGNAL_EDIT_SMOOTH_BOUNDARIES;
}

namespace {

// Applies `edit` to each range in order; the first failure stops.
bool applyRanges(AUDIOSIGNAL copy, const std::vector<TavoFrameRange> &ranges, const TavoRangeEdit &edit)
{
    for (const TavoFrameRange &range : ranges)
        if (!edit(copy, range.first, range.second)) return false;
    return true;
}

// The pattern with the ranges decided under read access by `pick`.
bool applyPattern(TAVOAUDIO audio, const char *label, const TavoRangeEdit &edit,
                  const std::function<std::vector<TavoFrameRange>(TavoDocument *)> &pick)
{
    TavoDocument *doc = _TAVOEDIT_TransformTarget(audio);
    if (doc == nullptr) return false;
    TavoWorkingCopy work;
    std::vector<TavoFrameRange> ranges;
    {
        TavoDocReadLock lock(doc);
        if (!lock) return false;
        if (!work.make(_TAVOAUDIO_Signal(doc), 0)) return false;
        ranges = pick(doc);
    }
    // The document becomes the copy's parent before any work, so progress
    // notifications of long effects reach the document's handlers.
    if (!work.attach(doc)) return false;
    if (!applyRanges(work.copy(), ranges, edit)) return false;
    // Edit access checks the editable flag here, after the work: the flag
    // may change while the copy is worked on, and a refusal throws the
    // work away with the document untouched.
    return _TAVOEDIT_Commit(audio, work, label, 1.0) == TavoCommit::Done;
}

const std::vector<TavoFrameRange> kWholeSignal = {{0, TAVOEDIT_END_OF_SIGNAL}};

}  // namespace

bool _TAVOEDIT_ApplyToSelections(TAVOAUDIO audio, const TAVOSELECTION *selections, const char *label,
                                 const TavoRangeEdit &edit)
{
    return applyPattern(audio, label, edit, [&](TavoDocument *doc) {
        if (selections != nullptr) return _TAVOEDIT_SelectionRanges(audio, selections);
        // A private copy of the document's list: the live list may change
        // as soon as read access is released.
        TavoSelectionsCopy copied;
        if (!copied.take(doc) || copied.list() == nullptr) return kWholeSignal;
        return _TAVOEDIT_SelectionRanges(audio, copied.list());
    });
}

bool _TAVOEDIT_ApplyToWholeSignal(TAVOAUDIO audio, const char *label, const TavoRangeEdit &edit)
{
    return applyPattern(audio, label, edit, [](TavoDocument *) { return kWholeSignal; });
}

namespace {

// Moves everything the view state holds in frames or seconds onto the new
// signal after an effect changed its length by `timeFactor` (new length /
// old length) and its rate from `oldRate` to `newRate`. Call with the write
// lock held, after the swap; the commit then clamps view and cursor.
void followTimeFactor(TavoDocument *doc, double timeFactor, int32_t oldRate, int32_t newRate)
{
    TavoState *state = doc->state;
    const int64_t frames = AUDIOSIGNAL_NumFrames(doc->signal);
    if (timeFactor > 0.0 && timeFactor != 1.0) {
        TAVOSTATE_AdjustViewEx(state, frames, timeFactor);
        if (state->viewEnd <= state->viewBegin) {
            state->viewBegin = 0;
            state->viewEnd = frames;
        }
        auto scale = [timeFactor](int64_t frame) {
            return frame < 0 ? frame : static_cast<int64_t>(std::llround(static_cast<double>(frame) * timeFactor));
        };
        state->limitBegin = scale(state->limitBegin);
        state->limitEnd = scale(state->limitEnd);
        state->highlightBegin = scale(state->highlightBegin);
        state->highlightEnd = scale(state->highlightEnd);
    }
    // Selections are kept in seconds. A frame f of the old signal is frame
    // f x timeFactor of the new one, so its time changes by timeFactor x
    // oldRate / newRate: 1 for a resampling (same moment), timeFactor for an
    // effect that stretches the audio at the same rate. AdjustSampleRate
    // multiplies every selection time by its first argument over its second.
    if (timeFactor > 0.0 && oldRate > 0 && newRate > 0)
        TAVOSTATE_AdjustSampleRate(state, timeFactor * oldRate, static_cast<double>(newRate));
    // The undo engine restores the channel mask from the state copy; keep
    // the live copy of it in step with the new signal.
    state->channelMask = AUDIOSIGNAL_GetActiveChannelMask(doc->signal);
}

}  // namespace

bool _TAVOEDIT_ApplyEffectText(TAVOAUDIO audio, const char *effect, const char *label)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || _TAVOAUDIO_Signal(doc) == nullptr || doc->state == nullptr) return false;
    doc->lastError = 0;
    if (_TAVOEDIT_VisualToolActive(doc)) return false;

    double timeFactor = 1.0;
    uint32_t error = 0;
    int32_t oldRate = 0;
    TavoWorkingCopy work;
    {
        TavoDocReadLock lock(doc);
        if (!lock) return false;
        AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
        AUDIOSIGNAL made = AUDIOSIGNAL_ApplyTransformEx2(signal, effect, &timeFactor, 0, &error);
        if (made == nullptr) {
            const uint32_t code = _TranslateAudioSignalError(error);
            // A refusal without a reason still must not read as success.
            doc->lastError = code != 0 ? code : _TranslateAudioSignalError(AUDIO_ERROR_INVALID_ARGUMENT);
            return false;
        }
        oldRate = AUDIOSIGNAL_SampleRate(signal);
        // The user's channel mask survives an effect that keeps the channel
        // count; a new channel layout starts with every channel active.
        if (AUDIOSIGNAL_NumChannels(made) == AUDIOSIGNAL_NumChannels(signal))
            AUDIOSIGNAL_SetActiveChannelMask(made, AUDIOSIGNAL_GetActiveChannelMask(signal));
        if (!work.adopt(made, signal)) return false;
    }
    if (!work.attach(doc)) return false;
    const int32_t newRate = AUDIOSIGNAL_SampleRate(work.copy());
    TavoCommitHooks hooks;
    hooks.afterSwap = [doc, timeFactor, oldRate, newRate](TAVOAUDIO) {
        followTimeFactor(doc, timeFactor, oldRate, newRate);
        return true;
    };
    return _TAVOEDIT_Commit(audio, work, label, timeFactor, hooks) == TavoCommit::Done;
}

// ---- selection effects -----------------------------------------------------------

TAVO_API bool TAVOAUDIO_Silence(TAVOAUDIO audio, const char *label)
{
    return _TAVOEDIT_ApplyToSelections(audio, nullptr, label != nullptr ? label : "Silence",
                                       [](AUDIOSIGNAL copy, int64_t begin, int64_t end) {
                                           return AUDIOSIGNAL_SilenceEx(copy, 0, begin, end);
                                       });
}

TAVO_API bool TAVOAUDIO_Invert(TAVOAUDIO audio, const char *label)
{
    return _TAVOEDIT_ApplyToSelections(audio, nullptr, label != nullptr ? label : "Invert",
                                       [](AUDIOSIGNAL copy, int64_t begin, int64_t end) {
                                           return AUDIOSIGNAL_InvertEx(copy, 0, begin, end);
                                       });
}

TAVO_API bool TAVOAUDIO_Smooth(TAVOAUDIO audio, const char *label)
{
    return _TAVOEDIT_ApplyToSelections(audio, nullptr, label != nullptr ? label : "Smooth",
                                       [](AUDIOSIGNAL copy, int64_t begin, int64_t end) {
                                           return AUDIOSIGNAL_SmoothEx(copy, 0, begin, end);
                                       });
}

TAVO_API bool TAVOAUDIO_ReverseEx2(TAVOAUDIO audio, const char *label, TAVOSELECTION *selections,
                                   bool takeSelections)
{
    // A taken list is the library's from the call on, whatever the outcome:
    // the caller cannot tell which refusals would have left it its list.
    struct ListOwner {
        TAVOSELECTION *list;
        ~ListOwner()
        {
            while (list != nullptr) {
                TAVOSELECTION *next = list->next;
                std::free(list);
                list = next;
            }
        }
    } owner{takeSelections ? selections : nullptr};
    return _TAVOEDIT_ApplyToSelections(audio, selections, label != nullptr ? label : "Reverse",
                                       [](AUDIOSIGNAL copy, int64_t begin, int64_t end) {
                                           return AUDIOSIGNAL_ReverseEx(copy, 0, begin, end);
                                       });
}

// ---- effect texts ---------------------------------------------------------------

TAVO_API bool TAVOAUDIO_Transform(TAVOAUDIO audio, const char *effect, const char *label)
{
    // "Trasnform" is the label hosts have always shown and translated.
    return _TAVOEDIT_ApplyEffectText(audio, effect, label != nullptr ? label : "FX Trasnform");
}
