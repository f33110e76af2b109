// Helpers of the signal-operation suites: signals made from plain float
// arrays, read back as arrays, and owned by a scoped handle.
#ifndef TESTS_AUDIOSIG_OPS_HELPERS_H
#define TESTS_AUDIOSIG_OPS_HELPERS_H

#include <audioops.h>
#include <audiosignal.h>

#include "signal_p.h"
#include "storage.h"

#include <cmath>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

namespace opstest {

struct SignalDeleter {
    void operator()(AudioSignalObject *signal) const { AUDIOSIGNAL_Destroy(signal); }
};
using Signal = std::unique_ptr<AudioSignalObject, SignalDeleter>;

using Channels = std::vector<std::vector<float>>;

inline AUDIO_FORMAT floatFormat(int32_t rate, int32_t channels)
{
    AUDIO_FORMAT format = AUDIO_NullFormat();
    format.sampleRate = rate;
    format.numChannels = static_cast<int16_t>(channels);
    format.sampleKind = AUDIO_SAMPLE_FLOAT;
    format.bitsPerSample = 32;
    return format;
}

// A signal holding exactly these float samples, one array per channel.
inline Signal makeSignal(const Channels &channels, int32_t rate = 44100)
{
    std::vector<asig::SpanList> lists;
    for (const auto &samples : channels) {
        asig::SpanBuilder builder(asig::SampleType::F32);
        builder.pushFloat(samples.data(), static_cast<int64_t>(samples.size()));
        lists.push_back(builder.finish());
    }
    return Signal(_AUDIOSIGNAL_Create(floatFormat(rate, static_cast<int32_t>(channels.size())), std::move(lists)));
}

inline std::vector<float> readChannel(AUDIOSIGNAL signal, int32_t channel)
{
    std::vector<float> out(static_cast<size_t>(AUDIOSIGNAL_NumFrames(signal)));
    AUDIOSIGNAL_GetChannelSamplesEx(signal, channel, 0, static_cast<int64_t>(out.size()), out.data());
    return out;
}

inline Channels readAll(AUDIOSIGNAL signal)
{
    Channels all;
    for (int32_t c = 0; c < AUDIOSIGNAL_NumChannels(signal); ++c) all.push_back(readChannel(signal, c));
    return all;
}

// Uniform noise in [-0.9, 0.9], reproducible from `start`.
inline std::vector<float> noise(size_t frames, uint32_t start)
{
    std::mt19937 engine(start);
    std::uniform_real_distribution<float> dist(-0.9f, 0.9f);
    std::vector<float> out(frames);
    for (float &v : out) v = dist(engine);
    return out;
}

// A ramp 0, 1, 2 ... scaled so that every frame's value names its position.
inline std::vector<float> positions(size_t frames, float scale = 1e-6f)
{
    std::vector<float> out(frames);
    for (size_t i = 0; i < frames; ++i) out[i] = static_cast<float>(i) * scale;
    return out;
}

inline std::vector<float> sine(size_t frames, double hz, double rate, double amplitude = 0.5)
{
    std::vector<float> out(frames);
    for (size_t i = 0; i < frames; ++i) {
        out[i] = static_cast<float>(amplitude * std::sin(2.0 * M_PI * hz * static_cast<double>(i) / rate));
    }
    return out;
}

// Upward zero crossings: a frequency estimate that does not depend on the
// signal's code.
inline int countRisingCrossings(const std::vector<float> &x, size_t from, size_t to)
{
    int count = 0;
    for (size_t i = from + 1; i < to && i < x.size(); ++i) {
        if (x[i - 1] < 0.0f && x[i] >= 0.0f) ++count;
    }
    return count;
}

} // namespace opstest

#endif
