// The fade-curve catalogue: curve types, their names and the easing objects
// that libfound's curve records evaluate.
#include "tavocurves.h"

#include <QEasingCurve>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace {

constexpr uint32_t kShapeCount = 14;
constexpr uint32_t kMovementCount = 4;
constexpr std::size_t kTypeCount = TAVOCURVES_MAX_TYPE + 1;

// ---- names ----------------------------------------------------------------

constexpr std::array<const char *, kShapeCount> kShapeNames = {
    "Linear",      "Quadratic", "Cubic",   "Quartic", "Quintic", "Sinusoidal", "Exponential",
    "Circular",    "Elastic",   "Back",    "Bounce",  "Curve",   "SineCurve",  "CosineCurve",
};

// "Sine" twice on purpose: lookups go in shape order, so the short name
// finds the sinusoidal shape (5) and never SineCurve (12).
constexpr std::array<const char *, kShapeCount> kShapeShortNames = {
    "Linear", "Quadr", "Cubic", "Quart", "Quint", "Sine",  "Expo",
    "Circ",   "Elast", "Back",  "Bounce", "Curve", "Sine", "Cosine",
};

// The misspelt "Decelarating" is what hosts have stored in their settings
// for years; it is what we write, and the correct spelling is accepted on
// reading (kMovementAltNames).
constexpr std::array<const char *, kMovementCount> kMovementNames = {
    "Accelerating",
    "Decelerating",
    "Accelerating then Decelarating",
    "Decelarating then Accelerating",
};
constexpr std::array<const char *, kMovementCount> kMovementShortNames = {"Accel", "Decel", "Acc-Dec", "Dec-Acc"};
constexpr std::array<const char *, kMovementCount> kMovementAltNames = {
    nullptr,
    nullptr,
    "Accelerating then Decelerating",
    "Decelerating then Accelerating",
};

// A fade in and a fade out of the same shape sum to constant gain when one
// accelerates where the other decelerates; the symmetric movements pair
// with themselves.
constexpr std::array<uint32_t, kMovementCount> kEqualGainMovement = {1, 0, 2, 3};

// ---- easing types ----------------------------------------------------------

// Qt easing type of each curve type, rows = shapes, columns = movements
// (accelerating -> In, decelerating -> Out, accelerating then decelerating
// -> InOut, decelerating then accelerating -> OutIn). Qt has no InOut/OutIn
// forms of its last three curves, so:
//   Curve (11): InCurve and OutCurve for the one-phase movements; the
//     two-phase ones take the curve of their first phase (InOut starts by
//     accelerating -> InCurve, OutIn starts by decelerating -> OutCurve).
//   SineCurve (12), CosineCurve (13): one curve for every movement. These
//     are whole periods (SineCurve 0 -> 1 -> 0, CosineCurve starts and ends
//     at 0.5), meant for swells and pulses rather than for fades.
using E = QEasingCurve;
constexpr std::array<uint8_t, kTypeCount> kEasingOfType = {
    E::Linear,    E::Linear,    E::Linear,      E::Linear,       //  0 Linear
    E::InQuad,    E::OutQuad,   E::InOutQuad,   E::OutInQuad,    //  1 Quadratic
    E::InCubic,   E::OutCubic,  E::InOutCubic,  E::OutInCubic,   //  2 Cubic
    E::InQuart,   E::OutQuart,  E::InOutQuart,  E::OutInQuart,   //  3 Quartic
    E::InQuint,   E::OutQuint,  E::InOutQuint,  E::OutInQuint,   //  4 Quintic
    E::InSine,    E::OutSine,   E::InOutSine,   E::OutInSine,    //  5 Sinusoidal
    E::InExpo,    E::OutExpo,   E::InOutExpo,   E::OutInExpo,    //  6 Exponential
    E::InCirc,    E::OutCirc,   E::InOutCirc,   E::OutInCirc,    //  7 Circular
    E::InElastic, E::OutElastic, E::InOutElastic, E::OutInElastic, //  8 Elastic
    E::InBack,    E::OutBack,   E::InOutBack,   E::OutInBack,    //  9 Back
    E::InBounce,  E::OutBounce, E::InOutBounce, E::OutInBounce,  // 10 Bounce
    E::InCurve,   E::OutCurve,  E::InCurve,     E::OutCurve,     // 11 Curve
    E::SineCurve, E::SineCurve, E::SineCurve,   E::SineCurve,    // 12 SineCurve
    E::CosineCurve,                                              // 13 CosineCurve, accelerating only
};
static_assert(E::CosineCurve <= 0xff, "easing types must fit the byte table");

// Made by TAVOCURVES_Initialize, destroyed by TAVOCURVES_Finalize; empty
// outside, and then records carry no easing object and evaluate linearly.
std::array<QEasingCurve *, kTypeCount> g_easings{};

// ---- helpers ----------------------------------------------------------------

bool sameTextIgnoringCase(std::string_view a, std::string_view b)
{
    // ASCII folding is enough: every catalogue name is ASCII.
    auto lower = [](char c) { return (c >= 'A' && c <= 'Z') ? char(c - 'A' + 'a') : c; };
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [&](char x, char y) { return lower(x) == lower(y); });
}

bool isEmpty(const char *text) { return text == nullptr || *text == '\0'; }

// The value function of every catalogue record. libfound clamps before it
// calls, but records are plain values a host may call directly.
double curveValue(const void *easing, double x)
{
    if (!(x > 0.0)) x = 0.0;  // NaN too
    if (x > 1.0) x = 1.0;
    if (easing == nullptr) return x;
    return static_cast<const QEasingCurve *>(easing)->valueForProgress(x);
}

BLCURVE *fillEvaluated(BLCURVE *record, uint32_t type)
{
    return BLCURVES_Initialize(record, int32_t(type), g_easings[type], curveValue);
}

// Resolves names for libfound: the shape by full or short name in shape
// order, the movement by its full name. Whatever does not make a type in
// 1..52 gives the linear ramp.
BLCURVE *provideCurve(BLCURVE *record, const char *shape, const char *movement, void *)
{
    if (record == nullptr) return nullptr;
    const uint32_t move = TAVOCURVES_GetCurveMovementFromName(movement);
    if (!isEmpty(shape)) {
        for (uint32_t i = 0; i < kShapeCount; ++i) {
            if (sameTextIgnoringCase(shape, kShapeNames[i]) || sameTextIgnoringCase(shape, kShapeShortNames[i])) {
                const uint32_t type = TAVOCURVES_GetCurveType(i, move);
                if (type >= 1 && type <= TAVOCURVES_MAX_TYPE) return fillEvaluated(record, type);
                return BLCURVES_Linear(record);
            }
        }
        // An unknown shape still honours the movement as a type of its own.
        if (move >= 1) return fillEvaluated(record, move);
        return BLCURVES_Linear(record);
    }
    if (move != 0) return fillEvaluated(record, move);
    return BLCURVES_Linear(record);
}

}  // namespace

// ---- start and stop ---------------------------------------------------------

bool TAVOCURVES_Initialize(void)
{
    for (std::size_t type = 0; type < kTypeCount; ++type) {
        if (g_easings[type] == nullptr)
            g_easings[type] = new QEasingCurve(static_cast<QEasingCurve::Type>(kEasingOfType[type]));
    }
    BLCURVES_SetProvider(provideCurve, nullptr);
    return true;
}

bool TAVOCURVES_Finalize(void)
{
    // Unregister first: nothing may resolve a name into an object that is
    // about to go.
    BLCURVES_SetProvider(nullptr, nullptr);
    for (QEasingCurve *&easing : g_easings) {
        delete easing;
        easing = nullptr;
    }
    return true;
}

// ---- composing a type -------------------------------------------------------

uint32_t TAVOCURVES_GetCurveType(uint32_t shape, uint32_t movement) { return (movement & 3u) | (shape << 2); }

uint32_t TAVOCURVES_GetCurveShape(uint32_t type) { return type >> 2; }

uint32_t TAVOCURVES_GetCurveMovement(uint32_t type) { return type & 3u; }

// ---- equal-gain companions --------------------------------------------------

uint32_t TAVOCURVES_GetEqualGainMovement(uint32_t movement)
{
    return movement < kMovementCount ? kEqualGainMovement[movement] : 0;
}

uint32_t TAVOCURVES_GetEqualGainCurveType(uint32_t type)
{
    return (type & ~3u) | kEqualGainMovement[type & 3u];
}

// ---- names ------------------------------------------------------------------

const char *TAVOCURVES_GetCurveShapeName(uint32_t shape)
{
    return shape >= 1 && shape < kShapeCount ? kShapeNames[shape] : kShapeNames[0];
}

const char *TAVOCURVES_GetCurveShapeShortName(uint32_t shape)
{
    return shape >= 1 && shape < kShapeCount ? kShapeShortNames[shape] : kShapeShortNames[0];
}

const char *TAVOCURVES_GetCurveMovementName(uint32_t movement)
{
    return movement >= 1 && movement < kMovementCount ? kMovementNames[movement] : kMovementNames[0];
}

const char *TAVOCURVES_GetCurveMovementShortName(uint32_t movement)
{
    return movement >= 1 && movement < kMovementCount ? kMovementShortNames[movement] : kMovementShortNames[0];
}

uint32_t TAVOCURVES_GetCurveShapeFromName(const char *text)
{
    if (isEmpty(text)) return 0;
    for (uint32_t i = 0; i < kShapeCount; ++i)
        if (sameTextIgnoringCase(text, kShapeNames[i])) return i;
    return 0;
}

uint32_t TAVOCURVES_GetCurveMovementFromName(const char *text)
{
    if (isEmpty(text)) return 0;
    for (uint32_t i = 0; i < kMovementCount; ++i)
        if (sameTextIgnoringCase(text, kMovementNames[i])) return i;
    for (uint32_t i = 0; i < kMovementCount; ++i)
        if (kMovementAltNames[i] != nullptr && sameTextIgnoringCase(text, kMovementAltNames[i])) return i;
    return 0;
}

// ---- curve records ----------------------------------------------------------

BLCURVE *TAVOCURVES_Get(BLCURVE *record, int32_t type)
{
    if (record == nullptr) return nullptr;
    if (type < 1) return BLCURVES_Initialize(record, type, nullptr, nullptr);
    if (type > TAVOCURVES_MAX_TYPE) return BLCURVES_Linear(record);
    return fillEvaluated(record, uint32_t(type));
}

int32_t TAVOCURVES_GetType(const BLCURVE *record) { return record != nullptr ? record->type : 0; }

bool TAVOCURVE_EqualCurves(const BLCURVE *a, const BLCURVE *b)
{
    if (a == b) return true;
    if (a == nullptr || b == nullptr) return false;
    return a->type == b->type && a->easing == b->easing;
}
