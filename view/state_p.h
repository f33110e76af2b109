/*
** state_p.h: the record behind a TAVOSTATE handle, the view and selection
** state of one document.
**
** Invariants:
** - viewBegin < viewEnd whenever a signal is shown.
** - selections is sorted by begin and pairwise disjoint; its nodes come from
**   `memory` (freed one by one, or all at once by resetting the pool).
** - At most one selection has its active flag set.
** - A frozen state (an undo copy) refuses every selection change.
** - zoomBack[0 .. zoomBackTop] are the saved views, oldest first.
** The state has no lock of its own: the document's locks guard it.
*/
#ifndef TAVO_STATE_P_H
#define TAVO_STATE_P_H

#include <stdint.h>

#include "audioregion.h"
#include "blmem.h"
#include "tavoconfig.h"
#include "tavotypes.h"

/* File-state flags (fileFlags). */
#define TAVOSTATE_FILE_ASK_ON_CLOSE 0x2u     /* close asks the host first */
#define TAVOSTATE_FILE_OWN 0x4u              /* the document has a file of its own */
#define TAVOSTATE_FILE_UNRESOLVED 0x8u       /* unresolved link */
#define TAVOSTATE_FILE_LINK 0x10u            /* stands for a file, holds no signal */
#define TAVOSTATE_FILE_RESET_LINK 0x40u      /* a link was reset without signal */
#define TAVOSTATE_FILE_REGIONS_LOADED 0x80u  /* an external region file was read */
#define TAVOSTATE_FILE_READ_ONLY 0x100u      /* the format cannot be written */
#define TAVOSTATE_FILE_RECOVERED 0x400u
#define TAVOSTATE_INVALID 0x80000000u         /* the state (and document) is dead */

#define TAVOSTATE_ZOOMBACK_SIZE 64
#define TAVOSTATE_CUSTOM_TRACK_CHANNELS 32

/* The annotation-track look configured for one audio channel. */
typedef struct TavoCustomTrackConfig {
    uint32_t regionColor, regionSelectedColor, regionBorderColor, regionTextColor, fontColor;
    int32_t minHeight;
    int32_t audioChannel;
    uint32_t drawOptions;   /* TAVODEFINES_DecodeCustomTrackDrawOption bits */
} TavoCustomTrackConfig;

/* The spectrogram settings of the configured preset. */
typedef struct TavoSpectralConfig {
    char preset[64];
    int32_t fftLength;
    int32_t windowSize;
    bool normalize;
    bool invert;
    double dynamicRange;        /* dB */
    double preemphasis;
    bool usePreemphasisFilter;
    int32_t windowType;         /* TAVOCONFIG_DecodeWinType codes */
    int32_t colorScheme;        /* TAVOCONFIG_DecodeColorScheme codes */
    char fftEngine[32];         /* "auto", "fftw", "kiss" */
} TavoSpectralConfig;

struct TavoState {
    BLMEM_DESCR memory;             /* selection nodes */
    TAVOAUDIO document;             /* owner; null in copies */
    bool frozen;                    /* undo copy: selection changes refused */
    uint32_t fileFlags;             /* TAVOSTATE_FILE_ and TAVOSTATE_INVALID */
    uint32_t formatCaps;            /* capability bits of the file format */
    int64_t fileId;                 /* filled by the host (TAVODATABASE_GET_FILE_ID) */

    /* view, in frames */
    int64_t viewBegin, viewEnd;
    int64_t zoomLockLength;         /* <= 0 unlocked */
    int64_t limitBegin, limitEnd;   /* < 0 unset */
    double verticalMax, verticalMin;    /* within [-32768, 32768] */
    double spectralMin, spectralMax;    /* Hz */
    int64_t zoomBack[TAVOSTATE_ZOOMBACK_SIZE][2];
    int32_t zoomBackTop;            /* -1 = empty */
    int64_t zoomBackLastSave;       /* monotonic ms */
    int32_t areaWidth[2];           /* pixels of areas 0 and 1 without a renderer */
    int64_t numFrames;              /* frame count when the state was last assigned */
    uint64_t channelMask;           /* active channels shown */
    int32_t drawProperty[16];       /* TAVOAUDIO_SetDrawProperty */

    /* cursor and selections */
    int64_t cursor;                 /* frames */
    bool cursorOnly;
    TAVOSELECTION *selections;
    int32_t activeBorder;           /* 0 none, 1 begin, 2 end */
    TAVOSELECTION apartSelection;   /* the active selection in toolbar kind 2 */
    uint32_t selectingKind;         /* 1 replace, 2 add, 3 subtract */
    double selectingBegin, selectingEnd;    /* seconds */
    int32_t selectingTrack;
    int64_t highlightBegin, highlightEnd;   /* frames, -1 = none */

    /* visual tool shown over the waveform (0 none); edits are refused while
    ** one is shown */
    int32_t visualToolKind;

    /* Region references of the live state: each is a counted reference
    ** (AUDIOREGION_GetReference) released with AUDIOREGION_Dispose, or null.
    ** Copies of the state never hold any (makeCopy clears them). */
    AUDIOREGION focusRegion;        /* keyboard focus */
    AUDIOREGION currentRegion;      /* the document's current region */
    AUDIOREGION editRegion;         /* region whose label editor is open */
    AUDIOREGION highlightRegion;    /* highlighted region */
    uint8_t regionSearchOption;     /* last argument of every region search */
    bool regionEditLabelMode;
    char regionsHighlight[256];     /* highlight text (TAVOAUDIO_SetRegionsHighlight), "" = none */

    /* gain-change tool */
    bool gainToolEnabled;
    double gainChangeValue;
    double maxGainChangeValue;

    /* change tracking */
    uint32_t visualChange;          /* bit 0 redraw, bit 1 caches invalid */
    uint32_t changeBits;
    uint64_t shownStamp;            /* signal stamp of what is shown */
    uint64_t notifiedStamp;         /* stamp of the last TAVOAUDIO_WAS_CHANGED */

    /* display configuration */
    TAVOBEATSCONFIG beats;
    int32_t smpteFps;
    double tempo;                   /* beats per minute of the metadata, >= 15 */
    double powerMin, powerMax;      /* power graph range, dB */
    int32_t horzScaleKind, vertScaleKind, specScaleKind;
    TavoSpectralConfig spectral;
    TavoCustomTrackConfig customTracks[TAVOSTATE_CUSTOM_TRACK_CHANNELS];
    TAVODRAWCONFIG drawConfig;      /* copy of the current drawing configuration */
};

#endif
