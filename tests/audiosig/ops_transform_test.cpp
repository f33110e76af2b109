// Effect texts and format conversion: what each effect makes of known
// audio, the time factor, the error bits of unknown and malformed texts,
// and cancellation through a progress handler.
#include "ops_helpers.h"

#include <blnotify.h>

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

using namespace opstest;

namespace {

struct Outcome {
    Signal signal;
    double timeFactor = -1.0;
    uint32_t error = 0;
};

Outcome transform(AUDIOSIGNAL signal, const char *effect)
{
    Outcome out;
    out.timeFactor = 1.0;
    out.signal.reset(AUDIOSIGNAL_ApplyTransformEx2(signal, effect, &out.timeFactor, 0, &out.error));
    return out;
}

float peakOf(const Channels &channels)
{
    float peak = 0.0f;
    for (const auto &c : channels) {
        for (float v : c) peak = std::max(peak, std::fabs(v));
    }
    return peak;
}

} // namespace

TEST(AudioOpsTransform, UnknownAndMalformedTextsFailAndChangeNothing)
{
    const Channels x = {noise(1000, 31), noise(1000, 32)};
    Signal s = makeSignal(x);
    const uint64_t stamp = AUDIOSIGNAL_GetTimeStamp(s.get(), AUDIOSIGNAL_STAMP_CONTENT);
    for (const char *text : {"reverb[size=3]", "gain[db=-6]:echo", "FMTCONVERT[sr=8000]", "quantise[type=tpdf]"}) {
        const Outcome out = transform(s.get(), text);
        EXPECT_EQ(out.signal, nullptr) << text;
        EXPECT_EQ(out.error, static_cast<uint32_t>(AUDIO_ERROR_UNKNOWN_EFFECT)) << text;
    }
    for (const char *text :
         {"", "gain", "gain[db=]", "gain[db=loud]", "gain[db=-6,x=1]", "gain[db=1e999]", "fmtconv[sr=0]",
          "fmtconv[nc=33]", "fmtconv[sr=44100", "fmtconv[sr=8000]]", "fmtconv[nc=1,mixergains=1|1]",
          "fmtconv[mixergains=0.5;0.5;0.5]", "quantizer[type=fancy]", "normalize[level=x]", "NOCHANGES[1]",
          "gain[db=-6]:", ":gain[db=-6]", "gain[db=-6]junk", "GAINENVELOPE[instants=0;2;1,gains=0;0;0]",
          "GAINENVELOPE[instants=0;1,gains=0]", "GAINENVELOPE[instants=0;1,gains=0;-6,nsamples=3]"}) {
        const Outcome out = transform(s.get(), text);
        EXPECT_EQ(out.signal, nullptr) << text;
        EXPECT_EQ(out.error, static_cast<uint32_t>(AUDIO_ERROR_INVALID_ARGUMENT)) << text;
    }
    uint32_t error = 0;
    EXPECT_EQ(AUDIOSIGNAL_ApplyTransformEx2(s.get(), nullptr, nullptr, 0, &error), nullptr);
    EXPECT_EQ(AUDIOSIGNAL_ApplyTransformEx2(nullptr, "NOCHANGES", nullptr, 0, &error), nullptr);
    EXPECT_EQ(readAll(s.get()), x);
    EXPECT_EQ(AUDIOSIGNAL_GetTimeStamp(s.get(), AUDIOSIGNAL_STAMP_CONTENT), stamp);
}

TEST(AudioOpsTransform, NoChangesIsADuplicateEvenOfAReadOnlySignal)
{
    const Channels x = {noise(5000, 33)};
    Signal s = makeSignal(x);
    AUDIOSIGNAL_SetSignalLabel(s.get(), "take 3");
    AUDIOSIGNAL_SetReadOnly(s.get(), true);
    const Outcome out = transform(s.get(), "nochanges");
    ASSERT_NE(out.signal, nullptr);
    EXPECT_NE(out.signal.get(), s.get());
    EXPECT_EQ(readAll(out.signal.get()), x);
    EXPECT_EQ(out.timeFactor, 1.0);
    EXPECT_STREQ(AUDIOSIGNAL_SignalLabel(out.signal.get()), "take 3");
    EXPECT_FALSE(AUDIOSIGNAL_IsReadOnly(out.signal.get()));
}

TEST(AudioOpsTransform, GainNormalizeAndEnvelope)
{
    const Channels x = {sine(44100, 100.0, 44100.0, 0.5), sine(44100, 150.0, 44100.0, 0.25)};
    Signal s = makeSignal(x);

    const Outcome gain = transform(s.get(), "gain[db=-6]");
    ASSERT_NE(gain.signal, nullptr);
    const double factor = std::pow(10.0, -6.0 / 20.0);  // 0.501
    const Channels g = readAll(gain.signal.get());
    for (size_t i = 0; i < 44100; i += 97) ASSERT_NEAR(g[1][i], x[1][i] * factor, 1e-6) << i;

    // Normalising to -1 dB scales both channels by one factor, so that the
    // louder one peaks at -1 dB and the balance stays.
    ASSERT_TRUE(AUDIOSIGNAL_SetActiveChannelMask(s.get(), 0x3));
    const Outcome norm = transform(s.get(), "normalize[level=-1]");
    ASSERT_NE(norm.signal, nullptr);
    const Channels n = readAll(norm.signal.get());
    EXPECT_NEAR(peakOf(n), std::pow(10.0, -1.0 / 20.0), 1e-4);
    EXPECT_NEAR(n[1][1234] / n[0][1234], x[1][1234] / x[0][1234], 1e-4);

    // Only the active channel is scaled.
    ASSERT_TRUE(AUDIOSIGNAL_SetActiveChannelMask(s.get(), 0x1));
    const Outcome left = transform(s.get(), "gain[db=-20]");
    ASSERT_NE(left.signal, nullptr);
    EXPECT_EQ(readChannel(left.signal.get(), 1), x[1]);

    // 0 dB at 0 s, -inf (silence) at 0.5 s, 0 dB from 1 s on: a V of the
    // gain factor, so at 0.25 s half the level.
    Signal flat = makeSignal({std::vector<float>(60000, 0.5f)}, 44100);
    const Outcome env = transform(flat.get(), "GAINENVELOPE[instants=0;0.5;1,gains=0;-inf;0,nsamples=3]");
    ASSERT_NE(env.signal, nullptr);
    const std::vector<float> e = readChannel(env.signal.get(), 0);
    EXPECT_NEAR(e[0], 0.5f, 1e-6f);
    EXPECT_NEAR(e[11025], 0.25f, 1e-4f);
    EXPECT_NEAR(e[22050], 0.0f, 1e-6f);
    EXPECT_NEAR(e[50000], 0.5f, 1e-6f);
}

TEST(AudioOpsTransform, FormatConversionResamplesAndMixes)
{
    // One second of stereo at 44.1 kHz: 441 Hz left, silence right.
    Signal s = makeSignal({sine(44100, 441.0, 44100.0), std::vector<float>(44100, 0.0f)});
    const Outcome half = transform(s.get(), "fmtconv[sr=22050,nc=1]");
    ASSERT_NE(half.signal, nullptr);
    EXPECT_EQ(AUDIOSIGNAL_SampleRate(half.signal.get()), 22050);
    EXPECT_EQ(AUDIOSIGNAL_NumChannels(half.signal.get()), 1);
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(half.signal.get()), 22050);
    EXPECT_DOUBLE_EQ(half.timeFactor, 0.5);
    const std::vector<float> mono = readChannel(half.signal.get(), 0);
    EXPECT_NEAR(countRisingCrossings(mono, 0, mono.size()), 441, 1);
    float peak = 0.0f;
    for (size_t i = 2000; i < 20000; ++i) peak = std::max(peak, std::fabs(mono[i]));
    EXPECT_NEAR(peak, 0.25f, 0.01f);  // the average of 0.5 and silence

    // A mix matrix: swapped channels, no resampling, samples shared exactly.
    const Outcome swapped = transform(s.get(), "fmtconv[nc=2,mixergains=0;1|1;0]");
    ASSERT_NE(swapped.signal, nullptr);
    EXPECT_EQ(readChannel(swapped.signal.get(), 1), readChannel(s.get(), 0));
    EXPECT_EQ(readChannel(swapped.signal.get(), 0), readChannel(s.get(), 1));

    // AUDIOSIGNAL_ConvertFormat: to 48 kHz, mono copied to both channels.
    Signal mono441 = makeSignal({sine(44100, 441.0, 44100.0)});
    AUDIO_FORMAT target = floatFormat(48000, 2);
    target.formatTag = AUDIO_FORMATTAG_WAV;
    uint32_t error = 1;
    Signal converted(AUDIOSIGNAL_ConvertFormat(mono441.get(), &target, &error));
    ASSERT_NE(converted, nullptr);
    EXPECT_EQ(error, 0u);
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(converted.get()), 48000);
    EXPECT_EQ(AUDIOSIGNAL_GetFormat(converted.get()).formatTag, AUDIO_FORMATTAG_WAV);
    EXPECT_EQ(readChannel(converted.get(), 0), readChannel(converted.get(), 1));
    EXPECT_NEAR(countRisingCrossings(readChannel(converted.get(), 0), 0, 48000), 441, 1);
    AUDIO_FORMAT bad = target;
    bad.numChannels = 0;
    EXPECT_EQ(AUDIOSIGNAL_ConvertFormat(mono441.get(), &bad, &error), nullptr);
    EXPECT_EQ(error, static_cast<uint32_t>(AUDIO_ERROR_INVALID_ARGUMENT));
}

TEST(AudioOpsTransform, QuantizerRoundsToTheTargetWidth)
{
    AUDIO_FORMAT pcm16 = AUDIO_NullFormat();  // 44100 Hz mono 16-bit
    const std::vector<float> x = sine(20000, 300.0, 44100.0, 0.7);
    Signal s = makeSignal({x});
    uint32_t error = 0;
    Signal s16(AUDIOSIGNAL_ConvertFormat(s.get(), &pcm16, &error));
    ASSERT_NE(s16, nullptr);

    for (const char *type : {"none", "rect", "tpdf"}) {
        const std::string text = std::string("quantizer[type=") + type + "]";
        const Outcome out = transform(s16.get(), text.c_str());
        ASSERT_NE(out.signal, nullptr) << type;
        const std::vector<float> q = readChannel(out.signal.get(), 0);
        // Every sample on the 16-bit grid, within the dither's reach
        // (0.5, 1 and 1.5 steps), and the noise averages out.
        const double limit = type[0] == 'n' ? 0.5 : type[0] == 'r' ? 1.0 : 1.5;
        double sum = 0.0;
        for (size_t i = 0; i < q.size(); ++i) {
            const double steps = q[i] * 32768.0;
            ASSERT_EQ(steps, std::round(steps)) << type << " " << i;
            ASSERT_LE(std::fabs(steps - x[i] * 32768.0), limit + 1e-6) << type << " " << i;
            sum += steps - x[i] * 32768.0;
        }
        EXPECT_LT(std::fabs(sum / static_cast<double>(q.size())), 0.05) << type;
    }
    // Converting first: 8 bits then dithered to 8 bits.
    const Outcome eight = transform(s.get(), "fmtconv[bits=8,type=pcm]:quantizer[type=tpdf]");
    ASSERT_NE(eight.signal, nullptr);
    EXPECT_EQ(AUDIOSIGNAL_GetFormat(eight.signal.get()).bitsPerSample, 8);
    for (float v : readChannel(eight.signal.get(), 0)) ASSERT_EQ(v * 128.0f, std::round(v * 128.0f));
}

TEST(AudioOpsTransform, AProgressHandlerAnsweringZeroCancels)
{
    Signal s = makeSignal({noise(100000, 34)});
    auto refuse = [](void *, const BLNOTIFY_EVENT *) -> int32_t { return 0; };
    ASSERT_TRUE(BLNOTIFY_AddDefaultHandler(AUDIO_NOTIFY_PROCESS_PROGRESS, refuse, nullptr));
    const Outcome out = transform(s.get(), "fmtconv[sr=48000]");
    uint32_t error = 0;
    AUDIO_FORMAT target = floatFormat(22050, 1);
    Signal converted(AUDIOSIGNAL_ConvertFormat(s.get(), &target, &error));
    BLNOTIFY_DelDefaultHandler(AUDIO_NOTIFY_PROCESS_PROGRESS, refuse, nullptr);

    EXPECT_EQ(out.signal, nullptr);
    EXPECT_EQ(out.error, static_cast<uint32_t>(AUDIO_ERROR_CANCELLED));
    EXPECT_EQ(converted, nullptr);
    EXPECT_EQ(error, static_cast<uint32_t>(AUDIO_ERROR_CANCELLED));
    EXPECT_EQ(AUDIOSIGNAL_SampleRate(s.get()), 44100);
}
