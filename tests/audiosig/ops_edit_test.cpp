// Cut, clear, copy and paste: positions and lengths against the original
// arrays, the clipboard gathering of several cuts, boundary smoothing,
// format conversion on paste, and refusals that leave the signal alone.
#include "ops_helpers.h"

#include <gtest/gtest.h>

#include <climits>
#include <vector>

using namespace opstest;

namespace {

std::vector<float> concat(std::initializer_list<std::vector<float>> parts)
{
    std::vector<float> out;
    for (const auto &p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

std::vector<float> part(const std::vector<float> &x, size_t from, size_t to)
{
    return std::vector<float>(x.begin() + static_cast<long>(from), x.begin() + static_cast<long>(to));
}

} // namespace

TEST(AudioOpsEdit, TwoCutsGatherInOneClipboardInOrder)
{
    // Selections 100-200 and 300-400 of the original: the second is cut at
    // 200-300 of the shortened signal, and its piece follows the first.
    const std::vector<float> x = positions(1000);
    Signal s = makeSignal({x});
    AUDIOSIGNAL clip = AUDIOSIGNAL_CutEx(s.get(), nullptr, 0, 100, 200, 0.004);
    ASSERT_NE(clip, nullptr);
    AUDIOSIGNAL again = AUDIOSIGNAL_CutEx(s.get(), clip, 0, 200, 300, 0.004);
    ASSERT_EQ(again, clip);  // the caller's reference comes back
    Signal clipboard(clip);

    EXPECT_EQ(AUDIOSIGNAL_NumFrames(s.get()), 800);
    EXPECT_EQ(readChannel(s.get(), 0), concat({part(x, 0, 100), part(x, 200, 300), part(x, 400, 1000)}));
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(clip), 200);
    EXPECT_EQ(readChannel(clip, 0), concat({part(x, 100, 200), part(x, 300, 400)}));
    EXPECT_EQ(AUDIOSIGNAL_GetFormat(clip).formatTag, AUDIO_FORMATTAG_NONE);
}

TEST(AudioOpsEdit, ClearAndCopyKeepPositions)
{
    const std::vector<float> x = noise(5000, 1);
    const std::vector<float> y = noise(5000, 2);
    Signal s = makeSignal({x, y});

    Signal copy(AUDIOSIGNAL_CopyEx(s.get(), 1234, 4321));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(readAll(copy.get()), (Channels{part(x, 1234, 4321), part(y, 1234, 4321)}));

    ASSERT_TRUE(AUDIOSIGNAL_ClearEx(s.get(), 0, 4000, INT64_MAX, 0.0));  // to the end
    ASSERT_TRUE(AUDIOSIGNAL_ClearEx(s.get(), 0, 0, 10, 0.0));           // at the start
    EXPECT_EQ(readAll(s.get()), (Channels{part(x, 10, 4000), part(y, 10, 4000)}));
    // The copy shares samples but not fate.
    EXPECT_EQ(readAll(copy.get()), (Channels{part(x, 1234, 4321), part(y, 1234, 4321)}));

    // An empty range is a successful no-op that leaves the stamp alone.
    const uint64_t stamp = AUDIOSIGNAL_GetTimeStamp(s.get(), AUDIOSIGNAL_STAMP_CONTENT);
    EXPECT_TRUE(AUDIOSIGNAL_ClearEx(s.get(), 0, 50, 50, 0.0));
    EXPECT_EQ(AUDIOSIGNAL_GetTimeStamp(s.get(), AUDIOSIGNAL_STAMP_CONTENT), stamp);
}

TEST(AudioOpsEdit, SmoothingCrossfadesIntoTheAudioAfterTheCut)
{
    // 1.0 before the cut, -1.0 inside it and after: the join jumps by 2.
    std::vector<float> x(1000, 1.0f);
    for (size_t i = 400; i < 1000; ++i) x[i] = -1.0f;
    Signal s = makeSignal({x}, 1000);  // 1000 Hz: 0.01 s is 10 frames
    Signal clip(AUDIOSIGNAL_CutEx(s.get(), nullptr, AUDIOSIGNAL_EDIT_SMOOTH_BOUNDARIES, 300, 500, 0.01));
    ASSERT_NE(clip, nullptr);
    const std::vector<float> out = readChannel(s.get(), 0);
    ASSERT_EQ(out.size(), 800u);
    for (size_t i = 0; i < 290; ++i) ASSERT_EQ(out[i], 1.0f) << i;
    // The 10 frames before the join move from the old audio (1) towards the
    // last removed frames (-1), strictly, without reaching either.
    for (size_t i = 290; i < 300; ++i) {
        EXPECT_LT(out[i], out[i - 1]) << i;
        EXPECT_GT(out[i], -1.0f) << i;
    }
    for (size_t i = 300; i < 800; ++i) ASSERT_EQ(out[i], -1.0f) << i;
    // The clipboard keeps the removed audio as it was.
    EXPECT_EQ(readChannel(clip.get(), 0), part(x, 300, 500));

    // Without the bit, or at an end of the signal, nothing is blended.
    Signal plain = makeSignal({x}, 1000);
    ASSERT_TRUE(AUDIOSIGNAL_ClearEx(plain.get(), 0, 300, 500, 0.01));
    EXPECT_EQ(readChannel(plain.get(), 0), concat({part(x, 0, 300), part(x, 500, 1000)}));
    Signal tail = makeSignal({x}, 1000);
    ASSERT_TRUE(AUDIOSIGNAL_ClearEx(tail.get(), AUDIOSIGNAL_EDIT_SMOOTH_BOUNDARIES, 700, INT64_MAX, 0.01));
    EXPECT_EQ(readChannel(tail.get(), 0), part(x, 0, 700));
}

TEST(AudioOpsEdit, SmoothingIsLimitedByTheAudioBeforeTheJoin)
{
    std::vector<float> x(100, 1.0f);
    for (size_t i = 3; i < 100; ++i) x[i] = 0.0f;
    Signal s = makeSignal({x}, 1000);
    // A second of smoothing, but only 3 frames lie before the join.
    ASSERT_TRUE(AUDIOSIGNAL_ClearEx(s.get(), AUDIOSIGNAL_EDIT_SMOOTH_BOUNDARIES, 3, 50, 1.0));
    const std::vector<float> out = readChannel(s.get(), 0);
    ASSERT_EQ(out.size(), 53u);
    EXPECT_LT(out[0], 1.0f);
    for (size_t i = 3; i < out.size(); ++i) EXPECT_EQ(out[i], 0.0f);
}

TEST(AudioOpsEdit, PasteInsertsReplacesAndAppends)
{
    const std::vector<float> x = noise(3000, 3);
    const std::vector<float> p = noise(700, 4);
    Signal s = makeSignal({x});
    Signal src = makeSignal({p});
    int64_t pasted = -1;
    uint32_t error = 99;

    ASSERT_TRUE(AUDIOSIGNAL_PasteEx2(s.get(), src.get(), 0, 1000, 1000, &pasted, &error));
    EXPECT_EQ(pasted, 700);
    EXPECT_EQ(error, 0u);
    std::vector<float> expected = concat({part(x, 0, 1000), p, part(x, 1000, 3000)});
    EXPECT_EQ(readChannel(s.get(), 0), expected);

    // Replacing 200 frames by 700 grows the signal by 500.
    ASSERT_TRUE(AUDIOSIGNAL_PasteEx2(s.get(), src.get(), 0, 100, 300, &pasted, &error));
    expected = concat({part(expected, 0, 100), p, part(expected, 300, expected.size())});
    EXPECT_EQ(readChannel(s.get(), 0), expected);

    // INT64_MAX appends.
    ASSERT_TRUE(AUDIOSIGNAL_PasteEx2(s.get(), src.get(), 0x400000, INT64_MAX, INT64_MAX, &pasted, &error));
    expected = concat({expected, p});
    EXPECT_EQ(readChannel(s.get(), 0), expected);

    // A signal pasted into itself doubles.
    ASSERT_TRUE(AUDIOSIGNAL_PasteEx2(src.get(), src.get(), 0, 0, 0, &pasted, nullptr));
    EXPECT_EQ(readChannel(src.get(), 0), concat({p, p}));
}

TEST(AudioOpsEdit, PasteConvertsRateAndChannelsToTheTarget)
{
    // One second of 441 Hz at 22050 Hz, mono, into a 44100 Hz stereo target.
    const std::vector<float> tone = sine(22050, 441.0, 22050.0);
    Signal src = makeSignal({tone}, 22050);
    Signal target = makeSignal({std::vector<float>(1000, 0.0f), std::vector<float>(1000, 0.0f)}, 44100);
    int64_t pasted = 0;
    uint32_t error = 0;
    ASSERT_TRUE(AUDIOSIGNAL_PasteEx2(target.get(), src.get(), 0, 500, 500, &pasted, &error));
    EXPECT_EQ(error, 0u);
    EXPECT_NEAR(static_cast<double>(pasted), 44100.0, 2.0);
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(target.get()), 1000 + pasted);
    EXPECT_EQ(AUDIOSIGNAL_SampleRate(target.get()), 44100);
    const Channels out = readAll(target.get());
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out[0], out[1]);  // mono feeds both channels
    // 441 Hz keeps its pitch: 441 rising crossings in the pasted second
    // (one either way for where the counting starts).
    EXPECT_NEAR(countRisingCrossings(out[0], 500, 500 + static_cast<size_t>(pasted)), 441, 1);
    // The resampler keeps the level of a tone well inside the band.
    float peak = 0.0f;
    for (size_t i = 1000; i < 40000; ++i) peak = std::max(peak, std::fabs(out[0][i]));
    EXPECT_NEAR(peak, 0.5f, 0.01f);
    // The frames around the paste are untouched.
    for (size_t i = 0; i < 500; ++i) ASSERT_EQ(out[0][i], 0.0f);
}

TEST(AudioOpsEdit, PasteMixesStereoDownToMono)
{
    Signal src = makeSignal({std::vector<float>(10, 0.5f), std::vector<float>(10, -0.25f)});
    Signal target = makeSignal({std::vector<float>(4, 0.0f)});
    int64_t pasted = 0;
    ASSERT_TRUE(AUDIOSIGNAL_PasteEx2(target.get(), src.get(), 0, 2, 2, &pasted, nullptr));
    EXPECT_EQ(pasted, 10);
    const std::vector<float> out = readChannel(target.get(), 0);
    for (size_t i = 2; i < 12; ++i) EXPECT_FLOAT_EQ(out[i], 0.125f);
}

TEST(AudioOpsEdit, BadCallsFailAndChangeNothing)
{
    const std::vector<float> x = noise(1000, 5);
    Signal s = makeSignal({x});
    Signal src = makeSignal({noise(10, 6)});
    const uint64_t stamp = AUDIOSIGNAL_GetTimeStamp(s.get(), AUDIOSIGNAL_STAMP_CONTENT);
    uint32_t error = 0;

    EXPECT_EQ(AUDIOSIGNAL_CutEx(nullptr, nullptr, 0, 0, 10, 0.0), nullptr);
    EXPECT_EQ(AUDIOSIGNAL_CutEx(s.get(), nullptr, 0, 20, 10, 0.0), nullptr);     // out of order
    EXPECT_EQ(AUDIOSIGNAL_CutEx(s.get(), nullptr, 0, -1, 10, 0.0), nullptr);     // before the start
    EXPECT_EQ(AUDIOSIGNAL_CutEx(s.get(), nullptr, 0, 1001, 1002, 0.0), nullptr); // after the end
    EXPECT_EQ(AUDIOSIGNAL_CutEx(s.get(), s.get(), 0, 0, 10, 0.0), nullptr);      // into itself
    EXPECT_FALSE(AUDIOSIGNAL_ClearEx(s.get(), 0, 10, 5, 0.0));
    EXPECT_EQ(AUDIOSIGNAL_CopyEx(s.get(), 5, 4), nullptr);
    EXPECT_FALSE(AUDIOSIGNAL_PasteEx2(s.get(), nullptr, 0, 0, 0, nullptr, &error));
    EXPECT_EQ(error, static_cast<uint32_t>(AUDIO_ERROR_INVALID_ARGUMENT));
    EXPECT_FALSE(AUDIOSIGNAL_PasteEx2(s.get(), src.get(), 0, 1001, 1001, nullptr, &error));
    EXPECT_EQ(error, static_cast<uint32_t>(AUDIO_ERROR_OUT_OF_RANGE));

    // A clipboard of another channel count is refused and left as it was.
    Signal stereoClip = makeSignal({noise(5, 7), noise(5, 8)});
    EXPECT_EQ(AUDIOSIGNAL_CutEx(s.get(), stereoClip.get(), 0, 0, 10, 0.0), nullptr);
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(stereoClip.get()), 5);

    // Read-only: the signal refuses, and so does a read-only clipboard.
    Signal clip = makeSignal({noise(5, 9)});
    AUDIOSIGNAL_SetReadOnly(clip.get(), true);
    EXPECT_EQ(AUDIOSIGNAL_CutEx(s.get(), clip.get(), 0, 0, 10, 0.0), nullptr);
    AUDIOSIGNAL_SetReadOnly(s.get(), true);
    EXPECT_EQ(AUDIOSIGNAL_CutEx(s.get(), nullptr, 0, 0, 10, 0.0), nullptr);
    EXPECT_FALSE(AUDIOSIGNAL_ClearEx(s.get(), 0, 0, 10, 0.0));
    EXPECT_FALSE(AUDIOSIGNAL_PasteEx2(s.get(), src.get(), 0, 0, 0, nullptr, &error));
    EXPECT_EQ(error, static_cast<uint32_t>(AUDIO_ERROR_READ_ONLY));
    Signal copy(AUDIOSIGNAL_CopyEx(s.get(), 0, 10));  // reading is allowed
    EXPECT_NE(copy, nullptr);

    EXPECT_EQ(readChannel(s.get(), 0), x);
    EXPECT_EQ(AUDIOSIGNAL_GetTimeStamp(s.get(), AUDIOSIGNAL_STAMP_CONTENT), stamp);
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(clip.get()), 5);
}
