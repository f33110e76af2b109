// regionquery_test.cpp: region queries and navigation of a document over a
// hand-made set of regions on two tracks, made with the signal library
// directly.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "../common/document_fixture.h"
#include "audioregion.h"
#include "region_checks.h"
#include "tavoregionview.h"
#include "tavozoom.h"

namespace {

constexpr int32_t kRate = 8000;

class TavoRegionQuery : public ::testing::Test {
protected:
    TAVOAUDIO doc = tavotest::MakeSineDocument(kRate, 2, 10.0);
    AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(doc);
    ~TavoRegionQuery() override { TAVOAUDIO_Close(doc); }
    static int64_t frame(double seconds) { return static_cast<int64_t>(seconds * kRate); }
    std::string label(AUDIOREGION region)
    {
        const char *text = TAVOAUDIO_GetRegionLabel(doc, region);
        return text != nullptr ? text : "<null>";
    }
};

// Track 0:  A [1,2]  B [3,4] with child B1 [3.2,3.5]  M marker at 5  C [6,7]
// Track 1 ("notes"):  X [2.5,2.8]  Y [4.5,5.5]  N marker at 6.5
class TavoRegionNavigation : public TavoRegionQuery {
protected:
    AUDIOREGION A{}, B{}, B1{}, M{}, C{}, X{}, Y{}, N{};
    const int32_t notes = 1;
    void SetUp() override
    {
        ASSERT_NE(AUDIOSIGNAL_AddCustomTrack(signal, "notes", "notes", nullptr), nullptr);
        ASSERT_EQ(AUDIOSIGNAL_FindRegionTrackIndex(signal, "notes"), notes);
        A = tavotest::AddRegion(signal, 0, 1.0, 2.0, "A");
        B = tavotest::AddRegion(signal, 0, 3.0, 4.0, "B");
        B1 = AUDIOSIGNAL_AddChildRegion(signal, B, 3.2, 3.5, "B1");
        M = tavotest::AddRegion(signal, 0, 5.0, 5.0, "M");
        C = tavotest::AddRegion(signal, 0, 6.0, 7.0, "C");
        X = tavotest::AddRegion(signal, notes, 2.5, 2.8, "X");
        Y = tavotest::AddRegion(signal, notes, 4.5, 5.5, "Y");
        N = tavotest::AddRegion(signal, notes, 6.5, 6.5, "N");
        for (AUDIOREGION r : {A, B, B1, M, C, X, Y, N}) ASSERT_NE(r, nullptr);
    }
};

TEST_F(TavoRegionNavigation, StepsStayOnTheTrackUnlessAskedForAnyTrack)
{
    EXPECT_EQ(TAVOAUDIO_GetNextRegion(doc, A), B);
    EXPECT_EQ(TAVOAUDIO_GetNextRegionEx(doc, A, true), X);   // X begins at 2.5, between A and B
    EXPECT_EQ(TAVOAUDIO_GetPrevRegionEx(doc, X, true), A);
    EXPECT_EQ(TAVOAUDIO_GetPrevRegion(doc, X), nullptr);     // first of its track
    EXPECT_EQ(TAVOAUDIO_GetNextRegion(doc, B), B1);          // the child follows its parent
    EXPECT_EQ(TAVOAUDIO_GetNextRegion(doc, C), nullptr);
    // Walking across tracks visits every region once, in begin order.
    std::vector<std::string> order;
    for (AUDIOREGION r = A; r != nullptr; r = TAVOAUDIO_GetNextRegionEx(doc, r, true)) order.push_back(label(r));
    EXPECT_EQ(order, (std::vector<std::string>{"A", "X", "B", "B1", "Y", "M", "C", "N"}));

    // Top-level steps skip children.
    EXPECT_EQ(TAVOAUDIO_GetNextTopLevelRegion(doc, B), M);
    EXPECT_EQ(TAVOAUDIO_GetPrevTopLevelRegion(doc, M), B);

    // Markers around a position are strictly after or before it.
    EXPECT_EQ(TAVOAUDIO_GetNextMarkerFromPosition(doc, frame(4.0), -1), M);
    EXPECT_EQ(TAVOAUDIO_GetNextMarkerFromPosition(doc, frame(5.0), -1), N);
    EXPECT_EQ(TAVOAUDIO_GetNextMarkerFromPosition(doc, frame(5.0), 0), nullptr);
    EXPECT_EQ(TAVOAUDIO_GetPrevMarkerFromPosition(doc, frame(10.0), 0), M);
    EXPECT_EQ(TAVOAUDIO_GetPrevMarkerFromPosition(doc, frame(5.0), -1), nullptr);
}

TEST_F(TavoRegionNavigation, FirstLastLookupsAndSelection)
{
    EXPECT_EQ(TAVOAUDIO_GetFirstRegion(doc, nullptr), A);
    EXPECT_EQ(TAVOAUDIO_GetLastRegion(doc, ""), C);
    EXPECT_EQ(TAVOAUDIO_GetLastRegion(doc, "notes"), N);
    EXPECT_EQ(TAVOAUDIO_GetFirstRegion(doc, "no such track"), nullptr);

    // Over a position the shortest region wins (a child over its parent);
    // markers are never "over" anything.
    EXPECT_EQ(TAVOAUDIO_FindRegionOverPosition(doc, frame(3.3), 0), B1);
    EXPECT_EQ(TAVOAUDIO_FindRegionOverPosition(doc, frame(3.7), -1), B);
    EXPECT_EQ(TAVOAUDIO_FindRegionOverPosition(doc, frame(5.0), 0), nullptr);
    EXPECT_EQ(TAVOAUDIO_FindRegionOverPosition(doc, frame(5.0), -1), Y);
    EXPECT_EQ(TAVOAUDIO_FindRegion(doc, "Y"), Y);
    EXPECT_EQ(TAVOAUDIO_FindRegion(doc, "y"), nullptr);   // labels match exactly

    // By index: track order, then region order on the track.
    const std::vector<std::string> expected{"A", "B", "B1", "M", "C", "X", "Y", "N"};
    for (int32_t i = 0; i < 8; ++i) EXPECT_EQ(label(TAVOAUDIO_GetRegion(doc, i)), expected[static_cast<size_t>(i)]);
    EXPECT_EQ(TAVOAUDIO_GetRegion(doc, 8), nullptr);
    EXPECT_EQ(TAVOAUDIO_GetMarker(doc, 1), N);

    // Selected regions come in track order.
    for (AUDIOREGION r : {Y, B, N}) AUDIOREGION_SetSelected(r, true);
    EXPECT_EQ(TAVOAUDIO_GetFirstSelectedRegion(doc), B);
    EXPECT_EQ(TAVOAUDIO_GetLastSelectedRegion(doc), N);
    AUDIOREGION out[4] = {};
    EXPECT_EQ(TAVOAUDIO_GetSelectedRegions(doc, out, 2), 2);
    EXPECT_EQ(out[1], Y);
}

TEST_F(TavoRegionNavigation, ForeignRegionsAndNullDocumentsAreRefused)
{
    TAVOAUDIO other = tavotest::MakeSineDocument(kRate, 1, 2.0);
    AUDIOREGION foreign = tavotest::AddRegion(TAVOAUDIO_GetAudioSignal(other), 0, 0.5, 1.5, "F");
    ASSERT_NE(foreign, nullptr);
    EXPECT_EQ(TAVOAUDIO_GetNextRegion(doc, foreign), nullptr);
    EXPECT_EQ(TAVOAUDIO_GetNextRegionEx(doc, foreign, true), nullptr);
    TAVOAUDIO_Close(other);

    EXPECT_EQ(TAVOAUDIO_GetNextRegion(nullptr, A), nullptr);
    EXPECT_EQ(TAVOAUDIO_CountRegions(nullptr), 0);
    EXPECT_FALSE(TAVOAUDIO_IsMarker(doc, nullptr));
    EXPECT_EQ(TAVOAUDIO_GetRegionChannel(nullptr, A), -2);
    EXPECT_EQ(TAVOAUDIO_GetRegionBeginSample(doc, nullptr), -1);
}

TEST_F(TavoRegionNavigation, ReadLockHeldByAnotherThreadRefusesQueries)
{
    // A writer on another thread (a long edit) makes the single-try read fail.
    std::atomic<int> stage{0};
    std::thread writer([&] {
        const bool held = TAVOAUDIO_GetWriteAccessEx(doc, false);
        EXPECT_TRUE(held);
        stage = 1;
        while (stage.load() != 2) std::this_thread::yield();
        if (held) TAVOAUDIO_ReleaseWriteAccess(doc);
    });
    while (stage.load() != 1) std::this_thread::yield();
    EXPECT_EQ(TAVOAUDIO_CountRegions(doc), 0);
    EXPECT_EQ(TAVOAUDIO_GetNextRegion(doc, A), nullptr);
    EXPECT_EQ(TAVOAUDIO_SelectRegionEx(doc, A, TAVOREGION_SELECT_ONLY), 0);
    stage = 2;
    writer.join();
    EXPECT_EQ(TAVOAUDIO_CountRegions(doc), 8);
    EXPECT_FALSE(AUDIOREGION_IsSelected(A));
}

TEST_F(TavoRegionNavigation, SearchOptionDecidesWhatHiddenAndDeletedRegionsDo)
{
    ASSERT_TRUE(AUDIOREGION_Hide(B));
    ASSERT_TRUE(AUDIOSIGNAL_DeleteRegion(signal, C, 0));

    // Default: neither hidden nor deleted regions are found (B's child is
    // not hidden itself).
    EXPECT_EQ(TAVOAUDIO_GetNextRegion(doc, A), B1);
    EXPECT_EQ(TAVOAUDIO_GetLastRegion(doc, nullptr), M);
    EXPECT_EQ(TAVOAUDIO_FindRegion(doc, "B"), nullptr);
    EXPECT_EQ(TAVOAUDIO_GetNextTopLevelRegion(doc, A), M);

    ASSERT_TRUE(TAVOAUDIO_SetRegionSearchOption(doc, TAVOREGION_SEARCH_HIDDEN));
    EXPECT_EQ(TAVOAUDIO_GetNextRegion(doc, A), B);
    EXPECT_EQ(TAVOAUDIO_GetNextRegion(doc, M), nullptr);
    ASSERT_TRUE(TAVOAUDIO_SetRegionSearchOption(doc, TAVOREGION_SEARCH_HIDDEN | TAVOREGION_SEARCH_DELETED));
    EXPECT_EQ(TAVOAUDIO_GetNextRegion(doc, M), C);

    // Kind bits narrow the searches.
    ASSERT_TRUE(TAVOAUDIO_SetRegionSearchOption(doc, TAVOREGION_SEARCH_MARKERS_ONLY));
    EXPECT_EQ(TAVOAUDIO_GetNextRegionEx(doc, A, true), M);
    EXPECT_EQ(TAVOAUDIO_GetRegion(doc, 1), N);
    ASSERT_TRUE(TAVOAUDIO_SetRegionSearchOption(doc, TAVOREGION_SEARCH_NO_MARKERS));
    EXPECT_EQ(TAVOAUDIO_GetMarker(doc, 0), nullptr);

    // Unknown bits are refused and change nothing.
    EXPECT_FALSE(TAVOAUDIO_SetRegionSearchOption(doc, 0x40));
    EXPECT_EQ(TAVOAUDIO_GetRegionSearchOption(doc), static_cast<int32_t>(TAVOREGION_SEARCH_NO_MARKERS));
}

TEST_F(TavoRegionNavigation, CountsLeaveOutDeletedRegionsAndDeletedTracks)
{
    EXPECT_EQ(TAVOAUDIO_CountRegionsOfTrack(doc, notes), 3);
    EXPECT_EQ(TAVOAUDIO_CountRegionsOfTrack(doc, 9), 0);

    // Hidden regions still count; deleted ones (with their children) do not.
    ASSERT_TRUE(AUDIOREGION_Hide(A));
    ASSERT_TRUE(AUDIOSIGNAL_DeleteRegion(signal, B, 0));
    EXPECT_EQ(TAVOAUDIO_CountRegions(doc), 6);
    EXPECT_TRUE(TAVOAUDIO_IsRegionDeleted(doc, B1));
    AUDIOREGION list[8] = {};
    ASSERT_EQ(TAVOAUDIO_GetRegionsOfTrack(doc, 0, list, 8), 3);
    EXPECT_EQ(std::vector<AUDIOREGION>(list, list + 3), (std::vector<AUDIOREGION>{A, M, C}));
    ASSERT_TRUE(AUDIOSIGNAL_UndeleteRegion(signal, B));
    EXPECT_EQ(TAVOAUDIO_CountRegions(doc), 8);

    // A deleted annotation track takes its regions out of the count.
    ASSERT_TRUE(AUDIOSIGNAL_RemoveCustomTrack(signal, "notes", 0));
    EXPECT_EQ(TAVOAUDIO_CountRegions(doc), 5);
    EXPECT_FALSE(TAVOAUDIO_HasRegionsInTrack(doc, notes));
}

TEST_F(TavoRegionNavigation, VisibleRegionsFollowTheViewAndTrackVisibility)
{
    ASSERT_NE(TAVOAUDIO_ZoomEx2(doc, 0, frame(3.0), 0, 0), 0);
    // [0, 3 s] touches A, X and B (which begins at 3 s).
    auto visible = [&] {
        std::vector<AUDIOREGION> out(16);
        out.resize(static_cast<size_t>(TAVOAUDIO_GetVisibleRegions(doc, out.data(), 16)));
        return out;
    };
    const std::vector<AUDIOREGION> shown = visible();
    EXPECT_EQ(shown, (std::vector<AUDIOREGION>{A, B, X}));
    EXPECT_EQ(TAVOAUDIO_CountVisibleRegions(doc), 3);
    for (AUDIOREGION r : {A, B, B1, M, C, X, Y, N})
        EXPECT_EQ(TAVOAUDIO_IsRegionVisible(doc, r), std::find(shown.begin(), shown.end(), r) != shown.end())
            << label(r);

    // A hidden region, and every region of a hidden annotation track, leave
    // the view even when the search option shows hidden regions.
    ASSERT_TRUE(TAVOAUDIO_SetRegionSearchOption(doc, TAVOREGION_SEARCH_HIDDEN));
    ASSERT_TRUE(AUDIOREGION_Hide(A));
    ASSERT_TRUE(AUDIOCUSTOMTRACK_SetVisible(AUDIOSIGNAL_FindCustomTrack(signal, "notes"), false));
    EXPECT_EQ(visible(), (std::vector<AUDIOREGION>{B}));
}

TEST_F(TavoRegionNavigation, PlaceOfARegionInFramesAndSeconds)
{
    EXPECT_EQ(TAVOAUDIO_GetRegionBeginSample(doc, B), 3 * kRate);
    EXPECT_EQ(TAVOAUDIO_GetRegionNumSamples(doc, M), 0);
    EXPECT_DOUBLE_EQ(TAVOAUDIO_GetRegionDuration(doc, B1), 0.3);
    EXPECT_EQ(TAVOAUDIO_GetRegionTrackIndex(doc, Y), notes);
    EXPECT_FALSE(TAVOAUDIO_IsAudioRegion(doc, M));

    // Active: the cursor inside [begin, end) of a region, or on a marker.
    ASSERT_TRUE(TAVOAUDIO_SetCursorPosition(doc, frame(5.0)));
    EXPECT_TRUE(TAVOAUDIO_IsRegionActive(doc, M));
    EXPECT_TRUE(TAVOAUDIO_IsRegionActive(doc, Y));
    ASSERT_TRUE(TAVOAUDIO_SetCursorPosition(doc, frame(4.0)));
    EXPECT_FALSE(TAVOAUDIO_IsRegionActive(doc, B));   // the end is outside
}

TEST_F(TavoRegionQuery, EmptyDocumentChannelTracksAndFormatSupport)
{
    EXPECT_FALSE(TAVOAUDIO_HasRegions(doc));
    EXPECT_EQ(TAVOAUDIO_GetFirstRegion(doc, nullptr), nullptr);

    ASSERT_NE(AUDIOSIGNAL_AddCustomTrack(signal, "plain", "plain", nullptr), nullptr);
    EXPECT_FALSE(TAVOAUDIO_HasChannelsExtraTracks(doc));
    ASSERT_NE(AUDIOSIGNAL_CreateChannelTrack(signal, 1), nullptr);
    EXPECT_TRUE(TAVOAUDIO_HasChannelsExtraTracks(doc));

    // The document's own format decides: WAV keeps regions and markers,
    // headerless samples keep neither.
    ASSERT_TRUE(TAVOAUDIO_SetFileFormat(doc, "WAV"));
    EXPECT_TRUE(TAVOAUDIO_FormatSupportRegions(doc) && TAVOAUDIO_FormatSupportMarkers(doc));
    ASSERT_TRUE(TAVOAUDIO_SetFileFormat(doc, "RAW"));
    EXPECT_FALSE(TAVOAUDIO_FormatSupportRegions(doc) || TAVOAUDIO_FormatSupportMarkers(doc));
}

}  // namespace
