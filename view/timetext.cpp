// timetext.cpp: clock, seconds, beats and time-code texts, and the parsers
// of typed clock texts (TAVOUTIL_).
//
// The layout of a clock text follows a reference length (normally the
// length of the signal), not the value, so that every text of a document
// lines up in the ruler and the status fields.

#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tavoutil.h"

namespace {

constexpr int64_t kMsPerSecond = 1000;
constexpr int64_t kMsPerMinute = 60 * kMsPerSecond;
constexpr int64_t kMsPerHour = 60 * kMsPerMinute;

// Guards the truncations of the beat grid against quotients that are whole
// in exact arithmetic but land a hair below in binary.
constexpr double kBeatEpsilon = 1e-9;

// Digits beyond this are dropped when reading a field: 10^15 ms is over
// thirty thousand years, and the sums below stay far from overflow.
constexpr int64_t kFieldCap = 1000000000000000LL;

__attribute__((format(printf, 3, 4))) int32_t writeText(char *buffer, int32_t size, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    const int n = std::vsnprintf(buffer, static_cast<size_t>(size), format, args);
    va_end(args);
    return n < 0 ? 0 : n;
}

bool usable(char *buffer, int32_t size)
{
    return buffer != nullptr && size >= 1;
}

// Milliseconds of a frame count, rounded half away from zero so that a
// position and its negative print the same digits.
bool framesToMs(int64_t frames, double rate, int64_t &ms)
{
    if (!(rate > 0.0) || !std::isfinite(rate)) return false;
    const double value = static_cast<double>(frames) / (rate / 1000.0);
    const double rounded = std::trunc(std::fabs(value) + 0.5);
    ms = static_cast<int64_t>(value < 0.0 ? -rounded : rounded);
    return true;
}

uint64_t magnitude(int64_t v)
{
    return v < 0 ? static_cast<uint64_t>(0) - static_cast<uint64_t>(v) : static_cast<uint64_t>(v);
}

int32_t clockText(int64_t ms, int64_t reference, char *buffer, int32_t size)
{
    const uint64_t v = magnitude(ms);
    const uint64_t ref = magnitude(reference);
    const auto hours = static_cast<long long>(v / kMsPerHour);
    const auto minutes = static_cast<int>((v / kMsPerMinute) % 60);
    const auto seconds = static_cast<int>((v / kMsPerSecond) % 60);
    const auto millis = static_cast<int>(v % kMsPerSecond);
    if (ref >= static_cast<uint64_t>(kMsPerHour))
        return writeText(buffer, size, "%02lld:%02d:%02d.%03d", hours, minutes, seconds, millis);
    if (ref >= static_cast<uint64_t>(kMsPerMinute))
        return writeText(buffer, size, "%02d:%02d.%03d", minutes, seconds, millis);
    if (ref >= static_cast<uint64_t>(kMsPerSecond)) return writeText(buffer, size, "%d.%03d", seconds, millis);
    return writeText(buffer, size, "0.%03d", millis);
}

struct BeatPosition {
    long long bar = 0;
    int beat = 0;
    int subdivision = 0;
    bool negative = false;
};

bool beatPosition(int64_t frames, double rate, const TAVOBEATSCONFIG *beats, BeatPosition &out)
{
    if (beats == nullptr || !(rate > 0.0) || !(beats->bpm > 0.0) || beats->beatsPerBar < 1 || beats->note < 1)
        return false;
    out.negative = frames < 0;
    const double t = static_cast<double>(magnitude(frames)) / rate;
    const double beat = 60.0 / beats->bpm;
    const double bar = beats->beatsPerBar * beat;
    const double barIndex = std::trunc(t / bar + kBeatEpsilon);
    const double beatIndex = std::trunc((t - barIndex * bar) / beat + kBeatEpsilon);
    double sub = std::trunc((t - (beatIndex * beat + barIndex * bar)) / (beat / beats->note) + kBeatEpsilon);
    if (sub < 0.0) sub = 0.0;
    out.bar = static_cast<long long>(barIndex);
    out.beat = static_cast<int>(beatIndex < 0.0 ? 0.0 : beatIndex);
    out.subdivision = static_cast<int>(sub);
    return true;
}

// Reads the leading decimal digits of a field (blanks before them are
// skipped); the conversion stops at the first non-digit.
int64_t readField(const char *text, int32_t *digits = nullptr)
{
    while (*text == ' ' || *text == '\t') ++text;
    int64_t value = 0;
    int32_t count = 0;
    for (; *text >= '0' && *text <= '9'; ++text, ++count)
        if (value < kFieldCap) value = value * 10 + (*text - '0');
    if (digits != nullptr) *digits = count;
    return value;
}

// Milliseconds of a fraction text: one digit is tenths, two hundredths,
// three or more are taken as written.
int64_t readFraction(const char *text)
{
    int32_t digits = 0;
    const int64_t value = readField(text, &digits);
    if (digits == 1) return value * 100;
    if (digits == 2) return value * 10;
    return value;
}

// Splits `text` in place at the first '.' and at every ':'.
void splitClock(char *text, std::vector<char *> &fields, char *&fraction)
{
    fraction = nullptr;
    for (char *p = text; *p != '\0'; ++p) {
        if (*p == '.') {
            *p = '\0';
            fraction = p + 1;
            break;
        }
    }
    fields.push_back(text);
    for (char *p = text; *p != '\0'; ++p) {
        if (*p == ':') {
            *p = '\0';
            fields.push_back(p + 1);
        }
    }
}

int32_t clampInt(int64_t v)
{
    return v > INT32_MAX ? INT32_MAX : static_cast<int32_t>(v);
}

}  // namespace

TAVO_API bool TAVOUTIL_DecomposeMsTime(int64_t ms, int32_t *hours, int32_t *minutes, int32_t *seconds,
                                       int32_t *milliseconds)
{
    const uint64_t v = magnitude(ms);
    if (hours != nullptr) *hours = clampInt(static_cast<int64_t>(v / kMsPerHour));
    if (minutes != nullptr) *minutes = static_cast<int32_t>((v / kMsPerMinute) % 60);
    if (seconds != nullptr) *seconds = static_cast<int32_t>((v / kMsPerSecond) % 60);
    if (milliseconds != nullptr) *milliseconds = static_cast<int32_t>(v % kMsPerSecond);
    return true;
}

TAVO_API int32_t TAVOUTIL_MsTimeToBuffer(int64_t ms, int64_t referenceMs, char *buffer, int32_t size)
{
    if (!usable(buffer, size)) return 0;
    return clockText(ms, referenceMs, buffer, size);
}

TAVO_API int32_t TAVOUTIL_SamplesToTimeString(int64_t frames, int64_t reference, double rate, char *buffer,
                                              int32_t size)
{
    if (!usable(buffer, size)) return 0;
    int64_t ms = 0;
    int64_t refMs = 0;
    if (!framesToMs(frames, rate, ms) || !framesToMs(reference, rate, refMs)) {
        buffer[0] = '\0';
        return 0;
    }
    return clockText(ms, refMs, buffer, size);
}

TAVO_API int32_t TAVOUTIL_SamplesToSecondString(int64_t frames, int64_t reference, double rate, char *buffer,
                                                int32_t size)
{
    (void)reference;   // one layout for every length
    if (!usable(buffer, size)) return 0;
    int64_t ms = 0;
    if (!framesToMs(frames, rate, ms)) {
        buffer[0] = '\0';
        return 0;
    }
    const uint64_t v = magnitude(ms);
    return writeText(buffer, size, "%s%llu.%03llu", ms < 0 ? "-" : "", static_cast<unsigned long long>(v / 1000),
                     static_cast<unsigned long long>(v % 1000));
}

TAVO_API int32_t TAVOUTIL_SamplesToBeatsString(int64_t frames, int64_t reference, double rate,
                                               const TAVOBEATSCONFIG *beats, char *buffer, int32_t size)
{
    if (!usable(buffer, size)) return 0;
    BeatPosition p;
    if (!beatPosition(frames, rate, beats, p)) {
        buffer[0] = '\0';
        return 0;
    }
    const char *sign = p.negative ? "-" : "";
    // The ruler labels whole bars and beats briefly; the text of the
    // reference position itself (the field being edited) is always full.
    if (frames != reference) {
        if (p.beat == 0 && p.subdivision == 0) return writeText(buffer, size, "%s%lld", sign, p.bar + 1);
        if (p.subdivision == 0) return writeText(buffer, size, "%s%lld.%d", sign, p.bar + 1, p.beat + 1);
    }
    return writeText(buffer, size, "%s%lld.%d.%d", sign, p.bar + 1, p.beat + 1, p.subdivision + 1);
}

TAVO_API int32_t TAVOUTIL_SamplesToDurationBeatsString(int64_t frames, int64_t reference, double rate,
                                                       const TAVOBEATSCONFIG *beats, char *buffer, int32_t size)
{
    (void)reference;   // a duration is always written in full
    if (!usable(buffer, size)) return 0;
    BeatPosition p;
    if (!beatPosition(frames, rate, beats, p)) {
        buffer[0] = '\0';
        return 0;
    }
    return writeText(buffer, size, "%s%lld.%d.%d", p.negative ? "-" : "", p.bar, p.beat, p.subdivision);
}

// Non-drop SMPTE time code: whole video frames of the position at `fps`,
// split into hours, minutes, seconds and frames. libaudiosig has no
// time-code service, so the arithmetic lives here.
TAVO_API int32_t TAVOUTIL_SamplesToSmpteString(int64_t frames, int64_t reference, double rate, int32_t fps,
                                               char *buffer, int32_t size)
{
    (void)reference;   // the time code has one fixed layout
    if (!usable(buffer, size)) return 0;
    if (!(rate > 0.0) || !std::isfinite(rate) || fps < 1) {
        buffer[0] = '\0';
        return 0;
    }
    const double video = std::floor(static_cast<double>(magnitude(frames)) * fps / rate + kBeatEpsilon);
    const auto total = static_cast<unsigned long long>(video);
    const auto perSecond = static_cast<unsigned long long>(fps);
    const unsigned long long hours = total / (perSecond * 3600);
    const unsigned long long minutes = (total / (perSecond * 60)) % 60;
    const unsigned long long seconds = (total / perSecond) % 60;
    const unsigned long long frame = total % perSecond;
    return writeText(buffer, size, "%02llu:%02llu:%02llu:%02llu", hours, minutes, seconds, frame);
}

TAVO_API bool TAVOUTIL_DecomposeStringTime(char *text, int32_t *hours, int32_t *minutes, int32_t *seconds,
                                           int32_t *milliseconds)
{
    if (hours != nullptr) *hours = 0;
    if (minutes != nullptr) *minutes = 0;
    if (seconds != nullptr) *seconds = 0;
    if (milliseconds != nullptr) *milliseconds = 0;
    if (text == nullptr) return false;

    std::vector<char *> fields;
    char *fraction = nullptr;
    splitClock(text, fields, fraction);
    const size_t n = fields.size();
    int64_t s = readField(fields[n - 1]);
    int64_t m = n >= 2 ? readField(fields[n - 2]) : 0;
    int64_t h = n >= 3 ? readField(fields[n - 3]) : 0;
    int64_t ms = fraction != nullptr ? readFraction(fraction) : 0;

    // Every overflow carries upwards: "90" is 1 minute 30 seconds.
    s += ms / 1000;
    ms %= 1000;
    m += s / 60;
    s %= 60;
    h += m / 60;
    m %= 60;
    if (hours != nullptr) *hours = clampInt(h);
    if (minutes != nullptr) *minutes = static_cast<int32_t>(m);
    if (seconds != nullptr) *seconds = static_cast<int32_t>(s);
    if (milliseconds != nullptr) *milliseconds = static_cast<int32_t>(ms);
    return true;
}

// Unlike TAVOUTIL_DecomposeStringTime, this parser treats the fields as the
// fields of a clock editor: the leading field of a text with ':' is taken
// whole ("90:00" is ninety minutes), the inner minute and second fields wrap
// modulo 60 like the wheels of a clock, and a lone whole number wraps too
// ("90" gives 30 seconds). A fraction is added as milliseconds (three or
// more digits as written). The two parsers differ on purpose; hosts rely on
// each.
TAVO_API int64_t TAVOUTIL_TimeStringToMs(const char *text)
{
    if (text == nullptr) return -1;
    std::string copy(text);
    std::vector<char *> fields;
    char *fraction = nullptr;
    splitClock(copy.data(), fields, fraction);
    const size_t n = fields.size();
    const int64_t ms = fraction != nullptr ? readFraction(fraction) : 0;
    if (n == 1) {
        int64_t s = readField(fields[0]);
        if (fraction == nullptr && s >= 60) s %= 60;
        return s * kMsPerSecond + ms;
    }
    const int64_t s = readField(fields[n - 1]) % 60;
    if (n == 2) return readField(fields[0]) * kMsPerMinute + s * kMsPerSecond + ms;
    const int64_t m = readField(fields[n - 2]) % 60;
    return readField(fields[n - 3]) * kMsPerHour + m * kMsPerMinute + s * kMsPerSecond + ms;
}

TAVO_API int64_t TAVOUTIL_TimeStringToSample(const char *text, double rate)
{
    if (text == nullptr || !(rate > 0.0) || !std::isfinite(rate)) return -1;
    const int64_t ms = TAVOUTIL_TimeStringToMs(text);
    if (ms < 0) return -1;
    return static_cast<int64_t>(std::llround(static_cast<double>(ms) * rate / 1000.0));
}

TAVO_API double TAVOUTIL_PositionOnRange(double v, double lo, double hi)
{
    if (v <= lo) return 0.0;
    if (v >= hi) return 1.0;
    return (v - lo) / (hi - lo);
}

TAVO_API double TAVOUTIL_RangeOnPosition(double p, double lo, double hi)
{
    if (p >= 1.0) return hi;
    if (p <= 0.0) return lo;
    return lo + (hi - lo) * p;
}
