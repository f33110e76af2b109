// selection_concurrency.cpp: selection changes against a document whose
// write lock another thread holds. A change tries the lock a bounded number
// of times and gives up with the list unchanged; it succeeds once the lock
// is free again. Runs under ThreadSanitizer in CI.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "blthread.h"
#include "document_fixture.h"
#include "tavoaudio.h"
#include "tavoselection.h"

namespace {

TEST(TavoSelectionConcurrency, ChangeGivesUpWhileAnotherThreadWritesThenSucceeds)
{
    TAVOAUDIO doc = tavotest::MakeSineDocument(1000, 1, 2.0);
    ASSERT_NE(doc, nullptr);
    ASSERT_EQ(TAVOAUDIO_AddSelectionEx(doc, 100, 200, -1, 1), 1);

    std::atomic<bool> locked{false}, release{false};
    std::thread holder([&] {
        if (!TAVOAUDIO_GetWriteAccessEx(doc, false)) return;
        locked = true;
        while (!release) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        TAVOAUDIO_ReleaseWriteAccess(doc);
    });
    while (!locked) std::this_thread::sleep_for(std::chrono::milliseconds(1));

    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(TAVOAUDIO_AddSelectionEx(doc, 500, 600, -1, 1), 0);
    EXPECT_EQ(TAVOAUDIO_DelSelection(doc, 0, 2000), 0);
    EXPECT_EQ(TAVOAUDIO_ClearSelectionEx2(doc, nullptr, 5), 0);
    EXPECT_EQ(TAVOAUDIO_UpdateSelecting(doc, 10, 20), 0);
    // Four tries 1 ms apart each: far below a second even on a loaded machine.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));

    release = true;
    holder.join();
    EXPECT_EQ(TAVOAUDIO_CountSelections(doc), 1);
    EXPECT_EQ(TAVOAUDIO_SelectionBegin(doc), 100);
    EXPECT_EQ(TAVOAUDIO_SelectionEnd(doc), 200);

    ASSERT_EQ(TAVOAUDIO_AddSelectionEx(doc, 500, 600, -1, 1), 1);
    EXPECT_EQ(TAVOAUDIO_CountSelections(doc), 2);
    EXPECT_TRUE(TAVOAUDIO_Close(doc));
}

TEST(TavoSelectionConcurrency, BandMovedFromAWorkerNotifiesOnTheMainThread)
{
    TAVOAUDIO doc = tavotest::MakeSineDocument(1000, 1, 2.0);
    ASSERT_NE(doc, nullptr);
    BLTHREAD_ProcessMainThreadQueue();
    std::thread worker([&] { EXPECT_EQ(TAVOAUDIO_UpdateSelecting(doc, 100, 300), 1); });
    worker.join();
    EXPECT_GE(BLTHREAD_PendingMainThreadCalls(), 1);
    EXPECT_GE(BLTHREAD_ProcessMainThreadQueue(), 1);
    EXPECT_EQ(TAVOAUDIO_GetSelectingLength(doc), 200);
    EXPECT_TRUE(TAVOAUDIO_Close(doc));
}

}  // namespace
