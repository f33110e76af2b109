// transform_test.cpp: the sample transforms of a document (invert, silence,
// reverse, gain, normalisation, effect texts, fades, DC removal) against
// vectors read before, and the one undo step each leaves.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numeric>
#include <vector>

#include "../../frame/document_p.h"
#include "../../view/state_p.h"
#include "doc_helpers.h"

namespace {

using namespace tavotest;

// Largest absolute sample over all channels.
double Peak(TAVOAUDIO doc)
{
    double peak = 0.0;
    for (int32_t c = 0; c < AUDIOSIGNAL_NumChannels(TAVOAUDIO_GetAudioSignal(doc)); ++c)
        for (float v : Samples(doc, c)) peak = std::max(peak, std::fabs(static_cast<double>(v)));
    return peak;
}

class TavoTransform : public ::testing::Test {
protected:
    TAVOAUDIO doc = MakeSineDocument(8000, 2, 0.5);   // 4000 frames, half-scale sine
    ~TavoTransform() override { TAVOAUDIO_Close(doc); }
};

// `v` with the samples in [begin, end) negated.
std::vector<float> Negated(std::vector<float> v, size_t begin, size_t end)
{
    for (size_t i = begin; i < end; ++i) v[i] = -v[i];
    return v;
}

TEST_F(TavoTransform, InvertNegatesAllOrTheSelectionsInOneStep)
{
    const std::vector<float> left = Samples(doc, 0), right = Samples(doc, 1);
    ASSERT_TRUE(TAVOAUDIO_Invert(doc, nullptr));   // no selection: everything
    EXPECT_EQ(Samples(doc, 0), Negated(left, 0, left.size()));
    EXPECT_EQ(Samples(doc, 1), Negated(right, 0, right.size()));
    EXPECT_EQ(NextUndo(doc), "Invert");
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));

    ASSERT_TRUE(Select(doc, {{100, 200}, {500, 700}}));
    ASSERT_TRUE(TAVOAUDIO_Invert(doc, nullptr));
    EXPECT_EQ(Samples(doc, 0), Negated(Negated(left, 100, 200), 500, 700));
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 1);
    EXPECT_EQ(NextUndo(doc), "Invert");
    EXPECT_EQ(TAVOAUDIO_CountSelections(doc), 2);
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(Samples(doc, 0), left);
}

TEST_F(TavoTransform, RefusalsLeaveSignalAndHistoryAlone)
{
    const std::vector<float> before = Samples(doc, 0);
    doc->flags &= ~TAVOAUDIO_FLAG_EDITABLE;
    EXPECT_FALSE(TAVOAUDIO_Invert(doc, nullptr));
    EXPECT_FALSE(TAVOAUDIO_Transform(doc, "gain[db=3]", nullptr));
    EXPECT_FALSE(TAVOAUDIO_TrimLeft(doc, nullptr));
    doc->flags |= TAVOAUDIO_FLAG_EDITABLE;

    doc->state->visualToolKind = 1;
    EXPECT_FALSE(TAVOAUDIO_Invert(doc, nullptr));
    EXPECT_FALSE(TAVOAUDIO_FadeIn(doc, nullptr, nullptr));
    EXPECT_FALSE(TAVOAUDIO_NormalizeEx2(doc, nullptr, nullptr));
    doc->state->visualToolKind = 0;
    EXPECT_EQ(Samples(doc, 0), before);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
    EXPECT_FALSE(TAVOAUDIO_Silence(nullptr, nullptr));
}

TEST_F(TavoTransform, SilenceAndReverseActOnTheSelectionOnly)
{
    ASSERT_TRUE(Select(doc, {{123, 2345}}));
    std::vector<float> expected = Samples(doc, 0);
    std::reverse(expected.begin() + 123, expected.begin() + 2345);
    ASSERT_TRUE(TAVOAUDIO_ReverseEx2(doc, nullptr, nullptr, false));
    EXPECT_EQ(Samples(doc, 0), expected);
    EXPECT_EQ(NextUndo(doc), "Reverse");

    // A list handed over with takeSelections: malloc'd nodes the library frees.
    auto *node = static_cast<TAVOSELECTION *>(std::calloc(1, sizeof(TAVOSELECTION)));
    TAVOSELECTION_Define(node, 0.0, 10.0 / 8000.0);
    std::reverse(expected.begin(), expected.begin() + 10);
    ASSERT_TRUE(TAVOAUDIO_ReverseEx2(doc, "Flip", node, true));
    EXPECT_EQ(Samples(doc, 0), expected);
    std::fill(expected.begin() + 123, expected.begin() + 2345, 0.0f);
    ASSERT_TRUE(TAVOAUDIO_Silence(doc, "Mute it"));
    EXPECT_EQ(Samples(doc, 0), expected);
    EXPECT_EQ(NextUndo(doc), "Mute it");
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 3);
}

TEST_F(TavoTransform, EffectTextsAndTheirFailures)
{
    const std::vector<float> before = Samples(doc, 0);
    EXPECT_FALSE(TAVOAUDIO_Transform(doc, "nosuchfx", nullptr));
    EXPECT_EQ(TAVOAUDIO_GetLastError(doc, false), 11u);   // the code of AUDIO_ERROR_UNKNOWN_EFFECT
    EXPECT_EQ(Samples(doc, 0), before);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
    ASSERT_TRUE(TAVOAUDIO_Transform(doc, "gain[db=-6.0206]", nullptr));
    EXPECT_EQ(TAVOAUDIO_GetLastError(doc, false), 0u);   // reset by the call
    EXPECT_EQ(NextUndo(doc), "FX Trasnform");
    const std::vector<float> after = Samples(doc, 0);
    // 1e-4: a few steps of 16-bit rounding.
    for (size_t i = 0; i < before.size(); i += 37) EXPECT_NEAR(after[i], before[i] * 0.5f, 1e-4) << i;
}

TEST_F(TavoTransform, NormalizeToFullScaleOrTheLevelGuidesInOneStep)
{
    // The sampled peak lies a little under 0.5; the result within 16-bit rounding.
    ASSERT_NEAR(Peak(doc), 0.5, 1e-3);
    ASSERT_TRUE(TAVOAUDIO_NormalizeEx2(doc, nullptr, nullptr));
    EXPECT_NEAR(Peak(doc), 1.0, 1e-4);
    EXPECT_EQ(NextUndo(doc), "Normalize");
    ASSERT_TRUE(TAVOAUDIO_NormalizeEx2(doc, nullptr, nullptr));   // gain 1: no step
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 1);
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));

    BLSETTINGS_ChangeEx(nullptr, "libtavo.editoptions.normalize_to_levelguides=%d", 1);
    BLSETTINGS_ChangeEx(nullptr, "libtavo.tavocanvas.levelguides.value=%f", 0.25);
    const bool ok = TAVOAUDIO_NormalizeEx2(doc, nullptr, nullptr);
    BLSETTINGS_ResetEx(nullptr, "libtavo.editoptions.normalize_to_levelguides");
    BLSETTINGS_ResetEx(nullptr, "libtavo.tavocanvas.levelguides.value");
    ASSERT_TRUE(ok);
    EXPECT_NEAR(Peak(doc), 0.25, 1e-4);

    TAVOAUDIO silent = MakeDocument(8000, {std::vector<float>(1000, 0.0f)});
    EXPECT_TRUE(TAVOAUDIO_NormalizeEx2(silent, nullptr, nullptr));
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(silent), 0);
    TAVOAUDIO_Close(silent);
}

TEST(TavoTransformMinMax, SelectionMinMaxMatchesAScanOfTheSamples)
{
    std::vector<float> wave(20000);
    for (size_t i = 0; i < wave.size(); ++i) wave[i] = std::sin(static_cast<float>(i) * 0.001f) * 0.9f;
    TAVOAUDIO doc = MakeDocument(8000, {wave});
    ASSERT_NE(doc, nullptr);
    ASSERT_TRUE(Select(doc, {{300, 700}, {5000, 9000}}));
    wave = Samples(doc, 0);   // as stored (16-bit)
    float lo = 1.0f, hi = -1.0f;
    for (size_t i = 0; i < wave.size(); ++i) {
        if ((i >= 300 && i < 700) || (i >= 5000 && i < 9000)) {
            lo = std::min(lo, wave[i]);
            hi = std::max(hi, wave[i]);
        }
    }
    double minimum = 0.0, maximum = 0.0;
    ASSERT_TRUE(TAVOAUDIO_GetChannelSelectionMinMaxEx(doc, 0, nullptr, &minimum, &maximum));
    EXPECT_EQ(minimum, lo);
    EXPECT_EQ(maximum, hi);
    EXPECT_FALSE(TAVOAUDIO_GetChannelSelectionMinMaxEx(doc, 1, nullptr, &minimum, &maximum));   // mono
    EXPECT_FALSE(TAVOAUDIO_GetChannelSelectionMinMaxEx(doc, -1, nullptr, &minimum, &maximum));
    TAVOAUDIO_Close(doc);
}

// A constant level shows the gain of a fade directly.
class TavoTransformFade : public ::testing::Test {
protected:
    TAVOAUDIO doc = MakeDocument(8000, {std::vector<float>(4000, 0.5f)});
    ~TavoTransformFade() override { TAVOAUDIO_Close(doc); }

    // The samples over [begin, end) only rise (or only fall).
    void ExpectMonotone(int64_t begin, int64_t end, bool rising)
    {
        const std::vector<float> s = Samples(doc, 0);
        for (int64_t i = begin + 1; i < end; ++i) ASSERT_TRUE(rising ? s[i] >= s[i - 1] : s[i] <= s[i - 1]) << i;
    }
};

TEST_F(TavoTransformFade, FadesAndGainRampsFollowTheirCurveAndUnknownCurvesAreRefused)
{
    ASSERT_EQ(TAVOAUDIO_AddSelectionEx(doc, 1000, 2000, -1, 0), 1);
    ASSERT_TRUE(TAVOAUDIO_FadeIn(doc, "linear", nullptr));
    std::vector<float> s = Samples(doc, 0);
    EXPECT_EQ(s[1000], 0.0f);
    EXPECT_FLOAT_EQ(s[1999], 0.5f);
    EXPECT_EQ(s[999], 0.5f);
    EXPECT_EQ(s[2000], 0.5f);
    ExpectMonotone(1000, 2000, true);
    EXPECT_NEAR(s[1500], 0.25f, 0.01f);   // a straight line: 0.5 x 500/999
    EXPECT_EQ(NextUndo(doc), "Fade In");
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    TAVOAUDIO_ClearSelectionEx2(doc, nullptr, 0);
    ASSERT_TRUE(TAVOAUDIO_FadeIn(doc, "Quadratic-Decelerating", nullptr));
    s = Samples(doc, 0);
    EXPECT_EQ(s.front(), 0.0f);
    EXPECT_FLOAT_EQ(s.back(), 0.5f);
    ExpectMonotone(0, 4000, true);
    EXPECT_GT(s[2000], 0.3f);   // decelerating: above the straight line halfway
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_FALSE(TAVOAUDIO_FadeOut(doc, "Wobbly", nullptr));
    EXPECT_FALSE(TAVOAUDIO_FadeOut(doc, "Quadratic-Sideways", nullptr));
    EXPECT_EQ(Samples(doc, 0), std::vector<float>(4000, 0.5f));
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
    ASSERT_TRUE(TAVOAUDIO_FadeOut(doc, nullptr, nullptr));
    s = Samples(doc, 0);
    EXPECT_FLOAT_EQ(s.front(), 0.5f);
    EXPECT_EQ(s.back(), 0.0f);
    ExpectMonotone(0, 4000, false);
    EXPECT_EQ(NextUndo(doc), "Fade Out");
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));

    // The gain ramp flag moves from unity to the gain.
    double gains[AUDIO_MAX_CHANNELS] = {}, offsets[AUDIO_MAX_CHANNELS];
    ASSERT_TRUE(TAVOAUDIO_LinearTransformSelectionEx2(doc, gains, nullptr, nullptr, nullptr, 1));
    s = Samples(doc, 0);
    EXPECT_FLOAT_EQ(s.front(), 0.5f);
    EXPECT_EQ(s.back(), 0.0f);
    ExpectMonotone(0, 4000, false);
    EXPECT_EQ(NextUndo(doc), "Gain/Offset Transform");

    // Without the flag one gain and offset hold everywhere.
    std::fill(std::begin(gains), std::end(gains), 2.0);
    std::fill(std::begin(offsets), std::end(offsets), 0.125);
    ASSERT_TRUE(TAVOAUDIO_LinearTransform(doc, gains, offsets, nullptr));
    EXPECT_FLOAT_EQ(Samples(doc, 0).front(), 1.125f);
    EXPECT_EQ(NextUndo(doc), "Change Gain/Offset");
}

TEST(TavoTransformDC, RemoveDCCentresEachChannel)
{
    std::vector<float> left(3000), right(3000);
    for (size_t i = 0; i < left.size(); ++i) {
        left[i] = 0.25f + 0.5f * std::sin(static_cast<float>(i) * 0.05f);
        right[i] = -0.1f + 0.3f * std::cos(static_cast<float>(i) * 0.02f);
    }
    TAVOAUDIO doc = MakeDocument(8000, {left, right});
    ASSERT_NE(doc, nullptr);
    left = Samples(doc, 0);   // as stored (16-bit)
    ASSERT_TRUE(TAVOAUDIO_RemoveDC(doc, nullptr));
    auto mean = [](const std::vector<float> &s) { return std::accumulate(s.begin(), s.end(), 0.0) / s.size(); };
    EXPECT_NEAR(mean(Samples(doc, 0)), 0.0, 1e-4);   // 16-bit rounding of the result
    EXPECT_NEAR(mean(Samples(doc, 1)), 0.0, 1e-4);
    EXPECT_NEAR(Samples(doc, 0)[7], left[7] - mean(left), 1e-4);
    EXPECT_EQ(NextUndo(doc), "Remove DC");
    TAVOAUDIO_Close(doc);
}

// Four hours of silence with one loud frame near the end: measuring and edge
// trimming read the block summaries instead of 690 million frames.
TEST(TavoTransformLong, HugeSignalsAreMeasuredFromTheirSummaries)
{
    const int64_t frames = int64_t{48000} * 3600 * 4;
    AUDIOSIGNAL empty = AUDIOSIGNAL_New("AUTO[sr=48000,nc=1]");
    AUDIOSIGNAL signal = AUDIOSIGNAL_CreateSilence(frames, AUDIOSIGNAL_GetFormat(empty));
    AUDIOSIGNAL_Destroy(empty);
    ASSERT_NE(signal, nullptr);
    ASSERT_TRUE(AUDIOSIGNAL_SetSample(signal, 0, frames - 1000, 0.25));
    TAVOAUDIO doc = TAVOAUDIO_NewFromSignalEx(signal, false, 0);
    ASSERT_NE(doc, nullptr);
    double minimum = 1.0, maximum = -1.0;
    ASSERT_TRUE(TAVOAUDIO_GetChannelSelectionMinMaxEx(doc, 0, nullptr, &minimum, &maximum));
    EXPECT_EQ(minimum, 0.0);
    EXPECT_NEAR(maximum, 0.25, 1e-4);
    ASSERT_EQ(TAVOAUDIO_AddSelectionEx(doc, frames - 4800, frames, -1, 0), 1);   // normalising writes
    ASSERT_TRUE(TAVOAUDIO_NormalizeEx2(doc, nullptr, nullptr));
    EXPECT_NEAR(AUDIOSIGNAL_GetSample(TAVOAUDIO_GetAudioSignal(doc), 0, frames - 1000), 1.0, 1e-4);
    ASSERT_TRUE(TAVOAUDIO_TrimEdgeSilence(doc, -20.0, nullptr));
    EXPECT_LT(Frames(doc), 48000);
    TAVOAUDIO_Close(doc);
}

}  // namespace
