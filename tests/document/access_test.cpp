// access_test.cpp: edit access on documents that are not editable, and the
// bounded, nesting selection write access with its single notification.
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>

#include "../../frame/document_p.h"
#include "../../view/state_p.h"
#include "document_fixture.h"
#include "document_helpers.h"
#include "tavoaudio.h"
#include "tavonotify.h"
#include "tavostate.h"

namespace {

// Whether another thread could take the write lock at once right now.
bool OtherThreadCanWrite(TAVOAUDIO doc)
{
    return std::async(std::launch::async, [doc] {
               const bool got = TAVOAUDIO_GetWriteAccessEx(doc, true);
               if (got) TAVOAUDIO_ReleaseWriteAccess(doc);
               return got;
           }).get();
}

class TavoAudioAccess : public ::testing::Test {
protected:
    TAVOAUDIO doc = tavotest::MakeSineDocument(8000, 1, 0.5);
    ~TavoAudioAccess() override { TAVOAUDIO_Close(doc); }
};

TEST_F(TavoAudioAccess, EditAccessRefusesADocumentThatIsNotEditableUnlessForced)
{
    ASSERT_NE(doc, nullptr);
    doc->flags &= ~TAVOAUDIO_FLAG_EDITABLE;
    EXPECT_FALSE(TAVOAUDIO_GetEditAccessEx(doc, false));
    EXPECT_FALSE(TAVOAUDIO_IsEditing(doc));
    EXPECT_TRUE(OtherThreadCanWrite(doc));   // the refusal locked nothing

    ASSERT_TRUE(TAVOAUDIO_GetEditAccessEx(doc, true));
    EXPECT_TRUE(TAVOAUDIO_IsEditing(doc));
    EXPECT_FALSE(OtherThreadCanWrite(doc));
    // The holder may nest a second edit access.
    ASSERT_TRUE(TAVOAUDIO_GetEditAccessEx(doc, true));
    EXPECT_TRUE(TAVOAUDIO_ReleaseEditAccess(doc));
    EXPECT_TRUE(TAVOAUDIO_IsEditing(doc));
    EXPECT_TRUE(TAVOAUDIO_ReleaseEditAccess(doc));
    EXPECT_FALSE(TAVOAUDIO_IsEditing(doc));
    EXPECT_TRUE(OtherThreadCanWrite(doc));
}

TEST_F(TavoAudioAccess, NestedSelectionAccessNotifiesOnceWithTheUnionAfterTheLastRelease)
{
    ASSERT_NE(doc, nullptr);
    doctest::EventLog log;
    ASSERT_TRUE(TAVOAUDIO_AddEventHandler(doc, TAVOAUDIO_NEEDREDRAW, doctest::EventLog::Handler, &log));
    bool lockFreeInHandler = false;
    struct Probe {
        TAVOAUDIO doc;
        bool *free;
        static int32_t Handler(void *userData, const BLNOTIFY_EVENT *)
        {
            auto *probe = static_cast<Probe *>(userData);
            *probe->free = OtherThreadCanWrite(probe->doc);
            return 1;
        }
    } probe{doc, &lockFreeInHandler};
    ASSERT_TRUE(TAVOAUDIO_AddEventHandler(doc, TAVOAUDIO_NEEDREDRAW, Probe::Handler, &probe));
    TAVOSTATE_ResetVisualChanges(TAVOAUDIO_GetState(doc));

    ASSERT_TRUE(TAVOAUDIO_GetSelectionWriteAccess(doc));
    ASSERT_TRUE(TAVOAUDIO_GetSelectionWriteAccess(doc));
    EXPECT_TRUE(TAVOAUDIO_ReleaseSelectionWriteAccessEx(doc, true, 0x1));
    EXPECT_EQ(log.count(TAVOAUDIO_NEEDREDRAW), 0);
    EXPECT_FALSE(OtherThreadCanWrite(doc));
    EXPECT_TRUE(TAVOAUDIO_ReleaseSelectionWriteAccessEx(doc, true, 0x2));
    EXPECT_EQ(log.count(TAVOAUDIO_NEEDREDRAW), 1);
    EXPECT_EQ(TAVOSTATE_ChangeBits(TAVOAUDIO_GetState(doc)) & 0x3u, 0x3u);
    EXPECT_TRUE(lockFreeInHandler);

    // Without access there is nothing to release; without `notify` nothing
    // is sent.
    EXPECT_FALSE(TAVOAUDIO_ReleaseSelectionWriteAccessEx(doc, true, 0x4));
    ASSERT_TRUE(TAVOAUDIO_GetSelectionWriteAccess(doc));
    EXPECT_TRUE(TAVOAUDIO_ReleaseSelectionWriteAccessEx(doc, false, 0x4));
    EXPECT_EQ(log.count(TAVOAUDIO_NEEDREDRAW), 1);
}

TEST_F(TavoAudioAccess, SelectionAccessGivesUpWhileAnotherThreadWrites)
{
    ASSERT_NE(doc, nullptr);
    std::promise<void> locked;
    std::promise<void> done;
    std::thread writer([&] {
        TAVOAUDIO_GetWriteAccessEx(doc, false);
        locked.set_value();
        done.get_future().wait();
        TAVOAUDIO_ReleaseWriteAccess(doc);
    });
    locked.get_future().wait();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(TAVOAUDIO_GetSelectionWriteAccess(doc));
    // Three sleeps of at least 1 ms lie between the four tries.
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(3));
    EXPECT_FALSE(TAVOAUDIO_GetReadAccessEx(doc, true));
    done.set_value();
    writer.join();
    EXPECT_TRUE(TAVOAUDIO_GetSelectionWriteAccess(doc));
    EXPECT_TRUE(TAVOAUDIO_ReleaseSelectionWriteAccessEx(doc, false, 0));
}

} // namespace
