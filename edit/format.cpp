/*
** format.cpp: channel swaps and changes of the audio format (rate, channel
** count, channel mix, quantisation) of a document's signal.
*/
#include <strings.h>

#include <cstdio>
#include <string>

#include "audioops.h"
#include "edit/transform_p.h"
#include "frame/document_p.h"
#include "tavoedit.h"

namespace {

// Only a stereo signal has an unambiguous "other" channel: with more
// channels the library would swap the first two, which is seldom what a
// user of a surround file means. The test runs on the working copy, whose
// layout is the one being edited.
bool swapStereo(AUDIOSIGNAL copy, int64_t begin, int64_t end)
{
    if (AUDIOSIGNAL_NumChannels(copy) != 2) return false;
    if (begin == 0 && end == TAVOEDIT_END_OF_SIGNAL) return AUDIOSIGNAL_SwapChannels(copy);
    return AUDIOSIGNAL_SwapChannelsEx(copy, begin, end);
}

// Refuses a signal that is not stereo before any copy is made, with the
// "invalid argument" code as the last error.
bool isStereo(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOEDIT_TransformTarget(audio);
    if (doc == nullptr) return false;
    if (AUDIOSIGNAL_NumChannels(_TAVOAUDIO_Signal(doc)) == 2) return true;
    doc->lastError = _TranslateAudioSignalError(AUDIO_ERROR_INVALID_ARGUMENT);
    return false;
}

std::string formatText(const char *pattern, int32_t a, int32_t b)
{
    char buffer[96];
    std::snprintf(buffer, sizeof buffer, pattern, a, b);
    return buffer;
}

}  // namespace

// ---- channel swaps -------------------------------------------------------------

TAVO_API bool TAVOAUDIO_SwapChannels(TAVOAUDIO audio, const char *label)
{
    if (!isStereo(audio)) return false;
    return _TAVOEDIT_ApplyToWholeSignal(audio, label != nullptr ? label : "Swap Channels", swapStereo);
}

TAVO_API bool TAVOAUDIO_SwapChannelsFromSelectionsEx(TAVOAUDIO audio, const TAVOSELECTION *selections,
                                                     const char *label)
{
    if (!isStereo(audio)) return false;
    return _TAVOEDIT_ApplyToSelections(audio, selections, label != nullptr ? label : "Swap Channels", swapStereo);
}

// ---- format ---------------------------------------------------------------------

TAVO_API bool TAVOAUDIO_ChangeAudioFormat(TAVOAUDIO audio, int32_t sampleRate, int32_t channels,
                                          const char *mixerGains, const char *quantizer, const char *label)
{
    TavoDocument *doc = _TAVOEDIT_TransformTarget(audio);
    if (doc == nullptr) return false;
    if (sampleRate < 0 || channels < 0 || channels > AUDIO_MAX_CHANNELS) {
        doc->lastError = _TranslateAudioSignalError(AUDIO_ERROR_INVALID_ARGUMENT);
        return false;
    }
    int32_t rate = 0, count = 0;
    {
        TavoDocReadLock lock(doc);
        if (!lock) return false;
        AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
        rate = AUDIOSIGNAL_SampleRate(signal);
        count = AUDIOSIGNAL_NumChannels(signal);
    }
    const int32_t newRate = sampleRate > 0 ? sampleRate : rate;
    const int32_t newCount = channels > 0 ? channels : count;
    const bool mix = mixerGains != nullptr && mixerGains[0] != '\0';
    const bool quantize = quantizer != nullptr && quantizer[0] != '\0';

    // Nothing changes when rate and channel count stay, no mix is given
    // (even a mix that maps each channel onto itself is a request to
    // recompute the samples) and the quantiser is absent or "none" (which
    // leaves samples as they are). The effect is then NOCHANGES, and
    // running it would only duplicate the signal: the command ends here with
    // success and no undo step.
    std::string effect;
    if (newRate == rate && newCount == count && !mix && (!quantize || strcasecmp(quantizer, "none") == 0)) {
        effect = "NOCHANGES";
    } else if (mix) {
        effect = formatText("fmtconv[sr=%d,nc=%d,mixergains=", newRate, newCount) + mixerGains + "]";
    } else {
        effect = formatText("fmtconv[sr=%d,nc=%d]", newRate, newCount);
    }
    if (effect == "NOCHANGES") {
        doc->lastError = 0;
        return (doc->flags & TAVOAUDIO_FLAG_EDITABLE) != 0;
    }
    if (quantize) effect += std::string(":quantizer[type=") + quantizer + "]";
    // The channel mask, the view and the cursor follow the new layout and
    // rate in the effect-text step (time factor = new rate / old rate).
    return _TAVOEDIT_ApplyEffectText(audio, effect.c_str(), label != nullptr ? label : "Change Audio Format");
}
