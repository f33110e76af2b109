// document_fixture.h: documents built from synthetic signals, for the
// engine's test suites.
#pragma once

#include <cmath>
#include <string>
#include <vector>

#include "audiosignal.h"
#include "tavoaudio.h"

namespace tavotest {

// A signal of `seconds` of a 441 Hz sine at half scale in every channel.
inline AUDIOSIGNAL MakeSineSignal(int32_t rate, int32_t channels, double seconds)
{
    std::string format = "AUTO[sr=" + std::to_string(rate) + ",nc=" + std::to_string(channels) + "]";
    AUDIOSIGNAL signal = AUDIOSIGNAL_New(format.c_str());
    if (signal == nullptr) return nullptr;
    const int64_t frames = static_cast<int64_t>(std::llround(seconds * rate));
    std::vector<float> samples(static_cast<size_t>(frames) * static_cast<size_t>(channels));
    for (int64_t i = 0; i < frames; ++i) {
        const float v = 0.5f * static_cast<float>(std::sin(2.0 * M_PI * 441.0 * static_cast<double>(i) / rate));
        for (int32_t c = 0; c < channels; ++c) samples[static_cast<size_t>(i * channels + c)] = v;
    }
    if (frames > 0 && !AUDIOSIGNAL_AppendSamples(signal, samples.data(), frames)) {
        AUDIOSIGNAL_Destroy(signal);
        return nullptr;
    }
    return signal;
}

// A document that owns a fresh sine signal (it counts as changed).
inline TAVOAUDIO MakeSineDocument(int32_t rate, int32_t channels, double seconds)
{
    AUDIOSIGNAL signal = MakeSineSignal(rate, channels, seconds);
    if (signal == nullptr) return nullptr;
    TAVOAUDIO doc = TAVOAUDIO_NewFromSignalEx(signal, false, 0);
    if (doc == nullptr) AUDIOSIGNAL_Destroy(signal);
    return doc;
}

}  // namespace tavotest
