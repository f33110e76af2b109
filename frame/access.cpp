// access.cpp: the three kinds of access that share a document's read/write
// lock: read access, edit access (write lock plus edit depth) and selection
// write access (bounded retries, nesting, one deferred notification).

#include "blutils.h"
#include "frame/document_p.h"
#include "frame/lifecycle_p.h"
#include "tavoaudio.h"
#include "tavostate.h"
#include "view/state_p.h"

namespace {

// Selection and zoom changes come from the UI thread while a worker may hold
// the lock for a long edit: four tries, 1 ms apart (3 ms of sleep in all),
// keep the interface responsive, and the user's gesture is simply dropped.
constexpr int kSelectionTries = 4;
constexpr int32_t kSelectionRetryMs = 1;

} // namespace

TAVO_API bool TAVOAUDIO_GetReadAccessEx(TAVOAUDIO audio, bool tryOnly)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    return tryOnly ? ReadWriteLock_TryReadLock(doc->rwlock) : ReadWriteLock_ReadLock(doc->rwlock);
}

TAVO_API bool TAVOAUDIO_ReleaseReadAccess(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    ReadWriteLock_ReadUnlock(doc->rwlock);
    return true;
}

TAVO_API bool TAVOAUDIO_HasReadAccess(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    return doc != nullptr && ReadWriteLock_HasReadLock(doc->rwlock);
}

TAVO_API bool TAVOAUDIO_GetWriteAccessEx(TAVOAUDIO audio, bool tryOnly)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    return tryOnly ? ReadWriteLock_TryWriteLock(doc->rwlock) : ReadWriteLock_WriteLock(doc->rwlock);
}

TAVO_API bool TAVOAUDIO_ReleaseWriteAccess(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    ReadWriteLock_WriteUnlock(doc->rwlock);
    return true;
}

TAVO_API bool TAVOAUDIO_GetEditAccessEx(TAVOAUDIO audio, bool force)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    if (!force && (doc->flags & TAVOAUDIO_FLAG_EDITABLE) == 0) return false;
    if (!ReadWriteLock_WriteLock(doc->rwlock)) return false;
    TavoSignalMutex guard(doc);
    doc->editDepth++;
    return true;
}

TAVO_API bool TAVOAUDIO_ReleaseEditAccess(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    {
        TavoSignalMutex guard(doc);
        if (doc->editDepth > 0) doc->editDepth--;
    }
    ReadWriteLock_WriteUnlock(doc->rwlock);
    return true;
}

TAVO_API bool TAVOAUDIO_IsEditing(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    TavoSignalMutex guard(doc);
    return doc->editDepth > 0;
}

TAVO_API bool TAVOAUDIO_GetSelectionWriteAccess(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    for (int attempt = 0; attempt < kSelectionTries; ++attempt) {
        if (attempt > 0) BLUTILS_sleep_msec(kSelectionRetryMs);
        if (ReadWriteLock_TryWriteLock(doc->rwlock)) {
            // The depth and the owed bits are only touched by the thread that
            // holds the write lock.
            doc->selectionWriteDepth++;
            return true;
        }
    }
    return false;
}

TAVO_API bool TAVOAUDIO_ReleaseSelectionWriteAccessEx(TAVOAUDIO audio, bool notify, uint32_t changes)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->selectionWriteDepth == 0) return false;
    // Only the holder of the write lock may leave it.
    if (!ReadWriteLock_HasWriteLock(doc->rwlock)) return false;
    if (notify) {
        doc->pendingBits |= changes;
        doc->pendingNotify = true;
    }
    doc->selectionWriteDepth--;
    if (doc->selectionWriteDepth == 0 && doc->pendingNotify) {
        const uint32_t bits = doc->pendingBits;
        doc->pendingBits = 0;
        doc->pendingNotify = false;
        ReadWriteLock_WriteUnlock(doc->rwlock);
        // Handlers run without the lock, so they may take it themselves.
        TAVOSTATE_NotifyChanges(audio, 0, bits);
        return true;
    }
    ReadWriteLock_WriteUnlock(doc->rwlock);
    return true;
}
