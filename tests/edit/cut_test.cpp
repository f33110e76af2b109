// cut_test.cpp: cut, clear and copy of selections: the pieces removed and
// gathered, boundary smoothing, refusals, view and cursor moves, undo.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "../../frame/document_p.h"
#include "../../view/state_p.h"
#include "audioregion.h"
#include "audiosignal.h"
#include "blnotify.h"
#include "blsettings.h"
#include "document_fixture.h"
#include "edit_helpers.h"
#include "tavoaudio.h"
#include "tavoedit.h"
#include "tavonotify.h"
#include "tavoselection.h"
#include "tavoundo.h"
#include "tavozoom.h"

namespace {

using tavotest::Channel;
using tavotest::Slice;
using tavotest::Join;

std::string NextUndo(TAVOAUDIO doc)
{
    char label[TAVOUNDO_LABEL_SIZE] = "";
    return TAVOAUDIO_NextUndoLabel(doc, label, sizeof label) ? std::string(label) : std::string("<none>");
}

std::vector<std::pair<int64_t, int64_t>> Selections(TAVOAUDIO doc)
{
    std::vector<std::pair<int64_t, int64_t>> out;
    for (const TAVOSELECTION *s = doc->state->selections; s != nullptr; s = s->next)
        out.emplace_back(TAVOSELECTION_GetBegin(doc, s), TAVOSELECTION_GetEnd(doc, s));
    return out;
}

struct Events {
    std::vector<int32_t> kinds;
    std::vector<double> cursorSeconds;
    static int32_t Handler(void *user, const BLNOTIFY_EVENT *event)
    {
        auto *self = static_cast<Events *>(user);
        self->kinds.push_back(event->kind);
        if (event->kind == TAVOAUDIO_CURSOR_CHANGE_POSITION && event->arg1 != nullptr)
            self->cursorSeconds.push_back(*static_cast<double *>(event->arg1));
        return 1;
    }
    int count(int32_t kind) const
    {
        int n = 0;
        for (int32_t k : kinds) n += k == kind ? 1 : 0;
        return n;
    }
};

// A mono document of 1000 frames at 1000 Hz: a frame is a millisecond, so
// selections in seconds name exact frames.
class TavoCut : public ::testing::Test {
protected:
    TAVOAUDIO doc = tavotest::MakeSineDocument(1000, 1, 1.0);
    std::vector<float> original;
    TAVOSELECTION first{}, second{};

    void SetUp() override
    {
        ASSERT_NE(doc, nullptr);
        original = Channel(TAVOAUDIO_GetAudioSignal(doc));
        ASSERT_EQ(original.size(), 1000u);
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

    AUDIOSIGNAL signal() { return TAVOAUDIO_GetAudioSignal(doc); }
    void smoothing(bool on) { BLSETTINGS_ChangeEx(nullptr, "libtavo.editoptions.smoothboundaries=%d", on ? 1 : 0); }
    // The raw result of removing 100-200 and 300-400.
    std::vector<float> rawRemains() const
    {
        return Join({Slice(original, 0, 100), Slice(original, 200, 300), Slice(original, 400, 1000)});
    }
};

TEST_F(TavoCut, TwoSelectionsGatherBothPiecesInOrderAndLeaveTheRest)
{
    smoothing(false);
    AUDIOSIGNAL clip = TAVOAUDIO_CutSelectionsEx(doc, &first, 0, 0, nullptr);
    ASSERT_NE(clip, nullptr);
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(signal()), 800);
    EXPECT_EQ(Channel(clip), Join({Slice(original, 100, 200), Slice(original, 300, 400)}));
    EXPECT_EQ(Channel(signal()), rawRemains());
    EXPECT_EQ(NextUndo(doc), "Cut");
    AUDIOSIGNAL_Destroy(clip);

    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(Channel(signal()), original);
    ASSERT_TRUE(TAVOAUDIO_Redo(doc));
    EXPECT_EQ(Channel(signal()), rawRemains());
}

TEST_F(TavoCut, SmoothingCrossfadesOnlyTheFramesBeforeEachJoin)
{
    // 10 ms at 1000 Hz: the 10 frames ending at each join are blended.
    BLSETTINGS_ChangeEx(nullptr, "libtavo.editoptions.smoothduration=%f", 0.010);
    AUDIOSIGNAL clip = TAVOAUDIO_CutSelectionsEx(doc, &first, 0, 0, nullptr);
    ASSERT_NE(clip, nullptr);
    // The clipboard always gets the audio as it was.
    EXPECT_EQ(Channel(clip), Join({Slice(original, 100, 200), Slice(original, 300, 400)}));
    const std::vector<float> got = Channel(signal());
    const std::vector<float> raw = rawRemains();
    ASSERT_EQ(got.size(), raw.size());
    EXPECT_EQ(Slice(got, 0, 90), Slice(raw, 0, 90));
    EXPECT_NE(Slice(got, 90, 100), Slice(raw, 90, 100));
    EXPECT_EQ(Slice(got, 100, 190), Slice(raw, 100, 190));
    EXPECT_NE(Slice(got, 190, 200), Slice(raw, 190, 200));
    EXPECT_EQ(Slice(got, 200, 800), Slice(raw, 200, 800));
    AUDIOSIGNAL_Destroy(clip);
}

TEST_F(TavoCut, SmoothingOffIgnoresTheDurationAndCutsRaw)
{
    smoothing(false);
    BLSETTINGS_ChangeEx(nullptr, "libtavo.editoptions.smoothduration=%f", 0.050);
    ASSERT_TRUE(TAVOAUDIO_ClearEx(doc, &first, nullptr));
    EXPECT_EQ(Channel(signal()), rawRemains());
    EXPECT_EQ(NextUndo(doc), "Clear");
}

TEST_F(TavoCut, RefusalsChangeNothing)
{
    ASSERT_EQ(TAVOAUDIO_SelectAudioEx(doc, 100, 200, -1, 0), 1);
    const int32_t steps = TAVOUNDO_CountUndoScripts(doc);
    auto unchanged = [&](const char *what) {
        SCOPED_TRACE(what);
        EXPECT_EQ(Channel(signal()), original);
        EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), steps);
        EXPECT_EQ(Selections(doc), (std::vector<std::pair<int64_t, int64_t>>{{100, 200}}));
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

    // A range outside the signal fails in the signal library: nothing swapped.
    TAVOSELECTION outside{};
    TAVOSELECTION_Define(&outside, 2.0, 3.0);
    EXPECT_EQ(TAVOAUDIO_CutSelectionsEx(doc, &outside, 0, 0, nullptr), nullptr);
    unchanged("bad range");

    EXPECT_EQ(TAVOAUDIO_CutSelectionsEx(nullptr, &first, 0, 0, nullptr), nullptr);
    EXPECT_EQ(TAVOAUDIO_Cut(nullptr, nullptr), nullptr);
    EXPECT_EQ(TAVOAUDIO_CopyEx(nullptr, 0), nullptr);
}

TEST_F(TavoCut, DocumentWithoutSelectionHasNothingToCutOrCopy)
{
    EXPECT_EQ(TAVOAUDIO_Cut(doc, nullptr), nullptr);
    EXPECT_FALSE(TAVOAUDIO_Clear(doc, nullptr));
    EXPECT_EQ(TAVOAUDIO_CopyEx(doc, 0), nullptr);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
}

TEST_F(TavoCut, ViewMovesLeftOnlyWhenItStartsAfterTheFirstSelection)
{
    smoothing(false);
    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 500, 900, TAVOAUDIO_ZOOM_NO_HISTORY, 0), 1);
    AUDIOSIGNAL clip = TAVOAUDIO_CutSelectionsEx(doc, &first, 0, 0, nullptr);
    ASSERT_NE(clip, nullptr);
    AUDIOSIGNAL_Destroy(clip);
    EXPECT_EQ(TAVOAUDIO_ViewBegin(doc), 300);
    EXPECT_EQ(TAVOAUDIO_ViewEnd(doc), 700);

    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    for (int64_t viewBegin : {50, 100}) {
        SCOPED_TRACE(viewBegin);
        ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, viewBegin, 600, TAVOAUDIO_ZOOM_NO_HISTORY, 0), 1);
        ASSERT_TRUE(TAVOAUDIO_ClearEx(doc, &first, nullptr));
        EXPECT_EQ(TAVOAUDIO_ViewBegin(doc), viewBegin);
        EXPECT_EQ(TAVOAUDIO_ViewEnd(doc), 600);
        ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    }
}

TEST_F(TavoCut, CursorGoesToTheFirstBeginAndTheTransportHearsIt)
{
    Events events;
    ASSERT_TRUE(TAVOAUDIO_AddEventHandler(doc, BLNOTIFY_ANY_KIND, Events::Handler, &events));
    ASSERT_TRUE(TAVOAUDIO_SetCursorPositionEx2(doc, 900, 0));
    AUDIOSIGNAL clip = TAVOAUDIO_CutSelectionsEx(doc, &first, 0, 0, nullptr);
    ASSERT_NE(clip, nullptr);
    AUDIOSIGNAL_Destroy(clip);
    EXPECT_EQ(TAVOAUDIO_GetCursorPosition(doc), 100);
    ASSERT_EQ(events.cursorSeconds.size(), 1u);
    EXPECT_DOUBLE_EQ(events.cursorSeconds[0], 0.1);

    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    ASSERT_TRUE(TAVOAUDIO_SetCursorPositionEx2(doc, 900, 0));
    ASSERT_TRUE(TAVOAUDIO_ClearEx(doc, &second, nullptr));
    EXPECT_EQ(TAVOAUDIO_GetCursorPosition(doc), 300);
    ASSERT_EQ(events.cursorSeconds.size(), 2u);
    EXPECT_DOUBLE_EQ(events.cursorSeconds[1], 0.3);
    TAVOAUDIO_DelEventHandler(doc, BLNOTIFY_ANY_KIND, Events::Handler, &events);
}

TEST_F(TavoCut, ClearingSomeSelectionsShiftsTheOthersOntoTheirAudio)
{
    smoothing(false);
    ASSERT_EQ(TAVOAUDIO_SelectAudioEx(doc, 100, 200, -1, 0), 1);
    ASSERT_EQ(TAVOAUDIO_AddSelectionEx(doc, 300, 400, -1, 0), 1);
    ASSERT_EQ(TAVOAUDIO_AddSelectionEx(doc, 600, 700, -1, 0), 1);
    ASSERT_TRUE(TAVOAUDIO_ClearEx(doc, &second, nullptr));   // 300-400 only
    EXPECT_EQ(Selections(doc), (std::vector<std::pair<int64_t, int64_t>>{{100, 200}, {500, 600}}));
    // The selection that followed still covers the same audio.
    EXPECT_EQ(Slice(Channel(signal()), 500, 600), Slice(original, 600, 700));

    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(Selections(doc), (std::vector<std::pair<int64_t, int64_t>>{{100, 200}, {300, 400}, {600, 700}}));
}

TEST_F(TavoCut, CutOfTheDocumentsOwnSelectionsEmptiesTheList)
{
    smoothing(false);
    ASSERT_EQ(TAVOAUDIO_SelectAudioEx(doc, 100, 200, -1, 0), 1);
    ASSERT_EQ(TAVOAUDIO_AddSelectionEx(doc, 300, 400, -1, 0), 1);
    AUDIOSIGNAL clip = TAVOAUDIO_Cut(doc, "Cut Both");
    ASSERT_NE(clip, nullptr);
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(clip), 200);
    EXPECT_EQ(Channel(signal()), rawRemains());
    EXPECT_TRUE(Selections(doc).empty());
    EXPECT_EQ(NextUndo(doc), "Cut Both");
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 1);
    AUDIOSIGNAL_Destroy(clip);

    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(Channel(signal()), original);
    EXPECT_EQ(Selections(doc), (std::vector<std::pair<int64_t, int64_t>>{{100, 200}, {300, 400}}));
    ASSERT_TRUE(TAVOAUDIO_Clear(doc, nullptr));
    EXPECT_EQ(Channel(signal()), rawRemains());
}

TEST_F(TavoCut, CopyGathersThePiecesAndLeavesTheDocumentAlone)
{
    ASSERT_EQ(TAVOAUDIO_SelectAudioEx(doc, 100, 200, -1, 0), 1);
    ASSERT_EQ(TAVOAUDIO_AddSelectionEx(doc, 300, 400, -1, 0), 1);
    AUDIOSIGNAL copy = TAVOAUDIO_CopyEx(doc, 0);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(Channel(copy), Join({Slice(original, 100, 200), Slice(original, 300, 400)}));
    AUDIOSIGNAL_Destroy(copy);

    AUDIOSIGNAL one = TAVOAUDIO_CopySelectionEx(doc, &second, 0);   // `next` is not followed
    ASSERT_NE(one, nullptr);
    EXPECT_EQ(Channel(one), Slice(original, 300, 400));
    AUDIOSIGNAL_Destroy(one);

    EXPECT_EQ(Channel(signal()), original);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
    EXPECT_EQ(Selections(doc), (std::vector<std::pair<int64_t, int64_t>>{{100, 200}, {300, 400}}));
}

TEST_F(TavoCut, RegionFlagsCarryTheRegionsOfThePiecesToTheClipboard)
{
    AUDIOREGION made[1] = {};
    ASSERT_EQ(AUDIOSIGNAL_CreateRegionsOnTrack(signal(), 0, 0.12, 0.15, "region", "inside", nullptr, 0, made, 1), 1);
    const int32_t before = AUDIOSIGNAL_CountRegions(signal(), -1, 0);

    AUDIOSIGNAL plain = TAVOAUDIO_CopySelectionsEx(doc, &first, 0, 0);
    AUDIOSIGNAL withRegions = TAVOAUDIO_CopySelectionsEx(doc, &first, 0, 1);
    ASSERT_NE(plain, nullptr);
    ASSERT_NE(withRegions, nullptr);
    EXPECT_EQ(AUDIOSIGNAL_CountRegions(plain, -1, 0), 0);
    EXPECT_EQ(AUDIOSIGNAL_CountRegions(withRegions, -1, 0), 1);
    EXPECT_EQ(Channel(withRegions), Channel(plain));
    // Copying leaves the document's regions where they were.
    EXPECT_EQ(AUDIOSIGNAL_CountRegions(signal(), -1, 0), before);
    AUDIOSIGNAL_Destroy(plain);
    AUDIOSIGNAL_Destroy(withRegions);

    AUDIOSIGNAL clip = TAVOAUDIO_CutSelectionsEx(doc, &first, 0, 1, nullptr);
    ASSERT_NE(clip, nullptr);
    EXPECT_EQ(AUDIOSIGNAL_CountRegions(clip, -1, 0), 1);
    AUDIOSIGNAL_Destroy(clip);
}

TEST(TavoCutLong, CutUndoRedoPasteOnTenHours)
{
    // 10 hours of stereo at 44.1 kHz: about 1.6 billion samples, held as
    // silence (no memory); positions beyond 32 bits must come out right.
    // The timings are measured in bench/edit_bench.cpp.
    const int64_t frames = 44100LL * 3600 * 10;
    AUDIO_FORMAT format = AUDIO_NullFormat();
    format.sampleRate = 44100;
    format.numChannels = 2;
    AUDIOSIGNAL silence = AUDIOSIGNAL_CreateSilence(frames, format);
    ASSERT_NE(silence, nullptr);
    TAVOAUDIO doc = TAVOAUDIO_NewFromSignalEx(silence, false, 0);
    ASSERT_NE(doc, nullptr);
    TAVOSELECTION middle{};
    TAVOSELECTION_Define(&middle, 3600.0, 7200.0);

    AUDIOSIGNAL clip = TAVOAUDIO_CutSelectionsEx(doc, &middle, 0, 0, nullptr);
    ASSERT_NE(clip, nullptr);
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(clip), 44100LL * 3600);
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(TAVOAUDIO_GetAudioSignal(doc)), frames - 44100LL * 3600);
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    ASSERT_TRUE(TAVOAUDIO_Redo(doc));
    ASSERT_TRUE(TAVOAUDIO_PasteEx(doc, clip, 0, nullptr));
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(TAVOAUDIO_GetAudioSignal(doc)), frames);
    AUDIOSIGNAL_Destroy(clip);
    TAVOAUDIO_Close(doc);
}

} // namespace
