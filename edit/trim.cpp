/*
** trim.cpp: removing audio around what the user wants to keep: trim to the
** selections, trim before or after them (or the cursor), and trim the
** silence at both ends.
**
** Each command decides, under read access, which frame ranges go; removes
** them from a working copy back to front (so that the positions of the
** earlier ones stay valid) with AUDIOSIGNAL_ClearEx; and commits the copy
** as one undo step. A command that finds nothing to remove returns true
** without an undo step.
*/
#include <algorithm>
#include <cmath>

#include "audioops.h"
#include "blsettings.h"
#include "edit/transform_p.h"
#include "frame/document_p.h"
#include "tavoedit.h"
#include "tavoselection.h"
#include "tavostate.h"
#include "tavozoom.h"
#include "view/state_p.h"

namespace {

// What a trim removes, and where the cursor goes afterwards.
struct TrimPlan {
    std::vector<TavoFrameRange> removals;   // ascending, disjoint, non-empty
    int64_t removedBefore = 0;              // frames removed before the kept audio
    bool clearSelections = false;           // the selections are cleared afterwards
    bool cursorToStart = false;             // the cursor goes to frame 0 afterwards
};

// Decides the plan under read access; false refuses the command (the last
// error is set by the planner when the input is at fault).
using TrimPlanner = std::function<bool(TAVOAUDIO audio, TavoDocument *doc, AUDIOSIGNAL signal, TrimPlan &plan)>;

// The view state after the audio in front of the kept stretch went away:
// view, cursor and selections move left with the audio. Zoom limits are
// dropped, because the stretch they bounded may be partly gone. Call with
// the write lock held, after the swap.
void followTrim(TAVOAUDIO audio, TavoDocument *doc, const TrimPlan &plan)
{
    TavoState *state = doc->state;
    const int64_t shift = plan.removedBefore;
    state->limitBegin = state->limitEnd = -1;
    state->highlightBegin = state->highlightEnd = -1;
    if (shift > 0) {
        const int64_t length = state->viewEnd - state->viewBegin;
        state->viewBegin = std::max<int64_t>(0, state->viewBegin - shift);
        state->viewEnd = state->viewBegin + length;
        state->cursor = std::max<int64_t>(0, state->cursor - shift);
    }
    if (plan.cursorToStart) state->cursor = 0;
    if (plan.clearSelections) {
        TAVOAUDIO_ClearSelectionEx2(audio, nullptr, TAVOSELECTION_FLAG_NOTIFY);
    } else if (shift > 0) {
        TAVOAUDIO_OffsetSelectionsFromPosition(audio, -shift, 0);
        // The first selection began exactly at the cut: rounding in seconds
        // must not put it a hair before the signal's start.
        for (TAVOSELECTION *s = state->selections; s != nullptr; s = s->next) s->begin = std::max(0.0, s->begin);
    }
}

bool runTrim(TAVOAUDIO audio, const char *label, const TrimPlanner &planner)
{
    TavoDocument *doc = _TAVOEDIT_TransformTarget(audio);
    if (doc == nullptr) return false;
    TavoWorkingCopy work;
    TrimPlan plan;
    {
        TavoDocReadLock lock(doc);
        if (!lock) return false;
        AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
        if (!planner(audio, doc, signal, plan)) return false;
        if (plan.removals.empty()) return (doc->flags & TAVOAUDIO_FLAG_EDITABLE) != 0;
        if (!work.make(signal, 0)) return false;
    }
    if (!work.attach(doc)) return false;
    double smoothSeconds = 0.0;
    const uint32_t options = _TAVOEDIT_ClearOptions(&smoothSeconds);
    for (auto range = plan.removals.rbegin(); range != plan.removals.rend(); ++range)
        if (!AUDIOSIGNAL_ClearEx(work.copy(), options, range->first, range->second, smoothSeconds)) return false;

    TavoCommitHooks hooks;
    hooks.afterSwap = [doc, &plan](TAVOAUDIO target) {
        followTrim(target, doc, plan);
        return true;
    };
    return _TAVOEDIT_Commit(audio, work, label, 1.0, hooks) == TavoCommit::Done;
}

// The document's selections as frame ranges clamped to the signal, empty
// ones dropped. Call with read access held.
std::vector<TavoFrameRange> clampedSelections(TAVOAUDIO audio, TavoDocument *doc, AUDIOSIGNAL signal)
{
    const int64_t frames = AUDIOSIGNAL_NumFrames(signal);
    std::vector<TavoFrameRange> out;
    for (const TavoFrameRange &r : _TAVOEDIT_SelectionRanges(audio, doc->state->selections)) {
        const int64_t begin = std::clamp<int64_t>(r.first, 0, frames);
        const int64_t end = std::clamp<int64_t>(r.second, begin, frames);
        if (end > begin) out.emplace_back(begin, end);
    }
    return out;
}

void addRemoval(TrimPlan &plan, int64_t begin, int64_t end)
{
    if (end > begin) plan.removals.emplace_back(begin, end);
}

}  // namespace

// ---- trims by selection and cursor ------------------------------------------------

TAVO_API bool TAVOAUDIO_Trim(TAVOAUDIO audio, const char *label)
{
    // With several selections the selected pieces are kept and joined in
    // order: the gaps between them go as well as the audio before the first
    // and after the last, so that exactly the selected audio remains. (A
    // user who wants the stretch from the first to the last selection
    // selects it as one.) Joins inside get the clear command's boundary
    // smoothing. Afterwards nothing is selected and the cursor is at 0.
    // Without a selection there is nothing to keep: refused.
    return runTrim(audio, label != nullptr ? label : "Trim", [](TAVOAUDIO audio, TavoDocument *doc, AUDIOSIGNAL signal, TrimPlan &plan) {
        const std::vector<TavoFrameRange> kept = clampedSelections(audio, doc, signal);
        if (kept.empty()) return false;
        int64_t from = 0;
        for (const TavoFrameRange &piece : kept) {
            addRemoval(plan, from, piece.first);
            from = std::max(from, piece.second);
        }
        addRemoval(plan, from, AUDIOSIGNAL_NumFrames(signal));
        plan.removedBefore = kept.front().first;
        plan.clearSelections = true;
        plan.cursorToStart = true;
        return true;
    });
}

TAVO_API bool TAVOAUDIO_TrimLeft(TAVOAUDIO audio, const char *label)
{
    // Removes [0, first selection's begin), or [0, cursor) without a
    // selection. View, cursor and selections move left with the audio, so
    // the selections still cover the same sound.
    return runTrim(audio, label != nullptr ? label : "Trim Left",
                   [](TAVOAUDIO audio, TavoDocument *doc, AUDIOSIGNAL signal, TrimPlan &plan) {
                       const std::vector<TavoFrameRange> selected = clampedSelections(audio, doc, signal);
                       const int64_t frames = AUDIOSIGNAL_NumFrames(signal);
                       const int64_t cut = selected.empty() ? std::clamp<int64_t>(doc->state->cursor, 0, frames)
                                                            : selected.front().first;
                       addRemoval(plan, 0, cut);
                       plan.removedBefore = cut;
                       return true;
                   });
}

TAVO_API bool TAVOAUDIO_TrimRight(TAVOAUDIO audio, const char *label)
{
    // Removes [last selection's end, end of signal), or [cursor, end)
    // without a selection. Selections and cursor stay where they are (the
    // cursor at most at the new end).
    return runTrim(audio, label != nullptr ? label : "Trim Right",
                   [](TAVOAUDIO audio, TavoDocument *doc, AUDIOSIGNAL signal, TrimPlan &plan) {
                       const std::vector<TavoFrameRange> selected = clampedSelections(audio, doc, signal);
                       const int64_t frames = AUDIOSIGNAL_NumFrames(signal);
                       const int64_t cut = selected.empty() ? std::clamp<int64_t>(doc->state->cursor, 0, frames)
                                                            : selected.back().second;
                       addRemoval(plan, cut, frames);
                       return true;
                   });
}

// ---- edge silence -----------------------------------------------------------------

namespace {

// Analysis granularity: peaks of coarse chunks come from the block
// summaries; only a chunk that holds a loud sample is looked into, first by
// finer summary chunks, then sample by sample in one fine chunk. So a long
// silent lead-in costs one summary query per coarse chunk.
constexpr int64_t kCoarseChunk = 65536;
constexpr int64_t kFineChunk = 1024;

// Largest absolute sample of [begin, end) over every channel (silence is
// removed from all channels at once, so sound in any of them counts).
double peakOf(AUDIOSIGNAL signal, int32_t channels, int64_t begin, int64_t end)
{
    double peak = 0.0;
    for (int32_t c = 0; c < channels; ++c) {
        AUDIOPOINTER pointer;
        float lo = 0.0f, hi = 0.0f;
        if (!AUDIOSIGNAL_InitAudioPointer(signal, c, begin, &pointer)) continue;
        if (!AUDIOSIGNAL_DisplayMinMaxFromAudioPointer(&pointer, end - begin, &lo, &hi)) continue;
        peak = std::max({peak, std::fabs(static_cast<double>(lo)), std::fabs(static_cast<double>(hi))});
    }
    return peak;
}

// The first (or last) frame of [begin, end) whose magnitude in some channel
// exceeds `threshold`, read sample by sample; -1 when none.
int64_t exactEdge(AUDIOSIGNAL signal, int32_t channels, int64_t begin, int64_t end, double threshold, bool first)
{
    std::vector<float> samples(static_cast<size_t>(end - begin));
    int64_t found = -1;
    for (int32_t c = 0; c < channels; ++c) {
        if (AUDIOSIGNAL_GetChannelSamplesEx(signal, c, begin, end - begin, samples.data()) < 0) continue;
        for (int64_t i = 0; i < end - begin; ++i) {
            const int64_t k = first ? i : end - begin - 1 - i;
            if (std::fabs(static_cast<double>(samples[static_cast<size_t>(k)])) > threshold) {
                const int64_t frame = begin + k;
                if (found < 0 || (first ? frame < found : frame > found)) found = frame;
                break;
            }
        }
    }
    return found;
}

// The first (or last) loud frame of [begin, end), see exactEdge, found
// through the summaries chunk by chunk.
int64_t findEdge(AUDIOSIGNAL signal, int32_t channels, int64_t begin, int64_t end, double threshold, bool first,
                 int64_t chunk = kCoarseChunk)
{
    const int64_t count = (end - begin + chunk - 1) / chunk;
    for (int64_t i = 0; i < count; ++i) {
        const int64_t index = first ? i : count - 1 - i;
        const int64_t from = begin + index * chunk;
        const int64_t to = std::min(end, from + chunk);
        if (!(peakOf(signal, channels, from, to) > threshold)) continue;
        const int64_t frame = chunk > kFineChunk ? findEdge(signal, channels, from, to, threshold, first, kFineChunk)
                                                 : exactEdge(signal, channels, from, to, threshold, first);
        if (frame >= 0) return frame;
    }
    return -1;
}

double dbToGain(double db) { return std::pow(10.0, db / 20.0); }

int64_t msToFrames(double ms, int32_t rate)
{
    if (!std::isfinite(ms) || ms <= 0.0) return 0;
    return static_cast<int64_t>(std::llround(ms * rate / 1000.0));
}

// The stretch to keep, [begin, end), or false when no frame is louder than
// the threshold. The rule:
//  1. The first and the last frame louder than the threshold (any channel)
//     bound the sound.
//  2. The bounds then grow outwards over quiet attacks and decays: while a
//     frame louder than (threshold - extension range) lies within the
//     bridge gap beyond a bound, the bound moves to the farthest such frame
//     in that gap. Dips below that level shorter than the bridge gap are
//     thus bridged; a longer one stops the growth.
//  3. The pre-roll is added before the begin and the release after the
//     end, within the signal.
bool keptStretch(AUDIOSIGNAL signal, double thresholdDb, int64_t *keepBegin, int64_t *keepEnd)
{
    // Fallbacks: 6 dB of quiet attack or tail kept, gaps up to 50 ms
    // bridged (shorter than a syllable pause), 10 ms of pre-roll (keeps a
    // soft onset's first cycle), 50 ms of release (a natural decay).
    double extensionDb = BLSETTINGS_GetFloatEx(nullptr, "libtavo.edgesilence.extension_range_db=[%f]", 6.0);
    const double bridgeMs = BLSETTINGS_GetFloatEx(nullptr, "libtavo.edgesilence.max_bridge_gap_ms=[%f]", 50.0);
    const double prerollMs = BLSETTINGS_GetFloatEx(nullptr, "libtavo.edgesilence.preroll_ms=[%f]", 10.0);
    const double releaseMs = BLSETTINGS_GetFloatEx(nullptr, "libtavo.edgesilence.release_ms=[%f]", 50.0);
    if (!std::isfinite(extensionDb) || extensionDb < 0.0) extensionDb = 0.0;

    const int32_t rate = AUDIOSIGNAL_SampleRate(signal);
    const int32_t channels = AUDIOSIGNAL_NumChannels(signal);
    const int64_t frames = AUDIOSIGNAL_NumFrames(signal);
    const double threshold = dbToGain(thresholdDb);
    const double quiet = dbToGain(thresholdDb - extensionDb);
    // A gap of at least one frame, so that every growth step moves.
    const int64_t gap = std::max<int64_t>(1, msToFrames(bridgeMs, rate));

    const int64_t first = findEdge(signal, channels, 0, frames, threshold, true);
    if (first < 0) return false;
    const int64_t last = findEdge(signal, channels, first, frames, threshold, false);

    int64_t begin = first;
    while (begin > 0) {
        const int64_t from = std::max<int64_t>(0, begin - gap);
        const int64_t frame = findEdge(signal, channels, from, begin, quiet, true);
        if (frame < 0) break;
        begin = frame;
    }
    int64_t end = last + 1;
    while (end < frames) {
        const int64_t to = std::min(frames, end + gap);
        const int64_t frame = findEdge(signal, channels, end, to, quiet, false);
        if (frame < 0) break;
        end = frame + 1;
    }
    *keepBegin = std::max<int64_t>(0, begin - msToFrames(prerollMs, rate));
    *keepEnd = std::min(frames, end + msToFrames(releaseMs, rate));
    return true;
}

}  // namespace

TAVO_API bool TAVOAUDIO_TrimEdgeSilence(TAVOAUDIO audio, double thresholdDb, const char *label)
{
    TavoDocument *target = _TAVOAUDIO_Validate(audio);
    if (target != nullptr && !std::isfinite(thresholdDb)) {
        target->lastError = _TranslateAudioSignalError(AUDIO_ERROR_INVALID_ARGUMENT);
        return false;
    }
    // Afterwards the cursor moves left with the audio and the selections are
    // cleared (they may have covered silence that is gone). A signal with no
    // frame above the threshold is refused and left whole: trimming it would
    // leave an empty document, which is a delete, not a trim.
    return runTrim(audio, label != nullptr ? label : "Trim Edge Silence",
                   [thresholdDb](TAVOAUDIO, TavoDocument *doc, AUDIOSIGNAL signal, TrimPlan &plan) {
                       int64_t begin = 0, end = 0;
                       if (!keptStretch(signal, thresholdDb, &begin, &end)) {
                           doc->lastError = _TranslateAudioSignalError(AUDIO_ERROR_EMPTY);
                           return false;
                       }
                       addRemoval(plan, 0, begin);
                       addRemoval(plan, end, AUDIOSIGNAL_NumFrames(signal));
                       plan.removedBefore = begin;
                       plan.clearSelections = true;
                       return true;
                   });
}
