// regionselect_test.cpp: focus, current and edited region, region selection
// and highlight of a document, over regions made with the signal library
// directly.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "../common/document_fixture.h"
#include "audioregion.h"
#include "audiosignal.h"
#include "blnotify.h"
#include "tavoaudio.h"
#include "tavonotify.h"
#include "tavoregionview.h"

namespace {

struct Seen {
    int32_t kind;
    void *arg1;
    void *arg2;
};

// Records the region events and the change notifications, in order.
class Recorder {
public:
    explicit Recorder(TAVOAUDIO doc) : m_doc(doc)
    {
        TAVOAUDIO_AddEventHandler(m_doc, BLNOTIFY_ANY_KIND, &Recorder::handle, this);
    }
    ~Recorder() { TAVOAUDIO_DelEventHandler(m_doc, BLNOTIFY_ANY_KIND, &Recorder::handle, this); }
    std::vector<Seen> events;

    // Region events only (1101..1106 and 1161).
    std::vector<Seen> regionEvents() const
    {
        std::vector<Seen> out;
        for (const Seen &e : events)
            if ((e.kind >= TAVOAUDIO_REGION_CHANGE_CURRENT && e.kind <= TAVOAUDIO_MARKER_LOST_FOCUS) ||
                e.kind == TAVOAUDIO_DISCARD_REGION_ON_EDIT)
                out.push_back(e);
        return out;
    }
    size_t indexOf(int32_t kind) const
    {
        for (size_t i = 0; i < events.size(); ++i)
            if (events[i].kind == kind) return i;
        return events.size();
    }

private:
    static int32_t handle(void *user, const BLNOTIFY_EVENT *event)
    {
        static_cast<Recorder *>(user)->events.push_back({event->kind, event->arg1, event->arg2});
        return 1;
    }
    TAVOAUDIO m_doc;
};

// Track 0: A [1,2] "Intro", B [3,4] "Verse 1", M marker at 5 "cue", C [6,7] "verse 2"
// Track 1: X [2,3] "Outro", Y [8,9] "Bridge"
class TavoRegionSelect : public ::testing::Test {
protected:
    TAVOAUDIO doc = tavotest::MakeSineDocument(8000, 1, 10.0);
    AUDIOSIGNAL signal = nullptr;
    AUDIOREGION A{}, B{}, M{}, C{}, X{}, Y{};

    ~TavoRegionSelect() override { TAVOAUDIO_Close(doc); }
    void SetUp() override
    {
        ASSERT_NE(doc, nullptr);
        signal = TAVOAUDIO_GetAudioSignal(doc);
        ASSERT_NE(AUDIOSIGNAL_AddCustomTrack(signal, "notes", "Notes", nullptr), nullptr);
        A = make(0, 1.0, 2.0, "Intro");
        B = make(0, 3.0, 4.0, "Verse 1");
        M = make(0, 5.0, 5.0, "cue");
        C = make(0, 6.0, 7.0, "verse 2");
        X = make(1, 2.0, 3.0, "Outro");
        Y = make(1, 8.0, 9.0, "Bridge");
    }
    AUDIOREGION make(int32_t track, double begin, double end, const char *label)
    {
        AUDIOREGION out = nullptr;
        EXPECT_EQ(AUDIOSIGNAL_CreateRegionsOnTrack(signal, 0, begin, end, "undef", label, nullptr, track, &out, 1), 1);
        return out;
    }
    std::vector<AUDIOREGION> selected()
    {
        std::vector<AUDIOREGION> out(16);
        out.resize(static_cast<size_t>(TAVOAUDIO_GetSelectedRegions(doc, out.data(), 16)));
        return out;
    }
};

TEST_F(TavoRegionSelect, FocusEventsTellRegionsFromMarkersAndLostComesFirst)
{
    Recorder rec(doc);
    ASSERT_EQ(TAVOAUDIO_SetFocusOnRegion(doc, A), 1);
    ASSERT_EQ(TAVOAUDIO_SetFocusOnRegion(doc, M), 1);
    ASSERT_EQ(TAVOAUDIO_SetFocusOnRegion(doc, M), 1);      // no move: no event
    ASSERT_EQ(TAVOAUDIO_SetFocusOnRegion(doc, nullptr), 1);
    const std::vector<Seen> seen = rec.regionEvents();
    ASSERT_EQ(seen.size(), 4u);
    EXPECT_EQ(seen[0].kind, TAVOAUDIO_REGION_GET_FOCUS);
    EXPECT_EQ(seen[0].arg1, A);
    EXPECT_EQ(seen[1].kind, TAVOAUDIO_REGION_LOST_FOCUS);
    EXPECT_EQ(seen[1].arg1, A);
    EXPECT_EQ(seen[2].kind, TAVOAUDIO_MARKER_GET_FOCUS);
    EXPECT_EQ(seen[2].arg1, M);
    EXPECT_EQ(seen[3].kind, TAVOAUDIO_MARKER_LOST_FOCUS);
    EXPECT_EQ(seen[3].arg1, M);
    EXPECT_EQ(TAVOAUDIO_GetRegionOnFocus(doc), nullptr);
}

TEST_F(TavoRegionSelect, HandlersSeeTheNewFocusAndTheRedrawComesLast)
{
    struct Probe {
        TAVOAUDIO doc;
        AUDIOREGION focusAtEvent = nullptr;
        static int32_t handle(void *user, const BLNOTIFY_EVENT *)
        {
            auto *self = static_cast<Probe *>(user);
            // A handler may call back in: the lock is no longer held.
            self->focusAtEvent = TAVOAUDIO_GetRegionOnFocus(self->doc);
            return 1;
        }
    } probe{doc};
    TAVOAUDIO_AddEventHandler(doc, TAVOAUDIO_REGION_GET_FOCUS, &Probe::handle, &probe);
    Recorder rec(doc);
    ASSERT_EQ(TAVOAUDIO_SetFocusOnRegion(doc, B), 1);
    TAVOAUDIO_DelEventHandler(doc, TAVOAUDIO_REGION_GET_FOCUS, &Probe::handle, &probe);
    EXPECT_EQ(probe.focusAtEvent, B);
    EXPECT_LT(rec.indexOf(TAVOAUDIO_REGION_GET_FOCUS), rec.indexOf(TAVOAUDIO_NEEDREDRAW));
    EXPECT_LT(rec.indexOf(TAVOAUDIO_NEEDREDRAW), rec.events.size());
}

TEST_F(TavoRegionSelect, ModeOneSelectsOnlyThisRegionAndFocusesItModeTwoAdds)
{
    ASSERT_EQ(TAVOAUDIO_SelectRegionEx(doc, A, TAVOREGION_SELECT_ADD), 1);
    ASSERT_EQ(TAVOAUDIO_SelectRegionEx(doc, X, TAVOREGION_SELECT_ADD), 1);
    EXPECT_EQ(selected(), (std::vector<AUDIOREGION>{A, X}));
    EXPECT_EQ(TAVOAUDIO_GetRegionOnFocus(doc), nullptr);   // adding leaves the focus alone

    Recorder rec(doc);
    ASSERT_EQ(TAVOAUDIO_SelectRegionEx(doc, C, TAVOREGION_SELECT_ONLY), 1);
    EXPECT_EQ(selected(), (std::vector<AUDIOREGION>{C}));
    EXPECT_EQ(TAVOAUDIO_GetRegionOnFocus(doc), C);
    const std::vector<Seen> seen = rec.regionEvents();
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0].kind, TAVOAUDIO_REGION_GET_FOCUS);
    EXPECT_EQ(seen[1].kind, TAVOAUDIO_REGION_SELECTED);
    EXPECT_EQ(seen[1].arg1, C);
    EXPECT_EQ(reinterpret_cast<intptr_t>(seen[1].arg2), TAVOREGION_SELECT_ONLY);

    // Toggle takes a selected region out and puts it back.
    ASSERT_EQ(TAVOAUDIO_SelectRegionEx(doc, C, TAVOREGION_SELECT_TOGGLE), 1);
    EXPECT_TRUE(selected().empty());
    ASSERT_EQ(TAVOAUDIO_SelectRegionEx(doc, C, TAVOREGION_SELECT_TOGGLE), 1);
    EXPECT_EQ(selected(), (std::vector<AUDIOREGION>{C}));
}

TEST_F(TavoRegionSelect, RefusedSelectionsChangeNothing)
{
    ASSERT_EQ(TAVOAUDIO_SelectRegionEx(doc, A, TAVOREGION_SELECT_ONLY), 1);
    ASSERT_TRUE(AUDIOSIGNAL_DeleteRegion(signal, C, 0));
    ASSERT_TRUE(AUDIOREGION_Hide(Y));
    Recorder rec(doc);
    EXPECT_EQ(TAVOAUDIO_SelectRegionEx(doc, B, 9), 0);
    EXPECT_EQ(TAVOAUDIO_SelectRegionEx(doc, C, TAVOREGION_SELECT_ONLY), 0);
    EXPECT_EQ(TAVOAUDIO_SelectRegionEx(doc, Y, TAVOREGION_SELECT_ADD), 0);
    EXPECT_EQ(TAVOAUDIO_SelectRegionEx(doc, nullptr, TAVOREGION_SELECT_ONLY), 0);
    EXPECT_EQ(TAVOAUDIO_SelectRegionEx(nullptr, B, TAVOREGION_SELECT_ONLY), 0);
    const AUDIOREGION mixed[] = {B, C};
    EXPECT_EQ(TAVOAUDIO_SelectRegions(doc, mixed, 2, false), 0);   // all or nothing
    EXPECT_EQ(TAVOAUDIO_SetFocusOnRegion(doc, C), 0);
    EXPECT_TRUE(rec.events.empty());
    EXPECT_EQ(selected(), (std::vector<AUDIOREGION>{A}));
    EXPECT_EQ(TAVOAUDIO_GetRegionOnFocus(doc), A);
}

TEST_F(TavoRegionSelect, SelectRegionsReplacesOrAddsAndKeepsTheFocus)
{
    ASSERT_EQ(TAVOAUDIO_SelectRegionEx(doc, A, TAVOREGION_SELECT_ONLY), 1);
    const AUDIOREGION two[] = {B, Y};
    Recorder rec(doc);
    EXPECT_EQ(TAVOAUDIO_SelectRegions(doc, two, 2, false), 2);
    EXPECT_EQ(selected(), (std::vector<AUDIOREGION>{B, Y}));
    EXPECT_EQ(TAVOAUDIO_GetRegionOnFocus(doc), A);
    size_t selectedEvents = 0;
    for (const Seen &e : rec.regionEvents()) selectedEvents += e.kind == TAVOAUDIO_REGION_SELECTED;
    EXPECT_EQ(selectedEvents, 2u);

    const AUDIOREGION more[] = {M, B};
    EXPECT_EQ(TAVOAUDIO_SelectRegions(doc, more, 2, true), 2);
    EXPECT_EQ(selected(), (std::vector<AUDIOREGION>{B, M, Y}));
}

TEST_F(TavoRegionSelect, SelectToFirstAndLastExtendOnTheFocusedTrackOnly)
{
    EXPECT_EQ(TAVOAUDIO_SelectToLastRegion(doc), 0);   // no focus
    ASSERT_EQ(TAVOAUDIO_SelectRegionEx(doc, B, TAVOREGION_SELECT_ONLY), 1);
    ASSERT_EQ(TAVOAUDIO_SelectRegionEx(doc, X, TAVOREGION_SELECT_ADD), 1);
    ASSERT_EQ(TAVOAUDIO_SelectToLastRegion(doc), 1);
    EXPECT_EQ(selected(), (std::vector<AUDIOREGION>{B, M, C, X}));   // X was selected before
    ASSERT_EQ(TAVOAUDIO_UnselectAllRegionsOfTrack(doc, 0), 1);
    EXPECT_EQ(selected(), (std::vector<AUDIOREGION>{X}));
    ASSERT_EQ(TAVOAUDIO_SelectToFirstRegion(doc), 1);
    EXPECT_EQ(selected(), (std::vector<AUDIOREGION>{A, B, X}));
    EXPECT_EQ(TAVOAUDIO_UnselectAllRegionsOfTrack(doc, 5), 0);   // no such track
}

TEST_F(TavoRegionSelect, SelectAllOfATrackAndUnselect)
{
    EXPECT_EQ(TAVOAUDIO_SelectAllRegionsEx(doc, 1), 2);
    EXPECT_EQ(selected(), (std::vector<AUDIOREGION>{X, Y}));
    EXPECT_EQ(TAVOAUDIO_SelectAllRegionsEx(doc, 1), 0);   // nothing new
    ASSERT_TRUE(AUDIOREGION_Hide(C));
    EXPECT_EQ(TAVOAUDIO_SelectAllRegionsEx(doc, -1), 3);   // A, B, M; C is hidden
    EXPECT_EQ(TAVOAUDIO_CountSelectedRegions(doc), 5);
    ASSERT_EQ(TAVOAUDIO_UnselectRegion(doc, B), 1);
    EXPECT_FALSE(TAVOAUDIO_IsRegionSelected(doc, B));
    ASSERT_EQ(TAVOAUDIO_UnselectAllRegions(doc), 1);
    EXPECT_EQ(TAVOAUDIO_CountSelectedRegions(doc), 0);
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

    EXPECT_TRUE(TAVOAUDIO_RegionsContainsString(doc, "tro"));    // Intro, Outro
    EXPECT_FALSE(TAVOAUDIO_RegionsContainsString(doc, "chorus"));
    EXPECT_EQ(TAVOAUDIO_SetRegionsHighlight(doc, "chorus"), 0);
    EXPECT_EQ(TAVOAUDIO_GetHighlightRegion(doc), nullptr);

    ASSERT_EQ(TAVOAUDIO_SetRegionsHighlight(doc, "o"), 2);   // Intro, Outro
    ASSERT_EQ(TAVOAUDIO_RegionsClearHighlight(doc), 1);
    EXPECT_EQ(TAVOAUDIO_RegionsHighlightString(doc), nullptr);
    EXPECT_EQ(TAVOAUDIO_GetRegionsHighlight(doc, out, 4), 0);
    EXPECT_EQ(TAVOAUDIO_GetHighlightRegion(doc), nullptr);

    EXPECT_EQ(TAVOAUDIO_SetRegionsHighlight(doc, std::string(300, 'x').c_str()), 0);   // too long
}

TEST_F(TavoRegionSelect, ReferencesAreDroppedWhenTheirRegionIsDeleted)
{
    ASSERT_EQ(TAVOAUDIO_SetFocusOnRegion(doc, A), 1);
    ASSERT_EQ(TAVOAUDIO_SetCurrentRegion(doc, A), 1);
    ASSERT_EQ(TAVOAUDIO_SetEditingRegion(doc, A), 1);
    ASSERT_EQ(TAVOAUDIO_SetRegionsHighlight(doc, "intro"), 1);
    ASSERT_EQ(TAVOAUDIO_GetHighlightRegion(doc), A);

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
    EXPECT_TRUE(TAVOAUDIO_IsRegionDeleted(doc, mine));
    EXPECT_TRUE(AUDIOREGION_Dispose(mine));
}

TEST_F(TavoRegionSelect, FocusFollowsTheRegionIntoACopyOfTheSignal)
{
    // Edits swap in a working copy of the signal whose regions keep their
    // identities under new handles; the focus must follow.
    ASSERT_EQ(TAVOAUDIO_SetFocusOnRegion(doc, B), 1);
    const uint64_t id = AUDIOREGION_GetUniqId(B);
    AUDIOSIGNAL copy = AUDIOSIGNAL_DuplicateEx(signal, 0);
    ASSERT_NE(copy, nullptr);
    AUDIOSIGNAL old = TAVOAUDIO_SetAudioSignal(doc, copy);
    AUDIOREGION focus = TAVOAUDIO_GetRegionOnFocus(doc);
    ASSERT_NE(focus, nullptr);
    EXPECT_EQ(AUDIOREGION_GetUniqId(focus), id);
    EXPECT_EQ(TAVOAUDIO_GetNextRegion(doc, focus), TAVOAUDIO_FindRegion(doc, "cue"));
    if (old != nullptr && old != copy) AUDIOSIGNAL_Destroy(old);
}

TEST_F(TavoRegionSelect, CurrentRegionAndEditorEvents)
{
    Recorder rec(doc);
    ASSERT_EQ(TAVOAUDIO_SetCurrentRegion(doc, B), 1);
    ASSERT_EQ(TAVOAUDIO_SetCurrentRegion(doc, B), 1);   // unchanged: no event
    ASSERT_EQ(TAVOAUDIO_SetCurrentRegion(doc, C), 1);
    EXPECT_EQ(TAVOAUDIO_GetCurrentRegion(doc), C);
    AUDIOREGION mine = TAVOAUDIO_ReferenceCurrentRegion(doc);
    EXPECT_EQ(mine, C);
    AUDIOREGION_Dispose(mine);

    EXPECT_EQ(TAVOAUDIO_CloseRegionEditor(doc, true), 0);   // none open
    ASSERT_EQ(TAVOAUDIO_SetEditingRegion(doc, M), 1);
    EXPECT_TRUE(TAVOAUDIO_IsEditingRegion(doc));
    EXPECT_EQ(TAVOAUDIO_GetRegionOnEdit(doc), M);
    ASSERT_EQ(TAVOAUDIO_CloseRegionEditor(doc, true), 1);
    EXPECT_FALSE(TAVOAUDIO_IsEditingRegion(doc));
    ASSERT_EQ(TAVOAUDIO_SetEditingRegion(doc, A), 1);
    ASSERT_EQ(TAVOAUDIO_CloseRegionEditor(doc, false), 1);   // closes without the discard event

    const std::vector<Seen> seen = rec.regionEvents();
    ASSERT_EQ(seen.size(), 3u);
    EXPECT_EQ(seen[0].kind, TAVOAUDIO_REGION_CHANGE_CURRENT);
    EXPECT_EQ(seen[0].arg1, B);
    EXPECT_EQ(seen[0].arg2, nullptr);
    EXPECT_EQ(seen[1].kind, TAVOAUDIO_REGION_CHANGE_CURRENT);
    EXPECT_EQ(seen[1].arg1, C);
    EXPECT_EQ(seen[1].arg2, B);
    EXPECT_EQ(seen[2].kind, TAVOAUDIO_DISCARD_REGION_ON_EDIT);
    EXPECT_EQ(seen[2].arg1, M);
}

}  // namespace
