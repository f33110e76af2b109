// Memory pools.
//
// Each allocation is preceded by a 16-byte header giving its size class and
// the owning pool, so that Delete can check ownership and recycle. Small
// allocations (up to a quarter of the block size) are carved from blocks and
// kept, once deleted, on a free list per size class of 16-byte steps; large
// ones are allocated one by one and linked into a list so that Reset and
// Dispose can free them and Delete can give them back at once.
#include "blmem.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <string>
#include <vector>

namespace {

constexpr size_t kAlign = 16;
constexpr size_t kDefaultBlockSize = 64 * 1024;
constexpr size_t kMinBlockSize = 1024;
constexpr uint32_t kHeaderMagic = 0x424c4d45; // "BLME"

struct LargeNode;

// Sits right before every pointer handed out. Exactly 16 bytes, so the
// user pointer keeps the 16-byte alignment of what precedes it.
struct alignas(kAlign) AllocHeader {
    uint32_t magic;
    uint32_t sizeClass;  // 0 = large allocation, else size / kAlign
    BLMemDescr *owner;
};
static_assert(sizeof(AllocHeader) == kAlign);

struct LargeNode {
    LargeNode *prev;
    LargeNode *next;
    size_t bytes;      // bytes taken from the system for this node
    size_t pad;        // keeps the header that follows 16-byte aligned
};
static_assert(sizeof(LargeNode) % kAlign == 0);

std::atomic<int64_t> g_failCountdown{-1};

// True when this allocation must fail because a test injected a fault.
bool injectedFault()
{
    int64_t left = g_failCountdown.load();
    while (left >= 0) {
        if (g_failCountdown.compare_exchange_weak(left, left - 1)) return left == 0;
    }
    return false;
}

size_t roundUp(size_t n) { return (n + kAlign - 1) & ~(kAlign - 1); }

} // namespace

// Invariants: every byte counted in m_bytes was taken from the system by
// this pool and is freed by freeAll(); free lists hold only chunks carved
// from m_blocks; m_live counts handed-out pointers.
struct BLMemDescr {
    std::string m_name;
    size_t m_blockSize = kDefaultBlockSize;
    uint32_t m_flags = 0;

    // m_mutex guards every field below; held only for bookkeeping, never
    // while calling out.
    std::mutex m_mutex;
    std::vector<void *> m_blocks;            // carved blocks
    char *m_cursor = nullptr;                // next free byte of the last block
    size_t m_left = 0;                       // bytes left in the last block
    std::vector<AllocHeader *> m_freeLists;  // index = size class
    LargeNode *m_large = nullptr;            // doubly linked large allocations
    uint64_t m_bytes = 0;
    uint64_t m_peak = 0;
    uint64_t m_live = 0;

    void account(int64_t delta)
    {
        m_bytes += static_cast<uint64_t>(delta);
        if (m_bytes > m_peak) m_peak = m_bytes;
    }

    void freeAll()
    {
        for (void *block : m_blocks) std::free(block);
        m_blocks.clear();
        for (LargeNode *node = m_large; node != nullptr;) {
            LargeNode *next = node->next;
            std::free(node);
            node = next;
        }
        m_large = nullptr;
        m_cursor = nullptr;
        m_left = 0;
        m_freeLists.assign(m_freeLists.size(), nullptr);
        m_bytes = 0;
        m_live = 0;
    }

    // Call with m_mutex held.
    AllocHeader *carve(size_t chunk)
    {
        const size_t sizeClass = chunk / kAlign;
        if (sizeClass < m_freeLists.size() && m_freeLists[sizeClass] != nullptr) {
            AllocHeader *header = m_freeLists[sizeClass];
            // A free chunk keeps the next free chunk in its owner slot.
            m_freeLists[sizeClass] = reinterpret_cast<AllocHeader *>(header->owner);
            std::memset(static_cast<void *>(header + 1), 0, chunk - sizeof(AllocHeader));
            return header;
        }
        if (m_left < chunk) {
            void *block = std::aligned_alloc(kAlign, m_blockSize);
            if (block == nullptr) return nullptr;
            m_blocks.push_back(block);
            account(static_cast<int64_t>(m_blockSize));
            m_cursor = static_cast<char *>(block);
            m_left = m_blockSize;
        }
        auto *header = reinterpret_cast<AllocHeader *>(m_cursor);
        m_cursor += chunk;
        m_left -= chunk;
        std::memset(static_cast<void *>(header), 0, chunk);
        return header;
    }

    // Call with m_mutex held.
    AllocHeader *allocateLarge(size_t size)
    {
        const size_t bytes = sizeof(LargeNode) + sizeof(AllocHeader) + roundUp(size);
        auto *node = static_cast<LargeNode *>(std::aligned_alloc(kAlign, bytes));
        if (node == nullptr) return nullptr;
        std::memset(static_cast<void *>(node), 0, bytes);
        node->bytes = bytes;
        node->next = m_large;
        if (m_large != nullptr) m_large->prev = node;
        m_large = node;
        account(static_cast<int64_t>(bytes));
        return reinterpret_cast<AllocHeader *>(node + 1);
    }
};

BLMEM_DESCR BLMEM_CreateMemDescrEx(const char *name, size_t blockSize, uint32_t flags)
{
    auto *pool = new (std::nothrow) BLMemDescr;
    if (pool == nullptr) return nullptr;
    try {
        pool->m_name = name != nullptr ? name : "unnamed";
    } catch (...) {
        delete pool;
        return nullptr;
    }
    pool->m_blockSize = blockSize == 0 ? kDefaultBlockSize : roundUp(blockSize < kMinBlockSize ? kMinBlockSize : blockSize);
    pool->m_flags = flags;
    pool->m_freeLists.assign(pool->m_blockSize / 4 / kAlign + 2, nullptr);
    return pool;
}

bool BLMEM_DisposeMemDescr(BLMEM_DESCR pool)
{
    if (pool == nullptr) return false;
    {
        const std::lock_guard<std::mutex> lock(pool->m_mutex);
        pool->freeAll();
    }
    delete pool;
    return true;
}

bool BLMEM_ResetMemSpace(BLMEM_DESCR pool)
{
    if (pool == nullptr) return false;
    const std::lock_guard<std::mutex> lock(pool->m_mutex);
    pool->freeAll();
    return true;
}

void *BLMEM_NewEx(BLMEM_DESCR pool, size_t size, uint32_t /*flags*/)
{
    if (pool == nullptr) return nullptr;
    if (size == 0) size = 1;
    if (size > (SIZE_MAX >> 2)) return nullptr;
    if (injectedFault()) return nullptr;

    const size_t chunk = sizeof(AllocHeader) + roundUp(size);
    const std::lock_guard<std::mutex> lock(pool->m_mutex);
    AllocHeader *header;
    uint32_t sizeClass;
    if (chunk <= pool->m_blockSize / 4) {
        header = pool->carve(chunk);
        sizeClass = static_cast<uint32_t>(chunk / kAlign);
    } else {
        header = pool->allocateLarge(size);
        sizeClass = 0;
    }
    if (header == nullptr) return nullptr;
    header->magic = kHeaderMagic;
    header->sizeClass = sizeClass;
    header->owner = pool;
    ++pool->m_live;
    return header + 1;
}

bool BLMEM_Delete(BLMEM_DESCR pool, void *pointer)
{
    if (pool == nullptr || pointer == nullptr) return false;
    if ((reinterpret_cast<uintptr_t>(pointer) & (kAlign - 1)) != 0) return false;
    AllocHeader *header = static_cast<AllocHeader *>(pointer) - 1;
    const std::lock_guard<std::mutex> lock(pool->m_mutex);
    // A pointer from another pool or a second delete fails the check: the
    // magic is cleared when a chunk goes back.
    if (header->magic != kHeaderMagic || header->owner != pool) return false;
    header->magic = 0;
    --pool->m_live;
    if (header->sizeClass == 0) {
        LargeNode *node = reinterpret_cast<LargeNode *>(header) - 1;
        if (node->prev != nullptr) node->prev->next = node->next;
        else pool->m_large = node->next;
        if (node->next != nullptr) node->next->prev = node->prev;
        pool->account(-static_cast<int64_t>(node->bytes));
        std::free(node);
        return true;
    }
    header->owner = reinterpret_cast<BLMemDescr *>(pool->m_freeLists[header->sizeClass]);
    pool->m_freeLists[header->sizeClass] = header;
    return true;
}

uint64_t BLMEM_SizeInMemory(BLMEM_DESCR pool)
{
    if (pool == nullptr) return 0;
    const std::lock_guard<std::mutex> lock(pool->m_mutex);
    return pool->m_bytes;
}

uint64_t BLMEM_PeakSizeInMemory(BLMEM_DESCR pool)
{
    if (pool == nullptr) return 0;
    const std::lock_guard<std::mutex> lock(pool->m_mutex);
    return (pool->m_flags & BLMEM_FLAG_TRACK_PEAK) != 0 ? pool->m_peak : pool->m_bytes;
}

uint64_t BLMEM_CountAllocations(BLMEM_DESCR pool)
{
    if (pool == nullptr) return 0;
    const std::lock_guard<std::mutex> lock(pool->m_mutex);
    return pool->m_live;
}

const char *BLMEM_Name(BLMEM_DESCR pool)
{
    return pool != nullptr ? pool->m_name.c_str() : "";
}

int64_t BLMEM_SetFailCountdown(int64_t count)
{
    return g_failCountdown.exchange(count < 0 ? -1 : count);
}
