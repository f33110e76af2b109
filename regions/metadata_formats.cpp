// metadata_formats.cpp: what a save format would keep of a document: its
// tags and artwork, the regions, markers and loops of the audio's own track
// (the annotation tracks are saved beside the file, whatever its format),
// its channels and the precision of its samples.
//
// The answer comes from the format table of the signal library (what each
// format can hold) compared with what the document holds now, so a host can
// warn before a save rather than after.

#include <strings.h>

#include <cstring>
#include <string>
#include <vector>

#include "regions/metadata_p.h"

#include "audiofile.h"
#include "audioregion.h"
#include "tavometadata.h"

namespace {

// Room for a format name or parameter text, as the save routine uses.
constexpr size_t kFormatPart = 512;

bool equalNoCase(const char *a, const char *b)
{
    return strcasecmp(a, b) == 0;
}

// The format a save would produce: the table entry and the target sample
// layout. `explicitWidth` tells whether the text names bits or type.
struct Target {
    AUDIO_FORMAT_DESCR descr{};
    AUDIO_FORMAT format{};
    bool explicitWidth = false;
};

// Reads the parameters a save acts on (nc, bits, type, and those of a
// FMTCONV conversion) into `target.format`, which starts as the signal's.
void readParameters(const char *params, Target &target)
{
    for (const char *item = params; item != nullptr && item[0] != '\0';) {
        char key[kFormatPart];
        char value[kFormatPart];
        item = AUDIO_DecodeParameter(item, key, sizeof(key), value, sizeof(value));
        if (equalNoCase(key, "FMTCONV")) {
            AUDIO_GetFormatFromString(value, &target.format);
            if (std::strstr(value, "bits") != nullptr || std::strstr(value, "type") != nullptr)
                target.explicitWidth = true;
        } else if (equalNoCase(key, "nc") || equalNoCase(key, "bits") || equalNoCase(key, "type")) {
            const std::string single = std::string(key) + "=" + value;
            AUDIO_GetFormatFromString(single.c_str(), &target.format);
            if (!equalNoCase(key, "nc")) target.explicitWidth = true;
        }
    }
}

// The table entry of a format text; "AUTO" and "FROM_FORMAT" stand for the
// signal's own file format, or the document's file format for a signal that
// has no file yet.
bool findTarget(TavoDocument *doc, const char *text, AUDIO_FORMAT signalFormat, Target &target)
{
    char name[kFormatPart];
    char params[kFormatPart];
    AUDIO_DecodeParameter(text, name, sizeof(name), params, sizeof(params));
    target.format = signalFormat;
    if (equalNoCase(name, "AUTO") || equalNoCase(name, "FROM_FORMAT")) {
        bool found = AUDIO_GetFormatDescrEx(&signalFormat, nullptr, AUDIO_DESCR_BY_TAG, &target.descr);
        if (!found && doc->fileFormat[0] != '\0') {
            char own[kFormatPart];
            AUDIO_DecodeParameter(doc->fileFormat, own, sizeof(own), nullptr, 0);
            found = !equalNoCase(own, "AUTO") && !equalNoCase(own, "FROM_FORMAT") &&
                    AUDIO_FindFormatDescr(own, &target.descr);
        }
        if (!found) return false;
    } else if (!AUDIO_FindFormatDescr(name, &target.descr)) {
        return false;
    }
    readParameters(params, target);
    return true;
}

// Whether a file of the entry holds samples of `bits` bits of `kind`.
bool holdsWidth(uint32_t caps, int32_t bits, int32_t kind)
{
    if (kind == AUDIO_SAMPLE_FLOAT) return (caps & AUDIO_CAP_FLOAT) != 0;
    if (bits <= 16) return true;
    if (bits == 24) return (caps & AUDIO_CAP_INT24) != 0;
    return (caps & AUDIO_CAP_INT32) != 0;
}

uint32_t regionLosses(AUDIOSIGNAL signal, uint32_t caps)
{
    uint32_t lost = 0;
    const uint32_t everything = AUDIOREGION_SEARCH_HIDDEN;
    if ((caps & AUDIO_CAP_MARKERS) == 0 &&
        AUDIOSIGNAL_CountRegions(signal, 0, everything | AUDIOREGION_SEARCH_MARKERS_ONLY) > 0)
        lost |= TAVOAUDIO_FORMAT_LOSES_MARKERS;
    const int32_t count = AUDIOSIGNAL_CountRegions(signal, 0, everything | AUDIOREGION_SEARCH_NO_MARKERS);
    if (count <= 0) return lost;
    std::vector<AUDIOREGION> regions(static_cast<size_t>(count));
    const int32_t got = AUDIOSIGNAL_GetRegions(signal, 0, everything | AUDIOREGION_SEARCH_NO_MARKERS, regions.data(), count);
    for (int32_t i = 0; i < got; ++i) {
        if (AUDIOREGION_IsLoop(regions[static_cast<size_t>(i)])) {
            if ((caps & AUDIO_CAP_LOOPS) == 0) lost |= TAVOAUDIO_FORMAT_LOSES_LOOPS;
        } else if ((caps & AUDIO_CAP_REGIONS) == 0) {
            lost |= TAVOAUDIO_FORMAT_LOSES_REGIONS;
        }
    }
    return lost;
}

}  // namespace

extern "C" {

TAVO_API int32_t TAVOAUDIO_CheckSaveFormatCompability(TAVOAUDIO audio, const char *format, uint32_t *losses)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return 0;
    if (format == nullptr || format[0] == '\0') return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_INVALID_ARGUMENT);
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    if (signal == nullptr) return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_EMPTY);

    // Read access: regions and tags are read while no edit changes them.
    TavoDocReadLock lock(doc);
    if (!lock) return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_BUSY);
    const AUDIO_FORMAT own = AUDIOSIGNAL_GetFormat(signal);
    Target target;
    uint32_t lost = 0;
    if (!findTarget(doc, format, own, target) || !AUDIO_SupportFormat(1, format) ||
        (target.descr.capabilities & AUDIO_CAP_WRITE) == 0) {
        lost = TAVOAUDIO_FORMAT_LOSES_UNWRITABLE;
    } else {
        const uint32_t caps = target.descr.capabilities;
        AUDIOMETADATA metadata = AUDIOSIGNAL_Metadata(signal);
        const bool artwork = AUDIOMETADATA_HasArtwork(metadata);
        if ((caps & AUDIO_CAP_TAGS) == 0 && AUDIOMETADATA_NumFields(metadata) > (artwork ? 1 : 0))
            lost |= TAVOAUDIO_FORMAT_LOSES_TAGS;
        if ((caps & AUDIO_CAP_ARTWORK) == 0 && artwork) lost |= TAVOAUDIO_FORMAT_LOSES_ARTWORK;
        lost |= regionLosses(signal, caps);

        const int32_t channels = target.format.numChannels;
        if (channels < own.numChannels || (channels > 2 && (caps & AUDIO_CAP_MULTICHANNEL) == 0))
            lost |= TAVOAUDIO_FORMAT_LOSES_CHANNELS;

        // Without bits or type a save keeps the signal's width when the
        // format holds it, and writes the format's default width otherwise.
        const bool ownFloat = own.sampleKind == AUDIO_SAMPLE_FLOAT;
        if ((caps & AUDIO_CAP_LOSSY) != 0) {
            lost |= TAVOAUDIO_FORMAT_LOSES_PRECISION;
        } else if (target.explicitWidth) {
            const bool toFloat = target.format.sampleKind == AUDIO_SAMPLE_FLOAT;
            if ((ownFloat && !toFloat) || target.format.bitsPerSample < own.bitsPerSample)
                lost |= TAVOAUDIO_FORMAT_LOSES_PRECISION;
        } else if (!holdsWidth(caps, own.bitsPerSample, own.sampleKind)) {
            lost |= TAVOAUDIO_FORMAT_LOSES_PRECISION;
        }
    }
    if (losses != nullptr) *losses = lost;
    return lost == 0 ? 1 : 0;
}

}  // extern "C"
