// The signal object through its public interface.
#include <audiosignal.h>

#include "noise_signal.h"
#include "signal_p.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace {

AUDIO_FORMAT stereo16(int32_t rate = 44100)
{
    AUDIO_FORMAT f = AUDIO_NullFormat();
    f.sampleRate = rate;
    f.numChannels = 2;
    return f;
}

AUDIOSIGNAL makeNoise(int64_t frames, std::vector<std::vector<float>> *reference = nullptr)
{
    return makeNoise16(frames, 44100, 11, reference);
}

TEST(AudioSignal, NewTakesItsFormatFromTheText)
{
    AUDIOSIGNAL s = AUDIOSIGNAL_New("AUTO[sr=8000,nc=1]");
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(AUDIOSIGNAL_SampleRate(s), 8000);
    EXPECT_EQ(AUDIOSIGNAL_NumChannels(s), 1);
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(s), 0);
    EXPECT_EQ(AUDIOSIGNAL_GetFormatRef(s)->formatTag, AUDIO_FORMATTAG_NONE);
    AUDIOSIGNAL_Destroy(s);
    EXPECT_EQ(AUDIOSIGNAL_New("AUTO[sr=0]"), nullptr);
    EXPECT_EQ(AUDIOSIGNAL_New("AUTO[nc=33]"), nullptr);
    EXPECT_EQ(AUDIOSIGNAL_New("NOSUCHFORMAT"), nullptr);
}

TEST(AudioSignal, SilenceCostsNoSampleMemory)
{
    // Ten hours of stereo silence.
    AUDIOSIGNAL s = AUDIOSIGNAL_CreateSilence(int64_t(44100) * 36000, stereo16());
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(s), int64_t(44100) * 36000);
    EXPECT_LT(AUDIOSIGNAL_SizeInMemory(s), 16384u);  // structure only; the samples would be 6.35 GB
    EXPECT_EQ(AUDIOSIGNAL_GetSample(s, 1, 12345), 0.0);
    AUDIOSIGNAL_Destroy(s);
    EXPECT_EQ(AUDIOSIGNAL_CreateSilence(-1, stereo16()), nullptr);
}

TEST(AudioSignal, DuplicatesShareBlocksAndAWriteLeavesTheOtherAlone)
{
    std::vector<std::vector<float>> ref;
    AUDIOSIGNAL original = makeNoise(10 * asig::kBlockFrames, &ref);
    const uint64_t alone = AUDIOSIGNAL_SizeInMemory(original);
    AUDIOSIGNAL copy = AUDIOSIGNAL_DuplicateEx(original, 0);
    ASSERT_NE(copy, nullptr);
    // The duplicate adds no sample memory of its own.
    EXPECT_LT(AUDIOSIGNAL_SizeInMemory(copy), alone + 1024);
    ASSERT_TRUE(AUDIOSIGNAL_SetSample(copy, 1, 1000, 0.5));
    EXPECT_EQ(AUDIOSIGNAL_GetSample(copy, 1, 1000), 0.5);
    EXPECT_EQ(float(AUDIOSIGNAL_GetSample(original, 1, 1000)), ref[1][1000]);
    EXPECT_NE(AUDIOSIGNAL_GetTimeStamp(copy, 0), AUDIOSIGNAL_GetTimeStamp(original, 0));
    // Reading the rest of the copy still gives the original samples.
    std::vector<float> got(size_t(AUDIOSIGNAL_NumFrames(copy)));
    ASSERT_EQ(AUDIOSIGNAL_GetChannelSamplesEx(copy, 0, 0, int64_t(got.size()), got.data()), int64_t(got.size()));
    EXPECT_EQ(got, ref[0]);
    AUDIOSIGNAL_Destroy(copy);
    AUDIOSIGNAL_Destroy(original);
}

TEST(AudioSignal, AppendedSamplesKeepTheSignalsWidth)
{
    AUDIOSIGNAL s = AUDIOSIGNAL_New("AUTO[sr=8000,nc=2,bits=16]");
    const float frames[] = {0.5f, -0.25f, 1.5f, -1.0f, 1.0f / 65536.0f, 0.0f};  // three stereo frames
    ASSERT_TRUE(AUDIOSIGNAL_AppendSamples(s, frames, 3));
    ASSERT_TRUE(AUDIOSIGNAL_AppendSamples(s, frames, 1));
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(s), 4);
    EXPECT_EQ(AUDIOSIGNAL_GetSample(s, 0, 0), 0.5);
    EXPECT_EQ(AUDIOSIGNAL_GetSample(s, 1, 0), -0.25);
    EXPECT_EQ(AUDIOSIGNAL_GetSample(s, 0, 1), 32767.0 / 32768.0);  // clipped to 16 bits
    EXPECT_EQ(AUDIOSIGNAL_GetSample(s, 1, 1), -1.0);
    EXPECT_EQ(AUDIOSIGNAL_GetSample(s, 0, 2), 0.0);  // half a 16-bit step rounds to even: 0
    EXPECT_EQ(AUDIOSIGNAL_GetSample(s, 0, 3), 0.5);
    AUDIOSIGNAL_SetReadOnly(s, true);
    EXPECT_FALSE(AUDIOSIGNAL_AppendSamples(s, frames, 1));
    EXPECT_FALSE(AUDIOSIGNAL_AppendSamples(nullptr, frames, 1));
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(s), 4);
    AUDIOSIGNAL_Destroy(s);
}

TEST(AudioSignal, ReferencesKeepTheSignalUntilTheLastDestroy)
{
    AUDIOSIGNAL s = AUDIOSIGNAL_CreateSilence(10, stereo16());
    AUDIOSIGNAL ref = AUDIOSIGNAL_GetReference(s);
    EXPECT_EQ(ref, s);
    EXPECT_TRUE(AUDIOSIGNAL_Destroy(s));
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(ref), 10);  // still alive through the reference
    EXPECT_TRUE(AUDIOSIGNAL_DestroyEx(&ref));
    EXPECT_EQ(ref, nullptr);
    EXPECT_FALSE(AUDIOSIGNAL_DestroyEx(&ref));
}

TEST(AudioSignal, DisplayMinMaxEqualsABruteForceScanAtEveryZoom)
{
    std::vector<std::vector<float>> ref;
    const int64_t frames = 7 * asig::kBlockFrames + 1234;
    AUDIOSIGNAL s = makeNoise(frames, &ref);
    // Column widths from below one sample run to several blocks, starting at
    // an odd frame so that columns straddle runs and blocks.
    for (double width : {3.0, 100.5, 511.0, 512.0, 2000.0, 16384.0, 70000.0, 300000.0}) {
        AUDIOPOINTER p;
        ASSERT_TRUE(AUDIOSIGNAL_InitAudioPointer(s, 1, 777, &p));
        double boundary = 777.0;
        while (boundary < double(frames)) {
            const int64_t a = int64_t(boundary), b = std::min(frames, int64_t(boundary + width));
            float lo, hi;
            ASSERT_TRUE(AUDIOSIGNAL_DisplayMinMaxFromAudioPointer(&p, b - a, &lo, &hi));
            const auto first = ref[1].begin() + a, last = ref[1].begin() + b;
            ASSERT_EQ(lo, *std::min_element(first, last)) << width << " at " << a;
            ASSERT_EQ(hi, *std::max_element(first, last)) << width << " at " << a;
            boundary += width;
        }
    }
    AUDIOPOINTER p;
    AUDIOSIGNAL_InitAudioPointer(s, 0, frames, &p);
    float lo = 1, hi = 1;
    EXPECT_FALSE(AUDIOSIGNAL_DisplayMinMaxFromAudioPointer(&p, 10, &lo, &hi));  // past the end
    EXPECT_EQ(lo, 0.0f);
    EXPECT_FALSE(AUDIOSIGNAL_InitAudioPointer(s, 2, 0, &p));  // no third channel
    AUDIOSIGNAL_Destroy(s);
}

TEST(AudioSignal, DisplaySum2CoversOnlyFramesInside)
{
    std::vector<std::vector<float>> ref;
    AUDIOSIGNAL s = makeNoise(5000, &ref);
    AUDIOPOINTER p;
    AUDIOSIGNAL_InitAudioPointer(s, 0, 4000, &p);
    double sum2 = 0;
    int64_t counted = 0;
    ASSERT_TRUE(AUDIOSIGNAL_DisplaySum2FromAudioPointer(&p, 2000, &sum2, &counted));
    EXPECT_EQ(counted, 1000);
    double want = 0;
    for (size_t i = 4000; i < 5000; ++i) want += double(ref[0][i]) * ref[0][i];
    EXPECT_NEAR(sum2, want, 1e-6 * want);
    EXPECT_EQ(p.position, 6000);
    AUDIOSIGNAL_Destroy(s);
}

TEST(AudioSignal, ChangesAdvanceStampsAndSavedStateComesBack)
{
    AUDIOSIGNAL s = makeNoise(1000);
    AUDIOSIGNAL_MarkSaved(s, 1234, 4044);
    EXPECT_FALSE(AUDIOSIGNAL_HasChangesEx(s, 7));
    EXPECT_EQ(AUDIOSIGNAL_GetTimeStamp(s, AUDIOSIGNAL_STAMP_FILE), 1234u);
    EXPECT_EQ(AUDIOSIGNAL_SizeInDisk(s), 4044);

    AUDIOSIGNAL_STATE saved = AUDIOSIGNAL_SaveState(s);
    AUDIOBLOCKSLIST before = AUDIOSIGNAL_GetBlocksList(s, 0);
    const uint64_t stamp = AUDIOSIGNAL_GetTimeStamp(s, 0);
    const double old = AUDIOSIGNAL_GetSample(s, 0, 10);
    ASSERT_TRUE(AUDIOSIGNAL_SetSample(s, 0, 10, -0.5));
    EXPECT_GT(AUDIOSIGNAL_GetTimeStamp(s, 0), stamp);
    EXPECT_TRUE(AUDIOSIGNAL_HasChangesEx(s, AUDIOSIGNAL_CHANGE_AUDIO));
    EXPECT_FALSE(AUDIOSIGNAL_HasChangesEx(s, AUDIOSIGNAL_CHANGE_METADATA));

    AUDIOBLOCKSLIST after = AUDIOSIGNAL_GetBlocksList(s, 0);
    AUDIOBLOCKSLIST kept = AUDIOSIGNAL_StateBlocksList(saved, 0);
    EXPECT_FALSE(AUDIOBLOCKSLIST_Equal(after, kept));
    EXPECT_TRUE(AUDIOBLOCKSLIST_Equal(before, kept));
    EXPECT_TRUE(AUDIOBLOCKSLIST_Desactive(kept));
    EXPECT_FALSE(AUDIOBLOCKSLIST_IsActive(kept));

    ASSERT_TRUE(AUDIOSIGNAL_RestoreState(s, saved));
    EXPECT_EQ(AUDIOSIGNAL_GetSample(s, 0, 10), old);
    EXPECT_EQ(AUDIOSIGNAL_GetTimeStamp(s, 0), stamp);
    EXPECT_FALSE(AUDIOSIGNAL_HasChangesEx(s, 7));  // back at the saved version
    for (AUDIOBLOCKSLIST l : {before, after, kept}) EXPECT_TRUE(AUDIOBLOCKSLIST_Destroy(l));
    EXPECT_TRUE(AUDIOSIGNAL_ClearState(saved));

    // Undo puts time records back one by one.
    AUDIOSIGNAL_SetSample(s, 0, 11, 0.25);
    EXPECT_TRUE(AUDIOSIGNAL_HasChangesEx(s, 1));
    EXPECT_TRUE(AUDIOSIGNAL_SetTime(s, 0, AUDIOSIGNAL_GetTime(s, 1)));
    EXPECT_FALSE(AUDIOSIGNAL_HasChangesEx(s, 1));
    EXPECT_FALSE(AUDIOSIGNAL_SetTime(s, 3, 0));
    AUDIOSIGNAL_Destroy(s);
}

TEST(AudioSignal, ReadOnlyAndChannelMaskRules)
{
    AUDIOSIGNAL s = makeNoise(100);
    EXPECT_EQ(AUDIOSIGNAL_NumActiveChannels(s), 2);
    EXPECT_FALSE(AUDIOSIGNAL_SetActiveChannelMask(s, 0x4));  // no such channel
    EXPECT_TRUE(AUDIOSIGNAL_SetActiveChannelMask(s, 0x6));   // channel 2 ignored
    EXPECT_EQ(AUDIOSIGNAL_GetActiveChannelMask(s), 0x2u);
    EXPECT_FALSE(AUDIOSIGNAL_ChannelActive(s, 0));
    AUDIOSIGNAL_SetReadOnly(s, true);
    EXPECT_FALSE(AUDIOSIGNAL_SetSample(s, 0, 1, 0.1));
    EXPECT_FALSE(AUDIOSIGNAL_SetSample(s, 0, 100, 0.1));
    AUDIOSIGNAL_SetReadOnly(s, false);
    EXPECT_FALSE(AUDIOSIGNAL_SetSample(s, 0, 100, 0.1));  // one past the end
    AUDIOSIGNAL_Destroy(s);
}

bool recordParent(void *parent, int32_t kind, void *arg1, void *)
{
    auto *seen = static_cast<std::vector<int32_t> *>(parent);
    seen->push_back(kind);
    return arg1 == nullptr;
}

TEST(AudioSignal, ParentCallbackAnswersTheCaller)
{
    AUDIOSIGNAL s = makeNoise(10);
    EXPECT_TRUE(AUDIOSIGNAL_CallParent(s, 111, nullptr, nullptr));  // no parent: nothing objects
    std::vector<int32_t> seen;
    AUDIOSIGNAL_SetParentObject(s, &seen, &recordParent);
    EXPECT_EQ(AUDIOSIGNAL_GetParentObject(s), &seen);
    EXPECT_TRUE(AUDIOSIGNAL_CallParent(s, 111, nullptr, nullptr));
    EXPECT_FALSE(AUDIOSIGNAL_CallParent(s, 111, &seen, nullptr));
    EXPECT_EQ(seen, (std::vector<int32_t>{111, 111}));
    AUDIOSIGNAL_Destroy(s);
}

TEST(AudioSignalHandles, NullAndBadArgumentsFailQuietly)
{
    float buffer[4];
    AUDIOPOINTER p{};
    EXPECT_EQ(AUDIOSIGNAL_GetReference(nullptr), nullptr);
    EXPECT_FALSE(AUDIOSIGNAL_Destroy(nullptr));
    EXPECT_EQ(AUDIOSIGNAL_DuplicateEx(nullptr, 0), nullptr);
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(nullptr), 0);
    EXPECT_EQ(AUDIOSIGNAL_NumChannels(nullptr), 0);
    EXPECT_EQ(AUDIOSIGNAL_GetFormatRef(nullptr), nullptr);
    EXPECT_EQ(AUDIOSIGNAL_SaveState(nullptr), nullptr);
    EXPECT_FALSE(AUDIOSIGNAL_RestoreState(nullptr, nullptr));
    EXPECT_FALSE(AUDIOSIGNAL_ClearState(nullptr));
    EXPECT_EQ(AUDIOSIGNAL_GetBlocksList(nullptr, 0), nullptr);
    EXPECT_FALSE(AUDIOBLOCKSLIST_Destroy(nullptr));
    EXPECT_EQ(AUDIOSIGNAL_GetChannelSamplesEx(nullptr, 0, 0, 4, buffer), -1);
    EXPECT_FALSE(AUDIOSIGNAL_SetSample(nullptr, 0, 0, 0.0));
    EXPECT_FALSE(AUDIOSIGNAL_InitAudioPointer(nullptr, 0, 0, &p));
    EXPECT_FALSE(AUDIOSIGNAL_DisplayMinMaxFromAudioPointer(nullptr, 10, nullptr, nullptr));
    EXPECT_EQ(AUDIOSIGNAL_SizeInMemory(nullptr), 0u);
    EXPECT_EQ(AUDIOSIGNAL_SizeInDisk(nullptr), -1);
    AUDIOSIGNAL s = AUDIOSIGNAL_CreateSilence(4, stereo16());
    EXPECT_EQ(AUDIOSIGNAL_GetChannelSamplesEx(s, 5, 0, 4, buffer), -1);
    EXPECT_EQ(AUDIOSIGNAL_GetChannelSamplesEx(s, 0, 2, 4, buffer), 2);  // two frames lay inside
    AUDIOSIGNAL_Destroy(s);
}

TEST(AudioFormatText, ParametersSplitAtTopLevelCommasOnly)
{
    char name[32], value[64];
    const char *rest = AUDIO_DecodeParameter("WAV[sr=8000,nc=1]", name, sizeof name, value, sizeof value);
    EXPECT_STREQ(name, "WAV");
    EXPECT_STREQ(value, "sr=8000,nc=1");
    EXPECT_NE(rest, nullptr);
    EXPECT_STREQ(rest, "");
    rest = AUDIO_DecodeParameter("FMTCONV=[sr=22050,nc=1], keep = yes", name, sizeof name, value, sizeof value);
    EXPECT_STREQ(name, "FMTCONV");
    EXPECT_STREQ(value, "sr=22050,nc=1");
    rest = AUDIO_DecodeParameter(rest, name, sizeof name, value, sizeof value);
    EXPECT_STREQ(name, "keep");
    EXPECT_STREQ(value, "yes");
    EXPECT_EQ(AUDIO_DecodeParameter(rest, name, sizeof name, value, sizeof value), nullptr);
    AUDIO_DecodeParameter("averyveryverylongname=1", name, 5, value, sizeof value);
    EXPECT_STREQ(name, "aver");  // cut and terminated
}

TEST(AudioFormatText, FormatsFromTextsKeepWhatTheyDoNotName)
{
    AUDIO_FORMAT f = AUDIO_NullFormat();
    ASSERT_TRUE(AUDIO_GetFormatFromString("FLAC[sr=96000,bits=24]", &f));
    EXPECT_EQ(f.formatTag, AUDIO_FORMATTAG_FLAC);
    EXPECT_EQ(f.sampleRate, 96000);
    EXPECT_EQ(f.bitsPerSample, 24);
    EXPECT_EQ(f.numChannels, 1);  // unchanged
    ASSERT_TRUE(AUDIO_GetFormatFromString("nc=2,type=float", &f));
    EXPECT_EQ(f.sampleKind, AUDIO_SAMPLE_FLOAT);
    EXPECT_EQ(f.bitsPerSample, 32);
    const AUDIO_FORMAT before = f;
    for (const char *bad : {"WAV[bits=12]", "WAV[sr=abc]", "WAV,FLAC", "", "WAV[type=dsd]", "RAW[bits=64,type=pcm]"})
        EXPECT_FALSE(AUDIO_GetFormatFromString(bad, &f)) << bad;
    EXPECT_EQ(f.sampleRate, before.sampleRate);
    char text[64];
    ASSERT_TRUE(AUDIO_FormatToString(&f, text, sizeof text));
    EXPECT_STREQ(text, "sr=96000,nc=2,bits=32,type=float");
}

TEST(AudioFormatTime, FramesAndSecondsRoundTrip)
{
    AUDIO_FORMAT f = AUDIO_NullFormat();
    f.sampleRate = 48000;
    EXPECT_DOUBLE_EQ(AUDIO_Sample2Time(&f, 24000), 0.5);
    EXPECT_EQ(AUDIO_Time2Sample(&f, 0.5), 24000);
    EXPECT_EQ(AUDIO_Time2Sample(&f, 1.0 / 96000.0), 1);  // halves round away from zero
    for (int64_t frame : {int64_t(0), int64_t(1), int64_t(44099), int64_t(1) << 40})
        EXPECT_EQ(AUDIO_Time2Sample(&f, AUDIO_Sample2Time(&f, frame)), frame);
    EXPECT_EQ(AUDIO_Time2Sample(nullptr, 1.0), 0);
    EXPECT_EQ(AUDIO_Time2Sample(&f, NAN), 0);
}

} // namespace
