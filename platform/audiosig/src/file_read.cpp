// Opening files into signals: content detection, reading through
// libsndfile into native blocks, mapping of uncompressed PCM, link files,
// and probing headers.
#include "file_p.h"
#include "metadata_p.h"
#include "region_p.h"
#include "signal_p.h"

#include <blinifile.h>

#include <fcntl.h>
#include <sndfile.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <functional>
#include <new>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace asig::file {

namespace {

// The first bytes read for detection and for the header of an
// uncompressed file. 64 KiB hold the chunks before the samples of every
// ordinary WAV or AIFF file (a large LIST or ID3 chunk in front of the data
// only costs the mapping: such a file is copied instead).
constexpr size_t kHeadBytes = 64 * 1024;

// A link may not name another link: that keeps a cycle of links from
// opening forever.
constexpr int kMaxLinkDepth = 1;

class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int fd) : m_fd(fd) {}
    FileDescriptor(const FileDescriptor &) = delete;
    FileDescriptor &operator=(const FileDescriptor &) = delete;
    ~FileDescriptor()
    {
        if (m_fd >= 0) ::close(m_fd);
    }
    int get() const { return m_fd; }
    void reset(int fd)
    {
        if (m_fd >= 0) ::close(m_fd);
        m_fd = fd;
    }

private:
    int m_fd = -1;
};

// A read-only mapping of a whole file; blocks that refer into it keep it.
class FileMapping final : public Mapping {
public:
    FileMapping(void *base, size_t size) : m_base(static_cast<uint8_t *>(base)), m_size(size) {}
    ~FileMapping() override { ::munmap(m_base, m_size); }
    const uint8_t *base() const { return m_base; }
    size_t size() const { return m_size; }

private:
    uint8_t *m_base;
    size_t m_size;
};

class SoundFile {
public:
    explicit SoundFile(SNDFILE *file = nullptr) : m_file(file) {}
    SoundFile(const SoundFile &) = delete;
    SoundFile &operator=(const SoundFile &) = delete;
    ~SoundFile()
    {
        if (m_file != nullptr) sf_close(m_file);
    }
    SNDFILE *get() const { return m_file; }
    void reset(SNDFILE *file)
    {
        if (m_file != nullptr) sf_close(m_file);
        m_file = file;
    }

private:
    SNDFILE *m_file;
};

// The file being read: its descriptor, what fstat says of it, and its
// first bytes.
struct Source {
    std::string path;
    FileDescriptor fd;
    struct stat info {};
    std::vector<uint8_t> head;
};

uint64_t stampOf(const struct stat &info)
{
    // Milliseconds since 1970, as BLIO_GetFileTime reads a file's time, so
    // the engine's comparisons with the file on disk agree with the signal.
    return uint64_t(info.st_mtim.tv_sec) * 1000 + uint64_t(info.st_mtim.tv_nsec) / 1000000;
}

bool openSource(const char *path, Source &source, uint32_t &error)
{
    source.path = path;
    // Non-blocking, so that a FIFO given as a file name cannot stall the
    // open; anything but a regular file is refused below.
    const int fd = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        error |= errorOfErrno(errno, false);
        return false;
    }
    source.fd.reset(fd);
    if (::fstat(fd, &source.info) != 0 || !S_ISREG(source.info.st_mode)) {
        error |= AUDIO_ERROR_CANNOT_OPEN;
        return false;
    }
    const size_t want = size_t(std::min<int64_t>(int64_t(kHeadBytes), source.info.st_size));
    source.head.resize(want);
    size_t got = 0;
    while (got < want) {
        const ssize_t n = ::pread(fd, source.head.data() + got, want - got, off_t(got));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        got += size_t(n);
    }
    source.head.resize(got);
    return true;
}

// ---- what a libsndfile file holds ------------------------------------------------

int16_t tagOfSoundFile(int format)
{
    switch (format & SF_FORMAT_TYPEMASK) {
    case SF_FORMAT_WAV:
    case SF_FORMAT_WAVEX: return AUDIO_FORMATTAG_WAV;
    case SF_FORMAT_RF64: return AUDIO_FORMATTAG_RF64;
    case SF_FORMAT_AIFF: return AUDIO_FORMATTAG_AIFF;
    case SF_FORMAT_FLAC: return AUDIO_FORMATTAG_FLAC;
    case SF_FORMAT_OGG:
        if ((format & SF_FORMAT_SUBMASK) == SF_FORMAT_OPUS) return AUDIO_FORMATTAG_OPUS;
        if ((format & SF_FORMAT_SUBMASK) == SF_FORMAT_VORBIS) return AUDIO_FORMATTAG_OGG;
        return 0;
    case SF_FORMAT_MPEG: return AUDIO_FORMATTAG_MP3;
    case SF_FORMAT_RAW: return AUDIO_FORMATTAG_RAW;
    default: return 0;
    }
}

// The sample width a file's encoding keeps without loss: 8 and 16 bits as
// they are, 24 packed, floats as floats; the lossy codecs decode to floats;
// what libsndfile decodes from companded or ADPCM data fits 16 bits.
void encodingOf(int format, AUDIO_FORMAT &out)
{
    out.sampleKind = AUDIO_SAMPLE_PCM;
    switch (format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8: out.bitsPerSample = 8; break;
    case SF_FORMAT_PCM_24: out.bitsPerSample = 24; break;
    case SF_FORMAT_PCM_32: out.bitsPerSample = 32; break;
    case SF_FORMAT_FLOAT:
    case SF_FORMAT_VORBIS:
    case SF_FORMAT_OPUS:
    case SF_FORMAT_MPEG_LAYER_I:
    case SF_FORMAT_MPEG_LAYER_II:
    case SF_FORMAT_MPEG_LAYER_III:
        out.bitsPerSample = 32;
        out.sampleKind = AUDIO_SAMPLE_FLOAT;
        break;
    case SF_FORMAT_DOUBLE:
        out.bitsPerSample = 64;
        out.sampleKind = AUDIO_SAMPLE_FLOAT;
        break;
    default: out.bitsPerSample = 16; break;
    }
}

// WAV and RF64 are one family: a file forced as either opens as what it is.
bool sameFamily(int16_t wanted, int16_t found)
{
    const auto wave = [](int16_t tag) { return tag == AUDIO_FORMATTAG_WAV || tag == AUDIO_FORMATTAG_RF64; };
    return wanted == found || (wave(wanted) && wave(found));
}

// libsndfile's sub-format of a RAW request.
int rawEncoding(const FormatRequest &request)
{
    int sub = 0;
    if (request.kind == AUDIO_SAMPLE_FLOAT || request.bits == 64)
        sub = request.bits == 64 ? SF_FORMAT_DOUBLE : SF_FORMAT_FLOAT;
    else if (request.bits == 8)
        sub = SF_FORMAT_PCM_U8;
    else if (request.bits == 24)
        sub = SF_FORMAT_PCM_24;
    else if (request.bits == 32)
        sub = SF_FORMAT_PCM_32;
    else
        sub = SF_FORMAT_PCM_16;
    return SF_FORMAT_RAW | sub | (request.endian == 2 ? SF_ENDIAN_BIG : SF_ENDIAN_LITTLE);
}

// ---- the header of an opened file ------------------------------------------------

struct Header {
    int16_t tag = 0;             // the file's own tag
    AUDIO_FORMAT format{};       // what the signal will have
    int64_t frames = 0;          // as the header says
    bool frameCountExact = false;  // false for the estimates of MP3 and Ogg
    std::optional<PcmLayout> layout;  // uncompressed: where the samples lie
};

// Opens the file with libsndfile (into `sound`) and reads its header, as
// the request forces or, for "AUTO", as the content says. False with the
// error bits set.
bool readHeader(Source &source, const FormatRequest &request, Header &header, SoundFile &sound,
                uint32_t &error)
{
    const int64_t fileSize = int64_t(source.info.st_size);
    const int16_t sniffed = sniffFormat(source.fd.get(), source.head.data(), source.head.size(), fileSize);
    const int16_t wanted = request.automatic ? 0 : request.entry->tag;
    if (wanted != 0 && wanted != AUDIO_FORMATTAG_RAW && sniffed != 0 && !sameFamily(wanted, sniffed)) {
        // Forced as a format its content is not.
        error |= AUDIO_ERROR_CORRUPT_DATA;
        return false;
    }
    SF_INFO info{};
    if (wanted == AUDIO_FORMATTAG_RAW) {
        if (request.sampleRate == 0 || request.channels == 0 || request.bits == 0) {
            error |= AUDIO_ERROR_INVALID_ARGUMENT;
            return false;
        }
        info.samplerate = request.sampleRate;
        info.channels = request.channels;
        info.format = rawEncoding(request);
    }
    SNDFILE *file = sf_open_fd(source.fd.get(), SFM_READ, &info, SF_FALSE);
    if (file == nullptr) {
        // A file that starts like a known format, or is forced as one, or
        // is named like one, but cannot be read is damaged; any other is of
        // a format we do not read.
        const FormatEntry *named = findFormatByExtension(extensionOf(source.path));
        const bool known = sniffed != 0 || (wanted != 0 && wanted != AUDIO_FORMATTAG_RAW) ||
                           (named != nullptr && named->tag != AUDIO_FORMATTAG_RAW &&
                            (formatCapabilities(*named) & AUDIO_CAP_READ) != 0);
        error |= known ? AUDIO_ERROR_CORRUPT_DATA : AUDIO_ERROR_UNSUPPORTED_FORMAT;
        return false;
    }
    sound.reset(file);
    header.tag = tagOfSoundFile(info.format);
    if (header.tag == 0 || (wanted != 0 && !sameFamily(wanted, header.tag))) {
        error |= header.tag == 0 ? AUDIO_ERROR_UNSUPPORTED_FORMAT : AUDIO_ERROR_CORRUPT_DATA;
        return false;
    }
    if (info.channels < 1 || info.channels > AUDIO_MAX_CHANNELS || info.samplerate < 1 || info.frames < 0) {
        error |= AUDIO_ERROR_UNSUPPORTED_FORMAT;
        return false;
    }
    header.format = AUDIO_NullFormat();
    header.format.sampleRate = info.samplerate;
    header.format.numChannels = int16_t(info.channels);
    header.format.formatTag = header.tag;
    encodingOf(info.format, header.format);
    header.frames = info.frames;
    header.frameCountExact = header.tag != AUDIO_FORMATTAG_MP3 && header.tag != AUDIO_FORMATTAG_OGG &&
                             header.tag != AUDIO_FORMATTAG_OPUS;

    if (header.tag == AUDIO_FORMATTAG_RAW) {
        PcmLayout layout;
        layout.tag = AUDIO_FORMATTAG_RAW;
        layout.sampleRate = info.samplerate;
        layout.channels = int16_t(info.channels);
        layout.bits = header.format.bitsPerSample;
        layout.kind = header.format.sampleKind;
        layout.bigEndian = request.endian == 2;
        layout.frames = fileSize / (int64_t(layout.channels) * (layout.bits / 8));
        header.layout = layout;
    } else if (header.tag == AUDIO_FORMATTAG_WAV || header.tag == AUDIO_FORMATTAG_RF64 ||
               header.tag == AUDIO_FORMATTAG_AIFF) {
        PcmLayout layout;
        // Trusted only where it agrees with libsndfile's reading of the header.
        if (readPcmLayout(source.head.data(), source.head.size(), fileSize, layout) &&
            layout.channels == info.channels && layout.sampleRate == info.samplerate &&
            layout.bits == header.format.bitsPerSample && layout.kind == header.format.sampleKind &&
            layout.frames == info.frames)
            header.layout = layout;
    }
    return true;
}

// ---- reading samples ---------------------------------------------------------------

struct Decoded {
    std::vector<SpanList> channels;
    int64_t frames = 0;
    bool truncated = false;
    bool cancelled = false;
};

std::vector<SpanBuilder> makeBuilders(int channels, SampleType type)
{
    std::vector<SpanBuilder> builders;
    builders.reserve(size_t(channels));
    for (int c = 0; c < channels; ++c) builders.emplace_back(type);
    return builders;
}

// Reads every frame libsndfile decodes, kBlockFrames at a time, into
// blocks of the format's own sample type.
bool decodeAll(SNDFILE *file, const Header &header, ProgressReport *progress, Decoded &out, uint32_t &error)
{
    const int channels = header.format.numChannels;
    const SampleType type = _AUDIO_SampleTypeOf(header.format);
    const size_t width = bytesPerSample(type);
    const size_t stride = size_t(channels) * width;
    const int64_t chunk = kBlockFrames;
    std::vector<SpanBuilder> builders = makeBuilders(channels, type);
    std::vector<uint8_t> samples(size_t(chunk) * stride);
    std::vector<int32_t> wide;  // libsndfile's output before packing to 8 or 24 bits
    if (type == SampleType::U8 || type == SampleType::S24) wide.resize(size_t(chunk) * size_t(channels));
    int64_t total = 0;
    for (;;) {
        sf_count_t got = 0;
        switch (type) {
        case SampleType::U8: {
            auto *shorts = reinterpret_cast<short *>(wide.data());
            got = sf_readf_short(file, shorts, chunk);
            // libsndfile gives 8-bit samples as v << 8; blocks keep them
            // offset by 128.
            for (sf_count_t i = 0; i < got * channels; ++i) samples[size_t(i)] = uint8_t((shorts[i] >> 8) + 128);
            break;
        }
        case SampleType::S16: got = sf_readf_short(file, reinterpret_cast<short *>(samples.data()), chunk); break;
        case SampleType::S24:
            got = sf_readf_int(file, wide.data(), chunk);
            // Integers come left-justified in 32 bits; keep the top three
            // bytes, little endian.
            for (sf_count_t i = 0; i < got * channels; ++i) {
                const uint32_t v = uint32_t(wide[size_t(i)]);
                uint8_t *p = samples.data() + size_t(i) * 3;
                p[0] = uint8_t(v >> 8);
                p[1] = uint8_t(v >> 16);
                p[2] = uint8_t(v >> 24);
            }
            break;
        case SampleType::S32: got = sf_readf_int(file, reinterpret_cast<int *>(samples.data()), chunk); break;
        case SampleType::F64: got = sf_readf_double(file, reinterpret_cast<double *>(samples.data()), chunk); break;
        default: got = sf_readf_float(file, reinterpret_cast<float *>(samples.data()), chunk); break;
        }
        if (got <= 0) break;
        for (int c = 0; c < channels; ++c) {
            const uint8_t *first = samples.data() + size_t(c) * width;
            builders[size_t(c)].pushNative(first, got, stride);
        }
        total += got;
        if (progress != nullptr && header.frames > 0 &&
            !progress->update(std::min(1.0, double(total) / double(header.frames)))) {
            out.cancelled = true;
            return false;
        }
    }
    if (sf_error(file) != SF_ERR_NO_ERROR || (header.frameCountExact && total < header.frames) ||
        (header.layout && header.layout->truncated))
        out.truncated = true;
    if (total == 0 && out.truncated) {
        error |= AUDIO_ERROR_CORRUPT_DATA;
        return false;
    }
    out.frames = total;
    out.channels.reserve(size_t(channels));
    for (SpanBuilder &builder : builders) out.channels.push_back(builder.finish());
    return true;
}

// Whether the samples can be used in place: little endian, 8-bit ones
// offset by 128, and every sample at an address its width divides (the
// block readers load 2-, 4- and 8-byte values directly).
bool mappable(const PcmLayout &layout, SampleType type)
{
    if (layout.frames <= 0) return false;
    if (layout.bigEndian && layout.bits > 8) return false;
    if (type == SampleType::U8 && layout.signed8) return false;
    size_t align = bytesPerSample(type);
    if (type == SampleType::S24 || type == SampleType::U8) align = 1;
    return layout.dataOffset % int64_t(align) == 0;
}

bool shouldMap(const Header &header, uint32_t flags, int64_t fileSize)
{
    if ((flags & AUDIO_OPEN_NO_MAP) != 0 || !header.layout) return false;
    if (!mappable(*header.layout, _AUDIO_SampleTypeOf(header.format))) return false;
    return (flags & AUDIO_OPEN_MAP) != 0 || fileSize >= AUDIO_OPEN_MAP_THRESHOLD;
}

// Bytes of samples summarized between two releases of their pages: large
// enough that madvise costs nothing next to the summaries, small enough
// that what stays resident meanwhile is a few MiB.
constexpr int64_t kReleaseBytes = 8 * 1024 * 1024;

// Rows (kBlockFrames frames of every channel) below which a second thread
// costs more than it saves: 32 rows are some 2 million frames.
constexpr int64_t kParallelRows = 32;

// Makes the mapped blocks of rows [first, last) into `blocks` (row-major,
// one per channel) and gives the pages back once they are summarized.
// `done` counts the finished rows; `stop` ends the work early.
class RowSummarizer {
public:
    RowSummarizer(std::shared_ptr<const FileMapping> mapping, const PcmLayout &layout, SampleType type,
                  std::vector<BlockRef> &blocks)
        : m_mapping(std::move(mapping)), m_layout(layout), m_type(type), m_blocks(blocks),
          m_width(bytesPerSample(type)), m_stride(size_t(layout.channels) * m_width),
          m_page(uintptr_t(::sysconf(_SC_PAGESIZE)))
    {
    }

    // Returns false when stopped or out of memory (then `failed` is set).
    bool run(int64_t first, int64_t last, std::atomic<int64_t> &done, const std::atomic<bool> &stop,
             const std::function<bool()> &report)
    {
        const uint8_t *data = m_mapping->base() + m_layout.dataOffset;
        const int channels = m_layout.channels;
        uintptr_t released = pageDown(first == 0 ? reinterpret_cast<uintptr_t>(m_mapping->base())
                                                 : reinterpret_cast<uintptr_t>(data + size_t(first) * kBlockFrames * m_stride));
        try {
            for (int64_t row = first; row < last; ++row) {
                if (stop.load(std::memory_order_relaxed)) return false;
                const int64_t start = row * kBlockFrames;
                const int64_t n = std::min<int64_t>(kBlockFrames, m_layout.frames - start);
                const uint8_t *at = data + size_t(start) * m_stride;
                for (int c = 0; c < channels; ++c) {
                    const uint8_t *firstSample = at + size_t(c) * m_width;
                    BlockRef block = Block::mapped(m_mapping, m_type, firstSample, n, m_stride);
                    m_blocks[size_t(row) * size_t(channels) + size_t(c)] = std::move(block);
                }
                // The summaries are made: the pages need not stay in this
                // process. They stay in the page cache, and a later read
                // maps them again.
                const uintptr_t end = pageDown(reinterpret_cast<uintptr_t>(at + size_t(n) * m_stride));
                if (end > released && (end - released >= uintptr_t(kReleaseBytes) || row + 1 == last)) {
                    ::madvise(reinterpret_cast<void *>(released), end - released, MADV_DONTNEED);
                    released = end;
                }
                done.fetch_add(1, std::memory_order_relaxed);
                if (report && !report()) return false;
            }
        } catch (const std::bad_alloc &) {
            failed = true;
            return false;
        }
        return true;
    }

    std::atomic<bool> failed{false};

private:
    uintptr_t pageDown(uintptr_t p) const { return p / m_page * m_page; }

    std::shared_ptr<const FileMapping> m_mapping;
    const PcmLayout &m_layout;
    SampleType m_type;
    std::vector<BlockRef> &m_blocks;
    size_t m_width;
    size_t m_stride;
    uintptr_t m_page;
};

// Uses the file's samples in place. Large files are summarized by two
// threads, each over one half (the summaries cost more than the reading),
// with progress sent from the calling thread.
bool mapAll(const Source &source, const Header &header, ProgressReport *progress, Decoded &out, uint32_t &error)
{
    const PcmLayout &layout = *header.layout;
    const size_t fileSize = size_t(source.info.st_size);
    void *base = ::mmap(nullptr, fileSize, PROT_READ, MAP_SHARED, source.fd.get(), 0);
    if (base == MAP_FAILED) {
        error |= errno == ENOMEM ? AUDIO_ERROR_OUT_OF_MEMORY : AUDIO_ERROR_CANNOT_OPEN;
        return false;
    }
    const auto mapping = std::make_shared<const FileMapping>(base, fileSize);
    // Read once from start to end: ask for read-ahead.
    ::madvise(base, fileSize, MADV_SEQUENTIAL);

    const int channels = layout.channels;
    const SampleType type = _AUDIO_SampleTypeOf(header.format);
    const int64_t rows = (layout.frames + kBlockFrames - 1) / kBlockFrames;
    std::vector<BlockRef> blocks(size_t(rows) * size_t(channels));
    RowSummarizer summarizer(mapping, layout, type, blocks);
    std::atomic<int64_t> done{0};
    std::atomic<bool> stop{false};
    const std::function<bool()> report = [&] {
        if (progress == nullptr) return true;
        if (progress->update(double(done.load(std::memory_order_relaxed)) / double(rows))) return true;
        out.cancelled = true;
        return false;
    };

    int64_t mine = rows;
    std::thread helper;
    if (rows >= kParallelRows) {
        try {
            mine = rows / 2;
            helper = std::thread([&] {
                if (!summarizer.run(mine, rows, done, stop, nullptr)) stop = true;
            });
        } catch (const std::system_error &) {
            mine = rows;  // no thread to be had: all on this one
        }
    }
    if (!summarizer.run(0, mine, done, stop, report)) stop = true;
    if (helper.joinable()) helper.join();
    if (!stop && progress != nullptr && !progress->update(1.0)) out.cancelled = true;
    if (stop || out.cancelled) {
        if (summarizer.failed) error |= AUDIO_ERROR_OUT_OF_MEMORY;
        return false;
    }

    std::vector<SpanBuilder> builders = makeBuilders(channels, type);
    for (int64_t row = 0; row < rows; ++row)
        for (int c = 0; c < channels; ++c)
            builders[size_t(c)].pushBlock(blocks[size_t(row) * size_t(channels) + size_t(c)]);
    out.frames = layout.frames;
    out.truncated = layout.truncated;
    out.channels.reserve(size_t(channels));
    for (SpanBuilder &builder : builders) out.channels.push_back(builder.finish());
    return true;
}

// ---- opening -------------------------------------------------------------------------

struct OpenRequest {
    const char *path;
    const char *formatText;
    uint32_t flags;
    void *parent;
    AUDIOSIGNAL_CALLBACK callback;
    int depth;
};

AUDIOSIGNAL openAny(const OpenRequest &request, uint32_t &error);

// Reads the "file" and "format" keys of a link file's "tavo.link" section;
// the file is relative to the link's folder unless absolute.
bool readLink(const std::string &linkPath, std::string &target, std::string &format, uint32_t &error)
{
    BLINIFILE ini = BLINIFILE_Open(linkPath.c_str());
    if (ini == nullptr) {
        error |= AUDIO_ERROR_CORRUPT_DATA;
        return false;
    }
    const std::string file = BLINIFILE_ReadString(ini, "tavo.link", "file", "");
    format = BLINIFILE_ReadString(ini, "tavo.link", "format", "AUTO");
    BLINIFILE_Close(ini);
    if (file.empty()) {
        error |= AUDIO_ERROR_CORRUPT_DATA;
        return false;
    }
    if (file.front() == '/') {
        target = file;
    } else {
        const size_t slash = linkPath.find_last_of('/');
        target = slash == std::string::npos ? file : linkPath.substr(0, slash + 1) + file;
    }
    return true;
}

AUDIOSIGNAL openLink(const OpenRequest &request, const Source &source, uint32_t &error)
{
    if (request.depth >= kMaxLinkDepth) {
        error |= AUDIO_ERROR_CORRUPT_DATA;
        return nullptr;
    }
    std::string target;
    std::string format;
    if (!readLink(source.path, target, format, error)) return nullptr;
    OpenRequest inner = request;
    inner.path = target.c_str();
    inner.formatText = format.c_str();
    inner.depth = request.depth + 1;
    AUDIOSIGNAL signal = openAny(inner, error);
    if (signal == nullptr) return nullptr;
    // The signal stands for the link: its tag, its label and its file's
    // stamps are the link's.
    setFileTag(signal, AUDIO_FORMATTAG_LINK);
    AUDIOSIGNAL_SetSignalLabel(signal, source.path.c_str());
    AUDIOSIGNAL_MarkSaved(signal, stampOf(source.info), int64_t(source.info.st_size));
    return signal;
}

bool isLink(const Source &source, const FormatRequest &format)
{
    if (!format.automatic) return format.entry->tag == AUDIO_FORMATTAG_LINK;
    return sniffFormat(source.fd.get(), source.head.data(), source.head.size(), int64_t(source.info.st_size)) ==
           AUDIO_FORMATTAG_LINK;
}

AUDIOSIGNAL openAny(const OpenRequest &request, uint32_t &error)
{
    FormatRequest format;
    if (!parseFormatRequest(request.formatText, format, error)) return nullptr;
    if (!format.automatic && (formatCapabilities(*format.entry) & AUDIO_CAP_READ) == 0) {
        error |= AUDIO_ERROR_UNSUPPORTED_FORMAT;
        return nullptr;
    }
    Source source;
    if (!openSource(request.path, source, error)) return nullptr;
    if (isLink(source, format)) return openLink(request, source, error);

    Header header;
    SoundFile sound;
    if (!readHeader(source, format, header, sound, error)) return nullptr;

    // The signal exists from the start, so that progress reports carry it.
    std::vector<SpanList> empty(size_t(header.format.numChannels));
    AUDIOSIGNAL signal = _AUDIOSIGNAL_Create(header.format, std::move(empty));
    if (signal == nullptr) {
        error |= AUDIO_ERROR_OUT_OF_MEMORY;
        return nullptr;
    }
    AUDIOSIGNAL_SetParentObject(signal, request.parent, request.callback);
    std::optional<ProgressReport> progress;
    if ((request.flags & AUDIO_OPEN_PROGRESS) != 0) progress.emplace(signal, request.parent, ProgressReport::Family::Read);

    Decoded decoded;
    const int64_t fileSize = int64_t(source.info.st_size);
    const bool read = shouldMap(header, request.flags, fileSize)
                          ? mapAll(source, header, progress ? &*progress : nullptr, decoded, error)
                          : decodeAll(sound.get(), header, progress ? &*progress : nullptr, decoded, error);
    if (!read || !_AUDIOSIGNAL_SetChannels(signal, std::move(decoded.channels), nullptr)) {
        if (decoded.cancelled) error |= AUDIO_ERROR_CANCELLED;
        else if (read) error |= AUDIO_ERROR_OUT_OF_MEMORY;
        if (progress) progress->finish(true);
        AUDIOSIGNAL_Destroy(signal);
        return nullptr;
    }
    if (decoded.truncated) error |= AUDIO_ERROR_CORRUPT_DATA;
    AUDIOSIGNAL_SetSignalLabel(signal, request.path);
    // Regions too are what the file holds: read before MarkSaved.
    asig::readAudioFileRegions(signal, source.fd.get(), header.tag, header.format.sampleRate);
    // Before MarkSaved: the tags are what the file holds, not a change.
    // Regions kept as comments come with the tags' reader, and are read as
    // WAV regions are: whether or not the tags are asked for.
    const bool tags = (request.flags & AUDIO_OPEN_READ_TAGS) != 0;
    if (tags || asig::keepsCommentRegions(header.tag)) readFileMetadata(signal, source.fd.get(), header.tag, tags);
    AUDIOSIGNAL_MarkSaved(signal, stampOf(source.info), fileSize);
    if (progress) progress->finish(false);
    return signal;
}

// The header of a file (through a link to the file it names) without its
// samples.
bool probe(const char *path, const char *formatText, int depth, AUDIO_FORMAT &format, int64_t &frames,
           uint32_t &error)
{
    FormatRequest request;
    if (!parseFormatRequest(formatText, request, error)) return false;
    if (!request.automatic && (formatCapabilities(*request.entry) & AUDIO_CAP_READ) == 0) {
        error |= AUDIO_ERROR_UNSUPPORTED_FORMAT;
        return false;
    }
    Source source;
    if (!openSource(path, source, error)) return false;
    if (isLink(source, request)) {
        std::string target;
        std::string targetFormat;
        if (depth >= kMaxLinkDepth) {
            error |= AUDIO_ERROR_CORRUPT_DATA;
            return false;
        }
        if (!readLink(source.path, target, targetFormat, error) ||
            !probe(target.c_str(), targetFormat.c_str(), depth + 1, format, frames, error))
            return false;
        format.formatTag = AUDIO_FORMATTAG_LINK;
        return true;
    }
    Header header;
    SoundFile sound;
    if (!readHeader(source, request, header, sound, error)) return false;
    format = header.format;
    frames = header.layout ? header.layout->frames : header.frames;
    return true;
}

} // namespace

void setFileTag(AUDIOSIGNAL signal, int16_t tag)
{
    std::unique_lock lock(signal->m_mutex);
    signal->m_format.formatTag = tag;
}

} // namespace asig::file

using namespace asig::file;

// ---- opening -----------------------------------------------------------------------------

AUDIO_API AUDIOSIGNAL AUDIOSIGNAL_OpenEx(const char *name, const char *format, uint32_t flags, void *parent,
                               AUDIOSIGNAL_CALLBACK callback, uint32_t *error)
{
    uint32_t bits = AUDIO_ERROR_NONE;
    AUDIOSIGNAL signal = nullptr;
    if (name == nullptr || format == nullptr) {
        bits = AUDIO_ERROR_INVALID_ARGUMENT;
    } else {
        try {
            signal = openAny(OpenRequest{name, format, flags, parent, callback, 0}, bits);
        } catch (const std::bad_alloc &) {
            bits |= AUDIO_ERROR_OUT_OF_MEMORY;
        }
    }
    if (error != nullptr) *error = bits;
    return signal;
}

AUDIO_API bool AUDIOSIGNAL_ProbeFileEx(const char *name, const char *format, AUDIO_FORMAT *formatOut,
                                       int64_t *framesOut, uint32_t *error)
{
    uint32_t bits = AUDIO_ERROR_NONE;
    AUDIO_FORMAT found = AUDIO_NullFormat();
    int64_t frames = 0;
    bool ok = false;
    if (name == nullptr || format == nullptr) {
        bits = AUDIO_ERROR_INVALID_ARGUMENT;
    } else {
        try {
            ok = probe(name, format, 0, found, frames, bits);
        } catch (const std::bad_alloc &) {
            bits |= AUDIO_ERROR_OUT_OF_MEMORY;
        }
    }
    if (ok && formatOut != nullptr) *formatOut = found;
    if (ok && framesOut != nullptr) *framesOut = frames;
    if (error != nullptr) *error = ok ? AUDIO_ERROR_NONE : bits;
    return ok;
}

AUDIO_API bool AUDIOSIGNAL_CanOpenEx(const char *name, const char *format, uint32_t *error)
{
    return AUDIOSIGNAL_ProbeFileEx(name, format, nullptr, nullptr, error);
}
