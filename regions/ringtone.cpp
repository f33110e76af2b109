// ringtone.cpp: the ringtone export, a short faded piece of the document's
// audio written to a file of its own.
//
// The document is only read: the piece is a copy (sharing the samples),
// faded by the signal library's gain-envelope effect and saved. The signal
// library has no AAC/M4A writer, so the ringtone is written in a format it
// can write: the one named by the caller, or the one of the file name's
// extension. Saving writes beside the target under a temporary name and
// renames, so a failed export leaves no partial file.

#include <algorithm>
#include <cstdio>
#include <string>

#include "regions/metadata_p.h"

#include "audiofile.h"
#include "audioops.h"
#include "tavometadata.h"
#include "tavoselection.h"
#include "view/state_p.h"

namespace {

constexpr const char *kRingtoneTitle = "Ringtone";

// Each fade lasts one second, or a quarter of a shorter ringtone, so that
// the full level is always reached in the middle half.
constexpr double kFadeSeconds = 1.0;
constexpr double kFadeShare = 0.25;

// The writable format of the file name's extension, or "" when there is none.
std::string formatOfName(const char *fileName)
{
    const std::string name = fileName;
    const size_t slash = name.find_last_of('/');
    const size_t dot = name.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
    AUDIO_FORMAT_DESCR descr;
    if (!AUDIO_FindFormatDescr(name.c_str() + dot + 1, &descr)) return "";
    if ((descr.capabilities & AUDIO_CAP_WRITE) == 0) return "";
    return descr.name;
}

// The library's gain envelope for a piece of `seconds`: silent at the first
// frame, full level after the fade in, silent again at the end; the gains
// are in dB, so silence is -inf.
std::string envelopeFor(double seconds)
{
    const double fade = std::min(kFadeSeconds, seconds * kFadeShare);
    char text[256];
    std::snprintf(text, sizeof(text), "GAINENVELOPE[instants=0;%.17g;%.17g;%.17g,gains=-inf;0;0;-inf,nsamples=4]",
                  fade, seconds - fade, seconds);
    return text;
}

// The frames [begin, end) of the ringtone: the active selection (else the
// first) unless `fromStart`, else the whole signal; at most the longest
// ringtone. Call with read access held.
void ringtoneRange(TAVOAUDIO audio, TavoDocument *doc, AUDIOSIGNAL signal, bool fromStart, int64_t *begin,
                   int64_t *end)
{
    const int64_t frames = AUDIOSIGNAL_NumFrames(signal);
    *begin = 0;
    *end = frames;
    const TAVOSELECTION *chosen = nullptr;
    if (!fromStart && doc->state != nullptr) {
        for (const TAVOSELECTION *s = doc->state->selections; s != nullptr; s = s->next) {
            if (chosen == nullptr) chosen = s;
            if (s->active != 0) {
                chosen = s;
                break;
            }
        }
    }
    if (chosen != nullptr) {
        *begin = std::clamp<int64_t>(TAVOSELECTION_GetBegin(audio, chosen), 0, frames);
        *end = std::clamp<int64_t>(TAVOSELECTION_GetEnd(audio, chosen), *begin, frames);
    }
    const int64_t longest = static_cast<int64_t>(AUDIOSIGNAL_SampleRate(signal)) * TAVOAUDIO_RINGTONE_MAX_SECONDS;
    *end = std::min(*end, *begin + longest);
}

// Fails with the library's error bits, or `fallback` when it reported none.
int32_t failWith(TavoDocument *doc, uint32_t error, uint32_t fallback)
{
    return _TAVOMETADATA_Fail(doc, error != 0 ? error : fallback);
}

}  // namespace

extern "C" {

TAVO_API int32_t TAVOAUDIO_ExportAsIphoneRingtoneEx(TAVOAUDIO audio, const char *fileName, const char *format,
                                                    uint32_t flags)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return 0;
    if (fileName == nullptr || fileName[0] == '\0' || (flags & ~TAVOAUDIO_RINGTONE_FROM_START) != 0)
        return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_INVALID_ARGUMENT);
    const std::string target = format != nullptr ? std::string(format) : formatOfName(fileName);
    if (target.empty() || !AUDIO_SupportFormat(1, target.c_str()))
        return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_UNSUPPORTED_FORMAT);

    AUDIOSIGNAL piece = nullptr;
    double seconds = 0.0;
    {
        // Read access for the copy only: it shares the samples, so the lock
        // is held for O(blocks), not for the effect or the file.
        TavoDocReadLock lock(doc);
        if (!lock) return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_BUSY);
        AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
        if (signal == nullptr) return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_EMPTY);
        int64_t begin = 0;
        int64_t end = 0;
        ringtoneRange(audio, doc, signal, (flags & TAVOAUDIO_RINGTONE_FROM_START) != 0, &begin, &end);
        if (end <= begin) return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_EMPTY);
        piece = AUDIOSIGNAL_CopyEx(signal, begin, end);
        if (piece == nullptr) return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_OUT_OF_MEMORY);
        // The piece carries the document's tags (a copy of them), so that
        // only its title differs.
        AUDIOMETADATA tags = AUDIOSIGNAL_Metadata(signal);
        if (tags != nullptr && !AUDIOSIGNAL_ReplaceMetadata(piece, tags)) {
            AUDIOSIGNAL_Destroy(piece);
            return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_OUT_OF_MEMORY);
        }
        seconds = static_cast<double>(end - begin) / AUDIOSIGNAL_SampleRate(signal);
    }

    uint32_t error = 0;
    double timeFactor = 1.0;
    const std::string envelope = envelopeFor(seconds);
    AUDIOSIGNAL faded = AUDIOSIGNAL_ApplyTransformEx2(piece, envelope.c_str(), &timeFactor, 0, &error);
    AUDIOSIGNAL_Destroy(piece);
    if (faded == nullptr) return failWith(doc, error, AUDIO_ERROR_OUT_OF_MEMORY);

    AUDIOMETADATA tags = AUDIOSIGNAL_CreateMetadata(faded);
    if (tags == nullptr || !AUDIOMETADATA_SetTitle(tags, kRingtoneTitle)) {
        AUDIOSIGNAL_Destroy(faded);
        return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_OUT_OF_MEMORY);
    }
    const bool saved = AUDIOSIGNAL_SaveEx(faded, fileName, target.c_str(), AUDIO_SAVE_COPY, &error);
    AUDIOSIGNAL_Destroy(faded);
    if (!saved) return failWith(doc, error, AUDIO_ERROR_CANNOT_WRITE);
    return 1;
}

}  // extern "C"
