// trim_format_test.cpp: trimming (to the selections, left, right, edge
// silence), channel swaps and format changes, against computations on raw
// sample vectors, with their undo steps.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "audiosignal.h"
#include "blsettings.h"
#include "document_fixture.h"
#include "edit_helpers.h"
#include "tavoaudio.h"
#include "tavoedit.h"
#include "tavoselection.h"
#include "tavoundo.h"
#include "tavozoom.h"

namespace {

using tavotest::MakeDocument;

using Channels = std::vector<std::vector<float>>;

std::vector<float> Samples(TAVOAUDIO doc, int32_t channel)
{
    AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(doc);
    std::vector<float> out(static_cast<size_t>(AUDIOSIGNAL_NumFrames(signal)));
    AUDIOSIGNAL_GetChannelSamplesEx(signal, channel, 0, static_cast<int64_t>(out.size()), out.data());
    return out;
}

int64_t Frames(TAVOAUDIO doc) { return AUDIOSIGNAL_NumFrames(TAVOAUDIO_GetAudioSignal(doc)); }

std::string NextUndo(TAVOAUDIO doc)
{
    char label[TAVOUNDO_LABEL_SIZE] = "";
    return TAVOAUDIO_NextUndoLabel(doc, label, sizeof label) ? std::string(label) : std::string("<none>");
}

// Every frame a different value (the period is longer than any test
// signal), so that any misplaced frame shows.
std::vector<float> Ramp(size_t frames, float scale)
{
    std::vector<float> v(frames);
    for (size_t i = 0; i < frames; ++i) v[i] = scale * (static_cast<float>(i % 7919) / 7919.0f - 0.5f);
    return v;
}

std::vector<float> Slice(const std::vector<float> &v, int64_t begin, int64_t end)
{
    return std::vector<float>(v.begin() + begin, v.begin() + end);
}

class TavoTrim : public ::testing::Test {
protected:
    std::vector<float> original = Ramp(6000, 0.8f);
    TAVOAUDIO doc = MakeDocument(8000, {original});
    TavoTrim()
    {
        BLSETTINGS_ChangeEx(nullptr, "libtavo.editoptions.smoothboundaries=%d", 0);
        original = Samples(doc, 0);   // as stored (16-bit)
    }
    ~TavoTrim() override
    {
        TAVOAUDIO_Close(doc);
        BLSETTINGS_ResetEx(nullptr, "libtavo.editoptions.smoothboundaries");
    }
    void Select(int64_t begin, int64_t end) { ASSERT_EQ(TAVOAUDIO_AddSelectionEx(doc, begin, end, -1, 0), 1); }
};

TEST_F(TavoTrim, TrimKeepsEachSelectedPieceJoinedInOrder)
{
    Select(100, 200);
    Select(500, 800);
    ASSERT_TRUE(TAVOAUDIO_Trim(doc, nullptr));
    std::vector<float> expected = Slice(original, 100, 200);
    const std::vector<float> second = Slice(original, 500, 800);
    expected.insert(expected.end(), second.begin(), second.end());
    EXPECT_EQ(Samples(doc, 0), expected);
    EXPECT_EQ(NextUndo(doc), "Trim");
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 1);
    EXPECT_EQ(TAVOAUDIO_CountSelections(doc), 0);
    EXPECT_EQ(TAVOAUDIO_GetCursorPosition(doc), 0);

    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(Samples(doc, 0), original);
    EXPECT_EQ(TAVOAUDIO_CountSelections(doc), 2);
}

TEST_F(TavoTrim, TrimWithoutSelectionIsRefused)
{
    EXPECT_FALSE(TAVOAUDIO_Trim(doc, nullptr));
    EXPECT_EQ(Frames(doc), 6000);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
}

TEST_F(TavoTrim, TrimLeftRemovesBeforeTheFirstSelectionAndShiftsIt)
{
    Select(1000, 1500);
    Select(3000, 3200);
    ASSERT_TRUE(TAVOAUDIO_TrimLeft(doc, nullptr));
    EXPECT_EQ(Samples(doc, 0), Slice(original, 1000, 6000));
    EXPECT_EQ(NextUndo(doc), "Trim Left");
    // The selections still cover the same audio.
    const TAVOSELECTION first = TAVOAUDIO_FirstSelection(doc);
    EXPECT_EQ(TAVOSELECTION_GetBegin(doc, &first), 0);
    const TAVOSELECTION last = TAVOAUDIO_LastSelection(doc);
    EXPECT_EQ(TAVOSELECTION_GetBegin(doc, &last), 2000);
    EXPECT_EQ(TAVOSELECTION_GetEnd(doc, &last), 2200);
}

TEST_F(TavoTrim, TrimLeftAndRightUseTheCursorWithoutSelection)
{
    ASSERT_TRUE(TAVOAUDIO_SetCursorPositionEx2(doc, 700, 0));
    ASSERT_TRUE(TAVOAUDIO_TrimLeft(doc, nullptr));
    EXPECT_EQ(Samples(doc, 0), Slice(original, 700, 6000));
    EXPECT_EQ(TAVOAUDIO_GetCursorPosition(doc), 0);

    ASSERT_TRUE(TAVOAUDIO_SetCursorPositionEx2(doc, 4000, 0));
    ASSERT_TRUE(TAVOAUDIO_TrimRight(doc, nullptr));
    EXPECT_EQ(Samples(doc, 0), Slice(original, 700, 4700));
    EXPECT_EQ(NextUndo(doc), "Trim Right");

    // The cursor at the end: nothing to remove, success without a step.
    ASSERT_TRUE(TAVOAUDIO_SetCursorPositionEx2(doc, Frames(doc), 0));
    EXPECT_TRUE(TAVOAUDIO_TrimRight(doc, nullptr));
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 2);

    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(Samples(doc, 0), original);
}

TEST_F(TavoTrim, TrimRightRemovesAfterTheLastSelection)
{
    Select(200, 300);
    Select(2500, 2600);
    ASSERT_TRUE(TAVOAUDIO_TrimRight(doc, nullptr));
    EXPECT_EQ(Samples(doc, 0), Slice(original, 0, 2600));
    EXPECT_EQ(TAVOAUDIO_CountSelections(doc), 2);
}

// ---- edge silence ---------------------------------------------------------------

struct EdgeSettings {
    double extensionDb, bridgeMs, prerollMs, releaseMs;
};

// The stretch that edge-silence trimming keeps, computed frame by frame:
// the first and last frame above the threshold in any channel, grown
// outwards over frames above (threshold - extension) until a run of
// bridge-gap quiet frames, then pre-roll and release added.
std::pair<int64_t, int64_t> ModelKeep(const Channels &ch, int32_t rate, double thresholdDb, const EdgeSettings &s)
{
    const int64_t n = static_cast<int64_t>(ch[0].size());
    auto above = [&](int64_t i, double level) {
        for (const auto &c : ch)
            if (std::fabs(static_cast<double>(c[static_cast<size_t>(i)])) > level) return true;
        return false;
    };
    const double threshold = std::pow(10.0, thresholdDb / 20.0);
    const double quiet = std::pow(10.0, (thresholdDb - s.extensionDb) / 20.0);
    const int64_t gap = std::max<int64_t>(1, std::llround(s.bridgeMs * rate / 1000.0));
    int64_t first = -1, last = -1;
    for (int64_t i = 0; i < n; ++i)
        if (above(i, threshold)) {
            if (first < 0) first = i;
            last = i;
        }
    if (first < 0) return {-1, -1};
    int64_t begin = first, end = last + 1, run = 0;
    for (int64_t i = first - 1; i >= 0; --i) {
        if (above(i, quiet)) {
            begin = i;
            run = 0;
        } else if (++run >= gap) {
            break;
        }
    }
    run = 0;
    for (int64_t i = last + 1; i < n; ++i) {
        if (above(i, quiet)) {
            end = i + 1;
            run = 0;
        } else if (++run >= gap) {
            break;
        }
    }
    begin = std::max<int64_t>(0, begin - std::llround(s.prerollMs * rate / 1000.0));
    end = std::min<int64_t>(n, end + std::llround(s.releaseMs * rate / 1000.0));
    return {begin, end};
}

class TavoTrimEdgeSilence : public ::testing::Test {
protected:
    static constexpr int32_t kRate = 8000;
    Channels channels;

    TavoTrimEdgeSilence()
    {
        // Left: 2000 silent frames, a 150-frame soft lead-in, a loud tone,
        // a soft tail with a 100-frame hole in it, then silence. Right: the
        // tone starts 50 frames before the left one's.
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
        channels = {left, right};
    }
    ~TavoTrimEdgeSilence() override
    {
        for (const char *key : {"libtavo.edgesilence.extension_range_db", "libtavo.edgesilence.max_bridge_gap_ms",
                                "libtavo.edgesilence.preroll_ms", "libtavo.edgesilence.release_ms"})
            BLSETTINGS_ResetEx(nullptr, "%s", key);
    }

    // Trims a fresh document with `s` and compares with the model; returns
    // the kept stretch.
    std::pair<int64_t, int64_t> Check(const EdgeSettings &s, double thresholdDb)
    {
        BLSETTINGS_ChangeEx(nullptr, "libtavo.edgesilence.extension_range_db=%f", s.extensionDb);
        BLSETTINGS_ChangeEx(nullptr, "libtavo.edgesilence.max_bridge_gap_ms=%f", s.bridgeMs);
        BLSETTINGS_ChangeEx(nullptr, "libtavo.edgesilence.preroll_ms=%f", s.prerollMs);
        BLSETTINGS_ChangeEx(nullptr, "libtavo.edgesilence.release_ms=%f", s.releaseMs);
        TAVOAUDIO doc = MakeDocument(kRate, channels);
        channels = {Samples(doc, 0), Samples(doc, 1)};   // as stored (16-bit)
        const auto expected = ModelKeep(channels, kRate, thresholdDb, s);
        EXPECT_TRUE(TAVOAUDIO_TrimEdgeSilence(doc, thresholdDb, nullptr));
        EXPECT_EQ(Samples(doc, 0), Slice(channels[0], expected.first, expected.second));
        EXPECT_EQ(Samples(doc, 1), Slice(channels[1], expected.first, expected.second));
        EXPECT_EQ(NextUndo(doc), "Trim Edge Silence");
        TAVOAUDIO_Close(doc);
        return expected;
    }
};

TEST_F(TavoTrimEdgeSilence, KeptStretchMatchesAFrameByFrameScan)
{
    // Soft parts 10 dB under a -30 dB threshold stay, the 12.5 ms hole is
    // bridged by a 20 ms gap.
    const auto wide = Check({10.0, 20.0, 5.0, 10.0}, -30.0);
    EXPECT_EQ(wide.first, 1850 - 40);
    EXPECT_EQ(wide.second, 1850 + 150 + 50 + 3000 + 400 + 100 + 200 + 80);
    // No extension: only the loud part and its pre-roll and release.
    const auto narrow = Check({0.0, 20.0, 5.0, 10.0}, -30.0);
    EXPECT_GT(narrow.first, wide.first);
    EXPECT_LT(narrow.second, wide.second);
    // A 5 ms gap does not bridge the hole: the tail stops before it.
    const auto unbridged = Check({10.0, 5.0, 0.0, 0.0}, -30.0);
    EXPECT_EQ(unbridged.second, 1850 + 150 + 50 + 3000 + 400);
}

TEST_F(TavoTrimEdgeSilence, AllSilentSignalIsRefusedAndKept)
{
    TAVOAUDIO doc = MakeDocument(kRate, {std::vector<float>(5000, 0.001f)});
    EXPECT_FALSE(TAVOAUDIO_TrimEdgeSilence(doc, -40.0, nullptr));
    EXPECT_EQ(Frames(doc), 5000);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
    EXPECT_FALSE(TAVOAUDIO_TrimEdgeSilence(doc, NAN, nullptr));
    TAVOAUDIO_Close(doc);
}

// ---- channels and format --------------------------------------------------------

class TavoFormat : public ::testing::Test {
protected:
    std::vector<float> left = Ramp(4000, 0.6f), right = Ramp(4000, -0.3f);
    TAVOAUDIO doc = MakeDocument(8000, {left, right});
    TavoFormat()
    {
        left = Samples(doc, 0);   // as stored (16-bit)
        right = Samples(doc, 1);
    }
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
    const std::vector<float> a = Samples(doc, 0);
    for (size_t i = 0; i < a.size(); ++i) ASSERT_EQ(a[i], (i >= 100 && i < 300) ? right[i] : left[i]) << i;

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
    AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(doc);
    // Doubling the rate doubles every frame position; 2 frames allow for
    // the resampler's rounding of the length.
    EXPECT_EQ(AUDIOSIGNAL_SampleRate(signal), 16000);
    EXPECT_EQ(AUDIOSIGNAL_NumChannels(signal), 2);
    EXPECT_NEAR(static_cast<double>(AUDIOSIGNAL_NumFrames(signal)), 8000.0, 2.0);
    EXPECT_NEAR(static_cast<double>(TAVOAUDIO_GetCursorPosition(doc)), 6000.0, 2.0);
    EXPECT_NEAR(static_cast<double>(TAVOAUDIO_SelectionBegin(doc)), 2000.0, 2.0);
    EXPECT_NEAR(static_cast<double>(TAVOAUDIO_SelectionEnd(doc)), 4000.0, 2.0);
    EXPECT_EQ(NextUndo(doc), "Change Audio Format");

    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(AUDIOSIGNAL_SampleRate(TAVOAUDIO_GetAudioSignal(doc)), 8000);
    EXPECT_EQ(Samples(doc, 0), left);
    EXPECT_EQ(TAVOAUDIO_GetCursorPosition(doc), 3000);
}

TEST_F(TavoFormat, ChannelChangesKeepTheMaskValid)
{
    ASSERT_TRUE(TAVOAUDIO_ChangeAudioFormat(doc, 0, 1, nullptr, nullptr, "Downmix"));
    EXPECT_EQ(AUDIOSIGNAL_NumChannels(TAVOAUDIO_GetAudioSignal(doc)), 1);
    EXPECT_EQ(Frames(doc), 4000);
    EXPECT_EQ(TAVOAUDIO_GetChannelMask(doc), 1u);
    const std::vector<float> mono = Samples(doc, 0);
    EXPECT_NEAR(mono[1234], (left[1234] + right[1234]) / 2.0f, 4e-5);   // the average, one 16-bit step
    EXPECT_EQ(NextUndo(doc), "Downmix");

    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(AUDIOSIGNAL_NumChannels(TAVOAUDIO_GetAudioSignal(doc)), 2);
    EXPECT_EQ(TAVOAUDIO_GetChannelMask(doc), 3u);
    EXPECT_EQ(Samples(doc, 1), right);

    // A mix that swaps the two channels.
    ASSERT_TRUE(TAVOAUDIO_ChangeAudioFormat(doc, 0, 0, "0;1|1;0", nullptr, nullptr));
    EXPECT_EQ(Samples(doc, 0), right);
    EXPECT_EQ(Samples(doc, 1), left);
}

TEST_F(TavoFormat, NothingToChangeRecordsNoStepAndBadArgumentsFail)
{
    EXPECT_TRUE(TAVOAUDIO_ChangeAudioFormat(doc, 0, 0, nullptr, nullptr, nullptr));
    EXPECT_TRUE(TAVOAUDIO_ChangeAudioFormat(doc, 8000, 2, "", "none", nullptr));
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);

    EXPECT_FALSE(TAVOAUDIO_ChangeAudioFormat(doc, -5, 0, nullptr, nullptr, nullptr));
    EXPECT_FALSE(TAVOAUDIO_ChangeAudioFormat(doc, 8000, 2, nullptr, "sparkly", nullptr));
    EXPECT_NE(TAVOAUDIO_GetLastError(doc, false), 0u);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
    EXPECT_EQ(Samples(doc, 0), left);
}

}  // namespace
