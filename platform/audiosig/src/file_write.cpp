// Saving signals: choosing the file's encoding from a format text and the
// signal, writing through libsndfile into a temporary file beside the
// target, and putting it in place by renaming, so that a failed save never
// touches the file that was there. Also the in-place metadata update.
#include "file_p.h"
#include "metadata_p.h"
#include "region_p.h"
#include "signal_p.h"

#include "audioops.h"

#include <fcntl.h>
#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <vector>

namespace asig::file {

namespace {

// ---- the file's encoding -------------------------------------------------------------

// How the samples reach libsndfile: 8- and 16-bit PCM as shorts, 24- and
// 32-bit PCM as ints, floats as floats or doubles.
enum class Carrier { Short, Int, Float, Double };

struct WritePlan {
    const FormatEntry *entry = nullptr;
    int16_t tag = 0;         // the written file's tag (RF64 for a WAV too large)
    AUDIO_FORMAT target{};   // rate, channels and encoding of the file
    int sfFormat = 0;
    Carrier carrier = Carrier::Float;
    double compression = -1.0;  // libsndfile's 0 (best) .. 1 (smallest), -1: its default
    bool constantBitRate = false;
};

// Largest data of a RIFF file: its sizes are 32 bits, and the chunks before
// the samples that libsndfile writes (fmt, fact, PEAK for 32 channels) take
// well under the 4 KiB kept free here.
constexpr uint64_t kRiffLimit = 0xffffffffULL - 4096;

// The rates the encoders take; libsndfile's format check lets others pass
// and its open then fails. MPEG audio: 32, 44.1 and 48 kHz and their halves
// and quarters; Opus: 48 kHz and its divisors down to 8 kHz.
constexpr int32_t kMpegRates[] = {8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000};
constexpr int32_t kOpusRates[] = {8000, 12000, 16000, 24000, 48000};

template <size_t N>
bool listed(const int32_t (&rates)[N], int32_t rate)
{
    return std::find(std::begin(rates), std::end(rates), rate) != std::end(rates);
}

bool holds(const FormatEntry &entry, int32_t bits, int32_t kind)
{
    if (kind == AUDIO_SAMPLE_FLOAT) return (entry.holds & AUDIO_CAP_FLOAT) != 0;
    if (bits == 24) return (entry.holds & AUDIO_CAP_INT24) != 0;
    if (bits == 32) return (entry.holds & AUDIO_CAP_INT32) != 0;
    return bits == 8 || bits == 16;
}

const FormatEntry *writableEntry(int32_t tag)
{
    const FormatEntry *entry = findFormatByTag(tag);
    return entry != nullptr && (formatCapabilities(*entry) & AUDIO_CAP_WRITE) != 0 ? entry : nullptr;
}

// Picks the written encoding: what the text names, else the signal's own
// when the format holds it; a width the format cannot hold is refused when
// named and replaced by the format's widest integer when only inherited.
bool chooseEncoding(const FormatRequest &request, const AUDIO_FORMAT &signal, WritePlan &plan, uint32_t &error)
{
    const FormatEntry &entry = *plan.entry;
    if (entry.defaultBits == 0) {
        plan.target.bitsPerSample = 32;
        plan.target.sampleKind = AUDIO_SAMPLE_FLOAT;
        plan.carrier = Carrier::Float;
        return true;
    }
    int32_t bits = signal.bitsPerSample;
    int32_t kind = signal.sampleKind;
    const bool named = request.bits != 0 || request.kind >= 0;
    if (request.bits != 0) {
        bits = request.bits;
        kind = request.kind >= 0 ? request.kind : (bits == 64 ? AUDIO_SAMPLE_FLOAT : AUDIO_SAMPLE_PCM);
    } else if (request.kind == AUDIO_SAMPLE_FLOAT) {
        kind = AUDIO_SAMPLE_FLOAT;
        bits = signal.sampleKind == AUDIO_SAMPLE_FLOAT ? signal.bitsPerSample : 32;
    } else if (request.kind == AUDIO_SAMPLE_PCM) {
        kind = AUDIO_SAMPLE_PCM;
        bits = signal.sampleKind == AUDIO_SAMPLE_PCM ? signal.bitsPerSample : entry.defaultBits;
    }
    if (!holds(entry, bits, kind)) {
        if (named) {
            error |= AUDIO_ERROR_INVALID_ARGUMENT;
            return false;
        }
        bits = (entry.holds & AUDIO_CAP_INT24) != 0 ? 24 : 16;
        kind = AUDIO_SAMPLE_PCM;
    }
    plan.target.bitsPerSample = int16_t(bits);
    plan.target.sampleKind = int16_t(kind);
    if (kind == AUDIO_SAMPLE_FLOAT)
        plan.carrier = bits == 64 ? Carrier::Double : Carrier::Float;
    else
        plan.carrier = bits <= 16 ? Carrier::Short : Carrier::Int;
    return true;
}

int subFormatOf(const WritePlan &plan)
{
    switch (plan.entry->tag) {
    case AUDIO_FORMATTAG_OGG: return SF_FORMAT_VORBIS;
    case AUDIO_FORMATTAG_OPUS: return SF_FORMAT_OPUS;
    case AUDIO_FORMATTAG_MP3: return SF_FORMAT_MPEG_LAYER_III;
    default: break;
    }
    if (plan.target.sampleKind == AUDIO_SAMPLE_FLOAT)
        return plan.target.bitsPerSample == 64 ? SF_FORMAT_DOUBLE : SF_FORMAT_FLOAT;
    switch (plan.target.bitsPerSample) {
    case 8:
        // WAV and RAW keep 8-bit samples offset by 128, AIFF and FLAC signed.
        return plan.entry->tag == AUDIO_FORMATTAG_WAV || plan.entry->tag == AUDIO_FORMATTAG_RF64 ||
                       plan.entry->tag == AUDIO_FORMATTAG_RAW
                   ? SF_FORMAT_PCM_U8
                   : SF_FORMAT_PCM_S8;
    case 24: return SF_FORMAT_PCM_24;
    case 32: return SF_FORMAT_PCM_32;
    default: return SF_FORMAT_PCM_16;
    }
}

bool makePlan(const FormatRequest &request, const AUDIO_FORMAT &signal, const char *name, WritePlan &plan,
              uint32_t &error)
{
    if (request.automatic) {
        plan.entry = writableEntry(signal.formatTag);
        if (plan.entry == nullptr) {
            const FormatEntry *byName = findFormatByExtension(extensionOf(name));
            if (byName != nullptr) plan.entry = writableEntry(byName->tag);
        }
    } else {
        plan.entry = writableEntry(request.entry->tag);
    }
    if (plan.entry == nullptr) {
        error |= AUDIO_ERROR_UNSUPPORTED_FORMAT;
        return false;
    }
    plan.target = signal;
    if (request.sampleRate != 0) plan.target.sampleRate = request.sampleRate;
    if (request.channels != 0) plan.target.numChannels = int16_t(request.channels);
    if (!chooseEncoding(request, signal, plan, error)) return false;

    plan.tag = plan.entry->tag;
    plan.target.formatTag = plan.tag;
    plan.sfFormat = plan.entry->sfMajor | subFormatOf(plan);
    if (plan.tag == AUDIO_FORMATTAG_RAW) plan.sfFormat |= request.endian == 2 ? SF_ENDIAN_BIG : SF_ENDIAN_LITTLE;

    if (request.compression >= 0.0 && plan.tag == AUDIO_FORMATTAG_FLAC)
        plan.compression = request.compression / 8.0;  // FLAC levels 0..8
    if (request.quality >= 0.0 && (plan.tag == AUDIO_FORMATTAG_OGG || plan.tag == AUDIO_FORMATTAG_OPUS))
        plan.compression = 1.0 - request.quality;
    if (request.bitrate != 0 && plan.tag == AUDIO_FORMATTAG_MP3) {
        // libsndfile turns its level c into 320 - 288c kbit/s at 32 kHz and
        // above, 160 - 152c from 16 kHz and 64 - 56c below, and LAME takes
        // the nearest rate it has; half a kbit/s keeps the truncation of
        // that sum from landing one below.
        const int32_t rate = plan.target.sampleRate;
        const double top = rate >= 32000 ? 320.0 : rate >= 16000 ? 160.0 : 64.0;
        const double bottom = rate >= 16000 ? (rate >= 32000 ? 32.0 : 8.0) : 8.0;
        plan.compression = std::clamp((top - double(request.bitrate) - 0.5) / (top - bottom), 0.0, 1.0);
        plan.constantBitRate = true;
    }

    if ((plan.tag == AUDIO_FORMATTAG_MP3 && !listed(kMpegRates, plan.target.sampleRate)) ||
        (plan.tag == AUDIO_FORMATTAG_OPUS && !listed(kOpusRates, plan.target.sampleRate))) {
        error |= AUDIO_ERROR_INCOMPATIBLE;
        return false;
    }
    SF_INFO check{};
    check.samplerate = plan.target.sampleRate;
    check.channels = plan.target.numChannels;
    check.format = plan.sfFormat;
    if (sf_format_check(&check) == 0) {
        // A rate or channel count the format does not take (Opus runs at 8,
        // 12, 16, 24 and 48 kHz; MP3 has at most two channels).
        error |= AUDIO_ERROR_INCOMPATIBLE;
        return false;
    }
    return true;
}

// A WAV whose samples pass what RIFF sizes hold becomes RF64; an AIFF that
// large cannot be written. Decided on the length to be written, after any
// conversion.
bool fitContainer(WritePlan &plan, int64_t frames, uint32_t &error)
{
    const uint64_t dataBytes =
        uint64_t(frames) * uint64_t(plan.target.numChannels) * uint64_t(plan.target.bitsPerSample / 8);
    if (dataBytes <= kRiffLimit) return true;
    if (plan.tag == AUDIO_FORMATTAG_AIFF) {
        error |= AUDIO_ERROR_TOO_LARGE;
        return false;
    }
    if (plan.tag == AUDIO_FORMATTAG_WAV) {
        plan.tag = AUDIO_FORMATTAG_RF64;
        plan.target.formatTag = plan.tag;
        plan.sfFormat = SF_FORMAT_RF64 | (plan.sfFormat & SF_FORMAT_SUBMASK);
    }
    return true;
}

// ---- output file ----------------------------------------------------------------------

// libsndfile writes through these calls, so that the first system error
// (a full disk above all) is known exactly; some of its encoders only log a
// short write.
struct Output {
    int fd = -1;
    sf_count_t position = 0;
    int firstError = 0;
};

sf_count_t outputLength(void *user)
{
    struct stat info {};
    return ::fstat(static_cast<Output *>(user)->fd, &info) == 0 ? sf_count_t(info.st_size) : -1;
}

sf_count_t outputSeek(sf_count_t offset, int whence, void *user)
{
    auto *out = static_cast<Output *>(user);
    sf_count_t base = 0;
    if (whence == SEEK_CUR) base = out->position;
    if (whence == SEEK_END) base = outputLength(user);
    if (base < 0 || base + offset < 0) return -1;
    out->position = base + offset;
    return out->position;
}

sf_count_t outputRead(void *data, sf_count_t count, void *user)
{
    auto *out = static_cast<Output *>(user);
    sf_count_t done = 0;
    while (done < count) {
        const ssize_t n = ::pread(out->fd, static_cast<uint8_t *>(data) + done, size_t(count - done),
                                  off_t(out->position + done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        done += n;
    }
    out->position += done;
    return done;
}

sf_count_t outputWrite(const void *data, sf_count_t count, void *user)
{
    auto *out = static_cast<Output *>(user);
    sf_count_t done = 0;
    while (done < count) {
        const ssize_t n = ::pwrite(out->fd, static_cast<const uint8_t *>(data) + done, size_t(count - done),
                                   off_t(out->position + done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            if (out->firstError == 0) out->firstError = n < 0 ? errno : ENOSPC;
            break;
        }
        done += n;
    }
    out->position += done;
    return done;
}

sf_count_t outputTell(void *user)
{
    return static_cast<Output *>(user)->position;
}

// A temporary file beside the target; removed unless committed.
class TemporaryFile {
public:
    TemporaryFile() = default;
    TemporaryFile(const TemporaryFile &) = delete;
    TemporaryFile &operator=(const TemporaryFile &) = delete;
    ~TemporaryFile()
    {
        if (m_fd >= 0) ::close(m_fd);
        if (!m_path.empty()) ::unlink(m_path.c_str());
    }

    bool create(const std::string &target, uint32_t &error)
    {
        static std::atomic<uint32_t> counter{0};
        m_path = target + ".tmp-" + std::to_string(::getpid()) + "-" + std::to_string(counter.fetch_add(1));
        m_fd = ::open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (m_fd < 0) {
            m_path.clear();
            error |= errorOfErrno(errno, true);
            return false;
        }
        // A replaced file keeps its permissions.
        struct stat old {};
        if (::stat(target.c_str(), &old) == 0) ::fchmod(m_fd, old.st_mode & 07777);
        return true;
    }

    int fd() const { return m_fd; }
    const std::string &path() const { return m_path; }

    // Flushes to disk and closes; the file stays for the rename.
    bool finish(uint32_t &error)
    {
        if (::fsync(m_fd) != 0) {
            error |= errorOfErrno(errno, true);
            return false;
        }
        const int fd = m_fd;
        m_fd = -1;
        if (::close(fd) != 0) {
            error |= errorOfErrno(errno, true);
            return false;
        }
        return true;
    }

    void committed() { m_path.clear(); }

private:
    std::string m_path;
    int m_fd = -1;
};

class SoundWriter {
public:
    explicit SoundWriter(SNDFILE *file) : m_file(file) {}
    SoundWriter(const SoundWriter &) = delete;
    SoundWriter &operator=(const SoundWriter &) = delete;
    ~SoundWriter() { close(); }
    SNDFILE *get() const { return m_file; }
    int close()
    {
        const int result = m_file != nullptr ? sf_close(m_file) : 0;
        m_file = nullptr;
        return result;
    }

private:
    SNDFILE *m_file;
};

// ---- samples --------------------------------------------------------------------------

template <typename T>
T scaled(float value, int bits, int shift)
{
    // Floats in [-1, 1] scaled by 2^(bits - 1), rounded and clipped to the
    // width, then placed in the high bits of the carrier as libsndfile
    // expects integers.
    const double full = std::ldexp(1.0, bits - 1);
    const double v = std::clamp(std::nearbyint(double(value) * full), -full, full - 1.0);
    return T(int64_t(v) * (int64_t(1) << shift));
}

// Writes the channels' frames [0, frames) in chunks, interleaved.
bool writeSamples(SNDFILE *file, const std::vector<SpanList> &channels, int64_t frames, const WritePlan &plan,
                  const Output &output, ProgressReport &progress, uint32_t &error)
{
    const size_t count = channels.size();
    const int64_t chunk = kBlockFrames;
    const int bits = plan.target.bitsPerSample;
    std::vector<float> floats(static_cast<size_t>(chunk));
    std::vector<uint8_t> native(static_cast<size_t>(chunk) * 8);
    std::vector<uint8_t> interleaved(size_t(chunk) * count * 8);
    for (int64_t start = 0; start < frames; start += chunk) {
        const int64_t n = std::min(chunk, frames - start);
        for (size_t c = 0; c < count; ++c) {
            const SpanList &list = channels[c];
            switch (plan.carrier) {
            case Carrier::Short: {
                list.readFloat(start, n, floats.data());
                auto *out = reinterpret_cast<short *>(interleaved.data());
                for (int64_t i = 0; i < n; ++i) out[size_t(i) * count + c] = scaled<short>(floats[size_t(i)], bits, 16 - bits);
                break;
            }
            case Carrier::Int: {
                auto *out = reinterpret_cast<int *>(interleaved.data());
                if (bits == 32) {
                    readSamplesAs(list, start, n, SampleType::S32, native.data());
                    const auto *in = reinterpret_cast<const int32_t *>(native.data());
                    for (int64_t i = 0; i < n; ++i) out[size_t(i) * count + c] = in[i];
                } else {
                    list.readFloat(start, n, floats.data());
                    for (int64_t i = 0; i < n; ++i) out[size_t(i) * count + c] = scaled<int>(floats[size_t(i)], bits, 32 - bits);
                }
                break;
            }
            case Carrier::Double: {
                readSamplesAs(list, start, n, SampleType::F64, native.data());
                const auto *in = reinterpret_cast<const double *>(native.data());
                auto *out = reinterpret_cast<double *>(interleaved.data());
                for (int64_t i = 0; i < n; ++i) out[size_t(i) * count + c] = in[i];
                break;
            }
            case Carrier::Float: {
                list.readFloat(start, n, floats.data());
                auto *out = reinterpret_cast<float *>(interleaved.data());
                for (int64_t i = 0; i < n; ++i) out[size_t(i) * count + c] = floats[size_t(i)];
                break;
            }
            }
        }
        sf_count_t written = 0;
        switch (plan.carrier) {
        case Carrier::Short: written = sf_writef_short(file, reinterpret_cast<short *>(interleaved.data()), n); break;
        case Carrier::Int: written = sf_writef_int(file, reinterpret_cast<int *>(interleaved.data()), n); break;
        case Carrier::Float: written = sf_writef_float(file, reinterpret_cast<float *>(interleaved.data()), n); break;
        case Carrier::Double: written = sf_writef_double(file, reinterpret_cast<double *>(interleaved.data()), n); break;
        }
        if (written != n || output.firstError != 0) {
            error |= output.firstError != 0 ? errorOfErrno(output.firstError, true) : AUDIO_ERROR_CANNOT_WRITE;
            return false;
        }
        if (!progress.update(double(start + n) / double(frames))) {
            error |= AUDIO_ERROR_CANCELLED;
            return false;
        }
    }
    return true;
}

// ---- putting the file in place -----------------------------------------------------

uint64_t stampOf(const struct stat &info)
{
    return uint64_t(info.st_mtim.tv_sec) * 1000 + uint64_t(info.st_mtim.tv_nsec) / 1000000;
}

std::string folderOf(const std::string &path)
{
    const size_t slash = path.find_last_of('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// Renames the temporary over the target. With a backup, the old file is
// first linked as "<name>.bak", so the target name never goes missing; a
// file system without hard links gets a rename instead.
bool replaceTarget(TemporaryFile &temporary, const std::string &target, bool backup, uint32_t &error)
{
    struct stat old {};
    if (backup && ::stat(target.c_str(), &old) == 0) {
        const std::string bak = target + ".bak";
        if (::unlink(bak.c_str()) != 0 && errno != ENOENT) {
            error |= errorOfErrno(errno, true);
            return false;
        }
        if (::link(target.c_str(), bak.c_str()) != 0 && ::rename(target.c_str(), bak.c_str()) != 0) {
            error |= errorOfErrno(errno, true);
            return false;
        }
    }
    if (::rename(temporary.path().c_str(), target.c_str()) != 0) {
        error |= errorOfErrno(errno, true);
        return false;
    }
    temporary.committed();
    // The rename itself reaches the disk with the folder.
    const int folder = ::open(folderOf(target).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0) {
        ::fsync(folder);
        ::close(folder);
    }
    return true;
}

struct Snapshot {
    AUDIO_FORMAT format{};
    std::vector<SpanList> channels;
    int64_t frames = 0;
    uint64_t content = 0;
    void *parent = nullptr;
};

// Format, samples and content stamp in one step, so that a change made
// meanwhile on another thread cannot tear them apart.
Snapshot snapshotOf(AUDIOSIGNAL signal)
{
    Snapshot snapshot;
    std::shared_lock lock(signal->m_mutex);
    snapshot.format = signal->m_format;
    snapshot.channels = signal->m_channels;
    snapshot.frames = signal->m_frames;
    snapshot.content = signal->m_time[AUDIOSIGNAL_STAMP_CONTENT];
    snapshot.parent = signal->m_parent;
    return snapshot;
}

// Samples at the rate and channel count the file needs.
bool convertFor(AUDIOSIGNAL signal, const WritePlan &plan, Snapshot &snapshot, uint32_t &error)
{
    if (plan.target.sampleRate == snapshot.format.sampleRate &&
        plan.target.numChannels == snapshot.format.numChannels)
        return true;
    AUDIO_FORMAT wanted = snapshot.format;
    wanted.sampleRate = plan.target.sampleRate;
    wanted.numChannels = plan.target.numChannels;
    uint32_t convertError = 0;
    AUDIOSIGNAL converted = AUDIOSIGNAL_ConvertFormat(signal, &wanted, &convertError);
    if (converted == nullptr) {
        error |= convertError != 0 ? convertError : AUDIO_ERROR_INCOMPATIBLE;
        return false;
    }
    const Snapshot other = snapshotOf(converted);
    AUDIOSIGNAL_Destroy(converted);
    snapshot.channels = other.channels;
    snapshot.frames = other.frames;
    return true;
}

// Writes `fields` as the tags of the file at `path`, opened again for
// reading and writing (TagLib reads the file it changes).
bool writeTagsInto(const std::string &path, int16_t tag, const asig::FieldTable &fields, uint32_t &error)
{
    const int fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    if (fd < 0) {
        error |= errorOfErrno(errno, true);
        return false;
    }
    const bool written = asig::writeFileTags(fd, tag, fields, error);
    if (::close(fd) != 0 && written) {
        error |= errorOfErrno(errno, true);
        return false;
    }
    return written;
}

bool save(AUDIOSIGNAL signal, const char *name, const char *formatText, uint32_t flags, uint32_t &error)
{
    FormatRequest request;
    if (!parseFormatRequest(formatText, request, error)) return false;
    Snapshot snapshot = snapshotOf(signal);
    WritePlan plan;
    if (!makePlan(request, snapshot.format, name, plan, error)) return false;
    if (!convertFor(signal, plan, snapshot, error)) return false;
    if (!fitContainer(plan, snapshot.frames, error)) return false;

    const std::string target(name);
    struct stat existing {};
    if (::stat(name, &existing) == 0 && !S_ISREG(existing.st_mode)) {
        error |= AUDIO_ERROR_CANNOT_WRITE;
        return false;
    }
    TemporaryFile temporary;
    if (!temporary.create(target, error)) return false;

    ProgressReport progress(signal, snapshot.parent, ProgressReport::Family::Write);
    Output output{temporary.fd(), 0, 0};
    SF_VIRTUAL_IO io{outputLength, outputSeek, outputRead, outputWrite, outputTell};
    SF_INFO info{};
    info.samplerate = plan.target.sampleRate;
    info.channels = plan.target.numChannels;
    info.format = plan.sfFormat;
    SoundWriter writer(sf_open_virtual(&io, SFM_WRITE, &info, &output));
    if (writer.get() == nullptr) {
        error |= output.firstError != 0 ? errorOfErrno(output.firstError, true) : AUDIO_ERROR_CANNOT_WRITE;
        progress.finish(true);
        return false;
    }
    // Integers are handed over exactly; should a float reach an integer
    // encoding, clip it rather than let it wrap.
    sf_command(writer.get(), SFC_SET_CLIPPING, nullptr, SF_TRUE);
    if (plan.constantBitRate) {
        int mode = SF_BITRATE_MODE_CONSTANT;
        sf_command(writer.get(), SFC_SET_BITRATE_MODE, &mode, sizeof(mode));
    }
    if (plan.compression >= 0.0) {
        double level = plan.compression;
        sf_command(writer.get(), SFC_SET_COMPRESSION_LEVEL, &level, sizeof(level));
    }
    if (!writeSamples(writer.get(), snapshot.channels, snapshot.frames, plan, output, progress, error)) {
        progress.finish(true);
        return false;
    }
    if (writer.close() != 0 || output.firstError != 0) {
        error |= output.firstError != 0 ? errorOfErrno(output.firstError, true) : AUDIO_ERROR_CANNOT_WRITE;
        progress.finish(true);
        return false;
    }
    // The tags go into the temporary file as well, so that the rename puts
    // audio and tags in place together; a tag that cannot be written fails
    // the save rather than losing it unseen.
    asig::FieldTable tags = asig::metadataFields(signal, nullptr);
    tags.regions = asig::commentRegions(signal, plan.tag);
    if ((!tags.empty() || !tags.regions.empty()) && asig::formatHoldsTags(plan.tag) &&
        !writeTagsInto(temporary.path(), plan.tag, tags, error)) {
        progress.finish(true);
        return false;
    }
    // Regions (WAV cue, label and loop chunks) are appended last, after
    // every chunk the writers above put there.
    if (!asig::writeAudioFileRegions(signal, temporary.fd(), plan.tag, plan.target.sampleRate)) {
        error |= errorOfErrno(errno, true);
        progress.finish(true);
        return false;
    }
    if (!temporary.finish(error) || !replaceTarget(temporary, target, (flags & AUDIO_SAVE_KEEP_BACKUP) != 0, error)) {
        progress.finish(true);
        return false;
    }
    progress.finish(false);

    if ((flags & AUDIO_SAVE_COPY) != 0) return true;
    struct stat written {};
    const bool known = ::stat(name, &written) == 0;
    const uint64_t stamp = known ? stampOf(written) : 0;
    const int64_t size = known ? int64_t(written.st_size) : -1;
    AUDIOSIGNAL_SetSignalLabel(signal, name);
    setFileTag(signal, plan.tag);
    // A change made on another thread while the file was written is not in
    // it: the signal then keeps counting as changed.
    if (AUDIOSIGNAL_GetTimeStamp(signal, AUDIOSIGNAL_STAMP_CONTENT) == snapshot.content)
        AUDIOSIGNAL_MarkSaved(signal, stamp, size);
    else
        AUDIOSIGNAL_SetTime(signal, AUDIOSIGNAL_STAMP_FILE, stamp);
    return true;
}

bool fileIsOfFormat(const char *name, const char *formatText)
{
    FormatRequest request;
    uint32_t error = 0;
    if (!parseFormatRequest(formatText, request, error)) return false;
    AUDIO_FORMAT found{};
    int64_t frames = 0;
    if (!AUDIOSIGNAL_ProbeFileEx(name, formatText, &found, &frames, &error)) return false;
    if (request.automatic) return true;
    return found.formatTag == request.entry->tag ||
           (request.entry->tag == AUDIO_FORMATTAG_WAV && found.formatTag == AUDIO_FORMATTAG_RF64) ||
           (request.entry->tag == AUDIO_FORMATTAG_RF64 && found.formatTag == AUDIO_FORMATTAG_WAV);
}

// ---- rewriting the tags of a file --------------------------------------------------

// Copies the `size` bytes of `from` into `to` at the same offsets: in the
// kernel where the file system allows it, else through a buffer.
bool copyContents(int from, int to, int64_t size, uint32_t &error)
{
    bool inKernel = true;
    std::vector<char> buffer;
    int64_t done = 0;
    while (done < size) {
        ssize_t n = 0;
        if (inKernel) {
            loff_t in = done;
            loff_t out = done;
            n = ::copy_file_range(from, &in, to, &out, size_t(size - done), 0);
            if (n < 0 && (errno == EXDEV || errno == ENOSYS || errno == EOPNOTSUPP || errno == EINVAL)) {
                inKernel = false;
                continue;
            }
        } else {
            if (buffer.empty()) buffer.resize(size_t(1) << 20);
            n = ::pread(from, buffer.data(), size_t(std::min<int64_t>(int64_t(buffer.size()), size - done)), off_t(done));
            for (ssize_t put = 0; n > 0 && put < n;) {
                const ssize_t w = ::pwrite(to, buffer.data() + put, size_t(n - put), off_t(done + put));
                if (w < 0 && errno == EINTR) continue;
                if (w <= 0) {
                    error |= errorOfErrno(w < 0 ? errno : ENOSPC, true);
                    return false;
                }
                put += w;
            }
        }
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) {
            error |= errorOfErrno(errno, true);
            return false;
        }
        if (n == 0) {
            // The file shrank while it was copied: someone else writes it.
            error |= AUDIO_ERROR_CANNOT_WRITE;
            return false;
        }
        done += n;
    }
    return true;
}

// The tags of the signal reached its file: the metadata change is no longer
// pending unless the signal changed since `stamp`, and the file's stamp and
// size are the new file's.
void markTagsSaved(AUDIOSIGNAL signal, uint64_t stamp, const std::string &name)
{
    struct stat written {};
    const bool known = ::stat(name.c_str(), &written) == 0;
    std::unique_lock lock(signal->m_mutex);
    if (known) {
        signal->m_time[AUDIOSIGNAL_STAMP_FILE] = stampOf(written);
        signal->m_sizeOnDisk = int64_t(written.st_size);
    }
    if (signal->m_time[AUDIOSIGNAL_STAMP_CONTENT] != stamp) return;
    signal->m_pendingChanges &= ~uint32_t(AUDIOSIGNAL_CHANGE_METADATA);
    if (signal->m_pendingChanges == 0) signal->m_time[AUDIOSIGNAL_STAMP_SAVED] = stamp;
}

bool sameAudio(const AUDIO_FORMAT &a, int64_t aFrames, const AUDIO_FORMAT &b, int64_t bFrames)
{
    return a.formatTag == b.formatTag && a.sampleRate == b.sampleRate && a.numChannels == b.numChannels &&
           a.bitsPerSample == b.bitsPerSample && a.sampleKind == b.sampleKind && aFrames == bFrames;
}

// Rewrites only the tags of the signal's file: the file is copied beside
// itself, the copy gets the tags, is checked to hold the same audio,
// reaches the disk and is renamed over the file. Any failure leaves the
// file as it was.
bool rewriteTags(AUDIOSIGNAL signal, const char *name, const char *formatText, uint32_t &error)
{
    if (AUDIOSIGNAL_HasChangesEx(signal, AUDIOSIGNAL_CHANGE_AUDIO) || !fileIsOfFormat(name, formatText)) return false;
    AUDIO_FORMAT before{};
    int64_t framesBefore = 0;
    if (!AUDIOSIGNAL_ProbeFileEx(name, formatText, &before, &framesBefore, &error)) return false;
    uint64_t stamp = 0;
    asig::FieldTable fields = asig::metadataFields(signal, &stamp);
    fields.regions = asig::commentRegions(signal, before.formatTag);
    const std::string target(name);
    if (!asig::formatHoldsTags(before.formatTag)) {
        // Nothing of the tags can go into such a file: it is as up to date
        // as it can be.
        markTagsSaved(signal, stamp, target);
        return true;
    }

    const int source = ::open(name, O_RDONLY | O_CLOEXEC);
    if (source < 0) {
        error |= errorOfErrno(errno, false);
        return false;
    }
    struct stat info {};
    TemporaryFile temporary;
    const bool copied = ::fstat(source, &info) == 0 && S_ISREG(info.st_mode) && temporary.create(target, error) &&
                        copyContents(source, temporary.fd(), int64_t(info.st_size), error);
    ::close(source);
    if (!copied) {
        error |= AUDIO_ERROR_CANNOT_WRITE;
        return false;
    }
    if (!writeTagsInto(temporary.path(), before.formatTag, fields, error)) return false;
    // TagLib moved the audio to make room: the copy must read as the same
    // audio before it may replace the file.
    AUDIO_FORMAT after{};
    int64_t framesAfter = 0;
    uint32_t probeError = 0;
    if (!AUDIOSIGNAL_ProbeFileEx(temporary.path().c_str(), "AUTO", &after, &framesAfter, &probeError) ||
        !sameAudio(before, framesBefore, after, framesAfter)) {
        error |= AUDIO_ERROR_METADATA;
        return false;
    }
    if (!temporary.finish(error) || !replaceTarget(temporary, target, false, error)) return false;
    markTagsSaved(signal, stamp, target);
    return true;
}

} // namespace

} // namespace asig::file

using namespace asig::file;

// ---- saving ------------------------------------------------------------------------------

AUDIO_API bool AUDIOSIGNAL_SaveEx(AUDIOSIGNAL signal, const char *name, const char *format, uint32_t flags,
                                  uint32_t *error)
{
    uint32_t bits = AUDIO_ERROR_NONE;
    bool ok = false;
    if (signal == nullptr || name == nullptr || name[0] == '\0' || format == nullptr) {
        bits = AUDIO_ERROR_INVALID_ARGUMENT;
    } else {
        try {
            ok = save(signal, name, format, flags, bits);
        } catch (const std::bad_alloc &) {
            bits |= AUDIO_ERROR_OUT_OF_MEMORY;
        }
    }
    if (error != nullptr) *error = ok ? AUDIO_ERROR_NONE : bits;
    return ok;
}

AUDIO_API bool AUDIOSIGNAL_UpdateMetadata(AUDIOSIGNAL signal, const char *name, const char *format)
{
    if (signal == nullptr || name == nullptr || format == nullptr) return false;
    uint32_t error = AUDIO_ERROR_NONE;
    try {
        return rewriteTags(signal, name, format, error);
    } catch (const std::bad_alloc &) {
        return false;
    }
}
