// Helpers shared by the commands: messages, numbers and positions, whole
// output files, save formats, error texts and JSON strings.
#include "cli.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>

#include <unistd.h>

#include "audiofile.h"
#include "audioformat.h"
#include "tavoaudio.h"

namespace tavocli {

void fail(const char *command, const std::string &text)
{
    std::fprintf(stderr, "tavo %s: %s\n", command, text.c_str());
}

bool isHelp(const std::string &arg)
{
    return arg == "-h" || arg == "--help";
}

bool parseInt(const std::string &text, int64_t &value)
{
    if (text.empty()) return false;
    errno = 0;
    char *end = nullptr;
    const long long parsed = std::strtoll(text.c_str(), &end, 10);
    if (errno != 0 || end == text.c_str() || *end != '\0') return false;
    value = parsed;
    return true;
}

bool parseReal(const std::string &text, double &value)
{
    if (text.empty()) return false;
    errno = 0;
    char *end = nullptr;
    const double parsed = std::strtod(text.c_str(), &end);
    if (errno != 0 || end == text.c_str() || *end != '\0' || !std::isfinite(parsed)) return false;
    value = parsed;
    return true;
}

namespace {

// Frames: digits only, so that "1e3" or "+5" are not read as positions by
// accident. Seconds: a plain decimal number followed by 's'.
bool isFrameText(const std::string &text)
{
    if (text.empty()) return false;
    for (char c : text)
        if (c < '0' || c > '9') return false;
    return true;
}

bool isSecondsText(const std::string &text)
{
    if (text.size() < 2 || text.back() != 's') return false;
    bool digit = false, dot = false;
    for (size_t i = 0; i + 1 < text.size(); ++i) {
        const char c = text[i];
        if (c >= '0' && c <= '9') {
            digit = true;
        } else if (c == '.' && !dot) {
            dot = true;
        } else {
            return false;
        }
    }
    return digit;
}

// Splits "B-E" at its only '-' (positions are never negative).
bool splitRange(const std::string &text, std::string &b, std::string &e)
{
    const size_t dash = text.find('-');
    if (dash == std::string::npos || text.find('-', dash + 1) != std::string::npos) return false;
    b = text.substr(0, dash);
    e = text.substr(dash + 1);
    return true;
}

}  // namespace

bool isPositionText(const std::string &text)
{
    return isFrameText(text) || isSecondsText(text);
}

bool parsePosition(const std::string &text, double rate, int64_t &frame)
{
    if (isFrameText(text)) return parseInt(text, frame);
    if (!isSecondsText(text) || rate <= 0) return false;
    double seconds = 0;
    if (!parseReal(text.substr(0, text.size() - 1), seconds)) return false;
    const double frames = std::round(seconds * rate);
    if (frames > 9.0e18) return false;
    frame = static_cast<int64_t>(frames);
    return true;
}

bool isRangeText(const std::string &text)
{
    std::string b, e;
    return splitRange(text, b, e) && isPositionText(b) && isPositionText(e);
}

bool parseRange(const std::string &text, double rate, int64_t &begin, int64_t &end)
{
    std::string b, e;
    if (!splitRange(text, b, e)) return false;
    if (!parsePosition(b, rate, begin) || !parsePosition(e, rate, end)) return false;
    return begin < end;
}

bool writeFileWhole(const std::string &path, const std::string &bytes, std::string &error)
{
    namespace fs = std::filesystem;
    const fs::path target(path);
    fs::path folder = target.parent_path();
    if (folder.empty()) folder = ".";
    // A random suffix: two runs writing beside each other never share a
    // temporary file.
    std::random_device device;
    char suffix[32];
    std::snprintf(suffix, sizeof suffix, ".tavo-%08x.tmp", static_cast<unsigned>(device()));
    const fs::path temporary = folder / (target.filename().string() + suffix);
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        if (!out) {
            error = "cannot write into " + folder.string();
            return false;
        }
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        out.flush();
        if (!out) {
            out.close();
            std::error_code ignored;
            fs::remove(temporary, ignored);
            error = "cannot write " + temporary.string() + " (disk full?)";
            return false;
        }
    }
    std::error_code code;
    fs::rename(temporary, target, code);
    if (code) {
        std::error_code ignored;
        fs::remove(temporary, ignored);
        error = "cannot replace " + path + ": " + code.message();
        return false;
    }
    return true;
}

std::string extensionOf(const std::string &path)
{
    const std::string ext = std::filesystem::path(path).extension().string();
    if (ext.size() < 2) return "";
    std::string lower = ext.substr(1);
    for (char &c : lower)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return lower;
}

bool resolveSaveFormat(const std::string &requested, const std::string &path, std::string &format,
                       std::string &error)
{
    AUDIO_FORMAT_DESCR descr;
    if (!requested.empty()) {
        // The name may be written in any case and by extension ("aif");
        // bracketed parameters pass through unchanged.
        const size_t bracket = requested.find('[');
        const std::string name = requested.substr(0, bracket);
        if (!AUDIO_FindFormatDescr(name.c_str(), &descr)) {
            error = "unknown format '" + requested + "'";
            return false;
        }
        format = std::string(descr.name) + (bracket == std::string::npos ? "" : requested.substr(bracket));
    } else {
        const std::string ext = extensionOf(path);
        if (ext.empty() || !AUDIO_FindFormatDescr(ext.c_str(), &descr)) {
            error = "cannot tell the format of '" + path + "' from its extension; name one with --format";
            return false;
        }
        format = descr.name;
    }
    if (!AUDIO_SupportFormat(1, format.c_str())) {
        error = "this build cannot write the format '" + format + "'";
        return false;
    }
    return true;
}

std::string describeAudioError(uint32_t bits)
{
    // The most telling bit first: a file that is missing is not also
    // reported as unreadable.
    static const struct {
        uint32_t bit;
        const char *text;
    } kTexts[] = {
        {AUDIO_ERROR_FILE_NOT_FOUND, "no such file"},
        {AUDIO_ERROR_CANNOT_OPEN, "the file cannot be opened"},
        {AUDIO_ERROR_UNSUPPORTED_FORMAT, "not an audio format this build reads"},
        {AUDIO_ERROR_CORRUPT_DATA, "malformed or truncated audio data"},
        {AUDIO_ERROR_CANNOT_WRITE, "the file or its folder cannot be written"},
        {AUDIO_ERROR_DISK_FULL, "no space left on the disk"},
        {AUDIO_ERROR_OUT_OF_MEMORY, "out of memory"},
        {AUDIO_ERROR_CANCELLED, "cancelled"},
        {AUDIO_ERROR_READ_ONLY, "read-only"},
        {AUDIO_ERROR_INVALID_ARGUMENT, "invalid argument"},
        {AUDIO_ERROR_EMPTY, "no audio"},
        {AUDIO_ERROR_OUT_OF_RANGE, "position beyond the audio"},
        {AUDIO_ERROR_TOO_LARGE, "too much audio for the format"},
        {AUDIO_ERROR_METADATA, "tags could not be read or written"},
    };
    for (const auto &entry : kTexts)
        if ((bits & entry.bit) != 0) return entry.text;
    char text[48];
    std::snprintf(text, sizeof text, "audio library error 0x%x", bits);
    return text;
}

std::string describeLastError(TAVOAUDIO audio)
{
    const uint32_t code = TAVOAUDIO_GetLastError(audio, false);
    const char *message = TAVOAUDIO_GetLastErrorMessage(audio, true);
    if (message != nullptr && message[0] != '\0') return message;
    if (code == 0) return "refused by the document";
    return "engine error " + std::to_string(code);
}

std::string jsonString(const std::string &text)
{
    std::string out = "\"";
    for (unsigned char c : text) {
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (c < 0x20) {
                char escaped[8];
                std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
                out += escaped;
            } else {
                out += static_cast<char>(c);
            }
        }
    }
    out += '"';
    return out;
}

}  // namespace tavocli
