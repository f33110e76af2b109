// Shared pieces of the signal operations (ops_*.cpp): range checks, the
// rewrite of a range through a sample function, silent lists, the one-step
// commit of new channels, and progress with cancellation.
//
// The operations follow one pattern: take the channel lists
// (_AUDIOSIGNAL_Channels, cheap copies), build the new lists outside the
// signal's lock, and swap them in with one _AUDIOSIGNAL_SetChannels. A
// failure before the swap leaves the signal as it was.
#ifndef AUDIOSIG_OPS_COMMON_H
#define AUDIOSIG_OPS_COMMON_H

#include "signal_p.h"
#include "storage.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace asig::ops {

// Validates [begin, end) against a signal of `length` frames: begin in
// [0, length] (INT64_MAX stands for length when `maxIsEnd`), end >= begin,
// end clamped to length. Returns 0 or the AUDIO_ERROR_ bits of the fault.
uint32_t clampRange(int64_t length, int64_t &begin, int64_t &end, bool maxIsEnd = false);

// 0 when the signal exists and may be changed; else the error bits.
uint32_t checkWritable(AUDIOSIGNAL signal);

// Indexes of the active channels among `count` channels.
std::vector<int32_t> activeChannels(AUDIOSIGNAL signal, int32_t count);

// `frames` frames of silence in shared zero blocks (no sample memory).
SpanList silentList(int64_t frames);

// Reports progress of a long operation and remembers a cancel. The work is
// split into `stages` equal parts of the progress bar; each stage declares
// its own amount (frames, normally) with beginStage. Without a signal it
// only counts.
class Work {
public:
    explicit Work(AUDIOSIGNAL signal, int32_t stages = 1);
    ~Work();
    Work(const Work &) = delete;
    Work &operator=(const Work &) = delete;

    // Starts the next stage, of `total` units.
    void beginStage(double total);
    // Adds done work to the stage; false once a handler asked to stop.
    bool advance(double amount);
    // Reports the end of the work (when no report of it went out yet), so
    // that a handler sees every operation reach 100% and may still stop it;
    // false when it did.
    bool complete();
    bool cancelled() const { return m_cancelled; }
    // Sends the finished or cancelled report (also done by the destructor).
    void finish();

private:
    std::unique_ptr<ProgressReport> m_report;
    int32_t m_stages;
    int32_t m_stage = -1;  // index of the running stage
    double m_total = 1.0;  // units of the running stage
    double m_done = 0.0;
    double m_reported = 0.0;  // the last fraction passed to the report
    bool m_cancelled = false;
};

// Transforms samples in place: `samples` holds frames [position,
// position + count) of the old list, read as floats.
using SampleMap = std::function<void(int64_t position, int64_t count, float *samples)>;

// Rewrites [begin, end) of `list` through `map` (new float blocks for the
// range only). With `work`, advances it by the frames done and stops at a
// cancel, returning false (the list is then half done: throw it away).
bool mapRange(SpanList &list, int64_t begin, int64_t end, const SampleMap &map, Work *work = nullptr);

// Rewrites [begin, end) of `list` with samples from `produce` (absolute
// positions, as SpanList::rewrite), in steps that check `work`.
bool produceRange(SpanList &list, int64_t begin, int64_t end, const Producer &produce, Work *work = nullptr);

// A list of `frames` frames whose samples come from `produce` (positions
// from 0). Empty list on a cancel (check work->cancelled()).
SpanList produceList(int64_t frames, const Producer &produce, Work *work = nullptr);

// Swaps the new channels (and format) in; false when the signal refused.
bool commit(AUDIOSIGNAL signal, std::vector<SpanList> channels, const AUDIO_FORMAT *format = nullptr);

// A new signal: a duplicate of `signal` (label, regions, metadata) made
// writable, holding `channels` (and `format` when not null). Null, with
// AUDIO_ERROR_OUT_OF_MEMORY in *error, when it cannot be made.
AUDIOSIGNAL duplicateWith(AUDIOSIGNAL signal, std::vector<SpanList> channels, const AUDIO_FORMAT *format,
                          uint32_t *error);

// The shape of the sample transforms: validates the signal and the range,
// calls `edit(list, channel, begin, end)` for each active channel (it
// returns whether it changed the list) and swaps the new lists in. True
// without a change for an empty range or when no edit changed anything.
template <typename Edit>
bool editActiveChannels(AUDIOSIGNAL signal, int64_t begin, int64_t end, Edit &&edit)
{
    if (checkWritable(signal) != AUDIO_ERROR_NONE) return false;
    std::vector<SpanList> channels = _AUDIOSIGNAL_Channels(signal);
    if (channels.empty()) return false;
    if (clampRange(channels.front().frames(), begin, end) != AUDIO_ERROR_NONE) return false;
    if (end == begin) return true;
    bool changed = false;
    for (const int32_t c : activeChannels(signal, static_cast<int32_t>(channels.size()))) {
        if (edit(channels[static_cast<size_t>(c)], c, begin, end)) changed = true;
    }
    return !changed || commit(signal, std::move(channels));
}

// Progress along a fade of `count` frames: i / (count - 1), 0 for one frame.
inline double fadeProgress(int64_t index, int64_t count)
{
    return count > 1 ? static_cast<double>(index) / static_cast<double>(count - 1) : 0.0;
}

// Writes the error bits when the caller asked for them.
inline void setError(uint32_t *error, uint32_t bits)
{
    if (error != nullptr) *error = bits;
}

} // namespace asig::ops

#endif
