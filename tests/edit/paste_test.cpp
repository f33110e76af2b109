// paste_test.cpp: paste at the cursor or over a selection, paste to a
// position, append, their file and silence forms, mix paste and paste to
// fit: samples placed, selections and view afterwards, undo, refusals.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <unistd.h>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "../../frame/document_p.h"
#include "../../view/state_p.h"
#include "audioformat.h"
#include "audiosignal.h"
#include "blnotify.h"
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

using Ranges = std::vector<std::pair<int64_t, int64_t>>;

// A mono signal at `rate` whose frame i holds a ramp value distinct from
// the sine of the documents.
AUDIOSIGNAL Ramp(int32_t rate, int64_t frames, float scale = 0.25f)
{
    AUDIOSIGNAL signal = AUDIOSIGNAL_New(("AUTO[sr=" + std::to_string(rate) + ",nc=1]").c_str());
    std::vector<float> samples(static_cast<size_t>(frames));
    for (int64_t i = 0; i < frames; ++i) samples[static_cast<size_t>(i)] = scale * static_cast<float>(i % 97) / 97.0f;
    if (signal != nullptr && frames > 0) AUDIOSIGNAL_AppendSamples(signal, samples.data(), frames);
    return signal;
}

std::string NextUndo(TAVOAUDIO doc)
{
    char label[TAVOUNDO_LABEL_SIZE] = "";
    return TAVOAUDIO_NextUndoLabel(doc, label, sizeof label) ? std::string(label) : std::string("<none>");
}

Ranges Selections(TAVOAUDIO doc)
{
    Ranges out;
    for (const TAVOSELECTION *s = doc->state->selections; s != nullptr; s = s->next)
        out.emplace_back(TAVOSELECTION_GetBegin(doc, s), TAVOSELECTION_GetEnd(doc, s));
    return out;
}

struct Events {
    std::vector<int32_t> kinds;
    static int32_t Handler(void *user, const BLNOTIFY_EVENT *event)
    {
        static_cast<Events *>(user)->kinds.push_back(event->kind);
        return 1;
    }
    int count(int32_t kind) const
    {
        int n = 0;
        for (int32_t k : kinds) n += k == kind ? 1 : 0;
        return n;
    }
};

// A mono document of 1000 frames at 1000 Hz and a 50-frame ramp to paste.
class TavoPaste : public ::testing::Test {
protected:
    TAVOAUDIO doc = tavotest::MakeSineDocument(1000, 1, 1.0);
    AUDIOSIGNAL clip = Ramp(1000, 50);
    std::vector<float> original, pasted;

    void SetUp() override
    {
        ASSERT_NE(doc, nullptr);
        ASSERT_NE(clip, nullptr);
        original = Channel(signal());
        pasted = Channel(clip);
    }
    ~TavoPaste() override
    {
        AUDIOSIGNAL_Destroy(clip);
        TAVOAUDIO_Close(doc);
    }
    AUDIOSIGNAL signal() { return TAVOAUDIO_GetAudioSignal(doc); }
    int64_t frames() { return AUDIOSIGNAL_NumFrames(signal()); }
    // One undo gives the original back whole.
    void expectUndoRestores()
    {
        ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
        EXPECT_EQ(Channel(signal()), original);
    }
};

TEST_F(TavoPaste, AtTheCursorInsertsAndSelectsThePastedStretch)
{
    ASSERT_TRUE(TAVOAUDIO_SetCursorPositionEx2(doc, 300, 0));
    ASSERT_TRUE(TAVOAUDIO_PasteEx(doc, clip, 0, nullptr));
    EXPECT_EQ(Channel(signal()), Join({Slice(original, 0, 300), pasted, Slice(original, 300, 1000)}));
    EXPECT_EQ(Selections(doc), (Ranges{{300, 350}}));
    EXPECT_EQ(NextUndo(doc), "Paste");
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 1);
    expectUndoRestores();
}

TEST_F(TavoPaste, OverTwoSelectionsReplacesOnlyTheFirstAndSaysSoOnce)
{
    Events events;
    ASSERT_EQ(TAVOAUDIO_SelectAudioEx(doc, 100, 200, -1, 0), 1);
    ASSERT_EQ(TAVOAUDIO_AddSelectionEx(doc, 300, 400, -1, 0), 1);
    const int32_t steps = TAVOUNDO_CountUndoScripts(doc);
    ASSERT_TRUE(TAVOAUDIO_AddEventHandler(doc, BLNOTIFY_ANY_KIND, Events::Handler, &events));
    ASSERT_TRUE(TAVOAUDIO_PasteEx(doc, clip, 0, "Paste Here"));
    TAVOAUDIO_DelEventHandler(doc, BLNOTIFY_ANY_KIND, Events::Handler, &events);

    EXPECT_EQ(events.count(TAVOAUDIO_MULTI_SELECT_PASTE_NOT_SUPPORTED), 1);
    EXPECT_EQ(Channel(signal()), Join({Slice(original, 0, 100), pasted, Slice(original, 200, 1000)}));
    EXPECT_EQ(Selections(doc), (Ranges{{100, 150}}));
    // One step, which brings back the samples and both selections.
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), steps + 1);
    EXPECT_EQ(NextUndo(doc), "Paste Here");
    expectUndoRestores();
    EXPECT_EQ(Selections(doc), (Ranges{{100, 200}, {300, 400}}));
}

TEST_F(TavoPaste, OverOneSelectionKeepsTheViewScale)
{
    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 0, 400, TAVOAUDIO_ZOOM_NO_HISTORY, 0), 1);
    ASSERT_EQ(TAVOAUDIO_SelectAudioEx(doc, 100, 200, -1, 0), 1);
    ASSERT_TRUE(TAVOAUDIO_PasteEx(doc, clip, 0, nullptr));
    // 100 frames became 50: the view shows the same audio, 50 frames shorter.
    EXPECT_EQ(TAVOAUDIO_ViewBegin(doc), 0);
    EXPECT_EQ(TAVOAUDIO_ViewEnd(doc), 350);
}

TEST_F(TavoPaste, RefusalsChangeNothing)
{
    const int32_t steps = TAVOUNDO_CountUndoScripts(doc);
    auto unchanged = [&](const char *what) {
        SCOPED_TRACE(what);
        EXPECT_EQ(Channel(signal()), original);
        EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), steps);
    };
    EXPECT_FALSE(TAVOAUDIO_PasteEx(doc, nullptr, 0, nullptr));
    EXPECT_EQ(TAVOAUDIO_AppendEx(doc, nullptr, 0, nullptr, nullptr), 0);
    unchanged("null source");

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

    EXPECT_FALSE(TAVOAUDIO_PasteEx(nullptr, clip, 0, nullptr));
    EXPECT_FALSE(TAVOAUDIO_PasteToFitEx(nullptr, clip, 0, nullptr));
}

TEST_F(TavoPaste, FailedInsertionLeavesTheTranslatedErrorAndTheDocument)
{
    // Rates more than 4096 times apart cannot be converted into each other.
    AUDIOSIGNAL far = Ramp(5000000, 10);
    ASSERT_NE(far, nullptr);
    TAVOAUDIO_GetLastError(doc, true);
    EXPECT_FALSE(TAVOAUDIO_PasteEx(doc, far, 0, nullptr));
    EXPECT_NE(TAVOAUDIO_GetLastError(doc, false), 0u);
    EXPECT_EQ(Channel(signal()), original);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
    AUDIOSIGNAL_Destroy(far);
}

TEST_F(TavoPaste, ToPositionReplacesOrKeepsTheSelections)
{
    ASSERT_EQ(TAVOAUDIO_SelectAudioEx(doc, 100, 200, -1, 0), 1);
    ASSERT_EQ(TAVOAUDIO_AddSelectionEx(doc, 600, 700, -1, 0), 1);
    EXPECT_EQ(TAVOAUDIO_PasteToPositionEx(doc, clip, 400, 0, nullptr), 1);
    EXPECT_EQ(Channel(signal()), Join({Slice(original, 0, 400), pasted, Slice(original, 400, 1000)}));
    EXPECT_EQ(Selections(doc), (Ranges{{400, 450}}));
    expectUndoRestores();

    EXPECT_EQ(TAVOAUDIO_PasteToPositionEx(doc, clip, 400, TAVOAUDIO_PASTE_KEEP_SELECTIONS, nullptr), 1);
    EXPECT_EQ(Selections(doc), (Ranges{{100, 200}, {400, 450}, {650, 750}}));
    // The kept selection after the insertion still covers its audio.
    EXPECT_EQ(Slice(Channel(signal()), 650, 750), Slice(original, 600, 700));
    expectUndoRestores();
    EXPECT_EQ(Selections(doc), (Ranges{{100, 200}, {600, 700}}));
}

TEST_F(TavoPaste, AppendSelectsFromTheOldToTheNewLengthAndShowsIt)
{
    ASSERT_EQ(TAVOAUDIO_ZoomEx2(doc, 0, 200, TAVOAUDIO_ZOOM_NO_HISTORY, 0), 1);
    ASSERT_EQ(TAVOAUDIO_SelectAudioEx(doc, 10, 20, -1, 0), 1);
    EXPECT_EQ(TAVOAUDIO_AppendEx(doc, clip, 0, nullptr, nullptr), 1);
    EXPECT_EQ(frames(), 1050);
    EXPECT_EQ(Channel(signal()), Join({original, pasted}));
    EXPECT_EQ(Selections(doc), (Ranges{{1000, 1050}}));
    EXPECT_EQ(NextUndo(doc), "Append");
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 1);
    // Same scale, the appended stretch in view.
    EXPECT_EQ(TAVOAUDIO_ViewLength(doc), 200);
    EXPECT_LE(TAVOAUDIO_ViewBegin(doc), 1000);
    EXPECT_EQ(TAVOAUDIO_ViewEnd(doc), 1050);
    expectUndoRestores();

    EXPECT_EQ(TAVOAUDIO_AppendSilence(doc, 30, nullptr), 1);
    EXPECT_EQ(frames(), 1030);
    EXPECT_EQ(Selections(doc), (Ranges{{1000, 1030}}));
    EXPECT_EQ(Slice(Channel(signal()), 1000, 1030), std::vector<float>(30, 0.0f));
    expectUndoRestores();
}

TEST_F(TavoPaste, SilenceGoesInAtTheCursor)
{
    ASSERT_TRUE(TAVOAUDIO_SetCursorPositionEx2(doc, 500, 0));
    ASSERT_TRUE(TAVOAUDIO_PasteSilence(doc, 25, nullptr));
    EXPECT_EQ(Channel(signal()),
              Join({Slice(original, 0, 500), std::vector<float>(25, 0.0f), Slice(original, 500, 1000)}));
    expectUndoRestores();
}

TEST_F(TavoPaste, FileFormsReadAWavSavedByADocument)
{
    const std::string path =
        (std::filesystem::temp_directory_path() / ("tavo-paste-" + std::to_string(getpid()) + ".wav")).string();
    TAVOAUDIO source = TAVOAUDIO_NewFromSignalEx(Ramp(1000, 40), false, 0);
    ASSERT_NE(source, nullptr);
    ASSERT_TRUE(TAVOAUDIO_SaveAsEx(source, path.c_str(), "WAV", 0));
    const std::vector<float> written = Channel(TAVOAUDIO_GetAudioSignal(source));
    TAVOAUDIO_Close(source);

    auto near = [](const std::vector<float> &a, const std::vector<float> &b) {
        if (a.size() != b.size()) return false;
        for (size_t i = 0; i < a.size(); ++i)
            if (std::fabs(a[i] - b[i]) > 1.0f / 16384.0f) return false;   // 16-bit file: one step and rounding
        return true;
    };
    ASSERT_TRUE(TAVOAUDIO_SetCursorPositionEx2(doc, 200, 0));
    ASSERT_TRUE(TAVOAUDIO_PasteFileEx(doc, path.c_str(), "AUTO", 0, nullptr));
    EXPECT_EQ(frames(), 1040);
    EXPECT_TRUE(near(Slice(Channel(signal()), 200, 240), written));
    EXPECT_EQ(Slice(Channel(signal()), 0, 200), Slice(original, 0, 200));
    expectUndoRestores();

    EXPECT_EQ(TAVOAUDIO_PasteFileToPositionEx(doc, 700, path.c_str(), "AUTO", 0, nullptr), 1);
    EXPECT_TRUE(near(Slice(Channel(signal()), 700, 740), written));
    expectUndoRestores();

    EXPECT_EQ(TAVOAUDIO_AppendFromFile(doc, path.c_str(), "AUTO", nullptr), 1);
    EXPECT_EQ(Selections(doc), (Ranges{{1000, 1040}}));
    expectUndoRestores();

    EXPECT_FALSE(TAVOAUDIO_PasteFileEx(doc, (path + ".missing").c_str(), "AUTO", 0, nullptr));
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
    std::filesystem::remove(path);
}

TEST_F(TavoPaste, MixPasteAddsTheSourceFromTheSelectionAndGrowsOnlyPastTheEnd)
{
    ASSERT_EQ(TAVOAUDIO_SelectAudioEx(doc, 300, 400, -1, 0), 1);
    ASSERT_TRUE(TAVOAUDIO_MixPaste(doc, clip, nullptr));
    EXPECT_EQ(frames(), 1000);
    const std::vector<float> got = Channel(signal());
    for (size_t i = 0; i < 50; ++i) EXPECT_NEAR(got[300 + i], original[300 + i] + pasted[i], 1e-4) << i;
    EXPECT_EQ(Slice(got, 0, 300), Slice(original, 0, 300));
    EXPECT_EQ(Slice(got, 350, 1000), Slice(original, 350, 1000));
    EXPECT_EQ(Selections(doc), (Ranges{{300, 350}}));
    EXPECT_EQ(NextUndo(doc), "Mix Paste");
    expectUndoRestores();

    // From the cursor, 20 frames before the end: 30 frames run past it.
    ASSERT_EQ(TAVOAUDIO_ClearSelectionEx2(doc, nullptr, 0), 1);
    ASSERT_TRUE(TAVOAUDIO_SetCursorPositionEx2(doc, 980, 0));
    ASSERT_TRUE(TAVOAUDIO_MixPaste(doc, clip, nullptr));
    EXPECT_EQ(frames(), 1030);
    const std::vector<float> grown = Channel(signal());
    EXPECT_NEAR(grown[985], original[985] + pasted[5], 1e-4);
    EXPECT_NEAR(grown[1020], pasted[40], 1e-4);
    expectUndoRestores();
}

TEST_F(TavoPaste, MixPasteOfStereoIntoMonoAveragesTheChannels)
{
    AUDIOSIGNAL stereo = AUDIOSIGNAL_New("AUTO[sr=1000,nc=2]");
    const std::vector<float> frames2 = {0.2f, 0.4f, -0.2f, 0.0f};   // frames (0.2, 0.4), (-0.2, 0)
    ASSERT_TRUE(AUDIOSIGNAL_AppendSamples(stereo, frames2.data(), 2));
    ASSERT_TRUE(TAVOAUDIO_SetCursorPositionEx2(doc, 10, 0));
    ASSERT_TRUE(TAVOAUDIO_MixPaste(doc, stereo, nullptr));
    const std::vector<float> got = Channel(signal());
    EXPECT_NEAR(got[10], original[10] + 0.3f, 1e-4);
    EXPECT_NEAR(got[11], original[11] - 0.1f, 1e-4);
    AUDIOSIGNAL_Destroy(stereo);
}

TEST_F(TavoPaste, PasteToFitStretchesOrSqueezesToTheSelection)
{
    EXPECT_FALSE(TAVOAUDIO_PasteToFitEx(doc, clip, 0, nullptr));   // no selection: nothing to fit to
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);

    for (int64_t sourceFrames : {50, 333, 200}) {
        SCOPED_TRACE(sourceFrames);
        AUDIOSIGNAL source = Ramp(1000, sourceFrames);
        ASSERT_EQ(TAVOAUDIO_SelectAudioEx(doc, 100, 300, -1, 0), 1);
        ASSERT_TRUE(TAVOAUDIO_PasteToFitEx(doc, source, 0, nullptr));
        EXPECT_EQ(frames(), 1000);
        EXPECT_EQ(Selections(doc), (Ranges{{100, 300}}));
        EXPECT_EQ(AUDIOSIGNAL_SampleRate(signal()), 1000);
        EXPECT_EQ(Slice(Channel(signal()), 300, 1000), Slice(original, 300, 1000));
        EXPECT_EQ(NextUndo(doc), "Paste To Fit");
        expectUndoRestores();
        AUDIOSIGNAL_Destroy(source);
    }

    // A source of another rate is fitted by its length in frames too.
    AUDIOSIGNAL other = Ramp(8000, 400);
    ASSERT_EQ(TAVOAUDIO_SelectAudioEx(doc, 0, 100, -1, 0), 1);
    ASSERT_TRUE(TAVOAUDIO_PasteToFitEx(doc, other, 0, nullptr));
    EXPECT_EQ(frames(), 1000);
    AUDIOSIGNAL_Destroy(other);
}

} // namespace
