// Shared pieces of the signal operations: see ops_common.h.
#include "ops_common.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace asig::ops {

namespace {

// Frames rewritten between two looks at the progress handler: 16 blocks
// (a million frames, some milliseconds of work) keeps a cancel prompt while
// the reports stay rare next to the work. A whole number of blocks, so that
// the new blocks fall where one rewrite of the whole range would put them.
constexpr int64_t kStepFrames = 16 * kBlockFrames;

} // namespace

uint32_t clampRange(int64_t length, int64_t &begin, int64_t &end, bool maxIsEnd)
{
    if (maxIsEnd && begin == INT64_MAX) begin = length;
    if (end < begin) return AUDIO_ERROR_INVALID_ARGUMENT;
    if (begin < 0 || begin > length) return AUDIO_ERROR_OUT_OF_RANGE;
    end = std::min(end, length);
    return AUDIO_ERROR_NONE;
}

uint32_t checkWritable(AUDIOSIGNAL signal)
{
    if (signal == nullptr) return AUDIO_ERROR_INVALID_ARGUMENT;
    if (AUDIOSIGNAL_IsReadOnly(signal)) return AUDIO_ERROR_READ_ONLY;
    return AUDIO_ERROR_NONE;
}

std::vector<int32_t> activeChannels(AUDIOSIGNAL signal, int32_t count)
{
    const uint64_t mask = AUDIOSIGNAL_GetActiveChannelMask(signal);
    std::vector<int32_t> channels;
    for (int32_t c = 0; c < count && c < 64; ++c) {
        if ((mask >> c) & 1u) channels.push_back(c);
    }
    return channels;
}

SpanList silentList(int64_t frames)
{
    // One silent block of the whole length: it holds no samples, so any
    // length costs one span.
    SpanList list;
    if (frames > 0) list.append(Span{Block::zeros(frames), 0, frames});
    return list;
}

Work::Work(AUDIOSIGNAL signal, int32_t stages) : m_stages(std::max(1, stages))
{
    if (signal != nullptr) {
        m_report = std::make_unique<ProgressReport>(signal, AUDIOSIGNAL_GetParentObject(signal),
                                                    ProgressReport::Family::Process);
    }
}

Work::~Work()
{
    finish();
}

void Work::beginStage(double total)
{
    m_stage = std::min(m_stage + 1, m_stages - 1);
    m_total = total > 0.0 ? total : 1.0;
    m_done = 0.0;
}

bool Work::advance(double amount)
{
    m_done += amount;
    if (m_report != nullptr && !m_cancelled) {
        const double inStage = std::min(1.0, m_done / m_total);
        const double stage = static_cast<double>(std::max(0, m_stage));
        m_reported = (stage + inStage) / static_cast<double>(m_stages);
        m_cancelled = !m_report->update(m_reported);
    }
    return !m_cancelled;
}

bool Work::complete()
{
    if (m_report != nullptr && !m_cancelled && m_reported < 1.0) {
        m_reported = 1.0;
        m_cancelled = !m_report->update(1.0);
    }
    return !m_cancelled;
}

void Work::finish()
{
    if (m_report != nullptr) {
        m_report->finish(m_cancelled);
        m_report.reset();
    }
}

bool produceRange(SpanList &list, int64_t begin, int64_t end, const Producer &produce, Work *work)
{
    for (int64_t from = begin; from < end; from += kStepFrames) {
        const int64_t to = std::min(end, from + kStepFrames);
        list.rewrite(from, to, produce);
        if (work != nullptr && !work->advance(static_cast<double>(to - from))) return false;
    }
    return true;
}

bool mapRange(SpanList &list, int64_t begin, int64_t end, const SampleMap &map, Work *work)
{
    // The producer reads the list as it was: the list itself changes while
    // it is rewritten.
    const SpanList original = list;
    return produceRange(
        list, begin, end,
        [&](int64_t position, int64_t count, float *out) {
            original.readFloat(position, count, out);
            map(position, count, out);
        },
        work);
}

SpanList produceList(int64_t frames, const Producer &produce, Work *work)
{
    SpanBuilder builder(SampleType::F32);
    std::vector<float> buffer(static_cast<size_t>(std::min(frames, kBlockFrames)));
    for (int64_t position = 0; position < frames; position += kBlockFrames) {
        const int64_t count = std::min(kBlockFrames, frames - position);
        produce(position, count, buffer.data());
        // Floats are the builder's native samples: no per-sample conversion.
        builder.pushNative(buffer.data(), count, sizeof(float));
        if (work != nullptr && !work->advance(static_cast<double>(count))) return SpanList();
    }
    return builder.finish();
}

bool commit(AUDIOSIGNAL signal, std::vector<SpanList> channels, const AUDIO_FORMAT *format)
{
    return _AUDIOSIGNAL_SetChannels(signal, std::move(channels), format);
}

AUDIOSIGNAL duplicateWith(AUDIOSIGNAL signal, std::vector<SpanList> channels, const AUDIO_FORMAT *format,
                          uint32_t *error)
{
    AUDIOSIGNAL result = AUDIOSIGNAL_DuplicateEx(signal, 0);
    if (result == nullptr) {
        setError(error, AUDIO_ERROR_OUT_OF_MEMORY);
        return nullptr;
    }
    AUDIOSIGNAL_SetReadOnly(result, false);
    if (!commit(result, std::move(channels), format)) {
        AUDIOSIGNAL_Destroy(result);
        setError(error, AUDIO_ERROR_OUT_OF_MEMORY);
        return nullptr;
    }
    return result;
}

} // namespace asig::ops
