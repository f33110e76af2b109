/*
** audiosignal.h: the signal object of libaudiosig (AUDIOSIGNAL_,
** AUDIOBLOCKSLIST_).
**
** A signal is a format and, per channel, a list of spans over shared,
** immutable, reference-counted sample blocks. Duplicating a signal copies
** span lists, never samples; writing samples copies only the blocks it
** touches. Blocks keep the sample width they were made with (16-bit audio
** stays two bytes a sample) and carry summaries (minimum, maximum, sum of
** squares per run of frames) from which the display queries answer in time
** independent of the number of samples under a column.
**
** Handles are counted references: AUDIOSIGNAL_GetReference adds one,
** AUDIOSIGNAL_Destroy drops one, and the signal is freed with its last
** reference. Every function takes a null handle harmlessly and answers
** false, 0 or null.
**
** Threads: reads (queries, sample reads, display queries) may run on any
** number of threads at once, also while another thread changes the signal;
** changes of one signal must come from one thread at a time (the engine
** edits duplicates and swaps them in). Notifications to the parent object
** are delivered on the thread that caused them.
*/
#ifndef AUDIOSIGNAL_H
#define AUDIOSIGNAL_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "audioformat.h"
#include "audiosig_export.h"

AUDIO_EXTERN_C_BEGIN

typedef struct AudioSignalObject *AUDIOSIGNAL;
typedef struct AudioSignalState *AUDIOSIGNAL_STATE;
typedef struct AudioBlocksList *AUDIOBLOCKSLIST;

/* Called by the signal with its parent object, a callback kind and two
** arguments; its answer is returned to whoever caused the call. Kind 111:
** a region track was renamed (arguments: the track's identifier and the
** new label). */
typedef bool (*AUDIOSIGNAL_CALLBACK)(void *parent, int32_t kind, void *arg1, void *arg2);

/* Flags of AUDIOSIGNAL_DuplicateEx; other bits are ignored, so callers
** may pass flags meant for other calls through. */
#define AUDIOSIGNAL_DUPLICATE_NO_REGIONS 0x1
#define AUDIOSIGNAL_DUPLICATE_NO_METADATA 0x2

/* Kinds of AUDIOSIGNAL_GetTimeStamp and AUDIOSIGNAL_GetTime. */
#define AUDIOSIGNAL_STAMP_CONTENT 0 /* advanced by every change of the signal */
#define AUDIOSIGNAL_STAMP_SAVED 1   /* the content stamp at the last load or save */
#define AUDIOSIGNAL_STAMP_FILE 2    /* the file's modification time (ms since 1970) at the last load or save */

/* Change kinds of AUDIOSIGNAL_HasChangesEx and AUDIOSIGNAL_NotifyChange. */
#define AUDIOSIGNAL_CHANGE_AUDIO 0x1
#define AUDIOSIGNAL_CHANGE_METADATA 0x2
#define AUDIOSIGNAL_CHANGE_REGIONS 0x4

/* ---- creation and lifetime --------------------------------------------- */

/* An empty signal of the format text ("AUTO[sr=8000,nc=1]"; what the text
** leaves out comes from AUDIO_NullFormat). Null for a malformed text. */
AUDIO_API AUDIOSIGNAL AUDIOSIGNAL_New(const char *format);

/* A signal of `frames` frames of silence in `format` (its tag is cleared:
** the signal has no file). Silence costs no sample memory. Null for a
** negative length or an invalid format. */
AUDIO_API AUDIOSIGNAL AUDIOSIGNAL_CreateSilence(int64_t frames, AUDIO_FORMAT format);

/* Adds a reference and returns the same handle. */
AUDIO_API AUDIOSIGNAL AUDIOSIGNAL_GetReference(AUDIOSIGNAL signal);

/* Drops one reference; the last one frees the signal. False for null. */
AUDIO_API bool AUDIOSIGNAL_Destroy(AUDIOSIGNAL signal);

/* AUDIOSIGNAL_Destroy through a pointer, which is then cleared. */
AUDIO_API bool AUDIOSIGNAL_DestroyEx(AUDIOSIGNAL *signal);

/* A new signal (one reference, no parent) with the same format, samples,
** label, regions and metadata (see the DUPLICATE flags). Costs O(blocks):
** the samples are shared. */
AUDIO_API AUDIOSIGNAL AUDIOSIGNAL_DuplicateEx(AUDIOSIGNAL signal, uint32_t flags);

/* ---- parent, label, read-only ------------------------------------------ */

/* Sets the object notified of the signal's changes and its callback (both
** null detaches). Notifications of long operations carry the parent as
** their source. */
AUDIO_API bool AUDIOSIGNAL_SetParentObject(AUDIOSIGNAL signal, void *parent, AUDIOSIGNAL_CALLBACK callback);
AUDIO_API void *AUDIOSIGNAL_GetParentObject(AUDIOSIGNAL signal);

/* Calls the parent's callback; true when there is none. */
AUDIO_API bool AUDIOSIGNAL_CallParent(AUDIOSIGNAL signal, int32_t kind, void *arg1, void *arg2);

/* A read-only signal refuses every change (AUDIO_ERROR_READ_ONLY). */
AUDIO_API bool AUDIOSIGNAL_SetReadOnly(AUDIOSIGNAL signal, bool readOnly);
AUDIO_API bool AUDIOSIGNAL_IsReadOnly(AUDIOSIGNAL signal);

/* The signal's label, normally the file it was read from; "" when none.
** The text is the signal's: valid until the label changes. */
AUDIO_API const char *AUDIOSIGNAL_SignalLabel(AUDIOSIGNAL signal);
AUDIO_API bool AUDIOSIGNAL_SetSignalLabel(AUDIOSIGNAL signal, const char *label);

/* ---- format ------------------------------------------------------------ */

/* The format by value (AUDIO_NullFormat for null) and by reference (valid
** while the signal lives and its format is not changed). */
AUDIO_API AUDIO_FORMAT AUDIOSIGNAL_GetFormat(AUDIOSIGNAL signal);
AUDIO_API const AUDIO_FORMAT *AUDIOSIGNAL_GetFormatRef(AUDIOSIGNAL signal);

AUDIO_API int64_t AUDIOSIGNAL_NumFrames(AUDIOSIGNAL signal);
AUDIO_API int32_t AUDIOSIGNAL_NumChannels(AUDIOSIGNAL signal);
AUDIO_API int32_t AUDIOSIGNAL_SampleRate(AUDIOSIGNAL signal);

/* Active channels are those that edits and displays work on (all, at
** first). Bit i stands for channel i; bits of channels the signal lacks are
** ignored. A mask without any of the signal's channels is refused. */
AUDIO_API bool AUDIOSIGNAL_ChannelActive(AUDIOSIGNAL signal, int32_t channel);
AUDIO_API uint64_t AUDIOSIGNAL_GetActiveChannelMask(AUDIOSIGNAL signal);
AUDIO_API bool AUDIOSIGNAL_SetActiveChannelMask(AUDIOSIGNAL signal, uint64_t mask);
AUDIO_API int32_t AUDIOSIGNAL_NumActiveChannels(AUDIOSIGNAL signal);

/* ---- change tracking --------------------------------------------------- */

/* The stamp of a kind (AUDIOSIGNAL_STAMP_...). Content stamps come from
** one process-wide counter, so they also order changes of different
** signals. 0 for null or an unknown kind. */
AUDIO_API uint64_t AUDIOSIGNAL_GetTimeStamp(AUDIOSIGNAL signal, int32_t kind);

/* The three time records (0 content, 1 saved, 2 file) as the undo engine
** keeps them, and putting one back. False for an index other than 0..2. */
AUDIO_API uint64_t AUDIOSIGNAL_GetTime(AUDIOSIGNAL signal, int32_t index);
AUDIO_API bool AUDIOSIGNAL_SetTime(AUDIOSIGNAL signal, int32_t index, uint64_t value);

/* Whether any of the change kinds in `mask` happened since the last load
** or save. */
AUDIO_API bool AUDIOSIGNAL_HasChangesEx(AUDIOSIGNAL signal, uint32_t mask);

/* Records a change of the kinds in `mask` (advances the content stamp) and
** notifies the parent of changed regions (AUDIO_NOTIFY_REGION_CHANGED) when
** the regions kind is named. */
AUDIO_API bool AUDIOSIGNAL_NotifyChange(AUDIOSIGNAL signal, uint32_t mask);

/* Marks the signal as matching its file: the saved stamp becomes the
** content stamp, the file stamp `fileStamp`, and no change kind is pending.
** Called after a load or a save. */
AUDIO_API bool AUDIOSIGNAL_MarkSaved(AUDIOSIGNAL signal, uint64_t fileStamp, int64_t sizeOnDisk);

/* ---- undo support ------------------------------------------------------ */

/* A saved copy of the signal's format, samples and time records (O(blocks),
** no sample is copied). The caller releases it with AUDIOSIGNAL_ClearState. */
AUDIO_API AUDIOSIGNAL_STATE AUDIOSIGNAL_SaveState(AUDIOSIGNAL signal);

/* Puts the signal back to a saved state (format, samples, time records). */
AUDIO_API bool AUDIOSIGNAL_RestoreState(AUDIOSIGNAL signal, AUDIOSIGNAL_STATE state);

/* Releases a saved state. False for null. */
AUDIO_API bool AUDIOSIGNAL_ClearState(AUDIOSIGNAL_STATE state);

/* The block list of one channel, of the signal or of a saved state: a
** counted handle the caller releases with AUDIOBLOCKSLIST_Destroy. Null for
** a channel out of range. */
AUDIO_API AUDIOBLOCKSLIST AUDIOSIGNAL_GetBlocksList(AUDIOSIGNAL signal, int32_t channel);
AUDIO_API AUDIOBLOCKSLIST AUDIOSIGNAL_StateBlocksList(AUDIOSIGNAL_STATE state, int32_t channel);

/* Marks a list as no longer the live list of its signal (kept only for
** undo). Lists are immutable either way; the mark is for the keeper. */
AUDIO_API bool AUDIOBLOCKSLIST_Desactive(AUDIOBLOCKSLIST list);
AUDIO_API bool AUDIOBLOCKSLIST_IsActive(AUDIOBLOCKSLIST list);

/* True when both handles hold the same blocks in the same spans. */
AUDIO_API bool AUDIOBLOCKSLIST_Equal(AUDIOBLOCKSLIST a, AUDIOBLOCKSLIST b);

AUDIO_API int64_t AUDIOBLOCKSLIST_NumFrames(AUDIOBLOCKSLIST list);

/* Releases the handle (the blocks live on while anything else holds them). */
AUDIO_API bool AUDIOBLOCKSLIST_Destroy(AUDIOBLOCKSLIST list);

/* ---- memory ------------------------------------------------------------ */

/* Bytes the signal holds in memory: sample blocks (each counted once, also
** when several spans share it; mapped file data not counted), their
** summaries, and the span structure. */
AUDIO_API uint64_t AUDIOSIGNAL_SizeInMemory(AUDIOSIGNAL signal);

/* Drops what can be rebuilt (read caches; with `all`, also the spare
** capacity of the span structure). True for a live signal. */
AUDIO_API bool AUDIOSIGNAL_FreeDataMemory(AUDIOSIGNAL signal, bool all);

/* Size of the signal's file at the last load or save, -1 when it has none. */
AUDIO_API int64_t AUDIOSIGNAL_SizeInDisk(AUDIOSIGNAL signal);

/* ---- samples ----------------------------------------------------------- */

/* Reads `count` frames of one channel from `from` as floats in [-1, 1]
** (integers scaled by 2^(bits-1)); frames outside the signal read as 0.
** Returns the number of frames that lay inside the signal, -1 on bad
** arguments. */
AUDIO_API int64_t AUDIOSIGNAL_GetChannelSamplesEx(AUDIOSIGNAL signal, int32_t channel, int64_t from,
                                                  int64_t count, float *samples);

/* Appends `frames` frames of interleaved floats in [-1, 1] (as many
** values a frame as the signal has channels), stored in the signal's own
** sample width (integers rounded and clipped). For hosts that record or
** generate audio. False for a read-only signal or bad arguments (nothing
** appended). */
AUDIO_API bool AUDIOSIGNAL_AppendSamples(AUDIOSIGNAL signal, const float *interleaved, int64_t frames);

/* One sample as a float; 0 outside the signal. */
AUDIO_API double AUDIOSIGNAL_GetSample(AUDIOSIGNAL signal, int32_t channel, int64_t frame);

/* Writes one sample (copy on write of its block). False outside the signal
** or for a read-only signal. */
AUDIO_API bool AUDIOSIGNAL_SetSample(AUDIOSIGNAL signal, int32_t channel, int64_t frame, double value);

/* ---- display queries --------------------------------------------------- */

/* A reading position on one channel, filled by AUDIOSIGNAL_InitAudioPointer
** and advanced by the display queries. Plain data owned by the caller; it
** keeps no reference, so the caller keeps the signal alive while using it. */
typedef struct AUDIOPOINTER {
    AUDIOSIGNAL signal;
    int32_t channel;
    int64_t position;
} AUDIOPOINTER;

AUDIO_API bool AUDIOSIGNAL_InitAudioPointer(AUDIOSIGNAL signal, int32_t channel, int64_t frame,
                                            AUDIOPOINTER *pointer);
AUDIO_API bool AUDIOSIGNAL_SeekAudioPointer(AUDIOPOINTER *pointer, int64_t frame);

/* Minimum and maximum (floats in [-1, 1]) of the next `count` frames, and
** advances the pointer by `count`. Frames outside the signal are skipped;
** with none inside, false and both outputs 0. Answered from the block
** summaries: the cost does not grow with `count` once it spans more than a
** summary run. */
AUDIO_API bool AUDIOSIGNAL_DisplayMinMaxFromAudioPointer(AUDIOPOINTER *pointer, int64_t count, float *minimum,
                                                         float *maximum);

/* Sum of squares of the next `count` frames and how many frames inside the
** signal it covers; advances the pointer by `count`. */
AUDIO_API bool AUDIOSIGNAL_DisplaySum2FromAudioPointer(AUDIOPOINTER *pointer, int64_t count, double *sum2,
                                                       int64_t *frames);

AUDIO_EXTERN_C_END

#endif
