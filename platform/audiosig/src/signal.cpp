// The signal object: lifetime, format, change tracking, undo states, memory
// and sample access.
#include "signal_p.h"

#include <blnotify.h>
#include <blutils.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <mutex>
#include <new>
#include <unordered_set>

using asig::SpanList;

namespace asig {

uint64_t nextStamp()
{
    // Starts above 0 so that 0 can mean "never" in the engine's stamps.
    static std::atomic<uint64_t> s_counter{1};
    return s_counter.fetch_add(1) + 1;
}

} // namespace asig

struct AudioSignalState {
    AUDIO_FORMAT format;
    std::vector<SpanList> channels;
    int64_t frames;
    uint64_t activeMask;
    uint64_t time[3];
    uint32_t pendingChanges;
};

struct AudioBlocksList {
    SpanList list;
    bool active = true;
};

namespace {

using ReadLock = std::shared_lock<std::shared_mutex>;
using WriteLock = std::unique_lock<std::shared_mutex>;

uint64_t allChannels(int32_t count)
{
    return count >= 64 ? ~uint64_t(0) : ((uint64_t(1) << count) - 1);
}

bool consistent(const AUDIO_FORMAT &format, const std::vector<SpanList> &channels)
{
    if (!AUDIO_IsValidFormat(&format) || channels.size() != size_t(format.numChannels)) return false;
    for (const SpanList &channel : channels)
        if (channel.frames() != channels[0].frames()) return false;
    return true;
}

// Makes a signal object; null when out of memory.
AUDIOSIGNAL makeSignal(const AUDIO_FORMAT &format, std::vector<SpanList> channels)
{
    auto *signal = new (std::nothrow) AudioSignalObject;
    if (signal == nullptr) return nullptr;
    signal->m_format = format;
    signal->m_frames = channels.empty() ? 0 : channels[0].frames();
    signal->m_channels = std::move(channels);
    signal->m_activeMask = allChannels(format.numChannels);
    signal->m_time[AUDIOSIGNAL_STAMP_CONTENT] = asig::nextStamp();
    return signal;
}

// The channels a format text asks for, silent and of length 0.
std::vector<SpanList> emptyChannels(const AUDIO_FORMAT &format)
{
    return std::vector<SpanList>(size_t(std::max<int16_t>(format.numChannels, 0)));
}

} // namespace

// ---- internal calls ---------------------------------------------------------

AUDIOSIGNAL _AUDIOSIGNAL_Create(const AUDIO_FORMAT &format, std::vector<SpanList> channels)
{
    if (!consistent(format, channels)) return nullptr;
    try {
        return makeSignal(format, std::move(channels));
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

SpanList _AUDIOSIGNAL_Channel(AUDIOSIGNAL signal, int32_t channel)
{
    if (signal == nullptr) return {};
    const ReadLock lock(signal->m_mutex);
    if (channel < 0 || size_t(channel) >= signal->m_channels.size()) return {};
    return signal->m_channels[size_t(channel)];
}

std::vector<SpanList> _AUDIOSIGNAL_Channels(AUDIOSIGNAL signal)
{
    if (signal == nullptr) return {};
    const ReadLock lock(signal->m_mutex);
    return signal->m_channels;
}

bool _AUDIOSIGNAL_SetChannels(AUDIOSIGNAL signal, std::vector<SpanList> channels, const AUDIO_FORMAT *format)
{
    if (signal == nullptr) return false;
    std::vector<SpanList> old;  // released after the lock
    {
        const WriteLock lock(signal->m_mutex);
        const AUDIO_FORMAT newFormat = format != nullptr ? *format : signal->m_format;
        if (signal->m_readOnly || !consistent(newFormat, channels)) return false;
        if (newFormat.numChannels != signal->m_format.numChannels) {
            signal->m_activeMask = allChannels(newFormat.numChannels);
        }
        signal->m_format = newFormat;
        old.swap(signal->m_channels);
        signal->m_channels = std::move(channels);
        signal->m_frames = signal->m_channels.empty() ? 0 : signal->m_channels[0].frames();
        ++signal->m_structureVersion;
        signal->m_time[AUDIOSIGNAL_STAMP_CONTENT] = asig::nextStamp();
        signal->m_pendingChanges |= AUDIOSIGNAL_CHANGE_AUDIO;
    }
    return true;
}

int32_t _AUDIOSIGNAL_Notify(AUDIOSIGNAL signal, int32_t kind, int64_t identifier, void *arg2)
{
    void *source = nullptr;
    if (signal != nullptr) {
        const ReadLock lock(signal->m_mutex);
        source = signal->m_parent;
    }
    return BLNOTIFY_SendEvent(source, identifier, kind, signal, arg2, nullptr);
}

asig::SampleType _AUDIO_SampleTypeOf(const AUDIO_FORMAT &format)
{
    using asig::SampleType;
    if (format.sampleKind == AUDIO_SAMPLE_FLOAT) return format.bitsPerSample == 64 ? SampleType::F64 : SampleType::F32;
    switch (format.bitsPerSample) {
    case 8: return SampleType::U8;
    case 16: return SampleType::S16;
    case 24: return SampleType::S24;
    case 32: return SampleType::S32;
    default: return SampleType::F32;
    }
}

// ---- creation and lifetime --------------------------------------------------

AUDIOSIGNAL AUDIOSIGNAL_New(const char *format)
{
    AUDIO_FORMAT parsed = AUDIO_NullFormat();
    if (format != nullptr && !AUDIO_GetFormatFromString(format, &parsed)) return nullptr;
    parsed.formatTag = AUDIO_FORMATTAG_NONE;  // a new signal has no file yet
    return _AUDIOSIGNAL_Create(parsed, emptyChannels(parsed));
}

AUDIOSIGNAL AUDIOSIGNAL_CreateSilence(int64_t frames, AUDIO_FORMAT format)
{
    if (frames < 0 || !AUDIO_IsValidFormat(&format)) return nullptr;
    format.formatTag = AUDIO_FORMATTAG_NONE;
    try {
        std::vector<SpanList> channels(size_t(format.numChannels));
        if (frames > 0) {
            // One zero block serves every channel: silence holds no samples.
            const asig::BlockRef zeros = asig::Block::zeros(frames);
            for (SpanList &channel : channels) channel.append(asig::Span{zeros, 0, frames});
        }
        return makeSignal(format, std::move(channels));
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

AUDIOSIGNAL AUDIOSIGNAL_GetReference(AUDIOSIGNAL signal)
{
    if (signal == nullptr) return nullptr;
    signal->m_references.fetch_add(1);
    return signal;
}

bool AUDIOSIGNAL_Destroy(AUDIOSIGNAL signal)
{
    if (signal == nullptr) return false;
    if (signal->m_references.fetch_sub(1) == 1) delete signal;
    return true;
}

bool AUDIOSIGNAL_DestroyEx(AUDIOSIGNAL *signal)
{
    if (signal == nullptr || *signal == nullptr) return false;
    const bool ok = AUDIOSIGNAL_Destroy(*signal);
    *signal = nullptr;
    return ok;
}

AUDIOSIGNAL AUDIOSIGNAL_DuplicateEx(AUDIOSIGNAL signal, uint32_t flags)
{
    if (signal == nullptr) return nullptr;
    try {
        auto *copy = new AudioSignalObject;
        const ReadLock lock(signal->m_mutex);
        copy->m_format = signal->m_format;
        copy->m_channels = signal->m_channels;
        copy->m_frames = signal->m_frames;
        copy->m_activeMask = signal->m_activeMask;
        std::copy(std::begin(signal->m_time), std::end(signal->m_time), std::begin(copy->m_time));
        copy->m_pendingChanges = signal->m_pendingChanges;
        copy->m_sizeOnDisk = signal->m_sizeOnDisk;
        copy->m_readOnly = signal->m_readOnly;
        copy->m_label = signal->m_label;
        // Regions and tags are handles the engine keeps and edits in place,
        // so the duplicate gets region and metadata objects of its own.
        if ((flags & AUDIOSIGNAL_DUPLICATE_NO_REGIONS) == 0)
            copy->m_regions = asig::copyRegionData(signal->m_regions.get(), copy);
        if ((flags & AUDIOSIGNAL_DUPLICATE_NO_METADATA) == 0)
            copy->m_metadata = asig::copyMetadataData(signal->m_metadata.get(), copy);
        return copy;
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

// ---- parent, label, read-only -----------------------------------------------

bool AUDIOSIGNAL_SetParentObject(AUDIOSIGNAL signal, void *parent, AUDIOSIGNAL_CALLBACK callback)
{
    if (signal == nullptr) return false;
    const WriteLock lock(signal->m_mutex);
    signal->m_parent = parent;
    signal->m_callback = parent != nullptr ? callback : nullptr;
    return true;
}

void *AUDIOSIGNAL_GetParentObject(AUDIOSIGNAL signal)
{
    if (signal == nullptr) return nullptr;
    const ReadLock lock(signal->m_mutex);
    return signal->m_parent;
}

bool AUDIOSIGNAL_CallParent(AUDIOSIGNAL signal, int32_t kind, void *arg1, void *arg2)
{
    if (signal == nullptr) return false;
    void *parent;
    AUDIOSIGNAL_CALLBACK callback;
    {
        const ReadLock lock(signal->m_mutex);
        parent = signal->m_parent;
        callback = signal->m_callback;
    }
    return callback == nullptr || callback(parent, kind, arg1, arg2);
}

bool AUDIOSIGNAL_SetReadOnly(AUDIOSIGNAL signal, bool readOnly)
{
    if (signal == nullptr) return false;
    const WriteLock lock(signal->m_mutex);
    signal->m_readOnly = readOnly;
    return true;
}

bool AUDIOSIGNAL_IsReadOnly(AUDIOSIGNAL signal)
{
    if (signal == nullptr) return false;
    const ReadLock lock(signal->m_mutex);
    return signal->m_readOnly;
}

const char *AUDIOSIGNAL_SignalLabel(AUDIOSIGNAL signal)
{
    if (signal == nullptr) return nullptr;
    const ReadLock lock(signal->m_mutex);
    return signal->m_label.c_str();
}

bool AUDIOSIGNAL_SetSignalLabel(AUDIOSIGNAL signal, const char *label)
{
    if (signal == nullptr) return false;
    try {
        const WriteLock lock(signal->m_mutex);
        signal->m_label = label != nullptr ? label : "";
    } catch (const std::bad_alloc &) {
        return false;
    }
    return true;
}

// ---- format -----------------------------------------------------------------

AUDIO_FORMAT AUDIOSIGNAL_GetFormat(AUDIOSIGNAL signal)
{
    if (signal == nullptr) return AUDIO_NullFormat();
    const ReadLock lock(signal->m_mutex);
    return signal->m_format;
}

const AUDIO_FORMAT *AUDIOSIGNAL_GetFormatRef(AUDIOSIGNAL signal)
{
    return signal != nullptr ? &signal->m_format : nullptr;
}

int64_t AUDIOSIGNAL_NumFrames(AUDIOSIGNAL signal)
{
    if (signal == nullptr) return 0;
    const ReadLock lock(signal->m_mutex);
    return signal->m_frames;
}

int32_t AUDIOSIGNAL_NumChannels(AUDIOSIGNAL signal)
{
    if (signal == nullptr) return 0;
    const ReadLock lock(signal->m_mutex);
    return signal->m_format.numChannels;
}

int32_t AUDIOSIGNAL_SampleRate(AUDIOSIGNAL signal)
{
    if (signal == nullptr) return 0;
    const ReadLock lock(signal->m_mutex);
    return signal->m_format.sampleRate;
}

bool AUDIOSIGNAL_ChannelActive(AUDIOSIGNAL signal, int32_t channel)
{
    if (signal == nullptr || channel < 0 || channel >= 64) return false;
    const ReadLock lock(signal->m_mutex);
    return channel < signal->m_format.numChannels && (signal->m_activeMask >> channel & 1) != 0;
}

uint64_t AUDIOSIGNAL_GetActiveChannelMask(AUDIOSIGNAL signal)
{
    if (signal == nullptr) return 0;
    const ReadLock lock(signal->m_mutex);
    return signal->m_activeMask;
}

bool AUDIOSIGNAL_SetActiveChannelMask(AUDIOSIGNAL signal, uint64_t mask)
{
    if (signal == nullptr) return false;
    const WriteLock lock(signal->m_mutex);
    mask &= allChannels(signal->m_format.numChannels);
    if (mask == 0) return false;
    signal->m_activeMask = mask;
    return true;
}

int32_t AUDIOSIGNAL_NumActiveChannels(AUDIOSIGNAL signal)
{
    if (signal == nullptr) return 0;
    const ReadLock lock(signal->m_mutex);
    return int32_t(__builtin_popcountll(signal->m_activeMask));
}

// ---- change tracking ----------------------------------------------------------

uint64_t AUDIOSIGNAL_GetTimeStamp(AUDIOSIGNAL signal, int32_t kind)
{
    return AUDIOSIGNAL_GetTime(signal, kind);
}

uint64_t AUDIOSIGNAL_GetTime(AUDIOSIGNAL signal, int32_t index)
{
    if (signal == nullptr || index < 0 || index > 2) return 0;
    const ReadLock lock(signal->m_mutex);
    return signal->m_time[index];
}

bool AUDIOSIGNAL_SetTime(AUDIOSIGNAL signal, int32_t index, uint64_t value)
{
    if (signal == nullptr || index < 0 || index > 2) return false;
    const WriteLock lock(signal->m_mutex);
    signal->m_time[index] = value;
    // Putting the content stamp back to the saved one (an undo to the saved
    // version) leaves no audio change pending.
    if (signal->m_time[AUDIOSIGNAL_STAMP_CONTENT] == signal->m_time[AUDIOSIGNAL_STAMP_SAVED])
        signal->m_pendingChanges &= ~uint32_t(AUDIOSIGNAL_CHANGE_AUDIO);
    else
        signal->m_pendingChanges |= AUDIOSIGNAL_CHANGE_AUDIO;
    return true;
}

bool AUDIOSIGNAL_HasChangesEx(AUDIOSIGNAL signal, uint32_t mask)
{
    if (signal == nullptr) return false;
    const ReadLock lock(signal->m_mutex);
    return (signal->m_pendingChanges & mask) != 0;
}

bool AUDIOSIGNAL_NotifyChange(AUDIOSIGNAL signal, uint32_t mask)
{
    if (signal == nullptr) return false;
    {
        const WriteLock lock(signal->m_mutex);
        signal->m_pendingChanges |= mask;
        signal->m_time[AUDIOSIGNAL_STAMP_CONTENT] = asig::nextStamp();
    }
    if ((mask & AUDIOSIGNAL_CHANGE_REGIONS) != 0) _AUDIOSIGNAL_Notify(signal, AUDIO_NOTIFY_REGION_CHANGED, 0, nullptr);
    return true;
}

bool AUDIOSIGNAL_MarkSaved(AUDIOSIGNAL signal, uint64_t fileStamp, int64_t sizeOnDisk)
{
    if (signal == nullptr) return false;
    const WriteLock lock(signal->m_mutex);
    signal->m_time[AUDIOSIGNAL_STAMP_SAVED] = signal->m_time[AUDIOSIGNAL_STAMP_CONTENT];
    signal->m_time[AUDIOSIGNAL_STAMP_FILE] = fileStamp;
    signal->m_pendingChanges = 0;
    signal->m_sizeOnDisk = sizeOnDisk;
    return true;
}

// ---- undo support -------------------------------------------------------------

AUDIOSIGNAL_STATE AUDIOSIGNAL_SaveState(AUDIOSIGNAL signal)
{
    if (signal == nullptr) return nullptr;
    try {
        auto *state = new AudioSignalState;
        const ReadLock lock(signal->m_mutex);
        state->format = signal->m_format;
        state->channels = signal->m_channels;
        state->frames = signal->m_frames;
        state->activeMask = signal->m_activeMask;
        std::copy(std::begin(signal->m_time), std::end(signal->m_time), std::begin(state->time));
        state->pendingChanges = signal->m_pendingChanges;
        return state;
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

bool AUDIOSIGNAL_RestoreState(AUDIOSIGNAL signal, AUDIOSIGNAL_STATE state)
{
    if (signal == nullptr || state == nullptr) return false;
    std::vector<SpanList> old;
    try {
        std::vector<SpanList> channels = state->channels;
        const WriteLock lock(signal->m_mutex);
        old.swap(signal->m_channels);
        signal->m_channels = std::move(channels);
        signal->m_format = state->format;
        signal->m_frames = state->frames;
        signal->m_activeMask = state->activeMask;
        std::copy(std::begin(state->time), std::end(state->time), std::begin(signal->m_time));
        signal->m_pendingChanges = state->pendingChanges;
        ++signal->m_structureVersion;
    } catch (const std::bad_alloc &) {
        return false;
    }
    return true;
}

bool AUDIOSIGNAL_ClearState(AUDIOSIGNAL_STATE state)
{
    if (state == nullptr) return false;
    delete state;
    return true;
}

namespace {

AUDIOBLOCKSLIST makeList(const SpanList &list)
{
    try {
        return new AudioBlocksList{list, true};
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

} // namespace

AUDIOBLOCKSLIST AUDIOSIGNAL_GetBlocksList(AUDIOSIGNAL signal, int32_t channel)
{
    if (signal == nullptr) return nullptr;
    const ReadLock lock(signal->m_mutex);
    if (channel < 0 || size_t(channel) >= signal->m_channels.size()) return nullptr;
    return makeList(signal->m_channels[size_t(channel)]);
}

AUDIOBLOCKSLIST AUDIOSIGNAL_StateBlocksList(AUDIOSIGNAL_STATE state, int32_t channel)
{
    if (state == nullptr || channel < 0 || size_t(channel) >= state->channels.size()) return nullptr;
    return makeList(state->channels[size_t(channel)]);
}

bool AUDIOBLOCKSLIST_Desactive(AUDIOBLOCKSLIST list)
{
    if (list == nullptr) return false;
    list->active = false;
    return true;
}

bool AUDIOBLOCKSLIST_IsActive(AUDIOBLOCKSLIST list)
{
    return list != nullptr && list->active;
}

bool AUDIOBLOCKSLIST_Equal(AUDIOBLOCKSLIST a, AUDIOBLOCKSLIST b)
{
    if (a == nullptr || b == nullptr) return false;
    return a->list.sameSpans(b->list);
}

int64_t AUDIOBLOCKSLIST_NumFrames(AUDIOBLOCKSLIST list)
{
    return list != nullptr ? list->list.frames() : 0;
}

bool AUDIOBLOCKSLIST_Destroy(AUDIOBLOCKSLIST list)
{
    if (list == nullptr) return false;
    delete list;
    return true;
}

// ---- memory -------------------------------------------------------------------

uint64_t AUDIOSIGNAL_SizeInMemory(AUDIOSIGNAL signal)
{
    if (signal == nullptr) return 0;
    std::vector<SpanList> channels = _AUDIOSIGNAL_Channels(signal);
    std::vector<const asig::Block *> blocks;
    uint64_t bytes = sizeof(AudioSignalObject);
    for (const SpanList &channel : channels) bytes += channel.collect(blocks);
    std::sort(blocks.begin(), blocks.end());
    blocks.erase(std::unique(blocks.begin(), blocks.end()), blocks.end());
    for (const asig::Block *block : blocks) bytes += block->memoryBytes();
    return bytes;
}

bool AUDIOSIGNAL_FreeDataMemory(AUDIOSIGNAL signal, bool /*all*/)
{
    // Nothing is cached beside the blocks: their summaries are part of them
    // and cannot be rebuilt without reading every sample again.
    return signal != nullptr;
}

int64_t AUDIOSIGNAL_SizeInDisk(AUDIOSIGNAL signal)
{
    if (signal == nullptr) return -1;
    const ReadLock lock(signal->m_mutex);
    return signal->m_sizeOnDisk;
}

// ---- samples ------------------------------------------------------------------

int64_t AUDIOSIGNAL_GetChannelSamplesEx(AUDIOSIGNAL signal, int32_t channel, int64_t from, int64_t count,
                                        float *samples)
{
    if (signal == nullptr || samples == nullptr || count < 0) return -1;
    const ReadLock lock(signal->m_mutex);
    if (channel < 0 || size_t(channel) >= signal->m_channels.size()) return -1;
    const SpanList &list = signal->m_channels[size_t(channel)];
    list.readFloat(from, count, samples);
    return std::max<int64_t>(0, std::min(from + count, list.frames()) - std::max<int64_t>(from, 0));
}

bool AUDIOSIGNAL_AppendSamples(AUDIOSIGNAL signal, const float *interleaved, int64_t frames)
{
    if (signal == nullptr || interleaved == nullptr || frames < 0) return false;
    if (frames == 0) return true;
    std::vector<SpanList> channels;
    AUDIO_FORMAT format;
    {
        const ReadLock lock(signal->m_mutex);
        if (signal->m_readOnly) return false;
        channels = signal->m_channels;
        format = signal->m_format;
    }
    try {
        const auto count = size_t(format.numChannels);
        std::vector<float> one(size_t(std::min(frames, asig::kBlockFrames)));
        for (size_t c = 0; c < count; ++c) {
            asig::SpanBuilder builder(_AUDIO_SampleTypeOf(format));
            for (int64_t at = 0; at < frames; at += int64_t(one.size())) {
                const int64_t n = std::min(frames - at, int64_t(one.size()));
                for (int64_t i = 0; i < n; ++i) one[size_t(i)] = interleaved[size_t(at + i) * count + c];
                builder.pushFloat(one.data(), n);
            }
            channels[c].append(builder.finish());
        }
    } catch (const std::bad_alloc &) {
        return false;
    }
    return _AUDIOSIGNAL_SetChannels(signal, std::move(channels), nullptr);
}

double AUDIOSIGNAL_GetSample(AUDIOSIGNAL signal, int32_t channel, int64_t frame)
{
    if (signal == nullptr) return 0.0;
    const ReadLock lock(signal->m_mutex);
    if (channel < 0 || size_t(channel) >= signal->m_channels.size()) return 0.0;
    return signal->m_channels[size_t(channel)].sample(frame);
}

bool AUDIOSIGNAL_SetSample(AUDIOSIGNAL signal, int32_t channel, int64_t frame, double value)
{
    if (signal == nullptr) return false;
    std::vector<SpanList> channels;
    {
        const ReadLock lock(signal->m_mutex);
        if (signal->m_readOnly || channel < 0 || size_t(channel) >= signal->m_channels.size() || frame < 0
            || frame >= signal->m_frames)
            return false;
        channels = signal->m_channels;
    }
    try {
        const float sample = float(value);
        channels[size_t(channel)].rewrite(frame, frame + 1,
                                          [sample](int64_t, int64_t, float *out) { out[0] = sample; });
    } catch (const std::bad_alloc &) {
        return false;
    }
    return _AUDIOSIGNAL_SetChannels(signal, std::move(channels), nullptr);
}
