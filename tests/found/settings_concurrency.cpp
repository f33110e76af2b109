// Settings store under several threads: reads, changes, registrations,
// resets and saves at once, and the global store's first use racing.
#include <blsettings.h>

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr int kThreads = 6;
constexpr int kRounds = 400;

TEST(BlSettingsConcurrency, ReadersWritersAndSaversShareAStore)
{
    const fs::path folder = fs::temp_directory_path() / ("blsettings-mt-" + std::to_string(getpid()));
    const std::string path = (folder / "settings.conf").string();
    BLSETTINGS store = BLSETTINGS_Create(path.c_str());
    ASSERT_NE(store, nullptr);
    ASSERT_TRUE(BLSETTINGS_SetDefaultEx(store, "shared.value=%d", -1));

    std::atomic<int> badReads{0};
    std::atomic<int> failedCalls{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kRounds; ++i) {
                // Every value ever stored under shared.value is -1 or in
                // [0, kThreads * kRounds): anything else is a torn read.
                const int64_t seen = BLSETTINGS_GetIntEx(store, "shared.value=[%d]", -2);
                if (seen < -1 || seen >= kThreads * kRounds) ++badReads;
                if (!BLSETTINGS_ChangeEx(store, "shared.value=%d", t * kRounds + i)) ++failedCalls;
                if (!BLSETTINGS_SetDefaultEx(store, "thread.%02d.default=%d", t, i)) ++failedCalls;
                if (!BLSETTINGS_ChangeEx(store, "thread.%02d.round=%d", t, i)) ++failedCalls;
                if (BLSETTINGS_GetIntEx(store, "thread.%02d.round", t) != i) ++badReads;
                char text[64];
                if (!BLSETTINGS_GetStringEx(store, text, sizeof text, "thread.%02d.default", t)) ++failedCalls;
                if (i % 50 == 0 && !BLSETTINGS_Save(store)) ++failedCalls;
                if (i % 7 == 0 && !BLSETTINGS_ResetEx(store, "shared.value")) ++failedCalls;
                BLSETTINGS_ExistsEx(store, "shared.value");
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(badReads.load(), 0);
    EXPECT_EQ(failedCalls.load(), 0);
    for (int t = 0; t < kThreads; ++t) {
        EXPECT_EQ(BLSETTINGS_GetIntEx(store, "thread.%02d.round", t), kRounds - 1);
        EXPECT_EQ(BLSETTINGS_GetIntEx(store, "thread.%02d.default", t), kRounds - 1);
    }
    ASSERT_TRUE(BLSETTINGS_Destroy(store));

    BLSETTINGS reread = BLSETTINGS_Create(path.c_str());
    ASSERT_NE(reread, nullptr);
    EXPECT_EQ(BLSETTINGS_GetIntEx(reread, "thread.%02d.round", kThreads - 1), kRounds - 1);
    BLSETTINGS_Destroy(reread);
    fs::remove_all(folder);
}

TEST(BlSettingsConcurrency, GlobalStoreFirstUseFromManyThreads)
{
    std::atomic<bool> go{false};
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            while (!go.load()) std::this_thread::yield();
            for (int i = 0; i < kRounds / 4; ++i) {
                if (!BLSETTINGS_SetDefaultEx(nullptr, "global.mt.%d=%d", t, i)) ++failures;
                if (!BLSETTINGS_ChangeEx(nullptr, "global.mt.value.%d=%d", t, i)) ++failures;
                if (BLSETTINGS_GetIntEx(nullptr, "global.mt.value.%d", t) != i) ++failures;
                if (!BLSETTINGS_ExistsEx(nullptr, "global.mt.%d", t)) ++failures;
            }
        });
    }
    go.store(true);
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(failures.load(), 0);
}

} // namespace
