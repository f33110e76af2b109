/*
** blthread.h: locks, threads and the main thread of libfound.
**
** ReadWriteLock: many readers or one writer. The writing thread may take the
** write lock again (each take needs its release) and may take read locks
** while it writes. A thread that holds a read lock may take it again even
** while a writer waits (writers otherwise have priority, so a reader cannot
** starve them). A thread cannot turn its read lock into a write lock: the
** try form fails, and the waiting form fails at once instead of waiting
** forever (an error is logged). ReadWriteLock_HasReadLock answers for the
** calling thread only.
**
** Mutex: recursive, like a critical section: its owner may lock it again and
** must unlock it as often.
**
** Threads: BLTHREAD_AddThread starts a thread; every started thread must be
** joined once with BLTHREAD_JoinThreadEx, which frees the handle.
**
** Main thread: the thread that first called BLCORE_Initialize (or
** BLTHREAD_SetMainThread). Calls posted to it go through the poster that a
** host installs (a Qt host queues them into its event loop); without a
** poster they wait in a queue that the host pumps with
** BLTHREAD_ProcessMainThreadQueue.
**
** Every function takes a null handle harmlessly and answers false/0/null.
*/
#ifndef BLTHREAD_H
#define BLTHREAD_H

#include <stdbool.h>
#include <stdint.h>

#include "found_export.h"

FOUND_EXTERN_C_BEGIN

typedef struct BLReadWriteLock *BLRWLOCK;
typedef struct BLMutex *BLMUTEX;
typedef struct BLThread *BLTHREAD;

/* ---- read/write lock --------------------------------------------------- */

/* A new unlocked lock; null when out of memory. Destroy it with
** ReadWriteLock_Destroy once no thread holds or waits for it. */
FOUND_API BLRWLOCK ReadWriteLock_Init(void);
FOUND_API bool ReadWriteLock_Destroy(BLRWLOCK lock);

/* Waits for a read lock; false only for null. */
FOUND_API bool ReadWriteLock_ReadLock(BLRWLOCK lock);
/* Takes a read lock when it can be had at once. */
FOUND_API bool ReadWriteLock_TryReadLock(BLRWLOCK lock);
/* Releases one read lock of the calling thread; false when it holds none. */
FOUND_API bool ReadWriteLock_ReadUnlock(BLRWLOCK lock);

/* Waits for the write lock (nested when the caller holds it already).
** False for null, and at once when the caller holds a read lock but not
** the write lock (it could never be granted). */
FOUND_API bool ReadWriteLock_WriteLock(BLRWLOCK lock);
/* Takes the write lock when it can be had at once (or nests it). */
FOUND_API bool ReadWriteLock_TryWriteLock(BLRWLOCK lock);
/* Releases one level of the calling thread's write lock; false when the
** caller does not hold it. */
FOUND_API bool ReadWriteLock_WriteUnlock(BLRWLOCK lock);

/* Does the calling thread hold a read lock? */
FOUND_API bool ReadWriteLock_HasReadLock(BLRWLOCK lock);
/* Does the calling thread hold the write lock? */
FOUND_API bool ReadWriteLock_HasWriteLock(BLRWLOCK lock);
/* How deep the calling thread holds the write lock (0 when not). */
FOUND_API int32_t ReadWriteLock_WriteDepth(BLRWLOCK lock);

/* ---- mutex ------------------------------------------------------------- */

FOUND_API BLMUTEX MutexInit(void);
FOUND_API bool MutexDestroy(BLMUTEX mutex);
FOUND_API bool MutexLock(BLMUTEX mutex);
FOUND_API bool MutexTryLock(BLMUTEX mutex);
/* False when the calling thread does not own the mutex. */
FOUND_API bool MutexUnlock(BLMUTEX mutex);
/* Does the calling thread own the mutex? (for debug assertions) */
FOUND_API bool MutexIsLockedByMe(BLMUTEX mutex);

/* ---- threads ----------------------------------------------------------- */

/* The body of a thread: its result is handed to the joiner. */
typedef int32_t (*BLTHREAD_PROC)(void *argument);

/* Starts `proc(argument)` on a new thread named `name` (may be null; at most
** 15 characters are shown by the system). Null when the thread cannot be
** started. */
FOUND_API BLTHREAD BLTHREAD_AddThread(BLTHREAD_PROC proc, void *argument, const char *name);

/* Waits for the thread to end, stores its result in *result when not null,
** and frees the handle. False for null or a thread joining itself (the
** handle stays valid then). */
FOUND_API bool BLTHREAD_JoinThreadEx(BLTHREAD thread, int32_t *result);

/* True once the thread's body has returned (the handle still needs a join). */
FOUND_API bool BLTHREAD_IsFinished(BLTHREAD thread);

/* ---- main thread ------------------------------------------------------- */

/* A call posted to the main thread. */
typedef void (*BLTHREAD_CALL3)(void *a, void *b, void *c);

/* Delivers one posted call to the main thread; must be callable from any
** thread. Returns false when it could not take the call. */
typedef bool (*BLTHREAD_POSTER)(BLTHREAD_CALL3 call, void *a, void *b, void *c,
                                void *posterData);

/* Makes the calling thread the main thread. */
FOUND_API void BLTHREAD_SetMainThread(void);
FOUND_API bool BLTHREAD_IsMainThread(void);

/* Installs the host's poster (null: use the plain queue again). Calls
** already queued stay queued until pumped. */
FOUND_API void BLTHREAD_SetMainThreadPoster(BLTHREAD_POSTER poster, void *posterData);

/* Posts `call(a, b, c)` to run later on the main thread, from any thread.
** False for a null call or when the poster refused it. */
FOUND_API bool BLTHREAD_PostToMainThread3(BLTHREAD_CALL3 call, void *a, void *b, void *c);

/* Runs the queued calls, in the order they were posted, on the calling
** thread (the host calls this on the main thread); calls posted while it
** runs wait for the next pump. Returns how many ran. */
FOUND_API int32_t BLTHREAD_ProcessMainThreadQueue(void);

/* Number of calls waiting in the plain queue. */
FOUND_API int32_t BLTHREAD_PendingMainThreadCalls(void);

FOUND_EXTERN_C_END

#endif
