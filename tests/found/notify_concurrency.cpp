// Sending while other threads add and remove handlers; run under
// ThreadSanitizer in CI.
#include <blmem.h>
#include <blnotify.h>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

int32_t countCall(void *counter, const BLNOTIFY_EVENT *)
{
    static_cast<std::atomic<int64_t> *>(counter)->fetch_add(1);
    return 1;
}

TEST(BlNotifyThreads, SendsRaceWithHandlerChangesSafely)
{
    BLNOTIFY_DISPATCHER dispatcher = BLNOTIFY_CreateDispatcher(nullptr);
    std::atomic<int64_t> resident{0};
    std::atomic<int64_t> transient{0};
    ASSERT_TRUE(BLNOTIFY_AddHandler(dispatcher, BLNOTIFY_ANY_KIND, &countCall, &resident));

    std::atomic<bool> stop{false};
    std::vector<std::thread> senders;
    std::atomic<int64_t> sends{0};
    for (int t = 0; t < 2; ++t) {
        senders.emplace_back([&] {
            while (!stop.load()) {
                EXPECT_EQ(BLNOTIFY_DispatcherSendEventEx(dispatcher, 0, 1107, nullptr, nullptr, nullptr), 1);
                sends.fetch_add(1);
            }
        });
    }
    for (int i = 0; i < 2000; ++i) {
        BLNOTIFY_AddHandler(dispatcher, 1107, &countCall, &transient);
        BLNOTIFY_DelHandler(dispatcher, 1107, &countCall, &transient);
    }
    stop = true;
    for (auto &sender : senders) sender.join();
    // The resident handler saw every send; the transient one never more.
    EXPECT_EQ(resident.load(), sends.load());
    EXPECT_LE(transient.load(), sends.load());
    BLNOTIFY_DestroyDispatcher(dispatcher);
}

TEST(BlMemThreads, OnePoolServesSeveralThreads)
{
    BLMEM_DESCR pool = BLMEM_CreateMemDescrEx("shared", 0, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([pool, t] {
            std::vector<void *> mine;
            for (int i = 0; i < 5000; ++i) {
                auto *p = static_cast<int *>(BLMEM_NewEx(pool, 16 + (i % 7) * 24, 0));
                ASSERT_NE(p, nullptr);
                ASSERT_EQ(*p, 0);
                *p = t;
                mine.push_back(p);
                if (i % 3 == 0) {
                    EXPECT_TRUE(BLMEM_Delete(pool, mine.back()));
                    mine.pop_back();
                }
            }
            for (void *p : mine) EXPECT_EQ(*static_cast<int *>(p), t);
        });
    }
    for (auto &thread : threads) thread.join();
    EXPECT_EQ(BLMEM_CountAllocations(pool), 4u * (5000u - 1667u));
    BLMEM_DisposeMemDescr(pool);
}

} // namespace
