// Cut, clear, copy and paste: edits that splice span lists, so that their
// cost follows the number of blocks near the edit, not the audio's length.
#include "audioops.h"
#include "ops_common.h"
#include "ops_convert.h"
#include "region_p.h"

#include <algorithm>
#include <cstdint>
#include <cmath>
#include <vector>

using namespace asig;

namespace {

// What a removal leaves and what it takes, built before anything changes.
struct Removal {
    std::vector<SpanList> kept;
    std::vector<SpanList> removed;
    bool changes = false;  // false for an empty range
};

// Frames of the crossfade across the join (see AUDIOSIGNAL_CutEx): none
// without the option, at either end of the signal, or for a duration that
// is not a positive number.
int64_t smoothingFrames(uint32_t options, double seconds, int32_t rate, int64_t begin, int64_t end, int64_t length)
{
    if ((options & AUDIOSIGNAL_EDIT_SMOOTH_BOUNDARIES) == 0) return 0;
    if (begin == 0 || end >= length || !(seconds > 0.0)) return 0;
    // Limit before rounding, so that a huge duration cannot overflow.
    const double limit = static_cast<double>(std::min(begin, end - begin));
    const double frames = std::min(seconds * static_cast<double>(rate), limit);
    return std::max<int64_t>(0, std::llround(frames));
}

// Blends the n frames before the join at `begin` of `kept` with the last n
// frames of the removed range [begin, end) of `original`.
void smoothJoin(SpanList &kept, const SpanList &original, int64_t begin, int64_t end, int64_t n)
{
    const int64_t start = begin - n;
    const double denominator = static_cast<double>(n + 1);
    std::vector<float> removed;
    kept.rewrite(start, begin, [&](int64_t position, int64_t count, float *out) {
        // Before the join, `kept` and `original` hold the same frames.
        original.readFloat(position, count, out);
        removed.resize(static_cast<size_t>(count));
        original.readFloat(position + (end - begin), count, removed.data());
        for (int64_t k = 0; k < count; ++k) {
            const double i = static_cast<double>(position + k - start);
            const double toRemoved = (i + 1.0) / denominator;
            const double toKept = (static_cast<double>(n) - i) / denominator;
            out[k] = static_cast<float>(toKept * out[k] + toRemoved * removed[static_cast<size_t>(k)]);
        }
    });
}

// Plans the removal of [begin, end) from all channels. Returns 0 or the
// error bits; the signal is not touched.
uint32_t planRemoval(AUDIOSIGNAL signal, uint32_t options, int64_t begin, int64_t end, double smoothSeconds,
                     Removal &plan)
{
    const uint32_t writable = ops::checkWritable(signal);
    if (writable != AUDIO_ERROR_NONE) return writable;
    plan.kept = _AUDIOSIGNAL_Channels(signal);
    if (plan.kept.empty()) return AUDIO_ERROR_INVALID_ARGUMENT;
    const int64_t length = plan.kept.front().frames();
    const uint32_t badRange = ops::clampRange(length, begin, end);
    if (badRange != AUDIO_ERROR_NONE) return badRange;

    const int64_t smooth =
        smoothingFrames(options, smoothSeconds, AUDIOSIGNAL_SampleRate(signal), begin, end, length);
    plan.removed.clear();
    for (SpanList &list : plan.kept) {
        plan.removed.push_back(list.slice(begin, end));
        if (smooth > 0) {
            const SpanList original = list;
            list.erase(begin, end);
            smoothJoin(list, original, begin, end, smooth);
        } else {
            list.erase(begin, end);
        }
    }
    plan.changes = end > begin;
    return AUDIO_ERROR_NONE;
}

// Regions follow the removal of `frames` frames from `begin` (the rule is in
// region_edit.cpp); with AUDIOSIGNAL_EDIT_REGIONS those of the range go to
// `clipboard`, placed from its frame `offset` on.
void followRemoval(AUDIOSIGNAL signal, AUDIOSIGNAL clipboard, uint32_t options, int64_t begin, int64_t frames,
                   int64_t offset)
{
    if (frames <= 0) return;
    const AUDIO_FORMAT format = AUDIOSIGNAL_GetFormat(signal);
    AUDIOSIGNAL target = (options & AUDIOSIGNAL_EDIT_REGIONS) != 0 ? clipboard : nullptr;
    asig::removeRangeRegions(signal, AUDIO_Sample2Time(&format, begin), AUDIO_Sample2Time(&format, begin + frames),
                             target, AUDIO_Sample2Time(&format, offset));
}

// The format of a signal made from part of `signal`: the same samples, no
// file of its own.
AUDIO_FORMAT clipFormat(AUDIOSIGNAL signal)
{
    AUDIO_FORMAT format = AUDIOSIGNAL_GetFormat(signal);
    format.formatTag = AUDIO_FORMATTAG_NONE;
    return format;
}

} // namespace

// ---- cut, clear, copy -------------------------------------------------------

AUDIO_API AUDIOSIGNAL AUDIOSIGNAL_CutEx(AUDIOSIGNAL signal, AUDIOSIGNAL clipboard, uint32_t options, int64_t begin,
                                        int64_t end, double smoothSeconds)
{
    if (signal == nullptr || clipboard == signal) return nullptr;
    std::vector<SpanList> gathered;
    if (clipboard != nullptr) {
        if (ops::checkWritable(clipboard) != AUDIO_ERROR_NONE) return nullptr;
        if (AUDIOSIGNAL_SampleRate(clipboard) != AUDIOSIGNAL_SampleRate(signal) ||
            AUDIOSIGNAL_NumChannels(clipboard) != AUDIOSIGNAL_NumChannels(signal)) {
            return nullptr;
        }
        gathered = _AUDIOSIGNAL_Channels(clipboard);
    }
    Removal plan;
    if (planRemoval(signal, options, begin, end, smoothSeconds, plan) != AUDIO_ERROR_NONE) return nullptr;

    const int64_t removedFrames = plan.removed.empty() ? 0 : plan.removed.front().frames();
    if (clipboard == nullptr) {
        AUDIOSIGNAL removed = _AUDIOSIGNAL_Create(clipFormat(signal), std::move(plan.removed));
        if (removed == nullptr) return nullptr;
        if (plan.changes && !ops::commit(signal, std::move(plan.kept))) {
            AUDIOSIGNAL_Destroy(removed);
            return nullptr;
        }
        followRemoval(signal, removed, options, begin, removedFrames, 0);
        return removed;
    }
    if (!plan.changes) return clipboard;
    const int64_t clipboardFrames = gathered.empty() ? 0 : gathered.front().frames();
    for (size_t c = 0; c < gathered.size() && c < plan.removed.size(); ++c) gathered[c].append(plan.removed[c]);
    const std::vector<SpanList> before = _AUDIOSIGNAL_Channels(signal);
    if (!ops::commit(signal, std::move(plan.kept))) return nullptr;
    if (!ops::commit(clipboard, std::move(gathered))) {
        // All or nothing: put the signal's audio back.
        ops::commit(signal, before);
        return nullptr;
    }
    followRemoval(signal, clipboard, options, begin, removedFrames, clipboardFrames);
    return clipboard;
}

AUDIO_API bool AUDIOSIGNAL_ClearEx(AUDIOSIGNAL signal, uint32_t options, int64_t begin, int64_t end,
                                   double smoothSeconds)
{
    Removal plan;
    if (planRemoval(signal, options, begin, end, smoothSeconds, plan) != AUDIO_ERROR_NONE) return false;
    if (!plan.changes) return true;
    const int64_t removedFrames = plan.removed.front().frames();
    if (!ops::commit(signal, std::move(plan.kept))) return false;
    followRemoval(signal, nullptr, 0, begin, removedFrames, 0);
    return true;
}

AUDIO_API AUDIOSIGNAL AUDIOSIGNAL_CopyEx(AUDIOSIGNAL signal, int64_t begin, int64_t end)
{
    if (signal == nullptr) return nullptr;
    std::vector<SpanList> channels = _AUDIOSIGNAL_Channels(signal);
    if (channels.empty()) return nullptr;
    if (ops::clampRange(channels.front().frames(), begin, end) != AUDIO_ERROR_NONE) return nullptr;
    for (SpanList &list : channels) list = list.slice(begin, end);
    return _AUDIOSIGNAL_Create(clipFormat(signal), std::move(channels));
}

// ---- paste ------------------------------------------------------------------

AUDIO_API bool AUDIOSIGNAL_PasteEx2(AUDIOSIGNAL target, AUDIOSIGNAL source, uint32_t flags, int64_t begin,
                                    int64_t end, int64_t *pasted, uint32_t *error)
{
    (void)flags;  // the engine's own bits, passed through
    if (pasted != nullptr) *pasted = 0;
    ops::setError(error, AUDIO_ERROR_NONE);
    if (target == nullptr || source == nullptr) {
        ops::setError(error, AUDIO_ERROR_INVALID_ARGUMENT);
        return false;
    }
    const uint32_t writable = ops::checkWritable(target);
    if (writable != AUDIO_ERROR_NONE) {
        ops::setError(error, writable);
        return false;
    }
    const AUDIO_FORMAT format = AUDIOSIGNAL_GetFormat(target);
    std::vector<SpanList> channels = _AUDIOSIGNAL_Channels(target);
    if (channels.empty()) {
        ops::setError(error, AUDIO_ERROR_INVALID_ARGUMENT);
        return false;
    }
    const uint32_t badRange = ops::clampRange(channels.front().frames(), begin, end, true);
    if (badRange != AUDIO_ERROR_NONE) {
        ops::setError(error, badRange);
        return false;
    }

    std::vector<SpanList> inserted;
    uint32_t failed = AUDIO_ERROR_NONE;
    if (AUDIOSIGNAL_SampleRate(source) == format.sampleRate &&
        AUDIOSIGNAL_NumChannels(source) == format.numChannels) {
        inserted = _AUDIOSIGNAL_Channels(source);
    } else {
        // Only a conversion is long enough to report progress.
        ops::Work work(target);
        failed = ops::convertSignalTo(source, format, &work, inserted);
        if (failed == AUDIO_ERROR_NONE && !work.complete()) failed = AUDIO_ERROR_CANCELLED;
    }
    if (failed == AUDIO_ERROR_NONE && inserted.size() != channels.size()) failed = AUDIO_ERROR_INVALID_ARGUMENT;
    if (failed != AUDIO_ERROR_NONE) {
        ops::setError(error, failed);
        return false;
    }

    const int64_t length = inserted.front().frames();
    // Taken before the target changes: the source may be the target.
    const asig::RegionSnapshot pastedRegions = asig::snapshotRegions(source);
    if (length > 0 || end > begin) {
        for (size_t c = 0; c < channels.size(); ++c) channels[c].replace(begin, end, inserted[c]);
        if (!ops::commit(target, std::move(channels))) {
            ops::setError(error, AUDIO_ERROR_READ_ONLY);
            return false;
        }
        // Regions follow (region_edit.cpp): the replaced range goes, the
        // pasted audio pushes the rest right and brings its regions.
        followRemoval(target, nullptr, 0, begin, end - begin, 0);
        asig::insertRangeRegions(target, AUDIO_Sample2Time(&format, begin), AUDIO_Sample2Time(&format, length),
                                 pastedRegions);
    }
    if (pasted != nullptr) *pasted = length;
    return true;
}
