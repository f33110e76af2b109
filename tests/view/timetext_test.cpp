// timetext_test.cpp: clock, seconds, beats and time-code texts and the two
// clock-text parsers.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>

#include "tavoutil.h"

namespace {

std::string clock(int64_t ms, int64_t reference)
{
    char buffer[64];
    const int32_t n = TAVOUTIL_MsTimeToBuffer(ms, reference, buffer, sizeof buffer);
    EXPECT_EQ(n, static_cast<int32_t>(std::string(buffer).size()));
    return buffer;
}

std::string beats(int64_t frames, int64_t reference, bool duration = false)
{
    TAVOBEATSCONFIG config{120.0, 4, 4, false};
    char buffer[64];
    if (duration)
        TAVOUTIL_SamplesToDurationBeatsString(frames, reference, 44100.0, &config, buffer, sizeof buffer);
    else
        TAVOUTIL_SamplesToBeatsString(frames, reference, 44100.0, &config, buffer, sizeof buffer);
    return buffer;
}

}  // namespace

TEST(TavoUtilTimeText, ClockLayoutFollowsTheReferenceNotTheValue)
{
    EXPECT_EQ(clock(61000, 3600000), "00:01:01.000");
    EXPECT_EQ(clock(61000, 120000), "01:01.000");
    EXPECT_EQ(clock(61000, 5000), "1.000");   // the minute is dropped
    EXPECT_EQ(clock(-1500, 5000), "1.500");   // no sign
    EXPECT_EQ(clock(250, 999), "0.250");
    EXPECT_EQ(clock(3723004, 3600000), "01:02:03.004");
}

TEST(TavoUtilTimeText, FramesRoundToTheNearestMillisecond)
{
    char buffer[32];
    // 22 frames at 44100 Hz are 0.4988 ms: rounds to 0; 23 frames 0.5215 ms: to 1.
    TAVOUTIL_SamplesToTimeString(22, 44100, 44100.0, buffer, sizeof buffer);
    EXPECT_STREQ(buffer, "0.000");
    TAVOUTIL_SamplesToTimeString(23, 44100, 44100.0, buffer, sizeof buffer);
    EXPECT_STREQ(buffer, "0.001");
    TAVOUTIL_SamplesToSecondString(66150, 0, 44100.0, buffer, sizeof buffer);
    EXPECT_STREQ(buffer, "1.500");
    TAVOUTIL_SamplesToSecondString(-66150, 0, 44100.0, buffer, sizeof buffer);
    EXPECT_STREQ(buffer, "-1.500");
}

TEST(TavoUtilTimeText, BeatsAt120BpmDropTrailingZeroParts)
{
    EXPECT_EQ(beats(0, -1), "1");
    EXPECT_EQ(beats(22050, -1), "1.2");
    EXPECT_EQ(beats(27563, -1), "1.2.2");
    EXPECT_EQ(beats(88200, -1), "2");
    // The reference position itself is always written in full.
    EXPECT_EQ(beats(0, 0), "1.1.1");
    EXPECT_EQ(beats(88200, 88200), "2.1.1");
    // A duration counts from zero.
    EXPECT_EQ(beats(88200 + 22050, 0, true), "1.1.0");
}

// At 120 bpm, 4/4 and 4 subdivisions a subdivision lasts 5512.5 frames:
// exact integer arithmetic on twice the frame count is the model.
TEST(TavoUtilTimeText, BeatsMatchAnExactGridModel)
{
    std::mt19937_64 random(7);
    std::uniform_int_distribution<int64_t> pick(0, 44100LL * 600);
    for (int i = 0; i < 2000; ++i) {
        const int64_t frames = i < 50 ? i * 11025 / 2 : pick(random);   // exact grid points first
        const int64_t sub = (2 * frames) / 11025;
        const std::string expected = std::to_string(sub / 16 + 1) + "." + std::to_string((sub / 4) % 4 + 1) + "." +
                                     std::to_string(sub % 4 + 1);
        ASSERT_EQ(beats(frames, frames), expected) << frames;
    }
}

TEST(TavoUtilTimeText, SmpteTimeCode)
{
    char buffer[32];
    TAVOUTIL_SamplesToSmpteString(48000LL * 3661 + 24000, 0, 48000.0, 30, buffer, sizeof buffer);
    EXPECT_STREQ(buffer, "01:01:01:15");
    TAVOUTIL_SamplesToSmpteString(1599, 0, 48000.0, 30, buffer, sizeof buffer);   // just before frame 1
    EXPECT_STREQ(buffer, "00:00:00:00");
    TAVOUTIL_SamplesToSmpteString(1600, 0, 48000.0, 30, buffer, sizeof buffer);
    EXPECT_STREQ(buffer, "00:00:00:01");
    EXPECT_EQ(TAVOUTIL_SamplesToSmpteString(1600, 0, 48000.0, 0, buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, "");
}

TEST(TavoUtilTimeText, BadArgumentsWriteNothing)
{
    char buffer[16] = "untouched";
    TAVOBEATSCONFIG config{0.0, 4, 4, false};
    EXPECT_EQ(TAVOUTIL_MsTimeToBuffer(1000, 1000, nullptr, 16), 0);
    EXPECT_EQ(TAVOUTIL_MsTimeToBuffer(1000, 1000, buffer, 0), 0);
    EXPECT_STREQ(buffer, "untouched");
    EXPECT_EQ(TAVOUTIL_SamplesToTimeString(1, 1, 0.0, buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(TAVOUTIL_SamplesToBeatsString(1, 1, 44100.0, &config, buffer, sizeof buffer), 0);
    EXPECT_EQ(TAVOUTIL_SamplesToBeatsString(1, 1, 44100.0, nullptr, buffer, sizeof buffer), 0);
    // A small buffer gets a terminated prefix and the full length back.
    char small[4];
    EXPECT_EQ(TAVOUTIL_MsTimeToBuffer(61000, 3600000, small, sizeof small), 12);
    EXPECT_STREQ(small, "00:");
}

TEST(TavoUtilTimeParse, DecomposeCarriesEveryOverflow)
{
    char text[] = "1:2.5";
    int32_t h = -1, m = -1, s = -1, ms = -1;
    ASSERT_TRUE(TAVOUTIL_DecomposeStringTime(text, &h, &m, &s, &ms));
    EXPECT_EQ(h, 0);
    EXPECT_EQ(m, 1);
    EXPECT_EQ(s, 2);
    EXPECT_EQ(ms, 500);

    char ninety[] = "90";
    ASSERT_TRUE(TAVOUTIL_DecomposeStringTime(ninety, &h, &m, &s, &ms));
    EXPECT_EQ(m, 1);
    EXPECT_EQ(s, 30);

    char carry[] = "59:59.1500";   // 1500 ms carry through seconds and minutes
    ASSERT_TRUE(TAVOUTIL_DecomposeStringTime(carry, &h, &m, &s, &ms));
    EXPECT_EQ(h, 1);
    EXPECT_EQ(m, 0);
    EXPECT_EQ(s, 0);
    EXPECT_EQ(ms, 500);

    char fraction[] = "0.05";
    ASSERT_TRUE(TAVOUTIL_DecomposeStringTime(fraction, &h, &m, &s, &ms));
    EXPECT_EQ(ms, 50);
    EXPECT_FALSE(TAVOUTIL_DecomposeStringTime(nullptr, &h, &m, &s, &ms));
    EXPECT_EQ(h + m + s + ms, 0);
}

TEST(TavoUtilTimeParse, TimeStringToMsWrapsWhereDecomposeCarries)
{
    EXPECT_EQ(TAVOUTIL_TimeStringToMs("90"), 30000);   // Decompose gives 1:30
    EXPECT_EQ(TAVOUTIL_TimeStringToMs("90.5"), 90500);
    EXPECT_EQ(TAVOUTIL_TimeStringToMs("1:2.5"), 62500);
    EXPECT_EQ(TAVOUTIL_TimeStringToMs("2:75"), 135000);    // inner field wraps
    EXPECT_EQ(TAVOUTIL_TimeStringToMs("90:00"), 5400000);  // leading field whole
    EXPECT_EQ(TAVOUTIL_TimeStringToMs("1:02:03.004"), 3723004);
    EXPECT_EQ(TAVOUTIL_TimeStringToMs(nullptr), -1);
    EXPECT_EQ(TAVOUTIL_TimeStringToSample("1.5", 44100.0), 66150);
    EXPECT_EQ(TAVOUTIL_TimeStringToSample("1.5", 0.0), -1);
}

TEST(TavoUtilTimeParse, ClockTextsReadBackToTheirValue)
{
    std::mt19937_64 random(11);
    std::uniform_int_distribution<int64_t> pick(0, 99LL * 3600000);
    for (int i = 0; i < 1000; ++i) {
        const int64_t ms = pick(random);
        ASSERT_EQ(TAVOUTIL_TimeStringToMs(clock(ms, 3600000).c_str()), ms);
        std::string text = clock(ms % 3600000, 60000);
        int32_t h, m, s, f;
        TAVOUTIL_DecomposeStringTime(text.data(), &h, &m, &s, &f);
        ASSERT_EQ(((h * 60 + m) * 60 + s) * 1000LL + f, ms % 3600000);
    }
}

TEST(TavoUtilRange, PositionAndRangeAreInverseInsideAndClampOutside)
{
    EXPECT_EQ(TAVOUTIL_PositionOnRange(-1.0, 0.0, 10.0), 0.0);
    EXPECT_EQ(TAVOUTIL_PositionOnRange(11.0, 0.0, 10.0), 1.0);
    EXPECT_EQ(TAVOUTIL_RangeOnPosition(2.0, 3.0, 7.0), 7.0);
    for (double v = 3.0; v <= 7.0; v += 0.25)
        EXPECT_DOUBLE_EQ(TAVOUTIL_RangeOnPosition(TAVOUTIL_PositionOnRange(v, 3.0, 7.0), 3.0, 7.0), v);
}
