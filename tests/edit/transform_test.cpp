// transform_test.cpp: the sample transforms of a document (invert, silence,
// reverse, gain, normalisation, effect texts, fades, DC removal): what they
// do to the samples, against vectors read before, and the one undo step each
// leaves.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numeric>
#include <string>
#include <vector>

#include "../../frame/document_p.h"
#include "../../view/state_p.h"
#include "audioops.h"
#include "audiosignal.h"
#include "blsettings.h"
#include "document_fixture.h"
#include "edit_helpers.h"
#include "tavoaudio.h"
#include "tavoedit.h"
#include "tavoselection.h"
#include "tavoundo.h"

namespace {

using tavotest::MakeDocument;

std::vector<float> Samples(TAVOAUDIO doc, int32_t channel)
{
    AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(doc);
    std::vector<float> out(static_cast<size_t>(AUDIOSIGNAL_NumFrames(signal)));
    AUDIOSIGNAL_GetChannelSamplesEx(signal, channel, 0, static_cast<int64_t>(out.size()), out.data());
    return out;
}

std::string NextUndo(TAVOAUDIO doc)
{
    char label[TAVOUNDO_LABEL_SIZE] = "";
    return TAVOAUDIO_NextUndoLabel(doc, label, sizeof label) ? std::string(label) : std::string("<none>");
}

// Largest absolute sample over all channels, read sample by sample.
double Peak(TAVOAUDIO doc)
{
    double peak = 0.0;
    for (int32_t c = 0; c < AUDIOSIGNAL_NumChannels(TAVOAUDIO_GetAudioSignal(doc)); ++c)
        for (float v : Samples(doc, c)) peak = std::max(peak, std::fabs(static_cast<double>(v)));
    return peak;
}

class TavoTransform : public ::testing::Test {
protected:
    TAVOAUDIO doc = tavotest::MakeSineDocument(8000, 2, 0.5);   // 4000 frames, half-scale sine
    ~TavoTransform() override { TAVOAUDIO_Close(doc); }
    void Select(int64_t begin, int64_t end) { ASSERT_EQ(TAVOAUDIO_AddSelectionEx(doc, begin, end, -1, 0), 1); }
};

TEST_F(TavoTransform, InvertWithoutSelectionNegatesEverySampleOfEveryChannel)
{
    const std::vector<float> left = Samples(doc, 0), right = Samples(doc, 1);
    ASSERT_TRUE(TAVOAUDIO_Invert(doc, nullptr));
    const std::vector<float> newLeft = Samples(doc, 0), newRight = Samples(doc, 1);
    ASSERT_EQ(newLeft.size(), left.size());
    for (size_t i = 0; i < left.size(); ++i) {
        ASSERT_EQ(newLeft[i], -left[i]) << "frame " << i;
        ASSERT_EQ(newRight[i], -right[i]) << "frame " << i;
    }
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 1);
    EXPECT_EQ(NextUndo(doc), "Invert");
}

TEST_F(TavoTransform, InvertOfTwoSelectionsIsOneStepThatUndoes)
{
    Select(100, 200);
    Select(500, 700);
    const std::vector<float> before = Samples(doc, 0);
    ASSERT_TRUE(TAVOAUDIO_Invert(doc, nullptr));
    const std::vector<float> after = Samples(doc, 0);
    for (size_t i = 0; i < before.size(); ++i) {
        const bool inside = (i >= 100 && i < 200) || (i >= 500 && i < 700);
        ASSERT_EQ(after[i], inside ? -before[i] : before[i]) << "frame " << i;
    }
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 1);
    EXPECT_EQ(NextUndo(doc), "Invert");
    EXPECT_EQ(TAVOAUDIO_CountSelections(doc), 2);   // the effect keeps the selections

    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(Samples(doc, 0), before);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
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

    // Null handles: every command answers false.
    EXPECT_FALSE(TAVOAUDIO_Silence(nullptr, nullptr));
    EXPECT_FALSE(TAVOAUDIO_ReverseEx2(nullptr, nullptr, nullptr, false));
    EXPECT_FALSE(TAVOAUDIO_Transform(nullptr, "gain[db=1]", nullptr));
    EXPECT_FALSE(TAVOAUDIO_NormalizeEx2(nullptr, nullptr, nullptr));
    EXPECT_FALSE(TAVOAUDIO_GetChannelSelectionMinMaxEx(nullptr, 0, nullptr, nullptr, nullptr));
    EXPECT_FALSE(TAVOAUDIO_ChangeAudioFormat(nullptr, 8000, 1, nullptr, nullptr, nullptr));
    EXPECT_FALSE(TAVOAUDIO_TrimEdgeSilence(nullptr, -40.0, nullptr));
}

TEST_F(TavoTransform, SilenceZeroesOnlyTheSelection)
{
    Select(1000, 1500);
    const std::vector<float> before = Samples(doc, 1);
    ASSERT_TRUE(TAVOAUDIO_Silence(doc, "Mute it"));
    const std::vector<float> after = Samples(doc, 1);
    for (size_t i = 0; i < before.size(); ++i) ASSERT_EQ(after[i], (i >= 1000 && i < 1500) ? 0.0f : before[i]);
    EXPECT_EQ(NextUndo(doc), "Mute it");
}

TEST_F(TavoTransform, ReverseMatchesAReversedVector)
{
    Select(123, 2345);
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
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 2);
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
    // 1e-4: a few steps of 16-bit rounding (one step is 3.05e-5).
    for (size_t i = 0; i < before.size(); i += 37) EXPECT_NEAR(after[i], before[i] * 0.5f, 1e-4) << "frame " << i;
}

TEST_F(TavoTransform, NormalizeBringsThePeakToFullScaleInOneStep)
{
    // The sampled sine's peak lies a little under 0.5; the normalised peak
    // must hit the target within 16-bit rounding (1e-4, about 3 steps).
    ASSERT_NEAR(Peak(doc), 0.5, 1e-3);
    ASSERT_TRUE(TAVOAUDIO_NormalizeEx2(doc, nullptr, nullptr));
    EXPECT_NEAR(Peak(doc), 1.0, 1e-4);
    EXPECT_EQ(NextUndo(doc), "Normalize");
    // Already at full scale: the gain is 1 and no step is recorded.
    ASSERT_TRUE(TAVOAUDIO_NormalizeEx2(doc, nullptr, nullptr));
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 1);
}

TEST_F(TavoTransform, NormalizeToLevelGuidesWhenAsked)
{
    BLSETTINGS_ChangeEx(nullptr, "libtavo.editoptions.normalize_to_levelguides=%d", 1);
    BLSETTINGS_ChangeEx(nullptr, "libtavo.tavocanvas.levelguides.value=%f", 0.25);
    const bool ok = TAVOAUDIO_NormalizeEx2(doc, nullptr, nullptr);
    BLSETTINGS_ResetEx(nullptr, "libtavo.editoptions.normalize_to_levelguides");
    BLSETTINGS_ResetEx(nullptr, "libtavo.tavocanvas.levelguides.value");
    ASSERT_TRUE(ok);
    EXPECT_NEAR(Peak(doc), 0.25, 1e-4);
}

TEST(TavoTransformSilence, NormalizingSilenceSucceedsWithoutAStep)
{
    TAVOAUDIO doc = MakeDocument(8000, {std::vector<float>(1000, 0.0f)});
    ASSERT_NE(doc, nullptr);
    EXPECT_TRUE(TAVOAUDIO_NormalizeEx2(doc, nullptr, nullptr));
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
    TAVOAUDIO_Close(doc);
}

TEST(TavoTransformMinMax, SelectionMinMaxMatchesAScanOfTheSamples)
{
    std::vector<float> ramp(20000);
    for (size_t i = 0; i < ramp.size(); ++i) ramp[i] = std::sin(static_cast<float>(i) * 0.001f) * 0.9f;
    TAVOAUDIO doc = MakeDocument(8000, {ramp});
    ASSERT_NE(doc, nullptr);
    ASSERT_EQ(TAVOAUDIO_AddSelectionEx(doc, 300, 700, -1, 0), 1);
    ASSERT_EQ(TAVOAUDIO_AddSelectionEx(doc, 5000, 9000, -1, 0), 1);
    ramp = Samples(doc, 0);   // as stored (16-bit)
    float lo = 1.0f, hi = -1.0f;
    for (size_t i = 0; i < ramp.size(); ++i) {
        if ((i >= 300 && i < 700) || (i >= 5000 && i < 9000)) {
            lo = std::min(lo, ramp[i]);
            hi = std::max(hi, ramp[i]);
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

class TavoTransformFade : public ::testing::Test {
protected:
    // A constant level shows the gain of a fade directly.
    TAVOAUDIO doc = MakeDocument(8000, {std::vector<float>(4000, 0.5f)});
    ~TavoTransformFade() override { TAVOAUDIO_Close(doc); }

    // The gains over [begin, end) after the fade, checked for shape.
    void ExpectMonotone(int64_t begin, int64_t end, bool rising)
    {
        const std::vector<float> s = Samples(doc, 0);
        for (int64_t i = begin + 1; i < end; ++i) {
            if (rising) {
                ASSERT_GE(s[i], s[i - 1]) << "frame " << i;
            } else {
                ASSERT_LE(s[i], s[i - 1]) << "frame " << i;
            }
        }
    }
};

TEST_F(TavoTransformFade, FadeInRampsTheSelectionUpFromSilence)
{
    ASSERT_EQ(TAVOAUDIO_AddSelectionEx(doc, 1000, 2000, -1, 0), 1);
    ASSERT_TRUE(TAVOAUDIO_FadeIn(doc, "linear", nullptr));
    const std::vector<float> s = Samples(doc, 0);
    EXPECT_EQ(s[1000], 0.0f);
    EXPECT_FLOAT_EQ(s[1999], 0.5f);
    EXPECT_EQ(s[999], 0.5f);
    EXPECT_EQ(s[2000], 0.5f);
    ExpectMonotone(1000, 2000, true);
    EXPECT_NEAR(s[1500], 0.25f, 0.01f);   // a straight line: 0.5 x 500/999
    EXPECT_EQ(NextUndo(doc), "Fade In");
}

TEST_F(TavoTransformFade, NamedCurvesAreUsedAndUnknownNamesRefused)
{
    ASSERT_TRUE(TAVOAUDIO_FadeIn(doc, "Quadratic-Decelerating", nullptr));
    std::vector<float> s = Samples(doc, 0);
    EXPECT_EQ(s.front(), 0.0f);
    EXPECT_FLOAT_EQ(s.back(), 0.5f);
    ExpectMonotone(0, 4000, true);
    // Decelerating rises fast first: above the straight line halfway.
    EXPECT_GT(s[2000], 0.3f);
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));

    const std::vector<float> before = Samples(doc, 0);
    EXPECT_FALSE(TAVOAUDIO_FadeOut(doc, "Wobbly", nullptr));
    EXPECT_FALSE(TAVOAUDIO_FadeOut(doc, "Quadratic-Sideways", nullptr));
    EXPECT_EQ(Samples(doc, 0), before);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);

    ASSERT_TRUE(TAVOAUDIO_FadeOut(doc, nullptr, nullptr));
    s = Samples(doc, 0);
    EXPECT_FLOAT_EQ(s.front(), 0.5f);
    EXPECT_EQ(s.back(), 0.0f);
    ExpectMonotone(0, 4000, false);
    EXPECT_EQ(NextUndo(doc), "Fade Out");
}

TEST_F(TavoTransformFade, GainRampFlagMovesFromUnityToTheGain)
{
    double gains[AUDIO_MAX_CHANNELS];
    std::fill(std::begin(gains), std::end(gains), 0.0);
    ASSERT_TRUE(TAVOAUDIO_LinearTransformSelectionEx2(doc, gains, nullptr, nullptr, nullptr, 1));
    const std::vector<float> s = Samples(doc, 0);
    EXPECT_FLOAT_EQ(s.front(), 0.5f);
    EXPECT_EQ(s.back(), 0.0f);
    ExpectMonotone(0, 4000, false);
    EXPECT_EQ(NextUndo(doc), "Gain/Offset Transform");

    // Without the flag one gain and offset hold everywhere.
    double offsets[AUDIO_MAX_CHANNELS];
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
    for (int32_t c = 0; c < 2; ++c) {
        const std::vector<float> s = Samples(doc, c);
        const double mean = std::accumulate(s.begin(), s.end(), 0.0) / static_cast<double>(s.size());
        EXPECT_NEAR(mean, 0.0, 1e-4) << "channel " << c;   // 16-bit rounding of the result
    }
    const double leftMean = std::accumulate(left.begin(), left.end(), 0.0) / 3000.0;
    EXPECT_NEAR(Samples(doc, 0)[7], left[7] - leftMean, 1e-4);   // within 16-bit rounding
    EXPECT_EQ(NextUndo(doc), "Remove DC");
    TAVOAUDIO_Close(doc);
}

}  // namespace

namespace {

// Four hours of silence (silent blocks hold no samples) with one loud frame
// near the end: measuring and edge trimming read the block summaries, so
// they finish at once where a sample scan would read 690 million frames.
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
    // Normalising writes the frames it scales, so only a short selection.
    ASSERT_EQ(TAVOAUDIO_AddSelectionEx(doc, frames - 4800, frames, -1, 0), 1);
    ASSERT_TRUE(TAVOAUDIO_NormalizeEx2(doc, nullptr, nullptr));
    EXPECT_NEAR(AUDIOSIGNAL_GetSample(TAVOAUDIO_GetAudioSignal(doc), 0, frames - 1000), 1.0, 1e-4);
    ASSERT_TRUE(TAVOAUDIO_TrimEdgeSilence(doc, -20.0, nullptr));
    EXPECT_LT(AUDIOSIGNAL_NumFrames(TAVOAUDIO_GetAudioSignal(doc)), 48000);
    TAVOAUDIO_Close(doc);
}

}  // namespace
