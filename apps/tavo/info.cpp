// tavo info FILE [--json]: what a file holds, read through a document as a
// host would open it.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "audiofile.h"
#include "audiometadata.h"
#include "audioregion.h"
#include "audiosignal.h"
#include "cli.h"
#include "tavoaudio.h"
#include "tavoutil.h"

namespace tavocli {
namespace {

const char kHelp[] =
    "usage: tavo info FILE [--json]\n"
    "\n"
    "Prints the format (name and format text), sample rate, channels, frames,\n"
    "duration, sample type, tags, and the counts of regions, markers and\n"
    "annotation tracks of FILE. With --json, one JSON object with the keys\n"
    "file, format, format_name, format_text, rate, channels, frames, duration,\n"
    "bits, sample_type, tags, regions, markers, annotation_tracks.\n"
    "\n"
    "Example: tavo info take1.flac --json\n";

struct Tag {
    std::string name;
    std::string value;
};

struct Facts {
    std::string file;
    std::string format;      // the format table's name, "WAV"
    std::string formatName;  // its long name, "Microsoft WAVE"
    std::string formatText;  // the document's file-format text
    int32_t rate = 0;
    int32_t channels = 0;
    int64_t frames = 0;
    double duration = 0;
    int32_t bits = 0;
    std::string sampleType;  // "pcm" or "float"
    std::vector<Tag> tags;
    int32_t regions = 0;
    int32_t markers = 0;
    int32_t tracks = 0;
};

void collectTags(AUDIOSIGNAL signal, std::vector<Tag> &tags)
{
    AUDIOMETADATA metadata = AUDIOSIGNAL_Metadata(signal);
    if (metadata == nullptr) return;
    int32_t count = 0;
    char **names = AUDIOMETADATA_CopyFieldNames(metadata, &count);
    if (names == nullptr) return;
    for (int32_t i = 0; i < count; ++i) {
        const char *name = names[i];
        if (AUDIOMETADATA_IsMixedDataField(metadata, name)) {
            // The artwork: its size and type stand in for its bytes.
            char mime[64] = "";
            AUDIOMETADATA_CopyArtworkMimeType(metadata, mime, sizeof mime);
            const int64_t size = AUDIOMETADATA_CopyArtwork(metadata, nullptr, 0);
            tags.push_back({name, std::string(mime) + ", " + std::to_string(size) + " bytes"});
            continue;
        }
        const int64_t length = AUDIOMETADATA_CopyMetaData(metadata, name, nullptr, 0);
        if (length < 0) continue;  // binary, not text
        std::vector<char> value(static_cast<size_t>(length) + 1);
        AUDIOMETADATA_CopyMetaData(metadata, name, value.data(), value.size());
        tags.push_back({name, value.data()});
    }
    std::free(names);
}

bool collect(TAVOAUDIO audio, const std::string &path, Facts &facts)
{
    AUDIOSIGNAL signal = TAVOAUDIO_GetAudioSignal(audio);
    if (signal == nullptr) return false;
    // Read access keeps the signal as it is while it is described.
    if (!TAVOAUDIO_GetReadAccessEx(audio, false)) return false;
    const AUDIO_FORMAT format = AUDIOSIGNAL_GetFormat(signal);
    facts.file = path;
    AUDIO_FORMAT_DESCR descr;
    if (AUDIO_GetFormatDescrEx(&format, nullptr, AUDIO_DESCR_BY_TAG, &descr)) {
        facts.format = descr.name;
        facts.formatName = descr.longName;
    }
    const char *text = TAVOAUDIO_GetFileFormatString(audio);
    facts.formatText = text != nullptr ? text : "";
    facts.rate = format.sampleRate;
    facts.channels = format.numChannels;
    facts.frames = AUDIOSIGNAL_NumFrames(signal);
    facts.duration = AUDIO_Sample2Time(&format, facts.frames);
    facts.bits = format.bitsPerSample;
    facts.sampleType = format.sampleKind == AUDIO_SAMPLE_FLOAT ? "float" : "pcm";
    collectTags(signal, facts.tags);
    // Hidden regions count too: they are in the file, only not drawn.
    facts.regions = AUDIOSIGNAL_CountRegions(signal, -1, AUDIOREGION_SEARCH_HIDDEN | AUDIOREGION_SEARCH_NO_MARKERS);
    facts.markers = AUDIOSIGNAL_CountRegions(signal, -1, AUDIOREGION_SEARCH_HIDDEN | AUDIOREGION_SEARCH_MARKERS_ONLY);
    facts.tracks = AUDIOSIGNAL_NumCustomTracks(signal);
    TAVOAUDIO_ReleaseReadAccess(audio);
    return true;
}

void printText(const Facts &f)
{
    char clock[64] = "";
    TAVOUTIL_SamplesToTimeString(f.frames, f.frames, f.rate, clock, sizeof clock);
    std::printf("file:              %s\n", f.file.c_str());
    std::printf("format:            %s (%s)\n", f.format.c_str(), f.formatName.c_str());
    std::printf("format text:       %s\n", f.formatText.c_str());
    std::printf("sample rate:       %d Hz\n", f.rate);
    std::printf("channels:          %d\n", f.channels);
    std::printf("frames:            %lld\n", static_cast<long long>(f.frames));
    std::printf("duration:          %.6f s (%s)\n", f.duration, clock);
    std::printf("sample type:       %d-bit %s\n", f.bits, f.sampleType == "float" ? "float" : "PCM");
    std::printf("regions:           %d\n", f.regions);
    std::printf("markers:           %d\n", f.markers);
    std::printf("annotation tracks: %d\n", f.tracks);
    if (f.tags.empty()) {
        std::printf("tags:              none\n");
    } else {
        std::printf("tags:\n");
        for (const Tag &tag : f.tags) std::printf("  %s=%s\n", tag.name.c_str(), tag.value.c_str());
    }
}

void printJson(const Facts &f)
{
    std::string out = "{";
    out += "\"file\":" + jsonString(f.file);
    out += ",\"format\":" + jsonString(f.format);
    out += ",\"format_name\":" + jsonString(f.formatName);
    out += ",\"format_text\":" + jsonString(f.formatText);
    out += ",\"rate\":" + std::to_string(f.rate);
    out += ",\"channels\":" + std::to_string(f.channels);
    out += ",\"frames\":" + std::to_string(f.frames);
    char duration[64];
    std::snprintf(duration, sizeof duration, "%.9g", f.duration);
    out += ",\"duration\":" + std::string(duration);
    out += ",\"bits\":" + std::to_string(f.bits);
    out += ",\"sample_type\":" + jsonString(f.sampleType);
    out += ",\"tags\":{";
    for (size_t i = 0; i < f.tags.size(); ++i) {
        if (i > 0) out += ",";
        out += jsonString(f.tags[i].name) + ":" + jsonString(f.tags[i].value);
    }
    out += "}";
    out += ",\"regions\":" + std::to_string(f.regions);
    out += ",\"markers\":" + std::to_string(f.markers);
    out += ",\"annotation_tracks\":" + std::to_string(f.tracks);
    out += "}";
    std::printf("%s\n", out.c_str());
}

}  // namespace

int runInfo(const std::vector<std::string> &args)
{
    std::string path;
    bool json = false;
    for (const std::string &arg : args) {
        if (isHelp(arg)) {
            std::fputs(kHelp, stdout);
            return kExitOk;
        }
        if (arg == "--json") {
            json = true;
        } else if (!arg.empty() && arg[0] == '-') {
            fail("info", "unknown option '" + arg + "'");
            return kExitUsage;
        } else if (path.empty()) {
            path = arg;
        } else {
            fail("info", "one FILE only (got '" + arg + "' too)");
            return kExitUsage;
        }
    }
    if (path.empty()) {
        std::fputs(kHelp, stderr);
        return kExitUsage;
    }

    std::string error;
    TAVOAUDIO audio = openDocument(path, error);
    if (audio == nullptr) {
        fail("info", error);
        return cancelRequested() ? kExitCancelled : kExitFailed;
    }
    Facts facts;
    const bool ok = collect(audio, path, facts);
    TAVOAUDIO_Close(audio);
    if (!ok) {
        fail("info", "'" + path + "' holds no audio");
        return kExitFailed;
    }
    if (json)
        printJson(facts);
    else
        printText(facts);
    return kExitOk;
}

}  // namespace tavocli
