// edit_helpers.h: samples in and out of documents, for the edit tests.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "audiosignal.h"
#include "tavoaudio.h"

namespace tavotest {

// One channel of a signal as floats.
inline std::vector<float> Channel(AUDIOSIGNAL signal, int32_t channel = 0)
{
    std::vector<float> out(static_cast<size_t>(AUDIOSIGNAL_NumFrames(signal)));
    AUDIOSIGNAL_GetChannelSamplesEx(signal, channel, 0, static_cast<int64_t>(out.size()), out.data());
    return out;
}

inline std::vector<float> Slice(const std::vector<float> &v, size_t begin, size_t end)
{
    return std::vector<float>(v.begin() + static_cast<long>(begin), v.begin() + static_cast<long>(end));
}

inline std::vector<float> Join(std::initializer_list<std::vector<float>> parts)
{
    std::vector<float> out;
    for (const auto &p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

// A document whose channels hold the given samples (one vector a channel).
inline TAVOAUDIO MakeDocument(int32_t rate, const std::vector<std::vector<float>> &channels)
{
    const std::string format = "AUTO[sr=" + std::to_string(rate) + ",nc=" + std::to_string(channels.size()) + "]";
    AUDIOSIGNAL signal = AUDIOSIGNAL_New(format.c_str());
    const size_t frames = channels[0].size();
    std::vector<float> interleaved(frames * channels.size());
    for (size_t i = 0; i < frames; ++i)
        for (size_t c = 0; c < channels.size(); ++c) interleaved[i * channels.size() + c] = channels[c][i];
    if (frames > 0) AUDIOSIGNAL_AppendSamples(signal, interleaved.data(), static_cast<int64_t>(frames));
    TAVOAUDIO doc = TAVOAUDIO_NewFromSignalEx(signal, false, 0);
    if (doc == nullptr) AUDIOSIGNAL_Destroy(signal);
    return doc;
}

}  // namespace tavotest
