// Sample transforms: exact round trips (invert, reverse, swap), hand-made
// expectations for smoothing, gain ramps and DC removal, the active-channel
// rule, memory that copy on write may cost, and read-only refusals.
#include "ops_helpers.h"

#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <vector>

using namespace opstest;

namespace {

// Frames of one second at 44.1 kHz.
constexpr int64_t kSecond = 44100;

// A long stereo signal made of few distinct blocks: a read file would hold
// as many blocks, each with its own samples.
Signal longSignal(int64_t blocks)
{
    std::vector<asig::SpanList> lists(2);
    for (int c = 0; c < 2; ++c) {
        const std::vector<float> samples = noise(static_cast<size_t>(asig::kBlockFrames), 100u + c);
        const asig::BlockRef block = asig::Block::fromFloat(samples.data(), asig::kBlockFrames);
        for (int64_t b = 0; b < blocks; ++b) lists[c].append(asig::Span{block, 0, asig::kBlockFrames});
    }
    return Signal(_AUDIOSIGNAL_Create(floatFormat(44100, 2), std::move(lists)));
}

} // namespace

TEST(AudioOpsSamples, InvertAndReverseTwiceGiveTheSamplesBack)
{
    const Channels x = {noise(200000, 11), noise(200000, 12)};
    Signal s = makeSignal(x);
    ASSERT_TRUE(AUDIOSIGNAL_InvertEx(s.get(), 0, 1000, 150000));
    EXPECT_EQ(readChannel(s.get(), 0)[999], x[0][999]);
    EXPECT_EQ(readChannel(s.get(), 0)[1000], -x[0][1000]);
    ASSERT_TRUE(AUDIOSIGNAL_InvertEx(s.get(), 0, 1000, 150000));
    EXPECT_EQ(readAll(s.get()), x);  // bit-exact

    ASSERT_TRUE(AUDIOSIGNAL_ReverseEx(s.get(), 0, 70000, INT64_MAX));
    const std::vector<float> once = readChannel(s.get(), 1);
    EXPECT_EQ(once[69999], x[1][69999]);
    EXPECT_EQ(once[70000], x[1][199999]);
    EXPECT_EQ(once[199999], x[1][70000]);
    EXPECT_EQ(once[135000], x[1][134999]);  // 70000 + 199999 - 135000
    ASSERT_TRUE(AUDIOSIGNAL_ReverseEx(s.get(), 0, 70000, INT64_MAX));
    EXPECT_EQ(readAll(s.get()), x);
}

TEST(AudioOpsSamples, SilenceCostsNoSampleMemory)
{
    Signal s = makeSignal({noise(300000, 13)});
    const uint64_t before = AUDIOSIGNAL_SizeInMemory(s.get());
    ASSERT_TRUE(AUDIOSIGNAL_SilenceEx(s.get(), 0, 0, INT64_MAX));
    EXPECT_LE(AUDIOSIGNAL_SizeInMemory(s.get()), before / 100);  // only span structure is left
    for (float v : readChannel(s.get(), 0)) ASSERT_EQ(v, 0.0f);
}

TEST(AudioOpsSamples, SmoothIsAGentleLowPass)
{
    // A constant level passes; the highest frequency (+1, -1, ...) is gone
    // inside the range; frames outside are untouched.
    std::vector<float> flat(100, 0.3f);
    Signal f = makeSignal({flat});
    ASSERT_TRUE(AUDIOSIGNAL_SmoothEx(f.get(), 0, 0, INT64_MAX));
    for (float v : readChannel(f.get(), 0)) EXPECT_NEAR(v, 0.3f, 1e-7f);

    std::vector<float> alt(100);
    for (size_t i = 0; i < alt.size(); ++i) alt[i] = i % 2 == 0 ? 1.0f : -1.0f;
    Signal a = makeSignal({alt});
    ASSERT_TRUE(AUDIOSIGNAL_SmoothEx(a.get(), 0, 10, 90));
    const std::vector<float> out = readChannel(a.get(), 0);
    for (size_t i = 0; i < 10; ++i) EXPECT_EQ(out[i], alt[i]);
    for (size_t i = 10; i < 90; ++i) EXPECT_EQ(out[i], 0.0f) << i;
    for (size_t i = 90; i < 100; ++i) EXPECT_EQ(out[i], alt[i]);

    // A step is spread over three frames: 0, 0, 0.25, 0.75, 1, 1.
    Signal step = makeSignal({{0, 0, 0, 1, 1, 1}});
    ASSERT_TRUE(AUDIOSIGNAL_SmoothEx(step.get(), 0, 0, INT64_MAX));
    EXPECT_EQ(readChannel(step.get(), 0), (std::vector<float>{0, 0, 0.25f, 0.75f, 1, 1}));
}

TEST(AudioOpsSamples, LinearTransformsTouchActiveChannelsOnly)
{
    const Channels x = {noise(1000, 14), noise(1000, 15)};
    Signal s = makeSignal(x);
    ASSERT_TRUE(AUDIOSIGNAL_SetActiveChannelMask(s.get(), 0x2));
    double gains[AUDIO_MAX_CHANNELS];
    double offsets[AUDIO_MAX_CHANNELS] = {};
    for (double &g : gains) g = 0.5;
    offsets[1] = 0.25;
    ASSERT_TRUE(AUDIOSIGNAL_ApplyLinearTransform(s.get(), gains, offsets, 100, 200));
    const Channels out = readAll(s.get());
    EXPECT_EQ(out[0], x[0]);
    for (size_t i = 0; i < 1000; ++i) {
        const float expected = i >= 100 && i < 200 ? x[1][i] * 0.5f + 0.25f : x[1][i];
        ASSERT_NEAR(out[1][i], expected, 1e-6f) << i;
    }

    // A ramp from gain 0 at the first frame to gain 1 at the last.
    Signal r = makeSignal({std::vector<float>(11, 0.8f)});
    double start[AUDIO_MAX_CHANNELS] = {};
    double end[AUDIO_MAX_CHANNELS];
    for (double &g : end) g = 1.0;
    ASSERT_TRUE(AUDIOSIGNAL_ApplyLinearEffect(r.get(), start, end, nullptr, nullptr, 0, INT64_MAX));
    const std::vector<float> ramp = readChannel(r.get(), 0);
    for (size_t i = 0; i < ramp.size(); ++i) EXPECT_NEAR(ramp[i], 0.08f * static_cast<float>(i), 1e-6f);
    EXPECT_EQ(ramp.back(), 0.8f);
}

TEST(AudioOpsSamples, NormalizationGainAndDcRemoval)
{
    EXPECT_DOUBLE_EQ(AUDIOSIGNAL_NormalizationGain(0.5, 1.0), 2.0);
    EXPECT_DOUBLE_EQ(AUDIOSIGNAL_NormalizationGain(0.0, 1.0), 1.0);
    EXPECT_DOUBLE_EQ(AUDIOSIGNAL_NormalizationGain(-0.5, 1.0), 1.0);

    std::vector<float> x = sine(4410, 100.0, 44100.0, 0.25);  // ten whole periods: mean 0
    for (float &v : x) v += 0.125f;
    Signal s = makeSignal({x});
    ASSERT_TRUE(AUDIOSIGNAL_RemoveDC(s.get(), 0, INT64_MAX));
    double sum = 0.0;
    for (float v : readChannel(s.get(), 0)) sum += v;
    EXPECT_NEAR(sum / 4410.0, 0.0, 1e-6);
    EXPECT_NEAR(readChannel(s.get(), 0)[0], 0.0f, 1e-6f);
}

TEST(AudioOpsSamples, SwapsAndRateRelabel)
{
    const Channels x = {noise(500, 16), noise(500, 17)};
    Signal s = makeSignal(x);
    ASSERT_TRUE(AUDIOSIGNAL_SwapChannels(s.get()));
    EXPECT_EQ(readAll(s.get()), (Channels{x[1], x[0]}));
    ASSERT_TRUE(AUDIOSIGNAL_SwapChannels(s.get()));
    EXPECT_EQ(readAll(s.get()), x);

    ASSERT_TRUE(AUDIOSIGNAL_SwapChannelsEx(s.get(), 100, 200));
    const Channels out = readAll(s.get());
    for (size_t i = 0; i < 500; ++i) {
        const bool inside = i >= 100 && i < 200;
        ASSERT_EQ(out[0][i], inside ? x[1][i] : x[0][i]);
        ASSERT_EQ(out[1][i], inside ? x[0][i] : x[1][i]);
    }

    Signal mono = makeSignal({x[0]});
    EXPECT_FALSE(AUDIOSIGNAL_SwapChannels(mono.get()));

    ASSERT_TRUE(AUDIOSIGNAL_SetSampleRate(s.get(), 8000));
    EXPECT_EQ(AUDIOSIGNAL_SampleRate(s.get()), 8000);
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(s.get()), 500);
    EXPECT_FALSE(AUDIOSIGNAL_SetSampleRate(s.get(), 0));
}

TEST(AudioOpsSamples, DuplicatesShareBlocksAndAGainCostsAtMostTwoBlocks)
{
    // Two minutes of stereo; gain on one second of a duplicate.
    Signal original = longSignal(2 * 60 * kSecond / asig::kBlockFrames);
    const int64_t from = 60 * kSecond + 12345;
    const int64_t windowStart = from - 10;
    const int64_t windowFrames = kSecond + 20;
    auto window = [&](AUDIOSIGNAL signal) {
        std::vector<float> out(static_cast<size_t>(windowFrames));
        AUDIOSIGNAL_GetChannelSamplesEx(signal, 0, windowStart, windowFrames, out.data());
        return out;
    };
    const std::vector<float> before = window(original.get());
    const uint64_t originalSize = AUDIOSIGNAL_SizeInMemory(original.get());
    Signal dup(AUDIOSIGNAL_DuplicateEx(original.get(), 0));
    ASSERT_NE(dup, nullptr);
    const uint64_t dupSize = AUDIOSIGNAL_SizeInMemory(dup.get());

    double gains[AUDIO_MAX_CHANNELS];
    for (double &g : gains) g = 0.5;
    ASSERT_TRUE(AUDIOSIGNAL_ApplyLinearTransform(dup.get(), gains, nullptr, from, from + kSecond));
    // Two float blocks per channel at most (plus their summaries, under 2%).
    const uint64_t twoBlocks = 2 * 2 * static_cast<uint64_t>(asig::kBlockFrames) * sizeof(float);
    EXPECT_LE(AUDIOSIGNAL_SizeInMemory(dup.get()), dupSize + twoBlocks + twoBlocks / 50);

    // The original is untouched: samples and memory.
    EXPECT_EQ(AUDIOSIGNAL_SizeInMemory(original.get()), originalSize);
    EXPECT_EQ(window(original.get()), before);
    const std::vector<float> changed = window(dup.get());
    EXPECT_EQ(changed[9], before[9]);                      // from - 1
    EXPECT_FLOAT_EQ(changed[10], 0.5f * before[10]);       // from
    EXPECT_FLOAT_EQ(changed[10 + kSecond - 1], 0.5f * before[10 + kSecond - 1]);
    EXPECT_EQ(changed[10 + kSecond], before[10 + kSecond]);  // from + 1 s
}

TEST(AudioOpsSamples, ReadOnlySignalsAndBadRangesAreRefused)
{
    const Channels x = {noise(1000, 18), noise(1000, 19)};
    Signal s = makeSignal(x);
    double gains[AUDIO_MAX_CHANNELS];
    for (double &g : gains) g = 2.0;
    const std::vector<std::pair<const char *, std::function<bool(AUDIOSIGNAL, int64_t, int64_t)>>> calls = {
        {"silence", [](AUDIOSIGNAL a, int64_t b, int64_t e) { return AUDIOSIGNAL_SilenceEx(a, 0, b, e); }},
        {"invert", [](AUDIOSIGNAL a, int64_t b, int64_t e) { return AUDIOSIGNAL_InvertEx(a, 0, b, e); }},
        {"smooth", [](AUDIOSIGNAL a, int64_t b, int64_t e) { return AUDIOSIGNAL_SmoothEx(a, 0, b, e); }},
        {"reverse", [](AUDIOSIGNAL a, int64_t b, int64_t e) { return AUDIOSIGNAL_ReverseEx(a, 0, b, e); }},
        {"gain",
         [&](AUDIOSIGNAL a, int64_t b, int64_t e) { return AUDIOSIGNAL_ApplyLinearTransform(a, gains, nullptr, b, e); }},
        {"ramp",
         [&](AUDIOSIGNAL a, int64_t b, int64_t e) {
             return AUDIOSIGNAL_ApplyLinearEffect(a, gains, nullptr, nullptr, nullptr, b, e);
         }},
        {"dc", [](AUDIOSIGNAL a, int64_t b, int64_t e) { return AUDIOSIGNAL_RemoveDC(a, b, e); }},
        {"swap", [](AUDIOSIGNAL a, int64_t b, int64_t e) { return AUDIOSIGNAL_SwapChannelsEx(a, b, e); }},
        {"fade in", [](AUDIOSIGNAL a, int64_t b, int64_t e) { return AUDIOSIGNAL_FadeInEx(a, nullptr, b, e); }},
        {"fade out", [](AUDIOSIGNAL a, int64_t b, int64_t e) { return AUDIOSIGNAL_FadeOutEx(a, nullptr, b, e); }},
        {"crossfade",
         [](AUDIOSIGNAL a, int64_t b, int64_t e) { return AUDIOSIGNAL_CrossfadeEx(a, nullptr, nullptr, b, e); }},
        {"ducking",
         [](AUDIOSIGNAL a, int64_t b, int64_t e) {
             return AUDIOSIGNAL_AudioDuckingEx(a, nullptr, nullptr, b, e, 10, 10, 0.5);
         }},
        {"level ramp",
         [](AUDIOSIGNAL a, int64_t b, int64_t e) { return AUDIOSIGNAL_LevelRampEx(a, nullptr, b, e, 0.0, 2.0); }},
    };
    const uint64_t stamp = AUDIOSIGNAL_GetTimeStamp(s.get(), AUDIOSIGNAL_STAMP_CONTENT);
    for (const auto &[name, call] : calls) {
        EXPECT_FALSE(call(nullptr, 0, 10)) << name;
        EXPECT_FALSE(call(s.get(), 20, 10)) << name;      // out of order
        EXPECT_FALSE(call(s.get(), -5, 10)) << name;      // before the start
        EXPECT_FALSE(call(s.get(), 1001, 2000)) << name;  // after the end
    }
    AUDIOSIGNAL_SetReadOnly(s.get(), true);
    for (const auto &[name, call] : calls) EXPECT_FALSE(call(s.get(), 0, INT64_MAX)) << name;
    EXPECT_FALSE(AUDIOSIGNAL_SwapChannels(s.get()));
    EXPECT_FALSE(AUDIOSIGNAL_SetSampleRate(s.get(), 8000));
    EXPECT_FALSE(AUDIOSIGNAL_ApplyLinearTransform(s.get(), nullptr, nullptr, 0, 10));
    EXPECT_EQ(readAll(s.get()), x);
    EXPECT_EQ(AUDIOSIGNAL_SampleRate(s.get()), 44100);
    EXPECT_EQ(AUDIOSIGNAL_GetTimeStamp(s.get(), AUDIOSIGNAL_STAMP_CONTENT), stamp);
}
