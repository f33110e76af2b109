// Gain curves and the provider hook.
#include "blcurves.h"

#include "found_p.h"

#include <cmath>
#include <cstring>
#include <mutex>
#include <string>

namespace {

// g_providerMutex guards the provider pair; the provider runs outside it.
std::mutex g_providerMutex;
BLCURVES_PROVIDER g_provider = nullptr;
void *g_providerData = nullptr;

double clampProgress(double x)
{
    if (!(x > 0.0)) return 0.0;  // also catches NaN
    return x < 1.0 ? x : 1.0;
}

} // namespace

BLCURVE *BLCURVES_Initialize(BLCURVE *record, int32_t type, const void *easing, BLCURVES_VALUE_FUNCTION value)
{
    if (record == nullptr) return nullptr;
    record->type = type;
    record->easing = easing;
    record->value = value;
    return record;
}

BLCURVE *BLCURVES_Linear(BLCURVE *record)
{
    return BLCURVES_Initialize(record, 0, nullptr, nullptr);
}

BLCURVES_PROVIDER BLCURVES_SetProvider(BLCURVES_PROVIDER provider, void *userData)
{
    const std::lock_guard<std::mutex> lock(g_providerMutex);
    const BLCURVES_PROVIDER previous = g_provider;
    g_provider = provider;
    g_providerData = provider != nullptr ? userData : nullptr;
    return previous;
}

BLCURVE *BLCURVES_GetByName(BLCURVE *record, const char *shape, const char *movement)
{
    if (record == nullptr) return nullptr;
    BLCURVES_PROVIDER provider;
    void *userData;
    {
        const std::lock_guard<std::mutex> lock(g_providerMutex);
        provider = g_provider;
        userData = g_providerData;
    }
    if (provider != nullptr && provider(record, shape, movement, userData) != nullptr) return record;
    return BLCURVES_Linear(record);
}

BLCURVE *BLCURVES_FromText(BLCURVE *record, const char *text)
{
    if (record == nullptr) return nullptr;
    if (text == nullptr) return BLCURVES_Linear(record);
    const char *dash = std::strchr(text, '-');
    if (dash == nullptr) return BLCURVES_GetByName(record, text, nullptr);
    const std::string shape(text, static_cast<size_t>(dash - text));
    return BLCURVES_GetByName(record, shape.c_str(), dash + 1);
}

double BLCURVES_Evaluate(const BLCURVE *record, double x)
{
    x = clampProgress(x);
    if (record == nullptr || record->value == nullptr) return x;
    return record->value(record->easing, x);
}

bool BLCURVES_EvaluateRamp(const BLCURVE *record, float *gains, int64_t count)
{
    if (gains == nullptr || count < 1) return false;
    if (count == 1) {
        gains[0] = static_cast<float>(BLCURVES_Evaluate(record, 0.0));
        return true;
    }
    const double step = 1.0 / static_cast<double>(count - 1);
    for (int64_t i = 0; i < count; ++i)
        gains[i] = static_cast<float>(BLCURVES_Evaluate(record, static_cast<double>(i) * step));
    return true;
}

void _BLCURVES_Finalize()
{
    BLCURVES_SetProvider(nullptr, nullptr);
}
