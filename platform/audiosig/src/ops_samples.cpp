// Sample transforms (silence, invert, smooth, reverse, gain and offset, DC
// removal) and the channel and rate edits that only move lists around.
#include "audioops.h"
#include "ops_common.h"

#include <algorithm>
#include <cmath>
#include <vector>

using namespace asig;

namespace {

bool finiteTable(const double *values)
{
    if (values == nullptr) return true;
    return std::all_of(values, values + AUDIO_MAX_CHANNELS, [](double v) { return std::isfinite(v); });
}

double slot(const double *values, int32_t channel, double fallback)
{
    return values != nullptr ? values[channel] : fallback;
}

} // namespace

// ---- silence, invert, smooth, reverse ---------------------------------------

AUDIO_API bool AUDIOSIGNAL_SilenceEx(AUDIOSIGNAL signal, uint32_t options, int64_t begin, int64_t end)
{
    (void)options;
    return ops::editActiveChannels(signal, begin, end, [](SpanList &list, int32_t, int64_t from, int64_t to) {
        list.replace(from, to, ops::silentList(to - from));
        return true;
    });
}

AUDIO_API bool AUDIOSIGNAL_InvertEx(AUDIOSIGNAL signal, uint32_t options, int64_t begin, int64_t end)
{
    (void)options;
    return ops::editActiveChannels(signal, begin, end, [](SpanList &list, int32_t, int64_t from, int64_t to) {
        return ops::mapRange(list, from, to, [](int64_t, int64_t count, float *samples) {
            for (int64_t i = 0; i < count; ++i) samples[i] = -samples[i];
        });
    });
}

AUDIO_API bool AUDIOSIGNAL_SmoothEx(AUDIOSIGNAL signal, uint32_t options, int64_t begin, int64_t end)
{
    (void)options;
    return ops::editActiveChannels(signal, begin, end, [](SpanList &list, int32_t, int64_t from, int64_t to) {
        const SpanList original = list;
        const int64_t length = original.frames();
        std::vector<float> window;
        return ops::produceRange(list, from, to, [&](int64_t position, int64_t count, float *out) {
            // The frames of the chunk with one neighbour on each side, read
            // from the unchanged list; past the signal's ends the end frame
            // repeats, so that a constant level stays constant.
            window.resize(static_cast<size_t>(count + 2));
            original.readFloat(position - 1, count + 2, window.data());
            if (position == 0) window[0] = window[1];
            if (position + count == length) window[static_cast<size_t>(count + 1)] = window[static_cast<size_t>(count)];
            for (int64_t i = 0; i < count; ++i) {
                const auto k = static_cast<size_t>(i);
                out[i] = 0.25f * window[k] + 0.5f * window[k + 1] + 0.25f * window[k + 2];
            }
        });
    });
}

AUDIO_API bool AUDIOSIGNAL_ReverseEx(AUDIOSIGNAL signal, uint32_t options, int64_t begin, int64_t end)
{
    (void)options;
    return ops::editActiveChannels(signal, begin, end, [](SpanList &list, int32_t, int64_t from, int64_t to) {
        const SpanList original = list;
        return ops::produceRange(list, from, to, [&](int64_t position, int64_t count, float *out) {
            // Frame p of the result is frame from + to - 1 - p of the original.
            original.readFloat(from + to - position - count, count, out);
            std::reverse(out, out + count);
        });
    });
}

// ---- gain and offset --------------------------------------------------------

AUDIO_API bool AUDIOSIGNAL_ApplyLinearTransform(AUDIOSIGNAL signal, const double *gains, const double *offsets,
                                                int64_t begin, int64_t end)
{
    if (gains == nullptr || !finiteTable(gains) || !finiteTable(offsets)) return false;
    return ops::editActiveChannels(signal, begin, end, [&](SpanList &list, int32_t c, int64_t from, int64_t to) {
        const double gain = gains[c];
        const double offset = slot(offsets, c, 0.0);
        if (gain == 1.0 && offset == 0.0) return false;
        return ops::mapRange(list, from, to, [&](int64_t, int64_t count, float *samples) {
            for (int64_t i = 0; i < count; ++i) samples[i] = static_cast<float>(gain * samples[i] + offset);
        });
    });
}

AUDIO_API bool AUDIOSIGNAL_ApplyLinearEffect(AUDIOSIGNAL signal, const double *startGains, const double *endGains,
                                             const double *startOffsets, const double *endOffsets, int64_t begin,
                                             int64_t end)
{
    if (startGains == nullptr || !finiteTable(startGains) || !finiteTable(endGains) ||
        !finiteTable(startOffsets) || !finiteTable(endOffsets)) {
        return false;
    }
    return ops::editActiveChannels(signal, begin, end, [&](SpanList &list, int32_t c, int64_t from, int64_t to) {
        const double g0 = startGains[c];
        const double g1 = slot(endGains, c, g0);
        const double o0 = slot(startOffsets, c, 0.0);
        const double o1 = slot(endOffsets, c, o0);
        if (g0 == 1.0 && g1 == 1.0 && o0 == 0.0 && o1 == 0.0) return false;
        const int64_t frames = to - from;
        return ops::mapRange(list, from, to, [&](int64_t position, int64_t count, float *samples) {
            for (int64_t i = 0; i < count; ++i) {
                // Weights (1 - t, t) make both ends exact.
                const double t = ops::fadeProgress(position + i - from, frames);
                const double gain = g0 * (1.0 - t) + g1 * t;
                const double offset = o0 * (1.0 - t) + o1 * t;
                samples[i] = static_cast<float>(gain * samples[i] + offset);
            }
        });
    });
}

AUDIO_API double AUDIOSIGNAL_NormalizationGain(double peak, double target)
{
    if (!(peak > 0.0) || !std::isfinite(peak) || !std::isfinite(target)) return 1.0;
    return target / peak;
}

AUDIO_API bool AUDIOSIGNAL_RemoveDC(AUDIOSIGNAL signal, int64_t begin, int64_t end)
{
    return ops::editActiveChannels(signal, begin, end, [](SpanList &list, int32_t, int64_t from, int64_t to) {
        double sum = 0.0;
        std::vector<float> buffer(static_cast<size_t>(std::min(to - from, kBlockFrames)));
        for (int64_t position = from; position < to; position += kBlockFrames) {
            const int64_t count = std::min(kBlockFrames, to - position);
            list.readFloat(position, count, buffer.data());
            for (int64_t i = 0; i < count; ++i) sum += buffer[static_cast<size_t>(i)];
        }
        const double mean = sum / static_cast<double>(to - from);
        if (mean == 0.0) return false;
        return ops::mapRange(list, from, to, [&](int64_t, int64_t count, float *samples) {
            for (int64_t i = 0; i < count; ++i) samples[i] = static_cast<float>(samples[i] - mean);
        });
    });
}

// ---- channels and rate ------------------------------------------------------

AUDIO_API bool AUDIOSIGNAL_SwapChannels(AUDIOSIGNAL signal)
{
    if (ops::checkWritable(signal) != AUDIO_ERROR_NONE) return false;
    std::vector<SpanList> channels = _AUDIOSIGNAL_Channels(signal);
    if (channels.size() < 2) return false;
    std::swap(channels[0], channels[1]);
    return ops::commit(signal, std::move(channels));
}

AUDIO_API bool AUDIOSIGNAL_SwapChannelsEx(AUDIOSIGNAL signal, int64_t begin, int64_t end)
{
    if (ops::checkWritable(signal) != AUDIO_ERROR_NONE) return false;
    std::vector<SpanList> channels = _AUDIOSIGNAL_Channels(signal);
    if (channels.size() < 2) return false;
    if (ops::clampRange(channels.front().frames(), begin, end) != AUDIO_ERROR_NONE) return false;
    if (end == begin) return true;
    const SpanList first = channels[0].slice(begin, end);
    channels[0].replace(begin, end, channels[1].slice(begin, end));
    channels[1].replace(begin, end, first);
    return ops::commit(signal, std::move(channels));
}

AUDIO_API bool AUDIOSIGNAL_SetSampleRate(AUDIOSIGNAL signal, int32_t rate)
{
    if (rate < 1 || ops::checkWritable(signal) != AUDIO_ERROR_NONE) return false;
    AUDIO_FORMAT format = AUDIOSIGNAL_GetFormat(signal);
    if (format.sampleRate == rate) return true;
    format.sampleRate = rate;
    return ops::commit(signal, _AUDIOSIGNAL_Channels(signal), &format);
}
