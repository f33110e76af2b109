// levelguides.cpp: the level of the level guides, the horizontal lines the
// renderer draws at +/- a fraction of full scale over every waveform.
//
// The level is one setting for all views ("libtavo.tavocanvas.levelguides.
// value"), as the host's preferences keep it; the document through which it
// is set is asked to redraw at once, the others pick it up when they next
// draw.

#include <cmath>

#include "regions/metadata_p.h"

#include "audiofile.h"
#include "blsettings.h"
#include "tavometadata.h"
#include "tavostate.h"

namespace {

// The setting is written with "%f", six decimals: a level below 0.000001
// (-120 dB) would be stored as 0, which means no guide at all.
constexpr double kSmallestLevel = 1e-6;

}  // namespace

extern "C" {

TAVO_API int32_t TAVOAUDIO_SetLevelGuidesValueEx(TAVOAUDIO audio, double value, uint32_t flags)
{
    TavoDocument *doc = _TAVOAUDIO_Validate(audio);
    if (doc == nullptr) return 0;
    if ((flags & ~TAVOAUDIO_LEVELGUIDES_DECIBELS) != 0 || !std::isfinite(value))
        return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_INVALID_ARGUMENT);
    double level = value;
    if ((flags & TAVOAUDIO_LEVELGUIDES_DECIBELS) != 0) {
        if (value > 0.0) return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_INVALID_ARGUMENT);
        level = std::pow(10.0, value / 20.0);
    }
    if (!(level >= kSmallestLevel && level <= 1.0)) return _TAVOMETADATA_Fail(doc, AUDIO_ERROR_INVALID_ARGUMENT);
    if (!BLSETTINGS_ChangeEx(nullptr, "libtavo.tavocanvas.levelguides.value=%f", level)) {
        doc->lastError = 12;
        return 0;
    }
    TAVOSTATE_NotifyChanges(audio, 0, 0);
    return 1;
}

}  // extern "C"
