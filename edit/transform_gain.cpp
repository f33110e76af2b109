/*
** transform_gain.cpp: gain and offset, normalisation, channel min/max and DC
** removal of a document's signal.
*/
#include <algorithm>
#include <cmath>

#include "audioops.h"
#include "blsettings.h"
#include "edit/transform_p.h"
#include "frame/document_p.h"
#include "tavoaudio.h"
#include "tavoedit.h"
#include "view/state_p.h"

namespace {

// Flag of TAVOAUDIO_LinearTransformSelectionEx2: instead of one gain and
// offset over each selection, move from unity (gain 1, offset 0) at the
// selection's first frame to the given gain and offset at its last, a
// straight ramp (AUDIOSIGNAL_ApplyLinearEffect). Other bits are ignored.
constexpr uint32_t kLinearRamp = 0x1u;

// Full tables of AUDIO_MAX_CHANNELS slots from the caller's (null = gain 1 /
// offset 0 everywhere). False when a value is not finite: the library would
// refuse it after the copy was made; refusing first costs nothing.
struct LinearTables {
    double gains[AUDIO_MAX_CHANNELS];
    double offsets[AUDIO_MAX_CHANNELS];
    bool identity = true;   // every slot gain 1, offset 0

    bool fill(const double *g, const double *o)
    {
        for (int32_t c = 0; c < AUDIO_MAX_CHANNELS; ++c) {
            gains[c] = g != nullptr ? g[c] : 1.0;
            offsets[c] = o != nullptr ? o[c] : 0.0;
            if (!std::isfinite(gains[c]) || !std::isfinite(offsets[c])) return false;
            if (gains[c] != 1.0 || offsets[c] != 0.0) identity = false;
        }
        return true;
    }
};

// Stores the "invalid argument" code as the document's last error.
bool refuseArgument(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc != nullptr) doc->lastError = _TranslateAudioSignalError(AUDIO_ERROR_INVALID_ARGUMENT);
    return false;
}

// Whether the identity transform may end without an undo step: only for a
// document an edit could start on, so that refusals still read as false.
bool identityAccepted(TAVOAUDIO audio)
{
    TavoDocument *doc = _TAVOEDIT_TransformTarget(audio);
    return doc != nullptr && (doc->flags & TAVOAUDIO_FLAG_EDITABLE) != 0;
}

}  // namespace

// ---- gain and offset -------------------------------------------------------------

TAVO_API bool TAVOAUDIO_LinearTransform(TAVOAUDIO audio, const double *gains, const double *offsets,
                                        const char *label)
{
    if (_TAVOEDIT_TransformTarget(audio) == nullptr) return false;
    LinearTables tables;
    if (!tables.fill(gains, offsets)) return refuseArgument(audio);
    // Gain 1 and offset 0 on every channel leave every sample as it is: a
    // step that changes nothing would only clutter the undo history.
    if (tables.identity) return identityAccepted(audio);
    return _TAVOEDIT_ApplyToWholeSignal(audio, label != nullptr ? label : "Change Gain/Offset",
                                        [&tables](AUDIOSIGNAL copy, int64_t begin, int64_t end) {
                                            return AUDIOSIGNAL_ApplyLinearTransform(copy, tables.gains,
                                                                                    tables.offsets, begin, end);
                                        });
}

TAVO_API bool TAVOAUDIO_LinearTransformSelectionEx2(TAVOAUDIO audio, const double *gains, const double *offsets,
                                                    const char *label, const TAVOSELECTION *selections,
                                                    uint32_t flag)
{
    if (_TAVOEDIT_TransformTarget(audio) == nullptr) return false;
    LinearTables tables;
    if (!tables.fill(gains, offsets)) return refuseArgument(audio);
    if (tables.identity) return identityAccepted(audio);
    const char *name = label != nullptr ? label : "Gain/Offset Transform";
    if ((flag & kLinearRamp) != 0) {
        static const LinearTables unity = [] {
            LinearTables t;
            t.fill(nullptr, nullptr);
            return t;
        }();
        return _TAVOEDIT_ApplyToSelections(audio, selections, name,
                                           [&tables](AUDIOSIGNAL copy, int64_t begin, int64_t end) {
                                               return AUDIOSIGNAL_ApplyLinearEffect(
                                                   copy, unity.gains, tables.gains, unity.offsets,
                                                   tables.offsets, begin, end);
                                           });
    }
    return _TAVOEDIT_ApplyToSelections(audio, selections, name,
                                       [&tables](AUDIOSIGNAL copy, int64_t begin, int64_t end) {
                                           return AUDIOSIGNAL_ApplyLinearTransform(copy, tables.gains,
                                                                                   tables.offsets, begin, end);
                                       });
}

// ---- measuring -------------------------------------------------------------------

TAVO_API bool TAVOAUDIO_GetChannelSelectionMinMaxEx(TAVOAUDIO audio, int32_t channel,
                                                    const TAVOSELECTION *selections, double *minimum,
                                                    double *maximum)
{
    if (minimum != nullptr) *minimum = 0.0;
    if (maximum != nullptr) *maximum = 0.0;
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr || doc->state == nullptr) return false;
    // A thread that holds read (or write) access may take read access again,
    // so callers inside an operation need not release theirs first.
    TavoDocReadLock lock(doc);
    if (!lock) return false;
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    if (signal == nullptr || channel < 0 || channel >= AUDIOSIGNAL_NumChannels(signal)) return false;

    const int64_t frames = AUDIOSIGNAL_NumFrames(signal);
    const TAVOSELECTION *list = selections != nullptr ? selections : doc->state->selections;
    std::vector<TavoFrameRange> ranges = _TAVOEDIT_SelectionRanges(audio, list);
    if (list == nullptr) ranges.emplace_back(0, frames);

    // Answered from the block summaries: the cost follows the number of
    // summary runs under each range, never the number of samples.
    bool any = false;
    float low = 0.0f, high = 0.0f;
    for (const TavoFrameRange &range : ranges) {
        const int64_t begin = std::clamp<int64_t>(range.first, 0, frames);
        const int64_t end = std::clamp<int64_t>(range.second, begin, frames);
        if (end <= begin) continue;
        AUDIOPOINTER pointer;
        float lo = 0.0f, hi = 0.0f;
        if (!AUDIOSIGNAL_InitAudioPointer(signal, channel, begin, &pointer)) continue;
        if (!AUDIOSIGNAL_DisplayMinMaxFromAudioPointer(&pointer, end - begin, &lo, &hi)) continue;
        low = any ? std::min(low, lo) : lo;
        high = any ? std::max(high, hi) : hi;
        any = true;
    }
    // Nothing under the ranges (an empty signal or empty selections): both
    // 0, which callers read as silence.
    if (minimum != nullptr) *minimum = low;
    if (maximum != nullptr) *maximum = high;
    return true;
}

// ---- normalisation -----------------------------------------------------------------

namespace {

// The target peak of a normalisation. Level guides are horizontal lines the
// user places at an amplitude; "libtavo.tavocanvas.levelguides.value" holds
// it as a linear fraction of full scale. They count as in use when that
// value lies in (0, 1]: 0 or less (the key's fallback) means no guides, and
// a value above full scale would clip.
double normalizationTarget()
{
    if (!BLSETTINGS_GetBoolEx(nullptr, "libtavo.editoptions.normalize_to_levelguides=[%d]", 0)) return 1.0;
    const double guide = BLSETTINGS_GetFloatEx(nullptr, "libtavo.tavocanvas.levelguides.value=[%f]", 0.0);
    if (std::isfinite(guide) && guide > 0.0 && guide <= 1.0) return guide;
    return 1.0;
}

}  // namespace

TAVO_API bool TAVOAUDIO_NormalizeEx2(TAVOAUDIO audio, const char *label, const TAVOSELECTION *selections)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return false;
    AUDIOSIGNAL signal = _TAVOAUDIO_Signal(doc);
    if (signal == nullptr || AUDIOSIGNAL_NumActiveChannels(signal) < 1) return false;

    double peak = 0.0;
    {
        TavoDocReadLock lock(doc);
        if (!lock) return false;
        signal = _TAVOAUDIO_Signal(doc);
        const int32_t channels = AUDIOSIGNAL_NumChannels(signal);
        for (int32_t c = 0; c < channels; ++c) {
            if (!AUDIOSIGNAL_ChannelActive(signal, c)) continue;
            double lo = 0.0, hi = 0.0;
            if (!TAVOAUDIO_GetChannelSelectionMinMaxEx(audio, c, selections, &lo, &hi)) return false;
            peak = std::max({peak, std::fabs(lo), std::fabs(hi)});
        }
    }
    // Silence has no level to bring anywhere; leaving it is success.
    if (!(peak > 0.0)) return true;

    // One gain for every channel keeps the balance between them.
    const double gain = AUDIOSIGNAL_NormalizationGain(peak, normalizationTarget());
    double gains[AUDIO_MAX_CHANNELS];
    std::fill(std::begin(gains), std::end(gains), gain);
    return TAVOAUDIO_LinearTransformSelectionEx2(audio, gains, nullptr, label != nullptr ? label : "Normalize",
                                                 selections, 0);
}

// ---- DC offset ----------------------------------------------------------------------

TAVO_API bool TAVOAUDIO_RemoveDC(TAVOAUDIO audio, const char *label)
{
    // A DC offset belongs to the recording, not to a stretch of it: the mean
    // of each active channel is taken over the whole signal and removed from
    // all of it, whatever is selected (a mean over a short selection would
    // follow the audio itself and put steps into the waveform).
    return _TAVOEDIT_ApplyToWholeSignal(audio, label != nullptr ? label : "Remove DC",
                                        [](AUDIOSIGNAL copy, int64_t begin, int64_t end) {
                                            return AUDIOSIGNAL_RemoveDC(copy, begin, end);
                                        });
}
