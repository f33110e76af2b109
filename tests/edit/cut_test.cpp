// cut_test.cpp: cut, clear and copy of selections: the pieces removed and
// gathered, boundary smoothing, refusals, view and cursor moves, undo.
#include <gtest/gtest.h>

#include <vector>

#include "../../frame/document_p.h"
#include "../../view/state_p.h"
#include "doc_helpers.h"

namespace {

using namespace tavotest;

// A mono document of 1000 frames at 1000 Hz (a frame a millisecond) and the
// selections 100-200 and 300-400.
class TavoCut : public ::testing::Test {
protected:
    TAVOAUDIO doc = MakeSineDocument(1000, 1, 1.0);
    std::vector<float> original;
    TAVOSELECTION first{}, second{};
    void SetUp() override
    {
        ASSERT_NE(doc, nullptr);
        original = Samples(doc);
        TAVOSELECTION_Define(&first, 0.1, 0.2);
        TAVOSELECTION_Define(&second, 0.3, 0.4);
        first.next = &second;
    }
    void TearDown() override
    {
        BLSETTINGS_ResetEx(nullptr, "libtavo.editoptions.smoothboundaries");
        BLSETTINGS_ResetEx(nullptr, "libtavo.editoptions.smoothduration");
    }
    ~TavoCut() override { TAVOAUDIO_Close(doc); }
    void smoothing(bool on) { BLSETTINGS_ChangeEx(nullptr, "libtavo.editoptions.smoothboundaries=%d", on ? 1 : 0); }
    std::vector<float> pieces() const { return Join({Slice(original, 100, 200), Slice(original, 300, 400)}); }
    std::vector<float> rawRemains() const
    {
        return Join({Slice(original, 0, 100), Slice(original, 200, 300), Slice(original, 400, 1000)});
    }
};

TEST_F(TavoCut, TwoSelectionsGatherBothPiecesInOrderAndLeaveTheRestRaw)
{
    smoothing(false);   // the smoothing duration is then ignored
    BLSETTINGS_ChangeEx(nullptr, "libtavo.editoptions.smoothduration=%f", 0.050);
    const Signal clip(TAVOAUDIO_CutSelectionsEx(doc, &first, 0, 0, nullptr));
    ASSERT_NE(clip, nullptr);
    EXPECT_EQ(Frames(doc), 800);
    EXPECT_EQ(Channel(clip.get()), pieces());
    EXPECT_EQ(Samples(doc), rawRemains());
    EXPECT_EQ(NextUndo(doc), "Cut");
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(Samples(doc), original);
    ASSERT_TRUE(TAVOAUDIO_Redo(doc));
    EXPECT_EQ(Samples(doc), rawRemains());
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    ASSERT_TRUE(Select(doc, {{100, 200}, {300, 400}}));
    ASSERT_TRUE(TAVOAUDIO_Clear(doc, nullptr));
    EXPECT_EQ(Samples(doc), rawRemains());
    EXPECT_EQ(NextUndo(doc), "Clear");
}

TEST_F(TavoCut, SmoothingCrossfadesOnlyTheFramesBeforeEachJoin)
{
    BLSETTINGS_ChangeEx(nullptr, "libtavo.editoptions.smoothduration=%f", 0.010);   // 10 frames
    const Signal clip(TAVOAUDIO_CutSelectionsEx(doc, &first, 0, 0, nullptr));
    ASSERT_NE(clip, nullptr);
    EXPECT_EQ(Channel(clip.get()), pieces());   // the clipboard gets the audio as it was
    const std::vector<float> got = Samples(doc), raw = rawRemains();
    ASSERT_EQ(got.size(), raw.size());
    EXPECT_EQ(Slice(got, 0, 90), Slice(raw, 0, 90));
    EXPECT_NE(Slice(got, 90, 100), Slice(raw, 90, 100));
    EXPECT_EQ(Slice(got, 100, 190), Slice(raw, 100, 190));
    EXPECT_NE(Slice(got, 190, 200), Slice(raw, 190, 200));
    EXPECT_EQ(Slice(got, 200, 800), Slice(raw, 200, 800));
}

TEST_F(TavoCut, RefusalsChangeNothing)
{
    EXPECT_EQ(TAVOAUDIO_Cut(doc, nullptr), nullptr);   // no selection at all
    EXPECT_FALSE(TAVOAUDIO_Clear(doc, nullptr));
    EXPECT_EQ(TAVOAUDIO_CopyEx(doc, 0), nullptr);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
    ASSERT_EQ(TAVOAUDIO_SelectAudioEx(doc, 100, 200, -1, 0), 1);
    const int32_t steps = TAVOUNDO_CountUndoScripts(doc);
    auto unchanged = [&](const char *what) {
        SCOPED_TRACE(what);
        EXPECT_EQ(Samples(doc), original);
        EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), steps);
        EXPECT_EQ(Selections(doc), (Ranges{{100, 200}}));
    };
    EXPECT_EQ(TAVOAUDIO_CutSelectionsEx(doc, nullptr, 0, 0, nullptr), nullptr);
    EXPECT_FALSE(TAVOAUDIO_ClearEx(doc, nullptr, nullptr));
    unchanged("null selections");

    doc->state->visualToolKind = 3;
    EXPECT_EQ(TAVOAUDIO_CutSelectionsEx(doc, &first, 0, 0, nullptr), nullptr);
    EXPECT_EQ(TAVOAUDIO_Cut(doc, nullptr), nullptr);
    EXPECT_FALSE(TAVOAUDIO_Clear(doc, nullptr));
    unchanged("visual tool");
    doc->state->visualToolKind = 0;

    doc->flags &= ~TAVOAUDIO_FLAG_EDITABLE;
    EXPECT_EQ(TAVOAUDIO_CutSelectionsEx(doc, &first, 0, 0, nullptr), nullptr);
    EXPECT_FALSE(TAVOAUDIO_ClearEx(doc, &first, nullptr));
    unchanged("not editable");
    doc->flags |= TAVOAUDIO_FLAG_EDITABLE;

    TAVOSELECTION outside{};   // fails in the signal library
    TAVOSELECTION_Define(&outside, 2.0, 3.0);
    EXPECT_EQ(TAVOAUDIO_CutSelectionsEx(doc, &outside, 0, 0, nullptr), nullptr);
    unchanged("bad range");
    EXPECT_EQ(TAVOAUDIO_Cut(nullptr, nullptr), nullptr);
}

TEST_F(TavoCut, ViewMovesLeftOnlyWhenItStartsAfterTheFirstSelectionAndCursorToItsBegin)
{
    smoothing(false);
    Events events;
    ASSERT_TRUE(TAVOAUDIO_AddEventHandler(doc, BLNOTIFY_ANY_KIND, Events::Handler, &events));
    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 500, 900, TAVOAUDIO_ZOOM_NO_HISTORY, 0), 1);
    ASSERT_TRUE(TAVOAUDIO_SetCursorPositionEx2(doc, 900, 0));
    const Signal clip(TAVOAUDIO_CutSelectionsEx(doc, &first, 0, 0, nullptr));
    ASSERT_NE(clip, nullptr);
    EXPECT_EQ(TAVOAUDIO_ViewBegin(doc), 300);
    EXPECT_EQ(TAVOAUDIO_ViewEnd(doc), 700);
    EXPECT_EQ(TAVOAUDIO_GetCursorPosition(doc), 100);
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    for (int64_t viewBegin : {50, 100}) {
        SCOPED_TRACE(viewBegin);
        ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, viewBegin, 600, TAVOAUDIO_ZOOM_NO_HISTORY, 0), 1);
        ASSERT_TRUE(TAVOAUDIO_SetCursorPositionEx2(doc, 900, 0));
        ASSERT_TRUE(TAVOAUDIO_ClearEx(doc, &first, nullptr));
        EXPECT_EQ(TAVOAUDIO_ViewBegin(doc), viewBegin);
        EXPECT_EQ(TAVOAUDIO_ViewEnd(doc), 600);
        EXPECT_EQ(TAVOAUDIO_GetCursorPosition(doc), 100);
        ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    }
    TAVOAUDIO_DelEventHandler(doc, BLNOTIFY_ANY_KIND, Events::Handler, &events);
    EXPECT_EQ(events.cursorSeconds, (std::vector<double>{0.1, 0.1, 0.1}));   // the transport hears each move
}

TEST_F(TavoCut, CopyLeavesTheDocumentAloneAndCutEmptiesItsSelections)
{
    smoothing(false);
    ASSERT_TRUE(Select(doc, {{100, 200}, {300, 400}}));
    const Signal copy(TAVOAUDIO_CopyEx(doc, 0));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(Channel(copy.get()), pieces());
    const Signal one(TAVOAUDIO_CopySelectionEx(doc, &second, 0));   // `next` is not followed
    ASSERT_NE(one, nullptr);
    EXPECT_EQ(Channel(one.get()), Slice(original, 300, 400));
    EXPECT_EQ(Samples(doc), original);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
    const Signal clip(TAVOAUDIO_Cut(doc, "Cut Both"));
    ASSERT_NE(clip, nullptr);
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(clip.get()), 200);
    EXPECT_EQ(Samples(doc), rawRemains());
    EXPECT_TRUE(Selections(doc).empty());
    EXPECT_EQ(NextUndo(doc), "Cut Both");
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 1);
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(Samples(doc), original);
    EXPECT_EQ(Selections(doc), (Ranges{{100, 200}, {300, 400}}));

    // Clearing one of three selections shifts the next onto its audio.
    ASSERT_EQ(TAVOAUDIO_AddSelectionEx(doc, 600, 700, -1, 0), 1);
    ASSERT_TRUE(TAVOAUDIO_ClearEx(doc, &second, nullptr));
    EXPECT_EQ(Selections(doc), (Ranges{{100, 200}, {500, 600}}));
    EXPECT_EQ(Slice(Samples(doc), 500, 600), Slice(original, 600, 700));
}

TEST_F(TavoCut, RegionFlagsCarryTheRegionsOfThePiecesToTheClipboard)
{
    AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(doc);
    AUDIOREGION made[1] = {};
    ASSERT_EQ(AUDIOSIGNAL_CreateRegionsOnTrack(signal, 0, 0.12, 0.15, "region", "inside", nullptr, 0, made, 1), 1);
    const Signal plain(TAVOAUDIO_CopySelectionsEx(doc, &first, 0, 0));
    const Signal withRegions(TAVOAUDIO_CopySelectionsEx(doc, &first, 0, 1));
    ASSERT_TRUE(plain != nullptr && withRegions != nullptr);
    EXPECT_EQ(AUDIOSIGNAL_CountRegions(plain.get(), -1, 0), 0);
    EXPECT_EQ(AUDIOSIGNAL_CountRegions(withRegions.get(), -1, 0), 1);
    EXPECT_EQ(Channel(withRegions.get()), Channel(plain.get()));
    EXPECT_EQ(AUDIOSIGNAL_CountRegions(signal, -1, 0), 1);
    const Signal clip(TAVOAUDIO_CutSelectionsEx(doc, &first, 0, 1, nullptr));
    ASSERT_NE(clip, nullptr);
    EXPECT_EQ(AUDIOSIGNAL_CountRegions(clip.get(), -1, 0), 1);
}

TEST(TavoCutLong, CutUndoRedoPasteOnTenHours)
{
    // 10 hours of stereo silence (no memory): positions beyond 32 bits.
    const int64_t frames = 44100LL * 3600 * 10, hour = 44100LL * 3600;
    AUDIO_FORMAT format = AUDIO_NullFormat();
    format.sampleRate = 44100;
    format.numChannels = 2;
    TAVOAUDIO doc = TAVOAUDIO_NewFromSignalEx(AUDIOSIGNAL_CreateSilence(frames, format), false, 0);
    ASSERT_NE(doc, nullptr);
    TAVOSELECTION middle{};
    TAVOSELECTION_Define(&middle, 3600.0, 7200.0);
    const Signal clip(TAVOAUDIO_CutSelectionsEx(doc, &middle, 0, 0, nullptr));
    ASSERT_NE(clip, nullptr);
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(clip.get()), hour);
    EXPECT_EQ(Frames(doc), frames - hour);
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    ASSERT_TRUE(TAVOAUDIO_Redo(doc));
    ASSERT_TRUE(TAVOAUDIO_PasteEx(doc, clip.get(), 0, nullptr));
    EXPECT_EQ(Frames(doc), frames);
    TAVOAUDIO_Close(doc);
}

}  // namespace
