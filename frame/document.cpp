// document.cpp: the document record, its creation, naming, validity,
// setters, reset and closing (TAVOAUDIO_ lifecycle members).

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>

#include "audiofile.h"
#include "blio.h"
#include "bldebug.h"
#include "blregister.h"
#include "blsettings.h"
#include "blstring.h"
#include "frame/document_p.h"
#include "frame/lifecycle_p.h"
#include "tavoaudio.h"
#include "tavoconfig.h"
#include "tavonotify.h"
#include "tavoproc.h"
#include "tavostate.h"
#include "tavoundo.h"
#include "tavozoom.h"
#include "view/state_p.h"

namespace {

// Documents made so far in this process. Only the numbering depends on it;
// an atomic keeps two threads from taking the same number without a lock.
std::atomic<uint32_t> g_newDocuments{0};

bool destroyRegistered(void *object)
{
    return TAVOAUDIO_Close(static_cast<TAVOAUDIO>(object));
}

// The registry keeps a pointer to the descriptor: it must be static.
const BLREGISTER_DESCR kRegistryType = {"LPTAVOAUDIO", destroyRegistered};

bool isLive(const TavoDocument *doc)
{
    return doc->version == 1 && doc->tag == TAVOAUDIO_TAG;
}

void copyText(char *buffer, size_t size, const char *text)
{
    std::snprintf(buffer, size, "%s", text != nullptr ? text : "");
}

// "empty" for the first document of the process, "untitled #N" after it,
// N being the count of documents made before this one.
void nameNewDocument(TavoDocument *doc)
{
    const uint32_t taken = g_newDocuments.fetch_add(1);
    if (taken == 0) copyText(doc->nameBuffer, sizeof(doc->nameBuffer), "empty");
    else std::snprintf(doc->nameBuffer, sizeof(doc->nameBuffer), "untitled #%u", taken);
    doc->fileName = doc->nameBuffer;
}

// What creation does once the record holds its signal: stamps, default
// view, notification and registration.
TAVOAUDIO finishCreation(TavoDocument *doc, AUDIOSIGNAL signal, bool countsAsSaved, bool reapplyConfig)
{
    TAVOAUDIO audio = doc;
    nameNewDocument(doc);
    _TAVOAUDIO_AttachSignal(doc, signal);
    doc->draw = nullptr;
    doc->fileKind = 0;
    const uint64_t stamp = AUDIOSIGNAL_GetTimeStamp(signal, AUDIOSIGNAL_STAMP_CONTENT);
    doc->state->shownStamp = stamp;
    doc->changeStamp = countsAsSaved ? stamp : 0;
    doc->fileStamp = 0;
    doc->fileSize = 0;
    // No notification from the view defaults: one notification with every
    // change bit follows.
    TAVOAUDIO_SetZoomLimitsEx(audio, -1, -1, 0);
    TAVOAUDIO_ZoomResetEx(audio, 0);
    TAVOAUDIO_SetCursorPositionEx2(audio, 0, 0);
    if (reapplyConfig) TAVOCONFIG_ApplyStateConfigurationEx(audio, doc->state, true);
    TAVOSTATE_NotifyChanges(audio, 0, TAVOAUDIO_CHANGES_ALL);
    _TAVOAUDIO_Register(doc);
    return audio;
}

// Frees the record's parts in teardown order; each destroy that fails
// leaves its pointer set and the teardown goes on. Call with no lock held;
// the write lock is taken here around the parts other threads may reach.
void tearDown(TavoDocument *doc)
{
    TAVOAUDIO audio = doc;
    BLREGISTER_DelObject(doc);
    TAVOPROC_AudioDestroyed(audio);
    // No handler may run from here on.
    if (doc->dispatcher != nullptr && BLNOTIFY_DestroyDispatcher(doc->dispatcher)) doc->dispatcher = nullptr;

    const bool locked = doc->rwlock != nullptr && ReadWriteLock_WriteLock(doc->rwlock);
    // Signals are destroyed outside the mutex: destroying one may take long.
    AUDIOSIGNAL signal = nullptr;
    AUDIOSIGNAL second = nullptr;
    {
        TavoSignalMutex guard(doc);
        signal = doc->signal;
        doc->signal = nullptr;
        second = doc->secondSignal;
        doc->secondSignal = nullptr;
    }
    if (signal != nullptr) {
        AUDIOSIGNAL_SetParentObject(signal, nullptr, nullptr);
        AUDIOSIGNAL_Destroy(signal);
    }
    if (second != nullptr) AUDIOSIGNAL_Destroy(second);

    // The renderer (TAVODRAW_Destroy) is destroyed at this point of the
    // teardown. This build of the library never makes one, so `draw` is
    // always null here and there is nothing to destroy.
    if (doc->pendingGroup != nullptr && TAVOUNDO_DestroyUndoScript(audio, doc->pendingGroup))
        doc->pendingGroup = nullptr;
    if (doc->metadataEditionScript != nullptr && TAVOUNDO_DestroyUndoScript(audio, doc->metadataEditionScript))
        doc->metadataEditionScript = nullptr;
    if (doc->undo != nullptr && TAVOUNDO_DestroyStack(audio)) doc->undo = nullptr;
    if (doc->state != nullptr && TAVOSTATE_Destroy(doc->state)) doc->state = nullptr;

    if (locked) ReadWriteLock_WriteUnlock(doc->rwlock);
    ReadWriteLock_Destroy(doc->rwlock);
    doc->rwlock = nullptr;
    MutexDestroy(doc->signalMutex);
    doc->signalMutex = nullptr;
    doc->version = 0;
    BLMEM_DisposeMemDescr(doc->memory);   // frees the record itself
}

} // namespace

// ---- shared helpers -----------------------------------------------------

TavoDocument *_TAVOAUDIO_CreateRecord(void)
{
    BLMEM_DESCR memory = BLMEM_CreateMemDescrEx("TAVOAUDIO Data Memory", 0, 8);
    if (memory == nullptr) return nullptr;
    auto *doc = static_cast<TavoDocument *>(BLMEM_NewEx(memory, sizeof(TavoDocument), 0));
    if (doc == nullptr) {
        BLMEM_DisposeMemDescr(memory);
        return nullptr;
    }
    doc->tag = TAVOAUDIO_TAG;
    doc->version = 1;
    doc->memory = memory;
    doc->flags = TAVOAUDIO_FLAG_EDITABLE;
    doc->fileName = doc->nameBuffer;
    doc->remainingEstimate = -9999;
    doc->zoomBackSaveInterval = BLSETTINGS_GetIntEx(nullptr, "libtavo.zoomoptions.zoomback_save_interval=[1000]");
    doc->dispatcher = BLNOTIFY_CreateDispatcher(doc);
    doc->rwlock = ReadWriteLock_Init();
    doc->signalMutex = MutexInit();
    if (doc->dispatcher == nullptr || doc->rwlock == nullptr || doc->signalMutex == nullptr) {
        _TAVOAUDIO_DiscardRecord(doc);
        return nullptr;
    }
    doc->state = TAVOSTATE_Create(doc);
    if (doc->state == nullptr) {
        _TAVOAUDIO_DiscardRecord(doc);
        return nullptr;
    }
    const TAVODRAWCONFIG *config = TAVOCONFIG_GetCurrentDrawConfig();
    if (config != nullptr) doc->state->drawConfig = *config;
    TAVOCONFIG_ApplyStateConfigurationEx(doc, doc->state, false);
    return doc;
}

void _TAVOAUDIO_DiscardRecord(TavoDocument *doc)
{
    if (doc == nullptr) return;
    // Never registered, never seen by a handler: the teardown's steps apply
    // as they are (the registry and the operations registry know nothing).
    tearDown(doc);
}

bool _TAVOAUDIO_Register(TavoDocument *doc)
{
    return BLREGISTER_AddObject(doc, &kRegistryType);
}

AUDIOSIGNAL _TAVOAUDIO_AttachSignal(TavoDocument *doc, AUDIOSIGNAL signal)
{
    TavoSignalMutex guard(doc);
    AUDIOSIGNAL previous = doc->signal;
    if (previous == signal) return nullptr;
    if (previous != nullptr) AUDIOSIGNAL_SetParentObject(previous, nullptr, nullptr);
    doc->signal = signal;
    if (signal != nullptr) AUDIOSIGNAL_SetParentObject(signal, doc, _TAVOAUDIO_SignalCallback);
    return previous;
}

uint32_t _TAVOAUDIO_StoreFileName(TavoDocument *doc, const char *fileName)
{
    if (doc->fileName != doc->nameBuffer && doc->fileName != nullptr) BLMEM_Delete(doc->memory, doc->fileName);
    copyText(doc->nameBuffer, sizeof(doc->nameBuffer), fileName);
    doc->fileName = doc->nameBuffer;
    doc->fileKind = BLIO_FileKind(doc->nameBuffer);
    return doc->fileKind;
}

void _TAVOAUDIO_StoreFileFormat(TavoDocument *doc, const char *format)
{
    copyText(doc->fileFormat, sizeof(doc->fileFormat), format);
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    if (signal == nullptr || doc->state == nullptr) return;
    const bool writable = AUDIO_SupportFormat(1, doc->fileFormat);
    AUDIOSIGNAL_SetReadOnly(signal, !writable);
    if (writable) doc->state->fileFlags &= ~TAVOSTATE_FILE_READ_ONLY;
    else doc->state->fileFlags |= TAVOSTATE_FILE_READ_ONLY;
}

void _TAVOAUDIO_SendFileNameChanged(TavoDocument *doc)
{
    _TAVOAUDIO_Send(doc, TAVOAUDIO_FILENAME_CHANGED, doc->fileName,
                    reinterpret_cast<void *>(static_cast<uintptr_t>(doc->fileKind)), nullptr);
}

uint64_t _TAVOAUDIO_FileStamp(const char *path)
{
    BLtime time;
    if (!BLIO_GetFileTime(path, &time)) return 0;
    return static_cast<uint64_t>(BLUTILS_BLtimeToTimestamp(time));
}

uint32_t _TAVOAUDIO_FileFlags(TavoDocument *doc)
{
    return doc->state != nullptr ? doc->state->fileFlags : 0;
}

TavoDocument *_TAVOAUDIO_Validate(TAVOAUDIO audio)
{
    if (audio == nullptr || !isLive(audio)) return nullptr;
    if (audio->state == nullptr || (audio->state->fileFlags & TAVOSTATE_INVALID) != 0) return nullptr;
    return audio;
}

AUDIOSIGNAL _TAVOAUDIO_Signal(TavoDocument *doc)
{
    if (doc == nullptr || doc->signalMutex == nullptr) return nullptr;
    TavoSignalMutex guard(doc);
    return doc->signal;
}

int32_t _TAVOAUDIO_Send(TavoDocument *doc, int32_t kind, void *arg1, void *arg2, void *arg3)
{
    if (doc == nullptr || doc->dispatcher == nullptr) return 1;
    return BLNOTIFY_DispatcherSendEventEx(doc->dispatcher, 0, kind, arg1, arg2, arg3);
}

// ---- creation -----------------------------------------------------------

TAVO_API TAVOAUDIO TAVOAUDIO_New(const char *format)
{
    AUDIOSIGNAL signal = AUDIOSIGNAL_New(format);
    if (signal == nullptr) return nullptr;
    TavoDocument *doc = _TAVOAUDIO_CreateRecord();
    if (doc == nullptr) {
        AUDIOSIGNAL_Destroy(signal);
        return nullptr;
    }
    return finishCreation(doc, signal, true, false);
}

TAVO_API TAVOAUDIO TAVOAUDIO_NewFromSignalEx(AUDIOSIGNAL signal, bool copy, uint32_t flags)
{
    if (signal == nullptr) return nullptr;
    AUDIOSIGNAL held = copy ? AUDIOSIGNAL_DuplicateEx(signal, flags) : signal;
    if (held == nullptr) return nullptr;
    TavoDocument *doc = _TAVOAUDIO_CreateRecord();
    if (doc == nullptr) {
        // The caller keeps its own signal when the document cannot be made.
        if (copy) AUDIOSIGNAL_Destroy(held);
        return nullptr;
    }
    if ((flags & (1u << 27)) != 0) doc->flags |= TAVOAUDIO_FLAG_FROM_BIT27;
    return finishCreation(doc, held, false, true);
}

// ---- queries ------------------------------------------------------------

TAVO_API bool TAVOAUDIO_IsValid(TAVOAUDIO audio)
{
    return _TAVOAUDIO_Validate(audio) != nullptr;
}

TAVO_API bool TAVOAUDIO_IsOpen(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    return _TAVOAUDIO_Signal(doc) != nullptr && (doc->state->fileFlags & TAVOSTATE_FILE_LINK) == 0;
}

TAVO_API bool TAVOAUDIO_IsLink(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    return doc != nullptr && (doc->state->fileFlags & TAVOSTATE_FILE_LINK) != 0;
}

TAVO_API bool TAVOAUDIO_IsUnresolvedLink(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    return doc != nullptr && (doc->state->fileFlags & TAVOSTATE_FILE_UNRESOLVED) != 0;
}

TAVO_API bool TAVOAUDIO_IsRecovered(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    return doc != nullptr && (doc->state->fileFlags & TAVOSTATE_FILE_RECOVERED) != 0;
}

TAVO_API bool TAVOAUDIO_IsEditable(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    return doc != nullptr && (doc->flags & TAVOAUDIO_FLAG_EDITABLE) != 0;
}

TAVO_API const char *TAVOAUDIO_GetFileName(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    return doc != nullptr ? doc->fileName : nullptr;
}

TAVO_API const char *TAVOAUDIO_GetDisplayName(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return nullptr;
    return doc->displayName != nullptr ? doc->displayName : doc->fileName;
}

TAVO_API const char *TAVOAUDIO_GetFileFormatString(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    return doc != nullptr ? doc->fileFormat : nullptr;
}

// ---- setters ------------------------------------------------------------

TAVO_API bool TAVOAUDIO_SetRealFileName(TAVOAUDIO audio, const char *fileName)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || fileName == nullptr) return false;
    {
        TavoDocWriteLock lock(doc);
        if (!lock) return false;
        _TAVOAUDIO_StoreFileName(doc, fileName);
    }
    _TAVOAUDIO_SendFileNameChanged(doc);
    return true;
}

TAVO_API bool TAVOAUDIO_SetFileFormat(TAVOAUDIO audio, const char *format)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || format == nullptr) return false;
    TavoDocWriteLock lock(doc);
    if (!lock) return false;
    _TAVOAUDIO_StoreFileFormat(doc, format);
    return true;
}

TAVO_API bool TAVOAUDIO_ResetEx(TAVOAUDIO audio, uint32_t flags)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    {
        TavoDocWriteLock lock(doc);
        if (!lock) return false;
        if (_TAVOAUDIO_Signal(doc) == nullptr) {
            // A link without audio remembers the reset for its next resolve.
            if ((doc->state->fileFlags & TAVOSTATE_FILE_LINK) == 0) return false;
            doc->state->fileFlags |= TAVOSTATE_FILE_RESET_LINK;
            return true;
        }
        doc->changeStamp = 0;
        doc->state->fileFlags &= ~TAVOSTATE_FILE_OWN;
        if ((flags & 0x40) != 0) doc->state->fileFlags |= TAVOSTATE_FILE_RECOVERED;
    }
    TAVOSTATE_NotifyChanges(audio, 0, TAVOAUDIO_CHANGES_ALL);
    return true;
}

TAVO_API bool TAVOAUDIO_Reset(TAVOAUDIO audio)
{
    return TAVOAUDIO_ResetEx(audio, 0);
}

// ---- signal and stamps --------------------------------------------------

TAVO_API AUDIOSIGNAL TAVOAUDIO_GetAudioSignal(TAVOAUDIO audio)
{
    return _TAVOAUDIO_Signal(_TAVOAUDIO_Validate(audio));
}

TAVO_API AUDIOSIGNAL TAVOAUDIO_SetAudioSignal(TAVOAUDIO audio, AUDIOSIGNAL signal)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return nullptr;
    return _TAVOAUDIO_AttachSignal(doc, signal);
}

TAVO_API uint64_t TAVOAUDIO_ChangeStamp(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    return doc != nullptr ? doc->changeStamp : 0;
}

TAVO_API bool TAVOAUDIO_SetChangeStamp(TAVOAUDIO audio, uint64_t stamp)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    doc->changeStamp = stamp;
    return true;
}

TAVO_API bool TAVOAUDIO_HasChanges(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    if ((doc->state->fileFlags & TAVOSTATE_FILE_ASK_ON_CLOSE) != 0) return true;
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    return signal != nullptr && AUDIOSIGNAL_GetTimeStamp(signal, AUDIOSIGNAL_STAMP_CONTENT) != doc->changeStamp;
}

// ---- closing ------------------------------------------------------------

TAVO_API bool TAVOAUDIO_Close(TAVOAUDIO audio)
{
    TavoDocument *doc = audio;
    if (doc == nullptr || !isLive(doc)) return false;
    if (doc->state != nullptr && (doc->state->fileFlags & TAVOSTATE_FILE_ASK_ON_CLOSE) != 0 &&
        BLNOTIFY_DispatcherSendEventEx(doc->dispatcher, 0, TAVOAUDIO_CLOSE_CHANGED_FILE, doc, nullptr, nullptr) != 1)
        return false;
    if (doc->signalMutex == nullptr) return true;
    bool mine = false;
    {
        TavoSignalMutex guard(doc);
        // Only the first close tears down; one arriving during the teardown
        // (another thread, or the object registry) finds the mark set.
        if (!doc->closing && isLive(doc)) {
            doc->closing = true;
            mine = true;
        }
    }
    if (mine) tearDown(doc);
    return true;
}

TAVO_API bool TAVOAUDIO_CloseEx(TAVOAUDIO audio, int32_t mode)
{
    if (mode == 0) return TAVOAUDIO_Close(audio);
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || mode != 1) return false;
    const uint32_t fileFlags = doc->state->fileFlags;
    if ((fileFlags & TAVOSTATE_FILE_OWN) == 0 || (fileFlags & TAVOSTATE_FILE_ASK_ON_CLOSE) != 0) return false;

    AUDIOSIGNAL signal = nullptr;
    {
        TavoDocWriteLock lock(doc);
        if (!lock) return false;
        TavoState *state = doc->state;
        // Selection nodes come from the state's pool, one by one.
        for (TAVOSELECTION *node = state->selections; node != nullptr;) {
            TAVOSELECTION *next = node->next;
            BLMEM_Delete(state->memory, node);
            node = next;
        }
        state->selections = nullptr;
        signal = _TAVOAUDIO_AttachSignal(doc, nullptr);
        // The renderer would be dropped here with TAVODRAW_Destroy; this
        // build makes none.
        if (doc->undo != nullptr && TAVOUNDO_DestroyStack(audio)) doc->undo = nullptr;
        TAVOSTATE_ResetRegionsState(state);
        doc->fileStamp = _TAVOAUDIO_FileStamp(doc->nameBuffer);
        const int64_t size = BLIO_FileSizeOnDiskEx(doc->nameBuffer);
        doc->fileSize = size > 0 ? static_cast<uint64_t>(size) : 0;
        state->fileFlags = TAVOSTATE_FILE_LINK | TAVOSTATE_FILE_OWN;
    }
    if (signal != nullptr) AUDIOSIGNAL_Destroy(signal);
    // Kept as the interface has always answered: false, even though the
    // document is now a link to its file.
    return false;
}
