// Fades and the visual-tool operations: end points, monotonicity and
// shapes against curves evaluated here, lengths of the crossfade, and the
// mixing of a visual paste.
#include "ops_helpers.h"

#include <blcurves.h>

#include <gtest/gtest.h>

#include <climits>
#include <vector>

using namespace opstest;

namespace {

double squared(const void *, double x)
{
    return x * x;
}

BLCURVE quadratic()
{
    BLCURVE curve;
    BLCURVES_Initialize(&curve, 4, nullptr, squared);
    return curve;
}

std::vector<float> ones(size_t frames)
{
    return std::vector<float>(frames, 1.0f);
}

} // namespace

TEST(AudioOpsFades, FadeInGoesFromZeroToExactlyOneAndNeverDown)
{
    const BLCURVE quad = quadratic();
    for (const BLCURVE *curve : {static_cast<const BLCURVE *>(nullptr), &quad}) {
        const std::vector<float> x = noise(200000, 21);
        Signal s = makeSignal({ones(200000), x});
        ASSERT_TRUE(AUDIOSIGNAL_FadeInEx(s.get(), curve, 1000, 151000));
        const Channels out = readAll(s.get());
        EXPECT_EQ(out[0][999], 1.0f);
        EXPECT_EQ(out[0][1000], 0.0f);
        EXPECT_EQ(out[0][150999], 1.0f);
        EXPECT_EQ(out[1][150999], x[150999]);  // gain exactly 1: the sample is kept bit for bit
        for (size_t i = 1001; i < 151000; ++i) ASSERT_GE(out[0][i], out[0][i - 1]) << i;
        // Halfway: 0.5 for the line, 0.25 for the square.
        EXPECT_NEAR(out[0][76000], curve == nullptr ? 0.5f : 0.25f, 1e-4f);
    }
}

TEST(AudioOpsFades, FadeOutIsTheFadeInMirrored)
{
    const BLCURVE quad = quadratic();
    Signal in = makeSignal({ones(1001)});
    Signal out = makeSignal({ones(1001)});
    ASSERT_TRUE(AUDIOSIGNAL_FadeInEx(in.get(), &quad, 0, INT64_MAX));
    ASSERT_TRUE(AUDIOSIGNAL_FadeOutEx(out.get(), &quad, 0, INT64_MAX));
    const std::vector<float> a = readChannel(in.get(), 0);
    const std::vector<float> b = readChannel(out.get(), 0);
    EXPECT_EQ(b.front(), 1.0f);
    EXPECT_EQ(b.back(), 0.0f);
    for (size_t i = 0; i < a.size(); ++i) ASSERT_FLOAT_EQ(b[i], a[a.size() - 1 - i]) << i;
}

TEST(AudioOpsFades, FadeOutFadeInDipsToSilenceAtTheMiddle)
{
    Signal s = makeSignal({ones(300)});
    ASSERT_TRUE(AUDIOSIGNAL_FadeOutFadeInEx(s.get(), nullptr, nullptr, 100, 150, 250));
    const std::vector<float> out = readChannel(s.get(), 0);
    EXPECT_EQ(out[99], 1.0f);
    EXPECT_EQ(out[100], 1.0f);
    EXPECT_EQ(out[149], 0.0f);
    EXPECT_EQ(out[150], 0.0f);
    EXPECT_EQ(out[249], 1.0f);
    EXPECT_NEAR(out[200], 50.0f / 99.0f, 1e-6f);
    for (size_t i = 101; i < 150; ++i) ASSERT_LT(out[i], out[i - 1]);
    for (size_t i = 151; i < 250; ++i) ASSERT_GT(out[i], out[i - 1]);
    EXPECT_FALSE(AUDIOSIGNAL_FadeOutFadeInEx(s.get(), nullptr, nullptr, 100, 90, 250));
}

TEST(AudioOpsFades, CrossfadeJoinsTheHalvesAndShortensTheSignal)
{
    // 1.0 before frame 500, -1.0 from there: a crossfade over 400-600 joins
    // 400-500 (fading out) with 500-600 (fading in) into 100 frames.
    std::vector<float> x(1000, 1.0f);
    for (size_t i = 500; i < 1000; ++i) x[i] = -1.0f;
    Signal s = makeSignal({x, x});
    ASSERT_TRUE(AUDIOSIGNAL_CrossfadeEx(s.get(), nullptr, nullptr, 400, 600));
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(s.get()), 900);
    const std::vector<float> out = readChannel(s.get(), 1);
    for (size_t i = 0; i < 400; ++i) ASSERT_EQ(out[i], 1.0f);
    EXPECT_EQ(out[400], 1.0f);   // all of the leaving audio
    EXPECT_EQ(out[499], -1.0f);  // all of the coming audio
    for (size_t i = 401; i < 500; ++i) ASSERT_LT(out[i], out[i - 1]);
    for (size_t i = 500; i < 900; ++i) ASSERT_EQ(out[i], -1.0f);
    // An odd range drops its middle frame.
    ASSERT_TRUE(AUDIOSIGNAL_CrossfadeEx(s.get(), nullptr, nullptr, 0, 11));
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(s.get()), 894);
}

TEST(AudioOpsFades, DuckingHoldsTheGainBetweenItsFades)
{
    Signal s = makeSignal({ones(1000)});
    ASSERT_TRUE(AUDIOSIGNAL_AudioDuckingEx(s.get(), nullptr, nullptr, 100, 900, 101, 201, 0.25));
    const std::vector<float> out = readChannel(s.get(), 0);
    EXPECT_EQ(out[99], 1.0f);
    EXPECT_EQ(out[100], 1.0f);    // the fade down starts at full level
    EXPECT_NEAR(out[150], 0.625f, 1e-6f);  // halfway between 1 and 0.25
    EXPECT_EQ(out[200], 0.25f);   // and ends at the gain
    for (size_t i = 200; i < 699; ++i) ASSERT_EQ(out[i], 0.25f) << i;
    EXPECT_EQ(out[699], 0.25f);
    EXPECT_EQ(out[899], 1.0f);
    EXPECT_EQ(out[900], 1.0f);
    for (size_t i = 700; i < 900; ++i) ASSERT_GT(out[i], out[i - 1]) << i;

    // Fades longer than the range are clipped, the fade down first.
    Signal c = makeSignal({ones(100)});
    ASSERT_TRUE(AUDIOSIGNAL_AudioDuckingEx(c.get(), nullptr, nullptr, 0, 100, 500, 500, 0.0));
    const std::vector<float> clipped = readChannel(c.get(), 0);
    EXPECT_EQ(clipped.front(), 1.0f);
    EXPECT_EQ(clipped.back(), 0.0f);
    EXPECT_FALSE(AUDIOSIGNAL_AudioDuckingEx(c.get(), nullptr, nullptr, 0, 100, -1, 0, 0.5));
}

TEST(AudioOpsFades, VisualPasteMixesTheUsedPartWithItsFades)
{
    Signal s = makeSignal({std::vector<float>(1000, 0.125f)});
    std::vector<float> p(300);
    for (size_t i = 0; i < p.size(); ++i) p[i] = static_cast<float>(i) / 1024.0f;
    Signal pasted = makeSignal({p});
    uint32_t error = 1;
    // Frames 50..249 of the pasted audio (start offset 50, end offset 50),
    // at frame 900: they reach past the end, which grows with silence.
    ASSERT_TRUE(AUDIOSIGNAL_VisualPasteEx(s.get(), pasted.get(), nullptr, nullptr, 900, 50, 50, 11, 11, 0.5,
                                          &error));
    EXPECT_EQ(error, 0u);
    ASSERT_EQ(AUDIOSIGNAL_NumFrames(s.get()), 1100);
    const std::vector<float> out = readChannel(s.get(), 0);
    EXPECT_EQ(out[899], 0.125f);
    EXPECT_EQ(out[900], 0.125f);  // fade-in gain 0
    EXPECT_NEAR(out[905], 0.125f + 0.5f * 0.5f * p[55], 1e-6f);
    EXPECT_NEAR(out[950], 0.125f + 0.5f * p[100], 1e-6f);
    EXPECT_NEAR(out[1050], 0.5f * p[200], 1e-6f);  // past the old end: only the pasted audio
    EXPECT_EQ(out[1099], 0.0f);                     // fade-out gain 0

    EXPECT_FALSE(AUDIOSIGNAL_VisualPasteEx(s.get(), pasted.get(), nullptr, nullptr, 2000, 0, 0, 0, 0, 1.0, &error));
    EXPECT_EQ(error, static_cast<uint32_t>(AUDIO_ERROR_OUT_OF_RANGE));
    EXPECT_FALSE(AUDIOSIGNAL_VisualPasteEx(s.get(), nullptr, nullptr, nullptr, 0, 0, 0, 0, 0, 1.0, &error));
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(s.get()), 1100);
}

TEST(AudioOpsFades, LevelRampEndsExactlyAtItsGains)
{
    const BLCURVE quad = quadratic();
    Signal s = makeSignal({ones(501)});
    ASSERT_TRUE(AUDIOSIGNAL_LevelRampEx(s.get(), &quad, 0, INT64_MAX, 0.3, 1.7));
    const std::vector<float> out = readChannel(s.get(), 0);
    EXPECT_EQ(out.front(), 0.3f);
    EXPECT_EQ(out.back(), 1.7f);
    EXPECT_NEAR(out[250], 0.3f + 1.4f * 0.25f, 1e-6f);
    for (size_t i = 1; i < out.size(); ++i) ASSERT_GE(out[i], out[i - 1]);
}
