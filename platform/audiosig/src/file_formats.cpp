// The table of file formats, format texts as the file layer reads them, and
// the exported queries on both (format descriptions, extra format texts).
#include "file_p.h"
#include "signal_p.h"

#include <sndfile.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

namespace asig::file {

namespace {

// Bits every PCM container of the table holds besides 8 and 16.
constexpr uint32_t kPcmWidths = AUDIO_CAP_FLOAT | AUDIO_CAP_INT24 | AUDIO_CAP_INT32;

// The order is the order of AUDIO_GetFormatDescrAt. WAV comes before RF64
// so that the extension "wav" finds WAV; RF64 is chosen by size on saving.
// TAGS and ARTWORK are what TagLib writes (metadata_file.cpp): ID3v2 in
// WAV, AIFF and MP3, Vorbis comments and pictures in FLAC and Ogg. RF64
// holds none: TagLib would rewrite its 64-bit sizes as 32-bit ones.
// REGIONS, MARKERS and LOOPS: WAV files keep them in cue, label and
// sampler chunks (region_wav.cpp), FLAC and Ogg files as "REGION" comments
// beside the tags (region_files.cpp).
const FormatEntry kFormats[] = {
    {"WAV", "Microsoft WAVE", "wav;wave", AUDIO_FORMATTAG_WAV, 16,
     kPcmWidths | AUDIO_CAP_TAGS | AUDIO_CAP_ARTWORK | AUDIO_CAP_REGIONS | AUDIO_CAP_MARKERS | AUDIO_CAP_LOOPS |
         AUDIO_CAP_MULTICHANNEL,
     SF_FORMAT_WAV},
    {"RF64", "RF64 (WAVE beyond 4 GiB)", "rf64;wav", AUDIO_FORMATTAG_RF64, 16,
     kPcmWidths | AUDIO_CAP_MULTICHANNEL | AUDIO_CAP_LARGE,
     SF_FORMAT_RF64},
    {"AIFF", "Apple AIFF / AIFF-C", "aif;aiff;aifc", AUDIO_FORMATTAG_AIFF, 16,
     kPcmWidths | AUDIO_CAP_TAGS | AUDIO_CAP_ARTWORK | AUDIO_CAP_MULTICHANNEL,
     SF_FORMAT_AIFF},
    {"FLAC", "Free Lossless Audio Codec", "flac", AUDIO_FORMATTAG_FLAC, 16,
     AUDIO_CAP_INT24 | AUDIO_CAP_REGIONS | AUDIO_CAP_MARKERS | AUDIO_CAP_LOOPS | AUDIO_CAP_TAGS | AUDIO_CAP_ARTWORK | AUDIO_CAP_MULTICHANNEL, SF_FORMAT_FLAC},
    {"OGG", "Ogg Vorbis", "ogg;oga", AUDIO_FORMATTAG_OGG, 0,
     AUDIO_CAP_LOSSY | AUDIO_CAP_REGIONS | AUDIO_CAP_MARKERS | AUDIO_CAP_LOOPS | AUDIO_CAP_TAGS | AUDIO_CAP_ARTWORK | AUDIO_CAP_MULTICHANNEL, SF_FORMAT_OGG},
    {"OPUS", "Ogg Opus", "opus", AUDIO_FORMATTAG_OPUS, 0,
     AUDIO_CAP_LOSSY | AUDIO_CAP_REGIONS | AUDIO_CAP_MARKERS | AUDIO_CAP_LOOPS | AUDIO_CAP_TAGS | AUDIO_CAP_ARTWORK | AUDIO_CAP_MULTICHANNEL, SF_FORMAT_OGG},
    {"MP3", "MPEG-1/2 Audio Layer III", "mp3", AUDIO_FORMATTAG_MP3, 0,
     AUDIO_CAP_LOSSY | AUDIO_CAP_TAGS | AUDIO_CAP_ARTWORK, SF_FORMAT_MPEG},
    {"RAW", "Headerless samples", "raw;pcm", AUDIO_FORMATTAG_RAW, 16,
     kPcmWidths | AUDIO_CAP_LARGE | AUDIO_CAP_MULTICHANNEL, SF_FORMAT_RAW},
    {"LINK", "Link to an audio file", "tavolink", AUDIO_FORMATTAG_LINK, 0, 0, 0},
    {"STREAM", "Audio stream of a pipe", "", AUDIO_FORMATTAG_STREAM, 0, 0, 0},
};
constexpr int32_t kFormatCount = int32_t(sizeof(kFormats) / sizeof(kFormats[0]));

bool equalNoCase(std::string_view a, std::string_view b)
{
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

bool listHas(const char *list, std::string_view item)
{
    std::string_view rest(list);
    while (!rest.empty()) {
        const size_t cut = rest.find(';');
        if (equalNoCase(rest.substr(0, cut), item)) return true;
        if (cut == std::string_view::npos) break;
        rest.remove_prefix(cut + 1);
    }
    return false;
}

// What the libsndfile this process runs with reads and writes. Its lists
// are fixed for the process, so they are asked once.
struct Abilities {
    uint32_t read[kFormatCount] = {};
    uint32_t write[kFormatCount] = {};
};

bool libraryLists(int command, int countCommand, int wanted)
{
    int count = 0;
    sf_command(nullptr, countCommand, &count, sizeof(count));
    for (int i = 0; i < count; ++i) {
        SF_FORMAT_INFO info{};
        info.format = i;
        if (sf_command(nullptr, command, &info, sizeof(info)) == 0 && info.format == wanted) return true;
    }
    return false;
}

// A typical encoding of each container, as saving would ask for it. Opus
// only runs at its own rates (8, 12, 16, 24 and 48 kHz).
bool libraryWrites(const FormatEntry &entry)
{
    SF_INFO info{};
    info.channels = 2;
    info.samplerate = 44100;
    switch (entry.tag) {
    case AUDIO_FORMATTAG_OGG: info.format = SF_FORMAT_OGG | SF_FORMAT_VORBIS; break;
    case AUDIO_FORMATTAG_OPUS:
        info.format = SF_FORMAT_OGG | SF_FORMAT_OPUS;
        info.samplerate = 48000;
        break;
    case AUDIO_FORMATTAG_MP3: info.format = SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III; break;
    default: info.format = entry.sfMajor | SF_FORMAT_PCM_16; break;
    }
    return sf_format_check(&info) != 0;
}

const Abilities &abilities()
{
    static const Abilities table = [] {
        Abilities result;
        for (int32_t i = 0; i < kFormatCount; ++i) {
            const FormatEntry &entry = kFormats[i];
            bool reads = false;
            bool writes = false;
            if (entry.tag == AUDIO_FORMATTAG_LINK) {
                reads = true;
            } else if (entry.tag == AUDIO_FORMATTAG_RAW) {
                reads = writes = libraryWrites(entry);
            } else if (entry.sfMajor != 0) {
                reads = libraryLists(SFC_GET_FORMAT_MAJOR, SFC_GET_FORMAT_MAJOR_COUNT, entry.sfMajor);
                if (entry.tag == AUDIO_FORMATTAG_OGG)
                    reads = reads && libraryLists(SFC_GET_FORMAT_SUBTYPE, SFC_GET_FORMAT_SUBTYPE_COUNT, SF_FORMAT_VORBIS);
                if (entry.tag == AUDIO_FORMATTAG_OPUS)
                    reads = reads && libraryLists(SFC_GET_FORMAT_SUBTYPE, SFC_GET_FORMAT_SUBTYPE_COUNT, SF_FORMAT_OPUS);
                writes = reads && libraryWrites(entry);
            }
            result.read[i] = reads ? AUDIO_CAP_READ : 0;
            result.write[i] = writes ? AUDIO_CAP_WRITE : 0;
        }
        return result;
    }();
    return table;
}

void copyText(char *target, size_t size, const char *text)
{
    std::snprintf(target, size, "%s", text);
}

void fillDescr(const FormatEntry &entry, AUDIO_FORMAT_DESCR *descr)
{
    *descr = AUDIO_FORMAT_DESCR{};
    copyText(descr->name, sizeof(descr->name), entry.name);
    copyText(descr->longName, sizeof(descr->longName), entry.longName);
    copyText(descr->extensions, sizeof(descr->extensions), entry.extensions);
    descr->capabilities = formatCapabilities(entry);
    descr->formatTag = entry.tag;
    descr->defaultBits = entry.defaultBits;
}

int32_t indexOf(const FormatEntry *entry)
{
    return entry == nullptr ? -1 : int32_t(entry - kFormats);
}

// ---- parameter values --------------------------------------------------------

bool parseInteger(const char *text, int64_t low, int64_t high, int32_t &out)
{
    char *end = nullptr;
    errno = 0;
    const long long value = std::strtoll(text, &end, 10);
    if (end == text || *end != '\0' || errno != 0 || value < low || value > high) return false;
    out = int32_t(value);
    return true;
}

bool parseReal(const char *text, double low, double high, double &out)
{
    char *end = nullptr;
    const double value = std::strtod(text, &end);
    if (end == text || *end != '\0' || !std::isfinite(value) || value < low || value > high) return false;
    out = value;
    return true;
}

bool validBits(int32_t bits)
{
    return bits == 8 || bits == 16 || bits == 24 || bits == 32 || bits == 64;
}

// The highest rate a format text may name, as AUDIO_GetFormatFromString
// takes it.
constexpr int64_t kMaxRate = 10000000;

// Sizes of the decoded pieces; longer names or values are malformed here.
constexpr size_t kNameSize = 64;
constexpr size_t kValueSize = 1024;

// Walks the parameters of a format text into `request`. Unknown
// parameters belong to other readers of the text (the engine's options)
// and are passed over.
bool parseParameters(const char *text, FormatRequest &request, bool inConversion)
{
    const char *item = text;
    while (item != nullptr && *item != '\0') {
        char name[kNameSize] = {};
        char value[kValueSize] = {};
        const char *next = AUDIO_DecodeParameter(item, name, sizeof(name), value, sizeof(value));
        if (name[0] == '\0' && next == nullptr) break;
        std::string_view key(name);
        bool good = true;
        if (equalNoCase(key, "sr")) {
            good = parseInteger(value, 1, kMaxRate, request.sampleRate);
        } else if (equalNoCase(key, "nc")) {
            good = parseInteger(value, 1, AUDIO_MAX_CHANNELS, request.channels);
        } else if (equalNoCase(key, "bits")) {
            good = parseInteger(value, 8, 64, request.bits) && validBits(request.bits);
        } else if (equalNoCase(key, "type")) {
            if (equalNoCase(value, "pcm") || equalNoCase(value, "int"))
                request.kind = AUDIO_SAMPLE_PCM;
            else if (equalNoCase(value, "float"))
                request.kind = AUDIO_SAMPLE_FLOAT;
            else
                good = false;
        } else if (inConversion) {
            // A conversion target holds only the format fields above.
        } else if (equalNoCase(key, "endian")) {
            if (equalNoCase(value, "little"))
                request.endian = 1;
            else if (equalNoCase(value, "big"))
                request.endian = 2;
            else
                good = false;
        } else if (equalNoCase(key, "compression")) {
            // FLAC's own levels, 0 (fastest) to 8 (smallest).
            good = parseReal(value, 0.0, 8.0, request.compression);
        } else if (equalNoCase(key, "quality")) {
            good = parseReal(value, 0.0, 1.0, request.quality);
        } else if (equalNoCase(key, "bitrate")) {
            // The bit rates MPEG audio layer III defines, 8 to 320 kbit/s.
            good = parseInteger(value, 8, 320, request.bitrate);
        } else if (equalNoCase(key, "FMTCONV")) {
            std::string target(value);
            if (target.size() >= 2 && target.front() == '[' && target.back() == ']')
                target = target.substr(1, target.size() - 2);
            good = parseParameters(target.c_str(), request, true);
        }
        if (!good) return false;
        item = next;
    }
    return true;
}

} // namespace

// ---- table lookups -------------------------------------------------------------

const FormatEntry *findFormatByTag(int32_t tag)
{
    for (const FormatEntry &entry : kFormats)
        if (entry.tag == tag) return &entry;
    return nullptr;
}

const FormatEntry *findFormatByName(std::string_view name)
{
    for (const FormatEntry &entry : kFormats)
        if (equalNoCase(entry.name, name)) return &entry;
    // The other names a format text may use ("WAVE", "AIF", "VORBIS").
    const std::string copy(name);
    const int16_t tag = _AUDIO_TagFromName(copy.c_str());
    return tag > 0 ? findFormatByTag(tag) : nullptr;
}

const FormatEntry *findFormatByExtension(std::string_view extension)
{
    if (!extension.empty() && extension.front() == '.') extension.remove_prefix(1);
    if (extension.empty()) return nullptr;
    for (const FormatEntry &entry : kFormats)
        if (listHas(entry.extensions, extension)) return &entry;
    return nullptr;
}

std::string_view extensionOf(std::string_view path)
{
    const size_t slash = path.find_last_of('/');
    const std::string_view base = slash == std::string_view::npos ? path : path.substr(slash + 1);
    const size_t dot = base.find_last_of('.');
    if (dot == std::string_view::npos || dot == 0) return {};
    return base.substr(dot + 1);
}

uint32_t formatCapabilities(const FormatEntry &entry)
{
    const int32_t index = indexOf(&entry);
    if (index < 0 || index >= kFormatCount) return 0;
    return entry.holds | abilities().read[index] | abilities().write[index];
}

bool parseFormatRequest(const char *text, FormatRequest &request, uint32_t &error)
{
    request = FormatRequest{};
    if (text == nullptr) {
        error |= AUDIO_ERROR_INVALID_ARGUMENT;
        return false;
    }
    char name[kNameSize] = {};
    char parameters[kValueSize] = {};
    AUDIO_DecodeParameter(text, name, sizeof(name), parameters, sizeof(parameters));
    if (name[0] == '\0') {
        error |= AUDIO_ERROR_INVALID_ARGUMENT;
        return false;
    }
    if (equalNoCase(name, "AUTO") || equalNoCase(name, "FROM_FORMAT")) {
        request.automatic = true;
    } else {
        request.entry = findFormatByName(name);
        if (request.entry == nullptr) {
            error |= AUDIO_ERROR_UNSUPPORTED_FORMAT;
            return false;
        }
    }
    if (!parseParameters(parameters, request, false)) {
        error |= AUDIO_ERROR_INVALID_ARGUMENT;
        return false;
    }
    // A float is 32 or 64 bits wide; a 64-bit integer is no format's.
    if (request.kind == AUDIO_SAMPLE_FLOAT && request.bits != 0 && request.bits != 32 && request.bits != 64) {
        error |= AUDIO_ERROR_INVALID_ARGUMENT;
        return false;
    }
    if (request.kind != AUDIO_SAMPLE_FLOAT && request.bits == 64) {
        if (request.kind == AUDIO_SAMPLE_PCM) {
            error |= AUDIO_ERROR_INVALID_ARGUMENT;
            return false;
        }
        request.kind = AUDIO_SAMPLE_FLOAT;
    }
    return true;
}

uint32_t errorOfErrno(int code, bool writing)
{
    switch (code) {
    case ENOENT: return writing ? AUDIO_ERROR_CANNOT_WRITE : AUDIO_ERROR_FILE_NOT_FOUND;
    case ENOSPC:
    case EDQUOT:
    case EFBIG: return writing ? AUDIO_ERROR_DISK_FULL : AUDIO_ERROR_CANNOT_OPEN;
    case ENOMEM: return AUDIO_ERROR_OUT_OF_MEMORY;
    default: return writing ? AUDIO_ERROR_CANNOT_WRITE : AUDIO_ERROR_CANNOT_OPEN;
    }
}

} // namespace asig::file

using namespace asig::file;

// ---- format descriptions ---------------------------------------------------------

AUDIO_API int32_t AUDIO_CountFormats(void)
{
    return kFormatCount;
}

AUDIO_API bool AUDIO_GetFormatDescrAt(int32_t index, AUDIO_FORMAT_DESCR *descr)
{
    if (descr == nullptr || index < 0 || index >= kFormatCount) return false;
    fillDescr(kFormats[index], descr);
    return true;
}

AUDIO_API bool AUDIO_GetFormatDescrEx(const AUDIO_FORMAT *format, int32_t *index, int32_t flags,
                                      AUDIO_FORMAT_DESCR *descr)
{
    const FormatEntry *entry = nullptr;
    if ((flags & AUDIO_DESCR_BY_TAG) != 0) {
        if (format != nullptr) entry = findFormatByTag(format->formatTag);
    } else if ((flags & AUDIO_DESCR_BY_INDEX) != 0) {
        if (index != nullptr && *index >= 0 && *index < kFormatCount) entry = &kFormats[*index];
    }
    if (entry == nullptr || descr == nullptr) {
        if (index != nullptr) *index = -1;
        return false;
    }
    fillDescr(*entry, descr);
    if (index != nullptr) *index = indexOf(entry);
    return true;
}

AUDIO_API bool AUDIO_FindFormatDescr(const char *nameOrExtension, AUDIO_FORMAT_DESCR *descr)
{
    if (nameOrExtension == nullptr || descr == nullptr) return false;
    const FormatEntry *entry = findFormatByName(nameOrExtension);
    if (entry == nullptr) entry = findFormatByExtension(nameOrExtension);
    if (entry == nullptr) return false;
    fillDescr(*entry, descr);
    return true;
}

AUDIO_API bool AUDIO_SupportFormat(int32_t mode, const char *formatText)
{
    if (mode != 0 && mode != 1) return false;
    FormatRequest request;
    uint32_t error = 0;
    if (!parseFormatRequest(formatText, request, error)) return false;
    if (request.automatic) return true;
    const uint32_t caps = formatCapabilities(*request.entry);
    if (mode == 0) return (caps & AUDIO_CAP_READ) != 0;
    if ((caps & AUDIO_CAP_WRITE) == 0) return false;
    // Only the uncompressed containers and FLAC have a choice of width; the
    // lossy encoders take floats whatever is asked.
    if (request.entry->defaultBits == 0) return true;
    const bool isFloat = request.kind == AUDIO_SAMPLE_FLOAT;
    if (isFloat && (request.entry->holds & AUDIO_CAP_FLOAT) == 0) return false;
    if (request.bits == 32 && !isFloat && (request.entry->holds & AUDIO_CAP_INT32) == 0) return false;
    if (request.bits == 24 && (request.entry->holds & AUDIO_CAP_INT24) == 0) return false;
    return true;
}

// ---- extra format ------------------------------------------------------------------

AUDIO_API bool AUDIO_GetExtraFormat(const AUDIO_FORMAT *format, char *buffer, size_t size)
{
    if (buffer != nullptr && size > 0) buffer[0] = '\0';
    if (format == nullptr || buffer == nullptr || size == 0) return false;
    const FormatEntry *entry = findFormatByTag(format->formatTag);
    if (entry == nullptr || entry->defaultBits == 0) return false;
    std::string text;
    if (entry->tag == AUDIO_FORMATTAG_RAW) {
        // Nothing in a RAW file says how to read it again.
        text = "sr=" + std::to_string(format->sampleRate) + ",nc=" + std::to_string(format->numChannels) +
               ",bits=" + std::to_string(format->bitsPerSample);
        if (format->sampleKind == AUDIO_SAMPLE_FLOAT) text += ",type=float";
    } else if (format->sampleKind == AUDIO_SAMPLE_FLOAT) {
        text = "bits=" + std::to_string(format->bitsPerSample) + ",type=float";
    } else if (format->bitsPerSample != entry->defaultBits) {
        text = "bits=" + std::to_string(format->bitsPerSample);
    }
    if (text.empty() || text.size() + 1 > size) return false;
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return true;
}

AUDIO_API bool AUDIO_HasExtraFormat(const AUDIO_FORMAT *format)
{
    char buffer[128];
    return AUDIO_GetExtraFormat(format, buffer, sizeof(buffer));
}
