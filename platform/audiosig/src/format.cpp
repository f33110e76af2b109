// Formats, time conversion and format texts.
#include "signal_p.h"

#include <blstring.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

namespace {

struct NamedTag {
    const char *name;
    int16_t tag;
};

// The names a format text may start with. "AUTO" and "FROM_FORMAT" name no
// tag of their own: detection, or the signal's own format.
const NamedTag kFormatNames[] = {
    {"AUTO", AUDIO_FORMATTAG_NONE}, {"FROM_FORMAT", AUDIO_FORMATTAG_NONE}, {"WAV", AUDIO_FORMATTAG_WAV},
    {"WAVE", AUDIO_FORMATTAG_WAV},  {"AIFF", AUDIO_FORMATTAG_AIFF},        {"AIF", AUDIO_FORMATTAG_AIFF},
    {"FLAC", AUDIO_FORMATTAG_FLAC}, {"OGG", AUDIO_FORMATTAG_OGG},          {"VORBIS", AUDIO_FORMATTAG_OGG},
    {"OPUS", AUDIO_FORMATTAG_OPUS}, {"MP3", AUDIO_FORMATTAG_MP3},          {"RF64", AUDIO_FORMATTAG_RF64},
    {"RAW", AUDIO_FORMATTAG_RAW},   {"LINK", AUDIO_FORMATTAG_LINK},
};

std::string_view trim(std::string_view text)
{
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
    return text;
}

void copyCut(std::string_view text, char *buffer, size_t size)
{
    if (buffer == nullptr || size == 0) return;
    const size_t n = std::min(text.size(), size - 1);
    if (n > 0) std::memcpy(buffer, text.data(), n);  // an empty view may hold a null pointer
    buffer[n] = '\0';
}

bool isTagParameter(const char *name)
{
    return BLSTRING_CompareInsensitiveN(name, "sr", 3) == 0 || BLSTRING_CompareInsensitiveN(name, "nc", 3) == 0
        || BLSTRING_CompareInsensitiveN(name, "bits", 5) == 0 || BLSTRING_CompareInsensitiveN(name, "type", 5) == 0;
}

// Applies the parameters sr, nc, bits and type of a parameter text; others
// belong to the file formats and are skipped here.
bool applyParameters(const char *text, AUDIO_FORMAT &format)
{
    char name[64], value[256];
    for (const char *item = text; item != nullptr && *item != '\0';) {
        item = AUDIO_DecodeParameter(item, name, sizeof name, value, sizeof value);
        if (name[0] == '\0' || !isTagParameter(name)) continue;
        if (BLSTRING_CompareInsensitiveN(name, "type", 5) == 0) {
            if (BLSTRING_CompareInsensitiveN(value, "float", 6) == 0) format.sampleKind = AUDIO_SAMPLE_FLOAT;
            else if (BLSTRING_CompareInsensitiveN(value, "pcm", 4) == 0) format.sampleKind = AUDIO_SAMPLE_PCM;
            else return false;
            continue;
        }
        char pair[320];
        std::snprintf(pair, sizeof pair, "v=%s", value);
        const int64_t number = BLSTRING_GetIntegerValueFromString(pair, "v", INT64_MIN);
        if (number == INT64_MIN) return false;
        if (BLSTRING_CompareInsensitiveN(name, "sr", 3) == 0) {
            if (number < 1 || number > 10000000) return false;  // 10 MHz: beyond any converter
            format.sampleRate = int32_t(number);
        } else if (BLSTRING_CompareInsensitiveN(name, "nc", 3) == 0) {
            if (number < 1 || number > AUDIO_MAX_CHANNELS) return false;
            format.numChannels = int16_t(number);
        } else {
            if (number != 8 && number != 16 && number != 24 && number != 32 && number != 64) return false;
            format.bitsPerSample = int16_t(number);
            if (number == 64) format.sampleKind = AUDIO_SAMPLE_FLOAT;
        }
    }
    // A float format has 32 or 64 bits.
    if (format.sampleKind == AUDIO_SAMPLE_FLOAT && format.bitsPerSample != 32 && format.bitsPerSample != 64)
        format.bitsPerSample = 32;
    if (format.sampleKind == AUDIO_SAMPLE_PCM && format.bitsPerSample == 64) return false;
    return true;
}

} // namespace

int16_t _AUDIO_TagFromName(const char *name)
{
    if (name == nullptr) return -1;
    for (const NamedTag &entry : kFormatNames)
        if (BLSTRING_CompareInsensitiveN(name, entry.name, 64) == 0) return entry.tag;
    return -1;
}

AUDIO_FORMAT AUDIO_NullFormat(void)
{
    AUDIO_FORMAT format{};
    format.sampleRate = 44100;
    format.numChannels = 1;
    format.bitsPerSample = 16;
    format.sampleKind = AUDIO_SAMPLE_PCM;
    format.formatTag = AUDIO_FORMATTAG_NONE;
    return format;
}

bool AUDIO_IsValidFormat(const AUDIO_FORMAT *format)
{
    if (format == nullptr || format->sampleRate < 1 || format->numChannels < 1
        || format->numChannels > AUDIO_MAX_CHANNELS)
        return false;
    if (format->sampleKind == AUDIO_SAMPLE_FLOAT) return format->bitsPerSample == 32 || format->bitsPerSample == 64;
    if (format->sampleKind != AUDIO_SAMPLE_PCM) return false;
    const int bits = format->bitsPerSample;
    return bits == 8 || bits == 16 || bits == 24 || bits == 32;
}

double AUDIO_Sample2Time(const AUDIO_FORMAT *format, int64_t frame)
{
    if (format == nullptr || format->sampleRate <= 0) return 0.0;
    return double(frame) / double(format->sampleRate);
}

int64_t AUDIO_Time2Sample(const AUDIO_FORMAT *format, double seconds)
{
    if (format == nullptr || format->sampleRate <= 0 || std::isnan(seconds)) return 0;
    const double frames = std::round(seconds * double(format->sampleRate));
    if (frames >= 9.2e18) return INT64_MAX;
    if (frames <= -9.2e18) return INT64_MIN;
    return int64_t(frames);
}

const char *AUDIO_DecodeParameter(const char *text, char *name, size_t nameSize, char *value, size_t valueSize)
{
    copyCut({}, name, nameSize);
    copyCut({}, value, valueSize);
    if (text == nullptr) return nullptr;
    const std::string_view all(text);
    // The item ends at the first comma outside brackets.
    size_t end = 0;
    int depth = 0;
    for (; end < all.size(); ++end) {
        const char c = all[end];
        if (c == '[') ++depth;
        else if (c == ']' && depth > 0) --depth;
        else if (c == ',' && depth == 0) break;
    }
    const std::string_view item = trim(all.substr(0, end));
    if (item.empty() && end >= all.size()) return nullptr;
    const size_t bracket = item.find('[');
    const size_t equals = item.find('=');
    if (bracket != std::string_view::npos && (equals == std::string_view::npos || bracket < equals)) {
        copyCut(trim(item.substr(0, bracket)), name, nameSize);
        std::string_view inner = item.substr(bracket + 1);
        if (!inner.empty() && inner.back() == ']') inner.remove_suffix(1);
        copyCut(trim(inner), value, valueSize);
    } else if (equals != std::string_view::npos) {
        copyCut(trim(item.substr(0, equals)), name, nameSize);
        std::string_view inner = trim(item.substr(equals + 1));
        // "FMTCONV=[sr=8000,nc=1]": a bracketed value loses its brackets.
        if (inner.size() >= 2 && inner.front() == '[' && inner.back() == ']') inner = inner.substr(1, inner.size() - 2);
        copyCut(inner, value, valueSize);
    } else {
        copyCut(item, name, nameSize);
    }
    return end < all.size() ? text + end + 1 : text + end;
}

bool AUDIO_GetFormatFromString(const char *text, AUDIO_FORMAT *format)
{
    if (text == nullptr || format == nullptr) return false;
    AUDIO_FORMAT result = *format;
    char name[64], value[1024];
    const char *rest = AUDIO_DecodeParameter(text, name, sizeof name, value, sizeof value);
    if (name[0] == '\0') return false;
    const int16_t tag = _AUDIO_TagFromName(name);
    if (tag >= 0) {
        if (rest != nullptr && *rest != '\0') return false;  // "WAV,FLAC": one format only
        if (tag != AUDIO_FORMATTAG_NONE) result.formatTag = tag;
        if (!applyParameters(value, result)) return false;
    } else {
        // A bare parameter text: "sr=8000,nc=1".
        if (value[0] == '\0' && std::strchr(text, '=') == nullptr) return false;
        if (!applyParameters(text, result)) return false;
    }
    if (!AUDIO_IsValidFormat(&result)) return false;
    *format = result;
    return true;
}

bool AUDIO_FormatToString(const AUDIO_FORMAT *format, char *buffer, size_t size)
{
    if (format == nullptr || buffer == nullptr || size == 0) return false;
    const int n = std::snprintf(buffer, size, "sr=%d,nc=%d,bits=%d,type=%s", format->sampleRate,
                                format->numChannels, format->bitsPerSample,
                                format->sampleKind == AUDIO_SAMPLE_FLOAT ? "float" : "pcm");
    if (n < 0 || size_t(n) >= size) {
        buffer[0] = '\0';
        return false;
    }
    return true;
}
