// Start and stop of libfound.
#include "blcore.h"

#include "blversion.h"
#include "found_p.h"

#include <mutex>

namespace {

#define FOUND_STRINGIFY2(x) #x
#define FOUND_STRINGIFY(x) FOUND_STRINGIFY2(x)

// g_coreMutex serialises start and stop; g_initCount counts nested uses.
std::mutex g_coreMutex;
int32_t g_initCount = 0;

} // namespace

bool BLCORE_Initialize(void)
{
    const std::lock_guard<std::mutex> lock(g_coreMutex);
    if (g_initCount++ > 0) return true;
    _BLTHREAD_Initialize();
    _BLSETTINGS_Initialize();
    BLVERSION_Register("libfound", BLCORE_VERSION_MAJOR, BLCORE_VERSION_MINOR, BLCORE_VERSION_PATCH,
                       BLCORE_VERSION_BUILD);
    return true;
}

bool BLCORE_Finalize(void)
{
    {
        const std::lock_guard<std::mutex> lock(g_coreMutex);
        if (g_initCount == 0) return false;
        if (--g_initCount > 0) return true;
    }
    // Objects are destroyed without the core lock: their destroy functions
    // may log, notify or save settings.
    _BLREGISTER_DestroyAll();
    _BLSETTINGS_Finalize();
    _BLTHREAD_Finalize();
    _BLCURVES_Finalize();
    return true;
}

int32_t BLCORE_InitCount(void)
{
    const std::lock_guard<std::mutex> lock(g_coreMutex);
    return g_initCount;
}

const char *BLCORE_Version(void)
{
    return "libfound " FOUND_STRINGIFY(BLCORE_VERSION_MAJOR) "." FOUND_STRINGIFY(
        BLCORE_VERSION_MINOR) "." FOUND_STRINGIFY(BLCORE_VERSION_PATCH);
}
