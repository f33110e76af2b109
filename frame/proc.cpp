// Long operations: the progress record of each document and the
// process-wide registry that maps libaudiosig's operation identifiers to
// documents, fed by a default notification handler.
//
// Lock rules. A document's progress fields are touched only under its
// signal mutex; the registry has a mutex of its own. Neither is held while
// an event is sent, a log line is written or another module is called.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "frame/document_p.h"

#include "audiofile.h"
#include "audiosignal.h"
#include "bldebug.h"
#include "blmem.h"
#include "blnotify.h"
#include "blstring.h"
#include "blthread.h"
#include "blutils.h"
#include "tavoaudio.h"
#include "tavonotify.h"
#include "tavoproc.h"

namespace {

// Holds a libfound mutex for the enclosing block.
class MutexGuard {
public:
    explicit MutexGuard(BLMUTEX mutex) : m_mutex(mutex) { MutexLock(m_mutex); }
    ~MutexGuard() { MutexUnlock(m_mutex); }
    MutexGuard(const MutexGuard &) = delete;
    MutexGuard &operator=(const MutexGuard &) = delete;

private:
    BLMUTEX m_mutex;
};

// Operation times only measure intervals, so they come from the monotonic
// clock: a wall-clock change must not make an operation look old or new.
int64_t nowMs()
{
    return BLUTILS_MonotonicTime();
}

// "No estimate yet": any negative value would do; this one stands out in a
// debugger.
constexpr int32_t kNoEstimate = -9999;
// An estimate earlier than this, or below this progress, is noise.
constexpr int64_t kEstimateAfterMs = 500;
constexpr double kEstimateFromProgress = 0.01;
// Added to every raw estimate so that it never shows 0 while work remains.
constexpr double kEstimateSlackMs = 500.0;
// Weight of the previous estimate: the shown time moves slowly.
constexpr double kEstimateInertia = 0.9;

// ---- the registry ---------------------------------------------------------------

struct Entry {
    int64_t identifier;
    TAVOAUDIO audio;
    bool closed;
    int32_t kind;            // libaudiosig's kind that announced the operation
    int64_t registeredAt;    // BLUTILS_GetTimestamp
};

// Plain memory: the registry must outlive nothing and be destroyed by
// nothing but TAVOPROC_Finalize, which may run from the library's unload.
struct Registry {
    BLMUTEX mutex;
    Entry *entries;
    size_t count;
    size_t capacity;
};

// The first room and each growth, in entries.
constexpr size_t kRegistryGrowth = 256;

Registry *g_registry = nullptr;

bool registerOperation(int64_t identifier, TAVOAUDIO audio, int32_t kind)
{
    Registry *registry = g_registry;
    if (registry == nullptr) return false;
    const int64_t now = BLUTILS_GetTimestamp();
    MutexGuard guard(registry->mutex);
    for (size_t i = 0; i < registry->count; ++i) {
        Entry &entry = registry->entries[i];
        if (entry.identifier != identifier) continue;
        entry = Entry{identifier, audio, false, kind, now};
        return true;
    }
    if (registry->count == registry->capacity) {
        const size_t capacity = registry->capacity + kRegistryGrowth;
        auto *grown = static_cast<Entry *>(std::realloc(registry->entries, capacity * sizeof(Entry)));
        if (grown == nullptr) return false;
        registry->entries = grown;
        registry->capacity = capacity;
    }
    registry->entries[registry->count++] = Entry{identifier, audio, false, kind, now};
    return true;
}

bool unregisterOperation(int64_t identifier)
{
    Registry *registry = g_registry;
    if (registry == nullptr) return false;
    MutexGuard guard(registry->mutex);
    for (size_t i = 0; i < registry->count; ++i) {
        if (registry->entries[i].identifier != identifier) continue;
        // Order does not matter: the last entry takes the free place.
        registry->entries[i] = registry->entries[--registry->count];
        return true;
    }
    return false;
}

// ---- the document's record -------------------------------------------------------

bool startOperation(TAVOAUDIO audio, int64_t identifier, bool isHostStart, bool resetProgress)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    {
        MutexGuard guard(doc->signalMutex);
        // A running operation that is being cancelled must end first.
        if (doc->inProgress && doc->cancelRequested) return false;
        const int64_t now = nowMs();
        doc->startTime = now;
        doc->remainingEstimate = kNoEstimate;
        // A nested start keeps the clock of the outermost operation.
        if (!doc->inProgress) doc->firstStartTime = now;
        doc->operationId = identifier;
        doc->cancelRequested = false;
        doc->inProgress = true;
        doc->wasCancelled = false;
    }
    BLNOTIFY_SendEvent(doc, identifier, TAVOEVENT_PROCESS_STARTED, nullptr, nullptr, nullptr);
    if (isHostStart) {
        MutexGuard guard(doc->signalMutex);
        // A cancel asked by a handler of the start event is dropped: the
        // host is starting this operation on purpose.
        doc->cancelRequested = false;
        if (resetProgress) doc->progress = -1.0;
    }
    return true;
}

bool finishOperation(TAVOAUDIO audio, bool cancelled)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    int64_t identifier;
    {
        MutexGuard guard(doc->signalMutex);
        // The cancelled mark survives the finish (until the next start), so a
        // host that asks after the operation ended still learns why. A worker
        // that saw the cancel through its progress report already set it;
        // an operation ended as cancelled counts as cancelled too.
        doc->wasCancelled = doc->wasCancelled || doc->cancelRequested || cancelled;
        doc->cancelRequested = false;
        doc->inProgress = false;
        identifier = doc->operationId;
        doc->operationId = 0;
    }
    BLNOTIFY_SendEvent(doc, identifier, cancelled ? TAVOEVENT_PROCESS_CANCELED : TAVOEVENT_PROCESS_FINISHED,
                       nullptr, nullptr, nullptr);
    return true;
}

// Replaces one of the document's label slots with a pool copy of `label`.
bool replaceLabel(TAVOAUDIO audio, const char *label, char *TavoDocument::*slot, bool restartsClock)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    char *copy = nullptr;
    if (label != nullptr) {
        copy = BLSTRING_DuplicateString(doc->memory, label);
        if (copy == nullptr) return false;
    }
    char *old;
    {
        MutexGuard guard(doc->signalMutex);
        old = doc->*slot;
        doc->*slot = copy;
        if (restartsClock && !doc->inProgress) doc->startTime = doc->firstStartTime = nowMs();
    }
    if (old != nullptr) BLMEM_Delete(doc->memory, old);
    return true;
}

bool copyLabel(TAVOAUDIO audio, char *buffer, int32_t size, char *TavoDocument::*slot)
{
    if (buffer == nullptr || size <= 0) return false;
    buffer[0] = '\0';
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    MutexGuard guard(doc->signalMutex);
    const char *label = doc->*slot;
    if (label == nullptr) return false;
    std::strncat(buffer, label, static_cast<size_t>(size) - 1);
    return true;
}

// ---- libaudiosig's notifications -------------------------------------------------

enum class Action { None, Start, Progress, Finish, Cancel, Step, Metadata, Region, Register, Unregister };

// libaudiosig's kinds (its numbers; several per action because each
// family of its operations has kinds of its own).
Action actionOf(int32_t kind)
{
    switch (kind) {
    case 17: case 24: case 33: case 52: case 78: case 114: return Action::Start;
    case 15: case 25: case 34: case 46: case 48: case 79: case 115: return Action::Progress;
    case 26: case 27: case 35: case 36: case 49: case 80: case 81: case 116: return Action::Finish;
    case 28: case 37: case 50: case 51: case 82: case 117: return Action::Cancel;
    case 42: case 43: case 44: case 45: case 47: return Action::Step;
    case 86: return Action::Metadata;
    case 87: return Action::Region;
    case 105: return Action::Register;
    case 107: case 108: case 109: return Action::Unregister;
    default: return Action::None;
    }
}

// Receives what is sent without a dispatcher: libaudiosig's notifications
// (source: the signal's parent, here a document; arg2: a double* fraction
// for progress, the step's text for a step) and the library's own process
// events, which it ignores. Runs on the sender's thread. Its answer to a
// progress report is 0 when the document wants the operation stopped;
// libaudiosig then cancels it.
int32_t defaultHandler(void *, const BLNOTIFY_EVENT *event)
{
    if (event == nullptr) return 1;
    const Action action = actionOf(event->kind);
    if (action == Action::None) return 1;
    TAVOAUDIO audio = static_cast<TAVOAUDIO>(event->source);
    if (_TAVOAUDIO_Validate(audio) == nullptr) return 1;
    const int64_t id = event->identifier;
    switch (action) {
    case Action::Start:
        registerOperation(id, audio, event->kind);
        TAVOAUDIO_ProcessStarted(audio, id);
        break;
    case Action::Progress:
        if (event->arg2 != nullptr && !TAVOAUDIO_ProcessUpdateProgress(audio, *static_cast<const double *>(event->arg2)))
            return 0;
        break;
    case Action::Finish:
        unregisterOperation(id);
        TAVOAUDIO_ProcessFinished(audio, false);
        break;
    case Action::Cancel:
        unregisterOperation(id);
        TAVOAUDIO_ProcessFinished(audio, true);
        break;
    case Action::Step:
        TAVOAUDIO_SetProcessStateLabel(audio, static_cast<const char *>(event->arg2));
        break;
    case Action::Metadata:
        _TAVOAUDIO_Send(_TAVOAUDIO_Validate(audio), TAVOAUDIO_METADATA_REPLACED, nullptr, nullptr, nullptr);
        break;
    case Action::Region:
        _TAVOAUDIO_Send(_TAVOAUDIO_Validate(audio), TAVOAUDIO_REGION_CHANGED, nullptr, nullptr, nullptr);
        break;
    case Action::Register:
        registerOperation(id, audio, event->kind);
        break;
    case Action::Unregister:
        unregisterOperation(id);
        break;
    case Action::None:
        break;
    }
    return 1;
}

}  // namespace

extern "C" {

// ---- the registry -----------------------------------------------------------------

bool TAVOPROC_Initialize(void)
{
    if (g_registry != nullptr) return false;
    auto *registry = static_cast<Registry *>(std::calloc(1, sizeof(Registry)));
    if (registry == nullptr) return false;
    registry->mutex = MutexInit();
    registry->entries = static_cast<Entry *>(std::malloc(kRegistryGrowth * sizeof(Entry)));
    if (registry->mutex == nullptr || registry->entries == nullptr) {
        if (registry->mutex != nullptr) MutexDestroy(registry->mutex);
        std::free(registry->entries);
        std::free(registry);
        return false;
    }
    registry->capacity = kRegistryGrowth;
    g_registry = registry;
    BLNOTIFY_AddDefaultHandler(BLNOTIFY_ANY_KIND, defaultHandler, nullptr);
    return true;
}

bool TAVOPROC_Finalize(void)
{
    Registry *registry = g_registry;
    if (registry == nullptr) return false;
    // The handler goes first so that no notification reaches a registry
    // that is being freed.
    BLNOTIFY_DelDefaultHandler(BLNOTIFY_ANY_KIND, defaultHandler, nullptr);
    g_registry = nullptr;
    MutexDestroy(registry->mutex);
    std::free(registry->entries);
    std::free(registry);
    return true;
}

TAVOAUDIO TAVOPROC_FindAudio(int64_t identifier)
{
    Registry *registry = g_registry;
    if (registry == nullptr) return nullptr;
    MutexGuard guard(registry->mutex);
    for (size_t i = 0; i < registry->count; ++i)
        if (registry->entries[i].identifier == identifier) return registry->entries[i].audio;
    return nullptr;
}

bool TAVOPROC_CancelOperation(int64_t identifier)
{
    // A missing entry gives a null document, which the cancel refuses.
    return TAVOAUDIO_ProcessCancel(TAVOPROC_FindAudio(identifier));
}

bool TAVOPROC_AudioClosed(TAVOAUDIO audio)
{
    if (audio == nullptr) return false;
    Registry *registry = g_registry;
    if (registry == nullptr) return true;
    MutexGuard guard(registry->mutex);
    for (size_t i = 0; i < registry->count; ++i)
        if (registry->entries[i].audio == audio) registry->entries[i].closed = true;
    return true;
}

bool TAVOPROC_AudioDestroyed(TAVOAUDIO audio)
{
    if (audio == nullptr) return false;
    Registry *registry = g_registry;
    if (registry == nullptr) return true;
    int dropped = 0;
    {
        MutexGuard guard(registry->mutex);
        for (size_t i = 0; i < registry->count;) {
            if (registry->entries[i].audio == audio) {
                registry->entries[i] = registry->entries[--registry->count];
                ++dropped;
            } else {
                ++i;
            }
        }
    }
    if (dropped > 0) BLLOG_Log("TAVOPROC: dropped %d operation(s) still registered for a destroyed audio", dropped);
    return true;
}

bool TAVOPROC_LogActiveOperations(const char *tag)
{
    if (tag == nullptr) tag = "";
    std::vector<Entry> entries;
    if (Registry *registry = g_registry; registry != nullptr) {
        MutexGuard guard(registry->mutex);
        entries.assign(registry->entries, registry->entries + registry->count);
    }
    if (entries.empty()) {
        BLLOG_Log("TAVOPROC [%s]: no operation registered", tag);
        return true;
    }
    BLLOG_Log("TAVOPROC [%s]: %d operation(s) still registered", tag, static_cast<int>(entries.size()));
    const int64_t now = BLUTILS_GetTimestamp();
    for (const Entry &entry : entries) {
        const auto op = static_cast<unsigned long long>(entry.identifier);
        TavoDocument *doc = _TAVOAUDIO_Validate(entry.audio);
        const char *name = doc != nullptr ? TAVOAUDIO_GetFileName(entry.audio) : nullptr;
        BLLOG_Log("TAVOPROC [%s]:   op %llu  audio: %s", tag, op, name != nullptr ? name : "<invalid audio>");
        char kindText[32];
        const char *kindName = AUDIONOTIFY_TranslateEventKind(entry.kind);
        if (kindName == nullptr) {
            std::snprintf(kindText, sizeof kindText, "<kind %d>", static_cast<int>(entry.kind));
            kindName = kindText;
        }
        bool cancelPending = false;
        if (doc != nullptr) {
            MutexGuard guard(doc->signalMutex);
            cancelPending = doc->cancelRequested;
        }
        BLLOG_Log("TAVOPROC [%s]:   op %llu  %s  running for %.1f s%s", tag, op, kindName,
                  static_cast<double>(now - entry.registeredAt) / 1000.0, cancelPending ? " (cancel requested)" : "");
    }
    return true;
}

// ---- starting and finishing ----------------------------------------------------------

bool TAVOAUDIO_ProcessStart(TAVOAUDIO audio, bool resetProgress)
{
    return startOperation(audio, 0, true, resetProgress);
}

bool TAVOAUDIO_ProcessStartEx(TAVOAUDIO audio, bool resetProgress, int64_t identifier)
{
    return startOperation(audio, identifier, true, resetProgress);
}

bool TAVOAUDIO_ProcessStarted(TAVOAUDIO audio, int64_t identifier)
{
    return startOperation(audio, identifier, false, false);
}

bool TAVOAUDIO_ProcessFinish(TAVOAUDIO audio, bool cancelled)
{
    return finishOperation(audio, cancelled);
}

bool TAVOAUDIO_ProcessFinished(TAVOAUDIO audio, bool cancelled)
{
    return finishOperation(audio, cancelled);
}

// ---- progress and cancellation -------------------------------------------------------

bool TAVOAUDIO_ProcessUpdateProgress(TAVOAUDIO audio, double value)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    // Negative (and NaN) means "unknown".
    const double progress = !(value >= 0.0) ? -1.0 : (value > 1.0 ? 1.0 : value);
    MutexGuard guard(doc->signalMutex);
    doc->progress = progress;
    if (!doc->cancelRequested) return true;
    // The request is consumed: the worker that reads false stops.
    doc->wasCancelled = true;
    doc->cancelRequested = false;
    return false;
}

bool TAVOAUDIO_SetProcessProgress(TAVOAUDIO audio, double value)
{
    return TAVOAUDIO_ProcessUpdateProgress(audio, value);
}

double TAVOAUDIO_ProcessProgress(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return 0.0;
    MutexGuard guard(doc->signalMutex);
    return doc->progress;
}

bool TAVOAUDIO_ProcessCancel(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    int64_t identifier;
    {
        MutexGuard guard(doc->signalMutex);
        doc->cancelRequested = true;
        identifier = doc->operationId;
    }
    // Only libaudiosig's operations (identifier above 0) have somebody to
    // tell; the host's own operations see the request at their next report.
    if (identifier > 0)
        BLNOTIFY_SendEvent(doc, identifier, TAVOEVENT_PROCESS_CANCEL_REQUESTED, nullptr, nullptr, nullptr);
    return true;
}

bool TAVOAUDIO_ProcessInProgress(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    MutexGuard guard(doc->signalMutex);
    return doc->editDepth > 0 || doc->inProgress;
}

bool TAVOAUDIO_ProcessWasCanceled(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    MutexGuard guard(doc->signalMutex);
    return doc->wasCancelled || doc->cancelRequested;
}

// ---- labels and times ------------------------------------------------------------------

bool TAVOAUDIO_SetProcessLabel(TAVOAUDIO audio, const char *label)
{
    return replaceLabel(audio, label, &TavoDocument::processLabel, true);
}

bool TAVOAUDIO_SetProcessStateLabel(TAVOAUDIO audio, const char *label)
{
    return replaceLabel(audio, label, &TavoDocument::processStateLabel, false);
}

bool TAVOAUDIO_ProcessLabel(TAVOAUDIO audio, char *buffer, int32_t size)
{
    return copyLabel(audio, buffer, size, &TavoDocument::processLabel);
}

bool TAVOAUDIO_ProcessStateLabel(TAVOAUDIO audio, char *buffer, int32_t size)
{
    return copyLabel(audio, buffer, size, &TavoDocument::processStateLabel);
}

int32_t TAVOAUDIO_ProcessTime(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return -1;
    MutexGuard guard(doc->signalMutex);
    // A document that never ran an operation has no clock yet.
    if (doc->firstStartTime == 0) return 0;
    const int64_t elapsed = nowMs() - doc->firstStartTime;
    return elapsed > INT32_MAX ? INT32_MAX : static_cast<int32_t>(elapsed);
}

int32_t TAVOAUDIO_ProcessRemainingTime(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return -1;
    MutexGuard guard(doc->signalMutex);
    const double progress = doc->progress;
    const int64_t elapsed = nowMs() - doc->startTime;
    if (elapsed <= kEstimateAfterMs || progress <= kEstimateFromProgress) return -1;
    const double elapsedMs = static_cast<double>(elapsed);
    // Total time at this pace, minus what has passed.
    const auto raw = static_cast<int32_t>(elapsedMs / progress - elapsedMs + kEstimateSlackMs);
    const int32_t previous = doc->remainingEstimate < 0 ? raw : doc->remainingEstimate;
    const auto estimate =
        static_cast<int32_t>(previous * kEstimateInertia + raw * (1.0 - kEstimateInertia));
    doc->remainingEstimate = estimate;
    return estimate;
}

bool TAVOAUDIO_WaitUntilPipeClose(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    if (!TAVOAUDIO_GetReadAccessEx(audio, false)) return false;
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    // Our own reference keeps the signal alive through the wait, even if the
    // document swaps or drops it meanwhile; no lock is held while waiting.
    AUDIOSIGNAL reference = signal != nullptr ? AUDIOSIGNAL_GetReference(signal) : nullptr;
    TAVOAUDIO_ReleaseReadAccess(audio);
    if (reference == nullptr) return false;
    const bool ok = AUDIOSIGNAL_WaitUntilPipeClose(reference);
    AUDIOSIGNAL_DestroyEx(&reference);
    return ok;
}

}  // extern "C"
