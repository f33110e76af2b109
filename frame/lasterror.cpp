// The per-document last error and the memory accounting of a document.
//
// The last-error slot is deliberately unlocked: a host that runs
// operations on one document from several threads sees whichever failure
// was stored last. The memory functions never wait for the document's
// lock: a host polls them from a timer, which must not stall behind an edit.
#include "frame/document_p.h"

#include "audiosignal.h"
#include "bldebug.h"
#include "blmem.h"
#include "blthread.h"
#include "tavoaudio.h"
#include "tavoundo.h"

namespace {

// Codes the library produces itself (see tavoaudio.h).
constexpr uint32_t kErrorNullHandle = 13;
constexpr uint32_t kErrorMessageSet = 21;

// The sum of what the document holds. Call with the read or write lock held.
uint64_t measure(TavoDocument *doc)
{
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);   // the mutex is released again
    uint64_t size = 0;
    if (signal != nullptr) size += AUDIOSIGNAL_SizeInMemory(signal);
    if (doc->undo != nullptr) size += TAVOUNDO_SizeInMemory(doc);
    size += BLMEM_SizeInMemory(doc->memory);
    return size;
}

}  // namespace

extern "C" {

// ---- last error ---------------------------------------------------------------

uint32_t TAVOAUDIO_GetLastError(TAVOAUDIO audio, bool clear)
{
    // Null and dead handles get 13: there is no slot to read.
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return kErrorNullHandle;
    const uint32_t code = doc->lastError;
    // A message stays until GetLastErrorMessage reads it with `clear`, so a
    // host that polls codes cannot lose the text.
    if (clear && code != kErrorMessageSet) doc->lastError = 0;
    return code;
}

const char *TAVOAUDIO_GetLastErrorMessage(TAVOAUDIO audio, bool clear)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return nullptr;
    const char *message = doc->lastError == kErrorMessageSet ? doc->lastErrorMessage : nullptr;
    if (clear) {
        doc->lastError = 0;
        doc->lastErrorMessage = nullptr;
    }
    return message;
}

bool TAVOAUDIO_SetErrorMessage(TAVOAUDIO audio, const char *text)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || text == nullptr) return false;
    doc->lastErrorMessage = text;   // not copied: the caller keeps it alive
    doc->lastError = kErrorMessageSet;
    return true;
}

// ---- memory -------------------------------------------------------------------

uint64_t TAVOAUDIO_SizeInMemory(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return 0;
    if (!ReadWriteLock_TryReadLock(doc->rwlock)) return 0;
    const uint64_t size = measure(doc);
    ReadWriteLock_ReadUnlock(doc->rwlock);
    return size;
}

bool TAVOAUDIO_FreeMemory(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    // The caller reads the document: taking the write lock would deadlock,
    // and freeing caches under its feet is not wanted either.
    if (ReadWriteLock_HasReadLock(doc->rwlock)) return true;
    if (!ReadWriteLock_TryWriteLock(doc->rwlock)) return false;

    const uint64_t before = measure(doc);
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    bool ok = true;
    if (signal != nullptr) ok = AUDIOSIGNAL_FreeDataMemory(signal, true);
    // The undo history's answer replaces the signal's: with a history, a
    // failure to drop the signal's caches is not reported (kept so on
    // purpose, hosts treat false as "the history could not be trimmed").
    if (doc->undo != nullptr) ok = TAVOUNDO_FreeMemory(doc);
    const uint64_t after = measure(doc);
    ReadWriteLock_WriteUnlock(doc->rwlock);

    BLDEBUG_Log(512, "Size change: %lld -> %lld (%d bytes freed)", static_cast<long long>(before),
                static_cast<long long>(after), static_cast<int>(before - after));
    return ok;
}

}  // extern "C"
