// Region files: SRT, WebVTT and tab-separated label text. Reading parses
// the whole file before anything changes; writing goes to a temporary file
// beside the target that is renamed over it. Also the SRT sidecars of
// annotation tracks and the format check of audio files.
#include "file_p.h"
#include "region_p.h"

#include "audiofile.h"

#include <bldebug.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <new>
#include <set>
#include <string>

#include <strings.h>

namespace asig {

namespace {

// Region files are text written by people and tools; 64 MiB is far beyond
// any real one and keeps a wrong file (a WAV named .txt) from filling memory.
constexpr int64_t kMaxRegionFileBytes = 64LL * 1024 * 1024;

// Hours of a time stamp: 9 digits keep every value exact in a double.
constexpr size_t kMaxHourDigits = 9;

// Splits text into lines; "\r\n" and "\n" end a line, a leading UTF-8 BOM
// is skipped. False for text holding a NUL byte (not a text file).
bool splitLines(std::string_view text, std::vector<std::string_view> &lines)
{
    if (text.find('\0') != std::string_view::npos) return false;
    if (text.substr(0, 3) == "\xEF\xBB\xBF") text.remove_prefix(3);
    while (!text.empty()) {
        const size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        lines.push_back(line);
        if (end == std::string_view::npos) break;
        text.remove_prefix(end + 1);
    }
    return true;
}

bool blank(std::string_view line)
{
    return line.find_first_not_of(" \t") == std::string_view::npos;
}

std::string_view trim(std::string_view s)
{
    const size_t first = s.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    const size_t last = s.find_last_not_of(" \t");
    return s.substr(first, last - first + 1);
}

bool digits(std::string_view s, size_t minimum, size_t maximum, int64_t &value)
{
    if (s.size() < minimum || s.size() > maximum) return false;
    value = 0;
    for (char c : s) {
        if (c < '0' || c > '9') return false;
        value = value * 10 + (c - '0');
    }
    return true;
}

// "[h:]mm:ss<sep>fff": hours optional when `hoursOptional`; `exactMillis`
// asks for three digits of milliseconds (WebVTT), otherwise 1 to 3.
bool parseClock(std::string_view s, bool hoursOptional, bool exactMillis, const char *separators, double &seconds)
{
    const size_t mark = s.find_first_of(separators);
    if (mark == std::string_view::npos) return false;
    int64_t millis = 0;
    const std::string_view fraction = s.substr(mark + 1);
    if (!digits(fraction, exactMillis ? 3 : 1, 3, millis)) return false;
    for (size_t i = fraction.size(); i < 3; ++i) millis *= 10;
    std::string_view clock = s.substr(0, mark);
    int64_t hours = 0;
    int64_t minutes = 0;
    int64_t secs = 0;
    const size_t last = clock.rfind(':');
    if (last == std::string_view::npos || !digits(clock.substr(last + 1), 2, 2, secs) || secs > 59) return false;
    clock = clock.substr(0, last);
    const size_t first = clock.rfind(':');
    if (first == std::string_view::npos) {
        if (!hoursOptional) return false;
        if (!digits(clock, 2, 2, minutes)) return false;
    } else {
        if (!digits(clock.substr(first + 1), 2, 2, minutes) ||
            !digits(clock.substr(0, first), 1, kMaxHourDigits, hours))
            return false;
    }
    if (minutes > 59) return false;
    seconds = double(hours * 3600 + minutes * 60 + secs) + double(millis) / 1000.0;
    return true;
}

// "begin --> end[ settings]".
bool parseTiming(std::string_view line, bool webVtt, double &begin, double &end)
{
    const size_t arrow = line.find("-->");
    if (arrow == std::string_view::npos) return false;
    const std::string_view left = trim(line.substr(0, arrow));
    std::string_view right = trim(line.substr(arrow + 3));
    const size_t space = right.find_first_of(" \t");
    if (space != std::string_view::npos) right = right.substr(0, space);  // cue settings or SRT coordinates
    const char *separators = webVtt ? "." : ",.";
    if (!parseClock(left, webVtt, webVtt, separators, begin) || !parseClock(right, webVtt, webVtt, separators, end))
        return false;
    return end >= begin;
}

std::string joinLines(const std::vector<std::string_view> &lines, size_t from, size_t to)
{
    std::string text;
    for (size_t i = from; i < to; ++i) {
        if (i > from) text += '\n';
        text.append(lines[i]);
    }
    return text;
}

// 3723.5 s as "01:02:03,500" (SRT) or "01:02:03.500" (WebVTT).
std::string clockText(double seconds, char separator)
{
    const auto millis = int64_t(std::llround(std::max(0.0, seconds) * 1000.0));
    char buffer[48];
    std::snprintf(buffer, sizeof(buffer), "%02lld:%02lld:%02lld%c%03lld", (long long)(millis / 3600000),
                  (long long)(millis / 60000 % 60), (long long)(millis / 1000 % 60), separator,
                  (long long)(millis % 1000));
    return buffer;
}

// The label's lines without empty ones (an empty line would end the cue)
// and, for WebVTT, without the arrow that only timing lines may hold.
std::string cueText(const std::string &label, bool webVtt)
{
    std::string out;
    std::vector<std::string_view> lines;
    splitLines(label, lines);
    for (std::string_view line : lines) {
        if (blank(line)) continue;
        std::string text(line);
        if (webVtt)
            for (size_t at; (at = text.find("-->")) != std::string::npos;) text.replace(at, 3, "->");
        out += text;
        out += '\n';
    }
    return out;
}

} // namespace

// ---- parsers -------------------------------------------------------------------------

bool parseSrt(std::string_view text, std::vector<PlainRegion> &out)
{
    std::vector<std::string_view> lines;
    if (!splitLines(text, lines)) return false;
    std::vector<PlainRegion> regions;
    size_t i = 0;
    while (i < lines.size()) {
        if (blank(lines[i])) {
            ++i;
            continue;
        }
        // A cue: its number (some writers leave it out), the timing, text
        // lines up to a blank line.
        int64_t number = 0;
        if (lines[i].find("-->") == std::string_view::npos) {
            if (!digits(trim(lines[i]), 1, 18, number) || ++i >= lines.size()) return false;
        }
        PlainRegion region;
        if (!parseTiming(lines[i], false, region.begin, region.end)) return false;
        const size_t first = ++i;
        while (i < lines.size() && !blank(lines[i])) ++i;
        region.label = joinLines(lines, first, i);
        regions.push_back(std::move(region));
    }
    out = std::move(regions);
    return true;
}

bool parseWebVtt(std::string_view text, std::vector<PlainRegion> &out)
{
    std::vector<std::string_view> lines;
    if (!splitLines(text, lines) || lines.empty()) return false;
    const std::string_view head = lines[0];
    if (head.substr(0, 6) != "WEBVTT" || (head.size() > 6 && head[6] != ' ' && head[6] != '\t')) return false;
    size_t i = 1;
    while (i < lines.size() && !blank(lines[i])) ++i;  // header lines
    std::vector<PlainRegion> regions;
    while (i < lines.size()) {
        if (blank(lines[i])) {
            ++i;
            continue;
        }
        const std::string_view first = lines[i];
        const auto starts = [&](std::string_view word) {
            return first.substr(0, word.size()) == word &&
                   (first.size() == word.size() || first[word.size()] == ' ' || first[word.size()] == '\t');
        };
        if (starts("NOTE") || starts("STYLE") || starts("REGION")) {
            while (i < lines.size() && !blank(lines[i])) ++i;
            continue;
        }
        if (first.find("-->") == std::string_view::npos && ++i >= lines.size()) return false;  // cue identifier
        PlainRegion region;
        if (!parseTiming(lines[i], true, region.begin, region.end)) return false;
        const size_t payload = ++i;
        while (i < lines.size() && !blank(lines[i])) ++i;
        region.label = joinLines(lines, payload, i);
        regions.push_back(std::move(region));
    }
    out = std::move(regions);
    return true;
}

bool parseLabels(std::string_view text, std::vector<PlainRegion> &out)
{
    std::vector<std::string_view> lines;
    if (!splitLines(text, lines)) return false;
    std::vector<PlainRegion> regions;
    const auto number = [](std::string_view field, double &value) {
        field = trim(field);
        if (field.empty()) return false;
        const auto result = std::from_chars(field.data(), field.data() + field.size(), value);
        return result.ec == std::errc() && result.ptr == field.data() + field.size() && std::isfinite(value) &&
               value >= 0.0;
    };
    for (std::string_view line : lines) {
        // Blank lines, and the frequency lines ("\\t<low>\\t<high>") that some
        // editors add after a label, carry no region.
        if (blank(line) || line.front() == '\\') continue;
        const size_t first = line.find('\t');
        if (first == std::string_view::npos) return false;
        const size_t second = line.find('\t', first + 1);
        const size_t endLength = second == std::string_view::npos ? std::string_view::npos : second - first - 1;
        PlainRegion region;
        if (!number(line.substr(0, first), region.begin) || !number(line.substr(first + 1, endLength), region.end) ||
            region.end < region.begin)
            return false;
        if (second != std::string_view::npos) region.label = std::string(line.substr(second + 1));
        regions.push_back(std::move(region));
    }
    out = std::move(regions);
    return true;
}

// ---- writers -------------------------------------------------------------------------

std::string writeSrt(const std::vector<PlainRegion> &regions)
{
    std::string out;
    int index = 0;
    for (const PlainRegion &region : regions) {
        out += std::to_string(++index) + "\n";
        out += clockText(region.begin, ',') + " --> " + clockText(region.end, ',') + "\n";
        out += cueText(region.label, false);
        out += "\n";
    }
    return out;
}

std::string writeWebVtt(const std::vector<PlainRegion> &regions)
{
    std::string out = "WEBVTT\n\n";
    for (const PlainRegion &region : regions) {
        out += clockText(region.begin, '.') + " --> " + clockText(region.end, '.') + "\n";
        out += cueText(region.label, true);
        out += "\n";
    }
    return out;
}

std::string writeLabels(const std::vector<PlainRegion> &regions)
{
    std::string out;
    char times[96];
    for (const PlainRegion &region : regions) {
        // Six decimals: a microsecond, finer than a sample at any rate below 1 MHz.
        std::snprintf(times, sizeof(times), "%.6f\t%.6f\t", region.begin, region.end);
        std::string label = region.label;
        std::replace(label.begin(), label.end(), '\t', ' ');
        std::replace(label.begin(), label.end(), '\n', ' ');
        std::replace(label.begin(), label.end(), '\r', ' ');
        out += times + label + "\n";
    }
    return out;
}

namespace {

// ---- format texts of region files ---------------------------------------------------

struct RegionFileRequest {
    int32_t type = AUDIOCUSTOMTRACK_FILE_NONE;  // SRT, WEBVTT or LABELS
    std::string trackId;
    bool linked = false;
};

int32_t typeOfName(std::string_view name)
{
    const auto is = [&](const char *word) {
        return name.size() == std::strlen(word) && strncasecmp(name.data(), word, name.size()) == 0;
    };
    if (is("SRT")) return AUDIOCUSTOMTRACK_FILE_SRT;
    if (is("WEBVTT") || is("VTT")) return AUDIOCUSTOMTRACK_FILE_WEBVTT;
    if (is("LABELS") || is("TXT")) return AUDIOCUSTOMTRACK_FILE_LABELS;
    return AUDIOCUSTOMTRACK_FILE_NONE;
}

bool parseRequest(const char *format, const char *fileName, RegionFileRequest &request)
{
    if (format == nullptr) return false;
    char name[32] = "";
    char value[512] = "";
    AUDIO_DecodeParameter(format, name, sizeof(name), value, sizeof(value));
    if (strcasecmp(name, "AUTO") == 0)
        request.type = typeOfName(file::extensionOf(fileName));
    else
        request.type = typeOfName(name);
    if (request.type == AUDIOCUSTOMTRACK_FILE_NONE) return false;
    char key[32];
    char item[256];
    for (const char *at = value; at != nullptr && *at != '\0';) {
        at = AUDIO_DecodeParameter(at, key, sizeof(key), item, sizeof(item));
        if (strcasecmp(key, "track") == 0)
            request.trackId = item;
        else if (strcasecmp(key, "linked") == 0)
            request.linked = std::strcmp(item, "0") != 0;
        else if (key[0] != '\0')
            return false;
    }
    return true;
}

bool parseText(int32_t type, std::string_view text, std::vector<PlainRegion> &out)
{
    switch (type) {
    case AUDIOCUSTOMTRACK_FILE_SRT: return parseSrt(text, out);
    case AUDIOCUSTOMTRACK_FILE_WEBVTT: return parseWebVtt(text, out);
    case AUDIOCUSTOMTRACK_FILE_LABELS: return parseLabels(text, out);
    default: return false;
    }
}

std::string writeText(int32_t type, const std::vector<PlainRegion> &regions)
{
    switch (type) {
    case AUDIOCUSTOMTRACK_FILE_SRT: return writeSrt(regions);
    case AUDIOCUSTOMTRACK_FILE_WEBVTT: return writeWebVtt(regions);
    default: return writeLabels(regions);
    }
}

bool readWhole(const char *name, std::string &text, uint32_t &error)
{
    const int fd = ::open(name, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        error |= file::errorOfErrno(errno, false);
        return false;
    }
    struct stat info {};
    bool ok = ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && info.st_size <= kMaxRegionFileBytes;
    if (!ok) error |= AUDIO_ERROR_CANNOT_OPEN;
    if (ok) {
        text.resize(size_t(info.st_size));
        size_t got = 0;
        while (got < text.size()) {
            const ssize_t n = ::read(fd, text.data() + got, text.size() - got);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) break;
            got += size_t(n);
        }
        text.resize(got);
    }
    ::close(fd);
    return ok;
}

// Writes `text` to a temporary file beside `name`, flushes it and renames
// it over `name`: a failure leaves any old file as it was.
bool writeAtomically(const std::string &name, const std::string &text, uint32_t &error)
{
    static std::atomic<uint32_t> counter{0};
    const std::string temporary =
        name + ".tmp-" + std::to_string(::getpid()) + "-" + std::to_string(counter.fetch_add(1));
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0) {
        error |= file::errorOfErrno(errno, true);
        return false;
    }
    size_t done = 0;
    int failure = 0;
    while (done < text.size()) {
        const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            failure = n < 0 ? errno : ENOSPC;
            break;
        }
        done += size_t(n);
    }
    if (failure == 0 && ::fsync(fd) != 0) failure = errno;
    if (::close(fd) != 0 && failure == 0) failure = errno;
    if (failure == 0 && ::rename(temporary.c_str(), name.c_str()) != 0) failure = errno;
    if (failure != 0) {
        ::unlink(temporary.c_str());
        error |= file::errorOfErrno(failure, true);
        return false;
    }
    return true;
}

const char *typeName(int32_t type)
{
    return AUDIOCUSTOMTRACK_FileTypeToString(type);
}

// The file name without folder and extension ("take" of "/a/take.srt").
std::string baseName(const std::string &path)
{
    const size_t slash = path.find_last_of('/');
    std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    const size_t dot = name.find_last_of('.');
    if (dot != std::string::npos && dot > 0) name.resize(dot);
    return name.empty() ? std::string("regions") : name;
}

void linkTrack(AudioRegionTrackObject *track, const std::string &name, int32_t type)
{
    track->m_externalFile = name;
    track->m_externalFormat = typeName(type);
    track->m_externalChanged = false;
    if (track->m_custom) track->m_properties.fileType = type;
}

bool readRegions(AUDIOSIGNAL signal, const char *name, const char *format, uint32_t flags)
{
    if (AUDIOSIGNAL_IsReadOnly(signal)) return false;
    RegionFileRequest request;
    if (!parseRequest(format, name, request)) return false;
    uint32_t error = 0;
    std::string text;
    std::vector<PlainRegion> regions;
    if (!readWhole(name, text, error) || !parseText(request.type, text, regions)) return false;
    const bool linked = request.linked || (flags & AUDIOSIGNAL_REGIONS_EXTERNAL) != 0;

    // Parsed: from here on the signal changes.
    AudioRegionTrackObject *track = nullptr;
    if (!request.trackId.empty()) {
        track = trackForId(signal, request.trackId, request.trackId);
    } else if (linked) {
        const std::string base = baseName(name);
        std::string id = base;
        for (int n = 2; AUDIOSIGNAL_FindRegionTrackIndex(signal, id.c_str()) >= 0; ++n)
            id = base + "_" + std::to_string(n);
        track = AUDIOSIGNAL_AddCustomTrack(signal, id.c_str(), base.c_str(), nullptr);
    } else {
        track = trackForId(signal, "", "");
    }
    if (track == nullptr) return false;
    if ((flags & AUDIOSIGNAL_REGIONS_REPLACE) != 0) {
        for (const Ref<AudioRegionObject> &region : track->m_regions) region->m_track = nullptr;
        track->m_regions.clear();
    }
    for (const PlainRegion &plain : regions) insertRegion(track, contentsOf(plain), newRegionId());
    if (linked) linkTrack(track, name, request.type);
    AUDIOSIGNAL_NotifyChange(signal, AUDIOSIGNAL_CHANGE_REGIONS);
    return true;
}

bool saveRegions(AUDIOSIGNAL signal, const char *name, const char *format, int32_t trackIndex, uint32_t flags,
                 uint32_t &error)
{
    RegionFileRequest request;
    if (!parseRequest(format, name, request)) {
        error |= AUDIO_ERROR_INVALID_ARGUMENT;
        return false;
    }
    if (!request.trackId.empty()) trackIndex = AUDIOSIGNAL_FindRegionTrackIndex(signal, request.trackId.c_str());
    AUDIOREGIONTRACK track = AUDIOSIGNAL_GetRegionTrack(signal, trackIndex);
    if (track == nullptr) {
        error |= AUDIO_ERROR_INVALID_ARGUMENT;
        return false;
    }
    std::vector<PlainRegion> regions;
    for (const Ref<AudioRegionObject> &region : track->m_regions) {
        const RegionContents &c = region->m_contents;
        if ((c.flags & (kDeleted | kTemporary)) != 0) continue;
        regions.push_back(PlainRegion{c.kind, c.begin, c.end, c.label, c.comment});
    }
    if (!writeAtomically(name, writeText(request.type, regions), error)) return false;
    if (request.linked || (flags & AUDIOSIGNAL_REGIONS_EXTERNAL) != 0) linkTrack(track, name, request.type);
    return true;
}

} // namespace

} // namespace asig

using namespace asig;

// ---- region files -----------------------------------------------------------------------

bool AUDIOSIGNAL_ReadRegionsEx(AUDIOSIGNAL signal, const char *name, const char *format, uint32_t flags)
{
    if (signal == nullptr || name == nullptr) return false;
    try {
        return readRegions(signal, name, format != nullptr ? format : "AUTO", flags);
    } catch (const std::bad_alloc &) {
        return false;
    }
}

bool AUDIOSIGNAL_SaveRegionsEx(AUDIOSIGNAL signal, const char *name, const char *format, int32_t trackIndex,
                               uint32_t flags, uint32_t *error)
{
    uint32_t bits = AUDIO_ERROR_NONE;
    bool ok = false;
    if (signal == nullptr || name == nullptr || name[0] == '\0') {
        bits = AUDIO_ERROR_INVALID_ARGUMENT;
    } else {
        try {
            ok = saveRegions(signal, name, format != nullptr ? format : "AUTO", trackIndex, flags, bits);
        } catch (const std::bad_alloc &) {
            bits |= AUDIO_ERROR_OUT_OF_MEMORY;
        }
    }
    if (error != nullptr) *error = ok ? AUDIO_ERROR_NONE : bits;
    return ok;
}

bool AUDIOSIGNAL_SaveExternalRegions(AUDIOSIGNAL signal, uint32_t *error)
{
    if (error != nullptr) *error = AUDIO_ERROR_NONE;
    if (signal == nullptr) return false;
    bool ok = true;
    for (int32_t i = 0; i < AUDIOSIGNAL_NumRegionTracks(signal); ++i) {
        AUDIOREGIONTRACK track = AUDIOSIGNAL_GetRegionTrack(signal, i);
        if (track->m_deleted || !AUDIOREGIONTRACK_HasExternalChanges(track)) continue;
        uint32_t bits = 0;
        try {
            const std::string file = track->m_externalFile;
            const std::string format = track->m_externalFormat;
            if (AUDIOSIGNAL_SaveRegionsEx(signal, file.c_str(), format.c_str(), i, 0, &bits))
                track->m_externalChanged = false;
            else
                ok = false;
        } catch (const std::bad_alloc &) {
            bits = AUDIO_ERROR_OUT_OF_MEMORY;
            ok = false;
        }
        if (error != nullptr) *error |= bits;
    }
    return ok;
}

bool AUDIOSIGNAL_SaveSrtSidecars(AUDIOSIGNAL signal, const char *audioName)
{
    return AUDIOSIGNAL_SaveSrtSidecarsEx(signal, audioName, true);
}

const char *AUDIOCUSTOMTRACK_FileTypeExtension(int32_t type)
{
    switch (type) {
    case AUDIOCUSTOMTRACK_FILE_NONE:
    case AUDIOCUSTOMTRACK_FILE_SRT: return "srt";
    case AUDIOCUSTOMTRACK_FILE_WEBVTT: return "vtt";
    // ".txt" alone would take any "<stem>.<word>.txt" beside the audio for
    // a track's file.
    case AUDIOCUSTOMTRACK_FILE_LABELS: return "labels.txt";
    default: return nullptr;
    }
}

bool AUDIOSIGNAL_SaveSrtSidecarsEx(AUDIOSIGNAL signal, const char *audioName, bool link)
{
    if (signal == nullptr || audioName == nullptr || audioName[0] == '\0') return false;
    try {
        std::string base = audioName;
        const size_t slash = base.find_last_of('/');
        const size_t dot = base.find_last_of('.');
        if (dot != std::string::npos && (slash == std::string::npos || dot > slash)) base.resize(dot);
        const auto sidecarOf = [&](const std::string &id, int32_t type) {
            return base + "." + id + "." + AUDIOCUSTOMTRACK_FileTypeExtension(type);
        };
        const int32_t kinds[] = {AUDIOCUSTOMTRACK_FILE_SRT, AUDIOCUSTOMTRACK_FILE_WEBVTT, AUDIOCUSTOMTRACK_FILE_LABELS};
        bool allWritten = true;
        std::vector<std::string> stale;
        std::set<std::string> written;  // never retired, whatever else has the id
        for (int32_t i = 0; i < AUDIOSIGNAL_NumRegionTracks(signal); ++i) {
            AUDIOREGIONTRACK track = AUDIOSIGNAL_GetRegionTrack(signal, i);
            if (!track->m_custom || AUDIOCUSTOMTRACK_FileTypeExtension(track->m_properties.fileType) == nullptr) continue;
            // A track without a file type of its own is kept as SRT, the
            // sidecars' format, and keeps having none.
            const int32_t ownType = track->m_properties.fileType;
            const int32_t type = ownType == AUDIOCUSTOMTRACK_FILE_NONE ? AUDIOCUSTOMTRACK_FILE_SRT : ownType;
            const std::string sidecar = sidecarOf(track->m_uniqId, type);
            // Files of the track in its other formats (its type changed)
            // would bring its regions back twice on the next open.
            for (int32_t other : kinds)
                if (track->m_deleted || other != type) stale.push_back(sidecarOf(track->m_uniqId, other));
            if (track->m_deleted || track->m_properties.temporary) continue;
            char group[320];
            std::snprintf(group, sizeof(group), "%s[track=%s,linked=%d]", typeName(type), track->m_uniqId.c_str(),
                          link ? 1 : 0);
            struct stat old {};
            if (::stat(sidecar.c_str(), &old) == 0) {
                char backup[4352];
                std::snprintf(backup, sizeof(backup), "%s.bkp", sidecar.c_str());
                // A hard link keeps the sidecar's name in place until the
                // new one is renamed over it.
                ::unlink(backup);
                if (::link(sidecar.c_str(), backup) != 0)
                    BLDEBUG_Warning("cannot keep a backup of %s", sidecar.c_str());
            }
            if (!AUDIOSIGNAL_SaveRegionsEx(signal, sidecar.c_str(), group, i, 0, nullptr)) allWritten = false;
            track->m_properties.fileType = ownType;
            written.insert(sidecar);
        }
        if (!allWritten) {
            BLDEBUG_Error("_SaveSrtSidecarGroups: at least one SRT sidecar failed to write; skipping retirement of "
                          "stale sidecars this round");
            return false;
        }
        for (const std::string &sidecar : stale) {
            struct stat old {};
            if (written.count(sidecar) != 0 || ::stat(sidecar.c_str(), &old) != 0) continue;
            char backup[4352];
            std::snprintf(backup, sizeof(backup), "%s.bkp", sidecar.c_str());
            ::rename(sidecar.c_str(), backup);
        }
        return true;
    } catch (const std::bad_alloc &) {
        return false;
    }
}

bool AUDIOSIGNAL_FormatSupportRegion(AUDIOSIGNAL signal, const char *format, uint32_t what)
{
    if (signal == nullptr || (what != AUDIOSIGNAL_SUPPORT_REGIONS && what != AUDIOSIGNAL_SUPPORT_MARKERS)) return false;
    AUDIO_FORMAT_DESCR descr{};
    char name[32] = "";
    if (format != nullptr) AUDIO_DecodeParameter(format, name, sizeof(name), nullptr, 0);
    if (name[0] == '\0' || strcasecmp(name, "AUTO") == 0 || strcasecmp(name, "FROM_FORMAT") == 0) {
        const AUDIO_FORMAT own = AUDIOSIGNAL_GetFormat(signal);
        if (!AUDIO_GetFormatDescrEx(&own, nullptr, AUDIO_DESCR_BY_TAG, &descr)) return false;
    } else if (!AUDIO_FindFormatDescr(name, &descr)) {
        return false;
    }
    return (descr.capabilities & what) != 0;
}

// ---- regions as comments of FLAC and Ogg files ------------------------------------

namespace asig {

namespace {

const char *const kKindNames[] = {"region", "loop", "marker", "pregap"};  // by AUDIOREGION_KIND_

void appendEscaped(std::string &out, std::string_view text)
{
    for (const char c : text) {
        switch (c) {
        case '\\': out += "\\\\"; break;
        case '\t': out += "\\t"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        default: out += c;
        }
    }
}

bool unescape(std::string_view text, std::string &out)
{
    out.clear();
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            out += text[i];
            continue;
        }
        if (++i == text.size()) return false;
        switch (text[i]) {
        case '\\': out += '\\'; break;
        case 't': out += '\t'; break;
        case 'n': out += '\n'; break;
        case 'r': out += '\r'; break;
        default: return false;
        }
    }
    return true;
}

bool parseSeconds(std::string_view text, double &out)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), out);
    return error == std::errc() && end == text.data() + text.size() && std::isfinite(out) && out >= 0.0;
}

} // namespace

std::string encodeCommentRegion(const PlainRegion &region)
{
    char number[64];
    std::string out;
    for (const double seconds : {region.begin, region.end}) {
        // Shortest text that reads back as the same double.
        const auto result = std::to_chars(number, number + sizeof number, seconds);
        out.append(number, result.ptr);
        out += '\t';
    }
    const int32_t kind = region.kind >= 0 && region.kind <= 3 ? region.kind : AUDIOREGION_KIND_REGION;
    out += kKindNames[kind];
    out += '\t';
    appendEscaped(out, region.label);
    out += '\t';
    appendEscaped(out, region.comment);
    return out;
}

bool decodeCommentRegion(std::string_view text, PlainRegion &region)
{
    std::string_view parts[5];
    size_t count = 0;
    for (size_t start = 0;;) {
        const size_t tab = text.find('\t', start);
        if (count == 5) return false;  // more fields than a region has
        parts[count++] = text.substr(start, tab == std::string_view::npos ? std::string_view::npos : tab - start);
        if (tab == std::string_view::npos) break;
        start = tab + 1;
    }
    if (count != 5) return false;
    PlainRegion decoded;
    if (!parseSeconds(parts[0], decoded.begin) || !parseSeconds(parts[1], decoded.end) || decoded.end < decoded.begin)
        return false;
    decoded.kind = -1;
    for (int32_t k = 0; k < 4; ++k)
        if (parts[2] == kKindNames[k]) decoded.kind = k;
    if (decoded.kind < 0 || !unescape(parts[3], decoded.label) || !unescape(parts[4], decoded.comment)) return false;
    region = std::move(decoded);
    return true;
}

bool keepsCommentRegions(int16_t formatTag)
{
    return formatTag == AUDIO_FORMATTAG_FLAC || formatTag == AUDIO_FORMATTAG_OGG || formatTag == AUDIO_FORMATTAG_OPUS;
}

std::vector<std::string> commentRegions(AUDIOSIGNAL signal, int16_t formatTag)
{
    if (!keepsCommentRegions(formatTag)) return {};
    std::vector<std::string> out;
    for (const PlainRegion &region : fileRegions(signal)) out.push_back(encodeCommentRegion(region));
    return out;
}

void loadCommentRegions(AUDIOSIGNAL signal, const std::vector<std::string> &comments)
{
    std::vector<PlainRegion> regions;
    for (const std::string &comment : comments) {
        PlainRegion region;
        if (decodeCommentRegion(comment, region)) regions.push_back(std::move(region));
    }
    if (!regions.empty()) loadFileRegions(signal, regions);
}

} // namespace asig
