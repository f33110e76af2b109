// lifecycle_test.cpp: naming, change state, closing (veto, re-entrance,
// modes) and the handle abuse of the document's lifecycle members.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

#include "../../frame/document_p.h"
#include "../../view/state_p.h"
#include "blregister.h"
#include "document_fixture.h"
#include "document_helpers.h"
#include "tavoaudio.h"
#include "tavonotify.h"
#include "tavostate.h"

namespace {

// The number a new document's name carries: 0 for "empty", N for
// "untitled #N", -1 for anything else.
int NameNumber(TAVOAUDIO audio)
{
    const char *name = TAVOAUDIO_GetFileName(audio);
    if (name == nullptr) return -1;
    if (std::strcmp(name, "empty") == 0) return 0;
    int number = -1;
    if (std::sscanf(name, "untitled #%d", &number) != 1) return -1;
    return number;
}

TEST(TavoAudioNaming, NumbersFollowEachCreationAlsoAcrossCloses)
{
    // Other tests of this program create documents too, so only the steps
    // between consecutive creations are known: one each.
    TAVOAUDIO first = TAVOAUDIO_New("AUTO[sr=8000,nc=1]");
    ASSERT_NE(first, nullptr);
    const int base = NameNumber(first);
    ASSERT_GE(base, 0) << TAVOAUDIO_GetFileName(first);
    ASSERT_TRUE(TAVOAUDIO_Close(first));

    TAVOAUDIO second = TAVOAUDIO_New("AUTO[sr=8000,nc=1]");
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(std::string(TAVOAUDIO_GetFileName(second)), "untitled #" + std::to_string(base + 1));
    TAVOAUDIO third = tavotest::MakeSineDocument(8000, 1, 0.1);
    ASSERT_NE(third, nullptr);
    EXPECT_EQ(NameNumber(third), base + 2);
    EXPECT_TRUE(TAVOAUDIO_Close(second));
    EXPECT_TRUE(TAVOAUDIO_Close(third));

    TAVOAUDIO fourth = TAVOAUDIO_New("AUTO[sr=8000,nc=1]");
    EXPECT_EQ(NameNumber(fourth), base + 3);
    EXPECT_TRUE(TAVOAUDIO_Close(fourth));
}

TEST(TavoAudioChanges, NewIsUnchangedAndFromSignalIsChanged)
{
    TAVOAUDIO fresh = TAVOAUDIO_New("AUTO[sr=8000,nc=1]");
    TAVOAUDIO taken = tavotest::MakeSineDocument(8000, 1, 0.1);
    ASSERT_NE(fresh, nullptr);
    ASSERT_NE(taken, nullptr);
    EXPECT_FALSE(TAVOAUDIO_HasChanges(fresh));
    EXPECT_NE(TAVOAUDIO_ChangeStamp(fresh), 0u);
    EXPECT_TRUE(TAVOAUDIO_HasChanges(taken));
    EXPECT_EQ(TAVOAUDIO_ChangeStamp(taken), 0u);

    // An edit of the signal makes the new document changed; a reset does too.
    const float silence[1] = {0.0f};
    ASSERT_TRUE(AUDIOSIGNAL_AppendSamples(TAVOAUDIO_GetAudioSignal(fresh), silence, 1));
    EXPECT_TRUE(TAVOAUDIO_HasChanges(fresh));
    TAVOAUDIO_SetChangeStamp(fresh, AUDIOSIGNAL_GetTimeStamp(TAVOAUDIO_GetAudioSignal(fresh), 0));
    EXPECT_FALSE(TAVOAUDIO_HasChanges(fresh));
    EXPECT_TRUE(TAVOAUDIO_ResetEx(fresh, 0x40));
    EXPECT_TRUE(TAVOAUDIO_HasChanges(fresh));
    EXPECT_TRUE(TAVOAUDIO_IsRecovered(fresh));

    EXPECT_TRUE(TAVOAUDIO_Close(fresh));
    EXPECT_TRUE(TAVOAUDIO_Close(taken));
}

TEST(TavoAudioClose, HandlerMustAnswerExactlyOneToCloseAChangedFile)
{
    TAVOAUDIO doc = tavotest::MakeSineDocument(8000, 1, 0.1);
    ASSERT_NE(doc, nullptr);
    TAVOAUDIO_GetState(doc)->fileFlags |= 0x2;
    doctest::EventLog log;
    ASSERT_TRUE(TAVOAUDIO_AddEventHandler(doc, TAVOAUDIO_CLOSE_CHANGED_FILE, doctest::EventLog::Handler, &log));

    for (int32_t refusal : {0, 2}) {
        log.answer = refusal;
        EXPECT_FALSE(TAVOAUDIO_Close(doc)) << refusal;
        EXPECT_TRUE(TAVOAUDIO_IsValid(doc));
        EXPECT_NE(TAVOAUDIO_GetAudioSignal(doc), nullptr);
    }
    EXPECT_FALSE(TAVOAUDIO_CloseEx(doc, 0));
    EXPECT_EQ(log.count(TAVOAUDIO_CLOSE_CHANGED_FILE), 3);
    EXPECT_EQ(log.firstArgs.front(), static_cast<void *>(doc));

    const int32_t before = BLREGISTER_CountObjects("LPTAVOAUDIO");
    log.answer = 1;
    EXPECT_TRUE(TAVOAUDIO_Close(doc));
    EXPECT_EQ(BLREGISTER_CountObjects("LPTAVOAUDIO"), before - 1);
}

TEST(TavoAudioClose, CloseArrivingDuringTheTeardownDoesNothing)
{
    TAVOAUDIO doc = tavotest::MakeSineDocument(8000, 1, 0.1);
    ASSERT_NE(doc, nullptr);
    ASSERT_TRUE(BLREGISTER_HasObject(doc));
    const int32_t before = BLREGISTER_CountObjects("LPTAVOAUDIO");

    // Holding the write lock parks the teardown of the other thread right
    // after it left the registry, with the closing mark set.
    ASSERT_TRUE(TAVOAUDIO_GetWriteAccessEx(doc, false));
    std::atomic<bool> closed{false};
    std::thread closer([&] { closed = TAVOAUDIO_Close(doc); });
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (BLREGISTER_HasObject(doc) && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    ASSERT_FALSE(BLREGISTER_HasObject(doc));

    // What the object registry's destroy function would do at this moment.
    EXPECT_TRUE(TAVOAUDIO_Close(doc));
    EXPECT_TRUE(TAVOAUDIO_IsValid(doc));   // nothing torn down by the second close
    EXPECT_NE(TAVOAUDIO_GetAudioSignal(doc), nullptr);
    EXPECT_FALSE(closed.load());

    ASSERT_TRUE(TAVOAUDIO_ReleaseWriteAccess(doc));
    closer.join();
    EXPECT_TRUE(closed.load());
    EXPECT_EQ(BLREGISTER_CountObjects("LPTAVOAUDIO"), before - 1);
}

TEST(TavoAudioClose, OnlyModesZeroAndOneExistAndOneNeedsAFileOfItsOwn)
{
    TAVOAUDIO doc = tavotest::MakeSineDocument(8000, 1, 0.1);
    ASSERT_NE(doc, nullptr);
    EXPECT_FALSE(TAVOAUDIO_CloseEx(doc, 2));
    EXPECT_FALSE(TAVOAUDIO_CloseEx(doc, -1));
    EXPECT_TRUE(TAVOAUDIO_IsOpen(doc));
    // A document made from a signal has no file to stay linked to.
    EXPECT_FALSE(TAVOAUDIO_CloseEx(doc, 1));
    EXPECT_TRUE(TAVOAUDIO_IsOpen(doc));
    EXPECT_FALSE(TAVOAUDIO_IsLink(doc));
    EXPECT_TRUE(TAVOAUDIO_CloseEx(doc, 0));
}

// Every lifecycle member, run on a null handle and on a document whose
// state is marked invalid, fails quietly.
TEST(TavoAudioHandleAbuse, NullAndInvalidatedDocumentsFailQuietly)
{
    struct Row {
        const char *name;
        bool (*call)(TAVOAUDIO);
    };
    static char buffer[128];
    const Row rows[] = {
        {"IsValid", [](TAVOAUDIO a) { return TAVOAUDIO_IsValid(a); }},
        {"IsOpen", [](TAVOAUDIO a) { return TAVOAUDIO_IsOpen(a); }},
        {"IsLink", [](TAVOAUDIO a) { return TAVOAUDIO_IsLink(a); }},
        {"IsUnresolvedLink", [](TAVOAUDIO a) { return TAVOAUDIO_IsUnresolvedLink(a); }},
        {"IsRecovered", [](TAVOAUDIO a) { return TAVOAUDIO_IsRecovered(a); }},
        {"IsEditable", [](TAVOAUDIO a) { return TAVOAUDIO_IsEditable(a); }},
        {"GetFileName", [](TAVOAUDIO a) { return TAVOAUDIO_GetFileName(a) != nullptr; }},
        {"GetDisplayName", [](TAVOAUDIO a) { return TAVOAUDIO_GetDisplayName(a) != nullptr; }},
        {"GetFileFormatString", [](TAVOAUDIO a) { return TAVOAUDIO_GetFileFormatString(a) != nullptr; }},
        {"SetRealFileName", [](TAVOAUDIO a) { return TAVOAUDIO_SetRealFileName(a, "x.wav"); }},
        {"SetFileFormat", [](TAVOAUDIO a) { return TAVOAUDIO_SetFileFormat(a, "WAV"); }},
        {"Reset", [](TAVOAUDIO a) { return TAVOAUDIO_Reset(a); }},
        {"ResetEx", [](TAVOAUDIO a) { return TAVOAUDIO_ResetEx(a, 0x40); }},
        {"GetAudioSignal", [](TAVOAUDIO a) { return TAVOAUDIO_GetAudioSignal(a) != nullptr; }},
        {"SetAudioSignal", [](TAVOAUDIO a) { return TAVOAUDIO_SetAudioSignal(a, nullptr) != nullptr; }},
        {"ChangeStamp", [](TAVOAUDIO a) { return TAVOAUDIO_ChangeStamp(a) != 0; }},
        {"SetChangeStamp", [](TAVOAUDIO a) { return TAVOAUDIO_SetChangeStamp(a, 1); }},
        {"HasChanges", [](TAVOAUDIO a) { return TAVOAUDIO_HasChanges(a); }},
        {"GetReadAccessEx", [](TAVOAUDIO a) { return TAVOAUDIO_GetReadAccessEx(a, true); }},
        {"ReleaseReadAccess", [](TAVOAUDIO a) { return TAVOAUDIO_ReleaseReadAccess(a); }},
        {"HasReadAccess", [](TAVOAUDIO a) { return TAVOAUDIO_HasReadAccess(a); }},
        {"GetWriteAccessEx", [](TAVOAUDIO a) { return TAVOAUDIO_GetWriteAccessEx(a, true); }},
        {"ReleaseWriteAccess", [](TAVOAUDIO a) { return TAVOAUDIO_ReleaseWriteAccess(a); }},
        {"GetEditAccessEx", [](TAVOAUDIO a) { return TAVOAUDIO_GetEditAccessEx(a, true); }},
        {"ReleaseEditAccess", [](TAVOAUDIO a) { return TAVOAUDIO_ReleaseEditAccess(a); }},
        {"IsEditing", [](TAVOAUDIO a) { return TAVOAUDIO_IsEditing(a); }},
        {"GetSelectionWriteAccess", [](TAVOAUDIO a) { return TAVOAUDIO_GetSelectionWriteAccess(a); }},
        {"ReleaseSelectionWriteAccessEx",
         [](TAVOAUDIO a) { return TAVOAUDIO_ReleaseSelectionWriteAccessEx(a, true, 1); }},
        {"SaveEx", [](TAVOAUDIO a) { return TAVOAUDIO_SaveEx(a, 0); }},
        {"SaveAsEx", [](TAVOAUDIO a) { return TAVOAUDIO_SaveAsEx(a, "/tmp/never-written.wav", "WAV", 0); }},
        {"RevertToSaved", [](TAVOAUDIO a) { return TAVOAUDIO_RevertToSaved(a); }},
        {"RenameEx", [](TAVOAUDIO a) { return TAVOAUDIO_RenameEx(a, "/tmp/never-renamed.wav", 0); }},
        {"OpenLinkEx", [](TAVOAUDIO a) { return TAVOAUDIO_OpenLinkEx(a, nullptr, 0); }},
        {"Link", [](TAVOAUDIO a) { return TAVOAUDIO_Link(a, "/tmp/x.wav", "AUTO"); }},
        {"FileChangedExternally", [](TAVOAUDIO a) { return TAVOAUDIO_FileChangedExternally(a); }},
        {"AcceptExternalChange", [](TAVOAUDIO a) { return TAVOAUDIO_AcceptExternalChange(a); }},
        {"GetExternalChangeStamps",
         [](TAVOAUDIO a) { return TAVOAUDIO_GetExternalChangeStamps(a, buffer, sizeof(buffer)); }},
        {"CloseEx1", [](TAVOAUDIO a) { return TAVOAUDIO_CloseEx(a, 1); }},
    };

    for (const Row &row : rows) EXPECT_FALSE(row.call(nullptr)) << row.name;
    EXPECT_FALSE(TAVOAUDIO_Close(nullptr));
    EXPECT_FALSE(TAVOAUDIO_CloseEx(nullptr, 0));
    EXPECT_EQ(TAVOAUDIO_NewFromSignalEx(nullptr, true, 0), nullptr);
    EXPECT_EQ(TAVOAUDIO_New("AUTO[nc=99]"), nullptr);
    EXPECT_EQ(TAVOAUDIO_OpenEx(nullptr, "AUTO", 0), nullptr);
    EXPECT_EQ(TAVOAUDIO_OpenEx("/tmp/x.wav", nullptr, 0), nullptr);

    TAVOAUDIO doc = tavotest::MakeSineDocument(8000, 1, 0.1);
    ASSERT_NE(doc, nullptr);
    AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(doc);
    TavoState *state = TAVOAUDIO_GetState(doc);
    state->fileFlags |= 0x80000000u;   // the state's invalid mark
    for (const Row &row : rows) EXPECT_FALSE(row.call(doc)) << row.name << " (invalidated)";
    state->fileFlags &= ~0x80000000u;
    // Nothing was lost on the way.
    EXPECT_EQ(TAVOAUDIO_GetAudioSignal(doc), signal);
    EXPECT_TRUE(TAVOAUDIO_Close(doc));
}

} // namespace
