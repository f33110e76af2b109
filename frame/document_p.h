/*
** document_p.h: the record behind a TAVOAUDIO handle.
**
** Invariants:
** - tag is TAVOAUDIO_TAG and version 1 while the record lives; version
**   becomes 0 just before the pool (which holds the record) is disposed of.
** - Every allocation that belongs to the document comes from `memory`.
** - Lock order: rwlock, then signalMutex. signalMutex guards only the
**   signal pointers, editDepth, closing and the progress fields; it is never
**   held across a long call (signals are destroyed after releasing it).
** - Handlers run with no lock of this record held unless the sending
**   function says otherwise.
*/
#ifndef TAVO_DOCUMENT_P_H
#define TAVO_DOCUMENT_P_H

#include <stdint.h>

#include "audiosignal.h"
#include "blmem.h"
#include "blnotify.h"
#include "blthread.h"
#include "tavotypes.h"

#define TAVOAUDIO_TAG 0x5461764Fu
#define TAVOAUDIO_NAME_SIZE 2048
#define TAVOAUDIO_FORMAT_SIZE 4096

/* Change bits that say everything about the signal, its file and the view
** may have changed: sent after creation, reset, reload, undo and redo, and
** by selection changes while the gain-change tool is shown. */
#define TAVOAUDIO_CHANGES_ALL 0x80001c18u

/* Document flags. */
#define TAVOAUDIO_FLAG_EDITABLE 0x1u
#define TAVOAUDIO_FLAG_NO_RECENT 0x2u          /* no recent-file event on open */
#define TAVOAUDIO_FLAG_FROM_BIT27 0x100u       /* made from a signal with creation bit 27 */

struct TavoUndoStack;   /* edit/undo_p.h */
struct TavoDraw;        /* the renderer, made on first draw */

struct TavoDocument {
    uint32_t tag;
    uint32_t version;
    BLMEM_DESCR memory;                 /* owns this record and all it holds */
    TAVOSTATE state;                    /* view, selections, file-state flags */

    AUDIOSIGNAL signal;                 /* under signalMutex */
    AUDIOSIGNAL secondSignal;           /* owned, destroyed on close; under signalMutex */
    struct TavoUndoStack *undo;         /* made at the first push */
    TAVOUNDOSCRIPT pendingGroup;        /* TAVOAUDIO_BeginUndoableOperation */
    struct TavoDraw *draw;              /* renderer, null until first draw */
    BLNOTIFY_DISPATCHER dispatcher;     /* destroyed first in the teardown */

    uint32_t flags;                     /* TAVOAUDIO_FLAG_ */
    char *fileName;                     /* nameBuffer, or a pool string */
    char nameBuffer[TAVOAUDIO_NAME_SIZE];
    char *displayName;                  /* pool string, or null = file name */
    char fileFormat[TAVOAUDIO_FORMAT_SIZE];
    uint64_t changeStamp;               /* signal stamp that counts as saved */
    uint64_t fileStamp;                 /* file's modification time as a stamp */
    uint64_t fileSize;                  /* bytes on disk */
    uint32_t fileKind;                  /* BLIO_FileKind, 0 for a new document */
    char *regionFileName;               /* pending external region file, or null */
    char *regionFileFormat;

    /* The open metadata edition (TAVOAUDIO_BeginMetadataEdition): setters
    ** inside it count their changes instead of sending events. */
    bool metadataEditionOpen;
    int32_t metadataEditionChanges;
    TAVOUNDOSCRIPT metadataEditionScript;   /* owned until pushed or destroyed */

    uint32_t lastError;                 /* 0 = none, 21 = see lastErrorMessage */
    const char *lastErrorMessage;       /* not owned */

    // Lock order: rwlock, then signalMutex.
    BLRWLOCK rwlock;
    uint32_t selectionWriteDepth;       /* nested selection write accesses */
    bool pendingNotify;                 /* a notification is owed on release */
    uint32_t pendingBits;               /* change bits owed */
    BLMUTEX signalMutex;
    uint32_t editDepth;                 /* edit accesses held; under signalMutex */
    bool closing;                       /* set once; under signalMutex */
    uint32_t notifySuspended;           /* > 0: TAVOSTATE_NotifyChanges is silent */

    int64_t zoomBackSaveInterval;       /* ms, "libtavo.zoomoptions.zoomback_save_interval" */

    /* The long operation shown to the user; all under signalMutex. */
    bool cancelRequested;
    bool inProgress;
    bool wasCancelled;
    int64_t operationId;
    double progress;                    /* 0..1, -1 = unknown */
    char *processLabel;                 /* pool strings or null */
    char *processStateLabel;
    int64_t firstStartTime;             /* ms */
    int64_t startTime;                  /* ms */
    int32_t remainingEstimate;          /* ms, -9999 = none yet */
    char masterTrackId[256];            /* id of the master annotation track, "" = none (regions/tracks.cpp) */
};

/* Scoped guards for the document's locks, for every module that takes
** them: the lock is held from construction to release() or the end of the
** block. */
/* The write lock for a block, waiting; release() ends it early so that
** events can go out without it. */
class TavoDocWriteLock {
public:
    explicit TavoDocWriteLock(struct TavoDocument *doc) : m_lock(doc->rwlock)
    {
        m_held = ReadWriteLock_WriteLock(m_lock);
    }
    ~TavoDocWriteLock() { release(); }
    TavoDocWriteLock(const TavoDocWriteLock &) = delete;
    TavoDocWriteLock &operator=(const TavoDocWriteLock &) = delete;
    explicit operator bool() const { return m_held; }
    void release()
    {
        if (m_held) ReadWriteLock_WriteUnlock(m_lock);
        m_held = false;
    }

private:
    BLRWLOCK m_lock;
    bool m_held = false;
};

/* The read lock for a block, waiting. */
class TavoDocReadLock {
public:
    explicit TavoDocReadLock(struct TavoDocument *doc) : m_lock(doc->rwlock)
    {
        m_held = ReadWriteLock_ReadLock(m_lock);
    }
    ~TavoDocReadLock() { release(); }
    TavoDocReadLock(const TavoDocReadLock &) = delete;
    TavoDocReadLock &operator=(const TavoDocReadLock &) = delete;
    explicit operator bool() const { return m_held; }
    void release()
    {
        if (m_held) ReadWriteLock_ReadUnlock(m_lock);
        m_held = false;
    }

private:
    BLRWLOCK m_lock;
    bool m_held = false;
};

/* The signal mutex for a block. Never call into libaudiosig for long
** under it. */
class TavoSignalMutex {
public:
    explicit TavoSignalMutex(struct TavoDocument *doc) : m_mutex(doc->signalMutex) { MutexLock(m_mutex); }
    ~TavoSignalMutex() { MutexUnlock(m_mutex); }
    TavoSignalMutex(const TavoSignalMutex &) = delete;
    TavoSignalMutex &operator=(const TavoSignalMutex &) = delete;

private:
    BLMUTEX m_mutex;
};

/* The live record behind `audio`, or null when the handle is null, dead or
** its state is marked invalid (the test TAVOAUDIO_IsValid makes). */
struct TavoDocument *_TAVOAUDIO_Validate(TAVOAUDIO audio);

/* The document's signal, read under its signal mutex (may be null). */
AUDIOSIGNAL _TAVOAUDIO_Signal(struct TavoDocument *doc);

/* Sends an event through the document's dispatcher; 1 when it has none. */
int32_t _TAVOAUDIO_Send(struct TavoDocument *doc, int32_t kind, void *arg1, void *arg2, void *arg3);

/* The library error code for libaudiosig's error bits (one bit each). */
uint32_t _TranslateAudioSignalError(uint32_t audioError);

/* The parent callback of every signal a document holds (region-track renames). */
bool _TAVOAUDIO_SignalCallback(void *parent, int32_t kind, void *arg1, void *arg2);

#endif
