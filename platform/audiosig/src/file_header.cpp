// Header reading of the uncompressed containers (where the samples of a
// WAV, RF64 or AIFF file begin, so that they can be mapped), and sniffing
// of a file's format from its first bytes.
//
// Every length read from a file is checked against the bytes at hand before
// it is used: these readers see whatever a file holds.
#include "file_p.h"

#include <blinifile.h>

#include <unistd.h>

#include <cmath>
#include <cstring>

namespace asig::file {

namespace {

uint32_t le32(const uint8_t *p)
{
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}
uint16_t le16(const uint8_t *p)
{
    return uint16_t(p[0] | p[1] << 8);
}
uint64_t le64(const uint8_t *p)
{
    return uint64_t(le32(p)) | uint64_t(le32(p + 4)) << 32;
}
uint32_t be32(const uint8_t *p)
{
    return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | uint32_t(p[3]);
}
uint16_t be16(const uint8_t *p)
{
    return uint16_t(p[0] << 8 | p[1]);
}

bool is(const uint8_t *p, const char *id)
{
    return std::memcmp(p, id, 4) == 0;
}

// The 80-bit extended real of an AIFF COMM chunk: sign and 15-bit exponent,
// then a 64-bit mantissa with an explicit leading bit. 0 when it is not a
// whole rate of at least 1 Hz.
int32_t aiffRate(const uint8_t *p)
{
    const int exponent = ((p[0] & 0x7f) << 8 | p[1]) - 16383 - 63;
    uint64_t mantissa = 0;
    for (int i = 0; i < 8; ++i) mantissa = mantissa << 8 | p[2 + i];
    if ((p[0] & 0x80) != 0 || mantissa == 0 || exponent > 0 || exponent < -63) return 0;
    const double rate = std::ldexp(double(mantissa), exponent);
    if (rate < 1.0 || rate > double(INT32_MAX) || rate != std::floor(rate)) return 0;
    return int32_t(rate);
}

// Fills the frame count from the data chunk's declared length (or, when it
// is unknown, everything to the end of the file).
bool finishLayout(PcmLayout &layout, int64_t declaredBytes, int64_t fileSize)
{
    if (layout.channels < 1 || layout.channels > AUDIO_MAX_CHANNELS || layout.sampleRate < 1) return false;
    const int64_t frameBytes = int64_t(layout.channels) * (layout.bits / 8);
    const int64_t present = fileSize - layout.dataOffset;
    if (present < 0) return false;
    int64_t usable = present;
    if (declaredBytes >= 0 && declaredBytes <= present) usable = declaredBytes;
    layout.truncated = declaredBytes > present;
    layout.frames = usable / frameBytes;
    return true;
}

bool readWave(const uint8_t *head, size_t size, int64_t fileSize, PcmLayout &layout)
{
    const bool rf64 = is(head, "RF64") || is(head, "BW64");
    layout.tag = rf64 ? AUDIO_FORMATTAG_RF64 : AUDIO_FORMATTAG_WAV;
    int64_t ds64Data = -1;
    bool haveFormat = false;
    size_t pos = 12;
    while (pos + 8 <= size) {
        const uint8_t *chunk = head + pos;
        const uint64_t length = le32(chunk + 4);
        const size_t body = pos + 8;
        if (is(chunk, "ds64") && length >= 16 && body + 16 <= size) {
            ds64Data = int64_t(le64(head + body + 8) & 0x7fffffffffffffffULL);
        } else if (is(chunk, "fmt ") && length >= 16 && body + 16 <= size) {
            const uint8_t *f = head + body;
            uint16_t code = le16(f);
            layout.channels = int16_t(le16(f + 2));
            layout.sampleRate = int32_t(le32(f + 4) & 0x7fffffff);
            const uint16_t blockAlign = le16(f + 12);
            const uint16_t bits = le16(f + 14);
            // WAVE_FORMAT_EXTENSIBLE (0xFFFE) names the real code in the
            // first two bytes of its sub-format GUID, 24 bytes into fmt.
            if (code == 0xFFFE) {
                if (length < 40 || body + 40 > size) return false;
                code = le16(f + 24);
            }
            if (code == 1 && (bits == 8 || bits == 16 || bits == 24 || bits == 32)) {
                layout.kind = AUDIO_SAMPLE_PCM;
            } else if (code == 3 && (bits == 32 || bits == 64)) {
                layout.kind = AUDIO_SAMPLE_FLOAT;
            } else {
                return false;
            }
            layout.bits = int16_t(bits);
            if (layout.channels < 1 || blockAlign != layout.channels * (bits / 8)) return false;
            haveFormat = true;
        } else if (is(chunk, "data")) {
            if (!haveFormat) return false;
            layout.dataOffset = int64_t(body);
            int64_t declared = int64_t(length);
            if (rf64 && length == 0xffffffffULL) declared = ds64Data;
            // Writers that stream set 0 or the largest size and never come
            // back: the samples then run to the end of the file.
            if (!rf64 && (length == 0 || length == 0xffffffffULL)) declared = -1;
            return finishLayout(layout, declared, fileSize);
        }
        // Chunks are padded to an even length.
        pos = body + size_t(length) + (length & 1);
        if (length > size) break;
    }
    return false;
}

bool readAiff(const uint8_t *head, size_t size, int64_t fileSize, PcmLayout &layout)
{
    const bool aifc = is(head + 8, "AIFC");
    layout.tag = AUDIO_FORMATTAG_AIFF;
    layout.bigEndian = true;
    bool haveFormat = false;
    size_t pos = 12;
    while (pos + 8 <= size) {
        const uint8_t *chunk = head + pos;
        const uint64_t length = be32(chunk + 4);
        const size_t body = pos + 8;
        if (is(chunk, "COMM") && length >= 18 && body + 18 <= size) {
            const uint8_t *c = head + body;
            layout.channels = int16_t(be16(c));
            const int16_t bits = int16_t(be16(c + 6));
            layout.sampleRate = aiffRate(c + 8);
            layout.kind = AUDIO_SAMPLE_PCM;
            layout.bits = int16_t((bits + 7) / 8 * 8);
            if (aifc) {
                if (length < 22 || body + 22 > size) return false;
                const uint8_t *compression = c + 18;
                if (is(compression, "sowt")) {
                    layout.bigEndian = false;
                } else if (is(compression, "fl32") || is(compression, "FL32")) {
                    layout.kind = AUDIO_SAMPLE_FLOAT;
                    layout.bits = 32;
                } else if (is(compression, "fl64") || is(compression, "FL64")) {
                    layout.kind = AUDIO_SAMPLE_FLOAT;
                    layout.bits = 64;
                } else if (!is(compression, "NONE") && !is(compression, "twos")) {
                    return false;
                }
            }
            if (layout.kind == AUDIO_SAMPLE_PCM && (bits < 1 || bits > 32)) return false;
            layout.signed8 = layout.bits == 8;
            haveFormat = true;
        } else if (is(chunk, "SSND") && length >= 8 && body + 8 <= size) {
            if (!haveFormat) return false;
            const uint32_t offset = be32(head + body);
            if (uint64_t(offset) + 8 > length) return false;
            layout.dataOffset = int64_t(body) + 8 + offset;
            return finishLayout(layout, int64_t(length) - 8 - offset, fileSize);
        }
        pos = body + size_t(length) + (length & 1);
        if (length > size) break;
    }
    return false;
}

// ---- MPEG audio frames ---------------------------------------------------------

// Bit rates in kbit/s by index, from the MPEG audio frame header tables:
// [MPEG-1 layer I, II, III, MPEG-2/2.5 layer I, II and III].
constexpr int kBitRates[5][16] = {
    {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448, 0},
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384, 0},
    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 0},
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256, 0},
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 0},
};
constexpr int kMpegRates[3] = {44100, 48000, 32000};

// The length in bytes of the MPEG audio frame whose header is at `p`, or 0
// when the 4 bytes are not a frame header.
int mpegFrameLength(const uint8_t *p)
{
    if (p[0] != 0xff || (p[1] & 0xe0) != 0xe0) return 0;
    const int version = (p[1] >> 3) & 3;  // 0: 2.5, 1: reserved, 2: 2, 3: 1
    const int layer = (p[1] >> 1) & 3;    // 1: III, 2: II, 3: I, 0: reserved
    const int rateIndex = (p[2] >> 2) & 3;
    const int bitIndex = p[2] >> 4;
    if (version == 1 || layer == 0 || rateIndex == 3 || bitIndex == 0 || bitIndex == 15) return 0;
    const bool mpeg1 = version == 3;
    const int table = mpeg1 ? 3 - layer : (layer == 3 ? 3 : 4);
    const int bitRate = kBitRates[table][bitIndex] * 1000;
    const int rate = kMpegRates[rateIndex] >> (mpeg1 ? 0 : version == 2 ? 1 : 2);
    const int padding = (p[2] >> 1) & 1;
    if (layer == 3) return (12 * bitRate / rate + padding) * 4;
    if (layer == 1 && !mpeg1) return 72 * bitRate / rate + padding;
    return 144 * bitRate / rate + padding;
}

// Two frames in a row (or one that fills the file) make MPEG audio.
bool looksLikeMpeg(const uint8_t *head, size_t size, int64_t fileSize, size_t at)
{
    if (at + 4 > size) return false;
    const int length = mpegFrameLength(head + at);
    if (length <= 0) return false;
    const size_t next = at + size_t(length);
    if (int64_t(next) >= fileSize) return true;
    if (next + 4 > size) return false;
    return mpegFrameLength(head + next) > 0;
}

bool containsBytes(const uint8_t *head, size_t size, const char *needle, size_t length)
{
    if (size < length) return false;
    for (size_t i = 0; i + length <= size; ++i)
        if (std::memcmp(head + i, needle, length) == 0) return true;
    return false;
}

bool looksLikeLink(const uint8_t *head, size_t size, int64_t fileSize)
{
    // Link files are short texts; the whole of one is in `head`.
    if (fileSize <= 0 || int64_t(size) < fileSize) return false;
    if (std::memchr(head, 0, size) != nullptr) return false;
    BLINIFILE ini = BLINIFILE_OpenFromText(reinterpret_cast<const char *>(head), size);
    const bool found = BLINIFILE_HasSection(ini, "tavo.link");
    BLINIFILE_Close(ini);
    return found;
}

} // namespace

bool readPcmLayout(const uint8_t *head, size_t headSize, int64_t fileSize, PcmLayout &layout)
{
    layout = PcmLayout{};
    if (head == nullptr || headSize < 12) return false;
    if ((is(head, "RIFF") || is(head, "RF64") || is(head, "BW64")) && is(head + 8, "WAVE"))
        return readWave(head, headSize, fileSize, layout);
    if (is(head, "FORM") && (is(head + 8, "AIFF") || is(head + 8, "AIFC")))
        return readAiff(head, headSize, fileSize, layout);
    return false;
}

int16_t sniffFormat(int fd, const uint8_t *head, size_t headSize, int64_t fileSize)
{
    if (head == nullptr || headSize < 4) return 0;
    if (headSize >= 12 && is(head + 8, "WAVE")) {
        if (is(head, "RIFF") || is(head, "RIFX")) return AUDIO_FORMATTAG_WAV;
        if (is(head, "RF64") || is(head, "BW64")) return AUDIO_FORMATTAG_RF64;
    }
    if (headSize >= 12 && is(head, "FORM") && (is(head + 8, "AIFF") || is(head + 8, "AIFC")))
        return AUDIO_FORMATTAG_AIFF;
    if (is(head, "fLaC")) return AUDIO_FORMATTAG_FLAC;
    if (is(head, "OggS")) {
        // The first page holds the codec's identification header; 512 bytes
        // cover the page header with its largest segment table and more.
        const size_t firstPage = headSize < 512 ? headSize : 512;
        if (containsBytes(head, firstPage, "OpusHead", 8)) return AUDIO_FORMATTAG_OPUS;
        if (containsBytes(head, firstPage, "\x01vorbis", 7)) return AUDIO_FORMATTAG_OGG;
        return 0;
    }
    if (headSize >= 10 && std::memcmp(head, "ID3", 3) == 0) {
        // An ID3v2 tag: 10 bytes of header, a 28-bit length in 7-bit bytes,
        // and 10 more bytes when its footer flag is set. What follows is
        // MPEG audio, or now and then FLAC.
        const int64_t length = int64_t(head[6] & 0x7f) << 21 | int64_t(head[7] & 0x7f) << 14 |
                               int64_t(head[8] & 0x7f) << 7 | int64_t(head[9] & 0x7f);
        const int64_t after = 10 + length + ((head[5] & 0x10) != 0 ? 10 : 0);
        uint8_t next[4] = {};
        if (after + 4 <= fileSize && fd >= 0 && ::pread(fd, next, 4, off_t(after)) == 4 && is(next, "fLaC"))
            return AUDIO_FORMATTAG_FLAC;
        return AUDIO_FORMATTAG_MP3;
    }
    if (looksLikeMpeg(head, headSize, fileSize, 0)) return AUDIO_FORMATTAG_MP3;
    if (looksLikeLink(head, headSize, fileSize)) return AUDIO_FORMATTAG_LINK;
    return 0;
}

} // namespace asig::file
