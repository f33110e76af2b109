// state_test.cpp: copies, assignment and rate changes of the view state.
#include <gtest/gtest.h>

#include "tavoselection.h"
#include "view_fixture.h"

using viewtest::ViewTest;

using TavoStateCopy = ViewTest;

namespace {

std::vector<std::pair<double, double>> spans(TAVOSTATE state)
{
    std::vector<std::pair<double, double>> out;
    for (const TAVOSELECTION *s = TAVOSTATE_GetSelections(state); s != nullptr; s = s->next)
        out.emplace_back(s->begin, s->end);
    return out;
}

}  // namespace

TEST_F(TavoStateCopy, CopiesOwnTheirSelectionsAndUndoCopiesAreFrozen)
{
    ASSERT_EQ(TAVOAUDIO_AddSelectionEx(doc, 44100, 88200, -1, 0), 1);
    ASSERT_EQ(TAVOAUDIO_AddSelectionEx(doc, 132300, 176400, -1, 0), 1);
    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 1000, 5000, 0, 0), 1);
    TAVOSTATE state = TAVOAUDIO_GetState(doc);
    TAVOSTATE copy = TAVOSTATE_CreateCopy(state);
    TAVOSTATE undo = TAVOSTATE_CreateUndoCopy(state);
    ASSERT_NE(copy, nullptr);
    ASSERT_NE(undo, nullptr);
    const auto expected = std::vector<std::pair<double, double>>{{1.0, 2.0}, {3.0, 4.0}};
    EXPECT_EQ(spans(copy), expected);
    EXPECT_NE(TAVOSTATE_GetSelections(copy), TAVOSTATE_GetSelections(state));

    // Clearing the document's list leaves the copies whole.
    ASSERT_EQ(TAVOAUDIO_ClearSelectionEx2(doc, nullptr, 0), 1);
    EXPECT_EQ(spans(copy), expected);
    EXPECT_EQ(spans(undo), expected);

    EXPECT_TRUE(TAVOSTATE_IsFrozen(undo));
    EXPECT_FALSE(TAVOSTATE_IsFrozen(copy));
    EXPECT_FALSE(TAVOSTATE_CopySelections(undo, state));
    EXPECT_EQ(TAVOSTATE_AdjustSampleRate(undo, 44100.0, 22050.0), 0);
    EXPECT_FALSE(TAVOSTATE_AssignEx(copy, undo, 1));

    // Assigning back restores view and selections.
    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 0, 100, 0, 0), 1);
    ASSERT_TRUE(TAVOSTATE_AssignEx(undo, state, 1));
    EXPECT_EQ(TAVOAUDIO_ViewBegin(doc), 1000);
    EXPECT_EQ(TAVOAUDIO_ViewEnd(doc), 5000);
    EXPECT_EQ(spans(state), expected);

    ASSERT_TRUE(TAVOSTATE_CopySelections(copy, nullptr) == false);
    TAVOSTATE_Destroy(copy);
    TAVOSTATE_Destroy(undo);
}

TEST_F(TavoStateCopy, AssignFitsTheViewIntoAShorterSignal)
{
    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 400000, 441000, 0, 0), 1);
    ASSERT_TRUE(TAVOAUDIO_SetCursorPositionEx2(doc, 430000, 0));
    TAVOSTATE saved = TAVOSTATE_CreateCopy(TAVOAUDIO_GetState(doc));
    ASSERT_NE(saved, nullptr);
    AUDIOSIGNAL shorter = tavotest::MakeSineSignal(44100, 1, 5.0);   // 220500 frames
    AUDIOSIGNAL old = TAVOAUDIO_SetAudioSignal(doc, shorter);
    AUDIOSIGNAL_Destroy(old);

    ASSERT_TRUE(TAVOSTATE_AssignEx(saved, TAVOAUDIO_GetState(doc), 0));
    EXPECT_EQ(TAVOAUDIO_ViewEnd(doc), 220500);
    EXPECT_EQ(TAVOAUDIO_ViewBegin(doc), 220500 - 41000);   // length kept
    EXPECT_EQ(TAVOAUDIO_GetCursorPosition(doc), 220500);
    TAVOSTATE_Destroy(saved);
}

TEST_F(TavoStateCopy, RateChangesKeepTheSelectedFrames)
{
    ASSERT_EQ(TAVOAUDIO_AddSelectionEx(doc, 44100, 88200, -1, 0), 1);
    TAVOSTATE state = TAVOAUDIO_GetState(doc);
    EXPECT_EQ(TAVOSTATE_AdjustSampleRate(state, 44100.0, 44100.0), 1);
    EXPECT_EQ(TAVOSTATE_AdjustSampleRate(state, 0.0, 44100.0), 0);
    EXPECT_EQ(TAVOSTATE_AdjustSampleRate(state, 44100.0, -1.0), 0);
    ASSERT_EQ(TAVOSTATE_AdjustSampleRate(state, 44100.0, 22050.0), 1);
    EXPECT_EQ(spans(state), (std::vector<std::pair<double, double>>{{2.0, 4.0}}));
}

TEST_F(TavoStateCopy, ResetTimeStampsMakesTheDocumentCountAsSaved)
{
    viewtest::Recorder rec(doc);
    ASSERT_TRUE(TAVOSTATE_ResetTimeStamps(doc));
    ASSERT_TRUE(TAVOSTATE_ResetVisualChanges(TAVOAUDIO_GetState(doc)));   // as after a draw
    EXPECT_FALSE(TAVOAUDIO_HasChanges(doc));
    ASSERT_TRUE(TAVOSTATE_NotifyChanges(doc, 1, 0));
    ASSERT_EQ(rec.kinds(), (std::vector<int32_t>{TAVOAUDIO_WAS_CHANGED, TAVOAUDIO_NEEDREDRAW}));
    EXPECT_EQ(rec.events[0].a, 0.0);   // the audio matches the saved version
    EXPECT_EQ(TAVOSTATE_VisualChanges(TAVOAUDIO_GetState(doc)) & TAVOSTATE_VISUAL_AUDIO_CHANGED, 0u);
}
