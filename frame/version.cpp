// The library's version and the host's application-state word.
#include <atomic>
#include <cstdio>

#include "tavo.h"

namespace {

// Formatted on each call; a second call overwrites what the first returned.
char g_versionText[256];

// The host owns the meaning of these bits. An atomic word costs nothing and
// keeps a host that sets bits from a worker thread free of data races.
std::atomic<uint32_t> g_applicationState{0};

}  // namespace

extern "C" {

const char *TAVOVERSION_String(void)
{
    // __DATE__ is the compiler's "Mmm dd yyyy" text, the day padded with a
    // blank ("Oct  5 2026"); snprintf cuts and always terminates.
    std::snprintf(g_versionText, sizeof g_versionText, "libtavo version %d.%d.%d.%d (built in %s)",
                  TAVO_VERSION_MAJOR, TAVO_VERSION_MINOR, TAVO_VERSION_PATCH, TAVO_VERSION_BUILD, __DATE__);
    return g_versionText;
}

void TAVOVERSION_Number(int32_t *major, int32_t *minor, int32_t *patch, int32_t *build)
{
    if (major != nullptr) *major = TAVO_VERSION_MAJOR;
    if (minor != nullptr) *minor = TAVO_VERSION_MINOR;
    if (patch != nullptr) *patch = TAVO_VERSION_PATCH;
    if (build != nullptr) *build = TAVO_VERSION_BUILD;
}

uint32_t TAVOAPP_ApplicationState(void)
{
    return g_applicationState.load(std::memory_order_relaxed);
}

uint32_t TAVOAPP_SetState(uint32_t bits)
{
    return g_applicationState.fetch_or(bits, std::memory_order_relaxed) | bits;
}

uint32_t TAVOAPP_ClrState(uint32_t bits)
{
    return g_applicationState.fetch_and(~bits, std::memory_order_relaxed) & ~bits;
}

}  // extern "C"
