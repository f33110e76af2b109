/*
** undo_p.h: the records behind undo scripts and a document's undo stack.
**
** Invariants:
** - A script and all its operations and payload arrays come from the
**   script's own pool; handles held by operations (signals, saved states,
**   region and track copies, metadata) are references the script releases
**   when it is destroyed.
** - ops is newest first: running from the head runs the operations in the
**   reverse of the order in which they were added.
** - undo[0 .. undoCount-1] and redo[0 .. redoCount-1] are oldest first; both
**   arrays hold `capacity` slots.
** The stack has no lock of its own: the document's write access guards it,
** label queries read it under read access.
*/
#ifndef TAVO_UNDO_P_H
#define TAVO_UNDO_P_H

#include <stdint.h>

#include "audiometadata.h"
#include "audioregion.h"
#include "audiosignal.h"
#include "blmem.h"
#include "tavotypes.h"
#include "tavoundo.h"

/* Operation kinds. */
enum {
    TAVOUNDO_OP_NOACTION = 0,
    TAVOUNDO_OP_TIMES = 1,
    TAVOUNDO_OP_AUDIO_BLOCKS = 2,
    TAVOUNDO_OP_REGION = 3,
    TAVOUNDO_OP_CREATE_REGION = 4,
    TAVOUNDO_OP_ALL_REGIONS = 5,
    TAVOUNDO_OP_SIGNAL = 6,
    TAVOUNDO_OP_SAMPLE_RATE = 7,
    TAVOUNDO_OP_SWAP_CHANNELS = 8,
    TAVOUNDO_OP_METADATA = 9,
    TAVOUNDO_OP_NOTHING = 10,
    TAVOUNDO_OP_PASTED_SIGNAL = 11,
    TAVOUNDO_OP_TRACK = 12,
    TAVOUNDO_OP_CREATE_TRACK = 13,
    TAVOUNDO_OP_TIMECODE = 14,
    TAVOUNDO_OP_SAMPLES = 15,
};

/* One region of an all-regions operation: the live handle (referenced) and
** its contents when recorded. */
typedef struct TavoUndoRegionPair {
    AUDIOREGION region;
    AUDIOREGION copy;
} TavoUndoRegionPair;

typedef struct TavoUndoOp {
    uint32_t kind;
    struct TavoUndoOp *next;            /* older operation */
    uint64_t times[3];                  /* kind 1 */
    AUDIOSIGNAL_STATE blocks;           /* kind 2 */
    AUDIOREGION region, regionCopy;     /* kinds 3 (both), 4 (region) */
    uint32_t flags;                     /* kind 3: AUDIOSIGNAL_ReplaceRegionEx flags */
    TavoUndoRegionPair *pairs;          /* kind 5 */
    int32_t pairCount;
    int32_t trackIndex;                 /* kind 5: -1 = every track */
    AUDIOSIGNAL signal;                 /* kinds 6, 11 */
    uint32_t rate;                      /* kind 7 */
    AUDIOMETADATA metadata;             /* kind 9, null = none */
    AUDIOREGIONTRACK trackCopy;         /* kind 12 */
    char *uniqId;                       /* kind 13 */
    int64_t timecode;                   /* kind 14 */
    TAVOUNDOSAMPLE *samples;            /* kind 15 */
    uint32_t sampleCount;
} TavoUndoOp;

struct TavoUndoScript {
    BLMEM_DESCR pool;                   /* owns this record and every operation */
    char label[TAVOUNDO_LABEL_SIZE];    /* translated when the script was made */
    TAVOSTATE state;                    /* frozen copy of the view state before the step */
    uint64_t stamp;                     /* signal content stamp before the step, 0 = no signal */
    uint32_t count;
    TavoUndoOp *ops;                    /* newest first */
};

struct TavoUndoStack {
    uint32_t capacity;                  /* 4..512, read once when the stack is made */
    uint32_t undoCount;
    uint32_t redoCount;
    TAVOUNDOSCRIPT *undo;               /* oldest first */
    TAVOUNDOSCRIPT *redo;               /* oldest first; the newest undone step last */
};

/* The stack's capacity for the current settings: "undo_stack_size" clamped
** to 4..512, 128 when unset. */
uint32_t _TAVOUNDO_Capacity(void);

/* Sets the document's rate without resampling and rescales the selections.
** Call with write access held. */
bool _TAVOUNDO_ApplySampleRate(struct TavoDocument *doc, int32_t rate);

/* The timecode kept in the signal's metadata (0 when none) and setting it.
** Call with read (get) or write (set) access held. */
int64_t _TAVOUNDO_Timecode(AUDIOSIGNAL signal);
bool _TAVOUNDO_SetTimecode(AUDIOSIGNAL signal, int64_t timecode);

#endif
