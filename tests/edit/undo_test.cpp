// undo_test.cpp: the undo history of a document: stack bounds, groups, the
// saved-version question, events, and round trips of real signal edits.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "audioops.h"
#include "audioregion.h"
#include "audiosignal.h"
#include "blnotify.h"
#include "blsettings.h"
#include "document_fixture.h"
#include "tavoaudio.h"
#include "tavonotify.h"
#include "tavoselection.h"
#include "tavostate.h"
#include "tavoundo.h"
#include "tavozoom.h"

namespace {

struct Recorder {
    std::vector<int32_t> kinds;
    int32_t pastSavedAnswer = 1;
    static int32_t Handler(void *user, const BLNOTIFY_EVENT *event)
    {
        auto *self = static_cast<Recorder *>(user);
        self->kinds.push_back(event->kind);
        return event->kind == TAVOAUDIO_PASTSAVED_UNDO ? self->pastSavedAnswer : 1;
    }
    int count(int32_t kind) const { return static_cast<int>(std::count(kinds.begin(), kinds.end(), kind)); }
};

std::string NextUndo(TAVOAUDIO doc)
{
    char label[TAVOUNDO_LABEL_SIZE] = "";
    return TAVOAUDIO_NextUndoLabel(doc, label, sizeof label) ? std::string(label) : std::string("<none>");
}

std::vector<float> Samples(TAVOAUDIO doc, int32_t channel)
{
    AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(doc);
    std::vector<float> out(static_cast<size_t>(AUDIOSIGNAL_NumFrames(signal)));
    AUDIOSIGNAL_GetChannelSamplesEx(signal, channel, 0, static_cast<int64_t>(out.size()), out.data());
    return out;
}

class TavoUndo : public ::testing::Test {
protected:
    TAVOAUDIO doc = tavotest::MakeSineDocument(1000, 2, 4.0);   // 4000 frames, stereo
    ~TavoUndo() override { TAVOAUDIO_Close(doc); }
    AUDIOSIGNAL signal() { return TAVOAUDIO_GetAudioSignal(doc); }
};

TEST(TavoUndoStack, CapacityComesFromTheSettingClamped)
{
    const struct { int setting; int expected; } rows[] = {{2, 4}, {1000, 512}, {-1, 128}};
    for (const auto &row : rows) {
        if (row.setting >= 0) {
            BLSETTINGS_ChangeEx(nullptr, "libtavo.editoptions.undo_stack_size=%d", row.setting);
        } else {
            BLSETTINGS_ResetEx(nullptr, "libtavo.editoptions.undo_stack_size");
        }
        TAVOAUDIO doc = tavotest::MakeSineDocument(1000, 1, 1.0);
        ASSERT_NE(doc, nullptr);
        EXPECT_EQ(TAVOUNDO_StackCapacity(doc), 0);   // made at the first push
        ASSERT_TRUE(TAVOAUDIO_CreateUndo(doc, "step"));
        EXPECT_EQ(TAVOUNDO_StackCapacity(doc), row.expected) << "setting " << row.setting;
        TAVOAUDIO_Close(doc);
    }
    BLSETTINGS_ResetEx(nullptr, "libtavo.editoptions.undo_stack_size");
}

TEST_F(TavoUndo, FullStackDropsTheOldestStep)
{
    for (int i = 0; i < 129; ++i) ASSERT_TRUE(TAVOAUDIO_CreateUndo(doc, ("step " + std::to_string(i)).c_str()));
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 128);
    for (int i = 128; i >= 1; --i) {
        ASSERT_EQ(NextUndo(doc), "step " + std::to_string(i));
        ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, TAVOUNDO_FLAG_NO_REDO));
    }
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
    EXPECT_FALSE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(TAVOUNDO_CountRedoScripts(doc), 0);   // NO_REDO built none
}

TEST_F(TavoUndo, GroupOfThreeEditsIsOneStepWithTheGroupLabel)
{
    const std::vector<float> before = Samples(doc, 0);
    ASSERT_TRUE(TAVOAUDIO_BeginUndoableOperation(doc, "Pencil Strokes"));
    EXPECT_FALSE(TAVOAUDIO_BeginUndoableOperation(doc, "nested"));
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(TAVOAUDIO_CreateUndoEx(doc, "stroke", TAVOUNDO_RECORD_AUDIO));
        ASSERT_TRUE(AUDIOSIGNAL_SetSample(signal(), 0, 100 + i, 0.9));
    }
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);   // nothing pushed while open
    ASSERT_TRUE(TAVOAUDIO_PushUndoableOperation(doc));
    EXPECT_FALSE(TAVOAUDIO_HasUndoableOperation(doc));
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 1);
    EXPECT_EQ(NextUndo(doc), "Pencil Strokes");
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(Samples(doc, 0), before);
}

TEST_F(TavoUndo, CancelledGroupTakesItsEditsBack)
{
    const std::vector<float> before = Samples(doc, 1);
    ASSERT_TRUE(TAVOAUDIO_BeginUndoableOperation(doc, nullptr));
    ASSERT_TRUE(TAVOAUDIO_CreateUndoEx(doc, "edit", TAVOUNDO_RECORD_AUDIO));
    ASSERT_TRUE(AUDIOSIGNAL_SetSample(signal(), 1, 7, -0.75));
    ASSERT_TRUE(TAVOAUDIO_CancelUndoableOperation(doc));
    EXPECT_EQ(Samples(doc, 1), before);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
    EXPECT_FALSE(TAVOAUDIO_CancelUndoableOperation(doc));
    EXPECT_FALSE(TAVOAUDIO_PushUndoableOperation(doc));
}

TEST_F(TavoUndo, NewStepEmptiesTheRedoSteps)
{
    ASSERT_TRUE(TAVOAUDIO_CreateUndo(doc, "one"));
    ASSERT_TRUE(TAVOAUDIO_CreateUndo(doc, "two"));
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    char label[32] = "";
    ASSERT_TRUE(TAVOAUDIO_NextRedoLabel(doc, label, sizeof label));
    EXPECT_STREQ(label, "two");
    ASSERT_TRUE(TAVOAUDIO_CreateUndo(doc, "three"));
    EXPECT_EQ(TAVOUNDO_CountRedoScripts(doc), 0);
    EXPECT_FALSE(TAVOAUDIO_NextRedoLabel(doc, label, sizeof label));
    EXPECT_FALSE(TAVOAUDIO_Redo(doc));
}

TEST_F(TavoUndo, LabelQueriesAndRelabel)
{
    char label[8] = "keep";
    EXPECT_FALSE(TAVOAUDIO_NextUndoLabel(doc, label, sizeof label));   // no stack yet
    ASSERT_TRUE(TAVOAUDIO_CreateUndo(doc, nullptr));
    EXPECT_TRUE(TAVOAUDIO_NextUndoLabel(doc, label, 0));
    EXPECT_STREQ(label, "keep");                                        // size 0 writes nothing
    EXPECT_TRUE(TAVOAUDIO_NextUndoLabel(doc, label, 4));
    EXPECT_STREQ(label, "Und");                                         // "Undefined", cut
    ASSERT_TRUE(TAVOAUDIO_SetNextUndoLabel(doc, std::string(400, 'x').c_str()));
    EXPECT_EQ(NextUndo(doc).size(), 255u);
}

TEST_F(TavoUndo, UndoPastTheSavedVersionAsksAndStaysChanged)
{
    Recorder recorder;
    ASSERT_TRUE(TAVOAUDIO_AddEventHandler(doc, TAVOAUDIO_PASTSAVED_UNDO, Recorder::Handler, &recorder));
    const double original = AUDIOSIGNAL_GetSample(signal(), 0, 500);
    ASSERT_TRUE(TAVOAUDIO_CreateUndoEx(doc, "edit", TAVOUNDO_RECORD_AUDIO));
    ASSERT_TRUE(AUDIOSIGNAL_SetSample(signal(), 0, 500, 0.25));
    // What a save does to the document: the present signal counts as saved.
    const uint64_t saved = AUDIOSIGNAL_GetTimeStamp(signal(), AUDIOSIGNAL_STAMP_CONTENT);
    ASSERT_TRUE(TAVOAUDIO_SetChangeStamp(doc, saved));
    ASSERT_FALSE(TAVOAUDIO_HasChanges(doc));

    recorder.pastSavedAnswer = 0;   // the host says no
    EXPECT_FALSE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(recorder.count(TAVOAUDIO_PASTSAVED_UNDO), 1);
    EXPECT_DOUBLE_EQ(AUDIOSIGNAL_GetSample(signal(), 0, 500), 0.25);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 1);
    EXPECT_EQ(TAVOAUDIO_ChangeStamp(doc), saved);
    EXPECT_FALSE(TAVOAUDIO_HasChanges(doc));

    recorder.pastSavedAnswer = 1;
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_NEAR(AUDIOSIGNAL_GetSample(signal(), 0, 500), original, 1e-4);
    EXPECT_TRUE(TAVOAUDIO_HasChanges(doc));
    ASSERT_TRUE(TAVOAUDIO_Redo(doc));
    EXPECT_DOUBLE_EQ(AUDIOSIGNAL_GetSample(signal(), 0, 500), 0.25);
    EXPECT_TRUE(TAVOAUDIO_HasChanges(doc));   // the saved version is not reached again
    EXPECT_EQ(recorder.count(TAVOAUDIO_PASTSAVED_UNDO), 2);
}

TEST_F(TavoUndo, UndoAfterTheSaveReachesTheSavedVersionWithoutAsking)
{
    Recorder recorder;
    ASSERT_TRUE(TAVOAUDIO_AddEventHandler(doc, TAVOAUDIO_PASTSAVED_UNDO, Recorder::Handler, &recorder));
    ASSERT_TRUE(TAVOAUDIO_SetChangeStamp(doc, AUDIOSIGNAL_GetTimeStamp(signal(), AUDIOSIGNAL_STAMP_CONTENT)));
    ASSERT_TRUE(TAVOAUDIO_CreateUndoEx(doc, "edit", TAVOUNDO_RECORD_AUDIO));
    ASSERT_TRUE(AUDIOSIGNAL_SetSample(signal(), 0, 10, 0.5));
    EXPECT_TRUE(TAVOAUDIO_HasChanges(doc));
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(recorder.count(TAVOAUDIO_PASTSAVED_UNDO), 0);
    EXPECT_FALSE(TAVOAUDIO_HasChanges(doc));
}

TEST_F(TavoUndo, AudioBlocksRoundTripRestoresSamplesAndSelections)
{
    ASSERT_EQ(TAVOAUDIO_AddSelectionEx(doc, 100, 200, -1, 1), 1);
    const std::vector<float> before0 = Samples(doc, 0), before1 = Samples(doc, 1);
    ASSERT_TRUE(TAVOAUDIO_CreateUndoEx(doc, "Draw", TAVOUNDO_RECORD_AUDIO));
    for (int64_t f = 1000; f < 1010; ++f) ASSERT_TRUE(AUDIOSIGNAL_SetSample(signal(), 1, f, 0.125));
    ASSERT_EQ(TAVOAUDIO_AddSelectionEx(doc, 3000, 3500, -1, 1), 1);
    const std::vector<float> after1 = Samples(doc, 1);

    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(Samples(doc, 0), before0);
    EXPECT_EQ(Samples(doc, 1), before1);
    EXPECT_EQ(TAVOAUDIO_CountSelections(doc), 1);
    EXPECT_EQ(TAVOAUDIO_SelectionEnd(doc), 200);

    ASSERT_TRUE(TAVOAUDIO_Redo(doc));
    EXPECT_EQ(Samples(doc, 1), after1);
    EXPECT_EQ(TAVOAUDIO_CountSelections(doc), 2);
    EXPECT_EQ(TAVOAUDIO_SelectionEnd(doc), 3500);
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));   // and back once more
    EXPECT_EQ(Samples(doc, 1), before1);
}

TEST_F(TavoUndo, WholeSignalRoundTripBringsTheLengthBack)
{
    const std::vector<float> before = Samples(doc, 0);
    ASSERT_TRUE(TAVOAUDIO_CreateSignalUndo(doc, "Cut"));
    ASSERT_TRUE(AUDIOSIGNAL_ClearEx(signal(), 0, 1000, 3000, 0.0));
    ASSERT_EQ(AUDIOSIGNAL_NumFrames(signal()), 2000);
    const std::vector<float> cut = Samples(doc, 0);

    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(signal()), 4000);
    EXPECT_EQ(Samples(doc, 0), before);
    ASSERT_TRUE(TAVOAUDIO_Redo(doc));
    EXPECT_EQ(AUDIOSIGNAL_NumFrames(signal()), 2000);
    EXPECT_EQ(Samples(doc, 0), cut);
}

TEST_F(TavoUndo, SamplesRoundTrip)
{
    AUDIOSIGNAL s = signal();
    std::vector<TAVOUNDOSAMPLE> points;
    for (int64_t f : {5, 6, 2999}) points.push_back({1, f, AUDIOSIGNAL_GetSample(s, 1, f)});
    ASSERT_TRUE(TAVOAUDIO_GetEditAccessEx(doc, false));
    TAVOUNDOSCRIPT script = TAVOUNDO_CreateUndoScript(doc, "Pencil", TAVOAUDIO_GetState(doc));
    ASSERT_TRUE(TAVOUNDO_AddRevertSamples(script, static_cast<uint32_t>(points.size()), points.data()));
    EXPECT_FALSE(TAVOUNDO_AddRevertSamples(script, 0, points.data()));
    for (const auto &p : points) ASSERT_TRUE(AUDIOSIGNAL_SetSample(s, 1, p.frame, -0.5));
    ASSERT_TRUE(TAVOUNDO_PushUndoScript(doc, script));
    ASSERT_TRUE(TAVOAUDIO_ReleaseEditAccess(doc));

    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    for (const auto &p : points) EXPECT_DOUBLE_EQ(AUDIOSIGNAL_GetSample(s, 1, p.frame), p.value);
    ASSERT_TRUE(TAVOAUDIO_Redo(doc));
    for (const auto &p : points) EXPECT_DOUBLE_EQ(AUDIOSIGNAL_GetSample(s, 1, p.frame), -0.5);
}

TEST_F(TavoUndo, RateAndTimecodeRoundTrip)
{
    ASSERT_TRUE(TAVOAUDIO_SetSampleRateEx(doc, 2000, 1));
    EXPECT_EQ(AUDIOSIGNAL_SampleRate(signal()), 2000);
    ASSERT_TRUE(TAVOAUDIO_SetTimecode(doc, 86400));
    EXPECT_EQ(TAVOAUDIO_GetTimecode(doc), 86400);
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(TAVOAUDIO_GetTimecode(doc), 0);
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_EQ(AUDIOSIGNAL_SampleRate(signal()), 1000);
    ASSERT_TRUE(TAVOAUDIO_Redo(doc));
    ASSERT_TRUE(TAVOAUDIO_Redo(doc));
    EXPECT_EQ(AUDIOSIGNAL_SampleRate(signal()), 2000);
    EXPECT_EQ(TAVOAUDIO_GetTimecode(doc), 86400);
    EXPECT_FALSE(TAVOAUDIO_SetSampleRateEx(doc, 0, 1));
    EXPECT_FALSE(TAVOAUDIO_SetTimecode(doc, -5));
}

TEST_F(TavoUndo, UndoSendsItsEventsInOrder)
{
    ASSERT_TRUE(TAVOAUDIO_CreateUndoEx(doc, "edit", TAVOUNDO_RECORD_AUDIO));
    ASSERT_TRUE(AUDIOSIGNAL_SetSample(signal(), 0, 1, 0.5));
    Recorder recorder;
    ASSERT_TRUE(TAVOAUDIO_AddEventHandler(doc, BLNOTIFY_ANY_KIND, Recorder::Handler, &recorder));
    for (int round = 0; round < 2; ++round) {
        recorder.kinds.clear();
        ASSERT_TRUE(round == 0 ? TAVOAUDIO_UndoEx(doc, 0) : TAVOAUDIO_Redo(doc));
        std::vector<int32_t> seen;
        for (int32_t k : recorder.kinds) {
            if (k == TAVOAUDIO_UNDOSTACKCHANGED || k == TAVOAUDIO_WASUNDONE || k == TAVOAUDIO_WAS_CHANGED) seen.push_back(k);
        }
        ASSERT_GE(seen.size(), 4u) << "round " << round;
        EXPECT_EQ(seen[0], TAVOAUDIO_UNDOSTACKCHANGED);   // taken off one array
        EXPECT_EQ(seen[1], TAVOAUDIO_UNDOSTACKCHANGED);   // put on the other
        EXPECT_EQ(seen[2], TAVOAUDIO_WASUNDONE);
        EXPECT_EQ(seen.back(), TAVOAUDIO_WAS_CHANGED);
        EXPECT_EQ(recorder.count(TAVOAUDIO_WASUNDONE), 1);
    }
    TAVOAUDIO_DelEventHandler(doc, BLNOTIFY_ANY_KIND, Recorder::Handler, &recorder);
}

TEST_F(TavoUndo, RenamingATrackIsUndoableOnlyWhenTheLabelChanges)
{
    ASSERT_NE(AUDIOSIGNAL_AddCustomTrack(signal(), "words", "Words", nullptr), nullptr);
    const int32_t index = AUDIOSIGNAL_FindRegionTrackIndex(signal(), "words");
    ASSERT_GT(index, 0);
    Recorder recorder;
    ASSERT_TRUE(TAVOAUDIO_AddEventHandler(doc, BLNOTIFY_ANY_KIND, Recorder::Handler, &recorder));

    EXPECT_TRUE(AUDIOSIGNAL_RenameRegionTrack(signal(), index, "Words"));
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
    EXPECT_EQ(recorder.count(TAVOAUDIO_WAS_CHANGED), 0);
    EXPECT_EQ(recorder.count(TAVOAUDIO_UNDOSTACKCHANGED), 0);

    ASSERT_TRUE(AUDIOSIGNAL_RenameRegionTrack(signal(), index, "Lyrics"));
    EXPECT_STREQ(AUDIOREGIONTRACK_GetLabel(AUDIOSIGNAL_GetRegionTrack(signal(), index)), "Lyrics");
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 1);
    EXPECT_EQ(NextUndo(doc), "Rename Track");
    EXPECT_EQ(recorder.count(TAVOAUDIO_WAS_CHANGED), 1);

    TAVOAUDIO_DelEventHandler(doc, BLNOTIFY_ANY_KIND, Recorder::Handler, &recorder);
    ASSERT_TRUE(TAVOAUDIO_UndoEx(doc, 0));
    EXPECT_STREQ(AUDIOREGIONTRACK_GetLabel(AUDIOSIGNAL_GetRegionTrack(signal(), index)), "Words");
    ASSERT_TRUE(TAVOAUDIO_Redo(doc));
    EXPECT_STREQ(AUDIOREGIONTRACK_GetLabel(AUDIOSIGNAL_GetRegionTrack(signal(), index)), "Lyrics");
}

TEST(TavoUndoScripts, BadArgumentsFailQuietly)
{
    EXPECT_EQ(TAVOUNDO_CreateUndoScript(nullptr, "x", nullptr), nullptr);
    EXPECT_FALSE(TAVOUNDO_AddNoAction(nullptr));
    EXPECT_FALSE(TAVOUNDO_AddRevertSamples(nullptr, 1, nullptr));
    EXPECT_FALSE(TAVOUNDO_PushUndoScript(nullptr, nullptr));
    EXPECT_FALSE(TAVOUNDO_DestroyUndoScript(nullptr, nullptr));
    EXPECT_FALSE(TAVOAUDIO_UndoEx(nullptr, 0));
    EXPECT_FALSE(TAVOAUDIO_Redo(nullptr));
    EXPECT_FALSE(TAVOAUDIO_CreateUndo(nullptr, "x"));
    EXPECT_FALSE(TAVOAUDIO_NextUndoLabel(nullptr, nullptr, 0));
    EXPECT_EQ(TAVOAUDIO_GetTimecode(nullptr), -1);

    // A script without a document holds the state copy and nothing else; an
    // empty script is never pushed.
    TAVOAUDIO doc = tavotest::MakeSineDocument(1000, 1, 1.0);
    TAVOUNDOSCRIPT bare = TAVOUNDO_CreateUndoScript(nullptr, "bare", TAVOAUDIO_GetState(doc));
    ASSERT_NE(bare, nullptr);
    EXPECT_EQ(TAVOUNDO_CountOperations(bare), 0u);
    EXPECT_FALSE(TAVOUNDO_PushUndoScript(doc, bare));   // destroyed by the refusal
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), 0);
    TAVOAUDIO_Close(doc);
}

TEST(TavoTranslate, WithoutACatalogueTheTextComesBack)
{
    char buffer[8];
    EXPECT_EQ(TAVOtranslate("Selection", buffer, sizeof buffer), 7);
    EXPECT_STREQ(buffer, "Selecti");
    EXPECT_EQ(TAVOtranslate(nullptr, buffer, sizeof buffer), 0);
    EXPECT_EQ(TAVOtranslate("x", buffer, 0), 0);
}

}  // namespace
