#include <tavocolor.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <random>

namespace {

constexpr TAVOCOLOR kWhite = TAVOCOLOR_RGBA(255, 255, 255, 255);
constexpr TAVOCOLOR kGreen = TAVOCOLOR_RGBA(0, 255, 0, 255);

int channel(TAVOCOLOR c, int i) { return int((c >> (8 * i)) & 0xff); }

void expectWithinOne(TAVOCOLOR got, TAVOCOLOR want)
{
    for (int i = 0; i < 3; ++i) EXPECT_LE(std::abs(channel(got, i) - channel(want, i)), 1) << "channel " << i;
    EXPECT_EQ(channel(got, 3), channel(want, 3));
}

TEST(TavoColor, MeasuresOfKnownColours)
{
    EXPECT_DOUBLE_EQ(TAVOCOLOR_Luminance(kGreen), std::sqrt(0.587));
    EXPECT_DOUBLE_EQ(TAVOCOLOR_Lightness(kGreen), 0.7152);
    EXPECT_DOUBLE_EQ(TAVOCOLOR_Luminance(kWhite), 1.0);
    EXPECT_DOUBLE_EQ(TAVOCOLOR_Hue(kGreen), 1.0 / 3.0);
    EXPECT_DOUBLE_EQ(TAVOCOLOR_Saturation(kGreen), 1.0);
    EXPECT_DOUBLE_EQ(TAVOCOLOR_Hue(TAVOCOLOR_RGBA(0, 0, 255, 255)), 2.0 / 3.0);
    EXPECT_EQ(TAVOCOLOR_Hue(TAVOCOLOR_RGBA(90, 90, 90, 255)), 0.0);  // grey: no hue
    EXPECT_EQ(TAVOCOLOR_Saturation(TAVOCOLOR_RGBA(90, 90, 90, 255)), 0.0);
    EXPECT_DOUBLE_EQ(TAVOCOLOR_Alpha(TAVOCOLOR_RGBA(1, 2, 3, 51)), 0.2);
}

TEST(TavoColor, HspRoundTripsEveryColourWithinOneUnit)
{
    // Every component through its HSP form and back: the inverse must fit
    // the forward conversion in all six hue sectors, greys and extremes.
    std::mt19937 rng(7);
    std::uniform_int_distribution<int> dist(0, 255);
    for (int i = 0; i < 20000; ++i) {
        const TAVOCOLOR c = TAVOCOLOR_RGBA(dist(rng), dist(rng), dist(rng), dist(rng));
        ASSERT_NO_FATAL_FAILURE(expectWithinOne(TAVOCOLOR_SetLuminance(c, TAVOCOLOR_Luminance(c)), c)) << std::hex << c;
        ASSERT_NO_FATAL_FAILURE(expectWithinOne(TAVOCOLOR_SetHue(c, TAVOCOLOR_Hue(c)), c)) << std::hex << c;
    }
    for (TAVOCOLOR c : {kWhite, kGreen, TAVOCOLOR_RGBA(0, 0, 0, 255), TAVOCOLOR_RGBA(255, 0, 0, 0),
                        TAVOCOLOR_RGBA(255, 0, 255, 255), TAVOCOLOR_RGBA(12, 12, 13, 255)})
        expectWithinOne(TAVOCOLOR_SetSaturation(c, TAVOCOLOR_Saturation(c)), c);
}

TEST(TavoColor, BrightnessAndHueChangesKeepTheOtherComponents)
{
    const TAVOCOLOR c = TAVOCOLOR_RGBA(40, 120, 200, 128);
    // 1.2 keeps every channel below 255 (blue: 200 x 1.2 = 240), so neither
    // hue nor brightness is bent by clipping.
    const TAVOCOLOR lighter = TAVOCOLOR_Lighter(c, 1.2);
    EXPECT_NEAR(TAVOCOLOR_Luminance(lighter), 1.2 * TAVOCOLOR_Luminance(c), 0.01);
    EXPECT_NEAR(TAVOCOLOR_Hue(lighter), TAVOCOLOR_Hue(c), 0.01);
    EXPECT_EQ(channel(lighter, 3), 128);
    EXPECT_LT(TAVOCOLOR_Luminance(TAVOCOLOR_Lighter(c, 0.5)), TAVOCOLOR_Luminance(c));
    EXPECT_EQ(TAVOCOLOR_Lighter(kWhite, 3.0), kWhite);  // capped
    EXPECT_EQ(TAVOCOLOR_SetLuminance(c, 7.0) & 0xffffff, TAVOCOLOR_SetLuminance(c, 1.0) & 0xffffff);

    const TAVOCOLOR next = TAVOCOLOR_NextColor(c, 0.25);
    EXPECT_NEAR(TAVOCOLOR_Hue(next), std::fmod(TAVOCOLOR_Hue(c) + 0.25, 1.0), 0.01);
    EXPECT_NEAR(TAVOCOLOR_Luminance(next), TAVOCOLOR_Luminance(c), 0.01);
    EXPECT_NEAR(TAVOCOLOR_Hue(TAVOCOLOR_NextColor(c, -1.75)), TAVOCOLOR_Hue(next), 0.01);  // wraps both ways
}

TEST(TavoColor, AlphaIsClampedAndTruncated)
{
    const TAVOCOLOR c = TAVOCOLOR_RGBA(10, 20, 30, 200);
    EXPECT_EQ(channel(TAVOCOLOR_SetAlpha(c, 1.5), 3), 255);
    EXPECT_EQ(channel(TAVOCOLOR_SetAlpha(c, -0.2), 3), 0);
    EXPECT_EQ(channel(TAVOCOLOR_SetAlpha(c, 0.5), 3), 127);
    EXPECT_EQ(TAVOCOLOR_SetAlpha(c, 0.5) & 0xffffff, c & 0xffffff);
    EXPECT_EQ(channel(TAVOCOLOR_ChangeAlpha(c, 0.5), 3), 100);
    EXPECT_EQ(channel(TAVOCOLOR_ChangeAlpha(c, 4.0), 3), 255);
}

TEST(TavoColor, InversionAndChannelOrders)
{
    EXPECT_EQ(TAVOCOLOR_InvertedColor(kWhite), TAVOCOLOR_RGBA(0, 0, 0, 255));
    const TAVOCOLOR c = TAVOCOLOR_RGBA(1, 2, 3, 4);
    EXPECT_EQ(TAVOCOLOR_ToBGR(c), TAVOCOLOR_RGBA(3, 2, 1, 4));
    EXPECT_EQ(TAVOCOLOR_ToGRB(c), TAVOCOLOR_RGBA(2, 1, 3, 4));
    EXPECT_EQ(TAVOCOLOR_ToGBR(c), TAVOCOLOR_RGBA(2, 3, 1, 4));
    EXPECT_EQ(TAVOCOLOR_ToBGR(TAVOCOLOR_ToBGR(c)), c);
}

TEST(TavoColor, BlendIsAlwaysOpaque)
{
    std::mt19937 rng(8);
    std::uniform_int_distribution<uint32_t> dist;
    for (int i = 0; i < 1000; ++i) EXPECT_EQ(TAVOCOLOR_Blend(dist(rng), dist(rng), 0.7f) >> 24, 255u);
    // Half of opaque white over opaque black: each channel 127 (truncated).
    EXPECT_EQ(TAVOCOLOR_Blend(kWhite, TAVOCOLOR_RGBA(0, 0, 0, 255), 0.5f), TAVOCOLOR_RGBA(127, 127, 127, 255));
    // A transparent foreground leaves the background, made opaque.
    EXPECT_EQ(TAVOCOLOR_Blend(TAVOCOLOR_RGBA(255, 0, 0, 0), TAVOCOLOR_RGBA(0, 0, 200, 10), 1.0f),
              TAVOCOLOR_RGBA(0, 0, 200, 255));
}

TEST(TavoColor, TextFormRoundTripsAndMalformedTextsGiveTheDefault)
{
    char text[21];
    const TAVOCOLOR c = TAVOCOLOR_RGBA(7, 181, 144, 236);
    ASSERT_TRUE(TAVOCOLOR_ToString(c, text, sizeof text));
    EXPECT_STREQ(text, "rgba(7,181,144,236)");
    EXPECT_EQ(TAVOCOLOR_FromString(text, 0), c);
    EXPECT_EQ(TAVOCOLOR_FromString(" RGBA( 255 , 255,255,255 ) ", 0), kWhite);
    char longest[22];
    ASSERT_TRUE(TAVOCOLOR_ToString(kWhite, longest, sizeof longest));  // the longest text fits 22 bytes
    EXPECT_FALSE(TAVOCOLOR_ToString(kWhite, text, sizeof text));
    EXPECT_STREQ(text, "");
    for (const char *bad : {"rgba(1,2,3)", "rgba(1,2,3,256)", "rgb(1,2,3,4)", "rgba(1,2,3,4)x", "rgba(-1,2,3,4)",
                            "rgba(1;2;3;4)", "", "rgba(1,2,3,4"})
        EXPECT_EQ(TAVOCOLOR_FromString(bad, 0x12345678u), 0x12345678u) << bad;
    EXPECT_EQ(TAVOCOLOR_FromString(nullptr, 5u), 5u);
}

} // namespace
