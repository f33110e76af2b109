// Readers of a signal while another thread changes it; run under
// ThreadSanitizer in CI.
#include <audiosignal.h>

#include "signal_p.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

TEST(AudioSignalThreads, DisplayReadsRaceWithChangesSafely)
{
    AUDIO_FORMAT format = AUDIO_NullFormat();
    format.numChannels = 2;
    std::vector<float> ramp(size_t(3 * asig::kBlockFrames));
    for (size_t i = 0; i < ramp.size(); ++i) ramp[i] = float(i % 1000) / 1000.0f;
    std::vector<asig::SpanList> channels;
    for (int c = 0; c < 2; ++c) {
        asig::SpanBuilder builder(asig::SampleType::F32);
        builder.pushNative(ramp.data(), int64_t(ramp.size()), 4);
        channels.push_back(builder.finish());
    }
    AUDIOSIGNAL signal = _AUDIOSIGNAL_Create(format, std::move(channels));
    ASSERT_NE(signal, nullptr);

    std::atomic<bool> stop{false};
    std::vector<std::thread> readers;
    for (int t = 0; t < 2; ++t) {
        readers.emplace_back([&, t] {
            while (!stop.load()) {
                AUDIOPOINTER p;
                if (!AUDIOSIGNAL_InitAudioPointer(signal, t, 0, &p)) continue;
                for (int column = 0; column < 64; ++column) {
                    float lo, hi;
                    if (AUDIOSIGNAL_DisplayMinMaxFromAudioPointer(&p, 3000, &lo, &hi)) {
                        EXPECT_LE(lo, hi);
                        EXPECT_GE(lo, -1.0f);
                        EXPECT_LE(hi, 1.0f);
                    }
                }
                AUDIOSIGNAL copy = AUDIOSIGNAL_DuplicateEx(signal, 0);
                AUDIOSIGNAL_Destroy(copy);
            }
        });
    }
    // The writer (no ASSERT while the readers run: they must be joined):
    // single samples, and whole channel swaps as edits make them.
    for (int i = 0; i < 300; ++i) {
        EXPECT_TRUE(AUDIOSIGNAL_SetSample(signal, i % 2, (i * 7919) % AUDIOSIGNAL_NumFrames(signal), -0.5));
        std::vector<asig::SpanList> next = _AUDIOSIGNAL_Channels(signal);
        for (auto &channel : next) channel.erase(0, 10);
        EXPECT_TRUE(_AUDIOSIGNAL_SetChannels(signal, std::move(next), nullptr));
    }
    stop = true;
    for (auto &reader : readers) reader.join();
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(signal), 3 * asig::kBlockFrames - 3000);
    AUDIOSIGNAL_Destroy(signal);
}

} // namespace
