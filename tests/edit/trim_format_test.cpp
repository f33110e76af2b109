// trim_format_test.cpp: trimming (to the selections, left, right, edge
// silence), channel swaps and format changes, against computations on raw
// sample vectors, with their undo steps.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "doc_helpers.h"

namespace {

using namespace tavotest;

// Every frame a different value, so that any misplaced frame shows.
std::vector<float> Ramp(size_t frames, float scale)
{
    std::vector<float> v(frames);
    for (size_t i = 0; i < frames; ++i) v[i] = scale * (static_cast<float>(i % 7919) / 7919.0f - 0.5f);
    return v;
}

class TavoTrim : public ::testing::Test {
protected:
    TAVOAUDIO doc = MakeDocument(8000, {Ramp(6000, 0.8f)});
    std::vector<float> original = Samples(doc);   // as stored (16-bit)
    TavoTrim() { BLSETTINGS_ChangeEx(nullptr, "libtavo.editoptions.smoothboundaries=%d", 0); }
    ~TavoTrim() override
    {
        TAVOAUDIO_Close(doc);
        BLSETTINGS_ResetEx(nullptr, "libtavo.editoptions.smoothboundaries");
    }
};

TEST_F(TavoTrim, TrimKeepsEachSelectedPieceJoinedInOrder)
{
    EXPECT_FALSE(TAVOAUDIO_Trim(doc, nullptr));   // no selection
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
    ASSERT_TRUE(Select(doc, {{100, 200}, {500, 800}}));
    ASSERT_TRUE(TAVOAUDIO_Trim(doc, nullptr));
    EXPECT_EQ(Samples(doc), Join({Slice(original, 100, 200), Slice(original, 500, 800)}));
    EXPECT_EQ(NextUndo(doc), "Trim");
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 1);
    EXPECT_EQ(TAVOAUDIO_CountSelections(doc), 0);
    EXPECT_EQ(TAVOAUDIO_GetCursorPosition(doc), 0);
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(Samples(doc), original);
    EXPECT_EQ(TAVOAUDIO_CountSelections(doc), 2);
}

TEST_F(TavoTrim, TrimLeftAndRightCutOutsideTheSelectionsOrTheCursor)
{
    ASSERT_TRUE(Select(doc, {{1000, 1500}, {3000, 3200}}));
    ASSERT_TRUE(TAVOAUDIO_TrimLeft(doc, nullptr));
    EXPECT_EQ(Samples(doc), Slice(original, 1000, 6000));
    EXPECT_EQ(NextUndo(doc), "Trim Left");
    EXPECT_EQ(Selections(doc), (Ranges{{0, 500}, {2000, 2200}}));   // still on their audio
    ASSERT_TRUE(TAVOAUDIO_TrimRight(doc, nullptr));
    EXPECT_EQ(Samples(doc), Slice(original, 1000, 3200));
    EXPECT_EQ(NextUndo(doc), "Trim Right");
    EXPECT_EQ(Selections(doc), (Ranges{{0, 500}, {2000, 2200}}));
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(Samples(doc), original);
    ASSERT_EQ(TAVOAUDIO_ClearSelectionEx2(doc, nullptr, 0), 1);
    ASSERT_TRUE(TAVOAUDIO_SetCursorPositionEx2(doc, 700, 0));
    ASSERT_TRUE(TAVOAUDIO_TrimLeft(doc, nullptr));
    EXPECT_EQ(Samples(doc), Slice(original, 700, 6000));
    EXPECT_EQ(TAVOAUDIO_GetCursorPosition(doc), 0);
    ASSERT_TRUE(TAVOAUDIO_SetCursorPositionEx2(doc, 4000, 0));
    ASSERT_TRUE(TAVOAUDIO_TrimRight(doc, nullptr));
    EXPECT_EQ(Samples(doc), Slice(original, 700, 4700));
    // The cursor at the end: nothing to remove, success without a step.
    const int32_t steps = TAVOUNDO_CountUndoScripts(doc);
    ASSERT_TRUE(TAVOAUDIO_SetCursorPositionEx2(doc, Frames(doc), 0));
    EXPECT_TRUE(TAVOAUDIO_TrimRight(doc, nullptr));
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), steps);
}

struct EdgeSettings {
    double extensionDb, bridgeMs, prerollMs, releaseMs;
};

// The stretch edge-silence trimming keeps, frame by frame: the first and last
// frame above the threshold in any channel, grown outwards over frames above
// (threshold - extension) until bridge-gap quiet frames, plus pre-roll and release.
std::pair<int64_t, int64_t> ModelKeep(const std::vector<std::vector<float>> &ch, int32_t rate, double thresholdDb,
                                      const EdgeSettings &s)
{
    const int64_t n = static_cast<int64_t>(ch[0].size());
    auto above = [&](int64_t i, double level) {
        return std::any_of(ch.begin(), ch.end(), [&](const auto &c) { return std::fabs(c[static_cast<size_t>(i)]) > level; });
    };
    const double threshold = std::pow(10.0, thresholdDb / 20.0);
    const double quiet = std::pow(10.0, (thresholdDb - s.extensionDb) / 20.0);
    const int64_t gap = std::max<int64_t>(1, std::llround(s.bridgeMs * rate / 1000.0));
    int64_t first = 0, last = n - 1;
    while (first < n && !above(first, threshold)) ++first;
    while (last >= 0 && !above(last, threshold)) --last;
    if (first == n) return {-1, -1};
    // Walks from `from` by `step` and returns the farthest quiet-level frame
    // reached before `gap` quiet frames in a row.
    auto grow = [&](int64_t from, int64_t step) {
        int64_t reached = from, run = 0;
        for (int64_t i = from + step; i >= 0 && i < n && run < gap; i += step) {
            if (above(i, quiet)) {
                reached = i;
                run = 0;
            } else {
                ++run;
            }
        }
        return reached;
    };
    return {std::max<int64_t>(0, grow(first, -1) - std::llround(s.prerollMs * rate / 1000.0)),
            std::min<int64_t>(n, grow(last, 1) + 1 + std::llround(s.releaseMs * rate / 1000.0))};
}

TEST(TavoTrimEdgeSilence, KeptStretchMatchesAFrameByFrameScan)
{
    // Left: silence, a soft lead-in, a loud tone, a soft tail with a 100-frame
    // hole in it, silence. Right: the tone starts 50 frames earlier.
    std::vector<float> left, right;
    auto append = [&](size_t count, float l, float r, bool tone) {
        for (size_t i = 0; i < count; ++i) {
            const float wave = tone ? static_cast<float>(std::sin(0.3 * static_cast<double>(left.size()))) : 1.0f;
            left.push_back(l * wave);
            right.push_back(r * wave);
        }
    };
    append(1850, 0.0f, 0.0f, false);
    append(150, 0.02f, 0.0f, false);
    append(50, 0.0f, 0.5f, true);
    append(3000, 0.5f, 0.4f, true);
    append(400, 0.012f, 0.0f, false);
    append(100, 0.0f, 0.0f, false);
    append(200, 0.012f, 0.0f, false);
    append(3000, 0.0f, 0.0f, false);
    auto check = [&](const EdgeSettings &s) {
        BLSETTINGS_ChangeEx(nullptr, "libtavo.edgesilence.extension_range_db=%f", s.extensionDb);
        BLSETTINGS_ChangeEx(nullptr, "libtavo.edgesilence.max_bridge_gap_ms=%f", s.bridgeMs);
        BLSETTINGS_ChangeEx(nullptr, "libtavo.edgesilence.preroll_ms=%f", s.prerollMs);
        BLSETTINGS_ChangeEx(nullptr, "libtavo.edgesilence.release_ms=%f", s.releaseMs);
        TAVOAUDIO doc = MakeDocument(8000, {left, right});
        const std::vector<std::vector<float>> stored = {Samples(doc, 0), Samples(doc, 1)};
        const auto keep = ModelKeep(stored, 8000, -30.0, s);
        EXPECT_TRUE(TAVOAUDIO_TrimEdgeSilence(doc, -30.0, nullptr));
        EXPECT_EQ(Samples(doc, 0), Slice(stored[0], keep.first, keep.second));
        EXPECT_EQ(Samples(doc, 1), Slice(stored[1], keep.first, keep.second));
        EXPECT_EQ(NextUndo(doc), "Trim Edge Silence");
        TAVOAUDIO_Close(doc);
        return keep;
    };
    // Soft parts 10 dB under the threshold stay; the 12.5 ms hole is bridged.
    const auto wide = check({10.0, 20.0, 5.0, 10.0});
    EXPECT_EQ(wide, (std::pair<int64_t, int64_t>{1850 - 40, 1850 + 150 + 50 + 3000 + 400 + 100 + 200 + 80}));
    const auto narrow = check({0.0, 20.0, 5.0, 10.0});   // only the loud tone
    EXPECT_GT(narrow.first, wide.first);
    EXPECT_LT(narrow.second, wide.second);
    const auto unbridged = check({10.0, 5.0, 0.0, 0.0});   // the tail stops before the hole
    EXPECT_EQ(unbridged.second, 1850 + 150 + 50 + 3000 + 400);
    for (const char *key : {"libtavo.edgesilence.extension_range_db", "libtavo.edgesilence.max_bridge_gap_ms",
                            "libtavo.edgesilence.preroll_ms", "libtavo.edgesilence.release_ms"})
        BLSETTINGS_ResetEx(nullptr, "%s", key);
    TAVOAUDIO quiet = MakeDocument(8000, {std::vector<float>(5000, 0.001f)});
    EXPECT_FALSE(TAVOAUDIO_TrimEdgeSilence(quiet, -40.0, nullptr));
    EXPECT_FALSE(TAVOAUDIO_TrimEdgeSilence(quiet, NAN, nullptr));
    EXPECT_EQ(Frames(quiet), 5000);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(quiet), 0);
    TAVOAUDIO_Close(quiet);
}

class TavoFormat : public ::testing::Test {
protected:
    TAVOAUDIO doc = MakeDocument(8000, {Ramp(4000, 0.6f), Ramp(4000, -0.3f)});
    std::vector<float> left = Samples(doc, 0), right = Samples(doc, 1);   // as stored (16-bit)
    ~TavoFormat() override { TAVOAUDIO_Close(doc); }
};

TEST_F(TavoFormat, SwapChannelsWholeAndWithinSelections)
{
    ASSERT_TRUE(TAVOAUDIO_SwapChannels(doc, nullptr));
    EXPECT_EQ(Samples(doc, 0), right);
    EXPECT_EQ(Samples(doc, 1), left);
    EXPECT_EQ(NextUndo(doc), "Swap Channels");
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    ASSERT_EQ(TAVOAUDIO_AddSelectionEx(doc, 100, 300, -1, 0), 1);
    ASSERT_TRUE(TAVOAUDIO_SwapChannelsFromSelectionsEx(doc, nullptr, nullptr));
    EXPECT_EQ(Samples(doc, 0), Join({Slice(left, 0, 100), Slice(right, 100, 300), Slice(left, 300, 4000)}));
    TAVOAUDIO mono = MakeDocument(8000, {left});
    EXPECT_FALSE(TAVOAUDIO_SwapChannels(mono, nullptr));
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(mono), 0);
    TAVOAUDIO_Close(mono);
}

TEST_F(TavoFormat, RateChangeResamplesAndMovesCursorAndSelections)
{
    ASSERT_EQ(TAVOAUDIO_AddSelectionEx(doc, 1000, 2000, -1, 0), 1);
    ASSERT_TRUE(TAVOAUDIO_SetCursorPositionEx2(doc, 3000, 0));
    ASSERT_TRUE(TAVOAUDIO_ChangeAudioFormat(doc, 16000, 0, nullptr, nullptr, nullptr));
    // Positions double; 2 frames allow for the resampler's rounding.
    EXPECT_EQ(AUDIOSIGNAL_SampleRate(TAVOAUDIO_GetAudioSignal(doc)), 16000);
    EXPECT_EQ(AUDIOSIGNAL_NumChannels(TAVOAUDIO_GetAudioSignal(doc)), 2);
    EXPECT_NEAR(static_cast<double>(Frames(doc)), 8000.0, 2.0);
    EXPECT_NEAR(static_cast<double>(TAVOAUDIO_GetCursorPosition(doc)), 6000.0, 2.0);
    EXPECT_NEAR(static_cast<double>(TAVOAUDIO_SelectionBegin(doc)), 2000.0, 2.0);
    EXPECT_NEAR(static_cast<double>(TAVOAUDIO_SelectionEnd(doc)), 4000.0, 2.0);
    EXPECT_EQ(NextUndo(doc), "Change Audio Format");
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(AUDIOSIGNAL_SampleRate(TAVOAUDIO_GetAudioSignal(doc)), 8000);
    EXPECT_EQ(Samples(doc, 0), left);
    EXPECT_EQ(TAVOAUDIO_GetCursorPosition(doc), 3000);
}

TEST_F(TavoFormat, ChannelChangesKeepTheMaskValidAndBadArgumentsFail)
{
    EXPECT_TRUE(TAVOAUDIO_ChangeAudioFormat(doc, 8000, 2, "", "none", nullptr));   // nothing to change
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
    EXPECT_FALSE(TAVOAUDIO_ChangeAudioFormat(doc, -5, 0, nullptr, nullptr, nullptr));
    EXPECT_FALSE(TAVOAUDIO_ChangeAudioFormat(doc, 8000, 2, nullptr, "sparkly", nullptr));
    EXPECT_NE(TAVOAUDIO_GetLastError(doc, false), 0u);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
    ASSERT_TRUE(TAVOAUDIO_ChangeAudioFormat(doc, 0, 1, nullptr, nullptr, "Downmix"));
    EXPECT_EQ(AUDIOSIGNAL_NumChannels(TAVOAUDIO_GetAudioSignal(doc)), 1);
    EXPECT_EQ(Frames(doc), 4000);
    EXPECT_EQ(TAVOAUDIO_GetChannelMask(doc), 1u);
    EXPECT_NEAR(Samples(doc)[1234], (left[1234] + right[1234]) / 2.0f, 4e-5);   // one 16-bit step
    EXPECT_EQ(NextUndo(doc), "Downmix");
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(TAVOAUDIO_GetChannelMask(doc), 3u);
    EXPECT_EQ(Samples(doc, 1), right);
    ASSERT_TRUE(TAVOAUDIO_ChangeAudioFormat(doc, 0, 0, "0;1|1;0", nullptr, nullptr));   // a swapping mix
    EXPECT_EQ(Samples(doc, 0), right);
    EXPECT_EQ(Samples(doc, 1), left);
}

}  // namespace
