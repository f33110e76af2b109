// The last-error slot, the translation of libaudiosig's errors and the
// memory accounting of a document.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>

#include "audioformat.h"
#include "document_fixture.h"
#include "tavoaudio.h"

namespace {

class TavoLastError : public ::testing::Test {
protected:
    TAVOAUDIO doc = tavotest::MakeSineDocument(8000, 1, 1.0);
    ~TavoLastError() override { TAVOAUDIO_Close(doc); }
};

TEST_F(TavoLastError, MessageSurvivesCodeReadsUntilReadItself)
{
    ASSERT_NE(doc, nullptr);
    static const char kText[] = "a region cannot be deleted";
    EXPECT_FALSE(TAVOAUDIO_SetErrorMessage(doc, nullptr));
    EXPECT_EQ(TAVOAUDIO_GetLastError(doc, false), 0u);   // a refused set changed nothing
    ASSERT_TRUE(TAVOAUDIO_SetErrorMessage(doc, kText));

    EXPECT_EQ(TAVOAUDIO_GetLastError(doc, true), 21u);
    EXPECT_EQ(TAVOAUDIO_GetLastError(doc, true), 21u);
    EXPECT_EQ(TAVOAUDIO_GetLastErrorMessage(doc, false), kText);   // the same pointer, not a copy
    EXPECT_EQ(TAVOAUDIO_GetLastErrorMessage(doc, true), kText);
    EXPECT_EQ(TAVOAUDIO_GetLastErrorMessage(doc, true), nullptr);
    EXPECT_EQ(TAVOAUDIO_GetLastError(doc, false), 0u);
}

TEST_F(TavoLastError, NullHandles)
{
    EXPECT_EQ(TAVOAUDIO_GetLastError(nullptr, true), 13u);
    EXPECT_EQ(TAVOAUDIO_GetLastError(nullptr, false), 13u);
    EXPECT_EQ(TAVOAUDIO_GetLastErrorMessage(nullptr, true), nullptr);
    EXPECT_FALSE(TAVOAUDIO_SetErrorMessage(nullptr, "text"));
    EXPECT_EQ(TAVOAUDIO_SizeInMemory(nullptr), 0u);
    EXPECT_FALSE(TAVOAUDIO_FreeMemory(nullptr));
}

// libaudiosig's error bits reach the host as the library's codes.
TEST(TavoErrorTranslation, SignalErrorsBecomeLibraryCodes)
{
    const std::filesystem::path folder = std::filesystem::temp_directory_path() / "tavo_frame_errors";
    std::filesystem::create_directories(folder);
    uint32_t error = 999;
    // No file there: libaudiosig's "not found" bit 0x1 is code 3.
    EXPECT_FALSE(TAVOAUDIO_CanOpenEx((folder / "missing.wav").c_str(), "AUTO", &error));
    EXPECT_EQ(error, 3u);
    // A folder cannot be opened (0x2): code 1.
    error = 999;
    EXPECT_FALSE(TAVOAUDIO_CanOpenEx(folder.c_str(), "AUTO", &error));
    EXPECT_EQ(error, 1u);
    // Bytes of no known format (0x10): code 14.
    const std::filesystem::path junk = folder / "junk.bin";
    std::ofstream(junk) << "these bytes are not audio of any kind, not even close";
    error = 999;
    EXPECT_FALSE(TAVOAUDIO_CanOpenEx(junk.c_str(), "AUTO", &error));
    EXPECT_EQ(error, 14u);
    std::filesystem::remove_all(folder);
}

TEST_F(TavoLastError, SizeCountsTheSignalAndNeverWaits)
{
    ASSERT_NE(doc, nullptr);
    TAVOAUDIO small = tavotest::MakeSineDocument(8000, 1, 0.0);
    ASSERT_NE(small, nullptr);
    // One second of samples is more than nothing, whatever the pools cost.
    EXPECT_GT(TAVOAUDIO_SizeInMemory(doc), TAVOAUDIO_SizeInMemory(small));
    EXPECT_GT(TAVOAUDIO_SizeInMemory(small), 0u);
    TAVOAUDIO_Close(small);

    // While another thread writes, the size is 0 and freeing refuses.
    std::atomic<int> stage{0};
    std::thread writer([&] {
        ASSERT_TRUE(TAVOAUDIO_GetWriteAccessEx(doc, false));
        stage = 1;
        while (stage.load() != 2) std::this_thread::yield();
        TAVOAUDIO_ReleaseWriteAccess(doc);
    });
    while (stage.load() != 1) std::this_thread::yield();
    EXPECT_EQ(TAVOAUDIO_SizeInMemory(doc), 0u);
    EXPECT_FALSE(TAVOAUDIO_FreeMemory(doc));
    stage = 2;
    writer.join();
    EXPECT_GT(TAVOAUDIO_SizeInMemory(doc), 0u);
}

TEST_F(TavoLastError, FreeMemoryUnderOwnReadLockFreesNothing)
{
    ASSERT_NE(doc, nullptr);
    ASSERT_TRUE(TAVOAUDIO_GetReadAccessEx(doc, false));
    // Taking the write lock here would deadlock: true at once instead.
    EXPECT_TRUE(TAVOAUDIO_FreeMemory(doc));
    TAVOAUDIO_ReleaseReadAccess(doc);
    EXPECT_TRUE(TAVOAUDIO_FreeMemory(doc));
    // What was dropped is rebuilt on demand: the signal still has its audio.
    EXPECT_GT(TAVOAUDIO_SizeInMemory(doc), 0u);
}

}  // namespace
