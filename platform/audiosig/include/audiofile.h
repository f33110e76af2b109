/*
** audiofile.h: audio files of libaudiosig (AUDIO_, AUDIOSIGNAL_).
**
** The table of file formats this library knows, opening a file into a
** signal, probing a file without reading its samples, saving a signal, and
** the process-wide count of the pipes (playback or recording streams of the
** host) that use a signal.
**
** Files are read with libsndfile. Uncompressed PCM files (WAV, RF64, little
** endian AIFF-C, RAW) may instead be mapped from disk: the signal then
** refers to the file's samples without copying them, and only their
** summaries stay in memory. A mapped file must not be truncated or
** rewritten in place by another program while a signal uses it (this
** library itself never does: saving replaces the file by renaming).
**
** Threads: every function may be called from any thread. Opening and saving
** different signals run in parallel; a signal being saved is only read.
** Progress notifications are sent on the calling thread.
*/
#ifndef AUDIOFILE_H
#define AUDIOFILE_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "audioformat.h"
#include "audiosig_export.h"
#include "audiosignal.h"

AUDIO_EXTERN_C_BEGIN

/* ---- format descriptions ----------------------------------------------- */

/* One file format as this build of the library handles it. The texts are
** terminated and cut to their arrays. `capabilities` holds AUDIO_CAP_ bits:
** READ and WRITE say what this build can really do (MP3 writing, for one,
** depends on the libsndfile it runs with); the others what the format can
** hold. */
typedef struct AUDIO_FORMAT_DESCR {
    char name[16];        /* "WAV": the name used in format texts */
    char longName[64];    /* "Microsoft WAVE" */
    char extensions[32];  /* "wav;wave": the first is the one written */
    uint32_t capabilities;
    int16_t formatTag;    /* AUDIO_FORMATTAG_... */
    int16_t defaultBits;  /* bits written when a save names none (0: lossy) */
} AUDIO_FORMAT_DESCR;

/* Flags of AUDIO_GetFormatDescrEx. */
#define AUDIO_DESCR_BY_INDEX 0x1 /* the entry at *index (format may be null) */
#define AUDIO_DESCR_BY_TAG 0x2   /* the entry of format->formatTag */

/* The number of entries of the format table (fixed for the process). */
AUDIO_API int32_t AUDIO_CountFormats(void);

/* Copies entry `index` (0 .. count - 1) into `descr`. False for an index
** out of range or a null `descr`. */
AUDIO_API bool AUDIO_GetFormatDescrAt(int32_t index, AUDIO_FORMAT_DESCR *descr);

/* Looks an entry up by the tag of `format` (AUDIO_DESCR_BY_TAG) or by
** *index (AUDIO_DESCR_BY_INDEX), copies it into `descr` and, when `index`
** is not null, stores its table index there. False (index -1 when given)
** when no entry matches, for a null format with BY_TAG, or for a null
** `descr`. */
AUDIO_API bool AUDIO_GetFormatDescrEx(const AUDIO_FORMAT *format, int32_t *index, int32_t flags,
                                      AUDIO_FORMAT_DESCR *descr);

/* Looks an entry up by its name ("flac", any case) or else by one of its
** extensions ("wav", ".wav"). False when none matches or for null
** arguments. */
AUDIO_API bool AUDIO_FindFormatDescr(const char *nameOrExtension, AUDIO_FORMAT_DESCR *descr);

/* Whether this build can read (mode 0) or write (mode 1) the format named
** by a format text, parameters included: "FLAC[bits=32]" cannot be written
** (FLAC holds at most 24 bits). "AUTO" and "FROM_FORMAT" are readable and
** writable (a save resolves them to a writable format or fails). False for
** null, a malformed text, an unknown name or another mode. */
AUDIO_API bool AUDIO_SupportFormat(int32_t mode, const char *formatText);

/* Whether saving in the format's file format with no parameters would
** change its sample encoding, i.e. the parameters that keep it are needed:
** "bits=24" for 24-bit WAV, "bits=32,type=float" for float WAV, nothing for
** 16-bit WAV or a lossy format. RAW always needs "sr=..,nc=..,bits=.." to
** be read again. False for null or an unknown tag. */
AUDIO_API bool AUDIO_HasExtraFormat(const AUDIO_FORMAT *format);

/* Writes those parameters into `buffer` (terminated). False when there are
** none (buffer ""), when they do not fit, or for null arguments. */
AUDIO_API bool AUDIO_GetExtraFormat(const AUDIO_FORMAT *format, char *buffer, size_t size);

/* ---- opening ----------------------------------------------------------- */

/* Flags of AUDIOSIGNAL_OpenEx; other bits are ignored. Without MAP or
** NO_MAP, uncompressed PCM files of AUDIO_OPEN_MAP_THRESHOLD bytes or more
** are mapped. READ_TAGS reads the file's tags and artwork into the
** signal's metadata (audiometadata.h); a file whose tags cannot be read
** opens without them. */
#define AUDIO_OPEN_READ_TAGS 0x2 /* read text tags */
#define AUDIO_OPEN_PROGRESS 0x4  /* send READ_STARTED/PROGRESS/FINISHED or CANCELLED */
#define AUDIO_OPEN_MAP 0x100     /* map uncompressed PCM whatever its size */
#define AUDIO_OPEN_NO_MAP 0x200  /* always copy the samples into memory */

/* 64 MiB: below it, copying costs little memory and time, and a copied
** signal does not keep the file open. */
#define AUDIO_OPEN_MAP_THRESHOLD (64LL * 1024 * 1024)

/* Opens a file into a new signal (one reference; the caller destroys it).
** `format`: "AUTO" detects by content; a name forces that format ("WAV",
** "FLAC", "RAW[sr=8000,nc=1,bits=16]", RAW also with "type=float" and
** "endian=big"). The signal's label is `name`, its tag and stamps those of
** the file, its parent `parent` with `callback`. A link file (tag
** AUDIO_FORMATTAG_LINK: an ini file whose section "tavo.link" has "file",
** relative to the link's folder, and "format", "AUTO" when absent) opens
** the audio it names, with the link's tag, label and stamps.
** Null on failure, with AUDIO_ERROR_ bits in *error (when not null):
** content no reader recognises is CORRUPT_DATA when the extension or the
** forced format claims a readable format, else UNSUPPORTED_FORMAT. A file
** whose data ends early opens with the frames it holds, and CORRUPT_DATA is
** set in *error beside the signal. */
AUDIO_API AUDIOSIGNAL AUDIOSIGNAL_OpenEx(const char *name, const char *format, uint32_t flags, void *parent,
                                         AUDIOSIGNAL_CALLBACK callback, uint32_t *error);

/* Whether AUDIOSIGNAL_OpenEx would open the file: its header is read and
** checked, no sample is. False with *error set as by OpenEx. */
AUDIO_API bool AUDIOSIGNAL_CanOpenEx(const char *name, const char *format, uint32_t *error);

/* Reads the header only: the format the signal would have (`formatOut`)
** and its length in frames (`framesOut`; an estimate for MP3 without a
** length header). Either output may be null. False with *error set as by
** OpenEx. */
AUDIO_API bool AUDIOSIGNAL_ProbeFileEx(const char *name, const char *format, AUDIO_FORMAT *formatOut,
                                       int64_t *framesOut, uint32_t *error);

/* ---- saving ------------------------------------------------------------ */

/* Flags of AUDIOSIGNAL_SaveEx. */
#define AUDIO_SAVE_KEEP_BACKUP 0x20 /* keep the replaced file as "<name>.bak" */
#define AUDIO_SAVE_COPY 0x40        /* write the file; leave the signal as it was */

/* Writes the signal to `name`. `format`: "WAV", "WAV[bits=24]",
** "WAV[bits=32,type=float]", "FLAC[compression=5]" (0..8),
** "OGG[quality=0.6]" (0..1), "OPUS[quality=0.6]", "MP3[bitrate=192]",
** "RAW[bits=16,endian=big]"; "AUTO" or "FROM_FORMAT" take the signal's own
** format when writable, else the one of the name's extension. Without
** "bits" the signal's own width is kept when the format holds it. A rate or
** channel count ("sr", "nc", or FMTCONV=[..]) other than the signal's
** converts first. WAV beyond 4 GiB is written as RF64. The signal's tags
** go into formats that hold them (AUDIO_CAP_TAGS); one that cannot be
** written fails the save (AUDIO_ERROR_METADATA).
** The file is written beside the target under a temporary name, flushed to
** disk and renamed over the target, so a failure (false, *error set:
** CANNOT_WRITE, DISK_FULL, CANCELLED ...) leaves any old file as it was.
** Progress goes to the signal's parent (WRITE_ kinds). On success, unless
** AUDIO_SAVE_COPY: the file becomes the signal's own: its label becomes
** `name`, its format tag that of the written file (RF64 when WAV outgrew
** 4 GiB), its stamps those of the file (no change pending); rate, channels
** and sample width stay the signal's. */
AUDIO_API bool AUDIOSIGNAL_SaveEx(AUDIOSIGNAL signal, const char *name, const char *format, uint32_t flags,
                                  uint32_t *error);

/* Brings the tags of the signal's file up to date without rewriting its
** audio: the file must exist and be of `format` ("AUTO" accepts any
** readable format) and the signal must have no unsaved audio change. The
** file is copied beside itself, the copy gets the signal's tags (none:
** the file's tags are removed), is checked to hold the same audio, flushed
** and renamed over the file; the metadata change is then no longer
** pending and the file stamp and size are the new file's. A format that
** holds no tags has nothing to write: true. False for null arguments, a
** failed check or a failed write, which leaves the file as it was. */
AUDIO_API bool AUDIOSIGNAL_UpdateMetadata(AUDIOSIGNAL signal, const char *name, const char *format);

/* ---- pipes ------------------------------------------------------------- */

/* A pipe is a playback or recording stream of the host that uses the
** signal. Open adds one to the signal's count of open pipes (and holds a
** reference to the signal while the count is above 0); Close takes one
** away and is false when none is open. False for null. */
AUDIO_API bool AUDIOSIGNAL_OpenPipe(AUDIOSIGNAL signal);
AUDIO_API bool AUDIOSIGNAL_ClosePipe(AUDIOSIGNAL signal);

/* Blocks until no pipe of the signal is open, then true (at once when none
** is). False for null. Must not be called from the thread that would close
** the pipe. */
AUDIO_API bool AUDIOSIGNAL_WaitUntilPipeClose(AUDIOSIGNAL signal);

AUDIO_EXTERN_C_END

#endif
