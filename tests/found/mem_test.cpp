#include <blmem.h>
#include <blstring.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <set>
#include <vector>

namespace {

class BlMemPool : public ::testing::Test {
protected:
    BLMEM_DESCR pool = BLMEM_CreateMemDescrEx("test pool", 4096, BLMEM_FLAG_TRACK_PEAK);
    ~BlMemPool() override { BLMEM_DisposeMemDescr(pool); }
};

TEST_F(BlMemPool, AllocationsAreZeroedAlignedAndDistinct)
{
    std::set<uintptr_t> seen;
    for (size_t size : {1u, 7u, 16u, 100u, 1000u, 5000u, 70000u}) {
        auto *p = static_cast<unsigned char *>(BLMEM_NewEx(pool, size, 0));
        ASSERT_NE(p, nullptr) << size;
        EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 16, 0u);
        for (size_t i = 0; i < size; ++i) ASSERT_EQ(p[i], 0) << size << " at " << i;
        std::memset(p, 0xab, size);  // overwriting must not disturb neighbours
        EXPECT_TRUE(seen.insert(reinterpret_cast<uintptr_t>(p)).second);
    }
    EXPECT_EQ(BLMEM_CountAllocations(pool), 7u);
}

TEST_F(BlMemPool, DeletedChunksAreRecycledZeroed)
{
    auto *a = static_cast<char *>(BLMEM_NewEx(pool, 40, 0));
    std::memset(a, 0x5a, 40);
    ASSERT_TRUE(BLMEM_Delete(pool, a));
    auto *b = static_cast<char *>(BLMEM_NewEx(pool, 40, 0));
    EXPECT_EQ(a, b);
    for (int i = 0; i < 40; ++i) ASSERT_EQ(b[i], 0);
}

TEST_F(BlMemPool, SizeCountsRealBytesAndLargeDeletesGiveThemBack)
{
    EXPECT_EQ(BLMEM_SizeInMemory(pool), 0u);
    void *small = BLMEM_NewEx(pool, 32, 0);
    ASSERT_NE(small, nullptr);
    EXPECT_EQ(BLMEM_SizeInMemory(pool), 4096u);  // one block
    void *large = BLMEM_NewEx(pool, 1 << 20, 0);
    ASSERT_NE(large, nullptr);
    const uint64_t withLarge = BLMEM_SizeInMemory(pool);
    EXPECT_GE(withLarge, 4096u + (1u << 20));
    EXPECT_LT(withLarge, 4096u + (1u << 20) + 256u);
    ASSERT_TRUE(BLMEM_Delete(pool, large));
    EXPECT_EQ(BLMEM_SizeInMemory(pool), 4096u);
    EXPECT_GE(BLMEM_PeakSizeInMemory(pool), withLarge);
}

TEST_F(BlMemPool, ResetFreesEverythingAndThePoolStaysUsable)
{
    for (int i = 0; i < 1000; ++i) ASSERT_NE(BLMEM_NewEx(pool, 64 + i % 900, 0), nullptr);
    EXPECT_GT(BLMEM_SizeInMemory(pool), 0u);
    ASSERT_TRUE(BLMEM_ResetMemSpace(pool));
    EXPECT_EQ(BLMEM_SizeInMemory(pool), 0u);
    EXPECT_EQ(BLMEM_CountAllocations(pool), 0u);
    EXPECT_NE(BLMEM_NewEx(pool, 10, 0), nullptr);
}

TEST_F(BlMemPool, DeleteRefusesForeignAndRepeatedPointers)
{
    BLMEM_DESCR other = BLMEM_CreateMemDescrEx("other", 0, 0);
    void *mine = BLMEM_NewEx(pool, 24, 0);
    void *theirs = BLMEM_NewEx(other, 24, 0);
    EXPECT_FALSE(BLMEM_Delete(pool, theirs));
    EXPECT_EQ(BLMEM_CountAllocations(other), 1u);
    EXPECT_TRUE(BLMEM_Delete(pool, mine));
    EXPECT_FALSE(BLMEM_Delete(pool, mine));  // second delete
    EXPECT_EQ(BLMEM_CountAllocations(pool), 0u);
    BLMEM_DisposeMemDescr(other);
}

TEST_F(BlMemPool, InjectedFaultFailsExactlyTheNthAllocation)
{
    BLMEM_SetFailCountdown(2);
    EXPECT_NE(BLMEM_NewEx(pool, 8, 0), nullptr);
    EXPECT_NE(BLMEM_NewEx(pool, 8, 0), nullptr);
    EXPECT_EQ(BLMEM_NewEx(pool, 8, 0), nullptr);
    EXPECT_NE(BLMEM_NewEx(pool, 8, 0), nullptr);  // the countdown switched itself off
    // A failed allocation leaves the pool as it was.
    EXPECT_EQ(BLMEM_CountAllocations(pool), 3u);
    // BLSTRING_DuplicateString reports the injected fault too.
    BLMEM_SetFailCountdown(0);
    EXPECT_EQ(BLSTRING_DuplicateString(pool, "text"), nullptr);
}

TEST(BlMemHandles, NullPoolAnswersFailureValues)
{
    int dummy = 0;
    EXPECT_EQ(BLMEM_NewEx(nullptr, 8, 0), nullptr);
    EXPECT_FALSE(BLMEM_Delete(nullptr, &dummy));
    EXPECT_FALSE(BLMEM_ResetMemSpace(nullptr));
    EXPECT_FALSE(BLMEM_DisposeMemDescr(nullptr));
    EXPECT_EQ(BLMEM_SizeInMemory(nullptr), 0u);
    EXPECT_EQ(BLMEM_CountAllocations(nullptr), 0u);
    EXPECT_STREQ(BLMEM_Name(nullptr), "");
}

} // namespace
