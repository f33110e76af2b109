/*
** transform_fade.cpp: fades in and out of the selections (or the whole
** signal), with a gain curve named after the fade-curve catalogue.
*/
#include <strings.h>

#include <cstring>
#include <string>

#include "audioops.h"
#include "blcurves.h"
#include "edit/transform_p.h"
#include "frame/document_p.h"
#include "tavocurves.h"
#include "tavoedit.h"

namespace {

constexpr uint32_t kShapeCount = 14;
constexpr uint32_t kMovementCount = 4;

bool sameText(const std::string &a, const char *b) { return b != nullptr && strcasecmp(a.c_str(), b) == 0; }

// A shape by its full or short catalogue name, the first match in shape
// order (the short name "Sine" is the sinusoidal shape, as in the catalogue).
bool shapeFromName(const std::string &text, uint32_t *shape)
{
    for (uint32_t s = 0; s < kShapeCount; ++s) {
        if (sameText(text, TAVOCURVES_GetCurveShapeName(s)) || sameText(text, TAVOCURVES_GetCurveShapeShortName(s))) {
            *shape = s;
            return true;
        }
    }
    return false;
}

// A movement by its full name (either spelling the catalogue accepts) or its
// short name. The catalogue's own lookup answers 0 both for "Accelerating"
// and for unknown text, so the names are compared here to tell them apart.
bool movementFromName(const std::string &text, uint32_t *movement)
{
    for (uint32_t m = 0; m < kMovementCount; ++m) {
        if (sameText(text, TAVOCURVES_GetCurveMovementName(m)) ||
            sameText(text, TAVOCURVES_GetCurveMovementShortName(m))) {
            *movement = m;
            return true;
        }
    }
    const uint32_t found = TAVOCURVES_GetCurveMovementFromName(text.c_str());
    if (found == 0) return false;
    *movement = found;
    return true;
}

// Resolves a fade-curve name into `curve`. Accepted: null or "linear" (the
// straight ramp), a shape name alone ("Quadratic": the accelerating form,
// as the catalogue's provider reads it) and "Shape-Movement"
// ("Quadratic-Decelerating", "Quadr-Decel", "Sine-Acc-Dec"). Names ignore
// case. Anything else is refused, where the base library's own lookup
// would quietly fall back to the linear ramp.
bool resolveFadeCurve(const char *name, BLCURVE *curve)
{
    if (name == nullptr || strcasecmp(name, "linear") == 0) {
        BLCURVES_Linear(curve);
        return true;
    }
    const std::string text(name);
    // Shape names hold no '-'; the first one ends the shape, and what
    // follows may hold one of its own ("Acc-Dec").
    const size_t dash = text.find('-');
    uint32_t shape = 0, movement = 0;
    if (!shapeFromName(text.substr(0, dash), &shape)) return false;
    if (dash != std::string::npos && !movementFromName(text.substr(dash + 1), &movement)) return false;
    TAVOCURVES_Get(curve, static_cast<int32_t>(TAVOCURVES_GetCurveType(shape, movement)));
    return true;
}

bool fade(TAVOAUDIO audio, const char *curveName, const char *label, bool fadeIn)
{
    if (_TAVOEDIT_TransformTarget(audio) == nullptr) return false;
    BLCURVE curve;
    if (!resolveFadeCurve(curveName, &curve)) {
        TavoDocument *doc = _TAVOAUDIO_Validate(audio);
        if (doc != nullptr) doc->lastError = _TranslateAudioSignalError(AUDIO_ERROR_INVALID_ARGUMENT);
        return false;
    }
    return _TAVOEDIT_ApplyToSelections(audio, nullptr, label, [&curve, fadeIn](AUDIOSIGNAL copy, int64_t begin,
                                                                             int64_t end) {
        return fadeIn ? AUDIOSIGNAL_FadeInEx(copy, &curve, begin, end) : AUDIOSIGNAL_FadeOutEx(copy, &curve, begin, end);
    });
}

}  // namespace

TAVO_API bool TAVOAUDIO_FadeIn(TAVOAUDIO audio, const char *curve, const char *label)
{
    return fade(audio, curve, label != nullptr ? label : "Fade In", true);
}

TAVO_API bool TAVOAUDIO_FadeOut(TAVOAUDIO audio, const char *curve, const char *label)
{
    return fade(audio, curve, label != nullptr ? label : "Fade Out", false);
}
