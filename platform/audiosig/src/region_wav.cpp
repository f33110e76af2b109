// Regions inside WAV files: cue points ("cue "), their labels, notes and
// lengths (LIST "adtl": "labl", "note", "ltxt") and sample loops ("smpl").
//
// A cue point with an "ltxt" length is a region, one without is a marker;
// each "smpl" loop is a loop region (its end sample is inclusive in the
// file, exclusive here) labelled through its cue point. Pregaps are written
// as regions. Channels are not kept (WAV cue points have none). Only track
// 0 goes into the audio file; annotation tracks live in their own files.
//
// The chunks are parsed here rather than through libsndfile so that labels
// and lengths, which its cue interface leaves out, come along; on saving
// they are appended after everything libsndfile wrote, and the RIFF size is
// corrected, before the temporary file is renamed into place.
#include "region_p.h"

#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <functional>
#include <map>
#include <new>
#include <string>

namespace asig {

namespace {

// A region chunk larger than this is not a real one: 16 MiB hold some
// 700 000 cue points.
constexpr uint32_t kMaxRegionChunk = 16u * 1024 * 1024;

constexpr size_t kCuePointBytes = 24;   // id, position, chunk id, chunk start, block start, sample offset
constexpr size_t kSmplHeaderBytes = 36; // nine 32-bit fields before the loops
constexpr size_t kSmplLoopBytes = 24;   // cue id, type, start, end, fraction, play count
constexpr size_t kLtxtFixedBytes = 20;  // cue id, length, purpose, country, language, dialect, code page

uint32_t le32(const uint8_t *p)
{
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

void put32(std::string &out, uint32_t v)
{
    for (int i = 0; i < 4; ++i) out += char(uint8_t(v >> (8 * i)));
}

void put16(std::string &out, uint16_t v)
{
    out += char(uint8_t(v));
    out += char(uint8_t(v >> 8));
}

// Reads `size` bytes at `offset`; false when they are not all there.
using ReadAt = std::function<bool(uint64_t offset, void *data, size_t size)>;

struct CueInfo {
    uint32_t frame = 0;
    std::string label;
    std::string note;
    uint32_t length = 0;
    bool hasLength = false;
};

struct Loop {
    uint32_t cue = 0;
    uint32_t start = 0;
    uint32_t end = 0;  // inclusive
};

std::string cString(const uint8_t *p, size_t size)
{
    size_t n = 0;
    while (n < size && p[n] != 0) ++n;
    return std::string(reinterpret_cast<const char *>(p), n);
}

bool parseCue(const std::vector<uint8_t> &chunk, std::vector<uint32_t> &order, std::map<uint32_t, CueInfo> &cues)
{
    if (chunk.size() < 4) return false;
    const uint32_t count = le32(chunk.data());
    if (uint64_t(count) * kCuePointBytes > chunk.size() - 4) return false;
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t *p = chunk.data() + 4 + size_t(i) * kCuePointBytes;
        const uint32_t id = le32(p);
        if (cues.count(id) != 0) return false;  // ids name their labels: they must be unique
        cues[id].frame = le32(p + 20);
        order.push_back(id);
    }
    return true;
}

bool parseAdtl(const std::vector<uint8_t> &chunk, std::map<uint32_t, CueInfo> &cues)
{
    size_t at = 4;  // after the list type
    while (at + 8 <= chunk.size()) {
        const uint8_t *head = chunk.data() + at;
        const uint32_t size = le32(head + 4);
        if (size > chunk.size() - at - 8 || size < 4) return false;
        const uint8_t *body = head + 8;
        const uint32_t id = le32(body);
        const auto cue = cues.find(id);
        if (cue != cues.end()) {
            if (std::memcmp(head, "labl", 4) == 0) cue->second.label = cString(body + 4, size - 4);
            else if (std::memcmp(head, "note", 4) == 0) cue->second.note = cString(body + 4, size - 4);
            else if (std::memcmp(head, "ltxt", 4) == 0) {
                if (size < kLtxtFixedBytes) return false;
                cue->second.length = le32(body + 4);
                cue->second.hasLength = true;
            }
        }
        at += 8 + size + (size & 1);
    }
    return true;
}

bool parseSmpl(const std::vector<uint8_t> &chunk, std::vector<Loop> &loops)
{
    if (chunk.size() < kSmplHeaderBytes) return false;
    const uint32_t count = le32(chunk.data() + 28);
    if (uint64_t(count) * kSmplLoopBytes > chunk.size() - kSmplHeaderBytes) return false;
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t *p = chunk.data() + kSmplHeaderBytes + size_t(i) * kSmplLoopBytes;
        const Loop loop{le32(p), le32(p + 8), le32(p + 12)};
        if (loop.end < loop.start) return false;
        loops.push_back(loop);
    }
    return true;
}

bool parseRiff(const ReadAt &read, uint64_t fileSize, int32_t sampleRate, std::vector<PlainRegion> &out)
{
    uint8_t head[12];
    if (sampleRate < 1 || !read(0, head, sizeof(head)) || std::memcmp(head, "RIFF", 4) != 0 ||
        std::memcmp(head + 8, "WAVE", 4) != 0)
        return false;
    std::vector<uint32_t> order;
    std::map<uint32_t, CueInfo> cues;
    std::vector<Loop> loops;
    std::vector<std::vector<uint8_t>> adtl;  // parsed once all cue ids are known
    uint64_t at = 12;
    while (at + 8 <= fileSize) {
        uint8_t chunkHead[8];
        if (!read(at, chunkHead, sizeof(chunkHead))) break;
        const uint32_t size = le32(chunkHead + 4);
        const bool cue = std::memcmp(chunkHead, "cue ", 4) == 0;
        const bool list = std::memcmp(chunkHead, "LIST", 4) == 0;
        const bool smpl = std::memcmp(chunkHead, "smpl", 4) == 0;
        if (cue || list || smpl) {
            // A region chunk must be whole; the samples may end early.
            if (size > kMaxRegionChunk || at + 8 + size > fileSize) return false;
            std::vector<uint8_t> chunk(size);
            if (!read(at + 8, chunk.data(), size)) return false;
            if (cue && !parseCue(chunk, order, cues)) return false;
            if (smpl && !parseSmpl(chunk, loops)) return false;
            if (list && size >= 4 && std::memcmp(chunk.data(), "adtl", 4) == 0) adtl.push_back(std::move(chunk));
        }
        at += 8 + uint64_t(size) + (size & 1);
    }
    for (const std::vector<uint8_t> &chunk : adtl)
        if (!parseAdtl(chunk, cues)) return false;

    const double rate = double(sampleRate);
    std::vector<PlainRegion> regions;
    std::map<uint32_t, bool> loopCues;
    for (const Loop &loop : loops) loopCues[loop.cue] = true;
    for (uint32_t id : order) {
        if (loopCues.count(id) != 0) continue;
        const CueInfo &info = cues[id];
        PlainRegion region;
        region.begin = double(info.frame) / rate;
        region.end = double(uint64_t(info.frame) + (info.hasLength ? info.length : 0)) / rate;
        region.label = info.label;
        region.comment = info.note;
        regions.push_back(std::move(region));
    }
    for (const Loop &loop : loops) {
        PlainRegion region;
        region.kind = AUDIOREGION_KIND_LOOP;
        region.begin = double(loop.start) / rate;
        region.end = double(uint64_t(loop.end) + 1) / rate;
        const auto cue = cues.find(loop.cue);
        if (cue != cues.end()) {
            region.label = cue->second.label;
            region.comment = cue->second.note;
        }
        regions.push_back(std::move(region));
    }
    out.insert(out.end(), regions.begin(), regions.end());
    return true;
}

// A sub-chunk of the adtl list: id, size, body, pad byte.
void putSubChunk(std::string &out, const char *id, const std::string &body)
{
    out.append(id, 4);
    put32(out, uint32_t(body.size()));
    out += body;
    if (body.size() % 2 != 0) out += '\0';
}

std::string textBody(uint32_t cue, const std::string &text)
{
    std::string body;
    put32(body, cue);
    body += text;
    body += '\0';
    return body;
}

} // namespace

bool parseWavRegions(std::string_view file, int32_t sampleRate, std::vector<PlainRegion> &out)
{
    try {
        const ReadAt read = [&](uint64_t offset, void *data, size_t size) {
            if (offset > file.size() || size > file.size() - offset) return false;
            std::memcpy(data, file.data() + offset, size);
            return true;
        };
        return parseRiff(read, file.size(), sampleRate, out);
    } catch (const std::bad_alloc &) {
        return false;
    }
}

bool readWavRegions(int fd, int32_t sampleRate, std::vector<PlainRegion> &out)
{
    const off_t size = ::lseek(fd, 0, SEEK_END);
    if (size < 0) return false;
    try {
        const ReadAt read = [fd](uint64_t offset, void *data, size_t count) {
            size_t got = 0;
            while (got < count) {
                const ssize_t n = ::pread(fd, static_cast<uint8_t *>(data) + got, count - got, off_t(offset + got));
                if (n < 0 && errno == EINTR) continue;
                if (n <= 0) return false;
                got += size_t(n);
            }
            return true;
        };
        return parseRiff(read, uint64_t(size), sampleRate, out);
    } catch (const std::bad_alloc &) {
        return false;
    }
}

bool appendWavRegions(int fd, int32_t sampleRate, const std::vector<PlainRegion> &regions)
{
    if (regions.empty()) return true;
    const auto frameOf = [sampleRate](double seconds) { return int64_t(std::llround(seconds * double(sampleRate))); };
    std::string cue;
    std::string adtl = "adtl";
    std::string loops;
    uint32_t points = 0;
    uint32_t loopCount = 0;
    for (const PlainRegion &region : regions) {
        const int64_t begin = frameOf(region.begin);
        const int64_t end = frameOf(region.end);
        // Positions are 32-bit in these chunks: a region beyond cannot be kept.
        if (begin < 0 || end < begin || end > int64_t(UINT32_MAX)) continue;
        const uint32_t id = ++points;
        put32(cue, id);
        put32(cue, uint32_t(begin));
        cue.append("data", 4);
        put32(cue, 0);
        put32(cue, 0);
        put32(cue, uint32_t(begin));
        if (!region.label.empty()) putSubChunk(adtl, "labl", textBody(id, region.label));
        if (!region.comment.empty()) putSubChunk(adtl, "note", textBody(id, region.comment));
        if (region.kind == AUDIOREGION_KIND_LOOP && end > begin) {
            ++loopCount;
            put32(loops, id);
            put32(loops, 0);  // forward loop
            put32(loops, uint32_t(begin));
            put32(loops, uint32_t(end - 1));
            put32(loops, 0);
            put32(loops, 0);  // play forever
        } else if (end > begin) {
            std::string body;
            put32(body, id);
            put32(body, uint32_t(end - begin));
            body.append("rgn ", 4);
            put16(body, 0);
            put16(body, 0);
            put16(body, 0);
            put16(body, 0);
            putSubChunk(adtl, "ltxt", body);
        }
    }
    if (points == 0) return true;
    std::string chunks = "cue ";
    put32(chunks, uint32_t(4 + cue.size()));
    put32(chunks, points);
    chunks += cue;
    if (adtl.size() > 4) {
        chunks += "LIST";
        put32(chunks, uint32_t(adtl.size()));
        chunks += adtl;
    }
    if (loopCount > 0) {
        chunks += "smpl";
        put32(chunks, uint32_t(kSmplHeaderBytes + loops.size()));
        put32(chunks, 0);                                              // manufacturer
        put32(chunks, 0);                                              // product
        put32(chunks, uint32_t(std::llround(1e9 / double(sampleRate))));  // sample period, ns
        put32(chunks, 60);                                             // unity note: middle C
        put32(chunks, 0);                                              // pitch fraction
        put32(chunks, 0);                                              // SMPTE format
        put32(chunks, 0);                                              // SMPTE offset
        put32(chunks, loopCount);
        put32(chunks, 0);                                              // sampler data
        chunks += loops;
    }

    off_t size = ::lseek(fd, 0, SEEK_END);
    if (size < 12) {
        errno = EINVAL;
        return false;
    }
    // Chunks start at even offsets: an odd data chunk gets its pad byte.
    if (size % 2 != 0) chunks.insert(chunks.begin(), '\0');
    if (uint64_t(size) + chunks.size() - 8 > UINT32_MAX) {
        errno = EFBIG;
        return false;
    }
    size_t done = 0;
    while (done < chunks.size()) {
        const ssize_t n = ::pwrite(fd, chunks.data() + done, chunks.size() - done, size + off_t(done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            if (n == 0) errno = ENOSPC;
            return false;
        }
        done += size_t(n);
    }
    std::string riffSize;
    put32(riffSize, uint32_t(uint64_t(size) + chunks.size() - 8));
    return ::pwrite(fd, riffSize.data(), 4, 4) == 4;
}

void readAudioFileRegions(AUDIOSIGNAL signal, int fd, int16_t tag, int32_t sampleRate)
{
    if (tag != AUDIO_FORMATTAG_WAV) return;
    std::vector<PlainRegion> regions;
    if (readWavRegions(fd, sampleRate, regions) && !regions.empty()) loadFileRegions(signal, regions);
}

bool writeAudioFileRegions(AUDIOSIGNAL signal, int fd, int16_t tag, int32_t sampleRate)
{
    if (tag != AUDIO_FORMATTAG_WAV) return true;
    try {
        return appendWavRegions(fd, sampleRate, fileRegions(signal));
    } catch (const std::bad_alloc &) {
        errno = ENOMEM;
        return false;
    }
}

} // namespace asig
