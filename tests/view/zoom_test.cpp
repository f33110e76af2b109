// zoom_test.cpp: the horizontal view, limits, lock and history, and the
// vertical and spectral ranges of a document.
#include <gtest/gtest.h>

#include "blsettings.h"
#include "blutils.h"
#include "view_fixture.h"

using viewtest::Recorder;
using viewtest::ViewTest;

using TavoAudioZoom = ViewTest;

TEST_F(TavoAudioZoom, ZoomEx2ClampsAndRefusesEmptyOrUnchangedViews)
{
    EXPECT_EQ(begin(), 0);
    EXPECT_EQ(end(), kFrames);
    EXPECT_EQ(TAVOAUDIO_ZoomEx2(doc, 500, 500, 0, 0), 0);
    EXPECT_EQ(TAVOAUDIO_ZoomEx2(doc, 1000, -1, 0, 0), 1);   // to the limited end
    EXPECT_EQ(begin(), 1000);
    EXPECT_EQ(end(), kFrames);
    EXPECT_EQ(TAVOAUDIO_ZoomEx2(doc, 2000, 1100, 0, 0), 1);   // either order
    EXPECT_EQ(begin(), 1100);
    EXPECT_EQ(TAVOAUDIO_ZoomEx2(doc, 1100, 2000, 0, 0), 0);   // unchanged, 900 frames
    EXPECT_EQ(TAVOAUDIO_ZoomEx2(doc, 10, 12, 0, 0), 1);
    EXPECT_EQ(TAVOAUDIO_ZoomEx2(doc, 10, 12, 0, 0), 1);       // unchanged but shorter than 4
    EXPECT_EQ(TAVOAUDIO_ZoomEx2(doc, -50, 2 * kFrames, 0, 0), 1);
    EXPECT_EQ(begin(), 0);
    EXPECT_EQ(end(), kFrames);
}

TEST_F(TavoAudioZoom, LimitsBoundTheViewAndAnnounceThemselvesInSeconds)
{
    Recorder rec(doc);
    EXPECT_EQ(TAVOAUDIO_SetZoomLimitsEx(doc, 2000, 1000, 0), 1);
    EXPECT_EQ(begin(), 1000);
    EXPECT_EQ(end(), 2000);
    ASSERT_FALSE(rec.events.empty());
    EXPECT_EQ(rec.events.back().kind, TAVOAUDIO_HORZ_ZOOM_LIMIT_CHANGED);
    EXPECT_DOUBLE_EQ(rec.events.back().a, 1000.0 / 44100.0);
    EXPECT_DOUBLE_EQ(rec.events.back().b, 2000.0 / 44100.0);
    EXPECT_TRUE(TAVOAUDIO_HasZoomLimit(doc));
    EXPECT_FALSE(TAVOAUDIO_HasZoomBack(doc));   // limits leave no history entry

    TAVOAUDIO_ZoomEx2(doc, 1200, 1300, 0, 0);
    EXPECT_EQ(TAVOAUDIO_ZoomEx2(doc, 0, 5000, 0, 0), 1);
    EXPECT_EQ(begin(), 1000);
    EXPECT_EQ(end(), 2000);
    EXPECT_EQ(TAVOAUDIO_ZoomEx2(doc, 3000, 4000, 0, 0), 0);   // wholly outside

    TAVOAUDIO_ResetZoomLimitsEx(doc, 0);
    EXPECT_FALSE(TAVOAUDIO_HasZoomLimit(doc));
    EXPECT_EQ(TAVOAUDIO_LimitedEnd(doc), kFrames);
    EXPECT_EQ(end(), kFrames);
}

TEST_F(TavoAudioZoom, ZoomInAndOutAreAsymmetricAndHoldTheFocus)
{
    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 10000, 11200, 0, 0), 1);
    ASSERT_EQ(TAVOAUDIO_ZoomIn(doc), 1);
    EXPECT_EQ(end() - begin(), 1000);
    EXPECT_EQ(TAVOAUDIO_ViewCenter(doc), 10600);
    ASSERT_EQ(TAVOAUDIO_ZoomOut(doc), 1);
    EXPECT_EQ(begin(), 10000);
    EXPECT_EQ(end(), 11200);

    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 20000, 21000, 0, 0), 1);
    ASSERT_EQ(TAVOAUDIO_ZoomOut(doc), 1);
    EXPECT_EQ(end() - begin(), 1200);
    ASSERT_EQ(TAVOAUDIO_ZoomIn(doc), 1);
    EXPECT_EQ(begin(), 20000);
    EXPECT_EQ(end(), 21000);

    // Every step moves, even when rounding alone would not.
    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 30000, 30006, 0, 0), 1);
    ASSERT_EQ(TAVOAUDIO_ZoomByFactorEx(doc, 30003, 0.01), 1);
    EXPECT_LT(end() - begin(), 6);
}

TEST_F(TavoAudioZoom, FactorZoomSnapsItsFocusToTheCursor)
{
    ASSERT_TRUE(TAVOAUDIO_SetCursorPositionEx2(doc, 10000, 0));
    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 0, 20000, 0, 0), 1);
    // 10100 is within 1 % of 20000 frames of the cursor: the cursor stays put
    // (unsnapped, the view would be [5050, 15050]).
    ASSERT_EQ(TAVOAUDIO_ZoomByFactorEx(doc, 10100, 1.0), 1);
    EXPECT_EQ(begin(), 5000);
    EXPECT_EQ(end(), 15000);
    // 10150 is 1.5 % of 10000 frames away: no snap. The new view
    // [-150, 19850] starts before the signal and is cut at 0.
    ASSERT_EQ(TAVOAUDIO_ZoomByFactorEx(doc, 10150, -1.0), 1);
    EXPECT_EQ(begin(), 0);
    EXPECT_EQ(end(), 19850);
}

TEST_F(TavoAudioZoom, VetoLeavesViewHistoryAndLockUntouched)
{
    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 1000, 2000, TAVOAUDIO_ZOOM_NO_HISTORY, 0), 1);
    ASSERT_TRUE(TAVOAUDIO_ZoomLock(doc));
    Recorder rec(doc);
    rec.veto = {TAVOAUDIO_BEFORE_HORZ_ZOOM_CHANGE, TAVOAUDIO_BEFORE_HORZ_ZOOM_LIMIT_CHANGE};
    EXPECT_EQ(TAVOAUDIO_ZoomEx2(doc, 5000, 9000, TAVOAUDIO_ZOOM_FORCE_HISTORY, 1), 0);
    EXPECT_EQ(TAVOAUDIO_SetZoomLimitsEx(doc, 100, 200, 1), 0);
    EXPECT_EQ(begin(), 1000);
    EXPECT_EQ(end(), 2000);
    EXPECT_FALSE(TAVOAUDIO_HasZoomBack(doc));
    EXPECT_FALSE(TAVOAUDIO_HasZoomLimit(doc));
    EXPECT_EQ(rec.kinds(), (std::vector<int32_t>{TAVOAUDIO_BEFORE_HORZ_ZOOM_CHANGE,
                                                 TAVOAUDIO_BEFORE_HORZ_ZOOM_LIMIT_CHANGE}));
    rec.veto.clear();
    // The lock still holds 1000 frames.
    EXPECT_EQ(TAVOAUDIO_ZoomEx2(doc, 5000, 9000, TAVOAUDIO_ZOOM_KEEP_LOCK, 0), 0);
    EXPECT_EQ(TAVOAUDIO_ZoomEx2(doc, 5000, 6000, TAVOAUDIO_ZOOM_KEEP_LOCK, 0), 1);
    // Without the keep-lock flag the lock follows the new length.
    EXPECT_EQ(TAVOAUDIO_ZoomEx2(doc, 5000, 7000, 0, 0), 1);
    EXPECT_EQ(TAVOAUDIO_ZoomEx2(doc, 100, 2100, TAVOAUDIO_ZOOM_KEEP_LOCK, 0), 1);
    TAVOAUDIO_ZoomUnlock(doc);
    EXPECT_FALSE(TAVOAUDIO_IsZoomLocked(doc));
}

TEST_F(TavoAudioZoom, EventsComeInOrderWithSeconds)
{
    Recorder rec(doc);
    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 44100, 88200, 0, 1), 1);
    const auto kinds = rec.kinds();
    ASSERT_GE(kinds.size(), 3u);
    EXPECT_EQ(kinds.front(), TAVOAUDIO_BEFORE_HORZ_ZOOM_CHANGE);
    EXPECT_EQ(kinds.back(), TAVOAUDIO_HORZ_ZOOM_CHANGE);
    EXPECT_EQ(kinds[kinds.size() - 2], TAVOAUDIO_NEEDREDRAW);   // the notification comes between
    EXPECT_DOUBLE_EQ(rec.events.front().a, 1.0);
    EXPECT_DOUBLE_EQ(rec.events.front().b, 2.0);
    EXPECT_DOUBLE_EQ(rec.events.back().a, 1.0);
    EXPECT_DOUBLE_EQ(rec.events.back().b, 2.0);
}

TEST_F(TavoAudioZoom, HistoryKeepsTheLast64AndReplacesScrolls)
{
    for (int i = 1; i <= 70; ++i)
        ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 0, 1000 + i * 10, TAVOAUDIO_ZOOM_FORCE_HISTORY, 0), 1);
    int backs = 0;
    while (TAVOAUDIO_ZoomBackEx(doc, 0) == 1) ++backs;
    EXPECT_EQ(backs, 64);
    // Saved were the full view and views 1..69; the oldest six went.
    EXPECT_EQ(end(), 1060);
    EXPECT_FALSE(TAVOAUDIO_HasZoomBack(doc));

    // Same-length views (scrolls) replace the top entry.
    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 0, 1000, TAVOAUDIO_ZOOM_FORCE_HISTORY, 0), 1);
    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 1000, 2000, TAVOAUDIO_ZOOM_FORCE_HISTORY, 0), 1);
    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 2000, 3000, TAVOAUDIO_ZOOM_FORCE_HISTORY, 0), 1);
    EXPECT_TRUE(TAVOAUDIO_CanZoomBack(doc));
    ASSERT_EQ(TAVOAUDIO_ZoomBack(doc), 1);
    EXPECT_EQ(begin(), 1000);
    ASSERT_EQ(TAVOAUDIO_ZoomBack(doc), 1);
    EXPECT_EQ(end(), 1060);
    EXPECT_EQ(TAVOAUDIO_ZoomBack(doc), 0);
    EXPECT_TRUE(TAVOAUDIO_ClearZoomBack(doc));   // empty is fine
}

// A burst of zooms saves only its first view; the interval is shortened
// through its setting (read when the document is made) to keep this quick.
TEST(TavoAudioZoomHistory, ABurstSavesOneEntryUnlessForced)
{
    ASSERT_TRUE(BLSETTINGS_ChangeEx(nullptr, "libtavo.zoomoptions.zoomback_save_interval=%d", 200));
    TAVOAUDIO doc = tavotest::MakeSineDocument(44100, 1, 10.0);
    BLSETTINGS_ResetEx(nullptr, "libtavo.zoomoptions.zoomback_save_interval");
    ASSERT_NE(doc, nullptr);
    for (int i = 0; i < 10; ++i) {
        ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 0, 10000 + i * 1000, 0, 0), 1);
        BLUTILS_sleep_msec(20);   // ten zooms, each well within the interval of the last
    }
    ASSERT_EQ(TAVOAUDIO_ZoomBackEx(doc, 0), 1);
    EXPECT_EQ(TAVOAUDIO_ViewEnd(doc), 441000);   // the view before the burst
    EXPECT_FALSE(TAVOAUDIO_HasZoomBack(doc));

    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 0, 5000, 0, 0), 1);   // empty history: saved
    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 0, 6000, 0, 0), 1);   // within: not saved
    BLUTILS_sleep_msec(250);
    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 0, 7000, 0, 0), 1);   // after the interval: saved
    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 0, 8000, TAVOAUDIO_ZOOM_FORCE_HISTORY, 0), 1);   // forced: saved
    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 0, 9000, 0, 0), 1);   // within: not saved
    for (int64_t expected : {7000, 6000, 441000}) {
        ASSERT_EQ(TAVOAUDIO_ZoomBackEx(doc, 0), 1);
        EXPECT_EQ(TAVOAUDIO_ViewEnd(doc), expected);
    }
    EXPECT_EQ(TAVOAUDIO_ZoomBackEx(doc, 0), 0);
    TAVOAUDIO_Close(doc);
}

TEST_F(TavoAudioZoom, VerticalRangeNeedsBothBoundsToMove)
{
    EXPECT_EQ(TAVOAUDIO_VerticalMax(doc), 32768.0);
    Recorder rec(doc);
    EXPECT_EQ(TAVOAUDIO_ZoomVerticalEx(doc, 32768.0f, -1000.0f, 1), 1);
    EXPECT_EQ(TAVOAUDIO_VerticalMin(doc), -32768.0);   // nothing changed
    EXPECT_TRUE(rec.events.empty());
    EXPECT_EQ(TAVOAUDIO_ZoomVerticalEx(doc, 5.0f, 5.0f, 1), 0);
    EXPECT_EQ(TAVOAUDIO_ZoomVerticalEx(doc, -1000.0f, 2000.0f, 0), 1);
    EXPECT_EQ(TAVOAUDIO_VerticalMax(doc), 2000.0);
    EXPECT_EQ(TAVOAUDIO_VerticalMin(doc), -1000.0);
    EXPECT_EQ(rec.kinds(), (std::vector<int32_t>{TAVOAUDIO_BEFORE_VERT_ZOOM_CHANGE, TAVOAUDIO_VERT_ZOOM_CHANGE}));
    EXPECT_EQ(rec.events[0].a, 2000.0);
    EXPECT_TRUE(TAVOAUDIO_HasVerticalZoom(doc));

    // Zoom in then out around the middle returns the range.
    ASSERT_EQ(TAVOAUDIO_ZoomVerticalIn(doc), 1);
    EXPECT_NEAR(TAVOAUDIO_VerticalMax(doc) - TAVOAUDIO_VerticalMin(doc), 2500.0, 0.01);
    ASSERT_EQ(TAVOAUDIO_ZoomVerticalOut(doc), 1);
    EXPECT_NEAR(TAVOAUDIO_VerticalMax(doc), 2000.0, 0.01);

    // Scrolling to the top keeps the height; the reset still works from there.
    ASSERT_EQ(TAVOAUDIO_ScrollVertical(doc, 1e6f), 1);
    EXPECT_EQ(TAVOAUDIO_VerticalMax(doc), 32768.0);
    EXPECT_NEAR(TAVOAUDIO_VerticalMin(doc), 32768.0 - 3000.0, 0.01);
    ASSERT_EQ(TAVOAUDIO_ZoomVerticalResetEx(doc, 0), 1);
    EXPECT_FALSE(TAVOAUDIO_HasVerticalZoom(doc));

    // The sine peaks at half scale: normalised, it fills 90 % of the half height.
    ASSERT_EQ(TAVOAUDIO_ZoomVerticalNormalized(doc), 1);
    EXPECT_NEAR(TAVOAUDIO_VerticalMax(doc), 16384.0 / 0.9, 1.0);
    EXPECT_NEAR(TAVOAUDIO_VerticalMin(doc), -16384.0 / 0.9, 1.0);
}

TEST_F(TavoAudioZoom, SpectralRangeRefusesBandsUnder5Hz)
{
    EXPECT_EQ(TAVOAUDIO_VerticalSpectralMax(doc), 22050.0);
    EXPECT_FALSE(TAVOAUDIO_HasSpectralZoom(doc));
    Recorder rec(doc);
    EXPECT_EQ(TAVOAUDIO_ZoomSpectralEx(doc, 100.0f, 104.0f, 1), 0);
    EXPECT_EQ(TAVOAUDIO_VerticalSpectralMax(doc), 22050.0);
    // Refused, yet redrawn.
    EXPECT_EQ(rec.kinds(), std::vector<int32_t>{TAVOAUDIO_NEEDREDRAW});
    EXPECT_EQ(TAVOAUDIO_ZoomSpectralEx(doc, 4000.0f, -20.0f, 0), 1);
    EXPECT_EQ(TAVOAUDIO_VerticalSpectralMin(doc), 0.0);
    EXPECT_EQ(TAVOAUDIO_VerticalSpectralMax(doc), 4000.0);
    EXPECT_EQ(TAVOAUDIO_ZoomSpectralEx(doc, 4000.0f, 0.0f, 0), 1);   // unchanged
    ASSERT_EQ(TAVOAUDIO_ScrollSpectral(doc, 1000.0f), 1);
    EXPECT_EQ(TAVOAUDIO_VerticalSpectralMin(doc), 1000.0);
    EXPECT_EQ(TAVOAUDIO_VerticalSpectralMax(doc), 5000.0);
    EXPECT_TRUE(TAVOAUDIO_CanResetZoom(doc));
    EXPECT_EQ(TAVOAUDIO_ZoomFullResetEx(doc, 0), 1);
    EXPECT_FALSE(TAVOAUDIO_CanResetZoom(doc));
}

TEST_F(TavoAudioZoom, KeepingTheCursorVisibleScrollsByTheMargin)
{
    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 10000, 11000, 0, 0), 1);
    EXPECT_EQ(TAVOAUDIO_ScrollToKeepCursorVisible(doc, 10500), 1);
    EXPECT_EQ(begin(), 10000);
    ASSERT_EQ(TAVOAUDIO_ScrollToKeepCursorVisible(doc, 11500), 1);   // margin 50
    EXPECT_EQ(begin(), 10550);
    EXPECT_EQ(end(), 11550);
    ASSERT_EQ(TAVOAUDIO_ScrollToKeepCursorVisible(doc, 20), 1);       // stops at the start
    EXPECT_EQ(begin(), 0);
    EXPECT_EQ(end(), 1000);
    EXPECT_EQ(TAVOAUDIO_BeginViewToKeepPositionVisible(doc, 2000, 100), 1150);
    EXPECT_EQ(TAVOAUDIO_BeginViewToKeepPositionVisible(doc, 500, 100), 0);
    EXPECT_EQ(TAVOAUDIO_BeginViewToKeepPositionVisible(doc, kFrames - 10, 5), kFrames - 1000);
    EXPECT_EQ(TAVOAUDIO_BeginViewToKeepPositionCentered(doc, 5000), 4500);
    EXPECT_EQ(begin(), 0);   // the queries change nothing
}

TEST_F(TavoAudioZoom, NotificationsAreSilentWhileEditing)
{
    Recorder rec(doc);
    ASSERT_TRUE(TAVOAUDIO_GetEditAccessEx(doc, true));
    EXPECT_FALSE(TAVOSTATE_NotifyChanges(doc, 1, 4));
    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 100, 200, 0, 1), 1);
    EXPECT_EQ(rec.kinds(), (std::vector<int32_t>{TAVOAUDIO_BEFORE_HORZ_ZOOM_CHANGE, TAVOAUDIO_HORZ_ZOOM_CHANGE}));
    ASSERT_TRUE(TAVOAUDIO_ReleaseEditAccess(doc));
    rec.events.clear();
    ASSERT_TRUE(TAVOSTATE_NotifyChanges(doc, 1, 4));
    ASSERT_EQ(rec.kinds(), (std::vector<int32_t>{TAVOAUDIO_WAS_CHANGED, TAVOAUDIO_NEEDREDRAW}));
    EXPECT_EQ(rec.events[0].a, 1.0);   // a document made from a signal counts as changed
    EXPECT_TRUE(TAVOSTATE_ChangeBits(TAVOAUDIO_GetState(doc)) & 4u);
    rec.events.clear();
    ASSERT_TRUE(TAVOSTATE_NotifyChanges(doc, 0, 0));   // same stamp, flag 0: redraw only
    EXPECT_EQ(rec.kinds(), std::vector<int32_t>{TAVOAUDIO_NEEDREDRAW});
    ASSERT_TRUE(TAVOSTATE_ResetVisualChanges(TAVOAUDIO_GetState(doc)));
    EXPECT_EQ(TAVOSTATE_VisualChanges(TAVOAUDIO_GetState(doc)), 0u);
}

TEST_F(TavoAudioZoom, CursorMovesAnnounceTheirTime)
{
    Recorder rec(doc);
    ASSERT_TRUE(TAVOAUDIO_ChangeCursorPositionEx(doc, 22050, 0));
    EXPECT_EQ(TAVOAUDIO_GetCursorPosition(doc), 22050);
    ASSERT_EQ(rec.kinds(), (std::vector<int32_t>{TAVOAUDIO_CURSOR_SET_POSITION, TAVOAUDIO_CURSOR_CHANGE_POSITION}));
    EXPECT_DOUBLE_EQ(rec.events[1].a, 0.5);
    ASSERT_TRUE(TAVOAUDIO_SetCursorPositionEx2(doc, kFrames * 2, 0));
    EXPECT_EQ(TAVOAUDIO_GetCursorPosition(doc), kFrames);
    EXPECT_FALSE(TAVOAUDIO_SetDrawProperty(doc, 16, 1));
    EXPECT_TRUE(TAVOAUDIO_SetDrawProperty(doc, 2, 3));
    EXPECT_EQ(TAVOAUDIO_GetDrawProperty(doc, 2), 3);
    EXPECT_FALSE(TAVOAUDIO_SetChannelMask(doc, 0x2));   // a mono signal has no channel 1
    EXPECT_TRUE(TAVOAUDIO_SetTempo(doc, 5.0));
    EXPECT_EQ(TAVOAUDIO_GetTempo(doc), 15.0);
}

TEST(TavoAudioZoomHandles, NullDocumentFailsQuietly)
{
    int64_t b = 0, e = 0;
    EXPECT_EQ(TAVOAUDIO_ZoomEx2(nullptr, 0, 10, 0, 1), 0);
    EXPECT_EQ(TAVOAUDIO_ZoomIn(nullptr), 0);
    EXPECT_EQ(TAVOAUDIO_ZoomOut(nullptr), 0);
    EXPECT_EQ(TAVOAUDIO_ZoomSelectionEx(nullptr, nullptr), 0);
    EXPECT_EQ(TAVOAUDIO_ZoomFullResetEx(nullptr, 1), 0);
    EXPECT_EQ(TAVOAUDIO_SetZoomLimitsEx(nullptr, 0, 10, 1), 0);
    EXPECT_EQ(TAVOAUDIO_ZoomVerticalEx(nullptr, 1.0f, 2.0f, 1), 0);
    EXPECT_EQ(TAVOAUDIO_ZoomSpectralEx(nullptr, 1.0f, 200.0f, 1), 0);
    EXPECT_EQ(TAVOAUDIO_ZoomVerticalNormalized(nullptr), 0);
    EXPECT_EQ(TAVOAUDIO_ZoomBackEx(nullptr, 1), 0);
    EXPECT_FALSE(TAVOAUDIO_SaveZoomBack(nullptr));
    EXPECT_FALSE(TAVOAUDIO_ZoomOffsetView(nullptr, 10, &b, &e));
    EXPECT_FALSE(TAVOAUDIO_ZoomLock(nullptr));
    EXPECT_FALSE(TAVOAUDIO_HasZoomEx(nullptr));
    EXPECT_FALSE(TAVOAUDIO_CanResetZoom(nullptr));
    EXPECT_EQ(TAVOAUDIO_ViewBegin(nullptr), -1);
    EXPECT_EQ(TAVOAUDIO_LimitedEnd(nullptr), -1);
    EXPECT_EQ(TAVOAUDIO_GetCursorPosition(nullptr), -1);
    EXPECT_FALSE(TAVOAUDIO_SetCursorPositionEx2(nullptr, 1, 1));
    EXPECT_FALSE(TAVOAUDIO_SetChannelMask(nullptr, 1));
    EXPECT_EQ(TAVOAUDIO_GetDrawProperty(nullptr, 1), -1);
    EXPECT_EQ(TAVOAUDIO_ScrollZoomMode(nullptr), -1);
    EXPECT_EQ(TAVOAUDIO_GetSamplesPerPixel(nullptr, 0), 1.0);
    EXPECT_EQ(TAVOAUDIO_PixelToSample(nullptr, 0, 5), 0);
    EXPECT_EQ(TAVOAUDIO_SampleToPixel(nullptr, 0, 5), 0);
    EXPECT_FALSE(TAVOSTATE_NotifyChanges(nullptr, 1, 0));
    EXPECT_FALSE(TAVOSTATE_ResetTimeStamps(nullptr));
    EXPECT_EQ(TAVOAUDIO_GetState(nullptr), nullptr);
    EXPECT_FALSE(TAVOSTATE_Destroy(nullptr));
    EXPECT_EQ(TAVOSTATE_CreateCopy(nullptr), nullptr);
}
