// Decoders of option words, modifier keys and font names.
#include <cstdlib>
#include <cstring>

#include "blstring.h"
#include "tavodefines.h"

namespace {

// Room for an option text once it is framed by bars. Option texts come
// from settings values, which hold at most 4095 bytes.
constexpr size_t kScratchSize = 4096 + 3;

// Copies `text` into `scratch` without blanks and underscores, framed by
// '|' and in upper case: "editable | no horz grid" -> "|EDITABLE|NOHORZGRID|".
// Whatever does not fit is dropped; the frame is always closed.
void normalizeWords(const char *text, char (&scratch)[kScratchSize])
{
    size_t n = 0;
    scratch[n++] = '|';
    for (const char *p = text; *p != '\0' && n < kScratchSize - 2; ++p) {
        if (*p == ' ' || *p == '\t' || *p == '_') continue;
        scratch[n++] = *p;
    }
    scratch[n++] = '|';
    scratch[n] = '\0';
    BLSTRING_Strupr(scratch);
}

struct TrackWord {
    uint32_t bit;
    const char *word;   // framed by bars, as the words of a normalized text
};

// The encoder writes the words in this order.
constexpr TrackWord kTrackWords[] = {
    {TAVODEFINES_TRACK_NOHORZGRID, "|NOHORZGRID|"},
    {TAVODEFINES_TRACK_NOSHOWAUDIOSELECTION, "|NOSHOWAUDIOSELECTION|"},
    {TAVODEFINES_TRACK_RGNSQUARECORNER, "|RGNSQUARECORNER|"},
    {TAVODEFINES_TRACK_SHOWRGNLABEL, "|SHOWRGNLABEL|"},
    {TAVODEFINES_TRACK_SHOWRGNCOMMENT, "|SHOWRGNCOMMENT|"},
    {TAVODEFINES_TRACK_NOOFFSETONRGNMOVE, "|NOOFFSETONRGNMOVE|"},
    {TAVODEFINES_TRACK_NOOFFSETONRGNSELECTION, "|NOOFFSETONRGNSELECTION|"},
    {TAVODEFINES_TRACK_ALIGNLABELLEFT, "|ALIGNLABELLEFT|"},
    {TAVODEFINES_TRACK_ALIGNLABELRIGHT, "|ALIGNLABELRIGHT|"},
    {TAVODEFINES_TRACK_ALIGNCOMMENTLEFT, "|ALIGNCOMMENTLEFT|"},
    {TAVODEFINES_TRACK_ALIGNCOMMENTRIGHT, "|ALIGNCOMMENTRIGHT|"},
    {TAVODEFINES_TRACK_ALLOWPARTIALTEXT, "|ALLOWPARTIALTEXT|"},
    {TAVODEFINES_TRACK_USEPHONETICFONT, "|USEPHONETICFONT|"},
};

constexpr const char *kFontWeights[] = {"normal", "thin",      "extralight", "light", "medium",
                                        "demibold", "bold", "extrabold", "black"};
constexpr const char *kFontStretches[] = {"unstretched",   "ultracondensed", "extracondensed",
                                          "condensed",     "semicondensed",  "semiexpanded",
                                          "expanded",      "extraexpanded",  "ultraexpanded"};
constexpr int32_t kLastFontValue = 8;

// Index of `name` in `table` (whole names, case ignored); 0 when absent.
template <size_t N>
int32_t findName(const char *const (&table)[N], const char *name)
{
    for (size_t i = 0; i < N; ++i) {
        // The terminator takes part, so "bold" does not match "boldest".
        if (BLSTRING_CompareInsensitiveN(table[i], name, std::strlen(table[i]) + 1) == 0)
            return static_cast<int32_t>(i);
    }
    return 0;
}

}  // namespace

extern "C" {

uint32_t TAVODEFINES_DecodeTavoOptions(uint32_t flags, const char *text)
{
    if (text == nullptr) return flags;
    char words[kScratchSize];
    normalizeWords(text, words);
    // Underscores are gone by now, so "|NO_EDITABLE|" never matches; it is
    // tested anyway so that the accepted spellings read off this line.
    if (BLSTRING_Contains(words, "|NOEDITABLE|") || BLSTRING_Contains(words, "|NO_EDITABLE|"))
        return flags & ~TAVODEFINES_OPTION_EDITABLE;
    if (BLSTRING_Contains(words, "|EDITABLE|")) return flags | TAVODEFINES_OPTION_EDITABLE;
    return flags;
}

uint32_t TAVODEFINES_DecodeCustomTrackDrawOption(const char *text)
{
    if (text == nullptr) return 0;
    // Settings written by hand may hold the bits as a number.
    const int number = std::atoi(text);
    if (number != 0) return static_cast<uint32_t>(number);
    char words[kScratchSize];
    normalizeWords(text, words);
    uint32_t bits = 0;
    for (const TrackWord &entry : kTrackWords)
        if (BLSTRING_Contains(words, entry.word)) bits |= entry.bit;
    // ALIGNLABELCENTER and ALIGNCOMMENTCENTER are valid words that set no
    // bit: centred is the absence of left and right.
    return bits;
}

bool TAVODEFINES_EncodeCustomTrackDrawOption(uint32_t bits, char *buffer, int32_t size)
{
    if (buffer == nullptr) return false;
    if (size <= 0) return true;
    buffer[0] = '\0';
    for (const TrackWord &entry : kTrackWords) {
        if ((bits & entry.bit) == 0) continue;
        const size_t used = std::strlen(buffer);
        // One byte stays for the terminator that strncat adds.
        if (used + 1 >= static_cast<size_t>(size)) break;
        std::strncat(buffer, entry.word, static_cast<size_t>(size) - used - 1);
    }
    return true;
}

uint32_t TAVODEFINES_TranslateAccKeys(uint32_t keys)
{
    // Host bits (left) to library bits (right).
    static constexpr struct { uint32_t in, out; } kKeys[] = {
        {0x1, 0x20}, {0x2, 0x80}, {0x4, 0x8}, {0x8, 0x2}, {0x10, 0x40}, {0x20, 0x4 | 0x1}, {0x40, 0x1},
    };
    uint32_t out = 0;
    for (const auto &key : kKeys)
        if ((keys & key.in) != 0) out |= key.out;
    return out;
}

int32_t TAVODEFINES_toFontWeight(const char *name)
{
    if (name == nullptr) return 0;
    return findName(kFontWeights, name);
}

const char *TAVODEFINES_fromFontWeight(int32_t weight)
{
    if (weight < 1 || weight > kLastFontValue) return kFontWeights[0];
    return kFontWeights[weight];
}

int32_t TAVODEFINES_toFontStretch(const char *name)
{
    // A null name sorts before every table entry, so it comes out as 0
    // without a test of its own.
    return findName(kFontStretches, name);
}

const char *TAVODEFINES_fromFontStretch(int32_t stretch)
{
    if (stretch < 1 || stretch > kLastFontValue) return kFontStretches[0];
    return kFontStretches[stretch];
}

int32_t TAVODEFINES_FillTextOptionsfromTextAlignment(int32_t alignment)
{
    if ((alignment & 1) != 0) return 1;
    return alignment & 2;
}

}  // extern "C"
