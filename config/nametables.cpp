// The texts under which window types, scale kinds, scroll-zoom modes and
// spectrogram colour schemes are stored in the settings.
#include "tavoconfig.h"

#include <cctype>
#include <cstring>

namespace {

struct NameCode {
    const char *text;
    int32_t code;
};

// Compares after dropping blanks around the text, ignoring case: hosts and
// hand-edited settings files write "Hann" or " db ".
bool sameName(const char *text, const char *name)
{
    while (std::isspace(static_cast<unsigned char>(*text))) ++text;
    size_t length = std::strlen(text);
    while (length > 0 && std::isspace(static_cast<unsigned char>(text[length - 1]))) --length;
    if (length != std::strlen(name)) return false;
    for (size_t i = 0; i < length; ++i) {
        if (std::tolower(static_cast<unsigned char>(text[i])) != name[i]) return false;
    }
    return true;
}

// Looks the text up in the encoded names first, then in the extra spellings
// that decoding accepts but encoding never writes.
template <size_t N, size_t M>
int32_t decode(const char *text, int32_t defaultCode, const NameCode (&names)[N], const NameCode (&extra)[M])
{
    if (text == nullptr) return defaultCode;
    for (const NameCode &entry : names) {
        if (sameName(text, entry.text)) return entry.code;
    }
    for (const NameCode &entry : extra) {
        if (entry.text != nullptr && sameName(text, entry.text)) return entry.code;
    }
    return defaultCode;
}

template <size_t N>
const char *encode(int32_t code, const NameCode (&names)[N], const char *otherwise)
{
    for (const NameCode &entry : names) {
        if (entry.code == code) return entry.text;
    }
    return otherwise;
}

const NameCode kNoExtra[] = {{nullptr, 0}};

// Codes 2 and 4 belong to windows the analysis no longer offers; they have
// no text and read back as the general-purpose "blackman".
const NameCode kWinTypes[] = {
    {"rectangular", 0}, {"triangular", 1}, {"hann", 3}, {"hamming", 5},
    {"blackman", 6}, {"blackman-harris", 7}, {"blackman-nuttall", 8},
};

const NameCode kHorzScaleKinds[] = {
    {"sample", 1}, {"time", 2}, {"frame", 4}, {"seconds", 8}, {"beats", 16}, {"smpte", 32},
};
const NameCode kHorzScaleExtra[] = {{"smpl", 1}, {"sec", 8}, {"frm", 4}, {"bpm", 16}};

const NameCode kVertScaleKinds[] = {{"sample", 0}, {"db", 1}, {"percentual", 2}, {"normalized", 3}};
const NameCode kVertScaleExtra[] = {
    {"smpl", 0}, {"smp", 0}, {"sample_value", 0}, {"perc", 2}, {"%", 2}, {"norm", 3},
};

const NameCode kSpecScaleKinds[] = {{"hz", 0}, {"mels", 1}, {"bark", 2}, {"loghz", 3}};
const NameCode kSpecScaleExtra[] = {{"hertz", 0}, {"mel", 1}};

const NameCode kScrollZoomModes[] = {{"mouse", 0}, {"cursor", 1}, {"cursor_centered", 2}, {"center", 3}};
const NameCode kScrollZoomExtra[] = {{"focus", 1}};

// The inverted maps are the same schemes drawn the other way round; the
// inversion is stored separately ("invert"), so only the plain names are
// written.
const NameCode kColorSchemes[] = {
    {"lineargrayscale", 0}, {"grayscale", 1}, {"ce2k", 2}, {"viridis", 3}, {"magma", 4},
    {"plasma", 5}, {"inferno", 6}, {"cividis", 7}, {"mako", 8}, {"rocket", 9},
    {"turbo", 10}, {"copper", 11}, {"hot", 12}, {"bone", 13}, {"ice", 14},
    {"oxy", 15}, {"solar", 16}, {"matter", 17}, {"berlin", 18}, {"bilbao", 19},
    {"lajolla", 20}, {"roma", 21}, {"tokyo", 22}, {"vik", 23}, {"oceandeltagreen", 24},
    {"oceandeltablue", 25}, {"oceanthermal", 26}, {"oceandeep", 27},
};
const NameCode kColorSchemeExtra[] = {{"invlineargrayscale", 0}, {"invgrayscale", 1}};

}  // namespace

TAVO_API int32_t TAVOCONFIG_DecodeWinType(const char *text, int32_t defaultCode)
{
    return decode(text, defaultCode, kWinTypes, kNoExtra);
}

TAVO_API const char *TAVOCONFIG_EncodeWinType(int32_t code)
{
    return encode(code, kWinTypes, "blackman");
}

TAVO_API int32_t TAVOCONFIG_DecodeHorzScaleKind(const char *text, int32_t defaultCode)
{
    return decode(text, defaultCode, kHorzScaleKinds, kHorzScaleExtra);
}

TAVO_API const char *TAVOCONFIG_EncodeHorzScaleKind(int32_t code)
{
    return encode(code, kHorzScaleKinds, "undef");
}

TAVO_API int32_t TAVOCONFIG_DecodeVertScaleKind(const char *text, int32_t defaultCode)
{
    return decode(text, defaultCode, kVertScaleKinds, kVertScaleExtra);
}

TAVO_API const char *TAVOCONFIG_EncodeVertScaleKind(int32_t code)
{
    return encode(code, kVertScaleKinds, "undef");
}

TAVO_API int32_t TAVOCONFIG_DecodeSpecScaleKind(const char *text, int32_t defaultCode)
{
    return decode(text, defaultCode, kSpecScaleKinds, kSpecScaleExtra);
}

TAVO_API const char *TAVOCONFIG_EncodeSpecScaleKind(int32_t code)
{
    return encode(code, kSpecScaleKinds, "undef");
}

TAVO_API int32_t TAVOCONFIG_DecodeScrollZoomMode(const char *text, int32_t defaultCode)
{
    return decode(text, defaultCode, kScrollZoomModes, kScrollZoomExtra);
}

TAVO_API const char *TAVOCONFIG_EncodeScrollZoomMode(int32_t code)
{
    return encode(code, kScrollZoomModes, "mouse");
}

TAVO_API int32_t TAVOCONFIG_DecodeColorScheme(const char *text, int32_t defaultCode)
{
    return decode(text, defaultCode, kColorSchemes, kColorSchemeExtra);
}

TAVO_API const char *TAVOCONFIG_EncodeColorScheme(int32_t code)
{
    return encode(code, kColorSchemes, "undef");
}
