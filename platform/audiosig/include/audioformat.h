/*
** audioformat.h: formats, format texts, error values, notification kinds and
** library start-up of libaudiosig (AUDIO_).
**
** A format text names a file format and its parameters:
**   "WAV", "FLAC[compression=5]", "AUTO" (detect by content),
**   "AUTO[sr=8000,nc=1]" (a new signal of 8000 Hz, one channel),
**   "WAV[FMTCONV=[sr=22050,nc=1]]" (convert when saving).
** Parameters: sr (sample rate), nc (channels), bits (8, 16, 24, 32, 64),
** type ("pcm" or "float"), and per format compression / quality / bitrate.
** Names are compared ignoring case.
**
** All functions are thread-safe.
*/
#ifndef AUDIOFORMAT_H
#define AUDIOFORMAT_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "audiosig_export.h"

AUDIO_EXTERN_C_BEGIN

/* ---- formats ----------------------------------------------------------- */

/* How samples are encoded. */
#define AUDIO_SAMPLE_PCM 0   /* integers: 8-bit unsigned, 16/24/32-bit signed */
#define AUDIO_SAMPLE_FLOAT 1 /* IEEE floats of 32 or 64 bits */

/* File format tags. 0 is a signal that has no file yet. */
#define AUDIO_FORMATTAG_NONE 0
#define AUDIO_FORMATTAG_WAV 1
#define AUDIO_FORMATTAG_AIFF 2
#define AUDIO_FORMATTAG_FLAC 3
#define AUDIO_FORMATTAG_OGG 4    /* Ogg Vorbis */
#define AUDIO_FORMATTAG_OPUS 5
#define AUDIO_FORMATTAG_MP3 6
#define AUDIO_FORMATTAG_RF64 7   /* WAV beyond 4 GiB */
#define AUDIO_FORMATTAG_RAW 8    /* headerless samples; needs sr, nc, bits */
#define AUDIO_FORMATTAG_LINK 18  /* an ini file whose section "tavo.link" names an audio file */
#define AUDIO_FORMATTAG_STREAM 51 /* audio read from a pipe: no file beside it */

/* Capability bits of a format description (AUDIO_FORMAT_DESCR.capabilities).
** The bits below 0x80 say what this library can do with the format; the
** others say what the format itself can hold. */
#define AUDIO_CAP_READ 0x1
#define AUDIO_CAP_WRITE 0x2
#define AUDIO_CAP_LOSSY 0x4
#define AUDIO_CAP_TAGS 0x80         /* text tags */
#define AUDIO_CAP_ARTWORK 0x100
#define AUDIO_CAP_REGIONS 0x200
#define AUDIO_CAP_MARKERS 0x400
#define AUDIO_CAP_LOOPS 0x800
#define AUDIO_CAP_FLOAT 0x1000      /* float samples */
#define AUDIO_CAP_INT24 0x2000      /* 24-bit samples */
#define AUDIO_CAP_INT32 0x4000      /* 32-bit integer samples */
#define AUDIO_CAP_LARGE 0x8000      /* files beyond 4 GiB */
#define AUDIO_CAP_MULTICHANNEL 0x10000 /* more than two channels */

typedef struct AUDIO_FORMAT {
    int32_t sampleRate;    /* frames per second, >= 1 */
    int16_t numChannels;   /* 1 .. AUDIO_MAX_CHANNELS */
    int16_t bitsPerSample; /* 8, 16, 24, 32 or 64 */
    int16_t sampleKind;    /* AUDIO_SAMPLE_PCM or AUDIO_SAMPLE_FLOAT */
    int16_t formatTag;     /* AUDIO_FORMATTAG_... */
    uint32_t flags;        /* reserved, 0 */
} AUDIO_FORMAT;

#define AUDIO_MAX_CHANNELS 32

/* The format of a signal with no file: 44100 Hz, one channel, 16-bit PCM,
** tag 0. */
AUDIO_API AUDIO_FORMAT AUDIO_NullFormat(void);

/* True when the format's fields are in range (rate >= 1, 1..32 channels,
** a bit depth its sample kind allows). */
AUDIO_API bool AUDIO_IsValidFormat(const AUDIO_FORMAT *format);

/* ---- time -------------------------------------------------------------- */

/* Seconds of a frame position at the format's rate; 0 for a null format. */
AUDIO_API double AUDIO_Sample2Time(const AUDIO_FORMAT *format, int64_t frame);

/* The frame nearest to a time (rounded to nearest, halves away from 0);
** 0 for a null format or a time that is not a number. */
AUDIO_API int64_t AUDIO_Time2Sample(const AUDIO_FORMAT *format, double seconds);

/* ---- format texts ------------------------------------------------------ */

/* Splits the first item of `text` into its name and its value and returns
** where the next item begins (after the separating comma), or null when
** `text` holds no further item. An item is "name", "name=value" or
** "name[value]"; commas inside brackets belong to the value. So
** "WAV[sr=8000,nc=1]" gives "WAV" and "sr=8000,nc=1", and walking
** "sr=8000,nc=1" gives "sr"/"8000", then "nc"/"1". Name and value are
** trimmed and cut to their buffers (always terminated); null buffers are
** skipped. Returns null for a null or empty text. */
AUDIO_API const char *AUDIO_DecodeParameter(const char *text, char *name, size_t nameSize, char *value,
                                            size_t valueSize);

/* Fills `format` from a format text or a bare parameter text: the name
** (when it is a known format) gives the tag; sr, nc, bits and type fill the
** rest; what the text does not name comes from the format already in
** `format`. False (format unchanged) for a malformed text, an unknown
** name, or values out of range. */
AUDIO_API bool AUDIO_GetFormatFromString(const char *text, AUDIO_FORMAT *format);

/* Writes the parameter text of a format ("sr=44100,nc=2,bits=16,type=pcm").
** False when it does not fit. */
AUDIO_API bool AUDIO_FormatToString(const AUDIO_FORMAT *format, char *buffer, size_t size);

/* ---- error values ------------------------------------------------------ */

/* Reported through the error out-parameter of opening, saving, reverting
** and transforming; one bit each, several may be set at once. */
#define AUDIO_ERROR_NONE 0x0
#define AUDIO_ERROR_FILE_NOT_FOUND 0x1      /* no file at that name */
#define AUDIO_ERROR_CANNOT_OPEN 0x2         /* the file exists but cannot be opened (permissions, a folder) */
#define AUDIO_ERROR_UNSUPPORTED_FORMAT 0x10 /* not a format this library reads or writes */
#define AUDIO_ERROR_CORRUPT_DATA 0x20       /* malformed or truncated contents */
#define AUDIO_ERROR_CANNOT_WRITE 0x40       /* the file or its folder cannot be written */
#define AUDIO_ERROR_DISK_FULL 0x80          /* no space left while writing */
#define AUDIO_ERROR_OUT_OF_MEMORY 0x100
#define AUDIO_ERROR_CANCELLED 0x800         /* a progress handler asked to stop */
#define AUDIO_ERROR_READ_ONLY 0x1000        /* the signal or the format cannot be changed */
#define AUDIO_ERROR_INVALID_ARGUMENT 0x2000 /* a malformed format text, parameter or range */
#define AUDIO_ERROR_UNKNOWN_EFFECT 0x10000  /* an effect text names no known effect */
#define AUDIO_ERROR_INCOMPATIBLE 0x20000    /* formats that cannot be converted into each other */
#define AUDIO_ERROR_EMPTY 0x40000           /* the operation needs audio and the signal has none */
#define AUDIO_ERROR_OUT_OF_RANGE 0x80000    /* a position beyond the signal */
#define AUDIO_ERROR_TOO_LARGE 0x100000      /* more audio than the format can hold */
#define AUDIO_ERROR_METADATA 0x200000       /* tags could not be read or written */
#define AUDIO_ERROR_BUSY 0x400000           /* the signal is in use by a pipe */

/* ---- notifications ----------------------------------------------------- */

/* Kinds of the notifications this library sends with BLNOTIFY_SendEvent
** (source: the signal's parent object; identifier: the operation's
** identifier; arg1: the signal; arg2: for progress a pointer to a double
** fraction 0..1, for a step a pointer to its text). A progress
** notification answered with 0 stops the operation, which then ends with
** its cancelled kind and AUDIO_ERROR_CANCELLED. */
#define AUDIO_NOTIFY_READ_STARTED 17
#define AUDIO_NOTIFY_READ_PROGRESS 15
#define AUDIO_NOTIFY_READ_FINISHED 26
#define AUDIO_NOTIFY_READ_CANCELLED 28
#define AUDIO_NOTIFY_WRITE_STARTED 24
#define AUDIO_NOTIFY_WRITE_PROGRESS 25
#define AUDIO_NOTIFY_WRITE_FINISHED 27
#define AUDIO_NOTIFY_WRITE_CANCELLED 37
#define AUDIO_NOTIFY_PROCESS_STARTED 33
#define AUDIO_NOTIFY_PROCESS_PROGRESS 34
#define AUDIO_NOTIFY_PROCESS_FINISHED 35
#define AUDIO_NOTIFY_PROCESS_CANCELLED 50
#define AUDIO_NOTIFY_STEP 42
#define AUDIO_NOTIFY_METADATA_REPLACED 86
#define AUDIO_NOTIFY_REGION_CHANGED 87

/* The name of a notification kind of this library (static text), null for
** a kind it does not send. */
AUDIO_API const char *AUDIONOTIFY_TranslateEventKind(int32_t kind);

/* ---- start and stop ---------------------------------------------------- */

/* Nested start and stop; the first start registers "libaudiosig" in the
** version registry. The library works without them (state is made on first
** use). Finalize at 0 returns false. */
AUDIO_API bool AUDIO_Initialize(void);
AUDIO_API bool AUDIO_Finalize(void);

AUDIO_EXTERN_C_END

#endif
