// Internal calls shared by the file modules (file_*.cpp): the format table,
// format texts as the file layer reads them, the header reader of the
// uncompressed formats, content sniffing, and native sample access.
#ifndef AUDIOSIG_FILE_P_H
#define AUDIOSIG_FILE_P_H

#include "audiofile.h"
#include "storage.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace asig::file {

// ---- format table (file_formats.cpp) ---------------------------------------

struct FormatEntry {
    const char *name;
    const char *longName;
    const char *extensions;  // ';'-separated, the first is the one written
    int16_t tag;
    int16_t defaultBits;     // 0 for the lossy formats
    uint32_t holds;          // AUDIO_CAP_ bits of what the format can hold
    int sfMajor;             // libsndfile container, 0 when not through libsndfile
};

const FormatEntry *findFormatByTag(int32_t tag);
const FormatEntry *findFormatByName(std::string_view name);
const FormatEntry *findFormatByExtension(std::string_view extension);
// The extension of a file name without its dot ("" when none).
std::string_view extensionOf(std::string_view path);
// The full AUDIO_CAP_ bits of an entry, READ and WRITE as this build has them.
uint32_t formatCapabilities(const FormatEntry &entry);

// ---- format texts ----------------------------------------------------------

// A format text as opening and saving read it. Fields left at their
// "absent" value were not named.
struct FormatRequest {
    bool automatic = false;        // "AUTO" or "FROM_FORMAT"
    const FormatEntry *entry = nullptr;  // the named format, null when automatic
    int32_t sampleRate = 0;        // sr, 0 when absent
    int32_t channels = 0;          // nc, 0 when absent
    int32_t bits = 0;              // bits, 0 when absent
    int32_t kind = -1;             // type: AUDIO_SAMPLE_PCM / FLOAT, -1 when absent
    int32_t endian = 0;            // endian: 0 absent, 1 little, 2 big
    double compression = -1.0;     // FLAC compression 0..8
    double quality = -1.0;         // Ogg / Opus quality 0..1
    int32_t bitrate = 0;           // MP3 kbps
};

// Reads a format text. False (with AUDIO_ERROR_INVALID_ARGUMENT or
// AUDIO_ERROR_UNSUPPORTED_FORMAT in `error`) for a malformed text, an
// unknown name or a parameter value out of range.
bool parseFormatRequest(const char *text, FormatRequest &request, uint32_t &error);

// ---- uncompressed headers (file_header.cpp) --------------------------------

// Where the samples of an uncompressed file lie and how they are encoded.
struct PcmLayout {
    int16_t tag = 0;         // WAV, RF64, AIFF or RAW
    int32_t sampleRate = 0;
    int16_t channels = 0;
    int16_t bits = 0;        // container bits per sample: 8, 16, 24, 32, 64
    int16_t kind = AUDIO_SAMPLE_PCM;
    bool bigEndian = false;
    bool signed8 = false;    // 8-bit samples are signed (AIFF) rather than offset by 128
    int64_t dataOffset = 0;  // first byte of the samples
    int64_t frames = 0;      // whole frames present in the file
    bool truncated = false;  // the header promised more data than the file holds
};

// Reads the header of a WAV, RF64 or AIFF file from its first bytes (`head`,
// at least the first 64 KiB or the whole file) and the file's size. False
// when the file is not one of those with a plain PCM or float encoding.
bool readPcmLayout(const uint8_t *head, size_t headSize, int64_t fileSize, PcmLayout &layout);

// What the first bytes of a file say it is: a format tag, or 0 when they
// say nothing certain. `file` lets the sniffer read past an ID3 tag.
int16_t sniffFormat(int fd, const uint8_t *head, size_t headSize, int64_t fileSize);

// ---- native samples (file_native.cpp) --------------------------------------

// Reads frames [from, from + count) of a channel as `type` (S16, S32 or
// F64 values, or floats for F32): natively where the block holds that
// type, otherwise converted from floats with rounding and clipping. `out` holds `count` values of the type.
void readSamplesAs(const SpanList &list, int64_t from, int64_t count, SampleType type, void *out);

// ---- signals (file_read.cpp) -----------------------------------------------

// Sets the tag of the signal's format: which file format its file has. Not
// a change of the audio, so no stamp moves; allowed on read-only signals.
void setFileTag(AUDIOSIGNAL signal, int16_t tag);

// ---- errors ------------------------------------------------------------------

// The error bits of a failed system call on a file (errno value).
uint32_t errorOfErrno(int code, bool writing);

} // namespace asig::file

#endif
