// selection_test.cpp: the selection list of a document: adding, merging,
// clamping, subtracting, inverting, the vetoable events and the selecting
// band. The document runs at 1000 frames a second, so 1 frame = 1 ms.
#include <gtest/gtest.h>

#include <cmath>
#include <utility>
#include <vector>

#include "audiosignal.h"
#include "blnotify.h"
#include "document_fixture.h"
#include "tavoaudio.h"
#include "tavonotify.h"
#include "tavoselection.h"
#include "tavostate.h"
#include "tavoundo.h"
#include "tavozoom.h"

namespace {

using Span = std::pair<int64_t, int64_t>;

struct Events {
    struct Seen {
        int32_t kind;
        double a, b;
        uintptr_t third;
    };
    std::vector<Seen> seen;
    int32_t veto = 0;   // kind whose before-event is answered 0
    static int32_t Handler(void *user, const BLNOTIFY_EVENT *e)
    {
        auto *self = static_cast<Events *>(user);
        Seen s{e->kind, -1, -1, reinterpret_cast<uintptr_t>(e->arg3)};
        const bool seconds = e->kind >= TAVOAUDIO_BEFORE_SELECTION_ADD && e->kind <= TAVOAUDIO_SELECTION_DELETED;
        if (seconds && e->arg1 != nullptr) s.a = *static_cast<double *>(e->arg1);
        if (seconds && e->arg2 != nullptr) s.b = *static_cast<double *>(e->arg2);
        if (e->kind == TAVOAUDIO_SELECTING_UPDATE) {
            s.a = static_cast<double>(*static_cast<int64_t *>(e->arg1));
            s.b = static_cast<double>(*static_cast<int64_t *>(e->arg2));
        }
        if (e->kind == TAVOAUDIO_SELECTION_CLEAR) s.third = reinterpret_cast<uintptr_t>(e->arg1);
        self->seen.push_back(s);
        return e->kind == self->veto ? 0 : 1;
    }
    // The last event of a kind (change notifications may follow it).
    Seen last(int32_t kind) const
    {
        for (auto it = seen.rbegin(); it != seen.rend(); ++it) {
            if (it->kind == kind) return *it;
        }
        return Seen{0, -1, -1, 0};
    }
    std::vector<int32_t> selectionKinds() const
    {
        std::vector<int32_t> out;
        for (const Seen &s : seen) {
            if (s.kind >= TAVOAUDIO_BEFORE_SELECTION_ADD && s.kind <= TAVOAUDIO_SELECTING_UPDATE) out.push_back(s.kind);
        }
        return out;
    }
};

class TavoSelection : public ::testing::Test {
protected:
    TAVOAUDIO doc = tavotest::MakeSineDocument(1000, 1, 10.0);   // 10000 frames
    Events events;
    TavoSelection() { TAVOAUDIO_AddEventHandler(doc, BLNOTIFY_ANY_KIND, Events::Handler, &events); }
    ~TavoSelection() override { TAVOAUDIO_Close(doc); }

    std::vector<Span> spans()
    {
        std::vector<Span> out;
        for (int32_t i = 0; i < TAVOAUDIO_CountSelections(doc); ++i) {
            TAVOSELECTION s = TAVOAUDIO_Selection(doc, i);
            out.emplace_back(std::llround(s.begin * 1000), std::llround(s.end * 1000));
        }
        return out;
    }
};

TEST_F(TavoSelection, EmptyAddMovesTheCursorOnly)
{
    EXPECT_EQ(TAVOAUDIO_AddSelectionEx(doc, 100, 100, -1, 1), 1);
    EXPECT_EQ(TAVOAUDIO_GetCursorPosition(doc), 100);
    EXPECT_FALSE(TAVOAUDIO_HasSelection(doc));
    EXPECT_TRUE(events.selectionKinds().empty());
}

TEST_F(TavoSelection, ReversedAddIsOrderedAndLeavesTheCursorAtTheSecondArgument)
{
    ASSERT_EQ(TAVOAUDIO_AddSelectionEx(doc, 200, 100, -1, 1), 1);
    EXPECT_EQ(spans(), (std::vector<Span>{{100, 200}}));
    EXPECT_EQ(TAVOAUDIO_GetCursorPosition(doc), 100);
    ASSERT_EQ(events.selectionKinds(), (std::vector<int32_t>{TAVOAUDIO_BEFORE_SELECTION_ADD, TAVOAUDIO_SELECTION_ADDED}));
    EXPECT_DOUBLE_EQ(events.seen[0].a, 0.1);
    EXPECT_DOUBLE_EQ(events.seen[0].b, 0.2);
    const auto &added = events.seen[1];
    EXPECT_EQ(added.kind, TAVOAUDIO_SELECTION_ADDED);
    EXPECT_EQ(added.third, 1u);   // the caller's flags
}

TEST_F(TavoSelection, TouchingAndCoveredSelectionsMerge)
{
    TAVOAUDIO_AddSelectionEx(doc, 10, 20, -1, 0);
    TAVOAUDIO_AddSelectionEx(doc, 20, 30, -1, 0);
    EXPECT_EQ(spans(), (std::vector<Span>{{10, 30}}));

    TAVOAUDIO_ClearSelectionEx2(doc, nullptr, 0);
    TAVOAUDIO_AddSelectionEx(doc, 10, 20, -1, 0);
    TAVOAUDIO_AddSelectionEx(doc, 30, 40, -1, 0);
    TAVOAUDIO_AddSelectionEx(doc, 60, 70, -1, 0);
    ASSERT_EQ(spans().size(), 3u);
    TAVOAUDIO_AddSelectionEx(doc, 5, 50, -1, 0);
    EXPECT_EQ(spans(), (std::vector<Span>{{5, 50}, {60, 70}}));
    // Disjoint additions keep the list sorted by begin.
    TAVOAUDIO_AddSelectionEx(doc, 55, 57, -1, 0);
    EXPECT_EQ(spans(), (std::vector<Span>{{5, 50}, {55, 57}, {60, 70}}));
}

TEST_F(TavoSelection, AddIsClampedToTheLimitsAndTheSignal)
{
    ASSERT_NE(TAVOAUDIO_SetZoomLimitsEx(doc, 1000, 2000, 0), 0);
    TAVOAUDIO_AddSelectionEx(doc, 500, 2500, -1, 0);
    EXPECT_EQ(spans(), (std::vector<Span>{{1000, 2000}}));
    EXPECT_EQ(TAVOAUDIO_GetCursorPosition(doc), 2000);
    TAVOAUDIO_ResetZoomLimitsEx(doc, 0);
    TAVOAUDIO_ClearSelectionEx2(doc, nullptr, 0);
    TAVOAUDIO_AddSelectionEx(doc, 9000, 20000, -1, 0);
    EXPECT_EQ(spans(), (std::vector<Span>{{9000, 10000}}));
    EXPECT_EQ(TAVOAUDIO_GetCursorPosition(doc), 10000);
}

TEST_F(TavoSelection, SubtractSplitsWithAPlainRightPiece)
{
    TAVOAUDIO_AddSelectionEx(doc, 10, 30, 2, TAVOSELECTION_FLAG_ACTIVE);
    events.seen.clear();
    ASSERT_EQ(TAVOAUDIO_DelSelection(doc, 15, 25), 1);
    EXPECT_EQ(spans(), (std::vector<Span>{{10, 15}, {25, 30}}));
    const TAVOSELECTION left = TAVOAUDIO_Selection(doc, 0), right = TAVOAUDIO_Selection(doc, 1);
    EXPECT_EQ(left.active, 1);
    EXPECT_EQ(left.trackIndex, 2);
    EXPECT_EQ(right.active, 0);
    EXPECT_EQ(right.trackIndex, -1);
    ASSERT_EQ(events.selectionKinds(),
              (std::vector<int32_t>{TAVOAUDIO_BEFORE_SELECTION_DELETE, TAVOAUDIO_SELECTION_DELETED}));
    EXPECT_DOUBLE_EQ(events.last(TAVOAUDIO_SELECTION_DELETED).a, 0.015);
    EXPECT_DOUBLE_EQ(events.last(TAVOAUDIO_SELECTION_DELETED).b, 0.025);
    EXPECT_EQ(TAVOAUDIO_DelSelection(doc, 40, 40), 0);   // empty interval
}

TEST_F(TavoSelection, SubtractingEverythingLeavesTheCursorOnly)
{
    TAVOAUDIO_AddSelectionEx(doc, 100, 300, -1, 0);
    TAVOAUDIO_AddSelectionEx(doc, 3000, 2000, -1, 0);   // cursor at 2000, away from the view centre
    ASSERT_EQ(TAVOAUDIO_DelSelection(doc, 0, 10000), 1);
    EXPECT_FALSE(TAVOAUDIO_HasSelection(doc));
    // With the cursor-only mark the zoom focus is the cursor, not the centre.
    EXPECT_EQ(TAVOAUDIO_ZoomFocusPosition(doc), 2000);
}

TEST_F(TavoSelection, InvertGivesTheGaps)
{
    TAVOAUDIO_AddSelectionEx(doc, 0, 5000, -1, 0);
    TAVOAUDIO_AddSelectionEx(doc, 8000, 10000, -1, 0);
    events.seen.clear();
    ASSERT_EQ(TAVOAUDIO_InvertSelection(doc), 1);
    EXPECT_EQ(spans(), (std::vector<Span>{{5000, 8000}}));
    EXPECT_EQ(events.selectionKinds(),
              (std::vector<int32_t>{TAVOAUDIO_BEFORE_SELECTION_INVERT, TAVOAUDIO_SELECTION_INVERT}));
    TAVOAUDIO_ClearSelectionEx2(doc, nullptr, 0);
    EXPECT_EQ(TAVOAUDIO_InvertSelection(doc), 0);   // nothing to invert
}

TEST_F(TavoSelection, QueriesOverSeveralSelections)
{
    EXPECT_EQ(TAVOAUDIO_SelectionLength(doc), 0);    // nothing selected is a length, not a failure
    EXPECT_EQ(TAVOAUDIO_SelectionBegin(doc), -1);
    TAVOAUDIO_AddSelectionEx(doc, 0, 100, -1, 0);
    TAVOAUDIO_AddSelectionEx(doc, 200, 250, -1, 0);
    EXPECT_EQ(TAVOAUDIO_SelectionLength(doc), 150);   // selected frames, not the span
    EXPECT_EQ(TAVOAUDIO_SelectionBegin(doc), 0);
    EXPECT_EQ(TAVOAUDIO_SelectionEnd(doc), 250);
    EXPECT_EQ(TAVOAUDIO_Selection(doc, 5).begin, -1.0);
    EXPECT_EQ(TAVOAUDIO_LastSelection(doc).end, 0.25);

    TAVOSELECTION a, b;
    TAVOSELECTION_Define(&a, 1.0, 0.0);
    TAVOSELECTION_Define(&b, 1.0, 2.0);
    EXPECT_EQ(a.begin, 0.0);
    EXPECT_FALSE(TAVOSELECTION_Overlap(&a, &b));
    b.begin = 0.999;
    EXPECT_TRUE(TAVOSELECTION_Overlap(&a, &b));

    TAVOAUDIO_ClearSelectionEx2(doc, nullptr, 0);
    TAVOAUDIO_AddSelectionEx(doc, 0, 1000, -1, 0);
    TAVOAUDIO_AddSelectionEx(doc, 1500, 2000, -1, 0);
    TAVOSTATE state = TAVOAUDIO_GetState(doc);
    const TAVOSELECTION *current = TAVOSTATE_GetCurrentSelection(state, 1.0);
    ASSERT_NE(current, nullptr);
    EXPECT_EQ(current->end, 1.0);
    EXPECT_EQ(TAVOSTATE_GetNextSelection(state, 1.0)->begin, 1.5);
    EXPECT_EQ(TAVOSTATE_GetPrevSelection(state, 1.0), nullptr);
    EXPECT_EQ(TAVOSTATE_GetCurrentSelection(state, 1.2), nullptr);
}

TEST_F(TavoSelection, ClearingTheTrackIndexKeepsTrackZero)
{
    TAVOAUDIO_AddSelectionEx(doc, 10, 20, 0, 0);
    TAVOAUDIO_AddSelectionEx(doc, 40, 50, 3, 0);
    TAVOSELECTION first = TAVOAUDIO_Selection(doc, 0), second = TAVOAUDIO_Selection(doc, 1);
    EXPECT_EQ(TAVOAUDIO_ClrSelectionTrackIndex(doc, &first), 1);
    EXPECT_EQ(TAVOAUDIO_Selection(doc, 0).trackIndex, 0);
    EXPECT_EQ(TAVOAUDIO_ClrSelectionTrackIndex(doc, &second), 1);
    EXPECT_EQ(TAVOAUDIO_Selection(doc, 1).trackIndex, -1);
    TAVOSELECTION none;
    TAVOSELECTION_Define(&none, 3.0, 4.0);
    EXPECT_EQ(TAVOAUDIO_ClrSelectionTrackIndex(doc, &none), 0);
}

TEST_F(TavoSelection, VetoedChangesLeaveTheListAlone)
{
    TAVOAUDIO_AddSelectionEx(doc, 100, 200, -1, 0);
    const std::vector<Span> before = spans();
    events.veto = TAVOAUDIO_BEFORE_SELECTION_ADD;
    EXPECT_EQ(TAVOAUDIO_AddSelectionEx(doc, 500, 600, -1, 1), 0);
    EXPECT_EQ(spans(), before);
    events.veto = TAVOAUDIO_BEFORE_SELECTION_DELETE;
    EXPECT_EQ(TAVOAUDIO_DelSelection(doc, 150, 160), 0);
    EXPECT_EQ(spans(), before);
    events.veto = TAVOAUDIO_BEFORE_SELECTION_INVERT;
    EXPECT_EQ(TAVOAUDIO_InvertSelection(doc), 0);
    EXPECT_EQ(spans(), before);
    events.veto = TAVOAUDIO_BEFORE_SELECTION_CLEAR;
    EXPECT_EQ(TAVOAUDIO_ClearSelectionEx2(doc, nullptr, 5), 0);
    EXPECT_EQ(spans(), before);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);   // no undo step for a vetoed clear
}

TEST_F(TavoSelection, ClearRecordsASelectionStepThatUndoRestores)
{
    TAVOAUDIO_AddSelectionEx(doc, 100, 200, -1, 0);
    TAVOAUDIO_AddSelectionEx(doc, 400, 500, -1, 0);
    events.seen.clear();
    ASSERT_EQ(TAVOAUDIO_ClearSelectionEx2(doc, nullptr, TAVOSELECTION_FLAG_NOTIFY | TAVOSELECTION_FLAG_UNDO), 1);
    EXPECT_FALSE(TAVOAUDIO_HasSelection(doc));
    ASSERT_EQ(events.selectionKinds(),
              (std::vector<int32_t>{TAVOAUDIO_BEFORE_SELECTION_CLEAR, TAVOAUDIO_SELECTION_CLEAR}));
    EXPECT_EQ(events.last(TAVOAUDIO_SELECTION_CLEAR).third, 5u);   // the flags travel in the first argument
    char label[32];
    ASSERT_TRUE(TAVOAUDIO_NextUndoLabel(doc, label, sizeof label));
    EXPECT_STREQ(label, "Selection");
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(spans(), (std::vector<Span>{{100, 200}, {400, 500}}));
    EXPECT_EQ(TAVOAUDIO_ClearSelectionEx2(doc, nullptr, 0), 1);
    EXPECT_EQ(TAVOAUDIO_ClearSelectionEx2(doc, nullptr, 0), 1);   // nothing left: still 1
}

TEST_F(TavoSelection, ClearingListedSelectionsShiftsTheRest)
{
    TAVOAUDIO_AddSelectionEx(doc, 100, 200, -1, 0);
    TAVOAUDIO_AddSelectionEx(doc, 400, 500, -1, 0);
    TAVOAUDIO_AddSelectionEx(doc, 700, 800, 4, TAVOSELECTION_FLAG_ACTIVE);
    TAVOSELECTION removed = TAVOAUDIO_Selection(doc, 0);   // what a cut of the first leaves
    ASSERT_EQ(TAVOAUDIO_ClearSelectionEx2(doc, &removed, 0), 1);
    EXPECT_EQ(spans(), (std::vector<Span>{{300, 400}, {600, 700}}));
    EXPECT_EQ(TAVOAUDIO_Selection(doc, 1).trackIndex, -1);
    EXPECT_EQ(TAVOAUDIO_Selection(doc, 1).active, 0);
}

TEST_F(TavoSelection, SelectFamilyReplacesTheList)
{
    TAVOAUDIO_AddSelectionEx(doc, 10, 20, -1, 0);
    ASSERT_EQ(TAVOAUDIO_SelectAll(doc), 1);
    EXPECT_EQ(spans(), (std::vector<Span>{{0, 10000}}));
    TAVOAUDIO_SetCursorPositionEx2(doc, 4000, 0);
    TAVOAUDIO_ClearSelectionEx2(doc, nullptr, 0);
    TAVOAUDIO_SetCursorPositionEx2(doc, 4000, 0);
    ASSERT_EQ(TAVOAUDIO_SelectToEnd(doc), 1);
    EXPECT_EQ(spans(), (std::vector<Span>{{4000, 10000}}));
    EXPECT_EQ(TAVOAUDIO_GetCursorPosition(doc), 10000);
    TAVOAUDIO_SetCursorPositionEx2(doc, 4000, 0);
    ASSERT_EQ(TAVOAUDIO_SelectToStart(doc), 1);
    EXPECT_EQ(spans(), (std::vector<Span>{{0, 4000}}));
    EXPECT_EQ(TAVOAUDIO_GetCursorPosition(doc), 0);
}

TEST_F(TavoSelection, OffsetFollowsAnInsertion)
{
    TAVOAUDIO_AddSelectionEx(doc, 100, 200, -1, 0);
    TAVOAUDIO_AddSelectionEx(doc, 300, 400, -1, 0);
    ASSERT_EQ(TAVOAUDIO_OffsetSelectionsFromPosition(doc, 50, 150), 1);   // inside the first
    EXPECT_EQ(spans(), (std::vector<Span>{{100, 250}, {350, 450}}));
    ASSERT_EQ(TAVOAUDIO_OffsetSelectionsFromPosition(doc, -50, 0), 1);
    EXPECT_EQ(spans(), (std::vector<Span>{{50, 200}, {300, 400}}));
}

TEST_F(TavoSelection, BandCommitsAsAddSubtractOrReplace)
{
    TAVOAUDIO_AddSelectionEx(doc, 100, 200, -1, 0);
    events.seen.clear();
    // Drag leftwards from 900 to 500, adding.
    ASSERT_TRUE(TAVOAUDIO_SetSelectingKind(doc, TAVOSELECTING_ADD));
    ASSERT_EQ(TAVOAUDIO_UpdateSelecting(doc, 900, 700), 1);
    ASSERT_EQ(TAVOAUDIO_UpdateSelecting(doc, 900, 500), 1);
    EXPECT_EQ(events.last(TAVOAUDIO_SELECTING_UPDATE).a, 500);
    EXPECT_EQ(events.last(TAVOAUDIO_SELECTING_UPDATE).b, 900);
    EXPECT_EQ(TAVOAUDIO_GetSelectingLength(doc), 400);
    ASSERT_EQ(TAVOAUDIO_CommitSelectingEx(doc, -1), 1);
    EXPECT_EQ(spans(), (std::vector<Span>{{100, 200}, {500, 900}}));
    EXPECT_EQ(TAVOAUDIO_GetCursorPosition(doc), 500);
    EXPECT_EQ(TAVOAUDIO_GetSelectingLength(doc), 0);   // collapsed onto the cursor
    EXPECT_EQ(TAVOAUDIO_GetSelectingBegin(doc), 500);
    EXPECT_EQ(TAVOAUDIO_Selection(doc, 0).active, 1);   // the first becomes the active one

    ASSERT_TRUE(TAVOAUDIO_SetSelectingKind(doc, TAVOSELECTING_SUBTRACT));
    TAVOAUDIO_UpdateSelecting(doc, 600, 700);
    ASSERT_EQ(TAVOAUDIO_CommitSelectingEx(doc, -1), 1);
    EXPECT_EQ(spans(), (std::vector<Span>{{100, 200}, {500, 600}, {700, 900}}));

    ASSERT_TRUE(TAVOAUDIO_SetSelectingKind(doc, TAVOSELECTING_REPLACE));
    TAVOAUDIO_UpdateSelecting(doc, 3000, 4000);
    ASSERT_EQ(TAVOAUDIO_CommitSelectingEx(doc, -1), 1);
    EXPECT_EQ(spans(), (std::vector<Span>{{3000, 4000}}));
    EXPECT_EQ(TAVOAUDIO_GetCursorPosition(doc), 4000);

    TAVOAUDIO_UpdateSelecting(doc, 5000, 6000);
    ASSERT_EQ(TAVOAUDIO_CancelSelecting(doc), 1);
    EXPECT_EQ(spans(), (std::vector<Span>{{3000, 4000}}));
    EXPECT_EQ(TAVOAUDIO_GetSelectingBegin(doc), 6000);
    EXPECT_EQ(TAVOAUDIO_GetSelectingLength(doc), 0);
}

TEST(TavoSelectionHandles, NullDocumentsAndRecordsFailQuietly)
{
    EXPECT_EQ(TAVOAUDIO_AddSelectionEx(nullptr, 0, 10, -1, 1), 0);
    EXPECT_EQ(TAVOAUDIO_DelSelection(nullptr, 0, 10), 0);
    EXPECT_EQ(TAVOAUDIO_ClearSelectionEx2(nullptr, nullptr, 1), 0);
    EXPECT_EQ(TAVOAUDIO_InvertSelection(nullptr), 0);
    EXPECT_FALSE(TAVOAUDIO_HasSelection(nullptr));
    EXPECT_EQ(TAVOAUDIO_SelectionBegin(nullptr), -1);
    EXPECT_EQ(TAVOAUDIO_Selection(nullptr, 0).begin, -1.0);
    EXPECT_EQ(TAVOAUDIO_ActiveSelection(nullptr), nullptr);
    EXPECT_EQ(TAVOAUDIO_UpdateSelecting(nullptr, 0, 1), 0);
    EXPECT_EQ(TAVOAUDIO_CommitSelectingEx(nullptr, -1), 0);
    EXPECT_EQ(TAVOSELECTION_GetTrackIndex(nullptr), -1);
    EXPECT_FALSE(TAVOSELECTION_Compare(nullptr, nullptr));
    EXPECT_EQ(TAVOSTATE_CountSelections(nullptr), 0);
    EXPECT_EQ(TAVOSTATE_ClearSelectionEx(nullptr, nullptr), nullptr);
}

}  // namespace
