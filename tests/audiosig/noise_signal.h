// A stereo signal of 16-bit noise, made straight from blocks, for suites
// that need audio with the width and block structure of a read file.
#ifndef TESTS_AUDIOSIG_NOISE_SIGNAL_H
#define TESTS_AUDIOSIG_NOISE_SIGNAL_H

#include <audiosignal.h>

#include "signal_p.h"
#include "storage.h"

#include <random>
#include <vector>

// Left and right differ. With `reference`, the samples as floats are kept
// there, one array per channel.
inline AUDIOSIGNAL makeNoise16(int64_t frames, int32_t rate = 44100, unsigned start = 5,
                               std::vector<std::vector<float>> *reference = nullptr)
{
    AUDIO_FORMAT format = AUDIO_NullFormat();
    format.sampleRate = rate;
    format.numChannels = 2;
    std::mt19937 rng(start);
    std::uniform_int_distribution<int> dist(-32768, 32767);
    std::vector<asig::SpanList> channels;
    for (int c = 0; c < 2; ++c) {
        std::vector<int16_t> pcm(static_cast<size_t>(frames));
        for (auto &v : pcm) v = int16_t(dist(rng));
        asig::SpanBuilder builder(asig::SampleType::S16);
        builder.pushNative(pcm.data(), frames, 2);
        channels.push_back(builder.finish());
        if (reference != nullptr) {
            reference->emplace_back(pcm.size());
            for (size_t i = 0; i < pcm.size(); ++i) reference->back()[i] = float(pcm[i]) / 32768.0f;
        }
    }
    return _AUDIOSIGNAL_Create(format, std::move(channels));
}

#endif
