// regionselect_test.cpp: focus, current and edited region, region selection
// and highlight of a document, over regions made with the signal library
// directly.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "../common/document_fixture.h"
#include "audioregion.h"
#include "region_checks.h"
#include "tavonotify.h"
#include "tavoregionview.h"

namespace {

using Event = std::pair<int32_t, void *>;

// The region events, in order, as kind and first argument.
std::vector<Event> RegionEvents(const tavotest::EventLog &log)
{
    std::vector<Event> out;
    for (const auto &e : log.only({TAVOAUDIO_REGION_CHANGE_CURRENT, TAVOAUDIO_REGION_SELECTED,
                                   TAVOAUDIO_REGION_GET_FOCUS, TAVOAUDIO_REGION_LOST_FOCUS, TAVOAUDIO_MARKER_GET_FOCUS,
                                   TAVOAUDIO_MARKER_LOST_FOCUS, TAVOAUDIO_DISCARD_REGION_ON_EDIT}))
        out.emplace_back(e.kind, e.arg1);
    return out;
}

// Track 0: A [1,2] "Intro", B [3,4] "Verse 1", M marker at 5 "cue", C [6,7] "verse 2"
// Track 1: X [2,3] "Outro", Y [8,9] "Bridge"
class TavoRegionSelect : public ::testing::Test {
protected:
    TAVOAUDIO doc = tavotest::MakeSineDocument(8000, 1, 10.0);
    AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(doc);
    AUDIOREGION A{}, B{}, M{}, C{}, X{}, Y{};

    ~TavoRegionSelect() override { TAVOAUDIO_Close(doc); }
    void SetUp() override
    {
        ASSERT_NE(AUDIOSIGNAL_AddCustomTrack(signal, "notes", "Notes", nullptr), nullptr);
        A = tavotest::AddRegion(signal, 0, 1.0, 2.0, "Intro");
        B = tavotest::AddRegion(signal, 0, 3.0, 4.0, "Verse 1");
        M = tavotest::AddRegion(signal, 0, 5.0, 5.0, "cue");
        C = tavotest::AddRegion(signal, 0, 6.0, 7.0, "verse 2");
        X = tavotest::AddRegion(signal, 1, 2.0, 3.0, "Outro");
        Y = tavotest::AddRegion(signal, 1, 8.0, 9.0, "Bridge");
        for (AUDIOREGION r : {A, B, M, C, X, Y}) ASSERT_NE(r, nullptr);
    }
    std::vector<AUDIOREGION> selected()
    {
        std::vector<AUDIOREGION> out(16);
        out.resize(static_cast<size_t>(TAVOAUDIO_GetSelectedRegions(doc, out.data(), 16)));
        return out;
    }
};

TEST_F(TavoRegionSelect, FocusEventsTellRegionsFromMarkersLostFirstRedrawLast)
{
    // A handler may call back in (the lock is no longer held) and sees the new focus.
    tavotest::EventLog log(doc);
    AUDIOREGION focusAtEvent = nullptr;
    log.reply = [&](const BLNOTIFY_EVENT *event) {
        if (event->kind == TAVOAUDIO_REGION_GET_FOCUS) focusAtEvent = TAVOAUDIO_GetRegionOnFocus(doc);
        return 1;
    };
    ASSERT_EQ(TAVOAUDIO_SetFocusOnRegion(doc, A), 1);
    EXPECT_EQ(focusAtEvent, A);
    EXPECT_LT(log.indexOf(TAVOAUDIO_REGION_GET_FOCUS), log.indexOf(TAVOAUDIO_NEEDREDRAW));
    EXPECT_LT(log.indexOf(TAVOAUDIO_NEEDREDRAW), log.events.size());

    ASSERT_EQ(TAVOAUDIO_SetFocusOnRegion(doc, M), 1);
    ASSERT_EQ(TAVOAUDIO_SetFocusOnRegion(doc, M), 1);   // no move: no event
    ASSERT_EQ(TAVOAUDIO_SetFocusOnRegion(doc, nullptr), 1);
    EXPECT_EQ(RegionEvents(log), (std::vector<Event>{{TAVOAUDIO_REGION_GET_FOCUS, A},
                                                     {TAVOAUDIO_REGION_LOST_FOCUS, A},
                                                     {TAVOAUDIO_MARKER_GET_FOCUS, M},
                                                     {TAVOAUDIO_MARKER_LOST_FOCUS, M}}));
    EXPECT_EQ(TAVOAUDIO_GetRegionOnFocus(doc), nullptr);
}

TEST_F(TavoRegionSelect, OnlyFocusesAddKeepsTheFocusToggleFlipsListsReplaceOrAdd)
{
    ASSERT_EQ(TAVOAUDIO_SelectRegionEx(doc, A, TAVOREGION_SELECT_ADD), 1);
    ASSERT_EQ(TAVOAUDIO_SelectRegionEx(doc, X, TAVOREGION_SELECT_ADD), 1);
    EXPECT_EQ(selected(), (std::vector<AUDIOREGION>{A, X}));
    EXPECT_EQ(TAVOAUDIO_GetRegionOnFocus(doc), nullptr);

    tavotest::EventLog log(doc);
    ASSERT_EQ(TAVOAUDIO_SelectRegionEx(doc, C, TAVOREGION_SELECT_ONLY), 1);
    EXPECT_EQ(selected(), (std::vector<AUDIOREGION>{C}));
    EXPECT_EQ(TAVOAUDIO_GetRegionOnFocus(doc), C);
    EXPECT_EQ(RegionEvents(log), (std::vector<Event>{{TAVOAUDIO_REGION_GET_FOCUS, C}, {TAVOAUDIO_REGION_SELECTED, C}}));
    EXPECT_EQ(reinterpret_cast<intptr_t>(log.events[log.indexOf(TAVOAUDIO_REGION_SELECTED)].arg2),
              TAVOREGION_SELECT_ONLY);

    ASSERT_EQ(TAVOAUDIO_SelectRegionEx(doc, C, TAVOREGION_SELECT_TOGGLE), 1);
    EXPECT_TRUE(selected().empty());
    ASSERT_EQ(TAVOAUDIO_SelectRegionEx(doc, C, TAVOREGION_SELECT_TOGGLE), 1);
    EXPECT_EQ(selected(), (std::vector<AUDIOREGION>{C}));

    // A list replaces the selection (or adds to it) and leaves the focus.
    const AUDIOREGION two[] = {B, Y}, more[] = {M, B};
    log.events.clear();
    EXPECT_EQ(TAVOAUDIO_SelectRegions(doc, two, 2, false), 2);
    EXPECT_EQ(selected(), (std::vector<AUDIOREGION>{B, Y}));
    EXPECT_EQ(TAVOAUDIO_GetRegionOnFocus(doc), C);
    EXPECT_EQ(log.count(TAVOAUDIO_REGION_SELECTED), 2);
    EXPECT_EQ(TAVOAUDIO_SelectRegions(doc, more, 2, true), 2);
    EXPECT_EQ(selected(), (std::vector<AUDIOREGION>{B, M, Y}));
}

TEST_F(TavoRegionSelect, RefusedSelectionsChangeNothing)
{
    ASSERT_EQ(TAVOAUDIO_SelectRegionEx(doc, A, TAVOREGION_SELECT_ONLY), 1);
    ASSERT_TRUE(AUDIOSIGNAL_DeleteRegion(signal, C, 0));
    ASSERT_TRUE(AUDIOREGION_Hide(Y));
    tavotest::EventLog log(doc);
    EXPECT_EQ(TAVOAUDIO_SelectRegionEx(doc, B, 9), 0);
    EXPECT_EQ(TAVOAUDIO_SelectRegionEx(doc, C, TAVOREGION_SELECT_ONLY), 0);
    EXPECT_EQ(TAVOAUDIO_SelectRegionEx(doc, Y, TAVOREGION_SELECT_ADD), 0);
    EXPECT_EQ(TAVOAUDIO_SelectRegionEx(nullptr, B, TAVOREGION_SELECT_ONLY), 0);
    const AUDIOREGION mixed[] = {B, C};
    EXPECT_EQ(TAVOAUDIO_SelectRegions(doc, mixed, 2, false), 0);   // all or nothing
    EXPECT_EQ(TAVOAUDIO_SetFocusOnRegion(doc, C), 0);
    EXPECT_TRUE(log.events.empty());
    EXPECT_EQ(selected(), (std::vector<AUDIOREGION>{A}));
    EXPECT_EQ(TAVOAUDIO_GetRegionOnFocus(doc), A);
}

TEST_F(TavoRegionSelect, SelectToEndsAllOfATrackAndUnselect)
{
    EXPECT_EQ(TAVOAUDIO_SelectToLastRegion(doc), 0);   // no focus
    ASSERT_EQ(TAVOAUDIO_SelectRegionEx(doc, B, TAVOREGION_SELECT_ONLY), 1);
    ASSERT_EQ(TAVOAUDIO_SelectRegionEx(doc, X, TAVOREGION_SELECT_ADD), 1);
    // Extending works on the focused track only.
    ASSERT_EQ(TAVOAUDIO_SelectToLastRegion(doc), 1);
    EXPECT_EQ(selected(), (std::vector<AUDIOREGION>{B, M, C, X}));
    ASSERT_EQ(TAVOAUDIO_UnselectAllRegionsOfTrack(doc, 0), 1);
    EXPECT_EQ(selected(), (std::vector<AUDIOREGION>{X}));
    ASSERT_EQ(TAVOAUDIO_SelectToFirstRegion(doc), 1);
    EXPECT_EQ(selected(), (std::vector<AUDIOREGION>{A, B, X}));
    EXPECT_EQ(TAVOAUDIO_UnselectAllRegionsOfTrack(doc, 5), 0);   // no such track

    ASSERT_EQ(TAVOAUDIO_UnselectAllRegions(doc), 1);
    EXPECT_EQ(TAVOAUDIO_SelectAllRegionsEx(doc, 1), 2);
    EXPECT_EQ(TAVOAUDIO_SelectAllRegionsEx(doc, 1), 0);   // nothing new
    ASSERT_TRUE(AUDIOREGION_Hide(C));
    EXPECT_EQ(TAVOAUDIO_SelectAllRegionsEx(doc, -1), 3);   // A, B, M; C is hidden
    ASSERT_EQ(TAVOAUDIO_UnselectRegion(doc, B), 1);
    EXPECT_EQ(selected(), (std::vector<AUDIOREGION>{A, M, X, Y}));
}

TEST_F(TavoRegionSelect, HighlightMatchesLabelsWithoutCase)
{
    EXPECT_EQ(TAVOAUDIO_SetRegionsHighlight(doc, "VERSE"), 2);
    EXPECT_STREQ(TAVOAUDIO_RegionsHighlightString(doc), "VERSE");
    AUDIOREGION out[4] = {};
    ASSERT_EQ(TAVOAUDIO_GetRegionsHighlight(doc, out, 4), 2);
    EXPECT_EQ(out[0], B);
    EXPECT_EQ(out[1], C);
    EXPECT_EQ(TAVOAUDIO_GetHighlightRegion(doc), B);
    // The match follows the labels as they are now.
    ASSERT_TRUE(AUDIOSIGNAL_ChangeRegionLabel(signal, Y, "Last verse"));
    EXPECT_EQ(TAVOAUDIO_GetRegionsHighlight(doc, nullptr, 0), 3);

    EXPECT_TRUE(TAVOAUDIO_RegionsContainsString(doc, "tro"));   // Intro, Outro
    EXPECT_FALSE(TAVOAUDIO_RegionsContainsString(doc, "chorus"));
    EXPECT_EQ(TAVOAUDIO_SetRegionsHighlight(doc, "chorus"), 0);
    EXPECT_EQ(TAVOAUDIO_GetHighlightRegion(doc), nullptr);

    ASSERT_EQ(TAVOAUDIO_SetRegionsHighlight(doc, "o"), 2);   // Intro, Outro
    ASSERT_EQ(TAVOAUDIO_RegionsClearHighlight(doc), 1);
    EXPECT_EQ(TAVOAUDIO_RegionsHighlightString(doc), nullptr);
    EXPECT_EQ(TAVOAUDIO_GetRegionsHighlight(doc, out, 4), 0);
    EXPECT_EQ(TAVOAUDIO_SetRegionsHighlight(doc, std::string(300, 'x').c_str()), 0);   // too long
}

TEST_F(TavoRegionSelect, ReferencesAreDroppedWithTheirRegionAndFollowItIntoACopy)
{
    ASSERT_EQ(TAVOAUDIO_SetFocusOnRegion(doc, A), 1);
    ASSERT_EQ(TAVOAUDIO_SetCurrentRegion(doc, A), 1);
    ASSERT_EQ(TAVOAUDIO_SetEditingRegion(doc, A), 1);
    ASSERT_EQ(TAVOAUDIO_SetRegionsHighlight(doc, "intro"), 1);

    ASSERT_TRUE(AUDIOSIGNAL_DeleteRegion(signal, A, 0));
    EXPECT_EQ(TAVOAUDIO_GetRegionOnFocus(doc), nullptr);
    EXPECT_EQ(TAVOAUDIO_GetCurrentRegion(doc), nullptr);
    EXPECT_FALSE(TAVOAUDIO_IsEditingRegion(doc));
    EXPECT_EQ(TAVOAUDIO_GetHighlightRegion(doc), nullptr);
    // Dropped for good: undeleting does not bring the focus back.
    ASSERT_TRUE(AUDIOSIGNAL_UndeleteRegion(signal, A));
    EXPECT_EQ(TAVOAUDIO_GetRegionOnFocus(doc), nullptr);

    // A region taken out of the signal answers as detached; a caller's own
    // reference outlives the state's.
    ASSERT_EQ(TAVOAUDIO_SetFocusOnRegion(doc, B), 1);
    AUDIOREGION mine = TAVOAUDIO_ReferenceRegionOnFocus(doc);
    ASSERT_EQ(mine, B);
    ASSERT_TRUE(AUDIOSIGNAL_DeleteRegion(signal, B, AUDIOSIGNAL_DELETE_FOR_GOOD));
    EXPECT_EQ(TAVOAUDIO_GetRegionOnFocus(doc), nullptr);
    EXPECT_EQ(TAVOAUDIO_GetRegionTrackIndex(doc, mine), -1);
    EXPECT_TRUE(AUDIOREGION_Dispose(mine));

    // Edits swap in a working copy of the signal whose regions keep their
    // identities under new handles; the focus follows.
    ASSERT_EQ(TAVOAUDIO_SetFocusOnRegion(doc, M), 1);
    AUDIOSIGNAL copy = AUDIOSIGNAL_DuplicateEx(signal, 0);
    ASSERT_NE(copy, nullptr);
    AUDIOSIGNAL old = TAVOAUDIO_SetAudioSignal(doc, copy);
    AUDIOREGION focus = TAVOAUDIO_GetRegionOnFocus(doc);
    ASSERT_NE(focus, nullptr);
    EXPECT_EQ(AUDIOREGION_GetUniqId(focus), AUDIOREGION_GetUniqId(M));
    EXPECT_EQ(TAVOAUDIO_GetNextRegion(doc, focus), TAVOAUDIO_FindRegion(doc, "verse 2"));
    if (old != nullptr && old != copy) AUDIOSIGNAL_Destroy(old);
}

TEST_F(TavoRegionSelect, CurrentRegionAndEditorEvents)
{
    tavotest::EventLog log(doc);
    ASSERT_EQ(TAVOAUDIO_SetCurrentRegion(doc, B), 1);
    ASSERT_EQ(TAVOAUDIO_SetCurrentRegion(doc, B), 1);   // unchanged: no event
    ASSERT_EQ(TAVOAUDIO_SetCurrentRegion(doc, C), 1);
    AUDIOREGION mine = TAVOAUDIO_ReferenceCurrentRegion(doc);
    EXPECT_EQ(mine, C);
    AUDIOREGION_Dispose(mine);

    EXPECT_EQ(TAVOAUDIO_CloseRegionEditor(doc, true), 0);   // none open
    ASSERT_EQ(TAVOAUDIO_SetEditingRegion(doc, M), 1);
    EXPECT_EQ(TAVOAUDIO_GetRegionOnEdit(doc), M);
    ASSERT_EQ(TAVOAUDIO_CloseRegionEditor(doc, true), 1);
    EXPECT_FALSE(TAVOAUDIO_IsEditingRegion(doc));
    ASSERT_EQ(TAVOAUDIO_SetEditingRegion(doc, A), 1);
    ASSERT_EQ(TAVOAUDIO_CloseRegionEditor(doc, false), 1);   // closes without the discard event

    EXPECT_EQ(RegionEvents(log), (std::vector<Event>{{TAVOAUDIO_REGION_CHANGE_CURRENT, B},
                                                     {TAVOAUDIO_REGION_CHANGE_CURRENT, C},
                                                     {TAVOAUDIO_DISCARD_REGION_ON_EDIT, M}}));
    // A change carries the region it replaces.
    const auto changes = log.only({TAVOAUDIO_REGION_CHANGE_CURRENT});
    ASSERT_EQ(changes.size(), 2u);
    EXPECT_EQ(changes[0].arg2, nullptr);
    EXPECT_EQ(changes[1].arg2, B);
}

}  // namespace
