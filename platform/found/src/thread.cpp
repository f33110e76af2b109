// Read/write locks, mutexes, threads and calls posted to the main thread.
#include "blthread.h"

#include "bldebug.h"
#include "found_p.h"

#include <pthread.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <unordered_map>

// Invariants: writeDepth > 0 exactly when `writer` names a thread;
// readers equals the sum of readHolds; a thread's entry is erased when its
// count drops to 0, so readHolds.size() is the number of reading threads.
struct BLReadWriteLock {
    // m_mutex guards every field; m_changed is signalled whenever the write
    // lock or the last read lock is released.
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::thread::id m_writer;
    int32_t m_writeDepth = 0;
    int64_t m_readers = 0;
    int32_t m_waitingWriters = 0;
    std::unordered_map<std::thread::id, int64_t> m_readHolds;

    // Call with m_mutex held.
    int64_t heldByMe() const
    {
        const auto it = m_readHolds.find(std::this_thread::get_id());
        return it == m_readHolds.end() ? 0 : it->second;
    }

    // Call with m_mutex held. A thread already reading may read again even
    // while a writer waits; otherwise waiting writers go first.
    bool canRead() const
    {
        if (m_writeDepth > 0) return m_writer == std::this_thread::get_id();
        return m_waitingWriters == 0 || heldByMe() > 0;
    }

    // Call with m_mutex held.
    void addRead()
    {
        ++m_readers;
        ++m_readHolds[std::this_thread::get_id()];
    }
};

BLRWLOCK ReadWriteLock_Init(void)
{
    return new (std::nothrow) BLReadWriteLock;
}

bool ReadWriteLock_Destroy(BLRWLOCK lock)
{
    if (lock == nullptr) return false;
    delete lock;
    return true;
}

bool ReadWriteLock_ReadLock(BLRWLOCK lock)
{
    if (lock == nullptr) return false;
    std::unique_lock<std::mutex> guard(lock->m_mutex);
    lock->m_changed.wait(guard, [lock] { return lock->canRead(); });
    lock->addRead();
    return true;
}

bool ReadWriteLock_TryReadLock(BLRWLOCK lock)
{
    if (lock == nullptr) return false;
    const std::lock_guard<std::mutex> guard(lock->m_mutex);
    if (!lock->canRead()) return false;
    lock->addRead();
    return true;
}

bool ReadWriteLock_ReadUnlock(BLRWLOCK lock)
{
    if (lock == nullptr) return false;
    const std::lock_guard<std::mutex> guard(lock->m_mutex);
    const auto it = lock->m_readHolds.find(std::this_thread::get_id());
    if (it == lock->m_readHolds.end()) {
        BLDEBUG_Error("ReadWriteLock_ReadUnlock: the calling thread holds no read lock");
        return false;
    }
    if (--it->second == 0) lock->m_readHolds.erase(it);
    if (--lock->m_readers == 0) lock->m_changed.notify_all();
    return true;
}

bool ReadWriteLock_WriteLock(BLRWLOCK lock)
{
    if (lock == nullptr) return false;
    std::unique_lock<std::mutex> guard(lock->m_mutex);
    const std::thread::id me = std::this_thread::get_id();
    if (lock->m_writeDepth > 0 && lock->m_writer == me) {
        ++lock->m_writeDepth;
        return true;
    }
    if (lock->heldByMe() > 0) {
        guard.unlock();
        BLDEBUG_Error("ReadWriteLock_WriteLock: the calling thread holds a read lock; waiting would never end");
        return false;
    }
    ++lock->m_waitingWriters;
    lock->m_changed.wait(guard, [lock] { return lock->m_writeDepth == 0 && lock->m_readers == 0; });
    --lock->m_waitingWriters;
    lock->m_writer = me;
    lock->m_writeDepth = 1;
    return true;
}

bool ReadWriteLock_TryWriteLock(BLRWLOCK lock)
{
    if (lock == nullptr) return false;
    const std::lock_guard<std::mutex> guard(lock->m_mutex);
    const std::thread::id me = std::this_thread::get_id();
    if (lock->m_writeDepth > 0) {
        if (lock->m_writer != me) return false;
        ++lock->m_writeDepth;
        return true;
    }
    if (lock->m_readers > 0) return false;
    lock->m_writer = me;
    lock->m_writeDepth = 1;
    return true;
}

bool ReadWriteLock_WriteUnlock(BLRWLOCK lock)
{
    if (lock == nullptr) return false;
    std::unique_lock<std::mutex> guard(lock->m_mutex);
    if (lock->m_writeDepth == 0 || lock->m_writer != std::this_thread::get_id()) {
        guard.unlock();
        BLDEBUG_Error("ReadWriteLock_WriteUnlock: the calling thread does not hold the write lock");
        return false;
    }
    if (--lock->m_writeDepth == 0) {
        lock->m_writer = std::thread::id();
        lock->m_changed.notify_all();
    }
    return true;
}

bool ReadWriteLock_HasReadLock(BLRWLOCK lock)
{
    if (lock == nullptr) return false;
    const std::lock_guard<std::mutex> guard(lock->m_mutex);
    return lock->heldByMe() > 0;
}

bool ReadWriteLock_HasWriteLock(BLRWLOCK lock)
{
    return ReadWriteLock_WriteDepth(lock) > 0;
}

int32_t ReadWriteLock_WriteDepth(BLRWLOCK lock)
{
    if (lock == nullptr) return 0;
    const std::lock_guard<std::mutex> guard(lock->m_mutex);
    return lock->m_writer == std::this_thread::get_id() ? lock->m_writeDepth : 0;
}

// ---- mutex ----------------------------------------------------------------

// m_owner and m_depth are written only by the thread that holds m_mutex;
// m_owner is atomic so that other threads may ask whether they own it.
struct BLMutex {
    std::recursive_mutex m_mutex;
    std::atomic<std::thread::id> m_owner{};
    int32_t m_depth = 0;
};

BLMUTEX MutexInit(void)
{
    return new (std::nothrow) BLMutex;
}

bool MutexDestroy(BLMUTEX mutex)
{
    if (mutex == nullptr) return false;
    delete mutex;
    return true;
}

bool MutexLock(BLMUTEX mutex)
{
    if (mutex == nullptr) return false;
    mutex->m_mutex.lock();
    mutex->m_owner.store(std::this_thread::get_id());
    ++mutex->m_depth;
    return true;
}

bool MutexTryLock(BLMUTEX mutex)
{
    if (mutex == nullptr || !mutex->m_mutex.try_lock()) return false;
    mutex->m_owner.store(std::this_thread::get_id());
    ++mutex->m_depth;
    return true;
}

bool MutexUnlock(BLMUTEX mutex)
{
    if (mutex == nullptr) return false;
    if (mutex->m_owner.load() != std::this_thread::get_id()) {
        BLDEBUG_Error("MutexUnlock: the calling thread does not own the mutex");
        return false;
    }
    if (--mutex->m_depth == 0) mutex->m_owner.store(std::thread::id());
    mutex->m_mutex.unlock();
    return true;
}

bool MutexIsLockedByMe(BLMUTEX mutex)
{
    return mutex != nullptr && mutex->m_owner.load() == std::this_thread::get_id();
}

// ---- threads --------------------------------------------------------------

struct BLThread {
    std::thread m_thread;
    std::atomic<bool> m_finished{false};
    int32_t m_result = 0;  // written by the thread before m_finished, read after join
};

BLTHREAD BLTHREAD_AddThread(BLTHREAD_PROC proc, void *argument, const char *name)
{
    if (proc == nullptr) return nullptr;
    auto *thread = new (std::nothrow) BLThread;
    if (thread == nullptr) return nullptr;
    std::string threadName = name != nullptr ? std::string(name).substr(0, 15) : std::string();
    try {
        thread->m_thread = std::thread([thread, proc, argument, threadName] {
            if (!threadName.empty()) pthread_setname_np(pthread_self(), threadName.c_str());
            thread->m_result = proc(argument);
            thread->m_finished.store(true);
        });
    } catch (const std::exception &error) {
        BLDEBUG_Error("BLTHREAD_AddThread: cannot start a thread: %s", error.what());
        delete thread;
        return nullptr;
    }
    return thread;
}

bool BLTHREAD_JoinThreadEx(BLTHREAD thread, int32_t *result)
{
    if (thread == nullptr) return false;
    if (thread->m_thread.get_id() == std::this_thread::get_id()) {
        BLDEBUG_Error("BLTHREAD_JoinThreadEx: a thread cannot join itself");
        return false;
    }
    if (thread->m_thread.joinable()) thread->m_thread.join();
    if (result != nullptr) *result = thread->m_result;
    delete thread;
    return true;
}

bool BLTHREAD_IsFinished(BLTHREAD thread)
{
    return thread != nullptr && thread->m_finished.load();
}

// ---- main thread ----------------------------------------------------------

namespace {

struct PostedCall {
    BLTHREAD_CALL3 call;
    void *a;
    void *b;
    void *c;
};

// g_postMutex guards the poster and the queue; posted calls and the poster
// run outside it.
std::mutex g_postMutex;
BLTHREAD_POSTER g_poster = nullptr;
void *g_posterData = nullptr;
std::deque<PostedCall> g_queue;
std::atomic<std::thread::id> g_mainThread{};

} // namespace

void BLTHREAD_SetMainThread(void)
{
    g_mainThread.store(std::this_thread::get_id());
}

bool BLTHREAD_IsMainThread(void)
{
    return g_mainThread.load() == std::this_thread::get_id();
}

void BLTHREAD_SetMainThreadPoster(BLTHREAD_POSTER poster, void *posterData)
{
    const std::lock_guard<std::mutex> guard(g_postMutex);
    g_poster = poster;
    g_posterData = poster != nullptr ? posterData : nullptr;
}

bool BLTHREAD_PostToMainThread3(BLTHREAD_CALL3 call, void *a, void *b, void *c)
{
    if (call == nullptr) return false;
    BLTHREAD_POSTER poster;
    void *posterData;
    {
        const std::lock_guard<std::mutex> guard(g_postMutex);
        poster = g_poster;
        posterData = g_posterData;
        if (poster == nullptr) {
            g_queue.push_back(PostedCall{call, a, b, c});
            return true;
        }
    }
    return poster(call, a, b, c, posterData);
}

int32_t BLTHREAD_ProcessMainThreadQueue(void)
{
    std::deque<PostedCall> batch;
    {
        const std::lock_guard<std::mutex> guard(g_postMutex);
        batch.swap(g_queue);
    }
    for (const PostedCall &posted : batch) posted.call(posted.a, posted.b, posted.c);
    return static_cast<int32_t>(batch.size());
}

int32_t BLTHREAD_PendingMainThreadCalls(void)
{
    const std::lock_guard<std::mutex> guard(g_postMutex);
    return static_cast<int32_t>(g_queue.size());
}

void _BLTHREAD_Initialize()
{
    std::thread::id none;
    g_mainThread.compare_exchange_strong(none, std::this_thread::get_id());
}

void _BLTHREAD_Finalize()
{
    size_t dropped;
    {
        const std::lock_guard<std::mutex> guard(g_postMutex);
        g_poster = nullptr;
        g_posterData = nullptr;
        dropped = g_queue.size();
        g_queue.clear();
    }
    if (dropped > 0) BLDEBUG_Log(1, "BLCORE_Finalize: dropped %zu call(s) posted to the main thread", dropped);
}
