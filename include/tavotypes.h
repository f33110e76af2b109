/*
** tavotypes.h: the handles and plain records that libtavo's families share.
**
** Handles are pointers to records the library owns; a host never looks
** inside them. TAVOSELECTION and TAVORECT are plain records a host may fill
** and read.
*/
#ifndef TAVOTYPES_H
#define TAVOTYPES_H

#include <stdbool.h>
#include <stdint.h>

#include "tavo_export.h"

TAVO_EXTERN_C_BEGIN

/* One open audio document (TAVOAUDIO_New, TAVOAUDIO_OpenEx ...). The host
** closes it with TAVOAUDIO_Close; every TAVOAUDIO_ function answers false,
** 0 or null for a null or closed handle. */
typedef struct TavoDocument *TAVOAUDIO;

/* The view and selection state of a document. The document owns its state;
** copies made with TAVOSTATE_CreateCopy belong to the caller. */
typedef struct TavoState *TAVOSTATE;

/* One undo step (TAVOUNDO_CreateUndoScript), owned by whoever holds it:
** the caller until it is pushed, the document's undo stack afterwards. */
typedef struct TavoUndoScript *TAVOUNDOSCRIPT;

/* One selection: begin and end in seconds from the start of the signal.
** In a document's list the selections are sorted by begin and disjoint;
** copies handed to a caller have next set to null. */
typedef struct TAVOSELECTION {
    double begin;                 /* seconds */
    double end;                   /* seconds, >= begin */
    uint8_t active;               /* the active selection of the list */
    int32_t trackIndex;           /* annotation track, -1 = on the audio */
    struct TAVOSELECTION *next;   /* following selection, null in copies */
    uint64_t channels;            /* channel word, see TAVOAUDIO_Selection */
} TAVOSELECTION;

/* A rectangle of pixels: right = left + width - 1, bottom = top + height - 1. */
typedef struct TAVORECT {
    int32_t left, top, width, height, right, bottom;
} TAVORECT;

/* The floating-point twin of TAVORECT, kept with the same rule. */
typedef struct TAVORECTF {
    double left, top, width, height, right, bottom;
} TAVORECTF;

typedef struct TAVOPOINT {
    int32_t x, y;
} TAVOPOINT;

/* The beats grid of a document: tempo, beats per bar, subdivisions per beat. */
typedef struct TAVOBEATSCONFIG {
    double bpm;
    int32_t beatsPerBar;
    int32_t note;
    bool isAuto;
} TAVOBEATSCONFIG;

TAVO_EXTERN_C_END

#endif
