// Event names, the document's handler functions and the parent callback
// that turns a region-track rename into an undo step.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "audioformat.h"
#include "audioregion.h"
#include "document_fixture.h"
#include "tavoaudio.h"
#include "tavonotify.h"
#include "tavoundo.h"

namespace {

TEST(TavoEventNames, NumberingAndBoundaries)
{
    EXPECT_EQ(TAVONOTIFY_TranslateEventKind(1066), nullptr);
    EXPECT_EQ(TAVONOTIFY_TranslateEventKind(1223), nullptr);
    EXPECT_STREQ(TAVONOTIFY_TranslateEventKind(1067), "TAVODATABASE_GET_FILE_ID");
    EXPECT_STREQ(TAVONOTIFY_TranslateEventKind(1222), "TAVOAUDIO_CURSOR_GEOMETRY_CHANGED");
    EXPECT_STREQ(TAVONOTIFY_TranslateEventKind(TAVOAUDIO_WAS_CHANGED), "TAVOAUDIO_WAS_CHANGED");
    EXPECT_STREQ(TAVONOTIFY_TranslateEventKind(TAVOEVENT_PROCESS_CANCELED), "TAVOEVENT_PROCESS_CANCELED");
    // libaudiosig names its own kinds.
    EXPECT_STREQ(TAVONOTIFY_TranslateEventKind(AUDIO_NOTIFY_READ_STARTED),
                 AUDIONOTIFY_TranslateEventKind(AUDIO_NOTIFY_READ_STARTED));
    EXPECT_NE(TAVONOTIFY_TranslateEventKind(AUDIO_NOTIFY_READ_STARTED), nullptr);
    // Every kind of the library has a distinct name of its family.
    for (int32_t kind = TAVOEVENT_FIRST_KIND; kind <= TAVOEVENT_LAST_KIND; ++kind) {
        const char *name = TAVONOTIFY_TranslateEventKind(kind);
        ASSERT_NE(name, nullptr) << kind;
        EXPECT_EQ(std::string(name).rfind("TAVO", 0), 0u) << kind;
        if (kind > TAVOEVENT_FIRST_KIND) {
            EXPECT_STRNE(name, TAVONOTIFY_TranslateEventKind(kind - 1));
        }
    }
}

int32_t countKinds(void *userData, const BLNOTIFY_EVENT *event)
{
    auto *counts = static_cast<std::vector<int32_t> *>(userData);
    counts->push_back(event->kind);
    return 1;
}

int countOf(const std::vector<int32_t> &kinds, int32_t kind)
{
    return static_cast<int>(std::count(kinds.begin(), kinds.end(), kind));
}

class TavoEvents : public ::testing::Test {
protected:
    TAVOAUDIO doc = tavotest::MakeSineDocument(8000, 1, 0.5);
    std::vector<int32_t> kinds;
    ~TavoEvents() override { TAVOAUDIO_Close(doc); }
};

TEST_F(TavoEvents, HandlersAreAddedOnceAndRemovedOnce)
{
    ASSERT_NE(doc, nullptr);
    EXPECT_FALSE(TAVOAUDIO_AddEventHandler(nullptr, TAVOAUDIO_WAS_CHANGED, countKinds, &kinds));
    EXPECT_EQ(TAVOAUDIO_Dispatcher(nullptr), nullptr);
    ASSERT_NE(TAVOAUDIO_Dispatcher(doc), nullptr);

    ASSERT_TRUE(TAVOAUDIO_AddEventHandler(doc, TAVOAUDIO_WAS_CHANGED, countKinds, &kinds));
    EXPECT_FALSE(TAVOAUDIO_AddEventHandler(doc, TAVOAUDIO_WAS_CHANGED, countKinds, &kinds));
    BLNOTIFY_DispatcherSendEventEx(TAVOAUDIO_Dispatcher(doc), 0, TAVOAUDIO_WAS_CHANGED, nullptr, nullptr, nullptr);
    BLNOTIFY_DispatcherSendEventEx(TAVOAUDIO_Dispatcher(doc), 0, TAVOAUDIO_NEEDREDRAW, nullptr, nullptr, nullptr);
    EXPECT_EQ(kinds, std::vector<int32_t>{TAVOAUDIO_WAS_CHANGED});

    EXPECT_TRUE(TAVOAUDIO_DelEventHandler(doc, TAVOAUDIO_WAS_CHANGED, countKinds, &kinds));
    EXPECT_FALSE(TAVOAUDIO_DelEventHandler(doc, TAVOAUDIO_WAS_CHANGED, countKinds, &kinds));
    EXPECT_FALSE(TAVOAUDIO_DelEventHandler(nullptr, TAVOAUDIO_WAS_CHANGED, countKinds, &kinds));
}

std::string labelOf(AUDIOSIGNAL signal, int32_t index)
{
    const char *label = AUDIOREGIONTRACK_GetLabel(AUDIOSIGNAL_GetRegionTrack(signal, index));
    return label != nullptr ? label : "";
}

// A rename asked of the signal becomes one undo step labelled "Rename Track"
// that puts the old label back; a rename to the current label is no change.
TEST_F(TavoEvents, TrackRenameIsOneUndoStep)
{
    ASSERT_NE(doc, nullptr);
    AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(doc);
    ASSERT_NE(signal, nullptr);
    const std::string before = labelOf(signal, 0);
    ASSERT_NE(before, "Words");
    ASSERT_TRUE(TAVOAUDIO_AddEventHandler(doc, BLNOTIFY_ANY_KIND, countKinds, &kinds));
    const int32_t steps = TAVOUNDO_CountUndoScripts(doc);

    ASSERT_TRUE(AUDIOSIGNAL_RenameRegionTrack(signal, 0, "Words"));
    EXPECT_EQ(labelOf(signal, 0), "Words");
    EXPECT_GE(countOf(kinds, TAVOAUDIO_WAS_CHANGED), 1);
    ASSERT_EQ(TAVOUNDO_CountUndoScripts(doc), steps + 1);
    EXPECT_STREQ(TAVOUNDO_GetUndoLabel(TAVOUNDO_NextUndoScript(doc)), "Rename Track");

    kinds.clear();
    EXPECT_TRUE(AUDIOSIGNAL_RenameRegionTrack(signal, 0, "Words"));
    EXPECT_EQ(countOf(kinds, TAVOAUDIO_WAS_CHANGED), 0);
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), steps + 1);

    // Running the step restores the label the track had.
    TAVOUNDOSCRIPT script = TAVOUNDO_PopUndoScript(doc);
    ASSERT_NE(script, nullptr);
    ASSERT_TRUE(TAVOAUDIO_GetWriteAccessEx(doc, false));
    EXPECT_TRUE(TAVOUNDO_ExecuteUndoScript(doc, script));
    TAVOAUDIO_ReleaseWriteAccess(doc);
    TAVOUNDO_DestroyUndoScript(doc, script);
    EXPECT_EQ(labelOf(TAVOAUDIO_GetAudioSignal(doc), 0), before);
}

TEST_F(TavoEvents, CallbackKindsOtherThanRenameAreOnlyNews)
{
    ASSERT_NE(doc, nullptr);
    AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(doc);
    const int32_t steps = TAVOUNDO_CountUndoScripts(doc);
    // The parent answers yes to what it does not handle...
    EXPECT_TRUE(AUDIOSIGNAL_CallParent(signal, 5, nullptr, nullptr));
    // ...and no to a rename of a track the signal does not have.
    EXPECT_FALSE(AUDIOSIGNAL_CallParent(signal, 111, const_cast<char *>("no-such-track"),
                                        const_cast<char *>("x")));
    EXPECT_EQ(TAVOUNDO_CountUndoScripts(doc), steps);
}

}  // namespace
