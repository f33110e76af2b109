// coords_test.cpp: frames and pixels of the main area and the navigator.
#include <gtest/gtest.h>

#include "view_fixture.h"

using viewtest::ViewTest;

using TavoAudioCoords = ViewTest;

TEST_F(TavoAudioCoords, OneFramePerPixelMapsBothWays)
{
    ASSERT_TRUE(TAVOAUDIO_SetAreaWidth(doc, 0, 1001));
    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 0, 1000, 0, 0), 1);
    EXPECT_EQ(TAVOAUDIO_GetSamplesPerPixel(doc, 0), 1.0);
    EXPECT_EQ(TAVOAUDIO_PixelToSample(doc, 0, 1000), 1000);
    EXPECT_EQ(TAVOAUDIO_SampleToPixel(doc, 0, 1000), 1000);
    EXPECT_EQ(TAVOAUDIO_PixelToSample(doc, 0, 5000), 1000);   // capped at the view's end
    EXPECT_EQ(TAVOAUDIO_SampleToPixel(doc, 0, -1), -1);
}

TEST_F(TavoAudioCoords, FramesLeftOfTheViewHaveNegativePixels)
{
    ASSERT_TRUE(TAVOAUDIO_SetAreaWidth(doc, 0, 1001));
    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 0, 10000, 0, 0), 1);   // 10 frames a pixel
    EXPECT_EQ(TAVOAUDIO_SampleToPixel(doc, 0, -1), -1);
    EXPECT_EQ(TAVOAUDIO_SampleToPixel(doc, 0, -10), -1);
    EXPECT_EQ(TAVOAUDIO_SampleToPixel(doc, 0, -11), -2);
    EXPECT_EQ(TAVOAUDIO_SampleToPixel(doc, 0, 9), 0);
    EXPECT_EQ(TAVOAUDIO_SampleToPixel(doc, 0, 10), 1);

    // Monotonic across 0 at an uneven scale, and every pixel step is at most one.
    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 3000, 6000, 0, 0), 1);
    int32_t previous = TAVOAUDIO_SampleToPixel(doc, 0, 0);
    for (int64_t frame = 1; frame < 9000; ++frame) {
        const int32_t pixel = TAVOAUDIO_SampleToPixel(doc, 0, frame);
        ASSERT_GE(pixel, previous) << frame;
        ASSERT_LE(pixel - previous, 1) << frame;
        previous = pixel;
    }
}

TEST_F(TavoAudioCoords, ZoomedPastOneFramePerPixelAClickPicksItsFrame)
{
    ASSERT_TRUE(TAVOAUDIO_SetAreaWidth(doc, 0, 1001));
    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 100, 200, 0, 0), 1);   // 10 pixels a frame
    for (int64_t frame = 100; frame <= 200; ++frame)
        ASSERT_EQ(TAVOAUDIO_PixelToSample(doc, 0, TAVOAUDIO_SampleToPixel(doc, 0, frame)), frame);
    // Each frame owns ten neighbouring pixels.
    const int32_t first = TAVOAUDIO_SampleToPixel(doc, 0, 150);
    for (int32_t x = first; x < first + 10; ++x) EXPECT_EQ(TAVOAUDIO_PixelToSample(doc, 0, x), 150);
    EXPECT_EQ(TAVOAUDIO_PixelToSample(doc, 0, first + 10), 151);
}

TEST_F(TavoAudioCoords, TheNavigatorShowsTheLimitedRange)
{
    ASSERT_TRUE(TAVOAUDIO_SetAreaWidth(doc, 1, 1001));
    ASSERT_EQ(TAVOAUDIO_SetZoomLimitsEx(doc, 1000, 2000, 0), 1);
    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 1200, 1300, 0, 0), 1);
    EXPECT_EQ(TAVOAUDIO_GetSamplesPerPixel(doc, 1), 1.0);
    EXPECT_EQ(TAVOAUDIO_PixelToSample(doc, 1, 0), 1000);
    EXPECT_EQ(TAVOAUDIO_SampleToPixel(doc, 1, 1250), 250);
    // Invalid areas and unusable widths.
    EXPECT_EQ(TAVOAUDIO_GetSamplesPerPixel(doc, 2), 1.0);
    EXPECT_EQ(TAVOAUDIO_PixelToSample(doc, 2, 10), 0);
    EXPECT_EQ(TAVOAUDIO_SampleToPixel(doc, -1, 10), 0);
    EXPECT_FALSE(TAVOAUDIO_SetAreaWidth(doc, 2, 100));
    EXPECT_FALSE(TAVOAUDIO_SetAreaWidth(doc, 0, -1));
    ASSERT_TRUE(TAVOAUDIO_SetAreaWidth(doc, 0, 1));
    EXPECT_EQ(TAVOAUDIO_GetSamplesPerPixel(doc, 0), 1.0);
}

TEST_F(TavoAudioCoords, TimesConvertThroughTheSignalRate)
{
    EXPECT_DOUBLE_EQ(TAVOAUDIO_SampleToTime(doc, 22050), 0.5);
    EXPECT_EQ(TAVOAUDIO_TimeToSample(doc, 0.5), 22050);
    EXPECT_EQ(TAVOAUDIO_TimeToSample(nullptr, 0.5), 0);
}
