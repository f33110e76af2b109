// Region edits: the rules that refuse or skip an edit, deletion of selected
// regions, merging, lock events, and the undo round trip of every edit.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "../edit/doc_helpers.h"
#include "audioregion.h"
#include "document_fixture.h"
#include "tavoregions.h"

namespace {

using tavotest::Events;
using tavotest::NextUndo;

// Everything of a live or deleted region that an undo must put back.
using RegionRow = std::tuple<int32_t, double, double, std::string, int32_t, std::string, int32_t>;

std::vector<RegionRow> snapshot(TAVOAUDIO doc)
{
    AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(doc);
    const int32_t n = AUDIOSIGNAL_CountRegions(signal, -1, AUDIOREGION_SEARCH_HIDDEN);
    std::vector<AUDIOREGION> regions(static_cast<size_t>(n));
    if (n > 0) AUDIOSIGNAL_GetRegions(signal, -1, AUDIOREGION_SEARCH_HIDDEN, regions.data(), n);
    std::vector<RegionRow> rows;
    for (AUDIOREGION r : regions)
        rows.emplace_back(AUDIOREGION_GetTrackIndex(r), AUDIOREGION_GetBegin(r), AUDIOREGION_GetEnd(r),
                          AUDIOREGION_GetLabel(r), AUDIOREGION_GetKind(r), AUDIOREGION_GetComment(r),
                          AUDIOREGION_GetChannel(r));
    return rows;
}

// 20 s at 1000 Hz (a frame a millisecond): regions A 1-5 s and B 6-9 s and a
// marker at 12 s on track 0, a region 2-3 s on the annotation track "notes".
struct Scene {
    TAVOAUDIO doc = tavotest::MakeSineDocument(1000, 2, 20.0);
    AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(doc);
    AUDIOREGION a = nullptr, b = nullptr, marker = nullptr, note = nullptr;
    Events log;
    Scene()
    {
        if (doc == nullptr) return;
        TAVOAUDIO_SetFileFormat(doc, "WAV");
        AUDIOSIGNAL_AddCustomTrack(signal, "notes", "Notes", nullptr);
        a = TAVOAUDIO_AddRegion(doc, 1000, 5000, "A");
        b = TAVOAUDIO_AddRegion(doc, 6000, 9000, "B");
        marker = TAVOAUDIO_AddMarkerToSample(doc, 12000, "M");
        note = TAVOAUDIO_CreateRegionEx2(doc, "notes", 2000, 3000, nullptr, "N", nullptr, 0, nullptr);
        TAVOAUDIO_AddEventHandler(doc, BLNOTIFY_ANY_KIND, &Events::Handler, &log);
        log.counts.clear();
    }
    ~Scene() { TAVOAUDIO_Close(doc); }
    Scene(const Scene &) = delete;
    Scene &operator=(const Scene &) = delete;
    bool ready() const { return doc != nullptr && a && b && marker && note; }
    void select(std::initializer_list<AUDIOREGION> regions)
    {
        AUDIOSIGNAL_UnselectAllRegions(signal, -1);
        for (AUDIOREGION r : regions) AUDIOREGION_SetSelected(r, true);
    }
    AUDIOCUSTOMTRACK notes() { return AUDIOSIGNAL_FindCustomTrack(signal, "notes"); }
};

class RegionEdit : public ::testing::Test, public Scene {
protected:
    void SetUp() override { ASSERT_TRUE(ready()); }
};

TEST_F(RegionEdit, SameValueIsNoOpWithoutStepOrEvent)
{
    const int32_t steps = TAVOUNDO_CountUndoScripts(doc);
    EXPECT_EQ(TAVOAUDIO_SetRegionLabel(doc, a, "A"), 1);
    EXPECT_EQ(TAVOAUDIO_SetRegionTrackIndexEx(doc, a, 0, nullptr), 1);
    EXPECT_EQ(TAVOAUDIO_SetRegionChannel(doc, a, AUDIOREGION_GetChannel(a)), 1);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), steps);
    EXPECT_EQ(log.total(), 0);
    EXPECT_EQ(TAVOAUDIO_SetRegionLabel(doc, a, "A2"), 1);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), steps + 1);
    EXPECT_STREQ(AUDIOREGION_GetLabel(a), "A2");
    EXPECT_GT(log.count(TAVOAUDIO_NEEDREDRAW), 0);
}

TEST_F(RegionEdit, ReadOnlyAnnotationTrackRefusesEdits)
{
    AUDIOCUSTOMTRACK_SetReadOnly(notes(), true);
    const auto before = snapshot(doc);
    EXPECT_EQ(TAVOAUDIO_SetRegionLabel(doc, note, "changed"), 0);
    EXPECT_EQ(TAVOAUDIO_SetRegionTrackIndexEx(doc, a, AUDIOREGION_GetTrackIndex(note), nullptr), 0);
    EXPECT_EQ(TAVOAUDIO_MoveRegionBegin(doc, note, 0), 0);
    EXPECT_EQ(TAVOAUDIO_DeleteRegionEx(doc, note, 0), 0);
    EXPECT_EQ(snapshot(doc), before);
    // The bookkeeping form skips the read-only check.
    EXPECT_EQ(TAVOAUDIO_DeleteRegionEx(doc, note, TAVOREGION_DELETE_NO_UNDO), 1);
    EXPECT_TRUE(AUDIOREGION_IsDeleted(note));
}

TEST_F(RegionEdit, ConversionsToAndFromLoopsAskTheHost)
{
    AUDIOREGION loop = TAVOAUDIO_CreateLoopEx(doc, 14000, 15000, "L");
    ASSERT_NE(loop, nullptr);
    EXPECT_EQ(TAVOAUDIO_ConvertToLoop(doc, loop), 0);   // only regions of track 0
    EXPECT_EQ(TAVOAUDIO_ConvertToLoop(doc, note), 0);
    EXPECT_EQ(TAVOAUDIO_ConvertToLoop(doc, marker), 0);
    EXPECT_EQ(log.count(TAVOAUDIO_CONVERT_REGION_TO_LOOP), 0);
    log.answers[TAVOAUDIO_CONVERT_REGION_TO_LOOP] = 0;
    EXPECT_EQ(TAVOAUDIO_ConvertToLoop(doc, a), 0);
    EXPECT_FALSE(AUDIOREGION_IsLoop(a));
    log.answers.clear();
    EXPECT_EQ(TAVOAUDIO_ConvertToLoop(doc, a), 1);
    EXPECT_TRUE(AUDIOREGION_IsLoop(a));
    const int32_t steps = TAVOUNDO_CountUndoScripts(doc);
    log.answers[TAVOAUDIO_CONVERT_LOOP_TO_REGION] = 0;
    EXPECT_EQ(TAVOAUDIO_ConvertToRegion(doc, a), 0);
    EXPECT_TRUE(AUDIOREGION_IsLoop(a));
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), steps);
}

TEST_F(RegionEdit, DeletingSelectedRegionsSparesOnlyChildrenAndHiddenTracks)
{
    AUDIOREGION child = AUDIOSIGNAL_AddChildRegion(signal, a, 2.0, 3.0, "child");
    ASSERT_NE(child, nullptr);
    select({child, b});
    EXPECT_EQ(TAVOAUDIO_DelSelectedRegions(doc), 0);
    EXPECT_TRUE(AUDIOREGION_IsDeleted(b));
    EXPECT_FALSE(AUDIOREGION_IsDeleted(child));
    EXPECT_EQ(TAVOAUDIO_GetLastError(doc, false), 21u);
    EXPECT_STREQ(TAVOAUDIO_GetLastErrorMessage(doc, false),
                 "One or more regions cannot be deleted because they have a parent and no siblings");
    EXPECT_EQ(NextUndo(doc), "Delete Regions");
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));   // the possible deletion is one step
    EXPECT_FALSE(AUDIOREGION_IsDeleted(b));
    AUDIOCUSTOMTRACK_SetVisible(notes(), false);
    select({a, note});
    EXPECT_EQ(TAVOAUDIO_DelSelectedRegions(doc), 1);
    EXPECT_TRUE(AUDIOREGION_IsDeleted(a));
    EXPECT_FALSE(AUDIOREGION_IsDeleted(note));
    EXPECT_TRUE(AUDIOREGION_IsSelected(b));   // the next region on the track
    EXPECT_FALSE(AUDIOREGION_IsSelected(note));
}

TEST_F(RegionEdit, MergeNeedsTwoSelectedOnOneTrack)
{
    select({a, note});
    const auto before = snapshot(doc);
    const int32_t steps = TAVOUNDO_CountUndoScripts(doc);
    EXPECT_EQ(TAVOAUDIO_CanMergeSelectedRegions(doc), 0);
    EXPECT_EQ(TAVOAUDIO_MergeSelectedRegions(doc), 0);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), steps);
    EXPECT_EQ(snapshot(doc), before);
    select({a, b});
    EXPECT_EQ(TAVOAUDIO_CanMergeSelectedRegions(doc), 1);
    EXPECT_EQ(TAVOAUDIO_MergeSelectedRegions(doc), 1);
    EXPECT_DOUBLE_EQ(AUDIOREGION_GetBegin(a), 1.0);
    EXPECT_DOUBLE_EQ(AUDIOREGION_GetEnd(a), 9.0);
    EXPECT_TRUE(AUDIOREGION_IsDeleted(b));
}

TEST_F(RegionEdit, LockEventsAcceptWithoutHandlerAndRefuseOnObjection)
{
    EXPECT_EQ(TAVOAUDIO_LockRegion(doc, a), 1);   // the default answer locks
    EXPECT_TRUE(AUDIOREGION_IsLocked(a));
    EXPECT_EQ(TAVOAUDIO_LockRegion(doc, a), 0);   // already locked
    EXPECT_EQ(TAVOAUDIO_ChangeRegionBegin(doc, a, 0), 0);
    log.answers[TAVOAUDIO_REGION_UNLOCKED] = TAVOREGION_LOCK_REFUSED;
    EXPECT_EQ(TAVOAUDIO_UnlockRegion(doc, a), 0);
    EXPECT_TRUE(AUDIOREGION_IsLocked(a));
    log.answers[TAVOAUDIO_REGION_UNLOCKED] = 0;
    EXPECT_EQ(TAVOAUDIO_UnlockRegion(doc, a), 1);
    EXPECT_FALSE(AUDIOREGION_IsLocked(a));
    log.answers[TAVOAUDIO_REGION_LOCKED] = TAVOREGION_LOCK_REFUSED;
    EXPECT_EQ(TAVOAUDIO_LockRegion(doc, b), 0);
    EXPECT_FALSE(AUDIOREGION_IsLocked(b));
    EXPECT_EQ(log.count(TAVOAUDIO_REGION_LOCKED), 2);   // a, then b
}

TEST_F(RegionEdit, ClampingKeepsRegionsInsideAndOrdered)
{
    select({a, b});
    // The group offset is clamped once: b reaches the end, a keeps the gap.
    EXPECT_EQ(TAVOAUDIO_OffsetRegions(doc, 1000000), 1);
    EXPECT_DOUBLE_EQ(AUDIOREGION_GetEnd(b), 20.0);
    EXPECT_NEAR(AUDIOREGION_GetBegin(b) - AUDIOREGION_GetEnd(a), 1.0, 1e-9);
    EXPECT_EQ(TAVOAUDIO_ChangeRegionBegin(doc, a, 999999), 1);   // clamped to end - 1
    EXPECT_NEAR(AUDIOREGION_GetEnd(a) - AUDIOREGION_GetBegin(a), 0.001, 1e-9);
    EXPECT_EQ(TAVOAUDIO_ChangeRegionEnd(doc, b, -5), 1);   // clamped to begin + 1
    EXPECT_NEAR(AUDIOREGION_GetEnd(b) - AUDIOREGION_GetBegin(b), 0.001, 1e-9);
    EXPECT_EQ(TAVOAUDIO_MoveRegionBegin(doc, b, -100), 1);   // whole region moved to 0
    EXPECT_DOUBLE_EQ(AUDIOREGION_GetBegin(b), 0.0);
    EXPECT_EQ(TAVOAUDIO_ResizeRegion(doc, marker, 100, 200), 0);   // a marker stays a point
    EXPECT_EQ(TAVOAUDIO_ResizeRegion(doc, b, 300, 200), 0);        // begin after end
    EXPECT_EQ(TAVOAUDIO_ResizeRegion(doc, b, -50, -10), 0);        // would collapse at 0
    EXPECT_EQ(TAVOAUDIO_MoveMarker(doc, marker, 50000), 1);
    EXPECT_DOUBLE_EQ(AUDIOREGION_GetBegin(marker), 20.0);
    EXPECT_EQ(TAVOAUDIO_MoveMarker(doc, a, 10), 0);
}

TEST_F(RegionEdit, ConversionsBetweenMarkersAndRegions)
{
    EXPECT_EQ(TAVOAUDIO_ConvertToMarkers(doc, a), 1);
    EXPECT_TRUE(AUDIOREGION_IsDeleted(a));
    AUDIOREGION first = AUDIOSIGNAL_FindPrevMarkerFromPosition(signal, 0, 1.5, 0);
    AUDIOREGION second = AUDIOSIGNAL_FindPrevMarkerFromPosition(signal, 0, 5.5, 0);
    ASSERT_TRUE(first && second);
    EXPECT_STREQ(AUDIOREGION_GetLabel(first), "A");
    EXPECT_STREQ(AUDIOREGION_GetLabel(second), "A (end)");
    AUDIOREGION p = TAVOAUDIO_CreateRegionEx2(doc, nullptr, 15000, 15000, "undef", "", nullptr, 0, nullptr);
    AUDIOREGION q = TAVOAUDIO_CreateRegionEx2(doc, nullptr, 17000, 17000, "undef", "", nullptr, 0, nullptr);
    ASSERT_TRUE(p && q);
    EXPECT_EQ(TAVOAUDIO_ConvertMarkersToRegionEx(doc, q, p, nullptr), 1);
    AUDIOREGION made = AUDIOSIGNAL_FindRegionOverPosition(signal, 0, 16.0, 0);
    ASSERT_NE(made, nullptr);
    EXPECT_STREQ(AUDIOREGION_GetLabel(made), "Region 1");
    EXPECT_DOUBLE_EQ(AUDIOREGION_GetBegin(made), 15.0);
    EXPECT_DOUBLE_EQ(AUDIOREGION_GetEnd(made), 17.0);
    EXPECT_EQ(TAVOAUDIO_ConvertMarkersToRegionEx(doc, marker, note, nullptr), 0);   // two tracks
}

// Every edit is one step with its label that puts the regions back exactly,
// and redo makes the edit again.
struct RoundTrip {
    const char *label;
    std::function<int32_t(Scene &)> run;
    std::function<void(Scene &)> prepare = nullptr;
};

TEST(RegionEditUndo, EveryEditRoundTrips)
{
    const std::vector<RoundTrip> cases = {
        {"Change Region Label", [](Scene &x) { return TAVOAUDIO_SetRegionLabel(x.doc, x.a, "new"); }},
        {"Change Region Comment", [](Scene &x) { return TAVOAUDIO_SetRegionComment(x.doc, x.a, "c"); }},
        {"Change Region Channel", [](Scene &x) { return TAVOAUDIO_SetRegionChannel(x.doc, x.a, 1); }},
        {"Change Region Track", [](Scene &x) { return TAVOAUDIO_SetRegionTrackIndexEx(x.doc, x.a, AUDIOREGION_GetTrackIndex(x.note), nullptr); }},
        {"Convert Region to Loop", [](Scene &x) { return TAVOAUDIO_ConvertToLoop(x.doc, x.b); }},
        {"Convert Loop to Region", [](Scene &x) { return TAVOAUDIO_ConvertToRegion(x.doc, x.b); },
         [](Scene &x) { TAVOAUDIO_ConvertToLoop(x.doc, x.b); }},
        {"Convert to Markers", [](Scene &x) { return TAVOAUDIO_ConvertToMarkers(x.doc, x.b); }},
        {"Merge Regions", [](Scene &x) { x.select({x.a, x.b}); return TAVOAUDIO_MergeSelectedRegions(x.doc); }},
        {"Delete Region", [](Scene &x) { return TAVOAUDIO_DeleteRegionEx(x.doc, x.a, 0); }},
        {"Undelete Region", [](Scene &x) { return TAVOAUDIO_UndeleteRegionEx(x.doc, x.b, 0); },
         [](Scene &x) { TAVOAUDIO_DeleteRegionEx(x.doc, x.b, 0); }},
        {"Delete Regions", [](Scene &x) { x.select({x.a, x.marker, x.note}); return TAVOAUDIO_DelSelectedRegions(x.doc); }},
        {"Move Region", [](Scene &x) { x.select({x.a, x.note}); return TAVOAUDIO_OffsetRegions(x.doc, -300); }},
        {"Move Region Begin", [](Scene &x) { return TAVOAUDIO_MoveRegionBegin(x.doc, x.b, 10000); }},
        {"Change Region Begin", [](Scene &x) { return TAVOAUDIO_ChangeRegionBegin(x.doc, x.a, 10); }},
        {"Change Region End", [](Scene &x) { return TAVOAUDIO_ChangeRegionEnd(x.doc, x.a, 5500); }},
        {"Resize Region", [](Scene &x) { return TAVOAUDIO_ResizeRegion(x.doc, x.b, 5500, 9500); }},
        {"Move Marker", [](Scene &x) { return TAVOAUDIO_MoveMarker(x.doc, x.marker, 100); }},
        {"Move Regions", [](Scene &x) { x.select({x.a, x.b}); return TAVOAUDIO_MoveSelectedRegionsToTrack(x.doc, "notes"); }},
        {"Copy Regions", [](Scene &x) { x.select({x.note, x.marker}); return TAVOAUDIO_CopySelectedRegionsToTrack(x.doc, nullptr); }},
        {"Add Region", [](Scene &x) { return TAVOAUDIO_AddRegion(x.doc, 100, 200, nullptr) != nullptr ? 1 : 0; }},
        {"Add Marker", [](Scene &x) { return TAVOAUDIO_AddMarkerToPosition(x.doc, 3.5, "m") != nullptr ? 1 : 0; }},
        {"Add Loop", [](Scene &x) { return TAVOAUDIO_AddLoop(x.doc, 100, 900) != nullptr ? 1 : 0; }},
    };
    for (const RoundTrip &c : cases) {
        SCOPED_TRACE(c.label);
        Scene t;
        ASSERT_TRUE(t.ready());
        if (c.prepare) c.prepare(t);
        const auto before = snapshot(t.doc);
        const int32_t steps = TAVOUNDO_CountUndoScripts(t.doc);
        ASSERT_EQ(c.run(t), 1);
        const auto after = snapshot(t.doc);
        EXPECT_NE(after, before);
        EXPECT_EQ(TAVOUNDO_CountUndoScripts(t.doc), steps + 1);
        EXPECT_EQ(NextUndo(t.doc), c.label);
        ASSERT_TRUE(TAVOAUDIO_UndoEx(t.doc, 0));
        EXPECT_EQ(snapshot(t.doc), before);
        ASSERT_TRUE(TAVOAUDIO_Redo(t.doc));
        EXPECT_EQ(snapshot(t.doc), after);
    }
}

}  // namespace
