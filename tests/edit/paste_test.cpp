// paste_test.cpp: paste at the cursor or over a selection, paste to a
// position, append, their file and silence forms, mix paste and paste to
// fit: samples placed, selections and view afterwards, undo, refusals.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "../../frame/document_p.h"
#include "../../view/state_p.h"
#include "doc_helpers.h"

namespace {

using namespace tavotest;

// A mono signal whose frames hold a ramp distinct from the documents' sine.
AUDIOSIGNAL Ramp(int32_t rate, int64_t frames)
{
    AUDIOSIGNAL signal = AUDIOSIGNAL_New(("AUTO[sr=" + std::to_string(rate) + ",nc=1]").c_str());
    std::vector<float> samples(static_cast<size_t>(frames));
    for (size_t i = 0; i < samples.size(); ++i) samples[i] = 0.25f * static_cast<float>(i % 97) / 97.0f;
    if (signal != nullptr && frames > 0) AUDIOSIGNAL_AppendSamples(signal, samples.data(), frames);
    return signal;
}

// A mono document of 1000 frames at 1000 Hz and a 50-frame ramp to paste.
class TavoPaste : public ::testing::Test {
protected:
    TAVOAUDIO doc = MakeSineDocument(1000, 1, 1.0);
    AUDIOSIGNAL clip = Ramp(1000, 50);
    std::vector<float> original, pasted;
    void SetUp() override
    {
        ASSERT_TRUE(doc != nullptr && clip != nullptr);
        original = Samples(doc);
        pasted = Channel(clip);
    }
    ~TavoPaste() override
    {
        AUDIOSIGNAL_Destroy(clip);
        TAVOAUDIO_Close(doc);
    }
    void expectUndoRestores()
    {
        ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
        EXPECT_EQ(Samples(doc), original);
    }
};

TEST_F(TavoPaste, AtTheCursorInsertsAndSelectsThePastedStretch)
{
    ASSERT_TRUE(TAVOAUDIO_SetCursorPositionEx2(doc, 300, 0));
    ASSERT_TRUE(TAVOAUDIO_PasteEx(doc, clip, 0, nullptr));
    EXPECT_EQ(Samples(doc), Join({Slice(original, 0, 300), pasted, Slice(original, 300, 1000)}));
    EXPECT_EQ(Selections(doc), (Ranges{{300, 350}}));
    EXPECT_EQ(NextUndo(doc), "Paste");
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 1);
    expectUndoRestores();
    ASSERT_TRUE(TAVOAUDIO_SetCursorPositionEx2(doc, 500, 0));
    ASSERT_TRUE(TAVOAUDIO_PasteSilence(doc, 25, nullptr));
    EXPECT_EQ(Samples(doc), Join({Slice(original, 0, 500), std::vector<float>(25, 0.0f), Slice(original, 500, 1000)}));
    expectUndoRestores();

    // Over one selection: 100 frames become 50, the view keeps its scale.
    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 0, 400, TAVOAUDIO_ZOOM_NO_HISTORY, 0), 1);
    ASSERT_EQ(TAVOAUDIO_SelectAudioEx(doc, 100, 200, -1, 0), 1);
    ASSERT_TRUE(TAVOAUDIO_PasteEx(doc, clip, 0, nullptr));
    EXPECT_EQ(Samples(doc), Join({Slice(original, 0, 100), pasted, Slice(original, 200, 1000)}));
    EXPECT_EQ(TAVOAUDIO_ViewBegin(doc), 0);
    EXPECT_EQ(TAVOAUDIO_ViewEnd(doc), 350);
}

TEST_F(TavoPaste, OverTwoSelectionsReplacesOnlyTheFirstAndSaysSoOnce)
{
    Events events;
    ASSERT_TRUE(Select(doc, {{100, 200}, {300, 400}}));
    const int32_t steps = TAVOUNDO_CountUndoScripts(doc);
    ASSERT_TRUE(TAVOAUDIO_AddEventHandler(doc, BLNOTIFY_ANY_KIND, Events::Handler, &events));
    ASSERT_TRUE(TAVOAUDIO_PasteEx(doc, clip, 0, "Paste Here"));
    TAVOAUDIO_DelEventHandler(doc, BLNOTIFY_ANY_KIND, Events::Handler, &events);
    EXPECT_EQ(events.count(TAVOAUDIO_MULTI_SELECT_PASTE_NOT_SUPPORTED), 1);
    EXPECT_EQ(Samples(doc), Join({Slice(original, 0, 100), pasted, Slice(original, 200, 1000)}));
    EXPECT_EQ(Selections(doc), (Ranges{{100, 150}}));
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), steps + 1);
    EXPECT_EQ(NextUndo(doc), "Paste Here");
    expectUndoRestores();
    EXPECT_EQ(Selections(doc), (Ranges{{100, 200}, {300, 400}}));
}

TEST_F(TavoPaste, RefusalsChangeNothing)
{
    auto unchanged = [&](const char *what) {
        EXPECT_EQ(Samples(doc), original) << what;
        EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0) << what;
    };
    EXPECT_FALSE(TAVOAUDIO_PasteEx(doc, nullptr, 0, nullptr));
    EXPECT_EQ(TAVOAUDIO_AppendEx(doc, nullptr, 0, nullptr, nullptr), 0);
    EXPECT_FALSE(TAVOAUDIO_PasteToFitEx(doc, clip, 0, nullptr));   // no selection to fit to
    unchanged("no source or selection");
    doc->state->visualToolKind = 2;
    EXPECT_FALSE(TAVOAUDIO_PasteEx(doc, clip, 0, nullptr));
    EXPECT_EQ(TAVOAUDIO_PasteToPositionEx(doc, clip, 10, 0, nullptr), 0);
    EXPECT_EQ(TAVOAUDIO_AppendEx(doc, clip, 0, nullptr, nullptr), 0);
    EXPECT_FALSE(TAVOAUDIO_MixPaste(doc, clip, nullptr));
    unchanged("visual tool");
    doc->state->visualToolKind = 0;
    doc->flags &= ~TAVOAUDIO_FLAG_EDITABLE;
    EXPECT_FALSE(TAVOAUDIO_PasteEx(doc, clip, 0, nullptr));
    EXPECT_FALSE(TAVOAUDIO_PasteSilence(doc, 10, nullptr));
    EXPECT_EQ(TAVOAUDIO_AppendSilence(doc, 10, nullptr), 0);
    unchanged("not editable");
    doc->flags |= TAVOAUDIO_FLAG_EDITABLE;
    EXPECT_EQ(TAVOAUDIO_PasteToPositionEx(doc, clip, 5000, 0, nullptr), 0);   // beyond the end
    unchanged("bad position");

    // Rates more than 4096 times apart cannot be converted into each other.
    const Signal far(Ramp(5000000, 10));
    TAVOAUDIO_GetLastError(doc, true);
    EXPECT_FALSE(TAVOAUDIO_PasteEx(doc, far.get(), 0, nullptr));
    EXPECT_NE(TAVOAUDIO_GetLastError(doc, false), 0u);
    unchanged("failed insertion");
    EXPECT_FALSE(TAVOAUDIO_PasteEx(nullptr, clip, 0, nullptr));
}

TEST_F(TavoPaste, ToPositionReplacesOrKeepsTheSelections)
{
    ASSERT_TRUE(Select(doc, {{100, 200}, {600, 700}}));
    EXPECT_EQ(TAVOAUDIO_PasteToPositionEx(doc, clip, 400, 0, nullptr), 1);
    EXPECT_EQ(Samples(doc), Join({Slice(original, 0, 400), pasted, Slice(original, 400, 1000)}));
    EXPECT_EQ(Selections(doc), (Ranges{{400, 450}}));
    expectUndoRestores();
    EXPECT_EQ(TAVOAUDIO_PasteToPositionEx(doc, clip, 400, TAVOAUDIO_PASTE_KEEP_SELECTIONS, nullptr), 1);
    EXPECT_EQ(Selections(doc), (Ranges{{100, 200}, {400, 450}, {650, 750}}));
    EXPECT_EQ(Slice(Samples(doc), 650, 750), Slice(original, 600, 700));
    expectUndoRestores();
    EXPECT_EQ(Selections(doc), (Ranges{{100, 200}, {600, 700}}));
}

TEST_F(TavoPaste, AppendSelectsFromTheOldToTheNewLengthAndShowsIt)
{
    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 0, 200, TAVOAUDIO_ZOOM_NO_HISTORY, 0), 1);
    ASSERT_EQ(TAVOAUDIO_SelectAudioEx(doc, 10, 20, -1, 0), 1);
    EXPECT_EQ(TAVOAUDIO_AppendEx(doc, clip, 0, nullptr, nullptr), 1);
    EXPECT_EQ(Samples(doc), Join({original, pasted}));
    EXPECT_EQ(Selections(doc), (Ranges{{1000, 1050}}));
    EXPECT_EQ(NextUndo(doc), "Append");
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 1);
    EXPECT_EQ(TAVOAUDIO_ViewLength(doc), 200);   // same scale, appended stretch in view
    EXPECT_LE(TAVOAUDIO_ViewBegin(doc), 1000);
    EXPECT_EQ(TAVOAUDIO_ViewEnd(doc), 1050);
    expectUndoRestores();
    EXPECT_EQ(TAVOAUDIO_AppendSilence(doc, 30, nullptr), 1);
    EXPECT_EQ(Selections(doc), (Ranges{{1000, 1030}}));
    EXPECT_EQ(Samples(doc), Join({original, std::vector<float>(30, 0.0f)}));
    expectUndoRestores();
}

TEST_F(TavoPaste, FileFormsReadAWavSavedByADocument)
{
    TempFolder folder;
    const std::string path = folder.file("paste.wav");
    TAVOAUDIO source = TAVOAUDIO_NewFromSignalEx(Ramp(1000, 40), false, 0);
    ASSERT_NE(source, nullptr);
    ASSERT_TRUE(TAVOAUDIO_SaveAsEx(source, path.c_str(), "WAV", 0));
    const std::vector<float> written = Samples(source);
    TAVOAUDIO_Close(source);
    auto expectAt = [&](size_t at) {   // 16-bit file: one step and rounding
        const std::vector<float> got = Samples(doc);
        for (size_t i = 0; i < written.size(); ++i) ASSERT_NEAR(got[at + i], written[i], 1.0f / 16384.0f) << i;
    };
    ASSERT_TRUE(TAVOAUDIO_SetCursorPositionEx2(doc, 200, 0));
    ASSERT_TRUE(TAVOAUDIO_PasteFileEx(doc, path.c_str(), "AUTO", 0, nullptr));
    EXPECT_EQ(Frames(doc), 1040);
    expectAt(200);
    EXPECT_EQ(Slice(Samples(doc), 0, 200), Slice(original, 0, 200));
    expectUndoRestores();
    EXPECT_EQ(TAVOAUDIO_PasteFileToPositionEx(doc, 700, path.c_str(), "AUTO", 0, nullptr), 1);
    expectAt(700);
    expectUndoRestores();
    EXPECT_EQ(TAVOAUDIO_AppendFromFile(doc, path.c_str(), "AUTO", nullptr), 1);
    EXPECT_EQ(Selections(doc), (Ranges{{1000, 1040}}));
    expectUndoRestores();
    EXPECT_FALSE(TAVOAUDIO_PasteFileEx(doc, (path + ".missing").c_str(), "AUTO", 0, nullptr));
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
}

TEST_F(TavoPaste, MixPasteAddsTheSourceAndGrowsOnlyPastTheEnd)
{
    ASSERT_EQ(TAVOAUDIO_SelectAudioEx(doc, 300, 400, -1, 0), 1);
    ASSERT_TRUE(TAVOAUDIO_MixPaste(doc, clip, nullptr));
    std::vector<float> got = Samples(doc);
    ASSERT_EQ(got.size(), 1000u);
    for (size_t i = 0; i < 50; ++i) EXPECT_NEAR(got[300 + i], original[300 + i] + pasted[i], 1e-4) << i;
    EXPECT_EQ(Slice(got, 0, 300), Slice(original, 0, 300));
    EXPECT_EQ(Slice(got, 350, 1000), Slice(original, 350, 1000));
    EXPECT_EQ(Selections(doc), (Ranges{{300, 350}}));
    EXPECT_EQ(NextUndo(doc), "Mix Paste");
    expectUndoRestores();

    // From the cursor 20 frames before the end: 30 frames run past it.
    ASSERT_EQ(TAVOAUDIO_ClearSelectionEx2(doc, nullptr, 0), 1);
    ASSERT_TRUE(TAVOAUDIO_SetCursorPositionEx2(doc, 980, 0));
    ASSERT_TRUE(TAVOAUDIO_MixPaste(doc, clip, nullptr));
    got = Samples(doc);
    ASSERT_EQ(got.size(), 1030u);
    EXPECT_NEAR(got[985], original[985] + pasted[5], 1e-4);
    EXPECT_NEAR(got[1020], pasted[40], 1e-4);
    expectUndoRestores();

    // Stereo into mono: the channels are averaged.
    const Signal stereo(AUDIOSIGNAL_New("AUTO[sr=1000,nc=2]"));
    const std::vector<float> frames2 = {0.2f, 0.4f, -0.2f, 0.0f};
    ASSERT_TRUE(AUDIOSIGNAL_AppendSamples(stereo.get(), frames2.data(), 2));
    ASSERT_TRUE(TAVOAUDIO_SetCursorPositionEx2(doc, 10, 0));
    ASSERT_TRUE(TAVOAUDIO_MixPaste(doc, stereo.get(), nullptr));
    got = Samples(doc);
    EXPECT_NEAR(got[10], original[10] + 0.3f, 1e-4);
    EXPECT_NEAR(got[11], original[11] - 0.1f, 1e-4);
}

TEST_F(TavoPaste, PasteToFitStretchesOrSqueezesToTheSelection)
{
    // 50 and 333 frames at 1000 Hz, 400 frames at 8000 Hz: all fill 100-300.
    for (auto [rate, sourceFrames] : {std::pair{1000, 50}, {1000, 333}, {8000, 400}}) {
        SCOPED_TRACE(sourceFrames);
        const Signal source(Ramp(rate, sourceFrames));
        ASSERT_EQ(TAVOAUDIO_SelectAudioEx(doc, 100, 300, -1, 0), 1);
        ASSERT_TRUE(TAVOAUDIO_PasteToFitEx(doc, source.get(), 0, nullptr));
        EXPECT_EQ(Frames(doc), 1000);
        EXPECT_EQ(Selections(doc), (Ranges{{100, 300}}));
        EXPECT_EQ(AUDIOSIGNAL_SampleRate(TAVOAUDIO_GetAudioSignal(doc)), 1000);
        EXPECT_EQ(Slice(Samples(doc), 300, 1000), Slice(original, 300, 1000));
        EXPECT_EQ(NextUndo(doc), "Paste To Fit");
        expectUndoRestores();
    }
}

}  // namespace
